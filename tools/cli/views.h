// The views of the trova command, one registration per reader family. Each
// view adds its subcommand with its options and, when the subcommand is
// chosen, fills the Report that main() writes.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "output.h"

namespace trova::cli {

// Runs the chosen view; returns its exit status after filling `report`.
using View = std::function<int(Report &report)>;

// Each adds its subcommands to `app` and sets `chosen` when one is parsed.
void AddInfoViews(CLI::App &app, View &chosen);
void AddTrendViews(CLI::App &app, View &chosen);
void AddHarmonicTrendViews(CLI::App &app, View &chosen);
void AddHarmonicStatisticsViews(CLI::App &app, View &chosen);
void AddSampleCommands(CLI::App &app, View &chosen);

}  // namespace trova::cli
