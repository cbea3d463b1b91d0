// xt, xt2 and hist: the trend readers over a trend recording.
#include <algorithm>
#include <cmath>
#include <memory>

#include "common.h"
#include "trova/readers.h"
#include "views.h"

namespace trova::cli {
namespace {

struct TrendOptions {
    CallOptions call;
    int quantity = 2;
    int block = 2;
    int points = 24;
    float extref = 0.0f;
    // hist
    std::string min, max;  // a fixed range; "nan" takes the observed end
    int flagged = 0;
    int rows = 20;
};

void AddTrendOptions(CLI::App &command, TrendOptions &o) {
    AddCallOptions(command, o.call);
    command.add_option("--quantity", o.quantity, "quantity index in a statistic block")
        ->check(Whole(0, 127))->capture_default_str();
    command.add_option("--block", o.block, "statistic block: 0 minimum, 1 maximum, 2 mean")
        ->check(Whole(0, 2))->capture_default_str();
    command.add_option("--extref", o.extref,
                       "divide by this value (-1: by the recording's reference quantity)")
        ->check(CLI::Number);
}

// Channels the quantity yielded: the recording's channels for per-channel
// quantities, one for the once-per-block ones (and for quantity 0 after a
// correction).
int Channels(const Recording &r, int quantity, int status) {
    const int read = status == TROVA_READER_BAD_QUANTITY ? 0 : quantity;
    return read >= int(r.info.scalarCount) ? std::max(r.info.channelCount, 1) : 1;
}

void Common(const char *command, const char *reader, const TrendOptions &o, const Recording &r,
            Report &report) {
    report.command = command;
    report.reader = reader;
    DescribeCall(o.call, r, report);
    report.arguments["Quantity"] = o.quantity;
    report.arguments["MinMax"] = o.block;
    report.arguments["ExtRef"] = o.extref;
}

int RunSeries(const TrendOptions &o, bool decimated, Report &report) {
    const Recording r = Describe(o.call, TROVA_VARIANT_TREND);
    Common(decimated ? "xt2" : "xt", decimated ? "Reader_XT2" : "Reader_XT", o, r, report);
    report.arguments["Points"] = o.points;
    const int channels = std::max(r.info.channelCount, 1);
    const size_t n = size_t(o.points);
    std::vector<float> lo(channels * n), hi(channels * n), mean(channels * n);
    std::vector<double> times(2 * n);
    std::vector<int> flags(n);
    int points = o.points, factor = 0, status = -1;
    Labels labels(o.call.path);
    ReaderCall call;
    const int count =
        decimated ? Reader_XT2(o.quantity, o.block, r.from, r.to, o.extref, labels.label,
                               labels.path.data(), &points, mean.data(), times.data(), flags.data(),
                               &factor, labels.button, &status)
                  : Reader_XT(o.quantity, o.block, r.from, r.to, o.extref, labels.label,
                              labels.path.data(), &points, lo.data(), hi.data(), mean.data(),
                              times.data(), flags.data(), &factor, labels.button, &status);
    report.called = true;
    report.status = status, report.result = count;
    report.summary = {{"points", count}, {"interleave_factor", factor}};
    const int used = Channels(r, o.quantity, status);
    report.notes.push_back(StatusLine(int(status)) + ", " + std::to_string(count) + " point(s), " +
                           (decimated ? (factor == 0 ? std::string("one per record")
                                                     : "bins of " + std::to_string(2 * factor) +
                                                           " records (min and max each)")
                                      : std::to_string(factor) + " record(s) per point"));
    Table table = SeriesTable("ch", used, count, n, times.data(), flags.data(),
                              decimated ? nullptr : lo.data(), decimated ? nullptr : hi.data(),
                              mean.data());
    report.tables.push_back(std::move(table));
    return ExitStatus(report, call.Interrupted());
}

double RangeEnd(const std::string &option, const std::string &text) {
    if (text == "nan") return std::nan("");
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') {
        throw CLI::ValidationError(option, "\"" + text + "\" is not a number (or nan)");
    }
    return value;
}

int RunHistogram(const TrendOptions &o, Report &report) {
    const Recording r = Describe(o.call, TROVA_VARIANT_TREND);
    Common("hist", "Reader_HIST", o, r, report);
    const bool fixed = !o.min.empty() || !o.max.empty();
    const double hMin = o.min.empty() ? std::nan("") : RangeEnd("--min", o.min);
    const double hMax = o.max.empty() ? std::nan("") : RangeEnd("--max", o.max);
    report.arguments["HMinMax"] = fixed ? 1 : 0;
    report.arguments["HMin"] = std::isfinite(hMin) ? nlohmann::ordered_json(hMin) : nlohmann::ordered_json();
    report.arguments["HMax"] = std::isfinite(hMax) ? nlohmann::ordered_json(hMax) : nlohmann::ordered_json();
    report.arguments["Flagged"] = o.flagged;
    const int channels = std::max(r.info.channelCount, 1);
    // A start and a width for every channel the header counts.
    const size_t reported = size_t(std::max<int>(channels, int32_t(r.info.channelCode)));
    std::vector<double> start(reported), width(reported);
    std::vector<trova_long> counts(100 * size_t(channels)), inRange(channels), total(channels);
    trova_long status = -1, flaggedRecords = 0, records = 0;
    Labels labels(o.call.path);
    ReaderCall call(2);
    Reader_HIST(o.quantity, o.block, r.from, r.to, o.extref, labels.label, labels.path.data(),
                start.data(), width.data(), counts.data(), labels.button, &status, fixed ? 1 : 0,
                hMin, hMax, inRange.data(), total.data(), o.flagged, &flaggedRecords, &records);
    report.called = true;
    report.status = int(status), report.result = 0;
    report.summary = {{"records", records}, {"flagged_records", flaggedRecords}};
    report.notes.push_back(StatusLine(int(status)) + ", " + std::to_string(records) + " record(s), " +
                           std::to_string(flaggedRecords) + " flagged (" +
                           (o.flagged ? "histogrammed" : "left out") + ")");
    const int used = std::min(Channels(r, o.quantity, int(status)), channels);
    Table summary{"channels", {{"channel", "channel"}, {"bin0_start", "bin 0 from"},
                               {"bin_width", "bin width"}, {"values", "values"},
                               {"in_range", "in range"}}, {}};
    Table bins{"bins", {{"channel", "channel"}, {"bins", "bins"}, {"from", "from"}, {"to", "to"},
                        {"count", "count"}, {"bar", ""}}, {}};
    const int perRow = (100 + o.rows - 1) / o.rows;
    for (int c = 0; c < used; ++c) {
        summary.rows.push_back({int64_t(c), start[size_t(c)], width[size_t(c)],
                                int64_t(total[size_t(c)]), int64_t(inRange[size_t(c)])});
        std::vector<int64_t> sums;
        for (int b = 0; b < 100; b += perRow) {
            int64_t sum = 0;
            for (int k = b; k < std::min(100, b + perRow); ++k) sum += counts[size_t(100 * c + k)];
            sums.push_back(sum);
        }
        const int64_t fullest = std::max<int64_t>(1, *std::max_element(sums.begin(), sums.end()));
        for (size_t i = 0; i < sums.size(); ++i) {
            const int b = int(i) * perRow, e = std::min(100, b + perRow) - 1;
            bins.rows.push_back({int64_t(c), std::to_string(b) + "-" + std::to_string(e),
                                 start[size_t(c)] + b * width[size_t(c)],
                                 start[size_t(c)] + (e + 1) * width[size_t(c)], sums[i],
                                 "|" + std::string(size_t((sums[i] * 40 + fullest - 1) / fullest), '#')});
        }
    }
    if (fixed) report.notes.push_back("bin 0 also holds the values below the range, bin 99 those above");
    report.tables.push_back(std::move(summary));
    report.tables.push_back(std::move(bins));
    return ExitStatus(report, call.Interrupted());
}

}  // namespace

void AddTrendViews(CLI::App &app, View &chosen) {
    auto o = std::make_shared<TrendOptions>();
    for (const bool decimated : {false, true}) {
        CLI::App *command = app.add_subcommand(
            decimated ? "xt2" : "xt",
            decimated ? "a trend quantity decimated to min/max pairs for drawing (Reader_XT2)"
                      : "min, max and mean of a trend quantity per group of records (Reader_XT)");
        AddTrendOptions(*command, *o);
        command->add_option("--points", o->points, "points per channel")
            ->check(Whole(1, 10000000))->capture_default_str();
        command->callback([&chosen, o, decimated] {
            chosen = [o, decimated](Report &report) { return RunSeries(*o, decimated, report); };
        });
    }
    CLI::App *hist = app.add_subcommand("hist", "100-bin histogram of a trend quantity per channel (Reader_HIST)");
    AddTrendOptions(*hist, *o);
    hist->add_option("--min", o->min, "fixed range: lower end (nan: the observed one)");
    hist->add_option("--max", o->max, "fixed range: upper end (nan: the observed one)");
    hist->add_option("--flagged", o->flagged, "1: histogram flagged records too")
        ->check(Whole(0, 1))->capture_default_str();
    hist->add_option("--rows", o->rows, "rows the 100 bins are merged into (table view)")
        ->check(Whole(1, 100))->capture_default_str();
    hist->callback([&chosen, o] { chosen = [o](Report &report) { return RunHistogram(*o, report); }; });
}

}  // namespace trova::cli
