// The six harmonic trend readers over damaged recordings: the input becomes
// up to three member files and the calls' arguments (fuzz_input.h; byte 4,
// read there as ExtRef, gives the position Harmonic). Every output array
// has exactly the size the caller must provide, so ASan sees any write past
// it; the arrays of phases the recording does not have are null.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "files/file_table.h"
#include "fuzz_members.h"
#include "harmonics/harmonic_layout.h"
#include "trova/readers.h"

namespace {

void Check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" bool TrovaFuzzHarmonicSeeds() { return true; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    trova::fuzz::ReaderInput in;
    if (!trova::fuzz::DecodeReaderInput(data, size, in)) return 0;
    // The table is built here first, to size the arrays as a caller would
    // (the readers reuse it).
    std::string path = trova::fuzz::WriteMembers(in, ".fft");
    trova::EnsureFileTable(path.c_str(), trova::HeaderVariant::kHarmonic);
    int phases = 1, rows = 1;
    if (trova::FileTable.fileCount > 0) {
        phases = trova::HarmonicPhaseCount(trova::FileTable.entries[0].channelCode);
        for (int32_t f = 0; f < trova::FileTable.fileCount; ++f) {
            rows = std::max(rows, static_cast<int>(trova::FileTable.entries[f].harmonicCount));
        }
    }
    const trova_long harmonic = static_cast<trova_long>(in.extRef);
    const trova_long firstHarmonic = in.points % 7 - 1;
    const trova_long join = in.minMax & 1;
    char label[] = "fuzz", button[] = "stop";

    const int points = in.points;
    const size_t room = points > 0 ? static_cast<size_t>(points) : 0;
    const size_t segment = size_t(phases) * room;
    std::vector<float> minValues(segment), maxValues(segment), meanValues(segment);
    std::vector<double> times(2 * room);
    std::vector<trova_long> flags(room);
    for (int reader = 1; reader <= 3; ++reader) {
        trova_long pointsArg = points, factor = 0, status = -1;
        int result = 0;
        if (reader == 3) {
            result = Reader_FFT_XT3(in.quantity, in.minMax, in.tStart, in.tStop, label,
                                    path.data(), &pointsArg, meanValues.data(), times.data(),
                                    flags.data(), harmonic, &factor, button, firstHarmonic, join,
                                    &status);
        } else {
            result = (reader == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2)(
                in.quantity, in.minMax, in.tStart, in.tStop, label, path.data(), &pointsArg,
                minValues.data(), maxValues.data(), meanValues.data(), times.data(), flags.data(),
                harmonic, &factor, button, firstHarmonic, join, &status);
        }
        Check(status >= 0 && status <= 5);
        Check(result >= (reader == 1 ? -1 : 0) && result <= static_cast<int>(room));
    }

    // The spectrum readers need H·100 floats per phase, H the largest count
    // among the files: a caller cannot provide that for absurd counts.
    if (rows > 4096) return 0;
    std::vector<std::vector<float>> arrays(12);
    float *v[12] = {};
    for (int i = 0; i < 3 * phases; ++i) {
        arrays[size_t(i)].resize(size_t(rows) * 100);
        v[i] = arrays[size_t(i)].data();
    }
    float *values[4] = {};
    for (int p = 0; p < phases; ++p) values[p] = v[3 * p];
    std::vector<double> spectrumTimes(200);
    std::vector<trova_long> spectrumFlags(100);
    for (int reader = 1; reader <= 3; ++reader) {
        trova_long factor = 0, status = -1, harmCount = 0;
        int result = 0;
        if (reader == 3) {
            result = Reader_FFT_ALL_Harmonics_XT3(
                in.quantity, in.minMax, in.tStart, in.tStop, label, path.data(), values[0],
                values[1], values[2], values[3], spectrumTimes.data(), spectrumFlags.data(),
                &factor, button, firstHarmonic, join, &status, &harmCount);
        } else {
            result = (reader == 1 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(
                in.quantity, in.minMax, in.tStart, in.tStop, label, path.data(), v[0], v[1], v[2],
                v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], spectrumTimes.data(),
                spectrumFlags.data(), &factor, button, firstHarmonic, join, &status, &harmCount);
        }
        Check(status >= 0 && status <= 5);
        Check(result >= (reader == 1 ? -1 : 0) && result <= 100);
    }
    return 0;
}
