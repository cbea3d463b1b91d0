// The trend record: two time doubles at 0 and 8 (the record time is their
// sum), the flag word at 16, four unused bytes, then the statistic blocks
// from 24. A block holds S once-per-block floats, then N channel groups of
// P floats (S, P of the file itself, N of the recording's first file). The
// value of quantity q in block k and channel c lies at
//     24 + 4·q + k·L + 4·c·P,   L = 4·(S + N·P),
// and the reference quantity R (0: none) at 24 + 4·R + k·L + 4·c·P.
#pragma once

#include <cstdint>

#include "files/completion.h"
#include "files/scan.h"
#include "files/window.h"
#include "files/file_table.h"

namespace trova {

constexpr int kMaxTrendChannels = 5;
constexpr int64_t kTrendTimeOffset2 = 8;
constexpr int64_t kTrendFlagOffset = 16;

// The statistic block and quantity checks of the trend readers, against the
// recording's first file: an out-of-range MinMax becomes 0 (status 2), an
// out-of-range Quantity becomes 0 (status 4); the work goes on with them.
void CheckTrendArguments(const FileInfoRecord &first, int &MinMax, int &Quantity,
                         StatusFlags &flags);

// Channels a quantity of a recording with channel count N yields: channel 0
// always; for per-channel quantities also channels 1 and 2 when N > 1,
// channel 3 when N > 3 and channel 4 when N > 4. (N = 2 thus asks for a
// third group its blocks do not hold.)
int ChannelsRead(int32_t channelCount, bool perChannel);

// Where one file's records hold the values a call reads, and how they are
// normalised.
struct TrendRecordPlan {
    bool usable = false;  // every field read lies inside the record
    int channels = 0;
    int64_t valueOffset[kMaxTrendChannels] = {};
    int64_t refOffset[kMaxTrendChannels] = {};
    bool divideByRef = false;     // ExtRef = -1 and the file has a reference quantity
    bool divideByExtRef = false;  // ExtRef > 0 and the file has a reference quantity
    float extRef = 0.0f;
};

// The plan for `file` when quantity `quantity` of block `block` is read from
// a recording whose first file has channel count `channelCount`. A file
// whose records are too short for a field the plan reads (a damaged or
// inconsistent header, a channel count the blocks do not hold) is not
// usable: the scan then leaves its records out rather than read past them.
TrendRecordPlan PlanTrendRecord(const FileInfoRecord &file, int32_t channelCount, int32_t quantity,
                                int32_t block, float ExtRef);

// The normalised values of one record, channel by channel.
void ReadTrendValues(const uint8_t *record, const TrendRecordPlan &plan,
                     float values[kMaxTrendChannels]);

// One record as the trend workers use it.
struct TrendSample {
    double time1 = 0.0;  // the record time is time1 + time2
    double time2 = 0.0;
    int32_t flagWord = 0;  // nonzero: a flagged record
    float values[kMaxTrendChannels] = {};  // channels() of them are read
};

// The per-file part of the trend workers' scan visitors: each file is
// planned for the call's quantity, block and normalisation as its scan
// begins, and a file whose records cannot hold a planned field is skipped.
// A worker's visitor derives from it and adds Record and EndFile.
class TrendRecordReader {
public:
    TrendRecordReader(int32_t channelCount, int32_t quantity, int32_t block, float ExtRef)
        : channelCount_(channelCount), quantity_(quantity), block_(block), extRef_(ExtRef) {}

    bool BeginFile(const FileInfoRecord &file) {
        plan_ = PlanTrendRecord(file, channelCount_, quantity_, block_, extRef_);
        return plan_.usable;
    }

protected:
    // Channels read from the records of the current file.
    int channels() const { return plan_.channels; }
    void Read(const uint8_t *record, TrendSample &sample) const;

private:
    const int32_t channelCount_;
    const int32_t quantity_;
    const int32_t block_;
    const float extRef_;
    TrendRecordPlan plan_;
};

// What every trend worker does before its own work: the file table, the
// argument checks against the first file, the window and the progress step
// of one pass. An empty table completes the call at once (status 3).
struct TrendCall {
    StatusFlags flags;
    TimeWindow window;
    ProgressMeter progress{0.0f};
    int32_t channelCount = 0;  // N of the first file

    // False when the call has already completed for lack of files.
    template <class Params>
    bool Begin(Params &params) {
        EnsureFileTable(params.PathFile, HeaderVariant::kTrend);
        if (FileTable.fileCount < 1) {
            CompleteWorker(flags, params.Status);
            return false;
        }
        const FileInfoRecord &first = FileTable.entries[0];
        CheckTrendArguments(first, params.MinMax, params.Quantity, flags);
        window = ResolveTimeWindow(FileTable, params.TStart, params.TStop);
        progress = ProgressMeter(ProgressMeter::StepFor(window));
        channelCount = static_cast<int32_t>(first.channelCode);
        return true;
    }
};

}  // namespace trova
