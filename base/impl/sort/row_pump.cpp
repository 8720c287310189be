#include "sort/row_pump.h"

#include <new>

#include "sort/row_record.h"

std::unique_ptr<RowPump> RowPump::make(RowMerge& merge, std::size_t batchBytes) {
    std::unique_ptr<RowPump> pump(new (std::nothrow) RowPump(merge, batchBytes));
    if (!pump) return nullptr;
    for (Batch& batch : pump->batches_) {
        if (batch.rows.room(batchBytes) == nullptr) return nullptr;
    }
    return pump;
}

void RowPump::run() {
    for (int index = 0;; index = 1 - index) {
        Batch* batch = waitForEmpty(index);
        if (batch == nullptr) return;
        fill(batch);
        {
            const std::lock_guard lock(mutex_);
            batch->isFull = true;
        }
        changed_.notify_one();
        if (batch->after != Got::row) return;
    }
}

// Null when the caller wants no more.
RowPump::Batch* RowPump::waitForEmpty(int index) {
    Batch& batch = batches_[index];
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !batch.isFull || stopped_; });
    return stopped_ ? nullptr : &batch;
}

// At least one row, even if it is larger than a batch.
void RowPump::fill(Batch* batch) {
    batch->rows.clear();
    for (;;) {
        if (held_ == nullptr && !merge_.next(&held_)) {
            batch->after = Got::failed;
            return;
        }
        if (held_ == nullptr) {
            batch->after = Got::end;
            return;
        }
        const std::size_t bytes = RowRecord::bytes(held_);
        if (batch->rows.size() != 0 && batch->rows.size() + bytes > batchBytes_) return;
        if (!batch->rows.put(held_, bytes)) {
            batch->after = Got::exhausted;
            return;
        }
        held_ = nullptr;
    }
}

RowPump::Got RowPump::next(const unsigned char** record, std::chrono::milliseconds most) {
    for (;;) {
        Batch& batch = batches_[taken_];
        if (at_ == nullptr) {
            if (!waitForFull(most)) return Got::nothingYet;
            at_ = batch.rows.data();
        }
        if (at_ != batch.rows.data() + batch.rows.size()) {
            *record = at_;
            at_ += RowRecord::bytes(at_);
            return Got::row;
        }
        if (batch.after != Got::row) return batch.after;
        giveBack();
    }
}

bool RowPump::waitForFull(std::chrono::milliseconds most) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, most, [this] { return batches_[taken_].isFull; });
}

void RowPump::giveBack() {
    {
        const std::lock_guard lock(mutex_);
        batches_[taken_].isFull = false;
    }
    changed_.notify_one();
    taken_ = 1 - taken_;
    at_ = nullptr;
}

void RowPump::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    changed_.notify_one();
}
