// What every harmonic trend worker does around its own work: the file
// table, the scan settled from it, the progress, and the completion.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "files/completion.h"
#include "files/file_table.h"
#include "files/numeric.h"
#include "files/scan.h"
#include "files/window.h"
#include "frame/log.h"

namespace trova {

struct HarmonicScan {
    TimeWindow window;
    int32_t phases;      // P, from the first file's channel code, for every file
    int64_t samples;     // the records the scan reads (the stop record included)
    bool hasPowerBlock;  // the first file's power-block flag
    int32_t harmonics;   // H of the first file
};

// From the file table of the recording, which must hold at least one file.
HarmonicScan PrepareHarmonicScan(const FileTableState &table, double TStart, double TStop);

// How a worker opens and closes: its first log line (nullptr: none), and
// whether it posts the rest of its progress (also 0) before the pause.
struct WorkerFrame {
    const char *startLine;
    bool finalProgress;
};

// Runs a worker: the start line, the file table of PathFile and, when it
// holds a file, `work(scan, progress, flags)`, which scans with the
// progress meter it is given and returns what it delivers after the
// completion pause (a callable, kept alive until then). Without a file the
// work is not run and the status is 3.
template <class Params, class Work>
void RunHarmonicWorker(Params &params, const WorkerFrame &frame, Work &&work) {
    if (frame.startLine != nullptr) LogLine(frame.startLine);
    EnsureFileTable(params.PathFile, HeaderVariant::kHarmonic);
    StatusFlags flags;
    float unposted = 0.0f;
    using AfterPause = decltype(work(std::declval<const HarmonicScan &>(),
                                     std::declval<ProgressMeter &>(), flags));
    std::optional<AfterPause> afterPause;
    if (FileTable.fileCount >= 1) {
        const HarmonicScan scan =
            PrepareHarmonicScan(FileTable, params.TStart, params.TStop);
        ProgressMeter progress(ProgressMeter::StepFor(scan.window));
        afterPause.emplace(work(scan, progress, flags));
        unposted = progress.accumulator();
    }
    if (frame.finalProgress) worker::PostProgress(TruncToInt32(unposted));
    // The output, then what it kept freed: nothing of the call is left to
    // free once it has completed.
    CompleteWorker(flags, params.Status, [&] {
        if (afterPause) (*afterPause)();
        afterPause.reset();
    });
}

// What a worker that delivers during its scan leaves for after the pause.
inline auto NothingAfterPause() {
    return [] {};
}

}  // namespace trova
