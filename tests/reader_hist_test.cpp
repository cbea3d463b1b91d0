// Reader_HIST end to end: recordings from the recording writer, the export
// called as the host calls it, histograms checked against counts made here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "support/reader_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;
using Lines = std::vector<std::string>;
constexpr double kInf = std::numeric_limits<double>::infinity();

// Reader_HIST of quantity q, block k; `value` gives channel c of a record.
Call Hist(int q, int k) {
    Call call{Export::HIST, q, k};
    call.label = "Histogram";
    return call;
}
ValueFn Channels(int q, int k) {
    return [=](const ModelRecord &r, int c, int) { return TrendTestValue(r.index, k, q, c); };
}

Lines CounterLines(Lines log) {
    log.erase(std::remove_if(log.begin(), log.end(), [](const std::string &l) {
                  return l.rfind("FFlaggedPoints", 0) != 0 && l.rfind("FTotalPoints", 0) != 0;
              }), log.end());
    return log;
}

using ReaderHistTest = ReaderTest;

TEST_F(ReaderHistTest, TwoPassesRunningCountersAndAWindowWithoutItsStopRecord) {
    const rec::RecordingPlan plan = TrendTestPlan(20, 10);
    const rec::RecordingInfo info = Write(plan);
    Call call = Hist(3, 1);
    Check(call, PathOf(info, 2), [&](Call &want) {
        const auto all = ModelRecords(info, 0, 199, plan.flags);
        PredictHistogram(want, all, all, Channels(3, 1), {TROVA_READER_OK, 3, 3, 3});
    });
    Lines counters;
    for (int n = 10; n <= 200; n += 10) {
        counters.push_back("FFlaggedPoints = " + std::to_string((n + 6) / 7));
        counters.push_back("FTotalPoints   = " + std::to_string(n));
    }
    EXPECT_EQ(CounterLines(LogLines()), counters);
    // Steps of 5 posted above 10, on one meter for both passes.
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60, 75, 90, 105, 120, 135, 150, 165, 180, 195}));
    // Records 10 .. 100: the record at TStop, holding the least value, is
    // left out in both passes; flagged records binned too.
    call.flagged = 1;
    call.tStart = info.table()[0].firstTime + 10.0, call.tStop = info.table()[10].firstTime + 1.0;
    Check(call, PathOf(info, 0), [&](Call &want) {
        const auto window = ModelRecords(info, 10, 100, plan.flags);
        PredictHistogram(want, window, window, Channels(3, 1), {TROVA_READER_OK, 3, 3, 3});
    });
}

TEST_F(ReaderHistTest, CancelInEitherPass) {
    const rec::RecordingPlan plan = TrendTestPlan(3, 20);
    const rec::RecordingInfo info = Write(plan);
    // After file 0 of pass 1: the range of file 0, nothing counted; after
    // file 1 of pass 2: the whole range, two files counted.
    const struct { int cancel, ranged, counted; size_t counterLines; std::vector<int> progress; } cases[] = {
        {0, 19, -1, 0, {33}}, {3 + 1, 59, 39, 4, {33, 66, 99, 132, 165}}};
    for (const auto &k : cases) {
        ClearLog(), progress_.clear();
        CancelAfterFile(k.cancel);
        Check(Hist(2, 0), PathOf(info, 0), [&](Call &want) {
            PredictHistogram(want, ModelRecords(info, 0, k.ranged, plan.flags),
                             ModelRecords(info, 0, k.counted, plan.flags), Channels(2, 0),
                             {TROVA_READER_CANCELLED, 3, 3, 3});
        });
        EXPECT_EQ(CounterLines(LogLines()).size(), k.counterLines);
        EXPECT_EQ(progress_, k.progress);
    }
}

TEST_F(ReaderHistTest, FixedRangeBinsOutsideValuesAtTheEnds) {
    static constexpr float kValues[] = {0.0f, 97.5f, 98.0f, 98.5f, -0.5f, 49.25f, 1.0f, 0.999f};
    rec::RecordingPlan plan = TrendTestPlan(1, 8);
    plan.trendValues = [](int record, int, int, int c) { return kValues[record % 8] + 10.0f * c; };
    plan.flags = nullptr;
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 7, nullptr);
    const ValueFn value = [](const ModelRecord &r, int c, int) { return kValues[r.index] + 10.0f * c; };
    Call call = Hist(2, 0);
    call.hMinMax = 1, call.hMin = 0.0, call.hMax = 98.0;
    // Width 1 from -1: 98 -> bin 99 but inside; -0.5 and 98.5 outside, in 0 and 99.
    call.Run(PathOf(info, 0));
    EXPECT_EQ(std::tuple(call.Array<double>("HStart")[0], call.Array<trova_long>("HCounts")[0],
                         call.Array<trova_long>("HCounts")[99], call.Array<trova_long>("HRangePoints")[0]),
              std::tuple(-1.0, 1, 2, 6));
    // Ends not finite become channel 0's extremes, for all channels.
    for (auto [lo, hi] : {std::pair{0.0, 98.0}, {std::nan(""), kInf}, {-kInf, std::nan("")}}) {
        call.hMin = lo, call.hMax = hi;
        Check(call, PathOf(info, 0), [&](Call &want) {
            PredictHistogram(want, records, records, value, {TROVA_READER_OK, 3, 3, 3});
        });
    }
    EXPECT_EQ(call.Run(PathOf(info, 0)).Array<double>("HWidth")[2], (98.5 + 0.5) / 98.0);
}

TEST_F(ReaderHistTest, NonFiniteValuesAndInvertedRangesStayInTheirBins) {
    // Quantity 2: 6 NaN (5k), 3 +inf (3, 17, 24), -inf at 11; reference 0 at 4k + 1.
    rec::RecordingPlan plan = TrendTestPlan(1, 30);
    plan.trendValues = [](int record, int block, int quantity, int channel) {
        const float inf = std::numeric_limits<float>::infinity();
        if (quantity == 2 && record % 5 == 0) return std::numeric_limits<float>::quiet_NaN();
        if (quantity == 2 && (record % 7 == 3 || record == 11)) return record == 11 ? -inf : inf;
        if (quantity == 4 && record % 4 == 1) return 0.0f;
        return TrendTestValue(record, block, quantity, channel);
    };
    plan.flags = nullptr;
    plan.trend.refQuantity = 4;
    const rec::RecordingInfo info = Write(plan);
    // Observed: the first NaN stays the range. Fixed, inverted: NaN nowhere, below HMin
    // in bin 0, above HMax in 99. Zero references: infinite width, finite values in 0.
    const double nan = std::nan("");
    const struct { int q; float extRef; int hMinMax; double hMin, hMax, width;
                   trova_long bin0, bin99, inside, total; } cases[] = {
        {2, 0, 0, 0, 0, nan, 0, 0, 0, 0},        {2, 0, 1, 0, 980, 10, 1, 3, 20, 24},
        {2, 0, 1, 500, 108, -4, 21, 3, 0, 24},   {3, -1, 0, 0, 0, kInf, 22, 0, 22, 22}};
    for (const auto &c : cases) {
        Call call = Hist(c.q, 0);
        call.extRef = c.extRef, call.hMinMax = c.hMinMax, call.hMin = c.hMin, call.hMax = c.hMax;
        call.Run(PathOf(info, 0));
        const double width = call.Array<double>("HWidth")[0];
        const trova_long *counts = call.Array<trova_long>("HCounts");
        EXPECT_TRUE(width == c.width || (std::isnan(width) && std::isnan(c.width)));
        EXPECT_EQ(std::tuple(counts[0], counts[99], call.Int("HRangePoints"), call.Int("HTotalPoints")),
                  std::tuple(c.bin0, c.bin99, c.inside, c.total)) << &c - cases;
    }
}

TEST_F(ReaderHistTest, OutputsFollowTheChannelCountAndQuantityKind) {
    // The third group of N = 2 lies where block 1 begins; a bad quantity reads
    // quantity 0, once per block; equal values give width 0.
    const struct { int n, q, status, counted, served, reported; bool flat; } cases[] = {
        {1, 2, 0, 1, 1, 1, false}, {2, 2, 0, 3, 3, 2, false}, {4, 2, 0, 4, 4, 4, false},
        {7, 2, 0, 5, 5, 7, false}, {3, 2, 0, 3, 3, 3, true},  {3, -1, 4, 1, 3, 3, false}};
    for (const auto &k : cases) {
        SCOPED_TRACE("case " + std::to_string(&k - cases));
        rec::RecordingPlan plan = TrendTestPlan(1, 14, k.n);
        plan.stem = "n" + std::to_string(&k - cases);
        if (k.flat) plan.trendValues = [](int, int, int, int) { return 42.5f; };
        const rec::RecordingInfo info = Write(plan);
        const ValueFn read = Channels(std::max(k.q, 0), 0);
        const ValueFn value = [&](const ModelRecord &r, int c, int) {
            return k.flat ? 42.5f : k.n == 2 && c == 2 ? TrendTestValue(r.index, 1, 0, 0) : read(r, c, 0);
        };
        Check(Hist(k.q, 0), PathOf(info, 0), [&](Call &want) {
            const auto records = ModelRecords(info, 0, 13, plan.flags);
            PredictHistogram(want, records, records, value, {k.status, k.counted, k.reported, k.served});
        });
    }
}

}  // namespace
}  // namespace trova
