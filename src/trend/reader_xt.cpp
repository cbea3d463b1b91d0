// Reader_XT: the min/max/mean trend of one quantity of a trend recording.
// Consecutive records form groups of the interleave factor f; each group
// gives one point per channel with its minimum, maximum and mean, the time
// of its last record and the OR of its flag words.
#include <algorithm>
#include <cstdint>

#include "files/completion.h"
#include "files/file_table.h"
#include "files/numeric.h"
#include "files/scan.h"
#include "files/window.h"
#include "frame/log.h"
#include "trend/trend_layout.h"
#include "trend/trend_params.h"
#include "trend/trend_workers.h"

namespace trova {
namespace {

class XtGrouping : public TrendRecordReader {
public:
    XtGrouping(ReaderXtParams &params, int32_t channelCount, int32_t factor, int32_t points)
        : TrendRecordReader(channelCount, params.Quantity, params.MinMax, params.ExtRef),
          params_(params),
          factor_(factor),
          points_(points) {}

    void Record(const uint8_t *record, const RecordPosition &position) {
        TrendSample sample;
        Read(record, sample);
        for (int c = 0; c < channels(); ++c) {
            const float value = sample.values[c];
            if (inGroup_ == 0) {
                min_[c] = max_[c] = sum_[c] = value;
            } else {
                if (value < min_[c]) min_[c] = value;
                if (value > max_[c]) max_[c] = value;
                sum_[c] += value;
            }
        }
        groupFlags_ = inGroup_ == 0 ? sample.flagWord : (groupFlags_ | sample.flagWord);
        time1_ = sample.time1;
        time2_ = sample.time2;
        ++inGroup_;
        if (inGroup_ == factor_ || position.lastOfWindow) WritePoint();
    }

    // Publishes the points written so far after every file.
    void EndFile() { *params_.Result = point_; }

private:
    void WritePoint() {
        // A table gone stale (files grew since it was built) can bring more
        // groups than the factor was sized for: those are not written.
        if (point_ < points_) {
            const int64_t p = point_;
            const float count = static_cast<float>(inGroup_);
            for (int c = 0; c < channels(); ++c) {
                const int64_t at = c * int64_t{points_} + p;
                params_.MinValues[at] = min_[c];
                params_.MaxValues[at] = max_[c];
                params_.MeanValues[at] = sum_[c] / count;
            }
            params_.Times[p] = time1_;
            params_.Times[points_ + p] = time2_;
            params_.FlagWords[p] = groupFlags_;
            ++point_;
        }
        inGroup_ = 0;
    }

    ReaderXtParams &params_;
    const int32_t factor_;
    const int32_t points_;
    int32_t point_ = 0;
    int32_t inGroup_ = 0;
    float min_[kMaxTrendChannels] = {};
    float max_[kMaxTrendChannels] = {};
    float sum_[kMaxTrendChannels] = {};
    int32_t groupFlags_ = 0;
    double time1_ = 0.0;
    double time2_ = 0.0;
};

}  // namespace

void Reader_Thread(void *block) {
    ReaderXtParams &params = *static_cast<ReaderXtParams *>(block);
    LogLine("Start Reader_Thread");
    TrendCall call;
    if (!call.Begin(params)) return;
    // The scan reads the stop record, so one record more when TStop picked one.
    const int64_t samples = WindowSamples(FileTable, call.window, params.TStart, params.TStop);
    const int32_t points = params.Points != nullptr ? *params.Points : 0;
    // With no room for a single point there is nothing to group: the factor
    // is reported as 0 and no file is read.
    const int32_t factor = points >= 1 ? InterleaveFactorFor(samples, points) : 0;
    LogInt("Interleave Factor", factor);
    LogInt("Samples", ClampToInt32(samples));
    LogInt("Points ", points);
    if (params.InterleaveFactor != nullptr) *params.InterleaveFactor = factor;

    if (points >= 1) {
        XtGrouping grouping(params, call.channelCount, factor, points);
        call.flags.cancelled = ScanWindow(FileTable, call.window, StopRecordRule::kRead,
                                          call.progress, grouping);
    }
    CompleteWorker(call.flags, params.Status);
}

}  // namespace trova
