// Reader_XT2: the course of one quantity of a trend recording, decimated for
// drawing. Each channel feeds its own interleave curve; the host receives
// every bin of records as its minimum and its maximum, with the times and
// flag words of channel 0's curve. Records are read as Reader_XT reads them.
#include <cstdint>

#include "curve/interleave_curve.h"
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

// Hands every record's channel values to the channels' curves.
class Xt2Feed : public TrendRecordReader {
public:
    Xt2Feed(const ReaderXt2Params &params, int32_t channelCount, CInterleaveCurve *curves)
        : TrendRecordReader(channelCount, params.Quantity, params.MinMax, params.ExtRef),
          curves_(curves) {}

    void Record(const uint8_t *record, const RecordPosition &) {
        TrendSample sample;
        Read(record, sample);
        const uint32_t flagWord = static_cast<uint32_t>(sample.flagWord);
        for (int c = 0; c < channels(); ++c) {
            curves_[c].Add(sample.time1, sample.time2, sample.values[c], flagWord);
        }
    }

    // Nothing is published per file: the output comes after the scan.
    void EndFile() {}

private:
    CInterleaveCurve *curves_;
};

// Flushes the curves and writes what they hold: values per channel, times
// and flag words once, from channel 0's curve. A curve never holds more
// outputs than `points` (its capacity is at most that), and channel 0's
// curve has taken every record, so it holds at least as many as any other.
void DeliverCurves(ReaderXt2Params &params, CInterleaveCurve *curves, int curveCount,
                   int32_t points) {
    for (int c = 0; c < curveCount; ++c) {
        curves[c].Flush();
        const int n = curves[c].GetCount();
        for (int i = 0; i < n; ++i) {
            params.Values[c * int64_t{points} + i] = curves[c].GetValue(i);
        }
    }
    const CInterleaveCurve &first = curves[0];
    const int n = first.GetCount();
    for (int i = 0; i < n; ++i) {
        params.Times[i] = first.GetTime1(i);
        params.Times[int64_t{points} + i] = first.GetTime2(i);
        params.FlagWords[i] = static_cast<int32_t>(first.GetFlags(i));
    }
    *params.Result = n;
}

}  // namespace

void Reader_Thread2(void *block) {
    ReaderXt2Params &params = *static_cast<ReaderXt2Params *>(block);
    LogLine("Start Reader_Thread2");
    TrendCall call;
    if (!call.Begin(params)) return;
    const int32_t channelCount = call.channelCount;

    // The whole recording when both bounds are open (K is then the table's
    // total), otherwise the records the scan reads, the stop record included.
    const int32_t samples = ClampToInt32(
        WindowSamples(FileTable, call.window, params.TStart, params.TStop));
    const int32_t points = params.Points != nullptr ? *params.Points : 0;

    // One curve per channel a quantity of this recording can yield: channel
    // counts 0 and 1 get one, 2 and 3 get three (the plan reads a third
    // group where the record holds one), above 5 get five. Channels beyond
    // the fifth are never read, so their curves would stay empty anyway.
    const int curveCount = ChannelsRead(channelCount, true);
    CInterleaveCurve *curves = new CInterleaveCurve[curveCount];
    for (int c = 0; c < curveCount; ++c) curves[c].Init(samples, points);
    // Records per output point: half the bin size, 0 when passing through.
    if (params.InterleaveFactor != nullptr) {
        *params.InterleaveFactor = TruncToInt32(curves[0].GetFactor()) / 2;
    }

    // Without room for a single output no file is read (as in Reader_XT).
    if (points >= 1) {
        Xt2Feed feed(params, channelCount, curves);
        call.flags.cancelled = ScanWindow(FileTable, call.window, StopRecordRule::kRead,
                                          call.progress, feed);
    }
    // A cancelled call delivers what the curves hold, the open bin included.
    CompleteWorker(call.flags, params.Status, [&] {
        DeliverCurves(params, curves, curveCount, points);
        delete[] curves;
    });
}

}  // namespace trova
