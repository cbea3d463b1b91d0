#include "frame/dialog.h"

#include "frame/module_state.h"
#include "frame/worker_link.h"
#include "harmonics/harmonic_workers.h"
#include "harmstats/harmstats_workers.h"
#include "trend/trend_workers.h"

namespace trova {

WorkerEntry WorkerFor(int32_t kind) {
    // Indexed by ReaderKind; readers still missing from this build are null.
    static const WorkerEntry kWorkers[14] = {
        nullptr,
        Reader_FFT_XT_Thread1,
        Reader_FFT_XT_Thread2,
        nullptr,  // 3  Reader_FFT_XT_Thread3
        Reader_FFT_HIST_Thread1,
        Reader_FFT_HIST_Thread2,
        Reader_FFT_Table_Thread1,
        Reader_FFT_Table_Thread2,
        Reader_FFT_ALL_Harmonics_XT_Thread1,
        Reader_FFT_ALL_Harmonics_XT_Thread2,
        nullptr,  // 10 Reader_FFT_ALL_Harmonics_XT_Thread3
        Reader_Thread,
        Reader_Thread2,
        Reader_HIST_Thread,
    };
    return kind >= 1 && kind <= 13 ? kWorkers[kind] : nullptr;
}

namespace {

void InitDialog(HWND dialog, HWND bar, const ReaderJob &job) {
    ProgressDialog = dialog;
    SetWindowPos(dialog, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE);
    SendMessageA(bar, PBM_SETRANGE, 0, MAKELPARAM(0, 100));
    SendMessageA(bar, PBM_SETSTEP, 10, 0);

    // Centre on the primary screen.
    RECT rect;
    GetWindowRect(dialog, &rect);
    const int32_t width = rect.right - rect.left;
    const int32_t height = rect.bottom - rect.top;
    const int32_t x = (GetSystemMetrics(SM_CXSCREEN) - width) / 2;
    const int32_t y = (GetSystemMetrics(SM_CYSCREEN) - height) / 2;
    MoveWindow(dialog, x, y, width, height, TRUE);

    SetWindowTextA(dialog, DialogTitle);
    SetWindowTextA(GetDlgItem(dialog, IDC_BUTTON), job.buttonText != nullptr ? job.buttonText : "");
    ResetEvent(CancelEvent);

    // Without a worker nobody would ever post WM_READER_DONE: close at once
    // and leave the status as the export set it.
    const WorkerEntry worker = WorkerFor(job.kind);
    if (worker == nullptr || _beginthread(worker, 0, job.params) == static_cast<uintptr_t>(-1)) {
        EndDialog(dialog, 0);
    }
}

}  // namespace

INT_PTR CALLBACK ProgressDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    HWND bar = GetDlgItem(dialog, IDC_PROGRESS);
    switch (message) {
    case WM_INITDIALOG:
        InitDialog(dialog, bar, *reinterpret_cast<const ReaderJob *>(lParam));
        return TRUE;
    case WM_COMMAND:
        // The button, Esc and the close box all arrive here. The dialog stays
        // up until the worker has seen the request and completed.
        SetEvent(CancelEvent);
        return TRUE;
    case WM_READER_DONE:
        EndDialog(dialog, 0);
        return TRUE;
    case WM_READER_PROGRESS:
        ProgressTotal += static_cast<int32_t>(static_cast<uint32_t>(wParam));
        SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(ProgressTotal), 0);
        return TRUE;
    default:
        return FALSE;
    }
}

namespace worker {

bool CancelRequested() { return WaitForSingleObject(CancelEvent, 0) == WAIT_OBJECT_0; }

void PostProgress(int32_t percent) {
    PostMessageA(ProgressDialog, WM_READER_PROGRESS, static_cast<WPARAM>(percent), 0);
}

void PostDone() { PostMessageA(ProgressDialog, WM_READER_DONE, 0, 0); }

void CompletionPause() { Sleep(static_cast<DWORD>(platform::CompletionPauseMs())); }

}  // namespace worker
}  // namespace trova
