// RowOrder: what a row is sorted by, and the comparison of two rows in their records.
//
// Threads: compare() may run in parallel.
#ifndef KTB_IMPL_SORT_ROW_ORDER_H
#define KTB_IMPL_SORT_ROW_ORDER_H

#include <memory>

#include "sort/row_key.h"

class RowOrder {
public:
    RowOrder() = default;
    RowOrder(const RowOrder&) = delete;
    RowOrder& operator=(const RowOrder&) = delete;

    // Makes room for `count` keys that are still to be set. Returns false when memory is exhausted.
    [[nodiscard]] bool setCount(int count);

    int count() const { return count_; }
    SortKey& key(int index) { return keys_[static_cast<std::size_t>(index)]; }
    const SortKey& key(int index) const { return keys_[static_cast<std::size_t>(index)]; }

    // The key that the column is, or -1.
    int keyOf(int column) const;

    // Negative, 0 or positive as the left record's row comes before, with or after the right one's.
    int compare(const unsigned char* left, const unsigned char* right) const;

private:
    int compareValues(const unsigned char* left, const unsigned char* right) const;

    std::unique_ptr<SortKey[]> keys_;
    int count_ = 0;
};

#endif
