// Reading tables through the typed cursor, and what it does with the table that it holds.
#include "cursor/cursor_fixture.h"

namespace {

class CursorReadTest : public CursorTest {
protected:
    void hold(long rows) {
        makeRows(rows);
        ASSERT_TRUE(cursor_->setWorkTable(openTable())) << error();
    }

    void expectNoTable() {
        ::expectNoTable(*cursor_);
        expectTold(*cursor_, [&] { EXPECT_EQ(cursor_->getColumnType(0), ktbTypeNone); });
        expectTold(*cursor_, [&] { cursor_->setColumnValue(0, KtbDatavar()); });
    }
};

TEST_F(CursorReadTest, AnEmptyCursorAnswersEverythingWithAFailureAndAText) { expectNoTable(); }

TEST_F(CursorReadTest, AnExistingTableIsReadAndReadAgain) {
    hold(3);
    for (int pass = 0; pass < 3; ++pass) {
        EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 2));
        EXPECT_EQ(cursor_->next(), ktbCursorEnd);
        EXPECT_TRUE(cursor_->top()) << error();
    }
    EXPECT_EQ(cursor_->next(), ktbCursorRow);
    EXPECT_TRUE(cursor_->top()) << error();  // from the middle, too
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 2));
    EXPECT_EQ(error(), "");
}

TEST_F(CursorReadTest, AnEmptyTableEndsAtOnce) {
    hold(0);
    EXPECT_EQ(cursor_->next(), ktbCursorEnd);
    EXPECT_TRUE(cursor_->top());
    EXPECT_EQ(cursor_->next(), ktbCursorEnd);
    EXPECT_EQ(error(), "");
}

TEST_F(CursorReadTest, GoingToTheTopKeepsTheChosenRowsAndColumnsButNotTheDirection) {
    makeRows(6);
    long range[] = {2, 3};
    const KtbString columns[] = {"text"};
    ASSERT_TRUE(cursor_->setWorkTable(manager_->open(ktb(name_), 1, columns, range, false, &error_)));
    const Rows chosen = {{"row 2"}, {"row 3"}, {"row 4"}};
    EXPECT_EQ(rowsOf(*cursor_), chosen);
    ASSERT_TRUE(cursor_->top());
    EXPECT_EQ(rowsOf(*cursor_), chosen);

    ASSERT_TRUE(cursor_->setWorkTable(manager_->open(ktb(name_), true, &error_)));
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(5, 0));
    ASSERT_TRUE(cursor_->top());
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 5));
}

TEST_F(CursorReadTest, AColumnOutOfRangeHasNoNameTypeOrValue) {
    hold(1);
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    for (const int column : {-1, 3, INT_MIN, INT_MAX}) {
        EXPECT_EQ(cursor_->getColumnType(column), ktbTypeNone);
        EXPECT_TRUE(says(cursor_->getErrorMessage(), "wtfile", 1420));
        EXPECT_STREQ(cursor_->getColumnName(column).asCstr(), "");
        EXPECT_TRUE(says(cursor_->getErrorMessage(), "wtfile", 1420));
        EXPECT_TRUE(cursor_->getColumnValue(column).isNull());
        EXPECT_TRUE(says(cursor_->getErrorMessage(), "../../src/wtcursor_impl", 1420));
    }
    EXPECT_EQ(Value(cursor_->getColumnValue(1)), Value("row 0"));
}

TEST_F(CursorReadTest, BeforeTheFirstRowThereAreNoValues) {
    hold(1);
    EXPECT_TRUE(cursor_->getColumnValue(0).isNull());
    EXPECT_EQ(error(), "The cursor has not read a row yet.");
}

TEST_F(CursorReadTest, ADamagedTableFailsAndSaysSo) {
    makeRows(3);
    const std::string path = dataPath(0);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 4);
    ASSERT_TRUE(cursor_->setWorkTable(openTable()));
    EXPECT_EQ(cursor_->next(), ktbCursorRow);
    EXPECT_EQ(cursor_->next(), ktbCursorRow);
    EXPECT_EQ(cursor_->next(), ktbCursorFailed);
    EXPECT_TRUE(says(cursor_->getErrorMessage(), "wtelem", 1301, "column"));
}

TEST_F(CursorReadTest, ATableThatCannotBeOpenedAgainLeavesNone) {
    hold(1);
    std::filesystem::remove(path(name_));
    EXPECT_FALSE(cursor_->top());
    EXPECT_EQ(error().substr(0, 9), "KTWT-1353");
    expectNoTable();
}

TEST_F(CursorReadTest, AFinalizedTableThatCannotBeOpenedAgainLeavesNone) {
    build({{1L, "one"}});
    const std::string header = path(tableName());
    std::filesystem::remove(header);
    EXPECT_FALSE(cursor_->finalize());
    EXPECT_EQ(error().substr(0, 9), "KTWT-1353");
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_EQ(cursor_->next(), ktbCursorFailed);
}

TEST_F(CursorReadTest, TablesWithOtherNumbersOfColumnsAreReadOneAfterTheOther) {
    makeRows(2);
    const std::string three = name_;
    makeTable({{"only"}});
    row({"alone"});
    finish();
    const std::string one = name_;
    std::vector<ColumnInfo> wide;
    std::vector<Column> columns;
    for (int i = 0; i < 40; ++i) columns.push_back({"c" + std::to_string(i), ktbTypeInteger});
    makeTable(columns);
    Row numbers;
    for (int i = 0; i < 40; ++i) numbers.emplace_back(static_cast<long>(i));
    row(numbers);
    finish();
    const std::string forty = name_;
    for (int pass = 0; pass < 2; ++pass) {
        const std::pair<std::string, Rows> tables[] = {{three, rowNumbers(0, 1)}, {forty, {numbers}}, {one, {{"alone"}}}};
        for (const auto& [table, rows] : tables) {
            name_ = table;
            ASSERT_TRUE(cursor_->setWorkTable(openTable())) << error();
            EXPECT_EQ(rowsOf(*cursor_), rows);
        }
    }
}

TEST_F(CursorReadTest, RowsAreAddedToATableThatIsHandedOverForWriting) {
    makeTable({{"id", ktbTypeInteger}, {"text"}});
    ASSERT_TRUE(cursor_->setWorkTable(table_.release())) << error();
    ASSERT_TRUE(put(*cursor_, {1L, "one"})) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{1L, "one"}}));
}

TEST_F(CursorReadTest, TheSameTableHandedOverAgainIsStillRead) {
    hold(2);
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    ASSERT_TRUE(cursor_->setWorkTable(cursor_->getWorkTable(false))) << error();
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(1, 1));
}

TEST_F(CursorReadTest, NoTableHandedOverLetsGoOfTheOneHeld) {
    const std::size_t handles = openHandles();
    hold(2);
    EXPECT_TRUE(cursor_->setWorkTable(nullptr));
    EXPECT_EQ(openHandles(), handles);
    expectNoTable();
    EXPECT_TRUE(cursor_->setWorkTable(nullptr));
    cursor_.reset();
    EXPECT_TRUE(reopen());  // whatever the release flag says, a table that was let go of stays
}

TEST_F(CursorReadTest, ATableHandedOverTakesThePlaceOfTheFormerWhichStaysOnDisk) {
    const std::size_t handles = openHandles();
    buildAndFinalize({{1L, "one"}});
    const std::string former = tableName();
    makeRows(1);
    ASSERT_TRUE(cursor_->setWorkTable(openTable()));
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 0));
    cursor_.reset();
    EXPECT_EQ(openHandles(), handles);
    EXPECT_FALSE(reopen());  // removed with the cursor
    ASSERT_TRUE(openText(former));
    EXPECT_EQ(rowsRead(), (Rows{{1L, "one"}}));
}

TEST_F(CursorReadTest, AnotherTableLikeTheOneHeldCanBeCreated) {
    hold(1);
    ASSERT_TRUE(cursor_->createColumns()) << error();
    ASSERT_TRUE(put(*cursor_, {1L, "a", true})) << error();
    ASSERT_TRUE(cursor_->finalize()) << error();
    EXPECT_NE(tableName(), name_);
    EXPECT_STREQ(cursor_->getColumnName(2).asCstr(), "flag");
    EXPECT_EQ(cursor_->getColumnType(2), ktbTypeBoolean);
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{1L, "a", true}}));
    EXPECT_TRUE(reopen());
}

TEST_F(CursorReadTest, TheTableIsRemovedWithTheCursorUnlessItIsToStay) {
    buildAndFinalize({{1L, "one"}});
    cursor_.reset();
    EXPECT_TRUE(files().empty());

    useCursor();
    cursor_->setReleaseFlag(false);
    buildAndFinalize({{1L, "one"}});
    name_ = tableName();
    cursor_.reset();
    EXPECT_EQ(files().size(), 3u);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{1L, "one"}}));
}

TEST_F(CursorReadTest, ATableThatIsStillWrittenIsRemovedOrKeptWithItsRows) {
    build({{1L, "one"}});
    cursor_.reset();
    EXPECT_TRUE(files().empty());

    useCursor();
    cursor_->setReleaseFlag(false);
    build({{1L, "one"}});
    name_ = tableName();
    cursor_.reset();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{1L, "one"}}));
}

TEST_F(CursorReadTest, ADetachedTableIsTheCallersOpenAndOnDisk) {
    buildAndFinalize({{1L, "one"}, {2L, "two"}});
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    Table table(cursor_->getWorkTable(true));
    ASSERT_TRUE(table);
    EXPECT_EQ(cursor_->getWorkTable(true), nullptr);
    EXPECT_TRUE(cursor_->getColumnValue(0).isNull());
    EXPECT_EQ(error(), "The cursor has no work table.");
    cursor_.reset();
    EXPECT_EQ(readAll(*table).rows, (Rows{{2L, "two"}}));
    name_ = bytesOf(table->getName());
    table.reset();
    EXPECT_TRUE(reopen());
}

TEST_F(CursorReadTest, ATableThatCannotBeRemovedIsAFailedAssertion) {
    buildAndFinalize({{1L, "one"}});
    name_ = tableName();
    std::filesystem::remove(path(name_));
    cursor_.reset();
    ASSERT_EQ(assertions_.entries.size(), 1u);
    const AssertLog::Entry entry = assertions_.entries[0];
    EXPECT_EQ(entry.text, log_.last().text);
    EXPECT_EQ(entry.text.substr(0, 9), "KTWT-1353");
    EXPECT_NE(entry.text.find(name_), std::string::npos) << entry.text;
    EXPECT_EQ(entry.source, "../../src/wtcursor_impl");
    EXPECT_EQ(entry.line, 53);
    assertions_.entries.clear();
}

TEST_F(CursorReadTest, WithoutAManagerTablesAreReadButNeitherMadeNorOpenedAgainNorRemoved) {
    makeRows(2);
    cursor_.reset(ktwtCreateCursor(nullptr));
    const std::string text = "The cursor has no work table manager.";
    cursor_->addColumn("id", ktbTypeInteger);
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_EQ(error(), text);
    ASSERT_TRUE(cursor_->setWorkTable(openTable()));
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    EXPECT_FALSE(cursor_->top());
    EXPECT_EQ(error(), text);
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(1, 1));
    cursor_.reset();
    EXPECT_TRUE(reopen());
}

}  // namespace
