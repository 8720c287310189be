// Numbers and truth values read from texts and written to them: ASCII only, independent of the locale, and never more lenient
// than what is written here, so that nothing that is no number becomes one.
#ifndef KTB_VALUE_TEXT_NUMBER_H
#define KTB_VALUE_TEXT_NUMBER_H

#include "ktb/string.h"

// "true", "yes", "1", "false", "no" or "0" in any letter case, without blanks.
bool readBool(const KtbString& text, bool* value) noexcept;

// Blanks, a sign, digits, blanks. False when the text is not of this form or does not fit.
bool readInteger(const char* text, long* value) noexcept;

// Blanks, a sign, digits with at most one point, an exponent, blanks; or "nan", "inf" or "-inf" between blanks, in any letter
// case. Gives the nearest double; false when the text is not of this form, too large, or so small that only zero would be left
// of it.
bool readDouble(const char* text, double* value) noexcept;

// The shortest text that reads back as the same double; "nan" for every NaN.
KtbString writeDouble(double value) noexcept;

#endif
