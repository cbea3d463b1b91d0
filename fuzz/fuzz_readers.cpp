// All thirteen readers over damaged recordings: the input picks the reader,
// gives every argument it takes (NaN and infinities included) and up to four
// member files (fuzz_input.h). The output arrays have exactly the sizes a
// caller must provide (reader_calls.h), so ASan sees any write past them;
// the status must be one of the six codes and the result where the reader's
// contract puts it.
#include <cstdlib>
#include <string>

#include "fuzz_members.h"
#include "reader_calls.h"

extern "C" bool TrovaFuzzReaderSeeds() { return true; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    trova::fuzz::ReaderCall call;
    if (!trova::fuzz::DecodeReaderCall(data, size, call)) return 0;
    std::string path = trova::fuzz::WriteMembers(call.files, ".dat");
    const trova::fuzz::ReaderOutcome outcome = trova::fuzz::CallReader(call, path.data());
    if (!outcome.ran) return 0;
    if (outcome.status < 0 || outcome.status > 5) std::abort();
    if (!trova::fuzz::ResultInRange(call, outcome.result)) std::abort();
    return 0;
}
