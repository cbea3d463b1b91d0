// info (alias table): what the describe call reports; sample and
// sample-harmonic: the demo's recordings.
#include <memory>

#include "common.h"
#include "sample_recording.h"
#include "views.h"

namespace trova::cli {
namespace {

int RunInfo(const CallOptions &o, const std::string &variantName, Report &report) {
    const int variant = variantName == "trend"      ? TROVA_VARIANT_TREND
                        : variantName == "harmonic" ? TROVA_VARIANT_HARMONIC
                                                    : TROVA_VARIANT_AUTO;
    const Recording r = Describe(o, variant);
    const TrovaRecordingInfo &i = r.info;
    const bool trend = i.variant == TROVA_VARIANT_TREND;
    report.command = "info";
    DescribeCall(o, r, report);
    report.arguments["variant"] = variantName;
    report.summary = {{"variant", trend ? "trend" : "harmonic"},
                      {"pattern", i.pattern},
                      {"files", i.fileCount},
                      {"matched_files", i.matchedCount},
                      {"records", i.totalRecords},
                      {"first_time_utc", IsoTime(i.firstTime)},
                      {"last_time_utc", IsoTime(i.lastTime)},
                      {"span_s", i.lastTime - i.firstTime},
                      {"channel_code", i.channelCode},
                      {"window_records", i.windowRecords},
                      {"window_samples", i.windowSamples}};
    if (trend) {
        report.summary["channels"] = i.channelCount;
        report.summary["blocks"] = i.statCount;
        report.summary["scalar_quantities"] = i.scalarCount;
        report.summary["channel_quantities"] = i.phaseQuantityCount;
        report.summary["reference_quantity"] = i.refQuantity;
    } else {
        report.summary["phases"] = i.phaseCount;
        report.summary["harmonics"] = i.harmonicCount;
        report.summary["power_block"] = i.powerBlock != 0;
    }
    report.notes.push_back(std::string(trend ? "trend" : "harmonic") + " recording " + i.pattern +
                           ": " + std::to_string(i.fileCount) + " file(s) of " +
                           std::to_string(i.matchedCount) + " matching, " +
                           std::to_string(i.totalRecords) + " record(s)");
    report.notes.push_back("from " + IsoTime(i.firstTime) + " to " + IsoTime(i.lastTime));
    report.notes.push_back(
        trend ? "channels " + std::to_string(i.channelCount) + " (count " +
                    std::to_string(int32_t(i.channelCode)) + "), blocks " +
                    std::to_string(i.statCount) + ", scalar quantities " +
                    std::to_string(i.scalarCount) + ", per-channel quantities " +
                    std::to_string(i.phaseQuantityCount) + ", reference quantity " +
                    std::to_string(i.refQuantity)
              : "phases " + std::to_string(i.phaseCount) + " (code " +
                    std::to_string(int32_t(i.channelCode)) + "), harmonics " +
                    std::to_string(i.harmonicCount) + ", power block " +
                    (i.powerBlock ? "yes" : "no"));
    if (r.from >= 0 || r.to >= 0) {
        report.notes.push_back("window: " + std::to_string(i.windowRecords) + " record(s), " +
                               std::to_string(i.windowSamples) + " for the trend series");
    }
    Table files{"files", {{"file", "file"}, {"records", "records"}, {"record_bytes", "R"},
                          {"header_bytes", "D"}, {"first_utc", "first"}, {"last_utc", "last"},
                          {"gap_before_s", "gap before (s)"}}, {}};
    if (!trend) files.columns.push_back({"harmonics", "H"});
    for (size_t f = 0; f < r.files.size(); ++f) {
        const TrovaFileInfo &e = r.files[f];
        const std::string path = e.path;
        const size_t slash = path.rfind('/');
        Cell gap;
        if (f > 0) gap = e.firstTime - r.files[f - 1].lastTime;
        files.rows.push_back({slash == std::string::npos ? path : path.substr(slash + 1),
                              int64_t(e.recordCount), int64_t(e.recordSize),
                              int64_t(e.headerSize), Time{e.firstTime}, Time{e.lastTime}, gap});
        if (!trend) files.rows.back().push_back(int64_t(e.harmonicCount));
    }
    report.tables.push_back(std::move(files));
    return 0;
}

}  // namespace

void AddInfoViews(CLI::App &app, View &chosen) {
    auto o = std::make_shared<CallOptions>();
    auto variant = std::make_shared<std::string>("auto");
    CLI::App *info = app.add_subcommand("info", "what a recording holds: files, records, channels or phases, harmonics, time span");
    info->alias("table");
    AddCallOptions(*info, *o);
    info->add_option("--variant", *variant, "header variant")
        ->check(CLI::IsMember({"auto", "trend", "harmonic"}))->capture_default_str();
    info->callback([&chosen, o, variant] {
        chosen = [o, variant](Report &report) { return RunInfo(*o, *variant, report); };
    });
}

void AddSampleCommands(CLI::App &app, View &chosen) {
    auto directory = std::make_shared<std::string>();
    for (const bool harmonic : {false, true}) {
        CLI::App *sample = app.add_subcommand(
            harmonic ? "sample-harmonic" : "sample",
            harmonic ? "write the demo's sample harmonic recording into DIR"
                     : "write the demo's sample trend recording into DIR");
        sample->add_option("DIR", *directory, "directory to write into")->required();
        sample->callback([&chosen, directory, harmonic] {
            chosen = [directory, harmonic](Report &) {
                std::string written;
                if (!(harmonic ? rec::WriteSampleHarmonicRecording(*directory, written)
                               : rec::WriteSampleTrendRecording(*directory, written))) {
                    throw Failure("cannot write a sample recording into " + *directory);
                }
                std::printf("%s\n", written.c_str());
                return -1;  // nothing to report
            };
        });
    }
}

}  // namespace trova::cli
