// Rows from a table into a new one, with a progress bar and an ear for Ctrl-C.
#ifndef TOOLS_KTWT_TRANSFER_H
#define TOOLS_KTWT_TRANSFER_H

#include "library.h"
#include "new_table.h"

// How many rows a table still delivers from its beginning: those of the range that it was opened with.
long rowsShown(KtWorkTableFile& table);

// Defines in `target`, which has as many columns, the columns that `source` shows.
Outcome defineLike(KtWorkTableFile& source, KtWorkTableFile& target);

// Moves all rows. `what` is in front of the bar; `sourceName` names what could not be read.
Outcome moveRows(const char* what, const std::string& sourceName, KtWorkTableFile& source, KtWorkTableFile& target);

// Prints the name of a table that is finished. When that cannot be told to anybody the table is removed.
Outcome printName(KtWorkTableManager& manager, const std::string& name);

#endif
