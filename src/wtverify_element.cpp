// One data element: its data file row by row, beside its index file entry by entry.
#include <algorithm>
#include <utility>

#include "ktwt/bytes.h"
#include "wtelem.h"
#include "wtinspect.h"
#include "wtmgr.h"
#include "wtverify.h"

namespace ktwt {

ElementVerification::ElementVerification(TableVerification* owner, int number)
    : owner_(owner),
      element_(owner->table().elementAt(number)),
      number_(number),
      columnCount_(owner->table().getActualColumns()),
      data_{.findings = {owner->report(), ktwtFileData, number}},
      index_{.findings = {owner->report(), ktwtFileIndex, number}},
      rows_(owner->table(), number, &data_.findings) {}

bool ElementVerification::run() {
    const KtbString& indexName = element_.indexName();
    if (indexName.cStrSize() > 1 && !open(indexName, indexPrefix, &index_)) return false;
    if (!open(element_.dataName(), dataPrefix, &data_)) return false;
    countEntries();
    if (data_.file != nullptr && element_.getRows() > 0 && !checkRows()) return false;
    data_.findings.finish();
    index_.findings.finish();
    return true;
}

// Leaves the part without its file when that is missing. Returns false when it is not known whether it is.
bool ElementVerification::open(const KtbString& name, const char* prefix, Part* part) {
    PlacedFile found = openFile(*owner_->table().getManager(), directory_, name, prefix, np_mode_read);
    part->file.reset(found.file);
    part->path = std::move(found.path);
    const bool isNowhere = found.code == np_err_no_such_file || found.code == np_err_name;
    const char* path = isNowhere ? name.asCstr() : part->path.asCstr();
    part->findings.setPath(path);
    if (isMissing(found.code)) {
        tellMissing(name, prefix, found.code, part);
        return true;
    }
    if (found.code != np_ok) return owner_->fail(refusedFile(path, found.code));
    directory_ = found.directory;
    part->bytes = np_fio_seek64(found.file, 0, np_from_end);
    if (part->bytes < 0 || np_fio_seek64(found.file, 0, np_from_start) != 0) return owner_->failReading(path);
    owner_->countBytes(part->bytes);
    return true;
}

void ElementVerification::tellMissing(const KtbString& name, const char* prefix, int code, Part* part) {
    if (!isFileName(name, prefix) || code == np_err_name) {
        part->findings.tell(at(-1), "The header names this file, but no file of this kind is named so: it is not looked for.");
    } else if (code == np_err_no_such_file) {
        part->findings.tell(at(-1), "The file is in none of the work directories.");
    } else {
        part->findings.tell(at(-1), "There is something else in the place of the file: a link, a directory or a device.");
    }
}

void ElementVerification::countEntries() {
    const long rows = std::max(element_.getRows(), 0L);
    entryCount_ = std::min(rows, index_.bytes / indexEntrySize);
    if (index_.file == nullptr || entryCount_ == rows) return;
    index_.findings.tell(at(entryCount_, index_.bytes), "The index ends here: it has entries for %ld of %ld rows.", entryCount_,
                         rows);
}

bool ElementVerification::checkRows() {
    // A row without columns is its index entry and nothing else.
    if (columnCount_ == 0 && element_.indexName().cStrSize() == 1) {
        data_.findings.tell(at(-1), "The rows have no columns and there is no index: nothing bears out that there are %ld.",
                            element_.getRows());
        return true;
    }
    rows_.start(data_.file.get());
    if (entryCount_ != 0 && !checkFirstEntry()) return false;
    for (; row_ < element_.getRows() && canGoOn() && !isStopped(); ++row_) {
        if (!checkRow()) return false;
    }
    tellEntries();
    const long left = element_.getRows() - row_;
    if (left != 0 && columnCount_ != 0 && !isStopped()) {
        data_.findings.tell(
            at(row_), "It cannot be told where this row begins; it is the first of %ld that were not gone through.", left);
    }
    return true;
}

bool ElementVerification::checkFirstEntry() {
    entries_.start(index_.file.get(), 0);
    long first = 0;
    if (!takeEntry(&first)) return false;
    if (first != 0) index_.findings.tell(at(0, 0), "The first entry is %ld, not 0.", first);
    return true;
}

bool ElementVerification::takeEntry(long* offset) {
    if (!entries_.get(offset, indexEntrySize)) return owner_->failReading(index_.path.asCstr());
    if (owner_->table().isByteSwap()) reverseBytes(offset, indexEntrySize);
    return true;
}

// Whether more rows can be found: where this one begins is known, or an entry to come may tell where a later one does. Rows
// without columns are all in one place, so that there are as many as there are entries.
bool ElementVerification::canGoOn() const {
    if (columnCount_ == 0) return row_ < entryCount_;
    return known_ || row_ + 1 < entryCount_;
}

// Goes through one row, as far as that can be done, and finds out where the next one begins.
bool ElementVerification::checkRow() {
    long next = 0;
    const bool hasNext = row_ + 1 < entryCount_;
    if (hasNext && !takeEntry(&next)) return false;
    const bool believed = hasNext && believes(next);
    if (known_) {
        switch (rows_.check(row_, begin_, believed ? next : data_.bytes)) {
            case RowCheck::End::whole:
                owner_->countRow();
                if (believed) checkEnd(next);
                begin_ = believed ? next : rows_.offset();
                return true;
            case RowCheck::End::undelivered: return owner_->failReading(data_.path.asCstr());
            case RowCheck::End::tooLong: tellTooLong(believed, next); break;
            case RowCheck::End::damaged: break;
        }
    }
    known_ = believed;
    begin_ = next;
    return true;
}

// Whether the next row may begin there, behind this one, of which each column has a byte at least.
bool ElementVerification::believes(long next) {
    const long lowest = known_ ? begin_ + columnCount_ : rows_.offset();
    const bool outside = next < 0 || next > data_.bytes;
    const Fault fault = outside ? Fault::outside : next < lowest ? Fault::noRoom : Fault::none;
    noteEntry(fault, next);
    return fault == Fault::none;
}

void ElementVerification::noteEntry(Fault fault, long value) {
    if (fault != fault_) {
        tellEntries();
        fault_ = fault;
        faultRow_ = row_ + 1;
        faultValue_ = value;
        faultCount_ = 0;
    }
    ++faultCount_;
}

void ElementVerification::tellEntries() {
    if (fault_ == Fault::none) return;
    const char* what = fault_ == Fault::outside ? "lies outside of the data file" : "leaves no room for the row before it";
    const FindingPlace place = at(faultRow_, faultRow_ * indexEntrySize);
    if (faultCount_ == 1) index_.findings.tell(place, "The entry, %ld, %s.", faultValue_, what);
    if (faultCount_ > 1) {
        index_.findings.tell(place, "The entry, %ld, %s, and so it is with the next %ld.", faultValue_, what, faultCount_ - 1);
    }
    fault_ = Fault::none;
}

void ElementVerification::checkEnd(long next) {
    const long end = rows_.offset();
    if (end != next)
        data_.findings.tell(at(row_, end), "The row ends here, but the index has the next one begin at %ld.", next);
}

void ElementVerification::tellTooLong(bool believed, long next) {
    const FindingPlace place = at(row_, begin_);
    if (believed) {
        data_.findings.tell(place, "The row goes on beyond %ld, where the index has the next one begin.", next);
    } else if (begin_ == data_.bytes) {
        data_.findings.tell(place, "The data file ends before this row.");
    } else {
        data_.findings.tell(place, "The data file ends within this row.");
    }
}

}  // namespace ktwt
