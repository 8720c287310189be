#include "row_source.h"

#include <algorithm>

#include "interrupt.h"

Outcome RowSource::open(KtWorkTableManager& manager, const RowChoice& choice, const RowOrder& order) {
    what_ = choice.table;
    Uri uri;
    if (Outcome made = makeUri(manager, choice, &uri); !made.ok()) return made;
    KtbString error;
    table_.reset(manager.open(uri->getURIString(), order.reversed, &error));
    if (!table_) return libraryFailure(what_, error);
    if (Outcome described = columnsOf(*table_, &columns_); !described.ok()) return described;
    values_.resize(std::max<std::size_t>(columns_.size(), 1));
    plan(*uri, order);
    return {};
}

// From last to first, a range of the library only says where to end, so that the rows behind it are passed over here.
void RowSource::plan(KtWorkTableURI& uri, const RowOrder& order) {
    const long rows = std::max(table_->getRows(), 0L);
    const long first = std::min(uri.getRangeStart(), rows);
    const long asked = uri.getRangeCount();
    const long count = asked < 0 ? rows - first : std::min(asked, rows - first);
    const long wanted = order.limit ? std::min(*order.limit, count) : count;
    if (order.reversed && wanted != 0) passedOver_ = rows - first - count;
    expected_ = passedOver_ + wanted;
    isBounded_ = order.limit || wanted == 0;
}

bool RowSource::next() {
    while (read_ < passedOver_) {
        if (!readRow()) return false;
    }
    return readRow();
}

bool RowSource::readRow() {
    if (!outcome_.ok() || (isBounded_ && read_ >= expected_)) return false;
    if (interrupted()) return fail(cancelled());
    bool end = false;
    if (table_->readRow(values_.data(), &end)) {
        ++read_;
        return true;
    }
    if (!end) return fail(libraryFailure(what_, table_->getError()));
    return read_ >= expected_ ? false
                              : fail({Status::damaged, what_ + ": the table's header tells of more rows than its files hold"});
}

bool RowSource::fail(Outcome outcome) {
    outcome_ = std::move(outcome);
    return false;
}
