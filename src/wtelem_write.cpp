// Encoding of rows.
//
// A row is its stored columns one after another. Each begins with a flag byte: bit 7 says that no payload follows, the other
// bits hold the storage code; a null is the byte 128 alone, a value that does not convert to the column's type keeps the code.
//
//     boolean  1 byte             decimal  24 bytes: the words of KtbReal::asFD
//     date     8 bytes, double    string   L in 1 byte (to 127) or 4 bytes (bit 7 of the first set), then L bytes with the NUL
//     integer  8 bytes
//
// Numbers are in the writer's byte order, except L, which is big-endian everywhere. Example: the row (null, 7, "ab") of a
// boolean, an integer and a string column, on a little-endian machine: 80 | 03 07 00 00 00 00 00 00 00 | 05 03 61 62 00. The
// row's offset goes to the index file first. Everything is written through the file layer's buffers, field by field, and
// nothing is allocated per row.
#include <algorithm>

#include "ktb/real.h"
#include "wtcolumn.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"

namespace {

constexpr unsigned char noPayload = 128;
constexpr int textSizeShortMax = 127;

}  // namespace

bool KTWTFileElement::writeRow(KtbDatavar** values, bool* full) {
    *full = false;
    if (indexFile_ != nullptr && np_fio_putb(indexFile_, &size_, sizeof size_) != sizeof size_) {
        return fail(KTWT_MESSAGE(1044));
    }
    for (int c = 0; c < columnCount_; ++c) {
        const Stored stored = writeColumn(&columnDefs_[c], *values[c]);
        if (stored == Stored::whole) continue;
        if (stored == Stored::cutShort) return fail(KTWT_MESSAGE(1044));
        // A flag byte that is refused ends the row in silence, and the row counts: callers see this failure when they close.
        rowCut_ = true;
        break;
    }
    ++rows_;
    const long limit = owner_->getElementSize();
    *full = limit != 0 && size_ > limit;
    return true;
}

KTWTFileElement::Stored KTWTFileElement::writeColumn(KTWTColumnDef* column, const KtbDatavar& value) {
    if (value.isNull()) return writeFlag(noPayload);
    const unsigned char code = column->storageCode;
    bool failed = false;
    switch (code) {
        case ktwt::storedBoolean: {
            const unsigned char payload = value.asBool(&failed) ? 1 : 0;
            return writeFixed(code, failed, &payload, sizeof payload);
        }
        case ktwt::storedDate: {
            const KtbDate date = value.asDate();
            const double payload = date.asDouble();
            return writeFixed(code, date.isNull(), &payload, sizeof payload);
        }
        case ktwt::storedInteger: {
            const long payload = value.asInt64(&failed);
            return writeFixed(code, failed, &payload, sizeof payload);
        }
        case ktwt::storedDecimal: {
            const KtbReal decimal = value.asReal(&failed);
            unsigned long payload[3];
            decimal.asFD(&payload);
            return writeFixed(code, failed || decimal.isNull(), payload, sizeof payload);
        }
        case ktwt::storedString:
            return writeText(column, value);
        default: {
            // No table defines such a column. The size has always grown by one here without a byte behind it.
            const Stored stored = writeFlag(code);
            if (stored == Stored::whole && (code & noPayload) == 0) ++size_;
            return stored;
        }
    }
}

KTWTFileElement::Stored KTWTFileElement::writeFlag(unsigned char flag) {
    ++size_;
    return np_fio_putb(dataFile_, &flag, 1) == 1 ? Stored::whole : Stored::flagRefused;
}

KTWTFileElement::Stored KTWTFileElement::writeFixed(unsigned char code, bool failed, const void* payload, unsigned long bytes) {
    const Stored stored = writeFlag(failed ? code | noPayload : code);
    if (failed || stored != Stored::whole) return stored;
    if (np_fio_putb(dataFile_, payload, bytes) != bytes) return Stored::cutShort;
    size_ += static_cast<long>(bytes);
    return Stored::whole;
}

KTWTFileElement::Stored KTWTFileElement::writeText(KTWTColumnDef* column, const KtbDatavar& value) {
    const KtbString& text = value.asString(&scratch_);
    // A value that memory could not turn into a text is one that did not convert.
    if (text.isNull()) return writeFlag(ktwt::storedString | noPayload);
    const Stored stored = writeFlag(ktwt::storedString);
    if (stored != Stored::whole) return stored;

    const int kept = column->width > 0 ? text.sizeWithin(column->width) : text.cStrSize() - 1;
    const bool cut = kept != text.cStrSize() - 1;
    if (!writeTextSize(kept + 1)) return Stored::cutShort;
    const auto bytes = static_cast<unsigned long>(cut ? kept : kept + 1);
    if (np_fio_putb(dataFile_, text.asCstr(), bytes) != bytes) return Stored::cutShort;
    if (cut && np_fio_putb(dataFile_, "", 1) != 1) return Stored::cutShort;
    size_ += kept + 1;
    column->longest = std::max(column->longest, kept + 1);
    return Stored::whole;
}

bool KTWTFileElement::writeTextSize(int bytes) {
    unsigned char size[4];
    const auto length = static_cast<unsigned>(bytes);
    unsigned long count = 0;
    if (bytes > textSizeShortMax) {
        size[count++] = static_cast<unsigned char>(0x80 | length >> 24);
        size[count++] = static_cast<unsigned char>(length >> 16);
        size[count++] = static_cast<unsigned char>(length >> 8);
    }
    size[count++] = static_cast<unsigned char>(length);
    if (np_fio_putb(dataFile_, size, count) != count) return false;
    size_ += static_cast<long>(count);
    return true;
}
