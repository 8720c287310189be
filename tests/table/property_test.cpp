// Random tables, written, read back in every way, and compared with a model in memory.
#include "table/findings.h"
#include "table/table_check.h"

namespace {

class TablePropertyTest : public TableTest {
protected:
    // Creates, fills and closes the table that the model is then a model of.
    void write(TableModel* model, Random* random) {
        RandomTable make(random);
        ASSERT_TRUE(tryMakeTable(static_cast<int>(model->columns.size()), model->elementSize)) << error_.asCstr();
        for (std::size_t c = 0; c < model->columns.size(); ++c) {
            const ModelColumn& column = model->columns[c];
            ASSERT_TRUE(define(static_cast<int>(c), {column.name, column.defined, column.width})) << tableError();
        }
        for (std::size_t rows = make.rowCount(model->elementSize); rows != 0; --rows) {
            const Row values = make.row(*model);
            ASSERT_TRUE(writeRow(values, random)) << tableError();
            model->write(values);
        }
        EXPECT_EQ(table_->getRows(), static_cast<long>(model->rows.size()));
        finish();
    }

    // Writes by either form.
    bool writeRow(const Row& values, Random* random) {
        if (random->chance(50)) return tryRow(values);
        std::vector<KtbDatavar*> pointers;
        for (const Value& value : values) pointers.push_back(const_cast<KtbDatavar*>(&value.variant()));
        return table_->writeRow(pointers.data());
    }

    // Moves files of the table to other work directories, where they must be found all the same.
    void scatter(Random* random) {
        for (const std::string& directory : directories_) {
            std::vector<std::filesystem::path> paths;
            for (const auto& entry : std::filesystem::directory_iterator(directory)) paths.push_back(entry.path());
            for (const auto& from : paths) {
                if (random->chance(40))
                    std::filesystem::rename(from, std::filesystem::path(random->oneOf(directories_)) / from.filename());
            }
        }
    }

    void compareFiles(const TableModel& model) const {
        const table_files::Header written = header();
        ASSERT_EQ(written.elements.size(), model.elementRows.size());
        for (std::size_t i = 0; i < written.elements.size(); ++i) EXPECT_EQ(written.elements[i].rows, model.elementRows[i]);
        EXPECT_EQ(written.elementSize, model.elementSize);
    }

    void expectSound(const TableModel& model) const {
        std::string list;
        for (const std::string& directory : directories_) list += (list.empty() ? "" : ":") + directory;
        const Verified result = verify(list, name_);
        EXPECT_EQ(result.findings, std::vector<Finding>()) << result.error;
        EXPECT_EQ(result.counts.rows, static_cast<long>(model.rows.size()));
        EXPECT_EQ(result.counts.elements, static_cast<long>(model.elementRows.size()));
    }

    void writeAndReadBack(std::uint64_t seed) {
        Random random(seed);
        useDirectories(random.oneOf(std::vector<std::vector<std::string>>{{"a"}, {"a", "b"}, {"a", "b", "c"}}));
        TableModel model = RandomTable(&random).empty();
        write(&model, &random);
        if (HasFatalFailure()) return;
        compareFiles(model);
        if (directories_.size() > 1) scatter(&random);
        expectSound(model);
        const std::size_t handles = openHandles();
        TableCheck check(manager_.get(), model, name_, &random);
        for (int i = 0; i < 4 && !HasFailure(); ++i) check.openOnce();
        table_files::reverseByteOrder(directories_, name_, std::endian::native);
        expectSound(model);
        for (int i = 0; i < 3 && !HasFailure(); ++i) check.openOnce();
        EXPECT_EQ(openHandles(), handles);
        EXPECT_TRUE(manager_->remove(ktb(name_), &error_)) << error_.asCstr();
        EXPECT_EQ(files(), std::vector<std::string>());
    }
};

TEST_F(TablePropertyTest, RandomTablesReadBackAsTheirModelInEitherByteOrder) {
    for (std::uint64_t seed = 1; seed <= static_cast<std::uint64_t>(scaled(2000)); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        writeAndReadBack(seed);
        if (HasFailure()) return;
    }
}

}  // namespace
