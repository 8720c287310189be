// Rows written and read: what values become on the way, how rows spread over data elements, ranges, reversed reading, damage.
#include <climits>
#include <cmath>
#include <limits>

#include "table/table_fixture.h"

namespace {

class RowsTest : public TableTest {
protected:
    // What one column of that type gives back for each of the values.
    Row stored(ktbType type, const Row& values, int width = 0) {
        makeTable({{"a", type, width}});
        for (const Value& value : values) row({value});
        finish();
        EXPECT_TRUE(reopen());
        Row result;
        for (const Row& read : rowsRead()) result.push_back(read[0]);
        return result;
    }

    // The rows of each data element, as the header tells them.
    std::vector<long> elementRows() const {
        std::vector<long> rows;
        for (const table_files::Element& element : header().elements) rows.push_back(element.rows);
        return rows;
    }

    // Takes the index away from every element.
    void dropIndexes() {
        table_files::Header changed = header();
        for (table_files::Element& element : changed.elements) {
            std::filesystem::remove(path(table_files::plain(element.index)));
            element.index.clear();
        }
        changeHeader(changed);
    }

    // Expects the next row to fail with the last message, which an element made.
    template <class... Arguments>
    void expectDamage(int number, Arguments... arguments) {
        EXPECT_FALSE(nextRow());
        EXPECT_FALSE(end_);
        EXPECT_TRUE(says(table_->getError(), "wtelem", number, arguments...));
    }
};

// Values

TEST_F(RowsTest, NullsOfEveryTypeComeBackWithoutAType) {
    for (const ktbType type : {1, 2, 3, 4, 5, 6, 99}) {
        EXPECT_EQ(stored(type, {nullptr, nullOf(ktbTypeInteger), nullOf(ktbTypeString)}), (Row{nullptr, nullptr, nullptr}));
    }
}

TEST_F(RowsTest, ValuesOfTheColumnsTypeComeBackAsTheyWere) {
    EXPECT_EQ(stored(ktbTypeBoolean, {true, false}), (Row{true, false}));
    EXPECT_EQ(stored(ktbTypeInteger, {0, LONG_MIN, LONG_MAX, -1}), (Row{0, LONG_MIN, LONG_MAX, -1}));
    const Row decimals = {decimal("12.50"), decimal("0"), decimal("-99999999999999999999999999999999999999"),
                          decimal("0.00000000000000000000000000000000000001")};
    EXPECT_EQ(stored(ktbTypeDecimal, decimals), decimals);
    const Row dates = {date(0.0), date("9999-12-31T23:59:59.999999"), date("0001-01-01"), date(-0.25)};
    EXPECT_EQ(stored(ktbTypeDate, dates), dates);
    EXPECT_EQ(stored(ktbTypeString, {"", "text", "\xC3\xA4"}), (Row{"", "text", "\xC3\xA4"}));
}

TEST_F(RowsTest, ValuesThatConvertAreStoredAsTheColumnsType) {
    EXPECT_EQ(stored(ktbTypeBoolean, {1, 0L, "Yes", "false", 1.0, decimal("0.00")}),
              (Row{true, false, true, false, true, false}));
    EXPECT_EQ(stored(ktbTypeInteger, {true, " 42 ", 7.0, decimal("5.00"), date(86400.0)}), (Row{1, 42, 7, 5, 86400}));
    EXPECT_EQ(stored(ktbTypeDecimal, {true, 42, "1.50", 0.1}),
              (Row{decimal("1"), decimal("42"), decimal("1.50"), decimal("0.1")}));
    EXPECT_EQ(stored(ktbTypeDate, {"1970-01-02", 86400, 1.5, decimal("0.5"), "1970-01-01 00:00:01"}),
              (Row{date(86400.0), date(86400.0), date(1.5), date(0.5), date(1.0)}));
    EXPECT_EQ(stored(ktbTypeString, {true, 42, 0.5, decimal("12.50"), date(86400.0), date(1.0)}),
              (Row{"true", "42", "0.5", "12.50", "1970-01-02", "1970-01-01T00:00:01"}));
}

TEST_F(RowsTest, ValuesThatDoNotConvertAreStoredAsNull) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(stored(ktbTypeBoolean, {"maybe", 2, 0.5, date(0.0)}), Row(4, nullptr));
    EXPECT_EQ(stored(ktbTypeInteger, {"text", 1.5, 1e300, decimal("0.5"), "9223372036854775808", date(0.5)}), Row(6, nullptr));
    EXPECT_EQ(stored(ktbTypeDecimal, {"text", nan, infinity, 1e300, ""}), Row(5, nullptr));
    EXPECT_EQ(stored(ktbTypeDate, {true, "text", nan, 1e300, "1970-13-01", LONG_MAX}), Row(6, nullptr));
}

TEST_F(RowsTest, UnconvertibleValueKeepsItsTypeInTheFileAndReadsAsNull) {
    EXPECT_EQ(stored(ktbTypeInteger, {"text", nullptr}), (Row{nullptr, nullptr}));
    EXPECT_EQ(readFile(dataPath(0)), "\x83\x80");
    EXPECT_EQ(stored(ktbTypeDate, {KtbDatavar()}), (Row{nullptr}));
    EXPECT_EQ(stored(ktbTypeDate, {"no date"}), (Row{nullptr}));
    EXPECT_EQ(readFile(dataPath(0)), "\x82");
}

TEST_F(RowsTest, TextIsCutAtACharacterToTheDeclaredWidth) {
    EXPECT_EQ(stored(ktbTypeString, {"abcdefg", "abcde", "abcd"}, 5), (Row{"abcde", "abcde", "abcd"}));
    EXPECT_EQ(stored(ktbTypeString, {"abcd\xC3\xA4", "\xC3\xA4\xC3\xA4\xC3\xA4", "\xE2\x82\xAC\xE2\x82\xAC"}, 5),
              (Row{"abcd", "\xC3\xA4\xC3\xA4", "\xE2\x82\xAC"}));
    EXPECT_EQ(stored(ktbTypeString, {"\xC3\xA4", "ab", "\xFF\xFE"}, 1), (Row{"", "a", "\xFF"}));
    EXPECT_EQ(stored(99, {1234567}, 5), (Row{"12345"}));
    EXPECT_EQ(stored(ktbTypeString, {"no limit at all"}, -1), (Row{"no limit at all"}));
}

TEST_F(RowsTest, TextsAroundTheEndOfTheShortLengthComeBack) {
    Row texts;
    for (const std::size_t size : {125u, 126u, 127u, 128u, 129u, 255u, 256u, 16383u, 65535u, 65536u, 200000u}) {
        texts.push_back(std::string(size, 'x'));
        texts.push_back(std::string(size - 2, 'y') + "\xC3\xA4");
    }
    EXPECT_EQ(stored(ktbTypeString, texts), texts);
    ASSERT_TRUE(reopen({.reversed = true}));
    const Rows rows = rowsRead();
    ASSERT_EQ(rows.size(), texts.size());
    for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i][0], texts[texts.size() - 1 - i]);
}

TEST_F(RowsTest, CallersValuesAreReadAndNotChanged) {
    makeTable({{"a", ktbTypeString, 2}, {"b", ktbTypeInteger}});
    KtbDatavar first;
    KtbDatavar second;
    first.assign("too long");
    second.assign("12");
    KtbDatavar* values[] = {&first, &second};
    ASSERT_TRUE(table_->writeRow(values));
    EXPECT_EQ(Value(first), Value("too long"));
    EXPECT_EQ(Value(second), Value("12"));
    first.assign("x");
    finish();
    ASSERT_TRUE(reopen());
    KtbDatavar* slots[] = {&second, &first};
    ASSERT_TRUE(table_->readRow(slots, &end_));
    EXPECT_EQ(Value(second), Value("to"));
    EXPECT_EQ(Value(first), Value(12));
}

TEST_F(RowsTest, RowsWithoutColumnsAreCounted) {
    makeTable({});
    for (int i = 0; i < 5; ++i) row({});
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(table_->getRows(), 5);
    EXPECT_EQ(rowsRead(), Rows(5));
    ASSERT_TRUE(reopen({.range = {3, -1}, .reversed = true}));
    EXPECT_EQ(rowsRead(), Rows(2));
}

// Elements

TEST_F(RowsTest, WithoutALimitAllRowsGoToOneElement) {
    makeRows(1000, 0);
    EXPECT_EQ(elementRows(), (std::vector<long>{1000}));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(table_->getRows(), 1000);
    EXPECT_EQ(rowsRead(), rowNumbers(0, 999));
}

TEST_F(RowsTest, LimitBelowOneRowGivesEveryRowAnElement) {
    makeRows(5, 1);
    EXPECT_EQ(elementRows(), (std::vector<long>{1, 1, 1, 1, 1}));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 4));
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), rowNumbers(4, 0));
}

TEST_F(RowsTest, ElementIsFullWhenItHasGrownPastTheLimitAndNotBefore) {
    makeTable({{"a", ktbTypeInteger}}, 18);
    for (int i = 0; i < 7; ++i) row({i});  // 9 bytes each: two rows reach the limit, the third passes it
    finish();
    EXPECT_EQ(elementRows(), (std::vector<long>{3, 3, 1}));
}

TEST_F(RowsTest, NegativeLimitIsPassedByEveryRow) {
    makeRows(3, -1);
    EXPECT_EQ(elementRows(), (std::vector<long>{1, 1, 1}));
}

TEST_F(RowsTest, VeryManyElementsKeepTheirOrder) {
    makeRows(300, 1);
    EXPECT_EQ(elements(), 300u);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 299));
    ASSERT_TRUE(reopen({.range = {250, 20}}));
    EXPECT_EQ(rowsRead(), rowNumbers(250, 269));
}

// Ranges

TEST_F(RowsTest, RangeToTheEndBeginsAtItsFirstRow) {
    makeRows(10);
    ASSERT_TRUE(reopen({.range = {5, -1}}));
    EXPECT_EQ(table_->getRows(), 10);
    EXPECT_EQ(rowsRead(), rowNumbers(5, 9));
    ASSERT_TRUE(reopen({.range = {5, -1}, .reversed = true}));
    EXPECT_EQ(rowsRead(), rowNumbers(9, 5));
}

TEST_F(RowsTest, RangeBeyondTheLastRowIsEmpty) {
    makeRows(10, 40);
    for (const long first : {10L, 11L, LONG_MAX}) {
        for (const long count : {-1L, 0L, 1L, LONG_MAX}) {
            ASSERT_TRUE(reopen({.range = {first, count}}));
            EXPECT_EQ(rowsRead(), Rows());
            ASSERT_TRUE(reopen({.range = {first, count}, .reversed = true}));
            EXPECT_EQ(rowsRead(), Rows());
        }
    }
}

TEST_F(RowsTest, EveryRangeOfASmallTableDeliversItsRows) {
    for (const long limit : {0L, 1L, 40L}) {
        makeRows(6, limit);
        for (long first = 0; first < 6; ++first) {
            for (long count = 1; count <= 8; ++count) {
                ASSERT_TRUE(reopen({.range = {first, count}}));
                EXPECT_EQ(rowsRead(), rowNumbers(first, std::min(first + count, 6L) - 1));
                ASSERT_TRUE(reopen({.range = {first, count}, .reversed = true}));
                EXPECT_EQ(rowsRead(), rowNumbers(5, first)) << "a range bounds only the first row of a reversed table";
            }
            ASSERT_TRUE(reopen({.range = {first, 0}}));
            EXPECT_EQ(rowsRead(), Rows());
        }
    }
}

TEST_F(RowsTest, RangeWhoseEndOverflowsGoesToTheEnd) {
    makeRows(10);
    ASSERT_TRUE(reopen({.range = {5, LONG_MAX}}));
    EXPECT_EQ(rowsRead(), rowNumbers(5, 9));
    ASSERT_TRUE(reopen({.range = {0, LONG_MAX}}));
    EXPECT_EQ(rowsRead(), rowNumbers(0, 9));
}

TEST_F(RowsTest, NegativeRangesAreRefused) {
    makeRows(3);
    for (const long first : {-1L, LONG_MIN}) {
        EXPECT_FALSE(reopen({.range = {first, -1}}));
        EXPECT_TRUE(refused(1788, first));
        EXPECT_FALSE(openText("ktwt:" + name_ + "?rows=" + std::to_string(first) + ",1"));
        EXPECT_TRUE(refused(1788, first));
    }
    for (const long count : {-2L, LONG_MIN}) {
        EXPECT_FALSE(reopenByIndex({0}, {.range = {0, count}}));
        EXPECT_TRUE(refused(1789, count));
        EXPECT_FALSE(reopen({.range = {7, count}, .reversed = true}));
        EXPECT_TRUE(refused(1789, count));
    }
    EXPECT_FALSE(reopen({.range = {-1, -2}}));
    EXPECT_TRUE(refused(1788, -1L));
}

TEST_F(RowsTest, RangeIsAnInputAndIsNotWritten) {
    makeRows(3);
    long range[2] = {1, -1};
    table_.reset(manager_->open(ktb(name_), -1, static_cast<const KtbString*>(nullptr), range, false, &error_));
    ASSERT_TRUE(table_);
    EXPECT_EQ(range[0], 1);
    EXPECT_EQ(range[1], -1);
}

// Reading

TEST_F(RowsTest, EndIsToldAgainAndAgain) {
    for (const bool reversed : {false, true}) {
        makeRows(2, 1);
        ASSERT_TRUE(reopen({.reversed = reversed}));
        EXPECT_EQ(rowsRead().size(), 2u);
        for (int i = 0; i < 3; ++i) {
            end_ = false;
            EXPECT_FALSE(nextRow());
            EXPECT_TRUE(end_);
        }
    }
}

TEST_F(RowsTest, TableWithoutRowsHasNone) {
    makeRows(0);
    for (const bool reversed : {false, true}) {
        ASSERT_TRUE(reopen({.reversed = reversed}));
        EXPECT_EQ(rowsRead(), Rows());
        ASSERT_TRUE(reopen({.range = {0, -1}, .reversed = reversed}));
        EXPECT_EQ(rowsRead(), Rows());
        ASSERT_TRUE(reopen({.range = {0, 0}, .reversed = reversed}));
        EXPECT_EQ(rowsRead(), Rows());
    }
}

TEST_F(RowsTest, ReversedTableOfOneRowDeliversItOnce) {
    makeRows(1);
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), rowNumbers(0, 0));
}

TEST_F(RowsTest, ReadOnlyTableRefusesItsFirstRow) {
    makeRows(2);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(tryRow(rowNumber(2)));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1768));
    ASSERT_TRUE(nextRow());
    EXPECT_FALSE(tryRow(rowNumber(2)));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1768));
    EXPECT_EQ(rowsRead(), rowNumbers(1, 1));
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(RowsTest, TablesOfOneManagerAreReadSideBySide) {
    makeRows(4, 30);
    ASSERT_TRUE(reopen());
    Table other(manager_->open(ktb(name_), true, &error_));
    ASSERT_TRUE(other);
    EXPECT_EQ(nextRow(), rowNumber(0));
    KtbDatavar values[3];
    ASSERT_TRUE(other->readRow(values, &end_));
    EXPECT_EQ(Row(values, values + 3), rowNumber(3));
    EXPECT_EQ(nextRow(), rowNumber(1));
    ASSERT_TRUE(other->readRow(values, &end_));
    EXPECT_EQ(Row(values, values + 3), rowNumber(2));
}

// The other byte order

TEST_F(RowsTest, TableOfTheOtherByteOrderReadsTheSame) {
    makeTable({{"i", ktbTypeInteger}, {"m", ktbTypeDecimal}, {"d", ktbTypeDate}, {"b", ktbTypeBoolean}, {"s"}}, 100);
    Rows rows;
    for (int i = 0; i < 10; ++i) {
        const std::string text(static_cast<std::size_t>(120 + i), 'x');
        rows.push_back({i * 1000003L, decimal("-12.50"), date(i + 0.5), i % 2 == 0, text});
        row(rows.back());
    }
    finish();
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(table_->getRows(), 10);
    EXPECT_EQ(columnsOf(*table_)[4], (ColumnInfo{"s", ktbTypeString, 0, 130}));
    EXPECT_EQ(rowsRead(), rows);
    ASSERT_TRUE(reopen({.range = {4, 3}}));
    EXPECT_EQ(rowsRead(), Rows(rows.begin() + 4, rows.begin() + 7));
    ASSERT_TRUE(reopenByIndex({2, 1}, {.range = {8, -1}, .reversed = true}));
    EXPECT_EQ(rowsRead(), (Rows{{date(9.5), decimal("-12.50")}, {date(8.5), decimal("-12.50")}}));
    EXPECT_TRUE(manager_->remove(ktb(name_), &error_));
    EXPECT_EQ(files(), std::vector<std::string>());
}

// Elements without an index

TEST_F(RowsTest, ElementsWithoutAnIndexAreReadForwards) {
    makeRows(6, 40);
    ASSERT_GE(elements(), 2u);
    dropIndexes();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 5));
    ASSERT_TRUE(reopenByIndex({1}));
    EXPECT_EQ(rowsRead(), (Rows{{"row 0"}, {"row 1"}, {"row 2"}, {"row 3"}, {"row 4"}, {"row 5"}}));
    ASSERT_TRUE(reopenByIndex({}));
    EXPECT_EQ(rowsRead(), Rows(6));
    ASSERT_TRUE(reopenByName({"none"}));
    EXPECT_EQ(rowsRead(), Rows(6, Row{nullOf(ktbTypeString)}));
}

TEST_F(RowsTest, ElementsWithoutAnIndexHaveNoPlaceToBeginAt) {
    makeRows(3);
    dropIndexes();
    ASSERT_TRUE(reopen({.range = {0, 1}}));
    EXPECT_EQ(rowsRead(), rowNumbers(0, 0));
    EXPECT_FALSE(reopen({.range = {1, 1}}));
    EXPECT_TRUE(says(error_, "wtelem", 336));
    EXPECT_FALSE(reopen({.reversed = true}));
    EXPECT_TRUE(says(error_, "wtelem", 336));
}

TEST_F(RowsTest, ElementsWithoutAnIndexAreRemovedWithTheTable) {
    makeRows(3, 1);
    dropIndexes();
    EXPECT_TRUE(manager_->remove(ktb(name_), &error_));
    EXPECT_EQ(files(), std::vector<std::string>());
}

// Damage

TEST_F(RowsTest, MissingElementIsReportedWhenItIsReached) {
    makeRows(4, 30);
    ASSERT_EQ(elementRows(), (std::vector<long>{2, 2}));
    const std::string missing = dataPath(1);
    std::filesystem::remove(missing);
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(nextRow());
    ASSERT_TRUE(nextRow());
    expectDamage(1353, missing.c_str(), np_fio_errdesc(np_err_no_such_file));
    expectDamage(1353, missing.c_str(), np_fio_errdesc(np_err_no_such_file));
}

TEST_F(RowsTest, MissingElementFailsTheOpenThatBeginsInIt) {
    makeRows(4, 30);
    const std::string missing = dataPath(1);
    std::filesystem::remove(missing);
    EXPECT_FALSE(reopen({.range = {3, -1}}));
    EXPECT_TRUE(says(error_, "wtelem", 1353, missing.c_str(), np_fio_errdesc(np_err_no_such_file)));
    EXPECT_FALSE(reopen({.reversed = true}));
    EXPECT_TRUE(says(error_, "wtelem", 1353, missing.c_str(), np_fio_errdesc(np_err_no_such_file)));
    EXPECT_TRUE(reopen({.range = {1, -1}}));
}

TEST_F(RowsTest, RowThatIsCutOffIsReportedAndNotReturned) {
    makeRows(3);
    const std::string data = readFile(dataPath(0));
    writeFile(dataPath(0), data.substr(0, data.size() - 1));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(nextRow(), rowNumber(0));
    EXPECT_EQ(nextRow(), rowNumber(1));
    expectDamage(1301, "column");
}

TEST_F(RowsTest, IndexThatIsCutOffIsReported) {
    makeRows(3);
    const std::string index = indexPath(0);
    writeFile(index, readFile(index).substr(0, 15));
    ASSERT_TRUE(reopenByIndex({0}));
    expectDamage(1301, "column position");
    EXPECT_FALSE(reopen({.range = {1, -1}}));
    EXPECT_TRUE(says(error_, "wtelem", 1301, "row offset"));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 2)) << "whole rows need only the first entry";

    writeFile(index, "");
    ASSERT_TRUE(reopen());
    expectDamage(1301, "column");
}

TEST_F(RowsTest, IndexThatLeadsBeyondTheDataIsReported) {
    makeRows(3);
    std::string index = readFile(indexPath(0));
    index.replace(8, 8, table_files::encoded(std::int64_t{1} << 40, std::endian::native));
    writeFile(indexPath(0), index);
    ASSERT_TRUE(reopen({.range = {1, -1}}));
    expectDamage(1301, "column");
}

TEST_F(RowsTest, TextLongerThanTheHeaderSaysIsReported) {
    makeRows(3);
    table_files::Header changed = header();
    changed.columns[1].longest = 3;
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    expectDamage(1301, "column");
    ASSERT_TRUE(reopenByIndex({0, 2}));
    EXPECT_EQ(rowsRead(), (Rows{{0, false}, {1, true}, {2, false}})) << "a text that nobody asks for is passed over";
}

TEST_F(RowsTest, LongestStoredStringIsNotBelievedBeyondTheDataFiles) {
    makeRows(3);
    table_files::Header changed = header();
    changed.columns[1].longest = INT_MAX;
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 2));
    ASSERT_TRUE(reopenByName({"text"}));
    EXPECT_EQ(rowsRead().size(), 3u);
}

TEST_F(RowsTest, HeaderThatCountsMoreRowsThanTheElementsEndsWithTheirs) {
    makeRows(3);
    table_files::Header changed = header();
    changed.rows = 10;
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(table_->getRows(), 10);
    EXPECT_EQ(rowsRead(), rowNumbers(0, 2));
    ASSERT_TRUE(reopen({.range = {5, -1}}));
    EXPECT_EQ(rowsRead(), Rows());
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), rowNumbers(2, 0));
}

TEST_F(RowsTest, ElementThatCountsMoreRowsThanItHasIsReported) {
    makeRows(3);
    table_files::Header changed = header();
    changed.elements[0].rows = 1000000000000;
    changed.rows = changed.elements[0].rows;
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(nextRow(), rowNumber(i));
    expectDamage(1301, "column");
    EXPECT_FALSE(reopen({.reversed = true}));
    EXPECT_TRUE(says(error_, "wtelem", 1301, "row offset"));
}

TEST_F(RowsTest, ElementWithANegativeNumberOfRowsHasNone) {
    makeRows(3, 1);
    table_files::Header changed = header();
    changed.elements[1].rows = LONG_MIN;
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{rowNumber(0), rowNumber(2)}));
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), (Rows{rowNumber(2), rowNumber(0)}));
}

TEST_F(RowsTest, HeaderThatCountsANegativeNumberOfRowsHasNoLastRow) {
    makeRows(3);
    table_files::Header changed = header();
    changed.rows = LONG_MIN;
    changeHeader(changed);
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), Rows());
    ASSERT_TRUE(reopen({.range = {0, -1}}));
    EXPECT_EQ(rowsRead(), Rows());
}

}  // namespace
