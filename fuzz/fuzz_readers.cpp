// All thirteen readers over damaged recordings: the input picks the reader,
// gives every argument it takes (NaN and infinities included) and up to four
// member files (fuzz_input.h). The call goes through tests/calls with output
// arrays of exactly the size a caller must provide for the recording as
// TrovaDescribeRecording describes it, each its own heap block, so ASan sees
// any write past them; the status must be one of the six codes and the
// result where the reader's contract puts it.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_input.h"
#include "trova/host.h"

namespace {

// Writes the input's files as fz.001.dat to fz.004.dat (removing those it
// does not have) in a directory made once under $TMPDIR (else /tmp; a
// campaign puts it on a memory file system); every input is a new
// recording, so the cached table is forgotten. Returns the first member.
std::string WriteMembers(const std::vector<std::vector<uint8_t>> &files) {
    static const std::string dir = [] {
        const char *base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base ? base : "/tmp") + "/trova-fuzz-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) std::abort();
        TrovaSetLogDirectory(nullptr);
        TrovaSetCompletionPause(0);
        return pattern;
    }();
    for (size_t f = 0; f < 4; ++f) {
        const std::string path = dir + "/fz.00" + std::to_string(f + 1) + ".dat";
        std::remove(path.c_str());
        std::FILE *out = f < files.size() ? std::fopen(path.c_str(), "wb") : nullptr;
        if (out == nullptr) continue;
        if (!files[f].empty()) std::fwrite(files[f].data(), 1, files[f].size(), out);
        std::fclose(out);
    }
    TrovaForgetRecording();
    return dir + "/fz.001.dat";
}

// Whether the result lies where the reader's contract puts it: a point
// count within the caller's room, or the reader's constant.
bool ResultInRange(int kind, int room, int result) {
    switch (kind) {
    case 1: return result >= -1 && result <= room;
    case 2: case 3: case 11: case 12: return result >= 0 && result <= room;
    case 8: return result >= -1 && result <= 100;
    case 9: case 10: return result >= 0 && result <= 100;
    case 13: return result == 0;
    default: return result == 1;  // the histograms and tables
    }
}

}  // namespace

extern "C" bool TrovaFuzzReaderSeeds() { return true; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace trova::calls;
    trova::fuzz::FuzzCall call;
    if (!trova::fuzz::DecodeReaderCall(data, size, call)) return 0;
    std::string path = WriteMembers(call.files);
    const ExportInfo *reader = &Exports().front();
    for (const ExportInfo &e : Exports()) reader = e.readerKind == call.kind ? &e : reader;
    static const Readers readers = LinkedReaders();
    const Shape shape = DescribeShape(readers, path.c_str(), reader->harmonic);
    const Outcome outcome = Call(readers, reader->id, call.args, path.data(), shape, 0);
    if (!outcome.ran) return 0;
    const long long status = outcome.Int("Status", -1);
    if (status < 0 || status > 5 || !ResultInRange(call.kind, std::max(0, call.args.points), outcome.result)) {
        std::fprintf(stderr, "%s: status %lld, result %d\n", reader->name, status, outcome.result);
        std::abort();
    }
    return 0;
}
