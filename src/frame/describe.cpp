// TrovaDescribeRecording: the file table a reader would build for a path,
// built here into a table of the call's own. It writes no log line, opens
// no dialog and leaves the module's cached table alone, so it needs no
// module state and may run beside a reader call.
#include "trova/describe.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "files/discovery.h"
#include "files/file_table.h"
#include "files/window.h"
#include "harmonics/harmonic_layout.h"
#include "trend/trend_layout.h"

namespace trova {
namespace {

// The public entry mirrors FileInfoRecord field for field, so a member is
// handed out as it stands in the table.
static_assert(sizeof(TrovaFileInfo) == sizeof(FileInfoRecord), "TrovaFileInfo layout");
static_assert(offsetof(TrovaFileInfo, lastTime) == offsetof(FileInfoRecord, lastTime),
              "TrovaFileInfo layout");
static_assert(offsetof(TrovaFileInfo, powerBlockFlag) == offsetof(FileInfoRecord, powerBlockFlag),
              "TrovaFileInfo layout");
static_assert(std::is_trivially_copyable<FileInfoRecord>::value, "FileInfoRecord is plain data");

// A table owned by one description, released however the call ends.
struct OwnedTable {
    FileTableState state{};
    ~OwnedTable() { ReleaseTable(state); }
};

void CopyText(char *to, size_t size, const std::string &text) {
    std::snprintf(to, size, "%s", text.c_str());
}

void DescribeSearch(const RecordingName &name, size_t matched, TrovaRecordingInfo &info) {
    CopyText(info.directory, sizeof info.directory, name.directory);
    CopyText(info.stem, sizeof info.stem, name.stem);
    CopyText(info.extension, sizeof info.extension, name.extension);
    CopyText(info.pattern, sizeof info.pattern, name.pattern);
    info.matchedCount = static_cast<int32_t>(matched);
}

void DescribeTable(const FileTableState &table, HeaderVariant variant, TrovaRecordingInfo &info) {
    const FileInfoRecord &first = table.entries[0];
    info.variant = variant == HeaderVariant::kTrend ? TROVA_VARIANT_TREND : TROVA_VARIANT_HARMONIC;
    info.fileCount = table.fileCount;
    info.totalRecords = table.totalRecords;
    info.recordSize = first.recordSize;
    info.headerSize = first.headerSize;
    info.firstTime = first.firstTime;
    info.lastTime = table.entries[table.fileCount - 1].lastTime;
    info.channelCode = first.channelCode;
    if (variant == HeaderVariant::kTrend) {
        info.channelCount = ChannelsRead(static_cast<int32_t>(first.channelCode), true);
        info.statCount = first.statCount;
        info.scalarCount = first.scalarCount;
        info.phaseQuantityCount = first.phaseQuantityCount;
        info.refQuantity = first.refQuantity;
    } else {
        info.phaseCount = HarmonicPhaseCount(first.channelCode);
        info.harmonicCount = first.harmonicCount;
        info.powerBlock = first.powerBlockFlag != 0 ? 1 : 0;
    }
}

void DescribeWindow(const FileTableState &table, double TStart, double TStop,
                    TrovaRecordingInfo &info) {
    const TimeWindow window = ResolveTimeWindow(table, TStart, TStop);
    info.startFile = window.startFile;
    info.startRecord = window.startRecord;
    info.endFile = window.endFile;
    info.stopRecord = window.stopRecord;
    info.startSelected = window.startSelected ? 1 : 0;
    info.stopSelected = window.stopSelected ? 1 : 0;
    info.windowRecords = CountWindowRecords(table, window, TStart, TStop);
    info.windowSamples = WindowSamples(table, window, TStart, TStop);
}

}  // namespace
}  // namespace trova

extern "C" TROVA_API int TrovaDescribeRecording(const char *PathFile, int variant, double TStart,
                                                double TStop, TrovaRecordingInfo *info,
                                                TrovaFileInfo *files, int fileCapacity) {
    using namespace trova;
    if (info == nullptr || fileCapacity < 0 || (files == nullptr && fileCapacity > 0) ||
        variant < TROVA_VARIANT_AUTO || variant > TROVA_VARIANT_HARMONIC) {
        return TROVA_DESCRIBE_BAD_ARGUMENT;
    }
    std::memset(info, 0, sizeof *info);
    info->tStart = TStart;
    info->tStop = TStop;

    RecordingName name;
    if (!SplitRecordingPath(PathFile, name)) return TROVA_DESCRIBE_NO_RECORDING;
    const std::vector<std::string> slots = FindRecordingFiles(name);
    DescribeSearch(name, slots.size(), *info);

    OwnedTable trend;
    OwnedTable harmonic;
    // The automatic choice builds both tables and keeps the one that holds
    // more members; a tie goes to the trend variant.
    if (variant != TROVA_VARIANT_HARMONIC &&
        !BuildTable(slots, HeaderVariant::kTrend, TableLog::kQuiet, trend.state)) {
        return TROVA_DESCRIBE_NO_MEMORY;
    }
    if (variant != TROVA_VARIANT_TREND &&
        !BuildTable(slots, HeaderVariant::kHarmonic, TableLog::kQuiet, harmonic.state)) {
        return TROVA_DESCRIBE_NO_MEMORY;
    }
    const bool useHarmonic = variant == TROVA_VARIANT_HARMONIC ||
                             (variant == TROVA_VARIANT_AUTO &&
                              harmonic.state.fileCount > trend.state.fileCount);
    const HeaderVariant chosen = useHarmonic ? HeaderVariant::kHarmonic : HeaderVariant::kTrend;
    const FileTableState &table = useHarmonic ? harmonic.state : trend.state;
    info->variant = useHarmonic ? TROVA_VARIANT_HARMONIC : TROVA_VARIANT_TREND;
    if (table.fileCount < 1) return TROVA_DESCRIBE_NO_FILES;

    DescribeTable(table, chosen, *info);
    DescribeWindow(table, TStart, TStop, *info);
    const int copied = table.fileCount < fileCapacity ? table.fileCount : fileCapacity;
    if (copied > 0) std::memcpy(files, table.entries, sizeof(TrovaFileInfo) * copied);
    return TROVA_DESCRIBE_OK;
}
