// Making tables from CSV files: the files that there are, what becomes of them, and what is said of those that are wrong.
#include <stdlib.h>

#include "support/sanitizers.h"
#include "tool/scene.h"

namespace {

class ImportTest : public SceneTest {
protected:
    // The names of the types of a table's columns: "string integer".
    std::string typesOf(const std::string& table) const {
        KtbString error;
        KtWorkTableManager* const manager = ktwtCreateManager("", tables.path().c_str(), &error);
        KtWorkTableFile* const opened = manager->open(table.c_str(), false, &error);
        std::string types = error.asCstr();
        for (int i = 0; opened != nullptr && i < opened->getColumns(); ++i) {
            ktbType type = ktbTypeNone;
            opened->getColumnInfo(i, nullptr, &type, nullptr, nullptr);
            types += std::string(i == 0 ? "" : " ") + ktbTypeToString(type);
        }
        if (opened != nullptr) opened->release();
        manager->release();
        return types;
    }

    std::string importOf(const std::string& csv, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"import", file("a.csv", csv)});
        return nameOf(ktwt(std::move(options)));
    }

    std::string typesFoundIn(const std::string& csv, std::vector<std::string> options = {}) {
        return typesOf(importOf(csv, std::move(options)));
    }

    // What `cat` makes of the table that is made of a file.
    std::string throughATable(const std::string& csv, std::vector<std::string> options = {}) {
        const Finished cat = ktwt({"cat", importOf(csv, std::move(options))});
        EXPECT_EQ(cat.status, 0) << cat.err;
        return cat.out;
    }

    void expectUnchanged(const std::string& csv) { EXPECT_EQ(throughATable(csv), csv); }

    // What is said of a file that is no good, without "ktwt: " and the directory of the file.
    std::string refusalOf(const std::string& csv, int status, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"import", file("a.csv", csv)});
        const Finished import = ktwt(std::move(options));
        EXPECT_EQ(import.status, status) << import.err;
        EXPECT_EQ(import.out, "");
        EXPECT_TRUE(tables.names().empty());
        std::string said = import.err;
        for (const std::string& dropped : {std::string("ktwt: "), files.path() + "/", std::string(" (see ktwt --help)")}) {
            if (const std::size_t place = said.find(dropped); place != std::string::npos) said.erase(place, dropped.size());
        }
        return said;
    }

    std::string badBytes(const std::string& csv, std::vector<std::string> options = {}) {
        return refusalOf(csv, 6, std::move(options));
    }
    std::string badUsage(const std::string& csv, std::vector<std::string> options) {
        return refusalOf(csv, 2, std::move(options));
    }

    // Runs `ktwt import -` with a pipe that brings the bytes.
    Finished importFromPipe(const std::string& csv, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"import", "-"});
        std::vector<std::string> words = command(std::move(options));
        words.insert(words.begin(), {"/bin/sh", "-c", "cat \"$0\" | \"$@\"", file("piped.csv", csv)});
        return Running(words, "/dev/null").wait();
    }

    // A file of `rows` rows of all types, with quotes and nulls here and there.
    static std::string manyRows(long rows) {
        std::string csv = "number,name,price,day,open,zip\n";
        for (long i = 0; i < rows; ++i) {
            char line[128];
            std::snprintf(line, sizeof line, "%ld,%s %ld\",%ld.%02ld,20%02ld-0%ld-1%ld,%s,%05ld\n", i,
                          i % 10 == 0 ? "\"a \"\"b\"\"," : "\"x,", i * 7 % 1000, i % 997, i % 100, i % 25, i % 9 + 1, i % 10,
                          i % 2 == 0 ? "true" : "false", i % 100000);
            csv += i % 100 == 99 ? ",,,,,\n" : line;
        }
        return csv;
    }
};

TEST_F(ImportTest, PrintsTheNameOfTheTableAndNothingElse) {
    const Finished import = ktwt({"import", file("a.csv", "city,people\nUlm,126000\n")});
    EXPECT_EQ(import.status, 0);
    EXPECT_EQ(import.err, "");
    ASSERT_EQ(import.out.back(), '\n');
    const std::string name = import.out.substr(0, import.out.size() - 1);
    EXPECT_EQ(tables.names("ktwt_"), std::vector<std::string>{name});
    EXPECT_EQ(rows(name), "Ulm,126000\n");
}

TEST_F(ImportTest, FindsTheTypesThatKeepEveryFieldAsItIs) {
    EXPECT_EQ(typesFoundIn("a,b,c,d,e\n1,2.50,true,2024-02-29,x\n-2,3,false,2024-01-01T12:00:00,\n"),
              "integer decimal boolean date string");
    EXPECT_EQ(typesFoundIn("zip,big,huge,signed,zero\n007,9223372036854775808,1e400,+1,-0\n"),
              "string decimal string string string");
    EXPECT_EQ(typesFoundIn("a,b\n1,\n,\n"), "integer string");
    EXPECT_EQ(typesFoundIn("a,b\n"), "string string");
}

TEST_F(ImportTest, LooksAtTheLastRowToo) {
    std::string csv = "a,b\n";
    for (int i = 0; i < 100000; ++i) csv += "1,2\n";
    EXPECT_EQ(typesFoundIn(csv + "1.5,x\n"), "decimal string");
}

TEST_F(ImportTest, TakesEmptyQuotesForNullsWhereNoEmptyFieldIsWithout) {
    EXPECT_EQ(typesFoundIn("a,b\n\"1\",\"\"\n\"\",\"x\"\n"), "integer string");
    EXPECT_EQ(throughATable("a,b\n\"1\",\"\"\n\"\",\"x\"\n"), "a,b\n1,\"\"\n,x\n");
    EXPECT_EQ(typesFoundIn("a,b\n1,2\n\"\",3\n,4\n"), "string integer");
    expectUnchanged("a,b\n1,2\n\"\",3\n,4\n");
    EXPECT_EQ(typesFoundIn("a,b\n1,2\n\"\",3\n,4\n", {"--empty", "text"}), "integer integer");
}

TEST_F(ImportTest, GivesBackTheBytesOfTheFile) {
    expectUnchanged("city,people\nUlm,126000\n,\n\"\",-1\n");
    expectUnchanged("zip,sum,day,ok\n00100,1.10,2024-02-29,true\n-0,100.00,2024-01-01T10:20:30.5,\n");
    expectUnchanged("a,b\n\"x, y\",\"say \"\"hi\"\"\"\n\"two\nlines\",\"\r\n\"\n");
    expectUnchanged("a\n9223372036854775807\n-9223372036854775808\n");
    expectUnchanged("a\n99999999999999999999999999999999999999\n0.10\n");
    expectUnchanged("a\n\xff\xfe\n\xc3\n");
    expectUnchanged("a\n\n1\n\n");
}

TEST_F(ImportTest, TakesFilesAsOtherProgramsWriteThem) {
    EXPECT_EQ(throughATable("\xef\xbb\xbf\"a\";\"b\"\r\n\"1\";\"x;y\"\r\n2;z", {"--separator", ";"}), "a,b\n1,x;y\n2,z\n");
    EXPECT_EQ(throughATable("a\tb\n1\t x \n", {"--separator", "tab"}), "a,b\n1,\" x \"\n");
    EXPECT_EQ(throughATable("a|b\r1|2\r", {"--separator", "|"}), "a,b\n1,2\n");
    EXPECT_EQ(throughATable("1,x\n2,y\n", {"--no-header"}), "c1,c2\n1,x\n2,y\n");
}

TEST_F(ImportTest, KeepsEmptyFieldsAsNullsOrAsTexts) {
    EXPECT_EQ(throughATable("a,b\n,\nx,\"\"\n"), "a,b\n,\nx,\"\"\n");
    EXPECT_EQ(throughATable("a,b\n,\nx,\"\"\n", {"--types", "string,string", "--empty", "text"}), "a,b\n\"\",\"\"\nx,\"\"\n");
    EXPECT_EQ(throughATable("a,b\n,\"\"\n1,2\n", {"--types", "integer,decimal", "--empty", "text"}), "a,b\n,\n1,2\n");
}

TEST_F(ImportTest, GivesColumnsTheTypesThatAreAskedFor) {
    const std::string csv = "a,b,c\n007,1,2\n 8 ,+2,yes\n";
    EXPECT_EQ(typesFoundIn("a,b,c\n1,2,3\n", {"--types", "string,integer,decimal"}), "string integer decimal");
    EXPECT_EQ(typesFoundIn("a,b,c\n1,2,3\n", {"--types", "B:string"}), "integer string integer");
    EXPECT_EQ(throughATable(csv, {"--types", "a:integer,b:integer"}), "a,b,c\n7,1,2\n8,2,yes\n");
    EXPECT_EQ(throughATable("", {"--no-header", "--types", "string,date"}), "c1,c2\n");
}

TEST_F(ImportTest, SortsDoublesAsNumbersAndKeepsTheirTexts) {
    const std::string csv = "f\n1e5\n0.1234567890123456789\n-2.50\n99999\n";
    EXPECT_EQ(throughATable(csv, {"--types", "double"}), csv);
    EXPECT_EQ(throughATable(csv, {"--types", "double", "--sort", "f"}), "f\n-2.50\n0.1234567890123456789\n99999\n1e5\n");
}

TEST_F(ImportTest, SaysWhereAFieldDoesNotConvert) {
    const std::string csv = "city,people\nUlm,1\n\"two\nlines\",2\nKiel,\"12\n x\"\n";
    EXPECT_EQ(badBytes(csv, {"--types", "people:integer"}), "a.csv:5:2: \"12\\n x\" is no integer (column \"people\")\n");
    EXPECT_EQ(badBytes("a\n2024-02-30\n", {"--types", "date"}), "a.csv:2:1: \"2024-02-30\" is no date (column \"a\")\n");
    EXPECT_EQ(badBytes("1\n2\n1e99\n", {"--types", "c1:decimal", "--no-header"}),
              "a.csv:3:1: \"1e99\" is no decimal (column \"c1\")\n");
    const std::string longSaid = badBytes("a\n" + std::string(1000000, 'x') + "\n", {"--types", "boolean"});
    EXPECT_LT(longSaid.size(), 150u);
}

TEST_F(ImportTest, SaysWhereTheFileIsNoCsv) {
    EXPECT_EQ(badBytes("a,b\n1,2\n1,2,3\n"), "a.csv:3:3: the row has more than 2 fields\n");
    EXPECT_EQ(badBytes("a,b\n\"\n\n\",2\n1\n"), "a.csv:5:2: the row has 1 of 2 fields\n");
    EXPECT_EQ(badBytes("a,b\n1,x\"y\"\n"), "a.csv:2:2: a quote in a field that does not begin with one\n");
    EXPECT_EQ(badBytes("a,b\n1,\"x\"y\n"), "a.csv:2:2: there is text after the quote that ends the field\n");
    EXPECT_EQ(badBytes("a,b\n1,\"x\ny\n"), "a.csv:2:2: the quote that begins this field has no end\n");
    EXPECT_EQ(badBytes(std::string("a\n1\0\n", 5)), "a.csv:2:1: a NUL byte, which no text can hold\n");
    EXPECT_EQ(badBytes(""), "a.csv: the file is empty, without even a header\n");
    EXPECT_EQ(badBytes("", {"--no-header"}), "a.csv: the file is empty, and no types are given\n");
}

TEST_F(ImportTest, FindsWhatIsWrongLateInOnePassToo) {
    std::string csv = "a,b\n";
    for (int i = 0; i < 100000; ++i) csv += "1,2\n";
    EXPECT_EQ(badBytes(csv + "1\n", {"--types", "integer,integer"}), "a.csv:100002:2: the row has 1 of 2 fields\n");
    EXPECT_EQ(badBytes(csv + "1,x\n", {"--types", "integer,integer", "--sort", "a"}),
              "a.csv:100002:2: \"x\" is no integer (column \"b\")\n");
}

TEST_F(ImportTest, SaysWhichColumnHasNoNameOfItsOwn) {
    EXPECT_EQ(badBytes("a,b,A\n1,2,3\n"), "a.csv:1:3: a column before this one is named \"a\" already\n");
    EXPECT_EQ(badBytes("a,,b\n1,2,3\n"), "a.csv:1:2: the column has no name (--no-header if the first row is no header)\n");
    EXPECT_EQ(badBytes("\n\"a\n\",b,b\n"), "a.csv:3:3: a column before this one is named \"b\" already\n");
}

TEST_F(ImportTest, RefusesOptionsThatMakeNoSense) {
    EXPECT_EQ(badUsage("a,b\n", {"--types", "integer"}), "--types: they are 1, and the columns of a.csv 2\n");
    EXPECT_EQ(badUsage("a,b\n", {"--types", "c:integer"}), "--types: no column \"c\" in a.csv; there are a, b\n");
    EXPECT_NE(badUsage("a,b\n", {"--types", "number,string"}).find("\"number\" is no type"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--separator", "::"}).find("\"::\" is neither"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--separator", "\""}).find("--separator"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--empty", "zero"}).find("--empty"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--no-dups"}).find("--sort"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--memory", "-1", "--sort", "a"}).find("--memory: \"-1\" is no size"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--memory", "1.5G", "--sort", "a"}).find("\"1.5G\" is no size"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--element-size", "8EiB"}).find("\"8EiB\" is more than any"), std::string::npos);
    EXPECT_NE(badUsage("a,b\n", {"--element-size", "-1"}).find("--element-size: \"-1\""), std::string::npos);
    EXPECT_EQ(ktwt({"import"}).status, 2);
}

// The row that is no good would be told of instead, had the file been read.
TEST_F(ImportTest, TellsOfAnUnknownSortKeyBeforeItReadsTheFile) {
    EXPECT_EQ(badUsage("a,b\n1\n", {"--sort", "a,c"}), "a.csv: no column \"c\" to sort by; there are a, b\n");
}

// Without a limit, the whole file would be in memory before anybody hears of it.
TEST_F(ImportTest, RefusesARecordThatIsTooLong) {
    const std::string path = file("a.csv", "a\n\"");
    std::filesystem::resize_file(path, 300 << 20);
    EXPECT_FAILURE(ktwt({"import", path}), 6, "a.csv:2:1: the record is longer than 256 MiB; perhaps the quote");
    EXPECT_TRUE(tables.names().empty());
}

TEST_F(ImportTest, ShowsHelpThatFitsATerminal) {
    for (const std::string command : {"import", "sort"}) {
        for (const std::string& line : lines(ktwt({command, "--help"}).out)) EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(ImportTest, SaysWhichFileCannotBeRead) {
    EXPECT_FAILURE(ktwt({"import", files.file("nowhere.csv")}), 3, "nowhere.csv: No such file or directory");
    EXPECT_FAILURE(ktwt({"import", files.path()}), 3, files.path() + ": Is a directory");
    EXPECT_FAILURE(ktwt({"import", "/dev/null"}), 6, "/dev/null: the file is empty");
}

TEST_F(ImportTest, ReadsAPipeTwiceWithoutLeavingATrace) {
    const std::string csv = manyRows(20000);
    const std::string name = nameOf(importFromPipe(csv));
    EXPECT_EQ(typesOf(name), "integer string decimal date boolean string");
    EXPECT_EQ(rows(name), rows(importOf(csv)));
    EXPECT_EQ(tables.names("ktwt_").size(), 2u);
    EXPECT_TRUE(tables.names("ktwt_input").empty());
}

TEST_F(ImportTest, ReadsAPipeOnceWhenTypesAreGiven) {
    const std::string csv = manyRows(20000);
    const Finished import = importFromPipe(csv, {"--types", "integer,string,decimal,date,boolean,string"});
    EXPECT_EQ(rows(nameOf(import)), rows(importOf(csv)));
}

TEST_F(ImportTest, NamesStandardInputInItsMessages) {
    EXPECT_FAILURE(importFromPipe("a,b\n1\n"), 6, "ktwt: standard input:2:2: the row has 1 of 2 fields\n");
    EXPECT_FAILURE(ktwt({"import", "-"}, "a,b\n1\n"), 6, "ktwt: standard input:2:2: the row has 1 of 2 fields\n");
    EXPECT_TRUE(tables.names().empty());
}

TEST_F(ImportTest, ReadsStandardInputFromWhereItStands) {
    std::vector<std::string> words = command({"import", "-"});
    words.insert(words.begin(), {"/bin/sh", "-c", "read line; exec \"$@\"", "sh"});
    const Finished import = Running(words, file("a.csv", "a heading\na,b\n1,2\n")).wait();
    EXPECT_EQ(rows(nameOf(import)), "1,2\n");
}

TEST_F(ImportTest, AsksATerminalForNoMoreThanOneEnd) {
    if (!hasTerminals()) GTEST_SKIP() << "/dev/pts is not mounted";
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0) << std::strerror(errno);
    const int keyboard = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(keyboard, 0);
    const std::string typed = "a,b\n1,2\n\x04";  // Ctrl-D ends the input
    EXPECT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    const Finished import = Running(command({"import", "-"}), ptsname(terminal)).wait();
    EXPECT_EQ(rows(nameOf(import)), "1,2\n");
    close(keyboard);
    close(terminal);
}

TEST_F(ImportTest, SortsTheRows) {
    const std::string csv = "city,price\nUlm,2\nBonn,10\nUlm,3\nBonn,9\nUlm,3\n";
    EXPECT_EQ(rows(importOf(csv, {"--sort", "city,-price"})), "Bonn,10\nBonn,9\nUlm,3\nUlm,3\nUlm,2\n");
    EXPECT_EQ(rows(importOf(csv, {"--sort", "city", "--no-dups"})), "Bonn,10\nUlm,2\n");
    EXPECT_EQ(rows(importOf("a\nb\nA\nB\na\n", {"--sort", "a", "--collate", "fold"})), "A\na\nb\nB\n");
    const std::string many = manyRows(20000);
    EXPECT_EQ(rows(importOf(many, {"--sort", "-zip,number", "--memory", "1M", "--threads", "1"})),
              rows(importOf(many, {"--sort", "-zip,number", "--threads", "2"})));
}

TEST_F(ImportTest, BeginsNewFilesAtTheElementSize) {
    const std::string csv = manyRows(20000);
    const std::string name = importOf(csv, {"--element-size", "100k"});
    EXPECT_GT(dataFiles().size(), 5u);
    EXPECT_EQ(rows(name), rows(importOf(csv)));
}

TEST_F(ImportTest, GivesBackAFileOfAMillionRows) {
    std::string csv = manyRows(KTWT_TESTS_SANITIZED ? 100000 : 1000000);
    const std::string name = importOf(csv);
    EXPECT_EQ(typesOf(name), "integer string decimal date boolean string");
    const std::string out = throughATable(csv);
    // What needs no quotes loses them.
    EXPECT_EQ(out.size(), csv.size());
    EXPECT_TRUE(out == csv);
}

TEST_F(ImportTest, LeavesNothingBehindOnCtrlC) {
    const std::string path = file("a.csv", manyRows(50000));
    const std::vector<std::vector<std::string>> ways = {{"import", path}, {"import", path, "--sort", "-zip", "--memory", "1M"}};
    for (const std::vector<std::string>& words : ways) {
        for (const int number : {SIGINT, SIGTERM}) {
            EXPECT_FAILURE(signalled(words, number), 7, "ktwt: cancelled");
            EXPECT_TRUE(tables.names().empty());
            std::filesystem::remove(files.file("stuck"));
        }
    }
}

TEST_F(ImportTest, StopsWaitingForAPipeOnCtrlC) {
    const std::string path = files.file("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int pipe = open(path.c_str(), O_RDWR | O_CLOEXEC);
    Running running(command({"import", path}), "/dev/null");
    running.waitUntilItCatches(SIGINT);
    const std::string csv = manyRows(20000);  // far more than the pipe holds: what is written has been read
    EXPECT_EQ(write(pipe, csv.data(), csv.size()), static_cast<ssize_t>(csv.size()));
    running.signal(SIGINT);
    EXPECT_FAILURE(running.wait(), 7, "ktwt: cancelled");
    EXPECT_TRUE(tables.names().empty());
    close(pipe);
}

TEST_F(ImportTest, LeavesNothingBehindOnAFullDisk) {
    const std::string path = file("a.csv", manyRows(20000));
    EXPECT_FAILURE(withSmallFiles({"import", path}), 4, "ktwt: ");
    EXPECT_FAILURE(withSmallFiles({"import", path, "--sort", "zip", "--memory", "1M"}), 4, "ktwt: ");
    EXPECT_TRUE(tables.names().empty());
}

// No shell stands between the limit and the program here, which must not die of it.
TEST_F(ImportTest, LeavesNothingBehindWhenAPipeCannotBeKept) {
    std::vector<std::string> words = command({"import", "-"});
    words.insert(words.begin(),
                 {"/bin/sh", "-c", "cat \"$0\" | { ulimit -f 8; exec \"$@\"; }", file("a.csv", manyRows(20000))});
    EXPECT_FAILURE(Running(words, "/dev/null").wait(), 4,
                   "ktwt: " + tables.path() + ": File too large (what is read from standard input is kept there)");
    EXPECT_TRUE(tables.names().empty());
}

TEST_F(ImportTest, RemovesTheTableWhenNobodyCanBeToldItsName) {
    EXPECT_FAILURE(withFullOutput({"import", file("a.csv", "a\n1\n")}), 4, "standard output");
    EXPECT_TRUE(tables.names().empty());
}

}  // namespace
