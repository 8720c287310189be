#include "file/file_error.h"

#include <cerrno>
#include <iterator>

#include "ktb/fio.h"

int fileErrorFromErrno(int number) {
    switch (number) {
        case EACCES:
        case EPERM: return np_err_access;
        case ENOENT: return np_err_no_such_file;
        case EEXIST: return np_err_exists;
        case ENOTDIR: return np_err_not_directory;
        case EISDIR: return np_err_is_directory;
        // The refusal to follow a link, and what sockets, pipes without a partner and devices without a driver answer.
        case ELOOP:
        case ENXIO:
        case ENODEV: return np_err_not_regular;
        case EMFILE:
        case ENFILE: return np_err_too_many_files;
        case ENOSPC:
        case EDQUOT: return np_err_no_space;
        case EFBIG:
        case EOVERFLOW: return np_err_too_large;
        case EROFS: return np_err_read_only;
        case EIO: return np_err_io;
        case ENOMEM: return np_err_memory;
        case ENAMETOOLONG: return np_err_name;
        case EINVAL: return np_err_invalid;
        case EBUSY:
        case ETXTBSY:
        case EAGAIN: return np_err_busy;
        default: return np_err_failed;
    }
}

static const char* const descriptions[] = {
    nullptr,  // success is not an error
    "the file operation failed",
    "permission denied",
    "no such file or directory",
    "the file exists already",
    "a part of the path is not a directory",
    "is a directory",
    "is not a regular file",
    "too many open files",
    "no space left on the device",
    "the file would become too large",
    "is read-only",
    "input/output error",
    "out of memory",
    "the name is empty, too long or not a name",
    "invalid argument",
    "the file is in use",
};
static_assert(std::size(descriptions) == np_err_end);

extern "C" const char* np_fio_errdesc(int code) { return code >= 0 && code < np_err_end ? descriptions[code] : nullptr; }
