// Any of the thirteen readers, called from a description of the call as
// data: the export, its argument values (Args) and the shape of the
// recording (as TrovaDescribeRecording reports it). Each export's parameters
// are one line of text (ExportInfo::params) naming, in order, the argument
// each takes or the output array and its size; one generic marshaller per C
// argument type turns them into arguments. Every output array is a heap
// block of exactly the size a caller must provide plus an optional guard
// region, filled with a pattern before the call, so that a write past the
// end shows (to ASan, or in the guard's bytes) and so do elements a reader
// must leave alone.
//
// Used by both sides of the cross-check with trova.dll, the reader fuzz
// target, the soak program, the comparison of two builds and the suites that
// call readers without aliasing their arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "trova/describe.h"
#include "trova/readers.h"

namespace trova::calls {

enum class Export : int {
    XT, XT2, HIST,
    FFT_XT1, FFT_XT2, FFT_XT3,
    FFT_ALL_XT1, FFT_ALL_XT2, FFT_ALL_XT3,
    FFT_HIST1, FFT_HIST2, FFT_Table1, FFT_Table2,
};
constexpr int kExportCount = 13;

struct ExportInfo {
    Export id;
    const char *name;        // the reader's name
    const char *exportName;  // the name trova.dll exports it under
    int readerKind;          // the worker kind its dialog starts
    bool harmonic;           // reads harmonic recordings
    // The parameters in order: an input by its Args field name ("path" the
    // recording, "points" the in/out Points), an output as Name*<count><unit>
    // with unit p (Points), c (channels), g (channel groups), h (phases),
    // x (phases × Points) or r<k> (H when phase k exists, else 0).
    const char *params;
};
// In declaration order of Export.
const std::vector<ExportInfo> &Exports();
const ExportInfo &InfoOf(Export id);
const ExportInfo *FindExport(const std::string &name);  // by reader name

// The exports, bound by each side its own way.
struct Readers {
    void (*reader[kExportCount])() = {};
    decltype(&::TrovaDescribeRecording) describe = nullptr;
};
// Binds every export through `lookup` (GetProcAddress, say). Returns the
// export names it could not bind.
using Lookup = std::function<void (*(const char *exportName))()>;
std::vector<std::string> BindReaders(const Lookup &lookup, Readers &readers);

// The thirteen readers in the order of Export, as X(function).
#define TROVA_READERS(X)                                                                        \
    X(Reader_XT) X(Reader_XT2) X(Reader_HIST) X(Reader_FFT_XT1) X(Reader_FFT_XT2) X(Reader_FFT_XT3) \
    X(Reader_FFT_ALL_Harmonics_XT1) X(Reader_FFT_ALL_Harmonics_XT2) X(Reader_FFT_ALL_Harmonics_XT3) \
    X(Reader_FFT_HIST1) X(Reader_FFT_HIST2) X(Reader_FFT_Table1) X(Reader_FFT_Table2)

// The readers of the library this program is linked with.
inline Readers LinkedReaders() {
#define TROVA_ADDRESS(f) reinterpret_cast<void (*)()>(&::f),
    return {{TROVA_READERS(TROVA_ADDRESS)}, &::TrovaDescribeRecording};
#undef TROVA_ADDRESS
}

// The argument values of one call; each export takes the ones it has.
struct Args {
    int quantity = 1;
    int minMax = 0;
    double tStart = -1.0;
    double tStop = -1.0;
    float extRef = 0.0f;
    int points = 100;  // the series readers' Points
    int harmonic = 3;
    int firstHarmonic = 1;
    int join = 0;
    int hMinMax = 0;
    double hMin = 0.0;
    double hMax = 0.0;
    int flagged = 0;
    float percentil = 0.95f;
    std::string label = "trova";
    std::string button = "Cancel";
};
// As space-separated key=value words for the values that differ from the
// defaults above (reals exact, in hexadecimal; texts quoted), and back.
std::string FormatArgs(const Args &args);
bool ParseArgs(const std::string &text, Args &args, std::string &error);

// What sizes the output arrays.
struct Shape {
    int channels = 1;   // trend: the header's channel count, at least 1
    int phases = 1;     // harmonic: P
    int harmonics = 1;  // harmonic: the largest H among the members, at least 1
};
// The shape of the recording of `path` as the reader's variant sees it;
// the default shape when no recording is found.
Shape DescribeShape(const Readers &readers, const char *path, bool harmonic);

// One output as raw bytes; `type` tells how to show an element: 'f'
// float, 'd' double, 'i' 32-bit integer, 't' text.
struct Block {
    std::string name;
    char type = 'i';
    std::vector<std::uint8_t> bytes;
};

struct Outcome {
    bool ran = false;  // false: the arrays a caller would need are absurd
    int result = 0;
    std::vector<Block> blocks;  // Points and every output, in argument order
    const Block *Find(const std::string &name) const;
    // The first element of an integer block; `missing` when there is none.
    long long Int(const std::string &name, long long missing = -7777) const;
    // Every block's bytes in order, the block named `except` left out.
    std::vector<std::uint8_t> Bytes(const std::string &except = "") const;
    // The blocks as a file's bytes, and back (false: not such a file).
    std::vector<std::uint8_t> Serialise() const;
    static bool Parse(const std::vector<std::uint8_t> &bytes, Outcome &out);
};
// Empty when the blocks are equal; otherwise one line per differing block
// (its first differing element, or the log line around the first differing
// byte, both values).
std::vector<std::string> Compare(const Outcome &expected, const Outcome &actual);

// Calls `id` on `path` with arrays sized for `shape` and `guard` elements
// past each (none: exactly the caller's size, and a zero-size array is a
// null pointer).
Outcome Call(const Readers &readers, Export id, const Args &args, char *path, const Shape &shape,
             size_t guard);

// The outputs as a call that writes none of them leaves them (no reader runs).
Outcome Untouched(Export id, const Args &args, const Shape &shape, size_t guard);

}  // namespace trova::calls
