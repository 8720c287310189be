// The system calls under the base services, each behind a function of its own: the one seam between this code and the system.
// Nothing is retried or translated here. The functions have C linkage so that a test can put its own in their place at link
// time (--wrap) and interrupt, shorten, fail or count a call.
#ifndef KTB_IMPL_FILE_OS_CALLS_H
#define KTB_IMPL_FILE_OS_CALLS_H

struct stat;

// Each returns what the system call returns: -1 on failure, with the reason in errno.
extern "C" {
int ktb_os_open(const char* path, int flags, unsigned permissions);
int ktb_os_close(int descriptor);
long ktb_os_pread(int descriptor, void* buffer, unsigned long size, long offset);
long ktb_os_pwrite(int descriptor, const void* buffer, unsigned long size, long offset);
int ktb_os_fstat(int descriptor, struct stat* status);
int ktb_os_lstat(const char* path, struct stat* status);
int ktb_os_ftruncate(int descriptor, long size);
int ktb_os_fchmod(int descriptor, unsigned permissions);
int ktb_os_unlink(const char* path);
int ktb_os_flock(int descriptor, int operation);
int ktb_os_pause(long nanoseconds);
int ktb_os_random(void* buffer, unsigned long size);  // at most 256 bytes

// A directory being read: null on failure. The name lives until the next call; null at the end, with errno as it was, or on
// failure.
void* ktb_os_opendir(const char* path);
const char* ktb_os_readdir(void* directory);
int ktb_os_closedir(void* directory);
}

#endif
