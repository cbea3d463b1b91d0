// The module frame: the diagnostic log, the exports' common protocol and
// the progress dialog, seen through the POSIX stand-in.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "frame/log.h"
#include "platform/posix/dialog_probe.h"
#include "reader_call.h"
#include "support/test_support.h"

namespace trova {
namespace {

using Lines = std::vector<std::string>;
using FrameTest = testing::ReaderTest;

// Where lines go, and where not, is the log's (platform_test.cpp).
TEST_F(FrameTest, LogLinesCutAt255) {
    LogLine("");
    LogString("Label    ", std::string(400, 'x').c_str());
    EXPECT_EQ(LogLines(), (Lines{"", "Label     = " + std::string(255 - 12, 'x')}));
}

// Every export, its result and parameter lines (joined by '|'; "PathFile"
// lines end with the path) for a path the check refuses, and its arguments.
struct ExportCase {
    calls::Export reader;
    int result;
    std::string lines;
    calls::Args args;
};

std::vector<ExportCase> AllExports() {
    using E = calls::Export;
    const std::string w = "TStart    = -1.00|TStop     = 2.50|", p = "PathFile  = ", mm = "MinMax    = ";
    const std::string q = "Quantity  = 1|", xt = q + mm + "0|" + w + p, label = "Label     = Label|";
    const auto args = [](void (*set)(calls::Args &)) {
        calls::Args a;
        a.quantity = 1, a.tStop = 2.5, a.label = "Label", a.button = "Button", a.percentil = 0.95f;
        set(a);
        return a;
    };
    const calls::Args plain = args([](calls::Args &) {});
    return {
        {E::XT, 0, xt + "|Finish Reader_XT", plain},
        {E::XT2, 0, xt + "|Finish Reader_XT2", plain},
        {E::HIST, 0, q + mm + "0|" + w + label + p + "|ExtRef    = 230.00|HMinMax   = 1|HMin      = 0.00|"
                     "HMax      = 98.00|Flagged   = 0",
         args([](calls::Args &a) { a.extRef = 230, a.hMinMax = 1, a.hMax = 98; })},
        {E::FFT_XT1, 0, w + p, plain},
        {E::FFT_XT2, 0, w + p, plain},
        {E::FFT_XT3, 0, "TStart         = -1.00|TStop          = 2.50|PathFile       = |Quantity       = 1|"
                        "MinMax         = 1|1st Harm       = 1|Finish Reader_FFT_XT3", plain},
        {E::FFT_ALL_XT1, 0, w + p, plain},
        {E::FFT_ALL_XT2, 0, w + p, plain},
        {E::FFT_ALL_XT3, 0, w + p + "|" + q + "Minmax    = 1", plain},
        {E::FFT_HIST1, 1, w + p, plain},
        {E::FFT_HIST2, 1, q + mm + "1|" + w + label + p + "|Harmonic  = 3|1.Harm    = 1|Join      = 1|"
                          "HMinMax   = 0|HMin      = -5.00|HMax      = 5.00|Flagged   = 1",
         args([](calls::Args &a) { a.join = 1, a.hMin = -5, a.hMax = 5, a.flagged = 1; })},
        {E::FFT_Table1, 1, w + p, plain},
        {E::FFT_Table2, 1, w + p + "|" + q + mm + "0|FirstHarmonic  = 1|Percentil = 1.00|Flagged   = 0",
         args([](calls::Args &a) { a.minMax = 7, a.percentil = 1.5f; })},
    };
}

// The call of a case on `path`: its outcome and the dialogs it opened.
std::pair<calls::Outcome, int> RunCase(const ExportCase &c, std::string path) {
    const int dialogs = platform::probe::LastDialog().openCount;
    calls::Outcome o = calls::Call(calls::LinkedReaders(), c.reader, c.args, path.data(), {}, 1);
    return {o, platform::probe::LastDialog().openCount - dialogs};
}

// A path the export refuses gives status 3 at once: no dialog, the
// parameter lines only. A recording whose every member is damaged gives it
// from the worker, after the dialog. Either way no other output is touched.
TEST_F(FrameTest, NoRecordingGivesStatusThreeOnEveryExport) {
    std::string damaged[2];
    for (rec::Kind kind : {rec::Kind::Trend, rec::Kind::Harmonic}) {
        rec::RecordingPlan plan;
        plan.kind = kind, plan.stem = kind == rec::Kind::Trend ? "t" : "h";
        plan.addDamaged(rec::Damage::TruncatedData), plan.addDamaged(rec::Damage::ZeroFirstTime);
        const rec::RecordingInfo info = Write(plan);
        damaged[kind == rec::Kind::Harmonic] = info.path(info.files[0]);
    }
    for (const ExportCase &c : AllExports()) {
        const std::string name = calls::InfoOf(c.reader).name;
        const std::pair<std::string, bool> paths[] = {
            {"", true}, {dir_.file("missing.001.dat"), true}, {damaged[calls::InfoOf(c.reader).harmonic], false}};
        for (const auto &[path, refused] : paths) {
            SCOPED_TRACE(name + " path '" + path + "'");
            ClearLog();
            const auto [outcome, dialogs] = RunCase(c, path);
            EXPECT_EQ(std::tuple(outcome.result, outcome.Int("Status"), dialogs),
                      std::tuple(c.result, TROVA_READER_NO_FILES, refused ? 0 : 1));
            calls::Outcome want = calls::Untouched(c.reader, c.args, {}, 1);
            for (calls::Block &b : want.blocks) {  // Table2's worker zeroes its counters
                const bool counter = b.name == "FFlaggedPoints" || b.name == "FTotalPoints";
                if (!refused && c.reader == calls::Export::FFT_Table2 && counter) std::fill_n(b.bytes.begin(), sizeof(trova_long), 0);
            }
            EXPECT_EQ(outcome.Bytes("Status"), want.Bytes("Status"));
            if (!refused) continue;
            Lines lines = {std::string(60, '='), "Start " + name, std::string(30, '-')};
            std::istringstream parameters(c.lines);
            for (std::string line; std::getline(parameters, line, '|');) {
                lines.push_back(line + (line.rfind("PathFile", 0) == 0 ? path : ""));
            }
            EXPECT_EQ(LogLines(), lines);
        }
    }
}

// Every export called from the running call's progress callback (its own
// thread) is refused at once: status 6, result 0, no line in the log, no
// dialog, no output touched; the running call ends as it would alone. Its
// dialog is topmost, centred, titled with the label (cut to 2047 bytes).
TEST_F(FrameTest, ReenteredExportsAreRefusedAtOnceWithoutHarmToTheRunningCall) {
    rec::RecordingPlan plan;
    plan.add(12), plan.add(9);
    const std::string path = PathOf(Write(plan), 0);
    calls::Args args;
    args.quantity = 2, args.points = 12, args.label = "Title" + std::string(3000, 't'), args.button = "Abort";
    const auto run = [&] {
        ForgetFileTable();
        std::string p = path;
        const calls::Outcome o = calls::Call(calls::LinkedReaders(), calls::Export::XT, args, p.data(),
                                             calls::DescribeShape(calls::LinkedReaders(), p.c_str(), false), 1);
        return std::tuple(o.result, o.Int("Status"), o.Bytes());
    };
    const auto alone = run();
    const Lines aloneLog = LogLines();
    ASSERT_EQ(std::get<1>(alone), TROVA_READER_OK);
    const platform::probe::DialogState d = platform::probe::LastDialog();
    const int width = d.rect.right - d.rect.left, height = d.rect.bottom - d.rect.top;
    EXPECT_EQ(std::tuple(d.templateId, d.owner, d.title, d.buttonText, d.topmost, d.barMin, d.barMax, d.barStep),
              std::tuple(101, HWND(nullptr), args.label.substr(0, 2047), "Abort", true, 0, 100, 10));
    EXPECT_EQ(std::tuple(d.rect.left, d.rect.top, width > 10),
              std::tuple((platform::probe::kScreenWidth - width) / 2, (platform::probe::kScreenHeight - height) / 2, true));

    static std::vector<std::tuple<std::string, long long, long long, int, bool>> seen;
    seen.clear();
    TrovaSetProgressCallback(
        [](int, void *) {
            if (!seen.empty()) return;
            for (const ExportCase &c : AllExports()) {
                const auto [outcome, dialogs] = RunCase(c, "/no/such/recording.001.dat");  // status 3 if it ran
                const bool untouched =
                    outcome.Bytes("Status") == calls::Untouched(c.reader, c.args, {}, 1).Bytes("Status");
                seen.emplace_back(calls::InfoOf(c.reader).name, outcome.result, outcome.Int("Status"), dialogs, untouched);
            }
        },
        nullptr);
    ClearLog();
    EXPECT_EQ(run(), alone);
    EXPECT_EQ(LogLines(), aloneLog);
    ASSERT_EQ(seen.size(), 13u);
    for (const auto &[name, result, status, dialogs, untouched] : seen) {
        EXPECT_EQ(std::tuple(result, status, dialogs, untouched), std::tuple(0, TROVA_READER_BUSY, 0, true)) << name;
    }
}

TEST(FrameLibrary, SharedLibraryExportsTheReadersAndHostInterfaceOnly) {
    void *library = dlopen(TROVA_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const calls::ExportInfo &e : calls::Exports()) EXPECT_NE(dlsym(library, e.name), nullptr) << e.name;
    for (std::string name : {"TrovaSetProgressCallback", "TrovaRequestCancel", "DllMain",
                             "TrovaSetCompletionPause", "TrovaSetLogDirectory", "TrovaDescribeRecording", "TrovaForgetRecording",
                             "_ZN5trova13Reader_ThreadEPv", "_ZN5trova9FileTableE"}) {
        EXPECT_EQ(dlsym(library, name.c_str()) != nullptr, name.rfind("Trova", 0) == 0) << name;
    }
    dlclose(library);
}

}  // namespace
}  // namespace trova
