#include "crosscheck.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace trova::crosscheck {

// ---- exports -----------------------------------------------------------------

const std::vector<ExportInfo> &Exports() {
    // The decorated name is the one resources/trova.def exports (checked
    // against the platform compiler by tests/decorated_name_test.cpp).
    static const std::vector<ExportInfo> exports = {
        {Export::XT, "Reader_XT", "Reader_XT", 11},
        {Export::XT2, "Reader_XT2", "Reader_XT2", 12},
        {Export::HIST, "Reader_HIST", "Reader_HIST", 13},
        {Export::FFT_XT1, "Reader_FFT_XT1", "Reader_FFT_XT1", 1},
        {Export::FFT_XT2, "Reader_FFT_XT2", "Reader_FFT_XT2", 2},
        {Export::FFT_XT3, "Reader_FFT_XT3", "Reader_FFT_XT3", 3},
        {Export::FFT_ALL_XT1, "Reader_FFT_ALL_Harmonics_XT1", "Reader_FFT_ALL_Harmonics_XT1", 8},
        {Export::FFT_ALL_XT2, "Reader_FFT_ALL_Harmonics_XT2", "Reader_FFT_ALL_Harmonics_XT2", 9},
        {Export::FFT_ALL_XT3, "Reader_FFT_ALL_Harmonics_XT3", "Reader_FFT_ALL_Harmonics_XT3", 10},
        {Export::FFT_HIST1, "Reader_FFT_HIST1", "Reader_FFT_HIST1", 4},
#ifdef _WIN32
        {Export::FFT_HIST2, "Reader_FFT_HIST2", "?Reader_FFT_HIST2@@YAHHHNNPEAD0PEAN1PEAJJ0JJ2JNN22J22@Z", 5},
#else
        {Export::FFT_HIST2, "Reader_FFT_HIST2", "Reader_FFT_HIST2", 5},
#endif
        {Export::FFT_Table1, "Reader_FFT_Table1", "Reader_FFT_Table1", 6},
        {Export::FFT_Table2, "Reader_FFT_Table2", "Reader_FFT_Table2", 7},
    };
    return exports;
}

const ExportInfo &InfoOf(Export id) { return Exports()[static_cast<size_t>(id)]; }

namespace {
template <class F>
void Bind(const Lookup &lookup, Export id, F &slot, std::vector<std::string> &missing) {
    const char *name = InfoOf(id).exportName;
    void (*address)() = lookup(name);
    if (address == nullptr) missing.emplace_back(name);
    slot = reinterpret_cast<F>(address);
}
}  // namespace

std::vector<std::string> BindReaders(const Lookup &lookup, Readers &r) {
    std::vector<std::string> missing;
    Bind(lookup, Export::XT, r.Reader_XT, missing);
    Bind(lookup, Export::XT2, r.Reader_XT2, missing);
    Bind(lookup, Export::HIST, r.Reader_HIST, missing);
    Bind(lookup, Export::FFT_XT1, r.Reader_FFT_XT1, missing);
    Bind(lookup, Export::FFT_XT2, r.Reader_FFT_XT2, missing);
    Bind(lookup, Export::FFT_XT3, r.Reader_FFT_XT3, missing);
    Bind(lookup, Export::FFT_ALL_XT1, r.Reader_FFT_ALL_Harmonics_XT1, missing);
    Bind(lookup, Export::FFT_ALL_XT2, r.Reader_FFT_ALL_Harmonics_XT2, missing);
    Bind(lookup, Export::FFT_ALL_XT3, r.Reader_FFT_ALL_Harmonics_XT3, missing);
    Bind(lookup, Export::FFT_HIST1, r.Reader_FFT_HIST1, missing);
    Bind(lookup, Export::FFT_HIST2, r.Reader_FFT_HIST2, missing);
    Bind(lookup, Export::FFT_Table1, r.Reader_FFT_Table1, missing);
    Bind(lookup, Export::FFT_Table2, r.Reader_FFT_Table2, missing);
    return missing;
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

void Outputs::AddFloats(const char *name, const std::vector<float> &values) {
    blocks.push_back({name, 'f', BytesOf(values)});
}
void Outputs::AddDoubles(const char *name, const std::vector<double> &values) {
    blocks.push_back({name, 'd', BytesOf(values)});
}
void Outputs::AddInts(const char *name, const std::vector<std::int32_t> &values) {
    blocks.push_back({name, 'i', BytesOf(values)});
}
void Outputs::AddInt(const char *name, std::int64_t value) {
    AddInts(name, {static_cast<std::int32_t>(value)});
}
void Outputs::AddText(const char *name, const std::string &text) {
    blocks.push_back({name, 't', std::vector<std::uint8_t>(text.begin(), text.end())});
}

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

// ---- recordings ------------------------------------------------------------------

namespace {

// Trend recording of four files: three channels, three statistic blocks,
// every 7th record flagged, values spread over both signs.
rec::RecordingPlan TrendA() {
    rec::RecordingPlan plan;
    plan.trend.channels = 3;
    plan.trend.statMask = 0x07;
    plan.trend.scalars = 2;
    plan.trend.perChannel = 3;
    plan.trendValues = rec::SeededValues(11, -250.0f, 750.0f);
    plan.flags = rec::everyKth(7, 4, 3);
    for (int f = 0; f < 4; ++f) plan.add(250, f == 2 ? 30.0 : 0.0);
    return plan;
}

// One file whose header names a reference quantity (ExtRef -1 divides by it).
rec::RecordingPlan TrendReference() {
    rec::RecordingPlan plan;
    plan.seed = 5;
    plan.trend.channels = 3;
    plan.trend.perChannel = 3;
    plan.trend.refQuantity = 4;
    plan.trendValues = rec::SeededValues(5, 1.0f, 400.0f);
    plan.add(40);
    return plan;
}

// What discovery must sort out on the platform's own directory search: a
// member named in capitals, a damaged member, one without records, files
// of another stem or extension, five channels and two blocks.
rec::RecordingPlan TrendMixed() {
    rec::RecordingPlan plan;
    plan.seed = 23;
    plan.trend.channels = 5;
    plan.trend.statMask = 0x05;
    plan.trend.scalars = 1;
    plan.trend.perChannel = 4;
    plan.flags = rec::everyKth(3, 0x10, 1);
    plan.add(30);
    plan.add(30, 30.0);
    plan.addNamed("MEAS.010.DAT", 30);
    plan.addDamaged(rec::Damage::TruncatedData, 12);
    plan.addDamaged(rec::Damage::NoRecords);
    plan.add(25);
    plan.addRaw(plan.decoyName(rec::Decoy::OtherStem), {});
    plan.addRaw(plan.decoyName(rec::Decoy::OtherExtension), {});
    plan.addRaw(plan.decoyName(rec::Decoy::NoMiddle), {});
    return plan;
}

// Many small files: a scan that takes long enough for a click to land in
// it (the Windows host's cancel check).
rec::RecordingPlan TrendMany() {
    rec::RecordingPlan plan;
    plan.seed = 31;
    plan.numberWidth = 4;
    plan.trend.channels = 3;
    plan.trend.perChannel = 3;
    for (int f = 0; f < kCancelFiles; ++f) plan.add(kCancelRecordsPerFile);
    return plan;
}

// Three-phase harmonic recording with a power block.
rec::RecordingPlan HarmonicA() {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.seed = 47;
    plan.harmonic.channelCode = 6;
    plan.harmonic.harmonics = 50;
    plan.harmonicValues = rec::SeededValues(47, 0.5f, 240.0f);
    plan.flags = rec::everyKth(5, 2, 0);
    for (int f = 0; f < 3; ++f) plan.add(40);
    return plan;
}

}  // namespace

const std::vector<NamedRecording> &Recordings() {
    static const std::vector<NamedRecording> recordings = {
        {"trend-a", TrendA},
        {"trend-ref", TrendReference},
        {"trend-mixed", TrendMixed},
        {"trend-many", TrendMany},
        {"harmonic-a", HarmonicA},
    };
    return recordings;
}

// ---- calls -----------------------------------------------------------------------

namespace {

constexpr float kFloatFill = -7777.25f;
constexpr double kDoubleFill = -7777.25;
constexpr std::int32_t kIntFill = -7777;

std::vector<float> Floats(size_t n) { return std::vector<float>(n + 1, kFloatFill); }
std::vector<double> Doubles(size_t n) { return std::vector<double>(n + 1, kDoubleFill); }
std::vector<std::int32_t> Ints(size_t n) { return std::vector<std::int32_t>(n + 1, kIntFill); }

// trova_long is 32 bits on both sides; the arrays are passed as such.
trova_long *L(std::vector<std::int32_t> &v) {
    static_assert(sizeof(trova_long) == sizeof(std::int32_t), "trova_long is 32-bit");
    return reinterpret_cast<trova_long *>(v.data());
}

struct CallText {
    std::string label, button;
    explicit CallText(const CallArgs &a) : label(a.label), button(a.button) {}
};

size_t Positive(int n) { return n > 0 ? static_cast<size_t>(n) : 0; }

void CallXt(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    const size_t n = Positive(a.points);
    auto minV = Floats(5 * n), maxV = Floats(5 * n), meanV = Floats(5 * n);
    auto times = Doubles(2 * n);
    auto flags = Ints(n), factor = Ints(0), status = Ints(0);
    int points = a.points;
    const int result = r.Reader_XT(a.quantity, a.minMax, a.tStart, a.tStop, a.extRef,
                                   text.label.data(), path, &points, minV.data(), maxV.data(),
                                   meanV.data(), times.data(), flags.data(), factor.data(),
                                   text.button.data(), status.data());
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("InterleaveFactor", factor);
    out.AddFloats("MinValues", minV);
    out.AddFloats("MaxValues", maxV);
    out.AddFloats("MeanValues", meanV);
    out.AddDoubles("Times", times);
    out.AddInts("FlagWords", flags);
}

void CallXt2(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    const size_t n = Positive(a.points);
    auto values = Floats(5 * n);
    auto times = Doubles(2 * n);
    auto flags = Ints(n), factor = Ints(0), status = Ints(0);
    int points = a.points;
    const int result = r.Reader_XT2(a.quantity, a.minMax, a.tStart, a.tStop, a.extRef,
                                    text.label.data(), path, &points, values.data(), times.data(),
                                    flags.data(), factor.data(), text.button.data(), status.data());
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("InterleaveFactor", factor);
    out.AddFloats("Values", values);
    out.AddDoubles("Times", times);
    out.AddInts("FlagWords", flags);
}

void CallHist(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    auto hStart = Doubles(5), hWidth = Doubles(5);
    auto counts = Ints(500), status = Ints(0), range = Ints(5), total = Ints(5);
    auto fFlagged = Ints(1), fTotal = Ints(1);
    const int result = r.Reader_HIST(a.quantity, a.minMax, a.tStart, a.tStop, a.extRef,
                                     text.label.data(), path, hStart.data(), hWidth.data(),
                                     L(counts), text.button.data(), L(status), a.hMinMax, a.hMin,
                                     a.hMax, L(range), L(total), a.flagged, L(fFlagged),
                                     L(fTotal));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddDoubles("HStart", hStart);
    out.AddDoubles("HWidth", hWidth);
    out.AddInts("HCounts", counts);
    out.AddInts("HRangePoints", range);
    out.AddInts("HTotalPoints", total);
    out.AddInts("FFlaggedPoints", fFlagged);
    out.AddInts("FTotalPoints", fTotal);
}

void CallFftXt12(Export id, const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    const size_t n = Positive(a.points);
    auto minV = Floats(4 * n), maxV = Floats(4 * n), meanV = Floats(4 * n);
    auto times = Doubles(2 * n);
    auto flags = Ints(n), factor = Ints(0), status = Ints(0);
    trova_long points = a.points;
    const auto reader = id == Export::FFT_XT1 ? r.Reader_FFT_XT1 : r.Reader_FFT_XT2;
    const int result = reader(a.quantity, a.minMax, a.tStart, a.tStop, text.label.data(), path,
                              &points, minV.data(), maxV.data(), meanV.data(), times.data(),
                              L(flags), a.harmonic, L(factor), text.button.data(),
                              a.firstHarmonic, a.join, L(status));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("InterleaveFactor", factor);
    out.AddFloats("MinValues", minV);
    out.AddFloats("MaxValues", maxV);
    out.AddFloats("MeanValues", meanV);
    out.AddDoubles("Times", times);
    out.AddInts("FlagWords", flags);
}

void CallFftXt1(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallFftXt12(Export::FFT_XT1, r, a, path, out);
}
void CallFftXt2(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallFftXt12(Export::FFT_XT2, r, a, path, out);
}

void CallFftXt3(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    const size_t n = Positive(a.points);
    auto values = Floats(4 * n);
    auto times = Doubles(2 * n);
    auto flags = Ints(n), factor = Ints(0), status = Ints(0);
    trova_long points = a.points;
    const int result = r.Reader_FFT_XT3(a.quantity, a.minMax, a.tStart, a.tStop, text.label.data(),
                                        path, &points, values.data(), times.data(), L(flags),
                                        a.harmonic, L(factor), text.button.data(),
                                        a.firstHarmonic, a.join, L(status));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("InterleaveFactor", factor);
    out.AddFloats("Values", values);
    out.AddDoubles("Times", times);
    out.AddInts("FlagWords", flags);
}

// The all-harmonics matrices: position j, point i at j*100 + i.
constexpr size_t kAllPoints = 100;

void CallFftAll12(Export id, const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    const size_t cells = kAllPoints * Positive(a.harmonics);
    std::vector<std::vector<float>> m(12, Floats(cells));
    auto times = Doubles(2 * kAllPoints);
    auto flags = Ints(kAllPoints), factor = Ints(0), status = Ints(0), harmCount = Ints(0);
    const auto reader =
        id == Export::FFT_ALL_XT1 ? r.Reader_FFT_ALL_Harmonics_XT1 : r.Reader_FFT_ALL_Harmonics_XT2;
    const int result = reader(a.quantity, a.minMax, a.tStart, a.tStop, text.label.data(), path,
                              m[0].data(), m[1].data(), m[2].data(), m[3].data(), m[4].data(),
                              m[5].data(), m[6].data(), m[7].data(), m[8].data(), m[9].data(),
                              m[10].data(), m[11].data(), times.data(), L(flags), L(factor),
                              text.button.data(), a.firstHarmonic, a.join, L(status),
                              L(harmCount));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("InterleaveFactor", factor);
    out.AddInts("HarmCount", harmCount);
    static const char *const names[12] = {
        "MinValues0", "MaxValues0", "MeanValues0", "MinValues1", "MaxValues1", "MeanValues1",
        "MinValues2", "MaxValues2", "MeanValues2", "MinValues3", "MaxValues3", "MeanValues3"};
    for (size_t i = 0; i < 12; ++i) out.AddFloats(names[i], m[i]);
    out.AddDoubles("Times", times);
    out.AddInts("FlagWords", flags);
}

void CallFftAll1(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallFftAll12(Export::FFT_ALL_XT1, r, a, path, out);
}
void CallFftAll2(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallFftAll12(Export::FFT_ALL_XT2, r, a, path, out);
}

void CallFftAll3(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    const size_t cells = kAllPoints * Positive(a.harmonics);
    std::vector<std::vector<float>> v(4, Floats(cells));
    auto times = Doubles(2 * kAllPoints);
    auto flags = Ints(kAllPoints), factor = Ints(0), status = Ints(0), harmCount = Ints(0);
    const int result = r.Reader_FFT_ALL_Harmonics_XT3(
        a.quantity, a.minMax, a.tStart, a.tStop, text.label.data(), path, v[0].data(), v[1].data(),
        v[2].data(), v[3].data(), times.data(), L(flags), L(factor), text.button.data(),
        a.firstHarmonic, a.join, L(status), L(harmCount));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("InterleaveFactor", factor);
    out.AddInts("HarmCount", harmCount);
    out.AddFloats("Values0", v[0]);
    out.AddFloats("Values1", v[1]);
    out.AddFloats("Values2", v[2]);
    out.AddFloats("Values3", v[3]);
    out.AddDoubles("Times", times);
    out.AddInts("FlagWords", flags);
}

void CallFftHist1(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    auto hStart = Doubles(4), hWidth = Doubles(4);
    auto counts = Ints(400), status = Ints(0);
    const int result = r.Reader_FFT_HIST1(a.quantity, a.minMax, a.tStart, a.tStop,
                                          text.label.data(), path, hStart.data(), hWidth.data(),
                                          L(counts), a.harmonic, text.button.data(),
                                          a.firstHarmonic, a.join, L(status));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddDoubles("HStart", hStart);
    out.AddDoubles("HWidth", hWidth);
    out.AddInts("HCounts", counts);
}

void CallFftHist2(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    auto hStart = Doubles(4), hWidth = Doubles(4);
    auto counts = Ints(400), status = Ints(0), range = Ints(4), total = Ints(4);
    auto fFlagged = Ints(1), fTotal = Ints(1);
    const int result = r.Reader_FFT_HIST2(
        a.quantity, a.minMax, a.tStart, a.tStop, text.label.data(), path, hStart.data(),
        hWidth.data(), L(counts), a.harmonic, text.button.data(), a.firstHarmonic, a.join,
        L(status), a.hMinMax, a.hMin, a.hMax, L(range), L(total), a.flagged, L(fFlagged),
        L(fTotal));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddDoubles("HStart", hStart);
    out.AddDoubles("HWidth", hWidth);
    out.AddInts("HCounts", counts);
    out.AddInts("HRangePoints", range);
    out.AddInts("HTotalPoints", total);
    out.AddInts("FFlaggedPoints", fFlagged);
    out.AddInts("FTotalPoints", fTotal);
}

// HarmTable: 500 positions per phase, four phases.
constexpr size_t kTableCells = 2000;

void CallFftTable1(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    auto harm = Floats(kTableCells), valueA = Floats(4), valueB = Floats(4);
    auto status = Ints(0), harmCount = Ints(0);
    const int result = r.Reader_FFT_Table1(a.quantity, a.minMax, a.tStart, a.tStop,
                                           text.label.data(), path, text.button.data(),
                                           a.firstHarmonic, harm.data(), valueA.data(),
                                           valueB.data(), a.percentil, a.join, L(status),
                                           L(harmCount));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("HarmCount", harmCount);
    out.AddFloats("HarmTable", harm);
    out.AddFloats("ValueATable", valueA);
    out.AddFloats("ValueBTable", valueB);
}

void CallFftTable2(const Readers &r, const CallArgs &a, char *path, Outputs &out) {
    CallText text(a);
    auto harm = Floats(kTableCells), valueA = Floats(4), valueB = Floats(4);
    auto status = Ints(0), harmCount = Ints(0), fFlagged = Ints(1), fTotal = Ints(1);
    const int result = r.Reader_FFT_Table2(
        a.quantity, a.minMax, a.tStart, a.tStop, text.label.data(), path, text.button.data(),
        a.firstHarmonic, harm.data(), valueA.data(), valueB.data(), a.percentil, a.join,
        L(status), L(harmCount), a.flagged, L(fFlagged), L(fTotal));
    out.AddInt("result", result);
    out.AddInts("Status", status);
    out.AddInts("HarmCount", harmCount);
    out.AddFloats("HarmTable", harm);
    out.AddFloats("ValueATable", valueA);
    out.AddFloats("ValueBTable", valueB);
    out.AddInts("FFlaggedPoints", fFlagged);
    out.AddInts("FTotalPoints", fTotal);
}

using CallFn = void (*)(const Readers &, const CallArgs &, char *, Outputs &);

CallFn CallOf(Export id) {
    switch (id) {
    case Export::XT: return CallXt;
    case Export::XT2: return CallXt2;
    case Export::HIST: return CallHist;
    case Export::FFT_XT1: return CallFftXt1;
    case Export::FFT_XT2: return CallFftXt2;
    case Export::FFT_XT3: return CallFftXt3;
    case Export::FFT_ALL_XT1: return CallFftAll1;
    case Export::FFT_ALL_XT2: return CallFftAll2;
    case Export::FFT_ALL_XT3: return CallFftAll3;
    case Export::FFT_HIST1: return CallFftHist1;
    case Export::FFT_HIST2: return CallFftHist2;
    case Export::FFT_Table1: return CallFftTable1;
    case Export::FFT_Table2: return CallFftTable2;
    }
    return nullptr;
}

// ---- the cases -------------------------------------------------------------------

// Record times of trend-a: 3786825600.25 + i, the third file 30 s later.
constexpr double kTrendAStart = 3786825600.25;

CallArgs Args(std::function<void(CallArgs &)> set) {
    CallArgs a;
    set(a);
    return a;
}

std::vector<Case> BuildCases() {
    std::vector<Case> cases = {
        // Reader_XT
        {"xt-whole", Export::XT, PathKind::File, "trend-a", "meas.003.dat",
         Args([](CallArgs &a) { a.quantity = 3; a.minMax = 1; a.points = 400; })},
        {"xt-window-extref", Export::XT, PathKind::File, "trend-a", "meas.001.dat",
         Args([](CallArgs &a) {
             a.quantity = 2;
             a.tStart = kTrendAStart + 500.5;
             a.tStop = kTrendAStart + 30.0 + 799.0;
             a.extRef = 230.0f;
             a.points = 120;
         })},
        {"xt-reference-quantity", Export::XT, PathKind::File, "trend-ref", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 3; a.extRef = -1.0f; a.points = 16; })},
        {"xt-scalar-bad-minmax", Export::XT, PathKind::File, "trend-a", "meas.002.dat",
         Args([](CallArgs &a) { a.quantity = 1; a.minMax = 9; a.points = 7; })},
        {"xt-bad-quantity", Export::XT, PathKind::File, "trend-a", "meas.004.dat",
         Args([](CallArgs &a) { a.quantity = 50; a.minMax = 2; a.points = 33; })},
        {"xt-discovery", Export::XT, PathKind::File, "trend-mixed", "MEAS.010.DAT",
         Args([](CallArgs &a) { a.quantity = 3; a.minMax = 1; a.points = 50; })},
        {"xt-no-points", Export::XT, PathKind::File, "trend-mixed", "meas.001.dat",
         Args([](CallArgs &a) { a.points = 0; })},
        // The Windows host's dialog and cancel checks run these two.
        {"xt-dialog", Export::XT, PathKind::File, "trend-a", "meas.001.dat",
         Args([](CallArgs &a) {
             a.quantity = 4;
             a.points = 90;
             a.label = "trova host: dialog check";
             a.button = "Stop reading";
         })},
        {"xt-cancel", Export::XT, PathKind::File, "trend-many", "meas.0001.dat",
         Args([](CallArgs &a) {
             a.quantity = 2;
             a.points = kCancelFiles * kCancelRecordsPerFile;
             a.label = "trova host: cancel check";
         })},

        // The other readers on a recording of their kind, with the selector
        // in both senses. Until a reader's worker exists its dialog closes
        // at once and the call leaves every output as it was; from then on
        // these compare its results.
        {"xt2-trend", Export::XT2, PathKind::File, "trend-a", "meas.002.dat",
         Args([](CallArgs &a) { a.quantity = 3; a.points = 64; })},
        {"hist-trend", Export::HIST, PathKind::File, "trend-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 3; a.flagged = 1; })},
        {"fft-xt1", Export::FFT_XT1, PathKind::File, "harmonic-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 2; a.minMax = 1; a.points = 50; })},
        {"fft-xt2", Export::FFT_XT2, PathKind::File, "harmonic-a", "meas.002.dat",
         Args([](CallArgs &a) { a.quantity = 8; a.points = 50; })},
        {"fft-xt3", Export::FFT_XT3, PathKind::File, "harmonic-a", "meas.003.dat",
         Args([](CallArgs &a) { a.quantity = 14; a.points = 30; })},
        {"fft-all-xt1", Export::FFT_ALL_XT1, PathKind::File, "harmonic-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 1; })},
        {"fft-all-xt2", Export::FFT_ALL_XT2, PathKind::File, "harmonic-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 3; a.join = 1; })},
        {"fft-all-xt3", Export::FFT_ALL_XT3, PathKind::File, "harmonic-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 6; })},
        {"fft-hist1", Export::FFT_HIST1, PathKind::File, "harmonic-a", "meas.002.dat",
         Args([](CallArgs &a) { a.quantity = 2; a.minMax = 1; })},
        {"fft-hist2", Export::FFT_HIST2, PathKind::File, "harmonic-a", "meas.002.dat",
         Args([](CallArgs &a) {
             a.quantity = 9;
             a.hMinMax = 1;
             a.hMin = 0.0;
             a.hMax = 500.0;
             a.flagged = 1;
         })},
        {"fft-table1", Export::FFT_Table1, PathKind::File, "harmonic-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 1; a.minMax = 1; a.percentil = 0.95f; })},
        {"fft-table2", Export::FFT_Table2, PathKind::File, "harmonic-a", "meas.001.dat",
         Args([](CallArgs &a) { a.quantity = 4; a.percentil = 0.5f; a.flagged = 1; })},
    };

    // Every export refuses an empty path and a path that names no file:
    // status 3, no dialog, no output touched.
    static std::vector<std::string> names;  // the cases keep const char*
    for (const ExportInfo &e : Exports()) {
        names.push_back(std::string(e.name) + "-empty-path");
        names.push_back(std::string(e.name) + "-missing-path");
    }
    for (size_t i = 0; i < Exports().size(); ++i) {
        const ExportInfo &e = Exports()[i];
        CallArgs args;
        args.points = 4;
        args.harmonics = 2;
        cases.push_back({names[2 * i].c_str(), e.id, PathKind::Empty, "", "", args});
        cases.push_back({names[2 * i + 1].c_str(), e.id, PathKind::Missing, "trend-a",
                         "meas.009.dat", args});
    }
    return cases;
}

}  // namespace

const std::vector<Case> &Cases() {
    static const std::vector<Case> cases = BuildCases();
    return cases;
}

const Case *FindCase(const std::string &name) {
    for (const Case &c : Cases()) {
        if (name == c.name) return &c;
    }
    return nullptr;
}

std::string CasePath(const Case &c, char separator) {
    if (c.pathKind == PathKind::Empty) return "";
    return std::string("rec") + separator + c.recording + separator + c.file;
}

std::string ExpectedFile(const Case &c, char separator) {
    return std::string("expected") + separator + c.name + ".bin";
}

Outputs RunCase(const Case &c, const Side &side) {
    Outputs out;
    std::string path = CasePath(c, side.separator);
    side.clearLog();
    const int dialogsBefore = side.dialogsOpened();
    CallOf(c.reader)(side.readers, c.args, path.data(), out);
    out.AddInt("dialogs opened", side.dialogsOpened() - dialogsBefore);
    std::string log = side.readLog();
    for (char &ch : log) {
        if (ch == '\\') ch = '/';
    }
    out.AddText("log", log);
    return out;
}

}  // namespace trova::crosscheck
