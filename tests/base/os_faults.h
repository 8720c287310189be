// System calls that fail, are interrupted, transfer little or are counted, as a test asks. The linker puts these functions in
// the place of the ones in base/impl/file/os_calls.h (--wrap); without an OsFaults object they pass everything on.
#ifndef TESTS_BASE_OS_FAULTS_H
#define TESTS_BASE_OS_FAULTS_H

#include <climits>

enum class OsCall {
    open,
    close,
    pread,
    pwrite,
    fstat,
    lstat,
    ftruncate,
    fchmod,
    unlink,
    flock,
    pause,
    random,
    opendir,
    readdir,
    closedir,
    end
};

// What the object asks for holds while it lives; there is one at a time, used by one thread.
class OsFaults {
public:
    OsFaults();
    ~OsFaults();
    OsFaults(const OsFaults&) = delete;
    OsFaults& operator=(const OsFaults&) = delete;

    // The n-th call from now on, counted from 1 over all kinds, fails with this value of errno.
    void failNth(long n, int error);
    // So does every call of this kind after the first `passed`.
    void failEvery(OsCall kind, int error, long passed = 0);
    // Every other call is interrupted by a signal before it does anything. Close is not: it does its work first.
    void interrupt() { interrupting_ = true; }
    // No transfer moves more than this.
    void transferAtMost(unsigned long bytes) { transferMax_ = bytes; }
    // No file grows beyond this size: a write up to there is cut short, one that begins there fails with ENOSPC.
    void fillDiskAt(long bytes) { diskBytes_ = bytes; }

    // The next `calls` requests for random bytes get the same ones.
    void repeatRandom(int calls) { repeatedRandom_ = calls; }

    long calls(OsCall kind) const { return calls_[static_cast<int>(kind)]; }
    bool failed() const { return failed_; }
    long bytesRead() const { return bytesRead_; }

    // For the functions in the calls' places. Returns the value for errno, 0 to go on.
    int meet(OsCall kind);
    unsigned long transferMax() const { return transferMax_; }
    long diskBytes() const { return diskBytes_; }
    void countRead(long bytes) { bytesRead_ += bytes > 0 ? bytes : 0; }
    bool takeRepeatedRandom() { return repeatedRandom_ > 0 && repeatedRandom_-- > 0; }

private:
    long calls_[static_cast<int>(OsCall::end)] = {};
    long untilFailure_ = -1;
    int error_ = 0;
    OsCall everyKind_ = OsCall::end;
    long everyPassed_ = 0;
    int everyError_ = 0;
    bool interrupting_ = false;
    bool interruptedLast_ = false;
    bool failed_ = false;
    unsigned long transferMax_ = ULONG_MAX;
    long diskBytes_ = LONG_MAX;
    long bytesRead_ = 0;
    int repeatedRandom_ = 0;
};

#endif
