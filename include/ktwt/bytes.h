// Byte order: files are written in the writer's own order, and a reader of the other order reverses each number.
#ifndef KTWT_BYTES_H
#define KTWT_BYTES_H

#include "ktb/export.h"

extern "C" {

// Reverses the order of the `n` bytes at `p`, in place; does nothing for n of 0 or 1. Safe from any thread.
KTB_API void reverseBytes(void* p, unsigned long n);
}

#endif
