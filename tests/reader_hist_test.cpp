// Reader_HIST end to end: recordings written by the recording writer, the
// export called as the host calls it, histograms checked against counts
// made here from the values the writer was given.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "recording_writer.h"
#include "support/test_support.h"
#include "support/trend_records.h"

namespace trova {
namespace {

using testing::ExpectedRecord;
using testing::ReaderTest;
using testing::TrendTestPlan;
using testing::TrendTestRecords;
using testing::TrendTestValue;

constexpr trova_long kGuard = -7;
constexpr double kGuardD = -9.5;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

struct HistCall {
    int quantity = 0;
    int minMax = 0;
    double tStart = -1.0;
    double tStop = -1.0;
    float extRef = 0.0f;
    trova_long hMinMax = 0;
    double hMin = 0.0;
    double hMax = 0.0;
    trova_long flagged = 0;

    // Room for seven channels and one guard element behind each array.
    std::vector<double> hStart, hWidth;
    std::vector<trova_long> counts, rangePoints, totalPoints;
    trova_long flaggedPoints = kGuard, recordPoints = kGuard;
    trova_long status = kGuard;
    int result = -1;

    void Run(const std::string &path) {
        hStart.assign(8, kGuardD);
        hWidth.assign(8, kGuardD);
        counts.assign(501, kGuard);
        rangePoints.assign(6, kGuard);
        totalPoints.assign(6, kGuard);
        char label[] = "Histogram";
        char button[] = "Stop";
        std::string pathCopy = path;
        result = Reader_HIST(quantity, minMax, tStart, tStop, extRef, label, pathCopy.data(),
                             hStart.data(), hWidth.data(), counts.data(), button, &status, hMinMax,
                             hMin, hMax, rangePoints.data(), totalPoints.data(), flagged,
                             &flaggedPoints, &recordPoints);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(counts.back(), kGuard);
    }
};

// The histogram the reader should give for the records of a window.
struct Expected {
    int channels = 1;  // channels counted (and zeroed)
    double start[5] = {}, width[5] = {};
    std::vector<trova_long> counts = std::vector<trova_long>(500, 0);
    trova_long range[5] = {}, total[5] = {};
    trova_long flaggedRecords = 0, records = 0;
};

// Without a fixed range the bins span each channel's smallest to largest
// value of `ranged` in 100 steps of a single-precision width; with one, 98
// bins span HMin to HMax and the outer bins take what lies beyond. A NaN end
// is replaced by channel 0's extreme. The values of `counted` are binned.
Expected SplitHistogram(const std::vector<ExpectedRecord> &ranged,
                        const std::vector<ExpectedRecord> &counted, int channels,
                        bool withFlagged, bool fixed = false, double hMin = 0.0,
                        double hMax = 0.0) {
    auto valuesOf = [&](const std::vector<ExpectedRecord> &records, int c) {
        std::vector<float> v;
        for (const ExpectedRecord &r : records) {
            if (r.flags == 0 || withFlagged) v.push_back(r.values[c]);
        }
        return v;
    };
    Expected e;
    e.channels = channels;
    for (const ExpectedRecord &r : counted) {
        ++e.records;
        if (r.flags != 0) ++e.flaggedRecords;
    }
    if (valuesOf(ranged, 0).empty()) return e;
    for (int c = 0; c < channels; ++c) {
        const std::vector<float> v = valuesOf(ranged, c);
        const float lo = *std::min_element(v.begin(), v.end());
        const float hi = *std::max_element(v.begin(), v.end());
        float minimum = lo;
        if (fixed) {
            if (std::isnan(hMin)) hMin = lo;
            if (std::isnan(hMax)) hMax = hi;
            e.width[c] = (hMax - hMin) / 98.0;
            e.start[c] = hMin - e.width[c];
            minimum = static_cast<float>(hMin - e.width[c]);
        } else {
            e.width[c] = static_cast<double>((hi - lo) / 100.0f);
            e.start[c] = lo;
        }
        for (float x : valuesOf(counted, c)) {
            int bin;
            bool interior = true;
            if (fixed && x < hMin) {
                bin = 0, interior = false;
            } else if (fixed && x > hMax) {
                bin = 99, interior = false;
            } else {
                bin = e.width[c] == 0.0 ? 0 : std::min(99, int(double(x - minimum) / e.width[c]));
            }
            ++e.counts[size_t(100 * c + bin)];
            ++e.total[c];
            if (interior) ++e.range[c];
        }
    }
    return e;
}

Expected Histogram(const std::vector<ExpectedRecord> &records, int channels, bool withFlagged,
                   bool fixed = false, double hMin = 0.0, double hMax = 0.0) {
    return SplitHistogram(records, records, channels, withFlagged, fixed, hMin, hMax);
}

// Flagged records of the test recording among recording-wide records [0, n).
trova_long FlaggedAmongFirst(int n) {
    trova_long flagged = 0;
    for (int r = 0; r < n; ++r) flagged += r % 7 == 3;
    return flagged;
}

class ReaderHistTest : public ReaderTest {
protected:
    // HStart and HWidth of channels 0 .. reported - 1 (0 for a channel
    // without values); the entry behind them untouched.
    void ExpectRanges(const HistCall &call, const Expected &e, int reported) const {
        for (int c = 0; c < reported; ++c) {
            SCOPED_TRACE("channel " + std::to_string(c));
            EXPECT_EQ(call.hStart[size_t(c)], c < e.channels ? e.start[c] : 0.0);
            EXPECT_EQ(call.hWidth[size_t(c)], c < e.channels ? e.width[c] : 0.0);
        }
        EXPECT_EQ(call.hStart[size_t(reported)], kGuardD);
        EXPECT_EQ(call.hWidth[size_t(reported)], kGuardD);
    }

    // Record counters; bins and per-channel counters of channels 0 ..
    // served - 1 (zero beyond e.channels), those behind them untouched.
    void ExpectCounts(const HistCall &call, const Expected &e, int served) const {
        EXPECT_EQ(call.flaggedPoints, e.flaggedRecords);
        EXPECT_EQ(call.recordPoints, e.records);
        for (int c = 0; c < 5; ++c) {
            SCOPED_TRACE("channel " + std::to_string(c));
            if (c >= served) {
                EXPECT_EQ(call.rangePoints[size_t(c)], kGuard);
                EXPECT_EQ(call.totalPoints[size_t(c)], kGuard);
                EXPECT_EQ(call.counts[size_t(100 * c)], kGuard);
                continue;
            }
            const bool counted = c < e.channels;
            EXPECT_EQ(call.rangePoints[size_t(c)], counted ? e.range[c] : 0);
            EXPECT_EQ(call.totalPoints[size_t(c)], counted ? e.total[c] : 0);
            for (int b = 0; b < 100; ++b) {
                const trova_long want = counted ? e.counts[size_t(100 * c + b)] : 0;
                EXPECT_EQ(call.counts[size_t(100 * c + b)], want) << "bin " << b;
            }
        }
    }

    void ExpectHistogram(const HistCall &call, const Expected &e, int served) const {
        ExpectRanges(call, e, served);
        ExpectCounts(call, e, served);
    }

    std::vector<std::string> CounterLines() const {
        std::vector<std::string> out;
        for (const std::string &line : LogLines()) {
            if (line.rfind("FFlaggedPoints", 0) == 0 || line.rfind("FTotalPoints", 0) == 0) {
                out.push_back(line);
            }
        }
        return out;
    }
};

TEST_F(ReaderHistTest, WholeRecordingTwoPassesCountersAndLog) {
    const rec::RecordingInfo info = Write(TrendTestPlan(4, 50));
    HistCall call;
    call.quantity = 3;
    call.minMax = 1;
    call.Run(PathOf(info, 2));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    const Expected e = Histogram(TrendTestRecords(info, 0, 199, 3, 1, 3), 3, false);
    ExpectHistogram(call, e, 3);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(call.rangePoints[size_t(c)], call.totalPoints[size_t(c)]);
    // The smallest value lands in bin 0, the largest (index 100) in bin 99.
    EXPECT_GT(call.counts[0], 0);
    EXPECT_GT(call.counts[99], 0);

    // Running totals after every file of the second pass.
    std::vector<std::string> counters;
    for (int n : {50, 100, 150, 200}) {
        counters.push_back("FFlaggedPoints = " + std::to_string(FlaggedAmongFirst(n)));
        counters.push_back("FTotalPoints   = " + std::to_string(n));
    }
    EXPECT_EQ(CounterLines(), counters);
    // The export's parameter lines.
    const std::vector<std::string> log = LogLines();
    ASSERT_GE(log.size(), 14u);
    EXPECT_EQ(std::vector<std::string>(log.begin(), log.begin() + 14),
              (std::vector<std::string>{
                  "============================================================",
                  "Start Reader_HIST", "------------------------------", "Quantity  = 3",
                  "MinMax    = 1", "TStart    = -1.00", "TStop     = -1.00",
                  "Label     = Histogram", "PathFile  = " + PathOf(info, 2), "ExtRef    = 0.00",
                  "HMinMax   = 0", "HMin      = 0.00", "HMax      = 0.00", "Flagged   = 0"}));
    // Each pass adds up to 100 on one accumulator.
    EXPECT_EQ(progress_, (std::vector<int>{25, 50, 75, 100, 125, 150, 175, 200}));
}

TEST_F(ReaderHistTest, WindowLeavesTheStopRecordOut) {
    const rec::RecordingInfo info = Write(TrendTestPlan(3, 40));
    const double t0 = info.table()[0].firstTime;
    HistCall call;
    call.quantity = 2;
    call.tStart = t0 + 10.0;                          // record 10
    call.tStop = info.table()[2].firstTime + 5.0;     // record 85 and later are left out
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    ExpectHistogram(call, Histogram(TrendTestRecords(info, 10, 84, 2, 0, 3), 3, false), 3);
    EXPECT_EQ(call.recordPoints, 75);

    // TStop before TStart: no record passes.
    HistCall reversed;
    reversed.quantity = 2;
    reversed.tStart = t0 + 20.0;
    reversed.tStop = t0 + 10.0;
    reversed.Run(PathOf(info, 0));
    EXPECT_EQ(reversed.status, TROVA_READER_OK);
    EXPECT_EQ(reversed.recordPoints, 0);
    ExpectHistogram(reversed, Histogram({}, 3, false), 3);
}

TEST_F(ReaderHistTest, FlaggedRecordsAreCountedApartOrHistogrammed) {
    const rec::RecordingInfo info = Write(TrendTestPlan(2, 35));
    const std::string path = PathOf(info, 0);
    HistCall with;
    with.quantity = 4;
    with.flagged = 1;
    with.Run(path);
    ExpectHistogram(with, Histogram(TrendTestRecords(info, 0, 69, 4, 0, 3), 3, true), 3);
    EXPECT_EQ(with.flaggedPoints, 10);
    EXPECT_EQ(with.totalPoints[0], 70);

    // Every record flagged and Flagged 0: nothing binned, no range.
    rec::RecordingPlan all = TrendTestPlan(2, 10);
    all.stem = "flagged";
    all.flags = rec::everyKth(1, 2);
    const rec::RecordingInfo flaggedInfo = Write(all);
    HistCall none;
    none.quantity = 4;
    none.Run(PathOf(flaggedInfo, 0));
    EXPECT_EQ(none.status, TROVA_READER_OK);
    EXPECT_EQ(none.flaggedPoints, 20);
    EXPECT_EQ(none.recordPoints, 20);
    std::vector<ExpectedRecord> flaggedRecords = TrendTestRecords(flaggedInfo, 0, 19, 4, 0, 3);
    for (ExpectedRecord &r : flaggedRecords) r.flags = 2;
    ExpectHistogram(none, Histogram(flaggedRecords, 3, false), 3);
}

// Values chosen per record for the fixed-range rules: quantity 2, all
// three channels carry the same value plus 10·channel.
float FixedRangeValue(int record, int, int, int channel) {
    static const float kValues[] = {0.0f, 97.5f, 98.0f, 98.5f, -0.5f, 49.25f, 1.0f, 0.999f};
    return kValues[record % 8] + 10.0f * channel;
}

TEST_F(ReaderHistTest, FixedRangeBinsOutsideValuesAtTheEnds) {
    rec::RecordingPlan plan = TrendTestPlan(1, 8);
    plan.trendValues = FixedRangeValue;
    plan.flags = nullptr;
    const rec::RecordingInfo info = Write(plan);
    HistCall call;
    call.quantity = 2;
    call.hMinMax = 1;
    call.hMin = 0.0;
    call.hMax = 98.0;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    // Width 1, bin 0 starts at -1: 0 -> bin 1, 97.5 -> 98, 98 -> 99,
    // 49.25 -> 50, 1 -> 2, 0.999 -> 1; 98.5 and -0.5 only in the totals.
    EXPECT_EQ(call.hWidth[0], 1.0);
    EXPECT_EQ(call.hStart[0], -1.0);
    EXPECT_EQ(call.counts[0], 1);
    EXPECT_EQ(call.counts[1], 2);
    EXPECT_EQ(call.counts[2], 1);
    EXPECT_EQ(call.counts[50], 1);
    EXPECT_EQ(call.counts[98], 1);
    EXPECT_EQ(call.counts[99], 2);
    EXPECT_EQ(call.rangePoints[0], 6);
    EXPECT_EQ(call.totalPoints[0], 8);
    std::vector<ExpectedRecord> records;
    for (int r = 0; r < 8; ++r) {
        ExpectedRecord x{};
        for (int c = 0; c < 3; ++c) x.values[c] = FixedRangeValue(r, 0, 2, c);
        records.push_back(x);
    }
    ExpectHistogram(call, Histogram(records, 3, false, true, 0.0, 98.0), 3);

    // A NaN HMin becomes channel 0's smallest value (-0.5) and serves all
    // channels; an infinite HMax becomes channel 0's largest (98.5).
    HistCall replaced = call;
    replaced.hMin = std::nan("");
    replaced.hMax = std::numeric_limits<double>::infinity();
    replaced.Run(PathOf(info, 0));
    const double width = (98.5 - -0.5) / 98.0;
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(replaced.hWidth[size_t(c)], width);
        EXPECT_EQ(replaced.hStart[size_t(c)], -0.5 - width);
    }
    ExpectHistogram(replaced, Histogram(records, 3, false, true, -0.5, 98.5), 3);
    EXPECT_EQ(replaced.rangePoints[0], 8);
}

TEST_F(ReaderHistTest, NormalisationByExtRefAndReferenceQuantity) {
    rec::RecordingPlan plan = TrendTestPlan(1, 30);
    plan.trend.refQuantity = 4;
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    HistCall byExt;
    byExt.quantity = 3;
    byExt.extRef = 230.0f;
    byExt.Run(path);
    ExpectHistogram(byExt, Histogram(TrendTestRecords(info, 0, 29, 3, 0, 3, 230.0f), 3, false), 3);

    HistCall byRef;
    byRef.quantity = 3;
    byRef.minMax = 1;
    byRef.extRef = -1.0f;
    byRef.Run(path);
    std::vector<ExpectedRecord> records = TrendTestRecords(info, 0, 29, 3, 1, 3);
    for (size_t i = 0; i < records.size(); ++i) {
        for (int c = 0; c < 3; ++c) {
            records[i].values[c] = TrendTestValue(int(i), 1, 3, c) / TrendTestValue(int(i), 1, 4, c);
        }
    }
    ExpectHistogram(byRef, Histogram(records, 3, false), 3);


    // Without a reference quantity neither ExtRef normalises.
    rec::RecordingPlan noRefPlan = TrendTestPlan(1, 30);
    noRefPlan.stem = "noref";
    const rec::RecordingInfo noRef = Write(noRefPlan);
    HistCall call;
    call.quantity = 3;
    call.extRef = -1.0f;
    call.Run(PathOf(noRef, 0));
    ExpectHistogram(call, Histogram(TrendTestRecords(noRef, 0, 29, 3, 0, 3), 3, false), 3);
}

TEST_F(ReaderHistTest, CorrectedArgumentsScalarQuantitiesAndMissingFiles) {
    rec::RecordingPlan plan = TrendTestPlan(1, 20);
    plan.trend.statMask = 0x03;  // K = 2
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    HistCall badBlock;
    badBlock.quantity = 3;
    badBlock.minMax = 2;
    badBlock.Run(path);
    EXPECT_EQ(badBlock.status, TROVA_READER_BAD_MINMAX);
    ExpectHistogram(badBlock, Histogram(TrendTestRecords(info, 0, 19, 3, 0, 3), 3, false), 3);

    // Quantity 0 is once per block: only channel 0 is counted; channels 1
    // and 2 are zeroed, and report the range 0 .. 0 of a channel without values.
    HistCall badQuantity;
    badQuantity.quantity = -1;
    badQuantity.Run(path);
    EXPECT_EQ(badQuantity.status, TROVA_READER_BAD_QUANTITY);
    ExpectHistogram(badQuantity, Histogram(TrendTestRecords(info, 0, 19, 0, 0, 1), 1, false), 3);

    rec::RecordingPlan broken;
    broken.stem = "broken";
    broken.addDamaged(rec::Damage::ZeroFirstTime);
    const rec::RecordingInfo none = Write(broken);
    progress_.clear();
    HistCall empty;
    empty.Run(none.path(none.files[0]));
    EXPECT_EQ(empty.status, TROVA_READER_NO_FILES);
    EXPECT_EQ(empty.counts[0], kGuard);
    EXPECT_EQ(empty.rangePoints[0], kGuard);
    EXPECT_EQ(empty.hStart[0], kGuardD);
    EXPECT_EQ(empty.recordPoints, kGuard);
    EXPECT_TRUE(progress_.empty());
}

TEST_F(ReaderHistTest, CancelInEitherPass) {
    const rec::RecordingInfo info = Write(TrendTestPlan(3, 20));
    const std::string path = PathOf(info, 0);

    // In pass 1, after the first file: the range of that file, nothing counted.
    CancelAfterFile(0);
    HistCall first;
    first.quantity = 2;
    first.Run(path);
    EXPECT_EQ(first.status, TROVA_READER_CANCELLED);
    ExpectHistogram(first, SplitHistogram(TrendTestRecords(info, 0, 19, 2, 0, 3), {}, 3, false), 3);
    EXPECT_TRUE(CounterLines().empty());
    EXPECT_EQ(progress_, (std::vector<int>{33}));

    // In pass 2, after its second file: the whole range, two files counted.
    ClearLog();
    progress_.clear();
    CancelAfterFile(3 + 1);
    HistCall second;
    second.quantity = 2;
    second.Run(path);
    EXPECT_EQ(second.status, TROVA_READER_CANCELLED);
    ExpectHistogram(second,
                    SplitHistogram(TrendTestRecords(info, 0, 59, 2, 0, 3),
                                   TrendTestRecords(info, 0, 39, 2, 0, 3), 3, false),
                    3);
    EXPECT_EQ(second.recordPoints, 40);
    EXPECT_EQ(CounterLines().size(), 4u);
    EXPECT_EQ(progress_, (std::vector<int>{33, 66, 99, 132, 165}));
}

// Quantity 2 of record r: NaN every 5th, +inf every 7th (from 3), -inf at
// 11, else the test value (200 and more).
float AwkwardValue(int record, int block, int quantity, int channel) {
    if (quantity == 2) {
        if (record % 5 == 0) return kNaN;
        if (record % 7 == 3) return kInf;
        if (record == 11) return -kInf;
    }
    return TrendTestValue(record, block, quantity, channel);
}

TEST_F(ReaderHistTest, NonFiniteValuesAndInvertedRangesStayInTheirBins) {
    rec::RecordingPlan plan = TrendTestPlan(1, 30);
    plan.trendValues = AwkwardValue;
    plan.flags = nullptr;
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    // Observed range: the infinities make it infinite; the NaN of record 0
    // sets it first and is never improved on, so no quotient is usable and
    // every value is skipped.
    HistCall observed;
    observed.quantity = 2;
    observed.Run(path);
    EXPECT_EQ(observed.status, TROVA_READER_OK);
    EXPECT_TRUE(std::isnan(observed.hStart[0]));
    EXPECT_EQ(observed.totalPoints[0], 0);
    EXPECT_EQ(observed.recordPoints, 30);

    // A fixed range: NaN skipped, the infinities outside, the rest inside.
    HistCall fixed;
    fixed.quantity = 2;
    fixed.hMinMax = 1;
    fixed.hMin = 0.0;
    fixed.hMax = 1000.0;
    fixed.Run(path);
    int nans = 0, pos = 0, neg = 0;
    for (int r = 0; r < 30; ++r) {
        const float v = AwkwardValue(r, 0, 2, 0);
        nans += std::isnan(v);
        pos += v == kInf;
        neg += v == -kInf;
    }
    EXPECT_EQ(fixed.totalPoints[0], 30 - nans);
    EXPECT_EQ(fixed.rangePoints[0], 30 - nans - pos - neg);
    EXPECT_EQ(fixed.counts[0], neg);
    EXPECT_EQ(fixed.counts[99], pos);

    // Inverted: below HMin counts in bin 0 (every finite value and -inf),
    // +inf above HMax in bin 99, nothing interior.
    HistCall inverted = fixed;
    inverted.hMin = 500.0;
    inverted.hMax = 100.0;
    inverted.Run(path);
    EXPECT_LT(inverted.hWidth[0], 0.0);
    EXPECT_EQ(inverted.rangePoints[0], 0);
    EXPECT_EQ(inverted.counts[0], 30 - nans - pos);
    EXPECT_EQ(inverted.counts[99], pos);

    // Division by a zero reference (records 1, 5, 9): the largest value is
    // infinite, so is the width; the finite values fall in bin 0, the
    // infinite ones have no bin.
    rec::RecordingPlan zeroRef = TrendTestPlan(1, 12);
    zeroRef.stem = "zeroref";
    zeroRef.trend.refQuantity = 4;
    zeroRef.trendValues = [](int record, int block, int quantity, int channel) {
        if (quantity == 4 && record % 4 == 1) return 0.0f;
        return TrendTestValue(record, block, quantity, channel);
    };
    const rec::RecordingInfo zeroInfo = Write(zeroRef);
    HistCall divided;
    divided.quantity = 3;
    divided.extRef = -1.0f;
    divided.Run(PathOf(zeroInfo, 0));
    EXPECT_EQ(divided.status, TROVA_READER_OK);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(divided.hWidth[size_t(c)], std::numeric_limits<double>::infinity());
        // Records 3 and 10 are flagged.
        EXPECT_EQ(divided.counts[size_t(100 * c)], 12 - 3 - 2);
        EXPECT_EQ(divided.totalPoints[size_t(c)], 12 - 3 - 2);
        EXPECT_EQ(divided.counts[size_t(100 * c + 99)], 0);
    }

    // All values equal: width 0, everything in bin 0.
    rec::RecordingPlan flat = TrendTestPlan(1, 9);
    flat.stem = "flat";
    flat.trendValues = [](int, int, int, int) { return 42.5f; };
    flat.flags = nullptr;
    const rec::RecordingInfo flatInfo = Write(flat);
    HistCall same;
    same.quantity = 2;
    same.Run(PathOf(flatInfo, 0));
    EXPECT_EQ(same.hStart[0], 42.5);
    EXPECT_EQ(same.hWidth[0], 0.0);
    EXPECT_EQ(same.counts[0], 9);
    EXPECT_EQ(same.counts[200], 9);
}

TEST_F(ReaderHistTest, OutputSizesFollowTheChannelCount) {
    // N: channels counted (and zeroed), HStart/HWidth entries written.
    struct Case {
        int channels, counted, reported;
    } cases[] = {{1, 1, 1}, {2, 3, 2}, {3, 3, 3}, {4, 4, 4}, {5, 5, 5}, {7, 5, 7}};
    for (const Case &k : cases) {
        SCOPED_TRACE("N = " + std::to_string(k.channels));
        rec::RecordingPlan plan = TrendTestPlan(1, 14);
        plan.stem = "n" + std::to_string(k.channels);
        plan.trend.channels = k.channels;
        const rec::RecordingInfo info = Write(plan);
        HistCall call;
        call.quantity = 2;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        std::vector<ExpectedRecord> records = TrendTestRecords(info, 0, 13, 2, 0, k.counted);
        if (k.channels == 2) {
            // The third group of N = 2 would lie at offset 2·P of the
            // channel part; with P = 3 that is block 1's quantity 0.
            for (size_t r = 0; r < records.size(); ++r) {
                records[r].values[2] = TrendTestValue(int(r), 1, 0, 0);
            }
        }
        const Expected e = Histogram(records, k.counted, false);
        ExpectRanges(call, e, k.reported);
        ExpectCounts(call, e, k.counted);
    }
}

}  // namespace
}  // namespace trova
