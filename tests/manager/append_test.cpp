// Rows of one table appended to another, with and without the target's named lock.
#include <atomic>
#include <fstream>
#include <thread>

#include "table/table_fixture.h"

namespace {

class AppendTest : public TableTest {
protected:
    bool append(const std::string& target, const std::string& source, bool noLock = false) {
        error_ = KtbString();
        return manager_->append(ktb(target), ktb(source), noLock, &error_);
    }

    std::string rowsTable(long count, long elementSize = 0) {
        makeRows(count, elementSize);
        return name_;
    }

    std::string tableOf(const std::vector<Column>& columns) {
        makeTable(columns);
        finish();
        return name_;
    }

    Rows rowsOf(const std::string& name) {
        EXPECT_TRUE(openText(name)) << error_.asCstr();
        return table_ ? rowsRead() : Rows();
    }

    bool lockIsFree(const std::string& name) {  // hangs when it is not
        const bool taken = manager_->enqueue(ktb(name), &error_);
        if (taken) manager_->dequeue(ktb(name));
        return taken;
    }

    static Rows joined(Rows first, const Rows& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
};

TEST_F(AppendTest, RowsFollowThoseOfTheTarget) {
    const std::string target = rowsTable(3, 40);
    const std::string source = rowsTable(4, 30);
    ASSERT_TRUE(append(target, source)) << error_.asCstr();
    EXPECT_EQ(error_.length(), 0);
    EXPECT_EQ(rowsOf(target), joined(rowNumbers(0, 2), rowNumbers(0, 3)));
    EXPECT_EQ(rowsOf(source), rowNumbers(0, 3));
    ASSERT_TRUE(manager_->append(ktb(target), ktb(source), &error_));
    EXPECT_EQ(rowsOf(target).size(), 11u);
    EXPECT_TRUE(lockIsFree(target));
}

TEST_F(AppendTest, AnEmptySourceAndAnEmptyTargetAreTables) {
    const std::string empty = rowsTable(0);
    const std::string target = rowsTable(2);
    ASSERT_TRUE(append(target, empty));
    EXPECT_EQ(rowsOf(target), rowNumbers(0, 1));
    ASSERT_TRUE(append(empty, target));
    EXPECT_EQ(rowsOf(empty), rowNumbers(0, 1));
}

TEST_F(AppendTest, ATableAppendedToItselfHasItsRowsTwice) {
    for (const long elementSize : {0L, 60L}) {
        const std::string table = rowsTable(500, elementSize);
        ASSERT_TRUE(append(table, table)) << error_.asCstr();
        EXPECT_EQ(rowsOf(table), joined(rowNumbers(0, 499), rowNumbers(0, 499)));
    }
}

TEST_F(AppendTest, ASourceOfTheOtherByteOrderIsAppendedButATargetIsRefused) {
    const std::string target = rowsTable(2);
    const std::string source = rowsTable(3);
    table_files::reverseByteOrder(directories_, source, std::endian::native);
    ASSERT_TRUE(append(target, source)) << error_.asCstr();
    EXPECT_EQ(rowsOf(target), joined(rowNumbers(0, 1), rowNumbers(0, 2)));
    EXPECT_FALSE(append(source, target));
    EXPECT_EQ(log_.lastNumber(), 1353);
    EXPECT_EQ(rowsOf(source), rowNumbers(0, 2));
}

TEST_F(AppendTest, ColumnsMustAgree) {
    const std::string target = rowsTable(2);
    const std::string fewer = tableOf({{"id", ktbTypeInteger}, {"text"}});
    EXPECT_FALSE(append(target, fewer));
    EXPECT_TRUE(refused(1769, fewer.c_str(), target.c_str(), 2, 3));
    const std::string more = tableOf({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}, {"d"}});
    EXPECT_FALSE(append(target, more));
    EXPECT_TRUE(refused(1769, more.c_str(), target.c_str(), 4, 3));
    const std::string named = tableOf({{"ID", ktbTypeInteger}, {"text"}, {"mark", ktbTypeBoolean}});
    EXPECT_FALSE(append(target, named));
    EXPECT_TRUE(refused(1770, named.c_str(), target.c_str(), 2, "mark", "flag"));
    const std::string typed = tableOf({{"id", ktbTypeInteger}, {"TEXT", ktbTypeDate}, {"mark", ktbTypeBoolean}});
    EXPECT_FALSE(append(target, typed));
    EXPECT_TRUE(refused(1771, typed.c_str(), target.c_str(), 1, "date", "string"));
    EXPECT_TRUE(lockIsFree(target));
    EXPECT_EQ(rowsOf(target), rowNumbers(0, 1));
}

// Intended: callers who choose columns rename and convert on the way.
TEST_F(AppendTest, ChosenColumnsNeedAgreeInNumberOnly) {
    const std::string target = rowsTable(1);
    const std::string source = rowsTable(2);
    EXPECT_FALSE(append(target, "ktwt:" + source + "?col=id&col=flag"));
    EXPECT_TRUE(refused(1769, source.c_str(), target.c_str(), 2, 3));
    ASSERT_TRUE(append(target, "ktwt:" + source + "?rows=1,1&col=x=id&col=y=id&col=z:string=yes")) << error_.asCstr();
    EXPECT_EQ(rowsOf(target), (Rows{rowNumber(0), {1L, "1", true}}));
    EXPECT_FALSE(append(target, "ktwt:" + source + "?rows=0,1"));  // no columns are chosen, which is a choice
    EXPECT_TRUE(refused(1769, source.c_str(), target.c_str(), 0, 3));
}

TEST_F(AppendTest, TablesThatAreMissingAreReported) {
    const std::string table = rowsTable(2);
    EXPECT_FALSE(append("missing", table));
    EXPECT_EQ(log_.lastNumber(), 1353);
    EXPECT_FALSE(append(table, "missing"));
    EXPECT_EQ(log_.lastNumber(), 1353);
    EXPECT_TRUE(lockIsFree(table) && lockIsFree("missing"));
    EXPECT_EQ(rowsOf(table), rowNumbers(0, 1));
}

TEST_F(AppendTest, RowsBeforeOneThatCannotBeReadStay) {
    const std::string target = rowsTable(2);
    const std::string source = rowsTable(9, 60);
    const long whole = header().elements.at(0).rows;
    std::filesystem::resize_file(dataPath(1), 0);
    const KtbString reason = ktb_get_message("", 0, "", 1301, "column");
    EXPECT_FALSE(append(target, source));
    EXPECT_TRUE(refused(1782, "Append", source.c_str(), target.c_str(), reason.asCstr()));
    EXPECT_EQ(rowsOf(target), joined(rowNumbers(0, 1), rowNumbers(0, whole - 1)));
    EXPECT_TRUE(lockIsFree(target));
}

TEST_F(AppendTest, AFullDiskCostsNoneOfTheEarlierRows) {
    for (const long elementSize : {0L, 3000L}) {
        const std::string target = rowsTable(300, elementSize);
        const std::vector<std::string> before = files();
        makeTable({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}});
        for (int i = 0; i < 400; ++i) row({i, "of several elements", true});
        row({400, std::string(9000, 'x'), true});
        finish();
        const std::string source = name_;
        {
            const FileSizeLimit limit(8000);
            EXPECT_FALSE(append(target, source));
        }
        EXPECT_EQ(log_.lastNumber(), 1045) << error_.asCstr();
        EXPECT_EQ(rowsOf(target), rowNumbers(0, 299));
        EXPECT_EQ(files().size(), before.size() + 3);
        ASSERT_TRUE(append(target, source)) << error_.asCstr();
        EXPECT_EQ(rowsOf(target).size(), 701u);
        useDirectories({"next"});
    }
}

// What a writer that was killed leaves behind: bytes of rows that no header counts.
TEST_F(AppendTest, LeftoversOfAnEarlierWriterAreOverwritten) {
    const std::string rows = rowsTable(3);
    for (const long count : {0L, 1L, 2L, 40L}) {
        for (const std::size_t extra : {1u, 8u, 13u, 4000u}) {
            const std::string target = rowsTable(count);
            if (count == 0) {
                ASSERT_TRUE(append(target, rows));
            }
            name_ = target;
            std::ofstream(dataPath(0), std::ios::app) << std::string(extra, '\3');
            std::ofstream(indexPath(0), std::ios::app) << std::string(extra / 2, '\1');
            const Rows before = rowsOf(target);
            ASSERT_TRUE(append(target, rows)) << error_.asCstr();
            const Rows expected = joined(before, rowNumbers(0, 2));
            EXPECT_EQ(rowsOf(target), expected);
            name_ = target;
            ASSERT_TRUE(reopen({.reversed = true}));
            EXPECT_EQ(rowsRead(), Rows(expected.rbegin(), expected.rend()));
            ASSERT_TRUE(append(target, rows));
            EXPECT_EQ(rowsOf(target), joined(expected, rowNumbers(0, 2)));
        }
    }
}

TEST_F(AppendTest, LeftoversOfAnElementWithoutAnIndexAreOverwrittenToo) {
    const std::string rows = rowsTable(2);
    const std::string target = rowsTable(3);
    table_files::Header changed = header();
    std::filesystem::remove(indexPath(0));
    changed.elements[0].index.clear();
    changeHeader(changed);
    std::ofstream(dataPath(0), std::ios::app) << std::string(13, '\3');
    ASSERT_TRUE(append(target, rows)) << error_.asCstr();
    EXPECT_EQ(rowsOf(target), joined(rowNumbers(0, 2), rowNumbers(0, 1)));
}

TEST_F(AppendTest, LeftoversStayAsLongAsNothingIsWritten) {
    const std::string empty = rowsTable(0);
    const std::string target = rowsTable(3);
    std::ofstream(dataPath(0), std::ios::app) << "left over";
    const std::string before = readFile(dataPath(0));
    ASSERT_TRUE(append(target, empty));
    name_ = target;
    EXPECT_EQ(readFile(dataPath(0)), before);
}

TEST_F(AppendTest, ATargetWhoseLastRowIsDamagedIsRefused) {
    const std::string source = rowsTable(1);
    const std::string target = rowsTable(3);
    std::filesystem::resize_file(dataPath(0), std::filesystem::file_size(dataPath(0)) - 1);
    EXPECT_FALSE(append(target, source));
    EXPECT_TRUE(says(error_, "wtelem", 1301, "column"));
    EXPECT_EQ(header().rows, 3);
}

// It would wait for ever for a name that its own thread holds.
TEST_F(AppendTest, WithoutTheLockItDoesNotWaitForWhoeverHoldsTheName) {
    const std::string target = rowsTable(2);
    const std::string source = rowsTable(3);
    ASSERT_TRUE(manager_->enqueue(ktb(target), &error_));
    EXPECT_TRUE(append(target, source, true));
    EXPECT_FALSE(append(target, "missing", true));
    std::atomic<bool> left = false;
    std::thread other([&] {
        KtbString error;
        EXPECT_TRUE(manager_->enqueue(ktb(target), &error));
        EXPECT_TRUE(left.load());  // neither append has released a hold that it did not take
        manager_->dequeue(ktb(target));
    });
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();  // time to come in, for a thread that need not wait
    left.store(true);
    manager_->dequeue(ktb(target));
    other.join();
    EXPECT_EQ(rowsOf(target).size(), 5u);
}

TEST_F(AppendTest, WithTheLockItWaitsForWhoeverHoldsTheName) {
    const std::string target = rowsTable(2);
    const std::string source = rowsTable(3);
    ASSERT_TRUE(manager_->enqueue(ktb(target), &error_));
    std::atomic<bool> left = false;
    std::thread other([&] {
        KtbString error;
        EXPECT_TRUE(manager_->append(ktb(target), ktb(source), &error));
        EXPECT_TRUE(left.load());
    });
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();  // time to come in, for a thread that need not wait
    EXPECT_EQ(rowsOf(target).size(), 2u);
    left.store(true);
    manager_->dequeue(ktb(target));
    other.join();
    EXPECT_EQ(rowsOf(target).size(), 5u);
}

}  // namespace
