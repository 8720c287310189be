// ByteBuffer: bytes that grow at the end. Growth doubles, so that it costs nothing per byte; what cannot be had is a result.
#ifndef KTB_IMPL_SORT_BYTE_BUFFER_H
#define KTB_IMPL_SORT_BYTE_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

class ByteBuffer {
public:
    unsigned char* data() { return data_.get(); }
    const unsigned char* data() const { return data_.get(); }
    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_; }
    void clear() { size_ = 0; }

    // The place after the last byte, with room for `more` bytes; null, with everything as it was, when memory is exhausted. The
    // bytes count once they are taken with grow().
    [[nodiscard]] unsigned char* room(std::size_t more) {
        return more <= capacity_ - size_ || growTo(size_ + more) ? data_.get() + size_ : nullptr;
    }
    void grow(std::size_t bytes) { size_ += bytes; }

    [[nodiscard]] bool put(const void* bytes, std::size_t count) {
        unsigned char* place = room(count);
        if (place == nullptr) return false;
        if (count != 0) std::memcpy(place, bytes, count);
        size_ += count;
        return true;
    }

    void free() {
        data_.reset();
        size_ = capacity_ = 0;
    }

private:
    static constexpr std::size_t smallest = 512;

    bool growTo(std::size_t bytes) {
        const std::size_t capacity = std::max({bytes, 2 * capacity_, smallest});
        std::unique_ptr<unsigned char[]> larger(new (std::nothrow) unsigned char[capacity]);
        if (!larger) return false;
        if (size_ != 0) std::memcpy(larger.get(), data_.get(), size_);
        data_ = std::move(larger);
        capacity_ = capacity;
        return true;
    }

    std::unique_ptr<unsigned char[]> data_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

#endif
