// The trova command on the demo's sample recording: the histogram view agrees
// with what the reader delivers.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "support/test_support.h"

namespace trova {
namespace {

// The tool's standard output, line by line; the exit code must be 0.
std::vector<std::string> RunCli(const std::string &arguments) {
    const std::string command = std::string(TROVA_CLI) + " " + arguments + " --no-log 2>/dev/null";
    FILE *pipe = popen(command.c_str(), "r");
    std::vector<std::string> lines;
    char line[4096];
    while (pipe && fgets(line, sizeof line, pipe)) lines.emplace_back(line, strcspn(line, "\n"));
    EXPECT_EQ(pipe ? pclose(pipe) : -1, 0) << command;
    return lines;
}

TEST(TrovaCli, HistogramViewCountsTheUnflaggedRecordsOfEveryChannel) {
    testing::ScratchDir dir;
    const std::string first = RunCli("sample " + dir.file("rec")).at(0);
    // Three channels in rows of 15 bins whose counts add up to the unflagged records.
    const std::vector<std::string> hist = RunCli("hist " + first + " --quantity 2 --rows 7");
    int records = -1, flagged = -1;
    ASSERT_EQ(sscanf(hist.at(0).c_str(), "status 0 (ok), %d record(s), %d flagged", &records,
                     &flagged), 2);
    long long channels = 0, rows = 0, sum = 0, count = 0;
    for (const std::string &line : hist) {
        channels += line.rfind("channel ", 0) == 0;
        if (line.find('|') == std::string::npos) continue;
        EXPECT_EQ(sscanf(line.c_str(), " %*f .. %*f %lld", &count), 1) << line;
        ++rows, sum += count;
    }
    EXPECT_EQ(std::tuple(channels, rows, sum), std::tuple(3, 21, 3LL * (records - flagged)));

    // "--flagged" alone and with a value: every record is then histogrammed.
    for (const char *flaggedArg : {" --flagged", " --flagged 1"}) {
        const std::vector<std::string> all =
            RunCli("hist " + first + " --quantity 2" + flaggedArg);
        EXPECT_NE(all.at(0).find("(histogrammed)"), std::string::npos) << all.at(0);
    }
    // The harmonic views take "--flagged 0" (the demo's 95 % table).
    const std::string harmonic = RunCli("sample-harmonic " + dir.file("fft")).at(0);
    EXPECT_EQ(RunCli("fft-table " + harmonic + " --percentile 0.95 --flagged 0").at(0).rfind("status 0", 0), 0u);
}

}  // namespace
}  // namespace trova
