#include "sort_peers.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "child_process.h"
#include "rows.h"

namespace bench {

namespace {

constexpr char nullText[] = "\\N";

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

void printRow(std::FILE* file, const SortRow& row) {
    const std::string_view remark = row.remarkIsNull() ? nullText : row.remark;
    std::fprintf(file, "%ld\t%ld\t%d\t%ld.%02ld\t%.0f\t%.*s\t%.*s\t%.*s\n", row.id, row.quantity, row.active ? 1 : 0,
                 row.cents / 100, row.cents % 100, row.moment, static_cast<int>(row.name.size()), row.name.data(),
                 static_cast<int>(row.code.size()), row.code.data(), static_cast<int>(remark.size()), remark.data());
}

// Cuts a line at its tabs; false unless there are as many values as columns.
bool cut(std::string_view line, std::array<std::string_view, columns>* values) {
    for (std::size_t c = 0; c < columns; ++c) {
        const std::size_t tab = line.find('\t');
        if ((tab == std::string_view::npos) != (c + 1 == columns)) return false;
        (*values)[c] = line.substr(0, tab);
        if (tab != std::string_view::npos) line.remove_prefix(tab + 1);
    }
    return true;
}

// The numbers of a line end at a tab, where strtol stops.
long numberIn(std::string_view text) { return std::strtol(text.data(), nullptr, 10); }

SortRow rowOf(const std::array<std::string_view, columns>& values) {
    const std::string_view fraction = values[3].substr(values[3].find('.') + 1);
    SortRow row = {};
    row.id = numberIn(values[0]);
    row.quantity = numberIn(values[1]);
    row.active = numberIn(values[2]) != 0;
    row.cents = numberIn(values[3]) * 100 + numberIn(fraction);
    row.moment = static_cast<double>(numberIn(values[4]));
    row.name = values[5];
    row.code = values[6];
    if (values[7] != nullText) row.remark = values[7];
    return row;
}

DecodedRow decoded(const SortRow& row) {
    return {row.id,
            row.quantity,
            row.active,
            row.remarkIsNull(),
            priceOf(row.cents),
            row.moment,
            std::string(row.name),
            std::string(row.code),
            std::string(row.remark)};
}

SortRow plain(const DecodedRow& row) {
    const std::string_view remark = row.remarkIsNull ? std::string_view() : row.remark;
    return {row.id, row.quantity, row.active, centsOf(row.price), row.moment, row.name, row.code, remark};
}

}  // namespace

bool writeAsText(const std::string& path, long count) {
    const File file(std::fopen(path.c_str(), "w"));
    if (!file) return false;
    SortRows rows(count);
    for (long n = 0; n < count; ++n) printRow(file.get(), rows.next());
    return std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
}

bool checkText(const std::string& path, SortCheck* check) {
    std::ifstream file(path);
    std::array<std::string_view, columns> values;
    for (std::string line; std::getline(file, line);) {
        if (!cut(line, &values)) return false;
        check->take(rowOf(values));
    }
    return file.eof();
}

bool sortText(const std::string& from, const std::string& to, const std::string& directory) {
    // Bytes in the order of their numbers, and lines with equal keys left alone: the order of the other contenders, and the
    // fastest that this one has.
    return runProgram({"sort", "--parallel=" + std::to_string(sortThreads), "-S", std::to_string(sortMemory) + "b", "-T",
                       directory, "-s", "-t", "\t", "-k6,6", "-k2,2nr", "-o", to, from},
                      {"LC_ALL=C"}, "");
}

void sortInMemory(long count, std::vector<DecodedRow>* rows, SortCheck* check) {
    rows->reserve(static_cast<std::size_t>(count));
    SortRows source(count);
    for (long n = 0; n < count; ++n) rows->push_back(decoded(source.next()));
    std::stable_sort(rows->begin(), rows->end(), [](const DecodedRow& a, const DecodedRow& b) {
        const int names = a.name.compare(b.name);
        return names != 0 ? names < 0 : a.quantity > b.quantity;
    });
    for (const DecodedRow& row : *rows) check->take(plain(row));
}

KtbReal priceOf(long cents) {
    constexpr unsigned long twoPlaces = 2;
    KtbReal price;
    price.assignFD({twoPlaces, 0, static_cast<unsigned long>(cents)});
    return price;
}

long centsOf(const KtbReal& price) {
    unsigned long words[3];
    price.asFD(&words);
    return static_cast<long>(words[2]);
}

}  // namespace bench
