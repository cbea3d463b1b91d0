// A driver for the fuzz targets that needs no fuzzing engine: it runs the
// target over files named on the command line, or, with no arguments, over
// 65 seeds made with the recording writer (reader calls of every kind on
// random recordings of their variant with the generated calls' random
// arguments, or bare member files) and 20 deterministic mutations of each.
// CTest runs it this way under the sanitizers. TROVA_FUZZ_WRITE_SEEDS=DIR
// writes the seeds there (a campaign's starting corpus) and runs nothing.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "generated_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
// The reader target defines this (returning true) to be seeded with encoded
// reader calls (fuzz_input.h); the others get the bytes of a member file.
extern "C" __attribute__((weak)) bool TrovaFuzzReaderSeeds();

namespace {

using Input = std::vector<uint8_t>;
using trova::rec::SplitMix64;

void Run(const Input &input) { LLVMFuzzerTestOneInput(input.data(), input.size()); }

// Seed `index` calls reader kind 1 + index % 13 on a recording of its variant.
Input MakeSeed(int index, SplitMix64 &random) {
    trova::fuzz::FuzzCall call;
    call.kind = 1 + index % 13;
    const trova::rec::Recording recording =
        trova::rec::buildRecording(trova::calls::RandomPlan(random, call.kind <= 10, 4, 8));
    if (TrovaFuzzReaderSeeds == nullptr || !TrovaFuzzReaderSeeds()) return recording.contents.front();
    call.files = recording.contents;
    call.args = trova::calls::RandomArgs(random, recording.info);
    return trova::fuzz::EncodeReaderCall(call);
}

// One to eight edits: a byte replaced, a bit flipped, the tail cut (not
// into the reader call's fixed part), a byte inserted.
Input Mutate(Input data, SplitMix64 &random) {
    const int edits = 1 + static_cast<int>(random.next() % 8);
    for (int e = 0; e < edits && !data.empty(); ++e) {
        const size_t at = random.next() % data.size();
        switch (random.next() % 4) {
        case 0: data[at] = static_cast<uint8_t>(random.next()); break;
        case 1: data[at] ^= static_cast<uint8_t>(1u << (random.next() % 8)); break;
        case 2: data.resize(at > trova::fuzz::kHeader ? at : data.size()); break;
        default: data.insert(data.begin() + static_cast<std::ptrdiff_t>(at), static_cast<uint8_t>(random.next()));
        }
    }
    return data;
}

}  // namespace

int main(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
        std::ifstream in(argv[i], std::ios::binary);
        Run(Input(std::istreambuf_iterator<char>(in), {}));
    }
    const char *seedDirectory = std::getenv("TROVA_FUZZ_WRITE_SEEDS");
    SplitMix64 random(20261122);
    for (int s = 0; argc == 1 && s < 65; ++s) {
        const Input seed = MakeSeed(s, random);
        if (seedDirectory != nullptr) {
            std::ofstream(std::string(seedDirectory) + "/seed-" + std::to_string(s), std::ios::binary)
                .write(reinterpret_cast<const char *>(seed.data()), std::streamsize(seed.size()));
        } else {
            Run(seed);
            for (int m = 0; m < 20; ++m) Run(Mutate(seed, random));
        }
    }
    return 0;
}
