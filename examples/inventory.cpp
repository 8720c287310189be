// An inventory of a directory tree, kept in a work table.
//
//     inventory [--sort] [DIRECTORY]        (/usr when none is given)
//
// Walks the tree and writes one row per entry, closes the table, and reads it back in four ways: whole, two of its columns, a
// range of its rows, and from last to first. Each pass checks that what is read is what was written. With --sort the table
// sorts the rows on the way in, the largest entries first and those of one size by their path, and each pass checks that too.
// The work table's files live in a directory of their own below the system's temporary directory, and are gone at the end.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "example.h"

namespace fs = std::filesystem;

namespace {

struct Entry {
    std::string path;
    bool isDirectory;
    long size;
    double modified;  // seconds since 1970
};

constexpr long elementSize = 4L << 20;  // bytes; small, so that a usual tree fills several data files

enum Column { columnPath, columnIsDirectory, columnSize, columnModified, columnMebibytes, columnCount };

using Table = std::unique_ptr<KtWorkTableFile, Release>;

bool complain(const std::string& what, const KtbString& why) {
    std::fprintf(stderr, "inventory: %s: %s\n", what.c_str(), why.asCstr());
    return false;
}

// The size in MiB with six places, exactly as a decimal holds it.
KtbReal mebibytes(long bytes) {
    constexpr long mebibyte = 1L << 20;
    const long whole = bytes / mebibyte;
    const long millionths = (bytes % mebibyte * 1000000 + mebibyte / 2) / mebibyte;
    char text[64];
    std::snprintf(text, sizeof text, "%ld.%06ld", whole + millionths / 1000000, millionths % 1000000);
    KtbReal result;
    result.assign(text);
    return result;
}

// The order of the sorted table: by size, descending, then by path. No two entries are equal in it.
bool comesFirst(const Entry& a, const Entry& b) { return a.size != b.size ? a.size > b.size : a.path < b.path; }

void addEntry(const fs::path& path, std::vector<Entry>* entries) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) return;  // gone between the listing and the look
    const double modified = static_cast<double>(status.st_mtim.tv_sec) + static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
    entries->push_back({path.string(), S_ISDIR(status.st_mode), static_cast<long>(status.st_size), modified});
}

bool walk(const std::string& root, std::vector<Entry>* entries) {
    std::error_code error;
    fs::recursive_directory_iterator position(root, fs::directory_options::skip_permission_denied, error);
    if (error) return complain(root, KtbString(error.message().c_str()));
    for (; position != fs::recursive_directory_iterator(); position.increment(error)) {
        if (error) break;  // the tree changes under our feet; what was seen so far is inventory enough
        addEntry(position->path(), entries);
    }
    return true;
}

bool defineColumns(KtWorkTableFile& table) {
    return table.defineColumnInfo(columnPath, "path", ktbTypeString, 0) &&
           table.defineColumnInfo(columnIsDirectory, "is_directory", ktbTypeBoolean, 0) &&
           table.defineColumnInfo(columnSize, "size", ktbTypeInteger, 0) &&
           table.defineColumnInfo(columnModified, "modified", ktbTypeDate, 0) &&
           table.defineColumnInfo(columnMebibytes, "mebibytes", ktbTypeDecimal, 0);
}

void fill(const Entry& entry, KtbDatavar* row) {
    row[columnPath].assign(entry.path.c_str());
    row[columnIsDirectory].assign(entry.isDirectory);
    row[columnSize].assign(entry.size);
    row[columnModified].assign(KtbDate(entry.modified));
    row[columnMebibytes].assign(mebibytes(entry.size));
}

// The same order, told to the table.
void setSortKeys(KtWorkTableFile& table) {
    table.setSort(0, columnSize, true, nullptr);
    table.setSort(1, columnPath, false, nullptr);
}

bool writeTable(KtWorkTableManager& manager, const std::vector<Entry>& entries, bool sorted, std::string* name) {
    KtbString error;
    const Table table(manager.create(columnCount, sorted ? 2 : 0, elementSize, &error));
    if (!table) return complain("cannot create a work table", error);
    if (!defineColumns(*table)) return complain("cannot define the columns", table->getError());
    if (sorted) setSortKeys(*table);
    KtbDatavar row[columnCount];
    for (const Entry& entry : entries) {
        fill(entry, row);
        if (!table->writeRow(row)) return complain("cannot write " + entry.path, table->getError());
    }
    *name = table->getName().asCstr();
    return table->close() || complain("cannot close the work table", table->getError());
}

bool sameText(const KtbDatavar& value, const std::string& text) {
    return value.type() == ktbTypeString && value.asString().compare(text.c_str(), true) == 0;
}

bool sameSize(const KtbDatavar& value, long size) {
    bool err = false;
    return value.type() == ktbTypeInteger && value.asInt64(&err) == size && !err;
}

bool sameEntry(const KtbDatavar* row, const Entry& entry) {
    bool err = false;
    const bool same = sameText(row[columnPath], entry.path) && row[columnIsDirectory].asBool(&err) == entry.isDirectory &&
                      sameSize(row[columnSize], entry.size) && row[columnModified].asDate().asDouble() == entry.modified &&
                      row[columnMebibytes].asReal(&err).compare(mebibytes(entry.size)) == 0;
    return same && !err;
}

// Reads all the rows of an open table and has each compared with the entry it was made of. `indexOf` says which that is for the
// n-th row of the pass.
bool readPass(KtWorkTableFile* opened, std::size_t rowsExpected, const std::function<std::size_t(std::size_t)>& indexOf,
              const std::function<bool(const KtbDatavar*, std::size_t)>& same, const KtbString& openError) {
    const Table table(opened);
    if (!table) return complain("cannot open the work table", openError);
    KtbDatavar row[columnCount];
    bool end = false;
    std::size_t rows = 0;
    while (table->readRow(row, &end)) {
        if (rows >= rowsExpected || !same(row, indexOf(rows)))
            return complain("a row read is not the row written", KtbString());
        ++rows;
    }
    if (!end) return complain("cannot read", table->getError());
    return rows == rowsExpected || complain("rows are missing", KtbString());
}

// Runs a pass and prints how fast it was.
bool timed(const char* what, std::size_t rows, const std::function<bool()>& pass) {
    const auto start = std::chrono::steady_clock::now();
    if (!pass()) return false;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("  %-32s %9zu rows %11.0f rows/s\n", what, rows, static_cast<double>(rows) / std::max(seconds.count(), 1e-9));
    return true;
}

bool readTable(KtWorkTableManager& manager, const std::string& name, const std::vector<Entry>& entries) {
    KtbString error;
    const std::size_t rows = entries.size();
    const auto inOrder = [](std::size_t n) { return n; };
    const auto whole = [&](const KtbDatavar* row, std::size_t n) { return sameEntry(row, entries[n]); };

    const auto readWhole = [&] { return readPass(manager.open(name.c_str(), false, &error), rows, inOrder, whole, error); };
    const auto readTwoColumns = [&] {
        const KtbString columns[] = {"size", "path"};
        const auto same = [&](const KtbDatavar* row, std::size_t n) {
            return sameSize(row[0], entries[n].size) && sameText(row[1], entries[n].path);
        };
        return readPass(manager.open(name.c_str(), 2, columns, nullptr, false, &error), rows, inOrder, same, error);
    };
    const std::size_t first = rows / 4;
    const std::size_t count = rows / 2;
    const auto readRange = [&] {
        long range[2] = {static_cast<long>(first), static_cast<long>(count)};
        const KtbString* all = nullptr;
        const auto fromFirst = [=](std::size_t n) { return first + n; };
        return readPass(manager.open(name.c_str(), -1, all, range, false, &error), count, fromFirst, whole, error);
    };
    const auto readReversed = [&] {
        const auto backwards = [=](std::size_t n) { return rows - 1 - n; };
        return readPass(manager.open(name.c_str(), true, &error), rows, backwards, whole, error);
    };
    return timed("read, all columns", rows, readWhole) && timed("read, two columns", rows, readTwoColumns) &&
           timed("read, half of the rows", count, readRange) && timed("read, last to first", rows, readReversed);
}

void reportFiles(const std::string& directory) {
    std::uintmax_t total = 0;
    std::vector<std::pair<std::string, std::uintmax_t>> files;
    for (const auto& file : fs::directory_iterator(directory)) {
        files.emplace_back(file.path().filename().string(), file.file_size());
        total += file.file_size();
    }
    std::sort(files.begin(), files.end());
    std::printf("\nFiles written to %s: %zu, %ju bytes\n", directory.c_str(), files.size(), total);
    for (const auto& [name, size] : files) std::printf("  %12ju  %s\n", size, name.c_str());
}

void reportLargest(std::vector<Entry> entries) {
    entries.erase(std::remove_if(entries.begin(), entries.end(), [](const Entry& entry) { return entry.isDirectory; }),
                  entries.end());
    const std::size_t shown = std::min<std::size_t>(10, entries.size());
    std::partial_sort(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(shown), entries.end(), comesFirst);
    std::printf("\nThe %zu largest files\n", shown);
    for (std::size_t i = 0; i < shown; ++i) {
        std::printf("  %14s MiB  %s\n", mebibytes(entries[i].size).asString().asCstr(), entries[i].path.c_str());
    }
}

bool makeInventory(const std::string& root, bool sorted) {
    std::vector<Entry> entries;
    if (!walk(root, &entries)) return false;
    std::printf("Inventory of %s: %zu entries\n", root.c_str(), entries.size());

    const WorkDirectory directory("inventory");
    if (directory.path().empty()) return complain("cannot make a directory for the work table", KtbString());
    KtbString error;
    const Manager manager(ktwtCreateManager("", directory.path().c_str(), &error));
    if (!manager) return complain("cannot make a manager", error);

    std::string name;
    const auto write = [&] { return writeTable(*manager, entries, sorted, &name); };
    if (!timed(sorted ? "write, sorted" : "write", entries.size(), write)) return false;
    if (sorted) std::sort(entries.begin(), entries.end(), comesFirst);  // now the n-th entry is the table's n-th row
    if (!readTable(*manager, name, entries)) return false;
    reportFiles(directory.path());
    reportLargest(entries);
    if (!manager->remove(name.c_str(), &error)) return complain("cannot remove the work table", error);
    std::printf("\nAll passes read what was written.\n");
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    static constexpr char usage[] =
        "usage: inventory [--sort] [DIRECTORY]\n"
        "Lists a directory tree (/usr) in a work table and reads it back.\n"
        "  --sort   have the table sort its rows: by size, the largest first, then by path\n";
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::printf("%s", usage);
        return 0;
    }
    const bool sorted = argc > 1 && std::strcmp(argv[1], "--sort") == 0;
    const int directoryAt = sorted ? 2 : 1;
    if (argc > directoryAt + 1 || (argc > directoryAt && std::strncmp(argv[directoryAt], "--", 2) == 0)) {
        std::fprintf(stderr, "%s", usage);
        return 2;
    }
    return makeInventory(argc > directoryAt ? argv[directoryAt] : "/usr", sorted) ? 0 : 1;
}
