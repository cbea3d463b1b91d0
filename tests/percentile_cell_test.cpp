// PercentileCell on small series whose bins and percentiles are worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "harmstats/percentile_cell.h"

namespace trova {
namespace {

PercentileCell Fed(const std::vector<float> &values) {
    PercentileCell cell;
    cell.Reset();
    for (float v : values) cell.Observe(v);
    cell.FixWidth();
    for (float v : values) cell.Count(v);
    cell.Accumulate();
    return cell;
}

TEST(PercentileCellTest, BinsAreFoundInFloatAndValuesWithoutOneGoToTheEnds) {
    struct Case { std::vector<float> series; float width; std::vector<int> bins; };
    for (const Case &c : {Case{{3.0f, 1.0f, 0.0f, 2.0f}, 0.03f, {0, 33, 66, 99}},
                          Case{{1.0e-6f, 50.0f, 100.0f}, 1.0f, {0, 50, 99}},  // 50 - 1e-6 is 50 in float
                          Case{{-2.5f, -2.5f, -2.5f}, 0.0f, {0, 0, 0}},       // 0 / 0: bin 0
                          Case{{1.0f, 2.0f, HUGE_VALF}, HUGE_VALF, {0, 0, 0}},  // (inf - 1) / inf: NaN
                          Case{{4.0f, NAN, 1.0f, NAN, 9.0f}, 0.08f, {0, 0, 0, 37, 99}}}) {  // NaN: no bound
        const PercentileCell cell = Fed(c.series);
        EXPECT_EQ(cell.width(), c.width);
        std::vector<int> bins;
        for (int b = 0; b < PercentileCell::kBins; ++b) bins.insert(bins.end(), size_t(cell.count(b)), b);
        EXPECT_EQ(bins, c.bins);
    }
}

TEST(PercentileCellTest, PercentileInterpolatesFromTheBinBelowTheCrossing) {
    std::vector<float> hundred(100), four = {3.0f, 1.0f, 0.0f, 2.0f};
    for (int i = 0; i < 100; ++i) hundred[size_t(i)] = float(i + 1);
    struct Case { std::vector<float> series; float pct, expected; int ulps; };
    for (const Case &c : {Case{four, 0.5f, 0.99f, 1},  // bin 32's edge and a whole bin
                          Case{four, 0.95f, 3.0f, 0},  // the total: min + 100 widths
                          Case{four, 0.0f, 0.0f, 0},   // bin 0: min
                          Case{hundred, 0.95f, 94.06f, 1}, Case{{7.25f}, 0.3f, 7.25f, 0},
                          Case{{-2.5f, -2.5f}, 1.0f, -2.5f, 0}, Case{{}, 0.5f, 0.0f, 0},
                          Case{{2.0f, 4.0f, 8.0f}, NAN, 2.0f, 0},    // a NaN fraction: min
                          Case{{NAN, 1.0f, 2.0f}, 0.5f, NAN, 0}}) {  // a NaN first: both bounds
        const float got = Fed(c.series).Percentile(c.pct), ulp = std::fabs(c.expected) * 0x1p-23f;
        if (std::isnan(c.expected)) EXPECT_TRUE(std::isnan(got));
        else EXPECT_NEAR(got, c.expected, float(c.ulps) * ulp) << c.pct;
    }
    // Threshold 1.6 is first reached in bin 5, one value above bin 4's count:
    // the sum in double differs from the sum in float here.
    const PercentileCell cell = Fed({91.9f, 89.5f, 1.4f, 6.7f});
    const float w = cell.width(), base = 1.4f + w * 4.0f, frac = 4.0f * 0.4f - 1.0f;
    EXPECT_EQ(cell.Percentile(0.4f), float(double(base) + double(w) * double(frac)));
}

}  // namespace
}  // namespace trova
