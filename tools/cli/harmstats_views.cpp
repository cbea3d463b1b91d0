// fft-hist and fft-table: histograms and percentile tables of harmonic
// quantities per phase.
#include <cmath>
#include <memory>

#include "harmonic_options.h"
#include "trova/readers.h"
#include "views.h"

namespace trova::cli {
namespace {

constexpr int kTableSegment = 500;  // entries of one phase in the table reader's array

struct HistOptions : HarmonicOptions {
    std::string hmin, hmax;
    int flagged = 1;
};

double Number(const std::string &option, const std::string &text) {
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw CLI::ValidationError(option, "\"" + text + "\" is not a number");
    return value;
}

void Counters(Report &report, int reader, trova_long records, trova_long flagged, bool counted) {
    if (reader != 2) return;
    report.summary["records"] = records;
    report.summary["flagged_records"] = flagged;
    report.notes.push_back(std::to_string(records) + " record(s) in the window, " +
                           std::to_string(flagged) + " flagged (" +
                           (counted ? "counted" : "left out") + ")");
}

int RunHistogram(const HistOptions &o, Report &report) {
    const Recording r = o.Begin(report, "fft-hist", "Reader_FFT_HIST", true);
    report.arguments["Harmonic"] = o.harmonic;
    const bool fixed = !o.hmin.empty() || !o.hmax.empty();
    const double hMin = o.hmin.empty() ? std::nan("") : Number("--hmin", o.hmin);
    const double hMax = o.hmax.empty() ? std::nan("") : Number("--hmax", o.hmax);
    if (o.reader == 2) {
        report.arguments["HMinMax"] = fixed ? 1 : 0;
        report.arguments["Flagged"] = o.flagged;
    }
    const size_t phases = size_t(HarmonicOptions::Phases(r));
    std::vector<double> start(phases), width(phases);
    std::vector<trova_long> counts(100 * phases), inRange(phases), total(phases);
    trova_long status = -1, flaggedRecords = 0, records = 0;
    Labels labels(o.call.path);
    ReaderCall call(2);
    if (o.reader == 1) {
        Reader_FFT_HIST1(o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(),
                         start.data(), width.data(), counts.data(), o.harmonic, labels.button,
                         o.reference, o.join, &status);
    } else {
        Reader_FFT_HIST2(o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(),
                         start.data(), width.data(), counts.data(), o.harmonic, labels.button,
                         o.reference, o.join, &status, fixed ? 1 : 0, hMin, hMax, inRange.data(),
                         total.data(), o.flagged, &flaggedRecords, &records);
    }
    report.called = true;
    report.status = int(status), report.result = 0;
    report.notes.push_back(StatusLine(int(status)) + ", " + report.reader + ", quantity " + std::to_string(o.quantity) +
                           " at position " + std::to_string(o.harmonic));
    Counters(report, o.reader, records, flaggedRecords, o.flagged != 0);
    Table summary{"phases", {{"phase", "phase"}, {"bin0_start", "bin 0 from"},
                             {"bin_width", "bin width"}, {"values", "values"}}, {}};
    if (o.reader == 2) summary.columns.push_back({"in_range", "in range"});
    for (size_t p = 0; p < phases; ++p) {
        int64_t values = 0;
        for (int b = 0; b < 100; ++b) values += counts[100 * p + size_t(b)];
        summary.rows.push_back({int64_t(p), start[p], width[p],
                                o.reader == 2 ? int64_t(total[p]) : values});
        if (o.reader == 2) summary.rows.back().push_back(int64_t(inRange[p]));
    }
    // The bins that hold values, one row each, with every phase's count.
    Table bins{"bins", {{"bin", "bin"}, {"phase0_from", "phase 0 from"}}, {}};
    for (size_t p = 0; p < phases; ++p) {
        bins.columns.push_back({"phase" + std::to_string(p) + "_count", "phase " + std::to_string(p)});
    }
    for (int b = 0; b < 100; ++b) {
        std::vector<Cell> row{int64_t(b), start[0] + b * width[0]};
        bool any = false;
        for (size_t p = 0; p < phases; ++p) {
            any = any || counts[100 * p + size_t(b)] != 0;
            row.push_back(int64_t(counts[100 * p + size_t(b)]));
        }
        if (any) bins.rows.push_back(std::move(row));
    }
    report.tables.push_back(std::move(summary));
    report.tables.push_back(std::move(bins));
    return ExitStatus(report, call.Interrupted());
}

struct TableOptions : HarmonicOptions {
    double percentile = 0.95;
    int flagged = 1;
};

int RunTable(const TableOptions &o, Report &report) {
    const Recording r = o.Begin(report, "fft-table", "Reader_FFT_Table", false);
    report.arguments["Percentil"] = o.percentile;
    if (o.reader == 2) report.arguments["Flagged"] = o.flagged;
    const size_t phases = size_t(HarmonicOptions::Phases(r));
    // Phase p's cells start at 500·p; the last phase holds up to the most
    // positions of any file.
    const size_t rows = size_t(std::max(HarmonicOptions::MostPositions(r), kTableSegment));
    std::vector<float> harm(kTableSegment * (phases - 1) + rows), valueA(phases), valueB(phases);
    trova_long status = -1, harmCount = 0, flaggedRecords = 0, records = 0;
    Labels labels(o.call.path);
    const float percentile = static_cast<float>(o.percentile);
    ReaderCall call(2);
    if (o.reader == 1) {
        Reader_FFT_Table1(o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(),
                          labels.button, o.reference, harm.data(), valueA.data(), valueB.data(),
                          percentile, o.join, &status, &harmCount);
    } else {
        Reader_FFT_Table2(o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(),
                          labels.button, o.reference, harm.data(), valueA.data(), valueB.data(),
                          percentile, o.join, &status, &harmCount, o.flagged, &flaggedRecords,
                          &records);
    }
    report.called = true;
    report.status = int(status), report.result = 0;
    report.summary["harmonic_count"] = harmCount;
    report.notes.push_back(StatusLine(int(status)) + ", " + report.reader + ", quantity " + std::to_string(o.quantity) +
                           ", " + Shortest(100.0 * o.percentile) + " % percentile");
    Counters(report, o.reader, records, flaggedRecords, o.flagged != 0);
    Table table{"table", {{"position", "position"}}, {}};
    for (size_t p = 0; p < phases; ++p) {
        table.columns.push_back({"phase" + std::to_string(p), "phase " + std::to_string(p)});
    }
    const int positions = std::clamp(int(harmCount), 0, kTableSegment);
    for (int k = 0; k < positions; ++k) {
        std::vector<Cell> row{int64_t(k)};
        for (size_t p = 0; p < phases; ++p) row.push_back(harm[kTableSegment * p + size_t(k)]);
        table.rows.push_back(std::move(row));
    }
    for (const auto &[name, values] : {std::pair{"value A", &valueA}, std::pair{"value B", &valueB}}) {
        std::vector<Cell> row{std::string(name)};
        for (size_t p = 0; p < phases; ++p) row.push_back((*values)[p]);
        table.rows.push_back(std::move(row));
    }
    report.tables.push_back(std::move(table));
    return ExitStatus(report, call.Interrupted());
}

}  // namespace

void AddHarmonicStatisticsViews(CLI::App &app, View &chosen) {
    auto h = std::make_shared<HistOptions>();
    CLI::App *hist = app.add_subcommand("fft-hist", "100-bin histogram of one harmonic quantity per phase (Reader_FFT_HIST1/2)");
    h->Add(*hist, 2, 13, 2);
    hist->add_option("--harmonic", h->harmonic, "harmonic position")->check(Whole(0, 2147483647))
        ->capture_default_str();
    hist->add_option("--hmin", h->hmin, "fixed range: lower end (reader 2)");
    hist->add_option("--hmax", h->hmax, "fixed range: upper end (reader 2)");
    hist->add_option("--flagged", h->flagged, "0 leaves flagged records out (reader 2)")
        ->check(Whole(0, 1))->capture_default_str();
    hist->callback([&chosen, h] { chosen = [h](Report &report) { return RunHistogram(*h, report); }; });

    auto t = std::make_shared<TableOptions>();
    CLI::App *table = app.add_subcommand("fft-table", "percentile of a harmonic quantity per phase and position (Reader_FFT_Table1/2)");
    t->Add(*table, 1, 10, 2);
    table->add_option("--percentile", t->percentile, "the percentile, 0 to 1 (0.95: 95 %)")
        ->check(Fraction())->capture_default_str();
    table->add_option("--flagged", t->flagged, "0 leaves flagged records out (reader 2)")
        ->check(Whole(0, 1))->capture_default_str();
    table->callback([&chosen, t] { chosen = [t](Report &report) { return RunTable(*t, report); }; });
}

}  // namespace trova::cli
