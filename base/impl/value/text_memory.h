// How large a text may be, and how its memory grows.
#ifndef KTB_VALUE_TEXT_MEMORY_H
#define KTB_VALUE_TEXT_MEMORY_H

#include <algorithm>

// Sizes are reported as int and include the NUL.
inline constexpr unsigned textBytesMax = 0x7ffffffe;

// The capacity for a text of `bytes` bytes, not above textBytesMax, that outgrew `capacity`. Doubling makes a long series of
// small appends cost time in the bytes appended and no more.
constexpr unsigned grownCapacity(unsigned capacity, unsigned bytes) noexcept {
    const unsigned doubled = capacity > textBytesMax / 2 ? textBytesMax : capacity * 2;
    return std::max(bytes, doubled);
}

#endif
