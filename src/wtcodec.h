// Numbers in the header file: stored one by one, in the writer's byte order.
#ifndef KTWT_WTCODEC_H
#define KTWT_WTCODEC_H

#include <cstring>

#include "ktwt/bytes.h"

namespace ktwt {

// The version of the header file that this library writes: 1.00. On disk.
inline constexpr short headerVersion = 100;

template <class Number>
void store(unsigned char* at, Number value) {
    std::memcpy(at, &value, sizeof value);
}

template <class Number>
Number load(const unsigned char* at, bool byteSwap) {
    Number value;
    std::memcpy(&value, at, sizeof value);
    if (byteSwap) reverseBytes(&value, sizeof value);
    return value;
}

}  // namespace ktwt

#endif
