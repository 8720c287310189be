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

void RunStack::endWriting() {
    memory_.give(writer_.bufferBytes());
    writer_.free();
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
    Run run;
    if (!writer_.finish(&run)) return false;
    run.merges = merges;
    std::copy_backward(&runs_[place_], &runs_[count_], &runs_[count_] + 1);
    runs_[place_] = run;
    place_ = ++count_;
    return true;
}

// The memory that the buffers of a merge may take.
std::size_t RunStack::room() const {
    return memory_.budget() - std::min(memory_.budget(), std::max(writer_.bufferBytes(), leastFree_));
}

// Whether so many runs, whose buffers take that much, can be merged. Two are merged whatever they take: fewer would be no
// merge, and rows that large are few.
bool RunStack::fits(std::size_t count, std::size_t bytes) const { return count <= 2 || bytes <= room(); }

std::size_t RunStack::mergeableOnTop() const {
    std::size_t bytes = 0;
    std::size_t count = 0;
    for (; count < count_ && fits(count + 1, bytes + bufferBytes(count_ - 1 - count)); ++count) {
        bytes += bufferBytes(count_ - 1 - count);
    }
    return count;
}

// Runs that have been merged equally often are merged when one more of them would not fit into the same merge; but not before
// the runs are many, since the last merges before the end choose better what to merge, and need not merge it all.
RunRange RunStack::dueForMerge() const {
    if (count_ < fewRuns_) return {};
    std::size_t bytes = 0;
    std::size_t largest = 0;
    std::size_t first = count_;
    for (; first > 0 && runs_[first - 1].merges == runs_[count_ - 1].merges; --first) {
        bytes += bufferBytes(first - 1);
        largest = std::max(largest, bufferBytes(first - 1));
    }
    const std::size_t alike = count_ - first;
    if (alike < 2 || bytes + largest <= room()) return {};
    const std::size_t count = std::min(alike, mergeableOnTop());
    return {count_ - count, count};
}

// A merge that could be made before the last one. Better is one that leaves nothing to be done but the last, then the one that
// writes fewer bytes for every run that it saves.
struct RunStack::Candidate {
    RunRange range;
    bool isEnough = false;
    double cost = 0;

    bool isBetterThan(const Candidate& other) const {
        if (other.range.count == 0 || isEnough != other.isEnough) return other.range.count == 0 || isEnough;
        return cost < other.cost;
    }
};

// Every run may be the first of a merge. Looking at all of them costs next to nothing beside the bytes that a single one of
// these merges moves.
RunRange RunStack::dueForLastMerge() const {
    std::size_t allBuffers = 0;
    for (std::size_t i = 0; i < count_; ++i) allBuffers += bufferBytes(i);
    if (fits(count_, allBuffers)) return {};
    Candidate best;
    for (std::size_t first = 0; first + 1 < count_; ++first) {
        const Candidate candidate = candidateFrom(first, allBuffers);
        if (candidate.isBetterThan(best)) best = candidate;
    }
    return best.range;
}

// Takes as many runs as fit and no more than are needed.
RunStack::Candidate RunStack::candidateFrom(std::size_t first, std::size_t allBuffers) const {
    Candidate candidate = {.range = {first, 0}};
    std::size_t& count = candidate.range.count;
    std::size_t buffers = 0;
    std::size_t largest = 0;
    double bytes = 0;
    while (first + count < count_ && !candidate.isEnough) {
        const std::size_t next = bufferBytes(first + count);
        if (!fits(count + 1, buffers + next)) break;
        buffers += next;
        largest = std::max(largest, next);
        bytes += static_cast<double>(runs_[first + count].bytes);
        ++count;
        candidate.isEnough = count > 1 && fits(count_ - count + 1, allBuffers - buffers + largest);
    }
    candidate.cost = candidate.isEnough ? bytes : bytes / static_cast<double>(count - 1);
    return candidate;
}

std::unique_ptr<RunMerge> RunStack::merge(RunRange range, long* rows, int* merges) {
    Run* const begin = &runs_[range.first];
    Run* const end = begin + range.count;
    *rows = 0;
    *merges = 0;
    for (const Run* run = begin; run != end; ++run) {
        *rows += run->rows;
        *merges = std::max(*merges, run->merges + 1);
        mergeBytes_ += RunReader::bytesFor(*run, chunkBytes_);
    }
    memory_.take(mergeBytes_);
    std::unique_ptr<RunMerge> merge = RunMerge::make(order_, store_, begin, range.count, chunkBytes_);
    std::copy(end, &runs_[count_], begin);
    count_ -= range.count;
    place_ = range.first;
    return merge;
}

std::unique_ptr<RunMerge> RunStack::mergeAll() {
    long rows = 0;
    int merges = 0;
    return merge({0, count_}, &rows, &merges);
}

void RunStack::endMerge() {
    memory_.give(mergeBytes_);
    mergeBytes_ = 0;
}
