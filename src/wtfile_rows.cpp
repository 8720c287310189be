// Rows across data elements: writing starts a new element when the current one has grown past the limit, reading runs through
// the elements one after the other, from the last to the first for a reversed table.
#include <algorithm>
#include <new>

#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"

// A vector for the pointers to `count` values, kept from row to row; null when memory is exhausted.
KtbDatavar** KTWTFileImpl::valueVector(int count) {
    if (!valueVector_ || valueVectorSize_ != count) {
        valueVector_.reset(new (std::nothrow) KtbDatavar*[static_cast<std::size_t>(count)]);
        valueVectorSize_ = count;
        pointedAt_ = nullptr;
        if (!valueVector_) fail(KTWT_MESSAGE(29, "(column value vector)"));
    }
    return valueVector_.get();
}

// The pointers to the values of one row; null when memory is exhausted. Callers mostly use one array for all their rows, which
// the vector then points at already.
KtbDatavar** KTWTFileImpl::pointTo(KtbDatavar* values) {
    const int count = rowColumns();
    KtbDatavar** vector = valueVector(count);
    if (vector == nullptr || pointedAt_ == values) return vector;
    for (int i = 0; i < count; ++i) vector[i] = values + i;
    pointedAt_ = values;
    return vector;
}

bool KTWTFileImpl::writeRow(KtbDatavar* values) {
    KtbDatavar** vector = pointTo(values);
    return vector != nullptr && writeRow(vector);
}

bool KTWTFileImpl::readRow(KtbDatavar* values, bool* end) {
    *end = false;
    KtbDatavar** vector = pointTo(values);
    return vector != nullptr && readRow(vector, end);
}

// The files refused a row. Whatever they hold now is not what the caller wrote, so the table takes no more rows and its close
// fails.
bool KTWTFileImpl::failWriting(const KtbString& text) {
    writeFailed_ = true;
    ktwt::setFailure(&writeFailure_, text);
    return fail(text);
}

bool KTWTFileImpl::writeRow(KtbDatavar** values) {
    if (writeFailed_) return fail(writeFailure_);
    if (!firstRowPrepared_ && !prepareFirstRow()) return false;
    if (sortColumnCount_ != 0) return writeSortedRow(values);
    if (!writeToElement(values)) return false;
    ++rows_;
    ++currentRow_;
    return true;
}

// A closed table takes no rows, since nothing would ever tell of them: the header has been written.
bool KTWTFileImpl::isOpenForWriting() const { return headerFile_ != nullptr && !readOnly_ && !headerReadOnly_; }

// What must be true of the table before the first row of this opening, and stays true.
bool KTWTFileImpl::prepareFirstRow() {
    if (!isOpenForWriting()) {
        error_ = KtbString("Unable to write row to a read only work table.", true);
        const KtbString text = KTWT_MESSAGE(1768);
        return text.length() == 0 ? false : fail(text);  // the plain text stands in for a catalog that has none
    }
    if (!columnsAreDefined()) return fail(KTWT_MESSAGE(1420));
    if (sortColumnCount_ != 0 && !prepareSort()) return false;
    firstRowPrepared_ = true;
    return true;
}

bool KTWTFileImpl::writeToElement(KtbDatavar** values) {
    if (current_ == nullptr && !createDataElement()) return false;
    bool full = false;
    if (!current_->writeRow(values, &full)) return failWriting(current_->getError());
    if (!full) return true;
    if (!current_->close()) return failWriting(current_->getError());
    current_ = nullptr;
    return true;
}

bool KTWTFileImpl::createDataElement() {
    if (!isOpenForWriting()) return fail(KTWT_MESSAGE(1768));
    if (!closeCurrent(true)) return failWriting(error_);
    if (!growElements()) return fail(KTWT_MESSAGE(29, "(data element array)"));
    std::unique_ptr<KTWTFileElement> element(new (std::nothrow) KTWTFileElement(this));
    if (!element) return fail(KTWT_MESSAGE(29, "(data element instance)"));
    if (!element->create(directory_)) return failWriting(element->getError());
    current_ = element.get();
    elements_[static_cast<std::size_t>(elementCount_++)] = std::move(element);
    return true;
}

// Makes room for one more element. Doubling keeps a table of very many elements from spending its time on moving pointers.
bool KTWTFileImpl::growElements() {
    constexpr int capacityMin = 8;
    if (elementCount_ < elementCapacity_) return true;
    const int capacity = std::max(capacityMin, 2 * elementCapacity_);
    std::unique_ptr<std::unique_ptr<KTWTFileElement>[]> grown(
        new (std::nothrow) std::unique_ptr<KTWTFileElement>[static_cast<std::size_t>(capacity)]);
    if (!grown) return false;
    std::move(elements_.get(), elements_.get() + elementCount_, grown.get());
    elements_ = std::move(grown);
    elementCapacity_ = capacity;
    return true;
}

bool KTWTFileImpl::rangeIsRead() const {
    return reversed_ ? currentRow_ < rangeStart_ : rangeEnd_ != -1 && currentRow_ >= rangeEnd_;
}

bool KTWTFileImpl::readRow(KtbDatavar** values, bool* end) {
    *end = false;
    if (!readOnly_ || headerFile_ == nullptr) return fail(KTWT_MESSAGE(1793));
    for (;;) {
        *end = rangeIsRead();
        if (*end) return false;
        if (current_ == nullptr && !openNextElement(end)) return false;
        int wanted = rowColumns();
        if (hasConstants_ && !placeConstants(values, &wanted)) return false;
        bool elementEnd = false;
        if (current_->readRow(values, wanted, &elementEnd)) {
            currentRow_ += reversed_ ? -1 : 1;
            return true;
        }
        if (!elementEnd) return fail(current_->getError());
        closeCurrent(false);  // what was only read has nothing to lose
    }
}

// Opens the next element that reading comes to. A reversed element is placed at its last row here, whatever it holds, and one
// without rows is passed over, so that every row is delivered once.
bool KTWTFileImpl::openNextElement(bool* end) {
    for (;;) {
        *end = nextElement_ < 0 || nextElement_ >= elementCount_;
        if (*end) return false;
        KTWTFileElement* element = elements_[static_cast<std::size_t>(nextElement_)].get();
        const bool passedOver = reversed_ && element->getRows() <= 0;
        if (!passedOver) {
            if (!element->open(true)) return failIn(element);
            // The step to the end makes the step to the last row a real one, also when that is row 0.
            if (reversed_ && !(element->seek(-1) && element->seek(element->getRows() - 1))) return failIn(element);
            current_ = element;
        }
        nextElement_ += reversed_ ? -1 : 1;
        if (!passedOver) return true;
    }
}

// Fills the constant slots and takes them off the number of slots to be filled from stored columns.
bool KTWTFileImpl::placeConstants(KtbDatavar** values, int* wanted) {
    for (int slot = 0; slot < selectedCount_; ++slot) {
        const KTWTSelectionEntry& entry = selection_[static_cast<std::size_t>(slot)];
        if (!entry.constant) continue;
        --*wanted;
        if (entry.value) {
            *values[slot] = *entry.value;
            if (values[slot]->isNull() != entry.value->isNull()) return fail(KTWT_MESSAGE(29, "(column value)"));
        } else {
            values[slot]->setNull();
            values[slot]->setType(entry.column->type);
        }
    }
    return true;
}
