#include "complaint.h"

#include <cstdio>

#include "characters.h"

void complain(std::string_view text) {
    if (!text.empty()) std::fprintf(stderr, "ktwt: %s\n", printable(text).c_str());
}
