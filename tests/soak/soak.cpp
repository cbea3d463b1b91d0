// trova_soak [CALLS]: many reader calls in one process (default 10 000;
// scripts/soak.sh runs it in a release build for resident memory and under
// LeakSanitizer for leaks). It makes 130 seeded generated calls (all thirteen
// readers, recordings of both variants with damage, windows, codes and
// arguments) in turn: every seventh is cancelled at its first poll, every
// eleventh names a path the check refuses (empty, missing, a directory). A
// normal call must give, byte for byte, what it gave the first time; a
// cancelled one status 1 (or the status the first call reported; without a
// file to poll, the first call's outputs); a refused one status 3. After the
// warm-up (1000 calls) resident memory must not grow by more than 1 MiB.
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

}  // namespace

int main(int argc, char **argv) {
    const int calls = argc > 1 ? std::atoi(argv[1]) : 10000;
    char pattern[] = "/tmp/trova-soak-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    mkdir((dir + "/a directory.001.dat").c_str(), 0700);
    TrovaSetLogDirectory(dir.c_str());  // the log is written too, as a host has it
    TrovaSetCompletionPause(0);
    const Readers readers = LinkedReaders();
    const auto run = [&](const GeneratedCall &c, std::string path, const Shape &shape) {
        return Call(readers, c.reader, c.args, path.data(), shape, 1);
    };
    std::vector<GeneratedCall> generated;
    std::vector<Shape> shapes;
    std::vector<Outcome> first;
    CallGenerator generator(7);
    for (int i = 0; i < 130; ++i) {
        generated.push_back(generator.Next(dir));
        generated.back().path = dir + "/" + generated.back().path;
        shapes.push_back(DescribeShape(readers, generated.back().path.c_str(), InfoOf(generated.back().reader).harmonic));
        first.push_back(run(generated.back(), generated.back().path, shapes.back()));
    }
    const std::string refused[] = {"", dir + "/missing.001.dat", dir + "/a directory.001.dat"};

    int counts[3] = {}, failures = 0;  // normal, cancelled, refused
    long warm = 0, peak = 0;
    std::string samples;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        const size_t t = size_t(i) % generated.size();
        const int kind = i % 11 == 10 ? 2 : i % 7 == 6 ? 1 : 0;
        ++counts[kind];
        gCancel = kind == 1, gPressed = false;
        trova::platform::probe::SetPollHook(PressCancelAtFirstPoll);  // restarts the poll count
        const Outcome o = run(generated[t], kind == 2 ? refused[(i / 11) % 3] : generated[t].path, shapes[t]);
        const long long status = o.Int("Status"), was = first[t].Int("Status");
        const bool ok = kind == 2  ? status == TROVA_READER_NO_FILES
                        : gPressed ? status == (was == 0 ? 1 : was)
                                   : o.result == first[t].result && o.Bytes() == first[t].Bytes();
        if (!ok) {
            ++failures;
            std::printf("call %d (%s, %s): status %lld, first run %lld\n", i, generated[t].name.c_str(),
                        kind == 0 ? "normal" : kind == 1 ? "cancelled" : "refused path", status, was);
        }
        if ((i + 1) % 500 == 0) {
            const long resident = ResidentKiB();
            samples += " " + std::to_string(resident);
            warm = i + 1 == 1000 ? resident : warm;
            peak = i + 1 > 1000 ? std::max(peak, resident) : peak;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    trova::platform::probe::SetPollHook(nullptr);
    std::system(("rm -rf '" + dir + "'").c_str());

    const long growth = std::max(0L, peak - warm);
    std::printf("soak: %d calls in %.1f s (%d normal, %d cancelled, %d refused paths), "
                "%zu generated calls over 13 readers, %d failures\n",
                calls, seconds, counts[0], counts[1], counts[2], generated.size(), failures);
    std::printf("resident memory (KiB) every 500 calls:%s\n", samples.c_str());
    std::printf("after warm-up (call 1000): %ld KiB, peak later %ld KiB, growth %ld KiB\n", warm, peak, growth);
    const bool flat = std::getenv("TROVA_SOAK_NO_RSS_LIMIT") != nullptr || growth <= 1024;
    if (!flat) std::printf("resident memory grew by more than 1 MiB after warm-up\n");
    return failures == 0 && flat ? 0 : 1;
}
