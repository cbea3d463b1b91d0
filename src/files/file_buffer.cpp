#include "files/file_buffer.h"

#include <cstdio>
#include <limits>
#include <new>

namespace trova {

bool FileBuffer::Load(const char *path) {
    size_ = 0;
    if (path == nullptr) return false;
    std::FILE *file = std::fopen(path, "rb");
    if (file == nullptr) return false;
    // Lengths are signed 32-bit: a file of 2 GiB or more is refused, and so
    // is anything whose length cannot be taken (a directory, a pipe).
    long length = -1;
    if (std::fseek(file, 0, SEEK_END) == 0) length = std::ftell(file);
    if (length < 0 || static_cast<int64_t>(length) > std::numeric_limits<int32_t>::max() ||
        std::fseek(file, 0, SEEK_SET) != 0) {
        std::fclose(file);
        return false;
    }
    if (length > capacity_) {
        data_.reset(new (std::nothrow) uint8_t[static_cast<size_t>(length)]);
        capacity_ = data_ ? length : 0;
        if (!data_) {
            std::fclose(file);
            return false;
        }
    }
    const size_t got = length > 0 ? std::fread(data_.get(), 1, static_cast<size_t>(length), file) : 0;
    std::fclose(file);
    if (got != static_cast<size_t>(length)) return false;
    size_ = length;
    return true;
}

}  // namespace trova
