// The sample recordings of the demo: a three-phase trend recording of four
// files with a gap, a few flagged records and a decoy file beside it, and a
// harmonic recording.
#pragma once

#include <string>

namespace trova::rec {

// Writes the recording into `directory` (created if missing) and gives the
// path of its first file in `firstFile`.
bool WriteSampleTrendRecording(const std::string &directory, std::string &firstFile);

// A three-phase harmonic recording of three files: 25 harmonic positions
// (position 0 the fundamental), stored harmonic powers, a few flagged
// records.
bool WriteSampleHarmonicRecording(const std::string &directory, std::string &firstFile);

}  // namespace trova::rec
