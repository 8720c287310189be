#include "append_turn.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "interrupt.h"

AppendTurn::~AppendTurn() {
    if (handle_ >= 0) close(handle_);
}

// A byte that no header reaches is locked, so that nobody is hindered but who asks for the same. Unlike the older locks of
// fcntl these belong to the handle: what the library opens and closes of the same file does not end them.
Outcome AppendTurn::take(const std::string& headerPath) {
    handle_ = open(headerPath.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (handle_ < 0) return {};  // why not is for the library to tell
    struct flock turn = {};
    turn.l_type = F_WRLCK;
    turn.l_whence = SEEK_SET;
    turn.l_start = std::numeric_limits<off_t>::max() - 1;
    turn.l_len = 1;
    // Asking again and again costs little, and unlike a call that waits it cannot miss a Ctrl-C that comes just before.
    constexpr timespec interval = {0, 50'000'000};
    while (fcntl(handle_, F_OFD_SETLK, &turn) != 0 && (errno == EAGAIN || errno == EACCES)) {
        if (interrupted()) return cancelled();
        nanosleep(&interval, nullptr);
    }
    return {};
}
