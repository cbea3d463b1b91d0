// The progress dialog every export runs, and the table of workers it
// starts. The dialog closes when its worker posts WM_READER_DONE.
#pragma once

#include <cstdint>

#include "platform/win32.h"
#include "resource.h"  // IDD_PROGRESS, IDC_PROGRESS, IDC_BUTTON: shared with the template

namespace trova {

constexpr UINT WM_READER_DONE = WM_USER + 1;      // 1025
constexpr UINT WM_READER_PROGRESS = WM_USER + 2;  // 1026

enum ReaderKind : int32_t {
    kReaderFftXt1 = 1,
    kReaderFftXt2 = 2,
    kReaderFftXt3 = 3,
    kReaderFftHist1 = 4,
    kReaderFftHist2 = 5,
    kReaderFftTable1 = 6,
    kReaderFftTable2 = 7,
    kReaderFftAllXt1 = 8,
    kReaderFftAllXt2 = 9,
    kReaderFftAllXt3 = 10,
    kReaderXt = 11,
    kReaderXt2 = 12,
    kReaderHist = 13,
};

struct ReaderJob {
    void *params;
    int32_t kind;
    char *buttonText;
};

using WorkerEntry = void (*)(void *params);

// The worker of a kind; nullptr for kinds outside 1..13 and for kinds whose
// reader this build does not have.
WorkerEntry WorkerFor(int32_t kind);

INT_PTR CALLBACK ProgressDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

}  // namespace trova
