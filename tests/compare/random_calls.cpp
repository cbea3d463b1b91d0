// A seeded batch of reader calls on generated recordings, for comparing two
// builds of the library call by call: every output array (with a guard
// region past what the reader may write), status, result and the log bytes
// are hashed and the progress totals listed, one line per call.
//
//   trova_random_calls DIR [CALLS] [SEED]    (linked against the libtrova.so to test;
//                                           scripts/compare-builds.sh runs it on two builds)
//
// Two builds agree when their lines are identical.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "recording_writer.h"
#include "trova/host.h"
#include "trova/readers.h"

namespace {

using namespace trova::rec;

constexpr size_t kFloats = 4 * 64 * 100 + 4096;  // the largest array any call here needs, and a guard

struct Arrays {
    std::vector<float> f[12];
    std::vector<double> d[3];
    std::vector<trova_long> l[4];
    std::vector<int> i[2];
    Arrays() {
        for (auto &a : f) a.assign(kFloats, -7.25f);
        for (auto &a : d) a.assign(4096, -7.25);
        for (auto &a : l) a.assign(4096, -7);
        for (auto &a : i) a.assign(4096, -7);
    }
    uint64_t Hash() const {
        uint64_t h = 1469598103934665603ull;
        auto add = [&h](const void *p, size_t n) {
            const auto *b = static_cast<const unsigned char *>(p);
            for (size_t k = 0; k < n; ++k) h = (h ^ b[k]) * 1099511628211ull;
        };
        for (auto &a : f) add(a.data(), a.size() * sizeof(float));
        for (auto &a : d) add(a.data(), a.size() * sizeof(double));
        for (auto &a : l) add(a.data(), a.size() * sizeof(trova_long));
        for (auto &a : i) add(a.data(), a.size() * sizeof(int));
        return h;
    }
};

uint64_t HashText(const std::string &text) {
    uint64_t h = 1469598103934665603ull;
    for (unsigned char c : text) h = (h ^ c) * 1099511628211ull;
    return h;
}

// A recording of either variant with random geometry and some damage.
RecordingPlan RandomPlan(SplitMix64 &r, bool harmonic) {
    RecordingPlan plan;
    plan.kind = harmonic ? Kind::Harmonic : Kind::Trend;
    plan.seed = r.next();
    plan.interval = 1.0 + double(r.next() % 10);
    plan.trend.channels = int(r.next() % 6);
    plan.trend.refQuantity = int(r.next() % 3);
    plan.trend.statMask = 1 + int(r.next() % 7);
    plan.harmonic.channelCode = std::vector<int>{2, 6, 8}[r.next() % 3];
    plan.harmonic.harmonics = std::vector<int>{5, 12, 25, 50}[r.next() % 4];
    plan.harmonic.powerBlock = r.next() % 2 == 0;
    if (r.next() % 4 == 0) plan.flags = everyKth(2 + int(r.next() % 5), 1);
    const int files = 1 + int(r.next() % 6);
    for (int k = 0; k < files; ++k) {
        if (r.next() % 9 == 0) {
            plan.addDamaged(r.next() % 2 ? Damage::TruncatedData : Damage::NoRecords);
        } else {
            plan.add(1 + int(r.next() % 60), r.next() % 3 == 0 ? double(r.next() % 500) : 0.0);
        }
    }
    return plan;
}

double RandomTime(SplitMix64 &r, const RecordingInfo &info) {
    const std::vector<MemberInfo> table = info.table();
    if (table.empty() || r.next() % 3 == 0) return -1.0;
    const double first = table.front().firstTime, last = table.back().lastTime;
    return first - 50.0 + (last - first + 100.0) * r.unit();
}

// Every progress total the library reports during a call.
std::string gProgress;
void OnProgress(int total, void *) { gProgress += std::to_string(total) + ","; }

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: trova_random_calls DIR [CALLS] [SEED]\n");
        return 2;
    }
    const std::string dir = argv[1];
    const int calls = argc > 2 ? std::atoi(argv[2]) : 300;
    SplitMix64 r(argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1);
    TrovaSetCompletionPause(0);
    TrovaSetLogDirectory(dir.c_str());
    TrovaSetProgressCallback(OnProgress, nullptr);
    char label[] = "random", button[] = "Cancel";
    for (int c = 0; c < calls; ++c) {
        const int reader = int(r.next() % 13);
        const bool harmonic = (reader >= 3) != (r.next() % 10 == 0);  // now and then the other variant
        const std::string where = dir + "/rec" + std::to_string(c);
        const RecordingInfo info = writeRecording(where, RandomPlan(r, harmonic));
        std::string path = info.table().empty() ? where + "/meas.001.dat" : info.path(info.table()[0]);
        std::remove((dir + "/TrovaDLL.LOG").c_str());
        gProgress.clear();
        const double t0 = RandomTime(r, info), t1 = RandomTime(r, info);
        const int quantity = int(r.next() % 20) - 2, minMax = int(r.next() % 4) - 1;
        const trova_long harm = trova_long(r.next() % 60), first = trova_long(r.next() % 8);
        const trova_long join = trova_long(r.next() % 2), flagged = trova_long(r.next() % 2);
        const int pts = 1 + int(r.next() % 60);
        const double hmin = r.next() % 2 ? 5.0 * r.unit() : NAN, hmax = 50.0 + 100.0 * r.unit();
        const float percentile = float(r.next() % 5) / 4.0f, extRef = r.next() % 3 ? 0.0f : -1.0f;
        Arrays a;
        int points = pts, status = -7, factor = -7, result = 0;
        trova_long lpoints = pts, lstatus = -7, lfactor = -7, count = -7;
        switch (reader) {
            case 0: result = Reader_XT(quantity, minMax, t0, t1, extRef, label, path.data(), &points, a.f[0].data(), a.f[1].data(), a.f[2].data(), a.d[0].data(), a.i[0].data(), &factor, button, &status); break;
            case 1: result = Reader_XT2(quantity, minMax, t0, t1, extRef, label, path.data(), &points, a.f[0].data(), a.d[0].data(), a.i[0].data(), &factor, button, &status); break;
            case 2: result = Reader_HIST(quantity, minMax, t0, t1, extRef, label, path.data(), a.d[0].data(), a.d[1].data(), a.l[0].data(), button, &lstatus, flagged, hmin, hmax, a.l[1].data(), a.l[2].data(), join, &lfactor, &count); break;
            case 3: case 4: result = (reader == 3 ? Reader_FFT_XT1 : Reader_FFT_XT2)(quantity, minMax, t0, t1, label, path.data(), &lpoints, a.f[0].data(), a.f[1].data(), a.f[2].data(), a.d[0].data(), a.l[0].data(), harm, &lfactor, button, first, join, &lstatus); break;
            case 5: result = Reader_FFT_XT3(quantity, minMax, t0, t1, label, path.data(), &lpoints, a.f[0].data(), a.d[0].data(), a.l[0].data(), harm, &lfactor, button, first, join, &lstatus); break;
            case 6: case 7: result = (reader == 6 ? Reader_FFT_ALL_Harmonics_XT1 : Reader_FFT_ALL_Harmonics_XT2)(quantity, minMax, t0, t1, label, path.data(), a.f[0].data(), a.f[1].data(), a.f[2].data(), a.f[3].data(), a.f[4].data(), a.f[5].data(), a.f[6].data(), a.f[7].data(), a.f[8].data(), a.f[9].data(), a.f[10].data(), a.f[11].data(), a.d[0].data(), a.l[0].data(), &lfactor, button, first, join, &lstatus, &count); break;
            case 8: result = Reader_FFT_ALL_Harmonics_XT3(quantity, minMax, t0, t1, label, path.data(), a.f[0].data(), a.f[1].data(), a.f[2].data(), a.f[3].data(), a.d[0].data(), a.l[0].data(), &lfactor, button, first, join, &lstatus, &count); break;
            case 9: result = Reader_FFT_HIST1(quantity, minMax, t0, t1, label, path.data(), a.d[0].data(), a.d[1].data(), a.l[0].data(), harm, button, first, join, &lstatus); break;
            case 10: result = Reader_FFT_HIST2(quantity, minMax, t0, t1, label, path.data(), a.d[0].data(), a.d[1].data(), a.l[0].data(), harm, button, first, join, &lstatus, flagged, hmin, hmax, a.l[1].data(), a.l[2].data(), join, &lfactor, &count); break;
            case 11: result = Reader_FFT_Table1(quantity, minMax, t0, t1, label, path.data(), button, first, a.f[0].data(), a.f[1].data(), a.f[2].data(), percentile, join, &lstatus, &count); break;
            case 12: result = Reader_FFT_Table2(quantity, minMax, t0, t1, label, path.data(), button, first, a.f[0].data(), a.f[1].data(), a.f[2].data(), percentile, join, &lstatus, &count, flagged, &lfactor, a.l[1].data()); break;
        }
        std::ifstream log(dir + "/TrovaDLL.LOG", std::ios::binary);
        const std::string logText((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
        std::printf("%4d reader %2d status %d/%d result %d points %d/%d factor %d/%d count %d arrays %016llx log %016llx progress %s\n",
                    c, reader, status, int(lstatus), result, points, int(lpoints), factor, int(lfactor),
                    int(count), (unsigned long long)a.Hash(), (unsigned long long)HashText(logText), gProgress.c_str());
    }
    return 0;
}
