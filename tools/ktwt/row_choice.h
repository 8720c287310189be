// Which rows and columns of a table a command is to look at.
#ifndef TOOLS_KTWT_ROW_CHOICE_H
#define TOOLS_KTWT_ROW_CHOICE_H

#include <optional>
#include <string>
#include <vector>

#include "column_list.h"
#include "library.h"

// Rows by their numbers, from 0 on.
struct RowRange {
    long first = 0;
    long count = -1;  // -1: all to the end
};

struct RowChoice {
    std::string table;                      // a name, or a URI that says already what it chooses
    std::vector<ChosenColumn> columns;      // none: all, or those of the URI
    std::vector<ConstantColumn> constants;  // come after the columns
    std::optional<RowRange> rows;
};

// Understands "FIRST,COUNT" and "FIRST". Returns what is wrong, empty when nothing is.
std::string parseRowRange(const std::string& text, RowRange* range);

// Makes the URI that lists what was chosen, column by column, so that it shows the same wherever it is opened. A stored column
// that the table does not have is refused when it stands in the options, and told of when it stands in a URI. Refused is also
// what says twice which columns or which rows are meant: a URI with columns and --columns, a URI with rows and --rows.
Outcome makeUri(KtWorkTableManager& manager, const RowChoice& choice, Uri* uri);

#endif
