#include "files/file_table.h"
#include "files/record_file.h"
#include "frame/module_state.h"

#ifndef _WIN32
#include "trova/host.h"
#endif

namespace trova {

HINSTANCE ModuleHandle = nullptr;
HWND ProgressDialog = nullptr;
char DialogTitle[kDialogTitleSize] = {};
int32_t ProgressTotal = 0;
HANDLE CancelEvent = nullptr;

}  // namespace trova

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void *) {
    using namespace trova;
    if (reason == DLL_PROCESS_ATTACH) {
        ModuleHandle = instance;
        FileTable.valid = 0;
        ProgressTotal = 0;
        CancelEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);  // auto-reset, not signalled
        ResetEvent(CancelEvent);
    } else if (reason == DLL_PROCESS_DETACH) {
        // The table and the scan's chunk memory are released; the event is
        // left to the process end.
        if (FileTable.valid) ReleaseFileTable();
        for (ChunkMemory &memory : ScanMemory) ReleaseChunkMemory(memory);
    }
    return TRUE;
}

#ifndef _WIN32
// On POSIX the loader's constructor and destructor stand in for the
// process attach and detach of the Windows entry point.
namespace {
char gModuleToken;  // its address is the module handle

__attribute__((constructor)) void TrovaProcessAttach() {
    DllMain(reinterpret_cast<HINSTANCE>(&gModuleToken), DLL_PROCESS_ATTACH, nullptr);
}
__attribute__((destructor)) void TrovaProcessDetach() {
    DllMain(reinterpret_cast<HINSTANCE>(&gModuleToken), DLL_PROCESS_DETACH, nullptr);
}
}  // namespace

extern "C" void TrovaForgetRecording(void) { trova::ForgetFileTable(); }
#endif
