// The values of a row in its record.
//
// A value is a tag byte, which is the type code, plus 0x80 for a null, plus 0x40 when the value that it orders by follows: a
// key's value that is not of its column's type is there twice, as it came and as what it is in that type; so is a text that a
// locale orders, as it came and transformed, where the encoded keys do not hold all of it. A boolean has 1 byte after the tag,
// an integer, a date and a double 8, a decimal 24 (KtbReal::asFD), a string a size in 4 bytes, that many bytes and a NUL.
#ifndef KTB_IMPL_SORT_ROW_VALUE_H
#define KTB_IMPL_SORT_ROW_VALUE_H

#include "ktb/datavar.h"
#include "sort/byte_buffer.h"
#include "sort/collation.h"

class RowValue {
public:
    static constexpr unsigned char nullBit = 0x80;
    static constexpr unsigned char otherFollows = 0x40;

    // Appends a value. Returns false when memory is exhausted.
    [[nodiscard]] static bool put(ByteBuffer* record, const KtbDatavar& value, unsigned char flags);

    // Appends a text. Returns false when memory is exhausted.
    [[nodiscard]] static bool putText(ByteBuffer* record, SortText text, unsigned char flags);

    // A value where it is.
    explicit RowValue(const unsigned char* at) : at_(at) {}

    bool isNull() const { return (*at_ & nullBit) != 0; }
    bool isBeforeOther() const { return (*at_ & otherFollows) != 0; }
    ktbType type() const { return *at_ & typeBits; }

    const unsigned char* end() const;

    // Each only for a value of that type, which is not null.
    bool asBool() const { return at_[1] != 0; }
    long asInteger() const;
    double asDouble() const;  // of a date, too
    KtbReal asDecimal() const;
    SortText asText() const;

    // Puts the value into *value. Returns false when memory does not hold its text.
    [[nodiscard]] bool get(KtbDatavar* value) const;

private:
    static constexpr int typeBits = 0x07;

    const unsigned char* at_;
};

#endif
