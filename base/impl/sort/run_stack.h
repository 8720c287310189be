// RunStack: the runs on disk, in the order in which their rows were added.
//
// Runs that have been merged equally often stand next to each other, the longest at the bottom. Once the runs are many, those
// on top are merged into one when there are as many alike as one merge can take: so no list of runs outgrows the memory, every
// row is merged about log(runs) times, with the number of runs in a merge as the base, and only neighbours are merged, which
// keeps rows with equal keys in order.
//
//     runs   | 30 million rows | 1 million | 1 million | 20000 | 20000 | 20000 | <- the next one
//
// Before the last merge the cheapest neighbours are merged until one merge can take what is left: as many as fit, and the
// fewest bytes for every run that is saved. A run with a row that takes the whole memory is thus merged late and seldom, while
// those around it are merged without it.
//
// How many runs a merge takes depends on the memory alone: a run takes a buffer for a chunk and for its longest row, and no
// file of its own.
#ifndef KTB_IMPL_SORT_RUN_STACK_H
#define KTB_IMPL_SORT_RUN_STACK_H

#include <memory>

#include "sort/run_file.h"
#include "sort/sort_memory.h"

// Neighbours on the stack; none when the count is 0.
struct RunRange {
    std::size_t first = 0;
    std::size_t count = 0;
};

class RunStack {
public:
    RunStack(const RowOrder& order, SortMemory& memory) : order_(order), memory_(memory), writer_(store_) {}
    ~RunStack();

    [[nodiscard]] bool setDirectories(const KtbString& list) { return store_.setDirectories(list); }

    // Sets aside the memory for writing runs, so that what comes later cannot fail for want of it. Returns false when memory is
    // exhausted.
    [[nodiscard]] bool prepare(std::size_t chunkBytes);

    std::size_t chunkBytes() const { return chunkBytes_; }

    // So many runs are no burden yet.
    void setFewRuns(std::size_t count) { fewRuns_ = count; }

    // What a merge must leave of the budget for others, if that is more than what writing a run takes.
    void setLeastFree(std::size_t bytes) { leastFree_ = bytes; }

    // No more runs are written: gives that memory back.
    void endWriting();

    bool isEmpty() const { return count_ == 0; }
    long bytesWritten() const { return store_.bytesWritten(); }

    // How often a row will have been read back from disk when all runs have been merged.
    int mergePasses() const;

    KtbString getError() const { return store_.getError(); }

    // Write a run row by row and put it on the stack. Each returns false when the disk takes no more, or memory is exhausted:
    // the error text is then empty.
    [[nodiscard]] bool begin() { return writer_.begin(); }
    [[nodiscard]] bool put(const unsigned char* record) { return writer_.put(record); }
    [[nodiscard]] bool finish(int merges);

    // The runs that are to be merged now that a run has come.
    RunRange dueForMerge() const;

    // The runs that are to be merged next so that in the end a single merge can take all of them.
    RunRange dueForLastMerge() const;

    // A merge of the runs, which it takes off the stack; the next run that is written takes their place. Null when memory is
    // exhausted.
    std::unique_ptr<RunMerge> merge(RunRange range, long* rows, int* merges);

    // The last merge, of all runs.
    std::unique_ptr<RunMerge> mergeAll();

    // The memory that a merge took is given back. The merge must be gone.
    void endMerge();

private:
    struct Candidate;

    std::size_t room() const;
    std::size_t bufferBytes(std::size_t index) const { return RunReader::bytesFor(runs_[index], chunkBytes_); }
    bool fits(std::size_t count, std::size_t bytes) const;
    std::size_t mergeableOnTop() const;
    Candidate candidateFrom(std::size_t first, std::size_t allBuffers) const;
    bool growRuns();

    const RowOrder& order_;
    SortMemory& memory_;
    ChunkStore store_;
    RunWriter writer_;
    std::size_t chunkBytes_ = 0;
    std::size_t fewRuns_ = 0;
    std::size_t leastFree_ = 0;
    std::size_t mergeBytes_ = 0;  // what the merge under way holds
    std::unique_ptr<Run[]> runs_;
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
    std::size_t place_ = 0;  // of the run that is written next
};

#endif
