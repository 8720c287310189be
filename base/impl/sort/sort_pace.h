// SortPace: tells the caller's progress object how far the sort is, and takes its answer.
//
// The clock is looked at after every few kilobytes of rows, and the progress object is told when a tenth of a second has
// passed: a sort that is to be cancelled so ends within that time and what it takes to move those bytes, in every phase.
#ifndef KTB_IMPL_SORT_SORT_PACE_H
#define KTB_IMPL_SORT_SORT_PACE_H

#include <chrono>
#include <cstddef>

#include "ktb/sort.h"

class SortPace {
public:
    using Clock = std::chrono::steady_clock;

    void setProgress(KtDatafileSortProgress* progress) { progress_ = progress; }

    // Between two reports. Zero, of use to tests, reports at every look at the clock.
    void setInterval(Clock::duration interval) { interval_ = interval; }

    void begin(int phase, long expected) {
        phase_ = phase;
        expected_ = expected;
    }

    // Another `bytes` have been moved, and `done` rows in this phase. Returns false when the sort is to be cancelled.
    [[nodiscard]] bool go(std::size_t bytes, long done) {
        bytesSinceLook_ += bytes;
        return bytesSinceLook_ < bytesBetweenLooks || progress_ == nullptr || look(done);
    }

    // The same while nothing moves: looks at the clock at once.
    [[nodiscard]] bool goNow(long done) { return progress_ == nullptr || look(done); }

private:
    static constexpr std::size_t bytesBetweenLooks = 32 * 1024;

    bool look(long done) {
        bytesSinceLook_ = 0;
        if (Clock::now() - lastReport_ < interval_) return true;
        const bool goOn = progress_->report(phase_, done, expected_);
        lastReport_ = Clock::now();  // from the end of the report, which may take its time
        return goOn;
    }

    KtDatafileSortProgress* progress_ = nullptr;
    Clock::duration interval_ = std::chrono::milliseconds(100);
    Clock::time_point lastReport_{};  // long ago, so that the first look reports
    std::size_t bytesSinceLook_ = 0;
    int phase_ = ktSortFilling;
    long expected_ = 0;
};

#endif
