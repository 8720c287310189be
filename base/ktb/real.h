// KtbReal: an exact decimal number, or null.
//
// Value:     (-1)^sign * coefficient * 10^-scale with a coefficient below 10^38 and a scale of 0 to 38. Trailing zeros are
//            kept (12.50 stays 12.50) and do not take part in comparison. There is no negative zero.
// Memory:    no heap; copying copies the object.
// Threads:   one thread at a time per object; const operations may run in parallel.
#ifndef KTB_REAL_H
#define KTB_REAL_H

#include "ktb/export.h"
#include "ktb/string.h"

class KTB_API KtbReal {
public:
    static constexpr int digitsMax = 38;
    static constexpr int scaleMax = 38;

    KtbReal() noexcept : high_(0), low_(0), scale_(0), negative_(false), null_(true) {}

    // Reads blanks, a sign, digits with at most one point, an exponent (e or E, sign, digits) and blanks: "-12.50", ".5",
    // "1e3". A positive exponent beyond the digits writes zeros before the point, a negative one moves the point. Zeros that
    // end the fraction are dropped when 38 digits cannot hold them. Returns false and becomes null when the text is not of this
    // form or its value has no exact decimal of this kind; `text` may be null.
    bool assign(const char* text) noexcept;

    void assign(long number) noexcept;

    // The decimal of the shortest text that reads back as `number`. Returns false and becomes null when that text has no
    // exact decimal (NaN, infinity, too large, too many places).
    bool assign(double number) noexcept;

    // Rebuilds a decimal from the words that asFD() gave. Returns false and becomes null for words that no decimal has.
    bool assignFD(const unsigned long (&words)[3]) noexcept;

    // Writes the decimal as three 64-bit words in the machine's byte order: word 0 has the sign in bit 63, the scale in
    // the low 8 bits and zeros between; word 1 holds the high and word 2 the low 64 bits of the coefficient.
    // A null gives words that assignFD() reads back as null. On disk: never change this form.
    void asFD(unsigned long (*words)[3]) const noexcept;

    // Correctly rounded to nearest, ties to even. A null sets *err and gives 0; *err is never set to false and may be null.
    double asDouble(bool* err) const noexcept;

    // Exact; a fraction other than 0, a value that does not fit and a null set *err and give 0.
    long asInt64(bool* err) const noexcept;

    // "-12.50": a minus sign when negative, at least one digit before the point, `scale()` digits after it, no exponent.
    // A null gives a null text.
    KtbString asString() const noexcept;

    // Orders by value: negative, 0 or positive. Null sorts before every number and equals only null.
    int compare(const KtbReal& other) const noexcept;

    int scale() const noexcept { return scale_; }
    bool isNegative() const noexcept { return negative_; }
    bool isNull() const noexcept { return null_; }
    void setNull() noexcept { *this = KtbReal(); }

private:
    unsigned long high_;  // the coefficient's high and
    unsigned long low_;   // low 64 bits
    unsigned char scale_;
    bool negative_;
    bool null_;
};

#endif
