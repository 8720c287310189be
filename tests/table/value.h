// Values, rows and column descriptions as tests write them down and compare them.
#ifndef KTWT_TESTS_TABLE_VALUE_H
#define KTWT_TESTS_TABLE_VALUE_H

#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "ktb/datavar.h"

inline std::string bytesOf(const KtbString& text) { return {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)}; }

inline KtbString ktb(const std::string& text) { return KtbString(text.c_str()); }

// A variant that is equal to another only when type, null state and every bit of the value agree.
class Value {
public:
    Value(std::nullptr_t) {}
    Value(bool value) { value_.assign(value); }
    Value(int value) { value_.assign(value); }
    Value(long value) { value_.assign(value); }
    Value(double value) { value_.assign(value); }
    Value(const char* text) { value_.assign(text); }
    Value(const std::string& text) { value_.assign(text.c_str()); }
    Value(const KtbDatavar& value) : value_(value) {}

    const KtbDatavar& variant() const { return value_; }
    KtbDatavar& variant() { return value_; }

    friend bool operator==(const Value& left, const Value& right) { return left.equals(right.value_); }

    bool equals(const KtbDatavar& other) const {
        if (value_.type() != other.type() || value_.isNull() != other.isNull()) return false;
        return value_.isNull() || sameContents(other);
    }

    friend void PrintTo(const Value& value, std::ostream* out) {
        *out << ktbTypeToString(value.value_.type()) << ' ';
        if (value.value_.isNull()) {
            *out << "null";
        } else {
            *out << '"' << bytesOf(value.value_.asString()) << '"';
        }
    }

private:
    bool sameContents(const KtbDatavar& other) const {
        switch (value_.type()) {
            case ktbTypeBoolean: return value_.asBool(nullptr) == other.asBool(nullptr);
            case ktbTypeInteger: return value_.asInt64(nullptr) == other.asInt64(nullptr);
            case ktbTypeDecimal: return sameDecimal(value_.asReal(nullptr), other.asReal(nullptr));
            case ktbTypeString: {
                KtbString none;
                return value_.asString(&none).compare(other.asString(&none), true) == 0;
            }
            default: {
                const double numbers[] = {value_.asDouble(nullptr), other.asDouble(nullptr)};
                return std::memcmp(&numbers[0], &numbers[1], sizeof(double)) == 0;
            }
        }
    }

    // Zeros at the end included, which KtbReal::compare passes over.
    static bool sameDecimal(const KtbReal& a, const KtbReal& b) { return a.scale() == b.scale() && a.compare(b) == 0; }

    KtbDatavar value_;
};

inline Value nullOf(ktbType type) {
    KtbDatavar value;
    value.setType(type);
    return value;
}

inline Value decimal(const char* text) {
    KtbReal number;
    number.assign(text);
    KtbDatavar value;
    value.assign(number);
    return value;
}

inline Value date(double seconds) {
    KtbDatavar value;
    value.assign(KtbDate(seconds));
    return value;
}

inline Value date(const char* text) {
    KtbDate moment;
    moment.assign(text);
    KtbDatavar value;
    value.assign(moment);
    return value;
}

using Row = std::vector<Value>;
using Rows = std::vector<Row>;

// What getColumnInfo tells of one column.
struct ColumnInfo {
    std::string name;
    ktbType type = ktbTypeString;
    int width = 0;
    int longest = 0;

    bool operator==(const ColumnInfo&) const = default;
    friend void PrintTo(const ColumnInfo& info, std::ostream* out) {
        *out << '"' << info.name << "\" " << ktbTypeToString(info.type) << " width " << info.width << " longest "
             << info.longest;
    }
};

#endif
