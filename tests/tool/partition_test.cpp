// Tables divided for parallel readers by the command line.
#include <nlohmann/json.hpp>

#include "tool/scene.h"

namespace {

class PartitionTest : public SceneTest {
protected:
    std::vector<std::string> parts(const std::string& table, int count) {
        const Finished partition = ktwt({"partition", table, std::to_string(count)});
        EXPECT_EQ(partition.status, 0) << partition.err;
        return lines(partition.out);
    }

    // Whether the parts, one after the other, are the whole.
    void expectWhole(const std::string& table, int count) {
        std::string together;
        for (const std::string& part : parts(table, count)) together += rows(part);
        EXPECT_EQ(together, rows(table)) << table << " in " << count;
    }
};

TEST_F(PartitionTest, PrintsUrisThatTogetherAreTheTable) {
    const std::string table = towns();
    EXPECT_EQ(parts(table, 2).size(), 2U);
    EXPECT_EQ(parts(table, 100).size(), 5U);
    for (const int count : {1, 2, 3, 5, 6, 1000000}) expectWhole(table, count);
}

TEST_F(PartitionTest, KeepsToElements) {
    const std::string table = counting(40);
    const std::size_t elements = tables.names("ktwte_").size();
    ASSERT_GT(elements, 2U);
    EXPECT_EQ(parts(table, static_cast<int>(elements) + 1).size(), elements);
    for (const int count : {2, static_cast<int>(elements), 40}) expectWhole(table, count);
}

TEST_F(PartitionTest, DividesOnlyWhatAUriChooses) {
    const std::string table = counting(40);
    const std::string uri = "ktwt:" + table + "?rows=7,11&col=number=n&col=kind:string=a%2Cb";
    EXPECT_EQ(parts(uri, 3), (std::vector<std::string>{"ktwt:" + table + "?rows=7,4&col=number=n&col=kind:string=a%2Cb",
                                                       "ktwt:" + table + "?rows=11,4&col=number=n&col=kind:string=a%2Cb",
                                                       "ktwt:" + table + "?rows=15,3&col=number=n&col=kind:string=a%2Cb"}));
    for (const int count : {1, 2, 11, 12}) expectWhole(uri, count);
    expectWhole("ktwt:" + table + "?rows=35,-1&col=n", 2);
    expectWhole("ktwt:" + table + "?rows=35,1000&col=n", 4);
    expectWhole("ktwt:" + table + "?rows=1000,5&col=n", 4);
    expectWhole("ktwt:" + table + "?col=n", 4);
}

TEST_F(PartitionTest, HasOnePartForATableWithoutRows) {
    const std::string table = make({{"a"}}, {});
    EXPECT_EQ(parts(table, 4), (std::vector<std::string>{"ktwt:" + table + "?rows=0,0&col=a"}));
}

TEST_F(PartitionTest, ReportsAsJson) {
    const std::string table = counting(3);
    const auto report = nlohmann::json::parse(ktwt({"partition", table, "1", "--json"}).out);
    EXPECT_EQ(report, nlohmann::json::parse(R"([{"uri": "ktwt:)" + table + R"(?rows=0,3&col=n", "first": 0, "rows": 3}])"));
}

TEST_F(PartitionTest, TellsWhatIsWrong) {
    const std::string table = towns();
    EXPECT_FAILURE(ktwt({"partition", table}), 2, "N");
    EXPECT_FAILURE(ktwt({"partition", table, "0"}), 2, "0");
    EXPECT_FAILURE(ktwt({"partition", table, "some"}), 2, "some");
    EXPECT_FAILURE(ktwt({"partition", "ktwt:" + table + "?rows=0,-2&col=city", "2"}), 2, table);
    EXPECT_FAILURE(ktwt({"partition", "ktwt:" + table, "2"}), 2, "without columns");
    EXPECT_FAILURE(ktwt({"partition", "ktwt_nowhere", "2"}), 3, "ktwt_nowhere");
    EXPECT_FAILURE(withFullOutput({"partition", table, "2"}), 4, "standard output");
    cutHeader(table);
    EXPECT_FAILURE(ktwt({"partition", table, "2"}), 6, table);
}

// The example that the help gives, run as it stands there.
TEST_F(PartitionTest, HasAnExampleInWhichNoWorkerWritesOverAnothersRows) {
    const std::string table = counting(40);
    const std::string help = ktwt({"partition", "--help"}).out;
    const std::size_t begin = help.find("ktwt partition $towns 4 |");
    const std::size_t end = help.find(" sh\n", begin);
    ASSERT_NE(end, std::string::npos) << help;
    const std::string program = KTWT_TOOL;
    const std::string setting = "cd " + files.path() + "; PATH=" + program.substr(0, program.rfind('/')) +
                                ":$PATH; towns=" + table + "; export KTB_BASE_TEMP=" + tables.path() + "; ";
    const std::string example = help.substr(begin, end + 3 - begin);
    const Finished run = Running({"/bin/sh", "-c", setting + example + "; grep -hv n part.*.csv | sort -n"}, "/dev/null").wait();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(files.names("part.").size(), 4U);
    EXPECT_EQ(run.out, rows(table));
}

}  // namespace
