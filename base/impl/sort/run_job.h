// RunJob: the writing of one run, by the caller of the sort or by a thread.
//
// The caller's own thread looks at the progress object between rows; a thread is watched from outside, through rowsDone(), and
// ended with cancel().
#ifndef KTB_IMPL_SORT_RUN_JOB_H
#define KTB_IMPL_SORT_RUN_JOB_H

#include <atomic>
#include <memory>

#include "sort/group_watch.h"
#include "sort/run_stack.h"
#include "sort/sort_pace.h"
#include "sort/sort_threads.h"

class RunJob final : public SortTask {
public:
    enum class Outcome { done, diskRefused, memoryExhausted, cancelled };

    RunJob(RunStack& runs, const RowOrder& order) : runs_(runs), watch_(order) {}

    // Of rows with equal keys only the first is to be written.
    void dropDuplicates(bool drop) { dropDuplicates_ = drop; }

    // Takes over the rows of the next run, which will have been merged that often.
    void prepare(std::unique_ptr<RowMerge> rows, int merges);

    // Whom to ask between rows whether to go on; null: nobody.
    void setPace(SortPace* pace) { pace_ = pace; }

    void run() override;

    // From any thread.
    void cancel() { cancelled_.store(true, std::memory_order_relaxed); }
    long rowsDone() const { return rowsDone_.load(std::memory_order_relaxed); }

    // When it has run. The rows are let go of.
    Outcome end();
    long duplicates() const { return duplicates_; }  // dropped from this run

private:
    Outcome write();
    Outcome passOn(const unsigned char* record);
    bool goesOn(std::size_t bytes);

    RunStack& runs_;
    GroupWatch watch_;
    bool dropDuplicates_ = false;
    std::unique_ptr<RowMerge> rows_;
    int merges_ = 0;
    SortPace* pace_ = nullptr;
    std::atomic<bool> cancelled_ = false;
    std::atomic<long> rowsDone_ = 0;
    long duplicates_ = 0;
    Outcome outcome_ = Outcome::done;
};

#endif
