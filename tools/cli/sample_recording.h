// The sample recording of the demo: a three-phase trend recording of four
// files with a gap, a few flagged records and a decoy file beside it.
#pragma once

#include <string>

namespace trova::rec {

// Writes the recording into `directory` (created if missing) and gives the
// path of its first file in `firstFile`.
bool WriteSampleTrendRecording(const std::string &directory, std::string &firstFile);

}  // namespace trova::rec
