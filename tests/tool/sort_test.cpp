// Sorting tables from the command line.
#include <algorithm>
#include <random>

#include "tool/scene.h"

namespace {

class SortTest : public SceneTest {
protected:
    // Rows with a letter that repeats and a number that does not, in an order of no order.
    std::string shuffled(int count) {
        std::vector<TestRow> rows;
        std::mt19937 random(20261120);
        for (int i = 0; i < count; ++i) rows.push_back({std::string(1, static_cast<char>('a' + i % 5)), std::to_string(i)});
        std::shuffle(rows.begin(), rows.end(), random);
        return make({{"letter"}, {"Number", ktbTypeInteger}}, rows);
    }

    std::string sorted(std::vector<std::string> options, const std::string& table) {
        options.insert(options.begin(), {"sort", table});
        return nameOf(ktwt(std::move(options)));
    }
};

TEST_F(SortTest, SortsByOneKeyAfterTheOther) {
    const std::string table = shuffled(10);
    EXPECT_EQ(rows(sorted({"--by", "letter,-Number"}, table)), "a,5\na,0\nb,6\nb,1\nc,7\nc,2\nd,8\nd,3\ne,9\ne,4\n");
    EXPECT_EQ(rows(sorted({"--by", "-number"}, table)), "e,9\nd,8\nc,7\nb,6\na,5\ne,4\nd,3\nc,2\nb,1\na,0\n");
}

TEST_F(SortTest, LeavesTheSourceAsItIs) {
    const std::string table = shuffled(50);
    const std::string before = rows(table);
    EXPECT_NE(rows(sorted({"--by", "number"}, table)), before);
    EXPECT_EQ(rows(table), before);
}

TEST_F(SortTest, KeepsOneRowOfEachKeyWhenItIsTold) {
    const std::string table = make({{"letter"}, {"n", ktbTypeInteger}}, {{"b", "1"}, {"a", "2"}, {"b", "3"}, {"a", "4"}});
    EXPECT_EQ(rows(sorted({"--by", "letter", "--no-dups"}, table)), "a,2\nb,1\n");
}

TEST_F(SortTest, ComparesTextsAsItIsTold) {
    const std::string table = make({{"name"}}, {{"b"}, {"B"}, {"a"}, {"A"}});
    EXPECT_EQ(rows(sorted({"--by", "name"}, table)), "A\nB\na\nb\n");
    EXPECT_EQ(rows(sorted({"--by", "name", "--collate", "fold"}, table)), "a\nA\nb\nB\n");
    EXPECT_EQ(rows(sorted({"--by", "name", "--collate", "POSIX"}, table)), "A\nB\na\nb\n");
}

TEST_F(SortTest, TakesNamesThatHoldCommasAndBeginWithSigns) {
    const std::string table = make({{"-a,b\\", ktbTypeInteger}}, {{"2"}, {"1"}, {"3"}});
    EXPECT_EQ(rows(sorted({"--by", "\\-a\\,b\\\\"}, table)), "1\n2\n3\n");
    EXPECT_EQ(rows(sorted({"--by", "--a\\,b\\\\"}, table)), "3\n2\n1\n");
}

TEST_F(SortTest, SortsWhatAUriChooses) {
    const std::string table = make({{"a", ktbTypeInteger}, {"b"}}, {{"4", "x"}, {"3", "y"}, {"2", "z"}, {"1", "w"}});
    EXPECT_EQ(rows(sorted({"--by", "n"}, "ktwt:" + table + "?rows=1,2&col=b&col=n=a")), "z,2\ny,3\n");
}

TEST_F(SortTest, SortsMoreThanItsMemoryHolds) {
    std::vector<TestRow> input;
    std::string expected;
    for (int i = 0; i < 20000; ++i) input.push_back({std::to_string((i * 7919) % 20000), std::string(100, 'x')});
    for (int i = 0; i < 20000; ++i) expected += std::to_string(i) + "," + std::string(100, 'x') + "\n";
    const std::string table = make({{"n", ktbTypeInteger}, {"text"}}, input);
    EXPECT_EQ(rows(sorted({"--by", "n", "--memory", "1M", "--threads", "2"}, table)), expected);
}

TEST_F(SortTest, NamesTheColumnsWhenOneIsUnknown) {
    EXPECT_FAILURE(ktwt({"sort", shuffled(1), "--by", "letter,color"}), 2,
                   "no column \"color\" to sort by; there are letter, Number");
    EXPECT_EQ(tables.names("ktwt_").size(), 1U);
}

TEST_F(SortTest, RefusesWordsThatMakeNoSense) {
    const std::string table = shuffled(3);
    EXPECT_FAILURE(ktwt({"sort", table}), 2, "--by");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter,,number"}), 2, "missing");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", ""}), 2, "--by");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter,Letter"}), 2, "twice");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter", "--memory", "1"}), 2, "--memory");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter", "--memory", "12Q"}), 2, "--memory");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter", "--threads", "-1"}), 2, "--threads");
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter", "--collate", "xx_XX"}), 2, "xx_XX");
    EXPECT_EQ(tables.names("ktwt_").size(), 1U);
}

TEST_F(SortTest, TellsWhatIsWrongWithItsSource) {
    EXPECT_FAILURE(ktwt({"sort", "ktwt_nowhere", "--by", "a"}), 3, "ktwt_nowhere");
    const std::string table = shuffled(3);
    cutHeader(table);
    EXPECT_FAILURE(ktwt({"sort", table, "--by", "letter"}), 6, table);
}

TEST_F(SortTest, LeavesNothingBehindWhenItIsInterrupted) {
    const std::string table = shuffled(20000);
    const std::vector<std::string> before = tables.names();
    const Finished sort = signalled({"sort", table, "--by", "letter,number"}, SIGINT);
    EXPECT_EQ(sort.status, 7);
    EXPECT_EQ(sort.err, "ktwt: cancelled\n");
    EXPECT_EQ(tables.names(), before);
}

TEST_F(SortTest, LeavesNothingBehindOnAFullDisk) {
    const std::string table = make({{"text"}}, std::vector<TestRow>(3000, {std::string(100, 'x')}));
    const std::vector<std::string> before = tables.names();
    EXPECT_FAILURE(withSmallFiles({"sort", table, "--by", "text"}), 4, "");
    EXPECT_FAILURE(withFullOutput({"sort", table, "--by", "text"}), 4, "standard output");
    EXPECT_EQ(tables.names(), before);
}

}  // namespace
