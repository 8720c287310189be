#include "fuzz.h"

#include <fcntl.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fuzzing {

void require(bool kept, const char* promise) {
    if (kept) return;
    std::fprintf(stderr, "not kept: %s\n", promise);
    std::abort();
}

std::uint64_t Input::number(std::size_t bytes) {
    std::uint64_t result = 0;
    for (std::size_t i = 0; i < bytes && left_ != 0; ++i, ++at_, --left_) result |= std::uint64_t{*at_} << (8 * i);
    return result;
}

std::string Input::bytes(std::size_t count) {
    count = std::min(count, left_);
    std::string result(reinterpret_cast<const char*>(at_), count);
    at_ += count;
    left_ -= count;
    return result;
}

Place& Place::get() {
    static Place place;
    return place;
}

static const char* parentDirectory() {
    const char* const chosen = std::getenv("TMPDIR");
    if (chosen != nullptr && *chosen != '\0') return chosen;
    return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

Place::Place() : path_(std::string(parentDirectory()) + "/ktwt-fuzz-XXXXXX") {
    require(mkdtemp(path_.data()) != nullptr, "there is room for a temporary directory");
}

Place::~Place() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void Place::put(const std::string& name, const std::string& bytes) const {
    const int file = ::open((path_ + "/" + name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const bool written = file >= 0 && ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    require(written && ::close(file) == 0, "there is room for the input's files");
}

std::string Place::bytesOf(const std::string& name) const {
    std::ifstream in(path_ + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Place::names() const {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) result.push_back(entry.path().filename().string());
    return result;
}

void Place::clear() const {
    for (const std::string& name : names()) ::unlink((path_ + "/" + name).c_str());
}

// The system gives the lowest number that is free, so that any handle left open below shows here.
int Watch::lowestFree() {
    const int handle = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(handle);
    return handle;
}

double Watch::secondsUsed() {
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

std::string seen(const KtbDatavar& value) {
    std::string text(ktbTypeToString(value.type()));
    if (value.isNull()) return text + " null";
    if (value.type() != ktbTypeDouble && value.type() != ktbTypeDate) {
        KtbString scratch;
        return text + " " + value.asString(&scratch).asCstr();
    }
    const double number = value.asDouble(nullptr);
    char bits[sizeof number];
    std::memcpy(bits, &number, sizeof number);
    return text + " " + std::string(bits, sizeof bits);
}

}  // namespace fuzzing
