// What sorting rows on the way into a table costs, from the first row written to the last row read. Contenders may all use the
// same memory and threads, but for the one that keeps all rows in memory, with one thread. They use threads and processes of
// their own, so the time that counts is the one on the clock. Each makes the rows anew, which is counted for all but GNU sort;
// it gets a text file ready made, and is done when it has written another. The others hand all values of all rows to the check.
#include "sort_bench.h"

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "child_process.h"
#include "rows.h"
#include "sort_peers.h"
#include "sort_rows.h"
#include "sqlite_peer.h"

namespace bench {

namespace {

constexpr int quantityColumn = 1;
constexpr int nameColumn = 5;
constexpr double mebibyte = 1 << 20;

// In place of the name of a table that could not be made.
const KtbString nothing(static_cast<const char*>(nullptr));

// Null when it could not be made.
Manager newSortingManager() {
    Manager manager = newManager("sort");
    if (manager && manager->setSortSize(static_cast<unsigned long>(sortMemory)) && manager->setSortProcessors(sortThreads)) {
        return manager;
    }
    return nullptr;
}

bool describe(KtWorkTableFile& table, KtDatafileSortInfo* info) {
    for (int c = 0; c < columns; ++c) {
        if (!table.defineColumnInfo(c, sketch[c].name, sketch[c].type, 0)) return false;
    }
    return table.setSort(0, nameColumn, false, nullptr) == 0 && table.setSort(1, quantityColumn, true, nullptr) == 0 &&
           table.setSortInfo(info) == 0;
}

void assignText(KtbDatavar* value, std::string_view text) { value->assign(text.data(), static_cast<int>(text.size())); }

void fill(const SortRow& row, KtbDatavar* values) {
    values[0].assign(row.id);
    values[quantityColumn].assign(row.quantity);
    values[2].assign(row.active);
    values[3].assign(priceOf(row.cents));
    values[4].assign(KtbDate(row.moment));
    assignText(&values[nameColumn], row.name);
    assignText(&values[6], row.code);
    assignText(&values[7], row.remark);  // no data: a null
}

std::string_view textOf(const KtbDatavar& value, KtbString* scratch) {
    if (value.isNull()) return {};
    const KtbString& text = value.asString(scratch);
    return {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)};
}

// A value of another type than its column's would need the scratch; the check then finds the row wrong.
SortRow plain(const KtbDatavar* values, KtbString* scratch) {
    return {values[0].asInt64(nullptr),  values[quantityColumn].asInt64(nullptr),
            values[2].asBool(nullptr),   centsOf(values[3].asReal(nullptr)),
            values[4].asDouble(nullptr), textOf(values[nameColumn], scratch),
            textOf(values[6], scratch),  textOf(values[7], scratch)};
}

// Returns the name of the table, `nothing` when anything failed.
KtbString writeSorted(KtWorkTableManager& manager, long count, KtDatafileSortInfo* info) {
    KtbString error;
    const Table table(manager.create(columns, 2, 0, &error));
    if (!table || !describe(*table, info)) return nothing;
    SortRows source(count);
    KtbDatavar values[columns];
    for (long n = 0; n < count; ++n) {
        fill(source.next(), values);
        if (!table->writeRow(values)) return nothing;
    }
    return table->close() ? table->getName() : nothing;
}

bool readSorted(KtWorkTableManager& manager, const KtbString& name, SortCheck* check) {
    KtbString error;
    const Table table(manager.open(name, false, &error));
    if (!table) return false;
    KtbDatavar values[columns];
    KtbString scratch;
    bool end = false;
    while (table->readRow(values, &end)) check->take(plain(values, &scratch));
    return end;
}

// Tells of rows that were lost or are not in order; not to be called while the clock stands still.
void countRows(benchmark::State& state, bool right) {
    if (!right) state.SkipWithError("the rows are not sorted");
    state.SetItemsProcessed(state.iterations() * sortedRowCount());
}

void sortTable(benchmark::State& state) {
    const Manager manager = newSortingManager();
    KtDatafileSortInfo info = {};
    bool right = manager != nullptr;
    for (auto _ : state) {
        SortCheck check;
        const KtbString name = right ? writeSorted(*manager, sortedRowCount(), &info) : nothing;
        right = !name.isNull() && readSorted(*manager, name, &check);
        state.PauseTiming();
        KtbString error;
        right = right && check.isRight(sortedRowCount()) && manager->remove(name, &error);
        state.ResumeTiming();
    }
    countRows(state, right);
}

void sortGnu(benchmark::State& state) {
    static const std::string rows = directory("sort") + "/rows.text";
    static const bool written = writeAsText(rows, sortedRowCount());
    const std::string sorted = directory("sort") + "/sorted.text";
    bool right = written;
    for (auto _ : state) {
        right = right && sortText(rows, sorted, directory("sort"));
        state.PauseTiming();
        SortCheck check;
        right = right && checkText(sorted, &check) && check.isRight(sortedRowCount());
        std::filesystem::remove(sorted);
        state.ResumeTiming();
    }
    countRows(state, right);
}

void sortSqlite(benchmark::State& state) {
    const std::string path = directory("sort") + "/peer.sqlite";
    bool right = true;
    for (auto _ : state) {
        SortCheck check;
        right = right && sortSqlite(path, sortedRowCount(), &check);
        state.PauseTiming();
        right = right && check.isRight(sortedRowCount());
        std::filesystem::remove(path);
        state.ResumeTiming();
    }
    countRows(state, right);
}

void sortStable(benchmark::State& state) {
    bool right = true;
    for (auto _ : state) {
        SortCheck check;
        std::vector<DecodedRow> rows;
        sortInMemory(sortedRowCount(), &rows, &check);
        state.PauseTiming();
        right = right && check.isRight(sortedRowCount());
        rows = {};
        state.ResumeTiming();
    }
    countRows(state, right);
}

// One is enough: it takes seconds, and the repetitions are what is compared.
BENCHMARK(sortTable)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(sortGnu)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(sortSqlite)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(sortStable)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

// What a program that only sorts tells of itself, in this order.
struct Figures {
    double seconds = 0;
    double userSeconds = 0;    // of all its threads
    double systemSeconds = 0;  // likewise, for the most part spent on writing to and reading from files
    long peakKibibytes = 0;    // of its resident memory
    long runs = 0;
    long passes = 0;
    long spilledBytes = 0;
};

// The most memory that this program ever had resident, in KiB. Asked of the system in this way because a process that is
// started by a large one counts, in ru_maxrss, its parent's memory as its own.
long peakResident() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long kibibytes = 0;
        if (word == "VmHWM:" && status >> kibibytes) return kibibytes;
    }
    return 0;
}

double secondsOf(const timeval& time) { return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6; }

bool runSortOnce(long count, Figures* figures) {
    const std::string output = directory("sort") + "/figures";
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    if (!runProgram({self, "--sort-once=" + std::to_string(count)}, {}, output)) return false;
    std::ifstream file(output);
    file >> figures->seconds >> figures->userSeconds >> figures->systemSeconds;
    file >> figures->peakKibibytes >> figures->runs >> figures->passes >> figures->spilledBytes;
    return !file.fail();
}

void printGrowth(long count, const Figures& figures) {
    const double rows = static_cast<double>(count);
    const double nanoseconds = figures.seconds * 1e9 / rows;
    std::printf("  %10ld %9.2f %9.2f %9.2f %11.0f %13.2f %6ld %7ld %12.0f %9.0f\n", count, figures.seconds, figures.userSeconds,
                figures.systemSeconds, nanoseconds, nanoseconds / std::log2(rows), figures.runs, figures.passes,
                static_cast<double>(figures.spilledBytes) / mebibyte, static_cast<double>(figures.peakKibibytes) / 1024);
    std::fflush(stdout);
}

}  // namespace

bool sortOnce(long count) {
    const Manager manager = newSortingManager();
    if (!manager) return false;
    KtDatafileSortInfo info = {};
    SortCheck check;
    const auto start = std::chrono::steady_clock::now();
    const KtbString name = writeSorted(*manager, count, &info);
    if (name.isNull() || !readSorted(*manager, name, &check)) return false;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    std::printf("%.6f %.6f %.6f %ld %ld %ld %ld\n", seconds.count(), secondsOf(usage.ru_utime), secondsOf(usage.ru_stime),
                peakResident(), info.runs, info.mergePasses, info.bytesSpilled);
    return check.isRight(count);
}

bool printSortMemory(long count) {
    Figures figures;
    if (!runSortOnce(count, &figures)) return false;
    std::printf("  %-40s %6.0f   (at most %ld)\n", "sort, peak resident memory in MiB",
                static_cast<double>(figures.peakKibibytes) / 1024, (sortMemory >> 20) + 64);
    return true;
}

bool printSortCurve(long count) {
    std::printf("Growth of the sort (%d threads, %ld MiB)\n", sortThreads, sortMemory >> 20);
    std::printf("  %10s %9s %9s %9s %11s %13s %6s %7s %12s %9s\n", "rows", "seconds", "user", "system", "ns per row",
                "/ log2(rows)", "runs", "passes", "spilled MiB", "peak MiB");
    for (const long rows : {count / 10, count, count * 10}) {
        Figures figures;
        if (!runSortOnce(rows, &figures)) return false;
        printGrowth(rows, figures);
    }
    return true;
}

}  // namespace bench
