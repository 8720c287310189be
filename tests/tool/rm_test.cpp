// Removing tables from the command line.
#include "tool/scene.h"

namespace {

class RmTest : public SceneTest {};

TEST_F(RmTest, NamesATableThatIsNotThere) {
    const Finished rm = ktwt({"rm", "ktwt_nowhere"});
    EXPECT_EQ(rm.status, 3);
    EXPECT_NE(rm.err.find("ktwt: ktwt_nowhere: "), std::string::npos) << rm.err;
    EXPECT_EQ(rm.out, "");
}

TEST_F(RmTest, SaysNothingOfItWhenForced) {
    const Finished rm = ktwt({"rm", "--force", "ktwt_nowhere"});
    EXPECT_EQ(rm.status, 0);
    EXPECT_EQ(rm.err, "");
}

TEST_F(RmTest, RefusesAUri) {
    const std::string table = towns();
    EXPECT_FAILURE(ktwt({"rm", "ktwt:" + table + "?col=city"}), 2, "tables are removed");
    EXPECT_FAILURE(ktwt({"rm", "ktwt:" + table + "?rows=x"}), 2, "no valid URI");
    EXPECT_NE(rows(table), "");
}

// What it says of the first table waits for a reader, until the signal has come.
TEST_F(RmTest, RemovesNoMoreTablesAfterCtrlC) {
    const std::string table = towns();
    const StuckPipe stuck(files.file("stuck"));
    std::vector<std::string> words = command({"rm", "ktwt_nowhere", table});
    words.insert(words.begin(), {"/bin/sh", "-c", "exec \"$@\" 2>" + stuck.path(), "sh"});
    Running rm(words, "/dev/null");
    rm.waitUntilItCatches(SIGTERM);  // which the shell, unlike the other, never does
    rm.signal(SIGINT);
    const int reader = open(stuck.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::vector<char> bytes(1 << 20);
    EXPECT_GT(read(reader, bytes.data(), bytes.size()), 0);
    EXPECT_EQ(rm.wait().status, 7);
    close(reader);
    EXPECT_NE(rows(table), "");
}

}  // namespace
