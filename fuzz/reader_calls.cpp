#include "reader_calls.h"

#include <algorithm>
#include <memory>

#include "files/file_table.h"
#include "harmonics/harmonic_layout.h"
#include "trova/readers.h"

namespace trova::fuzz {
namespace {

// The output arrays of one call, each in a heap block of its own size.
class Arrays {
public:
    template <class T>
    T *Take(size_t n) {
        if (n == 0) return nullptr;
        blocks_.push_back({std::make_unique<uint8_t[]>(n * sizeof(T)), n * sizeof(T)});
        std::fill_n(blocks_.back().data.get(), blocks_.back().size, uint8_t{0xA5});
        return reinterpret_cast<T *>(blocks_.back().data.get());
    }
    std::vector<uint8_t> Bytes() const {
        std::vector<uint8_t> all;
        for (const Block &b : blocks_) all.insert(all.end(), b.data.get(), b.data.get() + b.size);
        return all;
    }

private:
    struct Block {
        std::unique_ptr<uint8_t[]> data;
        size_t size;
    };
    std::vector<Block> blocks_;
};

// What the table says about the shapes of the outputs.
struct Shape {
    int channels = 1;  // trend: channel count N; harmonic: phase count P
    int rows = 1;      // harmonic: the largest harmonic count H among the files
};

Shape ShapeOf(bool harmonic) {
    Shape shape;
    if (FileTable.fileCount < 1) return shape;
    const FileInfoRecord &first = FileTable.entries[0];
    shape.channels = harmonic ? HarmonicPhaseCount(first.channelCode)
                              : std::max(1, static_cast<int>(first.channelCode));
    for (int32_t f = 0; f < FileTable.fileCount; ++f) {
        shape.rows = std::max(shape.rows, static_cast<int>(FileTable.entries[f].harmonicCount));
    }
    return shape;
}

// Reader_HIST's per-channel entries: 1, 3, 4 or 5.
size_t HistGroups(int channels) {
    return channels <= 1 ? 1 : channels <= 3 ? 3 : channels == 4 ? 4 : 5;
}

size_t Room(const ReaderCall &c) { return c.points > 0 ? static_cast<size_t>(c.points) : 0; }

char gLabel[] = "trova", gButton[] = "Stop";

int CallTrend(const ReaderCall &c, char *path, const Shape &shape, Arrays &a, long long &status) {
    const size_t room = Room(c);
    if (c.kind == 11 || c.kind == 12) {
        int points = c.points, factor = 0, s = -1;
        const int result =
            c.kind == 11
                ? Reader_XT(c.quantity, c.minMax, c.tStart, c.tStop, c.value, gLabel, path,
                            &points, a.Take<float>(5 * room), a.Take<float>(5 * room),
                            a.Take<float>(5 * room), a.Take<double>(2 * room),
                            a.Take<int>(room), &factor, gButton, &s)
                : Reader_XT2(c.quantity, c.minMax, c.tStart, c.tStop, c.value, gLabel, path,
                             &points, a.Take<float>(5 * room), a.Take<double>(2 * room),
                             a.Take<int>(room), &factor, gButton, &s);
        status = s;
        return result;
    }
    const size_t groups = HistGroups(shape.channels);
    trova_long s = -1, flagged = 0, records = 0;
    const int result = Reader_HIST(
        c.quantity, c.minMax, c.tStart, c.tStop, c.value, gLabel, path,
        a.Take<double>(size_t(shape.channels)), a.Take<double>(size_t(shape.channels)),
        a.Take<trova_long>(100 * groups), gButton, &s, c.hMinMax, c.hMin, c.hMax,
        a.Take<trova_long>(groups), a.Take<trova_long>(groups), c.flagged, &flagged, &records);
    status = s;
    return result;
}

int CallHarmonicTrend(const ReaderCall &c, char *path, const Shape &shape, Arrays &a,
                      long long &status) {
    const size_t room = Room(c), segment = size_t(shape.channels) * room;
    trova_long points = c.points, factor = 0, s = -1;
    int result;
    if (c.kind == 3) {
        result = Reader_FFT_XT3(c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path, &points,
                                a.Take<float>(segment), a.Take<double>(2 * room),
                                a.Take<trova_long>(room), c.harmonic, &factor, gButton,
                                c.firstHarmonic, c.join, &s);
    } else {
        result = (c.kind == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2)(
            c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path, &points,
            a.Take<float>(segment), a.Take<float>(segment), a.Take<float>(segment),
            a.Take<double>(2 * room), a.Take<trova_long>(room), c.harmonic, &factor, gButton,
            c.firstHarmonic, c.join, &s);
    }
    status = s;
    return result;
}

int CallSpectrum(const ReaderCall &c, char *path, const Shape &shape, Arrays &a,
                 long long &status) {
    // H·100 floats per phase and array, H the largest count among the files.
    float *v[12] = {};
    for (int i = 0; i < 3 * shape.channels; ++i) v[i] = a.Take<float>(size_t(shape.rows) * 100);
    float *values[4] = {v[0], v[3], v[6], v[9]};
    double *times = a.Take<double>(200);
    trova_long *flags = a.Take<trova_long>(100);
    trova_long factor = 0, s = -1, harmCount = 0;
    int result;
    if (c.kind == 10) {
        result = Reader_FFT_ALL_Harmonics_XT3(c.quantity, c.minMax, c.tStart, c.tStop, gLabel,
                                              path, values[0], values[1], values[2], values[3],
                                              times, flags, &factor, gButton, c.firstHarmonic,
                                              c.join, &s, &harmCount);
    } else {
        result = (c.kind == 8 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(
            c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path, v[0], v[1], v[2], v[3], v[4],
            v[5], v[6], v[7], v[8], v[9], v[10], v[11], times, flags, &factor, gButton,
            c.firstHarmonic, c.join, &s, &harmCount);
    }
    status = s;
    return result;
}

int CallHarmonicStatistics(const ReaderCall &c, char *path, const Shape &shape, Arrays &a,
                           long long &status) {
    const size_t phases = size_t(shape.channels);
    trova_long s = -1, harmCount = 0, flagged = 0, total = 0;
    int result;
    if (c.kind == 4 || c.kind == 5) {
        double *start = a.Take<double>(phases), *width = a.Take<double>(phases);
        trova_long *counts = a.Take<trova_long>(100 * phases);
        result = c.kind == 4
                     ? Reader_FFT_HIST1(c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path,
                                        start, width, counts, c.harmonic, gButton,
                                        c.firstHarmonic, c.join, &s)
                     : Reader_FFT_HIST2(c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path,
                                        start, width, counts, c.harmonic, gButton,
                                        c.firstHarmonic, c.join, &s, c.hMinMax, c.hMin, c.hMax,
                                        a.Take<trova_long>(phases), a.Take<trova_long>(phases),
                                        c.flagged, &flagged, &total);
    } else {
        float *harm = a.Take<float>(500 * phases), *va = a.Take<float>(phases),
              *vb = a.Take<float>(phases);
        result = c.kind == 6
                     ? Reader_FFT_Table1(c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path,
                                         gButton, c.firstHarmonic, harm, va, vb, c.value, c.join,
                                         &s, &harmCount)
                     : Reader_FFT_Table2(c.quantity, c.minMax, c.tStart, c.tStop, gLabel, path,
                                         gButton, c.firstHarmonic, harm, va, vb, c.value, c.join,
                                         &s, &harmCount, c.flagged, &flagged, &total);
    }
    status = s;
    return result;
}

}  // namespace

ReaderOutcome CallReader(const ReaderCall &call, char *path) {
    const bool harmonic = call.kind <= 10;
    EnsureFileTable(path, harmonic ? HeaderVariant::kHarmonic : HeaderVariant::kTrend);
    const Shape shape = ShapeOf(harmonic);
    ReaderOutcome outcome;
    // A caller cannot provide H·100 floats per array for absurd counts.
    if (call.kind >= 8 && call.kind <= 10 && shape.rows > 4096) {
        outcome.ran = false;
        return outcome;
    }
    Arrays arrays;
    if (call.kind >= 11) {
        outcome.result = CallTrend(call, path, shape, arrays, outcome.status);
    } else if (call.kind <= 3) {
        outcome.result = CallHarmonicTrend(call, path, shape, arrays, outcome.status);
    } else if (call.kind >= 8) {
        outcome.result = CallSpectrum(call, path, shape, arrays, outcome.status);
    } else {
        outcome.result = CallHarmonicStatistics(call, path, shape, arrays, outcome.status);
    }
    outcome.outputs = arrays.Bytes();
    return outcome;
}

bool ResultInRange(const ReaderCall &call, int result) {
    const int room = static_cast<int>(Room(call));
    switch (call.kind) {
    case 1: return result >= -1 && result <= room;
    case 2: case 3: case 11: case 12: return result >= 0 && result <= room;
    case 8: return result >= -1 && result <= 100;
    case 9: case 10: return result >= 0 && result <= 100;
    case 13: return result == 0;
    default: return result == 1;  // the histograms and tables
    }
}

}  // namespace trova::fuzz
