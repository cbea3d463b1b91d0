// The cross-check between the Linux build and trova.dll: one table of reader
// calls, as data, that both sides run on the same recordings.
//
// The Linux reference (reference.cpp) writes the recordings, the table
// (cases.txt: the hand-picked cases and a seeded batch of generated ones)
// and what each call produced with libtrova's readers (every output array in
// full with a guard element, the result, the dialogs it opened, its log
// bytes). The Windows host (host.cpp) reads the table, runs every case
// against trova.dll under Wine and compares byte for byte.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "reader_call.h"

namespace trova::crosscheck {

using calls::Block;

// One call: a reader, a path relative to the data directory ('/'
// separators; empty for the empty path) and the arguments.
struct Case {
    std::string name;
    calls::Export reader = calls::Export::XT;
    std::string path;
    calls::Args args;
};

// The table, one case a line: name reader "path" key=value...
constexpr const char *kCaseFile = "cases.txt";
std::string FormatCase(const Case &c);
bool ReadCases(const std::string &file, std::vector<Case> &cases, std::string &error);
const Case *FindCase(const std::vector<Case> &cases, const std::string &name);

// The cases the Windows host also runs on their own, in a fresh process:
// the dialog check and the cancel check (a recording of many small files,
// so that the scan lasts long enough for a click to land in it).
constexpr const char *kDialogCase = "xt-dialog";
constexpr const char *kCancelCase = "xt-cancel";
constexpr int kCancelFiles = 600;
constexpr int kCancelRecordsPerFile = 10;

// A case's outputs: the call's result, its output blocks, the dialogs it
// opened and its log, as blocks of one outcome.
using Outputs = calls::Outcome;
using calls::Compare;

// What a side provides to run a case: its exports, its path separator, its
// log (cleared before the call, read after) and the number of progress
// dialogs created so far in the process.
struct Side {
    calls::Readers readers;
    char separator = '/';
    std::function<void()> clearLog;
    std::function<std::string()> readLog;
    std::function<int()> dialogsOpened;
};

// Runs one case from the data directory (the current directory): the
// outputs sized from TrovaDescribeRecording, then the dialogs the call
// opened and its log with '\' turned into '/' (paths are the only place
// either appears).
Outputs RunCase(const Case &c, const Side &side);

// The file that holds a case's expected outputs.
std::string ExpectedFile(const Case &c, char separator);

}  // namespace trova::crosscheck
