// Rows from table to table, and ranges of rows for parallel readers.
//
// A source delivers its rows into one array of values, from which the target writes them. The source tells only of the rows
// that its header counted when it was opened, so that a table can be appended to itself: what is being written is never read.
#include <algorithm>
#include <climits>
#include <new>

#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"
#include "wtmgr.h"

// An array of values for rows of either table, whichever has more columns; null when memory is exhausted.
std::unique_ptr<KtbDatavar[]> KTWTFileImpl::newRow(const KTWTFileImpl& source) {
    const int count = std::max({columnCount_, source.columnCount_, source.rowColumns()});
    std::unique_ptr<KtbDatavar[]> values(new (std::nothrow) KtbDatavar[static_cast<std::size_t>(count)]);
    if (!values) fail(KTWT_MESSAGE(29, "(column value array)"));
    return values;
}

bool KTWTFileImpl::transferRows(KTWTFileImpl& source, KtbDatavar* values, const char* operation) {
    bool end = false;
    while (source.readRow(values, &end)) {
        if (!writeRow(values)) return false;
    }
    return end || fail(KTWT_MESSAGE(1782, operation, source.name_.asCstr(), name_.asCstr(), source.error_.asCstr()));
}

bool KTWTFileImpl::countsAgree(const KTWTFileImpl& source) {
    const int count = source.rowColumns();
    return count == columnCount_ || fail(KTWT_MESSAGE(1769, source.name_.asCstr(), name_.asCstr(), count, columnCount_));
}

// Whether the first `count` columns that the source shows are this table's first columns.
bool KTWTFileImpl::columnsAgree(const KTWTFileImpl& source, int count) {
    const char* const sourceName = source.name_.asCstr();
    for (int i = 0; i < count; ++i) {
        const KTWTColumnDef* theirs = source.visibleColumn(i);
        if (theirs == nullptr || i >= columnCount_) return fail(KTWT_MESSAGE(1420));
        const KTWTColumnDef& ours = columnDefs_[static_cast<std::size_t>(i)];
        if (ours.name.compare(theirs->name, false) != 0) {
            return fail(KTWT_MESSAGE(1770, sourceName, name_.asCstr(), i, theirs->name.asCstr(), ours.name.asCstr()));
        }
        if (ours.type != theirs->type) {
            return fail(
                KTWT_MESSAGE(1771, sourceName, name_.asCstr(), i, ktbTypeToString(theirs->type), ktbTypeToString(ours.type)));
        }
    }
    return true;
}

bool KTWTFileImpl::copy(KTWTFileImpl* source) {
    if (!isOpenForWriting()) return fail(KTWT_MESSAGE(1768));
    if (!countsAgree(*source)) return false;
    const std::unique_ptr<KtbDatavar[]> values = newRow(*source);
    if (!values) return false;
    // Definitions that rows were already stored by stay; replaced, they would describe those rows wrongly.
    const bool holdsRows = rows_ != 0 || elementCount_ != 0 || firstRowPrepared_;
    const bool ready = holdsRows ? columnsAgree(*source, columnCount_) : copyDefinitions(*source);
    if (!ready) return false;
    if (holdsRows) raiseLongest(*source);
    return transferRows(*source, values.get(), "Copy");
}

// Takes over what the source shows as its columns. They are all copied before the first replaces one here.
bool KTWTFileImpl::copyDefinitions(const KTWTFileImpl& source) {
    std::unique_ptr<KTWTColumnDef[]> copies(new (std::nothrow) KTWTColumnDef[static_cast<std::size_t>(columnCount_)]);
    if (!copies) return fail(KTWT_MESSAGE(29, "(column definition array)"));
    for (int i = 0; i < columnCount_; ++i) {
        const KTWTColumnDef* column = source.visibleColumn(i);
        if (column == nullptr) return fail(KTWT_MESSAGE(1420));
        KTWTColumnDef& copied = copies[static_cast<std::size_t>(i)];
        copied.name = column->name;
        if (copied.name.isNull() != column->name.isNull()) return fail(KTWT_MESSAGE(29, "(column name)"));
        copied.type = column->type;
        copied.storageCode = column->storageCode;
        copied.width = source.copiedWidth(i);
        copied.longest = column->longest;
    }
    columnDefs_ = std::move(copies);
    return true;
}

// The declared width of a copy of a column. That of a constant text counts characters, and a stored text is cut by bytes.
int KTWTFileImpl::copiedWidth(int column) const {
    const int width = visibleColumn(column)->width;
    if (width <= 0 || !selection_) return width;
    const KTWTSelectionEntry& entry = selection_[static_cast<std::size_t>(column)];
    KtbString scratch;  // a constant with a width is a text, which is looked at where it is
    return entry.constant && entry.value ? std::max(width, entry.value->asString(&scratch).cStrSize() - 1) : width;
}

void KTWTFileImpl::raiseLongest(const KTWTFileImpl& source) {
    for (int i = 0; i < columnCount_; ++i) {
        int& longest = columnDefs_[static_cast<std::size_t>(i)].longest;
        longest = std::max(longest, source.visibleColumn(i)->longest);
    }
}

bool KTWTFileImpl::append(const KtbString& sourceName) {
    if (!isOpenForWriting()) return fail(KTWT_MESSAGE(1768));
    const std::unique_ptr<KTWTFileImpl> source(new (std::nothrow) KTWTFileImpl(manager_));
    if (!source) return fail(KTWT_MESSAGE(29, "(work table file instance)"));
    if (!source->open(sourceName, false)) return fail(source->getError());
    // Columns that were chosen for the source stand for this table's by their number, whatever they are called: callers rename
    // and convert on the way by choosing.
    const int compared = source->selection_ ? selectedCount_ : columnCount_;
    if (!countsAgree(*source) || !columnsAgree(*source, compared)) return false;
    const std::unique_ptr<KtbDatavar[]> values = newRow(*source);
    return values != nullptr && transferRows(*source, values.get(), "Append");
}

// Closes a table that was opened for appending. Its header on disk tells of the rows before, and readers go by the header: as
// long as that stays, nothing that went wrong since has harmed them. So a table whose new rows cannot be stored is left as it
// was, where close() would remove it.
bool KTWTFileImpl::endAppending() {
    const KtbString earlier = error_;
    if (writeFailed_) error_ = writeFailure_;
    const bool ended = !writeFailed_ && closeCurrent(true) && replaceHeader() && close();
    if (!ended) forgetAppended();
    if (earlier.length() != 0) error_ = earlier;  // what went wrong first
    return ended;
}

// Writes and closes the header. One that could be written only in part is put back as it was; when not even that can be done,
// nobody can tell any more what the table holds, and it is removed.
bool KTWTFileImpl::replaceHeader() {
    if (headerFile_ == nullptr) return true;  // the table could not be opened
    const auto size = static_cast<unsigned long>(std::max(headerSize(), 0L));
    const std::unique_ptr<unsigned char[]> before(new (std::nothrow) unsigned char[size]);
    if (!before) return fail(KTWT_MESSAGE(29, "(work table header)"));
    if (np_fio_seek64(headerFile_, 0, np_from_start) < 0) return fail(KTWT_MESSAGE(453, "(work table header)"));
    if (size == 0 || np_fio_getb(headerFile_, before.get(), size) != size) return fail(KTWT_MESSAGE(1773));
    if (persist() && closeHeader(true)) return true;
    const KtbString why = error_;
    if (!putBackHeader(before.get(), size)) removeFiles();
    return fail(why);
}

// By a handle of its own, since the one that refused a write refuses every later one. That one is closed before anything is
// written, and after the new one holds the file, which has to be held all the time.
bool KTWTFileImpl::putBackHeader(const unsigned char* bytes, unsigned long size) {
    np_file* const refusing = headerFile_;
    headerFile_ = nullptr;
    const bool opened = np_fio_open(headerPath_.asCstr(), np_mode_update, &headerFile_) == np_ok;
    const bool held = opened && np_fio_hold(headerFile_, 1) == np_ok;
    np_fio_close(refusing);  // what it could not write is known
    const bool written = held && np_fio_putb(headerFile_, bytes, size) == size && np_fio_trunc(headerFile_) == np_ok;
    return closeHeader(false) && written;
}

// Lets go of the files without the header, and of the data elements that the header does not know. Bytes of new rows that are
// left at the end of the last element that it knows are overwritten by the next rows that are.
void KTWTFileImpl::forgetAppended() {
    const KtbString why = error_;
    closeCurrent(false);
    for (; elementCount_ > storedElementCount_; --elementCount_) {
        std::unique_ptr<KTWTFileElement>& element = elements_[static_cast<std::size_t>(elementCount_ - 1)];
        element->remove();  // a file that cannot be removed is lost space and nothing worse
        element.reset();
    }
    abandonOpening();
    writeFailed_ = false;
    firstRowPrepared_ = false;
    error_ = why;
}

namespace {

// Row ranges, written one after the other.
class Ranges {
public:
    explicit Ranges(long* pairs) : pairs_(pairs) {}

    // Adds the next `rows` rows. A damaged header may count more of them than numbers go.
    void add(long rows) {
        pairs_[0] = start_;
        pairs_[1] = rows;
        pairs_ += 2;
        start_ = rows > LONG_MAX - start_ ? LONG_MAX : start_ + rows;
    }

    // Adds the next `rows` rows in `count` ranges of the same size, but for one more row in each of the first few.
    void addSplit(long rows, int count) {
        for (int i = 0; i < count; ++i) add(rows / count + (i < rows % count ? 1 : 0));
    }

private:
    long* pairs_;
    long start_ = 0;
};

}  // namespace

bool KTWTFileImpl::partition(int* parts, long* ranges) {
    const int wanted = *parts;
    const long rows = std::max(rows_, 0L);
    Ranges result(ranges);
    if (wanted < 1) {
        *parts = 0;
    } else if (wanted == 1) {
        result.add(rows);
    } else if (wanted >= rows) {
        *parts = static_cast<int>(rows);
        result.addSplit(rows, *parts);
    } else if (elementCount_ <= 1 || wanted < elementCount_) {
        result.addSplit(rows, wanted);
    } else {
        const int each = wanted / elementCount_;
        *parts = elementCount_ * each;
        for (int i = 0; i < elementCount_; ++i) {
            result.addSplit(std::max(elements_[static_cast<std::size_t>(i)]->getRows(), 0L), each);
        }
    }
    return true;
}
