// GroupWatch: remembers the row that came last, to tell whether the next one has the same keys. The last row is copied, since a
// merge that reads from disk has moved on when its next row is there.
#ifndef KTB_IMPL_SORT_GROUP_WATCH_H
#define KTB_IMPL_SORT_GROUP_WATCH_H

#include "sort/byte_buffer.h"
#include "sort/row_order.h"
#include "sort/row_record.h"

class GroupWatch {
public:
    explicit GroupWatch(const RowOrder& order) : order_(order) {}

    void restart() { last_.clear(); }

    bool isSameGroup(const unsigned char* record) const {
        return last_.size() != 0 && order_.compare(last_.data(), record) == 0;
    }

    // Returns false when memory is exhausted.
    [[nodiscard]] bool remember(const unsigned char* record) {
        last_.clear();
        return last_.put(record, RowRecord::bytes(record));
    }

private:
    const RowOrder& order_;
    ByteBuffer last_;
};

#endif
