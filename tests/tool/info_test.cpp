// Tables described by the command line.
#include <nlohmann/json.hpp>

#include <filesystem>

#include "tool/scene.h"

namespace {

using Json = nlohmann::json;

class InfoTest : public SceneTest {
protected:
    Json info(const std::string& table) {
        const Finished run = ktwt({"info", table, "--json"});
        EXPECT_EQ(run.status, 0) << run.err;
        return Json::parse(run.out);
    }
};

TEST_F(InfoTest, TellsTheColumnsWithTypesWidthsAndLongestTexts) {
    const Json columns = info(towns())["columns"];
    ASSERT_EQ(columns.size(), 5U);
    EXPECT_EQ(columns[0], Json({{"name", "city"}, {"type", "string"}, {"width", 0}, {"longest", 20}}));
    EXPECT_EQ(columns[1]["type"], "integer");
    EXPECT_EQ(columns[2]["type"], "decimal");
    EXPECT_EQ(columns[3]["type"], "boolean");
    EXPECT_EQ(columns[4]["type"], "date");
    EXPECT_EQ(columns[4]["name"], "since");
}

TEST_F(InfoTest, TellsTheStatisticsOfTheTable) {
    const Json report = info(counting(10));
    EXPECT_EQ(report["rows"], 10);
    EXPECT_EQ(report["rowsShown"], 10);
    EXPECT_EQ(report["statistics"]["Rows"], "10");
    EXPECT_EQ(report["statistics"]["Columns"], "1");
    EXPECT_EQ(report["statistics"]["ElementSize"], "20");
    EXPECT_EQ(report["statistics"]["Elements"], std::to_string(report["elements"].size()));
}

TEST_F(InfoTest, TellsEachElementWithItsRowsAndFiles) {
    const std::string table = counting(10);
    const Json report = info(table);
    long rows = 0;
    long bytes = static_cast<long>(std::filesystem::file_size(tables.file(table)));
    ASSERT_GT(report["elements"].size(), 1U);
    for (const Json& element : report["elements"]) {
        rows += element["rows"].get<long>();
        for (const std::string& kind : {std::string("data"), std::string("index")}) {
            const auto size = std::filesystem::file_size(element[kind].get<std::string>());
            EXPECT_EQ(element[kind + "Bytes"], size);
            bytes += static_cast<long>(size);
        }
    }
    EXPECT_EQ(rows, 10);
    EXPECT_EQ(report["bytes"], bytes);
}

TEST_F(InfoTest, TellsWhatAUriShows) {
    const Json report = info("ktwt:" + towns() + "?rows=3,10&col=n=people");
    EXPECT_EQ(report["rows"], 5);
    EXPECT_EQ(report["rowsShown"], 2);
    ASSERT_EQ(report["columns"].size(), 1U);
    EXPECT_EQ(report["columns"][0]["name"], "n");
    EXPECT_EQ(report["statistics"]["Columns"], "1");
}

TEST_F(InfoTest, TellsPeopleTheSame) {
    const std::string table = towns();
    const std::string shown = ktwt({"info", table}).out;
    const std::vector<std::string> parts = {"Name         " + table, "Rows         5\n", "COLUMN  TYPE ",
                                            "city    string          ", "ELEMENT  ROWS "};
    for (const std::string& part : parts) {
        EXPECT_NE(shown.find(part), std::string::npos) << part << "\n" << shown;
    }
}

TEST_F(InfoTest, DescribesATableWithoutColumnsAndRows) {
    const Json report = info(make({}, {}));
    EXPECT_EQ(report["columns"], Json::array());
    EXPECT_EQ(report["elements"], Json::array());
    EXPECT_EQ(report["rows"], 0);
}

TEST_F(InfoTest, TellsWhatIsWrong) {
    const std::string table = towns();
    EXPECT_FAILURE(ktwt({"info"}), 2, "TABLE");
    EXPECT_FAILURE(ktwt({"info", "ktwt_nowhere"}), 3, "ktwt_nowhere");
    EXPECT_FAILURE(ktwt({"info", "ktwt:" + table + "?rows=-1,2&col=city"}), 2, table);
    EXPECT_FAILURE(withFullOutput({"info", table}), 4, "standard output");
    cutHeader(table);
    EXPECT_FAILURE(ktwt({"info", table}), 6, table);
}

}  // namespace
