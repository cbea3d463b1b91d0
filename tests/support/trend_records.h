// The trend recording the reader tests share, the records a reader should see
// in it (from the writer's values), and a model of the interleave curve.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "recording_writer.h"

namespace trova::testing {

// Differs by record, block, quantity and channel; not monotonic in time.
inline float TrendTestValue(int record, int block, int quantity, int channel) {
    return float((record * 37) % 101) * 0.37f + 1000.0f * block + 100.0f * quantity +
           10.0f * channel + 0.125f;
}

// N = 3, three blocks, S = 2, P = 3; a 30 s gap before the third file; every
// 7th record flagged with 4, from record 0 (which holds the least value).
inline rec::RecordingPlan TrendTestPlan(int files, int perFile, int channels = 3) {
    rec::RecordingPlan plan;
    plan.trend.channels = channels;
    plan.trend.perChannel = 3;
    plan.trendValues = TrendTestValue;
    plan.flags = rec::everyKth(7, 4);
    for (int f = 0; f < files; ++f) plan.add(perFile, f == 2 ? 30.0 : 0.0);
    return plan;
}

struct ExpectedRecord { double t1, t2; int32_t flags; float values[5]; };

// Records [first, last] for quantity q of block k, each value divided in
// single precision by `divisor`, or by quantity `ref` of its channel.
inline std::vector<ExpectedRecord> TrendTestRecords(const rec::RecordingInfo &info, int first,
                                                    int last, int q, int k, int channels,
                                                    float divisor = 1.0f, int ref = -1) {
    std::vector<ExpectedRecord> out;
    for (const rec::MemberInfo &m : info.table()) {
        for (int r = 0; r < m.records; ++r) {
            const int i = m.firstRecord + r;
            if (i < first || i > last) continue;
            ExpectedRecord e{std::floor(m.firstTime + r), 0.0, i % 7 == 0 ? 4 : 0, {}};
            e.t2 = m.firstTime + r - e.t1;
            for (int c = 0; c < channels; ++c) {
                const float by = ref >= 0 ? TrendTestValue(i, k, ref, c) : divisor;
                e.values[c] = TrendTestValue(i, k, q, c) / by;
            }
            out.push_back(e);
        }
    }
    return out;
}

struct CurveSample { double t1, t2; float value; uint32_t flags; };

// Bins of `binSize` (1: pass-through up to the capacity), pairs that fit the capacity
// whole: the extreme last strictly improved on second (the first sample counts as a
// maximum). Later bins start at the previous output's times.
inline std::vector<CurveSample> CurveModel(const std::vector<CurveSample> &in, size_t binSize,
                                           size_t capacity) {
    std::vector<CurveSample> out;
    if (binSize == 1) return {in.begin(), in.begin() + long(std::min(in.size(), capacity))};
    for (size_t start = 0; start < in.size() && out.size() + 2 <= capacity; start += binSize) {
        const size_t end = std::min(in.size(), start + binSize);
        float lo = in[start].value, hi = lo;
        long lastMax = long(start), lastMin = -1;
        uint32_t flags = 0;
        for (size_t i = start; i < end; ++i) {
            if (in[i].value > hi) hi = in[i].value, lastMax = long(i);
            if (in[i].value < lo) lo = in[i].value, lastMin = long(i);
            flags |= in[i].flags;
        }
        const CurveSample &from = out.empty() ? in[start] : out.back(), &to = in[end - 1];
        const bool maxSecond = lastMax > lastMin;
        out.push_back({(from.t1 + to.t1) / 2.0, from.t2, maxSecond ? lo : hi, flags});
        out.push_back({to.t1, to.t2, maxSecond ? hi : lo, flags});
    }
    return out;
}

}  // namespace trova::testing
