// The values the harmonic statistics readers take from a record: which
// quantity a caller's code and value set stand for, where its fields lie in
// a file's records, and how they combine.
//
// Two families of codes exist. The histograms read one position h of every
// phase (codes 1 to 13: scalar, voltage, current, values A and B, percent of
// a reference position, three powers and the powers relative to the
// reference). The tables read every position k of every phase (codes 1 to
// 10: voltage, current, three powers, the powers relative to the reference,
// voltage and current in percent). Each family comes in an angle reading
// (powers formed from voltage, current and the phase angles of the power
// block) and a power reading (the powers stored in the power block).
#pragma once

#include <cstdint>

#include "files/completion.h"
#include "harmonics/harmonic_layout.h"
#include "harmonics/harmonic_power.h"

namespace trova {

enum class CodeFamily { kPosition, kSpectrum };
enum class PowerReading { kAngles, kStored };

// How a reader turns the caller's code and value set into the quantity it
// reads, and which variant of the arithmetic it uses.
struct QuantityRules {
    CodeFamily family;
    PowerReading reading;
    // Spectrum family: 1 and 9, 2 and 10 trade places with value set 1 (the
    // angle-reading table) instead of only 9 and 10 becoming 1 and 2.
    bool exchangeBothWays = false;
    // Power codes asked of a recording without power block become code 1.
    bool refuseWithoutPowerBlock = false;
    // Stored spectrum percentages: a zero reference leaves the value as read.
    bool zeroReferenceKeepsValue = false;
};

// The field a value, or each operand of a power, is read from.
enum class Source : int32_t {
    kScalar,
    kVoltage,
    kCurrent,
    kValueA,
    kValueB,
    kPower0,  // power block arrays 0, 1, 2
    kPower1,
    kPower2,
};

enum class Formula : int32_t {
    kPlain,               // the float as read
    kPercent,             // 100·(v / ref), the quotient in float
    kPercentUnlessZero,   // as kPercent; v itself when ref is 0
    kPower,               // formed from voltage, current and angles
    kPowerRatio,          // power / (reference power + 0.00000001) in double
};

struct HarmonicQuantity {
    Formula formula = Formula::kPlain;
    Source source = Source::kScalar;  // kPlain and the percentages
    PowerKind power = PowerKind::kActive;  // kPower and kPowerRatio
    int32_t set = 0;  // value set of the fields read
    bool join = false;

    bool UsesReference() const {
        return formula != Formula::kPlain && formula != Formula::kPower;
    }
    // The scalar exists once per record: only phase 0 has it.
    int32_t PhasesRead(int32_t phases) const {
        return formula == Formula::kPlain && source == Source::kScalar ? 1 : phases;
    }
};

// The code and value set after the reader's rules, in this order: the
// exchange of codes with value set 1, the refusal of power codes without
// power block (status 5), value set 0 for codes above 5 (status 2), code 1
// for codes past the last (status 4). A code below 1 is taken as one past
// the last. `code` and `set` are corrected in place; the flags remember why.
void RemapQuantity(const QuantityRules &rules, bool powerBlock, int32_t &code, int32_t &set,
                   StatusFlags &flags);

// What a remapped code and value set read.
HarmonicQuantity QuantityFor(const QuantityRules &rules, int32_t code, int32_t set, bool join);

// The fields of a quantity in one file's records. Offsets are relative to
// the record start; a field outside the record makes the file unusable for
// values (a position beyond the arrays, a recording without power block
// read in the angle reading, a damaged harmonic count).
class QuantityPlan {
public:
    QuantityPlan(const HarmonicQuantity &quantity, const HarmonicRecordLayout &layout)
        : quantity_(quantity), layout_(layout) {}

    // Whether every field read for `phase` at `position` lies in the record.
    bool Fits(int32_t phase, int32_t position) const;
    // The operand at `position`: the float of the quantity's source, or the
    // power formed there. At the reference position it is the reference term.
    float Operand(const uint8_t *record, int32_t phase, int32_t position) const;
    // The value at `position`, given the reference term when the quantity
    // has one (ignored otherwise).
    float Value(const uint8_t *record, int32_t phase, int32_t position, float reference) const;

    const HarmonicQuantity &quantity() const { return quantity_; }
    const HarmonicRecordLayout &layout() const { return layout_; }

private:
    int64_t SourceOffset(Source source, int32_t phase, int32_t position) const;

    HarmonicQuantity quantity_;
    HarmonicRecordLayout layout_;
};

}  // namespace trova
