// The figures of a table as a cursor.
#include <climits>

#include "table/table_fixture.h"

namespace {

using Cursor = std::unique_ptr<KtbStringCursor, ReleaseObject>;
using Figures = std::vector<std::pair<std::string, std::string>>;

class StatisticsTest : public TableTest {
protected:
    Cursor statistics() { return Cursor(table_->statistics()); }

    // What is left of the cursor.
    static Figures readAll(KtbStringCursor* cursor) {
        Figures figures;
        while (cursor->next() == ktbCursorRow) {
            figures.emplace_back(bytesOf(cursor->getColumnValue(0)), bytesOf(cursor->getColumnValue(1)));
        }
        return figures;
    }

    Figures figures() {
        const Cursor cursor = statistics();
        EXPECT_NE(cursor, nullptr) << tableError();
        return readAll(cursor.get());
    }

    std::string figure(const std::string& name) {
        for (const auto& [key, value] : figures()) {
            if (key == name) return value;
        }
        return "no such figure";
    }
};

TEST_F(StatisticsTest, AnEmptyTableHasSixFigures) {
    makeTable({{"a"}, {"b"}});
    const Figures expected = {{"AccessKey", ""}, {"Columns", "2"}, {"ElementSize", "0"},
                              {"Elements", "0"}, {"Rows", "0"},    {"Version", "1.0"}};
    EXPECT_EQ(figures(), expected);
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(figures(), expected);
    EXPECT_EQ(tableError(), "");
}

TEST_F(StatisticsTest, FiguresAreThoseOfTheWholeTableWhateverTheRange) {
    makeRows(10, 40);
    const std::string count = std::to_string(elements());
    ASSERT_GT(elements(), 2u);
    ASSERT_TRUE(reopen({.range = {3, 2}, .reversed = true}));
    const Figures expected = {{"AccessKey", ""},   {"Columns", "3"}, {"ElementSize", "40"},
                              {"Elements", count}, {"Rows", "10"},   {"Version", "1.0"}};
    EXPECT_EQ(figures(), expected);
}

TEST_F(StatisticsTest, ColumnsAreTheOnesThatTheReaderChose) {
    makeRows(1);
    ASSERT_TRUE(reopenByIndex({2}));
    EXPECT_EQ(figure("Columns"), "1");
    ASSERT_TRUE(reopenByIndex({}));
    EXPECT_EQ(figure("Columns"), "0");
    ASSERT_TRUE(reopenByName({"id", "id", "unknown", "text", "flag"}));
    EXPECT_EQ(figure("Columns"), "5");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(figure("Columns"), "3");
}

TEST_F(StatisticsTest, TheLabelIsShownAsItIsHoweverLong) {
    makeRows(1);
    const std::string longest(4095, 'k');
    for (const std::string& label : {std::string("key"), std::string("it's <a> & b \xC3\xA4"), std::string(27, 'x'), longest}) {
        table_files::Header changed = header();
        changed.label = label + '\0';
        changeHeader(changed);
        ASSERT_TRUE(reopen()) << error_.asCstr();
        EXPECT_EQ(figure("AccessKey"), label);
    }
}

// Later versions than this library's own are not opened; whitebox_statistics_test.cpp has them.
TEST_F(StatisticsTest, TheVersionIsShownInHundredths) {
    makeRows(1);
    const std::vector<std::pair<int, std::string>> versions = {{100, "1.0"},     {99, "0.99"},          {9, "0.9"},
                                                               {0, "0.0"},       {-1, "0.-1"},          {-100, "-1.0"},
                                                               {-150, "-1.-50"}, {SHRT_MIN, "-327.-68"}};
    for (const auto& [version, text] : versions) {
        table_files::Header changed = header();
        changed.version = static_cast<std::int16_t>(version);
        changeHeader(changed);
        ASSERT_TRUE(reopen()) << version << ": " << error_.asCstr();
        EXPECT_EQ(figure("Version"), text);
    }
}

TEST_F(StatisticsTest, NumbersOfAnySizeAreShown) {
    makeRows(3);
    table_files::Header changed = header();
    changed.elementSize = LONG_MIN;
    changed.rows = LONG_MAX;
    changeHeader(changed);
    ASSERT_TRUE(reopen()) << error_.asCstr();
    EXPECT_EQ(figure("ElementSize"), "-9223372036854775808");
    EXPECT_EQ(figure("Rows"), "9223372036854775807");
}

TEST_F(StatisticsTest, TheCursorDescribesItself) {
    makeTable({{"a"}});
    const Cursor cursor = statistics();
    ASSERT_NE(cursor, nullptr);
    EXPECT_TRUE(cursor->cacheAll());
    EXPECT_EQ(cursor->getColumns(), 2);
    EXPECT_STREQ(cursor->getColumnName(0).asCstr(), "Statistic");
    EXPECT_STREQ(cursor->getColumnName(1).asCstr(), "Value");
    long rows = -1;
    EXPECT_TRUE(cursor->getRows(&rows));
    EXPECT_EQ(rows, 6);
    EXPECT_TRUE(cursor->getRows(nullptr));
    EXPECT_STREQ(cursor->getErrorMessage().asCstr(), "");
    EXPECT_FALSE(cursor->getErrorMessage().isNull());
}

void expectEmpty(const KtbString& text) {
    EXPECT_STREQ(text.asCstr(), "");
    EXPECT_FALSE(text.isNull());
}

TEST_F(StatisticsTest, WhatIsBeyondTheColumnsAndRowsIsEmpty) {
    makeTable({{"a"}});
    const Cursor cursor = statistics();
    ASSERT_NE(cursor, nullptr);
    for (const int column : {2, 5, -1, INT_MAX, INT_MIN}) expectEmpty(cursor->getColumnName(column));
    for (const int column : {0, 1, 2, -1}) expectEmpty(cursor->getColumnValue(column));  // before the first row
    ASSERT_EQ(cursor->next(), ktbCursorRow);
    for (const int column : {2, 5, -1, INT_MAX, INT_MIN}) expectEmpty(cursor->getColumnValue(column));
    EXPECT_STREQ(cursor->getColumnValue(0).asCstr(), "AccessKey");
    EXPECT_EQ(readAll(cursor.get()).size(), 5u);
    for (const int column : {0, 1, 2, -1}) expectEmpty(cursor->getColumnValue(column));  // behind the last
    expectEmpty(cursor->getErrorMessage());
}

TEST_F(StatisticsTest, BehindTheLastRowTheCursorStaysUntilItGoesToTheTop) {
    makeTable({{"a"}});
    const Cursor cursor = statistics();
    ASSERT_NE(cursor, nullptr);
    const Figures first = readAll(cursor.get());
    EXPECT_EQ(first.size(), 6u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(cursor->next(), ktbCursorEnd);
    EXPECT_TRUE(cursor->top());
    EXPECT_EQ(cursor->next(), ktbCursorRow);
    EXPECT_STREQ(cursor->getColumnValue(0).asCstr(), "AccessKey");
    EXPECT_TRUE(cursor->top());
    EXPECT_EQ(readAll(cursor.get()), first);
}

TEST_F(StatisticsTest, LaterRowsDoNotShow) {
    makeTable({{"id", ktbTypeInteger}}, 1);
    row({1});
    const Cursor before = statistics();
    row({2});
    row({3});
    const Figures after = figures();
    EXPECT_EQ(readAll(before.get()).at(4).second, "1");
    EXPECT_EQ(after.at(4).second, "3");
    EXPECT_EQ(after.at(3).second, "3");
    finish();
}

TEST_F(StatisticsTest, TheCursorOutlivesItsTableAndManager) {
    makeRows(4);
    table_files::Header changed = header();
    changed.label = std::string("a label that does not fit into a string object") + '\0';
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    const Cursor cursor = statistics();
    table_.reset();
    ASSERT_TRUE(manager_->remove(ktb(name_), &error_));
    manager_.reset();
    const Figures expected = {{"AccessKey", "a label that does not fit into a string object"},
                              {"Columns", "3"},
                              {"ElementSize", "0"},
                              {"Elements", "1"},
                              {"Rows", "4"},
                              {"Version", "1.0"}};
    EXPECT_EQ(readAll(cursor.get()), expected);
}

}  // namespace
