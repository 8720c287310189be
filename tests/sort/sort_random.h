// Random values with a liking for the awkward ones, and random sorts.
#ifndef TESTS_SORT_SORT_RANDOM_H
#define TESTS_SORT_SORT_RANDOM_H

#include <algorithm>
#include <climits>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "sort_support.h"

namespace sorting {

class Random {
public:
    explicit Random(unsigned long seed) : engine_(seed) {}

    unsigned long bits() { return engine_(); }
    std::size_t below(std::size_t end) { return static_cast<std::size_t>(engine_() % end); }
    std::size_t between(std::size_t first, std::size_t last) { return first + below(last - first + 1); }
    bool oneIn(std::size_t n) { return below(n) == 0; }

    template <class Item>
    const Item& oneOf(const std::vector<Item>& items) {
        return items[below(items.size())];
    }

private:
    std::mt19937_64 engine_;
};

__extension__ using Wide = unsigned __int128;

inline KtbDatavar decimalOf(Wide coefficient, int scale, bool negative) {
    const unsigned long words[3] = {static_cast<unsigned long>(scale) | (negative ? 1UL << 63 : 0),
                                    static_cast<unsigned long>(coefficient >> 64), static_cast<unsigned long>(coefficient)};
    KtbReal real;
    EXPECT_TRUE(real.assignFD(words));
    return valueOf(real);
}

inline Wide powerOfTen(int exponent) {
    Wide power = 1;
    for (; exponent > 0; --exponent) power *= 10;
    return power;
}

inline std::vector<long> nastyIntegers() {
    std::vector<long> list = {LONG_MIN, LONG_MIN + 1, LONG_MAX - 1, LONG_MAX, 0, 1, -1};
    for (int bits = 7; bits < 63; ++bits) {
        const long edge = 1L << bits;
        for (const long number : {edge - 1, edge, edge + 1, -edge - 1, -edge, -edge + 1}) list.push_back(number);
    }
    return list;
}

inline std::vector<double> nastyDoubles() {
    using Limits = std::numeric_limits<double>;
    std::vector<double> list = {Limits::quiet_NaN(),
                                -Limits::quiet_NaN(),
                                Limits::infinity(),
                                Limits::max(),
                                Limits::min(),
                                Limits::denorm_min(),
                                Limits::min() - Limits::denorm_min(),
                                0.0,
                                1.0,
                                1.5,
                                255,
                                256,
                                1e300,
                                1e-300,
                                1 + Limits::epsilon()};
    const std::size_t count = list.size();
    for (std::size_t i = 0; i < count; ++i) list.push_back(-list[i]);
    return list;
}

inline std::vector<double> nastyDates() {
    return {KtbDate::secondsMin, KtbDate::secondsMin + 1e-5, KtbDate::secondsEnd - 1, 0.0, -0.0, 1e-6, -1e-6, 86400, -86400,
            1e9 + 0.25};
}

inline std::vector<KtbDatavar> nastyDecimals() {
    std::vector<KtbDatavar> list;
    const Wide most = powerOfTen(38) - 1;
    for (const int scale : {0, 1, 2, 19, 37, 38}) {
        for (const bool negative : {false, true}) {
            for (const Wide coefficient : {Wide{0}, Wide{1}, Wide{9}, Wide{10}, Wide{100}, Wide{ULONG_MAX}, Wide{ULONG_MAX} + 1,
                                           most, most - 1, most / 10 + 1}) {
                list.push_back(decimalOf(coefficient, scale, negative));
            }
        }
    }
    return list;
}

inline std::vector<std::string> nastyTexts() {
    const std::string sixtyTwo(62, 'x');
    return {"",
            " ",
            "a",
            "A",
            "b",
            "B",
            "ab",
            "aB",
            "AB",
            "Ab",
            "a\x01",
            "a\x7f",
            "a\x80",
            "a\xff",
            "\xff",
            "\xff\xff",
            "\x01",
            "\x01\x01",
            "\xc3\xa4",
            "z",
            "Z",
            "[",
            "@",
            "`",
            "{",
            "na\xc3\xafve",
            "naive",
            "12",
            "-7",
            " 12 ",
            "1e3",
            "true",
            "2024-02-29",
            "nan",
            sixtyTwo,
            sixtyTwo + "a",
            sixtyTwo + "ab",
            sixtyTwo + "A",
            sixtyTwo + "\x01",
            sixtyTwo + std::string(40, 'y'),
            sixtyTwo + std::string(40, 'y') + "z",
            std::string(64, '\xff'),
            std::string(65, '\xff')};
}

inline KtbDatavar randomInteger(Random& random) {
    if (random.oneIn(3)) return valueOf(random.oneOf(nastyIntegers()));
    return valueOf(static_cast<long>(random.bits()) >> random.below(64));
}

inline KtbDatavar randomDouble(Random& random) {
    if (random.oneIn(3)) return valueOf(random.oneOf(nastyDoubles()));
    if (random.oneIn(2)) return valueOf(std::bit_cast<double>(random.bits()));
    return valueOf(static_cast<double>(random.below(2000)) / 8 - 100);
}

inline KtbDatavar randomDate(Random& random) {
    if (random.oneIn(3)) return dateOf(random.oneOf(nastyDates()));
    return dateOf(static_cast<double>(random.below(1UL << 32)) / (random.oneIn(2) ? 1 : 64));
}

// Every third is small, so that equal ones with other scales occur.
inline KtbDatavar randomDecimal(Random& random) {
    const auto scale = static_cast<int>(random.below(39));
    const bool negative = random.oneIn(2);
    if (random.oneIn(3)) {
        const auto zeros = static_cast<int>(random.below(36));
        return decimalOf(Wide{random.below(12)} * powerOfTen(zeros), zeros, negative);
    }
    const Wide digits = (Wide{random.bits()} << 64 | random.bits()) >> random.below(128);
    return decimalOf(digits % powerOfTen(38), scale, negative);
}

inline std::string randomText(Random& random) {
    static const std::vector<std::string> pieces = {
        "a",    "A",   "b",    "B",    "z",        "Z",        " ",        "-",
        "7",    "_",   "\x01", "\x7f", "\xc3\xa4", "\xc3\x84", "\xc3\xb6", "\xe2\x82\xac",
        "\xff", "\x80"};
    if (random.oneIn(3)) return random.oneOf(nastyTexts());
    std::string text;
    if (random.oneIn(3)) text = std::string(random.oneOf<std::size_t>({7, 8, 40, 62, 63, 64, 100}), 'k');
    for (std::size_t i = random.below(random.oneIn(8) ? 60 : 6); i > 0; --i) text += random.oneOf(pieces);
    return text;
}

inline KtbDatavar randomOfType(Random& random, ktbType type) {
    switch (type) {
        case ktbTypeBoolean: return valueOf(random.oneIn(2));
        case ktbTypeInteger: return randomInteger(random);
        case ktbTypeDecimal: return randomDecimal(random);
        case ktbTypeDate: return randomDate(random);
        case ktbTypeDouble: return randomDouble(random);
        default: return valueOf(randomText(random));
    }
}

// Mostly of the column's type, sometimes a null, with or without a type, and sometimes of quite another type.
inline KtbDatavar randomValue(Random& random, ktbType type) {
    if (random.oneIn(8)) return nullOf(random.oneIn(2) ? type : static_cast<ktbType>(random.below(7)));
    if (random.oneIn(8)) type = static_cast<ktbType>(random.between(ktbTypeBoolean, ktbTypeDouble));
    return randomOfType(random, type);
}

// Texts that a caller may have in a row, but more of it than fits a block, a chunk or the budget.
inline KtbDatavar largeText(Random& random, std::size_t bytes) {
    std::string text(bytes, 'k');
    for (std::size_t i = random.below(20); i < text.size(); i += 97) text[i] = static_cast<char>('a' + random.below(26));
    return valueOf(text);
}

inline Description randomDescription(Random& random, const std::vector<const char*>& locales) {
    Description description;
    for (std::size_t i = random.between(1, 6); i > 0; --i) {
        description.columns.push_back(random.oneIn(10) ? 77 : static_cast<ktbType>(random.between(1, 6)));
    }
    std::vector<int> order;
    for (std::size_t i = 0; i < description.columns.size(); ++i) order.push_back(static_cast<int>(i));
    for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[random.below(i)]);
    order.resize(random.between(1, std::min<std::size_t>(5, order.size())));
    for (const int column : order) {
        const auto collation = static_cast<int>(random.below(3));
        description.keys.push_back({column, random.oneIn(2), collation, random.oneOf(locales)});
    }
    return description;
}

// Rows whose columns each draw from a pool: of one value, of few, or of as many as there are rows.
inline Rows randomRows(Random& random, const Description& description, std::size_t count) {
    std::vector<Row> pools;
    for (const ktbType type : description.columns) {
        Row pool;
        for (std::size_t size = random.oneOf<std::size_t>({1, 2, 5, 30, count + 1}); size > 0; --size) {
            pool.push_back(randomValue(random, type));
        }
        pools.push_back(std::move(pool));
    }
    Rows rows(count);
    for (Row& row : rows) {
        for (const Row& pool : pools) row.push_back(random.oneOf(pool));
    }
    return rows;
}

}  // namespace sorting

#endif
