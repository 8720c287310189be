#include "sort/block_sorters.h"

#include <new>
#include <utility>

// As many threads as can be had: one that the system refuses is only a slower sort.
void BlockSorters::start() {
    const int wanted = std::exchange(threadsAllowed_, 0);
    threads_.reset(new (std::nothrow) std::thread[static_cast<std::size_t>(wanted)]);
    if (!threads_) return;
    try {
        for (; threadCount_ < wanted; ++threadCount_) {
            threads_[static_cast<std::size_t>(threadCount_)] = std::thread([this] { work(); });
        }
    } catch (...) {  // std::thread says so when there is no more thread, or no memory for one
    }
}

void BlockSorters::sort(RowBlock* block) {
    if (threadsAllowed_ > 0) start();
    if (threadCount_ == 0) return block->sort(order_);
    {
        const std::lock_guard lock(mutex_);
        block->nextWaiting = waiting_;
        waiting_ = block;
    }
    blockCame_.notify_one();
}

// Only while the mutex is held.
RowBlock* BlockSorters::takeWaiting() {
    RowBlock* block = waiting_;
    if (block != nullptr) waiting_ = block->nextWaiting;
    return block;
}

void BlockSorters::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        blockCame_.wait(lock, [this] { return waiting_ != nullptr || ending_; });
        if (ending_) return;
        RowBlock* block = takeWaiting();
        ++underWay_;
        lock.unlock();
        block->sort(order_);
        lock.lock();
        if (--underWay_ == 0) blockSorted_.notify_all();
    }
}

void BlockSorters::finish() {
    if (threadCount_ == 0) return;
    std::unique_lock lock(mutex_);
    while (RowBlock* block = takeWaiting()) {
        lock.unlock();
        block->sort(order_);
        lock.lock();
    }
    blockSorted_.wait(lock, [this] { return underWay_ == 0; });
}

void BlockSorters::stop() {
    if (threadCount_ == 0) return;
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        waiting_ = nullptr;
    }
    blockCame_.notify_all();
    for (int i = 0; i < threadCount_; ++i) threads_[static_cast<std::size_t>(i)].join();
    threadCount_ = 0;
}
