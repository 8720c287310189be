// BlockSorters: threads that sort blocks while the caller fills the next one.
//
// The threads touch nothing but the blocks that they are given and the order, which nobody changes meanwhile; they allocate
// nothing. Without threads, or when none can be had, the caller sorts, which gives the same blocks. In a child of fork() the
// threads are gone: the child may end a sort, but not go on with it.
#ifndef KTB_IMPL_SORT_BLOCK_SORTERS_H
#define KTB_IMPL_SORT_BLOCK_SORTERS_H

#include <sys/types.h>

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

    // Has the block sorted, now or later. It must not be touched until finish() has returned. The caller helps when too many
    // wait, so that finish() never takes long.
    void sort(RowBlock* block);

    // Returns when all blocks are sorted. The caller helps.
    void finish();

    // Ends the threads. What was not begun stays unsorted.
    void stop();

private:
    // The blocks that are to be sorted, and those who wait for them.
    struct Line {
        std::mutex mutex;  // guards all that follows
        std::condition_variable blockCame;
        std::condition_variable blockSorted;
        RowBlock* waiting = nullptr;
        int waitingCount = 0;
        int underWay = 0;
        bool ending = false;

        RowBlock* take();
    };

    using Lock = std::unique_lock<std::mutex>;

    void start();
    void work();
    void sortOne(Lock* lock, RowBlock* block);
    void forget();

    const RowOrder& order_;
    int threadsAllowed_ = 0;
    int threadCount_ = 0;
    std::unique_ptr<std::thread[]> threads_;
    std::unique_ptr<Line> line_;
    pid_t process_ = 0;  // that has the threads
};

#endif
