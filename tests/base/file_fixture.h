// What the tests of the file layer share: a directory of their own, files made and read without the layer, and handles.
#ifndef TESTS_BASE_FILE_FIXTURE_H
#define TESTS_BASE_FILE_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "ktb/fio.h"

class FileTest : public testing::Test {
protected:
    FileTest() {
        std::string name = (std::filesystem::temp_directory_path() / "ktb_file_XXXXXX").string();
        if (mkdtemp(name.data())) directory_ = name;
        handlesBefore_ = openHandles();
    }
    ~FileTest() override {
        std::error_code ignored;  // a directory left behind fails no test
        if (!directory_.empty()) std::filesystem::remove_all(directory_, ignored);
    }
    void SetUp() override { ASSERT_FALSE(directory_.empty()); }
    void TearDown() override { EXPECT_EQ(openHandles(), handlesBefore_); }

    std::string path(const std::string& name) const { return directory_ + "/" + name; }

    std::string makeFile(const std::string& name, const std::string& bytes = "") const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    static std::string bytesOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    static np_file* open(const std::string& path, int mode) {
        np_file* file = nullptr;
        EXPECT_EQ(np_fio_open(path.c_str(), mode, &file), np_ok) << path;
        return file;
    }

    static unsigned long put(np_file* file, const std::string& bytes) { return np_fio_putb(file, bytes.data(), bytes.size()); }

    static std::string get(np_file* file, unsigned long size) {
        std::string bytes(size, '\0');
        bytes.resize(np_fio_getb(file, bytes.data(), size));
        return bytes;
    }

    // The number of entries in the directory that a test writes to.
    long filesInDirectory() const {
        return std::distance(std::filesystem::directory_iterator(directory_), std::filesystem::directory_iterator());
    }

    static long openHandles() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
    }

    // Bytes that differ from their neighbours and from those a page away.
    static std::string patternOf(unsigned long size) {
        std::string bytes(size, '\0');
        for (unsigned long i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 251);
        return bytes;
    }

    std::string directory_;
    long handlesBefore_ = 0;
};

#endif
