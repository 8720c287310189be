// The order of rows in a sorted table, as it should be: keys compared value by value, without any encoding, and rows kept in
// memory by std::stable_sort.
#ifndef KTWT_TESTS_TABLE_SORTED_MODEL_H
#define KTWT_TESTS_TABLE_SORTED_MODEL_H

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ktb/sort.h"
#include "table/value.h"

struct SortKey {
    int column = 0;
    bool descending = false;
    KTSortCollateParms* parms = nullptr;
};

class SortedModel {
public:
    // `types` are those that the columns were defined with.
    SortedModel(std::vector<ktbType> types, std::vector<SortKey> keys) : types_(std::move(types)), keys_(std::move(keys)) {}

    Rows sorted(const Rows& rows, bool withoutDuplicates = false) const {
        std::vector<Keyed> keyed;
        for (const Row& row : rows) keyed.push_back({keysOf(row), &row});
        std::stable_sort(keyed.begin(), keyed.end(), [this](const Keyed& a, const Keyed& b) { return compare(a, b) < 0; });
        Rows result;
        const Keyed* before = nullptr;
        for (const Keyed& row : keyed) {
            if (withoutDuplicates && before != nullptr && compare(*before, row) == 0) continue;
            result.push_back(*row.row);
            before = &row;
        }
        return result;
    }

private:
    struct KeyValue {
        KtbDatavar value;  // in its column's type
        std::string text;  // what is compared of a text
    };

    struct Keyed {
        std::vector<KeyValue> keys;
        const Row* row;
    };

    std::vector<KeyValue> keysOf(const Row& row) const {
        std::vector<KeyValue> keys;
        for (const SortKey& key : keys_) {
            const auto column = static_cast<std::size_t>(key.column);
            KtbDatavar value = row[column].variant();
            value.setType(types_[column] == ktbTypeNone ? ktbTypeString : types_[column]);
            keys.push_back({value, value.type() == ktbTypeString ? folded(value, key.parms) : ""});
        }
        return keys;
    }

    int compare(const Keyed& a, const Keyed& b) const {
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            const int order = compareKeys(a.keys[i], b.keys[i]);
            if (order != 0) return keys_[i].descending ? -order : order;
        }
        return 0;
    }

    static int compareKeys(const KeyValue& left, const KeyValue& right) {
        const KtbDatavar& a = left.value;
        const KtbDatavar& b = right.value;
        if (a.isNull() || b.isNull()) return static_cast<int>(b.isNull()) - static_cast<int>(a.isNull());
        switch (a.type()) {
            case ktbTypeBoolean: return static_cast<int>(a.asBool(nullptr)) - static_cast<int>(b.asBool(nullptr));
            case ktbTypeInteger: return threeWay(a.asInt64(nullptr), b.asInt64(nullptr));
            case ktbTypeDecimal: return a.asReal(nullptr).compare(b.asReal(nullptr));
            case ktbTypeString: return left.text.compare(right.text);
            default: return compareNumbers(a.asDouble(nullptr), b.asDouble(nullptr));
        }
    }

    template <class Number>
    static int threeWay(Number a, Number b) {
        return a < b ? -1 : a > b ? 1 : 0;
    }

    static int compareNumbers(double a, double b) {
        const bool oneIsNone = std::isnan(a) || std::isnan(b);
        return oneIsNone ? static_cast<int>(std::isnan(a)) - static_cast<int>(std::isnan(b)) : threeWay(a, b);
    }

    static std::string folded(const KtbDatavar& value, const KTSortCollateParms* parms) {
        std::string text = bytesOf(value.asString());
        if (parms == nullptr || parms->kind != ktSortCollateFold) return text;
        for (char& c : text) {
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
        }
        return text;
    }

    std::vector<ktbType> types_;
    std::vector<SortKey> keys_;
};

#endif
