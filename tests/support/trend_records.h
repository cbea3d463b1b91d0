// The trend recording most reader tests use, and the records a reader
// should see in it, derived from what the writer was given.
#pragma once

#include <cstdint>
#include <vector>

#include "recording_writer.h"

namespace trova::testing {

// A value that differs by record, block, quantity and channel and is not
// monotonic in time, so minima, maxima and means all differ.
float TrendTestValue(int record, int block, int quantity, int channel);

// `files` files of `perFile` records, one second apart (a 30 s gap before
// the third file): N = 3, three blocks, S = 2, P = 3, values TrendTestValue,
// every 7th record (index 3 mod 7) flagged with 4.
rec::RecordingPlan TrendTestPlan(int files, int perFile);
constexpr int32_t kTrendTestFlag = 4;

// One record as the readers should see it.
struct ExpectedRecord {
    double t1, t2;  // the writer's split of the record time
    double time;
    int32_t flags;
    float values[5];
};

// Records [first, last] (recording-wide indexes) of a TrendTestPlan
// recording, read for quantity q of block k with `channels` channels, each
// value divided by `divisor` in single precision.
std::vector<ExpectedRecord> TrendTestRecords(const rec::RecordingInfo &info, int first, int last,
                                             int q, int k, int channels, float divisor = 1.0f);

}  // namespace trova::testing
