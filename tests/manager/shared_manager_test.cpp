// One manager in the hands of many threads that make, append, copy, partition and remove tables and take named locks.
#include <atomic>
#include <thread>

#include "table/table_fixture.h"

namespace {

constexpr int threadCount = 8;
constexpr int rounds = 12;
constexpr long rowsEach = 10;

class SharedManagerTest : public TableTest {
protected:
    template <class Work>
    static void inParallel(Work work) {
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) threads.emplace_back(work, t);
        for (std::thread& thread : threads) thread.join();
    }

    // A closed table of the rows (thread, round, i); its name, empty when it could not be written.
    std::string writeTable(int thread, int round) {
        KtbString error;
        const Table table(manager_->create(3, 100, &error));
        if (!table) return "";
        const char* const names[] = {"thread", "round", "row"};
        for (int c = 0; c < 3; ++c) table->defineColumnInfo(c, names[c], ktbTypeInteger, 0);
        for (long i = 0; i < rowsEach; ++i) {
            if (!writeTo(*table, {thread, round, i})) return "";
        }
        return table->close() ? bytesOf(table->getName()) : "";
    }

    // Expects the tables of each thread one after the other, each in one piece, in any order of threads.
    static void expectWholeTables(const Rows& rows) {
        std::vector<long> nextRound(threadCount + 1);
        for (std::size_t at = 0; at < rows.size(); at += static_cast<std::size_t>(rowsEach)) {
            const Value thread = rows[at][0];
            long& round = nextRound[static_cast<std::size_t>(thread.variant().asInt64(nullptr))];
            for (long i = 0; i < rowsEach; ++i) {
                ASSERT_EQ(rows.at(at + static_cast<std::size_t>(i)), (Row{thread, round, i}));
            }
            ++round;
        }
    }
};

TEST_F(SharedManagerTest, AppendsToOneTableNeitherLoseNorMixRows) {
    const std::string target = writeTable(0, 0);
    std::atomic<long> locked = 0;
    long plain = 0;  // under the named lock "count"; two threads in at once would lose increments
    inParallel([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            KtbString error;
            const std::string source = writeTable(thread + 1, round);
            ASSERT_NE(source, "");
            ASSERT_TRUE(manager_->append(ktb(target), ktb(source), &error)) << error.asCstr();
            ASSERT_TRUE(manager_->remove(ktb(source), &error)) << error.asCstr();
            ASSERT_TRUE(manager_->enqueue("count", &error));
            ++plain;
            ++locked;
            manager_->dequeue("count");
        }
    });
    EXPECT_EQ(plain, threadCount * rounds);
    EXPECT_EQ(locked.load(), plain);

    ASSERT_TRUE(openText(target)) << error_.asCstr();
    const Rows rows = rowsRead();
    EXPECT_EQ(rows.size(), static_cast<std::size_t>(rowsEach * (1 + threadCount * rounds)));
    expectWholeTables(rows);
    table_.reset();
    ASSERT_TRUE(manager_->remove(ktb(target), &error_));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(SharedManagerTest, OneTableIsCopiedAndPartitionedByAll) {
    const std::string source = writeTable(5, 5);
    std::atomic<long> rowsCopied = 0;
    std::atomic<long> rowsInRanges = 0;
    inParallel([&](int) {
        for (int round = 0; round < rounds; ++round) {
            KtbString error;
            Table copy(round % 2 == 0 ? manager_->copy(100, manager_.get(), ktb(source), &error)
                                      : manager_->copy(100, "another key", ktb(source), &error));
            ASSERT_NE(copy, nullptr) << error.asCstr();
            rowsCopied += copy->getRows();
            ASSERT_TRUE(copy->close());
            int parts = 3;
            long ranges[6] = {};
            ASSERT_TRUE(manager_->partition(copy->getName(), &parts, ranges, &error)) << error.asCstr();
            for (int i = 0; i < parts; ++i) rowsInRanges += ranges[2 * i + 1];
            ASSERT_TRUE(manager_->remove(copy->getName(), &error)) << error.asCstr();
        }
    });
    EXPECT_EQ(rowsCopied.load(), rowsEach * threadCount * rounds);
    EXPECT_EQ(rowsInRanges.load(), rowsCopied.load());
}

}  // namespace
