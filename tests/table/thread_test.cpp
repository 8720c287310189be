// Several threads, one manager: every thread has tables of its own, and any number of readers share one table's files.
#include <thread>

#include "table/table_fixture.h"

namespace {

constexpr int threadCount = 4;
constexpr long rowCount = 300;

class TableThreadTest : public TableTest {
protected:
    // Runs the work once in each of several threads, each with its number.
    template <class Work>
    static void inThreads(Work work) {
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i) threads.emplace_back(work, i);
        for (std::thread& thread : threads) thread.join();
    }

    // Makes a table of the thread's own, reads it back and removes it.
    void useOwnTable(int thread) {
        KtbString error;
        Table table(manager_->create(2, 200, &error));
        ASSERT_TRUE(table);
        ASSERT_TRUE(table->defineColumnInfo(0, KtbString("thread"), ktbTypeInteger, 0));
        ASSERT_TRUE(table->defineColumnInfo(1, KtbString("row"), ktbTypeString, 0));
        const KtbString name = table->getName();
        Rows rows;
        for (long i = 0; i < rowCount; ++i) {
            rows.push_back({thread, "row " + std::to_string(i)});
            ASSERT_TRUE(writeTo(*table, rows.back()));
        }
        ASSERT_TRUE(table->close());
        table.reset(manager_->open(name, false, &error));
        ASSERT_TRUE(table);
        EXPECT_EQ(readAll(*table).rows, rows);
        table.reset();
        EXPECT_TRUE(manager_->remove(name, &error));
    }
};

TEST_F(TableThreadTest, ThreadsWorkOnTablesOfTheirOwn) {
    inThreads([this](int thread) { useOwnTable(thread); });
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(TableThreadTest, ThreadsReadOneTableSideBySide) {
    makeRows(rowCount, 200);
    inThreads([this](int thread) {
        const bool reversed = thread % 2 != 0;
        KtbString error;
        const Table table(manager_->open(ktb(name_), reversed, &error));
        ASSERT_TRUE(table);
        EXPECT_EQ(readAll(*table).rows, reversed ? rowNumbers(rowCount - 1, 0) : rowNumbers(0, rowCount - 1));
    });
}

TEST_F(TableThreadTest, ThreadsMeetFailuresSideBySide) {
    makeRows(3);
    inThreads([this](int) {
        for (int i = 0; i < 50; ++i) {
            KtbString error;
            int columns[] = {7};
            EXPECT_EQ(manager_->open(ktb(name_), 1, columns, nullptr, false, &error), nullptr);
            EXPECT_EQ(bytesOf(error).compare(0, 9, "KTWT-1791"), 0);
        }
    });
}

}  // namespace
