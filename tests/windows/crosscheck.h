// The cross-check between the Linux build and trova.dll: one table of reader
// calls that both sides run on the same recordings.
//
// The Linux reference (reference.cpp) writes the recordings with the
// recording writer, runs every case against libtrova's readers and saves
// what each call produced (every output array in full, status, result, the
// dialogs it opened, its log bytes). The Windows host (host.cpp) runs the
// same cases against trova.dll under Wine and compares byte for byte.
//
// A case is a reader, a recording and a file of it (or a path that names no
// file), and the arguments. Adding a reader to the cross-check is one line in
// kCases (crosscheck.cpp); see docs/architecture.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "recording_writer.h"
#include "trova/readers.h"

namespace trova::crosscheck {

// The thirteen exports, bound by each side its own way.
struct Readers {
    decltype(&::Reader_XT) Reader_XT = nullptr;
    decltype(&::Reader_XT2) Reader_XT2 = nullptr;
    decltype(&::Reader_HIST) Reader_HIST = nullptr;
    decltype(&::Reader_FFT_XT1) Reader_FFT_XT1 = nullptr;
    decltype(&::Reader_FFT_XT2) Reader_FFT_XT2 = nullptr;
    decltype(&::Reader_FFT_XT3) Reader_FFT_XT3 = nullptr;
    decltype(&::Reader_FFT_ALL_Harmonics_XT1) Reader_FFT_ALL_Harmonics_XT1 = nullptr;
    decltype(&::Reader_FFT_ALL_Harmonics_XT2) Reader_FFT_ALL_Harmonics_XT2 = nullptr;
    decltype(&::Reader_FFT_ALL_Harmonics_XT3) Reader_FFT_ALL_Harmonics_XT3 = nullptr;
    decltype(&::Reader_FFT_HIST1) Reader_FFT_HIST1 = nullptr;
    decltype(&::Reader_FFT_HIST2) Reader_FFT_HIST2 = nullptr;
    decltype(&::Reader_FFT_Table1) Reader_FFT_Table1 = nullptr;
    decltype(&::Reader_FFT_Table2) Reader_FFT_Table2 = nullptr;
};

enum class Export {
    XT, XT2, HIST,
    FFT_XT1, FFT_XT2, FFT_XT3,
    FFT_ALL_XT1, FFT_ALL_XT2, FFT_ALL_XT3,
    FFT_HIST1, FFT_HIST2, FFT_Table1, FFT_Table2,
};
constexpr int kExportCount = 13;

struct ExportInfo {
    Export id;
    const char *name;         // the reader's name
    const char *exportName;   // the name trova.dll exports it under
    int readerKind;           // the worker kind its dialog starts
};
// In declaration order of Export.
const std::vector<ExportInfo> &Exports();
const ExportInfo &InfoOf(Export id);

// Binds every export through `lookup` (GetProcAddress, or the linked
// functions). Returns the export names it could not bind.
using Lookup = std::function<void (*(const char *exportName))()>;
std::vector<std::string> BindReaders(const Lookup &lookup, Readers &readers);

// The arguments of one call; each export takes the ones it has. The output
// arrays are sized from Points (and Harmonics) as the readers document, plus
// one guard element, and filled with a pattern before the call, so entries a
// reader must leave alone are compared too.
struct CallArgs {
    int quantity = 1;
    int minMax = 0;
    double tStart = -1.0;
    double tStop = -1.0;
    float extRef = 0.0f;
    int points = 100;
    int harmonic = 3;
    int firstHarmonic = 1;
    int join = 0;
    int hMinMax = 0;
    double hMin = 0.0;
    double hMax = 0.0;
    int flagged = 0;
    float percentil = 0.95f;
    int harmonics = 64;  // harmonic positions the all-harmonics matrices provide for
    const char *label = "trova cross-check";
    const char *button = "Cancel";
};

// One named output of a call, as raw bytes; `type` tells how to show a
// differing element: 'f' float, 'd' double, 'i' int32, 't' text.
struct Block {
    std::string name;
    char type = 'i';
    std::vector<std::uint8_t> bytes;
};

struct Outputs {
    std::vector<Block> blocks;

    void AddFloats(const char *name, const std::vector<float> &values);
    void AddDoubles(const char *name, const std::vector<double> &values);
    void AddInts(const char *name, const std::vector<std::int32_t> &values);
    void AddInt(const char *name, std::int64_t value);  // stored as int32
    void AddText(const char *name, const std::string &text);
    const Block *Find(const std::string &name) const;

    std::vector<std::uint8_t> Serialise() const;
    static bool Parse(const std::vector<std::uint8_t> &bytes, Outputs &out);
};

// Empty when equal; otherwise one line per difference (block, element,
// both values).
std::vector<std::string> Compare(const Outputs &expected, const Outputs &actual);

// The recording of the cancel check: many small files, so that the scan
// lasts long enough for a click to land in it.
constexpr int kCancelFiles = 600;
constexpr int kCancelRecordsPerFile = 10;

// A recording that cases read; the reference writes it to rec/<name>/.
struct NamedRecording {
    const char *name;
    rec::RecordingPlan (*plan)();
};
const std::vector<NamedRecording> &Recordings();

enum class PathKind {
    File,     // rec/<recording>/<file>
    Empty,    // ""
    Missing,  // rec/<recording>/<file>, which does not exist
};

struct Case {
    const char *name;
    Export reader;
    PathKind pathKind;
    const char *recording;  // a NamedRecording name
    const char *file;       // a file of it
    CallArgs args;
};
const std::vector<Case> &Cases();

// The cases the Windows host also runs on their own, in a fresh process:
// the dialog check and the cancel check. The case before each of them in
// the table names another path, so either way the call builds its file
// table and logs the same lines (the reference checks this).
constexpr const char *kDialogCase = "xt-dialog";
constexpr const char *kCancelCase = "xt-cancel";
const Case *FindCase(const std::string &name);

// The path a case passes, relative to the data directory, with the side's
// separator.
std::string CasePath(const Case &c, char separator);

// What a side provides to run a case: its readers, its path separator, its
// log (cleared before the call, read after) and the number of progress
// dialogs created so far in the process.
struct Side {
    Readers readers;
    char separator = '/';
    std::function<void()> clearLog;
    std::function<std::string()> readLog;
    std::function<int()> dialogsOpened;
};

// Runs one case from the data directory (the current directory) and
// collects its outputs: the reader's arrays and values, the dialogs it
// opened and its log with '\' turned into '/' (paths are the only place
// either appears).
Outputs RunCase(const Case &c, const Side &side);

// The file that holds a case's expected outputs, relative to the data
// directory.
std::string ExpectedFile(const Case &c, char separator);

}  // namespace trova::crosscheck
