// The sweep when every call and every allocation fails in turn: it may do less than it was asked for, never more.
#include <gtest/gtest.h>

#include "ktwt/sweep.h"
#include "stage.h"
#include "support/environment.h"

namespace {

class OrphanTest : public testing::Test {
protected:
    // What killed processes leave: a table that was never finished, a pair that a finished header does not tell of, and rows of
    // a sort. Seven files.
    void plant() {
        const std::string first = stage.home.file("first work directory"), second = stage.home.file("second work directory");
        const std::string random = stage.kept.substr(5);
        const std::string own = "_bbbbbbbbbbbbbbbbbbbb";
        writeFile(second + "/ktwt_aaaaaaaaaaaaaaaaaaaa", "");
        writeFile(first + "/ktwte_aaaaaaaaaaaaaaaaaaaa" + own, "rows");
        writeFile(second + "/ktwtei_aaaaaaaaaaaaaaaaaaaa" + own, "");
        writeFile(first + "/ktwtei_aaaaaaaaaaaaaaaaaaaa_cccccccccccccccccccc", "");
        writeFile(first + "/ktwte_" + random + own, "rows");
        writeFile(second + "/ktwtei_" + random + own, "");
        writeFile(first + "/ktsort_aaaaaaaaaaaaaaaaaaaa", "");
    }

    bool sweep(bool remove) {
        stage.refresh();
        return ktwtSweepOrphans(stage.directories.c_str(), remove, nullptr, &counts, &stage.error);
    }

    static bool saysThatFilesAreMissing(const Faults& faults) {
        const FileFaults* fileFaults = faults.ofFiles();
        return fileFaults != nullptr && fileFaults->injected() && fileFaults->fault().code == np_err_no_such_file;
    }

    Stage stage;
    KtWorkTableSweep counts = {};
};

TEST_F(OrphanTest, ASweepThatMeetsAFailureTellsOfItAndTheNextOneDoesTheRest) {
    const long runs = sweepFaults([&](Faults& faults) {
        plant();
        ASSERT_EQ(stage.strangers().size(), 7u);
        bool swept = false;
        faults.during([&] { swept = sweep(true); });
        EXPECT_EQ(swept, stage.error.length() == 0);
        const long left = static_cast<long>(stage.strangers().size());
        EXPECT_EQ(left, 7 - counts.removed);
        if (!faults.injected()) {
            EXPECT_TRUE(swept);
            EXPECT_EQ(left, 0);
        }
        stage.expectUnharmed();
        if (saysThatFilesAreMissing(faults)) {
            stage.clearAway();  // who believes that a file is gone lets go of its header
            return;
        }
        EXPECT_TRUE(sweep(true)) << stage.error.asCstr();
        EXPECT_EQ(counts.removed, left);
        EXPECT_EQ(stage.strangers().size(), 0u);
    });
    EXPECT_GT(runs, 200);
}

// An answer that a file is missing or another user's is none of the sweep's business; any other is told.
TEST_F(OrphanTest, AFailureIsNeverSilentWhenFilesAreLeft) {
    const auto makeFaults = [](long n) { return std::make_unique<FileFaults>(FileFault{.nth = n + 1, .code = np_err_io}); };
    forEachFaultOf(makeFaults, [&](Faults& faults) {
        plant();
        bool swept = false;
        faults.during([&] { swept = sweep(true); });
        if (swept) {
            EXPECT_EQ(stage.strangers().size(), 0u);
        } else {
            EXPECT_NE(stage.error.length(), 0);
        }
        stage.clearAway();
    });
}

TEST_F(OrphanTest, AListingThatMeetsAFailureDeletesNothing) {
    plant();
    sweepFaults([&](Faults& faults) {
        bool swept = false;
        faults.during([&] { swept = sweep(false); });
        EXPECT_EQ(counts.removed, 0);
        EXPECT_EQ(stage.strangers().size(), 7u);
        if (!faults.injected()) {
            EXPECT_TRUE(swept);
            EXPECT_EQ(counts.orphans, 7);
        }
        stage.expectUnharmed();
    });
}

// The caller's text for the list is made before the sweep is called: without memory it is null, which must not be taken for a
// list that was left out. Files of other tests, and of everybody else, may be in the system's directory.
TEST_F(OrphanTest, AListThatMemoryCannotHoldDoesNotStandForTheSystemsDirectory) {
    plant();
    const EnvironmentVariable noOption("KTB_BASE_TEMP", nullptr);
    const EnvironmentVariable noFile("KTB_OPTIONS", nullptr);
    const std::string system = stage.home.file("second work directory");
    const EnvironmentVariable directory("TMPDIR", system.c_str());
    MemoryFaults faults(0);
    bool swept = true;
    faults.during([&] { swept = sweep(true); });
    EXPECT_FALSE(swept);
    EXPECT_STREQ(stage.error.asCstr(), "The list of the work directories is missing.");
    EXPECT_EQ(stage.strangers().size(), 7u);
}

TEST_F(OrphanTest, AFileOutOfReachKeepsItsHeader) {
    plant();
    {
        FileFaults faults({.call = FileCall::stat64, .file = "ktwte_aaaa", .lasting = true, .code = np_err_access});
        faults.during([&] { EXPECT_TRUE(sweep(true)) << stage.error.asCstr(); });
        EXPECT_TRUE(faults.injected());
    }
    EXPECT_EQ(stage.strangers().size(), 2u);
    EXPECT_TRUE(sweep(true)) << stage.error.asCstr();
    EXPECT_EQ(counts.removed, 2);
    EXPECT_EQ(stage.strangers().size(), 0u);
}

// The disk that does not deliver a header must not make its table look like one that was never finished.
TEST_F(OrphanTest, ATableWhoseHeaderCannotBeReadStaysWhole) {
    const std::size_t before = stage.strangers().size();
    for (const FileCall call : {FileCall::getb, FileCall::seek64, FileCall::open, FileCall::stat64, FileCall::seize}) {
        for (const bool half : {false, true}) {
            plant();
            FileFaults faults({.call = call, .file = stage.kept, .lasting = true, .half = half});
            bool swept = false;
            faults.during([&] { swept = sweep(true); });
            EXPECT_TRUE(faults.injected());
            EXPECT_FALSE(swept) << "two files wait for what the header has to tell";
            EXPECT_EQ(stage.strangers().size(), before + 2);
            stage.expectUnharmed();
            stage.clearAway();
        }
    }
}

TEST_F(OrphanTest, WithoutLocksNothingIsDeleted) {
    plant();
    FileFaults faults({.call = FileCall::seize, .lasting = true, .code = np_err_failed});
    bool swept = true;
    faults.during([&] { swept = sweep(true); });
    EXPECT_FALSE(swept);
    EXPECT_EQ(stage.strangers().size(), 7u);
}

// Holding a table

TEST_F(OrphanTest, ATableWhoseHoldFailsIsNotCreated) {
    FileFaults faults({.call = FileCall::hold, .lasting = true});
    faults.during([&] { EXPECT_EQ(stage.create(), nullptr); });
    expectOnly(stage.log, "wtfile", 1417, stage.home.file("second work directory").c_str(), +np_err_io,
               np_fio_errdesc(np_err_io));
    EXPECT_EQ(stage.strangers().size(), 0u);
    stage.expectUnharmed();
}

TEST_F(OrphanTest, ANewHeaderThatIsClearedAwayBeforeItIsHeldIsReplaced) {
    for (const int code : {+np_err_busy, +np_err_no_such_file}) {
        FileFaults faults({.call = FileCall::hold, .code = code});
        std::string name;
        faults.during([&] { EXPECT_TRUE(stage.write(&name)); });
        EXPECT_TRUE(faults.injected());
        EXPECT_TRUE(stage.log.entries().empty());
        EXPECT_EQ(stage.strangers().size(), 7u) << "the first header is gone";
        stage.clearAway();
    }
}

TEST_F(OrphanTest, TheSearchForAHeaderThatStaysHasAnEnd) {
    FileFaults faults({.call = FileCall::hold, .lasting = true, .code = np_err_busy});
    faults.during([&] { EXPECT_EQ(stage.create(), nullptr); });
    EXPECT_EQ(stage.log.last().number, 1417);
    EXPECT_EQ(stage.strangers().size(), 0u);
}

TEST_F(OrphanTest, ATableWhoseHoldFailsIsNotOpened) {
    const std::string path = stage.home.file("first work directory") + "/" + stage.kept;
    {
        FileFaults faults({.call = FileCall::hold});
        faults.during([&] { EXPECT_EQ(Table(stage.manager->open(stage.kept.c_str(), false, &stage.error)), nullptr); });
        expectOnly(stage.log, "wtfile", 1353, path.c_str(), np_fio_errdesc(np_err_io));
    }
    stage.refresh();
    {
        FileFaults faults({.call = FileCall::hold, .code = np_err_busy});
        faults.during([&] { EXPECT_FALSE(stage.manager->append(stage.kept.c_str(), stage.kept.c_str(), &stage.error)); });
        EXPECT_EQ(stage.log.last().text, messageText(1353, path.c_str(), np_fio_errdesc(np_err_busy)));
    }
    stage.refresh();
    stage.expectUnharmed();
}

TEST_F(OrphanTest, AReaderDoesWithoutAHoldWhileSomebodyClearsAway) {
    FileFaults faults({.call = FileCall::hold, .lasting = true, .code = np_err_busy});
    faults.during([&] {
        const Table table(stage.manager->open(stage.kept.c_str(), false, &stage.error));
        EXPECT_TRUE(stage.read(table.get()).has_value());
    });
    EXPECT_TRUE(faults.injected());
}

TEST_F(OrphanTest, ARemovalThatCannotHoldTheHeaderRemovesAllTheSame) {
    std::string name;
    ASSERT_TRUE(stage.write(&name));
    FileFaults faults({.call = FileCall::hold, .nth = 2, .lasting = true});  // the first is the opening's
    faults.during([&] { EXPECT_TRUE(stage.remove(name)); });
    EXPECT_TRUE(faults.injected());
    EXPECT_EQ(stage.strangers().size(), 0u);
}

}  // namespace
