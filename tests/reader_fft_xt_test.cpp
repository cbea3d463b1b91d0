// Reader_FFT_XT1 and Reader_FFT_XT2 end to end: harmonic recordings written
// by the recording writer, the exports called as the host calls them, every
// output compared bit for bit with the model of tests/support.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/big_endian.h"
#include "recording_writer.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using testing::Bits;
using testing::Guarded;
using testing::kUntouched;
using testing::ModelOf;
using testing::ModelPoint;
using testing::ModelRecord;
using testing::ModelRecords;
using testing::ReaderTest;
using testing::ValueModel;

// One call of Reader_FFT_XT1 or _XT2: its arguments, then what it gave back.
struct FftXtCall : testing::HarmonicArgs {
    int points = 16;
    int harmonic = 3;

    Guarded<float> minValues, maxValues, meanValues;  // four phase segments
    Guarded<double> times;
    Guarded<trova_long> flagWords;
    trova_long factor = -1, status = -1;
    int result = -7;

    int Run(const std::string &path) {
        const size_t N = points > 0 ? size_t(points) : 0;
        for (Guarded<float> *values : {&minValues, &maxValues, &meanValues}) {
            values->Reset(4 * N, kUntouched);
        }
        times.Reset(2 * N, -1.0);
        flagWords.Reset(N, -1);
        char label[] = "Harmonics", button[] = "Stop";
        std::string pathArg = path;
        trova_long pointsArg = points;
        result = (reader == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2)(
            quantity, minMax, tStart, tStop, label, pathArg.data(), &pointsArg, minValues.data(),
            maxValues.data(), meanValues.data(), times.data(), flagWords.data(), harmonic, &factor,
            button, firstHarmonic, join, &status);
        EXPECT_TRUE(minValues.GuardIntact() && maxValues.GuardIntact() &&
                    meanValues.GuardIntact() && times.GuardIntact() && flagWords.GuardIntact());
        return result;
    }
};

// What the readers make of a code and the MinMax argument 0 (value set 1):
// the corrected code, the selector and the status. With a nonzero argument
// every code 1 to 13 stands as it is, with value set 0 and status 0.
constexpr testing::Corrected kWithMinMaxZero[14] = {
    {0, 1, 0},  {1, 1, 0},  {6, 0, 2},  {7, 0, 2},  {4, 1, 0},  {5, 1, 0},  {2, 1, 0},
    {3, 1, 0},  {8, 0, 2},  {9, 0, 2},  {10, 0, 2}, {11, 0, 2}, {12, 0, 2}, {13, 0, 2},
};

class FftXtTest : public ReaderTest {
protected:
    static rec::RecordingPlan Plan(int channelCode, int harmonics, bool powerBlock,
                                   const std::vector<int> &files) {
        rec::RecordingPlan plan =
            testing::HarmonicPlan(channelCode, harmonics, powerBlock, files, 11, 7, 4);
        if (plan.members.size() > 1) plan.members[1].gapBefore = 20.0;
        return plan;
    }

    // The model's points for a corrected code over `records`.
    static std::vector<ModelPoint> Expected(const FftXtCall &call, const ValueModel &model,
                                            const std::vector<ModelRecord> &records, int code,
                                            int m, int phases, int factor) {
        const bool xt1 = call.reader == 1;
        return GroupModel(
            records, phases,
            [&](const ModelRecord &r, int p) {
                return model.Trend(code, m, r.index, p, call.harmonic, call.firstHarmonic);
            },
            factor, xt1, 0, !xt1);
    }

    static void ExpectPoints(const FftXtCall &call, const std::vector<ModelPoint> &expected,
                             int phases) {
        const int count = static_cast<int>(expected.size());
        EXPECT_EQ(call.result, call.reader == 1 ? count - 1 : count);
        const size_t N = size_t(call.points);
        for (size_t i = 0; i < expected.size() && i < N; ++i) {
            SCOPED_TRACE("point " + std::to_string(i));
            EXPECT_EQ(call.times[i], expected[i].t1);
            EXPECT_EQ(call.times[N + i], expected[i].t2);
            EXPECT_EQ(call.flagWords[i], expected[i].flags);
            for (int p = 0; p < 4; ++p) {
                const size_t at = size_t(p) * N + i;
                if (p < phases) {
                    EXPECT_EQ(Bits(call.minValues[at]), Bits(expected[i].min[size_t(p)])) << "phase " << p;
                    EXPECT_EQ(Bits(call.maxValues[at]), Bits(expected[i].max[size_t(p)])) << "phase " << p;
                    EXPECT_EQ(Bits(call.meanValues[at]), Bits(expected[i].mean[size_t(p)])) << "phase " << p;
                } else {
                    EXPECT_EQ(call.minValues[at], kUntouched) << "phase " << p;
                    EXPECT_EQ(call.meanValues[at], kUntouched) << "phase " << p;
                }
            }
        }
        if (expected.size() < N) {
            EXPECT_EQ(call.minValues[expected.size()], kUntouched);
            EXPECT_EQ(call.times[expected.size()], -1.0);
            EXPECT_EQ(call.flagWords[expected.size()], -1);
        }
    }
};

// Every code with both value sets and, for the powers, with and without
// Join. XT1 forms the powers from the angles, a point takes the time of
// its phase-0 minimum and the two records left over are dropped; XT2 reads
// stored powers (Join changes nothing), a point takes the time of its last
// record and the two records left over make a point of their own.
TEST_F(FftXtTest, EveryCodeBothValueSetsAndJoin) {
    const rec::RecordingPlan plan = Plan(6, 20, true, {25, 25});
    const rec::RecordingInfo info = Write(plan);
    const std::vector<ModelRecord> records = ModelRecords(info, 0, 49, plan.flags);
    for (const testing::CodeCase &code : testing::EveryCodeCase(13, 8, 13)) {
        SCOPED_TRACE(code.Name());
        const int reader = code.reader;
        FftXtCall call;
        call.Take(code);
        call.Run(PathOf(info, 1));
        const testing::Corrected c = code.CorrectedBy(kWithMinMaxZero);
        EXPECT_EQ(call.status, c.status);
        EXPECT_EQ(call.factor, 4);  // 50 records, 16 points
        const int phases = c.code == 1 ? 1 : 3;
        const ValueModel model = ModelOf(plan, reader == 1, reader == 1 && code.join != 0);
        const auto expected = Expected(call, model, records, c.code, c.m, phases, 4);
        ASSERT_EQ(expected.size(), reader == 1 ? 12u : 13u);
        ExpectPoints(call, expected, phases);
    }
    // Join changes the powers formed from angles.
    FftXtCall plain, joined;
    plain.quantity = joined.quantity = 8;
    joined.join = 1;
    plain.Run(PathOf(info, 0));
    joined.Run(PathOf(info, 0));
    EXPECT_NE(plain.meanValues[0], joined.meanValues[0]);
}

TEST_F(FftXtTest, LogLinesAndProgressOfBothReaders) {
    const rec::RecordingInfo info = Write(Plan(6, 8, true, {5, 5, 5}));
    const std::string path = PathOf(info, 0);
    for (int reader : {1, 2}) {
        ClearLog();
        progress_.clear();
        FftXtCall call;
        call.reader = reader;
        call.tStart = 12.5;  // before the recording: from its start
        call.Run(path);
        EXPECT_EQ(call.status, TROVA_READER_OK);
        std::vector<std::string> expected = {
            "============================================================",
            reader == 1 ? "Start Reader_FFT_XT1" : "Start Reader_FFT_XT2",
            "------------------------------", "TStart    = 12.50", "TStop     = -1.00",
            "PathFile  = " + path};
        if (reader == 2) expected.push_back("Start Reader_FFT_XT_Thread2");
        EXPECT_EQ(LogLines(), expected);
        // Three files: 33.33 per file, posted as 33 each time; then the
        // rest of the accumulator (0) once more at the end.
        EXPECT_EQ(progress_, (std::vector<int>{33, 66, 99, 99}));
    }
}

TEST_F(FftXtTest, WindowBoundsAndGroupSizes) {
    const rec::RecordingPlan plan = Plan(6, 8, true, {10, 10, 10});
    const rec::RecordingInfo info = Write(plan);
    const std::vector<rec::MemberInfo> table = info.table();
    const ValueModel stored = ModelOf(plan, false, false);
    const ValueModel angles = ModelOf(plan, true, false);

    // From record 7 of the first file to record 5 of the third: the stop
    // record is read, 19 records; four points take groups of 5.
    for (int reader : {1, 2}) {
        FftXtCall call;
        call.reader = reader;
        call.points = 4;
        call.tStart = table[0].firstTime + 7.0;
        call.tStop = table[2].firstTime + 5.0;
        call.Run(PathOf(info, 2));
        EXPECT_EQ(call.factor, 5);
        const auto records = ModelRecords(info, 7, 25, plan.flags);
        const auto expected = Expected(call, reader == 1 ? angles : stored, records, 2, 0, 3, 5);
        EXPECT_EQ(expected.size(), reader == 1 ? 3u : 4u);
        ExpectPoints(call, expected, 3);
    }

    // Ten records, four points: groups of three; XT1 drops the tenth
    // record, XT2 delivers it as a point of its own.
    for (int reader : {1, 2}) {
        FftXtCall call;
        call.reader = reader;
        call.points = 4;
        call.tStart = table[1].firstTime - 0.5;  // between the files: record 0 of the second
        call.tStop = table[1].lastTime;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.factor, 3);
        const auto records = ModelRecords(info, 10, 19, plan.flags);
        ExpectPoints(call, Expected(call, reader == 1 ? angles : stored, records, 2, 0, 3, 3), 3);
    }

    // N + 1 records: groups of two; as many records as points or fewer: one
    // point per record.
    for (int points : {29, 30, 40}) {
        FftXtCall call;
        call.points = points;
        call.Run(PathOf(info, 0));
        const int factor = points < 30 ? 2 : 1;
        EXPECT_EQ(call.factor, factor);
        const auto records = ModelRecords(info, 0, 29, plan.flags);
        ExpectPoints(call, Expected(call, angles, records, 2, 0, 3, factor), 3);
    }

    // A TStop before TStart: no record, or only the stop record, passes.
    FftXtCall reversed;
    reversed.reader = 2;
    reversed.tStart = table[2].firstTime;
    reversed.tStop = table[0].firstTime + 3.0;
    reversed.Run(PathOf(info, 0));
    EXPECT_EQ(reversed.status, TROVA_READER_OK);
    EXPECT_EQ(reversed.result, 0);
}

TEST_F(FftXtTest, EarliestSmallestPhaseZeroValueGivesTheTime) {
    // Code 3 at position 2: phase 0 runs 5, 2, 7, 2 in every group of four;
    // phase 1 has its minimum in the last record of each group.
    rec::RecordingPlan plan = Plan(6, 4, true, {8});
    plan.harmonicValues = [](int n, rec::HarmonicField field, int, int p, int) {
        if (field != rec::HarmonicField::Current) return 1.0f;
        static const float phase0[] = {5.0f, 2.0f, 7.0f, 2.0f};
        return p == 0 ? phase0[n % 4] : 100.0f - static_cast<float>(n % 4);
    };
    const rec::RecordingInfo info = Write(plan);
    FftXtCall call;
    call.quantity = 3;
    call.harmonic = 2;
    call.points = 2;
    call.Run(PathOf(info, 0));
    ASSERT_EQ(call.result, 1);
    const double t0 = info.table()[0].firstTime;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(call.times[size_t(i)] + call.times[2 + size_t(i)], t0 + 4 * i + 1);
        EXPECT_EQ(call.minValues[size_t(i)], 2.0f);
        EXPECT_EQ(call.minValues[2 + size_t(i)], 97.0f);
        EXPECT_EQ(call.meanValues[size_t(i)], 4.0f);
    }
    call.reader = 2;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.times[1] + call.times[3], t0 + 7);  // the last record of the group
}

TEST_F(FftXtTest, PhaseCountsFromTheChannelCode) {
    struct Case {
        int channelCode, phases;
    };
    for (const Case c : {Case{2, 1}, Case{8, 4}, Case{7, 1}, Case{6, 3}}) {
        rec::RecordingPlan plan = Plan(c.channelCode, 6, true, {9});
        plan.stem = "code" + std::to_string(c.channelCode);
        const rec::RecordingInfo info = Write(plan);
        const auto records = ModelRecords(info, 0, 8, plan.flags);
        for (int quantity : {5, 1, 12}) {
            SCOPED_TRACE("channel code " + std::to_string(c.channelCode) + " code " +
                         std::to_string(quantity));
            FftXtCall call;
            call.reader = 2;
            call.quantity = quantity;
            call.points = 9;
            call.Run(PathOf(info, 0));
            const int phases = quantity == 1 ? 1 : c.phases;
            ExpectPoints(call, Expected(call, ModelOf(plan, false, false), records, quantity, 0,
                                        phases, 1),
                         phases);
        }
    }
}

TEST_F(FftXtTest, CorrectedCodesAndTheirStatusOrder) {
    const rec::RecordingPlan withBlock = Plan(6, 8, true, {12});
    rec::RecordingPlan without = Plan(6, 8, false, {12});
    without.stem = "plain";
    const rec::RecordingInfo withInfo = Write(withBlock);
    const rec::RecordingInfo withoutInfo = Write(without);
    const auto records = ModelRecords(withInfo, 0, 11, withBlock.flags);
    const ValueModel stored = ModelOf(withBlock, false, false);

    struct Case {
        int reader, quantity, minMax;
        bool powerBlock;
        int code, m, status;
    };
    const Case cases[] = {
        {2, 9, 1, false, 1, 0, TROVA_READER_NO_POWER_BLOCK},  // scalar, value set 0
        {2, 9, 0, false, 1, 1, TROVA_READER_NO_POWER_BLOCK},  // scalar, value set 1
        {2, 13, 0, false, 1, 1, TROVA_READER_NO_POWER_BLOCK},
        {2, 9, 0, true, 9, 0, TROVA_READER_BAD_MINMAX},
        {2, 14, 0, true, 1, 0, TROVA_READER_BAD_QUANTITY},  // 2 first, then 4
        {1, 14, 0, true, 1, 0, TROVA_READER_BAD_QUANTITY},
        {1, 200, 1, false, 1, 0, TROVA_READER_BAD_QUANTITY},
        {2, 7, 1, false, 7, 0, TROVA_READER_OK},  // not a power code
        {2, 0, 1, true, 0, 0, TROVA_READER_OK},   // no defined value: zeros, in bounds
    };
    for (const Case &c : cases) {
        SCOPED_TRACE("reader " + std::to_string(c.reader) + " code " + std::to_string(c.quantity) +
                     " MinMax " + std::to_string(c.minMax));
        FftXtCall call;
        call.reader = c.reader;
        call.quantity = c.quantity;
        call.minMax = c.minMax;
        call.points = 12;
        call.Run(PathOf(c.powerBlock ? withInfo : withoutInfo, 0));
        EXPECT_EQ(call.status, c.status);
        const int phases = c.code == 1 ? 1 : 3;
        // The value fields lie where they lie with or without power block.
        const ValueModel model = c.reader == 1 ? ModelOf(withBlock, true, false) : stored;
        ExpectPoints(call, Expected(call, model, records, c.code, c.m, phases, 1), phases);
    }
}

TEST_F(FftXtTest, CancelKeepsTheCompletedPoints) {
    const rec::RecordingPlan plan = Plan(6, 8, true, {10, 10, 10, 10, 10});
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 19, plan.flags);
    for (int reader : {1, 2}) {
        progress_.clear();
        CancelAfterFile(1);
        FftXtCall call;
        call.reader = reader;
        call.minMax = 0;  // code 2 becomes the relative voltage: status 2 outranks the cancel
        call.points = 7;  // 50 records: groups of 8; the group under way at the cancel is dropped
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_BAD_MINMAX);
        EXPECT_EQ(call.factor, 8);
        const auto expected =
            GroupModel(records, 3,
                       [&](const ModelRecord &r, int p) {
                           return ModelOf(plan, reader == 1, false).Trend(6, 0, r.index, p, 3, 1);
                       },
                       8, reader == 1, 0, false);
        ASSERT_EQ(expected.size(), 2u);
        ExpectPoints(call, expected, 3);
        EXPECT_EQ(progress_, (std::vector<int>{20, 40, 40}));
    }
    FftXtCall plainCancel;
    CancelAfterFile(0);
    plainCancel.Run(PathOf(info, 0));
    EXPECT_EQ(plainCancel.status, TROVA_READER_CANCELLED);
}

// Fields that the records do not hold are never read: the file's records
// are left out. Positions beyond H that the record does hold are read
// where they lie.
TEST_F(FftXtTest, FieldsOutsideTheRecordAreNotRead) {
    const rec::RecordingPlan without = Plan(6, 8, false, {6, 6});
    const rec::RecordingInfo withoutInfo = Write(without);
    for (int quantity = 8; quantity <= 13; ++quantity) {
        FftXtCall call;  // XT1 does not test the power block
        call.quantity = quantity;
        call.Run(PathOf(withoutInfo, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.result, -1);
        EXPECT_EQ(call.minValues[0], kUntouched);
    }

    rec::RecordingPlan plan = Plan(6, 8, true, {6});
    plan.stem = "beyond";
    const rec::RecordingInfo info = Write(plan);
    const ValueModel model = ModelOf(plan, false, false);
    // Position H of phase p is position 0 of phase p + 1; of the last phase,
    // the head of the current array.
    FftXtCall next;
    next.reader = 2;
    next.harmonic = 8;
    next.points = 6;
    next.Run(PathOf(info, 0));
    ASSERT_EQ(next.result, 6);
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(Bits(next.minValues[size_t(p) * 6]), Bits(model.ArrayAt(false, 0, 0, p, 8)));
    }
    EXPECT_EQ(next.minValues[0], model.V(0, 0, 1, 0));

    for (int harmonic : {1 << 20, -5000, 0x7FFFFFFF}) {
        for (int reader : {1, 2}) {
            FftXtCall far;
            far.reader = reader;
            far.harmonic = harmonic;
            far.Run(PathOf(info, 0));
            EXPECT_EQ(far.result, reader == 1 ? -1 : 0);
            EXPECT_EQ(far.minValues[0], kUntouched);
        }
    }
    // A reference position outside the record leaves the relative codes out.
    FftXtCall farReference;
    farReference.quantity = 6;
    farReference.firstHarmonic = 100000;
    farReference.Run(PathOf(info, 0));
    EXPECT_EQ(farReference.result, -1);
}

TEST_F(FftXtTest, EachFileIsReadWithItsOwnHarmonicCount) {
    rec::RecordingPlan plan = Plan(8, 20, true, {8, 8, 8});
    rec::HarmonicFormat fewer = plan.harmonic;
    fewer.harmonics = 12;
    plan.members[1].harmonic = fewer;
    rec::Recording recording = rec::buildRecording(plan);
    // The third file's header claims a harmonic count whose record offsets
    // would overflow 32 bits: its records are left out.
    const rec::MemberInfo &third = recording.info.files[2];
    rec::putBE32(&recording.contents[2][size_t(third.headerLength) + 40], 0x10000000);
    recording.info.directory = dir_.path();
    for (size_t i = 0; i < recording.contents.size(); ++i) {
        rec::writeBytes(recording.info.path(recording.info.files[i]), recording.contents[i]);
    }
    for (int reader : {1, 2}) {
        FftXtCall call;
        call.reader = reader;
        call.quantity = 11;  // relative active power: k and r in every phase
        call.harmonic = 10;
        call.firstHarmonic = 2;
        call.points = 24;
        call.Run(recording.info.path(recording.info.files[0]));
        const auto records = ModelRecords(recording.info, 0, 15, plan.flags);
        const auto expected =
            Expected(call, ModelOf(plan, reader == 1, false), records, 11, 0, 4, 1);
        ExpectPoints(call, expected, 4);
    }
}

TEST_F(FftXtTest, NoFilesOrNoPoints) {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.addDamaged(rec::Damage::TruncatedData);
    const rec::RecordingInfo damaged = Write(plan);
    for (int reader : {1, 2}) {
        progress_.clear();
        FftXtCall call;
        call.reader = reader;
        call.Run(damaged.path(damaged.files[0]));
        EXPECT_EQ(call.status, TROVA_READER_NO_FILES);
        EXPECT_EQ(call.result, 0);
        EXPECT_EQ(call.factor, -1);
        EXPECT_EQ(call.minValues[0], kUntouched);
        EXPECT_EQ(progress_, std::vector<int>{0});  // the final message only
    }

    rec::RecordingPlan sound = Plan(6, 8, true, {5});
    sound.stem = "sound";
    const rec::RecordingInfo info = Write(sound);
    for (int points : {0, -2}) {
        FftXtCall call;  // arrays of no element but the guard
        call.reader = 2;
        call.points = points;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.result, 0);
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.factor, 0);
    }
}

}  // namespace
}  // namespace trova
