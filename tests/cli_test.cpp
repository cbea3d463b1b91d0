// The trova command as a user meets it: usage errors, every view in every
// format (CSV read back, JSON parsed), clear errors for paths that name no
// recording, and Ctrl-C during a reader call.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/test_support.h"

namespace trova {
namespace {

using nlohmann::json;

struct Outcome {
    int exit = -1;
    std::string out, err;
};

class TrovaCli : public ::testing::Test {
protected:
    // Runs the tool with `arguments` (words separated by blanks).
    Outcome Run(const std::string &arguments) {
        const std::string out = dir_.file("out.txt"), err = dir_.file("err.txt");
        const std::string command = std::string(TROVA_CLI) + " " + arguments + " >" + out + " 2>" + err;
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testing::ReadFileText(out),
                testing::ReadFileText(err)};
    }
    std::string Sample(const char *kind) {
        const Outcome o = Run(std::string(kind) + " " + dir_.file(kind));
        EXPECT_EQ(o.exit, 0) << o.err;
        return o.out.substr(0, o.out.find('\n'));
    }
    testing::ScratchDir dir_;
};

// Usage errors (exit 2) name the option and the accepted values, paths that
// name no recording (exit 1) what was searched; each in one line.
TEST_F(TrovaCli, ErrorsNameTheOptionOrWhatWasSearched) {
    const std::string trend = Sample("sample"), harmonic = Sample("sample-harmonic");
    rec::writeBytes(dir_.file("junk.001.dat"), rec::Bytes(40, 7));
    const struct { std::string arguments, says; int exit; } cases[] = {
        {"", "A subcommand is required", 2},
        {"bogus " + trend, "unknown command \"bogus\": one of info, xt, xt2, hist", 2},
        {"xt", "PATH is required", 2},
        {"xt " + trend + " --quantity abc", "--quantity: \"abc\" is not a whole number from 0 to 127", 2},
        {"xt " + trend + " --block 3", "--block: \"3\" is not a whole number from 0 to 2", 2},
        {"xt " + trend + " --from yesterday", "--from: \"yesterday\" is not a time", 2},
        {"xt " + trend + " --from 0 --last 60", "--from excludes --last", 2},
        {"fft-table " + harmonic + " --percentile 1.5", "--percentile: \"1.5\" is not a number from 0 to 1", 2},
        {"fft-xt " + harmonic + " --harmonic 999", "--harmonic: 999 is not a position of this recording: 0 to 24", 2},
        {"fft-xt " + harmonic + " --quantity 14", "--quantity: codes 14 to 17 need --reader 3", 2},
        {"fft-hist " + harmonic + " --reader 3", "--reader: \"3\" is not a whole number from 1 to 2", 2},
        {"info " + trend + " --format xml", "--format: xml not in {table,csv,json}", 2},
        {"info " + dir_.file("none.001.dat"), "no file matches " + dir_.file("none.*.dat"), 1},
        {"info " + dir_.path(), "is a directory: give one file of a recording", 1},
        {"info " + dir_.file("junk.001.dat"), "1 file(s) match", 1},  // no usable member
        {"info " + dir_.file(std::string(300, 'x') + ".dat"), "names no recording", 1},
    };
    for (const auto &c : cases) {
        const Outcome o = Run(c.arguments + " --no-log");
        EXPECT_EQ(std::tuple(o.exit, o.out), std::tuple(c.exit, "")) << c.arguments;
        EXPECT_NE(o.err.find(c.says), std::string::npos) << c.arguments << "\n" << o.err;
        EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1) << o.err;
    }
    // A directory with blanks and non-ASCII bytes, of more members than the
    // tool's first 64 slots (thousands of members: HostPathsTest).
    rec::RecordingPlan many;
    for (int i = 0; i < 70; ++i) many.add(1);
    const std::string odd = dir_.file("mes d\xc3\xa9" "part");
    rec::writeRecording(odd, many);
    const json j = json::parse(Run("info '" + odd + "/meas.001.dat' --no-log --format json").out);
    EXPECT_EQ(std::tuple(j["summary"]["files"], j["files"].size(), j["files"][69]["file"]),
              std::tuple(70, 70u, "meas.070.dat"));
}

// The first CSV table (tables are apart by an empty line) as rows of fields.
std::vector<std::vector<std::string>> FirstCsvTable(const std::string &text) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line) && !line.empty();) {
        std::vector<std::string> &fields = rows.emplace_back();
        std::istringstream row(line + ",");  // a last empty field is a field too
        for (std::string field; std::getline(row, field, ',');) fields.push_back(field);
    }
    return rows;
}

TEST_F(TrovaCli, EveryViewInEveryFormatAgrees) {
    const std::string trend = Sample("sample"), harmonic = Sample("sample-harmonic");
    const struct { std::string arguments, firstTable; } views[] = {
        {"info " + trend, "files"},
        {"xt " + trend + " --points 7 --from 2023-12-31T01:00:00Z", "points"},
        {"xt2 " + trend + " --points 8 --extref -1", "points"},
        {"hist " + trend + " --min 226 --max 234 --flagged 1", "channels"},
        {"fft-xt " + harmonic + " --harmonic 4 --points 6", "points"},
        {"fft-xt " + harmonic + " --harmonic 4 --points 6 --reader 3 --quantity 14", "points"},
        {"fft-all " + harmonic + " --quantity 9 --matrix 1 --columns 3", "spectrum"},
        {"fft-hist " + harmonic + " --harmonic 2 --hmin 9 --hmax 9.4", "phases"},
        {"fft-table " + harmonic + " --percentile 0.95 --flagged 0", "table"},
    };
    for (const auto &v : views) {
        const Outcome table = Run(v.arguments + " --no-log");
        const Outcome csv = Run(v.arguments + " --no-log --format csv");
        const Outcome js = Run(v.arguments + " --no-log --format json --output " + dir_.file("o.json"));
        ASSERT_EQ(std::tie(table.exit, csv.exit, js.exit), std::tuple(0, 0, 0)) << v.arguments << table.err;
        EXPECT_EQ(js.out, "") << "--output takes the JSON";
        const json j = json::parse(testing::ReadFileText(dir_.file("o.json")));
        EXPECT_EQ(j.value("status", json{{"code", 0}})["code"], 0) << v.arguments;
        const json &rows = j.at(v.firstTable);
        ASSERT_FALSE(rows.empty()) << v.arguments;
        // CSV: a header row of the JSON keys, every row as wide; the first
        // table's values read back to the JSON numbers.
        const auto first = FirstCsvTable(csv.out);
        ASSERT_EQ(first.size(), rows.size() + 1) << v.arguments;
        for (const auto &row : first) EXPECT_EQ(row.size(), first[0].size()) << v.arguments;
        for (size_t r = 0; r < rows.size(); ++r) {
            for (size_t c = 0; c < first[0].size(); ++c) {
                const json &value = rows[r].at(first[0][c]);
                if (value.is_number_float()) {
                    EXPECT_EQ(std::strtod(first[r + 1][c].c_str(), nullptr), value.get<double>())
                        << v.arguments << " " << first[0][c];
                } else if (value.is_string()) {
                    EXPECT_EQ(first[r + 1][c], value.get<std::string>());
                }
            }
        }
        EXPECT_NE(table.out.find(j.contains("status") ? "status 0 (ok)" : "recording"), std::string::npos)
            << table.out;
        for (const json &f : j.value("files", json::array())) {  // info: (size - D) / R records each
            struct stat st;
            ASSERT_EQ(stat(dir_.file("sample/" + f["file"].get<std::string>()).c_str(), &st), 0);
            EXPECT_EQ(f["records"].get<long>(),
                      (st.st_size - f["header_bytes"].get<long>()) / f["record_bytes"].get<long>());
        }
    }
}

// Ctrl-C during a call: the library is asked to cancel, the partial result
// is written with status 1 and the tool exits with 130.
TEST_F(TrovaCli, InterruptCancelsTheCallAndKeepsThePartialResult) {
    rec::RecordingPlan plan;
    for (int i = 0; i < 4000; ++i) plan.add(20);
    const rec::RecordingInfo big = rec::writeRecording(dir_.file("big"), plan);
    const std::string first = big.path(big.table().at(0));
    bool cancelled = false;
    for (int attempt = 0; attempt < 5 && !cancelled; ++attempt) {
        std::remove(dir_.file("TrovaDLL.LOG").c_str());
        const std::string out = dir_.file("partial.json");
        const pid_t pid = fork();
        if (pid == 0) {
            execl(TROVA_CLI, TROVA_CLI, "xt", first.c_str(), "--points", "50", "--format", "json", "-o",
                  out.c_str(), "--log", dir_.path().c_str(), static_cast<char *>(nullptr));
            _exit(127);
        }
        // The call has begun once its banner is in the log.
        for (int i = 0; i < 5000; ++i) {
            if (testing::ReadFileText(dir_.file("TrovaDLL.LOG")).find("PathFile") != std::string::npos) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        kill(pid, SIGINT);
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_EQ(WEXITSTATUS(status), 130);
        const json j = json::parse(testing::ReadFileText(out));
        cancelled = j["status"]["code"] == 1;
        if (cancelled) {
            EXPECT_LT(j["points"].size(), 50u);
        }
    }
    EXPECT_TRUE(cancelled) << "the call ended before Ctrl-C five times";
}

}  // namespace
}  // namespace trova
