// Orphans: what a process that was killed leaves of the tables that it was writing, appending to, sorting or removing.
//
//     KtWorkTableSweep counts;
//     if (!ktwtSweepOrphans("/var/tmp", true, nullptr, &counts, &error)) ... error says what was in the way ...
//
// A table holds its header file with an advisory lock while it is open, and the lock dies with its process. Orphans are
//     - a header that no process holds and that was never finished,
//     - all files of a table that was being removed, when no process holds its header any more,
//     - a data or index file whose name tells its header, when no process holds that header and neither it nor any other
//       finished header in the work directories tells of the file,
//     - a file of the sort that no process holds.
// Everything else stays: tables that are closed, tables that are open in this process or another, files whose header is not in
// the directories of the list (it may be in another one), headers that are damaged or of a later release, with all that is
// theirs, other users' files, and whatever this library does not name so itself. Nothing is ever told from a file's age.
//
// Directories: the same list that the tables are made with. A directory in which there are only data files of tables whose
//              headers are elsewhere has no orphans that could be told; one that does not exist has none.
// Safety:      only regular files of this process's user are opened or deleted, and no link is followed. On a file system
//              without locks nothing is an orphan, and its files are reported as failures.
// Threads:     any number of threads and processes may sweep at the same time, beside others that create, append, copy, sort,
//              read and remove tables.
// Failure:     false, with the first reason in *error, which names the file. The sweep goes on after most failures, so the
//              counts are true in any case; what could not be looked at or deleted is there for the next sweep.
#ifndef KTWT_SWEEP_H
#define KTWT_SWEEP_H

#include "ktb/export.h"
#include "ktb/string.h"

enum {
    ktwtOrphanHeader = 1,
    ktwtOrphanData = 2,
    ktwtOrphanIndex = 3,
    ktwtOrphanSort = 4  // rows of a sort
};

struct KtWorkTableOrphan {
    const char* path;  // lives until the visit returns
    int kind;          // one of the above
    long bytes;
};

struct KtWorkTableSweep {
    long orphans;  // found
    long removed;  // of them, deleted by this sweep
    long bytes;    // in the orphans found
    long inUse;    // files that may be orphans once their process has ended
    long unknown;  // data and index files of which nobody can tell here whose they are, or which others' headers own
};

// Is told each orphan, before it is deleted.
class KtWorkTableOrphanVisitor {
public:
    // Returns false to end the sweep at once; this file then stays, too. That is no failure.
    virtual bool visit(const KtWorkTableOrphan& orphan) = 0;

protected:
    ~KtWorkTableOrphanVisitor() = default;
};

extern "C" {

// Finds the orphans in the work directories, given as for ktwtCreateManager, and deletes them if `remove` is true. `visitor`
// and `counts` may be null. *error must be empty on entry, as there. A null text for the directories is refused: it may be one
// that memory could not hold, and then those of an empty list would be swept in their place.
KTB_API bool ktwtSweepOrphans(const KtbString& directories, bool remove, KtWorkTableOrphanVisitor* visitor,
                              KtWorkTableSweep* counts, KtbString* error);
}

#endif
