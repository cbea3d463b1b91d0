// The workers of the trend readers, started by the progress dialog.
#pragma once

namespace trova {

void Reader_Thread(void *params);       // Reader_XT
void Reader_Thread2(void *params);      // Reader_XT2
void Reader_HIST_Thread(void *params);  // Reader_HIST

}  // namespace trova
