// What a KtbString does with characters: counting, cutting, finding, replacing, comparing.
#include <algorithm>
#include <cstring>
#include <utility>

#include "ktb/string.h"
#include "value/text_search.h"
#include "value/utf8.h"

namespace {

int order(std::size_t left, std::size_t right) noexcept { return left < right ? -1 : left > right ? 1 : 0; }

int compareBytes(const char* left, const char* right, std::size_t bytes) noexcept {
    return bytes != 0 ? std::memcmp(left, right, bytes) : 0;
}

unsigned char folded(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte - 'A' + 'a') : byte;
}

int compareFolded(const char* left, const char* right, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) {
        if (folded(left[i]) != folded(right[i])) return folded(left[i]) < folded(right[i]) ? -1 : 1;
    }
    return 0;
}

struct Text {
    const char* bytes;
    std::size_t size;
    bool null;
};

int compareTexts(Text left, Text right, bool exact) noexcept {
    if (left.null || right.null) return static_cast<int>(right.null) - static_cast<int>(left.null);
    const std::size_t shared = std::min(left.size, right.size);
    const int difference = (exact ? compareBytes : compareFolded)(left.bytes, right.bytes, shared);
    return difference != 0 ? difference : order(left.size, right.size);
}

// Goes through the occurrences that replace() replaces: each begins where the one before ended, or later.
class Replaced {
public:
    Replaced(TextSearch::Bytes text, const char* from, TextSearch::Bytes what, int count) noexcept
        : search_(text, from, what), least_(from), what_(what), left_(count < 0 ? ~0U : static_cast<unsigned>(count)) {}

    const char* next() noexcept {
        const char* found = left_ != 0 ? search_.next(least_) : nullptr;
        if (found == nullptr) return nullptr;
        --left_;
        least_ = found + what_.size();
        return found;
    }

private:
    TextSearch search_;
    const char* least_;
    TextSearch::Bytes what_;
    unsigned left_;
};

std::size_t countOf(Replaced occurrences) noexcept {
    std::size_t count = 0;
    while (occurrences.next() != nullptr) ++count;
    return count;
}

char* copyBytes(char* to, const char* from, const char* end) noexcept {
    const auto bytes = static_cast<std::size_t>(end - from);
    std::memcpy(to, from, bytes);
    return to + bytes;
}

void copyReplaced(char* target, TextSearch::Bytes text, Replaced occurrences, std::size_t whatBytes,
                  TextSearch::Bytes by) noexcept {
    const char* copied = text.begin;
    while (const char* found = occurrences.next()) {
        target = copyBytes(target, copied, found);
        target = copyBytes(target, by.begin, by.end);
        copied = found + whatBytes;
    }
    copyBytes(target, copied, text.end);
}

}  // namespace

int KtbString::countCharacters() const noexcept {
    length_ = static_cast<int>(utf8::count(data_, end()));
    return length_;
}

// Where the character of this number begins; the end when there are not that many.
const char* KtbString::place(unsigned characters) const noexcept {
    const bool oneByteEach = length_ == static_cast<int>(size_);
    return oneByteEach ? data_ + std::min(characters, size_) : utf8::walk(data_, end(), characters).at;
}

void KtbString::truncate(unsigned n) noexcept {
    const auto before = static_cast<unsigned>(length());
    if (n >= before) return;
    const char* cut = end();
    if (before - n > n) {
        cut = place(n);
    } else {
        for (unsigned left = before - n; left != 0; --left) cut -= utf8::lastCharacterSize(data_, cut);
    }
    const auto bytes = static_cast<unsigned>(cut - data_);
    if (isLiteral()) assignBytes(data_, bytes);
    if (!null_) finish(bytes, static_cast<int>(n));
}

KtbString KtbString::mid(unsigned start, int count) const noexcept {
    KtbString part;
    if (null_) {
        part.setNull();
        return part;
    }
    const char* first = place(start);
    const char* last = count < 0 ? end() : utf8::walk(first, end(), static_cast<unsigned>(count)).at;
    part.assignBytes(first, static_cast<std::size_t>(last - first));
    return part;
}

int KtbString::find(const KtbString& what, int start) const noexcept {
    if (null_ || what.null_) return -1;
    const int least = std::max(start, 0);
    if (what.size_ == 0) return least <= length() ? least : -1;
    const char* from = place(static_cast<unsigned>(least));
    TextSearch search({data_, end()}, from, {what.data_, what.end()});
    const char* found = search.next(from);
    return found != nullptr ? least + static_cast<int>(utf8::count(from, found)) : -1;
}

void KtbString::replace(const KtbString& from, const KtbString& to, unsigned start, int count) noexcept {
    if (from.size_ == 0 || size_ < from.size_) return;
    const TextSearch::Bytes text{data_, end()};
    const Replaced occurrences(text, place(start), {from.data_, from.end()}, count);
    const std::size_t found = countOf(occurrences);
    if (found == 0) return;
    const std::size_t bytes = size_ - found * from.size_ + found * to.size_;
    KtbString result;
    Storage storage;
    if (!result.storageFor(bytes, &storage)) return setNull();
    copyReplaced(storage.data, text, occurrences, from.size_, {to.data_, to.end()});
    result.adopt(storage);
    result.finish(static_cast<unsigned>(bytes), -1);
    *this = std::move(result);
}

int KtbString::compare(const KtbString& other, bool exact) const noexcept {
    return compareTexts({data_, size_, null_}, {other.data_, other.size_, other.null_}, exact);
}

int KtbString::compare(const char* other, bool exact) const noexcept {
    const std::size_t bytes = other != nullptr ? std::strlen(other) : 0;
    return compareTexts({data_, size_, null_}, {other, bytes, other == nullptr}, exact);
}

int KtbString::sizeWithin(int bytesMax) const noexcept {
    if (bytesMax <= 0) return 0;
    if (static_cast<unsigned>(bytesMax) >= size_) return static_cast<int>(size_);
    return static_cast<int>(utf8::boundaryAtOrBefore(data_, data_ + bytesMax, end()) - data_);
}
