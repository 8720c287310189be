#include "wtstats.h"

#include <new>

#include "wtfile.h"
#include "wtmessage.h"
#include "wtnull.h"

namespace {

template <class Number>
KtbString numberText(Number number) {
    KtbString text;
    text.assign(number);
    return text;
}

// The parts are divided as the language divides, so that each part of a negative version is negative or 0.
KtbString versionText(int version) { return ktbStringFormat("%d.%d", version / 100, version % 100); }

}  // namespace

KtbStringCursor* KTWTFileImpl::statistics() {
    const KTWTFigures figures = {.label = label_,
                                 .columns = rowColumns(),
                                 .elementSize = elementSize_,
                                 .elements = elementCount_,
                                 .rows = rows_,
                                 .version = version_};
    KtbString why;
    KTWTStatistics* cursor = KTWTStatistics::make(figures, &why);
    if (cursor == nullptr) fail(why);
    return cursor;
}

KTWTStatistics* KTWTStatistics::make(const KTWTFigures& figures, KtbString* error) {
    KTWTStatistics* cursor = new (std::nothrow) KTWTStatistics;
    if (cursor != nullptr && cursor->fill(figures)) return cursor;
    delete cursor;
    *error = KTWT_MESSAGE(29, "(work table statistics container)");
    return nullptr;
}

bool KTWTStatistics::fill(const KTWTFigures& figures) {
    return addRow("AccessKey", figures.label) && addRow("Columns", numberText(figures.columns)) &&
           addRow("ElementSize", numberText(figures.elementSize)) && addRow("Elements", numberText(figures.elements)) &&
           addRow("Rows", numberText(figures.rows)) && addRow("Version", versionText(figures.version));
}

// Returns false when the value, which is never null, could not be had for want of memory.
bool KTWTStatistics::addRow(const char* name, const KtbString& value) {
    KtbString* row = values_[filled_++];
    row[0] = name;
    row[1] = value;
    return !row[1].isNull();
}

KtbString KTWTStatistics::getColumnName(int column) {
    static constexpr const char* names[columnCount] = {"Statistic", "Value"};
    return column >= 0 && column < columnCount ? KtbString(names[column]) : KtbString();
}

KtbString KTWTStatistics::getColumnValue(int column) {
    const bool isOnRow = current_ >= 0 && current_ < rowCount;
    const bool isColumn = column >= 0 && column < columnCount;
    return isOnRow && isColumn ? values_[current_][column] : KtbString();
}

bool KTWTStatistics::getRows(long* rows) {
    if (rows != nullptr) *rows = rowCount;
    return true;
}

int KTWTStatistics::next() {
    if (current_ < rowCount) ++current_;
    return current_ < rowCount ? ktbCursorRow : ktbCursorEnd;
}

void KTWTStatistics::release() {
    if (!ktwt::isNull(this)) delete this;
}

bool KTWTStatistics::top() {
    current_ = -1;
    return true;
}
