#include "config/options_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "file/os_calls.h"
#include "file/retry.h"

namespace {

// A line that is longer than this, or holds a NUL, was not written by hand and is passed over. A list of sixteen of the longest
// directories fits.
constexpr unsigned long lineBytesMax = 64UL * 1024;

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\v\f";
    const auto first = std::min(text.find_first_not_of(blanks), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

// Whether the line sets the key; then *text is what it sets it to.
bool readLine(std::string_view line, std::string_view key, std::string_view* text) {
    const auto sign = line.find('=');
    if (sign == std::string_view::npos || line.find('\0') != std::string_view::npos) return false;
    const std::string_view lineKey = withoutBlanks(line.substr(0, sign));
    if (lineKey.empty() || lineKey.front() == '#' || lineKey != key) return false;
    *text = withoutBlanks(line.substr(sign + 1));
    return true;
}

// Delivers a file line by line through one buffer.
class LineReader {
public:
    explicit LineReader(const char* path)
        : file_(uninterrupted([&] { return ktb_os_open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0); })),
          buffer_(new (std::nothrow) char[lineBytesMax]) {}

    bool hasMemory() const { return buffer_ != nullptr; }

    bool isOpen() const {
        struct stat status;
        return buffer_ && file_.isOpen() && uninterrupted([&] { return ktb_os_fstat(file_.number(), &status); }) == 0 &&
               S_ISREG(status.st_mode);
    }

    // Puts the next line, without its end, into *line; it is valid until the next call. Returns false after the last one.
    bool next(std::string_view* line) {
        while (takeLine(line)) {
            const bool tail = inLongLine_;
            inLongLine_ = false;
            if (!tail) return true;
        }
        return false;
    }

private:
    // Takes what there is up to the next line end; of a line that is too long, its tail.
    bool takeLine(std::string_view* line) {
        do {
            const std::string_view rest = undelivered();
            const auto length = rest.find('\n');
            if (length != std::string_view::npos) return take(line, length, length + 1);
        } while (readMore());
        // The last line may lack its end, but one that a failure cut off is not known.
        const auto length = undelivered().size();
        return atEnd_ && length > 0 && take(line, length, length);
    }

    bool take(std::string_view* line, unsigned long length, unsigned long lengthWithEnd) {
        *line = undelivered().substr(0, length);
        begin_ += lengthWithEnd;
        return true;
    }

    std::string_view undelivered() const { return {buffer_.get() + begin_, end_ - begin_}; }

    bool readMore() {
        makeRoom();
        const long count =
            uninterrupted([&] { return ktb_os_pread(file_.number(), buffer_.get() + end_, lineBytesMax - end_, offset_); });
        atEnd_ = count == 0;
        if (count <= 0) return false;
        end_ += static_cast<unsigned long>(count);
        offset_ += count;
        return true;
    }

    // Of a line that fills the buffer, what was read so far is dropped.
    void makeRoom() {
        if (end_ - begin_ == lineBytesMax) {
            inLongLine_ = true;
            begin_ = end_;
        }
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }

    Descriptor file_;
    std::unique_ptr<char[]> buffer_;
    unsigned long begin_ = 0;  // [begin_, end_) of the buffer was read and not delivered
    unsigned long end_ = 0;
    long offset_ = 0;  // in the file, of end_
    bool atEnd_ = false;
    bool inLongLine_ = false;
};

}  // namespace

bool readOptionFromFile(const char* path, const char* key, KtbString* text) {
    LineReader reader(path);
    if (!reader.hasMemory()) {
        text->setNull();
        return true;
    }
    if (!reader.isOpen()) return false;
    std::string_view line;
    std::string_view found;
    while (reader.next(&line)) {
        if (!readLine(line, key, &found)) continue;
        KtbString copy;
        copy.assign(found.data(), static_cast<int>(found.size()));
        *text = std::move(copy);  // null when memory is exhausted: the option is set, to a text that cannot be had
        return true;
    }
    return false;
}
