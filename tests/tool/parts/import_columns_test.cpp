// The names and types of columns, as the command line gives them.
#include "import_columns.h"

#include <gtest/gtest.h>

namespace {

// Writes the types down: "city=4 people=2".
std::string typesOf(const std::string& text) {
    std::vector<GivenType> types;
    if (const std::string wrong = parseTypes(text, &types); !wrong.empty()) return wrong;
    std::string listed;
    for (const GivenType& type : types) listed += (listed.empty() ? "" : " ") + type.column + "=" + std::to_string(type.type);
    return listed;
}

TEST(ImportColumnsTest, UnderstandsTypesByNameAndByPlace) {
    EXPECT_EQ(typesOf("city:string,people:integer"), "city=4 people=2");
    EXPECT_EQ(typesOf("string,Integer,decimal,date,boolean,double"), "=4 =2 =3 =5 =1 =6");
    EXPECT_EQ(typesOf("a:b:string"), "a:b=4");
    EXPECT_EQ(typesOf("a\\,b:string,c\\\\:date"), "a,b=4 c\\=5");
    EXPECT_EQ(typesOf("two words:date"), "two words=5");
}

TEST(ImportColumnsTest, RefusesWhatIsNoListOfTypes) {
    const std::string known = "; there are boolean, integer, decimal, string, date and double";
    EXPECT_EQ(typesOf(""), "\"\" is no type" + known);
    EXPECT_EQ(typesOf("city"), "\"city\" is no type" + known);
    EXPECT_EQ(typesOf("city:none"), "\"none\" is no type" + known);
    EXPECT_EQ(typesOf("city:string,"), "\"\" is no type" + known);
    EXPECT_EQ(typesOf(":string"), "the name of a column is missing before \":string\"");
    EXPECT_EQ(typesOf("city:string,integer"), "either all types have the name of a column, or none");
    EXPECT_EQ(typesOf("string,city:integer"), "either all types have the name of a column, or none");
}

std::vector<ImportColumn> columnsAB() {
    std::vector<ImportColumn> columns(2);
    columns[0].name = "a";
    columns[1].name = "b";
    return columns;
}

TEST(ImportColumnsTest, GivesTypesWithoutALookAtTheCaseOfNames) {
    std::vector<ImportColumn> columns = columnsAB();
    ASSERT_TRUE(giveTypes("x.csv", {{"B", ktbTypeDate}}, &columns).ok());
    EXPECT_FALSE(columns[0].given);
    EXPECT_TRUE(columns[1].given);
    EXPECT_EQ(columns[1].type, ktbTypeDate);
}

TEST(ImportColumnsTest, SaysWhyTypesDoNotFitTheColumns) {
    std::vector<ImportColumn> columns = columnsAB();
    Outcome given = giveTypes("x.csv", {{"c", ktbTypeDate}}, &columns);
    EXPECT_EQ(given.status(), Status::usage);
    EXPECT_EQ(given.text(), "--types: no column \"c\" in x.csv; there are a, b");
    given = giveTypes("x.csv", {{"a", ktbTypeDate}, {"A", ktbTypeDate}}, &columns);
    EXPECT_EQ(given.text(), "--types: \"A\" stands there twice");
    given = giveTypes("x.csv", {{"", ktbTypeDate}}, &columns);
    EXPECT_EQ(given.text(), "--types: they are 1, and the columns of x.csv 2");
}

TEST(ImportColumnsTest, NumbersColumnsWithoutNames) {
    const std::vector<ImportColumn> columns = numberedColumns(2);
    ASSERT_EQ(columns.size(), 2u);
    EXPECT_EQ(columns[0].name, "c1");
    EXPECT_EQ(columns[1].name, "c2");
}

}  // namespace
