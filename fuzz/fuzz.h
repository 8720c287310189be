// What the fuzzers share: an input that is taken apart from the front, a directory in memory, and the ways to say that the
// library broke a promise. A fuzzer is the function LLVMFuzzerTestOneInput in a file of its own; linked with libFuzzer it
// searches, linked with replay.cpp it goes through the inputs that were found before.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ktb/datavar.h"
#include "ktb/string.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

// Ends the program unless the promise is kept.
void require(bool kept, const char* promise);

// Bytes that choose what is done, taken from the front. When there are none left every choice is 0 and every text empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

    std::size_t left() const { return left_; }
    unsigned byte() { return static_cast<unsigned>(number(1)); }
    unsigned below(unsigned end) { return byte() % end; }
    bool flag() { return (byte() & 1) != 0; }

    // A number of so many bytes, the lowest first.
    std::uint64_t number(std::size_t bytes);

    // The next bytes, fewer when the input ends before.
    std::string bytes(std::size_t count);

    // A text of up to 65,535 bytes, after its length in two bytes.
    std::string text() { return bytes(number(2)); }

private:
    const std::uint8_t* at_;
    std::size_t left_;
};

// A directory of this process below TMPDIR, or where that is not set in memory, removed when the process exits.
class Place {
public:
    static Place& get();

    const std::string& path() const { return path_; }
    void put(const std::string& name, const std::string& bytes) const;
    std::string bytesOf(const std::string& name) const;
    std::vector<std::string> names() const;
    void clear() const;

private:
    Place();
    ~Place();
    std::string path_;
};

// Sees to it that what is done while it lives leaves no handle open and costs little: that nothing is read more often than it
// is there. Counts the time of the processor, since a busy machine may let a fuzzer stand still for a minute.
class Watch {
public:
    Watch() : lowestFree_(lowestFree()), begun_(secondsUsed()) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        require(lowestFree() == lowestFree_, "every handle that was opened is closed");
        require(secondsUsed() - begun_ < secondsMax, "no input takes long");
    }

private:
    static constexpr double secondsMax = 3;  // with sanitizers; most take a few thousandths

    static int lowestFree();
    static double secondsUsed();
    const int lowestFree_;
    const double begun_;
};

inline KtbString textOf(const std::string& text) {
    KtbString result;
    result.assign(text.data(), static_cast<int>(text.size()));
    return result;
}

// A value with everything that can be seen of it.
std::string seen(const KtbDatavar& value);

}  // namespace fuzzing

#endif
