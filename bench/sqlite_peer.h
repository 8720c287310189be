// The peer: the same rows in one SQLite table, with prepared statements, one transaction, and journal and synchronous off.
#ifndef BENCH_SQLITE_PEER_H
#define BENCH_SQLITE_PEER_H

#include <string>

#include "sort_rows.h"

namespace bench {

// Makes the database file anew and inserts the rows. False when a call fails.
bool writeSqlite(const std::string& path, long count);

// Selects all columns of all rows and takes each value. False when a call fails or the number of rows is another.
bool readSqlite(const std::string& path, long count);

// Makes the database file anew, inserts the rows that are to be sorted, and hands them to the check as they come back in order.
// SQLite uses as much memory and as many threads as the sort may; what does not fit goes to the same directory. False when a
// call fails.
bool sortSqlite(const std::string& path, long count, SortCheck* check);

}  // namespace bench

#endif
