#include "support/harmonic_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "curve/interleave_curve.h"

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

rec::RecordingPlan EdgePlan(int channelCode, int harmonics, bool powerBlock,
                            const std::vector<int> &files) {
    rec::RecordingPlan plan = HarmonicPlan(channelCode, harmonics, powerBlock, files, 11, 7, 4);
    plan.stem = "c" + std::to_string(channelCode) + (powerBlock ? "p" : "n");
    if (plan.members.size() > 1) plan.members[1].gapBefore = 20.0;
    const rec::SeededValues seeded(11, 0.5f, 250.0f);
    plan.harmonicValues = [seeded](int n, rec::HarmonicField f, int set, int p, int x) {
        const float value = seeded(n, f, set, p, x);
        if (f == rec::HarmonicField::Scalar) return std::floor(value / 50.0f);
        const bool zero = f == rec::HarmonicField::Voltage && set == 0 && x == 1 && n % 5 == 2;
        return zero ? 0.0f : value;
    };
    return plan;
}

void SetHarmonicCounts(rec::RecordingPlan &plan, const std::vector<int> &counts) {
    for (size_t f = 0; f < counts.size() && f < plan.members.size(); ++f) {
        rec::HarmonicFormat format = plan.harmonic;
        format.harmonics = counts[f];
        plan.members[f].harmonic = format;
    }
}

const Corrected kTrendWithMinMaxZero[18] = {
    {0, 1, 0},  {1, 1, 0},  {6, 0, 2},  {7, 0, 2},  {4, 1, 0},  {5, 1, 0},
    {2, 1, 0},  {3, 1, 0},  {8, 0, 2},  {9, 0, 2},  {10, 0, 2}, {11, 0, 2},
    {12, 0, 2}, {13, 0, 2}, {14, 0, 2}, {15, 0, 2}, {16, 0, 2}, {17, 0, 2},
};
const Corrected kSpectrumWithMinMaxZero[11] = {
    {0, 1, 0}, {1, 1, 0}, {2, 1, 0}, {3, 1, 0}, {4, 1, 0}, {5, 1, 0},
    {6, 0, 2}, {7, 0, 2}, {8, 0, 2}, {1, 1, 0}, {2, 1, 0},
};

Corrected Correct(const Corrected *withMinMaxZero, int lastCode, int quantity, int minMax) {
    if (quantity > lastCode) return {1, 0, TROVA_READER_BAD_QUANTITY};  // after status 2
    return minMax != 0 ? Corrected{quantity, 0, 0} : withMinMaxZero[quantity];
}

void ClaimHarmonicCount(rec::Recording &recording, size_t file, int32_t count) {
    const size_t at = size_t(recording.info.files.at(file).headerLength) + 40;
    rec::putBE32(&recording.contents.at(file).at(at), count);
}

void WriteBuilt(rec::Recording &recording, const std::string &directory) {
    recording.info.directory = directory;
    for (size_t i = 0; i < recording.contents.size(); ++i) {
        rec::writeBytes(recording.info.path(recording.info.files[i]), recording.contents[i]);
    }
}

// From the definition: the angle difference in float; unjoined, U·I in
// float times the cosine or sine in double; joined, U / √3 · I and the
// angle turned by 3.1415 / 3, in double.
float ValueModel::AnglePowerOf(int kind, int n, int set, int p, int x) const {
    const float u = V(n, set, p, x), i = I(n, set, p, x);
    const float phi = X(n, 0, p, x) - X(n, 1, p, x);
    if (!join) {
        const float ui = u * i;
        if (kind == 2) return ui;
        return static_cast<float>(double(ui) * (kind == 0 ? std::cos(double(phi)) : std::sin(double(phi))));
    }
    const double ui = double(u) / std::sqrt(3.0) * double(i);
    const double angle = double(phi) - 3.1415 / 3;
    if (kind == 2) return static_cast<float>(ui);
    return static_cast<float>(ui * (kind == 0 ? std::cos(angle) : std::sin(angle)));
}

float ValueModel::ArrayAt(bool current, int n, int set, int p, int x) const {
    const int flat = p * harmonics + x, size = phases * harmonics;
    if (flat < size) {
        return current ? I(n, set, flat / harmonics, flat % harmonics)
                       : V(n, set, flat / harmonics, flat % harmonics);
    }
    const int32_t head = flat == size ? phases : current ? 2 : harmonics;
    float word;
    std::memcpy(&word, &head, sizeof word);
    if (flat <= size + 1) return word;
    const int next = flat - size - 2;  // a voltage array runs on into the current array
    return current ? 0.0f : I(n, set, next / harmonics, next % harmonics);
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
    case 4: return A(n, m, p);
    case 5: return B(n, m, p);
    case 6: return Percent(V(n, 0, p, k), V(n, 0, p, r));
    case 7: return Percent(I(n, 0, p, k), I(n, 0, p, r));
    case 8: case 9: case 10:
        return angles ? AnglePowerOf(code - 8, n, 0, p, k) : X(n, code - 8, p, k);
    case 11: case 12: case 13:
        if (!angles) return Percent(X(n, code - 11, p, k), X(n, code - 11, p, r));
        return static_cast<float>(double(AnglePowerOf(code - 11, n, 0, p, k)) /
                                  (double(AnglePowerOf(code - 11, n, 0, p, r)) + 0.00000001));
    case 14: case 15: case 16: case 17: {
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
    case 3: case 4: case 5:
        return angles ? AnglePowerOf(code - 3, n, m, p, j) : X(n, code - 3, p, j);
    case 6: case 7: case 8:
        if (!angles) return percent(X(n, code - 6, p, j), X(n, code - 6, p, r));
        return static_cast<float>(double(AnglePowerOf(code - 6, n, 0, p, j)) /
                                  (double(AnglePowerOf(code - 6, n, 0, p, r)) + 0.00000001));
    case 9: return percent(V(n, 0, p, j), V(n, 0, p, r));
    case 10: return percent(I(n, 0, p, j), I(n, 0, p, r));
    default: return 0.0f;
    }
}

std::vector<ModelRecord> ModelRecords(const rec::RecordingInfo &info, int first, int last,
                                      const rec::FlagFn &flags) {
    std::vector<ModelRecord> out;
    for (const rec::MemberInfo &m : info.table()) {
        for (int r = 0; r < m.records; ++r) {
            const int index = m.firstRecord + r;
            if (index < first || index > last) continue;
            const double time = m.firstTime + r * 1.0, t1 = std::floor(time);
            out.push_back(ModelRecord{index, t1, time - t1, flags ? flags(index) : 0, m.harmonics});
        }
    }
    return out;
}

namespace {

calls::Export ExportOf(Reader reader) {
    static const calls::Export exports[] = {calls::Export::FFT_XT1,     calls::Export::FFT_XT2,
                                            calls::Export::FFT_XT3,     calls::Export::FFT_ALL_XT1,
                                            calls::Export::FFT_ALL_XT2, calls::Export::FFT_ALL_XT3};
    return exports[int(reader)];
}

calls::Shape ShapeOf(const Call &call) { return {1, 4, call.rows}; }

}  // namespace

float *Call::Slot(int kind, int p, int j) {
    static const char *const kinds[3] = {"MinValues", "MaxValues", "MeanValues"};
    if (!Spectrum()) return Array<float>(Curves() ? "Values" : kinds[kind]) + size_t(p) * Stride();
    const std::string name = Curves() ? "Values" : kinds[kind];
    return Array<float>(name + std::to_string(p)) + size_t(j) * 100;
}

std::string Call::Name() const {
    return "reader " + std::to_string(int(reader)) + " code " + std::to_string(quantity) +
           " MinMax " + std::to_string(minMax) + " Join " + std::to_string(join);
}

Call Call::Blank() const {
    Call blank = *this;
    blank.out = calls::Untouched(ExportOf(reader), *this, ShapeOf(*this), 1);
    return blank;
}

Call &Call::Run(const std::string &path) {
    std::string file = path;
    out = calls::Call(calls::LinkedReaders(), ExportOf(reader), *this, file.data(), ShapeOf(*this), 1);
    return *this;
}

void Predict(Call &want, const rec::RecordingPlan &plan, const std::vector<ModelRecord> &records,
             const Expect &e) {
    const bool first = want.First(), trend = !want.Spectrum();
    const ValueModel model{plan.harmonicValues, first, first && want.join != 0,
                           plan.harmonic.phases(), plan.harmonic.harmonics};
    const int phases = trend && e.c.code == 1 ? 1 : model.phases;
    auto value = [&](const ModelRecord &r, int p, int j) {
        return trend ? model.Trend(e.c.code, e.c.m, r.index, p, want.harmonic, want.firstHarmonic)
                     : model.Spectrum(e.c.code, e.c.m, r.index, p, j, want.firstHarmonic);
    };
    auto positions = [&](const ModelRecord &r) { return trend ? 1 : r.positions; };
    *want.Array<trova_long>("Status") = e.c.status;
    *want.Array<trova_long>("InterleaveFactor") = e.factor;
    if (want.Spectrum()) *want.Array<trova_long>("HarmCount") = e.harmCount;
    if (want.Curves()) {
        int most = 0;
        for (const ModelRecord &r : records) most = std::max(most, positions(r));
        for (int p = 0; p < phases; ++p) {
            for (int j = 0; j < most; ++j) {
                CInterleaveCurve curve;
                curve.Init(e.group, int(want.Stride()));
                for (const ModelRecord &r : records) {
                    if (j >= positions(r)) continue;
                    if (r.outside && trend && e.c.code != 1) {
                        curve.Flush();
                    } else {
                        curve.Add(r.t1, r.t2, value(r, p, j), uint32_t(r.flags));
                    }
                }
                curve.Flush();
                for (int i = 0; i < curve.GetCount(); ++i) want.Slot(0, p, j)[i] = curve.GetValue(i);
                if (p != 0 || j != 0) continue;
                want.out.result = curve.GetCount();
                for (int i = 0; i < curve.GetCount(); ++i) {
                    want.Times()[size_t(i)] = curve.GetTime1(i);
                    want.Times()[want.Stride() + size_t(i)] = curve.GetTime2(i);
                    want.FlagWords()[size_t(i)] = trova_long(curve.GetFlags(i));
                }
            }
        }
        return;
    }
    // Groups of e.group records; the reader of a twin pair named first takes
    // a point's time from the earliest smallest phase-0 value at position k
    // (spectrum: FirstHarmonic) and drops an incomplete last group.
    const int timePosition = trend ? 0 : want.firstHarmonic;
    const size_t size = size_t(e.group);
    int point = 0;
    for (size_t start = 0; start < records.size(); start += size, ++point) {
        const size_t end = std::min(records.size(), start + size);
        if (end - start < size && first) break;
        const ModelRecord *timed = first ? &records[start] : &records[end - 1];
        int32_t flags = 0;
        for (size_t i = start; i < end; ++i) flags |= records[i].flags;
        for (int p = 0; p < phases; ++p) {
            for (int j = 0; j < positions(records[end - 1]); ++j) {
                float lo = value(records[start], p, j), hi = lo, sum = lo;
                const ModelRecord *lowest = &records[start];
                for (size_t i = start + 1; i < end; ++i) {
                    const float x = value(records[i], p, j);
                    if (x < lo) lo = x, lowest = &records[i];
                    hi = std::max(hi, x);
                    sum += x;
                }
                want.Slot(0, p, j)[point] = lo;
                want.Slot(1, p, j)[point] = hi;
                want.Slot(2, p, j)[point] = sum / float(end - start);
                if (first && p == 0 && j == timePosition) timed = lowest;
            }
        }
        want.Times()[size_t(point)] = timed->t1;
        want.Times()[want.Stride() + size_t(point)] = timed->t2;
        want.FlagWords()[size_t(point)] = flags;
    }
    want.out.result = first ? point - 1 : point;
}

void ExpectSame(const Call &got, const Call &want) {
    EXPECT_EQ(got.out.result, want.out.result);
    for (const std::string &difference : calls::Compare(want.out, got.out)) ADD_FAILURE() << difference;
}

Call Check(const Call &call, const std::string &path, const rec::RecordingPlan &plan,
           const std::vector<ModelRecord> &records, const Expect &e) {
    Call got = call;
    got.Run(path);
    Call want = call.Blank();
    Predict(want, plan, records, e);
    ExpectSame(got, want);
    return want;
}

}  // namespace trova::testing
