// The form of a row in memory and in run files.
//
//     offset 0   4 bytes   size of the whole record
//            4   4 bytes   2 * k, plus 1 when the encoded keys were cut
//            8   k bytes   the encoded keys, or as much of their beginning as there is room for (row_key.h)
//            8+k           the values: those of the keys in the order of the keys, then the others (row_value.h)
//
// Records are written and read by one process on one machine, so numbers are in its byte order and nothing is aligned. Keys
// come first since a merge looks at little else.
#ifndef KTB_IMPL_SORT_ROW_RECORD_H
#define KTB_IMPL_SORT_ROW_RECORD_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

struct RowRecord {
    static constexpr std::size_t headBytes = 8;
    static constexpr std::size_t bytesMax = 0xffffffffUL;

    // As much of the encoded keys as a record holds. Two keys are mostly told apart by fewer bytes, and copying long texts
    // twice would cost more than looking at the values when they are not.
    static constexpr std::size_t keyBytesMax = 64;

    static std::uint32_t word(const unsigned char* at) {
        std::uint32_t value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }

    static std::size_t bytes(const unsigned char* record) { return word(record); }
    static std::size_t keyBytes(const unsigned char* record) { return word(record + 4) >> 1; }
    static bool keyIsCut(const unsigned char* record) { return (word(record + 4) & 1) != 0; }
    static const unsigned char* key(const unsigned char* record) { return record + headBytes; }
    static const unsigned char* values(const unsigned char* record) { return record + headBytes + keyBytes(record); }

    static void setHead(unsigned char* record, std::size_t bytes, std::size_t keyBytes, bool keyIsCut) {
        const std::uint32_t head[2] = {static_cast<std::uint32_t>(bytes),
                                       static_cast<std::uint32_t>(keyBytes << 1) | (keyIsCut ? 1u : 0u)};
        std::memcpy(record, head, sizeof head);
    }

    // The first eight bytes of the encoded keys as a number that orders as they do. Shorter keys count as followed by zeros:
    // one key is never the beginning of another, so that this makes no two of them equal that are not.
    static std::uint64_t prefix(const unsigned char* record) {
        std::uint64_t value = 0;
        const std::size_t size = keyBytes(record);
        std::memcpy(&value, key(record), size < sizeof value ? size : sizeof value);
        return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
    }
};

#endif
