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

// ---- outputs -------------------------------------------------------------------

namespace {
template <class T>
std::vector<std::uint8_t> BytesOf(const std::vector<T> &values) {
    std::vector<std::uint8_t> bytes(values.size() * sizeof(T));
    if (!bytes.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}
}  // namespace

const Block *Outputs::Find(const std::string &name) const {
    for (const Block &b : blocks) {
        if (b.name == name) return &b;
    }
    return nullptr;
}

namespace {
constexpr char kMagic[8] = {'T', 'R', 'O', 'V', 'A', 'X', '0', '1'};

void PutU64(std::vector<std::uint8_t> &out, std::uint64_t v) {
    for (int i = 0; i < 8; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

bool GetU64(const std::vector<std::uint8_t> &in, size_t &at, std::uint64_t &v) {
    if (in.size() - at < 8) return false;
    v = 0;
    for (int i = 0; i < 8; ++i) v |= std::uint64_t{in[at + i]} << (8 * i);
    at += 8;
    return true;
}
}  // namespace

std::vector<std::uint8_t> Outputs::Serialise() const {
    std::vector<std::uint8_t> out(kMagic, kMagic + sizeof kMagic);
    PutU64(out, blocks.size());
    for (const Block &b : blocks) {
        PutU64(out, b.name.size());
        out.insert(out.end(), b.name.begin(), b.name.end());
        out.push_back(static_cast<std::uint8_t>(b.type));
        PutU64(out, b.bytes.size());
        out.insert(out.end(), b.bytes.begin(), b.bytes.end());
    }
    return out;
}

bool Outputs::Parse(const std::vector<std::uint8_t> &in, Outputs &out) {
    out.blocks.clear();
    if (in.size() < sizeof kMagic || std::memcmp(in.data(), kMagic, sizeof kMagic) != 0) return false;
    size_t at = sizeof kMagic;
    std::uint64_t count = 0;
    if (!GetU64(in, at, count)) return false;
    for (std::uint64_t i = 0; i < count; ++i) {
        Block b;
        std::uint64_t size = 0;
        if (!GetU64(in, at, size) || in.size() - at < size + 1) return false;
        b.name.assign(in.begin() + static_cast<std::ptrdiff_t>(at),
                      in.begin() + static_cast<std::ptrdiff_t>(at + size));
        at += size;
        b.type = static_cast<char>(in[at++]);
        if (!GetU64(in, at, size) || in.size() - at < size) return false;
        b.bytes.assign(in.begin() + static_cast<std::ptrdiff_t>(at),
                       in.begin() + static_cast<std::ptrdiff_t>(at + size));
        at += size;
        out.blocks.push_back(std::move(b));
    }
    return at == in.size();
}

namespace {
size_t ElementSize(char type) {
    switch (type) {
    case 'd': return 8;
    case 'f':
    case 'i': return 4;
    default: return 1;
    }
}

std::string ShowElement(const Block &b, size_t index) {
    const std::uint8_t *at = b.bytes.data() + index * ElementSize(b.type);
    char text[64];
    switch (b.type) {
    case 'd': {
        double v;
        std::memcpy(&v, at, 8);
        std::snprintf(text, sizeof text, "%.17g", v);
        break;
    }
    case 'f': {
        float v;
        std::memcpy(&v, at, 4);
        std::snprintf(text, sizeof text, "%.9g", static_cast<double>(v));
        break;
    }
    case 'i': {
        std::int32_t v;
        std::memcpy(&v, at, 4);
        std::snprintf(text, sizeof text, "%d", static_cast<int>(v));
        break;
    }
    default:
        std::snprintf(text, sizeof text, "0x%02x", *at);
    }
    return text;
}

std::string ShowByte(const Block &b, size_t at) {
    if (at >= b.bytes.size()) return "the end";
    const unsigned char c = b.bytes[at];
    char text[16];
    if (c == '\r') return "CR";
    if (c == '\n') return "LF";
    if (c >= 0x20 && c < 0x7f) {
        std::snprintf(text, sizeof text, "'%c'", c);
    } else {
        std::snprintf(text, sizeof text, "0x%02x", c);
    }
    return text;
}

// The line of a text block that holds byte `at`, for the report.
std::string LineAround(const Block &b, size_t at) {
    size_t start = at;
    while (start > 0 && b.bytes[start - 1] != '\n') --start;
    size_t end = at;
    while (end < b.bytes.size() && b.bytes[end] != '\r' && b.bytes[end] != '\n') ++end;
    return std::string(b.bytes.begin() + static_cast<std::ptrdiff_t>(start),
                       b.bytes.begin() + static_cast<std::ptrdiff_t>(end));
}
}  // namespace

std::vector<std::string> Compare(const Outputs &expected, const Outputs &actual) {
    std::vector<std::string> problems;
    if (expected.blocks.size() != actual.blocks.size()) {
        problems.push_back("expected " + std::to_string(expected.blocks.size()) + " outputs, got " +
                           std::to_string(actual.blocks.size()));
        return problems;
    }
    for (size_t i = 0; i < expected.blocks.size(); ++i) {
        const Block &e = expected.blocks[i];
        const Block &a = actual.blocks[i];
        if (e.name != a.name || e.type != a.type) {
            problems.push_back("output " + std::to_string(i) + ": expected " + e.name + ", got " +
                               a.name);
            continue;
        }
        if (e.bytes == a.bytes) continue;
        const size_t common = std::min(e.bytes.size(), a.bytes.size());
        size_t first = 0;
        while (first < common && e.bytes[first] == a.bytes[first]) ++first;
        std::string line = e.name + ": ";
        if (e.bytes.size() != a.bytes.size()) {
            line += "size " + std::to_string(a.bytes.size()) + " bytes, expected " +
                    std::to_string(e.bytes.size()) + "; ";
        }
        if (e.type == 't') {
            line += "first difference at byte " + std::to_string(first) + ": " + ShowByte(a, first) +
                    ", expected " + ShowByte(e, first) + "\n    expected line: \"" +
                    (first < e.bytes.size() ? LineAround(e, first) : std::string("<end>")) +
                    "\"\n    actual line:   \"" +
                    (first < a.bytes.size() ? LineAround(a, first) : std::string("<end>")) + "\"";
        } else if (first < common) {
            const size_t element = first / ElementSize(e.type);
            size_t differing = 0;
            for (size_t k = element; k < common / ElementSize(e.type); ++k) {
                const size_t n = ElementSize(e.type);
                differing += std::memcmp(&e.bytes[k * n], &a.bytes[k * n], n) != 0 ? 1 : 0;
            }
            line += "element " + std::to_string(element) + " is " + ShowElement(a, element) +
                    ", expected " + ShowElement(e, element) + " (" + std::to_string(differing) +
                    " elements differ)";
        }
        problems.push_back(line);
    }
    return problems;
}

// ---- running a case --------------------------------------------------------------

std::int32_t Outputs::Int(const std::string &name) const {
    const Block *b = Find(name);
    std::int32_t v = -7777;
    if (b != nullptr && b->bytes.size() >= 4) std::memcpy(&v, b->bytes.data(), 4);
    return v;
}

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
    const std::int32_t result = outcome.result;
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
