#include "frame/parallel.h"

#ifdef _WIN32
#include <windows.h>
#include <process.h>
#else
#include <condition_variable>
#include <mutex>
#include <thread>
#endif

namespace trova {

// The part the helper thread runs next, handed over by events (Windows) or
// a condition variable; the hand-over orders the memory both ways.
struct HelperThread::State {
    RangeWork work = nullptr;
    void *context = nullptr;
    int64_t begin = 0, end = 0;
    bool quit = false;
#ifdef _WIN32
    HANDLE thread = nullptr, ready = nullptr, done = nullptr;

    static unsigned __stdcall Loop(void *self) {
        State &s = *static_cast<State *>(self);
        for (;;) {
            WaitForSingleObject(s.ready, INFINITE);
            if (s.quit) return 0;
            s.work(s.context, s.begin, s.end);
            SetEvent(s.done);
        }
    }
    bool Start() {
        ready = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        done = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        if (ready != nullptr && done != nullptr) {
            thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Loop, this, 0, nullptr));
        }
        return thread != nullptr;
    }
    void Hand() { SetEvent(ready); }
    void AwaitDone() { WaitForSingleObject(done, INFINITE); }
    void Stop() {
        if (thread != nullptr) {
            quit = true;
            SetEvent(ready);
            WaitForSingleObject(thread, INFINITE);
            CloseHandle(thread);
        }
        if (ready != nullptr) CloseHandle(ready);
        if (done != nullptr) CloseHandle(done);
    }
#else
    std::thread thread;
    std::mutex mutex;
    std::condition_variable changed;
    bool pending = false;

    void Loop() {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return pending || quit; });
            if (!pending) return;
            lock.unlock();
            work(context, begin, end);
            lock.lock();
            pending = false;
            changed.notify_all();
        }
    }
    bool Start() {
        try {
            thread = std::thread([this] { Loop(); });
        } catch (...) {
            return false;
        }
        return true;
    }
    void Hand() {
        std::lock_guard<std::mutex> lock(mutex);
        pending = true;
        changed.notify_all();
    }
    void AwaitDone() {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return !pending; });
    }
    void Stop() {
        if (!thread.joinable()) return;
        {
            std::lock_guard<std::mutex> lock(mutex);
            quit = true;
            changed.notify_all();
        }
        thread.join();
    }
#endif
};

HelperThread::HelperThread() = default;

HelperThread::~HelperThread() {
    if (state_) state_->Stop();
}

void HelperThread::SplitInTwo(int64_t count, RangeWork work, void *context) {
    const int64_t half = count / 2;
    if (!state_ && !failed_ && half > 0) {
        state_.reset(new State);
        if (!state_->Start()) {
            state_->Stop();
            state_.reset();
            failed_ = true;
        }
    }
    if (!state_ || half == 0) {
        work(context, 0, count);
        return;
    }
    state_->work = work, state_->context = context, state_->begin = half, state_->end = count;
    state_->Hand();
    work(context, 0, half);
    state_->AwaitDone();
}

}  // namespace trova
