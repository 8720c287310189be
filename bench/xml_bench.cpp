// What rows cost as XML: a table of short texts, some with characters to escape, as one document.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>

#include "rows.h"

namespace bench {

namespace {

constexpr int textColumns = 6;

// Enough for a document that no cache holds; all the rows of the other benches would only take memory.
long textRows() { return std::min(rowCount(), 200000L); }

// Texts of 0 to 23 bytes; one of eleven has to be escaped.
std::string shortText(long row, int column) {
    const auto number = static_cast<unsigned long>(row) * textColumns + static_cast<unsigned long>(column);
    std::string text(number * 7919 % 24, static_cast<char>('a' + number % 26));
    if (number % 11 == 0 && !text.empty()) text[text.size() / 2] = "&'<"[number % 3];
    return text;
}

std::string shortTextInXml(long row, int column) {
    std::string result;
    for (const char c : shortText(row, column)) {
        if (c == '&' || c == '\'' || c == '<') {
            result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&apos;";
        } else {
            result += c;
        }
    }
    return result;
}

bool fill(KtWorkTableFile* table) {
    KtbDatavar values[textColumns];
    for (int c = 0; c < textColumns; ++c) {
        if (!table->defineColumnInfo(c, ("text " + std::to_string(c)).c_str(), ktbTypeString, 0)) return false;
    }
    for (long n = 0; n < textRows(); ++n) {
        for (int c = 0; c < textColumns; ++c) values[c].assign(shortText(n, c).c_str());
        if (!table->writeRow(values)) return false;
    }
    return table->close();
}

// What follows the heading of the document, which is the part that counts.
std::string expectedRows() {
    std::string text;
    for (long n = 0; n < textRows(); ++n) {
        text += "<list>";
        for (int c = 0; c < textColumns; ++c) text += "<value>" + shortTextInXml(n, c) + "</value>";
        text += "</list>";
    }
    return text + "</list></constructor-arg></bean></beans>";
}

bool isRight(const KtbString& document) {
    static const std::string expected = expectedRows();
    const auto size = static_cast<std::size_t>(document.cStrSize() - 1);
    return size > expected.size() && expected.compare(document.asCstr() + size - expected.size()) == 0;
}

void readXml(benchmark::State& state) {
    KtbString error;
    const Manager manager = newManager("xml");
    const Table written(manager ? manager->create(textColumns, 0, &error) : nullptr);
    if (!written || !fill(written.get())) {
        state.SkipWithError("the table could not be written");
        return;
    }
    KtbString document;
    for (auto _ : state) {
        const Table table(manager->open(written->getName(), false, &error));
        if (!table || !table->readRows(0, -1, &document, nullptr)) state.SkipWithError("rows are missing");
    }
    if (!isRight(document)) state.SkipWithError("the document is not what it should be");
    state.SetBytesProcessed(state.iterations() * (document.cStrSize() - 1));
    manager->remove(written->getName(), &error);  // what is left goes with the directory
}

BENCHMARK(readXml)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace bench
