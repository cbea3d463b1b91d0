// Big-endian fields of recording files, read from a file held in memory.
// The caller keeps every offset inside the bytes it has read: these readers
// do not check (the scan checks once per record, not once per field).
#pragma once

#include <cstdint>
#include <cstring>

namespace trova {

inline uint32_t LoadBE32(const uint8_t *p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}

inline uint64_t LoadBE64(const uint8_t *p) {
    return (static_cast<uint64_t>(LoadBE32(p)) << 32) | LoadBE32(p + 4);
}

inline int32_t ReadBEInt32(const uint8_t *buffer, int64_t offset) {
    return static_cast<int32_t>(LoadBE32(buffer + offset));
}

inline float ReadBEFloat(const uint8_t *buffer, int64_t offset) {
    const uint32_t bits = LoadBE32(buffer + offset);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline double ReadBEDouble(const uint8_t *buffer, int64_t offset) {
    const uint64_t bits = LoadBE64(buffer + offset);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The time of the record at `offset`: the sum of its two leading doubles.
inline double RecordTime(const uint8_t *buffer, int64_t offset) {
    return ReadBEDouble(buffer, offset) + ReadBEDouble(buffer, offset + 8);
}

}  // namespace trova
