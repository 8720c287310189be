// What people are told besides the result: lines on standard error.
#ifndef TOOLS_KTWT_COMPLAINT_H
#define TOOLS_KTWT_COMPLAINT_H

#include <string_view>

// Prints "ktwt: TEXT", always as one line: names in the text can be those of hostile tables and files, and what could disturb a
// terminal is shown as an escape. Prints nothing for an empty text.
void complain(std::string_view text);

#endif
