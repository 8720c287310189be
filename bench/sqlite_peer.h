// The peer: the same rows in one SQLite table, with prepared statements, one transaction, and journal and synchronous off.
#ifndef BENCH_SQLITE_PEER_H
#define BENCH_SQLITE_PEER_H

#include <string>

namespace bench {

// Makes the database file anew and inserts the rows. False when a call fails.
bool writeSqlite(const std::string& path, long count);

// Selects all columns of all rows and takes each value. False when a call fails or the number of rows is another.
bool readSqlite(const std::string& path, long count);

}  // namespace bench

#endif
