// The trova command on the demo's sample recording: the decimated trend and
// the histogram views agree with what the readers deliver.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace trova {
namespace {

// Runs the tool and gives its standard output, line by line.
std::vector<std::string> RunCli(const std::string &arguments, int &exitCode) {
    const std::string command = std::string(TROVA_CLI) + " " + arguments + " --no-log 2>/dev/null";
    std::vector<std::string> lines;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        exitCode = -1;
        return lines;
    }
    std::string text;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0) text.append(chunk, n);
    const int status = pclose(pipe);
    exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST(TrovaCli, DecimatedTrendAndHistogramViews) {
    testing::ScratchDir dir;
    int code = -1;
    const std::vector<std::string> sample = RunCli("sample " + dir.file("rec"), code);
    ASSERT_EQ(code, 0);
    ASSERT_EQ(sample.size(), 1u);
    const std::string first = sample[0];

    // xt2: a header, a column line, one row per output with three channels.
    std::vector<std::string> xt2 = RunCli("xt2 " + first + " --quantity 2 --block 2 --points 16", code);
    EXPECT_EQ(code, 0);
    ASSERT_GE(xt2.size(), 2u);
    int outputs = -1, binSize = -1;
    ASSERT_EQ(std::sscanf(xt2[0].c_str(), "status 0 (ok), %d output(s), bins of %d", &outputs,
                          &binSize), 2)
        << xt2[0];
    EXPECT_GT(binSize, 0);
    EXPECT_EQ(binSize % 2, 0);
    EXPECT_EQ(xt2.size(), size_t(outputs) + 2);
    EXPECT_NE(xt2[1].find("ch2"), std::string::npos);

    // hist: per channel the rows' counts add up to the values counted.
    const std::vector<std::string> hist =
        RunCli("hist " + first + " --quantity 2 --block 2 --rows 7", code);
    EXPECT_EQ(code, 0);
    ASSERT_FALSE(hist.empty());
    int records = -1, flagged = -1;
    ASSERT_EQ(std::sscanf(hist[0].c_str(), "status 0 (ok), %d record(s), %d flagged", &records,
                          &flagged), 2)
        << hist[0];
    int channels = 0;
    for (size_t i = 1; i < hist.size(); ++i) {
        int channel = -1, values = -1, inside = -1;
        if (std::sscanf(hist[i].c_str(), "channel %d: bins from %*s width %*s %d value(s), %d",
                        &channel, &values, &inside) != 3) {
            continue;
        }
        ++channels;
        EXPECT_EQ(values, records - flagged);
        EXPECT_EQ(inside, values);
        long long sum = 0;
        int rows = 0;
        for (size_t j = i + 1; j < hist.size() && hist[j].find('|') != std::string::npos; ++j) {
            double from, to;
            long long count;
            ASSERT_EQ(std::sscanf(hist[j].c_str(), " %lf .. %lf %lld", &from, &to, &count), 3);
            EXPECT_LT(from, to);
            sum += count;
            ++rows;
        }
        EXPECT_EQ(rows, 7);  // 100 bins in rows of 15, the last of 10
        EXPECT_EQ(sum, values) << "channel " << channel;
    }
    EXPECT_EQ(channels, 3);
}

}  // namespace
}  // namespace trova
