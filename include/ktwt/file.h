// KtWorkTableFile: one work table on disk, open for reading or for writing.
//
// A table is a fixed list of typed columns and a sequence of rows. A new table is writable: its columns are defined, rows are
// appended, close() writes it out. A table opened by name or URI is read-only and delivers its rows in order, or from last
// to first when it was opened reversed.
//
// Threads:   one thread at a time per table; tables of one manager may be used in parallel.
// Ownership: made by a manager (manager.h), ended by release(), never by delete; must not outlive its manager.
// Failure:   an operation returns false (or null) and getError() says why, until the next failure replaces the text.
// Lifetime:  a table stays on disk when its object is released. Two exceptions remove it: a writable table whose close
//            fails, and a created one that is released while its error text is set. Any operation that failed has set it,
//            a question about a column that does not exist included, and a close that succeeds does not clear it.
// Sorting:   a table that was created with sort keys takes rows in any order and holds them in the order of its keys:
//
//                KtWorkTableFile* table = manager->create(2, 2, 0, &error);  // two columns, two sort keys
//                table->defineColumnInfo(0, "city", ktbTypeString, 0);
//                table->defineColumnInfo(1, "people", ktbTypeInteger, 0);
//                table->setSort(0, 1, true, nullptr);   // the largest first,
//                table->setSort(1, 0, false, nullptr);  // and those of one size by name
//                ... table->writeRow(...) in any order ...
//                table->close();  // here they are sorted
//
//            Until the close its rows are in memory or in nameless files in the work directories, within the memory budget of
//            the manager's setSortSize(), and the table itself is empty. Once it is closed it is a table like any other; rows
//            that are appended to it later are stored where they come. ktb/sort.h says what the order is, and what can be set.
#ifndef KTWT_FILE_H
#define KTWT_FILE_H

#include "ktb/cursor.h"
#include "ktb/datavar.h"
#include "ktb/sort.h"
#include "ktb/string.h"
#include "ktb/type.h"

// Of the operations that it inherits, setSort() describes one of the sort keys that create() was asked for, numbered from 0;
// keys that are not described are column 0, ascending. It returns 1 for a number that is none of them, and otherwise 0 without
// a look at the rest, like setSortInfo() and setSortProgress(). What they were given is taken up when the first row is written;
// later calls change nothing. Collation, information and progress objects are the caller's and must live until the table is
// closed. A key orders by the values that were written, in the type that its column was defined with: a double by its number,
// although it is stored as a text, and a text by the whole of it, also where the column's width cuts it.
class KtWorkTableFile : public KtDatafileSort {
public:
    // Finishes the table: closes its files and, when it is writable, writes its header. May be called more than once.
    // Returns false when anything could not be written; the table's files are removed then. A sorted table sorts and stores its
    // rows here, which can take as long as writing them did, and needs room on disk for them once more; a sort that fails or
    // is cancelled fails the close with the sort's own text. So does the release of a table that was not closed, but it cannot
    // tell: close a sorted table before releasing it.
    virtual bool close() = 0;

    // Defines stored column `column` (0 to the column count - 1) before the first row is written. The name must differ from
    // every other column's, letter case ignored (ASCII). A type code other than boolean, integer, decimal and date is stored as
    // string. A string value is cut, at a character, to `width` bytes; 0 or less sets no limit. Other types ignore the width.
    // Returns false for a column out of range (message 1420) and a name used twice (1666). May be called again for the same
    // column.
    virtual bool defineColumnInfo(int column, KtbString name, ktbType type, int width) = 0;

    // Describes column `column` (0 to getColumns() - 1) of the rows this caller sees: name, type, declared width, and the
    // longest stored string in bytes, NUL included. Returns false and touches none of them when it is out of range (1420). Any
    // of the four places may be null.
    virtual bool getColumnInfo(int column, KtbString* name, ktbType* type, int* width, int* longest) = 0;

    // The number of columns that a row has for this caller: the chosen ones, else all stored ones.
    virtual int getColumns() = 0;

    virtual KtbString getError() = 0;
    virtual KtbString getName() = 0;  // what the manager's open() takes; a single file name
    virtual long getRows() = 0;       // rows stored, whatever range was opened; while a table is being sorted, rows written

    // Reads the next row. `values` has getColumns() values (or pointers to values), the caller's, which are overwritten; a text
    // read into a value keeps that value's memory. True: a row. False with *end true: no rows are left in the table or range.
    // False with *end false: a failure; stop reading. A table open for writing cannot be read (1793).
    virtual bool readRow(KtbDatavar* values, bool* end) = 0;
    virtual bool readRow(KtbDatavar** values, bool* end) = 0;

    // Reads the next `count` rows, from where the table stands, into *out as one XML document, which replaces what was there.
    // `first` moves nothing: it is looked at only when `count` is negative, which asks for getRows() - first rows, a
    // difference of 32 bits; 0 or less then asks for none.
    //
    // The document is a bean in UTF-8 on a single line. It lists the names of the stored columns and for each row as many
    // values: those of the columns that this caller sees, from the first on. What he sees beyond that number is left out, what
    // is missing is empty, and so is a null. In the values "&", "'" and "<" are escaped and nothing else; the names of the
    // table and its columns are not. So names with markup, bytes that are not UTF-8, control characters and "]]>" make a
    // document that XML parsers refuse.
    //
    // With an `end`, rows that run out, or one that cannot be read, only end the list: the document is complete, the result is
    // true, and *end tells whether the rows ran out; when it is false and rows are missing, getError() says why. Without one
    // (null) every row must be there. When one is not, or memory is exhausted (a document of more than 2,147,483,646 bytes
    // counts as that), the result is false (29) and *out holds the beginning of the document. A null `out` is refused.
    virtual bool readRows(long first, int count, KtbString* out, bool* end) = 0;

    // Closes the table and frees the object. Through a null pointer C++ cannot make this call; who takes it from its slot, as
    // callers in other languages do, may pass null, which is ignored.
    virtual void release() = 0;

    // Returns a cursor over the table's figures as they are now, which the caller releases and which may outlive the table and
    // its manager; null when memory is exhausted (29). It has the columns "Statistic" and "Value" and a row for each of these:
    // "AccessKey" (the label in the table's header), "Columns" (as getColumns()), "ElementSize" (0: a single data element),
    // "Elements", "Rows" and "Version" (of the header, in hundredths: 203 is shown as 2.3, 210 as 2.10). What is asked of it
    // beyond its rows and columns, or before the first next(), is an empty text.
    virtual KtbStringCursor* statistics() = 0;

    // Returns the URI from which the manager's open() opens the same rows and columns again; empty on failure. A table that
    // this object created shows its columns only when `all` is true.
    virtual KtbString toURIString(bool all) = 0;

    // Appends one row. `values` holds one value (or pointer to a value) per stored column, in column order; they are read
    // before the call returns and stay the caller's. A value that does not convert to its column's type is stored as null.
    // Returns false when the table is read-only or closed (1768), a column was never defined (1420), the disk refuses the
    // bytes, or memory does not hold a value's text (29); after the last two the table takes no more rows and its close fails.
    //
    // The first row of a sorted table begins its sort. That is refused, with the sort's text, when a key's column does not
    // exist or is a key already, there are more keys than columns, or a collation or its locale is unknown. The next row tries
    // again; like any failure this one costs the table when it is released. A row that the sort does not take, because the
    // disk is full or the progress object cancelled, is the table's last, and its close fails.
    virtual bool writeRow(KtbDatavar* values) = 0;
    virtual bool writeRow(KtbDatavar** values) = 0;

protected:
    ~KtWorkTableFile() = default;
};

#endif
