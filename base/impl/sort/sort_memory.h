// SortMemory: what a sort holds, against what it may hold.
#ifndef KTB_IMPL_SORT_SORT_MEMORY_H
#define KTB_IMPL_SORT_SORT_MEMORY_H

#include <algorithm>
#include <cstddef>

class SortMemory {
public:
    void setBudget(std::size_t bytes) { budget_ = bytes; }
    std::size_t budget() const { return budget_; }

    bool fits(std::size_t bytes) const { return bytes <= budget_ && used_ <= budget_ - bytes; }
    void take(std::size_t bytes) {
        used_ += bytes;
        peak_ = std::max(peak_, used_);
    }
    void give(std::size_t bytes) { used_ -= bytes; }

    // The machine has refused more than what is held now: nobody shall ask for more again.
    void shrinkToUsed() { budget_ = std::min(budget_, used_); }

    std::size_t peak() const { return peak_; }

private:
    std::size_t budget_ = 0;
    std::size_t used_ = 0;
    std::size_t peak_ = 0;
};

#endif
