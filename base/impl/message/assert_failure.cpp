// Reports of failed assertions.
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "ktb/message.h"
#include "message/hook.h"

namespace {

constinit KtbHookSlot<KtbAssertHandler> handlerSlot;

iovec piece(std::string_view text) { return {const_cast<char*>(text.data()), text.size()}; }

std::string_view shown(const char* text) { return text != nullptr ? text : ""; }

// One call for the whole line, so that lines of several threads do not run into each other; and no memory of its own, since a
// failed assertion may be the fruit of having none. Where standard error takes nothing there is nobody left to tell.
void writeLine(const char* text, const char* source, int line) {
    char digits[16];
    const char* end = std::to_chars(digits, digits + sizeof digits, line).ptr;
    const iovec pieces[] = {
        piece(shown(source)),          piece(":"),         piece({digits, static_cast<std::size_t>(end - digits)}),
        piece(": assertion failed: "), piece(shown(text)), piece("\n")};
    while (::writev(STDERR_FILENO, pieces, static_cast<int>(std::size(pieces))) < 0 && errno == EINTR) {
    }
}

}  // namespace

void ktbAssertFailure(const char* text, const char* source, int line) {
    const KtbHook<KtbAssertHandler> handler = handlerSlot.get();
    if (handler.function != nullptr) {
        handler.function(handler.context, text, source, line);
        return;
    }
    const int callersErrno = errno;
    writeLine(text, source, line);
    errno = callersErrno;
}

void ktbSetAssertHandler(KtbAssertHandler handler, void* context) { handlerSlot.set(handler, context); }
