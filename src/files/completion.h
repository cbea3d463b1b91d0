// How every worker completes: the pause, the status, the message that
// closes the dialog.
#pragma once

#include <cstdint>

#include "files/file_table.h"
#include "frame/worker_link.h"

namespace trova {

enum ReaderStatus : int32_t {
    READER_OK = 0,
    READER_CANCELLED = 1,
    READER_BAD_MINMAX = 2,
    READER_NO_FILES = 3,
    READER_BAD_QUANTITY = 4,
    READER_NO_POWER_BLOCK = 5,
    // Written by an export, never by a worker: the call was re-entered on
    // the thread whose call is running and did not run (frame/call_lock.h).
    READER_BUSY = 6,
};

// What a worker remembers for its status. A corrected argument does not
// stop the work.
struct StatusFlags {
    bool cancelled = false;
    bool badMinMax = false;
    bool badQuantity = false;
    bool noPowerBlock = false;
};

// The rules apply in the order 1, 2, 3, 4, 5; the last that applies stands.
inline int32_t FinalStatus(const StatusFlags &flags, int32_t fileCount) {
    int32_t status = flags.cancelled ? READER_CANCELLED : READER_OK;
    if (flags.badMinMax) status = READER_BAD_MINMAX;
    if (fileCount < 1) status = READER_NO_FILES;
    if (flags.badQuantity) status = READER_BAD_QUANTITY;
    if (flags.noPowerBlock) status = READER_NO_POWER_BLOCK;
    return status;
}

// Pause, then `afterPause` (the workers that deliver their output only now),
// then the status and WM_READER_DONE. After this the worker must not touch
// its parameter block.
template <class StatusT, class AfterPause>
void CompleteWorker(const StatusFlags &flags, StatusT *Status, AfterPause &&afterPause) {
    worker::CompletionPause();
    afterPause();
    if (Status != nullptr) *Status = FinalStatus(flags, FileTable.fileCount);
    worker::PostDone();
}

template <class StatusT>
void CompleteWorker(const StatusFlags &flags, StatusT *Status) {
    CompleteWorker(flags, Status, [] {});
}

}  // namespace trova
