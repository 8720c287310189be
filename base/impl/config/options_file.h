// The options file: lines "KEY = text". '#' begins a comment line; any other line without a '=' means nothing.
#ifndef KTB_IMPL_CONFIG_OPTIONS_FILE_H
#define KTB_IMPL_CONFIG_OPTIONS_FILE_H

#include "ktb/string.h"

// Puts the text of the first line with this key into *text and returns true; the text may be empty, or null when memory is
// exhausted. Returns false, with *text
// unchanged, when there is none. A file that cannot be read has none, and one that can be read in part has those of that part.
bool readOptionFromFile(const char* path, const char* key, KtbString* text);

#endif
