// Numbers in the header file: stored one by one, in the writer's byte order.
#ifndef KTWT_WTCODEC_H
#define KTWT_WTCODEC_H

#include <cstring>

#include "ktwt/bytes.h"

namespace ktwt {

// The version of the header file that this library writes: 1.00. On disk.
inline constexpr short headerVersion = 100;

// The size of its fixed part, which is all zeros, or not there, in a header that was never finished. On disk.
inline constexpr int headerFixedSize = 32;

// Behind the last record of a header, and at the end of the file: the table is being removed. On disk, never change.
inline constexpr char removalMark[] = "being removed\n";
inline constexpr unsigned long removalMarkSize = sizeof removalMark - 1;

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
