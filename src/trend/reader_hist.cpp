// Reader_HIST: the distribution of one quantity of a trend recording over a
// time window, 100 bins per channel. The window is scanned twice, the stop
// record excluded both times: the first pass finds each channel's range,
// the second counts the values into the bins. The bins span either the
// values' own range or a range the caller fixes; with a fixed range bin 0
// and bin 99 also collect what lies below and above it. Flagged records are
// counted apart and histogrammed only on request.
//
// Where the recordings leave room, this worker does the following:
//  * A channel that receives no value (a once-per-block quantity in a
//    multi-channel recording, an empty window, every record flagged) keeps
//    the range 0 .. 0: without a fixed range its HStart and HWidth are 0; a
//    non-finite HMin or HMax replaced from it becomes 0.
//  * A value whose bin quotient is NaN (a NaN value, or a NaN or infinite
//    range) is skipped: it is counted in no bin and in neither per-channel
//    counter. A quotient of 100 or more (also +infinity) gives bin 99; a
//    negative one (also -infinity) gives bin 0. So no index leaves the
//    channel's 100 bins.
//  * An inverted fixed range (HMin above HMax, also after replacement) is
//    used as it is: every value below HMin counts in bin 0, every other
//    value above HMax in bin 99; none is interior.
//  * Channels follow the trend readers' rule (counts 0 and 1 read one
//    channel, 2 and 3 read three, above 5 read five), and a file whose
//    records cannot hold a planned field is left out whole, its records
//    not counted either. HStart and HWidth are written for channels 0 to
//    N - 1 only, as the caller sizes them: with N = 2 the third channel is
//    binned but its range is not reported; with N above 5 the entries from
//    5 on are written as for a channel without values.
#include <cmath>
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

constexpr int kBins = 100;

// The working state of a call, per channel: smallest and largest value
// (after a fixed range: its widened ends) and the bin width.
struct HistRange {
    bool seen = false;  // any value at all
    float minimum[kMaxTrendChannels] = {};
    float maximum[kMaxTrendChannels] = {};
    double width[kMaxTrendChannels] = {};
};

// Pass 1: the range of the values of every channel read.
class RangePass : public TrendRecordReader {
public:
    RangePass(const ReaderHistParams &params, int32_t channelCount, HistRange &range)
        : TrendRecordReader(channelCount, params.Quantity, params.MinMax, params.ExtRef),
          params_(params),
          range_(range) {}

    void Record(const uint8_t *record, const RecordPosition &) {
        TrendSample sample;
        Read(record, sample);
        if (sample.flagWord != 0 && params_.Flagged == 0) return;
        for (int c = 0; c < channels(); ++c) {
            const float value = sample.values[c];
            if (!range_.seen) {
                range_.minimum[c] = range_.maximum[c] = value;
            } else {
                if (value < range_.minimum[c]) range_.minimum[c] = value;
                if (value > range_.maximum[c]) range_.maximum[c] = value;
            }
        }
        range_.seen = true;
    }

    void EndFile() {}

private:
    const ReaderHistParams &params_;
    HistRange &range_;
};

// Between the passes: bin widths and, with a fixed range, the widened ends.
// A non-finite HMin or HMax is replaced in the parameter block by the
// extreme of the channel at hand; once finite (normally from channel 0) it
// serves every later channel.
void FixRange(ReaderHistParams &params, int32_t channelCount, int served, HistRange &range) {
    const int channels = channelCount > served ? channelCount : served;
    for (int c = 0; c < channels; ++c) {
        const bool slot = c < kMaxTrendChannels;
        const float minimum = slot ? range.minimum[c] : 0.0f;
        const float maximum = slot ? range.maximum[c] : 0.0f;
        double width;
        double start;
        if (params.HMinMax == 0) {
            width = static_cast<double>((maximum - minimum) / 100.0f);
            start = static_cast<double>(minimum);
        } else {
            if (!std::isfinite(params.HMax)) params.HMax = static_cast<double>(maximum);
            if (!std::isfinite(params.HMin)) params.HMin = static_cast<double>(minimum);
            // Bin 0 below HMin, 98 bins from HMin to HMax, bin 99 above.
            width = (params.HMax - params.HMin) / 98.0;
            start = params.HMin - width;
            if (slot) {
                range.minimum[c] = static_cast<float>(params.HMin - width);
                range.maximum[c] = static_cast<float>(params.HMax + width);
            }
        }
        if (slot) range.width[c] = width;
        if (c < channelCount) {
            params.HWidth[c] = width;
            params.HStart[c] = start;
        }
    }
}

// Pass 2: the record counters and the bins.
class CountPass : public TrendRecordReader {
public:
    CountPass(ReaderHistParams &params, int32_t channelCount, const HistRange &range)
        : TrendRecordReader(channelCount, params.Quantity, params.MinMax, params.ExtRef),
          params_(params),
          range_(range) {}

    void Record(const uint8_t *record, const RecordPosition &) {
        TrendSample sample;
        Read(record, sample);
        *params_.FTotalPoints += 1;
        if (sample.flagWord != 0) {
            *params_.FFlaggedPoints += 1;
            if (params_.Flagged == 0) return;
        }
        for (int c = 0; c < channels(); ++c) Count(c, sample.values[c]);
    }

    // Running totals, once per file.
    void EndFile() {
        LogInt("FFlaggedPoints", static_cast<int32_t>(*params_.FFlaggedPoints));
        LogInt("FTotalPoints  ", static_cast<int32_t>(*params_.FTotalPoints));
    }

private:
    void Count(int c, float value) {
        trova_long *bins = params_.HCounts + int64_t{kBins} * c;
        const double v = static_cast<double>(value);
        if (params_.HMinMax != 0 && (v < params_.HMin || v > params_.HMax)) {
            bins[v < params_.HMin ? 0 : kBins - 1] += 1;
            params_.HTotalPoints[c] += 1;
            return;
        }
        int32_t index = 0;
        if (range_.width[c] != 0.0) {
            const double quotient =
                static_cast<double>(value - range_.minimum[c]) / range_.width[c];
            if (std::isnan(quotient)) return;  // no bin for it
            if (quotient >= kBins) {
                index = kBins - 1;
            } else if (quotient > 0.0) {
                index = TruncToInt32(quotient);
            }
        }
        bins[index] += 1;
        params_.HRangePoints[c] += 1;
        params_.HTotalPoints[c] += 1;
    }

    ReaderHistParams &params_;
    const HistRange &range_;
};

// Entries 0 (and 1, 2 when N > 1; 3 when N > 3; 4 when N > 4) of the
// per-channel counters, and the channels' bins.
void ZeroOutputs(const ReaderHistParams &params, int served) {
    for (int c = 0; c < served; ++c) {
        params.HRangePoints[c] = 0;
        params.HTotalPoints[c] = 0;
        for (int b = 0; b < kBins; ++b) params.HCounts[kBins * c + b] = 0;
    }
}

}  // namespace

void Reader_HIST_Thread(void *block) {
    ReaderHistParams &params = *static_cast<ReaderHistParams *>(block);
    // One meter for both passes: each pass adds up to 100.
    TrendCall call;
    if (!call.Begin(params)) return;
    const int32_t channelCount = call.channelCount;
    const int served = ChannelsRead(channelCount, true);
    ZeroOutputs(params, served);
    *params.FFlaggedPoints = 0;
    *params.FTotalPoints = 0;

    HistRange range;
    RangePass rangePass(params, channelCount, range);
    call.flags.cancelled = ScanWindow(FileTable, call.window, StopRecordRule::kExclude,
                                      call.progress, rangePass);
    FixRange(params, channelCount, served, range);
    if (!call.flags.cancelled) {
        CountPass countPass(params, channelCount, range);
        call.flags.cancelled = ScanWindow(FileTable, call.window, StopRecordRule::kExclude,
                                          call.progress, countPass);
    }
    CompleteWorker(call.flags, params.Status);
}

}  // namespace trova
