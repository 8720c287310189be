// The columns of a table that is made from a CSV file: their names, and their types as far as they were given.
#ifndef TOOLS_KTWT_IMPORT_COLUMNS_H
#define TOOLS_KTWT_IMPORT_COLUMNS_H

#include <ktb/type.h>

#include <string>
#include <vector>

#include "csv_reader.h"
#include "outcome.h"

struct ImportColumn {
    std::string name;
    ktbType type = ktbTypeNone;  // none: it follows from the fields
    bool given = false;          // the type was asked for
};

struct GivenType {
    std::string column;  // empty: types are given in the order of the columns
    ktbType type = ktbTypeNone;
};

// Understands "city:string,people:integer" and "string,integer". A '\' takes the next character of a name as it is, so that any
// name can be written. Returns what is wrong, empty when nothing is.
std::string parseTypes(const std::string& text, std::vector<GivenType>* types);

// The columns that a header names. Every column needs a name of its own, the case of letters aside.
Outcome nameColumns(const CsvReader& reader, const std::vector<CsvName>& header, std::vector<ImportColumn>* columns);

// Columns "c1", "c2" and so on.
std::vector<ImportColumn> numberedColumns(std::size_t count);

// Gives the columns these types. `file` is how messages name the file.
Outcome giveTypes(const std::string& file, const std::vector<GivenType>& types, std::vector<ImportColumn>* columns);

#endif
