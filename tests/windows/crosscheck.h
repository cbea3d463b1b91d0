// The cross-check between the Linux build and trova.dll: one table of reader
// calls, as data, that both sides run on the same recordings.
//
// The Linux reference (reference.cpp) writes the recordings, the table
// (cases.txt, one case a line: name reader "path" key=value...) and what
// each call produced with libtrova's readers (the result, every output array
// in full with a guard element, the dialogs it opened, its log bytes). The
// Windows host (host.cpp) reads the table, runs every case against
// trova.dll under Wine and compares byte for byte.
#pragma once

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "reader_call.h"

namespace trova::crosscheck {

using calls::Outcome;

// One call: a reader, a path relative to the data directory ('/'
// separators) and the arguments.
struct Case {
    std::string name;
    calls::Export reader = calls::Export::XT;
    std::string path;
    calls::Args args;
};

constexpr const char *kCaseFile = "cases.txt";

// The cases the Windows host also runs with a second thread that looks at
// the dialog or clicks its button (during a scan of many small files).
constexpr const char *kDialogCase = "xt-dialog";
constexpr const char *kCancelCase = "xt-cancel";
constexpr int kCancelFiles = 600;
constexpr int kCancelRecordsPerFile = 10;

inline std::string FormatCase(const Case &c) {
    return c.name + " " + calls::InfoOf(c.reader).name + " \"" + c.path + "\" " + calls::FormatArgs(c.args);
}

// Cases from lines of text; `error` names the first line that is not one.
inline bool ParseCases(std::istream &in, const std::string &source, std::vector<Case> &cases, std::string &error) {
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        const size_t space = line.find(' '), open = line.find(" \"", space), close = line.find('"', open + 2);
        const calls::ExportInfo *reader =
            open == std::string::npos ? nullptr : calls::FindExport(line.substr(space + 1, open - space - 1));
        std::string problem = "expected: name reader \"path\" key=value...";
        if (reader != nullptr && close != std::string::npos) {
            cases.push_back({line.substr(0, space), reader->id, line.substr(open + 2, close - open - 2), {}});
            if (calls::ParseArgs(line.substr(close + 1), cases.back().args, problem)) continue;
        }
        return error = source + ":" + std::to_string(number) + ": " + problem, false;
    }
    return true;
}

inline const Case *FindCase(const std::vector<Case> &cases, const std::string &name) {
    for (const Case &c : cases) {
        if (c.name == name) return &c;
    }
    return nullptr;
}

// The file that holds a case's expected outputs.
inline std::string ExpectedFile(const Case &c, char separator) {
    return std::string("expected") + separator + c.name + ".bin";
}

inline std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A side's exports, path separator, log file (removed before a call, read
// after) and count of the progress dialogs created so far.
struct Side {
    calls::Readers readers;
    char separator = '/';
    std::string logFile;
    std::function<int()> dialogsOpened;
};

// Runs one case from the data directory (the current directory) with arrays
// sized from TrovaDescribeRecording: the blocks "result", the call's outputs,
// "dialogs opened" and "log" (its '\' read as '/': paths are the only place
// either appears).
inline Outcome RunCase(const Case &c, const Side &side) {
    std::string path = c.path;
    for (char &ch : path) ch = ch == '/' ? side.separator : ch;
    const calls::Shape shape = calls::DescribeShape(side.readers, path.c_str(), calls::InfoOf(c.reader).harmonic);
    std::remove(side.logFile.c_str());
    const int dialogsBefore = side.dialogsOpened();
    Outcome out = calls::Call(side.readers, c.reader, c.args, path.data(), shape, 1);
    const auto integer = [](const char *name, int32_t v) {
        calls::Block b{name, 'i', std::vector<uint8_t>(4)};
        std::memcpy(b.bytes.data(), &v, 4);
        return b;
    };
    out.blocks.insert(out.blocks.begin(), integer("result", out.result));
    out.blocks.push_back(integer("dialogs opened", side.dialogsOpened() - dialogsBefore));
    std::string log = ReadFile(side.logFile);
    for (char &ch : log) ch = ch == '\\' ? '/' : ch;
    out.blocks.push_back({"log", 't', std::vector<uint8_t>(log.begin(), log.end())});
    return out;
}

}  // namespace trova::crosscheck
