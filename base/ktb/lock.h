// Locks: exclusive, not recursive, and may be released by another thread than the one that took them.
//
// Threads: every operation from any thread, but ktLockDestroy when no other uses the lock.
#ifndef KTB_LOCK_H
#define KTB_LOCK_H

#include "ktb/export.h"

typedef struct KtLock* ktLock;

extern "C" {

// Makes a lock that nobody holds; the arguments are reserved and should be 0. Returns null when it cannot be made. End it
// with ktLockDestroy.
KTB_API ktLock ktLockCreate(int kind, int flags);

// Waits until the caller holds the lock; the numbers are reserved and should be 1. Returns 0. A thread that takes a lock it
// holds waits for somebody else to release it.
KTB_API int ktLockGet(ktLock lock, int mode, int wait);

// Lets the next waiter in. Returns 0. After the moment at which a waiter may return from ktLockGet, nothing of the lock is
// touched here any more: that waiter may destroy it at once.
KTB_API int ktLockRelease(ktLock lock);

// Frees a lock that nobody waits for. Null is ignored.
KTB_API void ktLockDestroy(ktLock lock);
}

#endif
