// Parameter blocks of the harmonic histogram and table readers.
#pragma once

#include "trova/readers.h"

namespace trova {

struct ReaderFftHist1Params {
    int Quantity;
    int MinMax;  // value set: 1 when the caller's MinMax is 0, else 0
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    double *HStart;
    double *HWidth;
    trova_long *HCounts;
    trova_long Harmonic;
    trova_long FirstHarmonic;
    trova_long Join;
    trova_long *Status;
};

struct ReaderFftHist2Params {
    ReaderFftHist1Params base;
    trova_long HMinMax;
    double HMin;
    double HMax;
    trova_long *HRangePoints;
    trova_long *HTotalPoints;
    trova_long Flagged;
    trova_long *FFlaggedPoints;
    trova_long *FTotalPoints;
};

struct ReaderFftTable1Params {
    trova_long Quantity;
    trova_long MinMax;  // stored selector m
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    trova_long FirstHarmonic;
    float *HarmTable;
    float *ValueATable;
    float *ValueBTable;
    float Percentil;  // clamped to 0.0 .. 1.0 by the export
    trova_long Join;
    trova_long *Status;
    trova_long *HarmCount;
};

struct ReaderFftTable2Params {
    ReaderFftTable1Params base;
    trova_long Flagged;
    trova_long *FFlaggedPoints;
    trova_long *FTotalPoints;
};

}  // namespace trova
