// One manager in the hands of several threads, each with tables of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/released.h"
#include "support/temp_directory.h"

namespace {

constexpr int threadCount = 4;

class ParallelTest : public testing::Test {
protected:
    // Writes a table of `rows` rows (thread, row, text) in several data elements and gives its name; empty when that fails.
    std::string write(int thread, int rows) {
        KtbString error;
        const Table table(manager->create(3, 1000, &error));
        if (table == nullptr || !table->defineColumnInfo(0, "thread", ktbTypeInteger, 0) ||
            !table->defineColumnInfo(1, "row", ktbTypeInteger, 0) || !table->defineColumnInfo(2, "text", ktbTypeString, 0)) {
            return "";
        }
        for (int row = 0; row < rows; ++row) {
            KtbDatavar values[3];
            values[0].assign(thread);
            values[1].assign(row);
            values[2].assign(("the text of row " + std::to_string(row)).c_str());
            if (!table->writeRow(values)) return "";
        }
        return table->close() ? table->getName().asCstr() : "";
    }

    // The number of rows that are as `thread` wrote them.
    long rightRows(const std::string& name, int thread) {
        KtbString error;
        const Table table(manager->open(name.c_str(), false, &error));
        if (table == nullptr) return -1;
        KtbDatavar values[3];
        bool end = false;
        long row = 0;
        while (table->readRow(values, &end)) {
            const bool right = values[0].asInt64(nullptr) == thread && values[1].asInt64(nullptr) == row &&
                               values[2].asString().compare(("the text of row " + std::to_string(row)).c_str(), true) == 0;
            if (!right) return -1;
            ++row;
        }
        return end ? row : -1;
    }

    template <class Work>
    static void inParallel(Work work) {
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) threads.emplace_back(work, t);
        for (std::thread& thread : threads) thread.join();
    }

    const TempDirectory directory;
    KtbString creationError;
    const std::string directories =
        directory.file("missing") + "::" + directory.directory("first") + ":" + directory.directory("second");
    const Manager manager{ktwtCreateManager("key", directories.c_str(), &creationError)};
};

TEST_F(ParallelTest, TablesAreCreatedWrittenReadAndRemoved) {
    constexpr int rounds = 8;
    std::atomic<long> total = 0;
    inParallel([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            const int rows = 50 + round;
            const std::string name = write(thread, rows);
            ASSERT_NE(name, "");
            ASSERT_EQ(rightRows(name, thread), rows);
            total += rows;
            KtbString error;
            ASSERT_TRUE(manager->remove(name.c_str(), &error)) << error.asCstr();
            ASSERT_EQ(rightRows(name, thread), -1);
        }
    });
    EXPECT_EQ(total.load(), threadCount * (8 * 50 + 28));
    EXPECT_TRUE(std::filesystem::is_empty(directory.file("first")));
}

TEST_F(ParallelTest, OneTableIsReadByAll) {
    const std::string name = write(7, 200);
    ASSERT_NE(name, "");
    inParallel([&](int) {
        for (int round = 0; round < 8; ++round) ASSERT_EQ(rightRows(name, 7), 200);
    });
}

TEST_F(ParallelTest, KeysAndDirectoriesAreReadByAll) {
    inParallel([&](int) {
        for (int round = 0; round < 200; ++round) {
            ASSERT_EQ(manager->getDirectories().length(), static_cast<int>(directories.size()));
            ASSERT_EQ(manager->getAccessKey().length(), 3);
        }
    });
}

// The first of the tables makes the sort manager, which they then share; each declares columns of its own to it.
TEST_F(ParallelTest, SortedTablesShareTheSortManager) {
    constexpr long rows = 20;
    std::atomic<int> right = 0;
    inParallel([&](int thread) {
        for (int round = 0; round < 20; ++round) {
            KtbString error;
            const int key = thread % 2;
            const Table table(manager->create(key + 1, 1, 0, &error));
            ASSERT_NE(table, nullptr) << error.asCstr();
            for (int c = 0; c <= key; ++c) ASSERT_TRUE(table->defineColumnInfo(c, c == 0 ? "a" : "b", ktbTypeInteger, 0));
            ASSERT_EQ(table->setSort(0, key, true, nullptr), 0);
            for (long i = 0; i < rows; ++i) {
                KtbDatavar values[2];
                values[key].assign(i * 7 % rows);
                ASSERT_TRUE(table->writeRow(values)) << table->getError().asCstr();
            }
            ASSERT_TRUE(table->close()) << table->getError().asCstr();
            const Table stored(manager->open(table->getName(), false, &error));
            ASSERT_NE(stored, nullptr) << error.asCstr();
            KtbDatavar values[2];
            bool end = false;
            long next = rows;
            while (stored->readRow(values, &end) && values[key].asInt64(nullptr) == next - 1) --next;
            right += end && next == 0 ? 1 : 0;
        }
    });
    EXPECT_EQ(right, threadCount * 20);
}

}  // namespace
