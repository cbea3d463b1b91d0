// The six harmonic trend readers end to end against the model of
// tests/support, and every code of all ten harmonic readers (the histogram
// and table suites keep what is their own). Reader_FFT_XT1 forms powers from angles, takes a point's
// time from its phase-0 minimum, drops an incomplete last group and returns
// the last index; _XT2 reads stored powers, refuses them without power block,
// takes a group's last time, delivers the incomplete group and returns the
// count. Reader_FFT_XT3 feeds one interleave curve per phase with the
// stored-power reading and the distortion codes; records outside the time
// bounds close the bins. The FFT_ALL_Harmonics readers give whole spectra per
// phase, position j of point i at j·100 + i; XT1 takes a point's time from
// the phase-0 minimum at FirstHarmonic; XT3 hands the values of XT2 to one
// interleave curve per phase and position.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "platform/posix/dialog_probe.h"
#include "support/reader_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;

class FftXtTest : public ReaderTest {};

// The code, value set and status a call ends with. Table1 also exchanges 1
// and 2 for 9 and 10; without power block the readers that form powers from
// angles keep a power code and read nothing for it, the others read the
// first scalar or voltage instead.
bool SpectrumCodes(const Call &call) { return call.Spectrum() || call.reader >= Export::FFT_Table1; }
int LastCode(const Call &call) { return SpectrumCodes(call) ? 10 : call.reader == Export::FFT_XT3 ? 17 : 13; }

Corrected CorrectedFor(const Call &call, bool powerBlock, bool &read) {
    const bool spectrum = SpectrumCodes(call);
    const int q = call.quantity;
    Corrected k = Correct(spectrum ? kSpectrumWithMinMaxZero : kTrendWithMinMaxZero, LastCode(call), q, call.minMax);
    if (call.reader == Export::FFT_Table1 && call.minMax == 0 && (q == 1 || q == 2)) {
        k = {q + 8, 0, TROVA_READER_BAD_MINMAX};
    }
    const bool power = spectrum ? k.code >= 3 && k.code <= 8 : k.code >= 8 && k.code <= 13;
    const bool angles = call.reader == Export::FFT_XT1 || call.reader == Export::FFT_HIST1 ||
                        call.reader == Export::FFT_Table1;
    read = powerBlock || !power || !angles;
    if (powerBlock || !power || angles) return k;
    return {1, call.minMax == 0 ? 1 : 0, TROVA_READER_NO_POWER_BLOCK};
}

// Every code of the ten harmonic readers with both value sets, Join (which
// only the readers that form powers from angles heed) and with and without
// power block, over two files of 60 and 61 records: series of 16 points in
// groups of 8 (XT3: bins of 121 samples), spectra in groups of 2 (the last
// group short for both), histograms and tables of all 121. For the trend
// codes H 50 makes the distortion codes sum on into the next phase and,
// after the last phase, into the head after the array; spectra and tables
// have 12 positions, and a zero reactive power at the tables' reference
// position in every third record leaves Table2's percentages unscaled.
TEST_F(FftXtTest, EveryCodeOfEveryHarmonicReaderWithAndWithoutPowerBlock) {
    for (bool block : {true, false}) {
        for (int harmonics : {50, 12}) {  // spectra and tables: 12 positions
            rec::RecordingPlan plan = EdgePlan(6, harmonics, block, {60, 61});
            plan.stem += std::to_string(harmonics);
            const rec::HarmonicValueFn edge = plan.harmonicValues;
            plan.harmonicValues = [edge](int r, rec::HarmonicField f, int set, int p, int k) {
                return f == rec::HarmonicField::Power && set == 1 && k == 3 && r % 3 == 0 ? 0.0f : edge(r, f, set, p, k);
            };
            const rec::RecordingInfo info = Write(plan);
            const std::vector<ModelRecord> all = ModelRecords(info, 0, 120, plan.flags), none;
            for (int e = int(Export::FFT_XT1); e <= int(Export::FFT_Table2); ++e) {
                Call call{Export(e)};
                if (SpectrumCodes(call) != (harmonics == 12)) continue;
                const bool hist = call.reader == Export::FFT_HIST1 || call.reader == Export::FFT_HIST2;
                const bool table = call.reader >= Export::FFT_Table1;
                call.flagged = 1, call.shape.harmonics = harmonics, call.percentil = 0.8f;
                call.firstHarmonic = hist ? 2 : table ? 3 : call.reader == Export::FFT_ALL_XT1 ? 4 : 1;
                call.harmonic = hist ? 5 : 3;
                const int factor = (121 + int(call.Stride()) - 1) / int(call.Stride());
                for (call.quantity = 0; call.quantity <= LastCode(call) + 1; ++call.quantity) {
                    for (call.minMax = 1; call.minMax >= 0; --call.minMax) {
                        for (call.join = 0; call.join <= 1; ++call.join) {
                            SCOPED_TRACE(call.Name() + (block ? " power block" : " no power block"));
                            bool read = true;
                            const Corrected c = CorrectedFor(call, block, read);
                            Check(call, PathOf(info, 1), [&](Call &want) {
                                const ValueFn value = HarmonicValue(call, plan, c);
                                const int slots = c.code == 1 && !call.Spectrum() && !table ? 1 : 3;
                                const ValueFn ab = [&](const ModelRecord &r, int p, int which) {
                                    return plan.harmonicValues(r.index, rec::HarmonicField::PhaseValue, c.m, p, which);
                                };
                                if (hist) return PredictHistogram(want, all, all, value, {c.status, slots, 3, 3, read});
                                if (table) return PredictTable(want, all, all, value, ab, 12, read, c.status, 12);
                                PredictSeries(want, read ? all : none, value,
                                              {c.status, factor, call.Curves() ? 121 : factor, harmonics, slots});
                            });
                        }
                    }
                }
            }
        }
    }
    // Two positions per phase, no power block: position 40 lies past the record.
    const rec::RecordingPlan tiny = EdgePlan(2, 2, false, {4});
    const rec::RecordingInfo tinyInfo = Write(tiny);
    for (int quantity = 14; quantity <= 17; ++quantity) {
        Check(Call{Export::FFT_XT3, quantity}, PathOf(tinyInfo, 0), tiny, {}, {{quantity, 0, 0}, 0, 4});
    }
}

// Position H of phase p is read where it lies: position 0 of phase p + 1,
// after the last phase the array's head. A position or reference beyond
// the record, or a field reaching past its end, leaves the file's records
// out; the spectra's codes that take no reference do not read it.
TEST_F(FftXtTest, PositionsAndReferencesBeyondHAndBeyondTheRecord) {
    rec::RecordingPlan plan = EdgePlan(6, 8, true, {6});
    plan.harmonic.extraRecordBytes = 2;
    const rec::RecordingInfo info = Write(plan);
    Call next{Export::FFT_XT2};
    next.harmonic = 8;
    next.Run(PathOf(info, 0));
    const ValueModel model{plan.harmonicValues, false, false, 3, 8};
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(next.Slot(0, p, 0)[0], model.ArrayAt(false, 0, 0, p, 8));  // the head's words as floats
    }
    next.quantity = 10;  // the last phase's stored power would end 2 bytes past the record
    Check(next, PathOf(info, 0), plan, {}, {{10, 0, 0}, 1, 1});
    struct Case {
        Export reader;
        int quantity, minMax, harmonic, firstHarmonic;
        Corrected c;
        bool read;
    };
    const Case cases[] = {
        {Export::FFT_XT1, 2, 1, 1 << 20, 1, {2, 0, 0}, false},     {Export::FFT_XT2, 2, 1, -5000, 1, {2, 0, 0}, false},
        {Export::FFT_XT1, 2, 1, 0x7FFFFFFF, 1, {2, 0, 0}, false},  {Export::FFT_XT2, 6, 1, 3, 100000, {6, 0, 0}, false},
        {Export::FFT_XT1, 6, 1, 3, 100000, {6, 0, 0}, false},      {Export::FFT_ALL_XT1, 9, 1, 0, 1 << 24, {9, 0, 0}, false},
        {Export::FFT_ALL_XT2, 6, 1, 0, 1 << 24, {6, 0, 0}, false},    {Export::FFT_ALL_XT2, 10, 0, 0, 1 << 24, {2, 1, 0}, true},
        {Export::FFT_ALL_XT1, 2, 1, 0, -3, {2, 0, 0}, true},
    };
    for (const Case &k : cases) {
        Call call{k.reader, k.quantity, k.minMax};
        call.harmonic = k.harmonic;
        call.firstHarmonic = k.firstHarmonic;
        call.shape.harmonics = 8;
        SCOPED_TRACE(call.Name() + " position " + std::to_string(k.harmonic) + " reference " +
                     std::to_string(k.firstHarmonic));
        Check(call, PathOf(info, 0), plan, ModelRecords(info, 0, k.read ? 5 : -1, plan.flags),
              {k.c, 1, 1, call.Spectrum() ? 8 : -1});
    }
}

// What all six readers share.
class HarmonicTrendReadersTest : public ReaderTest {};
constexpr Export kAll[] = {Export::FFT_XT1, Export::FFT_XT2, Export::FFT_XT3, Export::FFT_ALL_XT1, Export::FFT_ALL_XT2, Export::FFT_ALL_XT3};

// The expectation of a call over `samples` records that fit its output.
Expect Fitting(const Call &call, Corrected c, int samples, trova_long harmCount) {
    return {c, call.Curves() ? 0 : 1, call.Curves() ? samples : 1, call.Spectrum() ? harmCount : -1};
}

TEST_F(HarmonicTrendReadersTest, CorrectCodesAndCountPhases) {
    struct Case {
        int channelCode;
        bool powerBlock;
        Export reader;
        int quantity, minMax;
        Corrected c;
        bool read;
    };
    const Case cases[] = {
        {8, false, Export::FFT_XT1, 8, 1, {8, 0, 0}, false},  // no block test, no field to read
        {8, false, Export::FFT_XT1, 13, 0, {13, 0, 2}, false},  {8, false, Export::FFT_XT2, 9, 1, {1, 0, 5}, true},
        {8, false, Export::FFT_XT2, 13, 0, {1, 1, 5}, true},    {8, false, Export::FFT_XT2, 7, 1, {7, 0, 0}, true},
        {8, false, Export::FFT_XT3, 9, 0, {1, 1, 5}, true},     {8, false, Export::FFT_XT3, 15, 0, {15, 0, 2}, true},
        {8, false, Export::FFT_ALL_XT1, 4, 1, {1, 0, 5}, true},    {8, false, Export::FFT_ALL_XT2, 8, 0, {1, 1, 5}, true},
        {8, false, Export::FFT_ALL_XT3, 9, 0, {1, 1, 0}, true},    {8, true, Export::FFT_XT1, 11, 1, {11, 0, 0}, true},
        {2, true, Export::FFT_XT1, 12, 1, {12, 0, 0}, true},    {7, true, Export::FFT_XT2, 5, 1, {5, 0, 0}, true},
        {9, true, Export::FFT_XT3, 16, 1, {16, 0, 0}, true},    {2, true, Export::FFT_ALL_XT1, 3, 1, {3, 0, 0}, true},
        {7, true, Export::FFT_ALL_XT3, 5, 0, {5, 1, 0}, true},
    };
    for (const Case &k : cases) {
        const rec::RecordingPlan plan = EdgePlan(k.channelCode, 52, k.powerBlock, {12});
        const rec::RecordingInfo info = Write(plan);
        Call call{k.reader, k.quantity, k.minMax};
        call.points = 12;
        call.shape.harmonics = 52;
        SCOPED_TRACE(call.Name() + " channel code " + std::to_string(k.channelCode));
        Check(call, PathOf(info, 0), plan, ModelRecords(info, 0, k.read ? 11 : -1, plan.flags),
              Fitting(call, k.c, 12, 52));
    }
}

// Each file is read with its own H (spectra: at most the first file's); a
// file whose H does not fit its records is left out. The window, record 3
// to the stop record 20 (read), is each reader's window case; its rules are
// the shared scan's (FileTableTest).
TEST_F(HarmonicTrendReadersTest, TakeEachFilesHarmonicCountInAWindow) {
    rec::RecordingPlan plan = EdgePlan(6, 10, true, {6, 6, 6, 6});
    SetHarmonicCounts(plan, {10, 6, 14, 8});
    rec::Recording recording = rec::buildRecording(plan);
    const std::string path = dir_.file(recording.info.files[0].name);
    for (int32_t claim : {0, 0x10000000}) {
        if (claim != 0) ClaimHarmonicCount(recording, 0, claim);
        WriteBuilt(recording, dir_.path());
        ForgetFileTable();
        auto records = ModelRecords(recording.info, claim != 0 ? 6 : 3, 20, plan.flags);
        for (ModelRecord &r : records) r.positions = std::min(r.positions, claim != 0 ? claim : 10);
        for (Export reader : kAll) {
            Call call{reader, reader >= Export::FFT_ALL_XT1 ? 9 : 11};
            call.harmonic = 5;
            call.firstHarmonic = 2;
            const bool grouped = reader <= Export::FFT_XT2;  // in fives, the window's last group short
            call.points = grouped ? 4 : 24;
            call.shape.harmonics = 14;
            call.tStart = recording.info.files[0].firstTime + 3.0, call.tStop = recording.info.files[3].firstTime + 2.0;
            SCOPED_TRACE(call.Name() + " claim " + std::to_string(claim));
            Expect e = Fitting(call, {call.quantity, 0, 0}, 18, claim != 0 ? claim : 10);
            if (grouped) e.factor = e.group = 5;
            Check(call, path, plan, records, e);
        }
    }
}

TEST_F(HarmonicTrendReadersTest, LogProgressAndCancel) {
    const rec::RecordingPlan plan = EdgePlan(6, 4, true, {10, 10, 10, 10, 10});
    const rec::RecordingInfo info = Write(plan);
    const std::string path = PathOf(info, 0);
    struct Case {
        Export reader;
        int points, factor, group, last;  // cancelled after the second file
        size_t lines;  // banner and parameter lines (FrameTest pins them), then the worker's
        std::vector<std::string> tail;
    };
    const Case cases[] = {
        {Export::FFT_XT1, 7, 8, 8, 15, 6, {}},
        {Export::FFT_XT2, 7, 8, 8, 15, 6, {"Start Reader_FFT_XT_Thread2"}},
        {Export::FFT_XT3, 16, 4, 50, 19, 9, {"Start Reader_FFT_XT_Thread3", "Finish Reader_FFT_XT3"}},
        {Export::FFT_ALL_XT1, 0, 1, 1, 19, 6, {}},
        {Export::FFT_ALL_XT2, 0, 1, 1, 19, 6, {}},
        {Export::FFT_ALL_XT3, 0, 0, 50, 19, 8,
         {"Start Reader_FFT_ALL_Harmonics_XT_Thread3", "==[ Output ]============================================"}},
    };
    for (const Case &k : cases) {
        Call call{k.reader};
        call.points = k.points;
        call.shape.harmonics = 4;
        SCOPED_TRACE(call.Name());
        ClearLog();
        progress_.clear();
        EXPECT_EQ(call.Run(path).Status(), TROVA_READER_OK);
        const std::vector<std::string> log = LogLines();
        ASSERT_EQ(log.size(), k.lines + k.tail.size());
        EXPECT_EQ(std::vector<std::string>(log.begin() + long(k.lines), log.end()), k.tail);
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

class FftXt3Test : public ReaderTest {};

// Records 8 and 12 of the first file carry times before TStart and after
// TStop; the stop record (31) lies after TStop too. Code 1 is not tested
// against the bounds.
TEST_F(FftXt3Test, RecordsOutsideTheBoundsCloseTheBins) {
    const rec::RecordingPlan plan = EdgePlan(6, 8, true, {20, 20});
    rec::Recording recording = rec::buildRecording(plan);
    const rec::MemberInfo &first = recording.info.files[0];
    const double tStart = first.firstTime + 3.0, tStop = recording.info.files[1].firstTime + 10.5;
    std::vector<ModelRecord> all = ModelRecords(recording.info, 0, 39, plan.flags);
    for (int r : {8, 12}) {
        all[size_t(r)].t1 = std::floor(r == 8 ? tStart - 50.0 : tStop + 5000.0);
        const size_t at = size_t(first.headerLength) + size_t(r) * size_t(first.recordLength);
        rec::putBEDouble(&recording.contents[0][at], all[size_t(r)].t1);
    }
    WriteBuilt(recording, dir_.path());
    const std::string path = recording.info.path(first);
    std::vector<ModelRecord> window(all.begin() + 3, all.begin() + 32);
    for (int points : {8, 100}) {
        for (int quantity : {2, 1}) {
            for (ModelRecord &r : window) r.outside = quantity != 1 && (r.t1 + r.t2 < tStart || r.t1 + r.t2 > tStop);
            Call call{Export::FFT_XT3, quantity};
            call.points = points;
            call.tStart = tStart;
            call.tStop = tStop;
            SCOPED_TRACE(call.Name() + " points " + std::to_string(points));
            const Call want = Check(call, path, plan, window, {{quantity, 0, 0}, points == 8 ? 4 : 0, 29});
            EXPECT_EQ(want.out.result, points == 8 ? 8 : quantity == 2 ? 26 : 29);
        }
    }
    Call exact{Export::FFT_XT3};  // the stop record at exactly TStop lies inside the bounds
    exact.points = 100, exact.tStart = tStart, exact.tStop = recording.info.files[1].firstTime + 10.0;
    for (ModelRecord &r : window) r.outside = r.t1 + r.t2 < tStart || r.t1 + r.t2 > tStop;
    std::vector<ModelRecord> upToStop(window.begin(), window.end() - 1);
    Check(exact, path, plan, upToStop, {{2, 0, 0}, 0, 28});
    Call open{Export::FFT_XT3};  // a TStop at or after the end is no bound
    open.points = 100;
    open.tStop = tStop + 500.0;
    Check(open, path, plan, all, {{2, 0, 0}, 0, 40});
}

}  // namespace
}  // namespace trova
