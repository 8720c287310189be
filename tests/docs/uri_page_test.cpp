// docs/uri.md: each line of its tables is true.
#include "docs/page.h"
#include "ktb/worktable_uri.h"
#include "table/table_fixture.h"

namespace {

constexpr char pageName[] = "uri.md";

using Uri = std::unique_ptr<KtWorkTableURI, ReleaseObject>;

std::string describedColumn(KtWorkTableURI& uri, int column) {
    const std::string name = bytesOf(uri.getColumnName(column));
    const std::string source = bytesOf(uri.getColumnSource(column));
    const ktbType type = uri.getColumnType(column);
    if (type == ktbTypeNone) return source.empty() ? name : name + " from " + source;
    return name + ": " + ktbTypeToString(type) + (source.empty() ? "" : " " + source);
}

// As the page has it under the same headings: the text, the table, the rows, the columns.
page::Cells takenApart(const std::string& text) {
    const Uri uri(getURIFromURIString(ktb(text)));
    if (!uri) return {text, "is no URI"};
    std::string columns;
    for (int i = 0; i < uri->getColumns(); ++i) columns += (i > 0 ? "; " : "") + describedColumn(*uri, i);
    const std::string range = std::to_string(uri->getRangeStart()) + ", " + std::to_string(uri->getRangeCount());
    return {text, bytesOf(uri->getPath()), uri->hasRange() ? range : "all", columns};
}

TEST(UriPageTest, UrisAreTakenApartAsThePageSays) {
    for (const page::Cells& line : page::rowsUnder(pageName, {"URI", "table", "rows", "columns"})) {
        EXPECT_EQ(takenApart(line.at(0)), line);
    }
}

TEST(UriPageTest, TextsThatAreNoUrisAreNone) {
    for (const page::Cells& line : page::rowsUnder(pageName, {"text", "because"})) {
        EXPECT_EQ(takenApart(line.at(0)), (page::Cells{line.at(0), "is no URI"}));
    }
}

class UriPageTableTest : public TableTest {
protected:
    UriPageTableTest() {
        useDirectories({"directory"});
        makeTable({{"city"}, {"people", ktbTypeInteger}, {"area", ktbTypeDecimal}});
        for (const page::Cells& line : page::rowsUnder(pageName, {"city", "people", "area"})) {
            Row values;
            for (const std::string& cell : line) values.push_back(cell == "-" ? Value(nullptr) : Value(cell));
            row(values);
        }
        finish();
    }

    std::string withName(const std::string& text) const { return page::replaced(text, "NAME", name_); }

    std::string described(const Row& values) const {
        std::string text;
        for (const Value& value : values) {
            if (!text.empty()) text += ", ";
            text += value.variant().isNull() ? "-" : bytesOf(value.variant().asString());
        }
        return text;
    }

    // The columns and rows of the open table as the page has them.
    std::string read() {
        std::string text;
        for (const ColumnInfo& column : columnsOf(*table_)) {
            text += (text.empty() ? "" : ", ") + column.name + " " + ktbTypeToString(column.type);
        }
        std::string separator = ": ";
        for (const Row& values : rowsRead()) {
            text += separator + described(values);
            separator = "; ";
        }
        if (separator == ": ") text += ":";
        return page::plain(text);
    }

    void expectRead(const std::string& heading, bool reversed) {
        for (const page::Cells& line : page::rowsUnder(pageName, {heading, "what is read"})) {
            ASSERT_TRUE(openText(withName(line.at(0)), reversed)) << line.at(0) << ": " << error_.asCstr();
            EXPECT_EQ(read(), line.at(1)) << line.at(0);
        }
    }
};

TEST_F(UriPageTableTest, UrisOpenWhatThePageSays) { expectRead("URI", false); }

TEST_F(UriPageTableTest, UrisOpenedReversedDeliverWhatThePageSays) { expectRead("URI, opened reversed", true); }

TEST_F(UriPageTableTest, WhatThePageSaysIsRefusedIsRefusedWithItsMessage) {
    for (const page::Cells& line : page::rowsUnder(pageName, {"URI", "message"})) {
        EXPECT_FALSE(openText(withName(line.at(0)))) << line.at(0);
        const std::string number = line.at(1).substr(0, line.at(1).find(' '));
        const std::string argument = page::replaced(line.at(1).substr(number.size() + 1), "\"", "");
        const std::string text = bytesOf(error_);
        EXPECT_EQ(text.rfind("KTWT-" + number + ": ", 0), 0U) << line.at(0) << ": " << text;
        EXPECT_NE(text.find(argument), std::string::npos) << line.at(0) << ": " << text;
    }
}

TEST_F(UriPageTableTest, OpenTablesTellTheUrisThatThePageSays) {
    for (const page::Cells& line : page::rowsUnder(pageName, {"opened", "its URI"})) {
        ASSERT_TRUE(openText(withName(line.at(0)))) << line.at(0) << ": " << error_.asCstr();
        EXPECT_EQ(bytesOf(table_->toURIString(false)), withName(line.at(1)));
    }
}

}  // namespace
