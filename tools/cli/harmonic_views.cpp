// fft-xt and fft-all: the trend of one harmonic quantity, and of a whole
// spectrum, per phase.
#include <cmath>
#include <memory>

#include "harmonic_options.h"
#include "trova/readers.h"
#include "views.h"

namespace trova::cli {
namespace {

constexpr int kSpectrumPoints = 100;  // the all-harmonics readers' point count
constexpr int kMostPositions = 4096;  // what this tool allocates for per phase

// Phases a harmonic trend delivers: one for the scalar quantity and where a
// code was replaced (statuses 4 and 5), the recording's otherwise.
int TrendPhases(const Recording &r, int quantity, int status) {
    if (quantity == 1 || status == TROVA_READER_BAD_QUANTITY ||
        status == TROVA_READER_NO_POWER_BLOCK) {
        return 1;
    }
    return HarmonicOptions::Phases(r);
}

struct TrendOptions : HarmonicOptions {
    int points = 12;
};

int RunTrend(const TrendOptions &o, Report &report) {
    const Recording r = o.Begin(report, "fft-xt", "Reader_FFT_XT", true);
    const int reader = o.reader;
    report.arguments["Harmonic"] = o.harmonic;
    report.arguments["Points"] = o.points;
    const size_t n = size_t(o.points), phases = size_t(HarmonicOptions::Phases(r));
    std::vector<float> lo(phases * n), hi(phases * n), mean(phases * n);
    std::vector<double> times(2 * n);
    std::vector<trova_long> flags(n);
    trova_long points = o.points, factor = 0, status = -1;
    Labels labels(o.call.path);
    ReaderCall call;
    int count = 0;
    if (reader == 3) {
        count = Reader_FFT_XT3(o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(),
                               &points, mean.data(), times.data(), flags.data(), o.harmonic,
                               &factor, labels.button, o.reference, o.join, &status);
    } else {
        count = (reader == 1 ? Reader_FFT_XT1 : Reader_FFT_XT2)(
            o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(), &points, lo.data(),
            hi.data(), mean.data(), times.data(), flags.data(), o.harmonic, &factor,
            labels.button, o.reference, o.join, &status);
    }
    report.called = true;
    report.status = int(status), report.result = count;
    if (reader == 1) count += 1;  // Reader_FFT_XT1 returns the index of its last point
    report.summary = {{"points", count}, {"interleave_factor", factor}};
    report.notes.push_back(StatusLine(int(status)) + ", " + report.reader + ", quantity " + std::to_string(o.quantity) +
                           " at position " + std::to_string(o.harmonic) + ", " +
                           std::to_string(count) + " point(s), " + std::to_string(factor) +
                           (reader == 3 ? " record(s) per value (0: every record)"
                                        : " record(s) per point"));
    const int used = TrendPhases(r, o.quantity, int(status));
    const bool decimated = reader == 3;
    Table table = SeriesTable("phase", used, count, n, times.data(), flags.data(),
                              decimated ? nullptr : lo.data(), decimated ? nullptr : hi.data(),
                              mean.data());
    report.tables.push_back(std::move(table));
    return ExitStatus(report, call.Interrupted());
}

struct SpectrumOptions : HarmonicOptions {
    int matrix = 0;
    int columns = 8;
};

int RunSpectrum(const SpectrumOptions &o, Report &report) {
    const Recording r = o.Begin(report, "fft-all", "Reader_FFT_ALL_Harmonics_XT", false);
    const int reader = o.reader;
    const int rows = HarmonicOptions::MostPositions(r);
    if (rows > kMostPositions) {
        throw Failure(std::to_string(rows) + " harmonic positions are more than this tool shows (" +
                      std::to_string(kMostPositions) + ")");
    }
    // Each value array holds 100 points per position of the largest harmonic
    // count among the files: four phases, three statistics (one when decimated).
    std::vector<std::vector<float>> arrays(12, std::vector<float>(size_t(rows) * kSpectrumPoints, NAN));
    std::vector<double> times(2 * kSpectrumPoints);
    std::vector<trova_long> flags(kSpectrumPoints);
    trova_long factor = 0, status = -1, harmCount = 0;
    float *v[12];
    for (size_t i = 0; i < 12; ++i) v[i] = arrays[i].data();
    Labels labels(o.call.path);
    ReaderCall call;
    int count = 0;
    if (reader == 3) {
        count = Reader_FFT_ALL_Harmonics_XT3(o.quantity, o.MinMax(), r.from, r.to, labels.label,
                                             labels.path.data(), v[0], v[1], v[2], v[3], times.data(),
                                             flags.data(), &factor, labels.button, o.reference,
                                             o.join, &status, &harmCount);
    } else {
        count = (reader == 1 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(
            o.quantity, o.MinMax(), r.from, r.to, labels.label, labels.path.data(), v[0], v[1], v[2],
            v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], times.data(), flags.data(),
            &factor, labels.button, o.reference, o.join, &status, &harmCount);
    }
    report.called = true;
    report.status = int(status), report.result = count;
    if (reader == 1) count += 1;
    report.summary = {{"points", count}, {"interleave_factor", factor}, {"harmonic_count", harmCount}};
    report.notes.push_back(StatusLine(int(status)) + ", " + report.reader + ", quantity " + std::to_string(o.quantity) +
                           ", " + std::to_string(harmCount) + " position(s), " +
                           std::to_string(count) + " point(s)");
    if (count > 0) {
        report.notes.push_back("from " + IsoTime(times[0] + times[kSpectrumPoints]) + " to " +
                               IsoTime(times[size_t(count - 1)] + times[size_t(kSpectrumPoints + count - 1)]));
    }
    const int phases = HarmonicOptions::Phases(r);
    const int positions = std::min(rows, std::max(0, int(harmCount)));
    // Reader 3 gives one value array per phase; the others min, max, mean.
    auto array = [&](int p, int which) -> const std::vector<float> & {
        return arrays[size_t(reader == 3 ? p : 3 * p + which)];
    };
    // The spectrum over the window: per phase and position the smallest,
    // mean and largest value of the points.
    Table spectrum{"spectrum", {{"phase", "phase"}, {"position", "position"}, {"min", "min"},
                                {"mean", "mean"}, {"max", "max"}}, {}};
    for (int p = 0; p < phases; ++p) {
        for (int j = 0; j < positions; ++j) {
            float least = INFINITY, most = -INFINITY;
            double sum = 0.0;
            int taken = 0;
            for (int i = 0; i < count && i < kSpectrumPoints; ++i) {
                const size_t at = size_t(j) * kSpectrumPoints + size_t(i);
                if (std::isnan(array(p, 2)[at])) continue;  // a point this position did not reach
                least = std::min(least, array(p, 0)[at]);
                most = std::max(most, array(p, 1)[at]);
                sum += array(p, 2)[at];
                ++taken;
            }
            if (taken == 0) {
                spectrum.rows.push_back({int64_t(p), int64_t(j), {}, {}, {}});
            } else {
                spectrum.rows.push_back({int64_t(p), int64_t(j), least, sum / taken, most});
            }
        }
    }
    report.tables.push_back(std::move(spectrum));
    if (o.matrix) {
        // Every point of every position: the values the reader delivered.
        Table points{"points", {{"phase", "phase"}, {"position", "position"}, {"point", "point"},
                                {"time_utc", "time (UTC)"}, {"value", reader == 3 ? "value" : "mean"}}, {}};
        const int step = std::max(1, count / std::max(1, o.columns));
        for (int p = 0; p < phases; ++p) {
            for (int j = 0; j < positions; ++j) {
                for (int i = 0; i < count && i < kSpectrumPoints; i += step) {
                    points.rows.push_back({int64_t(p), int64_t(j), int64_t(i),
                                           Time{times[size_t(i)] + times[size_t(kSpectrumPoints + i)]},
                                           array(p, 2)[size_t(j) * kSpectrumPoints + size_t(i)]});
                }
            }
        }
        report.tables.push_back(std::move(points));
    }
    return ExitStatus(report, call.Interrupted());
}

}  // namespace

void AddHarmonicTrendViews(CLI::App &app, View &chosen) {
    auto t = std::make_shared<TrendOptions>();
    CLI::App *xt = app.add_subcommand("fft-xt", "trend of one harmonic quantity per phase (Reader_FFT_XT1/2/3)");
    t->Add(*xt, 2, 17, 3);
    xt->add_option("--harmonic", t->harmonic, "harmonic position")->check(Whole(0, 2147483647))
        ->capture_default_str();
    xt->add_option("--points", t->points, "points per phase")->check(Whole(1, 10000000))
        ->capture_default_str();
    xt->callback([&chosen, t] {
        if (t->reader != 3 && t->quantity > 13) {
            throw CLI::ValidationError("--quantity", "codes 14 to 17 need --reader 3; readers 1 "
                                                     "and 2 take 1 to 13");
        }
        chosen = [t](Report &report) { return RunTrend(*t, report); };
    });
    auto s = std::make_shared<SpectrumOptions>();
    CLI::App *all = app.add_subcommand("fft-all", "trend of a whole harmonic spectrum, as the spectrum over the window (Reader_FFT_ALL_Harmonics_XT1/2/3)");
    s->Add(*all, 9, 10, 3);
    all->add_option("--matrix", s->matrix, "1: also the points of every position")
        ->check(Whole(0, 1))->capture_default_str();
    all->add_option("--columns", s->columns, "points per position shown with --matrix 1")
        ->check(Whole(1, 100))->capture_default_str();
    all->callback([&chosen, s] { chosen = [s](Report &report) { return RunSpectrum(*s, report); }; });
}

}  // namespace trova::cli
