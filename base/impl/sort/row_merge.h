// RowMerge: the rows of several sorted sources as one sorted sequence.
//
// A tree of losers: every inner node keeps the source that lost there, the winner goes up, and after the winner's next row has
// come only the nodes on its way are played again. A row costs log2(sources) comparisons, of which most look at eight bytes of
// the encoded keys only.
//
//               winner 2
//               loser 0              sources    0    1    2    3
//           /           \            rows       5    7    1    6
//       loser 1       loser 3                   9    8    4    8
//       0     1       2     3
//
// Once 1 has been taken, source 2 shows 4: it meets 3 (6) and wins, then 0 (5) and wins again.
#ifndef KTB_IMPL_SORT_ROW_MERGE_H
#define KTB_IMPL_SORT_ROW_MERGE_H

#include <memory>

#include "sort/row_block.h"

class RowMerge {
public:
    RowMerge(const RowMerge&) = delete;
    RowMerge& operator=(const RowMerge&) = delete;
    virtual ~RowMerge() = default;

    static constexpr std::size_t bytesPerSource = sizeof(RowEntry) + sizeof(std::size_t);

    std::size_t sources() const { return sources_; }

    // Fetches the first row of a source; once for each source, before the first next(). Returns false when the source fails;
    // the source knows why.
    [[nodiscard]] bool begin(std::size_t source) { return advance(source, &heads_[source]); }

    enum class Begun { done, failed, stopped };

    // Fetches the first row of every source. For very many runs these are as many reads from disk, which a caller may not want
    // to wait for: `goesOn` is asked after each.
    template <class GoesOn>
    [[nodiscard]] Begun beginAll(GoesOn goesOn) {
        for (std::size_t i = 0; i < sources_; ++i) {
            if (!begin(i)) return Begun::failed;
            if (!goesOn()) return Begun::stopped;
        }
        return Begun::done;
    }

    // Gives the next row's record in *record, null when there are no more. It lives until the next call. Returns false when a
    // source fails; the source knows why.
    [[nodiscard]] bool next(const unsigned char** record);

protected:
    explicit RowMerge(const RowOrder& order) : order_(order) {}

    // Makes room for the sources, numbered in the order in which their rows were added: rows with equal keys come in that
    // order. Returns false when memory is exhausted.
    [[nodiscard]] bool prepare(std::size_t sources);

    // Moves a source to its next row, or to its first. An entry without a record says that there are no more.
    [[nodiscard]] virtual bool advance(std::size_t source, RowEntry* entry) = 0;

private:
    bool isBefore(std::size_t left, std::size_t right) const;
    std::size_t play(std::size_t node);
    void replay(std::size_t source);

    const RowOrder& order_;
    std::size_t sources_ = 0;
    std::size_t winner_ = 0;  // the source of the row that was handed out last
    bool hasWinner_ = false;
    std::unique_ptr<RowEntry[]> heads_;
    // Node 1 is the root; the children of node n are 2n and 2n + 1; source s is node s + sources_.
    std::unique_ptr<std::size_t[]> losers_;
};

// Blocks in memory as sources.
class BlockMerge : public RowMerge {
public:
    // Merges `count` blocks that are still to be set. Returns null when memory is exhausted.
    static std::unique_ptr<BlockMerge> make(const RowOrder& order, std::size_t count);

    // The block is sorted and lives as long as this.
    void setSource(std::size_t source, const RowBlock& block) { rests_[source] = {block.begin(), block.end()}; }

private:
    struct Rest {
        const RowEntry* next;
        const RowEntry* end;
    };

    explicit BlockMerge(const RowOrder& order) : RowMerge(order) {}
    bool advance(std::size_t source, RowEntry* entry) override;

    std::unique_ptr<Rest[]> rests_;
};

#endif
