// A table looked at from outside: which files it is made of, and whether they agree with each other.
//
//     class Report : public KtWorkTableFindingVisitor { bool visit(const KtWorkTableFinding& finding) override { ... } };
//     KtWorkTableVerification result;
//     if (!ktwtVerifyTable("/var/tmp", name, &report, &result, &error)) ... the table could not be looked at: error ...
//     else if (result.findings != 0) ... it is damaged, and the report was told how ...
//
// Directories: the same list that the table was made with.
// Names:       that of the table, as getName() tells it; a URI is none.
// Safety:      nothing is written, no link is followed, and nothing but regular files is opened. The header is held as a reader
//              holds it, so that nobody clears the table away meanwhile. A table that is open for writing, here or in another
//              process, is changing: what is told of it may be out of date at once, and findings in it mean nothing.
// Memory:      the header's records; not more for larger data and index files.
// Threads:     safe from any thread. The visitors are called on the thread that asked.
// Failure:     false, with the reason in *error, which must be empty on entry. What was told until then is true.
#ifndef KTWT_INSPECT_H
#define KTWT_INSPECT_H

#include "ktb/export.h"
#include "ktb/string.h"

enum { ktwtFileHeader = 1, ktwtFileData = 2, ktwtFileIndex = 3 };

struct KtWorkTableFilePart {
    const char* path;  // lives until the visit returns; only the name where the file is not in the directories
    int kind;          // one of the above
    int element;       // the data element, from 0 on; -1 for the header
    long rows;         // as the header tells; of the whole table for the header, otherwise of the element
    long bytes;        // the file's size; -1 when it is not there, or is no regular file
};

// Is told each file of a table: the header, then the data and the index file of each element.
class KtWorkTableFileVisitor {
public:
    // Returns false to end the listing at once, which is no failure.
    virtual bool visit(const KtWorkTableFilePart& file) = 0;

protected:
    ~KtWorkTableFileVisitor() = default;
};

struct KtWorkTableFinding {
    const char* path;  // the file in which it is; lives until the visit returns, like the text. Only the name, as the header
                       // tells it, where the file is not in the directories
    int kind;          // one of ktwtFileHeader, ktwtFileData, ktwtFileIndex
    int element;       // the data element, also where its record in the header is what is wrong; -1 when it is about none
    long row;          // the row of the element, from 0 on; -1 when it is about none
    long offset;       // where in the file; -1 when that cannot be said
    const char* text;  // what is wrong, a sentence or two in one line, without path and numbers above
};

class KtWorkTableFindingVisitor {
public:
    // Returns false to end the search at once, which is no failure.
    virtual bool visit(const KtWorkTableFinding& finding) = 0;

protected:
    ~KtWorkTableFindingVisitor() = default;
};

struct KtWorkTableVerification {
    long elements;  // that the header tells of
    long rows;      // that were gone through from their first column to their last
    long bytes;     // in all files of the table that are there
    long findings;  // told to the visitor, or that would have been if there were one; 0: the table is sound
};

extern "C" {

// Tells the files of a table. Does not open data and index files. A table whose header cannot be understood is a failure here.
KTB_API bool ktwtListTableFiles(const KtbString& directories, const KtbString& name, KtWorkTableFileVisitor* visitor,
                                KtbString* error);

// Reads the whole table and compares what its files say of each other; docs/format.md lists what is looked at. `visitor` and
// `result` may be null. A table whose files cannot be understood (1301, 1773, 1785 to 1787) or are not all there is a finding;
// one whose header is not there, or of which a file may not be read or is not delivered by the disk, is a failure (1353, or
// 1352 for a file layer without texts).
//
// What lies in a file behind its last record, row or entry is no finding: an append that never came to its end leaves that, no
// reader looks at it, and the next append writes over it. After the first hundred findings in a file the others are only
// counted, and one more finding tells their number.
//
// Reads each byte at most once, whatever the files say: where a row is damaged, the index tells where the next one begins, and
// rows that cannot be found in that way are left out of result->rows.
KTB_API bool ktwtVerifyTable(const KtbString& directories, const KtbString& name, KtWorkTableFindingVisitor* visitor,
                             KtWorkTableVerification* result, KtbString* error);
}

#endif
