// The description of a sort: its keys, and what else the caller gives it before the first row.
#include <new>

#include "sort/row_record.h"
#include "sort/row_sort.h"

int RowSort::setSortKeys(int count) {
    if (state_ != State::describing) return failOutOfOrder("Sort keys can be declared only before the first row.");
    const int columns = layout_.columnCount();
    if (count < 1) return fail(ktbStringFormat("A sort needs at least one sort key, not %d.", count));
    if (count > columns) return fail(ktbStringFormat("%d sort keys are too many for rows of %d columns.", count, columns));
    return order_.setCount(count) ? ktSortRow : failForMemory("(sort keys)");
}

int RowSort::setSort(int index, int column, bool descending, KTSortCollateParms* parms) {
    if (state_ != State::describing) return failOutOfOrder("Sort keys can be set only before the first row.");
    if (index < 0 || index >= order_.count()) {
        return fail(ktbStringFormat("There is no sort key %d: %d are declared.", index, order_.count()));
    }
    const int columns = layout_.columnCount();
    if (column < 0 || column >= columns) {
        return fail(ktbStringFormat("Sort key %d is column %d, but the columns are 0 to %d.", index, column, columns - 1));
    }
    const int other = order_.keyOf(column);
    if (other >= 0 && other != index) {
        return fail(ktbStringFormat("Column %d is sort key %d and sort key %d: give each column once.", column, other, index));
    }
    SortKey& key = order_.key(index);
    key.column = column;
    key.type = layout_.typeOf(column);
    key.descending = descending;
    KtbString why;
    return key.collation.set(parms, &why) ? ktSortRow : fail(ktbStringFormat("Sort key %d: %s", index, why.asCstr()));
}

int RowSort::setSortInfo(KtDatafileSortInfo* info) {
    info_ = info;
    return ktSortRow;
}

int RowSort::setSortProgress(KtDatafileSortProgress* progress) {
    pace_.setProgress(progress);
    return ktSortRow;
}

KtbDatavar* RowSort::columnSlot(int column) {
    if (column < 0 || column >= layout_.columnCount() || state_ > State::filling) return nullptr;
    if (!slots_) slots_.reset(new (std::nothrow) KtbDatavar[static_cast<std::size_t>(layout_.columnCount())]);
    if (slots_) return &slots_[static_cast<std::size_t>(column)];
    failForMemory("(row to be sorted)");  // the answer is the null, and the text for it
    return nullptr;
}

// Sees, before the first row, that the description is whole.
int RowSort::begin() {
    if (order_.count() == 0) return fail(KtbString("No sort key is declared.", true));
    for (int i = 0; i < order_.count(); ++i) {
        if (order_.key(i).column < 0) return fail(ktbStringFormat("Sort key %d is not set.", i));
    }
    const std::size_t keyBytes = setup_.settings.noCodeGen ? 0 : RowRecord::keyBytesMax;
    values_.reset(new (std::nothrow) KtbDatavar[static_cast<std::size_t>(layout_.columnCount())]);
    const bool ready =
        columnSlot(0) != nullptr && values_ && layout_.settle(order_, keyBytes) && runs_.prepare(setup_.chunkBytes);
    if (!ready) return failForMemory("(sort of rows)");
    state_ = State::filling;
    pace_.begin(ktSortFilling, static_cast<long>(setup_.settings.records));
    return ktSortRow;
}
