// What the rows of a table cost through cursors: every value of every row, typed and as text, beside readRow on the same table.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "rows.h"

namespace bench {

namespace {

KtWorkTableManager& manager() {
    static const Manager instance = newManager("cursor");
    return *instance;
}

// The columns as they are, or all as texts, as a string cursor makes them.
enum class Columns { mixed, texts };

KtbString writeTable(Columns kind) {
    KtbString error;
    const Table created(manager().create(columns, 0, &error));
    for (int c = 0; created && c < columns; ++c) {
        created->defineColumnInfo(c, sketch[c].name, kind == Columns::mixed ? sketch[c].type : ktbTypeString, 0);
    }
    for (long n = 0; created && n < rowCount(); ++n) created->writeRow(rows().row(n));
    return created && created->close() ? created->getName() : KtbString(nullptr);
}

// The tables that these benches share, each written once.
KtWorkTableFile* openTable(Columns kind) {
    static const KtbString mixed = writeTable(Columns::mixed);
    static const KtbString texts = writeTable(Columns::texts);
    KtbString error;
    return manager().open(kind == Columns::mixed ? mixed : texts, false, &error);
}

void readRows(benchmark::State& state, Columns kind) {
    for (auto _ : state) {
        const Table opened(openTable(kind));
        KtbDatavar values[columns];
        bool end = false;
        long count = 0;
        while (opened && opened->readRow(values, &end)) ++count;
        if (count != rowCount()) state.SkipWithError("rows are missing");
    }
}

// Takes every value of every row; how many rows there were.
template <class Cursor>
long passThrough(Cursor* cursor, Columns kind) {
    cursor->setReleaseFlag(false);
    long count = 0;
    if (!cursor->setWorkTable(openTable(kind))) return -1;
    while (cursor->next() == ktbCursorRow) {
        for (int c = 0; c < columns; ++c) benchmark::DoNotOptimize(cursor->getColumnValue(c).isNull());
        ++count;
    }
    return count;
}

template <class Cursor>
void passes(benchmark::State& state, Cursor* (*make)(KtWorkTableManager*), Columns kind) {
    for (auto _ : state) {
        const std::unique_ptr<Cursor, Release> cursor(make(&manager()));
        if (passThrough(cursor.get(), kind) != rowCount()) state.SkipWithError("rows are missing");
    }
}

void cursorReadRow(benchmark::State& state) { readRows(state, Columns::mixed); }
void cursorPass(benchmark::State& state) { passes(state, &ktwtCreateCursor, Columns::mixed); }
void stringCursorMixed(benchmark::State& state) { passes(state, &ktwtCreateStringCursor, Columns::mixed); }
void textReadRow(benchmark::State& state) { readRows(state, Columns::texts); }
void stringCursorTexts(benchmark::State& state) { passes(state, &ktwtCreateStringCursor, Columns::texts); }

BENCHMARK(cursorReadRow)->Unit(benchmark::kMillisecond);
BENCHMARK(cursorPass)->Unit(benchmark::kMillisecond);
BENCHMARK(stringCursorMixed)->Unit(benchmark::kMillisecond);
BENCHMARK(textReadRow)->Unit(benchmark::kMillisecond);
BENCHMARK(stringCursorTexts)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace bench
