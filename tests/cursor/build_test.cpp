// Building tables through the typed cursor, and reading them back through it.
#include "cursor/cursor_fixture.h"

namespace {

class CursorBuildTest : public CursorTest {};

TEST_F(CursorBuildTest, ABuiltTableIsReadBackThroughTheSameCursor) {
    const ktbType types[] = {ktbTypeBoolean, ktbTypeInteger, ktbTypeDecimal, ktbTypeString, ktbTypeDate};
    for (const ktbType type : types) cursor_->addColumn(ktbTypeToString(type), type);
    ASSERT_TRUE(cursor_->createColumns()) << error();
    const Rows rows = {{true, 1L, decimal("1.50"), "a text that is too long to live inside of its object", date("2024-02-29")},
                       {nullptr, nullptr, nullptr, nullptr, nullptr},
                       {false, -1L, decimal("-0.001"), "", date("1969-12-31T23:59:59.5")}};
    for (const Row& row : rows) ASSERT_TRUE(put(*cursor_, row)) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(cursor_->getColumns(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_STREQ(cursor_->getColumnName(i).asCstr(), ktbTypeToString(types[i]));
        EXPECT_EQ(cursor_->getColumnType(i), types[i]);
    }
    long count = 0;
    EXPECT_TRUE(cursor_->getRows(&count));
    EXPECT_EQ(count, 3);
    EXPECT_EQ(rowsOf(*cursor_), rows);
    EXPECT_TRUE(cursor_->cacheAll());
    EXPECT_EQ(error(), "");
}

TEST_F(CursorBuildTest, TheTableNeverStartsASecondDataElement) {
    const std::string text(1000, 'x');
    buildAndFinalize(Rows(300, {1L, text}));
    name_ = tableName();
    EXPECT_EQ(header().elementSize, 0);
    EXPECT_EQ(elements(), 1u);
}

TEST_F(CursorBuildTest, NoColumnsAreRefusedAndNothingIsCreated) {
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_EQ(error(), "Cannot create zero columns");
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_TRUE(files().empty());
}

TEST_F(CursorBuildTest, ANameUsedTwiceIsRefusedAndTheNewTableIsGone) {
    cursor_->addColumn("one", ktbTypeString);
    cursor_->addColumn("ONE", ktbTypeString);
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_TRUE(says(cursor_->getErrorMessage(), "wtfile", 1666, "ONE"));
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_TRUE(files().empty());
}

TEST_F(CursorBuildTest, ARefusedNewTableLeavesTheOneThatIsHeld) {
    makeRows(2);
    ASSERT_TRUE(cursor_->setWorkTable(openTable()));
    cursor_->addColumn("id", ktbTypeString);
    KtWorkTableFile* const held = cursor_->getWorkTable(false);
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_EQ(cursor_->getWorkTable(false), held);
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 1));
}

TEST_F(CursorBuildTest, ATableThatCannotBeCreatedIsReportedByItsManager) {
    std::filesystem::remove_all(directories_[0]);
    cursor_->addColumn("id", ktbTypeInteger);
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_EQ(error().substr(0, 9), "KTWT-1417");
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
}

TEST_F(CursorBuildTest, ValuesStayUntilTheNextRowIsBegun) {
    build({});
    ASSERT_TRUE(cursor_->initRow());
    cursor_->setColumnValue(0, Value(7L).variant());
    cursor_->setColumnValue(1, Value("seven").variant());
    ASSERT_TRUE(cursor_->finalizeRow());
    ASSERT_TRUE(cursor_->finalizeRow());
    cursor_->setColumnValue(1, Value("eight").variant());
    ASSERT_TRUE(cursor_->finalizeRow());
    ASSERT_TRUE(cursor_->initRow());
    cursor_->setColumnValue(1, Value("nine").variant());
    ASSERT_TRUE(cursor_->finalizeRow());
    ASSERT_TRUE(cursor_->finalize());
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{7L, "seven"}, {7L, "seven"}, {7L, "eight"}, {nullptr, "nine"}}));
}

TEST_F(CursorBuildTest, ARowThatWasNotBegunIsNotWritten) {
    build({});
    EXPECT_FALSE(cursor_->finalizeRow());
    EXPECT_EQ(error(), "The cursor has no row to write: begin each row with initRow().");
    cursor_->setColumnValue(0, Value(1L).variant());
    EXPECT_EQ(error().substr(0, 9), "KTWT-1420");
    ASSERT_TRUE(put(*cursor_, {2L, "two"})) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{2L, "two"}}));
}

TEST_F(CursorBuildTest, AValueForNoColumnIsReportedWithItsRow) {
    build({{1L, "one"}});
    for (const int column : {-1, 2, INT_MAX, INT_MIN}) {
        ASSERT_TRUE(cursor_->initRow());
        cursor_->setColumnValue(0, Value(5L).variant());
        cursor_->setColumnValue(column, Value("nowhere").variant());
        EXPECT_TRUE(says(cursor_->getErrorMessage(), "../../src/wtcursor_impl", 1420));
        EXPECT_FALSE(cursor_->finalizeRow());
        EXPECT_FALSE(cursor_->finalizeRow());
        EXPECT_EQ(error().substr(0, 9), "KTWT-1420");
    }
    ASSERT_TRUE(put(*cursor_, {2L, "two"})) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{1L, "one"}, {2L, "two"}}));
}

TEST_F(CursorBuildTest, AFinalizedTableTakesNoMoreRows) {
    buildAndFinalize({{1L, "one"}});
    ASSERT_TRUE(cursor_->initRow());
    EXPECT_FALSE(cursor_->finalizeRow());
    EXPECT_TRUE(says(cursor_->getErrorMessage(), "wtfile", 1768));
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{1L, "one"}}));
}

// A question about a column that is not there, or for a row too early, must not cost the rows written so far.
TEST_F(CursorBuildTest, QuestionsToATableThatIsBeingBuiltDoNotHarmIt) {
    build({{1L, "one"}});
    for (const int column : {-1, 2}) {
        EXPECT_STREQ(cursor_->getColumnName(column).asCstr(), "");
        EXPECT_TRUE(says(cursor_->getErrorMessage(), "../../src/wtcursor_impl", 1420));
        EXPECT_EQ(cursor_->getColumnType(column), ktbTypeNone);
    }
    EXPECT_EQ(cursor_->next(), ktbCursorFailed);
    EXPECT_TRUE(says(cursor_->getErrorMessage(), "../../src/wtcursor_impl", 1793));
    EXPECT_TRUE(cursor_->getColumnValue(0).isNull());
    EXPECT_STREQ(cursor_->getColumnName(1).asCstr(), "text");
    EXPECT_EQ(cursor_->getColumnType(1), ktbTypeString);
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{1L, "one"}}));
}

TEST_F(CursorBuildTest, ATableThatTheDiskCannotHoldIsGoneAndTheReasonIsTold) {
    build({{1L, "one"}});
    {
        const FileSizeLimit full(8);
        EXPECT_FALSE(cursor_->finalize());
    }
    EXPECT_EQ(error().substr(0, 9), "KTWT-1045");
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_TRUE(files().empty());
}

TEST_F(CursorBuildTest, ATableThatTheDiskCannotHoldIsToldOfWhenAnotherTakesItsPlace) {
    build({{1L, "one"}});
    {
        const FileSizeLimit full(8);
        EXPECT_FALSE(cursor_->setWorkTable(nullptr));
    }
    EXPECT_EQ(error().substr(0, 9), "KTWT-1045");
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_TRUE(files().empty());
}

// It has removed itself, so that its removal is no failure.
TEST_F(CursorBuildTest, ReleasingACursorWhoseTableTheDiskCannotHoldIsNoFailedAssertion) {
    build({{1L, "one"}});
    const FileSizeLimit full(8);
    cursor_.reset();
    EXPECT_TRUE(files().empty());
}

TEST_F(CursorBuildTest, AnotherTableTakesThePlaceOfTheFormerWhichStaysOnDisk) {
    const std::size_t handles = openHandles();
    buildAndFinalize({{1L, "one"}});
    name_ = tableName();
    cursor_->addColumn("more", ktbTypeBoolean);
    ASSERT_TRUE(cursor_->createColumns()) << error();
    EXPECT_NE(tableName(), name_);
    EXPECT_EQ(cursor_->getColumns(), 3);
    EXPECT_FALSE(cursor_->finalizeRow());  // the row begun for the former table is not one of this
    ASSERT_TRUE(put(*cursor_, {2L, "two", true})) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{2L, "two", true}}));
    cursor_.reset();
    EXPECT_EQ(openHandles(), handles);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{1L, "one"}}));
}

TEST_F(CursorBuildTest, ManyColumnsCanBeAdded) {
    constexpr int count = 1000;
    for (int i = 0; i < count; ++i)
        cursor_->addColumn(ktbStringFormat("column %d with a long name of its own", i), ktbTypeInteger);
    ASSERT_TRUE(cursor_->createColumns()) << error();
    Row row;
    for (long i = 0; i < count; ++i) row.emplace_back(i);
    ASSERT_TRUE(put(*cursor_, row)) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(cursor_->getColumns(), count);
    EXPECT_STREQ(cursor_->getColumnName(999).asCstr(), "column 999 with a long name of its own");
    EXPECT_EQ(rowsOf(*cursor_), Rows{row});
}

}  // namespace
