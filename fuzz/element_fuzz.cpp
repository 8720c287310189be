// A header that is as it should be, and a data element of any bytes:
//
//     | options | rows, 2 bytes, or 10 when the first two are 65,535 | longest text, 2 | columns | index file, length and bytes
//     | data file |
//
// Options: bits 0 to 2 the number of columns, bit 3 an index file, bit 4 the other byte order. A byte per column is its storage
// code; one of none of the five is a column that nobody ever defined.
#include "format/images.h"
#include "table_reading.h"

using namespace fuzzing;

namespace {

constexpr char headerName[] = "ktwt_fuzz";

struct Image {
    std::string header;
    std::string index;
    std::string data;
};

long rowsFrom(Input& input) {
    const std::uint64_t rows = input.number(2);
    return static_cast<long>(rows != 65535 ? rows : input.number(8));
}

Image imageFrom(Input& input) {
    const unsigned options = input.byte();
    images::Header header;
    header.rows = rowsFrom(input);
    const auto longest = static_cast<std::int32_t>(input.number(2));
    for (unsigned i = 0; i < (options & 7); ++i) {
        const auto code = static_cast<std::uint16_t>(input.below(7));
        header.columns.push_back({.name = "c" + std::to_string(i), .code = code, .longest = longest});
    }
    Image image;
    const bool indexed = (options & 8) != 0;
    if (indexed) image.index = input.text();
    header.elements.push_back({.name = dataName(0), .index = indexed ? indexName(0) : "", .rows = header.rows});
    image.header = header.bytes((options & 16) != 0 ? images::Order::other : images::Order::ours);
    image.data = input.bytes(input.left());
    return image;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    manager();
    const Watch watch;
    Input input(data, size);
    const Image image = imageFrom(input);
    Place::get().put(headerName, image.header);
    Place::get().put(indexName(0), image.index);
    Place::get().put(dataName(0), image.data);
    Input choices(data, size);
    readInEveryWay(headerName, static_cast<long>(image.data.size() + image.index.size()), choices);
    return 0;
}
