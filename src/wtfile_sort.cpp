// Tables whose rows are sorted on the way in: the description of the sort, the way of a row into it, and the way back at close.
//
// The sort is made at the first row, when the columns are known, and lives until the table is closed. Until then the table has
// no data element: rows that were written are the sort's. Closing takes them back in order and writes them as any row is
// written, so that from there on nothing tells a sorted table from another.
#include <climits>
#include <new>

#include "wtfile.h"
#include "wtmessage.h"
#include "wtmgr.h"

int KTWTFileImpl::setSort(int index, int column, bool descending, KTSortCollateParms* parms) {
    if (index < 0 || index >= sortColumnCount_) return 1;
    sortKeys_[static_cast<std::size_t>(index)] = {.column = column, .descending = descending, .parms = parms};
    return 0;
}

int KTWTFileImpl::setSortInfo(KtDatafileSortInfo* info) {
    sortInfo_ = info;
    return 0;
}

int KTWTFileImpl::setSortProgress(KtDatafileSortProgress* progress) {
    sortProgress_ = progress;
    return 0;
}

// The width that the sort is told, which is a hint: for a text as many bytes as that number of characters can have.
static int sortWidthOf(const KTWTColumnDef& column) {
    constexpr int bytesOfCharacterMax = 4;
    constexpr int textWidthUnlimited = 1020;
    if (column.type != ktbTypeString) return column.width;
    if (column.width <= 0) return textWidthUnlimited;
    return column.width > INT_MAX / bytesOfCharacterMax ? INT_MAX : column.width * bytesOfCharacterMax;
}

// A failure whose text is empty would look like none.
static KtbString reasonOf(KtbString text) {
    return text.isNull() || text.length() != 0 ? text : KtbString("The sort failed and does not say why.", true);
}

bool KTWTFileImpl::failSorting() { return fail(reasonOf(sort_->getError())); }

bool KTWTFileImpl::prepareSort() {
    if (createSort() && describeSort() && findSortSlots()) return true;
    dropSort();
    return false;
}

// All tables of the manager share its sort manager, each while it holds the named lock; the columns that one declares are
// nobody else's.
bool KTWTFileImpl::createSort() {
    bool held = false;
    KtbString lockError;
    KtDatafileManager* sorts = manager_->getDatafileManager(&held, &lockError);
    if (sorts != nullptr) {
        if (declareSortColumns(*sorts)) sort_.reset(sorts->createSort(ktSortRows));
        if (!sort_) fail(reasonOf(sorts->getError()));
        sorts->forgetColumns();
    } else {
        fail(held ? KtbString("The work table manager has no sort manager.", true) : reasonOf(lockError));
    }
    manager_->releaseDatafileManager(held);
    return sort_ != nullptr;
}

bool KTWTFileImpl::declareSortColumns(KtDatafileManager& sorts) const {
    if (!sorts.declareColumns(columnCount_)) return false;
    for (int i = 0; i < columnCount_; ++i) {
        const KTWTColumnDef& column = columnDefs_[static_cast<std::size_t>(i)];
        if (!sorts.declareColumn(i, column.type, sortWidthOf(column))) return false;
    }
    return true;
}

bool KTWTFileImpl::describeSort() {
    if (sort_->setSortKeys(sortColumnCount_) != 0) return failSorting();
    for (int i = 0; i < sortColumnCount_; ++i) {
        const KTWTSortKey& key = sortKeys_[static_cast<std::size_t>(i)];
        if (sort_->setSort(i, key.column, key.descending, key.parms) != 0) return failSorting();
    }
    if (sort_->setSortInfo(sortInfo_) != 0) return failSorting();
    return sort_->setSortProgress(sortProgress_) == 0 || failSorting();
}

// The sort keeps its slots where they are, so that a row need not ask for them.
bool KTWTFileImpl::findSortSlots() {
    sortSlots_.reset(new (std::nothrow) KtbDatavar*[static_cast<std::size_t>(columnCount_)]);
    if (!sortSlots_) return fail(KTWT_MESSAGE(29, "(sort column slots)"));
    for (int i = 0; i < columnCount_; ++i) {
        KtbDatavar* slot = sort_->columnSlot(i);
        if (slot == nullptr) return failSorting();
        sortSlots_[static_cast<std::size_t>(i)] = slot;
    }
    return true;
}

// A row that is lost here would be missing without a trace in a table that looks whole, so the table takes no more of them.
bool KTWTFileImpl::writeSortedRow(KtbDatavar** values) {
    for (int i = 0; i < columnCount_; ++i) {
        KtbDatavar& slot = *sortSlots_[static_cast<std::size_t>(i)];
        slot = *values[i];
        if (slot.isNull() != values[i]->isNull()) return failWriting(KTWT_MESSAGE(29, "(column value)"));
    }
    if (sort_->addRow() != 0) return failWriting(reasonOf(sort_->getError()));
    ++rows_;
    ++currentRow_;
    return true;
}

// Writes the rows that went into the sort to the data elements. Whatever comes of it, the sort and its disk space are given
// back.
bool KTWTFileImpl::drainSort() {
    if (!sort_) return true;
    const bool drained = writeFailed_ ? fail(writeFailure_) : takeSortedRows();
    dropSort();
    return drained;
}

bool KTWTFileImpl::takeSortedRows() {
    KtbDatavar** values = valueVector(columnCount_);
    if (values == nullptr) return false;
    pointedAt_ = nullptr;  // from here on the vector points into the sort
    sortColumnCount_ = 0;  // rows go to the data elements now, and are counted again
    rows_ = 0;
    currentRow_ = 0;
    if (sort_->finish() != 0) return failSorting();
    int status = sort_->firstRow();
    while (status == ktSortRow) {
        if (!fetchSortedRow(values) || !writeRow(values)) return false;
        status = sort_->nextRow();
    }
    return status == ktSortEnd || failSorting();
}

bool KTWTFileImpl::fetchSortedRow(KtbDatavar** values) {
    for (int i = 0; i < columnCount_; ++i) {
        values[i] = sort_->columnValue(i);
        if (values[i] == nullptr) return failSorting();
    }
    return true;
}

void KTWTFileImpl::dropSort() {
    sortSlots_.reset();
    sort_.reset();
}

// Lets go of rows that nobody will read, since the table is about to be removed. Without them the table is empty.
void KTWTFileImpl::abandonSort() {
    if (!sort_) return;
    dropSort();
    rows_ = 0;
}
