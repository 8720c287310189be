#include "wtpath.h"

#include <cstring>

#include "wtmgr.h"

namespace ktwt {

bool isFileName(const KtbString& name, const char* prefix) {
    const char* text = name.asCstr();
    if (std::strncmp(text, prefix, std::strlen(prefix)) != 0) return false;
    return *text != '\0' && std::strcmp(text, ".") != 0 && std::strcmp(text, "..") != 0 && std::strchr(text, '/') == nullptr;
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

long findFileSize(const KTWTManagerImpl& manager, const KtbString& name, const char* prefix) {
    long size = 0;
    if (!isFileName(name, prefix)) return size;
    tryDirectories(manager, 0, [&](const KtbString& directory, PlacedFile*) {
        char path[np_path_max];
        np_status64 status;
        const bool found = !holdsNothing(directory) &&
                           np_fio_pcat(directory.asCstr(), name.asCstr(), path, sizeof path) == np_ok &&
                           np_fio_stat64(path, &status) == np_ok;
        if (found) size = status.size;
        return found;
    });
    return size;
}

}  // namespace ktwt
