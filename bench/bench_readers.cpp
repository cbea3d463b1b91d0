// How close the readers come to the cost of reading the bytes. Writes one
// trend recording (20 files of 10 000 records, about 38 MB) and measures
// reading its files whole against Reader_XT over the whole recording.
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

}  // namespace

BENCHMARK_MAIN();
