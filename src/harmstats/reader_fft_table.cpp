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
#include <optional>
#include <vector>

#include "files/big_endian.h"
#include "files/completion.h"
#include "files/file_table.h"
#include "files/scan.h"
#include "frame/log.h"
#include "harmonics/harmonic_layout.h"
#include "harmstats/harmonic_values.h"
#include "harmstats/harmstats_params.h"
#include "harmstats/harmstats_workers.h"
#include "harmstats/percentile_cell.h"
#include "harmstats/two_pass_scan.h"

namespace trova {
namespace {

// Each phase owns 500 entries of HarmTable.
constexpr int32_t kTablePositions = 500;

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
              TableCells &cells, ReaderFftTable2Params *extended)
        : feed_(feed),
          quantity_(quantity),
          set_(set),
          reference_(reference),
          cells_(cells),
          extended_(extended) {}

    // Plans the file's fields: its own harmonic count, capped at the cells.
    // Fields outside the file's records are not read: the harmonic values
    // (a position or a power block the records lack) and the values A and B
    // are planned apart. Its records are still counted (Table2).
    bool BeginFile(const FileInfoRecord &file) {
        plan_.emplace(quantity_, HarmonicRecordLayout::ForFile(file, cells_.phases()));
        const HarmonicRecordLayout &layout = plan_->layout();
        positions_ = std::clamp(file.harmonicCount, 0, cells_.positions());
        harmonicsReadable_ = true;
        pairsReadable_ = true;
        for (int32_t p = 0; p < cells_.phases(); ++p) {
            // The arrays are contiguous: their first and last position bound them.
            harmonicsReadable_ = harmonicsReadable_ &&
                                 (positions_ == 0 ||
                                  (plan_->Fits(p, 0) && plan_->Fits(p, positions_ - 1))) &&
                                 (!quantity_.UsesReference() || plan_->Fits(p, reference_));
            pairsReadable_ = pairsReadable_ &&
                             layout.FieldInRecord(layout.PhaseValue(set_, p, 0)) &&
                             layout.FieldInRecord(layout.PhaseValue(set_, p, 1));
        }
        return layout.FieldInRecord(HarmonicRecordLayout::kFlag);
    }

    void Record(const uint8_t *record, const RecordPosition &) {
        const bool flagged = ReadBEInt32(record, HarmonicRecordLayout::kFlag) != 0;
        if (extended_ != nullptr && feed_ == Feed::kCount) {
            *extended_->FTotalPoints += 1;
            if (flagged) *extended_->FFlaggedPoints += 1;
        }
        if (extended_ != nullptr && extended_->Flagged == 0 && flagged) return;
        const HarmonicRecordLayout &layout = plan_->layout();
        for (int32_t p = 0; p < cells_.phases(); ++p) {
            if (harmonicsReadable_) {
                const float ref =
                    quantity_.UsesReference() ? plan_->Operand(record, p, reference_) : 0.0f;
                for (int32_t k = 0; k < positions_; ++k) {
                    Give(cells_.Harmonic(p, k), plan_->Value(record, p, k, ref));
                }
            }
            if (pairsReadable_) {
                Give(cells_.ValueA(p), ReadBEFloat(record, layout.PhaseValue(set_, p, 0)));
                Give(cells_.ValueB(p), ReadBEFloat(record, layout.PhaseValue(set_, p, 1)));
            }
        }
    }

    void EndFile() {
        if (extended_ != nullptr && feed_ == Feed::kCount) LogLine("Tady2");
    }

private:
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
    std::optional<QuantityPlan> plan_;
    int32_t positions_ = 0;
    bool harmonicsReadable_ = false;
    bool pairsReadable_ = false;
};

// The percentiles in the order the tables are written: the harmonics of
// phase 0, values A, values B, the harmonics of phases 1 and 2, of phase 3.
void WriteTables(ReaderFftTable1Params &params, TableCells &cells) {
    for (PercentileCell &cell : cells.all()) cell.Accumulate();
    const float pct = params.Percentil;
    auto harmonics = [&](int32_t p) {
        for (int32_t k = 0; k < cells.positions(); ++k) {
            params.HarmTable[int64_t{p} * kTablePositions + k] = cells.Harmonic(p, k).Percentile(pct);
        }
    };
    harmonics(0);
    for (int32_t p = 0; p < cells.phases(); ++p) params.ValueATable[p] = cells.ValueA(p).Percentile(pct);
    for (int32_t p = 0; p < cells.phases(); ++p) params.ValueBTable[p] = cells.ValueB(p).Percentile(pct);
    for (int32_t p = 1; p < cells.phases(); ++p) harmonics(p);
}

void RunTable(ReaderFftTable1Params &params, ReaderFftTable2Params *extended) {
    if (extended != nullptr) {
        *extended->FFlaggedPoints = 0;
        *extended->FTotalPoints = 0;
    }
    TwoPassScan scan;
    if (!scan.Begin(params.PathFile, params.TStart, params.TStop)) {
        CompleteWorker(scan.flags(), params.Status);
        return;
    }
    const int32_t phases = scan.phases();
    *params.HarmCount = scan.first().harmonicCount;
    TableCells cells(phases, std::clamp(scan.first().harmonicCount, 0, kTablePositions));

    QuantityRules rules{CodeFamily::kSpectrum, PowerReading::kAngles};
    rules.exchangeBothWays = true;
    if (extended != nullptr) {
        rules.reading = PowerReading::kStored;
        rules.exchangeBothWays = false;
        rules.refuseWithoutPowerBlock = true;
        rules.zeroReferenceKeepsValue = true;
    }
    const HarmonicQuantity quantity =
        scan.Remap(rules, params.Quantity, params.MinMax, params.Join != 0);
    const int32_t set = params.MinMax;

    TablePass observe(Feed::kObserve, quantity, set, params.FirstHarmonic, cells, extended);
    TablePass count(Feed::kCount, quantity, set, params.FirstHarmonic, cells, extended);
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
    WriteTables(params, cells);
    CompleteWorker(scan.flags(), params.Status);
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
