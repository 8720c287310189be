// Copies of whole tables: into new ones and existing ones, across managers and access keys.
#include "table/table_fixture.h"

namespace {

class CopyTest : public TableTest {
protected:
    // A table of every type, with nulls, over several data elements; its name in name_.
    void makeMixed() {
        makeTable({{"flag", ktbTypeBoolean},
                   {"count", ktbTypeInteger},
                   {"price", ktbTypeDecimal},
                   {"day", ktbTypeDate},
                   {"text", ktbTypeString, 9}},
                  100);
        for (const Row& values : mixed()) row(values);
        finish();
    }
    static Rows mixed() {
        Rows rows = {{true, 1, decimal("12.50"), date(86400.0), "first"},
                     {nullOf(ktbTypeBoolean), 2, decimal("-0.001"), date(0.5), "zweiter\xc3\xbc"}};
        for (int i = 3; i < 20; ++i)
            rows.push_back({false, i, decimal("7"), date(double{1e9}), std::string(static_cast<std::size_t>(i % 9), 'x')});
        return rows;
    }

    bool adoptCopy(KtWorkTableFile* copy) {
        table_.reset(copy);
        if (copy == nullptr) return false;
        copyName_ = bytesOf(copy->getName());
        return true;
    }
    bool copyNew(const std::string& source, long elementSize_ = 0) {
        return adoptCopy(manager_->copy(elementSize_, manager_.get(), ktb(source), &error_));
    }
    bool copyByKey(const std::string& key, const std::string& source) {
        return adoptCopy(manager_->copy(0L, ktb(key), ktb(source), &error_));
    }

    // Closes the copy and reads it.
    Rows copiedRows() {
        EXPECT_TRUE(table_->close()) << tableError();
        EXPECT_TRUE(openText(copyName_)) << error_.asCstr();
        return rowsRead();
    }

    std::string copyName_;
};

TEST_F(CopyTest, ANewTableHasTheColumnsAndRowsOfItsSource) {
    makeMixed();
    ASSERT_TRUE(reopen());
    const std::vector<ColumnInfo> columns = columnsOf(*table_);
    const Rows rows = rowsRead();
    ASSERT_EQ(rows.size(), mixed().size());
    ASSERT_TRUE(copyNew(name_)) << error_.asCstr();
    EXPECT_NE(copyName_, name_);
    EXPECT_EQ(table_->getRows(), static_cast<long>(rows.size()));
    EXPECT_EQ(columnsOf(*table_), columns);
    EXPECT_EQ(copiedRows(), rows);
    EXPECT_EQ(columnsOf(*table_), columns);
    EXPECT_EQ(error_.length(), 0);
}

TEST_F(CopyTest, ANewTableTakesMoreRowsUntilItIsClosed) {
    makeRows(3);
    ASSERT_TRUE(copyNew(name_));
    row(rowNumber(3));
    EXPECT_EQ(copiedRows(), rowNumbers(0, 3));
}

TEST_F(CopyTest, TheElementSizeIsTheCopysOwn) {
    makeRows(20, 30);
    const std::size_t elementsOfSource = elements();
    ASSERT_GT(elementsOfSource, 3u);
    ASSERT_TRUE(copyNew(name_));
    EXPECT_EQ(copiedRows(), rowNumbers(0, 19));
    std::string source = name_;
    name_ = copyName_;
    EXPECT_EQ(elements(), 1u);
    ASSERT_TRUE(copyNew(source, 30));
    EXPECT_EQ(copiedRows(), rowNumbers(0, 19));
    name_ = copyName_;
    EXPECT_EQ(elements(), elementsOfSource);
    EXPECT_EQ(header().elementSize, 30);
}

TEST_F(CopyTest, ATableWithoutRowsOrColumnsIsCopied) {
    makeRows(0);
    ASSERT_TRUE(copyNew(name_));
    EXPECT_EQ(copiedRows(), Rows());
    EXPECT_EQ(columnsOf(*table_).size(), 3u);
    makeTable({});
    finish();
    ASSERT_TRUE(copyNew(name_));
    EXPECT_EQ(copiedRows(), Rows());
    EXPECT_EQ(table_->getColumns(), 0);
}

TEST_F(CopyTest, AUriChoosesWhatIsCopied) {
    makeRows(6);
    ASSERT_TRUE(copyNew("ktwt:" + name_ + "?rows=1,2&col=label=text&col=flag&col=kind%3Ainteger=7&col=kind:integer=7&col=id"));
    EXPECT_EQ(columnsOf(*table_)[0].name, "label");
    const Rows rows = copiedRows();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0][0], Value("row 1"));
    EXPECT_EQ(rows[1][1], Value(false));
    EXPECT_EQ(rows[1][3], Value(7L));
    EXPECT_EQ(rows[1][4], Value(2L));
}

TEST_F(CopyTest, AConstantTextIsNotCutWhenItHasFewerCharactersThanBytes) {
    makeRows(2);
    ASSERT_TRUE(copyNew("ktwt:" + name_ + "?col=word:string=%C3%BC%C3%BC%C3%BC&col=id&col=none:string="));
    EXPECT_EQ(columnsOf(*table_)[0].width, 6);
    EXPECT_EQ(copiedRows(), (Rows{{"\xc3\xbc\xc3\xbc\xc3\xbc", 0L, nullptr}, {"\xc3\xbc\xc3\xbc\xc3\xbc", 1L, nullptr}}));
    EXPECT_EQ(columnsOf(*table_)[0].longest, 7);
}

TEST_F(CopyTest, ASourceOfTheOtherByteOrderIsCopiedInOurs) {
    makeRows(9, 60);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    ASSERT_TRUE(copyNew(name_)) << error_.asCstr();
    EXPECT_EQ(copiedRows(), rowNumbers(0, 8));
    name_ = copyName_;
    EXPECT_EQ(header().rows, 9);  // which is read in our order
}

TEST_F(CopyTest, AnotherManagersTableIsCopiedIntoThisOnesDirectories) {
    makeRows(4);
    const std::string source = name_;
    const Manager owner = std::move(manager_);
    useDirectories({"here"});
    EXPECT_FALSE(copyNew(source));
    EXPECT_TRUE(refused(1353, (directories_[0] + "/" + source).c_str(), np_fio_errdesc(np_err_no_such_file)));
    error_ = KtbString();
    ASSERT_TRUE(adoptCopy(manager_->copy(0L, owner.get(), ktb(source), &error_)));
    EXPECT_EQ(files().size(), 3u);
    EXPECT_EQ(copiedRows(), rowNumbers(0, 3));
    table_.reset();
}

TEST_F(CopyTest, AnyAccessKeyLeadsToTheSameDirectories) {
    KtbString error;
    manager_.reset(ktwtCreateManager("mine", ktb(directories_[0]), &error));
    makeRows(3);
    for (const char* key : {"", "mine", "another"}) {
        ASSERT_TRUE(copyByKey(key, name_)) << key << error_.asCstr();
        EXPECT_EQ(copiedRows(), rowNumbers(0, 2)) << key;
    }
    EXPECT_FALSE(copyByKey("another", "missing"));
    EXPECT_EQ(log_.lastNumber(), 1353);
}

// The second manager's creation is asked with the caller's text, and refuses one that is not empty.
TEST_F(CopyTest, OnlyAnotherAccessKeyNeedsASecondManager) {
    KtbString error;
    manager_.reset(ktwtCreateManager("mine", ktb(directories_[0]), &error));
    makeRows(3);
    error_ = "left over";
    EXPECT_TRUE(copyByKey("mine", name_));
    EXPECT_TRUE(copyByKey("", name_));
    EXPECT_STREQ(error_.asCstr(), "left over");
    const std::size_t before = files().size();
    EXPECT_FALSE(copyByKey("another", name_));
    EXPECT_TRUE(says(error_, "wtmgr", 1781, "left over"));
    EXPECT_EQ(files().size(), before);
}

TEST_F(CopyTest, AnEmptyTargetTakesOverTheColumnsAndIsOpenForReading) {
    makeMixed();
    const std::string source = name_;
    makeTable({{"a"}, {"b"}, {"c"}, {"d"}, {"e"}});
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_)) << error_.asCstr();
    const Rows copied = rowsRead();
    const std::vector<ColumnInfo> columns = columnsOf(*table_);
    EXPECT_EQ(bytesOf(table_->getName()), name_);
    ASSERT_TRUE(openText(source));
    EXPECT_EQ(copied, rowsRead());
    EXPECT_EQ(columns, columnsOf(*table_));
}

TEST_F(CopyTest, ATargetWhoseColumnsWereNeverDefinedTakesThemOver) {
    makeRows(5);
    const std::string source = name_;
    ASSERT_TRUE(tryMakeTable(3));
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_)) << error_.asCstr();
    EXPECT_EQ(rowsRead(), rowNumbers(0, 4));
}

TEST_F(CopyTest, ATargetWithRowsKeepsThemAndItsColumns) {
    makeRows(5);
    const std::string source = name_;
    makeTable({{"ID", ktbTypeInteger}, {"Text", ktbTypeString, 4}, {"flag", ktbTypeBoolean}});
    row({-1L, "ab", true});
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_)) << error_.asCstr();
    const Rows rows = rowsRead();
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_EQ(rows[0], (Row{-1L, "ab", true}));
    EXPECT_EQ(rows[5], (Row{4L, "row ", false}));
    const ColumnInfo text = columnsOf(*table_)[1];
    EXPECT_EQ(text, (ColumnInfo{"Text", ktbTypeString, 4, 6}));  // the source's longest is the longer
}

TEST_F(CopyTest, ATargetMustAgreeWithItsSource) {
    makeRows(2);
    const std::string source = name_;
    const auto copyFails = [&](const std::vector<Column>& columns, const Row& values) {
        makeTable(columns);
        if (!values.empty()) row(values);
        error_ = KtbString();
        EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_));
        EXPECT_EQ(table_->getRows(), values.empty() ? 0 : 1);
        EXPECT_EQ(tableError(), bytesOf(error_));
    };
    copyFails({{"id", ktbTypeInteger}, {"text"}}, {});
    EXPECT_TRUE(refused(1769, source.c_str(), name_.c_str(), 3, 2));
    copyFails({{"id"}, {"text"}, {"flag"}, {"more"}}, {});
    EXPECT_TRUE(refused(1769, source.c_str(), name_.c_str(), 3, 4));
    copyFails({{"id", ktbTypeInteger}, {"word"}, {"flag", ktbTypeBoolean}}, {1, "a", true});
    EXPECT_TRUE(refused(1770, source.c_str(), name_.c_str(), 1, "text", "word"));
    copyFails({{"id", ktbTypeInteger}, {"text"}, {"flag"}}, {1, "a", "b"});
    EXPECT_TRUE(refused(1771, source.c_str(), name_.c_str(), 2, "boolean", "string"));
}

TEST_F(CopyTest, AFinishedTargetIsRefusedAndUnharmed) {
    makeRows(2);
    const std::string source = name_;
    makeTable({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}});
    row(rowNumber(7));
    ASSERT_TRUE(table_->close());
    EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_));
    EXPECT_TRUE(says(error_, "wtmgr", 1768));
    ASSERT_TRUE(reopen()) << error_.asCstr();
    EXPECT_EQ(rowsRead(), (Rows{rowNumber(7)}));
}

TEST_F(CopyTest, ASecondCopyIntoOneTargetIsRefusedAndTheFirstStays) {
    makeRows(2);
    const std::string source = name_;
    ASSERT_TRUE(tryMakeTable(3));
    ASSERT_TRUE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_));
    EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_));
    EXPECT_TRUE(says(error_, "wtmgr", 1768));
    EXPECT_EQ(rowsRead(), rowNumbers(0, 1));
    ASSERT_TRUE(reopen()) << error_.asCstr();
    EXPECT_EQ(rowsRead(), rowNumbers(0, 1));
}

TEST_F(CopyTest, ATargetOpenForReadingIsRefused) {
    makeRows(2);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(name_), &error_));
    EXPECT_TRUE(refused(1768));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), rowNumbers(0, 1));
}

// Its header is not written before it is finished, so that it cannot be found yet.
TEST_F(CopyTest, ATableThatIsBeingWrittenIsNoSourceForItself) {
    makeTable({{"id", ktbTypeInteger}});
    row({1});
    EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(name_), &error_));
    EXPECT_TRUE(refused(1773));
    EXPECT_EQ(table_->getRows(), 1);
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(rowsRead(), (Rows{{1L}}));
}

TEST_F(CopyTest, ASourceThatCannotBeReadLeavesNoCopyBehind) {
    makeRows(9, 60);
    const std::string source = name_;
    std::filesystem::resize_file(dataPath(1), 5);
    const std::size_t before = files().size();
    const std::string reason = bytesOf(ktb_get_message("", 0, "", 1301, "column"));
    EXPECT_FALSE(copyNew(source));
    const std::string text = bytesOf(error_);
    EXPECT_EQ(log_.lastNumber(), 1782);
    for (const std::string& part : {std::string("Copy"), source, reason}) EXPECT_NE(text.find(part), std::string::npos) << text;
    EXPECT_EQ(files().size(), before);

    makeTable({{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}});
    error_ = KtbString();
    EXPECT_FALSE(manager_->copy(table_.get(), manager_.get(), ktb(source), &error_));
    EXPECT_TRUE(refused(1782, "Copy", source.c_str(), name_.c_str(), reason.c_str()));
    EXPECT_GT(table_->getRows(), 0);
}

TEST_F(CopyTest, WhatIsNotGivenIsAnswered) {
    makeRows(1);
    EXPECT_EQ(manager_->copy(0L, static_cast<KtWorkTableManager*>(nullptr), ktb(name_), &error_), nullptr);
    EXPECT_STREQ(error_.asCstr(), "A work table cannot be copied without the manager that owns it.");
    EXPECT_FALSE(manager_->copy(nullptr, manager_.get(), ktb(name_), &error_));
    EXPECT_STREQ(error_.asCstr(), "A work table cannot be copied into a target that is not given.");
    ASSERT_TRUE(tryMakeTable(1));
    EXPECT_FALSE(manager_->copy(table_.get(), nullptr, ktb(name_), &error_));
    EXPECT_STREQ(error_.asCstr(), "A work table cannot be copied without the manager that owns it.");
    EXPECT_TRUE(table_->close());
}

}  // namespace
