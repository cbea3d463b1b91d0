// Reader_FFT_ALL_Harmonics_XT3 end to end: one interleave curve per phase
// and position with a budget of 100 points, the values of the stored-power
// reading. The expected outputs come from the model's values run through a
// curve of their own.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording_writer.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;

struct FftAll3Call : HarmonicArgs {
    int rows = 0;  // positions each value array holds

    Guarded<float> values[4];  // per phase
    Guarded<double> times;
    Guarded<trova_long> flagWords;
    trova_long factor = -1, status = -1, harmCount = -1;
    int result = -7;

    int Run(const std::string &path) {
        for (Guarded<float> &v : values) v.Reset(size_t(rows) * 100, kUntouched);
        times.Reset(200, -1.0);
        flagWords.Reset(100, -1);
        char label[] = "Spectrum", button[] = "Stop";
        std::string pathArg = path;
        result = Reader_FFT_ALL_Harmonics_XT3(
            quantity, minMax, tStart, tStop, label, pathArg.data(), values[0].data(),
            values[1].data(), values[2].data(), values[3].data(), times.data(), flagWords.data(),
            &factor, button, firstHarmonic, join, &status, &harmCount);
        for (const Guarded<float> &v : values) EXPECT_TRUE(v.GuardIntact());
        EXPECT_TRUE(times.GuardIntact() && flagWords.GuardIntact());
        return result;
    }
};

class FftAll3Test : public ReaderTest {
protected:
    // The curve of phase p and position j (index p·positions + j) over the
    // records whose file brings position j (`positionsOf` a record).
    static std::vector<CurveResult> Expected(const FftAll3Call &call, const ValueModel &model,
                                             const std::vector<ModelRecord> &records, int code,
                                             int m, int samples, int positions,
                                             int (*positionsOf)(const ModelRecord &)) {
        std::vector<CurveResult> curves;
        for (int p = 0; p < model.phases; ++p) {
            for (int j = 0; j < positions; ++j) {
                std::vector<CurveStep> series;
                for (const ModelRecord &r : records) {
                    if (positionsOf != nullptr && j >= positionsOf(r)) continue;
                    series.push_back(CurveStep{
                        r.t1, r.t2, model.Spectrum(code, m, r.index, p, j, call.firstHarmonic),
                        static_cast<uint32_t>(r.flags), false});
                }
                curves.push_back(CurveOf(samples, 100, series));
            }
        }
        return curves;
    }

    static void ExpectCurves(const FftAll3Call &call, const std::vector<CurveResult> &curves,
                             int phases, int positions) {
        ASSERT_EQ(curves.size(), size_t(phases * positions));
        EXPECT_EQ(call.result, static_cast<int>(curves[0].size()));
        for (int p = 0; p < 4; ++p) {
            for (int j = 0; j < call.rows; ++j) {
                const CurveResult *curve =
                    p < phases && j < positions ? &curves[size_t(p * positions + j)] : nullptr;
                for (size_t i = 0; i < 100; ++i) {
                    const float got = call.values[p][size_t(j) * 100 + i];
                    if (curve != nullptr && i < curve->size()) {
                        ASSERT_EQ(Bits(got), Bits(curve->values[i])) << p << "/" << j << "/" << i;
                    } else {
                        ASSERT_EQ(got, kUntouched) << p << "/" << j << "/" << i;
                    }
                }
            }
        }
        ExpectFirstCurve(call.times, call.flagWords, 100, curves[0]);
    }
};

// 250 records: every code with both value sets; 250 / 50 + 1 = 6, bins of
// six records and an interleave factor of 3.
TEST_F(FftAll3Test, EveryCodeBothValueSets) {
    const rec::RecordingPlan plan = HarmonicPlan(6, 6, true, {125, 125}, 41, 6, 4);
    const rec::RecordingInfo info = Write(plan);
    const std::vector<ModelRecord> records = ModelRecords(info, 0, 249, plan.flags);
    const ValueModel model = ModelOf(plan, false, false);
    for (int quantity = 1; quantity <= 10; ++quantity) {
        for (int minMax : {1, 0}) {
            SCOPED_TRACE("code " + std::to_string(quantity) + " MinMax " + std::to_string(minMax));
            FftAll3Call call;
            call.quantity = quantity;
            call.minMax = minMax;
            call.firstHarmonic = 3;
            call.join = 1;  // no effect
            call.rows = 6;
            call.Run(PathOf(info, 0));
            const Corrected c =
                minMax != 0 ? Corrected{quantity, 0, 0} : kSpectrumWithMinMaxZero[quantity];
            EXPECT_EQ(call.status, c.status);
            EXPECT_EQ(call.factor, 3);
            EXPECT_EQ(call.harmCount, 6);
            ExpectCurves(call, Expected(call, model, records, c.code, c.m, 250, 6, nullptr), 3, 6);
        }
    }
}

TEST_F(FftAll3Test, LogLinesPhasesAndSmallWindows) {
    for (int channelCode : {8, 2}) {
        SCOPED_TRACE("channel code " + std::to_string(channelCode));
        rec::RecordingPlan plan = HarmonicPlan(channelCode, 5, true, {30, 30}, 43, 6, 4);
        plan.stem = "code" + std::to_string(channelCode);
        const rec::RecordingInfo info = Write(plan);
        const std::vector<rec::MemberInfo> table = info.table();
        ClearLog();
        progress_.clear();
        FftAll3Call call;
        call.quantity = 5;
        call.minMax = 0;  // apparent powers: no value set involved, status 0
        call.rows = 5;
        call.tStart = table[0].firstTime + 10.0;  // records 10 to 45
        call.tStop = table[1].firstTime + 15.0;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.factor, 0);  // 36 records fit the budget of 100
        const auto records = ModelRecords(info, 10, 45, plan.flags);
        const ValueModel model = ModelOf(plan, false, false);
        const int phases = channelCode == 8 ? 4 : 1;
        ExpectCurves(call, Expected(call, model, records, 5, 1, 36, 5, nullptr), phases, 5);
        const std::string path = PathOf(info, 0);
        EXPECT_EQ(LogLines(), (std::vector<std::string>{
                                  "============================================================",
                                  "Start Reader_FFT_ALL_Harmonics_XT3",
                                  "------------------------------",
                                  "TStart    = " + std::to_string(long(call.tStart)) + ".25",
                                  "TStop     = " + std::to_string(long(call.tStop)) + ".25",
                                  "PathFile  = " + path, "Quantity  = 5", "Minmax    = 1",
                                  "Start Reader_FFT_ALL_Harmonics_XT_Thread3",
                                  "==[ Output ]============================================"}));
        EXPECT_EQ(progress_, (std::vector<int>{50, 100}));  // no message after the scan
    }
}

TEST_F(FftAll3Test, CorrectedCodesAndTheirStatus) {
    const rec::RecordingPlan plan = HarmonicPlan(6, 4, false, {15}, 47, 6, 4);
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 14, plan.flags);
    struct Case {
        int quantity, minMax, code, m, status;
    };
    for (const Case c : {Case{4, 1, 1, 0, TROVA_READER_NO_POWER_BLOCK},
                         Case{8, 0, 1, 1, TROVA_READER_NO_POWER_BLOCK},
                         Case{11, 1, 1, 0, TROVA_READER_BAD_QUANTITY},
                         Case{9, 0, 1, 1, TROVA_READER_OK}, Case{10, 1, 10, 0, TROVA_READER_OK}}) {
        SCOPED_TRACE("code " + std::to_string(c.quantity) + " MinMax " + std::to_string(c.minMax));
        FftAll3Call call;
        call.quantity = c.quantity;
        call.minMax = c.minMax;
        call.rows = 4;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, c.status);
        ExpectCurves(call,
                     Expected(call, ModelOf(plan, false, false), records, c.code, c.m, 15, 4,
                              nullptr),
                     3, 4);
    }
}

// Files with other harmonic counts feed the curves of the positions they
// bring, never beyond the first file's count (so curve (0, 1) misses the
// one-position file that curve (0, 0) takes); a first file claiming 2^28
// positions is left out and makes no more curves than the others need.
TEST_F(FftAll3Test, FilesWithOtherHarmonicCounts) {
    rec::RecordingPlan plan = HarmonicPlan(6, 10, true, {6, 6, 6, 6}, 53, 6, 4);
    SetHarmonicCounts(plan, {10, 1, 14, 8});
    rec::Recording recording = rec::buildRecording(plan);
    WriteBuilt(recording, dir_.path());
    const std::string path = recording.info.path(recording.info.files[0]);
    const ValueModel model = ModelOf(plan, false, false);

    FftAll3Call call;
    call.quantity = 10;  // percent of position 0
    call.firstHarmonic = 0;
    call.rows = 14;
    call.Run(path);
    EXPECT_EQ(call.harmCount, 10);
    const auto records = ModelRecords(recording.info, 0, 23, plan.flags);
    ExpectCurves(call,
                 Expected(call, model, records, 10, 0, 24, 10,
                          [](const ModelRecord &r) { return std::vector<int>{10, 1, 10, 8}[size_t(r.index / 6)]; }),
                 3, 10);

    ClaimHarmonicCount(recording, 0, 0x10000000);
    WriteBuilt(recording, dir_.path());
    ForgetFileTable();
    FftAll3Call huge;
    huge.quantity = 2;
    huge.rows = 14;
    huge.Run(path);
    EXPECT_EQ(huge.harmCount, 0x10000000);
    const auto later = ModelRecords(recording.info, 6, 23, plan.flags);
    ExpectCurves(huge,
                 Expected(huge, model, later, 2, 0, 24, 14,
                          [](const ModelRecord &r) { return std::vector<int>{0, 1, 14, 8}[size_t(r.index / 6)]; }),
                 3, 14);
}

TEST_F(FftAll3Test, CancelAndNoFiles) {
    const rec::RecordingPlan plan = HarmonicPlan(6, 3, true, {100, 100, 100}, 59, 6, 4);
    const rec::RecordingInfo info = Write(plan);
    CancelAfterFile(1);
    FftAll3Call call;
    call.quantity = 3;
    call.rows = 3;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(call.factor, 4);  // 300 / 50 + 1 = 7, made even: 8
    const auto records = ModelRecords(info, 0, 199, plan.flags);
    ExpectCurves(call,
                 Expected(call, ModelOf(plan, false, false), records, 3, 0, 300, 3, nullptr), 3, 3);
    EXPECT_EQ(progress_, (std::vector<int>{33, 66}));

    rec::RecordingPlan damaged;
    damaged.kind = rec::Kind::Harmonic;
    damaged.stem = "damaged";
    damaged.addDamaged(rec::Damage::Empty);
    const rec::RecordingInfo none = Write(damaged);
    ClearLog();
    FftAll3Call empty;
    empty.rows = 1;
    empty.Run(none.path(none.files[0]));
    EXPECT_EQ(empty.status, TROVA_READER_NO_FILES);
    EXPECT_EQ(empty.result, 0);
    EXPECT_EQ(empty.harmCount, -1);
    EXPECT_EQ(empty.values[0][0], kUntouched);
    EXPECT_EQ(LogLines().back(), "Start Reader_FFT_ALL_Harmonics_XT_Thread3");
}

}  // namespace
}  // namespace trova
