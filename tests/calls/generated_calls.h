// A seeded batch of reader calls on generated recordings: each call gets a
// recording of its own with random geometry and now and then a damaged
// member, a reader (now and then one of the other variant), a window in or
// around the recording's times, and random arguments. The same seed gives
// the same recordings and calls on every platform.
#pragma once

#include <cstdint>
#include <string>

#include "reader_call.h"
#include "recording_writer.h"

namespace trova::calls {

struct GeneratedCall {
    std::string name;  // gen-0000, gen-0001, ...
    Export reader;
    std::string path;  // relative to the directory given to Next
    Args args;
};

// A recording of random geometry in the variant asked for: channel, block
// and quantity counts, phase counts the readers know (and some they do
// not), harmonic counts that may differ per member, records in several
// parts, trailing bytes, header padding, gaps, flags, now and then a
// damaged member; at most `members` members of at most `records` records.
rec::RecordingPlan RandomPlan(rec::SplitMix64 &random, bool harmonic, int members, int records);

// Random arguments for a call on the recording `info` describes: a window in
// or around its times (or open), codes a little beyond the valid ones.
Args RandomArgs(rec::SplitMix64 &random, const rec::RecordingInfo &info);

class CallGenerator {
public:
    // Recordings of at most six members of at most `records` records each.
    explicit CallGenerator(std::uint64_t seed, int records = 60) : random_(seed), records_(records) {}
    // Writes the next call's recording to directory/<name>/ and returns the call.
    GeneratedCall Next(const std::string &directory);

private:
    rec::SplitMix64 random_;
    int records_;
    int count_ = 0;
};

}  // namespace trova::calls
