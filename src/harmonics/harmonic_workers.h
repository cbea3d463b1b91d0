// The workers of the harmonic trend readers, started by the progress dialog.
#pragma once

namespace trova {

void Reader_FFT_XT_Thread1(void *params);                // Reader_FFT_XT1
void Reader_FFT_XT_Thread2(void *params);                // Reader_FFT_XT2
void Reader_FFT_ALL_Harmonics_XT_Thread1(void *params);  // Reader_FFT_ALL_Harmonics_XT1
void Reader_FFT_ALL_Harmonics_XT_Thread2(void *params);  // Reader_FFT_ALL_Harmonics_XT2

}  // namespace trova
