// The rows that are sorted: eight mixed columns as in rows.h, about 100 bytes each, every one of them different. They are
// ordered by a text, ascending, and a number, descending. About five rows share a text, so that the number matters; what the
// two do not settle is left in the order of writing.
#ifndef BENCH_SORT_ROWS_H
#define BENCH_SORT_ROWS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace bench {

// What all contenders may use.
inline constexpr int sortThreads = 2;
inline constexpr long sortMemory = 64L << 20;

// The values of one row in the form that costs nothing to make, so that contenders pay only for their own.
struct SortRow {
    long id;
    long quantity;  // the second key
    bool active;
    long cents;             // the price
    double moment;          // whole seconds since 1970
    std::string_view name;  // the first key
    std::string_view code;
    std::string_view remark;  // without data: a null

    bool remarkIsNull() const { return remark.data() == nullptr; }
};

// Makes the rows of a table of `count` rows one after the other, always the same, in no order. It keeps nothing of them:
// sorting is what is to use memory.
class SortRows {
public:
    explicit SortRows(long count);

    // The texts live until the next row.
    const SortRow& next();

private:
    static constexpr std::size_t pieceSize = 4;
    static constexpr std::size_t namePieces = 6;

    std::uint64_t random();
    void makeName(std::uint64_t number);
    std::string_view text(std::uint64_t number, std::size_t lengthMin, std::size_t lengthMax) const;

    std::uint64_t state_ = 20240229;
    std::uint64_t names_;
    std::string letters_;  // out of which codes and remarks are cut
    std::array<char, pieceSize* namePieces> name_ = {};
    SortRow row_ = {};
};

// Takes rows as they come out of a sort and tells whether they are the right ones.
class SortCheck {
public:
    void take(const SortRow& row);

    long rows() const { return rows_; }

    // Whether the rows taken were in order, and were those of a table of `count` rows: all values of all rows go into a sum
    // that does not depend on their order.
    bool isRight(long count) const;

private:
    bool comesAfterLast(const SortRow& row) const;

    long rows_ = 0;
    std::uint64_t sum_ = 0;
    bool inOrder_ = true;
    std::string lastName_;
    long lastQuantity_ = 0;
};

}  // namespace bench

#endif
