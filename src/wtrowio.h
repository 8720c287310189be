// A data file while rows are taken from it or put into it.
//
// A row is some twenty fields of one to a few dozen bytes. They are moved in the file layer's own buffer, which it lends, so
// that a field costs a comparison and a copy; one that is not in the buffer as a whole goes by np_fio_getb or np_fio_putb, and
// so does everything when nothing is lent. Either way the same bytes move in the same order, and a refusal is met at the same
// field. The file layer learns of what was moved in finish(), or before a call that it has to make: nothing else may use the
// file meanwhile.
#ifndef KTWT_WTROWIO_H
#define KTWT_WTROWIO_H

#include <cstring>

#include "ktb/fio.h"

namespace ktwt {

inline constexpr long indexEntrySize = 8;         // on disk
inline constexpr unsigned long decimalSize = 24;  // on disk, without its flag

// Rows taken one after another. The view is kept from row to row and moved within as long as it reaches, so that a row in it
// costs no call at all; the file's own position lags behind until it is needed.
class RowInput {
public:
    // Begins at the file's position, which is `offset`.
    void start(np_file* file, long offset) {
        file_ = file;
        position_ = offset;
        look();
    }
    bool isStarted() const { return file_ != nullptr; }

    bool get(void* bytes, unsigned long count) {
        if (count > left()) [[unlikely]]
            return getFromFile(bytes, count);
        std::memcpy(bytes, at_, count);
        at_ += count;
        return true;
    }

    // The next bytes where they are; null, with nothing taken, when they are not there as a whole.
    const unsigned char* getInPlace(unsigned long count) {
        if (count > left()) [[unlikely]]
            return nullptr;
        at_ += count;
        return at_ - count;
    }

    bool pass(unsigned long count) {
        if (count > left()) [[unlikely]]
            return passInFile(count);
        at_ += count;
        return true;
    }

    // The place in the file of the byte that comes next.
    long offset() const { return base_ + (at_ - begin_); }

    bool moveTo(long offset) {
        // A place before the view becomes a huge number here, so one comparison settles both ends.
        const unsigned long inView = static_cast<unsigned long>(offset) - static_cast<unsigned long>(base_);
        if (inView > static_cast<unsigned long>(end_ - begin_)) return moveInFile(offset);
        at_ = begin_ + inView;
        return true;
    }

private:
    unsigned long left() const { return static_cast<unsigned long>(end_ - at_); }

    // Borrows the view around the file's position.
    void look() {
        unsigned long size = 0;
        at_ = np_fio_view(file_, &size);
        end_ = at_ + size;
        begin_ = at_ - (size != 0 ? np_fio_view_before(file_) : 0);
        base_ = position_ - (at_ - begin_);
    }

    bool moveFile(long offset) {
        if (offset != position_ && np_fio_seek64(file_, offset, np_from_start) < 0) return false;
        position_ = offset;
        return true;
    }

    bool getFromFile(void* bytes, unsigned long count) {
        if (!moveFile(offset())) return false;
        const unsigned long got = np_fio_getb(file_, bytes, count);
        position_ += static_cast<long>(got);
        look();
        return got == count;
    }

    bool passInFile(unsigned long count) { return moveInFile(offset() + static_cast<long>(count)); }

    bool moveInFile(long offset) {
        if (!moveFile(offset)) return false;
        look();
        return true;
    }

    np_file* file_ = nullptr;
    const unsigned char* begin_ = nullptr;  // begin_ <= at_ <= end_
    const unsigned char* at_ = nullptr;
    const unsigned char* end_ = nullptr;
    long base_ = 0;      // where in the file the view begins
    long position_ = 0;  // the file's own position
};

// The size of a text with its NUL, which stands before it; 0, which no text has, when it could not be read.
template <class Input>
[[gnu::always_inline]] inline unsigned long takeTextSize(Input& in) {
    constexpr unsigned char sizeOfFourBytes = 128;
    unsigned char size[4];
    if (!in.get(size, 1)) return 0;
    if ((size[0] & sizeOfFourBytes) == 0) return size[0];
    if (!in.get(size + 1, 3)) return 0;
    return (size[0] & 127UL) << 24 | static_cast<unsigned long>(size[1]) << 16 | static_cast<unsigned long>(size[2]) << 8 |
           size[3];
}

class RowOutput {
public:
    explicit RowOutput(np_file* file) : file_(file) { look(); }

    bool put(const void* bytes, unsigned long count) {
        if (count > static_cast<unsigned long>(end_ - at_)) [[unlikely]]
            return putToFile(bytes, count);
        std::memcpy(at_, bytes, count);
        at_ += count;
        return true;
    }

    // The number of bytes put so far.
    long given() const { return earlier_ + (at_ - begin_); }

    void finish() {
        earlier_ += at_ - begin_;
        if (at_ != begin_) np_fio_fill(file_, static_cast<unsigned long>(at_ - begin_));
        begin_ = at_;
    }

private:
    void look() {
        unsigned long size = 0;
        begin_ = at_ = np_fio_room(file_, &size);
        end_ = begin_ + size;
    }

    bool putToFile(const void* bytes, unsigned long count) {
        finish();
        const unsigned long stored = np_fio_putb(file_, bytes, count);
        earlier_ += static_cast<long>(stored);
        look();
        return stored == count;
    }

    np_file* file_;
    unsigned char* begin_ = nullptr;  // begin_ <= at_ <= end_
    unsigned char* at_ = nullptr;
    unsigned char* end_ = nullptr;
    long earlier_ = 0;  // put before begin_
};

}  // namespace ktwt

#endif
