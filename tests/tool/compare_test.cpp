// Whether two tables are the same, and what the first difference is.
#include <nlohmann/json.hpp>

#include "tool/rows_fixture.h"

namespace {

using Json = nlohmann::json;

class CompareTest : public RowsTest {
protected:
    // What is told of a difference; the exit status must be 1 then, and 0 when there is none.
    std::string difference(const std::string& a, const std::string& b) {
        const Finished run = ktwt({"compare", a, b});
        EXPECT_EQ(run.status, run.out.empty() ? 0 : 1) << run.err;
        EXPECT_EQ(run.err, "");
        const Finished quiet = ktwt({"compare", "--quiet", a, b});
        EXPECT_EQ(quiet.status, run.status);
        EXPECT_EQ(quiet.out, "");
        return run.out;
    }

    Json report(const std::string& a, const std::string& b) {
        const Finished run = ktwt({"compare", "--json", a, b});
        const Json found = Json::parse(run.out);
        EXPECT_EQ(run.status, found["same"].get<bool>() ? 0 : 1) << run.err;
        return found;
    }
};

TEST_F(CompareTest, FindsTheSameRowsTheSame) {
    EXPECT_EQ(difference(towns(), towns()), "");
    EXPECT_EQ(difference(make({{"a"}}, {}), make({{"a"}}, {})), "");
    EXPECT_EQ(difference(make({}, {}), make({}, {})), "");
    EXPECT_EQ(report(towns(), towns()), Json::parse(R"({"same": true, "equalRows": 5, "columns": [], "row": null})"));
}

TEST_F(CompareTest, DoesNotMindHowRowsAreSpreadOverFiles) {
    std::vector<TestRow> rows;
    for (int i = 0; i < 100; ++i) rows.push_back({std::to_string(i)});
    EXPECT_EQ(difference(make({{"n", ktbTypeInteger}}, rows, 50), make({{"n", ktbTypeInteger}}, rows)), "");
}

TEST_F(CompareTest, TellsTheFirstValueThatDiffers) {
    const std::string a = make({{"t"}, {"n", ktbTypeInteger}}, {{"x", "1"}, {"y", "2"}, {"z", "3"}});
    const std::string b = make({{"t"}, {"n", ktbTypeInteger}}, {{"x", "1"}, {"y", "5"}, {"w", "3"}});
    EXPECT_EQ(difference(a, b), "row 1, column \"n\": 2 and 5\n");
    EXPECT_EQ(report(a, b), Json::parse(R"({"same": false, "equalRows": 1, "columns": [], "row": {"row": 1, "column": "n",
        "first": {"type": "integer", "text": "2"}, "second": {"type": "integer", "text": "5"}}})"));
}

TEST_F(CompareTest, TellsNullsFromEmptyTexts) {
    const std::string a = make({{"t"}}, {{null}});
    const std::string b = make({{"t"}}, {{""}});
    EXPECT_EQ(difference(a, b), "row 0, column \"t\": NULL and \"\"\n");
    EXPECT_EQ(report(a, b)["row"]["first"], nullptr);
    EXPECT_EQ(report(a, b)["row"]["second"]["text"], "");
    EXPECT_EQ(difference(b, make({{"t"}}, {{"\n\x1B"}})), "row 0, column \"t\": \"\" and \"\\n\\x1b\"\n");
}

TEST_F(CompareTest, TellsDecimalsOfOneValueApartByTheirText) {
    const std::string a = make({{"d", ktbTypeDecimal}}, {{"1"}, {"12.5"}});
    const std::string b = make({{"d", ktbTypeDecimal}}, {{"1"}, {"12.50"}});
    EXPECT_EQ(difference(a, b), "row 1, column \"d\": 12.5 and 12.50\n");
}

TEST_F(CompareTest, ComparesDatesAndBooleans) {
    const std::vector<TestColumn> columns = {{"b", ktbTypeBoolean}, {"d", ktbTypeDate}};
    const std::string a = make(columns, {{"true", "2026-01-01"}});
    EXPECT_EQ(difference(a, make(columns, {{"true", "2026-01-01"}})), "");
    EXPECT_EQ(difference(a, make(columns, {{"false", "2026-01-01"}})), "row 0, column \"b\": true and false\n");
    EXPECT_EQ(difference(a, make(columns, {{"true", "2026-01-01T00:00:01"}})),
              "row 0, column \"d\": 2026-01-01 and 2026-01-01T00:00:01\n");
}

TEST_F(CompareTest, TellsWhichTableHasMoreRows) {
    const std::string two = make({{"t"}}, {{"x"}, {"y"}});
    const std::string three = make({{"t"}}, {{"x"}, {"y"}, {"z"}});
    EXPECT_EQ(difference(two, three), "row 2: only in the second\n");
    EXPECT_EQ(difference(three, two), "row 2: only in the first\n");
    EXPECT_EQ(report(three, two)["row"], Json::parse(R"({"row": 2, "onlyIn": "first"})"));
}

TEST_F(CompareTest, TellsAllColumnsThatDifferAndLooksAtNoRows) {
    const std::string a = make({{"t"}, {"n", ktbTypeInteger}}, {{"x", "1"}});
    const std::string b = make({{"t"}, {"n", ktbTypeDecimal}, {"u"}}, {{"y", "1", "2"}});
    EXPECT_EQ(difference(a, b), "column 1: \"n\" (integer) and \"n\" (decimal)\ncolumn 2: none and \"u\" (string)\n");
    EXPECT_EQ(difference(make({{"T"}}, {}), make({{"t"}}, {})), "column 0: \"T\" (string) and \"t\" (string)\n");
    EXPECT_EQ(report(a, b), Json::parse(R"({"same": false, "equalRows": 0, "row": null, "columns": [
        {"column": 1, "first": {"name": "n", "type": "integer"}, "second": {"name": "n", "type": "decimal"}},
        {"column": 2, "first": null, "second": {"name": "u", "type": "string"}}]})"));
}

TEST_F(CompareTest, ComparesWhatUrisChoose) {
    const std::string a = make({{"t"}, {"n", ktbTypeInteger}}, {{"x", "1"}, {"y", "2"}});
    const std::string b = make({{"u"}}, {{"y"}, {"z"}});
    EXPECT_EQ(difference("ktwt:" + a + "?rows=1,1&col=t", "ktwt:" + b + "?rows=0,1&col=t=u"), "");
    EXPECT_EQ(difference("ktwt:" + a + "?col=t", "ktwt:" + b + "?col=t=u"), "row 0, column \"t\": \"x\" and \"y\"\n");
}

TEST_F(CompareTest, NamesWhatCannotBeRead) {
    const std::string good = make({{"t"}}, {{"first"}, {"second"}, {"third"}});
    const Finished missing = ktwt({"compare", good, "ktwt_nowhere"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("ktwt_nowhere"), std::string::npos) << missing.err;
    damageText("second");
    const Finished damaged = ktwt({"compare", good, good});
    EXPECT_EQ(damaged.status, 6);
    EXPECT_EQ(damaged.out, "");
    EXPECT_NE(damaged.err.find(good + ": KTWT-1301"), std::string::npos) << damaged.err;
}

}  // namespace
