// What a sort does with little: memory, disk, handles and threads.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "resource_limit.h"
#include "run_files.h"
#include "sort_model.h"
#include "sort_random.h"
#include "support/failing_new.h"
#include "support/sanitizers.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

// A number to sort by, one that tells where the row was, and a text of that size.
const Description description = {{ktbTypeInteger, ktbTypeInteger, ktbTypeString}, {{0}}};

Rows rowsOf(std::size_t count, std::size_t textBytes, unsigned long seed = 1) {
    Random random(seed);
    Rows rows;
    const KtbDatavar text = valueOf(std::string(textBytes, 't'));
    for (std::size_t i = 0; i < count; ++i) {
        rows.push_back({valueOf(static_cast<long>(random.below(count / 2 + 1))), valueOf(static_cast<long>(i)), text});
    }
    return rows;
}

// The bytes that the rows take as records.
long recordBytes(const Rows& rows) {
    RowLayout layout;
    RowOrder order;
    EXPECT_TRUE(layout.setColumns(3, description.columns.data()) && order.setCount(1));
    order.key(0).column = 0;
    order.key(0).type = ktbTypeInteger;
    EXPECT_TRUE(layout.settle(order, RowRecord::keyBytesMax));
    ByteBuffer record;
    long bytes = 0;
    for (const Row& row : rows) {
        EXPECT_EQ(layout.encode(order, row.data(), &record), RowFit::whole);
        bytes += static_cast<long>(record.size());
    }
    return bytes;
}

// Whether all rows come as they should. Looks at one at a time, so that it takes no memory.
bool isInOrder(KtDatafileRowSort* sort, long rows) {
    long lastKey = -1;
    long lastNumber = -1;
    int status = sort->firstRow();
    for (; status == ktSortRow; status = sort->nextRow(), --rows) {
        const long key = sort->columnValue(0)->asInt64(nullptr);
        const long number = sort->columnValue(1)->asInt64(nullptr);
        if (key < lastKey || (key == lastKey && number <= lastNumber)) return false;
        lastKey = key;
        lastNumber = number;
    }
    return status == ktSortEnd && rows == 0;
}

class SortLimitsTest : public testing::Test {
protected:
    Sorted sorted(const Rows& rows, const RowSortSetup& setup, KtDatafileSortProgress* progress = nullptr) {
        const Sort sort = makeSort(description, setup, directory.path());
        return run(sort.get(), rows, description.columns.size(), progress);
    }

    void expectSorted(const Rows& rows, const Sorted& result) {
        ASSERT_EQ(result.status, ktSortEnd) << result.error;
        expectSame(result.rows, modelOf(description, rows, false).rows);
    }

    TempDirectory directory;
};

TEST_F(SortLimitsTest, TenThousandRunsNeedNoMoreHandlesThanOne) {
    const std::size_t handles = openHandles();
    const ResourceLimit limit(RLIMIT_NOFILE, 64);
    ASSERT_TRUE(limit.inForce());
    RowSortSetup setup = smallSetup(3072);
    setup.blockBytes = 256;
    setup.chunkBytes = 256;
    constexpr std::size_t count = 130000;
    const Sort sort = makeSort(description, setup, directory.path());
    KtDatafileSortInfo info;
    sort->setSortInfo(&info);
    Random random(5);
    const std::string text(600, 't');
    for (std::size_t i = 0; i < count; ++i) {
        sort->columnSlot(0)->assign(static_cast<long>(random.below(count / 4)));
        sort->columnSlot(1)->assign(static_cast<long>(i));
        sort->columnSlot(2)->assign(text.c_str(), static_cast<int>(i % 8 == 0 ? 600 : 40));
        ASSERT_EQ(sort->addRow(), ktSortRow) << sort->getError().asCstr();
    }
    ASSERT_EQ(sort->finish(), ktSortRow) << sort->getError().asCstr();
    EXPECT_EQ(openHandles(), handles + 1);
    EXPECT_TRUE(isInOrder(sort.get(), count)) << sort->getError().asCstr();
    EXPECT_GE(info.runs, 10000);
    EXPECT_EQ(info.rowsOut, static_cast<long>(count));
}

// The budget is a promise: whatever it is, the sort succeeds, and its result is the same.
TEST_F(SortLimitsTest, MoreMemoryNeverTurnsSuccessIntoFailure) {
    Rows rows = rowsOf(400, 30);
    rows[40][2] = valueOf(std::string(2000, 'l'));
    rows[41][2] = valueOf(std::string(30000, 'l'));
    long runsWithMost = LONG_MAX;
    for (std::size_t budget = 8192; budget < 80000; budget += budget < 10000 ? 64 : 997) {
        SCOPED_TRACE("budget " + std::to_string(budget));
        expectSorted(rows, sorted(rows, smallSetup(budget, 4096, 2)));
        const Sorted result = sorted(rows, smallSetup(budget));
        expectSorted(rows, result);
        if (HasFailure()) return;
        runsWithMost = result.info.runs;
    }
    EXPECT_EQ(runsWithMost, 0);
}

TEST_F(SortLimitsTest, OrdinaryRowsStayWithinTheBudget) {
    const Rows rows = rowsOf(3000, 50);
    for (const std::size_t budget : {16384u, 20000u, 65536u, 100000u}) {
        for (const int threads : {1, 3}) {
            const Sorted result = sorted(rows, smallSetup(budget, 4096, threads));
            expectSorted(rows, result);
            EXPECT_GT(result.info.runs, 1);
            EXPECT_LE(result.info.peakMemory, static_cast<long>(budget));
            EXPECT_GE(result.info.peakMemory, static_cast<long>(budget) / 2);
        }
    }
}

// Nothing but rows of nearly an eighth of it, which is the largest that counts as ordinary.
TEST_F(SortLimitsTest, RowsOfAnEighthOfTheBudgetStayWithinIt) {
    constexpr std::size_t budget = 32768;
    const Rows rows = rowsOf(200, budget / 8 - 100);
    for (const int threads : {1, 3}) {
        const Sorted result = sorted(rows, smallSetup(budget, 4096, threads));
        expectSorted(rows, result);
        EXPECT_GT(result.info.mergePasses, 1);
        EXPECT_LE(result.info.peakMemory, static_cast<long>(budget));
    }
}

TEST_F(SortLimitsTest, RowsLargerThanTheBudgetAreHeldBeyondItOneAtATime) {
    constexpr long budget = 16384;
    constexpr long textBytes = 50000;
    for (const int threads : {1, 4}) {
        const Rows rows = rowsOf(40, textBytes);
        const Sorted result = sorted(rows, smallSetup(budget, 4096, threads));
        expectSorted(rows, result);
        EXPECT_EQ(result.info.runs, 40);
        EXPECT_LE(result.info.peakMemory, budget + 2 * (textBytes + 200));  // and one more, in the row that is added
    }
}

TEST_F(SortLimitsTest, ALargeRowNowAndThenLeavesTheOthersSorted) {
    Random random(3);
    Rows rows = rowsOf(500, 20);
    for (int i = 0; i < 12; ++i) rows[random.below(rows.size())][2] = largeText(random, random.between(1000, 40000));
    for (const std::size_t budget : {8192u, 32768u}) expectSorted(rows, sorted(rows, smallSetup(budget, 4096, 2)));
}

// A row that takes the whole memory is read beside one other run only, which must not mean that every run is merged by twos.
TEST_F(SortLimitsTest, ALargeRowDoesNotMakeTheOthersGoThroughManyMerges) {
    constexpr std::size_t count = 12000;
    for (const std::size_t place : {std::size_t{0}, count / 3, count - 1}) {
        Rows rows = rowsOf(count, 60);
        rows[place][2] = valueOf(std::string(60000, 'l'));
        const Sorted result = sorted(rows, smallSetup(32768));
        expectSorted(rows, result);
        EXPECT_GT(result.info.runs, 20);
        EXPECT_LE(result.info.mergePasses, 4) << "the large row is row " << place;
        EXPECT_LE(result.info.bytesSpilled, 4 * recordBytes(rows)) << "the large row is row " << place;
    }
}

// Looks at the disk whenever it is told something.
class DiskWatch : public KtDatafileSortProgress {
public:
    explicit DiskWatch(std::string directory) : directory_(std::move(directory)) {}

    bool report(int phase, long, long) override {
        most = std::max(most, bytesOnDisk(directory_));
        phases |= 1 << phase;
        return true;
    }

    long most = 0;
    int phases = 0;

private:
    const std::string directory_;
};

// A few runs more than a merge takes are no reason to merge nearly all of them beforehand.
TEST_F(SortLimitsTest, AFewRunsTooManyMakeFewRowsGoThroughTwoMerges) {
    const Rows rows = rowsOf(90000, 60);
    const Sorted result = sorted(rows, smallSetup(170000));
    expectSorted(rows, result);
    const Sorted all = sorted(rows, smallSetup(2000000));
    ASSERT_GT(result.info.mergePasses, 1);
    ASSERT_EQ(all.info.mergePasses, 1);
    EXPECT_LT(result.info.bytesSpilled, all.info.bytesSpilled * 3 / 2);
}

TEST_F(SortLimitsTest, TheDiskHoldsTheRowsOnceThroughAllMerges) {
    const Rows rows = rowsOf(24000, 100);
    const long bytes = recordBytes(rows);
    DiskWatch watch(directory.path());
    const Sorted result = sorted(rows, smallSetup(32768), &watch);
    expectSorted(rows, result);
    EXPECT_GE(result.info.mergePasses, 2);
    EXPECT_EQ(watch.phases, 1 << ktSortFilling | 1 << ktSortSpilling | 1 << ktSortMerging | 1 << ktSortDelivering);
    EXPECT_GE(watch.most, bytes * 9 / 10);
    EXPECT_LE(watch.most, bytes * 11 / 10);
    EXPECT_GE(result.info.bytesSpilled, bytes * 3 / 2);
}

TEST_F(SortLimitsTest, NothingIsLeftWhereverASortIsReleased) {
    const std::size_t handles = openHandles();
    const Rows rows = rowsOf(600, 50);
    for (int stage = 0; stage < 5; ++stage) {
        Sort sort = makeSort(description, smallSetup(8192, 4096, 3), directory.path());
        if (stage >= 1) {
            ASSERT_EQ(addRows(sort.get(), rows), ktSortRow);
            EXPECT_EQ(runFiles(directory.path()).size(), 1u);
            EXPECT_GT(bytesOnDisk(directory.path()), 0);
        }
        if (stage >= 2) {
            ASSERT_EQ(sort->finish(), ktSortRow);
        }
        if (stage >= 3) {
            ASSERT_EQ(sort->firstRow(), ktSortRow);
        }
        if (stage >= 4) {
            while (sort->nextRow() == ktSortRow) continue;
        }
        EXPECT_TRUE(directory.names().empty()) << "the file has a name";
        sort.reset();
        EXPECT_TRUE(runFiles(directory.path()).empty());
        EXPECT_EQ(openHandles(), handles);
    }
}

// Memory that the machine refuses is as if the budget ended there.
TEST_F(SortLimitsTest, ABlockThatCannotBeHadLeadsToSpilling) {
    const Rows rows = rowsOf(2000, 20);
    const RowSortSetup setup = smallSetup(1 << 20);
    for (long n = 0;; ++n) {
        const Sort sort = makeSort(description, setup, directory.path());
        KtDatafileSortInfo info{};
        sort->setSortInfo(&info);
        ASSERT_EQ(addRow(sort.get(), rows[0]), ktSortRow);
        failing_new::failAt(n);
        int status = ktSortRow;
        for (std::size_t i = 1; i < rows.size() && status == ktSortRow; ++i) status = addRow(sort.get(), rows[i]);
        const bool failed = failing_new::stop();
        if (KTWT_TESTS_SANITIZED && n == 0 && !failed) GTEST_SKIP() << "This sanitizer does not let allocations fail.";
        ASSERT_EQ(status, ktSortRow) << "allocation " << n << ": " << sort->getError().asCstr();
        ASSERT_EQ(sort->finish(), ktSortRow) << "allocation " << n << ": " << sort->getError().asCstr();
        EXPECT_EQ(info.runs > 0, failed) << "allocation " << n;
        if (failed && n == 0) {
            EXPECT_GT(info.runs, 3) << "nobody shall ask again for what there was not";
        }
        EXPECT_LE(info.peakMemory, info.budget);
        Rows back;
        status = sort->firstRow();
        for (; status == ktSortRow; status = sort->nextRow()) back.push_back(currentRow(sort.get(), 3));
        expectSame(back, modelOf(description, rows, false).rows);
        if (!failed || HasFailure()) {
            EXPECT_GT(n, 5);
            return;
        }
    }
}

// Bytes of address space that this process has now.
unsigned long addressSpace() {
    unsigned long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
}

// Sorts 50 MB with less memory and a budget that knows nothing of it. Says what is wrong, if anything.
std::string sortWithLittleMemory(const std::string& directory, int threads, unsigned long mebibytes) {
    KtDatafileSortSettings settings = {};
    settings.budget = 256UL << 20;
    settings.chunkBytes = 256 * 1024;
    settings.processors = threads;
    const Sort sort = makeSort(description, settings, directory);
    KtDatafileSortInfo info{};
    sort->setSortInfo(&info);
    const ResourceLimit limit(RLIMIT_AS, addressSpace() + (mebibytes << 20));
    if (!limit.inForce()) return "no limit";
    Random random(9);
    const std::string text(1000, 't');
    constexpr long count = 50000;
    for (long i = 0; i < count; ++i) {
        sort->columnSlot(0)->assign(static_cast<long>(random.below(count)));
        sort->columnSlot(1)->assign(i);
        sort->columnSlot(2)->assign(text.c_str(), 1000);
        if (sort->addRow() != ktSortRow) return "row " + std::to_string(i) + ": " + sort->getError().asCstr();
    }
    if (sort->finish() != ktSortRow) return sort->getError().asCstr();
    if (info.runs < 2 || info.peakMemory > static_cast<long>(mebibytes << 20))
        return "peak memory " + std::to_string(info.peakMemory);
    if (!isInOrder(sort.get(), count)) return std::string("not in order: ") + sort->getError().asCstr();
    return "";
}

// In a process of its own, since memory that other tests have left would serve as well.
TEST_F(SortLimitsTest, AMachineWithLessMemoryThanTheBudgetSpills) {
    if (KTWT_TESTS_SANITIZED) GTEST_SKIP() << "A sanitizer takes more address space than can be limited.";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto work = [this](int threads, unsigned long mebibytes) {
        const std::string wrong = sortWithLittleMemory(directory.path(), threads, mebibytes);
        std::fputs(wrong.c_str(), stderr);
        std::filesystem::remove_all(directory.path());
        _exit(wrong.empty() ? 0 : 1);
    };
    EXPECT_EXIT(work(1, 24), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(work(2, 24), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(work(2, 48), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(work(4, 48), testing::ExitedWithCode(0), "");
}

// Sorts in a process that may have no thread but its own, and says by its exit code what became of it.
int sortWithoutThreads(const Rows& rows, const std::string& directory) {
    const rlimit none = {0, 0};
    if (geteuid() == 0 && setuid(65534) != 0) return 2;  // the limit does not hold for root
    if (setrlimit(RLIMIT_NPROC, &none) != 0) return 2;
    try {
        std::thread([] {}).join();
        return 3;
    } catch (const std::system_error&) {  // so it should be
    }
    const Sort sort = makeSort(description, smallSetup(16384, 4096, 4), directory);
    const Sorted result = run(sort.get(), rows, 3);
    const Rows expected = modelOf(description, rows, false).rows;
    if (result.status != ktSortEnd || result.rows.size() != expected.size()) return 1;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (!isSame(result.rows[i], expected[i])) return 1;
    }
    return 0;
}

TEST_F(SortLimitsTest, ThreadsThatCannotBeHadAreDoneWithout) {
    const Rows rows = rowsOf(2000, 30);
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(sortWithoutThreads(rows, directory.path()));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) > 1) GTEST_SKIP() << "This process cannot be kept from starting threads.";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
