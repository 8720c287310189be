// A work table as it should be: what the library stores of the rows it is given, and what a reader sees of them.
//
// The model converts and cuts each value with the variant's own operations, keeps whole rows in memory and knows nothing of
// files, except how many bytes a stored value takes, from which it tells which row goes to which data element.
#ifndef KTWT_TESTS_TABLE_TABLE_MODEL_H
#define KTWT_TESTS_TABLE_TABLE_MODEL_H

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "table/value.h"

// Random numbers with a known seed, and the random things that tables are made of.
class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    // 0 to n - 1.
    std::size_t below(std::size_t n) { return static_cast<std::size_t>(engine_() % n); }
    long between(long least, long most) { return least + static_cast<long>(below(static_cast<std::size_t>(most - least) + 1)); }
    bool chance(unsigned percent) { return below(100) < percent; }
    template <class T>
    const T& oneOf(const std::vector<T>& list) {
        return list[below(list.size())];
    }
    long number() { return static_cast<long>(engine_()); }
    std::mt19937_64& engine() { return engine_; }

private:
    std::mt19937_64 engine_;
};

struct ModelColumn {
    std::string name;
    ktbType defined = ktbTypeString;  // the type given, which may be no type at all
    int width = 0;
    int longest = 0;

    ktbType type() const {
        const bool kept =
            defined == ktbTypeBoolean || defined == ktbTypeInteger || defined == ktbTypeDecimal || defined == ktbTypeDate;
        return kept ? defined : ktbTypeString;
    }
    ColumnInfo info() const { return {name, type(), width, longest}; }
};

class TableModel {
public:
    std::vector<ModelColumn> columns;
    long elementSize = 0;
    Rows rows;
    std::vector<long> elementRows;  // of each data element

    // Writes a row: stores what is left of the values in their columns.
    void write(const Row& values) {
        if (elementRows.empty() || full_) {
            elementRows.push_back(0);
            elementBytes_ = 0;
        }
        Row stored;
        for (std::size_t c = 0; c < columns.size(); ++c) stored.push_back(storedValue(&columns[c], values[c].variant()));
        for (const Value& value : stored) elementBytes_ += bytesOf(value.variant());
        rows.push_back(std::move(stored));
        ++elementRows.back();
        full_ = elementSize != 0 && elementBytes_ > elementSize;
    }

private:
    static Value storedValue(ModelColumn* column, const KtbDatavar& value) {
        if (value.isNull()) return nullptr;
        bool failed = false;
        KtbDatavar stored;
        switch (column->type()) {
            case ktbTypeBoolean: stored.assign(value.asBool(&failed)); break;
            case ktbTypeInteger: stored.assign(value.asInt64(&failed)); break;
            case ktbTypeDecimal: stored.assign(value.asReal(&failed)); break;
            case ktbTypeDate: stored.assign(value.asDate()); break;
            default:
                stored.assign(cut(value.asString(), column->width));
                column->longest = std::max(column->longest, stored.asString().cStrSize());
        }
        return failed || stored.isNull() ? Value(nullptr) : Value(stored);
    }

    // Takes characters off the end, one by one, until no more than `width` bytes are left.
    static KtbString cut(KtbString text, int width) {
        while (width > 0 && text.cStrSize() - 1 > width) text.truncate(static_cast<unsigned>(text.length() - 1));
        return text;
    }

    static long bytesOf(const KtbDatavar& stored) {
        if (stored.isNull()) return 1;
        switch (stored.type()) {
            case ktbTypeBoolean: return 2;
            case ktbTypeDecimal: return 25;
            case ktbTypeString: {
                const long bytes = stored.asString().cStrSize();
                return 1 + (bytes < 128 ? 1 : 4) + bytes;
            }
            default: return 9;
        }
    }

    long elementBytes_ = 0;
    bool full_ = false;
};

// Which columns a reader sees: of each slot what is told of it, and what is in it.
struct TableView {
    struct Slot {
        ColumnInfo info;
        int column = -1;  // the stored column; -1: the constant
        Value constant = nullptr;
    };
    std::vector<Slot> slots;

    static TableView all(const TableModel& table) {
        TableView view;
        for (std::size_t c = 0; c < table.columns.size(); ++c) view.show(table, static_cast<int>(c));
        return view;
    }

    void show(const TableModel& table, int column) {
        slots.push_back({table.columns[static_cast<std::size_t>(column)].info(), column});
    }

    void showNull(const std::string& name) { slots.push_back({{name}, -1, nullOf(ktbTypeString)}); }

    void showConstant(const std::string& name, ktbType type, const std::string& text) {
        if (text.empty()) return showNull(name);
        KtbDatavar value;
        value.assign(text.c_str());
        ColumnInfo info = ModelColumn{name, type}.info();
        value.setType(info.type);
        if (info.type == ktbTypeString) info.width = info.longest = value.asString().length();
        slots.push_back({info, -1, value});
    }

    std::vector<ColumnInfo> columns() const {
        std::vector<ColumnInfo> columns;
        for (const Slot& slot : slots) columns.push_back(slot.info);
        return columns;
    }

    // What is seen through the URI that the table gives of itself: a constant that did not convert has no text any more.
    TableView throughUri() const {
        TableView view = *this;
        for (Slot& slot : view.slots) {
            if (slot.column < 0 && slot.constant.variant().isNull()) slot = {{slot.info.name}, -1, nullOf(ktbTypeString)};
        }
        return view;
    }
};

// Random texts, values, columns and tables.

class RandomTable {
public:
    explicit RandomTable(Random* random) : random_(*random) {}

    TableModel empty() {
        static const std::vector<std::size_t> counts = {1, 1, 2, 2, 3, 3, 4, 5, 6, 8};
        TableModel table;
        const std::size_t columns = random_.chance(3) ? 0 : random_.chance(3) ? random_.below(60) : random_.oneOf(counts);
        for (std::size_t c = 0; c < columns; ++c) table.columns.push_back(column(table));
        table.elementSize = elementSize();
        return table;
    }

    // Rows that a table of that limit can have without making very many files.
    std::size_t rowCount(long elementSize) {
        if (elementSize != 0 && elementSize < 60) return random_.below(12);
        if (random_.chance(30)) return random_.below(4);
        if (elementSize != 0 && elementSize < 1000) return random_.below(40);
        return random_.below(random_.chance(25) ? 201 : 30);
    }

    Row row(const TableModel& table) {
        Row values;
        for (const ModelColumn& column : table.columns) values.push_back(value(column));
        return values;
    }

    // A name with some of its letters in the other case, which is the same name.
    std::string otherCase(std::string name) {
        for (char& c : name) {
            const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
            if (letter && random_.chance(50)) c = static_cast<char>(c ^ 0x20);
        }
        return name;
    }

    // A name that the table does not have.
    std::string unknownName(const TableModel& table) {
        for (;;) {
            std::string name = this->name() + "?";
            if (!isTaken(table, name)) return name;
        }
    }

    // A constant's text, which may or may not be of the type.
    std::string constantText() {
        static const std::vector<std::string> texts = {"",
                                                       "1",
                                                       "0",
                                                       "yes",
                                                       "false",
                                                       "-12",
                                                       "12.50",
                                                       "1e3",
                                                       "1970-01-02",
                                                       "2024-02-29T12:30:00.5",
                                                       "text",
                                                       " 7 ",
                                                       "9223372036854775808",
                                                       "a=b&c:d%20",
                                                       "\xC3\xA4\xE2\x82\xAC",
                                                       "0.00000000000000000000000000000000000001"};
        return random_.chance(20) ? text(0) : random_.oneOf(texts);
    }

private:
    long elementSize() {
        static const std::vector<long> limits = {0, 0, 0, 1, 20, 60, 100, 200, 500, 2000, 5000};
        return random_.oneOf(limits);
    }

    ModelColumn column(const TableModel& table) {
        static const std::vector<ktbType> types = {1, 2, 3, 4, 4, 4, 5, 1, 2, 3, 4, 4, 4, 5, 0, 6, 99};
        static const std::vector<int> widths = {0, 0, 0, 0, -1, 126, 127, 128, 1, 2, 3, 4, 5, 6, 7, 8, 10, 20, 40};
        ModelColumn column;
        do {
            column.name = name();
        } while (isTaken(table, column.name));
        column.defined = random_.oneOf(types);
        column.width = random_.oneOf(widths);
        return column;
    }

    static bool isTaken(const TableModel& table, const std::string& name) {
        return std::any_of(table.columns.begin(), table.columns.end(),
                           [&](const ModelColumn& column) { return ktb(column.name).compare(ktb(name), false) == 0; });
    }

    std::string name() {
        static const std::vector<std::string> parts = {"id",
                                                       "Name",
                                                       "gr\xC3\xB6\xC3\x9F"
                                                       "e",
                                                       "\xE6\x97\xA5\xE6\x9C\xAC",
                                                       "x y",
                                                       "a=b",
                                                       "c&d",
                                                       "%41",
                                                       "#",
                                                       "?",
                                                       "\xF0\x9F\x98\x80",
                                                       ":",
                                                       "\xFF",
                                                       "."};
        std::string name;
        const std::size_t count = random_.chance(2) ? 0 : random_.chance(5) ? 30 : 1 + random_.below(3);
        for (std::size_t i = 0; i < count; ++i) name += random_.oneOf(parts);
        if (count != 0 && random_.chance(60)) name += std::to_string(random_.below(1000));
        return name;
    }

    Value value(const ModelColumn& column) {
        if (random_.chance(15)) return random_.chance(70) ? Value(nullptr) : nullOf(static_cast<ktbType>(random_.below(7)));
        const ktbType type = random_.chance(65) ? column.type() : static_cast<ktbType>(1 + random_.below(6));
        switch (type) {
            case ktbTypeBoolean: return random_.chance(50);
            case ktbTypeInteger: return integer();
            case ktbTypeDecimal: return decimal(decimalText().c_str());
            case ktbTypeDate: return moment();
            case ktbTypeDouble: return number();
            default: return random_.chance(25) ? constantText() : text(column.width);
        }
    }

    long integer() {
        static const std::vector<long> odd = {0, 1, -1, LONG_MIN, LONG_MAX, 127, 128, 1L << 53};
        return random_.chance(40) ? random_.oneOf(odd) : random_.number() >> random_.below(64);
    }

    double number() {
        static const std::vector<double> odd = {0.0,
                                                -0.0,
                                                1.0,
                                                0.5,
                                                1e300,
                                                5e-324,
                                                std::numeric_limits<double>::infinity(),
                                                std::numeric_limits<double>::quiet_NaN(),
                                                253402300800.0};
        return random_.chance(40)
                   ? random_.oneOf(odd)
                   : std::ldexp(static_cast<double>(random_.number()), static_cast<int>(random_.between(-80, 10)));
    }

    Value moment() {
        return date(std::floor(static_cast<double>(random_.between(-62135596800, 253402300799))) +
                    (random_.chance(50) ? 0.0 : 0.25));
    }

    std::string decimalText() {
        const std::size_t digits = 1 + random_.below(38);
        const std::size_t point = random_.below(digits + 1);
        std::string text = random_.chance(50) ? "-" : "";
        if (point == 0) text += "0.";
        for (std::size_t i = 0; i < digits; ++i) {
            text += static_cast<char>('0' + random_.below(10));
            if (i + 1 == point && i + 1 != digits) text += '.';
        }
        return text;
    }

    // A text whose size is likely to lie where something changes: around the width, around the longest of the short texts.
    std::string text(int width) {
        const std::size_t size = textSize(width);
        std::string text;
        while (text.size() < size) {
            const std::string next = character();
            text += text.size() + next.size() <= size ? next : "x";
        }
        return text;
    }

    std::size_t textSize(int width) {
        const std::size_t kind = random_.below(100);
        if (kind < 35 && width > 0) return static_cast<std::size_t>(std::max(width - 3, 0)) + random_.below(7);
        if (kind < 45) return 124 + random_.below(7);
        if (kind < 46 && width > 0 && random_.chance(10)) return 66000 + random_.below(70000);
        return random_.below(kind < 70 ? 12 : 60);
    }

    std::string character() {
        static const std::vector<std::string> others = {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF",
                                                        "\xC3",     "\xFF",         "\xE2\x82",         "\xED\xA0\x80",
                                                        "\xC0\x80", "\x80"};
        if (random_.chance(70)) return std::string(1, static_cast<char>('a' + random_.below(26)));
        return random_.oneOf(others);
    }

    Random& random_;
};

#endif
