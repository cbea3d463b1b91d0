// Reader_XT2 end to end: recordings written by the recording writer, the
// export called as the host calls it, outputs checked against the curve
// model applied here to the values the writer was given.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording_writer.h"
#include "support/curve_model.h"
#include "support/test_support.h"
#include "support/trend_records.h"

namespace trova {
namespace {

using testing::CurveModel;
using testing::CurveOutput;
using testing::CurveSample;
using testing::ExpectedRecord;
using testing::ReaderTest;
using testing::TrendTestPlan;
using testing::TrendTestRecords;
using testing::TrendTestValue;

constexpr float kUntouched = -12345.0f;

struct Xt2Call {
    int quantity = 0;
    int minMax = 0;
    double tStart = -1.0;
    double tStop = -1.0;
    float extRef = 0.0f;
    int points = 100;

    std::vector<float> values;
    std::vector<double> times;
    std::vector<int> flagWords;
    int factor = -1;
    int status = -1;
    int result = -1;

    int Run(const std::string &path) {
        // One guard element past each array: the reader must never reach it.
        values.assign(5 * size_t(points) + 1, kUntouched);
        times.assign(2 * size_t(points) + 1, -1.0);
        flagWords.assign(size_t(points) + 1, -1);
        char label[] = "Decimated";
        char button[] = "Stop";
        std::string pathCopy = path;
        int pointsArg = points;
        result = Reader_XT2(quantity, minMax, tStart, tStop, extRef, label, pathCopy.data(),
                            &pointsArg, values.data(), times.data(), flagWords.data(), &factor,
                            button, &status);
        EXPECT_EQ(values.back(), kUntouched);
        EXPECT_EQ(times.back(), -1.0);
        EXPECT_EQ(flagWords.back(), -1);
        return result;
    }
};

// The samples channel c's curve receives from `records`.
std::vector<CurveSample> Channel(const std::vector<ExpectedRecord> &records, int c) {
    std::vector<CurveSample> out;
    for (const ExpectedRecord &r : records) {
        out.push_back({r.t1, r.t2, r.values[c], static_cast<uint32_t>(r.flags)});
    }
    return out;
}

class ReaderXt2Test : public ReaderTest {
protected:
    // Checks values of every channel, and times and flag words of channel 0,
    // against the model with bins of `binSize`; channels from `channels` on
    // must stay untouched.
    void ExpectCurves(const Xt2Call &call, const std::vector<ExpectedRecord> &records,
                      size_t binSize, int channels) const {
        const size_t capacity = binSize == 1 ? records.size() : size_t(call.points);
        const std::vector<CurveOutput> first = CurveModel(Channel(records, 0), binSize, capacity);
        ASSERT_EQ(call.result, static_cast<int>(first.size()));
        for (size_t i = 0; i < first.size(); ++i) {
            SCOPED_TRACE("output " + std::to_string(i));
            EXPECT_EQ(call.times[i], first[i].t1);
            EXPECT_EQ(call.times[size_t(call.points) + i], first[i].t2);
            EXPECT_EQ(call.flagWords[i], static_cast<int>(first[i].flags));
        }
        for (int c = 0; c < 5; ++c) {
            SCOPED_TRACE("channel " + std::to_string(c));
            const size_t base = size_t(c) * size_t(call.points);
            if (c >= channels) {
                EXPECT_EQ(call.values[base], kUntouched);
                continue;
            }
            const std::vector<CurveOutput> want = CurveModel(Channel(records, c), binSize, capacity);
            for (size_t i = 0; i < want.size(); ++i) {
                EXPECT_EQ(call.values[base + i], want[i].value) << "output " << i;
            }
            if (want.size() < size_t(call.points)) {
                EXPECT_EQ(call.values[base + want.size()], kUntouched);
            }
        }
        if (first.size() < size_t(call.points)) {
            EXPECT_EQ(call.times[first.size()], -1.0);
            EXPECT_EQ(call.flagWords[first.size()], -1);
        }
    }

    bool Logged(const std::string &line) const {
        for (const std::string &l : LogLines()) {
            if (l == line) return true;
        }
        return false;
    }
};

TEST_F(ReaderXt2Test, WholeRecordingDecimatesEveryChannelAcrossFiles) {
    const rec::RecordingInfo info = Write(TrendTestPlan(4, 250));  // 1000 records
    Xt2Call call;
    call.quantity = 3;  // per channel: three curves
    call.minMax = 1;
    call.points = 100;
    call.Run(PathOf(info, 1));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(call.factor, 11);  // bins of 22
    EXPECT_EQ(call.result, 92);  // 45 full bins and one of 10
    ExpectCurves(call, TrendTestRecords(info, 0, 999, 3, 1, 3), 22, 3);

    // The worker's own line between the export's banner and its closing line.
    const std::vector<std::string> log = LogLines();
    ASSERT_GE(log.size(), 3u);
    EXPECT_EQ(log[1], "Start Reader_XT2");
    EXPECT_EQ(log.back(), "Finish Reader_XT2");
    EXPECT_TRUE(Logged("Start Reader_Thread2"));
    EXPECT_EQ(progress_, (std::vector<int>{25, 50, 75, 100}));
}

TEST_F(ReaderXt2Test, WindowsReadTheStopRecordAndPassThroughWhenTheyFit) {
    const rec::RecordingInfo info = Write(TrendTestPlan(1, 1000));
    const std::string path = PathOf(info, 0);
    const double t0 = info.table()[0].firstTime;

    // TStop at record 499: records 0 to 499, 500 outputs, no decimation.
    Xt2Call toStop;
    toStop.quantity = 2;
    toStop.points = 1000;
    toStop.tStop = t0 + 499.0;
    toStop.Run(path);
    EXPECT_EQ(toStop.factor, 0);
    EXPECT_EQ(toStop.result, 500);
    ExpectCurves(toStop, TrendTestRecords(info, 0, 499, 2, 0, 3), 1, 3);

    // An open end with TStart = 0.0 counts the window: 1000 samples, all fit.
    Xt2Call fromZero;
    fromZero.quantity = 4;
    fromZero.points = 1000;
    fromZero.tStart = 0.0;
    fromZero.Run(path);
    EXPECT_EQ(fromZero.factor, 0);
    ExpectCurves(fromZero, TrendTestRecords(info, 0, 999, 4, 0, 3), 1, 3);

    // A window of 300 records inside the recording with room for 1000.
    Xt2Call inside;
    inside.quantity = 2;
    inside.points = 1000;
    inside.tStart = t0 + 200.0;
    inside.tStop = t0 + 499.0;
    inside.Run(path);
    EXPECT_EQ(inside.factor, 0);
    EXPECT_EQ(inside.result, 300);
    ExpectCurves(inside, TrendTestRecords(info, 200, 499, 2, 0, 3), 1, 3);

    // The same window decimated: 300 samples for 40 points, bins of 16.
    Xt2Call binned = inside;
    binned.points = 40;
    binned.Run(path);
    EXPECT_EQ(binned.factor, 8);
    EXPECT_FALSE(Logged("Samples = 300"));  // a reader's curves keep their debug off
    ExpectCurves(binned, TrendTestRecords(info, 200, 499, 2, 0, 3), 16, 3);
}

TEST_F(ReaderXt2Test, ScalarQuantityFeedsChannelZeroOnly) {
    const rec::RecordingInfo info = Write(TrendTestPlan(2, 30));
    Xt2Call call;
    call.quantity = 1;  // S = 2: once per block
    call.minMax = 2;
    call.points = 10;  // 60 samples: bins of 14
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(call.factor, 7);
    ExpectCurves(call, TrendTestRecords(info, 0, 59, 1, 2, 1), 14, 1);
}

TEST_F(ReaderXt2Test, NormalisedValuesReachTheCurves) {
    rec::RecordingPlan plan = TrendTestPlan(1, 40);
    plan.trend.refQuantity = 4;
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    Xt2Call byExt;
    byExt.quantity = 3;
    byExt.extRef = 230.0f;
    byExt.points = 10;
    byExt.Run(path);
    ExpectCurves(byExt, TrendTestRecords(info, 0, 39, 3, 0, 3, 230.0f), 10, 3);

    Xt2Call byRef;
    byRef.quantity = 3;
    byRef.minMax = 2;
    byRef.extRef = -1.0f;
    byRef.Run(path);
    std::vector<ExpectedRecord> records = TrendTestRecords(info, 0, 39, 3, 2, 3);
    for (size_t i = 0; i < records.size(); ++i) {
        for (int c = 0; c < 3; ++c) {
            records[i].values[c] = TrendTestValue(int(i), 2, 3, c) / TrendTestValue(int(i), 2, 4, c);
        }
    }
    ExpectCurves(byRef, records, 1, 3);

    // (Which ExtRef values normalise, and without a reference quantity
    // none does, is the trend record reading Reader_XT's tests pin.)
}

TEST_F(ReaderXt2Test, CorrectedArgumentsAndMissingFiles) {
    rec::RecordingPlan plan = TrendTestPlan(1, 12);
    plan.trend.statMask = 0x03;  // two blocks
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    Xt2Call badBlock;
    badBlock.quantity = 2;
    badBlock.minMax = 2;
    badBlock.Run(path);
    EXPECT_EQ(badBlock.status, TROVA_READER_BAD_MINMAX);
    ExpectCurves(badBlock, TrendTestRecords(info, 0, 11, 2, 0, 3), 1, 3);

    Xt2Call badQuantity;
    badQuantity.quantity = 5;  // S + P
    badQuantity.minMax = -1;
    badQuantity.Run(path);
    EXPECT_EQ(badQuantity.status, TROVA_READER_BAD_QUANTITY);
    ExpectCurves(badQuantity, TrendTestRecords(info, 0, 11, 0, 0, 1), 1, 1);

    rec::RecordingPlan broken;
    broken.stem = "broken";
    broken.addDamaged(rec::Damage::TruncatedData);
    const rec::RecordingInfo none = Write(broken);
    Xt2Call empty;
    empty.Run(none.path(none.files[0]));
    EXPECT_EQ(empty.status, TROVA_READER_NO_FILES);
    EXPECT_EQ(empty.result, 0);
    EXPECT_EQ(empty.factor, -1);
    EXPECT_EQ(empty.values[0], kUntouched);
    EXPECT_EQ(empty.times[0], -1.0);
}

TEST_F(ReaderXt2Test, CancelDeliversTheFirstFileWithItsOpenBin) {
    const rec::RecordingInfo info = Write(TrendTestPlan(2, 50));
    CancelAfterFile(0);
    Xt2Call call;
    call.quantity = 3;
    call.points = 20;  // 100 samples: bins of 12; file 0 gives 4 bins and 2 samples
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(call.factor, 6);
    EXPECT_EQ(call.result, 10);
    ExpectCurves(call, TrendTestRecords(info, 0, 49, 3, 0, 3), 12, 3);
    EXPECT_EQ(progress_, (std::vector<int>{50}));
}

TEST_F(ReaderXt2Test, SmallAndOddCapacitiesStayInsideTheArrays) {
    const rec::RecordingInfo info = Write(TrendTestPlan(1, 5));
    const std::string path = PathOf(info, 0);

    // Three points for five records: bins of 4; the second pair has no room.
    Xt2Call odd;
    odd.quantity = 2;
    odd.points = 3;
    odd.Run(path);
    EXPECT_EQ(odd.status, TROVA_READER_OK);
    EXPECT_EQ(odd.factor, 2);
    EXPECT_EQ(odd.result, 2);
    ExpectCurves(odd, TrendTestRecords(info, 0, 4, 2, 0, 3), 4, 3);

    // One point: every bin is a pair, none fits.
    Xt2Call one;
    one.quantity = 2;
    one.points = 1;
    one.Run(path);
    EXPECT_EQ(one.result, 0);
    EXPECT_EQ(one.values[0], kUntouched);

    // No room at all: no file is read, nothing is written.
    for (int points : {0, -2}) {
        std::vector<float> values(5, kUntouched);
        std::vector<double> times(2, -1.0);
        std::vector<int> flags(1, -1);
        int factor = -1, status = -1, pointsArg = points;
        char label[] = "x", button[] = "y";
        std::string p = path;
        const int result = Reader_XT2(2, 0, -1.0, -1.0, 0.0f, label, p.data(), &pointsArg,
                                      values.data(), times.data(), flags.data(), &factor, button,
                                      &status);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(status, TROVA_READER_OK);
        EXPECT_EQ(factor, 0);
        EXPECT_EQ(values[0], kUntouched);
        EXPECT_EQ(times[0], -1.0);
        EXPECT_EQ(flags[0], -1);
    }
}

TEST_F(ReaderXt2Test, OddChannelCountsFollowTheTrendChannelRule) {
    // N = 2: a third curve fed from where the third group would lie, when
    // the record holds it; otherwise the file is left out.
    rec::RecordingPlan two = TrendTestPlan(1, 6);
    two.trend.channels = 2;
    const rec::RecordingInfo info2 = Write(two);
    Xt2Call inside;
    inside.quantity = 2;
    inside.Run(PathOf(info2, 0));
    EXPECT_EQ(inside.result, 6);
    EXPECT_NE(inside.values[2 * size_t(inside.points)], kUntouched);
    Xt2Call outside;
    outside.quantity = 4;
    outside.minMax = 2;
    outside.Run(PathOf(info2, 0));
    EXPECT_EQ(outside.status, TROVA_READER_OK);
    EXPECT_EQ(outside.result, 0);
    EXPECT_EQ(outside.values[0], kUntouched);

    // N = 7: five curves, channels beyond the fifth are not read.
    rec::RecordingPlan seven = TrendTestPlan(1, 4);
    seven.stem = "seven";
    seven.trend.channels = 7;
    const rec::RecordingInfo info7 = Write(seven);
    Xt2Call wide;
    wide.quantity = 2;
    wide.Run(PathOf(info7, 0));
    EXPECT_EQ(wide.result, 4);
    for (int c = 0; c < 5; ++c) {
        EXPECT_EQ(wide.values[size_t(c) * size_t(wide.points)], TrendTestValue(0, 0, 2, c)) << c;
    }
}

}  // namespace
}  // namespace trova
