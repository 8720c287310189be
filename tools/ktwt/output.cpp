#include "output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "interrupt.h"

namespace {

// What stands for an open file of a process, such as /dev/stdout, looks like a link to that file's name and is none.
bool standsForOpenFile(const std::string& link) {
    std::error_code failed;
    const std::string directory = std::filesystem::canonical(std::filesystem::path(link).parent_path(), failed).string();
    return !failed && directory.rfind("/proc/", 0) == 0;
}

// The path after all links, be there a file or not.
std::string targetOf(std::string path) {
    constexpr int linksMax = 40;  // as many as a system follows; the last one fails to open then
    for (int i = 0; i < linksMax && !standsForOpenFile(path); ++i) {
        std::error_code failed;
        const std::filesystem::path link = std::filesystem::read_symlink(path, failed);
        if (failed) return path;
        path = (std::filesystem::path(path).parent_path() / link).string();  // the link alone when it begins with '/'
    }
    return path;
}

// A device or a pipe is written to as it is; only a regular file, or none, can be replaced by another.
bool isReplaceable(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) != 0 ? errno == ENOENT : S_ISREG(status.st_mode);
}

bool isSameFile(const std::string& path, int handle) {
    struct stat a;
    struct stat b;
    return stat(path.c_str(), &a) == 0 && fstat(handle, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
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
    target_ = targetOf(path);
    // Through the handle that is there its place in the file is shared with whoever writes before and after.
    if (standsForOpenFile(target_) && isSameFile(target_, STDOUT_FILENO)) return {};
    path_ = path;
    openFile();
    return failed() ? failure() : Outcome();
}

void Output::openFile() {
    if (isReplaceable(target_)) {
        temporary_ = target_ + ".XXXXXX";
        handle_ = mkostemp(temporary_.data(), O_CLOEXEC);
        if (handle_ < 0) temporary_.clear();
        if (handle_ >= 0 && fchmod(handle_, modeFor(target_)) != 0) error_ = errno;
    } else {
        handle_ = ::open(target_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY);
    }
    if (handle_ < 0) error_ = errno;
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

// How much of so many bytes the next write is to take; 0 when there is to be none, since a Ctrl-C that came before does not end
// a write that waits for its reader.
std::size_t Output::sizeOfWrite(std::size_t bytes) const {
    if (!interrupted()) return bytes;
    pollfd asked = {handle_, POLLOUT, 0};
    const bool isAtOnce = tellsAfterInterrupt_ && poll(&asked, 1, 0) > 0;
    return isAtOnce ? std::min<std::size_t>(bytes, PIPE_BUF) : 0;  // of a pipe no more may be free
}

void Output::write(std::string_view bytes) {
    while (!bytes.empty() && !failed()) {
        const std::size_t size = sizeOfWrite(bytes.size());
        if (size == 0) {
            error_ = EINTR;
            return;
        }
        const ssize_t written = ::write(handle_, bytes.data(), size);
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
        if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
            error_ = errno;
        else
            temporary_.clear();
    }
    return failed() ? failure() : Outcome();
}
