// The POSIX stand-in for the Win32 calls where a host sees it: the host
// settings and where the log goes. Its dialog, events and cancel button are
// seen through the readers' progress and cancel tests.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "frame/log.h"
#include "platform/posix/dialog_probe.h"
#include "platform/posix/win32_posix.h"
#include "trova/host.h"

namespace fs = std::filesystem;

TEST(PlatformHost, SettersClampThePauseAndCopyTheLogDirectory) {
    char directory[] = "/var/tmp/logs";
    TrovaSetCompletionPause(-20), TrovaSetLogDirectory(directory), directory[1] = 'X';
    EXPECT_EQ(trova::platform::CompletionPauseMs(), 0);
    EXPECT_EQ(trova::platform::LogFilePath(), "/var/tmp/logs/TrovaDLL.LOG");
    for (const char *off : {"", static_cast<const char *>(nullptr)}) {  // no log at all
        TrovaSetLogDirectory(off);
        EXPECT_EQ(trova::platform::LogFilePath(), "");
    }
    TrovaSetCompletionPause(500);
}

// Where a line goes by default and what is refused in the file's place:
// each case prepares the scratch root (a directory, a FIFO, a file of
// another user, or a link "at>target"), sets the environment, appends one
// line and says where it must have landed ("" for nowhere).
TEST(PlatformLog, DefaultIsPrivateToTheUserAndNoLinkOrForeignFileIsWritten) {
    enum Kind { kDir, kFifo, kForeign, kLink };
    using Prepare = std::vector<std::pair<Kind, std::string>>;
    const struct {
        const char *name;
        const char *xdgStateHome;  // nullptr: unset; relative values are ignored
        const char *logDirectory;  // nullptr: the default
        Prepare prepare;
        const char *expectedFile;  // relative to the scratch root, "" when dropped
    } cases[] = {
        {"XDG_STATE_HOME", "/xdg", nullptr, {}, "/xdg/trova/TrovaDLL.LOG"},
        {"HOME without XDG_STATE_HOME", nullptr, nullptr, {}, "/home/.local/state/trova/TrovaDLL.LOG"},
        {"a relative XDG_STATE_HOME is ignored", "xdg", nullptr, {}, "/home/.local/state/trova/TrovaDLL.LOG"},
        {"the host's directory", "/xdg", "/mine", {{kDir, "/mine"}}, "/mine/TrovaDLL.LOG"},
        {"the host's directory is not created", "/xdg", "/absent", {}, ""},
        {"a link in the file's place", "/xdg", "/mine", {{kDir, "/mine"}, {kLink, "/mine/TrovaDLL.LOG>/mine/x"}}, ""},
        {"a directory in the file's place", "/xdg", nullptr, {{kDir, "/xdg/trova/TrovaDLL.LOG"}}, ""},
        {"a FIFO in the file's place", "/xdg", "/mine", {{kDir, "/mine"}, {kFifo, "/mine/TrovaDLL.LOG"}}, ""},
        {"a link in the default directory's place", "/xdg", nullptr, {{kDir, "/xdg/real"}, {kLink, "/xdg/trova>/xdg/real"}}, ""},
        {"a file of another user", "/xdg", "/mine", {{kDir, "/mine"}, {kForeign, "/mine/TrovaDLL.LOG"}}, ""},
    };
    const std::string savedHome = getenv("HOME") != nullptr ? getenv("HOME") : "";
    const char *savedXdg = getenv("XDG_STATE_HOME");
    const std::string savedXdgValue = savedXdg != nullptr ? savedXdg : "";
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        char pattern[] = "/tmp/trova-log-XXXXXX";
        const std::string root = mkdtemp(pattern);
        setenv("HOME", (root + "/home").c_str(), 1);
        if (c.xdgStateHome == nullptr) unsetenv("XDG_STATE_HOME");
        else setenv("XDG_STATE_HOME", ((c.xdgStateHome[0] == '/' ? root : "") + c.xdgStateHome).c_str(), 1);
        for (const auto &[kind, path] : c.prepare) {
            const std::string at = root + path.substr(0, path.find('>'));
            if (kind == kDir) fs::create_directories(at);
            if (kind == kFifo) mkfifo(at.c_str(), 0600);
            if (kind == kLink) fs::create_symlink(root + path.substr(path.find('>') + 1), at);
            // Not root, the foreign file cannot be made: a dangling link stands in.
            if (kind == kForeign && (!std::ofstream(at) || chown(at.c_str(), 65534, 65534) != 0)) {
                fs::remove(at), fs::create_symlink(root + "/nowhere", at);
            }
        }
        if (c.logDirectory != nullptr) TrovaSetLogDirectory((root + c.logDirectory).c_str());
        else trova::platform::probe::UseDefaultLogDirectory();
        trova::LogLine("one line");

        std::vector<std::string> written;  // every regular file holding the line
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file() || entry.is_symlink()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            if (std::string(std::istreambuf_iterator<char>(in), {}) == "one line\r\n") {
                written.push_back(entry.path().string().substr(root.size()));
            }
        }
        EXPECT_EQ(written, *c.expectedFile ? std::vector<std::string>{c.expectedFile} : std::vector<std::string>{});
        if (!written.empty() && c.logDirectory == nullptr) {  // the default is private
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
