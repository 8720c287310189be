// The string cursors, which do the same but for dates.
#include <type_traits>

#include "cursor/cursor_fixture.h"

namespace {

KtWorkTableStringCursor* makePlain(KtWorkTableManager* manager) { return ktwtCreateStringCursor(manager); }
KtWorkTableStringCursor* makeKtwf(KtWorkTableManager* manager) { return ktwtCreateStringKTWFCursor(manager); }

using StringCursor = std::unique_ptr<KtWorkTableStringCursor, ReleaseObject>;
using Make = KtWorkTableStringCursor* (*)(KtWorkTableManager*);

// A text or, without one, a null.
using Text = std::optional<std::string>;
using Texts = std::vector<std::vector<Text>>;

Text textOf(const KtbString& text) { return text.isNull() ? Text() : Text(bytesOf(text)); }

Texts textsOf(KtWorkTableStringCursor& cursor) {
    Texts rows;
    int status = cursor.next();
    for (; status == ktbCursorRow; status = cursor.next()) {
        std::vector<Text> row;
        for (int i = 0; i < cursor.getColumns(); ++i) row.push_back(textOf(cursor.getColumnValue(i)));
        rows.push_back(row);
    }
    EXPECT_EQ(status, ktbCursorEnd) << errorOf(cursor);
    return rows;
}

bool put(KtWorkTableStringCursor& cursor, const std::vector<Text>& row) {
    if (!cursor.initRow()) return false;
    for (std::size_t i = 0; i < row.size(); ++i) {
        cursor.setColumnValue(static_cast<int>(i), row[i] ? ktb(*row[i]) : KtbString(nullptr));
    }
    return cursor.finalizeRow();
}

class StringCursorTest : public TableTest, public testing::WithParamInterface<Make> {
protected:
    StringCursorTest() : cursor_(make()), source_(make()) {}

    ~StringCursorTest() override {
        cursor_.reset();
        source_.reset();
        for (const AssertLog::Entry& entry : assertions_.entries) ADD_FAILURE() << "assertion failed: " << entry.text;
    }

    KtWorkTableStringCursor* make() { return GetParam()(manager_.get()); }

    void build(KtWorkTableStringCursor& cursor, const std::vector<std::string>& columns, const Texts& rows) {
        for (const std::string& column : columns) cursor.addColumn(ktb(column));
        ASSERT_TRUE(cursor.createColumns()) << errorOf(cursor);
        for (const std::vector<Text>& row : rows) ASSERT_TRUE(put(cursor, row)) << errorOf(cursor);
        ASSERT_TRUE(cursor.finalize()) << errorOf(cursor);
    }

    // A closed table with a column of each type, read by the cursor.
    void holdAllTypes() {
        makeTable({{"b", ktbTypeBoolean}, {"i", ktbTypeInteger}, {"d", ktbTypeDecimal}, {"s"}, {"t", ktbTypeDate}});
        row({true, 12L, decimal("1.50"), "text", date("2024-02-29")});
        row({false, -12L, decimal("-0.001"), "", date("2024-02-29T12:30:00.25")});
        row({nullptr, nullptr, nullptr, nullptr, nullptr});
        finish();
        ASSERT_TRUE(reopen());
        ASSERT_TRUE(cursor_->setWorkTable(table_.release()));
    }

    AssertLog assertions_;
    StringCursor cursor_;
    StringCursor source_;
};

INSTANTIATE_TEST_SUITE_P(, StringCursorTest, testing::Values(&makePlain, &makeKtwf),
                         [](const auto& tested) { return tested.param == &makePlain ? "Plain" : "Ktwf"; });

const Texts someRows = {{"1", "2024-02-29"},
                        {"", "a text that is too long to live inside of its object"},
                        {std::nullopt, "true"},
                        {"12.50", std::nullopt}};

TEST_P(StringCursorTest, EveryColumnItCreatesIsAStringColumnWhateverTheTexts) {
    build(*cursor_, {"number", "date"}, someRows);
    EXPECT_EQ(textsOf(*cursor_), someRows);
    KtWorkTableFile* table = cursor_->getWorkTable(false);
    for (const ColumnInfo& column : columnsOf(*table)) EXPECT_EQ(column.type, 4);
    long rows = 0;
    EXPECT_TRUE(cursor_->getRows(&rows));
    EXPECT_EQ(rows, 4);
    EXPECT_EQ(cursor_->getColumns(), 2);
    EXPECT_STREQ(cursor_->getColumnName(1).asCstr(), "date");
    EXPECT_TRUE(cursor_->cacheAll());
    EXPECT_EQ(errorOf(*cursor_), "");
    EXPECT_TRUE(cursor_->top());
    EXPECT_EQ(textsOf(*cursor_), someRows);
}

// The two cursors have always told dates differently.
TEST_P(StringCursorTest, ValuesOfEveryTypeReadAsTexts) {
    holdAllTypes();
    const bool plain = GetParam() == &makePlain;
    EXPECT_EQ(textsOf(*cursor_), (Texts{{"true", "12", "1.50", "text", plain ? "2024-02-29T00:00:00" : "2024-02-29"},
                                        {"false", "-12", "-0.001", "", "2024-02-29T12:30:00.25"},
                                        {std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt}}));
}

TEST_P(StringCursorTest, FailuresAreThoseOfTheTypedCursor) {
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_EQ(errorOf(*cursor_), "Cannot create zero columns");
    expectNoTable(*cursor_);
    expectTold(*cursor_, [&] { cursor_->setColumnValue(0, "x"); });
}

TEST_P(StringCursorTest, AColumnOutOfRangeHasNoNameAndNoValueAndTakesNone) {
    build(*cursor_, {"a"}, {{"x"}});
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    for (const int column : {-1, 1, INT_MAX, INT_MIN}) {
        EXPECT_TRUE(cursor_->getColumnValue(column).isNull());
        EXPECT_EQ(errorOf(*cursor_).substr(0, 9), "KTWT-1420");
        EXPECT_STREQ(cursor_->getColumnName(column).asCstr(), "");
        ASSERT_TRUE(cursor_->initRow());
        cursor_->setColumnValue(column, "y");
        EXPECT_FALSE(cursor_->finalizeRow());
        EXPECT_EQ(errorOf(*cursor_).substr(0, 9), "KTWT-1420");
    }
    EXPECT_STREQ(cursor_->getColumnValue(0).asCstr(), "x");
}

TEST_P(StringCursorTest, ACopyHasTheTextsOfItsSource) {
    build(*source_, {"one", "two"}, someRows);
    ASSERT_EQ(source_->next(), ktbCursorRow);
    build(*cursor_, {"former"}, {{"x"}});
    const std::string former = bytesOf(cursor_->getWorkTable(false)->getName());
    ASSERT_TRUE(cursor_->copy(source_.get())) << errorOf(*cursor_);
    EXPECT_EQ(cursor_->getColumns(), 2);
    EXPECT_STREQ(cursor_->getColumnName(1).asCstr(), "two");
    EXPECT_EQ(textsOf(*cursor_), someRows);
    EXPECT_FALSE(openText(former));
}

TEST_P(StringCursorTest, ACopyOfOtherTypesBecomesTexts) {
    holdAllTypes();
    ASSERT_TRUE(source_->copy(cursor_.get())) << errorOf(*source_);
    ASSERT_TRUE(cursor_->top());
    EXPECT_EQ(textsOf(*source_), textsOf(*cursor_));
    for (const ColumnInfo& column : columnsOf(*source_->getWorkTable(false))) EXPECT_EQ(column.type, ktbTypeString);
}

TEST_P(StringCursorTest, ACopyOntoItselfIsRefusedAndLosesNothing) {
    build(*cursor_, {"a"}, {{"x"}, {"y"}});
    EXPECT_FALSE(cursor_->copy(cursor_.get()));
    EXPECT_EQ(errorOf(*cursor_), "A cursor cannot be copied onto itself.");
    EXPECT_FALSE(cursor_->copy(nullptr));
    EXPECT_EQ(errorOf(*cursor_), "There is no cursor to copy.");
    EXPECT_EQ(textsOf(*cursor_), (Texts{{"x"}, {"y"}}));
}

TEST_P(StringCursorTest, ATargetThatCannotBeClearedIsNotCopiedTo) {
    build(*source_, {"a"}, {{"x"}});
    build(*cursor_, {"a"}, {{"y"}});
    std::filesystem::remove(path(bytesOf(cursor_->getWorkTable(false)->getName())));
    EXPECT_FALSE(cursor_->copy(source_.get()));
    ASSERT_EQ(assertions_.entries.size(), 1u);
    EXPECT_EQ(assertions_.entries[0].text, errorOf(*cursor_));
    assertions_.entries.clear();
}

TEST_P(StringCursorTest, TheTableIsRemovedWithTheCursorUnlessItIsToStayOrIsTheCallers) {
    build(*cursor_, {"a"}, {{"x"}});
    cursor_.reset();
    EXPECT_TRUE(files().empty());

    cursor_.reset(make());
    cursor_->setReleaseFlag(false);
    build(*cursor_, {"a"}, {{"x"}});
    cursor_.reset();
    EXPECT_EQ(files().size(), 3u);

    cursor_.reset(make());
    build(*cursor_, {"a"}, {{"x"}});
    const Table table(cursor_->getWorkTable(true));
    cursor_.reset();
    EXPECT_EQ(files().size(), 6u);
    EXPECT_EQ(readAll(*table).rows, (Rows{{"x"}}));
}

}  // namespace
