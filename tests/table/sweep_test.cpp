// Finding and removing what killed processes left, as callers see it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "ktb/fio.h"
#include "support/released.h"
#include "support/temp_directory.h"

namespace {

using Names = std::vector<std::string>;

class Visitor : public KtWorkTableOrphanVisitor {
public:
    explicit Visitor(std::size_t most = SIZE_MAX) : most_(most) {}

    bool visit(const KtWorkTableOrphan& orphan) override {
        if (visited_.size() == most_) return false;
        visited_.emplace_back(orphan.path);
        kinds.push_back(orphan.kind);
        bytes += orphan.bytes;
        return true;
    }

    Names paths() const {
        Names sorted = visited_;
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }

    Names visitedInOrder() const { return visited_; }

    std::vector<int> kinds;
    long bytes = 0;

private:
    const std::size_t most_;
    Names visited_;
};

constexpr const char* someHeader = "ktwt_aaaaaaaaaaaaaaaaaaaa";
constexpr const char* someData = "ktwte_aaaaaaaaaaaaaaaaaaaa_bbbbbbbbbbbbbbbbbbbb";
constexpr const char* someIndex = "ktwtei_aaaaaaaaaaaaaaaaaaaa_cccccccccccccccccccc";
constexpr const char* someSort = "ktsort_dddddddddddddddddddd";

class SweepTest : public testing::Test {
protected:
    SweepTest() : list_(home_.path()), manager_(ktwtCreateManager("", list_.c_str(), &error_)) {}

    void put(const std::string& name, const std::string& bytes = "") const { writeFile(home_.file(name), bytes); }

    bool exists(const std::string& name) const { return std::filesystem::exists(home_.file(name)); }

    bool sweep(bool remove, KtWorkTableOrphanVisitor* visitor = nullptr) {
        error_ = KtbString();
        const bool swept = ktwtSweepOrphans(list_.c_str(), remove, visitor, &counts_, &error_);
        EXPECT_EQ(swept, error_.length() == 0);
        return swept;
    }

    // Sweeps and expects that there was nothing to be done.
    void expectClean() {
        const Names before = home_.names();
        EXPECT_TRUE(sweep(true)) << error_.asCstr();
        EXPECT_EQ(counts_.orphans, 0);
        EXPECT_EQ(home_.names(), before);
    }

    // A table of one integer column, a data element for every two rows, open for writing.
    Table newTable(int rows) {
        Table table(manager_->create(1, 17, &error_));
        EXPECT_TRUE(table->defineColumnInfo(0, "number", ktbTypeInteger, 0));
        write(table.get(), rows);
        return table;
    }

    static void write(KtWorkTableFile* table, int rows) {
        for (int i = 0; i < rows; ++i) {
            KtbDatavar value;
            value.assign(static_cast<long>(i));
            EXPECT_TRUE(table->writeRow(&value)) << table->getError().asCstr();
        }
    }

    std::string closedTable(int rows) {
        const Table table = newTable(rows);
        EXPECT_TRUE(table->close());
        return table->getName().asCstr();
    }

    long rowsOf(const std::string& name) {
        const Table table(manager_->open(name.c_str(), false, &error_));
        if (table == nullptr) return -1;
        KtbDatavar value;
        bool end = false;
        long rows = 0;
        while (table->readRow(&value, &end)) ++rows;
        return end ? rows : -1;
    }

    TempDirectory home_;
    std::string list_;
    KtbString error_;
    Manager manager_;
    KtWorkTableSweep counts_ = {};
};

TEST_F(SweepTest, AnEmptyDirectoryHasNoOrphans) {
    expectClean();
    EXPECT_EQ(counts_.inUse + counts_.unknown + counts_.bytes + counts_.removed, 0);
}

TEST_F(SweepTest, AClosedTableIsNoOrphan) {
    const std::string name = closedTable(5);
    EXPECT_EQ(home_.names().size(), 7u);
    expectClean();
    EXPECT_EQ(counts_.unknown, 0);
    EXPECT_EQ(rowsOf(name), 5);
}

TEST_F(SweepTest, ATableThatIsBeingWrittenIsInUse) {
    const Table table = newTable(5);
    expectClean();
    EXPECT_EQ(counts_.inUse, 7) << "the header and three pairs";
    write(table.get(), 3);
    EXPECT_TRUE(table->close());
    EXPECT_EQ(rowsOf(table->getName().asCstr()), 8);
    expectClean();
    EXPECT_EQ(counts_.inUse, 0);
}

TEST_F(SweepTest, AHeaderThatWasNeverFinishedGoesWithItsFilesAndAfterThem) {
    const std::string kept = closedTable(3);
    put(someHeader);
    put(someData, "1234");
    put(someIndex, "12345678");
    Visitor visitor;
    EXPECT_TRUE(sweep(true, &visitor));
    EXPECT_EQ(visitor.visitedInOrder(), (Names{home_.file(someData), home_.file(someIndex), home_.file(someHeader)}));
    EXPECT_EQ(visitor.kinds, (std::vector<int>{ktwtOrphanData, ktwtOrphanIndex, ktwtOrphanHeader}));
    EXPECT_EQ(counts_.orphans, 3);
    EXPECT_EQ(counts_.removed, 3);
    EXPECT_EQ(counts_.bytes, 12);
    EXPECT_EQ(visitor.bytes, 12);
    EXPECT_FALSE(exists(someHeader) || exists(someData) || exists(someIndex));
    EXPECT_EQ(rowsOf(kept), 3);
}

TEST_F(SweepTest, WhatIsOnlyListedStays) {
    put(someHeader);
    put(someData, "1234");
    Visitor visitor;
    EXPECT_TRUE(sweep(false, &visitor));
    EXPECT_EQ(visitor.paths().size(), 2u);
    EXPECT_EQ(counts_.orphans, 2);
    EXPECT_EQ(counts_.removed, 0);
    EXPECT_TRUE(exists(someHeader) && exists(someData));
}

TEST_F(SweepTest, AHeaderWithoutItsFixedPartWasNeverFinished) {
    for (const std::size_t size : {1u, 31u, 32u, 33u, 5000u}) {
        put(someHeader, std::string(size, '\0'));
        EXPECT_TRUE(sweep(true));
        EXPECT_EQ(counts_.removed, 1) << size;
    }
    put(someHeader, std::string(32, '\0') + "records that came before");
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 1);
}

TEST_F(SweepTest, FilesThatAFinishedHeaderDoesNotTellOfGo) {
    const std::string name = closedTable(5);
    const std::string random = name.substr(5);
    const std::string data = "ktwte_" + random + "_eeeeeeeeeeeeeeeeeeee";
    const std::string index = "ktwtei_" + random + "_eeeeeeeeeeeeeeeeeeee";
    put(data);
    put(index);
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 2);
    EXPECT_FALSE(exists(data) || exists(index));
    EXPECT_EQ(rowsOf(name), 5);
    EXPECT_EQ(home_.names().size(), 7u);
}

TEST_F(SweepTest, WhileATableIsReadNobodyJudgesWhatItsHeaderDoesNotTellOf) {
    const std::string name = closedTable(3);
    put("ktwte_" + name.substr(5) + "_eeeeeeeeeeeeeeeeeeee");
    {
        const Table table(manager_->open(name.c_str(), false, &error_));
        expectClean();
        EXPECT_EQ(counts_.inUse, 1);
    }
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 1);
}

TEST_F(SweepTest, FilesWhoseHeaderIsNotThereAreUnknown) {
    put(someData, "1234");
    put(someIndex);
    put("ktwte_bbbbbbbbbbbbbbbbbbbb", "a name of an earlier build");
    expectClean();
    EXPECT_EQ(counts_.unknown, 3);
}

TEST_F(SweepTest, FilesOfAnEarlierBuildThatTheirHeaderTellsOfAreKnown) {
    const std::string name = closedTable(2);
    // The same table with plain names: as long as what they replace, so that the header keeps its form.
    std::string header = readFile(home_.file(name));
    for (const std::string& old : home_.names()) {
        const std::string prefix = old.substr(0, old.find('_') + 1);
        if (prefix == "ktwt_") continue;
        const std::string plain = prefix + std::string(old.size() - prefix.size(), 'p');
        std::filesystem::rename(home_.file(old), home_.file(plain));
        header.replace(header.find(old), old.size(), plain);
    }
    put(name, header);
    EXPECT_EQ(rowsOf(name), 2);
    expectClean();
    EXPECT_EQ(counts_.unknown, 0);
    put(name, header + "being removed\n");
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 3);
    EXPECT_EQ(home_.names(), Names{});
}

TEST_F(SweepTest, FilesOfAnotherHeaderThatAFinishedOneTellsOfStay) {
    const std::string name = closedTable(3);
    std::filesystem::copy_file(home_.file(name), home_.file("ktwt_zzzzzzzzzzzzzzzzzzzz"));
    put(name, "");  // as if it had never been finished; the copy still tells of the files
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 1);
    EXPECT_EQ(rowsOf("ktwt_zzzzzzzzzzzzzzzzzzzz"), 3);
}

TEST_F(SweepTest, NamesThatWeDoNotMakeAreNobodysOrphans) {
    for (const char* name : {"ktwt_", "ktwt_notes.txt", "ktwt_short", "ktwt_aaaaaaaaaaaaaaaa", "ktwt_aaaaaaaaaaaaaaaaaaaa_b",
                             "ktsort_", "ktsort_aaaaaaaaaaaaaaaaaaaa.c", "ktwtx_aaaaaaaaaaaaaaaaaaaa", "other",
                             "xktwt_aaaaaaaaaaaaaaaaaaaa", ".ktwt_aaaaaaaaaaaaaaaaaaaa"}) {
        put(name);
    }
    put("ktwt_" + std::string(65, 'a'));
    expectClean();
    EXPECT_EQ(counts_.unknown, 0);
}

TEST_F(SweepTest, ARemovalThatWasBegunIsBroughtToItsEnd) {
    const std::string name = closedTable(5);
    const std::string whole = readFile(home_.file(name));
    for (const std::string& bytes : {whole + "being removed", whole + "being removed\n ", whole + " being removed\n"}) {
        put(name, bytes);
        EXPECT_EQ(rowsOf(name), 5);
        expectClean();
    }
    put(name, whole + "being removed\n");
    EXPECT_EQ(rowsOf(name), 5) << "readers take no notice";
    {
        const Table table(manager_->open(name.c_str(), false, &error_));
        expectClean();
        EXPECT_EQ(counts_.inUse, 7);
    }
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 7);
    EXPECT_EQ(home_.names(), Names{});
}

TEST_F(SweepTest, RowsThatAreAppendedTakeTheMarkOfARemovalAway) {
    const std::string name = closedTable(5);
    put(name, readFile(home_.file(name)) + "being removed\n");
    EXPECT_TRUE(manager_->append(name.c_str(), name.c_str(), &error_)) << error_.asCstr();
    expectClean();
    EXPECT_EQ(rowsOf(name), 10);
}

TEST_F(SweepTest, ATableThatSharesItsFilesLeavesThemToTheOther) {
    const std::string name = closedTable(5), copy = "ktwt_zzzzzzzzzzzzzzzzzzzz";
    std::filesystem::copy_file(home_.file(name), home_.file(copy));
    put(name, readFile(home_.file(name)) + "being removed\n");
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 1);
    EXPECT_EQ(rowsOf(copy), 5);
}

TEST_F(SweepTest, LeftoversOfTheSortGoUnlessSomebodyHoldsThem) {
    put(someSort, "rows");
    np_file* file = nullptr;
    ASSERT_EQ(np_fio_open(home_.file(someSort).c_str(), np_mode_read, &file), np_ok);
    ASSERT_EQ(np_fio_hold(file, 0), np_ok);
    expectClean();
    EXPECT_EQ(counts_.inUse, 1);
    np_fio_close(file);
    Visitor visitor;
    EXPECT_TRUE(sweep(true, &visitor));
    EXPECT_EQ(visitor.kinds, std::vector<int>{ktwtOrphanSort});
    EXPECT_FALSE(exists(someSort));
}

TEST_F(SweepTest, ADamagedHeaderStaysWithItsFilesAndIsNamed) {
    const std::string name = closedTable(3);
    const std::string whole = readFile(home_.file(name));
    put("ktwte_" + name.substr(5) + "_eeeeeeeeeeeeeeeeeeee");
    const Names names = home_.names();
    std::string later = whole;
    later[3] = 127;  // a version that nobody knows, in either byte order
    later[2] = 127;
    for (const std::string& bytes : {whole.substr(0, whole.size() - 1), whole.substr(0, 40), later, std::string(100, '\x5a')}) {
        put(name, bytes);
        EXPECT_FALSE(sweep(true));
        EXPECT_NE(std::string(error_.asCstr()).find(home_.file(name)), std::string::npos) << error_.asCstr();
        EXPECT_EQ(counts_.orphans, 0);
        EXPECT_EQ(home_.names(), names);
    }
    put(name, whole);
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 1);
    EXPECT_EQ(rowsOf(name), 3);
}

TEST_F(SweepTest, LinksPipesAndDirectoriesAreNeitherOpenedNorDeleted) {
    put("elsewhere", "");
    std::filesystem::create_symlink(home_.file("elsewhere"), home_.file(someHeader));
    put(someData);
    std::filesystem::create_directory(home_.file("ktwt_eeeeeeeeeeeeeeeeeeee"));
    ASSERT_EQ(mkfifo(home_.file("ktwt_ffffffffffffffffffff").c_str(), 0600), 0);
    std::filesystem::create_symlink(home_.file("elsewhere"), home_.file(someSort));
    put("ktwt_gggggggggggggggggggg");  // an orphan with files that are none
    std::filesystem::create_symlink(home_.file("elsewhere"), home_.file("ktwte_gggggggggggggggggggg_aaaaaaaaaaaaaaaaaaaa"));
    std::filesystem::create_directory(home_.file("ktwtei_gggggggggggggggggggg_aaaaaaaaaaaaaaaaaaaa"));
    Names expected = home_.names();
    std::erase(expected, "ktwt_gggggggggggggggggggg");
    EXPECT_TRUE(sweep(true)) << error_.asCstr();
    EXPECT_EQ(home_.names(), expected);
    EXPECT_EQ(counts_.removed, 1);
}

TEST_F(SweepTest, TheVisitorEndsTheSweep) {
    put(someHeader);
    put(someData);
    put(someIndex);
    Visitor visitor(1);
    EXPECT_TRUE(sweep(true, &visitor));
    EXPECT_EQ(counts_.orphans, 1);
    EXPECT_EQ(counts_.removed, 1);
    EXPECT_TRUE(exists(someIndex));
    EXPECT_TRUE(exists(someHeader)) << "without it nobody could tell whose the other file is";
}

// A visitor in whose first visit something happens, as if another process had done it.
class Meanwhile : public Visitor {
public:
    explicit Meanwhile(std::function<void()> happens) : happens_(std::move(happens)) {}

    bool visit(const KtWorkTableOrphan& orphan) override {
        if (kinds.empty()) happens_();
        return Visitor::visit(orphan);
    }

private:
    const std::function<void()> happens_;
};

TEST_F(SweepTest, FilesThatAWriterMadeAfterTheListingAndBeforeItsEndGoWithItsHeader) {
    put(someSort);
    put(someHeader);
    put(someData);
    Meanwhile visitor([this] { put("ktwte_aaaaaaaaaaaaaaaaaaaa_ffffffffffffffffffff"); });
    EXPECT_TRUE(sweep(true, &visitor));
    EXPECT_EQ(counts_.removed, 4);
    EXPECT_EQ(home_.names(), Names{});
}

TEST_F(SweepTest, ATableThatIsFinishedAfterTheListingStays) {
    put(someSort);
    const Table table = newTable(5);
    Meanwhile visitor([&] { EXPECT_TRUE(table->close()); });
    EXPECT_TRUE(sweep(true, &visitor));
    EXPECT_EQ(counts_.removed, 1);
    EXPECT_EQ(rowsOf(table->getName().asCstr()), 5);
}

TEST_F(SweepTest, ATableWhoseRemovalBeginsAfterTheListingWaitsForTheNextSweep) {
    put(someSort);
    const std::string name = closedTable(5);
    put("ktwte_" + name.substr(5) + "_eeeeeeeeeeeeeeeeeeee");
    const std::string header = readFile(home_.file(name));
    Meanwhile visitor([&] { put(name, header + "being removed\n"); });
    EXPECT_TRUE(sweep(true, &visitor));
    EXPECT_EQ(counts_.removed, 1);
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 8);
    EXPECT_EQ(home_.names(), Names{});
}

TEST_F(SweepTest, AnyNumberOfTablesCanBeLeft) {
    const std::string kept = closedTable(3);
    for (int i = 0; i < 100; ++i) {
        const std::string random = std::to_string(10000 + i) + "aaaaaaaaaaaaaaa";
        put("ktwt_" + random);
        put("ktwte_" + random + "_bbbbbbbbbbbbbbbbbbbb");
        put("ktwtei_" + random + "_cccccccccccccccccccc");
    }
    EXPECT_TRUE(sweep(false)) << error_.asCstr();
    EXPECT_EQ(counts_.orphans, 300);
    EXPECT_TRUE(sweep(true)) << error_.asCstr();
    EXPECT_EQ(counts_.removed, 300);
    EXPECT_EQ(rowsOf(kept), 3);
    EXPECT_EQ(home_.names().size(), 5u);
}

TEST_F(SweepTest, FilesAreLookedForInEveryDirectory) {
    const std::string first = home_.directory("first"), second = home_.directory("second");
    list_ = home_.file("missing") + "::" + first + ":" + second + ":" + first;
    writeFile(second + "/" + someHeader, "");
    writeFile(first + "/" + someData, "");
    writeFile(first + "/" + someSort, "");
    EXPECT_TRUE(sweep(false)) << error_.asCstr();
    EXPECT_EQ(counts_.orphans, 3) << "a directory that is named twice is looked at once";
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.removed, 3);
    EXPECT_TRUE(std::filesystem::is_empty(first) && std::filesystem::is_empty(second));
}

TEST_F(SweepTest, TwoHeadersOfOneNameLeaveItOpenWhoseTheFilesAre) {
    const std::string first = home_.directory("first"), second = home_.directory("second");
    list_ = first + ":" + second;
    for (const std::string& directory : {first, second}) writeFile(directory + "/" + someHeader, "");
    writeFile(first + "/" + someData, "");
    EXPECT_TRUE(sweep(true));
    EXPECT_EQ(counts_.orphans, 0);
    EXPECT_EQ(counts_.unknown, 1);
}

TEST_F(SweepTest, ADirectoryThatCannotBeListedIsNamed) {
    put("file");
    list_ = home_.file("file") + ":" + home_.path();
    put(someHeader);
    put(someData);
    EXPECT_FALSE(sweep(true));
    EXPECT_NE(std::string(error_.asCstr()).find("/file\""), std::string::npos) << error_.asCstr();
    EXPECT_EQ(counts_.removed, 1) << "the other directory is swept all the same";
    EXPECT_TRUE(exists(someHeader)) << "it tells whose the files are that may be where nobody can look";
}

TEST_F(SweepTest, AnErrorTextOnEntryMakesTheCallFail) {
    put(someHeader);
    error_ = "an earlier failure";
    EXPECT_FALSE(ktwtSweepOrphans(list_.c_str(), true, nullptr, nullptr, &error_));
    EXPECT_STREQ(error_.asCstr(), "an earlier failure");
    EXPECT_TRUE(exists(someHeader));
}

TEST_F(SweepTest, VisitorAndCountsMayBeLeftOut) {
    put(someHeader);
    EXPECT_TRUE(ktwtSweepOrphans(list_.c_str(), true, nullptr, nullptr, &error_));
    EXPECT_FALSE(exists(someHeader));
}

TEST_F(SweepTest, ATableCanBeAppendedToAfterItsOrphansAreGone) {
    const std::string name = closedTable(3);
    put("ktwte_" + name.substr(5) + "_eeeeeeeeeeeeeeeeeeee");
    EXPECT_TRUE(sweep(true));
    EXPECT_TRUE(manager_->append(name.c_str(), name.c_str(), &error_)) << error_.asCstr();
    EXPECT_EQ(rowsOf(name), 6);
    expectClean();
    EXPECT_EQ(counts_.unknown, 0);
    EXPECT_TRUE(manager_->remove(name.c_str(), &error_));
    EXPECT_EQ(home_.names(), Names{});
}

TEST_F(SweepTest, AppendingToAHeaderWithAnotherNameWorksAsEver) {
    const std::string name = closedTable(3);
    std::filesystem::rename(home_.file(name), home_.file("numbers"));
    EXPECT_TRUE(manager_->append("numbers", "numbers", &error_)) << error_.asCstr();
    EXPECT_EQ(rowsOf("numbers"), 6);
    expectClean();
    EXPECT_EQ(rowsOf("numbers"), 6);
}

TEST_F(SweepTest, ThreadsSweepWhileOthersMakeAndRemoveTables) {
    std::atomic<bool> done = false;
    std::atomic<long> failures = 0;
    std::vector<std::thread> sweepers;
    for (int t = 0; t < 2; ++t) {
        sweepers.emplace_back([&] {
            while (!done) {
                KtbString error;
                if (!ktwtSweepOrphans(list_.c_str(), true, nullptr, nullptr, &error)) ++failures;
            }
        });
    }
    for (int i = 0; i < 150; ++i) {
        const std::string name = closedTable(5);
        EXPECT_EQ(rowsOf(name), 5);
        EXPECT_TRUE(manager_->append(name.c_str(), name.c_str(), &error_)) << error_.asCstr();
        EXPECT_EQ(rowsOf(name), 10);
        EXPECT_TRUE(manager_->remove(name.c_str(), &error_)) << error_.asCstr();
    }
    done = true;
    for (std::thread& sweeper : sweepers) sweeper.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(home_.names(), Names{});
}

}  // namespace
