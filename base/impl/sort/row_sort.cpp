#include "sort/row_sort.h"

#include <algorithm>
#include <utility>

#include "sort/machine.h"

namespace {

constexpr std::size_t blockBytesMax = 1024UL * 1024;  // half of a common second-level cache
constexpr std::size_t blocksWanted = 64;
constexpr std::size_t batchesWanted = 32;
constexpr std::size_t batchBytesMax = 2048UL * 1024;
constexpr std::size_t batchBytesLeast = 512UL * 1024;  // with less, waking a thread for each batch takes longer than it saves
constexpr std::size_t chunksWanted = 64;               // so many runs are merged at once even with the least budget

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
    blockBytes = std::min(bytes / blocksWanted, blockBytesMax) / RowBlock::entryBytes * RowBlock::entryBytes;
    chunkBytes = std::min(bytes / chunksWanted, chunkBytesMax);
    batchBytes = std::min(bytes / batchesWanted, batchBytesMax);
    if (threads == 1 || batchBytes < batchBytesLeast) batchBytes = 0;
}

RowSort::RowSort(const RowSortSetup& setup)
    : setup_(setup),
      threads_(order_),
      arenas_{RowArena(threads_, memory_), RowArena(threads_, memory_)},
      runs_(order_, memory_),
      job_(runs_, order_),
      watch_(order_) {
    const std::size_t kept = setup.budget / blocksWanted;  // per block and run
    memory_.setBudget(setup.budget - kept);
    const std::size_t forRows = setup.budget - kept - setup.chunkBytes;
    for (RowArena& arena : arenas_) arena.setSizes(setup.blockBytes, hasTwoArenas() ? forRows / 2 : forRows);
    threads_.allow(setup.threads - 1);
    runs_.setFewRuns(kept / sizeof(Run));
    runs_.setLeastFree(2 * setup.batchBytes);
    job_.dropDuplicates(setup.settings.noDups);
    pace_.setInterval(setup.reportInterval);
}

// What a thread is doing is ended before what it does it with. In a child of fork() there is no thread to be ended, but what it
// may hold for ever must be left as it is.
RowSort::~RowSort() {
    if (threads_.areLost()) {
        static_cast<void>(pump_.release());
    } else {
        if (pump_) pump_->stop();
        job_.cancel();
    }
    threads_.stop();
}

bool RowSort::prepare(int columns, const ktbType* types, const KtbString& directories) {
    if (!layout_.setColumns(columns, types)) return failForMemory("(columns to be sorted)") == ktSortRow;
    return runs_.setDirectories(directories) || failOnDisk() == ktSortRow;
}

void RowSort::release() { delete this; }

KtbString RowSort::getError() { return error_; }

// The first failure ends the sort; its text is the answer to everything that follows.
int RowSort::fail(KtbString text) {
    if (state_ == State::failed) return ktSortFailed;
    state_ = State::failed;
    abandonRun();
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

KtbDatavar* RowSort::columnValue(int column) {
    const bool isThere = values_ && column >= 0 && column < layout_.columnCount();
    return isThere ? &values_[static_cast<std::size_t>(column)] : nullptr;
}

bool RowSort::startsGroup() { return startsGroup_; }
