// What each format makes of every kind of value, to the byte, and what other programs read in it.
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <random>

#include "tool/rows_fixture.h"

namespace {

using Json = nlohmann::json;

class FormatsTest : public RowsTest {
protected:
    std::string cat(const std::string& table, const std::string& format, const std::string& warning = "") {
        const Finished run = ktwt({"cat", table, "--format", format});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err.find(warning) != std::string::npos, true) << run.err;
        EXPECT_EQ(run.err.empty(), warning.empty()) << run.err;
        return run.out;
    }

    std::string texts(const std::vector<std::string>& column) {
        std::vector<TestRow> rows;
        for (const std::string& text : column) rows.push_back({text});
        return make({{"t"}}, rows);
    }

    // What xmllint prints for an XPath expression.
    std::string xpath(const std::string& document, const std::string& expression) {
        const std::string path = file("document.xml", document);
        const Finished run = Running({"xmllint", "--nonet", "--xpath", expression, path}, "/dev/null").wait();
        EXPECT_EQ(run.status, 0) << run.err;
        return run.out;
    }
};

TEST_F(FormatsTest, ThisIsCsv) {
    EXPECT_EQ(cat(towns(), "csv"),
              "city,people,area,port,since\n"
              "Ulm,129942,118.680,false,\n"
              "Kiel,252668,,true,1242-01-01\n"
              "\"He said \"\"no\"\", twice\",,-0.05,,2026-11-20T12:30:00.5\n"
              ",-9223372036854775808,1000,true,\n"
              "\"\",9223372036854775807,0,false,0001-01-01\n");
}

TEST_F(FormatsTest, CsvQuotesWhatReadersWouldTakeForSomethingElse) {
    EXPECT_EQ(cat(texts({"a,b", "\"", "\"\"x\"", "a\nb", "a\r", " a", "a\t", " ", "a b", "\xEF\xBB\xBFx", "\xE4;'\\"}), "csv"),
              "t\n\"a,b\"\n\"\"\"\"\n\"\"\"\"\"x\"\"\"\n\"a\nb\"\n\"a\r\"\n\" a\"\n\"a\t\"\n\" \"\na "
              "b\n\"\xEF\xBB\xBFx\"\n\xE4;'\\\n");
    EXPECT_EQ(cat(make({{"a,b"}, {""}, {"c\"d"}}, {}), "csv"), "\"a,b\",\"\",\"c\"\"d\"\n");
}

TEST_F(FormatsTest, ACsvLineOfOneNullIsEmpty) { EXPECT_EQ(cat(make({{"a"}}, {{null}, {""}, {null}}), "csv"), "a\n\n\"\"\n\n"); }

TEST_F(FormatsTest, ThisIsTsv) {
    EXPECT_EQ(cat(towns(), "tsv"),
              "city\tpeople\tarea\tport\tsince\n"
              "Ulm\t129942\t118.680\tfalse\t\\N\n"
              "Kiel\t252668\t\\N\ttrue\t1242-01-01\n"
              "He said \"no\", twice\t\\N\t-0.05\t\\N\t2026-11-20T12:30:00.5\n"
              "\\N\t-9223372036854775808\t1000\ttrue\t\\N\n"
              "\t9223372036854775807\t0\tfalse\t0001-01-01\n");
    EXPECT_EQ(cat(texts({"a\tb", "a\nb\r", "\\N", "\\", "\xFF"}), "tsv"), "t\na\\tb\na\\nb\\r\n\\\\N\n\\\\\n\xFF\n");
    EXPECT_EQ(cat(make({{"a\tb"}}, {}), "tsv"), "a\\tb\n");
}

TEST_F(FormatsTest, ThisIsJson) {
    EXPECT_EQ(cat(towns(), "json"),
              "[\n"
              "{\"city\":\"Ulm\",\"people\":129942,\"area\":118.680,\"port\":false,\"since\":null},\n"
              "{\"city\":\"Kiel\",\"people\":252668,\"area\":null,\"port\":true,\"since\":\"1242-01-01\"},\n"
              "{\"city\":\"He said \\\"no\\\", twice\",\"people\":null,\"area\":-0.05,\"port\":null,"
              "\"since\":\"2026-11-20T12:30:00.5\"},\n"
              "{\"city\":null,\"people\":-9223372036854775808,\"area\":1000,\"port\":true,\"since\":null},\n"
              "{\"city\":\"\",\"people\":9223372036854775807,\"area\":0,\"port\":false,\"since\":\"0001-01-01\"}\n"
              "]\n");
    EXPECT_EQ(cat(make({{"a"}}, {}), "json"), "[\n]\n");
}

TEST_F(FormatsTest, JsonLinesAreTheSameObjects) {
    const std::string table = towns();
    std::string lines = cat(table, "jsonl");
    Json array = Json::array();
    for (std::size_t end = 0; (end = lines.find('\n')) != std::string::npos; lines.erase(0, end + 1)) {
        array.push_back(Json::parse(lines.substr(0, end)));
    }
    EXPECT_EQ(array, Json::parse(cat(table, "json")));
    EXPECT_EQ(array.size(), 5u);
    EXPECT_EQ(array[4]["people"].get<long>(), 9223372036854775807);
    EXPECT_EQ(array[3]["people"].get<long>(), -9223372036854775807 - 1);
    EXPECT_EQ(cat(make({{"a"}}, {}), "jsonl"), "");
}

TEST_F(FormatsTest, JsonGivesBackEveryAsciiCharacter) {
    std::string all;
    for (char c = 1; c < 127; ++c) all += c;
    all += "\x7F\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    const Json rows = Json::parse(cat(make({{all}}, {{all}}), "json"));
    EXPECT_EQ(rows[0][all].get<std::string>(), all);
}

TEST_F(FormatsTest, JsonReplacesWhatIsNoUtf8AndSaysSo) {
    const std::string table =
        texts({"a\xFF"
               "b",
               "\xC3", "\xED\xA0\x80", "ok", "\xF4\x90\x80\x80"});
    const std::string json = cat(table, "jsonl", table + ": 4 texts have bytes that JSON cannot hold");
    EXPECT_EQ(json,
              "{\"t\":\"a\xEF\xBF\xBD"
              "b\"}\n{\"t\":\"\xEF\xBF\xBD\"}\n{\"t\":\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"}\n"
              "{\"t\":\"ok\"}\n{\"t\":\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"}\n");
}

TEST_F(FormatsTest, JsonRefusesTwoColumnsOfOneName) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}});
    for (const char* format : {"json", "jsonl"}) {
        const Finished run = ktwt({"cat", table, "-f", format, "--columns", "a,b,a"});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find("\"a\""), std::string::npos) << run.err;
    }
    EXPECT_EQ(ktwt({"cat", table, "-f", "jsonl", "--columns", "a,other=a"}).out, "{\"a\":\"1\",\"other\":\"1\"}\n");
}

// The document of the library itself, where that is one that parsers read as it is meant.
TEST_F(FormatsTest, XmlIsTheDocumentOfTheLibrary) {
    const std::string table = towns();
    KtbString error;
    KtWorkTableManager* const manager = ktwtCreateManager("", tables.path().c_str(), &error);
    ASSERT_NE(manager, nullptr) << error.asCstr();
    KtWorkTableFile* const file = manager->open(table.c_str(), false, &error);
    ASSERT_NE(file, nullptr) << error.asCstr();
    KtbString document;
    EXPECT_TRUE(file->readRows(0, -1, &document, nullptr));
    file->release();
    manager->release();
    EXPECT_EQ(cat(table, "xml"), document.asCstr() + std::string("\n"));
}

TEST_F(FormatsTest, XmlIsReadByAParserAsItIsMeant) {
    const std::string table = make({{"<a> & 'b'"}, {"c"}}, {{"]]>&lt;\r\n", "2"}, {null, "\xC3\xA4"}});
    const std::string document = cat(table, "xml");
    const std::string argument = "/*/*/*[@index='";
    EXPECT_EQ(xpath(document, "string(" + argument + "0']/*)"), table + "\n");
    EXPECT_EQ(xpath(document, "count(" + argument + "1']/*/*)"), "2\n");
    EXPECT_EQ(xpath(document, "string(" + argument + "1']/*/*[1])"), "<a> & 'b'\n");
    EXPECT_EQ(xpath(document, "count(" + argument + "2']/*/*)"), "2\n");
    EXPECT_EQ(xpath(document, "string(" + argument + "2']/*/*[1]/*[1])"), "]]>&lt;\r\n\n");
    EXPECT_EQ(xpath(document, "string(" + argument + "2']/*/*[2]/*[1])"), "\n");
    EXPECT_EQ(xpath(document, "string(" + argument + "2']/*/*[2]/*[2])"), "\xC3\xA4\n");
}

TEST_F(FormatsTest, XmlShowsTheColumnsThatAreChosen) {
    const std::string table = make({{"a"}, {"b"}}, {{"1", "2"}});
    const Finished run = ktwt({"cat", table, "-f", "xml", "--columns", "x=b,a,y=a"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("<list><value>x</value><value>a</value><value>y</value></list>"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("<list><value>2</value><value>1</value><value>1</value></list>"), std::string::npos) << run.out;
}

TEST_F(FormatsTest, XmlReplacesWhatItCannotHoldAndSaysSo) {
    const std::string table =
        texts({"a\x01"
               "b",
               "\xFF", "\xEF\xBF\xBF", "\t\n"});
    const std::string document = cat(table, "xml", "3 texts have bytes that XML cannot hold");
    EXPECT_EQ(xpath(document, "count(//@index)"), "3\n");
    EXPECT_NE(document.find("<value>a\xEF\xBF\xBD"
                            "b</value>"),
              std::string::npos);
    EXPECT_NE(document.find("<value>\t\n</value>"), std::string::npos);
}

// Texts of everything that a CSV writer could get wrong, nulls among them, go out and come in again.
class RoundTripTest : public RowsTest {
protected:
    std::optional<std::string> randomText() {
        static const std::vector<std::string> parts = {
            "a", "b", ",", "\"", "\n", "\r", " ", "\t", "\\", "\xEF\xBB\xBF", "\xFF", "\xC3\xA4", "0", "NULL", ";", "\\N", "'"};
        if (random_() % 5 == 0) return null;
        std::string text;
        for (std::size_t count = random_() % 5; count != 0; --count) text += parts[random_() % parts.size()];
        return text;
    }

    std::optional<std::string> randomValue(ktbType type) {
        if (type == ktbTypeString) return randomText();
        if (random_() % 4 == 0) return null;
        const std::string digits = std::to_string(static_cast<long>(random_()) >> random_() % 60);
        switch (type) {
            case ktbTypeBoolean: return random_() % 2 == 0 ? "true" : "false";
            case ktbTypeInteger: return digits;
            case ktbTypeDecimal: return digits + "." + std::to_string(random_() % 1000);
            default:
                return "20" + std::to_string(10 + random_() % 90) + "-01-02T03:04:0" + std::to_string(random_() % 10) + ".25";
        }
    }

    std::mt19937_64 random_{20261120};
};

TEST_F(RoundTripTest, CsvComesBackAsTheSameTable) {
    static const ktbType types[] = {ktbTypeString, ktbTypeString, ktbTypeInteger, ktbTypeDecimal, ktbTypeBoolean, ktbTypeDate};
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::vector<TestColumn> columns;
        std::string given;
        for (std::size_t count = 1 + random_() % 4; count != 0; --count) {
            const ktbType type = types[random_() % std::size(types)];
            columns.push_back({"c" + std::to_string(count) + (random_() % 2 == 0 ? "" : " ,\"\n"), type});
            given += std::string(given.empty() ? "" : ",") + ktbTypeToString(type);
        }
        std::vector<TestRow> rows(random_() % 9);
        for (TestRow& row : rows) {
            for (const TestColumn& column : columns) row.push_back(randomValue(column.type));
        }
        const std::string table = make(columns, rows);
        const Finished cat = ktwt({"cat", table});
        ASSERT_EQ(cat.status, 0) << cat.err;
        const Finished import = ktwt({"import", "-", "--types", given}, cat.out);
        ASSERT_EQ(import.status, 0) << import.err << cat.out;
        const Finished compare = ktwt({"compare", table, import.out.substr(0, import.out.find('\n'))});
        ASSERT_EQ(compare.status, 0) << compare.out << compare.err << cat.out;
    }
}

TEST_F(RoundTripTest, TsvComesBackByItsFourEscapes) {
    std::vector<TestRow> rows(200);
    for (TestRow& row : rows) row = {randomText(), randomText()};
    const Finished cat = ktwt({"cat", make({{"a"}, {"b"}}, rows), "-f", "tsv", "--no-header"});
    std::vector<TestRow> found = {{""}};
    for (std::size_t i = 0; i < cat.out.size(); ++i) {
        std::optional<std::string>& last = found.back().back();
        const char c = cat.out[i];
        if (c == '\t') {
            found.back().push_back("");
        } else if (c == '\n') {
            found.push_back({""});
        } else if (c != '\\') {
            *last += c;
        } else if (cat.out[++i] == 'N') {
            last = null;
        } else {
            *last += cat.out[i] == 't' ? '\t' : cat.out[i] == 'n' ? '\n' : cat.out[i] == 'r' ? '\r' : '\\';
        }
    }
    found.pop_back();
    EXPECT_EQ(found, rows);
}

}  // namespace
