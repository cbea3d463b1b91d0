// What the views of the trova command share: the recording and window
// options, the description of the recording, and one reader call with its
// progress bar and Ctrl-C.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "output.h"
#include "trova/describe.h"

namespace trova::cli {

// A failure to report in one line (exit status 1).
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The options every reader view takes.
struct CallOptions {
    std::string path;
    std::string from, to;  // seconds since 1904 or ISO 8601 UTC; empty: open
    double last = -1.0;    // the last seconds of the recording, when > 0
};

void AddCallOptions(CLI::App &command, CallOptions &options);

// A time option as seconds since 1904: a number (negative: open) or an ISO
// 8601 date and time in UTC ("2024-01-31", "2024-01-31T12:00:00Z").
// Throws CLI::ValidationError naming the option otherwise.
double ParseTime(const std::string &option, const std::string &text);

// Validator of time options, for --help and early errors.
CLI::Validator TimeValidator();

// Validators that name what was wrong: "abc is not a whole number from 0 to 127".
CLI::Validator Whole(long long low, long long high);
CLI::Validator Fraction();  // a number from 0 to 1

// The recording of PATH as the readers see it, with the window of the
// options; throws Failure saying what was searched and why nothing was
// found.
struct Recording {
    TrovaRecordingInfo info{};
    std::vector<TrovaFileInfo> files;
    double from = -1.0, to = -1.0;  // the window as the readers take it
};
Recording Describe(const CallOptions &options, int variant);

// The arguments of every reader call, for the report.
void DescribeCall(const CallOptions &options, const Recording &recording, Report &report);

// Runs one reader call: a progress bar on stderr when it is a terminal, and
// Ctrl-C asks the library to cancel (a second Ctrl-C ends at once with 130).
// `Interrupted` tells whether the user pressed Ctrl-C during the call.
class ReaderCall {
public:
    explicit ReaderCall(int passes = 1);
    ~ReaderCall();
    ReaderCall(const ReaderCall &) = delete;
    ReaderCall &operator=(const ReaderCall &) = delete;
    bool Interrupted() const;

private:
    bool bar_;
};

// What the readers take as writable strings: the dialog's title and
// button, and the path.
struct Labels {
    explicit Labels(const std::string &recordingPath)
        : path(recordingPath.c_str(), recordingPath.c_str() + recordingPath.size() + 1) {}
    char label[8] = "trova";
    char button[8] = "Cancel";
    std::vector<char> path;
};

// "status N (what it means)", the first note of every reader view.
std::string StatusLine(int status);

// The points of a trend series as a table: point, time, flags, then per
// channel or phase its minimum, maximum and mean (or one value when
// `lo` and `hi` are null), from arrays of `n` points per series.
template <class Flag>
Table SeriesTable(const char *axis, int series, int count, size_t n, const double *times,
                  const Flag *flags, const float *lo, const float *hi, const float *mean) {
    Table table{"points", {{"point", "point"}, {"time_utc", "time (UTC)"}, {"flags", "flags"}}, {}};
    for (int s = 0; s < series; ++s) {
        const std::string name = axis + std::to_string(s);
        if (lo == nullptr) {
            table.columns.push_back({name, name});
            continue;
        }
        for (const char *stat : {"min", "max", "mean"}) {
            table.columns.push_back({name + "_" + stat, name + " " + stat});
        }
    }
    for (size_t i = 0; i < size_t(count > 0 ? count : 0) && i < n; ++i) {
        std::vector<Cell> row{int64_t(i), Time{times[i] + times[n + i]}, int64_t(flags[i])};
        for (size_t s = 0; s < size_t(series); ++s) {
            if (lo != nullptr) row.push_back(lo[s * n + i]), row.push_back(hi[s * n + i]);
            row.push_back(mean[s * n + i]);
        }
        table.rows.push_back(std::move(row));
    }
    return table;
}

// The exit status of a view: 0 for status 0, 130 after Ctrl-C, 1 otherwise.
int ExitStatus(const Report &report, bool interrupted);

}  // namespace trova::cli
