// The rows that all benches share: eight mixed columns, about 100 bytes each.
#ifndef BENCH_ROWS_H
#define BENCH_ROWS_H

#include <memory>
#include <string>
#include <vector>

#include "ktwt/ktwt.h"

namespace bench {

inline constexpr int columns = 8;

struct ColumnSketch {
    const char* name;
    ktbType type;
};

// Two integers, a boolean, a decimal, a date, and texts of 8 to 24, about 8, and 0 to 60 bytes; a tenth of the last are null.
inline constexpr ColumnSketch sketch[columns] = {
    {"id", ktbTypeInteger},  {"quantity", ktbTypeInteger}, {"active", ktbTypeBoolean}, {"price", ktbTypeDecimal},
    {"moment", ktbTypeDate}, {"name", ktbTypeString},      {"code", ktbTypeString},    {"remark", ktbTypeString}};

// A table of as many rows as wanted: the same thousand or so different rows over and over, so that what is measured is the road
// and not the memory they come from. Made from a fixed seed.
class Rows {
public:
    Rows();
    KtbDatavar* row(long n) { return &values_[static_cast<std::size_t>(n % distinct) * columns]; }

    // Whether two rows hold the same values.
    static bool same(const KtbDatavar* a, const KtbDatavar* b);

private:
    static constexpr long distinct = 1021;
    std::vector<KtbDatavar> values_;
};

// The rows, made once.
Rows& rows();

// How many rows the tables have, and how many those that are sorted; --rows=N on the command line sets both.
long rowCount();
long sortedRowCount();
void setRowCount(long count);

// Where the files of the benches called `name` go: a directory of their own, made when it is not there and removed at the end
// of the program, so that nobody takes another's files for his own.
std::string directory(const std::string& name);

struct Release {
    template <class Object>
    void operator()(Object* object) const {
        object->release();
    }
};
using Manager = std::unique_ptr<KtWorkTableManager, Release>;
using Table = std::unique_ptr<KtWorkTableFile, Release>;

// A manager for that directory; null when it could not be made.
Manager newManager(const std::string& name);

}  // namespace bench

#endif
