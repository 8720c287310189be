// The input is a header file. The data elements that it tells of may be those of the golden table, which are there.
#include "format/images.h"
#include "ktwt/sweep.h"
#include "table_reading.h"

using namespace fuzzing;

namespace {

constexpr char headerName[] = "ktwt_aaaaaaaaaaaaaaaaaaaa";

// Two data elements that headers can name: a few rows of a string and a number. Returns their size.
std::size_t placeElements() {
    std::size_t size = 0;
    for (int i = 0; i < 2; ++i) {
        std::vector<std::string> rows;
        for (int row = 0; row < 5; ++row)
            rows.push_back(images::text(std::string(static_cast<std::size_t>(row), 'x')) + images::integer(row));
        const std::string data = images::joined(rows);
        const std::string index = images::index(rows);
        Place::get().put(dataName(i), data);
        Place::get().put(indexName(i), index);
        size += data.size() + index.size();
    }
    return size;
}

// Whoever looks for orphans reads all headers of a directory: those whose name could be the library's own.
void sweep() {
    KtWorkTableSweep counts{};
    KtbString error;
    const bool swept = ktwtSweepOrphans(Place::get().path().c_str(), false, nullptr, &counts, &error);
    require(swept || error.length() != 0, "a sweep that fails has its reason");
    require(counts.removed == 0, "a sweep that only looks removes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    manager();
    static const std::size_t otherBytes = placeElements();  // nothing below writes to them
    const Watch watch;
    Place::get().put(headerName, std::string(reinterpret_cast<const char*>(data), size));
    Input choices(data, size);
    readInEveryWay(headerName, rowsJustified(size, otherBytes), choices);
    sweep();
    return 0;
}
