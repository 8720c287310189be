// The plain functions, reached through the record alone.
#include "cursor/cursor_fixture.h"

namespace {

class KtwfTest : public TableTest {
protected:
    KtwfTest() { useCursor(manager_.get()); }
    ~KtwfTest() override { release(); }

    void useCursor(KtWorkTableManager* manager) {
        release();
        cursor_ = ktwtCreateStringKTWFCursor(manager);
        record_ = cursor_->getKTWFCursor();
        f_ = ktwfTable(record_);
    }
    void release() {
        if (cursor_ != nullptr) f_->ktwfRelease(record_);
        cursor_ = nullptr;
    }

    std::string value(int column) {
        const char* text = nullptr;
        EXPECT_EQ(f_->ktwfGetValue(record_, column, &text), 0);
        return text;
    }
    std::string name(int column) {
        const char* text = nullptr;
        EXPECT_EQ(f_->ktwfGetColumnName(record_, column, &text), 0);
        return text;
    }
    std::string error() { return f_->ktwfGetErrorMessage(record_); }

    // Columns "a" and "b" with the rows "1", "2" and "3", without a value for "b" in the second.
    void build() {
        EXPECT_EQ(f_->ktwfAddColumn(record_, "a"), 0);
        EXPECT_EQ(f_->ktwfAddColumn(record_, "b"), 0);
        ASSERT_EQ(f_->ktwfCreateColumns(record_), 0) << error();
        const char* const rows[][2] = {{"1", "one"}, {"2", nullptr}, {"3", "three, which is too long to live in its object"}};
        for (const auto& row : rows) {
            ASSERT_EQ(f_->ktwfInitRow(record_), 0) << error();
            for (int i = 0; i < 2; ++i) EXPECT_EQ(f_->ktwfSetValue(record_, i, row[i]), 0);
            ASSERT_EQ(f_->ktwfFinalizeRow(record_), 0) << error();
        }
        ASSERT_EQ(f_->ktwfFinalize(record_), 0) << error();
    }

    KtWorkTableStringKTWFCursor* cursor_ = nullptr;
    KTWFCursor* record_ = nullptr;
    const KTWFCursorFPs* f_ = nullptr;
};

TEST_F(KtwfTest, TheRecordsFirstWordPointsAtTheTableOfFunctions) {
    EXPECT_EQ(f_, &ktwfCursorFPs);
    EXPECT_EQ(cursor_->getKTWFCursor(), record_);
    const void* functions[14];
    static_assert(sizeof functions == sizeof(KTWFCursorFPs));
    std::memcpy(functions, f_, sizeof functions);
    for (const void* function : functions) EXPECT_NE(function, nullptr);
}

TEST_F(KtwfTest, ATableIsBuiltAndReadThroughTheFunctionsAlone) {
    build();
    EXPECT_EQ(f_->ktwfGetNumColumns(record_), 2);
    EXPECT_EQ(f_->ktwfGetNumRows(record_), 3);
    EXPECT_EQ(name(0) + name(1), "ab");
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(f_->ktwfNext(record_), 0);
        EXPECT_EQ(value(0) + value(1), "1one");
        ASSERT_EQ(f_->ktwfNext(record_), 0);
        EXPECT_EQ(value(0) + value(1), "2");
        EXPECT_TRUE(cursor_->getColumnValue(1).isNull());
        ASSERT_EQ(f_->ktwfNext(record_), 0);
        EXPECT_EQ(value(1), "three, which is too long to live in its object");
        EXPECT_EQ(f_->ktwfNext(record_), 1);
        EXPECT_EQ(f_->ktwfNext(record_), 1);
        EXPECT_EQ(f_->ktwfTop(record_), 0);
    }
    EXPECT_EQ(error(), "");
    for (const ColumnInfo& column : columnsOf(*cursor_->getWorkTable(false))) EXPECT_EQ(column.type, 4);
    release();
    EXPECT_TRUE(files().empty());
}

TEST_F(KtwfTest, ThereIsOneResultTextPerRecord) {
    build();
    ASSERT_EQ(f_->ktwfNext(record_), 0);
    const char* first = nullptr;
    const char* second = nullptr;
    f_->ktwfGetValue(record_, 0, &first);
    f_->ktwfGetValue(record_, 1, &second);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "one");
    f_->ktwfGetColumnName(record_, 1, &second);
    EXPECT_STREQ(first, "b");
    EXPECT_EQ(f_->ktwfGetErrorMessage(record_), first);
    EXPECT_STREQ(first, "");
}

// A text that was handed out may be the one that comes in.
TEST_F(KtwfTest, AResultTextCanBeStored) {
    build();
    ASSERT_EQ(f_->ktwfNext(record_), 0);
    const char* text = nullptr;
    f_->ktwfGetValue(record_, 1, &text);
    f_->ktwfAddColumn(record_, text);
    ASSERT_EQ(f_->ktwfCreateColumns(record_), 0) << error();
    EXPECT_EQ(name(2), "one");
}

TEST_F(KtwfTest, ADateReadsWithItsTimeOnlyWhenItHasOne) {
    makeTable({{"when", ktbTypeDate}});
    row({date("2024-02-29")});
    row({date("2024-02-29T12:30:00")});
    finish();
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(cursor_->setWorkTable(table_.release()));
    ASSERT_EQ(f_->ktwfNext(record_), 0);
    EXPECT_EQ(value(0), "2024-02-29");
    ASSERT_EQ(f_->ktwfNext(record_), 0);
    EXPECT_EQ(value(0), "2024-02-29T12:30:00");
}

TEST_F(KtwfTest, FailuresAreNumbersWithAText) {
    EXPECT_EQ(f_->ktwfCreateColumns(record_), 1);
    EXPECT_EQ(error(), "Cannot create zero columns");
    const std::string none = "The cursor has no work table.";
    EXPECT_EQ(f_->ktwfTop(record_), 1);
    EXPECT_EQ(error(), none);
    EXPECT_EQ(f_->ktwfInitRow(record_), 1);
    EXPECT_EQ(f_->ktwfFinalizeRow(record_), 1);
    EXPECT_EQ(f_->ktwfFinalize(record_), 1);
    EXPECT_EQ(f_->ktwfNext(record_), -1);
    EXPECT_EQ(f_->ktwfGetNumRows(record_), -1);
    EXPECT_EQ(f_->ktwfGetNumColumns(record_), 0);
    EXPECT_EQ(f_->ktwfSetValue(record_, 0, "x"), 0);
    EXPECT_EQ(value(0), "");
    EXPECT_EQ(name(0), "");
    EXPECT_EQ(error(), none);
}

TEST_F(KtwfTest, AColumnOutOfRangeReadsAsNothingAndFailsItsRow) {
    build();
    ASSERT_EQ(f_->ktwfNext(record_), 0);
    EXPECT_EQ(value(2) + value(-1) + name(2) + name(-1), "");
    EXPECT_EQ(error().substr(0, 9), "KTWT-1420");
    ASSERT_EQ(f_->ktwfInitRow(record_), 0);
    EXPECT_EQ(f_->ktwfSetValue(record_, 2, "x"), 0);
    EXPECT_EQ(f_->ktwfFinalizeRow(record_), 1);
}

TEST_F(KtwfTest, AReadFailureAndTooManyRowsAreTold) {
    FakeScript script;
    FakeManager manager(&script);
    useCursor(&manager);
    ASSERT_TRUE(cursor_->setWorkTable(new FakeTable(&script)));
    script.rows = INT_MAX;
    EXPECT_EQ(f_->ktwfGetNumRows(record_), INT_MAX);
    script.rows = 1L << 31;
    EXPECT_EQ(f_->ktwfGetNumRows(record_), -1);
    script.failing = "read";
    EXPECT_EQ(f_->ktwfNext(record_), -1);
    EXPECT_EQ(error(), "read failed");
    release();
    EXPECT_EQ(script.alive, 0);
}

}  // namespace
