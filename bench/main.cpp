// Runs the benches and prints, below Google Benchmark's own table, the ratios that say how the library does.
//
//     ktwt_bench [--rows=N] [--benchmark_...]        2,000,000 rows, 5,000,000 where they are sorted, when not told otherwise
//     ktwt_bench [--rows=N] --sort-curve             sorts N / 10, N and N * 10 rows: how the cost grows
//     ktwt_bench --sort-once=N                       sorts N rows and prints bare figures; see sort_bench.cpp
//
// Only the sorting ones: --benchmark_filter=^sort
//
// Figures of this machine at this moment mean little; a ratio of two benches of one run means something. Repetitions are
// interleaved, so that a slow moment of the machine hits both sides, and the median of each side counts. What has no other side
// is printed behind the ratios, as the speed it is. Times are of the processor, and of the clock where threads or other
// programs work as well.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "rows.h"
#include "sort_bench.h"

namespace {

// Remembers the time of each repetition of each bench, and its speed when it tells one.
class Times : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                const bool byClock = run.run_name.time_type == "real_time";
                times_[run.run_name.function_name].push_back(byClock ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
                const auto speed = run.counters.find("bytes_per_second");
                if (speed != run.counters.end()) speeds_[run.run_name.function_name].push_back(speed->second);
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // 0 when the bench did not run.
    double median(const std::string& bench) { return medianOf(&times_[bench]); }

    // Bytes per second; 0 when the bench did not run or tells none.
    double medianSpeed(const std::string& bench) { return medianOf(&speeds_[bench]); }

private:
    static double medianOf(std::vector<double>* values) {
        if (values->empty()) return 0;
        std::sort(values->begin(), values->end());
        return (*values)[values->size() / 2];
    }

    std::map<std::string, std::vector<double>> times_;
    std::map<std::string, std::vector<double>> speeds_;
};

struct Ratio {
    const char* what;
    const char* faster;  // the ratio is this bench's speed over
    const char* slower;  // this one's
    const char* wanted;
};

constexpr Ratio ratios[] = {
    {"row write, of the speed by hand", "writeRows", "writeRowsByHand", "at least 0.6"},
    {"row write, times SQLite", "writeRows", "writeRowsSqlite", "at least 5"},
    {"full read, of the speed by hand", "readRows", "readRowsByHand", "at least 0.6"},
    {"full read, times SQLite", "readRows", "readRowsSqlite", "at least 3"},
    {"reversed read, of the speed forwards", "readReversed", "readRows", "at least 0.8"},
    {"two of eight columns, times all", "readTwoColumns", "readRows", "at least 1.5"},
    {"open at a row, of the speed by hand", "openAtRow", "openAtRowByHand", "at least 0.5"},
    {"cursor pass, of the speed of readRow", "cursorPass", "cursorReadRow", "at least 0.5"},
    {"string cursor over texts, of readRow", "stringCursorTexts", "textReadRow", "at least 0.33"},
    {"string cursor over all types, of readRow", "stringCursorMixed", "cursorReadRow", "at least 0.33"},
    {"copy, times a read and a write", "copyTable", "readThenWriteTable", "at least 1"},
    {"sort, times GNU sort", "sortTable", "sortGnu", "at least 1.3"},
    {"sort, times SQLite", "sortTable", "sortSqlite", "at least 4"},
    {"sort, of the speed of std::stable_sort", "sortTable", "sortStable", "at least 0.8"},
    {"100 rows to a large table, of a small", "appendToLarge", "appendToSmall", "about 1"},
};

// What has no other side to be compared with.
struct Speed {
    const char* what;
    const char* bench;
    const char* wanted;
};

constexpr Speed speeds[] = {
    {"XML of short texts, MB per second", "readXml", "at least 100"},
};

void printSpeeds(Times* times) {
    for (const Speed& speed : speeds) {
        const double bytesPerSecond = times->medianSpeed(speed.bench);
        if (bytesPerSecond > 0) std::printf("  %-40s %6.0f   (%s)\n", speed.what, bytesPerSecond / 1e6, speed.wanted);
    }
}

void printRatios(Times* times) {
    std::printf("\nRatios (medians of one run, %ld rows, %ld where they are sorted)\n", bench::rowCount(),
                bench::sortedRowCount());
    for (const Ratio& ratio : ratios) {
        const double own = times->median(ratio.faster);
        const double other = times->median(ratio.slower);
        if (own > 0 && other > 0) std::printf("  %-40s %6.2f   (%s)\n", ratio.what, other / own, ratio.wanted);
    }
}

// What the command line asks for besides what Google Benchmark knows.
struct Wanted {
    long rows = 0;      // 0: as it is without
    long sortOnce = 0;  // 0: not asked for
    bool sortCurve = false;
};

// Reads the number of rows behind an option's name; false when it is none.
bool readRows(const char* text, long* rows) {
    char* rest = nullptr;
    *rows = std::strtol(text, &rest, 10);
    return *rest == 0 && *rows >= 100;
}

// Whether `argument` is one of ours; *good becomes false when it makes no sense.
bool takeArgument(const char* argument, Wanted* wanted, bool* good) {
    static constexpr char rows[] = "--rows=";
    static constexpr char once[] = "--sort-once=";
    if (std::strncmp(argument, rows, sizeof rows - 1) == 0) {
        *good = *good && readRows(argument + sizeof rows - 1, &wanted->rows);
        return true;
    }
    if (std::strncmp(argument, once, sizeof once - 1) == 0) {
        *good = *good && readRows(argument + sizeof once - 1, &wanted->sortOnce);
        return true;
    }
    if (std::strcmp(argument, "--sort-curve") != 0) return false;
    return wanted->sortCurve = true;
}

// Takes what is ours out of the arguments; false when a number is none.
bool takeArguments(std::vector<char*>* arguments, Wanted* wanted) {
    bool good = true;
    const auto ours = [&](const char* argument) { return takeArgument(argument, wanted, &good); };
    arguments->erase(std::remove_if(arguments->begin() + 1, arguments->end(), ours), arguments->end());
    return good;
}

int statusOf(bool sorted) {
    if (!sorted) std::fprintf(stderr, "ktwt_bench: the rows could not be sorted\n");
    return sorted ? 0 : 1;
}

int runBenches(std::vector<char*> arguments) {
    std::string repetitions = "--benchmark_repetitions=5";
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, {repetitions.data(), interleaved.data()});  // later arguments win
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
    Times times;
    benchmark::RunSpecifiedBenchmarks(&times);
    printRatios(&times);
    printSpeeds(&times);
    return times.median("sortTable") > 0 ? statusOf(bench::printSortMemory(bench::sortedRowCount())) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    Wanted wanted;
    if (!takeArguments(&arguments, &wanted)) {
        std::fprintf(stderr, "ktwt_bench: --rows and --sort-once take a number of at least 100\n");
        return 2;
    }
    if (wanted.rows > 0) bench::setRowCount(wanted.rows);
    if (wanted.sortOnce > 0) return statusOf(bench::sortOnce(wanted.sortOnce));
    if (wanted.sortCurve) return statusOf(bench::printSortCurve(bench::sortedRowCount()));
    return runBenches(arguments);
}
