#include "sort_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>

namespace bench {

namespace {

constexpr std::size_t lettersSize = 1 << 16;
constexpr std::size_t remarkMax = 60;

std::uint64_t scramble(std::uint64_t number) {
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9U;
    number = (number ^ (number >> 27)) * 0x94d049bb133111ebU;
    return number ^ (number >> 31);
}

// A number below `end`, which is at most 2^32, out of the upper 32 of 64 random bits: quicker than a division.
std::uint64_t below(std::uint64_t end, std::uint64_t bits) { return (bits >> 32) * end >> 32; }

char letter(std::uint64_t bits) {
    static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return letters[below(sizeof letters - 1, bits)];
}

std::uint64_t wordAt(const char* bytes, std::size_t size) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, size);
    return word;
}

// A digest of all bytes of all values. Its cost is part of what is measured, so it takes eight bytes at a time.
class Digest {
public:
    void mix(std::uint64_t word) {
        value_ = (value_ ^ word) * 0x9e3779b97f4a7c15U;
        value_ ^= value_ >> 32;
    }
    void mix(std::string_view text) {
        mix(text.data() == nullptr ? ~0UL : text.size());
        std::size_t at = 0;
        for (; at + 8 <= text.size(); at += 8) mix(wordAt(text.data() + at, 8));
        if (at == text.size()) return;
        // What is left; the last eight bytes, some of them again, are taken with less work than fewer are.
        mix(text.size() >= 8 ? wordAt(text.data() + text.size() - 8, 8) : wordAt(text.data(), text.size()));
    }
    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0;
};

std::uint64_t digestOf(const SortRow& row) {
    Digest digest;
    digest.mix(static_cast<std::uint64_t>(row.id));
    digest.mix(static_cast<std::uint64_t>(row.quantity) * 2 + (row.active ? 1 : 0));
    digest.mix(static_cast<std::uint64_t>(row.cents));
    digest.mix(std::bit_cast<std::uint64_t>(row.moment));
    digest.mix(row.name);
    digest.mix(row.code);
    digest.mix(row.remark);
    return digest.value();
}

// Made once for each number of rows, since the benches ask for it outside of what is timed, but again and again.
std::uint64_t sumOf(long count) {
    static std::map<long, std::uint64_t> sums;
    const auto [known, isNew] = sums.try_emplace(count, 0);
    if (isNew) {
        SortRows rows(count);
        for (long n = 0; n < count; ++n) known->second += digestOf(rows.next());
    }
    return known->second;
}

}  // namespace

SortRows::SortRows(long count) : names_(static_cast<std::uint64_t>(std::max(count / 5, 1L))) {
    letters_.resize(lettersSize + remarkMax);
    for (char& c : letters_) c = letter(random());
}

std::uint64_t SortRows::random() { return scramble(state_ += 0x9e3779b97f4a7c15U); }

// Put together from pieces, since a letter at a time would cost as much as a good part of the sort.
void SortRows::makeName(std::uint64_t number) {
    const std::uint64_t first = scramble(number + 1);
    const std::uint64_t second = scramble(first);
    for (std::size_t piece = 0; piece < namePieces; ++piece) {
        const std::uint64_t at = (piece < 4 ? first : second) >> piece % 4 * 16 & (lettersSize - 1);
        std::memcpy(name_.data() + piece * pieceSize, letters_.data() + at, pieceSize);
    }
    row_.name = {name_.data(), 8 + (second >> 32) % (name_.size() - 7)};
}

std::string_view SortRows::text(std::uint64_t number, std::size_t lengthMin, std::size_t lengthMax) const {
    const std::uint64_t at = number & (lettersSize - 1);
    return {letters_.data() + at, lengthMin + below(lengthMax - lengthMin + 1, number << 16)};
}

const SortRow& SortRows::next() {
    const std::uint64_t numbers = random();
    const std::uint64_t texts = random();
    row_.id = static_cast<long>(random());
    row_.quantity = static_cast<long>(below(1000, numbers));
    row_.cents = static_cast<long>(below(10000000, numbers << 16));
    row_.moment = static_cast<double>(below(2000000000, numbers << 32));
    row_.active = (numbers & 1) == 0;
    makeName(below(names_, random()));
    row_.code = text(texts, 7, 9);
    row_.remark = texts >> 60 == 0 ? std::string_view() : text(std::rotr(texts, 24), 0, remarkMax);
    return row_;
}

bool SortCheck::comesAfterLast(const SortRow& row) const {
    const int names = lastName_.compare(row.name);
    return rows_ == 0 || names < 0 || (names == 0 && lastQuantity_ >= row.quantity);
}

void SortCheck::take(const SortRow& row) {
    inOrder_ = inOrder_ && comesAfterLast(row);
    lastName_ = row.name;
    lastQuantity_ = row.quantity;
    sum_ += digestOf(row);
    ++rows_;
}

bool SortCheck::isRight(long count) const { return inOrder_ && rows_ == count && sum_ == sumOf(count); }

}  // namespace bench
