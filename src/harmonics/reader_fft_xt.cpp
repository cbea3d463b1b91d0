// Reader_FFT_XT1 and Reader_FFT_XT2: the min/max/mean trend of one harmonic
// quantity at position k (Harmonic), per phase, in groups of consecutive
// records sized to fit the caller's Points.
//
// The two readers are one worker with the points where they differ as a
// variant: XT1 forms powers from the angles in the power block, never tests
// whether the block is there, gives a point the time of its phase-0
// minimum, drops the window's incomplete last group and returns the index
// of the last point; XT2 reads stored powers, refuses power codes without a
// power block (status 5), gives a point the time of its last record,
// delivers the incomplete last group and returns the number of points.
//
// Reader_FFT_XT3 hands the same values to interleave curves instead.
#include <cstdint>

#include "files/big_endian.h"
#include "files/completion.h"
#include "files/file_table.h"
#include "files/numeric.h"
#include "files/scan.h"
#include "frame/log.h"
#include "harmonics/harmonic_curves.h"
#include "harmonics/harmonic_grouping.h"
#include "harmonics/harmonic_params.h"
#include "harmonics/harmonic_quantity.h"
#include "harmonics/harmonic_scan.h"
#include "harmonics/harmonic_workers.h"

namespace trova {
namespace {

struct FftXtVariant {
    const char *startLine;  // the worker's first log line; nullptr: none
    QuantityRules rules;
    PowerReading reading;
    GroupingOptions grouping;
    int32_t resultOffset;  // added to the point count: -1 gives the last point's index
};

constexpr FftXtVariant kFftXt1{nullptr,
                               {false, false, 8, 13, 13},
                               PowerReading::kAngles,
                               {true, false},
                               -1};
constexpr FftXtVariant kFftXt2{"Start Reader_FFT_XT_Thread2",
                               {false, true, 8, 13, 13},
                               PowerReading::kStored,
                               {false, true},
                               0};

// XT3 reads the quantities of XT2 and four distortion codes.
constexpr QuantityRules kFftXt3Rules{false, true, 8, 13, 17};

// Hands each record's values at position k, phase by phase, to a sink: the
// grouping of XT1 and XT2 or the curves of XT3.
template <class Sink>
class TrendVisitor {
public:
    TrendVisitor(const HarmonicQuantity &quantity, int32_t phases, int32_t phasesRead,
                 int32_t harmonic, int32_t firstHarmonic, Sink &sink)
        : quantity_(quantity),
          phases_(phases),
          phasesRead_(phasesRead),
          harmonic_(harmonic),
          firstHarmonic_(firstHarmonic),
          sink_(sink) {}

    bool BeginFile(const FileInfoRecord &file) {
        plan_ = HarmonicFieldPlan(HarmonicRecordLayout::ForFile(file, phases_), quantity_,
                                  phasesRead_, PositionSpan{harmonic_, harmonic_}, firstHarmonic_);
        return plan_.Usable();
    }

    void Record(const uint8_t *record, const RecordPosition &position) {
        for (int32_t p = 0; p < phasesRead_; ++p) {
            sink_.Values(p)[0] = plan_.Value(record, p, harmonic_, firstHarmonic_);
        }
        sink_.Take(phasesRead_, 1, ReadBEDouble(record, HarmonicRecordLayout::kTime1),
                   ReadBEDouble(record, HarmonicRecordLayout::kTime2),
                   ReadBEInt32(record, HarmonicRecordLayout::kFlag), position.lastOfWindow);
    }

    void EndFile() { sink_.EndFile(); }

private:
    const HarmonicQuantity quantity_;
    const int32_t phases_;
    const int32_t phasesRead_;
    const int32_t harmonic_;
    const int32_t firstHarmonic_;
    Sink &sink_;
    HarmonicFieldPlan plan_;
};

template <class Sink>
bool ScanTrend(const HarmonicScan &scan, const HarmonicQuantity &quantity, int32_t phasesRead,
               int32_t harmonic, int32_t firstHarmonic, ProgressMeter &progress, Sink &sink) {
    TrendVisitor<Sink> visitor(quantity, scan.phases, phasesRead, harmonic, firstHarmonic, sink);
    return ScanWindow(FileTable, scan.window, StopRecordRule::kRead, progress, visitor);
}

void RunFftXt(void *block, const FftXtVariant &variant) {
    ReaderFftXtParams &params = *static_cast<ReaderFftXtParams *>(block);
    RunHarmonicWorker(params, WorkerFrame{variant.startLine, true},
                      [&](const HarmonicScan &scan, ProgressMeter &progress,
                          StatusFlags &flags) {
        const int32_t N = params.Points != nullptr ? *params.Points : 0;
        // With no room for a single point there is nothing to group: the
        // factor is reported as 0 and no file is read.
        const int32_t factor = N >= 1 ? InterleaveFactorFor(scan.samples, N) : 0;
        if (params.InterleaveFactor != nullptr) *params.InterleaveFactor = factor;
        RemapQuantity(variant.rules, scan.hasPowerBlock, params.Quantity, params.MinMax, flags);
        if (N < 1) return NothingAfterPause();
        const HarmonicQuantity quantity =
            TrendQuantity(params.Quantity, params.MinMax, variant.reading, params.Join != 0);
        const int32_t phasesRead = quantity.phaseZeroOnly ? 1 : scan.phases;
        // Phase p of point i at p·N + i.
        GroupTargets targets(params.Times, N, params.FlagWords, N, params.Result,
                             variant.resultOffset);
        for (int32_t p = 0; p < phasesRead; ++p) {
            const int64_t segment = p * int64_t{N};
            if (params.MinValues != nullptr) targets.min[p] = params.MinValues + segment;
            if (params.MaxValues != nullptr) targets.max[p] = params.MaxValues + segment;
            if (params.MeanValues != nullptr) targets.mean[p] = params.MeanValues + segment;
        }
        HarmonicGrouping grouping(variant.grouping, targets, phasesRead, 1, factor, 0);
        flags.cancelled = ScanTrend(scan, quantity, phasesRead, params.Harmonic,
                                    params.FirstHarmonic, progress, grouping);
        return NothingAfterPause();
    });
}

// Reader_FFT_XT3: the quantities of XT2 and the distortion codes 14 to 17,
// one interleave curve per phase with the caller's Points as budget. A
// record outside the time bounds the window applied closes the curves'
// bins instead of entering them (not so the scalar quantity, code 1).
void RunFftXt3(void *block) {
    ReaderFftXt3Params &params = *static_cast<ReaderFftXt3Params *>(block);
    RunHarmonicWorker(params, WorkerFrame{"Start Reader_FFT_XT_Thread3", true},
                      [&](const HarmonicScan &scan, ProgressMeter &progress,
                          StatusFlags &flags) {
        const int32_t N = params.Points != nullptr ? *params.Points : 0;
        RemapQuantity(kFftXt3Rules, scan.hasPowerBlock, params.Quantity, params.MinMax, flags);
        const HarmonicQuantity quantity =
            TrendQuantity(params.Quantity, params.MinMax, PowerReading::kStored, false);
        const int32_t phasesRead = quantity.phaseZeroOnly ? 1 : scan.phases;
        CurveTimeTest test;
        if (!quantity.phaseZeroOnly) {
            test = CurveTimeTest{scan.window.startSelected, params.TStart,
                                 scan.window.stopSelected, params.TStop};
        }
        HarmonicCurves curves(scan.phases, 1, scan.samples, N, test);
        if (params.InterleaveFactor != nullptr) *params.InterleaveFactor = curves.HalfFactor();
        flags.cancelled = ScanTrend(scan, quantity, phasesRead, params.Harmonic,
                                    params.FirstHarmonic, progress, curves);
        // Phase p of point i at p·N + i; a budget below 1 gives no point.
        CurveTargets targets(params.Times, N, params.FlagWords);
        for (int32_t p = 0; N >= 1 && params.Values != nullptr && p < scan.phases; ++p) {
            targets.values[p] = params.Values + p * int64_t{N};
        }
        *params.Result = curves.Deliver(targets);
        return NothingAfterPause();
    });
}

}  // namespace

void Reader_FFT_XT_Thread3(void *block) { RunFftXt3(block); }

void Reader_FFT_XT_Thread1(void *block) { RunFftXt(block, kFftXt1); }

void Reader_FFT_XT_Thread2(void *block) { RunFftXt(block, kFftXt2); }

}  // namespace trova
