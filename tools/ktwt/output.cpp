#include "output.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "interrupt.h"

namespace {

// A device or a pipe is written to as it is; only a regular file, or none, can be replaced by another.
bool isReplaceable(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) != 0 ? errno == ENOENT : S_ISREG(status.st_mode);
}

// The permissions of a new file: those of the old one, else what the umask leaves.
mode_t modeFor(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0) return status.st_mode & 0777U;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

}  // namespace

Outcome Output::open(const std::string& path) {
    if (path == "-") return {};
    path_ = path;
    if (isReplaceable(path)) {
        temporary_ = path + ".XXXXXX";
        handle_ = mkostemp(temporary_.data(), O_CLOEXEC);
        if (handle_ < 0) temporary_.clear();
        if (handle_ >= 0 && fchmod(handle_, modeFor(path)) != 0) error_ = errno;
    } else {
        handle_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    }
    if (handle_ < 0) error_ = errno;
    return failed() ? failure() : Outcome();
}

Output::~Output() {
    if (path_ != "-" && handle_ >= 0) close(handle_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

bool Output::isTerminal() const { return handle_ >= 0 && isatty(handle_) != 0; }

std::size_t Output::terminalWidth() const {
    constexpr std::size_t usual = 80;  // for terminals that do not say
    winsize size = {};
    if (!isTerminal()) return 0;
    return ioctl(handle_, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

void Output::flush() {
    write(buffer_);
    buffer_.clear();
}

void Output::write(std::string_view bytes) {
    while (!bytes.empty() && !failed()) {
        if (interrupted()) {  // a Ctrl-C that came before would not end a write that waits for its reader
            error_ = EINTR;
            return;
        }
        const ssize_t written = ::write(handle_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
}

Outcome Output::failure() const {
    if (error_ == EINTR) return cancelled();
    if (error_ == EPIPE) return {Status::cancelled, ""};
    const bool full = error_ == ENOSPC || error_ == EDQUOT || error_ == EFBIG;
    const std::string name = path_ == "-" ? "standard output" : path_;
    return {full ? Status::full : Status::unreadable, name + ": " + std::strerror(error_)};
}

Outcome Output::finish() {
    flush();
    if (path_ != "-" && handle_ >= 0 && close(handle_) != 0 && error_ == 0) error_ = errno;
    if (path_ != "-") handle_ = -1;
    if (!failed() && !temporary_.empty()) {
        if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
            error_ = errno;
        else
            temporary_.clear();
    }
    return failed() ? failure() : Outcome();
}
