// A table that a command makes: it stays only if it was finished.
#ifndef TOOLS_KTWT_NEW_TABLE_H
#define TOOLS_KTWT_NEW_TABLE_H

#include <string>

#include "library.h"
#include "progress.h"

// Must not outlive its manager.
class NewTable final : private KtDatafileSortProgress {
public:
    NewTable() = default;
    NewTable(const NewTable&) = delete;
    NewTable& operator=(const NewTable&) = delete;

    // Removes the table unless finish() was there before.
    ~NewTable();

    // The caller then defines columns, and sort keys when `sortColumns` is not 0, and writes rows.
    Outcome create(KtWorkTableManager& manager, int columns, int sortColumns, long elementSize);

    KtWorkTableFile& file() { return *table_; }
    const std::string& name() const { return name_; }

    // Sorts the rows if there are sort keys, and closes the table, which then stays on disk and belongs to the user. A Ctrl-C
    // on the way counts as a failure, and the table is removed.
    Outcome finish();

private:
    bool report(int phase, long rowsDone, long rowsExpected) override;

    KtWorkTableManager* manager_ = nullptr;
    Table table_;
    std::string name_;
    bool abandoned_ = false;
    Progress sorting_{"sorting", Progress::Unit::rows, 0};
};

#endif
