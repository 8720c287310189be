// RowBlock: some of the rows that are in memory, and the entries by which they are sorted.
//
//     memory   | record | record | record ->            <- entry | entry | entry |
//
// Records are put from the front and entries from the back. An entry is 16 bytes, the first eight of the encoded keys and a
// pointer, so that most comparisons touch no record. A block is about as large as a processor's own cache: sorting many small
// blocks and merging them is faster than sorting all at once, blocks can be sorted while the next one is filled, and a row
// never moves before it is handed on.
//
// Threads: sort() may run in one thread while others use other blocks.
#ifndef KTB_IMPL_SORT_ROW_BLOCK_H
#define KTB_IMPL_SORT_ROW_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "sort/row_order.h"

struct RowEntry {
    std::uint64_t prefix;  // RowRecord::prefix
    const unsigned char* record;
};

class RowBlock {
public:
    static constexpr std::size_t entryBytes = sizeof(RowEntry);

    // Returns null when memory is exhausted.
    static std::unique_ptr<RowBlock> make(std::size_t bytes);

    // Takes over a copy of the record, unless there is no room for it.
    bool add(const unsigned char* record, std::size_t bytes);

    // Puts the entries in order. Rows with equal keys keep the order in which they were added.
    void sort(const RowOrder& order);

    void clear();

    std::size_t bytes() const { return bytes_; }
    const RowEntry* begin() const { return entries_; }
    const RowEntry* end() const { return entriesEnd(); }

    RowBlock* nextWaiting = nullptr;  // for those who have blocks wait in a line

private:
    RowBlock(std::unique_ptr<unsigned char[]> memory, std::size_t bytes);

    RowEntry* entriesEnd() const { return reinterpret_cast<RowEntry*>(memory_.get() + bytes_); }

    const std::unique_ptr<unsigned char[]> memory_;
    const std::size_t bytes_;  // a multiple of an entry's, so that entries are aligned
    unsigned char* recordsEnd_;
    RowEntry* entries_;
};

#endif
