// The decimated harmonic trends: one interleave curve per phase and
// position, fed record by record and delivered into the caller's arrays
// once the scan is over. Takes a record's values as HarmonicGrouping does,
// so that the workers hand records to either the same way.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "curve/interleave_curve.h"
#include "harmonics/harmonic_layout.h"
#include "trova/readers.h"

namespace trova {

// The time bounds a record must keep to enter the curves; a record outside
// them closes the bins under way instead. A bound not in effect is not tested.
struct CurveTimeTest {
    bool startInEffect = false;
    double TStart = 0.0;
    bool stopInEffect = false;
    double TStop = 0.0;
};

// Where the curves go: curve (p, j), point i at values[p][j·positionStride + i];
// the time terms and flag words of curve (0, 0) at times[i], times[timeStride + i]
// and flagWords[i]. A null array is not written.
struct CurveTargets {
    CurveTargets(double *times, int64_t timeStride, trova_long *flagWords)
        : times(times), timeStride(timeStride), flagWords(flagWords) {}

    float *values[kMaxHarmonicPhases] = {};
    int64_t positionStride = 0;
    double *times = nullptr;
    int64_t timeStride = 0;
    trova_long *flagWords = nullptr;
};

class HarmonicCurves {
public:
    // phases·positions curves, each made ready for `samples` samples and
    // `points` outputs.
    HarmonicCurves(int32_t phases, int32_t positions, int64_t samples, int32_t points,
                   const CurveTimeTest &test);

    // The interleave factor of such a curve, truncated and halved: the
    // records per output value, 0 when the curves do not decimate.
    int32_t HalfFactor() const { return halfFactor_; }

    // The current record's values of `phase`, to be filled before Take.
    float *Values(int32_t phase) { return scratch_.data() + Index(phase, 0); }
    void Take(int32_t phases, int32_t positions, double time1, double time2, int32_t flagWord,
              bool lastOfWindow);
    void EndFile() {}

    // Flushes every curve and writes it out; returns the point count of
    // curve (0, 0) (0 when there is none).
    int32_t Deliver(const CurveTargets &targets);

private:
    size_t Index(int32_t phase, int32_t position) const {
        return static_cast<size_t>(phase) * static_cast<size_t>(positions_) +
               static_cast<size_t>(position);
    }

    const int32_t phases_;
    const int32_t positions_;
    const CurveTimeTest test_;
    std::unique_ptr<CInterleaveCurve[]> curves_;
    std::vector<float> scratch_;
    int32_t halfFactor_ = 0;
};

}  // namespace trova
