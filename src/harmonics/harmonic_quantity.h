// Harmonic quantities: what a quantity code of a harmonic reader means,
// how the readers correct codes they cannot serve, and where one file's
// records hold the fields a quantity reads.
//
// Two code families exist. The trend codes (single position k, reference
// position r) of the FFT_XT readers:
//   1 scalar quantity (phase 0 only)   2 voltage   3 current
//   4 per-phase value A   5 per-phase value B
//   6, 7 voltage, current in percent of position r
//   8, 9, 10 active, reactive, apparent power; 11, 12, 13 the same relative
//   to position r; 14 to 17 (FFT_XT3 only) total harmonic distortion.
// The spectrum codes (every position j) of the FFT_ALL readers:
//   1 voltage   2 current   3, 4, 5 active, reactive, apparent power
//   6, 7, 8 the powers relative to position r
//   9, 10 voltage, current in percent of position r.
// Powers are stored in the power block (power reading) or formed from
// voltage, current and the two angles stored there (angle reading).
#pragma once

#include <cstdint>

#include "files/completion.h"
#include "harmonics/harmonic_layout.h"
#include "harmonics/harmonic_power.h"

namespace trova {

enum class PowerReading { kAngles, kStored };

// How a reader corrects the code and the value-set selector m, in order:
//  1. with m = 1 the trend family exchanges 2 and 6, 3 and 7 (once); the
//     spectrum family turns 9 and 10 into 1 and 2, or, with
//     exchangeBothWays (Reader_FFT_Table1), also 1 and 2 into 9 and 10;
//  2. a power code without power block in the first file becomes 1
//     (status 5), where the reader tests the flag;
//  3. a code above 5 with m > 0 is read from value set 0 (status 2);
//  4. a code above the family's last becomes 1 (status 4).
// Codes below 1 are left as they are.
struct QuantityRules {
    bool spectrum;
    bool testsPowerBlock;
    int32_t firstPowerCode;
    int32_t lastPowerCode;
    int32_t lastCode;
    bool exchangeBothWays = false;
};

void RemapQuantity(const QuantityRules &rules, bool hasPowerBlock, int &Quantity, int &m,
                   StatusFlags &flags);

enum class HarmonicSource : uint8_t {
    kNone,         // codes below 1: no field is read, the value is 0
    kScalar,       // scalar quantity of a value set
    kVoltage,      // voltage harmonic array of a value set
    kCurrent,      // current harmonic array of a value set
    kPhaseValue,   // per-phase value A or B of a value set
    kStoredPower,  // an array of the power block
    kAnglePower,   // a power formed from voltage, current and angles
    kDistortion,   // total harmonic distortion of the voltage or current array
};

enum class Relation : uint8_t {
    kAbsolute,
    kPercent,  // 100 · value / value at r
    kGuarded,  // value / (value at r + 0.00000001)
    kPercentUnlessZero,  // as kPercent; the value itself where the value at r is 0
};

struct HarmonicQuantity {
    HarmonicSource source = HarmonicSource::kNone;
    Relation relation = Relation::kAbsolute;
    int32_t set = 0;      // value set of the arrays, pairs, scalar and angle-power voltages
    int32_t which = 0;    // pair value (0 A, 1 B), power array or PowerKind, distortion
                          // array (0 voltage, 1 current)
    int32_t highest = 0;  // distortion: the highest position summed
    bool join = false;    // angle powers of a joined reading
    bool phaseZeroOnly = false;
};

// The meaning of a corrected code with the selector m.
HarmonicQuantity TrendQuantity(int32_t code, int32_t m, PowerReading reading, bool join);
HarmonicQuantity SpectrumQuantity(int32_t code, int32_t m, PowerReading reading, bool join);

// Positions a reader reads from one file's records: the span it walks
// (empty when last < first) and, for relative quantities, the reference.
struct PositionSpan {
    int32_t first;
    int32_t last;
};

// One file's plan for a quantity: where its records hold the fields read
// for phases 0 to phases - 1. A file whose records do not hold every field
// (no power block, a position beyond the record, a harmonic count that
// does not fit the record) is not usable: its records are left out rather
// than read past.
class HarmonicFieldPlan {
public:
    HarmonicFieldPlan() = default;  // reads nothing, not usable
    HarmonicFieldPlan(const HarmonicRecordLayout &layout, const HarmonicQuantity &quantity,
                      int32_t phases, PositionSpan span, int32_t reference);

    bool Usable() const { return usable_; }
    bool Relative() const { return quantity_.relation != Relation::kAbsolute; }

    // The quantity before it is related to the reference position.
    float Raw(const uint8_t *record, int32_t phase, int32_t position) const;
    // Relates a raw value to the raw value at the reference position.
    float Relate(float raw, float reference) const;
    // The value at `position`, related to `reference` where the quantity is relative.
    float Value(const uint8_t *record, int32_t phase, int32_t position, int32_t reference) const {
        if (!Relative()) return Raw(record, phase, position);
        return Relate(Raw(record, phase, position), Raw(record, phase, reference));
    }

private:
    // A field array: the field of phase p at position x lies at
    // base + p·phaseStep + x·positionStep.
    struct FieldRef {
        int64_t base = 0;
        int64_t phaseStep = 0;
        int64_t positionStep = 0;
        int64_t At(int32_t phase, int32_t position) const {
            return base + phase * phaseStep + position * positionStep;
        }
    };
    bool Covers(const HarmonicRecordLayout &layout, const FieldRef &field, int32_t phases,
                int32_t lowPosition, int32_t highPosition) const;
    float Distortion(const uint8_t *record, int32_t phase) const;

    HarmonicQuantity quantity_;
    FieldRef fields_[4];  // angle powers: voltage, current, voltage angle, current angle
    int fieldCount_ = 0;
    bool usable_ = false;
};

}  // namespace trova
