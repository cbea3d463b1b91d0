// The trova command on the demo's sample recording: the decimated trend and
// the histogram views agree with what the readers deliver.
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

TEST(TrovaCli, DecimatedTrendAndHistogramViews) {
    testing::ScratchDir dir;
    const std::string first = RunCli("sample " + dir.file("rec")).at(0);
    // xt2: a header, a column line with three channels, one row per output.
    const std::vector<std::string> xt2 = RunCli("xt2 " + first + " --quantity 2 --points 16");
    int outputs = -1, bin = -1, records = -1, flagged = -1;
    ASSERT_EQ(sscanf(xt2.at(0).c_str(), "status 0 (ok), %d output(s), bins of %d", &outputs, &bin),
              2);
    EXPECT_EQ(std::tuple(bin % 2, xt2.size(), xt2.at(1).find("ch2") != std::string::npos),
              std::tuple(0, size_t(outputs) + 2, true));
    // hist: three channels in rows of 15 bins whose counts add up to the unflagged records.
    const std::vector<std::string> hist = RunCli("hist " + first + " --quantity 2 --rows 7");
    ASSERT_EQ(sscanf(hist.at(0).c_str(), "status 0 (ok), %d record(s), %d flagged", &records,
                     &flagged), 2);
    long long channels = 0, rows = 0, sum = 0, count = 0;
    for (const std::string &line : hist) {
        int values = -1;
        if (sscanf(line.c_str(), "channel %*d: bins from %*s width %*s %d value(s)", &values) == 1) {
            ++channels;
            EXPECT_EQ(values, records - flagged) << line;
        } else if (line.find('|') != std::string::npos) {
            EXPECT_EQ(sscanf(line.c_str(), " %*f .. %*f %lld", &count), 1) << line;
            ++rows, sum += count;
        }
    }
    EXPECT_EQ(std::tuple(channels, rows, sum), std::tuple(3, 21, 3LL * (records - flagged)));
}

}  // namespace
}  // namespace trova
