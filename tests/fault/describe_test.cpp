// A table's rows as XML and its figures, with every call and every allocation on the way failing once.
#include <gtest/gtest.h>

#include <algorithm>

#include "stage.h"
#include "wtstats.h"

namespace {

constexpr char tail[] = "</list></constructor-arg></bean></beans>";
constexpr char noContainer[] = "(work table statistics container)";
constexpr char longLabel[] = "a label that does not fit into a string object";

using Cursor = std::unique_ptr<KtbStringCursor, Release>;

class DescribeTest : public testing::Test {
protected:
    struct Document {
        bool opened = false;
        bool done = false;
        bool end = false;
        KtbString text;
        KtbString error;
    };

    // Opens the table that was there before and reads the rows, all and one more or just `count` of them.
    Document readXml(bool withEnd, int count) {
        Document document;
        const Table table(stage.manager->open(KtbString(stage.kept.c_str(), true), false, &stage.error));
        document.opened = table != nullptr;
        if (!document.opened) return document;
        document.done = table->readRows(0, count, &document.text, withEnd ? &document.end : nullptr);
        document.error = table->getError();
        return document;
    }

    // The documents of the first 0, 1, 2 ... rows.
    std::vector<std::string> documents() {
        std::vector<std::string> texts;
        for (int count = 0; count <= rowCount; ++count) {
            const Document document = readXml(false, count);
            EXPECT_TRUE(document.done);
            texts.emplace_back(document.text.asCstr());
        }
        return texts;
    }

    static bool isBeginningOf(const std::string& whole, const KtbString& text) {
        return whole.compare(0, static_cast<std::size_t>(text.cStrSize() - 1), text.asCstr()) == 0;
    }

    // That the last message is 29 with that argument, or with what it says of itself where there is no memory left even for its
    // text, and that it is the error.
    void expectMemory(const Faults& faults, const char* source, const char* argument, const KtbString& error) {
        const MessageLog::Entry last = stage.log.last();
        const bool nothingLeft = faults.ofMemory() != nullptr && faults.ofMemory()->isLasting();
        EXPECT_EQ(last.source, source);
        EXPECT_EQ(last.component, "Work table library");
        EXPECT_EQ(last.number, 29);
        EXPECT_TRUE(last.text == messageText(29, nothingLeft ? "(message text)" : argument) ||
                    stage.tellsOfPair(faults, error.asCstr()));
        EXPECT_TRUE(last.text == error.asCstr() || stage.tellsOfPair(faults, error.asCstr())) << error.asCstr();
    }

    Stage stage;
};

TEST_F(DescribeTest, WithoutAnEndTheDocumentIsWholeOrAFailureLeavesItsBeginning) {
    const std::string whole = documents().back();
    int failures = 0;
    const long runs = sweepFaults([&](Faults& faults) {
        stage.refresh();
        Document document;
        faults.during([&] { document = readXml(false, rowCount); });
        if (document.done) {
            EXPECT_EQ(document.text.asCstr(), whole);
        }
        if (document.opened && !document.done) {
            ++failures;
            EXPECT_TRUE(faults.injected());
            EXPECT_TRUE(isBeginningOf(whole, document.text)) << document.text.asCstr();
            EXPECT_LT(static_cast<std::size_t>(document.text.cStrSize() - 1), whole.size());
            // The array is made before anything is appended, and the first append is too large for the string object itself.
            const bool isArray = document.text.length() == 0 && document.error.find("array", 0) >= 0;
            expectMemory(faults, "wtfile", isArray ? "(column value array)" : "(table as XML)", document.error);
        }
        stage.expectUnharmed();
    });
    EXPECT_GT(runs, failures);
    EXPECT_GT(failures, 20);
}

TEST_F(DescribeTest, TheValueArrayIsTheFirstThingThatIsMade) {
    const Table table(stage.manager->open(stage.kept.c_str(), false, &stage.error));
    MemoryFaults faults(0);
    KtbString text("what was there");
    bool end = true;
    bool done = true;
    faults.during([&] { done = table->readRows(0, -1, &text, &end); });
    EXPECT_FALSE(done);
    EXPECT_FALSE(end);
    EXPECT_STREQ(text.asCstr(), "");
    expectMemory(faults, "wtfile", "(column value array)", table->getError());
}

TEST_F(DescribeTest, WithAnEndARowThatCannotBeReadEndsTheList) {
    const std::vector<std::string> whole = documents();
    int cutShort = 0;
    int failures = 0;
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        Document document;
        faults.during([&] { document = readXml(true, rowCount + 1); });
        if (document.done) {
            const auto found = std::find(whole.begin(), whole.end(), document.text.asCstr());
            ASSERT_NE(found, whole.end()) << document.text.asCstr();
            EXPECT_EQ(document.end, *found == whole.back() && document.error.length() == 0);
            EXPECT_EQ(document.error.length() == 0, document.end);
            if (!document.end) ++cutShort;
        } else if (document.opened) {
            ++failures;
            EXPECT_TRUE(isBeginningOf(whole.back(), document.text) || isBeginningOf(whole.back() + tail, document.text));
            EXPECT_EQ(document.error.asCstr(), stage.log.last().text);
            EXPECT_EQ(stage.log.last().number, 29);
        }
        stage.expectUnharmed();
    });
    EXPECT_GT(cutShort, 10);
    EXPECT_GT(failures, 0);
}

// A decimal of 38 digits is a text that needs memory; without it the value must not pass for a null.
TEST_F(DescribeTest, AValueWhoseTextFindsNoMemoryIsNoNull) {
    constexpr char digits[] = "12345678901234567890123456789012345678";
    KtbString name;
    {
        const Table table(stage.manager->create(1, 0, &stage.error));
        name = table->getName();
        KtbDatavar value;
        value.assign(digits);
        ASSERT_TRUE(table->defineColumnInfo(0, "number", ktbTypeDecimal, 0));
        ASSERT_TRUE(table->writeRow(&value) && table->close());
    }
    int failures = 0;
    const std::string cell = std::string("<list><value>") + digits + "</value></list>";
    forEachMemoryFault([&](Faults& faults) {
        const Table table(stage.manager->open(name, false, &stage.error));
        KtbString text;
        bool end = false;
        bool done = false;
        faults.during([&] { done = table->readRows(0, 1, &text, &end); });
        if (!done) ++failures;
        const bool isThere = std::string(text.asCstr()).find(cell) != std::string::npos;
        const bool isCutShort = table->getError().length() != 0;
        if (done) {
            EXPECT_NE(isThere, isCutShort) << text.asCstr();
        }
        EXPECT_EQ(std::string(text.asCstr()).find("<value></value></list>"), std::string::npos);
    });
    EXPECT_GT(failures, 2);
    stage.clearAway();
}

TEST_F(DescribeTest, StatisticsAreWholeOrNullWithAText) {
    const Table table(stage.manager->open(stage.kept.c_str(), false, &stage.error));
    long failures = 0;
    const long runs = forEachMemoryFault([&](Faults& faults) {
        stage.refresh();
        Cursor cursor;
        faults.during([&] { cursor.reset(table->statistics()); });
        EXPECT_EQ(cursor == nullptr, faults.injected());
        if (cursor != nullptr) return;
        ++failures;
        EXPECT_EQ(stage.log.entries().size(), 1u);
        expectMemory(faults, "../../src/wtstats", noContainer, table->getError());
    });
    EXPECT_EQ(runs, failures);
    EXPECT_GT(failures, 1);
}

TEST_F(DescribeTest, ATableOpenedForItsFiguresGivesThemOrAFailureIsReported) {
    const auto figuresOf = [](KtbStringCursor& cursor) {
        Rows rows;
        while (cursor.next() == ktbCursorRow) {
            Row& row = rows.emplace_back();
            for (int column = 0; column < cursor.getColumns(); ++column)
                row.emplace_back(cursor.getColumnValue(column).asCstr());
        }
        return rows;
    };
    const auto figures = [&] {
        const Table table(stage.manager->open(KtbString(stage.kept.c_str(), true), false, &stage.error));
        if (table == nullptr) return Cursor();
        Cursor cursor(table->statistics());
        if (cursor == nullptr) stage.error = table->getError();
        return cursor;
    };
    const Rows expected = figuresOf(*figures());
    ASSERT_FALSE(expected.empty());
    sweepFaults([&](Faults& faults) {
        stage.refresh();
        Cursor cursor;
        faults.during([&] { cursor = figures(); });
        if (cursor != nullptr) {
            EXPECT_EQ(figuresOf(*cursor), expected);
        } else {
            EXPECT_TRUE(faults.injected());
            EXPECT_NE(stage.error.length(), 0);
        }
        stage.expectUnharmed();
    });
}

TEST_F(DescribeTest, ALabelThatFindsNoMemoryIsNotLeftOut) {
    const KtbString label(longLabel);
    int failures = 0;
    forEachMemoryFault([&](Faults& faults) {
        stage.refresh();
        KtbString error;
        Cursor cursor;
        faults.during([&] {
            cursor.reset(KTWTStatistics::make(
                {.label = label, .columns = 1, .elementSize = 2, .elements = 3, .rows = 4, .version = 100}, &error));
        });
        if (cursor == nullptr) {
            ++failures;
            EXPECT_TRUE(faults.injected());
            expectMemory(faults, "../../src/wtstats", noContainer, error);
            return;
        }
        EXPECT_EQ(cursor->next(), ktbCursorRow);
        EXPECT_STREQ(cursor->getColumnValue(1).asCstr(), longLabel);
    });
    EXPECT_GT(failures, 3);  // the cursor and the label, once and for good
}

}  // namespace
