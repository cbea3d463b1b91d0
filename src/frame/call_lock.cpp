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

// Statically initialised: no constructor has to run before the first call.
#ifdef _WIN32
SRWLOCK gLock = SRWLOCK_INIT;
void Acquire() { AcquireSRWLockExclusive(&gLock); }
void Release() { ReleaseSRWLockExclusive(&gLock); }
uintptr_t ThisThread() { return static_cast<uintptr_t>(GetCurrentThreadId()); }
#else
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
