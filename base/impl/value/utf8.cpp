#include "value/utf8.h"

#include <cstdint>
#include <cstring>

namespace utf8 {
namespace {

constexpr std::uint64_t highBits = 0x8080808080808080U;
constexpr std::ptrdiff_t wordBytes = sizeof(std::uint64_t);

unsigned char byteAt(const char* text) noexcept { return static_cast<unsigned char>(*text); }

// C0, C1 and F5 to FF begin no sequence: they could only write overlong forms or code points above U+10FFFF.
bool isLead(unsigned char byte) noexcept { return byte >= 0xC2 && byte <= 0xF4; }

unsigned sizeFromLead(unsigned char lead) noexcept { return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4; }

// The second byte alone decides about overlong forms (E0, F0), surrogates (ED) and code points above U+10FFFF (F4).
bool isSecond(unsigned char lead, unsigned char second) noexcept {
    const unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    return second >= least && second <= most;
}

bool isAsciiWord(const char* text) noexcept {
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    return (word & highBits) == 0;
}

}  // namespace

unsigned characterSize(const char* text, const char* end) noexcept {
    const unsigned char lead = byteAt(text);
    if (!isLead(lead)) return 1;
    const unsigned size = sizeFromLead(lead);
    if (end - text < static_cast<std::ptrdiff_t>(size) || !isSecond(lead, byteAt(text + 1))) return 1;
    if (size >= 3 && !isContinuation(text[2])) return 1;
    if (size == 4 && !isContinuation(text[3])) return 1;
    return size;
}

unsigned lastCharacterSize(const char* begin, const char* end) noexcept {
    if (!isContinuation(end[-1])) return 1;
    for (std::ptrdiff_t n = 2; n <= sequenceBytesMax && n <= end - begin; ++n) {
        if (characterSize(end - n, end) == static_cast<unsigned>(n)) return static_cast<unsigned>(n);
    }
    return 1;
}

Walk walk(const char* text, const char* end, unsigned charactersMax) noexcept {
    unsigned left = charactersMax;
    while (text != end && left != 0) {
        if (left >= wordBytes && end - text >= wordBytes && isAsciiWord(text)) {
            text += wordBytes;
            left -= static_cast<unsigned>(wordBytes);
        } else {
            text += characterSize(text, end);
            --left;
        }
    }
    return {text, charactersMax - left};
}

const char* boundaryAtOrBefore(const char* begin, const char* at, const char* end) noexcept {
    if (at == end || !isContinuation(*at)) return at;
    for (std::ptrdiff_t n = 1; n < sequenceBytesMax && n <= at - begin; ++n) {
        if (characterSize(at - n, end) > static_cast<unsigned>(n)) return at - n;
    }
    return at;
}

const char* unsettledTail(const char* begin, const char* end) noexcept {
    for (std::ptrdiff_t n = 1; n < sequenceBytesMax && n <= end - begin; ++n) {
        if (isLead(byteAt(end - n))) return end - n;
        if (!isContinuation(end[-n])) return end;
    }
    return end;
}

}  // namespace utf8
