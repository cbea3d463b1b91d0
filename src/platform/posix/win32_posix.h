// POSIX stand-in for the Win32 calls the frame makes, and nothing more.
//
// - A headless modal dialog: DialogBoxParamA runs the dialog procedure on
//   the calling thread and pumps a queue that PostMessageA fills from any
//   thread; EndDialog ends the loop. The window state (title, button text,
//   bar range, step and position, topmost flag, rectangle) is kept so that
//   tests and the host interface can read it.
// - Auto-reset events (CreateEventA with bManualReset FALSE) and zero-wait
//   polls; detached threads (_beginthread); Sleep.
// - Directory search with the Windows pattern rules the readers rely on:
//   '*' and '?' wildcards, compared without regard to letter case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// ---- types ---------------------------------------------------------------
typedef int BOOL;
typedef unsigned int UINT;
typedef uint32_t DWORD;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;
typedef intptr_t INT_PTR;
typedef const char *LPCSTR;
typedef void *HANDLE;
typedef struct TrovaWindow *HWND;
typedef struct TrovaModule *HINSTANCE;
typedef INT_PTR (*DLGPROC)(HWND, UINT, WPARAM, LPARAM);

struct RECT {
    int32_t left, top, right, bottom;
};

struct WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    char cFileName[260];
};

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define WINAPI
#define CALLBACK
#define APIENTRY

// ---- constants the frame uses --------------------------------------------
constexpr UINT WM_INITDIALOG = 0x0110;
constexpr UINT WM_COMMAND = 0x0111;
constexpr UINT WM_USER = 0x0400;
constexpr UINT PBM_SETRANGE = WM_USER + 1;
constexpr UINT PBM_SETPOS = WM_USER + 2;
constexpr UINT PBM_SETSTEP = WM_USER + 4;
constexpr int IDCANCEL = 2;
constexpr int BN_CLICKED = 0;
constexpr int SM_CXSCREEN = 0;
constexpr int SM_CYSCREEN = 1;
constexpr UINT SWP_NOSIZE = 0x0001;
constexpr UINT SWP_NOMOVE = 0x0002;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD DLL_PROCESS_DETACH = 0;
constexpr DWORD DLL_PROCESS_ATTACH = 1;
constexpr DWORD DLL_THREAD_ATTACH = 2;
constexpr DWORD DLL_THREAD_DETACH = 3;
#define HWND_TOPMOST (reinterpret_cast<HWND>(static_cast<intptr_t>(-1)))
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))
#define MAKEINTRESOURCEA(i) (reinterpret_cast<LPCSTR>(static_cast<uintptr_t>(static_cast<uint16_t>(i))))
#define MAKELPARAM(lo, hi) (static_cast<LPARAM>(static_cast<uint32_t>((static_cast<uint16_t>(lo)) | (static_cast<uint32_t>(static_cast<uint16_t>(hi)) << 16))))
#define MAKEWPARAM(lo, hi) (static_cast<WPARAM>(static_cast<uint32_t>((static_cast<uint16_t>(lo)) | (static_cast<uint32_t>(static_cast<uint16_t>(hi)) << 16))))

// ---- user interface -------------------------------------------------------
void InitCommonControls();
INT_PTR DialogBoxParamA(HINSTANCE instance, LPCSTR templateName, HWND owner, DLGPROC proc,
                        LPARAM initParam);
BOOL EndDialog(HWND dialog, INT_PTR result);
HWND GetDlgItem(HWND dialog, int id);
LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL SetWindowPos(HWND window, HWND insertAfter, int x, int y, int cx, int cy, UINT flags);
BOOL SetWindowTextA(HWND window, LPCSTR text);
BOOL GetWindowRect(HWND window, RECT *rect);
int GetSystemMetrics(int index);
BOOL MoveWindow(HWND window, int x, int y, int width, int height, BOOL repaint);

// ---- kernel ----------------------------------------------------------------
HANDLE CreateEventA(void *attributes, BOOL manualReset, BOOL initialState, LPCSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
void Sleep(DWORD milliseconds);
// Starts a detached thread; returns (uintptr_t)-1 when it cannot.
uintptr_t _beginthread(void (*start)(void *), unsigned stackSize, void *argument);
HANDLE FindFirstFileA(LPCSTR pattern, WIN32_FIND_DATAA *data);
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA *data);
BOOL FindClose(HANDLE search);

namespace trova::platform {
// Appends one line of the diagnostic log, its CR LF included, to the file
// LogFilePath() names; dropped when the log is off or the file is not a
// regular file of this user (platform/posix/log_file.cpp).
void AppendLogLine(const char *line, size_t length);
// The file the next log line goes to: TrovaDLL.LOG in the host's directory,
// else in the per-user default (created here); "" when the log is off or
// the default has no place.
std::string LogFilePath();
// The worker's pause before it completes (500 ms unless the host set it).
int CompletionPauseMs();

// Between the stand-in's own parts, not for the frame: the directory the
// host set (*off when it switched the log off; "" for the default); a click on the
// button of the dialog open at this moment, queued in the same step as the
// look-up so that it cannot reach a later dialog (false, and nothing
// queued, when none is open); and the host's progress callback, called
// with the position the bar was asked to take, before clamping.
std::string HostLogDirectory(bool *off);
bool ClickOpenDialogButton();
void ReportProgress(int progressTotal);
}  // namespace trova::platform
