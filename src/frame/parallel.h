// Work shared between the worker's thread and one helper thread. The
// reader logic hands over a computation on a range of items that reads
// only what does not change meanwhile and writes only its own items, or
// (the scan) one piece of work to run ahead while the worker goes on. The
// helper thread belongs to the object that made it and has ended when that
// object is destroyed, within the call: no thread of the module outlives a
// call, and nothing waits for one at unload.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace trova {

using RangeWork = void (*)(void *context, int64_t begin, int64_t end);

class HelperThread {
public:
    HelperThread();   // the thread starts at the first split that needs it
    ~HelperThread();  // ends the thread and waits for it
    HelperThread(const HelperThread &) = delete;
    HelperThread &operator=(const HelperThread &) = delete;

    // Runs work over [0, count): [count / 2, count) on the helper thread,
    // the rest on the calling thread; returns when both parts are done. All
    // of it runs on the calling thread when no thread could be started.
    void SplitInTwo(int64_t count, RangeWork work, void *context);

private:
    struct State;
    std::unique_ptr<State> state_;
    bool failed_ = false;
};

// One piece of work at a time run ahead on a helper thread: Post hands it
// over and returns; Finish returns once it has run, on the helper thread,
// or on the calling thread when the helper had not begun it by then (so a
// helper that gets no core meanwhile costs the caller no wait). The thread
// starts at the first Post and has ended when the object is destroyed.
class WorkAhead {
public:
    WorkAhead();
    ~WorkAhead();  // finishes posted work, ends the thread and waits for it
    WorkAhead(const WorkAhead &) = delete;
    WorkAhead &operator=(const WorkAhead &) = delete;

    // work(context, 0, 1) will run; nothing else may be posted until Finish.
    void Post(RangeWork work, void *context);
    void Finish();

private:
    struct State;
    std::unique_ptr<State> state_;
    bool failed_ = false;
    RangeWork work_ = nullptr;  // the posted work, run here when no thread could be started
    void *context_ = nullptr;
};

}  // namespace trova
