// The words of a text file, counted and kept in a work table as texts.
//
//     words [FILE]        (a licence that every Debian system has, when none is given)
//
// Builds a table with a string cursor, one row per word with how often and in which line it first occurs, reads it back and
// checks every row, copies it, and prints the words that occur most often. The tables are gone at the end.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <vector>

#include "example.h"

namespace {

constexpr char defaultFile[] = "/usr/share/common-licenses/GPL-3";

using Cursor = std::unique_ptr<KtWorkTableStringCursor, Release>;

struct Occurrence {
    long count = 0;
    long firstLine = 0;
};
using Words = std::map<std::string, Occurrence>;

bool complain(const std::string& what, const KtbString& why) {
    std::fprintf(stderr, "words: %s: %s\n", what.c_str(), why.asCstr());
    return false;
}

bool isPartOfWord(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || (c & 0x80) != 0; }

void countWords(const std::string& line, long number, Words* words) {
    std::string word;
    const auto finish = [&] {
        if (!word.empty()) {
            Occurrence& occurrence = (*words)[word];
            if (occurrence.count++ == 0) occurrence.firstLine = number;
        }
        word.clear();
    };
    for (const char c : line) {
        if (isPartOfWord(c)) {
            word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        } else {
            finish();
        }
    }
    finish();
}

bool readFile(const std::string& path, Words* words) {
    std::ifstream file(path);
    std::string line;
    for (long number = 1; std::getline(file, line); ++number) countWords(line, number, words);
    return file.eof() || complain(path, "the file cannot be read");
}

bool writeWord(KtWorkTableStringCursor& cursor, const std::string& word, const Occurrence& occurrence) {
    if (!cursor.initRow()) return false;
    cursor.setColumnValue(0, word.c_str());
    cursor.setColumnValue(1, std::to_string(occurrence.count).c_str());
    cursor.setColumnValue(2, std::to_string(occurrence.firstLine).c_str());
    return cursor.finalizeRow();
}

bool build(KtWorkTableStringCursor& cursor, const Words& words) {
    for (const char* column : {"word", "count", "first line"}) cursor.addColumn(column);
    if (!cursor.createColumns()) return complain("cannot create the table", cursor.getErrorMessage());
    for (const auto& [word, occurrence] : words) {
        if (!writeWord(cursor, word, occurrence)) return complain("cannot write a row", cursor.getErrorMessage());
    }
    return cursor.finalize() || complain("cannot finish the table", cursor.getErrorMessage());
}

bool valueIs(KtWorkTableStringCursor& cursor, int column, const std::string& expected) {
    return cursor.getColumnValue(column).compare(expected.c_str(), true) == 0;
}

bool rowIs(KtWorkTableStringCursor& cursor, const std::string& word, const Occurrence& occurrence) {
    return valueIs(cursor, 0, word) && valueIs(cursor, 1, std::to_string(occurrence.count)) &&
           valueIs(cursor, 2, std::to_string(occurrence.firstLine));
}

bool check(KtWorkTableStringCursor& cursor, const Words& words) {
    for (const auto& [word, occurrence] : words) {
        if (cursor.next() != ktbCursorRow) return complain("cannot read \"" + word + "\"", cursor.getErrorMessage());
        if (!rowIs(cursor, word, occurrence)) return complain("the row of \"" + word + "\" is not what was written", "");
    }
    return cursor.next() == ktbCursorEnd || complain("there is more than was written", cursor.getErrorMessage());
}

void reportMostFrequent(const Words& words) {
    std::vector<std::pair<std::string, Occurrence>> sorted(words.begin(), words.end());
    const auto last = sorted.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(10, sorted.size()));
    std::partial_sort(sorted.begin(), last, sorted.end(), [](const auto& a, const auto& b) {
        return a.second.count != b.second.count ? a.second.count > b.second.count : a.first < b.first;
    });
    std::printf("%zu words; most often:\n", words.size());
    for (auto word = sorted.begin(); word != last; ++word) {
        std::printf("  %8ld  %s\n", word->second.count, word->first.c_str());
    }
}

bool keepWords(const std::string& path) {
    Words words;
    if (!readFile(path, &words)) return false;
    const WorkDirectory directory("words");
    if (directory.path().empty()) return complain("cannot make a directory for the work table", KtbString());
    KtbString error;
    const Manager manager(ktwtCreateManager("", directory.path().c_str(), &error));
    if (!manager) return complain("cannot make a manager", error);
    {
        const Cursor cursor(ktwtCreateStringCursor(manager.get()));
        const Cursor copied(ktwtCreateStringCursor(manager.get()));
        if (!cursor || !copied) return complain("cannot make a cursor", "memory is exhausted");
        if (!build(*cursor, words) || !check(*cursor, words)) return false;
        if (!copied->copy(cursor.get())) return complain("cannot copy the table", copied->getErrorMessage());
        if (!check(*copied, words)) return false;
    }
    if (!directory.isEmpty()) return complain("the tables were to be removed with their cursors", "");
    reportMostFrequent(words);
    std::printf("Every word was read back as it was written.\n");
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2 || (argc == 2 && std::strcmp(argv[1], "--help") == 0)) {
        std::printf("usage: words [FILE]\nCounts the words of a text file (%s) in a work table.\n", defaultFile);
        return argc == 2 ? 0 : 2;
    }
    return keepWords(argc == 2 ? argv[1] : defaultFile) ? 0 : 1;
}
