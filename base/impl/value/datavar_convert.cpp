// Conversions of variants: exact, or an error that is reported.
#include <utility>

#include "ktb/datavar.h"
#include "value/text_number.h"

namespace {

// The bounds of a long as doubles; the upper one, 2^63, is the first that does not fit.
constexpr double longLeast = -0x1p63;
constexpr double longEnd = 0x1p63;

constexpr bool isKnown(ktbType type) noexcept { return type >= ktbTypeNone && type <= ktbTypeDouble; }

template <class Value>
Value fail(bool* err) noexcept {
    if (err != nullptr) *err = true;
    return Value();
}

template <class Value>
Value valueOrFail(bool exact, Value value, bool* err) noexcept {
    return exact ? value : fail<Value>(err);
}

bool exactLong(double number, long* value) noexcept {
    if (!(number >= longLeast && number < longEnd)) return false;
    *value = static_cast<long>(number);
    return static_cast<double>(*value) == number;
}

bool boolOfNumber(bool exact, long number, bool* err) noexcept {
    return valueOrFail(exact && (number == 0 || number == 1), number == 1, err);
}

KtbString integerText(long number) noexcept {
    KtbString text;
    text.assign(number);
    return text;
}

KtbString dateText(double seconds) noexcept {
    const KtbDate date(seconds);
    return date.asString(!date.isMidnight());
}

KtbReal decimalOfInteger(long number) noexcept {
    KtbReal decimal;
    decimal.assign(number);
    return decimal;
}

template <class From>
KtbReal decimalOf(From from, bool* err) noexcept {
    KtbReal decimal;
    return valueOrFail(decimal.assign(from), decimal, err);
}

KtbDate dateOfText(const char* text) noexcept {
    KtbDate date;
    return date.assign(text) ? date : KtbDate();
}

}  // namespace

bool KtbDatavar::convertToBool(bool* err) const noexcept {
    bool value = false;
    switch (null_ ? ktbTypeNone : type_) {
        case ktbTypeInteger:
        case ktbTypeDecimal:
        case ktbTypeDouble: {
            bool inexact = false;
            const long number = asInt64(&inexact);
            return boolOfNumber(!inexact, number, err);
        }
        case ktbTypeString: {
            const bool read = readBool(text_, &value);
            return valueOrFail(read, value, err);
        }
        default:
            return fail<bool>(err);
    }
}

long KtbDatavar::convertToInt64(bool* err) const noexcept {
    long value = 0;
    switch (null_ ? ktbTypeNone : type_) {
        case ktbTypeBoolean:
            return boolean_ ? 1 : 0;
        case ktbTypeDecimal:
            return decimal_.asInt64(err);
        case ktbTypeDate:
        case ktbTypeDouble: {
            const bool exact = exactLong(double_, &value);
            return valueOrFail(exact, value, err);
        }
        case ktbTypeString: {
            const bool read = readInteger(text_.asCstr(), &value);
            return valueOrFail(read, value, err);
        }
        default:
            return fail<long>(err);
    }
}

double KtbDatavar::convertToDouble(bool* err) const noexcept {
    double value = 0;
    switch (null_ ? ktbTypeNone : type_) {
        case ktbTypeBoolean:
            return boolean_ ? 1 : 0;
        case ktbTypeInteger:
            return static_cast<double>(integer_);
        case ktbTypeDecimal:
            return decimal_.asDouble(err);
        case ktbTypeString: {
            const bool read = readDouble(text_.asCstr(), &value);
            return valueOrFail(read, value, err);
        }
        default:
            return fail<double>(err);
    }
}

KtbReal KtbDatavar::asReal(bool* err) const noexcept {
    switch (null_ ? ktbTypeNone : type_) {
        case ktbTypeBoolean:
            return decimalOfInteger(boolean_ ? 1 : 0);
        case ktbTypeInteger:
            return decimalOfInteger(integer_);
        case ktbTypeDecimal:
            return decimal_;
        case ktbTypeDate:
        case ktbTypeDouble:
            return decimalOf(double_, err);
        case ktbTypeString:
            return decimalOf(text_.asCstr(), err);
        default:
            return fail<KtbReal>(err);
    }
}

KtbDate KtbDatavar::asDate() const noexcept {
    switch (null_ ? ktbTypeNone : type_) {
        case ktbTypeInteger:
            return KtbDate(static_cast<double>(integer_));
        case ktbTypeDecimal:
            return KtbDate(decimal_.asDouble(nullptr));
        case ktbTypeDate:
        case ktbTypeDouble:
            return KtbDate(double_);
        case ktbTypeString:
            return dateOfText(text_.asCstr());
        default:
            return KtbDate();
    }
}

KtbString KtbDatavar::asString() const noexcept {
    switch (null_ ? ktbTypeNone : type_) {
        case ktbTypeBoolean:
            return KtbString(boolean_ ? "true" : "false", true);
        case ktbTypeInteger:
            return integerText(integer_);
        case ktbTypeDecimal:
            return decimal_.asString();
        case ktbTypeDate:
            return dateText(double_);
        case ktbTypeDouble:
            return writeDouble(double_);
        case ktbTypeString:
            return text_;
        default:
            return KtbString(nullptr);
    }
}

void KtbDatavar::changeType(ktbType type) noexcept {
    const ktbType wanted = isKnown(type) ? type : ktbTypeString;
    if (null_ || wanted == ktbTypeNone) return becomeNull(wanted);
    if (wanted != type_) convertTo(wanted);
}

// The value is taken out before it is put back, since the values share their place.
void KtbDatavar::convertTo(ktbType type) noexcept {
    bool failed = false;
    switch (type) {
        case ktbTypeBoolean:
            assign(asBool(&failed));
            break;
        case ktbTypeInteger:
            assign(asInt64(&failed));
            break;
        case ktbTypeDecimal:
            assign(asReal(&failed));
            break;
        case ktbTypeDate:
            assign(asDate());
            break;
        case ktbTypeDouble:
            assign(asDouble(&failed));
            break;
        default:
            text_ = asString();
            becomeText();
            break;
    }
    if (failed) becomeNull(type);
}
