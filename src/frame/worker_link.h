// What a worker may ask of the frame while it runs: nothing else of the
// dialog reaches the reader logic, and no platform header comes with this.
#pragma once

#include <cstdint>

namespace trova::worker {

// Zero-wait poll of the cancel event; a true answer consumes the request.
bool CancelRequested();
// Adds `percent` to the dialog's progress total.
void PostProgress(int32_t percent);
// The worker's last act: the dialog closes and the export returns.
void PostDone();
// The pause a worker makes before it completes (500 ms on Windows).
void CompletionPause();

}  // namespace trova::worker
