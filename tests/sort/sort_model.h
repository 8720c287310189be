// The sort as one would write it on a blackboard: std::stable_sort and a comparison of values, without an encoded byte.
//
// The comparison is written apart from the library's: decimals are compared as digits on paper, texts as std::string.
#ifndef TESTS_SORT_SORT_MODEL_H
#define TESTS_SORT_SORT_MODEL_H

#include <locale.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <type_traits>

#include "sort_support.h"

namespace sorting {

struct FreeLocale {
    void operator()(locale_t made) const { freelocale(made); }
};

// The locales that the model has been asked for, made once.
inline locale_t localeOf(const char* name) {
    static std::map<std::string, std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale>> made;
    auto& found = made[name];
    if (!found) found.reset(newlocale(LC_ALL_MASK, name, nullptr));
    EXPECT_NE(found, nullptr) << name;
    return found.get();
}

inline int signOf(int order) { return (order > 0) - (order < 0); }

// The digits of a number without its sign, as "000...012.5000...": long enough that a comparison of texts is one of numbers.
inline std::string onPaper(const std::string& digits) {
    const std::size_t start = digits[0] == '-' ? 1 : 0;
    const std::size_t point = std::min(digits.find('.'), digits.size());
    std::string text(100 - (point - start), '0');
    text += digits.substr(start, point - start) + ".";
    if (point != digits.size()) text += digits.substr(point + 1);
    return text + std::string(160 - text.size(), '0');
}

inline int compareDecimals(const std::string& left, const std::string& right) {
    const bool leftIsNegative = left[0] == '-';
    const bool rightIsNegative = right[0] == '-';
    if (leftIsNegative != rightIsNegative) return leftIsNegative ? -1 : 1;  // there is no negative zero
    const int order = onPaper(left).compare(onPaper(right));
    return leftIsNegative ? -order : order;
}

inline int compareNumbers(double left, double right) {
    if (std::isnan(left)) return std::isnan(right) ? 0 : 1;
    if (std::isnan(right)) return -1;
    return left < right ? -1 : (left > right ? 1 : 0);
}

inline std::string folded(std::string text) {
    for (char& letter : text) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

inline std::string transformed(const std::string& text, const char* locale) {
    std::string result(strxfrm_l(nullptr, text.c_str(), 0, localeOf(locale)), '\0');
    strxfrm_l(result.data(), text.c_str(), result.size() + 1, localeOf(locale));
    return result;
}

inline int compareTexts(const Key& key, const std::string& left, const std::string& right) {
    switch (key.collation) {
        case ktSortCollateFold: return folded(left).compare(folded(right));
        case ktSortCollateLocale: return transformed(left, key.locale).compare(transformed(right, key.locale));
        default: return left.compare(right);
    }
}

// Two values of the column's type.
inline int compareValues(const Key& key, ktbType type, const KtbDatavar& left, const KtbDatavar& right) {
    if (left.isNull() || right.isNull()) return left.isNull() ? (right.isNull() ? 0 : -1) : 1;
    switch (type) {
        case ktbTypeBoolean: return int{left.asBool(nullptr)} - int{right.asBool(nullptr)};
        case ktbTypeInteger: {
            const long leftNumber = left.asInt64(nullptr);
            const long rightNumber = right.asInt64(nullptr);
            return leftNumber < rightNumber ? -1 : (leftNumber > rightNumber ? 1 : 0);
        }
        case ktbTypeDecimal: return compareDecimals(left.asString().asCstr(), right.asString().asCstr());
        case ktbTypeDate:
        case ktbTypeDouble: return compareNumbers(left.asDouble(nullptr), right.asDouble(nullptr));
        default: return compareTexts(key, left.asString().asCstr(), right.asString().asCstr());
    }
}

// The keys of a row, each as what it is in its column's type.
inline Row keysOf(const Description& description, const Row& row) {
    Row keys;
    for (const Key& key : description.keys) {
        const auto column = static_cast<std::size_t>(key.column);
        KtbDatavar value = row[column];
        if (!value.isNull()) value.setType(orderingType(description.columns[column]));
        keys.push_back(value);
    }
    return keys;
}

inline int compareKeys(const Description& description, const Row& left, const Row& right) {
    for (std::size_t i = 0; i < description.keys.size(); ++i) {
        const Key& key = description.keys[i];
        const ktbType type = orderingType(description.columns[static_cast<std::size_t>(key.column)]);
        const int order = signOf(compareValues(key, type, left[i], right[i]));
        if (order != 0) return key.descending ? -order : order;
    }
    return 0;
}

struct Model {
    Rows rows;
    std::vector<bool> starts;
    long groups = 0;
};

inline Model modelOf(const Description& description, const Rows& rows, bool noDups) {
    struct Item {
        Row keys;
        const Row* row;
    };
    std::vector<Item> items;
    for (const Row& row : rows) items.push_back({keysOf(description, row), &row});
    std::stable_sort(items.begin(), items.end(),
                     [&](const Item& left, const Item& right) { return compareKeys(description, left.keys, right.keys) < 0; });
    Model model;
    const Item* last = nullptr;
    for (const Item& item : items) {
        const bool starts = last == nullptr || compareKeys(description, last->keys, item.keys) != 0;
        last = &item;
        model.groups += starts;
        if (noDups && !starts) continue;
        model.rows.push_back(*item.row);
        model.starts.push_back(starts);
    }
    return model;
}

}  // namespace sorting

#endif
