#include "reader_call.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <utility>

namespace trova::calls {

// ---- exports -----------------------------------------------------------------

const std::vector<ExportInfo> &Exports() {
    // The decorated name is the one resources/trova.def exports.
    static const std::vector<ExportInfo> exports = {
        {Export::XT, "Reader_XT", "Reader_XT", 11, false},
        {Export::XT2, "Reader_XT2", "Reader_XT2", 12, false},
        {Export::HIST, "Reader_HIST", "Reader_HIST", 13, false},
        {Export::FFT_XT1, "Reader_FFT_XT1", "Reader_FFT_XT1", 1, true},
        {Export::FFT_XT2, "Reader_FFT_XT2", "Reader_FFT_XT2", 2, true},
        {Export::FFT_XT3, "Reader_FFT_XT3", "Reader_FFT_XT3", 3, true},
        {Export::FFT_ALL_XT1, "Reader_FFT_ALL_Harmonics_XT1", "Reader_FFT_ALL_Harmonics_XT1", 8, true},
        {Export::FFT_ALL_XT2, "Reader_FFT_ALL_Harmonics_XT2", "Reader_FFT_ALL_Harmonics_XT2", 9, true},
        {Export::FFT_ALL_XT3, "Reader_FFT_ALL_Harmonics_XT3", "Reader_FFT_ALL_Harmonics_XT3", 10, true},
        {Export::FFT_HIST1, "Reader_FFT_HIST1", "Reader_FFT_HIST1", 4, true},
#ifdef _WIN32
        {Export::FFT_HIST2, "Reader_FFT_HIST2", "?Reader_FFT_HIST2@@YAHHHNNPEAD0PEAN1PEAJJ0JJ2JNN22J22@Z", 5, true},
#else
        {Export::FFT_HIST2, "Reader_FFT_HIST2", "Reader_FFT_HIST2", 5, true},
#endif
        {Export::FFT_Table1, "Reader_FFT_Table1", "Reader_FFT_Table1", 6, true},
        {Export::FFT_Table2, "Reader_FFT_Table2", "Reader_FFT_Table2", 7, true},
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
    readers.describe =
        reinterpret_cast<decltype(&::TrovaDescribeRecording)>(lookup("TrovaDescribeRecording"));
    if (readers.describe == nullptr) missing.emplace_back("TrovaDescribeRecording");
    return missing;
}

// ---- arguments as text ---------------------------------------------------------

namespace {

struct Field {
    const char *key;
    int Args::*integer = nullptr;
    double Args::*real = nullptr;
    float Args::*single = nullptr;
    std::string Args::*text = nullptr;
};

const Field kFields[] = {
    {"quantity", &Args::quantity}, {"minMax", &Args::minMax},
    {"tStart", nullptr, &Args::tStart}, {"tStop", nullptr, &Args::tStop},
    {"extRef", nullptr, nullptr, &Args::extRef}, {"points", &Args::points},
    {"harmonic", &Args::harmonic}, {"firstHarmonic", &Args::firstHarmonic},
    {"join", &Args::join}, {"hMinMax", &Args::hMinMax},
    {"hMin", nullptr, &Args::hMin}, {"hMax", nullptr, &Args::hMax},
    {"flagged", &Args::flagged}, {"percentil", nullptr, nullptr, &Args::percentil},
    {"label", nullptr, nullptr, nullptr, &Args::label},
    {"button", nullptr, nullptr, nullptr, &Args::button},
};

}  // namespace

std::string FormatArgs(const Args &args) {
    static const Args defaults;
    std::string out;
    char value[64];
    for (const Field &f : kFields) {
        if (f.integer != nullptr) std::snprintf(value, sizeof value, "%d", args.*f.integer);
        if (f.real != nullptr) std::snprintf(value, sizeof value, "%a", args.*f.real);
        if (f.single != nullptr) std::snprintf(value, sizeof value, "%a", double(args.*f.single));
        const bool same = f.integer != nullptr ? args.*f.integer == defaults.*f.integer
                          : f.real != nullptr  ? std::memcmp(&(args.*f.real), &(defaults.*f.real), sizeof(double)) == 0
                          : f.single != nullptr ? std::memcmp(&(args.*f.single), &(defaults.*f.single), sizeof(float)) == 0
                                                : args.*f.text == defaults.*f.text;
        if (same) continue;
        out += (out.empty() ? "" : " ") + std::string(f.key) + "=";
        out += f.text != nullptr ? "\"" + args.*f.text + "\"" : std::string(value);
    }
    return out;
}

bool ParseArgs(const std::string &text, Args &args, std::string &error) {
    size_t at = 0;
    while (at < text.size()) {
        if (text[at] == ' ') {
            ++at;
            continue;
        }
        const size_t equals = text.find('=', at);
        if (equals == std::string::npos) {
            error = "\"" + text.substr(at) + "\" is not key=value";
            return false;
        }
        const std::string key = text.substr(at, equals - at);
        const bool quoted = equals + 1 < text.size() && text[equals + 1] == '"';
        const size_t end = quoted ? text.find('"', equals + 2) : text.find(' ', equals);
        if (quoted && end == std::string::npos) {
            error = key + ": the quoted value has no closing quote";
            return false;
        }
        const size_t from = equals + 1 + (quoted ? 1 : 0);
        const std::string value = text.substr(from, (end == std::string::npos ? text.size() : end) - from);
        at = end == std::string::npos ? text.size() : end + (quoted ? 1 : 0);
        const Field *field = nullptr;
        for (const Field &f : kFields) field = key == f.key ? &f : field;
        char *stop = nullptr;
        if (field == nullptr) {
            error = "unknown argument \"" + key + "\"";
            return false;
        } else if (field->text != nullptr) {
            args.*field->text = value;
            continue;
        } else if (field->integer != nullptr) {
            args.*field->integer = static_cast<int>(std::strtol(value.c_str(), &stop, 10));
        } else {
            const double v = std::strtod(value.c_str(), &stop);
            if (field->real != nullptr) args.*field->real = v;
            if (field->single != nullptr) args.*field->single = static_cast<float>(v);
        }
        if (value.empty() || *stop != '\0') {
            error = key + ": \"" + value + "\" is not a number";
            return false;
        }
    }
    return true;
}

// ---- shapes --------------------------------------------------------------------

Shape DescribeShape(const Readers &readers, const char *path, bool harmonic) {
    Shape shape;
    TrovaRecordingInfo info{};
    const int variant = harmonic ? TROVA_VARIANT_HARMONIC : TROVA_VARIANT_TREND;
    if (readers.describe(path, variant, -1.0, -1.0, &info, nullptr, 0) != TROVA_DESCRIBE_OK ||
        info.fileCount < 1) {
        return shape;
    }
    std::vector<TrovaFileInfo> files(static_cast<size_t>(info.fileCount));
    if (readers.describe(path, variant, -1.0, -1.0, &info, files.data(), info.fileCount) !=
        TROVA_DESCRIBE_OK) {
        return shape;
    }
    shape.channels = static_cast<int>(std::min<uint32_t>(std::max<uint32_t>(1, info.channelCode), 1u << 20));
    shape.phases = std::max(0, info.phaseCount);
    for (size_t f = 0; f < files.size() && f < static_cast<size_t>(info.fileCount); ++f) {
        shape.harmonics = std::max(shape.harmonics, static_cast<int>(files[f].harmonicCount));
    }
    return shape;
}

// ---- the parameter table -------------------------------------------------------

namespace {

enum class Role : uint8_t {
    kQuantity, kMinMax, kTStart, kTStop, kExtRef, kLabel, kPath, kButton, kHarmonic,
    kFirstHarmonic, kJoin, kHMinMax, kHMin, kHMax, kFlagged, kPercentil, kPoints, kOut,
};

// An output's element count: `times` × the unit's value.
enum class Unit : uint8_t {
    kOne,
    kRoom,       // Points (0 when not positive)
    kChannels,   // trend: the header's channel count
    kGroups,     // trend histogram: 1, 3, 4 or 5 channel groups
    kPhases,     // harmonic: P
    kPhaseRoom,  // harmonic series: P × Points
    kRows,       // all-harmonics: H for a phase below P, else 0
};

struct Param {
    Role role;
    const char *name = nullptr;
    int times = 1;
    Unit unit = Unit::kOne;
    int phase = 0;
};

constexpr Param In(Role role) { return {role}; }
constexpr Param Out(const char *name, int times = 1, Unit unit = Unit::kOne, int phase = 0) {
    return {Role::kOut, name, times, unit, phase};
}

using R = Role;
using U = Unit;
#define TROVA_HEAD In(R::kQuantity), In(R::kMinMax), In(R::kTStart), In(R::kTStop)
#define TROVA_TAIL In(R::kButton), In(R::kFirstHarmonic), In(R::kJoin), Out("Status")

const Param kXt[] = {TROVA_HEAD, In(R::kExtRef), In(R::kLabel), In(R::kPath), In(R::kPoints),
                     Out("MinValues", 5, U::kRoom), Out("MaxValues", 5, U::kRoom),
                     Out("MeanValues", 5, U::kRoom), Out("Times", 2, U::kRoom),
                     Out("FlagWords", 1, U::kRoom), Out("InterleaveFactor"), In(R::kButton),
                     Out("Status")};
const Param kXt2[] = {TROVA_HEAD, In(R::kExtRef), In(R::kLabel), In(R::kPath), In(R::kPoints),
                      Out("Values", 5, U::kRoom), Out("Times", 2, U::kRoom),
                      Out("FlagWords", 1, U::kRoom), Out("InterleaveFactor"), In(R::kButton),
                      Out("Status")};
const Param kHist[] = {TROVA_HEAD, In(R::kExtRef), In(R::kLabel), In(R::kPath),
                       Out("HStart", 1, U::kChannels), Out("HWidth", 1, U::kChannels),
                       Out("HCounts", 100, U::kGroups), In(R::kButton), Out("Status"),
                       In(R::kHMinMax), In(R::kHMin), In(R::kHMax),
                       Out("HRangePoints", 1, U::kGroups), Out("HTotalPoints", 1, U::kGroups),
                       In(R::kFlagged), Out("FFlaggedPoints"), Out("FTotalPoints")};
const Param kFftXt[] = {TROVA_HEAD, In(R::kLabel), In(R::kPath), In(R::kPoints),
                        Out("MinValues", 1, U::kPhaseRoom), Out("MaxValues", 1, U::kPhaseRoom),
                        Out("MeanValues", 1, U::kPhaseRoom), Out("Times", 2, U::kRoom),
                        Out("FlagWords", 1, U::kRoom), In(R::kHarmonic), Out("InterleaveFactor"),
                        TROVA_TAIL};
const Param kFftXt3[] = {TROVA_HEAD, In(R::kLabel), In(R::kPath), In(R::kPoints),
                         Out("Values", 1, U::kPhaseRoom), Out("Times", 2, U::kRoom),
                         Out("FlagWords", 1, U::kRoom), In(R::kHarmonic), Out("InterleaveFactor"),
                         TROVA_TAIL};
#define TROVA_ROWS(n) \
    Out("MinValues" #n, 100, U::kRows, n), Out("MaxValues" #n, 100, U::kRows, n), \
        Out("MeanValues" #n, 100, U::kRows, n)
const Param kFftAll[] = {TROVA_HEAD, In(R::kLabel), In(R::kPath), TROVA_ROWS(0), TROVA_ROWS(1),
                         TROVA_ROWS(2), TROVA_ROWS(3), Out("Times", 200), Out("FlagWords", 100),
                         Out("InterleaveFactor"), TROVA_TAIL, Out("HarmCount")};
const Param kFftAll3[] = {TROVA_HEAD, In(R::kLabel), In(R::kPath),
                          Out("Values0", 100, U::kRows, 0), Out("Values1", 100, U::kRows, 1),
                          Out("Values2", 100, U::kRows, 2), Out("Values3", 100, U::kRows, 3),
                          Out("Times", 200), Out("FlagWords", 100), Out("InterleaveFactor"),
                          TROVA_TAIL, Out("HarmCount")};
const Param kFftHist1[] = {TROVA_HEAD, In(R::kLabel), In(R::kPath), Out("HStart", 1, U::kPhases),
                           Out("HWidth", 1, U::kPhases), Out("HCounts", 100, U::kPhases),
                           In(R::kHarmonic), TROVA_TAIL};
const Param kFftHist2[] = {TROVA_HEAD, In(R::kLabel), In(R::kPath), Out("HStart", 1, U::kPhases),
                           Out("HWidth", 1, U::kPhases), Out("HCounts", 100, U::kPhases),
                           In(R::kHarmonic), TROVA_TAIL, In(R::kHMinMax), In(R::kHMin),
                           In(R::kHMax), Out("HRangePoints", 1, U::kPhases),
                           Out("HTotalPoints", 1, U::kPhases), In(R::kFlagged),
                           Out("FFlaggedPoints"), Out("FTotalPoints")};
#define TROVA_TABLE                                                                         \
    TROVA_HEAD, In(R::kLabel), In(R::kPath), In(R::kButton), In(R::kFirstHarmonic),         \
        Out("HarmTable", 500, U::kPhases), Out("ValueATable", 1, U::kPhases),               \
        Out("ValueBTable", 1, U::kPhases), In(R::kPercentil), In(R::kJoin), Out("Status"), \
        Out("HarmCount")
const Param kTable1[] = {TROVA_TABLE};
const Param kTable2[] = {TROVA_TABLE, In(R::kFlagged), Out("FFlaggedPoints"), Out("FTotalPoints")};
#undef TROVA_TABLE
#undef TROVA_ROWS
#undef TROVA_TAIL
#undef TROVA_HEAD

// The largest array a caller could be asked for here (elements).
constexpr size_t kMostElements = size_t{1} << 20;

constexpr float kFloatFill = -7777.25f;
constexpr double kDoubleFill = -7777.25;
constexpr int32_t kIntFill = -7777;

// Turns each parameter into its argument, keeping the output arrays.
class Marshal {
public:
    Marshal(const Args &args, char *path, const Shape &shape, size_t guard, Outcome &outcome)
        : args_(args), path_(path), shape_(shape), guard_(guard), outcome_(outcome),
          label_(args.label.begin(), args.label.end()), button_(args.button.begin(), args.button.end()) {
        label_.push_back('\0');
        button_.push_back('\0');
        outcome_.blocks.reserve(32);  // the arrays' addresses stay put
    }

    template <class T>
    T Take(const Param &p) {
        if constexpr (std::is_same_v<T, char *>) {
            return p.role == Role::kLabel ? label_.data() : p.role == Role::kButton ? button_.data() : path_;
        } else if constexpr (std::is_pointer_v<T>) {
            return Array<std::remove_pointer_t<T>>(p);
        } else if constexpr (std::is_floating_point_v<T>) {
            return static_cast<T>(Real(p.role));
        } else {
            return static_cast<T>(Integer(p.role));
        }
    }

    bool absurd = false;

private:
    double Real(Role role) const {
        switch (role) {
        case Role::kTStart: return args_.tStart;
        case Role::kTStop: return args_.tStop;
        case Role::kExtRef: return args_.extRef;
        case Role::kHMin: return args_.hMin;
        case Role::kHMax: return args_.hMax;
        default: return args_.percentil;
        }
    }

    int Integer(Role role) const {
        switch (role) {
        case Role::kQuantity: return args_.quantity;
        case Role::kMinMax: return args_.minMax;
        case Role::kHarmonic: return args_.harmonic;
        case Role::kFirstHarmonic: return args_.firstHarmonic;
        case Role::kJoin: return args_.join;
        case Role::kHMinMax: return args_.hMinMax;
        default: return args_.flagged;
        }
    }

    size_t Elements(const Param &p) const {
        const size_t room = args_.points > 0 ? static_cast<size_t>(args_.points) : 0;
        const size_t channels = static_cast<size_t>(shape_.channels);
        const size_t phases = static_cast<size_t>(std::max(0, shape_.phases));
        size_t unit = 1;
        switch (p.unit) {
        case Unit::kOne: break;
        case Unit::kRoom: unit = room; break;
        case Unit::kChannels: unit = channels; break;
        case Unit::kGroups: unit = channels <= 1 ? 1 : channels <= 3 ? 3 : channels == 4 ? 4 : 5; break;
        case Unit::kPhases: unit = phases; break;
        case Unit::kPhaseRoom: unit = phases * room; break;
        case Unit::kRows:
            unit = static_cast<size_t>(p.phase) < phases ? static_cast<size_t>(std::max(1, shape_.harmonics)) : 0;
            break;
        }
        return static_cast<size_t>(p.times) * unit;
    }

    template <class E>
    E *Array(const Param &p) {
        static_assert(sizeof(E) == 4 || sizeof(E) == 8, "float, double or a 32-bit integer");
        const bool points = p.role == Role::kPoints;
        const size_t n = points ? 1 : Elements(p);
        absurd |= n > kMostElements;
        if ((n == 0 && guard_ == 0) || absurd) return nullptr;
        const char type = std::is_same_v<E, float> ? 'f' : std::is_same_v<E, double> ? 'd' : 'i';
        outcome_.blocks.push_back({points ? "Points" : p.name, type, {}});
        std::vector<uint8_t> &bytes = outcome_.blocks.back().bytes;
        bytes.resize((n + guard_) * sizeof(E));
        E fill = std::is_same_v<E, float> ? E(kFloatFill) : std::is_same_v<E, double> ? E(kDoubleFill) : E(kIntFill);
        if (points) fill = static_cast<E>(args_.points);
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

// Calls an export of type Fn with its parameter table.
template <class Fn>
struct Invoker;

template <class... P>
struct Invoker<int (*)(P...)> {
    template <size_t N>
    static int Call(void (*address)(), const Param (&params)[N], Marshal &m) {
        static_assert(N == sizeof...(P), "the parameter table names every parameter once");
        return Expand(reinterpret_cast<int (*)(P...)>(address), params, m,
                      std::index_sequence_for<P...>{});
    }
    template <size_t... I>
    static int Expand(int (*fn)(P...), const Param *params, Marshal &m, std::index_sequence<I...>) {
        std::tuple<P...> values{m.Take<P>(params[I])...};  // in parameter order
        if (m.absurd || fn == nullptr) return 0;
        return std::apply(fn, values);
    }
};

template <class Fn, size_t N>
int Invoke(void (*address)(), const Param (&params)[N], Marshal &m) {
    return Invoker<Fn>::Call(address, params, m);
}

}  // namespace

Outcome Call(const Readers &readers, Export id, const Args &args, char *path, const Shape &shape,
             size_t guard) {
    Outcome outcome;
    Marshal m(args, path, shape, guard, outcome);
    void (*const f)() = readers.reader[static_cast<int>(id)];
    switch (id) {
    case Export::XT: outcome.result = Invoke<decltype(&::Reader_XT)>(f, kXt, m); break;
    case Export::XT2: outcome.result = Invoke<decltype(&::Reader_XT2)>(f, kXt2, m); break;
    case Export::HIST: outcome.result = Invoke<decltype(&::Reader_HIST)>(f, kHist, m); break;
    case Export::FFT_XT1: outcome.result = Invoke<decltype(&::Reader_FFT_XT1)>(f, kFftXt, m); break;
    case Export::FFT_XT2: outcome.result = Invoke<decltype(&::Reader_FFT_XT2)>(f, kFftXt, m); break;
    case Export::FFT_XT3: outcome.result = Invoke<decltype(&::Reader_FFT_XT3)>(f, kFftXt3, m); break;
    case Export::FFT_ALL_XT1:
        outcome.result = Invoke<decltype(&::Reader_FFT_ALL_Harmonics_XT1)>(f, kFftAll, m);
        break;
    case Export::FFT_ALL_XT2:
        outcome.result = Invoke<decltype(&::Reader_FFT_ALL_Harmonics_XT2)>(f, kFftAll, m);
        break;
    case Export::FFT_ALL_XT3:
        outcome.result = Invoke<decltype(&::Reader_FFT_ALL_Harmonics_XT3)>(f, kFftAll3, m);
        break;
    case Export::FFT_HIST1: outcome.result = Invoke<decltype(&::Reader_FFT_HIST1)>(f, kFftHist1, m); break;
    case Export::FFT_HIST2: outcome.result = Invoke<decltype(&::Reader_FFT_HIST2)>(f, kFftHist2, m); break;
    case Export::FFT_Table1: outcome.result = Invoke<decltype(&::Reader_FFT_Table1)>(f, kTable1, m); break;
    case Export::FFT_Table2: outcome.result = Invoke<decltype(&::Reader_FFT_Table2)>(f, kTable2, m); break;
    }
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

}  // namespace trova::calls
