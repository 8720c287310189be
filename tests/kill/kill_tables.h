// Tables of which one can tell whether they are whole: each row bears out itself, and their number and sum are known.
#ifndef TESTS_KILL_KILL_TABLES_H
#define TESTS_KILL_KILL_TABLES_H

#include <optional>
#include <string>

#include "support/released.h"

// How many rows a table has and what their numbers add up to.
struct Content {
    long rows = 0;
    long sum = 0;

    friend bool operator==(const Content& a, const Content& b) { return a.rows == b.rows && a.sum == b.sum; }
    friend Content operator+(const Content& a, const Content& b) { return {a.rows + b.rows, a.sum + b.sum}; }
};

inline std::string textFor(long number) {
    const auto length = static_cast<std::size_t>(number % 180);
    return std::to_string(number) + ":" + std::string(length, static_cast<char>('a' + number % 26));
}

inline bool defineColumns(KtWorkTableFile* table) {
    return table->defineColumnInfo(0, "number", ktbTypeInteger, 0) && table->defineColumnInfo(1, "text", ktbTypeString, 0);
}

inline bool writeNumber(KtWorkTableFile* table, long number) {
    KtbDatavar values[2];
    values[0].assign(number);
    values[1].assign(KtbString(textFor(number).c_str()));
    return table->writeRow(values);
}

// What an open table holds; nothing when a row cannot be read or is not what was written.
inline std::optional<Content> contentOf(KtWorkTableFile* table) {
    Content content;
    KtbDatavar values[2];
    bool end = false;
    while (table->readRow(values, &end)) {
        bool err = false;
        const long number = values[0].asInt64(&err);
        if (err || values[1].asString().compare(textFor(number).c_str(), true) != 0) return std::nullopt;
        content = content + Content{1, number};
    }
    if (!end || content.rows != table->getRows()) return std::nullopt;
    return content;
}

inline std::optional<Content> contentOf(KtWorkTableManager* manager, const std::string& name) {
    KtbString error;
    const Table table(manager->open(name.c_str(), false, &error));
    if (table == nullptr) return std::nullopt;
    return contentOf(table.get());
}

#endif
