#include "files/discovery.h"

#include <algorithm>
#include <cstring>

#include "platform/win32.h"

namespace trova {
namespace {
#ifdef _WIN32
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif
}  // namespace

bool SplitRecordingPath(const char *PathFile, RecordingName &out) {
    out = RecordingName{};
    if (PathFile == nullptr) return false;
    const size_t length = std::strlen(PathFile);
    if (length == 0 || length >= kPathBufferSize) return false;
    const char *separator = std::strrchr(PathFile, kSeparator);
    if (separator == nullptr) return false;
    const char *name = separator + 1;
    const char *firstDot = std::strchr(name, '.');
    const char *lastDot = std::strrchr(name, '.');
    if (firstDot == nullptr) return false;  // the name has no "." at all

    out.directory.assign(PathFile, name);
    out.stem.assign(name, firstDot);
    out.extension.assign(lastDot);
    if (out.directory.size() >= kSlotSize || out.stem.size() >= kSlotSize ||
        out.extension.size() > kMaxExtensionLength) {
        return false;
    }
    out.pattern = out.directory + out.stem + ".*" + out.extension;
    return out.pattern.size() < kPathBufferSize;
}

std::vector<std::string> FindRecordingFiles(const RecordingName &name) {
    std::vector<std::string> paths;
    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA(name.pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return paths;
    do {
        std::string path = name.directory + found.cFileName;
        if (path.size() < kSlotSize) paths.push_back(std::move(path));
    } while (FindNextFileA(search, &found));
    FindClose(search);
    // strcmp order: byte-wise, so meas.10.dat sorts before meas.9.dat.
    std::sort(paths.begin(), paths.end(), [](const std::string &a, const std::string &b) {
        return std::strcmp(a.c_str(), b.c_str()) < 0;
    });
    return paths;
}

}  // namespace trova
