// Reader_FFT_ALL_Harmonics_XT1 and _XT2 end to end: whole spectra per
// phase, position j of point i at j·100 + i, compared bit for bit with the
// model of tests/support.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

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

std::string Fixed2(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

// One call of Reader_FFT_ALL_Harmonics_XT1 or _XT2: its arguments, then
// what it gave back.
struct FftAllCall : testing::HarmonicArgs {
    int rows = 0;  // positions each value array holds

    Guarded<float> values[12];  // per phase: minimum, maximum, mean
    Guarded<double> times;
    Guarded<trova_long> flagWords;
    trova_long factor = -1, status = -1, harmCount = -1;
    int result = -7;

    const Guarded<float> &Min(int p) const { return values[3 * p]; }
    const Guarded<float> &Max(int p) const { return values[3 * p + 1]; }
    const Guarded<float> &Mean(int p) const { return values[3 * p + 2]; }

    int Run(const std::string &path) {
        float *v[12];
        for (int i = 0; i < 12; ++i) {
            values[i].Reset(size_t(rows) * 100, kUntouched);
            v[i] = values[i].data();
        }
        times.Reset(200, -1.0);
        flagWords.Reset(100, -1);
        char label[] = "Spectrum", button[] = "Stop";
        std::string pathArg = path;
        result = (reader == 1 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(
            quantity, minMax, tStart, tStop, label, pathArg.data(), v[0], v[1], v[2], v[3], v[4],
            v[5], v[6], v[7], v[8], v[9], v[10], v[11], times.data(), flagWords.data(), &factor,
            button, firstHarmonic, join, &status, &harmCount);
        for (const Guarded<float> &array : values) EXPECT_TRUE(array.GuardIntact());
        EXPECT_TRUE(times.GuardIntact() && flagWords.GuardIntact());
        return result;
    }
};

// The corrected code, selector and status for MinMax argument 0 (value
// set 1); with a nonzero argument codes 1 to 10 stand, with value set 0.
constexpr testing::Corrected kWithMinMaxZero[11] = {
    {0, 1, 0}, {1, 1, 0}, {2, 1, 0}, {3, 1, 0}, {4, 1, 0}, {5, 1, 0},
    {6, 0, 2}, {7, 0, 2}, {8, 0, 2}, {1, 1, 0}, {2, 1, 0},
};

class FftAllTest : public ReaderTest {
protected:
    static rec::RecordingPlan Plan(int channelCode, int harmonics, bool powerBlock,
                                   const std::vector<int> &files) {
        return testing::HarmonicPlan(channelCode, harmonics, powerBlock, files, 23, 9, 8);
    }

    // Slot p·positions + j: phase p, position j.
    static std::vector<ModelPoint> Expected(const FftAllCall &call, const ValueModel &model,
                                            const std::vector<ModelRecord> &records, int code,
                                            int m, int phases, int positions, int factor) {
        const bool all1 = call.reader == 1;
        return GroupModel(
            records, phases * positions,
            [&](const ModelRecord &r, int slot) {
                return model.Spectrum(code, m, r.index, slot / positions, slot % positions,
                                      call.firstHarmonic);
            },
            factor, all1, call.firstHarmonic, !all1);
    }

    // Points first.. of `expected` are points first.. of the call; rows
    // 0..positions-1 of phases 0..phases-1 hold them.
    static void ExpectPoints(const FftAllCall &call, const std::vector<ModelPoint> &expected,
                             int phases, int positions, size_t first = 0) {
        for (size_t i = first; i < expected.size(); ++i) {
            SCOPED_TRACE("point " + std::to_string(i));
            EXPECT_EQ(call.times[i], expected[i].t1);
            EXPECT_EQ(call.times[100 + i], expected[i].t2);
            EXPECT_EQ(call.flagWords[i], expected[i].flags);
            for (int p = 0; p < phases; ++p) {
                for (int j = 0; j < positions; ++j) {
                    const size_t at = size_t(j) * 100 + i;
                    const size_t slot = size_t(p * positions + j);
                    ASSERT_EQ(Bits(call.Min(p)[at]), Bits(expected[i].min[slot])) << p << "/" << j;
                    ASSERT_EQ(Bits(call.Max(p)[at]), Bits(expected[i].max[slot])) << p << "/" << j;
                    ASSERT_EQ(Bits(call.Mean(p)[at]), Bits(expected[i].mean[slot])) << p << "/" << j;
                }
            }
        }
        for (int p = 0; p < 4; ++p) {
            for (int j = 0; j < call.rows; ++j) {
                for (size_t i = p < phases && j < positions ? expected.size() : 0; i < 100; ++i) {
                    ASSERT_EQ(call.Min(p)[size_t(j) * 100 + i], kUntouched) << p << "/" << j << "/" << i;
                    ASSERT_EQ(call.Mean(p)[size_t(j) * 100 + i], kUntouched) << p << "/" << j << "/" << i;
                }
            }
        }
        if (expected.size() < 100) {
            EXPECT_EQ(call.flagWords[expected.size()], -1);
        }
    }
};

// 250 records in groups of three, every code with both value sets and,
// for the powers, with and without Join. XT1 forms powers from the angles,
// a point takes the time of the phase-0 minimum at FirstHarmonic and the
// last record is dropped; XT2 reads stored powers (Join changes nothing),
// a point takes the time of its last record and the last record makes a
// point of its own.
TEST_F(FftAllTest, EveryCodeBothValueSetsAndJoin) {
    const rec::RecordingPlan plan = Plan(6, 12, true, {125, 125});
    const rec::RecordingInfo info = Write(plan);
    const std::vector<ModelRecord> records = ModelRecords(info, 0, 249, plan.flags);
    for (const testing::CodeCase &code : testing::EveryCodeCase(10, 3, 8)) {
        SCOPED_TRACE(code.Name());
        const int reader = code.reader;
        FftAllCall call;
        call.Take(code);
        call.firstHarmonic = reader == 1 ? 4 : 0;
        call.rows = 12;
        call.Run(PathOf(info, size_t(reader - 1)));
        const testing::Corrected c = code.CorrectedBy(kWithMinMaxZero);
        EXPECT_EQ(call.status, c.status);
        EXPECT_EQ(call.factor, 3);
        EXPECT_EQ(call.harmCount, 12);
        const ValueModel model = ModelOf(plan, reader == 1, reader == 1 && code.join != 0);
        const auto expected = Expected(call, model, records, c.code, c.m, 3, 12, 3);
        ASSERT_EQ(expected.size(), reader == 1 ? 83u : 84u);
        EXPECT_EQ(call.result, reader == 1 ? 82 : 84);
        ExpectPoints(call, expected, 3, 12);
    }
}

TEST_F(FftAllTest, LogLinesProgressAndSmallWindows) {
    const rec::RecordingPlan plan = Plan(2, 5, true, {10, 10, 10, 10});
    const rec::RecordingInfo info = Write(plan);
    const std::vector<rec::MemberInfo> table = info.table();
    for (int reader : {1, 2}) {
        ClearLog();
        progress_.clear();
        FftAllCall call;
        call.reader = reader;
        call.quantity = 2;
        call.rows = 5;
        call.tStart = table[1].firstTime + 2.0;  // record 12
        call.tStop = table[3].firstTime;         // record 30, which is read
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.factor, 1);  // 19 records: one point each
        const auto records = ModelRecords(info, 12, 30, plan.flags);
        const auto expected = Expected(call, ModelOf(plan, false, false), records, 2, 0, 1, 5, 1);
        EXPECT_EQ(call.result, reader == 1 ? 18 : 19);
        ExpectPoints(call, expected, 1, 5);
        const std::string name = reader == 1 ? "Reader_FFT_ALL_Harmonics_XT1"
                                             : "Reader_FFT_ALL_Harmonics_XT2";
        EXPECT_EQ(LogLines(), (std::vector<std::string>{
                                  "============================================================",
                                  "Start " + name, "------------------------------",
                                  "TStart    = " + Fixed2(call.tStart),
                                  "TStop     = " + Fixed2(call.tStop),
                                  "PathFile  = " + PathOf(info, 0)}));
        // Three files at 33.33 each; no message after the scan.
        EXPECT_EQ(progress_, (std::vector<int>{33, 66, 99}));
    }
}

TEST_F(FftAllTest, CorrectedCodesAndTheirStatusOrder) {
    rec::RecordingPlan without = Plan(8, 6, false, {20});
    const rec::RecordingInfo info = Write(without);
    const auto records = ModelRecords(info, 0, 19, without.flags);
    struct Case {
        int reader, quantity, minMax, code, m, status;
    };
    const Case cases[] = {
        {1, 4, 1, 1, 0, TROVA_READER_NO_POWER_BLOCK},
        {2, 8, 0, 1, 1, TROVA_READER_NO_POWER_BLOCK},  // voltages of value set 1
        {2, 11, 1, 1, 0, TROVA_READER_BAD_QUANTITY},
        {1, 11, 0, 1, 0, TROVA_READER_BAD_QUANTITY},  // 2 first, then 4
        {1, 10, 1, 10, 0, TROVA_READER_OK},
        {2, 9, 0, 1, 1, TROVA_READER_OK},
        {2, 0, 1, 0, 0, TROVA_READER_OK},  // no defined value: zeros, in bounds
    };
    for (const Case &c : cases) {
        SCOPED_TRACE("reader " + std::to_string(c.reader) + " code " + std::to_string(c.quantity) +
                     " MinMax " + std::to_string(c.minMax));
        FftAllCall call;
        call.reader = c.reader;
        call.quantity = c.quantity;
        call.minMax = c.minMax;
        call.rows = 6;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, c.status);
        EXPECT_EQ(call.harmCount, 6);
        ExpectPoints(call,
                     Expected(call, ModelOf(without, false, false), records, c.code, c.m, 4, 6, 1),
                     4, 6);
    }
}

// Each file is walked over its own positions, never beyond the first
// file's count; a file whose records cannot hold its count is left out,
// and a first file claiming a huge count does not make the working
// vectors huge.
TEST_F(FftAllTest, FilesWithOtherHarmonicCounts) {
    rec::RecordingPlan plan = Plan(6, 10, true, {6, 6, 6, 6});
    for (int h : {0, 1, 2, 3}) {
        rec::HarmonicFormat format = plan.harmonic;
        format.harmonics = std::vector<int>{10, 6, 14, 8}[size_t(h)];
        plan.members[size_t(h)].harmonic = format;
    }
    rec::Recording recording = rec::buildRecording(plan);
    recording.info.directory = dir_.path();
    auto writeAll = [&] {
        for (size_t i = 0; i < recording.contents.size(); ++i) {
            rec::writeBytes(recording.info.path(recording.info.files[i]), recording.contents[i]);
        }
    };
    writeAll();
    const std::string path = recording.info.path(recording.info.files[0]);
    const auto records = ModelRecords(recording.info, 0, 23, plan.flags);
    for (int reader : {1, 2}) {
        FftAllCall call;
        call.reader = reader;
        call.quantity = 9;  // percent of position 2
        call.firstHarmonic = 2;
        call.rows = 14;  // the largest count of the recording
        call.Run(path);
        EXPECT_EQ(call.harmCount, 10);
        EXPECT_EQ(call.result, reader == 1 ? 23 : 24);
        const ValueModel model = ModelOf(plan, reader == 1, false);
        const auto expected = Expected(call, model, records, 9, 0, 3, 10, 1);
        for (size_t i = 0; i < 24; ++i) {
            const int positions = std::vector<int>{10, 6, 10, 8}[i / 6];
            for (int p = 0; p < 3; ++p) {
                for (int j = 0; j < 14; ++j) {
                    const size_t at = size_t(j) * 100 + i;
                    if (j < positions) {
                        ASSERT_EQ(Bits(call.Max(p)[at]), Bits(expected[i].max[size_t(p * 10 + j)]))
                            << i << "/" << p << "/" << j;
                    } else {
                        ASSERT_EQ(call.Max(p)[at], kUntouched) << i << "/" << p << "/" << j;
                    }
                }
            }
        }
    }

    // The first file now claims 2^28 positions: its records are left out,
    // the others are walked over their own counts.
    rec::putBE32(&recording.contents[0][size_t(recording.info.files[0].headerLength) + 40],
                 0x10000000);
    writeAll();
    ForgetFileTable();
    FftAllCall huge;
    huge.reader = 2;
    huge.quantity = 1;
    huge.rows = 14;
    huge.Run(path);
    EXPECT_EQ(huge.harmCount, 0x10000000);
    EXPECT_EQ(huge.result, 18);
    const auto later = ModelRecords(recording.info, 6, 23, plan.flags);
    const auto expected = Expected(huge, ModelOf(plan, false, false), later, 1, 0, 3, 14, 1);
    for (size_t i = 0; i < 18; ++i) {
        const int positions = std::vector<int>{6, 14, 8}[i / 6];
        for (int j = 0; j < 14; ++j) {
            const size_t at = size_t(j) * 100 + i;
            if (j < positions) {
                ASSERT_EQ(Bits(huge.Min(2)[at]), Bits(expected[i].min[size_t(2 * 14 + j)])) << i;
            } else {
                ASSERT_EQ(huge.Min(2)[at], kUntouched) << i << "/" << j;
            }
        }
    }
}

TEST_F(FftAllTest, ReferenceOutsideTheRecordLeavesTheRelativeCodesOut) {
    const rec::RecordingPlan plan = Plan(6, 10, true, {5});
    const rec::RecordingInfo info = Write(plan);
    for (int quantity : {6, 9, 10}) {
        FftAllCall call;
        call.quantity = quantity;
        call.firstHarmonic = 1 << 24;
        call.rows = 10;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.result, -1);
        EXPECT_EQ(call.Min(0)[0], kUntouched);
    }
    // Absolute codes do not read the reference: the time of a point then
    // stays with the group's first record.
    FftAllCall absolute;
    absolute.quantity = 2;
    absolute.firstHarmonic = -3;
    absolute.rows = 10;
    absolute.Run(PathOf(info, 0));
    EXPECT_EQ(absolute.result, 4);
}

TEST_F(FftAllTest, CancelKeepsTheCompletedPoints) {
    const rec::RecordingPlan plan = Plan(6, 4, true, {100, 100, 100});
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 199, plan.flags);
    for (int reader : {1, 2}) {
        progress_.clear();
        CancelAfterFile(1);
        FftAllCall call;
        call.reader = reader;
        call.quantity = 3;
        call.rows = 4;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_CANCELLED);
        EXPECT_EQ(call.factor, 3);  // 300 records
        // 200 records read: 66 groups, the 67th under way is dropped.
        const auto expected = GroupModel(
            records, 12,
            [&](const ModelRecord &r, int slot) {
                return ModelOf(plan, reader == 1, false).Spectrum(3, 0, r.index, slot / 4, slot % 4, 1);
            },
            3, reader == 1, 1, false);
        ASSERT_EQ(expected.size(), 66u);
        EXPECT_EQ(call.result, reader == 1 ? 65 : 66);
        ExpectPoints(call, expected, 3, 4);
        EXPECT_EQ(progress_, (std::vector<int>{33, 66}));
    }
}

TEST_F(FftAllTest, NoFilesGivesStatusThreeAndNothingElse) {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.addDamaged(rec::Damage::PaddedData);
    const rec::RecordingInfo info = Write(plan);
    for (int reader : {1, 2}) {
        FftAllCall call;
        call.reader = reader;
        call.rows = 1;
        call.Run(info.path(info.files[0]));
        EXPECT_EQ(call.status, TROVA_READER_NO_FILES);
        EXPECT_EQ(call.result, 0);
        EXPECT_EQ(call.harmCount, -1);
        EXPECT_EQ(call.factor, -1);
        EXPECT_EQ(call.Min(0)[0], kUntouched);
    }
    EXPECT_TRUE(progress_.empty());
}

}  // namespace
}  // namespace trova
