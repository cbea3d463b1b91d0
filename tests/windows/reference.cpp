// The Linux side of the cross-check with trova.dll.
//
//   trova_reference write DIR [GENERATED [SEED [RECORDS]]]
//       writes the recordings to DIR/rec/, the table of cases to
//       DIR/cases.txt (the hand-picked cases below, the refused paths of
//       every export and GENERATED seeded calls, 200 unless given, on members
//       of at most RECORDS records, 60 unless given) and what this build's
//       readers give for each to DIR/expected/<case>.bin; checks that every
//       reader with a worker was called on a recording and reached it.
//
// Exit status 0 on success, 1 when a check fails, 2 on a usage or file error.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "crosscheck.h"
#include "frame/dialog.h"
#include "generated_calls.h"
#include "platform/posix/dialog_probe.h"
#include "trova/host.h"

namespace fs = std::filesystem;
namespace rec = trova::rec;
using namespace trova::crosscheck;

namespace {

// ---- recordings -------------------------------------------------------------------

rec::RecordingPlan Plan(rec::Kind kind, uint64_t seed, int channels, int statMask, int scalars, int perChannel) {
    rec::RecordingPlan plan;
    plan.kind = kind;
    plan.seed = seed;
    plan.trend.channels = channels, plan.trend.statMask = statMask;
    plan.trend.scalars = scalars, plan.trend.perChannel = perChannel;
    return plan;
}

// trend-a: four files of three channels and three blocks, every 7th record
// flagged, values of both signs; records at 3786825600.25 + i, the third
// file 30 s later. trend-ref: a header that names a reference quantity
// (ExtRef -1 divides by it). trend-mixed: what discovery must sort out on
// the platform's own directory search (a member named in capitals, a
// damaged one, one without records, files of another stem or extension).
// trend-many: many small files for the cancel check. harmonic-a: three
// phases with a power block.
std::vector<std::pair<std::string, rec::RecordingPlan>> Recordings() {
    rec::RecordingPlan a = Plan(rec::Kind::Trend, 1, 3, 0x07, 2, 3);
    a.trendValues = rec::SeededValues(11, -250.0f, 750.0f);
    a.flags = rec::everyKth(7, 4, 3);
    for (int f = 0; f < 4; ++f) a.add(250, f == 2 ? 30.0 : 0.0);
    rec::RecordingPlan ref = Plan(rec::Kind::Trend, 5, 3, 0x07, 2, 3);
    ref.trend.refQuantity = 4;
    ref.trendValues = rec::SeededValues(5, 1.0f, 400.0f);
    ref.add(40);
    rec::RecordingPlan mixed = Plan(rec::Kind::Trend, 23, 5, 0x05, 1, 4);
    mixed.flags = rec::everyKth(3, 0x10, 1);
    mixed.add(30), mixed.add(30, 30.0), mixed.addNamed("MEAS.010.DAT", 30);
    mixed.addDamaged(rec::Damage::TruncatedData, 12), mixed.addDamaged(rec::Damage::NoRecords), mixed.add(25);
    for (rec::Decoy d : {rec::Decoy::OtherStem, rec::Decoy::OtherExtension, rec::Decoy::NoMiddle}) {
        mixed.addRaw(mixed.decoyName(d), {});
    }
    rec::RecordingPlan many = Plan(rec::Kind::Trend, 31, 3, 0x07, 2, 3);
    many.numberWidth = 4;
    for (int f = 0; f < kCancelFiles; ++f) many.add(kCancelRecordsPerFile);
    rec::RecordingPlan harmonic = Plan(rec::Kind::Harmonic, 47, 3, 0x07, 2, 4);
    harmonic.harmonic.channelCode = 6, harmonic.harmonic.harmonics = 50;
    harmonic.harmonicValues = rec::SeededValues(47, 0.5f, 240.0f);
    harmonic.flags = rec::everyKth(5, 2, 0);
    for (int f = 0; f < 3; ++f) harmonic.add(40);
    return {{"trend-a", a}, {"trend-ref", ref}, {"trend-mixed", mixed}, {"trend-many", many}, {"harmonic-a", harmonic}};
}

// ---- the hand-picked cases ---------------------------------------------------------

// Windows, ExtRef, scalar and bad codes, discovery and no room on Reader_XT;
// every other reader on a recording of its kind. The Windows host's dialog
// and cancel checks run xt-dialog and xt-cancel on their own; the case
// before each names another path, so either way the call builds its file
// table and logs the same lines.
const char kHandPicked[] = R"(xt-whole Reader_XT "rec/trend-a/meas.003.dat" quantity=3 minMax=1 points=400
xt-window-extref Reader_XT "rec/trend-a/meas.001.dat" quantity=2 tStart=3786826100.75 tStop=3786826429.25 extRef=230 points=120
xt-reference-quantity Reader_XT "rec/trend-ref/meas.001.dat" quantity=3 extRef=-1 points=16
xt-scalar-bad-minmax Reader_XT "rec/trend-a/meas.002.dat" quantity=1 minMax=9 points=7
xt-bad-quantity Reader_XT "rec/trend-a/meas.004.dat" quantity=50 minMax=2 points=33
xt-discovery Reader_XT "rec/trend-mixed/MEAS.010.DAT" quantity=3 minMax=1 points=50
xt-no-points Reader_XT "rec/trend-mixed/meas.001.dat" points=0
xt-dialog Reader_XT "rec/trend-a/meas.001.dat" quantity=4 points=90 label="trova host: dialog check" button="Stop reading"
xt-cancel Reader_XT "rec/trend-many/meas.0001.dat" quantity=2 points=6000 label="trova host: cancel check"
xt2-trend Reader_XT2 "rec/trend-a/meas.002.dat" quantity=3 points=64
hist-trend Reader_HIST "rec/trend-a/meas.001.dat" quantity=3 flagged=1
fft-xt1 Reader_FFT_XT1 "rec/harmonic-a/meas.001.dat" quantity=2 minMax=1 points=50
fft-xt2 Reader_FFT_XT2 "rec/harmonic-a/meas.002.dat" quantity=8 points=50
fft-xt3 Reader_FFT_XT3 "rec/harmonic-a/meas.003.dat" quantity=14 points=30
fft-all-xt1 Reader_FFT_ALL_Harmonics_XT1 "rec/harmonic-a/meas.001.dat" quantity=1
fft-all-xt2 Reader_FFT_ALL_Harmonics_XT2 "rec/harmonic-a/meas.001.dat" quantity=3 join=1
fft-all-xt3 Reader_FFT_ALL_Harmonics_XT3 "rec/harmonic-a/meas.001.dat" quantity=6
fft-hist1 Reader_FFT_HIST1 "rec/harmonic-a/meas.002.dat" quantity=2 minMax=1
fft-hist2 Reader_FFT_HIST2 "rec/harmonic-a/meas.002.dat" quantity=9 hMinMax=1 hMin=0 hMax=500 flagged=1
fft-table1 Reader_FFT_Table1 "rec/harmonic-a/meas.001.dat" quantity=1 minMax=1 percentil=0.95
fft-table2 Reader_FFT_Table2 "rec/harmonic-a/meas.001.dat" quantity=4 percentil=0.5 flagged=1
)";

// ---- writing -------------------------------------------------------------------------

int Write(const fs::path &dir, int generated, uint64_t seed, int records) {
    std::error_code error;
    fs::remove_all(dir / "rec", error);
    fs::remove_all(dir / "expected", error);
    fs::create_directories(dir / "expected", error);
    fs::create_directories(dir / "log", error);
    if (error || chdir(dir.c_str()) != 0) {
        std::fprintf(stderr, "cannot create %s: %s\n", dir.c_str(), error.message().c_str());
        return 2;
    }
    for (const auto &[name, plan] : Recordings()) rec::writeRecording("rec/" + name, plan);
    std::vector<Case> cases;
    std::istringstream hand(kHandPicked);
    std::string problem;
    if (!ParseCases(hand, "kHandPicked", cases, problem)) return std::fprintf(stderr, "%s\n", problem.c_str()), 2;
    // Every export refuses an empty path and a path that names no file:
    // status 3, no dialog, no output touched.
    for (const trova::calls::ExportInfo &e : trova::calls::Exports()) {
        cases.push_back({std::string(e.name) + "-empty-path", e.id, "", {}});
        cases.push_back({std::string(e.name) + "-missing-path", e.id, "rec/trend-a/meas.009.dat", {}});
    }
    trova::calls::CallGenerator generator(seed, records);
    for (int i = 0; i < generated; ++i) {
        const trova::calls::GeneratedCall g = generator.Next("rec");
        cases.push_back({g.name, g.reader, "rec/" + g.path, g.args});
    }

    TrovaSetLogDirectory(fs::absolute("log").c_str());
    TrovaSetCompletionPause(0);  // the outputs do not depend on it
    const Side side{trova::calls::LinkedReaders(), '/', "log/TrovaDLL.LOG",
                    [] { return trova::platform::probe::LastDialog().openCount; }};
    std::ofstream table(kCaseFile);
    std::vector<bool> reached(trova::calls::kExportCount);
    for (const Case &c : cases) {
        const Outcome out = RunCase(c, side);
        const long long status = out.Int("Status");
        if (status != TROVA_READER_NO_FILES && status != -7777) reached[size_t(c.reader)] = true;
        const std::vector<uint8_t> bytes = out.Serialise();
        std::ofstream file(ExpectedFile(c, '/'), std::ios::binary);
        file.write(reinterpret_cast<const char *>(bytes.data()), std::streamsize(bytes.size()));
        if (!(table << FormatCase(c) << '\n') || !file) {
            return std::fprintf(stderr, "cannot write %s or %s\n", ExpectedFile(c, '/').c_str(), kCaseFile), 2;
        }
    }
    std::remove(side.logFile.c_str());
    // Every reader whose worker this build has must have been called on a
    // recording and reached its worker (a status other than 3).
    int failures = 0;
    for (const trova::calls::ExportInfo &e : trova::calls::Exports()) {
        if (trova::WorkerFor(e.readerKind) != nullptr && !reached[size_t(e.id)]) {
            std::fprintf(stderr, "FAIL %s: no case reached its worker\n", e.name), ++failures;
        }
    }
    std::printf("%zu cases (%d generated, seed %llu) written to %s\n", cases.size(), generated,
                static_cast<unsigned long long>(seed), dir.c_str());
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc >= 3 && argc <= 6 && std::string(argv[1]) == "write") {
        return Write(fs::absolute(argv[2]), argc > 3 ? std::atoi(argv[3]) : 200,
                     argc > 4 ? std::strtoull(argv[4], nullptr, 10) : 1, argc > 5 ? std::atoi(argv[5]) : 60);
    }
    std::fprintf(stderr, "usage: %s write DIR [GENERATED [SEED [RECORDS]]]\n", argc > 0 ? argv[0] : "trova_reference");
    return 2;
}
