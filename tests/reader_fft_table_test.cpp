// Reader_FFT_Table1 and Reader_FFT_Table2 end to end: each cell's series
// taken here from the values given to the recording writer, reduced by a
// PercentileCell (pinned in percentile_cell_test), compared bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "harmstats/percentile_cell.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using testing::Corrected;
using testing::kUntouched;

constexpr trova_long kNoCount = -7;

struct TableCall {
    trova_long reader = 1, quantity = 1, minMax = 1, firstHarmonic = 1, join = 0, flagged = 1;
    double tStart = -1.0, tStop = -1.0;
    float percentil = 0.95f;
    std::vector<float> harm, a, b;  // 2000 entries and 3, each with a guard element
    trova_long status = -1, harmCount = kNoCount, fFlagged = kNoCount, fTotal = kNoCount;

    // Into the call's own tables, or into h, va and vb where given.
    void Run(const std::string &path, float *h = nullptr, float *va = nullptr, float *vb = nullptr) {
        harm.assign(2001, kUntouched);
        a = b = std::vector<float>(4, kUntouched);
        if (h == nullptr) h = harm.data(), va = a.data(), vb = b.data();
        char label[] = "Table", button[] = "Stop";
        std::string p = path;
        EXPECT_EQ(1, reader == 1 ? Reader_FFT_Table1(quantity, minMax, tStart, tStop, label, p.data(), button,
                                                     firstHarmonic, h, va, vb, percentil, join, &status, &harmCount)
                                 : Reader_FFT_Table2(quantity, minMax, tStart, tStop, label, p.data(), button,
                                                     firstHarmonic, h, va, vb, percentil, join, &status, &harmCount,
                                                     flagged, &fFlagged, &fTotal));
    }
};

std::vector<uint32_t> Bits(const std::vector<float> &values) {
    std::vector<uint32_t> bits;
    for (float v : values) bits.push_back(testing::Bits(v));
    return bits;
}

struct Rec { int index, harmonics; };  // recording-wide index, H of its file

// The percentile of value(r) observed over `seen` and counted over `counted`.
float CellOf(const std::vector<Rec> &seen, const std::vector<Rec> &counted, float pct,
             const std::function<std::optional<float>(const Rec &)> &value) {
    PercentileCell cell;
    cell.Reset();
    for (const Rec &r : seen) if (const auto v = value(r)) cell.Observe(*v);
    cell.FixWidth();
    for (const Rec &r : counted) if (const auto v = value(r)) cell.Count(*v);
    cell.Accumulate();
    return cell.Percentile(pct);
}

// The code, value set and status a call ends with: Table1 also exchanges 1
// and 2 for 9 and 10; Table2 reads voltages for power codes without power block.
Corrected CorrectedFor(const TableCall &c, bool powerBlock) {
    const int code = int(c.quantity);
    if (code > 10) return {1, 0, TROVA_READER_BAD_QUANTITY};
    Corrected k = c.minMax != 0 ? Corrected{code, 0, 0} : testing::kSpectrumWithMinMaxZero[code];
    if (c.reader == 1 && c.minMax == 0 && (code == 1 || code == 2)) k = {code + 8, 0, TROVA_READER_BAD_MINMAX};
    if (c.reader == 1 || powerBlock || k.code < 3 || k.code > 8) return k;
    return {1, c.minMax == 0 ? 1 : 0, TROVA_READER_NO_POWER_BLOCK};
}

class ReaderFftTableTest : public testing::ReaderTest {
protected:
    // Files with these record counts and harmonic counts (the last one for the rest).
    rec::RecordingInfo Recording(const std::string &stem, const std::vector<int> &files,
                                 const std::vector<int> &h = {10}, bool powerBlock = true) const {
        rec::RecordingPlan plan = testing::HarmonicPlan(6, h.back(), powerBlock, files, 0, 4, 0);
        plan.stem = stem, plan.harmonicValues = values_, plan.flags = flags_;
        testing::SetHarmonicCounts(plan, h);
        return Write(plan);
    }

    // Records [first, last) that the call takes in (Table2 may leave flagged ones out).
    std::vector<Rec> Records(const rec::RecordingInfo &info, int first, int last, const TableCall &c) const {
        std::vector<Rec> out;
        for (const rec::MemberInfo &m : info.table())
            for (int i = std::max(first, m.firstRecord); i < std::min(last, m.firstRecord + m.records); ++i)
                if (c.reader == 1 || c.flagged != 0 || flags_(i) == 0) out.push_back({i, m.harmonics});
        return out;
    }

    // Every entry a call writes, and only those: phase p's position k at p·500 + k below
    // `positions`, A and B; the guards stay. Table1 finds no angles without power block.
    void ExpectTables(const TableCall &c, Corrected q, int positions, const std::vector<Rec> &seen,
                      const std::vector<Rec> *counted = nullptr, bool block = true) const {
        testing::ValueModel model{values_, c.reader == 1, c.join != 0, 3, positions};
        model.keepsUnscaled = c.reader == 2;
        const bool read = c.reader == 2 || block || q.code < 3 || q.code > 8;
        const auto cell = [&](auto value) {
            return CellOf(seen, counted ? *counted : seen, std::clamp(c.percentil, 0.0f, 1.0f), value);
        };
        std::vector<float> harm(2001, kUntouched), a(4, kUntouched), b = a;
        for (int p = 0; p < 3; ++p) {
            for (int k = 0; k < positions; ++k) {
                harm[size_t(500 * p + k)] = cell([&](const Rec &r) -> std::optional<float> {
                    if (!read || k >= r.harmonics) return std::nullopt;
                    return model.Spectrum(q.code, q.m, r.index, p, k, int(c.firstHarmonic));
                });
            }
            a[size_t(p)] = cell([&](const Rec &r) { return model.A(r.index, q.m, p); });
            b[size_t(p)] = cell([&](const Rec &r) { return model.B(r.index, q.m, p); });
        }
        EXPECT_EQ(Bits(c.harm), Bits(harm));
        EXPECT_EQ(Bits(c.a), Bits(a));
        EXPECT_EQ(Bits(c.b), Bits(b));
    }

    rec::HarmonicValueFn values_ = rec::SeededValues(23, 0.5f, 250.0f);
    rec::FlagFn flags_ = rec::everyKth(4, 0x100, 1);
};

TEST_F(ReaderFftTableTest, EveryCodeOfBothReadersWithAndWithoutPowerBlock) {
    // Reactive power 0 at the reference position in every third record:
    // Table2 leaves the percentages of those records unscaled.
    const rec::HarmonicValueFn base = values_;
    values_ = [base](int r, rec::HarmonicField f, int set, int p, int k) {
        return f == rec::HarmonicField::Power && set == 1 && k == 3 && r % 3 == 0 ? 0.0f : base(r, f, set, p, k);
    };
    for (bool block : {true, false}) {
        const rec::RecordingInfo info = Recording(block ? "block" : "plain", {15, 15}, {10}, block);
        for (int reader : {1, 2})
            for (int code = 0; code <= 11; ++code)
                for (int minMax : {1, 0})
                    for (int join = 0; join <= (reader == 1 && code >= 3 && code <= 8); ++join) {
                        TableCall c;
                        c.reader = reader, c.quantity = code, c.minMax = minMax, c.join = join;
                        c.firstHarmonic = 3, c.percentil = 0.8f;
                        SCOPED_TRACE(::testing::Message() << "block " << block << " Table" << reader << " code "
                                                          << code << " MinMax " << minMax << " Join " << join);
                        c.Run(PathOf(info, 1));
                        const Corrected q = CorrectedFor(c, block);
                        EXPECT_EQ(std::pair(c.status, c.harmCount), std::pair(trova_long(q.status), trova_long(10)));
                        ExpectTables(c, q, 10, Records(info, 0, 30, c), nullptr, block);
                    }
    }
}

TEST_F(ReaderFftTableTest, RecordsFlagsWindowAndPositionsThatEnterTheCells) {
    // Cells for the first file's 8 positions; later files give at most those.
    const rec::RecordingInfo info = Recording("window", {7, 7, 7}, {8, 12, 5});
    struct Case { int reader, flagged; float pct; int first, last; bool window; };
    for (const Case &k : {Case{1, 0, 1.5f, 0, 21, false}, Case{2, 0, -0.2f, 0, 21, false},
                          Case{2, 1, 0.95f, 13, 14, true}, Case{2, 0, 0.95f, 15, 5, true}}) {
        TableCall c;
        c.reader = k.reader, c.flagged = k.flagged, c.quantity = 10, c.percentil = k.pct;
        if (k.window) c.tStart = info.table()[0].firstTime + k.first, c.tStop = c.tStart + (k.last - k.first);
        c.Run(PathOf(info, 0));
        EXPECT_EQ(std::pair(c.status, c.harmCount), std::pair(trova_long(TROVA_READER_OK), trova_long(8)));
        ExpectTables(c, {10, 0, 0}, 8, Records(info, k.first, k.last, c));
        trova_long total = 0, flagged = 0;
        for (int r = k.first; r < k.last; ++r) ++total, flagged += flags_(r) != 0;
        EXPECT_EQ(std::pair(c.fTotal, c.fFlagged), k.reader == 2 ? std::pair(total, flagged) : std::pair(kNoCount, kNoCount));
    }
    // H above 500: reported as it is, 500 entries a phase.
    const rec::RecordingInfo wide = Recording("wide", {3}, {520});
    TableCall c;
    c.Run(PathOf(wide, 0));
    EXPECT_EQ(c.harmCount, 520);
    ExpectTables(c, {1, 0, 0}, 500, Records(wide, 0, 3, c));
}

TEST_F(ReaderFftTableTest, ACancelInPassTwoLeavesTheCountsAndLogLinesOfTheFilesRead) {
    const rec::RecordingInfo ten = Recording("ten", std::vector<int>(10, 3));
    CancelAfterFile(10 + 3);
    TableCall c;
    c.reader = 2, c.quantity = 5, c.percentil = 0.9f;
    c.Run(PathOf(ten, 0));
    EXPECT_EQ(c.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60}));
    const std::vector<Rec> counted = Records(ten, 0, 12, c);
    ExpectTables(c, {5, 0, 0}, 10, Records(ten, 0, 30, c), &counted);
    EXPECT_EQ(std::pair(c.fTotal, c.fFlagged), std::pair(trova_long(12), trova_long(3)));
    const std::vector<std::string> log = LogLines();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Tady2"), 4);  // one a file of pass 2
}

TEST_F(ReaderFftTableTest, TablesAreWrittenInTheirOrder) {
    // Overlapping tables: phase 0's harmonics, then A, then B, then phases 1 and 2.
    const std::string path = PathOf(Recording("order", {6}), 0);
    TableCall apart, c;
    apart.Run(path);
    std::vector<float> t(2001, kUntouched);
    c.Run(path, t.data(), t.data(), t.data() + 1);
    EXPECT_EQ(std::vector<float>(t.begin(), t.begin() + 5),
              (std::vector<float>{apart.a[0], apart.b[0], apart.b[1], apart.b[2], apart.harm[4]}));
    t.assign(2001, kUntouched);
    c.Run(path, t.data(), t.data() + 500, t.data() + 1000);
    EXPECT_EQ(t[500], apart.harm[500]);
    EXPECT_EQ(t[1002], apart.harm[1002]);
    const std::vector<std::string> log = LogLines();
    EXPECT_EQ(std::count(log.begin(), log.end(), "Tady2"), 0);  // Table1 logs no file
}

}  // namespace
}  // namespace trova
