#include "sort/run_stack.h"

#include <algorithm>
#include <new>

RunStack::~RunStack() { endMerge(); }

bool RunStack::prepare(std::size_t chunkBytes) {
    chunkBytes_ = chunkBytes;
    store_.setChunkBytes(chunkBytes);
    if (!writer_.prepare(chunkBytes)) return false;
    memory_.take(writer_.bufferBytes());
    return true;
}

int RunStack::mergePasses() const {
    int passes = 0;
    for (std::size_t i = 0; i < count_; ++i) passes = std::max(passes, runs_[i].merges + 1);
    return passes;
}

bool RunStack::growRuns() {
    const std::size_t capacity = std::max<std::size_t>(16, 2 * capacity_);
    std::unique_ptr<Run[]> larger(new (std::nothrow) Run[capacity]);
    if (!larger) return false;
    std::copy_n(runs_.get(), count_, larger.get());
    runs_ = std::move(larger);
    capacity_ = capacity;
    return true;
}

bool RunStack::finish(int merges) {
    if (count_ == capacity_ && !growRuns()) return false;
    Run& run = runs_[count_];
    if (!writer_.finish(&run)) return false;
    run.merges = merges;
    ++count_;
    return true;
}

// The memory that the buffers of a merge may take.
std::size_t RunStack::room() const { return memory_.budget() - std::min(memory_.budget(), writer_.bufferBytes()); }

std::size_t RunStack::bufferBytes(std::size_t fromTop) const {
    return RunReader::bufferBytesFor(runs_[count_ - 1 - fromTop], chunkBytes_);
}

// How many runs from the top fit into the memory that there is for a merge. Two are merged whatever they take: fewer would be
// no merge, and rows that large are few.
std::size_t RunStack::mergeable() const {
    std::size_t left = room();
    std::size_t fit = 0;
    for (; fit < count_ && bufferBytes(fit) <= left; ++fit) left -= bufferBytes(fit);
    return std::max<std::size_t>(fit, 2);
}

// Runs that have been merged equally often are merged when one more of them would not fit into the same merge.
std::size_t RunStack::dueForMerge() const {
    std::size_t bytes = 0;
    std::size_t largest = 0;
    std::size_t alike = 0;
    for (; alike < count_ && runs_[count_ - 1 - alike].merges == runs_[count_ - 1].merges; ++alike) {
        bytes += bufferBytes(alike);
        largest = std::max(largest, bufferBytes(alike));
    }
    return alike >= 2 && bytes + largest > room() ? std::min(alike, mergeable()) : 0;
}

std::size_t RunStack::dueForLastMerge() const {
    const std::size_t most = mergeable();
    return most >= count_ ? 0 : std::min(most, std::max<std::size_t>(2, count_ - most + 1));
}

std::unique_ptr<RunMerge> RunStack::mergeTop(std::size_t count, long* rows, int* merges) {
    const Run* first = &runs_[count_ - count];
    *rows = 0;
    *merges = 0;
    for (std::size_t i = 0; i < count; ++i) {
        *rows += first[i].rows;
        *merges = std::max(*merges, first[i].merges + 1);
        mergeBytes_ += RunReader::bufferBytesFor(first[i], chunkBytes_);
    }
    memory_.take(mergeBytes_);
    std::unique_ptr<RunMerge> merge = RunMerge::make(order_, store_, first, count, chunkBytes_);
    count_ -= count;
    return merge;
}

std::unique_ptr<RunMerge> RunStack::mergeAll() {
    long rows = 0;
    int merges = 0;
    return mergeTop(count_, &rows, &merges);
}

void RunStack::endMerge() {
    memory_.give(mergeBytes_);
    mergeBytes_ = 0;
}
