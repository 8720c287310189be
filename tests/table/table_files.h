// The files of a closed table, taken apart and put together again without the library: to change what the library cannot be
// asked to write, and to turn a table into the other byte order.
//
// What is known here of the files is written down a second time on purpose: a table that the library reads back from files
// that these lines wrote has been understood by two independent pieces of code.
#ifndef KTWT_TESTS_TABLE_TABLE_FILES_H
#define KTWT_TESTS_TABLE_TABLE_FILES_H

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temp_directory.h"

namespace table_files {

constexpr std::endian otherOrder = std::endian::native == std::endian::little ? std::endian::big : std::endian::little;

template <class Number>
std::string encoded(Number number, std::endian order) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    if (order != std::endian::native) std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// Takes bytes and numbers off the front of a file.
class Taker {
public:
    Taker(std::string bytes, std::endian order) : bytes_(std::move(bytes)), order_(order) {}

    std::string take(std::size_t count) {
        if (count > bytes_.size() - at_) throw std::runtime_error("the file is shorter than it says");
        at_ += count;
        return bytes_.substr(at_ - count, count);
    }

    template <class Number>
    Number number() {
        std::string bytes = take(sizeof(Number));
        if (order_ != std::endian::native) std::reverse(bytes.begin(), bytes.end());
        Number value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }

    bool atEnd() const { return at_ == bytes_.size(); }

private:
    std::string bytes_;
    std::size_t at_ = 0;
    std::endian order_;
};

struct Column {
    std::uint16_t code = 0;
    std::int32_t width = 0;
    std::int32_t longest = 0;
    std::string name;  // with its NUL, as all names here
};

struct Element {
    std::int64_t rows = 0;
    std::string data;
    std::string index;  // empty: no index
};

struct Header {
    std::int16_t version = 100;
    std::string label = std::string(1, '\0');
    std::int64_t elementSize = 0;
    std::int64_t rows = 0;
    std::vector<Column> columns;
    std::vector<Element> elements;
};

inline Header headerFrom(const std::string& bytes, std::endian order = std::endian::native) {
    Taker file(bytes, order);
    Header header;
    if (file.number<std::uint16_t>() != 1) throw std::runtime_error("the header has another byte order");
    header.version = file.number<std::int16_t>();
    if (file.number<std::int16_t>() != 32) throw std::runtime_error("the header's fixed part is not 32 bytes long");
    const auto labelBytes = file.number<std::int16_t>();
    header.columns.resize(file.number<std::uint32_t>());
    header.elements.resize(file.number<std::uint32_t>());
    header.elementSize = file.number<std::int64_t>();
    header.rows = file.number<std::int64_t>();
    header.label = file.take(static_cast<std::size_t>(labelBytes));
    for (Column& column : header.columns) {
        if (file.number<std::int16_t>() != 16) throw std::runtime_error("a column record is not 16 bytes long");
        column.code = file.number<std::uint16_t>();
        const auto nameBytes = file.number<std::uint32_t>();
        column.width = file.number<std::int32_t>();
        column.longest = file.number<std::int32_t>();
        column.name = file.take(nameBytes);
    }
    for (Element& element : header.elements) {
        if (file.number<std::uint32_t>() != 16) throw std::runtime_error("an element record is not 16 bytes long");
        const auto dataBytes = file.number<std::uint16_t>();
        const auto indexBytes = file.number<std::uint16_t>();
        element.rows = file.number<std::int64_t>();
        element.data = file.take(dataBytes);
        element.index = file.take(indexBytes);
    }
    if (!file.atEnd()) throw std::runtime_error("the header goes on after its last record");
    return header;
}

inline std::string bytesFrom(const Header& header, std::endian order = std::endian::native) {
    const auto n16 = [order](std::size_t number) { return encoded(static_cast<std::uint16_t>(number), order); };
    const auto n32 = [order](std::size_t number) { return encoded(static_cast<std::uint32_t>(number), order); };
    std::string bytes = n16(1) + encoded(header.version, order) + n16(32) + n16(header.label.size());
    bytes += n32(header.columns.size()) + n32(header.elements.size());
    bytes += encoded(header.elementSize, order) + encoded(header.rows, order) + header.label;
    for (const Column& column : header.columns) {
        bytes += n16(16) + n16(column.code) + n32(column.name.size());
        bytes += encoded(column.width, order) + encoded(column.longest, order) + column.name;
    }
    for (const Element& element : header.elements) {
        bytes += n32(16) + n16(element.data.size()) + n16(element.index.size()) + encoded(element.rows, order);
        bytes += element.data + element.index;
    }
    return bytes;
}

// Reverses each of the numbers of `width` bytes that follow each other in `bytes`.
inline std::string reversedNumbers(std::string bytes, std::size_t width) {
    for (auto at = bytes.begin(); at != bytes.end(); at += static_cast<std::ptrdiff_t>(width)) {
        std::reverse(at, at + static_cast<std::ptrdiff_t>(width));
    }
    return bytes;
}

// The columns of all rows, one after the other, each with a flag byte that tells what follows it.
inline std::string reversedData(const std::string& bytes) {
    Taker file(bytes, std::endian::native);
    std::string result;
    while (!file.atEnd()) {
        const std::string flag = file.take(1);
        result += flag;
        switch (static_cast<unsigned char>(flag[0])) {
            case 1: result += file.take(1); break;
            case 2:
            case 3: result += reversedNumbers(file.take(8), 8); break;
            case 4: result += reversedNumbers(file.take(24), 8); break;
            case 5: {
                std::string size = file.take(1);
                auto length = static_cast<std::size_t>(static_cast<unsigned char>(size[0]));
                if (length >= 128) {
                    size += file.take(3);
                    length -= 128;
                    for (std::size_t i = 1; i < 4; ++i) length = length * 256 + static_cast<unsigned char>(size[i]);
                }
                result += size + file.take(length);
                break;
            }
            default: break;  // nothing follows
        }
    }
    return result;
}

// The work directory that holds a file of that name.
inline std::string find(const std::vector<std::string>& directories, const std::string& name) {
    for (const std::string& directory : directories) {
        std::string path = directory + "/" + name;
        if (std::filesystem::exists(path)) return path;
    }
    throw std::runtime_error("no directory holds " + name);
}

// Replaces a file by a new one. One that is emptied and written again is brought to disk by some file systems when it is
// closed, which takes longer than everything else here.
inline void replaceFile(const std::string& path, const std::string& bytes) {
    std::filesystem::remove(path);
    writeFile(path, bytes);
}

// A name in a header without its NUL.
inline std::string plain(const std::string& name) { return name.substr(0, name.size() - 1); }

// Turns all files of a table of byte order `from` into the order that is not that one.
inline void reverseByteOrder(const std::vector<std::string>& directories, const std::string& name, std::endian from) {
    const std::endian to = from == std::endian::native ? otherOrder : std::endian::native;
    const std::string headerPath = find(directories, name);
    const Header header = headerFrom(readFile(headerPath), from);
    replaceFile(headerPath, bytesFrom(header, to));
    for (const Element& element : header.elements) {
        const std::string dataPath = find(directories, plain(element.data));
        replaceFile(dataPath, reversedData(readFile(dataPath)));
        if (element.index.empty()) continue;
        const std::string indexPath = find(directories, plain(element.index));
        replaceFile(indexPath, reversedNumbers(readFile(indexPath), 8));
    }
}

}  // namespace table_files

#endif
