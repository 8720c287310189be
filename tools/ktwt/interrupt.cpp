#include "interrupt.h"

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t signalled = 0;

void remember(int) { signalled = 1; }

bool isIgnored(int number) {
    struct sigaction current = {};
    return sigaction(number, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

}  // namespace

void catchInterrupts() {
    struct sigaction once = {};
    once.sa_handler = remember;
    once.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        if (!isIgnored(number)) sigaction(number, &once, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool interrupted() { return signalled != 0; }
