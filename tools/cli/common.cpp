#include "common.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>
#include <thread>

#include "trova/host.h"

namespace trova::cli {
namespace {

constexpr double kSecondsFrom1904To1970 = 2082844800.0;

// ---- Ctrl-C: the handler only writes a byte; a watcher thread cancels. ----
int gWake[2] = {-1, -1};
std::atomic<int> gInterrupts{0};

void OnInterrupt(int) {
    if (gInterrupts.fetch_add(1) > 0) _exit(130);  // the second Ctrl-C: at once
    const char byte = 'c';
    [[maybe_unused]] ssize_t n = write(gWake[1], &byte, 1);
}

void Watch() {
    for (;;) {
        char byte = 0;
        const ssize_t n = read(gWake[0], &byte, 1);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0 || byte == 'q') return;
        TrovaRequestCancel();
    }
}

std::thread gWatcher;
struct sigaction gPrevious;
int gPasses = 1;

void DrawBar(int progressTotal, void *) {
    const int percent = std::max(0, std::min(100, progressTotal / gPasses));
    const int filled = percent * 30 / 100;
    std::fprintf(stderr, "\r[%s%s] %3d %%", std::string(size_t(filled), '#').c_str(),
                 std::string(size_t(30 - filled), '.').c_str(), percent);
}

std::string SearchText(const TrovaRecordingInfo &info) {
    return std::string(info.pattern) + " (directory " + info.directory + ", stem \"" + info.stem +
           "\", extension \"" + info.extension + "\")";
}

}  // namespace

void AddCallOptions(CLI::App &command, CallOptions &options) {
    command.add_option("PATH", options.path, "any one file of the recording")->required();
    command.add_option("--from", options.from,
                       "window start: seconds since 1904 or ISO 8601 UTC (negative: open)")
        ->check(TimeValidator());
    command.add_option("--to", options.to, "window end, as --from")->check(TimeValidator());
    command.add_option("--last", options.last, "the last SECONDS of the recording")
        ->check(CLI::PositiveNumber)
        ->excludes("--from");
}

double ParseTime(const std::string &option, const std::string &text) {
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (!text.empty() && *end == '\0' && !std::isnan(seconds)) return seconds;
    std::tm tm{};
    int millis = 0;
    const char *rest = strptime(text.c_str(), "%Y-%m-%d", &tm);
    if (rest != nullptr && (*rest == 'T' || *rest == ' ')) {
        rest = strptime(rest + 1, "%H:%M", &tm);
        if (rest != nullptr && *rest == ':') rest = strptime(rest + 1, "%S", &tm);
        if (rest != nullptr && *rest == '.') {
            int digits = 0;
            for (++rest; *rest >= '0' && *rest <= '9'; ++rest, ++digits) {
                if (digits < 3) millis = millis * 10 + (*rest - '0');
            }
            for (; digits < 3; ++digits) millis *= 10;
        }
    }
    if (rest != nullptr && *rest == 'Z') ++rest;
    if (rest == nullptr || *rest != '\0') {
        throw CLI::ValidationError(option, "\"" + text + "\" is not a time: give seconds since "
                                           "1904-01-01 or an ISO 8601 UTC date such as "
                                           "2024-01-31 or 2024-01-31T12:00:00Z");
    }
    return static_cast<double>(timegm(&tm)) + kSecondsFrom1904To1970 + millis / 1000.0;
}

CLI::Validator TimeValidator() {
    return CLI::Validator(
        [](std::string &text) {
            try {
                ParseTime("", text);
            } catch (const CLI::ValidationError &) {
                return "\"" + text + "\" is not a time: give seconds since 1904-01-01 or an ISO "
                       "8601 UTC date such as 2024-01-31T12:00:00Z";
            }
            return std::string();
        },
        "TIME");
}

CLI::Validator Whole(long long low, long long high) {
    const std::string range = std::to_string(low) + " to " + std::to_string(high);
    return CLI::Validator(
        [low, high, range](std::string &text) {
            char *end = nullptr;
            errno = 0;
            const long long value = std::strtoll(text.c_str(), &end, 10);
            if (text.empty() || *end != '\0' || errno != 0 || value < low || value > high) {
                return "\"" + text + "\" is not a whole number from " + range;
            }
            return std::string();
        },
        "INT " + range);
}

CLI::Validator Fraction() {
    return CLI::Validator(
        [](std::string &text) {
            char *end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0' || !(value >= 0.0 && value <= 1.0)) {
                return "\"" + text + "\" is not a number from 0 to 1 (0.95 for 95 %)";
            }
            return std::string();
        },
        "0..1");
}

Recording Describe(const CallOptions &options, int variant) {
    const std::string &path = options.path;
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        throw Failure(path + " is a directory: give one file of a recording");
    }
    Recording r;
    r.from = options.from.empty() ? -1.0 : ParseTime("--from", options.from);
    r.to = options.to.empty() ? -1.0 : ParseTime("--to", options.to);
    for (int round = 0; round < 2; ++round) {
        r.files.assign(r.files.size() > 0 ? r.files.size() : 64, TrovaFileInfo{});
        const int code = TrovaDescribeRecording(path.c_str(), variant, r.from, r.to, &r.info,
                                                r.files.data(), int(r.files.size()));
        if (code == TROVA_DESCRIBE_NO_RECORDING) {
            throw Failure(path + " names no recording: a recording file needs a directory, a "
                                 "name with an extension, and at most 255 bytes in all");
        }
        if (code == TROVA_DESCRIBE_NO_FILES) {
            const char *kind = variant == TROVA_VARIANT_HARMONIC ? "harmonic "
                               : variant == TROVA_VARIANT_TREND  ? "trend "
                                                                 : "";
            if (r.info.matchedCount == 0) {
                throw Failure("no recording at " + path + ": no file matches " +
                              SearchText(r.info));
            }
            throw Failure("no recording at " + path + ": " + std::to_string(r.info.matchedCount) +
                          " file(s) match " + SearchText(r.info) + ", but none is a usable " +
                          kind + "recording file (malformed header, no records or rejected times)");
        }
        if (code != TROVA_DESCRIBE_OK) throw Failure("cannot describe " + path + ": out of memory");
        if (r.info.fileCount > int(r.files.size())) {
            r.files.resize(size_t(r.info.fileCount));
            continue;
        }
        r.files.resize(size_t(r.info.fileCount));
        // The last seconds: the window ends with the recording.
        if (options.last > 0 && round == 0) {
            r.from = r.info.lastTime - options.last;
            continue;
        }
        break;
    }
    TrovaForgetRecording();  // the reader call sized from this reads the files as described
    if (access(path.c_str(), R_OK) != 0) {
        throw Failure("cannot read " + path + ": " + std::strerror(errno));
    }
    return r;
}

void DescribeCall(const CallOptions &options, const Recording &recording, Report &report) {
    report.arguments["path"] = options.path;
    report.arguments["from"] = recording.from < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(IsoTime(recording.from));
    report.arguments["to"] = recording.to < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(IsoTime(recording.to));
    report.arguments["TStart"] = recording.from;
    report.arguments["TStop"] = recording.to;
}

ReaderCall::ReaderCall(int passes) : bar_(isatty(STDERR_FILENO) != 0) {
    gPasses = passes < 1 ? 1 : passes;
    gInterrupts.store(0);
    if (pipe(gWake) == 0) {
        gWatcher = std::thread(Watch);
        struct sigaction action {};
        action.sa_handler = OnInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &gPrevious);
    }
    TrovaSetProgressCallback(bar_ ? DrawBar : nullptr, nullptr);
}

ReaderCall::~ReaderCall() {
    TrovaSetProgressCallback(nullptr, nullptr);
    if (bar_) std::fprintf(stderr, "\r%40s\r", "");
    if (gWatcher.joinable()) {
        sigaction(SIGINT, &gPrevious, nullptr);
        const char quit = 'q';
        [[maybe_unused]] ssize_t n = write(gWake[1], &quit, 1);
        gWatcher.join();
        close(gWake[0]);
        close(gWake[1]);
    }
}

bool ReaderCall::Interrupted() const { return gInterrupts.load() > 0; }

std::string StatusLine(int status) {
    return "status " + std::to_string(status) + " (" + StatusMeaning(status) + ")";
}

int ExitStatus(const Report &report, bool interrupted) {
    if (interrupted) return 130;
    return report.called && report.status == 0 ? 0 : 1;
}

}  // namespace trova::cli
