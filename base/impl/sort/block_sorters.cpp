#include "sort/block_sorters.h"

#include <unistd.h>

#include <new>
#include <utility>

// As many threads as can be had: one that the system refuses is only a slower sort.
void BlockSorters::start() {
    const int wanted = std::exchange(threadsAllowed_, 0);
    line_.reset(new (std::nothrow) Line);
    threads_.reset(new (std::nothrow) std::thread[static_cast<std::size_t>(wanted)]);
    if (!line_ || !threads_) return;
    process_ = getpid();
    try {
        for (; threadCount_ < wanted; ++threadCount_) {
            threads_[static_cast<std::size_t>(threadCount_)] = std::thread([this] { work(); });
        }
    } catch (...) {  // std::thread says so when there is no more thread, or no memory for one
    }
}

// Only while the mutex is held. Null when there is none.
RowBlock* BlockSorters::Line::take() {
    RowBlock* block = waiting;
    if (block == nullptr) return nullptr;
    waiting = block->nextWaiting;
    --waitingCount;
    return block;
}

// Sorts a block without the mutex, which is held before and after.
void BlockSorters::sortOne(Lock* lock, RowBlock* block) {
    lock->unlock();
    block->sort(order_);
    lock->lock();
}

void BlockSorters::sort(RowBlock* block) {
    if (threadsAllowed_ > 0) start();
    if (threadCount_ == 0) return block->sort(order_);
    Lock lock(line_->mutex);
    block->nextWaiting = line_->waiting;
    line_->waiting = block;
    ++line_->waitingCount;
    line_->blockCame.notify_one();
    if (line_->waitingCount > 2 * threadCount_) sortOne(&lock, line_->take());
}

void BlockSorters::work() {
    Line& line = *line_;
    Lock lock(line.mutex);
    for (;;) {
        line.blockCame.wait(lock, [&] { return line.waiting != nullptr || line.ending; });
        if (line.ending) return;
        RowBlock* block = line.take();
        ++line.underWay;
        sortOne(&lock, block);
        if (--line.underWay == 0) line.blockSorted.notify_all();
    }
}

void BlockSorters::finish() {
    if (threadCount_ == 0) return;
    Lock lock(line_->mutex);
    while (RowBlock* block = line_->take()) sortOne(&lock, block);
    line_->blockSorted.wait(lock, [this] { return line_->underWay == 0; });
}

void BlockSorters::stop() {
    if (threadCount_ == 0) return;
    if (getpid() != process_) return forget();
    {
        const Lock lock(line_->mutex);
        line_->ending = true;
    }
    line_->blockCame.notify_all();
    for (int i = 0; i < threadCount_; ++i) threads_[static_cast<std::size_t>(i)].join();
    threadCount_ = 0;
}

// A thread that is not there in this process can be neither told nor waited for. It may hold the mutex for ever, and ending a
// condition that it waited on would wait for it: they are left as they are.
void BlockSorters::forget() {
    for (int i = 0; i < threadCount_; ++i) threads_[static_cast<std::size_t>(i)].detach();
    threadCount_ = 0;
    static_cast<void>(line_.release());
}
