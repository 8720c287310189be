// UTF-8 as KtbString sees it: any bytes are a text, cut into characters.
//
// A character is one well-formed sequence (RFC 3629) or one byte that is part of no such sequence. A sequence begins with a
// byte that never occurs inside one (its lead byte), so sequences cannot overlap: whether a place is between two characters can
// be told from the three bytes before it, and scanning backwards finds the same characters as scanning forwards.
#ifndef KTB_VALUE_UTF8_H
#define KTB_VALUE_UTF8_H

#include <cstddef>

namespace utf8 {

inline constexpr std::ptrdiff_t sequenceBytesMax = 4;

// Where a walk over characters ended, and how many it passed.
struct Walk {
    const char* at;
    unsigned characters;
};

inline bool isContinuation(char byte) noexcept { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The number of bytes, 1 to 4, of the character that begins at `text`, which lies before `end`.
unsigned characterSize(const char* text, const char* end) noexcept;

// The number of bytes of the last character of [begin, end), which is not empty.
unsigned lastCharacterSize(const char* begin, const char* end) noexcept;

// Passes over as many characters of [text, end) as there are, but not more than `charactersMax`.
Walk walk(const char* text, const char* end, unsigned charactersMax) noexcept;

inline unsigned count(const char* text, const char* end) noexcept { return walk(text, end, ~0U).characters; }

// `at` when it lies between two characters of [begin, end) or at an end of it, else the start of the character around it.
const char* boundaryAtOrBefore(const char* begin, const char* at, const char* end) noexcept;

// The place from which the characters of [begin, end) may change when bytes are appended: an unfinished sequence at the end, or
// `end`.
const char* unsettledTail(const char* begin, const char* end) noexcept;

}  // namespace utf8

#endif
