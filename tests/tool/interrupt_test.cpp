// Ctrl-C in commands that report, while nobody takes what they print.
#include "tool/scene.h"

namespace {

class InterruptTest : public SceneTest {
protected:
    // Whenever the signal comes, the program cannot have ended before.
    Finished interruptedWhilePrinting(std::vector<std::string> words) {
        const StuckPipe stuck(files.file("stuck"));
        Running running(command(std::move(words)), "/dev/null", stuck.path());
        running.waitUntilItCatches(SIGINT);
        running.signal(SIGINT);
        const Finished finished = running.wait();
        EXPECT_EQ(unlink(stuck.path().c_str()), 0);
        return finished;
    }
};

TEST_F(InterruptTest, EndsEveryReportWithItsOwnStatus) {
    const std::string table = counting(500);
    const std::vector<std::string> before = tables.names();
    const std::vector<std::vector<std::string>> reports = {{"ls"},
                                                           {"ls", "--names"},
                                                           {"ls", "--json"},
                                                           {"du"},
                                                           {"du", "--json", table},
                                                           {"info", table},
                                                           {"info", table, "--json"},
                                                           {"verify", table},
                                                           {"verify", table, table, "--json"},
                                                           {"sweep"},
                                                           {"sweep", "--yes", "--json"},
                                                           {"partition", table, "7"}};
    for (const std::vector<std::string>& report : reports) {
        const Finished finished = interruptedWhilePrinting(report);
        EXPECT_EQ(finished.status, 7) << report[0];
        EXPECT_EQ(finished.err, "ktwt: cancelled\n") << report[0];
    }
    EXPECT_EQ(tables.names(), before);
}

}  // namespace
