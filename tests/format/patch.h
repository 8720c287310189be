// A file that is damaged again and again, without being made anew each time.
#ifndef TESTS_FORMAT_PATCH_H
#define TESTS_FORMAT_PATCH_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support/temp_directory.h"

// Changes bytes of a file where they stand, and puts them back.
class Patch {
public:
    explicit Patch(const std::string& path) : bytes_(readFile(path)), handle_(::open(path.c_str(), O_WRONLY)) {
        EXPECT_GE(handle_, 0);
    }
    Patch(const Patch&) = delete;
    Patch& operator=(const Patch&) = delete;
    ~Patch() { ::close(handle_); }

    std::size_t size() const { return bytes_.size(); }
    void put(std::size_t offset, unsigned char byte) const {
        EXPECT_EQ(pwrite(handle_, &byte, 1, static_cast<off_t>(offset)), 1);
    }
    void cut(std::size_t size) const { EXPECT_EQ(ftruncate(handle_, static_cast<off_t>(size)), 0); }
    void replace(const std::string& bytes) const {
        EXPECT_EQ(pwrite(handle_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        cut(bytes.size());
    }
    void restore() const { replace(bytes_); }

private:
    const std::string bytes_;
    const int handle_;
};

#endif
