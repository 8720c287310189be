// An open file: one window of the file in memory, moved over it by pread and pwrite.
//
//     file    ..........[base_.................................].........
//     window            begin_....cursor_....validEnd_....begin_ + capacity_
//
// Valid bytes [begin_, validEnd_) are what the file holds at base_, or shall hold. Of these the dirty ones [dirtyBegin_,
// dirtyEnd_) are still to be written; the range is the hull of all that was put, so it may cover bytes that the file has
// already.
//
// The window is always in one of three states, and each transfer costs one comparison while its own state lasts:
//     reading   begin_ <= cursor_ <= readLimit_ == validEnd_,              writeLimit_ == cursor_
//     writing   begin_ <= writeStart_ <= cursor_ <= writeLimit_,           readLimit_ == cursor_
//               [writeStart_, cursor_) was put and enters validEnd_ and the dirty range when the state ends (settle)
//     away      readLimit_ == writeLimit_ == cursor_: the position, awayPosition_, lies outside of the window, which stays as
//               it is until the next transfer shows where it has to go
//
// How much a refill reads: little after a jump, four times as much with each refill that carries on, forwards or backwards. A
// table that is opened to read ten rows then costs some 4 KiB per file, and a scan of everything still moves in large steps.
#ifndef KTB_IMPL_FILE_FILE_H
#define KTB_IMPL_FILE_FILE_H

#include <algorithm>
#include <climits>
#include <utility>

#include "file/retry.h"
#include "ktb/fio.h"

struct np_file {
public:
    np_file(Descriptor descriptor, bool writable) : writable_(writable), descriptor_(std::move(descriptor)) {}
    np_file(const np_file&) = delete;
    np_file& operator=(const np_file&) = delete;
    ~np_file();

    unsigned long get(void* buffer, unsigned long size);
    unsigned long put(const void* buffer, unsigned long size);
    long position() const { return awayPosition_ >= 0 ? awayPosition_ : base_ + (cursor_ - begin_); }
    void moveTo(long position);
    bool skip(long bytes);  // moves forward, if there are as many bytes in the window

    // What is lent is the rest of the window in the state that it is in; the other state has nothing to lend.
    const unsigned char* view(unsigned long* size) const {
        *size = static_cast<unsigned long>(readLimit_ - cursor_);
        return cursor_;
    }
    unsigned long viewBefore() const { return readLimit_ > cursor_ ? static_cast<unsigned long>(cursor_ - begin_) : 0; }
    unsigned char* lendRoom(unsigned long* size) const {
        *size = static_cast<unsigned long>(writeLimit_ - cursor_);
        return cursor_;
    }
    void fill(unsigned long size) {
        if (size == 0) return;  // perhaps not even in the writing state
        cursor_ += size;
        readLimit_ = cursor_;
    }

    // The size of the file with all that was put; negative when it cannot be found.
    long size();

    // Each returns the first failure of a write, remembered from before or met now, or else its own; 0 when there is none.
    int flush();
    int truncate();
    int close();

    // Advisory locks; each returns an error code of the file layer.
    int hold(bool patient);
    int seize();

    // Sets the size of the first buffer and of the largest; only before the first transfer. A transfer of at least `largest`
    // bytes goes straight to the system, so that with (1, 1) there is no buffer at all: for callers whose transfers are large
    // anyway. Small sizes also let a test reach with few bytes what takes many otherwise.
    void setBufferSizes(unsigned long smallest, unsigned long largest) {
        bytesSmallest_ = smallest;
        bytesLargest_ = largest;
    }

    // For an unbuffered file whose user puts elsewhere what it refused: it may be written to again. Nothing may be dirty.
    void forgetFailure() { error_ = np_ok; }

private:
    using Byte = unsigned char;

    unsigned long getSlowly(Byte* buffer, unsigned long size);
    unsigned long getDirectly(Byte* buffer, unsigned long size);
    unsigned long readAt(Byte* buffer, unsigned long size, unsigned long enough, long offset);
    bool refill(unsigned long need);
    bool isNear(long position) const;
    unsigned long nextStep(bool near, unsigned long need) const;
    unsigned long bytesBefore(long position, unsigned long need) const;

    unsigned long putSlowly(const Byte* buffer, unsigned long size);
    unsigned long putDirectly(const Byte* buffer, unsigned long size);
    unsigned long writeAt(const Byte* buffer, unsigned long size, long offset);
    bool enterWriting();
    bool moveWindowToPut();
    bool writeDirty();
    void settle();

    int lock(int operation);
    int lockPatiently();

    void growTo(unsigned long bytes);
    void startWindowAt(long position);
    unsigned long validBytes() const { return static_cast<unsigned long>(validEnd_ - begin_); }
    unsigned long room() const;
    void remember(int code) {
        if (!error_) error_ = code;
    }

    // The hot members come first and fit a cache line.
    Byte* cursor_ = nullptr;
    Byte* begin_ = nullptr;
    Byte* readLimit_ = nullptr;
    Byte* validEnd_ = nullptr;
    Byte* writeLimit_ = nullptr;
    Byte* writeStart_ = nullptr;  // null unless writing
    long base_ = 0;
    long awayPosition_ = -1;  // negative unless away
    Byte* dirtyBegin_ = nullptr;
    Byte* dirtyEnd_ = nullptr;  // equal to dirtyBegin_ when nothing is dirty
    unsigned long capacity_ = 0;
    unsigned long stepBytes_ = 0;  // what the last refill asked for
    unsigned long bytesSmallest_ = 4096;
    unsigned long bytesLargest_ = largestBuffer;
    int error_ = np_ok;  // the first write that failed
    bool writable_;
    Descriptor descriptor_;

    static constexpr unsigned long growth = 4;
    // Just below the 128 KiB from which on the allocator asks the system for every block, at the price of a fault per page.
    static constexpr unsigned long largestBuffer = 124UL * 1024;
};

// Ends the writing state: what was put since it began becomes valid and dirty.
inline void np_file::settle() {
    if (!writeStart_) return;
    if (cursor_ != writeStart_) {
        const bool clean = dirtyBegin_ == dirtyEnd_;
        dirtyBegin_ = clean ? writeStart_ : std::min(dirtyBegin_, writeStart_);
        dirtyEnd_ = clean ? cursor_ : std::max(dirtyEnd_, cursor_);
        validEnd_ = std::max(validEnd_, cursor_);
    }
    writeStart_ = nullptr;
    readLimit_ = validEnd_;
    writeLimit_ = cursor_;
}

inline void np_file::moveTo(long position) {
    settle();
    // A position before the window becomes a huge number here, so one comparison settles both ends.
    const unsigned long inWindow = static_cast<unsigned long>(position) - static_cast<unsigned long>(base_);
    const bool inside = inWindow <= validBytes();
    awayPosition_ = inside ? -1 : position;
    cursor_ = inside ? begin_ + inWindow : cursor_;
    readLimit_ = inside ? validEnd_ : cursor_;
    writeLimit_ = cursor_;
}

#endif
