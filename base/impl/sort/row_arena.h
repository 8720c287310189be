// RowArena: the rows that are in memory, in blocks, within a budget.
//
// Rows are added until the arena says that it is full; they are then merged, and the arena is cleared for more. A block that is
// full is sorted at once, by a thread of its own if there is one, while the next one is filled.
#ifndef KTB_IMPL_SORT_ROW_ARENA_H
#define KTB_IMPL_SORT_ROW_ARENA_H

#include <memory>

#include "sort/block_sorters.h"
#include "sort/row_merge.h"
#include "sort/sort_memory.h"

class RowArena {
public:
    RowArena(const RowOrder& order, SortMemory& memory) : order_(order), memory_(memory), sorters_(order) {}
    ~RowArena();

    // The usual size of a block. Before the first row.
    void setBlockBytes(std::size_t bytes) { blockBytes_ = bytes; }
    void allowThreads(int threads) { sorters_.allow(threads); }

    enum class Added { stored, full, exhausted };

    // Takes over a copy of the record. It is full when the budget, or the machine, has no more memory and there are rows to be
    // handed on; a row that is too large for the budget by itself is taken all the same.
    Added add(const unsigned char* record, std::size_t bytes);

    bool isEmpty() const { return filled_ == 0; }

    // Ends the adding: sorts all blocks and merges them. The merge lives until the arena is cleared. Null when memory is
    // exhausted.
    std::unique_ptr<BlockMerge> merge();

    void clear();       // forgets the rows and keeps the memory for more
    void freeMemory();  // forgets the rows and gives the memory back

private:
    bool openBlock(std::size_t bytes);
    bool makeBlock(std::size_t bytes);
    bool growBlocks();
    void dropBlocks(std::size_t from);

    const RowOrder& order_;
    SortMemory& memory_;
    std::size_t blockBytes_ = 0;
    std::unique_ptr<std::unique_ptr<RowBlock>[]>
        blocks_;              // those with rows, in the order in which they were filled, then empty ones
    std::size_t filled_ = 0;  // with rows; the last of them is being filled
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
    BlockSorters sorters_;  // the last, so that its threads end before the blocks do
};

#endif
