// What whole-table services cost: a copy beside a full read followed by a full write, and appending a hundred rows to a large
// table beside appending them to a small one, which must not differ.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "rows.h"

namespace bench {

namespace {

constexpr long hundredRows = 100;

KtWorkTableManager& manager() {
    static const Manager instance = newManager("transfer");
    return *instance;
}

// The name of a new table of so many rows; empty when it could not be written.
KtbString writeTable(long count) {
    KtbString error;
    const Table table(manager().create(columns, 0, &error));
    if (!table) return {};
    for (int c = 0; c < columns; ++c) table->defineColumnInfo(c, sketch[c].name, sketch[c].type, 0);
    for (long n = 0; n < count; ++n) {
        if (!table->writeRow(rows().row(n))) return {};
    }
    return table->close() ? table->getName() : KtbString();
}

bool removeTable(const KtbString& name) {
    KtbString error;
    return name.length() != 0 && manager().remove(name, &error);
}

// Reads to the end, and compares every row with what was written if asked to; -1 when one differs or cannot be read.
long countRows(const KtbString& name, bool compare = false) {
    KtbString error;
    const Table table(manager().open(name, false, &error));
    if (!table) return -1;
    KtbDatavar values[columns];
    bool end = false;
    long count = 0;
    for (; table->readRow(values, &end); ++count) {
        if (compare && !Rows::same(values, rows().row(count))) return -1;
    }
    return end ? count : -1;
}

const KtbString& source() {
    static const KtbString name = writeTable(rowCount());
    return name;
}

// The new table's name; empty when it could not be made.
KtbString copySource() {
    KtbString error;
    const Table copy(manager().copy(0L, &manager(), source(), &error));
    return copy && copy->close() ? copy->getName() : KtbString();
}

void copyTable(benchmark::State& state) {
    source();
    const KtbString checked = copySource();
    if (countRows(checked, true) != rowCount() || !removeTable(checked)) state.SkipWithError("the copy is not what was copied");
    for (auto _ : state) {
        const KtbString name = copySource();
        state.PauseTiming();
        if (!removeTable(name)) state.SkipWithError("the table could not be copied");
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * rowCount());
}

void readThenWriteTable(benchmark::State& state) {
    source();
    for (auto _ : state) {
        const bool read = countRows(source()) == rowCount();
        const KtbString name = writeTable(rowCount());
        state.PauseTiming();
        if (!read || !removeTable(name)) state.SkipWithError("rows are missing");
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * rowCount());
}

bool appendHundred(const KtbString& target, const KtbString& hundred) {
    KtbString error;
    return manager().append(target, hundred, &error);
}

void appendToLarge(benchmark::State& state) {
    static const KtbString hundred = writeTable(hundredRows);
    static const KtbString large = writeTable(rowCount());
    for (auto _ : state) {
        if (!appendHundred(large, hundred)) state.SkipWithError("the rows could not be appended");
    }
}

// Made anew now and then, so that it stays small.
void appendToSmall(benchmark::State& state) {
    static const KtbString hundred = writeTable(hundredRows);
    constexpr long appendsEach = 50;
    KtbString small = writeTable(hundredRows);
    long appends = 0;
    for (auto _ : state) {
        if (!appendHundred(small, hundred)) state.SkipWithError("the rows could not be appended");
        if (++appends % appendsEach != 0) continue;
        state.PauseTiming();
        if (countRows(small) != hundredRows * (1 + appendsEach) || !removeTable(small)) state.SkipWithError("rows are missing");
        small = writeTable(hundredRows);
        state.ResumeTiming();
    }
    removeTable(small);
}

BENCHMARK(copyTable)->Unit(benchmark::kMillisecond);
BENCHMARK(readThenWriteTable)->Unit(benchmark::kMillisecond);
BENCHMARK(appendToLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK(appendToSmall)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace bench
