#include "wtrowcheck.h"

#include <algorithm>
#include <cstring>

#include "ktb/date.h"
#include "ktb/real.h"
#include "ktwt/bytes.h"

namespace ktwt {

RowCheck::End RowCheck::check(long row, long begin, long end) {
    row_ = row;
    end_ = End::whole;
    if (!bytes_.moveTo(begin, end)) return End::undelivered;
    for (column_ = 0; column_ < columnCount_; ++column_) {
        columnBegin_ = bytes_.offset();
        if (!checkColumn(columns_[column_])) return end_;
    }
    return End::whole;
}

bool RowCheck::stop() {
    end_ = bytes_.isBeyond() ? End::tooLong : End::undelivered;
    return false;
}

bool RowCheck::damaged() {
    end_ = End::damaged;
    return false;
}

bool RowCheck::checkColumn(const KTWTColumnDef& column) {
    unsigned char flag = 0;
    if (!get(&flag, 1)) return false;
    if (flag == noPayload) return true;
    const bool hasPayload = (flag & noPayload) == 0;
    const auto code = static_cast<unsigned char>(flag & ~noPayload);
    if (hasPayload && (code < storedBoolean || code > storedString)) {
        findings_->tell(place(), "Column %d: the flag byte is %d, which no value has.", column_, flag);
        return damaged();
    }
    if (code != column.storageCode) {
        findings_->tell(place(), "Column %d: the value has storage code %d, the column %d.", column_, code, column.storageCode);
    }
    return !hasPayload || checkPayload(code, column);
}

bool RowCheck::checkPayload(unsigned char code, const KTWTColumnDef& column) {
    long anyNumber = 0;
    switch (code) {
        case storedBoolean: return checkBoolean();
        case storedDate: return checkDate();
        case storedInteger: return get(&anyNumber, sizeof anyNumber);
        case storedDecimal: return checkDecimal();
        default: return checkText(column);
    }
}

bool RowCheck::checkBoolean() {
    unsigned char byte = 0;
    if (!get(&byte, 1)) return false;
    if (byte > 1) findings_->tell(place(), "Column %d: the boolean is %d, neither 0 nor 1.", column_, byte);
    return true;
}

bool RowCheck::checkDate() {
    double seconds = 0;
    if (!get(&seconds, sizeof seconds)) return false;
    if (byteSwap_) reverseBytes(&seconds, sizeof seconds);
    if (KtbDate(seconds).isNull()) findings_->tell(place(), "Column %d: the number of seconds is that of no date.", column_);
    return true;
}

bool RowCheck::checkDecimal() {
    unsigned long words[3];
    static_assert(sizeof words == decimalSize);
    if (!get(words, decimalSize)) return false;
    for (unsigned long& word : words) {
        if (byteSwap_) reverseBytes(&word, sizeof word);
    }
    KtbReal decimal;
    if (!decimal.assignFD(words)) findings_->tell(place(), "Column %d: the three words are those of no decimal.", column_);
    return true;
}

bool RowCheck::checkText(const KTWTColumnDef& column) {
    const unsigned long size = takeTextSize(bytes_);
    if (bytes_.hasFailed()) return stop();
    if (size == 0) {
        findings_->tell(place(), "Column %d: the text has no length, not even that of its NUL.", column_);
        return damaged();
    }
    if (!bytes_.isHere(size)) return stop();
    bool broken = false;
    bool closed = false;
    if (!passText(size, &broken, &closed)) return false;
    if (!closed) {
        findings_->tell(place(), "Column %d: the text of %lu bytes does not end with a NUL.", column_, size);
        return damaged();
    }
    if (broken) findings_->tell(place(), "Column %d: the text has a NUL within, which ends it for every reader.", column_);
    if (column.longest < 0 || size > static_cast<unsigned long>(column.longest)) {
        findings_->tell(place(), "Column %d: the text has %lu bytes, but the header knows of no text of more than %d.", column_,
                        size, column.longest);
    }
    return true;
}

// Goes through a text in pieces, since it may be longer than memory is worth. Finds out whether its last byte is a NUL, and
// whether one before that is.
bool RowCheck::passText(unsigned long size, bool* broken, bool* closed) {
    char piece[4096];
    while (size != 0) {
        const unsigned long count = std::min<unsigned long>(size, sizeof piece);
        if (!get(piece, count)) return false;
        size -= count;
        *closed = piece[count - 1] == '\0';
        const unsigned long before = size == 0 ? count - 1 : count;
        *broken = *broken || std::memchr(piece, 0, before) != nullptr;
    }
    return true;
}

}  // namespace ktwt
