// The two-way algorithm splits the text that is looked for where the local period is the period of the whole. The right part is
// compared first, forwards: a difference k bytes into it rules out the k places that follow. Only when the right part is equal
// is the left part compared, backwards: whatever comes of that, the next place is a whole period away.
//
//     what     a b a | b a b b        split 3
//     text     ...a b a b a x ...     the right part differs at its byte 2: the next place is 3 further on
//
// When the period is short, the bytes that two successive places share are known to be equal and are not compared again;
// without that memory a text such as aaaa...a would cost the product of both sizes.
#include "value/text_search.h"

#include <algorithm>
#include <cstring>

#include "value/utf8.h"

namespace {

struct Split {
    std::size_t at;
    std::size_t period;
};

// The start and the period of the largest suffix of `what`, in the order of bytes or, with `reversed`, in the opposite order.
Split largestSuffix(const char* what, std::size_t size, bool reversed) noexcept {
    std::size_t best = 0, rival = 1, equal = 0, period = 1;
    while (rival + equal < size) {
        const auto ours = static_cast<unsigned char>(what[best + equal]);
        const auto theirs = static_cast<unsigned char>(what[rival + equal]);
        if (ours == theirs) {
            if (++equal == period) {
                rival += period;
                equal = 0;
            }
        } else if ((theirs < ours) != reversed) {
            rival += equal + 1;
            equal = 0;
            period = rival - best;
        } else {
            best = rival++;
            equal = 0;
            period = 1;
        }
    }
    return {best, period};
}

// The later of the two largest suffixes begins where the local period is that of the whole text.
Split criticalSplit(const char* what, std::size_t size) noexcept {
    const Split upwards = largestSuffix(what, size, false);
    const Split downwards = largestSuffix(what, size, true);
    return upwards.at > downwards.at ? upwards : downwards;
}

}  // namespace

TextSearch::TextSearch(Bytes text, const char* from, Bytes what) noexcept
    : text_(text), at_(from), what_(what.begin), size_(what.size()) {
    const Split split = criticalSplit(what_, size_);
    split_ = split.at;
    if (std::memcmp(what_, what_ + split.period, split_) == 0) {
        period_ = split.period;
        knownAfter_ = size_ - period_;
    } else {
        period_ = std::max(split_, size_ - split_) + 1;
        knownAfter_ = 0;
    }
}

const char* TextSearch::next(const char* least) noexcept {
    while (const char* found = nextBytes()) {
        if (found >= least && isWhole(found)) return found;
    }
    return nullptr;
}

// Moves at_ to the next place where the right part's first byte is equal; false when there is none.
bool TextSearch::skipToCandidate() noexcept {
    const std::size_t left = static_cast<std::size_t>(text_.end - at_);
    if (left < size_) return false;
    if (known_ != 0 || at_[split_] == what_[split_]) return true;
    const void* found = std::memchr(at_ + split_, what_[split_], left - size_ + 1);
    if (found == nullptr) return false;
    at_ = static_cast<const char*>(found) - split_;
    return true;
}

const char* TextSearch::nextBytes() noexcept {
    while (skipToCandidate()) {
        std::size_t i = std::max(split_, known_);
        while (i < size_ && what_[i] == at_[i]) ++i;
        if (i < size_) {
            at_ += i - split_ + 1;
            known_ = 0;
            continue;
        }
        i = split_;
        while (i > known_ && what_[i - 1] == at_[i - 1]) --i;
        const char* place = at_;
        const bool found = i <= known_;
        at_ = static_cast<std::size_t>(text_.end - at_) > period_ ? at_ + period_ : text_.end;
        known_ = knownAfter_;
        if (found) return place;
    }
    at_ = text_.end;
    known_ = 0;
    return nullptr;
}

bool TextSearch::isWhole(const char* at) const noexcept {
    const char* end = at + size_;
    return utf8::boundaryAtOrBefore(text_.begin, at, text_.end) == at &&
           utf8::boundaryAtOrBefore(text_.begin, end, text_.end) == end;
}
