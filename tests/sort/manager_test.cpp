// The sort manager: its settings, its columns, and the sorts that it makes.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "ktb/sort.h"
#include "sort/row_sort.h"
#include "support/temp_directory.h"

namespace {

class SortManagerTest : public testing::Test {
protected:
    SortManagerTest() : manager(ktDatafileManagerCreate(directory.path().c_str(), &error)) {}
    ~SortManagerTest() override { manager->release(); }

    KtDatafileSortSettings settings() {
        KtDatafileSortSettings current;
        manager->getSettings(&current);
        return current;
    }
    std::string text() { return manager->getError().asCstr(); }

    TempDirectory directory;
    KtbString error;
    KtDatafileManager* manager;
};

TEST_F(SortManagerTest, BeginsWithSettingsThatSuitMostSorts) {
    EXPECT_EQ(settings().chunkBytes, 256ul * 1024);
    EXPECT_EQ(settings().budget, 256ul * 1024 * 1024);
    EXPECT_EQ(settings().records, 0ul);
    EXPECT_EQ(settings().processors, 0);
    EXPECT_FALSE(settings().markByGroups || settings().noCodeGen || settings().noDups || settings().stable);
}

TEST_F(SortManagerTest, TakesTheChunkSizeFrom4KibibytesTo64Mebibytes) {
    for (const unsigned long bytes : {4096ul, 65536ul, 64ul << 20}) {
        EXPECT_TRUE(manager->setChunkSize(bytes));
        EXPECT_EQ(settings().chunkBytes, bytes);
    }
    for (const unsigned long bytes : {0ul, 4095ul, (64ul << 20) + 1, ULONG_MAX}) {
        EXPECT_FALSE(manager->setChunkSize(bytes));
        EXPECT_NE(text().find(" " + std::to_string(bytes) + " "), std::string::npos) << text();
        EXPECT_EQ(settings().chunkBytes, 64ul << 20);
    }
}

TEST_F(SortManagerTest, TakesABudgetOfAtLeastAMebibyte) {
    EXPECT_TRUE(manager->setSortSize(1ul << 20));
    EXPECT_TRUE(manager->setSortSize(ULONG_MAX));
    for (const unsigned long bytes : {0ul, (1ul << 20) - 1}) {
        EXPECT_FALSE(manager->setSortSize(bytes));
        EXPECT_NE(text().find(" " + std::to_string(bytes) + " "), std::string::npos) << text();
        EXPECT_EQ(settings().budget, ULONG_MAX);
    }
}

TEST_F(SortManagerTest, RefusesNegativeAndAbsurdNumbersOfProcessors) {
    EXPECT_TRUE(manager->setSortProcessors(1024));
    for (const int processors : {-1, INT_MIN, 1025}) {
        EXPECT_FALSE(manager->setSortProcessors(processors));
        EXPECT_NE(text().find(" " + std::to_string(processors) + " "), std::string::npos) << text();
        EXPECT_EQ(settings().processors, 1024);
    }
    EXPECT_TRUE(manager->setSortProcessors(0));
}

TEST_F(SortManagerTest, RefusesANumberOfRowsThatNoRowCountHolds) {
    EXPECT_TRUE(manager->setSortRecords(LONG_MAX));
    EXPECT_FALSE(manager->setSortRecords(static_cast<unsigned long>(LONG_MAX) + 1));
    EXPECT_NE(text().find("9223372036854775808"), std::string::npos) << text();
    EXPECT_EQ(settings().records, static_cast<unsigned long>(LONG_MAX));
}

TEST_F(SortManagerTest, KeepsEveryFlag) {
    EXPECT_TRUE(manager->setSortMarkByGroups(true) && settings().markByGroups);
    EXPECT_TRUE(manager->setSortNoCodeGen(true) && settings().noCodeGen);
    EXPECT_TRUE(manager->setSortNoDups(true) && settings().noDups);
    EXPECT_TRUE(manager->setSortStable(true) && settings().stable);
    EXPECT_TRUE(manager->setSortStable(false) && !settings().stable);
}

TEST_F(SortManagerTest, MakesNoSortWithoutColumnsOrWithOtherOptions) {
    EXPECT_EQ(manager->createSort(ktSortRows), nullptr);
    EXPECT_NE(text(), "");
    ASSERT_TRUE(manager->declareColumns(1));
    EXPECT_EQ(manager->createSort(0x1234), nullptr);
    EXPECT_NE(text().find("0x1234"), std::string::npos) << text();
    manager->forgetColumns();
    EXPECT_EQ(manager->createSort(ktSortRows), nullptr);
}

TEST_F(SortManagerTest, RefusesColumnsThatThereAreNot) {
    EXPECT_FALSE(manager->declareColumns(0));
    EXPECT_FALSE(manager->declareColumns(-7));
    EXPECT_NE(text().find("-7"), std::string::npos) << text();
    EXPECT_FALSE(manager->declareColumn(0, ktbTypeInteger, 0));
    ASSERT_TRUE(manager->declareColumns(2));
    EXPECT_TRUE(manager->declareColumn(1, ktbTypeInteger, 0));
    for (const int position : {-1, 2}) {
        EXPECT_FALSE(manager->declareColumn(position, ktbTypeInteger, 0));
        EXPECT_NE(text().find(" " + std::to_string(position) + " "), std::string::npos) << text();
    }
}

TEST_F(SortManagerTest, TellsWhyItsDirectoriesCannotBeUsed) {
    std::string list;
    for (int i = 0; i < 70000; ++i) list += "a:";
    KtDatafileManager* other = ktDatafileManagerCreate(list.c_str(), &error);
    ASSERT_NE(other, nullptr);
    ASSERT_TRUE(other->declareColumns(1));
    EXPECT_EQ(other->createSort(ktSortRows), nullptr);
    EXPECT_STREQ(other->getError().asCstr(), "There are more than 65535 work directories.");
    other->release();
}

TEST(RowSortSetupTest, BlocksHoldWholeEntriesWhateverTheBudget) {
    for (unsigned long budget = 1UL << 20; budget < 1UL << 27; budget += 999983) {
        RowSortSetup setup;
        setup.setBudget(budget, 256 * 1024);
        EXPECT_EQ(setup.blockBytes % RowBlock::entryBytes, 0u) << budget;
        EXPECT_GE(setup.blockBytes, 16000u) << budget;
    }
}

}  // namespace
