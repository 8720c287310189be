// A page of docs/, taken apart for tests that hold its tables and dumps against the library.
#ifndef KTWT_TESTS_DOCS_PAGE_H
#define KTWT_TESTS_DOCS_PAGE_H

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temp_directory.h"

namespace page {

using Cells = std::vector<std::string>;

inline std::vector<std::string> linesOf(const std::string& name) {
    const std::string text = readFile(std::string(KTWT_SOURCE_DIR) + "/docs/" + name);
    if (text.empty()) throw std::runtime_error("there is no page " + name);
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Without the blanks around it, and without the marks of code.
inline std::string plain(std::string text) {
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string::npos) return "";
    text = text.substr(begin, text.find_last_not_of(' ') - begin + 1);
    const bool isCode = text.size() > 1 && text.front() == '`' && text.find('`', 1) == text.size() - 1;
    return isCode ? text.substr(1, text.size() - 2) : text;
}

// "| a | b |" has the cells "a" and "b"; a line that is none of a table has no cells.
inline Cells cellsOf(const std::string& line) {
    Cells cells;
    if (line.size() < 2 || line.front() != '|') return cells;
    std::istringstream in(line.substr(1));
    for (std::string cell; std::getline(in, cell, '|');) cells.push_back(plain(cell));
    return cells;
}

// The rows of all tables of the page that have these headings.
inline std::vector<Cells> rowsUnder(const std::string& name, const Cells& headings) {
    std::vector<Cells> rows;
    bool inTable = false;
    bool wasInTable = false;  // in any
    for (const std::string& line : linesOf(name)) {
        const Cells cells = cellsOf(line);
        if (!wasInTable) {
            inTable = cells == headings;
        } else if (inTable && !cells.empty() && line.rfind("|---", 0) != 0) {
            rows.push_back(cells);
        }
        wasInTable = !cells.empty();
    }
    if (rows.empty()) throw std::runtime_error(name + " has no table under " + headings.front());
    return rows;
}

// The contents of the block of text that begins with this line.
inline std::string blockThatBegins(const std::string& name, const std::string& first) {
    std::string block;
    bool found = false;
    for (const std::string& line : linesOf(name)) {
        if (found && line == "```") return block;
        found = found || line == first;
        if (found) block += line + "\n";
    }
    throw std::runtime_error(name + " has no block that begins with " + first);
}

inline std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

}  // namespace page

#endif
