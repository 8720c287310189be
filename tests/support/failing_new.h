// Makes chosen allocations of the code under test fail.
//
// The libraries allocate with new (std::nothrow), tests and GoogleTest with plain new, so only the former is counted and made
// to fail. The replaced operators are weak: several test files of one program may include this header. Allocations are counted
// per thread.
#ifndef KTWT_TESTS_FAILING_NEW_H
#define KTWT_TESTS_FAILING_NEW_H

#include <cstddef>
#include <cstdlib>
#include <new>

namespace failing_new {

inline thread_local long made = 0;         // allocations asked for since the last failAt()
inline thread_local long failing = -1;     // the one to fail, counted from 0; negative: none
inline thread_local bool lasting = false;  // all after it fail, too
inline thread_local bool failed = false;   // whether it was reached

inline void failAt(long allocation, bool andAllAfterIt = false) {
    made = 0;
    failing = allocation;
    lasting = andAllAfterIt;
    failed = false;
}

inline void* allocate(std::size_t size) noexcept {
    const long number = made++;
    if (failing >= 0 && (number == failing || (lasting && number > failing))) {
        failed = true;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

inline void* allocateOrThrow(std::size_t size) {
    if (void* block = std::malloc(size != 0 ? size : 1)) return block;
    throw std::bad_alloc();
}

// Ends the failing; returns whether an allocation failed.
inline bool stop() {
    failing = -1;
    return failed;
}

// Runs `attempt` again and again, the first time with its first allocation failing, then its second, until a run meets no
// failure. Returns the number of runs that met one. What `attempt` should not have fail it does after a stop().
template <class Attempt>
long forEachFailure(Attempt attempt) {
    for (long n = 0;; ++n) {
        failAt(n);
        attempt();
        if (!stop()) return n;
    }
}

}  // namespace failing_new

#define KTWT_REPLACED __attribute__((weak))
KTWT_REPLACED void* operator new(std::size_t size) { return failing_new::allocateOrThrow(size); }
KTWT_REPLACED void* operator new[](std::size_t size) { return failing_new::allocateOrThrow(size); }
KTWT_REPLACED void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return failing_new::allocate(size); }
KTWT_REPLACED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return failing_new::allocate(size); }
KTWT_REPLACED void operator delete(void* block) noexcept { std::free(block); }
KTWT_REPLACED void operator delete[](void* block) noexcept { std::free(block); }
KTWT_REPLACED void operator delete(void* block, std::size_t) noexcept { std::free(block); }
KTWT_REPLACED void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
KTWT_REPLACED void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
KTWT_REPLACED void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
#undef KTWT_REPLACED

#endif
