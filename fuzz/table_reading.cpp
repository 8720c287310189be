#include "table_reading.h"

#include <climits>

#include "ktb/worktable_uri.h"
#include "ktwt/inspect.h"

namespace fuzzing {

KtWorkTableManager& manager() {
    static const std::unique_ptr<KtWorkTableManager, Release> made = [] {
        KtbString error;
        KtWorkTableManager* result = ktwtCreateManager("fuzz", Place::get().path().c_str(), &error);
        require(result != nullptr, "a manager can be made");
        return std::unique_ptr<KtWorkTableManager, Release>(result);
    }();
    return *made;
}

std::string dataName(int number) { return "ktwte_" + std::string(20, static_cast<char>('0' + number)); }
std::string indexName(int number) { return "ktwtei_" + std::string(20, static_cast<char>('0' + number)); }

long rowsJustified(std::size_t headerBytes, std::size_t otherBytes) {
    return static_cast<long>((headerBytes / 17 + 1) * otherBytes);
}

namespace {

// A stored value that is none of its type has become a null, and is one without type when it is copied.
std::string shown(KtWorkTableFile& table, const std::vector<KtbDatavar>& values) {
    std::string row;
    for (std::size_t i = 0; i < values.size(); ++i) {
        ktbType type = ktbTypeNone;
        require(table.getColumnInfo(static_cast<int>(i), nullptr, &type, nullptr, nullptr), "a column has a type");
        const bool other = !values[i].isNull() && values[i].type() != type;
        row += (values[i].isNull() ? "null" : (other ? ofAnotherType : "") + seen(values[i])) + "\n";
    }
    return row;
}

}  // namespace

long readRows(KtWorkTableFile& table, long rowsMax, bool* whole, Rows* rows) {
    std::vector<KtbDatavar> values(static_cast<std::size_t>(table.getColumns()));
    long count = 0;
    *whole = false;
    while (table.readRow(values.data(), whole)) {
        require(++count <= rowsMax, "no more rows are read than the files have bytes for");
        if (rows != nullptr) rows->push_back(shown(table, values));
    }
    require(*whole || table.getError().length() != 0, "a row that cannot be read has its reason");
    return count;
}

namespace {

Table openAll(const KtbString& name, bool reversed) {
    KtbString error;
    Table table(manager().open(name, reversed, &error));
    require(table != nullptr || error.length() != 0, "a table that cannot be opened has its reason");
    return table;
}

void readAll(const KtbString& name, long rowsMax, bool reversed) {
    const Table table = openAll(name, reversed);
    bool whole = false;
    if (table) readRows(*table, rowsMax, &whole);
}

void readSome(const Table& table, long rowsMax) {
    bool whole = false;
    if (table) readRows(*table, rowsMax, &whole);
}

// Two numbers of which most are small.
struct Range {
    explicit Range(Input& choices) : given(choices.flag()) {
        for (long& number : numbers) {
            const unsigned kind = choices.below(8);
            number = kind == 7 ? static_cast<long>(choices.number(8)) : static_cast<long>(kind) - 1;
        }
    }
    long* get() { return given ? numbers : nullptr; }

    bool given;
    long numbers[2];
};

void readByIndex(const KtbString& name, long rowsMax, Input& choices) {
    int columns[4];
    const int count = static_cast<int>(choices.below(6)) - 1;
    for (int& column : columns) column = static_cast<int>(choices.below(9)) - 1;
    Range range(choices);
    KtbString error;
    readSome(Table(manager().open(name, count, columns, range.get(), choices.flag(), &error)), rowsMax);
}

// The names of the first columns of the table, now and then another.
void readByName(const KtbString& name, long rowsMax, Input& choices) {
    KtbString columns[3];
    if (const Table table = openAll(name, false)) {
        for (KtbString& column : columns) {
            const int number = static_cast<int>(choices.below(8));
            if (number >= table->getColumns() || !table->getColumnInfo(number, &column, nullptr, nullptr, nullptr))
                column = "nobody's";
        }
    }
    const int count = static_cast<int>(choices.below(5)) - 1;
    Range range(choices);
    KtbString error;
    readSome(Table(manager().open(name, count, columns, range.get(), choices.flag(), &error)), rowsMax);
}

void readAsXml(const KtbString& name, Input& choices) {
    const Table table = openAll(name, choices.flag());
    if (!table) return;
    const long first = static_cast<long>(choices.below(8)) - 2;
    const int count = static_cast<int>(choices.below(8)) - 2;
    KtbString out;
    bool end = false;
    require(table->readRows(first, count, &out, &end), "rows that run out only end the list of an XML document");
    table->readRows(first, count, &out, nullptr);
    require(out.length() != 0, "there is a document, or its beginning");
}

// The URI that a table tells of itself opens it again with the same columns, and the same rows as far as they can be read.
void readByItsUri(const KtbString& name, long rowsMax, Input& choices) {
    const bool reversed = choices.flag();
    const Table table = openAll(name, reversed);
    if (!table) return;
    const KtbString uri = table->toURIString(choices.flag());
    require(uri.length() != 0, "an open table has a URI");
    const Table again = openAll(uri, reversed);
    require(again != nullptr, "the URI of a table opens it");
    require(again->getColumns() == table->getColumns(), "the URI of a table shows its columns");
    bool whole = false;
    bool wholeAgain = false;
    const long count = readRows(*table, rowsMax, &whole);
    require(readRows(*again, rowsMax, &wholeAgain) == count && whole == wholeAgain, "the URI of a table shows its rows");
}

void askForFigures(const KtbString& name) {
    const Table table = openAll(name, false);
    if (!table) return;
    const std::unique_ptr<KtbStringCursor, Release> figures(table->statistics());
    require(figures != nullptr, "a table has its figures");
    int rows = 0;
    while (figures->next() == ktbCursorRow) rows += figures->getColumnValue(1).length() >= 0 ? 1 : 0;
    require(rows == 6, "there are six figures");
}

// The ranges follow each other without a gap, and there are no more than were asked for.
void askForPartition(const KtbString& name, Input& choices) {
    constexpr int partsMax = 40;
    const int wanted = static_cast<int>(choices.below(partsMax + 2)) - 1;
    int parts = wanted;
    long ranges[2 * partsMax + 2] = {};
    KtbString error;
    if (!manager().partition(name, &parts, ranges, &error)) return;
    require(parts <= (wanted < 0 ? 0 : wanted), "a table is not split into more parts than were asked for");
    long next = 0;
    for (int i = 0; i < parts; ++i) {
        require(ranges[2 * i] == next && ranges[2 * i + 1] >= 0, "the parts of a table follow each other");
        next = ranges[2 * i + 1] > LONG_MAX - next ? LONG_MAX : next + ranges[2 * i + 1];
    }
}

class FileCounter : public KtWorkTableFileVisitor {
public:
    bool visit(const KtWorkTableFilePart& file) override {
        require(file.path != nullptr && file.bytes >= -1, "a file has a name, and a size if it is there");
        ++count;
        return true;
    }
    long count = 0;
};

// The files are told whenever the table can be opened.
void listFiles(const KtbString& name) {
    FileCounter counter;
    KtbString error;
    const bool listed = ktwtListTableFiles(Place::get().path().c_str(), name, &counter, &error);
    require(listed ? counter.count != 0 : error.length() != 0, "the files of a table are told, or why they are not");
    require(listed || !openAll(name, false), "a table that can be opened has files");
}

}  // namespace

long findingsIn(const KtbString& name, long rowsMax) {
    KtWorkTableVerification counts = {};
    KtbString error;
    const bool looked = ktwtVerifyTable(Place::get().path().c_str(), name, nullptr, &counts, &error);
    require(looked || error.length() != 0, "a table that cannot be looked at has its reason");
    require(counts.rows <= rowsMax, "no more rows are gone through than the files have bytes for");
    if (!looked || counts.findings != 0) return looked ? counts.findings : -1;
    const Table table = openAll(name, false);
    require(table != nullptr, "a table without findings can be opened");
    bool whole = false;
    require(readRows(*table, rowsMax, &whole) == counts.rows && whole, "a table without findings can be read");
    return 0;
}

void readInEveryWay(const KtbString& name, long rowsMax, Input& choices) {
    readAll(name, rowsMax, false);
    readAll(name, rowsMax, true);
    readByIndex(name, rowsMax, choices);
    readByName(name, rowsMax, choices);
    readAsXml(name, choices);
    readByItsUri(name, rowsMax, choices);
    askForFigures(name);
    askForPartition(name, choices);
    listFiles(name);
    findingsIn(name, rowsMax);
}

}  // namespace fuzzing
