#include "row_choice.h"

#include <charconv>

namespace {

Outcome misused(const std::string& text) { return {Status::usage, text}; }

Outcome exhausted() { return {Status::full, "memory is exhausted"}; }

bool readNumber(std::string_view text, long* number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, *number);
    return result.ec == std::errc() && result.ptr == end;
}

Outcome addColumn(KtWorkTableURI& uri, const std::string& name, ktbType type, const std::string& source) {
    KtbString error;
    const bool added = uri.addColumn(KtbString(name.c_str()), type, KtbString(source.c_str()), &error);
    return added ? Outcome() : exhausted();
}

// Understands the table, and looks whether it is a URI that leaves room for the options.
Outcome readTable(const RowChoice& choice, Uri* given) {
    if (Outcome read = readUri(choice.table, given); !read.ok() || !*given) return read;
    if ((*given)->getScheme().compare("ktwt", false) != 0) {
        return misused(choice.table + ": the URI of a work table begins with \"ktwt:\"");
    }
    if ((*given)->getColumns() != 0 && !choice.columns.empty()) {
        return misused(choice.table + ": the URI chooses columns already, so that --columns cannot be given as well");
    }
    if ((*given)->hasRange() && choice.rows) {
        return misused(choice.table + ": the URI chooses rows already, so that --rows cannot be given as well");
    }
    if ((*given)->getColumns() == 0 && choice.columns.empty() && choice.constants.empty()) {
        return misused(choice.table + ": a URI without columns shows none; add col=NAME for each, or give --columns");
    }
    return {};
}

Outcome addStored(const RowChoice& choice, const std::vector<ColumnInfo>& stored, KtWorkTableURI& uri) {
    const ColumnNames names(stored);
    for (const ChosenColumn& column : choice.columns) {
        if (!names.has(column.source)) {
            return misused(choice.table + ": there is no column \"" + column.source + "\"; there are " + namesOf(stored));
        }
        if (Outcome added = addColumn(uri, column.name, ktbTypeNone, column.source); !added.ok()) return added;
    }
    return {};
}

Outcome addAll(const std::vector<ColumnInfo>& stored, KtWorkTableURI& uri) {
    for (const ColumnInfo& column : stored) {
        if (Outcome added = addColumn(uri, column.name, ktbTypeNone, ""); !added.ok()) return added;
    }
    return {};
}

Outcome addThoseOf(KtWorkTableURI& given, KtWorkTableURI& uri) {
    KtbString error;
    for (int i = 0; i < given.getColumns(); ++i) {
        const bool added = uri.addColumn(given.getColumnName(i), given.getColumnType(i), given.getColumnSource(i), &error);
        if (!added) return exhausted();
    }
    return {};
}

// The columns of a URI are taken as they are, those included that the table does not have.
Outcome addColumns(KtWorkTableManager& manager, const RowChoice& choice, KtWorkTableURI* given, KtWorkTableURI& uri) {
    if (given != nullptr && given->getColumns() != 0) {
        tellOfMissingColumns(manager, choice.table, *given);
        return addThoseOf(*given, uri);
    }
    std::vector<ColumnInfo> stored;
    if (Outcome read = storedColumns(manager, uri.getPath(), &stored); !read.ok()) {
        return {read.status(), choice.table + ": " + read.text()};
    }
    if (!choice.columns.empty()) return addStored(choice, stored, uri);
    return given == nullptr ? addAll(stored, uri) : Outcome();
}

}  // namespace

std::string parseRowRange(const std::string& text, RowRange* range) {
    const std::size_t comma = text.find(',');
    const bool understood = readNumber(std::string_view(text).substr(0, comma), &range->first) &&
                            (comma == std::string::npos || readNumber(std::string_view(text).substr(comma + 1), &range->count));
    if (!understood) return "\"" + text + "\" is not of the form FIRST,COUNT";
    if (range->first < 0) return "the first row is 0";
    return range->count < -1 ? "a count begins with 0; -1 stands for all rows to the end" : "";
}

Outcome makeUri(KtWorkTableManager& manager, const RowChoice& choice, Uri* uri) {
    Uri given;
    if (Outcome read = readTable(choice, &given); !read.ok()) return read;
    const KtbString name = given ? given->getPath() : KtbString(choice.table.c_str());
    std::optional<RowRange> range = choice.rows;
    if (given && given->hasRange()) range = {given->getRangeStart(), given->getRangeCount()};
    uri->reset(range ? getWorkTableURIFromComponents(name, range->first, range->count) : getWorkTableURIFromComponents(name));
    if (!*uri) return exhausted();
    if (Outcome added = addColumns(manager, choice, given.get(), **uri); !added.ok()) return added;
    for (const ConstantColumn& constant : choice.constants) {
        if (Outcome added = addColumn(**uri, constant.name, constant.type, constant.text); !added.ok()) return added;
    }
    return {};
}
