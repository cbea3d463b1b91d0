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
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "crosscheck.h"

using namespace trova::crosscheck;
using trova::calls::Args;

namespace {

// ---- reporting ---------------------------------------------------------------

int gFailures = 0;
int gChecks = 0;

// Counts a check; prints the message when it fails. Fail is a check that failed.
bool Check(bool condition, const char *format, ...) {
    ++gChecks;
    if (condition) return true;
    ++gFailures;
    std::printf("FAIL ");
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\n");
    return false;
}
#define Fail(...) Check(false, __VA_ARGS__)

int Finish(const char *group) {
    std::printf("%s: %d checks, %d failed\n", group, gChecks, gFailures);
    return gFailures == 0 ? 0 : 1;
}

// ---- the DLL -------------------------------------------------------------------

constexpr const char *kLogDirectory = "C:\\Temp";
constexpr const char *kLogFile = "C:\\Temp\\TrovaDLL.LOG";

HMODULE gModule = nullptr;
trova::calls::Readers gReaders;
std::vector<Case> gCases;

// Loads trova.dll from this program's directory, binds the thirteen
// exports by the names the host uses (Reader_FFT_HIST2 by its decorated
// name) and the describe call, and reads the table of cases. What else the
// DLL exports and imports is checked from the file (windows_dll_exports).
bool LoadTrova() {
    gModule = LoadLibraryA("trova.dll");
    if (gModule == nullptr) {
        std::printf("cannot load trova.dll (error %lu)\n", GetLastError());
        return false;
    }
    const std::vector<std::string> missing = trova::calls::BindReaders(
        [](const char *name) {
            // Through void(*)(): no warning for the cast to the real type.
            return reinterpret_cast<void (*)()>(GetProcAddress(gModule, name));
        },
        gReaders);
    for (const std::string &name : missing) Fail("trova.dll does not export %s", name.c_str());
    const std::set<void (*)()> distinct(std::begin(gReaders.reader), std::end(gReaders.reader));
    Check(distinct.size() == trova::calls::kExportCount, "the thirteen exports are %zu functions",
          distinct.size());
    std::string error;
    if (!ReadCases(kCaseFile, gCases, error)) Fail("%s", error.c_str());
    return missing.empty() && !gCases.empty();
}

// Dialogs created on this thread, counted by a window-creation hook: the
// progress dialog is the only top-level dialog the readers create.
int gDialogsCreated = 0;

LRESULT CALLBACK CountDialogs(int code, WPARAM wParam, LPARAM lParam) {
    if (code == HCBT_CREATEWND) {
        char name[64] = {};
        GetClassNameA(reinterpret_cast<HWND>(wParam), name, sizeof name);
        if (std::strcmp(name, "#32770") == 0) ++gDialogsCreated;
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

bool InstallDialogCounter() {
    return SetWindowsHookExA(WH_CBT, CountDialogs, nullptr, GetCurrentThreadId()) != nullptr;
}

std::string ReadFileBytes(const char *path, bool *exists = nullptr) {
    std::string text;
    std::FILE *file = std::fopen(path, "rb");
    if (exists != nullptr) *exists = file != nullptr;
    if (file == nullptr) return text;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, n);
    std::fclose(file);
    return text;
}

Side WindowsSide() {
    Side side;
    side.readers = gReaders;
    side.separator = '\\';
    side.clearLog = [] { DeleteFileA(kLogFile); };
    side.readLog = [] { return ReadFileBytes(kLogFile); };
    side.dialogsOpened = [] { return gDialogsCreated; };
    return side;
}

bool LoadExpected(const Case &c, Outputs &expected) {
    const std::string text = ReadFileBytes(ExpectedFile(c, '\\').c_str());
    if (!Outputs::Parse(std::vector<std::uint8_t>(text.begin(), text.end()), expected)) {
        Fail("%s: no expected outputs in %s (run from the data directory that "
             "trova_reference write made)",
             c.name.c_str(), ExpectedFile(c, '\\').c_str());
        return false;
    }
    return true;
}

std::string FullPath(const std::string &relative) {
    char full[MAX_PATH];
    const DWORD n = GetFullPathNameA(relative.c_str(), sizeof full, full, nullptr);
    return n > 0 && n < sizeof full ? std::string(full) : relative;
}

// ---- a second thread that watches for the progress dialog ---------------------------

struct Watch;
void CheckDialog(const Watch &w, HWND dialog);
void Demo(Watch &w, HWND dialog);

struct Watch {
    std::string title;        // the dialog to find (caption = the call's Label)
    std::string button;       // the button text it must show
    bool click = false;       // press the button as soon as it is found
    bool demo = false;        // hold the dialog for a screenshot (see Demo)
    DWORD caller = 0;         // the thread whose call opens it
    RECT window{};            // filled by the watcher while the dialog is open
    bool found = false, clicked = false;
};

// The rectangle of a control in its dialog's client coordinates, and a
// rectangle of the template in dialog units.
RECT ChildRect(HWND dialog, int id) {
    RECT r{};
    GetWindowRect(GetDlgItem(dialog, id), &r);
    MapWindowPoints(HWND_DESKTOP, dialog, reinterpret_cast<POINT *>(&r), 2);
    return r;
}

RECT Dlu(HWND dialog, int x, int y, int cx, int cy) {
    RECT r{x, y, x + cx, y + cy};
    MapDialogRect(dialog, &r);
    return r;
}

void CheckRect(const RECT &a, const RECT &b, const char *what) {
    Check(a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom,
          "%s at (%ld, %ld, %ld, %ld), the template places it at (%ld, %ld, %ld, %ld)", what,
          long(a.left), long(a.top), long(a.right), long(a.bottom), long(b.left), long(b.top),
          long(b.right), long(b.bottom));
}

DWORD WINAPI WatchDialog(void *context) {
    Watch &w = *static_cast<Watch *>(context);
    HWND dialog = nullptr;
    for (DWORD start = GetTickCount(); GetTickCount() - start < 30000;) {
        dialog = FindWindowA("#32770", w.title.c_str());
        if (dialog != nullptr) break;
        if (!w.click) Sleep(1);  // the cancel check looks as fast as it can
    }
    if (dialog == nullptr) return 0;
    // The title is set halfway through WM_INITDIALOG; the dialog is shown
    // only after it has returned, when the button text is set and the
    // worker runs (a click before that would be cleared with the event).
    for (DWORD start = GetTickCount(); !IsWindowVisible(dialog) && GetTickCount() - start < 30000;) {
        if (!w.click) Sleep(1);
    }
    if (!IsWindowVisible(dialog)) return 0;
    w.found = true;
    GetWindowRect(dialog, &w.window);
    if (w.click) {
        // A real click: the button procedure turns it into WM_COMMAND.
        SendMessageA(GetDlgItem(dialog, 1001), BM_CLICK, 0, 0);
        w.clicked = true;
    } else if (w.demo) {
        Demo(w, dialog);
    } else {
        CheckDialog(w, dialog);  // the calling thread waits in the call meanwhile
    }
    return 0;
}

HANDLE StartWatch(Watch &w) { return CreateThread(nullptr, 0, WatchDialog, &w, 0, nullptr); }

void EndWatch(HANDLE thread) {
    if (thread == nullptr) return;
    WaitForSingleObject(thread, 60000);
    CloseHandle(thread);
}

// ---- cross-check -----------------------------------------------------------------

int RunCrosscheck() {
    if (!LoadTrova() || !InstallDialogCounter()) return 2;
    CreateDirectoryA(kLogDirectory, nullptr);
    const Side side = WindowsSide();
    int compared = 0;
    for (const Case &c : gCases) {
        Outputs expected;
        if (!LoadExpected(c, expected)) continue;
        const DWORD start = GetTickCount();
        const Outputs actual = RunCase(c, side);
        const std::vector<std::string> problems = Compare(expected, actual);
        ++gChecks;
        ++compared;
        if (problems.empty()) {
            std::printf("ok   %-34s status %d, result %d, %lu ms\n", c.name.c_str(),
                        static_cast<int>(actual.Int("Status")),
                        static_cast<int>(actual.Int("result")), GetTickCount() - start);
        } else {
            Fail("differs from the Linux build: %s", FormatCase(c).c_str());
            for (const std::string &p : problems) std::printf("    %s\n", p.c_str());
        }
    }
    DeleteFileA(kLogFile);
    std::printf("%d cases compared\n", compared);
    return Finish("crosscheck");
}

// ---- the dialog ------------------------------------------------------------------

// Caption, button, classes, styles, owner, thread, place, layout and bar
// range of the open dialog.
void CheckDialog(const Watch &w, HWND dialog) {
    char text[256] = {};
    GetWindowTextA(dialog, text, sizeof text);
    Check(w.title == text, "caption is the call's Label, not %s", text);
    GetDlgItemTextA(dialog, 1001, text, sizeof text);
    Check(w.button == text, "button 1001 shows the call's ButtonText, not %s", text);
    GetClassNameA(GetDlgItem(dialog, 1000), text, sizeof text);
    Check(_stricmp(text, "msctls_progress32") == 0, "control 1000 is a progress bar, not %s", text);
    GetClassNameA(GetDlgItem(dialog, 1001), text, sizeof text);
    Check(_stricmp(text, "Button") == 0, "control 1001 is a button, not %s", text);
    const LONG style = GetWindowLongA(dialog, GWL_STYLE), exStyle = GetWindowLongA(dialog, GWL_EXSTYLE);
    Check((exStyle & WS_EX_TOPMOST) != 0, "the dialog is topmost (extended style %#lx)", (unsigned long)exStyle);
    Check((style & WS_CAPTION) == WS_CAPTION && (style & WS_POPUP) != 0,
          "the dialog is a captioned pop-up (style %#lx)", (unsigned long)style);
    Check(GetWindow(dialog, GW_OWNER) == nullptr && GetParent(dialog) == nullptr, "the dialog has no owner");
    Check(GetWindowThreadProcessId(dialog, nullptr) == w.caller, "the dialog runs on the calling thread");
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    const long width = w.window.right - w.window.left, height = w.window.bottom - w.window.top;
    Check(width > 0 && height > 0 && w.window.left == (screenWidth - width) / 2 &&
              w.window.top == (screenHeight - height) / 2,
          "the dialog (%ld, %ld, %ld x %ld) is centred on the %dx%d screen", long(w.window.left),
          long(w.window.top), width, height, screenWidth, screenHeight);
    RECT client{};
    GetClientRect(dialog, &client);
    CheckRect(client, Dlu(dialog, 0, 0, 186, 82), "client area of 186 x 82 dialog units");
    CheckRect(ChildRect(dialog, 1000), Dlu(dialog, 7, 23, 172, 16), "progress bar");
    CheckRect(ChildRect(dialog, 1001), Dlu(dialog, 56, 46, 70, 15), "button");
    PBRANGE range{};
    SendMessageA(GetDlgItem(dialog, 1000), PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
    Check(range.iLow == 0 && range.iHigh == 100, "bar range is %d..%d, expected 0..100", range.iLow, range.iHigh);
}

int RunDialog() {
    if (!LoadTrova() || !InstallDialogCounter()) return 2;
    CreateDirectoryA(kLogDirectory, nullptr);
    const Case *c = FindCase(gCases, kDialogCase);
    Outputs expected;
    if (c == nullptr || !LoadExpected(*c, expected)) return Finish("dialog");

    Watch w;
    w.title = c->args.label, w.button = c->args.button, w.caller = GetCurrentThreadId();
    HANDLE watcher = StartWatch(w);
    const Outputs actual = RunCase(*c, WindowsSide());
    EndWatch(watcher);
    Check(w.found, "a window titled \"%s\" appeared during the call", w.title.c_str());
    // Looking at the dialog changes nothing of the call.
    for (const std::string &p : Compare(expected, actual)) Fail("%s: %s", c->name.c_str(), p.c_str());
    Check(actual.Int("Status") == 0, "the call completes with status 0");
    return Finish("dialog");
}

// ---- cancel ----------------------------------------------------------------------

// A Reader_XT output block of a cancelled call: the points before `points`
// of each segment as in the full call, everything after them untouched.
std::vector<std::uint8_t> Prefix(const trova::calls::Block &full, size_t segment, size_t segments, size_t points,
                                 size_t elementSize) {
    std::vector<std::uint8_t> out = full.bytes;
    const size_t elements = out.size() / elementSize;
    // The fill pattern is what the guard element (the last one) still holds.
    const std::uint8_t *fill = full.bytes.data() + (elements - 1) * elementSize;
    for (size_t s = 0; s < segments; ++s) {
        for (size_t p = points; p < segment; ++p) {
            std::memcpy(out.data() + (s * segment + p) * elementSize, fill, elementSize);
        }
    }
    return out;
}

int RunCancel() {
    if (!LoadTrova() || !InstallDialogCounter()) return 2;
    CreateDirectoryA(kLogDirectory, nullptr);
    const Case *c = FindCase(gCases, kCancelCase);
    Outputs full;
    if (c == nullptr || !LoadExpected(*c, full)) return Finish("cancel");

    Watch w;
    w.title = c->args.label;
    w.click = true;
    HANDLE watcher = StartWatch(w);
    const DWORD start = GetTickCount();
    const Outputs actual = RunCase(*c, WindowsSide());
    const DWORD elapsed = GetTickCount() - start;
    EndWatch(watcher);
    Check(w.found && w.clicked, "the watcher found the dialog and clicked its button");

    const int status = actual.Int("Status");
    const int result = actual.Int("result");
    const int fullResult = full.Int("result");
    std::printf("cancelled call: status %d, %d of %d points, %lu ms\n", status, result, fullResult,
                elapsed);
    if (!Check(status == 1, "status after the click is %d, expected 1 (cancelled); a status of 0 "
                            "means the scan ended before the click landed",
               status)) {
        return Finish("cancel");
    }
    // The worker stops after the file it is reading: whole files, at least
    // the first, fewer than all.
    Check(result > 0 && result < fullResult && result % kCancelRecordsPerFile == 0,
          "a cancelled call delivers whole files: %d points of %d, %d per file", result, fullResult,
          kCancelRecordsPerFile);

    const size_t points = static_cast<size_t>(c->args.points);
    const size_t delivered = result > 0 ? static_cast<size_t>(result) : 0;
    for (const trova::calls::Block &b : full.blocks) {
        const Block *a = actual.Find(b.name);
        if (a == nullptr || b.name == "Status" || b.name == "result") continue;
        std::vector<std::uint8_t> expected = b.bytes;
        if (b.name == "MinValues" || b.name == "MaxValues" || b.name == "MeanValues") {
            expected = Prefix(b, points, 5, delivered, 4);
        } else if (b.name == "Times") {
            expected = Prefix(b, points, 2, delivered, 8);
        } else if (b.name == "FlagWords") {
            expected = Prefix(b, points, 1, delivered, 4);
        }
        // The log, the factor and the dialog count are those of the full call.
        Check(a->bytes == expected, "%s of the cancelled call is not the full call's first %zu points",
              b.name.c_str(), delivered);
    }
    return Finish("cancel");
}

// ---- log -------------------------------------------------------------------------

// Puts C:\Temp aside for the lifetime of the object and back afterwards.
class TempDirectoryAside {
public:
    TempDirectoryAside() {
        if (GetFileAttributesA(kLogDirectory) != INVALID_FILE_ATTRIBUTES) {
            moved_ = MoveFileA(kLogDirectory, kAside) != 0;
            ok_ = moved_;
        }
    }
    ~TempDirectoryAside() {
        if (moved_) MoveFileA(kAside, kLogDirectory);
    }
    bool ok() const { return ok_; }

private:
    static constexpr const char *kAside = "C:\\Temp.trova-host-aside";
    bool moved_ = false;
    bool ok_ = true;
};

// A call with an absolute path: the log names the path as given, in lines
// that end in CR LF; without C:\Temp there is no log and the call is the same.
int RunLog() {
    if (!LoadTrova()) return 2;
    const Case *relative = FindCase(gCases, "xt-reference-quantity");
    if (relative == nullptr) return 2;
    Case c = *relative;
    c.path = FullPath("rec\\trend-ref\\meas.001.dat");
    CreateDirectoryA(kLogDirectory, nullptr);
    const Outputs logged = RunCase(c, WindowsSide());
    Check(logged.Int("Status") == 0, "the call completes with status 0");
    const std::string log = ReadFileBytes(kLogFile);
    Check(log.find("\r\nPathFile  = " + c.path + "\r\n") != std::string::npos &&
              log.find("\r\nGetFileInformation (Init) = " + c.path + "\r\n") != std::string::npos,
          "the log names %s as given:\n%s", c.path.c_str(), log.c_str());
    size_t bare = 0;
    for (size_t i = 0; i < log.size(); ++i) bare += log[i] == '\n' && (i == 0 || log[i - 1] != '\r');
    Check(bare == 0 && !log.empty() && log.back() == '\n', "every line of the log ends with CR LF");
    {
        TempDirectoryAside aside;
        if (Check(aside.ok(), "C:\\Temp could not be put aside")) {
            const Outputs unlogged = RunCase(c, WindowsSide());
            Check(Compare(logged, unlogged).size() == 1, "without C:\\Temp only the log differs");
            Check(GetFileAttributesA(kLogDirectory) == INVALID_FILE_ATTRIBUTES,
                  "the module does not create C:\\Temp");
        }
    }
    Check(GetFileAttributesA(kLogDirectory) != INVALID_FILE_ATTRIBUTES, "C:\\Temp is back");
    DeleteFileA(kLogFile);
    return Finish("log");
}

// ---- threads ---------------------------------------------------------------------

using trova::calls::Outcome;

std::string gThreadsPath;  // the trend-ref recording, a full path

Args XtArgs(int points) {
    Args args;
    args.quantity = 3, args.minMax = 1, args.points = points, args.label = "trova host: threads";
    return args;
}

// Reader_XT over the trend-ref recording, `points` points.
Outcome CallXt(int points) {
    std::string path = gThreadsPath;
    return trova::calls::Call(gReaders, trova::calls::Export::XT, XtArgs(points), path.data(), {}, 1);
}

bool Same(const Outcome &a, const Outcome &b) { return a.result == b.result && a.Bytes() == b.Bytes(); }

struct Worker {
    int points;
    Outcome expected;
    int mismatches = 0;
};

DWORD WINAPI CallRepeatedly(void *context) {
    Worker &w = *static_cast<Worker *>(context);
    for (int i = 0; i < 4; ++i) {
        if (!Same(CallXt(w.points), w.expected)) ++w.mismatches;
    }
    return 0;
}

// Two threads, each four calls with its own point count: every call gives
// what it gives alone (a lost status would leave -1).
void TwoThreads() {
    Worker a{40, CallXt(40)}, b{13, CallXt(13)};
    Check(a.expected.Int("Status") == 0 && a.expected.result == 40, "a call alone gives 40 points");
    Check(b.expected.Int("Status") == 0 && b.expected.result > 0, "a call alone gives its points");
    HANDLE threads[2] = {CreateThread(nullptr, 0, CallRepeatedly, &a, 0, nullptr),
                         CreateThread(nullptr, 0, CallRepeatedly, &b, 0, nullptr)};
    if (threads[0] == nullptr || threads[1] == nullptr) {
        Check(false, "two threads could be started");
        return;
    }
    WaitForMultipleObjects(2, threads, TRUE, INFINITE);
    CloseHandle(threads[0]);
    CloseHandle(threads[1]);
    Check(a.mismatches == 0, "the first thread's calls all give what one call alone gives");
    Check(b.mismatches == 0, "the second thread's calls all give what one call alone gives");
}

// ---- a waiting thread answers messages sent to its windows ----------------

DWORD gAnsweredBy = 0;

LRESULT CALLBACK Answer(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_APP) return gAnsweredBy = GetCurrentThreadId(), 42;
    return DefWindowProcA(window, message, wParam, lParam);
}

LONG gFirstCallDone = 0;  // set when thread B's call has returned

DWORD WINAPI CallOnce(void *context) {
    *static_cast<Outcome *>(context) = CallXt(40);
    InterlockedExchange(&gFirstCallDone, 1);
    return 0;
}

struct Sender {
    HWND window;
    bool answered = false;
    bool whileFirstCallRan = false;
};

// Sends to the main thread's window while that thread waits for its call.
DWORD WINAPI SendWhileWaiting(void *context) {
    Sender &s = *static_cast<Sender *>(context);
    Sleep(150);
    DWORD_PTR answer = 0;
    s.answered = SendMessageTimeoutA(s.window, WM_APP, 0, 0, SMTO_BLOCK, 5000, &answer) != 0 &&
                 answer == 42;
    s.whileFirstCallRan = InterlockedCompareExchange(&gFirstCallDone, 0, 0) == 0;
    return 0;
}

// Thread B's call runs (at least its 500 ms pause); the main thread, which
// owns a window, calls too and waits; a third thread sends to that window
// meanwhile and gets its answer from the waiting thread.
void WaitingThreadAnswersSentMessages() {
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = Answer;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "trova-threads-answer";
    RegisterClassA(&windowClass);
    HWND window = CreateWindowA("trova-threads-answer", "", 0, 0, 0, 10, 10, nullptr, nullptr,
                                windowClass.hInstance, nullptr);
    Outcome first;
    Sender sender{window};
    HANDLE b = CreateThread(nullptr, 0, CallOnce, &first, 0, nullptr);
    Sleep(100);
    HANDLE c = CreateThread(nullptr, 0, SendWhileWaiting, &sender, 0, nullptr);
    const Outcome second = CallXt(40);
    HANDLE both[2] = {b, c};
    WaitForMultipleObjects(2, both, TRUE, INFINITE);
    CloseHandle(b), CloseHandle(c);
    DestroyWindow(window);
    Check(sender.answered && gAnsweredBy == GetCurrentThreadId(),
          "a message sent to a waiting thread's window is answered by that thread");
    Check(sender.whileFirstCallRan, "it is answered while the other thread's call still runs");
    Check(first.Int("Status") == 0 && second.Int("Status") == 0, "both calls complete with status 0");
}

Outcome gReentered;
bool gTimerFired = false;

// Runs inside the dialog's modal loop, on the thread whose call is running.
void CALLBACK ReenterFromTimer(HWND, UINT, UINT_PTR timer, DWORD) {
    KillTimer(nullptr, timer);
    if (gTimerFired) return;
    gTimerFired = true;
    gReentered = CallXt(40);
}

// A timer procedure calls a reader while the thread's own call runs: it is
// refused at once (status 6, result 0, no output, no log line) and the
// running call ends as it would alone.
void ReenteredFromTimer() {
    const Outcome alone = CallXt(40);
    CreateDirectoryA(kLogDirectory, nullptr);
    DeleteFileA(kLogFile);
    SetTimer(nullptr, 0, 20, ReenterFromTimer);
    const Outcome outer = CallXt(40);
    Check(gTimerFired, "the timer fired inside the dialog's message loop");
    Check(gReentered.Int("Status") == TROVA_READER_BUSY && gReentered.result == 0,
          "the re-entered call gets status 6 and result 0");
    Check(gReentered.Bytes("Status") == trova::calls::Untouched(trova::calls::Export::XT, XtArgs(40), {}, 1).Bytes("Status"),
          "the re-entered call touches no output");
    Check(Same(outer, alone), "the running call ends as it does alone");
    Check(ReadFileBytes(kLogFile).find("Start Reader_XT") == ReadFileBytes(kLogFile).rfind("Start Reader_XT"), "only the running call is logged");
}


int RunThreads() {
    if (!LoadTrova()) return 2;
    gThreadsPath = FullPath("rec\\trend-ref\\meas.001.dat");
    TwoThreads();
    WaitingThreadAnswersSentMessages();
    ReenteredFromTimer();
    return Finish("threads");
}

// ---- demo: a dialog held open for a screenshot -----------------------------------------

// Threads of this process other than those in `known`.
std::vector<DWORD> NewThreads(const std::set<DWORD> &known) {
    std::vector<DWORD> threads;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return threads;
    THREADENTRY32 entry;
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && known.count(entry.th32ThreadID) == 0) {
            threads.push_back(entry.th32ThreadID);
        }
    }
    CloseHandle(snapshot);
    return threads;
}

std::set<DWORD> gThreadsBeforeCall;
constexpr const char *kDemoRectFile = "demo-dialog.txt";
constexpr const char *kDemoDoneFile = "demo-shot.done";

// Once the bar has moved, the worker is paused so the dialog holds still;
// the dialog's rectangle goes to demo-dialog.txt, and when the screenshot
// script has made demo-shot.done the worker goes on and the button is
// clicked. While the worker is paused this thread allocates nothing.
void Demo(Watch &w, HWND dialog) {
    HWND bar = GetDlgItem(dialog, 1000);
    for (DWORD start = GetTickCount(); GetTickCount() - start < 20000;) {
        if (SendMessageA(bar, PBM_GETPOS, 0, 0) >= 30) break;
    }
    std::set<DWORD> known = gThreadsBeforeCall;
    known.insert(GetCurrentThreadId());
    const std::vector<DWORD> workers = NewThreads(known);
    std::vector<HANDLE> paused;
    paused.reserve(workers.size());
    for (DWORD id : workers) {
        HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME, FALSE, id);
        if (thread != nullptr && SuspendThread(thread) != static_cast<DWORD>(-1)) {
            paused.push_back(thread);
        }
    }
    Sleep(500);  // the dialog thread repaints the bar
    char line[128];
    const int n = std::snprintf(line, sizeof line, "%ld %ld %ld %ld\n", static_cast<long>(w.window.left),
                                static_cast<long>(w.window.top), static_cast<long>(w.window.right),
                                static_cast<long>(w.window.bottom));
    HANDLE file = CreateFileA(kDemoRectFile, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        DWORD written = 0;
        WriteFile(file, line, static_cast<DWORD>(n), &written, nullptr);
        CloseHandle(file);
    }
    for (DWORD start = GetTickCount(); GetTickCount() - start < 60000;) {
        if (GetFileAttributesA(kDemoDoneFile) != INVALID_FILE_ATTRIBUTES) break;
        Sleep(50);
    }
    for (HANDLE thread : paused) {
        ResumeThread(thread);
        CloseHandle(thread);
    }
    SendMessageA(GetDlgItem(dialog, 1001), BM_CLICK, 0, 0);
    w.clicked = true;
}

int RunDemo() {
    if (!LoadTrova()) return 2;
    DeleteFileA(kDemoRectFile);
    DeleteFileA(kDemoDoneFile);
    const Case *c = FindCase(gCases, kCancelCase);
    if (c == nullptr) return 2;
    Watch w;
    w.title = "Reading meas.0001.dat";
    w.demo = true;
    Case demo = *c;
    demo.args.label = "Reading meas.0001.dat";
    demo.args.button = "Cancel";
    gThreadsBeforeCall = {GetCurrentThreadId()};
    HANDLE watcher = StartWatch(w);
    const std::vector<DWORD> others = NewThreads({});
    gThreadsBeforeCall.insert(others.begin(), others.end());
    Side side = WindowsSide();
    side.dialogsOpened = [] { return 0; };
    const Outputs out = RunCase(demo, side);
    EndWatch(watcher);
    std::printf("demo: dialog %s, status %d\n", w.found ? "shown" : "not found",
                static_cast<int>(out.Int("Status")));
    return w.found && w.clicked ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const std::string group = argc == 2 ? argv[1] : "";
    if (group == "crosscheck") return RunCrosscheck();
    if (group == "dialog") return RunDialog();
    if (group == "cancel") return RunCancel();
    if (group == "log") return RunLog();
    if (group == "threads") return RunThreads();
    if (group == "demo") return RunDemo();
    std::fprintf(stderr, "usage: trova_host crosscheck|dialog|cancel|log|threads|demo\n");
    return 2;
}
