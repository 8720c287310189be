// How what was put reaches the file, and what is done about it when it does not.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include <sys/stat.h>

#include "file/file.h"
#include "file/file_error.h"

np_file::~np_file() { ::operator delete(begin_); }

unsigned long np_file::putSlowly(const Byte* buffer, unsigned long size) {
    if (!writable_) remember(np_err_read_only);
    unsigned long done = 0;
    while (done < size && !error_) {
        if (size - done >= bytesLargest_) return done + putDirectly(buffer + done, size - done);
        if (!enterWriting()) return error_ ? done : done + putDirectly(buffer + done, size - done);
        const unsigned long step = std::min(size - done, static_cast<unsigned long>(writeLimit_ - cursor_));
        std::memcpy(cursor_, buffer + done, step);
        cursor_ += step;
        readLimit_ = cursor_;
        done += step;
    }
    return done;
}

// For what is as large as the buffer, and for everything when there is no memory for one.
unsigned long np_file::putDirectly(const Byte* buffer, unsigned long size) {
    if (!writeDirty()) return 0;
    const long at = position();
    const unsigned long count = writeAt(buffer, size, at);
    startWindowAt(at + static_cast<long>(count));
    return count;
}

// Makes room for at least one byte at the position. Returns false when a write failed, there is no memory for a buffer, or no
// byte can be behind this position.
bool np_file::enterWriting() {
    settle();
    const bool inRoom = awayPosition_ < 0 && static_cast<unsigned long>(cursor_ - begin_) < room();
    if (!inRoom && !moveWindowToPut()) return false;
    writeStart_ = cursor_;
    readLimit_ = cursor_;
    writeLimit_ = begin_ + room();
    return true;
}

// A window that puts have run through to its end is followed by a larger one.
bool np_file::moveWindowToPut() {
    const bool ranThrough = awayPosition_ < 0 && capacity_ > 0;
    const long at = position();
    if (!writeDirty()) return false;
    growTo(std::clamp(ranThrough ? capacity_ * growth : 0, bytesSmallest_, bytesLargest_));
    startWindowAt(at);
    stepBytes_ = capacity_;
    return room() > 0;
}

// How many bytes a window at base_ can hold: the buffer's, as long as their positions are numbers.
unsigned long np_file::room() const { return std::min(capacity_, static_cast<unsigned long>(LONG_MAX - base_)); }

// Writes the dirty bytes. After a failure they stay dirty, so that a get still finds them, and no write is tried again: the
// caller has been told, or will be, that the file is not what it should be.
bool np_file::writeDirty() {
    settle();
    if (dirtyBegin_ == dirtyEnd_) return true;
    if (error_) return false;
    const auto size = static_cast<unsigned long>(dirtyEnd_ - dirtyBegin_);
    if (writeAt(dirtyBegin_, size, base_ + (dirtyBegin_ - begin_)) != size) return false;
    dirtyBegin_ = dirtyEnd_ = begin_;
    return true;
}

// Returns the count written; one that is short has been remembered.
unsigned long np_file::writeAt(const Byte* buffer, unsigned long size, long offset) {
    const unsigned long writable = std::min(size, static_cast<unsigned long>(LONG_MAX - offset));
    unsigned long done = 0;
    while (done < writable) {
        const long at = offset + static_cast<long>(done);
        const long count =
            uninterrupted([&] { return ktb_os_pwrite(descriptor_.number(), buffer + done, writable - done, at); });
        if (count <= 0) {
            remember(count < 0 ? fileErrorFromErrno(errno) : np_err_io);
            return done;
        }
        done += static_cast<unsigned long>(count);
    }
    if (done < size) remember(np_err_too_large);
    return done;
}

int np_file::flush() {
    writeDirty();  // a failure is remembered
    return error_;
}

int np_file::truncate() {
    if (!writable_) return np_err_read_only;
    if (flush() != np_ok) return error_;
    const long at = position();
    if (uninterrupted([&] { return ktb_os_ftruncate(descriptor_.number(), at); }) < 0) return fileErrorFromErrno(errno);
    if (at < base_) startWindowAt(at);
    validEnd_ = std::min(validEnd_, begin_ + (at - base_));
    moveTo(at);
    return np_ok;
}

long np_file::size() {
    struct stat status;
    if (uninterrupted([&] { return ktb_os_fstat(descriptor_.number(), &status); }) < 0) return -1;
    settle();
    const long putEnd = dirtyBegin_ == dirtyEnd_ ? 0 : base_ + (dirtyEnd_ - begin_);
    return std::max(static_cast<long>(status.st_size), putEnd);
}

int np_file::close() {
    writeDirty();  // a failure is remembered
    if (descriptor_.close() < 0) remember(fileErrorFromErrno(errno));
    return error_;
}
