// SortThreads: the threads of one sort. They sort blocks while the caller fills others, and one of them can do a longer task.
//
// The threads touch nothing but the blocks and the task that they are given, and the order, which nobody changes meanwhile.
// Without threads, or when none can be had, the caller does the same work, with the same result. In a child of fork() the
// threads are gone: the child may end a sort, but not go on with it.
#ifndef KTB_IMPL_SORT_SORT_THREADS_H
#define KTB_IMPL_SORT_SORT_THREADS_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "sort/row_block.h"

class SortTask {
public:
    virtual void run() = 0;

protected:
    ~SortTask() = default;
};

class SortThreads {
public:
    explicit SortThreads(const RowOrder& order) : order_(order) {}
    ~SortThreads() { stop(); }
    SortThreads(const SortThreads&) = delete;
    SortThreads& operator=(const SortThreads&) = delete;

    // How many threads may run beside the caller's. Each is started when a block comes that no other is free for.
    void allow(int threads) { threadsAllowed_ = threads; }

    bool areRunning() const { return threadCount_ > 0; }

    // Whether this is a child of fork() and the threads were its parent's.
    bool areLost() const;

    // Has the block sorted, now or later. It must not be touched until finishBlocks() has returned. The caller helps when too
    // many wait, so that finishBlocks() never takes long.
    void sort(RowBlock* block);

    // Sorts a block that the caller would wait for anyway.
    void sortHere(RowBlock* block) { block->sort(order_); }

    // Returns when all blocks are sorted. The caller helps.
    void finishBlocks();

    // Has a thread run the task, of which there is one at a time. Returns false, with nothing done, when no thread is running.
    [[nodiscard]] bool start(SortTask* task);

    // Waits for the end of the task, at most that long. Returns whether it has ended.
    bool waitForTask(std::chrono::milliseconds most);

    // Ends the threads, after the task if there is one: whoever has a long one must see to it that it ends. Blocks that nobody
    // has begun stay unsorted.
    void stop();

private:
    // What is to be done, and those who wait for it.
    struct Line {
        std::mutex mutex;  // guards all that follows
        std::condition_variable workCame;
        std::condition_variable workEnded;
        RowBlock* waiting = nullptr;
        int waitingCount = 0;
        int underWay = 0;
        SortTask* task = nullptr;  // that nobody has begun
        bool taskRuns = false;
        bool ending = false;

        RowBlock* take();
    };

    using Lock = std::unique_lock<std::mutex>;

    bool prepare();
    void startThread();
    bool isBusy();
    void work();
    void runTask(Lock* lock);
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
