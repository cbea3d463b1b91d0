// trova-writerec: writes a recording whose every value follows one simple
// rule, for tests and measurements outside C++ (the Python package's tests,
// the overhead measurement), and prints the writer's account as JSON.
//
//   trova-writerec DIR trend|harmonic [key=value ...]
//
// Keys (defaults in brackets):
//   files=N,N,...   records per member [100]        gaps=S,S,...  seconds before each member [0]
//   start=T         time of record 0, seconds since 1904 [3786825600]
//   interval=S      seconds between records [10]
//   base=V step=V   value rule, below [base 1, step 0]
//   flag_every=K flag_offset=O flag_word=W   flag word W on records r with r % K == O [none]
//   stem=NAME ext=.EXT                       member names NAME.001.EXT ... [meas, .dat]
//   trend:    channels=N [3] scalars=S [2] per_channel=P [4] blocks=MASK [7] ref=Q [0]
//   harmonic: channel_code=C [6] harmonics=H [25] power=0|1 [1]
//
// The value of recording-wide record r:
//   trend:    base + step*r + 1000*block + 100*quantity + 10*channel
//   harmonic: base + step*r + 10000*field + 1000*set + 100*phase + index
//             with field 1 scalar, 2 voltage, 3 current, 4 per-phase value
//             (index 0 = A, 1 = B), 5 power (set = power array 0..2).
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "recording_writer.h"

namespace {

using namespace trova::rec;

std::vector<double> numbers(const std::string &text) {
    std::vector<double> out;
    std::stringstream in(text);
    std::string item;
    while (std::getline(in, item, ',')) out.push_back(std::stod(item));
    return out;
}

struct Options {
    std::map<std::string, std::string> values;
    std::string get(const std::string &key, const std::string &fallback) {
        auto it = values.find(key);
        if (it == values.end()) return fallback;
        std::string v = it->second;
        values.erase(it);
        return v;
    }
    double number(const std::string &key, double fallback) {
        const std::string v = get(key, "");
        return v.empty() ? fallback : std::stod(v);
    }
    int integer(const std::string &key, int fallback) {
        return static_cast<int>(number(key, fallback));
    }
};

int fieldCode(HarmonicField field) {
    switch (field) {
    case HarmonicField::Scalar: return 1;
    case HarmonicField::Voltage: return 2;
    case HarmonicField::Current: return 3;
    case HarmonicField::PhaseValue: return 4;
    case HarmonicField::Power: return 5;
    }
    return 0;
}

std::string jsonText(const std::string &text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

RecordingPlan makePlan(const std::string &kind, Options &o) {
    RecordingPlan plan;
    if (kind == "harmonic") {
        plan.kind = Kind::Harmonic;
    } else if (kind != "trend") {
        throw std::invalid_argument("kind must be trend or harmonic, not " + kind);
    }
    plan.stem = o.get("stem", "meas");
    plan.extension = o.get("ext", ".dat");
    plan.startTime = o.number("start", 3786825600.0);
    plan.interval = o.number("interval", 10.0);
    const float base = static_cast<float>(o.number("base", 1.0));
    const float step = static_cast<float>(o.number("step", 0.0));
    plan.trend.channels = o.integer("channels", 3);
    plan.trend.scalars = o.integer("scalars", 2);
    plan.trend.perChannel = o.integer("per_channel", 4);
    plan.trend.statMask = o.integer("blocks", 7);
    plan.trend.refQuantity = o.integer("ref", 0);
    plan.harmonic.channelCode = o.integer("channel_code", 6);
    plan.harmonic.harmonics = o.integer("harmonics", 25);
    plan.harmonic.powerBlock = o.integer("power", 1) != 0;
    plan.trendValues = [base, step](int r, int block, int quantity, int channel) {
        return base + step * static_cast<float>(r) +
               static_cast<float>(1000 * block + 100 * quantity + 10 * channel);
    };
    plan.harmonicValues = [base, step](int r, HarmonicField field, int set, int phase, int index) {
        return base + step * static_cast<float>(r) +
               static_cast<float>(10000 * fieldCode(field) + 1000 * set + 100 * phase + index);
    };
    const int every = o.integer("flag_every", 0);
    if (every > 0) plan.flags = everyKth(every, o.integer("flag_word", 1), o.integer("flag_offset", 0));
    const std::vector<double> files = numbers(o.get("files", "100"));
    std::vector<double> gaps = numbers(o.get("gaps", "0"));
    gaps.resize(files.size(), 0.0);
    for (size_t i = 0; i < files.size(); ++i) plan.add(static_cast<int>(files[i]), gaps[i]);
    return plan;
}

void printAccount(const RecordingInfo &info) {
    const std::vector<MemberInfo> table = info.table();
    std::printf("{\"first\": %s, \"total_records\": %llu, \"files\": [",
                jsonText(table.empty() ? "" : info.path(table.front())).c_str(),
                static_cast<unsigned long long>(info.totalRecords()));
    for (size_t i = 0; i < table.size(); ++i) {
        const MemberInfo &m = table[i];
        std::printf("%s\n  {\"path\": %s, \"records\": %d, \"first_record\": %d, "
                    "\"first_time\": %.17g, \"last_time\": %.17g, \"header_size\": %d, "
                    "\"record_size\": %d, \"harmonics\": %d}",
                    i ? "," : "", jsonText(info.path(m)).c_str(), m.records, m.firstRecord,
                    m.firstTime, m.lastTime, m.headerLength, m.recordLength, m.harmonics);
    }
    std::printf("]}\n");
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: trova-writerec DIR trend|harmonic [key=value ...]\n");
        return 2;
    }
    try {
        Options options;
        for (int i = 3; i < argc; ++i) {
            const std::string arg = argv[i];
            const size_t eq = arg.find('=');
            if (eq == std::string::npos) throw std::invalid_argument("expected key=value, got " + arg);
            options.values[arg.substr(0, eq)] = arg.substr(eq + 1);
        }
        const RecordingPlan plan = makePlan(argv[2], options);
        if (!options.values.empty())
            throw std::invalid_argument("unknown key " + options.values.begin()->first);
        printAccount(writeRecording(argv[1], plan));
    } catch (const std::exception &e) {
        std::fprintf(stderr, "trova-writerec: %s\n", e.what());
        return 1;
    }
    return 0;
}
