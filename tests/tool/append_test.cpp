// Tables appended to each other from the command line.
#include "tool/scene.h"

namespace {

class AppendTest : public SceneTest {
protected:
    std::string numbers(long first, long count) {
        std::vector<TestRow> rows;
        for (long i = first; i < first + count; ++i) rows.push_back({std::to_string(i)});
        return make({{"n", ktbTypeInteger}}, rows);
    }
};

TEST_F(AppendTest, PutsTheRowsBehindThoseThatAreThere) {
    const std::string target = numbers(0, 2);
    const std::string source = numbers(2, 2);
    const Finished append = ktwt({"append", target, source});
    EXPECT_EQ(append.status, 0) << append.err;
    EXPECT_EQ(append.out + append.err, "");
    EXPECT_EQ(rows(target), "0\n1\n2\n3\n");
    EXPECT_EQ(rows(source), "2\n3\n");
}

TEST_F(AppendTest, TakesWhatAUriChooses) {
    const std::string target = numbers(0, 2);
    const std::string source = make({{"a"}, {"b", ktbTypeInteger}}, {{"x", "7"}, {"y", "8"}, {"z", "9"}});
    EXPECT_EQ(ktwt({"append", target, "ktwt:" + source + "?rows=1,1&col=b"}).status, 0);
    EXPECT_EQ(rows(target), "0\n1\n8\n");
}

TEST_F(AppendTest, DoublesATableThatIsAppendedToItself) {
    const std::string target = numbers(5, 2);
    EXPECT_EQ(ktwt({"append", target, target}).status, 0);
    EXPECT_EQ(rows(target), "5\n6\n5\n6\n");
}

TEST_F(AppendTest, RefusesColumnsThatDoNotAgree) {
    const std::string target = numbers(0, 2);
    EXPECT_FAILURE(ktwt({"append", target, towns()}), 2, target);
    EXPECT_FAILURE(ktwt({"append", target, make({{"m", ktbTypeInteger}}, {{"1"}})}), 2, target);
    EXPECT_FAILURE(ktwt({"append", target, make({{"n", ktbTypeDecimal}}, {{"1"}})}), 2, target);
    EXPECT_FAILURE(ktwt({"append", "ktwt:" + target + "?col=n", target}), 2, "URI");
    EXPECT_FAILURE(ktwt({"append", target}), 2, "SOURCE");
    EXPECT_EQ(rows(target), "0\n1\n");
}

TEST_F(AppendTest, TellsWhatIsNotThereOrDamaged) {
    const std::string target = numbers(0, 2);
    EXPECT_FAILURE(ktwt({"append", "ktwt_nowhere", target}), 3, "ktwt_nowhere");
    EXPECT_FAILURE(ktwt({"append", target, "ktwt_nowhere"}), 3, "ktwt_nowhere");
    const std::string source = numbers(0, 2);
    cutHeader(source);
    EXPECT_FAILURE(ktwt({"append", target, source}), 6, "");
    EXPECT_EQ(rows(target), "0\n1\n");
}

TEST_F(AppendTest, KeepsTheEarlierRowsOnAFullDisk) {
    const std::string target = make({{"text"}}, {{"first"}});
    const std::string source = make({{"text"}}, std::vector<TestRow>(3000, {std::string(100, 'x')}));
    const std::vector<std::string> before = tables.names();
    EXPECT_FAILURE(withSmallFiles({"append", target, source}), 4, "");
    EXPECT_EQ(rows(target), "first\n");
    EXPECT_EQ(tables.names(), before);
}

// As the program itself does, so that another run has to wait.
TEST_F(AppendTest, WaitsForAnotherAppendToTheSameTableUntilItIsInterrupted) {
    const std::string target = numbers(0, 2);
    const std::string source = numbers(2, 1);
    const int header = open(tables.file(target).c_str(), O_RDWR | O_CLOEXEC);
    struct flock turn = {};
    turn.l_type = F_WRLCK;
    turn.l_whence = SEEK_SET;
    turn.l_start = std::numeric_limits<off_t>::max() - 1;
    turn.l_len = 1;
    ASSERT_EQ(fcntl(header, F_OFD_SETLK, &turn), 0) << std::strerror(errno);
    Running append(command({"append", target, source}), "/dev/null");
    append.waitUntilItCatches(SIGINT);
    append.signal(SIGINT);
    EXPECT_FAILURE(append.wait(), 7, "cancelled");
    EXPECT_EQ(rows(target), "0\n1\n");
    close(header);
    EXPECT_EQ(ktwt({"append", target, source}).status, 0);
    EXPECT_EQ(rows(target), "0\n1\n2\n");
}

TEST_F(AppendTest, LosesNothingWhenManyAppendAtOnce) {
    const std::string target = numbers(0, 0);
    const std::string source = numbers(0, 500);
    {
        std::vector<std::unique_ptr<Running>> runs;
        for (int i = 0; i < 4; ++i) runs.push_back(std::make_unique<Running>(command({"append", target, source}), "/dev/null"));
        for (const auto& run : runs) EXPECT_EQ(run->wait().status, 0);
    }
    const std::string once = rows(source);
    EXPECT_EQ(rows(target), once + once + once + once);
    EXPECT_EQ(ktwt({"verify", "-q", target}).status, 0);
}

// Which of the two comes first cannot be known, and need not be: the rows are there all or not at all, and the status tells.
TEST_F(AppendTest, KeepsItsPromiseWhenItIsInterrupted) {
    const std::string target = numbers(0, 2);
    const std::string source = make({{"n", ktbTypeInteger}}, std::vector<TestRow>(50000, {"7"}));
    const std::vector<std::string> before = tables.names();
    Running append(command({"append", target, source}), "/dev/null");
    append.waitUntilItCatches(SIGINT);
    append.signal(SIGINT);
    const int status = append.wait().status;
    EXPECT_TRUE(status == 0 || status == 7) << status;
    EXPECT_EQ(lines(rows(target)).size(), status == 0 ? 50002U : 2U);
    EXPECT_EQ(ktwt({"verify", "-q", target}).status, 0);
    EXPECT_EQ(tables.names(), before);
}

TEST_F(AppendTest, RefusesColumnsOfAUriThatAreOfOtherTypes) {
    const std::string target = make({{"n", ktbTypeInteger}, {"t"}}, {{"1", "x"}});
    const std::string source = make({{"b"}, {"a", ktbTypeInteger}}, {{"y", "2"}});
    EXPECT_FAILURE(ktwt({"append", target, "ktwt:" + source + "?col=b&col=a"}), 2, "column \"b\" is of type string");
    EXPECT_FAILURE(ktwt({"append", target, "ktwt:" + source + "?col=k:decimal=1&col=b"}), 2, "column \"k\" is of type decimal");
    EXPECT_FAILURE(ktwt({"append", target, "ktwt:" + source + "?col=a"}), 2, target);
    EXPECT_FAILURE(ktwt({"append", target, "ktwt:" + source + "?rows=x"}), 2, "no valid URI");
    EXPECT_EQ(rows(target), "1,x\n");
    EXPECT_EQ(ktwt({"append", target, "ktwt:" + source + "?col=a&col=b"}).status, 0);
    EXPECT_EQ(rows(target), "1,x\n2,y\n");
}

}  // namespace
