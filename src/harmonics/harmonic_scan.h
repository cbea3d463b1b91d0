// What every harmonic trend worker settles before its scan, from the file
// table of the recording (which must hold at least one file).
#pragma once

#include <cstdint>

#include "files/file_buffer.h"
#include "files/file_table.h"
#include "files/window.h"

namespace trova {

struct HarmonicScan {
    TimeWindow window;
    int32_t phases;      // P, from the first file's channel code, for every file
    int64_t samples;     // the records the scan reads (the stop record included)
    bool hasPowerBlock;  // the first file's power-block flag
    int32_t harmonics;   // H of the first file
};

HarmonicScan PrepareHarmonicScan(const FileTableState &table, double TStart, double TStop,
                                 FileBuffer &buffer);

}  // namespace trova
