#include "sqlite_peer.h"

#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "rows.h"

namespace bench {

namespace {

class Database {
public:
    explicit Database(const std::string& path) {
        if (sqlite3_open(path.c_str(), &handle_) != SQLITE_OK) ok_ = false;
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database() {
        sqlite3_finalize(statement_);
        sqlite3_close(handle_);
    }

    bool run(const char* sql) { return ok_ = ok_ && sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) == SQLITE_OK; }
    // The statement lives until the next one.
    sqlite3_stmt* prepare(const char* sql) {
        sqlite3_finalize(statement_);
        statement_ = nullptr;
        ok_ = ok_ && sqlite3_prepare_v2(handle_, sql, -1, &statement_, nullptr) == SQLITE_OK;
        return statement_;
    }

private:
    sqlite3* handle_ = nullptr;
    sqlite3_stmt* statement_ = nullptr;
    bool ok_ = true;
};

void bindText(sqlite3_stmt* statement, int at, const KtbDatavar& value, KtbString* scratch) {
    const KtbString& text = value.asString(scratch);
    // The values outlive the step: SQLite need not copy them.
    sqlite3_bind_text(statement, at, text.asCstr(), text.cStrSize() - 1, SQLITE_STATIC);
}

void bindRow(sqlite3_stmt* statement, const KtbDatavar* values, KtbString* scratch) {
    bool err = false;
    sqlite3_bind_int64(statement, 1, values[0].asInt64(&err));
    sqlite3_bind_int64(statement, 2, values[1].asInt64(&err));
    sqlite3_bind_int(statement, 3, values[2].asBool(&err) ? 1 : 0);
    bindText(statement, 4, values[3], scratch);  // the only exact form of a decimal that SQLite has
    sqlite3_bind_double(statement, 5, values[4].asDouble(&err));
    for (int c = 5; c < columns; ++c) {
        if (values[c].isNull()) {
            sqlite3_bind_null(statement, c + 1);
        } else {
            bindText(statement, c + 1, values[c], scratch);
        }
    }
}

// Makes the table in an empty database and begins the one transaction; the statement that inserts a row, null on failure.
sqlite3_stmt* beginInserting(Database* database) {
    const bool begun = database->run(
        "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
        "CREATE TABLE t (id INTEGER, quantity INTEGER, active INTEGER, price TEXT, moment REAL,"
        " name TEXT, code TEXT, remark TEXT); BEGIN");
    return begun ? database->prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?, ?, ?)") : nullptr;
}

void bindText(sqlite3_stmt* statement, int at, std::string_view text) {
    sqlite3_bind_text(statement, at, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);  // no data: a null
}

bool insertSortRow(sqlite3_stmt* insert, const SortRow& row) {
    char price[32];
    const int priceSize = std::snprintf(price, sizeof price, "%ld.%02ld", row.cents / 100, row.cents % 100);
    sqlite3_bind_int64(insert, 1, row.id);
    sqlite3_bind_int64(insert, 2, row.quantity);
    sqlite3_bind_int(insert, 3, row.active ? 1 : 0);
    bindText(insert, 4, {price, static_cast<std::size_t>(priceSize)});
    sqlite3_bind_double(insert, 5, row.moment);
    bindText(insert, 6, row.name);
    bindText(insert, 7, row.code);
    bindText(insert, 8, row.remark);
    const bool inserted = sqlite3_step(insert) == SQLITE_DONE;
    sqlite3_reset(insert);
    return inserted;
}

std::string_view textOf(sqlite3_stmt* select, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select, column));
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(select, column))};
}

long centsOf(std::string_view price) {
    long cents = 0;
    for (const char c : price) {
        if (c != '.') cents = cents * 10 + (c - '0');
    }
    return cents;
}

SortRow sortRowOf(sqlite3_stmt* select) {
    return {sqlite3_column_int64(select, 0),
            sqlite3_column_int64(select, 1),
            sqlite3_column_int(select, 2) != 0,
            centsOf(textOf(select, 3)),
            sqlite3_column_double(select, 4),
            textOf(select, 5),
            textOf(select, 6),
            textOf(select, 7)};
}

// Gives the connection the memory and the threads of the sort. The setting of the cache counts three times: for pages, for the
// rows that are being collected, and for those that its one other thread is sorting meanwhile.
bool limitSort(Database* database, const std::string& directory) {
    ::setenv("SQLITE_TMPDIR", directory.c_str(), 1);
    const std::string cache = "PRAGMA cache_size = -" + std::to_string((sortMemory >> 10) / 3);
    const std::string threads = "PRAGMA threads = " + std::to_string(sortThreads - 1);
    return database->run(cache.c_str()) && database->run(threads.c_str()) && database->run("PRAGMA temp_store = FILE");
}

}  // namespace

bool writeSqlite(const std::string& path, long count) {
    ::unlink(path.c_str());  // usually there is none
    Database database(path);
    sqlite3_stmt* insert = beginInserting(&database);
    if (insert == nullptr) return false;
    KtbString scratch;
    for (long n = 0; n < count; ++n) {
        bindRow(insert, rows().row(n), &scratch);
        if (sqlite3_step(insert) != SQLITE_DONE) return false;
        sqlite3_reset(insert);
    }
    return database.run("COMMIT");
}

bool readSqlite(const std::string& path, long count) {
    Database database(path);
    sqlite3_stmt* select = database.prepare("SELECT id, quantity, active, price, moment, name, code, remark FROM t");
    if (select == nullptr) return false;
    KtbDatavar values[columns];
    long found = 0;
    while (sqlite3_step(select) == SQLITE_ROW) {
        values[0].assign(static_cast<long>(sqlite3_column_int64(select, 0)));
        values[1].assign(static_cast<long>(sqlite3_column_int64(select, 1)));
        values[2].assign(sqlite3_column_int(select, 2) != 0);
        values[4].assign(sqlite3_column_double(select, 4));
        for (const int c : {3, 5, 6, 7}) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select, c));
            if (text == nullptr) {
                values[c].setNull();
            } else {
                values[c].assign(text, sqlite3_column_bytes(select, c));
            }
        }
        ++found;
    }
    return found == count;
}

bool sortSqlite(const std::string& path, long count, SortCheck* check) {
    ::unlink(path.c_str());  // usually there is none
    Database database(path);
    if (!limitSort(&database, std::filesystem::path(path).parent_path().string())) return false;
    sqlite3_stmt* insert = beginInserting(&database);
    if (insert == nullptr) return false;
    SortRows source(count);
    for (long n = 0; n < count; ++n) {
        if (!insertSortRow(insert, source.next())) return false;
    }
    if (!database.run("COMMIT")) return false;
    sqlite3_stmt* select =
        database.prepare("SELECT id, quantity, active, price, moment, name, code, remark FROM t ORDER BY name, quantity DESC");
    if (select == nullptr) return false;
    int status = sqlite3_step(select);
    for (; status == SQLITE_ROW; status = sqlite3_step(select)) check->take(sortRowOf(select));
    return status == SQLITE_DONE;
}

}  // namespace bench
