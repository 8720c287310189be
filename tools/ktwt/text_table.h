// Rows of texts in aligned columns, as people read them.
//
//     TextTable table({{"NAME"}, {"SIZE", TextTable::Align::right}}, out);
//     table.add({name, humanBytes(bytes)});
//     table.print();
//
// A line of titles comes first, bold on a terminal, then the rows; there are two blanks between columns and none at the end of
// a line. On a terminal no line is longer than the terminal is wide: wide cells are cut, and the last columns left out, with
// "…" in the place of what is missing. Elsewhere nothing is ever cut.
#ifndef TOOLS_KTWT_TEXT_TABLE_H
#define TOOLS_KTWT_TEXT_TABLE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "output.h"

class TextTable {
public:
    enum class Align { left, right };

    struct Column {
        std::string title;
        Align align = Align::left;
    };

    // The output must live as long as the table. Titles, like cells, may hold anything: they are made printable.
    TextTable(std::vector<Column> columns, Output& out);

    void hideTitles() { titlesAreDue_ = false; }

    // `cells` has a text for each column.
    void add(const std::vector<std::string>& cells);

    // Writes the rows that were added since the last time. The first time decides how wide the columns are, and writes the
    // titles: who prints now and then keeps few rows in memory, and the price is that a later, wider cell either is cut or
    // pushes the rest of its line to the right.
    void print();

private:
    struct Layout {
        std::vector<std::size_t> widths;
        bool cuts = false;      // whether columns are missing at the end, for which a mark stands
        std::size_t shown = 0;  // columns, from the first on
    };

    void layOut();
    void fitInto(std::size_t width);
    std::size_t chooseShown(const std::vector<std::size_t>& widths, std::size_t room);
    void writeTitles();
    void writeLine(const std::vector<std::string>& cells);
    void writeCell(const std::string& whole, std::size_t column, std::size_t* blanks);
    void writeAfter(std::size_t blanks, std::string_view text);

    std::vector<Column> columns_;
    Output& out_;
    std::size_t terminalWidth_;  // 0 when it is no terminal
    bool titlesAreDue_ = true;
    bool laidOut_ = false;
    Layout layout_;
    std::vector<std::vector<std::string>> rows_;
};

#endif
