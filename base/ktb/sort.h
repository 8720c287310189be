// The datafile sort manager: rows handed in, sorted rows handed back, within a memory budget whatever their number.
//
//     KtDatafileManager* manager = ktDatafileManagerCreate("/var/tmp", &error);
//     manager->declareColumns(2), manager->declareColumn(0, ktbTypeString, 0), manager->declareColumn(1, ktbTypeInteger, 0);
//     KtDatafileRowSort* sort = manager->createSort(ktSortRows);
//     sort->setSortKeys(1), sort->setSort(0, 1, true, nullptr);
//     ... per row: sort->columnSlot(0)->assign("Oslo"), sort->columnSlot(1)->assign(7L), sort->addRow() ...
//     sort->finish();
//     for (int status = sort->firstRow(); status == ktSortRow; status = sort->nextRow()) ... sort->columnValue(0) ...
//     sort->release(), manager->release();
//
// Order:     the keys one after the other. Nulls come first, false before true, numbers and dates by value (a NaN after every
//            other number), texts as their collation has it; descending turns all of that round. Rows whose keys are all equal
//            come in the order in which they were added. The order depends on nothing else: not on the memory, the number of
//            threads, the process's locale or the machine's byte order.
// Values:    a row comes back with the very values that went in. A key orders by what the value is in its column's type; one
//            that does not convert orders as a null.
// Memory:    the budget covers rows, entries and buffers. The values of the row that is being added or delivered come on top,
//            and a row that is large against the budget is held beyond it, up to five times at once.
// Disk:      when the budget is used up, rows go to one file per work directory, beginning with the first directory and passing
//            to the next when one takes no more. The files, which are held (np_fio_hold), are without a name as soon as they
//            are open, so that they vanish with the process; one that is killed at just that moment leaves an empty file, whose
//            name begins with ktSortFilePrefix and which nobody holds. Their space is used again while they are merged: they
//            never hold much more than the records of the rows once.
// Failure:   an operation that can fail returns a status or false, and getError() says why. Nothing throws.
// Threads:   one thread at a time per object; different sorts are independent. A sort may use threads of its own, which call
//            nothing that belongs to the caller and take none of its signals. In a child of fork() a sort of the parent's can
//            only be released.
// Binary interface: the order of the operations is fixed; no data and no virtual destructors; objects end with release().
#ifndef KTB_SORT_H
#define KTB_SORT_H

#include "ktb/datavar.h"
#include "ktb/export.h"
#include "ktb/string.h"
#include "ktb/type.h"

// On disk, never change.
inline constexpr char ktSortFilePrefix[] = "ktsort_";

// How a key compares texts; keys of other types take no notice of it. It must live until the first row has been added.
enum {
    ktSortCollateBytes = 0,  // by bytes, as unsigned numbers; so does a key without a record
    ktSortCollateFold = 1,   // by bytes after the letters A-Z have become a-z: "a" and "A" are equal
    ktSortCollateLocale = 2  // by the rules of a locale of the system
};

struct KTSortCollateParms {
    int kind;            // one of the above
    const char* locale;  // for ktSortCollateLocale its name, such as "de_DE.UTF-8"; otherwise not looked at
};

// What a sort did. The record is the caller's and must live as long as the sort; it is filled by finish(), again when the last
// row has been delivered and when the sort fails.
struct KtDatafileSortInfo {
    long rowsIn;
    long rowsOut;       // delivered so far
    long duplicates;    // rows dropped so far because an earlier one had the same keys
    long groups;        // groups of equal keys delivered so far; 0 unless they are marked
    long runs;          // sorted runs written to disk; 0 when the budget held all rows
    long mergePasses;   // how often the row that went through the most merges was read back from disk
    long bytesSpilled;  // written to disk in all, by runs and merges
    long peakMemory;    // bytes, the most that the sort held at a time
    long budget;        // bytes, in force: the setting, or less where the machine has less
    long chunkBytes;    // in force: the setting, or less where the budget asks for it
    int threads;        // in force
    bool stable;        // as it was set
};

// What a sort is doing when it reports progress.
enum {
    ktSortFilling = 1,    // rows are added; done: rows in, expected: setSortRecords, 0 when that is not known
    ktSortSpilling = 2,   // a run goes to disk; done and expected: rows of this run
    ktSortMerging = 3,    // runs are merged into a longer one; done and expected: rows of these runs
    ktSortDelivering = 4  // sorted rows are handed back; done: rows out, expected: rows in
};

// Is told how far a sort is, at most ten times a second, by the thread that uses the sort and from within its calls. It is the
// caller's and must live as long as the sort.
class KtDatafileSortProgress {
public:
    // Returns false to cancel: the call in progress fails with a text that says so, and so does every later one. Must not throw
    // and must not use the sort.
    virtual bool report(int phase, long rowsDone, long rowsExpected) = 0;

protected:
    ~KtDatafileSortProgress() = default;
};

// The eight settings. Each returns false when the value is refused; the refusing object's getError() says why, and the setting
// stays as it was. A sort takes over the settings that are in force when it is created.
class KtDatafileManagerSortAndSize {
public:
    // Bytes of one transfer to or from a run file: 4 KiB to 64 MiB, 256 KiB unless set. Takes effect as far as the budget holds
    // buffers enough to merge: see KtDatafileSortInfo::chunkBytes.
    virtual bool setChunkSize(unsigned long bytes) = 0;

    // Lets startsGroup() tell where keys change, and KtDatafileSortInfo::groups count it. Off unless set.
    virtual bool setSortMarkByGroups(bool on) = 0;

    // Compares rows column by column instead of by encoded keys: slower, with the same result. Off unless set.
    virtual bool setSortNoCodeGen(bool on) = 0;

    // Keeps of all rows with equal keys the one that was added first. Off unless set.
    virtual bool setSortNoDups(bool on) = 0;

    // Threads that a sort may use, the caller's included: 0 (as many as the process has processors at its disposal; so it is
    // unless set) to 1024.
    virtual bool setSortProcessors(int processors) = 0;

    // The number of rows expected, for reports of progress; 0 (unless set) when it is not known. At most 2^63 - 1.
    virtual bool setSortRecords(unsigned long records) = 0;

    // The memory budget of each sort in bytes, at least 1 MiB; 256 MiB unless set. More than half of the machine's memory, or
    // of what the process's control group may use, counts as that half.
    virtual bool setSortSize(unsigned long bytes) = 0;

    // Promises that rows with equal keys keep the order in which they were added. This sort always keeps it, since nothing
    // else makes the result the same whatever the budget and the threads; the setting is reported in the information record.
    virtual bool setSortStable(bool on) = 0;

protected:
    ~KtDatafileManagerSortAndSize() = default;
};

// The description of one sort. Each operation returns 0 on success.
class KtDatafileSort {
public:
    // Sort key `index` is column `column`, descending when the flag is true; `parms` may be null and stays the caller's.
    virtual int setSort(int index, int column, bool descending, KTSortCollateParms* parms) = 0;
    virtual int setSortInfo(KtDatafileSortInfo* info) = 0;              // may be null; stays the caller's
    virtual int setSortProgress(KtDatafileSortProgress* progress) = 0;  // may be null; stays the caller's

protected:
    ~KtDatafileSort() = default;
};

// What the operations of a sort return.
enum {
    ktSortRow = 0,     // done; of firstRow() and nextRow(): here is a row
    ktSortFailed = 1,  // getError() says why
    ktSortEnd = 4      // there are no more rows
};

// One sort: described, filled row by row, finished, then read once from the first row to the last. After a failure every
// further call fails with the same text.
class KtDatafileRowSort : public KtDatafileSort {
public:
    // The number of sort keys, 1 to the number of columns, declared before the keys are set with setSort(), each with a column
    // of its own. A count, index or column out of range, a column that is a key already, a record with an unknown kind and a
    // locale that the system does not have are refused by a text that names the value.
    virtual int setSortKeys(int count) = 0;

    // The place for the value of a column in the row to be added; null when there is no such column, memory is exhausted, or no
    // row can be added any more. It is the sort's, keeps its value from row to row, and lives as long as the sort.
    virtual KtbDatavar* columnSlot(int column) = 0;

    // Takes over the row that the slots hold. A row of 4 GiB or more is refused.
    virtual int addRow() = 0;

    // Ends the adding of rows. May take long: see KtDatafileSortProgress.
    virtual int finish() = 0;

    virtual KtbString getError() = 0;

    // Go to the first and to the next row in order. firstRow() is for once: the rows are gone when they have been read.
    virtual int firstRow() = 0;
    virtual int nextRow() = 0;

    // The value of a column of the current row, null when there is no such column. It is the sort's and lives until the next
    // call of nextRow().
    virtual KtbDatavar* columnValue(int column) = 0;

    // Ends the sort, at any time, and frees all that it holds in memory and on disk.
    virtual void release() = 0;

    // Whether the current row is the first of those with its keys. False unless groups are marked.
    virtual bool startsGroup() = 0;

protected:
    ~KtDatafileRowSort() = default;
};

// The settings in force, for those who want to look at them.
struct KtDatafileSortSettings {
    unsigned long chunkBytes;
    unsigned long budget;
    unsigned long records;
    int processors;
    bool markByGroups;
    bool noCodeGen;
    bool noDups;
    bool stable;
};

// The kind of sort that createSort() makes: rows of declared columns. There is no other.
inline constexpr unsigned long ktSortRows = 0xd0000000UL;

// Holds the settings and the declared columns, and makes sorts, which live on independently of it.
class KtDatafileManager : public KtDatafileManagerSortAndSize {
public:
    virtual void getSettings(KtDatafileSortSettings* settings) = 0;

    // Makes a sort of rows of the declared columns. `options` must be ktSortRows. The caller ends it with release(); null on
    // failure.
    virtual KtDatafileRowSort* createSort(unsigned long options) = 0;

    // Goes back to no columns.
    virtual void forgetColumns() = 0;

    virtual KtbString getError() = 0;
    virtual void release() = 0;

    // Declares the column at `position`, 0 to the declared number of columns - 1. An unknown type code counts as a string. The
    // width, in bytes, is a hint: no value is ever cut. Returns false for a position out of range.
    virtual bool declareColumn(int position, ktbType type, int width) = 0;

    // Declares the number of columns, at least 1, all of them strings until they are declared; forgets those declared before.
    virtual bool declareColumns(int count) = 0;

protected:
    ~KtDatafileManager() = default;
};

// Makes a sort manager whose sorts keep their run files in the directories of the list (np_dir_listsep between them). An empty
// list is the system's directory for temporary files. Returns null, with the reason in *error unless that is null, when it
// cannot be made. The caller ends it with release().
KTB_API KtDatafileManager* ktDatafileManagerCreate(const KtbString& directoryList, KtbString* error);

#endif
