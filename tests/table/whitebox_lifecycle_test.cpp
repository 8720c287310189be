// Table objects used as the rest of the library uses them: opened for appending, opened again, described, removed.
#include <climits>

#include "table/whitebox_fixture.h"

namespace {

class FileObjectTest : public WhiteboxTest {
protected:
    static const char* text(int code) { return np_fio_errdesc(code); }
};

// A fresh object

TEST_F(FileObjectTest, FreshObjectHasNothing) {
    const File file = fresh();
    EXPECT_EQ(errorOf(*file), "");
    EXPECT_EQ(bytesOf(file->getName()), "");
    EXPECT_EQ(file->getRows(), 0);
    EXPECT_EQ(file->getColumns(), 0);
    EXPECT_EQ(file->getActualColumns(), 0);
    EXPECT_EQ(file->getActualColumnDefs(), nullptr);
    EXPECT_EQ(file->getElementSize(), 0);
    EXPECT_EQ(file->getVersion(), 0);
    EXPECT_EQ(file->getStringBuffer(), nullptr);
    EXPECT_FALSE(file->getReversed());
    EXPECT_FALSE(file->isByteSwap());
    EXPECT_FALSE(file->isReadOnly());
    EXPECT_EQ(file->getManager(), manager_.get());
}

TEST_F(FileObjectTest, FreshObjectCanBeClosedAndRemoved) {
    const File file = fresh();
    EXPECT_TRUE(file->close());
    EXPECT_TRUE(file->remove());
    EXPECT_TRUE(file->close());
    EXPECT_EQ(errorOf(*file), "");
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, FreshObjectTakesAndGivesNoRows) {
    const File file = fresh();
    bool end = true;
    KtbDatavar value;
    EXPECT_FALSE(file->writeRow(&value));
    EXPECT_TRUE(says(file->getError(), "wtfile", 1768));
    EXPECT_FALSE(file->createDataElement());
    EXPECT_TRUE(says(file->getError(), "wtfile", 1768));
    EXPECT_FALSE(file->readRow(&value, &end));
    EXPECT_FALSE(end);
    EXPECT_TRUE(says(file->getError(), "wtfile", 1793));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, CreatedTableTellsWhatItIs) {
    const File file = fresh();
    ASSERT_TRUE(file->create(3, 0, 500));
    EXPECT_EQ(file->getVersion(), 100);
    EXPECT_EQ(file->getActualColumns(), 3);
    EXPECT_EQ(file->getColumns(), 3);
    EXPECT_EQ(file->getElementSize(), 500);
    EXPECT_EQ(file->getElementCount(), 0);
    EXPECT_FALSE(file->isReadOnly());
    EXPECT_TRUE(file->getActualColumnDefs()[2].name.isNull());
}

TEST_F(FileObjectTest, OpenedTableTellsWhatItIs) {
    makeRows(5, 40);
    const File file = fresh();
    ASSERT_TRUE(openWhole(*file, name_, true));
    EXPECT_EQ(file->getVersion(), 100);
    EXPECT_EQ(file->getElementSize(), 40);
    EXPECT_EQ(file->getElementCount(), static_cast<int>(elements()));
    EXPECT_TRUE(file->isReadOnly());
    EXPECT_TRUE(file->getReversed());
    EXPECT_FALSE(file->isByteSwap());
    ASSERT_TRUE(file->close());
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_TRUE(file->isByteSwap());
    EXPECT_FALSE(file->getReversed());
}

TEST_F(FileObjectTest, ActualColumnsAreThoseStoredWhateverIsSeen) {
    makeRows(1);
    const File file = fresh();
    int columns[] = {2};
    ASSERT_TRUE(file->open(ktb(name_), 1, columns, nullptr, false));
    EXPECT_EQ(file->getColumns(), 1);
    EXPECT_EQ(file->getActualColumns(), 3);
}

// The string read buffer

TEST_F(FileObjectTest, StringBufferIsAsLargeAsTheLongestTextThatIsRead) {
    makeTable({{"a"}, {"b"}, {"c", ktbTypeInteger}});
    row({"four", "longer text", 1});
    finish();
    const File file = fresh();
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(file->getStringBufferSize(), 12);
    EXPECT_NE(file->getStringBuffer(), nullptr);
    int first[] = {2, 0};
    ASSERT_TRUE(file->open(ktb(name_), 2, first, nullptr, false));
    EXPECT_EQ(file->getStringBufferSize(), 5);
    ASSERT_TRUE(file->open(ktb("ktwt:" + name_ + "?col=x=b&col=c"), false));
    EXPECT_EQ(file->getStringBufferSize(), 12);
}

TEST_F(FileObjectTest, TableWithoutTextsNeedsNoStringBuffer) {
    makeTable({{"a", ktbTypeInteger}, {"b"}});
    row({1, nullptr});
    finish();
    const File file = fresh();
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(file->getStringBuffer(), nullptr);
    makeRows(1);
    int numbers[] = {0, 2};
    const File other = fresh();
    ASSERT_TRUE(other->open(ktb(name_), 2, numbers, nullptr, false));
    EXPECT_EQ(other->getStringBuffer(), nullptr);
}

TEST_F(FileObjectTest, StringBufferIsNoLargerThanTheDataFiles) {
    makeRows(3);
    table_files::Header changed = header();
    changed.columns[1].longest = INT_MAX;
    changeHeader(changed);
    const File file = fresh();
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_LE(file->getStringBufferSize(), 64 * 1024);
}

// Removing

TEST_F(FileObjectTest, HeaderThatIsGoneAlreadyIsReported) {
    makeRows(3, 1);
    const File file = fresh();
    ASSERT_TRUE(openWhole(*file, name_));
    std::filesystem::remove(path(name_));
    EXPECT_FALSE(file->remove());
    EXPECT_TRUE(says(file->getError(), "wtfile", 1747, text(np_err_no_such_file)));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, DataFileThatIsGoneAlreadyIsReportedAndTheRestRemoved) {
    const File file = makeFile(1);
    writeNumbers(*file, 1, 3);
    std::vector<std::string> data;
    for (const std::string& name : files()) {
        if (name.compare(0, 6, "ktwte_") == 0) data.push_back(name);
    }
    ASSERT_EQ(data.size(), 3u);
    std::filesystem::remove(path(data[0]));
    EXPECT_FALSE(file->remove());
    EXPECT_TRUE(says(file->getError(), "wtelem", 1747, text(np_err_no_such_file)));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, WritableTableCanBeRemovedInTheMiddle) {
    const File file = makeFile(20);
    writeNumbers(*file, 1, 7);
    EXPECT_TRUE(file->remove());
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_FALSE(file->remove());
    EXPECT_TRUE(says(file->getError(), "wtfile", 1747, text(np_err_no_such_file)));
}

TEST_F(FileObjectTest, ClosedTableCanBeRemoved) {
    File file = makeFile(20);
    writeNumbers(*file, 1, 7);
    ASSERT_TRUE(file->close());
    EXPECT_TRUE(file->remove());
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_TRUE(file->close());
    file.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
}

// Opening again

TEST_F(FileObjectTest, OpeningATableThatIsBeingWrittenFinishesItFirst) {
    const File file = makeFile();
    writeNumbers(*file, 1, 3);
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(readAll(*file).rows, numbers(1, 3));
    EXPECT_TRUE(file->isReadOnly());
}

TEST_F(FileObjectTest, EmptyNameOpensTheTableThatTheObjectKnows) {
    const File file = makeFile();
    writeNumbers(*file, 1, 3);
    ASSERT_TRUE(file->close());
    ASSERT_TRUE(file->open(KtbString(), false));
    EXPECT_EQ(bytesOf(file->getName()), name_);
    EXPECT_EQ(readAll(*file).rows, numbers(1, 3));
    ASSERT_TRUE(file->open(KtbString(), true));
    EXPECT_EQ(readAll(*file).rows, numbers(3, 1));
    EXPECT_EQ(bytesOf(file->toURIString(false)), "ktwt:" + name_ + "?col=a");
}

TEST_F(FileObjectTest, ObjectThatKnowsItsHeaderOpensThatOneUnderAnyName) {
    makeRows(2);
    const std::string other = name_;
    const File file = makeFile();
    writeNumbers(*file, 1, 3);
    ASSERT_TRUE(openWhole(*file, other));
    EXPECT_EQ(readAll(*file).rows, numbers(1, 3));
}

TEST_F(FileObjectTest, ReaderIsPlacedAnewByEveryOpen) {
    makeRows(6, 40);
    const File file = fresh();
    long range[] = {2, 3};
    ASSERT_TRUE(file->open(ktb(name_), -1, static_cast<int*>(nullptr), range, true));
    KtbDatavar values[3];
    bool end = false;
    ASSERT_TRUE(file->readRow(values, &end));
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(readAll(*file).rows, rowNumbers(0, 5));
    ASSERT_TRUE(openWhole(*file, name_, true));
    EXPECT_EQ(readAll(*file).rows, rowNumbers(5, 0));
}

TEST_F(FileObjectTest, ObjectMayBeOpenedAgainWithMoreColumnsThanBefore) {
    makeRows(2);
    const File file = fresh();
    int one[] = {1};
    ASSERT_TRUE(file->open(ktb(name_), 1, one, nullptr, false));
    EXPECT_EQ(readAll(*file).rows, (Rows{{"row 0"}, {"row 1"}}));
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(readAll(*file).rows, rowNumbers(0, 1));
    KtbString names[] = {"id", "id", "x", "flag", "text", "text"};
    ASSERT_TRUE(file->open(ktb(name_), 6, names, nullptr, false));
    EXPECT_EQ(readAll(*file).rows[1], (Row{1, 1, nullOf(ktbTypeString), true, "row 1", "row 1"}));
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(file->getColumns(), 3);
    EXPECT_EQ(readAll(*file).rows, rowNumbers(0, 1)) << "a selection ends with its opening";
}

TEST_F(FileObjectTest, TableOpenedThroughItsHeaderAloneIsDescribedButNotRead) {
    makeRows(3);
    const std::string before = readFile(path(name_));
    const File file = fresh();
    ASSERT_TRUE(file->open(ktb(name_), true, nullptr, false));
    EXPECT_FALSE(file->isReadOnly());
    EXPECT_EQ(file->getRows(), 3);
    EXPECT_EQ(columnsOf(*file).size(), 3u);
    EXPECT_FALSE(writeTo(*file, rowNumber(0)));
    EXPECT_TRUE(says(file->getError(), "wtfile", 1768));
    EXPECT_FALSE(file->createDataElement());
    EXPECT_TRUE(says(file->getError(), "wtfile", 1768));
    EXPECT_TRUE(readAll(*file).failed);
    EXPECT_TRUE(says(file->getError(), "wtfile", 1793));
    EXPECT_TRUE(file->close());
    EXPECT_EQ(readFile(path(name_)), before);
}

TEST_F(FileObjectTest, ReadOnlyTableMakesNoDataElement) {
    makeRows(3);
    const File file = fresh();
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_FALSE(file->createDataElement());
    EXPECT_TRUE(says(file->getError(), "wtfile", 1768));
    EXPECT_EQ(files().size(), 3u);
    EXPECT_EQ(readAll(*file).rows, rowNumbers(0, 2));
}

TEST_F(FileObjectTest, FailedOpenLeavesTheFilesAloneWhateverFollows) {
    makeRows(3, 40);
    const std::string before = readFile(path(name_));
    const std::size_t handles = openHandles();
    for (const bool readOnly : {true, false}) {
        File file = fresh();
        long range[] = {-1, 0};
        EXPECT_FALSE(file->open(ktb(name_), readOnly, range, false));
        EXPECT_TRUE(says(file->getError(), "wtfile", 1788, -1L));
        EXPECT_EQ(openHandles(), handles);
        EXPECT_TRUE(file->close());
        file.reset();
        EXPECT_EQ(readFile(path(name_)), before);
    }
}

TEST_F(FileObjectTest, FailedOpenOfADamagedHeaderLeavesItAlone) {
    makeRows(3);
    const std::string whole = readFile(path(name_));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        table_files::replaceFile(path(name_), whole.substr(0, size));
        for (const bool readOnly : {true, false}) {
            const File file = fresh();
            EXPECT_FALSE(file->open(ktb(name_), readOnly, nullptr, false)) << size;
            EXPECT_NE(errorOf(*file), "");
            KtbDatavar values[3];
            bool end = false;
            EXPECT_FALSE(file->writeRow(values));
            EXPECT_FALSE(file->readRow(values, &end));
            EXPECT_TRUE(file->close());
        }
        ASSERT_EQ(readFile(path(name_)), whole.substr(0, size)) << size;
        ASSERT_EQ(files().size(), 3u);
    }
}

TEST_F(FileObjectTest, FailedSelectionLeavesAnObjectThatCanBeUsedSafely) {
    makeRows(3);
    const File file = fresh();
    int columns[] = {1, 7};
    EXPECT_FALSE(file->open(ktb(name_), 2, columns, nullptr, false));
    EXPECT_EQ(file->getColumns(), 2);
    EXPECT_FALSE(file->getColumnInfo(1, nullptr, nullptr, nullptr, nullptr));
    EXPECT_TRUE(says(file->getError(), "wtfile", 1420));
    EXPECT_EQ(bytesOf(file->toURIString(true)), "");
    KtbDatavar values[2];
    bool end = false;
    EXPECT_FALSE(file->readRow(values, &end));
    EXPECT_TRUE(file->close());
}

TEST_F(FileObjectTest, MissingTableCanBeLookedForAgainUnderAnotherName) {
    makeRows(2);
    const File file = fresh();
    EXPECT_FALSE(openWhole(*file, "ktwt_none"));
    ASSERT_TRUE(openWhole(*file, name_));
    EXPECT_EQ(readAll(*file).rows, rowNumbers(0, 1));
}

TEST_F(FileObjectTest, CreatedTableThatCannotBeOpenedAgainIsNotRemoved) {
    File file = makeFile();
    writeNumbers(*file, 1, 3);
    ASSERT_TRUE(file->close());
    long range[] = {0, -2};
    EXPECT_FALSE(file->open(KtbString(), -1, static_cast<int*>(nullptr), range, false));
    EXPECT_TRUE(says(file->getError(), "wtfile", 1789, -2L));
    file.reset();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), numbers(1, 3));
}

// Appending

TEST_F(FileObjectTest, RowsAreAppendedToAClosedTable) {
    makeRows(3);
    File file = append();
    ASSERT_TRUE(file);
    EXPECT_EQ(file->getRows(), 3);
    for (long i = 3; i < 6; ++i) ASSERT_TRUE(writeTo(*file, rowNumber(i)));
    EXPECT_EQ(file->getRows(), 6);
    EXPECT_TRUE(file->close());
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 5));
    ASSERT_TRUE(reopen({.range = {2, 3}}));
    EXPECT_EQ(rowsRead(), rowNumbers(2, 4));
    EXPECT_EQ(elements(), 1u);
}

TEST_F(FileObjectTest, OpeningForAppendingAndClosingChangesNothing) {
    makeRows(3, 40);
    const std::string before = readFile(path(name_));
    const std::string data = readFile(dataPath(0));
    File file = append();
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->close());
    EXPECT_EQ(readFile(path(name_)), before);
    EXPECT_EQ(readFile(dataPath(0)), data);
}

TEST_F(FileObjectTest, LastElementThatHasPassedTheLimitIsNotAppendedTo) {
    File file = makeFile(18);
    writeNumbers(*file, 1, 3);  // 27 bytes: full
    ASSERT_TRUE(file->close());
    EXPECT_EQ(elementRows(), (std::vector<long>{3}));
    file = append();
    ASSERT_TRUE(file);
    writeNumbers(*file, 4, 5);
    ASSERT_TRUE(file->close());
    EXPECT_EQ(elementRows(), (std::vector<long>{3, 2}));
    file = append();
    ASSERT_TRUE(file);
    writeNumbers(*file, 6, 7);
    ASSERT_TRUE(file->close());
    EXPECT_EQ(elementRows(), (std::vector<long>{3, 3, 1}));
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), numbers(7, 1));
}

TEST_F(FileObjectTest, AppendingToATableWithoutRowsStartsItsFirstElement) {
    File file = makeFile();
    ASSERT_TRUE(file->close());
    file = append();
    ASSERT_TRUE(file);
    writeNumbers(*file, 1, 2);
    ASSERT_TRUE(file->close());
    EXPECT_EQ(elementRows(), (std::vector<long>{2}));
}

TEST_F(FileObjectTest, LabelAndLongestTextSurviveAnAppend) {
    makeRows(11);
    table_files::Header changed = header();
    changed.label = std::string("a label") + '\0';
    changeHeader(changed);
    File file = append();
    ASSERT_TRUE(file);
    ASSERT_TRUE(writeTo(*file, {1, "x", true}));
    ASSERT_TRUE(file->close());
    EXPECT_EQ(header().label, changed.label);
    EXPECT_EQ(header().columns[1].longest, 7);
    EXPECT_EQ(header().rows, 12);
}

TEST_F(FileObjectTest, BytesBehindTheHeaderAreCutOffWhenItIsWrittenAgain) {
    makeRows(3);
    const std::string before = readFile(path(name_));
    table_files::replaceFile(path(name_), before + "left over from a longer header");
    File file = append();
    ASSERT_TRUE(file);
    ASSERT_TRUE(file->close());
    EXPECT_EQ(readFile(path(name_)), before);
}

TEST_F(FileObjectTest, RangeAndDirectionDoNotMoveWhatIsAppended) {
    makeRows(3);
    long range[] = {1, 1};
    File file = append(range, true);
    ASSERT_TRUE(file);
    ASSERT_TRUE(writeTo(*file, rowNumber(3)));
    ASSERT_TRUE(file->close());
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 3));
}

TEST_F(FileObjectTest, ElementWithoutAnIndexIsAppendedToWithoutOne) {
    makeRows(2);
    table_files::Header changed = header();
    std::filesystem::remove(indexPath(0));
    changed.elements[0].index.clear();
    changeHeader(changed);
    File file = append();
    ASSERT_TRUE(file);
    ASSERT_TRUE(writeTo(*file, rowNumber(2)));
    ASSERT_TRUE(file->close());
    EXPECT_EQ(files().size(), 2u);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 2));
}

TEST_F(FileObjectTest, TableOfTheOtherByteOrderCannotBeAppendedTo) {
    makeRows(3, 40);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    const std::string before = readFile(path(name_));
    EXPECT_EQ(append(), nullptr);
    EXPECT_EQ(log_.last().number, 1353);
    EXPECT_NE(bytesOf(error_).find(path(name_)), std::string::npos);
    EXPECT_NE(bytesOf(error_).find("byte order"), std::string::npos);
    EXPECT_EQ(readFile(path(name_)), before);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 2));
}

TEST_F(FileObjectTest, ColumnOfNoStorageCodeTakesNoRow) {
    makeRows(3);
    for (const std::uint16_t code : std::vector<std::uint16_t>{0, 6, 127, 255}) {
        table_files::Header changed = header();
        changed.columns[2].code = code;
        changeHeader(changed);
        File file = append();
        ASSERT_TRUE(file);
        EXPECT_FALSE(writeTo(*file, rowNumber(3)));
        EXPECT_TRUE(says(file->getError(), "wtfile", 1420)) << code;
        EXPECT_TRUE(file->close());
        EXPECT_EQ(header().rows, 3);
    }
}

TEST_F(FileObjectTest, MissingElementFailsTheOpenForAppending) {
    makeRows(3);
    const std::string missing = dataPath(0);
    std::filesystem::remove(missing);
    const std::string before = readFile(path(name_));
    const std::size_t handles = openHandles();
    EXPECT_EQ(append(), nullptr);
    EXPECT_TRUE(says(error_, "wtelem", 1353, missing.c_str(), text(np_err_no_such_file)));
    EXPECT_EQ(openHandles(), handles);
    EXPECT_EQ(readFile(path(name_)), before);
}

TEST_F(FileObjectTest, RefusedAppendRemovesTheTableAtItsClose) {
    makeTable({{"a"}});
    row({"x"});
    finish();
    File file = append();
    ASSERT_TRUE(file);
    {
        const FileSizeLimit full(0);
        ASSERT_TRUE(writeTo(*file, {"y"}));
        EXPECT_FALSE(file->close());
    }
    EXPECT_TRUE(says(file->getError(), "wtelem", 1045, text(np_err_too_large)));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, NothingIsAppendedAfterTheClose) {
    makeRows(2);
    File file = append();
    ASSERT_TRUE(file);
    ASSERT_TRUE(file->close());
    EXPECT_FALSE(writeTo(*file, rowNumber(2)));
    EXPECT_TRUE(says(file->getError(), "wtfile", 1768));
    file.reset();
    EXPECT_EQ(files().size(), 3u);
}

// Elements made by hand

TEST_F(FileObjectTest, ElementsWithoutRowsArePassedOver) {
    const std::vector<std::vector<long>> shapes = {{3, 0, 2}, {0}, {0, 0}, {0, 1}, {1, 0}, {0, 3, 0, 0, 2, 0}, {1, 1, 0, 1}};
    for (const std::vector<long>& shape : shapes) {
        SCOPED_TRACE(::testing::PrintToString(shape));
        File file = makeFile();
        long next = 1;
        for (const long rows : shape) {
            ASSERT_TRUE(file->createDataElement());
            if (rows != 0) writeNumbers(*file, next, next + rows - 1);
            next += rows;
        }
        ASSERT_TRUE(file->close());
        EXPECT_EQ(elementRows(), shape);
        const long rows = next - 1;
        ASSERT_TRUE(reopen());
        EXPECT_EQ(rowsRead(), rows == 0 ? Rows() : numbers(1, rows));
        ASSERT_TRUE(reopen({.reversed = true}));
        EXPECT_EQ(rowsRead(), rows == 0 ? Rows() : numbers(rows, 1));
        ASSERT_TRUE(reopenByIndex({}, {.reversed = true}));
        EXPECT_EQ(rowsRead(), Rows(static_cast<std::size_t>(rows)));
        for (long first = 0; first < rows; ++first) {
            ASSERT_TRUE(reopen({.range = {first, -1}}));
            EXPECT_EQ(rowsRead(), numbers(first + 1, rows));
            ASSERT_TRUE(reopen({.range = {first, -1}, .reversed = true}));
            EXPECT_EQ(rowsRead(), numbers(rows, first + 1));
        }
    }
}

TEST_F(FileObjectTest, RowsGoToTheElementThatWasMadeLast) {
    File file = makeFile();
    writeNumbers(*file, 1, 2);
    ASSERT_TRUE(file->createDataElement());
    EXPECT_EQ(file->getElementCount(), 2);
    writeNumbers(*file, 3, 3);
    ASSERT_TRUE(file->close());
    EXPECT_EQ(elementRows(), (std::vector<long>{2, 1}));
}

TEST_F(FileObjectTest, ElementIsMadeInTheDirectoryOfTheHeader) {
    useDirectories({"second"});
    useList(temp_.file("missing") + ":" + temp_.file("second"));
    File file = makeFile();
    ASSERT_TRUE(file->createDataElement());
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(FileObjectTest, ElementThatNoDirectoryAcceptsEndsTheWriting) {
    File file = makeFile();
    std::filesystem::rename(directories_[0], temp_.file("elsewhere"));
    EXPECT_FALSE(writeTo(*file, {1}));
    EXPECT_TRUE(
        says(file->getError(), "wtelem", 1417, directories_[0].c_str(), +np_err_no_such_file, text(np_err_no_such_file)));
    const std::string why = errorOf(*file);
    std::filesystem::rename(temp_.file("elsewhere"), directories_[0]);
    EXPECT_FALSE(writeTo(*file, {1}));
    EXPECT_EQ(errorOf(*file), why);
    EXPECT_FALSE(file->close());
    EXPECT_EQ(errorOf(*file), why);
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, ElementOfWhichOnlyTheIndexCouldBeMadeLeavesNoFile) {
    File file = makeFile();
    {
        const HandleLimit one(1);
        EXPECT_FALSE(file->createDataElement());
    }
    EXPECT_TRUE(
        says(file->getError(), "wtelem", 1417, directories_[0].c_str(), +np_err_too_many_files, text(np_err_too_many_files)));
    EXPECT_EQ(file->getElementCount(), 0);
    EXPECT_EQ(files(), std::vector<std::string>{name_});
    EXPECT_FALSE(file->close());
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(FileObjectTest, TableWhoseWritingFailedIsRemovedByTheNextOpenWhichFails) {
    File file = makeFile();
    {
        const HandleLimit none(0);
        EXPECT_FALSE(writeTo(*file, {1}));
    }
    const std::string why = errorOf(*file);
    EXPECT_FALSE(openWhole(*file, name_));
    EXPECT_EQ(errorOf(*file), why);
    EXPECT_EQ(files(), std::vector<std::string>());
}

// Header counts that no table has

TEST_F(FileObjectTest, AbsurdRowCountsAreSurvived) {
    makeRows(3);
    const table_files::Header whole = header();
    for (const long rows : {LONG_MIN, -1L, 0L, 2L, LONG_MAX - 1, LONG_MAX}) {
        for (const long inElement : {LONG_MIN, -1L, 0L, 2L, LONG_MAX - 1, LONG_MAX}) {
            table_files::Header changed = whole;
            changed.rows = rows;
            changed.elements[0].rows = inElement;
            changeHeader(changed);
            for (const bool reversed : {false, true}) {
                for (const How& how : {How{.reversed = reversed}, How{.range = {1, LONG_MAX}, .reversed = reversed}}) {
                    const bool opened = reopen(how);
                    EXPECT_TRUE(!opened || readAll(*table_).rows.size() <= 3) << rows << " " << inElement;
                }
            }
        }
    }
}

TEST_F(FileObjectTest, NothingIsAppendedToAbsurdRowCounts) {
    makeRows(3);
    const table_files::Header whole = header();
    for (const long rows : {LONG_MIN, -1L, LONG_MAX - 1, LONG_MAX}) {
        table_files::Header changed = whole;
        changed.rows = rows;
        changeHeader(changed);
        EXPECT_EQ(append(), nullptr) << rows;
        EXPECT_TRUE(refused(1301, "element definition"));
        changed.rows = 3;
        changed.elements[0].rows = rows;
        changeHeader(changed);
        EXPECT_EQ(append(), nullptr) << rows;
        EXPECT_TRUE(refused(1301, "element definition"));
        EXPECT_EQ(header().elements[0].rows, rows) << "the header is left as it was";
    }
}

}  // namespace
