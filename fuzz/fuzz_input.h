// The input of the reader fuzz target (fuzz_readers.cpp): which of the
// thirteen readers runs and every argument it takes, then the members.
//   byte 0      reader kind: 1 + byte % 13 (the dialog's kinds)
//   byte 1      bits 0-1: file count - 1 (at most 4 files); bit 2: TStart
//               -1; bit 3: TStop -1
//   bytes 2-9   Quantity, MinMax, Points + 2 (unsigned), Harmonic,
//               FirstHarmonic, Join, HMinMax, Flagged (signed bytes)
//   byte 10     special values, two bits each for ExtRef/Percentil, HMin,
//               HMax: 0 as encoded, 1 NaN, 2 +infinity, 3 -infinity
//   byte 11     reserved
//   bytes 12-27 TStart, TStop (native doubles: any bits, NaN included)
//   bytes 28-31 ExtRef (trend readers) or Percentil (tables), a native float
//   bytes 32-47 HMin, HMax (native doubles)
//   then per file: a little-endian 16-bit length and that many bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "reader_call.h"

namespace trova::fuzz {

struct FuzzCall {
    int kind = 11;
    calls::Args args;
    std::vector<std::vector<uint8_t>> files;
};

constexpr size_t kHeader = 48;

// The integer arguments in the order of bytes 2-9; the reals from byte 12 on.
inline std::array<int *, 8> IntegerArgs(calls::Args &a) {
    return {&a.quantity, &a.minMax, &a.points, &a.harmonic, &a.firstHarmonic, &a.join, &a.hMinMax, &a.flagged};
}
inline std::array<std::pair<void *, size_t>, 5> RealArgs(calls::Args &a) {
    return {{{&a.tStart, 8}, {&a.tStop, 8}, {&a.extRef, 4}, {&a.hMin, 8}, {&a.hMax, 8}}};
}

inline bool DecodeReaderCall(const uint8_t *data, size_t size, FuzzCall &call) {
    if (size < kHeader) return false;
    calls::Args &a = call.args;
    call.kind = 1 + data[0] % 13;
    for (int i = 0; i < 8; ++i) *IntegerArgs(a)[i] = static_cast<int8_t>(data[2 + i]);
    a.points = static_cast<int>(data[4]) - 2;
    size_t at = 12;
    for (const auto &[field, bytes] : RealArgs(a)) std::memcpy(field, data + at, bytes), at += bytes;
    if (data[1] & 4) a.tStart = -1.0;
    if (data[1] & 8) a.tStop = -1.0;
    static const double kSpecial[] = {0.0, NAN, INFINITY, -INFINITY};
    if (data[10] & 3) a.extRef = static_cast<float>(kSpecial[data[10] & 3]);
    if ((data[10] >> 2) & 3) a.hMin = kSpecial[(data[10] >> 2) & 3];
    if ((data[10] >> 4) & 3) a.hMax = kSpecial[(data[10] >> 4) & 3];
    a.percentil = a.extRef;
    a.button = "Stop";
    call.files.clear();
    for (size_t f = 0; f <= (data[1] & 3u) && at + 2 <= size; ++f) {
        const size_t length = std::min<size_t>(data[at] | size_t{data[at + 1]} << 8, size - at - 2);
        call.files.emplace_back(data + at + 2, data + at + 2 + length);
        at += 2 + length;
    }
    return !call.files.empty();
}

// The input that decodes to `call` (ExtRef from the trend readers' args,
// Percentil from the others').
inline std::vector<uint8_t> EncodeReaderCall(FuzzCall call) {
    calls::Args &a = call.args;
    std::vector<uint8_t> out(kHeader, 0);
    out[0] = static_cast<uint8_t>(call.kind - 1);
    out[1] = static_cast<uint8_t>((call.files.size() - 1) | (a.tStart == -1.0 ? 4 : 0) | (a.tStop == -1.0 ? 8 : 0));
    a.points += 2;
    a.extRef = call.kind >= 11 ? a.extRef : a.percentil;
    for (int i = 0; i < 8; ++i) out[size_t(2 + i)] = static_cast<uint8_t>(*IntegerArgs(a)[i]);
    size_t at = 12;
    for (const auto &[field, bytes] : RealArgs(a)) std::memcpy(&out[at], field, bytes), at += bytes;
    for (const std::vector<uint8_t> &file : call.files) {
        const size_t length = std::min<size_t>(file.size(), 65535);
        out.push_back(static_cast<uint8_t>(length & 0xFF));
        out.push_back(static_cast<uint8_t>(length >> 8));
        out.insert(out.end(), file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
    }
    return out;
}

}  // namespace trova::fuzz
