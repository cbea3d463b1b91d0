// Reader_XT over damaged recordings: the input becomes up to three member
// files and the call's arguments (fuzz_input.h).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "files/file_table.h"
#include "fuzz_input.h"
#include "trova/host.h"
#include "trova/readers.h"

namespace {

const std::string &Directory() {
    static const std::string dir = [] {
        char pattern[] = "/tmp/trova-fuzz-XXXXXX";
        const char *made = mkdtemp(pattern);
        if (made == nullptr) std::abort();
        TrovaSetLogDirectory(nullptr);
        TrovaSetCompletionPause(0);
        return std::string(made);
    }();
    return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    trova::fuzz::ReaderInput in;
    if (!trova::fuzz::DecodeReaderInput(data, size, in)) return 0;
    const std::string &dir = Directory();
    for (int f = 0; f < 3; ++f) {
        const std::string path = dir + "/fz.00" + std::to_string(f + 1) + ".dat";
        std::remove(path.c_str());
        if (f >= static_cast<int>(in.files.size())) continue;
        if (std::FILE *out = std::fopen(path.c_str(), "wb")) {
            if (!in.files[f].empty()) std::fwrite(in.files[f].data(), 1, in.files[f].size(), out);
            std::fclose(out);
        }
    }
    // Every input is a new recording: forget the cached table.
    trova::ReleaseFileTable();
    trova::FileTable.cachedPath[0] = '\0';

    const int points = in.points;
    const size_t room = points > 0 ? static_cast<size_t>(points) : 0;
    // Exactly the sizes the caller must provide, so that ASan sees any
    // write past them.
    std::vector<float> minValues(5 * room), maxValues(5 * room), meanValues(5 * room);
    std::vector<double> times(2 * room);
    std::vector<int> flags(room);
    int pointsArg = points, factor = 0, status = -1;
    char label[] = "fuzz", button[] = "stop";
    std::string path = dir + "/fz.001.dat";
    const int result =
        Reader_XT(in.quantity, in.minMax, in.tStart, in.tStop, in.extRef, label, path.data(),
                  &pointsArg, minValues.data(), maxValues.data(), meanValues.data(), times.data(),
                  flags.data(), &factor, button, &status);
    if (result < 0 || result > (points > 0 ? points : 0) || status < 0 || status > 4) std::abort();
    return 0;
}
