#include "sort/row_arena.h"

#include <algorithm>
#include <new>
#include <utility>

RowArena::Added RowArena::add(const unsigned char* record, std::size_t bytes) {
    if (filled_ == 0 || !blocks_[filled_ - 1]->add(record, bytes)) {
        if (!openBlock(bytes + RowBlock::entryBytes)) return filled_ > 0 ? Added::full : Added::exhausted;
        if (filled_ > 1) threads_.sort(blocks_[filled_ - 2].get());
        blocks_[filled_ - 1]->add(record, bytes);  // there is room: the block was opened for it
    }
    ++rows_;
    return Added::stored;
}

// Begins the next block, an empty one or a new one of at least that many bytes.
bool RowArena::openBlock(std::size_t bytes) {
    const bool isLarge = bytes > blockBytes_;
    if (!isLarge && filled_ < count_) {
        ++filled_;
        return true;
    }
    if (isLarge && filled_ == 0) dropBlocks(0);
    const std::size_t wanted = std::max(bytes, blockBytes_);
    const bool fits = wanted <= bytesMax_ && bytes_ <= bytesMax_ - wanted;
    if (filled_ > 0 && !fits) return false;
    if (!makeBlock(wanted)) {
        if (filled_ > 0) bytesMax_ = bytes_;  // the machine refuses more: nobody shall ask for it again
        memory_.shrinkToUsed();
        return false;
    }
    std::swap(blocks_[filled_++], blocks_[count_ - 1]);
    return true;
}

bool RowArena::makeBlock(std::size_t bytes) {
    if (count_ == capacity_ && !growBlocks()) return false;
    std::unique_ptr<RowBlock> block = RowBlock::make(bytes);
    if (!block) return false;
    memory_.take(block->bytes());
    bytes_ += block->bytes();
    blocks_[count_++] = std::move(block);
    return true;
}

bool RowArena::growBlocks() {
    const std::size_t capacity = std::max<std::size_t>(16, 2 * capacity_);
    std::unique_ptr<std::unique_ptr<RowBlock>[]> larger(new (std::nothrow) std::unique_ptr<RowBlock>[capacity]);
    if (!larger) return false;
    for (std::size_t i = 0; i < count_; ++i) larger[i] = std::move(blocks_[i]);
    blocks_ = std::move(larger);
    capacity_ = capacity;
    return true;
}

void RowArena::sortLast() {
    if (filled_ > 0) threads_.sortHere(blocks_[filled_ - 1].get());
}

// Blocks that were made for one large row are of no use to others.
void RowArena::clear() {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count_; ++i) {
        if (blocks_[i]->bytes() > blockBytes_) continue;
        blocks_[i]->clear();
        std::swap(blocks_[kept++], blocks_[i]);
    }
    filled_ = 0;
    rows_ = 0;
    dropBlocks(kept);
}

void RowArena::freeMemory() {
    filled_ = 0;
    rows_ = 0;
    dropBlocks(0);
}

void RowArena::dropBlocks(std::size_t from) {
    for (; count_ > from; --count_) {
        memory_.give(blocks_[count_ - 1]->bytes());
        bytes_ -= blocks_[count_ - 1]->bytes();
        blocks_[count_ - 1].reset();
    }
}
