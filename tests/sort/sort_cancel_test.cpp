// Progress and cancelling: at every report that there is, in every phase.
#include <gtest/gtest.h>

#include <chrono>
#include <set>

#include "run_files.h"
#include "sort_model.h"
#include "sort_random.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

// Cancels at one of the reports.
class Canceller : public KtDatafileSortProgress {
public:
    explicit Canceller(long at) : left_(at) {}

    bool report(int phase, long, long) override {
        EXPECT_FALSE(cancelled()) << "a report after the sort was cancelled";
        if (left_-- > 0) return true;
        phase_ = phase;
        return false;
    }

    bool cancelled() const { return phase_ != 0; }
    int phase() const { return phase_; }

private:
    long left_;
    int phase_ = 0;
};

struct Report {
    int phase;
    long done;
    long expected;
    SortPace::Clock::time_point time;
};

class Recorder : public KtDatafileSortProgress {
public:
    bool report(int phase, long rowsDone, long rowsExpected) override {
        reports.push_back({phase, rowsDone, rowsExpected, SortPace::Clock::now()});
        return true;
    }

    std::vector<Report> reports;
};

class SortCancelTest : public testing::Test {
protected:
    SortCancelTest() {
        Random random(11);
        for (long i = 0; i < 4000; ++i) {
            rows.push_back({valueOf(static_cast<long>(random.below(500))), valueOf(i), valueOf(std::string(60, 't'))});
        }
    }

    static RowSortSetup setup(int threads) {
        RowSortSetup result = smallSetup(16384, 4096, threads);
        result.chunkBytes = 2048;  // merges of few runs, and so some of them
        result.settings.records = 4000;
        result.settings.noDups = true;
        return result;
    }

    Sort begin(int threads, KtDatafileSortProgress* progress, KtDatafileSortInfo* info) {
        Sort sort = makeSort(description, setup(threads), directory.path());
        sort->setSortProgress(progress);
        sort->setSortInfo(info);
        return sort;
    }

    int work(KtDatafileRowSort* sort) {
        int status = addRows(sort, rows);
        if (status == ktSortRow) status = sort->finish();
        if (status == ktSortRow) status = sort->firstRow();
        while (status == ktSortRow) status = sort->nextRow();
        return status;
    }

    void expectCancelled(KtDatafileRowSort* sort) {
        for (const int status : {sort->addRow(), sort->finish(), sort->firstRow(), sort->nextRow(), sort->setSortKeys(1),
                                 sort->setSort(0, 0, false, nullptr)}) {
            EXPECT_EQ(status, ktSortFailed);
            EXPECT_STREQ(sort->getError().asCstr(), "The sort was cancelled.");
        }
    }

    const Description description = {{ktbTypeInteger, ktbTypeInteger, ktbTypeString}, {{0}}};
    Rows rows;
    TempDirectory directory;
};

TEST_F(SortCancelTest, EveryReportOfEveryPhaseCanEndTheSort) {
    const std::size_t handles = openHandles();
    std::set<int> phases;
    long reports = 0;
    for (;; ++reports) {
        SCOPED_TRACE("report " + std::to_string(reports));
        Canceller progress(reports);
        KtDatafileSortInfo info{};
        Sort sort = begin(1 + static_cast<int>(reports % 3), &progress, &info);
        const int status = work(sort.get());
        if (!progress.cancelled()) {
            EXPECT_EQ(status, ktSortEnd);
            EXPECT_GT(info.mergePasses, 1);
            break;
        }
        phases.insert(progress.phase());
        EXPECT_EQ(status, ktSortFailed);
        expectCancelled(sort.get());
        EXPECT_GT(info.rowsIn, 0);  // the record tells how far it came
        if (progress.phase() != ktSortDelivering) {
            EXPECT_EQ(info.rowsOut, 0);
        }
        sort.reset();
        ASSERT_EQ(openHandles(), handles);
        ASSERT_TRUE(directory.names().empty() && runFiles(directory.path()).empty());
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ(phases, (std::set<int>{ktSortFilling, ktSortSpilling, ktSortMerging, ktSortDelivering}));
    EXPECT_GT(reports, 20);
}

// The caller himself then writes what a thread writes otherwise.
TEST_F(SortCancelTest, TheCallThatReportsFailsAlsoWhereNoThreadIsOfUse) {
    for (Row& row : rows) row[2] = valueOf(std::string(9000, 't'));
    rows.resize(200);
    for (long at = 0;; ++at) {
        SCOPED_TRACE("report " + std::to_string(at));
        Canceller progress(at);
        KtDatafileSortInfo info{};
        const Sort sort = begin(2, &progress, &info);
        for (const Row& row : rows) {
            const int status = addRow(sort.get(), row);
            ASSERT_EQ(status, progress.cancelled() ? ktSortFailed : ktSortRow);
            if (progress.cancelled()) break;
        }
        if (!progress.cancelled()) break;
    }
}

TEST_F(SortCancelTest, ReportsTellThePhaseAndHowFarItIs) {
    Recorder progress;
    KtDatafileSortInfo info{};
    const Sort sort = begin(1, &progress, &info);
    ASSERT_EQ(work(sort.get()), ktSortEnd);
    int lastPhase = 0;
    long lastDone = 0;
    for (const Report& report : progress.reports) {
        if (report.phase == lastPhase && (report.phase == ktSortFilling || report.phase == ktSortDelivering)) {
            EXPECT_GE(report.done, lastDone);
        }
        if (report.phase == ktSortFilling) {
            EXPECT_EQ(report.expected, 4000);
        }
        if (report.phase == ktSortDelivering) {
            EXPECT_EQ(report.expected, info.rowsIn);
        }
        EXPECT_LE(report.done, report.expected);
        EXPECT_LE(report.expected, 4000);
        lastPhase = report.phase;
        lastDone = report.done;
    }
    EXPECT_EQ(lastPhase, ktSortDelivering);
}

// Who is slow to answer is not asked more often for that.
TEST_F(SortCancelTest, TwoReportsAreNeverLessThanATenthOfASecondApart) {
    Recorder progress;
    KtDatafileSortInfo info{};
    RowSortSetup usual = setup(2);
    usual.reportInterval = RowSortSetup().reportInterval;
    for (int round = 0; round < 20 && progress.reports.size() < 3; ++round) {
        const Sort sort = makeSort(description, usual, directory.path());
        sort->setSortProgress(&progress);
        sort->setSortInfo(&info);
        const std::size_t before = progress.reports.size();
        ASSERT_EQ(work(sort.get()), ktSortEnd);
        for (std::size_t i = before + 1; i < progress.reports.size(); ++i) {
            EXPECT_GE(progress.reports[i].time - progress.reports[i - 1].time, std::chrono::milliseconds(100));
        }
    }
    EXPECT_FALSE(progress.reports.empty());
}

}  // namespace
