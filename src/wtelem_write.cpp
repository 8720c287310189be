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
// row's offset goes to the index file first. Nothing is allocated per row.
#include <algorithm>

#include "ktb/real.h"
#include "wtcolumn.h"
#include "wtelem.h"
#include "wtfile.h"
#include "wtmessage.h"
#include "wtrowio.h"

using ktwt::RowOutput;

namespace {

constexpr int textSizeShortMax = 127;

enum class Stored { whole, flagRefused, cutShort, exhausted };

Stored putFlag(RowOutput& out, unsigned char flag) { return out.put(&flag, 1) ? Stored::whole : Stored::flagRefused; }

// A value that did not convert leaves its column's code, marked, and no payload.
template <class Payload>
Stored putPayload(RowOutput& out, unsigned char code, bool failed, const Payload& payload) {
    const Stored stored = putFlag(out, failed ? code | ktwt::noPayload : code);
    if (failed || stored != Stored::whole) return stored;
    return out.put(&payload, sizeof payload) ? Stored::whole : Stored::cutShort;
}

bool putTextSize(RowOutput& out, int bytes) {
    const auto length = static_cast<unsigned>(bytes);
    if (bytes <= textSizeShortMax) {
        const auto size = static_cast<unsigned char>(length);
        return out.put(&size, 1);
    }
    const unsigned char size[] = {static_cast<unsigned char>(0x80 | length >> 24), static_cast<unsigned char>(length >> 16),
                                  static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length)};
    return out.put(size, sizeof size);
}

Stored putText(RowOutput& out, KTWTColumnDef* column, const KtbString& text) {
    if (text.isNull()) return Stored::exhausted;  // every value has a text; this one found no memory
    const Stored stored = putFlag(out, ktwt::storedString);
    if (stored != Stored::whole) return stored;
    const int all = text.cStrSize() - 1;
    const int kept = column->width > 0 ? text.sizeWithin(column->width) : all;
    if (!putTextSize(out, kept + 1)) return Stored::cutShort;
    const bool cut = kept != all;
    if (!out.put(text.asCstr(), static_cast<unsigned long>(cut ? kept : kept + 1))) return Stored::cutShort;
    if (cut && !out.put("", 1)) return Stored::cutShort;
    column->longest = std::max(column->longest, kept + 1);
    return Stored::whole;
}

Stored putColumn(RowOutput& out, KTWTColumnDef* column, const KtbDatavar& value, KtbString* scratch, long* elementSize) {
    if (value.isNull()) return putFlag(out, ktwt::noPayload);
    const unsigned char code = column->storageCode;
    bool failed = false;
    switch (code) {
        case ktwt::storedBoolean: {
            const unsigned char payload = value.asBool(&failed) ? 1 : 0;
            return putPayload(out, code, failed, payload);
        }
        case ktwt::storedDate: {
            const KtbDate date = value.asDate();
            return putPayload(out, code, date.isNull(), date.asDouble());
        }
        case ktwt::storedInteger: {
            const long payload = value.asInt64(&failed);
            return putPayload(out, code, failed, payload);
        }
        case ktwt::storedDecimal: {
            const KtbReal decimal = value.asReal(&failed);
            unsigned long payload[3];
            decimal.asFD(&payload);
            return putPayload(out, code, failed || decimal.isNull(), payload);
        }
        case ktwt::storedString: return putText(out, column, value.asString(scratch));
        default: {
            // No table defines such a column. The element's size has always grown by one here, without a byte behind it.
            const Stored stored = putFlag(out, code);
            if (stored == Stored::whole && (code & ktwt::noPayload) == 0) ++*elementSize;
            return stored;
        }
    }
}

}  // namespace

bool KTWTFileElement::writeRow(KtbDatavar** values, bool* full) {
    *full = false;
    if (dataFile_ == nullptr) return fail(KTWT_MESSAGE(1044));
    if (indexFile_ != nullptr && np_fio_putb(indexFile_, &size_, sizeof size_) != sizeof size_) {
        return fail(KTWT_MESSAGE(1044));
    }
    RowOutput out(dataFile_);
    Stored stored = Stored::whole;
    for (int c = 0; c < columnCount_ && stored == Stored::whole; ++c) {
        stored = putColumn(out, &columnDefs_[c], *values[c], &scratch_, &size_);
    }
    out.finish();
    size_ += out.given();
    if (stored == Stored::cutShort) return fail(KTWT_MESSAGE(1044));
    if (stored == Stored::exhausted) return fail(KTWT_MESSAGE(29, "(column value)"));
    // A flag byte that is refused ends the row in silence, and the row counts: callers see this failure when they close.
    if (stored == Stored::flagRefused) rowCut_ = true;
    ++rows_;
    const long limit = owner_->getElementSize();
    *full = limit != 0 && size_ > limit;
    return true;
}
