#include "files/file_table.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "files/headers.h"

namespace trova {

FileTableState FileTable;

namespace {

void FillCommon(FileInfoRecord &entry, const std::string &path, uint32_t channelCode,
                const FileGeometry &geometry) {
    std::memset(&entry, 0, sizeof entry);
    std::memcpy(entry.path, path.c_str(), path.size() + 1);  // path fits a slot
    entry.channelCode = channelCode;
    entry.recordCount = geometry.recordCount;
    entry.recordSize = geometry.recordSize;
    entry.headerSize = geometry.headerSize;
    entry.firstTime = geometry.firstTime;
    entry.lastTime = geometry.lastTime;
}

// Trend files: malformed, empty or rejected files are left out.
int32_t BuildFileTable(const std::vector<std::string> &slots, TableLog log,
                       FileTableState &table) {
    int32_t made = 0;
    for (const std::string &slot : slots) {
        TrendHeader header;
        if (log == TableLog::kWrite) {
            GetFileInformation(slot.c_str(), header);
        } else {
            ReadTrendFileInformation(slot.c_str(), header);
        }
        if (header.geometry.recordCount == 0) continue;
        table.totalRecords += header.geometry.recordCount;
        FileInfoRecord &entry = table.entries[made++];
        FillCommon(entry, slot, header.channelCode, header.geometry);
        entry.harmonicCount = 0;
        entry.statCount = header.statCount;
        entry.scalarCount = header.scalarCount;
        entry.phaseQuantityCount = header.phaseQuantityCount;
        entry.refQuantity = header.refQuantity;
    }
    return made;
}

// Harmonic files: the same, plus the harmonic count and power-block flag.
int32_t BuildFileTableFFT(const std::vector<std::string> &slots, FileTableState &table) {
    int32_t made = 0;
    for (const std::string &slot : slots) {
        HarmonicHeader header;
        GetFileInformationFFT(slot.c_str(), header);
        table.totalRecords += header.geometry.recordCount;
        if (header.geometry.recordCount == 0) continue;
        FileInfoRecord &entry = table.entries[made++];
        FillCommon(entry, slot, header.channelCode, header.geometry);
        entry.harmonicCount = header.harmonicCount;
        entry.powerBlockFlag = header.powerBlockFlag;
    }
    return made;
}

}  // namespace

void ReleaseTable(FileTableState &table) {
    std::free(table.entries);
    table.entries = nullptr;
    table.valid = 0;
    table.fileCount = 0;
    table.totalRecords = 0;
}

void ReleaseFileTable() { ReleaseTable(FileTable); }

bool BuildTable(const std::vector<std::string> &slots, HeaderVariant variant, TableLog log,
                FileTableState &table) {
    table.entries = static_cast<FileInfoRecord *>(
        std::calloc(slots.empty() ? 1 : slots.size(), sizeof(FileInfoRecord)));
    if (table.entries == nullptr) return false;
    table.fileCount = variant == HeaderVariant::kTrend
                          ? BuildFileTable(slots, log, table)
                          : BuildFileTableFFT(slots, table);
    return true;
}

namespace {
std::atomic<bool> gForget{false};
}  // namespace

void ForgetFileTable() { gForget.store(true); }

void EnsureFileTable(const char *PathFile, HeaderVariant variant) {
    const char *path = PathFile != nullptr ? PathFile : "";
    if (gForget.exchange(false) || std::strcmp(FileTable.cachedPath, path) != 0) ReleaseFileTable();
    if (FileTable.valid) return;

    ReleaseFileTable();
    RecordingName name;
    std::vector<std::string> slots;
    const bool named = SplitRecordingPath(path, name);
    if (named) slots = FindRecordingFiles(name);
    // Out of memory: an empty, uncached table.
    if (!BuildTable(slots, variant, TableLog::kWrite, FileTable)) return;
    // A path that fits no buffer is never cached: the next call looks again
    // (and again finds nothing).
    if (named) {
        std::memcpy(FileTable.cachedPath, path, std::strlen(path) + 1);
        FileTable.valid = 1;
    } else {
        FileTable.cachedPath[0] = '\0';
    }
}

}  // namespace trova
