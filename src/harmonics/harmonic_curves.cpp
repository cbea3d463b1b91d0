#include "harmonics/harmonic_curves.h"

#include "files/numeric.h"

namespace trova {

HarmonicCurves::HarmonicCurves(int32_t phases, int32_t positions, int64_t samples,
                               int32_t points, const CurveTimeTest &test)
    : phases_(phases), positions_(positions > 0 ? positions : 0), test_(test) {
    const size_t count = static_cast<size_t>(phases_) * static_cast<size_t>(positions_);
    const int sampleCount = ClampToInt32(samples);
    curves_.reset(new CInterleaveCurve[count]);
    for (size_t i = 0; i < count; ++i) curves_[i].Init(sampleCount, points);
    scratch_.assign(count, 0.0f);
    // Every curve has the same factor; a curve of its own tells it also
    // when there is no curve at all.
    CInterleaveCurve probe;
    probe.Init(sampleCount, points);
    halfFactor_ = TruncToInt32(probe.GetFactor()) / 2;
}

void HarmonicCurves::Take(int32_t phases, int32_t positions, double time1, double time2,
                          int32_t flagWord, bool) {
    const bool outside = Outside(time1, time2);
    for (int32_t p = 0; p < phases; ++p) {
        for (int32_t j = 0; j < positions; ++j) {
            const size_t at = Index(p, j);
            if (outside) {
                curves_[at].Flush();
            } else {
                curves_[at].Add(time1, time2, scratch_[at], static_cast<uint32_t>(flagWord));
            }
        }
    }
}

int32_t HarmonicCurves::Deliver(const CurveTargets &targets) {
    int32_t first = 0;
    for (int32_t p = 0; p < phases_; ++p) {
        for (int32_t j = 0; j < positions_; ++j) {
            CInterleaveCurve &curve = curves_[Index(p, j)];
            curve.Flush();
            const int count = curve.GetCount();
            float *values = targets.values[p];
            for (int i = 0; values != nullptr && i < count; ++i) {
                values[j * targets.positionStride + i] = curve.GetValue(i);
            }
            if (p != 0 || j != 0) continue;
            first = count;
            for (int i = 0; i < count; ++i) {
                if (targets.times != nullptr) {
                    targets.times[i] = curve.GetTime1(i);
                    targets.times[targets.timeStride + i] = curve.GetTime2(i);
                }
                if (targets.flagWords != nullptr) {
                    targets.flagWords[i] = static_cast<trova_long>(curve.GetFlags(i));
                }
            }
        }
    }
    return first;
}

}  // namespace trova
