// Outcomes of calls: their blocks found by name, written to a file and read
// back (the cross-check's expected outputs), and compared block by block.
#include <cstdio>
#include <cstring>

#include "reader_call.h"

namespace trova::calls {

const Block *Outcome::Find(const std::string &name) const {
    for (const Block &b : blocks) {
        if (b.name == name) return &b;
    }
    return nullptr;
}

long long Outcome::Int(const std::string &name, long long missing) const {
    const Block *b = Find(name);
    if (b == nullptr || b->type != 'i' || b->bytes.size() < 4) return missing;
    int32_t v;
    std::memcpy(&v, b->bytes.data(), 4);
    return v;
}

std::vector<uint8_t> Outcome::Bytes(const std::string &except) const {
    std::vector<uint8_t> all;
    for (const Block &b : blocks) {
        if (b.name != except) all.insert(all.end(), b.bytes.begin(), b.bytes.end());
    }
    return all;
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

std::vector<std::uint8_t> Outcome::Serialise() const {
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

bool Outcome::Parse(const std::vector<std::uint8_t> &in, Outcome &out) {
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

std::vector<std::string> Compare(const Outcome &expected, const Outcome &actual) {
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

}  // namespace trova::calls
