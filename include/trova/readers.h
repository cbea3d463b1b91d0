/* trova: readers of power-quality analyser recordings.
 *
 * The thirteen reader functions. Every call blocks until its worker has
 * finished; the outcome is written to *Status (see TROVA_READER_* below).
 * Output arrays belong to the caller and must be sized as each reader
 * documents (docs/readers.md).
 *
 * On Windows every `long` is the platform's 32-bit long; elsewhere it is
 * int32_t, so the same binary layout holds on both.
 *
 * Threads. The readers may be called from any thread, but one call runs at
 * a time per process: the module's state (the file table of the last
 * recording, the progress dialog, the cancel request) belongs to the
 * running call. A call made while another runs on another thread waits
 * until that call has returned, then runs normally with its own outputs,
 * status, log lines and progress. The wait has no time limit. On Windows
 * the waiting thread keeps answering messages that other threads send to
 * its windows (so a running call's dialog never hangs on it); messages
 * posted to it stay queued until its own call runs or returns.
 *
 * A call made on the thread whose call is running (re-entered from a
 * progress callback, or from a timer or window procedure that the
 * dialog's message loop dispatches) cannot wait for its own thread: it is
 * refused at once with *Status = TROVA_READER_BUSY and result 0; it logs
 * nothing, touches no other output and leaves the running call unharmed.
 */
#ifndef TROVA_READERS_H
#define TROVA_READERS_H

#include <stdint.h>

#ifdef _WIN32
typedef long trova_long;
#define TROVA_API
#else
typedef int32_t trova_long;
#define TROVA_API __attribute__((visibility("default")))
#endif

/* Completion codes written to *Status. */
#define TROVA_READER_OK 0
#define TROVA_READER_CANCELLED 1
#define TROVA_READER_BAD_MINMAX 2
#define TROVA_READER_NO_FILES 3
#define TROVA_READER_BAD_QUANTITY 4
#define TROVA_READER_NO_POWER_BLOCK 5
/* The call was re-entered on the thread whose call is running and did not
 * run (see Threads above). */
#define TROVA_READER_BUSY 6

#ifdef __cplusplus
extern "C" {
#endif

/* Trend recordings. */
TROVA_API int Reader_XT(int Quantity, int MinMax, double TStart, double TStop, float ExtRef,
                        char *Label, char *PathFile, int *Points, float *MinValues,
                        float *MaxValues, float *MeanValues, double *Times, int *FlagWords,
                        int *InterleaveFactor, char *ButtonText, int *Status);

TROVA_API int Reader_XT2(int Quantity, int MinMax, double TStart, double TStop, float ExtRef,
                         char *Label, char *PathFile, int *Points, float *Values, double *Times,
                         int *FlagWords, int *InterleaveFactor, char *ButtonText, int *Status);

TROVA_API int Reader_HIST(int Quantity, int MinMax, double TStart, double TStop, float ExtRef,
                          char *Label, char *PathFile, double *HStart, double *HWidth,
                          trova_long *HCounts, char *ButtonText, trova_long *Status,
                          trova_long HMinMax, double HMin, double HMax, trova_long *HRangePoints,
                          trova_long *HTotalPoints, trova_long Flagged,
                          trova_long *FFlaggedPoints, trova_long *FTotalPoints);

/* Harmonic recordings: trends of one quantity. */
TROVA_API int Reader_FFT_XT1(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                             char *PathFile, trova_long *Points, float *MinValues,
                             float *MaxValues, float *MeanValues, double *Times,
                             trova_long *FlagWords, trova_long Harmonic,
                             trova_long *InterleaveFactor, char *ButtonText,
                             trova_long FirstHarmonic, trova_long Join, trova_long *Status);

TROVA_API int Reader_FFT_XT2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                             char *PathFile, trova_long *Points, float *MinValues,
                             float *MaxValues, float *MeanValues, double *Times,
                             trova_long *FlagWords, trova_long Harmonic,
                             trova_long *InterleaveFactor, char *ButtonText,
                             trova_long FirstHarmonic, trova_long Join, trova_long *Status);

TROVA_API int Reader_FFT_XT3(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                             char *PathFile, trova_long *Points, float *Values, double *Times,
                             trova_long *FlagWords, trova_long Harmonic,
                             trova_long *InterleaveFactor, char *ButtonText,
                             trova_long FirstHarmonic, trova_long Join, trova_long *Status);

/* Harmonic recordings: trends of whole spectra. */
TROVA_API int Reader_FFT_ALL_Harmonics_XT1(
    int Quantity, int MinMax, double TStart, double TStop, char *Label, char *PathFile,
    float *MinValues0, float *MaxValues0, float *MeanValues0, float *MinValues1,
    float *MaxValues1, float *MeanValues1, float *MinValues2, float *MaxValues2,
    float *MeanValues2, float *MinValues3, float *MaxValues3, float *MeanValues3, double *Times,
    trova_long *FlagWords, trova_long *InterleaveFactor, char *ButtonText,
    trova_long FirstHarmonic, trova_long Join, trova_long *Status, trova_long *HarmCount);

TROVA_API int Reader_FFT_ALL_Harmonics_XT2(
    int Quantity, int MinMax, double TStart, double TStop, char *Label, char *PathFile,
    float *MinValues0, float *MaxValues0, float *MeanValues0, float *MinValues1,
    float *MaxValues1, float *MeanValues1, float *MinValues2, float *MaxValues2,
    float *MeanValues2, float *MinValues3, float *MaxValues3, float *MeanValues3, double *Times,
    trova_long *FlagWords, trova_long *InterleaveFactor, char *ButtonText,
    trova_long FirstHarmonic, trova_long Join, trova_long *Status, trova_long *HarmCount);

TROVA_API int Reader_FFT_ALL_Harmonics_XT3(int Quantity, int MinMax, double TStart, double TStop,
                                           char *Label, char *PathFile, float *Values0,
                                           float *Values1, float *Values2, float *Values3,
                                           double *Times, trova_long *FlagWords,
                                           trova_long *InterleaveFactor, char *ButtonText,
                                           trova_long FirstHarmonic, trova_long Join,
                                           trova_long *Status, trova_long *HarmCount);

/* Harmonic recordings: histograms and percentile tables. */
TROVA_API int Reader_FFT_HIST1(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                               char *PathFile, double *HStart, double *HWidth,
                               trova_long *HCounts, trova_long Harmonic, char *ButtonText,
                               trova_long FirstHarmonic, trova_long Join, trova_long *Status);

TROVA_API int Reader_FFT_Table1(trova_long Quantity, trova_long MinMax, double TStart,
                                double TStop, char *Label, char *PathFile, char *ButtonText,
                                trova_long FirstHarmonic, float *HarmTable, float *ValueATable,
                                float *ValueBTable, float Percentil, trova_long Join,
                                trova_long *Status, trova_long *HarmCount);

TROVA_API int Reader_FFT_Table2(trova_long Quantity, trova_long MinMax, double TStart,
                                double TStop, char *Label, char *PathFile, char *ButtonText,
                                trova_long FirstHarmonic, float *HarmTable, float *ValueATable,
                                float *ValueBTable, float Percentil, trova_long Join,
                                trova_long *Status, trova_long *HarmCount, trova_long Flagged,
                                trova_long *FFlaggedPoints, trova_long *FTotalPoints);

#if !defined(_WIN32)
/* On Windows this one reader is exported under its decorated C++ name
 * (declared below, outside the C block); elsewhere under its plain name. */
TROVA_API int Reader_FFT_HIST2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                               char *PathFile, double *HStart, double *HWidth,
                               trova_long *HCounts, trova_long Harmonic, char *ButtonText,
                               trova_long FirstHarmonic, trova_long Join, trova_long *Status,
                               trova_long HMinMax, double HMin, double HMax,
                               trova_long *HRangePoints, trova_long *HTotalPoints,
                               trova_long Flagged, trova_long *FFlaggedPoints,
                               trova_long *FTotalPoints);
#endif

#ifdef __cplusplus
} /* extern "C" */
#endif

#if defined(_WIN32) && defined(__cplusplus)
int Reader_FFT_HIST2(int Quantity, int MinMax, double TStart, double TStop, char *Label,
                     char *PathFile, double *HStart, double *HWidth, long *HCounts,
                     long Harmonic, char *ButtonText, long FirstHarmonic, long Join,
                     long *Status, long HMinMax, double HMin, double HMax, long *HRangePoints,
                     long *HTotalPoints, long Flagged, long *FFlaggedPoints,
                     long *FTotalPoints);
#endif

#endif /* TROVA_READERS_H */
