// RowSort: one external merge sort of typed rows.
//
//     addRow ──► RowArena ── full ──► RunStack ── too many runs ──┐       finish     firstRow, nextRow
//                blocks in memory     runs on disk ◄── RowMerge ──┘  ──►  RowMerge ──────────────────►
//
// A row is encoded (row_record.h) and put into a block in memory. Full blocks are sorted, by threads if there are any. When the
// budget is used up the blocks are merged into a run on disk. In the end one merge, of blocks or of runs, hands the rows back;
// runs that are too many for that are merged into fewer before (run_stack.h).
//
// With threads there are two arenas of half the budget: one is filled while a thread brings the other to disk. In the end a
// thread merges ahead of the caller (row_pump.h). Merges in between are rare and the caller's own work.
//
// The result does not depend on where blocks and runs end: sources of a merge are numbered in the order of their rows, and ties
// go to the lower number everywhere.
//
// Cost: a row is compared about log2(rows) times and written to disk once for every merge but the last. Memory: the budget;
// disk: the records once, and a few chunks.
#ifndef KTB_IMPL_SORT_ROW_SORT_H
#define KTB_IMPL_SORT_ROW_SORT_H

#include <memory>

#include "ktb/sort.h"
#include "sort/group_watch.h"
#include "sort/row_arena.h"
#include "sort/row_layout.h"
#include "sort/row_pump.h"
#include "sort/run_job.h"
#include "sort/run_stack.h"
#include "sort/sort_pace.h"

// What a sort is made from. The sizes may be far below what the manager lets a caller set, so that tests reach with few rows
// what takes many otherwise.
struct RowSortSetup {
    KtDatafileSortSettings settings{};
    int threads = 1;
    std::size_t budget = 0;
    std::size_t blockBytes = 0;
    std::size_t chunkBytes = 0;
    std::size_t batchBytes = 0;  // of the rows that a thread merges ahead; 0: none does
    SortPace::Clock::duration reportInterval = std::chrono::milliseconds(100);

    // The sizes and threads that the settings come to on this machine.
    static RowSortSetup of(const KtDatafileSortSettings& settings);

    // Below this, buffers would be too small to be of use.
    static constexpr unsigned long budgetLeast = 1024UL * 1024;

    // Sizes in proportion to a budget.
    void setBudget(std::size_t bytes, std::size_t chunkBytesMax);
};

class RowSort final : public KtDatafileRowSort {
public:
    explicit RowSort(const RowSortSetup& setup);
    RowSort(const RowSort&) = delete;
    RowSort& operator=(const RowSort&) = delete;
    ~RowSort();

    // Takes over the columns and the work directories. Returns false, with the reason in getError(), when memory is exhausted
    // or the directories cannot be told.
    [[nodiscard]] bool prepare(int columns, const ktbType* types, const KtbString& directories);

    int setSort(int index, int column, bool descending, KTSortCollateParms* parms) override;
    int setSortInfo(KtDatafileSortInfo* info) override;
    int setSortProgress(KtDatafileSortProgress* progress) override;
    int setSortKeys(int count) override;
    KtbDatavar* columnSlot(int column) override;
    int addRow() override;
    int finish() override;
    KtbString getError() override;
    int firstRow() override;
    int nextRow() override;
    KtbDatavar* columnValue(int column) override;
    void release() override;
    bool startsGroup() override;

private:
    // How long the caller waits for a thread before it looks at the progress object.
    static constexpr std::chrono::milliseconds patience{20};

    enum class State { describing, filling, finished, delivering, ended, failed };

    int fail(KtbString text);
    int failForMemory(const char* what);
    int failOnDisk();
    int failCancelled();
    int failOutOfOrder(const char* what);

    int begin();

    bool hasTwoArenas() const { return setup_.threads > 1; }
    RowArena& filling() { return arenas_[filling_]; }
    RowArena& older() { return arenas_[1 - filling_]; }
    int store();
    int makeRoom();
    int makeRoomInOther();
    void shareMemory();
    std::unique_ptr<RowMerge> mergeArenas(RowArena* first, RowArena* second);
    int startRun(RowArena* arena);
    int awaitRun();
    int bringToDisk(RowArena* arena);
    void abandonRun();
    int conclude(RunJob::Outcome outcome);
    int mergeDueRuns();
    int mergeRuns(RunRange range);
    void freeArenas();
    int mergeFromDisk();

    int beginDelivery();
    int deliver();
    RowPump::Got fetch(const unsigned char** record);
    bool isDropped(const unsigned char* record);
    int deliverRow(const unsigned char* record);
    int endDelivery(RowPump::Got why);
    void fillInfo();

    const RowSortSetup setup_;
    State state_ = State::describing;
    KtbString error_;
    RowOrder order_;
    RowLayout layout_;
    SortMemory memory_;
    SortThreads threads_;
    RowArena arenas_[2];  // one without threads
    int filling_ = 0;     // the arena that takes rows; the other one has older rows or none
    RunStack runs_;
    RunJob job_;
    RowArena* spilling_ = nullptr;    // whose rows the job is writing
    std::unique_ptr<RowMerge> rows_;  // sources in the arenas or runs_
    std::unique_ptr<RowPump> pump_;   // takes from rows_
    GroupWatch watch_;
    SortPace pace_;
    std::unique_ptr<KtbDatavar[]> slots_;
    std::unique_ptr<KtbDatavar[]> values_;
    ByteBuffer record_;
    bool startsGroup_ = false;
    long rowsIn_ = 0;
    long rowsOut_ = 0;
    long duplicates_ = 0;
    long groups_ = 0;
    long runCount_ = 0;
    int mergePasses_ = 0;
    KtDatafileSortInfo* info_ = nullptr;  // the caller's
};

#endif
