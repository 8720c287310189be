// The settings, forwarded to a sort manager that is made on first need.
#include <gtest/gtest.h>

#include "recording_sort_manager.h"
#include "support/released.h"
#include "support/temp_directory.h"

namespace {

using Calls = std::vector<std::string>;

class SortSettingsTest : public testing::Test {
protected:
    SortSettingsTest() {
        sortRecord() = SortRecord();
        manager.reset(ktwtCreateManager("key", directory.path().c_str(), &error));
    }

    Calls calls() const { return sortRecord().calls; }
    std::string errorOfManager() const { return manager->getError().asCstr(); }

    // Every setting with an argument of its own; true when all of them were accepted.
    bool setAll() {
        bool all = manager->setChunkSize(1);
        all = manager->setSortMarkByGroups(true) && all;
        all = manager->setSortNoCodeGen(false) && all;
        all = manager->setSortNoDups(true) && all;
        all = manager->setSortProcessors(-5) && all;
        all = manager->setSortRecords(6) && all;
        all = manager->setSortSize(~0UL) && all;
        return manager->setSortStable(false) && all;
    }

    const TempDirectory directory;
    const std::string creation = "created " + directory.path();
    KtbString error;
    Manager manager;
};

TEST_F(SortSettingsTest, NothingIsMadeBeforeItIsNeeded) {
    EXPECT_NE(Table(manager->create(1, 0, 0, &error)), nullptr);
    EXPECT_NE(Table(manager->create(1, 0, &error)), nullptr);
    manager.reset();
    EXPECT_EQ(calls(), Calls());
}

TEST_F(SortSettingsTest, EverySettingArrivesUnderItsNameAndWithItsArgument) {
    EXPECT_TRUE(setAll());
    EXPECT_EQ(calls(),
              (Calls{creation, "setChunkSize 1", "setSortMarkByGroups 1", "setSortNoCodeGen 0", "setSortNoDups 1",
                     "setSortProcessors -5", "setSortRecords 6", "setSortSize 18446744073709551615", "setSortStable 0"}));
    EXPECT_EQ(errorOfManager(), "");
}

TEST_F(SortSettingsTest, TheSortManagerIsMadeOnceAndReleasedWithItsManager) {
    EXPECT_TRUE(manager->setSortSize(1));
    EXPECT_TRUE(manager->setSortSize(2));
    EXPECT_NE(Table(manager->create(1, 1, 0, &error)), nullptr) << error.asCstr();
    EXPECT_EQ(sortRecord().alive, 1);
    manager.reset();
    EXPECT_EQ(sortRecord().alive, 0);
    EXPECT_EQ(calls(), (Calls{creation, "setSortSize 1", "setSortSize 2", "released"}));
}

TEST_F(SortSettingsTest, SortColumnsMakeTheSortManager) {
    EXPECT_NE(Table(manager->create(2, 1, 0, &error)), nullptr) << error.asCstr();
    EXPECT_EQ(calls(), (Calls{creation}));
}

TEST_F(SortSettingsTest, ARefusedSettingGivesTheSortManagersText) {
    sortRecord().refuseSettings = true;
    EXPECT_FALSE(manager->setSortRecords(3));
    EXPECT_EQ(errorOfManager(), "refused: setSortRecords 3");
    EXPECT_FALSE(setAll());
    EXPECT_EQ(errorOfManager(), "refused: setSortStable 0");
}

TEST_F(SortSettingsTest, ALaterSuccessKeepsTheErrorText) {
    sortRecord().refuseSettings = true;
    EXPECT_FALSE(manager->setSortRecords(3));
    sortRecord().refuseSettings = false;
    EXPECT_TRUE(manager->setSortRecords(4));
    EXPECT_EQ(errorOfManager(), "refused: setSortRecords 3");
}

TEST_F(SortSettingsTest, AFailedCreationIsTriedAgainAtTheNextNeed) {
    sortRecord().refuseCreation = true;
    EXPECT_FALSE(setAll());
    EXPECT_EQ(errorOfManager(), "no sort manager today");
    EXPECT_EQ(calls(), Calls(8, creation));
    EXPECT_EQ(Table(manager->create(1, 1, 0, &error)), nullptr);
    EXPECT_STREQ(error.asCstr(), "no sort manager today");
    EXPECT_NE(Table(manager->create(1, 0, 0, &error)), nullptr);
    sortRecord().refuseCreation = false;
    EXPECT_TRUE(setAll());
    EXPECT_EQ(sortRecord().alive, 1);
}

TEST_F(SortSettingsTest, ATableTakesItsSortKeys) {
    const Table table(manager->create(2, 2, 0, &error));
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->setSort(0, 1, true, nullptr), 0);
    EXPECT_EQ(table->setSort(1, 0, false, nullptr), 0);
    EXPECT_EQ(table->setSort(2, 0, false, nullptr), 1);
    EXPECT_EQ(table->setSort(-1, 0, false, nullptr), 1);
    EXPECT_EQ(table->setSortInfo(nullptr), 0);
    EXPECT_EQ(table->setSortProgress(nullptr), 0);
}

}  // namespace
