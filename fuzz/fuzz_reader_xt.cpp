// Reader_XT over damaged recordings: the input becomes up to three member
// files and the call's arguments (fuzz_input.h).
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_members.h"
#include "trova/readers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    trova::fuzz::ReaderInput in;
    if (!trova::fuzz::DecodeReaderInput(data, size, in)) return 0;
    std::string path = trova::fuzz::WriteMembers(in, ".dat");

    const int points = in.points;
    const size_t room = points > 0 ? static_cast<size_t>(points) : 0;
    // Exactly the sizes the caller must provide, so that ASan sees any
    // write past them.
    std::vector<float> minValues(5 * room), maxValues(5 * room), meanValues(5 * room);
    std::vector<double> times(2 * room);
    std::vector<int> flags(room);
    int pointsArg = points, factor = 0, status = -1;
    char label[] = "fuzz", button[] = "stop";
    const int result =
        Reader_XT(in.quantity, in.minMax, in.tStart, in.tStop, in.extRef, label, path.data(),
                  &pointsArg, minValues.data(), maxValues.data(), meanValues.data(), times.data(),
                  flags.data(), &factor, button, &status);
    if (result < 0 || result > (points > 0 ? points : 0) || status < 0 || status > 4) std::abort();
    return 0;
}
