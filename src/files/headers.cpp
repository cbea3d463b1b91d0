#include "files/headers.h"

#include <cstdio>
#include <limits>

#include "files/big_endian.h"
#include "frame/log.h"

namespace trova {
namespace {

int32_t SignedByte(const uint8_t *data, int64_t offset) {
    return static_cast<int8_t>(data[offset]);
}

// Geometry from the size table at `tableOffset` with `entries` entries,
// then the first and last record times. Shared by both variants.
HeaderVerdict ParseGeometry(const uint8_t *data, int64_t length, int64_t tableOffset,
                            int32_t entries, FileGeometry &out) {
    out = FileGeometry{};
    // The size table must lie in the file: at least entry 0, the header
    // length. A file too short for it is malformed.
    const int64_t tableEntries = entries > 1 ? entries : 1;
    if (length < tableOffset + 4 * tableEntries) return HeaderVerdict::kBadGeometry;
    const int64_t headerLength = ReadBEInt32(data, tableOffset);
    int64_t recordLength = 0;
    for (int32_t i = 1; i < entries; ++i) recordLength += ReadBEInt32(data, tableOffset + 4 * i);

    // A negative header length would put records before the file; records
    // shorter than their two time terms cannot be timed; R must fit int32.
    const int64_t dataLength = length - headerLength;
    if (headerLength < 0 || dataLength < 0 || recordLength < 16 ||
        recordLength > std::numeric_limits<int32_t>::max() || dataLength % recordLength != 0) {
        return HeaderVerdict::kBadGeometry;
    }
    out.headerSize = static_cast<uint32_t>(headerLength);
    out.recordSize = static_cast<uint32_t>(recordLength);
    const int64_t count = dataLength / recordLength;
    if (count == 0) return HeaderVerdict::kBadTimes;  // a header without records
    const double first = RecordTime(data, headerLength);
    const double last = RecordTime(data, headerLength + (count - 1) * recordLength);
    if (!(first <= last) || first == 0.0 || last == 0.0) return HeaderVerdict::kBadTimes;
    out.recordCount = static_cast<uint32_t>(count);
    out.firstTime = first;
    out.lastTime = last;
    return HeaderVerdict::kAccepted;
}

}  // namespace

HeaderVerdict ParseTrendHeader(const uint8_t *data, int64_t length, TrendHeader &out) {
    out = TrendHeader{};
    if (data == nullptr || length < 16) return HeaderVerdict::kBadGeometry;
    out.channelCode = static_cast<uint32_t>(SignedByte(data, 1));
    out.scalarCount = static_cast<uint32_t>(SignedByte(data, 3));
    out.phaseQuantityCount = static_cast<uint32_t>(SignedByte(data, 4));
    out.refQuantity = static_cast<uint32_t>(SignedByte(data, 5));
    const HeaderVerdict verdict = ParseGeometry(data, length, 16, SignedByte(data, 15), out.geometry);
    if (verdict == HeaderVerdict::kAccepted) {
        const uint32_t mask = static_cast<uint32_t>(SignedByte(data, 2));
        out.statCount = (mask & 1u) + ((mask >> 1) & 1u) + ((mask >> 2) & 1u);
    }
    return verdict;
}

HeaderVerdict ParseHarmonicHeader(const uint8_t *data, int64_t length, HarmonicHeader &out) {
    out = HarmonicHeader{};
    if (data == nullptr || length < 4) return HeaderVerdict::kBadGeometry;
    out.channelCode = static_cast<uint32_t>(SignedByte(data, 1));
    out.powerBlockFlag = static_cast<uint32_t>(SignedByte(data, 3)) & 2u;
    const HeaderVerdict verdict = ParseGeometry(data, length, 4, SignedByte(data, 2), out.geometry);
    // H lies in record 0, already in memory: no second read of the file.
    const int64_t at = int64_t{out.geometry.headerSize} + 40;
    if (verdict == HeaderVerdict::kAccepted && at + 4 <= length) {
        out.harmonicCount = ReadBEInt32(data, at);
    }
    return verdict;
}

HeaderVerdict ReadTrendFileInformation(const char *path, FileBuffer &buffer, TrendHeader &out) {
    out = TrendHeader{};
    const HeaderVerdict verdict = buffer.Load(path)
                                      ? ParseTrendHeader(buffer.data(), buffer.size(), out)
                                      : HeaderVerdict::kBadGeometry;
    if (verdict != HeaderVerdict::kAccepted) out.geometry = FileGeometry{};
    return verdict;
}

void GetFileInformation(const char *path, FileBuffer &buffer, TrendHeader &out) {
    LogString("GetFileInformation (Init)", path);
    const HeaderVerdict verdict = ReadTrendFileInformation(path, buffer, out);
    // Once the geometry is sound the two sample lines are written, before
    // the times are judged. A header without records gets them too: its
    // times are not read but taken as 0.0, which the time rule rejects.
    if (verdict != HeaderVerdict::kBadGeometry) {
        LogLine("GetFileInformation (First Sample)");
        LogLine("GetFileInformation (Last Sample)");
    }
    if (verdict != HeaderVerdict::kAccepted) LogString("GetFileInformation (Err )", path);
    LogLine("GetFileInformation (Finish)");
}

void GetFileInformationFFT(const char *path, FileBuffer &buffer, HarmonicHeader &out) {
    out = HarmonicHeader{};
    if (buffer.Load(path)) ParseHarmonicHeader(buffer.data(), buffer.size(), out);
    if (out.geometry.recordCount == 0) out.geometry = FileGeometry{};
}

}  // namespace trova
