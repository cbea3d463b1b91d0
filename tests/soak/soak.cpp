// trova_soak: many reader calls in one process (scripts/soak.sh runs it in
// a release build for resident memory and under LeakSanitizer for leaks).
//
//   trova_soak [CALLS]     (default 10 000)
//
// Writes two trend and two harmonic recordings, then calls the readers in
// turn: every reader on every recording of its variant with several windows
// and point counts; every seventh call is cancelled after its first file (if its window has one),
// every eleventh names a path the check refuses (empty, missing, a
// directory). A normal call must give, byte for byte, what the same call gave
// the first time; a cancelled one status 1 (or the later rule that the
// normal call reported); a refused one status 3 and the export's result.
// Resident memory is sampled every 500 calls; after the warm-up (the first
// 1000 calls) it must not grow by more than 1 MiB. Exit status 0 when every
// check holds.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/posix/dialog_probe.h"
#include "reader_calls.h"
#include "recording_writer.h"
#include "trova/host.h"

namespace {

using trova::fuzz::ReaderCall;
using trova::fuzz::ReaderOutcome;

struct Template {
    ReaderCall call;
    std::string path;
    ReaderOutcome reference;
};

long ResidentKiB() {
    long pages = 0, resident = 0;
    if (std::FILE *f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::vector<Template> Templates(const std::string &dir) {
    using namespace trova::rec;
    std::vector<std::pair<std::string, bool>> recordings;  // path, harmonic
    for (int r = 0; r < 4; ++r) {
        RecordingPlan plan;
        plan.stem = "rec" + std::to_string(r);
        plan.seed = 40 + uint64_t(r);
        plan.flags = everyKth(5, 2);
        const bool harmonic = r >= 2;
        if (harmonic) {
            plan.kind = Kind::Harmonic;
            plan.harmonic.channelCode = r == 2 ? 6 : 2;
            plan.harmonic.harmonics = r == 2 ? 25 : 12;
            plan.harmonic.powerBlock = r == 2;
        } else {
            plan.trend.channels = r == 0 ? 3 : 5;
        }
        for (int f = 0; f < 3; ++f) plan.add(30 + 10 * f, f ? 4.0 : 0.0);
        const RecordingInfo info = writeRecording(dir, plan);
        recordings.emplace_back(info.path(info.table().at(1)), harmonic);
    }
    std::vector<Template> templates;
    for (int kind = 1; kind <= 13; ++kind) {
        for (const auto &[path, harmonic] : recordings) {
            if (harmonic != (kind <= 10)) continue;
            for (int variant = 0; variant < 3; ++variant) {
                Template t;
                ReaderCall &c = t.call;
                c.kind = kind;
                c.quantity = 2 + variant;
                c.minMax = variant % 2;
                c.points = 10 + 40 * variant;
                c.harmonic = 2 + variant;
                c.firstHarmonic = variant == 2 ? 0 : 1;
                c.join = variant == 1;
                c.hMinMax = variant == 2;
                c.hMin = 0.0, c.hMax = 200.0;
                c.flagged = variant % 2;
                c.value = kind >= 11 ? 230.0f : 0.9f;
                // The whole recording, its middle, and a window whose stop
                // lies before its start.
                const double start = 3786825600.25;
                const double windows[3][2] = {{-1.0, -1.0}, {start + 20, start + 70}, {start + 60, start + 10}};
                c.tStart = windows[variant][0], c.tStop = windows[variant][1];
                t.path = path;
                templates.push_back(t);
            }
        }
    }
    return templates;
}

int gCancelPoll = -1;  // the poll at which the button is pressed, -1 for none
bool gPressed = false;

void PressCancelAtPoll(int poll, HANDLE event) {
    if (poll != gCancelPoll) return;
    gPressed = true;
    TrovaRequestCancel();
    for (int i = 0; i < 5000 && !trova::platform::probe::EventIsSignalled(event); ++i) usleep(200);
}

}  // namespace

int main(int argc, char **argv) {
    const int calls = argc > 1 ? std::atoi(argv[1]) : 10000;
    char pattern[] = "/tmp/trova-soak-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    mkdir((dir + "/a directory.001.dat").c_str(), 0700);
    TrovaSetLogDirectory(dir.c_str());  // the log is written too, as a host has it
    TrovaSetCompletionPause(0);
    trova::platform::probe::SetPollHook(PressCancelAtPoll);

    std::vector<Template> templates = Templates(dir);
    for (Template &t : templates) t.reference = trova::fuzz::CallReader(t.call, t.path.data());
    const std::string refused[] = {"", dir + "/missing.001.dat", dir + "/a directory.001.dat"};

    int normal = 0, cancelled = 0, refusedCalls = 0, failures = 0;
    long warmResident = 0, peakResident = 0;
    std::vector<long> samples;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        const Template &t = templates[size_t(i) % templates.size()];
        std::string path = t.path;
        if (i % 11 == 10) {
            path = refused[(i / 11) % 3];
            const ReaderOutcome o = trova::fuzz::CallReader(t.call, path.data());
            const int expectedResult = t.call.kind <= 7 && t.call.kind >= 4 ? 1 : 0;
            if (o.status != TROVA_READER_NO_FILES || o.result != expectedResult) {
                ++failures;
                std::printf("call %d: refused path '%s' gave status %lld result %d\n", i,
                            path.c_str(), o.status, o.result);
            }
            ++refusedCalls;
        } else if (i % 7 == 6) {
            gCancelPoll = 0, gPressed = false;
            trova::platform::probe::SetPollHook(PressCancelAtPoll);  // restarts the poll count
            const ReaderOutcome o = trova::fuzz::CallReader(t.call, path.data());
            gCancelPoll = -1;
            // A window of no file is never polled: the call runs to its end.
            const long long expected = !gPressed               ? t.reference.status
                                       : t.reference.status == 0 ? 1
                                                                 : t.reference.status;
            if (o.status != expected || (!gPressed && !(o == t.reference))) {
                ++failures;
                std::printf("call %d: kind %d cancelled gave status %lld, expected %lld\n", i,
                            t.call.kind, o.status, expected);
            }
            ++cancelled;
        } else {
            const ReaderOutcome o = trova::fuzz::CallReader(t.call, path.data());
            if (!(o == t.reference)) {
                ++failures;
                std::printf("call %d: kind %d on %s differs from its first run (status %lld, "
                            "first %lld)\n", i, t.call.kind, path.c_str(), o.status,
                            t.reference.status);
            }
            ++normal;
        }
        if ((i + 1) % 500 == 0) {
            const long resident = ResidentKiB();
            samples.push_back(resident);
            if (i + 1 == 1000) warmResident = resident;
            if (i + 1 > 1000 && resident > peakResident) peakResident = resident;
        }
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    trova::platform::probe::SetPollHook(nullptr);
    std::system(("rm -rf '" + dir + "'").c_str());

    const long growth = peakResident > warmResident ? peakResident - warmResident : 0;
    std::printf("soak: %d calls in %.1f s (%d normal, %d cancelled, %d refused paths), "
                "%zu call templates over 13 readers and 4 recordings, %d failures\n",
                calls, seconds, normal, cancelled, refusedCalls, templates.size(), failures);
    std::printf("resident memory (KiB) every 500 calls:");
    for (long s : samples) std::printf(" %ld", s);
    std::printf("\nafter warm-up (call 1000): %ld KiB, peak later %ld KiB, growth %ld KiB\n",
                warmResident, peakResident, growth);
    const bool flat = std::getenv("TROVA_SOAK_NO_RSS_LIMIT") != nullptr || growth <= 1024;
    if (!flat) std::printf("resident memory grew by more than 1 MiB after warm-up\n");
    return failures == 0 && flat ? 0 : 1;
}
