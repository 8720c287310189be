// The sweep: finding, and removing, what killed processes left in the work directories.
//
// 1. The names in the directories are listed, and each file is taken for what its name says.
// 2. Every finished header is read, and what it tells of is marked as told, unless its table is being removed.
// 3. A table with an unfinished header, one that is being removed, or one with files that are not told of is a suspect. Its
//    header is seized: that fails while any process holds it. Under the seizure nobody can open the table to write to it, so
//    that what its header tells now, read once more, is final. If it is finished, the listed files that it does not tell of are
//    orphans.
// 4. A header that was never finished, or whose table's removal was begun, stays seized for a while. When some are together the
//    directories are listed again: their writers may have made files after the first listing, before they were killed. Now
//    nobody makes any, so that what is told of nowhere can go, and after it the headers. A header is the last to go, because
//    without it nobody could tell whose a file is: a sweep that is killed leaves nothing that the next one cannot attribute.
//
// Cost: two lists of all names, and a read of every header. Handles: those of step 4 at once.
#ifndef KTWT_WTSWEEP_H
#define KTWT_WTSWEEP_H

#include <memory>

#include "ktb/fio.h"
#include "ktwt/sweep.h"
#include "wtworkfiles.h"

class KTWTFileImpl;
class KTWTManagerImpl;

namespace ktwt {

class OrphanSweep {
public:
    OrphanSweep(KTWTManagerImpl& manager, bool removing, KtWorkTableOrphanVisitor* visitor)
        : manager_(manager), removing_(removing), visitor_(visitor) {}
    OrphanSweep(const OrphanSweep&) = delete;
    OrphanSweep& operator=(const OrphanSweep&) = delete;

    // Once. Returns false when anything failed; *error then has the first reason.
    bool run(KtbString* error);

    const KtWorkTableSweep& counts() const { return counts_; }

private:
    using File = FileHandle;

    // A header that is to go after its files.
    struct Seized {
        const WorkFile* header = nullptr;
        File file;
        bool blocked = false;  // something of it may be left
    };

    // So many headers share the second listing; few against the handles that a process may have.
    static constexpr int seizedMax = 32;

    // Finding out what headers say
    void readHeader(WorkFile* header);
    HeaderState stateOf(np_file* file, KTWTFileImpl* table, KtbString* why);
    template <class Use>
    bool forFilesOf(const KTWTFileImpl& table, Use use);
    template <class Use>
    bool forFiles(const char* name, Use use);

    // Judging
    void sweepGroup(const WorkFileGroup& group);
    void sweepUnattributed(const WorkFileGroup& group);
    void sweepSuspect(const WorkFileGroup& group);
    void judge(const WorkFileGroup& group, File file, const char* path);
    void sweepUntold(const WorkFileGroup& group);
    bool sweepPlainlyNamed(const KTWTFileImpl& table);
    File seize(const WorkFile& file, char* path, long suspects);

    // Those that go as a whole
    void addSeized(const WorkFile& header, File file, bool blocked);
    void sweepSeized();
    void sweepFilesOfSeized(const WorkFiles& files);
    static bool isSeized(const void* sweep, const KtbString& header);
    Seized* findSeized(const KtbString& header);
    bool isTold(const WorkFile& file) const;

    bool sweepFile(const WorkFile& file);
    bool removeFile(const char* path);
    int pathTo(const WorkFile& file, char* path) const;
    bool fail(KtbString text);
    bool failWith(const char* what, const char* path, int code);

    KTWTManagerImpl& manager_;
    const bool removing_;
    KtWorkTableOrphanVisitor* const visitor_;
    KtWorkTableSweep counts_ = {};
    WorkFiles files_;
    Seized seized_[seizedMax];
    int seizedCount_ = 0;
    bool stopped_ = false;  // by the visitor
    KtbString error_;
};

}  // namespace ktwt

#endif
