// The types of fields.
//
// A value of each type is written in one way only, so a type keeps a text byte for byte exactly if some value of the type is
// written like it. For numbers that is decided by looks; for dates by the library, which knows the calendar and how near to a
// fraction of a second a date comes. An integer is written like the decimal that it equals; nothing else belongs to two types.
#include "field_type.h"

#include <climits>
#include <string_view>

namespace {

// So many digits always fit into 64 bits without a sign.
constexpr std::size_t digitsInWord = 19;

// The value of a digit; more than 9 for other bytes.
unsigned digitOf(char byte) { return static_cast<unsigned>(byte) - '0'; }

bool integerOf(const char* text, std::size_t bytes, long* number) {
    const bool negative = *text == '-';
    const char* const end = text + bytes;
    text += negative ? 1 : 0;
    const auto digits = static_cast<std::size_t>(end - text);
    if (digits == 0 || digits > digitsInWord || (*text == '0' && (digits > 1 || negative))) return false;
    unsigned long magnitude = 0;
    for (; text != end; ++text) {
        const unsigned digit = digitOf(*text);
        if (digit > 9) return false;
        magnitude = magnitude * 10 + digit;
    }
    if (magnitude > static_cast<unsigned long>(LONG_MAX) + (negative ? 1 : 0)) return false;
    *number = static_cast<long>(negative ? 0 - magnitude : magnitude);
    return true;
}

// The digits of a number, without the point.
struct Digits {
    unsigned long value = 0;      // wrong when there are more significant ones than digitsInWord
    std::size_t count = 0;        // all of them
    std::size_t significant = 0;  // without the zeros in front

    // Takes the digits from `text` on, and returns where they end.
    const char* take(const char* text) {
        for (; digitOf(*text) <= 9; ++text, ++count) {
            value = value * 10 + digitOf(*text);
            significant += significant != 0 || *text != '0' ? 1 : 0;
        }
        return text;
    }
};

bool decimalOf(const char* text, std::size_t bytes, KtbReal* number) {
    const bool negative = *text == '-';
    const char* const whole = text + (negative ? 1 : 0);
    Digits digits;
    const char* place = digits.take(whole);
    const std::size_t wholeDigits = digits.count;
    if (wholeDigits == 0 || (*whole == '0' && wholeDigits > 1)) return false;
    if (*place == '.') place = digits.take(place + 1);
    const std::size_t scale = digits.count - wholeDigits;
    const bool endsWithPoint = place[-1] == '.';
    if (place != text + bytes || endsWithPoint || scale > KtbReal::scaleMax || digits.significant > KtbReal::digitsMax)
        return false;
    if (digits.significant == 0 && negative) return false;
    if (digits.significant > digitsInWord) return number->assign(text);
    return number->assignFD({(negative ? 1UL << 63 : 0) | scale, 0, digits.value});
}

bool booleanOf(const char* text, std::size_t bytes, bool* value) {
    const std::string_view word(text, bytes);
    *value = word == "true";
    return *value || word == "false";
}

// A time is always written with a T, never at midnight, and its fraction without zeros at the end; a fraction comes back as
// it was unless the date is so far from 1970 that a double is too coarse for it.
bool dateOf(const char* text, std::size_t bytes, KtbDate* date) {
    constexpr std::size_t dayBytes = 10;
    constexpr std::size_t secondBytes = 19;
    constexpr std::size_t bytesMax = 26;
    if (bytes < dayBytes || bytes > bytesMax || text[4] != '-' || !date->assign(text)) return false;
    if (bytes == dayBytes) return true;
    if (text[dayBytes] != 'T' || date->isMidnight()) return false;
    return bytes == secondBytes || date->asString(true).compare(text, true) == 0;
}

template <class Value, class Parse>
bool assignParsed(Parse parse, const char* text, std::size_t bytes, KtbDatavar* value) {
    Value parsed{};
    if (!parse(text, bytes, &parsed)) return false;
    value->assign(parsed);
    return true;
}

bool isWrittenAs(ktbType type, const char* text, std::size_t bytes) {
    KtbDatavar ignored;
    return valueOf(type, text, bytes, &ignored);
}

// The type of a column that has nothing yet but this text.
ktbType typeOfFirst(const char* text, std::size_t bytes) {
    for (const ktbType type : {ktbTypeInteger, ktbTypeDecimal, ktbTypeDate, ktbTypeBoolean}) {
        if (isWrittenAs(type, text, bytes)) return type;
    }
    return ktbTypeString;
}

}  // namespace

ktbType narrowestType(ktbType known, const char* text, std::size_t bytes) {
    if (known == ktbTypeNone) return typeOfFirst(text, bytes);
    if (known == ktbTypeString || isWrittenAs(known, text, bytes)) return known;
    return known == ktbTypeInteger && isWrittenAs(ktbTypeDecimal, text, bytes) ? ktbTypeDecimal : ktbTypeString;
}

bool valueOf(ktbType type, const char* text, std::size_t bytes, KtbDatavar* value) {
    switch (type) {
        case ktbTypeBoolean: return assignParsed<bool>(booleanOf, text, bytes, value);
        case ktbTypeInteger: return assignParsed<long>(integerOf, text, bytes, value);
        case ktbTypeDecimal: return assignParsed<KtbReal>(decimalOf, text, bytes, value);
        case ktbTypeDate: return assignParsed<KtbDate>(dateOf, text, bytes, value);
        default: value->assign(text, static_cast<int>(bytes)); return !value->isNull();
    }
}

bool convertedValue(ktbType type, const char* text, std::size_t bytes, KtbDatavar* value) {
    if (type != ktbTypeDouble && valueOf(type, text, bytes, value)) return true;
    value->assign(text, static_cast<int>(bytes));
    value->setType(type);
    if (type != ktbTypeDouble || value->isNull()) return !value->isNull();
    value->assign(text, static_cast<int>(bytes));
    return !value->isNull();
}
