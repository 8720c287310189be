// Cursors in tests: ended by their own release(), filled and read as rows of values.
#ifndef KTWT_TESTS_CURSOR_CURSOR_FIXTURE_H
#define KTWT_TESTS_CURSOR_CURSOR_FIXTURE_H

#include <string>
#include <utility>
#include <vector>

#include "cursor/fake_table.h"
#include "table/table_fixture.h"

using Cursor = std::unique_ptr<KtWorkTableCursor, ReleaseObject>;

// Failed assertions, in place of lines on standard error.
class AssertLog {
public:
    struct Entry {
        std::string text;
        std::string source;
        int line;
    };

    AssertLog() { ktbSetAssertHandler(&AssertLog::take, this); }
    AssertLog(const AssertLog&) = delete;
    AssertLog& operator=(const AssertLog&) = delete;
    ~AssertLog() { ktbSetAssertHandler(nullptr, nullptr); }

    std::vector<Entry> entries;

private:
    static void take(void* self, const char* text, const char* source, int line) {
        static_cast<AssertLog*>(self)->entries.push_back({text, source, line});
    }
};

template <class AnyCursor>
std::string errorOf(AnyCursor& cursor) {
    return bytesOf(cursor.getErrorMessage());
}

// That what is asked for is refused because there is no table. Another text comes first, so that a former one is not taken for
// it.
template <class AnyCursor, class Asked>
void expectTold(AnyCursor& cursor, Asked asked) {
    EXPECT_FALSE(cursor.copy(nullptr));
    asked();
    EXPECT_EQ(errorOf(cursor), "The cursor has no work table.");
}

// That every operation that needs a table answers as one that has none.
template <class AnyCursor>
void expectNoTable(AnyCursor& cursor) {
    long rows = 5;
    EXPECT_EQ(cursor.getWorkTable(false), nullptr);
    EXPECT_TRUE(cursor.cacheAll());
    expectTold(cursor, [&] { EXPECT_EQ(cursor.getColumns(), 0); });
    expectTold(cursor, [&] { EXPECT_FALSE(cursor.getRows(&rows)); });
    EXPECT_EQ(rows, 0);
    expectTold(cursor, [&] { EXPECT_STREQ(cursor.getColumnName(0).asCstr(), ""); });
    expectTold(cursor, [&] { EXPECT_TRUE(cursor.getColumnValue(0).isNull()); });
    expectTold(cursor, [&] { EXPECT_EQ(cursor.next(), ktbCursorFailed); });
    expectTold(cursor, [&] { EXPECT_FALSE(cursor.top()); });
    expectTold(cursor, [&] { EXPECT_FALSE(cursor.initRow()); });
    expectTold(cursor, [&] { EXPECT_FALSE(cursor.finalizeRow()); });
    expectTold(cursor, [&] { EXPECT_FALSE(cursor.finalize()); });
}

// The rows that the cursor delivers until its end.
inline Rows rowsOf(KtWorkTableCursor& cursor) {
    Rows rows;
    int status = cursor.next();
    for (; status == ktbCursorRow; status = cursor.next()) {
        Row row;
        for (int i = 0; i < cursor.getColumns(); ++i) row.emplace_back(cursor.getColumnValue(i));
        rows.push_back(row);
    }
    EXPECT_EQ(status, ktbCursorEnd) << errorOf(cursor);
    return rows;
}

inline bool put(KtWorkTableCursor& cursor, const Row& row) {
    if (!cursor.initRow()) return false;
    for (std::size_t i = 0; i < row.size(); ++i) cursor.setColumnValue(static_cast<int>(i), row[i].variant());
    return cursor.finalizeRow();
}

class CursorTest : public TableTest {
protected:
    CursorTest() { useCursor(); }
    ~CursorTest() override {
        cursor_.reset();
        expectNoAssertions();
    }

    void useCursor() { cursor_.reset(ktwtCreateCursor(manager_.get())); }

    // Makes a table of an integer column "id" and a string column "text" through the cursor, and leaves it open for writing.
    void build(const Rows& rows) {
        cursor_->addColumn("id", ktbTypeInteger);
        cursor_->addColumn("text", ktbTypeString);
        ASSERT_TRUE(cursor_->createColumns()) << error();
        for (const Row& row : rows) ASSERT_TRUE(put(*cursor_, row)) << error();
    }

    void buildAndFinalize(const Rows& rows) {
        build(rows);
        ASSERT_TRUE(cursor_->finalize()) << error();
    }

    KtWorkTableFile* openTable() {
        KtWorkTableFile* table = manager_->open(ktb(name_), false, &error_);
        EXPECT_NE(table, nullptr) << error_.asCstr();
        return table;
    }

    std::string tableName() { return bytesOf(cursor_->getWorkTable(false)->getName()); }
    std::string error() { return errorOf(*cursor_); }

    void expectNoAssertions() {
        for (const AssertLog::Entry& entry : assertions_.entries) ADD_FAILURE() << "assertion failed: " << entry.text;
        assertions_.entries.clear();
    }

    AssertLog assertions_;
    Cursor cursor_;
};

#endif
