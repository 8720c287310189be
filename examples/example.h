// What the examples share: objects of the library that are released when they go out of scope, and a directory of their own.
#ifndef KTWT_EXAMPLES_EXAMPLE_H
#define KTWT_EXAMPLES_EXAMPLE_H

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>

#include "ktwt/ktwt.h"

struct Release {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};
using Manager = std::unique_ptr<KtWorkTableManager, Release>;

// A directory below the system's temporary directory, gone with the object.
class WorkDirectory {
public:
    explicit WorkDirectory(const std::string& name) {
        path_ = (std::filesystem::temp_directory_path() / (name + "-XXXXXX")).string();
        if (mkdtemp(path_.data()) == nullptr) path_.clear();
    }
    WorkDirectory(const WorkDirectory&) = delete;
    WorkDirectory& operator=(const WorkDirectory&) = delete;
    ~WorkDirectory() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    const std::string& path() const { return path_; }
    bool isEmpty() const { return std::filesystem::is_empty(path_); }

private:
    std::string path_;
};

#endif
