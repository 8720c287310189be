#include "by_hand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

namespace bench {

namespace {

constexpr std::size_t bufferSize = 256 * 1024;
constexpr std::size_t rowSizeMax = 4096;  // far more than any of these rows

class Handle {
public:
    Handle(const std::string& path, int flags) : fd_(::open(path.c_str(), flags, 0600)) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        if (fd_ >= 0) ::close(fd_);
    }
    int fd() const { return fd_; }

private:
    int fd_;
};

class Writer {
public:
    explicit Writer(const std::string& path) : file_(path, O_WRONLY | O_CREAT | O_TRUNC), buffer_(new char[bufferSize]) {}

    // Room for one row at least.
    char* begin() {
        if (used_ + rowSizeMax > bufferSize) flush();
        return buffer_.get() + used_;
    }
    void end(const char* to) { used_ = static_cast<std::size_t>(to - buffer_.get()); }

    bool flush() {
        ok_ = ok_ && ::write(file_.fd(), buffer_.get(), used_) == static_cast<ssize_t>(used_);
        used_ = 0;
        return ok_;
    }

private:
    Handle file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    bool ok_ = true;
};

template <class Value>
char* put(char* to, const Value& value) {
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
}

char* putText(char* to, const KtbDatavar& value, KtbString* scratch) {
    const KtbString& text = value.asString(scratch);
    const int size = text.cStrSize();
    *to++ = static_cast<char>(size);  // none of these texts needs the long form
    std::memcpy(to, text.asCstr(), static_cast<std::size_t>(size));
    return to + size;
}

char* encode(char* to, const KtbDatavar* values, KtbString* scratch) {
    static constexpr char codes[columns] = {3, 3, 1, 4, 2, 5, 5, 5};
    bool err = false;
    for (int c = 0; c < columns; ++c) {
        const KtbDatavar& value = values[c];
        if (value.isNull()) {
            *to++ = static_cast<char>(128);
            continue;
        }
        *to++ = codes[c];
        switch (codes[c]) {
            case 1: *to++ = value.asBool(&err) ? 1 : 0; break;
            case 2: to = put(to, value.asDouble(&err)); break;
            case 3: to = put(to, value.asInt64(&err)); break;
            case 4: {
                unsigned long words[3];
                value.asReal(&err).asFD(&words);
                to = put(to, words);
                break;
            }
            default: to = putText(to, value, scratch); break;
        }
    }
    return to;
}

class Reader {
public:
    explicit Reader(const std::string& path) : file_(path, O_RDONLY), buffer_(new char[bufferSize]) {}

    // The next bytes: a whole row, if there is one left. Null at the end.
    const char* row() {
        if (end_ - at_ < rowSizeMax) refill();
        return at_ < end_ ? buffer_.get() + at_ : nullptr;
    }
    void advance(const char* to) { at_ = static_cast<std::size_t>(to - buffer_.get()); }

private:
    void refill() {
        std::memmove(buffer_.get(), buffer_.get() + at_, end_ - at_);
        end_ -= at_;
        at_ = 0;
        const ssize_t got = ::read(file_.fd(), buffer_.get() + end_, bufferSize - end_);
        if (got > 0) end_ += static_cast<std::size_t>(got);
    }

    Handle file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t at_ = 0;
    std::size_t end_ = 0;
};

template <class Value>
Value get(const char*& from) {
    Value value;
    std::memcpy(&value, from, sizeof value);
    from += sizeof value;
    return value;
}

const char* decode(const char* from, KtbDatavar* values) {
    for (int c = 0; c < columns; ++c) {
        KtbDatavar& value = values[c];
        const auto flag = static_cast<unsigned char>(*from++);
        switch (flag) {
            case 1: value.assign(*from++ != 0); break;
            case 2:
                value.assign(get<double>(from));
                value.setType(ktbTypeDate);
                break;
            case 3: value.assign(get<long>(from)); break;
            case 4:
                value.assign(ktbTypeDecimal, from, 24, false);
                from += 24;
                break;
            case 5: {
                const int size = *from++;
                value.assign(from, size - 1);
                from += size;
                break;
            }
            default: value.setNull(); break;
        }
    }
    return from;
}

// Opens a file as the library does, which looks whether it is a regular one, and reads from it.
bool readAt(const std::string& path, void* bytes, std::size_t count, long offset) {
    const Handle file(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    struct stat status;
    return ::fstat(file.fd(), &status) == 0 && S_ISREG(status.st_mode) && ::pread(file.fd(), bytes, count, offset) > 0;
}

}  // namespace

bool writeByHand(const std::string& dataPath, const std::string& indexPath, long count) {
    Writer data(dataPath);
    Writer index(indexPath);
    KtbString scratch;
    long offset = 0;
    for (long n = 0; n < count; ++n) {
        index.end(put(index.begin(), offset));
        char* const begin = data.begin();
        char* const end = encode(begin, rows().row(n), &scratch);
        data.end(end);
        offset += end - begin;
    }
    return data.flush() && index.flush();
}

bool readByHand(const std::string& dataPath, long count, KtbDatavar* values) {
    Reader data(dataPath);
    for (long n = 0; n < count; ++n) {
        const char* from = data.row();
        if (from == nullptr) return false;
        data.advance(decode(from, values));
    }
    return data.row() == nullptr;
}

bool openByHand(const std::string& headerPath, const std::string& indexPath, const std::string& dataPath, long row,
                unsigned long bytes) {
    char buffer[rowSizeMax];
    long offset = 0;
    return readAt(headerPath, buffer, sizeof buffer, 0) && readAt(indexPath, &offset, sizeof offset, row * 8) &&
           readAt(dataPath, buffer, bytes, offset);
}

}  // namespace bench
