// The input is a text that may be a table's name or its URI. A text that parses is the same after it was put together and taken
// apart again; one that does not parse is a name. Either way it can be given to a manager.
#include "ktb/worktable_uri.h"
#include "table_reading.h"

using namespace fuzzing;

namespace {

using Uri = std::unique_ptr<KtWorkTableURI, Release>;

// A table of two columns and three rows, for URIs that name it.
void writeTable() {
    KtbString error;
    const Table table(manager().create(2, 0, &error));
    require(table != nullptr && table->defineColumnInfo(0, "a", ktbTypeInteger, 0) &&
                table->defineColumnInfo(1, "b", ktbTypeString, 0),
            "a table can be made");
    KtbDatavar values[2];
    for (long row = 0; row < 3; ++row) {
        values[0].assign(row);
        values[1].assign("text");
        require(table->writeRow(values), "a row can be written");
    }
    require(table->close(), "a table can be closed");
    const std::string name = table->getName().asCstr();
    const std::string bytes = Place::get().bytesOf(name);
    Place::get().put("ktwt_fuzz", bytes);
}

bool isSame(const KtbString& left, const KtbString& right) {
    return left.isNull() == right.isNull() && left.compare(right, true) == 0;
}

void requireSame(KtWorkTableURI& left, KtWorkTableURI& right) {
    require(isSame(left.getPath(), right.getPath()), "a path stays what it was");
    require(left.hasRange() == right.hasRange() && left.getRangeStart() == right.getRangeStart() &&
                left.getRangeCount() == right.getRangeCount(),
            "a range stays what it was");
    require(left.getColumns() == right.getColumns(), "the number of columns stays what it was");
    for (int i = 0; i < left.getColumns(); ++i) {
        require(isSame(left.getColumnName(i), right.getColumnName(i)), "a column's name stays what it was");
        require(isSame(left.getColumnSource(i), right.getColumnSource(i)), "a column's source stays what it was");
        require(left.getColumnType(i) == right.getColumnType(i), "a column's type stays what it was");
    }
}

// The same, put together from its parts.
void buildAgain(KtWorkTableURI& uri) {
    const Uri built(uri.hasRange() ? getWorkTableURIFromComponents(uri.getPath(), uri.getRangeStart(), uri.getRangeCount())
                                   : getWorkTableURIFromComponents(uri.getPath()));
    require(built != nullptr, "a URI can be made");
    KtbString error;
    for (int i = 0; i < uri.getColumns(); ++i) {
        require(built->addColumn(uri.getColumnName(i), uri.getColumnType(i), uri.getColumnSource(i), &error),
                "a column can be added");
    }
    requireSame(uri, *built);
}

void parse(const KtbString& text) {
    const Uri uri(getURIFromURIString(text));
    if (!uri) return;
    const KtbString written = uri->getURIString();
    const Uri again(getURIFromURIString(written));
    require(again != nullptr, "the text of a URI is a URI");
    require(isSame(uri->getScheme(), again->getScheme()), "a scheme stays what it was");
    requireSame(*uri, *again);
    require(isSame(written, again->getURIString()), "the text of a URI stays what it was");
    buildAgain(*uri);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool written = (writeTable(), true);
    require(written, "the table is there");
    const Watch watch;
    const KtbString text = textOf(std::string(reinterpret_cast<const char*>(data), size));
    parse(text);
    for (const bool reversed : {false, true}) {
        KtbString error;
        const Table table(manager().open(text, reversed, &error));
        require(table != nullptr || error.length() != 0, "a text that opens nothing has its reason");
        bool whole = false;
        if (table) readRows(*table, 3, &whole);
        require(!table || whole, "the rows of an undamaged table can be read through any URI");
    }
    return 0;
}
