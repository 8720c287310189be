// The settings of the sort, its information record and its progress object, as callers of tables meet them.
#include <climits>
#include <set>

#include "table/sorted_fixture.h"

namespace {

class SortedSettingsTest : public SortedTest {
protected:
    // What a sort of a few rows with the settings in force tells of itself.
    KtDatafileSortInfo sortFew() {
        makeSorted({{"key", ktbTypeInteger}}, {{}});
        table_->setSortInfo(&info_);
        for (const long key : {2L, 1L, 2L, 1L, 3L}) row({key});
        finish();
        return info_;
    }

    // Expects the setting to have been refused with a text that has these words in it.
    void expectRefused(bool accepted, const std::vector<std::string>& words) {
        EXPECT_FALSE(accepted);
        const std::string text = bytesOf(manager_->getError());
        for (const std::string& word : words) EXPECT_NE(text.find(word), std::string::npos) << text;
    }

    Rows storedRows() { return reopen() ? rowsRead() : Rows(); }
};

// Settings

TEST_F(SortedSettingsTest, TheSizeIsTheBudgetInForce) {
    EXPECT_TRUE(manager_->setSortSize(budgetMin));
    EXPECT_EQ(sortFew().budget, static_cast<long>(budgetMin));
    expectRefused(manager_->setSortSize(budgetMin - 1), {"1048575", "1048576"});
    expectRefused(manager_->setSortSize(0), {" 0 ", "1048576"});
    EXPECT_EQ(sortFew().budget, static_cast<long>(budgetMin));
    EXPECT_TRUE(manager_->setSortSize(ULONG_MAX));
    const long most = sortFew().budget;
    EXPECT_GT(most, static_cast<long>(budgetMin)) << "half of what the machine has";
    EXPECT_TRUE(manager_->setSortSize(2 * budgetMin));
    EXPECT_EQ(sortFew().budget, static_cast<long>(2 * budgetMin));
}

TEST_F(SortedSettingsTest, TheChunkSizeIsInForceAsFarAsTheBudgetAllows) {
    constexpr unsigned long least = 4UL << 10;
    constexpr unsigned long most = 64UL << 20;
    EXPECT_EQ(sortFew().chunkBytes, 256L << 10);
    EXPECT_TRUE(manager_->setChunkSize(least));
    EXPECT_EQ(sortFew().chunkBytes, static_cast<long>(least));
    expectRefused(manager_->setChunkSize(least - 1), {"4095", "4096", "67108864"});
    expectRefused(manager_->setChunkSize(most + 1), {"67108865"});
    expectRefused(manager_->setChunkSize(0), {" 0 "});
    EXPECT_EQ(sortFew().chunkBytes, static_cast<long>(least));
    EXPECT_TRUE(manager_->setChunkSize(most));
    EXPECT_TRUE(manager_->setSortSize(budgetMin));
    const KtDatafileSortInfo info = sortFew();
    EXPECT_LT(info.chunkBytes, info.budget / 2) << "two chunks at least are in memory when runs are merged";
    EXPECT_GE(info.chunkBytes, static_cast<long>(least));
}

TEST_F(SortedSettingsTest, TheProcessorsAreTheThreadsInForce) {
    for (const int processors : {1, 3, 1024}) {
        EXPECT_TRUE(manager_->setSortProcessors(processors));
        EXPECT_EQ(sortFew().threads, processors);
    }
    EXPECT_TRUE(manager_->setSortProcessors(2));
    expectRefused(manager_->setSortProcessors(-1), {"-1", "1024"});
    expectRefused(manager_->setSortProcessors(1025), {"1025"});
    expectRefused(manager_->setSortProcessors(INT_MIN), {"-2147483648"});
    EXPECT_EQ(sortFew().threads, 2);
    EXPECT_TRUE(manager_->setSortProcessors(0));
    EXPECT_GE(sortFew().threads, 1) << "as many as there are";
}

TEST_F(SortedSettingsTest, StableIsReportedAndChangesNothing) {
    for (const bool stable : {true, false}) {
        EXPECT_TRUE(manager_->setSortStable(stable));
        EXPECT_EQ(sortFew().stable, stable);
        EXPECT_EQ(storedRows(), (Rows{{1L}, {1L}, {2L}, {2L}, {3L}}));
    }
}

TEST_F(SortedSettingsTest, WithoutDuplicatesTheFirstOfEqualKeysIsKept) {
    EXPECT_TRUE(manager_->setSortNoDups(true));
    makeSorted({{"key"}, {"number", ktbTypeInteger}}, {{0, true}});
    table_->setSortInfo(&info_);
    const Rows rows = {{"b", 0}, {nullptr, 1}, {"a", 2}, {"b", 3}, {nullptr, 4}, {"b", 5}};
    for (const Row& values : rows) row(values);
    EXPECT_EQ(table_->getRows(), 6) << "rows written";
    ASSERT_TRUE(table_->close()) << tableError();
    EXPECT_EQ(table_->getRows(), 3) << "rows stored";
    EXPECT_EQ(info_.rowsIn, 6);
    EXPECT_EQ(info_.rowsOut, 3);
    EXPECT_EQ(info_.duplicates, 3);
    EXPECT_EQ(storedRows(), (Rows{{"b", 0}, {"a", 2}, {nullptr, 1}}));
    EXPECT_TRUE(manager_->setSortNoDups(false));
    EXPECT_EQ(sortFew().duplicates, 0);
}

TEST_F(SortedSettingsTest, GroupsAreCountedWhenTheyAreMarked) {
    EXPECT_EQ(sortFew().groups, 0);
    EXPECT_TRUE(manager_->setSortMarkByGroups(true));
    EXPECT_EQ(sortFew().groups, 3);
    EXPECT_EQ(storedRows(), (Rows{{1L}, {1L}, {2L}, {2L}, {3L}}));
    EXPECT_TRUE(manager_->setSortMarkByGroups(false));
    EXPECT_EQ(sortFew().groups, 0);
}

TEST_F(SortedSettingsTest, NoCodeGenGivesTheSameFiles) {
    std::vector<std::string> data;
    for (const bool columnByColumn : {false, true}) {
        EXPECT_TRUE(manager_->setSortNoCodeGen(columnByColumn));
        makeSpilled();
        finish();
        data.push_back(readFile(dataPath(0)));
    }
    EXPECT_EQ(data[0], data[1]);
}

TEST_F(SortedSettingsTest, ASettingHoldsFromTheNextFirstRowOn) {
    EXPECT_TRUE(manager_->setSortSize(budgetMin));
    KtDatafileSortInfo early = {};
    KtDatafileSortInfo late = {};
    makeSorted({{"key", ktbTypeInteger}}, {{}});
    table_->setSortInfo(&early);
    row({1L});
    const Table first = std::move(table_);
    makeSorted({{"key", ktbTypeInteger}}, {{}});
    table_->setSortInfo(&late);
    EXPECT_TRUE(manager_->setSortSize(3 * budgetMin));
    row({1L});
    finish();
    EXPECT_TRUE(first->close());
    EXPECT_EQ(early.budget, static_cast<long>(budgetMin));
    EXPECT_EQ(late.budget, static_cast<long>(3 * budgetMin));
}

// Information

TEST_F(SortedSettingsTest, TheInformationTellsOfASortThatSpilled) {
    makeSpilled();
    finish();
    EXPECT_EQ(info_.rowsIn, largeCount);
    EXPECT_EQ(info_.rowsOut, largeCount);
    EXPECT_EQ(info_.duplicates, 0);
    EXPECT_GT(info_.runs, 1);
    EXPECT_GT(info_.mergePasses, 0);
    EXPECT_GT(info_.bytesSpilled, 20000 * largeCount);
    EXPECT_GT(info_.peakMemory, 0);
    EXPECT_LE(info_.peakMemory, info_.budget);
}

TEST_F(SortedSettingsTest, TheInformationTellsOfASortInMemory) {
    const KtDatafileSortInfo info = sortFew();
    EXPECT_EQ(info.rowsIn, 5);
    EXPECT_EQ(info.rowsOut, 5);
    EXPECT_EQ(info.runs, 0);
    EXPECT_EQ(info.bytesSpilled, 0);
}

// Progress

// Remembers what it is told, and cancels in one phase.
class Progress : public KtDatafileSortProgress {
public:
    explicit Progress(int cancelledPhase = 0) : cancelledPhase_(cancelledPhase) {}

    bool report(int phase, long rowsDone, long rowsExpected) override {
        phases.insert(phase);
        done = rowsDone;
        expected = rowsExpected;
        return phase != cancelledPhase_;
    }

    std::set<int> phases;
    long done = -1;
    long expected = -1;

private:
    const int cancelledPhase_;
};

class SortedProgressTest : public SortedSettingsTest {
protected:
    void makeWatched(Progress* progress) {
        makeSorted({{"id", ktbTypeInteger}, {"text"}}, {{}});
        table_->setSortInfo(&info_);
        table_->setSortProgress(progress);
    }

    void expectCancelled() {
        EXPECT_NE(tableError().find("cancelled"), std::string::npos) << tableError();
        table_.reset();
        EXPECT_EQ(files(), std::vector<std::string>());
        EXPECT_EQ(openHandles(), handles_);
    }

    const std::size_t handles_ = openHandles();
};

TEST_F(SortedProgressTest, TheFirstReportOfFillingTellsTheRowsExpected) {
    Progress progress;
    EXPECT_TRUE(manager_->setSortRecords(LONG_MAX));
    EXPECT_TRUE(manager_->setSortRecords(123456));
    expectRefused(manager_->setSortRecords(static_cast<unsigned long>(LONG_MAX) + 1), {"9223372036854775808"});
    makeWatched(&progress);
    for (long i = 0; i < 3; ++i) row(largeRow(i, largeCount));
    EXPECT_EQ(progress.phases, (std::set<int>{ktSortFilling}));
    EXPECT_GT(progress.done, 0);
    EXPECT_EQ(progress.expected, 123456);
    finish();
}

TEST_F(SortedProgressTest, CancellingWhileRowsAreWrittenEndsTheTable) {
    Progress progress(ktSortFilling);
    makeWatched(&progress);
    bool written = true;
    long count = 0;
    for (; count < largeCount && written; ++count) written = tryRow(largeRow(count, largeCount));
    EXPECT_FALSE(written);
    EXPECT_EQ(table_->getRows(), count - 1);
    const std::string text = tableError();
    EXPECT_FALSE(tryRow(largeRow(0, largeCount)));
    EXPECT_FALSE(table_->close());
    EXPECT_EQ(tableError(), text);
    EXPECT_EQ(files(), std::vector<std::string>());
    expectCancelled();
}

// So few rows that the first report comes when they are handed back.
TEST_F(SortedProgressTest, CancellingWhileRowsAreStoredEndsTheTable) {
    Progress progress(ktSortDelivering);
    makeWatched(&progress);
    row({1L, std::string(20000, 'a')});
    row({2L, "the last row"});
    EXPECT_EQ(progress.phases, std::set<int>());
    EXPECT_FALSE(table_->close());
    EXPECT_EQ(progress.phases, (std::set<int>{ktSortDelivering}));
    EXPECT_EQ(progress.expected, 2);
    EXPECT_EQ(info_.rowsIn, 2);
    EXPECT_LT(info_.rowsOut, 2);
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_TRUE(table_->close());
    expectCancelled();
}

TEST_F(SortedProgressTest, CancellingATableThatIsOnlyReleasedRemovesIt) {
    Progress progress(ktSortDelivering);
    makeWatched(&progress);
    for (long i = 0; i < 2; ++i) row({i, std::string(15000, 'a')});
    table_.reset();
    EXPECT_EQ(progress.phases, (std::set<int>{ktSortDelivering}));
    EXPECT_EQ(files(), std::vector<std::string>());
}

}  // namespace
