// The record scan every worker shares: the files of the window in table
// order, each read by chunks of whole records (files/record_file.h), each
// record of the window handed to the worker's visitor, then the cancel poll
// and the progress step after every file. While the visitor takes a chunk,
// the next chunk of the same file is read on a thread of the scan's own
// (ended and joined when the scan returns); the next file is opened only
// after the current one's per-file steps, as without it.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "files/file_table.h"
#include "files/numeric.h"
#include "files/record_file.h"
#include "files/window.h"
#include "frame/parallel.h"
#include "frame/worker_link.h"

namespace trova {

// Progress: a worker shares 100 % among the files of a pass and posts the
// whole part of what has gathered as soon as it exceeds 10.
class ProgressMeter {
public:
    explicit ProgressMeter(float step) : step_(step) {}
    // The step of one pass over `window` sharing `share` percent, in float.
    static float StepFor(const TimeWindow &window, float share = 100.0f) {
        return share / static_cast<float>(window.endFile - window.startFile);
    }
    void AfterFile() {
        accumulator_ += step_;
        if (accumulator_ > 10.0f) {
            worker::PostProgress(TruncToInt32(accumulator_));
            accumulator_ = 0.0f;
        }
    }
    float accumulator() const { return accumulator_; }

private:
    float step_;
    float accumulator_ = 0.0f;
};

// Whether the record that first reaches TStop is read (trend series) or is
// where the scan stops (histograms and tables).
enum class StopRecordRule { kRead, kExclude };

struct RecordPosition {
    int32_t file;    // index in the table
    int32_t record;  // index in the file
    // The last record the window takes from its last file: the worker closes
    // its open group here.
    bool lastOfWindow;
};

// Visitor interface (duck-typed):
//   bool BeginFile(const FileInfoRecord &file)  -- false: skip its records
//   void Chunk(const uint8_t *records, int64_t first, int64_t count, int64_t size)
//                                               -- optional: the records of a chunk
//                                                  before they are handed over one by one
//   bool ReadAhead() const                      -- optional: false when the visitor's
//                                                  chunks keep both cores busy already
//                                                  (the next chunk is then read after it)
//   void Record(const uint8_t *record, const RecordPosition &position)
//   void EndFile()                              -- after poll and progress
// Every record handed over lies whole in memory; the pointer is valid only
// during the call. The records a file holds are counted from its length
// when it is opened (UsableRecords). A file that cannot be opened or whose
// first chunk cannot be read is skipped (BeginFile is not called), but it is
// still polled and counted in the progress; one whose read fails part-way
// (it shrank or broke while being read) keeps the records handed over
// before the failure and gives none after it. A chunk is read at most one
// chunk ahead of the one being taken, never before its file's BeginFile.
// Returns true when the scan ended on a cancel request.
template <class Visitor, class = void>
struct TakesChunks : std::false_type {};
template <class Visitor>
struct TakesChunks<Visitor, std::void_t<decltype(std::declval<Visitor &>().Chunk(
                                nullptr, int64_t{}, int64_t{}, int64_t{}))>> : std::true_type {};

template <class Visitor, class = void>
struct ChoosesReadAhead : std::false_type {};
template <class Visitor>
struct ChoosesReadAhead<Visitor, std::void_t<decltype(std::declval<const Visitor &>().ReadAhead())>>
    : std::true_type {};

template <class Visitor>
bool ScanWindow(const FileTableState &table, const TimeWindow &window, StopRecordRule rule,
                ProgressMeter &progress, Visitor &visitor) {
    const int32_t lastFile = window.endFile - 1;
    const int64_t stop = window.stopRecord;
    bool cancelled = false;
    WorkAhead reader;  // started at the first file of more than one chunk
    for (int32_t f = window.startFile; f < window.endFile; ++f) {
        const FileInfoRecord &file = table.entries[f];
        RecordFile stream;
        if (stream.Open(file.path)) {
            const int64_t count = file.recordCount;
            const int64_t usable = UsableRecords(file, stream.Length());
            const int64_t first = f == window.startFile ? window.startRecord : 0;
            int64_t end = count;  // one past the last record taken from this file
            if (f == lastFile) end = rule == StopRecordRule::kRead ? stop + 1 : stop;
            if (end > count) end = count;
            const int64_t last = end - 1;
            const int64_t size = file.recordSize;
            RecordChunks chunks(stream, ScanMemory[0], RecordChunks::kScanChunk, file.headerSize,
                                size, first < 0 ? 0 : first, end < usable ? end : usable);
            // A file whose first chunk cannot be read is skipped like one
            // that cannot be opened: the visitor never sees it begin.
            bool more = chunks.Next();
            if ((more || !chunks.failed()) && visitor.BeginFile(file)) {
                bool readAhead = true;
                if constexpr (ChoosesReadAhead<Visitor>::value) readAhead = visitor.ReadAhead();
                if (readAhead) chunks.ReadAhead(reader, ScanMemory[1]);
                for (; more; more = chunks.Next()) {
                    const uint8_t *record = chunks.data();
                    const int64_t r0 = chunks.firstRecord();
                    if constexpr (TakesChunks<Visitor>::value) {
                        visitor.Chunk(record, r0, chunks.count(), size);
                    }
                    for (int64_t r = r0; r < r0 + chunks.count(); ++r, record += size) {
                        const RecordPosition position{f, static_cast<int32_t>(r),
                                                      f == lastFile && r == last};
                        visitor.Record(record, position);
                    }
                }
            }
        }
        stream.Close();
        if (worker::CancelRequested()) cancelled = true;
        progress.AfterFile();
        visitor.EndFile();
        if (cancelled) break;
    }
    for (ChunkMemory &memory : ScanMemory) TrimChunkMemory(memory, RecordChunks::kScanChunk);
    return cancelled;
}

}  // namespace trova
