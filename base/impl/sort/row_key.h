// Encoded keys: bytes that stand in the order of the values, whatever their types, so that one memcmp compares all keys of two
// rows.
//
//     null       00
//     boolean    01 for false, 02 for true
//     integer    80 + n, then the n bytes of the number that are not zeros in front, the highest first; of a negative number
//                7f - n, then the n bytes of it that are not ff in front
//     decimal    02 for zero; 03, then 80 + the number's power of ten, then 16 bytes: the digits, moved to the left until they
//                are 38, as one number, the highest byte first; of a negative number 01, then both with every bit turned round
//     date,      01, then 8 bytes, the highest first: the bits of the number with the sign bit turned round, or all bits for a
//     double     negative number; -0 as 0, any NaN as 8 bytes ff
//     string     01, then the bytes of the text, as its collation transforms them, and 00
//
// Every byte of a descending key is turned round. None of these is the beginning of another, so that keys can follow each other
// without a mark between them, and what is cut off at the end leaves the beginning in order: two keys that are equal as far as
// they go may then differ in their values only.
//
// Example, a string ascending and an integer descending: ("ab", 300) is 01 61 62 00 | 7d fe d3.
#ifndef KTB_IMPL_SORT_ROW_KEY_H
#define KTB_IMPL_SORT_ROW_KEY_H

#include "ktb/datavar.h"
#include "sort/byte_buffer.h"
#include "sort/collation.h"

// What a row is sorted by.
struct SortKey {
    int column = -1;
    ktbType type = ktbTypeString;  // boolean, integer, decimal, string, date or double
    bool descending = false;
    Collation collation;
};

// Writes the keys of one row, one after the other, into the space it is given.
class KeyWriter {
public:
    KeyWriter(unsigned char* begin, std::size_t bytes) : at_(begin), end_(begin + bytes), cut_(bytes == 0) {}

    // Adds a key: a null, or a value of the key's type. `scratch` is for what a collation makes of a text. Returns false when
    // memory is exhausted.
    [[nodiscard]] bool put(const SortKey& key, const KtbDatavar& value, ByteBuffer* scratch);

    const unsigned char* end() const { return at_; }
    bool isCut() const { return cut_; }  // there was more than there is room for

private:
    void put(unsigned char byte);
    void put(const unsigned char* bytes, std::size_t count);
    void putHighest(std::uint64_t bits, unsigned bytes);
    void putInteger(long number);
    void putNumber(double number);
    void putDecimal(const KtbReal& number);
    bool putText(const Collation& collation, SortText text, ByteBuffer* scratch);

    unsigned char* at_;
    unsigned char* const end_;
    unsigned char flip_ = 0;  // ff for a descending key
    bool cut_;
};

#endif
