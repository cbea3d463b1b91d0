#include "harmonics/harmonic_quantity.h"

#include <algorithm>
#include <cmath>

#include "files/big_endian.h"

namespace trova {

void RemapQuantity(const QuantityRules &rules, bool hasPowerBlock, int &Quantity, int &m,
                   StatusFlags &flags) {
    if (rules.spectrum) {
        if ((Quantity == 9 || Quantity == 10) && m == 1) {
            Quantity -= 8;
        } else if ((Quantity == 1 || Quantity == 2) && m == 1 && rules.exchangeBothWays) {
            Quantity += 8;
        }
    } else if (m == 1) {
        switch (Quantity) {
        case 2: Quantity = 6; break;
        case 3: Quantity = 7; break;
        case 6: Quantity = 2; break;
        case 7: Quantity = 3; break;
        default: break;
        }
    }
    if (rules.testsPowerBlock && !hasPowerBlock && Quantity >= rules.firstPowerCode &&
        Quantity <= rules.lastPowerCode) {
        Quantity = 1;
        flags.noPowerBlock = true;
    }
    if (Quantity > 5 && m > 0) {
        m = 0;
        flags.badMinMax = true;
    }
    if (Quantity > rules.lastCode) {
        Quantity = 1;
        flags.badQuantity = true;
    }
}

namespace {

// Powers 0, 1, 2 (active, reactive, apparent), absolute or relative.
HarmonicQuantity Power(int32_t kind, int32_t m, PowerReading reading, bool join, bool relative) {
    HarmonicQuantity q;
    q.set = m;
    q.which = kind;
    q.join = join;
    const bool angles = reading == PowerReading::kAngles;
    q.source = angles ? HarmonicSource::kAnglePower : HarmonicSource::kStoredPower;
    if (relative) q.relation = angles ? Relation::kGuarded : Relation::kPercent;
    return q;
}

HarmonicQuantity Field(HarmonicSource source, int32_t m, int32_t which = 0,
                       Relation relation = Relation::kAbsolute) {
    HarmonicQuantity q;
    q.source = source;
    q.set = m;
    q.which = which;
    q.relation = relation;
    return q;
}

}  // namespace

HarmonicQuantity TrendQuantity(int32_t code, int32_t m, PowerReading reading, bool join) {
    switch (code) {
    case 1: {
        HarmonicQuantity q = Field(HarmonicSource::kScalar, m);
        q.phaseZeroOnly = true;
        return q;
    }
    case 2: return Field(HarmonicSource::kVoltage, m);
    case 3: return Field(HarmonicSource::kCurrent, m);
    case 4: return Field(HarmonicSource::kPhaseValue, m, 0);
    case 5: return Field(HarmonicSource::kPhaseValue, m, 1);
    case 6: return Field(HarmonicSource::kVoltage, m, 0, Relation::kPercent);
    case 7: return Field(HarmonicSource::kCurrent, m, 0, Relation::kPercent);
    case 8:
    case 9:
    case 10: return Power(code - 8, m, reading, join, false);
    case 11:
    case 12:
    case 13: return Power(code - 11, m, reading, join, true);
    case 14:
    case 15:
    case 16:
    case 17: {
        // Voltage (14, 15) or current (16, 17), up to position 40 or 50.
        HarmonicQuantity q = Field(HarmonicSource::kDistortion, 0, code >= 16 ? 1 : 0);
        q.highest = code == 14 || code == 16 ? 40 : 50;
        return q;
    }
    default: return HarmonicQuantity{};
    }
}

HarmonicQuantity SpectrumQuantity(int32_t code, int32_t m, PowerReading reading, bool join) {
    switch (code) {
    case 1: return Field(HarmonicSource::kVoltage, m);
    case 2: return Field(HarmonicSource::kCurrent, m);
    case 3:
    case 4:
    case 5: return Power(code - 3, m, reading, join, false);
    case 6:
    case 7:
    case 8: return Power(code - 6, m, reading, join, true);
    case 9: return Field(HarmonicSource::kVoltage, m, 0, Relation::kPercent);
    case 10: return Field(HarmonicSource::kCurrent, m, 0, Relation::kPercent);
    default: return HarmonicQuantity{};
    }
}

HarmonicFieldPlan::HarmonicFieldPlan(const HarmonicRecordLayout &layout,
                                     const HarmonicQuantity &quantity, int32_t phases,
                                     PositionSpan span, int32_t reference)
    : quantity_(quantity) {
    // The fields as arrays over phase and position, their steps taken from
    // the layout itself.
    auto array = [](int64_t base, int64_t nextPhase, int64_t nextPosition) {
        return FieldRef{base, nextPhase - base, nextPosition - base};
    };
    const int32_t set = quantity.set;
    const int32_t which = quantity.which;
    auto voltage = [&](int32_t s) {
        return array(layout.Voltage(s, 0, 0), layout.Voltage(s, 1, 0), layout.Voltage(s, 0, 1));
    };
    auto current = [&](int32_t s) {
        return array(layout.Current(s, 0, 0), layout.Current(s, 1, 0), layout.Current(s, 0, 1));
    };
    auto power = [&](int32_t j) {
        return array(layout.PowerBlock(j, 0, 0), layout.PowerBlock(j, 1, 0),
                     layout.PowerBlock(j, 0, 1));
    };
    switch (quantity.source) {
    case HarmonicSource::kNone: break;
    case HarmonicSource::kScalar:
        fields_[fieldCount_++] = FieldRef{HarmonicRecordLayout::Scalar(set), 0, 0};
        break;
    case HarmonicSource::kVoltage: fields_[fieldCount_++] = voltage(set); break;
    case HarmonicSource::kCurrent: fields_[fieldCount_++] = current(set); break;
    case HarmonicSource::kPhaseValue:
        fields_[fieldCount_++] = array(layout.PhaseValue(set, 0, which),
                                       layout.PhaseValue(set, 1, which),
                                       layout.PhaseValue(set, 0, which));
        break;
    case HarmonicSource::kStoredPower: fields_[fieldCount_++] = power(which); break;
    case HarmonicSource::kAnglePower:
        fields_[fieldCount_++] = voltage(set);
        fields_[fieldCount_++] = current(set);
        fields_[fieldCount_++] = power(0);  // voltage angles
        fields_[fieldCount_++] = power(1);  // current angles
        break;
    case HarmonicSource::kDistortion:
        fields_[fieldCount_++] = which == 0 ? voltage(0) : current(0);
        break;
    }

    // The positions read: the span, the reference of a relative quantity,
    // or positions 1 to `highest` of a distortion, however large H is.
    bool any = span.first <= span.last;
    int32_t low = span.first;
    int32_t high = span.last;
    if (Relative()) {
        low = any ? std::min(low, reference) : reference;
        high = any ? std::max(high, reference) : reference;
        any = true;
    }
    if (quantity.source == HarmonicSource::kDistortion) {
        low = 1;
        high = quantity.highest;
        any = true;
    }
    usable_ = layout.FieldInRecord(HarmonicRecordLayout::kFlag);
    for (int i = 0; any && i < fieldCount_; ++i) {
        usable_ = usable_ && Covers(layout, fields_[i], phases, low, high);
    }
}

bool HarmonicFieldPlan::Covers(const HarmonicRecordLayout &layout, const FieldRef &field,
                               int32_t phases, int32_t lowPosition, int32_t highPosition) const {
    // Offsets are affine in phase and position: the corners bound them all.
    const int32_t lastPhase = phases > 1 ? phases - 1 : 0;
    return layout.FieldInRecord(field.At(0, lowPosition)) &&
           layout.FieldInRecord(field.At(0, highPosition)) &&
           layout.FieldInRecord(field.At(lastPhase, lowPosition)) &&
           layout.FieldInRecord(field.At(lastPhase, highPosition));
}

float HarmonicFieldPlan::Raw(const uint8_t *record, int32_t phase, int32_t position) const {
    switch (quantity_.source) {
    case HarmonicSource::kNone: return 0.0f;
    case HarmonicSource::kScalar:
    case HarmonicSource::kVoltage:
    case HarmonicSource::kCurrent:
    case HarmonicSource::kPhaseValue:
    case HarmonicSource::kStoredPower:
        return ReadBEFloat(record, fields_[0].At(phase, position));
    case HarmonicSource::kAnglePower:
        return AnglePower(static_cast<PowerKind>(quantity_.which),
                          ReadBEFloat(record, fields_[0].At(phase, position)),
                          ReadBEFloat(record, fields_[1].At(phase, position)),
                          ReadBEFloat(record, fields_[2].At(phase, position)),
                          ReadBEFloat(record, fields_[3].At(phase, position)), quantity_.join);
    case HarmonicSource::kDistortion: return Distortion(record, phase);
    }
    return 0.0f;
}

float HarmonicFieldPlan::Relate(float raw, float reference) const {
    switch (quantity_.relation) {
    case Relation::kPercent: return PercentOf(raw, reference);
    case Relation::kGuarded: return GuardedRatio(raw, reference);
    case Relation::kPercentUnlessZero: return reference != 0.0f ? PercentOf(raw, reference) : raw;
    case Relation::kAbsolute: break;
    }
    return raw;
}

// 100 · √(sum of the squares at positions 2 to `highest`) / (value at 1),
// in double; 0 when the value at position 1 is 0. Positions run on past H
// into whatever follows, as long as the record holds them (the plan made
// sure it does).
float HarmonicFieldPlan::Distortion(const uint8_t *record, int32_t phase) const {
    const FieldRef &values = fields_[0];
    const float fundamental = ReadBEFloat(record, values.At(phase, 1));
    double squares = 0.0;
    for (int32_t x = 2; x <= quantity_.highest; ++x) {
        const double v = static_cast<double>(ReadBEFloat(record, values.At(phase, x)));
        squares += v * v;
    }
    if (fundamental == 0.0f) return 0.0f;
    return static_cast<float>(100.0 * std::sqrt(squares) / static_cast<double>(fundamental));
}

}  // namespace trova
