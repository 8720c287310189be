// Whole roads through the library, travelled once for every call and every allocation on them that can fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "ktb/config.h"
#include "stage.h"
#include "support/environment.h"

namespace {

// The numbers of the messages that a failure of the call may lead to.
std::vector<int> numbersFor(FileCall call) {
    switch (call) {
        case FileCall::open: return {1352, 1353};
        case FileCall::tmpfile: return {1417};
        case FileCall::pparse: return {1783};
        case FileCall::pcat: return {1784};
        case FileCall::getb: return {1301, 1773, 1787};
        case FileCall::putb: return {1044, 1045};
        case FileCall::seek64: return {336, 453, 1301, 1786};
        case FileCall::stat64: return {1353};
        case FileCall::trunc:
        case FileCall::bufmode:
        case FileCall::close: return {1045};
        case FileCall::unlink: return {1747};
        case FileCall::hold: return {1352, 1353, 1417};
        default: return {29};
    }
}

// A failure has a text, the text is that of the first thing that went wrong, and that is what was made to go wrong.
void expectExplained(const Stage& stage, const Faults& faults) {
    ASSERT_TRUE(faults.injected());
    const std::vector<MessageLog::Entry> messages = stage.log.entries();
    ASSERT_FALSE(messages.empty());
    const std::string error = stage.error.asCstr();
    EXPECT_TRUE(error == messages.front().text || stage.tellsOfPair(faults, error)) << error << "\n" << messages.front().text;
    EXPECT_EQ(messages.front().component, "Work table library");
    const FileFaults* fileFaults = faults.ofFiles();
    if (fileFaults == nullptr || faults.isLasting()) return;  // a call that fails without harm leads to one that does not
    const std::vector<int> expected = numbersFor(fileFaults->injectedCall());
    EXPECT_NE(std::count(expected.begin(), expected.end(), messages.front().number), 0)
        << nameOf(fileFaults->injectedCall()) << " led to " << messages.front().number;
}

class SweepTest : public testing::Test {
protected:
    Stage stage;
};

TEST_F(SweepTest, ATableIsWrittenWholeOrGone) {
    const long runs = sweepFaults([&](Faults& faults) {
        stage.refresh();
        std::string name;
        bool written = false;
        faults.during([&] { written = stage.write(&name); });
        if (written) {
            EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount));
            EXPECT_EQ(stage.strangers().size(), 7u);  // a header and three pairs
        } else {
            expectExplained(stage, faults);
        }
        if (!written) stage.expectGone(faults, name, rowsFrom(0, rowCount));
        stage.clearAway();
        stage.expectUnharmed();
    });
    EXPECT_GT(runs, 200);
}

// A row that found no memory leaves the rows before it; one that the files refused takes the table with it.
void expectGoneOrWhole(Stage& stage, const std::string& name) {
    if (stage.strangers().empty()) return;
    const std::optional<Rows> rows = stage.stored(name);
    ASSERT_TRUE(rows.has_value()) << stage.error.asCstr();
    EXPECT_GE(rows->size(), static_cast<std::size_t>(rowCount));
    EXPECT_EQ(*rows, rowsFrom(0, static_cast<int>(rows->size())));
    EXPECT_EQ(stage.firstMessage().substr(0, 9), "KTWT-0029");
}

// A decimal in a string column becomes a text on its way, and this one is too long for a string object.
TEST_F(SweepTest, AValueWhoseTextNeedsMemoryIsStoredOrTheTableIsGone) {
    constexpr char digits[] = "12345678901234567890123456789012345678";
    KtbDatavar value;
    value.assign(digits);
    value.setType(ktbTypeDecimal);
    forEachMemoryFault([&](Faults& faults) {
        stage.refresh();
        std::string name;
        bool written = false;
        faults.during([&] {
            const Table table(stage.manager->create(1, 0, &stage.error));
            if (table == nullptr) return;
            name = table->getName().asCstr();
            written = table->defineColumnInfo(0, KtbString("text", true), ktbTypeString, 0) && table->writeRow(&value);
            if (!written) stage.error = table->getError();
            written = stage.close(table.get()) && written;
        });
        if (written) {
            const Table table(stage.manager->open(name.c_str(), false, &stage.error));
            EXPECT_EQ(textsOf(stage.read(table.get()).value()), (Rows{{digits}}));
        } else {
            expectExplained(stage, faults);
            EXPECT_TRUE(stage.strangers().empty());
        }
        stage.clearAway();
        stage.expectUnharmed();
    });
}

TEST_F(SweepTest, RowsAreAppendedAllOrTheTableIsGoneOrUntouched) {
    sweepFaults([&](Faults& faults) {
        std::string name;
        ASSERT_TRUE(stage.write(&name));
        stage.refresh();
        bool opened = false;
        bool written = false;
        faults.during([&] {
            KTWTFileImpl table(stage.impl());
            opened = table.open(KtbString(name.c_str(), true), false, nullptr, false);
            if (!opened) stage.error = table.getError();
            written = opened && stage.append(&table, rowsFrom(rowCount, 3)) && stage.close(&table);
        });
        if (!written) expectExplained(stage, faults);
        if (written) {
            EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount + 3));
        }
        if (!opened) {
            EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount));
        }
        if (opened && !written && !faults.isLasting()) expectGoneOrWhole(stage, name);
        stage.clearAway();
        stage.expectUnharmed();
    });
}

// Which files a failed removal leaves depends on what failed; that everything else goes does not.
TEST_F(SweepTest, ATableIsRemovedAsFarAsItCanBe) {
    sweepFaults([&](Faults& faults) {
        std::string name;
        ASSERT_TRUE(stage.write(&name));
        stage.refresh();
        bool removed = false;
        faults.during([&] { removed = stage.manager->remove(KtbString(name.c_str(), true), &stage.error); });
        if (!removed) expectExplained(stage, faults);
        if (removed) {
            EXPECT_EQ(stage.strangers().size(), 0u);
        }
        const std::size_t left = stage.strangers().size();
        const bool untouched = left == 7u;
        if (untouched) {
            EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount));
        } else if (!faults.isLasting()) {
            EXPECT_LE(left, 2u);
        }
        stage.clearAway();
        stage.expectUnharmed();
    });
}

struct Opening {
    std::string name;
    Table (*open)(Stage& stage, const KtbString& table);
    Rows (*expected)();
};

void PrintTo(const Opening& opening, std::ostream* out) { *out << opening.name; }

Rows reversedRows(int last, int count) {
    Rows rows = rowsFrom(last - count + 1, count);
    std::reverse(rows.begin(), rows.end());
    return rows;
}

// The columns of the numbers, -1 for a column of nulls.
Rows chosen(const std::vector<int>& columns) {
    Rows result;
    for (const Row& row : rowsFrom(0, rowCount)) {
        Row choice;
        for (const int column : columns) choice.push_back(column < 0 ? "-" : row[static_cast<std::size_t>(column)]);
        result.push_back(choice);
    }
    return result;
}

const Opening openings[] = {
    {"forwards", [](Stage& stage, const KtbString& table) { return Table(stage.manager->open(table, false, &stage.error)); },
     [] { return rowsFrom(0, rowCount); }},
    {"reversed", [](Stage& stage, const KtbString& table) { return Table(stage.manager->open(table, true, &stage.error)); },
     [] { return reversedRows(rowCount - 1, rowCount); }},
    {"with a range",
     [](Stage& stage, const KtbString& table) {
         long range[] = {3, 2};
         const KtbString* all = nullptr;
         return Table(stage.manager->open(table, -1, all, range, false, &stage.error));
     },
     [] { return rowsFrom(3, 2); }},
    {"reversed with a range",
     [](Stage& stage, const KtbString& table) {
         long range[] = {1, -1};
         const KtbString* all = nullptr;
         return Table(stage.manager->open(table, -1, all, range, true, &stage.error));
     },
     [] { return reversedRows(rowCount - 1, rowCount - 1); }},
    {"by index",
     [](Stage& stage, const KtbString& table) {
         int columns[] = {3, 1};
         return Table(stage.manager->open(table, 2, columns, nullptr, false, &stage.error));
     },
     [] {
         return chosen({3, 1});
     }},
    {"by index, reversed",
     [](Stage& stage, const KtbString& table) {
         int columns[] = {2};
         return Table(stage.manager->open(table, 1, columns, nullptr, true, &stage.error));
     },
     [] {
         Rows rows = chosen({2});
         std::reverse(rows.begin(), rows.end());
         return rows;
     }},
    {"by name",
     [](Stage& stage, const KtbString& table) {
         const KtbString columns[] = {{columnName(1), true},
                                      {"a column that the table does not have", true},
                                      {columnName(0), true},
                                      {columnName(1), true}};
         return Table(stage.manager->open(table, 4, columns, nullptr, false, &stage.error));
     },
     [] {
         return chosen({1, -1, 0, 1});
     }},
    {"no column",
     [](Stage& stage, const KtbString& table) {
         int columns[] = {0};
         return Table(stage.manager->open(table, 0, columns, nullptr, false, &stage.error));
     },
     [] { return Rows(rowCount); }},
};

class ReadSweepTest : public SweepTest, public testing::WithParamInterface<Opening> {};

TEST_P(ReadSweepTest, RowsAreReadRightOrAFailureIsReported) {
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        std::optional<ReadRows> rows;
        faults.during([&] {
            const Table table = GetParam().open(stage, KtbString(stage.kept.c_str(), true));
            rows = stage.read(table.get());
        });
        if (rows) {
            EXPECT_EQ(textsOf(*rows), GetParam().expected());
        }
        if (!rows) expectExplained(stage, faults);
        EXPECT_EQ(stage.strangers().size(), 0u);
        stage.expectUnharmed();
    });
}

INSTANTIATE_TEST_SUITE_P(Openings, ReadSweepTest, testing::ValuesIn(openings), [](const auto& opening) {
    std::string name(opening.param.name);
    std::erase_if(name, [](char c) { return c == ' ' || c == ','; });
    return name;
});

// Renamed, repeated, constant and missing columns, and a range.
std::string richURI(const std::string& table) {
    const auto encoded = [](std::string text) {
        for (std::size_t at = text.find(' '); at != std::string::npos; at = text.find(' ')) text.replace(at, 1, "%20");
        return text;
    };
    return "ktwt:" + table + "?rows=1,4&col=" + encoded("a new name for the column of texts") + "=" + encoded(columnName(1)) +
           "&col=" + encoded(columnName(0)) + "&col=twelve:integer=12&col=" + encoded("a constant with a rather long name") +
           ":string=" + encoded("and a rather long text as its value") + "&col=" + encoded(columnName(1)) +
           "&col=none&col=untyped=" + encoded("a constant text of no declared type");
}

Rows richRows() {
    Rows result;
    for (const Row& row : rowsFrom(1, 4)) {
        result.push_back(
            {row[1], row[0], "12", "and a rather long text as its value", row[1], "-", "a constant text of no declared type"});
    }
    return result;
}

TEST_F(SweepTest, AURIShowsTheRightRowsOrAFailureIsReported) {
    const std::string uri = richURI(stage.kept);
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        std::optional<ReadRows> rows;
        faults.during([&] {
            const Table table(stage.manager->open(KtbString(uri.c_str(), true), false, &stage.error));
            rows = stage.read(table.get());
        });
        if (rows) {
            EXPECT_EQ(textsOf(*rows), richRows());
        }
        if (!rows) expectExplained(stage, faults);
        stage.expectUnharmed();
    });
}

TEST_F(SweepTest, ATableDescribesItselfRightlyOrNotAtAll) {
    const std::string uri = richURI(stage.kept);
    const Table table(stage.manager->open(uri.c_str(), false, &stage.error));
    ASSERT_NE(table, nullptr) << stage.error.asCstr();
    const std::string whole = table->toURIString(true).asCstr();
    const Table again(stage.manager->open(whole.c_str(), false, &stage.error));
    ASSERT_EQ(textsOf(stage.read(again.get()).value()), richRows());
    forEachMemoryFault([&](Faults& faults) {
        KtbString text;
        faults.during([&] { text = table->toURIString(true); });
        if (text.length() != 0) {
            EXPECT_EQ(text.asCstr(), whole);
        }
        if (text.length() == 0) {
            EXPECT_TRUE(faults.injected());
        }
        EXPECT_FALSE(text.isNull());
    });
}

// What became of a manager: nothing, or one that does what it should.
void expectUsable(Stage& stage, KtWorkTableManager* manager, const std::string& directories) {
    EXPECT_EQ(manager->getDirectories().asCstr(), directories);
    EXPECT_STREQ(manager->getAccessKey().asCstr(), "an access key that does not fit into a string object");
    const Table table(manager->open(stage.kept.c_str(), false, &stage.error));
    const std::optional<ReadRows> rows = stage.read(table.get());
    ASSERT_TRUE(rows.has_value()) << stage.error.asCstr();
    EXPECT_EQ(textsOf(*rows), rowsFrom(0, rowCount));
}

TEST_F(SweepTest, AManagerIsMadeWholeOrNotAtAll) {
    const KtbString key("an access key that does not fit into a string object");
    const KtbString directories(stage.directories.c_str());
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        Manager manager;
        faults.during([&] { manager.reset(ktwtCreateManager(key, directories, &stage.error)); });
        if (manager != nullptr) {
            expectUsable(stage, manager.get(), stage.directories);
            EXPECT_EQ(stage.error.length(), 0);
        } else {
            EXPECT_TRUE(faults.injected());
            EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
        }
        stage.expectUnharmed();
    });
}

// Makes managers without a list of directories; each must have the expected list, or not be made.
void expectDirectoriesOrNoManager(Stage& stage, const std::string& expected) {
    forEachMemoryFault([&](Faults& faults) {
        stage.refresh();
        Manager manager;
        faults.during([&] { manager.reset(ktwtCreateManager(KtbString("", true), KtbString("", true), &stage.error)); });
        if (manager != nullptr) {
            EXPECT_EQ(manager->getDirectories().asCstr(), expected);
        } else {
            EXPECT_TRUE(faults.injected());
            EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
        }
    });
}

TEST_F(SweepTest, TheSystemsDirectoryIsTakenWholeOrNoManagerIsMade) {
    const EnvironmentVariable noOption("KTB_BASE_TEMP", nullptr);
    const EnvironmentVariable noFile("KTB_OPTIONS", nullptr);
    const std::string system = stage.home.file("first work directory");
    const EnvironmentVariable directory("TMPDIR", system.c_str());
    expectDirectoriesOrNoManager(stage, system);
}

// A table must never go elsewhere than it was told to because the option found no memory.
TEST_F(SweepTest, TheOptionIsTakenWholeOrNoManagerIsMade) {
    {
        const EnvironmentVariable option("KTB_BASE_TEMP", stage.directories.c_str());
        expectDirectoriesOrNoManager(stage, stage.directories);
    }
    const EnvironmentVariable noOption("KTB_BASE_TEMP", nullptr);
    writeFile(stage.home.file("options"), "BASE/TEMP = " + stage.directories + "\n");
    const EnvironmentVariable file("KTB_OPTIONS", stage.home.file("options").c_str());
    expectDirectoriesOrNoManager(stage, stage.directories);
}

TEST_F(SweepTest, AManagerWithoutDirectoriesToFindHasNone) {
    const EnvironmentVariable noOption("KTB_BASE_TEMP", nullptr);
    const EnvironmentVariable noFile("KTB_OPTIONS", nullptr);
    FileFaults faults({.call = FileCall::tmpdir});
    Manager manager;
    faults.during([&] { manager.reset(ktwtCreateManager("", "", &stage.error)); });
    ASSERT_NE(manager, nullptr);
    EXPECT_TRUE(faults.injected());
    EXPECT_STREQ(manager->getDirectories().asCstr(), "");
    EXPECT_EQ(static_cast<KTWTManagerImpl*>(manager.get())->getDirectoryCount(), 0);
    EXPECT_EQ(stage.error.length(), 0);
    EXPECT_EQ(Table(manager->create(1, 0, &stage.error)), nullptr);
    expectOnly(stage.log, "wtfile", 1417, "", +np_err_no_such_file, np_fio_errdesc(np_err_no_such_file));
}

TEST_F(SweepTest, ANameIsLockedOrAFailureIsReported) {
    const KtbString name("a name that does not fit into a string object");
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        bool locked = false;
        faults.during([&] {
            locked = stage.manager->enqueue(name, &stage.error);
            if (locked) stage.manager->dequeue(name);
        });
        if (!locked) expectExplained(stage, faults);
        // A name that was left locked would never be locked again.
        ASSERT_TRUE(stage.manager->enqueue(name, &stage.error));
        stage.manager->dequeue(name);
        stage.expectUnharmed();
    });
}

// The text of a failure was made while there was memory; the copy for the caller finds none.
TEST_F(SweepTest, AFailureThatIsAskedForWithoutMemoryDoesNotLookLikeNone) {
    const Table table(stage.manager->open(stage.kept.c_str(), false, &stage.error));
    FileFaults reading({.call = FileCall::getb, .lasting = true});
    reading.during([&] { EXPECT_FALSE(stage.read(table.get()).has_value()); });
    EXPECT_FALSE(stage.manager->setSortSize(1));
    MemoryFaults faults(0, true);
    KtbString ofTable;
    KtbString ofManager;
    faults.during([&] {
        ofTable = table->getError();
        ofManager = stage.manager->getError();
    });
    EXPECT_TRUE(faults.injected());
    EXPECT_EQ(ofTable.asCstr(), messageText(29, "(message text)"));
    EXPECT_NE(ofManager.length(), 0);
}

}  // namespace
