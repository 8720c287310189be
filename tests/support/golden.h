// Golden bytes, kept as annotated text that can be read and reviewed:
//
//     # what this file is
//     0004-0005  20 00  length of the fixed part
//
// The first and the last offset of each line are hexadecimal, every byte of the file stands in one line, and what follows two
// blanks after the bytes is for the reader. The texts are in tests/golden; with KTWT_REWRITE_GOLDEN=1 in the environment they
// are written anew from what the library writes now, to be reviewed as a diff.
#ifndef TESTS_SUPPORT_GOLDEN_H
#define TESTS_SUPPORT_GOLDEN_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace golden {

// A run of bytes that belong together. Long texts are shown in several lines.
struct Field {
    std::size_t size;
    bool number;  // in the writer's byte order
    std::string note;
};

inline bool rewriting() { return std::getenv("KTWT_REWRITE_GOLDEN") != nullptr; }

inline std::string path(const std::string& name) { return std::string(KTWT_SOURCE_DIR "/tests/golden/") + name + ".txt"; }

// Adds the bytes of one line; false when the line is not of the form above or does not follow the bytes before.
inline bool addLine(const std::string& line, std::string* bytes) {
    std::size_t first = 0;
    std::size_t last = 0;
    int consumed = 0;
    if (std::sscanf(line.c_str(), "%4zx-%4zx%n", &first, &last, &consumed) != 2) return false;
    if (first != bytes->size() || last < first) return false;
    const char* at = line.c_str() + consumed;
    if (std::string(at, 0, 2) != "  ") return false;
    ++at;
    for (std::size_t i = first; i <= last; ++i, at += 3) {
        unsigned byte = 0;
        int digits = 0;
        if (std::sscanf(at, " %2x%n", &byte, &digits) != 1 || digits != 3) return false;
        bytes->push_back(static_cast<char>(byte));
    }
    return *at == '\0' || std::string(at, 0, 2) == "  ";
}

inline bool parse(const std::string& text, std::string* bytes) {
    bytes->clear();
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') continue;
        if (!addLine(line, bytes)) return false;
    }
    return true;
}

inline std::string format(const std::string& title, const std::string& bytes, const std::vector<Field>& fields) {
    constexpr std::size_t bytesPerLine = 16;
    std::string text = "# " + title + "\n";
    std::size_t offset = 0;
    char buffer[32];
    for (const Field& field : fields) {
        const std::size_t end = offset + field.size;
        for (std::string note = field.note; offset < end; note = "(continued)") {
            const std::size_t lineEnd = std::min(end, offset + bytesPerLine);
            std::snprintf(buffer, sizeof buffer, "%04zx-%04zx ", offset, lineEnd - 1);
            text += buffer;
            for (; offset < lineEnd; ++offset) {
                std::snprintf(buffer, sizeof buffer, " %02x",
                              static_cast<unsigned>(static_cast<unsigned char>(bytes.at(offset))));
                text += buffer;
            }
            text += "  " + note + "\n";
        }
    }
    EXPECT_EQ(offset, bytes.size()) << "the fields of " << title << " do not cover it";
    return text;
}

inline std::string read(const std::string& name) {
    std::ifstream in(path(name), std::ios::binary);
    EXPECT_TRUE(in) << path(name);
    std::ostringstream text;
    text << in.rdbuf();
    std::string bytes;
    EXPECT_TRUE(parse(text.str(), &bytes)) << path(name) << " is not of the form of golden bytes after " << bytes.size();
    return bytes;
}

inline void write(const std::string& name, const std::string& title, const std::string& bytes,
                  const std::vector<Field>& fields) {
    std::ofstream out(path(name), std::ios::binary | std::ios::trunc);
    out << format(title, bytes, fields);
    EXPECT_TRUE(out.flush()) << path(name);
}

// Every number's bytes in reverse order: what a machine of the other byte order writes.
inline std::string otherByteOrder(std::string bytes, const std::vector<Field>& fields) {
    std::size_t offset = 0;
    for (const Field& field : fields) {
        if (field.number) std::reverse(&bytes.at(offset), &bytes.at(offset + field.size - 1) + 1);
        offset += field.size;
    }
    return bytes;
}

}  // namespace golden

#endif
