#include "file/os_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static_assert(sizeof(off_t) == sizeof(long), "positions are 64-bit numbers everywhere");

int ktb_os_open(const char* path, int flags, unsigned permissions) {
    return open(path, flags, static_cast<mode_t>(permissions));
}

int ktb_os_close(int descriptor) { return close(descriptor); }

long ktb_os_pread(int descriptor, void* buffer, unsigned long size, long offset) {
    return pread(descriptor, buffer, size, offset);
}

long ktb_os_pwrite(int descriptor, const void* buffer, unsigned long size, long offset) {
    return pwrite(descriptor, buffer, size, offset);
}

int ktb_os_fstat(int descriptor, struct stat* status) { return fstat(descriptor, status); }

int ktb_os_lstat(const char* path, struct stat* status) { return lstat(path, status); }

int ktb_os_ftruncate(int descriptor, long size) { return ftruncate(descriptor, size); }

int ktb_os_fchmod(int descriptor, unsigned permissions) { return fchmod(descriptor, static_cast<mode_t>(permissions)); }

int ktb_os_unlink(const char* path) { return unlink(path); }

int ktb_os_random(void* buffer, unsigned long size) { return getentropy(buffer, size); }

int ktb_os_flock(int descriptor, int operation) { return flock(descriptor, operation); }

int ktb_os_pause(long nanoseconds) {
    const timespec duration = {0, nanoseconds};
    return nanosleep(&duration, nullptr);
}

void* ktb_os_opendir(const char* path) { return opendir(path); }

const char* ktb_os_readdir(void* directory) {
    const dirent* entry = readdir(static_cast<DIR*>(directory));
    return entry ? entry->d_name : nullptr;
}

int ktb_os_closedir(void* directory) { return closedir(static_cast<DIR*>(directory)); }
