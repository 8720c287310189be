// WorkFiles: the files of this library that lie in the work directories at one moment, by what their names say.
//
// They are sorted by table, so that a table's files are next to each other, its header first:
//
//     files of no known table | ktwt_1  ktwte_1_a  ktwte_1_b  ktwtei_1_a  ktwtei_1_b | ktwt_2  ktwte_2_c  ktwtei_2_c
#ifndef KTWT_WTWORKFILES_H
#define KTWT_WTWORKFILES_H

#include <cstring>
#include <memory>

#include "wtpath.h"

namespace ktwt {

// What a header says.
enum class HeaderState { finished, unfinished, leaving, unreadable };

struct WorkFile {
    KtbString name;
    FileRole role;
    int directory = 0;
    bool told = false;  // by a finished header
    HeaderState state = HeaderState::unreadable;
};

// Those from `begin` to `end` are one table's; those before `files` are its headers, of which there is mostly one.
struct WorkFileGroup {
    WorkFile* begin;
    WorkFile* files;
    WorkFile* end;

    // The name of the header; empty for files of which no table is known.
    const KtbString& header() const { return begin->role.header; }
};

class WorkFiles {
public:
    // Whether files of the table with that header are wanted; empty: of no known table.
    typedef bool (*Filter)(const void* context, const KtbString& header);

    WorkFiles() = default;
    WorkFiles(const WorkFiles&) = delete;
    WorkFiles& operator=(const WorkFiles&) = delete;

    // Reads the directories, once. Returns false when something failed, with the first reason in getError(). What could be read
    // is there all the same, unless memory is exhausted: then there is nothing.
    bool read(const KTWTManagerImpl& manager, Filter filter, const void* context);

    const KtbString& getError() const { return error_; }

    WorkFile* begin() const { return files_.get(); }
    WorkFile* end() const { return files_.get() + count_; }

    WorkFileGroup groupAt(WorkFile* begin) const;

    // The first file of that name and role. It may lie in several directories.
    WorkFile* find(const FileRole& role, const char* name) const;
    bool isAt(const WorkFile* file, const FileRole& role, const char* name) const {
        return file != end() && compare(*file, role, name) == 0;
    }

private:
    bool readDirectory(const KTWTManagerImpl& manager, int directory);
    static int addName(void* files, const char* name);
    bool add(const char* name);
    bool grow();
    static int compare(const WorkFile& file, const FileRole& role, const char* name);

    std::unique_ptr<WorkFile[]> files_;
    int count_ = 0;
    int capacity_ = 0;
    int directory_ = 0;  // being read
    Filter filter_ = nullptr;
    const void* context_ = nullptr;
    KtbString error_;
};

}  // namespace ktwt

#endif
