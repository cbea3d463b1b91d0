// The module frame: the diagnostic log, the exports' common protocol and
// the progress dialog, seen through the POSIX stand-in.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "frame/dialog.h"
#include "frame/log.h"
#include "platform/posix/dialog_probe.h"
#include "recording_writer.h"
#include "support/test_support.h"

namespace trova {
namespace {

using testing::ReaderTest;
using testing::ScratchDir;

class FrameLog : public ReaderTest {};

TEST_F(FrameLog, LinesFormatsAndCrLf) {
    LogDouble("TStart   ", 12.5);
    LogInt("Quantity ", -7);
    LogString("PathFile ", "/rec/meas.001.dat");
    LogLine("plain");
    LogLine("");
    const std::string longValue(400, 'x');
    LogString("Label    ", longValue.c_str());
    const std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "TStart    = 12.50");
    EXPECT_EQ(lines[1], "Quantity  = -7");
    EXPECT_EQ(lines[2], "PathFile  = /rec/meas.001.dat");
    EXPECT_EQ(lines[3], "plain");
    EXPECT_EQ(lines[4], "");
    EXPECT_EQ(lines[5], "Label     = " + std::string(255 - 12, 'x'));  // cut to 255
}

TEST_F(FrameLog, SwitchedOffOrMissingDirectoryDropsLinesSilently) {
    TrovaSetLogDirectory(nullptr);
    LogLine("dropped");
    TrovaSetLogDirectory("");
    LogLine("dropped");
    const std::string missing = dir_.path() + "/no-such-dir";
    TrovaSetLogDirectory(missing.c_str());
    LogLine("dropped");
    EXPECT_EQ(testing::ReadFileText(missing + "/TrovaDLL.LOG"), "");
    TrovaSetLogDirectory(dir_.path().c_str());
    EXPECT_TRUE(LogLines().empty());
}

// Every export with a path that the check refuses: status 3, the documented
// result, no dialog, no output touched, the banner and parameter lines.
struct ExportCase {
    const char *name;
    int refusedResult;
    std::vector<std::string> parameterLines;  // for PathFile "" and defaults below
    const char *finishLine;
    std::function<int(char *path, trova_long *status, float *out)> call;
};

std::vector<ExportCase> AllExports() {
    static char label[] = "Label";
    static char button[] = "Button";
    auto asInt = [](trova_long *status) { return reinterpret_cast<int *>(status); };
    return {
        {"Reader_XT", 0,
         {"Quantity  = 1", "MinMax    = 0", "TStart    = -1.00", "TStop     = 2.50",
          "PathFile  = "},
         "Finish Reader_XT",
         [=](char *path, trova_long *status, float *out) {
             int points = 4, factor = 0;
             return Reader_XT(1, 0, -1.0, 2.5, 0.0f, label, path, &points, out, out, out, nullptr,
                              nullptr, &factor, button, asInt(status));
         }},
        {"Reader_XT2", 0,
         {"Quantity  = 1", "MinMax    = 0", "TStart    = -1.00", "TStop     = 2.50",
          "PathFile  = "},
         "Finish Reader_XT2",
         [=](char *path, trova_long *status, float *out) {
             int points = 4, factor = 0;
             return Reader_XT2(1, 0, -1.0, 2.5, 0.0f, label, path, &points, out, nullptr, nullptr,
                               &factor, button, asInt(status));
         }},
        {"Reader_HIST", 0,
         {"Quantity  = 1", "MinMax    = 0", "TStart    = -1.00", "TStop     = 2.50",
          "Label     = Label", "PathFile  = ", "ExtRef    = 230.00", "HMinMax   = 1",
          "HMin      = 0.00", "HMax      = 98.00", "Flagged   = 0"},
         nullptr,
         [=](char *path, trova_long *status, float *) {
             return Reader_HIST(1, 0, -1.0, 2.5, 230.0f, label, path, nullptr, nullptr, nullptr,
                                button, status, 1, 0.0, 98.0, nullptr, nullptr, 0, nullptr,
                                nullptr);
         }},
        {"Reader_FFT_XT1", 0, {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "}, nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long points = 4, factor = 0;
             return Reader_FFT_XT1(1, 0, -1.0, 2.5, label, path, &points, out, out, out, nullptr,
                                   nullptr, 3, &factor, button, 1, 0, status);
         }},
        {"Reader_FFT_XT2", 0, {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "}, nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long points = 4, factor = 0;
             return Reader_FFT_XT2(1, 0, -1.0, 2.5, label, path, &points, out, out, out, nullptr,
                                   nullptr, 3, &factor, button, 1, 0, status);
         }},
        {"Reader_FFT_XT3", 0,
         {"TStart         = -1.00", "TStop          = 2.50", "PathFile       = ",
          "Quantity       = 1", "MinMax         = 1", "1st Harm       = 1"},
         "Finish Reader_FFT_XT3",
         [=](char *path, trova_long *status, float *out) {
             trova_long points = 4, factor = 0;
             return Reader_FFT_XT3(1, 0, -1.0, 2.5, label, path, &points, out, nullptr, nullptr, 3,
                                   &factor, button, 1, 0, status);
         }},
        {"Reader_FFT_ALL_Harmonics_XT1", 0,
         {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "}, nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long factor = 0, harm = 0;
             return Reader_FFT_ALL_Harmonics_XT1(1, 0, -1.0, 2.5, label, path, out, out, out, out,
                                                 out, out, out, out, out, out, out, out, nullptr,
                                                 nullptr, &factor, button, 1, 0, status, &harm);
         }},
        {"Reader_FFT_ALL_Harmonics_XT2", 0,
         {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "}, nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long factor = 0, harm = 0;
             return Reader_FFT_ALL_Harmonics_XT2(1, 0, -1.0, 2.5, label, path, out, out, out, out,
                                                 out, out, out, out, out, out, out, out, nullptr,
                                                 nullptr, &factor, button, 1, 0, status, &harm);
         }},
        {"Reader_FFT_ALL_Harmonics_XT3", 0,
         {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = ", "Quantity  = 1",
          "Minmax    = 1"},
         nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long factor = 0, harm = 0;
             return Reader_FFT_ALL_Harmonics_XT3(1, 0, -1.0, 2.5, label, path, out, out, out, out,
                                                 nullptr, nullptr, &factor, button, 1, 0, status,
                                                 &harm);
         }},
        {"Reader_FFT_HIST1", 1, {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "}, nullptr,
         [=](char *path, trova_long *status, float *) {
             return Reader_FFT_HIST1(1, 0, -1.0, 2.5, label, path, nullptr, nullptr, nullptr, 3,
                                     button, 1, 0, status);
         }},
        {"Reader_FFT_HIST2", 1,
         {"Quantity  = 1", "MinMax    = 1", "TStart    = -1.00", "TStop     = 2.50",
          "Label     = Label", "PathFile  = ", "Harmonic  = 3", "1.Harm    = 1", "Join      = 1",
          "HMinMax   = 0", "HMin      = -5.00", "HMax      = 5.00", "Flagged   = 1"},
         nullptr,
         [=](char *path, trova_long *status, float *) {
             return Reader_FFT_HIST2(1, 0, -1.0, 2.5, label, path, nullptr, nullptr, nullptr, 3,
                                     button, 1, 1, status, 0, -5.0, 5.0, nullptr, nullptr, 1,
                                     nullptr, nullptr);
         }},
        {"Reader_FFT_Table1", 1, {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = "},
         nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long harm = 0;
             return Reader_FFT_Table1(1, 0, -1.0, 2.5, label, path, button, 1, out, out, out, 0.95f,
                                      0, status, &harm);
         }},
        {"Reader_FFT_Table2", 1,
         {"TStart    = -1.00", "TStop     = 2.50", "PathFile  = ", "Quantity  = 1",
          "MinMax    = 0", "FirstHarmonic  = 1", "Percentil = 1.00", "Flagged   = 0"},
         nullptr,
         [=](char *path, trova_long *status, float *out) {
             trova_long harm = 0, flagged = 0, total = 0;
             return Reader_FFT_Table2(1, 7, -1.0, 2.5, label, path, button, 1, out, out, out, 1.5f,
                                      0, status, &harm, 0, &flagged, &total);
         }},
    };
}

class FrameExports : public ReaderTest {};

TEST_F(FrameExports, RefusedPathGivesStatusThreeWithoutDialogOnEveryExport) {
    const std::string missing = dir_.file("missing.001.dat");
    for (const ExportCase &c : AllExports()) {
        for (const std::string &pathText : {std::string(), missing}) {
            SCOPED_TRACE(std::string(c.name) + " path '" + pathText + "'");
            ClearLog();
            const int dialogsBefore = platform::probe::LastDialog().openCount;
            std::string path = pathText;
            trova_long status = -1;
            float out[64];
            for (float &v : out) v = -3.0f;
            const int result = c.call(path.data(), &status, out);
            EXPECT_EQ(status, TROVA_READER_NO_FILES);
            EXPECT_EQ(result, c.refusedResult);
            EXPECT_EQ(platform::probe::LastDialog().openCount, dialogsBefore);
            EXPECT_EQ(out[0], -3.0f);

            std::vector<std::string> expected = {
                "============================================================",
                std::string("Start ") + c.name, "------------------------------"};
            for (std::string line : c.parameterLines) {
                if (line.find("PathFile") == 0) line += pathText;
                expected.push_back(line);
            }
            if (c.finishLine != nullptr) expected.push_back(c.finishLine);
            EXPECT_EQ(LogLines(), expected);
        }
    }
}

TEST_F(FrameExports, ReaderWithoutWorkerClosesTheDialogAndLeavesStatus) {
    // A reader whose worker this build does not have yet: the dialog opens
    // and closes at once, and the status stays as the export left it.
    const std::map<std::string, int32_t> kinds = {
        {"Reader_XT", kReaderXt},
        {"Reader_XT2", kReaderXt2},
        {"Reader_HIST", kReaderHist},
        {"Reader_FFT_XT1", kReaderFftXt1},
        {"Reader_FFT_XT2", kReaderFftXt2},
        {"Reader_FFT_XT3", kReaderFftXt3},
        {"Reader_FFT_ALL_Harmonics_XT1", kReaderFftAllXt1},
        {"Reader_FFT_ALL_Harmonics_XT2", kReaderFftAllXt2},
        {"Reader_FFT_ALL_Harmonics_XT3", kReaderFftAllXt3},
        {"Reader_FFT_HIST1", kReaderFftHist1},
        {"Reader_FFT_HIST2", kReaderFftHist2},
        {"Reader_FFT_Table1", kReaderFftTable1},
        {"Reader_FFT_Table2", kReaderFftTable2},
    };
    rec::RecordingPlan plan;
    plan.kind = rec::Kind::Harmonic;
    plan.add(3);
    const rec::RecordingInfo info = rec::writeRecording(dir_.path(), plan);
    std::string path = PathOf(info, 0);
    for (const ExportCase &c : AllExports()) {
        const std::string name = c.name;
        if (WorkerFor(kinds.at(name)) != nullptr) continue;
        SCOPED_TRACE(name);
        const int dialogsBefore = platform::probe::LastDialog().openCount;
        trova_long status = -1;
        float out[64] = {};
        const int result = c.call(path.data(), &status, out);
        EXPECT_EQ(platform::probe::LastDialog().openCount, dialogsBefore + 1);
        EXPECT_FALSE(platform::probe::LastDialog().open);
        EXPECT_EQ(status, -1);
        EXPECT_EQ(result, c.refusedResult);
    }
}

TEST_F(FrameExports, DialogIsTopmostCentredAndTitled) {
    rec::RecordingPlan plan;
    plan.add(3);
    const rec::RecordingInfo info = rec::writeRecording(dir_.path(), plan);
    std::string path = PathOf(info, 0);
    std::string label(3000, 't');  // longer than the title buffer
    label.replace(0, 5, "Title");
    char button[] = "Abort";
    int points = 10, factor = 0, status = -1;
    float values[50];
    double times[20];
    int flags[10];
    Reader_XT(0, 0, -1.0, -1.0, 0.0f, label.data(), path.data(), &points, values, values, values,
              times, flags, &factor, button, &status);
    EXPECT_EQ(status, TROVA_READER_OK);
    const platform::probe::DialogState dialog = platform::probe::LastDialog();
    EXPECT_EQ(dialog.templateId, 101);
    EXPECT_EQ(dialog.owner, nullptr);
    EXPECT_EQ(dialog.title, label.substr(0, 2047));
    EXPECT_EQ(dialog.buttonText, "Abort");
    EXPECT_TRUE(dialog.topmost);
    EXPECT_EQ(dialog.barMin, 0);
    EXPECT_EQ(dialog.barMax, 100);
    EXPECT_EQ(dialog.barStep, 10);
    const int width = dialog.rect.right - dialog.rect.left;
    const int height = dialog.rect.bottom - dialog.rect.top;
    EXPECT_GT(width, 0);
    EXPECT_EQ(dialog.rect.left, (platform::probe::kScreenWidth - width) / 2);
    EXPECT_EQ(dialog.rect.top, (platform::probe::kScreenHeight - height) / 2);
}

TEST_F(FrameExports, CancelBeforeTheCallIsClearedWhenTheDialogOpens) {
    rec::RecordingPlan plan;
    plan.add(3);
    plan.add(3);
    const rec::RecordingInfo info = rec::writeRecording(dir_.path(), plan);
    std::string path = PathOf(info, 0);
    // A click that comes after a call's last poll must not cancel the next one.
    platform::probe::SetPollHook([](int poll, HANDLE event) {
        if (poll != 1) return;
        TrovaRequestCancel();
        for (int i = 0; i < 5000 && !platform::probe::EventIsSignalled(event); ++i) Sleep(1);
    });
    int points = 10, factor = 0, status = -1;
    float values[50];
    double times[20];
    int flags[10];
    char label[] = "l", button[] = "b";
    Reader_XT(0, 0, -1.0, -1.0, 0.0f, label, path.data(), &points, values, values, values, times,
              flags, &factor, button, &status);
    EXPECT_EQ(status, TROVA_READER_CANCELLED);  // seen at the last poll
    platform::probe::SetPollHook(nullptr);
    Reader_XT(0, 0, -1.0, -1.0, 0.0f, label, path.data(), &points, values, values, values, times,
              flags, &factor, button, &status);
    EXPECT_EQ(status, TROVA_READER_OK);
}

TEST(FrameLibrary, SharedLibraryExportsTheReadersAndHostInterfaceOnly) {
    void *library = dlopen(TROVA_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const char *name :
         {"Reader_XT", "Reader_XT2", "Reader_HIST", "Reader_FFT_XT1", "Reader_FFT_XT2",
          "Reader_FFT_XT3", "Reader_FFT_ALL_Harmonics_XT1", "Reader_FFT_ALL_Harmonics_XT2",
          "Reader_FFT_ALL_Harmonics_XT3", "Reader_FFT_HIST1", "Reader_FFT_HIST2",
          "Reader_FFT_Table1", "Reader_FFT_Table2", "TrovaSetProgressCallback",
          "TrovaRequestCancel", "TrovaSetCompletionPause", "TrovaSetLogDirectory"}) {
        EXPECT_NE(dlsym(library, name), nullptr) << name;
    }
    // Internals stay hidden.
    for (const char *name : {"DllMain", "_ZN5trova13Reader_ThreadEPv", "_ZN5trova9FileTableE"}) {
        EXPECT_EQ(dlsym(library, name), nullptr) << name;
    }
    dlclose(library);
}

}  // namespace
}  // namespace trova
