// Reader_FFT_XT3 end to end: one interleave curve per phase, fed with the
// values of the stored-power reading and the distortion codes, the time
// bounds closing the curves' bins. The expected outputs come from the
// model's values run through a curve of their own.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "recording_writer.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;

struct FftXt3Call : HarmonicArgs {
    int points = 16;
    int harmonic = 3;

    Guarded<float> values;  // four phase segments
    Guarded<double> times;
    Guarded<trova_long> flagWords;
    trova_long factor = -1, status = -1;
    int result = -7;

    int Run(const std::string &path) {
        const size_t N = points > 0 ? size_t(points) : 0;
        values.Reset(4 * N, kUntouched);
        times.Reset(2 * N, -1.0);
        flagWords.Reset(N, -1);
        char label[] = "Decimated", button[] = "Stop";
        std::string pathArg = path;
        trova_long pointsArg = points;
        result = Reader_FFT_XT3(quantity, minMax, tStart, tStop, label, pathArg.data(), &pointsArg,
                                values.data(), times.data(), flagWords.data(), harmonic, &factor,
                                button, firstHarmonic, join, &status);
        EXPECT_TRUE(values.GuardIntact() && times.GuardIntact() && flagWords.GuardIntact());
        return result;
    }
};

class FftXt3Test : public ReaderTest {
protected:
    // The curve of each phase. Code 1 feeds phase 0 only and is never
    // tested against the bounds; a record of another code outside the
    // bounds in effect closes the bins under way.
    static std::vector<CurveResult> Expected(const FftXt3Call &call, const ValueModel &model,
                                             const std::vector<ModelRecord> &records, int code,
                                             int m, int samples, bool startInEffect,
                                             bool stopInEffect) {
        std::vector<CurveResult> curves;
        for (int p = 0; p < model.phases; ++p) {
            std::vector<CurveStep> series;
            for (const ModelRecord &r : records) {
                if (code == 1 && p > 0) break;
                const double t = r.t1 + r.t2;
                const bool outside = code != 1 && ((startInEffect && t < call.tStart) ||
                                                   (stopInEffect && t > call.tStop));
                series.push_back(CurveStep{
                    r.t1, r.t2, model.Trend(code, m, r.index, p, call.harmonic, call.firstHarmonic),
                    static_cast<uint32_t>(r.flags), outside});
            }
            curves.push_back(CurveOf(samples, call.points, series));
        }
        return curves;
    }

    static void ExpectCurves(const FftXt3Call &call, const std::vector<CurveResult> &curves) {
        const size_t N = size_t(call.points);
        ASSERT_FALSE(curves.empty());
        EXPECT_EQ(call.result, static_cast<int>(curves[0].size()));
        for (size_t p = 0; p < 4; ++p) {
            const size_t count = p < curves.size() ? curves[p].size() : 0;
            for (size_t i = 0; i < N; ++i) {
                if (i < count) {
                    ASSERT_EQ(Bits(call.values[p * N + i]), Bits(curves[p].values[i])) << p << "/" << i;
                } else {
                    ASSERT_EQ(call.values[p * N + i], kUntouched) << p << "/" << i;
                }
            }
        }
        ExpectFirstCurve(call.times, call.flagWords, N, curves[0]);
    }
};

// Every code with both value sets. H is 50, so the distortion codes that
// sum up to position 50 read position 0 of the next phase, and for the last
// phase the head word after the array, as the record holds them.
TEST_F(FftXt3Test, EveryCodeBothValueSets) {
    const rec::RecordingPlan plan = HarmonicPlan(6, 50, true, {25, 25}, 31, 5, 2);
    const rec::RecordingInfo info = Write(plan);
    const std::vector<ModelRecord> records = ModelRecords(info, 0, 49, plan.flags);
    const ValueModel model = ModelOf(plan, false, false);
    for (int quantity = 1; quantity <= 17; ++quantity) {
        for (int minMax : {1, 0}) {
            SCOPED_TRACE("code " + std::to_string(quantity) + " MinMax " + std::to_string(minMax));
            FftXt3Call call;
            call.quantity = quantity;
            call.minMax = minMax;
            call.join = 1;  // no effect
            call.Run(PathOf(info, 1));
            const Corrected c =
                minMax != 0 ? Corrected{quantity, 0, 0} : kTrendWithMinMaxZero[quantity];
            EXPECT_EQ(call.status, c.status);
            // 50 samples, 16 points: 50 / 8 + 1 = 7.25, made even: bins of 8.
            EXPECT_EQ(call.factor, 4);
            ExpectCurves(call, Expected(call, model, records, c.code, c.m, 50, false, false));
        }
    }
}

TEST_F(FftXt3Test, TotalHarmonicDistortion) {
    rec::RecordingPlan plan = HarmonicPlan(2, 52, true, {3}, 1, 5, 2);
    plan.harmonicValues = [](int, rec::HarmonicField field, int set, int, int x) {
        if (set != 0) return 7.0f;
        if (field == rec::HarmonicField::Voltage) {
            return x == 1 ? 230.0f : x == 2 ? 4.6f : x == 3 ? 2.3f : 0.0f;
        }
        return x == 1 ? 0.0f : 1.5f;  // no current at position 1
    };
    const rec::RecordingInfo info = Write(plan);
    FftXt3Call voltage;
    voltage.quantity = 14;
    voltage.Run(PathOf(info, 0));
    ASSERT_EQ(voltage.result, 3);
    const double a = 4.6f, b = 2.3f;
    EXPECT_EQ(voltage.values[0], static_cast<float>(100.0 * std::sqrt(a * a + b * b) / 230.0));
    EXPECT_NEAR(voltage.values[0], 2.2360680, 1e-6);
    FftXt3Call current;
    current.quantity = 16;
    current.Run(PathOf(info, 0));
    ASSERT_EQ(current.result, 3);
    EXPECT_EQ(Bits(current.values[0]), Bits(0.0f));

    // Two positions per phase and no power block: position 40 lies past the
    // record, so no record is read.
    rec::RecordingPlan tiny = HarmonicPlan(2, 2, false, {4}, 1, 5, 2);
    tiny.stem = "tiny";
    const rec::RecordingInfo tinyInfo = Write(tiny);
    for (int quantity : {14, 15, 16, 17}) {
        FftXt3Call call;
        call.quantity = quantity;
        call.Run(PathOf(tinyInfo, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        EXPECT_EQ(call.result, 0);
    }
}

// Records outside the time bounds close the bins under way. Here two
// records of the first file carry times out of order: one before TStart,
// one after TStop (the file's first and last times are sound), and the stop
// record in the second file lies after TStop.
TEST_F(FftXt3Test, TimeBoundsCloseTheBins) {
    const rec::RecordingPlan plan = HarmonicPlan(6, 8, true, {20, 20}, 5, 3, 1);
    rec::Recording recording = rec::buildRecording(plan);
    const rec::MemberInfo &first = recording.info.files[0];
    const double t0 = first.firstTime;
    auto retime = [&](int record, double time) {
        const size_t at = size_t(first.headerLength) + size_t(record) * size_t(first.recordLength);
        rec::putBEDouble(&recording.contents[0][at], std::floor(time));
    };
    retime(8, t0 - 50.0);
    retime(12, t0 + 5000.0);
    WriteBuilt(recording, dir_.path());
    std::vector<ModelRecord> all = ModelRecords(recording.info, 0, 39, plan.flags);
    all[8].t1 = std::floor(t0 - 50.0);
    all[12].t1 = std::floor(t0 + 5000.0);
    const ValueModel model = ModelOf(plan, false, false);
    const std::string path = recording.info.path(recording.info.files[0]);

    // Records 3 to 31: the stop record (t0 + 31) lies after TStop.
    const std::vector<ModelRecord> window(all.begin() + 3, all.begin() + 32);
    for (int points : {8, 100}) {
        for (int quantity : {2, 1}) {
            SCOPED_TRACE("points " + std::to_string(points) + " code " + std::to_string(quantity));
            FftXt3Call call;
            call.quantity = quantity;
            call.points = points;
            call.tStart = t0 + 3.0;
            call.tStop = t0 + 30.5;
            call.Run(path);
            EXPECT_EQ(call.status, TROVA_READER_OK);
            EXPECT_EQ(call.factor, points == 8 ? 4 : 0);  // 29 / 4 + 1: bins of 8
            const auto expected = Expected(call, model, window, quantity, 0, 29, true, true);
            // Code 2 leaves out the three records outside; code 1 takes them.
            if (points == 100) {
                EXPECT_EQ(expected[0].size(), quantity == 2 ? 26u : 29u);
            }
            ExpectCurves(call, expected);
        }
    }

    // A TStop at or after the end of the recording is no bound at all.
    FftXt3Call open;
    open.points = 100;
    open.tStop = t0 + 500.0;
    open.Run(path);
    ExpectCurves(open, Expected(open, model, all, 2, 0, 40, false, false));
}

TEST_F(FftXt3Test, CorrectedCodesAndPhaseCounts) {
    struct Case {
        int channelCode;
        bool powerBlock;
        int quantity, minMax, code, m, status;
    };
    const Case cases[] = {
        {8, true, 18, 1, 1, 0, TROVA_READER_BAD_QUANTITY},
        {8, true, 17, 1, 17, 0, TROVA_READER_OK},
        {8, false, 9, 1, 1, 0, TROVA_READER_NO_POWER_BLOCK},
        {8, false, 13, 0, 1, 1, TROVA_READER_NO_POWER_BLOCK},
        {8, false, 15, 0, 15, 0, TROVA_READER_BAD_MINMAX},
        {2, true, 2, 1, 2, 0, TROVA_READER_OK},
        {9, true, 12, 1, 12, 0, TROVA_READER_OK},  // an unknown code: one phase
    };
    int stem = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE("channel code " + std::to_string(c.channelCode) + " code " +
                     std::to_string(c.quantity) + " MinMax " + std::to_string(c.minMax));
        rec::RecordingPlan plan = HarmonicPlan(c.channelCode, 52, c.powerBlock, {12}, 3, 4, 8);
        plan.stem = "case" + std::to_string(stem++);
        const rec::RecordingInfo info = Write(plan);
        FftXt3Call call;
        call.quantity = c.quantity;
        call.minMax = c.minMax;
        call.points = 12;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, c.status);
        const auto records = ModelRecords(info, 0, 11, plan.flags);
        ExpectCurves(call, Expected(call, ModelOf(plan, false, false), records, c.code, c.m, 12,
                                    false, false));
    }
}

TEST_F(FftXt3Test, LogLinesProgressCancelAndNoFiles) {
    const rec::RecordingPlan plan = HarmonicPlan(6, 8, true, {10, 10, 10}, 9, 4, 2);
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);
    FftXt3Call call;
    call.firstHarmonic = 2;
    call.Run(path);
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(LogLines(), (std::vector<std::string>{
                              "============================================================",
                              "Start Reader_FFT_XT3", "------------------------------",
                              "TStart         = -1.00", "TStop          = -1.00",
                              "PathFile       = " + path, "Quantity       = 2",
                              "MinMax         = 0", "1st Harm       = 2",
                              "Start Reader_FFT_XT_Thread3", "Finish Reader_FFT_XT3"}));
    // Three files at 33.33, then the rest of the accumulator once more.
    EXPECT_EQ(progress_, (std::vector<int>{33, 66, 99, 99}));

    // A cancel after the second file: the curves deliver what they took.
    progress_.clear();
    CancelAfterFile(1);
    FftXt3Call cancelled;
    cancelled.points = 6;
    cancelled.Run(path);
    EXPECT_EQ(cancelled.status, TROVA_READER_CANCELLED);
    const auto records = ModelRecords(info, 0, 19, plan.flags);
    ExpectCurves(cancelled,
                 Expected(cancelled, ModelOf(plan, false, false), records, 2, 0, 30, false, false));
    EXPECT_EQ(progress_, (std::vector<int>{33, 66, 66}));

    rec::RecordingPlan damaged;
    damaged.kind = rec::Kind::Harmonic;
    damaged.stem = "damaged";
    damaged.addDamaged(rec::Damage::ZeroFirstTime);
    const rec::RecordingInfo none = Write(damaged);
    ClearLog();
    progress_.clear();
    FftXt3Call empty;
    empty.Run(none.path(none.files[0]));
    EXPECT_EQ(empty.status, TROVA_READER_NO_FILES);
    EXPECT_EQ(empty.result, 0);
    EXPECT_EQ(empty.factor, -1);
    EXPECT_EQ(empty.values[0], kUntouched);
    EXPECT_EQ(progress_, std::vector<int>{0});
    const std::vector<std::string> log = LogLines();
    ASSERT_GE(log.size(), 2u);
    EXPECT_EQ(log[log.size() - 2], "Start Reader_FFT_XT_Thread3");
    EXPECT_EQ(log.back(), "Finish Reader_FFT_XT3");
}

}  // namespace
}  // namespace trova
