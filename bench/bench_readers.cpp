// How close the readers come to the cost of reading the bytes. Writes one
// trend recording (20 files of 10 000 records, about 38 MB) and measures
// reading its files whole against Reader_XT over the whole recording; the
// same for a harmonic recording (10 files of 1000 three-phase records of 50
// positions, about 44 MB) and the harmonic trend readers.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "files/file_buffer.h"
#include "files/file_table.h"
#include "recording_writer.h"
#include "trova/host.h"
#include "trova/readers.h"

namespace {

struct Recording {
    std::string dir;
    trova::rec::RecordingInfo info;
    Recording() {
        char pattern[] = "/tmp/trova-bench-XXXXXX";
        dir = mkdtemp(pattern);
        trova::rec::RecordingPlan plan;
        plan.trend.channels = 3;
        plan.trend.scalars = 2;
        plan.trend.perChannel = 4;
        for (int f = 0; f < 20; ++f) plan.add(10000);
        info = trova::rec::writeRecording(dir, plan);
        TrovaSetLogDirectory(nullptr);
        TrovaSetCompletionPause(0);
    }
    ~Recording() { std::system(("rm -rf " + dir).c_str()); }
};

Recording &TheRecording() {
    static Recording recording;
    return recording;
}

void BM_ReadFilesWhole(benchmark::State &state) {
    Recording &r = TheRecording();
    trova::FileBuffer buffer;
    int64_t bytes = 0;
    for (auto _ : state) {
        for (const auto &file : r.info.table()) {
            buffer.Load(r.info.path(file).c_str());
            bytes += buffer.size();
            benchmark::DoNotOptimize(buffer.data());
        }
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_ReadFilesWhole)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReaderXtWholeRecording(benchmark::State &state) {
    Recording &r = TheRecording();
    const int points = static_cast<int>(state.range(0));
    std::vector<float> values(5 * size_t(points));
    std::vector<double> times(2 * size_t(points));
    std::vector<int> flags(static_cast<size_t>(points));
    std::string path = r.info.path(r.info.table()[0]);
    char label[] = "bench", button[] = "stop";
    int factor = 0, status = 0;
    for (auto _ : state) {
        int pointsArg = points;
        benchmark::DoNotOptimize(Reader_XT(3, 1, -1.0, -1.0, 0.0f, label, path.data(), &pointsArg,
                                           values.data(), values.data(), values.data(),
                                           times.data(), flags.data(), &factor, button, &status));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * 20 * 10000 * r.info.table()[0].recordLength);
}
BENCHMARK(BM_ReaderXtWholeRecording)->Arg(1000)->Arg(200000)->Unit(benchmark::kMillisecond)->UseRealTime();

struct HarmonicRecording {
    std::string dir;
    trova::rec::RecordingInfo info;
    std::string path;
    int64_t bytes = 0;
    HarmonicRecording() {
        char pattern[] = "/tmp/trova-bench-XXXXXX";
        dir = mkdtemp(pattern);
        trova::rec::RecordingPlan plan;
        plan.kind = trova::rec::Kind::Harmonic;
        plan.harmonic.channelCode = 6;
        plan.harmonic.harmonics = 50;
        for (int f = 0; f < 10; ++f) plan.add(1000);
        info = trova::rec::writeRecording(dir, plan);
        path = info.path(info.table()[0]);
        for (const auto &file : info.table()) bytes += int64_t(file.fileSize);
        TrovaSetLogDirectory(nullptr);
        TrovaSetCompletionPause(0);
    }
    ~HarmonicRecording() { std::system(("rm -rf " + dir).c_str()); }
};

HarmonicRecording &TheHarmonicRecording() {
    static HarmonicRecording recording;
    return recording;
}

void BM_ReadHarmonicFilesWhole(benchmark::State &state) {
    HarmonicRecording &r = TheHarmonicRecording();
    trova::FileBuffer buffer;
    for (auto _ : state) {
        for (const auto &file : r.info.table()) {
            buffer.Load(r.info.path(file).c_str());
            benchmark::DoNotOptimize(buffer.data());
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * r.bytes);
}
BENCHMARK(BM_ReadHarmonicFilesWhole)->Unit(benchmark::kMillisecond)->UseRealTime();

// Reader_FFT_XT1 (argument 1) or _XT2 (2) with code 8: a power at one
// position, formed from the angles or read.
void BM_FftXtPower(benchmark::State &state) {
    HarmonicRecording &r = TheHarmonicRecording();
    constexpr trova_long kPoints = 1000;
    std::vector<float> values(4 * kPoints);
    std::vector<double> times(2 * kPoints);
    std::vector<trova_long> flags(kPoints);
    char label[] = "bench", button[] = "stop";
    trova_long factor = 0, status = 0;
    auto reader = state.range(0) == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2;
    for (auto _ : state) {
        trova_long points = kPoints;
        benchmark::DoNotOptimize(reader(8, 1, -1.0, -1.0, label, r.path.data(), &points,
                                        values.data(), values.data(), values.data(), times.data(),
                                        flags.data(), 5, &factor, button, 1, 0, &status));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * r.bytes);
}
BENCHMARK(BM_FftXtPower)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// Reader_FFT_ALL_Harmonics_XT1, _XT2 or _XT3 (the argument) with code 3:
// the active power of every position and phase.
void BM_FftAllPower(benchmark::State &state) {
    HarmonicRecording &r = TheHarmonicRecording();
    std::vector<float> values(50 * 100);
    std::vector<double> times(200);
    std::vector<trova_long> flags(100);
    char label[] = "bench", button[] = "stop";
    trova_long factor = 0, status = 0, harmCount = 0;
    float *v = values.data();
    for (auto _ : state) {
        if (state.range(0) == 3) {
            benchmark::DoNotOptimize(Reader_FFT_ALL_Harmonics_XT3(
                3, 1, -1.0, -1.0, label, r.path.data(), v, v, v, v, times.data(), flags.data(),
                &factor, button, 1, 0, &status, &harmCount));
        } else {
            auto reader = state.range(0) == 1 ? Reader_FFT_ALL_Harmonics_XT1
                                              : Reader_FFT_ALL_Harmonics_XT2;
            benchmark::DoNotOptimize(reader(3, 1, -1.0, -1.0, label, r.path.data(), v, v, v, v, v,
                                            v, v, v, v, v, v, v, times.data(), flags.data(),
                                            &factor, button, 1, 0, &status, &harmCount));
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * r.bytes);
}
BENCHMARK(BM_FftAllPower)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
