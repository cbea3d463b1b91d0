// Parameter blocks of the trend readers: what an export hands its worker.
// The worker may correct Quantity and MinMax here, never in the caller's
// memory; it reaches the caller's arrays only through these pointers.
#pragma once

#include "trova/readers.h"

namespace trova {

struct ReaderXtParams {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    int *Points;
    float *MinValues;
    float *MaxValues;
    float *MeanValues;
    double *Times;
    int *FlagWords;
    int *Result;
    int *InterleaveFactor;
    int *Status;
    float ExtRef;
};

struct ReaderXt2Params {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    int *Points;
    float *Values;
    double *Times;
    int *FlagWords;
    int *Result;
    int *InterleaveFactor;
    int *Status;
    float ExtRef;
};

struct ReaderHistParams {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    trova_long *HCounts;
    trova_long *Status;
    float ExtRef;
    double *HStart;
    double *HWidth;
    trova_long HMinMax;
    double HMin;
    double HMax;
    trova_long *HRangePoints;
    trova_long *HTotalPoints;
    trova_long Flagged;
    trova_long *FFlaggedPoints;
    trova_long *FTotalPoints;
};

}  // namespace trova
