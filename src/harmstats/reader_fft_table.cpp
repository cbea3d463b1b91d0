// Reader_FFT_Table1 and Reader_FFT_Table2: per phase and harmonic position,
// and per phase for the values A and B, the Percentil-quantile of a
// quantity over the records of a window. Every series is a PercentileCell:
// pass 1 observes, pass 2 counts the same values recomputed from the files,
// so memory is the largest file plus the cells, whatever the window. The
// stop record is not read; both passes share one progress meter.
//
// Table2 is Table1 with options: stored powers instead of powers formed
// from angles (status 5 for them without power block), percentages that a
// zero reference leaves unscaled, flagged records left out unless asked
// for, record counters and one log line per file of pass 2, and the widths
// of the phase-0 harmonic cells formed in float.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "files/big_endian.h"
#include "files/completion.h"
#include "files/file_table.h"
#include "files/scan.h"
#include "frame/log.h"
#include "frame/parallel.h"
#include "harmonics/harmonic_layout.h"
#include "harmonics/harmonic_quantity.h"
#include "harmstats/harmstats_params.h"
#include "harmstats/harmstats_workers.h"
#include "harmstats/percentile_cell.h"
#include "harmstats/two_pass_scan.h"

namespace trova {
namespace {

// Each phase owns 500 entries of HarmTable.
constexpr int32_t kTablePositions = 500;

// The quantity's codes and corrections: Table1 forms powers from the angles
// and exchanges codes 1, 2 and 9, 10 both ways with value set 1; Table2
// reads powers stored, refuses them without power block and turns only 9
// and 10 into 1 and 2.
constexpr QuantityRules kTable1Rules{true, false, 3, 8, 10, true};
constexpr QuantityRules kTable2Rules{true, true, 3, 8, 10, false};

// The cells of a call: P·H harmonic cells (H of the first file, at most the
// 500 positions a phase has in the table), then P cells of value A and P of
// value B.
class TableCells {
public:
    TableCells(int32_t phases, int32_t positions)
        : phases_(phases),
          positions_(positions),
          cells_(static_cast<size_t>(phases) * static_cast<size_t>(positions + 2)) {
        for (PercentileCell &cell : cells_) cell.Reset();
    }

    int32_t phases() const { return phases_; }
    int32_t positions() const { return positions_; }
    PercentileCell &Harmonic(int32_t p, int32_t k) {
        return cells_[static_cast<size_t>(p) * positions_ + k];
    }
    PercentileCell &ValueA(int32_t p) { return cells_[HarmonicCells() + p]; }
    PercentileCell &ValueB(int32_t p) { return cells_[HarmonicCells() + phases_ + p]; }
    std::vector<PercentileCell> &all() { return cells_; }

private:
    size_t HarmonicCells() const { return static_cast<size_t>(phases_) * positions_; }

    const int32_t phases_;
    const int32_t positions_;
    std::vector<PercentileCell> cells_;
};

// What the passes feed the cells: Observe in pass 1, Count in pass 2.
enum class Feed { kObserve, kCount };

class TablePass {
public:
    // `set`: the value set after remapping, of the values A and B.
    TablePass(Feed feed, const HarmonicQuantity &quantity, int32_t set, int32_t reference,
              TableCells &cells, ReaderFftTable2Params *extended, HelperThread &helper)
        : feed_(feed),
          quantity_(quantity),
          set_(set),
          reference_(reference),
          cells_(cells),
          extended_(extended),
          helper_(helper) {}

    // Plans the file's fields: its own harmonic count, capped at the cells.
    // Fields outside the file's records are not read: the harmonic values
    // (a position or a power block the records lack) and the values A and B
    // are planned apart. Its records are still counted (Table2).
    bool BeginFile(const FileInfoRecord &file) {
        const HarmonicRecordLayout layout = HarmonicRecordLayout::ForFile(file, cells_.phases());
        positions_ = std::clamp(file.harmonicCount, 0, cells_.positions());
        plan_ = HarmonicFieldPlan(layout, quantity_, cells_.phases(),
                                  PositionSpan{0, positions_ - 1}, reference_);
        const int32_t lastPhase = cells_.phases() - 1;
        valueA_ = layout.PhaseValue(set_, 0, 0);
        valueB_ = layout.PhaseValue(set_, 0, 1);
        pairStep_ = layout.PhaseValue(set_, 1, 0) - valueA_;
        pairsReadable_ = layout.FieldInRecord(valueA_) &&
                         layout.FieldInRecord(layout.PhaseValue(set_, lastPhase, 1));
        return layout.FieldInRecord(HarmonicRecordLayout::kFlag);
    }

    // The harmonic cells take a chunk's records before Record sees them,
    // split between two threads by cell: each cell still takes its values
    // in record order, formed by the same steps. Record then gives only the
    // counts and the values A and B. With both cores busy on the cells the
    // next chunk is not read meanwhile (it was measured to cost time).
    bool ReadAhead() const { return false; }

    void Chunk(const uint8_t *records, int64_t first, int64_t count, int64_t size) {
        chunkCount_ = 0;
        const int64_t cells = int64_t{cells_.phases()} * positions_;
        if (!plan_.Usable() || count < 2 || cells < 2) return;
        chunk_ = records, chunkFirst_ = first, recordSize_ = size, chunkCount_ = count;
        helper_.SplitInTwo(cells, [](void *self, int64_t begin, int64_t end) {
            static_cast<TablePass *>(self)->GiveHarmonics(begin, end);
        }, this);
    }

    void Record(const uint8_t *record, const RecordPosition &position) {
        const bool flagged = Flagged(record);
        if (extended_ != nullptr && feed_ == Feed::kCount) {
            *extended_->FTotalPoints += 1;
            if (flagged) *extended_->FFlaggedPoints += 1;
        }
        if (Excluded(flagged)) return;
        const int64_t inChunk = position.record - chunkFirst_;
        const bool given = inChunk >= 0 && inChunk < chunkCount_;
        for (int32_t p = 0; p < cells_.phases(); ++p) {
            if (plan_.Usable() && !given) GiveHarmonics(record, p, 0, positions_);
            if (pairsReadable_) {
                Give(cells_.ValueA(p), ReadBEFloat(record, valueA_ + p * pairStep_));
                Give(cells_.ValueB(p), ReadBEFloat(record, valueB_ + p * pairStep_));
            }
        }
    }

    void EndFile() {
        if (extended_ != nullptr && feed_ == Feed::kCount) LogLine("Tady2");
    }

private:
    static bool Flagged(const uint8_t *record) {
        return ReadBEInt32(record, HarmonicRecordLayout::kFlag) != 0;
    }
    // Table2 leaves flagged records out unless Flagged asks for them.
    bool Excluded(bool flagged) const {
        return extended_ != nullptr && extended_->Flagged == 0 && flagged;
    }

    // Positions [from, to) of phase p of a record, the reference term once.
    void GiveHarmonics(const uint8_t *record, int32_t p, int32_t from, int32_t to) const {
        const float ref = plan_.Relative() ? plan_.Raw(record, p, reference_) : 0.0f;
        for (int32_t k = from; k < to; ++k) {
            const float raw = plan_.Raw(record, p, k);
            Give(cells_.Harmonic(p, k), plan_.Relative() ? plan_.Relate(raw, ref) : raw);
        }
    }

    // Harmonic cells [begin, end) (phase by phase) of the chunk's records.
    void GiveHarmonics(int64_t begin, int64_t end) const {
        for (int64_t r = 0; r < chunkCount_; ++r) {
            const uint8_t *record = chunk_ + r * recordSize_;
            if (Excluded(Flagged(record))) continue;
            for (int64_t cell = begin; cell < end;) {
                const int32_t p = static_cast<int32_t>(cell / positions_);
                const int32_t k = static_cast<int32_t>(cell % positions_);
                const int32_t to = static_cast<int32_t>(std::min<int64_t>(positions_, k + (end - cell)));
                GiveHarmonics(record, p, k, to);
                cell += to - k;
            }
        }
    }

    void Give(PercentileCell &cell, float v) const {
        if (feed_ == Feed::kObserve) {
            cell.Observe(v);
        } else {
            cell.Count(v);
        }
    }

    const Feed feed_;
    const HarmonicQuantity quantity_;
    const int32_t set_;
    const int32_t reference_;
    TableCells &cells_;
    ReaderFftTable2Params *const extended_;
    HarmonicFieldPlan plan_;
    int32_t positions_ = 0;
    int64_t valueA_ = 0, valueB_ = 0, pairStep_ = 0;  // phase 0's pair and the step
    bool pairsReadable_ = false;
    HelperThread &helper_;
    const uint8_t *chunk_ = nullptr;  // the chunk whose harmonic cells were given
    int64_t chunkFirst_ = 0, chunkCount_ = 0, recordSize_ = 0;
};

// The percentiles in the order the tables are written: the harmonics of
// phase 0, values A, values B, the harmonics of phases 1 and 2, of phase 3.
void WriteTables(ReaderFftTable1Params &params, TableCells &cells) {
    for (PercentileCell &cell : cells.all()) cell.Accumulate();
    const float pct = params.Percentil;
    auto harmonics = [&](int32_t p) {
        float *segment = params.HarmTable + int64_t{p} * kTablePositions;
        for (int32_t k = 0; k < cells.positions(); ++k) {
            segment[k] = cells.Harmonic(p, k).Percentile(pct);
        }
    };
    const int32_t phases = cells.phases();
    harmonics(0);
    for (int32_t p = 0; p < phases; ++p) params.ValueATable[p] = cells.ValueA(p).Percentile(pct);
    for (int32_t p = 0; p < phases; ++p) params.ValueBTable[p] = cells.ValueB(p).Percentile(pct);
    for (int32_t p = 1; p < phases; ++p) harmonics(p);
}

// The two passes and the tables; returns the call's status flags with
// everything it made already freed, so that nothing of the call runs on
// after it completes.
StatusFlags FillTables(ReaderFftTable1Params &params, ReaderFftTable2Params *extended) {
    if (extended != nullptr) {
        *extended->FFlaggedPoints = 0;
        *extended->FTotalPoints = 0;
    }
    TwoPassScan scan;
    if (!scan.Begin(params.PathFile, params.TStart, params.TStop)) return scan.flags();
    const int32_t phases = scan.scan().phases;
    *params.HarmCount = scan.scan().harmonics;
    TableCells cells(phases, std::clamp(scan.scan().harmonics, 0, kTablePositions));

    scan.Remap(extended != nullptr ? kTable2Rules : kTable1Rules, params.Quantity, params.MinMax);
    const int32_t set = params.MinMax;
    HarmonicQuantity quantity = SpectrumQuantity(
        params.Quantity, set, extended != nullptr ? PowerReading::kStored : PowerReading::kAngles,
        params.Join != 0);
    // Table2's percentages leave a value unscaled where its reference is 0.
    if (extended != nullptr && quantity.relation == Relation::kPercent) {
        quantity.relation = Relation::kPercentUnlessZero;
    }

    {
        HelperThread helper;
        TablePass observe(Feed::kObserve, quantity, set, params.FirstHarmonic, cells, extended, helper);
        TablePass count(Feed::kCount, quantity, set, params.FirstHarmonic, cells, extended, helper);
        auto fixWidths = [&] {
            for (int32_t p = 0; p < phases; ++p) {
                for (int32_t k = 0; k < cells.positions(); ++k) {
                    cells.Harmonic(p, k).FixWidth(extended != nullptr && p == 0
                                                      ? PercentileCell::WidthPrecision::kSingle
                                                      : PercentileCell::WidthPrecision::kDouble);
                }
                cells.ValueA(p).FixWidth();
                cells.ValueB(p).FixWidth();
            }
        };
        scan.Run(observe, fixWidths, count);
    }
    WriteTables(params, cells);
    return scan.flags();
}

void RunTable(ReaderFftTable1Params &params, ReaderFftTable2Params *extended) {
    CompleteWorker(FillTables(params, extended), params.Status);
}

}  // namespace

void Reader_FFT_Table_Thread1(void *block) {
    RunTable(*static_cast<ReaderFftTable1Params *>(block), nullptr);
}

void Reader_FFT_Table_Thread2(void *block) {
    ReaderFftTable2Params &params = *static_cast<ReaderFftTable2Params *>(block);
    RunTable(params.base, &params);
}

}  // namespace trova
