// Recording files read by parts: a header, one record, or a chunk of whole
// records at a time, never the file whole. Chunks go through memory the
// module keeps between calls (released at process detach), so a call's
// memory does not grow with the size of its files.
//
// Lengths and offsets are 64-bit, but a file of 2 GiB or more is refused
// when it is opened: the table counts records and offsets in 32 bits, and
// such a file is left out of the table like a malformed one (the readers
// then never open it).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace trova {

class WorkAhead;  // frame/parallel.h: the thread that reads ahead

// What a header parser reads: a length and the bytes it asks for.
class ByteSource {
public:
    virtual int64_t Length() const = 0;
    // Copies `count` bytes from `offset`. False when they cannot all be
    // read: outside the length, or the file shrank or failed since.
    virtual bool Read(int64_t offset, uint8_t *out, size_t count) = 0;

protected:
    ~ByteSource() = default;
};

// Bytes already in memory (the fuzzers and tests parse these).
class MemorySource final : public ByteSource {
public:
    MemorySource(const uint8_t *data, int64_t length) : data_(data), length_(length) {}
    int64_t Length() const override { return length_; }
    bool Read(int64_t offset, uint8_t *out, size_t count) override;

private:
    const uint8_t *data_;
    int64_t length_;
};

// One file opened for reading; its length is taken once, at Open.
class RecordFile final : public ByteSource {
public:
    RecordFile() = default;
    RecordFile(const RecordFile &) = delete;
    RecordFile &operator=(const RecordFile &) = delete;
    ~RecordFile() { Close(); }

    // False when the file cannot be opened, its length cannot be taken (a
    // directory, a pipe) or it is 2 GiB or longer.
    bool Open(const char *path);
    void Close();
    int64_t Length() const override { return length_; }
    bool Read(int64_t offset, uint8_t *out, size_t count) override;

private:
    std::FILE *file_ = nullptr;
    int64_t length_ = 0;
    int64_t position_ = -1;  // where the next fread starts; -1 unknown
};

// Memory that chunks are read into: plain data, so that the module's own
// (ScanMemory) is zero at load and outlives every static destructor. It
// grows beyond a chunk only for a record longer than a chunk.
struct ChunkMemory {
    uint8_t *data;
    size_t capacity;
};

// The scan's memory, kept between calls: the chunk being taken and the one
// read ahead, each at most RecordChunks::kScanChunk bytes once a scan has
// ended (TrimChunkMemory); freed at process detach.
constexpr int kScanBuffers = 2;
extern ChunkMemory ScanMemory[kScanBuffers];

// Frees `memory` if it grew beyond `keep` bytes.
void TrimChunkMemory(ChunkMemory &memory, size_t keep);
void ReleaseChunkMemory(ChunkMemory &memory);

// Chunk memory of one search, freed when it ends.
struct LocalChunkMemory {
    ChunkMemory memory{};
    LocalChunkMemory() = default;
    LocalChunkMemory(const LocalChunkMemory &) = delete;
    LocalChunkMemory &operator=(const LocalChunkMemory &) = delete;
    ~LocalChunkMemory() { ReleaseChunkMemory(memory); }
};

// The records [first, end) of an open file as chunks of whole records in
// `memory`. A chunk holds as many records as fit in `chunkBytes`, at least
// one. A read that fails (the file shrank or broke since it was opened)
// ends the sequence: the records before it were handed out, none after.
//
// After ReadAhead, the chunk after the one handed out is read on a helper
// thread into a second memory while the caller takes the current one; the
// next Next() waits for that read, or makes it itself when the helper has
// not begun it by then. The file is touched by one thread at a time, and a
// chunk handed out stays as it is until the following Next().
class RecordChunks {
public:
    static constexpr size_t kScanChunk = size_t{1} << 21;    // the scans'
    static constexpr size_t kSearchChunk = size_t{1} << 16;  // the window search's

    RecordChunks(RecordFile &file, ChunkMemory &memory, size_t chunkBytes, int64_t headerSize,
                 int64_t recordSize, int64_t first, int64_t end);
    RecordChunks(const RecordChunks &) = delete;
    RecordChunks &operator=(const RecordChunks &) = delete;
    ~RecordChunks() { Settle(); }  // a read under way ends first
    // The next chunk; false when the records are exhausted or a read failed.
    bool Next();
    // From now on reads the chunk after the current one on `reader` into
    // `spare` (read on the calling thread when `spare` cannot grow to a chunk).
    void ReadAhead(WorkAhead &reader, ChunkMemory &spare);
    const uint8_t *data() const { return data_; }
    int64_t firstRecord() const { return chunkFirst_; }  // index in the file
    int64_t count() const { return chunkCount_; }
    bool failed() const { return failed_; }

private:
    static void ReadPending(void *self, int64_t, int64_t);
    int64_t CountAt(int64_t record) const {
        return end_ - record < perChunk_ ? end_ - record : perChunk_;
    }
    void StartNext();  // posts the read of the chunk at next_, when there is one
    void Settle();     // waits for a posted read

    RecordFile &file_;
    ChunkMemory *memory_;  // the current chunk's
    int64_t headerSize_, recordSize_, next_, end_;
    int64_t perChunk_;
    const uint8_t *data_ = nullptr;
    int64_t chunkFirst_ = 0, chunkCount_ = 0;
    bool failed_ = false;
    // Reading ahead: the other memory and the read posted into it.
    WorkAhead *reader_ = nullptr;
    ChunkMemory *spare_ = nullptr;
    bool posted_ = false, postedRead_ = false;
    int64_t postedCount_ = 0;
};

}  // namespace trova
