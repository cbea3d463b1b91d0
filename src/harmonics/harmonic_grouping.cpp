#include "harmonics/harmonic_grouping.h"

namespace trova {

HarmonicGrouping::HarmonicGrouping(const GroupingOptions &options, const GroupTargets &targets,
                                   int32_t phases, int32_t positions, int32_t factor,
                                   int32_t timePosition)
    : options_(options),
      targets_(targets),
      positions_(positions > 0 ? positions : 0),
      factor_(factor),
      timePosition_(timePosition) {
    // Zeroed, so that positions a group's first record did not bring (a
    // later file with more harmonics) start from a defined value.
    const size_t size = static_cast<size_t>(phases) * static_cast<size_t>(positions_);
    values_.assign(size, 0.0f);
    min_.assign(size, 0.0f);
    max_.assign(size, 0.0f);
    sum_.assign(size, 0.0f);
}

void HarmonicGrouping::Add(int32_t phases, int32_t positions, double time1, double time2,
                           int32_t flagWord, bool lastOfWindow) {
    if (inGroup_ == 0) {
        for (int32_t p = 0; p < phases; ++p) {
            for (int32_t j = 0; j < positions; ++j) {
                const size_t at = Index(p, j);
                min_[at] = max_[at] = sum_[at] = values_[at];
            }
        }
        flags_ = flagWord;
        time1_ = time1;
        time2_ = time2;
    } else {
        flags_ |= flagWord;
        for (int32_t p = 0; p < phases; ++p) {
            for (int32_t j = 0; j < positions; ++j) {
                const size_t at = Index(p, j);
                const float v = values_[at];
                sum_[at] += v;
                if (min_[at] > v) {
                    min_[at] = v;
                    if (options_.timeOfMinimum && p == 0 && j == timePosition_) {
                        time1_ = time1;
                        time2_ = time2;
                    }
                }
                if (v > max_[at]) max_[at] = v;
            }
        }
    }
    if (!options_.timeOfMinimum) {
        time1_ = time1;
        time2_ = time2;
    }
    ++inGroup_;
    if (inGroup_ == factor_ || (options_.closeAtWindowEnd && lastOfWindow)) {
        Close(phases, positions);
    }
}

void HarmonicGrouping::Close(int32_t phases, int32_t positions) {
    // A table gone stale (files grew since it was built) can bring more
    // groups than the factor was sized for: those are not written.
    if (point_ < targets_.capacity) {
        const int64_t i = point_;
        const float count = static_cast<float>(inGroup_);
        for (int32_t p = 0; p < phases; ++p) {
            for (int32_t j = 0; j < positions; ++j) {
                const size_t at = Index(p, j);
                const int64_t out = j * targets_.positionStride + i;
                if (targets_.min[p] != nullptr) targets_.min[p][out] = min_[at];
                if (targets_.max[p] != nullptr) targets_.max[p][out] = max_[at];
                if (targets_.mean[p] != nullptr) targets_.mean[p][out] = sum_[at] / count;
            }
        }
        if (targets_.times != nullptr) {
            targets_.times[i] = time1_;
            targets_.times[targets_.timeStride + i] = time2_;
        }
        if (targets_.flagWords != nullptr) targets_.flagWords[i] = flags_;
        ++point_;
    }
    inGroup_ = 0;
}

}  // namespace trova
