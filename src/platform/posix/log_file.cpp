// Where the diagnostic log goes on POSIX, and how a line is appended safely.
//
// The log holds every path and argument a host passes, so it is private to
// the user: by default $XDG_STATE_HOME/trova/TrovaDLL.LOG (when that
// variable holds an absolute path), else ~/.local/state/trova/TrovaDLL.LOG,
// the directories created with owner-only permissions. A host may name
// another directory (TrovaSetLogDirectory); that one is not created.
//
// Whatever the directory, a line is appended only to a regular file that
// the process's user owns: the file is opened without following a link in
// its place (O_NOFOLLOW), without waiting on a FIFO (O_NONBLOCK), created
// 0600 if missing, and looked at through the open descriptor before
// anything is written. Otherwise the line is dropped, as when the log cannot
// be opened at all.
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/posix/win32_posix.h"

namespace trova::platform {
namespace {

constexpr const char *kLogFileName = "TrovaDLL.LOG";

std::string HomeDirectory() {
    const char *home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') return home;
    const passwd *entry = getpwuid(geteuid());
    return entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "";
}

// The default's directory, "" when there is no absolute base for it.
std::string DefaultLogDirectory() {
    const char *state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && state[0] == '/') return std::string(state) + "/trova";
    const std::string home = HomeDirectory();
    return home.empty() ? "" : home + "/.local/state/trova";
}

// Creates the missing directories of `path` with mode 0700; true when
// `path` is then a directory of ours (not a link to one).
bool MakePrivateDirectory(const std::string &path) {
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
        if (slash == std::string::npos) break;
    }
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid();
}

bool WriteAll(int fd, const char *bytes, size_t length) {
    while (length > 0) {
        const ssize_t n = write(fd, bytes, length);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes += n, length -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

std::string LogFilePath() {
    bool off = false;
    std::string directory = HostLogDirectory(&off);
    if (off) return "";
    if (directory.empty()) {
        directory = DefaultLogDirectory();
        if (directory.empty() || !MakePrivateDirectory(directory)) return "";
    }
    return directory + "/" + kLogFileName;
}

void AppendLogLine(const char *line, size_t length) {
    const std::string path = LogFilePath();
    if (path.empty()) return;
    const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK |
                                          O_CLOEXEC,
                        0600);
    if (fd < 0) return;
    struct stat info;
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid()) {
        WriteAll(fd, line, length);  // one write for the whole line as a rule
    }
    close(fd);
}

}  // namespace trova::platform
