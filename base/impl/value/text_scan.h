// The characters that number and date texts are made of. ASCII only and independent of the locale, so that a text reads the
// same everywhere.
#ifndef KTB_VALUE_TEXT_SCAN_H
#define KTB_VALUE_TEXT_SCAN_H

inline bool isBlank(char c) noexcept { return c == ' ' || c == '\t'; }
inline bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
inline int digitValue(char c) noexcept { return c - '0'; }

inline const char* skipBlanks(const char* text) noexcept {
    while (isBlank(*text)) ++text;
    return text;
}

// Passes over a + or - and says in *negative whether it was a minus; stays where it is when there is none.
inline const char* skipSign(const char* text, bool* negative) noexcept {
    *negative = *text == '-';
    return *text == '-' || *text == '+' ? text + 1 : text;
}

#endif
