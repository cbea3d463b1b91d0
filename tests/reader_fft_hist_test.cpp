// Reader_FFT_HIST1 and Reader_FFT_HIST2 end to end: histograms built here
// from the values given to the recording writer, compared with guards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/reader_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;

Call Hist(int reader, int quantity, int minMax = 1) { return Twin(Export::FFT_HIST1, reader, quantity, minMax); }

class ReaderFftHistTest : public ReaderTest {
protected:
    void Record(const std::string &stem, const std::vector<int> &files, int channelCode = 6) {
        plan_ = HarmonicPlan(channelCode, 12, true, files, 0, 5, 0);
        plan_.stem = stem, plan_.harmonicValues = values_, plan_.flags = flags_;
        info_ = Write(plan_);
    }

    // Runs `c` on file `file` of the recording and expects histograms of
    // code q over records [first, last), counted up to `counted` (a cancel
    // in pass 2); `read` false: the records give no value.
    void Expect(const Call &c, size_t file, Corrected q, int first, int last, int counted = -1, bool read = true) {
        const int phases = plan_.harmonic.phases();
        Check(c, PathOf(info_, file), [&](Call &want) {
            PredictHistogram(want, ModelRecords(info_, first, last - 1, flags_),
                             ModelRecords(info_, first, (counted < 0 ? last : counted) - 1, flags_),
                             HarmonicValue(c, plan_, q), {q.status, q.code == 1 ? 1 : phases, phases, phases, read});
        });
    }

    // Value set 0's field `field` at index k becomes fn(record, phase).
    void Replace(rec::HarmonicField field, int k, std::function<float(int, int)> fn) {
        const rec::HarmonicValueFn base = values_;
        values_ = [=](int r, rec::HarmonicField f, int set, int p, int x) {
            return f == field && set == 0 && x == k ? fn(r, p) : base(r, f, set, p, x);
        };
    }

    rec::HarmonicValueFn values_ = rec::SeededValues(11, 0.5f, 250.0f);
    rec::FlagFn flags_ = rec::everyKth(5, 0x10, 2);
    rec::RecordingPlan plan_;
    rec::RecordingInfo info_;
};

TEST_F(ReaderFftHistTest, PhasesWindowAndFlaggedRecords) {
    struct Case { int channelCode, reader, flagged, first, last; bool window; };
    for (const Case &k : {Case{2, 1, 0, 0, 90, false}, Case{8, 2, 0, 0, 90, false},
                          Case{6, 2, 1, 7, 72, true}, Case{6, 2, 0, 35, 35, true}}) {
        Record("c" + std::to_string(k.channelCode), {30, 30, 30}, k.channelCode);
        Call c = Hist(k.reader, 9);
        c.flagged = k.flagged, c.join = 1;
        if (k.window) c.tStart = info_.table()[0].firstTime + k.first, c.tStop = c.tStart + (k.last - k.first);
        Expect(c, 2, {9, 0, 0}, k.first, k.last);
    }
}

TEST_F(ReaderFftHistTest, TwoPassesShareTheProgressAndACancelEndsThem) {
    // Uncancelled; after file 1 of pass 1: the range of files 0 and 1, no
    // counts; after file 1 of pass 2: the range of all four, the counts of two.
    Record("four", {10, 10, 10, 10});
    struct Case { int cancelAt; std::vector<int> progress; int seen, counted; };
    for (const Case &k : {Case{-1, {12, 24, 36, 48, 60, 72, 84, 96}, 40, 40}, Case{1, {12, 24}, 20, 0},
                          Case{4 + 1, {12, 24, 36, 48, 60, 72}, 40, 20}}) {
        progress_.clear();
        CancelAfterFile(k.cancelAt);
        Expect(Hist(2, 7), 0, {7, 0, k.cancelAt < 0 ? TROVA_READER_OK : TROVA_READER_CANCELLED}, 0, k.seen, k.counted);
        EXPECT_EQ(progress_, k.progress);
    }
}

TEST_F(ReaderFftHistTest, FixedRangeOddValuesAndPositionsStayInsideTheBins) {
    const std::vector<float> series = {0.0f, 97.5f, 98.0f, 98.5f, -0.5f, 42.25f, 12.0f}, b = {1.0e-6f, 50.0f, 100.0f};
    Replace(rec::HarmonicField::Voltage, 3, [&](int r, int p) { return (r < 7 ? series[size_t(r)] : 42.25f) + 10.0f * p; });
    Replace(rec::HarmonicField::Voltage, 4, [](int r, int) { return r == 4 ? NAN : r == 6 ? HUGE_VALF : 20.0f + r; });
    Replace(rec::HarmonicField::Voltage, 1, [](int r, int) { return r == 8 ? 0.0f : 2.0f; });
    Replace(rec::HarmonicField::PhaseValue, 1, [&](int r, int) { return r < 3 ? b[size_t(r)] : 50.0f; });
    Record("odd", {12});
    Call c = Hist(2, 2);
    c.hMinMax = 1, c.hMax = 98.0;
    c.Run(PathOf(info_, 0));
    EXPECT_EQ(std::pair(c.Array<double>("HStart")[0], c.Array<double>("HWidth")[0]), std::pair(-1.0, 1.0));
    // 0 in bin 1, 97.5 in 98, 98 inside and 98.5 above in 99, -0.5 below in 0, 42.25 in 43.
    std::vector<trova_long> bins(100, 0);
    for (int bin : {1, 98, 99, 99, 0, 13, 43, 43, 43, 43, 43, 43}) ++bins[size_t(bin)];
    const trova_long *counts = c.Array<trova_long>("HCounts");
    EXPECT_EQ(std::vector<trova_long>(counts, counts + 100), bins);
    EXPECT_EQ(std::pair(c.Int("HRangePoints"), c.Int("HTotalPoints")), std::pair(trova_long(10), trova_long(12)));
    for (double end : {double(NAN), HUGE_VAL}) {
        c.hMin = -HUGE_VAL, c.hMax = end;
        Expect(c, 0, {2, 0, 0}, 0, 12);
    }
    EXPECT_EQ(c.Run(PathOf(info_, 0)).Array<double>("HWidth")[2], (98.5 - -0.5) / 98.0);  // phase 0's range
    // Value B: the width rounds to 1 and 50 - 1e-6 to 50 in float: bin 50.
    c = Hist(1, 5);
    counts = c.Run(PathOf(info_, 0)).Array<trova_long>("HCounts");
    EXPECT_EQ(c.Array<double>("HWidth")[0], 1.0);
    for (int bin : {0, 49, 50, 99}) EXPECT_EQ(counts[bin], bin == 49 ? 0 : bin == 50 ? 10 : 1);
    for (int reader : {1, 2})  // a NaN, an infinity, a zero reference
        for (int code : {2, 6}) {
            Call call = Hist(reader, code);
            call.harmonic = 4;
            Expect(call, 0, {code, 0, 0}, 0, 12);
        }
    // Positions outside the record read nothing; past H, the next phase.
    for (int position : {100000, -100000}) {
        c = Hist(2, 2);
        c.harmonic = position;
        Expect(c, 0, {2, 0, 0}, 0, 12, -1, false);
    }
    Call last = Hist(2, 2), next = last;
    last.harmonic = 12, next.harmonic = 0;
    last.Run(PathOf(info_, 0)), next.Run(PathOf(info_, 0));
    EXPECT_TRUE(std::equal(last.Array<trova_long>("HCounts"), last.Array<trova_long>("HCounts") + 200,
                           next.Array<trova_long>("HCounts") + 100));
}

}  // namespace
}  // namespace trova
