// KtbDatavar: a variant value, one of the types of type.h or null.
//
// Conversions: exact or an error. A conversion that cannot be made sets *err to true and gives zero or a null; *err is
//              never set to false and may be null. Two roundings are allowed: integers, decimals and texts become the nearest
//              double, and a double becomes the decimal of its shortest round-trip text. Null converts to a null text and is
//              an error for every other type.
// Memory:      a text is kept as in KtbString; its block survives setNull() and values of other types, so that a variant that
//              is filled again and again stops allocating.
// Failure:     nothing throws; a text that memory cannot hold becomes a null of type string.
// Threads:     one thread at a time per object.
#ifndef KTB_DATAVAR_H
#define KTB_DATAVAR_H

#include <cstring>

#include "ktb/date.h"
#include "ktb/export.h"
#include "ktb/real.h"
#include "ktb/string.h"
#include "ktb/type.h"

class KTB_API KtbDatavar {
public:
    KtbDatavar() noexcept : type_(ktbTypeNone), null_(true), integer_(0) {}  // a null without type
    KtbDatavar(const KtbDatavar& other) noexcept : KtbDatavar() {
        if (other.isA(ktbTypeString)) {
            assign(other.text_);
        } else {
            copyNumber(other);
        }
    }
    KtbDatavar(KtbDatavar&& other) noexcept;  // leaves `other` null
    KtbDatavar& operator=(const KtbDatavar& other) noexcept;
    KtbDatavar& operator=(KtbDatavar&& other) noexcept;
    ~KtbDatavar() = default;

    void assign(bool value) noexcept {
        become(ktbTypeBoolean);
        boolean_ = value;
    }
    void assign(int value) noexcept { assign(static_cast<long>(value)); }
    void assign(long value) noexcept {
        become(ktbTypeInteger);
        integer_ = value;
    }
    void assign(double value) noexcept {  // type double; setType(ktbTypeDate) then makes the same number a date
        become(ktbTypeDouble);
        double_ = value;
    }
    void assign(const char* text) noexcept {  // a null pointer gives a null of type string
        text_.assign(text);
        becomeText();
    }
    void assign(const char* text, int bytes) noexcept {  // as KtbString::assign
        text_.assign(text, bytes);
        becomeText();
    }
    void assign(const KtbString& text) noexcept {  // a null string gives a null of type string
        text_ = text;
        becomeText();
    }
    void assign(const KtbReal& value) noexcept;  // a null gives a null of type decimal
    void assign(const KtbDate& value) noexcept;  // a null gives a null of type date
    template <class T>
    void assign(const T*) = delete;  // would otherwise become a boolean

    // The value of `type` from its stored bytes, in reverse byte order when `swap` is true: boolean 1 byte (non-zero is true),
    // integer 8, decimal 24 (the words of KtbReal::asFD, each reversed on its own), date and double 8 bytes of IEEE-754,
    // string any number. A wrong `length`, or bytes that are no value of the type, gives a null of that type.
    void assign(ktbType type, const void* bytes, unsigned length, bool swap) noexcept;

    // A null without type. The text's memory is kept.
    void setNull() noexcept {
        type_ = ktbTypeNone;
        null_ = true;
    }

    // Gives a null the type; converts any other value to it. A value that does not convert becomes a null of that type,
    // and so does any value for ktbTypeNone. An unknown code counts as ktbTypeString.
    void setType(ktbType type) noexcept {
        // Every date that is read from a file comes this way: the number is already in its place.
        const bool isDate =
            type == ktbTypeDate && isA(ktbTypeDouble) && double_ >= KtbDate::secondsMin && double_ < KtbDate::secondsEnd;
        if (isDate) {
            type_ = ktbTypeDate;
        } else {
            changeType(type);
        }
    }

    ktbType type() const noexcept { return type_; }
    bool isNull() const noexcept { return null_; }

    // From a boolean; from the numbers 0 and 1; from the texts "true", "false", "yes", "no", "1" and "0" in any letter case.
    // A date is an error.
    bool asBool(bool* err) const noexcept { return isA(ktbTypeBoolean) ? boolean_ : convertToBool(err); }

    // From a boolean (0 or 1), from whole numbers and dates on whole seconds that fit, from texts of blanks, a sign, digits and
    // blanks.
    long asInt64(bool* err) const noexcept { return isA(ktbTypeInteger) ? integer_ : convertToInt64(err); }

    // From a boolean (0 or 1), any number, a date (its seconds), and texts that are a decimal number with an optional exponent,
    // "nan", "inf" or "-inf"; a text out of the range of a double is an error.
    double asDouble(bool* err) const noexcept {
        return !null_ && (type_ == ktbTypeDouble || type_ == ktbTypeDate) ? double_ : convertToDouble(err);
    }

    // From a boolean (0 or 1), integers, decimals, doubles and dates (see KtbReal::assign), and texts.
    KtbReal asReal(bool* err) const noexcept;

    // From a date, any number (seconds since 1970) and texts (see KtbDate::assign). A boolean, a null and whatever is no date
    // give a null date.
    KtbDate asDate() const noexcept;

    // "true"/"false"; digits; KtbReal::asString; the text itself; a date with its time unless that is midnight; the shortest
    // text that reads back as the same double, or "nan", "inf", "-inf". A null gives a null text.
    KtbString asString() const noexcept;

    // The same without a copy: returns this variant's own text when it is a string, else fills *scratch and returns it. The
    // result lives until this variant or *scratch changes.
    const KtbString& asString(KtbString* scratch) const noexcept {
        if (isA(ktbTypeString)) return text_;
        *scratch = asString();
        return *scratch;
    }

private:
    bool isA(ktbType type) const noexcept { return type_ == type && !null_; }
    void become(ktbType type) noexcept {
        type_ = type;
        null_ = false;
    }
    void becomeNull(ktbType type) noexcept {
        type_ = type;
        null_ = true;
    }
    void becomeText() noexcept {
        type_ = ktbTypeString;
        null_ = text_.isNull();
    }
    void assignDecimal(const void* bytes, bool swap) noexcept;
    // Takes over what is not a text: the bytes of whichever value is there, without a branch on the type. The decimal is the
    // largest of them.
    void copyNumber(const KtbDatavar& other) noexcept {
        type_ = other.type_;
        null_ = other.null_;
        std::memcpy(static_cast<void*>(&decimal_), static_cast<const void*>(&other.decimal_), sizeof decimal_);
    }
    void convertTo(ktbType type) noexcept;
    void changeType(ktbType type) noexcept;
    bool convertToBool(bool* err) const noexcept;
    long convertToInt64(bool* err) const noexcept;
    double convertToDouble(bool* err) const noexcept;

    ktbType type_;
    bool null_;
    union {
        bool boolean_;
        long integer_;
        double double_;  // also a date's seconds, always within KtbDate's range
        KtbReal decimal_;
    };
    KtbString text_;  // meaningful only while type_ is ktbTypeString and null_ is false
};

#endif
