#include "sort/row_key.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

__extension__ using Wide = unsigned __int128;

constexpr unsigned char nullByte = 0x00;
constexpr unsigned char valueByte = 0x01;
constexpr unsigned char negativeByte = 0x01;
constexpr unsigned char zeroByte = 0x02;
constexpr unsigned char positiveByte = 0x03;

struct PowersOfTen {
    Wide power[KtbReal::digitsMax + 1];
    constexpr PowersOfTen() : power{} {
        power[0] = 1;
        for (int i = 1; i <= KtbReal::digitsMax; ++i) power[i] = power[i - 1] * 10;
    }
};

constexpr PowersOfTen tens;

int digitsOf(Wide coefficient) {
    int digits = 0;
    while (digits <= KtbReal::digitsMax && coefficient >= tens.power[digits]) ++digits;
    return digits;
}

std::uint64_t orderedBits(double number) {
    constexpr std::uint64_t sign = 1UL << 63;
    if (std::isnan(number)) return ~0UL;
    const auto bits = std::bit_cast<std::uint64_t>(number == 0 ? 0.0 : number);
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

}  // namespace

inline void KeyWriter::put(unsigned char byte) {
    if (at_ == end_) {
        cut_ = true;
    } else {
        *at_++ = byte ^ flip_;
    }
}

inline void KeyWriter::put(const unsigned char* bytes, std::size_t count) {
    const auto room = static_cast<std::size_t>(end_ - at_);
    const std::size_t kept = count <= room ? count : room;
    if (kept != count) cut_ = true;
    if (flip_ == 0) {
        std::memcpy(at_, bytes, kept);
    } else {
        for (std::size_t i = 0; i < kept; ++i) at_[i] = static_cast<unsigned char>(~bytes[i]);
    }
    at_ += kept;
}

// The `bytes` lowest bytes of the number, the highest first.
inline void KeyWriter::putHighest(std::uint64_t bits, unsigned bytes) {
    unsigned char ordered[sizeof bits];
    for (unsigned i = 0; i < sizeof bits; ++i) ordered[i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
    put(ordered + (sizeof bits - bytes), bytes);
}

inline void KeyWriter::putInteger(long number) {
    const bool negative = number < 0;
    const auto bits = static_cast<std::uint64_t>(number);
    const auto bytes = static_cast<unsigned>(std::bit_width(negative ? ~bits : bits) + 7) / 8;
    put(static_cast<unsigned char>(negative ? 0x7f - bytes : 0x80 + bytes));
    putHighest(bits, bytes);
}

inline void KeyWriter::putNumber(double number) {
    put(valueByte);
    putHighest(orderedBits(number), sizeof(std::uint64_t));
}

void KeyWriter::putDecimal(const KtbReal& number) {
    unsigned long words[3];
    number.asFD(&words);
    const Wide coefficient = Wide{words[1]} << 64 | words[2];
    if (coefficient == 0) return put(zeroByte);
    const int digits = digitsOf(coefficient);
    const Wide mantissa = coefficient * tens.power[KtbReal::digitsMax - digits];
    put(number.isNegative() ? negativeByte : positiveByte);
    const unsigned char flip = flip_;
    if (number.isNegative()) flip_ = static_cast<unsigned char>(~flip_);
    put(static_cast<unsigned char>(0x80 + digits - number.scale()));
    putHighest(static_cast<std::uint64_t>(mantissa >> 64), sizeof(std::uint64_t));
    putHighest(static_cast<std::uint64_t>(mantissa), sizeof(std::uint64_t));
    flip_ = flip;
}

bool KeyWriter::putText(const Collation& collation, SortText text, ByteBuffer* scratch) {
    put(valueByte);
    if (collation.isBytes()) {
        put(reinterpret_cast<const unsigned char*>(text.bytes), text.size);
    } else if (collation.isFold()) {
        for (std::size_t i = 0; i < text.size && !cut_; ++i) put(Collation::folded(static_cast<unsigned char>(text.bytes[i])));
    } else {
        if (!collation.transform(text, scratch)) return false;
        put(scratch->data(), scratch->size());
    }
    put(nullByte);
    return true;
}

bool KeyWriter::put(const SortKey& key, const KtbDatavar& value, ByteBuffer* scratch) {
    if (cut_) return true;  // a later byte without those before it would be out of place
    flip_ = key.descending ? 0xff : 0;
    if (value.isNull()) {
        put(nullByte);
        return true;
    }
    switch (key.type) {
        case ktbTypeBoolean: put(value.asBool(nullptr) ? 2 : 1); return true;
        case ktbTypeInteger: putInteger(value.asInt64(nullptr)); return true;
        case ktbTypeDecimal: putDecimal(value.asReal(nullptr)); return true;
        case ktbTypeDate:
        case ktbTypeDouble: putNumber(value.asDouble(nullptr)); return true;
        default: {
            KtbString unused;
            const KtbString& text = value.asString(&unused);
            return putText(key.collation, {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)}, scratch);
        }
    }
}
