#include "sort/row_layout.h"

#include <algorithm>
#include <new>

#include "sort/row_record.h"
#include "sort/row_value.h"

bool RowLayout::setColumns(int count, const ktbType* types) {
    types_.reset(new (std::nothrow) ktbType[static_cast<std::size_t>(count)]);
    if (!types_) return false;
    std::copy_n(types, count, types_.get());
    columnCount_ = count;
    return true;
}

bool RowLayout::settle(const RowOrder& order, std::size_t keyBytes) {
    stored_.reset(new (std::nothrow) int[static_cast<std::size_t>(columnCount_)]);
    if (!stored_) return false;
    keyCount_ = order.count();
    keyBytes_ = keyBytes;
    int* next = stored_.get();
    for (int i = 0; i < keyCount_; ++i) *next++ = order.key(i).column;
    for (int column = 0; column < columnCount_; ++column) {
        if (order.keyOf(column) < 0) *next++ = column;
    }
    return true;
}

RowFit RowLayout::encode(const RowOrder& order, const KtbDatavar* values, ByteBuffer* record) {
    record->clear();
    unsigned char* head = record->room(RowRecord::headBytes + keyBytes_);
    if (head == nullptr) return RowFit::exhausted;
    KeyWriter writer(head + RowRecord::headBytes, keyBytes_);
    if (keyBytes_ != 0 && !putKeys(order, values, &writer)) return RowFit::exhausted;
    const auto keyBytes = static_cast<std::size_t>(writer.end() - (head + RowRecord::headBytes));
    record->grow(RowRecord::headBytes + keyBytes);

    for (int i = 0; i < keyCount_; ++i) {
        if (!putKeyValue(order.key(i), values[order.key(i).column], writer.isCut(), record)) return RowFit::exhausted;
    }
    for (int i = keyCount_; i < columnCount_; ++i) {
        if (!RowValue::put(record, values[stored_[static_cast<std::size_t>(i)]], 0)) return RowFit::exhausted;
    }
    if (record->size() > RowRecord::bytesMax) return RowFit::tooLarge;
    RowRecord::setHead(record->data(), record->size(), keyBytes, writer.isCut());
    return RowFit::whole;
}

// The value that a key orders by: itself, or what it is in the key's type, or a null of that type. Null when memory is
// exhausted.
const KtbDatavar* RowLayout::inKeyType(const SortKey& key, const KtbDatavar& value) {
    if (value.isNull() || value.type() == key.type) return &value;
    converted_ = value;
    if (converted_.isNull()) return nullptr;
    converted_.setType(key.type);
    const bool lostText = key.type == ktbTypeString && converted_.isNull();  // every value has a text
    return lostText ? nullptr : &converted_;
}

bool RowLayout::putKeys(const RowOrder& order, const KtbDatavar* values, KeyWriter* writer) {
    for (int i = 0; i < keyCount_; ++i) {
        const SortKey& key = order.key(i);
        const KtbDatavar* value = inKeyType(key, values[key.column]);
        if (value == nullptr || !writer->put(key, *value, &transformed_)) return false;
    }
    return true;
}

// The values of keys that are whole are never compared: their bytes say all.
bool RowLayout::putKeyValue(const SortKey& key, const KtbDatavar& value, bool isCompared, ByteBuffer* record) {
    const KtbDatavar* ordering = inKeyType(key, value);
    if (ordering == nullptr) return false;
    const bool isTransformed = isCompared && key.type == ktbTypeString && key.collation.isLocale() && !ordering->isNull();
    if (!isTransformed && ordering == &value) return RowValue::put(record, value, 0);
    if (!RowValue::put(record, value, RowValue::otherFollows)) return false;
    return isTransformed ? putTransformed(key, *ordering, record) : RowValue::put(record, *ordering, 0);
}

bool RowLayout::putTransformed(const SortKey& key, const KtbDatavar& value, ByteBuffer* record) {
    KtbString unused;
    const KtbString& text = value.asString(&unused);
    const SortText whole = {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)};
    if (!key.collation.transform(whole, &transformed_)) return false;
    return RowValue::putText(record, {reinterpret_cast<const char*>(transformed_.data()), transformed_.size()}, 0);
}

void RowLayout::endEncoding() {
    converted_.assign(KtbString("", true));  // a literal makes a text give up its memory
    transformed_.free();
}

bool RowLayout::decode(const unsigned char* record, KtbDatavar* values) const {
    const unsigned char* at = RowRecord::values(record);
    for (int i = 0; i < columnCount_; ++i) {
        const RowValue value(at);
        if (!value.get(&values[stored_[static_cast<std::size_t>(i)]])) return false;
        at = value.end();
        if (value.isBeforeOther()) at = RowValue(at).end();
    }
    return true;
}
