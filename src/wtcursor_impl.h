// KtWorkTableCursorImpl: the cursor with typed values, and what the string cursors are made of.
//
// Empty -> addColumn()... -> createColumns() -> writing: rows -> finalize() -> reading. A table that is handed over
// (setWorkTable) is read at once. The table object is exchanged whenever the cursor goes back to the first row.
//
// Operations that cannot say that they failed (addColumn, setColumnValue, getColumnValue) have their failure reported by the
// next one that can: createColumns, finalizeRow and next. A row or a table without a part of what it was given is never
// taken for a whole one.
#ifndef KTWT_WTCURSOR_IMPL_H
#define KTWT_WTCURSOR_IMPL_H

#include <cstddef>
#include <memory>
#include <optional>

#include "ktwt/cursor.h"

// A column to be created.
struct KTWTCursorColumn {
    KtbString name;
    ktbType type = ktbTypeNone;
};

// The values of one row.
class KTWTCursorRow {
public:
    // Makes the row anew when it has not that many values; a negative number counts as 0. Returns false when memory is
    // exhausted, and then there is no row.
    bool fit(int columns);
    void drop();

    bool exists() const { return values_ != nullptr; }
    int count() const { return count_; }
    bool has(int column) const { return static_cast<unsigned>(column) < static_cast<unsigned>(count_); }
    KtbDatavar* values() { return values_.get(); }
    KtbDatavar& operator[](int column) { return values_[static_cast<std::size_t>(column)]; }

private:
    std::unique_ptr<KtbDatavar[]> values_;
    int count_ = 0;
};

class KtWorkTableCursorImpl : public KtWorkTableCursor {
public:
    KtWorkTableCursorImpl() = default;
    explicit KtWorkTableCursorImpl(KtWorkTableManager* manager) : manager_(manager) {}
    KtWorkTableCursorImpl(const KtWorkTableCursorImpl&) = delete;
    KtWorkTableCursorImpl& operator=(const KtWorkTableCursorImpl&) = delete;

    bool cacheAll() override;
    KtbString getColumnName(int column) override;  // null on failure, so that it differs from an empty name
    ktbType getColumnType(int column) override;
    int getColumns() override;
    KtbDatavar getColumnValue(int column) override;
    KtbString getErrorMessage() override;
    bool getRows(long* rows) override;
    int next() override;
    void release() override;
    bool top() override;
    bool initRow() override;
    void setColumnValue(int column, const KtbDatavar& value) override;
    bool finalizeRow() override;
    bool finalize() override;
    bool copy(KtbDatavarCursor* source) override;
    void addColumn(const KtbString& name, ktbType type) override;
    bool createColumns() override;
    KtWorkTableFile* getWorkTable(bool detach) override;
    bool setWorkTable(KtWorkTableFile* table) override;
    void setReleaseFlag(bool flag) override;

    virtual ~KtWorkTableCursorImpl();  // clears

    void setWorkTableManager(KtWorkTableManager* manager) { manager_ = manager; }

    // Forgets columns and rows, lets go of the table and, with the release flag, removes it from disk. Returns false when it
    // could not be removed, which is a failed assertion as well: the destructor has nobody else to tell.
    bool clear();

    // Clears `target`, this cursor or the one that it is part of, for a copy of `source`. Refuses a copy onto itself, for which
    // there would be nothing left to copy.
    template <class Cursor>
    bool prepareCopy(const Cursor* source, const Cursor* target) {
        if (source == nullptr) return fail(KtbString("There is no cursor to copy.", true));
        if (source == target) return fail(KtbString("A cursor cannot be copied onto itself.", true));
        return clear();
    }

    // The value in the row read last, until the next row is read; null, with a text, when there is none.
    const KtbDatavar* findValue(int column) {
        return table_ != nullptr && readRow_.has(column) ? &readRow_[column] : missValue();
    }

    // Note that memory could not hold what was on its way to the caller, into the row to be written, or among the columns to be
    // created.
    void loseReadValue();
    void loseWrittenValue();
    void loseColumn();

    KtbString* errorMessage() { return &error_; }

private:
    static constexpr char messageSource[] = "../../src/wtcursor_impl";

    bool fail(const KtbString& text);
    bool hasTable();
    bool hasManager();
    const KtbDatavar* missValue();
    bool describe(int column, KtbString* name, ktbType* type);
    bool copyNames(KtbString* names);
    bool defineColumns(KtWorkTableFile* table, KtbString* names);
    bool finishBuilding();
    void letGo();
    bool growColumns();
    void dropColumns();

    KtbString error_;
    KtWorkTableManager* manager_ = nullptr;
    KtWorkTableFile* table_ = nullptr;
    bool releaseFlag_ = true;
    std::unique_ptr<KTWTCursorColumn[]> columns_;  // to be created; a table's own columns are always asked of the table
    int columnCount_ = 0;
    int columnCapacity_ = 0;
    KTWTCursorRow writeRow_;
    KTWTCursorRow readRow_;
    bool building_ = false;                    // the table was created here and has not been opened again
    std::optional<KtbString> columnsFailure_;  // why the columns are not all that were added
    std::optional<KtbString> writeFailure_;    // why the row to be written is not what it should be
    std::optional<KtbString> readFailure_;     // why the rows handed out are not what was read
};

#endif
