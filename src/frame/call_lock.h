// One export call at a time per process. The module's state (the title,
// the progress total, the cancel event, the file table, the dialog) belongs
// to the call that holds this lock; every export takes it first, around its
// whole call, log lines and dialog included.
//
// A call from another thread waits until the running call has returned. A
// call re-entered on the thread that already holds the lock (a progress
// callback, or a host's timer or window procedure reached through the
// dialog's message loop) cannot wait for itself: it is refused at once.
#pragma once

namespace trova {

class ExportCallLock {
public:
    // Waits for the lock unless this thread holds it already.
    ExportCallLock();
    ~ExportCallLock();
    ExportCallLock(const ExportCallLock &) = delete;
    ExportCallLock &operator=(const ExportCallLock &) = delete;

    // False for a call re-entered on the thread whose call is running: it
    // holds nothing and must return at once.
    bool entered() const { return entered_; }

private:
    bool entered_ = false;
};

}  // namespace trova
