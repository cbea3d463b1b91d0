// Reader_XT and Reader_XT2 end to end against the writer's values; Reader_XT also pins
// the record reading and status order all three trend readers share.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/reader_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;

// Quantity q of block k of the trend test recording, divided in single
// precision by `by` or, when `ref` is given, by that quantity of its channel.
ValueFn TrendValue(int q, int k, float by = 1.0f, int ref = -1) {
    return [=](const ModelRecord &r, int c, int) {
        return TrendTestValue(r.index, k, q, c) / (ref >= 0 ? TrendTestValue(r.index, k, ref, c) : by);
    };
}

using ReaderXtTest = ReaderTest;

TEST_F(ReaderXtTest, GroupsAcrossFilesAndWindowsLogAndProgress) {
    // Recording, call (window from t0), then status, factor, samples logged,
    // the records grouped and the progress posted.
    const struct { int files, records, q, k; double from, to; int points, cancel, status, factor,
                   samples, first, last; std::vector<int> progress; } cases[] = {
        {4, 250, 3, 1, -1, -1, 400, -1, 0, 3, 1000, 0, 999, {25, 50, 75, 100}},  // last group 1
        {3, 1000, 2, 0, 500, 2529, 999, -1, 0, 3, 2000, 500, 2499, {33, 66, 99}},  // stop read
        {6, 10, 2, 0, -1, -1, 7, 1, 1, 9, 60, 0, 17, {16, 32}},  // the open group is dropped
        {20, 2, 2, 0, -1, -1, 100, -1, 0, 1, 40, 0, 39, {15, 30, 45, 60, 75, 90}},
        {1, 5, 2, 0, -1, -1, 0, -1, 0, 0, 5, 0, -1, {}},  // no room: no file read
        {1, 5, 2, 0, -1, -1, -3, -1, 0, 0, 5, 0, -1, {}}};
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(c.files, c.records);
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        const double t0 = info.table()[0].firstTime;
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        ClearLog(), progress_.clear();
        Call call{Export::XT, c.q, c.k};
        call.points = c.points;
        call.tStart = c.from < 0 ? -1.0 : t0 + c.from, call.tStop = c.to < 0 ? -1.0 : t0 + c.to;
        Check(call, PathOf(info, 0), [&](Call &want) {
            PredictSeries(want, ModelRecords(info, c.first, c.last, plan.flags), TrendValue(c.q, c.k),
                          {c.status, c.factor, std::max(c.factor, 1)});
        });
        EXPECT_EQ(progress_, c.progress);
        const std::vector<std::string> log = LogLines();
        ASSERT_GT(log.size(), 12u);
        EXPECT_EQ(log[8], "Start Reader_Thread");
        EXPECT_EQ(std::vector<std::string>(log.end() - 4, log.end()),
                  (std::vector<std::string>{"Interleave Factor = " + std::to_string(c.factor),
                                            "Samples = " + std::to_string(c.samples),
                                            "Points  = " + std::to_string(c.points),
                                            "Finish Reader_XT"}));
    }
}

TEST_F(ReaderXtTest, RecordReadingCorrectedArgumentsAndStatusOrder) {
    // N = 2 reads a third group where block 1 begins (past the record in the
    // last block: the file is left out); N = 0 has blocks of S floats. `by`:
    // the divisor expected, 0 for the reference quantity.
    const struct { int n, mask, ref, q, k; float extRef; int cancel, status, readQ, readK,
                   channels; float by; int last; } cases[] = {
        {3, 7, 0, 1, 2, 0, -1, 0, 1, 2, 1, 1, 11},    {0, 7, 0, 2, 0, 0, -1, 0, 0, 1, 1, 1, 11},
        {2, 7, 0, 2, 0, 0, -1, 0, 2, 0, 3, 1, 11},    {2, 7, 0, 4, 2, 0, -1, 0, 4, 2, 3, 1, -1},
        {4, 7, 0, 2, 0, 0, -1, 0, 2, 0, 4, 1, 11},    {7, 7, 0, 3, 1, 0, -1, 0, 3, 1, 5, 1, 11},
        {3, 7, 4, 3, 1, 230, -1, 0, 3, 1, 3, 230, 11}, {3, 7, 4, 3, 1, -1, -1, 0, 3, 1, 3, 0, 11},
        {3, 7, 4, 3, 1, -0.5, -1, 0, 3, 1, 3, 1, 11}, {3, 7, 4, 3, 1, -2, -1, 0, 3, 1, 3, 1, 11},
        {3, 7, 0, 3, 1, -1, -1, 0, 3, 1, 3, 1, 11},   {3, 7, 0, 3, 1, 230, -1, 0, 3, 1, 3, 1, 11},
        {3, 3, 0, 2, 2, 0, -1, 2, 2, 0, 3, 1, 11},    {3, 3, 0, 5, -1, 0, -1, 4, 0, 0, 1, 1, 11},
        {3, 3, 0, -1, 1, 0, 0, 4, 0, 1, 1, 1, 5},     {3, 3, 0, 3, 2, 0, 0, 2, 3, 0, 3, 1, 5}};
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(2, 6, c.n);
        plan.trend.statMask = c.mask, plan.trend.refQuantity = c.ref;
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        Call call{Export::XT, c.q, c.k};
        call.points = 100, call.extRef = c.extRef;
        const ValueFn read = TrendValue(c.readQ, c.readK, c.by, c.by ? -1 : 4);
        Check(call, PathOf(info, 0), [&](Call &want) {
            // The third group of N = 2 lies where block 1 begins.
            const auto value = [&](const ModelRecord &r, int ch, int) {
                return c.n == 2 && ch == 2 ? TrendTestValue(r.index, 1, 0, 0) : read(r, ch, 0);
            };
            PredictSeries(want, ModelRecords(info, 0, c.last, plan.flags), value, {c.status, 1, 1, -1, c.channels});
        });
    }
}

TEST_F(ReaderXtTest, CurvesPerChannelOverWindowsCancelAndSmallCapacities) {
    // Recording, call (window from t0), then status, factor, outputs, the
    // records read and the samples the curves are made for.
    const struct { int files, records, n, q, k; double from, to; int points, cancel, status,
                   factor, outputs, readQ, readK, first, last, channels, samples; } cases[] = {
        {4, 250, 3, 3, 1, -1, -1, 100, -1, 0, 11, 92, 3, 1, 0, 999, 3, 1000},  // 45 bins of 22 and 10
        {1, 1000, 3, 2, 0, 200, 499, 1000, -1, 0, 0, 300, 2, 0, 200, 499, 3, 300},
        {1, 1000, 3, 2, 0, 200, 499, 40, -1, 0, 8, 38, 2, 0, 200, 499, 3, 300},
        {2, 30, 3, 1, 2, -1, -1, 10, -1, 0, 7, 10, 1, 2, 0, 59, 1, 60},   // once per block
        {2, 30, 7, 3, 1, -1, -1, 10, -1, 0, 7, 10, 3, 1, 0, 59, 5, 60},   // five curves
        {2, 30, 3, 9, 1, -1, -1, 10, -1, 4, 7, 10, 0, 1, 0, 59, 1, 60},   // bad quantity
        {1, 5, 3, 2, 0, -1, -1, 3, -1, 0, 2, 2, 2, 0, 0, 4, 3, 5},  // no room for the 2nd pair
        {1, 5, 3, 2, 0, -1, -1, 1, -1, 0, 6, 0, 2, 0, 0, 4, 3, 5},
        {1, 5, 3, 2, 0, -1, -1, 0, -1, 0, 0, 0, 2, 0, 0, 4, 3, 5},  // no file read
        {1, 5, 3, 2, 0, -1, -1, -2, -1, 0, 0, 0, 2, 0, 0, 4, 3, 5},
        {2, 50, 3, 2, 0, -1, -1, 20, 0, 1, 6, 10, 2, 0, 0, 49, 3, 100}};  // open bin delivered
    for (const auto &c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        rec::RecordingPlan plan = TrendTestPlan(c.files, c.records, c.n);
        plan.stem = "c" + std::to_string(&c - cases);
        const rec::RecordingInfo info = Write(plan);
        const double t0 = info.table()[0].firstTime;
        if (c.cancel >= 0) CancelAfterFile(c.cancel);
        ClearLog();
        Call call{Export::XT2, c.q, c.k};
        call.points = c.points;
        call.tStart = c.from < 0 ? -1.0 : t0 + c.from, call.tStop = c.to < 0 ? -1.0 : t0 + c.to;
        const Call want = Check(call, PathOf(info, 0), [&](Call &want) {
            PredictSeries(want, ModelRecords(info, c.first, c.last, plan.flags), TrendValue(c.readQ, c.readK),
                          {c.status, c.factor, c.samples, -1, c.channels});
        });
        EXPECT_EQ(want.out.result, c.outputs);
        const std::vector<std::string> log = LogLines();  // four lines a file; curves' debug off
        EXPECT_EQ(std::tuple(log.size(), log.at(8), log.at(log.size() - 1)),
                  std::tuple(10 + 4 * size_t(c.files), "Start Reader_Thread2",
                             "Finish Reader_XT2"));
    }
}

}  // namespace
}  // namespace trova
