// Cursors: a work table read and built row by row, as typed values or as text.
//
// Reading:   setWorkTable(), or a table just built; next() until it no longer gives ktbCursorRow; top() goes back before the
//            first row.
// Building:  addColumn() for each column, createColumns(), then per row initRow(), setColumnValue() for the columns to fill,
//            finalizeRow(); at the end finalize(), after which the cursor reads the new table from its first row.
//
// Threads:   one thread at a time per cursor.
// Ownership: made by a factory below, ended by release(), never by delete; must not outlive its manager. A cursor owns the
//            table it holds, and removes it from disk when the cursor is cleared or released, unless setReleaseFlag(false)
//            was called. A pointer from getWorkTable(false) is stale after top(), finalize(), copy(), createColumns(),
//            setWorkTable() and release().
// Failure:   an operation returns false (a null, 0, or ktbCursorFailed) and getErrorMessage() says why. Without a table, or
//            with a column that the row does not have, the answer is the same. What an operation without such a result could
//            not do is told by the next one that can: addColumn() by createColumns(), setColumnValue() by finalizeRow(), and
//            a value that memory could not hold by next(), until top().
#ifndef KTWT_CURSOR_H
#define KTWT_CURSOR_H

#include "ktb/cursor.h"
#include "ktb/export.h"
#include "ktwt/file.h"
#include "ktwt/manager.h"

struct KTWFCursor;  // ktwf.h

// The cursor with typed values. copy() clears the cursor (see above) and builds a new table with the source's columns and rows.
class KtWorkTableCursor : public KtbDatavarCursorCreater {
public:
    // Returns the table, null when there is none. With `detach` the cursor forgets it, and the caller owns it from then on.
    virtual KtWorkTableFile* getWorkTable(bool detach) = 0;

    // Lets go of the table held, without removing it, and reads `table`, which the cursor owns from now on. Returns false when
    // the table's columns cannot be described; the table is held all the same. Null only lets go.
    virtual bool setWorkTable(KtWorkTableFile* table) = 0;

    // Whether the table is removed from disk with the cursor; true at first.
    virtual void setReleaseFlag(bool flag) = 0;

protected:
    ~KtWorkTableCursor() = default;
};

// The cursor with every value as text; every column it creates is a string column. A date is read with date and time.
class KtWorkTableStringCursor : public KtbStringCursorCreater {
public:
    virtual KtWorkTableFile* getWorkTable(bool detach) = 0;
    virtual bool setWorkTable(KtWorkTableFile* table) = 0;
    virtual void setReleaseFlag(bool flag) = 0;

protected:
    ~KtWorkTableStringCursor() = default;
};

// The string cursor that can also be driven through plain functions. A date is read as KtbDatavar::asString() gives it, without
// its time when that is midnight.
class KtWorkTableStringKTWFCursor : public KtWorkTableStringCursor {
public:
    // The record to hand to callers of the plain functions; it lives in the cursor and ends with it.
    virtual KTWFCursor* getKTWFCursor() = 0;

protected:
    ~KtWorkTableStringKTWFCursor() = default;
};

extern "C" {

// Make a cursor on a manager, which must outlive it. Return null when memory is exhausted.
KTB_API KtWorkTableCursor* ktwtCreateCursor(KtWorkTableManager* manager);
KTB_API KtWorkTableStringCursor* ktwtCreateStringCursor(KtWorkTableManager* manager);
KTB_API KtWorkTableStringKTWFCursor* ktwtCreateStringKTWFCursor(KtWorkTableManager* manager);
}

#endif
