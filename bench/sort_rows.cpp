#include "sort_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
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

char letter(std::uint64_t byte) {
    static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return letters[(byte & 255) * (sizeof letters - 1) >> 8];
}

class Digest {
public:
    void mix(std::uint64_t word) {
        value_ = (value_ ^ word) * 0x9e3779b97f4a7c15U;
        value_ ^= value_ >> 32;
    }
    void mix(std::string_view text) { mix(text.data() == nullptr ? 0 : std::hash<std::string_view>()(text)); }
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

std::string_view SortRows::text(std::size_t lengthMin, std::size_t lengthMax) {
    const std::uint64_t number = random();
    return std::string_view(letters_).substr(number % lettersSize, lengthMin + (number >> 32) % (lengthMax - lengthMin + 1));
}

const SortRow& SortRows::next() {
    row_.id = static_cast<long>(random());
    const std::uint64_t number = random();
    row_.quantity = static_cast<long>(number % 1000);
    row_.active = (number >> 32) % 2 == 0;
    row_.cents = static_cast<long>((number >> 33) % 10000000);
    row_.moment = static_cast<double>(random() % 2000000000);
    makeName(random() % names_);
    row_.code = text(7, 9);
    row_.remark = number >> 60 == 0 ? std::string_view() : text(0, remarkMax);
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
