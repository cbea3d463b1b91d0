// Reader_FFT_XT1 and _XT2 end to end against the model of tests/support,
// then what all six harmonic trend readers share. XT1 forms powers from
// angles, takes a point's time from its phase-0 minimum, drops an incomplete
// last group and returns the last index; XT2 reads stored powers, refuses
// them without power block, takes a group's last time, delivers the
// incomplete group and returns the count.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/posix/dialog_probe.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;
using R = Reader;

class FftXtTest : public ReaderTest {};

TEST_F(FftXtTest, EveryCodeBothValueSetsAndJoin) {
    const rec::RecordingPlan plan = EdgePlan(6, 20, true, {25, 25});
    const rec::RecordingInfo info = Write(plan);
    const auto records = ModelRecords(info, 0, 49, plan.flags);
    for (R reader : {R::kXt1, R::kXt2}) {
        for (int quantity = 0; quantity <= 14; ++quantity) {
            for (int minMax : {1, 0}) {
                for (int join : {0, 1}) {
                    Call call{reader, quantity, minMax};
                    call.join = join;
                    SCOPED_TRACE(call.Name());
                    const Corrected c = Correct(kTrendWithMinMaxZero, 13, quantity, minMax);
                    const Call want = Check(call, PathOf(info, 1), plan, records, {c, 4, 4});
                    EXPECT_EQ(want.out.result, reader == R::kXt1 ? 11 : 13);  // 50 records, 16 points
                }
            }
        }
    }
}

TEST_F(FftXtTest, WindowBoundsAndGroupSizes) {
    const rec::RecordingPlan plan = EdgePlan(6, 8, true, {10, 10, 10});
    const rec::RecordingInfo info = Write(plan);
    const std::vector<rec::MemberInfo> table = info.table();
    struct Case {
        int startFile;
        double start;
        int stopFile;
        double stop;
        int points, first, last, factor;
    };
    const Case cases[] = {
        {0, 7.0, 2, 5.0, 4, 7, 25, 5},    // the stop record is read
        {1, -0.5, 1, 9.0, 4, 10, 19, 3},  // from between two files
        {-1, 0, -1, 0, 29, 0, 29, 2},     {-1, 0, -1, 0, 30, 0, 29, 1},
        {-1, 0, -1, 0, 40, 0, 29, 1},     {-1, 0, -1, 0, 0, 0, -1, 0},  // no room: nothing read
        {2, 0.0, 0, 3.0, 4, 0, -1, 1},    // TStop before TStart: no file
    };
    for (const Case &w : cases) {
        for (R reader : {R::kXt1, R::kXt2}) {
            if (w.last < w.first && reader == R::kXt1) continue;  // no result published
            Call call{reader};
            call.points = w.points;
            if (w.startFile >= 0) call.tStart = table[size_t(w.startFile)].firstTime + w.start;
            if (w.stopFile >= 0) call.tStop = table[size_t(w.stopFile)].firstTime + w.stop;
            SCOPED_TRACE(call.Name() + " points " + std::to_string(w.points));
            Check(call, PathOf(info, 2), plan, ModelRecords(info, w.first, w.last, plan.flags),
                  {{2, 0, 0}, w.factor, w.factor});
        }
    }
}

// Position H of phase p is read where it lies: position 0 of phase p + 1,
// after the last phase the array's head. A position or reference beyond
// the record, or a field reaching past its end, leaves the file's records out.
TEST_F(FftXtTest, PositionsBeyondHAndBeyondTheRecord) {
    rec::RecordingPlan plan = EdgePlan(6, 8, true, {6});
    plan.harmonic.extraRecordBytes = 2;
    const rec::RecordingInfo info = Write(plan);
    Call next{R::kXt2};
    next.harmonic = 8;
    next.Run(PathOf(info, 0));
    const ValueModel model{plan.harmonicValues, false, false, 3, 8};
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(Bits(next.Slot(0, p, 0)[0]), Bits(model.ArrayAt(false, 0, 0, p, 8)));
    }
    next.quantity = 10;  // the last phase's stored power would end 2 bytes past the record
    Check(next, PathOf(info, 0), plan, {}, {{10, 0, 0}, 1, 1});
    for (int harmonic : {1 << 20, -5000, 0x7FFFFFFF, 3}) {
        for (R reader : {R::kXt1, R::kXt2}) {
            Call call{reader, harmonic == 3 ? 6 : 2};
            call.harmonic = harmonic;
            call.firstHarmonic = harmonic == 3 ? 100000 : 1;
            SCOPED_TRACE(call.Name() + " position " + std::to_string(harmonic));
            Check(call, PathOf(info, 0), plan, {}, {{call.quantity, 0, 0}, 1, 1});
        }
    }
}

// What all six readers share.
class HarmonicTrendReadersTest : public ReaderTest {};
constexpr R kAll[] = {R::kXt1, R::kXt2, R::kXt3, R::kAll1, R::kAll2, R::kAll3};

// The expectation of a call over `samples` records that fit its output.
Expect Fitting(const Call &call, Corrected c, int samples, trova_long harmCount) {
    return {c, call.Curves() ? 0 : 1, call.Curves() ? samples : 1, call.Spectrum() ? harmCount : -1};
}

TEST_F(HarmonicTrendReadersTest, CorrectCodesAndCountPhases) {
    struct Case {
        int channelCode;
        bool powerBlock;
        R reader;
        int quantity, minMax;
        Corrected c;
        bool read;
    };
    const Case cases[] = {
        {8, false, R::kXt1, 8, 1, {8, 0, 0}, false},  // no block test, no field to read
        {8, false, R::kXt1, 13, 0, {13, 0, 2}, false},  {8, false, R::kXt2, 9, 1, {1, 0, 5}, true},
        {8, false, R::kXt2, 13, 0, {1, 1, 5}, true},    {8, false, R::kXt2, 7, 1, {7, 0, 0}, true},
        {8, false, R::kXt3, 9, 0, {1, 1, 5}, true},     {8, false, R::kXt3, 15, 0, {15, 0, 2}, true},
        {8, false, R::kAll1, 4, 1, {1, 0, 5}, true},    {8, false, R::kAll2, 8, 0, {1, 1, 5}, true},
        {8, false, R::kAll3, 9, 0, {1, 1, 0}, true},    {8, true, R::kXt1, 11, 1, {11, 0, 0}, true},
        {2, true, R::kXt1, 12, 1, {12, 0, 0}, true},    {7, true, R::kXt2, 5, 1, {5, 0, 0}, true},
        {9, true, R::kXt3, 16, 1, {16, 0, 0}, true},    {2, true, R::kAll1, 3, 1, {3, 0, 0}, true},
        {7, true, R::kAll3, 5, 0, {5, 1, 0}, true},
    };
    for (const Case &k : cases) {
        const rec::RecordingPlan plan = EdgePlan(k.channelCode, 52, k.powerBlock, {12});
        const rec::RecordingInfo info = Write(plan);
        Call call{k.reader, k.quantity, k.minMax};
        call.points = 12;
        call.rows = 52;
        SCOPED_TRACE(call.Name() + " channel code " + std::to_string(k.channelCode));
        Check(call, PathOf(info, 0), plan, ModelRecords(info, 0, k.read ? 11 : -1, plan.flags),
              Fitting(call, k.c, 12, 52));
    }
}

// Each file is read with its own H (spectra: at most the first file's); a
// file whose H does not fit its records is left out.
TEST_F(HarmonicTrendReadersTest, TakeEachFilesHarmonicCount) {
    rec::RecordingPlan plan = EdgePlan(6, 10, true, {6, 6, 6, 6});
    SetHarmonicCounts(plan, {10, 6, 14, 8});
    rec::Recording recording = rec::buildRecording(plan);
    const std::string path = dir_.file(recording.info.files[0].name);
    for (int32_t claim : {0, 0x10000000}) {
        if (claim != 0) ClaimHarmonicCount(recording, 0, claim);
        WriteBuilt(recording, dir_.path());
        ForgetFileTable();
        auto records = ModelRecords(recording.info, claim != 0 ? 6 : 0, 23, plan.flags);
        for (ModelRecord &r : records) r.positions = std::min(r.positions, claim != 0 ? claim : 10);
        for (R reader : kAll) {
            Call call{reader, reader >= R::kAll1 ? 9 : 11};
            call.harmonic = 5;
            call.firstHarmonic = 2;
            call.points = 24;
            call.rows = 14;
            SCOPED_TRACE(call.Name() + " claim " + std::to_string(claim));
            Check(call, path, plan, records,
                  Fitting(call, {call.quantity, 0, 0}, 24, claim != 0 ? claim : 10));
        }
    }
}

TEST_F(HarmonicTrendReadersTest, LogProgressAndCancel) {
    const rec::RecordingPlan plan = EdgePlan(6, 4, true, {10, 10, 10, 10, 10});
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);
    const std::vector<std::string> window = {"TStart    = -1.00", "TStop     = -1.00",
                                             "PathFile  = " + path};
    auto with = [&](std::vector<std::string> lines, std::vector<std::string> tail) {
        lines.insert(lines.end(), tail.begin(), tail.end());
        return lines;
    };
    struct Case {
        R reader;
        const char *name;
        int points, factor, group, last;  // cancelled after the second file
        std::vector<std::string> tail;
    };
    const Case cases[] = {
        {R::kXt1, "Reader_FFT_XT1", 7, 8, 8, 15, window},
        {R::kXt2, "Reader_FFT_XT2", 7, 8, 8, 15, with(window, {"Start Reader_FFT_XT_Thread2"})},
        {R::kXt3, "Reader_FFT_XT3", 16, 4, 50, 19,
         {"TStart         = -1.00", "TStop          = -1.00", "PathFile       = " + path,
          "Quantity       = 2", "MinMax         = 0", "1st Harm       = 1",
          "Start Reader_FFT_XT_Thread3", "Finish Reader_FFT_XT3"}},
        {R::kAll1, "Reader_FFT_ALL_Harmonics_XT1", 0, 1, 1, 19, window},
        {R::kAll2, "Reader_FFT_ALL_Harmonics_XT2", 0, 1, 1, 19, window},
        {R::kAll3, "Reader_FFT_ALL_Harmonics_XT3", 0, 0, 50, 19,
         with(window, {"Quantity  = 2", "Minmax    = 0", "Start Reader_FFT_ALL_Harmonics_XT_Thread3",
                       "==[ Output ]============================================"})},
    };
    for (const Case &k : cases) {
        Call call{k.reader};
        call.points = k.points;
        call.rows = 4;
        SCOPED_TRACE(call.Name());
        ClearLog();
        progress_.clear();
        EXPECT_EQ(call.Run(path).Status(), TROVA_READER_OK);
        EXPECT_EQ(LogLines(), with({"============================================================",
                                    std::string("Start ") + k.name, "------------------------------"},
                                   k.tail));
        // The trend readers post the rest of the progress once more at the end.
        std::vector<int> progress = {20, 40, 60, 80, 100};
        if (!call.Spectrum()) progress.push_back(100);
        EXPECT_EQ(progress_, progress);

        progress_.clear();
        CancelAfterFile(1);
        Call cancelled = call;
        cancelled.minMax = 0;  // trend readers: code 6, whose status 2 outranks the cancel
        const Corrected c = call.Spectrum() ? Corrected{2, 1, 1} : Corrected{6, 0, 2};
        Check(cancelled, path, plan, ModelRecords(info, 0, k.last, plan.flags),
              {c, k.factor, k.group, call.Spectrum() ? 4 : -1});
        EXPECT_EQ(progress_, (call.Spectrum() ? std::vector<int>{20, 40} : std::vector<int>{20, 40, 40}));
        platform::probe::SetPollHook(nullptr);
    }
}

}  // namespace
}  // namespace trova
