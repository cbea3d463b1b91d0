// Reader calls from several threads and calls re-entered on the running
// call's thread. The suite's name, Concurrency, is what the thread
// sanitizer leg of scripts/test.sh runs.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/posix/dialog_probe.h"
#include "reader_call.h"
#include "support/test_support.h"

namespace trova {
namespace {

using Lines = std::vector<std::string>;

// Progress totals reported on this thread (the callback runs on the thread
// whose call is running).
thread_local std::vector<int> tProgress;
void RecordProgress(int total, void *) { tProgress.push_back(total); }

// Everything a call delivered: its result and status, every output array
// as bytes (filled with a pattern beforehand, so untouched elements show
// too) and its progress.
struct Job {
    std::string name;
    calls::Export reader;
    calls::Args args;
    std::string path;
    calls::Shape shape;

    std::tuple<int, long long, std::vector<uint8_t>, std::vector<int>> operator()() const {
        tProgress.clear();
        std::string p = path;
        const calls::Outcome o = calls::Call(calls::LinkedReaders(), reader, args, p.data(), shape, 1);
        return {o.result, o.Int("Status"), o.Bytes(), tProgress};
    }
};

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
        rec::RecordingPlan harmonic;
        harmonic.kind = rec::Kind::Harmonic, harmonic.stem = "h", harmonic.seed = 5;
        harmonic.harmonic.channelCode = 6, harmonic.harmonic.harmonics = 12;
        harmonic.flags = rec::everyKth(4, 1);
        for (int records : {9, 14, 7}) harmonic.add(records);
        const std::string ta = PathOf(Write(trendA), 0), tb = PathOf(Write(trendB), 1);
        const std::string h = PathOf(Write(harmonic), 2);
        const auto job = [](const char *name, calls::Export reader, int quantity, int minMax,
                            int points, const std::string &path) {
            calls::Args a;
            a.quantity = quantity, a.minMax = minMax, a.points = points, a.flagged = 1;
            return Job{name, reader, a, path,
                       calls::DescribeShape(calls::LinkedReaders(), path.c_str(), calls::InfoOf(reader).harmonic)};
        };
        using E = calls::Export;
        jobs_ = {job("XT ta", E::XT, 2, 0, 7, ta),         job("XT tb", E::XT, 2, 0, 7, tb),
                 job("XT2 ta", E::XT2, 1, 1, 5, ta),       job("HIST tb", E::HIST, 2, 0, 0, tb),
                 job("FFT_XT1 h", E::FFT_XT1, 3, 1, 6, h), job("Table1 h", E::FFT_Table1, 1, 1, 0, h),
                 job("ALL_XT1 h", E::FFT_ALL_XT1, 3, 1, 0, h),
                 job("XT missing", E::XT, 2, 0, 7, dir_.file("none.001.dat"))};
    }

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
    std::vector<decltype(jobs_[0]())> alone;
    std::map<Lines, int> aloneBlocks;
    for (const Job &job : jobs_) {
        ClearLog();
        alone.push_back(job());
        const std::vector<Lines> blocks = CallBlocks(LogLines());
        ASSERT_EQ(blocks.size(), 1u) << job.name;
        ++aloneBlocks[blocks[0]];
        EXPECT_EQ(std::get<1>(alone.back()), job.name == "XT missing" ? 3 : 0) << job.name;
    }
    ClearLog();

    constexpr int kThreads = 4, kRounds = 6;
    // Each thread walks the jobs with a step of its own, coprime with their
    // number: every thread calls every job once a round, in its own order.
    ASSERT_EQ(jobs_.size(), 8u);
    const size_t steps[kThreads] = {1, 3, 5, 7};
    std::vector<std::vector<std::string>> failures(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready.load() < kThreads) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                for (size_t i = 0; i < jobs_.size(); ++i) {
                    const size_t j = (i * steps[t] + round + t) % jobs_.size();
                    if (jobs_[j]() != alone[j]) failures[t].push_back(jobs_[j].name);
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
    const auto alone = xt();
    TrovaRequestCancel();
    TrovaRequestCancel();
    EXPECT_EQ(xt(), alone);

    CancelAfterFile(0);  // from the worker's thread, not the caller's
    EXPECT_EQ(std::get<1>(xt()), TROVA_READER_CANCELLED);
    platform::probe::SetPollHook(nullptr);
    EXPECT_EQ(xt(), alone);
}

}  // namespace
}  // namespace trova
