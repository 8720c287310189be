// Tables carried from machine to machine: one writes, another of the other byte order checks every value, in every way of
// reading that goes by the files in its own manner. What is expected is computed on both sides from the number of the row
// alone.
//
//     exchange write DIR         writes a table below DIR and prints its name
//     exchange read DIR NAME     checks the table; status 1 and a line that says why when anything is not as it should be
//     exchange self              both, one after the other, in a temporary directory
//     exchange sort              prints sorted rows, which are the same on every machine
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/released.h"
#include "support/temp_directory.h"

namespace {

constexpr long rowCount = 700;
constexpr long elementSize = 20000;  // several data elements, some with a text that fills one by itself
constexpr int columnCount = 7;
constexpr ktbType columnTypes[columnCount] = {ktbTypeBoolean, ktbTypeInteger, ktbTypeDecimal, ktbTypeDate,
                                              ktbTypeString,  ktbTypeString,  ktbTypeString};
constexpr const char* columnNames[columnCount] = {"flag", "amount", "price", "day", "text", "short", "nothing"};

bool complain(const std::string& text) {
    std::fprintf(stderr, "exchange: %s\n", text.c_str());
    return false;
}

// Numbers that look random and are the same everywhere.
class Numbers {
public:
    explicit Numbers(unsigned long seed) : state_(seed * 2654435761UL + 1) {}
    unsigned long next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return state_;
    }
    unsigned long below(unsigned long end) { return next() % end; }

private:
    unsigned long state_;
};

KtbDatavar decimalFrom(Numbers& numbers) {
    unsigned long words[3] = {numbers.below(39) | numbers.below(2) << 63, numbers.below(1UL << 61), numbers.next()};
    if (words[1] == 0 && words[2] == 0) words[0] = 0;
    KtbReal real;
    real.assignFD(words);
    KtbDatavar value;
    value.assign(real);
    return value;
}

KtbDatavar dateFrom(Numbers& numbers) {
    KtbDatavar value;
    value.assign(static_cast<double>(numbers.below(1UL << 40)) / 16 - 3e10);
    value.setType(ktbTypeDate);
    return value;
}

std::size_t textSize(long row, Numbers& numbers) {
    if (row % 100 == 99) return 200000;  // longer than any buffer on the way
    if (row % 50 == 7) return 126 + numbers.below(4);
    return numbers.below(30);
}

std::string textFrom(long row, Numbers& numbers) {
    std::string text(textSize(row, numbers), 'x');
    for (char& c : text) c = static_cast<char>(numbers.below(255) + 1);  // any byte but the one that ends a text
    return text;
}

// What column `column` of row `row` holds.
KtbDatavar valueOf(long row, int column) {
    Numbers numbers(static_cast<unsigned long>(row * columnCount + column));
    KtbDatavar value;
    if (column == 6 || numbers.below(7) == 0) return value;
    switch (columnTypes[column]) {
        case ktbTypeBoolean: value.assign(numbers.below(2) == 1); break;
        case ktbTypeInteger: value.assign(static_cast<long>(numbers.next())); break;
        case ktbTypeDecimal: value = decimalFrom(numbers); break;
        case ktbTypeDate: value = dateFrom(numbers); break;
        default: value.assign(textFrom(column == 4 ? row : 0, numbers).c_str());
    }
    return value;
}

bool isSame(const KtbDatavar& left, const KtbDatavar& right) {
    if (left.isNull() || right.isNull()) return left.isNull() == right.isNull();
    if (left.type() != right.type()) return false;
    const KtbString leftText = left.asString();
    return leftText.compare(right.asString(), true) == 0 && left.asReal(nullptr).scale() == right.asReal(nullptr).scale();
}

Manager managerOf(const std::string& directory) {
    KtbString error;
    Manager manager(ktwtCreateManager("exchange", directory.c_str(), &error));
    if (!manager) complain(error.asCstr());
    return manager;
}

bool write(const std::string& directory, std::string* name) {
    KtbString error;
    const Manager manager = managerOf(directory);
    if (!manager) return false;
    const Table table(manager->create(columnCount, elementSize, &error));
    if (!table) return complain(error.asCstr());
    for (int i = 0; i < columnCount; ++i) table->defineColumnInfo(i, columnNames[i], columnTypes[i], 0);
    KtbDatavar values[columnCount];
    for (long row = 0; row < rowCount; ++row) {
        for (int i = 0; i < columnCount; ++i) values[i] = valueOf(row, i);
        if (!table->writeRow(values)) return complain(table->getError().asCstr());
    }
    *name = table->getName().asCstr();
    return table->close() || complain(table->getError().asCstr());
}

// Reads rows `first`, `first` + `step`, ... of which columns `columns` were chosen, `count` of them and then the end.
bool checkRows(KtWorkTableFile* table, long first, long step, long count, const std::vector<int>& columns) {
    std::vector<KtbDatavar> values(columns.size());
    bool end = false;
    for (long row = first; count > 0; --count, row += step) {
        if (!table->readRow(values.data(), &end)) {
            return complain("row " + std::to_string(row) + " cannot be read: " + table->getError().asCstr());
        }
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (isSame(values[i], valueOf(row, columns[i]))) continue;
            return complain("row " + std::to_string(row) + ", " + columnNames[columns[i]] + ": " +
                            values[i].asString().asCstr());
        }
    }
    if (table->readRow(values.data(), &end)) return complain("there are more rows than were written");
    return end || complain(table->getError().asCstr());
}

bool check(KtWorkTableManager& manager, const std::string& name, std::vector<int> columns, long* range, bool reversed) {
    KtbString error;
    const Table table(manager.open(name.c_str(), static_cast<int>(columns.size()), columns.data(), range, reversed, &error));
    if (!table) return complain(error.asCstr());
    if (table->getRows() != rowCount) return complain("the header counts " + std::to_string(table->getRows()) + " rows");
    if (reversed) return checkRows(table.get(), rowCount - 1, -1, rowCount, columns);
    const long first = range != nullptr ? range[0] : 0;
    return checkRows(table.get(), first, 1, range != nullptr ? range[1] : rowCount, columns);
}

const std::vector<int> allColumns = {0, 1, 2, 3, 4, 5, 6};

bool checkDefinitions(KtWorkTableManager& manager, const std::string& name) {
    KtbString error;
    const Table table(manager.open(name.c_str(), false, &error));
    if (!table) return complain(error.asCstr());
    if (table->getColumns() != columnCount) return complain("the number of columns is wrong");
    for (int i = 0; i < columnCount; ++i) {
        KtbString column;
        ktbType type = ktbTypeNone;
        if (!table->getColumnInfo(i, &column, &type, nullptr, nullptr)) return complain(table->getError().asCstr());
        if (column.compare(columnNames[i], true) != 0 || type != columnTypes[i]) return complain("a column is not as it was");
    }
    return true;
}

// A copy is written in the byte order of the machine that makes it.
bool checkCopy(KtWorkTableManager& manager, const std::string& name) {
    KtbString error;
    std::string copied;
    {
        const Table copy(manager.copy(elementSize, &manager, name.c_str(), &error));
        if (!copy) return complain(error.asCstr());
        copied = copy->getName().asCstr();
        if (!copy->close()) return complain(copy->getError().asCstr());
    }
    const bool good = check(manager, copied, allColumns, nullptr, false);
    return (manager.remove(copied.c_str(), &error) || complain(error.asCstr())) && good;
}

bool read(const std::string& directory, const std::string& name) {
    const Manager manager = managerOf(directory);
    if (!manager || !checkDefinitions(*manager, name)) return false;
    for (const bool reversed : {false, true}) {
        if (!check(*manager, name, allColumns, nullptr, reversed)) return false;
        if (!check(*manager, name, {5, 1, 0}, nullptr, reversed)) return false;
        for (int i = 0; i < columnCount; ++i) {
            if (!check(*manager, name, {i}, nullptr, reversed)) return false;
        }
    }
    for (long first : {0L, 1L, rowCount / 2, rowCount - 1}) {
        long range[] = {first, 1};
        if (!check(*manager, name, allColumns, range, false)) return false;
    }
    return checkCopy(*manager, name);
}

// Both, without another machine.
bool self() {
    const TempDirectory directory;
    std::string name;
    return write(directory.path(), &name) && read(directory.path(), name);
}

bool writeAndTell(const std::string& directory) {
    std::string name;
    if (!write(directory, &name)) return false;
    std::printf("%s\n", name.c_str());
    return true;
}

using Sort = std::unique_ptr<KtDatafileRowSort, Release>;

Sort describeSort(KtDatafileManager& manager, int key, bool descending) {
    manager.declareColumns(columnCount);
    for (int i = 0; i < columnCount; ++i) manager.declareColumn(i, columnTypes[i], 0);
    Sort sort(manager.createSort(ktSortRows));
    if (sort && sort->setSortKeys(2) == 0 && sort->setSort(0, key, descending, nullptr) == 0 &&
        sort->setSort(1, (key + 1) % columnCount, !descending, nullptr) == 0) {
        return sort;
    }
    return nullptr;
}

void printRow(KtDatafileRowSort& sort) {
    for (int i = 0; i < columnCount; ++i) {
        const KtbDatavar& value = *sort.columnValue(i);
        const KtbString text = value.asString();
        std::printf("%s%s", i != 0 ? "|" : "", value.isNull() ? "null" : text.asCstr());
    }
    std::printf("\n");
}

// Sorts as many rows as the budget does not hold.
bool sortBy(KtDatafileManager& manager, int key, bool descending) {
    const Sort sort = describeSort(manager, key, descending);
    if (!sort) return complain("the sort is refused");
    for (long row = 0; row < rowCount; ++row) {
        for (int i = 0; i < columnCount; ++i) *sort->columnSlot(i) = valueOf(row, i);
        if (sort->addRow() != ktSortRow) return complain(sort->getError().asCstr());
    }
    if (sort->finish() != ktSortRow) return complain(sort->getError().asCstr());
    int status = sort->firstRow();
    for (; status == ktSortRow; status = sort->nextRow()) printRow(*sort);
    return status == ktSortEnd || complain(sort->getError().asCstr());
}

bool sortAll() {
    const TempDirectory directory;
    KtbString error;
    const std::unique_ptr<KtDatafileManager, Release> manager(ktDatafileManagerCreate(directory.path().c_str(), &error));
    if (!manager) return complain(error.asCstr());
    constexpr unsigned long megabyte = 1UL << 20;
    if (!manager->setSortSize(megabyte)) return complain(manager->getError().asCstr());
    for (int key = 0; key < columnCount - 1; ++key) {
        if (!sortBy(*manager, key, key % 2 == 1)) return false;
    }
    return true;
}

int usage() {
    std::fputs("Usage: exchange write DIR | read DIR NAME | self | sort\n", stderr);
    return 2;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string command = count > 1 ? arguments[1] : "";
    if (command == "write" && count == 3) return writeAndTell(arguments[2]) ? 0 : 1;
    if (command == "read" && count == 4) return read(arguments[2], arguments[3]) ? 0 : 1;
    if (command == "self" && count == 2) return self() ? 0 : 1;
    if (command == "sort" && count == 2) return sortAll() ? 0 : 1;
    return usage();
}
