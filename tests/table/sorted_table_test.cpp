// Tables with sort keys: the order of their rows, and that nothing else sets them apart once they are closed.
#include <climits>
#include <limits>
#include <random>
#include <thread>

#include "table/sorted_fixture.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

class SortedTableTest : public SortedTest {
protected:
    // Expects the values of one column, given in ascending order and all different, to come back in that order and in the
    // opposite one, however they were written.
    void expectOrder(ktbType type, const std::vector<Value>& ascending, KTSortCollateParms* parms = nullptr) {
        std::vector<Value> shuffled = ascending;
        std::mt19937 random(static_cast<unsigned>(type));
        for (const bool columnByColumn : {false, true}) {
            ASSERT_TRUE(manager_->setSortNoCodeGen(columnByColumn));
            for (const bool descending : {false, true}) {
                std::shuffle(shuffled.begin(), shuffled.end(), random);
                SCOPED_TRACE(std::string(ktbTypeToString(type)) + (descending ? " descending" : " ascending"));
                std::vector<Value> expected = ascending;
                if (descending) std::reverse(expected.begin(), expected.end());
                EXPECT_EQ(orderOf(type, shuffled, {0, descending, parms}), expected);
            }
        }
    }

    // The values in the order in which a table of that type gives them back, each as it was written.
    std::vector<Value> orderOf(ktbType type, const std::vector<Value>& values, const SortKey& key) {
        makeSorted({{"key", type}, {"number", ktbTypeInteger}}, {key});
        Rows rows;
        for (std::size_t i = 0; i < values.size(); ++i) rows.push_back({values[i], static_cast<long>(i)});
        std::vector<Value> result;
        for (Row& row : sortedRows(rows)) result.push_back(values.at(static_cast<std::size_t>(numberIn(row))));
        return result;
    }

    static long numberIn(Row& row) { return row.back().variant().asInt64(nullptr); }

    // The numbers in the last column of the rows.
    static std::vector<long> numbersIn(Rows rows) {
        std::vector<long> numbers;
        for (Row& row : rows) numbers.push_back(numberIn(row));
        return numbers;
    }

    // Expects the first row to be refused with a text that has these words in it, and nothing to be left of the table.
    void expectRefused(const Row& values, const std::vector<std::string>& words) {
        EXPECT_FALSE(tryRow(values));
        for (const std::string& word : words) EXPECT_NE(tableError().find(word), std::string::npos) << tableError();
        EXPECT_EQ(table_->getRows(), 0);
        table_.reset();
        EXPECT_EQ(files(), std::vector<std::string>());
    }
};

// Order

TEST_F(SortedTableTest, BooleansOrderFalseBeforeTrue) { expectOrder(ktbTypeBoolean, {nullptr, false, true}); }

TEST_F(SortedTableTest, IntegersOrderByValue) {
    expectOrder(ktbTypeInteger, {nullptr, LONG_MIN, -256L, -1L, 0L, 1L, 255L, 256L, 1L << 40, LONG_MAX});
}

TEST_F(SortedTableTest, DecimalsOrderByValue) {
    expectOrder(ktbTypeDecimal,
                {nullptr, decimal("-99999999999999999999999999999999999999"), decimal("-12.50"), decimal("-12.49"),
                 decimal("-0.00000000000000000000000000000000000001"), decimal("0"),
                 decimal("0.00000000000000000000000000000000000001"), decimal("0.5"), decimal("12.49"), decimal("12.5"),
                 decimal("99999999999999999999.9"), decimal("99999999999999999999999999999999999999")});
}

TEST_F(SortedTableTest, TextsOrderByTheirBytes) {
    const std::string common(300, 'c');
    expectOrder(ktbTypeString, {nullptr, "", "\x01", "A", "B", "a", "ab", "b", common, common + "a", common + "b", "cd",
                                "\xC3\xA4", "\xE2\x82\xAC", "\xFF"});
}

TEST_F(SortedTableTest, DatesOrderByTheirMoment) {
    expectOrder(ktbTypeDate, {nullptr, date("0001-01-01"), date("1969-12-31T23:59:59.5"), date("1970-01-01"),
                              date("1970-01-01T00:00:00.25"), date("2024-02-29"), date("9999-12-31")});
}

// Their column is stored as text, in which "10" would come before "9".
TEST_F(SortedTableTest, DoublesOrderByValue) {
    expectOrder(ktbTypeDouble,
                {nullptr, -infinity, -1e300, -9.5, 0.0, 5e-324, 9.0, 10.0, infinity, std::numeric_limits<double>::quiet_NaN()});
}

TEST_F(SortedTableTest, FoldedTextsOrderByTheirSmallLetters) {
    KTSortCollateParms fold = {ktSortCollateFold, nullptr};
    expectOrder(ktbTypeString, {nullptr, "", "@", "[", "_", "A", "aB", "Ac", "b", "C", "{", "\xC3\x84", "\xC3\xA4"}, &fold);
}

TEST_F(SortedTableTest, TextsOfALocaleOrderByItsRules) {
    KTSortCollateParms locale = {ktSortCollateLocale, "C"};
    expectOrder(ktbTypeString, {nullptr, "", "A", "B", "a", "b", "\xC3\xA4"}, &locale);
}

TEST_F(SortedTableTest, EqualKeysKeepTheOrderOfWriting) {
    KTSortCollateParms fold = {ktSortCollateFold, nullptr};
    for (const bool descending : {false, true}) {
        SCOPED_TRACE(descending);
        const SortKey key = {0, descending, &fold};
        EXPECT_EQ(orderOf(ktbTypeString, {"a", "A", "a", "A"}, key), (std::vector<Value>{"a", "A", "a", "A"}));
        EXPECT_EQ(orderOf(ktbTypeDecimal, {decimal("1.50"), decimal("1.5"), decimal("1.500")}, key),
                  (std::vector<Value>{decimal("1.50"), decimal("1.5"), decimal("1.500")}));
        EXPECT_EQ(orderOf(ktbTypeDouble, {0.0, -0.0, 0.0}, key), (std::vector<Value>{0.0, -0.0, 0.0}));
    }
}

TEST_F(SortedTableTest, ALaterKeyDecidesWhereTheEarlierOnesAreEqual) {
    makeSorted({{"city"}, {"open", ktbTypeBoolean}, {"people", ktbTypeInteger}}, {{1, true}, {2, false}, {0, true}});
    const Rows rows = sortedRows({{"Oslo", false, 7},
                                  {"Bern", true, 1},
                                  {"Rome", true, nullptr},
                                  {"Kiev", nullptr, 3},
                                  {"Lima", false, 7},
                                  {"Baku", true, 1}});
    EXPECT_EQ(rows, (Rows{{"Rome", true, nullptr},
                          {"Bern", true, 1},
                          {"Baku", true, 1},
                          {"Oslo", false, 7},
                          {"Lima", false, 7},
                          {"Kiev", nullptr, 3}}));
}

TEST_F(SortedTableTest, AValueThatDoesNotConvertOrdersAsTheNullThatItIsStoredAs) {
    makeSorted({{"key", ktbTypeInteger}, {"number", ktbTypeInteger}}, {{}});
    const Rows rows = sortedRows({{"12", 0}, {nullptr, 1}, {"no number", 2}, {"-3", 3}, {nullptr, 4}});
    EXPECT_EQ(rows, (Rows{{nullptr, 1}, {nullptr, 2}, {nullptr, 4}, {-3, 3}, {12, 0}}));
}

TEST_F(SortedTableTest, ATextThatIsCutOrdersByTheWholeOfIt) {
    makeSorted({{"key", ktbTypeString, 2}, {"number", ktbTypeInteger}}, {{}});
    const Rows rows = sortedRows({{"abz", 0}, {"aba", 1}, {"ab", 2}});
    EXPECT_EQ(rows, (Rows{{"ab", 2}, {"ab", 1}, {"ab", 0}}));
}

TEST_F(SortedTableTest, ColumnsThatAreNoKeysTravelWithTheirRows) {
    makeSorted({{"flag", ktbTypeBoolean}, {"price", ktbTypeDecimal}, {"key", ktbTypeInteger}, {"day", ktbTypeDate}, {"text"}},
               {{2}});
    const Row first = {true, decimal("2.50"), 1, date("2001-02-03"), "a text that is longer than an inline one"};
    const Row second = {nullptr, nullptr, 2, nullptr, nullptr};
    EXPECT_EQ(sortedRows({second, first}), (Rows{first, second}));
}

// Bad descriptions

TEST_F(SortedTableTest, AKeyOfAColumnThatDoesNotExistIsRefusedByItsNumber) {
    for (const int column : {2, 77, -5, INT_MAX, INT_MIN}) {
        makeSorted({{"a"}, {"b"}}, {{column}});
        expectRefused({"a", "b"}, {std::to_string(column)});
    }
}

TEST_F(SortedTableTest, AColumnThatIsAKeyTwiceIsRefusedByItsNumber) {
    makeSorted({{"a"}, {"b"}, {"c"}}, {{2}, {0}, {2, true}});
    expectRefused({"a", "b", "c"}, {"2"});
    makeSorted({{"a"}, {"b"}}, {{}, {}});  // keys that were not described are all column 0
    expectRefused({"a", "b"}, {"0"});
}

TEST_F(SortedTableTest, MoreKeysThanColumnsAreRefusedByTheirNumber) {
    makeSorted({{"a"}, {"b"}}, std::vector<SortKey>(5));
    expectRefused({"a", "b"}, {"5"});
    table_.reset(manager_->create(0, 1, 0, &error_));
    ASSERT_TRUE(table_) << error_.asCstr();
    EXPECT_FALSE(tryRow({}));
    EXPECT_NE(tableError(), "");
}

TEST_F(SortedTableTest, AnUnknownCollationIsRefusedByItsValue) {
    KTSortCollateParms unknownKind = {17, nullptr};
    makeSorted({{"a"}}, {{0, false, &unknownKind}});
    expectRefused({"a"}, {"17"});
    KTSortCollateParms unknownLocale = {ktSortCollateLocale, "xx_YY.nowhere"};
    makeSorted({{"a"}}, {{0, false, &unknownLocale}});
    expectRefused({"a"}, {"xx_YY.nowhere"});
    KTSortCollateParms noLocale = {ktSortCollateLocale, nullptr};
    makeSorted({{"a"}}, {{0, false, &noLocale}});
    expectRefused({"a"}, {"locale"});
}

TEST_F(SortedTableTest, ADescriptionThatWasPutRightIsTakenByTheNextRow) {
    makeSorted({{"key", ktbTypeInteger}}, {{9}});
    EXPECT_FALSE(tryRow({2}));
    EXPECT_FALSE(tryRow({2}));
    describe({{0, true}});
    row({1});
    row({2});
    ASSERT_TRUE(table_->close()) << tableError();
    const Table stored(manager_->open(ktb(name_), false, &error_));
    ASSERT_TRUE(stored) << error_.asCstr();
    EXPECT_EQ(readAll(*stored).rows, (Rows{{2}, {1}}));
}

// The life of a sorted table

TEST_F(SortedTableTest, UntilItIsClosedThereIsNothingButAnEmptyHeader) {
    makeSpilled();
    EXPECT_EQ(table_->getRows(), largeCount);
    EXPECT_EQ(files(), std::vector<std::string>{name_});
    EXPECT_EQ(std::filesystem::file_size(path(name_)), 0u);
    finish();
    EXPECT_GT(info_.runs, 1);
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(SortedTableTest, ATableThatSpilledHoldsItsRowsInOrder) {
    for (const bool columnByColumn : {false, true}) {
        ASSERT_TRUE(manager_->setSortNoCodeGen(columnByColumn));
        makeSpilled();
        finish();
        ASSERT_TRUE(reopen());
        EXPECT_EQ(rowsRead(), largeRows());
    }
}

TEST_F(SortedTableTest, RowsSpillToTheNextDirectoryThatTakesThem) {
    useDirectories({"first", "second"});
    std::filesystem::remove(directories_[0]);
    makeSpilled();
    finish();
    useList(directories_[1]);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), largeRows());
}

TEST_F(SortedTableTest, ADiskThatTakesNoRowsFailsTheTableAndNothingIsLeft) {
    bool written = true;
    const std::size_t handles = openHandles();
    {
        const FileSizeLimit limit(300000);
        ASSERT_TRUE(manager_->setSortSize(budgetMin));
        makeSorted({{"id", ktbTypeInteger}, {"text"}}, {{}});
        for (long i = 0; i < largeCount && written; ++i) written = tryRow(largeRow(i, largeCount));
        const std::string refusal = written ? "" : tableError();
        EXPECT_FALSE(table_->close());
        EXPECT_NE(tableError(), "");
        if (!written) {
            EXPECT_EQ(tableError(), refusal);
        }
    }
    table_.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_EQ(openHandles(), handles);
}

TEST_F(SortedTableTest, ATableThatIsReleasedOpenIsSortedAndStored) {
    makeSorted({{"key", ktbTypeInteger}}, {{}});
    for (const long key : {3L, 1L, 2L}) row({key});
    table_.reset();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{1}, {2}, {3}}));
}

TEST_F(SortedTableTest, AManyTimesWrittenArrayIsReadOnce) {
    makeSorted({{"key", ktbTypeInteger}, {"text"}}, {{0, true}});
    KtbDatavar values[2];
    for (long i = 0; i < 1000; ++i) {
        values[0].assign(i);
        values[1].assign(std::string(static_cast<std::size_t>(i) % 50, 'x').c_str());
        ASSERT_TRUE(table_->writeRow(values)) << tableError();
    }
    finish();
    ASSERT_TRUE(reopen());
    const Rows rows = rowsRead();
    ASSERT_EQ(rows.size(), 1000u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i], (Row{static_cast<long>(999 - i), std::string((999 - i) % 50, 'x')}));
    }
}

TEST_F(SortedTableTest, ATableWithSortKeysAndNoRowsIsEmpty) {
    makeSorted({{"key", ktbTypeInteger}}, {{12}});  // a bad description of nothing harms nobody
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), Rows());
}

TEST_F(SortedTableTest, TablesOfOneManagerAreSortedIndependently) {
    makeSorted({{"key", ktbTypeInteger}}, {{}});
    const std::string firstName = name_;
    const Table first = std::move(table_);
    makeSorted({{"text"}, {"key", ktbTypeInteger}}, {{1, true}});
    for (const long i : {2L, 3L, 1L}) {
        ASSERT_TRUE(writeTo(*first, {i}));
        row({"text", i});
    }
    finish();
    ASSERT_TRUE(first->close());
    ASSERT_TRUE(reopen());
    EXPECT_EQ(numbersIn(rowsRead()), (std::vector<long>{3, 2, 1}));
    name_ = firstName;
    ASSERT_TRUE(reopen());
    EXPECT_EQ(numbersIn(rowsRead()), (std::vector<long>{1, 2, 3}));
}

TEST_F(SortedTableTest, TablesAreSortedByThreadsOfTheirOwn) {
    constexpr int threadCount = 4;
    constexpr long rowCount = 500;
    std::vector<Table> tables;
    for (int t = 0; t < threadCount; ++t) {
        makeSorted({{"key", ktbTypeInteger}}, {{0, t % 2 != 0}});
        tables.push_back(std::move(table_));
    }
    std::vector<int> stored(threadCount, 0);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < tables.size(); ++t) {
        threads.emplace_back([&, t] {
            bool ok = true;
            for (long i = 0; i < rowCount; ++i) ok = writeTo(*tables[t], {i * 7 % rowCount}) && ok;
            stored[t] = tables[t]->close() && ok;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(stored, std::vector<int>(threadCount, 1));
    for (std::size_t t = 0; t < tables.size(); ++t) {
        name_ = bytesOf(tables[t]->getName());
        ASSERT_TRUE(reopen());
        const std::vector<long> numbers = numbersIn(rowsRead());
        ASSERT_EQ(numbers.size(), static_cast<std::size_t>(rowCount));
        EXPECT_EQ(numbers.front(), t % 2 != 0 ? rowCount - 1 : 0);
        EXPECT_TRUE(t % 2 != 0 ? std::is_sorted(numbers.rbegin(), numbers.rend())
                               : std::is_sorted(numbers.begin(), numbers.end()));
    }
}

// After the close

class SortedAfterCloseTest : public SortedTableTest {
protected:
    // A closed table like that of makeRows(7, 40), in several data elements, whose rows were written last to first.
    void SetUp() override {
        makeSorted({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}}, {{}}, 40);
        for (long i = 6; i >= 0; --i) row(rowNumber(i));
        finish();
    }
};

TEST_F(SortedAfterCloseTest, ItsFilesAreThoseOfATableThatWasWrittenInOrder) {
    std::vector<std::string> sorted;
    for (std::size_t i = 0; i < elements(); ++i) sorted.push_back(readFile(dataPath(i)) + readFile(indexPath(i)));
    makeRows(7, 40);
    ASSERT_EQ(elements(), sorted.size());
    ASSERT_GT(sorted.size(), 2u);
    for (std::size_t i = 0; i < sorted.size(); ++i) EXPECT_EQ(readFile(dataPath(i)) + readFile(indexPath(i)), sorted[i]);
}

TEST_F(SortedAfterCloseTest, ItIsReadInRangesReversedAndByURI) {
    ASSERT_TRUE(reopen({.range = {2, 3}}));
    EXPECT_EQ(rowsRead(), rowNumbers(2, 4));
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), rowNumbers(6, 0));
    ASSERT_TRUE(reopenByIndex({1, 0}));
    EXPECT_EQ(nextRow(), (Row{"row 0", 0L}));
    ASSERT_TRUE(openText("ktwt:" + name_ + "?rows=5,9&col=n=id&col=c:integer=8"));
    EXPECT_EQ(rowsRead(), (Rows{{5L, 8L}, {6L, 8L}}));
    const std::string uri = bytesOf(table_->toURIString(true));
    ASSERT_TRUE(openText(uri));
    EXPECT_EQ(rowsRead(), (Rows{{5L, 8L}, {6L, 8L}}));
}

TEST_F(SortedAfterCloseTest, ItIsPartitioned) {
    int parts = 2;
    std::vector<long> ranges(4);
    ASSERT_TRUE(manager_->partition(ktb(name_), &parts, ranges.data(), &error_)) << error_.asCstr();
    EXPECT_EQ(parts, 2);
    EXPECT_EQ(ranges, (std::vector<long>{0, 4, 4, 3}));
}

TEST_F(SortedAfterCloseTest, ItIsCopiedAndAppendedToAndFrom) {
    const std::string sorted = name_;
    table_.reset(manager_->copy(0L, KtbString(), ktb(sorted), &error_));
    ASSERT_TRUE(table_) << error_.asCstr();
    name_ = bytesOf(table_->getName());
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 6));
    ASSERT_TRUE(manager_->append(ktb(sorted), ktb("ktwt:" + name_ + "?rows=0,2&col=id&col=text&col=flag"), &error_))
        << error_.asCstr();
    name_ = sorted;
    ASSERT_TRUE(reopen());
    Rows expected = rowNumbers(0, 6);
    expected.push_back(rowNumber(0));
    expected.push_back(rowNumber(1));
    EXPECT_EQ(rowsRead(), expected) << "rows that are appended are stored where they come";
}

TEST_F(SortedAfterCloseTest, ACopyIntoASortedTableIsSorted) {
    const std::string source = name_;
    table_.reset(manager_->create(3, 2, 30, &error_));
    ASSERT_TRUE(table_);
    describe({{2, true}, {0, true}});
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_)) << error_.asCstr();
    Rows expected;
    for (const long i : {5L, 3L, 1L, 6L, 4L, 2L, 0L}) expected.push_back(rowNumber(i));
    EXPECT_EQ(rowsRead(), expected);
}

TEST_F(SortedAfterCloseTest, ACursorReadsIt) {
    const std::unique_ptr<KtWorkTableCursor, ReleaseObject> cursor(ktwtCreateCursor(manager_.get()));
    ASSERT_TRUE(cursor->setWorkTable(manager_->open(ktb(name_), false, &error_)));
    for (int pass = 0; pass < 2; ++pass) {
        Rows rows;
        while (cursor->next() == ktbCursorRow) {
            rows.push_back({cursor->getColumnValue(0), cursor->getColumnValue(1), cursor->getColumnValue(2)});
        }
        EXPECT_EQ(rows, rowNumbers(0, 6));
        EXPECT_TRUE(cursor->top()) << cursor->getErrorMessage().asCstr();
    }
}

TEST_F(SortedAfterCloseTest, ACursorOverASortedTableThatIsOpenSortsItWhenItIsRewound) {
    makeSorted({{"key", ktbTypeInteger}}, {{0, true}});
    const std::unique_ptr<KtWorkTableCursor, ReleaseObject> cursor(ktwtCreateCursor(manager_.get()));
    ASSERT_TRUE(cursor->setWorkTable(table_.release()));
    for (const long key : {2L, 3L, 1L}) {
        ASSERT_TRUE(cursor->initRow());
        cursor->setColumnValue(0, Value(key).variant());
        ASSERT_TRUE(cursor->finalizeRow()) << cursor->getErrorMessage().asCstr();
    }
    ASSERT_TRUE(cursor->finalize()) << cursor->getErrorMessage().asCstr();
    for (const long key : {3L, 2L, 1L}) {
        ASSERT_EQ(cursor->next(), ktbCursorRow);
        EXPECT_EQ(cursor->getColumnValue(0).asInt64(nullptr), key);
    }
}

TEST_F(SortedAfterCloseTest, ItIsReadAsXmlAndTellsItsFigures) {
    KtbString document;
    ASSERT_TRUE(reopenByIndex({0}));
    ASSERT_TRUE(table_->readRows(0, 2, &document, nullptr));
    const std::string text = bytesOf(document);
    const std::size_t first = text.find("<value>0</value>");
    EXPECT_NE(first, std::string::npos) << text;
    EXPECT_NE(text.find("<value>1</value>", first), std::string::npos) << text;
    KtbStringCursor* figures = table_->statistics();
    ASSERT_NE(figures, nullptr);
    std::string rows;
    while (figures->next() == ktbCursorRow) {
        if (bytesOf(figures->getColumnValue(0)) == "Rows") rows = bytesOf(figures->getColumnValue(1));
    }
    figures->release();
    EXPECT_EQ(rows, "7");
}

}  // namespace
