#include "sort/row_sort.h"

#include <algorithm>
#include <new>
#include <utility>

#include "sort/machine.h"
#include "sort/row_record.h"

namespace {

constexpr std::size_t blockBytesMax = 1024UL * 1024;  // half of a common second-level cache
constexpr std::size_t blocksWanted = 64;
constexpr std::size_t chunksWanted = 64;  // so many runs are merged at once even with the least budget

// The slots stay where callers know them to be, but what a large row took goes: a literal makes a text give up its memory.
void emptySlots(KtbDatavar* slots, int count) {
    for (int i = 0; i < count; ++i) {
        slots[i].assign(KtbString("", true));
        slots[i].setNull();
    }
}

}  // namespace

RowSortSetup RowSortSetup::of(const KtDatafileSortSettings& settings) {
    RowSortSetup setup;
    setup.settings = settings;
    setup.threads = settings.processors != 0 ? settings.processors : processorsAtDisposal();
    const unsigned long available = std::max(memoryAtDisposal() / 2, budgetLeast);
    setup.setBudget(std::min(settings.budget, available), settings.chunkBytes);
    return setup;
}

void RowSortSetup::setBudget(std::size_t bytes, std::size_t chunkBytesMax) {
    budget = bytes;
    blockBytes = std::min(bytes / blocksWanted, blockBytesMax);
    chunkBytes = std::min(bytes / chunksWanted, chunkBytesMax);
}

RowSort::RowSort(const RowSortSetup& setup) : setup_(setup), arena_(order_, memory_), runs_(order_, memory_), watch_(order_) {
    memory_.setBudget(setup.budget - setup.budget / blocksWanted);  // the rest is for what is kept per block and run
    arena_.setBlockBytes(setup.blockBytes);
    arena_.allowThreads(setup.threads - 1);
    pace_.setInterval(setup.reportInterval);
}

bool RowSort::prepare(int columns, const ktbType* types, const KtbString& directories) {
    return layout_.setColumns(columns, types) && runs_.setDirectories(directories);
}

void RowSort::release() { delete this; }

KtbString RowSort::getError() { return error_; }

// The first failure ends the sort; its text is the answer to everything that follows.
int RowSort::fail(KtbString text) {
    if (state_ == State::failed) return ktSortFailed;
    state_ = State::failed;
    error_ = std::move(text);
    if (error_.isNull()) error_ = KtbString("Memory is exhausted.", true);
    fillInfo();
    return ktSortFailed;
}

int RowSort::failForMemory(const char* what) { return fail(ktbStringFormat("Memory is exhausted: no room for %s.", what)); }

int RowSort::failOnDisk() {
    KtbString text = runs_.getError();
    return text.cStrSize() > 1 || text.isNull() ? fail(std::move(text)) : failForMemory("(sorted runs)");
}

int RowSort::failCancelled() { return fail(KtbString("The sort was cancelled.", true)); }

int RowSort::failOutOfOrder(const char* what) { return fail(KtbString(what, true)); }

void RowSort::fillInfo() {
    if (info_ == nullptr) return;
    *info_ = {.rowsIn = rowsIn_,
              .rowsOut = rowsOut_,
              .duplicates = duplicates_,
              .groups = groups_,
              .runs = runCount_,
              .mergePasses = mergePasses_,
              .bytesSpilled = runs_.bytesWritten(),
              .peakMemory = static_cast<long>(memory_.peak()),
              .budget = static_cast<long>(setup_.budget),
              .chunkBytes = static_cast<long>(setup_.chunkBytes),
              .threads = setup_.threads,
              .stable = setup_.settings.stable};
}

int RowSort::addRow() {
    if (state_ == State::describing && begin() != ktSortRow) return ktSortFailed;
    if (state_ != State::filling) return failOutOfOrder("A row can be added only before the sort is finished.");
    switch (layout_.encode(order_, slots_.get(), &record_)) {
        case RowFit::whole: break;
        case RowFit::tooLarge: return fail(KtbString("A row of 4 gigabytes or more cannot be sorted.", true));
        default: return failForMemory("(row to be sorted)");
    }
    if (!pace_.go(record_.size(), rowsIn_)) return failCancelled();
    if (store() != ktSortRow) return ktSortFailed;
    ++rowsIn_;
    return ktSortRow;
}

int RowSort::store() {
    RowArena::Added added = arena_.add(record_.data(), record_.size());
    if (added == RowArena::Added::full) {
        if (spill() != ktSortRow) return ktSortFailed;
        added = arena_.add(record_.data(), record_.size());
    }
    return added == RowArena::Added::stored ? ktSortRow : failForMemory("(rows to be sorted)");
}

// Brings what is in memory to disk as a run, and merges runs that have become too many.
int RowSort::spill() {
    std::unique_ptr<BlockMerge> blocks = arena_.merge();
    if (!blocks) return failForMemory("(sorted rows)");
    const long rows = rowsIn_ - rowsSpilled_;
    if (writeRun(*blocks, ktSortSpilling, rows, 0) != ktSortRow) return ktSortFailed;
    rowsSpilled_ += rows;
    ++runCount_;
    arena_.clear();
    for (RunRange due = runs_.dueForMerge(); due.count != 0; due = runs_.dueForMerge()) {
        arena_.freeMemory();
        if (mergeRuns(due) != ktSortRow) return ktSortFailed;
    }
    pace_.begin(ktSortFilling, static_cast<long>(setup_.settings.records));
    return ktSortRow;
}

int RowSort::mergeRuns(RunRange range) {
    long rows = 0;
    int merges = 0;
    std::unique_ptr<RunMerge> merge = runs_.merge(range, &rows, &merges);
    if (!merge) return failForMemory("(merge of sorted runs)");
    const int status = writeRun(*merge, ktSortMerging, rows, merges);
    merge.reset();
    runs_.endMerge();
    return status;
}

// The first rows of very many runs are as many reads from disk, which a caller may not want to wait for.
int RowSort::beginMerge(RowMerge& rows) {
    for (std::size_t i = 0; i < rows.sources(); ++i) {
        if (!rows.begin(i)) return failOnDisk();
        if (!pace_.go(setup_.chunkBytes, 0)) return failCancelled();
    }
    return ktSortRow;
}

int RowSort::writeRun(RowMerge& rows, int phase, long expected, int merges) {
    pace_.begin(phase, expected);
    watch_.restart();
    if (beginMerge(rows) != ktSortRow) return ktSortFailed;
    if (!runs_.begin()) return failOnDisk();
    const unsigned char* record = nullptr;
    for (long done = 0;; ++done) {
        if (!rows.next(&record)) return failOnDisk();
        if (record == nullptr) break;
        if (passOn(record, done) != ktSortRow) return ktSortFailed;
    }
    return runs_.finish(merges) ? ktSortRow : failOnDisk();
}

int RowSort::passOn(const unsigned char* record, long done) {
    if (!pace_.go(RowRecord::bytes(record), done)) return failCancelled();
    if (setup_.settings.noDups) {
        if (watch_.isSameGroup(record)) {
            ++duplicates_;
            return ktSortRow;
        }
        if (!watch_.remember(record)) return failForMemory("(row to be compared)");
    }
    return runs_.put(record) ? ktSortRow : failOnDisk();
}

int RowSort::finish() {
    if (state_ == State::describing && begin() != ktSortRow) return ktSortFailed;
    if (state_ != State::filling) return failOutOfOrder("A sort can be finished only once.");
    emptySlots(slots_.get(), layout_.columnCount());
    record_.free();
    if (prepareDelivery() != ktSortRow) return ktSortFailed;
    state_ = State::finished;
    fillInfo();
    return ktSortRow;
}

// Comes down to a single merge, of blocks when the budget has held all rows and of runs otherwise.
int RowSort::prepareDelivery() {
    if (runs_.isEmpty()) {
        rows_ = arena_.merge();
        return rows_ ? ktSortRow : failForMemory("(sorted rows)");
    }
    if (spill() != ktSortRow) return ktSortFailed;
    arena_.freeMemory();
    for (RunRange due = runs_.dueForLastMerge(); due.count != 0; due = runs_.dueForLastMerge()) {
        if (mergeRuns(due) != ktSortRow) return ktSortFailed;
    }
    mergePasses_ = runs_.mergePasses();
    rows_ = runs_.mergeAll();
    return rows_ ? ktSortRow : failForMemory("(merge of sorted runs)");
}

int RowSort::firstRow() {
    if (state_ != State::finished) return failOutOfOrder("The first row can be fetched once, when the sort is finished.");
    state_ = State::delivering;
    pace_.begin(ktSortDelivering, rowsIn_);
    watch_.restart();
    return beginMerge(*rows_) == ktSortRow ? deliver() : ktSortFailed;
}

int RowSort::nextRow() {
    if (state_ == State::ended) return ktSortEnd;
    if (state_ != State::delivering) return failOutOfOrder("A next row can be fetched only after the first.");
    return deliver();
}

int RowSort::deliver() {
    const unsigned char* record = nullptr;
    do {
        if (!rows_->next(&record)) return failOnDisk();
        if (record == nullptr) {
            state_ = State::ended;
            startsGroup_ = false;
            fillInfo();
            return ktSortEnd;
        }
        if (!pace_.go(RowRecord::bytes(record), rowsOut_)) return failCancelled();
    } while (isDropped(record));
    return deliverRow(record);
}

// Whether the row only repeats the keys of the one before. Tells on the way where groups begin.
bool RowSort::isDropped(const unsigned char* record) {
    if (!setup_.settings.noDups && !setup_.settings.markByGroups) return false;
    const bool repeats = watch_.isSameGroup(record);
    startsGroup_ = setup_.settings.markByGroups && !repeats;
    if (repeats && setup_.settings.noDups) ++duplicates_;
    return repeats && setup_.settings.noDups;
}

int RowSort::deliverRow(const unsigned char* record) {
    const bool watches = setup_.settings.noDups || setup_.settings.markByGroups;
    if (watches && !watch_.remember(record)) return failForMemory("(row to be compared)");
    if (!layout_.decode(record, values_.get())) return failForMemory("(sorted row)");
    ++rowsOut_;
    groups_ += startsGroup_;
    return ktSortRow;
}

KtbDatavar* RowSort::columnValue(int column) {
    const bool isThere = values_ && column >= 0 && column < layout_.columnCount();
    return isThere ? &values_[static_cast<std::size_t>(column)] : nullptr;
}

bool RowSort::startsGroup() { return startsGroup_; }
