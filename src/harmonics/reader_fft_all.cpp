// Reader_FFT_ALL_Harmonics_XT1 and _XT2: the min/max/mean trend of a whole
// harmonic spectrum, every position of every phase, in at most 100 groups
// of consecutive records. Phase p's matrices hold position j, point i at
// j·100 + i.
//
// One worker with the twins' differences as a variant, as for the single
// position readers: XT1 forms powers from the angles and relates them with
// a guard term, takes the time of the phase-0 minimum at FirstHarmonic,
// drops the incomplete last group and returns the last point's index; XT2
// reads stored powers and relates them in percent, takes the time of a
// group's last record, delivers the incomplete last group and returns the
// number of points. Both refuse power codes without a power block.
//
// Reader_FFT_ALL_Harmonics_XT3 hands the same values (as XT2 reads them)
// to one interleave curve per phase and position instead.
//
// The working vectors (and curves) hold the first file's harmonic count H0
// at most; each file's records are walked over its own positions, no
// further than H0.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "files/big_endian.h"
#include "files/completion.h"
#include "files/file_table.h"
#include "files/scan.h"
#include "frame/parallel.h"
#include "harmonics/harmonic_curves.h"
#include "harmonics/harmonic_grouping.h"
#include "harmonics/harmonic_params.h"
#include "harmonics/harmonic_quantity.h"
#include "harmonics/harmonic_scan.h"
#include "harmonics/harmonic_workers.h"

namespace trova {
namespace {

constexpr int32_t kSpectrumPoints = 100;
constexpr QuantityRules kSpectrumRules{true, true, 3, 8, 10};

struct FftAllVariant {
    PowerReading reading;
    GroupingOptions grouping;
    int32_t resultOffset;  // added to the point count: -1 gives the last point's index
};

constexpr FftAllVariant kFftAll1{PowerReading::kAngles, {true, false}, -1};
constexpr FftAllVariant kFftAll2{PowerReading::kStored, {false, true}, 0};

// The positions walked in a file: its own count, at most the first file's.
int32_t SpectrumPositions(const FileInfoRecord &file, int32_t firstHarmonics) {
    return std::max(0, std::min(file.harmonicCount, firstHarmonics));
}

HarmonicFieldPlan SpectrumPlan(const FileInfoRecord &file, const HarmonicScan &scan,
                               const HarmonicQuantity &quantity, int32_t positions,
                               int32_t reference) {
    return HarmonicFieldPlan(HarmonicRecordLayout::ForFile(file, scan.phases), quantity,
                             scan.phases, PositionSpan{0, positions - 1}, reference);
}

// The most positions a usable file of the window brings: the working
// vectors need no more, however large a damaged header says H0 is.
int32_t WorkingPositions(const HarmonicScan &scan, const HarmonicQuantity &quantity,
                         int32_t reference) {
    int32_t most = 0;
    for (int32_t f = scan.window.startFile; f < scan.window.endFile; ++f) {
        const FileInfoRecord &file = FileTable.entries[f];
        const int32_t positions = SpectrumPositions(file, scan.harmonics);
        if (positions > most && SpectrumPlan(file, scan, quantity, positions, reference).Usable()) {
            most = positions;
        }
    }
    return most;
}

// Hands each record's values at every position of the file, phase by
// phase, to a sink: the grouping of XT1 and XT2 or the curves of XT3.
template <class Sink>
class SpectrumVisitor {
public:
    SpectrumVisitor(const HarmonicScan &scan, const HarmonicQuantity &quantity, int32_t capacity,
                    int32_t firstHarmonic, Sink &sink)
        : scan_(scan),
          quantity_(quantity),
          capacity_(capacity),
          firstHarmonic_(firstHarmonic),
          sink_(sink) {}

    bool BeginFile(const FileInfoRecord &file) {
        positions_ = std::min(SpectrumPositions(file, scan_.harmonics), capacity_);
        plan_ = SpectrumPlan(file, scan_, quantity_, positions_, firstHarmonic_);
        return plan_.Usable();
    }

    // Powers formed from angles cost a cosine or sine per phase and
    // position: the values of a chunk's records are formed on two threads
    // before the records are taken in order, each value by the same steps.
    // The curves of XT3 take a whole chunk at once, split between the two
    // threads by curve, each curve its records in order.
    // Those chunks keep both cores busy: reading the next one meanwhile
    // was measured to cost them time (docs/performance.md).
    bool ReadAhead() const {
        return !(quantity_.source == HarmonicSource::kAnglePower || Sink::kTakesCells);
    }

    void Chunk(const uint8_t *records, int64_t first, int64_t count, int64_t size) {
        preparedCount_ = 0, chunkTaken_ = false;
        const bool angles = quantity_.source == HarmonicSource::kAnglePower;
        if (!(angles || Sink::kTakesCells) || count < 2) return;
        stride_ = static_cast<size_t>(scan_.phases) * static_cast<size_t>(positions_);
        if (stride_ == 0) return;
        chunk_ = records, chunkFirst_ = first, recordSize_ = size;
        if constexpr (Sink::kTakesCells) {
            time1_.resize(static_cast<size_t>(count)), time2_.resize(time1_.size());
            flagWords_.resize(time1_.size());
            for (int64_t r = 0; r < count; ++r) {
                const uint8_t *record = records + r * size;
                time1_[size_t(r)] = ReadBEDouble(record, HarmonicRecordLayout::kTime1);
                time2_[size_t(r)] = ReadBEDouble(record, HarmonicRecordLayout::kTime2);
                flagWords_[size_t(r)] = ReadBEInt32(record, HarmonicRecordLayout::kFlag);
            }
            preparedCount_ = count;
            helper_.SplitInTwo(static_cast<int64_t>(stride_), [](void *self, int64_t begin, int64_t end) {
                SpectrumVisitor &v = *static_cast<SpectrumVisitor *>(self);
                const auto valueOf = [&v](int64_t r, int32_t p, int32_t j) { return v.Value(r, p, j); };
                v.sink_.TakeCells(begin, end, v.positions_, v.preparedCount_, valueOf, v.time1_.data(),
                                  v.time2_.data(), v.flagWords_.data());
            }, this);
            chunkTaken_ = true;
        } else {
            prepared_.resize(static_cast<size_t>(count) * stride_);
            helper_.SplitInTwo(count, [](void *self, int64_t begin, int64_t end) {
                static_cast<SpectrumVisitor *>(self)->Prepare(begin, end);
            }, this);
            preparedCount_ = count;
        }
    }

    void Record(const uint8_t *record, const RecordPosition &position) {
        const int64_t i = position.record - chunkFirst_;
        if (chunkTaken_ && i >= 0 && i < preparedCount_) return;  // taken with its chunk
        for (int32_t p = 0; p < scan_.phases; ++p) {
            float *values = sink_.Values(p);
            if (i >= 0 && i < preparedCount_) {
                const float *from = &prepared_[static_cast<size_t>(i) * stride_ + static_cast<size_t>(p) * positions_];
                std::copy(from, from + positions_, values);
            } else {
                Values(record, p, values);
            }
        }
        sink_.Take(scan_.phases, positions_, ReadBEDouble(record, HarmonicRecordLayout::kTime1),
                   ReadBEDouble(record, HarmonicRecordLayout::kTime2),
                   ReadBEInt32(record, HarmonicRecordLayout::kFlag), position.lastOfWindow);
    }

    void EndFile() { sink_.EndFile(); }

private:
    // Phase p's values of a record at every position of the file.
    void Values(const uint8_t *record, int32_t p, float *values) const {
        // The reference of the record and phase, once, before the positions.
        const float reference = plan_.Relative() ? plan_.Raw(record, p, firstHarmonic_) : 0.0f;
        plan_.RawSpan(record, p, positions_, values);
        plan_.RelateSpan(values, positions_, reference);
    }

    // The value of phase p at position j of the chunk's record r.
    float Value(int64_t r, int32_t p, int32_t j) const {
        const uint8_t *record = chunk_ + r * recordSize_;
        const float raw = plan_.Raw(record, p, j);
        return plan_.Relative() ? plan_.Relate(raw, plan_.Raw(record, p, firstHarmonic_)) : raw;
    }

    void Prepare(int64_t begin, int64_t end) {
        for (int64_t r = begin; r < end; ++r) {
            for (int32_t p = 0; p < scan_.phases; ++p) {
                Values(chunk_ + r * recordSize_, p,
                       &prepared_[static_cast<size_t>(r) * stride_ + static_cast<size_t>(p) * positions_]);
            }
        }
    }

    const HarmonicScan &scan_;
    const HarmonicQuantity quantity_;
    const int32_t capacity_;
    const int32_t firstHarmonic_;
    Sink &sink_;
    HarmonicFieldPlan plan_;
    int32_t positions_ = 0;
    // The values of the chunk's records, record by record, phase by phase.
    std::vector<float> prepared_;
    std::vector<double> time1_, time2_;
    std::vector<int32_t> flagWords_;
    bool chunkTaken_ = false;
    size_t stride_ = 0;
    const uint8_t *chunk_ = nullptr;
    int64_t chunkFirst_ = 0, preparedCount_ = 0, recordSize_ = 0;
    HelperThread helper_;
};

template <class Sink>
bool ScanSpectrum(const HarmonicScan &scan, const HarmonicQuantity &quantity, int32_t capacity,
                  int32_t firstHarmonic, ProgressMeter &progress,
                  Sink &sink) {
    SpectrumVisitor<Sink> visitor(scan, quantity, capacity, firstHarmonic, sink);
    return ScanWindow(FileTable, scan.window, StopRecordRule::kRead, progress, visitor);
}

void RunFftAll(void *block, const FftAllVariant &variant) {
    ReaderFftAllParams &params = *static_cast<ReaderFftAllParams *>(block);
    RunHarmonicWorker(params, WorkerFrame{nullptr, false},
                      [&](const HarmonicScan &scan, ProgressMeter &progress,
                          StatusFlags &flags) {
        if (params.HarmCount != nullptr) *params.HarmCount = scan.harmonics;
        const int32_t factor = InterleaveFactorFor(scan.samples, kSpectrumPoints);
        if (params.InterleaveFactor != nullptr) *params.InterleaveFactor = factor;
        RemapQuantity(kSpectrumRules, scan.hasPowerBlock, params.Quantity, params.MinMax, flags);
        const HarmonicQuantity quantity =
            SpectrumQuantity(params.Quantity, params.MinMax, variant.reading, params.Join != 0);

        float *const minValues[kMaxHarmonicPhases] = {params.MinValues0, params.MinValues1,
                                                      params.MinValues2, params.MinValues3};
        float *const maxValues[kMaxHarmonicPhases] = {params.MaxValues0, params.MaxValues1,
                                                      params.MaxValues2, params.MaxValues3};
        float *const meanValues[kMaxHarmonicPhases] = {params.MeanValues0, params.MeanValues1,
                                                       params.MeanValues2, params.MeanValues3};
        GroupTargets targets(params.Times, kSpectrumPoints, params.FlagWords, kSpectrumPoints,
                             params.Result, variant.resultOffset);
        targets.positionStride = kSpectrumPoints;
        for (int32_t p = 0; p < scan.phases; ++p) {
            targets.min[p] = minValues[p];
            targets.max[p] = maxValues[p];
            targets.mean[p] = meanValues[p];
        }

        const int32_t capacity = WorkingPositions(scan, quantity, params.FirstHarmonic);
        HarmonicGrouping grouping(variant.grouping, targets, scan.phases, capacity, factor,
                                  params.FirstHarmonic);
        flags.cancelled = ScanSpectrum(scan, quantity, capacity, params.FirstHarmonic,
                                       progress, grouping);
        return NothingAfterPause();
    });
}

// Reader_FFT_ALL_Harmonics_XT3: the values of XT2, one interleave curve
// per phase and position with a budget of 100 points; every record of the
// window enters the curves. The output follows the completion pause.
void RunFftAll3(void *block) {
    ReaderFftAll3Params &params = *static_cast<ReaderFftAll3Params *>(block);
    RunHarmonicWorker(params, WorkerFrame{"Start Reader_FFT_ALL_Harmonics_XT_Thread3", false},
                      [&](const HarmonicScan &scan, ProgressMeter &progress,
                          StatusFlags &flags) {
        if (params.HarmCount != nullptr) *params.HarmCount = scan.harmonics;
        RemapQuantity(kSpectrumRules, scan.hasPowerBlock, params.Quantity, params.MinMax, flags);
        const HarmonicQuantity quantity =
            SpectrumQuantity(params.Quantity, params.MinMax, PowerReading::kStored, false);
        // Curves for the positions usable files bring, at most the first
        // file's count: those beyond would never take a value.
        const int32_t capacity = WorkingPositions(scan, quantity, params.FirstHarmonic);
        HarmonicCurves curves(scan.phases, capacity, scan.samples, kSpectrumPoints,
                              CurveTimeTest{});
        if (params.InterleaveFactor != nullptr) *params.InterleaveFactor = curves.HalfFactor();
        flags.cancelled = ScanSpectrum(scan, quantity, capacity, params.FirstHarmonic,
                                       progress, curves);
        return [&params, phases = scan.phases, curves = std::move(curves)]() mutable {
            LogLine("==[ Output ]============================================");
            float *const values[kMaxHarmonicPhases] = {params.Values0, params.Values1,
                                                       params.Values2, params.Values3};
            CurveTargets targets(params.Times, kSpectrumPoints, params.FlagWords);
            targets.positionStride = kSpectrumPoints;
            for (int32_t p = 0; p < phases; ++p) targets.values[p] = values[p];
            *params.Result = curves.Deliver(targets);
        };
    });
}

}  // namespace

void Reader_FFT_ALL_Harmonics_XT_Thread3(void *block) { RunFftAll3(block); }

void Reader_FFT_ALL_Harmonics_XT_Thread1(void *block) { RunFftAll(block, kFftAll1); }

void Reader_FFT_ALL_Harmonics_XT_Thread2(void *block) { RunFftAll(block, kFftAll2); }

}  // namespace trova
