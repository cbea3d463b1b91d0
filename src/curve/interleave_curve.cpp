#include "curve/interleave_curve.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <new>

#include "files/numeric.h"
#include "frame/log.h"

namespace trova {

CInterleaveCurve::CInterleaveCurve()
    : values(nullptr), times1(nullptr), times2(nullptr), flags(nullptr), debug(0) {
    Reset();
}

CInterleaveCurve::~CInterleaveCurve() { Reset(); }

void CInterleaveCurve::Reset() {
    maxLast = 0;
    binMin = FLT_MAX;
    binMax = FLT_MIN;  // the smallest positive normal float
    binFirstTime1 = binLastTime1 = 0.0;
    binFirstTime2 = binLastTime2 = 0.0;
    binCount = binSize = 0;
    points = count = samples = 0;
    factor = 1.0;
    FreeArrays();
}

void CInterleaveCurve::FreeArrays() {
    delete[] values;
    delete[] times1;
    delete[] times2;
    delete[] flags;
    values = nullptr;
    times1 = nullptr;
    times2 = nullptr;
    flags = nullptr;
}

// Capacity. Every write into the four arrays is bounded by `points`, the
// length they were allocated with, whatever Init was given and however many
// samples arrive:
//  * points <= 0 leaves the factor arithmetic without meaning: the curve
//    then has no capacity at all (pass-through, factor 1.0, `points` 0) and
//    ignores every sample. A negative `samples` likewise ends in capacity 0.
//  * An odd `points` can make the bins need one pair more than the capacity
//    (Init(5, 3): factor 4, five samples make two bins and four outputs).
//    A bin whose pair does not fit whole is dropped: its flag words are not
//    touched, Flush writes nothing and `count` stays. The same holds for any
//    bin beyond the announced `samples`.
//  * In pass-through, samples beyond the capacity are ignored.
void CInterleaveCurve::Init(int samplesArg, int pointsArg) {
    Reset();
    samples = samplesArg;
    points = pointsArg;
    if (points <= 0) {
        points = 0;
    } else {
        // About twice the samples a point would need, made even.
        double whole = std::trunc(static_cast<double>(samples) / (static_cast<double>(points) / 2.0) +
                                  1.0);
        if (whole > 0.0 && std::fmod(whole, 2.0) == 1.0) whole += 1.0;
        factor = whole;
        if (samples <= points) {
            factor = 1.0;
            points = samples > 0 ? samples : 0;
        }
    }
    binCount = 0;
    binSize = TruncToInt32(factor);
    if (points > 0) {
        values = new (std::nothrow) float[points];
        flags = new (std::nothrow) uint32_t[points];
        times1 = new (std::nothrow) double[points];
        times2 = new (std::nothrow) double[points];
        if (values == nullptr || flags == nullptr || times1 == nullptr || times2 == nullptr) {
            // Without its arrays the curve keeps nothing.
            FreeArrays();
            points = 0;
        }
    }
    if (debug != 0) {
        LogDouble("Interleave Factor", factor);
        LogInt("Samples", samples);
        LogInt("Points ", points);
    }
}

void CInterleaveCurve::LogSample(double time1, float value) {
    char line[256];
    std::snprintf(line, sizeof line, "%lf, %f", time1, static_cast<double>(value));
    LogLine(line);
}

void CInterleaveCurve::Flush() {
    if (points == 0 || samples == 0 || binCount == 0) return;
    binCount = 0;
    const double middle1 = (binFirstTime1 + binLastTime1) / 2.0;
    if (debug != 0) {
        char line[256];
        std::snprintf(line, sizeof line, "Bin %d : %.2lf, %.2lf, %.2lf", count, binFirstTime1,
                      middle1, binLastTime1);
        LogLine(line);
    }
    if (!PairFits()) return;  // see Init: a pair that does not fit is dropped
    // The extreme reached last comes second.
    if (maxLast == 1) {
        values[count] = binMin;
        values[count + 1] = binMax;
    } else {
        values[count] = binMax;
        values[count + 1] = binMin;
    }
    // Only the first output's first term is the midpoint; its second term is
    // the bin's starting one.
    times1[count] = middle1;
    times2[count] = binFirstTime2;
    times1[count + 1] = binLastTime1;
    times2[count + 1] = binLastTime2;
    count += 2;
}

float CInterleaveCurve::GetValue(int i) const { return i >= 0 && i < count ? values[i] : 0.0f; }

double CInterleaveCurve::GetTime1(int i) const { return i >= 0 && i < count ? times1[i] : 0.0; }

double CInterleaveCurve::GetTime2(int i) const { return i >= 0 && i < count ? times2[i] : 0.0; }

uint32_t CInterleaveCurve::GetFlags(int i) const { return i >= 0 && i < count ? flags[i] : 0u; }

}  // namespace trova
