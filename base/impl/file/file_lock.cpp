// Advisory locks on open files. They belong to the open file, not to the process: two handles of one process exclude each other
// like those of two processes, and closing one handle does not give away the lock of another, as record locks would.
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "file/file.h"
#include "file/file_error.h"

namespace {

// Who seizes a file looks at it and removes a few others: milliseconds. Five seconds of patience also outlast a busy machine,
// and a process that was stopped in the middle does not stop everybody else for good.
constexpr long pauseNanoseconds = 1000000;
constexpr int pausesMax = 5000;

bool hasNoLocks(int number) { return number == ENOLCK || number == EOPNOTSUPP || number == ENOSYS; }

}  // namespace

// Returns 0, or a value of errno.
int np_file::lock(int operation) {
    const int result = uninterrupted([&] { return ktb_os_flock(descriptor_.number(), operation | LOCK_NB); });
    return result < 0 ? errno : 0;
}

int np_file::lockPatiently() {
    int number = lock(LOCK_SH);
    for (int i = 0; i < pausesMax && number == EWOULDBLOCK; ++i) {
        ktb_os_pause(pauseNanoseconds);  // one that a signal cuts short is only shorter
        number = lock(LOCK_SH);
    }
    return number;
}

int np_file::hold(bool patient) {
    const int number = patient ? lockPatiently() : lock(LOCK_SH);
    if (number != 0 && !hasNoLocks(number)) return fileErrorFromErrno(number);
    struct stat status;
    if (uninterrupted([&] { return ktb_os_fstat(descriptor_.number(), &status); }) < 0) return fileErrorFromErrno(errno);
    return status.st_nlink != 0 ? np_ok : np_err_no_such_file;
}

int np_file::seize() {
    struct stat status;
    if (const int number = lock(LOCK_EX)) return fileErrorFromErrno(number);
    if (uninterrupted([&] { return ktb_os_fstat(descriptor_.number(), &status); }) < 0) return fileErrorFromErrno(errno);
    if (status.st_uid != geteuid()) return np_err_access;  // else one user could lead another to delete what is not theirs
    return status.st_nlink != 0 ? np_ok : np_err_no_such_file;
}

extern "C" int np_fio_hold(np_file* file, int patient) { return file->hold(patient != 0); }

extern "C" int np_fio_seize(np_file* file) { return file->seize(); }
