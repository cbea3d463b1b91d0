// Reader_FFT_HIST1 and Reader_FFT_HIST2 end to end: harmonic recordings
// written by the recording writer, the exports called as the host calls
// them, histograms checked bit for bit against histograms built here from
// the values the writer was given.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "recording_writer.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using testing::ValueModel;
using testing::ReaderTest;

constexpr trova_long kUntouchedCount = -7;
constexpr double kUntouched = -12345.0;

struct HistCall {
    int quantity = 2;
    int minMax = 1;  // the caller's argument: nonzero selects value set 0
    double tStart = -1.0;
    double tStop = -1.0;
    trova_long harmonic = 3;
    trova_long firstHarmonic = 1;
    trova_long join = 0;
    // Reader_FFT_HIST2 only.
    bool second = false;
    trova_long hMinMax = 0;
    double hMin = 0.0;
    double hMax = 0.0;
    trova_long flagged = 1;

    int phases = 3;  // arrays are sized for this many phases, plus a guard
    std::vector<double> start, width;
    std::vector<trova_long> counts, rangePoints, totalPoints;
    trova_long fFlagged = kUntouchedCount, fTotal = kUntouchedCount;
    trova_long status = -1;
    int result = -1;

    void Run(const std::string &path) {
        start.assign(size_t(phases) + 1, kUntouched);
        width = start;
        counts.assign(100 * size_t(phases) + 1, kUntouchedCount);
        rangePoints.assign(size_t(phases) + 1, kUntouchedCount);
        totalPoints = rangePoints;
        char label[] = "Histogram";
        char button[] = "Stop";
        std::string pathCopy = path;
        if (second) {
            result = Reader_FFT_HIST2(quantity, minMax, tStart, tStop, label, pathCopy.data(),
                                      start.data(), width.data(), counts.data(), harmonic, button,
                                      firstHarmonic, join, &status, hMinMax, hMin, hMax,
                                      rangePoints.data(), totalPoints.data(), flagged, &fFlagged,
                                      &fTotal);
        } else {
            result = Reader_FFT_HIST1(quantity, minMax, tStart, tStop, label, pathCopy.data(),
                                      start.data(), width.data(), counts.data(), harmonic, button,
                                      firstHarmonic, join, &status);
        }
        EXPECT_EQ(result, 1);
        EXPECT_EQ(start.back(), kUntouched);
        EXPECT_EQ(width.back(), kUntouched);
        EXPECT_EQ(counts.back(), kUntouchedCount);
        EXPECT_EQ(rangePoints.back(), kUntouchedCount);
        EXPECT_EQ(totalPoints.back(), kUntouchedCount);
    }
};

// The histogram the reader should deliver for the values of each phase.
struct ExpectedHistogram {
    std::vector<double> start, width;
    std::vector<trova_long> counts, rangePoints, totalPoints;
};

// The range comes from `values`, the counts from `counted` (the same values
// unless a cancel cut pass 2 short).
ExpectedHistogram Histogram(const std::vector<std::vector<float>> &values, int phases,
                            const HistCall &call,
                            const std::vector<std::vector<float>> *counted = nullptr) {
    ExpectedHistogram e;
    const bool fixed = call.second && call.hMinMax != 0;
    double hMin = call.hMin, hMax = call.hMax;
    e.counts.assign(100 * size_t(phases), 0);
    e.rangePoints.assign(size_t(phases), 0);
    e.totalPoints.assign(size_t(phases), 0);
    for (int p = 0; p < phases; ++p) {
        const std::vector<float> &series = values[size_t(p)];
        float lo = 0.0f, hi = 0.0f;  // a phase without values keeps 0
        for (size_t i = 0; i < series.size(); ++i) {
            if (i == 0 || series[i] < lo) lo = series[i];
            if (i == 0 || series[i] > hi) hi = series[i];
        }
        double width;
        float binMin;
        if (!fixed) {
            width = double((hi - lo) / 100.0f);
            e.start.push_back(double(lo));
            binMin = lo;
        } else {
            // Ends that are not finite come from the first phase and stay.
            if (!std::isfinite(hMax)) hMax = double(hi);
            if (!std::isfinite(hMin)) hMin = double(lo);
            width = (hMax - hMin) / 98.0;
            e.start.push_back(hMin - width);
            binMin = float(hMin - width);
        }
        e.width.push_back(width);
        for (float v : (counted != nullptr ? *counted : values)[size_t(p)]) {
            if (fixed && (double(v) < hMin || double(v) > hMax)) {
                ++e.counts[size_t(100 * p + (double(v) < hMin ? 0 : 99))];
                ++e.totalPoints[size_t(p)];
                continue;
            }
            // No integer quotient (NaN, beyond int32) and below 0: bin 0.
            const double q = width == 0.0 ? 0.0 : double(v - binMin) / width;
            int bin = 0;
            if (q > -2147483649.0 && q < 2147483648.0) bin = std::min(std::max(int(q), 0), 99);
            ++e.counts[size_t(100 * p + bin)];
            ++e.rangePoints[size_t(p)];
            ++e.totalPoints[size_t(p)];
        }
    }
    return e;
}

void ExpectHistogram(const HistCall &call, const ExpectedHistogram &e, int phases) {
    for (int p = 0; p < phases; ++p) {
        SCOPED_TRACE("phase " + std::to_string(p));
        EXPECT_EQ(call.start[size_t(p)], e.start[size_t(p)]);
        EXPECT_EQ(call.width[size_t(p)], e.width[size_t(p)]);
        for (int b = 0; b < 100; ++b) {
            EXPECT_EQ(call.counts[size_t(100 * p + b)], e.counts[size_t(100 * p + b)]) << "bin " << b;
        }
        if (call.second) {
            EXPECT_EQ(call.rangePoints[size_t(p)], e.rangePoints[size_t(p)]);
            EXPECT_EQ(call.totalPoints[size_t(p)], e.totalPoints[size_t(p)]);
        }
    }
}

// Every 5th record (from record 2) is flagged.
bool IsFlagged(int record) { return record % 5 == 2; }

class ReaderFftHistTest : public ReaderTest {
protected:
    // `files` files of `perFile` records, three phases, 12 positions.
    rec::RecordingPlan Plan(int files, int perFile, int channelCode = 6) const {
        rec::RecordingPlan plan;
        plan.kind = rec::Kind::Harmonic;
        plan.harmonic.channelCode = channelCode;
        plan.harmonic.harmonics = 12;
        plan.harmonicValues = values_;
        plan.flags = rec::everyKth(5, 0x10, 2);
        for (int f = 0; f < files; ++f) plan.add(perFile, f == 1 ? 40.0 : 0.0);
        return plan;
    }

    // The values of records [first, last) for a remapped code and value set;
    // flagged records left out when `skipFlagged`.
    std::vector<std::vector<float>> Values(int first, int last, int code, int set,
                                           const HistCall &call, int phases,
                                           bool skipFlagged = false) const {
        std::vector<std::vector<float>> values(static_cast<size_t>(phases));
        // HIST1 forms powers from the angles, HIST2 reads them stored.
        const ValueModel model{values_, !call.second, call.join != 0, phases, 12};
        const int read = code == 1 ? 1 : phases;
        for (int r = first; r < last; ++r) {
            if (skipFlagged && IsFlagged(r)) continue;
            for (int p = 0; p < read; ++p) {
                values[size_t(p)].push_back(
                    model.Trend(code, set, r, p, int(call.harmonic), int(call.firstHarmonic)));
            }
        }
        return values;
    }

    rec::HarmonicValueFn values_ = rec::SeededValues(11, 0.5f, 250.0f);
};

// What the readers make of the caller's code and MinMax (value set 1 when
// MinMax is 0): code and value set read, and the status.
struct Remapped {
    int code, set, status;
};
Remapped HistRemap(int code, int minMax) {
    if (minMax != 0) return {code, 0, TROVA_READER_OK};
    switch (code) {
    case 1: case 4: case 5: return {code, 1, TROVA_READER_OK};
    case 2: return {6, 0, TROVA_READER_BAD_MINMAX};
    case 3: return {7, 0, TROVA_READER_BAD_MINMAX};
    case 6: return {2, 1, TROVA_READER_OK};
    case 7: return {3, 1, TROVA_READER_OK};
    default: return {code, 0, TROVA_READER_BAD_MINMAX};
    }
}

TEST_F(ReaderFftHistTest, EveryCodeOfBothValueSetsFromAngles) {
    const rec::RecordingInfo info = Write(Plan(3, 30));
    const std::string path = PathOf(info, 1);
    for (int minMax : {1, 0}) {
        for (int code = 1; code <= 13; ++code) {
            for (trova_long join : {0, 1}) {
                if (join == 1 && code < 8) continue;
                SCOPED_TRACE("code " + std::to_string(code) + " MinMax " + std::to_string(minMax) +
                             " Join " + std::to_string(join));
                HistCall call;
                call.quantity = code;
                call.minMax = minMax;
                call.join = join;
                call.harmonic = 5;
                call.firstHarmonic = 2;
                call.Run(path);
                const Remapped m = HistRemap(code, minMax);
                EXPECT_EQ(call.status, m.status);
                ExpectHistogram(call, Histogram(Values(0, 90, m.code, m.set, call, 3), 3, call), 3);
            }
        }
    }
    // Code 1 fills phase 0 only; the others get zero counts and a zero range.
    HistCall scalar;
    scalar.quantity = 1;
    scalar.Run(path);
    EXPECT_EQ(scalar.counts[100], 0);
    EXPECT_EQ(scalar.start[2], 0.0);
    EXPECT_EQ(scalar.width[2], 0.0);
}

TEST_F(ReaderFftHistTest, CodesOutsideTheTableAndOtherPhaseCounts) {
    const rec::RecordingInfo info = Write(Plan(1, 25));
    for (int minMax : {0, 1}) {
        HistCall past;
        past.quantity = 14;  // the scalar of value set 0, status 4
        past.minMax = minMax;
        past.Run(PathOf(info, 0));
        EXPECT_EQ(past.status, TROVA_READER_BAD_QUANTITY);
        ExpectHistogram(past, Histogram(Values(0, 25, 1, 0, past, 3), 3, past), 3);
    }

    // Codes below 1 stand for no quantity: every phase counts value 0, status 0.
    for (int code : {0, -3}) {
        HistCall none;
        none.second = true;
        none.quantity = code;
        none.minMax = 0;
        none.Run(PathOf(info, 0));
        EXPECT_EQ(none.status, TROVA_READER_OK);
        const std::vector<std::vector<float>> zeros(3u, std::vector<float>(25, 0.0f));
        ExpectHistogram(none, Histogram(zeros, 3, none), 3);
        EXPECT_EQ(none.counts[200], 25);
    }

    // One and four phases: arrays of 100 and 400 counts, nothing beyond.
    for (int channelCode : {2, 8, 5}) {
        rec::RecordingPlan plan = Plan(2, 10, channelCode);
        plan.stem = "c" + std::to_string(channelCode);
        const rec::RecordingInfo other = Write(plan);
        const int phases = channelCode == 8 ? 4 : 1;
        HistCall call;
        call.phases = phases;
        call.quantity = 9;
        call.join = 1;
        call.Run(PathOf(other, 1));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        ExpectHistogram(call, Histogram(Values(0, 20, 9, 0, call, phases), phases, call), phases);
    }
}

TEST_F(ReaderFftHistTest, WindowLeavesTheStopRecordOut) {
    const rec::RecordingInfo info = Write(Plan(3, 30));
    const std::vector<rec::MemberInfo> table = info.table();
    HistCall call;
    call.quantity = 3;
    call.tStart = table[0].firstTime + 7.0;   // record 7
    call.tStop = table[2].firstTime + 12.0;   // record 72, not read
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    ExpectHistogram(call, Histogram(Values(7, 72, 3, 0, call, 3), 3, call), 3);

    // A window in which no record takes part: zero counts and ranges.
    HistCall empty;
    empty.tStart = table[1].firstTime + 5.0;
    empty.tStop = table[1].firstTime + 5.0;
    empty.Run(PathOf(info, 0));
    EXPECT_EQ(empty.status, TROVA_READER_OK);
    for (int b = 0; b < 300; ++b) ASSERT_EQ(empty.counts[size_t(b)], 0);
    EXPECT_EQ(empty.start[0], 0.0);
    EXPECT_EQ(empty.width[0], 0.0);
}

TEST_F(ReaderFftHistTest, TwoPassesShareTheProgressAndTheCancel) {
    // Ten files: 5 per file and pass; pass 1 posts 15 after its files 3, 6
    // and 9, carries 5 into pass 2, which posts after its files 2, 5, 8.
    const rec::RecordingInfo ten = Write(Plan(10, 4));
    HistCall whole;
    whole.Run(PathOf(ten, 0));
    EXPECT_EQ(whole.status, TROVA_READER_OK);
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60, 75, 90}));

    // Cancelled after file 1 of pass 1: no counts, the range of files 0 and 1.
    rec::RecordingPlan four = Plan(4, 10);
    four.stem = "four";
    const rec::RecordingInfo info = Write(four);
    progress_.clear();
    CancelAfterFile(1);
    HistCall first;
    first.quantity = 7;
    first.Run(PathOf(info, 0));
    EXPECT_EQ(first.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(progress_, (std::vector<int>{12, 24}));
    ExpectedHistogram range = Histogram(Values(0, 20, 7, 0, first, 3), 3, first);
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(first.start[size_t(p)], range.start[size_t(p)]);
        EXPECT_EQ(first.width[size_t(p)], range.width[size_t(p)]);
    }
    for (int b = 0; b < 300; ++b) ASSERT_EQ(first.counts[size_t(b)], 0);

    // Cancelled after file 1 of pass 2: the range of all files, the counts
    // of files 0 and 1, counted against that range.
    progress_.clear();
    CancelAfterFile(4 + 1);
    HistCall second;
    second.second = true;
    second.quantity = 7;
    second.Run(PathOf(info, 0));
    EXPECT_EQ(second.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(progress_, (std::vector<int>{12, 24, 36, 48, 60, 72}));
    const std::vector<std::vector<float>> counted = Values(0, 20, 7, 0, second, 3);
    ExpectHistogram(second, Histogram(Values(0, 40, 7, 0, second, 3), 3, second, &counted), 3);
    EXPECT_EQ(second.totalPoints[0], 20);
    EXPECT_EQ(second.fTotal, 20);
    EXPECT_EQ(second.fFlagged, 4);
}

TEST_F(ReaderFftHistTest, StoredPowersAndTheStatusOfRefusedCodes) {
    const rec::RecordingInfo info = Write(Plan(2, 20));
    for (int code = 8; code <= 13; ++code) {
        SCOPED_TRACE("code " + std::to_string(code));
        HistCall call;
        call.second = true;
        call.quantity = code;
        call.harmonic = 4;
        call.firstHarmonic = 1;
        call.Run(PathOf(info, 0));
        EXPECT_EQ(call.status, TROVA_READER_OK);
        ExpectHistogram(call, Histogram(Values(0, 40, code, 0, call, 3), 3, call), 3);
        // Join is logged only: the same histogram.
        HistCall joined = call;
        joined.join = 1;
        joined.Run(PathOf(info, 0));
        EXPECT_EQ(joined.counts, call.counts);
        EXPECT_EQ(joined.width, call.width);
    }
    // MinMax 0 with a power code and a power block: value set 0, status 2.
    HistCall bad;
    bad.second = true;
    bad.quantity = 12;
    bad.minMax = 0;
    bad.Run(PathOf(info, 0));
    EXPECT_EQ(bad.status, TROVA_READER_BAD_MINMAX);
    ExpectHistogram(bad, Histogram(Values(0, 40, 12, 0, bad, 3), 3, bad), 3);

    // Without power block HIST2 reads the scalar of the chosen value set
    // (status 5 overrides status 2); HIST1 cannot find its angles and
    // counts nothing, with status 0.
    rec::RecordingPlan plain = Plan(2, 20);
    plain.stem = "plain";
    plain.harmonic.powerBlock = false;
    const rec::RecordingInfo noBlock = Write(plain);
    for (int minMax : {1, 0}) {
        HistCall refused;
        refused.second = true;
        refused.quantity = 8;
        refused.minMax = minMax;
        refused.Run(PathOf(noBlock, 0));
        EXPECT_EQ(refused.status, TROVA_READER_NO_POWER_BLOCK);
        ExpectHistogram(refused,
                        Histogram(Values(0, 40, 1, minMax == 0 ? 1 : 0, refused, 3), 3, refused), 3);
    }
    HistCall angles;
    angles.quantity = 8;
    angles.Run(PathOf(noBlock, 0));
    EXPECT_EQ(angles.status, TROVA_READER_OK);
    for (int b = 0; b < 300; ++b) ASSERT_EQ(angles.counts[size_t(b)], 0);
}

TEST_F(ReaderFftHistTest, FlaggedRecordsAndTheRecordCounters) {
    const rec::RecordingInfo info = Write(Plan(3, 20));
    HistCall without;
    without.second = true;
    without.flagged = 0;
    without.quantity = 4;
    without.Run(PathOf(info, 0));
    EXPECT_EQ(without.status, TROVA_READER_OK);
    EXPECT_EQ(without.fTotal, 60);
    EXPECT_EQ(without.fFlagged, 12);
    ExpectHistogram(without, Histogram(Values(0, 60, 4, 0, without, 3, true), 3, without), 3);
    // Without a fixed range every value is counted by the interior rule.
    EXPECT_EQ(without.rangePoints, without.totalPoints);
    EXPECT_EQ(without.totalPoints[0], 48);

    HistCall with = without;
    with.flagged = 1;
    with.Run(PathOf(info, 0));
    EXPECT_EQ(with.fTotal, 60);
    EXPECT_EQ(with.fFlagged, 12);
    ExpectHistogram(with, Histogram(Values(0, 60, 4, 0, with, 3), 3, with), 3);

    // HIST1 does not look at the flag word.
    HistCall first;
    first.quantity = 4;
    first.Run(PathOf(info, 0));
    ExpectHistogram(first, Histogram(Values(0, 60, 4, 0, first, 3), 3, first), 3);

    // Every record flagged and left out: no counts, both counters the window.
    rec::RecordingPlan all = Plan(2, 7);
    all.stem = "flagged";
    all.flags = [](int) { return 1; };
    const rec::RecordingInfo flagged = Write(all);
    HistCall none = without;
    none.Run(PathOf(flagged, 0));
    EXPECT_EQ(none.fTotal, 14);
    EXPECT_EQ(none.fFlagged, 14);
    for (int b = 0; b < 300; ++b) ASSERT_EQ(none.counts[size_t(b)], 0);
    EXPECT_EQ(none.totalPoints[0], 0);

    // The worker writes no log line of its own.
    ClearLog();
    none.Run(PathOf(flagged, 0));
    EXPECT_EQ(LogLines().size(), 3u + 13u);
}

TEST_F(ReaderFftHistTest, FixedRangeCollectsTheOutsideInTheEndBins) {
    // Voltage at the read position: one value per record, phase p shifted by 10·p.
    const std::vector<float> series = {0.0f, 97.5f, 98.0f, 98.5f, -0.5f, 42.25f, 12.0f};
    rec::RecordingPlan plan = Plan(1, int(series.size()));
    const rec::HarmonicValueFn base = values_;
    plan.harmonicValues = [series, base](int r, rec::HarmonicField field, int set, int p, int k) {
        if (field == rec::HarmonicField::Voltage && set == 0 && k == 3) {
            return series[size_t(r)] + 10.0f * float(p);
        }
        return base(r, field, set, p, k);
    };
    const rec::RecordingInfo info = Write(plan);
    HistCall call;
    call.second = true;
    call.hMinMax = 1;
    call.hMin = 0.0;
    call.hMax = 98.0;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    EXPECT_EQ(call.width[0], 1.0);
    EXPECT_EQ(call.start[0], -1.0);
    // 0 in bin 1, 97.5 in 98, 98 in 99 (interior), 98.5 above, -0.5 below.
    EXPECT_EQ(call.counts[1], 1);
    EXPECT_EQ(call.counts[98], 1);
    EXPECT_EQ(call.counts[99], 2);
    EXPECT_EQ(call.counts[0], 1);
    EXPECT_EQ(call.counts[43], 1);
    EXPECT_EQ(call.counts[13], 1);
    EXPECT_EQ(call.rangePoints[0], 5);
    EXPECT_EQ(call.totalPoints[0], 7);

    // Ends that are not finite come from phase 0's values and serve all phases.
    std::vector<std::vector<float>> values(3u);
    for (int p = 0; p < 3; ++p) {
        for (float v : series) values[size_t(p)].push_back(v + 10.0f * float(p));
    }
    for (double hMax : {std::numeric_limits<double>::quiet_NaN(),
                        std::numeric_limits<double>::infinity()}) {
        HistCall open = call;
        open.hMax = hMax;
        open.hMin = -std::numeric_limits<double>::infinity();
        open.Run(PathOf(info, 0));
        EXPECT_EQ(open.width[0], (98.5 - -0.5) / 98.0);
        EXPECT_EQ(open.width[2], open.width[0]);
        ExpectHistogram(open, Histogram(values, 3, open), 3);
        EXPECT_EQ(open.counts[200 + 99], 3);  // phase 2: 117.5, 118 and 118.5 lie above 98.5
        EXPECT_EQ(open.rangePoints[2], 4);
    }
}

TEST_F(ReaderFftHistTest, InteriorRuleSubtractsInFloat) {
    // min 1e-6, max 100: the width rounds to exactly 1, and 50 - 1e-6
    // rounds to 50 in float (bin 50) though it lies below 50 (bin 49).
    const std::vector<float> series = {1.0e-6f, 50.0f, 100.0f, 75.0f};
    rec::RecordingPlan plan = Plan(1, int(series.size()), 2);
    const rec::HarmonicValueFn base = values_;
    plan.harmonicValues = [series, base](int r, rec::HarmonicField field, int set, int p, int k) {
        if (field == rec::HarmonicField::PhaseValue && set == 0 && k == 1) return series[size_t(r)];
        return base(r, field, set, p, k);
    };
    const rec::RecordingInfo info = Write(plan);
    HistCall call;
    call.phases = 1;
    call.quantity = 5;  // value B
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.width[0], 1.0);
    EXPECT_EQ(call.counts[0], 1);
    EXPECT_EQ(call.counts[50], 1);
    EXPECT_EQ(call.counts[75], 1);
    EXPECT_EQ(call.counts[99], 1);
}

TEST_F(ReaderFftHistTest, ValuesWithoutABinAndFieldsOutsideTheRecord) {
    // A NaN and an infinity among the values, a zero reference for the
    // percent code: none of them may index outside a phase's bins.
    rec::RecordingPlan plan = Plan(1, 12);
    const rec::HarmonicValueFn base = values_;
    plan.harmonicValues = [base](int r, rec::HarmonicField field, int set, int p, int k) {
        if (field == rec::HarmonicField::Voltage && set == 0 && k == 3 && r == 4) {
            return std::numeric_limits<float>::quiet_NaN();
        }
        if (field == rec::HarmonicField::Voltage && set == 0 && k == 3 && r == 6) {
            return std::numeric_limits<float>::infinity();
        }
        if (field == rec::HarmonicField::Voltage && set == 0 && k == 1 && r == 8) return 0.0f;
        return base(r, field, set, p, k);
    };
    values_ = plan.harmonicValues;
    const rec::RecordingInfo info = Write(plan);
    for (int code : {2, 6}) {
        for (bool second : {false, true}) {
            HistCall call;
            call.quantity = code;
            call.second = second;
            call.Run(PathOf(info, 0));
            EXPECT_EQ(call.status, TROVA_READER_OK);
            trova_long sum = 0;
            for (int b = 0; b < 300; ++b) sum += call.counts[size_t(b)];
            EXPECT_EQ(sum, 3 * 12);
            ExpectHistogram(call, Histogram(Values(0, 12, code, 0, call, 3), 3, call), 3);
        }
    }

    // A constant quantity: width 0, everything in bin 0.
    rec::RecordingPlan flat = Plan(2, 6);
    flat.stem = "flat";
    flat.harmonicValues = [](int, rec::HarmonicField, int, int p, int) { return 3.5f + float(p); };
    const rec::RecordingInfo constant = Write(flat);
    HistCall same;
    same.quantity = 5;
    same.Run(PathOf(constant, 0));
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(same.width[size_t(p)], 0.0);
        EXPECT_EQ(same.start[size_t(p)], 3.5 + p);
        EXPECT_EQ(same.counts[size_t(100 * p)], 12);
    }

    // Positions far beyond the arrays, in either direction: the fields lie
    // outside the record, so nothing is read and nothing counted.
    for (trova_long position : {100000, -100000}) {
        HistCall far;
        far.second = true;
        far.harmonic = position;
        far.Run(PathOf(info, 0));
        EXPECT_EQ(far.status, TROVA_READER_OK);
        EXPECT_EQ(far.fTotal, 12);
        for (int b = 0; b < 300; ++b) ASSERT_EQ(far.counts[size_t(b)], 0);
    }
    // A position past H but inside the record reads whatever lies there,
    // like the arrays' own addressing does: position 12 of phase 0 is
    // position 0 of phase 1.
    HistCall past;
    past.harmonic = 12;
    past.quantity = 2;
    past.phases = 3;
    past.Run(PathOf(info, 0));
    HistCall next = past;
    next.harmonic = 0;
    next.Run(PathOf(info, 0));
    for (int b = 0; b < 200; ++b) ASSERT_EQ(past.counts[size_t(b)], next.counts[size_t(100 + b)]);
}

}  // namespace
}  // namespace trova
