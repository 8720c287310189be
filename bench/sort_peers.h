// The peers of the sort: what a user would otherwise sort the same rows with (SQLite is in sqlite_peer.h).
#ifndef BENCH_SORT_PEERS_H
#define BENCH_SORT_PEERS_H

#include <string>
#include <vector>

#include "ktwt/ktwt.h"
#include "sort_rows.h"

namespace bench {

// The rows as text, a line each, with tabs between the values. False when the file cannot be written.
bool writeAsText(const std::string& path, long count);

// Hands the rows of such a file to the check. False when a line is not of that form.
bool checkText(const std::string& path, SortCheck* check);

// Has GNU sort read `from` and write `to`, with the same order, memory and number of threads. Temporary files go to
// `directory`.
bool sortText(const std::string& from, const std::string& to, const std::string& directory);

// A row as a program would hold it that keeps them all in memory.
struct DecodedRow {
    long id;
    long quantity;
    bool active;
    bool remarkIsNull;
    KtbReal price;
    double moment;
    std::string name;
    std::string code;
    std::string remark;
};

// Makes the rows, sorts them with std::stable_sort and hands them to the check. They are left in *rows, so that who measures
// need not count their end.
void sortInMemory(long count, std::vector<DecodedRow>* rows, SortCheck* check);

// A price of so many cents, and back.
KtbReal priceOf(long cents);
long centsOf(const KtbReal& price);

}  // namespace bench

#endif
