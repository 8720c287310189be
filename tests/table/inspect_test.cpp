// The files of a table, as they are told to those who look at it from outside.
#include <sys/stat.h>

#include "format/images.h"
#include "ktwt/sweep.h"
#include "table/findings.h"
#include "table/table_fixture.h"

namespace {

using Parts = std::vector<FilePart>;

class InspectTest : public TableTest {
protected:
    std::string list() const {
        std::string result;
        for (const std::string& directory : directories_) result += (result.empty() ? "" : ":") + directory;
        return result;
    }

    bool listFiles(FileParts* parts) {
        error_ = KtbString();
        const bool listed = ktwtListTableFiles(list().c_str(), name_.c_str(), parts, &error_);
        EXPECT_EQ(listed, error_.length() == 0);
        return listed;
    }

    Parts told() {
        FileParts parts;
        EXPECT_TRUE(listFiles(&parts)) << error_.asCstr();
        return parts.all;
    }

    // What must be told of a file that is there.
    static FilePart there(const std::string& path, int kind, int element, long rows) {
        return {path, kind, element, rows, static_cast<long>(std::filesystem::file_size(path))};
    }
    FilePart headerPart(long rows) const { return there(path(name_), ktwtFileHeader, -1, rows); }
    FilePart dataPart(int element, long rows) const {
        return there(dataPath(static_cast<std::size_t>(element)), ktwtFileData, element, rows);
    }
    FilePart indexPart(int element, long rows) const {
        return there(indexPath(static_cast<std::size_t>(element)), ktwtFileIndex, element, rows);
    }
};

TEST_F(InspectTest, TheFilesOfATableAreToldInTheirOrder) {
    makeRows(5, 60);
    ASSERT_EQ(elements(), 2u);
    const long first = header().elements[0].rows;
    EXPECT_EQ(told(),
              (Parts{headerPart(5), dataPart(0, first), indexPart(0, first), dataPart(1, 5 - first), indexPart(1, 5 - first)}));
}

TEST_F(InspectTest, ATableWithoutRowsHasOnlyAHeader) {
    makeRows(0);
    EXPECT_EQ(told(), (Parts{headerPart(0)}));
}

TEST_F(InspectTest, AnElementWithoutAnIndexHasOneFile) {
    makeRows(3);
    table_files::Header changed = header();
    changed.elements[0].index = "";
    changeHeader(changed);
    EXPECT_EQ(told(), (Parts{headerPart(3), dataPart(0, 3)}));
}

TEST_F(InspectTest, FilesAreFoundInTheDirectoryInWhichAReaderFindsThem) {
    useDirectories({"a", "b", "c"});
    makeRows(3);
    const std::string data = table_files::plain(header().elements[0].data);
    const std::string index = table_files::plain(header().elements[0].index);
    std::filesystem::rename(indexPath(0), directories_[1] + "/" + index);
    std::filesystem::rename(dataPath(0), directories_[2] + "/" + data);
    writeFile(directories_[0] + "/" + data, "of another place, where a reader looks last: it begins where the index is");
    ASSERT_TRUE(reopen());
    ASSERT_EQ(rowsRead().size(), 3u);
    EXPECT_EQ(told(), (Parts{headerPart(3), there(directories_[2] + "/" + data, ktwtFileData, 0, 3),
                             there(directories_[1] + "/" + index, ktwtFileIndex, 0, 3)}));
    EXPECT_EQ(verify(list(), name_).findings, std::vector<Finding>());
}

TEST_F(InspectTest, AFileThatIsNotThereIsToldByItsName) {
    useDirectories({"a", "b"});
    makeRows(3);
    const std::string data = table_files::plain(header().elements[0].data);
    const FilePart index = indexPart(0, 3);
    std::filesystem::remove(dataPath(0));
    EXPECT_EQ(told(), (Parts{headerPart(3), {data, ktwtFileData, 0, 3, -1}, index}));
}

TEST_F(InspectTest, WhatIsNoRegularFileHasNoSizeAndIsNotOpened) {
    makeRows(3);
    const std::string data = dataPath(0), index = indexPath(0);
    std::filesystem::remove(data);
    ASSERT_EQ(mkfifo(data.c_str(), 0600), 0);
    std::filesystem::rename(index, temp_.file("elsewhere"));
    std::filesystem::create_symlink(temp_.file("elsewhere"), index);
    EXPECT_EQ(told(), (Parts{headerPart(3), {data, ktwtFileData, 0, 3, -1}, {index, ktwtFileIndex, 0, 3, -1}}));
}

TEST_F(InspectTest, NamesThatLeadElsewhereAreNotLookedFor) {
    makeRows(3);
    writeFile(temp_.file("ktwte_aaaaaaaaaaaaaaaaaaaa"), "not in a work directory");
    for (const std::string& name :
         {std::string("../ktwte_aaaaaaaaaaaaaaaaaaaa"), std::string(), "ktwte_" + std::string(9000, 'x')}) {
        table_files::Header changed = header();
        changed.elements[0].data = images::withNul(name);
        changeHeader(changed);
        EXPECT_EQ(told(), (Parts{headerPart(3), {name, ktwtFileData, 0, 3, -1}, indexPart(0, 3)}));
    }
}

TEST_F(InspectTest, TheVisitorEndsTheListing) {
    makeRows(5, 60);
    const Parts all = told();
    for (std::size_t most = 1; most <= all.size(); ++most) {
        FileParts parts(most);
        EXPECT_TRUE(listFiles(&parts));
        EXPECT_EQ(parts.all, Parts(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(most)));
    }
}

TEST_F(InspectTest, ATableWhoseHeaderCannotBeReadIsAFailure) {
    makeRows(3);
    FileParts parts;
    const std::string whole = readFile(path(name_));
    for (const std::size_t size : {std::size_t{0}, std::size_t{31}, std::size_t{33}, whole.size() - 1}) {
        table_files::replaceFile(path(name_), whole.substr(0, size));
        EXPECT_FALSE(listFiles(&parts));
        EXPECT_EQ(error_.asCstr(), log_.last().text);
    }
    std::filesystem::remove(path(name_));
    EXPECT_FALSE(listFiles(&parts));
    EXPECT_TRUE(says(error_, "wtfile", 1353, (directories_[0] + "/" + name_).c_str(), np_fio_errdesc(np_err_no_such_file)));
    EXPECT_TRUE(parts.all.empty());
}

TEST_F(InspectTest, AnErrorOnEntryIsAFailure) {
    makeRows(3);
    error_ = "an earlier failure";
    FileParts parts;
    EXPECT_FALSE(ktwtListTableFiles(list().c_str(), name_.c_str(), &parts, &error_));
    EXPECT_FALSE(ktwtVerifyTable(list().c_str(), name_.c_str(), nullptr, nullptr, &error_));
    EXPECT_STREQ(error_.asCstr(), "an earlier failure");
}

// Clears away in the middle of a look at a table whose removal was begun: it must wait until nobody holds the header.
class Clearing : public KtWorkTableFileVisitor, public KtWorkTableFindingVisitor {
public:
    explicit Clearing(std::string directories) : directories_(std::move(directories)) {}

    bool visit(const KtWorkTableFilePart&) override { return clear(); }
    bool visit(const KtWorkTableFinding&) override { return clear(); }

    bool clear() {
        KtWorkTableSweep counts = {};
        KtbString error;
        EXPECT_TRUE(ktwtSweepOrphans(directories_.c_str(), true, nullptr, &counts, &error)) << error.asCstr();
        EXPECT_EQ(counts.removed, removed_);
        ++times;
        return true;
    }

    void expectRemoved(long count) { removed_ = count; }
    int times = 0;

private:
    const std::string directories_;
    long removed_ = 0;
};

TEST_F(InspectTest, NobodyClearsTheTableAwayWhileItIsLookedAt) {
    makeRows(3);
    table_files::replaceFile(path(name_), readFile(path(name_)) + "being removed\n");
    Clearing clearing(list());
    EXPECT_TRUE(ktwtListTableFiles(list().c_str(), name_.c_str(), &clearing, &error_)) << error_.asCstr();
    EXPECT_EQ(clearing.times, 3);
    EXPECT_TRUE(ktwtVerifyTable(list().c_str(), name_.c_str(), &clearing, nullptr, &error_)) << error_.asCstr();
    EXPECT_EQ(clearing.times, 4);
    clearing.expectRemoved(3);
    clearing.clear();
    EXPECT_EQ(files(), std::vector<std::string>());
}

TEST_F(InspectTest, NoHandleStaysOpen) {
    makeRows(5, 60);
    const std::size_t before = openHandles();
    told();
    verify(list(), name_);
    std::filesystem::remove(dataPath(0));
    verify(list(), name_);
    table_files::replaceFile(path(name_), "");
    verify(list(), name_);
    FileParts parts;
    listFiles(&parts);
    EXPECT_EQ(openHandles(), before);
}

TEST_F(InspectTest, TooFewHandlesAreAFailureAndNoFinding) {
    makeRows(5, 60);
    for (int handles = 0; handles < 3; ++handles) {
        Verified result;
        {
            const HandleLimit limit(handles);
            result = verify(list(), name_);
        }
        EXPECT_FALSE(result.looked) << handles;
        EXPECT_EQ(result.error.substr(0, 9), "KTWT-1353") << result.error;
        EXPECT_EQ(result.findings, std::vector<Finding>());
    }
}

}  // namespace
