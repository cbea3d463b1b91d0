// The thirteen reader exports. Each one copies its arguments into a
// parameter block on its own stack, logs a banner and its parameters,
// checks that PathFile can be opened and runs its worker under the modal
// progress dialog; the worker writes the caller's arrays and *Status.
#include <cstdio>
#include <cstring>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "files/completion.h"
#include "frame/call_lock.h"
#include "frame/dialog.h"
#include "frame/log.h"
#include "frame/module_state.h"
#include "harmonics/harmonic_params.h"
#include "harmstats/harmstats_params.h"
#include "trend/trend_params.h"
#include "trova/readers.h"

namespace trova {
namespace {

// 1 when PathFile is empty or cannot be opened; nothing is read. On POSIX
// fopen opens a directory too, where Windows refuses it: a directory is
// refused here alike, so both builds answer such a path the same way.
int CheckPathFile(const char *PathFile) {
    if (PathFile == nullptr || PathFile[0] == '\0') return 1;
    std::FILE *file = std::fopen(PathFile, "rb");
    if (file == nullptr) return 1;
#ifndef _WIN32
    struct stat info;
    const bool directory = fstat(fileno(file), &info) == 0 && S_ISDIR(info.st_mode);
    std::fclose(file);
    return directory ? 1 : 0;
#else
    std::fclose(file);
    return 0;
#endif
}

// The harmonic exports hand their workers the opposite sense of MinMax.
int InvertedMinMax(long long MinMax) { return MinMax == 0 ? 1 : 0; }

// The table exports clamp the percentile to 0.0 .. 1.0 (a NaN passes).
float ClampedPercentil(float Percentil) {
    if (Percentil < 0.0f) return 0.0f;
    if (Percentil > 1.0f) return 1.0f;
    return Percentil;
}

// The common opening: register the controls, take the title, clear the
// progress and write the banner.
void BeginExport(const char *exportName, const char *Label) {
    InitCommonControls();
    // A title too long for its buffer is cut.
    std::snprintf(DialogTitle, sizeof DialogTitle, "%s", Label != nullptr ? Label : "");
    ProgressTotal = 0;
    char start[128];
    std::snprintf(start, sizeof start, "Start %s", exportName);
    LogLine("============================================================");
    LogLine(start);
    LogLine("------------------------------");
}

void LogWindowAndPath(double TStart, double TStop, const char *PathFile) {
    LogDouble("TStart   ", TStart);
    LogDouble("TStop    ", TStop);
    LogString("PathFile ", PathFile);
}

// A call re-entered on the thread whose call is running (ExportCallLock):
// status 6 and result 0, nothing logged and no other output touched.
template <class StatusT>
int RefuseReentry(StatusT *Status) {
    if (Status != nullptr) *Status = READER_BUSY;
    return 0;
}

// The path check and, when it passes, the modal dialog with the worker.
// With a failing check *Status = 3 and no output array is touched.
template <class StatusT>
void RunReader(ReaderKind kind, void *params, const char *PathFile, char *ButtonText,
               StatusT *Status) {
    if (CheckPathFile(PathFile) != 0) {
        if (Status != nullptr) *Status = READER_NO_FILES;
        return;
    }
    ReaderJob job{params, kind, ButtonText};
    DialogBoxParamA(ModuleHandle, MAKEINTRESOURCEA(IDD_PROGRESS), nullptr, ProgressDlgProc,
                    reinterpret_cast<LPARAM>(&job));
}

}  // namespace
}  // namespace trova

using namespace trova;

extern "C" {

TROVA_API int Reader_XT(int Quantity, int MinMax, double TStart, double TStop, float ExtRef,
                        char *Label, char *PathFile, int *Points, float *MinValues,
                        float *MaxValues, float *MeanValues, double *Times, int *FlagWords,
                        int *InterleaveFactor, char *ButtonText, int *Status) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    int result = 0;
    ReaderXtParams params{Quantity,  MinMax,    TStart,     TStop, Label,
                          PathFile,  Points,    MinValues,  MaxValues, MeanValues,
                          Times,     FlagWords, &result,    InterleaveFactor,
                          Status,    ExtRef};
    BeginExport("Reader_XT", Label);
    LogInt("Quantity ", Quantity);
    LogInt("MinMax   ", MinMax);
    LogWindowAndPath(TStart, TStop, PathFile);
    RunReader(kReaderXt, &params, PathFile, ButtonText, Status);
    LogLine("Finish Reader_XT");
    return result;
}

TROVA_API int Reader_XT2(int Quantity, int MinMax, double TStart, double TStop, float ExtRef,
                         char *Label, char *PathFile, int *Points, float *Values, double *Times,
                         int *FlagWords, int *InterleaveFactor, char *ButtonText, int *Status) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    int result = 0;
    ReaderXt2Params params{Quantity, MinMax,  TStart,   TStop,   Label,
                           PathFile, Points,  Values,   Times,   FlagWords,
                           &result,  InterleaveFactor,  Status,  ExtRef};
    BeginExport("Reader_XT2", Label);
    LogInt("Quantity ", Quantity);
    LogInt("MinMax   ", MinMax);
    LogWindowAndPath(TStart, TStop, PathFile);
    RunReader(kReaderXt2, &params, PathFile, ButtonText, Status);
    LogLine("Finish Reader_XT2");
    return result;
}

TROVA_API int Reader_HIST(int Quantity, int MinMax, double TStart, double TStop, float ExtRef,
                          char *Label, char *PathFile, double *HStart, double *HWidth,
                          trova_long *HCounts, char *ButtonText, trova_long *Status,
                          trova_long HMinMax, double HMin, double HMax, trova_long *HRangePoints,
                          trova_long *HTotalPoints, trova_long Flagged,
                          trova_long *FFlaggedPoints, trova_long *FTotalPoints) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    ReaderHistParams params{Quantity, MinMax,  TStart,  TStop,        Label,
                            PathFile, HCounts, Status,  ExtRef,       HStart,
                            HWidth,   HMinMax, HMin,    HMax,         HRangePoints,
                            HTotalPoints, Flagged, FFlaggedPoints, FTotalPoints};
    BeginExport("Reader_HIST", Label);
    LogInt("Quantity ", Quantity);
    LogInt("MinMax   ", MinMax);
    LogDouble("TStart   ", TStart);
    LogDouble("TStop    ", TStop);
    LogString("Label    ", Label);
    LogString("PathFile ", PathFile);
    LogDouble("ExtRef   ", static_cast<double>(ExtRef));
    LogInt("HMinMax  ", HMinMax);
    LogDouble("HMin     ", HMin);
    LogDouble("HMax     ", HMax);
    LogInt("Flagged  ", Flagged);
    RunReader(kReaderHist, &params, PathFile, ButtonText, Status);
    return 0;
}

}  // extern "C"

namespace {

// Reader_FFT_XT1 and Reader_FFT_XT2 share their arguments and block.
int RunFftXt(ReaderKind kind, const char *name, int Quantity, int MinMax, double TStart,
             double TStop, char *Label, char *PathFile, trova_long *Points, float *MinValues,
             float *MaxValues, float *MeanValues, double *Times, trova_long *FlagWords,
             trova_long Harmonic, trova_long *InterleaveFactor, char *ButtonText,
             trova_long FirstHarmonic, trova_long Join, trova_long *Status) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    int result = 0;
    ReaderFftXtParams params{Quantity,  InvertedMinMax(MinMax), TStart,   TStop,
                             Label,     PathFile,  Points,      MinValues, MaxValues,
                             MeanValues, Times,    &result,     Harmonic,  InterleaveFactor,
                             FlagWords, FirstHarmonic, Join,    Status};
    BeginExport(name, Label);
    LogWindowAndPath(TStart, TStop, PathFile);
    RunReader(kind, &params, PathFile, ButtonText, Status);
    return result;
}

// Reader_FFT_ALL_Harmonics_XT1 and _XT2 likewise.
int RunFftAll(ReaderKind kind, const char *name, int Quantity, int MinMax, double TStart,
              double TStop, char *Label, char *PathFile, float *const values[12], double *Times,
              trova_long *FlagWords, trova_long *InterleaveFactor, char *ButtonText,
              trova_long FirstHarmonic, trova_long Join, trova_long *Status,
              trova_long *HarmCount) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    int result = 0;
    ReaderFftAllParams params{Quantity,  InvertedMinMax(MinMax), TStart, TStop, Label, PathFile,
                              values[0], values[1], values[2],  values[3], values[4], values[5],
                              values[6], values[7], values[8],  values[9], values[10], values[11],
                              Times,     FlagWords, InterleaveFactor, FirstHarmonic, &result,
                              Join,      Status,    HarmCount};
    BeginExport(name, Label);
    LogWindowAndPath(TStart, TStop, PathFile);
    RunReader(kind, &params, PathFile, ButtonText, Status);
    return result;
}

void LogHist2Parameters(const ReaderFftHist2Params &params) {
    LogInt("Quantity ", params.base.Quantity);
    LogInt("MinMax   ", params.base.MinMax);
    LogDouble("TStart   ", params.base.TStart);
    LogDouble("TStop    ", params.base.TStop);
    LogString("Label    ", params.base.Label);
    LogString("PathFile ", params.base.PathFile);
    LogInt("Harmonic ", params.base.Harmonic);
    LogInt("1.Harm   ", params.base.FirstHarmonic);
    LogInt("Join     ", params.base.Join);
    LogInt("HMinMax  ", params.HMinMax);
    LogDouble("HMin     ", params.HMin);
    LogDouble("HMax     ", params.HMax);
    LogInt("Flagged  ", params.Flagged);
}

int RunFftHist2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                char *PathFile, double *HStart, double *HWidth, trova_long *HCounts,
                trova_long Harmonic, char *ButtonText, trova_long FirstHarmonic, trova_long Join,
                trova_long *Status, trova_long HMinMax, double HMin, double HMax,
                trova_long *HRangePoints, trova_long *HTotalPoints, trova_long Flagged,
                trova_long *FFlaggedPoints, trova_long *FTotalPoints) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    ReaderFftHist2Params params{
        {Quantity, InvertedMinMax(MinMax), TStart, TStop, Label, PathFile, HStart, HWidth,
         HCounts, Harmonic, FirstHarmonic, Join, Status},
        HMinMax, HMin, HMax, HRangePoints, HTotalPoints, Flagged, FFlaggedPoints, FTotalPoints};
    BeginExport("Reader_FFT_HIST2", Label);
    LogHist2Parameters(params);
    RunReader(kReaderFftHist2, &params, PathFile, ButtonText, Status);
    return 1;
}

}  // namespace

extern "C" {

TROVA_API int Reader_FFT_XT1(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                             char *PathFile, trova_long *Points, float *MinValues,
                             float *MaxValues, float *MeanValues, double *Times,
                             trova_long *FlagWords, trova_long Harmonic,
                             trova_long *InterleaveFactor, char *ButtonText,
                             trova_long FirstHarmonic, trova_long Join, trova_long *Status) {
    return RunFftXt(kReaderFftXt1, "Reader_FFT_XT1", Quantity, MinMax, TStart, TStop, Label,
                    PathFile, Points, MinValues, MaxValues, MeanValues, Times, FlagWords, Harmonic,
                    InterleaveFactor, ButtonText, FirstHarmonic, Join, Status);
}

TROVA_API int Reader_FFT_XT2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                             char *PathFile, trova_long *Points, float *MinValues,
                             float *MaxValues, float *MeanValues, double *Times,
                             trova_long *FlagWords, trova_long Harmonic,
                             trova_long *InterleaveFactor, char *ButtonText,
                             trova_long FirstHarmonic, trova_long Join, trova_long *Status) {
    return RunFftXt(kReaderFftXt2, "Reader_FFT_XT2", Quantity, MinMax, TStart, TStop, Label,
                    PathFile, Points, MinValues, MaxValues, MeanValues, Times, FlagWords, Harmonic,
                    InterleaveFactor, ButtonText, FirstHarmonic, Join, Status);
}

TROVA_API int Reader_FFT_XT3(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                             char *PathFile, trova_long *Points, float *Values, double *Times,
                             trova_long *FlagWords, trova_long Harmonic,
                             trova_long *InterleaveFactor, char *ButtonText,
                             trova_long FirstHarmonic, trova_long Join, trova_long *Status) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    int result = 0;
    ReaderFftXt3Params params{Quantity, InvertedMinMax(MinMax), TStart, TStop, Label, PathFile,
                              Points,   Values,   Times,   &result,  Harmonic, InterleaveFactor,
                              FlagWords, FirstHarmonic, Join, Status};
    BeginExport("Reader_FFT_XT3", Label);
    LogDouble("TStart        ", TStart);
    LogDouble("TStop         ", TStop);
    LogString("PathFile      ", PathFile);
    LogInt("Quantity      ", Quantity);
    LogInt("MinMax        ", params.MinMax);
    LogInt("1st Harm      ", FirstHarmonic);
    RunReader(kReaderFftXt3, &params, PathFile, ButtonText, Status);
    LogLine("Finish Reader_FFT_XT3");
    return result;
}

TROVA_API int Reader_FFT_ALL_Harmonics_XT1(
    int Quantity, int MinMax, double TStart, double TStop, char *Label, char *PathFile,
    float *MinValues0, float *MaxValues0, float *MeanValues0, float *MinValues1,
    float *MaxValues1, float *MeanValues1, float *MinValues2, float *MaxValues2,
    float *MeanValues2, float *MinValues3, float *MaxValues3, float *MeanValues3, double *Times,
    trova_long *FlagWords, trova_long *InterleaveFactor, char *ButtonText,
    trova_long FirstHarmonic, trova_long Join, trova_long *Status, trova_long *HarmCount) {
    float *const values[12] = {MinValues0, MaxValues0, MeanValues0, MinValues1,
                               MaxValues1, MeanValues1, MinValues2, MaxValues2,
                               MeanValues2, MinValues3, MaxValues3, MeanValues3};
    return RunFftAll(kReaderFftAllXt1, "Reader_FFT_ALL_Harmonics_XT1", Quantity, MinMax, TStart,
                     TStop, Label, PathFile, values, Times, FlagWords, InterleaveFactor,
                     ButtonText, FirstHarmonic, Join, Status, HarmCount);
}

TROVA_API int Reader_FFT_ALL_Harmonics_XT2(
    int Quantity, int MinMax, double TStart, double TStop, char *Label, char *PathFile,
    float *MinValues0, float *MaxValues0, float *MeanValues0, float *MinValues1,
    float *MaxValues1, float *MeanValues1, float *MinValues2, float *MaxValues2,
    float *MeanValues2, float *MinValues3, float *MaxValues3, float *MeanValues3, double *Times,
    trova_long *FlagWords, trova_long *InterleaveFactor, char *ButtonText,
    trova_long FirstHarmonic, trova_long Join, trova_long *Status, trova_long *HarmCount) {
    float *const values[12] = {MinValues0, MaxValues0, MeanValues0, MinValues1,
                               MaxValues1, MeanValues1, MinValues2, MaxValues2,
                               MeanValues2, MinValues3, MaxValues3, MeanValues3};
    return RunFftAll(kReaderFftAllXt2, "Reader_FFT_ALL_Harmonics_XT2", Quantity, MinMax, TStart,
                     TStop, Label, PathFile, values, Times, FlagWords, InterleaveFactor,
                     ButtonText, FirstHarmonic, Join, Status, HarmCount);
}

TROVA_API int Reader_FFT_ALL_Harmonics_XT3(int Quantity, int MinMax, double TStart, double TStop,
                                           char *Label, char *PathFile, float *Values0,
                                           float *Values1, float *Values2, float *Values3,
                                           double *Times, trova_long *FlagWords,
                                           trova_long *InterleaveFactor, char *ButtonText,
                                           trova_long FirstHarmonic, trova_long Join,
                                           trova_long *Status, trova_long *HarmCount) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    int result = 0;
    ReaderFftAll3Params params{Quantity, InvertedMinMax(MinMax), TStart, TStop, Label, PathFile,
                               Values0,  Values1, Values2, Values3, Times, FlagWords,
                               InterleaveFactor, FirstHarmonic, &result, Join, Status, HarmCount};
    BeginExport("Reader_FFT_ALL_Harmonics_XT3", Label);
    LogWindowAndPath(TStart, TStop, PathFile);
    LogInt("Quantity ", Quantity);
    LogInt("Minmax   ", params.MinMax);
    RunReader(kReaderFftAllXt3, &params, PathFile, ButtonText, Status);
    return result;
}

TROVA_API int Reader_FFT_HIST1(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                               char *PathFile, double *HStart, double *HWidth,
                               trova_long *HCounts, trova_long Harmonic, char *ButtonText,
                               trova_long FirstHarmonic, trova_long Join, trova_long *Status) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    ReaderFftHist1Params params{Quantity, InvertedMinMax(MinMax), TStart, TStop, Label, PathFile,
                                HStart,   HWidth, HCounts, Harmonic, FirstHarmonic, Join, Status};
    BeginExport("Reader_FFT_HIST1", Label);
    LogWindowAndPath(TStart, TStop, PathFile);
    RunReader(kReaderFftHist1, &params, PathFile, ButtonText, Status);
    return 1;
}

TROVA_API int Reader_FFT_Table1(trova_long Quantity, trova_long MinMax, double TStart,
                                double TStop, char *Label, char *PathFile, char *ButtonText,
                                trova_long FirstHarmonic, float *HarmTable, float *ValueATable,
                                float *ValueBTable, float Percentil, trova_long Join,
                                trova_long *Status, trova_long *HarmCount) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    ReaderFftTable1Params params{Quantity,  InvertedMinMax(MinMax), TStart, TStop, Label,
                                 PathFile,  FirstHarmonic, HarmTable, ValueATable, ValueBTable,
                                 ClampedPercentil(Percentil), Join, Status, HarmCount};
    BeginExport("Reader_FFT_Table1", Label);
    LogWindowAndPath(TStart, TStop, PathFile);
    RunReader(kReaderFftTable1, &params, PathFile, ButtonText, Status);
    return 1;
}

TROVA_API int Reader_FFT_Table2(trova_long Quantity, trova_long MinMax, double TStart,
                                double TStop, char *Label, char *PathFile, char *ButtonText,
                                trova_long FirstHarmonic, float *HarmTable, float *ValueATable,
                                float *ValueBTable, float Percentil, trova_long Join,
                                trova_long *Status, trova_long *HarmCount, trova_long Flagged,
                                trova_long *FFlaggedPoints, trova_long *FTotalPoints) {
    ExportCallLock lock;
    if (!lock.entered()) return RefuseReentry(Status);
    ReaderFftTable2Params params{
        {Quantity, InvertedMinMax(MinMax), TStart, TStop, Label, PathFile, FirstHarmonic,
         HarmTable, ValueATable, ValueBTable, ClampedPercentil(Percentil), Join, Status,
         HarmCount},
        Flagged, FFlaggedPoints, FTotalPoints};
    BeginExport("Reader_FFT_Table2", Label);
    LogWindowAndPath(TStart, TStop, PathFile);
    LogInt("Quantity ", Quantity);
    LogInt("MinMax   ", params.base.MinMax);
    LogInt("FirstHarmonic ", FirstHarmonic);
    LogDouble("Percentil", static_cast<double>(params.base.Percentil));
    LogInt("Flagged  ", Flagged);
    RunReader(kReaderFftTable2, &params, PathFile, ButtonText, Status);
    return 1;
}

#ifndef _WIN32
TROVA_API int Reader_FFT_HIST2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                               char *PathFile, double *HStart, double *HWidth,
                               trova_long *HCounts, trova_long Harmonic, char *ButtonText,
                               trova_long FirstHarmonic, trova_long Join, trova_long *Status,
                               trova_long HMinMax, double HMin, double HMax,
                               trova_long *HRangePoints, trova_long *HTotalPoints,
                               trova_long Flagged, trova_long *FFlaggedPoints,
                               trova_long *FTotalPoints) {
    return RunFftHist2(Quantity, MinMax, TStart, TStop, Label, PathFile, HStart, HWidth, HCounts,
                       Harmonic, ButtonText, FirstHarmonic, Join, Status, HMinMax, HMin, HMax,
                       HRangePoints, HTotalPoints, Flagged, FFlaggedPoints, FTotalPoints);
}
#endif

}  // extern "C"

#ifdef _WIN32
// Exported under its decorated name only (resources/trova.def).
int Reader_FFT_HIST2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                     char *PathFile, double *HStart, double *HWidth, long *HCounts,
                     long Harmonic, char *ButtonText, long FirstHarmonic, long Join,
                     long *Status, long HMinMax, double HMin, double HMax, long *HRangePoints,
                     long *HTotalPoints, long Flagged, long *FFlaggedPoints,
                     long *FTotalPoints) {
    return RunFftHist2(Quantity, MinMax, TStart, TStop, Label, PathFile, HStart, HWidth, HCounts,
                       Harmonic, ButtonText, FirstHarmonic, Join, Status, HMinMax, HMin, HMax,
                       HRangePoints, HTotalPoints, Flagged, FFlaggedPoints, FTotalPoints);
}
#endif
