// trova_host: a Windows program that loads trova.dll as its host does and
// checks it, run by CTest under Wine on a virtual display.
//
//   trova_host crosscheck  runs every case of the cross-check table and
//                          compares with the Linux build's outputs
//   trova_host dialog      looks at the open progress dialog from a second
//                          thread: caption, button, topmost, centred, layout
//   trova_host cancel      clicks the dialog's button during a scan
//   trova_host log         the log's CR LF lines, and no log without C:\Temp
//   trova_host threads     calls from two threads, a waiting thread that answers
//                          messages, a call re-entered from a timer procedure
//   trova_host demo        keeps a dialog open for scripts/windows/screenshot.sh
//
// Run from the cross-check data directory (trova_reference write DIR); the
// DLL lies next to this program. Exit status 0 when every check holds, 1 when
// one fails, 2 when the test cannot run.
#include <windows.h>
#include <commctrl.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <set>

#include "crosscheck.h"

using namespace trova::crosscheck;
using trova::calls::Export;

namespace {

int gFailures = 0, gChecks = 0;

// Counts a check; prints the message when it fails.
bool Check(bool condition, const char *format, ...) {
    ++gChecks;
    if (condition) return true;
    ++gFailures;
    va_list args;
    va_start(args, format);
    std::printf("FAIL "), std::vprintf(format, args), std::printf("\n");
    va_end(args);
    return false;
}

// ---- the DLL -------------------------------------------------------------------

constexpr const char *kLogDirectory = "C:\\Temp";
constexpr const char *kLogFile = "C:\\Temp\\TrovaDLL.LOG";

HMODULE gModule = nullptr;
trova::calls::Readers gReaders;
std::vector<Case> gCases;
int gDialogsCreated = 0;  // on this thread, counted by a window-creation hook

LRESULT CALLBACK CountDialogs(int code, WPARAM wParam, LPARAM lParam) {
    char name[64] = {};
    if (code == HCBT_CREATEWND && GetClassNameA(reinterpret_cast<HWND>(wParam), name, sizeof name) &&
        std::strcmp(name, "#32770") == 0) {
        ++gDialogsCreated;  // the progress dialog is the only dialog the readers create
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

// Loads trova.dll from this program's directory, binds the thirteen exports
// by the names the host uses (Reader_FFT_HIST2 by its decorated name) and
// the describe call, reads the table of cases and counts the dialogs this
// thread creates. What else the DLL exports and imports is checked from the
// file (windows_dll_exports).
bool LoadTrova() {
    gModule = LoadLibraryA("trova.dll");
    if (!Check(gModule != nullptr, "cannot load trova.dll (error %lu)", GetLastError())) return false;
    const std::vector<std::string> missing = trova::calls::BindReaders(
        [](const char *name) { return reinterpret_cast<void (*)()>(GetProcAddress(gModule, name)); }, gReaders);
    for (const std::string &name : missing) Check(false, "trova.dll does not export %s", name.c_str());
    const std::set<void (*)()> distinct(std::begin(gReaders.reader), std::end(gReaders.reader));
    Check(distinct.size() == trova::calls::kExportCount, "the thirteen exports are %zu functions", distinct.size());
    std::ifstream table(kCaseFile);
    std::string error = "no cases.txt here (run from the directory trova_reference write made)";
    Check(table && ParseCases(table, kCaseFile, gCases, error), "%s", error.c_str());
    CreateDirectoryA(kLogDirectory, nullptr);
    return missing.empty() && !gCases.empty() &&
           SetWindowsHookExA(WH_CBT, CountDialogs, nullptr, GetCurrentThreadId()) != nullptr;
}

Side WindowsSide() {
    return {gReaders, '\\', kLogFile, [] { return gDialogsCreated; }};
}

bool LoadExpected(const Case &c, Outcome &expected) {
    const std::string bytes = ReadFile(ExpectedFile(c, '\\'));
    return Check(Outcome::Parse({bytes.begin(), bytes.end()}, expected), "%s: no expected outputs in %s",
                 c.name.c_str(), ExpectedFile(c, '\\').c_str());
}

std::string FullPath(const std::string &relative) {
    char full[MAX_PATH];
    const DWORD n = GetFullPathNameA(relative.c_str(), sizeof full, full, nullptr);
    return n > 0 && n < sizeof full ? std::string(full) : relative;
}

// ---- cross-check -----------------------------------------------------------------

void Crosscheck() {
    for (const Case &c : gCases) {
        Outcome expected;
        if (!LoadExpected(c, expected)) continue;
        const DWORD start = GetTickCount();
        const Outcome actual = RunCase(c, WindowsSide());
        const std::vector<std::string> problems = Compare(expected, actual);
        if (Check(problems.empty(), "differs from the Linux build: %s", FormatCase(c).c_str())) {
            std::printf("ok   %-34s status %d, result %d, %lu ms\n", c.name.c_str(), int(actual.Int("Status")),
                        actual.result, GetTickCount() - start);
        }
        for (const std::string &p : problems) std::printf("    %s\n", p.c_str());
    }
    DeleteFileA(kLogFile);
    std::printf("%zu cases compared\n", gCases.size());
}

// ---- a case run while a second thread finds its dialog -----------------------------

enum class Action { kInspect, kClick, kDemo };

std::vector<DWORD> ThreadsOfThisProcess();

// A watched call: what the watcher does, the case, its outputs here and
// on Linux, and what the watcher saw.
struct Watch {
    Action action;
    Case c{};
    Outcome expected{}, actual{};
    DWORD ms = 0;
    std::vector<DWORD> before = ThreadsOfThisProcess();  // the threads before the call
    DWORD caller = GetCurrentThreadId();
    RECT window{};  // the dialog's rectangle when it was found
    bool found = false;
};

void Inspect(const Watch &w, HWND dialog);
void HoldForScreenshot(const Watch &w, HWND dialog);

DWORD WINAPI WatchDialog(void *context) {
    Watch &w = *static_cast<Watch *>(context);
    // The title is set halfway through WM_INITDIALOG; the dialog is shown
    // only after it has returned, when the button text is set and the worker
    // runs (a click before that would be cleared with the event). The cancel
    // check looks as fast as it can.
    HWND dialog = nullptr;
    for (DWORD start = GetTickCount(); GetTickCount() - start < 30000 && !(dialog && IsWindowVisible(dialog));) {
        if (dialog == nullptr) dialog = FindWindowA("#32770", w.c.args.label.c_str());
        if (w.action != Action::kClick) Sleep(1);
    }
    if (dialog == nullptr || !IsWindowVisible(dialog)) return 0;
    w.found = true;
    GetWindowRect(dialog, &w.window);
    if (w.action == Action::kInspect) Inspect(w, dialog);  // the calling thread waits in the call meanwhile
    if (w.action == Action::kDemo) HoldForScreenshot(w, dialog);
    if (w.action != Action::kInspect) SendMessageA(GetDlgItem(dialog, 1001), BM_CLICK, 0, 0);  // a real click
    return 0;
}

// Runs the case `name` (with another Label and button for the demo) while a
// watcher does `w.action` to its dialog.
bool RunWatched(const char *name, Watch &w) {
    const Case *c = FindCase(gCases, name);
    if (!Check(c != nullptr, "no case %s", name) || !LoadExpected(*c, w.expected)) return false;
    w.c = *c;
    if (w.action == Action::kDemo) w.c.args.label = "Reading meas.0001.dat", w.c.args.button = "Cancel";
    HANDLE watcher = CreateThread(nullptr, 0, WatchDialog, &w, 0, nullptr);
    const DWORD start = GetTickCount();
    w.actual = RunCase(w.c, WindowsSide());
    w.ms = GetTickCount() - start;
    WaitForSingleObject(watcher, INFINITE);  // its waits are bounded; `w` must outlive it
    CloseHandle(watcher);
    return Check(w.found, "a dialog titled \"%s\" appeared during the call", w.c.args.label.c_str());
}

// ---- the dialog ------------------------------------------------------------------

// A rectangle of the dialog's template (dialog units) in client pixels.
RECT Dlu(HWND dialog, int x, int y, int cx, int cy) {
    RECT r{x, y, x + cx, y + cy};
    MapDialogRect(dialog, &r);
    return r;
}

void CheckRect(HWND dialog, int id, RECT want, const char *what) {
    RECT r{};
    if (id == 0) GetClientRect(dialog, &r);
    if (id != 0) GetWindowRect(GetDlgItem(dialog, id), &r), MapWindowPoints(HWND_DESKTOP, dialog, (POINT *)&r, 2);
    Check(std::memcmp(&r, &want, sizeof r) == 0, "%s at (%ld, %ld, %ld, %ld), the template places it at (%ld, %ld, %ld, %ld)",
          what, r.left, r.top, r.right, r.bottom, want.left, want.top, want.right, want.bottom);
}

// Caption, button, classes, styles, owner, thread, place, layout and bar
// range of the open dialog.
void Inspect(const Watch &w, HWND dialog) {
    char text[256] = {};
    GetWindowTextA(dialog, text, sizeof text);
    Check(w.c.args.label == text, "caption is the call's Label, not %s", text);
    GetDlgItemTextA(dialog, 1001, text, sizeof text);
    Check(w.c.args.button == text, "button 1001 shows the call's ButtonText, not %s", text);
    GetClassNameA(GetDlgItem(dialog, 1000), text, sizeof text);
    Check(_stricmp(text, "msctls_progress32") == 0, "control 1000 is a progress bar, not %s", text);
    GetClassNameA(GetDlgItem(dialog, 1001), text, sizeof text);
    Check(_stricmp(text, "Button") == 0, "control 1001 is a button, not %s", text);
    const LONG style = GetWindowLongA(dialog, GWL_STYLE), exStyle = GetWindowLongA(dialog, GWL_EXSTYLE);
    Check(exStyle & WS_EX_TOPMOST, "the dialog is topmost (extended style %#lx)", (unsigned long)exStyle);
    Check((style & WS_CAPTION) == WS_CAPTION && (style & WS_POPUP), "the dialog is a captioned pop-up (style %#lx)",
          (unsigned long)style);
    Check(GetWindow(dialog, GW_OWNER) == nullptr && GetParent(dialog) == nullptr, "the dialog has no owner");
    Check(GetWindowThreadProcessId(dialog, nullptr) == w.caller, "the dialog runs on the calling thread");
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    const long width = w.window.right - w.window.left, height = w.window.bottom - w.window.top;
    Check(width > 0 && height > 0 && w.window.left == (screenWidth - width) / 2 &&
              w.window.top == (screenHeight - height) / 2,
          "the dialog (%ld, %ld, %ld x %ld) is centred on the %dx%d screen", w.window.left, w.window.top, width,
          height, screenWidth, screenHeight);
    CheckRect(dialog, 0, Dlu(dialog, 0, 0, 186, 82), "client area of 186 x 82 dialog units");
    CheckRect(dialog, 1000, Dlu(dialog, 7, 23, 172, 16), "progress bar");
    CheckRect(dialog, 1001, Dlu(dialog, 56, 46, 70, 15), "button");
    PBRANGE range{};
    SendMessageA(GetDlgItem(dialog, 1000), PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
    Check(range.iLow == 0 && range.iHigh == 100, "bar range is %d..%d, expected 0..100", range.iLow, range.iHigh);
}

void Dialog() {
    Watch r{Action::kInspect};
    if (!RunWatched(kDialogCase, r)) return;
    // Looking at the dialog changes nothing of the call.
    for (const std::string &p : Compare(r.expected, r.actual)) Check(false, "%s: %s", r.c.name.c_str(), p.c_str());
    Check(r.actual.Int("Status") == 0, "the call completes with status 0");
}

// ---- cancel ----------------------------------------------------------------------

// The click lands during the scan: status 1 after the current file, whole
// files delivered, each series the full call's first points and untouched
// after them; the log, the factor and the dialog count are the full call's.
void Cancel() {
    Watch r{Action::kClick};
    if (!RunWatched(kCancelCase, r)) return;
    const int status = int(r.actual.Int("Status")), result = r.actual.result, full = int(r.expected.Int("result"));
    std::printf("cancelled call: status %d, %d of %d points, %lu ms\n", status, result, full, r.ms);
    if (!Check(status == 1, "status after the click is %d, expected 1 (0: the scan ended before the click)", status)) return;
    Check(result > 0 && result < full && result % kCancelRecordsPerFile == 0,
          "a cancelled call delivers whole files: %d points of %d, %d per file", result, full, kCancelRecordsPerFile);
    const size_t points = size_t(r.c.args.points), delivered = size_t(std::max(result, 0));
    for (const trova::calls::Block &b : r.expected.blocks) {
        const trova::calls::Block *a = r.actual.Find(b.name);
        if (b.name == "Status" || b.name == "result" || a == nullptr) continue;
        std::vector<uint8_t> want = b.bytes;
        // A series block holds segments of Points elements and the guard,
        // which still holds the fill.
        const size_t size = b.type == 'd' ? 8 : 4, elements = want.size() / size, segments = (elements - 1) / points;
        for (size_t s = 0; b.type != 't' && segments * points + 1 == elements && s < segments; ++s) {
            for (size_t p = delivered; p < points; ++p) {
                std::memcpy(&want[(s * points + p) * size], &b.bytes[(elements - 1) * size], size);
            }
        }
        Check(a->bytes == want, "%s of the cancelled call is not the full call's first %zu points", b.name.c_str(), delivered);
    }
}

// ---- log -------------------------------------------------------------------------

// A call with an absolute path: the log names the path as given, in lines
// that end in CR LF; without C:\Temp there is no log and the call is the same.
void Log() {
    const Case *found = FindCase(gCases, "xt-reference-quantity");
    if (!Check(found != nullptr, "the case xt-reference-quantity is in the table")) return;
    Case c = *found;
    c.path = FullPath("rec\\trend-ref\\meas.001.dat");
    const Outcome logged = RunCase(c, WindowsSide());
    Check(logged.Int("Status") == 0, "the call completes with status 0");
    const std::string log = ReadFile(kLogFile);
    Check(log.find("\r\nPathFile  = " + c.path + "\r\n") != std::string::npos &&
              log.find("\r\nGetFileInformation (Init) = " + c.path + "\r\n") != std::string::npos,
          "the log names %s as given:\n%s", c.path.c_str(), log.c_str());
    size_t bare = 0;
    for (size_t i = 0; i < log.size(); ++i) bare += log[i] == '\n' && (i == 0 || log[i - 1] != '\r');
    Check(bare == 0 && !log.empty() && log.back() == '\n', "every line of the log ends with CR LF");
    const char *aside = "C:\\Temp.trova-host-aside";
    if (Check(MoveFileA(kLogDirectory, aside), "C:\\Temp can be put aside")) {
        const Outcome unlogged = RunCase(c, WindowsSide());
        Check(Compare(logged, unlogged).size() == 1, "without C:\\Temp only the log differs");
        Check(GetFileAttributesA(kLogDirectory) == INVALID_FILE_ATTRIBUTES, "the module does not create C:\\Temp");
        Check(MoveFileA(aside, kLogDirectory), "C:\\Temp is put back");
    }
    DeleteFileA(kLogFile);
}

// ---- threads ---------------------------------------------------------------------

// Reader_XT over the trend-ref recording, `points` points.
trova::calls::Args gXtArgs;
std::string gThreadsPath;

Outcome CallXt(int points) {
    std::string path = gThreadsPath;
    trova::calls::Args args = gXtArgs;
    args.points = points;
    return trova::calls::Call(gReaders, Export::XT, args, path.data(), {}, 1);
}

bool Same(const Outcome &a, const Outcome &b) { return a.result == b.result && a.Bytes() == b.Bytes(); }

struct Caller {
    int points;
    Outcome alone;
    int mismatches = 0;
};
LONG gCallsDone = 0;     // by the two calling threads
DWORD gAnsweredBy = 0;   // the thread that answered WM_APP

DWORD WINAPI CallFourTimes(void *context) {
    Caller &c = *static_cast<Caller *>(context);
    for (int i = 0; i < 4; ++i) c.mismatches += !Same(CallXt(c.points), c.alone), InterlockedIncrement(&gCallsDone);
    return 0;
}

LRESULT CALLBACK Answer(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_APP) return gAnsweredBy = GetCurrentThreadId(), 42;
    return DefWindowProcA(window, message, wParam, lParam);
}

// Answered while the main thread waits for its call: no call has ended yet.
DWORD WINAPI SendWhileWaiting(void *window) {
    Sleep(150);
    DWORD_PTR answer = 0;
    const bool answered = SendMessageTimeoutA(HWND(window), WM_APP, 0, 0, SMTO_BLOCK, 5000, &answer) && answer == 42;
    return answered && InterlockedCompareExchange(&gCallsDone, 0, 0) == 0;
}

// Two threads make four calls each with their own point count; this thread,
// which owns a window, calls too while the first of them runs (at least its
// 500 ms pause) and waits; a third thread sends to that window meanwhile and
// gets its answer from the waiting thread. Every call gives what it gives
// alone (a lost status would leave -7777).
void ThreeCallingThreads() {
    Caller a{40, CallXt(40)}, b{13, CallXt(13)};
    Check(a.alone.Int("Status") == 0 && a.alone.result == 40 && b.alone.Int("Status") == 0 && b.alone.result > 0,
          "a call alone gives its points");
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = Answer;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "trova-threads-answer";
    RegisterClassA(&windowClass);
    HWND window = CreateWindowA(windowClass.lpszClassName, "", 0, 0, 0, 10, 10, nullptr, nullptr, windowClass.hInstance, nullptr);
    HANDLE threads[3] = {CreateThread(nullptr, 0, CallFourTimes, &a, 0, nullptr),
                         CreateThread(nullptr, 0, CallFourTimes, &b, 0, nullptr)};
    Sleep(100);
    threads[2] = CreateThread(nullptr, 0, SendWhileWaiting, window, 0, nullptr);
    const Outcome mine = CallXt(40);
    DWORD answeredInTime = 0;
    const bool ran = threads[0] && threads[1] && threads[2] &&
                     WaitForMultipleObjects(3, threads, TRUE, INFINITE) == WAIT_OBJECT_0 &&
                     GetExitCodeThread(threads[2], &answeredInTime);
    for (HANDLE thread : threads) CloseHandle(thread);
    DestroyWindow(window);
    Check(ran && a.mismatches == 0 && b.mismatches == 0 && Same(mine, a.alone),
          "every call of three threads gives what it gives alone (%d, %d differ)", a.mismatches, b.mismatches);
    Check(answeredInTime && gAnsweredBy == GetCurrentThreadId(),
          "a message sent to a waiting thread's window is answered by that thread while another call runs");
}

Outcome gReentered;
bool gTimerFired = false;

// Runs inside the dialog's modal loop, on the thread whose call is running.
void CALLBACK ReenterFromTimer(HWND, UINT, UINT_PTR timer, DWORD) {
    KillTimer(nullptr, timer);
    if (!gTimerFired) gTimerFired = true, gReentered = CallXt(40);
}

// A timer procedure calls a reader while the thread's own call runs: it is
// refused at once (status 6, result 0, no output, no log line) and the
// running call ends as it would alone.
void ReenteredFromTimer() {
    const Outcome alone = CallXt(40);
    DeleteFileA(kLogFile);
    SetTimer(nullptr, 0, 20, ReenterFromTimer);
    const Outcome outer = CallXt(40);
    Check(gTimerFired, "the timer fired inside the dialog's message loop");
    Check(gReentered.Int("Status") == TROVA_READER_BUSY && gReentered.result == 0,
          "the re-entered call gets status 6 and result 0");
    Check(gReentered.Bytes("Status") == trova::calls::Untouched(Export::XT, gXtArgs, {}, 1).Bytes("Status"),
          "the re-entered call touches no output");
    Check(Same(outer, alone), "the running call ends as it does alone");
    const std::string log = ReadFile(kLogFile);
    Check(log.find("Start Reader_XT") == log.rfind("Start Reader_XT"), "only the running call is logged");
}

void Threads() {
    gThreadsPath = FullPath("rec\\trend-ref\\meas.001.dat");
    gXtArgs.quantity = 3, gXtArgs.minMax = 1, gXtArgs.points = 40, gXtArgs.label = "trova host: threads";
    ThreeCallingThreads();
    ReenteredFromTimer();
}

// ---- demo: a dialog held open for a screenshot -----------------------------------------

// Once the bar has moved, the threads the call started are paused so the
// dialog holds still; the dialog's rectangle goes to demo-dialog.txt, and when
// the screenshot script has made demo-shot.done they go on and the button is
// clicked. While they are paused this thread allocates nothing.
std::vector<DWORD> ThreadsOfThisProcess() {
    std::vector<DWORD> threads;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) threads.push_back(entry.th32ThreadID);
    }
    CloseHandle(snapshot);
    return threads;
}

void HoldForScreenshot(const Watch &w, HWND dialog) {
    for (DWORD start = GetTickCount(); GetTickCount() - start < 20000;) {
        if (SendMessageA(GetDlgItem(dialog, 1000), PBM_GETPOS, 0, 0) >= 30) break;
    }
    const std::vector<DWORD> threads = ThreadsOfThisProcess();
    std::vector<HANDLE> paused;
    paused.reserve(threads.size());
    for (DWORD id : threads) {
        const bool known = id == GetCurrentThreadId() || std::count(w.before.begin(), w.before.end(), id);
        HANDLE thread = known ? nullptr : OpenThread(THREAD_SUSPEND_RESUME, FALSE, id);
        if (thread != nullptr && SuspendThread(thread) != DWORD(-1)) paused.push_back(thread);
    }
    Sleep(500);  // the dialog thread repaints the bar
    char line[128];
    const int n = std::snprintf(line, sizeof line, "%ld %ld %ld %ld\n", w.window.left, w.window.top, w.window.right,
                                w.window.bottom);
    HANDLE file = CreateFileA("demo-dialog.txt", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, line, DWORD(n), &written, nullptr);
    CloseHandle(file);
    for (DWORD start = GetTickCount(); GetTickCount() - start < 60000;) {
        if (GetFileAttributesA("demo-shot.done") != INVALID_FILE_ATTRIBUTES) break;
        Sleep(50);
    }
    for (HANDLE thread : paused) ResumeThread(thread), CloseHandle(thread);
}

void Demo() {
    DeleteFileA("demo-dialog.txt");
    DeleteFileA("demo-shot.done");
    Watch r{Action::kDemo};
    RunWatched(kCancelCase, r);
}

}  // namespace

int main(int argc, char **argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const std::pair<std::string, void (*)()> groups[] = {{"crosscheck", Crosscheck}, {"dialog", Dialog},
        {"cancel", Cancel}, {"log", Log}, {"threads", Threads}, {"demo", Demo}};
    for (const auto &[name, run] : groups) {
        if (argc != 2 || name != argv[1]) continue;
        if (!LoadTrova()) return 2;
        run();
        std::printf("%s: %d checks, %d failed\n", name.c_str(), gChecks, gFailures);
        return gFailures == 0 ? 0 : 1;
    }
    std::fprintf(stderr, "usage: trova_host crosscheck|dialog|cancel|log|threads|demo\n");
    return 2;
}
