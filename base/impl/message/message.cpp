// Making messages from the catalog, and telling the observer.
#include "ktb/message.h"

#include <cstdarg>
#include <cstdio>

#include "message/catalog.h"
#include "message/hook.h"

namespace {

constinit KtbHookSlot<KtbMessageObserver> observerSlot;

// Needs no memory to be made or copied.
constexpr char exhaustedText[] = "KTWT-0029: Memory is exhausted: no room for (message text).";

const char* findFormat(int number) {
    for (const KtbMessageText& entry : ktbMessageTexts) {
        if (entry.number == number) return entry.format;
    }
    return nullptr;
}

void appendNumber(long number, KtbString* text, bool* failed) {
    KtbString digits;
    digits.assign(number);
    text->append(digits, failed);
}

// Not vsnprintf: a null text must show as an empty one, and the result has no length known beforehand.
void appendArgument(char kind, va_list* arguments, KtbString* text, bool* failed) {
    if (kind == 'd') appendNumber(va_arg(*arguments, int), text, failed);
    if (kind == 'l') appendNumber(va_arg(*arguments, long), text, failed);
    if (kind != 's') return;
    const char* argument = va_arg(*arguments, const char*);
    if (argument != nullptr) text->append(argument, failed);
}

void appendFilled(const char* format, va_list* arguments, KtbString* text, bool* failed) {
    const char* plain = format;
    while (*format != 0) {
        if (*format != '%') {
            ++format;
            continue;
        }
        text->append(plain, static_cast<int>(format - plain), failed);
        ++format;
        appendArgument(ktbMessageConversion(&format), arguments, text, failed);
        plain = format;
    }
    text->append(plain, failed);
}

KtbString makeText(int number, va_list* arguments) {
    char label[24];
    std::snprintf(label, sizeof label, "KTWT-%04d: ", number);
    KtbString text(label);
    bool failed = text.isNull();
    if (const char* format = findFormat(number)) {
        appendFilled(format, arguments, &text, &failed);
    } else {
        text.append("Unknown message.", &failed);
    }
    if (failed) return KtbString(exhaustedText, true);
    return text;
}

}  // namespace

KtbString ktb_get_message(const char* source, int line, const char* component, int number, ...) {
    va_list arguments;
    va_start(arguments, number);
    KtbString text = makeText(number, &arguments);
    va_end(arguments);
    const KtbHook<KtbMessageObserver> observer = observerSlot.get();
    if (observer.function != nullptr) observer.function(observer.context, source, line, component, number, text.asCstr());
    return text;
}

void ktbSetMessageObserver(KtbMessageObserver observer, void* context) { observerSlot.set(observer, context); }
