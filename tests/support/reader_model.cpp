#include "support/reader_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "curve/interleave_curve.h"
#include "harmstats/percentile_cell.h"

namespace trova::testing {

rec::RecordingPlan TrendTestPlan(int files, int perFile, int channels) {
    rec::RecordingPlan plan;
    plan.trend.channels = channels;
    plan.trend.perChannel = 3;
    plan.trendValues = TrendTestValue;
    plan.flags = rec::everyKth(7, 4);
    for (int f = 0; f < files; ++f) plan.add(perFile, f == 2 ? 30.0 : 0.0);
    return plan;
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

// ---- calls ---------------------------------------------------------------------------

float *Call::Slot(int kind, int p, int j) {
    static const char *const kinds[3] = {"MinValues", "MaxValues", "MeanValues"};
    const std::string name = Curves() ? "Values" : kinds[kind];
    if (!Spectrum()) return Array<float>(name) + size_t(p) * Stride();
    return Array<float>(name + std::to_string(p)) + size_t(j) * 100;
}

std::string Call::Name() const {
    return std::string(calls::InfoOf(reader).name) + " " + calls::FormatArgs(*this);
}

Call &Call::Run(const std::string &path) {
    std::string file = path;
    out = calls::Call(calls::LinkedReaders(), reader, *this, file.data(), shape, 1);
    return *this;
}

Call Check(const Call &call, const std::string &path, const std::function<void(Call &)> &predict) {
    Call got = call, want = call;
    got.Run(path);
    want.out = calls::Untouched(call.reader, call, call.shape, 1);  // the outputs as before the call
    predict(want);
    EXPECT_EQ(got.out.result, want.out.result);
    for (const std::string &difference : calls::Compare(want.out, got.out)) ADD_FAILURE() << difference;
    return want;
}

// ---- predictions --------------------------------------------------------------------

ValueFn HarmonicValue(const Call &call, const rec::RecordingPlan &plan, Corrected c) {
    const bool angles = call.First() || call.reader == Export::FFT_HIST1 || call.reader == Export::FFT_Table1;
    const bool spectrum = call.Spectrum() || call.reader == Export::FFT_Table1 || call.reader == Export::FFT_Table2;
    ValueModel model{plan.harmonicValues, angles, angles && call.join != 0, plan.harmonic.phases(),
                     plan.harmonic.harmonics};
    model.keepsUnscaled = call.reader == Export::FFT_Table2;
    const int k = call.harmonic, r = call.firstHarmonic;
    return [model, spectrum, c, k, r](const ModelRecord &record, int p, int j) {
        return spectrum ? model.Spectrum(c.code, c.m, record.index, p, j, r)
                        : model.Trend(c.code, c.m, record.index, p, k, r);
    };
}

void PredictSeries(Call &want, const std::vector<ModelRecord> &records, const ValueFn &value, const Series &s) {
    const bool first = want.First();
    auto positions = [&](const ModelRecord &r) { return want.Spectrum() ? r.positions : 1; };
    *want.Array<trova_long>("Status") = s.status;
    *want.Array<trova_long>("InterleaveFactor") = s.factor;
    if (want.Spectrum()) *want.Array<trova_long>("HarmCount") = s.harmCount;
    if (want.Curves()) {
        int most = 0;
        for (const ModelRecord &r : records) most = std::max(most, positions(r));
        for (int p = 0; p < s.slots; ++p) {
            for (int j = 0; j < most; ++j) {
                CInterleaveCurve curve;
                curve.Init(s.group, int(want.Stride()));
                for (const ModelRecord &r : records) {
                    if (j >= positions(r)) continue;
                    if (r.outside) {
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
    // The twin named first takes a point's time from the earliest smallest
    // slot-0 value at position 0 (spectrum: FirstHarmonic) and drops an
    // incomplete last group; the other takes the group's last time.
    const int timePosition = want.Spectrum() ? want.firstHarmonic : 0;
    const size_t size = size_t(s.group);
    int point = 0;
    for (size_t start = 0; start < records.size(); start += size, ++point) {
        const size_t end = std::min(records.size(), start + size);
        if ((end - start < size && first) || size_t(point) >= want.Stride()) break;
        const ModelRecord *timed = first ? &records[start] : &records[end - 1];
        int32_t flags = 0;
        for (size_t i = start; i < end; ++i) flags |= records[i].flags;
        for (int p = 0; p < s.slots; ++p) {
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

namespace {

// The records counted and how many of them are flagged, where the export reports them.
void PredictCounters(Call &want, const std::vector<ModelRecord> &counted) {
    trova_long *total = want.Array<trova_long>("FTotalPoints");
    if (total == nullptr) return;
    *total = trova_long(counted.size());
    *want.Array<trova_long>("FFlaggedPoints") =
        trova_long(std::count_if(counted.begin(), counted.end(), [](const ModelRecord &r) { return r.flags != 0; }));
}

}  // namespace

void PredictHistogram(Call &want, const std::vector<ModelRecord> &ranged, const std::vector<ModelRecord> &counted,
                      const ValueFn &value, const Histogram &h) {
    const bool withFlagged = want.reader == Export::FFT_HIST1 || want.flagged != 0;
    const bool fixed = want.reader != Export::FFT_HIST1 && want.hMinMax != 0;
    auto values = [&](const std::vector<ModelRecord> &records, int slot) {
        std::vector<float> v;
        for (const ModelRecord &r : records) {
            if (h.read && (r.flags == 0 || withFlagged)) v.push_back(value(r, slot, 0));
        }
        return v;
    };
    const std::vector<float> slot0 = values(ranged, 0);
    double hMin = want.hMin, hMax = want.hMax;
    if (fixed && !slot0.empty() && !std::isfinite(hMin)) hMin = double(*std::min_element(slot0.begin(), slot0.end()));
    if (fixed && !slot0.empty() && !std::isfinite(hMax)) hMax = double(*std::max_element(slot0.begin(), slot0.end()));
    want.out.result = want.reader == Export::HIST ? 0 : 1;
    *want.Array<trova_long>("Status") = h.status;
    double *start = want.Array<double>("HStart"), *width = want.Array<double>("HWidth");
    trova_long *counts = want.Array<trova_long>("HCounts");
    trova_long *inRange = want.Array<trova_long>("HRangePoints"), *total = want.Array<trova_long>("HTotalPoints");
    for (int c = 0; c < std::max(h.reported, h.served); ++c) {
        const std::vector<float> seen = c < h.slots ? values(ranged, c) : std::vector<float>();
        float lo = seen.empty() ? 0.0f : seen[0], hi = lo;
        for (float v : seen) lo = std::min(lo, v), hi = std::max(hi, v);
        const double w = fixed ? (hMax - hMin) / 98.0 : double((hi - lo) / 100.0f);
        const double from = fixed ? hMin - w : double(lo);
        if (c < h.reported) start[c] = c < h.slots ? from : 0.0, width[c] = c < h.slots ? w : 0.0;
        if (c >= h.served) continue;
        std::fill_n(counts + 100 * c, 100, 0);
        if (inRange != nullptr) inRange[c] = 0, total[c] = 0;
        for (float v : c < h.slots ? values(counted, c) : std::vector<float>()) {
            const bool below = fixed && double(v) < hMin, above = fixed && double(v) > hMax;
            const double q = below ? 0.0 : above ? 99.0 : w == 0.0 ? 0.0 : double(v - float(from)) / w;
            const bool index = q > -2147483649.0 && q < 2147483648.0;  // NaN has none
            ++counts[100 * c + (index ? std::clamp(int(q), 0, 99) : 0)];
            if (inRange != nullptr) ++total[c], inRange[c] += !below && !above;
        }
    }
    PredictCounters(want, counted);
}

void PredictTable(Call &want, const std::vector<ModelRecord> &seen, const std::vector<ModelRecord> &counted,
                  const ValueFn &harmonics, const ValueFn &ab, int positions, bool harmonicsRead, int status,
                  trova_long harmCount) {
    const float pct = std::clamp(want.percentil, 0.0f, 1.0f);
    const bool flagged = want.reader == Export::FFT_Table1 || want.flagged != 0;
    auto cell = [&](const std::function<std::optional<float>(const ModelRecord &)> &value) {
        PercentileCell c;
        c.Reset();
        for (const ModelRecord &r : seen) {
            if (const auto v = r.flags == 0 || flagged ? value(r) : std::nullopt) c.Observe(*v);
        }
        c.FixWidth();
        for (const ModelRecord &r : counted) {
            if (const auto v = r.flags == 0 || flagged ? value(r) : std::nullopt) c.Count(*v);
        }
        c.Accumulate();
        return c.Percentile(pct);
    };
    want.out.result = 1;
    *want.Array<trova_long>("Status") = status;
    *want.Array<trova_long>("HarmCount") = harmCount;
    float *table = want.Array<float>("HarmTable"), *a = want.Array<float>("ValueATable"), *b = want.Array<float>("ValueBTable");
    for (int p = 0; p < 3; ++p) {
        for (int k = 0; k < positions; ++k) {
            table[500 * p + k] = cell([&](const ModelRecord &r) -> std::optional<float> {
                if (!harmonicsRead || k >= r.positions) return std::nullopt;
                return harmonics(r, p, k);
            });
        }
        a[p] = cell([&](const ModelRecord &r) { return ab(r, p, 0); });
        b[p] = cell([&](const ModelRecord &r) { return ab(r, p, 1); });
    }
    PredictCounters(want, counted);
}

Call Check(const Call &call, const std::string &path, const rec::RecordingPlan &plan,
           const std::vector<ModelRecord> &records, const Expect &e) {
    const int slots = !call.Spectrum() && e.c.code == 1 ? 1 : plan.harmonic.phases();
    return Check(call, path, [&](Call &want) {
        PredictSeries(want, records, HarmonicValue(call, plan, e.c), {e.c.status, e.factor, e.group, e.harmCount, slots});
    });
}

}  // namespace trova::testing
