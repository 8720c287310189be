#include "input_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "interrupt.h"

namespace {

bool meansFull(int error) { return error == ENOSPC || error == EDQUOT || error == EFBIG; }

// A file that can be read and written and has no name; -1 when the directory has no room for one.
int openNameless(const std::string& directory) {
    const int handle = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (handle >= 0) return handle;
    std::string pattern = directory + "/ktwt_input_XXXXXX";  // not every file system knows files that never had a name
    const int named = mkostemp(pattern.data(), O_CLOEXEC);
    if (named >= 0) unlink(pattern.c_str());
    return named;
}

}  // namespace

InputFile::~InputFile() {
    if (owned_) close(handle_);
    if (store_ >= 0) close(store_);
}

Outcome InputFile::failure(int error) const {
    if (error == EINTR && interrupted()) return cancelled();
    return {meansFull(error) ? Status::full : Status::unreadable, name_ + ": " + std::strerror(error)};
}

Outcome InputFile::storeFailure(int error) const {
    if (error == EINTR && interrupted()) return cancelled();
    return {meansFull(error) ? Status::full : Status::unreadable,
            storeDirectory_ + ": " + std::strerror(error) + " (what is read from " + name_ + " is kept there)"};
}

Outcome InputFile::open(const std::string& path, const std::string& directories) {
    owned_ = path != "-";
    name_ = owned_ ? path : "standard input";
    handle_ = owned_ ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO;
    if (handle_ < 0) {
        owned_ = false;
        return failure(errno);
    }
    if (Outcome found = findKind(); !found.ok()) return found;
    return regular_ ? Outcome() : makeStore(directories);
}

Outcome InputFile::findKind() {
    struct stat status = {};
    if (fstat(handle_, &status) != 0) return failure(errno);
    if (S_ISDIR(status.st_mode)) return failure(EISDIR);
    begin_ = lseek(handle_, 0, SEEK_CUR);
    regular_ = S_ISREG(status.st_mode) && begin_ >= 0;
    if (!regular_) return {};
    size_ = std::max(0L, static_cast<long>(status.st_size) - begin_);
    posix_fadvise(handle_, begin_, 0, POSIX_FADV_SEQUENTIAL);
    return {};
}

Outcome InputFile::makeStore(const std::string& directories) {
    std::istringstream list(directories);
    int error = ENOENT;
    for (std::string directory; std::getline(list, directory, ':');) {
        if (directory.empty()) continue;
        store_ = openNameless(directory);
        storeDirectory_ = directory;
        if (store_ >= 0) return {};
        error = errno;
    }
    return {meansFull(error) ? Status::full : Status::unreadable,
            "no work directory keeps what is read from " + name_ + ": " + std::strerror(error)};
}

Outcome InputFile::read(char* buffer, std::size_t size, std::size_t* bytes) {
    *bytes = 0;
    for (std::size_t part = 0; *bytes < size; *bytes += part) {
        if (interrupted()) return cancelled();
        if (Outcome got = readSome(buffer + *bytes, size - *bytes, &part); !got.ok()) return got;
        position_ += static_cast<long>(part);
        if (part == 0) break;
    }
    return *bytes == size ? Outcome() : meetEnd();
}

// A file may grow: all of it is read then.
Outcome InputFile::meetEnd() {
    if (regular_ && position_ < size_) {
        return {Status::damaged, name_ + ": the file changes: it had " + std::to_string(size_) + " bytes, and now it has " +
                                     std::to_string(position_)};
    }
    size_ = position_;
    ended_ = !regular_;
    return {};
}

Outcome InputFile::readSome(char* buffer, std::size_t size, std::size_t* bytes) {
    *bytes = 0;
    if (position_ < stored_) return readStored(buffer, size, bytes);
    return ended_ ? Outcome() : readFresh(buffer, size, bytes);
}

Outcome InputFile::readStored(char* buffer, std::size_t size, std::size_t* bytes) {
    const std::size_t wanted = std::min(size, static_cast<std::size_t>(stored_ - position_));
    const ssize_t got = pread(store_, buffer, wanted, position_);
    if (got <= 0) return storeFailure(got < 0 ? errno : EIO);
    *bytes = static_cast<std::size_t>(got);
    return {};
}

// A signal that comes just before a read would not end its waiting, which is why waiting has pauses.
Outcome InputFile::waitForBytes() const {
    constexpr int pauseMilliseconds = 200;
    pollfd waiting = {handle_, POLLIN, 0};
    while (!regular_ && poll(&waiting, 1, pauseMilliseconds) <= 0) {
        if (interrupted()) return cancelled();
    }
    return {};
}

Outcome InputFile::readFresh(char* buffer, std::size_t size, std::size_t* bytes) {
    if (Outcome waited = waitForBytes(); !waited.ok()) return waited;
    ssize_t got = 0;
    do {
        got = ::read(handle_, buffer, size);
    } while (got < 0 && errno == EINTR && !interrupted());
    if (got < 0) return failure(errno);
    *bytes = static_cast<std::size_t>(got);
    return regular_ || !keeping_ ? Outcome() : keep(buffer, *bytes);
}

Outcome InputFile::keep(const char* bytes, std::size_t size) {
    while (size != 0) {
        const ssize_t put = pwrite(store_, bytes, size, stored_);
        if (put < 0 && errno == EINTR && !interrupted()) continue;
        if (put < 0) return storeFailure(errno);
        stored_ += put;
        bytes += put;
        size -= static_cast<std::size_t>(put);
    }
    return {};
}

Outcome InputFile::rewind() {
    position_ = 0;
    if (regular_ && lseek(handle_, begin_, SEEK_SET) < 0) return failure(errno);
    return {};
}
