// Random sorted tables: written twice, with keys compared in both ways, and compared with a model that is sorted in memory.
#include <numeric>

#include "table/sorted_fixture.h"
#include "table/table_check.h"

namespace {

class SortedPropertyTest : public SortedTest {
protected:
    SortedPropertyTest() { useDirectories({"one", "two"}); }

    // What a table is sorted by, and how.
    struct Plan {
        std::vector<SortKey> keys;
        bool withoutDuplicates;
        bool spills;
    };

    Plan plan(const TableModel& model, Random* random) {
        Plan plan = {{}, random->chance(20), random->chance(4)};
        std::vector<int> columns(model.columns.size());
        std::iota(columns.begin(), columns.end(), 0);
        std::shuffle(columns.begin(), columns.end(), random->engine());
        columns.resize(1 + random->below(std::min<std::size_t>(columns.size(), 4)));
        for (const int column : columns) plan.keys.push_back({column, random->chance(50), collation(random)});
        return plan;
    }

    KTSortCollateParms* collation(Random* random) {
        switch (random->below(4)) {
            case 0: return &fold_;
            case 1: return &bytes_;
            case 2: return &locale_;
            default: return nullptr;
        }
    }

    // Rows of which many have equal keys, since they are made of few different values a column.
    static Rows rows(const TableModel& model, const Plan& plan, Random* random) {
        RandomTable make(random);
        Rows pool;
        for (std::size_t i = random->chance(30) ? 40 : 3; i != 0; --i) pool.push_back(make.row(model));
        if (plan.spills) lengthen(model, &pool, random);
        Rows rows;
        for (std::size_t i = plan.spills ? 600 : make.rowCount(model.elementSize); i != 0; --i) {
            Row row;
            for (std::size_t c = 0; c < model.columns.size(); ++c) row.push_back(random->oneOf(pool)[c]);
            rows.push_back(std::move(row));
        }
        return rows;
    }

    // Gives the last column texts of some kilobytes with a long beginning in common.
    static void lengthen(const TableModel& model, Rows* pool, Random* random) {
        const std::string common(3000, 'x');
        for (Row& row : *pool) row[model.columns.size() - 1] = common + std::to_string(random->below(5)) + common;
    }

    void makeTableOf(const TableModel& model, const Plan& plan, Random* random) {
        const std::vector<unsigned long> budgets = {budgetMin, budgetMin, 3 * budgetMin / 2, 256 * budgetMin};
        const std::vector<unsigned long> chunks = {4096, 5000, 65536, 1UL << 20};
        ASSERT_TRUE(manager_->setSortSize(plan.spills ? budgetMin : random->oneOf(budgets)));
        ASSERT_TRUE(manager_->setChunkSize(random->oneOf(chunks)));
        ASSERT_TRUE(manager_->setSortProcessors(static_cast<int>(random->between(0, 4))));
        ASSERT_TRUE(manager_->setSortStable(random->chance(50)));
        ASSERT_TRUE(manager_->setSortMarkByGroups(random->chance(50)));
        ASSERT_TRUE(manager_->setSortNoDups(plan.withoutDuplicates));
        std::vector<Column> columns;
        for (const ModelColumn& column : model.columns) columns.push_back({column.name, column.defined, column.width});
        makeSorted(columns, plan.keys, model.elementSize);
        table_->setSortInfo(&info_);
    }

    void write(const TableModel& model, const Plan& plan, const Rows& rows, Random* random) {
        makeTableOf(model, plan, random);
        if (HasFatalFailure()) return;
        for (const Row& values : rows) row(values);
        EXPECT_EQ(table_->getRows(), static_cast<long>(rows.size()));
        finish();
    }

    // The model of the table that these rows make.
    static void fill(TableModel* model, const Plan& plan, const Rows& rows) {
        std::vector<ktbType> types;
        for (const ModelColumn& column : model->columns) types.push_back(column.defined);
        for (const Row& row : SortedModel(types, plan.keys).sorted(rows, plan.withoutDuplicates)) model->write(row);
    }

    void compareInformation(const TableModel& model, const Rows& rows) {
        if (rows.empty()) return;  // there was no sort
        const auto stored = static_cast<long>(model.rows.size());
        EXPECT_EQ(info_.rowsIn, static_cast<long>(rows.size()));
        EXPECT_EQ(info_.rowsOut, stored);
        EXPECT_EQ(info_.duplicates, static_cast<long>(rows.size()) - stored);
        EXPECT_LE(info_.peakMemory, info_.budget);
        spilled_ += info_.runs > 1 ? 1 : 0;
    }

    // The bytes of all data and index files of the table, in order.
    std::string storedBytes() const {
        std::string bytes;
        for (std::size_t i = 0; i < elements(); ++i) bytes += readFile(dataPath(i)) + readFile(indexPath(i));
        return bytes;
    }

    void sortAndReadBack(std::uint64_t seed) {
        Random random(seed);
        TableModel model = RandomTable(&random).empty();
        if (model.columns.empty()) return;
        const Plan plan = this->plan(model, &random);
        if (plan.spills) {
            model.columns.back().defined = ktbTypeString;
            model.elementSize = random.chance(50) ? 0 : 1000000;
        }
        const Rows rows = this->rows(model, plan, &random);
        fill(&model, plan, rows);
        std::string bytes;
        for (const bool columnByColumn : {false, true}) {
            SCOPED_TRACE(columnByColumn ? "column by column" : "by encoded keys");
            ASSERT_TRUE(manager_->setSortNoCodeGen(columnByColumn));
            write(model, plan, rows, &random);
            if (HasFailure()) return;
            compareInformation(model, rows);
            TableCheck(manager_.get(), model, name_, &random).openOnce();
            if (columnByColumn) {
                EXPECT_EQ(storedBytes(), bytes);
            }
            bytes = storedBytes();
            EXPECT_TRUE(manager_->remove(ktb(name_), &error_)) << error_.asCstr();
        }
        EXPECT_EQ(files(), std::vector<std::string>());
    }

    KTSortCollateParms bytes_ = {ktSortCollateBytes, nullptr};
    KTSortCollateParms fold_ = {ktSortCollateFold, nullptr};
    KTSortCollateParms locale_ = {ktSortCollateLocale, "C"};
    int spilled_ = 0;
};

TEST_F(SortedPropertyTest, RandomTablesAreSortedAsTheirModelWhicheverWayKeysAreCompared) {
    for (std::uint64_t seed = 1; seed <= static_cast<std::uint64_t>(scaled(600)); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        sortAndReadBack(seed);
        if (HasFailure()) return;
    }
    EXPECT_GT(spilled_, 5) << "some of them are more than the budget";
}

}  // namespace
