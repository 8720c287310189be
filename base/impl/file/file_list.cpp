// The names in a directory.
#include <cerrno>
#include <cstring>
#include <memory>

#include "file/file_error.h"
#include "file/os_calls.h"
#include "ktb/fio.h"

namespace {

struct CloseDirectory {
    void operator()(void* directory) const { ktb_os_closedir(directory); }  // nothing was written that could be lost
};

bool isSelfOrParent(const char* name) { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }

void* openDirectory(const char* path) {
    void* directory = ktb_os_opendir(path);
    while (!directory && errno == EINTR) directory = ktb_os_opendir(path);
    return directory;
}

// Null with errno 0 is the end.
const char* nextName(void* directory) {
    const char* name = nullptr;
    do {
        errno = 0;
        name = ktb_os_readdir(directory);
    } while (!name && errno == EINTR);
    return name;
}

}  // namespace

extern "C" int np_fio_list(const char* directory, np_name_visitor visitor, void* context) {
    if (!directory || !*directory) return np_err_name;
    const std::unique_ptr<void, CloseDirectory> open(openDirectory(directory));
    if (!open) return fileErrorFromErrno(errno);
    for (;;) {
        const char* name = nextName(open.get());
        if (!name) return errno != 0 ? fileErrorFromErrno(errno) : np_ok;
        const int answer = isSelfOrParent(name) ? 0 : visitor(context, name);
        if (answer != 0) return answer;
    }
}
