#include "import_columns.h"

#include <ktb/string.h>

#include <algorithm>

#include "characters.h"

namespace {

// Names are those of one column when they differ in nothing but the case of letters, as everywhere in the library.
bool isSameName(const std::string& a, const std::string& b) { return KtbString(a.c_str()).compare(b.c_str(), false) == 0; }

// One item of a list: what is before its last colon, and what is after it.
struct Item {
    std::string name;
    std::string type;
    bool named = false;
};

// Reads the item from *place on to the next ',' or the end, where *place then is.
Item nextItem(const std::string& text, std::size_t* place) {
    Item item;
    for (; *place < text.size() && text[*place] != ','; ++*place) {
        if (text[*place] == ':') {
            if (item.named) item.name += ":" + item.type;
            if (!item.named) item.name = item.type;
            item.type.clear();
            item.named = true;
            continue;
        }
        if (text[*place] == '\\' && *place + 1 < text.size()) ++*place;
        item.type += text[*place];
    }
    return item;
}

std::string checkType(const Item& item, ktbType* type) {
    if (ktbTypeFromString(item.type.c_str(), type) && *type != ktbTypeNone) return {};
    return "\"" + item.type + "\" is no type; there are boolean, integer, decimal, string, date and double";
}

std::string listOf(const std::vector<ImportColumn>& columns) {
    std::string list;
    for (const ImportColumn& column : columns) list += (list.empty() ? "" : ", ") + printable(column.name);
    return list;
}

Outcome giveByName(const std::string& file, const GivenType& given, std::vector<ImportColumn>* columns) {
    const auto found = std::find_if(columns->begin(), columns->end(),
                                    [&given](const ImportColumn& column) { return isSameName(column.name, given.column); });
    if (found == columns->end()) {
        return {Status::usage, "--types: no column \"" + given.column + "\" in " + file + "; there are " + listOf(*columns)};
    }
    if (found->given) return {Status::usage, "--types: \"" + given.column + "\" stands there twice"};
    found->type = given.type;
    found->given = true;
    return {};
}

}  // namespace

std::string parseTypes(const std::string& text, std::vector<GivenType>* types) {
    types->clear();
    bool named = false;
    for (std::size_t place = 0;; ++place) {
        const Item item = nextItem(text, &place);
        GivenType given;
        if (std::string wrong = checkType(item, &given.type); !wrong.empty()) return wrong;
        if (types->empty()) named = item.named;
        if (item.named != named) return "either all types have the name of a column, or none";
        if (named && item.name.empty()) return "the name of a column is missing before \":" + item.type + "\"";
        given.column = item.name;
        types->push_back(given);
        if (place >= text.size()) return {};
    }
}

Outcome nameColumns(const CsvReader& reader, const std::vector<CsvName>& header, std::vector<ImportColumn>* columns) {
    columns->clear();
    for (const CsvName& field : header) {
        const std::string place = reader.placeOf(field.line, columns->size());
        if (field.text.empty()) {
            return {Status::damaged, place + "the column has no name (--no-header if the first row is no header)"};
        }
        for (const ImportColumn& earlier : *columns) {
            if (!isSameName(earlier.name, field.text)) continue;
            return {Status::damaged, place + "a column before this one is named \"" + printable(earlier.name) + "\" already"};
        }
        columns->push_back({field.text});
    }
    return {};
}

std::vector<ImportColumn> numberedColumns(std::size_t count) {
    std::vector<ImportColumn> columns(count);
    std::size_t number = 0;
    for (ImportColumn& column : columns) column.name = "c" + std::to_string(++number);
    return columns;
}

Outcome giveTypes(const std::string& file, const std::vector<GivenType>& types, std::vector<ImportColumn>* columns) {
    const bool byName = !types.empty() && !types.front().column.empty();
    if (!byName && !types.empty() && types.size() != columns->size()) {
        return {Status::usage, "--types: they are " + std::to_string(types.size()) + ", and the columns of " + file + " " +
                                   std::to_string(columns->size())};
    }
    std::size_t number = 0;
    for (const GivenType& given : types) {
        const Outcome done =
            byName ? giveByName(file, given, columns) : giveByName(file, {(*columns)[number++].name, given.type}, columns);
        if (!done.ok()) return done;
    }
    return {};
}
