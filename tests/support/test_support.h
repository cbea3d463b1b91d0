// Shared fixtures of the test suites: a scratch directory per test, the log
// redirected into it, no completion pause, progress totals collected.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording_writer.h"
#include "trova/host.h"
#include "trova/readers.h"

namespace trova::testing {

class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;
    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::string ReadFileText(const std::string &path);

// Every reader test: its own directory, the log there, no pause, progress
// recorded, no cancel hook left behind.
class ReaderTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The log's lines so far (each must end in CR LF; checked here).
    std::vector<std::string> LogLines() const;
    void ClearLog() const;
    // Forgets the cached file table (as a call with another path would).
    static void ForgetFileTable();

    // Writes a recording into the scratch directory; returns the writer's account.
    rec::RecordingInfo Write(const rec::RecordingPlan &plan) const;
    std::string PathOf(const rec::RecordingInfo &info, size_t tableIndex) const;

    // Presses the dialog's button at the cancel poll after file `fileIndex`
    // of the scan (0-based, counting the files the scan reads).
    void CancelAfterFile(int fileIndex);

    ScratchDir dir_;
    std::vector<int> progress_;
};

}  // namespace trova::testing
