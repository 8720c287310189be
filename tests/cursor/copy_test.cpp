// Copying one typed cursor onto another.
#include "cursor/cursor_fixture.h"

namespace {

class CursorCopyingTest : public CursorTest {
protected:
    CursorCopyingTest() : source_(ktwtCreateCursor(manager_.get())) {}

    // The source reads a table of makeRows().
    void holdInSource(long rows) {
        makeRows(rows);
        ASSERT_TRUE(source_->setWorkTable(openTable()));
    }

    Cursor source_;
};

TEST_F(CursorCopyingTest, ColumnsAndRowsAreCopiedFromTheFirstRowOn) {
    holdInSource(5);
    ASSERT_EQ(source_->next(), ktbCursorRow);
    ASSERT_TRUE(cursor_->copy(source_.get())) << error();
    EXPECT_EQ(error(), "");
    EXPECT_NE(tableName(), name_);
    EXPECT_EQ(cursor_->getColumns(), 3);
    EXPECT_STREQ(cursor_->getColumnName(0).asCstr(), "id");
    EXPECT_EQ(cursor_->getColumnType(0), ktbTypeInteger);
    EXPECT_EQ(cursor_->getColumnType(2), ktbTypeBoolean);
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 4));
    EXPECT_EQ(source_->next(), ktbCursorEnd);
}

TEST_F(CursorCopyingTest, ATableWithoutRowsIsCopied) {
    holdInSource(0);
    ASSERT_TRUE(cursor_->copy(source_.get())) << error();
    EXPECT_EQ(cursor_->getColumns(), 3);
    EXPECT_EQ(cursor_->next(), ktbCursorEnd);
}

TEST_F(CursorCopyingTest, WhatTheTargetHeldIsCleared) {
    buildAndFinalize({{1L, "one"}});
    const std::string former = tableName();
    cursor_->addColumn("left over", ktbTypeInteger);
    holdInSource(1);
    ASSERT_TRUE(cursor_->copy(source_.get())) << error();
    EXPECT_EQ(cursor_->getColumns(), 3);
    EXPECT_EQ(rowsOf(*cursor_), rowNumbers(0, 0));
    EXPECT_FALSE(openText(former));
    EXPECT_EQ(files().size(), 6u);  // of the source's table and the copy
}

TEST_F(CursorCopyingTest, WithoutTheReleaseFlagTheTargetsFormerTableStays) {
    cursor_->setReleaseFlag(false);
    buildAndFinalize({{1L, "one"}});
    const std::string former = tableName();
    holdInSource(1);
    ASSERT_TRUE(cursor_->copy(source_.get())) << error();
    ASSERT_TRUE(openText(former));
    EXPECT_EQ(rowsRead(), (Rows{{1L, "one"}}));
}

TEST_F(CursorCopyingTest, ACopyOntoItselfIsRefusedAndLosesNothing) {
    buildAndFinalize({{1L, "one"}, {2L, "two"}});
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    EXPECT_FALSE(cursor_->copy(cursor_.get()));
    EXPECT_EQ(error(), "A cursor cannot be copied onto itself.");
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{2L, "two"}}));
}

TEST_F(CursorCopyingTest, NoSourceIsRefusedAndLosesNothing) {
    buildAndFinalize({{1L, "one"}});
    EXPECT_FALSE(cursor_->copy(nullptr));
    EXPECT_EQ(error(), "There is no cursor to copy.");
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{1L, "one"}}));
}

TEST_F(CursorCopyingTest, ASourceWithoutATableIsReported) {
    EXPECT_FALSE(cursor_->copy(source_.get()));
    EXPECT_EQ(error(), "The cursor has no work table.");
    EXPECT_TRUE(files().empty());
}

TEST_F(CursorCopyingTest, ASourceWithoutColumnsCannotBeCopied) {
    makeTable({});
    finish();
    ASSERT_TRUE(source_->setWorkTable(openTable()));
    EXPECT_FALSE(cursor_->copy(source_.get()));
    EXPECT_EQ(error(), "Cannot create zero columns");
}

TEST_F(CursorCopyingTest, ASourceThatFailsOnItsWayIsReportedAndTheUnfinishedCopyGoesWithTheCursor) {
    holdInSource(3);
    const std::string data = dataPath(0);
    std::filesystem::resize_file(data, std::filesystem::file_size(data) - 4);
    EXPECT_FALSE(cursor_->copy(source_.get()));
    EXPECT_EQ(error().substr(0, 9), "KTWT-1301");
    cursor_.reset();
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(CursorCopyingTest, ATargetThatCannotBeClearedIsNotCopiedTo) {
    buildAndFinalize({{1L, "one"}});
    std::filesystem::remove(path(tableName()));
    holdInSource(1);
    EXPECT_FALSE(cursor_->copy(source_.get()));
    EXPECT_EQ(error().substr(0, 9), "KTWT-1353");
    ASSERT_EQ(assertions_.entries.size(), 1u);
    EXPECT_EQ(assertions_.entries[0].text, error());
    assertions_.entries.clear();
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_TRUE(cursor_->copy(source_.get())) << error();  // the table is let go of all the same
}

}  // namespace
