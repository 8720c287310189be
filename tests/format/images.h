// Files as the tests make them, byte by byte and in either byte order. Knows the formats on its own, so that the library is not
// compared with itself.
#ifndef TESTS_FORMAT_IMAGES_H
#define TESTS_FORMAT_IMAGES_H

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace images {

// A byte order relative to this machine's.
enum class Order { ours, other };

inline const char* orderName(Order order) {
    const bool little = (std::endian::native == std::endian::little) == (order == Order::ours);
    return little ? "little" : "big";
}

template <class Number>
std::string number(Number value, Order order) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    if (order == Order::other) std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

template <class Number>
Number numberAt(const std::string& bytes, std::size_t offset, Order order) {
    std::string part = bytes.substr(offset, sizeof(Number));
    if (order == Order::other) std::reverse(part.begin(), part.end());
    Number value{};
    std::memcpy(&value, part.data(), part.size());
    return value;
}

inline std::string withNul(const std::string& text) { return text + std::string(1, '\0'); }

inline std::int32_t sizeOf(const std::string& text) { return static_cast<std::int32_t>(text.size() + 1); }

// What a longer fixed part of a later version would hold here.
inline std::string extra(std::int64_t length, std::int64_t known) {
    return std::string(static_cast<std::size_t>(std::max<std::int64_t>(length - known, 0)), '\xee');
}

struct Column {
    std::string name;
    std::uint16_t code = 5;
    std::int32_t width = 0;
    std::int32_t longest = 0;
    std::int16_t recordLength = 16;
    std::int32_t nameLength = -1;  // as stored; -1: the true one

    std::string bytes(Order order) const {
        const std::int32_t length = nameLength != -1 ? nameLength : sizeOf(name);
        return number(recordLength, order) + number(code, order) + number(length, order) + number(width, order) +
               number(longest, order) + extra(recordLength, 16) + withNul(name);
    }
};

struct Element {
    std::string name;
    std::string index;  // empty: the element has no index
    std::int64_t rows = 0;
    std::uint32_t recordLength = 16;

    std::string bytes(Order order) const {
        const auto indexLength = static_cast<std::int16_t>(index.empty() ? 0 : sizeOf(index));
        return number(recordLength, order) + number(static_cast<std::int16_t>(sizeOf(name)), order) +
               number(indexLength, order) + number(rows, order) + extra(recordLength, 16) + withNul(name) +
               (index.empty() ? "" : withNul(index));
    }
};

struct Header {
    std::int16_t version = 100;
    std::int16_t fixedLength = 32;
    std::string label;
    std::int32_t labelLength = -1;  // as stored; -1: the true one
    std::int64_t elementSize = 0;
    std::int64_t rows = 0;
    std::vector<Column> columns;
    std::vector<Element> elements;
    std::int32_t columnCount = -1;   // as stored; -1: the true one
    std::int32_t elementCount = -1;  // likewise

    std::string bytes(Order order = Order::ours) const {
        const std::int32_t labelBytes = labelLength != -1 ? labelLength : sizeOf(label);
        const auto columnTotal = static_cast<std::int32_t>(columns.size());
        const auto elementTotal = static_cast<std::int32_t>(elements.size());
        std::string result = number(std::uint16_t{1}, order) + number(version, order) + number(fixedLength, order) +
                             number(static_cast<std::int16_t>(labelBytes), order) +
                             number(columnCount != -1 ? columnCount : columnTotal, order) +
                             number(elementCount != -1 ? elementCount : elementTotal, order) + number(elementSize, order) +
                             number(rows, order) + extra(fixedLength, 32) + withNul(label);
        for (const Column& column : columns) result += column.bytes(order);
        for (const Element& element : elements) result += element.bytes(order);
        return result;
    }
};

// Values as they stand in a data file.

inline std::string flag(unsigned value) { return std::string(1, static_cast<char>(value)); }
inline std::string null() { return flag(128); }
inline std::string boolean(unsigned char value) { return flag(1) + flag(value); }
inline std::string date(double seconds, Order order = Order::ours) { return flag(2) + number(seconds, order); }
inline std::string integer(std::int64_t value, Order order = Order::ours) { return flag(3) + number(value, order); }
inline std::string decimal(bool negative, unsigned scale, std::uint64_t high, std::uint64_t low, Order order = Order::ours) {
    const std::uint64_t first = (negative ? std::uint64_t{1} << 63 : 0) | scale;
    return flag(4) + number(first, order) + number(high, order) + number(low, order);
}

inline std::string textLength(std::size_t length) {
    if (length <= 127) return flag(static_cast<unsigned>(length));
    std::string bytes = flag(static_cast<unsigned>(0x80 | (length >> 24)));
    for (int shift = 16; shift >= 0; shift -= 8) bytes += flag((length >> shift) & 255);
    return bytes;
}
inline std::string text(const std::string& value) { return flag(5) + textLength(value.size() + 1) + withNul(value); }

// The index file for rows of these bytes.
inline std::string index(const std::vector<std::string>& rows, Order order = Order::ours) {
    std::string bytes;
    std::int64_t offset = 0;
    for (const std::string& row : rows) {
        bytes += number(offset, order);
        offset += static_cast<std::int64_t>(row.size());
    }
    return bytes;
}

inline std::string joined(const std::vector<std::string>& rows) {
    std::string bytes;
    for (const std::string& row : rows) bytes += row;
    return bytes;
}

}  // namespace images

#endif
