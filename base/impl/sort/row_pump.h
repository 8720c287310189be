// RowPump: has a thread merge ahead of the caller, who takes the rows in batches.
//
//     thread   merge ──► [ batch 0 ]    [ batch 1 ] ──► caller
//
// The two fill and empty the batches in turn. A record is copied once more than without a pump, which costs less than what the
// thread saves the caller: the reading, checking and comparing.
#ifndef KTB_IMPL_SORT_ROW_PUMP_H
#define KTB_IMPL_SORT_ROW_PUMP_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "sort/byte_buffer.h"
#include "sort/row_merge.h"
#include "sort/sort_threads.h"

class RowPump final : public SortTask {
public:
    // Takes rows of `merge`, whose sources have begun and which lives as long as this, in batches of about that many bytes.
    // Returns null when memory is exhausted.
    static std::unique_ptr<RowPump> make(RowMerge& merge, std::size_t batchBytes);

    void run() override;

    enum class Got { row, end, failed, exhausted, nothingYet };

    // For the caller: gives the next row's record, which lives until the next call. Waits for it at most that long.
    Got next(const unsigned char** record, std::chrono::milliseconds most);

    // For the caller: makes run() end soon.
    void stop();

private:
    struct Batch {
        ByteBuffer rows;
        Got after = Got::row;  // what comes after these rows: more of them, or the end
        bool isFull = false;   // and so the caller's, otherwise the thread's
    };

    RowPump(RowMerge& merge, std::size_t batchBytes) : merge_(merge), batchBytes_(batchBytes) {}

    Batch* waitForEmpty(int index);
    void fill(Batch* batch);
    void giveBack();
    bool waitForFull(std::chrono::milliseconds most);

    RowMerge& merge_;
    const std::size_t batchBytes_;
    const unsigned char* held_ = nullptr;  // the row that found no room in the last batch
    std::mutex mutex_;                     // guards isFull and stopped_
    std::condition_variable changed_;
    Batch batches_[2];
    bool stopped_ = false;
    int taken_ = 0;                      // the batch that the caller empties
    const unsigned char* at_ = nullptr;  // its next row; null before its first
};

#endif
