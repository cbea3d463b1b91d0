// Module-wide state shared by the exports, the progress dialog and the
// workers. One export call runs at a time per process: it belongs to the
// call that holds the export lock (frame/call_lock.h) and needs no lock of
// its own (the file table lives in files/file_table.h).
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace trova {

constexpr size_t kDialogTitleSize = 2048;

extern HINSTANCE ModuleHandle;   // owner of dialog template 101
extern HWND ProgressDialog;      // the open progress dialog, target of the workers' messages
extern char DialogTitle[kDialogTitleSize];
extern int32_t ProgressTotal;    // whole percent, about 100 per pass; not clamped
extern HANDLE CancelEvent;       // auto-reset; set by the dialog's button

}  // namespace trova

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void *reserved);
