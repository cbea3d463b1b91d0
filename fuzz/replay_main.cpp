// A driver for the fuzz targets that needs no fuzzing engine: it runs the
// target over files named on the command line, or, with no arguments, over
// recordings made by the recording writer (trend recordings, or harmonic
// ones for the targets that ask for them) and deterministic mutations of
// them. CTest runs it this way under the sanitizers.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "recording_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
// A target that reads harmonic recordings defines this (returning true) to
// be seeded with harmonic recordings instead of trend recordings.
extern "C" __attribute__((weak)) bool TrovaFuzzHarmonicSeeds();

namespace {

using trova::rec::SplitMix64;

// A harmonic recording of one to three files: any phase count the readers
// know (and one they do not), a harmonic count that may differ per file,
// with or without power block.
trova::rec::RecordingPlan HarmonicSeedPlan(SplitMix64 &random) {
    static const int kChannelCodes[] = {2, 6, 8, 7, 0};
    trova::rec::RecordingPlan plan;
    plan.kind = trova::rec::Kind::Harmonic;
    trova::rec::HarmonicFormat &format = plan.harmonic;
    format.channelCode = kChannelCodes[random.next() % 5];
    format.harmonics = static_cast<int>(random.next() % 60);
    format.powerBlock = random.next() % 3 != 0;
    format.recordParts = 1 + static_cast<int>(random.next() % 3);
    format.extraRecordBytes = random.next() % 2 ? 8 : 0;
    format.headerPadding = random.next() % 2 ? 12 : 0;
    const int files = 1 + static_cast<int>(random.next() % 3);
    for (int f = 0; f < files; ++f) {
        trova::rec::MemberPlan &member =
            plan.add(1 + static_cast<int>(random.next() % 8), f ? 5.0 : 0.0);
        if (random.next() % 3 == 0) {
            trova::rec::HarmonicFormat other = format;
            other.harmonics = static_cast<int>(random.next() % 60);
            member.harmonic = other;
        }
    }
    return plan;
}

std::vector<uint8_t> MakeSeed(SplitMix64 &random) {
    if (TrovaFuzzHarmonicSeeds != nullptr && TrovaFuzzHarmonicSeeds()) {
        trova::rec::RecordingPlan plan = HarmonicSeedPlan(random);
        plan.seed = random.next();
        plan.flags = trova::rec::everyKth(1 + static_cast<int>(random.next() % 5), 2);
        const trova::rec::Recording recording = trova::rec::buildRecording(plan);
        trova::fuzz::ReaderInput in;
        for (const auto &file : recording.contents) in.files.push_back(file);
        in.quantity = static_cast<int>(random.next() % 20) - 1;
        in.minMax = static_cast<int>(random.next() % 3);
        in.points = static_cast<int>(random.next() % 40) - 1;
        in.extRef = random.next() % 2 ? -1.0f : 230.0f;  // byte 4: positions -1 and 230
        const auto &table = recording.info.files;
        const double first = table.front().firstTime, last = table.back().lastTime;
        in.tStart = first + (last - first) * random.unit() - 2.0;
        in.tStop = first + (last - first) * random.unit() + 2.0;
        return trova::fuzz::EncodeReaderInput(in, random.next() % 3 == 0, random.next() % 3 == 0);
    }
    trova::rec::RecordingPlan plan;
    trova::rec::TrendFormat &format = plan.trend;
    format.channels = static_cast<int>(random.next() % 7);
    format.statMask = static_cast<int>(random.next() % 8) | 1;
    format.scalars = static_cast<int>(random.next() % 4);
    format.perChannel = static_cast<int>(random.next() % 5);
    format.refQuantity = static_cast<int>(random.next() % (format.scalars + format.perChannel + 1));
    format.recordParts = 1 + static_cast<int>(random.next() % 3);
    format.extraRecordBytes = random.next() % 2 ? 8 : 0;
    format.headerPadding = random.next() % 2 ? 12 : 0;
    plan.seed = random.next();
    plan.flags = trova::rec::everyKth(1 + static_cast<int>(random.next() % 5), 2);
    const int files = 1 + static_cast<int>(random.next() % 3);
    for (int f = 0; f < files; ++f) plan.add(1 + static_cast<int>(random.next() % 20), f ? 5.0 : 0.0);
    const trova::rec::Recording recording = trova::rec::buildRecording(plan);

    trova::fuzz::ReaderInput in;
    for (const auto &file : recording.contents) in.files.push_back(file);
    in.quantity = static_cast<int>(random.next() % 12) - 1;
    in.minMax = static_cast<int>(random.next() % 5) - 1;
    in.points = static_cast<int>(random.next() % 40) - 1;
    static const float kExtRefs[] = {-1.0f, 230.0f, 0.0f};
    in.extRef = kExtRefs[random.next() % 3];
    const auto &table = recording.info.files;
    const double first = table.front().firstTime, last = table.back().lastTime;
    in.tStart = first + (last - first) * random.unit() - 2.0;
    in.tStop = first + (last - first) * random.unit() + 2.0;
    return trova::fuzz::EncodeReaderInput(in, random.next() % 3 == 0, random.next() % 3 == 0);
}

std::vector<uint8_t> Mutate(std::vector<uint8_t> data, SplitMix64 &random) {
    const int edits = 1 + static_cast<int>(random.next() % 8);
    for (int e = 0; e < edits && !data.empty(); ++e) {
        const size_t at = random.next() % data.size();
        switch (random.next() % 4) {
        case 0: data[at] = static_cast<uint8_t>(random.next()); break;
        case 1: data[at] ^= static_cast<uint8_t>(1u << (random.next() % 8)); break;
        case 2: data.resize(at > 21 ? at : data.size()); break;
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
    const int seeds = std::getenv("TROVA_FUZZ_SEEDS") ? std::atoi(std::getenv("TROVA_FUZZ_SEEDS")) : 60;
    const int mutations = 20;
    SplitMix64 random(20261122);
    long runs = 0;
    for (int s = 0; s < seeds; ++s) {
        const std::vector<uint8_t> seed = MakeSeed(random);
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
