// Writes the inputs that the fuzzers begin with: the golden files, and small tables that show what those do not have.
//
//     fuzz_seeds DIR      fills DIR/header, DIR/element, DIR/table, DIR/uri and DIR/sort
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "format/images.h"
#include "support/golden.h"

namespace {

using images::Order;

std::filesystem::path target;

void save(const std::string& fuzzer, const std::string& name, const std::string& bytes) {
    std::filesystem::create_directories(target / fuzzer);
    std::ofstream(target / fuzzer / name, std::ios::binary) << bytes;
}

std::string goldenBytes(const std::string& name) {
    std::ifstream in(golden::path(name));
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::string bytes;
    if (!golden::parse(text, &bytes)) std::fprintf(stderr, "%s is not of the form of golden bytes\n", name.c_str());
    return bytes;
}

// A number as the fuzzers take it from their input.
std::string lowestFirst(std::uint64_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 255);
    return text;
}

std::string counted(const std::string& bytes) { return lowestFirst(bytes.size(), 2) + bytes; }

std::string archive(unsigned options, const std::vector<std::string>& files) {
    std::string bytes = images::flag(options);
    for (const std::string& file : files) bytes += counted(file);
    return bytes;
}

void saveGolden() {
    for (const char* order : {"little", "big"}) {
        const std::string end = std::string(".") + order;
        const std::string header = goldenBytes("table-header" + end);
        save("header", "golden" + end, header);
        save("header", "later-version" + end, goldenBytes("later-version" + end));
        std::vector<std::string> files = {header};
        for (const char* part : {"index-0", "data-0", "index-1", "data-1"}) {
            files.push_back(goldenBytes(std::string("table-") + part + end));
        }
        for (const unsigned options : {0U, 50U, 128U})
            save("table", "golden" + end + std::to_string(options), archive(options, files));
    }
}

struct Sample {
    std::vector<images::Column> columns;
    std::vector<std::string> rows;
};

std::vector<Sample> samples(Order order) {
    using namespace images;
    return {
        {{}, {"", "", ""}},
        {{{.name = "n", .code = 3}}, {integer(1, order), null(), integer(-1, order), flag(131)}},
        {{{.name = "t", .code = 5, .longest = 300}}, {text(""), text("a"), text(std::string(200, 'x')), null()}},
        {{{.name = "t", .code = 5, .width = 3, .longest = 9}}, {text("abcdefg"), text("\xe2\x82\xac\xe2\x82\xac")}},
        {{{.name = "b", .code = 1}, {.name = "d", .code = 2}, {.name = "p", .code = 4}},
         {boolean(1) + date(86400, order) + decimal(true, 2, 0, 1250, order), boolean(7) + date(1e300, order) + null()}},
        {{{.name = "a", .code = 3}, {.name = "a", .code = 5, .longest = 4}},
         {integer(7, order) + text("abc"), integer(8, order) + text("de"), null() + null()}},
    };
}

images::Header headerOf(const Sample& sample, bool indexed) {
    images::Header header;
    header.rows = static_cast<std::int64_t>(sample.rows.size());
    header.columns = sample.columns;
    header.label = "label";
    const std::string zeros(20, '0');
    header.elements.push_back({.name = "ktwte_" + zeros, .index = indexed ? "ktwtei_" + zeros : "", .rows = header.rows});
    return header;
}

std::string elementInput(const Sample& sample, Order order, bool indexed) {
    const unsigned options =
        static_cast<unsigned>(sample.columns.size()) | (indexed ? 8U : 0U) | (order == Order::other ? 16U : 0U);
    std::string bytes = images::flag(options) + lowestFirst(sample.rows.size(), 2) + lowestFirst(300, 2);
    for (const images::Column& column : sample.columns) bytes += images::flag(column.code);
    if (indexed) bytes += counted(images::index(sample.rows, order));
    return bytes + images::joined(sample.rows);
}

void saveSamples(Order order, bool indexed) {
    int number = 0;
    for (const Sample& sample : samples(order)) {
        const std::string name =
            std::string(images::orderName(order)) + (indexed ? "-indexed-" : "-plain-") + std::to_string(number++);
        const std::string header = headerOf(sample, indexed).bytes(order);
        const std::string index = indexed ? images::index(sample.rows, order) : "";
        save("header", name, header);
        save("element", name, elementInput(sample, order, indexed));
        save("table", name, archive(20, {header, index, images::joined(sample.rows), "", ""}));
    }
}

// Rows without columns and without an index, of which no byte is anywhere: any number of them could be promised.
void saveEmptyRows() {
    save("element", "rows-of-nothing", images::flag(0) + lowestFirst(65535, 2) + lowestFirst(1UL << 62, 8));
    images::Header header = headerOf({{}, {}}, false);
    header.rows = header.elements[0].rows = std::int64_t{1} << 62;
    save("header", "rows-of-nothing", header.bytes());
    save("table", "rows-of-nothing", archive(0, {header.bytes(), "", "", "", ""}));
}

void saveUris() {
    int number = 0;
    for (const char* text :
         {"ktwt_fuzz", "ktwt:ktwt_fuzz", "ktwt:ktwt_fuzz?rows=1,2", "ktwt:ktwt_fuzz?rows=-1,0&col=a&col=b",
          "KTWT:ktwt_fuzz?col=x=b&col=a&col=a",
          "ktwt:ktwt_fuzz?col=c:integer=12&col=d:5=2000-01-01&col=e:string=%41%20b&col=nobody", "other:ktwt_fuzz?col=a",
          "ktwt:%2e%2e%2fktwt_fuzz", "ktwt:?",
          "ktwt:ktwt_fuzz?rows=9223372036854775807,9223372036854775807&col=a=", "a+b-c.d:%00%ff", "../ktwt_fuzz",
          "ktwt:ktwt_fuzz?col=%C3%A4=b&col=f:decimal=1e30&col=g:boolean=maybe&col=h:double=nan"}) {
        save("uri", "uri-" + std::to_string(number++), text);
    }
}

// Rows of any bytes: the sort's fuzzer makes values of them.
void saveSorts() {
    std::uint64_t state = 88172645463325252UL;
    for (unsigned number = 0; number < 24; ++number) {
        const unsigned columns = number % 5;
        std::string bytes = images::flag(number * 11 & 255) + images::flag(columns);
        for (unsigned i = 0; i <= columns; ++i) bytes += images::flag(number + i);
        const unsigned keys = std::min(4U, 1 + number % (columns + 1));
        bytes += images::flag(keys);
        for (unsigned i = 0; i < keys; ++i) bytes += images::flag(i + (number + i) % 4 * 66);
        for (unsigned i = 0; i < 40 * (number + 1); ++i) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            bytes += static_cast<char>(state >> 32 & 255);
        }
        save("sort", "sort-" + std::to_string(number), bytes);
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    target = arguments[1];
    saveGolden();
    for (const Order order : {Order::ours, Order::other}) {
        for (const bool indexed : {false, true}) saveSamples(order, indexed);
    }
    saveEmptyRows();
    saveUris();
    saveSorts();
    return 0;
}
