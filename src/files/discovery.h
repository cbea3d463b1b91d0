// Which files make up a recording. The host names any one file of it
// (PathFile); the recording is every file of that directory whose name is
// the stem, a ".", any run of characters and the extension, compared
// without regard to letter case, in byte-wise order of their full paths.
// For D:\rec\meas.003.dat (or /rec/meas.003.dat on POSIX): directory
// "D:\rec\", stem "meas", extension ".dat", pattern "D:\rec\meas.*.dat".
#pragma once

#include <string>
#include <vector>

namespace trova {

// Byte limits, terminating NUL included.
constexpr size_t kPathBufferSize = 256;  // PathFile, the cached path
constexpr size_t kSlotSize = 255;        // one found file's full path
constexpr size_t kMaxExtensionLength = 15;

struct RecordingName {
    std::string directory;  // up to and including the last separator
    std::string stem;       // after the separator, up to the name's first "."
    std::string extension;  // from the last "." to the end
    std::string pattern;    // directory + stem + ".*" + extension
};

// False when PathFile has no separator, its name has no ".", or a part
// does not fit its limit: such a recording has no files.
bool SplitRecordingPath(const char *PathFile, RecordingName &out);

// The full paths of the recording's files, sorted byte-wise. Found names
// whose full path would not fit a slot are left out.
std::vector<std::string> FindRecordingFiles(const RecordingName &name);

}  // namespace trova
