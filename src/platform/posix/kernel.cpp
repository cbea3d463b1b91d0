// Events, threads and Sleep of the POSIX build.
//
// An event handle points to an Event in a table that lives as long as the
// process (nothing closes events): one mutex guards the table and every
// event's state, and each event has its own condition variable for waits
// with a timeout. A handle that is not in the table makes the call fail
// instead of touching memory that is not an event.
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/posix/dialog_probe.h"
#include "platform/posix/win32_posix.h"

namespace trova::platform {
namespace {

struct Event {
    bool manualReset;
    bool signalled;
    std::condition_variable changed;  // notified when the event becomes signalled
};

struct EventTable {
    std::mutex mutex;
    std::vector<std::unique_ptr<Event>> events;  // guarded by `mutex`

    // The event behind `handle`, or nullptr; the caller holds `mutex`.
    Event *Find(HANDLE handle) const {
        for (const auto &event : events) {
            if (event.get() == handle) return event.get();
        }
        return nullptr;
    }
};

// Created on first use and never destroyed: the module's load-time
// constructor creates its event, possibly before this file's static objects
// are initialised, and detached workers may still poll while static
// destructors run.
EventTable &Events() {
    static EventTable *table = new EventTable;
    return *table;
}

using PollHookFunction = std::function<void(int, HANDLE)>;

struct PollHookSlot {
    std::mutex mutex;
    std::shared_ptr<const PollHookFunction> hook;  // guarded by `mutex`
    int nextIndex = 0;                             // guarded by `mutex`
};

PollHookSlot &PollHooks() {
    static PollHookSlot *slot = new PollHookSlot;
    return *slot;
}

// Runs the test's poll hook, if one is set, with no lock of ours held.
void RunPollHook(HANDLE handle) {
    PollHookSlot &slot = PollHooks();
    std::shared_ptr<const PollHookFunction> hook;
    int index = 0;
    {
        std::lock_guard<std::mutex> lock(slot.mutex);
        if (!slot.hook) return;
        hook = slot.hook;
        index = slot.nextIndex++;
    }
    (*hook)(index, handle);
}

std::atomic<bool> threadStartFails{false};
std::atomic<uintptr_t> threadsStarted{0};

struct ThreadLaunch {
    void (*start)(void *);
    void *argument;
};

void *RunThread(void *launchPointer) {
    const ThreadLaunch launch = *static_cast<ThreadLaunch *>(launchPointer);
    delete static_cast<ThreadLaunch *>(launchPointer);
    launch.start(launch.argument);
    return nullptr;
}

}  // namespace

namespace probe {

void SetPollHook(std::function<void(int pollIndex, HANDLE event)> hook) {
    PollHookSlot &slot = PollHooks();
    std::lock_guard<std::mutex> lock(slot.mutex);
    slot.hook = hook ? std::make_shared<const PollHookFunction>(std::move(hook)) : nullptr;
    slot.nextIndex = 0;
}

bool EventIsSignalled(HANDLE event) {
    EventTable &table = Events();
    std::lock_guard<std::mutex> lock(table.mutex);
    const Event *e = table.Find(event);
    return e != nullptr && e->signalled;
}

void SetThreadStartFailure(bool fail) { threadStartFails.store(fail); }

}  // namespace probe
}  // namespace trova::platform

using namespace trova::platform;

// Named events would be shared between processes; we have none.
HANDLE CreateEventA(void *, BOOL manualReset, BOOL initialState, LPCSTR name) {
    if (name != nullptr && *name != '\0') return nullptr;
    auto event = std::make_unique<Event>();
    event->manualReset = manualReset != FALSE;
    event->signalled = initialState != FALSE;
    EventTable &table = Events();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.events.push_back(std::move(event));
    return table.events.back().get();
}

BOOL SetEvent(HANDLE handle) {
    EventTable &table = Events();
    std::lock_guard<std::mutex> lock(table.mutex);
    Event *e = table.Find(handle);
    if (e == nullptr) return FALSE;
    e->signalled = true;
    // Every waiter re-checks; of an auto-reset event's waiters only the
    // first to take the mutex consumes the signal.
    e->changed.notify_all();
    return TRUE;
}

BOOL ResetEvent(HANDLE handle) {
    EventTable &table = Events();
    std::lock_guard<std::mutex> lock(table.mutex);
    Event *e = table.Find(handle);
    if (e == nullptr) return FALSE;
    e->signalled = false;
    return TRUE;
}

// A successful wait on an auto-reset event clears it, so one SetEvent
// satisfies exactly one wait.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (milliseconds == 0) RunPollHook(handle);
    EventTable &table = Events();
    std::unique_lock<std::mutex> lock(table.mutex);
    Event *e = table.Find(handle);
    if (e == nullptr) return WAIT_FAILED;
    const auto signalled = [e] { return e->signalled; };
    bool acquired;
    if (milliseconds == 0) {
        acquired = e->signalled;
    } else if (milliseconds == INFINITE) {
        e->changed.wait(lock, signalled);
        acquired = true;
    } else {
        acquired = e->changed.wait_for(lock, std::chrono::milliseconds(milliseconds), signalled);
    }
    if (!acquired) return WAIT_TIMEOUT;
    if (!e->manualReset) e->signalled = false;
    return WAIT_OBJECT_0;
}

void Sleep(DWORD milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// The result only tells success from failure: nothing here takes a thread
// handle, so a running count of started threads serves as the value.
uintptr_t _beginthread(void (*start)(void *), unsigned stackSize, void *argument) {
    constexpr auto kFailed = static_cast<uintptr_t>(-1);
    if (start == nullptr || threadStartFails.load()) return kFailed;

    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return kFailed;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stackSize != 0) {
        // A size below the system's minimum leaves the default stack.
        pthread_attr_setstacksize(&attributes, stackSize);
    }
    auto *launch = new ThreadLaunch{start, argument};
    pthread_t thread;
    const int created = pthread_create(&thread, &attributes, RunThread, launch);
    pthread_attr_destroy(&attributes);
    if (created != 0) {
        delete launch;
        return kFailed;
    }
    return threadsStarted.fetch_add(1) + 1;
}
