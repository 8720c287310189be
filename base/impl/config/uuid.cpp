#include <cerrno>

#include "file/os_calls.h"
#include "file/retry.h"
#include "ktb/config.h"

KtbString ktbGetUUID() {
    constexpr int textLength = 36;
    constexpr char digits[] = "0123456789abcdef";
    unsigned char random[16];
    KtbString uuid;
    if (uninterrupted([&] { return ktb_os_random(random, sizeof random); }) < 0) {
        uuid.setNull();
        return uuid;
    }
    random[6] = static_cast<unsigned char>((random[6] & 0x0f) | 0x40);  // version 4: random
    random[8] = static_cast<unsigned char>((random[8] & 0x3f) | 0x80);  // the variant of RFC 4122
    char text[textLength];
    char* end = text;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) *end++ = '-';
        *end++ = digits[random[i] >> 4];
        *end++ = digits[random[i] & 15];
    }
    uuid.assign(text, textLength);
    return uuid;
}
