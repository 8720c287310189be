// Tables as texts: columns chosen by a URI, and the URI from which an open table can be opened again.
#include <climits>
#include <functional>

#include "table/table_fixture.h"

namespace {

class TableUriTest : public TableTest {
protected:
    // A table "a" (integer), "b" (string), "c" (date) with the rows (1, "one", 1970-01-02), (2, null, null), (3, "three",
    // null).
    void makeThree() {
        makeTable({{"a", ktbTypeInteger}, {"b"}, {"c", ktbTypeDate}});
        row({1, "one", date(86400.0)});
        row({2, nullptr, nullptr});
        row({3, "three", nullptr});
        finish();
    }

    bool openQuery(const std::string& query, bool reversed = false) { return openText("ktwt:" + name_ + query, reversed); }
    std::string uri(bool all = false) { return bytesOf(table_->toURIString(all)); }
    std::string query() {
        const std::string text = uri();
        EXPECT_EQ(text.compare(0, 5 + name_.size(), "ktwt:" + name_), 0) << text;
        return text.substr(5 + name_.size());
    }

    // Opens the open table again from its URI and expects it to be the same table.
    void expectSameFromItsUri(bool reversed = false) {
        const std::string text = uri();
        const std::vector<ColumnInfo> columns = columnsOf(*table_);
        const Rows rows = rowsRead();
        ASSERT_TRUE(openText(text, reversed)) << text << ": " << error_.asCstr();
        EXPECT_EQ(columnsOf(*table_), columns) << text;
        EXPECT_EQ(rowsRead(), rows) << text;
        EXPECT_EQ(uri(), text);
    }

    static Value nullText() { return nullOf(ktbTypeString); }
};

// Columns chosen by a URI

TEST_F(TableUriTest, TextThatIsNoUriIsAPlainName) {
    makeThree();
    ASSERT_TRUE(openText(name_));
    EXPECT_EQ(table_->getColumns(), 3);
    EXPECT_EQ(rowsRead().size(), 3u);
    EXPECT_FALSE(openText("ktwt:" + name_ + "?col"));
    EXPECT_TRUE(refused(1353, (directories_[0] + "/ktwt:" + name_ + "?col").c_str(), np_fio_errdesc(np_err_no_such_file)));
}

TEST_F(TableUriTest, OtherSchemesAreRefused) {
    makeThree();
    EXPECT_FALSE(openText("http:" + name_));
    EXPECT_TRUE(refused(1790, "http"));
    EXPECT_FALSE(openText("ktwtx:" + name_ + "?col=a"));
    EXPECT_TRUE(refused(1790, "ktwtx"));
    ASSERT_TRUE(openText("KtWt:" + name_ + "?col=a"));
    EXPECT_EQ(rowsRead(), (Rows{{1}, {2}, {3}}));
}

TEST_F(TableUriTest, PathOfAUriIsASingleFileName) {
    makeThree();
    for (const char* name : {"", ".", "..", "a/b", "/"}) {
        EXPECT_FALSE(openText(std::string("ktwt:") + name));
        EXPECT_TRUE(refused(1353, name, np_fio_errdesc(np_err_no_such_file)));
    }
    EXPECT_FALSE(openText("ktwt:..%2Fwork%2F" + name_));
    EXPECT_TRUE(refused(1353, ("../work/" + name_).c_str(), np_fio_errdesc(np_err_no_such_file)));
    EXPECT_TRUE(openText("ktwt:%6b" + name_.substr(1)));
}

TEST_F(TableUriTest, UriWithoutColumnsChoosesNone) {
    makeThree();
    ASSERT_TRUE(openQuery(""));
    EXPECT_EQ(table_->getColumns(), 0);
    EXPECT_EQ(rowsRead(), Rows(3));
    EXPECT_EQ(query(), "");
}

TEST_F(TableUriTest, UriWithAllColumnsInTheirOrderIsNoSelection) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=A&col=b=B&col=c"));
    const std::vector<ColumnInfo> stored = {{"a", ktbTypeInteger}, {"b", ktbTypeString, 0, 6}, {"c", ktbTypeDate}};
    EXPECT_EQ(columnsOf(*table_), stored);
    EXPECT_EQ(query(), "?col=a&col=b&col=c");
    EXPECT_EQ(rowsRead(), (Rows{{1, "one", date(86400.0)}, {2, nullptr, nullptr}, {3, "three", nullptr}}));
}

TEST_F(TableUriTest, ColumnIsShownUnderAnotherName) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=x=b&col=when=C"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"x", ktbTypeString, 0, 6}, {"when", ktbTypeDate}}));
    EXPECT_EQ(rowsRead(), (Rows{{"one", date(86400.0)}, {nullptr, nullptr}, {"three", nullptr}}));
    EXPECT_EQ(query(), "?col=x=b&col=when=c");
}

TEST_F(TableUriTest, ColumnMayBeShownSeveralTimesUnderSeveralNames) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=b&col=x=b&col=b&col=y=b&col=a"));
    EXPECT_EQ(rowsRead(), (Rows{{"one", "one", "one", "one", 1},
                                {nullptr, nullptr, nullptr, nullptr, 2},
                                {"three", "three", "three", "three", 3}}));
    EXPECT_EQ(query(), "?col=b&col=x=b&col=b&col=y=b&col=a");
}

TEST_F(TableUriTest, ColumnMayTakeTheNameOfAnother) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=b=a&col=a=b"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"b", ktbTypeInteger}, {"a", ktbTypeString, 0, 6}}));
    EXPECT_EQ(rowsRead(), (Rows{{1, "one"}, {2, nullptr}, {3, "three"}}));
    EXPECT_EQ(query(), "?col=b=a&col=a=b");
}

TEST_F(TableUriTest, TypedColumnReadsAsItsConstantOnEveryRow) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=n:2=12&col=a"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"n", ktbTypeInteger}, {"a", ktbTypeInteger}}));
    EXPECT_EQ(rowsRead(), (Rows{{12, 1}, {12, 2}, {12, 3}}));
}

TEST_F(TableUriTest, ConstantsHaveTheTypeTheyAreGiven) {
    makeThree();
    ASSERT_TRUE(
        openQuery("?col=b:boolean=yes&col=i:integer=-7&col=m:decimal=12.50&col=s:string=12&col=d:date=1970-01-02"
                  "&col=f:double=1.50&col=b2:1=false&col=s2:4=a%20b&col=d2:5=1970-01-01%2000:00:01&col=f2:6=x"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"b", ktbTypeBoolean},
                                                           {"i", ktbTypeInteger},
                                                           {"m", ktbTypeDecimal},
                                                           {"s", ktbTypeString, 2, 2},
                                                           {"d", ktbTypeDate},
                                                           {"f", ktbTypeString, 4, 4},
                                                           {"b2", ktbTypeBoolean},
                                                           {"s2", ktbTypeString, 3, 3},
                                                           {"d2", ktbTypeDate},
                                                           {"f2", ktbTypeString, 1, 1}}));
    const Row constants = {true, -7, decimal("12.50"), "12", date(86400.0), "1.50", false, "a b", date(1.0), "x"};
    EXPECT_EQ(rowsRead(), Rows(3, constants));
}

TEST_F(TableUriTest, WidthOfAConstantTextIsItsNumberOfCharacters) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=x:string=%C3%A4%E2%82%AC"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"x", ktbTypeString, 2, 2}}));
    EXPECT_EQ(nextRow(), (Row{"\xC3\xA4\xE2\x82\xAC"}));
}

TEST_F(TableUriTest, SourceThatNamesNoStoredColumnIsAConstantText) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=a=some%20text&col=x=b%20"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"a", ktbTypeString, 9, 9}, {"x", ktbTypeString, 2, 2}}));
    EXPECT_EQ(rowsRead(), Rows(3, Row{"some text", "b "}));
}

TEST_F(TableUriTest, TypedColumnIsAConstantEvenWithTheNameOfAStoredOne) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=a:string=b"));
    EXPECT_EQ(rowsRead(), Rows(3, Row{"b"}));
}

TEST_F(TableUriTest, UnknownNamesAndEmptyConstantsReadAsNullStrings) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=x&col=y:integer=&col=z:string=&col=a"));
    const ColumnInfo integer = {"a", ktbTypeInteger};
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"x"}, {"y"}, {"z"}, integer}));
    EXPECT_EQ(rowsRead(), (Rows{{nullText(), nullText(), nullText(), 1},
                                {nullText(), nullText(), nullText(), 2},
                                {nullText(), nullText(), nullText(), 3}}));
}

TEST_F(TableUriTest, ConstantThatDoesNotConvertReadsAsANullOfItsType) {
    makeThree();
    ASSERT_TRUE(openQuery("?col=x:integer=many&col=y:date=never&col=a"));
    EXPECT_EQ(columnsOf(*table_), (std::vector<ColumnInfo>{{"x", ktbTypeInteger}, {"y", ktbTypeDate}, {"a", ktbTypeInteger}}));
    EXPECT_EQ(nextRow(), (Row{nullOf(ktbTypeInteger), nullOf(ktbTypeDate), 1}));
    // What did not convert is gone; what is left of it is a null.
    EXPECT_EQ(query(), "?col=x:integer=&col=y:date=&col=a");
}

TEST_F(TableUriTest, RangeOfAUriIsTheRangeRead) {
    makeThree();
    ASSERT_TRUE(openQuery("?rows=1,1&col=a"));
    EXPECT_EQ(rowsRead(), (Rows{{2}}));
    ASSERT_TRUE(openQuery("?rows=1,-1&col=a", true));
    EXPECT_EQ(rowsRead(), (Rows{{3}, {2}}));
    ASSERT_TRUE(openQuery("?rows=1,9223372036854775807"));
    EXPECT_EQ(rowsRead(), Rows(2));
    ASSERT_TRUE(openQuery("?rows=3,1&col=a"));
    EXPECT_EQ(rowsRead(), Rows());
}

// The URI of an open table

TEST_F(TableUriTest, NewTableShowsItsColumnsOnlyWhenAllAreAskedFor) {
    makeTable({{"a", ktbTypeInteger}, {"b"}});
    EXPECT_EQ(uri(false), "ktwt:" + name_);
    EXPECT_EQ(uri(true), "ktwt:" + name_ + "?col=a&col=b");
    row({1, "one"});
    const std::string text = uri(true);
    ASSERT_TRUE(table_->close());
    EXPECT_EQ(uri(true), text);
    ASSERT_TRUE(openText(text));
    EXPECT_EQ(rowsRead(), (Rows{{1, "one"}}));
}

TEST_F(TableUriTest, NewTableWithoutColumnsIsDescribedByItsNameAlone) {
    makeTable({});
    EXPECT_EQ(uri(false), "ktwt:" + name_);
    EXPECT_EQ(uri(true), "ktwt:" + name_);
}

TEST_F(TableUriTest, ColumnWithoutANameCannotBeDescribed) {
    ASSERT_TRUE(tryMakeTable(2));
    ASSERT_TRUE(define(0, {"a"}));
    EXPECT_EQ(uri(true), "");
    EXPECT_FALSE(table_->toURIString(true).isNull());
    EXPECT_EQ(tableError(), "") << "a description that fails says nothing else";
    EXPECT_EQ(uri(false), "ktwt:" + name_);
}

TEST_F(TableUriTest, OpenedTableShowsTheColumnsThatAreRead) {
    makeThree();
    ASSERT_TRUE(reopen());
    EXPECT_EQ(query(), "?col=a&col=b&col=c");
    EXPECT_EQ(uri(true), uri(false));
    ASSERT_TRUE(reopenByIndex({2, 0}));
    EXPECT_EQ(query(), "?col=c&col=a");
    EXPECT_EQ(uri(true), uri(false));
    ASSERT_TRUE(reopenByName({"b", "none", "B"}));
    EXPECT_EQ(query(), "?col=b&col=none:string=&col=b");
    ASSERT_TRUE(reopenByIndex({}));
    EXPECT_EQ(query(), "");
}

TEST_F(TableUriTest, RangeIsDescribedWhenThereIsOne) {
    makeRows(10);
    ASSERT_TRUE(reopenByIndex({0}, {.range = {5, -1}}));
    EXPECT_EQ(query(), "?rows=5,-1&col=id");
    ASSERT_TRUE(reopenByIndex({0}, {.range = {0, 3}}));
    EXPECT_EQ(query(), "?rows=0,3&col=id");
    ASSERT_TRUE(reopenByIndex({0}, {.range = {0, 0}}));
    EXPECT_EQ(query(), "?rows=0,0&col=id");
    ASSERT_TRUE(reopenByIndex({0}, {.range = {0, -1}}));
    EXPECT_EQ(query(), "?col=id");
    ASSERT_TRUE(reopenByIndex({0}, {.range = {5, LONG_MAX}}));
    EXPECT_EQ(query(), "?rows=5,9223372036854775807&col=id");
    ASSERT_TRUE(reopenByIndex({0}, {.range = {25, 4}}));
    EXPECT_EQ(query(), "?rows=25,4&col=id");
}

TEST_F(TableUriTest, EveryKindOfOpenTableOpensAgainFromItsUri) {
    makeThree();
    using Open = std::function<bool()>;
    const std::vector<Open> kinds = {
        [this] { return reopen(); },
        [this] {
            return reopen({.range = {1, 1}});
        },
        [this] {
            return reopen({.range = {1, -1}});
        },
        [this] {
            return reopen({.range = {7, -1}});
        },
        [this] { return reopenByIndex({}); },
        [this] {
            return reopenByIndex({2, 0});
        },
        [this] {
            return reopenByIndex({1}, {.range = {0, 2}});
        },
        [this] {
            return reopenByName({"b", "b", "a"});
        },
        [this] {
            return reopenByName({"x", "c", "Y"});
        },
        [this] { return openQuery("?col=x=b&col=y=b&col=b&col=b=a"); },
        [this] { return openQuery("?rows=2,1&col=x=a&col=x=a"); },
        [this] {
            return openQuery("?col=a=no%20column&col=b:boolean=yes&col=c:integer=-7&col=d:decimal=-12.50&col=e:double=1e5");
        },
        [this] {
            return openQuery("?col=t:string=%25%26%3D%3A%20%C3%A4&col=d:date=2024-02-29&col=w:date=2024-02-29T01:02:03.25");
        },
        [this] { return openQuery("?col=x&col=y:integer=&col=z:string=&col=u="); },
    };
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(kinds[i]()) << error_.asCstr();
        expectSameFromItsUri();
    }
    ASSERT_TRUE(reopenByName({"b", "x", "a"}, {.range = {1, -1}, .reversed = true}));
    expectSameFromItsUri(true);
}

TEST_F(TableUriTest, NamesAndConstantsOfAnyCharactersSurvive) {
    const std::vector<std::string> odd = {
        "",         " ",       "a&b",       "a=b", "a:b", "a:integer=1",          "100%",
        "%41",      "#",       "?rows=1,1", "a/b", "+",   "\xC3\xA4\xE2\x82\xAC", "\"quoted\"",
        "\x01\x7F", "\xFF\xC3"};
    std::vector<Column> columns;
    Row values;
    for (const std::string& name : odd) {
        columns.push_back({name});
        values.push_back("value of " + name);
    }
    makeTable(columns);
    row(values);
    finish();
    ASSERT_TRUE(reopen());
    expectSameFromItsUri();
    std::vector<std::string> names(odd.rbegin(), odd.rend());
    names.push_back("unknown & unseen");
    names.push_back(odd[2]);
    ASSERT_TRUE(reopenByName(names));
    expectSameFromItsUri();
}

}  // namespace
