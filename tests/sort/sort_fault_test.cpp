// Sorts on disks and in memory that fail at every call in turn: what comes out is right, or it is a failure with a text, and
// nothing is left either way.
#include <gtest/gtest.h>

#include "sort_model.h"
#include "sort_random.h"
#include "support/faults.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

class SortFaultTest : public testing::Test {
protected:
    SortFaultTest() {
        Random random(2);
        for (long i = 0; i < 60; ++i) {
            const long key = static_cast<long>(random.below(20));
            const KtbDatavar number = i % 9 != 0 ? valueOf(key) : valueOf(std::string(30, ' ') + std::to_string(key));
            const std::string text =
                "a text that is longer than what the keys hold of it, all in all " + std::string(1, "AaBb"[i % 4]);
            rows.push_back({number, valueOf(i), valueOf(text)});
        }
        model = modelOf(description, rows, false);
        directories = directory.directory("first") + ":" + directory.directory("second");
    }

    // Sizes with which the rows take two levels of merges.
    static RowSortSetup setup(int threads) {
        RowSortSetup result = smallSetup(3072, 4096, threads);
        result.blockBytes = 512;
        result.chunkBytes = 256;
        result.settings.markByGroups = true;
        return result;
    }

    // The sort with its values assigned, but nothing else of it, under the faults: what the test itself needs cannot fail.
    int addRowWith(Faults& faults, KtDatafileRowSort* sort, const Row& row) {
        KtbDatavar* slots[3] = {};
        faults.during([&] {
            for (int i = 0; i < 3; ++i) slots[i] = sort->columnSlot(i);
        });
        for (std::size_t i = 0; i < 3; ++i) {
            if (slots[i] != nullptr) *slots[i] = row[i];  // without a place the row is refused
        }
        int status = ktSortFailed;
        faults.during([&] { status = sort->addRow(); });
        return status;
    }

    template <class Call>
    static int during(Faults& faults, Call call) {
        int status = ktSortFailed;
        faults.during([&] { status = call(); });
        return status;
    }

    // Makes, fills, finishes and reads a sort. A sort that cannot be made leaves *sort empty.
    int sortWith(Faults& faults, const RowSortSetup& sizes, Sort* sort, Rows* back) {
        auto* made = new RowSort(sizes);
        sort->reset(made);
        bool ready = false;
        const ktbType types[] = {ktbTypeInteger, ktbTypeInteger, ktbTypeString};
        faults.during([&] { ready = made->prepare(3, types, directories.c_str()); });
        if (!ready) {
            sort->reset();  // it is the manager who says so
            return ktSortFailed;
        }
        int status = during(faults, [&] { return made->setSortKeys(2); });
        if (status == ktSortRow) status = during(faults, [&] { return made->setSort(0, 0, false, nullptr); });
        KTSortCollateParms locale = {ktSortCollateLocale, "C.UTF-8"};
        if (status == ktSortRow) status = during(faults, [&] { return made->setSort(1, 2, true, &locale); });
        for (std::size_t i = 0; i < rows.size() && status == ktSortRow; ++i) status = addRowWith(faults, made, rows[i]);
        if (status == ktSortRow) status = during(faults, [&] { return made->finish(); });
        if (status == ktSortRow) status = during(faults, [&] { return made->firstRow(); });
        for (; status == ktSortRow; status = during(faults, [&] { return made->nextRow(); })) {
            back->push_back(currentRow(made, 3));
        }
        return status;
    }

    void expectRightOrExplained(Faults& faults, const RowSortSetup& sizes) {
        const std::size_t handles = openHandles();
        Sort sort;
        Rows back;
        int status = ktSortFailed;
        const auto work = [&] { status = sortWith(faults, sizes, &sort, &back); };
        // The threads of a sort go on between its calls.
        if (dynamic_cast<FileFaults*>(&faults) != nullptr) {
            faults.during(work);
        } else {
            work();
        }
        if (status == ktSortEnd) {
            expectSame(back, model.rows);
            ++succeeded;
        } else {
            EXPECT_EQ(status, ktSortFailed);
            EXPECT_TRUE(faults.injected());
            ++refused;
        }
        // What was delivered before the failure was right as far as it went.
        ASSERT_LE(back.size(), model.rows.size());
        for (std::size_t i = 0; i < back.size(); ++i) ASSERT_TRUE(isSame(back[i], model.rows[i]));
        if (status != ktSortEnd && sort) expectTextThatStays(sort.get());
        faults.during([&] { sort.reset(); });
        EXPECT_EQ(openFileHandles(), 0);
        EXPECT_EQ(openHandles(), handles);
        expectNoFiles(faults);
    }

    void expectTextThatStays(KtDatafileRowSort* sort) {
        const std::string text = sort->getError().asCstr();
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(sort->nextRow(), ktSortFailed);
        EXPECT_EQ(sort->addRow(), ktSortFailed);
        EXPECT_EQ(sort->getError().asCstr(), text);
    }

    // No file has a name. One whose removal failed twice is nobody's fault, nor is one that was said to be gone already.
    void expectNoFiles(const Faults& faults) {
        const auto* file = dynamic_cast<const FileFaults*>(&faults);
        const bool saidToBeGone =
            file != nullptr && file->injectedCall() == FileCall::unlink && file->fault().code == np_err_no_such_file;
        const bool cannotRemove = saidToBeGone || (file != nullptr && file->isLasting());
        for (const char* name : {"first", "second"}) {
            for (const auto& entry : std::filesystem::directory_iterator(directory.file(name))) {
                EXPECT_TRUE(cannotRemove) << entry.path();
                std::filesystem::remove(entry.path());
            }
        }
    }

    const Description description = {{ktbTypeInteger, ktbTypeInteger, ktbTypeString},
                                     {{0}, {2, true, ktSortCollateLocale, "C.UTF-8"}}};
    Rows rows;
    Model model;
    TempDirectory directory;
    std::string directories;
    long succeeded = 0;
    long refused = 0;
};

TEST_F(SortFaultTest, TheSortMergesMoreThanOnceWhenNothingFails) {
    const Sort sort = makeSort(description, setup(1), directories);
    const Sorted result = run(sort.get(), rows, 3);
    ASSERT_EQ(result.status, ktSortEnd) << result.error;
    expectSame(result.rows, model.rows);
    EXPECT_GT(result.info.mergePasses, 1);
}

TEST_F(SortFaultTest, EveryFaultIsMasteredOrExplained) {
    for (const int threads : {1, 2}) {
        const long runs = forEachFault([&](Faults& faults) { expectRightOrExplained(faults, setup(threads)); });
        EXPECT_GT(runs, 300);
    }
    EXPECT_GT(succeeded, 10);
    EXPECT_GT(refused, 10);
}

// Such a sort remembers a row of each group that it passes on, while runs are written and merged and while rows are delivered.
TEST_F(SortFaultTest, WithoutDuplicatesEveryFailingAllocationIsMasteredOrExplained) {
    RowSortSetup sizes = setup(1);
    sizes.settings.noDups = true;
    model = modelOf(description, rows, true);
    EXPECT_LT(model.rows.size(), rows.size());
    EXPECT_GT(forEachMemoryFault([&](Faults& faults) { expectRightOrExplained(faults, sizes); }), 100);
    EXPECT_GT(refused, 100);
}

// A disk that is full is passed over for the next one, whenever that happens.
TEST_F(SortFaultTest, AFirstDirectoryThatIsFullAtAnyWriteIsFollowedByTheSecond) {
    long n = 0;
    for (bool injected = true; injected; ++n) {
        SCOPED_TRACE("write " + std::to_string(n));
        FileFaults faults({.call = FileCall::putb, .nth = n + 1, .code = np_err_no_space, .half = n % 2 != 0});
        Sort sort;
        Rows back;
        ASSERT_EQ(sortWith(faults, setup(1), &sort, &back), ktSortEnd) << sort->getError().asCstr();
        expectSame(back, model.rows);
        EXPECT_EQ(openFileHandles(), faults.injected() ? 2 : 1);
        injected = faults.injected();
        sort.reset();
        EXPECT_EQ(openFileHandles(), 0);
        if (HasFailure()) return;
    }
    EXPECT_GT(n, 50);
}

TEST_F(SortFaultTest, ADirectoryWhereNoFileCanBeMadeIsPassedOver) {
    FileFaults faults({.call = FileCall::tmpfile, .code = np_err_access});
    expectRightOrExplained(faults, setup(1));
    EXPECT_EQ(succeeded, 1);
}

TEST_F(SortFaultTest, WhenEveryDirectoryIsFullTheLastOneIsNamed) {
    FileFaults faults({.call = FileCall::putb, .nth = 9, .lasting = true, .code = np_err_no_space});
    Sort sort;
    Rows back;
    ASSERT_EQ(sortWith(faults, setup(1), &sort, &back), ktSortFailed);
    const std::string text = sort->getError().asCstr();
    EXPECT_EQ(text, "No work directory takes more sorted rows. The last one, \"" + directory.file("second") +
                        "\", gave: " + np_fio_errdesc(np_err_no_space) + ".");
}

TEST_F(SortFaultTest, DirectoriesThatAreNotThereAreNamed) {
    directories = directory.file("nowhere");
    FileFaults none({.nth = 1L << 40});
    Sort sort;
    Rows back;
    ASSERT_EQ(sortWith(none, setup(1), &sort, &back), ktSortFailed);
    EXPECT_EQ(std::string(sort->getError().asCstr()), "No work directory takes more sorted rows. The last one, \"" +
                                                          directories + "\", gave: " + np_fio_errdesc(np_err_no_such_file) +
                                                          ".");
    EXPECT_EQ(openFileHandles(), 0);
}

// What needs no disk does not ask for one.
TEST_F(SortFaultTest, ASortThatFitsItsBudgetTouchesNoFile) {
    FileFaults faults({.nth = 1, .lasting = true, .code = np_err_io});
    expectRightOrExplained(faults, smallSetup(1 << 20));
    EXPECT_EQ(succeeded, 1);
    EXPECT_FALSE(faults.injected());
}

TEST_F(SortFaultTest, AManagerThatFindsNoMemorySaysSo) {
    forEachMemoryFault([&](Faults& faults) {
        KtbString error;
        SortManager manager;
        faults.during([&] { manager.reset(ktDatafileManagerCreate(directories.c_str(), &error)); });
        if (!manager) {
            EXPECT_TRUE(faults.injected());
            if (!faults.isLasting()) {
                EXPECT_NE(error.length(), 0);
            }
            return;
        }
        Sort sort;
        faults.during([&] {
            const bool declared = manager->declareColumns(2) && manager->declareColumn(1, ktbTypeInteger, 0);
            if (declared) sort.reset(manager->createSort(ktSortRows));
        });
        if (!sort) {
            EXPECT_TRUE(faults.injected());
            EXPECT_NE(manager->getError().length(), 0);
        }
    });
}

}  // namespace
