// The datafile sort manager: rows handed in, sorted rows handed back.
//
// Binary interface: the order of the operations is fixed; no data and no virtual destructors; objects end with release().
// Threads: one thread at a time per object.
#ifndef KTB_SORT_H
#define KTB_SORT_H

#include "ktb/datavar.h"
#include "ktb/export.h"
#include "ktb/string.h"
#include "ktb/type.h"

// Records that travel through the work tables unseen, from the caller to the sort. They stay the caller's.
struct KTSortCollateParms;
struct KtDatafileSortInfo;
class KtDatafileSortProgress;

// The eight settings. Each returns false when the value is refused; the refusing object's getError() says why.
class KtDatafileManagerSortAndSize {
public:
    virtual bool setChunkSize(unsigned long bytes) = 0;
    virtual bool setSortMarkByGroups(bool on) = 0;
    virtual bool setSortNoCodeGen(bool on) = 0;
    virtual bool setSortNoDups(bool on) = 0;
    virtual bool setSortProcessors(int processors) = 0;
    virtual bool setSortRecords(unsigned long records) = 0;
    virtual bool setSortSize(unsigned long bytes) = 0;
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

// Holds the settings and makes sorts.
class KtDatafileManager : public KtDatafileManagerSortAndSize {
public:
    virtual KtbString getError() = 0;
    virtual void release() = 0;

protected:
    ~KtDatafileManager() = default;
};

// Makes a sort manager that keeps its run files in the directories of the list (np_dir_listsep between them). Returns null,
// with the reason in *error, when it cannot be made. The caller ends it with release().
KTB_API KtDatafileManager* ktDatafileManagerCreate(const KtbString& directoryList, KtbString* error);

#endif
