// Byte order: files are written in the writer's own order, and a reader of the other order reverses each number.
//
// Threads: safe from any thread; the bytes are the caller's.
#ifndef KTWT_BYTES_H
#define KTWT_BYTES_H

#include "ktb/export.h"

extern "C" {

// Reverses the order of the `n` bytes at `p`, in place; does nothing for n of 0 or 1.
KTB_API void reverseBytes(void* p, unsigned long n);
}

#endif
