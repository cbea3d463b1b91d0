// PercentileCell: the percentile of one value series without keeping the
// series. Pass 1 finds the smallest and largest value, pass 2 counts every
// value into one of 100 equal bins between them, and the percentile is read
// off the cumulative counts with a linear interpolation inside the bin.
//
// Every rounding step is part of the result: the readers' tables are
// compared bit for bit, so each operation below states its precision.
#pragma once

#include <cstdint>

namespace trova {

class PercentileCell {
public:
    static constexpr int kBins = 100;

    // How FixWidth divides the range by 100.
    enum class WidthPrecision {
        kDouble,  // the difference in float, divided in double, stored as float
        kSingle,  // wholly in float
    };

    // Before pass 1: min, max, width 0, nothing seen, no counts.
    void Reset();
    // Pass 1: the first value sets min and max; afterwards strict
    // comparisons, so a NaN never replaces an existing bound.
    void Observe(float v);
    // Between the passes: width = (max - min) / 100.
    void FixWidth(WidthPrecision precision = WidthPrecision::kDouble);
    // Pass 2: bin = trunc((v - min) / width), all in float; a NaN or
    // out-of-range quotient gives INT32_MIN. Bins below 0 go to 0, above 99
    // to 99, so a zero width (0/0) puts every value into bin 0.
    void Count(float v);
    // After pass 2: running sums of the counts.
    void Accumulate();
    // The value below which the fraction `pct` (0 to 1) of the counted
    // values lies.
    float Percentile(float pct) const;

    float min() const { return min_; }
    float max() const { return max_; }
    float width() const { return width_; }
    bool seen() const { return seen_; }
    int32_t count(int bin) const { return counts_[bin]; }
    int32_t cumulative(int bin) const { return cumulative_[bin]; }

private:
    float min_ = 0.0f;
    float max_ = 0.0f;
    float width_ = 0.0f;
    bool seen_ = false;
    int32_t counts_[kBins] = {};
    int32_t cumulative_[kBins] = {};
};

}  // namespace trova
