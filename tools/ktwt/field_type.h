// What type a field of text can be stored in without loss.
//
// Texts end with a NUL, which the count of their bytes leaves out, and have no other.
#ifndef TOOLS_KTWT_FIELD_TYPE_H
#define TOOLS_KTWT_FIELD_TYPE_H

#include <ktb/datavar.h>

#include <cstddef>

// The narrowest type in which all that a column of type `known` has so far, and this text, can be stored and come back byte for
// byte: boolean, integer, decimal, date, else string. ktbTypeNone is the type of a column that has nothing yet. The text is not
// empty.
ktbType narrowestType(ktbType known, const char* text, std::size_t bytes);

// Makes *value the value of the type that is written exactly like this text. False when there is none, or memory for a string;
// *value then means nothing.
bool valueOf(ktbType type, const char* text, std::size_t bytes, KtbDatavar* value);

// The same for every text that converts to the type, however it is written: " 007" is an integer. A text that is a double stays
// as it is, since a double's own text could have other digits, and a column of doubles stores texts.
bool convertedValue(ktbType type, const char* text, std::size_t bytes, KtbDatavar* value);

#endif
