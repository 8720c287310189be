#include "uri/uri_text.h"

#include <array>
#include <string_view>

namespace ktb_uri {
namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view digits = "0123456789";

using CharTable = std::array<unsigned char, 256>;

constexpr void put(CharTable* table, std::string_view characters, unsigned sets) {
    for (const char character : characters) {
        unsigned char& entry = (*table)[static_cast<unsigned char>(character)];
        entry = static_cast<unsigned char>(entry | sets);
    }
}

constexpr CharTable makeCharTable() {
    constexpr unsigned allRaw = pathRaw | nameRaw | textRaw;
    CharTable table{};
    put(&table, letters, unreserved | allRaw | schemeStart | schemeRest);
    put(&table, digits, unreserved | allRaw | schemeRest);
    put(&table, "-.", unreserved | allRaw | schemeRest);
    put(&table, "_~", unreserved | allRaw);
    put(&table, "+", allRaw | schemeRest);
    put(&table, "!$'()*,;@", allRaw);
    put(&table, ":=", pathRaw | textRaw);
    put(&table, "&/", pathRaw);
    return table;
}

constexpr CharTable charTable = makeCharTable();

void appendEscape(char character, KtbString* out, bool* failed) noexcept {
    constexpr char hex[] = "0123456789ABCDEF";
    const unsigned byte = static_cast<unsigned char>(character);
    const char escape[] = {'%', hex[byte >> 4], hex[byte & 15]};
    out->append(escape, sizeof escape, failed);
}

// -1 when the character is no hexadecimal digit.
int hexValue(char character) noexcept {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    return -1;
}

// Decodes the two digits at `at`; returns 0 when there are none, or when that is what they say.
char decodeEscape(const char* at) noexcept {
    const int high = hexValue(at[0]);
    if (high < 0) return 0;
    const int low = hexValue(at[1]);
    if (low < 0) return 0;
    return static_cast<char>(high * 16 + low);
}

// The place after the characters of `set` that begin at `at`. A NUL is in no set.
const char* skip(CharSet set, const char* at) noexcept {
    while (isIn(set, *at)) ++at;
    return at;
}

}  // namespace

bool isIn(CharSet set, char character) noexcept { return (charTable[static_cast<unsigned char>(character)] & set) != 0; }

void appendEncoded(const KtbString& text, KtbString* out, bool* failed) noexcept {
    const char* at = text.asCstr();
    while (*at != 0 && !*failed) {
        const char* runEnd = skip(unreserved, at);
        out->append(at, static_cast<int>(runEnd - at), failed);
        at = runEnd;
        if (*at != 0) appendEscape(*at++, out, failed);
    }
}

const char* decodeRun(const char* at, CharSet raw, KtbString* out) noexcept {
    bool failed = false;
    out->assign("");
    for (;;) {
        const char* runEnd = skip(raw, at);
        out->append(at, static_cast<int>(runEnd - at), &failed);
        at = runEnd;
        if (failed) return nullptr;
        if (*at != '%') return at;
        const char decoded = decodeEscape(at + 1);
        if (decoded == 0) return nullptr;
        out->append(&decoded, 1, &failed);
        at += 3;
    }
}

}  // namespace ktb_uri
