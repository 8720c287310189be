// KtbReal: exact decimals of 38 digits.
//
// A value is built in one place: every road in (text, integer, double, stored words) ends in assignFD(), which alone decides
// what is a decimal. The coefficient is calculated with as one 128-bit integer, which holds every value below 10^38 and 10^38
// itself, but is kept as two 64-bit halves, because headers cannot name the wide type.
#include "ktb/real.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>

#include "value/text_scan.h"

namespace {

__extension__ typedef unsigned __int128 Coefficient;

static_assert(sizeof(unsigned long) == 8, "a decimal is stored as three 64-bit words");
static_assert(KtbReal::scaleMax <= KtbReal::digitsMax, "a fraction brought to the largest scale must fit the coefficient");

constexpr unsigned long signBit = 1UL << 63;
constexpr unsigned long scaleMask = 0xff;

// All bits set is no decimal in either byte order.
constexpr unsigned long nullWord = ~0UL;

constexpr auto powersOfTen = [] {
    std::array<Coefficient, KtbReal::digitsMax + 1> powers{};
    Coefficient power = 1;
    for (Coefficient& each : powers) {
        each = power;
        power *= 10;
    }
    return powers;
}();

constexpr Coefficient powerOfTen(int exponent) { return powersOfTen[static_cast<std::size_t>(exponent)]; }

constexpr Coefficient coefficientEnd = powerOfTen(KtbReal::digitsMax);

Coefficient join(unsigned long high, unsigned long low) { return static_cast<Coefficient>(high) << 64 | low; }

// A value on its way into a KtbReal.
struct Decimal {
    Coefficient coefficient;
    int scale;
    bool negative;
};

bool store(const Decimal& decimal, KtbReal* real) {
    const unsigned long words[3] = {(decimal.negative ? signBit : 0) | static_cast<unsigned long>(decimal.scale),
                                    static_cast<unsigned long>(decimal.coefficient >> 64),
                                    static_cast<unsigned long>(decimal.coefficient)};
    return real->assignFD(words);
}

// Where the digits of a number text are. Leading zeros are not significant and not counted, so that any number of them costs
// nothing.
struct NumberText {
    const char* significant = nullptr;  // the first digit that is not 0; null when all are
    long digits = 0;                    // from there to the last one
    long trailingZeros = 0;             // among these
    long fraction = 0;                  // digits after the point, zeros included
    long exponent = 0;
    bool negative = false;
};

// Exponents stop growing here: far beyond any text's length, and far enough from overflow to add a digit or such a length.
constexpr long exponentMax = 100'000'000'000'000'000;

void countDigit(const char* digit, NumberText* number) {
    if (*digit != '0' && number->significant == nullptr) number->significant = digit;
    if (number->significant == nullptr) return;
    ++number->digits;
    number->trailingZeros = *digit == '0' ? number->trailingZeros + 1 : 0;
}

// Returns the end of the digits; null when there are none.
const char* scanDigits(const char* text, NumberText* number) {
    bool any = false;
    const char* point = nullptr;
    for (;; ++text) {
        if (isDigit(*text)) {
            any = true;
            countDigit(text, number);
            if (point != nullptr) ++number->fraction;
        } else if (*text == '.' && point == nullptr) {
            point = text;
        } else {
            return any ? text : nullptr;
        }
    }
}

// Returns the end of the exponent, which may be absent; null when an e is not followed by digits.
const char* scanExponent(const char* text, long* exponent) {
    *exponent = 0;
    if (*text != 'e' && *text != 'E') return text;
    bool negative = false;
    text = skipSign(text + 1, &negative);
    if (!isDigit(*text)) return nullptr;
    for (; isDigit(*text); ++text) *exponent = std::min(*exponent * 10 + digitValue(*text), exponentMax);
    if (negative) *exponent = -*exponent;
    return text;
}

bool scanNumber(const char* text, NumberText* number) {
    text = skipSign(skipBlanks(text), &number->negative);
    text = scanDigits(text, number);
    if (text != nullptr) text = scanExponent(text, &number->exponent);
    return text != nullptr && *skipBlanks(text) == 0;
}

Coefficient readCoefficient(const char* text, long digits) {
    Coefficient coefficient = 0;
    for (; digits > 0; ++text) {
        if (*text == '.') continue;
        coefficient = coefficient * 10 + static_cast<unsigned>(digitValue(*text));
        --digits;
    }
    return coefficient;
}

// A zero may have any exponent: none moves it, only the places written are kept as far as they can be.
Decimal zeroOf(const NumberText& number) {
    const long places = std::clamp<long>(number.fraction - number.exponent, 0, KtbReal::scaleMax);
    return {0, static_cast<int>(places), false};
}

// Returns false when the value has no exact decimal.
bool toDecimal(const NumberText& number, Decimal* decimal) {
    if (number.significant == nullptr) {
        *decimal = zeroOf(number);
        return true;
    }
    const long places = number.fraction - number.exponent;
    const long padding = std::max(-places, 0L);  // zeros that a positive exponent writes before the point
    if (padding > KtbReal::digitsMax) return false;
    const long surplus = std::max({number.digits + padding - KtbReal::digitsMax, places - KtbReal::scaleMax, 0L});
    if (surplus > std::min(number.trailingZeros, std::max(places, 0L))) return false;
    decimal->coefficient = readCoefficient(number.significant, number.digits - surplus) * powerOfTen(static_cast<int>(padding));
    decimal->scale = static_cast<int>(std::max(places, 0L) - surplus);
    decimal->negative = number.negative;
    return true;
}

// A sign, 38 digits with a point among them and a 0 before it, and the NUL.
struct DecimalText {
    char bytes[KtbReal::digitsMax + 4];
    char* begin;  // the text ends with the array, since its last digit is found first
};

template <class Number>
char* writeDigits(Number rest, int scale, char* at) {
    for (int digit = 0; rest != 0 || digit <= scale; ++digit) {
        if (digit == scale && digit > 0) *--at = '.';
        *--at = static_cast<char>('0' + static_cast<int>(rest % 10));
        rest /= 10;
    }
    return at;
}

void writeDecimal(const Decimal& decimal, DecimalText* text) {
    char* at = text->bytes + sizeof text->bytes;
    *--at = 0;
    // Most coefficients fit a word, whose division is many times as fast.
    const auto word = static_cast<unsigned long>(decimal.coefficient);
    at = word == decimal.coefficient ? writeDigits(word, decimal.scale, at)
                                     : writeDigits(decimal.coefficient, decimal.scale, at);
    if (decimal.negative) *--at = '-';
    text->begin = at;
}

int order(Coefficient a, Coefficient b) { return a < b ? -1 : a > b ? 1 : 0; }

// Fractions of different scales are brought to the largest scale, where both still fit; whole numbers would not.
int compareMagnitude(const Decimal& a, const Decimal& b) {
    if (a.scale == b.scale) return order(a.coefficient, b.coefficient);
    const Coefficient unitA = powerOfTen(a.scale);
    const Coefficient unitB = powerOfTen(b.scale);
    const int whole = order(a.coefficient / unitA, b.coefficient / unitB);
    if (whole != 0) return whole;
    return order(a.coefficient % unitA * powerOfTen(KtbReal::scaleMax - a.scale),
                 b.coefficient % unitB * powerOfTen(KtbReal::scaleMax - b.scale));
}

void report(bool* err) {
    if (err != nullptr) *err = true;
}

}  // namespace

bool KtbReal::assign(const char* text) noexcept {
    NumberText number;
    Decimal decimal{};
    if (text != nullptr && scanNumber(text, &number) && toDecimal(number, &decimal)) return store(decimal, this);
    setNull();
    return false;
}

void KtbReal::assign(long number) noexcept {
    const auto bits = static_cast<unsigned long>(number);
    // Not looked at: every integer is a decimal.
    (void)store({number < 0 ? 0 - bits : bits, 0, number < 0}, this);
}

bool KtbReal::assign(double number) noexcept {
    // The shortest text of a double has 17 digits, a sign, a point and an exponent of three digits at most. Those of NaN and
    // infinity are no number texts.
    char text[32];
    *std::to_chars(text, text + sizeof text - 1, number).ptr = 0;
    return assign(text);
}

bool KtbReal::assignFD(const unsigned long (&words)[3]) noexcept {
    const unsigned long scale = words[0] & scaleMask;
    const bool stray = (words[0] & ~(signBit | scaleMask)) != 0;
    if (stray || scale > scaleMax || join(words[1], words[2]) >= coefficientEnd) {
        setNull();
        return false;
    }
    const bool zero = (words[1] | words[2]) == 0;
    negative_ = (words[0] & signBit) != 0 && !zero;
    high_ = words[1];
    low_ = words[2];
    scale_ = static_cast<unsigned char>(scale);
    null_ = false;
    return true;
}

void KtbReal::asFD(unsigned long (*words)[3]) const noexcept {
    (*words)[0] = null_ ? nullWord : (negative_ ? signBit : 0) | scale_;
    (*words)[1] = null_ ? nullWord : high_;
    (*words)[2] = null_ ? nullWord : low_;
}

double KtbReal::asDouble(bool* err) const noexcept {
    if (null_) {
        report(err);
        return 0;
    }
    // Reading the exact text rounds once; any arithmetic on the coefficient and a power of ten would round twice.
    DecimalText text;
    writeDecimal({join(high_, low_), scale_, negative_}, &text);
    double number = 0;
    std::from_chars(text.begin, text.bytes + sizeof text.bytes - 1, number);
    return number;
}

long KtbReal::asInt64(bool* err) const noexcept {
    const Coefficient unit = powerOfTen(scale_);
    const Coefficient whole = join(high_, low_) / unit;
    const Coefficient limit = static_cast<unsigned long>(std::numeric_limits<long>::max()) + (negative_ ? 1UL : 0UL);
    if (null_ || join(high_, low_) % unit != 0 || whole > limit) {
        report(err);
        return 0;
    }
    const auto bits = static_cast<unsigned long>(whole);
    return static_cast<long>(negative_ ? 0 - bits : bits);
}

KtbString KtbReal::asString() const noexcept {
    if (null_) return KtbString(nullptr);
    DecimalText text;
    writeDecimal({join(high_, low_), scale_, negative_}, &text);
    KtbString result;
    result.assign(text.begin, static_cast<int>(text.bytes + sizeof text.bytes - 1 - text.begin));
    return result;
}

int KtbReal::compare(const KtbReal& other) const noexcept {
    if (null_ || other.null_) return static_cast<int>(other.null_) - static_cast<int>(null_);
    if (negative_ != other.negative_) return negative_ ? -1 : 1;
    const int magnitude =
        compareMagnitude({join(high_, low_), scale_, false}, {join(other.high_, other.low_), other.scale_, false});
    return negative_ ? -magnitude : magnitude;
}
