// The Linux side of the cross-check with trova.dll.
//
//   trova_reference write DIR [GENERATED [SEED [RECORDS]]]
//       writes the recordings to DIR/rec/, the table of cases to
//       DIR/cases.txt (the hand-picked cases below and GENERATED seeded
//       calls, 200 unless given, on members of at most RECORDS records, 60
//       unless given) and what this build's readers give for each
//       to DIR/expected/<case>.bin; checks that every reader with a worker
//       was called on a recording and reached its worker.
//
// Exit status 0 on success, 1 when a check fails, 2 on a usage or file error.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "crosscheck.h"
#include "frame/dialog.h"
#include "generated_calls.h"
#include "platform/posix/dialog_probe.h"
#include "trova/host.h"

namespace fs = std::filesystem;
using namespace trova::crosscheck;
using trova::calls::Args;
using trova::calls::Export;
namespace rec = trova::rec;

namespace {

// ---- recordings -------------------------------------------------------------------

// Trend recording of four files: three channels, three statistic blocks,
// every 7th record flagged, values spread over both signs.
rec::RecordingPlan TrendA() {
    rec::RecordingPlan plan;
    plan.trend.channels = 3;
    plan.trend.statMask = 0x07;
    plan.trend.scalars = 2;
    plan.trend.perChannel = 3;
    plan.trendValues = rec::SeededValues(11, -250.0f, 750.0f);
    plan.flags = rec::everyKth(7, 4, 3);
    for (int f = 0; f < 4; ++f) plan.add(250, f == 2 ? 30.0 : 0.0);
    return plan;
}

// One file whose header names a reference quantity (ExtRef -1 divides by it).
rec::RecordingPlan TrendReference() {
    rec::RecordingPlan plan;
    plan.seed = 5;
    plan.trend.channels = 3;
    plan.trend.perChannel = 3;
    plan.trend.refQuantity = 4;
    plan.trendValues = rec::SeededValues(5, 1.0f, 400.0f);
    plan.add(40);
    return plan;
}

// What discovery must sort out on the platform's own directory search: a
// member named in capitals, a damaged member, one without records, files
// of another stem or extension, five channels and two blocks.
rec::RecordingPlan TrendMixed() {
    rec::RecordingPlan plan;
    plan.seed = 23;
    plan.trend.channels = 5;
    plan.trend.statMask = 0x05;
    plan.trend.scalars = 1;
    plan.trend.perChannel = 4;
    plan.flags = rec::everyKth(3, 0x10, 1);
    plan.add(30);
    plan.add(30, 30.0);
    plan.addNamed("MEAS.010.DAT", 30);
    plan.addDamaged(rec::Damage::TruncatedData, 12);
    plan.addDamaged(rec::Damage::NoRecords);
    plan.add(25);
    plan.addRaw(plan.decoyName(rec::Decoy::OtherStem), {});
    plan.addRaw(plan.decoyName(rec::Decoy::OtherExtension), {});
    plan.addRaw(plan.decoyName(rec::Decoy::NoMiddle), {});
    return plan;
}

// Many small files: the Windows host's cancel check.
rec::RecordingPlan TrendMany() {
    rec::RecordingPlan plan;
    plan.seed = 31;
    plan.numberWidth = 4;
    plan.trend.channels = 3;
    plan.trend.perChannel = 3;
    for (int f = 0; f < kCancelFiles; ++f) plan.add(kCancelRecordsPerFile);
    return plan;
}

// Three-phase harmonic recording with a power block.
rec::RecordingPlan HarmonicA() {
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.seed = 47;
    plan.harmonic.channelCode = 6;
    plan.harmonic.harmonics = 50;
    plan.harmonicValues = rec::SeededValues(47, 0.5f, 240.0f);
    plan.flags = rec::everyKth(5, 2, 0);
    for (int f = 0; f < 3; ++f) plan.add(40);
    return plan;
}

const std::pair<const char *, rec::RecordingPlan (*)()> kRecordings[] = {
    {"trend-a", TrendA},       {"trend-ref", TrendReference}, {"trend-mixed", TrendMixed},
    {"trend-many", TrendMany}, {"harmonic-a", HarmonicA},
};

// ---- the hand-picked cases ---------------------------------------------------------

// Record times of trend-a: 3786825600.25 + i, the third file 30 s later.
constexpr double kTrendAStart = 3786825600.25;

Case Hand(const char *name, Export reader, const char *path, void (*set)(Args &)) {
    Case c{name, reader, path, Args{}};
    c.args.label = "trova cross-check";
    set(c.args);
    return c;
}

std::vector<Case> HandPicked() {
    std::vector<Case> cases = {
        Hand("xt-whole", Export::XT, "rec/trend-a/meas.003.dat",
             [](Args &a) { a.quantity = 3, a.minMax = 1, a.points = 400; }),
        Hand("xt-window-extref", Export::XT, "rec/trend-a/meas.001.dat", [](Args &a) {
            a.quantity = 2, a.tStart = kTrendAStart + 500.5, a.tStop = kTrendAStart + 829.0;
            a.extRef = 230.0f, a.points = 120;
        }),
        Hand("xt-reference-quantity", Export::XT, "rec/trend-ref/meas.001.dat",
             [](Args &a) { a.quantity = 3, a.extRef = -1.0f, a.points = 16; }),
        Hand("xt-scalar-bad-minmax", Export::XT, "rec/trend-a/meas.002.dat",
             [](Args &a) { a.quantity = 1, a.minMax = 9, a.points = 7; }),
        Hand("xt-bad-quantity", Export::XT, "rec/trend-a/meas.004.dat",
             [](Args &a) { a.quantity = 50, a.minMax = 2, a.points = 33; }),
        Hand("xt-discovery", Export::XT, "rec/trend-mixed/MEAS.010.DAT",
             [](Args &a) { a.quantity = 3, a.minMax = 1, a.points = 50; }),
        Hand("xt-no-points", Export::XT, "rec/trend-mixed/meas.001.dat", [](Args &a) { a.points = 0; }),
        // The Windows host's dialog and cancel checks run these two on their
        // own; the case before each names another path, so either way the
        // call builds its file table and logs the same lines.
        Hand(kDialogCase, Export::XT, "rec/trend-a/meas.001.dat", [](Args &a) {
            a.quantity = 4, a.points = 90, a.label = "trova host: dialog check", a.button = "Stop reading";
        }),
        Hand(kCancelCase, Export::XT, "rec/trend-many/meas.0001.dat", [](Args &a) {
            a.quantity = 2, a.points = kCancelFiles * kCancelRecordsPerFile;
            a.label = "trova host: cancel check";
        }),
        // Every other reader on a recording of its kind.
        Hand("xt2-trend", Export::XT2, "rec/trend-a/meas.002.dat", [](Args &a) { a.quantity = 3, a.points = 64; }),
        Hand("hist-trend", Export::HIST, "rec/trend-a/meas.001.dat", [](Args &a) { a.quantity = 3, a.flagged = 1; }),
        Hand("fft-xt1", Export::FFT_XT1, "rec/harmonic-a/meas.001.dat",
             [](Args &a) { a.quantity = 2, a.minMax = 1, a.points = 50; }),
        Hand("fft-xt2", Export::FFT_XT2, "rec/harmonic-a/meas.002.dat", [](Args &a) { a.quantity = 8, a.points = 50; }),
        Hand("fft-xt3", Export::FFT_XT3, "rec/harmonic-a/meas.003.dat", [](Args &a) { a.quantity = 14, a.points = 30; }),
        Hand("fft-all-xt1", Export::FFT_ALL_XT1, "rec/harmonic-a/meas.001.dat", [](Args &a) { a.quantity = 1; }),
        Hand("fft-all-xt2", Export::FFT_ALL_XT2, "rec/harmonic-a/meas.001.dat", [](Args &a) { a.quantity = 3, a.join = 1; }),
        Hand("fft-all-xt3", Export::FFT_ALL_XT3, "rec/harmonic-a/meas.001.dat", [](Args &a) { a.quantity = 6; }),
        Hand("fft-hist1", Export::FFT_HIST1, "rec/harmonic-a/meas.002.dat", [](Args &a) { a.quantity = 2, a.minMax = 1; }),
        Hand("fft-hist2", Export::FFT_HIST2, "rec/harmonic-a/meas.002.dat", [](Args &a) {
            a.quantity = 9, a.hMinMax = 1, a.hMin = 0.0, a.hMax = 500.0, a.flagged = 1;
        }),
        Hand("fft-table1", Export::FFT_Table1, "rec/harmonic-a/meas.001.dat",
             [](Args &a) { a.quantity = 1, a.minMax = 1, a.percentil = 0.95f; }),
        Hand("fft-table2", Export::FFT_Table2, "rec/harmonic-a/meas.001.dat",
             [](Args &a) { a.quantity = 4, a.percentil = 0.5f, a.flagged = 1; }),
    };
    // Every export refuses an empty path and a path that names no file:
    // status 3, no dialog, no output touched.
    for (const trova::calls::ExportInfo &e : trova::calls::Exports()) {
        cases.push_back({std::string(e.name) + "-empty-path", e.id, "", Args{}});
        cases.push_back({std::string(e.name) + "-missing-path", e.id, "rec/trend-a/meas.009.dat", Args{}});
    }
    return cases;
}

// ---- writing -------------------------------------------------------------------------

// Every reader whose worker this build has must be called on a recording and
// reach its worker (a status other than 3).
std::vector<std::string> CoverageProblems(const std::vector<std::pair<Case, int>> &ran) {
    std::vector<std::string> problems;
    for (const trova::calls::ExportInfo &e : trova::calls::Exports()) {
        if (trova::WorkerFor(e.readerKind) == nullptr) continue;
        bool reached = false;
        for (const auto &[c, status] : ran) reached |= c.reader == e.id && status != 3 && status != -7777;
        if (!reached) problems.push_back(std::string(e.name) + ": no case reached its worker");
    }
    return problems;
}

int Write(const fs::path &dir, int generated, std::uint64_t seed, int records) {
    std::error_code error;
    fs::remove_all(dir / "rec", error);
    fs::remove_all(dir / "expected", error);
    fs::create_directories(dir / "expected", error);
    fs::create_directories(dir / "log", error);
    if (error || chdir(dir.c_str()) != 0) {
        std::fprintf(stderr, "cannot create %s: %s\n", dir.c_str(), error.message().c_str());
        return 2;
    }
    for (const auto &[name, plan] : kRecordings) rec::writeRecording(std::string("rec/") + name, plan());
    std::vector<Case> cases = HandPicked();
    trova::calls::CallGenerator generator(seed, records);
    for (int i = 0; i < generated; ++i) {
        const trova::calls::GeneratedCall g = generator.Next("rec");
        cases.push_back({g.name, g.reader, "rec/" + g.path, g.args});
    }

    const std::string logFile = fs::absolute("log/TrovaDLL.LOG").string();
    TrovaSetLogDirectory(fs::absolute("log").c_str());
    TrovaSetCompletionPause(0);  // the outputs do not depend on it
    Side side;
    side.readers = trova::calls::LinkedReaders();
    side.clearLog = [&] { std::remove(logFile.c_str()); };
    side.readLog = [&] {
        std::ifstream in(logFile, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };
    side.dialogsOpened = [] { return trova::platform::probe::LastDialog().openCount; };

    std::ofstream table(kCaseFile);
    std::vector<std::pair<Case, int>> ran;
    for (const Case &c : cases) {
        const Outputs out = RunCase(c, side);
        ran.emplace_back(c, out.Int("Status"));
        const std::vector<std::uint8_t> bytes = out.Serialise();
        std::ofstream file(ExpectedFile(c, '/'), std::ios::binary);
        file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        table << FormatCase(c) << '\n';
        if (!file || !table) {
            std::fprintf(stderr, "cannot write %s or %s\n", ExpectedFile(c, '/').c_str(), kCaseFile);
            return 2;
        }
    }
    side.clearLog();
    const std::vector<std::string> problems = CoverageProblems(ran);
    for (const std::string &p : problems) std::fprintf(stderr, "FAIL %s\n", p.c_str());
    if (!problems.empty()) return 1;
    std::printf("%zu cases (%d generated, seed %llu) written to %s\n", cases.size(), generated,
                static_cast<unsigned long long>(seed), dir.c_str());
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    const std::string command = argc >= 2 ? argv[1] : "";
    if (command == "write" && argc >= 3 && argc <= 6) {
        return Write(fs::absolute(argv[2]), argc > 3 ? std::atoi(argv[3]) : 200,
                     argc > 4 ? std::strtoull(argv[4], nullptr, 10) : 1, argc > 5 ? std::atoi(argv[5]) : 60);
    }
    std::fprintf(stderr, "usage: %s write DIR [GENERATED [SEED [RECORDS]]]\n",
                 argc > 0 ? argv[0] : "trova_reference");
    return 2;
}
