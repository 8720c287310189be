#include "wtpath.h"

#include <cstdio>
#include <cstring>

#include "ktb/sort.h"
#include "wtmgr.h"

namespace ktwt {

bool isFileName(const KtbString& name, const char* prefix) {
    const char* text = name.asCstr();
    if (std::strncmp(text, prefix, std::strlen(prefix)) != 0) return false;
    return *text != '\0' && std::strcmp(text, ".") != 0 && std::strcmp(text, "..") != 0 && std::strchr(text, '/') == nullptr;
}

namespace {

// Lengths of the random part. The file layer promises 100 random bits in letters and digits, which takes 17 of them at least.
constexpr std::size_t randomMin = 17;
constexpr std::size_t randomMax = 64;

bool isLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

// The length of the random part that `text` begins with; 0 when it begins with none.
std::size_t randomLength(const char* text) {
    std::size_t length = 0;
    while (length <= randomMax && isLetterOrDigit(text[length])) ++length;
    return length >= randomMin && length <= randomMax ? length : 0;
}

bool isRandom(const char* text) {
    const std::size_t length = randomLength(text);
    return length != 0 && text[length] == '\0';
}

// What follows the prefix; null when the name does not begin with it.
const char* after(const char* prefix, const char* name) {
    const std::size_t length = std::strlen(prefix);
    return std::strncmp(name, prefix, length) == 0 ? name + length : nullptr;
}

// The role of a data or index file, by what follows its prefix.
FileRole elementRole(FileKind kind, const char* rest) {
    FileRole role;
    role.kind = kind;
    const std::size_t length = randomLength(rest);
    const bool tells = length != 0 && rest[length] == '_' && isRandom(rest + length + 1);
    if (tells) role.header = ktbStringFormat("%s%.*s", headerPrefix, static_cast<int>(length), rest);
    return role;
}

}  // namespace

FileRole roleOf(const char* name) {
    if (const char* rest = after(indexPrefix, name)) return elementRole(FileKind::index, rest);
    if (const char* rest = after(dataPrefix, name)) return elementRole(FileKind::data, rest);
    FileRole role;
    const char* rest = after(headerPrefix, name);
    if (rest != nullptr && isRandom(rest)) {
        role.kind = FileKind::header;
        role.header.assign(name);
        return role;
    }
    rest = after(ktSortFilePrefix, name);
    if (rest != nullptr && isRandom(rest)) role.kind = FileKind::sort;
    return role;
}

OwnedPrefix::OwnedPrefix(const char* prefix, const KtbString& header) {
    const char* rest = after(headerPrefix, header.asCstr());
    const bool tells = rest != nullptr && isRandom(rest);
    std::snprintf(text_, sizeof text_, "%s%s%s", prefix, tells ? rest : "", tells ? "_" : "");
}

int lastPathPart(const KtbString& path, KtbString* name) {
    char directory[np_path_max];
    char last[np_path_max];
    const int code = np_fio_pparse(path.asCstr(), directory, sizeof directory, last, sizeof last);
    if (code != np_ok) return code;
    name->assign(last);
    return name->isNull() ? np_err_memory : np_ok;
}

namespace {

// Calls attempt(directory text, result) for each directory until it says that the search is over.
template <class Attempt>
PlacedFile tryDirectories(const KTWTManagerImpl& manager, int first, Attempt attempt) {
    PlacedFile result;
    const int count = manager.getDirectoryCount();
    result.directory = first;
    for (int tried = 0; tried < count; ++tried) {
        result.directory = (first + tried) % count;
        if (attempt(manager.directoryAt(result.directory), &result)) break;
    }
    return result;
}

// A path that memory cannot hold would make the file unfindable: better not to have it open.
void keepPath(const char* path, PlacedFile* result) {
    result->path.assign(path);
    if (!result->path.isNull() || result->file == nullptr) return;
    np_fio_close(result->file);  // nothing was written that could be lost
    result->file = nullptr;
    result->code = np_err_memory;
}

}  // namespace

PlacedFile createFile(const KTWTManagerImpl& manager, int first, const char* prefix) {
    return tryDirectories(manager, first, [&](const KtbString& directory, PlacedFile* result) {
        char path[np_path_max];
        result->code = np_fio_tmpfile(directory.asCstr(), prefix, path, sizeof path, &result->file);
        if (result->code != np_ok) return false;
        keepPath(path, result);
        if (result->code != np_ok) np_fio_unlink(path);  // it was ours alone; whether that works changes nothing here
        return true;
    });
}

// An empty entry of the list holds nothing; joined, it would mean the current directory.
static bool holdsNothing(const KtbString& directory) { return directory.length() == 0; }

int pathOf(const KTWTManagerImpl& manager, int directory, const KtbString& name, char* path, unsigned long size) {
    const KtbString& text = manager.directoryAt(directory);
    return holdsNothing(text) ? +np_err_no_such_file : np_fio_pcat(text.asCstr(), name.asCstr(), path, size);
}

PlacedFile createHeader(const KTWTManagerImpl& manager, int first) {
    constexpr int triesMax = 100;  // who clears away meets a file at just that moment once in a while, not every time
    PlacedFile result;
    for (int tries = 0; tries < triesMax; ++tries) {
        result = createFile(manager, first, headerPrefix);
        if (result.file == nullptr) return result;
        result.code = np_fio_hold(result.file, 0);
        if (result.code == np_ok) return result;
        np_fio_close(result.file);  // nothing was written that could be lost
        result.file = nullptr;
        np_fio_unlink(result.path.asCstr());  // it was ours alone; perhaps it is gone already
        if (result.code != np_err_busy && result.code != np_err_no_such_file) return result;
    }
    return result;
}

PlacedFile openFile(const KTWTManagerImpl& manager, int first, const KtbString& name, const char* prefix, int mode) {
    if (!isFileName(name, prefix)) {
        PlacedFile result;
        result.directory = first;
        return result;
    }
    return tryDirectories(manager, first, [&](const KtbString& directory, PlacedFile* result) {
        char path[np_path_max];
        result->code = np_fio_pcat(directory.asCstr(), name.asCstr(), path, sizeof path);
        result->joinFailed = result->code != np_ok;
        if (result->joinFailed) return true;
        result->code = holdsNothing(directory) ? +np_err_no_such_file : np_fio_open(path, mode, &result->file);
        keepPath(path, result);
        return result->code != np_err_no_such_file;
    });
}

int findFile(const KTWTManagerImpl& manager, int* directory, const KtbString& name, const char* prefix, char* path,
             unsigned long pathSize, long* bytes) {
    if (!isFileName(name, prefix)) return np_err_no_such_file;
    const PlacedFile found = tryDirectories(manager, *directory, [&](const KtbString&, PlacedFile* result) {
        np_status64 status;
        result->code = pathOf(manager, result->directory, name, path, pathSize);
        if (result->code == np_ok) result->code = np_fio_stat64(path, &status);
        if (result->code == np_ok) *bytes = status.size;
        return result->code != np_err_no_such_file;
    });
    if (found.code == np_ok) *directory = found.directory;
    return found.code;
}

bool isMissing(int code) {
    return code == np_err_no_such_file || code == np_err_not_regular || code == np_err_is_directory || code == np_err_name;
}

long findFileSize(const KTWTManagerImpl& manager, const KtbString& name, const char* prefix) {
    char path[np_path_max];
    int directory = 0;
    long size = 0;
    return findFile(manager, &directory, name, prefix, path, sizeof path, &size) == np_ok ? size : 0;
}

}  // namespace ktwt
