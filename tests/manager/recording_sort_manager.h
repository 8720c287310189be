// A sort manager that takes down what it is told, in the place of the one of the base services. Its sorts hand the rows back
// from the last to the first, so that nobody can take them for rows that went another way, and fail when a test says so.
#ifndef TESTS_MANAGER_RECORDING_SORT_MANAGER_H
#define TESTS_MANAGER_RECORDING_SORT_MANAGER_H

#include <string>
#include <vector>

#include "ktb/sort.h"

struct SortRecord {
    // What was called, in order: of the manager "created /a:/b", "setSortSize 7", "declareColumns 2", "declareColumn 0 4 1020",
    // "createSort d0000000", "forgetColumns", "released"; of its sorts "setSortKeys 1", "setSort 0 1 1", "setSortInfo",
    // "setSortProgress", "columnSlot 0", "addRow 7,text,-", "finish", "firstRow", "nextRow", "columnValue 0", "sort released".
    std::vector<std::string> calls;
    std::vector<KTSortCollateParms*> parms;  // of each key, as they were set
    KtDatafileSortInfo* info = nullptr;
    KtDatafileSortProgress* progress = nullptr;
    int alive = 0;
    int sortsAlive = 0;
    bool refuseCreation = false;
    bool refuseSettings = false;
    std::string failing = "none";  // a call that begins so fails, with the text "refused: " and the call ...
    int failingAfter = 0;          // ... after so many that did not
    bool silent = false;           // ... and without any text
    int endStatus = ktSortEnd;     // what nextRow() returns when there are no more rows
};

// One for the whole program; a test begins with a fresh one.
SortRecord& sortRecord();

#endif
