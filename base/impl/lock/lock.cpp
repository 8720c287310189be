#include "ktb/lock.h"

#include <condition_variable>
#include <mutex>
#include <new>

// A flag under a mutex rather than the mutex itself, since only the thread that locked a mutex may unlock it.
struct KtLock {
    std::mutex mutex;
    std::condition_variable released;
    bool held = false;
};

extern "C" ktLock ktLockCreate(int, int) { return new (std::nothrow) KtLock; }

extern "C" int ktLockGet(ktLock lock, int, int) {
    std::unique_lock guard(lock->mutex);
    while (lock->held) lock->released.wait(guard);
    lock->held = true;
    return 0;
}

extern "C" int ktLockRelease(ktLock lock) {
    // The waiter is woken while the mutex is held: it cannot return, and perhaps destroy the lock, before the mutex is given
    // back, and that is the last that happens to the lock here.
    const std::lock_guard guard(lock->mutex);
    lock->held = false;
    lock->released.notify_one();
    return 0;
}

extern "C" void ktLockDestroy(ktLock lock) { delete lock; }
