#include "harmstats/harmonic_values.h"

#include "files/big_endian.h"

namespace trova {
namespace {

int32_t LastCode(CodeFamily family) { return family == CodeFamily::kPosition ? 13 : 10; }

bool IsPowerCode(CodeFamily family, int32_t code) {
    return family == CodeFamily::kPosition ? code >= 8 && code <= 13 : code >= 3 && code <= 8;
}

int32_t Exchanged(const QuantityRules &rules, int32_t code) {
    if (rules.family == CodeFamily::kPosition) {
        switch (code) {
        case 2: return 6;
        case 3: return 7;
        case 6: return 2;
        case 7: return 3;
        default: return code;
        }
    }
    switch (code) {
    case 9: return 1;
    case 10: return 2;
    case 1: return rules.exchangeBothWays ? 9 : 1;
    case 2: return rules.exchangeBothWays ? 10 : 2;
    default: return code;
    }
}

Source PowerArray(int32_t index) {
    return index == 0 ? Source::kPower0 : index == 1 ? Source::kPower1 : Source::kPower2;
}

HarmonicQuantity Plain(Source source, int32_t set) {
    HarmonicQuantity q;
    q.source = source;
    q.set = set;
    return q;
}

HarmonicQuantity Relative(Formula formula, Source source) {
    HarmonicQuantity q;
    q.formula = formula;
    q.source = source;
    return q;  // references are always of value set 0
}

HarmonicQuantity Power(Formula formula, int32_t kind, int32_t set, bool join) {
    HarmonicQuantity q;
    q.formula = formula;
    q.power = static_cast<PowerKind>(kind);
    q.set = set;
    q.join = join;
    return q;
}

HarmonicQuantity PositionQuantity(PowerReading reading, int32_t code, int32_t set, bool join) {
    switch (code) {
    case 2: return Plain(Source::kVoltage, set);
    case 3: return Plain(Source::kCurrent, set);
    case 4: return Plain(Source::kValueA, set);
    case 5: return Plain(Source::kValueB, set);
    case 6: return Relative(Formula::kPercent, Source::kVoltage);
    case 7: return Relative(Formula::kPercent, Source::kCurrent);
    case 8: case 9: case 10:
        if (reading == PowerReading::kStored) return Plain(PowerArray(code - 8), 0);
        return Power(Formula::kPower, code - 8, 0, join);
    case 11: case 12: case 13:
        if (reading == PowerReading::kStored) return Relative(Formula::kPercent, PowerArray(code - 11));
        return Power(Formula::kPowerRatio, code - 11, 0, join);
    default: return Plain(Source::kScalar, set);
    }
}

HarmonicQuantity SpectrumQuantity(const QuantityRules &rules, int32_t code, int32_t set,
                                  bool join) {
    const Formula percent =
        rules.zeroReferenceKeepsValue ? Formula::kPercentUnlessZero : Formula::kPercent;
    const bool stored = rules.reading == PowerReading::kStored;
    switch (code) {
    case 2: return Plain(Source::kCurrent, set);
    case 3: case 4: case 5:
        if (stored) return Plain(PowerArray(code - 3), 0);
        return Power(Formula::kPower, code - 3, set, join);
    case 6: case 7: case 8:
        if (stored) return Relative(percent, PowerArray(code - 6));
        return Power(Formula::kPowerRatio, code - 6, set, join);
    case 9: return Relative(percent, Source::kVoltage);
    case 10: return Relative(percent, Source::kCurrent);
    default: return Plain(Source::kVoltage, set);
    }
}

}  // namespace

void RemapQuantity(const QuantityRules &rules, bool powerBlock, int32_t &code, int32_t &set,
                   StatusFlags &flags) {
    const int32_t last = LastCode(rules.family);
    if (code < 1) code = last + 1;
    if (set == 1) code = Exchanged(rules, code);
    if (rules.refuseWithoutPowerBlock && !powerBlock && IsPowerCode(rules.family, code)) {
        code = 1;
        flags.noPowerBlock = true;
    }
    if (code > 5 && set > 0) {
        set = 0;
        flags.badMinMax = true;
    }
    if (code > last) {
        code = 1;
        flags.badQuantity = true;
    }
}

HarmonicQuantity QuantityFor(const QuantityRules &rules, int32_t code, int32_t set, bool join) {
    return rules.family == CodeFamily::kPosition ? PositionQuantity(rules.reading, code, set, join)
                                                 : SpectrumQuantity(rules, code, set, join);
}

int64_t QuantityPlan::SourceOffset(Source source, int32_t phase, int32_t position) const {
    const int32_t set = quantity_.set;
    switch (source) {
    case Source::kScalar: return HarmonicRecordLayout::Scalar(set);
    case Source::kVoltage: return layout_.Voltage(set, phase, position);
    case Source::kCurrent: return layout_.Current(set, phase, position);
    case Source::kValueA: return layout_.PhaseValue(set, phase, 0);
    case Source::kValueB: return layout_.PhaseValue(set, phase, 1);
    case Source::kPower0: return layout_.PowerBlock(0, phase, position);
    case Source::kPower1: return layout_.PowerBlock(1, phase, position);
    case Source::kPower2: return layout_.PowerBlock(2, phase, position);
    }
    return -1;
}

bool QuantityPlan::Fits(int32_t phase, int32_t position) const {
    const Formula formula = quantity_.formula;
    if (formula == Formula::kPower || formula == Formula::kPowerRatio) {
        return layout_.FieldInRecord(SourceOffset(Source::kVoltage, phase, position)) &&
               layout_.FieldInRecord(SourceOffset(Source::kCurrent, phase, position)) &&
               layout_.FieldInRecord(SourceOffset(Source::kPower0, phase, position)) &&
               layout_.FieldInRecord(SourceOffset(Source::kPower1, phase, position));
    }
    return layout_.FieldInRecord(SourceOffset(quantity_.source, phase, position));
}

float QuantityPlan::Operand(const uint8_t *record, int32_t phase, int32_t position) const {
    const Formula formula = quantity_.formula;
    if (formula == Formula::kPower || formula == Formula::kPowerRatio) {
        // The angle reading: arrays 0 and 1 hold the voltage and current angles.
        return AnglePower(quantity_.power,
                          ReadBEFloat(record, SourceOffset(Source::kVoltage, phase, position)),
                          ReadBEFloat(record, SourceOffset(Source::kCurrent, phase, position)),
                          ReadBEFloat(record, SourceOffset(Source::kPower0, phase, position)),
                          ReadBEFloat(record, SourceOffset(Source::kPower1, phase, position)),
                          quantity_.join);
    }
    return ReadBEFloat(record, SourceOffset(quantity_.source, phase, position));
}

float QuantityPlan::Value(const uint8_t *record, int32_t phase, int32_t position,
                          float reference) const {
    const float v = Operand(record, phase, position);
    switch (quantity_.formula) {
    case Formula::kPlain:
    case Formula::kPower: return v;
    case Formula::kPercent: return PercentOf(v, reference);
    case Formula::kPercentUnlessZero: return reference != 0.0f ? PercentOf(v, reference) : v;
    case Formula::kPowerRatio: return GuardedRatio(v, reference);
    }
    return v;
}

}  // namespace trova
