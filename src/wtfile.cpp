// The life of a work table: created or opened, closed, removed.
#include "wtfile.h"

#include <algorithm>
#include <climits>
#include <new>

#include "wtcodec.h"
#include "wtelem.h"
#include "wtmessage.h"
#include "wtmgr.h"
#include "wtnull.h"
#include "wtpath.h"

KTWTFileImpl::KTWTFileImpl(KTWTManagerImpl* manager) : manager_(manager) {}

KTWTFileImpl::~KTWTFileImpl() {
    if (created_ && error_.length() != 0) abandonSort();  // the table is removed below
    close();                                              // a failure leaves its text, which is looked at next
    if (created_ && !removed_ && error_.length() != 0) remove();
}

void KTWTFileImpl::release() {
    if (!ktwt::isNull(this)) delete this;
}

KtbString KTWTFileImpl::getError() { return ktwt::copyOfFailure(error_); }
KtbString KTWTFileImpl::getName() { return name_; }
long KTWTFileImpl::getRows() { return rows_; }

bool KTWTFileImpl::create(int columns, int sortColumns, long elementSize) {
    if (columns < 0 || sortColumns < 0) return fail(KTWT_MESSAGE(1420));
    created_ = true;
    elementSize_ = elementSize;
    version_ = ktwt::headerVersion;
    columnCount_ = columns;
    if (columns != 0) {
        columnDefs_.reset(new (std::nothrow) KTWTColumnDef[static_cast<std::size_t>(columns)]);
        if (!columnDefs_) return fail(KTWT_MESSAGE(29, "(column definition array)"));
    }

    ktwt::PlacedFile header = ktwt::createHeader(*manager_, directory_);
    if (header.file == nullptr) {
        const KtbString& last = manager_->directoryAt(manager_->getDirectoryCount() - 1);
        return fail(KTWT_MESSAGE(1417, last.asCstr(), header.code, np_fio_errdesc(header.code)));
    }
    headerFile_ = header.file;
    headerPath_ = std::move(header.path);  // a copy could fail, and the file could not be removed any more
    directory_ = header.directory;
    const int code = ktwt::lastPathPart(headerPath_, &name_);
    if (code != np_ok) {
        abandonHeader();
        return fail(KTWT_MESSAGE(1783, "header", code, np_fio_errdesc(code)));
    }

    sortColumnCount_ = sortColumns;
    if (sortColumns != 0) {
        sortKeys_.reset(new (std::nothrow) KTWTSortKey[static_cast<std::size_t>(sortColumns)]);
        if (!sortKeys_) return fail(KTWT_MESSAGE(29, "(sort column definition array)"));
    }
    return true;
}

// A new header whose name cannot be told could never be removed by name.
void KTWTFileImpl::abandonHeader() {
    closeHeader(false);
    np_fio_unlink(headerPath_.asCstr());  // the failure to report is the one that led here
    headerPath_ = KtbString();
    created_ = false;
}

bool KTWTFileImpl::open(const KtbString& name, bool readOnly, long* range, bool reversed) {
    return openHeader(name, {.readOnly = readOnly, .markReadOnly = false, .reversed = reversed}, range);
}

bool KTWTFileImpl::openHeader(const KtbString& name, OpenMode mode, long* range) {
    if (!close()) return false;
    sortColumnCount_ = 0;  // rows that are appended come after those that are there
    if (name.cStrSize() > 1 || headerPath_.length() == 0) name_ = name;  // asking for its length would change it
    reversed_ = mode.reversed;
    if (mode.markReadOnly) readOnly_ = true;
    if (!mode.readOnly) readOnly_ = false;
    long startRow = 0;
    const bool opened = openHeaderFile(mode.readOnly) && restoreHeader() && applyRange(range, &startRow) &&
                        (mode.readOnly ? openForReading(startRow) : openForAppending());
    return opened || abandonOpening();
}

bool KTWTFileImpl::openForInspection(const KtbString& name) {
    name_ = name;
    if (name_.isNull() != name.isNull()) return fail(KTWT_MESSAGE(29, "(work table name)"));
    readOnly_ = true;
    return openHeaderFile(true);
}

bool KTWTFileImpl::openHeaderFile(bool readOnly) {
    const int mode = readOnly ? np_mode_read : np_mode_append;
    const bool pathKnown = headerPath_.length() != 0;
    int code = np_ok;
    if (pathKnown) {
        code = np_fio_open(headerPath_.asCstr(), mode, &headerFile_);
    } else {
        ktwt::PlacedFile found = ktwt::openFile(*manager_, 0, name_, "", mode);
        code = found.code;
        if (found.joinFailed) return fail(KTWT_MESSAGE(1784, "header", code, np_fio_errdesc(code)));
        headerFile_ = found.file;
        directory_ = found.directory;
        headerPath_ = std::move(found.path);
    }
    if (code == np_ok) code = holdHeader(readOnly);
    if (code == np_ok) {
        headerReadOnly_ = readOnly;
        removed_ = false;
        return true;
    }
    const char* text = np_fio_errdesc(code);
    const KtbString& tried = headerPath_.length() != 0 ? headerPath_ : name_;
    fail(text != nullptr ? KTWT_MESSAGE(1353, tried.asCstr(), text) : KTWT_MESSAGE(1352, tried.asCstr(), code));
    if (!pathKnown) headerPath_ = KtbString();  // it led nowhere: the next open may search for another name
    return false;
}

// A table that is read does without a hold while somebody is clearing away: what a finished header tells of is never touched.
// Returns an error code of the file layer, with the file closed, unless it is np_ok.
int KTWTFileImpl::holdHeader(bool readOnly) {
    const int code = np_fio_hold(headerFile_, readOnly ? 0 : 1);
    if (code == np_ok || (readOnly && code == np_err_busy)) return np_ok;
    closeHeader(false);
    return code;
}

// Closes what a failed open has opened, so that nothing that follows writes to a table that was never properly open, or removes
// it.
bool KTWTFileImpl::abandonOpening() {
    KtbString why = std::move(error_);  // a copy could fail
    closeCurrent(false);
    closeHeader(false);
    created_ = false;
    currentRow_ = 0;
    nextElement_ = 0;
    return fail(std::move(why));
}

bool KTWTFileImpl::applyRange(const long* range, long* startRow) {
    rangeStart_ = 0;
    rangeCount_ = -1;
    rangeEnd_ = -1;
    *startRow = reversed_ ? std::max(rows_, 0L) - 1 : 0;  // a damaged header may count less than none
    if (range == nullptr) return true;
    // A count that leaves no room to count on is damage: no disk holds that many rows.
    if (rows_ > LONG_MAX / 2) return fail(KTWT_MESSAGE(1301, "element definition"));
    const long first = range[0];
    const long count = range[1];
    if (first < 0) return fail(KTWT_MESSAGE(1788, first));
    if (count < -1) return fail(KTWT_MESSAGE(1789, count));
    rangeStart_ = first;
    if (count != -1) {
        rangeCount_ = count;
        rangeEnd_ = count > LONG_MAX - first ? LONG_MAX : first + count;
    }
    if (first >= rows_) {
        nextElement_ = elementCount_;
        currentRow_ = first;
        *startRow = 0;
    } else if (!reversed_) {
        *startRow = first;
    }
    return true;
}

// Whether rows can be counted on from there: no disk holds more than the half of what a count can say, so that such a count is
// damage.
static bool isRowCount(long rows) { return rows >= 0 && rows <= LONG_MAX / 2; }

bool KTWTFileImpl::openForAppending() {
    if (byteSwap_) {
        return fail(KTWT_MESSAGE(1353, headerPath_.asCstr(), "rows cannot be appended to a table of the other byte order"));
    }
    if (!isRowCount(rows_)) return fail(KTWT_MESSAGE(1301, "element definition"));
    currentRow_ = rows_;
    storedElementCount_ = elementCount_;
    if (elementCount_ == 0) return true;
    current_ = elements_[static_cast<std::size_t>(elementCount_ - 1)].get();
    if (!isRowCount(current_->getRows())) return fail(KTWT_MESSAGE(1301, "element definition"));
    if (!current_->open(false) || !current_->placeForAppending()) return fail(current_->getError());
    const bool full = elementSize_ != 0 && current_->getSize() > elementSize_;
    return !full || closeCurrent(true);
}

// Opens the element that holds the first row to be read, unless that is where reading begins anyway.
bool KTWTFileImpl::openForReading(long startRow) {
    const bool beyondRows = elementCount_ != 0 && nextElement_ == elementCount_;
    if (beyondRows) return true;
    currentRow_ = startRow;
    if (!reversed_) return startRow == 0 || openElementOf(startRow);
    nextElement_ = elementCount_ - 1;
    bool end = false;
    return startRow <= 0 || openNextElement(&end) || end;
}

// Makes the element that holds the row the current one and places it there. When the header counts rows that no element has
// there is nothing to open, nor to read.
bool KTWTFileImpl::openElementOf(long row) {
    while (nextElement_ < elementCount_) {
        KTWTFileElement* element = elements_[static_cast<std::size_t>(nextElement_++)].get();
        const long rows = element->getRows();
        if (row >= rows) {
            row -= std::max(rows, 0L);
            continue;
        }
        if (!element->open(true) || !element->seek(row)) return failIn(element);
        current_ = element;
        return true;
    }
    return true;
}

// Takes over the failure of an element that did not become the current one, and lets go of its files.
bool KTWTFileImpl::failIn(KTWTFileElement* element) {
    fail(element->getError());
    element->close();  // it was opened for reading: nothing can be lost
    return false;
}

bool KTWTFileImpl::closeCurrent(bool reportFailure) {
    if (current_ == nullptr) return true;
    const bool closed = current_->close();
    if (!closed && reportFailure) fail(current_->getError());
    current_ = nullptr;
    return closed;
}

bool KTWTFileImpl::closeHeader(bool reportFailure) {
    const int code = np_fio_close(headerFile_);
    headerFile_ = nullptr;
    if (code != np_ok && reportFailure) fail(KTWT_MESSAGE(1045, np_fio_errdesc(code)));
    return code == np_ok;
}

bool KTWTFileImpl::close() {
    bool closed = drainSort();
    if (readOnly_ || headerReadOnly_) {
        closeCurrent(false);  // what was only read has nothing to lose
        closeHeader(false);
    } else {
        closed = closeWritable(closed);
    }
    if (!closed) {
        KtbString why = std::move(error_);  // a copy could fail
        removeFiles();
        error_ = std::move(why);
    }
    headerReadOnly_ = false;
    writeFailed_ = false;
    firstRowPrepared_ = false;
    currentRow_ = 0;
    nextElement_ = 0;
    return closed;
}

bool KTWTFileImpl::closeWritable(bool closed) {
    if (writeFailed_) {
        ktwt::setFailure(&error_, writeFailure_);
        closed = false;
    }
    if (!closeCurrent(closed)) closed = false;
    if (closed && headerFile_ != nullptr) closed = persist();
    return closeHeader(closed) && closed;
}

bool KTWTFileImpl::remove() {
    if (name_.length() == 0) return true;
    removed_ = false;
    abandonSort();
    close();  // one that fails has removed the files already
    return removed_ || removeFiles();
}

namespace {

// Marks the header of a table that is to be removed, before anything is deleted, so that who finds the table after a process
// was killed in between can go on with it. The mark takes nothing away: a table of which nothing can be deleted can be read as
// before. The header is held, so that nobody clears the files away at the same time. Where all that cannot be done, the files
// can be deleted all the same.
class MarkedHeader {
public:
    explicit MarkedHeader(const KtbString& path) {
        if (np_fio_open(path.asCstr(), np_mode_update, &file_) != np_ok || np_fio_hold(file_, 1) != np_ok) return;
        end_ = np_fio_seek64(file_, 0, np_from_end);
        if (end_ < 0) return;
        np_fio_putb(file_, ktwt::removalMark, ktwt::removalMarkSize);
        np_fio_bufmode(file_, 0);
    }
    MarkedHeader(const MarkedHeader&) = delete;
    MarkedHeader& operator=(const MarkedHeader&) = delete;
    ~MarkedHeader() { np_fio_close(file_); }  // the header is gone, or what could be done for it has been

    // For a table that stays.
    void takeMarkAway() {
        if (end_ >= 0 && np_fio_seek64(file_, end_, np_from_start) == end_) np_fio_trunc(file_);
    }

private:
    np_file* file_ = nullptr;
    long end_ = -1;
};

}  // namespace

bool KTWTFileImpl::removeFiles() {
    MarkedHeader header(headerPath_);
    bool removed = true;
    bool untouched = true;
    for (int i = 0; i < elementCount_; ++i) {
        KTWTFileElement& element = *elements_[static_cast<std::size_t>(i)];
        if (element.remove()) {
            untouched = false;
        } else {
            if (removed) fail(element.getError());
            removed = false;
        }
    }
    dropElements();
    const int code = np_fio_unlink(headerPath_.asCstr());
    if (code != np_ok && untouched) header.takeMarkAway();
    if (code != np_ok && removed) removed = fail(KTWT_MESSAGE(1747, np_fio_errdesc(code)));
    removed_ = removed;
    return removed;
}

void KTWTFileImpl::dropElements() {
    current_ = nullptr;
    elements_.reset();
    elementCount_ = 0;
    elementCapacity_ = 0;
}
