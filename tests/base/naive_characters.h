// Characters of a text, found the slow and obvious way: the ranges of every well-formed UTF-8 sequence, written out.
#ifndef KTWT_TESTS_BASE_NAIVE_CHARACTERS_H
#define KTWT_TESTS_BASE_NAIVE_CHARACTERS_H

#include <cstddef>
#include <string>
#include <vector>

namespace naive {

struct Range {
    int least;
    int most;
};

inline const std::vector<std::vector<Range>>& sequences() {
    static const std::vector<std::vector<Range>> all = {
        {{0xC2, 0xDF}, {0x80, 0xBF}},
        {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
        {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
        {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}},
    };
    return all;
}

inline bool beginsWith(const std::string& text, std::size_t at, const std::vector<Range>& sequence) {
    if (text.size() - at < sequence.size()) return false;
    for (std::size_t i = 0; i < sequence.size(); ++i) {
        const int byte = static_cast<unsigned char>(text[at + i]);
        if (byte < sequence[i].least || byte > sequence[i].most) return false;
    }
    return true;
}

inline std::size_t characterSize(const std::string& text, std::size_t at) {
    for (const auto& sequence : sequences()) {
        if (beginsWith(text, at, sequence)) return sequence.size();
    }
    return 1;
}

inline std::vector<std::string> characters(const std::string& text) {
    std::vector<std::string> all;
    for (std::size_t at = 0; at < text.size(); at += all.back().size()) all.push_back(text.substr(at, characterSize(text, at)));
    return all;
}

inline std::string joined(const std::vector<std::string>& characters, std::size_t first, std::size_t count) {
    std::string text;
    for (std::size_t i = first; i < characters.size() && i - first < count; ++i) text += characters[i];
    return text;
}

// How many characters from `at` on make up exactly `what`; 0 when none do.
inline std::size_t matched(const std::vector<std::string>& characters, std::size_t at, const std::string& what) {
    std::string text;
    for (std::size_t i = at; i < characters.size() && text.size() < what.size(); ++i) {
        text += characters[i];
        if (text == what) return i + 1 - at;
    }
    return 0;
}

inline int find(const std::string& text, const std::string& what, std::size_t start) {
    const auto all = characters(text);
    if (what.empty()) return start <= all.size() ? static_cast<int>(start) : -1;
    for (std::size_t i = start; i < all.size(); ++i) {
        if (matched(all, i, what) != 0) return static_cast<int>(i);
    }
    return -1;
}

inline std::string replace(const std::string& text, const std::string& from, const std::string& to, std::size_t start,
                           int count) {
    const auto all = characters(text);
    std::string result = joined(all, 0, start);
    for (std::size_t i = start; i < all.size();) {
        const std::size_t passed = !from.empty() && count != 0 ? matched(all, i, from) : 0;
        result += passed != 0 ? to : all[i];
        if (passed != 0 && count > 0) --count;
        i += passed != 0 ? passed : 1;
    }
    return result;
}

inline std::size_t sizeWithin(const std::string& text, std::size_t bytesMax) {
    std::size_t size = 0;
    for (const auto& character : characters(text)) {
        if (size + character.size() > bytesMax) break;
        size += character.size();
    }
    return size;
}

}  // namespace naive

#endif
