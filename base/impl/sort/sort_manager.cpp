#include "sort/sort_manager.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

#include "sort/row_sort.h"

namespace {

constexpr unsigned long chunkBytesLeast = 4UL * 1024;
constexpr unsigned long chunkBytesMost = 64UL * 1024 * 1024;
constexpr int processorsMost = 1024;  // more threads than that are a slip of the pen

// The type that a column's keys are ordered as.
ktbType orderingType(ktbType type) {
    const bool isKnown = type >= ktbTypeBoolean && type <= ktbTypeDouble;
    return isKnown ? type : ktbTypeString;
}

}  // namespace

KtDatafileManager* ktDatafileManagerCreate(const KtbString& directoryList, KtbString* error) {
    std::unique_ptr<SortManager> manager(new (std::nothrow) SortManager);
    if (manager && manager->setDirectories(directoryList)) return manager.release();
    if (error != nullptr) error->assign("Memory is exhausted: no room for the sort manager.");
    return nullptr;
}

bool SortManager::setDirectories(const KtbString& list) {
    directories_ = list;
    return directories_.isNull() == list.isNull();
}

bool SortManager::fail(KtbString text) {
    error_ = std::move(text);
    if (error_.isNull()) error_ = KtbString("Memory is exhausted.", true);
    return false;
}

bool SortManager::setChunkSize(unsigned long bytes) {
    if (bytes < chunkBytesLeast || bytes > chunkBytesMost) {
        return fail(ktbStringFormat("A sort cannot move %lu bytes at a time: give %lu to %lu.", bytes, chunkBytesLeast,
                                    chunkBytesMost));
    }
    settings_.chunkBytes = bytes;
    return true;
}

bool SortManager::setSortMarkByGroups(bool on) {
    settings_.markByGroups = on;
    return true;
}

bool SortManager::setSortNoCodeGen(bool on) {
    settings_.noCodeGen = on;
    return true;
}

bool SortManager::setSortNoDups(bool on) {
    settings_.noDups = on;
    return true;
}

bool SortManager::setSortProcessors(int processors) {
    if (processors < 0 || processors > processorsMost) {
        return fail(
            ktbStringFormat("A sort cannot use %d processors: give 1 to %d, or 0 for all.", processors, processorsMost));
    }
    settings_.processors = processors;
    return true;
}

bool SortManager::setSortRecords(unsigned long records) {
    if (records > LONG_MAX) {
        return fail(ktbStringFormat("A sort cannot expect %lu rows: give at most %ld.", records, LONG_MAX));
    }
    settings_.records = records;
    return true;
}

bool SortManager::setSortSize(unsigned long bytes) {
    constexpr unsigned long least = RowSortSetup::budgetLeast;
    if (bytes < least) {
        return fail(ktbStringFormat("A sort cannot do with %lu bytes of memory: give at least %lu.", bytes, least));
    }
    settings_.budget = bytes;
    return true;
}

bool SortManager::setSortStable(bool on) {
    settings_.stable = on;
    return true;
}

void SortManager::getSettings(KtDatafileSortSettings* settings) { *settings = settings_; }

KtbString SortManager::getError() { return error_; }

void SortManager::release() { delete this; }

bool SortManager::declareColumns(int count) {
    if (count < 1) return fail(ktbStringFormat("Rows of %d columns cannot be sorted.", count));
    types_.reset(new (std::nothrow) ktbType[static_cast<std::size_t>(count)]);
    columnCount_ = types_ ? count : 0;
    if (!types_) return fail(KtbString("Memory is exhausted: no room for (columns to be sorted).", true));
    std::fill_n(types_.get(), count, ktbTypeString);
    return true;
}

bool SortManager::declareColumn(int position, ktbType type, int) {
    if (position < 0 || position >= columnCount_) {
        return fail(ktbStringFormat("There is no column %d to be declared: the rows have %d columns.", position, columnCount_));
    }
    types_[static_cast<std::size_t>(position)] = orderingType(type);
    return true;
}

void SortManager::forgetColumns() {
    types_.reset();
    columnCount_ = 0;
}

KtDatafileRowSort* SortManager::createSort(unsigned long options) {
    if (options != ktSortRows) {
        fail(ktbStringFormat("There is no sort with the options 0x%lx: give 0x%lx.", options, ktSortRows));
        return nullptr;
    }
    if (columnCount_ == 0) {
        fail(KtbString("No column is declared for the rows to be sorted.", true));
        return nullptr;
    }
    std::unique_ptr<RowSort> sort(new (std::nothrow) RowSort(RowSortSetup::of(settings_)));
    if (sort && sort->prepare(columnCount_, types_.get(), directories_)) return sort.release();
    fail(sort ? sort->getError() : KtbString("Memory is exhausted: no room for a sort.", true));
    return nullptr;
}
