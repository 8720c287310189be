// Long calls of the library that tell nothing on the way: they run in a thread of their own, while this one shows how far they
// are by what the process has read or written since.
#ifndef TOOLS_KTWT_BACKGROUND_H
#define TOOLS_KTWT_BACKGROUND_H

#include <functional>

// Runs `work`, which must not throw, and meanwhile `look`, some times a second. Returns when the work is done.
void runInBackground(const std::function<void()>& work, const std::function<void()>& look);

// The bytes that this process has read and written by system calls so far.
struct Transferred {
    long read = 0;
    long written = 0;
};

// Zeros where the system does not tell.
Transferred bytesTransferred();

#endif
