// Start here. KtWorkTableManager: where work tables are made, opened and removed.
//
//     KtbString error;
//     KtWorkTableManager* manager = ktwtCreateManager("", "/var/tmp", &error);
//     KtWorkTableFile* table = manager->create(2, 0, &error);
//     ... table->defineColumnInfo(...), table->writeRow(...), table->close(), table->release() ...
//     manager->release();
//
// Settings:  setChunkSize() to setSortStable() tune the sorting of tables that are created with sort keys: see ktb/sort.h for
//            what each means and takes. Each holds from the next first row on that is written to a sorted table of this
//            manager; tables that have rows already are sorted as they began. A value that is refused changes nothing, returns
//            false, and getError() says why; a later success does not clear that text.
// Threads:   one manager may be used by several threads; the settings and getError() by one at a time.
// Ownership: made by ktwtCreateManager, ended by release(), never by delete. Tables must be released before their manager.
// Failure:   an operation with a trailing error argument returns false (or null) and writes the reason there; it leaves the
//            argument untouched on success. The argument must not be null. Only the settings use getError().
// Processes: any number may use the same work directories. A table holds its header file with an advisory lock while it is open;
//            what is left of the tables of a process that was killed can be told by that and removed: see sweep.h. A child of
//            fork may read, through its parent's managers or its own, and release what it reads; tables that its parent writes are not
//            for it to touch.
// Names:     a table's name is a single file name; an operation finds it in the first work directory that holds it.
#ifndef KTWT_MANAGER_H
#define KTWT_MANAGER_H

#include "ktb/export.h"
#include "ktb/sort.h"
#include "ktb/string.h"
#include "ktwt/file.h"

class KtWorkTableManager : public KtDatafileManagerSortAndSize {
public:
    // Appends the rows of `source` to `target`, whose columns must agree in number (else 1769), name (1770) and type (1771).
    // `source` may be a work table URI; columns that it chooses must agree in number only, and are taken in their order. Takes
    // the target's named lock meanwhile, unless `noLock` is true: the caller then sees to it that nobody else appends to that
    // table. A table can be appended to itself, which doubles its rows. After a failure the target keeps its earlier rows; of
    // the new ones it keeps those before a row that could not be read or found no memory, and none when the disk refused any.
    // Only when the disk takes half of the new header and then does not even take the old one back is the table removed.
    virtual bool append(const KtbString& target, const KtbString& source, KtbString* error) = 0;
    virtual bool append(const KtbString& target, const KtbString& source, bool noLock, KtbString* error) = 0;

    // Copy the columns and rows of `source`, a name or a work table URI, found through the manager of another access key or
    // through `owner`, which this library must have made. The two that make a new table, with `elementSize` as for create(),
    // return it still open for writing: the caller closes and releases it; null on failure, with nothing left behind. An
    // `accessKey` that is empty or this manager's means this manager; for any other *error must be empty on entry. The third
    // copies into `target`, made by this library and open for writing, closes it, and opens it again for reading. Its number of
    // columns must be the source's (1769). One without rows takes over the source's column definitions; one with rows must
    // agree with them (1770, 1771). One with sort keys sorts the rows. A finished target is refused (1768) and unharmed; after
    // any other failure the target is as after a failure of its own.
    virtual KtWorkTableFile* copy(long elementSize, const KtbString& accessKey, const KtbString& source, KtbString* error) = 0;
    virtual KtWorkTableFile* copy(long elementSize, KtWorkTableManager* owner, const KtbString& source, KtbString* error) = 0;
    virtual bool copy(KtWorkTableFile* target, KtWorkTableManager* owner, const KtbString& source, KtbString* error) = 0;

    // Creates an empty, writable table in the first work directory that accepts it. `columns` is the number of columns, to be
    // defined before the first row; a new pair of files is started whenever the current data file has grown past `elementSize`
    // bytes (0: never). Negative counts are refused (message 1420). The caller releases the table; its name is
    // table->getName().
    //
    // A table with `sortColumns` sort keys puts its rows in their order, however many there are; file.h says how. The first
    // such table, or the first setting, makes the manager's sort manager; when that cannot be made the table is refused with
    // the reason. How many keys a table can have, and whether they make sense, is looked at when its first row is written.
    virtual KtWorkTableFile* create(int columns, long elementSize, KtbString* error) = 0;
    virtual KtWorkTableFile* create(int columns, int sortColumns, long elementSize, KtbString* error) = 0;

    // Named locks: exclusive among the callers of this manager, counted, waiting. enqueue() returns once the caller holds the
    // name; each enqueue() that succeeded is matched by one dequeue(), from any thread. A thread that enqueues a name twice
    // waits for somebody else's dequeue(). dequeue() of a name that nobody holds does nothing.
    virtual void dequeue(const KtbString& name) = 0;
    virtual bool enqueue(const KtbString& name, KtbString* error) = 0;

    virtual KtbString getAccessKey() = 0;
    virtual KtbString getDirectories() = 0;  // the whole list, with its separators
    virtual KtbString getError() = 0;

    // Open a table read-only. `name` alone may also be a work table URI (see ktb/worktable_uri.h), which can choose rows and
    // columns. Otherwise `count` columns are chosen by name or by number; -1 chooses all and the array may be null. By number
    // each column may be chosen once; by name more often, and a name that the table does not have reads as null. `range` is an
    // input: null or two numbers, first row and row count (-1: to the end). `reversed` delivers the rows of the range from last
    // to first; the range then only bounds the first row. The caller releases the table; null on failure.
    virtual KtWorkTableFile* open(const KtbString& name, bool reversed, KtbString* error) = 0;
    virtual KtWorkTableFile* open(const KtbString& name, int count, const KtbString* columns, long* range, bool reversed,
                                  KtbString* error) = 0;
    virtual KtWorkTableFile* open(const KtbString& name, int count, int* columns, long* range, bool reversed,
                                  KtbString* error) = 0;

    // Splits the rows of a table into at most *parts ranges for parallel readers: pairs of first row and row count in `ranges`,
    // which has room for *parts pairs; *parts becomes the number of pairs. Fewer than 1 part gives none, 1 the whole table.
    // Ranges keep to single data elements when there are at least as many parts as elements; otherwise, and in a table of one
    // element, all rows are split evenly.
    virtual bool partition(const KtbString& name, int* parts, long* ranges, KtbString* error) = 0;

    // Ends the manager. As with a table's release(), null is ignored only where the operation is taken from its slot.
    virtual void release() = 0;

    // Deletes a table's files. The table must be one that can be opened; what is open elsewhere is not asked. Returns false
    // when it cannot be opened, with nothing deleted, or when a file cannot be deleted (1747); the others are deleted all the
    // same.
    virtual bool remove(const KtbString& name, KtbString* error) = 0;

protected:
    ~KtWorkTableManager() = default;
};

extern "C" {

// Makes a manager. `directories` lists the work directories, separated by np_dir_listsep (':'); when it is empty the option
// "BASE/TEMP" is used, else the system's directory for temporary files. A trailing separator adds no directory, a leading or
// doubled one an empty entry, which holds nothing.
// Returns null on failure, with the reason in *error. *error must be empty on entry: a text in it makes the call fail.
// Null with *error still empty means that memory is exhausted.
KTB_API KtWorkTableManager* ktwtCreateManager(const KtbString& accessKey, const KtbString& directories, KtbString* error);
}

#endif
