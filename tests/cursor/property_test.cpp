// Random tables built, read and copied through cursors, and compared with a model in memory.
#include <numeric>

#include "cursor/cursor_fixture.h"
#include "support/sanitizers.h"
#include "table/table_model.h"

namespace {

class CursorPropertyTest : public CursorTest {
protected:
    // Builds the table that the model is then a model of.
    void build(TableModel* model, Random* random) {
        for (ModelColumn& column : model->columns) {
            column.width = 0;  // cursors declare no width
            cursor_->addColumn(ktb(column.name), column.defined);
        }
        ASSERT_TRUE(cursor_->createColumns()) << error();
        RandomTable make(random);
        for (std::size_t rows = make.rowCount(0); rows != 0; --rows) {
            Row values = make.row(*model);
            ASSERT_TRUE(write(&values, random)) << error();
            model->write(values);
        }
        ASSERT_TRUE(cursor_->finalize()) << error();
    }

    // Sets the values in any order, some twice, and leaves some out, which are nulls then.
    bool write(Row* values, Random* random) {
        std::vector<std::size_t> order(values->size());
        std::iota(order.begin(), order.end(), 0u);
        std::shuffle(order.begin(), order.end(), random->engine());
        if (!cursor_->initRow()) return false;
        for (const std::size_t column : order) {
            if (random->chance(10)) cursor_->setColumnValue(static_cast<int>(column), Value("passing").variant());
            if (random->chance(10)) {
                (*values)[column] = nullptr;
                cursor_->setColumnValue(static_cast<int>(column), KtbDatavar());
            } else {
                cursor_->setColumnValue(static_cast<int>(column), (*values)[column].variant());
            }
        }
        return cursor_->finalizeRow();
    }

    static void compare(KtWorkTableCursor& cursor, const TableModel& model) {
        ASSERT_EQ(cursor.getColumns(), static_cast<int>(model.columns.size()));
        for (std::size_t c = 0; c < model.columns.size(); ++c) {
            EXPECT_EQ(bytesOf(cursor.getColumnName(static_cast<int>(c))), model.columns[c].name);
            EXPECT_EQ(cursor.getColumnType(static_cast<int>(c)), model.columns[c].type());
        }
        long rows = -1;
        EXPECT_TRUE(cursor.getRows(&rows));
        EXPECT_EQ(rows, static_cast<long>(model.rows.size()));
        EXPECT_EQ(rowsOf(cursor), model.rows);
    }

    // Reads a part of the rows, and then all from the top.
    void readAgain(KtWorkTableCursor& cursor, const TableModel& model, Random* random) {
        ASSERT_TRUE(cursor.top()) << errorOf(cursor);
        for (std::size_t rows = random->below(model.rows.size() + 1); rows != 0; --rows) ASSERT_EQ(cursor.next(), ktbCursorRow);
        ASSERT_TRUE(cursor.top()) << errorOf(cursor);
        compare(cursor, model);
    }

    // The same table as a string cursor tells it.
    void compareTexts(KtWorkTableStringCursor* made, const TableModel& model, bool datesAlwaysHaveTimes) {
        const std::unique_ptr<KtWorkTableStringCursor, ReleaseObject> cursor(made);
        const KtbString uri = cursor_->getWorkTable(false)->toURIString(true);
        cursor->setReleaseFlag(false);
        ASSERT_TRUE(cursor->setWorkTable(manager_->open(uri, false, &error_)));
        for (const Row& row : model.rows) {
            ASSERT_EQ(cursor->next(), ktbCursorRow) << errorOf(*cursor);
            for (std::size_t c = 0; c < row.size(); ++c) {
                const KtbDatavar& value = row[c].variant();
                const bool withTime = datesAlwaysHaveTimes && value.type() == ktbTypeDate;
                const KtbString expected = withTime ? value.asDate().asString(true) : value.asString();
                ASSERT_EQ(cursor->getColumnValue(static_cast<int>(c)).compare(expected, true), 0) << expected.asCstr();
            }
        }
        EXPECT_EQ(cursor->next(), ktbCursorEnd);
    }

    void buildReadAndCopy(std::uint64_t seed) {
        Random random(seed);
        useCursor();
        TableModel model = RandomTable(&random).empty();
        model.elementSize = 0;
        if (model.columns.empty()) return;
        build(&model, &random);
        if (HasFatalFailure()) return;
        compare(*cursor_, model);
        readAgain(*cursor_, model, &random);
        compareTexts(ktwtCreateStringCursor(manager_.get()), model, true);
        compareTexts(ktwtCreateStringKTWFCursor(manager_.get()), model, false);
        if (HasFailure()) return;
        const Cursor copied(ktwtCreateCursor(manager_.get()));
        ASSERT_TRUE(copied->copy(cursor_.get())) << errorOf(*copied);
        compare(*copied, model);
        readAgain(*copied, model, &random);
    }
};

TEST_F(CursorPropertyTest, RandomTablesAreReadAndCopiedAsTheirModel) {
    const std::uint64_t tables = KTWT_TESTS_SANITIZED ? 60 : 400;
    const std::size_t handles = openHandles();
    for (std::uint64_t seed = 1; seed <= tables; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        buildReadAndCopy(seed);
        if (HasFailure()) return;
    }
    cursor_.reset();
    EXPECT_EQ(openHandles(), handles);
    EXPECT_TRUE(files().empty());
}

}  // namespace
