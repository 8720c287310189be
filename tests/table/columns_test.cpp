// Columns: what a table stores, and what a reader chooses to see of it by number or by name.
#include <climits>

#include "table/table_fixture.h"

namespace {

class ColumnsTest : public TableTest {
protected:
    // A table "a" (integer), "b" (string), "c" (boolean) with the rows (1, "one", true) and (2, null, false).
    void makeThree() {
        makeTable({{"a", ktbTypeInteger}, {"b"}, {"c", ktbTypeBoolean}});
        row({1, "one", true});
        row({2, nullptr, false});
        finish();
    }

    ColumnInfo info(int column) {
        ColumnInfo result;
        KtbString name;
        EXPECT_TRUE(table_->getColumnInfo(column, &name, &result.type, &result.width, &result.longest)) << tableError();
        result.name = bytesOf(name);
        return result;
    }

    static ColumnInfo a() { return {"a", ktbTypeInteger}; }
    static ColumnInfo b() { return {"b", ktbTypeString, 0, 4}; }
    static ColumnInfo c() { return {"c", ktbTypeBoolean}; }
    static ColumnInfo unknown(const std::string& name) { return {name, ktbTypeString}; }
    static Value unknownValue() { return nullOf(ktbTypeString); }
};

// Defining

TEST_F(ColumnsTest, ColumnOutOfRangeCannotBeDefined) {
    makeTable({{"a"}, {"b"}});
    for (const int column : {-1, 2, INT_MIN, INT_MAX}) {
        EXPECT_FALSE(define(column, {"c"}));
        EXPECT_TRUE(says(table_->getError(), "wtfile", 1420));
    }
}

TEST_F(ColumnsTest, ColumnNamesDifferInMoreThanLetterCase) {
    ASSERT_TRUE(tryMakeTable(3));
    EXPECT_TRUE(define(0, {"Name"}));
    EXPECT_FALSE(define(2, {"nAME"}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1666, "nAME"));
    EXPECT_TRUE(define(1, {"\xC3\x84"}));  // letters beyond ASCII have no case here
    EXPECT_TRUE(define(2, {"\xC3\xA4"}));
}

TEST_F(ColumnsTest, EmptyNameIsANameLikeAnyOther) {
    ASSERT_TRUE(tryMakeTable(2));
    EXPECT_TRUE(define(0, {"", ktbTypeInteger}));
    EXPECT_FALSE(define(1, {""}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1666, ""));
    EXPECT_TRUE(define(1, {"b"}));
}

TEST_F(ColumnsTest, NullNameIsOneThatMemoryCouldNotHold) {
    ASSERT_TRUE(tryMakeTable(2));
    EXPECT_FALSE(table_->defineColumnInfo(0, KtbString(nullptr), ktbTypeInteger, 0));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 29, "(column name)"));
}

TEST_F(ColumnsTest, ColumnMayBeDefinedAgain) {
    makeTable({{"a", ktbTypeInteger}, {"b"}});
    EXPECT_TRUE(define(0, {"A", ktbTypeString, 3}));
    EXPECT_TRUE(define(0, {"x", ktbTypeString, 2}));
    EXPECT_TRUE(define(1, {"a", ktbTypeBoolean}));  // the name is free again
    row({"long", "yes"});
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"x", ktbTypeString, 2, 3}, {"a", ktbTypeBoolean}}));
    EXPECT_EQ(rowsRead(), (Rows{{"lo", true}}));
}

TEST_F(ColumnsTest, TypesThatCannotBeStoredComeBackAsStrings) {
    const std::vector<std::pair<ktbType, ktbType>> types = {{0, ktbTypeString},  {1, ktbTypeBoolean}, {2, ktbTypeInteger},
                                                            {3, ktbTypeDecimal}, {4, ktbTypeString},  {5, ktbTypeDate},
                                                            {6, ktbTypeString},  {7, ktbTypeString},  {99, ktbTypeString},
                                                            {-1, ktbTypeString}, {256, ktbTypeString}};
    std::vector<Column> columns;
    for (const auto& [given, restored] : types) columns.push_back({"c" + std::to_string(given), given, 8});
    makeTable(columns);
    for (std::size_t i = 0; i < types.size(); ++i) EXPECT_EQ(info(static_cast<int>(i)).type, types[i].first);
    finish();
    ASSERT_TRUE(reopen());
    for (std::size_t i = 0; i < types.size(); ++i) EXPECT_EQ(info(static_cast<int>(i)).type, types[i].second);
}

TEST_F(ColumnsTest, DeclaredWidthIsKeptWhateverItIs) {
    makeTable({{"a", ktbTypeInteger, 7}, {"b", ktbTypeString, -5}, {"c", ktbTypeString, INT_MAX}, {"d", ktbTypeDate, INT_MIN}});
    row({1, "text", "text", 0});
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"a", ktbTypeInteger, 7},
                                                           {"b", ktbTypeString, -5, 5},
                                                           {"c", ktbTypeString, INT_MAX, 5},
                                                           {"d", ktbTypeDate, INT_MIN}}));
    EXPECT_EQ(rowsRead(), (Rows{{1, "text", "text", date(0.0)}}));
}

TEST_F(ColumnsTest, LongestStoredStringCountsItsNulAndIsKeptUpToDate) {
    makeTable({{"a"}, {"b", ktbTypeString, 3}, {"c", ktbTypeInteger}});
    const auto longest = [this] { return std::vector<int>{info(0).longest, info(1).longest, info(2).longest}; };
    EXPECT_EQ(longest(), (std::vector<int>{0, 0, 0}));
    row({nullptr, nullptr, 123456});
    EXPECT_EQ(longest(), (std::vector<int>{0, 0, 0}));
    row({"", "ab", 1});
    EXPECT_EQ(longest(), (std::vector<int>{1, 3, 0}));
    row({"four", "cut off", 1});
    EXPECT_EQ(longest(), (std::vector<int>{5, 4, 0}));
    row({"x", "", 1});
    EXPECT_EQ(longest(), (std::vector<int>{5, 4, 0}));
}

TEST_F(ColumnsTest, FirstRowIsRefusedWhileAColumnIsNotDefined) {
    ASSERT_TRUE(tryMakeTable(2));
    EXPECT_TRUE(define(1, {"b"}));
    EXPECT_FALSE(tryRow({"x", "y"}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1420));
    EXPECT_EQ(table_->getRows(), 0);
    EXPECT_EQ(files(), std::vector<std::string>{name_});
    EXPECT_TRUE(define(0, {"a"}));
    row({"x", "y"});
    EXPECT_EQ(table_->getRows(), 1);
    EXPECT_TRUE(table_->close());
    EXPECT_EQ(header().rows, 1);
}

// Describing

TEST_F(ColumnsTest, ColumnOutOfRangeCannotBeDescribed) {
    makeThree();
    ASSERT_TRUE(reopenByIndex({2, 0}));
    for (const int column : {-1, 2, INT_MIN, INT_MAX}) {
        KtbString name("untouched");
        ktbType type = 77;
        int width = 78;
        int longest = 79;
        EXPECT_FALSE(table_->getColumnInfo(column, &name, &type, &width, &longest));
        EXPECT_TRUE(says(table_->getError(), "wtfile", 1420));
        EXPECT_STREQ(name.asCstr(), "untouched");
        EXPECT_EQ(type, 77);
        EXPECT_EQ(width, 78);
        EXPECT_EQ(longest, 79);
    }
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(table_->getColumnInfo(3, nullptr, nullptr, nullptr, nullptr));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1420));
}

TEST_F(ColumnsTest, WhatNobodyAsksForIsNotDescribed) {
    makeThree();
    ASSERT_TRUE(reopen());
    int longest = 0;
    EXPECT_TRUE(table_->getColumnInfo(1, nullptr, nullptr, nullptr, &longest));
    EXPECT_EQ(longest, 4);
    EXPECT_TRUE(table_->getColumnInfo(1, nullptr, nullptr, nullptr, nullptr));
}

// Choosing by number

TEST_F(ColumnsTest, AllColumnsInTheirOrderAreNoSelection) {
    makeThree();
    ASSERT_TRUE(reopenByIndex({0, 1, 2}));
    EXPECT_EQ(table_->getColumns(), 3);
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{a(), b(), c()}));
    EXPECT_EQ(rowsRead(), (Rows{{1, "one", true}, {2, nullptr, false}}));
}

TEST_F(ColumnsTest, MinusOneChoosesAllColumnsWithoutAnArray) {
    makeThree();
    int* noNumbers = nullptr;
    table_.reset(manager_->open(ktb(name_), -1, noNumbers, nullptr, false, &error_));
    ASSERT_TRUE(table_);
    EXPECT_EQ(table_->getColumns(), 3);
    EXPECT_EQ(rowsRead(), (Rows{{1, "one", true}, {2, nullptr, false}}));
}

TEST_F(ColumnsTest, ColumnsAreDeliveredInTheOrderChosen) {
    makeThree();
    ASSERT_TRUE(reopenByIndex({2, 0}));
    EXPECT_EQ(table_->getColumns(), 2);
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{c(), a()}));
    EXPECT_EQ(rowsRead(), (Rows{{true, 1}, {false, 2}}));
    ASSERT_TRUE(reopenByIndex({1}));
    EXPECT_EQ(rowsRead(), (Rows{{"one"}, {nullptr}}));
    ASSERT_TRUE(reopenByIndex({2, 1, 0}, {.reversed = true}));
    EXPECT_EQ(rowsRead(), (Rows{{false, nullptr, 2}, {true, "one", 1}}));
}

TEST_F(ColumnsTest, ColumnCanBeChosenOnceByNumber) {
    makeThree();
    EXPECT_FALSE(reopenByIndex({1, 1}));
    EXPECT_TRUE(refused(1792, 1));
    EXPECT_FALSE(reopenByIndex({0, 0, 0}));
    EXPECT_EQ(log_.last().number, 1792);
}

TEST_F(ColumnsTest, ColumnThatDoesNotExistCannotBeChosen) {
    makeThree();
    EXPECT_FALSE(reopenByIndex({7}));
    EXPECT_TRUE(refused(1791, 7));
    EXPECT_FALSE(reopenByIndex({0, -1}));
    EXPECT_TRUE(refused(1791, -1));
    EXPECT_FALSE(reopenByIndex({0, 1, 2, 3}));
    EXPECT_TRUE(refused(1791, 3));
    EXPECT_FALSE(reopenByIndex({INT_MIN}));
    EXPECT_TRUE(refused(1791, INT_MIN));
}

TEST_F(ColumnsTest, FirstOfSeveralWrongNumbersIsTheOneReported) {
    makeThree();
    const auto text = [](int number, int column) {
        return bytesOf(ktb_get_message("test", 0, "Work table library", number, column));
    };
    EXPECT_FALSE(reopenByIndex({7, 1, 1, 8}));
    EXPECT_EQ(bytesOf(error_), text(1791, 7));
    EXPECT_FALSE(reopenByIndex({2, 1, 2, -3, 1}));
    EXPECT_EQ(bytesOf(error_), text(1792, 2));
}

TEST_F(ColumnsTest, NoColumnsAtAllGiveRowsWithoutValues) {
    makeThree();
    ASSERT_TRUE(reopenByIndex({}));
    EXPECT_EQ(table_->getColumns(), 0);
    EXPECT_FALSE(table_->getColumnInfo(0, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(table_->getRows(), 2);
    EXPECT_EQ(rowsRead(), (Rows{{}, {}}));
    ASSERT_TRUE(reopenByName(std::vector<std::string>(), {.reversed = true}));
    EXPECT_EQ(rowsRead(), (Rows{{}, {}}));
}

TEST_F(ColumnsTest, CountsBelowMinusOneAreRefused) {
    makeThree();
    int* noNumbers = nullptr;
    EXPECT_EQ(manager_->open(ktb(name_), -2, noNumbers, nullptr, false, &error_), nullptr);
    EXPECT_TRUE(refused(1791, -2));
    EXPECT_FALSE(reopenByName(INT_MIN, nullptr, {}));
    EXPECT_TRUE(refused(1791, INT_MIN));
}

TEST_F(ColumnsTest, CountWithoutAnArrayIsRefused) {
    makeThree();
    int* noNumbers = nullptr;
    EXPECT_EQ(manager_->open(ktb(name_), 3, noNumbers, nullptr, false, &error_), nullptr);
    EXPECT_TRUE(refused(1791, 3));
    EXPECT_FALSE(reopenByName(1, nullptr, {}));
    EXPECT_TRUE(refused(1791, 1));
}

// Choosing by name

TEST_F(ColumnsTest, NamesAreFoundWhateverTheirLetterCase) {
    makeThree();
    ASSERT_TRUE(reopenByName({"C", "a"}));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{c(), a()}));
    EXPECT_EQ(rowsRead(), (Rows{{true, 1}, {false, 2}}));
}

TEST_F(ColumnsTest, AllNamesInTheirOrderAreNoSelection) {
    makeThree();
    ASSERT_TRUE(reopenByName({"A", "B", "C"}));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{a(), b(), c()}));
    EXPECT_EQ(rowsRead(), (Rows{{1, "one", true}, {2, nullptr, false}}));
}

TEST_F(ColumnsTest, NameMayBeChosenForSeveralSlots) {
    makeThree();
    ASSERT_TRUE(reopenByName({"b", "b"}));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{b(), b()}));
    EXPECT_EQ(rowsRead(), (Rows{{"one", "one"}, {nullptr, nullptr}}));
    ASSERT_TRUE(reopenByName({"b", "a", "b", "c", "b", "a"}, {.reversed = true}));
    EXPECT_EQ(rowsRead(), (Rows{{nullptr, 2, nullptr, false, nullptr, 2}, {"one", 1, "one", true, "one", 1}}));
}

TEST_F(ColumnsTest, NameThatTheTableDoesNotHaveReadsAsANullString) {
    makeThree();
    ASSERT_TRUE(reopenByName({"x", "a", "Y"}));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{unknown("x"), a(), unknown("Y")}));
    EXPECT_EQ(rowsRead(), (Rows{{unknownValue(), 1, unknownValue()}, {unknownValue(), 2, unknownValue()}}));
    ASSERT_TRUE(reopenByName({"none", "neither"}));
    EXPECT_EQ(rowsRead(), (Rows{{unknownValue(), unknownValue()}, {unknownValue(), unknownValue()}}));
}

TEST_F(ColumnsTest, ValuesLeftInTheCallersArrayAreOverwritten) {
    makeThree();
    ASSERT_TRUE(reopenByName({"b", "x"}));
    KtbDatavar values[2];
    values[0].assign("old");
    values[1].assign(5);
    ASSERT_TRUE(table_->readRow(values, &end_));
    EXPECT_EQ(Row(values, values + 2), (Row{"one", unknownValue()}));
    values[1].assign(6);
    ASSERT_TRUE(table_->readRow(values, &end_));
    EXPECT_EQ(Row(values, values + 2), (Row{nullptr, unknownValue()}));
}

TEST_F(ColumnsTest, FailedSelectionLeavesTheTableAsItWas) {
    makeThree();
    const std::string before = readFile(path(name_));
    const std::size_t handles = openHandles();
    EXPECT_FALSE(reopenByIndex({1, 1}));
    EXPECT_EQ(openHandles(), handles);
    EXPECT_EQ(readFile(path(name_)), before);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{1, "one", true}, {2, nullptr, false}}));
}

TEST_F(ColumnsTest, ManyColumnsKeepTheirPlaces) {
    constexpr int count = 500;
    std::vector<Column> columns;
    Row values;
    for (int i = 0; i < count; ++i) {
        columns.push_back({"column" + std::to_string(i), i % 2 == 0 ? ktbTypeInteger : ktbTypeString});
        values.push_back(i % 2 == 0 ? Value(i) : Value("text" + std::to_string(i)));
    }
    makeTable(columns);
    row(values);
    row(values);
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{values, values}));
    ASSERT_TRUE(reopenByIndex({499, 0, 250}));
    EXPECT_EQ(rowsRead(), (Rows{{"text499", 0, 250}, {"text499", 0, 250}}));
}

TEST_F(ColumnsTest, NamesMayBeLong) {
    const std::string name(100000, 'n');
    makeTable({{name, ktbTypeInteger}, {name + "x"}});
    row({1, "text"});
    finish();
    ASSERT_TRUE(reopenByName({name + "X", name}));
    EXPECT_EQ(info(0).name, name + "x");
    EXPECT_EQ(rowsRead(), (Rows{{"text", 1}}));
}

}  // namespace
