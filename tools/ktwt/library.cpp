#include "library.h"

#include <ktb/fio.h>

#include <charconv>

#include "complaint.h"

namespace {

// The number of a message of the library, 0 when the text has none.
int numberOf(std::string_view text) {
    constexpr std::string_view prefix = "KTWT-";
    int number = 0;
    if (text.substr(0, prefix.size()) == prefix)
        std::from_chars(text.data() + prefix.size(), text.data() + text.size(), number);
    return number;
}

// Whether a text gives the reason that a code of the file layer stands for.
bool tells(std::string_view text, int code) { return text.find(np_fio_errdesc(code)) != std::string_view::npos; }

Status statusOf(std::string_view text) {
    for (const int code : {np_err_no_space, np_err_too_large, np_err_memory}) {
        if (tells(text, code)) return Status::full;
    }
    switch (numberOf(text)) {
        case 29:
        case 1044:  // a write that was cut short says no more than that, and a full disk is what cuts writes short
        case 1642: return Status::full;
        case 336:
        case 1301:
        case 1773:
        case 1785:
        case 1786:
        case 1787: return Status::damaged;
        case 1420:
        case 1666:
        case 1769:
        case 1770:
        case 1771:
        case 1788:
        case 1789:
        case 1790:
        case 1791:
        case 1792: return Status::usage;
        default: return Status::unreadable;
    }
}

// Letters as they are compared in names: without a look at their case.
std::string withSmallLetters(std::string name) {
    for (char& letter : name) letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    return name;
}

}  // namespace

Outcome libraryFailure(const std::string& what, const KtbString& text) {
    const std::string_view why = text.cStrSize() > 1 ? viewOf(text) : "memory is exhausted";
    const Status status = text.cStrSize() > 1 ? statusOf(why) : Status::full;
    return {status, what.empty() ? std::string(why) : what + ": " + std::string(why)};
}

bool isMissing(const KtbString& text) { return tells(viewOf(text), np_err_no_such_file); }

Outcome makeManager(const Session& session, Manager* manager) {
    KtbString error;
    manager->reset(ktwtCreateManager("", session.directories.c_str(), &error));
    return *manager ? Outcome() : libraryFailure("", error);
}

Outcome openTable(KtWorkTableManager& manager, const std::string& nameOrUri, bool reversed, Table* table) {
    Uri uri;
    if (Outcome read = readUri(nameOrUri, &uri); !read.ok()) return read;
    KtbString error;
    table->reset(manager.open(nameOrUri.c_str(), reversed, &error));
    if (!*table) return libraryFailure(nameOrUri, error);
    if (!uri) return {};
    if (uri->getColumns() == 0) {
        return {Status::usage, nameOrUri + ": a URI without columns shows none; add col=NAME for each"};
    }
    tellOfMissingColumns(manager, nameOrUri, *uri);
    return {};
}

Outcome readUri(const std::string& nameOrUri, Uri* uri) {
    uri->reset(getURIFromURIString(nameOrUri.c_str()));
    if (*uri || withSmallLetters(nameOrUri.substr(0, 5)) != "ktwt:") return {};
    return {Status::usage, nameOrUri + ": this is no valid URI; one is ktwt:NAME?rows=FIRST,COUNT&col=COLUMN&..."};
}

std::string tableNameOf(const std::string& nameOrUri) {
    const Uri uri(getURIFromURIString(nameOrUri.c_str()));
    return uri ? textOf(uri->getPath()) : nameOrUri;
}

Outcome columnsOf(KtWorkTableFile& table, std::vector<ColumnInfo>* columns) {
    columns->resize(static_cast<std::size_t>(table.getColumns()));
    int number = 0;
    for (ColumnInfo& column : *columns) {
        KtbString name;
        if (!table.getColumnInfo(number++, &name, &column.type, &column.width, &column.longest)) {
            return libraryFailure("", table.getError());
        }
        column.name = textOf(name);
    }
    return {};
}

int columnNamed(const std::vector<ColumnInfo>& columns, const std::string& name) {
    const KtbString wanted(name.c_str());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (wanted.compare(columns[i].name.c_str(), false) == 0) return static_cast<int>(i);
    }
    return -1;
}

Outcome storedColumns(KtWorkTableManager& manager, const KtbString& name, std::vector<ColumnInfo>* columns) {
    const KtbString* const all = nullptr;
    KtbString error;
    const Table table(manager.open(name, -1, all, nullptr, false, &error));
    return table ? columnsOf(*table, columns) : libraryFailure("", error);
}

ColumnNames::ColumnNames(const std::vector<ColumnInfo>& columns) {
    for (const ColumnInfo& column : columns) names_.insert(withSmallLetters(column.name));
}

bool ColumnNames::has(const std::string& name) const { return names_.count(withSmallLetters(name)) != 0; }

void tellOfMissingColumns(KtWorkTableManager& manager, const std::string& what, KtWorkTableURI& uri) {
    std::vector<ColumnInfo> stored;
    if (!storedColumns(manager, uri.getPath(), &stored).ok()) return;
    const ColumnNames names(stored);
    std::vector<ColumnInfo> missing;
    for (int i = 0; i < uri.getColumns(); ++i) {
        ColumnInfo column;
        column.name = textOf(uri.getColumnName(i));
        // A source that is no column is the text of a constant.
        const bool isConstant = uri.getColumnType(i) != ktbTypeNone || uri.getColumnSource(i).cStrSize() > 1;
        if (!isConstant && !names.has(column.name)) missing.push_back(std::move(column));
    }
    if (missing.empty()) return;
    complain(what + ": nulls stand for what is no column: " + namesOf(missing) + "; there are " + namesOf(stored));
}

std::string namesOf(const std::vector<ColumnInfo>& columns) {
    std::string names;
    for (const ColumnInfo& column : columns) names += (names.empty() ? "" : ", ") + column.name;
    return names;
}
