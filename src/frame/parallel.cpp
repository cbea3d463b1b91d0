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

namespace {

// A thread that serves work handed over by two auto-reset events: `ready`
// to the thread, `done` from it (a signal wakes one wait, or the next one).
// The hand-over orders the memory both ways. Stop sets the quit flag, wakes
// the thread and waits for it to end.
class ServingThread {
public:
    using Serve = void (*)(void *self);
    ServingThread() = default;
    ServingThread(const ServingThread &) = delete;
    ServingThread &operator=(const ServingThread &) = delete;

    bool quitting() const { return quit_.load(); }
#ifdef _WIN32
    bool Start(Serve serve, void *self) {
        serve_ = serve, self_ = self;
        ready_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        done_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        if (ready_ != nullptr && done_ != nullptr) {
            thread_ = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Loop, this, 0, nullptr));
        }
        return thread_ != nullptr;
    }
    void SignalReady() { SetEvent(ready_); }
    void AwaitReady() { WaitForSingleObject(ready_, INFINITE); }
    void SignalDone() { SetEvent(done_); }
    void AwaitDone() { WaitForSingleObject(done_, INFINITE); }
    void Stop() {
        if (thread_ != nullptr) {
            quit_ = true;
            SetEvent(ready_);
            WaitForSingleObject(thread_, INFINITE);
            CloseHandle(thread_);
            thread_ = nullptr;
        }
        if (ready_ != nullptr) CloseHandle(ready_);
        if (done_ != nullptr) CloseHandle(done_);
        ready_ = done_ = nullptr;
    }

private:
    static unsigned __stdcall Loop(void *self) {
        ServingThread &t = *static_cast<ServingThread *>(self);
        t.serve_(t.self_);
        return 0;
    }
    HANDLE thread_ = nullptr, ready_ = nullptr, done_ = nullptr;
    Serve serve_ = nullptr;
    void *self_ = nullptr;
#else
    bool Start(Serve serve, void *self) {
        try {
            thread_ = std::thread([serve, self] { serve(self); });
        } catch (...) {
            return false;
        }
        return true;
    }
    void SignalReady() { ready_.Signal(); }
    void AwaitReady() { ready_.Await(); }
    void SignalDone() { done_.Signal(); }
    void AwaitDone() { done_.Await(); }
    void Stop() {
        if (!thread_.joinable()) return;
        quit_ = true;
        ready_.Signal();
        thread_.join();
    }

private:
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
    std::thread thread_;
    Event ready_, done_;
#endif
    std::atomic<bool> quit_{false};
};

// Makes the state and starts its serving thread at the first need; once a
// thread could not be started, never again (the work then runs on the caller).
template <class State>
void StartOnce(std::unique_ptr<State> &state, bool &failed) {
    if (state || failed) return;
    state.reset(new State);
    if (!state->thread.Start(State::Serve, state.get())) {
        state->thread.Stop();
        state.reset();
        failed = true;
    }
}

}  // namespace

// The part the helper thread runs next.
struct HelperThread::State {
    RangeWork work = nullptr;
    void *context = nullptr;
    int64_t begin = 0, end = 0;
    ServingThread thread;

    static void Serve(void *self) {
        State &s = *static_cast<State *>(self);
        for (;;) {
            s.thread.AwaitReady();
            if (s.thread.quitting()) return;
            s.work(s.context, s.begin, s.end);
            s.thread.SignalDone();
        }
    }
};

HelperThread::HelperThread() = default;

HelperThread::~HelperThread() {
    if (state_) state_->thread.Stop();
}

void HelperThread::SplitInTwo(int64_t count, RangeWork work, void *context) {
    const int64_t half = count / 2;
    if (half > 0) StartOnce(state_, failed_);
    if (!state_ || half == 0) {
        work(context, 0, count);
        return;
    }
    state_->work = work, state_->context = context, state_->begin = half, state_->end = count;
    state_->thread.SignalReady();
    work(context, 0, half);
    state_->thread.AwaitDone();
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
    RangeWork work = nullptr;
    void *context = nullptr;
    ServingThread thread;

    static void Serve(void *self) {
        State &s = *static_cast<State *>(self);
        for (;;) {
            // Work posted soon after the last is taken without a wake-up.
            for (int spin = 0; spin < kIdleSpins && s.stage.load() != kPosted && !s.thread.quitting();
                 ++spin) {
                Pause();
            }
            if (s.stage.load() != kPosted) s.thread.AwaitReady();
            if (s.thread.quitting()) return;
            int posted = kPosted;
            if (s.stage.compare_exchange_strong(posted, kRunning)) {
                s.work(s.context, 0, 1);
                s.stage.store(kDone);
                s.thread.SignalDone();
            }
        }
    }
};

WorkAhead::WorkAhead() = default;

WorkAhead::~WorkAhead() {
    Finish();
    if (state_) state_->thread.Stop();
}

void WorkAhead::Post(RangeWork work, void *context) {
    StartOnce(state_, failed_);
    work_ = work, context_ = context;
    if (!state_) return;  // Finish runs it
    state_->work = work, state_->context = context;
    state_->stage.store(kPosted);
    state_->thread.SignalReady();
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
            while (state_->stage.load() != kDone) state_->thread.AwaitDone();
            state_->stage.store(kIdle);
            return;
        }
    }
    work(context_, 0, 1);
}

}  // namespace trova
