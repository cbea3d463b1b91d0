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

// The size table has at most 127 entries (its count is a signed byte).
constexpr int32_t kMostTableEntries = 127;

// The time of the record at `offset`; false when it cannot be read.
bool ReadRecordTime(ByteSource &source, int64_t offset, double &time) {
    uint8_t terms[16];
    if (!source.Read(offset, terms, sizeof terms)) return false;
    time = RecordTime(terms, 0);
    return true;
}

// Geometry from the size table at `tableOffset` with `entries` entries,
// then the first and last record times. Shared by both variants.
HeaderVerdict ParseGeometry(ByteSource &source, int64_t tableOffset, int32_t entries,
                            FileGeometry &out) {
    out = FileGeometry{};
    const int64_t length = source.Length();
    // The size table must lie in the file: at least entry 0, the header
    // length. A file too short for it is malformed.
    const int64_t tableEntries = entries > 1 ? entries : 1;
    uint8_t table[4 * kMostTableEntries];
    if (length < tableOffset + 4 * tableEntries ||
        !source.Read(tableOffset, table, static_cast<size_t>(4 * tableEntries))) {
        return HeaderVerdict::kBadGeometry;
    }
    const int64_t headerLength = ReadBEInt32(table, 0);
    int64_t recordLength = 0;
    for (int32_t i = 1; i < entries; ++i) recordLength += ReadBEInt32(table, 4 * i);

    // A negative header length would put records before the file; records
    // shorter than their two time terms cannot be timed; R must fit int32.
    const int64_t dataLength = length - headerLength;
    if (headerLength < 0 || dataLength < 0 || recordLength < 16 ||
        recordLength > std::numeric_limits<int32_t>::max() || dataLength % recordLength != 0) {
        return HeaderVerdict::kBadGeometry;
    }
    const int64_t count = dataLength / recordLength;
    double first = 0.0, last = 0.0;
    if (count > 0 && (!ReadRecordTime(source, headerLength, first) ||
                      !ReadRecordTime(source, headerLength + (count - 1) * recordLength, last))) {
        return HeaderVerdict::kBadGeometry;  // the file changed since its length was taken
    }
    out.headerSize = static_cast<uint32_t>(headerLength);
    out.recordSize = static_cast<uint32_t>(recordLength);
    if (count == 0) return HeaderVerdict::kBadTimes;  // a header without records
    if (!(first <= last) || first == 0.0 || last == 0.0) return HeaderVerdict::kBadTimes;
    out.recordCount = static_cast<uint32_t>(count);
    out.firstTime = first;
    out.lastTime = last;
    return HeaderVerdict::kAccepted;
}

}  // namespace

HeaderVerdict ParseTrendHeader(ByteSource &source, TrendHeader &out) {
    out = TrendHeader{};
    uint8_t head[16];
    if (source.Length() < 16 || !source.Read(0, head, sizeof head)) {
        return HeaderVerdict::kBadGeometry;
    }
    out.channelCode = static_cast<uint32_t>(SignedByte(head, 1));
    out.scalarCount = static_cast<uint32_t>(SignedByte(head, 3));
    out.phaseQuantityCount = static_cast<uint32_t>(SignedByte(head, 4));
    out.refQuantity = static_cast<uint32_t>(SignedByte(head, 5));
    const HeaderVerdict verdict = ParseGeometry(source, 16, SignedByte(head, 15), out.geometry);
    if (verdict == HeaderVerdict::kAccepted) {
        const uint32_t mask = static_cast<uint32_t>(SignedByte(head, 2));
        out.statCount = (mask & 1u) + ((mask >> 1) & 1u) + ((mask >> 2) & 1u);
    }
    return verdict;
}

HeaderVerdict ParseHarmonicHeader(ByteSource &source, HarmonicHeader &out) {
    out = HarmonicHeader{};
    uint8_t head[4];
    if (source.Length() < 4 || !source.Read(0, head, sizeof head)) {
        return HeaderVerdict::kBadGeometry;
    }
    out.channelCode = static_cast<uint32_t>(SignedByte(head, 1));
    out.powerBlockFlag = static_cast<uint32_t>(SignedByte(head, 3)) & 2u;
    const HeaderVerdict verdict = ParseGeometry(source, 4, SignedByte(head, 2), out.geometry);
    // H lies in record 0: four more bytes. A file that fails here changed
    // since its length was taken and keeps H = 0.
    const int64_t at = int64_t{out.geometry.headerSize} + 40;
    uint8_t h[4];
    if (verdict == HeaderVerdict::kAccepted && at + 4 <= source.Length() &&
        source.Read(at, h, sizeof h)) {
        out.harmonicCount = ReadBEInt32(h, 0);
    }
    return verdict;
}

HeaderVerdict ParseTrendHeader(const uint8_t *data, int64_t length, TrendHeader &out) {
    MemorySource source(data, data != nullptr ? length : 0);
    return ParseTrendHeader(source, out);
}

HeaderVerdict ParseHarmonicHeader(const uint8_t *data, int64_t length, HarmonicHeader &out) {
    MemorySource source(data, data != nullptr ? length : 0);
    return ParseHarmonicHeader(source, out);
}

HeaderVerdict ReadTrendFileInformation(const char *path, TrendHeader &out) {
    out = TrendHeader{};
    RecordFile file;
    const HeaderVerdict verdict =
        file.Open(path) ? ParseTrendHeader(file, out) : HeaderVerdict::kBadGeometry;
    if (verdict != HeaderVerdict::kAccepted) out.geometry = FileGeometry{};
    return verdict;
}

void GetFileInformation(const char *path, TrendHeader &out) {
    LogString("GetFileInformation (Init)", path);
    const HeaderVerdict verdict = ReadTrendFileInformation(path, out);
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

void GetFileInformationFFT(const char *path, HarmonicHeader &out) {
    out = HarmonicHeader{};
    RecordFile file;
    if (file.Open(path)) ParseHarmonicHeader(file, out);
    if (out.geometry.recordCount == 0) out.geometry = FileGeometry{};
}

}  // namespace trova
