// The handing back of sorted rows, by the caller alone or with a thread that merges ahead.
#include "sort/row_record.h"
#include "sort/row_sort.h"

int RowSort::firstRow() {
    if (state_ != State::finished) return failOutOfOrder("The first row can be fetched once, when the sort is finished.");
    state_ = State::delivering;
    return beginDelivery() == ktSortRow ? deliver() : ktSortFailed;
}

// Where there is no memory for a pump the caller does without.
int RowSort::beginDelivery() {
    pace_.begin(ktSortDelivering, rowsIn_);
    watch_.restart();
    const RowMerge::Begun begun = rows_->beginAll([this] { return pace_.go(setup_.chunkBytes, 0); });
    if (begun == RowMerge::Begun::failed) return failOnDisk();
    if (begun == RowMerge::Begun::stopped) return failCancelled();
    const bool isOfUse = setup_.batchBytes != 0 && threads_.areRunning() && memory_.fits(2 * setup_.batchBytes);
    if (!isOfUse) return ktSortRow;
    pump_ = RowPump::make(*rows_, setup_.batchBytes);
    if (!pump_) return ktSortRow;
    memory_.take(2 * setup_.batchBytes);
    if (!threads_.start(pump_.get())) pump_.reset();
    return ktSortRow;
}

int RowSort::nextRow() {
    if (state_ == State::ended) return ktSortEnd;
    if (state_ != State::delivering) return failOutOfOrder("A next row can be fetched only after the first.");
    return deliver();
}

int RowSort::deliver() {
    const unsigned char* record = nullptr;
    for (;;) {
        const RowPump::Got got = fetch(&record);
        if (got == RowPump::Got::nothingYet) {
            if (!pace_.goNow(rowsOut_)) return failCancelled();
            continue;
        }
        if (got != RowPump::Got::row) return endDelivery(got);
        if (!pace_.go(RowRecord::bytes(record), rowsOut_)) return failCancelled();
        if (!isDropped(record)) return deliverRow(record);
    }
}

RowPump::Got RowSort::fetch(const unsigned char** record) {
    if (pump_) return pump_->next(record, patience);
    if (!rows_->next(record)) return RowPump::Got::failed;
    return *record != nullptr ? RowPump::Got::row : RowPump::Got::end;
}

int RowSort::endDelivery(RowPump::Got why) {
    if (why == RowPump::Got::failed) return failOnDisk();
    if (why == RowPump::Got::exhausted) return failForMemory("(sorted row)");
    state_ = State::ended;
    startsGroup_ = false;
    fillInfo();
    return ktSortEnd;
}

// Whether the row only repeats the keys of the one before. Tells on the way where groups begin.
bool RowSort::isDropped(const unsigned char* record) {
    if (!setup_.settings.noDups && !setup_.settings.markByGroups) return false;
    const bool repeats = watch_.isSameGroup(record);
    startsGroup_ = setup_.settings.markByGroups && !repeats;
    if (!repeats || !setup_.settings.noDups) return false;
    ++duplicates_;
    return true;
}

int RowSort::deliverRow(const unsigned char* record) {
    const bool watches = setup_.settings.noDups || setup_.settings.markByGroups;
    if (watches && !watch_.remember(record)) return failForMemory("(row to be compared)");
    if (!layout_.decode(record, values_.get())) return failForMemory("(sorted row)");
    ++rowsOut_;
    groups_ += startsGroup_;
    return ktSortRow;
}
