#ifndef KTWT_WTNULL_H
#define KTWT_WTNULL_H

namespace ktwt {

// Whether an operation was called through a null pointer, as callers of release() may. The detour keeps the compiler from
// concluding that `this` never is null.
inline bool isNull(const void* object) {
    const void* volatile seen = object;
    return seen == nullptr;
}

}  // namespace ktwt

#endif
