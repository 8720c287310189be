#include "escaping.h"

#include "characters.h"

namespace {

constexpr std::string_view substitute = "\xEF\xBF\xBD";  // U+FFFD

std::size_t indexOf(char character) { return static_cast<unsigned char>(character); }

}  // namespace

Escaping::Escaping(Bytes bytes, std::initializer_list<Replacement> replacements) {
    for (std::size_t byte = 128; bytes == Bytes::utf8Only && byte < kinds_.size(); ++byte) kinds_[byte] = sequence;
    for (const Replacement& each : replacements) replace(each.character, each.text);
}

void Escaping::replace(char character, std::string text) {
    kinds_[indexOf(character)] = replaced;
    texts_[indexOf(character)] = std::move(text);
}

void Escaping::forbid(char character) { kinds_[indexOf(character)] = forbidden; }

// What stands for the character that the text begins with, which is not plain; its bytes are *taken.
std::string_view Escaping::special(std::string_view text, std::size_t* taken) {
    *taken = 1;
    const Kind kind = kinds_[indexOf(text[0])];
    if (kind == replaced) return texts_[indexOf(text[0])];
    const Character character = firstCharacter(text);
    const bool isNonCharacter = character.code == 0xFFFE || character.code == 0xFFFF;
    const bool isKept = kind == sequence && character.valid && (takesNonCharacters_ || !isNonCharacter);
    *taken = character.bytes;
    lost_ = lost_ || !isKept;
    return isKept ? text.substr(0, character.bytes) : substitute;
}
