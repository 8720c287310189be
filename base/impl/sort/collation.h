// Collation: how one sort key compares texts.
//
// The order of a locale is that of its transformed texts (strxfrm_l), compared as bytes, and of nothing else. The C library
// also has a comparison of its own for texts as they are (strcoll_l), and is meant to agree with itself, but it does not: of
// texts with digits, punctuation or combining marks a few pairs in a million stand the other way round. A sort that asked now
// the one and now the other would be in no order at all. Threads: the const operations may run in parallel.
#ifndef KTB_IMPL_SORT_COLLATION_H
#define KTB_IMPL_SORT_COLLATION_H

#include <locale.h>

#include <cstddef>

#include "ktb/sort.h"
#include "sort/byte_buffer.h"

// A NUL-terminated text, with its bytes counted without the NUL.
struct SortText {
    const char* bytes;
    std::size_t size;
};

class Collation {
public:
    Collation() = default;
    Collation(const Collation&) = delete;
    Collation& operator=(const Collation&) = delete;
    ~Collation();

    // Takes over what the record asks for; null asks for bytes. Returns false, with the reason in *error, for a kind that there
    // is not and a locale that the system does not have.
    bool set(const KTSortCollateParms* parms, KtbString* error);

    // Compares two texts; with a locale, two transformed texts.
    int compare(SortText left, SortText right) const;

    bool isBytes() const { return kind_ == ktSortCollateBytes; }
    bool isFold() const { return kind_ == ktSortCollateFold; }
    bool isLocale() const { return kind_ == ktSortCollateLocale; }

    // Puts the transformed text, without a NUL, into *key, replacing what it held. Only for a locale. Returns false when memory
    // is exhausted.
    bool transform(SortText text, ByteBuffer* key) const;

    // The letters A-Z become a-z; every other byte stays.
    static unsigned char folded(unsigned char byte) {
        return static_cast<unsigned char>(byte - 'A') < 26 ? static_cast<unsigned char>(byte | 0x20) : byte;
    }

private:
    bool setLocale(const char* name, KtbString* error);

    int kind_ = ktSortCollateBytes;
    locale_t locale_ = nullptr;
};

#endif
