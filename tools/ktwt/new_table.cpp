#include "new_table.h"

#include "interrupt.h"

Outcome NewTable::create(KtWorkTableManager& manager, int columns, int sortColumns, long elementSize) {
    KtbString error;
    manager_ = &manager;
    table_.reset(manager.create(columns, sortColumns, elementSize, &error));
    if (!table_) return libraryFailure("cannot create a table", error);
    name_ = textOf(table_->getName());
    if (sortColumns != 0) table_->setSortProgress(this);
    return {};
}

NewTable::~NewTable() {
    if (!table_) return;
    abandoned_ = true;  // or else the release would sort all rows first
    table_.reset();
    KtbString ignored;  // what failed before is told; a sort that was cancelled has removed the table already
    manager_->remove(name_.c_str(), &ignored);
}

bool NewTable::report(int phase, long rowsDone, long rowsExpected) {
    if (phase != ktSortFilling) sorting_.at(rowsDone, rowsExpected);
    return !abandoned_ && !interrupted();
}

Outcome NewTable::finish() {
    const bool closed = table_->close();
    if (interrupted()) return cancelled();
    if (!closed) return libraryFailure("", table_->getError());
    sorting_.clear();
    table_.reset();
    return {};
}
