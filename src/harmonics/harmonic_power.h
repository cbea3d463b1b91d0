// The arithmetic of harmonic quantities that every harmonic reader forms in
// the same way: powers from voltage, current and phase angles (the angle
// reading of the power block), and the relative values. Which steps run in
// float and which in double decides the last bits of the results; each
// function states its own.
#pragma once

#include <cmath>
#include <cstdint>

namespace trova {

// Array j of the power block in the power reading; the same order names the
// powers formed in the angle reading.
enum class PowerKind : int32_t { kActive = 0, kReactive = 1, kApparent = 2 };

// The angle by which a joined (phase-to-phase) reading turns the angle
// difference: 3.1415 / 3, as the recordings have always been read.
constexpr double kJoinAngle = 1.0471666666666668;

// The power of one phase and position from its voltage, current and the two
// angles (radians). The angle difference is formed in float. Unjoined, U·I
// is a float product, multiplied in double by the cosine or sine; joined,
// U is the voltage widened to double and divided by √3, the angle is
// reduced by kJoinAngle and the products are formed in double. The result
// is rounded to float.
inline float AnglePower(PowerKind kind, float voltage, float current, float voltageAngle,
                        float currentAngle, bool join) {
    const float delta = voltageAngle - currentAngle;
    if (!join) {
        const float ui = voltage * current;
        if (kind == PowerKind::kApparent) return ui;
        const double angle = static_cast<double>(delta);
        const double trig = kind == PowerKind::kActive ? std::cos(angle) : std::sin(angle);
        return static_cast<float>(static_cast<double>(ui) * trig);
    }
    const double ui = static_cast<double>(voltage) / std::sqrt(3.0) * static_cast<double>(current);
    if (kind == PowerKind::kApparent) return static_cast<float>(ui);
    const double turned = static_cast<double>(delta) - kJoinAngle;
    const double trig = kind == PowerKind::kActive ? std::cos(turned) : std::sin(turned);
    return static_cast<float>(ui * trig);
}

// A power relative to the power at the reference position: the quotient in
// double with 0.00000001 added to the reference, no factor 100.
inline float GuardedRatio(float value, float reference) {
    return static_cast<float>(static_cast<double>(value) /
                              (static_cast<double>(reference) + 0.00000001));
}

// Percent of a reference: the quotient in float, then the factor 100. Some
// readers apply the factor in double, others in float: the bits are the
// same, because a float times 100 is exact in double and is rounded once.
inline float PercentOf(float value, float reference) {
    return static_cast<float>(static_cast<double>(value / reference) * 100.0);
}

}  // namespace trova
