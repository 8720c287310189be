// Lifetime, memory, assignment and appending. Where the text is:
//
//     data_ == inline_                       inside the object; capacity_ is inlineCapacity
//     capacity_ == literalCapacity           somebody else's text, never written to
//     otherwise                              a heap block of this string, of more than inlineCapacity bytes
//
// A block is given back only when it is outgrown, replaced by a block of another string or by a literal, or at the end.
#include "ktb/string.h"

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

template <class Word>
Word load(const char* from) noexcept {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

template <class Word>
bool hasZeroByte(Word word) noexcept {
    constexpr Word ones = static_cast<Word>(~Word{0}) / 0xFF;
    return ((word - ones) & ~word & (ones << 7)) != 0;
}

// Copies `bytes` bytes, from one Word to two, as two words that may overlap, unless a NUL is among them. Everything is read
// before anything is written, so that the places may overlap too.
template <class Word>
bool copyWithoutNul(char* to, const char* from, std::size_t bytes) noexcept {
    const Word head = load<Word>(from);
    const Word tail = load<Word>(from + bytes - sizeof(Word));
    if (hasZeroByte(head) || hasZeroByte(tail)) return false;
    std::memcpy(to, &head, sizeof head);
    std::memcpy(to + bytes - sizeof tail, &tail, sizeof tail);
    return true;
}

bool copyUpTo3WithoutNul(char* to, const char* from, std::size_t bytes) noexcept {
    if (bytes == 0) return true;
    const char first = from[0], middle = from[bytes / 2], last = from[bytes - 1];
    if (first == 0 || middle == 0 || last == 0) return false;
    to[0] = first;
    to[bytes / 2] = middle;
    to[bytes - 1] = last;
    return true;
}

// The same for 16 to 32 bytes.
bool copyFrom16WithoutNul(char* to, const char* from, std::size_t bytes) noexcept {
    using Word = std::uint64_t;
    const char* tail = from + bytes - 2 * sizeof(Word);
    const Word words[] = {load<Word>(from), load<Word>(from + sizeof(Word)), load<Word>(tail), load<Word>(tail + sizeof(Word))};
    if (hasZeroByte(words[0]) || hasZeroByte(words[1]) || hasZeroByte(words[2]) || hasZeroByte(words[3])) return false;
    std::memcpy(to, words, 2 * sizeof(Word));
    std::memcpy(to + bytes - 2 * sizeof(Word), words + 2, 2 * sizeof(Word));
    return true;
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

// Where a text of `bytes` bytes can be written: the storage of now if it is ours and large enough, else other storage that
// adopt() makes ours. Nothing changes until then, so that a text can be made of its own parts.
KtbString::Storage KtbString::storageFor(unsigned bytes) noexcept {
    if (!isLiteral() && bytes <= capacity_) return {data_, capacity_};
    if (bytes <= inlineCapacity) return {inline_, inlineCapacity};
    const unsigned capacity = grownCapacity(capacity_, bytes);
    return {static_cast<char*>(::operator new (std::size_t{capacity} + 1, std::nothrow)), capacity};
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
    if (!textFits(0, bytes)) return setNull();
    adopt({const_cast<char*>(text), literalCapacity});
    size_ = static_cast<unsigned>(bytes);
    length_ = notCounted;
    null_ = false;
}

void KtbString::assign(const char* text) noexcept {
    if (text == nullptr) return setNull();
    assignBytes(text, std::strlen(text));
}

void KtbString::assign(const char* text, int bytes) noexcept {
    if (text == nullptr || bytes < 0) return setNull();
    const auto size = static_cast<unsigned>(bytes);
    if (size <= inlineCapacity && !isLiteral() && assignShort(text, size)) return;
    assignBytes(text, strnlen(text, size));
}

// The road of most texts that are read from a file: neither memchr nor memcpy is worth a call for so few bytes. False when
// there is a NUL among them.
bool KtbString::assignShort(const char* text, unsigned bytes) noexcept {
    const bool copied = bytes >= 16  ? copyFrom16WithoutNul(data_, text, bytes)
                        : bytes >= 8 ? copyWithoutNul<std::uint64_t>(data_, text, bytes)
                        : bytes >= 4 ? copyWithoutNul<std::uint32_t>(data_, text, bytes)
                                     : copyUpTo3WithoutNul(data_, text, bytes);
    if (copied) finish(bytes, notCounted);
    return copied;
}

// `text` may be a part of this text; `bytes` leaves out any NUL.
void KtbString::assignBytes(const char* text, std::size_t bytes) noexcept {
    if (!textFits(0, bytes)) return setNull();
    const auto size = static_cast<unsigned>(bytes);
    const Storage storage = storageFor(size);
    if (storage.data == nullptr) return setNull();
    std::memmove(storage.data, text, size);
    adopt(storage);
    finish(size, notCounted);
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
    const Storage storage = textFits(size_, bytes) ? storageFor(size_ + static_cast<unsigned>(bytes)) : Storage{};
    if (storage.data == nullptr) {
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
