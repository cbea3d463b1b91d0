#include "frame/call_lock.h"

#include <atomic>
#include <cstdint>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace trova {
namespace {

#ifdef _WIN32
// A kernel mutex, made on first use. A thread that waits for it keeps
// answering the messages other threads send to its windows: a host whose
// second window thread calls a reader while the first one's dialog runs
// must not leave the first one blocked in a SendMessage to it (activation,
// for one). Messages posted to the waiting thread stay queued.
HANDLE gMutex = nullptr;  // left to the process end, as CancelEvent is

HANDLE TheMutex() {
    if (HANDLE existing = static_cast<HANDLE>(InterlockedCompareExchangePointer(
            reinterpret_cast<void **>(&gMutex), nullptr, nullptr))) {
        return existing;
    }
    HANDLE made = CreateMutexA(nullptr, FALSE, nullptr);
    if (HANDLE earlier = static_cast<HANDLE>(InterlockedCompareExchangePointer(
            reinterpret_cast<void **>(&gMutex), made, nullptr))) {
        CloseHandle(made);  // another thread made it first
        return earlier;
    }
    return made;
}

void Acquire() {
    HANDLE mutex = TheMutex();
    for (;;) {
        const DWORD woken = MsgWaitForMultipleObjects(1, &mutex, FALSE, INFINITE, QS_SENDMESSAGE);
        if (woken == WAIT_OBJECT_0 || woken == WAIT_ABANDONED_0) return;
        if (woken != WAIT_OBJECT_0 + 1) {  // cannot wait with messages: plainly
            WaitForSingleObject(mutex, INFINITE);
            return;
        }
        MSG message;  // handles the sent messages; posted ones stay queued
        PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
}
void Release() { ReleaseMutex(TheMutex()); }
uintptr_t ThisThread() { return static_cast<uintptr_t>(GetCurrentThreadId()); }
#else
// Statically initialised: no constructor has to run before the first call.
pthread_mutex_t gLock = PTHREAD_MUTEX_INITIALIZER;
void Acquire() { pthread_mutex_lock(&gLock); }
void Release() { pthread_mutex_unlock(&gLock); }
// pthread_t is an integer or a pointer, depending on the system.
uintptr_t ThisThread() { return (uintptr_t)pthread_self(); }
#endif

// The thread that holds the lock, 0 while nobody does. Only the holder
// writes its own id here, so a thread that reads its own id is the holder.
std::atomic<uintptr_t> gOwner{0};

}  // namespace

ExportCallLock::ExportCallLock() {
    const uintptr_t self = ThisThread();
    if (gOwner.load(std::memory_order_relaxed) == self) return;
    Acquire();
    gOwner.store(self, std::memory_order_relaxed);
    entered_ = true;
}

ExportCallLock::~ExportCallLock() {
    if (!entered_) return;
    gOwner.store(0, std::memory_order_relaxed);
    Release();
}

}  // namespace trova
