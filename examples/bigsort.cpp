// Sorts more rows than its memory holds, and checks the result.
//
//     bigsort [--factor N] [--memory SIZE] [--threads N] [--dirs LIST]
//
// Makes rows, N times as many bytes as the sort may use of memory, and writes them to a work table that sorts them on the way
// in: by name, and the rows of one name by their amount, the largest first. Then it reads the table back and checks that the
// rows are in order and that none is lost or altered: a sum of all rows' digests, which does not depend on their order, must be
// the same on both sides. A progress bar is drawn when standard error is a terminal. Ctrl-C cancels the sort, which then leaves
// no file behind. The files live in a directory of their own below the system's temporary directory, or in the work directories
// of the list, and are gone at the end.
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "example.h"

namespace {

using Table = std::unique_ptr<KtWorkTableFile, Release>;

enum Column { columnName, columnAmount, columnPrice, columnMoment, columnPaid, columnNote, columnCount };

struct Options {
    long factor = 4;
    long memory = 64L << 20;
    long threads = 0;
    std::string directories;

    long bytesWanted() const { return factor * memory; }
};

constexpr long factorMax = 1000000;
constexpr long threadsMax = 1024;
constexpr long memoryMax = 1L << 40;  // with the largest factor still a number of bytes

constexpr int statusFailed = 1;
constexpr int statusUsage = 2;
constexpr int statusCancelled = 130;  // what a shell gives for a program that Ctrl-C ended

volatile std::sig_atomic_t cancelled = 0;

// A second Ctrl-C ends the program at once.
extern "C" void cancelOnce(int) {
    cancelled = 1;
    std::signal(SIGINT, SIG_DFL);
}

int complain(const char* what, const KtbString& why) {
    std::fprintf(stderr, "bigsort: %s: %s\n", what, why.asCstr());
    return cancelled != 0 ? statusCancelled : statusFailed;
}

// Draws on standard error, if that is a terminal, and passes a Ctrl-C on to the sort.
class ProgressBar final : public KtDatafileSortProgress {
public:
    ~ProgressBar() { clear(); }

    bool report(int phase, long rowsDone, long rowsExpected) override {
        static constexpr const char* names[] = {"", "filling", "spilling", "merging", "delivering"};
        const bool known = phase >= ktSortFilling && phase <= ktSortDelivering;
        draw(known ? names[phase] : "sorting", rowsDone, rowsExpected);
        return cancelled == 0;
    }

    void draw(const char* what, long done, long expected) const {
        static constexpr char full[] = "########################################";
        if (!onTerminal_) return;
        const double part = expected > 0 ? std::min(1.0, static_cast<double>(done) / static_cast<double>(expected)) : 0;
        std::fprintf(stderr, "\r%-10s [%-40.*s] %3.0f %%", what, static_cast<int>(part * 40), full, part * 100);
    }

    void clear() const {
        if (onTerminal_) std::fprintf(stderr, "\r\033[K");
    }

private:
    const bool onTerminal_ = isatty(STDERR_FILENO) != 0;
};

// Makes the rows: always the same ones, in an order that has nothing to do with the order of the sort.
class Generator {
public:
    // Fills the row's values and returns how many bytes they have.
    long fill(KtbDatavar* row) {
        const std::string name = syllables(2 + random_() % 4);
        const std::string note = syllables(random_() % 40);
        row[columnName].assign(name.c_str());
        row[columnAmount].assign(static_cast<long>(random_() % 2000000) - 1000000);
        row[columnPrice].assign(price());
        row[columnMoment].assign(KtbDate(static_cast<double>(random_() % 2000000000)));
        row[columnPaid].assign(random_() % 2 == 0);
        row[columnNote].assign(note.c_str());
        if (note.empty()) row[columnNote].setNull();
        return static_cast<long>(name.size() + note.size()) + fixedBytes;
    }

    static constexpr long bytesOnAverage = 87;  // of a row's values

private:
    static constexpr long fixedBytes = 8 + 24 + 8 + 1;  // the amount, the price, the moment, and whether it is paid

    std::string syllables(std::uint64_t count) {
        static constexpr char consonants[] = "bdfgklmnprstvz";
        static constexpr char vowels[] = "aeiou";
        std::string text;
        for (; count > 0; --count) {
            const std::uint64_t number = random_();
            text += consonants[number % (sizeof consonants - 1)];
            text += vowels[(number >> 32) % (sizeof vowels - 1)];
        }
        return text;
    }

    KtbReal price() {
        char text[32];
        std::snprintf(text, sizeof text, "%d.%02d", static_cast<int>(random_() % 100000), static_cast<int>(random_() % 100));
        KtbReal result;
        result.assign(text);
        return result;
    }

    std::mt19937_64 random_{20240229};
};

std::string_view viewOf(const KtbString& text) { return {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)}; }

// The number of rows and the sum of their digests, the same for the same rows in any order.
class Tally {
public:
    void add(const KtbDatavar* row) {
        digest_ = 0;
        mixText(row[columnName]);
        mix(static_cast<std::uint64_t>(row[columnAmount].asInt64(nullptr)));
        unsigned long words[3];
        row[columnPrice].asReal(nullptr).asFD(&words);
        for (const unsigned long word : words) mix(word);
        mix(std::bit_cast<std::uint64_t>(row[columnMoment].asDouble(nullptr)));
        mix(row[columnPaid].asBool(nullptr) ? 1 : 2);
        mixText(row[columnNote]);
        sum_ += digest_;
        ++rows_;
    }

    long rows() const { return rows_; }
    bool operator==(const Tally& other) const { return rows_ == other.rows_ && sum_ == other.sum_; }

private:
    void mix(std::uint64_t word) {
        digest_ = (digest_ ^ word) * 0x9e3779b97f4a7c15U;
        digest_ ^= digest_ >> 32;
    }
    void mixText(const KtbDatavar& value) {
        mix(value.isNull() ? 0 : std::hash<std::string_view>()(viewOf(value.asString(&scratch_))));
    }

    long rows_ = 0;
    std::uint64_t sum_ = 0;
    std::uint64_t digest_ = 0;
    KtbString scratch_;
};

// Whether each row comes after the one before it.
class Order {
public:
    bool next(const KtbDatavar* row) {
        const std::string_view name = viewOf(row[columnName].asString(&scratch_));
        const long amount = row[columnAmount].asInt64(nullptr);
        const int names = name_.compare(name);
        const bool inOrder = first_ || names < 0 || (names == 0 && amount_ >= amount);
        first_ = false;
        name_ = name;
        amount_ = amount;
        return inOrder;
    }

private:
    bool first_ = true;
    std::string name_;
    long amount_ = 0;
    KtbString scratch_;
};

// Measures from when it is made.
class Stopwatch {
public:
    void print(const char* what, long rows) const {
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start_;
        const double perSecond = static_cast<double>(rows) / std::max(seconds.count(), 1e-9);
        std::printf("  %-20s %12ld rows %10.2f s %11.0f rows/s\n", what, rows, seconds.count(), perSecond);
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

bool setUp(KtWorkTableManager& manager, const Options& options) {
    const long rows = options.bytesWanted() / Generator::bytesOnAverage;  // for the progress bar; the sort takes any number
    return manager.setSortSize(static_cast<unsigned long>(options.memory)) &&
           manager.setSortProcessors(static_cast<int>(options.threads)) &&
           manager.setSortRecords(static_cast<unsigned long>(rows));
}

bool describe(KtWorkTableFile& table, KtDatafileSortInfo* info, ProgressBar* bar) {
    table.setSort(0, columnName, false, nullptr);
    table.setSort(1, columnAmount, true, nullptr);
    table.setSortInfo(info);
    table.setSortProgress(bar);
    return table.defineColumnInfo(columnName, "name", ktbTypeString, 0) &&
           table.defineColumnInfo(columnAmount, "amount", ktbTypeInteger, 0) &&
           table.defineColumnInfo(columnPrice, "price", ktbTypeDecimal, 0) &&
           table.defineColumnInfo(columnMoment, "moment", ktbTypeDate, 0) &&
           table.defineColumnInfo(columnPaid, "paid", ktbTypeBoolean, 0) &&
           table.defineColumnInfo(columnNote, "note", ktbTypeString, 0);
}

// Writes the rows and closes the table, which is when it gets them in order.
bool fill(KtWorkTableFile& table, long bytesWanted, Tally* written) {
    Generator generator;
    KtbDatavar row[columnCount];
    for (long bytes = 0; bytes < bytesWanted;) {
        bytes += generator.fill(row);
        written->add(row);
        if (!table.writeRow(row)) return false;
    }
    return table.close();
}

int write(KtWorkTableManager& manager, const Options& options, KtDatafileSortInfo* info, Tally* written, KtbString* name) {
    KtbString error;
    ProgressBar bar;
    const Table table(manager.create(columnCount, 2, 0, &error));
    if (!table) return complain("cannot create a work table", error);
    if (!describe(*table, info, &bar)) return complain("cannot define the columns", table->getError());
    *name = table->getName();
    const Stopwatch watch;
    const bool sorted = fill(*table, options.bytesWanted(), written);
    bar.clear();
    if (!sorted) return complain(cancelled != 0 ? "cancelled" : "cannot sort", table->getError());
    watch.print("written and sorted", written->rows());
    return 0;
}

int check(KtWorkTableManager& manager, const KtbString& name, const Tally& written) {
    KtbString error;
    const ProgressBar bar;
    const Table table(manager.open(name, false, &error));
    if (!table) return complain("cannot open the work table", error);
    const Stopwatch watch;
    KtbDatavar row[columnCount];
    Tally found;
    Order order;
    bool inOrder = true;
    bool end = false;
    while (inOrder && cancelled == 0 && table->readRow(row, &end)) {
        found.add(row);
        inOrder = order.next(row);
        if (found.rows() % 100000 == 0) bar.draw("checking", found.rows(), written.rows());
    }
    bar.clear();
    const std::string rows = std::to_string(found.rows()) + " of " + std::to_string(written.rows());
    if (!inOrder) return complain("the rows are not in order, see row", rows.c_str());
    if (cancelled != 0) return complain("cancelled after rows were sorted and read", rows.c_str());
    if (!end) return complain("cannot read", table->getError());
    if (!(found == written)) return complain("the rows read are not the rows written", rows.c_str());
    watch.print("read and checked", found.rows());
    return 0;
}

void print(const KtDatafileSortInfo& info) {
    constexpr double mebibyte = 1 << 20;
    std::printf("The sort took in %ld rows and gave out %ld: %ld runs, %ld merge passes, %.1f MiB spilled in all.\n",
                info.rowsIn, info.rowsOut, info.runs, info.mergePasses, static_cast<double>(info.bytesSpilled) / mebibyte);
    std::printf("It held %.1f of %.1f MiB at most, used %d threads and transfers of %ld KiB.\n",
                static_cast<double>(info.peakMemory) / mebibyte, static_cast<double>(info.budget) / mebibyte, info.threads,
                info.chunkBytes >> 10);
}

// Sorts and checks with a manager of its own, so that at the end nothing of the library is left.
int sortAndCheck(const Options& options, const std::string& directories) {
    KtbString error;
    const Manager manager(ktwtCreateManager("", directories.c_str(), &error));
    if (!manager) return complain("cannot make a manager", error);
    if (!setUp(*manager, options)) return complain("cannot set up the sort", manager->getError());
    KtDatafileSortInfo info = {};
    Tally written;
    KtbString name;
    const int status = write(*manager, options, &info, &written, &name);
    if (status != 0) return status;
    const int checked = check(*manager, name, written);
    if (!manager->remove(name, &error)) return complain("cannot remove the work table", error);
    if (checked == 0) print(info);
    return checked;
}

int run(const Options& options) {
    std::printf("Sorting %.1f MiB of rows within %.1f MiB\n", static_cast<double>(options.bytesWanted()) / (1 << 20),
                static_cast<double>(options.memory) / (1 << 20));
    if (!options.directories.empty()) return sortAndCheck(options, options.directories);
    const WorkDirectory directory("bigsort");
    if (directory.path().empty()) return complain("cannot make a directory for the work table", "");
    const int status = sortAndCheck(options, directory.path());
    if (!directory.isEmpty()) return complain("files were left behind in", directory.path().c_str());
    return status;
}

// Reads a number from `min` to `max`, with `units` set also one that ends in K, M or G.
bool readNumber(const char* text, long min, long max, bool units, long* number) {
    char* rest = nullptr;
    *number = std::strtol(text, &rest, 10);
    if (rest == text || *number < 0) return false;
    static constexpr char letters[] = "KMG";
    const char* unit = units && *rest != 0 ? std::strchr(letters, *rest) : nullptr;
    if (unit != nullptr) {
        const long factor = 1024L << 10 * (unit - letters);
        if (*number > max / factor) return false;
        *number *= factor;
        ++rest;
    }
    return *rest == 0 && *number >= min && *number <= max;
}

bool takeOption(const std::string& option, const char* value, Options* options) {
    if (option == "--factor") return readNumber(value, 1, factorMax, false, &options->factor);
    if (option == "--memory") return readNumber(value, 1, memoryMax, true, &options->memory);
    if (option == "--threads") return readNumber(value, 0, threadsMax, false, &options->threads);
    if (option != "--dirs" || *value == 0) return false;
    options->directories = value;
    return true;
}

bool takeOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc || !takeOption(argv[i], argv[i + 1], options)) {
            std::fprintf(stderr, "bigsort: cannot make sense of: %s %s\n", argv[i], i + 1 < argc ? argv[i + 1] : "");
            return false;
        }
    }
    return true;
}

constexpr char usage[] =
    "usage: bigsort [--factor N] [--memory SIZE] [--threads N] [--dirs LIST]\n"
    "Sorts rows in a work table within a memory budget, reads them back and checks them.\n"
    "  --factor N      how many times the budget the rows have bytes: 1 to 1000000 (4)\n"
    "  --memory SIZE   the budget in bytes, or with K, M or G behind the number: at least 1M (64M)\n"
    "  --threads N     threads to sort with; 0 is one for each processor (0)\n"
    "  --dirs LIST     work directories, separated by ':' (a new one below the system's temporary directory)\n"
    "A progress bar is shown on a terminal. Ctrl-C cancels and leaves no file.\n"
    "Status: 0 the rows are in order and complete, 1 they are not or something failed, 2 wrong usage, 130 cancelled.\n";

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::printf("%s", usage);
        return 0;
    }
    Options options;
    if (!takeOptions(argc, argv, &options)) {
        std::fprintf(stderr, "%s", usage);
        return statusUsage;
    }
    std::signal(SIGINT, cancelOnce);
    const int status = run(options);
    if (status == 0) std::printf("The rows are in order and complete.\n");
    return status;
}
