// Reader_HIST end to end: recordings from the recording writer, the export
// called as the host calls it, histograms checked against counts made here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "support/histogram_model.h"
#include "support/test_support.h"
#include "support/trend_records.h"

namespace trova {
namespace {

using testing::TrendTestPlan;
using testing::TrendTestRecords;
using Records = std::vector<testing::ExpectedRecord>;
using Lines = std::vector<std::string>;
constexpr trova_long kGuard = -7;
constexpr double kGuardD = -9.5, kInf = std::numeric_limits<double>::infinity();

struct HistCall {
    int quantity = 2, minMax = 0;
    double tStart = -1.0, tStop = -1.0, hMin = 0.0, hMax = 0.0;
    float extRef = 0.0f;
    trova_long hMinMax = 0, flagged = 0;
    // Room for seven channels' ranges and five channels' counts, then a guard.
    std::vector<double> start, width;
    std::vector<trova_long> counts, inRange, total;
    trova_long flaggedRecords = kGuard, records = kGuard, status = kGuard;

    HistCall &Run(std::string path) {
        start.assign(8, kGuardD), width = start;
        counts.assign(501, kGuard), inRange.assign(6, kGuard), total = inRange;
        char label[] = "Histogram", button[] = "Stop";
        EXPECT_EQ(Reader_HIST(quantity, minMax, tStart, tStop, extRef, label, path.data(),
                              start.data(), width.data(), counts.data(), button, &status, hMinMax,
                              hMin, hMax, inRange.data(), total.data(), flagged, &flaggedRecords,
                              &records), 0);
        EXPECT_EQ(std::tuple(counts[500], inRange[5], total[5]),
                  std::tuple(kGuard, kGuard, kGuard));
        return *this;
    }
};

struct Expected {
    int channels = 0;
    double start[5] = {}, width[5] = {};
    std::vector<trova_long> counts = std::vector<trova_long>(500, 0);
    trova_long range[5] = {}, total[5] = {}, flaggedRecords = 0, records = 0;
};

// Bins over the range of `ranged`: 100 of a single-precision width from its
// least value, or 98 from a fixed HMin to HMax (a NaN end from channel 0)
// and the outer two beyond. `counted` is binned, flagged records on request.
Expected Model(const Records &ranged, const Records &counted, int channels, bool withFlagged,
               bool fixed = false, double hMin = 0, double hMax = 0) {
    auto valuesOf = [&](const Records &records, int c) {
        std::vector<float> v;
        for (const auto &r : records) {
            if (r.flags == 0 || withFlagged) v.push_back(r.values[c]);
        }
        return v;
    };
    Expected e;
    e.channels = channels;
    for (const auto &r : counted) ++e.records, e.flaggedRecords += r.flags != 0;
    for (int c = 0; c < channels && !valuesOf(ranged, 0).empty(); ++c) {
        const testing::HistogramModel h = testing::Histogram(valuesOf(ranged, c), valuesOf(counted, c), fixed, hMin, hMax);
        std::copy(h.counts.begin(), h.counts.end(), e.counts.begin() + 100 * c);
        e.start[c] = h.start, e.width[c] = h.width, e.range[c] = h.inRange, e.total[c] = h.total;
    }
    return e;
}

// Ranges of channels 0 .. reported - 1, counts of channels 0 .. served - 1,
// the entries behind them untouched.
void ExpectHistogram(const HistCall &call, const Expected &e, int served = 3, int reported = 3) {
    for (int c = 0; c <= reported; ++c) {
        const bool known = c < e.channels, guard = c == reported;
        EXPECT_EQ(std::tuple(call.start[c], call.width[c]),
                  std::tuple(guard ? kGuardD : known ? e.start[c] : 0.0,
                             guard ? kGuardD : known ? e.width[c] : 0.0)) << c;
    }
    EXPECT_EQ(std::tuple(call.flaggedRecords, call.records),
              std::tuple(e.flaggedRecords, e.records));
    for (int c = 0; c < 5; ++c) {
        const bool counted = c < e.channels;
        const trova_long none = c < served ? 0 : kGuard;
        EXPECT_EQ(std::tuple(call.inRange[c], call.total[c]),
                  std::tuple(counted ? e.range[c] : none, counted ? e.total[c] : none)) << c;
        for (int b = 0; b < 100; ++b) {
            const size_t at = size_t(100 * c + b);
            EXPECT_EQ(call.counts[at], counted ? e.counts[at] : none) << c << " bin " << b;
        }
    }
}

Lines CounterLines(Lines log) {
    log.erase(std::remove_if(log.begin(), log.end(), [](const std::string &l) {
                  return l.rfind("FFlaggedPoints", 0) != 0 && l.rfind("FTotalPoints", 0) != 0;
              }), log.end());
    return log;
}

using ReaderHistTest = testing::ReaderTest;

TEST_F(ReaderHistTest, TwoPassesRunningCountersAndAWindowWithoutItsStopRecord) {
    const rec::RecordingInfo info = Write(TrendTestPlan(20, 10));
    HistCall call;
    call.quantity = 3, call.minMax = 1;
    EXPECT_EQ(call.Run(PathOf(info, 2)).status, TROVA_READER_OK);
    const Records all = TrendTestRecords(info, 0, 199, 3, 1, 3);
    ExpectHistogram(call, Model(all, all, 3, false));
    Lines counters;
    for (int n = 10; n <= 200; n += 10) {
        counters.push_back("FFlaggedPoints = " + std::to_string((n + 6) / 7));
        counters.push_back("FTotalPoints   = " + std::to_string(n));
    }
    EXPECT_EQ(CounterLines(LogLines()), counters);
    // Steps of 5 posted above 10, on one meter for both passes.
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60, 75, 90, 105, 120, 135, 150, 165, 180,
                                           195}));
    // Records 10 .. 100: the record at TStop, holding the least value, is
    // left out in both passes; flagged records binned too.
    call.flagged = 1;
    call.tStart = info.table()[0].firstTime + 10.0, call.tStop = info.table()[10].firstTime + 1.0;
    const Records window = TrendTestRecords(info, 10, 100, 3, 1, 3);
    ExpectHistogram(call.Run(PathOf(info, 0)), Model(window, window, 3, true));
}

TEST_F(ReaderHistTest, CancelInEitherPass) {
    const rec::RecordingInfo info = Write(TrendTestPlan(3, 20));
    CancelAfterFile(0);  // pass 1: the range of file 0, nothing counted
    HistCall first;
    EXPECT_EQ(first.Run(PathOf(info, 0)).status, TROVA_READER_CANCELLED);
    ExpectHistogram(first, Model(TrendTestRecords(info, 0, 19, 2, 0, 3), {}, 3, false));
    EXPECT_EQ(std::tuple(CounterLines(LogLines()), progress_),
              std::tuple(Lines{}, std::vector{33}));
    progress_.clear();
    CancelAfterFile(3 + 1);  // pass 2: the whole range, two files counted
    HistCall second;
    EXPECT_EQ(second.Run(PathOf(info, 0)).status, TROVA_READER_CANCELLED);
    ExpectHistogram(second, Model(TrendTestRecords(info, 0, 59, 2, 0, 3),
                                  TrendTestRecords(info, 0, 39, 2, 0, 3), 3, false));
    EXPECT_EQ(CounterLines(LogLines()).size(), 4u);
    EXPECT_EQ(progress_, (std::vector<int>{33, 66, 99, 132, 165}));
}

TEST_F(ReaderHistTest, FixedRangeBinsOutsideValuesAtTheEnds) {
    static constexpr float kValues[] = {0.0f, 97.5f, 98.0f, 98.5f, -0.5f, 49.25f, 1.0f, 0.999f};
    rec::RecordingPlan plan = TrendTestPlan(1, 8);
    plan.trendValues = [](int record, int, int, int c) { return kValues[record % 8] + 10.0f * c; };
    plan.flags = nullptr;
    const rec::RecordingInfo info = Write(plan);
    Records records;
    for (float v : kValues) records.push_back({0, 0, 0, {v, v + 10.0f, v + 20.0f}});
    HistCall call;
    call.hMinMax = 1, call.hMin = 0.0, call.hMax = 98.0;
    call.Run(PathOf(info, 0));
    // Width 1 from -1: 98 -> bin 99 but inside; -0.5 and 98.5 outside, in 0 and 99.
    EXPECT_EQ(std::tuple(call.start[0], call.counts[0], call.counts[99], call.inRange[0]),
              std::tuple(-1.0, 1, 2, 6));
    ExpectHistogram(call, Model(records, records, 3, false, true, 0.0, 98.0));
    // Ends not finite become channel 0's extremes, for all channels.
    for (auto [lo, hi] : {std::pair{std::nan(""), kInf}, {-kInf, std::nan("")}}) {
        call.hMin = lo, call.hMax = hi;
        EXPECT_EQ(call.Run(PathOf(info, 0)).width[2], (98.5 + 0.5) / 98.0);
        ExpectHistogram(call, Model(records, records, 3, false, true, -0.5, 98.5));
    }
}

TEST_F(ReaderHistTest, NonFiniteValuesAndInvertedRangesStayInTheirBins) {
    // Quantity 2: 6 NaN (5k), 3 +inf (3, 17, 24), -inf at 11; reference 0 at 4k + 1.
    rec::RecordingPlan plan = TrendTestPlan(1, 30);
    plan.trendValues = [](int record, int block, int quantity, int channel) {
        const float inf = std::numeric_limits<float>::infinity();
        if (quantity == 2 && record % 5 == 0) return std::numeric_limits<float>::quiet_NaN();
        if (quantity == 2 && (record % 7 == 3 || record == 11)) return record == 11 ? -inf : inf;
        if (quantity == 4 && record % 4 == 1) return 0.0f;
        return testing::TrendTestValue(record, block, quantity, channel);
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
        HistCall call;
        call.quantity = c.q, call.extRef = c.extRef, call.hMinMax = c.hMinMax;
        call.hMin = c.hMin, call.hMax = c.hMax;
        call.Run(PathOf(info, 0));
        EXPECT_TRUE(call.width[0] == c.width || (std::isnan(call.width[0]) && std::isnan(c.width)));
        EXPECT_EQ(std::tuple(call.counts[0], call.counts[99], call.inRange[0], call.total[0]),
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
        Records records = TrendTestRecords(info, 0, 13, std::max(k.q, 0), 0, k.counted);
        for (size_t r = 0; r < records.size(); ++r) {
            if (k.n == 2) records[r].values[2] = testing::TrendTestValue(int(r), 1, 0, 0);
            if (k.flat) std::fill_n(records[r].values, 3, 42.5f);
        }
        HistCall call;
        call.quantity = k.q;
        EXPECT_EQ(call.Run(PathOf(info, 0)).status, k.status);
        ExpectHistogram(call, Model(records, records, k.counted, false), k.served, k.reported);
    }
}

}  // namespace
}  // namespace trova
