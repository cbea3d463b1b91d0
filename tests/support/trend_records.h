// The trend recording the reader tests share and the records a reader should
// see in it (from the writer's values).
#pragma once

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

}  // namespace trova::testing
