// The input of the generic reader fuzz target, shared with the seed maker.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace trova::fuzz {

// The input of the generic reader target (fuzz_readers.cpp): which of the
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
struct ReaderCall {
    int kind = 11;
    int quantity = 0, minMax = 0, points = 1, harmonic = 1, firstHarmonic = 1, join = 0;
    int hMinMax = 0, flagged = 0;
    double tStart = -1.0, tStop = -1.0;
    float value = 0.0f;  // ExtRef or Percentil
    double hMin = 0.0, hMax = 0.0;
    std::vector<std::vector<uint8_t>> files;
};

constexpr size_t kReaderCallHeader = 48;

inline bool DecodeReaderCall(const uint8_t *data, size_t size, ReaderCall &call) {
    if (size < kReaderCallHeader) return false;
    call.kind = 1 + data[0] % 13;
    const int fileCount = (data[1] & 3) + 1;
    int *const bytes[] = {&call.quantity, &call.minMax, &call.points, &call.harmonic,
                          &call.firstHarmonic, &call.join, &call.hMinMax, &call.flagged};
    for (int i = 0; i < 8; ++i) *bytes[i] = static_cast<int8_t>(data[2 + i]);
    call.points = static_cast<int>(data[4]) - 2;
    std::memcpy(&call.tStart, data + 12, 8);
    std::memcpy(&call.tStop, data + 20, 8);
    std::memcpy(&call.value, data + 28, 4);
    std::memcpy(&call.hMin, data + 32, 8);
    std::memcpy(&call.hMax, data + 40, 8);
    if (data[1] & 4) call.tStart = -1.0;
    if (data[1] & 8) call.tStop = -1.0;
    static const double kSpecial[] = {0.0, __builtin_nan(""), __builtin_inf(), -__builtin_inf()};
    const int special[3] = {data[10] & 3, (data[10] >> 2) & 3, (data[10] >> 4) & 3};
    if (special[0] != 0) call.value = static_cast<float>(kSpecial[special[0]]);
    if (special[1] != 0) call.hMin = kSpecial[special[1]];
    if (special[2] != 0) call.hMax = kSpecial[special[2]];
    size_t at = kReaderCallHeader;
    call.files.clear();
    for (int f = 0; f < fileCount && at + 2 <= size; ++f) {
        size_t length = data[at] | (static_cast<size_t>(data[at + 1]) << 8);
        at += 2;
        if (length > size - at) length = size - at;
        call.files.emplace_back(data + at, data + at + length);
        at += length;
    }
    return !call.files.empty();
}

inline std::vector<uint8_t> EncodeReaderCall(const ReaderCall &call, bool startOpen,
                                             bool stopOpen) {
    std::vector<uint8_t> out(kReaderCallHeader, 0);
    out[0] = static_cast<uint8_t>(call.kind - 1);
    out[1] = static_cast<uint8_t>((call.files.size() - 1) | (startOpen ? 4 : 0) |
                                  (stopOpen ? 8 : 0));
    const int bytes[] = {call.quantity, call.minMax, call.points + 2, call.harmonic,
                         call.firstHarmonic, call.join, call.hMinMax, call.flagged};
    for (int i = 0; i < 8; ++i) out[size_t(2 + i)] = static_cast<uint8_t>(bytes[i]);
    std::memcpy(&out[12], &call.tStart, 8);
    std::memcpy(&out[20], &call.tStop, 8);
    std::memcpy(&out[28], &call.value, 4);
    std::memcpy(&out[32], &call.hMin, 8);
    std::memcpy(&out[40], &call.hMax, 8);
    for (const std::vector<uint8_t> &file : call.files) {
        const size_t length = file.size() < 65535 ? file.size() : 65535;
        out.push_back(static_cast<uint8_t>(length & 0xFF));
        out.push_back(static_cast<uint8_t>(length >> 8));
        out.insert(out.end(), file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
    }
    return out;
}

}  // namespace trova::fuzz
