// Copying and assigning variants. The string is apart from the other values: a value of another type leaves it alone, so that
// its block is there when the next text comes.
#include "ktb/datavar.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace {

constexpr unsigned decimalWords = 3;
constexpr unsigned decimalBytes = decimalWords * sizeof(unsigned long);

std::uint64_t word(const void* bytes, unsigned index, bool swap) noexcept {
    std::uint64_t value;
    std::memcpy(&value, static_cast<const char*>(bytes) + index * sizeof value, sizeof value);
    return swap ? __builtin_bswap64(value) : value;
}

double doubleOf(std::uint64_t bits) noexcept {
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

long integerOf(std::uint64_t bits) noexcept {
    long value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

bool isTrue(const void* byte) noexcept { return *static_cast<const unsigned char*>(byte) != 0; }

constexpr bool isFixed(ktbType type) noexcept { return type != ktbTypeString && type >= ktbTypeNone && type <= ktbTypeDouble; }

// The one length in bytes of a value of this type; 0 for none, of which there is no value.
constexpr unsigned storedBytes(ktbType type) noexcept {
    return type == ktbTypeNone ? 0 : type == ktbTypeBoolean ? 1 : type == ktbTypeDecimal ? decimalBytes : sizeof(std::uint64_t);
}

}  // namespace

KtbDatavar::KtbDatavar(KtbDatavar&& other) noexcept : KtbDatavar() { *this = std::move(other); }

static_assert(std::is_trivially_copyable_v<KtbReal> && sizeof(KtbReal) >= sizeof(long) && sizeof(KtbReal) >= sizeof(double));

KtbDatavar& KtbDatavar::operator=(const KtbDatavar& other) noexcept {
    if (this == &other) return *this;
    if (other.isA(ktbTypeString)) {
        assign(other.text_);
        return *this;
    }
    copyNumber(other);
    return *this;
}

KtbDatavar& KtbDatavar::operator=(KtbDatavar&& other) noexcept {
    if (this == &other) return *this;
    if (other.isA(ktbTypeString)) {
        text_ = std::move(other.text_);
        becomeText();
    } else {
        *this = static_cast<const KtbDatavar&>(other);
    }
    other.setNull();
    return *this;
}

void KtbDatavar::assign(const KtbReal& value) noexcept {
    if (value.isNull()) return becomeNull(ktbTypeDecimal);
    become(ktbTypeDecimal);
    new (static_cast<void*>(&decimal_)) KtbReal(value);
}

void KtbDatavar::assign(const KtbDate& value) noexcept {
    if (value.isNull()) return becomeNull(ktbTypeDate);
    become(ktbTypeDate);
    double_ = value.asDouble();
}

// Builds the decimal in its place: a copy of one just made would wait for its parts to be written.
void KtbDatavar::assignDecimal(const void* bytes, bool swap) noexcept {
    const unsigned long words[decimalWords] = {word(bytes, 0, swap), word(bytes, 1, swap), word(bytes, 2, swap)};
    KtbReal* decimal = new (static_cast<void*>(&decimal_)) KtbReal();
    type_ = ktbTypeDecimal;
    null_ = !decimal->assignFD(words);
}

void KtbDatavar::assign(ktbType type, const void* bytes, unsigned length, bool swap) noexcept {
    // A length that is too large for any text becomes a negative one, and so a null.
    if (!isFixed(type)) return assign(static_cast<const char*>(bytes), static_cast<int>(length));
    if (bytes == nullptr || length == 0 || length != storedBytes(type)) return becomeNull(type);
    switch (type) {
        case ktbTypeBoolean: return assign(isTrue(bytes));
        case ktbTypeInteger: return assign(integerOf(word(bytes, 0, swap)));
        case ktbTypeDecimal: return assignDecimal(bytes, swap);
        case ktbTypeDate: return assign(KtbDate(doubleOf(word(bytes, 0, swap))));
        default: return assign(doubleOf(word(bytes, 0, swap)));
    }
}
