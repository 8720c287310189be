// What each failure of the file layer and of the lock service is reported as, and what it leaves behind.
#include <gtest/gtest.h>

#include "stage.h"

namespace {

constexpr int noText = np_err_end + 60;  // a code for which the file layer has no text

// A name of a work table file on disk stands for that of its kind.
constexpr const char* header = "ktwt_";
constexpr const char* data = "ktwte_";
constexpr const char* index = "ktwtei_";

class FileFaultTest : public testing::Test {
protected:
    // Does the work with this fault in force; the fault has to be met.
    template <class Work>
    void with(FileFault fault, Work work) {
        FileFaults faults(std::move(fault));
        faults.during(work);
        EXPECT_TRUE(faults.injected());
    }

    // Writes rows to an open table of one text column until one is refused, at most three.
    int rowsTaken(KtWorkTableFile* table) {
        int taken = 0;
        KtbDatavar value;
        value.assign("text");
        while (taken < 3 && table->writeRow(&value)) ++taken;
        return taken;
    }

    // A new table of one text column.
    Table newTable(long limit = 0) {
        Table table(stage.manager->create(1, limit, &stage.error));
        EXPECT_TRUE(table != nullptr && table->defineColumnInfo(0, "text", ktbTypeString, 0));
        return table;
    }

    void expectGone() {
        EXPECT_EQ(stage.strangers().size(), 0u);
        stage.expectUnharmed();
    }

    std::string firstDirectory() const { return stage.home.file("first work directory"); }
    std::string secondDirectory() const { return stage.home.file("second work directory"); }
    std::string keptPath() const { return firstDirectory() + "/" + stage.kept; }

    // The path of the earlier table's first data file: the data element's record names it in the header.
    std::string firstDataPath() const {
        const std::string bytes = readFile(keptPath());
        return firstDirectory() + "/" + std::string(bytes.c_str() + bytes.find(data));
    }

    // Tries to read the whole earlier table.
    void readKept(bool reversed = false) {
        const Table table(stage.manager->open(stage.kept.c_str(), reversed, &stage.error));
        EXPECT_FALSE(stage.read(table.get()).has_value());
    }

    const char* io() const { return np_fio_errdesc(np_err_io); }

    Stage stage;
};

// Locks

TEST_F(FileFaultTest, AManagerWithoutALockIsNotMade) {
    with({.call = FileCall::lock}, [&] { EXPECT_EQ(Manager(ktwtCreateManager("", "/", &stage.error)), nullptr); });
    expectOnly(stage.log, "wtmgr", 29, "(work table lock)");
    EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
}

TEST_F(FileFaultTest, ANameWithoutALockIsNotTaken) {
    with({.call = FileCall::lock}, [&] { EXPECT_FALSE(stage.manager->enqueue("name", &stage.error)); });
    expectOnly(stage.log, "wtmgr", 29, "(enqueue work table lock)");
    EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
    EXPECT_EQ(stage.manager->getError().length(), 0);
}

TEST_F(FileFaultTest, SortColumnsNeedTheNamedLockOfTheSortManager) {
    with({.call = FileCall::lock}, [&] { EXPECT_EQ(Table(stage.manager->create(1, 1, 0, &stage.error)), nullptr); });
    expectOnly(stage.log, "wtmgr", 29, "(enqueue work table lock)");
    EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
    EXPECT_EQ(stage.manager->getError().length(), 0);
}

TEST_F(FileFaultTest, ASettingNeedsTheNamedLockOfTheSortManager) {
    with({.call = FileCall::lock}, [&] { EXPECT_FALSE(stage.manager->setSortSize(1)); });
    expectOnly(stage.log, "wtmgr", 29, "(enqueue work table lock)");
    EXPECT_EQ(stage.manager->getError().asCstr(), stage.firstMessage());
}

TEST_F(FileFaultTest, TheSortManagerIsNotLentWithoutItsNamedLock) {
    bool held = true;
    with({.call = FileCall::lock}, [&] { EXPECT_EQ(stage.impl()->getDatafileManager(&held, &stage.error), nullptr); });
    EXPECT_FALSE(held);
    expectOnly(stage.log, "wtmgr", 29, "(enqueue work table lock)");
    EXPECT_EQ(stage.manager->getError().asCstr(), stage.firstMessage());
    EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
    stage.impl()->releaseDatafileManager(held);
    // A lock that is free again can be taken as often as one likes.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(stage.impl()->getDatafileManager(&held, &stage.error), nullptr)
            << "no setting and no sort column has made one";
        EXPECT_TRUE(held);
        stage.impl()->releaseDatafileManager(held);
    }
}

// Creating

TEST_F(FileFaultTest, ADirectoryThatRefusesTheHeaderIsPassedOver) {
    Table table;
    with({.call = FileCall::tmpfile}, [&] { table = newTable(); });
    EXPECT_TRUE(std::filesystem::exists(secondDirectory() + "/" + table->getName().asCstr()));
    EXPECT_TRUE(stage.log.entries().empty());
}

TEST_F(FileFaultTest, ATableThatNoDirectoryTakesIsNotCreated) {
    with({.call = FileCall::tmpfile, .lasting = true, .code = np_err_no_space}, [&] { EXPECT_EQ(stage.create(), nullptr); });
    expectOnly(stage.log, "wtfile", 1417, secondDirectory().c_str(), +np_err_no_space, np_fio_errdesc(np_err_no_space));
    expectGone();
}

TEST_F(FileFaultTest, ACodeWithoutATextLeavesItsPlaceEmpty) {
    with({.call = FileCall::tmpfile, .lasting = true, .code = noText}, [&] { EXPECT_EQ(stage.create(), nullptr); });
    expectOnly(stage.log, "wtfile", 1417, secondDirectory().c_str(), noText, "");
}

TEST_F(FileFaultTest, AHeaderWhosePathCannotBeSplitIsTakenAway) {
    with({.call = FileCall::pparse, .code = np_err_name}, [&] { EXPECT_EQ(stage.create(), nullptr); });
    expectOnly(stage.log, "wtfile", 1783, "header", +np_err_name, np_fio_errdesc(np_err_name));
    expectGone();
}

TEST_F(FileFaultTest, ATableWithoutRoomForItsSortKeysIsTakenAway) {
    MemoryFaults faults(3);  // after the columns, the handle and the path
    faults.during([&] {
        KTWTFileImpl table(stage.impl());
        EXPECT_FALSE(table.create(1, 2, 0));
    });
    expectOnly(stage.log, "wtfile", 29, "(sort column definition array)");
    expectGone();
}

// Opening

TEST_F(FileFaultTest, ADirectoryAndAnNameThatCannotBeJoinedEndTheSearch) {
    with({.call = FileCall::pcat, .code = np_err_name},
         [&] { EXPECT_EQ(Table(stage.manager->open(stage.kept.c_str(), false, &stage.error)), nullptr); });
    expectOnly(stage.log, "wtfile", 1784, "header", +np_err_name, np_fio_errdesc(np_err_name));
    stage.expectUnharmed();
}

TEST_F(FileFaultTest, AHeaderThatCannotBeOpenedIsReportedWithItsText) {
    with({.call = FileCall::open, .file = header, .code = np_err_access},
         [&] { EXPECT_EQ(Table(stage.manager->open(stage.kept.c_str(), false, &stage.error)), nullptr); });
    expectOnly(stage.log, "wtfile", 1353, keptPath().c_str(), np_fio_errdesc(np_err_access));
}

TEST_F(FileFaultTest, AHeaderThatCannotBeOpenedIsReportedWithACodeThatHasNoText) {
    with({.call = FileCall::open, .file = header, .code = noText},
         [&] { EXPECT_EQ(Table(stage.manager->open(stage.kept.c_str(), false, &stage.error)), nullptr); });
    expectOnly(stage.log, "wtfile", 1352, keptPath().c_str(), noText);
}

TEST_F(FileFaultTest, OnlyAMissingFileIsLookedForInTheNextDirectory) {
    with({.call = FileCall::open, .file = header, .lasting = true, .code = np_err_no_such_file},
         [&] { EXPECT_EQ(Table(stage.manager->open(stage.kept.c_str(), false, &stage.error)), nullptr); });
    const std::string lastTried = secondDirectory() + "/" + stage.kept;
    expectOnly(stage.log, "wtfile", 1353, lastTried.c_str(), np_fio_errdesc(np_err_no_such_file));
}

struct HeaderRead {
    long get;  // which get of the header is short
    const char* source;
    int number;
    const char* what;
};

class HeaderReadTest : public FileFaultTest, public testing::WithParamInterface<HeaderRead> {};

TEST_P(HeaderReadTest, ShortReadIsReportedAndTheTableLeftAlone) {
    const HeaderRead& expected = GetParam();
    const std::string before = readFile(keptPath());
    with({.call = FileCall::getb, .file = header, .nth = expected.get, .half = true},
         [&] { EXPECT_EQ(Table(stage.manager->open(stage.kept.c_str(), false, &stage.error)), nullptr); });
    if (expected.what == nullptr) {
        expectOnly(stage.log, expected.source, expected.number);
    } else {
        expectOnly(stage.log, expected.source, expected.number, expected.what);
    }
    EXPECT_EQ(readFile(keptPath()), before);
    stage.expectUnharmed();
}

// The fixed part, the label, two gets for each column, three for each data element.
INSTANTIATE_TEST_SUITE_P(
    Reads, HeaderReadTest,
    testing::Values(HeaderRead{1, "wtfile", 1773, nullptr}, HeaderRead{2, "wtfile", 1787, nullptr},
                    HeaderRead{3, "wtfile", 1301, "column definition"}, HeaderRead{4, "wtfile", 1301, "column name"},
                    HeaderRead{11, "wtfile", 1301, "column definition"}, HeaderRead{13, "wtelem", 1301, "element definition"},
                    HeaderRead{14, "wtelem", 1301, "element name"}, HeaderRead{15, "wtelem", 1301, "element index name"},
                    HeaderRead{19, "wtelem", 1301, "element definition"}));

// A header whose fixed part says that it is longer than it is makes the reader seek.
TEST_F(FileFaultTest, ALongerPartThatCannotBePassedOverIsReported) {
    std::string bytes = readFile(keptPath());
    bytes[4] = 40;
    bytes.insert(32, 8, '\0');
    writeFile(firstDirectory() + "/ktwt_longer", bytes);
    with({.call = FileCall::seek64, .file = header},
         [&] { EXPECT_EQ(Table(stage.manager->open("ktwt_longer", false, &stage.error)), nullptr); });
    expectOnly(stage.log, "wtfile", 1786);
    EXPECT_EQ(stage.stored("ktwt_longer"), rowsFrom(0, rowCount));
}

TEST_F(FileFaultTest, ALongerElementRecordThatCannotBePassedOverIsReported) {
    std::string bytes = readFile(keptPath());
    const std::size_t record = bytes.find(data) - 16;
    bytes[record] = 24;
    bytes.insert(record + 16, 8, '\0');
    writeFile(firstDirectory() + "/ktwt_longer", bytes);
    // The size of the file is asked for before, with seeks of its own.
    bool reported = false;
    const auto failSeek = [](long n) {
        return std::make_unique<FileFaults>(FileFault{.call = FileCall::seek64, .file = header, .nth = n + 1});
    };
    forEachFaultOf(failSeek, [&](Faults& faults) {
        stage.refresh();
        Table table;
        faults.during([&] { table.reset(stage.manager->open("ktwt_longer", false, &stage.error)); });
        const MessageLog::Entry message = stage.log.last();
        if (message.number == 1786 && message.source == "wtelem") reported = true;
        EXPECT_EQ(table == nullptr, message.number != 0);
    });
    EXPECT_TRUE(reported);
    EXPECT_EQ(stage.stored("ktwt_longer"), rowsFrom(0, rowCount));
}

// The elements when rows are read

TEST_F(FileFaultTest, AnIndexFileThatCannotBeJoinedOrOpenedIsReported) {
    with({.call = FileCall::pcat, .file = index, .code = np_err_name}, [&] { readKept(); });
    expectOnly(stage.log, "wtelem", 1784, "element index", +np_err_name, np_fio_errdesc(np_err_name));
    stage.refresh();
    // The message names the data file, which is not known yet.
    with({.call = FileCall::open, .file = index}, [&] { readKept(); });
    expectOnly(stage.log, "wtelem", 1353, "", io());
    stage.refresh();
    with({.call = FileCall::open, .file = index, .code = noText}, [&] { readKept(); });
    expectOnly(stage.log, "wtelem", 1353, "", "");
    stage.expectUnharmed();
}

TEST_F(FileFaultTest, ADataFileThatCannotBeJoinedOrOpenedIsReported) {
    with({.call = FileCall::pcat, .file = data, .code = np_err_name}, [&] { readKept(); });
    expectOnly(stage.log, "wtelem", 1784, "element data", +np_err_name, np_fio_errdesc(np_err_name));
    stage.refresh();
    with({.call = FileCall::open, .file = data}, [&] { readKept(); });
    expectOnly(stage.log, "wtelem", 1353, firstDataPath().c_str(), io());
    stage.expectUnharmed();
}

TEST_F(FileFaultTest, EveryFieldThatCannotBeReadIsAColumn) {
    // Row 0: two gets each for the number, decimal, boolean and date, three for the text.
    for (long get = 1; get <= 11; ++get) {
        stage.refresh();
        with({.call = FileCall::getb, .file = data, .nth = get, .half = get % 2 == 0}, [&] { readKept(); });
        expectOnly(stage.log, "wtelem", 1301, "column");
    }
    stage.expectUnharmed();
}

TEST_F(FileFaultTest, TheFirstIndexEntryThatCannotBeReadIsAColumn) {
    with({.call = FileCall::getb, .file = index, .half = true}, [&] { readKept(); });
    expectOnly(stage.log, "wtelem", 1301, "column");
}

// Reads the earlier table's columns of these numbers until it fails.
class ChosenColumnsTest : public FileFaultTest {
protected:
    void readChosen(std::vector<int> columns) {
        const Table table(stage.manager->open(stage.kept.c_str(), static_cast<int>(columns.size()), columns.data(), nullptr,
                                              false, &stage.error));
        ASSERT_NE(table, nullptr);
        EXPECT_FALSE(stage.read(table.get()).has_value());
    }
};

TEST_F(ChosenColumnsTest, AColumnThatCannotBePassedOverIsAColumn) {
    for (long seek = 1; seek <= 3; ++seek) {
        stage.refresh();
        with({.call = FileCall::seek64, .file = data, .nth = seek}, [&] { readChosen({3}); });
        expectOnly(stage.log, "wtelem", 1301, "column");
    }
}

TEST_F(ChosenColumnsTest, AnIndexEntryThatCannotBeReadIsAColumnPosition) {
    with({.call = FileCall::getb, .file = index, .nth = 2}, [&] { readChosen({0}); });
    expectOnly(stage.log, "wtelem", 1301, "column position");
    stage.refresh();
    with({.call = FileCall::getb, .file = index, .nth = 2}, [&] { readChosen({}); });
    expectOnly(stage.log, "wtelem", 1301, "column position");
}

TEST_F(ChosenColumnsTest, ARowThatCannotBeReachedIsAColumn) {
    with({.call = FileCall::seek64, .file = data}, [&] { readChosen({0}); });
    expectOnly(stage.log, "wtelem", 1301, "column");
    stage.refresh();
    with({.call = FileCall::seek64, .file = data}, [&] { readChosen({}); });
    expectOnly(stage.log, "wtelem", 1301, "column");
}

// Placing an element at its last row takes a step to the end and one to the row. The last element has one row, so that the
// first step back is made in the element before it.
class ReversedTest : public FileFaultTest {};

TEST_F(ReversedTest, AnElementThatCannotBePlacedIsReported) {
    for (long seek = 1; seek <= 2; ++seek) {
        stage.refresh();
        with({.call = FileCall::seek64, .file = index, .nth = seek}, [&] { readKept(true); });
        expectOnly(stage.log, "wtelem", 336);
        stage.refresh();
        with({.call = FileCall::seek64, .file = data, .nth = seek}, [&] { readKept(true); });
        expectOnly(stage.log, "wtelem", 336);
    }
    stage.expectUnharmed();
}

TEST_F(ReversedTest, AnIndexEntryThatCannotBeReadIsARowOffsetWhenPlacingAndAColumnPositionLater) {
    with({.call = FileCall::getb, .file = index, .half = true}, [&] { readKept(true); });
    expectOnly(stage.log, "wtelem", 1301, "row offset");
    stage.refresh();
    with({.call = FileCall::getb, .file = index, .nth = 3}, [&] { readKept(true); });
    expectOnly(stage.log, "wtelem", 1301, "column position");
}

TEST_F(ReversedTest, AStepBackThatFailsIsAColumn) {
    with({.call = FileCall::seek64, .file = index, .nth = 5}, [&] { readKept(true); });
    expectOnly(stage.log, "wtelem", 1301, "column");
    stage.refresh();
    with({.call = FileCall::seek64, .file = data, .nth = 3}, [&] { readKept(true); });
    expectOnly(stage.log, "wtelem", 1301, "column");
}

// Opening for appending

class AppendTest : public FileFaultTest {
protected:
    // Tries to open the earlier table for appending and lets go of it again; nothing of it may change.
    void expectRefusal(FileFault fault) {
        stage.refresh();
        std::vector<std::string> before = contents();
        with(std::move(fault), [&] {
            KTWTFileImpl table(stage.impl());
            EXPECT_FALSE(table.open(stage.kept.c_str(), false, nullptr, false));
            EXPECT_TRUE(table.close());
        });
        EXPECT_EQ(contents(), before);
    }

    std::vector<std::string> contents() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(firstDirectory())) {
            result.push_back(entry.path().string() + readFile(entry.path().string()));
        }
        return result;
    }

    // The path of the earlier table's last data file.
    std::string lastDataPath() const {
        const std::string bytes = readFile(keptPath());
        return firstDirectory() + "/" + std::string(bytes.c_str() + bytes.rfind(data));
    }
};

TEST_F(AppendTest, AnElementThatCannotBeOpenedAtItsEndIsReportedAndTheTableLeftAlone) {
    expectRefusal({.call = FileCall::stat64, .file = data});
    expectOnly(stage.log, "wtelem", 1353, lastDataPath().c_str(), io());
    expectRefusal({.call = FileCall::open, .file = data, .code = np_err_access});
    expectOnly(stage.log, "wtelem", 1353, lastDataPath().c_str(), np_fio_errdesc(np_err_access));
    stage.expectUnharmed();
}

TEST_F(FileFaultTest, AnElementThatCannotBePositionedForAppendingIsReported) {
    std::string name;
    {
        const Table table = newTable();
        EXPECT_EQ(rowsTaken(table.get()), 3);
        name = table->getName().asCstr();
    }
    for (const char* file : {index, data}) {
        stage.refresh();
        with({.call = FileCall::seek64, .file = file}, [&] {
            KTWTFileImpl table(stage.impl());
            EXPECT_FALSE(table.open(name.c_str(), false, nullptr, false));
        });
        expectOnly(stage.log, "wtelem", 336);
        const Table table(stage.manager->open(name.c_str(), false, &stage.error));
        EXPECT_EQ(stage.read(table.get()).value().size(), 3u);
    }
}

// New data elements

TEST_F(FileFaultTest, AnElementGoesToTheNextDirectoryWhenOneRefusesAFile) {
    const Table table = newTable();
    with({.call = FileCall::tmpfile, .file = data}, [&] { EXPECT_EQ(rowsTaken(table.get()), 3); });
    EXPECT_TRUE(table->close());
    const auto inSecond = std::filesystem::directory_iterator(secondDirectory());
    EXPECT_EQ(std::distance(begin(inSecond), end(inSecond)), 1);
    const Table again(stage.manager->open(table->getName(), false, &stage.error));
    EXPECT_EQ(stage.read(again.get()).value().size(), 3u);
}

class NewElementTest : public FileFaultTest, public testing::WithParamInterface<const char*> {
protected:
    bool isIndex() const { return std::string(GetParam()) == index; }

    // The first row is refused with this fault; so are the later ones, with the same text, and the end takes the table away.
    void expectRefusal(FileFault fault) {
        const Table table = newTable();
        with(std::move(fault), [&] { EXPECT_EQ(rowsTaken(table.get()), 0); });
        const std::string text = table->getError().asCstr();
        EXPECT_EQ(text, stage.firstMessage());
        EXPECT_EQ(stage.strangers().size(), 1u) << "the header alone: what was made of the element is gone";
        EXPECT_EQ(rowsTaken(table.get()), 0);
        EXPECT_EQ(table->getRows(), 0);
        EXPECT_FALSE(table->close());
        EXPECT_EQ(table->getError().asCstr(), text);
        EXPECT_EQ(stage.log.entries().size(), 1u);
        expectGone();
    }
};

TEST_P(NewElementTest, AFileThatNoDirectoryTakesIsReported) {
    expectRefusal({.call = FileCall::tmpfile, .file = GetParam(), .lasting = true, .code = np_err_no_space});
    expectOnly(stage.log, "wtelem", 1417, secondDirectory().c_str(), +np_err_no_space, np_fio_errdesc(np_err_no_space));
}

TEST_P(NewElementTest, APathThatCannotBeSplitIsReported) {
    expectRefusal({.call = FileCall::pparse, .file = GetParam(), .code = np_err_name});
    expectOnly(stage.log, "wtelem", 1783, isIndex() ? "data element index" : "data element", +np_err_name,
               np_fio_errdesc(np_err_name));
}

INSTANTIATE_TEST_SUITE_P(Files, NewElementTest, testing::Values(index, data),
                         [](const auto& file) { return std::string(file.param) == index ? "Index" : "Data"; });

// Rows

TEST_F(FileFaultTest, ARowWhoseFlagByteIsRefusedCountsUntilTheTableIsClosed) {
    const Table table = newTable();
    with({.call = FileCall::putb, .file = data}, [&] { EXPECT_EQ(rowsTaken(table.get()), 3); });
    EXPECT_EQ(table->getRows(), 3);
    EXPECT_TRUE(stage.log.entries().empty());
    EXPECT_FALSE(table->close());
    expectOnly(stage.log, "wtelem", 1045, io());
    EXPECT_EQ(table->getError().asCstr(), stage.firstMessage());
    expectGone();
}

// What comes after the flag byte of the only column: the length, then the text.
TEST_F(FileFaultTest, ARefusedRowIsNotCountedAndNoOtherIsTaken) {
    for (long put = 2; put <= 3; ++put) {
        stage.refresh();
        const Table table = newTable();
        with({.call = FileCall::putb, .file = data, .nth = put, .half = true}, [&] { EXPECT_EQ(rowsTaken(table.get()), 0); });
        EXPECT_EQ(table->getRows(), 0);
        EXPECT_EQ(rowsTaken(table.get()), 0);
        expectOnly(stage.log, "wtelem", 1044);
        EXPECT_EQ(table->getError().asCstr(), stage.firstMessage());
        EXPECT_FALSE(table->close());
        EXPECT_EQ(table->getError().asCstr(), stage.firstMessage());
        expectGone();
    }
}

TEST_F(FileFaultTest, ARowWhoseIndexEntryIsRefusedIsNotCounted) {
    const Table table = newTable();
    with({.call = FileCall::putb, .file = index, .nth = 2}, [&] { EXPECT_EQ(rowsTaken(table.get()), 1); });
    expectOnly(stage.log, "wtelem", 1044);
    EXPECT_EQ(table->getRows(), 1);
    EXPECT_FALSE(table->close());
    expectGone();
}

TEST_F(FileFaultTest, ARowThatFillsAnElementWhichCannotBeClosedIsNotCounted) {
    for (const char* file : {index, data}) {
        stage.refresh();
        const Table table = newTable(1);
        with({.call = FileCall::bufmode, .file = file}, [&] { EXPECT_EQ(rowsTaken(table.get()), 0); });
        expectOnly(stage.log, "wtelem", 1045, io());
        EXPECT_EQ(table->getRows(), 0);
        EXPECT_EQ(rowsTaken(table.get()), 0);
        EXPECT_FALSE(table->close());
        expectGone();
    }
}

TEST_F(FileFaultTest, ARefusedRowTakesTheTableAwayWithoutACloseToo) {
    with({.call = FileCall::putb, .file = data, .nth = 2}, [&] { EXPECT_EQ(rowsTaken(newTable().get()), 0); });
    expectGone();
}

// Closing

struct CloseFault {
    FileFault fault;
    const char* source;
    int number;
    const char* argument;
};

class CloseTest : public FileFaultTest, public testing::WithParamInterface<CloseFault> {};

TEST_P(CloseTest, FailureIsReportedAndTakesTheTableAway) {
    const CloseFault& expected = GetParam();
    const Table table = newTable();
    EXPECT_EQ(rowsTaken(table.get()), 3);
    with(expected.fault, [&] { EXPECT_FALSE(table->close()); });
    if (expected.argument == nullptr) {
        expectOnly(stage.log, expected.source, expected.number);
    } else {
        expectOnly(stage.log, expected.source, expected.number, expected.argument);
    }
    EXPECT_EQ(table->getError().asCstr(), stage.firstMessage());
    expectGone();
    EXPECT_TRUE(table->close());
}

constexpr const char* ioText = "input/output error";

// The header is put in this order: label, two puts for the column, three for the data element, fixed part.
INSTANTIATE_TEST_SUITE_P(
    Faults, CloseTest,
    testing::Values(CloseFault{{.call = FileCall::bufmode, .file = index}, "wtelem", 1045, ioText},
                    CloseFault{{.call = FileCall::bufmode, .file = data}, "wtelem", 1045, ioText},
                    CloseFault{{.call = FileCall::bufmode, .lasting = true}, "wtelem", 1045, ioText},
                    CloseFault{{.call = FileCall::close, .file = index}, "wtelem", 1045, ioText},
                    CloseFault{{.call = FileCall::close, .file = data}, "wtelem", 1045, ioText},
                    CloseFault{{.call = FileCall::seek64, .file = header}, "wtfile", 453, "(work table header)"},
                    CloseFault{{.call = FileCall::seek64, .file = header, .nth = 2}, "wtfile", 453, "(work table header)"},
                    CloseFault{{.call = FileCall::seek64, .file = header, .nth = 3}, "wtfile", 453, "(work table header)"},
                    CloseFault{{.call = FileCall::seek64, .file = header, .nth = 4}, "wtfile", 453, "(work table header)"},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 1}, "wtfile", 1044, nullptr},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 2}, "wtfile", 1044, nullptr},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 3, .half = true}, "wtfile", 1044, nullptr},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 4, .half = true}, "wtelem", 1044, nullptr},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 5, .half = true}, "wtelem", 1044, nullptr},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 6, .half = true}, "wtelem", 1044, nullptr},
                    CloseFault{{.call = FileCall::putb, .file = header, .nth = 7, .half = true}, "wtfile", 1044, nullptr},
                    CloseFault{{.call = FileCall::bufmode, .file = header}, "wtfile", 1045, ioText},
                    CloseFault{{.call = FileCall::trunc, .file = header}, "wtfile", 1045, ioText},
                    CloseFault{{.call = FileCall::close, .file = header}, "wtfile", 1045, ioText},
                    CloseFault{{.call = FileCall::bufmode, .file = header, .code = noText}, "wtfile", 1045, ""}));

TEST_F(FileFaultTest, AClosedTableThatWasOnlyReadHasNothingToLose) {
    with({.call = FileCall::close, .lasting = true}, [&] {
        const Table table(stage.manager->open(stage.kept.c_str(), false, &stage.error));
        EXPECT_TRUE(stage.read(table.get()).has_value());
        EXPECT_TRUE(table->close());
    });
    EXPECT_TRUE(stage.log.entries().empty());
    stage.expectUnharmed();
}

TEST_F(FileFaultTest, TheFirstTextStaysWhenTheRemovalAfterAFailedCloseFailsToo) {
    FileFaults faults({.call = FileCall::unlink, .lasting = true, .code = np_err_access});
    KtbString text;
    faults.during([&] {
        const Table table = newTable();
        EXPECT_EQ(rowsTaken(table.get()), 3);
        std::filesystem::remove(firstDirectory() + "/" + table->getName().asCstr());
        table->defineColumnInfo(7, "none", ktbTypeString, 0);  // an error text, so that the object removes what it made
        text = table->getError();
    });
    EXPECT_TRUE(faults.injected());
    EXPECT_EQ(text.asCstr(), messageText(1420));
    stage.clearAway();
}

// Two faults, one after the other: the flush fails, and then nothing can be deleted.
TEST_F(FileFaultTest, AFailedCloseThatCannotRemoveKeepsItsText) {
    const Table table = newTable();
    EXPECT_EQ(rowsTaken(table.get()), 3);
    with({.call = FileCall::any, .nth = 1, .lasting = true}, [&] { EXPECT_FALSE(table->close()); });
    EXPECT_EQ(stage.log.entries().front().number, 1045);
    EXPECT_EQ(table->getError().asCstr(), stage.firstMessage());
    EXPECT_EQ(stage.log.entries().back().number, 1747);
    EXPECT_EQ(stage.strangers().size(), 3u);
}

// Removing

class RemoveTest : public FileFaultTest {
protected:
    RemoveTest() {
        EXPECT_TRUE(stage.write(&name));
        stage.refresh();
    }

    void remove(FileFault fault) {
        with(std::move(fault), [&] { EXPECT_FALSE(stage.remove(name)); });
        EXPECT_EQ(stage.error.asCstr(), stage.firstMessage());
    }

    // How many of the table's seven files are left.
    std::size_t left() { return stage.strangers().size(); }

    std::string name;
};

TEST_F(RemoveTest, AnIndexFileThatCannotBeDeletedIsAllThatStays) {
    remove({.call = FileCall::unlink, .file = index, .nth = 2});
    expectOnly(stage.log, "wtelem", 1747, io());
    ASSERT_EQ(left(), 1u);
    EXPECT_EQ(stage.strangers()[0].filename().string().rfind(index, 0), 0u);
}

TEST_F(RemoveTest, ADataFileThatCannotBeDeletedIsAllThatStays) {
    remove({.call = FileCall::unlink, .file = data, .nth = 3});
    expectOnly(stage.log, "wtelem", 1747, io());
    ASSERT_EQ(left(), 1u);
    EXPECT_EQ(stage.strangers()[0].filename().string().rfind(data, 0), 0u);
}

TEST_F(RemoveTest, AHeaderThatCannotBeDeletedIsAllThatStays) {
    remove({.call = FileCall::unlink, .file = header});
    expectOnly(stage.log, "wtfile", 1747, io());
    ASSERT_EQ(left(), 1u);
    EXPECT_EQ(stage.strangers()[0].filename().string(), name);
}

TEST_F(RemoveTest, TheFirstOfManyFailuresIsTheOneReported) {
    remove({.call = FileCall::unlink, .lasting = true});
    const std::vector<MessageLog::Entry> entries = stage.log.entries();
    EXPECT_EQ(entries.size(), 3u) << "one for each element, none for the header";
    for (const MessageLog::Entry& entry : entries) EXPECT_EQ(entry.source, "wtelem");
    EXPECT_EQ(left(), 7u);
    EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount));
}

TEST_F(RemoveTest, AnElementThatCannotBeFoundStaysAndTheOthersGo) {
    remove({.call = FileCall::open, .file = index, .nth = 2});
    expectOnly(stage.log, "wtelem", 1353, "", io());
    EXPECT_EQ(left(), 2u);
}

TEST_F(RemoveTest, ATableThatCannotBeOpenedStays) {
    remove({.call = FileCall::open, .file = header});
    EXPECT_EQ(left(), 7u);
    EXPECT_EQ(stage.stored(name), rowsFrom(0, rowCount));
}

TEST_F(RemoveTest, ACloseThatFailsBeforeADeletionIsNoFailure) {
    with({.call = FileCall::close, .lasting = true}, [&] { EXPECT_TRUE(stage.remove(name)); });
    EXPECT_EQ(left(), 0u);
    EXPECT_TRUE(stage.log.entries().empty());
}

}  // namespace
