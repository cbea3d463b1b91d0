// Both header parsers over arbitrary bytes.
#include <cstddef>
#include <cstdint>

#include "files/headers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    trova::TrendHeader trend;
    trova::ParseTrendHeader(data, static_cast<int64_t>(size), trend);
    trova::HarmonicHeader harmonic;
    trova::ParseHarmonicHeader(data, static_cast<int64_t>(size), harmonic);
    return 0;
}
