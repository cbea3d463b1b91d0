#include "harmonics/harmonic_scan.h"

#include "harmonics/harmonic_layout.h"

namespace trova {

HarmonicScan PrepareHarmonicScan(const FileTableState &table, double TStart, double TStop) {
    const FileInfoRecord &first = table.entries[0];
    HarmonicScan scan;
    scan.window = ResolveTimeWindow(table, TStart, TStop);
    scan.phases = HarmonicPhaseCount(first.channelCode);
    scan.samples = WindowSamples(table, scan.window, TStart, TStop);
    scan.hasPowerBlock = first.powerBlockFlag != 0;
    scan.harmonics = first.harmonicCount;
    return scan;
}

}  // namespace trova
