#include "sort/row_block.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "sort/row_record.h"

std::unique_ptr<RowBlock> RowBlock::make(std::size_t bytes) {
    bytes = (bytes + entryBytes - 1) / entryBytes * entryBytes;
    std::unique_ptr<unsigned char[]> memory(new (std::nothrow) unsigned char[bytes]);
    if (!memory) return nullptr;
    return std::unique_ptr<RowBlock>(new (std::nothrow) RowBlock(std::move(memory), bytes));
}

RowBlock::RowBlock(std::unique_ptr<unsigned char[]> memory, std::size_t bytes) : memory_(std::move(memory)), bytes_(bytes) {
    clear();
}

void RowBlock::clear() {
    recordsEnd_ = memory_.get();
    entries_ = entriesEnd();
}

bool RowBlock::add(const unsigned char* record, std::size_t bytes) {
    const auto room = static_cast<std::size_t>(reinterpret_cast<unsigned char*>(entries_) - recordsEnd_);
    if (bytes + entryBytes > room) return false;
    std::memcpy(recordsEnd_, record, bytes);
    *--entries_ = {RowRecord::prefix(record), recordsEnd_};
    recordsEnd_ += bytes;
    return true;
}

void RowBlock::sort(const RowOrder& order) {
    std::sort(entries_, entriesEnd(), [&order](const RowEntry& left, const RowEntry& right) {
        if (left.prefix != right.prefix) return left.prefix < right.prefix;
        const int compared = order.compare(left.record, right.record);
        if (compared != 0) return compared < 0;
        return left.record < right.record;  // records stand in the order in which they were added
    });
}
