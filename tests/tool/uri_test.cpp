// URIs made from options, and taken apart.
#include <nlohmann/json.hpp>

#include "tool/rows_fixture.h"

namespace {

using Json = nlohmann::json;

class UriTest : public RowsTest {
protected:
    std::string uri(std::vector<std::string> words) {
        words.insert(words.begin(), "uri");
        const Finished run = ktwt(words);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return run.out;
    }

    void expectRefused(std::vector<std::string> words, const std::string& part) {
        words.insert(words.begin(), "uri");
        const Finished run = ktwt(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find(part), std::string::npos) << run.err;
    }

    std::string table() { return make({{"city"}, {"people", ktbTypeInteger}}, {{"Ulm", "129942"}, {"Kiel", "252668"}}); }
};

TEST_F(UriTest, ListsAllColumnsUnlessSomeAreChosen) {
    const std::string name = table();
    EXPECT_EQ(uri({name}), "ktwt:" + name + "?col=city&col=people\n");
    EXPECT_EQ(uri({name, "--rows", "1,1"}), "ktwt:" + name + "?rows=1,1&col=city&col=people\n");
    EXPECT_EQ(uri({name, "--rows", "1"}), "ktwt:" + name + "?rows=1,-1&col=city&col=people\n");
    EXPECT_EQ(uri({name, "--columns", "n=people"}), "ktwt:" + name + "?col=n=people\n");
}

TEST_F(UriTest, AddsConstantsAfterTheColumns) {
    const std::string name = table();
    EXPECT_EQ(uri({name, "--constant", "land:string=D E", "--constant", "year:integer=2026"}),
              "ktwt:" + name + "?col=city&col=people&col=land:string=D%20E&col=year:integer=2026\n");
    EXPECT_EQ(uri({name, "--columns", "city", "--constant", "a\\:b=c:DECIMAL=1.50"}),
              "ktwt:" + name + "?col=city&col=a%3Ab%3Dc:decimal=1.50\n");
    EXPECT_EQ(uri({name, "--columns", "city", "--constant", "x:date="}), "ktwt:" + name + "?col=city&col=x:date=\n");
    EXPECT_EQ(uri({name, "--columns", "city", "--constant", "x:string=a=b:c,d"}),
              "ktwt:" + name + "?col=city&col=x:string=a%3Db%3Ac%2Cd\n");
}

TEST_F(UriTest, RefusesConstantsThatAreNone) {
    const std::string name = table();
    expectRefused({name, "--constant", "x"}, "NAME:TYPE=TEXT");
    expectRefused({name, "--constant", "x=1"}, "NAME:TYPE=TEXT");
    expectRefused({name, "--constant", "x:integer"}, "NAME:TYPE=TEXT");
    expectRefused({name, "--constant", ":integer=1"}, "NAME:TYPE=TEXT");
    expectRefused({name, "--constant", "x:int=1"}, "\"int\" is no type");
    expectRefused({name, "--constant", "x:none=1"}, "\"none\" is no type");
    expectRefused({name, "--constant", "x:integer=1.5"}, "\"1.5\" is no integer");
    expectRefused({name, "--constant", "x:date=2026-02-30"}, "\"2026-02-30\" is no date");
}

TEST_F(UriTest, ShowsTheSameRowsWhereverItIsOpened) {
    const std::string name = table();
    std::string made = uri({name, "--columns", "n=people,city", "--rows", "1,1", "--constant", "x:decimal=1.50"});
    made.pop_back();
    EXPECT_EQ(ktwt({"cat", made}).out, "n,city,x\n252668,Kiel,1.50\n");
}

TEST_F(UriTest, GoesOnWithAUriThatLeavesSomethingOpen) {
    const std::string name = table();
    EXPECT_EQ(uri({"ktwt:" + name + "?col=city", "--rows", "0,1"}), "ktwt:" + name + "?rows=0,1&col=city\n");
    EXPECT_EQ(uri({"ktwt:" + name + "?rows=0,1", "--columns", "city"}), "ktwt:" + name + "?rows=0,1&col=city\n");
    EXPECT_EQ(uri({"ktwt:" + name + "?col=city", "--constant", "x:integer=1"}), "ktwt:" + name + "?col=city&col=x:integer=1\n");
    expectRefused({"ktwt:" + name + "?col=city", "--columns", "city"}, "--columns");
    expectRefused({name, "--columns", "town"}, "\"town\"");
}

TEST_F(UriTest, ExplainsTheParts) {
    EXPECT_EQ(uri({"--explain", "ktwt:a%20table?rows=5,10&col=city&col=n=people&col=land:string=DE&col=x:date="}),
              "table   a table\n"
              "rows    10 from 5 on\n"
              "column  city\n"
              "column  n, stored as people\n"
              "column  land, always the string DE\n"
              "column  x, always a null of type date\n");
    EXPECT_EQ(uri({"--explain", "ktwt:t"}), "table    t\nrows     all\ncolumns  none\n");
    EXPECT_EQ(uri({"--explain", "ktwt:t?rows=5,-1&col=a"}), "table   t\nrows    from 5 to the end\ncolumn  a\n");
    const std::string name = table();
    EXPECT_EQ(uri({"--explain", name, "--columns", "city"}), "table   " + name + "\nrows    all\ncolumn  city\n");
    expectRefused({"--explain", "ktwt:t?rows=5,10", "--rows", "1,1"}, "--rows");
}

TEST_F(UriTest, ReportsThePartsAsJson) {
    const std::string text = "ktwt:t?rows=5,10&col=city&col=n=people&col=land:string=DE&col=x:date=";
    const Json report = Json::parse(uri({"--explain", "--json", text}));
    EXPECT_EQ(report, Json::parse(R"({
        "uri": ")" + text + R"(", "table": "t", "rows": {"first": 5, "count": 10}, "columns": [
            {"name": "city", "source": "city"}, {"name": "n", "source": "people"},
            {"name": "land", "type": "string", "constant": "DE"}, {"name": "x", "type": "date", "constant": null}]})"));
    const std::string name = table();
    const Json whole = Json::parse(uri({"--json", name}));
    EXPECT_EQ(whole["uri"], "ktwt:" + name + "?col=city&col=people");
    EXPECT_EQ(whole["rows"], nullptr);
    EXPECT_EQ(whole["columns"].size(), 2u);
}

TEST_F(UriTest, NamesATableThatIsNotThere) {
    const Finished run = ktwt({"uri", "ktwt_nowhere"});
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("ktwt_nowhere"), std::string::npos) << run.err;
}

TEST_F(UriTest, TellsWhenAReportHasBytesThatJsonCannotHold) {
    const std::string name = make({{"a\xFF"}}, {{"1"}});
    const std::string other = make({{"b\xFF"}}, {{"1"}});
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"uri", "--json", "--explain", "ktwt:t?col=a%FF"}, {"info", "--json", name}, {"compare", "--json", name, other}}) {
        const Finished run = ktwt(words);
        EXPECT_NE(run.out.find("\xEF\xBF\xBD"), std::string::npos) << run.out;
        EXPECT_EQ(run.err, "ktwt: the report has bytes that JSON cannot hold; U+FFFD stands for each\n");
    }
}

}  // namespace
