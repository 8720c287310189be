// Decoding of rows, forwards and backwards.
//
// The reader's state is the row that comes next, the place in the data file, and the place in the index file. Forwards the
// index file stands at the entry of the row after the next one, once the first row or a seek has placed it:
//
//     index     | row 0 | row 1 | row 2 | row 3 |          currentRow_ = 1: row 1 comes next,
//                                 ^ index file             its offset is where the data file stands.
//
// A row that is decoded to its last column leaves the data file at the next row, so the index is neither read nor moved: whole
// rows cost no index I/O. A row that is passed over, or decoded only as far as its last wanted column, is left by way of the
// next index entry. When rows of both kinds follow each other in one pass, the entry read is that of the partial row itself and
// the row is delivered again; callers ask for the same columns throughout a pass, and those who do not have always seen this.
//
// Backwards every step goes through the index: the reader stands at row n with the index file at entry n + 1, decodes, then
// moves the index file back by two entries and reads that of row n - 1.
#include <algorithm>
#include <climits>
#include <cstring>

#include "ktwt/bytes.h"
#include "wtcolumn.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"

namespace {

constexpr long indexEntrySize = 8;  // on disk
constexpr unsigned char noPayload = 128;
constexpr unsigned char textSizeLong = 128;
constexpr unsigned long decimalSize = 24;

}  // namespace

bool KTWTFileElement::seek(long row) {
    if (currentRow_ == row) return true;
    if (row > rows_ && row != -1) return fail(KTWT_MESSAGE(1794));
    if (dataFile_ == nullptr) return fail(KTWT_MESSAGE(336));
    if (row == -1) return seekEnd();
    if (indexFile_ == nullptr || row < 0 || row > LONG_MAX / indexEntrySize) return fail(KTWT_MESSAGE(336));
    if (np_fio_seek64(indexFile_, row * indexEntrySize, np_from_start) < 0) return fail(KTWT_MESSAGE(336));
    long offset = 0;
    if (!nextIndexEntry(&offset)) return fail(KTWT_MESSAGE(1301, "row offset"));
    positioned_ = true;
    if (np_fio_seek64(dataFile_, offset, np_from_start) < 0) return fail(KTWT_MESSAGE(336));
    currentRow_ = row;
    currentOffset_ = offset;
    return true;
}

// The end of an element without an index can be found all the same: rows can be appended to it.
bool KTWTFileElement::seekEnd() {
    if (indexFile_ != nullptr && np_fio_seek64(indexFile_, 0, np_from_end) < 0) return fail(KTWT_MESSAGE(336));
    currentRow_ = rows_;
    currentOffset_ = np_fio_seek64(dataFile_, 0, np_from_end);
    return currentOffset_ >= 0 || fail(KTWT_MESSAGE(336));
}

bool KTWTFileElement::nextIndexEntry(long* offset) {
    if (np_fio_getb(indexFile_, offset, indexEntrySize) != indexEntrySize) return false;
    if (byteSwap_) reverseBytes(offset, indexEntrySize);
    return true;
}

bool KTWTFileElement::readRow(KtbDatavar** values, int wanted, bool* end) {
    return reversed_ ? readReversed(values, wanted, end) : readForward(values, wanted, end);
}

// Fetches the string buffer and steps over the index entry of the first row, which is known to begin where the file does.
bool KTWTFileElement::beginReading() {
    firstRead_ = false;
    stringBuffer_ = owner_->getStringBuffer();
    stringBufferSize_ = owner_->getStringBufferSize();
    if (indexFile_ == nullptr || positioned_ || currentRow_ >= rows_) return true;
    long ignored = 0;
    return nextIndexEntry(&ignored) || fail(KTWT_MESSAGE(1301, "column"));
}

bool KTWTFileElement::readForward(KtbDatavar** values, int wanted, bool* end) {
    *end = currentRow_ >= rows_;
    if (*end) return false;
    if (firstRead_ && !beginReading()) return false;
    ++currentRow_;
    if (wanted == 0) return skipRow();
    int decoded = 0;
    if (!decode(values, wanted, &decoded)) return fail(KTWT_MESSAGE(1301, "column"));
    if (decoded == columnCount_) return true;
    if (indexFile_ == nullptr) return passRest(decoded);
    return jumpToNextRow();
}

bool KTWTFileElement::skipRow() {
    if (indexFile_ == nullptr) return passRest(0);
    if (currentRow_ >= rows_) return true;
    if (!nextIndexEntry(&currentOffset_)) return fail(KTWT_MESSAGE(1301, "column position"));
    return np_fio_seek64(dataFile_, currentOffset_, np_from_start) >= 0 || fail(KTWT_MESSAGE(1301, "column"));
}

bool KTWTFileElement::jumpToNextRow() {
    if (currentRow_ >= rows_) return true;
    long next = 0;
    if (!nextIndexEntry(&next)) return fail(KTWT_MESSAGE(1301, "column position"));
    if (next == 0 || next == currentOffset_) return true;
    currentOffset_ = np_fio_seek64(dataFile_, next, np_from_start);
    return currentOffset_ >= 0 || fail(KTWT_MESSAGE(1301, "column"));
}

// An element of exactly one row that nobody has placed delivers that row twice, since seek(0) first finds the reader at row 0
// and then, at row -1, really moves it. Tables place their elements and never see this; it is kept for those who do not.
bool KTWTFileElement::readReversed(KtbDatavar** values, int wanted, bool* end) {
    *end = false;
    if (!positioned_ && !seek(std::max(rows_, 0L) - 1)) return false;
    *end = currentRow_ < 0;
    if (*end) return false;
    if (firstRead_ && !beginReading()) return false;
    --currentRow_;
    int decoded = 0;
    if (wanted != 0 && !decode(values, wanted, &decoded)) return fail(KTWT_MESSAGE(1301, "column"));
    return stepBack();
}

bool KTWTFileElement::stepBack() {
    long offset = 0;
    if (currentRow_ >= 0) {
        if (indexFile_ == nullptr) return fail(KTWT_MESSAGE(336));
        if (np_fio_seek64(indexFile_, -2 * indexEntrySize, np_from_current) < 0) return fail(KTWT_MESSAGE(1301, "column"));
        if (!nextIndexEntry(&offset)) return fail(KTWT_MESSAGE(1301, "column position"));
    }
    currentOffset_ = np_fio_seek64(dataFile_, offset, np_from_start);
    return currentOffset_ >= 0 || fail(KTWT_MESSAGE(1301, "column"));
}

// Decodes columns until `wanted` slots are filled or the row ends; *decoded is the number of columns gone through.
bool KTWTFileElement::decode(KtbDatavar** values, int wanted, int* decoded) {
    int filled = 0;
    int c = 0;
    while (c < columnCount_ && filled < wanted) {
        const KTWTColumnDef& column = columnDefs_[c];
        KtbDatavar* destination = nullptr;
        if (column.targetCount != 0) {
            destination = column.targets ? values[column.targets[0]] : values[c];
            ++filled;
        }
        if (!decodeColumn(destination)) return false;
        for (int i = 1; i < column.targetCount && column.targets; ++i, ++filled) {
            *values[column.targets[static_cast<std::size_t>(i)]] = *destination;
        }
        ++c;
    }
    *decoded = c;
    return true;
}

bool KTWTFileElement::passRest(int column) {
    for (; column < columnCount_; ++column) {
        if (!decodeColumn(nullptr)) return fail(KTWT_MESSAGE(1301, "column"));
    }
    return true;
}

bool KTWTFileElement::read(void* bytes, unsigned long count) {
    if (np_fio_getb(dataFile_, bytes, count) != count) return false;
    currentOffset_ += static_cast<long>(count);
    return true;
}

bool KTWTFileElement::pass(long count) {
    if (np_fio_seek64(dataFile_, count, np_from_current) < 0) return false;
    currentOffset_ += count;
    return true;
}

bool KTWTFileElement::decodeColumn(KtbDatavar* destination) {
    unsigned char flag = 0;
    if (!read(&flag, 1)) return false;
    if ((flag & noPayload) != 0) {
        if (destination != nullptr) destination->setNull();
        return true;
    }
    return flag == ktwt::storedString ? decodeText(destination) : decodeNumber(flag, destination);
}

bool KTWTFileElement::decodeNumber(unsigned char code, KtbDatavar* destination) {
    unsigned long size = 0;
    switch (code) {
        case ktwt::storedBoolean:
            size = 1;
            break;
        case ktwt::storedDate:
        case ktwt::storedInteger:
            size = 8;
            break;
        case ktwt::storedDecimal:
            size = decimalSize;
            break;
        default:
            return true;  // a code without payload
    }
    if (destination == nullptr) return pass(static_cast<long>(size));

    unsigned char bytes[decimalSize];
    if (!read(bytes, size)) return false;
    if (code == ktwt::storedBoolean) {
        destination->assign(bytes[0] != 0);
        return true;
    }
    if (code == ktwt::storedDecimal) {
        destination->assign(ktbTypeDecimal, bytes, decimalSize, byteSwap_);
        return true;
    }
    if (byteSwap_) reverseBytes(bytes, size);
    if (code == ktwt::storedInteger) {
        long number = 0;
        std::memcpy(&number, bytes, sizeof number);
        destination->assign(number);
        return true;
    }
    double seconds = 0;
    std::memcpy(&seconds, bytes, sizeof seconds);
    destination->assign(seconds);
    destination->setType(ktbTypeDate);
    return true;
}

bool KTWTFileElement::readTextSize(long* bytes) {
    unsigned char size[4];
    if (!read(size, 1)) return false;
    *bytes = size[0];
    if ((size[0] & textSizeLong) == 0) return true;
    if (!read(size + 1, 3)) return false;
    *bytes = (size[0] & 127L) << 24 | long{size[1]} << 16 | long{size[2]} << 8 | long{size[3]};
    return true;
}

// A text without its NUL, or longer than the header says any text is, is damage: it would not fit the buffer.
bool KTWTFileElement::decodeText(KtbDatavar* destination) {
    long bytes = 0;
    if (!readTextSize(&bytes) || bytes == 0) return false;
    if (destination == nullptr) return pass(bytes);
    if (bytes > stringBufferSize_ || !read(stringBuffer_, static_cast<unsigned long>(bytes))) return false;
    if (stringBuffer_[bytes - 1] != 0) return false;
    destination->assign(reinterpret_cast<const char*>(stringBuffer_), static_cast<int>(bytes - 1));
    return true;
}
