// Texts as characters: what UTF-8 makes of bytes, how wide they are on a terminal, and how they are shown there.
//
// Bytes that are not UTF-8 can be in any table, since the library never looks; each of them counts as a character of its own.
#ifndef TOOLS_KTWT_CHARACTERS_H
#define TOOLS_KTWT_CHARACTERS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct Character {
    std::uint32_t code = 0;  // of Unicode; the byte itself when it is no UTF-8
    unsigned bytes = 0;
    bool valid = false;  // whether it is UTF-8
};

// The character at the beginning of a text that is not empty.
Character firstCharacter(std::string_view text);

// The columns that a text takes on a terminal: two for the wide characters of East Asia and most pictures, none for marks that
// stand on others, one for the rest.
std::size_t displayWidth(std::string_view text);

// The text with what could move the cursor, colour the screen or turn the direction of writing replaced by escapes: "\n", "\t",
// "\x1b", "\u202e". A backslash stays what it is: this is for eyes, not for programs.
std::string printable(std::string_view text);

// The beginning of a printable text that takes at most so many columns: the whole text, or a part of it that ends with "…".
std::string cutToWidth(std::string_view text, std::size_t width);

#endif
