#include "wtcursor_impl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "wtmessage.h"

extern "C" KtWorkTableCursor* ktwtCreateCursor(KtWorkTableManager* manager) {
    return new (std::nothrow) KtWorkTableCursorImpl(manager);
}

bool KTWTCursorRow::fit(int columns) {
    const int wanted = std::max(columns, 0);
    if (values_ && count_ == wanted) return true;
    values_.reset(new (std::nothrow) KtbDatavar[static_cast<std::size_t>(wanted)]);
    count_ = values_ ? wanted : 0;
    return exists();
}

void KTWTCursorRow::drop() {
    values_.reset();
    count_ = 0;
}

KtWorkTableCursorImpl::~KtWorkTableCursorImpl() { clear(); }

// A text that memory could not hold must not make the failure look like none.
bool KtWorkTableCursorImpl::fail(const KtbString& text) {
    error_ = text;
    if (error_.isNull()) error_ = KTWT_MESSAGE(29, "(error text)");
    return false;
}

bool KtWorkTableCursorImpl::hasTable() { return table_ != nullptr || fail(KtbString("The cursor has no work table.", true)); }

bool KtWorkTableCursorImpl::hasManager() {
    return manager_ != nullptr || fail(KtbString("The cursor has no work table manager.", true));
}

bool KtWorkTableCursorImpl::cacheAll() { return true; }

KtbString KtWorkTableCursorImpl::getErrorMessage() {
    KtbString copied = error_;
    if (copied.isNull()) copied = KTWT_MESSAGE(29, "(error text)");
    return copied;
}

void KtWorkTableCursorImpl::release() { delete this; }
void KtWorkTableCursorImpl::setReleaseFlag(bool flag) { releaseFlag_ = flag; }

int KtWorkTableCursorImpl::getColumns() { return hasTable() ? table_->getColumns() : 0; }

bool KtWorkTableCursorImpl::getRows(long* rows) {
    *rows = 0;
    if (!hasTable()) return false;
    const long count = table_->getRows();
    *rows = static_cast<std::int32_t>(count);
    return *rows == count || fail(ktbStringFormat("The work table has %ld rows, more than a cursor can count.", count));
}

// A table that was created and not yet closed does not survive an error text of its own: it is not asked for a column that it
// does not have, so that a question does not cost the rows written so far.
bool KtWorkTableCursorImpl::describe(int column, KtbString* name, ktbType* type) {
    if (!hasTable()) return false;
    if (building_ && (column < 0 || column >= table_->getColumns())) return fail(KTWT_MESSAGE(1420));
    return table_->getColumnInfo(column, name, type, nullptr, nullptr) || fail(table_->getError());
}

KtbString KtWorkTableCursorImpl::getColumnName(int column) {
    KtbString name;
    if (!describe(column, &name, nullptr)) return KtbString(nullptr);
    if (name.isNull()) fail(KTWT_MESSAGE(29, "(column name)"));
    return name;
}

ktbType KtWorkTableCursorImpl::getColumnType(int column) {
    ktbType type = ktbTypeNone;
    return describe(column, nullptr, &type) ? type : ktbTypeNone;
}

const KtbDatavar* KtWorkTableCursorImpl::missValue() {
    if (hasTable()) fail(readRow_.exists() ? KTWT_MESSAGE(1420) : KtbString("The cursor has not read a row yet.", true));
    return nullptr;
}

KtbDatavar KtWorkTableCursorImpl::getColumnValue(int column) {
    const KtbDatavar* value = findValue(column);
    // One object and one return, so that it is made in the caller's place and not moved there.
    KtbDatavar copied = value != nullptr ? *value : KtbDatavar();
    if (value != nullptr && copied.isNull() != value->isNull()) loseReadValue();
    return copied;
}

void KtWorkTableCursorImpl::loseReadValue() {
    readFailure_ = KTWT_MESSAGE(29, "(column value)");
    fail(*readFailure_);
}

int KtWorkTableCursorImpl::next() {
    if (!hasTable()) return ktbCursorFailed;
    if (readFailure_) {
        fail(*readFailure_);
        return ktbCursorFailed;
    }
    if (building_) {
        fail(KTWT_MESSAGE(1793));  // the table's own answer, but see describe()
        return ktbCursorFailed;
    }
    if (!readRow_.fit(table_->getColumns())) {
        fail(KTWT_MESSAGE(1642));
        return ktbCursorFailed;
    }
    bool end = false;
    if (table_->readRow(readRow_.values(), &end)) return ktbCursorRow;
    if (end) return ktbCursorEnd;
    fail(table_->getError());
    return ktbCursorFailed;
}

// Opens the table again by its URI, which names rows and columns but no direction: a table that was opened reversed is read
// forwards from here on.
bool KtWorkTableCursorImpl::top() {
    if (!hasTable() || !hasManager()) return false;
    const KtbString uri = table_->toURIString(true);
    if (uri.length() == 0) return fail(KtbString("The work table could not be described, to be opened again.", true));
    // Closed here and not only by its release, which could not tell of a failure.
    const bool closed = table_->close();
    const KtbString tableError = building_ || !closed ? table_->getError() : KtbString();
    letGo();
    if (!closed) return fail(tableError);
    table_ = manager_->open(uri, false, &error_);
    if (table_ != nullptr) return true;
    // A table that did not survive its own failure is missing now; the failure is the reason, not that.
    return tableError.length() != 0 ? fail(tableError) : false;
}

// Writes out a table that is still being built, before it is let go of: its release could not tell of a failure.
bool KtWorkTableCursorImpl::finishBuilding() { return !building_ || table_->close() || fail(table_->getError()); }

// Lets go of the table, which stays on disk.
void KtWorkTableCursorImpl::letGo() {
    if (table_ != nullptr) table_->release();
    table_ = nullptr;
    building_ = false;
    readFailure_.reset();
}

bool KtWorkTableCursorImpl::initRow() {
    if (!hasTable()) return false;
    writeFailure_.reset();
    if (!writeRow_.fit(table_->getColumns())) return fail(KTWT_MESSAGE(1642));
    for (int i = 0; i < writeRow_.count(); ++i) writeRow_[i].setNull();
    return true;
}

void KtWorkTableCursorImpl::setColumnValue(int column, const KtbDatavar& value) {
    if (!hasTable()) return;
    if (!writeRow_.has(column)) {
        writeFailure_ = KTWT_MESSAGE(1420);
        fail(*writeFailure_);
        return;
    }
    writeRow_[column] = value;
    if (writeRow_[column].isNull() != value.isNull()) loseWrittenValue();
}

void KtWorkTableCursorImpl::loseWrittenValue() {
    writeFailure_ = KTWT_MESSAGE(29, "(column value)");
    fail(*writeFailure_);
}

bool KtWorkTableCursorImpl::finalizeRow() {
    if (!hasTable()) return false;
    if (!writeRow_.exists() || writeRow_.count() != table_->getColumns()) {
        return fail(KtbString("The cursor has no row to write: begin each row with initRow().", true));
    }
    if (writeFailure_) return fail(*writeFailure_);
    return table_->writeRow(writeRow_.values()) || fail(table_->getError());
}

bool KtWorkTableCursorImpl::finalize() { return top(); }

bool KtWorkTableCursorImpl::copy(KtbDatavarCursor* source) {
    return prepareCopy<KtbDatavarCursor>(source, this) && copyCursor(source, this, &error_);
}

void KtWorkTableCursorImpl::addColumn(const KtbString& name, ktbType type) {
    if (!growColumns()) return loseColumn();
    KTWTCursorColumn& column = columns_[static_cast<std::size_t>(columnCount_)];
    column.name = name;
    column.type = type;
    if (column.name.isNull() != name.isNull()) return loseColumn();
    ++columnCount_;
}

void KtWorkTableCursorImpl::loseColumn() {
    columnsFailure_ = KTWT_MESSAGE(29, "(cursor columns)");
    fail(*columnsFailure_);
}

// Makes room for one more column. Doubling keeps a table of very many columns from spending its time on moving names.
bool KtWorkTableCursorImpl::growColumns() {
    constexpr int capacityMin = 8;
    if (columnCount_ < columnCapacity_) return true;
    const int capacity = std::max(capacityMin, 2 * columnCapacity_);
    std::unique_ptr<KTWTCursorColumn[]> grown(new (std::nothrow) KTWTCursorColumn[static_cast<std::size_t>(capacity)]);
    if (!grown) return false;
    std::move(columns_.get(), columns_.get() + columnCount_, grown.get());
    columns_ = std::move(grown);
    columnCapacity_ = capacity;
    return true;
}

void KtWorkTableCursorImpl::dropColumns() {
    columns_.reset();
    columnCount_ = 0;
    columnCapacity_ = 0;
    columnsFailure_.reset();
}

bool KtWorkTableCursorImpl::createColumns() {
    if (columnsFailure_) return fail(*columnsFailure_);
    if (columnCount_ == 0) return fail(ktbStringFormat("Cannot create zero columns"));
    if (!hasManager()) return false;
    // Copied before there is a table: one that is given up for want of memory, and not for a failure of its own, would stay on
    // disk.
    const std::unique_ptr<KtbString[]> names(new (std::nothrow) KtbString[static_cast<std::size_t>(columnCount_)]);
    if (!names || !copyNames(names.get())) return fail(KTWT_MESSAGE(29, "(cursor columns)"));
    KtWorkTableFile* created = manager_->create(columnCount_, 0, &error_);
    if (created == nullptr) return false;
    if (!defineColumns(created, names.get())) {
        created->release();
        return false;
    }
    const bool finished = finishBuilding();
    letGo();  // a table held until now would be lost, open and with all its memory
    table_ = created;
    building_ = true;
    return finished;
}

// Returns false when memory is exhausted.
bool KtWorkTableCursorImpl::copyNames(KtbString* names) {
    for (int i = 0; i < columnCount_; ++i) {
        const KtbString& name = columns_[static_cast<std::size_t>(i)].name;
        names[i] = name;
        if (names[i].isNull() != name.isNull()) return false;
    }
    return true;
}

bool KtWorkTableCursorImpl::defineColumns(KtWorkTableFile* table, KtbString* names) {
    for (int i = 0; i < columnCount_; ++i) {
        const ktbType type = columns_[static_cast<std::size_t>(i)].type;
        if (!table->defineColumnInfo(i, std::move(names[i]), type, 0)) return fail(table->getError());
    }
    return true;
}

KtWorkTableFile* KtWorkTableCursorImpl::getWorkTable(bool detach) {
    KtWorkTableFile* table = table_;
    if (!detach) return table;
    table_ = nullptr;
    letGo();
    return table;
}

// The cursor now has the table's columns to be created, too: createColumns() makes another table like it.
bool KtWorkTableCursorImpl::setWorkTable(KtWorkTableFile* table) {
    bool finished = true;
    if (table != table_) {
        finished = finishBuilding();
        letGo();
        table_ = table;
    }
    dropColumns();
    if (table_ == nullptr) return finished;
    for (int i = 0; i < table_->getColumns(); ++i) {
        KtbString name;
        ktbType type = ktbTypeNone;
        if (!table_->getColumnInfo(i, &name, &type, nullptr, nullptr)) return fail(table_->getError());
        // A name that is there and reads as null has found no memory.
        name.isNull() ? loseColumn() : addColumn(name, type);
        if (columnsFailure_) return false;
    }
    return finished;
}

bool KtWorkTableCursorImpl::clear() {
    constexpr int line = 53;  // callers' assertion handlers know the place by this number
    dropColumns();
    readRow_.drop();
    writeRow_.drop();
    writeFailure_.reset();
    if (table_ == nullptr) return true;
    const KtbString name = table_->getName();
    // One that ends with a failure while it is being built removes itself.
    const bool removesItself = building_ && (!table_->close() || table_->getError().length() != 0);
    const KtbString why = removesItself ? table_->getError() : KtbString();
    letGo();
    if (removesItself && !releaseFlag_) return fail(why);  // it was to be kept
    if (removesItself || !releaseFlag_ || manager_ == nullptr || manager_->remove(name, &error_)) return true;
    ktbAssertFailure(error_.asCstr(), messageSource, line);
    return false;
}
