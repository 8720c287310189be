#include "text_table.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "characters.h"

namespace {

constexpr std::string_view gap = "  ";
constexpr std::string_view mark = "…";
constexpr std::size_t markWidth = 1;

// A text that leaves no more than this to be seen had better not be shown at all; a number tells nothing when it is cut.
constexpr std::size_t textWidthMin = 8;
constexpr std::size_t numberWidthMin = 20;

// Cells that are wider push the rest of their line to the right, rather than fill every other line with blanks.
constexpr std::size_t paddedMax = 100;

bool isColourWanted() {
    const char* const no = std::getenv("NO_COLOR");
    return no == nullptr || *no == '\0';
}

}  // namespace

TextTable::TextTable(std::vector<Column> columns, Output& out)
    : columns_(std::move(columns)), out_(out), terminalWidth_(out.terminalWidth()) {
    for (Column& column : columns_) column.title = printable(column.title);
}

void TextTable::add(const std::vector<std::string>& cells) {
    std::vector<std::string>& row = rows_.emplace_back();
    row.reserve(cells.size());
    for (const std::string& cell : cells) row.push_back(printable(cell));
}

void TextTable::print() {
    if (!laidOut_) layOut();
    if (titlesAreDue_) writeTitles();
    titlesAreDue_ = false;
    for (const auto& row : rows_) writeLine(row);
    rows_.clear();
}

void TextTable::layOut() {
    laidOut_ = true;
    layout_.shown = columns_.size();
    for (std::size_t c = 0; c < columns_.size(); ++c) {
        std::size_t width = titlesAreDue_ ? displayWidth(columns_[c].title) : 0;
        for (const auto& row : rows_) width = std::max(width, displayWidth(row[c]));
        layout_.widths.push_back(terminalWidth_ == 0 ? std::min(width, paddedMax) : width);
    }
    if (terminalWidth_ == 0 || columns_.empty()) return;
    const std::size_t gaps = gap.size() * (columns_.size() - 1);
    const std::size_t whole = std::accumulate(layout_.widths.begin(), layout_.widths.end(), gaps);
    if (whole > terminalWidth_) fitInto(terminalWidth_);
}

// Shows as many columns as fit when all are as narrow as they can be, and then widens them together, so that the widest are
// those that are cut.
void TextTable::fitInto(std::size_t width) {
    std::vector<std::size_t> narrow;
    for (std::size_t c = 0; c < columns_.size(); ++c) {
        narrow.push_back(std::min(layout_.widths[c], columns_[c].align == Align::left ? textWidthMin : numberWidthMin));
    }
    std::size_t used = chooseShown(narrow, width);
    for (bool widened = true; widened && used < width;) {
        widened = false;
        for (std::size_t c = 0; c < layout_.shown && used < width; ++c) {
            if (narrow[c] >= layout_.widths[c]) continue;
            ++narrow[c];
            ++used;
            widened = true;
        }
    }
    layout_.widths = std::move(narrow);
    if (used > width) layout_.widths[0] -= std::min(used - width, layout_.widths[0]);
}

// Decides how many columns of such widths are shown, at least one, and returns what they take, with the mark for the others.
std::size_t TextTable::chooseShown(const std::vector<std::size_t>& widths, std::size_t room) {
    constexpr std::size_t forMark = gap.size() + markWidth;
    std::size_t used = widths[0];
    std::size_t shown = 1;
    for (; shown < widths.size(); ++shown) {
        const std::size_t next = used + gap.size() + widths[shown];
        const bool isLast = shown + 1 == widths.size();
        if (next + (isLast ? 0 : forMark) > room) break;
        used = next;
    }
    layout_.shown = shown;
    layout_.cuts = shown < widths.size();
    return used + (layout_.cuts ? forMark : 0);
}

void TextTable::writeTitles() {
    const bool bold = terminalWidth_ != 0 && isColourWanted();
    std::vector<std::string> titles;
    for (const Column& column : columns_) titles.push_back(column.title);
    if (bold) out_.put("\033[1m");
    writeLine(titles);
    if (bold) out_.put("\033[0m");
}

void TextTable::writeLine(const std::vector<std::string>& cells) {
    std::size_t blanks = 0;
    for (std::size_t c = 0; c < layout_.shown; ++c) writeCell(cells[c], c, &blanks);
    if (layout_.cuts) writeAfter(blanks, mark);
    out_.put('\n');
}

// `blanks` is how many are due before the next thing that is seen, so that none end a line.
void TextTable::writeCell(const std::string& whole, std::size_t column, std::size_t* blanks) {
    const std::size_t room = layout_.widths[column];
    const bool isTooWide = displayWidth(whole) > room;
    const std::string cell = isTooWide && terminalWidth_ != 0 ? cutToWidth(whole, room) : whole;
    const std::size_t padding = room - std::min(displayWidth(cell), room);
    const bool right = columns_[column].align == Align::right;
    if (right) *blanks += padding;
    if (!cell.empty()) {
        writeAfter(*blanks, cell);
        *blanks = 0;
    }
    *blanks += (right ? 0 : padding) + gap.size();
}

void TextTable::writeAfter(std::size_t blanks, std::string_view text) {
    for (; blanks != 0; --blanks) out_.put(' ');
    out_.put(text);
}
