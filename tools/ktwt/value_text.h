// Values as texts, without an allocation for each.
#ifndef TOOLS_KTWT_VALUE_TEXT_H
#define TOOLS_KTWT_VALUE_TEXT_H

#include <ktb/datavar.h>

#include <charconv>
#include <new>
#include <string_view>

#include "library.h"

class ValueText {
public:
    // The text of a value that is not null, as KtbDatavar::asString() gives it. It lives until the value changes, or until the
    // next call. Throws std::bad_alloc when memory does not hold it.
    std::string_view of(const KtbDatavar& value) {
        if (value.type() == ktbTypeInteger) {
            const char* const end = std::to_chars(digits_, digits_ + sizeof digits_, value.asInt64(nullptr)).ptr;
            return {digits_, static_cast<std::size_t>(end - digits_)};
        }
        const KtbString& text = value.asString(&scratch_);
        if (text.isNull()) throw std::bad_alloc();
        return viewOf(text);
    }

private:
    KtbString scratch_;
    char digits_[24];
};

#endif
