// Reader_FFT_HIST1 and Reader_FFT_HIST2: the histogram of one harmonic
// quantity per phase, 100 bins. Pass 1 finds each phase's range, pass 2
// counts the values into the bins. The stop record is not read; both
// passes share one progress meter of 50 % each.
//
// HIST2 is HIST1 with options: stored powers instead of powers formed from
// angles (and status 5 for them without power block), flagged records left
// out unless asked for, record counters, and an optional fixed range whose
// first and last bins also collect the values outside it.
#include <cmath>
#include <cstdint>

#include "files/big_endian.h"
#include "files/completion.h"
#include "files/file_table.h"
#include "files/numeric.h"
#include "files/scan.h"
#include "harmonics/harmonic_layout.h"
#include "harmonics/harmonic_quantity.h"
#include "harmstats/harmstats_params.h"
#include "harmstats/harmstats_workers.h"
#include "harmstats/two_pass_scan.h"

namespace trova {
namespace {

constexpr int kBins = 100;

// The quantity's codes and corrections: HIST1 forms powers from the angles,
// HIST2 reads them stored and refuses them without power block.
constexpr QuantityRules kHist1Rules{false, false, 8, 13, 13};
constexpr QuantityRules kHist2Rules{false, true, 8, 13, 13};

// The values of the records, per file: the quantity's fields at position
// `harmonic` (and the reference) planned once for each file's own
// harmonic count.
class HistogramValues {
public:
    HistogramValues(const HarmonicQuantity &quantity, int32_t phases, int32_t harmonic,
                    int32_t reference)
        : quantity_(quantity),
          phases_(phases),
          phasesRead_(quantity.phaseZeroOnly ? 1 : phases),
          harmonic_(harmonic),
          reference_(reference) {}

    // False when the file's records cannot even hold the flag word. A file
    // whose quantity fields lie outside its records still takes part in the
    // record counts; its values are left out.
    bool BeginFile(const FileInfoRecord &file) {
        const HarmonicRecordLayout layout = HarmonicRecordLayout::ForFile(file, phases_);
        plan_ = HarmonicFieldPlan(layout, quantity_, phasesRead_,
                                  PositionSpan{harmonic_, harmonic_}, reference_);
        return layout.FieldInRecord(HarmonicRecordLayout::kFlag);
    }

    static bool Flagged(const uint8_t *record) {
        return ReadBEInt32(record, HarmonicRecordLayout::kFlag) != 0;
    }

    // The values of phase 0 to n - 1; n is 0 when the file's values are not
    // readable.
    int32_t Fetch(const uint8_t *record, float values[kMaxHarmonicPhases]) const {
        if (!plan_.Usable()) return 0;
        for (int32_t p = 0; p < phasesRead_; ++p) {
            values[p] = plan_.Value(record, p, harmonic_, reference_);
        }
        return phasesRead_;
    }

private:
    const HarmonicQuantity quantity_;
    const int32_t phases_;
    const int32_t phasesRead_;
    const int32_t harmonic_;
    const int32_t reference_;
    HarmonicFieldPlan plan_;
};

// Working state of the call: per phase the range and the bin width.
struct PhaseBins {
    float min[kMaxHarmonicPhases] = {};
    float max[kMaxHarmonicPhases] = {};
    double width[kMaxHarmonicPhases] = {};
    bool seen = false;  // one flag: every record yields all phases read
};

class HistogramPass {
public:
    HistogramPass(HistogramValues &values, ReaderFftHist1Params &params,
                  ReaderFftHist2Params *extended, PhaseBins &bins)
        : values_(values), params_(params), extended_(extended), bins_(bins) {}

    bool BeginFile(const FileInfoRecord &file) { return values_.BeginFile(file); }
    void EndFile() {}

protected:
    // Whether a record's values enter the histogram: HIST2 leaves flagged
    // records out unless Flagged asks for them.
    bool Excluded(bool flagged) const {
        return extended_ != nullptr && extended_->Flagged == 0 && flagged;
    }

    HistogramValues &values_;
    ReaderFftHist1Params &params_;
    ReaderFftHist2Params *const extended_;
    PhaseBins &bins_;
};

// Pass 1: the smallest and largest value of each phase (strict comparisons
// in float; the first value sets both).
class RangePass : public HistogramPass {
public:
    using HistogramPass::HistogramPass;

    void Record(const uint8_t *record, const RecordPosition &) {
        if (Excluded(extended_ != nullptr && HistogramValues::Flagged(record))) return;
        float v[kMaxHarmonicPhases];
        const int32_t n = values_.Fetch(record, v);
        for (int32_t p = 0; p < n; ++p) {
            if (!bins_.seen) {
                bins_.min[p] = v[p];
                bins_.max[p] = v[p];
            } else {
                if (v[p] < bins_.min[p]) bins_.min[p] = v[p];
                if (v[p] > bins_.max[p]) bins_.max[p] = v[p];
            }
        }
        if (n > 0) bins_.seen = true;
    }
};

// Pass 2: the record counters (HIST2) and the bins.
class CountPass : public HistogramPass {
public:
    using HistogramPass::HistogramPass;

    void Record(const uint8_t *record, const RecordPosition &) {
        bool flagged = false;
        if (extended_ != nullptr) {
            flagged = HistogramValues::Flagged(record);
            *extended_->FTotalPoints += 1;
            if (flagged) *extended_->FFlaggedPoints += 1;
        }
        if (Excluded(flagged)) return;
        float v[kMaxHarmonicPhases];
        const int32_t n = values_.Fetch(record, v);
        for (int32_t p = 0; p < n; ++p) Count(p, v[p]);
    }

private:
    void Count(int32_t p, float v) {
        trova_long *counts = params_.HCounts + int64_t{kBins} * p;
        if (extended_ != nullptr && extended_->HMinMax != 0) {
            const double value = static_cast<double>(v);
            if (value < extended_->HMin || value > extended_->HMax) {
                counts[value < extended_->HMin ? 0 : kBins - 1] += 1;
                extended_->HTotalPoints[p] += 1;
                return;
            }
        }
        // Interior rule: the difference in float, the quotient in double.
        // A value that gives no bin index (NaN, or a quotient outside the
        // int32 range) lands in bin 0 like every index below 0.
        int32_t index = 0;
        if (bins_.width[p] != 0.0) {
            index = TruncToInt32(static_cast<double>(v - bins_.min[p]) / bins_.width[p]);
        }
        if (index > kBins - 1) index = kBins - 1;
        if (index < 0) index = 0;
        counts[index] += 1;
        if (extended_ != nullptr) {
            extended_->HRangePoints[p] += 1;
            extended_->HTotalPoints[p] += 1;
        }
    }
};

// Between the passes: each phase's bins from its range, or from the fixed
// range of HIST2 (98 bins from HMin to HMax, one below, one above). A fixed
// end that is not finite becomes phase 0's bound and stays for every phase.
void FixBins(ReaderFftHist1Params &params, ReaderFftHist2Params *extended, int32_t phases,
             PhaseBins &bins) {
    for (int32_t p = 0; p < phases; ++p) {
        if (extended == nullptr || extended->HMinMax == 0) {
            bins.width[p] = static_cast<double>((bins.max[p] - bins.min[p]) / 100.0f);
            params.HWidth[p] = bins.width[p];
            params.HStart[p] = static_cast<double>(bins.min[p]);
            continue;
        }
        if (!std::isfinite(extended->HMax)) extended->HMax = static_cast<double>(bins.max[p]);
        if (!std::isfinite(extended->HMin)) extended->HMin = static_cast<double>(bins.min[p]);
        const double width = (extended->HMax - extended->HMin) / 98.0;
        bins.width[p] = width;
        params.HWidth[p] = width;
        params.HStart[p] = extended->HMin - width;
        bins.min[p] = static_cast<float>(extended->HMin - width);
        bins.max[p] = static_cast<float>(extended->HMax + width);
    }
}

void RunHistogram(ReaderFftHist1Params &params, ReaderFftHist2Params *extended) {
    TwoPassScan scan;
    if (!scan.Begin(params.PathFile, params.TStart, params.TStop)) {
        CompleteWorker(scan.flags(), params.Status);
        return;
    }
    const int32_t phases = scan.scan().phases;
    for (int32_t i = 0; i < kBins * phases; ++i) params.HCounts[i] = 0;
    if (extended != nullptr) {
        for (int32_t p = 0; p < phases; ++p) {
            extended->HRangePoints[p] = 0;
            extended->HTotalPoints[p] = 0;
        }
    }
    scan.Remap(extended != nullptr ? kHist2Rules : kHist1Rules, params.Quantity, params.MinMax);
    const HarmonicQuantity quantity = TrendQuantity(
        params.Quantity, params.MinMax,
        extended != nullptr ? PowerReading::kStored : PowerReading::kAngles, params.Join != 0);
    if (extended != nullptr) {
        *extended->FFlaggedPoints = 0;
        *extended->FTotalPoints = 0;
    }

    HistogramValues values(quantity, phases, params.Harmonic, params.FirstHarmonic);
    PhaseBins bins;
    RangePass range(values, params, extended, bins);
    CountPass count(values, params, extended, bins);
    scan.Run(range, [&] { FixBins(params, extended, phases, bins); }, count);
    CompleteWorker(scan.flags(), params.Status);
}

}  // namespace

void Reader_FFT_HIST_Thread1(void *block) {
    RunHistogram(*static_cast<ReaderFftHist1Params *>(block), nullptr);
}

void Reader_FFT_HIST_Thread2(void *block) {
    ReaderFftHist2Params &params = *static_cast<ReaderFftHist2Params *>(block);
    RunHistogram(params.base, &params);
}

}  // namespace trova
