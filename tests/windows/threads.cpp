// trova_host_threads: reader calls of trova.dll from two threads, and a call
// re-entered from a timer procedure that the progress dialog's message loop
// dispatches. Run by CTest under Wine from the cross-check data directory
// (trova_reference write DIR), the DLL next to this program. Exit status 0
// when every check holds, 1 when one fails, 2 when the test cannot run.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "trova/readers.h"

namespace {

using ReaderXt = decltype(&Reader_XT);
ReaderXt gReaderXt = nullptr;
int gChecks = 0, gFailures = 0;

void Check(bool condition, const char *what) {
    ++gChecks;
    if (condition) return;
    ++gFailures;
    std::printf("FAIL %s\n", what);
}

struct XtOutcome {
    int result = -1, status = -1;
    std::vector<float> values;
    std::vector<double> times;
    bool operator==(const XtOutcome &o) const {
        return result == o.result && status == o.status && values == o.values &&
               times == o.times;
    }
};

std::string gPath;

// Reader_XT over the trend recording of the cross-check data, `points` points.
XtOutcome CallXt(int points) {
    char label[] = "trova host: threads", button[] = "Cancel";
    std::string path = gPath;
    XtOutcome out;
    out.values.assign(3 * 5 * 64 + 2 * 64 + 64, -7.0f);
    float *v = out.values.data();
    out.times.assign(2 * 64, -1.0);
    std::vector<int> flags(64, -1);
    int factor = -1;
    out.result = gReaderXt(3, 1, -1.0, -1.0, 0.0f, label, path.data(), &points, v, v + 320,
                           v + 640, out.times.data(), flags.data(), &factor, button, &out.status);
    return out;
}

struct Worker {
    int points;
    XtOutcome expected;
    int mismatches = 0;
};

DWORD WINAPI CallRepeatedly(void *context) {
    Worker &w = *static_cast<Worker *>(context);
    for (int i = 0; i < 4; ++i) {
        if (!(CallXt(w.points) == w.expected)) ++w.mismatches;
    }
    return 0;
}

// Two threads, each four calls with its own point count: every call gives
// what it gives alone (a lost status would leave -1).
void TwoThreads() {
    Worker a{40, CallXt(40)}, b{13, CallXt(13)};
    Check(a.expected.status == 0 && a.expected.result == 40, "a call alone gives 40 points");
    Check(b.expected.status == 0 && b.expected.result > 0, "a call alone gives its points");
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
    *static_cast<XtOutcome *>(context) = CallXt(40);
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
    XtOutcome first;
    Sender sender{window};
    HANDLE b = CreateThread(nullptr, 0, CallOnce, &first, 0, nullptr);
    Sleep(100);
    HANDLE c = CreateThread(nullptr, 0, SendWhileWaiting, &sender, 0, nullptr);
    const XtOutcome second = CallXt(40);
    HANDLE both[2] = {b, c};
    WaitForMultipleObjects(2, both, TRUE, INFINITE);
    CloseHandle(b), CloseHandle(c);
    DestroyWindow(window);
    Check(sender.answered && gAnsweredBy == GetCurrentThreadId(),
          "a message sent to a waiting thread's window is answered by that thread");
    Check(sender.whileFirstCallRan, "it is answered while the other thread's call still runs");
    Check(first.status == 0 && second.status == 0, "both calls complete with status 0");
}

XtOutcome gReentered;
bool gTimerFired = false;

// Runs inside the dialog's modal loop, on the thread whose call is running.
void CALLBACK ReenterFromTimer(HWND, UINT, UINT_PTR timer, DWORD) {
    KillTimer(nullptr, timer);
    if (gTimerFired) return;
    gTimerFired = true;
    gReentered = CallXt(40);
}

int CountLines(const std::string &text, const std::string &line) {
    int n = 0;
    for (size_t at = text.find(line + "\r\n"); at != std::string::npos;
         at = text.find(line + "\r\n", at + 1)) {
        ++n;
    }
    return n;
}

std::string ReadLog() {
    std::string text;
    if (std::FILE *f = std::fopen("C:\\Temp\\TrovaDLL.LOG", "rb")) {
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) text.append(buffer, n);
        std::fclose(f);
    }
    return text;
}

// A timer procedure calls a reader while the thread's own call runs: it is
// refused at once (status 6, result 0, no output, no log line) and the
// running call ends as it would alone.
void ReenteredFromTimer() {
    const XtOutcome alone = CallXt(40);
    CreateDirectoryA("C:\\Temp", nullptr);
    DeleteFileA("C:\\Temp\\TrovaDLL.LOG");
    SetTimer(nullptr, 0, 20, ReenterFromTimer);
    const XtOutcome outer = CallXt(40);
    Check(gTimerFired, "the timer fired inside the dialog's message loop");
    Check(gReentered.status == TROVA_READER_BUSY && gReentered.result == 0,
          "the re-entered call gets status 6 and result 0");
    Check(gReentered.values == std::vector<float>(gReentered.values.size(), -7.0f) &&
              gReentered.times == std::vector<double>(gReentered.times.size(), -1.0),
          "the re-entered call touches no output");
    Check(outer == alone, "the running call ends as it does alone");
    Check(CountLines(ReadLog(), "Start Reader_XT") == 1, "only the running call is logged");
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    HMODULE module = LoadLibraryA("trova.dll");
    if (module == nullptr) return std::printf("cannot load trova.dll\n"), 2;
    gReaderXt = reinterpret_cast<ReaderXt>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, "Reader_XT")));
    char full[MAX_PATH];
    if (gReaderXt == nullptr ||
        GetFullPathNameA("rec\\trend-ref\\meas.001.dat", MAX_PATH, full, nullptr) == 0) {
        return std::printf("no Reader_XT or no recording\n"), 2;
    }
    gPath = full;
    TwoThreads();
    WaitingThreadAnswersSentMessages();
    ReenteredFromTimer();
    std::printf("threads: %d checks, %d failed\n", gChecks, gFailures);
    return gFailures == 0 ? 0 : 1;
}
