// The characters of a work table URI and its percent-encoding (RFC 3986).
#ifndef KTB_URI_TEXT_H
#define KTB_URI_TEXT_H

#include "ktb/string.h"

namespace ktb_uri {

// Sets of characters, one bit each, so that a test for any of them is one look-up.
enum CharSet : unsigned char {
    unreserved = 1,  // stand for themselves everywhere; everything else is encoded when written
    schemeStart = 2,
    schemeRest = 4,
    pathRaw = 8,   // may stand unencoded in the table's name
    nameRaw = 16,  // may stand unencoded in a column's name, where ':', '=' and '&' have a meaning
    textRaw = 32   // may stand unencoded in a column's source or constant, where only '&' has a meaning
};

bool isIn(CharSet set, char character) noexcept;

// Appends `text` with all but the unreserved characters encoded. On exhausted memory *failed becomes true and *out is of no
// use.
void appendEncoded(const KtbString& text, KtbString* out, bool* failed) noexcept;

// Decodes the longest run of raw characters of `raw` and of encoded ones that begins at `at`, in a text that ends with a NUL,
// and puts it into *out. Returns the place after the run; null when a '%' is not followed by two hexadecimal digits, when it
// stands for a NUL, which no text can hold, or when memory is exhausted.
const char* decodeRun(const char* at, CharSet raw, KtbString* out) noexcept;

}  // namespace ktb_uri

#endif
