#include "import_columns.h"

#include <algorithm>
#include <unordered_map>

#include "characters.h"
#include "column_list.h"

namespace {

// Names are those of one column when they differ in nothing but the case of letters, as everywhere in the library.
std::string withSmallLetters(std::string name) {
    for (char& letter : name) letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    return name;
}

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

std::string listOf(const std::vector<ImportColumn>& columns) {
    std::string list;
    for (const ImportColumn& column : columns) list += (list.empty() ? "" : ", ") + printable(column.name);
    return list;
}

Outcome give(const GivenType& given, ImportColumn* column) {
    if (column->given) return {Status::usage, "--types: \"" + given.column + "\" stands there twice"};
    column->type = given.type;
    column->given = true;
    return {};
}

Outcome giveByName(const std::string& file, const GivenType& given, std::vector<ImportColumn>* columns) {
    const auto found = std::find_if(columns->begin(), columns->end(),
                                    [&given](const ImportColumn& column) { return isSameName(column.name, given.column); });
    if (found != columns->end()) return give(given, &*found);
    return {Status::usage, "--types: no column \"" + given.column + "\" in " + file + "; there are " + listOf(*columns)};
}

Outcome giveByPlace(const std::string& file, const std::vector<GivenType>& types, std::vector<ImportColumn>* columns) {
    if (types.size() != columns->size()) {
        return {Status::usage, "--types: they are " + std::to_string(types.size()) + ", and the columns of " + file + " " +
                                   std::to_string(columns->size())};
    }
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (Outcome given = give(types[i], &(*columns)[i]); !given.ok()) return given;
    }
    return {};
}

}  // namespace

std::string parseTypes(const std::string& text, std::vector<GivenType>* types) {
    types->clear();
    bool named = false;
    for (std::size_t place = 0;; ++place) {
        const Item item = nextItem(text, &place);
        GivenType given;
        if (std::string wrong = parseType(item.type, &given.type); !wrong.empty()) return wrong;
        if (types->empty()) named = item.named;
        if (item.named != named) return "either all types have the name of a column, or none";
        if (named && item.name.empty()) return "the name of a column is missing before \":" + item.type + "\"";
        given.column = item.name;
        types->push_back(given);
        if (place >= text.size()) return {};
    }
}

Outcome nameColumns(const CsvReader& reader, const std::vector<CsvName>& header, std::vector<ImportColumn>* columns) {
    std::unordered_map<std::string, std::string> names;  // as they are, by what they are without a look at the case of letters
    columns->clear();
    for (const CsvName& field : header) {
        const std::string place = reader.placeOf(field.line, columns->size());
        if (field.text.empty()) {
            return {Status::damaged, place + "the column has no name (--no-header if the first row is no header)"};
        }
        const auto [earlier, isNew] = names.emplace(withSmallLetters(field.text), field.text);
        if (!isNew) {
            return {Status::damaged,
                    place + "a column before this one is named \"" + printable(earlier->second) + "\" already"};
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
    if (types.empty()) return {};
    if (types.front().column.empty()) return giveByPlace(file, types, columns);
    for (const GivenType& type : types) {
        if (Outcome given = giveByName(file, type, columns); !given.ok()) return given;
    }
    return {};
}
