// The room that tables take, told by the command line.
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

#include "tool/scene.h"

namespace {

using Json = nlohmann::json;

class DuTest : public SceneTest {
protected:
    long bytesOf(const std::string& name) const { return static_cast<long>(std::filesystem::file_size(tables.file(name))); }

    // Of a table or of all: those whose names hold the text.
    long bytesOfThoseWith(const std::string& text) const {
        long bytes = 0;
        for (const std::string& name : tables.names()) {
            if (name.find(text) != std::string::npos) bytes += bytesOf(name);
        }
        return bytes;
    }

    static std::string line(long bytes, const std::string& name) { return std::to_string(bytes) + "\t" + name + "\n"; }
};

TEST_F(DuTest, AddsUpTheFilesOfATable) {
    const std::string table = counting(100);
    EXPECT_EQ(ktwt({"du", "-b", table}).out, line(bytesOfThoseWith(table.substr(5)), table));
    EXPECT_EQ(ktwt({"du", "-b", "ktwt:" + table + "?rows=0,1"}).out, line(bytesOfThoseWith(table.substr(5)), table));
}

TEST_F(DuTest, TellsAllTablesAndTheTotalUnlessTablesAreNamed) {
    std::string expected;
    std::vector<std::string> names = {towns(), counting(50)};
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) expected += line(bytesOfThoseWith(name.substr(5)), name);
    const std::string total = line(bytesOfThoseWith(""), "total");
    EXPECT_EQ(ktwt({"du", "--bytes"}).out, expected + total);
    EXPECT_EQ(ktwt({"du", "-b", names[0], names[1]}).out, expected + total);
}

TEST_F(DuTest, TellsPeopleInUnits) {
    const std::string table = make({{"text"}}, {{std::string(200000, 'x')}});
    EXPECT_EQ(ktwt({"du", table}).out, "195 KiB\t" + table + "\n");
}

TEST_F(DuTest, TellsEachFileWhenItIsTold) {
    const std::string table = towns();
    const std::string data = tables.names("ktwte_").front();
    const std::string index = tables.names("ktwtei_").front();
    std::string expected;
    for (const std::string& name : {table, data, index}) expected += line(bytesOf(name), tables.file(name));
    EXPECT_EQ(ktwt({"du", "-b", "--files", table}).out, expected + line(bytesOfThoseWith(""), table));
    const Json report = Json::parse(ktwt({"du", "--files", "--json"}).out);
    EXPECT_EQ(report["bytes"], bytesOfThoseWith(""));
    const Json& parts = report["tables"][0]["files"];
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(parts[0], Json({{"path", tables.file(table)}, {"kind", "header"}, {"bytes", bytesOf(table)}}));
    EXPECT_EQ(parts[2], Json({{"path", tables.file(index)}, {"kind", "index"}, {"element", 0}, {"bytes", bytesOf(index)}}));
}

TEST_F(DuTest, TellsWhichFileIsMissing) {
    const std::string table = towns();
    const std::string data = tables.names("ktwte_").front();
    std::filesystem::remove(tables.file(data));
    EXPECT_NE(ktwt({"du", "--files", table}).out.find("missing\t" + data + "\n"), std::string::npos);
    const Json report = Json::parse(ktwt({"du", "--files", "--json"}).out);
    EXPECT_EQ(report["tables"][0]["files"][1]["bytes"], Json());
}

TEST_F(DuTest, GoesOnAfterATableThatItCannotLookAt) {
    const std::string table = towns();
    const Finished du = ktwt({"du", "-b", "ktwt_nowhere", table});
    EXPECT_FAILURE(du, 3, "ktwt_nowhere");
    EXPECT_EQ(du.out, line(bytesOfThoseWith(""), table) + line(bytesOfThoseWith(""), "total"));
    const std::string cut = towns();
    cutHeader(cut);
    EXPECT_FAILURE(ktwt({"du", cut}), 6, cut);
    EXPECT_FAILURE(ktwt({"du"}), 6, cut);
}

TEST_F(DuTest, LeavesOutWhatIsNoTableYet) {
    const std::string table = towns();
    const long bytes = bytesOfThoseWith("");
    leaveOrphans();
    const Finished du = ktwt({"du", "-b"});
    EXPECT_EQ(du.status, 0) << du.err;
    EXPECT_EQ(du.out, line(bytes, table));
}

TEST_F(DuTest, RefusesWhatItDoesNotKnowAndTellsThatItsOutputIsRefused) {
    EXPECT_FAILURE(ktwt({"du", "--bits"}), 2, "--bits");
    EXPECT_FAILURE(withFullOutput({"du"}), 4, "standard output");
}

}  // namespace
