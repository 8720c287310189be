// Runs the benches and prints, below Google Benchmark's own table, the ratios that say how the library does.
//
//     ktwt_bench [--rows=N] [--benchmark_...]        2,000,000 rows when not told otherwise
//
// Figures of this machine at this moment mean little; a ratio of two benches of one run means something. Repetitions are
// interleaved, so that a slow moment of the machine hits both sides, and the median of each side counts. What has no other side
// is printed behind the ratios, as the speed it is.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "rows.h"

namespace {

// Remembers the time of each repetition of each bench, and its speed when it tells one.
class Times : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                times_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
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
    std::printf("\nRatios (medians of one run, %ld rows)\n", bench::rowCount());
    for (const Ratio& ratio : ratios) {
        const double own = times->median(ratio.faster);
        const double other = times->median(ratio.slower);
        if (own > 0 && other > 0) std::printf("  %-40s %6.2f   (%s)\n", ratio.what, other / own, ratio.wanted);
    }
}

// Takes --rows=N out of the arguments; false when N is no number of rows.
bool takeRowCount(int* argc, char** argv) {
    static constexpr char option[] = "--rows=";
    for (int i = 1; i < *argc; ++i) {
        if (std::strncmp(argv[i], option, sizeof option - 1) != 0) continue;
        const long count = std::strtol(argv[i] + sizeof option - 1, nullptr, 10);
        if (count < 100) return false;
        bench::setRowCount(count);
        std::rotate(argv + i, argv + i + 1, argv + *argc);
        --*argc;
        break;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (!takeRowCount(&argc, argv)) {
        std::fprintf(stderr, "ktwt_bench: --rows takes a number of at least 100\n");
        return 2;
    }
    std::vector<char*> arguments(argv, argv + argc);
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
    return 0;
}
