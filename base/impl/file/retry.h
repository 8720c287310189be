// What the callers of the system calls share: going on after a signal, and a descriptor that closes itself.
#ifndef KTB_IMPL_FILE_RETRY_H
#define KTB_IMPL_FILE_RETRY_H

#include <cerrno>
#include <utility>

#include "file/os_calls.h"

// Makes the call again for as long as a signal interrupts it. Not for close: there the descriptor is gone after the first call.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

// Owns one open descriptor, or none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { close(); }

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }

    // Returns 0, or -1 with the reason in errno. The descriptor is gone in either case. An interruption is no failure: every
    // byte had been handed to the system before.
    int close() {
        if (number_ < 0) return 0;
        const int result = ktb_os_close(std::exchange(number_, -1));
        return result < 0 && errno == EINTR ? 0 : result;
    }

private:
    int number_ = -1;
};

#endif
