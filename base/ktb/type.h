// ktbType: the code that tells what kind of value a column or a variant holds. Start here, then string.h and datavar.h.
//
// Threads: safe from any thread.
#ifndef KTB_TYPE_H
#define KTB_TYPE_H

#include "ktb/export.h"

// A plain int, so that codes read from elsewhere can be carried without a cast. Wherever types are mapped, a code that is
// not listed here counts as a string.
typedef int ktbType;

inline constexpr ktbType ktbTypeNone = 0;
inline constexpr ktbType ktbTypeBoolean = 1;
inline constexpr ktbType ktbTypeInteger = 2;  // signed, 64 bits
inline constexpr ktbType ktbTypeDecimal = 3;  // see real.h
inline constexpr ktbType ktbTypeString = 4;   // see string.h
inline constexpr ktbType ktbTypeDate = 5;     // see date.h
inline constexpr ktbType ktbTypeDouble = 6;   // IEEE-754 binary64

extern "C" {

// Returns the type's name: "none", "boolean", "integer", "decimal", "string", "date" or "double"; "string" for any other code.
// The text is static and never null. Safe from any thread.
KTB_API const char* ktbTypeToString(ktbType type);

// Finds the type that has this name (ASCII letter case ignored) or this number in decimal digits, 0 to 6.
// Returns false and leaves *type alone when there is none; `name` may be null. Safe from any thread.
KTB_API bool ktbTypeFromString(const char* name, ktbType* type);
}

#endif
