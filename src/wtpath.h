// Where files are: making and finding them in the manager's work directories. The only place that makes or joins paths.
#ifndef KTWT_WTPATH_H
#define KTWT_WTPATH_H

#include <memory>

#include "ktb/fio.h"
#include "ktb/string.h"

class KTWTManagerImpl;

namespace ktwt {

// Prefixes of our file names. A header's is followed by the file layer's random letters and digits, that of a data or index
// file by those of its table's header, '_', and its own: so whose it is can be told before any header names it. On disk, never
// change.
inline constexpr char headerPrefix[] = "ktwt_";
inline constexpr char dataPrefix[] = "ktwte_";
inline constexpr char indexPrefix[] = "ktwtei_";

// What a file is by its name.
enum class FileKind { other, header, data, index, sort };

struct FileRole {
    FileKind kind = FileKind::other;
    KtbString header;  // the name of the header of its table; empty when the name does not tell, null when memory is exhausted
};

// A name that we would not make ourselves is `other`, or does not tell a header: nobody may draw conclusions from it.
FileRole roleOf(const char* name);

// The prefix of data or index files of the table with that header. A header that has been given another name than we make
// leaves the plain prefix.
class OwnedPrefix {
public:
    OwnedPrefix(const char* prefix, const KtbString& header);
    const char* text() const { return text_; }

private:
    char text_[80];
};

// A file of which nothing can be lost when it is closed, because nothing was written through this handle.
struct CloseFile {
    void operator()(np_file* file) const { np_fio_close(file); }
};
using FileHandle = std::unique_ptr<np_file, CloseFile>;

// What came of looking for a place for a file, or for the file.
struct PlacedFile {
    int code = np_err_no_such_file;  // of the last attempt; np_ok when `file` is open
    bool joinFailed = false;         // `code` tells why a directory and the name could not be joined
    int directory = 0;               // the directory of the last attempt
    KtbString path;                  // the path of the last attempt; empty when there was none
    np_file* file = nullptr;
};

// The directories tried, in turn: from `first` on and, after the last, from the beginning, until each has had its turn.

// Creates a file in the first directory that accepts one.
PlacedFile createFile(const KTWTManagerImpl& manager, int first, const char* prefix);

// Creates a header and holds it. There is no moment in which it could be taken for one that was left behind: one that somebody
// has cleared away before it was held is given up for a new one.
PlacedFile createHeader(const KTWTManagerImpl& manager, int first);

// Opens the file `name` in the first directory that holds it. Goes on only while there is no such file; any other failure ends
// the search. A name that isFileName() refuses is never looked for.
PlacedFile openFile(const KTWTManagerImpl& manager, int first, const KtbString& name, const char* prefix, int mode);

// Joins a directory of the manager and a name; an empty directory has no files (np_err_no_such_file).
int pathOf(const KTWTManagerImpl& manager, int directory, const KtbString& name, char* path, unsigned long size);

// Where openFile() would open the file, and its size, without opening it. Returns an error code of the file layer;
// np_err_no_such_file also for a name that isFileName() refuses. What `directory` the search ended in is where that of another
// file of the same data element begins.
int findFile(const KTWTManagerImpl& manager, int* directory, const KtbString& name, const char* prefix, char* path,
             unsigned long pathSize, long* bytes);

// Whether the answer to a search is that there is no such file, or something else in its place. Any other failure leaves that
// open.
bool isMissing(int code);

// The size of the file `name`; 0 when it cannot be found.
long findFileSize(const KTWTManagerImpl& manager, const KtbString& name, const char* prefix);

// Splits off the last part of a path. Returns an error code of the file layer.
int lastPathPart(const KtbString& path, KtbString* name);

// Whether a name is that of a file of ours in a directory: not empty, "." or "..", without a separator, and beginning with the
// prefix. Names of data and index files come out of header files: they must not lead out of the directories, nor to a file that
// is not ours to write or to remove. A header file may have been given any name by its owner, and has the prefix "" here.
bool isFileName(const KtbString& name, const char* prefix);

}  // namespace ktwt

#endif
