// The filling of a sort: rows go into the arenas, full arenas to disk, runs that are too many into a longer one.
//
// With two arenas the rows of one are older than those of the other, and go to disk before them:
//
//     filling_     0       1       0             1             0
//     arena 0      fills   full    goes to disk  fills         goes to disk ...
//     arena 1      empty   fills   full, waits   goes to disk  fills
//
// So nothing goes to disk as long as both hold all rows, and from then on the caller fills one while the other is written.
#include "sort/row_record.h"
#include "sort/row_sort.h"

namespace {

// The slots stay where callers know them to be, but what a large row took goes: a literal makes a text give up its memory.
void emptySlots(KtbDatavar* slots, int count) {
    for (int i = 0; i < count; ++i) {
        slots[i].assign(KtbString("", true));
        slots[i].setNull();
    }
}

}  // namespace

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

// Room may have to be made twice: the machine may have no memory for the other arena, and then that of this one goes to disk.
int RowSort::store() {
    constexpr int triesMax = 3;
    for (int tries = 0; tries < triesMax; ++tries) {
        if (filling().add(record_.data(), record_.size()) == RowArena::Added::stored) return ktSortRow;
        if (makeRoom() != ktSortRow) return ktSortFailed;
        pace_.begin(ktSortFilling, static_cast<long>(setup_.settings.records));
    }
    return failForMemory("(rows to be sorted)");
}

int RowSort::makeRoom() {
    if (hasTwoArenas()) return makeRoomInOther();
    return bringToDisk(&filling()) == ktSortRow ? mergeDueRuns() : ktSortFailed;
}

int RowSort::makeRoomInOther() {
    if (older().isEmpty()) {
        if (!filling().isEmpty()) filling_ = 1 - filling_;
        return ktSortRow;
    }
    if (bringToDisk(&older()) != ktSortRow) return ktSortFailed;
    if (filling().isEmpty()) {
        shareMemory();
        return ktSortRow;
    }
    if (runs_.dueForMerge().count != 0) return bringToDisk(&filling()) == ktSortRow ? mergeDueRuns() : ktSortFailed;
    if (startRun(&filling()) != ktSortRow) return ktSortFailed;
    filling_ = 1 - filling_;
    return ktSortRow;
}

// The machine has no more memory than one arena has taken: from now on it has to do for two.
void RowSort::shareMemory() {
    const std::size_t half = older().bytes() / 2;
    older().freeMemory();
    for (RowArena& arena : arenas_) arena.limitTo(half);
}

// Writes the rows of an arena as a run and waits for the end of it. The job may be doing that already.
int RowSort::bringToDisk(RowArena* arena) {
    if (spilling_ == nullptr && !arena->isEmpty() && startRun(arena) != ktSortRow) return ktSortFailed;
    return awaitRun();
}

// The rows of one or two arenas, those of the first being the older ones. Null when memory is exhausted.
std::unique_ptr<RowMerge> RowSort::mergeArenas(RowArena* first, RowArena* second) {
    first->sortLast();
    if (second != nullptr) second->sortLast();
    threads_.finishBlocks();
    const std::size_t firstCount = first->blockCount();
    const std::size_t count = firstCount + (second != nullptr ? second->blockCount() : 0);
    std::unique_ptr<BlockMerge> merge = BlockMerge::make(order_, count);
    for (std::size_t i = 0; merge && i < count; ++i) {
        merge->setSource(i, i < firstCount ? first->block(i) : second->block(i - firstCount));
    }
    return merge;
}

int RowSort::startRun(RowArena* arena) {
    std::unique_ptr<RowMerge> rows = mergeArenas(arena, nullptr);
    if (!rows) return failForMemory("(sorted rows)");
    job_.prepare(std::move(rows), 0);
    spilling_ = arena;
    if (threads_.start(&job_)) return ktSortRow;
    pace_.begin(ktSortSpilling, arena->rows());
    job_.setPace(&pace_);
    job_.run();
    return awaitRun();
}

int RowSort::awaitRun() {
    if (spilling_ == nullptr) return ktSortRow;
    bool goOn = true;
    if (threads_.areRunning()) {
        pace_.begin(ktSortSpilling, spilling_->rows());
        while (!threads_.waitForTask(patience)) {
            if (!goOn || pace_.goNow(job_.rowsDone())) continue;
            goOn = false;
            job_.cancel();
        }
    }
    const RunJob::Outcome outcome = job_.end();
    spilling_->clear();
    spilling_ = nullptr;
    if (outcome == RunJob::Outcome::done) ++runCount_;
    return goOn ? conclude(outcome) : failCancelled();
}

// After a failure nobody waits for the run any more.
void RowSort::abandonRun() {
    if (spilling_ == nullptr) return;
    job_.cancel();
    while (threads_.areRunning() && !threads_.waitForTask(patience)) {
    }
    job_.end();  // why it ended is of no interest: the first failure has been told
    spilling_ = nullptr;
}

int RowSort::conclude(RunJob::Outcome outcome) {
    switch (outcome) {
        case RunJob::Outcome::done: duplicates_ += job_.duplicates(); return ktSortRow;
        case RunJob::Outcome::cancelled: return failCancelled();
        case RunJob::Outcome::memoryExhausted: return failForMemory("(row to be compared)");
        default: return failOnDisk();
    }
}

// Merging takes the memory of the arenas, which are empty.
void RowSort::freeArenas() {
    for (RowArena& arena : arenas_) arena.freeMemory();
}

int RowSort::mergeDueRuns() {
    for (RunRange due = runs_.dueForMerge(); due.count != 0; due = runs_.dueForMerge()) {
        freeArenas();
        if (mergeRuns(due) != ktSortRow) return ktSortFailed;
    }
    return ktSortRow;
}

int RowSort::mergeRuns(RunRange range) {
    long rows = 0;
    int merges = 0;
    std::unique_ptr<RunMerge> merge = runs_.merge(range, &rows, &merges);
    if (!merge) return failForMemory("(merge of sorted runs)");
    pace_.begin(ktSortMerging, rows);
    job_.prepare(std::move(merge), merges);
    job_.setPace(&pace_);
    job_.run();
    const RunJob::Outcome outcome = job_.end();
    runs_.endMerge();
    return conclude(outcome);
}

// Comes down to a single merge, of blocks when the budget has held all rows and of runs otherwise.
int RowSort::finish() {
    if (state_ == State::describing && begin() != ktSortRow) return ktSortFailed;
    if (state_ != State::filling) return failOutOfOrder("A sort can be finished only once.");
    emptySlots(slots_.get(), layout_.columnCount());
    record_.free();
    layout_.endEncoding();
    if (spilling_ == nullptr && runs_.isEmpty()) {
        rows_ = mergeArenas(&older(), &filling());
    } else if (mergeFromDisk() != ktSortRow) {
        return ktSortFailed;
    }
    if (!rows_) return failForMemory("(merge of sorted rows)");
    runs_.endWriting();
    state_ = State::finished;
    fillInfo();
    return ktSortRow;
}

int RowSort::mergeFromDisk() {
    if (bringToDisk(&older()) != ktSortRow || bringToDisk(&filling()) != ktSortRow) return ktSortFailed;
    freeArenas();
    for (RunRange due = runs_.dueForLastMerge(); due.count != 0; due = runs_.dueForLastMerge()) {
        if (mergeRuns(due) != ktSortRow) return ktSortFailed;
    }
    mergePasses_ = runs_.mergePasses();
    rows_ = runs_.mergeAll();
    return ktSortRow;
}
