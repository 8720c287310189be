// A directory of the test's own, gone with the object.
#ifndef TESTS_SUPPORT_TEMP_DIRECTORY_H
#define TESTS_SUPPORT_TEMP_DIRECTORY_H

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

class TempDirectory {
public:
    TempDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ktwt-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary directory");
        path_ = pattern;
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

    // A directory below this one, made when it is not there.
    std::string directory(const std::string& name) const {
        std::filesystem::create_directories(file(name));
        return file(name);
    }

    // The names of the files here, sorted.
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) result.push_back(entry.path().filename().string());
        std::sort(result.begin(), result.end());
        return result;
    }

    // The names that begin with the prefix, sorted.
    std::vector<std::string> names(const std::string& prefix) const {
        std::vector<std::string> result;
        for (const std::string& name : names()) {
            if (name.compare(0, prefix.size(), prefix) == 0) result.push_back(name);
        }
        return result;
    }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

// The number of handles that this process has open.
inline std::size_t openHandles() {
    const std::filesystem::directory_iterator handles("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(handles), end(handles)));
}

#endif
