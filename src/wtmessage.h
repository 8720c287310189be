// Messages of this library: the catalog's texts, with number and arguments checked when the caller is compiled.
#ifndef KTWT_WTMESSAGE_H
#define KTWT_WTMESSAGE_H

#include <cstring>
#include <type_traits>
#include <utility>

#include "ktb/message.h"

namespace ktwt {

template <class Argument>
consteval char messageArgumentKind() {
    if constexpr (std::is_same_v<Argument, const char*>) {
        return 's';
    } else if constexpr (std::is_same_v<Argument, int>) {
        return 'd';
    } else if constexpr (std::is_same_v<Argument, long>) {
        return 'l';
    } else {
        return '?';
    }
}

template <class... Arguments>
consteval bool messageTakes(int number) {
    const char kinds[] = {messageArgumentKind<Arguments>()..., '\0'};
    for (const KtbMessageSignature& signature : ktbMessageSignatures) {
        if (signature.number != number) continue;
        int i = 0;
        while (kinds[i] != '\0' && kinds[i] == signature.arguments[i]) ++i;
        return kinds[i] == signature.arguments[i];
    }
    return false;
}

template <int number, class... Arguments>
KtbString message(const char* source, int line, Arguments... arguments) {
    static_assert(messageTakes<Arguments...>(number), "the catalog has no such message, or it takes other arguments");
    return ktb_get_message(source, line, "Work table library", number, arguments...);
}

// Keeps a failure's text. One that memory could not hold is replaced by a fixed text, so that a failure never looks like none.
inline void setFailure(KtbString* error, KtbString text) {
    *error = std::move(text);
    if (error->isNull()) *error = KtbString("KTWT-0029: Memory is exhausted: no room for (message text).", true);
}

// The text for a caller who asks for it, under the same promise.
inline KtbString copyOfFailure(const KtbString& error) {
    KtbString copy;
    setFailure(&copy, error);
    return copy;
}

// Whether a failure's text says that memory was exhausted: for callers to whom other failures are an answer.
inline bool isExhaustion(const KtbString& text) { return std::strncmp(text.asCstr(), "KTWT-0029:", 10) == 0; }

}  // namespace ktwt

// Makes a message under the source name that the class around the call calls `messageSource`.
#define KTWT_MESSAGE(number, ...) ::ktwt::message<number>(messageSource, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#endif
