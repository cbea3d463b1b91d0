// The time window of a call: which files and records TStart and TStop
// select. Times count seconds from 1904-01-01; a negative bound means the
// start or the end of the recording.
#pragma once

#include <cstdint>

#include "files/file_table.h"

namespace trova {

struct TimeWindow {
    int32_t startFile = 0;    // first file scanned
    int32_t startRecord = 0;  // first record read in startFile
    int32_t endFile = 0;      // one past the last file scanned
    int32_t stopRecord = 0;   // the stop record in file endFile - 1; that
                              // file's recordCount when the window runs to the end
    bool startSelected = false;  // TStart picked a record (not "from the beginning")
    bool stopSelected = false;   // TStop picked a record (not "to the end")
};

// The window starts at the first record at or after TStart and ends at the
// first record at or after TStop. A TStart at or after the end of the
// recording means "from the beginning"; a TStop before its start or at or
// after its end means "to the end". A NaN bound matches no file and is
// treated as open. The start and stop files are read by chunks up to the
// first record that qualifies; a file that cannot be read there (or fails
// part-way) contributes from its record 0 (start) or to its end (stop): the
// scan then skips it anyway. The table must not be empty.
TimeWindow ResolveTimeWindow(const FileTableState &table, double TStart, double TStop);

// K: the records of the window as the table counts them. A scan that reads
// the stop record reads K + 1 records when stopSelected, otherwise K; a scan
// that stops before it reads K.
int64_t CountWindowRecords(const FileTableState &table, const TimeWindow &window, double TStart,
                           double TStop);

// The records a scan that reads the stop record takes: K + 1 when TStop
// picked a record, K otherwise (the table's total when both bounds are open).
int64_t WindowSamples(const FileTableState &table, const TimeWindow &window, double TStart,
                      double TStop);

// The group size that fits `samples` records into `points` points: 1 when
// they fit as they are, otherwise the smallest f with samples ≤ f·points.
// `points` must be at least 1.
int32_t InterleaveFactorFor(int64_t samples, int32_t points);

// The number of records a file of `length` bytes really holds, at most the
// table's count: a file that shrank since the table was built loses its
// tail, one that grew is read only as far as the table counts.
int64_t UsableRecords(const FileInfoRecord &file, int64_t length);

}  // namespace trova
