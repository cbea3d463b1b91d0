// Reader_FFT_HIST1 and Reader_FFT_HIST2 end to end: histograms built here
// from the values given to the recording writer, compared with guards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/harmonic_model.h"
#include "support/histogram_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using testing::Corrected;
using Series = std::vector<std::vector<float>>;  // per phase

constexpr trova_long kNoCount = -7;
constexpr double kNoValue = -12345.0;

struct HistCall {
    int reader = 1, quantity = 2, minMax = 1, phases = 3;
    double tStart = -1.0, tStop = -1.0, hMin = 0.0, hMax = 0.0;
    trova_long harmonic = 3, firstHarmonic = 1, join = 0, hMinMax = 0, flagged = 1;
    std::vector<double> start, width;  // arrays for `phases` and one guard element
    std::vector<trova_long> counts, rangePoints, totalPoints;
    trova_long status = -1, fFlagged = kNoCount, fTotal = kNoCount;

    void Run(const std::string &path) {
        start = width = std::vector<double>(size_t(phases) + 1, kNoValue);
        rangePoints = totalPoints = std::vector<trova_long>(size_t(phases) + 1, kNoCount);
        counts.assign(100 * size_t(phases) + 1, kNoCount);
        char label[] = "Histogram", button[] = "Stop";
        std::string p = path;
        EXPECT_EQ(1, reader == 1 ? Reader_FFT_HIST1(quantity, minMax, tStart, tStop, label, p.data(), start.data(),
                                                    width.data(), counts.data(), harmonic, button, firstHarmonic,
                                                    join, &status)
                                 : Reader_FFT_HIST2(quantity, minMax, tStart, tStop, label, p.data(), start.data(),
                                                    width.data(), counts.data(), harmonic, button, firstHarmonic,
                                                    join, &status, hMinMax, hMin, hMax, rangePoints.data(),
                                                    totalPoints.data(), flagged, &fFlagged, &fTotal));
    }
};

// Every output of a call: ranges from `seen`, counts from `counted` (fewer
// after a cancel in pass 2); fixed ends that are not finite come from phase 0.
void ExpectHistogram(const HistCall &c, const Series &seen, const Series *counted = nullptr) {
    const bool fixed = c.reader == 2 && c.hMinMax != 0;
    double hMin = c.hMin, hMax = c.hMax;
    const size_t phases = size_t(c.phases);
    std::vector<double> start(phases + 1, kNoValue), width = start;
    std::vector<trova_long> counts(100 * phases + 1, kNoCount), untouched(phases + 1, kNoCount);
    std::vector<trova_long> range = untouched, total = untouched;
    for (size_t p = 0; p < phases; ++p) {
        if (fixed && !seen[0].empty() && !std::isfinite(hMax)) hMax = double(*std::max_element(seen[0].begin(), seen[0].end()));
        if (fixed && !seen[0].empty() && !std::isfinite(hMin)) hMin = double(*std::min_element(seen[0].begin(), seen[0].end()));
        const testing::HistogramModel h =
            testing::Histogram(seen[p], (counted != nullptr ? *counted : seen)[p], fixed, hMin, hMax);
        std::copy(h.counts.begin(), h.counts.end(), counts.begin() + long(100 * p));
        start[p] = h.start, width[p] = h.width, range[p] = h.inRange, total[p] = h.total;
    }
    EXPECT_EQ(c.start, start);
    EXPECT_EQ(c.width, width);
    EXPECT_EQ(c.counts, counts);
    EXPECT_EQ(c.rangePoints, c.reader == 2 ? range : untouched);
    EXPECT_EQ(c.totalPoints, c.reader == 2 ? total : untouched);
}

// The code, value set and status a call ends with (codes past 13 read the
// scalar of value set 0; HIST2 reads it for power codes without power block).
Corrected CorrectedFor(const HistCall &c, bool powerBlock) {
    if (c.quantity > 13) return {1, 0, TROVA_READER_BAD_QUANTITY};
    const Corrected k = c.minMax != 0 ? Corrected{c.quantity, 0, 0} : testing::kTrendWithMinMaxZero[c.quantity];
    if (powerBlock || c.reader == 1 || k.code < 8) return k;
    return {1, c.minMax == 0 ? 1 : 0, TROVA_READER_NO_POWER_BLOCK};
}

class ReaderFftHistTest : public testing::ReaderTest {
protected:
    rec::RecordingInfo Record(const std::string &stem, const std::vector<int> &files, int channelCode = 6,
                              bool powerBlock = true) const {
        rec::RecordingPlan plan = testing::HarmonicPlan(channelCode, 12, powerBlock, files, 0, 5, 0);
        plan.stem = stem, plan.harmonicValues = values_, plan.flags = flags_;
        return Write(plan);
    }

    // Per phase, the values of records [first, last) that a call reads
    // (HIST1 finds no angles without power block; HIST2 may skip flagged).
    Series Values(const HistCall &c, Corrected q, int first, int last, bool block = true) const {
        Series s(size_t(c.phases));
        const testing::ValueModel model{values_, c.reader == 1, c.join != 0, c.phases, 12};
        for (int r = first; r < last && (block || c.reader == 2 || q.code < 8); ++r) {
            if (c.reader == 2 && c.flagged == 0 && flags_(r) != 0) continue;
            for (int p = 0; p < (q.code == 1 ? 1 : c.phases); ++p)
                s[size_t(p)].push_back(model.Trend(q.code, q.m, r, p, int(c.harmonic), int(c.firstHarmonic)));
        }
        return s;
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
};

TEST_F(ReaderFftHistTest, EveryCodeOfBothReadersWithAndWithoutPowerBlock) {
    for (bool block : {true, false}) {
        const rec::RecordingInfo info = Record(block ? "block" : "plain", {30, 30, 30}, 6, block);
        for (int reader : {1, 2})
            for (int code = 0; code <= 14; ++code)
                for (int minMax : {1, 0})
                    for (int join = 0; join <= (code >= 8 && code <= 13); ++join) {
                        HistCall c;
                        c.reader = reader, c.quantity = code, c.minMax = minMax, c.join = join;
                        c.harmonic = 5, c.firstHarmonic = 2;
                        SCOPED_TRACE(::testing::Message() << "block " << block << " HIST" << reader << " code "
                                                          << code << " MinMax " << minMax << " Join " << join);
                        c.Run(PathOf(info, 1));
                        const Corrected q = CorrectedFor(c, block);
                        EXPECT_EQ(c.status, q.status);
                        ExpectHistogram(c, Values(c, q, 0, 90, block));
                    }
    }
}

TEST_F(ReaderFftHistTest, PhasesWindowAndFlaggedRecords) {
    struct Case { int channelCode, phases, reader, flagged, first, last; bool window; };
    for (const Case &k : {Case{2, 1, 1, 0, 0, 90, false}, Case{8, 4, 2, 0, 0, 90, false},
                          Case{6, 3, 2, 1, 7, 72, true}, Case{6, 3, 2, 0, 35, 35, true}}) {
        const rec::RecordingInfo info = Record("c" + std::to_string(k.channelCode), {30, 30, 30}, k.channelCode);
        HistCall c;
        c.phases = k.phases, c.reader = k.reader, c.flagged = k.flagged, c.quantity = 9, c.join = 1;
        if (k.window) c.tStart = info.table()[0].firstTime + k.first, c.tStop = c.tStart + (k.last - k.first);
        c.Run(PathOf(info, 2));
        EXPECT_EQ(c.status, TROVA_READER_OK);
        ExpectHistogram(c, Values(c, {9, 0, 0}, k.first, k.last));
        trova_long total = 0, flagged = 0;
        for (int r = k.first; r < k.last; ++r) ++total, flagged += flags_(r) != 0;
        EXPECT_EQ(std::pair(c.fTotal, c.fFlagged), k.reader == 2 ? std::pair(total, flagged) : std::pair(kNoCount, kNoCount));
    }
}

TEST_F(ReaderFftHistTest, TwoPassesShareTheProgressAndACancelEndsThem) {
    // Uncancelled; after file 1 of pass 1: the range of files 0 and 1, no
    // counts; after file 1 of pass 2: the range of all four, the counts of two.
    const rec::RecordingInfo four = Record("four", {10, 10, 10, 10});
    struct Case { int cancelAt; std::vector<int> progress; int seen, counted; };
    for (const Case &k : {Case{-1, {12, 24, 36, 48, 60, 72, 84, 96}, 40, 40}, Case{1, {12, 24}, 20, 0},
                          Case{4 + 1, {12, 24, 36, 48, 60, 72}, 40, 20}}) {
        progress_.clear();
        CancelAfterFile(k.cancelAt);
        HistCall c;
        c.reader = 2, c.quantity = 7;
        c.Run(PathOf(four, 0));
        EXPECT_EQ(c.status, k.cancelAt < 0 ? TROVA_READER_OK : TROVA_READER_CANCELLED);
        EXPECT_EQ(progress_, k.progress);
        const Series counted = Values(c, {7, 0, 0}, 0, k.counted);
        ExpectHistogram(c, Values(c, {7, 0, 0}, 0, k.seen), &counted);
        EXPECT_EQ(std::pair(c.fTotal, c.fFlagged), std::pair(trova_long(k.counted), trova_long(k.counted / 5)));
    }
}

TEST_F(ReaderFftHistTest, FixedRangeOddValuesAndPositionsStayInsideTheBins) {
    const std::vector<float> series = {0.0f, 97.5f, 98.0f, 98.5f, -0.5f, 42.25f, 12.0f}, b = {1.0e-6f, 50.0f, 100.0f};
    Replace(rec::HarmonicField::Voltage, 3, [&](int r, int p) { return (r < 7 ? series[size_t(r)] : 42.25f) + 10.0f * p; });
    Replace(rec::HarmonicField::Voltage, 4, [](int r, int) { return r == 4 ? NAN : r == 6 ? HUGE_VALF : 20.0f + r; });
    Replace(rec::HarmonicField::Voltage, 1, [](int r, int) { return r == 8 ? 0.0f : 2.0f; });
    Replace(rec::HarmonicField::PhaseValue, 1, [&](int r, int) { return r < 3 ? b[size_t(r)] : 50.0f; });
    const std::string path = PathOf(Record("odd", {12}), 0);
    HistCall c;
    c.reader = 2, c.hMinMax = 1, c.hMax = 98.0;
    c.Run(path);
    EXPECT_EQ(std::pair(c.start[0], c.width[0]), std::pair(-1.0, 1.0));
    // 0 in bin 1, 97.5 in 98, 98 inside and 98.5 above in 99, -0.5 below in 0, 42.25 in 43.
    std::vector<trova_long> bins(100, 0);
    for (int bin : {1, 98, 99, 99, 0, 13, 43, 43, 43, 43, 43, 43}) ++bins[size_t(bin)];
    EXPECT_EQ(std::vector<trova_long>(c.counts.begin(), c.counts.begin() + 100), bins);
    EXPECT_EQ(std::pair(c.rangePoints[0], c.totalPoints[0]), std::pair(trova_long(10), trova_long(12)));
    for (double end : {double(NAN), HUGE_VAL}) {
        c.hMin = -HUGE_VAL, c.hMax = end;
        c.Run(path);
        EXPECT_EQ(c.width[2], (98.5 - -0.5) / 98.0);  // phase 0's range
        ExpectHistogram(c, Values(c, {2, 0, 0}, 0, 12));
    }
    // Value B: the width rounds to 1 and 50 - 1e-6 to 50 in float: bin 50.
    c = HistCall();
    c.quantity = 5;
    c.Run(path);
    EXPECT_EQ(c.width[0], 1.0);
    for (int bin : {0, 49, 50, 99}) EXPECT_EQ(c.counts[size_t(bin)], bin == 49 ? 0 : bin == 50 ? 10 : 1);
    c.harmonic = 4;
    for (int reader : {1, 2})  // a NaN, an infinity, a zero reference
        for (int code : {2, 6}) {
            c.reader = reader, c.quantity = code;
            c.Run(path);
            ExpectHistogram(c, Values(c, {code, 0, 0}, 0, 12));
        }
    // Positions outside the record read nothing; past H, the next phase.
    for (trova_long position : {100000, -100000}) {
        c.harmonic = position, c.quantity = 2;
        c.Run(path);
        EXPECT_EQ(c.fTotal, 12);
        ExpectHistogram(c, Series(3));
    }
    HistCall next = c;
    c.harmonic = 12, next.harmonic = 0;
    c.Run(path), next.Run(path);
    EXPECT_TRUE(std::equal(c.counts.begin(), c.counts.begin() + 200, next.counts.begin() + 100));
}

}  // namespace
}  // namespace trova
