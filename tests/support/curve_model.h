// A model of the interleave curve's output, written for the tests apart
// from the curve itself: cut the samples into bins, take each bin's extremes
// and order them by which one was improved on last.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace trova::testing {

struct CurveSample {
    double t1, t2;
    float value;
    uint32_t flags;
};

struct CurveOutput {
    float value;
    double t1, t2;
    uint32_t flags;
};

// The outputs of `samples` in bins of `binSize` with room for `capacity`
// outputs: a pair that does not fit whole is not emitted. A bin size of 1
// means pass-through: each sample up to the capacity as it is. The position of
// the last strict new maximum (the first sample counts as one) against that
// of the last strict new minimum decides which extreme comes second.
inline std::vector<CurveOutput> CurveModel(const std::vector<CurveSample> &samples,
                                           size_t binSize, size_t capacity) {
    std::vector<CurveOutput> out;
    if (binSize == 1) {
        for (size_t i = 0; i < samples.size() && i < capacity; ++i) {
            out.push_back({samples[i].value, samples[i].t1, samples[i].t2, samples[i].flags});
        }
        return out;
    }
    for (size_t start = 0; start < samples.size(); start += binSize) {
        if (out.size() + 2 > capacity) break;
        const size_t end = std::min(samples.size(), start + binSize);
        float lo = samples[start].value, hi = lo;
        long lastMax = 0, lastMin = -1;
        uint32_t flags = 0;
        for (size_t i = start; i < end; ++i) {
            if (samples[i].value > hi) lastMax = long(i - start);
            if (samples[i].value < lo) lastMin = long(i - start);
            hi = std::max(hi, samples[i].value);
            lo = std::min(lo, samples[i].value);
            flags |= samples[i].flags;
        }
        const double from1 = out.empty() ? samples[start].t1 : out.back().t1;
        const double from2 = out.empty() ? samples[start].t2 : out.back().t2;
        const CurveSample &last = samples[end - 1];
        const bool maxSecond = lastMax > lastMin;
        out.push_back({maxSecond ? lo : hi, (from1 + last.t1) / 2.0, from2, flags});
        out.push_back({maxSecond ? hi : lo, last.t1, last.t2, flags});
    }
    return out;
}

}  // namespace trova::testing
