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

// The posted work's stage: the helper begins it only by moving it from
// kPosted to kRunning, and Finish takes it back only by moving it from
// kPosted to kIdle, so exactly one of them runs it. The stores of kPosted
// and kDone publish the work and its results.
enum : int { kIdle, kPosted, kRunning, kDone };

// About half a millisecond of spinning (a read of a scan chunk takes less).
constexpr int kSpins = 1 << 14;
// About 50 microseconds: the helper's wait for the next piece of work.
constexpr int kIdleSpins = 1 << 11;
inline void Pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

struct WorkAhead::State {
    std::atomic<int> stage{kIdle};
    std::atomic<bool> quit{false};
    RangeWork work = nullptr;
    void *context = nullptr;
#ifdef _WIN32
    HANDLE thread = nullptr, ready = nullptr, done = nullptr;  // auto-reset events

    static unsigned __stdcall Loop(void *self) {
        static_cast<State *>(self)->Serve();
        return 0;
    }
    bool Start() {
        ready = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        done = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        if (ready != nullptr && done != nullptr) {
            thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Loop, this, 0, nullptr));
        }
        return thread != nullptr;
    }
    void SignalReady() { SetEvent(ready); }
    void AwaitReady() { WaitForSingleObject(ready, INFINITE); }
    void SignalDone() { SetEvent(done); }
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
    // Auto-reset events: a signal wakes one wait, or the next one.
    struct Event {
        std::mutex mutex;
        std::condition_variable changed;
        bool set = false;
        void Signal() {
            std::lock_guard<std::mutex> lock(mutex);
            set = true;
            changed.notify_one();
        }
        void Await() {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return set; });
            set = false;
        }
    };
    std::thread thread;
    Event ready, done;

    bool Start() {
        try {
            thread = std::thread([this] { Serve(); });
        } catch (...) {
            return false;
        }
        return true;
    }
    void SignalReady() { ready.Signal(); }
    void AwaitReady() { ready.Await(); }
    void SignalDone() { done.Signal(); }
    void AwaitDone() { done.Await(); }
    void Stop() {
        if (!thread.joinable()) return;
        quit = true;
        ready.Signal();
        thread.join();
    }
#endif

    void Serve() {
        for (;;) {
            // Work posted soon after the last is taken without a wake-up.
            for (int spin = 0; spin < kIdleSpins && stage.load() != kPosted && !quit; ++spin) {
                Pause();
            }
            if (stage.load() != kPosted) AwaitReady();
            if (quit) return;
            int posted = kPosted;
            if (stage.compare_exchange_strong(posted, kRunning)) {
                work(context, 0, 1);
                stage.store(kDone);
                SignalDone();
            }
        }
    }
};

WorkAhead::WorkAhead() = default;

WorkAhead::~WorkAhead() {
    Finish();
    if (state_) state_->Stop();
}

void WorkAhead::Post(RangeWork work, void *context) {
    if (!state_ && !failed_) {
        state_.reset(new State);
        if (!state_->Start()) {
            state_->Stop();
            state_.reset();
            failed_ = true;
        }
    }
    work_ = work, context_ = context;
    if (!state_) return;  // Finish runs it
    state_->work = work, state_->context = context;
    state_->stage.store(kPosted);
    state_->SignalReady();
}

void WorkAhead::Finish() {
    RangeWork work = work_;
    if (work == nullptr) return;
    work_ = nullptr;
    if (state_) {
        int stage = kPosted;
        if (!state_->stage.compare_exchange_strong(stage, kIdle)) {
            // The helper has begun it: its kDone (and its results) will follow.
            // A short wait is spun, so that the caller keeps its core.
            for (int spin = 0; spin < kSpins && state_->stage.load() != kDone; ++spin) Pause();
            while (state_->stage.load() != kDone) state_->AwaitDone();
            state_->stage.store(kIdle);
            return;
        }
    }
    work(context_, 0, 1);
}

}  // namespace trova
