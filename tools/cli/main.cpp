// trova: the command-line face of the readers.
//
//   trova table PATH                 the recording's files, as the readers see them
//   trova xt PATH [options]          min/max/mean trend of one quantity
//   trova sample DIR                 write a sample trend recording into DIR
//
// Options of xt: --quantity Q  --block K  --from T  --to T  --points N
// --extref X (-1: divide by the recording's reference quantity), --last S
// (the last S seconds of the recording). Times are
// seconds since 1904-01-01 as in the recordings; negative means open.
// Global: --log DIR writes the diagnostic log there (default /tmp),
// --no-log switches it off.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

#include "files/file_buffer.h"
#include "files/file_table.h"
#include "sample_recording.h"
#include "trend/trend_layout.h"
#include "trova/host.h"
#include "trova/readers.h"

namespace {

constexpr double kSecondsFrom1904To1970 = 2082844800.0;

std::string FormatTime(double seconds) {
    if (!std::isfinite(seconds)) return "-";
    const double unix = seconds - kSecondsFrom1904To1970;
    const std::time_t whole = static_cast<std::time_t>(std::floor(unix));
    const int millis = static_cast<int>(std::lround((unix - std::floor(unix)) * 1000.0));
    std::tm tm{};
    if (gmtime_r(&whole, &tm) == nullptr) return "-";
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, millis % 1000);
    return text;
}

const char *StatusName(int status) {
    static const char *const kNames[] = {"ok", "cancelled", "bad MinMax (block 0 used)",
                                         "no files", "bad quantity (quantity 0 used)",
                                         "no power block"};
    return status >= 0 && status <= 5 ? kNames[status] : "unknown";
}

struct Options {
    std::map<std::string, std::string> values;
    std::vector<std::string> positional;
    double Number(const char *name, double fallback) const {
        auto it = values.find(name);
        return it == values.end() ? fallback : std::strtod(it->second.c_str(), nullptr);
    }
};

bool ParseOptions(int argc, char **argv, Options &options) {
    for (int i = 2; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--no-log") {
            options.values["no-log"] = "1";
        } else if (arg.rfind("--", 0) == 0) {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "trova: %s needs a value\n", arg.c_str());
                return false;
            }
            options.values[arg.substr(2)] = argv[++i];
        } else {
            options.positional.push_back(arg);
        }
    }
    return true;
}

int ShowTable(const std::string &path) {
    trova::FileBuffer buffer;
    trova::EnsureFileTable(path.c_str(), trova::HeaderVariant::kTrend, buffer);
    const trova::FileTableState &table = trova::FileTable;
    std::printf("%d file(s), %u record(s)\n", table.fileCount, table.totalRecords);
    if (table.fileCount < 1) return 1;
    std::printf("%3s  %-32s %8s %7s %7s  %-23s  %-23s  %3s %3s %3s %3s %3s\n", "#", "file",
                "records", "R", "D", "first", "last", "N", "K", "S", "P", "ref");
    for (int32_t i = 0; i < table.fileCount; ++i) {
        const trova::FileInfoRecord &e = table.entries[i];
        const char *name = std::strrchr(e.path, '/');
        std::printf("%3d  %-32s %8u %7u %7u  %-23s  %-23s  %3d %3u %3d %3d %3d\n", i,
                    name != nullptr ? name + 1 : e.path, e.recordCount, e.recordSize, e.headerSize,
                    FormatTime(e.firstTime).c_str(), FormatTime(e.lastTime).c_str(),
                    static_cast<int32_t>(e.channelCode), e.statCount,
                    static_cast<int32_t>(e.scalarCount), static_cast<int32_t>(e.phaseQuantityCount),
                    static_cast<int32_t>(e.refQuantity));
    }
    return 0;
}

// Progress on a terminal only; a pipe or a log gets the table alone.
void PrintProgress(int total, void *) { std::fprintf(stderr, "\rprogress %3d %%", total); }

int ShowTrend(const std::string &path, const Options &options) {
    int quantity = static_cast<int>(options.Number("quantity", 0));
    const int block = static_cast<int>(options.Number("block", 0));
    int points = static_cast<int>(options.Number("points", 20));
    if (points < 1) points = 1;
    std::vector<float> minValues(5 * size_t(points)), maxValues(minValues.size()),
        meanValues(minValues.size());
    std::vector<double> times(2 * size_t(points));
    std::vector<int> flags(static_cast<size_t>(points));
    double from = options.Number("from", -1.0);
    if (options.values.count("last")) {
        // The last N seconds: the window ends with the recording.
        trova::FileBuffer buffer;
        trova::EnsureFileTable(path.c_str(), trova::HeaderVariant::kTrend, buffer);
        if (trova::FileTable.fileCount > 0) {
            from = trova::FileTable.entries[trova::FileTable.fileCount - 1].lastTime -
                   options.Number("last", 0.0);
        }
    }
    int factor = 0, status = -1;
    char label[] = "trova";
    char button[] = "Cancel";
    std::string pathCopy = path;
    const bool terminal = isatty(fileno(stderr)) != 0;
    TrovaSetProgressCallback(terminal ? PrintProgress : nullptr, nullptr);
    const int count = Reader_XT(quantity, block, from,
                                options.Number("to", -1.0),
                                static_cast<float>(options.Number("extref", 0.0)), label,
                                pathCopy.data(), &points, minValues.data(), maxValues.data(),
                                meanValues.data(), times.data(), flags.data(), &factor, button,
                                &status);
    if (terminal) std::fprintf(stderr, "\r%20s\r", "");
    std::printf("status %d (%s), %d point(s), %d record(s) per point\n", status,
                StatusName(status), count, factor);
    if (count < 1) return status == 0 ? 0 : 1;

    // How many channels the quantity has: the file table of the call tells.
    const trova::FileInfoRecord &first = trova::FileTable.entries[0];
    if (status == TROVA_READER_BAD_QUANTITY) quantity = 0;
    const int channels = trova::ChannelsRead(static_cast<int32_t>(first.channelCode),
                                             quantity >= static_cast<int32_t>(first.scalarCount));
    std::printf("%5s  %-23s %6s", "point", "time (UTC)", "flags");
    for (int c = 0; c < channels; ++c) std::printf("   ch%d min    ch%d max   ch%d mean", c, c, c);
    std::printf("\n");
    for (int p = 0; p < count; ++p) {
        std::printf("%5d  %-23s %6d", p, FormatTime(times[p] + times[points + p]).c_str(), flags[p]);
        for (int c = 0; c < channels; ++c) {
            const size_t at = size_t(c) * points + p;
            std::printf(" %10.3f %10.3f %10.3f", minValues[at], maxValues[at], meanValues[at]);
        }
        std::printf("\n");
    }
    return status == 0 ? 0 : 1;
}

int Usage() {
    std::fprintf(stderr,
                 "usage: trova table PATH\n"
                 "       trova xt PATH [--quantity Q] [--block K] [--from T] [--to T]\n"
                 "                     [--points N] [--extref X] [--last SECONDS]\n"
                 "       trova sample DIR\n"
                 "global options: --log DIR, --no-log\n");
    return 2;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 3) return Usage();
    Options options;
    if (!ParseOptions(argc, argv, options) || options.positional.size() != 1) return Usage();
    if (options.values.count("no-log")) TrovaSetLogDirectory(nullptr);
    if (options.values.count("log")) TrovaSetLogDirectory(options.values["log"].c_str());
    TrovaSetCompletionPause(0);

    const std::string command = argv[1];
    const std::string &target = options.positional[0];
    if (command == "table") return ShowTable(target);
    if (command == "xt") return ShowTrend(target, options);
    if (command == "sample") {
        std::string written;
        if (!trova::rec::WriteSampleTrendRecording(target, written)) {
            std::fprintf(stderr, "trova: cannot write a sample recording into %s\n", target.c_str());
            return 1;
        }
        std::printf("%s\n", written.c_str());
        return 0;
    }
    return Usage();
}
