// The work table URI: a text that names a work table and, optionally, a range of its rows and the columns to show.
//
//     ktwt:NAME[?[rows=FIRST,COUNT][&col=COLUMN]...]
//     COLUMN = NAME              a stored column
//            | NAME=SOURCE       the stored column SOURCE under the name NAME, or the constant text SOURCE when there is none
//            | NAME:TYPE=TEXT    a constant; TYPE is a name of ktbTypeToString or its number; an empty TEXT is null
//
// A URI without columns shows none: rows of no values. Tables are opened with all their columns by name, or by a URI that lists
// them.
//
// NAME, SOURCE and TEXT are percent-encoded as in RFC 3986, everything but unreserved characters. FIRST and COUNT are
// signed 64-bit decimal numbers. A text with another scheme that otherwise follows this form parses too.
//
// Threads: one thread at a time per object.
#ifndef KTB_WORKTABLE_URI_H
#define KTB_WORKTABLE_URI_H

#include "ktb/export.h"
#include "ktb/string.h"
#include "ktb/type.h"

// One URI, taken apart. The order of the operations is part of the binary interface. Column indexes are 0 to getColumns() - 1;
// outside of that, names and sources are null and the type is ktbTypeNone.
class KtWorkTableURI {
public:
    virtual void release() = 0;  // ends the object
    virtual KtbString getScheme() = 0;
    virtual KtbString getPath() = 0;  // the table's name, decoded
    virtual bool hasRange() = 0;
    virtual long getRangeStart() = 0;  // 0 without a range
    virtual long getRangeCount() = 0;  // -1 (to the end) without a range
    // The text of the whole URI; null when memory is exhausted.
    virtual KtbString getURIString() = 0;
    virtual int getColumns() = 0;
    virtual KtbString getColumnName(int column) = 0;
    // SOURCE or TEXT, decoded; empty when there is none, and when the SOURCE of a stored column equals its NAME.
    virtual KtbString getColumnSource(int column) = 0;
    virtual ktbType getColumnType(int column) = 0;  // TYPE; ktbTypeNone when there is none

    // Adds a column at the end. With `type` ktbTypeNone it is a stored column, shown under `name`, that is called `source` in
    // the table (an empty or null source: it is called `name`); else it is a constant of that type whose text is `source`.
    // Returns false, with a text in *error and nothing added, when `name` is null or memory is exhausted.
    virtual bool addColumn(const KtbString& name, ktbType type, const KtbString& source, KtbString* error) = 0;

protected:
    ~KtWorkTableURI() = default;
};

// Make a URI for the table `name`, without or with a row range, and without columns. Return null when memory is exhausted.
// The caller ends the object with release().
KTB_API KtWorkTableURI* getWorkTableURIFromComponents(const KtbString& name);
KTB_API KtWorkTableURI* getWorkTableURIFromComponents(const KtbString& name, long rangeStart, long rangeCount);

// Parses a URI text; null when it is not a URI of the form above (or memory is exhausted). The caller ends the object with
// release().
KTB_API KtWorkTableURI* getURIFromURIString(const KtbString& text);

#endif
