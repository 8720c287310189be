#include "ktwt/bytes.h"

#include <algorithm>

void reverseBytes(void* p, unsigned long n) {
    auto* bytes = static_cast<unsigned char*>(p);
    std::reverse(bytes, bytes + n);
}
