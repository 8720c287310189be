#include "value/text_number.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "value/text_scan.h"

namespace {

struct Named {
    const char* name;
    double value;
};

constexpr Named namedDoubles[] = {{"nan", std::numeric_limits<double>::quiet_NaN()},
                                  {"inf", std::numeric_limits<double>::infinity()},
                                  {"-inf", -std::numeric_limits<double>::infinity()}};

bool isEndAfterBlanks(const char* text) noexcept { return *skipBlanks(text) == 0; }

const char* skipDigits(const char* text) noexcept {
    while (isDigit(*text)) ++text;
    return text;
}

// Passes over e, a sign and digits; stays where it is when that is not what follows.
const char* skipExponent(const char* text) noexcept {
    if (*text != 'e' && *text != 'E') return text;
    bool negative = false;
    const char* digits = skipSign(text + 1, &negative);
    return isDigit(*digits) ? skipDigits(digits) : text;
}

// Passes over digits with at most one point and an exponent; null when there is no digit before the exponent.
const char* skipUnsigned(const char* text) noexcept {
    const char* end = skipDigits(text);
    bool anyDigit = end != text;
    if (*end == '.') {
        const char* fraction = end + 1;
        end = skipDigits(fraction);
        anyDigit = anyDigit || end != fraction;
    }
    return anyDigit ? skipExponent(end) : nullptr;
}

char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The place after `name` when `text` begins with it, in any letter case; else null.
const char* skipName(const char* text, const char* name) noexcept {
    for (; *name != 0; ++name, ++text) {
        if (lower(*text) != *name) return nullptr;
    }
    return text;
}

bool readNamed(const char* text, double* value) noexcept {
    for (const Named& named : namedDoubles) {
        const char* end = skipName(text, named.name);
        if (end == nullptr || !isEndAfterBlanks(end)) continue;
        *value = named.value;
        return true;
    }
    return false;
}

}  // namespace

bool readBool(const KtbString& text, bool* value) noexcept {
    for (const char* name : {"true", "yes", "1"}) {
        if (text.compare(name, false) == 0) return *value = true;
    }
    for (const char* name : {"false", "no", "0"}) {
        if (text.compare(name, false) != 0) continue;
        *value = false;
        return true;
    }
    return false;
}

bool readInteger(const char* text, long* value) noexcept {
    const char* begin = skipBlanks(text);
    bool negative = false;
    const char* digits = skipSign(begin, &negative);
    const char* end = skipDigits(digits);
    if (!isEndAfterBlanks(end)) return false;
    return std::from_chars(negative ? begin : digits, end, *value).ec == std::errc();
}

bool readDouble(const char* text, double* value) noexcept {
    const char* begin = skipBlanks(text);
    if (readNamed(begin, value)) return true;
    bool negative = false;
    const char* digits = skipSign(begin, &negative);
    const char* end = skipUnsigned(digits);
    if (end == nullptr || !isEndAfterBlanks(end)) return false;
    if (std::from_chars(digits, end, *value).ec != std::errc()) return false;
    if (negative) *value = -*value;
    return true;
}

KtbString writeDouble(double value) noexcept {
    if (std::isnan(value)) return KtbString("nan");
    char text[32];
    const char* end = std::to_chars(text, text + sizeof text, value).ptr;
    KtbString written;
    written.assign(text, static_cast<int>(end - text));
    return written;
}
