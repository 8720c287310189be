// Which rows and columns cat writes, and where to.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tool/rows_fixture.h"

namespace {

class CatTest : public RowsTest {
protected:
    // The output of a run that must succeed without a word.
    std::string cat(std::vector<std::string> words) {
        words.insert(words.begin(), "cat");
        const Finished run = ktwt(words);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return run.out;
    }

    // That the words are refused with that status and a message of one line in which `part` occurs, and nothing is written.
    void expectRefused(std::vector<std::string> words, int status, const std::string& part) {
        words.insert(words.begin(), "cat");
        const Finished run = ktwt(words);
        EXPECT_EQ(run.status, status) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.compare(0, 6, "ktwt: "), 0) << run.err;
        EXPECT_NE(run.err.find(part), std::string::npos) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
};

TEST_F(CatTest, WritesCsvUnlessAskedForSomethingElse) {
    const std::string table = make({{"a"}, {"b", ktbTypeInteger}}, {{"x", "1"}, {"y", "2"}});
    EXPECT_EQ(cat({table}), "a,b\nx,1\ny,2\n");
    EXPECT_EQ(cat({table, "--format", "csv"}), "a,b\nx,1\ny,2\n");
}

TEST_F(CatTest, WritesTheNamesOfATableWithoutRows) { EXPECT_EQ(cat({make({{"a"}, {"b"}}, {})}), "a,b\n"); }

TEST_F(CatTest, LeavesOutTheNamesOnRequest) {
    const std::string table = make({{"a"}}, {{"x"}});
    EXPECT_EQ(cat({table, "--no-header"}), "x\n");
    EXPECT_EQ(cat({table, "--no-header", "-f", "tsv"}), "x\n");
    EXPECT_EQ(cat({table, "--no-header", "-f", "text"}), "x\n");
    for (const char* format : {"json", "jsonl", "xml"}) expectRefused({table, "--no-header", "-f", format}, 2, "--no-header");
}

TEST_F(CatTest, ShowsTheColumnsInTheOrderInWhichTheyAreAskedFor) {
    const std::string table = make({{"a"}, {"b"}, {"c"}}, {{"1", "2", "3"}});
    EXPECT_EQ(cat({table, "--columns", "c,a"}), "c,a\n3,1\n");
    EXPECT_EQ(cat({table, "--columns", "b,b"}), "b,b\n2,2\n");
    EXPECT_EQ(cat({table, "--columns", "B"}), "b\n2\n");
    EXPECT_EQ(cat({table, "--columns", "a,b,c"}), "a,b,c\n1,2,3\n");
}

TEST_F(CatTest, RenamesColumns) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}});
    EXPECT_EQ(cat({table, "--columns", "x=b,a"}), "x,a\n2,1\n");
    EXPECT_EQ(cat({table, "--columns", "a=b,b=a"}), "a,b\n2,1\n");
}

TEST_F(CatTest, TakesAnyNameBehindABackslash) {
    const std::string table = make({{"a,b"}, {"c=d"}, {"e\\f"}, {"%20 g"}}, {{"1", "2", "3", "4"}});
    EXPECT_EQ(cat({table, "--columns", "%20 g,e\\\\f,c\\=d,a\\,b"}), "%20 g,e\\f,c=d,\"a,b\"\n4,3,2,1\n");
    EXPECT_EQ(cat({table, "--columns", "x\\=y=a\\,b"}), "x=y\n1\n");
}

TEST_F(CatTest, NamesAColumnThatIsNotThere) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}});
    expectRefused({table, "--columns", "a,z"}, 2, table + ": there is no column \"z\"; there are a, b");
    expectRefused({table, "--columns", "a=z"}, 2, "\"z\"");
    expectRefused({table, "--columns", "z=a,y"}, 2, "\"y\"");
    expectRefused({table, "--columns", "a,"}, 2, "missing");
    expectRefused({table, "--columns", ""}, 2, "missing");
    expectRefused({table, "--columns", "a="}, 2, "missing");
}

TEST_F(CatTest, NamesATableThatIsNotThere) { expectRefused({"ktwt_nowhere"}, 3, "ktwt: ktwt_nowhere: "); }

// Every first row, count, limit and direction that makes a difference, on a table of several data elements.
TEST_F(CatTest, ShowsTheRowsThatAreAskedForInBothDirections) {
    constexpr long rows = 5;
    const std::string table = counting(rows);
    ASSERT_GT(dataFiles().size(), 1u);
    for (const long first : {0L, 1L, 4L, 5L, 7L}) {
        for (const long count : {-1L, 0L, 1L, 3L, 9L}) {
            for (const long limit : {-1L, 0L, 2L}) {
                for (const bool reversed : {false, true}) {
                    const std::string range = std::to_string(first) + "," + std::to_string(count);
                    std::vector<std::string> words = {table, "--no-header", "--rows", range};
                    if (limit >= 0) words.insert(words.end(), {"--limit", std::to_string(limit)});
                    if (reversed) words.push_back("--reverse");
                    std::vector<long> expected;
                    for (long i = first; i < rows && (count < 0 || i < first + count); ++i) expected.push_back(i);
                    if (reversed) std::reverse(expected.begin(), expected.end());
                    if (limit >= 0) expected.resize(std::min(expected.size(), static_cast<std::size_t>(limit)));
                    std::string text;
                    for (const long i : expected) text += std::to_string(i) + "\n";
                    ASSERT_EQ(cat(words), text) << range << " limit " << limit << (reversed ? " reversed" : "");
                }
            }
        }
    }
}

TEST_F(CatTest, CountsRowsBeyondAllMeasure) {
    const std::string table = counting(3);
    EXPECT_EQ(cat({table, "--rows", "1,9223372036854775807"}), "n\n1\n2\n");
    EXPECT_EQ(cat({table, "--rows", "1,9223372036854775807", "--reverse"}), "n\n2\n1\n");
    EXPECT_EQ(cat({table, "--rows", "9223372036854775807,1", "--reverse"}), "n\n");
    EXPECT_EQ(cat({table, "--rows", "1"}), "n\n1\n2\n");
    EXPECT_EQ(cat({table, "--reverse", "--limit", "1"}), "n\n2\n");
}

TEST_F(CatTest, RefusesRowsThatAreNone) {
    const std::string table = counting(3);
    for (const char* rows : {"", "x", "1,", "1,x", ",1", "1,2,3", "-1,2", "1,-2", "1 ,2", "9223372036854775808"}) {
        expectRefused({table, "--rows", rows}, 2, "--rows");
    }
    for (const char* limit : {"-1", "x"}) expectRefused({table, "--limit", limit}, 2, "--limit");
}

TEST_F(CatTest, ShowsWhatAUriChooses) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}, {"3", "4"}, {"5", "6"}});
    EXPECT_EQ(cat({"ktwt:" + table + "?rows=1,1&col=x=b&col=land:string=DE"}), "x,land\n4,DE\n");
    EXPECT_EQ(cat({"ktwt:" + table + "?rows=1,-1&col=a", "--reverse"}), "a\n5\n3\n");
}

TEST_F(CatTest, LetsOptionsAddWhatAUriLeavesOpen) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}, {"3", "4"}});
    EXPECT_EQ(cat({"ktwt:" + table + "?col=b", "--rows", "1,1"}), "b\n4\n");
    EXPECT_EQ(cat({"ktwt:" + table + "?rows=1,1", "--columns", "b"}), "b\n4\n");
    EXPECT_EQ(cat({"ktwt:" + table, "--columns", "b", "--limit", "1"}), "b\n2\n");
}

TEST_F(CatTest, RefusesOptionsThatContradictTheUri) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}});
    expectRefused({"ktwt:" + table + "?col=b", "--columns", "a"}, 2, "--columns cannot be given as well");
    expectRefused({"ktwt:" + table + "?rows=0,1&col=b", "--rows", "0,1"}, 2, "--rows cannot be given as well");
    expectRefused({"ktwt:" + table}, 2, "a URI without columns shows none");
    expectRefused({"ktwt:" + table + "?rows=0,1"}, 2, "a URI without columns shows none");
    expectRefused({"ktwt:" + table + "?rows=-1,1&col=a"}, 2, "KTWT-1788");
    expectRefused({"ktwt:" + table + "?rows=1,-2&col=a"}, 2, "KTWT-1789");
    expectRefused({"other:" + table + "?col=a"}, 2, "ktwt:");
}

TEST_F(CatTest, WritesAFileOnlyWhenItIsComplete) {
    const std::string table = make({{"a"}}, {{"x"}, {"y"}, {"z"}});
    const std::string path = files.file("rows.csv");
    EXPECT_EQ(cat({table, "--output", path}), "");
    EXPECT_EQ(readFile(path), "a\nx\ny\nz\n");
    EXPECT_EQ(cat({table, "-o", path, "-f", "jsonl", "--rows", "2,1"}), "");
    EXPECT_EQ(readFile(path), "{\"a\":\"z\"}\n");
    EXPECT_EQ(cat({table, "-o", "-"}), "a\nx\ny\nz\n");
    expectRefused({table, "-o", files.file("no/such/directory")}, 3, "no/such/directory");
    damageText("y");
    expectRefused({table, "-o", path}, 6, table);
    EXPECT_EQ(readFile(path), "{\"a\":\"z\"}\n");
    EXPECT_EQ(files.names(), std::vector<std::string>{"rows.csv"});
}

TEST_F(CatTest, ReplacesWhatALinkLeadsToAndKeepsTheLink) {
    const std::string table = make({{"a"}}, {{"x"}});
    const std::string target = file("target.csv", std::string(1000, 'o'));
    const std::string link = files.file("link");
    const std::string outer = files.file("outer");
    ASSERT_EQ(symlink("target.csv", link.c_str()), 0);
    ASSERT_EQ(symlink(link.c_str(), outer.c_str()), 0);
    EXPECT_EQ(cat({table, "-o", outer}), "");
    EXPECT_EQ(readFile(target), "a\nx\n");
    EXPECT_TRUE(std::filesystem::is_symlink(outer) && std::filesystem::is_symlink(link));
    ASSERT_EQ(unlink(target.c_str()), 0);
    EXPECT_EQ(cat({table, "-o", link}), "");
    EXPECT_EQ(readFile(target), "a\nx\n");
    EXPECT_EQ(files.names(), (std::vector<std::string>{"link", "outer", "target.csv"}));
}

TEST_F(CatTest, RefusesALinkThatLeadsToItself) {
    const std::string link = files.file("link");
    ASSERT_EQ(symlink("link", link.c_str()), 0);
    expectRefused({make({{"a"}}, {{"x"}}), "-o", link}, 3, link);
}

TEST_F(CatTest, WritesToDevStdoutWhereOthersWriteToo) {
    const std::string log = file("log", "before\n");
    std::string words = "{ ";
    for (const std::string& word : command({"cat", make({{"a"}}, {{"x"}}), "-o", "/dev/stdout"})) words += "'" + word + "' ";
    words += "; echo after; } ";
    EXPECT_EQ(Running({"sh", "-c", words + ">> " + log}, "/dev/null").wait().status, 0);
    EXPECT_EQ(readFile(log), "before\na\nx\nafter\n");
    EXPECT_EQ(Running({"sh", "-c", words + "> " + log}, "/dev/null").wait().status, 0);
    EXPECT_EQ(readFile(log), "a\nx\nafter\n");
}

TEST_F(CatTest, TellsOfColumnsOfAUriThatAreNotThere) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}});
    const std::string uri = "ktwt:" + table + "?col=A&col=zz&col=n=DE&col=land:string=DE&col=yy";
    const Finished run = ktwt({"cat", uri});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "a,zz,n,land,yy\n1,,DE,DE,\n");
    EXPECT_EQ(run.err, "ktwt: " + uri + ": nulls stand for what is no column: zz, yy; there are a, b\n");
    EXPECT_EQ(ktwt({"partition", uri, "2"}).err, run.err);
}

TEST_F(CatTest, SaysThatAUriIsNone) {
    const std::string table = make({{"a"}}, {{"1"}});
    expectRefused({"ktwt:" + table + "?rows=x&col=a"}, 2, "no valid URI");
    EXPECT_NE(ktwt({"info", "KTWT:" + table + "?rows=x&col=a"}).err.find("no valid URI"), std::string::npos);
}

TEST_F(CatTest, WritesTheRowsBeforeADamagedOneAndSaysSo) {
    const std::string table = make({{"a"}}, {{"first"}, {"second"}, {"third"}});
    damageText("second");
    for (const char* format : {"csv", "tsv", "text"}) {
        const Finished run = ktwt({"cat", table, "-f", format});
        EXPECT_EQ(run.status, 6);
        EXPECT_EQ(run.out, "a\nfirst\n") << format;
        EXPECT_NE(run.err.find("ktwt: " + table + ": KTWT-1301"), std::string::npos) << run.err;
    }
    const Finished json = ktwt({"cat", table, "-f", "json"});
    EXPECT_EQ(json.status, 6);
    EXPECT_EQ(json.out, "[\n{\"a\":\"first\"}");  // left open: no parser takes it for all there is
}

TEST_F(CatTest, SaysWhenThereAreFewerRowsThanTheHeaderTellsOf) {
    const std::string table = counting(3);
    std::string header = readFile(tables.file(table));
    header[24] = 4;  // the low byte of the number of rows
    writeFile(tables.file(table), header);
    const Finished run = ktwt({"cat", table});
    EXPECT_EQ(run.status, 6);
    EXPECT_EQ(run.out, "n\n0\n1\n2\n");
    EXPECT_EQ(run.err, "ktwt: " + table + ": the table's header tells of more rows than its files hold\n");
    EXPECT_EQ(cat({table, "--limit", "3"}), "n\n0\n1\n2\n");
    EXPECT_EQ(cat({table, "--rows", "0,3"}), "n\n0\n1\n2\n");
}

TEST_F(CatTest, SaysWhenTheDiskIsFull) {
    const std::string table = counting(3);
    const Finished run = ktwt({"cat", table, "-o", "/dev/full"});
    EXPECT_EQ(run.status, 4);
    EXPECT_NE(run.err.find("/dev/full"), std::string::npos) << run.err;
    std::string words = "exec ";
    for (const std::string& word : command({"cat", table})) words += "'" + word + "' ";
    const Finished standard = Running({"sh", "-c", words + "> /dev/full"}, "/dev/null").wait();
    EXPECT_EQ(standard.status, 4);
    EXPECT_NE(standard.err.find("standard output"), std::string::npos) << standard.err;
}

// More than all buffers and a pipe hold.
class BigCatTest : public CatTest {
protected:
    std::string big() {
        std::vector<TestRow> rows(20000, {std::string(100, 'x')});
        return make({{"a"}}, rows);
    }
    static constexpr std::size_t bigBytes = 20000 * 101 + 2;
};

TEST_F(BigCatTest, EndsSilentlyWhenNobodyReadsOn) {
    std::string words;
    for (const std::string& word : command({"cat", big()})) words += "'" + word + "' ";
    const Finished run = Running({"bash", "-c", words + "| head -n 1; exit ${PIPESTATUS[0]}"}, "/dev/null").wait();
    EXPECT_EQ(run.status, 7);
    EXPECT_EQ(run.out, "a\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(BigCatTest, WritesAllOfItToAPipe) {
    std::string words;
    for (const std::string& word : command({"cat", big()})) words += "'" + word + "' ";
    const Finished run = Running({"bash", "-c", words + "| wc -c"}, "/dev/null").wait();
    EXPECT_EQ(run.out, std::to_string(bigBytes) + "\n");
}

TEST_F(BigCatTest, EndsAtCtrlC) {
    const std::string fifo = files.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    Running cat(command({"cat", big(), "-o", fifo}), "/dev/null");
    std::ifstream reader(fifo, std::ios::binary);
    std::string got(1, static_cast<char>(reader.get()));  // so that it is writing now
    cat.signal(SIGINT);
    got.append(std::istreambuf_iterator<char>(reader), std::istreambuf_iterator<char>());
    const Finished run = cat.wait();
    EXPECT_EQ(run.status, 7);
    EXPECT_EQ(run.err, "ktwt: cancelled\n");
    EXPECT_LT(got.size(), bigBytes);
}

}  // namespace
