// Sorted tables as callers make them.
#ifndef KTWT_TESTS_TABLE_SORTED_FIXTURE_H
#define KTWT_TESTS_TABLE_SORTED_FIXTURE_H

#include <string>
#include <vector>

#include "table/sorted_model.h"
#include "table/table_fixture.h"

class SortedTest : public TableTest {
protected:
    static constexpr unsigned long budgetMin = 1UL << 20;

    void makeSorted(const std::vector<Column>& columns, const std::vector<SortKey>& keys, long elementSize = 0) {
        const auto count = static_cast<int>(columns.size());
        table_.reset(manager_->create(count, static_cast<int>(keys.size()), elementSize, &error_));
        ASSERT_TRUE(table_) << error_.asCstr();
        name_ = bytesOf(table_->getName());
        for (int i = 0; i < count; ++i) ASSERT_TRUE(define(i, columns[static_cast<std::size_t>(i)])) << tableError();
        describe(keys);
    }

    void describe(const std::vector<SortKey>& keys) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const SortKey& key = keys[i];
            ASSERT_EQ(table_->setSort(static_cast<int>(i), key.column, key.descending, key.parms), 0);
        }
    }

    // What the table holds after these rows were written to it in this order.
    Rows sortedRows(const Rows& rows) {
        for (const Row& values : rows) row(values);
        finish();
        return reopen() ? rowsRead() : Rows();
    }

    // Rows of some 20 KB, so that few of them are more than the smallest budget; their numbers go round in steps of 7.
    static Row largeRow(long i, long count) {
        const long number = i * 7 % count;
        return {number, std::string(20000 + static_cast<std::size_t>(number), static_cast<char>('a' + number % 26))};
    }
    static constexpr long largeCount = 150;

    // An open table of columns "id" (integer) and "text", sorted by the id, and written so that it had to spill.
    void makeSpilled(long elementSize = 0) {
        ASSERT_TRUE(manager_->setSortSize(budgetMin));
        makeSorted({{"id", ktbTypeInteger}, {"text"}}, {{}}, elementSize);
        table_->setSortInfo(&info_);
        for (long i = 0; i < largeCount; ++i) row(largeRow(i, largeCount));
    }

    // The rows of makeSpilled in their order.
    static Rows largeRows() {
        Rows rows(static_cast<std::size_t>(largeCount));
        for (long i = 0; i < largeCount; ++i) {
            Row row = largeRow(i, largeCount);
            rows[static_cast<std::size_t>(row[0].variant().asInt64(nullptr))] = row;
        }
        return rows;
    }

    KtDatafileSortInfo info_ = {};
};

#endif
