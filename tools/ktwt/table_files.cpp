#include "table_files.h"

#include <ktb/fio.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

class FileCollector final : public KtWorkTableFileVisitor {
public:
    explicit FileCollector(std::vector<TableFile>* files) : files_(files) {}
    bool visit(const KtWorkTableFilePart& file) override {
        files_->push_back({file.path, file.kind, file.element, file.rows, file.bytes});
        return true;
    }

private:
    std::vector<TableFile>* files_;
};

// What the names of headers begin with; see docs/format.md.
constexpr std::string_view headerPrefix = "ktwt_";

std::vector<std::string> directoriesOf(KtWorkTableManager& manager) {
    std::vector<std::string> directories;
    const std::string list = textOf(manager.getDirectories());
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(np_dir_listsep, begin), list.size());
        if (end > begin) directories.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return directories;
}

int addName(void* names, const char* name) {
    const bool isHeader = std::string_view(name).substr(0, headerPrefix.size()) == headerPrefix;
    if (isHeader) static_cast<std::vector<std::string>*>(names)->push_back(name);
    return 0;
}

// Adds the headers of one directory but for names that an earlier directory had.
Outcome findIn(const std::string& directory, std::vector<FoundHeader>* headers) {
    std::vector<std::string> names;
    const int code = np_fio_list(directory.c_str(), addName, &names);
    if (code != np_ok) return {Status::unreadable, directory + ": " + np_fio_errdesc(code)};
    for (const std::string& name : names) {
        FoundHeader header{name, directory + "/" + name, 0};
        struct stat status;
        if (lstat(header.path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
        header.modified = status.st_mtime;
        headers->push_back(std::move(header));
    }
    return {};
}

}  // namespace

Outcome findDirectories(KtWorkTableManager& manager) {
    for (const std::string& directory : directoriesOf(manager)) {
        struct stat status;
        if (stat(directory.c_str(), &status) != 0) return {Status::unreadable, directory + ": " + std::strerror(errno)};
    }
    return {};
}

Outcome filesOf(KtWorkTableManager& manager, const std::string& table, std::vector<TableFile>* files) {
    files->clear();
    FileCollector collector(files);
    KtbString error;
    if (ktwtListTableFiles(manager.getDirectories(), table.c_str(), &collector, &error)) return {};
    return libraryFailure(table, error);
}

long bytesOf(const std::vector<TableFile>& files) {
    long bytes = 0;
    for (const TableFile& file : files) bytes += std::max(file.bytes, 0L);
    return bytes;
}

const char* kindName(int kind) {
    switch (kind) {
        case ktwtFileHeader: return "header";
        case ktwtFileData: return "data";
        default: return "index";
    }
}

Outcome findHeaders(KtWorkTableManager& manager, std::vector<FoundHeader>* headers) {
    Outcome first;
    for (const std::string& directory : directoriesOf(manager)) {
        Outcome found = findIn(directory, headers);
        if (first.ok()) first = std::move(found);
    }
    const auto before = [](const FoundHeader& a, const FoundHeader& b) { return a.table < b.table; };
    const auto same = [](const FoundHeader& a, const FoundHeader& b) { return a.table == b.table; };
    std::stable_sort(headers->begin(), headers->end(), before);  // the earlier directory stays in front
    headers->erase(std::unique(headers->begin(), headers->end(), same), headers->end());
    return first;
}
