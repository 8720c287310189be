#include "sort/row_value.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t decimalBytes = 24;
constexpr std::size_t textSizeBytes = 4;

template <class Bytes>
bool putFixed(ByteBuffer* record, unsigned char tag, const Bytes& bytes) {
    unsigned char* place = record->room(1 + sizeof bytes);
    if (place == nullptr) return false;
    *place = tag;
    std::memcpy(place + 1, &bytes, sizeof bytes);
    record->grow(1 + sizeof bytes);
    return true;
}

bool putDecimal(ByteBuffer* record, unsigned char tag, const KtbReal& decimal) {
    unsigned long words[3];
    decimal.asFD(&words);
    return putFixed(record, tag, words);
}

}  // namespace

bool RowValue::putText(ByteBuffer* record, SortText text, unsigned char flags) {
    unsigned char* place = record->room(1 + textSizeBytes + text.size + 1);
    if (place == nullptr) return false;
    const auto size = static_cast<std::uint32_t>(text.size);
    *place = static_cast<unsigned char>(ktbTypeString | flags);
    std::memcpy(place + 1, &size, textSizeBytes);
    std::memcpy(place + 1 + textSizeBytes, text.bytes, text.size);
    place[1 + textSizeBytes + text.size] = 0;
    record->grow(1 + textSizeBytes + text.size + 1);
    return true;
}

bool RowValue::put(ByteBuffer* record, const KtbDatavar& value, unsigned char flags) {
    const auto tag = static_cast<unsigned char>(value.type() | flags | (value.isNull() ? nullBit : 0));
    if (value.isNull()) return record->put(&tag, 1);
    switch (value.type()) {
        case ktbTypeBoolean: {
            const unsigned char byte = value.asBool(nullptr) ? 1 : 0;
            return putFixed(record, tag, byte);
        }
        case ktbTypeInteger: return putFixed(record, tag, value.asInt64(nullptr));
        case ktbTypeDecimal: return putDecimal(record, tag, value.asReal(nullptr));
        case ktbTypeDate:
        case ktbTypeDouble: return putFixed(record, tag, value.asDouble(nullptr));
        default: {
            KtbString unused;
            const KtbString& text = value.asString(&unused);
            return putText(record, {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)}, flags);
        }
    }
}

const unsigned char* RowValue::end() const {
    if (isNull()) return at_ + 1;
    switch (type()) {
        case ktbTypeBoolean: return at_ + 2;
        case ktbTypeDecimal: return at_ + 1 + decimalBytes;
        case ktbTypeString: return at_ + 1 + textSizeBytes + asText().size + 1;
        default: return at_ + 1 + sizeof(std::uint64_t);
    }
}

long RowValue::asInteger() const {
    long number;
    std::memcpy(&number, at_ + 1, sizeof number);
    return number;
}

double RowValue::asDouble() const {
    double number;
    std::memcpy(&number, at_ + 1, sizeof number);
    return number;
}

KtbReal RowValue::asDecimal() const {
    unsigned long words[3];
    std::memcpy(words, at_ + 1, sizeof words);
    KtbReal decimal;
    decimal.assignFD(words);  // the words were taken from a decimal
    return decimal;
}

SortText RowValue::asText() const {
    std::uint32_t size;
    std::memcpy(&size, at_ + 1, sizeof size);
    return {reinterpret_cast<const char*>(at_ + 1 + textSizeBytes), size};
}

bool RowValue::get(KtbDatavar* value) const {
    if (isNull()) {
        value->setNull();
        value->setType(type());
        return true;
    }
    switch (type()) {
        case ktbTypeBoolean: value->assign(asBool()); return true;
        case ktbTypeInteger: value->assign(asInteger()); return true;
        case ktbTypeDecimal: value->assign(ktbTypeDecimal, at_ + 1, decimalBytes, false); return true;
        case ktbTypeString: {
            const SortText text = asText();
            value->assign(text.bytes, static_cast<int>(text.size));
            return !value->isNull();
        }
        default:
            value->assign(asDouble());
            if (type() == ktbTypeDate) value->setType(ktbTypeDate);
            return true;
    }
}
