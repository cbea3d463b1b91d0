// Reader_FFT_Table1 and Reader_FFT_Table2 end to end: each cell's series
// from the values given to the recording writer, reduced by a
// PercentileCell (pinned in percentile_cell_test), compared bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/reader_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using namespace testing;

Call Table(int reader, int quantity, int minMax = 1) { return Twin(Export::FFT_Table1, reader, quantity, minMax); }

class ReaderFftTableTest : public ReaderTest {
protected:
    // Files with these record counts and harmonic counts (the last one for the rest).
    void Record(const std::string &stem, const std::vector<int> &files, const std::vector<int> &h = {10}) {
        plan_ = HarmonicPlan(6, h.back(), true, files, 0, 4, 0);
        plan_.stem = stem, plan_.harmonicValues = values_, plan_.flags = flags_;
        SetHarmonicCounts(plan_, h);
        info_ = Write(plan_);
    }

    // Runs `c` on file `file` and expects every cell of code q at positions
    // below `positions` over records [first, last), counted up to `counted`
    // (a cancel in pass 2).
    void Expect(const Call &c, size_t file, Corrected q, int positions, int first, int last, int counted = -1) {
        const rec::HarmonicValueFn v = values_;
        const ValueFn ab = [v, q](const ModelRecord &r, int p, int which) {
            return v(r.index, rec::HarmonicField::PhaseValue, q.m, p, which);
        };
        Check(c, PathOf(info_, file), [&](Call &want) {
            PredictTable(want, ModelRecords(info_, first, last - 1, flags_),
                         ModelRecords(info_, first, (counted < 0 ? last : counted) - 1, flags_),
                         HarmonicValue(c, plan_, q), ab, positions, true, q.status, info_.table()[0].harmonics);
        });
    }

    rec::HarmonicValueFn values_ = rec::SeededValues(23, 0.5f, 250.0f);
    rec::FlagFn flags_ = rec::everyKth(4, 0x100, 1);
    rec::RecordingPlan plan_;
    rec::RecordingInfo info_;
};

TEST_F(ReaderFftTableTest, RecordsFlagsWindowAndPositionsThatEnterTheCells) {
    // Cells for the first file's 8 positions; later files give at most those.
    Record("window", {7, 7, 7}, {8, 12, 5});
    struct Case { int reader, flagged; float pct; int first, last; bool window; };
    for (const Case &k : {Case{1, 0, 1.5f, 0, 21, false}, Case{2, 0, -0.2f, 0, 21, false},
                          Case{2, 1, 0.95f, 13, 14, true}, Case{2, 0, 0.95f, 15, 5, true}}) {
        Call c = Table(k.reader, 10);
        c.flagged = k.flagged, c.percentil = k.pct;
        if (k.window) c.tStart = info_.table()[0].firstTime + k.first, c.tStop = c.tStart + (k.last - k.first);
        Expect(c, 0, {10, 0, 0}, 8, k.first, k.last);
    }
    // H above 500: reported as it is, 500 entries a phase.
    Record("wide", {3}, {520});
    Expect(Table(1, 1), 0, {1, 0, 0}, 500, 0, 3);
}

TEST_F(ReaderFftTableTest, ACancelInPassTwoLeavesTheCountsAndLogLinesOfTheFilesRead) {
    Record("ten", std::vector<int>(10, 3));
    CancelAfterFile(10 + 3);
    Call c = Table(2, 5);
    c.percentil = 0.9f;
    Expect(c, 0, {5, 0, TROVA_READER_CANCELLED}, 10, 0, 30, 12);
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60}));
    const std::vector<std::string> log = LogLines();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Tady2"), 4);  // one a file of pass 2
}

TEST_F(ReaderFftTableTest, TablesAreWrittenInTheirOrder) {
    // Overlapping tables: phase 0's harmonics, then A, then B, then phases 1 and 2.
    Record("order", {6});
    const std::string path = PathOf(info_, 0);
    Call apart = Table(1, 1);
    apart.Run(path);
    const float *harm = apart.Array<float>("HarmTable"), *a = apart.Array<float>("ValueATable"),
                *b = apart.Array<float>("ValueBTable");
    auto run = [&](std::vector<float> &t, size_t at, size_t atB) {
        t.assign(2001, -12345.0f);
        char label[] = "Table", button[] = "Stop";
        std::string p = path;
        trova_long status = 0, count = 0;
        Reader_FFT_Table1(1, 1, -1.0, -1.0, label, p.data(), button, 1, t.data(), t.data() + at, t.data() + atB,
                          0.95f, 0, &status, &count);
    };
    std::vector<float> t;
    run(t, 0, 1);
    EXPECT_EQ(std::vector<float>(t.begin(), t.begin() + 5), (std::vector<float>{a[0], b[0], b[1], b[2], harm[4]}));
    run(t, 500, 1000);
    EXPECT_EQ(std::pair(t[500], t[1002]), std::pair(harm[500], harm[1002]));
    const std::vector<std::string> log = LogLines();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Tady2"), 0);  // Table1 logs no file
}

}  // namespace
}  // namespace trova
