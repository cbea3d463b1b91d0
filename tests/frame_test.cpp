// The module frame: the diagnostic log, the exports' common protocol and
// the progress dialog, seen through the POSIX stand-in.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "frame/log.h"
#include "platform/posix/dialog_probe.h"
#include "support/test_support.h"

namespace trova {
namespace {

using Lines = std::vector<std::string>;
using FrameTest = testing::ReaderTest;

TEST_F(FrameTest, LogLinesCutAt255AndDroppedWhenSwitchedOff) {
    LogLine("");
    LogString("Label    ", std::string(400, 'x').c_str());
    const std::string missing = dir_.path() + "/no-such-dir";
    for (const char *off : {static_cast<const char *>(nullptr), "", missing.c_str()}) {
        TrovaSetLogDirectory(off);
        LogLine("dropped");
    }
    TrovaSetLogDirectory(dir_.path().c_str());
    EXPECT_EQ(LogLines(), (Lines{"", "Label     = " + std::string(255 - 12, 'x')}));
}

// Every export, its result and parameter lines ("PathFile" lines end with
// the path) for a path the check refuses. Output pointers are null.
struct ExportCase {
    const char *name;
    int result;
    Lines lines;
    std::function<int(char *path, trova_long *status)> call;
};

#define CALL(...) [=](char *p, trova_long *s) { return __VA_ARGS__; }

std::vector<ExportCase> AllExports() {
    static char l[] = "Label", b[] = "Button";
    constexpr std::nullptr_t o = nullptr;
    const Lines w = {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "};
    const Lines xt = {"Quantity  = 1", "MinMax    = 0", w[0], w[1], w[2]};
    const auto plus = [](Lines a, Lines b) { return a.insert(a.end(), b.begin(), b.end()), a; };
    const auto i = [](trova_long *s) { return reinterpret_cast<int *>(s); };
    return {
        {"Reader_XT", 0, plus(xt, {"Finish Reader_XT"}),
         CALL(Reader_XT(1, 0, -1, 2.5, 0, l, p, o, o, o, o, o, o, o, b, i(s)))},
        {"Reader_XT2", 0, plus(xt, {"Finish Reader_XT2"}),
         CALL(Reader_XT2(1, 0, -1, 2.5, 0, l, p, o, o, o, o, o, b, i(s)))},
        {"Reader_HIST", 0,
         {xt[0], xt[1], w[0], w[1], "Label     = Label", w[2], "ExtRef    = 230.00",
          "HMinMax   = 1", "HMin      = 0.00", "HMax      = 98.00", "Flagged   = 0"},
         CALL(Reader_HIST(1, 0, -1, 2.5, 230, l, p, o, o, o, b, s, 1, 0, 98, o, o, 0, o, o))},
        {"Reader_FFT_XT1", 0, w,
         CALL(Reader_FFT_XT1(1, 0, -1, 2.5, l, p, o, o, o, o, o, o, 3, o, b, 1, 0, s))},
        {"Reader_FFT_XT2", 0, w,
         CALL(Reader_FFT_XT2(1, 0, -1, 2.5, l, p, o, o, o, o, o, o, 3, o, b, 1, 0, s))},
        {"Reader_FFT_XT3", 0,
         {"TStart         = -1.00", "TStop          = 2.50", "PathFile       = ",
          "Quantity       = 1", "MinMax         = 1", "1st Harm       = 1",
          "Finish Reader_FFT_XT3"},
         CALL(Reader_FFT_XT3(1, 0, -1, 2.5, l, p, o, o, o, o, 3, o, b, 1, 0, s))},
        {"Reader_FFT_ALL_Harmonics_XT1", 0, w,
         CALL(Reader_FFT_ALL_Harmonics_XT1(1, 0, -1, 2.5, l, p, o, o, o, o, o, o, o, o, o, o, o,
                                           o, o, o, o, b, 1, 0, s, o))},
        {"Reader_FFT_ALL_Harmonics_XT2", 0, w,
         CALL(Reader_FFT_ALL_Harmonics_XT2(1, 0, -1, 2.5, l, p, o, o, o, o, o, o, o, o, o, o, o,
                                           o, o, o, o, b, 1, 0, s, o))},
        {"Reader_FFT_ALL_Harmonics_XT3", 0, plus(w, {"Quantity  = 1", "Minmax    = 1"}),
         CALL(Reader_FFT_ALL_Harmonics_XT3(1, 0, -1, 2.5, l, p, o, o, o, o, o, o, o, b, 1, 0, s,
                                           o))},
        {"Reader_FFT_HIST1", 1, w,
         CALL(Reader_FFT_HIST1(1, 0, -1, 2.5, l, p, o, o, o, 3, b, 1, 0, s))},
        {"Reader_FFT_HIST2", 1,
         {"Quantity  = 1", "MinMax    = 1", w[0], w[1], "Label     = Label", w[2], "Harmonic  = 3",
          "1.Harm    = 1", "Join      = 1", "HMinMax   = 0", "HMin      = -5.00",
          "HMax      = 5.00", "Flagged   = 1"},
         CALL(Reader_FFT_HIST2(1, 0, -1, 2.5, l, p, o, o, o, 3, b, 1, 1, s, 0, -5, 5, o, o, 1, o,
                               o))},
        {"Reader_FFT_Table1", 1, w,
         CALL(Reader_FFT_Table1(1, 0, -1, 2.5, l, p, b, 1, o, o, o, 0.95f, 0, s, o))},
        {"Reader_FFT_Table2", 1,
         plus(w, {"Quantity  = 1", "MinMax    = 0", "FirstHarmonic  = 1", "Percentil = 1.00",
                  "Flagged   = 0"}),
         CALL(Reader_FFT_Table2(1, 7, -1, 2.5, l, p, b, 1, o, o, o, 1.5f, 0, s, o, 0, o, o))},
    };
}

TEST_F(FrameTest, RefusedPathGivesStatusThreeWithoutDialogOnEveryExport) {
    for (const ExportCase &c : AllExports()) {
        for (std::string path : {std::string(), dir_.file("missing.001.dat")}) {
            SCOPED_TRACE(std::string(c.name) + " path '" + path + "'");
            ClearLog();
            const int dialogs = platform::probe::LastDialog().openCount;
            trova_long status = -1;
            EXPECT_EQ(c.call(path.data(), &status), c.result);
            EXPECT_EQ(status, TROVA_READER_NO_FILES);
            EXPECT_EQ(platform::probe::LastDialog().openCount, dialogs);
            Lines want = {std::string(60, '='), "Start " + std::string(c.name),
                          std::string(30, '-')};
            for (const std::string &line : c.lines) {
                want.push_back(line + (line.rfind("PathFile", 0) == 0 ? path : ""));
            }
            EXPECT_EQ(LogLines(), want);
        }
    }
}

TEST_F(FrameTest, DialogIsTopmostCentredAndTitled) {
    rec::RecordingPlan plan;
    plan.add(3);
    std::string path = PathOf(Write(plan), 0), label = "Title" + std::string(3000, 't');
    char button[] = "Abort";
    int points = 10, factor = 0, status = -1, flags[10];
    float values[50];
    double times[20];
    Reader_XT(0, 0, -1, -1, 0, label.data(), path.data(), &points, values, values, values, times,
              flags, &factor, button, &status);
    const platform::probe::DialogState d = platform::probe::LastDialog();
    const int width = d.rect.right - d.rect.left, height = d.rect.bottom - d.rect.top;
    EXPECT_EQ(std::tuple(status, d.templateId, d.owner, d.title, d.buttonText, d.topmost),
              std::tuple(0, 101, HWND(nullptr), label.substr(0, 2047), "Abort", true));
    EXPECT_EQ(std::tuple(d.barMin, d.barMax, d.barStep, d.rect.left, d.rect.top, width > 10),
              std::tuple(0, 100, 10, (platform::probe::kScreenWidth - width) / 2,
                         (platform::probe::kScreenHeight - height) / 2, true));
}

TEST(FrameLibrary, SharedLibraryExportsTheReadersAndHostInterfaceOnly) {
    void *library = dlopen(TROVA_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const ExportCase &c : AllExports()) EXPECT_NE(dlsym(library, c.name), nullptr) << c.name;
    for (std::string name : {"TrovaSetProgressCallback", "TrovaRequestCancel", "DllMain",
                             "TrovaSetCompletionPause", "TrovaSetLogDirectory", "TrovaDescribeRecording",
                             "_ZN5trova13Reader_ThreadEPv", "_ZN5trova9FileTableE"}) {
        EXPECT_EQ(dlsym(library, name.c_str()) != nullptr, name.rfind("Trova", 0) == 0) << name;
    }
    dlclose(library);
}

}  // namespace
}  // namespace trova
