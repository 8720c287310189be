#include "uri/worktable_uri.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

#include "uri/uri_text.h"

namespace ktb_uri {
namespace {

bool fail(const char* literal, KtbString* error) noexcept {
    // A literal needs no memory, so the reason arrives even when the reason is that there is none.
    *error = KtbString(literal, true);
    return false;
}

// A column to be stored; its name is null when memory is exhausted.
Column makeColumn(const KtbString& name, ktbType type, const KtbString& source) noexcept {
    Column column;
    column.name = name;
    const bool known = type >= ktbTypeNone && type <= ktbTypeDouble;
    column.type = known ? type : ktbTypeString;
    if (source.isNull()) return column;
    if (column.type == ktbTypeNone && source.compare(name, true) == 0) return column;
    column.source = source;
    if (column.source.isNull()) column.name.setNull();
    return column;
}

void appendRange(long start, long count, KtbString* out, bool* failed) noexcept {
    KtbString number;
    out->append("rows=", failed);
    number.assign(start);
    out->append(number, failed);
    out->append(",", failed);
    number.assign(count);
    out->append(number, failed);
}

void appendColumn(const Column& column, KtbString* out, bool* failed) noexcept {
    out->append("col=", failed);
    appendEncoded(column.name, out, failed);
    const bool constant = column.type != ktbTypeNone;
    if (constant) {
        out->append(":", failed);
        out->append(ktbTypeToString(column.type), failed);
    }
    if (!constant && column.source.cStrSize() == 1) return;
    out->append("=", failed);
    appendEncoded(column.source, out, failed);
}

}  // namespace

std::unique_ptr<WorkTableURI> WorkTableURI::make(const KtbString& scheme, const KtbString& path) noexcept {
    std::unique_ptr<WorkTableURI> uri(new (std::nothrow) WorkTableURI);
    if (!uri) return nullptr;
    uri->scheme_ = scheme;
    uri->path_ = path;
    if (uri->scheme_.isNull() || uri->path_.isNull()) return nullptr;
    return uri;
}

void WorkTableURI::setRange(long start, long count) noexcept {
    hasRange_ = true;
    rangeStart_ = start;
    rangeCount_ = count;
}

KtbString WorkTableURI::getURIString() {
    bool failed = false;
    KtbString text = scheme_;
    text.append(":", &failed);
    appendEncoded(path_, &text, &failed);
    const char* separator = "?";
    if (hasRange_) {
        text.append(std::exchange(separator, "&"), &failed);
        appendRange(rangeStart_, rangeCount_, &text, &failed);
    }
    for (int i = 0; i < columnCount_ && !failed; ++i) {
        text.append(std::exchange(separator, "&"), &failed);
        appendColumn(columns_[static_cast<unsigned>(i)], &text, &failed);
    }
    if (failed) text.setNull();
    return text;
}

const Column* WorkTableURI::find(int column) const noexcept {
    if (column < 0 || column >= columnCount_) return nullptr;
    return &columns_[static_cast<unsigned>(column)];
}

KtbString WorkTableURI::getColumnName(int column) {
    const Column* found = find(column);
    return found != nullptr ? found->name : KtbString(nullptr);
}

KtbString WorkTableURI::getColumnSource(int column) {
    const Column* found = find(column);
    return found != nullptr ? found->source : KtbString(nullptr);
}

ktbType WorkTableURI::getColumnType(int column) {
    const Column* found = find(column);
    return found != nullptr ? found->type : ktbTypeNone;
}

// Makes room for one more column.
bool WorkTableURI::reserveColumn() noexcept {
    if (columnCount_ < columnCapacity_) return true;
    if (columnCapacity_ > INT_MAX / 2) return false;
    const int capacity = columnCapacity_ == 0 ? 8 : columnCapacity_ * 2;
    std::unique_ptr<Column[]> grown(new (std::nothrow) Column[static_cast<unsigned>(capacity)]);
    if (!grown) return false;
    std::move(columns_.get(), columns_.get() + columnCount_, grown.get());
    columns_ = std::move(grown);
    columnCapacity_ = capacity;
    return true;
}

bool WorkTableURI::addColumn(const KtbString& name, ktbType type, const KtbString& source, KtbString* error) {
    if (name.isNull()) return fail("A column of a work table URI must have a name.", error);
    Column column = makeColumn(name, type, source);
    if (column.name.isNull() || !reserveColumn()) return fail("There is no memory for a column of a work table URI.", error);
    columns_[static_cast<unsigned>(columnCount_++)] = std::move(column);
    return true;
}

}  // namespace ktb_uri

KtWorkTableURI* getWorkTableURIFromComponents(const KtbString& name) {
    return ktb_uri::WorkTableURI::make(KtbString("ktwt", true), name).release();
}

KtWorkTableURI* getWorkTableURIFromComponents(const KtbString& name, long rangeStart, long rangeCount) {
    std::unique_ptr<ktb_uri::WorkTableURI> uri = ktb_uri::WorkTableURI::make(KtbString("ktwt", true), name);
    if (uri) uri->setRange(rangeStart, rangeCount);
    return uri.release();
}
