// Reader_FFT_Table1 and Reader_FFT_Table2 end to end: harmonic recordings
// written by the recording writer, the exports called as the host calls
// them. The expected tables come from the values the writer was given:
// every series of the window collected here, then reduced by a
// PercentileCell (pinned on its own in percentile_cell_test).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "harmstats/percentile_cell.h"
#include "recording_writer.h"
#include "support/harmonic_model.h"
#include "support/test_support.h"

namespace trova {
namespace {

using testing::ValueModel;
using testing::kUntouched;
using testing::ReaderTest;

constexpr trova_long kUntouchedCount = -7;
constexpr size_t kTableSize = 2000;

struct TableCall {
    int quantity = 1;
    trova_long minMax = 1;  // the caller's argument: nonzero selects value set 0
    double tStart = -1.0;
    double tStop = -1.0;
    trova_long firstHarmonic = 1;
    float percentil = 0.95f;
    trova_long join = 0;
    // Reader_FFT_Table2 only.
    bool second = false;
    trova_long flagged = 1;

    int phases = 3;  // sizes the A and B tables, plus a guard
    std::vector<float> harm, valueA, valueB;
    trova_long status = -1, harmCount = kUntouchedCount;
    trova_long fFlagged = kUntouchedCount, fTotal = kUntouchedCount;

    void Run(const std::string &path) {
        harm.assign(kTableSize + 1, kUntouched);
        valueA.assign(size_t(phases) + 1, kUntouched);
        valueB = valueA;
        RunInto(path, harm.data(), valueA.data(), valueB.data());
        EXPECT_EQ(harm.back(), kUntouched);
        EXPECT_EQ(valueA.back(), kUntouched);
        EXPECT_EQ(valueB.back(), kUntouched);
    }

    void RunInto(const std::string &path, float *harmTable, float *aTable, float *bTable) {
        char label[] = "Table";
        char button[] = "Stop";
        std::string pathCopy = path;
        int result;
        if (second) {
            result = Reader_FFT_Table2(quantity, minMax, tStart, tStop, label, pathCopy.data(),
                                       button, firstHarmonic, harmTable, aTable, bTable, percentil,
                                       join, &status, &harmCount, flagged, &fFlagged, &fTotal);
        } else {
            result = Reader_FFT_Table1(quantity, minMax, tStart, tStop, label, pathCopy.data(),
                                       button, firstHarmonic, harmTable, aTable, bTable, percentil,
                                       join, &status, &harmCount);
        }
        EXPECT_EQ(result, 1);
    }
};

// The tables a call should deliver: one series per cell.
struct ExpectedTable {
    int phases = 0, positions = 0;
    std::vector<std::vector<float>> harmonic;  // [p * positions + k]
    std::vector<std::vector<float>> a, b;      // [p]
    // The series counted in pass 2 when a cancel cut it short (else the same).
    std::vector<std::vector<float>> harmonicCounted, aCounted, bCounted;
    bool cutShort = false;
};

float CellResult(const std::vector<float> &observed, const std::vector<float> &counted, float pct) {
    PercentileCell cell;
    cell.Reset();
    for (float v : observed) cell.Observe(v);
    cell.FixWidth();
    for (float v : counted) cell.Count(v);
    cell.Accumulate();
    return cell.Percentile(pct);
}

// Every entry the call writes, and only those.
void ExpectTables(const TableCall &call, const ExpectedTable &e, float pct) {
    const auto &hc = e.cutShort ? e.harmonicCounted : e.harmonic;
    const auto &ac = e.cutShort ? e.aCounted : e.a;
    const auto &bc = e.cutShort ? e.bCounted : e.b;
    for (int p = 0; p < 4; ++p) {
        for (int k = 0; k < 500; ++k) {
            const size_t at = size_t(p) * 500 + size_t(k);
            if (p < e.phases && k < e.positions) {
                const size_t cell = size_t(p) * size_t(e.positions) + size_t(k);
                ASSERT_EQ(call.harm[at], CellResult(e.harmonic[cell], hc[cell], pct))
                    << "phase " << p << " position " << k;
            } else {
                ASSERT_EQ(call.harm[at], kUntouched) << "phase " << p << " position " << k;
            }
        }
    }
    for (int p = 0; p < e.phases; ++p) {
        EXPECT_EQ(call.valueA[size_t(p)], CellResult(e.a[size_t(p)], ac[size_t(p)], pct)) << p;
        EXPECT_EQ(call.valueB[size_t(p)], CellResult(e.b[size_t(p)], bc[size_t(p)], pct)) << p;
    }
}

bool IsFlagged(int record) { return record % 4 == 1; }

class ReaderFftTableTest : public ReaderTest {
protected:
    rec::RecordingPlan Plan(int files, int perFile, int harmonics = 10) const {
        rec::RecordingPlan plan;
        plan.kind = rec::Kind::Harmonic;
        plan.harmonic.channelCode = 6;
        plan.harmonic.harmonics = harmonics;
        plan.harmonicValues = values_;
        plan.flags = rec::everyKth(4, 0x100, 1);
        for (int f = 0; f < files; ++f) plan.add(perFile, f == 1 ? 25.0 : 0.0);
        return plan;
    }

    // Which records of the window take part, and each file's harmonic count.
    struct Records {
        std::vector<int> indexes;
        std::vector<int> harmonics;  // per record
    };
    static Records Window(const rec::RecordingInfo &info, int first, int last,
                          bool skipFlagged = false) {
        Records r;
        for (const rec::MemberInfo &m : info.table()) {
            for (int i = 0; i < m.records; ++i) {
                const int index = m.firstRecord + i;
                if (index < first || index >= last || (skipFlagged && IsFlagged(index))) continue;
                r.indexes.push_back(index);
                r.harmonics.push_back(m.harmonics);
            }
        }
        return r;
    }

    // The series of every cell for a remapped code and value set.
    ExpectedTable Expected(const Records &records, int code, int set, int phases, int positions,
                           const TableCall &call) const {
        ExpectedTable e;
        e.phases = phases;
        e.positions = positions;
        e.harmonic.resize(size_t(phases) * size_t(positions));
        e.a.resize(size_t(phases));
        e.b.resize(size_t(phases));
        // Table1 forms powers from the angles; Table2 reads them stored and
        // leaves a percentage of a zero reference unscaled.
        ValueModel model{values_, !call.second, call.join != 0, phases, positions};
        model.keepsUnscaled = call.second;
        for (size_t i = 0; i < records.indexes.size(); ++i) {
            const int r = records.indexes[i];
            for (int p = 0; p < phases; ++p) {
                for (int k = 0; k < positions && k < records.harmonics[i]; ++k) {
                    e.harmonic[size_t(p) * size_t(positions) + size_t(k)].push_back(
                        model.Spectrum(code, set, r, p, k, int(call.firstHarmonic)));
                }
                e.a[size_t(p)].push_back(model.A(r, set, p));
                e.b[size_t(p)].push_back(model.B(r, set, p));
            }
        }
        return e;
    }

    rec::HarmonicValueFn values_ = rec::SeededValues(23, 0.5f, 250.0f);
};

struct Remapped {
    int code, set, status;
};

// What each table reader makes of the caller's code when MinMax is 0
// (value set 1 asked for); with MinMax nonzero every code stands as it is.
Remapped TableRemap(bool second, int code, int minMax) {
    if (minMax != 0) return {code, 0, TROVA_READER_OK};
    switch (code) {
    case 1: return second ? Remapped{1, 1, TROVA_READER_OK} : Remapped{9, 0, TROVA_READER_BAD_MINMAX};
    case 2: return second ? Remapped{2, 1, TROVA_READER_OK} : Remapped{10, 0, TROVA_READER_BAD_MINMAX};
    case 3: case 4: case 5: return {code, 1, TROVA_READER_OK};
    case 9: return {1, 1, TROVA_READER_OK};
    case 10: return {2, 1, TROVA_READER_OK};
    default: return {code, 0, TROVA_READER_BAD_MINMAX};
    }
}

TEST_F(ReaderFftTableTest, EveryCodeOfBothValueSetsInBothReaders) {
    const rec::RecordingInfo info = Write(Plan(2, 15));
    const Records all = Window(info, 0, 30);
    for (bool second : {false, true}) {
        for (trova_long minMax : {1, 0}) {
            for (int code = 1; code <= 10; ++code) {
                for (trova_long join : {0, 1}) {
                    if (join == 1 && (second || code < 3 || code > 8)) continue;
                    SCOPED_TRACE(std::string(second ? "Table2" : "Table1") + " code " +
                                 std::to_string(code) + " MinMax " + std::to_string(minMax) +
                                 " Join " + std::to_string(join));
                    TableCall call;
                    call.second = second;
                    call.quantity = code;
                    call.minMax = minMax;
                    call.join = join;
                    call.firstHarmonic = 3;
                    call.percentil = 0.8f;
                    call.Run(PathOf(info, 0));
                    const Remapped m = TableRemap(second, code, int(minMax));
                    EXPECT_EQ(call.status, m.status);
                    EXPECT_EQ(call.harmCount, 10);
                    ExpectTables(call, Expected(all, m.code, m.set, 3, 10, call), 0.8f);
                }
            }
        }
    }
}

TEST_F(ReaderFftTableTest, RefusedCodesAndTheirStatus) {
    const rec::RecordingInfo info = Write(Plan(1, 12));
    const Records all = Window(info, 0, 12);
    for (bool second : {false, true}) {
        for (trova_long minMax : {1, 0}) {
            TableCall past;
            past.second = second;
            past.quantity = 11;  // voltages of value set 0, status 4
            past.minMax = minMax;
            past.Run(PathOf(info, 0));
            EXPECT_EQ(past.status, TROVA_READER_BAD_QUANTITY);
            ExpectTables(past, Expected(all, 1, 0, 3, 10, past), past.percentil);
        }
    }

    // Codes below 1 stand for no quantity: harmonic entries 0, values A and B
    // of the value set asked for, status 0.
    for (bool second : {false, true}) {
        TableCall none;
        none.second = second;
        none.quantity = 0;
        none.minMax = 0;
        none.Run(PathOf(info, 0));
        EXPECT_EQ(none.status, TROVA_READER_OK);
        ExpectedTable e = Expected(all, 1, 1, 3, 10, none);
        for (std::vector<float> &series : e.harmonic) series.assign(12, 0.0f);
        ExpectTables(none, e, none.percentil);
    }

    // Without power block Table2 reads the voltages of the value set asked
    // for, with status 5; codes 6 to 8 with MinMax 0 keep value set 1, as
    // the code is 1 before value set 1 is refused for codes above 5.
    rec::RecordingPlan plain = Plan(1, 12);
    plain.stem = "plain";
    plain.harmonic.powerBlock = false;
    const rec::RecordingInfo noBlock = Write(plain);
    for (int code : {4, 7}) {
        for (trova_long minMax : {1, 0}) {
            TableCall refused;
            refused.second = true;
            refused.quantity = code;
            refused.minMax = minMax;
            refused.Run(PathOf(noBlock, 0));
            EXPECT_EQ(refused.status, TROVA_READER_NO_POWER_BLOCK);
            ExpectTables(refused, Expected(all, 1, minMax == 0 ? 1 : 0, 3, 10, refused),
                         refused.percentil);
        }
    }
    // Table1 does not test the flag: its angles lie outside the records, so
    // no harmonic value is read (every entry is a cell's 0), while the
    // values A and B are.
    TableCall angles;
    angles.quantity = 3;
    angles.Run(PathOf(noBlock, 0));
    EXPECT_EQ(angles.status, TROVA_READER_OK);
    ExpectedTable e = Expected(all, 3, 0, 3, 10, angles);
    for (std::vector<float> &series : e.harmonic) series.clear();
    ExpectTables(angles, e, angles.percentil);
    EXPECT_EQ(angles.harm[501], 0.0f);
}

TEST_F(ReaderFftTableTest, FlaggedRecordsCountersAndTheLogOfPassTwo) {
    const rec::RecordingInfo info = Write(Plan(3, 8));  // 24 records, 6 flagged
    TableCall without;
    without.second = true;
    without.flagged = 0;
    without.quantity = 2;
    without.Run(PathOf(info, 1));
    EXPECT_EQ(without.status, TROVA_READER_OK);
    EXPECT_EQ(without.fTotal, 24);
    EXPECT_EQ(without.fFlagged, 6);
    ExpectTables(without, Expected(Window(info, 0, 24, true), 2, 0, 3, 10, without), 0.95f);

    ClearLog();
    TableCall with = without;
    with.flagged = 1;
    with.Run(PathOf(info, 1));
    EXPECT_EQ(with.fTotal, 24);
    EXPECT_EQ(with.fFlagged, 6);
    ExpectTables(with, Expected(Window(info, 0, 24), 2, 0, 3, 10, with), 0.95f);
    // The export's lines, then one line per file of pass 2.
    std::vector<std::string> log = LogLines();
    ASSERT_EQ(log.size(), 3u + 8u + 3u);
    EXPECT_EQ(log[10], "Flagged   = 1");
    for (size_t i = 11; i < log.size(); ++i) EXPECT_EQ(log[i], "Tady2");

    // Every record flagged and left out: every written entry is 0.
    rec::RecordingPlan flaggedPlan = Plan(1, 5);
    flaggedPlan.stem = "flagged";
    flaggedPlan.flags = [](int) { return -1; };
    const rec::RecordingInfo allFlagged = Write(flaggedPlan);
    TableCall none = without;
    none.Run(PathOf(allFlagged, 0));
    EXPECT_EQ(none.fTotal, 5);
    EXPECT_EQ(none.fFlagged, 5);
    for (int k = 0; k < 10; ++k) EXPECT_EQ(none.harm[size_t(k)], 0.0f);
    EXPECT_EQ(none.valueB[2], 0.0f);

    // Table1 takes every record, flagged or not, and logs nothing.
    ClearLog();
    TableCall first;
    first.quantity = 2;
    first.Run(PathOf(info, 1));
    ExpectTables(first, Expected(Window(info, 0, 24), 2, 0, 3, 10, first), 0.95f);
    EXPECT_EQ(first.fTotal, kUntouchedCount);
    EXPECT_EQ(LogLines().size(), 3u + 3u);
}

TEST_F(ReaderFftTableTest, ZeroReferenceLeavesStoredPercentagesUnscaled) {
    // The reactive power at the reference position is 0 in every third record.
    rec::RecordingPlan plan = Plan(1, 12);
    const rec::HarmonicValueFn base = values_;
    plan.harmonicValues = [base](int r, rec::HarmonicField field, int set, int p, int k) {
        if (field == rec::HarmonicField::Power && set == 1 && k == 2 && r % 3 == 0) return 0.0f;
        return base(r, field, set, p, k);
    };
    values_ = plan.harmonicValues;
    const rec::RecordingInfo info = Write(plan);
    TableCall call;
    call.second = true;
    call.quantity = 7;
    call.firstHarmonic = 2;
    call.percentil = 0.5f;
    call.Run(PathOf(info, 0));
    EXPECT_EQ(call.status, TROVA_READER_OK);
    ExpectTables(call, Expected(Window(info, 0, 12), 7, 0, 3, 10, call), 0.5f);
    // Position 2 itself: 100 where the reference is not 0, 0 where it is.
    const ExpectedTable e = Expected(Window(info, 0, 12), 7, 0, 3, 10, call);
    int unscaled = 0;
    for (float v : e.harmonic[2]) unscaled += v == 0.0f;
    EXPECT_EQ(unscaled, 4);
}

TEST_F(ReaderFftTableTest, PercentilClampWindowAndEmptyWindow) {
    const rec::RecordingInfo info = Write(Plan(2, 10));
    const std::vector<rec::MemberInfo> table = info.table();
    // 1.5 is used as 1.0 (min + 100 widths), -0.2 as 0.0 (the minimum).
    for (float pct : {1.5f, -0.2f}) {
        TableCall call;
        call.quantity = 9;
        call.percentil = pct;
        call.Run(PathOf(info, 0));
        ExpectTables(call, Expected(Window(info, 0, 20), 9, 0, 3, 10, call), pct > 1 ? 1.0f : 0.0f);
    }

    // A window of one record: every entry is that record's value.
    TableCall single;
    single.second = true;
    single.quantity = 1;
    single.tStart = table[1].firstTime + 3.0;
    single.tStop = table[1].firstTime + 4.0;  // the stop record is not read
    single.Run(PathOf(info, 0));
    EXPECT_EQ(single.fTotal, 1);
    for (int p = 0; p < 3; ++p) {
        for (int k = 0; k < 10; ++k) {
            EXPECT_EQ(single.harm[size_t(p * 500 + k)], values_(13, rec::HarmonicField::Voltage, 0, p, k));
        }
        EXPECT_EQ(single.valueA[size_t(p)], values_(13, rec::HarmonicField::PhaseValue, 0, p, 0));
    }

    // TStop before TStart: no record, every written entry 0, H still reported.
    TableCall none;
    none.tStart = table[1].firstTime + 5.0;
    none.tStop = table[0].firstTime + 5.0;
    none.Run(PathOf(info, 0));
    EXPECT_EQ(none.status, TROVA_READER_OK);
    EXPECT_EQ(none.harmCount, 10);
    ExpectedTable e = Expected(Window(info, 0, 0), 1, 0, 3, 10, none);
    ExpectTables(none, e, none.percentil);
    EXPECT_EQ(none.harm[1009], 0.0f);
}

TEST_F(ReaderFftTableTest, HarmonicCountsThatDifferOrExceedTheTable) {
    // The cells follow the first file (8 positions); a later file with more
    // positions gives only those 8, one with fewer leaves the rest out.
    rec::RecordingPlan plan = Plan(3, 6, 8);
    plan.members[1].harmonic = plan.harmonic;
    plan.members[1].harmonic->harmonics = 12;
    plan.members[2].harmonic = plan.harmonic;
    plan.members[2].harmonic->harmonics = 5;
    const rec::RecordingInfo info = Write(plan);
    for (bool second : {false, true}) {
        TableCall call;
        call.second = second;
        call.quantity = 10;
        call.firstHarmonic = 0;
        call.Run(PathOf(info, 2));
        EXPECT_EQ(call.harmCount, 8);
        ExpectTables(call, Expected(Window(info, 0, 18), 10, 0, 3, 8, call), 0.95f);
    }

    // H above 500: reported as it is, but a phase has 500 entries.
    rec::RecordingPlan wide = Plan(1, 3, 520);
    wide.stem = "wide";
    const rec::RecordingInfo big = Write(wide);
    TableCall call;
    call.quantity = 2;
    call.Run(PathOf(big, 0));
    EXPECT_EQ(call.harmCount, 520);
    ExpectTables(call, Expected(Window(big, 0, 3), 2, 0, 3, 500, call), 0.95f);
}

TEST_F(ReaderFftTableTest, TwoPassesShareTheProgressAndTheCancel) {
    const rec::RecordingInfo ten = Write(Plan(10, 3));
    TableCall whole;
    whole.second = true;
    whole.Run(PathOf(ten, 0));
    EXPECT_EQ(progress_, (std::vector<int>{15, 30, 45, 60, 75, 90}));

    // Cancelled in pass 1 after file 2: every entry is the minimum of the
    // records read, pass 2 never runs (no counters, no log line).
    progress_.clear();
    ClearLog();
    CancelAfterFile(2);
    TableCall first;
    first.second = true;
    first.quantity = 4;
    first.percentil = 0.9f;
    first.Run(PathOf(ten, 0));
    EXPECT_EQ(first.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(progress_, (std::vector<int>{15}));
    EXPECT_EQ(first.fTotal, 0);
    EXPECT_EQ(LogLines().size(), 3u + 8u);
    ExpectedTable e = Expected(Window(ten, 0, 9), 4, 0, 3, 10, first);
    e.cutShort = true;
    e.harmonicCounted.assign(e.harmonic.size(), {});
    e.aCounted.assign(3, {});
    e.bCounted.assign(3, {});
    ExpectTables(first, e, 0.9f);
    float minimum = e.harmonic[7][0];
    for (float v : e.harmonic[7]) minimum = std::fmin(minimum, v);
    EXPECT_EQ(first.harm[7], minimum);

    // Cancelled in pass 2 after its file 3: the ranges of all records, the
    // counts of files 0 to 3.
    progress_.clear();
    ClearLog();
    CancelAfterFile(10 + 3);
    TableCall second;
    second.second = true;
    second.quantity = 5;
    second.percentil = 0.5f;
    second.Run(PathOf(ten, 0));
    EXPECT_EQ(second.status, TROVA_READER_CANCELLED);
    EXPECT_EQ(second.fTotal, 12);
    EXPECT_EQ(second.fFlagged, 3);
    EXPECT_EQ(LogLines().size(), 3u + 8u + 4u);
    ExpectedTable cut = Expected(Window(ten, 0, 30), 5, 0, 3, 10, second);
    const ExpectedTable counted = Expected(Window(ten, 0, 12), 5, 0, 3, 10, second);
    cut.cutShort = true;
    cut.harmonicCounted = counted.harmonic;
    cut.aCounted = counted.a;
    cut.bCounted = counted.b;
    ExpectTables(second, cut, 0.5f);
}

TEST_F(ReaderFftTableTest, TablesAreWrittenInTheirOrderAndNoFileWritesNothing) {
    // A and B tables that overlap the harmonic table: the harmonics of
    // phase 0 first, then A, then B, then the harmonics of phases 1 and 2.
    const rec::RecordingInfo info = Write(Plan(1, 6));
    TableCall separate;
    separate.quantity = 1;
    separate.Run(PathOf(info, 0));
    std::vector<float> shared(kTableSize + 1, kUntouched);
    TableCall call;
    call.quantity = 1;
    call.RunInto(PathOf(info, 0), shared.data(), shared.data(), shared.data() + 1);
    EXPECT_EQ(shared[0], separate.valueA[0]);
    EXPECT_EQ(shared[1], separate.valueB[0]);
    EXPECT_EQ(shared[2], separate.valueB[1]);
    EXPECT_EQ(shared[3], separate.valueB[2]);
    EXPECT_EQ(shared[4], separate.harm[4]);
    EXPECT_EQ(shared[500], separate.harm[500]);
    shared.assign(kTableSize + 1, kUntouched);
    call.RunInto(PathOf(info, 0), shared.data(), shared.data() + 500, shared.data() + 1000);
    EXPECT_EQ(shared[0], separate.harm[0]);
    EXPECT_EQ(shared[500], separate.harm[500]);
    EXPECT_EQ(shared[1002], separate.harm[1002]);

    // No usable file: status 3; Table2 zeroes its counters, nothing else.
    rec::RecordingPlan damaged;
    damaged.kind = rec::Kind::Harmonic;
    damaged.stem = "damaged";
    damaged.addDamaged(rec::Damage::TruncatedData);
    const rec::RecordingInfo broken = Write(damaged);
    for (bool second : {false, true}) {
        TableCall none;
        none.second = second;
        none.Run(broken.path(broken.files[0]));
        EXPECT_EQ(none.status, TROVA_READER_NO_FILES);
        EXPECT_EQ(none.harmCount, kUntouchedCount);
        EXPECT_EQ(none.harm[0], kUntouched);
        EXPECT_EQ(none.valueA[0], kUntouched);
        EXPECT_EQ(none.fTotal, second ? 0 : kUntouchedCount);
        EXPECT_EQ(none.fFlagged, second ? 0 : kUntouchedCount);
    }
}

}  // namespace
}  // namespace trova
