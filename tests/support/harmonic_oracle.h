// What the harmonic statistics readers should compute, worked out in the
// tests from the values given to the recording writer: the record fields by
// name, and every quantity code of the histogram and table readers with the
// precision of each step.
#pragma once

#include <cmath>
#include <cstdint>

#include "recording_writer.h"

namespace trova::testing {

// Values for harmonic recordings: fields in [0.5, 100), the power block in
// [-3.2, 3.2) (a plausible angle in radians, or a small power).
inline rec::HarmonicValueFn HarmonicTestValues(uint64_t seed) {
    const rec::SeededValues fields(seed, 0.5f, 100.0f);
    const rec::SeededValues block(seed + 1, -3.2f, 3.2f);
    return [fields, block](int record, rec::HarmonicField field, int set, int phase, int index) {
        return field == rec::HarmonicField::Power ? block(record, field, set, phase, index)
                                                  : fields(record, field, set, phase, index);
    };
}

// The fields of record r (recording-wide index) by their names.
struct HarmonicFields {
    rec::HarmonicValueFn fn;

    float X(int r, int set) const { return fn(r, rec::HarmonicField::Scalar, set, 0, 0); }
    float U(int r, int set, int p, int k) const { return fn(r, rec::HarmonicField::Voltage, set, p, k); }
    float I(int r, int set, int p, int k) const { return fn(r, rec::HarmonicField::Current, set, p, k); }
    float A(int r, int set, int p) const { return fn(r, rec::HarmonicField::PhaseValue, set, p, 0); }
    float B(int r, int set, int p) const { return fn(r, rec::HarmonicField::PhaseValue, set, p, 1); }
    // Power block array j (angles: 0 voltage, 1 current).
    float W(int r, int j, int p, int k) const { return fn(r, rec::HarmonicField::Power, j, p, k); }

    // Active (0), reactive (1) or apparent (2) power from the angle reading,
    // with the voltage and current of value set `set`.
    float AnglePower(int r, int kind, int set, int p, int k, bool join) const {
        const float u = U(r, set, p, k);
        const float i = I(r, set, p, k);
        const float phi = W(r, 0, p, k) - W(r, 1, p, k);  // float difference
        if (!join) {
            const float ui = u * i;  // float product
            if (kind == 0) return static_cast<float>(double(ui) * std::cos(double(phi)));
            if (kind == 1) return static_cast<float>(double(ui) * std::sin(double(phi)));
            return ui;
        }
        const double scaled = double(u) / std::sqrt(3.0) * double(i);
        const double angle = double(phi) - 1.0471666666666668;  // 3.1415 / 3
        if (kind == 0) return static_cast<float>(scaled * std::cos(angle));
        if (kind == 1) return static_cast<float>(scaled * std::sin(angle));
        return static_cast<float>(scaled);
    }

    static float Percent(float value, float reference) {
        return static_cast<float>(double(value / reference) * 100.0);
    }
    static float Guarded(float value, float reference) {
        return static_cast<float>(double(value) / (double(reference) + 0.00000001));
    }

    // Histogram codes 1 to 13 at position h, reference f, after the
    // reader's remapping. `stored`: the power reading (Reader_FFT_HIST2).
    float HistValue(int r, int code, int set, int p, int h, int f, bool join, bool stored) const {
        switch (code) {
        case 1: return X(r, set);
        case 2: return U(r, set, p, h);
        case 3: return I(r, set, p, h);
        case 4: return A(r, set, p);
        case 5: return B(r, set, p);
        case 6: return Percent(U(r, 0, p, h), U(r, 0, p, f));
        case 7: return Percent(I(r, 0, p, h), I(r, 0, p, f));
        case 8: case 9: case 10:
            return stored ? W(r, code - 8, p, h) : AnglePower(r, code - 8, 0, p, h, join);
        default:
            if (stored) return Percent(W(r, code - 11, p, h), W(r, code - 11, p, f));
            return Guarded(AnglePower(r, code - 11, 0, p, h, join),
                           AnglePower(r, code - 11, 0, p, f, join));
        }
    }

    // Table codes 1 to 10 at position k, reference position ref, after the
    // reader's remapping. `stored`: the power reading (Reader_FFT_Table2),
    // whose percentages leave a value unscaled when its reference is 0.
    float TableValue(int r, int code, int set, int p, int k, int ref, bool join, bool stored) const {
        auto percent = [stored](float value, float reference) {
            if (stored && reference == 0.0f) return value;
            return value / reference * 100.0f;  // all in float
        };
        switch (code) {
        case 1: return U(r, set, p, k);
        case 2: return I(r, set, p, k);
        case 3: case 4: case 5:
            return stored ? W(r, code - 3, p, k) : AnglePower(r, code - 3, set, p, k, join);
        case 6: case 7: case 8:
            if (stored) return percent(W(r, code - 6, p, k), W(r, code - 6, p, ref));
            return Guarded(AnglePower(r, code - 6, 0, p, k, join),
                           AnglePower(r, code - 6, 0, p, ref, join));
        case 9: return percent(U(r, 0, p, k), U(r, 0, p, ref));
        default: return percent(I(r, 0, p, k), I(r, 0, p, ref));
        }
    }
};

}  // namespace trova::testing
