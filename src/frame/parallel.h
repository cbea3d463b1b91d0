// Work shared between the worker's thread and one helper thread. The
// reader logic hands over a computation on a range of items that reads
// only what does not change meanwhile and writes only its own items, or
// (the scan) a read that runs while the worker goes on. The
// helper thread belongs to the object that made it and has ended when that
// object is destroyed, within the call: no thread of the module outlives a
// call, and nothing waits for one at unload.
#pragma once

#include <cstdint>
#include <memory>

namespace trova {

using RangeWork = void (*)(void *context, int64_t begin, int64_t end);

class HelperThread {
public:
    HelperThread();   // the thread starts at the first split or post that needs it
    ~HelperThread();  // waits for posted work, ends the thread and waits for it
    HelperThread(const HelperThread &) = delete;
    HelperThread &operator=(const HelperThread &) = delete;

    // Runs work over [0, count): [count / 2, count) on the helper thread,
    // the rest on the calling thread; returns when both parts are done. All
    // of it runs on the calling thread when no thread could be started.
    void SplitInTwo(int64_t count, RangeWork work, void *context);

    // Starts work(context, begin, end) on the helper thread and returns at
    // once; Wait() returns when it is done. Runs it on the calling thread
    // before returning when no thread could be started. One posted work at
    // a time; nothing else may be handed over until Wait().
    void Post(RangeWork work, void *context, int64_t begin, int64_t end);
    void Wait();

private:
    struct State;
    bool Ready();  // the thread, started if it is not yet; false if it cannot be
    std::unique_ptr<State> state_;
    bool failed_ = false;
    bool posted_ = false;
};

}  // namespace trova
