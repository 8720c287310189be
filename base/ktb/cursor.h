// The cursor interfaces: rows read and built one value at a time.
//
// Binary interface: callers are compiled separately, so the order of the operations is fixed. The interfaces hold no data and
// no virtual destructor: an object is ended by its own release().
// Threads: one thread at a time per cursor.
#ifndef KTB_CURSOR_H
#define KTB_CURSOR_H

#include "ktb/datavar.h"
#include "ktb/export.h"
#include "ktb/string.h"
#include "ktb/type.h"

// Results of next().
inline constexpr int ktbCursorEnd = 0;
inline constexpr int ktbCursorRow = 1;
inline constexpr int ktbCursorFailed = 2;

// Reads typed rows: next() until it no longer gives ktbCursorRow, and after each row its values. top() goes back to before the
// first row. Operations that give false, ktbCursorFailed or a null leave the reason in getErrorMessage().
class KtbDatavarCursor {
public:
    virtual bool cacheAll() = 0;
    virtual KtbString getColumnName(int column) = 0;
    virtual ktbType getColumnType(int column) = 0;
    virtual int getColumns() = 0;
    virtual KtbDatavar getColumnValue(int column) = 0;
    virtual KtbString getErrorMessage() = 0;
    virtual bool getRows(long* rows) = 0;  // false when the number of rows does not fit in 32 bits
    virtual int next() = 0;
    virtual void release() = 0;
    virtual bool top() = 0;

protected:
    ~KtbDatavarCursor() = default;
};

// Adds rows: initRow(), setColumnValue() for the columns to fill, finalizeRow(); after the last row finalize().
class KtbDatavarCursorAppender : public KtbDatavarCursor {
public:
    virtual bool initRow() = 0;
    virtual void setColumnValue(int column, const KtbDatavar& value) = 0;
    virtual bool finalizeRow() = 0;
    virtual bool finalize() = 0;

protected:
    ~KtbDatavarCursorAppender() = default;
};

// Defines the columns before the first row: addColumn() for each, then createColumns().
class KtbDatavarCursorCreater : public KtbDatavarCursorAppender {
public:
    virtual bool copy(KtbDatavarCursor* source) = 0;
    virtual void addColumn(const KtbString& name, ktbType type) = 0;
    virtual bool createColumns() = 0;

protected:
    ~KtbDatavarCursorCreater() = default;
};

// The same protocols with every value as text.
class KtbStringCursor {
public:
    virtual bool cacheAll() = 0;
    virtual KtbString getColumnName(int column) = 0;
    virtual int getColumns() = 0;
    virtual KtbString getColumnValue(int column) = 0;
    virtual KtbString getErrorMessage() = 0;
    virtual bool getRows(long* rows) = 0;
    virtual int next() = 0;
    virtual void release() = 0;
    virtual bool top() = 0;

protected:
    ~KtbStringCursor() = default;
};

class KtbStringCursorAppender : public KtbStringCursor {
public:
    virtual bool initRow() = 0;
    virtual void setColumnValue(int column, const KtbString& value) = 0;
    virtual bool finalizeRow() = 0;
    virtual bool finalize() = 0;

protected:
    ~KtbStringCursorAppender() = default;
};

class KtbStringCursorCreater : public KtbStringCursorAppender {
public:
    virtual bool copy(KtbStringCursor* source) = 0;
    virtual void addColumn(const KtbString& name) = 0;
    virtual bool createColumns() = 0;

protected:
    ~KtbStringCursorCreater() = default;
};

// Copies the columns and all rows of `source` (which is rewound with top() first) into `target`: addColumn() for each column,
// createColumns(), per row initRow(), setColumnValue() for each column and finalizeRow(), at the end finalize().
// Stops at the first failure and returns false with its text in *error; *error is untouched on success. Both cursors stay
// the caller's.
KTB_API bool copyCursor(KtbDatavarCursor* source, KtbDatavarCursorCreater* target, KtbString* error);
KTB_API bool copyCursor(KtbStringCursor* source, KtbStringCursorCreater* target, KtbString* error);

#endif
