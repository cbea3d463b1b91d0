// CInterleaveCurve: min/max decimation of a series of samples (time in two
// terms, value, flag word) for drawing. Consecutive samples form bins of an
// even size; each bin gives two outputs, its minimum and its maximum, the
// one whose latest new extreme came later second. A series that already
// fits the output is passed through unchanged.
//
// Use: construct, Init once, Add each sample in time order, Flush once,
// read with the getters, destroy. The readers keep arrays of curves made
// with array new and released with array delete.
#pragma once

#include <cstdint>

namespace trova {

class CInterleaveCurve {
public:
    CInterleaveCurve();
    virtual ~CInterleaveCurve();
    CInterleaveCurve(const CInterleaveCurve &) = delete;
    CInterleaveCurve &operator=(const CInterleaveCurve &) = delete;

    // Frees the arrays and returns to the empty pass-through state.
    void Reset();
    // Fixes the bin size for `samples` samples and `points` outputs and
    // allocates the outputs.
    void Init(int samples, int points);
    // Inline: the readers call it once per value and curve.
    void Add(double time1, double time2, float value, uint32_t flagWord);
    // Emits the pending bin (nothing in pass-through).
    void Flush();

    // Outputs 0 .. GetCount() - 1; 0 outside that range.
    float GetValue(int i) const;
    double GetTime1(int i) const;
    double GetTime2(int i) const;
    uint32_t GetFlags(int i) const;
    int GetCount() const { return count; }
    double GetFactor() const { return factor; }

    // Nonzero switches on the diagnostic log lines; the readers leave it 0.
    void SetDebug(uint32_t on) { debug = on; }

private:
    void FreeArrays();
    void LogSample(double time1, float value);  // the debug line of one sample
    // Whether the outputs `count` and `count` + 1 exist.
    bool PairFits() const { return count <= points - 2; }

    // Declared in this order, all with the same access, so that the object's
    // layout follows it.
    float *values;
    double *times1;
    double *times2;
    uint32_t *flags;
    int samples;
    int points;
    int count;
    uint32_t debug;
    double factor;
    float binMin, binMax;
    double binFirstTime1, binLastTime1;
    double binFirstTime2, binLastTime2;
    uint32_t maxLast;
    int binCount;
    int binSize;
};

// Every sample goes through here; see Init for the capacity rules.
inline void CInterleaveCurve::Add(double time1, double time2, float value, uint32_t flagWord) {
    if (factor == 1.0) {
        if (count >= points) return;
        values[count] = value;
        times1[count] = time1;
        times2[count] = time2;
        flags[count] = flagWord;
        ++count;
        return;
    }

    const bool fits = PairFits();
    if (binCount == 0) {
        binMin = binMax = value;
        maxLast = 1;
        // A bin starts where the previous bin's output ended; only the
        // first bin starts at its own first sample.
        binFirstTime1 = count > 0 ? times1[count - 1] : time1;
        binFirstTime2 = count > 0 ? times2[count - 1] : time2;
        if (fits) {
            flags[count] = 0;
            flags[count + 1] = 0;
        }
    }
    if (debug != 0) LogSample(time1, value);
    if (value < binMin) {
        binMin = value;
        maxLast = 0;
    }
    if (value > binMax) {
        binMax = value;
        maxLast = 1;
    }
    if (fits) {
        flags[count] |= flagWord;
        flags[count + 1] |= flagWord;
    }
    ++binCount;
    binLastTime1 = time1;
    binLastTime2 = time2;
    if (binCount == binSize) Flush();
}

}  // namespace trova
