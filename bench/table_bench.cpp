// What the roads of a table cost: writing rows, reading all of them, backwards, two of eight columns, and opening at a row.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "by_hand.h"
#include "rows.h"
#include "sqlite_peer.h"

namespace bench {

namespace {

KtWorkTableManager& manager() {
    static const Manager instance = newManager("table");
    return *instance;
}

// Writes a table and returns its name; empty when anything failed.
std::string writeTable() {
    KtbString error;
    const Table table(manager().create(columns, 0, &error));
    if (!table) return "";
    for (int c = 0; c < columns; ++c) {
        if (!table->defineColumnInfo(c, sketch[c].name, sketch[c].type, 0)) return "";
    }
    for (long n = 0; n < rowCount(); ++n) {
        if (!table->writeRow(rows().row(n))) return "";
    }
    return table->close() ? table->getName().asCstr() : "";
}

// The table that the reading benches share, written once.
const std::string& sharedTable() {
    static const std::string name = writeTable();
    return name;
}

std::string fileNamed(const std::string& prefix) {
    for (const auto& file : std::filesystem::directory_iterator(directory("table"))) {
        const std::string name = file.path().filename().string();
        if (name.compare(0, prefix.size(), prefix) == 0) return file.path().string();
    }
    return "";
}

// The first rows of the shared table are the rows that were made.
bool tableIsRight(KtWorkTableFile* opened) {
    const Table table(opened);
    KtbDatavar values[columns];
    bool end = false;
    for (long n = 0; n < std::min(rowCount(), 5000L); ++n) {
        if (!table || !table->readRow(values, &end) || !Rows::same(values, rows().row(n))) return false;
    }
    return true;
}

// Reads to the end; the number of rows, or -1 after a failure.
long readToEnd(KtWorkTableFile* opened) {
    const Table table(opened);
    if (!table) return -1;
    KtbDatavar values[columns];
    bool end = false;
    long count = 0;
    while (table->readRow(values, &end)) ++count;
    return end ? count : -1;
}

void countRows(benchmark::State& state, long rowsEach) { state.SetItemsProcessed(state.iterations() * rowsEach); }

void writeRows(benchmark::State& state) {
    for (auto _ : state) {
        const std::string name = writeTable();
        state.PauseTiming();
        KtbString error;
        if (name.empty() || !manager().remove(name.c_str(), &error)) state.SkipWithError("the table could not be written");
        state.ResumeTiming();
    }
    countRows(state, rowCount());
}

void writeRowsByHand(benchmark::State& state) {
    const std::string data = directory("table") + "/hand.data";
    const std::string index = directory("table") + "/hand.index";
    for (auto _ : state) {
        if (!writeByHand(data, index, rowCount())) state.SkipWithError("the files could not be written");
        state.PauseTiming();
        std::filesystem::remove(data);
        std::filesystem::remove(index);
        state.ResumeTiming();
    }
    countRows(state, rowCount());
}

void writeRowsSqlite(benchmark::State& state) {
    const std::string path = directory("table") + "/peer.sqlite";
    for (auto _ : state) {
        if (!writeSqlite(path, rowCount())) state.SkipWithError("the database could not be written");
    }
    countRows(state, rowCount());
}

void readRows(benchmark::State& state) {
    KtbString error;
    if (!tableIsRight(manager().open(sharedTable().c_str(), false, &error))) {
        state.SkipWithError("the table is not what was written");
        return;
    }
    for (auto _ : state) {
        if (readToEnd(manager().open(sharedTable().c_str(), false, &error)) != rowCount())
            state.SkipWithError("rows are missing");
    }
    countRows(state, rowCount());
}

void readRowsByHand(benchmark::State& state) {
    sharedTable();
    const std::string path = fileNamed("ktwte_");
    KtbDatavar values[columns];
    for (auto _ : state) {
        if (!readByHand(path, rowCount(), values)) state.SkipWithError("rows are missing");
    }
    if (!Rows::same(values, rows().row(rowCount() - 1))) state.SkipWithError("the last row is not what was written");
    countRows(state, rowCount());
}

void readRowsSqlite(benchmark::State& state) {
    const std::string path = directory("table") + "/read.sqlite";
    static const bool written = writeSqlite(path, rowCount());
    for (auto _ : state) {
        if (!written || !readSqlite(path, rowCount())) state.SkipWithError("rows are missing");
    }
    countRows(state, rowCount());
}

void readReversed(benchmark::State& state) {
    KtbString error;
    for (auto _ : state) {
        if (readToEnd(manager().open(sharedTable().c_str(), true, &error)) != rowCount())
            state.SkipWithError("rows are missing");
    }
    countRows(state, rowCount());
}

void readTwoColumns(benchmark::State& state) {
    KtbString error;
    const KtbString chosen[] = {"quantity", "name"};
    for (auto _ : state) {
        KtWorkTableFile* table = manager().open(sharedTable().c_str(), 2, chosen, nullptr, false, &error);
        if (readToEnd(table) != rowCount()) state.SkipWithError("rows are missing");
    }
    countRows(state, rowCount());
}

constexpr long tenRows = 10;

// Rows all over the table, in an order that no read-ahead foresees.
long rowOfIteration(long iteration) { return iteration * 7919 % (rowCount() - tenRows); }

void openAtRow(benchmark::State& state) {
    KtbString error;
    const KtbString name = sharedTable().c_str();
    const KtbString* all = nullptr;
    KtbDatavar values[columns];
    long iteration = 0;
    for (auto _ : state) {
        long range[2] = {rowOfIteration(iteration++), tenRows};
        const Table table(manager().open(name, -1, all, range, false, &error));
        bool end = false;
        long count = 0;
        while (table && table->readRow(values, &end)) ++count;
        if (count != tenRows) state.SkipWithError("rows are missing");
    }
}

void openAtRowByHand(benchmark::State& state) {
    const std::string header = directory("table") + "/" + sharedTable();
    const std::string index = fileNamed("ktwtei_");
    const std::string data = fileNamed("ktwte_");
    long iteration = 0;
    for (auto _ : state) {
        if (!openByHand(header, index, data, rowOfIteration(iteration++), 1200))
            state.SkipWithError("a file could not be read");
    }
}

BENCHMARK(writeRows)->Unit(benchmark::kMillisecond);
BENCHMARK(writeRowsByHand)->Unit(benchmark::kMillisecond);
BENCHMARK(writeRowsSqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(readRows)->Unit(benchmark::kMillisecond);
BENCHMARK(readRowsByHand)->Unit(benchmark::kMillisecond);
BENCHMARK(readRowsSqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(readReversed)->Unit(benchmark::kMillisecond);
BENCHMARK(readTwoColumns)->Unit(benchmark::kMillisecond);
BENCHMARK(openAtRow)->Unit(benchmark::kMicrosecond);
BENCHMARK(openAtRowByHand)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace bench
