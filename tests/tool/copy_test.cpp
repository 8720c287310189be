// Copying tables from the command line.
#include "tool/scene.h"

namespace {

class CopyTest : public SceneTest {};

TEST_F(CopyTest, PrintsTheNameOfATableWithTheSameColumnsAndRows) {
    const std::string source = towns();
    const std::string copy = nameOf(ktwt({"copy", source}));
    EXPECT_NE(copy, source);
    EXPECT_EQ(ktwt({"cat", copy}).out, ktwt({"cat", source}).out);
    EXPECT_EQ(ktwt({"compare", source, copy}).status, 0);
}

TEST_F(CopyTest, CopiesOnlyWhatAUriChooses) {
    const std::string copy = nameOf(ktwt({"copy", "ktwt:" + towns() + "?rows=1,2&col=town=city&col=land:string=N%C3%B6"}));
    EXPECT_EQ(ktwt({"cat", copy}).out, "town,land\nKiel,Nö\n\"He said \"\"no\"\", twice\",Nö\n");
}

TEST_F(CopyTest, CopiesATableWithoutRows) {
    const std::string copy = nameOf(ktwt({"copy", make({{"a"}, {"b", ktbTypeDecimal}}, {})}));
    EXPECT_EQ(ktwt({"cat", copy}).out, "a,b\n");
}

TEST_F(CopyTest, DividesTheCopyIntoElementsAsItIsTold) {
    std::vector<TestRow> rows(2000, {std::string(100, 'x')});
    const std::string source = make({{"text"}}, rows);
    const std::string copy = nameOf(ktwt({"copy", source, "--element-size", "64K"}));
    EXPECT_EQ(tables.names("ktwte_" + source.substr(5)).size(), 1U);
    EXPECT_EQ(tables.names("ktwte_" + copy.substr(5)).size(), 4U);
    EXPECT_EQ(ktwt({"compare", source, copy}).status, 0);
}

TEST_F(CopyTest, PutsTheCopyWhereItIsTold) {
    const std::string source = towns();
    const std::string archive = files.directory("archive");
    const std::string copy = nameOf(ktwt({"copy", source, "--to", archive}));
    EXPECT_EQ(tables.names("ktwt_").size(), 1U);
    EXPECT_EQ(files.names("archive").size(), 1U);
    const Finished cat = Running({KTWT_TOOL, "cat", copy, "--dirs", archive}, "/dev/null").wait();
    EXPECT_EQ(cat.out, ktwt({"cat", source}).out);
}

TEST_F(CopyTest, LeavesNothingBehindWhenItIsInterrupted) {
    const std::string source = counting(20000);
    const std::vector<std::string> before = tables.names();
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const Finished copy = signalled({"copy", source}, number);
        EXPECT_EQ(copy.status, 7);
        EXPECT_EQ(copy.err, "ktwt: cancelled\n");
        EXPECT_EQ(tables.names(), before);
        ASSERT_EQ(unlink(files.file("stuck").c_str()), 0);
    }
}

TEST_F(CopyTest, LeavesNothingBehindOnAFullDisk) {
    const std::string source = make({{"text"}}, std::vector<TestRow>(3000, {std::string(100, 'x')}));
    const std::vector<std::string> before = tables.names();
    EXPECT_FAILURE(withSmallFiles({"copy", source}), 4, "");
    EXPECT_EQ(tables.names(), before);
}

TEST_F(CopyTest, LeavesNothingBehindWhenItsNameCannotBePrinted) {
    const std::string source = towns();
    const std::vector<std::string> before = tables.names();
    EXPECT_FAILURE(withFullOutput({"copy", source}), 4, "standard output");
    EXPECT_EQ(tables.names(), before);
}

TEST_F(CopyTest, TellsWhatIsWrongWithItsSource) {
    EXPECT_FAILURE(ktwt({"copy", "ktwt_nowhere"}), 3, "ktwt_nowhere");
    const std::string table = towns();
    EXPECT_FAILURE(ktwt({"copy", table, "--element-size", "much"}), 2, "--element-size");
    EXPECT_FAILURE(ktwt({"copy", "ktwt:" + table}), 2, "without columns");
    EXPECT_FAILURE(ktwt({"copy"}), 2, "TABLE");
    cutHeader(table);
    EXPECT_FAILURE(ktwt({"copy", table}), 6, table);
}

}  // namespace
