// A fuzzer's reader call (fuzz_input.h) made through the calls described
// as data (tests/calls): output arrays of exactly the size a caller must
// provide for the recording as TrovaDescribeRecording describes it, each
// its own heap block so that ASan sees a write past it. Shared by the reader
// fuzz target and the soak test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_input.h"

namespace trova::fuzz {

struct ReaderOutcome {
    int result = 0;
    long long status = -1;
    bool ran = true;                   // false: the arrays a caller would need are absurd
    std::vector<uint8_t> outputs;      // every output array's bytes, in argument order
    bool operator==(const ReaderOutcome &o) const {
        return result == o.result && status == o.status && ran == o.ran && outputs == o.outputs;
    }
};

// The recording of `path` is described in the reader's variant to size the
// arrays; then the reader runs.
ReaderOutcome CallReader(const ReaderCall &call, char *path);

// Whether the result lies where the reader's contract puts it: a point
// count within the caller's room, or the reader's constant.
bool ResultInRange(const ReaderCall &call, int result);

}  // namespace trova::fuzz
