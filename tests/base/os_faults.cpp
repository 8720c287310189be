#include "os_faults.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

static OsFaults* current = nullptr;

OsFaults::OsFaults() { current = this; }
OsFaults::~OsFaults() { current = nullptr; }

void OsFaults::failNth(long n, int error) {
    untilFailure_ = n;
    error_ = error;
}

void OsFaults::failEvery(OsCall kind, int error, long passed) {
    everyKind_ = kind;
    everyError_ = error;
    everyPassed_ = passed;
}

int OsFaults::meet(OsCall kind) {
    interruptedLast_ = interrupting_ && !interruptedLast_;
    if (interruptedLast_) return EINTR;
    ++calls_[static_cast<int>(kind)];
    if (untilFailure_ > 0 && --untilFailure_ == 0) {
        failed_ = true;
        return error_;
    }
    if (kind != everyKind_ || everyPassed_-- > 0) return 0;
    failed_ = true;
    return everyError_;
}

// Whether the call fails; errno says why.
static bool fails(OsCall kind) {
    const int error = current ? current->meet(kind) : 0;
    if (error) errno = error;
    return error != 0;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names.
extern "C" {
int __real_ktb_os_open(const char* path, int flags, unsigned permissions);
int __real_ktb_os_close(int descriptor);
long __real_ktb_os_pread(int descriptor, void* buffer, unsigned long size, long offset);
long __real_ktb_os_pwrite(int descriptor, const void* buffer, unsigned long size, long offset);
int __real_ktb_os_fstat(int descriptor, struct stat* status);
int __real_ktb_os_lstat(const char* path, struct stat* status);
int __real_ktb_os_ftruncate(int descriptor, long size);
int __real_ktb_os_fchmod(int descriptor, unsigned permissions);
int __real_ktb_os_unlink(const char* path);
int __real_ktb_os_flock(int descriptor, int operation);
int __real_ktb_os_random(void* buffer, unsigned long size);
void* __real_ktb_os_opendir(const char* path);
const char* __real_ktb_os_readdir(void* directory);
int __real_ktb_os_closedir(void* directory);

int __wrap_ktb_os_open(const char* path, int flags, unsigned permissions);
int __wrap_ktb_os_close(int descriptor);
long __wrap_ktb_os_pread(int descriptor, void* buffer, unsigned long size, long offset);
long __wrap_ktb_os_pwrite(int descriptor, const void* buffer, unsigned long size, long offset);
int __wrap_ktb_os_fstat(int descriptor, struct stat* status);
int __wrap_ktb_os_lstat(const char* path, struct stat* status);
int __wrap_ktb_os_ftruncate(int descriptor, long size);
int __wrap_ktb_os_fchmod(int descriptor, unsigned permissions);
int __wrap_ktb_os_unlink(const char* path);
int __wrap_ktb_os_flock(int descriptor, int operation);
int __wrap_ktb_os_pause(long nanoseconds);
int __wrap_ktb_os_random(void* buffer, unsigned long size);
void* __wrap_ktb_os_opendir(const char* path);
const char* __wrap_ktb_os_readdir(void* directory);
int __wrap_ktb_os_closedir(void* directory);

int __wrap_ktb_os_open(const char* path, int flags, unsigned permissions) {
    return fails(OsCall::open) ? -1 : __real_ktb_os_open(path, flags, permissions);
}

int __wrap_ktb_os_close(int descriptor) {
    const int result = __real_ktb_os_close(descriptor);
    return fails(OsCall::close) ? -1 : result;
}

long __wrap_ktb_os_pread(int descriptor, void* buffer, unsigned long size, long offset) {
    if (fails(OsCall::pread)) return -1;
    if (!current) return __real_ktb_os_pread(descriptor, buffer, size, offset);
    const long count = __real_ktb_os_pread(descriptor, buffer, std::min(size, current->transferMax()), offset);
    current->countRead(count);
    return count;
}

long __wrap_ktb_os_pwrite(int descriptor, const void* buffer, unsigned long size, long offset) {
    if (fails(OsCall::pwrite)) return -1;
    if (current) size = std::min(size, current->transferMax());
    if (current && offset >= current->diskBytes()) {
        errno = ENOSPC;
        return -1;
    }
    if (current) size = std::min(size, static_cast<unsigned long>(current->diskBytes() - offset));
    return __real_ktb_os_pwrite(descriptor, buffer, size, offset);
}

int __wrap_ktb_os_fstat(int descriptor, struct stat* status) {
    return fails(OsCall::fstat) ? -1 : __real_ktb_os_fstat(descriptor, status);
}

int __wrap_ktb_os_lstat(const char* path, struct stat* status) {
    return fails(OsCall::lstat) ? -1 : __real_ktb_os_lstat(path, status);
}

int __wrap_ktb_os_ftruncate(int descriptor, long size) {
    return fails(OsCall::ftruncate) ? -1 : __real_ktb_os_ftruncate(descriptor, size);
}

int __wrap_ktb_os_fchmod(int descriptor, unsigned permissions) {
    return fails(OsCall::fchmod) ? -1 : __real_ktb_os_fchmod(descriptor, permissions);
}

int __wrap_ktb_os_unlink(const char* path) { return fails(OsCall::unlink) ? -1 : __real_ktb_os_unlink(path); }

int __wrap_ktb_os_flock(int descriptor, int operation) {
    return fails(OsCall::flock) ? -1 : __real_ktb_os_flock(descriptor, operation);
}

// Nobody waits in a test: what a pause is made for has to happen before it.
int __wrap_ktb_os_pause(long) { return fails(OsCall::pause) ? -1 : 0; }

int __wrap_ktb_os_random(void* buffer, unsigned long size) {
    if (fails(OsCall::random)) return -1;
    if (!current || !current->takeRepeatedRandom()) return __real_ktb_os_random(buffer, size);
    std::memset(buffer, 7, size);
    return 0;
}

void* __wrap_ktb_os_opendir(const char* path) { return fails(OsCall::opendir) ? nullptr : __real_ktb_os_opendir(path); }

// A read that fails has not moved on.
const char* __wrap_ktb_os_readdir(void* directory) {
    return fails(OsCall::readdir) ? nullptr : __real_ktb_os_readdir(directory);
}

int __wrap_ktb_os_closedir(void* directory) {
    const int result = __real_ktb_os_closedir(directory);
    return fails(OsCall::closedir) ? -1 : result;
}
}
// NOLINTEND(bugprone-reserved-identifier)
