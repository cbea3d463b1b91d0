// A seeded batch of reader calls on generated recordings, for comparing two
// builds of the library call by call: every output array (with a guard
// element past what the reader may write), result and the log bytes are
// hashed and the progress totals listed, one line per call.
//
//   trova_random_calls DIR [CALLS] [SEED] [RECORDS]
//       (linked against the libtrova.so to test; scripts/compare-builds.sh
//       runs it on two builds). RECORDS bounds the records of a member (60;
//       thousands make members of several scan chunks).
//
// Two builds agree when their lines are identical.
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

// Every progress total the library reports during a call.
std::string gProgress;
void OnProgress(int total, void *) { gProgress += std::to_string(total) + ","; }

}  // namespace

int main(int argc, char **argv) {
    using namespace trova::calls;
    if (argc < 2) {
        std::fprintf(stderr, "usage: trova_random_calls DIR [CALLS] [SEED] [RECORDS]\n");
        return 2;
    }
    const std::string dir = argv[1];
    const int calls = argc > 2 ? std::atoi(argv[2]) : 300;
    CallGenerator generator(argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1,
                            argc > 4 ? std::atoi(argv[4]) : 60);
    TrovaSetCompletionPause(0);
    TrovaSetLogDirectory(dir.c_str());
    TrovaSetProgressCallback(OnProgress, nullptr);
    const Readers readers = LinkedReaders();
    for (int c = 0; c < calls; ++c) {
        const GeneratedCall call = generator.Next(dir);
        std::string path = dir + "/" + call.path;
        const Shape shape = DescribeShape(readers, path.c_str(), InfoOf(call.reader).harmonic);
        std::remove((dir + "/TrovaDLL.LOG").c_str());
        gProgress.clear();
        const Outcome out = Call(readers, call.reader, call.args, path.data(), shape, 64);
        std::ifstream log(dir + "/TrovaDLL.LOG", std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
        std::printf("%s %-28s status %lld result %d points %lld arrays %016llx log %016llx progress %s\n",
                    call.name.c_str(), InfoOf(call.reader).name, out.Int("Status"), out.result,
                    out.Int("Points"), (unsigned long long)Hash(out.Bytes()),
                    (unsigned long long)Hash({text.begin(), text.end()}), gProgress.c_str());
    }
    return 0;
}
