// trova_soak: many reader calls in one process (scripts/soak.sh runs it in
// a release build for resident memory and under LeakSanitizer for leaks).
//
//   trova_soak [CALLS]     (default 10 000)
//
// Takes 130 seeded generated calls (all thirteen readers, recordings of
// both variants with damage, windows, codes and arguments) and makes them in
// turn: every seventh is cancelled at its first poll, every eleventh names a
// path the check refuses (empty, missing, a directory). A normal call must
// give, byte for byte, what the same call gave the first time; a cancelled
// one status 1 (or the status the normal call reported, or the normal call's
// outputs when its window has no file to poll); a refused one status 3.
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

#include "generated_calls.h"
#include "platform/posix/dialog_probe.h"
#include "trova/host.h"

namespace {

using namespace trova::calls;

struct Template {
    GeneratedCall call;
    Shape shape;
    Outcome reference;
};

long ResidentKiB() {
    long pages = 0, resident = 0;
    if (std::FILE *f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

bool gCancel = false, gPressed = false;

void PressCancelAtFirstPoll(int poll, HANDLE event) {
    if (!gCancel || poll != 0) return;
    gPressed = true;
    TrovaRequestCancel();
    for (int i = 0; i < 5000 && !trova::platform::probe::EventIsSignalled(event); ++i) usleep(200);
}

Outcome Run(const Template &t, std::string path) {
    return Call(LinkedReaders(), t.call.reader, t.call.args, path.data(), t.shape, 1);
}

bool Same(const Outcome &a, const Outcome &b) { return a.result == b.result && a.Bytes() == b.Bytes(); }

}  // namespace

int main(int argc, char **argv) {
    const int calls = argc > 1 ? std::atoi(argv[1]) : 10000;
    char pattern[] = "/tmp/trova-soak-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    mkdir((dir + "/a directory.001.dat").c_str(), 0700);
    TrovaSetLogDirectory(dir.c_str());  // the log is written too, as a host has it
    TrovaSetCompletionPause(0);

    std::vector<Template> templates;
    CallGenerator generator(7);
    for (int i = 0; i < 130; ++i) {
        Template t{generator.Next(dir), {}, {}};
        t.call.path = dir + "/" + t.call.path;
        t.shape = DescribeShape(LinkedReaders(), t.call.path.c_str(), InfoOf(t.call.reader).harmonic);
        t.reference = Run(t, t.call.path);
        templates.push_back(t);
    }
    const std::string refused[] = {"", dir + "/missing.001.dat", dir + "/a directory.001.dat"};

    int counts[3] = {}, failures = 0;  // normal, cancelled, refused
    long warmResident = 0, peakResident = 0;
    std::vector<long> samples;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        const Template &t = templates[size_t(i) % templates.size()];
        const int kind = i % 11 == 10 ? 2 : i % 7 == 6 ? 1 : 0;
        ++counts[kind];
        gCancel = kind == 1, gPressed = false;
        trova::platform::probe::SetPollHook(PressCancelAtFirstPoll);  // restarts the poll count
        const Outcome o = Run(t, kind == 2 ? refused[(i / 11) % 3] : t.call.path);
        const long long status = o.Int("Status"), first = t.reference.Int("Status");
        const bool ok = kind == 2   ? status == TROVA_READER_NO_FILES
                        : gPressed ? status == (first == 0 ? 1 : first)
                                   : Same(o, t.reference);
        if (!ok) {
            ++failures;
            std::printf("call %d (%s, %s): status %lld, first run %lld\n", i, t.call.name.c_str(),
                        kind == 0 ? "normal" : kind == 1 ? "cancelled" : "refused path", status, first);
        }
        if ((i + 1) % 500 == 0) {
            const long resident = ResidentKiB();
            samples.push_back(resident);
            if (i + 1 == 1000) warmResident = resident;
            if (i + 1 > 1000 && resident > peakResident) peakResident = resident;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    trova::platform::probe::SetPollHook(nullptr);
    std::system(("rm -rf '" + dir + "'").c_str());

    const long growth = peakResident > warmResident ? peakResident - warmResident : 0;
    std::printf("soak: %d calls in %.1f s (%d normal, %d cancelled, %d refused paths), "
                "%zu generated calls over 13 readers, %d failures\n",
                calls, seconds, counts[0], counts[1], counts[2], templates.size(), failures);
    std::printf("resident memory (KiB) every 500 calls:");
    for (long s : samples) std::printf(" %ld", s);
    std::printf("\nafter warm-up (call 1000): %ld KiB, peak later %ld KiB, growth %ld KiB\n",
                warmResident, peakResident, growth);
    const bool flat = std::getenv("TROVA_SOAK_NO_RSS_LIMIT") != nullptr || growth <= 1024;
    if (!flat) std::printf("resident memory grew by more than 1 MiB after warm-up\n");
    return failures == 0 && flat ? 0 : 1;
}
