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

    // The curves are independent of each other: a chunk of records may be
    // taken curve by curve instead, each curve its records in order. Takes
    // records [0, count) into the curves of cells [begin, end) of
    // phases × positions (cell p·positions + j): valueOf(r, p, j) is record
    // r's value of phase p at position j, time1[r], time2[r] and flagWords[r]
    // its time terms and flag word. Curves of other cells are not touched.
    static constexpr bool kTakesCells = true;
    template <class ValueOf>
    void TakeCells(int64_t begin, int64_t end, int32_t positions, int64_t count,
                   const ValueOf &valueOf, const double *time1, const double *time2,
                   const int32_t *flagWords) {
        for (int64_t c = begin; c < end; ++c) {
            const int32_t p = static_cast<int32_t>(c / positions), j = static_cast<int32_t>(c % positions);
            CInterleaveCurve &curve = curves_[Index(p, j)];
            for (int64_t r = 0; r < count; ++r) {
                if (Outside(time1[r], time2[r])) {
                    curve.Flush();
                } else {
                    curve.Add(time1[r], time2[r], valueOf(r, p, j), static_cast<uint32_t>(flagWords[r]));
                }
            }
        }
    }

    // Flushes every curve and writes it out; returns the point count of
    // curve (0, 0) (0 when there is none).
    int32_t Deliver(const CurveTargets &targets);

private:
    bool Outside(double time1, double time2) const {
        const double time = time1 + time2;
        return (test_.startInEffect && time < test_.TStart) || (test_.stopInEffect && time > test_.TStop);
    }
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
