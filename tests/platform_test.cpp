// The POSIX stand-in for the Win32 calls where a host sees it: the progress
// dialog's messages, the host settings, where the log goes. Events and the
// cancel button are seen through the readers' cancel tests.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "frame/log.h"
#include "platform/posix/dialog_probe.h"
#include "platform/posix/win32_posix.h"
#include "trova/host.h"

namespace probe = trova::platform::probe;

namespace {

constexpr UINT kDone = WM_USER + 1, kProgress = WM_USER + 2;

struct DialogRun {  // what the fake dialog procedure saw
    std::vector<UINT> messages;
    int total = 0;
    HWND dialog = nullptr;
} run;
const std::thread::id kTestThread = std::this_thread::get_id();

// Posts 60, 50, 12, then "done" after a pause that a loop ending on an empty queue would miss.
void ProgressWorker(void *dialog) {
    for (int percent : {60, 50, 12}) PostMessageA(HWND(dialog), kProgress, WPARAM(percent), 0);
    Sleep(40);
    PostMessageA(HWND(dialog), kDone, 0, 0);
}

// Starts the worker, moves the bar by each message's percent, ends with 7 on "done".
INT_PTR CALLBACK FakeDialog(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    run.messages.push_back(message);
    EXPECT_EQ(std::this_thread::get_id(), kTestThread);  // the dialog's own thread
    if (message == WM_INITDIALOG) {
        run.dialog = dialog;
        _beginthread(ProgressWorker, 0, dialog);
    } else if (message == kProgress) {
        if (run.total == 0) Sleep(10);  // the others queue up meanwhile
        run.total += int(wParam);
        SendMessageA(GetDlgItem(dialog, 1000), PBM_SETPOS, WPARAM(run.total), 0);
    } else if (message == kDone) {
        EndDialog(dialog, 7);
    }
    return TRUE;
}

}  // namespace

TEST(PlatformDialog, ModalLoopDeliversPostedMessagesInOrderUntilEndDialog) {
    std::vector<int> reported;  // the totals as sent, while the bar stops at 100
    TrovaSetProgressCallback([](int total, void *to) { static_cast<std::vector<int> *>(to)->push_back(total); },
                             &reported);
    EXPECT_EQ(DialogBoxParamA(nullptr, MAKEINTRESOURCEA(101), nullptr, FakeDialog, 0), 7);
    TrovaSetProgressCallback(nullptr, nullptr);
    EXPECT_EQ(run.messages, (std::vector<UINT>{WM_INITDIALOG, kProgress, kProgress, kProgress, kDone}));
    EXPECT_EQ(reported, (std::vector<int>{60, 110, 122}));
    EXPECT_EQ(probe::LastDialog().barPos, 100);
    EXPECT_FALSE(PostMessageA(run.dialog, kProgress, 1, 0));  // closed now
}

TEST(PlatformHost, SettersClampThePauseAndCopyTheLogDirectory) {
    char directory[] = "/var/tmp/logs";
    TrovaSetCompletionPause(-20), TrovaSetLogDirectory(directory), directory[1] = 'X';
    EXPECT_EQ(trova::platform::CompletionPauseMs(), 0);
    EXPECT_EQ(trova::platform::LogFilePath(), "/var/tmp/logs/TrovaDLL.LOG");
    TrovaSetLogDirectory("");
    EXPECT_EQ(trova::platform::LogFilePath(), "");
    TrovaSetCompletionPause(500), TrovaSetLogDirectory(nullptr);
}

// Where a line goes by default and what is refused in the file's place:
// each case prepares the scratch directory, sets the environment, appends
// one line and says where it must have landed ("" for nowhere).
struct LogPlace {
    const char *name;
    const char *xdgStateHome;  // nullptr: unset; relative values are ignored
    const char *logDirectory;  // nullptr: the default
    std::function<void(const std::string &root)> prepare;
    const char *expectedFile;  // relative to the scratch root, "" when dropped
};

TEST(PlatformLog, DefaultIsPrivateToTheUserAndNoLinkOrForeignFileIsWritten) {
    namespace fs = std::filesystem;
    const auto link = [](const char *target, const char *at) {
        return [=](const std::string &root) { fs::create_symlink(root + target, root + at); };
    };
    const auto dirs = [](const char *path) {
        return [=](const std::string &root) { fs::create_directories(root + path); };
    };
    const std::vector<LogPlace> cases = {
        {"XDG_STATE_HOME", "/xdg", nullptr, nullptr, "/xdg/trova/TrovaDLL.LOG"},
        {"HOME without XDG_STATE_HOME", nullptr, nullptr, nullptr,
         "/home/.local/state/trova/TrovaDLL.LOG"},
        {"a relative XDG_STATE_HOME is ignored", "xdg", nullptr, nullptr,
         "/home/.local/state/trova/TrovaDLL.LOG"},
        {"the host's directory", "/xdg", "/mine", dirs("/mine"), "/mine/TrovaDLL.LOG"},
        {"the host's directory is not created", "/xdg", "/absent", nullptr, ""},
        {"a link in the file's place", "/xdg", "/mine",
         [&](const std::string &root) {
             dirs("/mine")(root), std::ofstream(root + "/other");
             link("/other", "/mine/TrovaDLL.LOG")(root);
         },
         ""},
        {"a directory in the file's place", "/xdg", nullptr, dirs("/xdg/trova/TrovaDLL.LOG"), ""},
        {"a FIFO in the file's place", "/xdg", "/mine",
         [&](const std::string &root) {
             dirs("/mine")(root), mkfifo((root + "/mine/TrovaDLL.LOG").c_str(), 0600);
         },
         ""},
        {"a link in the default directory's place", "/xdg", nullptr,
         [&](const std::string &root) { dirs("/xdg/real")(root), link("/xdg/real", "/xdg/trova")(root); },
         ""},
        {"a file of another user", "/xdg", "/mine",
         [&](const std::string &root) {
             dirs("/mine")(root), std::ofstream(root + "/mine/TrovaDLL.LOG");
             if (chown((root + "/mine/TrovaDLL.LOG").c_str(), 65534, 65534) != 0) {
                 fs::remove(root + "/mine/TrovaDLL.LOG");  // not root: the case cannot be made
                 link("/nowhere", "/mine/TrovaDLL.LOG")(root);
             }
         },
         ""},
    };
    const std::string savedHome = getenv("HOME") != nullptr ? getenv("HOME") : "";
    const char *savedXdg = getenv("XDG_STATE_HOME");
    const std::string savedXdgValue = savedXdg != nullptr ? savedXdg : "";
    for (const LogPlace &c : cases) {
        SCOPED_TRACE(c.name);
        char pattern[] = "/tmp/trova-log-XXXXXX";
        const std::string root = mkdtemp(pattern);
        setenv("HOME", (root + "/home").c_str(), 1);
        if (c.xdgStateHome == nullptr) {
            unsetenv("XDG_STATE_HOME");
        } else {
            setenv("XDG_STATE_HOME",
                   (c.xdgStateHome[0] == '/' ? root + c.xdgStateHome : c.xdgStateHome).c_str(), 1);
        }
        if (c.prepare) c.prepare(root);
        if (c.logDirectory != nullptr) {
            TrovaSetLogDirectory((root + c.logDirectory).c_str());
        } else {
            probe::UseDefaultLogDirectory();
        }
        trova::LogLine("one line");

        std::vector<std::string> written;  // every regular file holding the line
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file() || entry.is_symlink()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            const std::string text((std::istreambuf_iterator<char>(in)), {});
            if (text == "one line\r\n") written.push_back(entry.path().string().substr(root.size()));
        }
        EXPECT_EQ(written, *c.expectedFile ? std::vector<std::string>{c.expectedFile}
                                           : std::vector<std::string>{});
        if (!written.empty() && c.logDirectory == nullptr) {
            struct stat file, directory;
            stat((root + c.expectedFile).c_str(), &file);
            stat(fs::path(root + c.expectedFile).parent_path().c_str(), &directory);
            EXPECT_EQ(std::pair(file.st_mode & 0777, directory.st_mode & 0777), std::pair(0600u, 0700u));
        }
        fs::remove_all(root);
    }
    setenv("HOME", savedHome.c_str(), 1);
    if (savedXdg != nullptr) setenv("XDG_STATE_HOME", savedXdgValue.c_str(), 1);
    else unsetenv("XDG_STATE_HOME");
    TrovaSetLogDirectory(nullptr);
}
