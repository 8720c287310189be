// The string cursors: a typed cursor seen through texts. Both are the same but for how a date reads, and for the record of
// plain functions that one of them carries.
#ifndef KTWT_WTCURSOR_STRING_H
#define KTWT_WTCURSOR_STRING_H

#include "ktwt/ktwf.h"
#include "wtcursor_impl.h"

// What both have in common, over the interface that each implements. The interface's own operations come first in the table of
// virtual operations, the destructor behind them.
template <class Interface>
class KTWTStringCursor : public Interface {
public:
    explicit KTWTStringCursor(KtWorkTableManager* manager) { cursor_.setWorkTableManager(manager); }
    KTWTStringCursor(const KTWTStringCursor&) = delete;
    KTWTStringCursor& operator=(const KTWTStringCursor&) = delete;

    bool cacheAll() override { return true; }
    KtbString getColumnName(int column) override { return cursor_.getColumnName(column); }
    int getColumns() override { return cursor_.getColumns(); }
    KtbString getErrorMessage() override { return cursor_.getErrorMessage(); }
    bool getRows(long* rows) override { return cursor_.getRows(rows); }
    int next() override { return cursor_.next(); }
    void release() override { delete this; }
    bool top() override { return cursor_.top(); }
    bool initRow() override { return cursor_.initRow(); }
    void setColumnValue(int column, const KtbString& text) override;
    bool finalizeRow() override { return cursor_.finalizeRow(); }
    bool finalize() override { return cursor_.finalize(); }
    bool copy(KtbStringCursor* source) override;
    void addColumn(const KtbString& name) override { cursor_.addColumn(name, ktbTypeString); }
    bool createColumns() override { return cursor_.createColumns(); }
    KtWorkTableFile* getWorkTable(bool detach) override { return cursor_.getWorkTable(detach); }
    bool setWorkTable(KtWorkTableFile* table) override { return cursor_.setWorkTable(table); }
    void setReleaseFlag(bool flag) override { cursor_.setReleaseFlag(flag); }

    virtual ~KTWTStringCursor() = default;

    KtWorkTableCursorImpl& typed() { return cursor_; }

protected:
    // The value in the row read last, as `convert` writes it; null for a null and, with a text, when there is none.
    template <class Convert>
    KtbString readText(int column, Convert convert);

private:
    KtWorkTableCursorImpl cursor_;
};

class KtWorkTableStringCursorImpl final : public KTWTStringCursor<KtWorkTableStringCursor> {
public:
    using KTWTStringCursor::KTWTStringCursor;

    KtbString getColumnValue(int column) override;  // a date always has its time
};

class KtWorkTableStringKTWFCursorImpl;

// Named by callers without knowing what is in it, but for its first word.
struct KTWFCursor {
    const KTWFCursorFPs* functions;
    KtWorkTableStringKTWFCursorImpl* cursor;
    KtbString resultText;  // what was handed out last
};

class KtWorkTableStringKTWFCursorImpl final : public KTWTStringCursor<KtWorkTableStringKTWFCursor> {
public:
    explicit KtWorkTableStringKTWFCursorImpl(KtWorkTableManager* manager)
        : KTWTStringCursor(manager), record_{&ktwfCursorFPs, this, KtbString()} {}

    // A date has its time unless that is midnight: callers of the plain functions have always had dates this way, callers of
    // the other cursor always the other.
    KtbString getColumnValue(int column) override;
    KTWFCursor* getKTWFCursor() override { return &record_; }

private:
    KTWFCursor record_;
};

#endif
