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
#include "wtrowio.h"

using ktwt::decimalSize;
using ktwt::indexEntrySize;
using ktwt::RowInput;

bool KTWTFileElement::seek(long row) {
    if (currentRow_ == row) return true;
    if (row > rows_ && row != -1) return fail(KTWT_MESSAGE(1794));
    if (dataFile_ == nullptr) return fail(KTWT_MESSAGE(336));
    if (row == -1) return seekEnd();
    if (indexFile_ == nullptr || row < 0 || row > LONG_MAX / indexEntrySize) return fail(KTWT_MESSAGE(336));
    if (np_fio_seek64(indexFile_, row * indexEntrySize, np_from_start) < 0) return fail(KTWT_MESSAGE(336));
    index_.start(indexFile_, row * indexEntrySize);
    long offset = 0;
    if (!nextIndexEntry(&offset)) return fail(KTWT_MESSAGE(1301, "row offset"));
    positioned_ = true;
    if (np_fio_seek64(dataFile_, offset, np_from_start) < 0) return fail(KTWT_MESSAGE(336));
    currentRow_ = row;
    input_.start(dataFile_, offset);
    return true;
}

// The end of an element without an index can be found all the same: rows can be appended to it.
bool KTWTFileElement::seekEnd() {
    if (indexFile_ != nullptr) {
        const long end = np_fio_seek64(indexFile_, 0, np_from_end);
        if (end < 0) return fail(KTWT_MESSAGE(336));
        index_.start(indexFile_, end);
    }
    currentRow_ = rows_;
    const long end = np_fio_seek64(dataFile_, 0, np_from_end);
    if (end < 0) return fail(KTWT_MESSAGE(336));
    input_.start(dataFile_, end);
    return true;
}

// Finds where the last counted row ends when no index tells where it begins: by passing over all rows.
bool KTWTFileElement::findEndByReading(long* end) {
    input_.start(dataFile_, 0);
    for (long row = 0; columnCount_ != 0 && row < rows_; ++row) {
        if (!passRest(0)) return false;
    }
    *end = input_.offset();
    return true;
}

// Finds where the last counted row ends.
bool KTWTFileElement::findEnd(long* end) {
    *end = 0;
    if (rows_ <= 0) return true;
    if (indexFile_ == nullptr) return findEndByReading(end);
    if (rows_ > LONG_MAX / indexEntrySize) return fail(KTWT_MESSAGE(336));
    const long entry = (rows_ - 1) * indexEntrySize;
    if (np_fio_seek64(indexFile_, entry, np_from_start) < 0) return fail(KTWT_MESSAGE(336));
    index_.start(indexFile_, entry);
    long offset = 0;
    if (!nextIndexEntry(&offset)) return fail(KTWT_MESSAGE(1301, "row offset"));
    if (np_fio_seek64(dataFile_, offset, np_from_start) < 0) return fail(KTWT_MESSAGE(336));
    input_.start(dataFile_, offset);
    if (!passRest(0)) return false;
    *end = input_.offset();
    return true;
}

bool KTWTFileElement::placeForAppending() {
    long end = 0;
    if (!findEnd(&end)) return false;
    if (end > size_) return fail(KTWT_MESSAGE(1301, "column"));
    if (!seek(-1)) return false;
    size_ = end;
    const bool placed =
        indexFile_ == nullptr || np_fio_seek64(indexFile_, std::max(rows_, 0L) * indexEntrySize, np_from_start) >= 0;
    return (placed && np_fio_seek64(dataFile_, end, np_from_start) >= 0) || fail(KTWT_MESSAGE(336));
}

inline bool KTWTFileElement::nextIndexEntry(long* offset) {
    if (!index_.get(offset, indexEntrySize)) return false;
    if (byteSwap_) reverseBytes(offset, indexEntrySize);
    return true;
}

// Fetches the string buffer and steps over the index entry of the first row, which is known to begin where the file does.
bool KTWTFileElement::beginReading() {
    if (dataFile_ == nullptr) return fail(KTWT_MESSAGE(1301, "column"));
    // A row without columns is its index entry and nothing else. Without an index no byte of any file bears out the count of
    // such rows, and reading as many as it promises could take for ever.
    if (columnCount_ == 0 && indexFile_ == nullptr) return fail(KTWT_MESSAGE(1301, "column"));
    firstRead_ = false;
    stringBuffer_ = owner_->getStringBuffer();
    stringBufferSize_ = owner_->getStringBufferSize();
    if (!input_.isStarted()) input_.start(dataFile_, 0);
    if (indexFile_ != nullptr && !index_.isStarted()) index_.start(indexFile_, 0);
    if (indexFile_ == nullptr || positioned_ || currentRow_ >= rows_) return true;
    long ignored = 0;
    return nextIndexEntry(&ignored) || fail(KTWT_MESSAGE(1301, "column"));
}

inline bool KTWTFileElement::readForward(KtbDatavar** values, int wanted, bool* end) {
    *end = currentRow_ >= rows_;
    if (*end) return false;
    if (firstRead_ && !beginReading()) return false;
    ++currentRow_;
    if (wanted == 0) return skipRow();
    const int decoded = decode(0, values, wanted);
    if (decoded < 0) return failDecoding(decoded);
    if (decoded == columnCount_) return true;
    if (indexFile_ == nullptr) return passRest(decoded);
    return jumpToNextRow();
}

bool KTWTFileElement::skipRow() {
    if (indexFile_ == nullptr) return passRest(0);
    if (currentRow_ >= rows_) return true;
    long next = 0;
    if (!nextIndexEntry(&next)) return fail(KTWT_MESSAGE(1301, "column position"));
    return input_.moveTo(next) || fail(KTWT_MESSAGE(1301, "column"));
}

inline bool KTWTFileElement::jumpToNextRow() {
    if (currentRow_ >= rows_) return true;
    long next = 0;
    if (!nextIndexEntry(&next)) return fail(KTWT_MESSAGE(1301, "column position"));
    return next == 0 || input_.moveTo(next) || fail(KTWT_MESSAGE(1301, "column"));
}

// An element of exactly one row that nobody has placed delivers that row twice, since seek(0) first finds the reader at row 0
// and then, at row -1, really moves it. Tables place their elements and never see this; it is kept for those who do not.
inline bool KTWTFileElement::readReversed(KtbDatavar** values, int wanted, bool* end) {
    *end = false;
    if (!positioned_ && !seek(std::max(rows_, 0L) - 1)) return false;
    *end = currentRow_ < 0;
    if (*end) return false;
    if (firstRead_ && !beginReading()) return false;
    --currentRow_;
    const int decoded = wanted != 0 ? decode(0, values, wanted) : 0;
    if (decoded < 0) return failDecoding(decoded);
    return stepBack();
}

bool KTWTFileElement::failDecoding(int decoded) {
    return fail(decoded == decodedExhausted ? KTWT_MESSAGE(29, "(column value)") : KTWT_MESSAGE(1301, "column"));
}

inline bool KTWTFileElement::stepBack() {
    long offset = 0;
    if (currentRow_ >= 0) {
        if (indexFile_ == nullptr) return fail(KTWT_MESSAGE(336));
        if (!index_.moveTo(index_.offset() - 2 * indexEntrySize)) return fail(KTWT_MESSAGE(1301, "column"));
        if (!nextIndexEntry(&offset)) return fail(KTWT_MESSAGE(1301, "column position"));
    }
    return input_.moveTo(offset) || fail(KTWT_MESSAGE(1301, "column"));
}

namespace {

// Sizes of the payloads that have one, by storage code.
constexpr unsigned long payloadSizes[] = {0, 1, 8, 8, decimalSize};

template <class Number>
[[gnu::always_inline]] inline bool decodeNumber(RowInput& in, bool byteSwap, KtbDatavar* destination) {
    Number number;
    if (!in.get(&number, sizeof number)) return false;
    if (byteSwap) reverseBytes(&number, sizeof number);
    destination->assign(number);
    return true;
}

[[gnu::always_inline]] inline bool decodeDate(RowInput& in, bool byteSwap, KtbDatavar* destination) {
    if (!decodeNumber<double>(in, byteSwap, destination)) return false;
    destination->setType(ktbTypeDate);
    return true;
}

[[gnu::always_inline]] inline bool decodeBoolean(RowInput& in, KtbDatavar* destination) {
    unsigned char byte = 0;
    if (!in.get(&byte, 1)) return false;
    destination->assign(byte != 0);
    return true;
}

[[gnu::always_inline]] inline bool decodeDecimal(RowInput& in, bool byteSwap, KtbDatavar* destination) {
    unsigned char words[decimalSize];
    if (!in.get(words, decimalSize)) return false;
    destination->assign(ktbTypeDecimal, words, decimalSize, byteSwap);
    return true;
}

// Where a text goes that is not in the file layer's buffer as a whole, and how long a text may be.
struct TextBuffer {
    unsigned char* bytes;
    unsigned long size;
    bool exhausted;  // memory did not hold a text
};

// A text without its NUL, or longer than the header says any text is, is damage: it would not fit the buffer.
[[gnu::always_inline]] inline bool decodeText(RowInput& in, TextBuffer& texts, KtbDatavar* destination) {
    const unsigned long count = ktwt::takeTextSize(in);
    if (count == 0 || count > texts.size) return false;
    const unsigned char* text = in.getInPlace(count);
    if (text == nullptr) {
        if (!in.get(texts.bytes, count)) return false;
        text = texts.bytes;
    }
    if (text[count - 1] != 0) return false;
    destination->assign(reinterpret_cast<const char*>(text), static_cast<int>(count - 1));
    texts.exhausted = destination->isNull();
    return !texts.exhausted;
}

[[gnu::always_inline]] inline bool decodePayload(RowInput& in, unsigned char code, bool byteSwap, TextBuffer& texts,
                                                 KtbDatavar* destination) {
    switch (code) {
        case ktwt::storedBoolean: return decodeBoolean(in, destination);
        case ktwt::storedDate: return decodeDate(in, byteSwap, destination);
        case ktwt::storedInteger: return decodeNumber<long>(in, byteSwap, destination);
        case ktwt::storedDecimal: return decodeDecimal(in, byteSwap, destination);
        case ktwt::storedString: return decodeText(in, texts, destination);
        default: return true;  // a code without payload
    }
}

[[gnu::always_inline]] inline bool passPayload(RowInput& in, unsigned char code) {
    if (code == ktwt::storedString) {
        const unsigned long count = ktwt::takeTextSize(in);
        return count != 0 && in.pass(count);
    }
    return code > ktwt::storedString || in.pass(payloadSizes[code]);
}

// Decodes one column into its destination, or passes over it when there is none.
[[gnu::always_inline]] inline bool decodeColumn(RowInput& in, bool byteSwap, TextBuffer& texts, KtbDatavar* destination) {
    unsigned char flag = 0;
    if (!in.get(&flag, 1)) return false;
    if ((flag & ktwt::noPayload) != 0) {
        if (destination != nullptr) destination->setNull();
        return true;
    }
    return destination != nullptr ? decodePayload(in, flag, byteSwap, texts, destination) : passPayload(in, flag);
}

}  // namespace

// Decodes columns from `first` on until `wanted` slots are filled or the row ends; without `values` passes over the columns.
// Returns the number of the column after the last one gone through, decodedDamaged when the file does not hold what it should,
// or decodedExhausted when memory does not hold a value, which must not pass for a null.
int KTWTFileElement::decode(int first, KtbDatavar** values, int wanted) {
    RowInput in = input_;  // a local, which the compiler can keep in registers
    TextBuffer texts = {.bytes = stringBuffer_, .size = static_cast<unsigned long>(stringBufferSize_), .exhausted = false};
    const bool byteSwap = byteSwap_;
    const KTWTColumnDef* const columns = columnDefs_;
    const int count = columnCount_;
    int filled = 0;
    int c = first;
    bool whole = true;
    while (whole && c < count && filled < wanted) {
        const KTWTColumnDef& column = columns[c];
        KtbDatavar* destination = nullptr;
        if (values != nullptr && column.targetCount != 0) {
            destination = column.targets ? values[column.targets[0]] : values[c];
            ++filled;
        }
        whole = decodeColumn(in, byteSwap, texts, destination);
        if (whole && destination != nullptr && column.targetCount > 1) {
            texts.exhausted = !copyToFurtherTargets(column, values);
            whole = !texts.exhausted;
            filled += column.targetCount - 1;
        }
        ++c;
    }
    input_ = in;
    if (texts.exhausted) return decodedExhausted;
    return whole ? c : decodedDamaged;
}

// Copies what a column's first slot received into its other slots. Returns false when memory is exhausted.
bool KTWTFileElement::copyToFurtherTargets(const KTWTColumnDef& column, KtbDatavar** values) {
    const KtbDatavar& received = *values[column.targets[0]];
    for (int i = 1; i < column.targetCount; ++i) {
        KtbDatavar& copy = *values[column.targets[static_cast<std::size_t>(i)]];
        copy = received;
        if (copy.isNull() != received.isNull()) return false;
    }
    return true;
}

bool KTWTFileElement::passRest(int column) {
    return decode(column, nullptr, 1) == columnCount_ || fail(KTWT_MESSAGE(1301, "column"));
}

bool KTWTFileElement::readRow(KtbDatavar** values, int wanted, bool* end) {
    return reversed_ ? readReversed(values, wanted, end) : readForward(values, wanted, end);
}
