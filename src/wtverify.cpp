// The header, and the road through the data elements.
#include "wtverify.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <new>
#include <utility>

#include "wtcodec.h"
#include "wtelem.h"
#include "wtmgr.h"

namespace ktwt {

bool TableVerification::fail(KtbString text) {
    setFailure(&error_, std::move(text));
    return false;
}

bool TableVerification::failReading(const char* path) {
    return fail(
        ktbStringFormat("The file \"%s\" could not be read: the disk failed, or the file was cut off meanwhile.", path));
}

KtWorkTableVerification TableVerification::result() const {
    KtWorkTableVerification result = counts_;
    result.findings = report_.count();
    return result;
}

bool TableVerification::run(const KtbString& name, KtbString* error) {
    const bool checked = table_.openForInspection(name) ? checkTable() : fail(table_.getError());
    if (!checked) *error = std::move(error_);
    return checked;
}

bool TableVerification::checkTable() {
    header_.setPath(table_.headerPath().asCstr());
    bool understood = false;
    if (!readHeader(&understood)) return false;
    if (!understood) return true;
    if (!checkHeader()) return false;
    counts_.elements = table_.getElementCount();
    for (int i = 0; i < table_.getElementCount() && !report_.isStopped(); ++i) {
        if (!checkElement(i)) return false;
    }
    header_.finish();
    return true;
}

bool TableVerification::readHeader(bool* understood) {
    np_file* file = table_.headerHandle();
    const long bytes = np_fio_seek64(file, 0, np_from_end);
    bool known = false;
    const bool unfinished = bytes >= 0 && KTWTFileImpl::isUnfinished(file, &known);
    if (!known) return failReading(table_.headerPath().asCstr());
    countBytes(bytes);
    if (unfinished) {
        header_.tell(
            {}, "The header was never finished: the table is being written, its writer was killed, or the file was cut off.");
        return true;
    }
    *understood = table_.readHeader(file);
    if (*understood) return true;
    KtbString why = table_.getError();
    if (why.isNull() || isExhaustion(why)) return fail(std::move(why));
    header_.tell({}, "%s", why.asCstr());
    return true;
}

bool TableVerification::checkHeader() {
    np_file* file = table_.headerHandle();
    const long end = np_fio_seek64(file, 0, np_from_current);
    const bool hasRoomForMark = counts_.bytes == end + static_cast<long>(removalMarkSize);
    if (hasRoomForMark && KTWTFileImpl::isMarkedForRemoval(file)) {
        header_.tell({.offset = end}, "The table is being removed, or the process that removed it was killed.");
    }
    if (!checkByteOrder()) return false;
    checkColumns();
    checkCounts();
    return findRepeatedNames();
}

// A reader takes every mark but 1 for that of the other byte order.
bool TableVerification::checkByteOrder() {
    if (!table_.isByteSwap()) return true;
    np_file* file = table_.headerHandle();
    unsigned char mark[2];
    const bool read = np_fio_seek64(file, 0, np_from_start) == 0 && np_fio_getb(file, mark, sizeof mark) == sizeof mark;
    if (!read) return failReading(table_.headerPath().asCstr());
    if (load<std::uint16_t>(mark, true) != 1) header_.tell({.offset = 0}, "The byte order mark is 1 in neither byte order.");
    return true;
}

// Columns need not be defined before the first row, so that a table without rows may have some with code 0.
void TableVerification::checkColumns() {
    const int lowest = table_.getRows() == 0 ? 0 : +storedBoolean;
    for (int i = 0; i < table_.getActualColumns(); ++i) {
        const int code = table_.getActualColumnDefs()[i].storageCode;
        const bool exists = code >= lowest && code <= storedString;
        if (!exists) header_.tell({}, "Column %d has storage code %d, which no column has.", i, code);
    }
}

void TableVerification::checkCounts() {
    long total = 0;
    for (int i = 0; i < table_.getElementCount(); ++i) {
        const long rows = table_.elementAt(i).getRows();
        if (rows < 0) {
            header_.tell({.element = i}, "The record counts %ld rows.", rows);
            continue;
        }
        total = rows > LONG_MAX - total ? LONG_MAX : total + rows;
    }
    const long told = table_.getRows();
    if (told != total) {
        header_.tell({}, "The header counts %ld rows in all, the records of its data elements %ld.", told, total);
    }
}

// Two elements in one file cannot both be right, and a header of very many would have the file read as often.
bool TableVerification::findRepeatedNames() {
    struct Named {
        const char* name;
        int element;
    };
    const auto count = static_cast<std::size_t>(table_.getElementCount());
    repeats_.reset(new (std::nothrow) int[count]);
    const std::unique_ptr<Named[]> names(new (std::nothrow) Named[2 * count]);
    if (!repeats_ || !names) return fail(KTWT_MESSAGE(29, "(data element names)"));
    Named* end = names.get();
    for (int i = 0; i < table_.getElementCount(); ++i) {
        const KTWTFileElement& element = table_.elementAt(i);
        repeats_[static_cast<std::size_t>(i)] = -1;
        *end++ = {element.dataName().asCstr(), i};
        if (element.indexName().cStrSize() > 1) *end++ = {element.indexName().asCstr(), i};
    }
    std::sort(names.get(), end, [](const Named& a, const Named& b) {
        const int byName = std::strcmp(a.name, b.name);
        return byName != 0 ? byName < 0 : a.element < b.element;
    });
    const Named* first = names.get();
    for (const Named* next = first; next != end; ++next) {
        const bool repeats = next != first && std::strcmp(next->name, first->name) == 0;
        if (repeats) repeats_[static_cast<std::size_t>(next->element)] = first->element;
        if (!repeats) first = next;
    }
    return true;
}

bool TableVerification::checkElement(int number) {
    const int earlier = repeats_[static_cast<std::size_t>(number)];
    if (earlier < 0) return ElementVerification(this, number).run();
    header_.tell({.element = number}, "The record names a file that that of data element %d names, too; it is not read again.",
                 earlier);
    return true;
}

}  // namespace ktwt

extern "C" bool ktwtVerifyTable(const KtbString& directories, const KtbString& name, KtWorkTableFindingVisitor* visitor,
                                KtWorkTableVerification* result, KtbString* error) {
    if (result != nullptr) *result = {};
    KTWTManagerImpl manager(KtbString(), directories, error);  // finds the directories as every manager does
    if (error->length() != 0 || !manager.isComplete()) return false;
    ktwt::TableVerification verification(&manager, visitor);
    const bool verified = verification.run(name, error);
    if (result != nullptr) *result = verification.result();
    return verified;
}
