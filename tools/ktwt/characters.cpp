#include "characters.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

// Marks that stand on the character before, and characters that are not seen at all.
constexpr Range unseen[] = {{0x0300, 0x036F}, {0x0483, 0x0489},  {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
                            {0x06D6, 0x06DC}, {0x0900, 0x0902},  {0x093C, 0x093C}, {0x0941, 0x0948}, {0x094D, 0x094D},
                            {0x0E31, 0x0E31}, {0x0E34, 0x0E3A},  {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF},
                            {0x200B, 0x200F}, {0x2060, 0x2064},  {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F},
                            {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};

constexpr Range wide[] = {{0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x2614, 0x2615},   {0x2648, 0x2653},
                          {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x2705, 0x2705},   {0x2728, 0x2728},   {0x274C, 0x274C},
                          {0x2753, 0x2755},   {0x2795, 0x2797},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97F},
                          {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
                          {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F1E6, 0x1F265}, {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF},
                          {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1FAFF}, {0x20000, 0x3FFFD}};

// What turns the direction of writing, and so could make a text look like another.
constexpr Range turning[] = {{0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

template <std::size_t count>
bool isIn(const Range (&ranges)[count], std::uint32_t code) {
    const Range* const found = std::lower_bound(std::begin(ranges), std::end(ranges), code,
                                                [](const Range& range, std::uint32_t wanted) { return range.last < wanted; });
    return found != std::end(ranges) && found->first <= code;
}

std::size_t widthOf(const Character& character) {
    if (!character.valid || character.code < unseen[0].first) return 1;
    if (isIn(unseen, character.code)) return 0;
    return isIn(wide, character.code) ? 2 : 1;
}

// What the first byte of a sequence tells: its length, 0 when it begins none, and the bits of the code that are in it.
Character leadOf(unsigned char byte) {
    if (byte < 0x80) return {byte, 1, true};
    if (byte >= 0xC2 && byte <= 0xDF) return {byte & 0x1FU, 2, true};
    if (byte >= 0xE0 && byte <= 0xEF) return {byte & 0x0FU, 3, true};
    if (byte >= 0xF0 && byte <= 0xF4) return {byte & 0x07U, 4, true};
    return {byte, 0, false};
}

bool isWellFormed(const Character& character) {
    const bool surrogate = character.code >= 0xD800 && character.code <= 0xDFFF;
    const bool overlong =
        (character.bytes == 3 && character.code < 0x800) || (character.bytes == 4 && character.code < 0x10000);
    return !surrogate && !overlong && character.code <= 0x10FFFF;
}

// Whether it must not reach a terminal as it is.
bool isUnsafe(const Character& character) {
    const std::uint32_t code = character.code;
    return !character.valid || code < 0x20 || (code >= 0x7F && code < 0xA0) || isIn(turning, code);
}

// Whether each byte is a character that takes a column and can be shown as it is, as in most texts.
bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string escapeOf(const Character& character) {
    if (character.valid && character.code == '\n') return "\\n";
    if (character.valid && character.code == '\t') return "\\t";
    if (character.valid && character.code == '\r') return "\\r";
    char text[16];
    std::snprintf(text, sizeof text, character.code < 0x100 ? "\\x%02x" : "\\u%04x", static_cast<unsigned>(character.code));
    return text;
}

}  // namespace

Character firstCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    const Character invalid = {first, 1, false};
    Character character = leadOf(first);
    if (character.bytes == 0 || character.bytes > text.size()) return invalid;
    for (unsigned i = 1; i < character.bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) return invalid;
        character.code = character.code << 6 | (byte & 0x3FU);
    }
    return isWellFormed(character) ? character : invalid;
}

std::size_t displayWidth(std::string_view text) {
    if (isPlain(text)) return text.size();
    std::size_t width = 0;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        width += widthOf(character);
        text.remove_prefix(character.bytes);
    }
    return width;
}

std::string printable(std::string_view text) {
    if (isPlain(text)) return std::string(text);
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (isUnsafe(character))
            shown += escapeOf(character);
        else
            shown += text.substr(0, character.bytes);
        text.remove_prefix(character.bytes);
    }
    return shown;
}

std::string cutToWidth(std::string_view text, std::size_t width) {
    std::size_t taken = 0;
    std::size_t beforeMark = 0;  // bytes that leave a column for the mark
    for (std::size_t place = 0; place < text.size();) {
        const Character character = firstCharacter(text.substr(place));
        taken += widthOf(character);
        if (taken > width) return width == 0 ? std::string() : std::string(text.substr(0, beforeMark)) + "…";
        place += character.bytes;
        if (taken < width) beforeMark = place;
    }
    return std::string(text);
}
