// Tables verified by the command line.
#include <nlohmann/json.hpp>

#include <filesystem>

#include "tool/scene.h"

namespace {

using Json = nlohmann::json;

class VerifyTest : public SceneTest {
protected:
    std::string dataFileOf(const std::string& table) const { return tables.names("ktwte_" + table.substr(5)).front(); }
    void cut(const std::string& name) const {
        std::filesystem::resize_file(tables.file(name), std::filesystem::file_size(tables.file(name)) - 1);
    }
};

TEST_F(VerifyTest, SaysThatATableIsSound) {
    const std::string table = counting(2000);
    const Finished verify = ktwt({"verify", table});
    EXPECT_EQ(verify.status, 0);
    EXPECT_EQ(verify.err, "");
    EXPECT_EQ(verify.out.rfind(table + ": sound, 2,000 rows, ", 0), 0U) << verify.out;
    EXPECT_EQ(ktwt({"verify", "--quiet", table, "ktwt:" + table + "?rows=0,1"}).out, "");
}

TEST_F(VerifyTest, SaysWhatIsWrongAndWhere) {
    const std::string table = towns();
    const std::string data = dataFileOf(table);
    cut(data);
    const Finished verify = ktwt({"verify", table});
    EXPECT_EQ(verify.status, 1);
    EXPECT_EQ(verify.err, "");
    EXPECT_EQ(verify.out.rfind(tables.path(), 0), 0U) << verify.out;
    EXPECT_NE(verify.out.find(data + ": element 0, row 4"), std::string::npos) << verify.out;
    EXPECT_EQ(verify.out.find("sound"), std::string::npos);
}

TEST_F(VerifyTest, ReportsAsJson) {
    const std::string sound = towns();
    const std::string damaged = towns();
    cut(dataFileOf(damaged));
    const Finished verify = ktwt({"verify", "--json", sound, damaged});
    EXPECT_EQ(verify.status, 1);
    const Json report = Json::parse(verify.out);
    ASSERT_EQ(report.size(), 2U);
    EXPECT_EQ(report[0]["name"], sound);
    EXPECT_EQ(report[0]["sound"], true);
    EXPECT_EQ(report[0]["rows"], 5);
    EXPECT_EQ(report[0]["elements"], 1);
    EXPECT_EQ(report[0]["findings"], Json::array());
    EXPECT_EQ(report[1]["sound"], false);
    ASSERT_GT(report[1]["findings"].size(), 0U);
    const Json& finding = report[1]["findings"][0];
    EXPECT_EQ(finding["element"], 0);
    EXPECT_NE(finding["text"], "");
}

TEST_F(VerifyTest, CallsAHeaderThatNobodyUnderstandsDamaged) {
    const std::string table = towns();
    cutHeader(table);
    const Finished verify = ktwt({"verify", table});
    EXPECT_EQ(verify.status, 1) << verify.err;
    EXPECT_NE(verify.out.find(table), std::string::npos);
}

TEST_F(VerifyTest, GoesOnAfterATableThatIsNotThere) {
    const std::string table = towns();
    const Finished verify = ktwt({"verify", "ktwt_nowhere", table});
    EXPECT_FAILURE(verify, 3, "ktwt_nowhere");
    EXPECT_EQ(verify.out.rfind(table + ": sound", 0), 0U) << verify.out;
}

TEST_F(VerifyTest, RefusesToBeAskedForNothingAndTellsThatItsOutputIsRefused) {
    EXPECT_FAILURE(ktwt({"verify"}), 2, "TABLE");
    EXPECT_FAILURE(withFullOutput({"verify", towns()}), 4, "standard output");
}

}  // namespace
