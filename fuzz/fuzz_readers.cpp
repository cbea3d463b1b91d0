// All thirteen readers over damaged recordings: the input picks the reader,
// gives every argument it takes (NaN and infinities included) and up to four
// member files (fuzz_input.h). Every output array has exactly the size the
// caller must provide for the recording as the table describes it, so ASan
// sees any write past it; arrays of phases or channels the recording does
// not have are null where a caller may pass null.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "files/file_buffer.h"
#include "files/file_table.h"
#include "fuzz_members.h"
#include "harmonics/harmonic_layout.h"
#include "trova/readers.h"

namespace {

using trova::fuzz::ReaderCall;

void Check(bool holds) {
    if (!holds) std::abort();
}

template <class T>
std::vector<T> Room(size_t n) {
    return std::vector<T>(n);
}

// What the first file says about the shapes of the outputs.
struct Shape {
    int channels = 1;  // trend: channel count N; harmonic: phase count P
    int rows = 1;      // harmonic: the largest harmonic count H among the files
    int firstRows = 1; // harmonic: H of the first file
};

Shape ShapeOf(bool harmonic) {
    Shape shape;
    if (trova::FileTable.fileCount < 1) return shape;
    const auto &first = trova::FileTable.entries[0];
    shape.channels = harmonic ? trova::HarmonicPhaseCount(first.channelCode)
                              : std::max(1, static_cast<int>(first.channelCode));
    for (int32_t f = 0; f < trova::FileTable.fileCount; ++f) {
        shape.rows = std::max(shape.rows, static_cast<int>(trova::FileTable.entries[f].harmonicCount));
    }
    shape.firstRows = std::max(1, static_cast<int>(first.harmonicCount));
    return shape;
}

// Reader_HIST's per-channel entries: 1, 3, 4 or 5.
size_t HistGroups(int channels) {
    return channels <= 1 ? 1 : channels <= 3 ? 3 : channels == 4 ? 4 : 5;
}

int CallTrend(const ReaderCall &c, char *path, const Shape &shape) {
    char label[] = "fuzz", button[] = "stop";
    const size_t room = c.points > 0 ? static_cast<size_t>(c.points) : 0;
    int status = -1;
    int result = 0;
    if (c.kind == 11 || c.kind == 12) {
        auto mins = Room<float>(5 * room), maxs = Room<float>(5 * room), means = Room<float>(5 * room);
        auto times = Room<double>(2 * room);
        auto flags = Room<int>(room);
        int points = c.points, factor = 0;
        result = c.kind == 11
                     ? Reader_XT(c.quantity, c.minMax, c.tStart, c.tStop, c.value, label, path,
                                 &points, mins.data(), maxs.data(), means.data(), times.data(),
                                 flags.data(), &factor, button, &status)
                     : Reader_XT2(c.quantity, c.minMax, c.tStart, c.tStop, c.value, label, path,
                                  &points, mins.data(), times.data(), flags.data(), &factor,
                                  button, &status);
        Check(result >= 0 && result <= static_cast<int>(room));
    } else {
        const size_t groups = HistGroups(shape.channels);
        auto start = Room<double>(size_t(shape.channels)), width = start;
        auto counts = Room<trova_long>(100 * groups);
        auto inRange = Room<trova_long>(groups), total = inRange;
        trova_long flagged = 0, records = 0, longStatus = -1;
        result = Reader_HIST(c.quantity, c.minMax, c.tStart, c.tStop, c.value, label, path,
                             start.data(), width.data(), counts.data(), button, &longStatus,
                             c.hMinMax, c.hMin, c.hMax, inRange.data(), total.data(), c.flagged,
                             &flagged, &records);
        status = static_cast<int>(longStatus);
        Check(result == 0);
    }
    return status;
}

trova_long CallHarmonicTrend(const ReaderCall &c, char *path, const Shape &shape) {
    char label[] = "fuzz", button[] = "stop";
    const size_t room = c.points > 0 ? static_cast<size_t>(c.points) : 0;
    const size_t segment = size_t(shape.channels) * room;
    auto mins = Room<float>(segment), maxs = Room<float>(segment), means = Room<float>(segment);
    auto times = Room<double>(2 * room);
    auto flags = Room<trova_long>(room);
    trova_long points = c.points, factor = 0, status = -1;
    int result = 0;
    if (c.kind == 3) {
        result = Reader_FFT_XT3(c.quantity, c.minMax, c.tStart, c.tStop, label, path, &points,
                                means.data(), times.data(), flags.data(), c.harmonic, &factor,
                                button, c.firstHarmonic, c.join, &status);
    } else {
        result = (c.kind == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2)(
            c.quantity, c.minMax, c.tStart, c.tStop, label, path, &points, mins.data(),
            maxs.data(), means.data(), times.data(), flags.data(), c.harmonic, &factor, button,
            c.firstHarmonic, c.join, &status);
    }
    Check(result >= (c.kind == 1 ? -1 : 0) && result <= static_cast<int>(room));
    return status;
}

trova_long CallSpectrum(const ReaderCall &c, char *path, const Shape &shape) {
    // H·100 floats per phase, H the largest count among the files: a caller
    // cannot provide that for absurd counts.
    if (shape.rows > 4096) return 0;
    char label[] = "fuzz", button[] = "stop";
    std::vector<std::vector<float>> arrays(12);
    float *v[12] = {};
    for (int i = 0; i < 3 * shape.channels; ++i) {
        arrays[size_t(i)].resize(size_t(shape.rows) * 100);
        v[i] = arrays[size_t(i)].data();
    }
    float *values[4] = {};
    for (int p = 0; p < shape.channels; ++p) values[p] = v[3 * p];
    auto times = Room<double>(200);
    auto flags = Room<trova_long>(100);
    trova_long factor = 0, status = -1, harmCount = 0;
    int result = 0;
    if (c.kind == 10) {
        result = Reader_FFT_ALL_Harmonics_XT3(c.quantity, c.minMax, c.tStart, c.tStop, label, path,
                                              values[0], values[1], values[2], values[3],
                                              times.data(), flags.data(), &factor, button,
                                              c.firstHarmonic, c.join, &status, &harmCount);
    } else {
        result = (c.kind == 8 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(
            c.quantity, c.minMax, c.tStart, c.tStop, label, path, v[0], v[1], v[2], v[3], v[4],
            v[5], v[6], v[7], v[8], v[9], v[10], v[11], times.data(), flags.data(), &factor,
            button, c.firstHarmonic, c.join, &status, &harmCount);
    }
    Check(result >= (c.kind == 8 ? -1 : 0) && result <= 100);
    return status;
}

trova_long CallHarmonicStatistics(const ReaderCall &c, char *path, const Shape &shape) {
    char label[] = "fuzz", button[] = "stop";
    const size_t phases = size_t(shape.channels);
    trova_long status = -1, harmCount = 0, flagged = 0, total = 0;
    int result = 0;
    if (c.kind == 4 || c.kind == 5) {
        auto start = Room<double>(phases), width = start;
        auto counts = Room<trova_long>(100 * phases);
        auto inRange = Room<trova_long>(phases), all = inRange;
        result = c.kind == 4
                     ? Reader_FFT_HIST1(c.quantity, c.minMax, c.tStart, c.tStop, label, path,
                                        start.data(), width.data(), counts.data(), c.harmonic,
                                        button, c.firstHarmonic, c.join, &status)
                     : Reader_FFT_HIST2(c.quantity, c.minMax, c.tStart, c.tStop, label, path,
                                        start.data(), width.data(), counts.data(), c.harmonic,
                                        button, c.firstHarmonic, c.join, &status, c.hMinMax,
                                        c.hMin, c.hMax, inRange.data(), all.data(), c.flagged,
                                        &flagged, &total);
    } else {
        auto harm = Room<float>(500 * phases), a = Room<float>(phases), b = a;
        result = c.kind == 6
                     ? Reader_FFT_Table1(c.quantity, c.minMax, c.tStart, c.tStop, label, path,
                                         button, c.firstHarmonic, harm.data(), a.data(), b.data(),
                                         c.value, c.join, &status, &harmCount)
                     : Reader_FFT_Table2(c.quantity, c.minMax, c.tStart, c.tStop, label, path,
                                         button, c.firstHarmonic, harm.data(), a.data(), b.data(),
                                         c.value, c.join, &status, &harmCount, c.flagged,
                                         &flagged, &total);
    }
    Check(result == 1);
    return status;
}

}  // namespace

extern "C" bool TrovaFuzzReaderSeeds() { return true; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    ReaderCall call;
    if (!trova::fuzz::DecodeReaderCall(data, size, call)) return 0;
    const bool harmonic = call.kind <= 10;
    std::string path = trova::fuzz::WriteMembers(call.files, ".dat");
    // The table is built here first, to size the arrays as a caller would
    // (the reader reuses it).
    trova::FileBuffer buffer;
    trova::EnsureFileTable(path.c_str(),
                           harmonic ? trova::HeaderVariant::kHarmonic : trova::HeaderVariant::kTrend,
                           buffer);
    const Shape shape = ShapeOf(harmonic);
    long long status = -1;
    if (call.kind >= 11) {
        status = CallTrend(call, path.data(), shape);
    } else if (call.kind <= 3) {
        status = CallHarmonicTrend(call, path.data(), shape);
    } else if (call.kind >= 8) {
        status = CallSpectrum(call, path.data(), shape);
    } else {
        status = CallHarmonicStatistics(call, path.data(), shape);
    }
    Check(status >= 0 && status <= 5);
    return 0;
}
