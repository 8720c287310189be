// The sweep: finding, and removing, what killed processes left in the work directories.
//
// 1. The names in the directories are listed, and each is taken for what its name says. Only what is on this list is ever
//    touched, so nothing that is made after it can be.
// 2. Every finished header is read, and what it tells of is marked as told, unless its table is being removed.
// 3. A table with an unfinished header, one that is being removed, or one with files that are not told of is a suspect. Its
//    header is seized: that fails while any process holds it. Under the seizure nobody can open the table to write to it, so
//    that what its header tells now, read once more, is final: the files that it does not tell of are orphans, and so is a
//    header that was never finished. A removal that was begun is brought to its end.
//
// Data and index files go before their header. A sweep that is killed leaves nothing that the next one cannot attribute.
//
// The list is sorted by table, so that a table's files are next to each other, its header first:
//
//     ktwt_1  ktwte_1_a  ktwte_1_b  ktwtei_1_a  ktwtei_1_b | ktwt_2  ktwte_2_c  ktwtei_2_c | ktsort_... | files of no known
//     table
#ifndef KTWT_WTSWEEP_H
#define KTWT_WTSWEEP_H

#include <memory>

#include "ktb/fio.h"
#include "ktwt/sweep.h"
#include "wtpath.h"

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
    enum class HeaderState { finished, unfinished, leaving, unreadable };

    struct Entry {
        KtbString name;
        FileRole role;
        int directory = 0;
        bool told = false;  // by a finished header
        HeaderState state = HeaderState::unreadable;
    };

    // Entries [begin, end) of one table; those up to `files` are headers.
    struct Group {
        int begin = 0;
        int files = 0;
        int end = 0;
    };

    struct CloseFile {
        void operator()(np_file* file) const { np_fio_close(file); }  // nothing was written that could be lost
    };
    using File = std::unique_ptr<np_file, CloseFile>;

    bool list();
    bool listDirectory(int directory);
    static int addName(void* sweep, const char* name);
    bool add(const char* name);
    bool grow();
    bool isListed(int directory) const;
    void sort();
    static int compare(const Entry& entry, const FileRole& role, const char* name);
    static bool precedes(const Entry& a, const Entry& b);

    void readHeaders();
    void readHeader(Entry* header);
    HeaderState stateOf(np_file* file, KTWTFileImpl* table, KtbString* why);
    bool isUnfinished(np_file* file, bool* known);
    template <class Use>
    bool forFilesOf(const KTWTFileImpl& table, Use use);
    template <class Use>
    bool forEntries(const char* name, Use use);

    void sweepAll();
    Group groupAt(int begin) const;
    void sweepGroup(const Group& group);
    int countUntold(const Group& group) const;
    File seize(const Entry& entry, char* path, long suspects);
    void sweepTable(const Group& group);
    void sweepSeized(const Group& group, np_file* file, const char* path);
    bool sweepFiles(const Group& group);
    bool sweepTold(const KTWTFileImpl& table);
    void sweepSortFile(const Entry& entry);
    bool sweepFile(const Entry& entry);
    bool removeFile(const char* path);

    int pathTo(const Entry& entry, char* path);
    bool fail(KtbString text);
    bool failWith(const char* what, const char* path, int code);

    KTWTManagerImpl& manager_;
    const bool removing_;
    KtWorkTableOrphanVisitor* const visitor_;
    KtWorkTableSweep counts_ = {};
    std::unique_ptr<Entry[]> entries_;
    int count_ = 0;
    int capacity_ = 0;
    int directory_ = 0;     // being listed
    bool complete_ = true;  // every directory could be listed
    bool stopped_ = false;  // by the visitor
    KtbString error_;
};

}  // namespace ktwt

#endif
