// PercentileCell on small series whose bins and counts are worked out by
// hand: two passes, 100 bins, the interpolation one bin below the crossing.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "harmstats/percentile_cell.h"

namespace trova {
namespace {

using Precision = PercentileCell::WidthPrecision;

// Both passes over `values`, as a reader feeds a cell.
PercentileCell Fed(const std::vector<float> &values, Precision precision = Precision::kDouble) {
    PercentileCell cell;
    cell.Reset();
    for (float v : values) cell.Observe(v);
    cell.FixWidth(precision);
    for (float v : values) cell.Count(v);
    cell.Accumulate();
    return cell;
}

// Within `ulps` units in the last place of a float.
::testing::AssertionResult NearUlps(float actual, float expected, int ulps) {
    float lo = expected, hi = expected;
    for (int i = 0; i < ulps; ++i) {
        lo = std::nextafter(lo, -INFINITY);
        hi = std::nextafter(hi, INFINITY);
    }
    if (actual >= lo && actual <= hi) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << actual << " is not within " << ulps << " ulp of "
                                         << expected;
}

std::vector<int> OccupiedBins(const PercentileCell &cell) {
    std::vector<int> bins;
    for (int b = 0; b < PercentileCell::kBins; ++b) {
        for (int i = 0; i < cell.count(b); ++i) bins.push_back(b);
    }
    return bins;
}

TEST(PercentileCellTest, FourValuesBinsAndPercentiles) {
    const PercentileCell cell = Fed({3.0f, 1.0f, 0.0f, 2.0f});
    EXPECT_EQ(cell.min(), 0.0f);
    EXPECT_EQ(cell.max(), 3.0f);
    EXPECT_EQ(cell.width(), 0.03f);
    EXPECT_EQ(OccupiedBins(cell), (std::vector<int>{0, 33, 66, 99}));
    EXPECT_EQ(cell.cumulative(32), 1);
    EXPECT_EQ(cell.cumulative(33), 2);
    EXPECT_EQ(cell.cumulative(99), 4);

    // Threshold 2 is reached in bin 33: one bin below its lower edge plus
    // the whole fraction (2 - 1) / (2 - 1).
    EXPECT_TRUE(NearUlps(cell.Percentile(0.5f), 0.99f, 1));
    // Reached where the count equals the total: min + 100 widths.
    EXPECT_EQ(cell.Percentile(0.95f), 3.0f);
    EXPECT_EQ(cell.Percentile(1.0f), 3.0f);
    // Threshold 0 is reached in bin 0: the minimum.
    EXPECT_EQ(cell.Percentile(0.0f), 0.0f);
}

TEST(PercentileCellTest, LongerSeriesLandOneBinBelowTheCrossing) {
    std::vector<float> oneToHundred;
    for (int i = 1; i <= 100; ++i) oneToHundred.push_back(static_cast<float>(i));
    const PercentileCell hundred = Fed(oneToHundred);
    EXPECT_EQ(hundred.width(), 0.99f);
    // 95 is the only value of bin 94, where the count first reaches 95.
    EXPECT_EQ(hundred.count(94), 1);
    EXPECT_EQ(hundred.cumulative(94), 95);
    EXPECT_TRUE(NearUlps(hundred.Percentile(0.95f), 94.06f, 1));

    std::vector<float> zeroToTen;
    for (int i = 0; i <= 10; ++i) zeroToTen.push_back(static_cast<float>(i));
    EXPECT_TRUE(NearUlps(Fed(zeroToTen).Percentile(0.5f), 4.95f, 1));
}

TEST(PercentileCellTest, InterpolationIsSummedInDoublePrecision) {
    // min 1.4, max 91.9: 6.7 falls in bin 5, the others in bins 0, 97, 99.
    // pct 0.4 of 4 values: threshold 1.6 is first reached in bin 5
    // (running count 2), one value above bin 4's count of 1.
    const PercentileCell cell = Fed({91.9f, 89.5f, 1.4f, 6.7f});
    ASSERT_EQ(OccupiedBins(cell), (std::vector<int>{0, 5, 97, 99}));
    const float width = cell.width();
    const float frac = (4.0f * 0.4f - 1.0f) / 1.0f;
    const float base = 1.4f + width * 4.0f;
    const float inDouble = static_cast<float>(static_cast<double>(base) +
                                              static_cast<double>(width) * static_cast<double>(frac));
    const float inSingle = base + width * frac;
    ASSERT_NE(inDouble, inSingle);  // the series tells the two apart
    EXPECT_EQ(cell.Percentile(0.4f), inDouble);
}

TEST(PercentileCellTest, EqualValuesAndEmptyCells) {
    // A single record, or a constant series: zero width, 0/0 puts every
    // value into bin 0, and every percentile is that value.
    for (const std::vector<float> &series :
         {std::vector<float>{7.25f}, std::vector<float>{-2.5f, -2.5f, -2.5f}}) {
        const PercentileCell cell = Fed(series);
        EXPECT_EQ(cell.width(), 0.0f);
        EXPECT_EQ(cell.count(0), static_cast<int32_t>(series.size()));
        for (float pct : {0.0f, 0.3f, 0.95f, 1.0f}) EXPECT_EQ(cell.Percentile(pct), series[0]);
    }

    // No value at all: the minimum after Reset, 0.
    PercentileCell empty = Fed({});
    EXPECT_FALSE(empty.seen());
    EXPECT_EQ(empty.Percentile(0.5f), 0.0f);
    EXPECT_EQ(empty.Percentile(1.0f), 0.0f);

    // Reset forgets a previous series completely.
    PercentileCell reused = Fed({10.0f, 20.0f, 30.0f});
    reused.Reset();
    reused.Accumulate();
    EXPECT_FALSE(reused.seen());
    EXPECT_EQ(reused.min(), 0.0f);
    EXPECT_EQ(reused.max(), 0.0f);
    EXPECT_EQ(reused.cumulative(99), 0);
    EXPECT_EQ(reused.Percentile(0.5f), 0.0f);
}

TEST(PercentileCellTest, ValuesOutsideTheRangeStayInsideTheBins) {
    PercentileCell cell = Fed({0.0f, 10.0f});
    // Below the minimum: bin 0. Above the maximum: bin 99.
    cell.Count(-5.0f);
    cell.Count(1000.0f);
    // NaN and both infinities give no integer quotient: INT32_MIN, bin 0.
    cell.Count(std::numeric_limits<float>::quiet_NaN());
    cell.Count(std::numeric_limits<float>::infinity());
    cell.Count(-std::numeric_limits<float>::infinity());
    // A quotient past the int32 range likewise.
    cell.Count(3.0e12f);
    cell.Accumulate();
    EXPECT_EQ(cell.count(0), 1 + 1 + 4);
    EXPECT_EQ(cell.count(99), 1 + 1);
    EXPECT_EQ(cell.cumulative(99), 8);
}

TEST(PercentileCellTest, BinsAreFoundInFloat) {
    // The width rounds to exactly 1; 50 - 1e-6 rounds to 50 in float, so 50
    // lands in bin 50 although it lies a little less than 50 above min.
    const PercentileCell cell = Fed({1.0e-6f, 50.0f, 100.0f});
    EXPECT_EQ(cell.width(), 1.0f);
    EXPECT_EQ(OccupiedBins(cell), (std::vector<int>{0, 50, 99}));
}

TEST(PercentileCellTest, NotANumberInThePasses) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // A NaN never replaces a bound once one is set.
    const PercentileCell later = Fed({4.0f, nan, 1.0f, nan, 9.0f});
    EXPECT_EQ(later.min(), 1.0f);
    EXPECT_EQ(later.max(), 9.0f);
    EXPECT_EQ(later.count(0), 1 + 2);  // 1.0 and the two NaNs

    // A NaN first sets both bounds, and no comparison moves them again; the
    // cell stays inside its bins and answers with its NaN minimum.
    const PercentileCell first = Fed({nan, 1.0f, 2.0f});
    EXPECT_TRUE(std::isnan(first.min()));
    EXPECT_TRUE(std::isnan(first.max()));
    EXPECT_EQ(first.count(0), 3);
    EXPECT_TRUE(std::isnan(first.Percentile(0.5f)));

    // A NaN fraction (the export lets it through its clamp) stops the
    // search at bin 0 and yields the minimum.
    EXPECT_EQ(Fed({2.0f, 4.0f, 8.0f}).Percentile(nan), 2.0f);
}

TEST(PercentileCellTest, WidthPrecisionsAndStrictBounds) {
    // The difference is formed in float either way; dividing it by 100 in
    // float or in double and rounding gives the same float (53 bits are
    // enough for a correctly rounded single-precision quotient).
    for (const std::vector<float> &series :
         {std::vector<float>{0.1f, 91.9f}, std::vector<float>{-3.7f, 1.0e-3f, 12345.678f},
          std::vector<float>{1.0e-38f, 3.0e-38f}}) {
        const PercentileCell inDouble = Fed(series, Precision::kDouble);
        const PercentileCell inSingle = Fed(series, Precision::kSingle);
        const float range = series.back() - series.front();
        EXPECT_EQ(inSingle.width(), range / 100.0f);
        EXPECT_EQ(inDouble.width(), static_cast<float>(static_cast<double>(range) / 100.0));
        EXPECT_EQ(inDouble.width(), inSingle.width());
    }

    // A value equal to max lands in bin 99, whatever the rounding of width.
    const PercentileCell top = Fed({0.1f, 0.7f, 0.3f});
    EXPECT_EQ(top.count(99), 1);
    EXPECT_EQ(top.Percentile(1.0f), top.min() + top.width() * 100.0f);
}

}  // namespace
}  // namespace trova
