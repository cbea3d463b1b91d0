#include "reader_call.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

namespace trova::calls {

// ---- exports -----------------------------------------------------------------

#define TROVA_HEAD "quantity minMax tStart tStop "
#define TROVA_TAIL " button firstHarmonic join Status"
#define TROVA_ROWS(k) " MinValues" #k "*100r" #k " MaxValues" #k "*100r" #k " MeanValues" #k "*100r" #k
#define TROVA_FFT_HIST TROVA_HEAD "label path HStart*h HWidth*h HCounts*100h harmonic" TROVA_TAIL
#define TROVA_TABLE TROVA_HEAD "label path button firstHarmonic HarmTable*500h ValueATable*h " \
    "ValueBTable*h percentil join Status HarmCount"
#define TROVA_FFT_XT TROVA_HEAD "label path points MinValues*x MaxValues*x MeanValues*x Times*2p FlagWords*p " \
    "harmonic InterleaveFactor" TROVA_TAIL
#define TROVA_ALL TROVA_HEAD "label path" TROVA_ROWS(0) TROVA_ROWS(1) TROVA_ROWS(2) TROVA_ROWS(3) \
    " Times*200 FlagWords*100 InterleaveFactor" TROVA_TAIL " HarmCount"
#define TROVA_FLAGGED " flagged FFlaggedPoints FTotalPoints"

const std::vector<ExportInfo> &Exports() {
    // The decorated name is the one resources/trova.def exports.
    static const std::vector<ExportInfo> exports = {
        {Export::XT, "Reader_XT", "Reader_XT", 11, false,
         TROVA_HEAD "extRef label path points MinValues*5p MaxValues*5p MeanValues*5p Times*2p "
                    "FlagWords*p InterleaveFactor button Status"},
        {Export::XT2, "Reader_XT2", "Reader_XT2", 12, false,
         TROVA_HEAD "extRef label path points Values*5p Times*2p FlagWords*p InterleaveFactor button Status"},
        {Export::HIST, "Reader_HIST", "Reader_HIST", 13, false,
         TROVA_HEAD "extRef label path HStart*c HWidth*c HCounts*100g button Status hMinMax hMin hMax "
                    "HRangePoints*g HTotalPoints*g" TROVA_FLAGGED},
        {Export::FFT_XT1, "Reader_FFT_XT1", "Reader_FFT_XT1", 1, true, TROVA_FFT_XT},
        {Export::FFT_XT2, "Reader_FFT_XT2", "Reader_FFT_XT2", 2, true, TROVA_FFT_XT},
        {Export::FFT_XT3, "Reader_FFT_XT3", "Reader_FFT_XT3", 3, true,
         TROVA_HEAD "label path points Values*x Times*2p FlagWords*p harmonic InterleaveFactor" TROVA_TAIL},
        {Export::FFT_ALL_XT1, "Reader_FFT_ALL_Harmonics_XT1", "Reader_FFT_ALL_Harmonics_XT1", 8, true, TROVA_ALL},
        {Export::FFT_ALL_XT2, "Reader_FFT_ALL_Harmonics_XT2", "Reader_FFT_ALL_Harmonics_XT2", 9, true, TROVA_ALL},
        {Export::FFT_ALL_XT3, "Reader_FFT_ALL_Harmonics_XT3", "Reader_FFT_ALL_Harmonics_XT3", 10, true,
         TROVA_HEAD "label path Values0*100r0 Values1*100r1 Values2*100r2 Values3*100r3 Times*200 "
                    "FlagWords*100 InterleaveFactor" TROVA_TAIL " HarmCount"},
        {Export::FFT_HIST1, "Reader_FFT_HIST1", "Reader_FFT_HIST1", 4, true, TROVA_FFT_HIST},
#ifdef _WIN32
        {Export::FFT_HIST2, "Reader_FFT_HIST2", "?Reader_FFT_HIST2@@YAHHHNNPEAD0PEAN1PEAJJ0JJ2JNN22J22@Z", 5,
#else
        {Export::FFT_HIST2, "Reader_FFT_HIST2", "Reader_FFT_HIST2", 5,
#endif
         true, TROVA_FFT_HIST " hMinMax hMin hMax HRangePoints*h HTotalPoints*h" TROVA_FLAGGED},
        {Export::FFT_Table1, "Reader_FFT_Table1", "Reader_FFT_Table1", 6, true, TROVA_TABLE},
        {Export::FFT_Table2, "Reader_FFT_Table2", "Reader_FFT_Table2", 7, true, TROVA_TABLE TROVA_FLAGGED},
    };
    return exports;
}
const ExportInfo &InfoOf(Export id) { return Exports()[static_cast<size_t>(id)]; }

const ExportInfo *FindExport(const std::string &name) {
    for (const ExportInfo &e : Exports()) {
        if (name == e.name) return &e;
    }
    return nullptr;
}

std::vector<std::string> BindReaders(const Lookup &lookup, Readers &readers) {
    std::vector<std::string> missing;
    for (const ExportInfo &e : Exports()) {
        readers.reader[static_cast<int>(e.id)] = lookup(e.exportName);
        if (readers.reader[static_cast<int>(e.id)] == nullptr) missing.emplace_back(e.exportName);
    }
    readers.describe = reinterpret_cast<decltype(&::TrovaDescribeRecording)>(lookup("TrovaDescribeRecording"));
    if (readers.describe == nullptr) missing.emplace_back("TrovaDescribeRecording");
    return missing;
}

// ---- arguments by name, as text --------------------------------------------------

namespace {

// Calls f(name, field of a...) for every field of Args.
template <class F, class... A>
void VisitArgs(F &&f, A &...a) {
    f("quantity", a.quantity...), f("minMax", a.minMax...), f("tStart", a.tStart...), f("tStop", a.tStop...);
    f("extRef", a.extRef...), f("points", a.points...), f("harmonic", a.harmonic...);
    f("firstHarmonic", a.firstHarmonic...), f("join", a.join...), f("hMinMax", a.hMinMax...);
    f("hMin", a.hMin...), f("hMax", a.hMax...), f("flagged", a.flagged...), f("percentil", a.percentil...);
    f("label", a.label...), f("button", a.button...);
}

std::string Text(int v) { return std::to_string(v); }
std::string Text(const std::string &v) {
    std::ostringstream text;
    text << std::quoted(v);
    return text.str();
}
std::string Text(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%a", v);
    return text;
}

bool Read(const std::string &s, std::string &v) { return v = s, true; }
template <class T>
bool Read(const std::string &s, T &v) {
    char *stop = nullptr;
    if constexpr (std::is_integral_v<T>) v = static_cast<T>(std::strtol(s.c_str(), &stop, 10));
    if constexpr (!std::is_integral_v<T>) v = static_cast<T>(std::strtod(s.c_str(), &stop));
    return !s.empty() && *stop == '\0';
}

}  // namespace

std::string FormatArgs(const Args &args) {
    static const Args defaults;
    std::string out;
    VisitArgs([&](const char *key, const auto &v, const auto &d) {
        if (Text(v) != Text(d)) out += (out.empty() ? "" : " ") + std::string(key) + "=" + Text(v);
    }, args, defaults);
    return out;
}

bool ParseArgs(const std::string &text, Args &args, std::string &error) {
    std::istringstream in(text);
    for (std::string key, value; std::getline(in >> std::ws, key, '=');) {
        if (in.eof() || !(in >> std::quoted(value))) return error = "\"" + key + "\" is not key=value", false;
        bool known = false, ok = false;
        VisitArgs([&](const char *k, auto &field) {
            if (key == k) known = true, ok = Read(value, field);
        }, args);
        if (!ok) return error = known ? key + ": \"" + value + "\" is not a number" : "unknown argument " + key, false;
    }
    return true;
}

// ---- shapes --------------------------------------------------------------------

Shape DescribeShape(const Readers &readers, const char *path, bool harmonic) {
    Shape shape;
    TrovaRecordingInfo info{};
    const int variant = harmonic ? TROVA_VARIANT_HARMONIC : TROVA_VARIANT_TREND;
    if (readers.describe(path, variant, -1.0, -1.0, &info, nullptr, 0) != TROVA_DESCRIBE_OK || info.fileCount < 1) {
        return shape;
    }
    std::vector<TrovaFileInfo> files(static_cast<size_t>(info.fileCount));
    if (readers.describe(path, variant, -1.0, -1.0, &info, files.data(), info.fileCount) != TROVA_DESCRIBE_OK) {
        return shape;
    }
    shape.channels = static_cast<int>(std::min<uint32_t>(std::max<uint32_t>(1, info.channelCode), 1u << 20));
    shape.phases = std::max(0, info.phaseCount);
    for (size_t f = 0; f < files.size() && f < static_cast<size_t>(info.fileCount); ++f) {
        shape.harmonics = std::max(shape.harmonics, static_cast<int>(files[f].harmonicCount));
    }
    return shape;
}

// ---- the generic marshaller --------------------------------------------------------

namespace {

// One parameter of ExportInfo::params.
struct Param {
    std::string name;
    bool output = false;
    int times = 1;
    char unit = '1';
    int phase = 0;
};

std::vector<Param> ParseParams(const char *text) {
    std::vector<Param> params;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        Param p;
        const size_t star = word.find('*');
        p.name = word.substr(0, star);
        p.output = std::isupper(static_cast<unsigned char>(word[0])) != 0;
        if (star != std::string::npos) {
            char *unit = nullptr;
            p.times = static_cast<int>(std::strtol(word.c_str() + star + 1, &unit, 10));
            if (unit == word.c_str() + star + 1) p.times = 1;
            p.unit = *unit != '\0' ? *unit : '1';
            p.phase = *unit == 'r' ? unit[1] - '0' : 0;
        }
        params.push_back(p);
    }
    return params;
}

const std::vector<Param> &ParamsOf(Export id) {
    static const std::vector<std::vector<Param>> all = [] {
        std::vector<std::vector<Param>> lists;
        for (const ExportInfo &e : Exports()) lists.push_back(ParseParams(e.params));
        return lists;
    }();
    return all[static_cast<size_t>(id)];
}

// The largest array a caller could be asked for here (elements).
constexpr size_t kMostElements = size_t{1} << 20;

// Turns each parameter into its argument, keeping the output arrays.
class Marshal {
public:
    Marshal(const Args &args, char *path, const Shape &shape, size_t guard, Outcome &outcome)
        : args_(args), path_(path), shape_(shape), guard_(guard), outcome_(outcome),
          label_(args.label.c_str(), args.label.c_str() + args.label.size() + 1),
          button_(args.button.c_str(), args.button.c_str() + args.button.size() + 1) {
        outcome_.blocks.reserve(32);  // the arrays' addresses stay put
    }

    template <class T>
    T Take(const Param &p) {
        if constexpr (std::is_same_v<T, char *>) {
            return p.name == "label" ? label_.data() : p.name == "button" ? button_.data() : path_;
        } else if constexpr (std::is_pointer_v<T>) {
            if (!p.output && p.name != "points") Fail("an input where the reader takes an array", p);
            return Array<std::remove_pointer_t<T>>(p);
        } else {
            T value{};
            bool known = false;
            VisitArgs([&](const char *key, const auto &field) {
                if constexpr (std::is_arithmetic_v<std::decay_t<decltype(field)>>) {
                    if (p.name == key) value = static_cast<T>(field), known = true;
                }
            }, args_);
            if (!known) Fail("no such argument", p);
            return value;
        }
    }

    bool absurd = false;

private:
    [[noreturn]] static void Fail(const char *problem, const Param &p) {
        std::fprintf(stderr, "reader_call: %s: %s\n", p.name.c_str(), problem);
        std::abort();
    }

    size_t Elements(const Param &p) const {
        const size_t room = static_cast<size_t>(std::max(0, args_.points));
        const size_t channels = static_cast<size_t>(shape_.channels);
        const size_t phases = static_cast<size_t>(std::max(0, shape_.phases));
        const size_t groups = channels <= 1 ? 1 : channels <= 3 ? 3 : channels == 4 ? 4 : 5;
        const size_t rows = static_cast<size_t>(p.phase) < phases ? static_cast<size_t>(std::max(1, shape_.harmonics)) : 0;
        const size_t unit = p.unit == 'p' ? room : p.unit == 'c' ? channels : p.unit == 'g' ? groups
                          : p.unit == 'h' ? phases : p.unit == 'x' ? phases * room : p.unit == 'r' ? rows : 1;
        return static_cast<size_t>(p.times) * unit;
    }

    template <class E>
    E *Array(const Param &p) {
        static_assert(sizeof(E) == 4 || sizeof(E) == 8, "float, double or a 32-bit integer");
        const bool points = p.name == "points";
        const size_t n = points ? 1 : Elements(p);
        absurd |= n > kMostElements;
        if ((n == 0 && guard_ == 0) || absurd) return nullptr;
        const char type = std::is_same_v<E, float> ? 'f' : std::is_same_v<E, double> ? 'd' : 'i';
        outcome_.blocks.push_back({points ? "Points" : p.name, type, {}});
        std::vector<uint8_t> &bytes = outcome_.blocks.back().bytes;
        bytes.resize((n + guard_) * sizeof(E));
        const E fill = points ? static_cast<E>(args_.points) : std::is_integral_v<E> ? E(-7777) : E(-7777.25);
        for (size_t i = 0; i < n + guard_; ++i) std::memcpy(&bytes[i * sizeof(E)], &fill, sizeof(E));
        return reinterpret_cast<E *>(bytes.data());
    }

    const Args &args_;
    char *path_;
    const Shape &shape_;
    size_t guard_;
    Outcome &outcome_;
    std::vector<char> label_, button_;
};

// Calls an export of type Fn with its parameters.
template <class Fn>
struct Invoker;

template <class... P>
struct Invoker<int (*)(P...)> {
    static int Call(void (*address)(), const std::vector<Param> &params, Marshal &m) {
        if (params.size() != sizeof...(P)) std::fprintf(stderr, "reader_call: parameter list\n"), std::abort();
        return Expand(reinterpret_cast<int (*)(P...)>(address), params, m, std::index_sequence_for<P...>{});
    }
    template <size_t... I>
    static int Expand(int (*fn)(P...), const std::vector<Param> &params, Marshal &m, std::index_sequence<I...>) {
        std::tuple<P...> values{m.Take<P>(params[I])...};  // in parameter order
        return m.absurd || fn == nullptr ? 0 : std::apply(fn, values);
    }
};

using Invoke = int (*)(void (*)(), const std::vector<Param> &, Marshal &);
#define TROVA_INVOKER(f) Invoker<decltype(&::f)>::Call,
const Invoke kInvoke[kExportCount] = {TROVA_READERS(TROVA_INVOKER)};

}  // namespace

Outcome Call(const Readers &readers, Export id, const Args &args, char *path, const Shape &shape, size_t guard) {
    Outcome outcome;
    Marshal m(args, path, shape, guard, outcome);
    const int i = static_cast<int>(id);
    outcome.result = kInvoke[i](readers.reader[i], ParamsOf(id), m);
    outcome.ran = !m.absurd;
    if (m.absurd) outcome.blocks.clear();
    return outcome;
}

Outcome Untouched(Export id, const Args &args, const Shape &shape, size_t guard) {
    char none[] = "";
    Outcome outcome = Call(Readers{}, id, args, none, shape, guard);
    outcome.ran = false;
    return outcome;
}

// ---- outcomes ----------------------------------------------------------------------

const Block *Outcome::Find(const std::string &name) const {
    for (const Block &b : blocks) {
        if (b.name == name) return &b;
    }
    return nullptr;
}

long long Outcome::Int(const std::string &name, long long missing) const {
    const Block *b = Find(name);
    int32_t v = 0;
    if (b == nullptr || b->type != 'i' || b->bytes.size() < 4) return missing;
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

// A file: a CBOR array of [name, type, bytes] per block, the bytes a byte string.
std::vector<uint8_t> Outcome::Serialise() const {
    nlohmann::json file = nlohmann::json::array();
    for (const Block &b : blocks) file.push_back({b.name, std::string(1, b.type), nlohmann::json::binary(b.bytes)});
    return nlohmann::json::to_cbor(file);
}

bool Outcome::Parse(const std::vector<uint8_t> &in, Outcome &out) {
    out.blocks.clear();
    nlohmann::json file;
    try {  // discarded when not CBOR; a length beyond any array's size throws even so
        file = nlohmann::json::from_cbor(in, true, false);
    } catch (const nlohmann::json::exception &) {
        return false;
    }
    if (!file.is_array()) return false;
    for (const nlohmann::json &b : file) {
        if (!b.is_array() || b.size() != 3 || !b[0].is_string() || !b[1].is_string() || !b[2].is_binary() ||
            b[1].get_ref<const std::string &>().size() != 1) {
            return false;
        }
        out.blocks.push_back({b[0].get<std::string>(), b[1].get<std::string>()[0], b[2].get_binary()});
    }
    return true;
}

namespace {
// Element `index` of a block as text; for the log, the line that holds byte `index`.
std::string Show(const Block &b, size_t index) {
    const size_t size = b.type == 'd' ? 8 : b.type == 't' ? 1 : 4, at = index * size;
    if (at + size > b.bytes.size()) return "<none>";
    const auto begin = b.bytes.begin(), end = b.bytes.end(), here = begin + long(at);
    const auto endsLine = [](uint8_t c) { return c == '\r' || c == '\n'; };
    if (b.type == 't') {
        const auto start = std::find_if(std::make_reverse_iterator(here), b.bytes.rend(), endsLine).base();
        return "line \"" + std::string(start, std::find_if(here, end, endsLine)) + "\"";
    }
    char text[64];
    double d = 0;
    float f = 0;
    int32_t i = 0;
    if (b.type == 'd') std::memcpy(&d, &b.bytes[at], 8), std::snprintf(text, sizeof text, "%.17g", d);
    if (b.type == 'f') std::memcpy(&f, &b.bytes[at], 4), std::snprintf(text, sizeof text, "%.9g", double(f));
    if (b.type == 'i') std::memcpy(&i, &b.bytes[at], 4), std::snprintf(text, sizeof text, "%d", int(i));
    return text;
}
}  // namespace

std::vector<std::string> Compare(const Outcome &expected, const Outcome &actual) {
    if (expected.blocks.size() != actual.blocks.size()) {
        return {"expected " + std::to_string(expected.blocks.size()) + " outputs, got " + std::to_string(actual.blocks.size())};
    }
    std::vector<std::string> problems;
    for (size_t i = 0; i < expected.blocks.size(); ++i) {
        const Block &e = expected.blocks[i], &a = actual.blocks[i];
        const size_t size = e.type == 'd' ? 8 : e.type == 't' ? 1 : 4;
        size_t first = 0, differing = 0;
        while (first < e.bytes.size() && first < a.bytes.size() && e.bytes[first] == a.bytes[first]) ++first;
        for (size_t k = first / size * size; k + size <= std::min(e.bytes.size(), a.bytes.size()); k += size) {
            differing += std::memcmp(&e.bytes[k], &a.bytes[k], size) != 0;
        }
        if (e.name != a.name || e.type != a.type) {
            problems.push_back("output " + std::to_string(i) + ": expected " + e.name + ", got " + a.name);
        } else if (e.bytes != a.bytes) {
            problems.push_back(e.name + " (" + std::to_string(a.bytes.size()) + " bytes, expected " + std::to_string(e.bytes.size()) +
                               "): element " + std::to_string(first / size) + " (" + std::to_string(differing) +
                               " differ) is " + Show(a, first / size) + ", expected " + Show(e, first / size));
        }
    }
    return problems;
}

}  // namespace trova::calls
