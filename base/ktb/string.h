// KtbString: a text value that can also be null.
//
// Contents:  UTF-8 by intent, any bytes but NUL in fact: bytes are never altered. A character is one well-formed UTF-8 sequence
//            (RFC 3629: no overlong form, no surrogate, nothing above U+10FFFF) or one byte that is not part of such a
//            sequence. Positions and lengths count characters; sizes count bytes.
// Memory:    texts of up to 26 bytes live inside the object. Longer ones own a heap block, which is kept when the text
//            becomes shorter or null, so that a string that is filled again and again stops allocating.
// Limits:    at most 2^31 - 2 bytes; a longer text counts as exhausted memory.
// Failure:   nothing throws. When memory is exhausted append() raises its flag and keeps the old text; every other
//            operation leaves the string null.
// Threads:   one thread at a time per object; const operations of one object may run in parallel only after length() has
//            been called once, since it caches the character count.
#ifndef KTB_STRING_H
#define KTB_STRING_H

#include <cstddef>

#include "ktb/export.h"

class KTB_API KtbString {
public:
    // An empty text, which is not null.
    KtbString() noexcept : data_(inline_), size_(0), length_(0), capacity_(inlineCapacity), null_(false) { inline_[0] = 0; }

    // A copy of the NUL-terminated `text`; a null pointer gives a null string. With `literal` the caller promises that the
    // text outlives this string and every copy of it: it is then referred to and not copied. A string that is assigned such a
    // text gives up its block.
    KtbString(const char* text, bool literal = false) noexcept;

    KtbString(const KtbString& other) noexcept;
    KtbString(KtbString&& other) noexcept;  // leaves `other` empty
    KtbString& operator=(const KtbString& other) noexcept;
    KtbString& operator=(KtbString&& other) noexcept;
    ~KtbString() {
        if (ownsBlock()) freeBlock();
    }

    void assign(const KtbString& text) noexcept { *this = text; }
    void assign(const char* text) noexcept;  // a null pointer gives a null string
    // The `bytes` bytes at `text`, all of them readable, cut at the first NUL among them. A null pointer or a negative count
    // gives a null string.
    void assign(const char* text, int bytes) noexcept;
    void assign(int number) noexcept;   // decimal digits, with a minus sign when negative
    void assign(long number) noexcept;  // likewise

    // Append; growth is amortised. Appending to a null string makes it a text; appending a null text adds nothing.
    // On exhausted memory *failed becomes true (it is never set to false) and this string is unchanged. `failed` may be null.
    void append(const KtbString& text, bool* failed) noexcept;
    void append(const char* text, bool* failed) noexcept;
    void append(const char* text, int bytes, bool* failed) noexcept;  // cut at the first NUL, as in assign

    // Replaces up to `count` occurrences (all when negative) of `from` that begin at or after character `start`, left to
    // right and without overlap, by `to`. An empty `from` is found nowhere; a null text counts as empty. Takes time linear in
    // the texts.
    void replace(const KtbString& from, const KtbString& to, unsigned start, int count) noexcept;

    // Keeps the first `n` characters; does nothing when there are no more than that. Cutting off a few characters at the end
    // costs time in what is cut off, not in what stays.
    void truncate(unsigned n) noexcept;

    // The `count` characters from character `start`, fewer when the text ends before (a negative count: to the end).
    // Null when this string is.
    KtbString mid(unsigned start, int count) const noexcept;

    // The position of the first occurrence of `what` at or after character `start` (negative counts as 0); -1 when there
    // is none. An empty `what` is found at `start` when that is not beyond the end.
    int find(const KtbString& what, int start) const noexcept;

    // Orders by bytes as unsigned numbers: negative, 0 or positive as this string sorts before, equal to or after the other.
    // Null sorts before every text and equals only null. With `exact` false the letters A-Z and a-z compare as equal.
    int compare(const KtbString& other, bool exact) const noexcept;
    int compare(const char* other, bool exact) const noexcept;

    // The number of characters; 0 for null. Counted once and remembered until the text changes.
    int length() const noexcept { return length_ >= 0 ? length_ : countCharacters(); }

    // The number of bytes including the terminating NUL: 1 for an empty text and for null.
    int cStrSize() const noexcept { return static_cast<int>(size_) + 1; }

    // The bytes, NUL-terminated; "" for null. Valid until this string is changed or destroyed.
    const char* asCstr() const noexcept { return data_; }

    // The number of bytes in the longest run of whole characters from the start that has at most `bytesMax` bytes.
    int sizeWithin(int bytesMax) const noexcept;

    bool isNull() const noexcept { return null_; }
    void setNull() noexcept;

private:
    static constexpr unsigned inlineCapacity = 26;
    static constexpr unsigned literalCapacity = 0;  // data_ points at somebody else's text, which is never written to

    struct Storage {
        char* data = nullptr;
        unsigned capacity = 0;
    };

    bool isLiteral() const noexcept { return capacity_ == literalCapacity; }
    bool ownsBlock() const noexcept { return data_ != inline_ && !isLiteral(); }
    void freeBlock() noexcept;
    bool storageFor(std::size_t bytes, Storage* storage) noexcept;
    void adopt(Storage storage) noexcept;
    void adoptInline() noexcept;
    void refer(const char* text, std::size_t bytes) noexcept;
    void assignCut(const char* text, int bytes) noexcept;
    void assignBytes(const char* text, std::size_t bytes) noexcept;
    void assignUnlike(const KtbString& other) noexcept;
    void appendBytes(const char* text, std::size_t bytes, bool* failed) noexcept;
    void finish(unsigned bytes, int length) noexcept;
    void finishAppend(unsigned bytes) noexcept;
    void becomeEmpty() noexcept;
    void steal(KtbString& other) noexcept;
    int countCharacters() const noexcept;
    const char* end() const noexcept { return data_ + size_; }
    const char* place(unsigned characters) const noexcept;

    char* data_;          // never null, always NUL-terminated at data_[size_]
    unsigned size_;       // bytes without the NUL
    mutable int length_;  // characters, or -1 when not counted yet
    unsigned capacity_;   // bytes that fit at data_ without the NUL; literalCapacity for a literal
    bool null_;
    char inline_[inlineCapacity + 1];
};

// Formats as printf does. Returns a null string when memory is exhausted or the format is invalid. Safe from any thread.
KTB_API KtbString ktbStringFormat(const char* format, ...) KTB_PRINTF(1, 2);

#endif
