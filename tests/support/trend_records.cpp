#include "support/trend_records.h"

#include <cmath>

namespace trova::testing {

float TrendTestValue(int record, int block, int quantity, int channel) {
    return static_cast<float>((record * 37) % 101) * 0.25f + 1000.0f * block + 100.0f * quantity +
           10.0f * channel + 0.125f;
}

rec::RecordingPlan TrendTestPlan(int files, int perFile) {
    rec::RecordingPlan plan;
    plan.trend.channels = 3;
    plan.trend.statMask = 0x07;
    plan.trend.scalars = 2;
    plan.trend.perChannel = 3;
    plan.trendValues = TrendTestValue;
    plan.flags = rec::everyKth(7, kTrendTestFlag, 3);
    for (int f = 0; f < files; ++f) plan.add(perFile, f == 2 ? 30.0 : 0.0);
    return plan;
}

std::vector<ExpectedRecord> TrendTestRecords(const rec::RecordingInfo &info, int first, int last,
                                             int q, int k, int channels, float divisor) {
    std::vector<ExpectedRecord> out;
    for (const rec::MemberInfo &m : info.table()) {
        for (int r = 0; r < m.records; ++r) {
            const int index = m.firstRecord + r;
            if (index < first || index > last) continue;
            ExpectedRecord e{};
            e.time = m.firstTime + r * 1.0;
            e.t1 = std::floor(e.time);
            e.t2 = e.time - e.t1;
            e.flags = index % 7 == 3 ? kTrendTestFlag : 0;
            for (int c = 0; c < channels; ++c) e.values[c] = TrendTestValue(index, k, q, c) / divisor;
            out.push_back(e);
        }
    }
    return out;
}

}  // namespace trova::testing
