// The binning both histogram readers share, from the values they read: 100
// bins of a single-precision width from the least value, or 98 from a fixed
// HMin to HMax with the values outside in the outer two.
#pragma once

#include <algorithm>
#include <vector>

#include "trova/readers.h"

namespace trova::testing {

struct HistogramModel {
    double start = 0.0, width = 0.0;
    std::vector<trova_long> counts = std::vector<trova_long>(100, 0);
    trova_long inRange = 0, total = 0;
};

// The range comes from `ranged`, the counts from `counted`; a fixed range's
// ends must be finite (a reader puts the first channel's extremes in place
// of ends that are not).
inline HistogramModel Histogram(const std::vector<float> &ranged, const std::vector<float> &counted,
                                bool fixed = false, double hMin = 0.0, double hMax = 0.0) {
    HistogramModel h;
    float lo = ranged.empty() ? 0.0f : ranged[0], hi = lo;
    for (float v : ranged) lo = std::min(lo, v), hi = std::max(hi, v);
    h.width = fixed ? (hMax - hMin) / 98.0 : double((hi - lo) / 100.0f);
    h.start = fixed ? hMin - h.width : double(lo);
    for (float v : counted) {
        const bool below = fixed && double(v) < hMin, above = fixed && double(v) > hMax;
        const double q = below ? 0.0 : above ? 99.0 : h.width == 0.0 ? 0.0 : double(v - float(h.start)) / h.width;
        const bool index = q > -2147483649.0 && q < 2147483648.0;  // NaN has none
        ++h.counts[size_t(index ? std::clamp(int(q), 0, 99) : 0)];
        ++h.total, h.inRange += !below && !above;
    }
    return h;
}

}  // namespace trova::testing
