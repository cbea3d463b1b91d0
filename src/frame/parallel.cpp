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
    Wait();
    if (state_) state_->Stop();
}

bool HelperThread::Ready() {
    if (!state_ && !failed_) {
        state_.reset(new State);
        if (!state_->Start()) {
            state_->Stop();
            state_.reset();
            failed_ = true;
        }
    }
    return state_ != nullptr;
}

void HelperThread::Post(RangeWork work, void *context, int64_t begin, int64_t end) {
    if (!Ready()) {
        work(context, begin, end);
        return;
    }
    state_->work = work, state_->context = context, state_->begin = begin, state_->end = end;
    state_->Hand();
    posted_ = true;
}

void HelperThread::Wait() {
    if (!posted_) return;
    state_->AwaitDone();
    posted_ = false;
}

void HelperThread::SplitInTwo(int64_t count, RangeWork work, void *context) {
    const int64_t half = count / 2;
    if (half == 0 || !Ready()) {
        work(context, 0, count);
        return;
    }
    Post(work, context, half, count);
    work(context, 0, half);
    Wait();
}

}  // namespace trova
