// Rows on their way into a sort and back, seen from the sort: one that takes down every call and fails where it is told to.
#include <climits>

#include "recording_sort_manager.h"
#include "support/failing_new.h"
#include "table/whitebox_fixture.h"

namespace {

using Calls = std::vector<std::string>;

class SortedWriteTest : public WhiteboxTest {
protected:
    SortedWriteTest() { sortRecord() = SortRecord(); }

    // A new table "id" (integer), "text" with one sort key.
    void makeSorted(long elementSize = 0) { makeSorted({{"id", ktbTypeInteger}, {"text"}}, 1, elementSize); }
    void makeSorted(const std::vector<Column>& columns, int keys, long elementSize = 0) {
        table_.reset(manager_->create(static_cast<int>(columns.size()), keys, elementSize, &error_));
        ASSERT_TRUE(table_) << error_.asCstr();
        name_ = bytesOf(table_->getName());
        for (std::size_t i = 0; i < columns.size(); ++i) ASSERT_TRUE(define(static_cast<int>(i), columns[i])) << tableError();
    }

    // What was called since the last time this was asked.
    static Calls calls() {
        Calls result = sortRecord().calls;
        sortRecord().calls.clear();
        return result;
    }

    void makeTwoRows() {
        makeSorted();
        row({1L, "a"});
        row({2L, nullptr});
        calls();
    }

    static void failAt(const std::string& call, int after = 0) {
        sortRecord().failing = call;
        sortRecord().failingAfter = after;
    }

    // Expects the close to fail with this text and to leave nothing behind.
    void expectCloseFails(const std::string& text) {
        EXPECT_FALSE(table_->close());
        EXPECT_EQ(tableError(), text);
        EXPECT_EQ(sortRecord().sortsAlive, 0);
        EXPECT_EQ(files(), std::vector<std::string>());
        EXPECT_TRUE(table_->close()) << "there is nothing left to be closed";
        table_.reset();
        EXPECT_EQ(files(), std::vector<std::string>());
    }

    // The rows on disk; the table that is open, which may be about to remove itself, stays open.
    Rows storedRows() {
        const Table stored(manager_->open(ktb(name_), false, &error_));
        EXPECT_TRUE(stored) << error_.asCstr();
        return stored ? readAll(*stored).rows : Rows();
    }
};

// The description of the sort

TEST_F(SortedWriteTest, TheSortIsDescribedAtTheFirstRow) {
    makeSorted();
    ASSERT_EQ(table_->setSort(0, 1, true, nullptr), 0);
    EXPECT_EQ(calls(), (Calls{"created " + directories_[0]}));
    row({7L, "text"});
    EXPECT_EQ(calls(), (Calls{"declareColumns 2", "declareColumn 0 2 0", "declareColumn 1 4 1020", "createSort d0000000",
                              "forgetColumns", "setSortKeys 1", "setSort 0 1 1", "setSortInfo", "setSortProgress",
                              "columnSlot 0", "columnSlot 1", "addRow 7,text"}));
    row({8L, nullptr});
    EXPECT_EQ(calls(), (Calls{"addRow 8,-"}));
}

TEST_F(SortedWriteTest, ATextIsDeclaredFourTimesAsWideOr1020Wide) {
    const std::pair<int, int> widths[] = {{1, 4},
                                          {10, 40},
                                          {0, 1020},
                                          {-1, 1020},
                                          {INT_MIN, 1020},
                                          {INT_MAX / 4, INT_MAX - 3},
                                          {INT_MAX / 4 + 1, INT_MAX},
                                          {INT_MAX, INT_MAX}};
    for (const auto& [declared, told] : widths) {
        makeSorted({{"text", ktbTypeString, declared}}, 1);
        calls();
        row({nullptr});
        EXPECT_EQ(calls().at(1), "declareColumn 0 4 " + std::to_string(told));
    }
}

TEST_F(SortedWriteTest, OtherColumnsAreDeclaredAsTheyWereDefined) {
    makeSorted({{"a", ktbTypeBoolean, 1}, {"b", ktbTypeDate, INT_MAX}, {"c", ktbTypeDouble, -3}, {"d", 99, 5}}, 1);
    calls();
    row({true, nullptr, 0.5, "x"});
    const Calls made = calls();
    EXPECT_EQ(Calls(made.begin() + 1, made.begin() + 5),
              (Calls{"declareColumn 0 1 1", "declareColumn 1 5 2147483647", "declareColumn 2 6 -3", "declareColumn 3 99 5"}));
}

TEST_F(SortedWriteTest, KeysInformationAndProgressArriveAsTheyWereSet) {
    KTSortCollateParms fold = {ktSortCollateFold, nullptr};
    KTSortCollateParms locale = {ktSortCollateLocale, "xx"};
    KtDatafileSortInfo info = {};
    auto* progress = reinterpret_cast<KtDatafileSortProgress*>(&info);  // nobody calls it here
    makeSorted({{"a"}, {"b"}, {"c"}}, 3);
    table_->setSort(0, 2, true, &fold);
    table_->setSort(1, 5, false, nullptr);  // what it means is the sort's to judge
    table_->setSort(2, -1, true, nullptr);
    table_->setSort(2, 0, false, &locale);  // the last one counts
    table_->setSortInfo(&info);
    table_->setSortProgress(progress);
    calls();
    row({"a", "b", "c"});
    const Calls made = calls();
    EXPECT_EQ(Calls(made.begin() + 6, made.begin() + 12),
              (Calls{"setSortKeys 3", "setSort 0 2 1", "setSort 1 5 0", "setSort 2 0 0", "setSortInfo", "setSortProgress"}));
    EXPECT_EQ(sortRecord().parms, (std::vector<KTSortCollateParms*>{&fold, nullptr, &locale}));
    EXPECT_EQ(sortRecord().info, &info);
    EXPECT_EQ(sortRecord().progress, progress);
}

TEST_F(SortedWriteTest, WhatWasNotSetIsColumnZeroAscendingAndNull) {
    sortRecord().info = reinterpret_cast<KtDatafileSortInfo*>(this);
    sortRecord().progress = reinterpret_cast<KtDatafileSortProgress*>(this);
    makeSorted({{"a"}, {"b"}}, 2);
    calls();
    row({"a", "b"});
    const Calls made = calls();
    EXPECT_EQ(Calls(made.begin() + 5, made.begin() + 8), (Calls{"setSortKeys 2", "setSort 0 0 0", "setSort 1 0 0"}));
    EXPECT_EQ(sortRecord().parms, std::vector<KTSortCollateParms*>(2, nullptr));
    EXPECT_EQ(sortRecord().info, nullptr);
    EXPECT_EQ(sortRecord().progress, nullptr);
}

TEST_F(SortedWriteTest, TablesThatAreFilledAtTheSameTimeHaveSortsOfTheirOwn) {
    makeSorted();
    const Table first = std::move(table_);
    makeSorted({{"only"}}, 1);
    ASSERT_TRUE(writeTo(*first, {1L, "a"}));
    row({"b"});
    ASSERT_TRUE(writeTo(*first, {2L, "c"}));
    EXPECT_EQ(sortRecord().sortsAlive, 2);
    EXPECT_EQ(sortRecord().alive, 1);
    ASSERT_TRUE(first->close());
    EXPECT_EQ(sortRecord().sortsAlive, 1);
    finish();
    EXPECT_EQ(storedRows(), (Rows{{"b"}}));
    name_ = bytesOf(first->getName());
    EXPECT_EQ(storedRows(), (Rows{{2L, "c"}, {1L, "a"}}));
}

TEST_F(SortedWriteTest, ATableWithAnUndefinedColumnMakesNoSort) {
    table_.reset(manager_->create(2, 1, 0, &error_));
    ASSERT_TRUE(define(0, {"a"}));
    calls();
    EXPECT_FALSE(tryRow({"a", "b"}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1420));
    EXPECT_EQ(calls(), Calls());
}

// Failures of the description

class SortStepTest : public SortedWriteTest, public testing::WithParamInterface<const char*> {};

TEST_P(SortStepTest, AStepThatFailsLeavesNothingAndTheNextFirstRowStartsClean) {
    makeSorted();
    calls();
    failAt(GetParam());
    EXPECT_FALSE(tryRow({1L, "a"}));
    EXPECT_EQ(tableError().rfind(std::string("refused: ") + GetParam(), 0), 0u) << tableError();
    EXPECT_EQ(table_->getRows(), 0);
    EXPECT_EQ(sortRecord().sortsAlive, 0);
    const Calls made = calls();
    EXPECT_EQ(std::count(made.begin(), made.end(), "forgetColumns"), 1);

    row({2L, "b"});
    EXPECT_EQ(calls().size(), 12u) << "every step is made again";
    ASSERT_TRUE(table_->close()) << tableError();
    EXPECT_EQ(storedRows(), (Rows{{2L, "b"}}));
}

TEST_P(SortStepTest, ATableThatIsGivenUpAfterAFailedStepIsGone) {
    makeSorted();
    failAt(GetParam());
    EXPECT_FALSE(tryRow({1L, "a"}));
    EXPECT_TRUE(table_->close()) << "an empty table has nothing to sort";
    EXPECT_EQ(files().size(), 1u);
    table_.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(Steps, SortStepTest,
                         testing::Values("declareColumns", "declareColumn 0", "declareColumn 1", "createSort", "setSortKeys",
                                         "setSort 0", "setSortInfo", "setSortProgress", "columnSlot 0", "columnSlot 1"));

TEST_F(SortedWriteTest, AFailureWithoutATextGetsOne) {
    const std::string text = "The sort failed and does not say why.";
    sortRecord().silent = true;
    for (const char* step : {"createSort", "setSort 0"}) {
        makeSorted();
        failAt(step);
        EXPECT_FALSE(tryRow({1L, "a"}));
        EXPECT_EQ(tableError(), text);
        table_.reset();
        EXPECT_EQ(files(), std::vector<std::string>());
    }
    for (const char* step : {"addRow", "finish", "nextRow"}) {
        makeSorted();
        failAt(step);
        EXPECT_EQ(tryRow({1L, "a"}), step != std::string("addRow"));
        expectCloseFails(text);
    }
}

TEST_F(SortedWriteTest, ATableOfAManagerThatNeverMadeASortManagerSaysSo) {
    const File file = fresh();
    ASSERT_TRUE(file->create(1, 1, 0));
    ASSERT_TRUE(file->defineColumnInfo(0, "a", ktbTypeInteger, 0));
    EXPECT_FALSE(writeTo(*file, {1L}));
    EXPECT_EQ(errorOf(*file), "The work table manager has no sort manager.");
}

TEST_F(SortedWriteTest, MemoryThatIsMissingForTheFirstRowIsReportedAndTheNextOneStartsClean) {
    makeSorted();
    KtbDatavar values[2];
    values[0].assign(1);
    values[1].assign("a text that is longer than what fits into the object itself");
    KtbDatavar* pointers[] = {&values[0], &values[1]};
    std::vector<std::string> texts;
    for (bool failed = true; failed;) {
        failing_new::failAt(static_cast<long>(texts.size()));
        const bool written = table_->writeRow(pointers);
        failed = failing_new::stop();
        ASSERT_NE(written, failed);
        if (!failed) break;
        texts.push_back(tableError());
        EXPECT_EQ(table_->getRows(), 0);
        if (texts.back() == bytesOf(ktb_get_message("", 0, "", 29, "(column value)"))) break;
        EXPECT_EQ(sortRecord().sortsAlive, 0);
    }
    Calls expected;
    for (const char* what :
         {"(enqueue work table element)", "(enqueue work table lock)", "(sort column slots)", "(column value)"}) {
        expected.push_back(bytesOf(ktb_get_message("", 0, "", 29, what)));
    }
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    EXPECT_EQ(texts, expected);
    EXPECT_EQ(bytesOf(manager_->getError()), expected[1]);
    expectCloseFails(expected.back());
}

// Rows on their way in

TEST_F(SortedWriteTest, RowsCountAsSoonAsTheSortHasThem) {
    makeTwoRows();
    EXPECT_EQ(table_->getRows(), 2);
    EXPECT_EQ(files().size(), 1u) << "no data element before the close";
}

TEST_F(SortedWriteTest, ARowThatTheSortRefusesIsTheLastOne) {
    makeTwoRows();
    failAt("addRow");
    EXPECT_FALSE(tryRow({3L, "c"}));
    EXPECT_EQ(tableError(), "refused: addRow 3,c");
    EXPECT_EQ(table_->getRows(), 2);
    EXPECT_EQ(calls(), (Calls{"addRow 3,c"}));
    EXPECT_FALSE(tryRow({4L, "d"}));
    EXPECT_EQ(tableError(), "refused: addRow 3,c");
    EXPECT_EQ(calls(), Calls()) << "a table that lost a row takes no more of them";
    expectCloseFails("refused: addRow 3,c");
    EXPECT_EQ(calls(), (Calls{"sort released"})) << "and nobody asks for those it has";
}

TEST_F(SortedWriteTest, ValuesKeepTheirTypesOnTheWay) {
    makeSorted({{"text", ktbTypeString, 4}, {"number", ktbTypeDecimal}}, 1);
    row({12L, "2.50"});
    row({decimal("0.5"), "no number"});
    finish();
    EXPECT_EQ(storedRows(), (Rows{{"0.5", nullptr}, {"12", decimal("2.50")}}));
}

// Rows on their way back

TEST_F(SortedWriteTest, ClosingTakesTheRowsBackInTheOrderOfTheSort) {
    makeTwoRows();
    ASSERT_TRUE(table_->close()) << tableError();
    EXPECT_EQ(calls(), (Calls{"finish", "firstRow", "columnValue 0", "columnValue 1", "nextRow", "columnValue 0",
                              "columnValue 1", "nextRow", "sort released"}));
    EXPECT_EQ(table_->getRows(), 2);
    EXPECT_TRUE(table_->close());
    EXPECT_EQ(calls(), Calls());
    EXPECT_FALSE(tryRow({3L, "c"}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1768));
    table_.release()->release();
    EXPECT_EQ(files(), std::vector<std::string>()) << "the refused row left an error text";
}

TEST_F(SortedWriteTest, ClosedRowsAreReadLikeAnyOthers) {
    makeTwoRows();
    finish();
    EXPECT_EQ(storedRows(), (Rows{{2L, nullptr}, {1L, "a"}}));
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), (Rows{{1L, "a"}, {2L, nullptr}}));
    EXPECT_EQ(columnsOf(*table_)[1], (ColumnInfo{"text", ktbTypeString, 0, 2}));
}

TEST_F(SortedWriteTest, ElementsAreFilledWhenTheRowsComeBack) {
    makeSorted(15);
    for (long i = 0; i < 5; ++i) row({i, "abc"});
    finish();
    EXPECT_EQ(elementRows(), (std::vector<long>{2, 2, 1}));
    EXPECT_EQ(storedRows().size(), 5u);
}

TEST_F(SortedWriteTest, ATableWithoutRowsNeedsNoSort) {
    makeSorted();
    calls();
    finish();
    EXPECT_EQ(calls(), Calls());
    EXPECT_EQ(storedRows(), Rows());
}

class DrainStepTest : public SortedWriteTest, public testing::WithParamInterface<std::pair<const char*, int>> {};

TEST_P(DrainStepTest, AStepThatFailsGivesTheSortsTextAndRemovesTheTable) {
    makeTwoRows();
    const auto& [step, after] = GetParam();
    failAt(step, after);
    expectCloseFails(std::string("refused: ") + step);
    const Calls made = calls();
    EXPECT_EQ(made.back(), "sort released");
    EXPECT_EQ(made.at(made.size() - 2), step) << "a sort that failed is asked for nothing more";
}

INSTANTIATE_TEST_SUITE_P(Steps, DrainStepTest,
                         testing::Values(std::pair("finish", 0), std::pair("firstRow", 0), std::pair("nextRow", 0),
                                         std::pair("nextRow", 1), std::pair("columnValue 0", 0),
                                         std::pair("columnValue 1", 1)));

TEST_F(SortedWriteTest, AnyStatusThatIsNeitherARowNorTheEndIsAFailure) {
    for (const int status : {ktSortFailed + 0, 2, 3, 5, -1}) {
        makeTwoRows();
        sortRecord().endStatus = status;
        expectCloseFails("The sort failed and does not say why.");
    }
}

TEST_F(SortedWriteTest, ADiskThatFillsUpWhileRowsComeBackRemovesTheTable) {
    constexpr std::size_t large = 100000;
    makeSorted();
    for (long i = 0; i < 9; ++i) row({i, std::string(large, 'x')});
    calls();
    {
        const FileSizeLimit limit(2 * large);
        expectCloseFails(bytesOf(ktb_get_message("", 0, "", 1044)));
    }
    const Calls made = calls();
    EXPECT_EQ(made.back(), "sort released");
    EXPECT_LT(std::count(made.begin(), made.end(), "nextRow"), 9);
}

TEST_F(SortedWriteTest, AVectorThatFindsNoMemoryFailsTheClose) {
    const File file = fresh();
    ASSERT_TRUE(manager_->setSortStable(true));  // makes the sort manager
    ASSERT_TRUE(file->create(1, 1, 0));
    ASSERT_TRUE(file->defineColumnInfo(0, "a", ktbTypeInteger, 0));
    KtbDatavar value;
    KtbDatavar* pointer = &value;
    value.assign(1);
    ASSERT_TRUE(file->writeRow(&pointer));  // by pointers, so that no vector was made on the way in
    calls();
    failing_new::failAt(0);
    EXPECT_FALSE(file->close());
    EXPECT_TRUE(failing_new::stop());
    EXPECT_TRUE(says(file->getError(), "wtfile", 29, "(column value vector)"));
    EXPECT_EQ(calls(), (Calls{"sort released"}));
    EXPECT_EQ(files(), std::vector<std::string>());
}

// The values of a caller's array and those of the sort go through the same vector.
TEST_F(SortedWriteTest, AnArrayThatWasUsedForWritingIsReadInto) {
    makeSorted({{"id", ktbTypeInteger}}, 1);
    std::vector<KtbDatavar> values(1);
    for (const int i : {1, 2}) {
        values[0].assign(i);
        ASSERT_TRUE(table_->writeRow(values.data()));
    }
    auto& file = static_cast<KTWTFileImpl&>(*table_);
    ASSERT_TRUE(openWhole(file, ""));
    EXPECT_TRUE(table_->readRow(values.data(), &end_));
    EXPECT_EQ(values[0].asInt64(nullptr), 2);
    EXPECT_TRUE(table_->readRow(values.data(), &end_));
    EXPECT_EQ(values[0].asInt64(nullptr), 1);
}

// A table object whose rows are counted on their way to the data elements.
class CountingFile : public KTWTFileImpl {
public:
    using KTWTFileImpl::KTWTFileImpl;
    using KTWTFileImpl::writeRow;
    bool writeRow(KtbDatavar** values) override {
        ++written;
        return KTWTFileImpl::writeRow(values);
    }
    int written = 0;
};

TEST_F(SortedWriteTest, RowsComeBackThroughTheOperationThatCallersUse) {
    ASSERT_TRUE(manager_->setSortStable(true));
    CountingFile file(static_cast<KTWTManagerImpl*>(manager_.get()));
    ASSERT_TRUE(file.create(1, 1, 0));
    ASSERT_TRUE(file.defineColumnInfo(0, "a", ktbTypeInteger, 0));
    writeNumbers(file, 1, 3);
    EXPECT_EQ(file.written, 3);
    ASSERT_TRUE(file.close());
    EXPECT_EQ(file.written, 6);
}

// The end of a table

TEST_F(SortedWriteTest, ATableThatIsReleasedOpenStoresItsRows) {
    makeTwoRows();
    table_.reset();
    EXPECT_EQ(sortRecord().sortsAlive, 0);
    EXPECT_EQ(storedRows(), (Rows{{2L, nullptr}, {1L, "a"}}));
}

TEST_F(SortedWriteTest, ATableThatIsReleasedWithAnErrorTextDoesNotSortForNothing) {
    makeTwoRows();
    EXPECT_FALSE(table_->getColumnInfo(9, nullptr, nullptr, nullptr, nullptr));
    table_.reset();
    EXPECT_EQ(calls(), (Calls{"sort released"}));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(SortedWriteTest, ATableThatIsRemovedDoesNotSortForNothing) {
    makeTwoRows();
    auto& file = static_cast<KTWTFileImpl&>(*table_);
    EXPECT_TRUE(file.remove());
    EXPECT_EQ(calls(), (Calls{"sort released"}));
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_EQ(file.getRows(), 0);
    EXPECT_EQ(tableError(), "");
}

TEST_F(SortedWriteTest, OpeningAnObjectThatHoldsRowsClosesItFirst) {
    makeTwoRows();
    auto& file = static_cast<KTWTFileImpl&>(*table_);
    ASSERT_TRUE(openWhole(file, ""));
    EXPECT_EQ(sortRecord().sortsAlive, 0);
    EXPECT_EQ(rowsRead(), (Rows{{2L, nullptr}, {1L, "a"}}));
}

TEST_F(SortedWriteTest, RowsThatAreAppendedLaterAreNotSorted) {
    makeTwoRows();
    finish();
    calls();
    const File file = append();
    ASSERT_TRUE(file);
    EXPECT_EQ(file->setSort(0, 0, false, nullptr), 1);
    for (const long id : {0L, 9L, 5L}) ASSERT_TRUE(writeTo(*file, {id, "more"}));
    ASSERT_TRUE(file->close());
    EXPECT_EQ(calls(), Calls());
    EXPECT_EQ(storedRows(), (Rows{{2L, nullptr}, {1L, "a"}, {0L, "more"}, {9L, "more"}, {5L, "more"}}));
}

TEST_F(SortedWriteTest, AnObjectThatWasCreatedSortedAppendsAsAnyOther) {
    makeSorted();
    auto& file = static_cast<KTWTFileImpl&>(*table_);
    ASSERT_TRUE(table_->close());  // without a row, so that the sort keys are still there
    calls();
    ASSERT_TRUE(file.open(KtbString(), false, nullptr, false));
    row({1L, "a"});
    EXPECT_EQ(calls(), Calls());
    EXPECT_TRUE(table_->close());
    EXPECT_EQ(storedRows(), (Rows{{1L, "a"}}));
}

// Transfers

TEST_F(SortedWriteTest, ACopyIntoASortedTableIsSorted) {
    makeRows(3);
    const std::string source = name_;
    table_.reset(manager_->create(3, 1, 0, &error_));
    name_ = bytesOf(table_->getName());
    ASSERT_EQ(table_->setSort(0, 2, true, nullptr), 0);
    calls();
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_)) << error_.asCstr();
    EXPECT_EQ(calls().at(1), "declareColumn 0 2 0") << "the columns are the source's";
    EXPECT_EQ(rowsRead(), rowNumbers(2, 0));
}

TEST_F(SortedWriteTest, ACopyIntoASortedTableWithRowsKeepsItsColumns) {
    makeRows(2);
    const std::string source = name_;
    makeSorted({{"ID", ktbTypeInteger}, {"Text", ktbTypeString, 3}, {"flag", ktbTypeBoolean}}, 1);
    row({7L, "seven", true});
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_)) << error_.asCstr();
    EXPECT_EQ(rowsRead(), (Rows{{1L, "row", true}, {0L, "row", false}, {7L, "sev", true}}));
    EXPECT_EQ(columnsOf(*table_)[0].name, "ID");
}

TEST_F(SortedWriteTest, ACopyThatCannotBeSortedSaysWhyAndLeavesNothing) {
    makeRows(2);
    const std::string source = name_;
    const std::size_t before = files().size();
    for (const char* step : {"setSort 0", "addRow", "finish", "nextRow"}) {
        makeSorted({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}}, 1);
        failAt(step);
        EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_));
        EXPECT_EQ(bytesOf(error_).rfind(std::string("refused: ") + step, 0), 0u) << error_.asCstr();
        table_.reset();
        EXPECT_EQ(files().size(), before);
        EXPECT_EQ(sortRecord().sortsAlive, 0);
    }
}

}  // namespace
