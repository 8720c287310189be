// Texts with some characters replaced by what stands for them in a format.
#ifndef TOOLS_KTWT_ESCAPING_H
#define TOOLS_KTWT_ESCAPING_H

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "output.h"

class Escaping {
public:
    enum class Bytes { any, utf8Only };

    struct Replacement {
        char character;
        std::string text;
    };

    // With Bytes::utf8Only each byte that is no UTF-8 is replaced by U+FFFD.
    Escaping(Bytes bytes, std::initializer_list<Replacement> replacements);

    // Replaces an ASCII character, or has it replaced by U+FFFD, which counts as a loss.
    void replace(char character, std::string text);
    void forbid(char character);

    // Has U+FFFE and U+FFFF replaced by U+FFFD as well.
    void forbidNonCharacters() { takesNonCharacters_ = false; }

    void put(std::string_view text, Output& out) {
        write(text, [&out](std::string_view part) { out.put(part); });
    }
    std::string escaped(std::string_view text) {
        std::string result;
        write(text, [&result](std::string_view part) { result += part; });
        return result;
    }

    // How many texts had something in them that was lost.
    long textsWithLosses() const { return textsWithLosses_; }

private:
    enum Kind : unsigned char { plain, replaced, forbidden, sequence };

    // Gives the parts of the escaped text, one after the other, to `sink`.
    template <class Sink>
    void write(std::string_view text, Sink sink) {
        lost_ = false;
        for (;;) {
            const std::size_t bytes = plainBytes(text);
            sink(text.substr(0, bytes));
            text.remove_prefix(bytes);
            if (text.empty()) break;
            std::size_t taken = 0;
            sink(special(text, &taken));
            text.remove_prefix(taken);
        }
        textsWithLosses_ += lost_ ? 1 : 0;
    }

    std::size_t plainBytes(std::string_view text) const {
        std::size_t bytes = 0;
        while (bytes < text.size() && kinds_[static_cast<unsigned char>(text[bytes])] == plain) ++bytes;
        return bytes;
    }

    std::string_view special(std::string_view text, std::size_t* taken);

    std::array<Kind, 256> kinds_{};
    std::array<std::string, 128> texts_;
    bool takesNonCharacters_ = true;
    bool lost_ = false;  // in this text
    long textsWithLosses_ = 0;
};

#endif
