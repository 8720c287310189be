// Tables from create to remove: where their files are made and found, what is left behind, what a failure leaves.
#include <climits>

#include "table/table_fixture.h"

namespace {

constexpr int noSuchFile = 3;

class LifecycleTest : public TableTest {
protected:
    static const char* text(int code) { return np_fio_errdesc(code); }

    // Rows enough that the file layer has to write some of them before the table is closed.
    void writeUntilRefused() {
        const std::string longText(1000, 'x');
        for (int i = 0; i < 1000; ++i) {
            if (!tryRow({longText})) return;
        }
        FAIL() << "no row was refused";
    }
};

// Creating

TEST_F(LifecycleTest, TableWithoutColumnsHasAHeaderOf33Bytes) {
    makeTable({});
    finish();
    EXPECT_EQ(readFile(path(name_)).size(), 33u);
    EXPECT_EQ(elements(), 0u);
    EXPECT_EQ(header().elementSize, 0);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(table_->getColumns(), 0);
    EXPECT_EQ(table_->getRows(), 0);
    EXPECT_EQ(rowsRead(), Rows());
}

TEST_F(LifecycleTest, NameOfATableIsTheFileNameOfItsHeader) {
    makeTable({});
    EXPECT_EQ(name_.compare(0, 5, "ktwt_"), 0) << name_;
    EXPECT_EQ(files(), std::vector<std::string>{name_});
}

TEST_F(LifecycleTest, FilesOfATableCarryTheirKindInTheirNames) {
    makeRows(1);
    EXPECT_EQ(std::filesystem::path(dataPath(0)).filename().string().compare(0, 6, "ktwte_"), 0);
    EXPECT_EQ(std::filesystem::path(indexPath(0)).filename().string().compare(0, 7, "ktwtei_"), 0);
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(LifecycleTest, HeaderIsWrittenByCloseAndNotBefore) {
    makeTable({{"a"}});
    EXPECT_EQ(readFile(path(name_)), "");
    finish();
    EXPECT_EQ(header().columns.size(), 1u);
}

TEST_F(LifecycleTest, TableIsMadeInTheFirstDirectoryThatAcceptsIt) {
    useDirectories({"second"});
    useList(temp_.file("missing") + "::" + temp_.file("second"));
    makeRows(2);
    EXPECT_EQ(files().size(), 3u);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 1));
}

TEST_F(LifecycleTest, TableThatNoDirectoryAcceptsNamesTheLastOne) {
    writeFile(temp_.file("file"), "");
    const std::string last = temp_.file("missing");
    useList(temp_.file("file") + ":" + last);
    EXPECT_FALSE(tryMakeTable(1));
    EXPECT_TRUE(refused(1417, last.c_str(), noSuchFile, text(noSuchFile)));

    useList(last + ":" + temp_.file("file"));
    EXPECT_FALSE(tryMakeTable(1));
    EXPECT_TRUE(refused(1417, temp_.file("file").c_str(), +np_err_not_directory, text(np_err_not_directory)));
}

TEST_F(LifecycleTest, NegativeColumnCountIsRefused) {
    EXPECT_FALSE(tryMakeTable(-1));
    EXPECT_TRUE(refused(1420));
    EXPECT_FALSE(tryMakeTable(INT_MIN));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, NegativeSortColumnCountIsRefused) {
    EXPECT_EQ(manager_->create(2, -1, 0, &error_), nullptr);
    EXPECT_TRUE(refused(1420));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, SortKeyOutOfRangeIsNotStored) {
    makeTable({{"a"}});
    EXPECT_EQ(table_->setSort(0, 0, false, nullptr), 1);
    EXPECT_EQ(table_->setSort(-1, 0, false, nullptr), 1);
    row({"x"});
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{"x"}}));
}

TEST_F(LifecycleTest, NewTableIsWritableAndNotReadable) {
    makeTable({{"a"}});
    row({"x"});
    EXPECT_FALSE(nextRow());
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1793));
    row({"y"});
    EXPECT_EQ(table_->getRows(), 2);
}

// Opening

TEST_F(LifecycleTest, MissingTableIsReportedWithTheLastPathThatWasTried) {
    useDirectories({"a", "b"});
    name_ = "ktwt_none";
    EXPECT_FALSE(reopen());
    EXPECT_TRUE(refused(1353, (directories_[1] + "/ktwt_none").c_str(), text(noSuchFile)));
    EXPECT_FALSE(reopenByIndex({0}));
    EXPECT_TRUE(refused(1353, (directories_[1] + "/ktwt_none").c_str(), text(noSuchFile)));
    EXPECT_FALSE(openText(name_));
    EXPECT_TRUE(refused(1353, (directories_[1] + "/ktwt_none").c_str(), text(noSuchFile)));
    EXPECT_FALSE(openText("ktwt:" + name_));
    EXPECT_TRUE(refused(1353, (directories_[1] + "/ktwt_none").c_str(), text(noSuchFile)));
}

TEST_F(LifecycleTest, TableIsFoundInTheThirdDirectory) {
    useDirectories({"third"});
    makeRows(3);
    useDirectories({"first", "second", "third"});
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 2));
}

TEST_F(LifecycleTest, FilesOfATableMayBeSpreadOverTheDirectories) {
    useDirectories({"first", "second", "third"});
    makeRows(4, 30);
    ASSERT_GE(elements(), 2u);
    std::filesystem::rename(indexPath(0), directories_[2] + "/" + table_files::plain(header().elements[0].index));
    std::filesystem::rename(dataPath(1), directories_[1] + "/" + table_files::plain(header().elements[1].data));
    std::filesystem::rename(path(name_), directories_[1] + "/" + name_);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 3));
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_EQ(rowsRead(), rowNumbers(3, 0));
}

TEST_F(LifecycleTest, MissingDirectoryIsPassedOver) {
    makeRows(1);
    useList(temp_.file("missing") + ":" + temp_.file("missing/below") + ":" + directories_[0]);
    EXPECT_TRUE(reopen());
}

TEST_F(LifecycleTest, EmptyDirectoryEntryHoldsNothing) {
    makeRows(1);
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directories_[0]);
    useList(":" + temp_.directory("other"));
    EXPECT_FALSE(reopen());
    std::filesystem::current_path(before);
    EXPECT_TRUE(refused(1353, (temp_.file("other") + "/" + name_).c_str(), text(noSuchFile)));
}

TEST_F(LifecycleTest, AnotherFailureThanAMissingFileEndsTheSearch) {
    useDirectories({"second"});
    makeRows(1);
    useDirectories({"first", "second"});
    const std::string blocking = directories_[0] + "/" + name_;

    std::filesystem::create_directory(blocking);
    EXPECT_FALSE(reopen());
    EXPECT_TRUE(refused(1353, blocking.c_str(), text(np_err_is_directory)));

    std::filesystem::remove(blocking);
    std::filesystem::create_symlink(directories_[1] + "/" + name_, blocking);
    EXPECT_FALSE(reopen());
    EXPECT_TRUE(refused(1353, blocking.c_str(), text(np_err_not_regular)));

    std::filesystem::remove(blocking);
    EXPECT_TRUE(reopen());
}

TEST_F(LifecycleTest, FileInPlaceOfADirectoryEndsTheSearch) {
    makeRows(1);
    writeFile(temp_.file("file"), "");
    useList(temp_.file("file") + ":" + directories_[0]);
    EXPECT_FALSE(reopen());
    EXPECT_TRUE(refused(1353, (temp_.file("file") + "/" + name_).c_str(), text(np_err_not_directory)));
}

TEST_F(LifecycleTest, NamesThatAreNoFileNamesAreAnsweredLikeMissingFiles) {
    makeRows(1);
    const std::string absolute = path(name_);
    for (const std::string& name : {std::string(), std::string("."), std::string(".."), "./" + name_, "../work/" + name_,
                                    absolute, std::string("/"), name_ + "/"}) {
        name_ = name;
        EXPECT_FALSE(reopen()) << name;
        EXPECT_TRUE(refused(1353, name.c_str(), text(noSuchFile))) << name;
        EXPECT_FALSE(manager_->remove(ktb(name), &error_));
        EXPECT_TRUE(refused(1353, name.c_str(), text(noSuchFile))) << name;
    }
    EXPECT_TRUE(std::filesystem::exists(absolute));
}

TEST_F(LifecycleTest, ElementNamesThatLeadOutOfTheDirectoriesAreAnsweredLikeMissingFiles) {
    makeRows(1);
    std::filesystem::rename(dataPath(0), temp_.file("outside"));
    table_files::Header changed = header();
    changed.elements[0].data = std::string("../outside") + '\0';
    changeHeader(changed);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(nextRow());
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(table_->getError(), "wtelem", 1353, "../outside", text(noSuchFile)));
    table_.reset();
    EXPECT_FALSE(manager_->remove(ktb(name_), &error_));
    EXPECT_TRUE(std::filesystem::exists(temp_.file("outside")));
}

TEST_F(LifecycleTest, DirectoryTooLongToBeJoinedIsReported) {
    const std::string longDirectory(5000, 'd');
    makeRows(1);
    useList(longDirectory + ":" + directories_[0]);
    EXPECT_FALSE(reopen());
    EXPECT_TRUE(refused(1784, "header", +np_err_name, text(np_err_name)));
}

TEST_F(LifecycleTest, DirectoryTooLongForAnElementIsReported) {
    makeRows(1);
    useList(directories_[0] + ":" + std::string(5000, 'd'));
    const std::string data = dataPath(0);
    const std::string index = indexPath(0);

    std::filesystem::rename(data, temp_.file("data"));
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(nextRow());
    EXPECT_TRUE(says(table_->getError(), "wtelem", 1784, "element data", +np_err_name, text(np_err_name)));

    std::filesystem::rename(temp_.file("data"), data);
    std::filesystem::rename(index, temp_.file("index"));
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(nextRow());
    EXPECT_TRUE(says(table_->getError(), "wtelem", 1784, "element index", +np_err_name, text(np_err_name)));
}

TEST_F(LifecycleTest, FailedOpenLeavesTheErrorArgumentOfASuccessAlone) {
    makeRows(1);
    error_ = KtbString("untouched");
    EXPECT_TRUE(reopen());
    EXPECT_STREQ(error_.asCstr(), "untouched");
}

// Closing and releasing

TEST_F(LifecycleTest, TableCanBeClosedTwice) {
    makeTable({{"a"}});
    row({"x"});
    EXPECT_TRUE(table_->close());
    writeFile(path(name_), "not touched again");
    EXPECT_TRUE(table_->close());
    table_.reset();
    EXPECT_EQ(readFile(path(name_)), "not touched again");
}

TEST_F(LifecycleTest, ReleasedTableIsClosed) {
    makeTable({{"a"}});
    row({"x"});
    table_.reset();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{"x"}}));
}

TEST_F(LifecycleTest, CreatedTableThatIsReleasedInErrorIsRemoved) {
    makeTable({{"a"}});
    row({"x"});
    EXPECT_FALSE(define(1, {"b"}));
    table_.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, CreatedTableThatIsLeftInErrorAfterItsCloseIsRemovedAllTheSame) {
    makeTable({{"a"}});
    row({"x"});
    EXPECT_TRUE(table_->close());
    EXPECT_FALSE(define(1, {"b"}));
    EXPECT_EQ(files().size(), 3u);
    table_.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, OpenedTableThatIsReleasedInErrorStays) {
    makeRows(1);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(tryRow(rowNumber(0)));
    EXPECT_NE(tableError(), "");
    table_.reset();
    EXPECT_EQ(files().size(), 3u);
    EXPECT_TRUE(reopen());
}

TEST_F(LifecycleTest, ReadOnlyTableNeverWritesItsHeader) {
    makeRows(2);
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(nextRow());
    const std::string headerPath = path(name_);
    writeFile(headerPath, "changed meanwhile");
    EXPECT_FALSE(tryRow(rowNumber(0)));
    EXPECT_TRUE(table_->close());
    table_.reset();
    EXPECT_EQ(readFile(headerPath), "changed meanwhile");
}

TEST_F(LifecycleTest, ClosedTableTakesNoRows) {
    makeTable({{"a"}});
    row({"x"});
    ASSERT_TRUE(table_->close());
    const auto before = files();
    EXPECT_FALSE(tryRow({"y"}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1768));
    EXPECT_EQ(table_->getRows(), 1);
    EXPECT_EQ(files(), before);
}

TEST_F(LifecycleTest, ClosedTableDeliversNoRows) {
    makeRows(3);
    ASSERT_TRUE(reopen({.reversed = true}));
    ASSERT_TRUE(nextRow());
    ASSERT_TRUE(table_->close());
    EXPECT_FALSE(nextRow());
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1793));
}

TEST_F(LifecycleTest, EveryHandleIsGivenBack) {
    const std::size_t before = openHandles();
    makeRows(20, 100);
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(nextRow());
    ASSERT_TRUE(reopen({.range = {7, -1}, .reversed = true}));
    ASSERT_TRUE(nextRow());
    EXPECT_FALSE(reopen({.range = {-1, 0}}));
    EXPECT_FALSE(reopenByIndex({9}));
    EXPECT_FALSE(openText("other:" + name_));
    table_files::Header changed = header();
    changed.elements.back().index = std::string("ktwtei_none") + '\0';
    changeHeader(changed);
    EXPECT_FALSE(reopen({.reversed = true}));
    EXPECT_FALSE(manager_->remove(ktb(name_), &error_));
    table_.reset();
    EXPECT_EQ(openHandles(), before);
}

// A disk that takes no more

TEST_F(LifecycleTest, CloseThatCannotWriteTheHeaderRemovesTheTable) {
    makeTable({{"a"}});
    {
        const FileSizeLimit full(0);
        EXPECT_FALSE(table_->close());
    }
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1045, text(np_err_too_large)));
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_TRUE(table_->close());
    table_.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, CloseThatCannotWriteTheRowsRemovesTheTable) {
    makeTable({{"a"}}, 20);
    for (int i = 0; i < 5; ++i) row({"0123456789"});
    row({"last"});
    EXPECT_EQ(files().size(), 7u);
    {
        const FileSizeLimit full(0);
        EXPECT_FALSE(table_->close());
    }
    EXPECT_TRUE(says(table_->getError(), "wtelem", 1045, text(np_err_too_large)));
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, RefusedRowIsRememberedAndTheTableRemovedAtItsClose) {
    makeTable({{"a"}});
    {
        const FileSizeLimit full(100 * 1024);
        writeUntilRefused();
    }
    EXPECT_TRUE(says(table_->getError(), "wtelem", 1044));
    const long rows = table_->getRows();
    const std::string why = tableError();
    EXPECT_FALSE(tryRow({"small"}));
    EXPECT_EQ(tableError(), why);
    EXPECT_FALSE(define(7, {"b"}));  // another text in between
    EXPECT_FALSE(tryRow({"small"}));
    EXPECT_EQ(tableError(), why);
    EXPECT_EQ(table_->getRows(), rows);
    EXPECT_FALSE(table_->close());
    EXPECT_EQ(tableError(), why);
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, TableWithARefusedRowIsRemovedWhenItIsReleased) {
    makeTable({{"a"}});
    {
        const FileSizeLimit full(100 * 1024);
        writeUntilRefused();
    }
    table_.reset();
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, ElementThatCannotBeClosedRefusesTheRowThatFilledIt) {
    makeTable({{"a"}}, 20);
    row({"first"});
    {
        const FileSizeLimit full(0);
        EXPECT_FALSE(tryRow({"0123456789"}));
        EXPECT_TRUE(says(table_->getError(), "wtelem", 1045, text(np_err_too_large)));
    }
    EXPECT_EQ(table_->getRows(), 1);
    EXPECT_FALSE(tryRow({"later"}));
    EXPECT_FALSE(table_->close());
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(LifecycleTest, FirstFailureIsTheOneReportedWhenTheRemovalFailsToo) {
    makeTable({{"a"}});
    std::filesystem::remove(path(name_));
    {
        const FileSizeLimit full(0);
        EXPECT_FALSE(table_->close());
    }
    EXPECT_EQ(log_.last().number, 1747);
    const KtbString why = ktb_get_message("test", 0, "Work table library", 1045, text(np_err_too_large));
    EXPECT_EQ(tableError(), bytesOf(why));
}

TEST_F(LifecycleTest, WithoutHandlesNothingIsMadeOrOpened) {
    makeRows(2);
    const auto before = files();
    {
        const HandleLimit none(0);
        EXPECT_FALSE(tryMakeTable(1));
        EXPECT_TRUE(refused(1417, directories_[0].c_str(), +np_err_too_many_files, text(np_err_too_many_files)));
        EXPECT_FALSE(reopen());
        EXPECT_TRUE(refused(1353, (directories_[0] + "/" + name_).c_str(), text(np_err_too_many_files)));
        EXPECT_FALSE(manager_->remove(ktb(name_), &error_));
        EXPECT_TRUE(refused(1353, (directories_[0] + "/" + name_).c_str(), text(np_err_too_many_files)));
    }
    EXPECT_EQ(files(), before);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 1));
}

TEST_F(LifecycleTest, ElementThatFindsNoHandleIsReportedWhenItIsReached) {
    makeRows(2, 1);
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(nextRow());
    {
        const HandleLimit one(1);  // the first element's two are given back first
        EXPECT_TRUE(nextRow());
    }
    ASSERT_TRUE(reopen());
    {
        const HandleLimit one(1);
        EXPECT_FALSE(nextRow());
        EXPECT_FALSE(end_);
        EXPECT_EQ(log_.last().number, 1353);
        EXPECT_NE(tableError().find(text(np_err_too_many_files)), std::string::npos);
    }
    EXPECT_EQ(rowsRead(), rowNumbers(0, 1)) << "the element that could not be opened is not passed over";
}

// Removing

TEST_F(LifecycleTest, RemovedTableIsGoneWithAllItsFiles) {
    useDirectories({"first", "second"});
    makeRows(10, 50);
    const std::string moved = dataPath(1);
    std::filesystem::rename(moved, directories_[1] + "/" + std::filesystem::path(moved).filename().string());
    EXPECT_TRUE(manager_->remove(ktb(name_), &error_));
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_FALSE(reopen());
    EXPECT_FALSE(manager_->remove(ktb(name_), &error_));
    EXPECT_TRUE(refused(1353, (directories_[1] + "/" + name_).c_str(), text(noSuchFile)));
}

TEST_F(LifecycleTest, RemoveGoesOnAfterAFailureAndReportsTheFirst) {
    makeRows(3, 1);
    ASSERT_EQ(elements(), 3u);
    const std::string missing = indexPath(1);
    std::filesystem::remove(missing);
    std::filesystem::remove(indexPath(2));
    const std::string firstLeft = dataPath(1);
    const std::string secondLeft = dataPath(2);
    EXPECT_FALSE(manager_->remove(ktb(name_), &error_));
    // An element whose files cannot be found is left as it is; its message names the data file, which was not looked for yet.
    const KtbString why = ktb_get_message("test", 0, "Work table library", 1353, "", text(noSuchFile));
    EXPECT_EQ(bytesOf(error_), bytesOf(why));
    EXPECT_EQ(files().size(), 2u);
    EXPECT_TRUE(std::filesystem::exists(firstLeft));
    EXPECT_TRUE(std::filesystem::exists(secondLeft));
}

TEST_F(LifecycleTest, TableCanBeRemovedWhileItIsRead) {
    makeRows(3);
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(nextRow());
    EXPECT_TRUE(manager_->remove(ktb(name_), &error_));
    EXPECT_EQ(rowsRead(), rowNumbers(1, 2));
}

TEST_F(LifecycleTest, DamagedHeaderIsNotRemoved) {
    makeRows(1);
    const std::string headerPath = path(name_);
    writeFile(headerPath, "too short");
    EXPECT_FALSE(manager_->remove(ktb(name_), &error_));
    EXPECT_TRUE(refused(1773));
    EXPECT_EQ(files().size(), 3u);
}

}  // namespace
