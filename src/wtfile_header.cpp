// The header file: what a table is, in one piece, written when a writable table is closed.
//
//     | fixed part, 32 bytes | label, NUL | a record per column | a record per data element |
//
//     fixed part     0  2  byte order mark, always 1 in the writer's order
//                    2  2  version, 100 = 1.00; up to 199 is read
//                    4  2  length of the fixed part, 32
//                    6  2  length of the label with its NUL
//                    8  4  number of columns
//                   12  4  number of data elements
//                   16  8  element size limit in bytes, 0 = none
//                   24  8  number of rows
//     column record  0  2  length of the record's fixed part, 16
//                    2  2  storage code
//                    4  4  length of the name with its NUL
//                    8  4  declared width
//                   12  4  longest stored string with its NUL
//                   16     name, NUL
//
// Numbers are in the writer's byte order. A reader skips what a longer fixed part has more, so that parts can grow. The
// file comes from outside: no count or length in it is believed beyond the size of the file.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "wtcodec.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"

using ktwt::load;
using ktwt::store;

namespace {

constexpr std::uint16_t byteOrderMark = 1;
constexpr int versionReadMax = 199;
constexpr int fixedSize = ktwt::headerFixedSize;
constexpr int columnSize = 16;
constexpr int elementSizeMin = 17;  // a data element's record with an empty name
constexpr int columnSizeMin = columnSize + 1;
constexpr int labelSizeMax = 4096;

}  // namespace

bool KTWTFileImpl::putHeader(const void* bytes, unsigned long count) {
    return np_fio_putb(headerFile_, bytes, count) == count || fail(KTWT_MESSAGE(1044));
}

// The fixed part comes last. A process that is killed while it writes a new header leaves one without any, which nobody takes
// for a table. The header of a table with new rows stays readable meanwhile: its records keep their places, and the fixed part
// tells of the new ones when they are there; one that fits the file layer's buffer is replaced by a single write.
bool KTWTFileImpl::persist() {
    if (readOnly_) return true;
    if (np_fio_seek64(headerFile_, fixedSize, np_from_start) < 0) return fail(KTWT_MESSAGE(453, "(work table header)"));
    if (!putHeader(label_.asCstr(), static_cast<unsigned long>(label_.cStrSize()))) return false;
    for (int i = 0; i < columnCount_; ++i) {
        if (!persistColumn(columnDefs_[static_cast<std::size_t>(i)])) return false;
    }
    for (int i = 0; i < elementCount_; ++i) {
        KTWTFileElement& element = *elements_[static_cast<std::size_t>(i)];
        if (!element.persist(headerFile_)) return fail(element.getError());
    }
    const long end = np_fio_seek64(headerFile_, 0, np_from_current);
    if (created_ && !flushHeader()) return false;  // before the fixed part makes a table of it
    if (np_fio_seek64(headerFile_, 0, np_from_start) < 0) return fail(KTWT_MESSAGE(453, "(work table header)"));
    if (!persistFixedPart() || !flushHeader()) return false;
    if (np_fio_seek64(headerFile_, end, np_from_start) < 0) return fail(KTWT_MESSAGE(453, "(work table header)"));
    const int code = np_fio_trunc(headerFile_);
    return code == np_ok || fail(KTWT_MESSAGE(1045, np_fio_errdesc(code)));
}

bool KTWTFileImpl::flushHeader() {
    const int code = np_fio_bufmode(headerFile_, 0);
    return code == np_ok || fail(KTWT_MESSAGE(1045, np_fio_errdesc(code)));
}

bool KTWTFileImpl::persistFixedPart() {
    unsigned char fixed[fixedSize];
    store<std::uint16_t>(fixed, byteOrderMark);
    store<std::int16_t>(fixed + 2, ktwt::headerVersion);
    store<std::int16_t>(fixed + 4, fixedSize);
    store<std::int16_t>(fixed + 6, static_cast<std::int16_t>(label_.cStrSize()));
    store<std::int32_t>(fixed + 8, columnCount_);
    store<std::int32_t>(fixed + 12, elementCount_);
    store<std::int64_t>(fixed + 16, elementSize_);
    store<std::int64_t>(fixed + 24, rows_);
    return putHeader(fixed, fixedSize);
}

bool KTWTFileImpl::persistColumn(const KTWTColumnDef& column) {
    unsigned char record[columnSize];
    store<std::int16_t>(record, columnSize);
    store<std::uint16_t>(record + 2, column.storageCode);
    store<std::int32_t>(record + 4, column.name.cStrSize());
    store<std::int32_t>(record + 8, column.width);
    store<std::int32_t>(record + 12, column.longest);
    return putHeader(record, columnSize) && putHeader(column.name.asCstr(), static_cast<unsigned long>(column.name.cStrSize()));
}

bool KTWTFileImpl::restoreHeader() {
    unsigned char fixed[fixedSize];
    if (np_fio_getb(headerFile_, fixed, fixedSize) != fixedSize) return fail(KTWT_MESSAGE(1773));
    byteSwap_ = load<std::uint16_t>(fixed, false) != byteOrderMark;
    const short version = load<std::int16_t>(fixed + 2, byteSwap_);
    if (version > versionReadMax) return fail(KTWT_MESSAGE(1785, version / 100, version % 100, 1, 0));
    const int length = load<std::int16_t>(fixed + 4, byteSwap_);
    if (!skipExtra(length, fixedSize)) return false;
    if (!restoreLabel(load<std::int16_t>(fixed + 6, byteSwap_))) return false;
    version_ = version;
    elementSize_ = load<std::int64_t>(fixed + 16, byteSwap_);
    rows_ = load<std::int64_t>(fixed + 24, byteSwap_);
    const long size = headerSize();
    return restoreColumns(load<std::int32_t>(fixed + 8, byteSwap_), size) &&
           restoreElements(load<std::int32_t>(fixed + 12, byteSwap_), size);
}

// Skips what a fixed part of `length` bytes has beyond the bytes of this version.
bool KTWTFileImpl::skipExtra(int length, int known) {
    if (length == known) return true;
    const bool skipped = length > known && np_fio_seek64(headerFile_, length - known, np_from_current) >= 0;
    return skipped || fail(KTWT_MESSAGE(1786));
}

bool KTWTFileImpl::readHeader(np_file* file) {
    np_file* const own = headerFile_;
    headerFile_ = file;
    const bool placed = np_fio_seek64(file, 0, np_from_start) == 0;
    const bool read = placed ? restoreHeader() : fail(KTWT_MESSAGE(1773));
    headerFile_ = own;
    return read;
}

bool KTWTFileImpl::isUnfinished(np_file* file, bool* known) {
    unsigned char fixed[fixedSize];
    const long size = np_fio_seek64(file, 0, np_from_end);
    const bool placed = size >= 0 && np_fio_seek64(file, 0, np_from_start) == 0;
    const auto wanted = static_cast<unsigned long>(std::min<long>(size, fixedSize));
    *known = placed && np_fio_getb(file, fixed, wanted) == wanted;
    if (!*known) return false;
    return size < fixedSize || std::all_of(fixed, fixed + fixedSize, [](unsigned char byte) { return byte == 0; });
}

bool KTWTFileImpl::isMarkedForRemoval(np_file* file) {
    char bytes[ktwt::removalMarkSize + 1];
    return np_fio_getb(file, bytes, sizeof bytes) == ktwt::removalMarkSize &&
           std::memcmp(bytes, ktwt::removalMark, ktwt::removalMarkSize) == 0;
}

bool KTWTFileImpl::restoreLabel(int bytes) {
    char buffer[labelSizeMax];
    if (bytes < 1 || bytes > labelSizeMax) return fail(KTWT_MESSAGE(1787));
    const auto count = static_cast<unsigned long>(bytes);
    if (np_fio_getb(headerFile_, buffer, count) != count) return fail(KTWT_MESSAGE(1787));
    // Written again, a label without its NUL is one byte longer: one of this length could not be read back.
    if (bytes == labelSizeMax && buffer[count - 1] != '\0') return fail(KTWT_MESSAGE(1787));
    label_.assign(buffer, bytes);
    return !label_.isNull() || fail(KTWT_MESSAGE(29, "(table label)"));
}

// The size of the header file; leaves its position alone.
long KTWTFileImpl::headerSize() {
    const long position = np_fio_seek64(headerFile_, 0, np_from_current);
    const long size = np_fio_seek64(headerFile_, 0, np_from_end);
    return np_fio_seek64(headerFile_, position, np_from_start) == position ? size : 0;
}

bool KTWTFileImpl::restoreColumns(int count, long size) {
    const long rest = size - np_fio_seek64(headerFile_, 0, np_from_current);
    if (count < 0 || count > rest / columnSizeMin) return fail(KTWT_MESSAGE(1301, "column definition"));
    dropSelection();
    columnCount_ = 0;
    columnDefs_.reset(new (std::nothrow) KTWTColumnDef[static_cast<std::size_t>(count)]);
    if (!columnDefs_) return fail(KTWT_MESSAGE(29, "(column definition array)"));
    columnCount_ = count;
    for (int i = 0; i < count; ++i) {
        if (!restoreColumn(&columnDefs_[static_cast<std::size_t>(i)], rest)) return false;
    }
    return true;
}

bool KTWTFileImpl::restoreColumn(KTWTColumnDef* column, long rest) {
    unsigned char record[columnSize];
    if (np_fio_getb(headerFile_, record, columnSize) != columnSize) return fail(KTWT_MESSAGE(1301, "column definition"));
    if (!skipExtra(load<std::int16_t>(record, byteSwap_), columnSize)) return false;
    const unsigned code = load<std::uint16_t>(record + 2, byteSwap_);
    const int nameBytes = load<std::int32_t>(record + 4, byteSwap_);
    if (nameBytes < 1 || nameBytes > rest) return fail(KTWT_MESSAGE(1301, "column name"));
    if (!restoreColumnName(column, nameBytes)) return false;
    column->width = load<std::int32_t>(record + 8, byteSwap_);
    column->longest = load<std::int32_t>(record + 12, byteSwap_);
    column->storageCode = static_cast<unsigned char>(code);
    column->type = ktwt::typeOfStorageCode(code);
    return true;
}

bool KTWTFileImpl::restoreColumnName(KTWTColumnDef* column, int bytes) {
    const auto count = static_cast<unsigned long>(bytes);
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[count]);
    if (!buffer) return fail(KTWT_MESSAGE(29, "(column name)"));
    if (np_fio_getb(headerFile_, buffer.get(), count) != count) return fail(KTWT_MESSAGE(1301, "column name"));
    column->name.assign(buffer.get(), bytes);
    return !column->name.isNull() || fail(KTWT_MESSAGE(29, "(column name)"));
}

bool KTWTFileImpl::restoreElements(int count, long size) {
    const long rest = size - np_fio_seek64(headerFile_, 0, np_from_current);
    if (count < 0 || count > rest / elementSizeMin) return fail(KTWT_MESSAGE(1301, "element definition"));
    dropElements();
    for (int i = 0; i < count; ++i) {
        if (!growElements()) return fail(KTWT_MESSAGE(29, "(data element definition array)"));
        std::unique_ptr<KTWTFileElement> element(new (std::nothrow) KTWTFileElement(this));
        if (!element) return fail(KTWT_MESSAGE(29, "(data element definition)"));
        if (!element->restore(headerFile_)) return fail(element->getError());
        elements_[static_cast<std::size_t>(elementCount_++)] = std::move(element);
    }
    return true;
}
