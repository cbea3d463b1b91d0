// The file table: every usable file of the current recording with its
// geometry and times, in name order, cached between calls under the
// PathFile string it was built for.
#pragma once

#include <cstdint>

#include "files/discovery.h"

namespace trova {

struct FileInfoRecord {
    char path[kPathBufferSize];
    uint32_t channelCode;
    uint32_t recordCount;
    uint32_t recordSize;
    uint32_t headerSize;
    double firstTime;
    double lastTime;
    int32_t harmonicCount;        // harmonic files: H; trend files: 0
    uint32_t statCount;           // trend files only
    uint32_t scalarCount;         // trend files only
    uint32_t phaseQuantityCount;  // trend files only
    uint32_t refQuantity;         // trend files only
    uint32_t powerBlockFlag;      // harmonic files only: 0 or 2
};

struct FileTableState {
    uint8_t valid;
    FileInfoRecord *entries;  // malloc'd; owned by the module
    char cachedPath[kPathBufferSize];
    uint32_t totalRecords;
    int32_t fileCount;
};

// The module's one table. Plain data, zero at load: it must outlive every
// static destructor until the module is released.
extern FileTableState FileTable;

enum class HeaderVariant { kTrend, kHarmonic };

// Whether building a table writes the trend files' "GetFileInformation"
// log lines (the readers) or nothing (a description of a recording).
enum class TableLog { kWrite, kQuiet };

// Fills the empty `table` with the usable files among `slots` (the sorted
// paths of a recording's members), read as `variant`. The table is not
// marked valid or cached. False when its entries cannot be allocated.
bool BuildTable(const std::vector<std::string> &slots, HeaderVariant variant, TableLog log,
                FileTableState &table);

// The worker prologue: afterwards FileTable describes the recording of
// PathFile. The table is reused as long as PathFile is the same string,
// whichever variant built it and whatever changed on disk since. A PathFile
// that cannot name a recording gives an empty table (and is not cached).
void EnsureFileTable(const char *PathFile, HeaderVariant variant);

// Asks the next EnsureFileTable to build the table afresh even for the
// cached path (any thread, at any time; the worker that holds the table
// acts on it).
void ForgetFileTable();

// Frees a table's entries and empties it; ReleaseFileTable does so for the
// module's table (process detach).
void ReleaseTable(FileTableState &table);
void ReleaseFileTable();

}  // namespace trova
