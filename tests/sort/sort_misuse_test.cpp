// The life of a sort: descriptions that are refused, calls out of turn, and what is told about a sort afterwards.
#include <gtest/gtest.h>

#include "sort_model.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

class SortUseTest : public testing::Test {
protected:
    SortUseTest() { begin(); }

    // A sort of three columns, without keys yet.
    void begin() {
        const ktbType types[] = {ktbTypeInteger, ktbTypeString, ktbTypeDouble};
        auto* made = new RowSort(smallSetup(8192));
        EXPECT_TRUE(made->prepare(3, types, directory.path().c_str()));
        sort.reset(made);
    }

    void beginWithKey() {
        begin();
        ASSERT_EQ(sort->setSortKeys(1), ktSortRow);
        ASSERT_EQ(sort->setSort(0, 0, false, nullptr), ktSortRow);
    }

    void addNumber(long number) {
        sort->columnSlot(0)->assign(number);
        ASSERT_EQ(sort->addRow(), ktSortRow);
    }

    std::string text() { return sort->getError().asCstr(); }

    // The call must have failed with this text, and so must every other from now on.
    void expectRefused(int status, const std::string& expected) {
        EXPECT_EQ(status, ktSortFailed);
        EXPECT_EQ(text(), expected);
        for (const int later : {sort->setSortKeys(1), sort->setSort(0, 0, false, nullptr), sort->addRow(), sort->finish(),
                                sort->firstRow(), sort->nextRow()}) {
            EXPECT_EQ(later, ktSortFailed);
            EXPECT_EQ(text(), expected);
        }
    }

    TempDirectory directory;
    Sort sort;
};

TEST_F(SortUseTest, RefusesNumbersOfKeysThatMakeNoSense) {
    expectRefused(sort->setSortKeys(0), "A sort needs at least one sort key, not 0.");
    begin();
    expectRefused(sort->setSortKeys(-5), "A sort needs at least one sort key, not -5.");
    begin();
    expectRefused(sort->setSortKeys(4), "4 sort keys are too many for rows of 3 columns.");
    begin();
    EXPECT_EQ(sort->setSortKeys(3), ktSortRow);
}

TEST_F(SortUseTest, RefusesKeysThatAreNotDeclared) {
    expectRefused(sort->setSort(0, 0, false, nullptr), "There is no sort key 0: 0 are declared.");
    for (const int index : {-1, 2}) {
        begin();
        ASSERT_EQ(sort->setSortKeys(2), ktSortRow);
        expectRefused(sort->setSort(index, 0, false, nullptr),
                      "There is no sort key " + std::to_string(index) + ": 2 are declared.");
    }
}

TEST_F(SortUseTest, RefusesColumnsThatThereAreNot) {
    for (const int column : {-1, 3, 1000}) {
        begin();
        ASSERT_EQ(sort->setSortKeys(1), ktSortRow);
        expectRefused(sort->setSort(0, column, false, nullptr),
                      "Sort key 0 is column " + std::to_string(column) + ", but the columns are 0 to 2.");
    }
}

TEST_F(SortUseTest, RefusesAColumnThatIsAKeyAlready) {
    ASSERT_EQ(sort->setSortKeys(2), ktSortRow);
    ASSERT_EQ(sort->setSort(0, 1, false, nullptr), ktSortRow);
    ASSERT_EQ(sort->setSort(0, 1, true, nullptr), ktSortRow) << "the same key may be set again";
    expectRefused(sort->setSort(1, 1, true, nullptr), "Column 1 is sort key 0 and sort key 1: give each column once.");
}

TEST_F(SortUseTest, RefusesCollationsThatThereAreNot) {
    for (const int kind : {-1, 3, 99}) {
        begin();
        ASSERT_EQ(sort->setSortKeys(1), ktSortRow);
        KTSortCollateParms parms = {kind, nullptr};
        expectRefused(sort->setSort(0, 1, false, &parms),
                      "Sort key 0: There is no collation of kind " + std::to_string(kind) + ".");
    }
}

TEST_F(SortUseTest, RefusesLocalesThatTheSystemDoesNotHave) {
    for (const char* name : {"xx_XX.UTF-8", "", static_cast<const char*>(nullptr), "C.UTF-9", "../C.UTF-8"}) {
        begin();
        ASSERT_EQ(sort->setSortKeys(1), ktSortRow);
        KTSortCollateParms parms = {ktSortCollateLocale, name};
        expectRefused(sort->setSort(0, 1, false, &parms), "Sort key 0: The locale \"" +
                                                              std::string(name != nullptr ? name : "") +
                                                              "\" for the collation is not known to this system.");
    }
}

// The refusal does not wait for the first row, and a name that is not looked at is no matter.
TEST_F(SortUseTest, OtherCollationsTakeNoNoticeOfALocale) {
    ASSERT_EQ(sort->setSortKeys(2), ktSortRow);
    KTSortCollateParms fold = {ktSortCollateFold, "xx_XX.UTF-8"};
    EXPECT_EQ(sort->setSort(0, 1, false, &fold), ktSortRow) << text();
    KTSortCollateParms bytes = {ktSortCollateBytes, nullptr};
    EXPECT_EQ(sort->setSort(1, 0, false, &bytes), ktSortRow) << text();
}

TEST_F(SortUseTest, RefusesRowsBeforeTheDescriptionIsWhole) {
    expectRefused(sort->addRow(), "No sort key is declared.");
    begin();
    expectRefused(sort->finish(), "No sort key is declared.");
    begin();
    ASSERT_EQ(sort->setSortKeys(2), ktSortRow);
    ASSERT_EQ(sort->setSort(0, 1, false, nullptr), ktSortRow);
    expectRefused(sort->addRow(), "Sort key 1 is not set.");
}

TEST_F(SortUseTest, RefusesKeysAfterTheFirstRow) {
    beginWithKey();
    addNumber(1);
    expectRefused(sort->setSortKeys(1), "Sort keys can be declared only before the first row.");
    beginWithKey();
    addNumber(1);
    expectRefused(sort->setSort(0, 1, false, nullptr), "Sort keys can be set only before the first row.");
}

TEST_F(SortUseTest, RefusesCallsOutOfTurn) {
    beginWithKey();
    addNumber(1);
    ASSERT_EQ(sort->finish(), ktSortRow);
    expectRefused(sort->addRow(), "A row can be added only before the sort is finished.");
    beginWithKey();
    ASSERT_EQ(sort->finish(), ktSortRow);
    expectRefused(sort->finish(), "A sort can be finished only once.");
    beginWithKey();
    addNumber(1);
    expectRefused(sort->firstRow(), "The first row can be fetched once, when the sort is finished.");
    beginWithKey();
    addNumber(1);
    ASSERT_EQ(sort->finish(), ktSortRow);
    expectRefused(sort->nextRow(), "A next row can be fetched only after the first.");
    beginWithKey();
    addNumber(1);
    ASSERT_TRUE(sort->finish() == ktSortRow && sort->firstRow() == ktSortRow);
    expectRefused(sort->firstRow(), "The first row can be fetched once, when the sort is finished.");
}

TEST_F(SortUseTest, TheEndStaysTheEnd) {
    beginWithKey();
    addNumber(1);
    ASSERT_TRUE(sort->finish() == ktSortRow && sort->firstRow() == ktSortRow);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(sort->nextRow(), ktSortEnd);
    EXPECT_EQ(text(), "");
}

TEST_F(SortUseTest, ASortOfNoRowsHasNone) {
    for (const bool noDups : {false, true}) {
        RowSortSetup setup = smallSetup(8192, 4096, 2);
        setup.settings.noDups = setup.settings.markByGroups = noDups;
        const Sort empty = makeSort({{ktbTypeString}, {{0}}}, setup, directory.path());
        const Sorted sorted = run(empty.get(), {}, 1);
        EXPECT_EQ(sorted.status, ktSortEnd) << sorted.error;
        EXPECT_EQ(sorted.info.rowsIn + sorted.info.rowsOut + sorted.info.duplicates + sorted.info.groups, 0);
        EXPECT_EQ(sorted.info.runs + sorted.info.bytesSpilled + sorted.info.mergePasses, 0);
        EXPECT_EQ(empty->nextRow(), ktSortEnd);
    }
}

TEST_F(SortUseTest, ThereIsNoPlaceForColumnsThatThereAreNot) {
    beginWithKey();
    for (const int column : {-1, 3, INT_MAX, INT_MIN}) {
        EXPECT_EQ(sort->columnSlot(column), nullptr);
        EXPECT_EQ(sort->columnValue(column), nullptr);
    }
    addNumber(7);
    ASSERT_TRUE(sort->finish() == ktSortRow && sort->firstRow() == ktSortRow);
    for (const int column : {-1, 3, INT_MAX, INT_MIN}) EXPECT_EQ(sort->columnValue(column), nullptr);
    EXPECT_EQ(sort->columnValue(0)->asInt64(nullptr), 7);
}

TEST_F(SortUseTest, ThereIsNoValueBeforeThereIsARow) {
    begin();
    EXPECT_EQ(sort->columnValue(0), nullptr);
}

TEST_F(SortUseTest, SlotsKeepTheirValuesFromRowToRow) {
    beginWithKey();
    sort->columnSlot(1)->assign("same");
    addNumber(2);
    addNumber(1);
    ASSERT_TRUE(sort->finish() == ktSortRow && sort->firstRow() == ktSortRow);
    EXPECT_STREQ(sort->columnValue(1)->asString().asCstr(), "same");
    ASSERT_EQ(sort->nextRow(), ktSortRow);
    EXPECT_STREQ(sort->columnValue(1)->asString().asCstr(), "same");
    EXPECT_TRUE(sort->columnValue(2)->isNull());
}

// Whoever filled it may still hold it.
TEST_F(SortUseTest, SlotsLiveAsLongAsTheSort) {
    beginWithKey();
    KtbDatavar* slot = sort->columnSlot(0);
    addNumber(2);
    ASSERT_EQ(sort->finish(), ktSortRow);
    slot->assign(3L);
    EXPECT_EQ(slot->asInt64(nullptr), 3);
    ASSERT_EQ(sort->firstRow(), ktSortRow);
    EXPECT_EQ(sort->columnValue(0)->asInt64(nullptr), 2);
}

TEST_F(SortUseTest, GroupsAreTheOnlyOnesToStartWhenTheyAreMarked) {
    beginWithKey();
    addNumber(1);
    EXPECT_FALSE(sort->startsGroup());
    ASSERT_TRUE(sort->finish() == ktSortRow && sort->firstRow() == ktSortRow);
    EXPECT_FALSE(sort->startsGroup());
}

TEST_F(SortUseTest, TheInformationIsFilledWhenTheSortIsFinishedWhenItEndsAndWhenItFails) {
    beginWithKey();
    KtDatafileSortInfo info{};
    EXPECT_EQ(sort->setSortInfo(&info), ktSortRow);
    for (long i = 0; i < 300; ++i) addNumber(i);
    EXPECT_EQ(info.rowsIn, 0);
    ASSERT_EQ(sort->finish(), ktSortRow);
    EXPECT_EQ(info.rowsIn, 300);
    EXPECT_EQ(info.rowsOut, 0);
    EXPECT_GT(info.runs, 0);
    EXPECT_EQ(info.budget, 8192);
    EXPECT_EQ(info.threads, 1);
    ASSERT_EQ(sort->firstRow(), ktSortRow);
    while (sort->nextRow() == ktSortRow) continue;
    EXPECT_EQ(info.rowsOut, 300);

    beginWithKey();
    sort->setSortInfo(&info);
    addNumber(1);
    addNumber(2);
    EXPECT_EQ(sort->nextRow(), ktSortFailed);
    EXPECT_EQ(info.rowsIn, 2);
    EXPECT_EQ(info.rowsOut, 0);
}

TEST_F(SortUseTest, NobodyNeedsToBeToldAnything) {
    beginWithKey();
    EXPECT_EQ(sort->setSortInfo(nullptr), ktSortRow);
    EXPECT_EQ(sort->setSortProgress(nullptr), ktSortRow);
    for (long i = 0; i < 1000; ++i) addNumber(i);
    EXPECT_EQ(sort->finish(), ktSortRow);
}

// Keys order by what values are in the column's type, and come back as what they were.
TEST_F(SortUseTest, ValuesOfOtherTypesOrderAsWhatTheyAreInTheColumnsType) {
    const Description description = {{ktbTypeInteger}, {{0}}};
    const Rows rows = {{valueOf("30")}, {valueOf("many")},    {valueOf(4.0)},          {valueOf(4L)},
                       {valueOf(4.5)},  {decimalOf("-2.00")}, {nullOf(ktbTypeString)}, {valueOf(true)}};
    const Sort mixed = makeSort(description, smallSetup(8192), directory.path());
    const Sorted sorted = run(mixed.get(), rows, 1);
    // Those that are no integer, in their order; then -2, 1, 4, 4 and 30.
    expectSame(sorted.rows, {rows[1], rows[4], rows[6], rows[5], rows[7], rows[2], rows[3], rows[0]});
}

TEST_F(SortUseTest, OfEqualRowsTheFirstStays) {
    RowSortSetup setup = smallSetup(8192);
    setup.settings.noDups = true;
    const Sort sort2 = makeSort({{ktbTypeString, ktbTypeInteger}, {{0, true, ktSortCollateFold}}}, setup, directory.path());
    const Rows rows = {
        {valueOf("b"), valueOf(1L)}, {valueOf("A"), valueOf(2L)}, {valueOf("B"), valueOf(3L)}, {valueOf("a"), valueOf(4L)}};
    const Sorted sorted = run(sort2.get(), rows, 2);
    expectSame(sorted.rows, {rows[0], rows[1]});
    EXPECT_EQ(sorted.info.duplicates, 2);
}

TEST_F(SortUseTest, AManagerThatIsGoneLeavesItsSortsAlone) {
    SortManager manager(ktDatafileManagerCreate(directory.path().c_str(), nullptr));
    ASSERT_TRUE(manager->declareColumns(1) && manager->declareColumn(0, ktbTypeInteger, 0));
    const Sort left(manager->createSort(ktSortRows));
    manager.reset();
    setKeys(left.get(), {{0, true}});
    const Sorted sorted = run(left.get(), {{valueOf(1L)}, {valueOf(3L)}, {valueOf(2L)}}, 1);
    expectSame(sorted.rows, {{valueOf(3L)}, {valueOf(2L)}, {valueOf(1L)}});
}

}  // namespace
