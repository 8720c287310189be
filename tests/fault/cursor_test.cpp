// The roads that cursors take, travelled once for every file call and every allocation on them that can fail: what is not
// reported has been done whole.
#include <gtest/gtest.h>

#include <algorithm>

#include "ktwt/cursor.h"
#include "ktwt/ktwf.h"
#include "stage.h"

namespace {

using Cursor = std::unique_ptr<KtWorkTableCursor, Release>;
using KtwfCursor = std::unique_ptr<KtWorkTableStringKTWFCursor, Release>;
using StringCursor = std::unique_ptr<KtWorkTableStringCursor, Release>;

// A text that a KtbString cannot hold without an allocation.
KtbString longText(int row) {
    static const char* const texts[] = {"a first text that does not fit into a string object",
                                        "a second text that does not fit into a string object",
                                        "a third text that does not fit into a string object"};
    return KtbString(texts[row], true);
}
constexpr int rowsWritten = 3;

Rows expectedRows() {
    Rows rows;
    for (int row = 0; row < rowsWritten; ++row) rows.push_back({std::to_string(row), longText(row).asCstr()});
    return rows;
}

class CursorFaultTest : public testing::Test {
protected:
    CursorFaultTest() { ktbSetAssertHandler(&CursorFaultTest::noteAssertion, this); }
    ~CursorFaultTest() override { ktbSetAssertHandler(nullptr, nullptr); }

    template <class AnyCursor>
    bool failed(AnyCursor& cursor) {
        stage.error = cursor.getErrorMessage();
        return false;
    }

    bool build(KtWorkTableCursor& cursor) {
        cursor.addColumn(KtbString(columnName(0), true), ktbTypeInteger);
        cursor.addColumn(KtbString(columnName(1), true), ktbTypeString);
        if (!cursor.createColumns()) return failed(cursor);
        for (int row = 0; row < rowsWritten; ++row) {
            KtbDatavar value;
            if (!cursor.initRow()) return failed(cursor);
            value.assign(row);
            cursor.setColumnValue(0, value);
            value.assign(longText(row));
            cursor.setColumnValue(1, value);
            if (!cursor.finalizeRow()) return failed(cursor);
        }
        return cursor.finalize() || failed(cursor);
    }

    bool build(KtWorkTableStringCursor& cursor) {
        static const char* const digits[] = {"0", "1", "2"};
        for (int column = 0; column < 2; ++column) cursor.addColumn(KtbString(columnName(column), true));
        if (!cursor.createColumns()) return failed(cursor);
        for (int row = 0; row < rowsWritten; ++row) {
            if (!cursor.initRow()) return failed(cursor);
            cursor.setColumnValue(0, digits[row]);
            cursor.setColumnValue(1, longText(row));
            if (!cursor.finalizeRow()) return failed(cursor);
        }
        return cursor.finalize() || failed(cursor);
    }

    bool buildPlainly(KTWFCursor* record) {
        const KTWFCursorFPs* f = ktwfTable(record);
        const auto refused = [&] {
            plainError_ = f->ktwfGetErrorMessage(record);  // outlives the cursor, and needs no memory that could fail
            stage.error = KtbString(plainError_.c_str(), true);
            return false;
        };
        for (int column = 0; column < 2; ++column) f->ktwfAddColumn(record, columnName(column));
        if (f->ktwfCreateColumns(record) != 0) return refused();
        static const char* const digits[] = {"0", "1", "2"};
        for (int row = 0; row < rowsWritten; ++row) {
            if (f->ktwfInitRow(record) != 0) return refused();
            f->ktwfSetValue(record, 0, digits[row]);
            f->ktwfSetValue(record, 1, longText(row).asCstr());
            if (f->ktwfFinalizeRow(record) != 0) return refused();
        }
        return f->ktwfFinalize(record) == 0 || refused();
    }

    // Reads all rows to the end. The values that were handed out before a failure are not looked at.
    template <class Value, class AnyCursor>
    bool read(AnyCursor& cursor, std::vector<std::vector<Value>>* rows) {
        rows->clear();
        int status = cursor.next();
        for (; status == ktbCursorRow; status = cursor.next()) {
            std::vector<Value> row;
            for (int column = 0; column < cursor.getColumns(); ++column) row.push_back(cursor.getColumnValue(column));
            rows->push_back(std::move(row));
        }
        return status == ktbCursorEnd || failed(cursor);
    }

    static Rows texts(const ReadRows& rows) { return textsOf(rows); }
    static Rows texts(const std::vector<std::vector<KtbString>>& rows) {
        Rows result;
        for (const auto& row : rows) {
            Row& text = result.emplace_back();
            for (const KtbString& value : row) text.push_back(value.isNull() ? "-" : value.asCstr());
        }
        return result;
    }

    // Makes a cursor, has it do the work and reads all its rows, once for each fault. A failure has a text, nothing stays open,
    // and what has not been reported as failed is there, whole.
    template <class Value, class Make, class Work>
    void sweep(Make make, Work work, const Rows& expected) {
        const long runs = sweepFaults([&](Faults& faults) {
            stage.refresh();
            std::vector<std::vector<Value>> rows;
            bool done = false;
            tableHeld_ = false;
            assertions_ = 0;
            stage.error = KtbString("memory is exhausted", true);  // what a null from a factory means
            faults.during([&] {
                const auto cursor = make();
                if (cursor == nullptr) return;
                done = work(*cursor) && read(*cursor, &rows);
                tableHeld_ = cursor->getWorkTable(false) != nullptr;
            });
            EXPECT_TRUE(done || faults.injected());
            EXPECT_TRUE(done || stage.error.length() != 0) << "a failure without a text";
            if (done) {
                EXPECT_EQ(texts(rows), expected);
            }
            expectLeft(faults);
        });
        EXPECT_GT(runs, 100);
    }

    // The table goes with its cursor, unless its removal failed, which is a failed assertion, or it could not be opened again,
    // and then the cursor did not have it any more.
    void expectLeft(const Faults& faults) {
        EXPECT_TRUE(assertions_ == 0 || faults.injected());
        const bool memoryFault = faults.ofMemory() != nullptr && faults.ofFiles() == nullptr;
        const bool mustBeGone = !faults.injected() || (tableHeld_ && assertions_ == 0 && memoryFault);
        EXPECT_TRUE(!mustBeGone || stage.strangers().empty());
        stage.clearAway();
        stage.expectUnharmed();
    }

    // Copies the table that was there before from a cursor of the same kind.
    template <class CursorPointer>
    bool copyKept(const CursorPointer& source, typename CursorPointer::element_type& target) {
        if (source == nullptr) return false;
        source->setReleaseFlag(false);
        KtWorkTableFile* table = stage.manager->open(stage.kept.c_str(), false, &stage.error);
        if (table == nullptr) return false;
        return (source->setWorkTable(table) || failed(*source)) && (target.copy(source.get()) || failed(target));
    }

    Cursor makeTyped() { return Cursor(ktwtCreateCursor(stage.manager.get())); }
    StringCursor makePlain() { return StringCursor(ktwtCreateStringCursor(stage.manager.get())); }
    KtwfCursor makeKtwf() { return KtwfCursor(ktwtCreateStringKTWFCursor(stage.manager.get())); }

    Stage stage;

private:
    int assertions_ = 0;
    bool tableHeld_ = false;
    std::string plainError_;

    static void noteAssertion(void* self, const char*, const char* source, int line) {
        ++static_cast<CursorFaultTest*>(self)->assertions_;
        EXPECT_STREQ(source, "../../src/wtcursor_impl");
        EXPECT_EQ(line, 53);
    }
};

TEST_F(CursorFaultTest, ATableIsBuiltAndReadWholeOrAFailureIsReported) {
    sweep<KtbDatavar>([&] { return makeTyped(); }, [&](KtWorkTableCursor& cursor) { return build(cursor); }, expectedRows());
}

TEST_F(CursorFaultTest, ATableOfTextsIsBuiltAndReadWholeOrAFailureIsReported) {
    sweep<KtbString>([&] { return makePlain(); }, [&](KtWorkTableStringCursor& cursor) { return build(cursor); },
                     expectedRows());
}

TEST_F(CursorFaultTest, ATableIsBuiltThroughPlainFunctionsWholeOrAFailureIsReported) {
    sweep<KtbString>([&] { return makeKtwf(); },
                     [&](KtWorkTableStringKTWFCursor& cursor) { return buildPlainly(cursor.getKTWFCursor()); }, expectedRows());
}

TEST_F(CursorFaultTest, ACopyIsWholeOrAFailureIsReported) {
    sweep<KtbDatavar>([&] { return makeTyped(); }, [&](KtWorkTableCursor& cursor) { return copyKept(makeTyped(), cursor); },
                      rowsFrom(0, rowCount));
}

TEST_F(CursorFaultTest, ACopyOfTextsIsWholeOrAFailureIsReported) {
    sweep<KtbString>([&] { return makeKtwf(); },
                     [&](KtWorkTableStringKTWFCursor& cursor) { return copyKept(makeKtwf(), cursor); }, rowsFrom(0, rowCount));
}

// Names and types of the table that is held are what createColumns() would make another table of.
TEST_F(CursorFaultTest, ATableLikeAnotherIsCreatedWholeOrAFailureIsReported) {
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        Cursor cursor = makeTyped();
        KtWorkTableFile* table = stage.manager->open(stage.kept.c_str(), false, &stage.error);
        cursor->setReleaseFlag(false);
        bool created = false;
        faults.during([&] { created = cursor->setWorkTable(table) && cursor->createColumns(); });
        EXPECT_TRUE(created || faults.injected());
        EXPECT_TRUE(created || cursor->getErrorMessage().length() != 0);
        EXPECT_EQ(cursor->getWorkTable(false) == table, !created);
        for (int column = 0; created && column < columnCount; ++column) {
            EXPECT_STREQ(cursor->getColumnName(column).asCstr(), columnName(column));
        }
        cursor.reset();
        EXPECT_TRUE(created || faults.isLasting() || stage.strangers().empty());
        stage.clearAway();
        stage.expectUnharmed();
    });
}

// Says which message the cursor itself made last, if it made one.
int ownMessage(const Stage& stage) {
    const MessageLog::Entry last = stage.log.last();
    return last.source == "../../src/wtcursor_impl" ? last.number : 0;
}

TEST_F(CursorFaultTest, ARowWithoutMemoryIsReportedAndCanBeAskedForAgain) {
    const Cursor cursor = makeTyped();
    ASSERT_TRUE(build(*cursor)) << stage.error.asCstr();
    MemoryFaults reading(0);
    int status = ktbCursorRow;
    reading.during([&] { status = cursor->next(); });
    EXPECT_EQ(status, ktbCursorFailed);
    EXPECT_EQ(ownMessage(stage), 1642);
    EXPECT_EQ(cursor->getErrorMessage().asCstr(), messageText(1642));
    EXPECT_EQ(cursor->next(), ktbCursorRow);

    const Cursor writing = makeTyped();
    writing->addColumn("column", ktbTypeString);
    ASSERT_TRUE(writing->createColumns());
    MemoryFaults beginning(0);
    bool begun = true;
    beginning.during([&] { begun = writing->initRow(); });
    EXPECT_FALSE(begun);
    EXPECT_EQ(ownMessage(stage), 1642);
    EXPECT_FALSE(writing->finalizeRow());
    EXPECT_TRUE(writing->initRow());
    EXPECT_TRUE(writing->finalizeRow());
}

// A value that memory cannot hold reads as a null, which must not pass for one: the pass fails with the next row.
TEST_F(CursorFaultTest, AValueWithoutMemoryEndsThePassUntilTheTop) {
    const Cursor cursor = makeTyped();
    ASSERT_TRUE(build(*cursor)) << stage.error.asCstr();
    ASSERT_EQ(cursor->next(), ktbCursorRow);
    MemoryFaults faults(0);
    faults.during([&] { EXPECT_TRUE(cursor->getColumnValue(1).isNull()); });
    EXPECT_EQ(ownMessage(stage), 29);
    EXPECT_EQ(cursor->next(), ktbCursorFailed);
    EXPECT_EQ(cursor->next(), ktbCursorFailed);
    EXPECT_EQ(cursor->getErrorMessage().asCstr(), messageText(29, "(column value)"));
    ASSERT_TRUE(cursor->top());
    ReadRows rows;
    EXPECT_TRUE(read(*cursor, &rows));
    EXPECT_EQ(textsOf(rows), expectedRows());
}

TEST_F(CursorFaultTest, ACursorWithoutMemoryIsNull) {
    MemoryFaults faults(0, true);
    faults.during([&] {
        EXPECT_EQ(ktwtCreateCursor(stage.manager.get()), nullptr);
        EXPECT_EQ(ktwtCreateStringCursor(stage.manager.get()), nullptr);
        EXPECT_EQ(ktwtCreateStringKTWFCursor(stage.manager.get()), nullptr);
    });
}

}  // namespace
