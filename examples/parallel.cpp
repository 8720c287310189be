// A table read by several threads at once, each its own part of the rows.
//
//     parallel [THREADS [ROWS]]        (4 threads and 200000 rows when not told otherwise)
//
// Writes a table, splits its rows into as many ranges as there are threads, and has each thread open the table for itself
// through the one manager they share: every second one by a URI that says which rows it wants, the others with the range as
// numbers. Every row carries its number, so that it can be checked that the threads together read all rows, each once. The
// files live in a directory of their own below the system's temporary directory, and are gone at the end.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "example.h"

namespace {

using Table = std::unique_ptr<KtWorkTableFile, Release>;

// One thread's part, and what came of it.
struct Part {
    int number = 0;
    long first = 0;
    long count = 0;
    std::vector<long> rowsRead;  // their numbers, in the order of reading
    std::string failure;
};

constexpr long elementSize = 64L << 10;  // bytes; small, so that even a small table fills several data files

bool complain(const char* what, const KtbString& why) {
    std::fprintf(stderr, "parallel: %s: %s\n", what, why.asCstr());
    return false;
}

bool writeTable(KtWorkTableManager& manager, long rows, KtbString* name) {
    KtbString error;
    const Table table(manager.create(2, elementSize, &error));
    if (!table) return complain("cannot create a work table", error);
    if (!table->defineColumnInfo(0, "number", ktbTypeInteger, 0) || !table->defineColumnInfo(1, "text", ktbTypeString, 0)) {
        return complain("cannot define the columns", table->getError());
    }
    KtbDatavar values[2];
    for (long row = 0; row < rows; ++row) {
        values[0].assign(row);
        values[1].assign(("this is row " + std::to_string(row)).c_str());
        if (!table->writeRow(values)) return complain("cannot write a row", table->getError());
    }
    *name = table->getName();
    return table->close() || complain("cannot close the work table", table->getError());
}

bool split(KtWorkTableManager& manager, const KtbString& name, int threads, std::vector<Part>* parts) {
    KtbString error;
    std::vector<long> ranges(2 * static_cast<std::size_t>(threads));
    if (!manager.partition(name, &threads, ranges.data(), &error)) return complain("cannot split the rows", error);
    for (int i = 0; i < threads; ++i) {
        const std::size_t at = 2 * static_cast<std::size_t>(i);
        parts->push_back({i, ranges[at], ranges[at + 1], {}, {}});
    }
    return true;
}

Table openPart(KtWorkTableManager& manager, const std::string& name, const Part& part, KtbString* error) {
    if (part.number % 2 == 0) {
        const std::string rows = std::to_string(part.first) + "," + std::to_string(part.count);
        const std::string uri = "ktwt:" + name + "?rows=" + rows + "&col=number&col=text";
        return Table(manager.open(uri.c_str(), false, error));
    }
    long range[2] = {part.first, part.count};
    const KtbString* all = nullptr;
    return Table(manager.open(name.c_str(), -1, all, range, false, error));
}

// A thread's work. Everything it uses is its own, but for the manager.
void readPart(KtWorkTableManager* manager, const std::string& name, Part* part) {
    KtbString error;
    const Table table = openPart(*manager, name, *part, &error);
    if (!table) {
        part->failure = error.asCstr();
        return;
    }
    KtbDatavar values[2];
    bool end = false;
    while (table->readRow(values, &end)) part->rowsRead.push_back(values[0].asInt64(nullptr));
    if (!end) part->failure = table->getError().asCstr();
}

void readAll(KtWorkTableManager* manager, const std::string& name, std::vector<Part>* parts) {
    std::vector<std::thread> threads;
    for (Part& part : *parts) threads.emplace_back(readPart, manager, name, &part);
    for (std::thread& thread : threads) thread.join();
}

// Whether the parts together hold the numbers of all rows, each once.
bool isComplete(const std::vector<Part>& parts, long rows) {
    std::vector<int> timesRead(static_cast<std::size_t>(rows));
    for (const Part& part : parts) {
        if (!part.failure.empty()) return complain("cannot read a part", part.failure.c_str());
        std::printf("thread %d read %zu rows from row %ld on\n", part.number, part.rowsRead.size(), part.first);
        for (const long row : part.rowsRead) {
            if (row < 0 || row >= rows) return complain("a row was read that nobody wrote", "");
            ++timesRead[static_cast<std::size_t>(row)];
        }
    }
    for (const int times : timesRead) {
        if (times != 1) return complain("a row was left out or read twice", "");
    }
    return true;
}

bool run(const std::string& directory, int threads, long rows) {
    KtbString error;
    const Manager manager(ktwtCreateManager("", directory.c_str(), &error));
    if (!manager) return complain("cannot make a manager", error);
    KtbString name;
    if (!writeTable(*manager, rows, &name)) return false;
    std::vector<Part> parts;
    if (!split(*manager, name, threads, &parts)) return false;
    readAll(manager.get(), name.asCstr(), &parts);
    if (!isComplete(parts, rows)) return false;
    if (!manager->remove(name, &error)) return complain("cannot remove the work table", error);
    std::printf("Together they read all %ld rows, each once.\n", rows);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const int threads = argc > 1 ? std::atoi(argv[1]) : 4;
    const long rows = argc > 2 ? std::atol(argv[2]) : 200000;
    if (threads < 1 || threads > 1000 || rows < 1) {
        std::fprintf(stderr, "usage: parallel [THREADS [ROWS]]\n");
        return 2;
    }
    const WorkDirectory directory("parallel");
    if (directory.path().empty()) {
        complain("cannot make a directory below", std::filesystem::temp_directory_path().c_str());
        return 1;
    }
    return run(directory.path(), threads, rows) ? 0 : 1;
}
