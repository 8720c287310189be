#include "sort/sort_threads.h"

#include <signal.h>
#include <unistd.h>

#include <new>
#include <utility>

bool SortThreads::prepare() {
    if (threads_) return true;
    line_.reset(new (std::nothrow) Line);
    if (line_) threads_.reset(new (std::nothrow) std::thread[static_cast<std::size_t>(threadsAllowed_)]);
    process_ = getpid();
    return threads_ != nullptr;
}

namespace {

// Blocks all signals in this thread while it exists. A thread begins with the mask of the one that starts it, and the caller's
// signals are none of the sort's business: its handlers must run in its own threads.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

}  // namespace

// One that the system refuses is only a slower sort, and the last that is asked for.
void SortThreads::startThread() {
    if (!prepare()) return;
    const SignalsBlocked signals;
    try {
        threads_[static_cast<std::size_t>(threadCount_)] = std::thread([this] { work(); });
        ++threadCount_;
    } catch (...) {  // std::thread says so when there is no more thread, or no memory for one
        threadsAllowed_ = threadCount_;
    }
}

// Only while the mutex is held. Null when there is none.
RowBlock* SortThreads::Line::take() {
    RowBlock* block = waiting;
    if (block == nullptr) return nullptr;
    waiting = block->nextWaiting;
    --waitingCount;
    return block;
}

// Sorts a block without the mutex, which is held before and after.
void SortThreads::sortOne(Lock* lock, RowBlock* block) {
    lock->unlock();
    block->sort(order_);
    lock->lock();
}

void SortThreads::sort(RowBlock* block) {
    if (threadCount_ == 0 && threadsAllowed_ > 0) startThread();
    if (threadCount_ == 0) return sortHere(block);
    if (threadCount_ < threadsAllowed_ && isBusy()) startThread();
    Lock lock(line_->mutex);
    block->nextWaiting = line_->waiting;
    line_->waiting = block;
    ++line_->waitingCount;
    line_->workCame.notify_one();
    if (line_->waitingCount > 2 * threadCount_) sortOne(&lock, line_->take());
}

// Whether every thread that there is has something to do.
bool SortThreads::isBusy() {
    const Lock lock(line_->mutex);
    return line_->underWay + line_->taskRuns + line_->waitingCount >= threadCount_;
}

void SortThreads::finishBlocks() {
    if (threadCount_ == 0) return;
    Lock lock(line_->mutex);
    while (RowBlock* block = line_->take()) sortOne(&lock, block);
    line_->workEnded.wait(lock, [this] { return line_->underWay == 0; });
}

bool SortThreads::start(SortTask* task) {
    if (threadCount_ == 0) return false;
    const Lock lock(line_->mutex);
    line_->task = task;
    line_->taskRuns = true;
    line_->workCame.notify_one();
    return true;
}

bool SortThreads::waitForTask(std::chrono::milliseconds most) {
    Lock lock(line_->mutex);
    return line_->workEnded.wait_for(lock, most, [this] { return !line_->taskRuns; });
}

void SortThreads::runTask(Lock* lock) {
    SortTask* task = std::exchange(line_->task, nullptr);
    lock->unlock();
    task->run();
    lock->lock();
    line_->taskRuns = false;
    line_->workEnded.notify_all();
}

void SortThreads::work() {
    Line& line = *line_;
    Lock lock(line.mutex);
    for (;;) {
        line.workCame.wait(lock, [&] { return line.waiting != nullptr || line.task != nullptr || line.ending; });
        if (line.task != nullptr) {
            runTask(&lock);
        } else if (line.ending) {
            return;
        } else {
            RowBlock* block = line.take();
            ++line.underWay;
            sortOne(&lock, block);
            if (--line.underWay == 0) line.workEnded.notify_all();
        }
    }
}

bool SortThreads::areLost() const { return threadCount_ > 0 && getpid() != process_; }

void SortThreads::stop() {
    if (threadCount_ == 0) return;
    if (areLost()) return forget();
    {
        const Lock lock(line_->mutex);
        line_->ending = true;
    }
    line_->workCame.notify_all();
    for (int i = 0; i < threadCount_; ++i) threads_[static_cast<std::size_t>(i)].join();
    threadCount_ = 0;
}

// A thread that is not there in this process can be neither told nor waited for. It may hold the mutex for ever, and ending a
// condition that it waited on would wait for it: they are left as they are.
void SortThreads::forget() {
    for (int i = 0; i < threadCount_; ++i) threads_[static_cast<std::size_t>(i)].detach();
    threadCount_ = 0;
    static_cast<void>(line_.release());
}
