// BlockSorters: threads that sort blocks while the caller fills the next one.
//
// The threads touch nothing but the blocks that they are given and the order, which nobody changes meanwhile; they allocate
// nothing. Without threads, or when none can be had, the caller sorts, which gives the same blocks.
#ifndef KTB_IMPL_SORT_BLOCK_SORTERS_H
#define KTB_IMPL_SORT_BLOCK_SORTERS_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "sort/row_block.h"

class BlockSorters {
public:
    explicit BlockSorters(const RowOrder& order) : order_(order) {}
    ~BlockSorters() { stop(); }
    BlockSorters(const BlockSorters&) = delete;
    BlockSorters& operator=(const BlockSorters&) = delete;

    // How many threads may run beside the caller's. They are started when the first block comes.
    void allow(int threads) { threadsAllowed_ = threads; }

    // Has the block sorted, now or later. It must not be touched until finish() has returned.
    void sort(RowBlock* block);

    // Returns when all blocks are sorted. The caller helps.
    void finish();

    // Ends the threads. What was not begun stays unsorted.
    void stop();

private:
    void start();
    void work();
    RowBlock* takeWaiting();

    const RowOrder& order_;
    int threadsAllowed_ = 0;
    int threadCount_ = 0;
    std::unique_ptr<std::thread[]> threads_;
    std::mutex mutex_;  // guards what follows
    std::condition_variable blockCame_;
    std::condition_variable blockSorted_;
    RowBlock* waiting_ = nullptr;
    int underWay_ = 0;
    bool ending_ = false;
};

#endif
