// Reader calls from several threads and calls re-entered on the running
// call's thread. The suite's name, Concurrency, is what the thread
// sanitizer leg of scripts/test.sh runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/posix/dialog_probe.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using Lines = std::vector<std::string>;

// Everything a call delivered: its result, status and every output array as
// bytes (arrays start filled with 0xA5 so untouched elements show too).
struct Outcome {
    int result = -99;
    long long status = -99;
    std::vector<unsigned char> bytes;
    std::vector<int> progress;
    bool operator==(const Outcome &o) const {
        return std::tie(result, status, bytes, progress) ==
               std::tie(o.result, o.status, o.bytes, o.progress);
    }
};

// Output storage of one call; every array is far larger than any reader here needs.
class Outputs {
public:
    template <class T>
    T *Array(size_t n) {
        arrays_.emplace_back(n * sizeof(T), 0xA5);
        return reinterpret_cast<T *>(arrays_.back().data());
    }
    std::vector<unsigned char> Bytes() const {
        std::vector<unsigned char> all;
        for (const auto &a : arrays_) all.insert(all.end(), a.begin(), a.end());
        return all;
    }

private:
    std::vector<std::vector<unsigned char>> arrays_;
};

// Progress totals reported on this thread (the callback runs on the thread
// whose call is running).
thread_local std::vector<int> tProgress;
void RecordProgress(int total, void *) { tProgress.push_back(total); }

using Call = std::function<Outcome(const std::string &path)>;

template <class F>
Outcome Capture(F &&run) {
    Outputs out;
    Outcome o;
    tProgress.clear();
    o.result = run(out, o.status);
    o.bytes = out.Bytes();
    o.progress = tProgress;
    return o;
}

constexpr size_t kBig = 4096;

Outcome CallXt(const std::string &path) {
    return Capture([&](Outputs &out, long long &status) {
        char label[] = "XT", button[] = "Stop";
        std::string p = path;
        int points = 7, s = -1;
        const int r = Reader_XT(2, 0, -1, -1, 0, label, p.data(), &points, out.Array<float>(kBig),
                                out.Array<float>(kBig), out.Array<float>(kBig),
                                out.Array<double>(kBig), out.Array<int>(kBig), out.Array<int>(1),
                                button, &s);
        status = s;
        return r;
    });
}

Outcome CallXt2(const std::string &path) {
    return Capture([&](Outputs &out, long long &status) {
        char label[] = "XT2", button[] = "Stop";
        std::string p = path;
        int points = 5, s = -1;
        const int r = Reader_XT2(1, 1, -1, -1, 0, label, p.data(), &points, out.Array<float>(kBig),
                                 out.Array<double>(kBig), out.Array<int>(kBig), out.Array<int>(1),
                                 button, &s);
        status = s;
        return r;
    });
}

Outcome CallHist(const std::string &path) {
    return Capture([&](Outputs &out, long long &status) {
        char label[] = "HIST", button[] = "Stop";
        std::string p = path;
        trova_long s = -1;
        const int r = Reader_HIST(2, 0, -1, -1, 0, label, p.data(), out.Array<double>(8),
                                  out.Array<double>(8), out.Array<trova_long>(501), button, &s, 0,
                                  0, 0, out.Array<trova_long>(6), out.Array<trova_long>(6), 1,
                                  out.Array<trova_long>(1), out.Array<trova_long>(1));
        status = s;
        return r;
    });
}

Outcome CallFftXt1(const std::string &path) {
    return Capture([&](Outputs &out, long long &status) {
        char label[] = "FFT", button[] = "Stop";
        std::string p = path;
        trova_long points = 6, s = -1;
        const int r = Reader_FFT_XT1(3, 0, -1, -1, label, p.data(), &points,
                                     out.Array<float>(kBig), out.Array<float>(kBig),
                                     out.Array<float>(kBig), out.Array<double>(kBig),
                                     out.Array<trova_long>(kBig), 3, out.Array<trova_long>(1),
                                     button, 1, 0, &s);
        status = s;
        return r;
    });
}

Outcome CallTable1(const std::string &path) {
    return Capture([&](Outputs &out, long long &status) {
        char label[] = "Table", button[] = "Stop";
        std::string p = path;
        trova_long s = -1;
        const int r = Reader_FFT_Table1(1, 1, -1, -1, label, p.data(), button, 1,
                                        out.Array<float>(2001), out.Array<float>(4),
                                        out.Array<float>(4), 0.95f, 0, &s,
                                        out.Array<trova_long>(1));
        status = s;
        return r;
    });
}

class ConcurrencyTest : public testing::ReaderTest {
protected:
    void SetUp() override {
        ReaderTest::SetUp();
        TrovaSetProgressCallback(RecordProgress, nullptr);
        rec::RecordingPlan trendA;
        trendA.stem = "ta", trendA.seed = 3;
        for (int records : {30, 25, 40}) trendA.add(records);
        rec::RecordingPlan trendB = trendA;
        trendB.stem = "tb", trendB.seed = 8, trendB.members.pop_back();
        rec::RecordingPlan harmonic = testing::HarmonicPlan(6, 12, true, {9, 14, 7}, 5, 4, 1);
        harmonic.stem = "h";
        const std::string ta = PathOf(Write(trendA), 0), tb = PathOf(Write(trendB), 1);
        const std::string h = PathOf(Write(harmonic), 2);
        jobs_ = {{"XT ta", CallXt, ta},         {"XT tb", CallXt, tb},
                 {"XT2 ta", CallXt2, ta},       {"HIST tb", CallHist, tb},
                 {"FFT_XT1 h", CallFftXt1, h},  {"Table1 h", CallTable1, h},
                 {"XT missing", CallXt, dir_.file("none.001.dat")}};
    }

    struct Job {
        std::string name;
        Call call;
        std::string path;
    };
    std::vector<Job> jobs_;
};

// The log as blocks of lines, each starting at a call's banner. The lines
// of a table build are left out: whether a call finds the table of its
// recording cached depends on the call before it.
std::vector<Lines> CallBlocks(const Lines &lines) {
    std::vector<Lines> blocks;
    for (const std::string &line : lines) {
        if (line == std::string(60, '=') || blocks.empty()) blocks.emplace_back();
        if (line.rfind("GetFileInformation", 0) != 0) blocks.back().push_back(line);
    }
    return blocks;
}

// Four threads run the jobs in different orders, each call against the
// outcome the same job gave alone: nothing lost, nothing mixed in, and the
// log is made of whole calls.
TEST_F(ConcurrencyTest, ThreadsCallingTogetherGetWhatEachCallGetsAlone) {
    std::vector<Outcome> alone;
    std::map<Lines, int> aloneBlocks;
    for (const Job &job : jobs_) {
        ClearLog();
        alone.push_back(job.call(job.path));
        const std::vector<Lines> blocks = CallBlocks(LogLines());
        ASSERT_EQ(blocks.size(), 1u) << job.name;
        ++aloneBlocks[blocks[0]];
        ASSERT_GE(alone.back().status, 0) << job.name;
    }
    EXPECT_EQ(alone.back().status, TROVA_READER_NO_FILES);
    ClearLog();

    constexpr int kThreads = 4, kRounds = 6;
    std::vector<std::vector<std::string>> failures(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready.load() < kThreads) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                for (size_t i = 0; i < jobs_.size(); ++i) {
                    const size_t j = (i * (t + 1) + round + t) % jobs_.size();
                    if (!(jobs_[j].call(jobs_[j].path) == alone[j])) {
                        failures[t].push_back(jobs_[j].name);
                    }
                }
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], Lines{}) << "thread " << t;

    // Each job ran kThreads * kRounds times; its log block appears as often.
    std::map<Lines, int> blocks;
    for (const Lines &block : CallBlocks(LogLines())) ++blocks[block];
    std::map<Lines, int> expected;
    for (const auto &[block, count] : aloneBlocks) expected[block] = count * kThreads * kRounds;
    EXPECT_TRUE(blocks == expected) << blocks.size() << " kinds of log block, expected "
                                    << expected.size();
}

// A cancel asked while no call runs reaches no later call; one asked from
// another thread while a call runs cancels that call.
TEST_F(ConcurrencyTest, CancelReachesOnlyTheCallRunningWhenItIsAsked) {
    const Job &xt = jobs_[0];
    const Outcome alone = xt.call(xt.path);
    TrovaRequestCancel();
    TrovaRequestCancel();
    EXPECT_TRUE(xt.call(xt.path) == alone);

    CancelAfterFile(0);  // from the worker's thread, not the caller's
    EXPECT_EQ(xt.call(xt.path).status, TROVA_READER_CANCELLED);
    platform::probe::SetPollHook(nullptr);
    EXPECT_TRUE(xt.call(xt.path) == alone);
}

}  // namespace
}  // namespace trova
