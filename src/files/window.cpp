#include "files/window.h"

#include <algorithm>

#include "files/big_endian.h"
#include "files/numeric.h"
#include "files/record_file.h"

namespace trova {
namespace {

// The first record of the file with `time` ≤ its record time; the file's
// record count when none qualifies, `ifUnreadable` when it cannot be read.
int32_t FirstRecordAtOrAfter(const FileInfoRecord &file, double time, int32_t ifUnreadable) {
    RecordFile stream;
    if (!stream.Open(file.path)) return ifUnreadable;
    const int64_t size = file.recordSize;
    LocalChunkMemory local;
    RecordChunks chunks(stream, local.memory, RecordChunks::kSearchChunk, file.headerSize, size, 0,
                        UsableRecords(file, stream.Length()));
    while (chunks.Next()) {
        for (int64_t i = 0; i < chunks.count(); ++i) {
            if (time <= RecordTime(chunks.data(), i * size)) {
                return static_cast<int32_t>(chunks.firstRecord() + i);
            }
        }
    }
    return chunks.failed() ? ifUnreadable : static_cast<int32_t>(file.recordCount);
}

// The first file whose last time is not before `time`; -1 when none (NaN).
int32_t FirstFileEndingAtOrAfter(const FileTableState &table, double time) {
    for (int32_t i = 0; i < table.fileCount; ++i) {
        if (time <= table.entries[i].lastTime) return i;
    }
    return -1;
}

}  // namespace

int64_t UsableRecords(const FileInfoRecord &file, int64_t length) {
    const int64_t data = length - int64_t{file.headerSize};
    if (data <= 0 || file.recordSize == 0) return 0;
    return std::min<int64_t>(file.recordCount, data / file.recordSize);
}

TimeWindow ResolveTimeWindow(const FileTableState &table, double TStart, double TStop) {
    TimeWindow window;
    const FileInfoRecord *entries = table.entries;
    const int32_t n = table.fileCount;

    const int32_t startFile = (TStart < 0.0 || TStart >= entries[n - 1].lastTime)
                                  ? -1
                                  : FirstFileEndingAtOrAfter(table, TStart);
    if (startFile >= 0) {
        window.startFile = startFile;
        window.startRecord = FirstRecordAtOrAfter(entries[startFile], TStart, 0);
        window.startSelected = true;
    }

    const int32_t stopFile =
        (TStop < 0.0 || TStop < entries[0].firstTime || TStop >= entries[n - 1].lastTime)
            ? -1
            : FirstFileEndingAtOrAfter(table, TStop);
    if (stopFile >= 0) {
        window.endFile = stopFile + 1;
        const FileInfoRecord &file = entries[stopFile];
        window.stopRecord = FirstRecordAtOrAfter(file, TStop, static_cast<int32_t>(file.recordCount));
        window.stopSelected = true;
    } else {
        window.endFile = n;
        window.stopRecord = static_cast<int32_t>(entries[n - 1].recordCount);
    }
    return window;
}

int64_t CountWindowRecords(const FileTableState &table, const TimeWindow &window, double TStart,
                           double TStop) {
    if (TStart < 0.0 && TStop < 0.0) return table.totalRecords;
    int64_t sum = 0;
    for (int32_t i = window.startFile; i < window.endFile; ++i) sum += table.entries[i].recordCount;
    return sum - window.startRecord + window.stopRecord -
           int64_t{table.entries[window.endFile - 1].recordCount};
}

int64_t WindowSamples(const FileTableState &table, const TimeWindow &window, double TStart,
                      double TStop) {
    return CountWindowRecords(table, window, TStart, TStop) + (window.stopSelected ? 1 : 0);
}

int32_t InterleaveFactorFor(int64_t samples, int32_t points) {
    if (samples <= points) return 1;
    return ClampToInt32((samples + points - 1) / points);
}

}  // namespace trova
