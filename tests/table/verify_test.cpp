// Whether a table's files agree with each other: sound tables of all kinds, and every kind of damage.
#include <sys/stat.h>

#include <fstream>
#include <random>

#include "format/images.h"
#include "format/patch.h"
#include "support/golden.h"
#include "table/findings.h"
#include "table/sorted_fixture.h"

namespace {

class VerifyTest : public SortedTest {
protected:
    std::string list() const {
        std::string result;
        for (const std::string& directory : directories_) result += (result.empty() ? "" : ":") + directory;
        return result;
    }

    Verified verified(std::size_t most = SIZE_MAX) const { return verify(list(), name_, most); }

    long bytesInAll() const {
        long bytes = 0;
        for (const std::string& name : files()) bytes += static_cast<long>(std::filesystem::file_size(path(name)));
        return bytes;
    }

    void expectSound(long rows) {
        const std::vector<std::string> before = contents();
        const Verified result = verified();
        ASSERT_TRUE(result.looked) << result.error;
        EXPECT_EQ(result.findings, std::vector<Finding>());
        EXPECT_EQ(result.counts.rows, rows);
        EXPECT_EQ(result.counts.bytes, bytesInAll());
        EXPECT_EQ(result.counts.elements, static_cast<long>(headerInAnyOrder().elements.size()));
        EXPECT_EQ(contents(), before) << "nothing is written";
    }

    table_files::Header headerInAnyOrder() const {
        const std::string bytes = readFile(path(name_));
        const bool ours = table_files::encoded(std::uint16_t{1}, std::endian::native) == bytes.substr(0, 2);
        return table_files::headerFrom(bytes, ours ? std::endian::native : table_files::otherOrder);
    }

    std::vector<std::string> contents() const {
        std::vector<std::string> result;
        for (const std::string& name : files()) result.push_back(name + ": " + readFile(path(name)));
        return result;
    }

    // A closed table of a column of each type and `count` rows of 53 bytes each: a number of 9, a text of 8, a boolean of 2, a
    // decimal of 25 and a date of 9 bytes.
    void makeAll(long count, long elementSize = 0) {
        makeTable(
            {{"id", ktbTypeInteger}, {"text"}, {"flag", ktbTypeBoolean}, {"amount", ktbTypeDecimal}, {"day", ktbTypeDate}},
            elementSize);
        for (long i = 0; i < count; ++i) row({i, "row " + std::to_string(i), i % 2 != 0, decimal("12.50"), date(86400.0)});
        finish();
    }
    static constexpr long rowSize = 53;
    static constexpr long textAt = 9, flagAt = 17, amountAt = 19, dayAt = 44;  // in a row

    static void damage(const std::string& path, long offset, const std::string& bytes) {
        std::string all = readFile(path);
        ASSERT_LE(static_cast<std::size_t>(offset) + bytes.size(), all.size());
        all.replace(static_cast<std::size_t>(offset), bytes.size(), bytes);
        table_files::replaceFile(path, all);
    }
    static void damage(const std::string& path, long offset, int byte) {
        damage(path, offset, std::string(1, static_cast<char>(byte)));
    }
    static void cut(const std::string& path, long size) {
        std::filesystem::resize_file(path, static_cast<std::uintmax_t>(size));
    }
    void setEntry(std::size_t element, long row, long offset) const {
        damage(indexPath(element), 8 * row, table_files::encoded(std::int64_t{offset}, std::endian::native));
    }

    // That these are the findings; of their texts a part is given.
    void expectFindings(const std::vector<Finding>& expected) {
        const Verified result = verified();
        EXPECT_TRUE(result.looked) << result.error;
        ASSERT_EQ(result.findings.size(), expected.size()) << testing::PrintToString(result.findings);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const Finding& finding = result.findings[i];
            EXPECT_EQ(finding.path, expected[i].path);
            EXPECT_EQ(finding.kind, expected[i].kind);
            EXPECT_EQ(finding.element, expected[i].element);
            EXPECT_EQ(finding.row, expected[i].row);
            EXPECT_EQ(finding.offset, expected[i].offset);
            EXPECT_NE(finding.text.find(expected[i].text), std::string::npos) << finding.text;
        }
    }
    Finding inHeader(int element, long offset, const std::string& text) const {
        return {path(name_), ktwtFileHeader, element, -1, offset, text};
    }
    Finding inData(int element, long row, long offset, const std::string& text) const {
        return {dataPath(static_cast<std::size_t>(element)), ktwtFileData, element, row, offset, text};
    }
    Finding inIndex(int element, long row, const std::string& text) const {
        return {indexPath(static_cast<std::size_t>(element)), ktwtFileIndex, element, row, 8 * row, text};
    }

    // Takes the index of an element away, from the header also.
    void dropIndex(std::size_t element) {
        std::filesystem::remove(indexPath(element));
        table_files::Header changed = header();
        changed.elements[element].index = "";
        changeHeader(changed);
    }

    void placeGolden(images::Order order) {
        name_ = "ktwt_t";
        const std::pair<const char*, std::string> places[] = {{"header", name_},
                                                              {"data-0", "ktwte_" + std::string(20, '0')},
                                                              {"index-0", "ktwtei_" + std::string(20, '0')},
                                                              {"data-1", "ktwte_" + std::string(20, '1')},
                                                              {"index-1", "ktwtei_" + std::string(20, '1')}};
        for (const auto& [golden, file] : places) {
            writeFile(directories_[0] + "/" + file,
                      golden::read("table-" + std::string(golden) + "." + images::orderName(order)));
        }
    }
};

// Sound tables

TEST_F(VerifyTest, ATableOfEveryTypeIsSound) {
    makeAll(6);
    ASSERT_EQ(std::filesystem::file_size(dataPath(0)), 6u * rowSize);
    expectSound(6);
}

TEST_F(VerifyTest, ATableOfSeveralElementsInSeveralDirectoriesIsSound) {
    useDirectories({"a", "b"});
    makeAll(10, 2 * rowSize);
    ASSERT_EQ(elements(), 4u);
    std::filesystem::rename(dataPath(1), directories_[1] + "/" + table_files::plain(header().elements[1].data));
    std::filesystem::rename(indexPath(2), directories_[1] + "/" + table_files::plain(header().elements[2].index));
    expectSound(10);
}

TEST_F(VerifyTest, ATableWithoutRowsIsSound) {
    makeAll(0);
    expectSound(0);
    ASSERT_TRUE(tryMakeTable(2));
    ASSERT_TRUE(define(0, {"a"}) && define(1, {"b", ktbTypeDate}));
    ASSERT_TRUE(table_->close());
    table_.reset();
    for (const char* name : {"ktwte_aaaaaaaaaaaaaaaaaaaa", "ktwtei_aaaaaaaaaaaaaaaaaaaa"}) {
        writeFile(directories_[0] + "/" + name, "");
    }
    table_files::Header changed = header();
    changed.elements.push_back(
        {0, images::withNul("ktwte_aaaaaaaaaaaaaaaaaaaa"), images::withNul("ktwtei_aaaaaaaaaaaaaaaaaaaa")});
    changeHeader(changed);
    EXPECT_EQ(verified().findings, std::vector<Finding>()) << "an element may be empty";
}

TEST_F(VerifyTest, RowsWithoutColumnsAreSoundWithAnIndex) {
    ASSERT_TRUE(tryMakeTable(0));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(tryRow({nullptr}));
    finish();
    expectSound(5);
}

TEST_F(VerifyTest, ATableWithoutAnIndexIsSound) {
    makeAll(6, 3 * rowSize);
    dropIndex(1);
    expectSound(6);
    dropIndex(0);
    expectSound(6);
}

TEST_F(VerifyTest, NullsAndValuesThatDidNotConvertAreSound) {
    makeTable(
        {{"number", ktbTypeInteger}, {"flag", ktbTypeBoolean}, {"amount", ktbTypeDecimal}, {"day", ktbTypeDate}, {"text"}});
    row({nullptr, nullptr, nullptr, nullptr, nullptr});
    row({"no number", "no boolean", "no decimal", "no date", ""});
    finish();
    EXPECT_EQ(std::filesystem::file_size(dataPath(0)), 5u + 4u + 3u);
    expectSound(2);
}

TEST_F(VerifyTest, TextsOfEveryLengthAreSound) {
    makeTable({{"text"}, {"other"}});
    for (const std::size_t size : {0u, 1u, 126u, 127u, 128u, 4094u, 4095u, 4096u, 8191u, 8192u, 70000u, 300000u}) {
        row({std::string(size, 'x'), std::string(size / 2, 'y')});
    }
    finish();
    expectSound(12);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    expectSound(12);
}

TEST_F(VerifyTest, ATableThatWasAppendedToIsSound) {
    makeAll(5, 3 * rowSize);
    ASSERT_TRUE(manager_->append(ktb(name_), ktb(name_), &error_)) << error_.asCstr();
    expectSound(10);
    ASSERT_TRUE(manager_->append(ktb(name_), ktb(name_), &error_)) << error_.asCstr();
    expectSound(20);
}

TEST_F(VerifyTest, ATableThatWasSortedIsSound) {
    makeSpilled(1 << 20);
    finish();
    expectSound(largeCount);
}

TEST_F(VerifyTest, ATableOfTheOtherByteOrderIsSound) {
    makeAll(10, 2 * rowSize);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    expectSound(10);
}

TEST_F(VerifyTest, TheGoldenTableIsSoundInBothByteOrders) {
    for (const images::Order order : {images::Order::ours, images::Order::other}) {
        placeGolden(order);
        expectSound(6);
    }
}

// What an append that was killed leaves behind everything that the header counts.
TEST_F(VerifyTest, WhatAnUnfinishedAppendLeavesIsNoFinding) {
    makeAll(5);
    for (const std::string& left : {std::string(1, '\0'), std::string(11, '\x7f'), std::string(9000, '\xff')}) {
        for (const std::string& file : {path(name_), dataPath(0), indexPath(0)}) {
            const std::string whole = readFile(file);
            writeFile(file, whole + left);
            EXPECT_EQ(verified().findings, std::vector<Finding>()) << file;
            EXPECT_EQ(verified().counts.rows, 5);
            table_files::replaceFile(file, whole);
        }
    }
    dropIndex(0);
    writeFile(dataPath(0), readFile(dataPath(0)) + "left");
    expectSound(5);
}

// Tables that cannot be looked at

TEST_F(VerifyTest, ATableThatIsNotThereIsAFailure) {
    for (const char* name : {"ktwt_aaaaaaaaaaaaaaaaaaaa", "", "../elsewhere", "ktwt:uri"}) {
        name_ = name;
        const Verified result = verified();
        EXPECT_FALSE(result.looked);
        EXPECT_EQ(result.error.substr(0, 9), "KTWT-1353") << result.error;
        EXPECT_EQ(result.counts.findings + result.counts.bytes + result.counts.elements + result.counts.rows, 0);
    }
    std::filesystem::create_directory(directories_[0] + "/ktwt_directory");
    EXPECT_FALSE(verify(list(), "ktwt_directory").looked);
}

TEST_F(VerifyTest, VisitorAndCountsMayBeLeftOut) {
    makeAll(3);
    EXPECT_TRUE(ktwtVerifyTable(list().c_str(), name_.c_str(), nullptr, nullptr, &error_)) << error_.asCstr();
    cut(dataPath(0), 0);
    KtWorkTableVerification counts = {};
    EXPECT_TRUE(ktwtVerifyTable(list().c_str(), name_.c_str(), nullptr, &counts, &error_)) << error_.asCstr();
    EXPECT_EQ(counts.findings, static_cast<long>(verified().findings.size()));
    EXPECT_GT(counts.findings, 0);
}

TEST_F(VerifyTest, TheVisitorEndsTheSearch) {
    makeAll(10, 3 * rowSize);
    for (std::size_t i = 0; i < elements(); ++i) damage(dataPath(i), flagAt + 1, 9);
    ASSERT_EQ(verified().findings.size(), 3u);
    const Verified result = verified(2);
    EXPECT_TRUE(result.looked) << result.error;
    EXPECT_EQ(result.findings.size(), 2u);
}

// The header

TEST_F(VerifyTest, AHeaderThatWasNeverFinishedIsAFinding) {
    makeAll(3);
    for (const std::string& bytes : {std::string(), std::string(31, '\0'), std::string(4000, '\0')}) {
        table_files::replaceFile(path(name_), bytes);
        expectFindings({inHeader(-1, -1, "never finished")});
        EXPECT_EQ(verified().counts.bytes, static_cast<long>(bytes.size()));
    }
    ASSERT_TRUE(tryMakeTable(1));
    expectFindings({inHeader(-1, -1, "never finished")});
}

TEST_F(VerifyTest, AHeaderThatCannotBeUnderstoodIsAFindingInTheLibrarysWords) {
    makeAll(3);
    const std::string whole = readFile(path(name_));
    table_files::replaceFile(path(name_), whole.substr(0, 32));
    expectFindings({inHeader(-1, -1, "KTWT-1787: ")});
    table_files::replaceFile(path(name_), whole.substr(0, whole.size() - 1));
    expectFindings({inHeader(-1, -1, "KTWT-1301: ")});
    table_files::Header later = table_files::headerFrom(whole);
    later.version = 200;
    changeHeader(later);
    expectFindings({inHeader(-1, -1, "KTWT-1785: ")});
    table_files::replaceFile(path(name_), whole);
    damage(path(name_), 4, table_files::encoded(std::int16_t{31}, std::endian::native));
    expectFindings({inHeader(-1, -1, "KTWT-1786: ")});
    const Verified result = verified();
    EXPECT_EQ(result.counts.elements, 0);
    EXPECT_EQ(result.counts.rows, 0);
    EXPECT_STREQ(log_.last().text.c_str(), result.findings.at(0).text.c_str());
}

TEST_F(VerifyTest, ATableThatIsBeingRemovedIsAFinding) {
    makeAll(3);
    const std::string whole = readFile(path(name_));
    table_files::replaceFile(path(name_), whole + "being removed\n");
    expectFindings({inHeader(-1, static_cast<long>(whole.size()), "being removed")});
    EXPECT_EQ(verified().counts.rows, 3) << "its files are looked at all the same";
    table_files::replaceFile(path(name_), whole + "being removed!");
    EXPECT_EQ(verified().findings, std::vector<Finding>());
}

TEST_F(VerifyTest, AByteOrderMarkThatIsNoneIsAFinding) {
    makeAll(3);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    damage(path(name_), 0, std::string("\x05\x05"));
    const Verified result = verified();
    ASSERT_EQ(result.findings.size(), 1u);
    EXPECT_EQ(result.findings[0].offset, 0);
    EXPECT_NE(result.findings[0].text.find("byte order mark"), std::string::npos);
    EXPECT_EQ(result.counts.rows, 3);
}

TEST_F(VerifyTest, AColumnWithAStorageCodeThatNoneHasIsAFinding) {
    makeAll(0);
    for (const int code : {6, 128, 255}) {
        table_files::Header changed = header();
        changed.columns[2].code = static_cast<std::uint16_t>(code);
        changeHeader(changed);
        expectFindings({inHeader(-1, -1, "Column 2 has storage code " + std::to_string(code))});
    }
}

TEST_F(VerifyTest, OnlyATableWithoutRowsMayHaveColumnsThatWereNeverDefined) {
    ASSERT_TRUE(tryMakeTable(2));
    finish();
    expectSound(0);
    makeAll(1);
    table_files::Header changed = header();
    changed.columns[0].code = 0;
    changeHeader(changed);
    expectFindings({inHeader(-1, -1, "Column 0 has storage code 0"), inData(0, 0, 0, "storage code 3, the column 0")});
}

TEST_F(VerifyTest, RowCountsThatDoNotAddUpAreAFinding) {
    makeAll(6, 3 * rowSize);
    for (const long rows : {0L, 5L, 7L, -1L, std::numeric_limits<long>::max()}) {
        table_files::Header changed = header();
        changed.rows = rows;
        changeHeader(changed);
        expectFindings(
            {inHeader(-1, -1, "counts " + std::to_string(rows) + " rows in all, the records of its data elements 6")});
        EXPECT_EQ(verified().counts.rows, 6);
    }
}

TEST_F(VerifyTest, AnElementWithLessThanNoRowsIsAFinding) {
    makeAll(6, 3 * rowSize);
    table_files::Header changed = header();
    changed.elements[0].rows = -7;
    changed.rows = 2;
    changeHeader(changed);
    expectFindings({inHeader(0, -1, "counts -7 rows")});
    EXPECT_EQ(verified().counts.rows, 2);
}

TEST_F(VerifyTest, RecordsThatNameOneFileAreAFinding) {
    makeAll(9, 2 * rowSize);
    const table_files::Header whole = header();
    ASSERT_EQ(whole.elements.size(), 3u);
    table_files::Header changed = whole;
    changed.elements[2].data = whole.elements[0].data;
    changeHeader(changed);
    expectFindings({inHeader(2, -1, "data element 0")});
    EXPECT_EQ(verified().counts.rows, 6) << "the others are gone through";
    changed.elements[1].index = whole.elements[0].index;
    changeHeader(changed);
    expectFindings({inHeader(1, -1, "data element 0"), inHeader(2, -1, "data element 0")});
    changed = whole;
    changed.elements[1].index = whole.elements[1].data;
    changeHeader(changed);
    expectFindings({inHeader(1, -1, "data element 1")});
}

// Files

TEST_F(VerifyTest, AMissingFileIsAFinding) {
    makeAll(6, 3 * rowSize);
    const table_files::Header told = header();
    const std::string data = table_files::plain(told.elements[0].data), index = table_files::plain(told.elements[1].index);
    std::filesystem::remove(indexPath(1));
    expectFindings({{index, ktwtFileIndex, 1, -1, -1, "in none of the work directories"}});
    EXPECT_EQ(verified().counts.rows, 6) << "without the index the rows lead on";
    std::filesystem::remove(dataPath(0));
    expectFindings({{data, ktwtFileData, 0, -1, -1, "in none of the work directories"},
                    {index, ktwtFileIndex, 1, -1, -1, "in none of the work directories"}});
    EXPECT_EQ(verified().counts.rows, 2);
    EXPECT_EQ(verified().counts.bytes, bytesInAll());
}

TEST_F(VerifyTest, WhatIsNoRegularFileIsAFindingAndNotOpened) {
    makeAll(6, 3 * rowSize);
    const std::string data = dataPath(0), index = indexPath(1);
    const std::string elsewhere = temp_.file("elsewhere");
    std::filesystem::rename(data, elsewhere);
    std::filesystem::create_symlink(elsewhere, data);
    std::filesystem::remove(index);
    ASSERT_EQ(mkfifo(index.c_str(), 0600), 0);
    expectFindings({{data, ktwtFileData, 0, -1, -1, "something else"}, {index, ktwtFileIndex, 1, -1, -1, "something else"}});
    std::filesystem::remove(data);
    std::filesystem::create_directory(data);
    expectFindings({{data, ktwtFileData, 0, -1, -1, "something else"}, {index, ktwtFileIndex, 1, -1, -1, "something else"}});
}

TEST_F(VerifyTest, ANameThatIsNoneOfATablesFilesIsAFindingAndNotLookedFor) {
    makeAll(3);
    const table_files::Header whole = header();
    writeFile(directories_[0] + "/notes", readFile(dataPath(0)));
    for (const std::string& name : {std::string("notes"), std::string(), "../" + table_files::plain(whole.elements[0].data),
                                    "ktwte_" + std::string(5000, 'x')}) {
        table_files::Header changed = whole;
        changed.elements[0].data = images::withNul(name);
        changeHeader(changed);
        expectFindings({{name, ktwtFileData, 0, -1, -1, "not looked for"}});
    }
}

TEST_F(VerifyTest, AnIndexThatIsTooShortIsAFindingAndTheRowsLeadOn) {
    makeAll(6);
    for (const long size : {47L, 40L, 9L, 8L}) {
        cut(indexPath(0), size);
        expectFindings(
            {{indexPath(0), ktwtFileIndex, 0, size / 8, size, "entries for " + std::to_string(size / 8) + " of 6 rows"}});
        EXPECT_EQ(verified().counts.rows, 6);
    }
    cut(indexPath(0), 0);
    expectFindings({inIndex(0, 0, "entries for 0 of 6 rows")});
}

TEST_F(VerifyTest, AnIndexOfFewerRowsWithoutColumnsIsAFinding) {
    ASSERT_TRUE(tryMakeTable(0));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(tryRow({nullptr}));
    finish();
    cut(indexPath(0), 24);
    expectFindings({inIndex(0, 3, "entries for 3 of 5 rows")});
    EXPECT_EQ(verified().counts.rows, 3);
    dropIndex(0);
    expectFindings({inData(0, -1, -1, "no columns and there is no index")});
    EXPECT_EQ(verified().counts.rows, 0);
}

// The index

TEST_F(VerifyTest, AnIndexThatDoesNotBeginAtTheFirstRowIsAFinding) {
    makeAll(3);
    setEntry(0, 0, 5);
    expectFindings({inIndex(0, 0, "first entry is 5")});
    EXPECT_EQ(verified().counts.rows, 3);
}

TEST_F(VerifyTest, AnEntryOutsideOfTheDataFileIsAFinding) {
    makeAll(6);
    for (const long entry : {6 * rowSize + 1, -1L, std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        setEntry(0, 3, entry);
        expectFindings({inIndex(0, 3, "entry, " + std::to_string(entry) + ", lies outside")});
        EXPECT_EQ(verified().counts.rows, 6) << "the rows lead on";
    }
}

TEST_F(VerifyTest, AnEntryThatDoesNotIncreaseIsAFinding) {
    makeAll(6);
    for (const long entry : {0L, rowSize, 2 * rowSize, 2 * rowSize + 4}) {
        setEntry(0, 3, entry);
        expectFindings({inIndex(0, 3, "entry, " + std::to_string(entry) + ", leaves no room")});
        EXPECT_EQ(verified().counts.rows, 6);
    }
}

TEST_F(VerifyTest, EntriesNextToEachOtherWithOneFaultAreOneFinding) {
    makeAll(9);
    for (const long row : {3, 4, 5}) setEntry(0, row, 0);
    for (const long row : {6, 7}) setEntry(0, row, 9999);
    expectFindings({inIndex(0, 3, "the next 2"), inIndex(0, 6, "the next 1")});
    setEntry(0, 8, -5);
    expectFindings({inIndex(0, 3, "the next 2"), inIndex(0, 6, "the next 2")});
    EXPECT_EQ(verified().counts.rows, 9);
}

TEST_F(VerifyTest, AnEntryWithinARowIsAFindingInBothRows) {
    makeAll(6);
    setEntry(0, 3, 3 * rowSize - 2);
    const Verified early = verified();
    ASSERT_GE(early.findings.size(), 2u);
    EXPECT_EQ(early.findings[0].row, 2);
    EXPECT_NE(early.findings[0].text.find("goes on beyond 157"), std::string::npos) << early.findings[0].text;
    for (const Finding& finding : early.findings) EXPECT_TRUE(finding.row == 2 || finding.row == 3) << finding.text;
    EXPECT_GE(early.counts.rows, 4);
    setEntry(0, 3, 3 * rowSize + 2);
    const Verified late = verified();
    ASSERT_GE(late.findings.size(), 2u);
    EXPECT_EQ(late.findings[0].row, 2);
    EXPECT_EQ(late.findings[0].offset, 3 * rowSize);
    EXPECT_NE(late.findings[0].text.find("begin at 161"), std::string::npos) << late.findings[0].text;
}

// Rows

TEST_F(VerifyTest, AFlagThatNoValueHasIsAFindingAndTheNextRowIsReached) {
    makeAll(6);
    for (const int flag : {0, 6, 9, 127}) {
        damage(dataPath(0), 2 * rowSize + flagAt, flag);
        expectFindings({inData(0, 2, 2 * rowSize + flagAt, "Column 2: the flag byte is " + std::to_string(flag))});
        EXPECT_EQ(verified().counts.rows, 5);
    }
}

TEST_F(VerifyTest, AValueOfAnotherTypeIsAFinding) {
    makeAll(6);
    damage(dataPath(0), 2 * rowSize + dayAt, 3);  // an integer is as long as a date
    expectFindings({inData(0, 2, 2 * rowSize + dayAt, "Column 4: the value has storage code 3, the column 2")});
    EXPECT_EQ(verified().counts.rows, 6);
    makeTable({{"a", ktbTypeInteger}});
    row({"no number"});
    finish();
    damage(dataPath(0), 0, 0x84);
    expectFindings({inData(0, 0, 0, "Column 0: the value has storage code 4, the column 3")});
    damage(dataPath(0), 0, 0xff);
    expectFindings({inData(0, 0, 0, "Column 0: the value has storage code 127, the column 3")});
}

TEST_F(VerifyTest, ABooleanThatIsNeitherFalseNorTrueIsAFinding) {
    makeAll(6);
    damage(dataPath(0), rowSize + flagAt + 1, 2);
    expectFindings({inData(0, 1, rowSize + flagAt, "Column 2: the boolean is 2")});
    EXPECT_EQ(verified().counts.rows, 6);
}

TEST_F(VerifyTest, ANumberThatIsNoDateIsAFindingInEitherByteOrder) {
    makeAll(6);
    const double infinity = std::numeric_limits<double>::infinity(), beyond = KtbDate::secondsEnd;
    for (const double seconds : {infinity, beyond, std::numeric_limits<double>::quiet_NaN()}) {
        damage(dataPath(0), rowSize + dayAt + 1, table_files::encoded(seconds, std::endian::native));
        expectFindings({inData(0, 1, rowSize + dayAt, "Column 4: the number of seconds")});
        EXPECT_EQ(verified().counts.rows, 6);
    }
    const std::string data = dataPath(0);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    expectFindings({{data, ktwtFileData, 0, 1, rowSize + dayAt, "Column 4: the number of seconds"}});
}

TEST_F(VerifyTest, WordsThatAreNoDecimalAreAFindingInEitherByteOrder) {
    makeAll(6);
    const std::string data = dataPath(0);
    const long at = rowSize + amountAt;
    damage(data, at + 9, std::string(16, '\xff'));  // a coefficient of more than 38 digits
    expectFindings({inData(0, 1, at, "Column 3: the three words")});
    damage(data, at + 9, std::string(16, '\0'));
    EXPECT_EQ(verified().findings, std::vector<Finding>());
    for (const std::uint64_t word : {std::uint64_t{39}, std::uint64_t{1} << 62, std::uint64_t{256}}) {
        damage(data, at + 1, table_files::encoded(word, std::endian::native));
        expectFindings({inData(0, 1, at, "Column 3: the three words")});
    }
    EXPECT_EQ(verified().counts.rows, 6);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    expectFindings({{data, ktwtFileData, 0, 1, at, "Column 3: the three words"}});
}

TEST_F(VerifyTest, ATextWithoutALengthIsAFinding) {
    makeAll(6);
    damage(dataPath(0), rowSize + textAt + 1, 0);
    expectFindings({inData(0, 1, rowSize + textAt, "Column 1: the text has no length")});
    EXPECT_EQ(verified().counts.rows, 5);
}

TEST_F(VerifyTest, ATextWithoutItsNulIsAFinding) {
    makeAll(6);
    damage(dataPath(0), rowSize + textAt + 7, 'x');
    expectFindings({inData(0, 1, rowSize + textAt, "Column 1: the text of 6 bytes does not end with a NUL")});
    EXPECT_EQ(verified().counts.rows, 5);
}

TEST_F(VerifyTest, ATextWithANulWithinIsAFinding) {
    makeAll(6);
    damage(dataPath(0), rowSize + textAt + 4, 0);
    expectFindings({inData(0, 1, rowSize + textAt, "Column 1: the text has a NUL within")});
    makeTable({{"text"}});
    row({std::string(20000, 'x')});
    finish();
    for (const long at : {5L, 4100L, 4101L, 20003L}) {
        const std::string whole = readFile(dataPath(0));
        damage(dataPath(0), at, 0);
        expectFindings({inData(0, 0, 0, "Column 0: the text has a NUL within")});
        table_files::replaceFile(dataPath(0), whole);
    }
}

TEST_F(VerifyTest, ATextLongerThanTheHeaderKnowsIsAFinding) {
    makeAll(6);
    for (const std::int32_t longest : {5, 0, -1}) {
        table_files::Header changed = header();
        changed.columns[1].longest = longest;
        changeHeader(changed);
        const Verified result = verified();
        ASSERT_EQ(result.findings.size(), 6u);
        EXPECT_NE(
            result.findings[5].text.find("6 bytes, but the header knows of no text of more than " + std::to_string(longest)),
            std::string::npos)
            << result.findings[5].text;
        EXPECT_EQ(result.counts.rows, 6);
    }
}

TEST_F(VerifyTest, ARowLongerThanTheIndexHasItIsAFinding) {
    makeAll(6);
    damage(dataPath(0), rowSize + textAt + 1, 100);
    expectFindings({inData(0, 1, rowSize, "goes on beyond 106")});
    EXPECT_EQ(verified().counts.rows, 5);
    damage(dataPath(0), rowSize + textAt + 1, std::string("\xff\xff\xff\xff"));
    expectFindings({inData(0, 1, rowSize, "goes on beyond 106")});
}

TEST_F(VerifyTest, ARowShorterThanTheIndexHasItIsAFinding) {
    makeTable({{"a", ktbTypeInteger}, {"b", ktbTypeInteger}});
    for (int i = 0; i < 3; ++i) row({i, i});
    finish();
    damage(dataPath(0), 18 + 9, 128);  // a null in the place of row 1's second integer
    expectFindings({inData(0, 1, 18 + 10, "ends here, but the index has the next one begin at 36")});
    EXPECT_EQ(verified().counts.rows, 3);
}

TEST_F(VerifyTest, ADataFileThatIsCutOffIsOneFindingInItAndOneInTheIndex) {
    makeAll(6);
    const std::string whole = readFile(dataPath(0));
    for (long size = 0; size < 6 * rowSize; ++size) {
        cut(dataPath(0), size);
        const long last = size / rowSize;
        const bool between = size % rowSize == 0;
        std::vector<Finding> expected = {
            inData(0, last, last * rowSize, between ? "ends before this row" : "ends within this row")};
        if (last < 5) expected.push_back(inData(0, 5, -1, "it is the first of 1 that"));
        if (last < 5) expected.push_back(inIndex(0, last + 1, "lies outside of the data file"));
        // The entries are told when their run ends, before what is told of the last row.
        if (last < 5) std::swap(expected[1], expected[2]);
        expectFindings(expected);
        EXPECT_EQ(verified().counts.rows, last);
        table_files::replaceFile(dataPath(0), whole);
    }
}

TEST_F(VerifyTest, WithoutAnIndexDamageEndsTheElementAndNotTheTable) {
    makeAll(12, 5 * rowSize);
    dropIndex(0);
    damage(dataPath(0), 2 * rowSize + flagAt, 77);
    expectFindings({inData(0, 2, 2 * rowSize + flagAt, "flag byte is 77"), inData(0, 3, -1, "the first of 3 that")});
    EXPECT_EQ(verified().counts.rows, 8);
    cut(dataPath(0), rowSize + 1);
    expectFindings({inData(0, 1, rowSize, "ends within this row"), inData(0, 2, -1, "the first of 4 that")});
}

TEST_F(VerifyTest, ARowAfterADamagedOneWithoutAnEntryIsPassedOver) {
    makeAll(6);
    damage(dataPath(0), 2 * rowSize + flagAt, 77);
    setEntry(0, 3, 0);
    expectFindings({inData(0, 2, 2 * rowSize + flagAt, "flag byte is 77"), inIndex(0, 3, "leaves no room")});
    EXPECT_EQ(verified().counts.rows, 4);
}

TEST_F(VerifyTest, OfManyFindingsInAFileAHundredAreTold) {
    makeTable({{"flag", ktbTypeBoolean}});
    for (int i = 0; i < 1000; ++i) row({true});
    finish();
    for (const std::size_t count : {100u, 101u, 1000u}) {
        std::string bytes = readFile(dataPath(0));
        for (std::size_t i = 0; i < count; ++i) bytes[2 * i + 1] = 7;
        table_files::replaceFile(dataPath(0), bytes);
        const Verified result = verified();
        ASSERT_EQ(result.findings.size(), std::min<std::size_t>(count, 101));
        EXPECT_EQ(result.findings[99].row, 99);
        if (count == 100) continue;
        EXPECT_EQ(result.findings[100].row, -1);
        EXPECT_NE(result.findings[100].text.find(std::to_string(count - 100) + " more"), std::string::npos);
    }
}

// Files made to cost much

// The bytes that this process has read from files so far.
long bytesRead() {
    std::ifstream io("/proc/self/io");
    std::string name;
    long bytes = -1;
    io >> name >> bytes;
    EXPECT_EQ(name, "rchar:");
    return bytes;
}

class CostTest : public VerifyTest {
protected:
    void SetUp() override {
        if (!std::ifstream("/proc/self/io")) GTEST_SKIP() << "this system does not count what a process reads";
    }

    // A table of one element with these files, whose columns are all texts.
    void place(std::size_t columns, const std::string& data, const std::vector<std::int64_t>& entries) {
        name_ = "ktwt_t";
        table_files::Header header;
        header.columns.assign(columns, {5, 0, std::numeric_limits<std::int32_t>::max(), images::withNul("")});
        header.rows = static_cast<std::int64_t>(entries.size());
        header.elements.push_back({header.rows, images::withNul(data_), images::withNul(index_)});
        std::string index;
        for (const std::int64_t entry : entries) index += table_files::encoded(entry, std::endian::native);
        writeFile(directories_[0] + "/" + name_, table_files::bytesFrom(header));
        writeFile(directories_[0] + "/" + data_, data);
        writeFile(directories_[0] + "/" + index_, index);
    }

    void expectLittleRead() {
        const long before = bytesRead();
        const Verified result = verified();
        const long read = bytesRead() - before;
        EXPECT_TRUE(result.looked) << result.error;
        EXPECT_GT(result.counts.findings, 0);
        EXPECT_LE(result.counts.findings, 210);
        EXPECT_LE(read, 2 * bytesInAll() + (1 << 20));
    }

    static std::string longText(std::size_t size) { return images::text(std::string(size, 'x')); }

    const std::string data_ = "ktwte_aaaaaaaaaaaaaaaaaaaa", index_ = "ktwtei_aaaaaaaaaaaaaaaaaaaa";
};

TEST_F(CostTest, EntriesThatLeadToOneLargeRowAgainAndAgainAreNotFollowed) {
    place(1, longText(4 << 20), std::vector<std::int64_t>(100000, 0));
    expectLittleRead();
    EXPECT_EQ(verified().counts.rows, 1);
}

TEST_F(CostTest, EntriesThatGoToAndFroAreNotFollowed) {
    std::vector<std::int64_t> entries;
    for (std::int64_t i = 0; i < 100000; ++i) entries.push_back(i % 2 == 0 ? 0 : 2 << 20);
    place(1, longText(4 << 20), entries);
    expectLittleRead();
}

TEST_F(CostTest, EntriesThatIncreaseByOneDoNotHaveManyColumnsReadAgainAndAgain) {
    std::vector<std::int64_t> entries;
    for (std::int64_t i = 0; i < 300000; ++i) entries.push_back(i);
    place(20000, std::string(300000, '\x80'), entries);
    expectLittleRead();
}

TEST_F(CostTest, TextsThatReachOverEachOtherAreReadOnce) {
    std::string data;
    std::vector<std::int64_t> entries;
    for (std::int64_t i = 0; i < 200000; ++i) {
        entries.push_back(static_cast<std::int64_t>(data.size()));
        data += std::string("\x05\x80\x0f\xff\xff", 5);
    }
    place(1, data + std::string(1 << 20, '\0'), entries);
    expectLittleRead();
}

TEST_F(CostTest, ManyElementsWithOneFileReadItOnce) {
    place(1, longText(4 << 20), {0});
    table_files::Header changed = header();
    changed.elements.resize(2000, changed.elements[0]);
    changed.rows = 2000;
    changeHeader(changed);
    expectLittleRead();
}

TEST_F(CostTest, CountsThatNoFileBearsOutCostNothing) {
    for (const std::size_t columns : {0u, 1u}) {
        place(columns, columns == 0 ? "" : longText(10), {0});
        for (const bool indexed : {true, false}) {
            table_files::Header changed = header();
            changed.rows = changed.elements[0].rows = std::numeric_limits<std::int64_t>::max() - 1;
            if (!indexed) changed.elements[0].index = "";
            changeHeader(changed);
            expectLittleRead();
        }
    }
}

// Every small damage: what verification finds nothing wrong with can be read.

class EveryByteTest : public VerifyTest, public testing::WithParamInterface<images::Order> {
protected:
    void SetUp() override { placeGolden(GetParam()); }

    long rowsReadable(bool reversed, bool* whole) {
        table_.reset(manager_->open(ktb(name_), reversed, &error_));
        *whole = table_ != nullptr;
        if (!table_) return 0;
        const Reading reading = readAll(*table_);
        *whole = !reading.failed;
        return static_cast<long>(reading.rows.size());
    }

    // Rows are read backwards by the index alone.
    bool hasIndexes() const {
        FileParts parts;
        KtbString error;
        EXPECT_TRUE(ktwtListTableFiles(list().c_str(), name_.c_str(), &parts, &error)) << error.asCstr();
        return parts.all.size() % 2 == 1;
    }

    void expectReadableWhenSound(const std::string& what) {
        const Verified result = verified();
        ASSERT_TRUE(result.looked) << what << result.error;
        if (!result.findings.empty()) {
            ++damaged_;
            return;
        }
        ++sound_;
        for (const bool reversed : {false, true}) {
            if (reversed && !hasIndexes()) continue;
            bool whole = false;
            EXPECT_EQ(rowsReadable(reversed, &whole), result.counts.rows) << what;
            EXPECT_TRUE(whole) << what;
        }
        table_.reset();
    }

    std::vector<std::string> tableFiles() const {
        std::vector<std::string> paths;
        for (const std::string& name : files()) paths.push_back(path(name));
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    long damaged_ = 0;
    long sound_ = 0;
};

INSTANTIATE_TEST_SUITE_P(, EveryByteTest, testing::Values(images::Order::ours, images::Order::other),
                         [](const auto& order) { return std::string(order.param == images::Order::ours ? "Ours" : "Other"); });

TEST_P(EveryByteTest, ATableWithOneByteChangedIsReadableUnlessThereIsAFinding) {
    for (const std::string& path : tableFiles()) {
        const std::string whole = readFile(path);
        const Patch file(path);
        for (std::size_t i = 0; i < whole.size(); ++i) {
            if (i % 16 != 0 && whole[i] == 'x') continue;  // the texts are long; what stands inside of them is only text
            for (const int byte : {0x00, 0x01, 0x05, 0x7f, 0x80, 0xff}) {
                file.put(i, static_cast<unsigned char>(byte));
                expectReadableWhenSound(path + " " + std::to_string(i) + " " + std::to_string(byte));
                if (HasFailure()) return;
            }
            file.put(i, static_cast<unsigned char>(whole[i]));
        }
    }
    EXPECT_GT(damaged_, 1000);
    EXPECT_GT(sound_, 300);
}

TEST_P(EveryByteTest, ATableOfWhichAFileIsCutOffAnywhereHasAFinding) {
    for (const std::string& path : tableFiles()) {
        const Patch file(path);
        for (std::size_t size = file.size(); size-- > 0;) {
            file.cut(size);
            EXPECT_GT(verified().counts.findings, 0) << path << " " << size;
        }
        file.restore();
    }
}

TEST_P(EveryByteTest, ATableOfRandomBytesIsReadableUnlessThereIsAFinding) {
    std::vector<std::unique_ptr<Patch>> patches;
    for (const std::string& path : tableFiles()) patches.push_back(std::make_unique<Patch>(path));
    for (unsigned seed = 1; seed <= 2000; ++seed) {
        std::mt19937 random(seed);
        for (const auto& file : patches) {
            file->restore();
            for (auto changes = random() % 3; changes > 0; --changes) {
                const std::size_t at = random() % file->size();
                file->put(at, static_cast<unsigned char>(random() % 2 != 0 ? random() % 6 : random()));
            }
        }
        expectReadableWhenSound("seed " + std::to_string(seed));
        if (HasFailure()) return;
    }
    EXPECT_GT(damaged_, 1000);
    EXPECT_GT(sound_, 20);
}

}  // namespace
