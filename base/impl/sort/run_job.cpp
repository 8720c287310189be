#include "sort/run_job.h"

#include <utility>

#include "sort/row_record.h"

void RunJob::prepare(std::unique_ptr<RowMerge> rows, int merges) {
    rows_ = std::move(rows);
    merges_ = merges;
    pace_ = nullptr;
    rowsDone_.store(0, std::memory_order_relaxed);
    duplicates_ = 0;
    watch_.restart();
}

void RunJob::run() { outcome_ = write(); }

RunJob::Outcome RunJob::end() {
    rows_.reset();
    return outcome_;
}

bool RunJob::goesOn(std::size_t bytes) {
    if (pace_ != nullptr) return pace_->go(bytes, rowsDone());
    return !cancelled_.load(std::memory_order_relaxed);
}

RunJob::Outcome RunJob::write() {
    const RowMerge::Begun begun = rows_->beginAll([this] { return goesOn(runs_.chunkBytes()); });
    if (begun != RowMerge::Begun::done) return begun == RowMerge::Begun::failed ? Outcome::diskRefused : Outcome::cancelled;
    if (!runs_.begin()) return Outcome::diskRefused;
    for (const unsigned char* record = nullptr;;) {
        if (!rows_->next(&record)) return Outcome::diskRefused;
        if (record == nullptr) break;
        const Outcome outcome = passOn(record);
        if (outcome != Outcome::done) return outcome;
    }
    return runs_.finish(merges_) ? Outcome::done : Outcome::diskRefused;
}

RunJob::Outcome RunJob::passOn(const unsigned char* record) {
    if (!goesOn(RowRecord::bytes(record))) return Outcome::cancelled;
    rowsDone_.store(rowsDone() + 1, std::memory_order_relaxed);
    if (dropDuplicates_) {
        if (watch_.isSameGroup(record)) {
            ++duplicates_;
            return Outcome::done;
        }
        if (!watch_.remember(record)) return Outcome::memoryExhausted;
    }
    return runs_.put(record) ? Outcome::done : Outcome::diskRefused;
}
