// The POSIX stand-in for the Win32 calls: headless dialog, events, threads,
// directory search and the host interface.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
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

// What the fake dialog procedure saw. One dialog runs at a time.
struct DialogRun {
    std::vector<UINT> messages;
    std::vector<int> increments;
    bool offThread = false;  // the procedure ran on another thread than the dialog's
    std::thread::id thread = std::this_thread::get_id();
    int total = 0;
    HWND dialog = nullptr, button = nullptr;
    WPARAM commandWParam = 0;
    LPARAM commandLParam = 0;
};
DialogRun run;

// Posts 11, 11, 12 and then "done" after a pause, so that a loop that
// stopped on an empty queue would return early.
void ProgressWorker(void *dialog) {
    for (int percent : {11, 11, 12}) {
        Sleep(5);
        PostMessageA(static_cast<HWND>(dialog), kProgress, static_cast<WPARAM>(percent), 0);
    }
    Sleep(30);
    PostMessageA(static_cast<HWND>(dialog), kDone, 0, 0);
}

// Starts the worker passed as creation parameter (ends at once if it cannot),
// adds up progress, ends on "done" with 7 and on any command with 9.
INT_PTR CALLBACK FakeDialog(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    run.messages.push_back(message);
    run.offThread |= std::this_thread::get_id() != run.thread;
    switch (message) {
    case WM_INITDIALOG: {
        run.dialog = dialog;
        run.button = GetDlgItem(dialog, 1001);
        auto worker = reinterpret_cast<void (*)(void *)>(lParam);
        if (_beginthread(worker, 0, dialog) == static_cast<uintptr_t>(-1)) EndDialog(dialog, 5);
        return TRUE;
    }
    case kProgress:
        run.increments.push_back(static_cast<int>(wParam));
        run.total += static_cast<int>(wParam);
        SendMessageA(GetDlgItem(dialog, 1000), PBM_SETPOS, static_cast<WPARAM>(run.total), 0);
        return TRUE;
    case WM_COMMAND:
        run.commandWParam = wParam;
        run.commandLParam = lParam;
        return EndDialog(dialog, 9);
    case kDone:
        return EndDialog(dialog, 7);
    default:
        return FALSE;
    }
}

INT_PTR RunFakeDialog(void (*worker)(void *), int templateId = 101) {
    run = DialogRun{};
    return DialogBoxParamA(nullptr, MAKEINTRESOURCEA(templateId), nullptr, FakeDialog,
                           reinterpret_cast<LPARAM>(worker));
}

}  // namespace

TEST(PlatformDialog, PumpsPostedMessagesInOrderOnTheDialogThreadUntilEndDialog) {
    EXPECT_EQ(RunFakeDialog(ProgressWorker), 7);
    EXPECT_EQ(run.increments, (std::vector<int>{11, 11, 12}));
    EXPECT_EQ(run.messages.front(), WM_INITDIALOG);
    EXPECT_EQ(run.messages.back(), kDone);
    EXPECT_FALSE(run.offThread);
    const probe::DialogState s = probe::LastDialog();
    EXPECT_FALSE(s.open);
    EXPECT_EQ(s.templateId, 101);
    EXPECT_EQ(s.barPos, 34);
    EXPECT_EQ(s.setPosCount, 3);
    EXPECT_FALSE(PostMessageA(run.dialog, kProgress, 1, 0));  // closed now
}

TEST(PlatformDialog, EndDialogDuringInitReturnsAtOnceAndDropsLaterMessages) {
    const auto endAtInit = [](HWND dialog, UINT message, WPARAM, LPARAM) -> INT_PTR {
        run.messages.push_back(message);
        EXPECT_FALSE(PostMessageA(GetDlgItem(dialog, 1000), kProgress, 1, 0));  // not the dialog
        EXPECT_FALSE(PostMessageA(nullptr, kProgress, 1, 0));
        EXPECT_TRUE(PostMessageA(dialog, kProgress, 1, 0));  // queued, never delivered
        EXPECT_TRUE(EndDialog(dialog, 3));
        return TRUE;
    };
    run = DialogRun{};
    EXPECT_EQ(DialogBoxParamA(nullptr, MAKEINTRESOURCEA(101), nullptr, endAtInit, 0), 3);
    EXPECT_EQ(run.messages, (std::vector<UINT>{WM_INITDIALOG}));

    // The next dialog sees nothing of the last one's queue.
    EXPECT_EQ(RunFakeDialog(ProgressWorker), 7);
    EXPECT_EQ(run.increments, (std::vector<int>{11, 11, 12}));
}

TEST(PlatformDialog, RejectsOtherTemplatesAndFailedThreadStartsEndTheDialog) {
    const int openedBefore = probe::LastDialog().openCount;
    EXPECT_EQ(RunFakeDialog(ProgressWorker, 102), -1);
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
    std::vector<int> reported;
    TrovaSetProgressCallback(
        [](int total, void *to) { static_cast<std::vector<int> *>(to)->push_back(total); },
        &reported);
    const auto proc = [](HWND dialog, UINT, WPARAM, LPARAM) -> INT_PTR {
        HWND bar = GetDlgItem(dialog, 1000);
        EXPECT_EQ(SendMessageA(bar, PBM_SETPOS, 150, 0), 0);  // returns the old position
        EXPECT_EQ(probe::LastDialog().barPos, 100);
        EXPECT_EQ(SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(-5), 0), 100);
        EXPECT_EQ(probe::LastDialog().barPos, 0);
        EXPECT_EQ(SendMessageA(bar, PBM_SETPOS, 205, 0), 0);
        EXPECT_EQ(SendMessageA(bar, PBM_SETRANGE, 0, MAKELPARAM(10, 30)), MAKELPARAM(0, 100));
        EXPECT_EQ(probe::LastDialog().barPos, 30);
        EXPECT_EQ(SendMessageA(GetDlgItem(dialog, 1001), PBM_SETPOS, 20, 0), 0);  // no bar
        return EndDialog(dialog, 0);
    };
    EXPECT_EQ(DialogBoxParamA(nullptr, MAKEINTRESOURCEA(101), nullptr, proc, 0), 0);
    TrovaSetProgressCallback(nullptr, nullptr);
    EXPECT_EQ(reported, (std::vector<int>{150, -5, 205}));
    EXPECT_EQ(probe::LastDialog().setPosCount, 3);
}

TEST(PlatformHost, RequestCancelArrivesAsACommandFromTheButton) {
    TrovaRequestCancel();  // no dialog open: nothing happens
    const auto pressButton = [](void *) {
        Sleep(5);
        TrovaRequestCancel();
    };
    EXPECT_EQ(RunFakeDialog(pressButton), 9);
    EXPECT_EQ(run.messages, (std::vector<UINT>{WM_INITDIALOG, WM_COMMAND}));
    EXPECT_EQ(run.commandWParam, MAKEWPARAM(1001, BN_CLICKED));
    EXPECT_NE(run.button, nullptr);
    EXPECT_EQ(run.commandLParam, reinterpret_cast<LPARAM>(run.button));
}

TEST(PlatformHost, SettersClampThePauseAndCopyTheLogDirectory) {
    TrovaSetCompletionPause(-20);
    EXPECT_EQ(trova::platform::CompletionPauseMs(), 0);
    char directory[] = "/var/tmp/logs";
    TrovaSetLogDirectory(directory);
    directory[1] = 'X';
    EXPECT_STREQ(trova::platform::LogDirectory(), "/var/tmp/logs");
    TrovaSetLogDirectory("");
    EXPECT_EQ(trova::platform::LogDirectory(), nullptr);
    TrovaSetLogDirectory("/tmp");
    TrovaSetLogDirectory(nullptr);
    EXPECT_EQ(trova::platform::LogDirectory(), nullptr);
    TrovaSetCompletionPause(500);
    TrovaSetLogDirectory("/tmp");
}

TEST(PlatformEvent, AutoResetEventSatisfiesOneWaitPerSignal) {
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    SetEvent(event);
    SetEvent(event);
    EXPECT_TRUE(probe::EventIsSignalled(event));  // peeking does not consume
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    SetEvent(event);
    ResetEvent(event);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(event, 40), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));

    for (DWORD timeout : {DWORD{10000}, INFINITE}) {  // woken from another thread
        std::thread setter([event] {
            Sleep(20);
            SetEvent(event);
        });
        EXPECT_EQ(WaitForSingleObject(event, timeout), WAIT_OBJECT_0);
        setter.join();
        EXPECT_FALSE(probe::EventIsSignalled(event));
    }

    HANDLE manual = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    int notAnEvent = 0;
    EXPECT_EQ(WaitForSingleObject(&notAnEvent, 0), WAIT_FAILED);
}

TEST(PlatformEvent, PollHookRunsBeforeEachZeroWaitPoll) {
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    std::vector<int> indices;
    probe::SetPollHook([&](int index, HANDLE polled) {
        indices.push_back(polled == event ? index : -1);
        if (index == 2) SetEvent(polled);  // seen by this very poll
    });
    std::vector<DWORD> results;
    for (int i = 0; i < 4; ++i) results.push_back(WaitForSingleObject(event, 0));
    WaitForSingleObject(event, 5);  // not a poll
    EXPECT_EQ(results, (std::vector<DWORD>{WAIT_TIMEOUT, WAIT_TIMEOUT, WAIT_OBJECT_0, WAIT_TIMEOUT}));
    probe::SetPollHook([&](int index, HANDLE) { indices.push_back(100 + index); });
    WaitForSingleObject(event, 0);
    probe::SetPollHook(nullptr);
    WaitForSingleObject(event, 0);
    EXPECT_EQ(indices, (std::vector<int>{0, 1, 2, 3, 100}));
}

namespace {

// Name to attributes of everything a search returns.
std::map<std::string, DWORD> FindAll(const std::string &pattern) {
    std::map<std::string, DWORD> found;
    WIN32_FIND_DATAA data;
    HANDLE search = FindFirstFileA(pattern.c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) return found;
    do {
        EXPECT_TRUE(found.emplace(data.cFileName, data.dwFileAttributes).second);
    } while (FindNextFileA(search, &data));
    EXPECT_TRUE(FindClose(search));
    EXPECT_FALSE(FindClose(search));
    return found;
}

}  // namespace

TEST(PlatformFind, MatchesWholeNamesWithWildcardsIgnoringCase) {
    char temp[] = "/tmp/trova_platform_XXXXXX";
    ASSERT_NE(mkdtemp(temp), nullptr);
    const std::string dir = temp;
    for (const char *name : {"meas.003.dat", "MEAS.1.DAT", "meas..dat", "meas.dat",
                             "meas.003.datx", "other.1.dat"}) {
        std::ofstream(dir + "/" + name) << "x";
    }
    std::filesystem::create_directory(dir + "/meas.sub.dat");

    const std::map<std::string, DWORD> expected{
        {"MEAS.1.DAT", FILE_ATTRIBUTE_NORMAL},
        {"meas..dat", FILE_ATTRIBUTE_NORMAL},
        {"meas.003.dat", FILE_ATTRIBUTE_NORMAL},
        {"meas.sub.dat", FILE_ATTRIBUTE_DIRECTORY},
    };
    EXPECT_EQ(FindAll(dir + "/MeAs.*.DaT"), expected);
    EXPECT_EQ(FindAll(dir + "/meas.?.dat").count("MEAS.1.DAT"), 1u);
    EXPECT_EQ(FindAll(dir + "/meas.?.dat").size(), 1u);
    EXPECT_EQ(FindAll(dir + "/*").size(), 7u);  // neither "." nor ".."
    EXPECT_EQ(FindAll(dir + "/*.DAT*").size(), 7u);

    WIN32_FIND_DATAA data;
    EXPECT_EQ(FindFirstFileA((dir + "/none.*.dat").c_str(), &data), INVALID_HANDLE_VALUE);
    EXPECT_EQ(FindFirstFileA((dir + "/missing/meas.*.dat").c_str(), &data), INVALID_HANDLE_VALUE);

    // Without a directory the search looks in the current one.
    const std::filesystem::path cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir);
    EXPECT_EQ(FindAll("other.*.dat").size(), 1u);
    std::filesystem::current_path(cwd);
    std::filesystem::remove_all(dir);
}
