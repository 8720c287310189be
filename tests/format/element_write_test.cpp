// How rows are encoded: each value's bytes, the index entries, the size, and what a disk that refuses bytes leads to.
#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include "element_fixture.h"
#include "file_size_limit.h"

namespace {

class ElementWriteTest : public ElementFixture {
protected:
    // The bytes that one value becomes in a column.
    std::string encoded(std::uint16_t code, const KtbDatavar& value, int width = 0) {
        const auto owner = writableOwner({{.name = "c", .code = code, .width = width}});
        KTWTFileElement element(owner.get());
        Row row = {value};
        bool full = true;
        EXPECT_TRUE(element.create(0));
        EXPECT_TRUE(element.writeRow(row.pointers(), &full)) << element.getError().asCstr();
        EXPECT_FALSE(full);
        EXPECT_EQ(element.getRows(), 1);
        size_ = element.getSize();
        longest_ = owner->getActualColumnDefs()[0].longest;
        EXPECT_TRUE(element.close());
        EXPECT_EQ(get(element.getIndex().asCstr()), images::number(std::int64_t{0}, Order::ours));
        const std::string bytes = get(element.getName().asCstr());
        EXPECT_TRUE(element.remove());
        return bytes;
    }

    long size_ = 0;    // what the element last took for its size
    int longest_ = 0;  // and for the longest text of its column
};

const std::string euro = "\xe2\x82\xac";

}  // namespace

TEST_F(ElementWriteTest, ANullOfWhateverTypeIsOneByteInEveryColumn) {
    KtbDatavar nullDate;
    nullDate.assign(KtbDate());
    KtbDatavar nullDecimal;
    nullDecimal.assign(KtbReal());
    KtbDatavar nullText;
    nullText.assign(static_cast<const char*>(nullptr));
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 200}) {
        for (const KtbDatavar& null : {KtbDatavar(), nullDate, nullDecimal, nullText}) {
            EXPECT_EQ(encoded(static_cast<std::uint16_t>(code), null), images::null()) << code;
            EXPECT_EQ(size_, 1);
            EXPECT_EQ(longest_, 0);
        }
    }
}

TEST_F(ElementWriteTest, ABooleanIsOneByte) {
    EXPECT_EQ(encoded(1, var(true)), images::boolean(1));
    EXPECT_EQ(encoded(1, var(false)), images::boolean(0));
    EXPECT_EQ(encoded(1, var(1L)), images::boolean(1));
    EXPECT_EQ(encoded(1, var(0.0)), images::boolean(0));
    EXPECT_EQ(encoded(1, var("Yes")), images::boolean(1));
    EXPECT_EQ(size_, 2);
}

TEST_F(ElementWriteTest, AnIntegerIsEightBytes) {
    for (const long number : {0L, 1L, -1L, 0x0102030405060708L, LONG_MAX, LONG_MIN}) {
        EXPECT_EQ(encoded(3, var(number)), images::integer(number));
        EXPECT_EQ(size_, 9);
    }
    EXPECT_EQ(encoded(3, var("-12")), images::integer(-12));
    EXPECT_EQ(encoded(3, var(true)), images::integer(1));
    EXPECT_EQ(encoded(3, decimalVar("7.000")), images::integer(7));
}

TEST_F(ElementWriteTest, ADateIsItsSecondsAsADouble) {
    for (const double seconds : {0.0, 86400.0, -0.5, KtbDate::secondsMin, 253402300799.0}) {
        EXPECT_EQ(encoded(2, dateVar(seconds)), images::date(seconds));
        EXPECT_EQ(encoded(2, var(seconds)), images::date(seconds)) << "a number is seconds";
        EXPECT_EQ(size_, 9);
    }
    EXPECT_EQ(encoded(2, var("1970-01-02T00:00:01")), images::date(86401)) << "a text that reads as a date is that date";
    EXPECT_EQ(encoded(2, var(3L)), images::date(3));
}

TEST_F(ElementWriteTest, ADecimalIsThreeWords) {
    EXPECT_EQ(encoded(4, decimalVar("12.50")), images::decimal(false, 2, 0, 1250));
    EXPECT_EQ(size_, 25);
    EXPECT_EQ(encoded(4, decimalVar("-0.001")), images::decimal(true, 3, 0, 1));
    EXPECT_EQ(encoded(4, var(-5L)), images::decimal(true, 0, 0, 5));
    EXPECT_EQ(encoded(4, var("1e20")), images::decimal(false, 0, 5, 0x6bc75e2d63100000));
    EXPECT_EQ(encoded(4, var(0.1)), images::decimal(false, 1, 0, 1));
}

TEST_F(ElementWriteTest, AValueThatDoesNotConvertLeavesItsMarkedCodeAlone) {
    EXPECT_EQ(encoded(1, var("maybe")), images::flag(129));
    EXPECT_EQ(encoded(1, var(2L)), images::flag(129));
    EXPECT_EQ(encoded(2, var("no date")), images::flag(130));
    EXPECT_EQ(encoded(2, var(std::nan(""))), images::flag(130));
    EXPECT_EQ(encoded(2, var(1e300)), images::flag(130));
    EXPECT_EQ(encoded(2, var(true)), images::flag(130));
    EXPECT_EQ(encoded(3, var("not a number")), images::flag(131));
    EXPECT_EQ(encoded(3, var("")), images::flag(131));
    EXPECT_EQ(encoded(3, var(1.5)), images::flag(131));
    EXPECT_EQ(encoded(3, var("9223372036854775808")), images::flag(131));
    EXPECT_EQ(encoded(4, var("12,5")), images::flag(132));
    EXPECT_EQ(encoded(4, var(std::numeric_limits<double>::infinity())), images::flag(132));
    EXPECT_EQ(size_, 1);
}

TEST_F(ElementWriteTest, AValueThatIsNoTextIsStoredAsItsTextInAStringColumn) {
    EXPECT_EQ(encoded(5, var(-12L)), images::text("-12"));
    EXPECT_EQ(encoded(5, var(true)), images::text("true"));
    EXPECT_EQ(encoded(5, decimalVar("12.50")), images::text("12.50"));
    EXPECT_EQ(encoded(5, dateVar(86400)), images::text("1970-01-02"));
    EXPECT_EQ(encoded(5, dateVar(86401)), images::text("1970-01-02T00:00:01"));
    EXPECT_EQ(encoded(5, var(-12L), 2), images::text("-1")) << "the width holds for every text";
}

TEST_F(ElementWriteTest, ATextOf127BytesWithItsNulHasALengthOfOneByteAndOneOf128HasFour) {
    EXPECT_EQ(encoded(5, var(std::string(126, 'x').c_str())).substr(0, 3), "\x05\x7fx");
    EXPECT_EQ(size_, 129);
    EXPECT_EQ(encoded(5, var(std::string(127, 'x').c_str())).substr(0, 6), std::string("\x05\x80\0\0\x80x", 6));
    EXPECT_EQ(size_, 133);
}

TEST_F(ElementWriteTest, TextsOfAllLengthsUpTo300) {
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string text(length, 'x');
        const std::string expected = images::text(text);
        ASSERT_EQ(encoded(5, var(text.c_str())), expected) << length;
        EXPECT_EQ(size_, static_cast<long>(expected.size()));
        EXPECT_EQ(longest_, static_cast<int>(length) + 1);
    }
}

TEST_F(ElementWriteTest, LongTextsHaveTheirLengthInFourBytes) {
    for (const std::size_t length : {254u, 255u, 256u, 65534u, 65535u, 65536u, 200000u, 16777215u}) {
        const std::string text(length, 'x');
        const std::string expected = images::text(text);
        EXPECT_TRUE(encoded(5, var(text.c_str())) == expected) << length;
        EXPECT_EQ(size_, static_cast<long>(expected.size()));
    }
}

TEST_F(ElementWriteTest, ATextIsCutToTheDeclaredWidth) {
    EXPECT_EQ(encoded(5, var("abcdefg"), 5), images::text("abcde"));
    EXPECT_EQ(longest_, 6);
    EXPECT_EQ(encoded(5, var("abcde"), 5), images::text("abcde"));
    EXPECT_EQ(encoded(5, var("abc"), 5), images::text("abc"));
    EXPECT_EQ(longest_, 4);
    EXPECT_EQ(encoded(5, var(""), 5), images::text(""));
    EXPECT_EQ(longest_, 1);
    EXPECT_EQ(encoded(5, var("abc"), 0), images::text("abc"));
    EXPECT_EQ(encoded(5, var("abc"), -1), images::text("abc"));
    EXPECT_EQ(encoded(5, var("abc"), INT_MIN), images::text("abc"));
    EXPECT_EQ(encoded(5, var("abc"), INT_MAX), images::text("abc"));
}

TEST_F(ElementWriteTest, ACharacterThatWouldCrossTheWidthIsDroppedWhole) {
    EXPECT_EQ(encoded(5, var(("abc" + euro).c_str()), 5), images::text("abc"));
    EXPECT_EQ(longest_, 4);
    EXPECT_EQ(encoded(5, var(("ab" + euro).c_str()), 5), images::text("ab" + euro));
    EXPECT_EQ(encoded(5, var(euro.c_str()), 2), images::text(""));
    EXPECT_EQ(longest_, 1);
    EXPECT_EQ(encoded(5, var("a\xf0\x9f\x98\x80"), 4), images::text("a"));
    EXPECT_EQ(encoded(5, var("\xff\xff\xff"), 2), images::text("\xff\xff")) << "a stray byte is a character of its own";
}

// The naive way to cut: take away the last character until the rest fits.
TEST_F(ElementWriteTest, CutsEveryMixtureOfShortTextsLikeTheNaiveWay) {
    const Texts characters = {"a", "\xc3\xa4", euro, "\xf0\x9f\x98\x80", "\xff"};
    constexpr std::size_t lengthMax = 4;
    std::size_t combinations = 1;
    for (std::size_t i = 0; i < lengthMax; ++i) combinations *= characters.size();
    for (int width = 1; width <= 17; ++width) {
        const auto owner = writableOwner({{.name = "c", .code = 5, .width = width}});
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(element.create(0));
        std::vector<std::string> expected;
        for (std::size_t combination = 0; combination < combinations; ++combination) {
            std::string whole;
            std::string kept;
            bool fits = true;
            std::size_t rest = combination;
            for (std::size_t i = 0; i < lengthMax; ++i, rest /= characters.size()) {
                whole += characters[rest % characters.size()];
                fits = fits && whole.size() <= static_cast<std::size_t>(width);
                if (fits) kept = whole;
            }
            Row row = {var(whole.c_str())};
            bool full = false;
            ASSERT_TRUE(element.writeRow(row.pointers(), &full));
            expected.push_back(images::text(kept));
        }
        ASSERT_TRUE(element.close());
        EXPECT_TRUE(get(element.getName().asCstr()) == images::joined(expected)) << width;
        EXPECT_TRUE(get(element.getIndex().asCstr()) == images::index(expected)) << width;
        ASSERT_TRUE(element.remove());
    }
}

TEST_F(ElementWriteTest, TheLongestTextOfAColumnIsRemembered) {
    const auto owner =
        writableOwner({{.name = "a", .code = 5, .width = 10}, {.name = "b", .code = 5}, {.name = "c", .code = 3}});
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    const auto write = [&](const char* a, const char* b) {
        Row row = {var(a), var(b), var(1L)};
        bool full = false;
        EXPECT_TRUE(element.writeRow(row.pointers(), &full));
        return std::vector<int>{owner->getActualColumnDefs()[0].longest, owner->getActualColumnDefs()[1].longest,
                                owner->getActualColumnDefs()[2].longest};
    };
    EXPECT_EQ(write(nullptr, ""), (std::vector<int>{0, 1, 0}));
    EXPECT_EQ(write("abc", "x"), (std::vector<int>{4, 2, 0}));
    EXPECT_EQ(write("a", nullptr), (std::vector<int>{4, 2, 0}));
    EXPECT_EQ(write("0123456789abcdef", "0123456789abcdef"), (std::vector<int>{11, 17, 0}));
}

// Columns that no table defines: their values are a flag byte alone, and the size has always counted one byte more than that.
TEST_F(ElementWriteTest, AColumnOfAnUnknownCodeStoresItsCodeAlone) {
    for (const int code : {0, 6, 9, 127}) {
        EXPECT_EQ(encoded(static_cast<std::uint16_t>(code), var(7L)), images::flag(static_cast<unsigned>(code)));
        EXPECT_EQ(size_, 2) << code;
    }
    for (const int code : {128, 131, 255}) {  // with bit 7 set nothing follows, not even in the size
        EXPECT_EQ(encoded(static_cast<std::uint16_t>(code), var(7L)), images::flag(static_cast<unsigned>(code)));
        EXPECT_EQ(size_, 1) << code;
    }
}

TEST_F(ElementWriteTest, TheOffsetOfEachRowGoesToTheIndex) {
    const auto owner = writableOwner({{.name = "a", .code = 5}, {.name = "b", .code = 1}});
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    std::vector<std::string> expected;
    for (const char* text : {"first", "", "the third row"}) {
        Row row = {var(text), var(true)};
        bool full = false;
        ASSERT_TRUE(element.writeRow(row.pointers(), &full));
        expected.push_back(images::text(text) + images::boolean(1));
    }
    EXPECT_EQ(element.getSize(), static_cast<long>(images::joined(expected).size()));
    ASSERT_TRUE(element.close());
    EXPECT_EQ(get(element.getName().asCstr()), images::joined(expected));
    EXPECT_EQ(get(element.getIndex().asCstr()), images::index(expected));
}

TEST_F(ElementWriteTest, AnElementWithoutAnIndexGetsNoIndexEntries) {
    const auto owner = writableOwner({{.name = "n", .code = 3}});
    const auto element = elementOf(*owner, {images::integer(1)}, false);
    const Texts before = directory_.names();
    ASSERT_TRUE(element->open(false)) << element->getError().asCstr();
    EXPECT_EQ(element->getSize(), 9);
    ASSERT_TRUE(element->seek(-1)) << element->getError().asCstr();
    Row row = {var(2L)};
    bool full = false;
    ASSERT_TRUE(element->writeRow(row.pointers(), &full));
    EXPECT_EQ(element->getRows(), 2);
    ASSERT_TRUE(element->close());
    EXPECT_EQ(get("ktwte_d"), images::integer(1) + images::integer(2));
    EXPECT_EQ(directory_.names(), before);
}

TEST_F(ElementWriteTest, ARowWithoutColumnsIsAnIndexEntryAlone) {
    const auto owner = writableOwner({});
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    bool full = false;
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(element.writeRow(nullptr, &full));
    EXPECT_EQ(element.getRows(), 3);
    ASSERT_TRUE(element.close());
    EXPECT_EQ(get(element.getName().asCstr()), "");
    EXPECT_EQ(get(element.getIndex().asCstr()), images::index({"", "", ""}));
}

TEST_F(ElementWriteTest, FullMeansGrownBeyondTheLimit) {
    struct Case {
        long limit;
        std::vector<bool> full;  // after rows of nine bytes
    };
    for (const Case& expected : {Case{0, {false, false, false}}, Case{8, {true, true, true}}, Case{9, {false, true, true}},
                                 Case{10, {false, true, true}}, Case{17, {false, true, true}}, Case{18, {false, false, true}},
                                 Case{LONG_MAX, {false, false, false}}}) {
        const auto owner = writableOwner({{.name = "n", .code = 3}}, expected.limit);
        KTWTFileElement element(owner.get());
        ASSERT_TRUE(element.create(0));
        Row row = {var(1L)};
        for (const bool isFull : expected.full) {
            bool full = !isFull;
            ASSERT_TRUE(element.writeRow(row.pointers(), &full));
            EXPECT_EQ(full, isFull) << expected.limit;
        }
    }
}

// What the disk refuses.

TEST_F(ElementWriteTest, ATextThatIsRefusedFailsTheRowWhichIsNotCounted) {
    const auto owner = writableOwner({{.name = "t", .code = 5}});
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    const std::string text(1000 * 1000, 'x');
    Row row = {var(text.c_str())};
    bool full = true;
    bool written = true;
    bool closed = true;
    {
        const FileSizeLimit limit(100);
        written = element.writeRow(row.pointers(), &full);
    }
    EXPECT_FALSE(written);
    EXPECT_FALSE(full);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1044));
    EXPECT_EQ(element.getRows(), 0);
    closed = element.close();
    EXPECT_FALSE(closed) << "the refusal is remembered, so that nothing half-written looks whole";
    EXPECT_TRUE(says(element.getError(), "wtelem", 1045, {np_fio_errdesc(np_err_too_large)}));
}

TEST_F(ElementWriteTest, AnIndexEntryThatIsRefusedFailsTheRow) {
    const auto owner = writableOwner({{.name = "b", .code = 1}});
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    Row row = {var(true)};
    bool full = true;
    long written = 0;
    bool closed = true;
    {
        const FileSizeLimit limit(0);
        while (written < 1000 * 1000 && element.writeRow(row.pointers(), &full)) ++written;
    }
    EXPECT_LT(written, 1000 * 1000);
    EXPECT_EQ(element.getRows(), written);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1044));
    {
        const FileSizeLimit limit(0);
        closed = element.close();
    }
    EXPECT_FALSE(closed);
    EXPECT_TRUE(says(element.getError(), "wtelem", 1045, {np_fio_errdesc(np_err_too_large)}));
}

// A flag byte that is refused has never been reported: the row ends there, counts, and the failure shows when the element is
// closed. Rows of two bytes end where buffers do, so that it is a flag byte that meets the full buffer.
TEST_F(ElementWriteTest, AFlagByteThatIsRefusedShowsAtCloseOnly) {
    const auto owner = writableOwner({{.name = "b", .code = 1}});
    const auto element = elementOf(*owner, {}, false);
    ASSERT_TRUE(element->open(false));
    Row row = {var(true)};
    bool full = true;
    long written = 0;
    {
        const FileSizeLimit limit(0);
        while (written < 200 * 1000 && element->writeRow(row.pointers(), &full)) ++written;
    }
    EXPECT_EQ(written, 200 * 1000);
    EXPECT_EQ(element->getRows(), written);
    EXPECT_EQ(element->getError().length(), 0);
    EXPECT_FALSE(element->close());
    EXPECT_TRUE(says(element->getError(), "wtelem", 1045, {np_fio_errdesc(np_err_too_large)}));
}

// Written, closed, appended to and written again: the files are the same as if it had been done at once.
TEST_F(ElementWriteTest, RowsWrittenInSeveralOpeningsStandOneBehindTheOther) {
    const auto owner = writableOwner({{.name = "n", .code = 3}, {.name = "t", .code = 5}});
    KTWTFileElement element(owner.get());
    ASSERT_TRUE(element.create(0));
    std::mt19937 random(20240501);
    std::vector<std::string> expected;
    for (int opening = 0; opening < 20; ++opening) {
        for (auto rows = random() % 200; rows > 0; --rows) {
            const auto number = static_cast<long>(random());
            const std::string text(random() % 300, 'y');
            Row row = {var(number), var(text.c_str())};
            bool full = false;
            ASSERT_TRUE(element.writeRow(row.pointers(), &full));
            expected.push_back(images::integer(number) + images::text(text));
        }
        ASSERT_TRUE(element.close());
        ASSERT_TRUE(element.open(false)) << element.getError().asCstr();
        ASSERT_TRUE(element.seek(-1));
        EXPECT_EQ(element.getSize(), static_cast<long>(images::joined(expected).size()));
    }
    ASSERT_TRUE(element.close());
    EXPECT_TRUE(get(element.getName().asCstr()) == images::joined(expected));
    EXPECT_TRUE(get(element.getIndex().asCstr()) == images::index(expected));
    EXPECT_EQ(element.getRows(), static_cast<long>(expected.size()));
}
