// Conversions whose result C++ leaves undefined, pinned to what x86 does.
#pragma once

#include <cstdint>
#include <limits>

namespace trova {

// Truncates toward zero to int32 as the x86 conversion instructions do:
// NaN and values outside the int32 range give INT32_MIN.
inline int32_t TruncToInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}
inline int32_t TruncToInt32(float value) { return TruncToInt32(static_cast<double>(value)); }

// Clamps a 64-bit count into int32 (counts that large only come from
// nonsensical headers; nothing is ever indexed with the clamped value).
inline int32_t ClampToInt32(int64_t value) {
    if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

}  // namespace trova
