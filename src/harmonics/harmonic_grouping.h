// The min/max/mean grouping of the harmonic trend readers. Consecutive
// records form groups of the interleave factor; each closed group gives one
// point with, per phase and position, the group's minimum, maximum and mean,
// the group's time terms and the OR of its flag words. A group runs on
// across file boundaries.
//
// The readers that form powers from angles and those that read stored
// powers group alike but for three points, which are options here: the
// point's time (the record holding phase 0's minimum at one position, or
// the record that closes the group), whether the last, incomplete group of
// the window is delivered, and what the result counts (see the workers).
#pragma once

#include <cstdint>
#include <vector>

#include "harmonics/harmonic_layout.h"
#include "trova/readers.h"

namespace trova {

struct GroupingOptions {
    // true: the point takes the time of the earliest record with the
    // smallest phase-0 value at `timePosition`; false: of its last record.
    bool timeOfMinimum;
    // true: the window's last record closes the group under way.
    bool closeAtWindowEnd;
};

// Where the points go. Phase p, position j of point i is written at index
// j·positionStride + i of min[p], max[p] and mean[p]; the time terms of
// point i at times[i] and times[timeStride + i], its flag OR at
// flagWords[i]. No more than `capacity` points are written; a null array is
// not written.
struct GroupTargets {
    // Points of at most `capacity`, time terms `timeStride` apart, and the
    // result published through `result`.
    GroupTargets(double *times, int64_t timeStride, trova_long *flagWords, int32_t capacity,
                 int *result, int32_t resultOffset)
        : times(times),
          timeStride(timeStride),
          flagWords(flagWords),
          capacity(capacity),
          result(result),
          resultOffset(resultOffset) {}

    float *min[kMaxHarmonicPhases] = {};
    float *max[kMaxHarmonicPhases] = {};
    float *mean[kMaxHarmonicPhases] = {};
    int64_t positionStride = 0;
    double *times = nullptr;
    int64_t timeStride = 0;
    trova_long *flagWords = nullptr;
    int32_t capacity = 0;
    // After each file *result = points written + resultOffset (-1: the
    // index of the last point).
    int *result = nullptr;
    int32_t resultOffset = 0;
};

class HarmonicGrouping {
public:
    // `positions`: the most positions a record brings (the working vectors'
    // length per phase).
    HarmonicGrouping(const GroupingOptions &options, const GroupTargets &targets, int32_t phases,
                     int32_t positions, int32_t factor, int32_t timePosition);

    // The current record's values of `phase`, to be filled before Add.
    float *Values(int32_t phase) { return values_.data() + Index(phase, 0); }

    // Groups close record by record: records are taken one at a time.
    static constexpr bool kTakesCells = false;

    // Takes the current record: phases 0 to phases - 1 and positions 0 to
    // positions - 1 of the values. Positions a record does not bring keep
    // what they hold and are not written when its group closes.
    void Take(int32_t phases, int32_t positions, double time1, double time2, int32_t flagWord,
              bool lastOfWindow);

    // Publishes the result after a file.
    void EndFile() {
        if (targets_.result != nullptr) *targets_.result = point_ + targets_.resultOffset;
    }

    int32_t Points() const { return point_; }

private:
    size_t Index(int32_t phase, int32_t position) const {
        return static_cast<size_t>(phase) * static_cast<size_t>(positions_) +
               static_cast<size_t>(position);
    }
    void Close(int32_t phases, int32_t positions);

    const GroupingOptions options_;
    const GroupTargets targets_;
    const int32_t positions_;
    const int32_t factor_;
    const int32_t timePosition_;
    std::vector<float> values_, min_, max_, sum_;
    int32_t inGroup_ = 0;
    int32_t point_ = 0;
    int32_t flags_ = 0;
    double time1_ = 0.0;
    double time2_ = 0.0;
};

}  // namespace trova
