// Children of fork: they read, and their end harms nothing of their parent's.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "kill/kill_tables.h"
#include "support/temp_directory.h"

namespace {

class ForkTest : public testing::Test {
protected:
    ForkTest() : manager_(ktwtCreateManager("", home_.path().c_str(), &error_)) {
        const Table table = newTable();
        write(table.get(), 0, 300);
        EXPECT_TRUE(table->close());
        name_ = table->getName().asCstr();
    }

    Table newTable() {
        Table table(manager_->create(2, 2000, &error_));
        EXPECT_TRUE(table != nullptr && defineColumns(table.get()));
        return table;
    }

    static void write(KtWorkTableFile* table, long first, long last) {
        for (long number = first; number < last; ++number) ASSERT_TRUE(writeNumber(table, number));
    }

    // The numbers from 0 to `count` - 1.
    static Content numbers(long count) { return {count, count * (count - 1) / 2}; }

    // Whether the work, done in a child, came out well.
    static bool inChild(const std::function<bool()>& work) {
        const pid_t child = fork();
        if (child == 0) _exit(work() ? 0 : 1);
        int status = -1;
        return child > 0 && waitpid(child, &status, 0) == child && status == 0;
    }

    TempDirectory home_;
    KtbString error_;
    Manager manager_;
    std::string name_;
};

TEST_F(ForkTest, AChildReadsThroughAManagerOfItsOwn) {
    EXPECT_TRUE(inChild([&] {
        KtbString error;
        const Manager manager(ktwtCreateManager("", home_.path().c_str(), &error));
        return contentOf(manager.get(), name_) == numbers(300);
    }));
    EXPECT_EQ(contentOf(manager_.get(), name_), numbers(300));
}

TEST_F(ForkTest, AChildReadsThroughTheManagerOfItsParent) {
    EXPECT_TRUE(inChild([&] { return contentOf(manager_.get(), name_) == numbers(300); }));
    EXPECT_EQ(contentOf(manager_.get(), name_), numbers(300));
}

TEST_F(ForkTest, AChildThatReleasesWhatItInheritedForReadingTakesNothingAway) {
    Table reading(manager_->open(name_.c_str(), false, &error_));
    KtbDatavar values[2];
    bool end = false;
    ASSERT_TRUE(reading->readRow(values, &end));
    EXPECT_TRUE(inChild([&] {
        const bool read = reading->readRow(values, &end);
        reading.reset();
        return read;
    }));
    Content rest = {1, 0};
    while (reading->readRow(values, &end)) {
        bool err = false;
        rest = rest + Content{1, values[0].asInt64(&err)};
    }
    EXPECT_TRUE(end);
    EXPECT_EQ(rest, numbers(300)) << "the parent reads on where it was";
}

TEST_F(ForkTest, TheExitOfAChildLeavesTheTablesThatItsParentWrites) {
    const Table writing = newTable();
    write(writing.get(), 0, 100);
    const pid_t child = fork();
    if (child == 0) _exit(0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    write(writing.get(), 100, 200);
    EXPECT_TRUE(writing->close());
    EXPECT_EQ(contentOf(manager_.get(), writing->getName().asCstr()), numbers(200));
}

TEST_F(ForkTest, AChildThatSweepsAndTheEndOfAHoldingChildLeaveWhatTheParentWrites) {
    const Table writing = newTable();
    write(writing.get(), 0, 100);
    EXPECT_TRUE(inChild([&] {
        KtbString error;
        KtWorkTableSweep counts = {};
        return ktwtSweepOrphans(home_.path().c_str(), true, nullptr, &counts, &error) && counts.removed == 0 &&
               counts.inUse > 0;
    }));
    KtWorkTableSweep counts = {};
    EXPECT_TRUE(ktwtSweepOrphans(home_.path().c_str(), true, nullptr, &counts, &error_));
    EXPECT_EQ(counts.removed, 0) << "a child that ends takes no hold of its parent's away";
    write(writing.get(), 100, 200);
    EXPECT_TRUE(writing->close());
    EXPECT_EQ(contentOf(manager_.get(), writing->getName().asCstr()), numbers(200));
}

TEST_F(ForkTest, AProgramThatAChildStartsInheritsNoHandle) {
    const Table writing = newTable();
    write(writing.get(), 0, 100);
    const Table reading(manager_->open(name_.c_str(), false, &error_));
    const std::string command = "for fd in /proc/self/fd/*; do readlink $fd; done | grep -q " + home_.path();
    EXPECT_NE(system(command.c_str()), 0) << "a handle of a table is open in the program";
    EXPECT_TRUE(writing->close());
}

}  // namespace
