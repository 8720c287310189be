// The calls that a row makes by the dozen: get, put and seek inside the window.
#include <cstdint>
#include <cstring>

#include "file/file.h"

namespace {

// Copies through two words that may overlap, which serves every size from one word to two.
template <typename Word>
inline void copyTwo(unsigned char* to, const unsigned char* from, unsigned long size) {
    Word first;
    Word last;
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + size - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + size - sizeof last, &last, sizeof last);
}

struct Word16 {
    std::uint64_t half[2];
};

// Kept apart, so that the short copies need no stack frame.
[[gnu::noinline]] unsigned long copyMany(unsigned char* to, const unsigned char* from, unsigned long size) {
    std::memcpy(to, from, size);
    return size;
}

// Lengths, flags, numbers and short texts are copied without a call. Returns the size.
inline unsigned long copyBytes(unsigned char* to, const unsigned char* from, unsigned long size) {
    if (size == sizeof(std::uint64_t)) {
        std::memcpy(to, from, sizeof(std::uint64_t));
    } else if (size == 1) {
        *to = *from;
    } else if (size > 32) {
        return copyMany(to, from, size);
    } else if (size >= 16) {
        copyTwo<Word16>(to, from, size);
    } else if (size > 8) {
        copyTwo<std::uint64_t>(to, from, size);
    } else if (size >= 4) {
        copyTwo<std::uint32_t>(to, from, size);
    } else if (size >= 2) {
        copyTwo<std::uint16_t>(to, from, size);
    }
    return size;
}

}  // namespace

inline unsigned long np_file::get(void* buffer, unsigned long size) {
    const Byte* from = cursor_;
    if (size > static_cast<unsigned long>(readLimit_ - from)) [[unlikely]]
        return getSlowly(static_cast<Byte*>(buffer), size);
    // The closed direction's limit goes along, so that neither limit is ever behind the cursor.
    cursor_ += size;
    writeLimit_ = cursor_;
    return copyBytes(static_cast<Byte*>(buffer), from, size);
}

inline unsigned long np_file::put(const void* buffer, unsigned long size) {
    Byte* to = cursor_;
    if (size > static_cast<unsigned long>(writeLimit_ - to)) [[unlikely]] {
        return putSlowly(static_cast<const Byte*>(buffer), size);
    }
    cursor_ += size;
    readLimit_ = cursor_;
    return copyBytes(to, static_cast<const Byte*>(buffer), size);
}

// The step over a column that nobody wants. Only the reading state has bytes before its limit to step over.
inline bool np_file::skip(long bytes) {
    if (static_cast<unsigned long>(bytes) - 1 >= static_cast<unsigned long>(readLimit_ - cursor_)) return false;
    cursor_ += bytes;
    writeLimit_ = cursor_;
    return true;
}

extern "C" unsigned long np_fio_getb(np_file* file, void* buffer, unsigned long size) { return file->get(buffer, size); }

extern "C" unsigned long np_fio_putb(np_file* file, const void* buffer, unsigned long size) { return file->put(buffer, size); }

extern "C" const unsigned char* np_fio_view(np_file* file, unsigned long* size) { return file->view(size); }

extern "C" unsigned long np_fio_view_before(np_file* file) { return file->viewBefore(); }

extern "C" unsigned char* np_fio_room(np_file* file, unsigned long* size) { return file->lendRoom(size); }

extern "C" void np_fio_fill(np_file* file, unsigned long size) { file->fill(size); }

extern "C" long np_fio_seek64(np_file* file, long offset, int origin) {
    long from = 0;
    if (origin == np_from_current) {
        if (file->skip(offset)) return file->position();
        from = file->position();
        if (offset == 0) return from;
    } else if (origin == np_from_end) {
        from = file->size();
        if (from < 0) return -1;
    } else if (origin != np_from_start) {
        return -1;
    }
    long target;
    if (__builtin_add_overflow(from, offset, &target) || target < 0) return -1;
    file->moveTo(target);
    return target;
}

extern "C" int np_fio_trunc(np_file* file) { return file->truncate(); }

extern "C" int np_fio_bufmode(np_file* file, int mode) { return mode == 0 ? file->flush() : np_err_invalid; }
