// How rows are to be sorted, as the command line says it.
//
//     sort_.addTo(app, "--by").required();                               // in addOptions()
//     if (Outcome set = sort_.configure(*manager, rows); !set.ok()) ...   // in run()
//     table.create(*manager, columns, sort_.keyCount(), elementSize), table.file().defineColumnInfo(...) for each
//     if (Outcome set = sort_.setKeys(what, table.file()); !set.ok()) ...
//     ... rows ...
#ifndef TOOLS_KTWT_SORT_OPTIONS_H
#define TOOLS_KTWT_SORT_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "library.h"

struct SortKey {
    std::string column;
    bool descending = false;
};

// Understands "city,-price": names of columns with ',' between them, each after a '-' when the largest comes first. A '\' takes
// the next character as it is, so that any name can be written. Returns what is wrong, empty when nothing is.
std::string parseSortKeys(const std::string& text, std::vector<SortKey>* keys);

// Must live until the table is closed.
class SortOptions {
public:
    SortOptions() = default;
    SortOptions(const SortOptions&) = delete;
    SortOptions& operator=(const SortOptions&) = delete;

    // Adds the option `keys` ("--by"), which is returned, and those that say how: --no-dups, --memory, --threads, --collate.
    CLI::Option& addTo(CLI::App& app, const char* keys);

    // 0 when no sorting was asked for.
    int keyCount() const { return static_cast<int>(keys_.size()); }

    // Gives the manager what was asked for. `rows` is how many rows are expected, 0 when that is not known.
    Outcome configure(KtWorkTableManager& manager, long rows) const;

    // Whether there is a column for each key among those of `what`, a table or a file.
    Outcome checkKeys(const std::string& what, const std::vector<ColumnInfo>& columns) const;

    // Sets the keys of a table that was created with keyCount() sort keys and whose columns are defined; they are those of
    // `what`.
    Outcome setKeys(const std::string& what, KtWorkTableFile& table);

private:
    std::vector<SortKey> keys_;
    bool noDuplicates_ = false;
    long memoryBytes_ = 0;  // 0: the library's own choice
    int threads_ = 0;
    std::string collation_ = "bytes";
    KTSortCollateParms collationParms_ = {ktSortCollateBytes, nullptr};
};

#endif
