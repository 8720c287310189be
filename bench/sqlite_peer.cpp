#include "sqlite_peer.h"

#include <sqlite3.h>
#include <unistd.h>

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
    sqlite3_stmt* prepare(const char* sql) {
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

}  // namespace

bool writeSqlite(const std::string& path, long count) {
    ::unlink(path.c_str());  // usually there is none
    Database database(path);
    if (!database.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                      "CREATE TABLE t (id INTEGER, quantity INTEGER, active INTEGER, price TEXT, moment REAL,"
                      " name TEXT, code TEXT, remark TEXT); BEGIN")) {
        return false;
    }
    sqlite3_stmt* insert = database.prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
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

}  // namespace bench
