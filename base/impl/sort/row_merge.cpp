#include "sort/row_merge.h"

#include <new>
#include <utility>

bool RowMerge::prepare(std::size_t sources) {
    heads_.reset(new (std::nothrow) RowEntry[sources]);
    losers_.reset(new (std::nothrow) std::size_t[sources + 1]);
    sources_ = sources;
    return heads_ && losers_;
}

// The winner of the games below a node. The depth is that of the tree.
std::size_t RowMerge::play(std::size_t node) {
    if (node >= sources_) return node - sources_;
    std::size_t winner = play(2 * node);
    std::size_t loser = play(2 * node + 1);
    if (isBefore(loser, winner)) std::swap(winner, loser);
    losers_[node] = loser;
    return winner;
}

// Ties go to the lower number: sources are numbered in the order in which their rows were added, so this alone keeps the sort
// stable.
inline bool RowMerge::isBefore(std::size_t left, std::size_t right) const {
    const RowEntry& leftHead = heads_[left];
    const RowEntry& rightHead = heads_[right];
    if (leftHead.prefix != rightHead.prefix) return leftHead.prefix < rightHead.prefix;
    if (leftHead.record == nullptr || rightHead.record == nullptr) return leftHead.record != nullptr;
    const int compared = order_.compare(leftHead.record, rightHead.record);
    return compared != 0 ? compared < 0 : left < right;
}

void RowMerge::replay(std::size_t source) {
    std::size_t winner = source;
    for (std::size_t node = (source + sources_) / 2; node > 0; node /= 2) {
        std::size_t& loser = losers_[node];
        if (isBefore(loser, winner)) std::swap(winner, loser);
    }
    winner_ = winner;
}

bool RowMerge::next(const unsigned char** record) {
    *record = nullptr;
    if (sources_ == 0) return true;
    if (!hasWinner_) {
        winner_ = sources_ > 1 ? play(1) : 0;
        hasWinner_ = true;
    } else {
        RowEntry& head = heads_[winner_];
        if (head.record == nullptr) return true;
        if (!advance(winner_, &head)) return false;
        replay(winner_);
    }
    *record = heads_[winner_].record;
    return true;
}

std::unique_ptr<BlockMerge> BlockMerge::make(const RowOrder& order, std::size_t count) {
    std::unique_ptr<BlockMerge> merge(new (std::nothrow) BlockMerge(order));
    if (!merge || !merge->prepare(count)) return nullptr;
    merge->rests_.reset(new (std::nothrow) Rest[count]);
    return merge->rests_ ? std::move(merge) : nullptr;
}

bool BlockMerge::advance(std::size_t source, RowEntry* entry) {
    Rest& rest = rests_[source];
    *entry = rest.next != rest.end ? *rest.next++ : RowEntry{~0UL, nullptr};
    return true;
}
