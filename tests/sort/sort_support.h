// What the tests of the sort share: sorts described in a few lines, rows, and values compared down to their last bit.
#ifndef TESTS_SORT_SORT_SUPPORT_H
#define TESTS_SORT_SORT_SUPPORT_H

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ktb/datavar.h"
#include "ktb/sort.h"
#include "sort/row_sort.h"

namespace sorting {

struct Release {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};

using Sort = std::unique_ptr<KtDatafileRowSort, Release>;
using SortManager = std::unique_ptr<KtDatafileManager, Release>;
using Row = std::vector<KtbDatavar>;
using Rows = std::vector<Row>;

struct Key {
    int column;
    bool descending = false;
    int collation = ktSortCollateBytes;
    const char* locale = nullptr;
};

// What is sorted, and by what.
struct Description {
    std::vector<ktbType> columns;
    std::vector<Key> keys;
};

// Reaches with little data what takes much otherwise: a budget of a few kilobytes.
inline RowSortSetup smallSetup(std::size_t budget, std::size_t chunkBytesMax = 4096, int threads = 1) {
    RowSortSetup setup;
    setup.threads = threads;
    setup.setBudget(budget, chunkBytesMax);
    if (threads > 1) setup.batchBytes = budget / 32;  // a thread merges ahead also where it would not pay
    setup.reportInterval = SortPace::Clock::duration::zero();
    return setup;
}

// The type that a column's keys order as.
inline ktbType orderingType(ktbType type) { return type >= ktbTypeBoolean && type <= ktbTypeDouble ? type : ktbTypeString; }

inline void setKeys(KtDatafileRowSort* sort, const std::vector<Key>& keys) {
    ASSERT_EQ(sort->setSortKeys(static_cast<int>(keys.size())), ktSortRow) << sort->getError().asCstr();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        KTSortCollateParms parms = {keys[i].collation, keys[i].locale};
        ASSERT_EQ(sort->setSort(static_cast<int>(i), keys[i].column, keys[i].descending, &parms), ktSortRow)
            << sort->getError().asCstr();
    }
}

// A sort with sizes of the test's choice.
inline Sort makeSort(const Description& description, const RowSortSetup& setup, const std::string& directories) {
    std::vector<ktbType> types;
    for (const ktbType type : description.columns) types.push_back(orderingType(type));
    auto* sort = new RowSort(setup);
    EXPECT_TRUE(sort->prepare(static_cast<int>(types.size()), types.data(), directories.c_str()));
    setKeys(sort, description.keys);
    return Sort(sort);
}

// A sort as callers get it.
inline Sort makeSort(const Description& description, const KtDatafileSortSettings& settings, const std::string& directories) {
    const SortManager manager(ktDatafileManagerCreate(directories.c_str(), nullptr));
    EXPECT_TRUE(manager->setChunkSize(settings.chunkBytes) && manager->setSortSize(settings.budget));
    EXPECT_TRUE(manager->setSortProcessors(settings.processors) && manager->setSortRecords(settings.records));
    EXPECT_TRUE(manager->setSortMarkByGroups(settings.markByGroups) && manager->setSortNoCodeGen(settings.noCodeGen));
    EXPECT_TRUE(manager->setSortNoDups(settings.noDups) && manager->setSortStable(settings.stable));
    EXPECT_TRUE(manager->declareColumns(static_cast<int>(description.columns.size())));
    for (std::size_t i = 0; i < description.columns.size(); ++i) {
        EXPECT_TRUE(manager->declareColumn(static_cast<int>(i), description.columns[i], 0));
    }
    Sort sort(manager->createSort(ktSortRows));
    setKeys(sort.get(), description.keys);
    return sort;
}

inline int addRow(KtDatafileRowSort* sort, const Row& row) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        KtbDatavar* slot = sort->columnSlot(static_cast<int>(i));
        if (slot == nullptr) return sort->addRow();  // says why there is none
        *slot = row[i];
    }
    return sort->addRow();
}

inline int addRows(KtDatafileRowSort* sort, const Rows& rows) {
    for (const Row& row : rows) {
        if (const int status = addRow(sort, row)) return status;
    }
    return ktSortRow;
}

inline Row currentRow(KtDatafileRowSort* sort, std::size_t columns) {
    Row row;
    for (std::size_t i = 0; i < columns; ++i) row.push_back(*sort->columnValue(static_cast<int>(i)));
    return row;
}

// What came out of a sort.
struct Sorted {
    int status = ktSortFailed;  // ktSortEnd when everything went well
    std::string error;
    Rows rows;
    std::vector<bool> starts;  // per row, whether it begins a group
    KtDatafileSortInfo info{};
};

// Adds the rows, finishes and reads everything. What `progress` has to say is passed on.
inline Sorted run(KtDatafileRowSort* sort, const Rows& rows, std::size_t columns, KtDatafileSortProgress* progress = nullptr) {
    Sorted sorted;
    sort->setSortInfo(&sorted.info);
    sort->setSortProgress(progress);
    sorted.status = addRows(sort, rows);
    if (sorted.status == ktSortRow) sorted.status = sort->finish();
    if (sorted.status == ktSortRow) sorted.status = sort->firstRow();
    for (; sorted.status == ktSortRow; sorted.status = sort->nextRow()) {
        sorted.rows.push_back(currentRow(sort, columns));
        sorted.starts.push_back(sort->startsGroup());
    }
    sorted.error = sort->getError().asCstr();
    sort->setSortInfo(nullptr);
    return sorted;
}

template <class T>
bool sameBytes(const T& left, const T& right) {
    return std::memcmp(&left, &right, sizeof(T)) == 0;
}

// Whether two values are the same in everything that can be seen of them: a null's type, a decimal's scale, a zero's sign.
inline bool isSame(const KtbDatavar& left, const KtbDatavar& right) {
    if (left.type() != right.type() || left.isNull() != right.isNull()) return false;
    if (left.isNull()) return true;
    switch (left.type()) {
        case ktbTypeBoolean: return left.asBool(nullptr) == right.asBool(nullptr);
        case ktbTypeInteger: return left.asInt64(nullptr) == right.asInt64(nullptr);
        case ktbTypeDecimal: {
            unsigned long leftWords[3];
            unsigned long rightWords[3];
            left.asReal(nullptr).asFD(&leftWords);
            right.asReal(nullptr).asFD(&rightWords);
            return sameBytes(leftWords, rightWords);
        }
        case ktbTypeDate:
        case ktbTypeDouble: return sameBytes(left.asDouble(nullptr), right.asDouble(nullptr));
        default: {
            KtbString unused;
            KtbString alsoUnused;
            const KtbString& text = left.asString(&unused);
            const KtbString& other = right.asString(&alsoUnused);
            return text.cStrSize() == other.cStrSize() && std::strcmp(text.asCstr(), other.asCstr()) == 0;
        }
    }
}

inline bool isSame(const Row& left, const Row& right) {
    if (left.size() != right.size()) return false;
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (!isSame(left[i], right[i])) return false;
    }
    return true;
}

// For messages of tests.
inline std::string shown(const Row& row) {
    std::string text;
    for (const KtbDatavar& value : row) {
        std::string part = value.isNull() ? "null" : value.asString().asCstr();
        if (part.size() > 100) part = part.substr(0, 100) + "... (" + std::to_string(part.size()) + " bytes)";
        text += std::string(text.empty() ? "" : " | ") + ktbTypeToString(value.type()) + " " + part;
    }
    return text;
}

inline void expectSame(const Rows& actual, const Rows& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(isSame(actual[i], expected[i]))
            << "row " << i << " is   " << shown(actual[i]) << "\ninstead of " << shown(expected[i]);
    }
}

// A value of each kind, in few characters.
inline KtbDatavar nullOf(ktbType type) {
    KtbDatavar value;
    value.setType(type);
    return value;
}
template <class T>
KtbDatavar valueOf(const T& content) {
    KtbDatavar value;
    value.assign(content);
    return value;
}
inline KtbDatavar valueOf(const std::string& text) { return valueOf(text.c_str()); }
inline KtbDatavar decimalOf(const char* digits) {
    KtbReal real;
    EXPECT_TRUE(real.assign(digits)) << digits;
    return valueOf(real);
}
inline KtbDatavar dateOf(double seconds) {
    KtbDatavar value = valueOf(seconds);
    value.setType(ktbTypeDate);
    return value;
}

}  // namespace sorting

#endif
