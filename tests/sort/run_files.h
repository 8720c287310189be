// The sort's files, which have no name any more: found among the open handles of this process.
#ifndef TESTS_SORT_RUN_FILES_H
#define TESTS_SORT_RUN_FILES_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

// A handle of the test's own on a file that is open already.
class OpenFile {
public:
    explicit OpenFile(const std::string& path) : descriptor_(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    bool isOpen() const { return descriptor_ >= 0; }
    struct stat status() const {
        struct stat result = {};
        ::fstat(descriptor_, &result);
        return result;
    }
    long size() const { return status().st_size; }

    // Turns the bits of the mask round in one byte.
    bool flip(long offset, unsigned char mask) const {
        unsigned char byte = 0;
        if (::pread(descriptor_, &byte, 1, offset) != 1) return false;
        byte ^= mask;
        return ::pwrite(descriptor_, &byte, 1, offset) == 1;
    }

    bool cut(long size) const { return ::ftruncate(descriptor_, size) == 0; }

private:
    int descriptor_;
};

// The paths under /proc of the sort's files in that directory. They have been unlinked there.
inline std::vector<std::string> runFiles(const std::string& directory) {
    const std::string start = directory + "/ktsort_";
    std::vector<std::string> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string target = std::filesystem::read_symlink(entry.path(), ignored).string();
        const bool isOurs = target.compare(0, start.size(), start) == 0 && target.ends_with(" (deleted)");
        if (isOurs) files.push_back(entry.path().string());
    }
    return files;
}

// Bytes that the sort's files in that directory take on disk.
inline long bytesOnDisk(const std::string& directory) {
    long bytes = 0;
    for (const std::string& path : runFiles(directory)) bytes += 512 * OpenFile(path).status().st_blocks;
    return bytes;
}

#endif
