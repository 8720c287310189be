// What there is to say of each table in the work directories, those included that cannot be opened.
#ifndef TOOLS_KTWT_TABLE_LISTING_H
#define TOOLS_KTWT_TABLE_LISTING_H

#include <string>
#include <vector>

#include "table_files.h"

enum class TableState {
    fine,
    writing,     // somebody is building it, or has it open in a way that keeps others out
    orphan,      // left by a program that was killed: a sweep removes it
    unreadable,  // another user's, or on a disk that fails
    damaged
};

// "ok", "writing", "orphan", "unreadable" or "damaged".
const char* stateName(TableState state);

struct ListedTable {
    FoundHeader header;
    TableState state = TableState::fine;
    std::string reason;  // why it is not fine
    long rows = 0;       // this and what follows: only of a table that is fine
    int columns = 0;
    long bytes = 0;
};

// Looks at the tables of these headers. Those that are gone by now are left out. Fails only when it is interrupted.
Outcome lookAt(KtWorkTableManager& manager, const std::vector<FoundHeader>& headers, std::vector<ListedTable>* tables);

#endif
