#include "sort/row_order.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "sort/row_record.h"
#include "sort/row_value.h"

namespace {

template <class Number>
int compareNumbers(Number left, Number right) {
    return left < right ? -1 : left > right;
}

// Every NaN is equal to every other and comes after all numbers.
int compareDoubles(double left, double right) {
    const bool leftIsNan = std::isnan(left);
    const bool rightIsNan = std::isnan(right);
    return leftIsNan || rightIsNan ? leftIsNan - rightIsNan : compareNumbers(left, right);
}

int compareAscending(const SortKey& key, RowValue left, RowValue right) {
    if (left.isNull() || right.isNull()) return right.isNull() - left.isNull();
    switch (key.type) {
        case ktbTypeBoolean: return left.asBool() - right.asBool();
        case ktbTypeInteger: return compareNumbers(left.asInteger(), right.asInteger());
        case ktbTypeDecimal: return left.asDecimal().compare(right.asDecimal());
        case ktbTypeDate:
        case ktbTypeDouble: return compareDoubles(left.asDouble(), right.asDouble());
        default: return key.collation.compare(left.asText(), right.asText());
    }
}

RowValue orderingValue(RowValue value) { return value.isBeforeOther() ? RowValue(value.end()) : value; }

}  // namespace

bool RowOrder::setCount(int count) {
    keys_.reset(new (std::nothrow) SortKey[static_cast<std::size_t>(count)]);
    count_ = keys_ ? count : 0;
    return keys_ != nullptr;
}

int RowOrder::keyOf(int column) const {
    for (int i = 0; i < count_; ++i) {
        if (key(i).column == column) return i;
    }
    return -1;
}

int RowOrder::compare(const unsigned char* left, const unsigned char* right) const {
    const std::size_t common = std::min(RowRecord::keyBytes(left), RowRecord::keyBytes(right));
    const int order = std::memcmp(RowRecord::key(left), RowRecord::key(right), common);
    if (order != 0) return order;
    const bool decided = !RowRecord::keyIsCut(left) && !RowRecord::keyIsCut(right);
    return decided ? 0 : compareValues(RowRecord::values(left), RowRecord::values(right));
}

// The slow and simple way: key by key, from the values. It settles what the encoded keys leave open, and all when there are
// none.
int RowOrder::compareValues(const unsigned char* left, const unsigned char* right) const {
    for (int i = 0; i < count_; ++i) {
        const RowValue leftValue = orderingValue(RowValue(left));
        const RowValue rightValue = orderingValue(RowValue(right));
        const int order = compareAscending(key(i), leftValue, rightValue);
        if (order != 0) return key(i).descending ? -order : order;  // none of the comparisons gives the least integer
        left = leftValue.end();
        right = rightValue.end();
    }
    return 0;
}
