// One file read whole into memory. A call keeps one buffer and reuses it
// for every file it reads, growing it as files need: a fresh allocation per
// file would cost more in page faults than the read itself.
#pragma once

#include <cstdint>
#include <memory>

namespace trova {

class FileBuffer {
public:
    // Reads the whole file with one read. False (and an empty buffer) when
    // the file cannot be opened or read in full, or is 2 GiB or longer.
    bool Load(const char *path);

    const uint8_t *data() const { return data_.get(); }
    int64_t size() const { return size_; }

private:
    std::unique_ptr<uint8_t[]> data_;
    int64_t capacity_ = 0;
    int64_t size_ = 0;
};

}  // namespace trova
