#include "transfer.h"

#include <algorithm>

#include "interrupt.h"
#include "output.h"
#include "progress.h"

long rowsShown(KtWorkTableFile& table) {
    const long stored = std::max(table.getRows(), 0L);
    const Uri uri(getURIFromURIString(table.toURIString(true)));
    if (!uri || !uri->hasRange()) return stored;
    const long left = std::max(stored - uri->getRangeStart(), 0L);
    return uri->getRangeCount() < 0 ? left : std::min(left, uri->getRangeCount());
}

// The width of a constant counts characters, where that of a stored text counts bytes: in a new table it would cut the text.
static int widthOf(const ColumnInfo& column, KtWorkTableURI& shown, int number) {
    const bool isConstant = shown.getColumnType(number) != ktbTypeNone;
    return isConstant ? std::max(column.width, shown.getColumnSource(number).cStrSize() - 1) : column.width;
}

Outcome defineLike(KtWorkTableFile& source, KtWorkTableFile& target) {
    std::vector<ColumnInfo> columns;
    if (Outcome read = columnsOf(source, &columns); !read.ok()) return read;
    const Uri shown(getURIFromURIString(source.toURIString(true)));
    if (!shown) return libraryFailure("", KtbString());
    int number = 0;
    for (const ColumnInfo& column : columns) {
        const int width = widthOf(column, *shown, number);
        if (!target.defineColumnInfo(number++, column.name.c_str(), column.type, width)) {
            return libraryFailure("", target.getError());
        }
    }
    return {};
}

Outcome moveRows(const char* what, const std::string& sourceName, KtWorkTableFile& source, KtWorkTableFile& target) {
    std::vector<KtbDatavar> values(static_cast<std::size_t>(source.getColumns()));
    Progress progress(what, Progress::Unit::rows, rowsShown(source));
    bool end = false;
    for (long rows = 0; source.readRow(values.data(), &end); progress.at(++rows)) {
        if (interrupted()) return cancelled();
        if (!target.writeRow(values.data())) return libraryFailure("", target.getError());
    }
    return end ? Outcome() : libraryFailure(sourceName, source.getError());
}

Outcome printName(KtWorkTableManager& manager, const std::string& name) {
    Output out;
    out.put(name);
    out.put('\n');
    Outcome printed = out.finish();
    KtbString ignored;  // why nobody could be told the name is worth more
    if (!printed.ok()) manager.remove(name.c_str(), &ignored);
    return printed;
}
