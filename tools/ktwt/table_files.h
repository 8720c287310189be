// The files of which tables are made, and the tables that are in the work directories.
#ifndef TOOLS_KTWT_TABLE_FILES_H
#define TOOLS_KTWT_TABLE_FILES_H

#include <ktwt/inspect.h>

#include <string>
#include <vector>

#include "library.h"

struct TableFile {
    std::string path;
    int kind = ktwtFileHeader;
    int element = -1;  // -1 for the header
    long rows = 0;
    long bytes = 0;  // -1 when the file is not there

    bool isThere() const { return bytes >= 0; }
};

// The header, then the data and the index file of each element.
Outcome filesOf(KtWorkTableManager& manager, const std::string& table, std::vector<TableFile>* files);

// Whether all work directories are there, for those who would else take a name that is mistyped for an empty directory.
Outcome findDirectories(KtWorkTableManager& manager);

// What the files that are there hold together.
long bytesOf(const std::vector<TableFile>& files);

// "header", "data" or "index".
const char* kindName(int kind);

// A header as a work directory shows it; there may be a table to it or not.
struct FoundHeader {
    std::string table;  // the name
    std::string path;
    long modified = 0;  // seconds since 1970
};

// The headers in the work directories, by name; of a name that stands in several directories the one that is opened. After a
// failure, which is that of the first directory that cannot be read, those of the other directories are there all the same.
Outcome findHeaders(KtWorkTableManager& manager, std::vector<FoundHeader>* headers);

#endif
