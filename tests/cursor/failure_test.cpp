// The typed cursor between a manager and a table that fail where they are told to, and the calls that it makes.
#include "cursor/cursor_fixture.h"

namespace {

using Calls = std::vector<std::string>;

class CursorFailureTest : public testing::Test {
protected:
    ~CursorFailureTest() override {
        cursor_.reset();
        EXPECT_EQ(script_.alive, 0) << "a table was not released";
    }

    bool hold() { return cursor_->setWorkTable(new FakeTable(&script_)); }
    bool create() {
        cursor_->addColumn("first", ktbTypeInteger);
        cursor_->addColumn("second", 99);
        return cursor_->createColumns();
    }
    Calls calls() { return std::exchange(script_.calls, {}); }
    std::string error() { return errorOf(*cursor_); }

    FakeScript script_;
    FakeManager manager_{&script_};
    AssertLog assertions_;
    Cursor cursor_{ktwtCreateCursor(&manager_)};
};

TEST_F(CursorFailureTest, ColumnsAreCreatedWithTheirNamesAndTypesAsTheyWereAdded) {
    ASSERT_TRUE(create()) << error();
    EXPECT_EQ(calls(), (Calls{"create 2 0", "name first type 2", "define 0", "name second type 99", "define 1"}));
}

TEST_F(CursorFailureTest, EveryColumnThatCannotBeDefinedEndsTheNewTable) {
    for (const char* failing : {"define 0", "define 1"}) {
        cursor_.reset(ktwtCreateCursor(&manager_));
        script_.failing = failing;
        EXPECT_FALSE(create());
        EXPECT_EQ(error(), std::string(failing) + " failed");
        EXPECT_EQ(calls().back(), "release");
        EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
        EXPECT_EQ(script_.alive, 0);
    }
}

TEST_F(CursorFailureTest, ATableThatCannotBeCreatedIsReported) {
    script_.failing = "create 2 0";
    EXPECT_FALSE(create());
    EXPECT_EQ(error(), "create failed");
}

TEST_F(CursorFailureTest, GoingToTheTopExchangesTheTable) {
    ASSERT_TRUE(hold());
    ASSERT_EQ(cursor_->next(), ktbCursorRow);
    calls();
    ASSERT_TRUE(cursor_->top());
    EXPECT_EQ(calls(), (Calls{"uri", "close", "release", "open ktwt:fake"}));
    EXPECT_EQ(Value(cursor_->getColumnValue(1)), Value(1L));  // the row read last is kept
    EXPECT_EQ(rowsOf(*cursor_), (Rows{{0L, 1L}, {10L, 11L}}));
}

TEST_F(CursorFailureTest, ATableThatCannotBeOpenedAgainIsReported) {
    ASSERT_TRUE(hold());
    script_.openFails = true;
    EXPECT_FALSE(cursor_->top());
    EXPECT_EQ(error(), "open failed");
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
    EXPECT_EQ(script_.alive, 0);
}

TEST_F(CursorFailureTest, ATableThatCannotBeClosedIsNotOpenedAgain) {
    ASSERT_TRUE(hold());
    script_.failing = "close";
    calls();
    EXPECT_FALSE(cursor_->top());
    EXPECT_EQ(error(), "close failed");
    EXPECT_EQ(calls(), (Calls{"uri", "close", "release"}));
    EXPECT_EQ(cursor_->getWorkTable(false), nullptr);
}

TEST_F(CursorFailureTest, ATableThatCannotBeDescribedIsKept) {
    ASSERT_TRUE(hold());
    script_.uri = "";
    KtWorkTableFile* const table = cursor_->getWorkTable(false);
    EXPECT_FALSE(cursor_->top());
    EXPECT_EQ(error(), "The work table could not be described, to be opened again.");
    EXPECT_EQ(cursor_->getWorkTable(false), table);
    EXPECT_EQ(cursor_->next(), ktbCursorRow);
}

// The table it was says more than that there is no such table.
TEST_F(CursorFailureTest, ABuiltTableThatFailedAndIsGoneIsReportedByItsOwnText) {
    ASSERT_TRUE(create());
    script_.failing = "write 1 2";
    EXPECT_FALSE(put(*cursor_, {1L, 2L}));
    EXPECT_EQ(error(), "write 1 2 failed");
    script_.openFails = true;
    EXPECT_FALSE(cursor_->finalize());
    EXPECT_EQ(error(), "write 1 2 failed");
}

TEST_F(CursorFailureTest, ARowThatIsRefusedIsReportedAndCanBeWrittenAgain) {
    ASSERT_TRUE(hold());
    script_.failing = "write 1 2";
    EXPECT_FALSE(put(*cursor_, {1L, 2L}));
    EXPECT_EQ(error(), "write 1 2 failed");
    script_.failing = "";
    EXPECT_TRUE(cursor_->finalizeRow());
    EXPECT_EQ(calls().back(), "write 1 2");
}

TEST_F(CursorFailureTest, AReadFailureIsReported) {
    ASSERT_TRUE(hold());
    script_.failing = "read";
    EXPECT_EQ(cursor_->next(), ktbCursorFailed);
    EXPECT_EQ(error(), "read failed");
    script_.failing = "";
    script_.rows = 0;
    EXPECT_EQ(cursor_->next(), ktbCursorEnd);
    EXPECT_EQ(error(), "read failed");  // the end says nothing
}

TEST_F(CursorFailureTest, ATableThatDoesNotDescribeItsColumnsIsHeldAllTheSame) {
    for (const char* failing : {"info 0", "info 1"}) {
        script_.failing = failing;
        auto* table = new FakeTable(&script_);
        EXPECT_FALSE(cursor_->setWorkTable(table));
        EXPECT_EQ(error(), std::string(failing) + " failed");
        EXPECT_EQ(cursor_->getWorkTable(false), table);
        EXPECT_EQ(cursor_->next(), ktbCursorRow);
        const int column = failing[5] - '0';
        EXPECT_EQ(cursor_->getColumnType(column), ktbTypeNone);
        EXPECT_EQ(error(), std::string(failing) + " failed");
        EXPECT_TRUE(cursor_->getColumnName(column).isNull());
        EXPECT_STREQ(cursor_->getColumnName(1 - column).asCstr(),
                     script_.columns[static_cast<std::size_t>(1 - column)].c_str());
    }
}

TEST_F(CursorFailureTest, ANumberOfRowsThatDoesNotFitIsCutAndReported) {
    ASSERT_TRUE(hold());
    struct Case {
        long rows;
        long told;
    };
    const Case fitting[] = {{0, 0}, {1, 1}, {INT_MAX, INT_MAX}};
    for (const Case& each : fitting) {
        script_.rows = each.rows;
        long rows = -7;
        EXPECT_TRUE(cursor_->getRows(&rows));
        EXPECT_EQ(rows, each.told);
    }
    EXPECT_EQ(error(), "");
    const Case cut[] = {{1L << 31, INT_MIN}, {(1L << 32) - 1, -1}, {1L << 32, 0}, {(1L << 32) + 5, 5}, {LONG_MAX, -1}};
    for (const Case& each : cut) {
        script_.rows = each.rows;
        long rows = -7;
        EXPECT_FALSE(cursor_->getRows(&rows));
        EXPECT_EQ(rows, each.told);
        EXPECT_NE(error().find(std::to_string(each.rows)), std::string::npos) << error();
    }
}

TEST_F(CursorFailureTest, ColumnsThatAppearAndVanishAreFollowed) {
    ASSERT_TRUE(hold());
    for (const std::size_t columns : {2u, 50u, 0u, 1u}) {
        script_.columns.assign(columns, "column");
        script_.rows = 1000;
        ASSERT_EQ(cursor_->next(), ktbCursorRow);
        EXPECT_TRUE(cursor_->getColumnValue(static_cast<int>(columns)).isNull());
        EXPECT_FALSE(cursor_->finalizeRow());  // a row of another number of columns, or none
        EXPECT_TRUE(put(*cursor_, Row(columns, Value(3L)))) << error();
    }
}

TEST_F(CursorFailureTest, TheTableIsRemovedByItsNameAfterItsRelease) {
    ASSERT_TRUE(hold());
    calls();
    cursor_.reset();
    EXPECT_EQ(calls(), (Calls{"release", "remove fake"}));
}

TEST_F(CursorFailureTest, ATableThatCannotBeRemovedIsAFailedAssertion) {
    ASSERT_TRUE(hold());
    script_.removeFails = true;
    cursor_.reset();
    ASSERT_EQ(assertions_.entries.size(), 1u);
    EXPECT_EQ(assertions_.entries[0].text, "remove failed");
    EXPECT_EQ(assertions_.entries[0].source, "../../src/wtcursor_impl");
    EXPECT_EQ(assertions_.entries[0].line, 53);
}

TEST_F(CursorFailureTest, WithoutTheReleaseFlagNothingIsRemoved) {
    ASSERT_TRUE(hold());
    cursor_->setReleaseFlag(false);
    calls();
    cursor_.reset();
    EXPECT_EQ(calls(), Calls{"release"});
}

}  // namespace
