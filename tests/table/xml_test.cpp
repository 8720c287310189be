// Rows as XML: the document byte for byte, what calls one after the other deliver, and what an XML parser makes of it.
#include <sys/wait.h>

#include <climits>
#include <cstdio>

#include "table/table_check.h"
#include "table/table_fixture.h"
#include "table/table_model.h"

namespace {

using Texts = std::vector<std::string>;

const std::string head =
    "<?xml version='1.0' encoding='UTF-8'?>"
    "<beans xmlns='http://www.springframework.org/schema/beans'"
    " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
    " xmlns:aop='http://www.springframework.org/schema/aop'"
    " xsi:schemaLocation='http://www.springframework.org/schema/beans"
    " http://www.springframework.org/schema/beans/spring-beans-3.0.xsd"
    " http://www.springframework.org/schema/aop"
    " http://www.springframework.org/schema/aop/spring-aop.xsd'>"
    "<bean id='Table' factory-bean='TableFactoryBean' factory-method='createInstance'>"
    "<constructor-arg index='0'><value>";
const std::string tail = "</list></constructor-arg></bean></beans>";

// The document as a few lines make it that know nothing of the library's.
std::string listOf(const Texts& texts) {
    std::string list;
    for (const std::string& text : texts) list += "<value>" + text + "</value>";
    return list;
}

std::string documentOf(const std::string& name, const Texts& columns, const std::vector<Texts>& escapedRows) {
    std::string text = head + name + "</value></constructor-arg><constructor-arg index='1'><list>" + listOf(columns) +
                       "</list></constructor-arg><constructor-arg index='2'><list>";
    for (const Texts& row : escapedRows) text += "<list>" + listOf(row) + "</list>";
    return text + tail;
}

std::string replaced(const std::string& text, char from, const std::string& to) {
    std::string result;
    for (const char c : text) result += c == from ? to : std::string(1, c);
    return result;
}

std::string escaped(const std::string& text) {
    return replaced(replaced(replaced(text, '&', "&amp;"), '\'', "&apos;"), '<', "&lt;");
}

class XmlTest : public TableTest {
protected:
    // A closed table of one string column "text" with a row for each text, then opened.
    void openTexts(const Texts& texts) {
        makeTable({{"text"}});
        for (const std::string& text : texts) row({text});
        finish();
        ASSERT_TRUE(reopen());
    }

    bool read(long first, int count) { return table_->readRows(first, count, &out_, &end_); }
    bool readWithoutEnd(long first, int count) { return table_->readRows(first, count, &out_, nullptr); }
    std::string out() const { return bytesOf(out_); }

    // The document of some of the rows of makeRows.
    std::string rowsDocument(const std::vector<long>& numbers) const {
        std::vector<Texts> rows;
        for (const long i : numbers) {
            rows.push_back({std::to_string(i), "row " + std::to_string(i), i % 2 != 0 ? "true" : "false"});
        }
        return documentOf(name_, {"id", "text", "flag"}, rows);
    }

    KtbString out_;
};

TEST_F(XmlTest, TheTextBeforeTheTablesNameHas549Characters) { EXPECT_EQ(head.size(), 549u); }

TEST_F(XmlTest, ASmallTableGivesExactlyThisDocument) {
    makeTable({{"id", ktbTypeInteger},
               {"text"},
               {"flag", ktbTypeBoolean},
               {"price", ktbTypeDecimal},
               {"day", ktbTypeDate},
               {"\xC3\xA4 & <b>"}});
    row({7, "a<b & 'c'", true, decimal("12.50"), date("2024-02-29"), "\xE2\x82\xAC > \"x\""});
    row({-1, nullptr, false, nullptr, date("2024-02-29T12:30:00.5"), ""});
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(readWithoutEnd(0, 2)) << tableError();
    EXPECT_EQ(out(),
              "<?xml version='1.0' encoding='UTF-8'?><beans xmlns='http://www.springframework.org/schema/beans' "
              "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xmlns:aop='http://www.springframework.org/schema/aop' "
              "xsi:schemaLocation='http://www.springframework.org/schema/beans "
              "http://www.springframework.org/schema/beans/spring-beans-3.0.xsd http://www.springframework.org/schema/aop "
              "http://www.springframework.org/schema/aop/spring-aop.xsd'><bean id='Table' factory-bean='TableFactoryBean' "
              "factory-method='createInstance'><constructor-arg index='0'><value>" +
                  name_ +
                  "</value></constructor-arg><constructor-arg index='1'><list><value>id</value><value>text</value>"
                  "<value>flag</value><value>price</value><value>day</value><value>\xC3\xA4 & <b></value></list>"
                  "</constructor-arg><constructor-arg index='2'><list>"
                  "<list><value>7</value><value>a&lt;b &amp; &apos;c&apos;</value><value>true</value><value>12.50</value>"
                  "<value>2024-02-29</value><value>\xE2\x82\xAC > \"x\"</value></list>"
                  "<list><value>-1</value><value></value><value>false</value><value></value>"
                  "<value>2024-02-29T12:30:00.5</value><value></value></list>"
                  "</list></constructor-arg></bean></beans>");
}

TEST_F(XmlTest, NoRowsAreACompleteDocumentWithAnEmptyList) {
    makeRows(3);
    ASSERT_TRUE(reopen());
    end_ = true;
    EXPECT_TRUE(read(0, 0));
    EXPECT_EQ(out(), rowsDocument({}));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(readWithoutEnd(0, 0));
    EXPECT_EQ(out(), rowsDocument({}));
    EXPECT_EQ(tableError(), "");
}

TEST_F(XmlTest, ValuesAreEscapedOnceAndWhateverTheyHold) {
    openTexts({"a<b & 'c'", "&lt;", "&amp;apos;", "&'<", "<'&", ">\"", "''''", "\xC3&\xA4<\xFF'", "&" + std::string(200, 'x')});
    EXPECT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(out(), documentOf(name_, {"text"},
                                {{"a&lt;b &amp; &apos;c&apos;"},
                                 {"&amp;lt;"},
                                 {"&amp;amp;apos;"},
                                 {"&amp;&apos;&lt;"},
                                 {"&lt;&apos;&amp;"},
                                 {">\""},
                                 {"&apos;&apos;&apos;&apos;"},
                                 {"\xC3&amp;\xA4&lt;\xFF&apos;"},
                                 {"&amp;" + std::string(200, 'x')}}));
}

TEST_F(XmlTest, EveryTextOfUpToFourOfTheCharactersThatMatterIsEscapedRight) {
    static const std::string alphabet = "&'<>a;";
    Texts texts = {""};
    std::size_t shorter = 0;
    for (int size = 1; size <= 4; ++size) {
        const std::size_t end = texts.size();
        for (; shorter < end; ++shorter) {
            for (const char c : alphabet) texts.push_back(texts[shorter] + c);
        }
    }
    ASSERT_EQ(texts.size(), 1u + 6u + 36u + 216u + 1296u);
    openTexts(texts);
    EXPECT_TRUE(readWithoutEnd(0, -1));
    std::vector<Texts> rows;
    for (const std::string& text : texts) rows.push_back({escaped(text)});
    EXPECT_EQ(out(), documentOf(name_, {"text"}, rows));
}

TEST_F(XmlTest, MoreRowsThanAreLeftEndTheDocumentAndSetTheEnd) {
    makeRows(5);
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(read(0, 2));
    EXPECT_EQ(out(), rowsDocument({0, 1}));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(read(0, 100));
    EXPECT_EQ(out(), rowsDocument({2, 3, 4}));
    EXPECT_TRUE(end_);
    EXPECT_TRUE(read(0, 1));
    EXPECT_EQ(out(), rowsDocument({}));
    EXPECT_TRUE(end_);
    EXPECT_TRUE(read(0, 0));
    EXPECT_FALSE(end_);
    EXPECT_EQ(tableError(), "");
}

TEST_F(XmlTest, AllRowsButNoMoreDoNotSetTheEnd) {
    makeRows(4, 1);
    ASSERT_TRUE(reopen());
    end_ = true;
    EXPECT_TRUE(read(0, 4));
    EXPECT_EQ(out(), rowsDocument({0, 1, 2, 3}));
    EXPECT_FALSE(end_);
}

TEST_F(XmlTest, MoreRowsThanAreLeftAreAFailureForWhoDoesNotAskForTheEnd) {
    makeRows(3);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(readWithoutEnd(0, 4));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 29, "(table as XML)"));
    const std::string whole = rowsDocument({0, 1, 2});
    EXPECT_EQ(out(), whole.substr(0, whole.size() - tail.size()));
}

TEST_F(XmlTest, TheFirstRowMovesNothing) {
    makeRows(6);
    for (const long first : {0L, 3L, 6L, 100L, -1L, LONG_MAX, LONG_MIN}) {
        ASSERT_TRUE(reopen());
        EXPECT_TRUE(readWithoutEnd(first, 2)) << first;
        EXPECT_EQ(out(), rowsDocument({0, 1})) << first;
    }
}

TEST_F(XmlTest, ANegativeCountIsTheRowsOfTheTableLessTheFirst) {
    makeRows(5);
    const std::vector<std::pair<long, std::vector<long>>> cases = {
        {0, {0, 1, 2, 3, 4}}, {3, {0, 1}}, {5, {}}, {7, {}}, {LONG_MAX, {0, 1, 2, 3, 4}}};
    for (const int count : {-1, -2, INT_MIN}) {
        for (const auto& [first, numbers] : cases) {
            ASSERT_TRUE(reopen());
            EXPECT_TRUE(read(first, count)) << first;
            EXPECT_EQ(out(), rowsDocument(numbers)) << first;
        }
    }
}

// Of 5 rows less LONG_MAX the low 32 bits are 6, of 5 less LONG_MIN they are 5.
TEST_F(XmlTest, OfTheRowsLessTheFirstOnlyTheLow32BitsCount) {
    makeRows(5);
    const std::vector<std::pair<long, std::vector<long>>> whole = {
        {LONG_MIN, {0, 1, 2, 3, 4}}, {1L << 32, {0, 1, 2, 3, 4}}, {(1L << 32) + 4, {0}}, {(1L << 40) - (1L << 31), {}}};
    for (const auto& [first, numbers] : whole) {
        ASSERT_TRUE(reopen());
        EXPECT_TRUE(readWithoutEnd(first, -1)) << first;
        EXPECT_EQ(out(), rowsDocument(numbers)) << first;
    }
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(read(LONG_MAX, -1));
    EXPECT_TRUE(end_);  // a sixth row was asked for
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(readWithoutEnd(LONG_MAX, -1));
}

TEST_F(XmlTest, ANegativeCountStartsWhereTheTableStands) {
    makeRows(5);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(nextRow(), rowNumber(0));
    EXPECT_TRUE(read(0, -1));
    EXPECT_EQ(out(), rowsDocument({1, 2, 3, 4}));
    EXPECT_TRUE(end_);
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(read(2, -1));
    EXPECT_EQ(nextRow(), rowNumber(3));
}

TEST_F(XmlTest, AHeaderThatCountsMoreRowsThanAnyDiskHoldsIsHarmless) {
    makeRows(4);
    table_files::Header changed = header();
    for (const long rows : {LONG_MAX, LONG_MIN, -1L, (1L << 32) + 3, 1L << 31}) {
        changed.rows = rows;
        changeHeader(changed);
        if (!reopen()) continue;
        EXPECT_TRUE(read(0, -1)) << rows;
        EXPECT_EQ(out().substr(0, head.size()), head);
        EXPECT_EQ(out().substr(out().size() - tail.size()), tail);
    }
    changed.rows = (1L << 32) + 3;
    changeHeader(changed);
    ASSERT_TRUE(reopen()) << error_.asCstr();
    EXPECT_TRUE(readWithoutEnd(0, -1)) << tableError();
    EXPECT_EQ(out(), rowsDocument({0, 1, 2}));
}

TEST_F(XmlTest, RowsComeInTheTablesOrderAndRange) {
    makeRows(9, 40);
    ASSERT_TRUE(reopen({.reversed = true}));
    EXPECT_TRUE(readWithoutEnd(0, 4));
    EXPECT_EQ(out(), rowsDocument({8, 7, 6, 5}));
    ASSERT_TRUE(reopen({.range = {2, 3}}));
    EXPECT_TRUE(read(0, -1));
    EXPECT_EQ(out(), rowsDocument({2, 3, 4}));
    EXPECT_TRUE(end_);
}

TEST_F(XmlTest, ChosenColumnsFillTheStoredOnesFromTheFirstOn) {
    makeRows(2);
    ASSERT_TRUE(reopenByIndex({2}));
    EXPECT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(out(), documentOf(name_, {"id", "text", "flag"}, {{"false", "", ""}, {"true", "", ""}}));
    ASSERT_TRUE(reopenByIndex({}));
    EXPECT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(out(), documentOf(name_, {"id", "text", "flag"}, {{"", "", ""}, {"", "", ""}}));
    ASSERT_TRUE(reopenByIndex({2, 0, 1}));
    EXPECT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(out(), documentOf(name_, {"id", "text", "flag"}, {{"false", "0", "row 0"}, {"true", "1", "row 1"}}));
}

TEST_F(XmlTest, ColumnsChosenBeyondTheStoredOnesAreReadButLeftOut) {
    makeRows(2);
    ASSERT_TRUE(reopenByName({"text", "id", "text", "unknown", "flag", "text", "id"}));
    EXPECT_TRUE(readWithoutEnd(0, -1)) << tableError();
    EXPECT_EQ(out(), documentOf(name_, {"id", "text", "flag"}, {{"row 0", "0", "row 0"}, {"row 1", "1", "row 1"}}));
    ASSERT_TRUE(openText("ktwt:" + name_ + "?col=none&col=c:string=%3C'%26&col=other=text&col=id&col=flag"));
    EXPECT_TRUE(readWithoutEnd(0, -1)) << tableError();
    EXPECT_EQ(out(),
              documentOf(name_, {"id", "text", "flag"}, {{"", "&lt;&apos;&amp;", "row 0"}, {"", "&lt;&apos;&amp;", "row 1"}}));
}

TEST_F(XmlTest, ATableWithoutColumnsHasEmptyRows) {
    makeTable({});
    row({});
    row({});
    finish();
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(readWithoutEnd(0, -1)) << tableError();
    EXPECT_EQ(out(), documentOf(name_, {}, {{}, {}}));
}

TEST_F(XmlTest, WhatWasInTheTextIsGone) {
    openTexts({"x"});
    for (const KtbString& before : {KtbString("something"), KtbString(nullptr), KtbString("literal", true)}) {
        out_ = before;
        EXPECT_TRUE(readWithoutEnd(0, 0));
        EXPECT_EQ(out(), documentOf(name_, {"text"}, {}));
        EXPECT_FALSE(out_.isNull());
    }
}

TEST_F(XmlTest, WithoutATextTheRowsStayUnread) {
    makeRows(2);
    ASSERT_TRUE(reopen());
    end_ = true;
    EXPECT_FALSE(table_->readRows(0, -1, nullptr, &end_));
    EXPECT_FALSE(end_);
    EXPECT_NE(tableError(), "");
    EXPECT_FALSE(table_->readRows(0, -1, nullptr, nullptr));
    EXPECT_TRUE(read(0, -1));
    EXPECT_EQ(out(), rowsDocument({0, 1}));
}

// The table is made anew for each, since a created one with an error text is removed with its object.
TEST_F(XmlTest, ATableThatIsBeingWrittenHasNoRowsToRead) {
    makeTable({{"id", ktbTypeInteger}});
    row({1});
    end_ = true;
    EXPECT_TRUE(read(0, 1));
    EXPECT_FALSE(end_);
    EXPECT_EQ(out(), documentOf(name_, {"id"}, {}));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 1793));
    makeTable({{"id", ktbTypeInteger}});
    EXPECT_FALSE(readWithoutEnd(0, 1));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 29, "(table as XML)"));
}

TEST_F(XmlTest, UndefinedColumnsOfANewTableHaveEmptyNames) {
    ASSERT_TRUE(tryMakeTable(2));
    EXPECT_TRUE(readWithoutEnd(0, 0));
    EXPECT_EQ(out(), documentOf(name_, {"", ""}, {}));
}

TEST_F(XmlTest, ADamagedRowEndsTheListOrFails) {
    makeRows(4);
    const std::string whole = readFile(dataPath(0));
    table_files::replaceFile(dataPath(0), whole.substr(0, whole.size() - 3));
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(read(0, -1));
    EXPECT_EQ(out(), rowsDocument({0, 1, 2}));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(table_->getError(), "wtelem", 1301, "column"));
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(readWithoutEnd(0, -1));
    EXPECT_TRUE(says(table_->getError(), "wtfile", 29, "(table as XML)"));
    const std::string document = rowsDocument({0, 1, 2});
    EXPECT_EQ(out(), document.substr(0, document.size() - tail.size()));
}

TEST_F(XmlTest, TextsOfTheOtherByteOrderAreTheSame) {
    makeRows(7, 40);
    table_files::reverseByteOrder(directories_, name_, std::endian::native);
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(out(), rowsDocument({0, 1, 2, 3, 4, 5, 6}));
}

// Random tables, opened in all ways, against the few lines above.
class XmlPropertyTest : public XmlTest {
protected:
    void write() {
        RandomTable make(&random_);
        model_ = make.empty();
        ASSERT_TRUE(tryMakeTable(static_cast<int>(model_.columns.size()), model_.elementSize)) << error_.asCstr();
        for (std::size_t c = 0; c < model_.columns.size(); ++c) {
            const ModelColumn& column = model_.columns[c];
            ASSERT_TRUE(define(static_cast<int>(c), {column.name, column.defined, column.width})) << tableError();
        }
        for (std::size_t rows = make.rowCount(model_.elementSize); rows != 0; --rows) {
            const Row values = make.row(model_);
            ASSERT_TRUE(tryRow(values)) << tableError();
            model_.write(values);
        }
        finish();
    }

    // Opens with any number of columns, stored and unknown, once and more often.
    void openSomehow() {
        view_ = TableView::all(model_);
        reversed_ = random_.chance(40);
        if (random_.chance(30)) {
            ASSERT_TRUE(reopen({.reversed = reversed_})) << error_.asCstr();
            return;
        }
        view_ = TableView();
        Texts names;
        for (std::size_t slots = random_.below(2 * model_.columns.size() + 3); slots != 0; --slots) {
            if (model_.columns.empty() || random_.chance(15)) {
                names.push_back(RandomTable(&random_).unknownName(model_));
                view_.showNull(names.back());
            } else {
                const auto column = random_.below(model_.columns.size());
                names.push_back(model_.columns[column].name);
                view_.show(model_, static_cast<int>(column));
            }
        }
        ASSERT_TRUE(reopenByName(names, {.reversed = reversed_})) << error_.asCstr();
    }

    Texts columnNames() const {
        Texts names;
        for (const ModelColumn& column : model_.columns) names.push_back(column.name);
        return names;
    }

    Texts cellsOf(const Row& stored) const {
        Texts cells(stored.size());
        for (std::size_t c = 0; c < std::min(stored.size(), view_.slots.size()); ++c) {
            const TableView::Slot& slot = view_.slots[c];
            const Value& value = slot.column < 0 ? slot.constant : stored[static_cast<std::size_t>(slot.column)];
            cells[c] = escaped(bytesOf(value.variant().asString()));
        }
        return cells;
    }

    // The document of `count` rows after the first `passed`, in the order in which they are read.
    std::string expected(std::size_t passed, std::size_t count) const {
        Rows rows = model_.rows;
        if (reversed_) std::reverse(rows.begin(), rows.end());
        std::vector<Texts> cells;
        for (std::size_t i = passed; i < passed + count; ++i) cells.push_back(cellsOf(rows[i]));
        return documentOf(name_, columnNames(), cells);
    }

    void readInPieces() {
        const std::size_t total = model_.rows.size();
        std::size_t passed = 0;
        for (bool ended = false; !ended && !HasFailure();) {
            const std::size_t count = random_.below(total + 2);
            const std::size_t left = std::min(count, total - passed);
            ended = count > total - passed;
            ASSERT_TRUE(read(random_.number(), static_cast<int>(count))) << tableError();
            ASSERT_EQ(out(), expected(passed, left));
            ASSERT_EQ(end_, ended);
            passed += left;
        }
    }

    void readWhole() {
        ASSERT_TRUE(readWithoutEnd(0, -1)) << tableError();
        ASSERT_EQ(out(), expected(0, model_.rows.size()));
    }

    Random random_{0};
    TableModel model_;
    TableView view_;
    bool reversed_ = false;
};

TEST_F(XmlPropertyTest, RandomTablesGiveTheDocumentsOfTheirModels) {
    for (std::uint64_t seed = 1; seed <= static_cast<std::uint64_t>(scaled(400)); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_ = Random(seed);
        write();
        for (int i = 0; i < 3 && !HasFailure(); ++i) {
            openSomehow();
            if (!HasFatalFailure()) random_.chance(50) ? readWhole() : readInPieces();
        }
        if (HasFailure()) return;
        table_.reset();
        EXPECT_TRUE(manager_->remove(ktb(name_), &error_)) << error_.asCstr();
    }
}

// The same seen by a parser that others wrote. A test without it would say less than its name, so that it fails instead.
class XmlParserTest : public XmlTest {
protected:
    struct Answer {
        int status = -1;
        std::string text;
    };

    // Lets xmllint look at the document. The arguments hold no single quotes but those around them.
    Answer xmllint(const std::string& arguments) const {
        const std::string file = temp_.file("document.xml");
        writeFile(file, out());
        Answer answer;
        FILE* pipe = popen(("xmllint --nonet " + arguments + " '" + file + "' 2>&1").c_str(), "r");
        if (pipe == nullptr) return answer;
        char buffer[4096];
        while (const std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe)) answer.text.append(buffer, got);
        const int status = pclose(pipe);
        if (WIFEXITED(status)) answer.status = WEXITSTATUS(status);
        return answer;
    }

    // The value of an XPath expression of the type string.
    std::string evaluated(const std::string& expression) const {
        const Answer answer = xmllint("--xpath '" + expression + "'");
        EXPECT_EQ(answer.status, 0) << answer.text;
        return answer.text.substr(0, answer.text.size() - 1);  // without the newline that xmllint adds
    }

    // The path from the root, without regard for the namespace, which xmllint has no means to name.
    static std::string path(const Texts& steps) {
        std::string result;
        for (const std::string& step : steps) {
            const std::size_t bracket = std::min(step.find('['), step.size());
            result += "/*[local-name()=\"" + step.substr(0, bracket) + "\"]" + step.substr(bracket);
        }
        return result;
    }

    static std::string argument(int index) {
        return path({"beans", "bean", "constructor-arg[@index=\"" + std::to_string(index) + "\"]"});
    }

    static std::string numbered(const char* element, std::size_t i) {
        return std::string(element) + "[" + std::to_string(i + 1) + "]";
    }

    // Texts of what can stand in XML, with much that has to be escaped. No "]", since "]]>" cannot stand there as it is.
    static std::string randomText(Random* random) {
        static const Texts parts = {"&", "<", "'", ">",  "\"", "&lt;",     "<!--",
                                    "a", "Z", " ", "\t", "\n", "\xC3\xA4", "\xF0\x9F\x98\x80"};
        std::string text;
        for (std::size_t size = random->below(8); size != 0; --size) text += random->oneOf(parts);
        return text;
    }

    static Texts randomTexts(std::size_t count, Random* random) {
        Texts texts;
        for (; count != 0; --count) texts.push_back(randomText(random));
        return texts;
    }

    void writeAndOpen(std::size_t columns, const std::vector<Texts>& rows) {
        std::vector<Column> definitions;
        for (std::size_t c = 0; c < columns; ++c) definitions.push_back({"column " + std::to_string(c)});
        makeTable(definitions);
        for (const Texts& texts : rows) row(Row(texts.begin(), texts.end()));
        finish();
        ASSERT_TRUE(reopen());
    }

    // All that the parser finds, in one expression, and the same made of what was written.
    void compare(std::size_t columns, const std::vector<Texts>& rows) {
        std::string expression = "concat(" + path({"beans", "bean"}) + "/@id,\"|\"," + argument(0) + path({"value"});
        std::string expected = "Table|" + name_;
        const auto expect = [&](const std::string& what, const std::string& value) {
            expression += ",\"|\"," + what;
            expected += "|" + value;
        };
        expect("count(" + argument(1) + path({"list", "value"}) + ")", std::to_string(columns));
        for (std::size_t c = 0; c < columns; ++c) {
            expect(argument(1) + path({"list", numbered("value", c)}), "column " + std::to_string(c));
        }
        expect("count(" + argument(2) + path({"list", "list"}) + ")", std::to_string(rows.size()));
        expect("count(" + argument(2) + path({"list", "list", "value"}) + ")", std::to_string(rows.size() * columns));
        for (std::size_t r = 0; r < rows.size(); ++r) {
            for (std::size_t c = 0; c < columns; ++c) {
                expect(argument(2) + path({"list", numbered("list", r), numbered("value", c)}), rows[r][c]);
            }
        }
        EXPECT_EQ(evaluated(expression + ")"), expected);
    }
};

TEST_F(XmlParserTest, TheParserIsThere) {
    out_ = "<a/>";
    const Answer answer = xmllint("--version --noout");
    ASSERT_EQ(answer.status, 0) << "xmllint, which is in libxml2-utils, cannot be run: " << answer.text;
    EXPECT_NE(answer.text.find("libxml"), std::string::npos);
}

TEST_F(XmlParserTest, TheDocumentIsABeanOfThreeArgumentsInTheNamespacesOfBeans) {
    openTexts({"a<b & 'c'"});
    ASSERT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(xmllint("--noout").status, 0);
    EXPECT_EQ(evaluated("concat(namespace-uri(/*),\" \",local-name(/*),\" \",count(/*/*),\" \",count(/*/*/*))"),
              "http://www.springframework.org/schema/beans beans 1 3");
    EXPECT_EQ(evaluated("string(/*/@*[namespace-uri()=\"http://www.w3.org/2001/XMLSchema-instance\"][local-name()="
                        "\"schemaLocation\"])"),
              "http://www.springframework.org/schema/beans http://www.springframework.org/schema/beans/spring-beans-3.0.xsd "
              "http://www.springframework.org/schema/aop http://www.springframework.org/schema/aop/spring-aop.xsd");
    EXPECT_EQ(evaluated("string(/*/namespace::aop)"), "http://www.springframework.org/schema/aop");
    EXPECT_EQ(evaluated("concat(/*/*/@id,\" \",/*/*/@factory-bean,\" \",/*/*/@factory-method)"),
              "Table TableFactoryBean createInstance");
    EXPECT_EQ(evaluated("string(" + argument(2) + path({"list", "list", "value"}) + ")"), "a<b & 'c'");
}

TEST_F(XmlParserTest, NamesWithMarkupAreNotEscaped) {
    makeTable({{"a<b"}});
    finish();
    ASSERT_TRUE(reopen());
    ASSERT_TRUE(readWithoutEnd(0, -1));
    EXPECT_EQ(xmllint("--noout").status, 1);  // what xmllint says of a document that is not well-formed
}

TEST_F(XmlParserTest, RandomTablesAreReadByTheParserAsTheyWereWritten) {
    for (std::uint64_t seed = 1; seed <= static_cast<std::uint64_t>(scaled(120)); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const std::size_t columns = random.below(5);
        std::vector<Texts> rows;
        for (std::size_t count = random.below(7); count != 0; --count) rows.push_back(randomTexts(columns, &random));
        writeAndOpen(columns, rows);
        if (HasFatalFailure()) return;
        ASSERT_TRUE(readWithoutEnd(0, -1)) << tableError();
        compare(columns, rows);
        if (HasFailure()) return;
    }
}

}  // namespace
