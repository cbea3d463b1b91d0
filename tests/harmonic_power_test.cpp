// Harmonic powers and relative values, bit for bit. The expected floats
// were worked out separately with every step rounded as the readers must
// round it; each case is chosen so that a step taken in the wrong precision
// (or with pi/3 for the joined angle) gives other bits.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "harmonics/harmonic_power.h"

namespace trova {
namespace {

TEST(HarmonicPowerTest, UnjoinedPowersRoundTheProductToFloatFirst) {
    const float V = 187.2476043701172f, I = 37.0919303894043f;
    const float phiV = 1.771161437034607f, phiI = 2.6547017097473145f;
    EXPECT_EQ(AnglePower(PowerKind::kActive, V, I, phiV, phiI, false), 4406.2744140625f);
    // All in double would give another float.
    const double wide = static_cast<double>(V) * I * std::cos(static_cast<double>(phiV) - phiI);
    EXPECT_NE(static_cast<float>(wide), 4406.2744140625f);
    EXPECT_EQ(AnglePower(PowerKind::kApparent, V, I, phiV, phiI, false), V * I);

    EXPECT_EQ(AnglePower(PowerKind::kReactive, 222.22967529296875f, 46.117027282714844f,
                         -2.8259687423706055f, -0.20626407861709595f, false),
              -5109.09375f);
}

TEST(HarmonicPowerTest, JoinedPowersDivideByRootThreeAndTurnTheAngle) {
    const float V = 187.2476043701172f, I = 37.0919303894043f;
    const float phiV = 1.771161437034607f, phiI = 2.6547017097473145f;
    EXPECT_EQ(AnglePower(PowerKind::kActive, V, I, phiV, phiI, true), -1412.2540283203125f);
    EXPECT_EQ(AnglePower(PowerKind::kApparent, V, I, phiV, phiI, true), 4009.914306640625f);
    EXPECT_EQ(AnglePower(PowerKind::kReactive, 222.22967529296875f, 46.117027282714844f,
                         -2.8259687423706055f, -0.20626407861709595f, true),
              2967.1123046875f);
    // The angle is 3.1415 / 3, not pi / 3: with equal angles the power is
    // U·I·cos(-1.0471666...), which differs from half of U·I.
    const float half = AnglePower(PowerKind::kActive, 300.0f, 10.0f, 0.25f, 0.25f, true);
    EXPECT_EQ(half, static_cast<float>(300.0 / std::sqrt(3.0) * 10.0 * std::cos(-kJoinAngle)));
    EXPECT_NE(half, static_cast<float>(300.0 / std::sqrt(3.0) * 10.0 * 0.5));
}

TEST(HarmonicPowerTest, RelativeValues) {
    // The guard term matters for small powers.
    EXPECT_EQ(GuardedRatio(7.66458413181681e-07f, 6.622780688303465e-07f), 1.1400913000106812f);
    EXPECT_EQ(GuardedRatio(5.0f, 0.0f), 500000000.0f);

    EXPECT_EQ(PercentOf(230.0f, 230.0f), 100.0f);
    // No guard: a zero reference gives infinity or NaN.
    EXPECT_EQ(PercentOf(1.0f, 0.0f), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(PercentOf(0.0f, 0.0f)));
}

}  // namespace
}  // namespace trova
