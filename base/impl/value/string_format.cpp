#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>

#include "ktb/string.h"

namespace {

// Most formatted texts are messages and numbers; they need no second pass and no memory besides the string's own.
constexpr std::size_t shortBytes = 512;

KtbString nullText() noexcept { return KtbString(nullptr); }

KtbString formatLong(std::size_t bytes, const char* format, std::va_list arguments) noexcept {
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[bytes + 1]);
    if (buffer == nullptr) return nullText();
    const int written = std::vsnprintf(buffer.get(), bytes + 1, format, arguments);
    if (written < 0) return nullText();
    KtbString text;
    text.assign(buffer.get(), written);
    return text;
}

KtbString formatList(const char* format, std::va_list arguments) noexcept {
    char buffer[shortBytes];
    std::va_list first;
    va_copy(first, arguments);
    const int bytes = std::vsnprintf(buffer, sizeof buffer, format, first);
    va_end(first);
    if (bytes < 0) return nullText();
    if (static_cast<std::size_t>(bytes) >= sizeof buffer) return formatLong(static_cast<std::size_t>(bytes), format, arguments);
    KtbString text;
    text.assign(buffer, bytes);
    return text;
}

}  // namespace

KtbString ktbStringFormat(const char* format, ...) {
    if (format == nullptr) return nullText();
    std::va_list arguments;
    va_start(arguments, format);
    KtbString text = formatList(format, arguments);
    va_end(arguments);
    return text;
}
