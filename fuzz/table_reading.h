// A table of unknown bytes, read in every way that callers have.
#ifndef FUZZ_TABLE_READING_H
#define FUZZ_TABLE_READING_H

#include <string>
#include <vector>

#include "fuzz.h"
#include "support/released.h"

namespace fuzzing {

using Rows = std::vector<std::string>;

// The manager whose only work directory is Place::get().
KtWorkTableManager& manager();

// The names that headers of the corpus give the files of data element `number`.
std::string dataName(int number);
std::string indexName(int number);

// The most rows that a table of these files can hold: every row is at least a byte of a data file or an entry of an index file,
// and every data element, whose record has at least 17 bytes, may be one of all files.
long rowsJustified(std::size_t headerBytes, std::size_t otherBytes);

// What begins the text of a value that a data file holds under another storage code than its column's.
inline constexpr char ofAnotherType[] = "of another type: ";

// Reads to the end or the first failure; *whole tells which. Returns the number of rows, and what was seen of each in *rows
// unless that is null.
long readRows(KtWorkTableFile& table, long rowsMax, bool* whole, Rows* rows = nullptr);

// What a verification of the table finds, -1 when it could not be looked at. A table without findings can be read.
long findingsIn(const KtbString& name, long rowsMax);

// Opens and reads the table all over: both ways, by selections, ranges and URIs that `choices` choose, as XML; asks for its
// figures, its partition and its files, and verifies it.
void readInEveryWay(const KtbString& name, long rowsMax, Input& choices);

}  // namespace fuzzing

#endif
