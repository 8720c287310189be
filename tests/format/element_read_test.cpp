// How rows are decoded: forwards and backwards, whole, in part, passed over, and from any place.
#include <climits>
#include <cmath>
#include <random>

#include "element_fixture.h"

using images::Order;

namespace {

using Rows = std::vector<Texts>;

constexpr char columnFailed[] =
    "KTWT-1301: The column could not be read. The file is damaged or cut off, or the disk is failing.";

class ElementReadTest : public ElementFixture {
protected:
    using Columns = std::vector<images::Column>;

    static Columns columns(const std::vector<int>& codes, int longest = 100) {
        Columns result;
        for (const int code : codes) {
            result.push_back({.name = std::string(1, static_cast<char>('a' + result.size())),
                              .code = static_cast<std::uint16_t>(code),
                              .longest = longest});
        }
        return result;
    }

    // Opens an element of these rows, of a table with these columns, for reading.
    KTWTFileElement& open(const Columns& stored, const std::vector<std::string>& rows, bool reversed = false,
                          const Texts* chosen = nullptr, Order order = Order::ours) {
        element_.reset();
        owner_ = readingOwner(stored, reversed, order, chosen);
        element_ = elementOf(*owner_, rows);
        EXPECT_TRUE(element_->open(true)) << element_->getError().asCstr();
        return *element_;
    }

    KTWTFileElement& openWithoutIndex(const Columns& stored, const std::vector<std::string>& rows, bool reversed = false,
                                      const Texts* chosen = nullptr) {
        element_.reset();
        owner_ = readingOwner(stored, reversed, Order::ours, chosen);
        element_ = elementOf(*owner_, rows, false);
        EXPECT_TRUE(element_->open(true)) << element_->getError().asCstr();
        return *element_;
    }

    // Opens one integer column with the values 0, 1, 2 and so on.
    KTWTFileElement& openCounting(int rows, bool reversed = false) {
        std::vector<std::string> encoded;
        for (int i = 0; i < rows; ++i) encoded.push_back(images::integer(i));
        return open(columns({3}), encoded, reversed);
    }

    // The text of one value of a column, as the element gives it.
    std::string decoded(int code, const std::string& bytes, int longest = 100) {
        return readAll(open(columns({code}, longest), {bytes}), 1, 1, 1).front().front();
    }

    bool readsRow(KTWTFileElement& element, Row& row, int wanted = 1) {
        end_ = true;
        return element.readRow(row.pointers(), wanted, &end_);
    }

    bool end_ = false;
    std::unique_ptr<KTWTFileImpl> owner_;
    std::unique_ptr<KTWTFileElement> element_;
};

Rows counting(const std::vector<int>& numbers) {
    Rows result;
    for (const int number : numbers) result.push_back({"integer " + std::to_string(number)});
    result.push_back({"end"});
    return result;
}

}  // namespace

// Values

TEST_F(ElementReadTest, AnyByteButZeroIsTrue) {
    std::vector<std::string> rows;
    Rows expected;
    for (unsigned byte = 0; byte < 256; ++byte) {
        rows.push_back(images::boolean(static_cast<unsigned char>(byte)));
        expected.push_back({byte != 0 ? "boolean true" : "boolean false"});
    }
    expected.push_back({"end"});
    EXPECT_EQ(readAll(open(columns({1}), rows), 1, 1), expected);
}

TEST_F(ElementReadTest, AnyFlagWithBit7IsNull) {
    std::vector<std::string> rows;
    for (unsigned flag = 128; flag < 256; ++flag) rows.push_back(images::flag(flag));
    for (const int code : {1, 2, 3, 4, 5}) {
        Rows expected(rows.size(), Texts{"null"});
        expected.push_back({"end"});
        EXPECT_EQ(readAll(open(columns({code}), rows), 1, 1), expected);
    }
}

TEST_F(ElementReadTest, TheFlagSaysWhatFollowsAndNotTheColumn) {
    EXPECT_EQ(decoded(5, images::integer(7)), "integer 7");
    EXPECT_EQ(decoded(3, images::text("seven")), "string seven");
}

TEST_F(ElementReadTest, DatesThatAreNoneAreNull) {
    EXPECT_EQ(decoded(2, images::date(0)), "date 1970-01-01");
    EXPECT_EQ(decoded(2, images::date(std::nan(""))), "null");
    EXPECT_EQ(decoded(2, images::date(1e300)), "null");
    EXPECT_EQ(decoded(2, images::date(-INFINITY)), "null");
    Row row(1);
    ASSERT_TRUE(open(columns({2}), {images::date(1e300)}).readRow(row.pointers(), 1, &end_));
    EXPECT_EQ(row[0].type(), ktbTypeDate);
}

TEST_F(ElementReadTest, DecimalsThatAreNoneAreNull) {
    EXPECT_EQ(decoded(4, images::decimal(true, 2, 0, 1250)), "decimal -12.50");
    EXPECT_EQ(decoded(4, images::decimal(false, 39, 0, 1)), "null");
    EXPECT_EQ(decoded(4, images::decimal(false, 0, ~0ul, ~0ul)), "null");
    EXPECT_EQ(decoded(4, images::decimal(false, 256, 0, 1)), "null");
}

TEST_F(ElementReadTest, AFlagOfAnUnknownCodeHasNoPayloadAndLeavesTheValueAsItIs) {
    for (const unsigned flag : {0u, 6u, 7u, 64u, 127u}) {
        KTWTFileElement& element = open(columns({3, 3}), {images::flag(flag) + images::integer(2)});
        Row row = {var("kept"), var("replaced")};
        ASSERT_TRUE(readsRow(element, row, 2)) << flag;
        EXPECT_EQ(row.texts(), (Texts{"string kept", "integer 2"}));
    }
}

TEST_F(ElementReadTest, ATextEndsAtItsFirstNul) {
    EXPECT_EQ(decoded(5, images::text(std::string("ab\0cd", 5))), "string ab");
    EXPECT_EQ(decoded(5, images::text("")), "string ");
    EXPECT_EQ(decoded(5, images::text("\xff\xfe")), "string \xff\xfe");
}

TEST_F(ElementReadTest, AShortTextMayHaveALongLength) {
    EXPECT_EQ(decoded(5, std::string("\x05\x80\0\0\x03", 5) + images::withNul("ab")), "string ab");
}

TEST_F(ElementReadTest, ATextWithALengthOf0IsDamage) {
    EXPECT_EQ(decoded(5, images::flag(5) + images::flag(0)), columnFailed);
    EXPECT_EQ(decoded(5, std::string("\x05\x80\0\0\0", 5)), columnFailed);
    EXPECT_TRUE(says(element_->getError(), "wtelem", 1301, {"column"}));
}

TEST_F(ElementReadTest, ATextWithoutItsNulIsDamage) {
    EXPECT_EQ(decoded(5, std::string("\x05\x03") + "abc"), columnFailed);
    EXPECT_EQ(decoded(5, std::string("\x05\x01") + "a"), columnFailed);
}

TEST_F(ElementReadTest, ATextLongerThanTheHeaderSaysIsDamage) {
    EXPECT_EQ(decoded(5, images::text("abc"), 4), "string abc");
    EXPECT_EQ(decoded(5, images::text("abc"), 3), columnFailed);
    EXPECT_EQ(decoded(5, images::text("abc"), 0), columnFailed);
    EXPECT_EQ(decoded(5, images::text("abc"), -5), columnFailed);
    EXPECT_EQ(decoded(5, images::text(std::string(127, 'x')), 128), "string " + std::string(127, 'x'));
    EXPECT_EQ(decoded(5, images::text(std::string(127, 'x')), 127), columnFailed);
    EXPECT_EQ(decoded(5, std::string("\x05\xff\xff\xff\xff") + "abc", INT_MAX), columnFailed);
}

TEST_F(ElementReadTest, TextsLongerThanAnyBufferAreRead) {
    for (const std::size_t length : {4090u, 4096u, 70000u, 130000u, 500000u}) {
        const std::string text(length, 'x');
        const int longest = static_cast<int>(length) + 1;
        KTWTFileElement& element = open(columns({5, 3}, longest),
                                        {images::text("short") + images::integer(1), images::text(text) + images::integer(2)});
        // This element is not one of the table's own, so the table knows of no data file that large.
        const bool believed = owner_->getStringBufferSize() >= longest;
        EXPECT_EQ(believed, longest <= 64 * 1024);
        Row row(2);
        ASSERT_TRUE(readsRow(element, row, 2));
        EXPECT_EQ(readsRow(element, row, 2), believed);
        if (believed) {
            EXPECT_EQ(row.texts(), (Texts{"string " + text, "integer 2"}));
        }
    }
}

TEST_F(ElementReadTest, NumbersOfTheOtherByteOrderAreReversedAndLengthsOfTextsAreNot) {
    const std::vector<std::string> rows = {
        images::integer(1, Order::other) + images::date(86400, Order::other) + images::decimal(true, 2, 1, 5, Order::other) +
            images::text(std::string(200, 'x')) + images::boolean(1),
        images::integer(LONG_MIN, Order::other) + images::null() + images::flag(132) + images::text("b") + images::boolean(0)};
    const Texts first = {"integer 1", "date 1970-01-02", "decimal -184467440737095516.21", "string " + std::string(200, 'x'),
                         "boolean true"};
    const Texts second = {"integer -9223372036854775808", "null", "null", "string b", "boolean false"};
    const Columns stored = columns({3, 2, 4, 5, 1}, 201);
    EXPECT_EQ(readAll(open(stored, rows, false, nullptr, Order::other), 5, 5), (Rows{first, second, {"end"}}));
    EXPECT_EQ(readAll(open(stored, rows, true, nullptr, Order::other), 5, 5), (Rows{second, first, {"end"}}));
    KTWTFileElement& element = open(stored, rows, false, nullptr, Order::other);
    ASSERT_TRUE(element.seek(1));
    EXPECT_EQ(readAll(element, 5, 5), (Rows{second, {"end"}}));
}

// Forwards

TEST_F(ElementReadTest, RowsComeInOrderAndThenTheEndAgainAndAgain) {
    for (const int rows : {0, 1, 2, 5}) {
        KTWTFileElement& element = openCounting(rows);
        std::vector<int> numbers(static_cast<std::size_t>(rows));
        for (int i = 0; i < rows; ++i) numbers[static_cast<std::size_t>(i)] = i;
        EXPECT_EQ(readAll(element, 1, 1), counting(numbers));
        EXPECT_EQ(readAll(element, 1, 1), counting({}));
        EXPECT_EQ(readAll(element, 1, 0), counting({}));
    }
}

TEST_F(ElementReadTest, AWholePassReadsNoMoreOfTheIndexThanItsFirstEntry) {
    KTWTFileElement& first = openCounting(3);
    first.close();
    put("ktwtei_i", std::string(8, '\x7f'));  // one entry, and a wrong one
    ASSERT_TRUE(first.open(true));
    EXPECT_EQ(readAll(first, 1, 1), counting({0, 1, 2}));
}

TEST_F(ElementReadTest, AFirstIndexEntryThatCannotBeReadFailsTheFirstRow) {
    KTWTFileElement& element = openCounting(3);
    element.close();
    for (std::size_t size = 0; size < 8; ++size) {
        put("ktwtei_i", std::string(size, '\0'));
        ASSERT_TRUE(element.open(true));
        Row row(1);
        EXPECT_FALSE(readsRow(element, row));
        EXPECT_FALSE(end_);
        EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
        element.close();
    }
}

TEST_F(ElementReadTest, ZeroWantedSlotsPassOverTheRow) {
    KTWTFileElement& element = openCounting(4);
    Row row(1);
    ASSERT_TRUE(readsRow(element, row, 0));
    EXPECT_EQ(row.texts(), Texts{"null"}) << "nothing is delivered";
    ASSERT_TRUE(readsRow(element, row, 0));
    ASSERT_TRUE(readsRow(element, row));
    EXPECT_EQ(row.texts(), Texts{"integer 2"});
    EXPECT_EQ(readAll(openCounting(4), 0, 0), (Rows{{}, {}, {}, {}, {"end"}}));
}

TEST_F(ElementReadTest, PassingOverNeedsTheIndex) {
    KTWTFileElement& element = openCounting(4);
    element.close();
    put("ktwtei_i", get("ktwtei_i").substr(0, 16));  // the entries of rows 0 and 1
    ASSERT_TRUE(element.open(true));
    Row row(1);
    EXPECT_TRUE(readsRow(element, row, 0));
    EXPECT_FALSE(readsRow(element, row, 0));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column position"}));
}

TEST_F(ElementReadTest, PassingOverTheLastRowNeedsNoIndexEntry) {
    KTWTFileElement& element = openCounting(1);
    Row row(1);
    EXPECT_TRUE(readsRow(element, row, 0));
    EXPECT_FALSE(readsRow(element, row, 0));
    EXPECT_TRUE(end_);
}

TEST_F(ElementReadTest, PassingOverToAPlaceBeforeTheFileFails) {
    KTWTFileElement& element = openCounting(3);
    element.close();
    put("ktwtei_i", images::number(std::int64_t{0}, Order::ours) + images::number(std::int64_t{-1}, Order::ours));
    ASSERT_TRUE(element.open(true));
    Row row(1);
    EXPECT_FALSE(readsRow(element, row, 0));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
}

TEST_F(ElementReadTest, DecodingStopsAfterTheColumnThatFillsTheLastWantedSlot) {
    const std::vector<std::string> rows = {images::integer(0) + images::text("a") + images::integer(10),
                                           images::integer(1) + images::text("bb") + images::integer(11),
                                           images::integer(2) + images::text("ccc") + images::integer(12)};
    EXPECT_EQ(readAll(open(columns({3, 5, 3}), rows), 3, 1),
              (Rows{{"integer 0", "null", "null"}, {"integer 1", "null", "null"}, {"integer 2", "null", "null"}, {"end"}}));
    EXPECT_EQ(readAll(open(columns({3, 5, 3}), rows), 3, 2), (Rows{{"integer 0", "string a", "null"},
                                                                   {"integer 1", "string bb", "null"},
                                                                   {"integer 2", "string ccc", "null"},
                                                                   {"end"}}));
    EXPECT_EQ(readAll(open(columns({3, 5, 3}), rows), 3, 100).front(), (Texts{"integer 0", "string a", "integer 10"}));
}

TEST_F(ElementReadTest, WhatComesAfterTheLastWantedColumnIsNotLookedAt) {
    const std::string damage =
        "\x05\x03"
        "abc";
    KTWTFileElement& element = open(columns({3, 5}), {images::integer(0) + damage, images::integer(1) + damage});
    EXPECT_EQ(readAll(element, 2, 1), (Rows{{"integer 0", "null"}, {"integer 1", "null"}, {"end"}}));
}

TEST_F(ElementReadTest, APartOfARowIsLeftThroughTheIndex) {
    KTWTFileElement& element =
        open(columns({3, 3}), {images::integer(0) + images::integer(10), images::integer(1) + images::integer(11),
                               images::integer(2) + images::integer(12)});
    element.close();
    const std::string index = get("ktwtei_i");
    put("ktwtei_i", index.substr(0, 15));
    ASSERT_TRUE(element.open(true));
    Row row(2);
    EXPECT_FALSE(readsRow(element, row, 1));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column position"}));

    put("ktwtei_i", index.substr(0, 16));
    ASSERT_TRUE(element.open(true));
    EXPECT_TRUE(readsRow(element, row, 1));
    EXPECT_FALSE(readsRow(element, row, 1));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column position"}));

    put("ktwtei_i", index.substr(0, 8) + images::number(std::int64_t{-1}, Order::ours));
    ASSERT_TRUE(element.open(true));
    EXPECT_FALSE(readsRow(element, row, 1));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
}

// An index entry of 0 cannot be that of a later row, and means that the data file is left where it stands.
TEST_F(ElementReadTest, AnIndexEntryOf0MovesNothingAfterAPartOfARow) {
    KTWTFileElement& element =
        open(columns({3, 3}), {images::integer(0) + images::integer(10), images::integer(1) + images::integer(11)});
    element.close();
    put("ktwtei_i", std::string(16, '\0'));
    ASSERT_TRUE(element.open(true));
    EXPECT_EQ(readAll(element, 2, 1), (Rows{{"integer 0", "null"}, {"integer 10", "null"}, {"end"}}));
}

// A whole row does not move the index on. The entry read after a part of the next row is therefore that row's own, and the row
// is delivered again. Those who mix whole and partial rows in one pass have always seen this.
TEST_F(ElementReadTest, APartOfARowAfterAWholeRowIsDeliveredAgain) {
    KTWTFileElement& element =
        open(columns({3, 3}), {images::integer(0) + images::integer(10), images::integer(1) + images::integer(11),
                               images::integer(2) + images::integer(12), images::integer(3) + images::integer(13)});
    Row row(2);
    ASSERT_TRUE(readsRow(element, row, 2));
    EXPECT_EQ(shown(row[0]), "integer 0");
    ASSERT_TRUE(readsRow(element, row, 1));
    EXPECT_EQ(shown(row[0]), "integer 1");
    ASSERT_TRUE(readsRow(element, row, 1));
    EXPECT_EQ(shown(row[0]), "integer 1");
    ASSERT_TRUE(readsRow(element, row, 1));
    EXPECT_EQ(shown(row[0]), "integer 2");
    EXPECT_FALSE(readsRow(element, row, 1));
    EXPECT_TRUE(end_) << "the rows are counted by calls";
}

TEST_F(ElementReadTest, AnElementWithoutAnIndexIsReadForwardsAllTheSame) {
    const std::vector<std::string> rows = {
        images::integer(0) + images::text("a") + images::decimal(false, 0, 0, 5) + images::boolean(1) + images::date(0),
        images::null() + images::null() + images::null() + images::null() + images::null(),
        images::integer(2) + images::text(std::string(99, 'c')) + images::flag(132) + images::boolean(0) + images::date(1)};
    const Columns stored = columns({3, 5, 4, 1, 2});
    for (int wanted = 1; wanted <= 5; ++wanted) {
        const Rows seen = readAll(openWithoutIndex(stored, rows), 5, wanted);
        ASSERT_EQ(seen.size(), 4u) << wanted;
        EXPECT_EQ(seen[0][0], "integer 0");
        EXPECT_EQ(seen[1][0], "null");
        EXPECT_EQ(seen[2][0], "integer 2");
        EXPECT_EQ(seen[3], Texts{"end"});
    }
    EXPECT_EQ(readAll(openWithoutIndex(stored, rows), 0, 0), (Rows{{}, {}, {}, {"end"}}));
    Row row(5);
    KTWTFileElement& mixed = openWithoutIndex(stored, rows);
    ASSERT_TRUE(readsRow(mixed, row, 5));
    ASSERT_TRUE(readsRow(mixed, row, 0));
    ASSERT_TRUE(readsRow(mixed, row, 1));
    EXPECT_EQ(shown(row[0]), "integer 2");
}

TEST_F(ElementReadTest, WithoutAnIndexDamageIsMetAlsoInWhatIsPassedOver) {
    KTWTFileElement& element = openWithoutIndex(columns({3, 5}), {images::integer(0) + images::flag(5) + images::flag(0)});
    Row row(2);
    EXPECT_FALSE(readsRow(element, row, 1));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
}

// No byte of any file says that they are there, and the count could be any number.
TEST_F(ElementReadTest, RowsWithoutColumnsAreRefusedWithoutAnIndex) {
    for (const int wanted : {0, 1}) {
        KTWTFileElement& element = openWithoutIndex({}, {"", "", ""});
        Row row(1);
        EXPECT_FALSE(readsRow(element, row, wanted));
        EXPECT_FALSE(end_);
        EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
    }
    Row row(1);
    EXPECT_FALSE(readsRow(openWithoutIndex({}, {}), row, 0));
    EXPECT_TRUE(end_);
}

// Slots

TEST_F(ElementReadTest, ColumnsThatAreNotChosenArePassedOver) {
    const std::string big(90, 'x');
    const std::vector<std::string> rows = {
        images::boolean(1) + images::date(1) + images::integer(2) + images::decimal(false, 0, 0, 3) + images::text(big) +
            images::integer(6),
        images::null() + images::flag(130) + images::flag(7) + images::null() + images::text("") + images::integer(7)};
    const Texts last = {"f"};
    EXPECT_EQ(readAll(open(columns({1, 2, 3, 4, 5, 3}), rows, false, &last), 1, 1), counting({6, 7}));
    EXPECT_EQ(readAll(open(columns({1, 2, 3, 4, 5, 3}), rows, true, &last), 1, 1), counting({7, 6}));
}

// The length has 31 bits. The text is a hole in the file, which takes no room on the disk.
TEST_F(ElementReadTest, ATextOfMoreThanAGigabyteIsPassedOver) {
    const Texts chosen = {"b"};
    KTWTFileElement& element =
        open(columns({5, 3}), {images::flag(5) + images::flag(0xc0) + images::flag(0) + images::flag(0) + images::flag(2)},
             false, &chosen);
    element.close();
    std::fstream file(directory_.file("ktwte_d"), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(5 + 0x40000002L);
    file << images::integer(7);
    file.close();
    ASSERT_TRUE(element.open(true));
    EXPECT_EQ(readAll(element, 1, 1), counting({7}));
}

TEST_F(ElementReadTest, AColumnFillsEverySlotThatItWasChosenFor) {
    const std::vector<std::string> rows = {images::text("a") + images::integer(0), images::null() + images::integer(1),
                                           images::text("c") + images::integer(2)};
    const Texts chosen = {"a", "b", "a", "a"};
    const Columns stored = columns({5, 3});
    EXPECT_EQ(readAll(open(stored, rows, false, &chosen), 4, 4), (Rows{{"string a", "integer 0", "string a", "string a"},
                                                                       {"null", "integer 1", "null", "null"},
                                                                       {"string c", "integer 2", "string c", "string c"},
                                                                       {"end"}}));
    // Every slot counts towards the wanted ones: three are filled by the first column, and decoding stops there.
    EXPECT_EQ(readAll(open(stored, rows, false, &chosen), 4, 3).front(), (Texts{"string a", "null", "string a", "string a"}));
    EXPECT_EQ(readAll(open(stored, rows, false, &chosen), 4, 1).front(), (Texts{"string a", "null", "string a", "string a"}));
}

TEST_F(ElementReadTest, SlotsMayBeInAnotherOrderThanColumns) {
    const Texts chosen = {"c", "a"};
    const std::vector<std::string> rows = {images::integer(1) + images::integer(2) + images::integer(3)};
    EXPECT_EQ(readAll(open(columns({3, 3, 3}), rows, false, &chosen), 2, 2), (Rows{{"integer 3", "integer 1"}, {"end"}}));
}

// seek

TEST_F(ElementReadTest, SeekPlacesTheReaderAtAnyRow) {
    KTWTFileElement& element = openCounting(5);
    for (const int target : {3, 0, 4, 1, 1, 2}) {
        ASSERT_TRUE(element.seek(target)) << element.getError().asCstr();
        Row row(1);
        ASSERT_TRUE(readsRow(element, row));
        EXPECT_EQ(row.texts(), Texts{"integer " + std::to_string(target)});
    }
    ASSERT_TRUE(element.seek(2));
    EXPECT_EQ(readAll(element, 1, 1), counting({2, 3, 4}));
}

TEST_F(ElementReadTest, AfterASeekRowsMayBePassedOverOrReadInPart) {
    const std::vector<std::string> rows = {images::integer(0) + images::integer(10), images::integer(1) + images::integer(11),
                                           images::integer(2) + images::integer(12), images::integer(3) + images::integer(13)};
    KTWTFileElement& element = open(columns({3, 3}), rows);
    ASSERT_TRUE(element.seek(1));
    Row row(2);
    ASSERT_TRUE(readsRow(element, row, 0));
    ASSERT_TRUE(readsRow(element, row, 1));
    EXPECT_EQ(shown(row[0]), "integer 2");
    ASSERT_TRUE(readsRow(element, row, 2));
    EXPECT_EQ(row.texts(), (Texts{"integer 3", "integer 13"}));
    EXPECT_FALSE(readsRow(element, row, 2));
    EXPECT_TRUE(end_);
}

TEST_F(ElementReadTest, SeekToWhereTheReaderIsSucceedsEvenWhenTheFilesAreClosed) {
    KTWTFileElement& element = openCounting(3);
    element.close();
    EXPECT_TRUE(element.seek(0));
    EXPECT_FALSE(element.seek(1));
    EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    EXPECT_FALSE(element.seek(-1));
    EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    EXPECT_FALSE(element.seek(4));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1794));
}

TEST_F(ElementReadTest, SeekToTheEndSucceedsAndBehindItFails) {
    KTWTFileElement& element = openCounting(3);
    EXPECT_FALSE(element.seek(3));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"row offset"}));
    EXPECT_FALSE(element.seek(4));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1794));
    EXPECT_FALSE(element.seek(LONG_MAX));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1794));
    EXPECT_TRUE(element.seek(-1));
    EXPECT_TRUE(element.seek(3)) << "the reader is there already";
    EXPECT_EQ(readAll(element, 1, 1), counting({}));
}

TEST_F(ElementReadTest, SeekBeforeTheFirstRowFails) {
    KTWTFileElement& element = openCounting(3);
    for (const long row : {-2L, -100L, LONG_MIN}) {
        EXPECT_FALSE(element.seek(row));
        EXPECT_TRUE(says(element.getError(), "wtelem", 336)) << row;
    }
}

TEST_F(ElementReadTest, SeekFollowsNoEntryThatLiesBeforeTheDataFile) {
    KTWTFileElement& element = openCounting(3);
    element.close();
    put("ktwtei_i", images::number(std::int64_t{0}, Order::ours) + images::number(std::int64_t{-9}, Order::ours) +
                        images::number(std::int64_t{LONG_MAX}, Order::ours));
    ASSERT_TRUE(element.open(true));
    EXPECT_FALSE(element.seek(1));
    EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    ASSERT_TRUE(element.seek(2)) << "the operating system has nothing against a place behind the end";
    Row row(1);
    EXPECT_FALSE(readsRow(element, row));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
}

TEST_F(ElementReadTest, SeekNeedsTheIndexButForTheEnd) {
    KTWTFileElement& element = openWithoutIndex(columns({3}), {images::integer(0), images::integer(1)});
    EXPECT_TRUE(element.seek(0));
    EXPECT_FALSE(element.seek(1));
    EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    EXPECT_FALSE(element.seek(2));
    EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    EXPECT_FALSE(element.seek(3));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1794));
    EXPECT_TRUE(element.seek(-1));
    EXPECT_TRUE(element.seek(2));
    EXPECT_EQ(readAll(element, 1, 1), counting({}));
}

TEST_F(ElementReadTest, SeekOfMoreRowsThanAnIndexCanHoldFails) {
    owner_ = readingOwner(columns({3}));
    KTWTFileElement element(owner_.get());
    ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = LONG_MAX}));
    put("ktwte_d", images::integer(1));
    put("ktwtei_i", std::string(8, '\0'));
    ASSERT_TRUE(element.open(true));
    EXPECT_FALSE(element.seek(LONG_MAX));
    EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    EXPECT_FALSE(element.seek(LONG_MAX / 8));
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"row offset"}));
}

// Backwards

TEST_F(ElementReadTest, BackwardsTwoRowsAndMoreComeFromTheLastToTheFirst) {
    EXPECT_EQ(readAll(openCounting(2, true), 1, 1), counting({1, 0}));
    EXPECT_EQ(readAll(openCounting(5, true), 1, 1), counting({4, 3, 2, 1, 0}));
    EXPECT_EQ(readAll(*element_, 1, 1), counting({})) << "the end is told again";
}

// The step to row 0 finds the reader there already, so the reader is not taken to be placed; at the second call it is at -1 and
// the step is a real one.
TEST_F(ElementReadTest, BackwardsASingleRowThatNobodyPlacedComesTwice) {
    EXPECT_EQ(readAll(openCounting(1, true), 1, 1), counting({0, 0}));
    EXPECT_EQ(readAll(openCounting(1, true), 0, 0), (Rows{{}, {}, {"end"}}));
    EXPECT_EQ(readAll(openWithoutIndex(columns({3}), {images::integer(7)}, true), 1, 1),
              (Rows{{"integer 7"},
                    {"KTWT-0336: A row could not be reached: a seek in the data element's files failed. They may be "
                     "damaged or cut off."}}));
}

TEST_F(ElementReadTest, BackwardsASingleRowThatWasPlacedComesOnce) {
    KTWTFileElement& element = openCounting(1, true);
    ASSERT_TRUE(element.seek(-1));
    ASSERT_TRUE(element.seek(0));
    EXPECT_EQ(readAll(element, 1, 1), counting({0}));
}

TEST_F(ElementReadTest, BackwardsWithoutRowsFailsAtTheEndOfTheFile) {
    KTWTFileElement& element = openCounting(0, true);
    Row row(1);
    EXPECT_FALSE(readsRow(element, row));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
    EXPECT_FALSE(readsRow(element, row));
    EXPECT_TRUE(end_) << "the reader is before the first row now";
}

TEST_F(ElementReadTest, ANumberOfRowsBelowNoneIsNone) {
    put("ktwte_d", images::integer(1));
    put("ktwtei_i", images::index({"x"}));
    for (const std::int64_t rows : {std::int64_t{-1}, std::int64_t{-5}, std::int64_t{LONG_MIN}}) {
        for (const bool reversed : {false, true}) {
            owner_ = readingOwner(columns({3}), reversed);
            KTWTFileElement element(owner_.get());
            ASSERT_TRUE(restore(element, {.name = "ktwte_d", .index = "ktwtei_i", .rows = rows}));
            ASSERT_TRUE(element.open(true));
            EXPECT_FALSE(element.seek(1));
            EXPECT_TRUE(says(element.getError(), "wtelem", 1794));
            EXPECT_TRUE(element.seek(-1)) << element.getError().asCstr();
            Row row(1);
            EXPECT_FALSE(readsRow(element, row));
            EXPECT_TRUE(end_) << element.getError().asCstr();
        }
    }
}

TEST_F(ElementReadTest, BackwardsFromAPlaceGoesToTheFirstRow) {
    KTWTFileElement& element = openCounting(5, true);
    ASSERT_TRUE(element.seek(2));
    EXPECT_EQ(readAll(element, 1, 1), counting({2, 1, 0}));
}

TEST_F(ElementReadTest, BackwardsRowsMayBePassedOverOrReadInPart) {
    const std::vector<std::string> rows = {images::integer(0) + images::integer(10), images::integer(1) + images::integer(11),
                                           images::integer(2) + images::integer(12), images::integer(3) + images::integer(13)};
    EXPECT_EQ(readAll(open(columns({3, 3}), rows, true), 0, 0), (Rows{{}, {}, {}, {}, {"end"}}));
    EXPECT_EQ(readAll(open(columns({3, 3}), rows, true), 2, 1),
              (Rows{{"integer 3", "null"}, {"integer 2", "null"}, {"integer 1", "null"}, {"integer 0", "null"}, {"end"}}));
    KTWTFileElement& element = open(columns({3, 3}), rows, true);
    Row row(2);
    for (const int wanted : {2, 1, 0, 2}) ASSERT_TRUE(readsRow(element, row, wanted));
    EXPECT_EQ(row.texts(), (Texts{"integer 0", "integer 10"}));
}

TEST_F(ElementReadTest, BackwardsNeedsTheIndex) {
    KTWTFileElement& element = openWithoutIndex(columns({3}), {images::integer(0), images::integer(1)}, true);
    Row row(1);
    for (int call = 0; call < 2; ++call) {
        EXPECT_FALSE(readsRow(element, row));
        EXPECT_FALSE(end_);
        EXPECT_TRUE(says(element.getError(), "wtelem", 336));
    }
}

TEST_F(ElementReadTest, BackwardsAnEntryThatLiesBeforeTheFileFailsTheStepToItsRow) {
    KTWTFileElement& element = openCounting(3, true);
    element.close();
    std::string index = get("ktwtei_i");
    index.replace(8, 8, images::number(std::int64_t{-1}, Order::ours));
    put("ktwtei_i", index);
    ASSERT_TRUE(element.open(true));
    Row row(1);
    EXPECT_FALSE(readsRow(element, row));
    EXPECT_FALSE(end_);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"column"}));
}

TEST_F(ElementReadTest, BackwardsAnIndexThatEndsEarlyFailsTheFirstCall) {
    KTWTFileElement& element = openCounting(3, true);
    element.close();
    const std::string index = get("ktwtei_i");
    for (std::size_t size = 0; size < index.size(); ++size) {
        put("ktwtei_i", index.substr(0, size));
        ASSERT_TRUE(element.open(true));
        Row row(1);
        EXPECT_FALSE(readsRow(element, row)) << size;
        EXPECT_FALSE(end_);
        EXPECT_TRUE(says(element.getError(), "wtelem", 1301, {"row offset"}));
        element.close();
    }
}

// Against a model: rows of random values, large enough to cross every buffer, read in random ways.

namespace {

// One value of a random kind: its bytes and its text.
struct Value {
    std::string bytes;
    std::string text;
};

Value randomValue(std::mt19937_64& random, Order order) {
    switch (random() % 8) {
        case 0: return {images::null(), "null"};
        case 1: return {images::flag(128 | static_cast<unsigned>(random() % 128)), "null"};
        case 2: return {images::boolean(1), "boolean true"};
        case 3: return {images::date(86400, order), "date 1970-01-02"};
        case 4: return {images::decimal(true, 1, 0, 25, order), "decimal -2.5"};
        case 5:
        case 6: {
            const std::string text(random() % (random() % 20 == 0 ? 6000 : 40), static_cast<char>('a' + random() % 26));
            return {images::text(text), "string " + text};
        }
        default: {
            const auto number = static_cast<std::int64_t>(random());
            return {images::integer(number, order), "integer " + std::to_string(number)};
        }
    }
}

}  // namespace

TEST_F(ElementReadTest, RandomRowsAreReadInRandomWays) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        const Order order = seed % 2 != 0 ? Order::ours : Order::other;
        const std::size_t columnCount = 1 + random() % 6;
        const std::size_t rowCount = 2 + random() % 1500;
        std::vector<std::string> encoded(rowCount);
        Rows expected(rowCount);
        for (std::size_t r = 0; r < rowCount; ++r) {
            for (std::size_t c = 0; c < columnCount; ++c) {
                const Value value = randomValue(random, order);
                encoded[r] += value.bytes;
                expected[r].push_back(value.text);
            }
        }
        const Columns stored = columns(std::vector<int>(columnCount, 5), 6001);
        const auto count = static_cast<int>(columnCount);
        KTWTFileElement& element = open(stored, encoded, false, nullptr, order);
        Row row(columnCount);
        // Whole rows from some place on, then a jump; and parts of rows, which end in the first `wanted` columns.
        for (int pass = 0; pass < 40; ++pass) {
            const std::size_t first = random() % rowCount;
            const int wanted = pass % 2 == 0 ? count : 1 + static_cast<int>(random() % columnCount);
            ASSERT_TRUE(element.seek(static_cast<long>(first))) << element.getError().asCstr();
            for (std::size_t r = first; r < std::min(rowCount, first + random() % 100); ++r) {
                ASSERT_TRUE(readsRow(element, row, wanted)) << element.getError().asCstr();
                for (int c = 0; c < wanted; ++c) {
                    ASSERT_EQ(shown(row[static_cast<std::size_t>(c)]), expected[r][static_cast<std::size_t>(c)])
                        << r << " " << c;
                }
            }
            element.close();
            ASSERT_TRUE(element.open(true));
        }
        Rows forwards = expected;
        forwards.push_back({"end"});
        EXPECT_TRUE(readAll(element, columnCount, count, rowCount + 1) == forwards);
        Rows backwards(expected.rbegin(), expected.rend());
        backwards.push_back({"end"});
        EXPECT_TRUE(readAll(open(stored, encoded, true, nullptr, order), columnCount, count, rowCount + 1) == backwards);
    }
}
