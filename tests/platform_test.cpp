// The POSIX stand-in for the Win32 calls: headless dialog, events, threads,
// directory search and the host interface.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/dialog_probe.h"
#include "platform/posix/win32_posix.h"
#include "trova/host.h"

namespace probe = trova::platform::probe;

namespace {

constexpr UINT kDone = WM_USER + 1;
constexpr UINT kProgress = WM_USER + 2;

// What the fake dialog procedures below record. One dialog runs at a time.
struct DialogRun {
    std::thread::id dialogThread;
    std::vector<std::thread::id> procedureThreads;
    std::vector<UINT> messages;
    std::vector<int> increments;
    std::vector<WPARAM> commandWParams;
    std::vector<LPARAM> commandLParams;
    RECT initialRect{};
    HWND dialog = nullptr;
    HWND button = nullptr;
    int total = 0;
    bool doneHandled = false;
    HANDLE started = nullptr;  // set by the worker once it runs
};
DialogRun run;

// Posts 11, 11, 12 with pauses, so that a loop that stopped on an empty
// queue would return before the last message.
void ProgressWorker(void *dialog) {
    for (int percent : {11, 11, 12}) {
        Sleep(5);
        PostMessageA(static_cast<HWND>(dialog), kProgress, static_cast<WPARAM>(percent), 0);
    }
    Sleep(30);
    PostMessageA(static_cast<HWND>(dialog), kDone, 0, 0);
}

// Behaves as the progress dialog does: places itself, starts a worker, adds
// up progress, raises the cancel event on any command, ends on "done".
INT_PTR CALLBACK FakeDialog(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    run.procedureThreads.push_back(std::this_thread::get_id());
    run.messages.push_back(message);
    HWND bar = GetDlgItem(dialog, 1000);
    switch (message) {
    case WM_INITDIALOG: {
        run.dialog = dialog;
        run.button = GetDlgItem(dialog, 1001);
        SetWindowPos(dialog, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE);
        GetWindowRect(dialog, &run.initialRect);
        const RECT &r = run.initialRect;
        MoveWindow(dialog, (GetSystemMetrics(SM_CXSCREEN) - (r.right - r.left)) / 2,
                   (GetSystemMetrics(SM_CYSCREEN) - (r.bottom - r.top)) / 2, r.right - r.left,
                   r.bottom - r.top, TRUE);
        SetWindowTextA(dialog, "Reading");
        SetWindowTextA(run.button, "Stop");
        auto worker = reinterpret_cast<void (*)(void *)>(lParam);
        if (worker == nullptr || _beginthread(worker, 0, dialog) == static_cast<uintptr_t>(-1)) {
            EndDialog(dialog, 5);
        }
        return TRUE;
    }
    case kProgress:
        run.increments.push_back(static_cast<int>(wParam));
        run.total += static_cast<int>(wParam);
        SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(run.total), 0);
        return TRUE;
    case WM_COMMAND:
        run.commandWParams.push_back(wParam);
        run.commandLParams.push_back(lParam);
        EndDialog(dialog, 9);
        return TRUE;
    case kDone:
        run.doneHandled = true;
        EndDialog(dialog, 7);
        return TRUE;
    default:
        return FALSE;
    }
}

INT_PTR RunFakeDialog(void (*worker)(void *), int templateId = 101) {
    run = DialogRun{};
    run.dialogThread = std::this_thread::get_id();
    return DialogBoxParamA(nullptr, MAKEINTRESOURCEA(templateId), nullptr, FakeDialog,
                           reinterpret_cast<LPARAM>(worker));
}

}  // namespace

TEST(PlatformDialog, PumpsPostedMessagesInOrderOnTheDialogThreadUntilEndDialog) {
    EXPECT_EQ(RunFakeDialog(ProgressWorker), 7);
    EXPECT_TRUE(run.doneHandled);
    EXPECT_EQ(run.increments, (std::vector<int>{11, 11, 12}));
    EXPECT_EQ(run.messages.front(), WM_INITDIALOG);
    EXPECT_EQ(run.messages.back(), kDone);
    for (const auto &id : run.procedureThreads) EXPECT_EQ(id, run.dialogThread);

    const probe::DialogState s = probe::LastDialog();
    EXPECT_TRUE(s.everOpened);
    EXPECT_FALSE(s.open);
    EXPECT_EQ(s.templateId, 101);
    EXPECT_EQ(s.title, "Reading");
    EXPECT_EQ(s.buttonText, "Stop");
    EXPECT_TRUE(s.topmost);
    EXPECT_EQ(s.barPos, 34);
    EXPECT_EQ(s.setPosCount, 3);

    // Starts at the origin; centring keeps the size.
    const RECT &before = run.initialRect;
    EXPECT_EQ(before.left, 0);
    EXPECT_EQ(before.top, 0);
    const int width = before.right - before.left, height = before.bottom - before.top;
    EXPECT_GT(width, 0);
    EXPECT_GT(height, 0);
    EXPECT_EQ(s.rect.left, (probe::kScreenWidth - width) / 2);
    EXPECT_EQ(s.rect.top, (probe::kScreenHeight - height) / 2);
    EXPECT_EQ(s.rect.right - s.rect.left, width);
    EXPECT_EQ(s.rect.bottom - s.rect.top, height);

    // A closed dialog takes no messages.
    EXPECT_FALSE(PostMessageA(run.dialog, kProgress, 1, 0));
    EXPECT_EQ(trova::platform::OpenDialogWindow(), nullptr);
}

TEST(PlatformDialog, EndDialogDuringInitReturnsAtOnceAndDropsLaterMessages) {
    static HWND seen = nullptr;
    const auto endAtInit = [](HWND dialog, UINT message, WPARAM, LPARAM) -> INT_PTR {
        run.messages.push_back(message);
        if (message == WM_INITDIALOG) {
            seen = dialog;
            EXPECT_EQ(trova::platform::OpenDialogWindow(), dialog);
            EXPECT_FALSE(PostMessageA(GetDlgItem(dialog, 1000), kProgress, 1, 0));
            EXPECT_FALSE(PostMessageA(nullptr, kProgress, 1, 0));
            EXPECT_TRUE(PostMessageA(dialog, kProgress, 1, 0));  // posted, never delivered
            EXPECT_TRUE(EndDialog(dialog, 3));
        }
        return TRUE;
    };
    run = DialogRun{};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(DialogBoxParamA(nullptr, MAKEINTRESOURCEA(101), nullptr, endAtInit, 0), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(run.messages, (std::vector<UINT>{WM_INITDIALOG}));

    // The same handle is closed now.
    EXPECT_FALSE(PostMessageA(seen, kDone, 0, 0));
    EXPECT_FALSE(EndDialog(seen, 0));
    EXPECT_EQ(GetDlgItem(seen, 1000), nullptr);
    EXPECT_FALSE(probe::LastDialog().open);

    // The next dialog starts clean: nothing left over from the last one.
    EXPECT_EQ(RunFakeDialog(ProgressWorker), 7);
    EXPECT_EQ(run.increments, (std::vector<int>{11, 11, 12}));
}

TEST(PlatformDialog, RejectsOtherTemplatesAndFailedThreadStartsEndTheDialog) {
    const int openedBefore = probe::LastDialog().openCount;
    EXPECT_EQ(RunFakeDialog(ProgressWorker, 102), -1);
    EXPECT_TRUE(run.messages.empty());
    EXPECT_EQ(DialogBoxParamA(nullptr, "IDD_PROGRESS", nullptr, FakeDialog, 0), -1);
    EXPECT_TRUE(run.messages.empty());
    EXPECT_EQ(probe::LastDialog().openCount, openedBefore);

    probe::SetThreadStartFailure(true);
    EXPECT_EQ(RunFakeDialog(ProgressWorker), 5);
    probe::SetThreadStartFailure(false);
    EXPECT_EQ(run.messages, (std::vector<UINT>{WM_INITDIALOG}));
    EXPECT_EQ(probe::LastDialog().openCount, openedBefore + 1);
}

TEST(PlatformDialog, ProgressBarClampsItsPositionButReportsTheUnclampedTotal) {
    struct Reported {
        std::vector<int> totals;
    } reported;
    TrovaSetProgressCallback(
        [](int total, void *context) { static_cast<Reported *>(context)->totals.push_back(total); },
        &reported);
    const auto proc = [](HWND dialog, UINT message, WPARAM, LPARAM) -> INT_PTR {
        if (message != WM_INITDIALOG) return FALSE;
        HWND bar = GetDlgItem(dialog, 1000);
        EXPECT_EQ(SendMessageA(bar, PBM_SETRANGE, 0, MAKELPARAM(0, 100)), MAKELPARAM(0, 100));
        EXPECT_EQ(SendMessageA(bar, PBM_SETPOS, 150, 0), 0);
        EXPECT_EQ(probe::LastDialog().barPos, 100);
        EXPECT_EQ(SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(-5), 0), 100);
        EXPECT_EQ(probe::LastDialog().barPos, 0);
        EXPECT_EQ(SendMessageA(bar, PBM_SETPOS, 205, 0), 0);
        EXPECT_EQ(SendMessageA(bar, PBM_SETRANGE, 0, MAKELPARAM(10, 30)), MAKELPARAM(0, 100));
        EXPECT_EQ(probe::LastDialog().barPos, 30);
        EXPECT_EQ(SendMessageA(bar, PBM_SETSTEP, 5, 0), 10);
        // The button is not a progress bar.
        EXPECT_EQ(SendMessageA(GetDlgItem(dialog, 1001), PBM_SETPOS, 20, 0), 0);
        EndDialog(dialog, 0);
        return TRUE;
    };
    EXPECT_EQ(DialogBoxParamA(nullptr, MAKEINTRESOURCEA(101), nullptr, proc, 0), 0);
    TrovaSetProgressCallback(nullptr, nullptr);

    EXPECT_EQ(reported.totals, (std::vector<int>{150, -5, 205}));
    const probe::DialogState s = probe::LastDialog();
    EXPECT_EQ(s.setPosCount, 3);
    EXPECT_EQ(s.barMin, 10);
    EXPECT_EQ(s.barMax, 30);
    EXPECT_EQ(s.barStep, 5);
}

TEST(PlatformHost, RequestCancelArrivesAsACommandFromTheButton) {
    TrovaRequestCancel();  // no dialog: nothing happens
    EXPECT_EQ(RunFakeDialog(ProgressWorker), 7);
    EXPECT_TRUE(run.commandWParams.empty());

    const auto pressButton = [](void *) {
        Sleep(5);
        TrovaRequestCancel();
    };
    EXPECT_EQ(RunFakeDialog(pressButton), 9);
    ASSERT_EQ(run.commandWParams.size(), 1u);
    EXPECT_EQ(run.commandWParams[0], MAKEWPARAM(1001, BN_CLICKED));
    EXPECT_EQ(run.commandLParams[0], reinterpret_cast<LPARAM>(run.button));
    EXPECT_NE(run.button, nullptr);
    EXPECT_EQ(run.messages, (std::vector<UINT>{WM_INITDIALOG, WM_COMMAND}));
}

TEST(PlatformHost, SettersClampThePauseAndCopyTheLogDirectory) {
    const int pauseBefore = trova::platform::CompletionPauseMs();
    TrovaSetCompletionPause(-20);
    EXPECT_EQ(trova::platform::CompletionPauseMs(), 0);
    TrovaSetCompletionPause(25);
    EXPECT_EQ(trova::platform::CompletionPauseMs(), 25);
    TrovaSetCompletionPause(pauseBefore);

    const char *before = trova::platform::LogDirectory();
    const std::string saved = before != nullptr ? before : "";
    char directory[] = "/var/tmp/logs";
    TrovaSetLogDirectory(directory);
    directory[1] = 'X';
    ASSERT_NE(trova::platform::LogDirectory(), nullptr);
    EXPECT_STREQ(trova::platform::LogDirectory(), "/var/tmp/logs");
    TrovaSetLogDirectory("");
    EXPECT_EQ(trova::platform::LogDirectory(), nullptr);
    TrovaSetLogDirectory("/tmp");
    TrovaSetLogDirectory(nullptr);
    EXPECT_EQ(trova::platform::LogDirectory(), nullptr);
    TrovaSetLogDirectory(saved.c_str());
}

TEST(PlatformEvent, AutoResetEventSatisfiesOneWaitPerSignal) {
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(probe::EventIsSignalled(event));
    EXPECT_TRUE(probe::EventIsSignalled(event));  // peeking does not consume
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    SetEvent(event);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);

    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(event, 40), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));

    // Woken by a signal from another thread, long before the timeout.
    for (DWORD timeout : {DWORD{10000}, INFINITE}) {
        start = std::chrono::steady_clock::now();
        std::thread setter([event] {
            Sleep(20);
            SetEvent(event);
        });
        EXPECT_EQ(WaitForSingleObject(event, timeout), WAIT_OBJECT_0);
        setter.join();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_FALSE(probe::EventIsSignalled(event));
    }

    HANDLE manual = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual, 10), WAIT_OBJECT_0);
    ResetEvent(manual);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_TIMEOUT);

    // Handles that are not events.
    int notAnEvent = 0;
    EXPECT_EQ(WaitForSingleObject(&notAnEvent, 0), WAIT_FAILED);
    EXPECT_FALSE(SetEvent(nullptr));
    EXPECT_FALSE(probe::EventIsSignalled(INVALID_HANDLE_VALUE));
}

TEST(PlatformEvent, PollHookRunsBeforeEachZeroWaitPoll) {
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    std::vector<int> indices;
    std::vector<HANDLE> handles;
    probe::SetPollHook([&](int index, HANDLE polled) {
        indices.push_back(index);
        handles.push_back(polled);
        if (index == 2) SetEvent(polled);  // seen by this very poll
    });
    std::vector<DWORD> results;
    for (int i = 0; i < 4; ++i) results.push_back(WaitForSingleObject(event, 0));
    EXPECT_EQ(WaitForSingleObject(event, 5), WAIT_TIMEOUT);  // not a poll: no hook
    EXPECT_EQ(results, (std::vector<DWORD>{WAIT_TIMEOUT, WAIT_TIMEOUT, WAIT_OBJECT_0, WAIT_TIMEOUT}));
    EXPECT_EQ(indices, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(handles, std::vector<HANDLE>(4, event));

    // Setting a hook again counts from 0; removing it stops the calls.
    probe::SetPollHook([&](int index, HANDLE) { indices.push_back(index + 100); });
    WaitForSingleObject(event, 0);
    probe::SetPollHook(nullptr);
    WaitForSingleObject(event, 0);
    EXPECT_EQ(indices, (std::vector<int>{0, 1, 2, 3, 100}));
}

TEST(PlatformThread, StartsDetachedThreadsUnlessTheFailureSwitchIsOn) {
    static HANDLE ran = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const auto signal = [](void *) { SetEvent(ran); };

    probe::SetThreadStartFailure(true);
    EXPECT_EQ(_beginthread(signal, 0, nullptr), static_cast<uintptr_t>(-1));
    probe::SetThreadStartFailure(false);
    EXPECT_EQ(WaitForSingleObject(ran, 50), WAIT_TIMEOUT);

    for (unsigned stack : {0u, 256u * 1024u}) {
        const uintptr_t started = _beginthread(signal, stack, nullptr);
        EXPECT_NE(started, 0u);
        EXPECT_NE(started, static_cast<uintptr_t>(-1));
        EXPECT_EQ(WaitForSingleObject(ran, 5000), WAIT_OBJECT_0);
    }
}

namespace {

// A scratch directory under /tmp, removed with everything in it.
class PlatformFind : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/trova_platform_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        dir_ = name;
        for (const char *file : {"meas.003.dat", "MEAS.1.DAT", "meas..dat", "meas.dat",
                                 "meas.003.datx", "other.1.dat"}) {
            std::ofstream(dir_ + "/" + file) << "x";
        }
        std::filesystem::create_directory(dir_ + "/meas.sub.dat");
    }
    void TearDown() override {
        if (!dir_.empty()) std::filesystem::remove_all(dir_);
    }

    // Name to attributes of everything the search returns.
    static std::map<std::string, DWORD> Search(const std::string &pattern) {
        std::map<std::string, DWORD> found;
        WIN32_FIND_DATAA data;
        HANDLE search = FindFirstFileA(pattern.c_str(), &data);
        if (search == INVALID_HANDLE_VALUE) return found;
        do {
            EXPECT_TRUE(found.emplace(data.cFileName, data.dwFileAttributes).second)
                << data.cFileName << " twice";
        } while (FindNextFileA(search, &data));
        EXPECT_FALSE(FindNextFileA(search, &data));
        EXPECT_TRUE(FindClose(search));
        EXPECT_FALSE(FindClose(search));
        return found;
    }

    std::string dir_;
};

}  // namespace

TEST_F(PlatformFind, MatchesWholeNamesWithWildcardsIgnoringCase) {
    const std::map<std::string, DWORD> expected{
        {"MEAS.1.DAT", FILE_ATTRIBUTE_NORMAL},
        {"meas..dat", FILE_ATTRIBUTE_NORMAL},
        {"meas.003.dat", FILE_ATTRIBUTE_NORMAL},
        {"meas.sub.dat", FILE_ATTRIBUTE_DIRECTORY},
    };
    EXPECT_EQ(Search(dir_ + "/meas.*.dat"), expected);
    EXPECT_EQ(Search(dir_ + "/MeAs.*.DaT"), expected);

    const auto names = [](const std::map<std::string, DWORD> &found) {
        std::vector<std::string> result;
        for (const auto &entry : found) result.push_back(entry.first);
        return result;
    };
    EXPECT_EQ(names(Search(dir_ + "/meas.?.dat")), (std::vector<std::string>{"MEAS.1.DAT"}));
    EXPECT_EQ(names(Search(dir_ + "/*.dat*")),
              (std::vector<std::string>{"MEAS.1.DAT", "meas..dat", "meas.003.dat",
                                        "meas.003.datx", "meas.dat", "meas.sub.dat",
                                        "other.1.dat"}));
    EXPECT_EQ(Search(dir_ + "/*").size(), 7u);  // neither "." nor ".."

    WIN32_FIND_DATAA data;
    EXPECT_EQ(FindFirstFileA((dir_ + "/none.*.dat").c_str(), &data), INVALID_HANDLE_VALUE);
    EXPECT_EQ(FindFirstFileA((dir_ + "/missing/meas.*.dat").c_str(), &data), INVALID_HANDLE_VALUE);
    EXPECT_EQ(FindFirstFileA((dir_ + "/").c_str(), &data), INVALID_HANDLE_VALUE);

    // Without a directory the search looks in the current one.
    const std::filesystem::path cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir_);
    const auto here = Search("other.*.dat");
    std::filesystem::current_path(cwd);
    EXPECT_EQ(names(here), (std::vector<std::string>{"other.1.dat"}));
}
