#include "trend/trend_layout.h"

#include "files/big_endian.h"

namespace trova {

void CheckTrendArguments(const FileInfoRecord &first, int &MinMax, int &Quantity,
                         StatusFlags &flags) {
    if (MinMax < 0 || int64_t{MinMax} >= static_cast<int32_t>(first.statCount)) {
        MinMax = 0;
        flags.badMinMax = true;
    }
    const int64_t lastQuantity = int64_t{static_cast<int32_t>(first.scalarCount)} +
                                 static_cast<int32_t>(first.phaseQuantityCount) - 1;
    if (Quantity < 0 || Quantity > lastQuantity) {
        Quantity = 0;
        flags.badQuantity = true;
    }
}

int ChannelsRead(int32_t channelCount, bool perChannel) {
    if (!perChannel || channelCount <= 1) return 1;
    if (channelCount > 4) return 5;
    if (channelCount > 3) return 4;
    return 3;
}

TrendRecordPlan PlanTrendRecord(const FileInfoRecord &file, int32_t channelCount, int32_t quantity,
                                int32_t block, float ExtRef) {
    TrendRecordPlan plan;
    // Header counts are signed bytes widened to 32 bits.
    const int64_t S = static_cast<int32_t>(file.scalarCount);
    const int64_t P = static_cast<int32_t>(file.phaseQuantityCount);
    const int64_t R = static_cast<int32_t>(file.refQuantity);
    const int64_t N = channelCount;
    const int64_t L = 4 * (S + N * P);
    const int64_t base = 24 + int64_t{block} * L;

    plan.channels = ChannelsRead(channelCount, quantity >= S);
    if (R != 0 && ExtRef >= -1.0f) {
        plan.divideByRef = ExtRef == -1.0f;
        plan.divideByExtRef = ExtRef > 0.0f;
        plan.extRef = ExtRef;
    }
    const int64_t recordSize = file.recordSize;
    auto inside = [recordSize](int64_t offset) { return offset >= 0 && offset + 4 <= recordSize; };
    plan.usable = recordSize >= kTrendFlagOffset + 4;
    for (int c = 0; c < plan.channels; ++c) {
        plan.valueOffset[c] = base + 4 * int64_t{quantity} + 4 * c * P;
        plan.refOffset[c] = base + 4 * R + 4 * c * P;
        plan.usable = plan.usable && inside(plan.valueOffset[c]) &&
                      (!plan.divideByRef || inside(plan.refOffset[c]));
    }
    return plan;
}

void ReadTrendValues(const uint8_t *record, const TrendRecordPlan &plan,
                     float values[kMaxTrendChannels]) {
    for (int c = 0; c < plan.channels; ++c) {
        float v = ReadBEFloat(record, plan.valueOffset[c]);
        // Single-precision division; a zero reference passes its infinity
        // or NaN on.
        if (plan.divideByRef) {
            v = v / ReadBEFloat(record, plan.refOffset[c]);
        } else if (plan.divideByExtRef) {
            v = v / plan.extRef;
        }
        values[c] = v;
    }
}

void TrendRecordReader::Read(const uint8_t *record, TrendSample &sample) const {
    sample.time1 = ReadBEDouble(record, 0);
    sample.time2 = ReadBEDouble(record, kTrendTimeOffset2);
    sample.flagWord = ReadBEInt32(record, kTrendFlagOffset);
    ReadTrendValues(record, plan_, sample.values);
}

}  // namespace trova
