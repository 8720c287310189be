// Where the window goes when a get finds nothing more in it.
#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "file/file.h"

unsigned long np_file::getSlowly(Byte* buffer, unsigned long size) {
    settle();
    unsigned long done = 0;
    for (;;) {
        const unsigned long step = std::min(size - done, static_cast<unsigned long>(readLimit_ - cursor_));
        if (step > 0) std::memcpy(buffer + done, cursor_, step);
        cursor_ += step;
        writeLimit_ = cursor_;
        done += step;
        if (done == size) return done;
        if (size - done >= bytesLargest_) return done + getDirectly(buffer + done, size - done);
        if (!refill(size - done)) return capacity_ > 0 ? done : done + getDirectly(buffer + done, size - done);
    }
}

// Moves what would fill the buffer anyway, and everything when there is no memory for one, without a detour through it.
unsigned long np_file::getDirectly(Byte* buffer, unsigned long size) {
    if (!writeDirty()) return 0;
    const long at = position();
    const unsigned long count = readAt(buffer, size, size, at);
    startWindowAt(at + static_cast<long>(count));
    return count;
}

// Moves the window so that it holds the position and, if the file does, `need` bytes from there. Returns false when there is
// not a byte to be had: the file ends, memory or the device failed, or bytes that cannot be written hold the window in place.
bool np_file::refill(unsigned long need) {
    const long at = position();
    if (!writeDirty()) return false;
    const bool near = isNear(at);
    const bool backwards = near && at < base_;
    stepBytes_ = nextStep(near, need);
    growTo(stepBytes_);
    stepBytes_ = std::min(stepBytes_, capacity_);
    const unsigned long before = backwards ? bytesBefore(at, need) : 0;
    startWindowAt(at - static_cast<long>(before));
    validEnd_ += readAt(begin_, stepBytes_, std::min(before + need, stepBytes_), base_);
    moveTo(at);
    return cursor_ < readLimit_;
}

// A position in the window's neighbourhood carries on with the scan; any other is a jump, of which nothing is known yet.
bool np_file::isNear(long position) const {
    const long end = base_ + (validEnd_ - begin_);
    const long distance = position < base_ ? base_ - position : position - end;
    return static_cast<unsigned long>(distance) <= stepBytes_;
}

// How much to read next. There is no growth after a refill that the file could not fill.
unsigned long np_file::nextStep(bool near, unsigned long need) const {
    const unsigned long carryOn = validBytes() >= stepBytes_ ? std::min(stepBytes_ * growth, bytesLargest_) : stepBytes_;
    return std::max({near ? carryOn : 0, bytesSmallest_, need});
}

// Backwards, most of the window goes before the position. The rest holds what is likely to be read from there on before the
// next step back, such as the row that begins here.
unsigned long np_file::bytesBefore(long position, unsigned long need) const {
    const unsigned long ahead = need + stepBytes_ / 8;
    return ahead < stepBytes_ ? std::min(stepBytes_ - ahead, static_cast<unsigned long>(position)) : 0;
}

// Reads until `enough` bytes of `size` are there, or all that the file has. Returns the count.
unsigned long np_file::readAt(Byte* buffer, unsigned long size, unsigned long enough, long offset) {
    unsigned long done = 0;
    size = std::min(size, static_cast<unsigned long>(LONG_MAX - offset));
    while (done < std::min(enough, size)) {
        const long at = offset + static_cast<long>(done);
        const long count = uninterrupted([&] { return ktb_os_pread(descriptor_.number(), buffer + done, size - done, at); });
        if (count <= 0) break;  // the end, or a device that fails: either way there are no more bytes
        done += static_cast<unsigned long>(count);
    }
    return done;
}

// Makes the buffer larger if it can. What it held is lost: nothing may be dirty, and the caller starts a new window.
void np_file::growTo(unsigned long bytes) {
    if (bytes <= capacity_) return;
    auto* block = static_cast<Byte*>(::operator new(bytes, std::nothrow));
    if (!block) return;
    ::operator delete(begin_);
    begin_ = block;
    capacity_ = bytes;
}

// Leaves an empty window, with the position at its start. Nothing may be dirty.
void np_file::startWindowAt(long position) {
    base_ = position;
    awayPosition_ = -1;
    cursor_ = readLimit_ = writeLimit_ = validEnd_ = dirtyBegin_ = dirtyEnd_ = begin_;
}
