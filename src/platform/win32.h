// The one header through which the frame reaches the platform: window,
// event, thread and directory calls under their Win32 names. On Windows
// these are the real ones; elsewhere our stand-in provides exactly the
// calls the frame makes (platform/posix/).
#pragma once

#ifdef _WIN32
#include <windows.h>
#include <commctrl.h>
#include <process.h>

namespace trova::platform {
// The worker's pause before it completes.
inline int CompletionPauseMs() { return 500; }
}  // namespace trova::platform
#else
#include "posix/win32_posix.h"
#endif
