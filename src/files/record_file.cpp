#include "files/record_file.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "frame/parallel.h"

namespace trova {
ChunkMemory ScanMemory[kScanBuffers];

namespace {

// At least `bytes` of `memory`; null when it cannot be had.
uint8_t *ChunkMemoryOf(ChunkMemory &memory, size_t bytes) {
    if (bytes > memory.capacity) {
        ReleaseChunkMemory(memory);
        memory.data = static_cast<uint8_t *>(std::malloc(bytes));
        memory.capacity = memory.data != nullptr ? bytes : 0;
    }
    return memory.data;
}

}  // namespace

void TrimChunkMemory(ChunkMemory &memory, size_t keep) {
    if (memory.capacity > keep) ReleaseChunkMemory(memory);
}

void ReleaseChunkMemory(ChunkMemory &memory) {
    std::free(memory.data);
    memory.data = nullptr;
    memory.capacity = 0;
}

bool MemorySource::Read(int64_t offset, uint8_t *out, size_t count) {
    if (data_ == nullptr || offset < 0 || offset > length_ ||
        static_cast<int64_t>(count) > length_ - offset) {
        return false;
    }
    if (count > 0) std::memcpy(out, data_ + offset, count);
    return true;
}

bool RecordFile::Open(const char *path) {
    Close();
    if (path == nullptr) return false;
    file_ = std::fopen(path, "rb");
    if (file_ == nullptr) return false;
    // Reads go straight into the caller's memory: chunks are large, and no
    // bytes of a file are kept beyond the read that asked for them.
    std::setvbuf(file_, nullptr, _IONBF, 0);
    // Lengths are taken as the C library's long: where that is 32-bit a
    // file of 2 GiB or more has no length (-1) and is refused as well.
    long length = -1;
    if (std::fseek(file_, 0, SEEK_END) == 0) length = std::ftell(file_);
    if (length < 0 || static_cast<int64_t>(length) > std::numeric_limits<int32_t>::max()) {
        Close();
        return false;
    }
    length_ = length;
    position_ = -1;
    return true;
}

void RecordFile::Close() {
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
    length_ = 0;
    position_ = -1;
}

bool RecordFile::Read(int64_t offset, uint8_t *out, size_t count) {
    if (file_ == nullptr || offset < 0 || offset > length_ ||
        static_cast<int64_t>(count) > length_ - offset) {
        return false;
    }
    // Offsets stay below 2 GiB (Open refuses longer files): they fit a long.
    if (position_ != offset && std::fseek(file_, static_cast<long>(offset), SEEK_SET) != 0) {
        position_ = -1;
        return false;
    }
    const size_t got = count > 0 ? std::fread(out, 1, count, file_) : 0;
    position_ = got == count ? offset + static_cast<int64_t>(count) : -1;
    return got == count;
}

RecordChunks::RecordChunks(RecordFile &file, ChunkMemory &memory, size_t chunkBytes,
                           int64_t headerSize, int64_t recordSize, int64_t first, int64_t end)
    : file_(file),
      memory_(&memory),
      headerSize_(headerSize),
      recordSize_(recordSize),
      next_(first),
      end_(end) {
    const int64_t chunk = static_cast<int64_t>(chunkBytes);
    perChunk_ = recordSize_ > 0 && recordSize_ < chunk ? chunk / recordSize_ : 1;
}

bool RecordChunks::Next() {
    if (posted_) {
        Settle();
        if (!postedRead_) {
            failed_ = true;
            return false;
        }
        std::swap(memory_, spare_);
        data_ = memory_->data;
        chunkFirst_ = next_;
        chunkCount_ = postedCount_;
        next_ += postedCount_;
        StartNext();
        return true;
    }
    if (failed_ || next_ >= end_ || recordSize_ <= 0) return false;
    const int64_t count = CountAt(next_);
    const size_t bytes = static_cast<size_t>(count * recordSize_);
    uint8_t *memory = ChunkMemoryOf(*memory_, bytes);
    if (memory == nullptr || !file_.Read(headerSize_ + next_ * recordSize_, memory, bytes)) {
        failed_ = true;
        return false;
    }
    data_ = memory;
    chunkFirst_ = next_;
    chunkCount_ = count;
    next_ += count;
    if (reader_ != nullptr) StartNext();
    return true;
}

void RecordChunks::ReadAhead(WorkAhead &reader, ChunkMemory &spare) {
    reader_ = &reader;
    spare_ = &spare;
    StartNext();
}

void RecordChunks::StartNext() {
    if (failed_ || next_ >= end_ || recordSize_ <= 0) return;
    postedCount_ = CountAt(next_);
    // Without the memory the chunk is read by the next Next(), as before.
    if (ChunkMemoryOf(*spare_, static_cast<size_t>(postedCount_ * recordSize_)) == nullptr) return;
    posted_ = true;
    reader_->Post(ReadPending, this);
}

void RecordChunks::ReadPending(void *self, int64_t, int64_t) {
    RecordChunks &c = *static_cast<RecordChunks *>(self);
    c.postedRead_ = c.file_.Read(c.headerSize_ + c.next_ * c.recordSize_, c.spare_->data,
                                 static_cast<size_t>(c.postedCount_ * c.recordSize_));
}

void RecordChunks::Settle() {
    if (!posted_) return;
    reader_->Finish();
    posted_ = false;
}

}  // namespace trova
