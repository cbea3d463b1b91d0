#include "support/harmonic_model.h"

#include <algorithm>
#include <cmath>
#include <cstring>


namespace trova::testing {

uint32_t Bits(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

rec::RecordingPlan HarmonicPlan(int channelCode, int harmonics, bool powerBlock,
                                const std::vector<int> &files, uint64_t seed, int flagPeriod,
                                int32_t flagWord) {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.harmonic.channelCode = channelCode;
    plan.harmonic.harmonics = harmonics;
    plan.harmonic.powerBlock = powerBlock;
    plan.harmonicValues = rec::SeededValues(seed, 0.5f, 250.0f);
    plan.flags = rec::everyKth(flagPeriod, flagWord, flagPeriod / 2);
    for (int records : files) plan.add(records);
    return plan;
}

std::string CodeCase::Name() const {
    return "reader " + std::to_string(reader) + " code " + std::to_string(quantity) + " MinMax " +
           std::to_string(minMax) + " Join " + std::to_string(join);
}

Corrected CodeCase::CorrectedBy(const Corrected *withMinMaxZero) const {
    return minMax != 0 ? Corrected{quantity, 0, 0} : withMinMaxZero[quantity];
}

std::vector<CodeCase> EveryCodeCase(int lastCode, int firstPower, int lastPower) {
    std::vector<CodeCase> cases;
    for (int reader : {1, 2}) {
        for (int quantity = 1; quantity <= lastCode; ++quantity) {
            for (int minMax : {1, 0}) {
                cases.push_back(CodeCase{reader, quantity, minMax, 0});
                if (quantity >= firstPower && quantity <= lastPower) {
                    cases.push_back(CodeCase{reader, quantity, minMax, 1});
                }
            }
        }
    }
    return cases;
}

ValueModel ModelOf(const rec::RecordingPlan &plan, bool angles, bool join) {
    return ValueModel{plan.harmonicValues, angles, join, plan.harmonic.phases(),
                      plan.harmonic.harmonics};
}

std::vector<ModelRecord> ModelRecords(const rec::RecordingInfo &info, int first, int last,
                                      const rec::FlagFn &flags, double interval) {
    std::vector<ModelRecord> out;
    for (const rec::MemberInfo &m : info.table()) {
        for (int r = 0; r < m.records; ++r) {
            const int index = m.firstRecord + r;
            if (index < first || index > last) continue;
            const double time = m.firstTime + r * interval;
            const double t1 = std::floor(time);
            out.push_back(ModelRecord{index, t1, time - t1, flags ? flags(index) : 0});
        }
    }
    return out;
}

// Written from the definition, not with the library's own function: the
// angle difference in float; unjoined, U·I in float times the cosine or
// sine in double; joined, U / √3 · I and the turned angle in double.
float ValueModel::AnglePowerOf(int kind, int n, int set, int p, int x) const {
    const float u = V(n, set, p, x);
    const float i = I(n, set, p, x);
    const float phi = X(n, 0, p, x) - X(n, 1, p, x);
    if (!join) {
        const float ui = u * i;
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

float ValueModel::ArrayAt(bool current, int n, int set, int p, int x) const {
    const int flat = p * harmonics + x;
    const int size = phases * harmonics;
    if (flat < size) {
        return current ? I(n, set, flat / harmonics, flat % harmonics)
                       : V(n, set, flat / harmonics, flat % harmonics);
    }
    auto bits = [](int32_t word) {
        float f;
        std::memcpy(&f, &word, sizeof f);
        return f;
    };
    if (flat == size) return bits(phases);
    if (flat == size + 1) return bits(current ? 2 : harmonics);
    const int next = flat - size - 2;
    if (!current) return I(n, set, next / harmonics, next % harmonics);
    return 0.0f;  // the pairs: not reached by any code at the sizes the tests use
}

namespace {

float Percent(float value, float reference) {
    return static_cast<float>(static_cast<double>(value / reference) * 100.0);
}

}  // namespace

float ValueModel::Trend(int code, int m, int n, int p, int k, int r) const {
    switch (code) {
    case 1: return v(n, rec::HarmonicField::Scalar, m, 0, 0);
    case 2: return V(n, m, p, k);
    case 3: return I(n, m, p, k);
    case 4: return v(n, rec::HarmonicField::PhaseValue, m, p, 0);
    case 5: return v(n, rec::HarmonicField::PhaseValue, m, p, 1);
    case 6: return Percent(V(n, 0, p, k), V(n, 0, p, r));
    case 7: return Percent(I(n, 0, p, k), I(n, 0, p, r));
    case 8:
    case 9:
    case 10:
        return angles ? AnglePowerOf(code - 8, n, 0, p, k) : X(n, code - 8, p, k);
    case 11:
    case 12:
    case 13: {
        const int kind = code - 11;
        if (angles) {
            const double value = AnglePowerOf(kind, n, 0, p, k);
            const double reference = AnglePowerOf(kind, n, 0, p, r);
            return static_cast<float>(value / (reference + 0.00000001));
        }
        return Percent(X(n, kind, p, k), X(n, kind, p, r));
    }
    case 14:
    case 15:
    case 16:
    case 17: {
        const bool current = code >= 16;
        const int highest = code == 14 || code == 16 ? 40 : 50;
        const float fundamental = ArrayAt(current, n, 0, p, 1);
        double squares = 0.0;
        for (int x = 2; x <= highest; ++x) {
            const double value = ArrayAt(current, n, 0, p, x);
            squares += value * value;
        }
        if (fundamental == 0.0f) return 0.0f;
        return static_cast<float>(100.0 * std::sqrt(squares) / fundamental);
    }
    default: return 0.0f;
    }
}

float ValueModel::Spectrum(int code, int m, int n, int p, int j, int r) const {
    auto percent = [this](float value, float reference) {
        if (keepsUnscaled && reference == 0.0f) return value;
        return value / reference * 100.0f;
    };
    switch (code) {
    case 1: return V(n, m, p, j);
    case 2: return I(n, m, p, j);
    case 3:
    case 4:
    case 5: return angles ? AnglePowerOf(code - 3, n, m, p, j) : X(n, code - 3, p, j);
    case 6:
    case 7:
    case 8: {
        const int kind = code - 6;
        if (angles) {
            const double value = AnglePowerOf(kind, n, 0, p, j);
            const double reference = AnglePowerOf(kind, n, 0, p, r);
            return static_cast<float>(value / (reference + 0.00000001));
        }
        return percent(X(n, kind, p, j), X(n, kind, p, r));
    }
    case 9: return percent(V(n, 0, p, j), V(n, 0, p, r));
    case 10: return percent(I(n, 0, p, j), I(n, 0, p, r));
    default: return 0.0f;
    }
}

std::vector<ModelPoint> GroupModel(const std::vector<ModelRecord> &records, int slots,
                                   const std::function<float(const ModelRecord &, int)> &value,
                                   int factor, bool timeOfMinimum, int timeSlot, bool deliverLast) {
    std::vector<ModelPoint> points;
    for (size_t start = 0; start < records.size(); start += size_t(factor)) {
        const size_t end = std::min(records.size(), start + size_t(factor));
        if (end - start < size_t(factor) && !deliverLast) break;
        ModelPoint point{};
        point.min.resize(size_t(slots));
        point.max.resize(size_t(slots));
        point.mean.resize(size_t(slots));
        const ModelRecord *timeRecord = timeOfMinimum ? &records[start] : &records[end - 1];
        for (int s = 0; s < slots; ++s) {
            float lo = value(records[start], s), hi = lo, sum = 0.0f;
            const ModelRecord *lowest = &records[start];
            for (size_t i = start; i < end; ++i) {
                const float x = value(records[i], s);
                if (x < lo) {
                    lo = x;
                    lowest = &records[i];
                }
                if (x > hi) hi = x;
                sum += x;
            }
            point.min[size_t(s)] = lo;
            point.max[size_t(s)] = hi;
            point.mean[size_t(s)] = sum / static_cast<float>(end - start);
            if (timeOfMinimum && s == timeSlot) timeRecord = lowest;
        }
        point.flags = 0;
        for (size_t i = start; i < end; ++i) point.flags |= records[i].flags;
        point.t1 = timeRecord->t1;
        point.t2 = timeRecord->t2;
        points.push_back(point);
    }
    return points;
}

}  // namespace trova::testing
