// The two header variants of recording files and what a file's header,
// first record and last record tell about it.
//
// Variant A (trend files): byte 1 channel count, byte 2 statistics mask,
// byte 3 scalar quantity count, byte 4 channel quantity count, byte 5
// reference quantity, byte 15 size-table count N, int32 size table from 16.
// Variant B (harmonic files): byte 1 channel code, byte 2 size-table count N,
// byte 3 flags (bit 1: power block), int32 size table from 4.
// Size-table entry 0 is the header length D; the other entries are the
// parts of a record, whose sum is the record length R. Record n starts at
// D + n·R and the file ends with the last record.
#pragma once

#include <cstdint>

#include "files/record_file.h"

namespace trova {

// Geometry and times common to both variants. A file that is malformed or
// whose times are not accepted has recordCount 0 and both times 0.0.
struct FileGeometry {
    uint32_t headerSize = 0;
    uint32_t recordSize = 0;
    uint32_t recordCount = 0;
    double firstTime = 0.0;
    double lastTime = 0.0;
};

struct TrendHeader {
    uint32_t channelCode = 0;  // header bytes are signed and widened
    uint32_t statCount = 0;
    uint32_t scalarCount = 0;
    uint32_t phaseQuantityCount = 0;
    uint32_t refQuantity = 0;
    FileGeometry geometry;
};

struct HarmonicHeader {
    uint32_t channelCode = 0;
    uint32_t powerBlockFlag = 0;  // 0 or 2
    int32_t harmonicCount = 0;    // H: the int32 at file offset D + 40; 0 when the file is shorter
    FileGeometry geometry;
};

// How far a parse got; decides which log lines a trend file gets.
enum class HeaderVerdict {
    kAccepted,
    kBadGeometry,  // unreadable, too short for its size table, D < 0, R not
                   // usable, or data length not a whole number of records
    kBadTimes,     // first later than last, or either time 0.0 (or NaN)
};

// Parsers over a source: they read the header, the size table, the first
// and the last record's times and (harmonic files) H, nothing else. A read
// that fails (a file that shrank or broke since its length was taken) makes
// the file malformed. The overloads over memory are what the fuzzers drive.
HeaderVerdict ParseTrendHeader(ByteSource &source, TrendHeader &out);
HeaderVerdict ParseHarmonicHeader(ByteSource &source, HarmonicHeader &out);
HeaderVerdict ParseTrendHeader(const uint8_t *data, int64_t length, TrendHeader &out);
HeaderVerdict ParseHarmonicHeader(const uint8_t *data, int64_t length, HarmonicHeader &out);

// Open the file and parse it. The trend variant writes
// the "GetFileInformation" log lines; ReadTrendFileInformation is the same
// without them. A file that cannot be read any more is treated like a
// malformed one.
HeaderVerdict ReadTrendFileInformation(const char *path, TrendHeader &out);
void GetFileInformation(const char *path, TrendHeader &out);
void GetFileInformationFFT(const char *path, HarmonicHeader &out);


}  // namespace trova
