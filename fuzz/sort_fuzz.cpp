// Rows and a description of their order: sorted by encoded keys within a budget that does not hold them, and by comparing
// column by column with room for all. Both give the same rows, or the same refusal.
//
//     | options | columns | type of each | keys | column and kind of each | rows |
#include <algorithm>

#include "fuzz.h"
#include "sort/row_sort.h"
#include "support/released.h"

using namespace fuzzing;

namespace {

using Sort = std::unique_ptr<KtDatafileRowSort, Release>;
using Row = std::vector<KtbDatavar>;

struct Key {
    int column;
    bool descending;
    KTSortCollateParms parms;
};

struct Description {
    explicit Description(Input& input) : options(input.byte()), columns(input.below(5) + 1), keys(input.below(5)) {
        for (ktbType& type : columns) type = static_cast<ktbType>(input.below(6) + 1);
        for (Key& key : keys) {
            const unsigned kind = input.byte();
            key = {static_cast<int>(kind % 6),
                   (kind & 64) != 0,
                   {(kind & 128) != 0 ? ktSortCollateFold : ktSortCollateBytes, nullptr}};
        }
    }

    unsigned options;
    std::vector<ktbType> columns;
    std::vector<Key> keys;
};

KtbDatavar decimalFrom(Input& input) {
    const unsigned long words[3] = {input.number(1) | input.number(1) << 63, input.number(2), input.number(8)};
    KtbReal real;
    real.assignFD(words);
    KtbDatavar value;
    value.assign(real);
    return value;
}

KtbDatavar doubleFrom(Input& input, ktbType type) {
    const std::uint64_t bits = input.number(8);
    KtbDatavar value;
    value.assign(ktbTypeDouble, &bits, sizeof bits, false);
    value.setType(type);
    return value;
}

KtbDatavar valueOfType(Input& input, ktbType type) {
    KtbDatavar value;
    switch (type) {
        case ktbTypeBoolean: value.assign(input.flag()); return value;
        case ktbTypeInteger: value.assign(static_cast<long>(input.number(8))); return value;
        case ktbTypeDecimal: return decimalFrom(input);
        case ktbTypeDate:
        case ktbTypeDouble: return doubleFrom(input, type);
        default: value.assign(textOf(input.bytes(input.byte()))); return value;
    }
}

// Mostly of the column's type, or small, so that equal ones occur; sometimes of another type or a null.
KtbDatavar valueFrom(Input& input, ktbType type) {
    const unsigned kind = input.byte();
    KtbDatavar value;
    switch (kind & 7) {
        case 0: return value;
        case 1: value.setType(type); return value;
        case 2: return valueOfType(input, static_cast<ktbType>(kind / 8 % 6 + 1));
        case 3: value.assign(textOf(std::string(kind, 'k'))); return value;
        case 4:
        case 5:
            value.assign(static_cast<long>(kind / 8));
            value.setType(type);
            return value;
        default: return valueOfType(input, type);
    }
}

std::vector<Row> rowsFrom(Input& input, const Description& description) {
    constexpr std::size_t rowsMax = 1000;
    std::vector<Row> rows;
    while (input.left() != 0 && rows.size() < rowsMax) {
        Row row;
        for (const ktbType type : description.columns) row.push_back(valueFrom(input, type));
        rows.push_back(std::move(row));
    }
    return rows;
}

RowSortSetup setupOf(const Description& description, bool reference) {
    constexpr std::size_t plenty = std::size_t{8} << 20;
    constexpr std::size_t little = 160;
    RowSortSetup setup;
    setup.settings.noDups = (description.options & 1) != 0;
    setup.settings.markByGroups = (description.options & 2) != 0;
    setup.settings.stable = (description.options & 4) != 0;
    setup.settings.noCodeGen = reference;
    setup.threads = reference ? 1 : 1 + static_cast<int>(description.options >> 3 & 1);
    setup.setBudget(reference ? plenty : little << (description.options >> 4), 4096);
    // Below these a block holds no row, and a chunk nothing but what is kept of it.
    setup.blockBytes = std::max<std::size_t>(setup.blockBytes, 32);
    setup.chunkBytes = std::max<std::size_t>(setup.chunkBytes, 24);
    return setup;
}

// What came out: per row its values and whether it begins a group, or the reason of a refusal.
struct Result {
    std::string refusal;
    std::vector<std::string> rows;
    long duplicates = 0;
};

bool describe(KtDatafileRowSort& sort, Description& description) {
    if (sort.setSortKeys(static_cast<int>(description.keys.size())) != 0) return false;
    for (std::size_t i = 0; i < description.keys.size(); ++i) {
        Key& key = description.keys[i];
        if (sort.setSort(static_cast<int>(i), key.column, key.descending, &key.parms) != 0) return false;
    }
    return true;
}

int add(KtDatafileRowSort& sort, const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            KtbDatavar* slot = sort.columnSlot(static_cast<int>(i));
            require(slot != nullptr, "a column has its slot");
            *slot = row[i];
        }
        if (const int status = sort.addRow()) return status;
    }
    return sort.finish();
}

std::string currentRow(KtDatafileRowSort& sort, std::size_t columns) {
    std::string text = sort.startsGroup() ? "first of a group\n" : "";
    for (std::size_t i = 0; i < columns; ++i) text += seen(*sort.columnValue(static_cast<int>(i))) + "\n";
    return text;
}

Result sorted(Description& description, const std::vector<Row>& rows, bool reference) {
    auto* const made = new RowSort(setupOf(description, reference));
    const Sort sort(made);
    require(
        made->prepare(static_cast<int>(description.columns.size()), description.columns.data(), Place::get().path().c_str()),
        "a sort can be made");
    Result result;
    KtDatafileSortInfo info{};
    sort->setSortInfo(&info);
    if (!describe(*sort, description)) {
        result.refusal = sort->getError().asCstr();
        require(!result.refusal.empty(), "a description that is refused has its reason");
        return result;
    }
    int status = add(*sort, rows);
    if (status == ktSortRow) status = sort->firstRow();
    for (; status == ktSortRow; status = sort->nextRow()) result.rows.push_back(currentRow(*sort, description.columns.size()));
    require(status == ktSortEnd, "rows can be sorted");
    require(info.rowsIn == static_cast<long>(rows.size()), "every row is counted");
    require(info.rowsOut + info.duplicates == info.rowsIn, "every row comes back or was a duplicate");
    result.duplicates = info.duplicates;
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Place::get();
    const Watch watch;
    Input input(data, size);
    Description description(input);
    const std::vector<Row> rows = rowsFrom(input, description);
    const Result fast = sorted(description, rows, false);
    const Result simple = sorted(description, rows, true);
    require(fast.refusal == simple.refusal, "both ways of comparing refuse alike");
    require(fast.rows == simple.rows && fast.duplicates == simple.duplicates, "both ways of comparing give the same order");
    return 0;
}
