// trova: the command-line face of the readers.
//
//   trova table PATH                 the recording's files, as the readers see them
//   trova xt PATH [options]          min/max/mean trend of one quantity
//   trova fft-hist PATH [options]    histogram of one harmonic quantity per phase
//   trova fft-table PATH [options]   percentile table over all harmonic positions
//   trova xt2 PATH [options]         the same trend decimated to min/max pairs
//   trova hist PATH [options]        histogram of one quantity per channel
//   trova fft-xt PATH [options]      trend of one harmonic quantity per phase
//   trova fft-all PATH [options]     trend of a whole harmonic spectrum per phase
//   trova sample DIR                 write a sample trend recording into DIR
//   trova sample-harmonic DIR        write a sample harmonic recording into DIR
//
// Options of xt, xt2 and hist: --quantity Q  --block K  --from T  --to T
// --extref X (-1: divide by the recording's reference quantity), --last S
// (the last S seconds of the recording). Times are
// seconds since 1904-01-01 as in the recordings; negative means open.
// Options of fft-hist and fft-table: --quantity Q (the reader's code),
// --set S (value set 0 or 1), --reference F (position of the reference
// harmonic), --join J, --from T, --to T, --flagged 0|1 (0 leaves flagged
// records out), --reader 1|2 (1: powers formed from angles; default 2:
// stored powers). fft-hist also takes --harmonic H (the position) and
// --hmin X --hmax Y (a fixed range); fft-table takes --percentile P.
// xt and xt2: --points N. hist: --min X --max Y (a fixed range; nan takes
// the observed end), --flagged (histogram flagged records too), --rows N.
// fft-xt and fft-all take the same arguments (not --flagged) and --reader 3
// for the decimated readers; fft-xt takes --harmonic K and --points N,
// fft-all --matrix 1 (positions × points per phase) and --columns C.
// Global: --log DIR writes the diagnostic log there (default: the
// library's per-user log, ~/.local/state/trova/ or $XDG_STATE_HOME/trova/),
// --no-log switches it off.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

#include <algorithm>

#include "files/file_table.h"
#include "harmonics/harmonic_layout.h"
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
        } else if (arg == "--flagged") {
            // Alone it means 1; "--flagged 0" and "--flagged 1" say it outright.
            const bool valued = i + 1 < argc && (std::string(argv[i + 1]) == "0" ||
                                                 std::string(argv[i + 1]) == "1");
            options.values["flagged"] = valued ? argv[++i] : "1";
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
    trova::EnsureFileTable(path.c_str(), trova::HeaderVariant::kTrend);
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

// What the trend commands share: quantity, block, window, normalisation,
// and the progress line around the reader call.
struct TrendArgs {
    int quantity = 0;
    int block = 0;
    double from = -1.0;
    double to = -1.0;
    float extRef = 0.0f;
    std::string path;
    char label[8] = "trova";
    char button[8] = "Cancel";
    bool terminal = false;

    TrendArgs(const std::string &target, const Options &options) : path(target) {
        quantity = static_cast<int>(options.Number("quantity", 0));
        block = static_cast<int>(options.Number("block", 0));
        from = options.Number("from", -1.0);
        to = options.Number("to", -1.0);
        extRef = static_cast<float>(options.Number("extref", 0.0));
        if (options.values.count("last")) {
            // The last N seconds: the window ends with the recording.
            trova::EnsureFileTable(path.c_str(), trova::HeaderVariant::kTrend);
            if (trova::FileTable.fileCount > 0) {
                from = trova::FileTable.entries[trova::FileTable.fileCount - 1].lastTime -
                       options.Number("last", 0.0);
            }
        }
    }
    void BeginProgress() {
        terminal = isatty(fileno(stderr)) != 0;
        TrovaSetProgressCallback(terminal ? PrintProgress : nullptr, nullptr);
    }
    void EndProgress() const {
        if (terminal) std::fprintf(stderr, "\r%20s\r", "");
    }
    // How many channels the quantity had in the call just made (0 when the
    // recording has no file): the file table of the call tells.
    int Channels(int status) const {
        if (trova::FileTable.fileCount < 1) return 0;
        const trova::FileInfoRecord &first = trova::FileTable.entries[0];
        const int q = status == TROVA_READER_BAD_QUANTITY ? 0 : quantity;
        return trova::ChannelsRead(static_cast<int32_t>(first.channelCode),
                                   q >= static_cast<int32_t>(first.scalarCount));
    }
};

int PointsOption(const Options &options) {
    const int points = static_cast<int>(options.Number("points", 20));
    return points < 1 ? 1 : points;
}

int ShowTrend(const std::string &path, const Options &options) {
    TrendArgs args(path, options);
    int points = PointsOption(options);
    std::vector<float> minValues(5 * size_t(points)), maxValues(minValues.size()),
        meanValues(minValues.size());
    std::vector<double> times(2 * size_t(points));
    std::vector<int> flags(static_cast<size_t>(points));
    int factor = 0, status = -1;
    args.BeginProgress();
    const int count = Reader_XT(args.quantity, args.block, args.from, args.to, args.extRef,
                                args.label, args.path.data(), &points, minValues.data(),
                                maxValues.data(), meanValues.data(), times.data(), flags.data(),
                                &factor, args.button, &status);
    args.EndProgress();
    std::printf("status %d (%s), %d point(s), %d record(s) per point\n", status,
                StatusName(status), count, factor);
    if (count < 1) return status == 0 ? 0 : 1;

    const int channels = args.Channels(status);
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

// The arguments the harmonic statistics commands share.
struct HarmonicArgs {
    int reader;  // 1 or 2
    int quantity;
    int minMax;  // the readers' argument: 0 asks for value set 1
    double from, to;
    trova_long reference, join, flagged;
    std::string path;
    char label[16] = "trova";
    char button[16] = "Cancel";

    HarmonicArgs(const std::string &recording, const Options &options, int defaultQuantity)
        : reader(options.Number("reader", 2) == 1 ? 1 : 2),
          quantity(static_cast<int>(options.Number("quantity", defaultQuantity))),
          minMax(options.Number("set", 0) == 1 ? 0 : 1),
          from(options.Number("from", -1.0)),
          to(options.Number("to", -1.0)),
          reference(static_cast<trova_long>(options.Number("reference", 0))),
          join(static_cast<trova_long>(options.Number("join", 0))),
          flagged(static_cast<trova_long>(options.Number("flagged", 1))),
          path(recording) {}

    // The phase count of the recording the call read (1 without a table).
    static int Phases() {
        if (trova::FileTable.fileCount < 1) return 1;
        return trova::HarmonicPhaseCount(trova::FileTable.entries[0].channelCode);
    }
};

int ShowHarmonicHistogram(const std::string &path, const Options &options) {
    HarmonicArgs a(path, options, 2);
    const trova_long harmonic = static_cast<trova_long>(options.Number("harmonic", 0));
    const bool fixed = options.values.count("hmin") != 0 || options.values.count("hmax") != 0;
    const double hMin = options.Number("hmin", NAN), hMax = options.Number("hmax", NAN);
    std::vector<double> start(4), width(4);
    std::vector<trova_long> counts(400), inRange(4), total(4);
    trova_long status = -1, flaggedRecords = 0, records = 0;
    const bool terminal = isatty(fileno(stderr)) != 0;
    TrovaSetProgressCallback(terminal ? PrintProgress : nullptr, nullptr);
    if (a.reader == 1) {
        Reader_FFT_HIST1(a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), start.data(),
                         width.data(), counts.data(), harmonic, a.button, a.reference, a.join,
                         &status);
    } else {
        Reader_FFT_HIST2(a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), start.data(),
                         width.data(), counts.data(), harmonic, a.button, a.reference, a.join,
                         &status, fixed ? 1 : 0, hMin, hMax, inRange.data(), total.data(),
                         a.flagged, &flaggedRecords, &records);
    }
    if (terminal) std::fprintf(stderr, "\r%20s\r", "");
    std::printf("status %d (%s), Reader_FFT_HIST%d, quantity %d at position %d\n",
                static_cast<int>(status), StatusName(static_cast<int>(status)), a.reader,
                a.quantity, static_cast<int>(harmonic));
    if (status == TROVA_READER_NO_FILES) return 1;
    const int phases = HarmonicArgs::Phases();
    if (a.reader == 2) {
        std::printf("%d record(s) in the window, %d flagged (%s)\n", static_cast<int>(records),
                    static_cast<int>(flaggedRecords), a.flagged ? "counted" : "left out");
    }
    std::printf("%5s %14s %14s %9s %9s\n", "phase", "bin 0 from", "bin width", "in range",
                "values");
    for (int p = 0; p < phases; ++p) {
        trova_long values = 0;
        for (int b = 0; b < 100; ++b) values += counts[size_t(100 * p + b)];
        std::printf("%5d %14.6g %14.6g %9d %9d\n", p, start[size_t(p)], width[size_t(p)],
                    static_cast<int>(a.reader == 2 ? inRange[size_t(p)] : values),
                    static_cast<int>(a.reader == 2 ? total[size_t(p)] : values));
    }
    std::printf("\n%4s  %-14s", "bin", "phase 0 edge");
    for (int p = 0; p < phases; ++p) std::printf(" %8s%d", "phase ", p);
    std::printf("\n");
    for (int b = 0; b < 100; ++b) {
        bool any = false;
        for (int p = 0; p < phases; ++p) any = any || counts[size_t(100 * p + b)] != 0;
        if (!any) continue;
        std::printf("%4d  %-14.6g", b, start[0] + b * width[0]);
        for (int p = 0; p < phases; ++p) std::printf(" %9d", static_cast<int>(counts[size_t(100 * p + b)]));
        std::printf("\n");
    }
    return status == 0 ? 0 : 1;
}

// The decimated trend: one row per output, each bin of records shown as its
// two outputs (minimum and maximum, the later extreme second).
int ShowDecimatedTrend(const std::string &path, const Options &options) {
    TrendArgs args(path, options);
    int points = PointsOption(options);
    std::vector<float> values(5 * size_t(points));
    std::vector<double> times(2 * size_t(points));
    std::vector<int> flags(static_cast<size_t>(points));
    int factor = 0, status = -1;
    args.BeginProgress();
    const int count = Reader_XT2(args.quantity, args.block, args.from, args.to, args.extRef,
                                 args.label, args.path.data(), &points, values.data(),
                                 times.data(), flags.data(), &factor, args.button, &status);
    args.EndProgress();
    if (factor == 0) {
        std::printf("status %d (%s), %d output(s), one per record\n", status, StatusName(status),
                    count);
    } else {
        std::printf("status %d (%s), %d output(s), bins of %d records (min and max each)\n",
                    status, StatusName(status), count, 2 * factor);
    }
    if (count < 1) return status == 0 ? 0 : 1;

    const int channels = args.Channels(status);
    std::printf("%6s  %-23s %6s", "output", "time (UTC)", "flags");
    for (int c = 0; c < channels; ++c) std::printf("  %10s%d", "ch", c);
    std::printf("\n");
    for (int i = 0; i < count; ++i) {
        std::printf("%6d  %-23s %6d", i, FormatTime(times[i] + times[points + i]).c_str(), flags[i]);
        for (int c = 0; c < channels; ++c) std::printf("  %11.3f", values[size_t(c) * points + i]);
        std::printf("\n");
    }
    return status == 0 ? 0 : 1;
}

int ShowHarmonicTable(const std::string &path, const Options &options) {
    HarmonicArgs a(path, options, 1);
    const float percentile = static_cast<float>(options.Number("percentile", 0.95));
    std::vector<float> harm(2000), valueA(4), valueB(4);
    trova_long status = -1, harmCount = 0, flaggedRecords = 0, records = 0;
    const bool terminal = isatty(fileno(stderr)) != 0;
    TrovaSetProgressCallback(terminal ? PrintProgress : nullptr, nullptr);
    if (a.reader == 1) {
        Reader_FFT_Table1(a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), a.button,
                          a.reference, harm.data(), valueA.data(), valueB.data(), percentile,
                          a.join, &status, &harmCount);
    } else {
        Reader_FFT_Table2(a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), a.button,
                          a.reference, harm.data(), valueA.data(), valueB.data(), percentile,
                          a.join, &status, &harmCount, a.flagged, &flaggedRecords, &records);
    }
    if (terminal) std::fprintf(stderr, "\r%20s\r", "");
    std::printf("status %d (%s), Reader_FFT_Table%d, quantity %d, %g %% percentile\n",
                static_cast<int>(status), StatusName(static_cast<int>(status)), a.reader,
                a.quantity, 100.0 * percentile);
    if (status == TROVA_READER_NO_FILES) return 1;
    const int phases = HarmonicArgs::Phases();
    if (a.reader == 2) {
        std::printf("%d record(s) in the window, %d flagged (%s)\n", static_cast<int>(records),
                    static_cast<int>(flaggedRecords), a.flagged ? "counted" : "left out");
    }
    std::printf("%8s", "position");
    for (int p = 0; p < phases; ++p) std::printf(" %11s%d", "phase ", p);
    std::printf("\n");
    const int positions = harmCount < 0 ? 0 : harmCount > 500 ? 500 : static_cast<int>(harmCount);
    for (int k = 0; k < positions; ++k) {
        std::printf("%8d", k);
        for (int p = 0; p < phases; ++p) std::printf(" %12.5g", harm[size_t(500 * p + k)]);
        std::printf("\n");
    }
    std::printf("%8s", "value A");
    for (int p = 0; p < phases; ++p) std::printf(" %12.5g", valueA[size_t(p)]);
    std::printf("\n%8s", "value B");
    for (int p = 0; p < phases; ++p) std::printf(" %12.5g", valueB[size_t(p)]);
    std::printf("\n");
    return status == 0 ? 0 : 1;
}

// The histogram: per channel its range, bin width and counters, then the
// 100 bins merged into rows with a bar scaled to the fullest row.
int ShowHistogram(const std::string &path, const Options &options) {
    TrendArgs args(path, options);
    const bool fixed = options.values.count("min") != 0 || options.values.count("max") != 0;
    const double hMin = options.Number("min", std::nan(""));
    const double hMax = options.Number("max", std::nan(""));
    const int rows = std::clamp(static_cast<int>(options.Number("rows", 20)), 1, 100);
    const int perRow = (100 + rows - 1) / rows;
    // Room for every channel count a header can claim.
    std::vector<double> start(128), width(128);
    std::vector<trova_long> counts(500), inRange(5), total(5);
    trova_long flaggedRecords = 0, records = 0, status = -1;
    args.BeginProgress();
    Reader_HIST(args.quantity, args.block, args.from, args.to, args.extRef, args.label,
                args.path.data(), start.data(), width.data(), counts.data(), args.button, &status,
                fixed ? 1 : 0, hMin, hMax, inRange.data(), total.data(),
                options.Number("flagged", 0) != 0 ? 1 : 0, &flaggedRecords, &records);
    args.EndProgress();
    std::printf("status %d (%s), %d record(s), %d flagged (%s)\n", static_cast<int>(status),
                StatusName(static_cast<int>(status)), static_cast<int>(records),
                static_cast<int>(flaggedRecords),
                options.Number("flagged", 0) != 0 ? "histogrammed" : "left out");
    const int channels = std::min(args.Channels(static_cast<int>(status)), 5);
    for (int c = 0; c < channels; ++c) {
        const trova_long *bins = counts.data() + 100 * c;
        std::printf("\nchannel %d: bins from %.6g, width %.6g; %d value(s), %d inside the range\n",
                    c, start[c], width[c], static_cast<int>(total[c]), static_cast<int>(inRange[c]));
        if (fixed) std::printf("  (bin 0 also holds values below, bin 99 values above the range)\n");
        std::vector<long long> rowCounts;
        for (int b = 0; b < 100; b += perRow) {
            long long sum = 0;
            for (int k = b; k < std::min(100, b + perRow); ++k) sum += bins[k];
            rowCounts.push_back(sum);
        }
        const long long fullest = *std::max_element(rowCounts.begin(), rowCounts.end());
        for (size_t r = 0; r < rowCounts.size(); ++r) {
            const int b = static_cast<int>(r) * perRow;
            const int bar = fullest > 0 ? static_cast<int>((rowCounts[r] * 50 + fullest - 1) / fullest) : 0;
            std::printf("  %12.6g .. %12.6g %8lld |%s\n", start[c] + b * width[c],
                        start[c] + std::min(100, b + perRow) * width[c], rowCounts[r],
                        std::string(static_cast<size_t>(bar), '#').c_str());
        }
    }
    return status == 0 ? 0 : 1;
}

// The reader of a trend pair or triple: --reader 1, 2 (default) or 3.
int TrendReader(const Options &options) {
    const int reader = static_cast<int>(options.Number("reader", 2));
    return reader >= 1 && reader <= 3 ? reader : 2;
}

// Phases a harmonic trend delivers: one for the scalar quantity and where a
// code was replaced by it (statuses 4 and 5), the recording's otherwise.
int TrendPhases(int quantity, trova_long status) {
    if (quantity == 1 || status == TROVA_READER_BAD_QUANTITY ||
        status == TROVA_READER_NO_POWER_BLOCK) {
        return 1;
    }
    return HarmonicArgs::Phases();
}

// Reader_FFT_XT1, 2 or 3: one harmonic quantity at one position over time.
int ShowHarmonicTrend(const std::string &path, const Options &options) {
    HarmonicArgs a(path, options, 2);
    const int reader = TrendReader(options);
    const trova_long harmonic = static_cast<trova_long>(options.Number("harmonic", 1));
    trova_long points = static_cast<trova_long>(options.Number("points", 20));
    if (points < 1 || points > 100000) points = 20;
    const size_t N = static_cast<size_t>(points);
    std::vector<float> minValues(4 * N), maxValues(4 * N), values(4 * N);
    std::vector<double> times(2 * N);
    std::vector<trova_long> flags(N);
    trova_long factor = 0, status = -1;
    const bool terminal = isatty(fileno(stderr)) != 0;
    TrovaSetProgressCallback(terminal ? PrintProgress : nullptr, nullptr);
    int count = 0;
    if (reader == 3) {
        count = Reader_FFT_XT3(a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), &points,
                               values.data(), times.data(), flags.data(), harmonic, &factor,
                               a.button, a.reference, a.join, &status);
    } else {
        // Reader_FFT_XT1 returns the index of its last point.
        count = (reader == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2)(
                    a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), &points,
                    minValues.data(), maxValues.data(), values.data(), times.data(),
                    flags.data(), harmonic, &factor, a.button, a.reference, a.join, &status) +
                (reader == 1 ? 1 : 0);
    }
    if (terminal) std::fprintf(stderr, "\r%20s\r", "");
    std::printf("status %d (%s), Reader_FFT_XT%d, quantity %d at position %d, %d point(s), "
                "%d record(s) per %s\n",
                static_cast<int>(status), StatusName(static_cast<int>(status)), reader,
                a.quantity, static_cast<int>(harmonic), count, static_cast<int>(factor),
                reader == 3 ? "value (0: every record)" : "point");
    if (status == TROVA_READER_NO_FILES || count < 1) return status == 0 ? 0 : 1;
    const int phases = TrendPhases(a.quantity, status);
    std::printf("%5s  %-23s %6s", "point", "time (UTC)", "flags");
    for (int p = 0; p < phases; ++p) {
        if (reader == 3) {
            std::printf(" %11s%d", "phase ", p);
        } else {
            std::printf("  %9s%d %9s%d %9s%d", "min ", p, "max ", p, "mean ", p);
        }
    }
    std::printf("\n");
    for (size_t i = 0; i < size_t(count) && i < N; ++i) {
        std::printf("%5d  %-23s %6d", static_cast<int>(i), FormatTime(times[i] + times[N + i]).c_str(),
                    static_cast<int>(flags[i]));
        for (size_t p = 0; p < size_t(phases); ++p) {
            const size_t at = p * N + i;
            if (reader == 3) {
                std::printf(" %12.5g", values[at]);
            } else {
                std::printf("  %10.5g %10.5g %10.5g", minValues[at], maxValues[at], values[at]);
            }
        }
        std::printf("\n");
    }
    return status == 0 ? 0 : 1;
}

// Reader_FFT_ALL_Harmonics_XT1, 2 or 3: a whole spectrum over time, shown
// as the spectrum over the window (per position the smallest, mean and
// largest value) and, with --matrix, per phase the positions × points.
int ShowSpectrumTrend(const std::string &path, const Options &options) {
    HarmonicArgs a(path, options, 1);
    const int reader = TrendReader(options);
    // Each value array holds 100 points per position of the largest
    // harmonic count among the recording's files.
    trova::EnsureFileTable(path.c_str(), trova::HeaderVariant::kHarmonic);
    int rows = 1;
    for (int32_t f = 0; f < trova::FileTable.fileCount; ++f) {
        rows = std::max(rows, static_cast<int>(trova::FileTable.entries[f].harmonicCount));
    }
    constexpr int kMostRows = 4096;
    if (rows > kMostRows) {
        std::fprintf(stderr, "trova: %d harmonic positions are more than this tool shows\n", rows);
        return 1;
    }
    std::vector<std::vector<float>> arrays(12, std::vector<float>(size_t(rows) * 100, NAN));
    std::vector<double> times(200);
    std::vector<trova_long> flags(100);
    trova_long factor = 0, status = -1, harmCount = 0;
    const bool terminal = isatty(fileno(stderr)) != 0;
    TrovaSetProgressCallback(terminal ? PrintProgress : nullptr, nullptr);
    float *v[12];
    for (size_t i = 0; i < 12; ++i) v[i] = arrays[i].data();
    int count = 0;
    if (reader == 3) {
        count = Reader_FFT_ALL_Harmonics_XT3(a.quantity, a.minMax, a.from, a.to, a.label,
                                             a.path.data(), v[0], v[1], v[2], v[3], times.data(),
                                             flags.data(), &factor, a.button, a.reference, a.join,
                                             &status, &harmCount);
    } else {
        count = (reader == 1 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(
                    a.quantity, a.minMax, a.from, a.to, a.label, a.path.data(), v[0], v[1], v[2],
                    v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], times.data(),
                    flags.data(), &factor, a.button, a.reference, a.join, &status, &harmCount) +
                (reader == 1 ? 1 : 0);
    }
    if (terminal) std::fprintf(stderr, "\r%20s\r", "");
    std::printf("status %d (%s), Reader_FFT_ALL_Harmonics_XT%d, quantity %d, %d position(s), "
                "%d point(s), %d record(s) per %s\n",
                static_cast<int>(status), StatusName(static_cast<int>(status)), reader,
                a.quantity, static_cast<int>(harmCount), count, static_cast<int>(factor),
                reader == 3 ? "value (0: every record)" : "point");
    if (status == TROVA_READER_NO_FILES || count < 1) return status == 0 ? 0 : 1;
    std::printf("from %s to %s\n", FormatTime(times[0] + times[100]).c_str(),
                FormatTime(times[size_t(count - 1)] + times[size_t(100 + count - 1)]).c_str());
    const int phases = HarmonicArgs::Phases();
    const int positions = std::min(rows, std::max(0, static_cast<int>(harmCount)));
    // Reader 3 gives one value array per phase; the others minimum, maximum, mean.
    auto array = [&](int p, int which) -> const std::vector<float> & {
        return arrays[size_t(reader == 3 ? p : 3 * p + which)];
    };
    std::printf("%8s", "position");
    for (int p = 0; p < phases; ++p) std::printf("  %9s%d %9s%d %9s%d", "min ", p, "mean ", p, "max ", p);
    std::printf("\n");
    for (int j = 0; j < positions; ++j) {
        std::printf("%8d", j);
        for (int p = 0; p < phases; ++p) {
            const std::vector<float> &lo = array(p, 0), &hi = array(p, 1), &mid = array(p, 2);
            float least = INFINITY, most = -INFINITY;
            double sum = 0.0;
            int taken = 0;
            for (size_t i = 0; i < size_t(count) && i < 100; ++i) {
                const size_t at = size_t(j) * 100 + i;
                if (std::isnan(mid[at])) continue;  // a point this position did not reach
                least = std::min(least, lo[at]);
                most = std::max(most, hi[at]);
                sum += mid[at];
                ++taken;
            }
            if (taken == 0) {
                std::printf("  %10s %10s %10s", "-", "-", "-");
            } else {
                std::printf("  %10.5g %10.5g %10.5g", least, sum / taken, most);
            }
        }
        std::printf("\n");
    }
    if (options.Number("matrix", 0) == 0) return status == 0 ? 0 : 1;
    // A few points spread over the window, as columns.
    const int columns = std::max(1, std::min(count, static_cast<int>(options.Number("columns", 8))));
    for (int p = 0; p < phases; ++p) {
        std::printf("\nphase %d, %s per point\n%8s", p, reader == 3 ? "value" : "mean", "position");
        for (int c = 0; c < columns; ++c) std::printf(" %10d", columns > 1 ? c * (count - 1) / (columns - 1) : 0);
        std::printf("\n");
        for (int j = 0; j < positions; ++j) {
            std::printf("%8d", j);
            for (int c = 0; c < columns; ++c) {
                const int i = columns > 1 ? c * (count - 1) / (columns - 1) : 0;
                std::printf(" %10.5g", array(p, 2)[size_t(j) * 100 + size_t(i)]);
            }
            std::printf("\n");
        }
    }
    return status == 0 ? 0 : 1;
}

int Usage() {
    std::fprintf(stderr,
                 "usage: trova table PATH\n"
                 "       trova xt PATH [--quantity Q] [--block K] [--from T] [--to T]\n"
                 "                     [--points N] [--extref X] [--last SECONDS]\n"
                 "       trova fft-hist PATH [--quantity Q] [--set S] [--harmonic H]\n"
                 "                     [--reference F] [--join J] [--from T] [--to T]\n"
                 "                     [--hmin X] [--hmax Y] [--flagged 0|1] [--reader 1|2]\n"
                 "       trova fft-table PATH [--quantity Q] [--set S] [--percentile P]\n"
                 "                     [--reference F] [--join J] [--from T] [--to T]\n"
                 "                     [--flagged 0|1] [--reader 1|2]\n"
                 "       trova xt2 PATH (the options of xt)\n"
                 "       trova hist PATH [--quantity Q] [--block K] [--from T] [--to T]\n"
                 "                       [--extref X] [--last SECONDS] [--min X] [--max Y]\n"
                 "                       [--flagged] [--rows N]\n"
                 "       trova fft-xt PATH [--quantity Q] [--set S] [--harmonic K]\n"
                 "                     [--reference F] [--join J] [--from T] [--to T]\n"
                 "                     [--points N] [--reader 1|2|3]\n"
                 "       trova fft-all PATH [--quantity Q] [--set S] [--reference F]\n"
                 "                     [--join J] [--from T] [--to T] [--reader 1|2|3]\n"
                 "                     [--matrix 1 [--columns C]]\n"
                 "       trova sample DIR\n"
                 "       trova sample-harmonic DIR\n"
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
    if (command == "xt2") return ShowDecimatedTrend(target, options);
    if (command == "hist") return ShowHistogram(target, options);
    if (command == "fft-hist") return ShowHarmonicHistogram(target, options);
    if (command == "fft-table") return ShowHarmonicTable(target, options);
    if (command == "fft-xt") return ShowHarmonicTrend(target, options);
    if (command == "fft-all") return ShowSpectrumTrend(target, options);
    if (command == "sample" || command == "sample-harmonic") {
        std::string written;
        const bool harmonic = command == "sample-harmonic";
        if (!(harmonic ? trova::rec::WriteSampleHarmonicRecording(target, written)
                       : trova::rec::WriteSampleTrendRecording(target, written))) {
            std::fprintf(stderr, "trova: cannot write a sample recording into %s\n", target.c_str());
            return 1;
        }
        std::printf("%s\n", written.c_str());
        return 0;
    }
    return Usage();
}
