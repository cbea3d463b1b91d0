// A driver for the fuzz targets that needs no fuzzing engine: it runs the
// target over files named on the command line, or, with no arguments, over
// seeds made with the recording writer (reader calls of every kind on random
// recordings of their variant, or bare member files) and deterministic
// mutations of them. CTest runs it this way under the sanitizers.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "generated_calls.h"
#include "recording_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
// The reader target defines this (returning true) to be seeded with encoded
// reader calls (fuzz_input.h); the others get the bytes of a member file.
extern "C" __attribute__((weak)) bool TrovaFuzzReaderSeeds();

namespace {

using trova::rec::SplitMix64;

int Below(SplitMix64 &random, int n) { return static_cast<int>(random.next() % unsigned(n)); }

// Seed `index` calls reader kind 1 + index % 13 on a recording of its
// variant, with arguments spread over their meaningful ranges and a few
// beyond.
std::vector<uint8_t> MakeSeed(int index, SplitMix64 &random) {
    trova::fuzz::ReaderCall call;
    call.kind = 1 + index % 13;
    const bool harmonic = call.kind <= 10;
    trova::rec::RecordingPlan plan = trova::calls::RandomPlan(random, harmonic, 4, 8);
    const trova::rec::Recording recording = trova::rec::buildRecording(plan);
    if (TrovaFuzzReaderSeeds == nullptr || !TrovaFuzzReaderSeeds()) {
        return recording.contents.front();
    }
    for (const auto &file : recording.contents) call.files.push_back(file);
    call.quantity = Below(random, harmonic ? 20 : 12) - 1;
    call.minMax = Below(random, 5) - 1;
    call.points = Below(random, 40) - 1;
    call.harmonic = Below(random, 60) - 1;
    call.firstHarmonic = Below(random, 4) - 1;
    call.join = Below(random, 3);
    call.hMinMax = Below(random, 3);
    call.flagged = Below(random, 2);
    static const float kValues[] = {-1.0f, 230.0f, 0.0f, 0.5f, 0.95f, 1.5f};
    call.value = kValues[Below(random, 6)];
    call.hMin = Below(random, 3) * 50.0 - 10.0;
    call.hMax = call.hMin + Below(random, 4) * 40.0;
    const auto &table = recording.info.files;
    const double first = table.front().firstTime, last = table.back().lastTime;
    call.tStart = first + (last - first) * random.unit() - 2.0;
    call.tStop = first + (last - first) * random.unit() + 2.0;
    return trova::fuzz::EncodeReaderCall(call, Below(random, 3) == 0, Below(random, 3) == 0);
}

std::vector<uint8_t> Mutate(std::vector<uint8_t> data, SplitMix64 &random) {
    const int edits = 1 + static_cast<int>(random.next() % 8);
    for (int e = 0; e < edits && !data.empty(); ++e) {
        const size_t at = random.next() % data.size();
        switch (random.next() % 4) {
        case 0: data[at] = static_cast<uint8_t>(random.next()); break;
        case 1: data[at] ^= static_cast<uint8_t>(1u << (random.next() % 8)); break;
        case 2: data.resize(at > trova::fuzz::kReaderCallHeader ? at : data.size()); break;
        default: data.insert(data.begin() + static_cast<std::ptrdiff_t>(at), static_cast<uint8_t>(random.next())); break;
        }
    }
    return data;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc > 1) {
        for (int i = 1; i < argc; ++i) {
            std::ifstream in(argv[i], std::ios::binary);
            const std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)),
                                            std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(data.data(), data.size());
        }
        return 0;
    }
    const int seeds = std::getenv("TROVA_FUZZ_SEEDS") ? std::atoi(std::getenv("TROVA_FUZZ_SEEDS")) : 65;
    const int mutations = 20;
    SplitMix64 random(20261122);
    // TROVA_FUZZ_WRITE_SEEDS=DIR: the seeds go there as files (a campaign's
    // starting corpus) and nothing runs.
    const char *seedDirectory = std::getenv("TROVA_FUZZ_WRITE_SEEDS");
    long runs = 0;
    for (int s = 0; s < seeds; ++s) {
        const std::vector<uint8_t> seed = MakeSeed(s, random);
        if (seedDirectory != nullptr) {
            std::ofstream out(std::string(seedDirectory) + "/seed-" + std::to_string(s),
                              std::ios::binary);
            out.write(reinterpret_cast<const char *>(seed.data()), std::streamsize(seed.size()));
            continue;
        }
        LLVMFuzzerTestOneInput(seed.data(), seed.size());
        for (int m = 0; m < mutations; ++m) {
            const std::vector<uint8_t> mutated = Mutate(seed, random);
            LLVMFuzzerTestOneInput(mutated.data(), mutated.size());
        }
        runs += 1 + mutations;
    }
    std::printf("%ld inputs run\n", runs);
    return 0;
}
