// Paths a host may pass that are not a plain recording: directories, names
// with blanks and bytes beyond ASCII, paths too long for the module's
// buffers or the system, directories the process may not read, recordings
// of thousands of members. Each gives a clear status and never a crash.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "files/file_table.h"
#include "platform/posix/dialog_probe.h"
#include "reader_call.h"
#include "support/test_support.h"

namespace trova {
namespace {

namespace fs = std::filesystem;

// Reader_XT over `points` points and the dialogs it opened.
struct XtResult {
    calls::Outcome outcome;
    int dialogs = 0;
    long long status() const { return outcome.Int("Status"); }
};

calls::Args XtArgs(int points) {
    calls::Args args;
    args.quantity = 2, args.points = points;
    return args;
}

XtResult CallXt(std::string path, int points = 64) {
    const int before = platform::probe::LastDialog().openCount;
    XtResult r{calls::Call(calls::LinkedReaders(), calls::Export::XT, XtArgs(points), path.data(), {}, 1)};
    r.dialogs = platform::probe::LastDialog().openCount - before;
    return r;
}

using HostPathsTest = testing::ReaderTest;

// What each path must give: the outputs of the same recording under a plain
// path, or status 3 with no dialog (refused by the export, no output
// touched) or after one (the worker found no usable member).
constexpr int kSameAsPlain = -1;

struct PathCase {
    const char *name;
    // Makes what the case needs below `root` and returns the path to pass.
    std::function<std::string(const std::string &root, rec::RecordingPlan plan)> make;
    int dialogs;  // of a status 3, or kSameAsPlain
};

rec::RecordingPlan PlainPlan() {
    rec::RecordingPlan plan;
    for (int records : {10, 12, 8}) plan.add(records);
    return plan;
}

std::string WriteIn(const std::string &directory, const rec::RecordingPlan &plan) {
    fs::create_directories(directory);
    const rec::RecordingInfo info = rec::writeRecording(directory, plan);
    return info.path(info.table().at(1));
}

TEST_F(HostPathsTest, DirectoriesOddNamesLongPathsAndManyMembersGiveAClearStatus) {
    const XtResult plain = CallXt(WriteIn(dir_.file("plain"), PlainPlan()));
    ASSERT_EQ(std::tuple(plain.status(), plain.outcome.result, plain.dialogs), std::tuple(0, 30, 1));
    const calls::Outcome untouched = calls::Untouched(calls::Export::XT, XtArgs(64), {}, 1);

    const std::vector<PathCase> cases = {
        {"blanks and bytes beyond ASCII in directory and name",
         [](const std::string &root, rec::RecordingPlan plan) {
             plan.stem = "m\xc3\xa9 as\xff";
             return WriteIn(root + "/with blanks \xe9\xa0 \xf0\x9f\x99\x82", plan);
         },
         kSameAsPlain},
        {"a directory named like a member",
         [](const std::string &root, rec::RecordingPlan) {
             fs::create_directories(root + "/d/meas.001.dat");
             return root + "/d/meas.001.dat";
         },
         0},
        {"a path of 250 bytes",
         [](const std::string &root, rec::RecordingPlan plan) {
             const size_t room = 250 - root.size() - std::string("/meas.002.dat").size() - 1;
             return WriteIn(root + "/" + std::string(room, 'd'), plan);
         },
         kSameAsPlain},
        {"a path longer than the module's 255 bytes",
         [](const std::string &root, rec::RecordingPlan plan) {
             return WriteIn(root + "/" + std::string(120, 'e') + "/" + std::string(120, 'f'), plan);
         },
         1},
        {"a path longer than the system's",
         [](const std::string &root, rec::RecordingPlan) {
             std::string path = root;
             while (path.size() < 5000) path += "/" + std::string(200, 'g');
             return path + "/meas.001.dat";
         },
         0},
    };
    for (const PathCase &c : cases) {
        SCOPED_TRACE(c.name);
        ForgetFileTable();
        const XtResult r = CallXt(c.make(dir_.file(std::to_string(&c - cases.data())), PlainPlan()));
        if (c.dialogs == kSameAsPlain) {
            EXPECT_EQ(std::tuple(r.outcome.result, r.outcome.Bytes()), std::tuple(plain.outcome.result, plain.outcome.Bytes()))
                << "status " << r.status();
            continue;
        }
        EXPECT_EQ(std::tuple(r.status(), r.outcome.result, r.dialogs), std::tuple(3, 0, c.dialogs));
        if (c.dialogs == 0) {
            EXPECT_EQ(r.outcome.Bytes("Status"), untouched.Bytes("Status")) << "no output touched";
        }
    }
}

// 3000 members of one record each: every record becomes a point.
TEST_F(HostPathsTest, ThousandsOfMembersAreAllRead) {
    rec::RecordingPlan plan;
    plan.numberWidth = 4;
    for (int f = 0; f < 3000; ++f) plan.add(1);
    const std::string path = PathOf(Write(plan), 1234);
    const XtResult r = CallXt(path, 4000);
    EXPECT_EQ(std::tuple(r.status(), r.outcome.result), std::tuple(0, 3000));
    EXPECT_EQ(FileTable.fileCount, 3000);
}

// Directories the process may not read, seen by a user other than root (the
// test drops to nobody in a child process when it runs as root): without
// search permission the path check refuses the file; with search but no
// listing the file opens but no member is found.
TEST_F(HostPathsTest, UnreadableDirectoriesGiveStatusThree) {
    const std::string open = WriteIn(dir_.file("open"), PlainPlan());
    const std::string hidden = WriteIn(dir_.file("hidden"), PlainPlan());
    const std::string unlisted = WriteIn(dir_.file("unlisted"), PlainPlan());
    for (const auto &entry : fs::recursive_directory_iterator(dir_.path())) {
        chmod(entry.path().c_str(), entry.is_directory() ? 0755 : 0644);
    }
    chmod(dir_.path().c_str(), 0711);
    chmod(dir_.file("hidden").c_str(), 0000);
    chmod(dir_.file("unlisted").c_str(), 0311);
    TrovaSetLogDirectory(nullptr);  // nobody cannot write the test's log

    // The child's exit code: status * 16 + dialogs opened (0 or 1).
    const auto asOtherUser = [](const std::string &path) {
        const pid_t child = fork();
        if (child == 0) {
            if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(99);
            ForgetFileTable();
            const XtResult r = CallXt(path);
            _exit(int(r.status()) * 16 + r.dialogs);
        }
        int wstatus = 0;
        waitpid(child, &wstatus, 0);
        return WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
    };
    EXPECT_EQ(asOtherUser(open), 0 * 16 + 1) << "the readable recording is read";
    EXPECT_EQ(asOtherUser(hidden), 3 * 16 + 0) << "no search permission";
    EXPECT_EQ(asOtherUser(unlisted), 3 * 16 + 1) << "search but no listing";
    chmod(dir_.file("hidden").c_str(), 0700);
    chmod(dir_.file("unlisted").c_str(), 0700);
}

}  // namespace
}  // namespace trova
