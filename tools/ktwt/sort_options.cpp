#include "sort_options.h"

#include <locale.h>

#include "column_list.h"
#include "options.h"

namespace {

// One key, from *place on to the next ',' or the end, where *place then is.
SortKey nextKey(const std::string& text, std::size_t* place) {
    SortKey key;
    key.descending = *place < text.size() && text[*place] == '-';
    if (key.descending) ++*place;
    key.column = nextName(text, ",", place);
    return key;
}

// Whether it is the name of a rule of our own or of a locale that is installed. Empty when it is.
std::string checkCollation(const std::string& name) {
    if (name == "bytes" || name == "fold") return {};
    const locale_t known = newlocale(LC_ALL_MASK, name.c_str(), nullptr);
    if (known == nullptr) return "\"" + name + "\" is no locale of this system, nor \"bytes\" or \"fold\"";
    freelocale(known);
    return {};
}

Outcome refused(const char* option, KtWorkTableManager& manager) {
    return {Status::usage, std::string(option) + ": " + textOf(manager.getError())};
}

}  // namespace

std::string parseSortKeys(const std::string& text, std::vector<SortKey>* keys) {
    keys->clear();
    for (std::size_t place = 0;; ++place) {
        keys->push_back(nextKey(text, &place));
        const SortKey& key = keys->back();
        if (key.column.empty()) return "the name of a column is missing in \"" + text + "\"";
        for (const SortKey& earlier : *keys) {
            if (&earlier != &key && isSameName(earlier.column, key.column)) return "\"" + key.column + "\" stands there twice";
        }
        if (place >= text.size()) return {};
    }
}

CLI::Option& SortOptions::addTo(CLI::App& app, const char* keys) {
    CLI::Option* const by = app.add_option_function<std::string>(
                                   keys,
                                   [this, keys](const std::string& text) {
                                       const std::string wrong = parseSortKeys(text, &keys_);
                                       if (!wrong.empty()) throw CLI::ValidationError(keys, wrong);
                                   },
                                   "Sort by these columns, one after the other; '-' before a name: the largest first; '\\' "
                                   "before a ',' or '-' of a "
                                   "name")
                                ->type_name("COLUMN,...");
    app.add_flag("--no-dups", noDuplicates_, "Keep of rows with equal keys only the first")->needs(by);
    app.add_option(
           "--collate", collation_,
           "How texts are compared: \"bytes\", \"fold\" (by bytes, A-Z like a-z), or by a locale of the system, such as "
           "de_DE.UTF-8")
        ->check(checkCollation)
        ->capture_default_str()
        ->type_name("RULE")
        ->needs(by);
    addSize(app, "--memory", &memoryBytes_, "Memory for sorting, such as 512M; 256M unless given");
    app.add_option("--threads", threads_, "Threads for sorting; 0 for one per processor")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str()
        ->type_name("N");
    return *by;
}

Outcome SortOptions::configure(KtWorkTableManager& manager, long rows) const {
    if (keys_.empty()) return {};
    if (memoryBytes_ != 0 && !manager.setSortSize(static_cast<unsigned long>(memoryBytes_)))
        return refused("--memory", manager);
    if (!manager.setSortProcessors(threads_)) return refused("--threads", manager);
    if (!manager.setSortNoDups(noDuplicates_)) return refused("--no-dups", manager);
    if (rows > 0 && !manager.setSortRecords(static_cast<unsigned long>(rows))) return refused("rows", manager);
    return {};
}

Outcome SortOptions::checkKeys(const std::string& what, const std::vector<ColumnInfo>& columns) const {
    for (const SortKey& key : keys_) {
        if (columnNamed(columns, key.column) >= 0) continue;
        return {Status::usage, what + ": no column \"" + key.column + "\" to sort by; there are " + namesOf(columns)};
    }
    return {};
}

Outcome SortOptions::setKeys(const std::string& what, KtWorkTableFile& table) {
    std::vector<ColumnInfo> columns;
    if (Outcome found = columnsOf(table, &columns); !found.ok()) return found;
    if (Outcome known = checkKeys(what, columns); !known.ok()) return known;
    const bool byLocale = collation_ != "bytes" && collation_ != "fold";
    collationParms_.kind = byLocale ? ktSortCollateLocale : collation_ == "fold" ? ktSortCollateFold : ktSortCollateBytes;
    collationParms_.locale = byLocale ? collation_.c_str() : nullptr;
    int index = 0;
    for (const SortKey& key : keys_) {
        table.setSort(index++, columnNamed(columns, key.column), key.descending, &collationParms_);
    }
    return {};
}
