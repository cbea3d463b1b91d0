#include "crosscheck.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace trova::crosscheck {

// ---- the table -------------------------------------------------------------------

std::string FormatCase(const Case &c) {
    return c.name + " " + calls::InfoOf(c.reader).name + " \"" + c.path + "\" " +
           calls::FormatArgs(c.args);
}

bool ReadCases(const std::string &file, std::vector<Case> &cases, std::string &error) {
    std::ifstream in(file);
    if (!in) {
        error = "cannot read " + file + " (run from the data directory that trova_reference write made)";
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        Case c;
        const size_t space = line.find(' '), open = line.find(" \"", space + 1);
        const size_t close = open == std::string::npos ? open : line.find('"', open + 2);
        const calls::ExportInfo *reader =
            open == std::string::npos ? nullptr : calls::FindExport(line.substr(space + 1, open - space - 1));
        std::string problem;
        if (reader == nullptr || close == std::string::npos) {
            problem = "expected: name reader \"path\" key=value...";
        } else {
            c.name = line.substr(0, space);
            c.reader = reader->id;
            c.path = line.substr(open + 2, close - open - 2);
            calls::ParseArgs(line.substr(close + 1), c.args, problem);
        }
        if (!problem.empty()) {
            error = file + ":" + std::to_string(number) + ": " + problem;
            return false;
        }
        cases.push_back(c);
    }
    return true;
}

const Case *FindCase(const std::vector<Case> &cases, const std::string &name) {
    for (const Case &c : cases) {
        if (c.name == name) return &c;
    }
    return nullptr;
}

// ---- running a case --------------------------------------------------------------

std::string ExpectedFile(const Case &c, char separator) {
    return std::string("expected") + separator + c.name + ".bin";
}

Outputs RunCase(const Case &c, const Side &side) {
    std::string path = c.path;
    for (char &ch : path) {
        if (ch == '/') ch = side.separator;
    }
    const calls::Shape shape =
        calls::DescribeShape(side.readers, path.c_str(), calls::InfoOf(c.reader).harmonic);
    side.clearLog();
    const int dialogsBefore = side.dialogsOpened();
    const calls::Outcome outcome = calls::Call(side.readers, c.reader, c.args, path.data(), shape, 1);
    Outputs out;
    const std::int32_t result = out.result = outcome.result;
    out.blocks.push_back({"result", 'i', std::vector<std::uint8_t>(4)});
    std::memcpy(out.blocks.back().bytes.data(), &result, 4);
    out.blocks.insert(out.blocks.end(), outcome.blocks.begin(), outcome.blocks.end());
    const std::int32_t dialogs = side.dialogsOpened() - dialogsBefore;
    out.blocks.push_back({"dialogs opened", 'i', std::vector<std::uint8_t>(4)});
    std::memcpy(out.blocks.back().bytes.data(), &dialogs, 4);
    std::string log = side.readLog();
    for (char &ch : log) {
        if (ch == '\\') ch = '/';
    }
    out.blocks.push_back({"log", 't', std::vector<std::uint8_t>(log.begin(), log.end())});
    return out;
}

}  // namespace trova::crosscheck
