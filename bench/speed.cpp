// What a reader call costs against reading its bytes. Writes a trend and a
// harmonic recording (default 256 MiB each, 8 files), then in one process
// measures, interleaved round by round:
//   raw    reading the same files whole into one reused buffer, and in
//          1 MiB pieces into one reused 1 MiB buffer (the scan's reads),
//   cached each of the thirteen readers over the whole recording, the file
//          table built by an earlier call,
//   first  the same call right after the table was dropped,
// and each call's peak resident-memory increase (Linux: the high-water mark
// reset through /proc/self/clear_refs before the call). Prints medians in
// MB/s and the ratio reader/raw (two-pass readers also per pass; /1MiB is
// the per-pass ratio against the reads in pieces).
//
//   trova_speed [--size MiB] [--files N] [--rounds N] [--dir DIR] [--only NAME]
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "files/file_table.h"
#include "recording_writer.h"
#include "trova/host.h"
#include "trova/readers.h"

namespace {

struct Options {
    int64_t sizeMiB = 256;
    int files = 8;
    int rounds = 5;
    std::string dir;
    std::string only;
};

struct Recording {
    std::string path;  // PathFile of the first member
    std::vector<std::string> files;
    int64_t bytes = 0;
};

// The recording of `kind` with `files` members of about size/files bytes.
Recording Write(const std::string &dir, trova::rec::Kind kind, const Options &o) {
    trova::rec::RecordingPlan plan;
    plan.kind = kind;
    plan.trend.channels = 3;
    plan.trend.scalars = 2;
    plan.trend.perChannel = 4;
    plan.harmonic.channelCode = 6;
    plan.harmonic.harmonics = 50;
    trova::rec::RecordingPlan probe = plan;
    probe.add(1);
    const int64_t recordLength = trova::rec::buildRecording(probe).info.files[0].recordLength;
    const int64_t perFile = o.sizeMiB * 1024 * 1024 / o.files;
    for (int f = 0; f < o.files; ++f) plan.add(static_cast<int>(perFile / recordLength));
    Recording r;
    const trova::rec::RecordingInfo info = trova::rec::writeRecording(dir, plan);
    for (const auto &file : info.table()) {
        r.files.push_back(info.path(file));
        r.bytes += static_cast<int64_t>(file.fileSize);
    }
    r.path = r.files[0];
    return r;
}

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Resident kB from /proc/self/status ("VmHWM" or "VmRSS"); 0 elsewhere.
long StatusKb(const char *key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    const size_t n = std::strlen(key);
    while (std::getline(in, line)) {
        if (line.compare(0, n, key) == 0 && line.size() > n && line[n] == ':') {
            return std::atol(line.c_str() + n + 1);
        }
    }
    return 0;
}

void ResetPeak() {
    std::ofstream out("/proc/self/clear_refs");
    out << "5";
}

struct Sample {
    double seconds;
    long peakKb;  // peak resident increase during the call
};

Sample Measure(const std::function<void()> &call) {
    ResetPeak();
    const long before = StatusKb("VmRSS");
    const double t0 = Now();
    call();
    const double t1 = Now();
    const long peak = StatusKb("VmHWM") - before;
    return {t1 - t0, peak < 0 ? 0 : peak};
}

// The raw read: every file into one buffer kept across rounds, whole
// (`piece` 0) or in pieces of `piece` bytes (the size of the scan's chunks:
// the same reads a reader makes, into memory that stays in the cache).
void ReadRaw(const Recording &r, std::vector<char> &buffer, size_t piece = 0) {
    for (const std::string &name : r.files) {
        std::FILE *f = std::fopen(name.c_str(), "rb");
        if (f == nullptr) continue;
        std::fseek(f, 0, SEEK_END);
        const long length = std::ftell(f);
        std::fseek(f, 0, SEEK_SET);
        const size_t step = piece == 0 ? static_cast<size_t>(length) : piece;
        if (buffer.size() < step) buffer.resize(step);
        for (long done = 0; done < length; done += static_cast<long>(step)) {
            const size_t want = std::min(step, static_cast<size_t>(length - done));
            if (std::fread(buffer.data(), 1, want, f) != want) {
                std::fprintf(stderr, "short read of %s\n", name.c_str());
                break;
            }
        }
        std::fclose(f);
    }
}

struct Reader {
    const char *name;
    const Recording *recording;
    int passes;
    std::function<long()> call;  // returns *Status
    std::vector<Sample> cached, first;
};

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n == 0 ? 0.0 : (n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]));
}

// Output arrays large enough for every call below.
struct Outputs {
    std::vector<float> f = std::vector<float>(1 << 20);
    std::vector<float> g[12];
    std::vector<double> times = std::vector<double>(1 << 16);
    std::vector<double> d1 = std::vector<double>(1024), d2 = std::vector<double>(1024);
    std::vector<int> flags = std::vector<int>(1 << 16);
    std::vector<trova_long> lflags = std::vector<trova_long>(1 << 16);
    std::vector<trova_long> counts = std::vector<trova_long>(1 << 16);
    std::vector<trova_long> l1 = std::vector<trova_long>(1024), l2 = std::vector<trova_long>(1024);
    Outputs() {
        for (auto &a : g) a.assign(1 << 16, 0.0f);
    }
};

std::vector<Reader> MakeReaders(const Recording &trend, const Recording &harm, Outputs &o) {
    static char label[] = "bench", button[] = "stop";
    std::vector<Reader> readers;
    auto add = [&](const char *name, const Recording &r, int passes, std::function<long()> call) {
        readers.push_back(Reader{name, &r, passes, std::move(call), {}, {}});
    };
    char *tp = const_cast<char *>(trend.path.c_str());
    char *hp = const_cast<char *>(harm.path.c_str());
    add("Reader_XT", trend, 1, [&o, tp] {
        int points = 1000, factor = 0, status = -1;
        Reader_XT(3, 1, -1.0, -1.0, 0.0f, label, tp, &points, o.f.data(), o.g[0].data(),
                  o.g[1].data(), o.times.data(), o.flags.data(), &factor, button, &status);
        return long{status};
    });
    add("Reader_XT2", trend, 1, [&o, tp] {
        int points = 1000, factor = 0, status = -1;
        Reader_XT2(3, 1, -1.0, -1.0, 0.0f, label, tp, &points, o.f.data(), o.times.data(),
                   o.flags.data(), &factor, button, &status);
        return long{status};
    });
    add("Reader_HIST", trend, 2, [&o, tp] {
        trova_long status = -1, flagged = 0, total = 0;
        Reader_HIST(3, 1, -1.0, -1.0, 0.0f, label, tp, o.d1.data(), o.d2.data(), o.counts.data(),
                    button, &status, 0, 0.0, 0.0, o.l1.data(), o.l2.data(), 0, &flagged, &total);
        return long{status};
    });
    using FftXt = int (*)(int, int, double, double, char *, char *, trova_long *, float *, float *,
                          float *, double *, trova_long *, trova_long, trova_long *, char *,
                          trova_long, trova_long, trova_long *);
    const std::pair<const char *, FftXt> xts[] = {{"Reader_FFT_XT1", Reader_FFT_XT1},
                                                  {"Reader_FFT_XT2", Reader_FFT_XT2}};
    for (const auto &xt : xts) {
        FftXt fn = xt.second;
        add(xt.first, harm, 1, [&o, hp, fn] {
            trova_long points = 1000, factor = 0, status = -1;
            fn(8, 1, -1.0, -1.0, label, hp, &points, o.f.data(), o.g[0].data(), o.g[1].data(),
               o.times.data(), o.lflags.data(), 5, &factor, button, 1, 0, &status);
            return long{status};
        });
    }
    add("Reader_FFT_XT3", harm, 1, [&o, hp] {
        trova_long points = 1000, factor = 0, status = -1;
        Reader_FFT_XT3(8, 1, -1.0, -1.0, label, hp, &points, o.f.data(), o.times.data(),
                       o.lflags.data(), 5, &factor, button, 1, 0, &status);
        return long{status};
    });
    using FftAll = int (*)(int, int, double, double, char *, char *, float *, float *, float *,
                           float *, float *, float *, float *, float *, float *, float *, float *,
                           float *, double *, trova_long *, trova_long *, char *, trova_long,
                           trova_long, trova_long *, trova_long *);
    const std::pair<const char *, FftAll> alls[] = {
        {"Reader_FFT_ALL_Harmonics_XT1", Reader_FFT_ALL_Harmonics_XT1},
        {"Reader_FFT_ALL_Harmonics_XT2", Reader_FFT_ALL_Harmonics_XT2}};
    for (const auto &all : alls) {
        FftAll fn = all.second;
        add(all.first, harm, 1, [&o, hp, fn] {
            trova_long factor = 0, status = -1, harmCount = 0;
            float *g[12];
            for (int i = 0; i < 12; ++i) g[i] = o.g[i].data();
            fn(3, 1, -1.0, -1.0, label, hp, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8],
               g[9], g[10], g[11], o.times.data(), o.lflags.data(), &factor, button, 1, 0,
               &status, &harmCount);
            return long{status};
        });
    }
    add("Reader_FFT_ALL_Harmonics_XT3", harm, 1, [&o, hp] {
        trova_long factor = 0, status = -1, harmCount = 0;
        Reader_FFT_ALL_Harmonics_XT3(3, 1, -1.0, -1.0, label, hp, o.g[0].data(), o.g[1].data(),
                                     o.g[2].data(), o.g[3].data(), o.times.data(),
                                     o.lflags.data(), &factor, button, 1, 0, &status, &harmCount);
        return long{status};
    });
    add("Reader_FFT_HIST1", harm, 2, [&o, hp] {
        trova_long status = -1;
        Reader_FFT_HIST1(3, 1, -1.0, -1.0, label, hp, o.d1.data(), o.d2.data(), o.counts.data(), 5,
                         button, 1, 0, &status);
        return long{status};
    });
    add("Reader_FFT_HIST2", harm, 2, [&o, hp] {
        trova_long status = -1, flagged = 0, total = 0;
        Reader_FFT_HIST2(2, 1, -1.0, -1.0, label, hp, o.d1.data(), o.d2.data(), o.counts.data(), 5,
                         button, 1, 0, &status, 0, 0.0, 0.0, o.l1.data(), o.l2.data(), 0, &flagged,
                         &total);
        return long{status};
    });
    add("Reader_FFT_Table1", harm, 2, [&o, hp] {
        trova_long status = -1, harmCount = 0;
        Reader_FFT_Table1(3, 1, -1.0, -1.0, label, hp, button, 1, o.f.data(), o.g[0].data(),
                          o.g[1].data(), 0.95f, 0, &status, &harmCount);
        return long{status};
    });
    add("Reader_FFT_Table2", harm, 2, [&o, hp] {
        trova_long status = -1, harmCount = 0, flagged = 0, total = 0;
        Reader_FFT_Table2(1, 1, -1.0, -1.0, label, hp, button, 1, o.f.data(), o.g[0].data(),
                          o.g[1].data(), 0.95f, 0, &status, &harmCount, 0, &flagged, &total);
        return long{status};
    });
    return readers;
}

}  // namespace

int main(int argc, char **argv) {
    Options o;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string key = argv[i];
        if (key == "--size") o.sizeMiB = std::atoll(argv[i + 1]);
        else if (key == "--files") o.files = std::atoi(argv[i + 1]);
        else if (key == "--rounds") o.rounds = std::atoi(argv[i + 1]);
        else if (key == "--dir") o.dir = argv[i + 1];
        else if (key == "--only") o.only = argv[i + 1];
        else {
            std::fprintf(stderr, "unknown option %s (expected --size, --files, --rounds, --dir, --only)\n",
                         key.c_str());
            return 2;
        }
    }
    if (o.sizeMiB < 1 || o.files < 1 || o.rounds < 1) {
        std::fprintf(stderr, "--size, --files and --rounds must be at least 1\n");
        return 2;
    }
    std::string base = o.dir;
    if (base.empty()) {
        char pattern[] = "/tmp/trova-speed-XXXXXX";
        if (mkdtemp(pattern) == nullptr) return 1;
        base = pattern;
    }
    TrovaSetLogDirectory(nullptr);
    TrovaSetCompletionPause(0);
    std::fprintf(stderr, "writing %lld MiB trend and harmonic recordings of %d files under %s\n",
                 static_cast<long long>(o.sizeMiB), o.files, base.c_str());
    std::system(("mkdir -p " + base + "/trend " + base + "/harm").c_str());
    const Recording trend = Write(base + "/trend", trova::rec::Kind::Trend, o);
    const Recording harm = Write(base + "/harm", trova::rec::Kind::Harmonic, o);

    Outputs out;
    std::vector<Reader> readers = MakeReaders(trend, harm, out);
    if (!o.only.empty()) {
        readers.erase(std::remove_if(readers.begin(), readers.end(),
                                     [&](const Reader &r) { return o.only != r.name; }),
                      readers.end());
    }
    std::vector<char> rawBuffer, pieceBuffer;
    std::vector<double> rawTrend, rawHarm, pieceTrend, pieceHarm;
    constexpr size_t kPiece = size_t{1} << 20;
    // Warm-up: page cache, raw buffer, module state.
    ReadRaw(trend, rawBuffer);
    ReadRaw(harm, rawBuffer);
    for (Reader &r : readers) {
        const long status = r.call();
        if (status != 0) std::fprintf(stderr, "%s: status %ld\n", r.name, status);
    }
    for (int round = 0; round < o.rounds; ++round) {
        for (Reader &r : readers) {
            const Recording &rec = *r.recording;
            (rec.path == trend.path ? rawTrend : rawHarm)
                .push_back(Measure([&] { ReadRaw(rec, rawBuffer); }).seconds);
            (rec.path == trend.path ? pieceTrend : pieceHarm)
                .push_back(Measure([&] { ReadRaw(rec, pieceBuffer, kPiece); }).seconds);
            r.call();  // the table of this recording is cached now
            r.cached.push_back(Measure([&] { r.call(); }));
            trova::ReleaseFileTable();
            r.first.push_back(Measure([&] { r.call(); }));
        }
    }
    const double mb = 1e6;
    std::printf("%lld MiB per recording, %d files, %d rounds, medians\n",
                static_cast<long long>(o.sizeMiB), o.files, o.rounds);
    std::printf("%-30s %9s %9s %9s %7s %7s %7s %9s %9s %9s\n", "reader", "raw MB/s", "1MiB MB/s",
                "MB/s", "ratio", "/pass", "/1MiB", "first/c", "peak KiB", "first KiB");
    for (const Reader &r : readers) {
        const Recording &rec = *r.recording;
        const double raw = Median(rec.path == trend.path ? rawTrend : rawHarm);
        const double pieces = Median(rec.path == trend.path ? pieceTrend : pieceHarm);
        std::vector<double> c, f;
        long peak = 0, firstPeak = 0;
        for (const Sample &s : r.cached) c.push_back(s.seconds), peak = std::max(peak, s.peakKb);
        for (const Sample &s : r.first) f.push_back(s.seconds), firstPeak = std::max(firstPeak, s.peakKb);
        const double cs = Median(c), fs = Median(f);
        const double ratio = raw / cs;
        std::printf("%-30s %9.0f %9.0f %9.0f %7.2f %7.2f %7.2f %9.2f %9ld %9ld\n", r.name,
                    rec.bytes / raw / mb, rec.bytes / pieces / mb, rec.bytes / cs / mb, ratio,
                    ratio * r.passes, pieces / cs * r.passes, fs / cs, peak, firstPeak);
    }
    if (o.dir.empty()) std::system(("rm -rf " + base).c_str());
    return 0;
}
