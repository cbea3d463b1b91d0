// Parameter blocks of the harmonic trend readers. MinMax holds the stored
// value-set selector m (the export inverts the caller's argument); the
// worker may remap Quantity and m here.
#pragma once

#include "trova/readers.h"

namespace trova {

// Reader_FFT_XT1 and Reader_FFT_XT2.
struct ReaderFftXtParams {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    trova_long *Points;
    float *MinValues;
    float *MaxValues;
    float *MeanValues;
    double *Times;
    int *Result;
    trova_long Harmonic;
    trova_long *InterleaveFactor;
    trova_long *FlagWords;
    trova_long FirstHarmonic;
    trova_long Join;
    trova_long *Status;
};

struct ReaderFftXt3Params {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    trova_long *Points;
    float *Values;
    double *Times;
    int *Result;
    trova_long Harmonic;
    trova_long *InterleaveFactor;
    trova_long *FlagWords;
    trova_long FirstHarmonic;
    trova_long Join;
    trova_long *Status;
};

// Reader_FFT_ALL_Harmonics_XT1 and _XT2: per phase p, MinValues[p],
// MaxValues[p], MeanValues[p] in argument order.
struct ReaderFftAllParams {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    float *MinValues0, *MaxValues0, *MeanValues0;
    float *MinValues1, *MaxValues1, *MeanValues1;
    float *MinValues2, *MaxValues2, *MeanValues2;
    float *MinValues3, *MaxValues3, *MeanValues3;
    double *Times;
    trova_long *FlagWords;
    trova_long *InterleaveFactor;
    trova_long FirstHarmonic;
    int *Result;
    trova_long Join;
    trova_long *Status;
    trova_long *HarmCount;
};

struct ReaderFftAll3Params {
    int Quantity;
    int MinMax;
    double TStart;
    double TStop;
    char *Label;
    char *PathFile;
    float *Values0, *Values1, *Values2, *Values3;
    double *Times;
    trova_long *FlagWords;
    trova_long *InterleaveFactor;
    trova_long FirstHarmonic;
    int *Result;
    trova_long Join;
    trova_long *Status;
    trova_long *HarmCount;
};

}  // namespace trova
