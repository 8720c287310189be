// RowLayout: the columns of a sort's rows, and the way of a row into its record and back.
#ifndef KTB_IMPL_SORT_ROW_LAYOUT_H
#define KTB_IMPL_SORT_ROW_LAYOUT_H

#include <memory>

#include "sort/row_order.h"

enum class RowFit { whole, tooLarge, exhausted };

class RowLayout {
public:
    // Takes over the types of `count` columns. Returns false when memory is exhausted.
    [[nodiscard]] bool setColumns(int count, const ktbType* types);

    int columnCount() const { return columnCount_; }
    ktbType typeOf(int column) const { return types_[static_cast<std::size_t>(column)]; }

    // Settles where in a record each column stands, once all keys are known. With no room for encoded keys (`keyBytes` 0) rows
    // are compared by their values alone. Returns false when memory is exhausted.
    [[nodiscard]] bool settle(const RowOrder& order, std::size_t keyBytes);

    // Puts the record of a row with one value per column into *record, replacing what it held.
    RowFit encode(const RowOrder& order, const KtbDatavar* values, ByteBuffer* record);

    // There are no more rows: gives back what encoding them took.
    void endEncoding();

    // Puts the values of the row back. Returns false when memory does not hold a text.
    [[nodiscard]] bool decode(const unsigned char* record, KtbDatavar* values) const;

private:
    const KtbDatavar* inKeyType(const SortKey& key, const KtbDatavar& value);
    bool putKeys(const RowOrder& order, const KtbDatavar* values, KeyWriter* writer);
    bool putKeyValue(const SortKey& key, const KtbDatavar& value, bool isCompared, ByteBuffer* record);
    bool putTransformed(const SortKey& key, const KtbDatavar& value, ByteBuffer* record);

    int columnCount_ = 0;
    std::unique_ptr<ktbType[]> types_;
    std::unique_ptr<int[]> stored_;  // the columns in the order in which a record has them, those of the keys first
    int keyCount_ = 0;
    std::size_t keyBytes_ = 0;
    KtbDatavar converted_;
    ByteBuffer transformed_;
};

#endif
