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
#include <cstdint>

#include "files/big_endian.h"
#include "files/completion.h"
#include "files/file_table.h"
#include "files/numeric.h"
#include "files/scan.h"
#include "frame/log.h"
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

class FftXtVisitor {
public:
    FftXtVisitor(const ReaderFftXtParams &params, const HarmonicQuantity &quantity,
                 int32_t phases, int32_t phasesRead, HarmonicGrouping &grouping,
                 int32_t resultOffset)
        : params_(params),
          quantity_(quantity),
          phases_(phases),
          phasesRead_(phasesRead),
          grouping_(grouping),
          resultOffset_(resultOffset) {}

    bool BeginFile(const FileInfoRecord &file) {
        const int32_t k = params_.Harmonic;
        plan_ = HarmonicFieldPlan(HarmonicRecordLayout::ForFile(file, phases_), quantity_,
                                  phasesRead_, PositionSpan{k, k}, params_.FirstHarmonic);
        return plan_.Usable();
    }

    void Record(const uint8_t *record, const RecordPosition &position) {
        for (int32_t p = 0; p < phasesRead_; ++p) {
            grouping_.Values(p)[0] =
                plan_.Value(record, p, params_.Harmonic, params_.FirstHarmonic);
        }
        grouping_.Add(phasesRead_, 1, ReadBEDouble(record, HarmonicRecordLayout::kTime1),
                      ReadBEDouble(record, HarmonicRecordLayout::kTime2),
                      ReadBEInt32(record, HarmonicRecordLayout::kFlag), position.lastOfWindow);
    }

    void EndFile() { *params_.Result = grouping_.Points() + resultOffset_; }

private:
    const ReaderFftXtParams &params_;
    const HarmonicQuantity quantity_;
    const int32_t phases_;
    const int32_t phasesRead_;
    HarmonicGrouping &grouping_;
    const int32_t resultOffset_;
    HarmonicFieldPlan plan_;
};

void RunFftXt(void *block, const FftXtVariant &variant) {
    ReaderFftXtParams &params = *static_cast<ReaderFftXtParams *>(block);
    if (variant.startLine != nullptr) LogLine(variant.startLine);
    FileBuffer buffer;
    EnsureFileTable(params.PathFile, HeaderVariant::kHarmonic, buffer);
    StatusFlags flags;
    float unposted = 0.0f;
    if (FileTable.fileCount >= 1) {
        const HarmonicScan scan =
            PrepareHarmonicScan(FileTable, params.TStart, params.TStop, buffer);
        ProgressMeter progress(ProgressMeter::StepFor(scan.window));
        const int32_t N = params.Points != nullptr ? *params.Points : 0;
        // With no room for a single point there is nothing to group: the
        // factor is reported as 0 and no file is read.
        const int32_t factor = N >= 1 ? InterleaveFactorFor(scan.samples, N) : 0;
        if (params.InterleaveFactor != nullptr) *params.InterleaveFactor = factor;
        RemapQuantity(variant.rules, scan.hasPowerBlock, params.Quantity, params.MinMax, flags);
        if (N >= 1) {
            const HarmonicQuantity quantity = TrendQuantity(params.Quantity, params.MinMax,
                                                            variant.reading, params.Join != 0);
            const int32_t phasesRead = quantity.phaseZeroOnly ? 1 : scan.phases;
            // Phase p of point i at p·N + i.
            GroupTargets targets;
            for (int32_t p = 0; p < phasesRead; ++p) {
                const int64_t segment = p * int64_t{N};
                if (params.MinValues != nullptr) targets.min[p] = params.MinValues + segment;
                if (params.MaxValues != nullptr) targets.max[p] = params.MaxValues + segment;
                if (params.MeanValues != nullptr) targets.mean[p] = params.MeanValues + segment;
            }
            targets.times = params.Times;
            targets.timeStride = N;
            targets.flagWords = params.FlagWords;
            targets.capacity = N;
            HarmonicGrouping grouping(variant.grouping, targets, phasesRead, 1, factor, 0);
            FftXtVisitor visitor(params, quantity, scan.phases, phasesRead, grouping,
                                 variant.resultOffset);
            flags.cancelled = ScanWindow(FileTable, scan.window, StopRecordRule::kRead, buffer,
                                         progress, visitor);
        }
        unposted = progress.accumulator();
    }
    // The rest of the progress, also when it is 0.
    worker::PostProgress(TruncToInt32(unposted));
    CompleteWorker(flags, params.Status);
}

}  // namespace

void Reader_FFT_XT_Thread1(void *block) { RunFftXt(block, kFftXt1); }

void Reader_FFT_XT_Thread2(void *block) { RunFftXt(block, kFftXt2); }

}  // namespace trova
