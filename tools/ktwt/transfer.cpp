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

// A constant's width counts characters, where a stored text is cut by bytes: no text that is there may be cut.
static int widthOf(const ColumnInfo& column) { return column.width > 0 ? std::max(column.width, column.longest - 1) : 0; }

Outcome defineLike(KtWorkTableFile& source, KtWorkTableFile& target) {
    std::vector<ColumnInfo> columns;
    if (Outcome read = columnsOf(source, &columns); !read.ok()) return read;
    int number = 0;
    for (const ColumnInfo& column : columns) {
        if (!target.defineColumnInfo(number++, column.name.c_str(), column.type, widthOf(column))) {
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
