// trova: the command-line face of the readers. One subcommand per view
// (info, xt, xt2, hist, fft-xt, fft-all, fft-hist, fft-table, sample,
// sample-harmonic); every view writes a table, CSV or JSON through one
// output layer. Exit status: 0 for reader status 0, 1 for another status
// or an error, 2 for a usage error, 130 after Ctrl-C.
#include <cstdio>

#include <CLI/CLI.hpp>

#include "common.h"
#include "output.h"
#include "trova/host.h"
#include "views.h"

int main(int argc, char **argv) {
    using namespace trova::cli;
    CLI::App app{"trova: read power-quality analyser recordings. PATH is any one file of a "
                 "recording; times are seconds since 1904-01-01 or ISO 8601 UTC dates.",
                 "trova"};
    app.require_subcommand(1);
    app.set_version_flag("--version", "trova 0.1.0");
    std::string format = "table", output, logDirectory;
    bool noLog = false;
    app.add_option("--format", format, "output: table, csv or json")
        ->check(CLI::IsMember({"table", "csv", "json"}))->capture_default_str();
    app.add_option("--output,-o", output, "write the output to FILE instead of standard output");
    app.add_option("--log", logDirectory, "write the diagnostic log TrovaDLL.LOG into DIR");
    app.add_flag("--no-log", noLog, "write no diagnostic log");
    app.fallthrough();

    View chosen;
    AddInfoViews(app, chosen);
    AddTrendViews(app, chosen);
    AddHarmonicTrendViews(app, chosen);
    AddHarmonicStatisticsViews(app, chosen);
    AddSampleCommands(app, chosen);

    // A first word that names no command is said as such, not as a missing one.
    bool known = argc < 2 || argv[1][0] == '-';
    std::string names;
    for (CLI::App *command : app.get_subcommands({})) {
        known = known || command->check_name(argv[1]);
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    if (!known) {
        std::fprintf(stderr, "trova: unknown command \"%s\": one of %s (see trova --help)\n",
                     argv[1], names.c_str());
        return 2;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        std::fprintf(stderr, "trova: %s (see trova --help)\n", e.what());
        return 2;
    }
    if (noLog) TrovaSetLogDirectory(nullptr);
    if (!logDirectory.empty()) TrovaSetLogDirectory(logDirectory.c_str());
    TrovaSetCompletionPause(0);

    Report report;
    int status = 0;
    try {
        status = chosen(report);
    } catch (const CLI::ValidationError &e) {
        std::fprintf(stderr, "trova: %s\n", e.what());
        return 2;
    } catch (const Failure &e) {
        std::fprintf(stderr, "trova: %s\n", e.what());
        return 1;
    }
    if (status < 0) return 0;  // a command with nothing to report
    std::FILE *out = stdout;
    if (!output.empty() && (out = std::fopen(output.c_str(), "w")) == nullptr) {
        std::fprintf(stderr, "trova: cannot write %s\n", output.c_str());
        return 1;
    }
    const Format f = format == "csv" ? Format::kCsv : format == "json" ? Format::kJson : Format::kTable;
    Write(report, f, out);
    if (out != stdout) std::fclose(out);
    return status;
}
