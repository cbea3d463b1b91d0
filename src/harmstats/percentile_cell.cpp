#include "harmstats/percentile_cell.h"

#include "files/numeric.h"

namespace trova {
namespace {

// Counts cannot realistically pass 2^31 (that many records of a window),
// but should they, they wrap instead of overflowing.
int32_t WrappingAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t WrappingSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

}  // namespace

void PercentileCell::Reset() {
    min_ = 0.0f;
    max_ = 0.0f;
    width_ = 0.0f;
    seen_ = false;
    for (int b = 0; b < kBins; ++b) {
        counts_[b] = 0;
        cumulative_[b] = 0;
    }
}

void PercentileCell::Observe(float v) {
    if (!seen_) {
        min_ = v;
        max_ = v;
        seen_ = true;
        return;
    }
    if (min_ > v) min_ = v;
    if (v > max_) max_ = v;
}

void PercentileCell::FixWidth(WidthPrecision precision) {
    const float range = max_ - min_;
    if (precision == WidthPrecision::kSingle) {
        width_ = range / 100.0f;
    } else {
        width_ = static_cast<float>(static_cast<double>(range) / 100.0);
    }
}

void PercentileCell::Count(float v) {
    const float q = (v - min_) / width_;
    int32_t bin = TruncToInt32(q);
    if (bin > kBins - 1) bin = kBins - 1;
    if (bin < 0) bin = 0;
    counts_[bin] = WrappingAdd(counts_[bin], 1);
}

void PercentileCell::Accumulate() {
    cumulative_[0] = counts_[0];
    for (int b = 1; b < kBins; ++b) cumulative_[b] = WrappingAdd(cumulative_[b - 1], counts_[b]);
}

float PercentileCell::Percentile(float pct) const {
    const int32_t total = cumulative_[kBins - 1];
    const float threshold = static_cast<float>(total) * pct;
    // The first bin whose running count is not below the threshold. With
    // 0 <= pct <= 1 the last bin always qualifies; a NaN pct stops at bin 0.
    int b = 0;
    while (b < kBins - 1 && static_cast<float>(cumulative_[b]) < threshold) ++b;

    const int32_t at = cumulative_[b];
    float result = 0.0f;
    if (at >= total) result = min_ + width_ * 100.0f;
    if (at <= cumulative_[0]) result = min_;
    if (at < total && at > cumulative_[0]) {
        // b > 0 here: the count rose after bin 0.
        const int32_t below = cumulative_[b - 1];
        const float frac = (threshold - static_cast<float>(below)) /
                           static_cast<float>(WrappingSub(at, below));
        const float base = min_ + width_ * static_cast<float>(b - 1);
        result = static_cast<float>(static_cast<double>(base) +
                                    static_cast<double>(width_) * static_cast<double>(frac));
    }
    return result;
}

}  // namespace trova
