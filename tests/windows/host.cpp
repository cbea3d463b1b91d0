// trova_host: a Windows program that loads trova.dll as its host does and
// checks it, run by CTest under Wine on a virtual display.
//
//   trova_host exports     binds every export (the decorated name included),
//                          reads the DLL's export table and dialog resource
//   trova_host crosscheck  runs every case of the cross-check table and
//                          compares with the Linux build's outputs
//   trova_host dialog      looks at the open progress dialog from a second
//                          thread: caption, button, topmost, centred, layout
//   trova_host cancel      clicks the dialog's button during a scan
//   trova_host log         the log's CR LF lines, and no log without C:\Temp
//   trova_host demo        keeps a dialog open for scripts/windows/screenshot.sh
//
// Run from the cross-check data directory (trova_reference write DIR); the
// DLL lies next to this program. Exit status 0 when every check holds, 1 when
// one fails, 2 when the test cannot run.
#include <windows.h>
#include <commctrl.h>
#include <tlhelp32.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "crosscheck.h"

using namespace trova::crosscheck;

namespace {

// ---- reporting ---------------------------------------------------------------

int gFailures = 0;
int gChecks = 0;

void Fail(const char *format, ...) {
    ++gFailures;
    std::printf("FAIL ");
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\n");
    std::fflush(stdout);
}

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
    std::fflush(stdout);
    return false;
}

template <class T>
bool CheckEq(const T &actual, const T &expected, const char *what) {
    ++gChecks;
    if (actual == expected) return true;
    Fail("%s", what);
    return false;
}

int Finish(const char *group) {
    std::printf("%s: %d checks, %d failed\n", group, gChecks, gFailures);
    return gFailures == 0 ? 0 : 1;
}

// ---- the DLL -------------------------------------------------------------------

constexpr const char *kLogDirectory = "C:\\Temp";
constexpr const char *kLogFile = "C:\\Temp\\TrovaDLL.LOG";

HMODULE gModule = nullptr;
Readers gReaders;

// Loads trova.dll from this program's directory and binds the thirteen
// exports by the names the host uses.
bool LoadTrova() {
    gModule = LoadLibraryA("trova.dll");
    if (gModule == nullptr) {
        std::printf("cannot load trova.dll (error %lu)\n", GetLastError());
        return false;
    }
    const std::vector<std::string> missing = BindReaders(
        [](const char *name) {
            // Through void(*)(): no warning for the cast to the real type.
            return reinterpret_cast<void (*)()>(GetProcAddress(gModule, name));
        },
        gReaders);
    for (const std::string &name : missing) Fail("trova.dll does not export %s", name.c_str());
    return missing.empty();
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
             c.name, ExpectedFile(c, '\\').c_str());
        return false;
    }
    return true;
}

std::int32_t IntOf(const Outputs &out, const char *name) {
    const Block *b = out.Find(name);
    std::int32_t v = -7777;
    if (b != nullptr && b->bytes.size() >= 4) std::memcpy(&v, b->bytes.data(), 4);
    return v;
}

std::string FullPath(const std::string &relative) {
    char full[MAX_PATH];
    const DWORD n = GetFullPathNameA(relative.c_str(), sizeof full, full, nullptr);
    return n > 0 && n < sizeof full ? std::string(full) : relative;
}

// ---- a second thread that watches for the progress dialog ---------------------------

struct Watch {
    std::string title;        // the dialog to find (caption = the call's Label)
    bool click = false;       // press the button as soon as it is found
    bool demo = false;        // hold the dialog for a screenshot (see Demo)
    // Filled by the watcher while the dialog is open.
    bool found = false;
    std::string caption, buttonText, barClass, buttonClass;
    LONG exStyle = 0, style = 0;
    HWND owner = nullptr, parent = nullptr;
    RECT window{}, client{}, templateClient{}, bar{}, templateBar{}, button{}, templateButton{};
    int screenWidth = 0, screenHeight = 0;
    LRESULT rangeLow = -1, rangeHigh = -1;
    DWORD threadOfDialog = 0;
    bool clicked = false;
};

// The rectangle of a control in its dialog's client coordinates.
RECT ChildRect(HWND dialog, HWND child) {
    RECT r{};
    GetWindowRect(child, &r);
    MapWindowPoints(HWND_DESKTOP, dialog, reinterpret_cast<POINT *>(&r), 2);
    return r;
}

RECT Dlu(HWND dialog, int x, int y, int cx, int cy) {
    RECT r{x, y, x + cx, y + cy};
    MapDialogRect(dialog, &r);
    return r;
}

bool SameRect(const RECT &a, const RECT &b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

std::string ShowRect(const RECT &r) {
    char text[96];
    std::snprintf(text, sizeof text, "(%ld, %ld, %ld, %ld)", static_cast<long>(r.left),
                  static_cast<long>(r.top), static_cast<long>(r.right),
                  static_cast<long>(r.bottom));
    return text;
}

void Demo(Watch &w, HWND dialog);

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
    if (w.click) {
        // A real click: the button procedure turns it into WM_COMMAND.
        SendMessageA(GetDlgItem(dialog, 1001), BM_CLICK, 0, 0);
        w.clicked = true;
        return 0;
    }
    char text[256] = {};
    GetWindowTextA(dialog, text, sizeof text);
    w.caption = text;
    GetDlgItemTextA(dialog, 1001, text, sizeof text);
    w.buttonText = text;
    GetClassNameA(GetDlgItem(dialog, 1000), text, sizeof text);
    w.barClass = text;
    GetClassNameA(GetDlgItem(dialog, 1001), text, sizeof text);
    w.buttonClass = text;
    w.style = GetWindowLongA(dialog, GWL_STYLE);
    w.exStyle = GetWindowLongA(dialog, GWL_EXSTYLE);
    w.owner = GetWindow(dialog, GW_OWNER);
    w.parent = GetParent(dialog);
    GetWindowRect(dialog, &w.window);
    GetClientRect(dialog, &w.client);
    w.templateClient = Dlu(dialog, 0, 0, 186, 82);
    w.bar = ChildRect(dialog, GetDlgItem(dialog, 1000));
    w.templateBar = Dlu(dialog, 7, 23, 172, 16);
    w.button = ChildRect(dialog, GetDlgItem(dialog, 1001));
    w.templateButton = Dlu(dialog, 56, 46, 70, 15);
    w.screenWidth = GetSystemMetrics(SM_CXSCREEN);
    w.screenHeight = GetSystemMetrics(SM_CYSCREEN);
    PBRANGE range{};
    SendMessageA(GetDlgItem(dialog, 1000), PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
    w.rangeLow = range.iLow;
    w.rangeHigh = range.iHigh;
    w.threadOfDialog = GetWindowThreadProcessId(dialog, nullptr);
    if (w.demo) Demo(w, dialog);
    return 0;
}

HANDLE StartWatch(Watch &w) { return CreateThread(nullptr, 0, WatchDialog, &w, 0, nullptr); }

void EndWatch(HANDLE thread) {
    if (thread == nullptr) return;
    WaitForSingleObject(thread, 60000);
    CloseHandle(thread);
}

// ---- exports -------------------------------------------------------------------

// The names in the export directory of a loaded module.
std::vector<std::string> ExportedNames(HMODULE module, std::string *dllName) {
    std::vector<std::string> names;
    const auto *base = reinterpret_cast<const unsigned char *>(module);
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
    const auto *nt = reinterpret_cast<const IMAGE_NT_HEADERS64 *>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY &dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    if (dir.VirtualAddress == 0) return names;
    const auto *exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(base + dir.VirtualAddress);
    *dllName = reinterpret_cast<const char *>(base + exports->Name);
    const auto *nameRvas = reinterpret_cast<const DWORD *>(base + exports->AddressOfNames);
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        names.emplace_back(reinterpret_cast<const char *>(base + nameRvas[i]));
    }
    return names;
}

int RunExports() {
    if (!LoadTrova()) return Finish("exports");
    std::set<void (*)()> addresses;
    for (const ExportInfo &e : Exports()) {
        addresses.insert(reinterpret_cast<void (*)()>(GetProcAddress(gModule, e.exportName)));
    }
    Check(addresses.size() == 13, "the thirteen exports are %zu distinct functions", addresses.size());
    Check(GetProcAddress(gModule, "Reader_FFT_HIST2") == nullptr,
          "Reader_FFT_HIST2 must be exported under its decorated name only");
    Check(GetProcAddress(gModule, "_Z16Reader_FFT_HIST2iiddPcS_PdS0_PllS_llS1_lddS1_S1_lS1_S1_") ==
              nullptr,
          "the compiler's own name of Reader_FFT_HIST2 is not exported");
    Check(GetProcAddress(gModule, "DllMain") == nullptr, "DllMain is not exported");

    std::string dllName;
    std::vector<std::string> names = ExportedNames(gModule, &dllName);
    std::set<std::string> expected;
    for (const ExportInfo &e : Exports()) expected.insert(e.exportName);
    expected.insert("TrovaDescribeRecording");  // the host query beside the readers
    const std::set<std::string> actual(names.begin(), names.end());
    Check(names.size() == 14 && actual == expected,
          "the export table holds %zu names; expected the thirteen readers and "
          "TrovaDescribeRecording", names.size());
    for (const std::string &name : names) {
        Check(expected.count(name) == 1, "unexpected export %s", name.c_str());
    }
    Check(_stricmp(dllName.c_str(), "trova.dll") == 0, "export directory names %s", dllName.c_str());

    HRSRC dialog = FindResourceA(gModule, MAKEINTRESOURCEA(101), MAKEINTRESOURCEA(5) /* RT_DIALOG */);
    Check(dialog != nullptr, "dialog resource 101 is in trova.dll");
    if (dialog != nullptr) {
        // A classic template starts with its style; an extended one with 1, 0xFFFF.
        const auto *bytes = static_cast<const WORD *>(LockResource(LoadResource(gModule, dialog)));
        Check(bytes != nullptr && !(bytes[0] == 1 && bytes[1] == 0xFFFF),
              "dialog 101 is a classic template");
    }
    return Finish("exports");
}

// ---- cross-check -----------------------------------------------------------------

int RunCrosscheck() {
    if (!LoadTrova() || !InstallDialogCounter()) return 2;
    CreateDirectoryA(kLogDirectory, nullptr);
    const Side side = WindowsSide();
    int compared = 0;
    for (const Case &c : Cases()) {
        Outputs expected;
        if (!LoadExpected(c, expected)) continue;
        const DWORD start = GetTickCount();
        const Outputs actual = RunCase(c, side);
        const std::vector<std::string> problems = Compare(expected, actual);
        ++gChecks;
        ++compared;
        if (problems.empty()) {
            std::printf("ok   %-34s status %d, result %d, %lu ms\n", c.name,
                        static_cast<int>(IntOf(actual, "Status")),
                        static_cast<int>(IntOf(actual, "result")), GetTickCount() - start);
        } else {
            Fail("%s differs from the Linux build:", c.name);
            for (const std::string &p : problems) std::printf("    %s\n", p.c_str());
        }
    }
    DeleteFileA(kLogFile);
    std::printf("%d cases compared\n", compared);
    return Finish("crosscheck");
}

// ---- the dialog ------------------------------------------------------------------

int RunDialog() {
    if (!LoadTrova() || !InstallDialogCounter()) return 2;
    CreateDirectoryA(kLogDirectory, nullptr);
    const Case *c = FindCase(kDialogCase);
    Outputs expected;
    if (c == nullptr || !LoadExpected(*c, expected)) return Finish("dialog");

    Watch w;
    w.title = c->args.label;
    HANDLE watcher = StartWatch(w);
    const Outputs actual = RunCase(*c, WindowsSide());
    EndWatch(watcher);

    if (!Check(w.found, "no window titled \"%s\" appeared during the call", w.title.c_str())) {
        return Finish("dialog");
    }
    CheckEq(w.caption, std::string(c->args.label), "caption is the call's Label");
    CheckEq(w.buttonText, std::string(c->args.button), "button 1001 shows the call's ButtonText");
    Check(_stricmp(w.barClass.c_str(), "msctls_progress32") == 0, "control 1000 is a progress bar, not %s",
          w.barClass.c_str());
    Check(_stricmp(w.buttonClass.c_str(), "Button") == 0, "control 1001 is a button, not %s",
          w.buttonClass.c_str());
    Check((w.exStyle & WS_EX_TOPMOST) != 0, "the dialog is topmost (extended style %#lx)",
          static_cast<unsigned long>(w.exStyle));
    Check((w.style & WS_CAPTION) == WS_CAPTION && (w.style & WS_POPUP) != 0,
          "the dialog is a captioned pop-up (style %#lx)", static_cast<unsigned long>(w.style));
    Check(w.owner == nullptr && w.parent == nullptr, "the dialog has no owner");
    Check(w.threadOfDialog == GetCurrentThreadId(), "the dialog runs on the calling thread");
    const long width = w.window.right - w.window.left;
    const long height = w.window.bottom - w.window.top;
    Check(width > 0 && height > 0 && w.window.left == (w.screenWidth - width) / 2 &&
              w.window.top == (w.screenHeight - height) / 2,
          "the dialog %s is centred on the %dx%d screen", ShowRect(w.window).c_str(), w.screenWidth,
          w.screenHeight);
    Check(SameRect(w.client, w.templateClient), "client area %s is 186 x 82 dialog units %s",
          ShowRect(w.client).c_str(), ShowRect(w.templateClient).c_str());
    Check(SameRect(w.bar, w.templateBar), "progress bar at %s, template places it at %s",
          ShowRect(w.bar).c_str(), ShowRect(w.templateBar).c_str());
    Check(SameRect(w.button, w.templateButton), "button at %s, template places it at %s",
          ShowRect(w.button).c_str(), ShowRect(w.templateButton).c_str());
    Check(w.rangeLow == 0 && w.rangeHigh == 100, "bar range is %ld..%ld, expected 0..100",
          static_cast<long>(w.rangeLow), static_cast<long>(w.rangeHigh));

    // Looking at the dialog changes nothing of the call.
    const std::vector<std::string> problems = Compare(expected, actual);
    for (const std::string &p : problems) Fail("%s: %s", c->name, p.c_str());
    CheckEq(IntOf(actual, "Status"), 0, "the call completes with status 0");
    return Finish("dialog");
}

// ---- cancel ----------------------------------------------------------------------

// A Reader_XT output block of a cancelled call: the points before `points`
// of each segment as in the full call, everything after them untouched.
std::vector<std::uint8_t> Prefix(const Block &full, size_t segment, size_t segments, size_t points,
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
    const Case *c = FindCase(kCancelCase);
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

    const int status = IntOf(actual, "Status");
    const int result = IntOf(actual, "result");
    const int fullResult = IntOf(full, "result");
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
    for (const Block &b : full.blocks) {
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

std::vector<std::string> CrLfLines(const std::string &text, bool *wellFormed) {
    std::vector<std::string> lines;
    *wellFormed = true;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find("\r\n", start);
        if (end == std::string::npos) {
            *wellFormed = false;
            break;
        }
        const std::string line = text.substr(start, end - start);
        if (line.find_first_of("\r\n") != std::string::npos) *wellFormed = false;
        lines.push_back(line);
        start = end + 2;
    }
    return lines;
}

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

int CallXt(const std::string &path, int *status) {
    char label[] = "trova host: log check";
    char button[] = "Cancel";
    std::string pathCopy = path;
    int points = 40, factor = -1;
    std::vector<float> values(5 * 40);
    std::vector<double> times(2 * 40);
    std::vector<int> flags(40);
    return gReaders.Reader_XT(3, 1, -1.0, -1.0, 0.0f, label, pathCopy.data(), &points,
                              values.data(), values.data(), values.data(), times.data(),
                              flags.data(), &factor, button, status);
}

int RunLog() {
    if (!LoadTrova()) return 2;
    const std::string path = FullPath("rec\\trend-ref\\meas.001.dat");
    const std::string directory = path.substr(0, path.rfind('\\') + 1);

    CreateDirectoryA(kLogDirectory, nullptr);
    DeleteFileA(kLogFile);
    int status = -1;
    const int result = CallXt(path, &status);
    CheckEq(status, 0, "the call completes with status 0");
    CheckEq(result, 40, "forty points of forty records");
    int refused = -1;
    CallXt("", &refused);
    CheckEq(refused, 3, "an empty path is refused with status 3");

    bool wellFormed = false;
    const std::vector<std::string> lines = CrLfLines(ReadFileBytes(kLogFile), &wellFormed);
    Check(wellFormed, "every line of the log ends with CR LF and holds no other CR or LF");
    const std::string banner[] = {std::string(60, '='), "Start Reader_XT", std::string(30, '-'),
                                  "Quantity  = 3", "MinMax    = 1", "TStart    = -1.00",
                                  "TStop     = -1.00"};
    const std::vector<std::string> tail = {
        "Start Reader_Thread", "GetFileInformation (Init) = " + directory + "meas.001.dat",
        "GetFileInformation (First Sample)", "GetFileInformation (Last Sample)",
        "GetFileInformation (Finish)", "Interleave Factor = 1",
        "Samples = 40", "Points  = 40", "Finish Reader_XT"};
    std::vector<std::string> expected(std::begin(banner), std::end(banner));
    expected.push_back("PathFile  = " + path);
    expected.insert(expected.end(), tail.begin(), tail.end());
    expected.insert(expected.end(), std::begin(banner), std::end(banner));
    expected.push_back("PathFile  = ");
    expected.push_back("Finish Reader_XT");
    if (!Check(lines == expected, "the log holds the lines of both calls")) {
        for (size_t i = 0; i < lines.size() || i < expected.size(); ++i) {
            std::printf("    %-60s | %s\n", i < lines.size() ? lines[i].c_str() : "<none>",
                        i < expected.size() ? expected[i].c_str() : "<none>");
        }
    }

    {
        TempDirectoryAside aside;
        if (Check(aside.ok(), "C:\\Temp could not be put aside")) {
            status = -1;
            CheckEq(CallXt(path, &status), 40, "without C:\\Temp the call still delivers its points");
            CheckEq(status, 0, "without C:\\Temp the call still completes with status 0");
            Check(GetFileAttributesA(kLogDirectory) == INVALID_FILE_ATTRIBUTES,
                  "the module does not create C:\\Temp");
        }
    }
    Check(GetFileAttributesA(kLogDirectory) != INVALID_FILE_ATTRIBUTES, "C:\\Temp is back");
    DeleteFileA(kLogFile);
    return Finish("log");
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
    const Case *c = FindCase(kCancelCase);
    if (c == nullptr) return 2;
    Watch w;
    w.title = "Reading meas.0001.dat";
    w.demo = true;
    CallArgs args = c->args;
    args.label = "Reading meas.0001.dat";
    args.button = "Cancel";
    Case demo = *c;
    demo.args = args;
    gThreadsBeforeCall = {GetCurrentThreadId()};
    HANDLE watcher = StartWatch(w);
    const std::vector<DWORD> others = NewThreads({});
    gThreadsBeforeCall.insert(others.begin(), others.end());
    Side side = WindowsSide();
    side.dialogsOpened = [] { return 0; };
    const Outputs out = RunCase(demo, side);
    EndWatch(watcher);
    std::printf("demo: dialog %s, status %d\n", w.found ? "shown" : "not found",
                static_cast<int>(IntOf(out, "Status")));
    return w.found && w.clicked ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const std::string group = argc == 2 ? argv[1] : "";
    if (group == "exports") return RunExports();
    if (group == "crosscheck") return RunCrosscheck();
    if (group == "dialog") return RunDialog();
    if (group == "cancel") return RunCancel();
    if (group == "log") return RunLog();
    if (group == "demo") return RunDemo();
    std::fprintf(stderr, "usage: trova_host exports|crosscheck|dialog|cancel|log|demo\n");
    return 2;
}
