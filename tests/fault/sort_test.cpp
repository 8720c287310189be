// Sorted tables, written once for every call and every allocation on the way that can fail: the whole table is there and in
// order, or a text says why not and no file is left. Not every fault is a failure: rows that one directory does not take go to
// the next one, and memory that is missing makes a sort write them out earlier.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "stage.h"

namespace {

// So many bytes that the rows are more than the smallest budget, in few rows and with that few calls.
constexpr long largeCount = 12;
constexpr std::size_t largeBytes = 90000;
constexpr unsigned long budgetMin = 1UL << 20;

// Each of these takes more than half of that budget, so that no two share a run, and a merge takes no three of the runs.
constexpr long hugeCount = 3;
constexpr std::size_t hugeBytes = 600000;

// The rows of an integer and a text, in descending order of the integer.
Rows sortedRows(long count, std::size_t bytes) {
    Rows rows;
    for (long i = count - 1; i >= 0; --i) rows.push_back({std::to_string(i), std::string(bytes, static_cast<char>('a' + i))});
    return rows;
}

class SortFaultTest : public testing::Test {
protected:
    SortFaultTest() { prepare(stage.manager.get()); }

    // One thread, so that the calls of every run are the same.
    static bool prepare(KtWorkTableManager* manager) {
        return manager->setSortSize(budgetMin) && manager->setSortProcessors(1);
    }

    // Creates a table that is sorted by its first column, descending, writes the rows from the last to the first, and closes
    // it. On failure the text is in the stage's error.
    bool write(KtWorkTableManager* manager, const Rows& sorted, long elementSize) {
        const Table table(manager->create(2, 1, elementSize, &stage.error));
        if (table == nullptr) return false;
        name = table->getName().asCstr();
        const bool written = fill(table.get(), sorted);
        if (!written) stage.error = table->getError();
        if (table->close()) return written;
        if (written) stage.error = table->getError();
        return false;
    }

    bool fill(KtWorkTableFile* table, const Rows& sorted) {
        const bool defined = table->defineColumnInfo(0, KtbString("number", true), ktbTypeInteger, 0) &&
                             table->defineColumnInfo(1, KtbString("text", true), ktbTypeString, 0);
        if (!defined || table->setSort(0, 0, true, nullptr) != 0) return false;
        table->setSortInfo(&info);
        return std::all_of(sorted.rbegin(), sorted.rend(), [table](const Row& row) {
            KtbDatavar values[2];
            values[0].assign(std::stol(row[0]));
            values[1].assign(KtbString(row[1].c_str(), true));  // literal: it needs no memory that a fault could deny it
            return table->writeRow(values);
        });
    }

    // Expects what must be true of the table when it was written, and when it was not.
    void expectWholeOrGone(bool written, const Rows& sorted, const Faults& faults) {
        if (written) {
            EXPECT_EQ(stage.stored(name), sorted);
        } else {
            expectExplained(faults);
        }
        if (!written) stage.expectGone(faults, name, sorted);
        stage.clearAway();
        stage.expectUnharmed();
    }

    // That the text is the sort's own, or that of the first thing that went wrong in the library.
    void expectExplained(const Faults& faults) const {
        EXPECT_TRUE(faults.injected());
        const std::string text = stage.error.asCstr();
        EXPECT_NE(text, "");
        if (text.rfind("KTWT-", 0) == 0) {
            EXPECT_TRUE(text == stage.firstMessage() || stage.tellsOfPair(faults, text)) << text;
        } else if (!faults.isLasting()) {
            EXPECT_EQ(stage.firstMessage(), "") << "this came before: " << text;
        }
    }

    // Whether the table of large rows is written while this fault is in force.
    bool writtenDespite(const FileFault& fault) {
        stage.refresh();
        FileFaults faults(fault);
        bool written = false;
        faults.during([&] { written = write(stage.manager.get(), large, 0); });
        EXPECT_TRUE(faults.injected());
        expectWholeOrGone(written, large, faults);
        return written;
    }

    const Rows large = sortedRows(largeCount, largeBytes);
    Stage stage;
    std::string name;  // of the table that was created last
    KtDatafileSortInfo info = {};
};

TEST_F(SortFaultTest, ATableThatSpillsIsWholeOrGone) {
    long survived = 0;
    const auto scenario = [&](Faults& faults) {
        stage.refresh();
        bool written = false;
        faults.during([&] { written = write(stage.manager.get(), large, 7 * largeBytes); });
        survived += written && faults.injected() ? 1 : 0;
        expectWholeOrGone(written, large, faults);
    };
    const long runs = sweepFaults(scenario, oneWayEach);
    EXPECT_GT(runs, 300);
    EXPECT_GT(survived, 0) << "the second directory took over at least once";
    EXPECT_LT(survived, runs / 2);
}

TEST_F(SortFaultTest, ATableWhoseRunsAreMergedMoreThanOnceIsWholeOrGone) {
    const Rows huge = sortedRows(hugeCount, hugeBytes);
    ASSERT_TRUE(write(stage.manager.get(), huge, 0)) << stage.error.asCstr();
    ASSERT_GT(info.mergePasses, 1);
    stage.clearAway();
    const auto scenario = [&](Faults& faults) {
        stage.refresh();
        bool written = false;
        faults.during([&] { written = write(stage.manager.get(), huge, 0); });
        expectWholeOrGone(written, huge, faults);
    };
    sweepFaults(scenario, oneWayEach);
}

TEST_F(SortFaultTest, AManagerWithItsFirstSortedTableIsWholeOrGone) {
    const Rows sorted = sortedRows(5, 40);
    const KtbString directories(stage.directories.c_str());
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        bool written = false;
        bool made = false;
        KtbString refusal;
        faults.during([&] {
            const Manager manager(ktwtCreateManager(KtbString("", true), directories, &stage.error));
            if (manager == nullptr) return;
            made = prepare(manager.get());
            refusal = manager->getError();
            written = made && write(manager.get(), sorted, 0);
        });
        if (made) {
            expectWholeOrGone(written, sorted, faults);
        } else {
            EXPECT_TRUE(faults.injected());
            EXPECT_TRUE(stage.error.length() != 0 || refusal.length() != 0 || stage.log.entries().empty());
            EXPECT_EQ(stage.strangers().size(), 0u);
        }
    });
}

TEST_F(SortFaultTest, ADirectoryThatTakesNoMoreRowsIsRelievedByTheNext) {
    EXPECT_TRUE(writtenDespite({.call = FileCall::tmpfile, .file = "ktsort_"}));
    EXPECT_TRUE(writtenDespite({.call = FileCall::putb, .file = "ktsort_", .nth = 1, .code = np_err_no_space, .half = true}));
    EXPECT_TRUE(writtenDespite({.call = FileCall::putb, .file = "ktsort_", .nth = 9, .code = np_err_no_space}));
}

TEST_F(SortFaultTest, WithoutADirectoryForTheRowsTheSortsTextSaysWhy) {
    const std::string full = np_fio_errdesc(np_err_no_space);
    for (const FileCall call : {FileCall::tmpfile, FileCall::putb}) {
        EXPECT_FALSE(writtenDespite({.call = call, .file = "ktsort_", .lasting = true, .code = np_err_no_space}));
        EXPECT_NE(std::string(stage.error.asCstr()).find(full), std::string::npos) << stage.error.asCstr();
    }
}

TEST_F(SortFaultTest, RowsThatCannotBeReadBackFailTheClose) {
    for (const long nth : {1L, 2L, 15L}) {
        EXPECT_FALSE(writtenDespite({.call = FileCall::getb, .file = "ktsort_", .nth = nth}));
        EXPECT_FALSE(writtenDespite({.call = FileCall::getb, .file = "ktsort_", .nth = nth, .half = true}));
    }
}

TEST_F(SortFaultTest, ADataElementThatTakesNoRowsFailsTheClose) {
    EXPECT_FALSE(writtenDespite({.call = FileCall::tmpfile, .file = "ktwte_", .lasting = true}));
    EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
    EXPECT_FALSE(writtenDespite({.call = FileCall::putb, .file = "ktwte_", .nth = 8, .lasting = true}));
    EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
}

// What is to be removed is not sorted first, so that nothing of the sort can fail it.
TEST_F(SortFaultTest, AnUnfinishedTableIsRemovedWithoutATouchOfItsRows) {
    const Table table(stage.manager->create(2, 1, 0, &stage.error));
    ASSERT_NE(table, nullptr);
    ASSERT_TRUE(fill(table.get(), large));
    FileFaults faults({.file = "ktsort_", .lasting = true});
    bool removed = false;
    faults.during([&] { removed = static_cast<KTWTFileImpl*>(table.get())->remove(); });
    EXPECT_TRUE(removed);
    EXPECT_EQ(stage.strangers().size(), 0u);
    stage.expectUnharmed();
}

TEST_F(SortFaultTest, ACopyIntoASortedTableIsWholeOrReported) {
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        Table target(stage.manager->create(columnCount, 1, elementSize, &stage.error));
        ASSERT_NE(target, nullptr);
        ASSERT_EQ(target->setSort(0, 0, true, nullptr), 0);
        bool copied = false;
        faults.during([&] {
            copied = stage.manager->copy(target.get(), stage.manager.get(), KtbString(stage.kept.c_str(), true), &stage.error);
        });
        if (copied) {
            Rows expected = rowsFrom(0, rowCount);
            std::reverse(expected.begin(), expected.end());
            EXPECT_EQ(textsOf(stage.read(target.get()).value()), expected);
        } else {
            EXPECT_TRUE(faults.injected());
            EXPECT_NE(stage.error.length(), 0);
        }
        target.reset();
        stage.clearAway();
        stage.expectUnharmed();
    });
}

}  // namespace
