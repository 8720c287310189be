// What the bytes of a file mean, field by field.
#ifndef TESTS_FORMAT_DISSECTOR_H
#define TESTS_FORMAT_DISSECTOR_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "images.h"
#include "support/golden.h"

namespace images {

// Takes a file apart, for the notes of golden files.
class Dissector {
public:
    Dissector(const std::string& bytes, Order order) : bytes_(bytes), order_(order) {}

    std::vector<golden::Field> header();
    std::vector<golden::Field> data(const std::vector<std::string>& columns);
    std::vector<golden::Field> index();

private:
    template <class Number>
    Number take(const std::string& note) {
        const auto value = numberAt<Number>(bytes_, offset_, order_);
        add(sizeof(Number), true, note);
        return value;
    }
    void add(std::size_t size, bool isNumber, const std::string& note) {
        if (size != 0) fields_.push_back({size, isNumber, note});
        offset_ += size;
    }
    std::string shown(std::size_t size) const {
        std::string text = bytes_.substr(offset_, std::min<std::size_t>(size, 40));
        return "\"" + text.substr(0, text.find('\0')) + (size > 40 ? "...\"" : "\"");
    }
    template <class Length>
    void name(Length length, const std::string& what) {
        add(static_cast<std::size_t>(length), false, what + " " + shown(static_cast<std::size_t>(length)));
    }
    void takeExtra(std::int64_t length, std::int64_t known) {
        add(static_cast<std::size_t>(length - known), false, "what a later version has more");
    }
    void column(int number);
    void element(int number);
    void value(const std::string& column);
    void text();

    const std::string& bytes_;
    const Order order_;
    std::size_t offset_ = 0;
    std::vector<golden::Field> fields_;
};

inline std::vector<golden::Field> Dissector::header() {
    take<std::uint16_t>("byte order mark");
    const auto version = numberAt<std::int16_t>(bytes_, offset_, order_);
    take<std::int16_t>("version " + std::to_string(version));
    const auto length = take<std::int16_t>("length of the fixed part");
    const auto labelBytes = take<std::int16_t>("length of the label with its NUL");
    const auto columns = take<std::int32_t>("number of columns");
    const auto elements = take<std::int32_t>("number of data elements");
    take<std::int64_t>("element size limit");
    take<std::int64_t>("number of rows");
    takeExtra(length, 32);
    name(labelBytes, "label");
    for (int i = 0; i < columns; ++i) column(i);
    for (int i = 0; i < elements; ++i) element(i);
    return fields_;
}

inline void Dissector::column(int number) {
    const auto length = take<std::int16_t>("column " + std::to_string(number) + ": length of the record's fixed part");
    take<std::uint16_t>("storage code");
    const auto nameBytes = take<std::int32_t>("length of the name with its NUL");
    take<std::int32_t>("declared width");
    take<std::int32_t>("longest stored string with its NUL");
    takeExtra(length, 16);
    name(nameBytes, "name");
}

inline void Dissector::element(int number) {
    const auto length = take<std::uint32_t>("data element " + std::to_string(number) + ": length of the record's fixed part");
    const auto nameBytes = take<std::int16_t>("length of the data file's name with its NUL");
    const auto indexBytes = take<std::int16_t>("length of the index file's name with its NUL, 0 without an index");
    take<std::int64_t>("number of rows");
    takeExtra(length, 16);
    name(nameBytes, "data file");
    name(indexBytes, "index file");
}

inline std::vector<golden::Field> Dissector::index() {
    for (int row = 0; offset_ < bytes_.size(); ++row) take<std::int64_t>("offset of row " + std::to_string(row));
    return fields_;
}

inline std::vector<golden::Field> Dissector::data(const std::vector<std::string>& columns) {
    for (int row = 0; offset_ < bytes_.size(); ++row) {
        for (const std::string& name : columns) value("row " + std::to_string(row) + ", " + name + ": ");
    }
    return fields_;
}

inline void Dissector::value(const std::string& column) {
    static const char* const kinds[] = {"code 0", "boolean", "date", "integer", "decimal", "string"};
    const auto flagByte = static_cast<unsigned char>(bytes_.at(offset_));
    if (flagByte == 128) return add(1, false, column + "null");
    if ((flagByte & 128) != 0) return add(1, false, column + "no " + kinds[flagByte & 7]);
    add(1, false, column + kinds[flagByte]);
    if (flagByte == 1) return add(1, false, bytes_.at(offset_) != 0 ? "true" : "false");
    if (flagByte == 2) return take<double>("seconds since 1970"), void();
    if (flagByte == 3) return take<std::int64_t>(std::to_string(numberAt<std::int64_t>(bytes_, offset_, order_))), void();
    if (flagByte == 5) return text();
    take<std::uint64_t>("sign and scale");
    take<std::uint64_t>("coefficient, high");
    take<std::uint64_t>("coefficient, low");
}

inline void Dissector::text() {
    std::size_t length = static_cast<unsigned char>(bytes_.at(offset_));
    if ((length & 128) == 0) {
        add(1, false, "length with the NUL, " + std::to_string(length));
    } else {
        length = 0;
        for (std::size_t i = 0; i < 4; ++i) length = length << 8 | static_cast<unsigned char>(bytes_.at(offset_ + i));
        length &= 0x7fffffff;
        add(4, false, "length with the NUL, " + std::to_string(length) + ", big-endian everywhere");
    }
    name(length, "text");
}

}  // namespace images

#endif
