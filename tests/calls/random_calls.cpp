// trova_random_calls DIR [CALLS] [SEED] [RECORDS]: a seeded batch of reader
// calls on generated recordings (members of at most RECORDS records, 60
// unless given; thousands make members of several scan chunks), one line per
// call: status, result, Points, a hash of every output array (with a guard
// element) and of the log bytes, and the progress totals reported. Linked
// against the libtrova.so to test, it lets scripts/compare-builds.sh compare
// two builds: they agree when their lines are identical.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "generated_calls.h"
#include "trova/host.h"

namespace {

uint64_t Hash(const std::vector<std::uint8_t> &bytes) {
    uint64_t h = 1469598103934665603ull;
    for (std::uint8_t b : bytes) h = (h ^ b) * 1099511628211ull;
    return h;
}

std::string gProgress;
void OnProgress(int total, void *) { gProgress += std::to_string(total) + ","; }

}  // namespace

int main(int argc, char **argv) {
    using namespace trova::calls;
    if (argc < 2) return std::fprintf(stderr, "usage: trova_random_calls DIR [CALLS] [SEED] [RECORDS]\n"), 2;
    const std::string dir = argv[1], log = dir + "/TrovaDLL.LOG";
    CallGenerator generator(argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1, argc > 4 ? std::atoi(argv[4]) : 60);
    TrovaSetCompletionPause(0);
    TrovaSetLogDirectory(dir.c_str());
    TrovaSetProgressCallback(OnProgress, nullptr);
    for (int c = 0, calls = argc > 2 ? std::atoi(argv[2]) : 300; c < calls; ++c) {
        const GeneratedCall call = generator.Next(dir);
        std::string path = dir + "/" + call.path;
        const Shape shape = DescribeShape(LinkedReaders(), path.c_str(), InfoOf(call.reader).harmonic);
        std::remove(log.c_str());
        gProgress.clear();
        const Outcome out = Call(LinkedReaders(), call.reader, call.args, path.data(), shape, 64);
        std::ifstream in(log, std::ios::binary);
        const std::vector<uint8_t> text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::printf("%s %-28s status %lld result %d points %lld arrays %016llx log %016llx progress %s\n",
                    call.name.c_str(), InfoOf(call.reader).name, out.Int("Status"), out.result, out.Int("Points"),
                    (unsigned long long)Hash(out.Bytes()), (unsigned long long)Hash(text), gProgress.c_str());
    }
    return 0;
}
