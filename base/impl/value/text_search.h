// TextSearch: all places where one text occurs in another as a run of whole characters, from left to right.
//
// A match of bytes that begins or ends inside a character is none: the byte 82 does not occur in the character E2 82 AC.
// Takes time linear in both texts together and no memory, whatever the texts are (the two-way algorithm of Crochemore and
// Perrin). Both texts must stay as they are while the search is used.
#ifndef KTB_VALUE_TEXT_SEARCH_H
#define KTB_VALUE_TEXT_SEARCH_H

#include <cstddef>

class TextSearch {
public:
    struct Bytes {
        const char* begin;
        const char* end;
        std::size_t size() const noexcept { return static_cast<std::size_t>(end - begin); }
    };

    // Looks for `what`, which is not empty, at and after `from`, a place between two characters of `text`.
    TextSearch(Bytes text, const char* from, Bytes what) noexcept;

    // The first occurrence that was not returned before and begins at or after `least`; null when there is none. Successive
    // values of `least` must not fall.
    const char* next(const char* least) noexcept;

private:
    const char* nextBytes() noexcept;
    bool skipToCandidate() noexcept;
    bool isWhole(const char* at) const noexcept;

    Bytes text_;
    const char* at_;  // the next place to look at
    const char* what_;
    std::size_t size_;        // bytes of what_
    std::size_t split_;       // what_ is compared from here to its end, then from here down to its start
    std::size_t period_;      // how far to move on when the part from split_ was equal
    std::size_t knownAfter_;  // how many bytes at the new place are then equal without a comparison
    std::size_t known_ = 0;   // how many are at at_
};

#endif
