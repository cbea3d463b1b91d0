#include "support/test_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "files/file_table.h"
#include "frame/module_state.h"
#include "platform/posix/dialog_probe.h"

namespace trova::testing {

ScratchDir::ScratchDir() {
    char pattern[] = "/tmp/trova-test-XXXXXX";
    const char *made = mkdtemp(pattern);
    if (made == nullptr) std::abort();
    path_ = made;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ReadFileText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void ReaderTest::SetUp() {
    TrovaSetLogDirectory(dir_.path().c_str());
    TrovaSetCompletionPause(0);
    TrovaSetProgressCallback(
        [](int total, void *context) { static_cast<std::vector<int> *>(context)->push_back(total); },
        &progress_);
    ForgetFileTable();
}

void ReaderTest::TearDown() {
    platform::probe::SetPollHook(nullptr);
    TrovaSetProgressCallback(nullptr, nullptr);
    TrovaSetLogDirectory(nullptr);  // no test writes to the user's own log
    TrovaSetCompletionPause(500);
    ForgetFileTable();
}

std::vector<std::string> ReaderTest::LogLines() const {
    const std::string text = ReadFileText(dir_.file("TrovaDLL.LOG"));
    std::vector<std::string> lines;
    for (size_t start = 0, end; start < text.size(); start = end + 2) {
        if ((end = text.find("\r\n", start)) == std::string::npos) {
            ADD_FAILURE() << "log text does not end with CR LF: " << text.substr(start);
            break;
        }
        lines.push_back(text.substr(start, end - start));
        EXPECT_EQ(lines.back().find('\n'), std::string::npos) << "bare line feed in: " << lines.back();
    }
    return lines;
}

void ReaderTest::ClearLog() const { std::remove(dir_.file("TrovaDLL.LOG").c_str()); }

void ReaderTest::ForgetFileTable() {
    ReleaseFileTable();
    FileTable.cachedPath[0] = '\0';
}

rec::RecordingInfo ReaderTest::Write(const rec::RecordingPlan &plan) const {
    return rec::writeRecording(dir_.path(), plan);
}

std::string ReaderTest::PathOf(const rec::RecordingInfo &info, size_t tableIndex) const {
    return info.path(info.table().at(tableIndex));
}

void ReaderTest::CancelAfterFile(int fileIndex) {
    platform::probe::SetPollHook([fileIndex](int poll, HANDLE event) {
        if (poll != fileIndex) return;
        TrovaRequestCancel();
        // The button's message goes through the dialog's queue; wait until
        // the dialog has set the event, so the poll about to run sees it.
        for (int i = 0; i < 5000 && !platform::probe::EventIsSignalled(event); ++i) usleep(1000);
    });
}

}  // namespace trova::testing
