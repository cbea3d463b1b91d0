// The input format of the reader fuzz targets, shared with the seed maker:
//   byte 0      bits 0-1: file count - 1 (at most 3 files); bit 2: TStart
//               negative; bit 3: TStop negative
//   byte 1, 2   Quantity, MinMax (signed)
//   byte 3      Points + 2 (so -2 .. 253)
//   byte 4      ExtRef: 0 → -1, 1 → 230, 2 → 0, 3 → -0.5, else the byte
//   bytes 5-20  TStart, TStop (native doubles)
//   then per file: a little-endian 16-bit length and that many bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace trova::fuzz {

struct ReaderInput {
    int quantity = 0;
    int minMax = 0;
    int points = 1;
    float extRef = 0.0f;
    double tStart = -1.0;
    double tStop = -1.0;
    std::vector<std::vector<uint8_t>> files;
};

inline bool DecodeReaderInput(const uint8_t *data, size_t size, ReaderInput &in) {
    if (size < 21) return false;
    const int fileCount = (data[0] & 3) + 1;
    in.quantity = static_cast<int8_t>(data[1]);
    in.minMax = static_cast<int8_t>(data[2]);
    in.points = static_cast<int>(data[3]) - 2;
    static const float kExtRefs[] = {-1.0f, 230.0f, 0.0f, -0.5f};
    in.extRef = data[4] < 4 ? kExtRefs[data[4]] : static_cast<float>(data[4]);
    std::memcpy(&in.tStart, data + 5, 8);
    std::memcpy(&in.tStop, data + 13, 8);
    if (data[0] & 4) in.tStart = -1.0;
    if (data[0] & 8) in.tStop = -1.0;
    size_t at = 21;
    in.files.clear();
    for (int f = 0; f < fileCount && at + 2 <= size; ++f) {
        size_t length = data[at] | (static_cast<size_t>(data[at + 1]) << 8);
        at += 2;
        if (length > size - at) length = size - at;
        in.files.emplace_back(data + at, data + at + length);
        at += length;
    }
    return !in.files.empty();
}

inline std::vector<uint8_t> EncodeReaderInput(const ReaderInput &in, bool startOpen, bool stopOpen) {
    std::vector<uint8_t> out(21, 0);
    out[0] = static_cast<uint8_t>((in.files.size() - 1) | (startOpen ? 4 : 0) | (stopOpen ? 8 : 0));
    out[1] = static_cast<uint8_t>(in.quantity);
    out[2] = static_cast<uint8_t>(in.minMax);
    out[3] = static_cast<uint8_t>(in.points + 2);
    out[4] = in.extRef == -1.0f ? 0 : in.extRef == 230.0f ? 1 : 2;
    std::memcpy(&out[5], &in.tStart, 8);
    std::memcpy(&out[13], &in.tStop, 8);
    for (const std::vector<uint8_t> &file : in.files) {
        const size_t length = file.size() < 65535 ? file.size() : 65535;
        out.push_back(static_cast<uint8_t>(length & 0xFF));
        out.push_back(static_cast<uint8_t>(length >> 8));
        out.insert(out.end(), file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
    }
    return out;
}

}  // namespace trova::fuzz
