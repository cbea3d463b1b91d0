// Reader_XT end to end: recordings written by the recording writer, the
// export called as the host calls it, outputs checked against groups
// computed here from the values the writer was given.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "platform/posix/dialog_probe.h"
#include "recording_writer.h"
#include "support/test_support.h"
#include "support/trend_records.h"

namespace trova {
namespace {

using testing::ReaderTest;

constexpr float kUntouched = -12345.0f;

using testing::ExpectedRecord;

float TestValue(int record, int block, int quantity, int channel) {
    return testing::TrendTestValue(record, block, quantity, channel);
}

struct XtCall {
    int quantity = 0;
    int minMax = 0;
    double tStart = -1.0;
    double tStop = -1.0;
    float extRef = 0.0f;
    int points = 100;

    std::vector<float> minValues, maxValues, meanValues;
    std::vector<double> times;
    std::vector<int> flagWords;
    int factor = -1;
    int status = -1;
    int result = -1;

    int Run(const std::string &path) {
        // One guard element past each array: the reader must never reach it.
        minValues.assign(5 * size_t(points) + 1, kUntouched);
        maxValues = minValues;
        meanValues = minValues;
        times.assign(2 * size_t(points) + 1, -1.0);
        flagWords.assign(size_t(points) + 1, -1);
        char label[] = "Trend";
        char button[] = "Stop";
        std::string pathCopy = path;
        int pointsArg = points;
        result = Reader_XT(quantity, minMax, tStart, tStop, extRef, label, pathCopy.data(),
                           &pointsArg, minValues.data(), maxValues.data(), meanValues.data(),
                           times.data(), flagWords.data(), &factor, button, &status);
        EXPECT_EQ(minValues.back(), kUntouched);
        EXPECT_EQ(meanValues.back(), kUntouched);
        EXPECT_EQ(times.back(), -1.0);
        EXPECT_EQ(flagWords.back(), -1);
        return result;
    }
};

struct ExpectedPoint {
    double time;
    int32_t flags;
    float min[5], max[5], mean[5];
};

// Groups `records` by `factor`; the last group may be short.
std::vector<ExpectedPoint> Group(const std::vector<ExpectedRecord> &records, int factor,
                                 int channels) {
    std::vector<ExpectedPoint> points;
    for (size_t start = 0; start < records.size(); start += size_t(factor)) {
        const size_t end = std::min(records.size(), start + size_t(factor));
        ExpectedPoint p{};
        for (int c = 0; c < channels; ++c) {
            float lo = records[start].values[c], hi = lo, sum = 0.0f;
            for (size_t i = start; i < end; ++i) {
                lo = std::min(lo, records[i].values[c]);
                hi = std::max(hi, records[i].values[c]);
                sum += records[i].values[c];
            }
            p.min[c] = lo;
            p.max[c] = hi;
            p.mean[c] = sum / static_cast<float>(end - start);
        }
        for (size_t i = start; i < end; ++i) p.flags |= records[i].flags;
        p.time = records[end - 1].time;
        points.push_back(p);
    }
    return points;
}

class ReaderXtTest : public ReaderTest {
protected:
    rec::RecordingPlan Plan(int files, int perFile) const { return testing::TrendTestPlan(files, perFile); }

    std::vector<ExpectedRecord> Records(const rec::RecordingInfo &info, int first, int last, int q,
                                        int k, int channels, float divisor = 1.0f) const {
        return testing::TrendTestRecords(info, first, last, q, k, channels, divisor);
    }

    void ExpectPoints(const XtCall &call, const std::vector<ExpectedPoint> &expected,
                      int channels) const {
        ASSERT_EQ(call.result, static_cast<int>(expected.size()));
        for (size_t p = 0; p < expected.size(); ++p) {
            SCOPED_TRACE("point " + std::to_string(p));
            EXPECT_EQ(call.times[p] + call.times[call.points + p], expected[p].time);
            EXPECT_EQ(call.times[p], std::floor(expected[p].time));
            EXPECT_EQ(call.flagWords[p], expected[p].flags);
            for (int c = 0; c < 5; ++c) {
                const size_t at = size_t(c) * call.points + p;
                if (c < channels) {
                    EXPECT_EQ(call.minValues[at], expected[p].min[c]) << "channel " << c;
                    EXPECT_EQ(call.maxValues[at], expected[p].max[c]) << "channel " << c;
                    EXPECT_EQ(call.meanValues[at], expected[p].mean[c]) << "channel " << c;
                } else {
                    EXPECT_EQ(call.minValues[at], kUntouched) << "channel " << c;
                }
            }
        }
        // Nothing beyond the points delivered.
        if (expected.size() < size_t(call.points)) {
            EXPECT_EQ(call.minValues[expected.size()], kUntouched);
            EXPECT_EQ(call.flagWords[expected.size()], -1);
        }
    }
};

TEST_F(ReaderXtTest, WholeRecordingGroupsAcrossFilesWithShortLastGroup) {
    const rec::RecordingInfo info = Write(Plan(4, 250));  // 1000 records
    XtCall call;
    call.quantity = 3;  // per channel
    call.minMax = 1;
    call.points = 400;
    call.Run(PathOf(info, 2));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(call.factor, 3);
    ExpectPoints(call, Group(Records(info, 0, 999, 3, 1, 3), 3, 3), 3);
    EXPECT_EQ(call.result, 334);

    const std::vector<std::string> log = LogLines();
    const std::vector<std::string> expectedTail = {"Start Reader_Thread", "Interleave Factor = 3",
                                                   "Samples = 1000", "Points  = 400",
                                                   "Finish Reader_XT"};
    std::vector<std::string> tail;
    for (const std::string &line : log) {
        if (line.rfind("GetFileInformation", 0) != 0 && line.find(" = ") != 8 &&
            (tail.size() || line == "Start Reader_Thread")) {
            tail.push_back(line);
        }
    }
    EXPECT_EQ(tail, expectedTail);
    // Four files: steps of 25, posted after each file; no final message.
    EXPECT_EQ(progress_, (std::vector<int>{25, 50, 75, 100}));
}

TEST_F(ReaderXtTest, WindowReadsTheStopRecordAndFitsThePointsExactly) {
    const rec::RecordingInfo info = Write(Plan(3, 1000));
    const double t0 = info.table()[0].firstTime;
    XtCall call;
    call.quantity = 2;
    call.points = 1000;
    call.tStart = t0 + 500.0;   // record 500
    call.tStop = info.table()[2].firstTime + 499.0;  // record 2499 is read: 2000 records
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(call.factor, 2);
    ExpectPoints(call, Group(Records(info, 500, 2499, 2, 0, 3), 2, 3), 3);
    EXPECT_EQ(call.result, 1000);
    bool samplesLogged = false;
    for (const std::string &line : LogLines()) samplesLogged |= line == "Samples = 2000";
    EXPECT_TRUE(samplesLogged);

    // Fewer records than points: one point per record.
    XtCall few;
    few.quantity = 4;
    few.points = 1000;
    few.tStop = t0 + 299.0;
    few.Run(PathOf(info, 0));
    EXPECT_EQ(few.factor, 1);
    ExpectPoints(few, Group(Records(info, 0, 299, 4, 0, 3), 1, 3), 3);
}

TEST_F(ReaderXtTest, ScalarQuantityFillsChannelZeroOnly) {
    const rec::RecordingInfo info = Write(Plan(2, 30));
    XtCall call;
    call.quantity = 1;  // S = 2: a once-per-block quantity
    call.minMax = 2;
    call.points = 10;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    ExpectPoints(call, Group(Records(info, 0, 59, 1, 2, 1), 6, 1), 1);
}

TEST_F(ReaderXtTest, NormalisationByExtRefAndReferenceQuantity) {
    rec::RecordingPlan plan = Plan(1, 20);
    plan.trend.refQuantity = 4;  // channel quantity 2 of the block
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    XtCall byExt;
    byExt.quantity = 3;
    byExt.extRef = 230.0f;
    byExt.Run(path);
    ExpectPoints(byExt, Group(Records(info, 0, 19, 3, 0, 3, 230.0f), 1, 3), 3);

    for (float ignored : {-0.5f, 0.0f, -2.0f}) {
        XtCall plain;
        plain.quantity = 3;
        plain.extRef = ignored;
        plain.Run(path);
        ExpectPoints(plain, Group(Records(info, 0, 19, 3, 0, 3), 1, 3), 3);
    }

    XtCall byRef;
    byRef.quantity = 3;
    byRef.minMax = 1;
    byRef.extRef = -1.0f;
    byRef.Run(path);
    std::vector<ExpectedRecord> records = Records(info, 0, 19, 3, 1, 3);
    for (size_t i = 0; i < records.size(); ++i) {
        for (int c = 0; c < 3; ++c) records[i].values[c] = TestValue(int(i), 1, 3, c) / TestValue(int(i), 1, 4, c);
    }
    ExpectPoints(byRef, Group(records, 1, 3), 3);
}

TEST_F(ReaderXtTest, WithoutReferenceQuantityNothingIsNormalised) {
    const rec::RecordingInfo info = Write(Plan(1, 20));  // refQuantity 0
    for (float extRef : {-1.0f, 230.0f}) {
        XtCall call;
        call.quantity = 3;
        call.extRef = extRef;
        call.Run(PathOf(info, 0));
        ExpectPoints(call, Group(Records(info, 0, 19, 3, 0, 3), 1, 3), 3);
    }
}

TEST_F(ReaderXtTest, CorrectedArgumentsAndTheirStatusOrder) {
    rec::RecordingPlan plan = Plan(1, 12);
    plan.trend.statMask = 0x03;  // two blocks
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);

    XtCall badBlock;
    badBlock.quantity = 2;
    badBlock.minMax = 3;
    badBlock.points = 12;
    badBlock.Run(path);
    EXPECT_EQ(badBlock.status, TROVA_READER_BAD_MINMAX);
    ExpectPoints(badBlock, Group(Records(info, 0, 11, 2, 0, 3), 1, 3), 3);

    XtCall badQuantity;
    badQuantity.quantity = 2 + 3;  // S + P
    badQuantity.minMax = 1;
    badQuantity.points = 12;
    badQuantity.Run(path);
    EXPECT_EQ(badQuantity.status, TROVA_READER_BAD_QUANTITY);
    ExpectPoints(badQuantity, Group(Records(info, 0, 11, 0, 1, 1), 1, 1), 1);

    XtCall both;
    both.quantity = -1;
    both.minMax = -1;
    both.Run(path);
    EXPECT_EQ(both.status, TROVA_READER_BAD_QUANTITY);
}

TEST_F(ReaderXtTest, NoUsableFileGivesStatusThreeAndNothingElse) {
    rec::RecordingPlan plan;
    plan.addDamaged(rec::Damage::TruncatedData);
    plan.addDamaged(rec::Damage::ZeroFirstTime);
    const rec::RecordingInfo info = Write(plan);
    XtCall call;
    call.Run(info.path(info.files[0]));
    EXPECT_EQ(call.status, TROVA_READER_NO_FILES);
    EXPECT_EQ(call.result, 0);
    EXPECT_EQ(call.factor, -1);
    EXPECT_EQ(call.minValues[0], kUntouched);
    EXPECT_TRUE(progress_.empty());
}

TEST_F(ReaderXtTest, CancelAfterTheSecondFileKeepsCompletedPointsOnly) {
    const rec::RecordingInfo info = Write(Plan(5, 10));
    CancelAfterFile(1);
    XtCall call;
    call.quantity = 2;
    call.points = 7;  // f = 8: the group open at the end of file 1 is dropped
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(call.factor, 8);
    ExpectPoints(call, Group(Records(info, 0, 15, 2, 0, 3), 8, 3), 3);
    EXPECT_EQ(progress_, (std::vector<int>{20, 40}));
}

TEST_F(ReaderXtTest, ProgressOfTwentyFilesPostsFifteenAtATime) {
    const rec::RecordingInfo info = Write(Plan(20, 2));
    XtCall call;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60, 75, 90}));
}

TEST_F(ReaderXtTest, NoPointsMeansNothingWritten) {
    const rec::RecordingInfo info = Write(Plan(1, 5));
    for (int points : {0, -3}) {
        XtCall call;
        call.points = 1;  // arrays of one point, filled with guards
        call.minValues.clear();
        std::vector<float> values(5, kUntouched);
        std::vector<double> times(2, -1.0);
        std::vector<int> flags(1, -1);
        int factor = -1, status = -1, pointsArg = points;
        char label[] = "x", button[] = "y";
        std::string path = PathOf(info, 0);
        const int result =
            Reader_XT(2, 0, -1.0, -1.0, 0.0f, label, path.data(), &pointsArg, values.data(),
                      values.data(), values.data(), times.data(), flags.data(), &factor, button,
                      &status);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(status, TROVA_READER_OK);
        EXPECT_EQ(factor, 0);
        EXPECT_EQ(values[0], kUntouched);
        EXPECT_EQ(flags[0], -1);
    }
}

TEST_F(ReaderXtTest, OddChannelCountsStayInsideTheRecord) {
    // N = 2 asks for a third channel group that the blocks do not hold.
    rec::RecordingPlan plan = Plan(1, 6);
    plan.trend.channels = 2;
    const rec::RecordingInfo info = Write(plan);
    XtCall lastBlock;
    lastBlock.quantity = 4;  // the last channel quantity of the last block
    lastBlock.minMax = 2;
    lastBlock.Run(PathOf(info, 0));
    EXPECT_EQ(lastBlock.status, TROVA_READER_OK);
    EXPECT_EQ(lastBlock.result, 0);  // the third group would lie past the record
    XtCall firstBlock;
    firstBlock.quantity = 2;
    firstBlock.Run(PathOf(info, 0));
    EXPECT_EQ(firstBlock.result, 6);  // three channels, the third read from block 1
    EXPECT_NE(firstBlock.minValues[2 * size_t(firstBlock.points)], kUntouched);

    // Channel counts of 0 (one channel) and above 5 (five channels).
    for (int channels : {0, 7}) {
        rec::RecordingPlan p = Plan(1, 4);
        p.stem = "n" + std::to_string(channels);
        p.trend.channels = channels;
        const rec::RecordingInfo i = Write(p);
        XtCall call;
        call.quantity = 2;
        call.Run(PathOf(i, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.result, 4);
        if (channels == 0) {
            // Blocks of S floats only: quantity 2 lands on block 1's quantity 0.
            EXPECT_EQ(call.minValues[0], TestValue(0, 1, 0, 0));
            EXPECT_EQ(call.minValues[size_t(call.points)], kUntouched);
        } else {
            EXPECT_EQ(call.minValues[4 * size_t(call.points)], TestValue(0, 0, 2, 4));
        }
    }
}

TEST_F(ReaderXtTest, FilesThatChangeAfterTheTableWasBuilt) {
    const rec::RecordingInfo info = Write(Plan(3, 10));
    const std::string path = PathOf(info, 0);
    XtCall first;
    first.points = 30;
    first.Run(path);
    ASSERT_EQ(first.result, 30);

    // A member vanishes: its records are skipped, the others still come.
    ASSERT_EQ(unlink(info.path(info.table()[1]).c_str()), 0);
    XtCall vanished;
    vanished.points = 30;
    vanished.Run(path);
    EXPECT_EQ(vanished.status, TROVA_READER_OK);
    EXPECT_EQ(vanished.result, 20);

    // A member grows: the cached table still counts its ten records, the
    // factor was sized from them (30 samples, 20 points: f = 2), and only
    // those ten are read, so nothing is written past the caller's arrays.
    rec::RecordingPlan bigger = Plan(1, 40);
    const rec::Recording grown = rec::buildRecording(bigger);
    rec::writeBytes(info.path(info.table()[2]), grown.contents[0]);
    XtCall stale;
    stale.points = 20;
    stale.Run(path);
    EXPECT_EQ(stale.factor, 2);
    EXPECT_EQ(stale.result, 10);
}

}  // namespace
}  // namespace trova

namespace trova {
namespace {

TEST_F(ReaderXtTest, UnreadableMembersAndUnnamedRecordingsEndCleanly) {
    const rec::RecordingInfo info = Write(Plan(2, 5));
    // A directory whose name matches the pattern is found but cannot be read:
    // it is treated like a malformed file and left out.
    ASSERT_EQ(mkdir(dir_.file("meas.005.dat").c_str(), 0755), 0);
    XtCall call;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(call.result, 10);
    bool errorLogged = false;
    for (const std::string &line : LogLines()) {
        errorLogged |= line == "GetFileInformation (Err ) = " + dir_.file("meas.005.dat");
    }
    EXPECT_TRUE(errorLogged);

    // A path without a separator can be opened but names no recording.
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir_.path().c_str()), 0);
    XtCall relative;
    relative.Run(info.table()[0].name);
    EXPECT_EQ(chdir(cwd), 0);
    EXPECT_EQ(relative.status, TROVA_READER_NO_FILES);
    EXPECT_EQ(relative.result, 0);

    // A name without "." (the file exists) names no recording either.
    rec::writeBytes(dir_.file("plain"), rec::buildRecording(Plan(1, 3)).contents[0]);
    XtCall noDot;
    noDot.Run(dir_.file("plain"));
    EXPECT_EQ(noDot.status, TROVA_READER_NO_FILES);
}

}  // namespace
}  // namespace trova
