#include "wtcursor_string.h"

#include <new>

extern "C" KtWorkTableStringCursor* ktwtCreateStringCursor(KtWorkTableManager* manager) {
    return new (std::nothrow) KtWorkTableStringCursorImpl(manager);
}

extern "C" KtWorkTableStringKTWFCursor* ktwtCreateStringKTWFCursor(KtWorkTableManager* manager) {
    return new (std::nothrow) KtWorkTableStringKTWFCursorImpl(manager);
}

template <class Interface>
void KTWTStringCursor<Interface>::setColumnValue(int column, const KtbString& text) {
    KtbDatavar value;
    value.assign(text);
    if (value.isNull() && !text.isNull()) return cursor_.loseWrittenValue();
    cursor_.setColumnValue(column, value);
}

template <class Interface>
bool KTWTStringCursor<Interface>::copy(KtbStringCursor* source) {
    return cursor_.prepareCopy<KtbStringCursor>(source, this) && copyCursor(source, this, cursor_.errorMessage());
}

template <class Interface>
template <class Convert>
KtbString KTWTStringCursor<Interface>::readText(int column, Convert convert) {
    const KtbDatavar* value = cursor_.findValue(column);
    // One object and one return, so that it is made in the caller's place and not moved there.
    KtbString text = value != nullptr ? convert(*value) : KtbString(nullptr);
    if (value != nullptr && text.isNull() && !value->isNull()) cursor_.loseReadValue();
    return text;
}

KtbString KtWorkTableStringCursorImpl::getColumnValue(int column) {
    return readText(column, [](const KtbDatavar& value) {
        return value.type() == ktbTypeDate ? value.asDate().asString(true) : value.asString();
    });
}

KtbString KtWorkTableStringKTWFCursorImpl::getColumnValue(int column) {
    return readText(column, [](const KtbDatavar& value) { return value.asString(); });
}
