// Lifetime, memory, assignment and appending. Where the text is:
//
//     data_ == inline_                       inside the object; capacity_ is inlineCapacity
//     capacity_ == literalCapacity           somebody else's text, never written to
//     otherwise                              a heap block of this string, of more than inlineCapacity bytes
//
// A block is given back only when it is outgrown, replaced by a block of another string or by a literal, or at the end.
#include "ktb/string.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "value/text_memory.h"
#include "value/utf8.h"

namespace {

constexpr int notCounted = -1;

// Texts up to this size are copied word by word: for so few bytes the calls of strnlen and memmove cost more than their work.
constexpr unsigned shortBytesMax = 64;

template <class Word>
Word load(const char* from) noexcept {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// Not zero when a byte of `word` is.
template <class Word>
Word zeroBytes(Word word) noexcept {
    constexpr Word ones = static_cast<Word>(~Word{0}) / 0xFF;
    constexpr Word highBits = ones * 0x80;
    return static_cast<Word>((word - ones) & ~word & highBits);
}

// Copies the words at these offsets, which may overlap, unless a NUL is among them. All are read before the first is written,
// so that the two places may overlap too.
template <class Word, class... Offsets>
[[gnu::always_inline]] inline bool copyWords(char* to, const char* from, Word zeros, std::size_t offset,
                                             Offsets... others) noexcept {
    const auto word = load<Word>(from + offset);
    zeros |= zeroBytes(word);
    if constexpr (sizeof...(others) == 0) {
        if (zeros != 0) return false;
    } else {
        if (!copyWords<Word>(to, from, zeros, others...)) return false;
    }
    std::memcpy(to + offset, &word, sizeof word);
    return true;
}

// Texts of a column differ in size from row to row, and each class of sizes is a branch that is hard to predict. So most sizes
// share one class: four words spread over the text leave no gap between them up to 32 bytes.
[[gnu::always_inline]] inline bool copyShort(char* to, const char* from, std::size_t bytes) noexcept {
    using Word = std::uint64_t;
    constexpr std::size_t one = sizeof(Word), two = 2 * one, three = 3 * one, four = 4 * one;
    if (bytes >= one && bytes <= four) {
        const std::size_t last = bytes - one;
        return copyWords<Word>(to, from, 0, 0, last / 3, last * 2 / 3, last);
    }
    if (bytes > four) {
        return copyWords<Word>(to, from, 0, 0, one, two, three, bytes - four, bytes - three, bytes - two, bytes - one);
    }
    if (bytes >= sizeof(std::uint32_t)) return copyWords<std::uint32_t>(to, from, 0, 0, bytes - sizeof(std::uint32_t));
    return copyWords<unsigned char>(to, from, 0, 0, bytes / 2, bytes - 1);
}

template <class Number>
void assignNumber(KtbString* text, Number number) noexcept {
    char digits[std::numeric_limits<Number>::digits10 + 3];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text->assign(digits, static_cast<int>(end - digits));
}

}  // namespace

KtbString::KtbString(const char* text, bool literal) noexcept : KtbString() {
    if (literal && text != nullptr) {
        refer(text, std::strlen(text));
    } else {
        assign(text);
    }
}

KtbString::KtbString(const KtbString& other) noexcept : KtbString() { *this = other; }

KtbString::KtbString(KtbString&& other) noexcept { steal(other); }

KtbString& KtbString::operator=(const KtbString& other) noexcept {
    if (this == &other) return *this;
    if (other.data_ != other.inline_ || isLiteral()) {
        assignUnlike(other);
        return *this;
    }
    // Every storage of ours holds what fits inline: one copy of fixed size is cheaper than one that looks at the text's size.
    std::memcpy(data_, other.inline_, sizeof other.inline_);
    size_ = other.size_;
    length_ = other.length_;
    null_ = other.null_;
    return *this;
}

// Copies a text that is not inline, or onto a literal.
void KtbString::assignUnlike(const KtbString& other) noexcept {
    if (other.null_) return setNull();
    if (other.isLiteral()) {
        refer(other.data_, other.size_);
    } else {
        assignBytes(other.data_, other.size_);
    }
    if (!null_) length_ = other.length_;
}

KtbString& KtbString::operator=(KtbString&& other) noexcept {
    if (this == &other) return *this;
    if (other.data_ == other.inline_) {
        *this = static_cast<const KtbString&>(other);
        other.becomeEmpty();
    } else {
        if (ownsBlock()) freeBlock();
        steal(other);
    }
    return *this;
}

// Takes over the text and the block of `other` and leaves it empty; whatever this string had is forgotten.
void KtbString::steal(KtbString& other) noexcept {
    const bool isInline = other.data_ == other.inline_;
    data_ = isInline ? inline_ : other.data_;
    size_ = other.size_;
    length_ = other.length_;
    capacity_ = other.capacity_;
    null_ = other.null_;
    if (isInline) {
        std::memcpy(inline_, other.inline_, sizeof inline_);
    } else {
        inline_[0] = 0;
    }
    other.adoptInline();
    other.becomeEmpty();
}

void KtbString::freeBlock() noexcept { ::operator delete(data_); }

// Finds where a text of `bytes` bytes can be written: the storage of now if it is ours and large enough, else other storage
// that adopt() makes ours. Nothing changes until then, so that a text can be made of its own parts. False when memory is
// exhausted or the text would be too large.
bool KtbString::storageFor(std::size_t bytes, Storage* storage) noexcept {
    if (bytes > textBytesMax) return false;
    const auto size = static_cast<unsigned>(bytes);
    if (!isLiteral() && size <= capacity_) {
        *storage = {data_, capacity_};
        return true;
    }
    if (size <= inlineCapacity) {
        *storage = {inline_, inlineCapacity};
        return true;
    }
    const unsigned capacity = grownCapacity(capacity_, size);
    void* block = ::operator new (std::size_t{capacity} + 1, std::nothrow);
    *storage = {static_cast<char*>(block), capacity};
    return block != nullptr;
}

void KtbString::adopt(Storage storage) noexcept {
    if (data_ != storage.data && ownsBlock()) freeBlock();
    data_ = storage.data;
    capacity_ = storage.capacity;
}

void KtbString::adoptInline() noexcept {
    data_ = inline_;
    capacity_ = inlineCapacity;
}

// The text is now the `bytes` bytes in our own storage.
void KtbString::finish(unsigned bytes, int length) noexcept {
    data_[bytes] = 0;
    size_ = bytes;
    length_ = length;
    null_ = false;
}

void KtbString::becomeEmpty() noexcept {
    if (isLiteral()) adoptInline();
    finish(0, 0);
}

void KtbString::setNull() noexcept {
    becomeEmpty();
    null_ = true;
}

void KtbString::refer(const char* text, std::size_t bytes) noexcept {
    if (bytes > textBytesMax) return setNull();
    adopt({const_cast<char*>(text), literalCapacity});
    size_ = static_cast<unsigned>(bytes);
    length_ = notCounted;
    null_ = false;
}

void KtbString::assign(const char* text) noexcept {
    if (text == nullptr) return setNull();
    assignBytes(text, std::strlen(text));
}

// The road of most texts that are read from a file. The comparison also sends away what is negative, empty or meets a literal,
// whose capacity is 0.
void KtbString::assign(const char* text, int bytes) noexcept {
    const auto size = static_cast<unsigned>(bytes);
    const bool isShort = text != nullptr && size - 1 < std::min(capacity_, shortBytesMax);
    if (!isShort || !copyShort(data_, text, size)) return assignCut(text, bytes);
    finish(size, notCounted);
}

void KtbString::assignCut(const char* text, int bytes) noexcept {
    if (text == nullptr || bytes < 0) return setNull();
    assignBytes(text, strnlen(text, static_cast<std::size_t>(bytes)));
}

// `text` may be a part of this text; `bytes` leaves out any NUL.
void KtbString::assignBytes(const char* text, std::size_t bytes) noexcept {
    Storage storage;
    if (!storageFor(bytes, &storage)) return setNull();
    std::memmove(storage.data, text, bytes);
    adopt(storage);
    finish(static_cast<unsigned>(bytes), notCounted);
}

void KtbString::assign(int number) noexcept { assignNumber(this, number); }

void KtbString::assign(long number) noexcept { assignNumber(this, number); }

void KtbString::append(const KtbString& text, bool* failed) noexcept {
    if (!text.null_) appendBytes(text.data_, text.size_, failed);
}

void KtbString::append(const char* text, bool* failed) noexcept {
    if (text != nullptr) appendBytes(text, std::strlen(text), failed);
}

void KtbString::append(const char* text, int bytes, bool* failed) noexcept {
    if (text != nullptr && bytes >= 0) appendBytes(text, strnlen(text, static_cast<std::size_t>(bytes)), failed);
}

void KtbString::appendBytes(const char* text, std::size_t bytes, bool* failed) noexcept {
    if (bytes == 0) {
        null_ = false;
        return;
    }
    Storage storage;
    if (!storageFor(size_ + bytes, &storage)) {
        if (failed != nullptr) *failed = true;
        return;
    }
    if (storage.data != data_) std::memcpy(storage.data, data_, size_);
    std::memcpy(storage.data + size_, text, bytes);
    adopt(storage);
    finishAppend(size_ + static_cast<unsigned>(bytes));
}

// A character count that is known stays known, at the cost of what was appended: a caller may append and ask for the length in
// turn without quadratic time. Appended bytes can complete a sequence that the text ended with.
void KtbString::finishAppend(unsigned bytes) noexcept {
    if (length_ == notCounted) return finish(bytes, notCounted);
    const char* tail = utf8::unsettledTail(data_, end());
    const unsigned before = utf8::count(tail, end());
    const unsigned after = utf8::count(tail, data_ + bytes);
    finish(bytes, length_ + static_cast<int>(after) - static_cast<int>(before));
}
