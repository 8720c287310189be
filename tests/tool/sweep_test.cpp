// What killed programs leave, listed and removed from the command line.
#include <nlohmann/json.hpp>

#include "tool/scene.h"

namespace {

using Json = nlohmann::json;

class SweepTest : public SceneTest {};

TEST_F(SweepTest, FindsNothingAmongFinishedTables) {
    towns();
    const Finished sweep = ktwt({"sweep"});
    EXPECT_EQ(sweep.status, 0);
    EXPECT_EQ(sweep.out, "0 files, 0 B\n");
}

TEST_F(SweepTest, OnlyListsOrphansUnlessItIsTold) {
    const std::string table = towns();
    leaveOrphans();
    const std::vector<std::string> before = tables.names();
    const Finished sweep = ktwt({"sweep"});
    EXPECT_EQ(sweep.status, 0);
    EXPECT_NE(sweep.out.find("\theader\t" + tables.path()), std::string::npos) << sweep.out;
    EXPECT_NE(sweep.out.find("\tdata\t"), std::string::npos) << sweep.out;
    EXPECT_NE(sweep.out.find("to be removed with --yes"), std::string::npos) << sweep.out;
    EXPECT_EQ(tables.names(), before);
}

TEST_F(SweepTest, RemovesThemWhenItIsTold) {
    const std::string table = towns();
    const std::vector<std::string> before = tables.names();
    leaveOrphans();
    const std::size_t orphans = tables.names().size() - before.size();
    const Finished sweep = ktwt({"sweep", "--yes"});
    EXPECT_EQ(sweep.status, 0);
    EXPECT_NE(sweep.out.find(std::to_string(orphans) + " removed"), std::string::npos) << sweep.out;
    EXPECT_EQ(tables.names(), before);
    EXPECT_EQ(ktwt({"verify", "-q", table}).status, 0);
}

TEST_F(SweepTest, ReportsAsJson) {
    leaveOrphans();
    const std::size_t left = tables.names().size();
    const Json listed = Json::parse(ktwt({"sweep", "--json"}).out);
    ASSERT_EQ(listed["orphans"].size(), left);
    EXPECT_EQ(listed["removed"], 0);
    long bytes = 0;
    for (const Json& orphan : listed["orphans"]) bytes += orphan["bytes"].get<long>();
    EXPECT_EQ(listed["bytes"], bytes);
    EXPECT_EQ(Json::parse(ktwt({"sweep", "--yes", "--json"}).out)["removed"], left);
    EXPECT_EQ(Json::parse(ktwt({"sweep", "--json"}).out)["orphans"], Json::array());
}

TEST_F(SweepTest, LeavesATableAloneThatIsBeingWritten) {
    KtbString error;
    KtWorkTableManager* const manager = ktwtCreateManager("", tables.path().c_str(), &error);
    KtWorkTableFile* const table = manager->create(1, 0, &error);
    const std::vector<std::string> before = tables.names();
    const Finished sweep = ktwt({"sweep", "--yes"});
    EXPECT_EQ(sweep.status, 0) << sweep.err;
    EXPECT_EQ(tables.names(), before);
    EXPECT_NE(sweep.out.find("1 file in use"), std::string::npos) << sweep.out;
    table->release();
    manager->release();
}

TEST_F(SweepTest, TellsWhatIsWrong) {
    EXPECT_FAILURE(ktwt({"sweep", "more"}), 2, "more");
    const std::string noDirectory = file("no-directory", "bytes");
    EXPECT_FAILURE(Running({KTWT_TOOL, "sweep", "--dirs", noDirectory}, "/dev/null").wait(), 3, noDirectory);
    EXPECT_FAILURE(withFullOutput({"sweep"}), 4, "standard output");
}

// However far it has come, it tells what is gone.
TEST_F(SweepTest, TellsWhatItHasRemovedWhenCtrlCComes) {
    for (int i = 0; i < 40; ++i) leaveOrphans();
    const Watch watch(tables.path(), IN_DELETE);
    Running running(command({"sweep", "--yes"}), "/dev/null");
    watch.wait();
    running.signal(SIGINT);
    const Finished sweep = running.wait();
    EXPECT_EQ(sweep.status, tables.names().empty() ? sweep.status : 7);
    EXPECT_NE(sweep.out.find(" removed"), std::string::npos) << sweep.out << sweep.err;
}

}  // namespace
