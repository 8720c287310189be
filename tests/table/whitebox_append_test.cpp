// Random tables that grow over several openings, compared with a model in memory after each.
#include "table/table_check.h"
#include "table/whitebox_fixture.h"

namespace {

class AppendPropertyTest : public WhiteboxTest {
protected:
    void create(const TableModel& model) {
        file_ = fresh();
        ASSERT_TRUE(file_->create(static_cast<int>(model.columns.size()), 0, model.elementSize)) << errorOf(*file_);
        for (std::size_t c = 0; c < model.columns.size(); ++c) {
            const ModelColumn& column = model.columns[c];
            ASSERT_TRUE(file_->defineColumnInfo(static_cast<int>(c), ktb(column.name), column.defined, column.width));
        }
        name_ = bytesOf(file_->getName());
    }

    // Opens the table for appending, in the object that wrote it or in a new one. Neither range nor direction matter.
    void openAgain(const TableModel& model, Random* random) {
        if (!file_ || random->chance(50)) file_ = fresh();
        long range[] = {random->between(0, 10), -1};
        const bool reversed = random->chance(30);
        ASSERT_TRUE(file_->open(ktb(name_), false, random->chance(30) ? range : nullptr, reversed)) << errorOf(*file_);
        EXPECT_EQ(file_->getRows(), static_cast<long>(model.rows.size()));
        EXPECT_EQ(file_->getElementCount(), static_cast<int>(model.elementRows.size()));
    }

    void write(TableModel* model, Random* random) {
        RandomTable make(random);
        for (std::size_t rows = make.rowCount(model->elementSize); rows != 0; --rows) {
            const Row values = make.row(*model);
            ASSERT_TRUE(writeTo(*file_, values)) << errorOf(*file_);
            model->write(values);
        }
    }

    // Finishes what was written, in any of the ways that finish a table.
    void finishFile(const TableModel& model, Random* random) {
        switch (random->below(3)) {
            case 0: file_.reset(); break;
            case 1:
                ASSERT_TRUE(openWhole(*file_, name_)) << errorOf(*file_);
                EXPECT_EQ(readAll(*file_).rows, model.rows);
                break;
            default: ASSERT_TRUE(file_->close()) << errorOf(*file_);
        }
    }

    void compare(const TableModel& model, Random* random) {
        EXPECT_EQ(elementRows(), model.elementRows);
        EXPECT_EQ(header().rows, static_cast<long>(model.rows.size()));
        TableCheck check(manager_.get(), model, name_, random);
        const bool otherOrder = random->chance(30);
        if (otherOrder) {
            table_files::reverseByteOrder(directories_, name_, std::endian::native);
            EXPECT_EQ(append(), nullptr);
        }
        for (int i = 0; i < 2 && !HasFailure(); ++i) check.openOnce();
        if (otherOrder) table_files::reverseByteOrder(directories_, name_, table_files::otherOrder);
    }

    void growAndReadBack(std::uint64_t seed) {
        Random random(seed);
        useDirectories(random.oneOf(std::vector<std::vector<std::string>>{{"a"}, {"a", "b"}, {"a", "b", "c"}}));
        TableModel model = RandomTable(&random).empty();
        create(model);
        for (std::size_t openings = 1 + random.below(4); openings != 0 && !HasFailure(); --openings) {
            write(&model, &random);
            if (!HasFailure()) finishFile(model, &random);
            if (!HasFailure()) compare(model, &random);
            if (!HasFailure() && openings != 1) openAgain(model, &random);
        }
        if (HasFailure()) return;
        const File last = fresh();
        ASSERT_TRUE(openWhole(*last, name_));
        EXPECT_TRUE(last->remove());
        EXPECT_EQ(files(), std::vector<std::string>());
        file_.reset();
    }

    void TearDown() override { file_.reset(); }

    File file_;
};

TEST_F(AppendPropertyTest, TablesThatGrowReadBackAsTheirModel) {
    for (std::uint64_t seed = 1; seed <= static_cast<std::uint64_t>(scaled(600)); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        growAndReadBack(seed);
        if (HasFailure()) return;
    }
}

}  // namespace
