// Handles and files: what is opened, created, asked about and removed by path.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "file/file.h"
#include "file/file_error.h"

// Without O_NONBLOCK the opening of a pipe would wait for its other end before it could be seen that it is one.
static constexpr int safeFlags = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

static int checkPath(const char* path) {
    return path && *path && strnlen(path, np_path_max) < np_path_max ? np_ok : np_err_name;
}

static int openDescriptor(const char* path, int flags, Descriptor* descriptor) {
    const int number = uninterrupted([&] { return ktb_os_open(path, flags, 0600); });
    if (number < 0) return fileErrorFromErrno(errno);
    *descriptor = Descriptor(number);
    return np_ok;
}

static int checkRegular(const struct stat& status) {
    if (S_ISREG(status.st_mode)) return np_ok;
    return S_ISDIR(status.st_mode) ? np_err_is_directory : np_err_not_regular;
}

static int checkRegular(const Descriptor& descriptor) {
    struct stat status;
    if (uninterrupted([&] { return ktb_os_fstat(descriptor.number(), &status); }) < 0) return fileErrorFromErrno(errno);
    return checkRegular(status);
}

static int makeHandle(Descriptor descriptor, bool writable, np_file** file) {
    *file = new (std::nothrow) np_file(std::move(descriptor), writable);
    return *file ? np_ok : np_err_memory;
}

extern "C" int np_fio_open(const char* path, int mode, np_file** file) {
    *file = nullptr;
    if (mode < np_mode_read || mode > np_mode_append) return np_err_invalid;
    if (const int code = checkPath(path)) return code;
    const bool writable = mode != np_mode_read;
    Descriptor descriptor;
    if (const int code = openDescriptor(path, safeFlags | (writable ? O_RDWR : O_RDONLY), &descriptor)) return code;
    if (const int code = checkRegular(descriptor)) return code;
    return makeHandle(std::move(descriptor), writable, file);
}

// Twenty characters of five random bits each. Lower case only, since some disks take 'a' and 'A' for the same.
static constexpr unsigned long randomLength = 20;

static int putRandomName(char* name) {
    unsigned char random[randomLength];
    if (uninterrupted([&] { return ktb_os_random(random, sizeof random); }) < 0) return fileErrorFromErrno(errno);
    for (unsigned long i = 0; i < randomLength; ++i) name[i] = "abcdefghijklmnopqrstuvwxyz234567"[random[i] & 31];
    name[randomLength] = 0;
    return np_ok;
}

// Puts the path of the new file up to the random part, for which it leaves room.
static int putNameStart(const char* directory, const char* prefix, char* path, unsigned long size) {
    if (!directory || !*directory || !prefix || std::strchr(prefix, '/')) return np_err_name;
    if (size <= randomLength) return np_err_name;
    return np_fio_pcat(directory, prefix, path, size - randomLength);
}

// Creates the file at `path`, whose random part begins at `name`. A name that is taken leads to the next one; that two in a row
// are is no accident any more, and a few more tries bound the loop.
static int createRandom(const char* path, char* name, Descriptor* descriptor) {
    int code = np_err_exists;
    for (int tries = 0; tries < 8 && code == np_err_exists; ++tries) {
        if (const int failure = putRandomName(name)) return failure;
        code = openDescriptor(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, descriptor);
    }
    return code;
}

// The umask may have taken rights from the owner too.
static int finishCreation(Descriptor descriptor, np_file** file) {
    if (uninterrupted([&] { return ktb_os_fchmod(descriptor.number(), 0600); }) < 0) return fileErrorFromErrno(errno);
    return makeHandle(std::move(descriptor), true, file);
}

extern "C" int np_fio_tmpfile(const char* directory, const char* prefix, char* path, unsigned long pathSize, np_file** file) {
    *file = nullptr;
    if (const int code = putNameStart(directory, prefix, path, pathSize)) return code;
    Descriptor descriptor;
    if (const int code = createRandom(path, path + std::strlen(path), &descriptor)) return code;
    const int code = finishCreation(std::move(descriptor), file);
    if (code != np_ok) ktb_os_unlink(path);  // nothing better can be done should this fail as well
    return code;
}

extern "C" int np_fio_stat64(const char* path, np_status64* status) {
    if (const int code = checkPath(path)) return code;
    struct stat found;
    if (uninterrupted([&] { return ktb_os_lstat(path, &found); }) < 0) return fileErrorFromErrno(errno);
    if (const int code = checkRegular(found)) return code;
    status->size = static_cast<long>(found.st_size);
    return np_ok;
}

extern "C" int np_fio_close(np_file* file) {
    const std::unique_ptr<np_file> owner(file);
    return file ? file->close() : np_ok;
}

extern "C" int np_fio_unlink(const char* path) {
    if (const int code = checkPath(path)) return code;
    return uninterrupted([&] { return ktb_os_unlink(path); }) < 0 ? fileErrorFromErrno(errno) : np_ok;
}
