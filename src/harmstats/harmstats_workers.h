// The workers of the harmonic histogram and table readers, started by the
// progress dialog.
#pragma once

namespace trova {

void Reader_FFT_HIST_Thread1(void *params);   // Reader_FFT_HIST1
void Reader_FFT_HIST_Thread2(void *params);   // Reader_FFT_HIST2
void Reader_FFT_Table_Thread1(void *params);  // Reader_FFT_Table1
void Reader_FFT_Table_Thread2(void *params);  // Reader_FFT_Table2

}  // namespace trova
