// RowArena: rows in memory, in blocks, up to a limit.
//
// Rows are added until the arena says that it is full; they are then merged, and the arena is cleared for more. A block that is
// full is sorted at once, by a thread of its own if there is one, while the next one is filled.
#ifndef KTB_IMPL_SORT_ROW_ARENA_H
#define KTB_IMPL_SORT_ROW_ARENA_H

#include <memory>

#include "sort/row_block.h"
#include "sort/sort_memory.h"
#include "sort/sort_threads.h"

class RowArena {
public:
    RowArena(SortThreads& threads, SortMemory& memory) : threads_(threads), memory_(memory) {}
    ~RowArena() { dropBlocks(0); }
    RowArena(const RowArena&) = delete;
    RowArena& operator=(const RowArena&) = delete;

    // The usual size of a block, and how much all blocks may take. Before the first row.
    void setSizes(std::size_t blockBytes, std::size_t bytesMax) {
        blockBytes_ = blockBytes;
        bytesMax_ = bytesMax;
    }

    std::size_t bytes() const { return bytes_; }
    void limitTo(std::size_t bytes) { bytesMax_ = bytes; }

    enum class Added { stored, full, exhausted };

    // Takes over a copy of the record. The arena is full when its limit, or the machine's memory, is reached and there are rows
    // to be handed on; a row that is too large for the limit by itself is taken all the same.
    Added add(const unsigned char* record, std::size_t bytes);

    bool isEmpty() const { return filled_ == 0; }
    long rows() const { return rows_; }

    // Ends the adding: sorts the last block. All are sorted when the threads have finished.
    void sortLast();

    std::size_t blockCount() const { return filled_; }
    const RowBlock& block(std::size_t index) const { return *blocks_[index]; }  // in the order in which they were filled

    void clear();       // forgets the rows and keeps the memory for more
    void freeMemory();  // forgets the rows and gives the memory back

private:
    bool openBlock(std::size_t bytes);
    bool makeBlock(std::size_t bytes);
    bool growBlocks();
    void dropBlocks(std::size_t from);

    SortThreads& threads_;
    SortMemory& memory_;
    std::size_t blockBytes_ = 0;
    std::size_t bytesMax_ = 0;
    std::size_t bytes_ = 0;  // of all blocks
    long rows_ = 0;
    std::unique_ptr<std::unique_ptr<RowBlock>[]> blocks_;  // those with rows, in the order of filling, then empty ones
    std::size_t filled_ = 0;                               // with rows; the last of them is being filled
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
};

#endif
