// The files of one table that holds every storage code and every kind of value, compared byte by byte with golden files.
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>

#include "dissector.h"
#include "format_fixture.h"
#include "support/golden.h"

using images::Order;

namespace {

const Texts columnNames = {"flag", "amount", "price", "day", "text", "short", "other"};

// Takes the header's name out of the name of a data or index file that begins at `at`, and off the length in its record.
void withoutOwner(std::string* header, std::size_t at, std::size_t lengthAt) {
    constexpr std::size_t ownerLength = 21;  // with the underscore behind it
    header->erase(at, ownerLength);
    std::int16_t length = 0;
    std::memcpy(&length, header->data() + lengthAt, sizeof length);
    length = static_cast<std::int16_t>(length - static_cast<std::int16_t>(ownerLength));
    std::memcpy(header->data() + lengthAt, &length, sizeof length);
}

// The file layer ends each name in twenty random characters. They become the number of the data element. The golden files keep
// the plain names that were made before names told their header, which must stay readable.
std::string withoutRandomNames(std::string header) {
    constexpr std::size_t randomLength = 20;
    int found = 0;
    std::size_t record = 0;
    for (std::size_t at = 0; (at = header.find("ktwte", at)) != std::string::npos;) {
        const bool isData = found % 2 == 0;
        if (isData) record = at - 16;
        at = header.find('_', at) + 1;
        withoutOwner(&header, at, record + (isData ? 4 : 6));
        header.replace(at, randomLength, std::string(randomLength, static_cast<char>('0' + found++ / 2)));
    }
    return header;
}

struct GoldenFile {
    std::string name;  // in tests/golden, without the byte order
    std::string title;
    std::string place;  // in the table's directory
};

class GoldenTest : public FormatFixture {
protected:
    static const std::vector<GoldenFile>& files() {
        static const std::vector<GoldenFile> result = {
            {"header", "The header file of the table", "ktwt_golden"},
            {"data-0", "The data file of the first data element", "ktwte_00000000000000000000"},
            {"index-0", "The index file of the first data element", "ktwtei_00000000000000000000"},
            {"data-1", "The data file of the second data element", "ktwte_11111111111111111111"},
            {"index-1", "The index file of the second data element", "ktwtei_11111111111111111111"},
        };
        return result;
    }

    static std::vector<golden::Field> fieldsOf(const GoldenFile& file, const std::string& bytes, Order order) {
        images::Dissector dissector(bytes, order);
        if (file.name == "header") return dissector.header();
        return file.name[0] == 'd' ? dissector.data(columnNames) : dissector.index();
    }

    static std::string goldenName(const GoldenFile& file, Order order) {
        return "table-" + file.name + "." + images::orderName(order);
    }

    static void define(KTWTFileImpl& table) {
        const ktbType types[] = {ktbTypeBoolean, ktbTypeInteger, ktbTypeDecimal, ktbTypeDate,
                                 ktbTypeString,  ktbTypeString,  ktbTypeNone};
        for (int i = 0; i < 7; ++i) {
            const auto index = static_cast<std::size_t>(i);
            const int width = i == 5 ? 5 : i == 6 ? -1 : 0;
            ASSERT_TRUE(table.defineColumnInfo(i, KtbString(columnNames[index].c_str()), types[index], width));
        }
    }

    static std::vector<Row> rows() {
        const KtbDatavar null;
        const std::string x126(126, 'x');
        const std::string x127(127, 'x');
        const std::string x128(128, 'x');
        return {
            {var(true), var(1L), decimalVar("12.50"), dateVar(86400), var("a"), var("abcdefg"), var(2.5)},
            {null, null, null, null, null, null, null},
            {var("maybe"), var("not a number"), var("12,5"), var("yesterday"), var(""), var("\xc3\xa4\xc3\xb6\xc3\xbc"),
             var("")},
            {var(false), var(LONG_MIN), decimalVar("-0.001"), dateVar(-0.5), var(x126.c_str()), var("ab\xe2\x82\xac"), null},
            {var("yes"), var(LONG_MAX), decimalVar("99999999999999999999999999999999999999"), dateVar(KtbDate::secondsMin),
             var(x127.c_str()), var("abc\xe2\x82\xac"), null},
            {var(0L), var(" 42 "), var(7L), var("2000-02-29"), var(x128.c_str()), var("\xff\xfe"), var(true)},
        };
    }

    // What a reader sees of these rows.
    static std::vector<Texts> shownRows() {
        return {
            {"boolean true", "integer 1", "decimal 12.50", "date 1970-01-02", "string a", "string abcde", "string 2.5"},
            Texts(7, "null"),
            {"null", "null", "null", "null", "string ", "string \xc3\xa4\xc3\xb6", "string "},
            {"boolean false", "integer -9223372036854775808", "decimal -0.001", "date 1969-12-31T23:59:59.5",
             "string " + std::string(126, 'x'), "string ab\xe2\x82\xac", "null"},
            {"boolean true", "integer 9223372036854775807", "decimal 99999999999999999999999999999999999999", "date 0001-01-01",
             "string " + std::string(127, 'x'), "string abc", "null"},
            {"boolean false", "integer 42", "decimal 7", "date 2000-02-29", "string " + std::string(128, 'x'),
             "string \xff\xfe", "string true"},
        };
    }

    // The files that the library makes of these rows, in the order of files(), without the random names.
    std::vector<std::string> written() {
        const auto made = table();
        EXPECT_TRUE(made->create(7, 0, 200));
        define(*made);
        for (Row row : rows()) EXPECT_TRUE(made->writeRow(row.values())) << made->getError().asCstr();
        EXPECT_TRUE(made->close()) << made->getError().asCstr();
        const std::string header = get(made->getName().asCstr());
        std::vector<std::string> result = {withoutRandomNames(header)};
        for (std::size_t at = 0; (at = header.find("ktwte", at)) != std::string::npos; at += std::strlen(header.c_str() + at)) {
            result.push_back(get(header.c_str() + at));
        }
        return result;
    }

    void place(Order order) const {
        for (const GoldenFile& file : files()) put(file.place, golden::read(goldenName(file, order)));
    }
};

}  // namespace

TEST_F(GoldenTest, TheFilesOfATableAreTheGoldenOnes) {
    const std::vector<std::string> bytes = written();
    ASSERT_EQ(bytes.size(), files().size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const GoldenFile& file = files()[i];
        const std::vector<golden::Field> fields = fieldsOf(file, bytes[i], Order::ours);
        if (golden::rewriting()) {
            const std::string other = golden::otherByteOrder(bytes[i], fields);
            golden::write(goldenName(file, Order::ours), file.title, bytes[i], fields);
            golden::write(goldenName(file, Order::other), file.title, other, fieldsOf(file, other, Order::other));
        }
        const std::string expected = golden::read(goldenName(file, Order::ours));
        // As text, so that a difference shows in the line that tells what it is about.
        EXPECT_EQ(golden::format(file.title, bytes[i], fields),
                  golden::format(file.title, expected, fieldsOf(file, expected, Order::ours)));
        EXPECT_EQ(bytes[i], expected) << file.name;
    }
}

TEST_F(GoldenTest, TheTwoByteOrdersDifferInTheirNumbersOnly) {
    for (const GoldenFile& file : files()) {
        const std::string ours = golden::read(goldenName(file, Order::ours));
        const std::string other = golden::read(goldenName(file, Order::other));
        EXPECT_EQ(golden::otherByteOrder(ours, fieldsOf(file, ours, Order::ours)), other) << file.name;
        EXPECT_EQ(golden::otherByteOrder(other, fieldsOf(file, other, Order::other)), ours) << file.name;
    }
}

class GoldenOrderTest : public GoldenTest, public testing::WithParamInterface<Order> {};

INSTANTIATE_TEST_SUITE_P(, GoldenOrderTest, testing::Values(Order::ours, Order::other),
                         [](const auto& order) { return std::string(order.param == Order::ours ? "Ours" : "Other"); });

TEST_P(GoldenOrderTest, TheHeaderDescribesTheTable) {
    place(GetParam());
    const auto opened = table();
    ASSERT_TRUE(openAll(*opened, "ktwt_golden")) << opened->getError().asCstr();
    EXPECT_EQ(opened->isByteSwap(), GetParam() == Order::other);
    EXPECT_STREQ(opened->getName().asCstr(), "ktwt_golden");
    EXPECT_EQ(opened->getVersion(), 100);
    EXPECT_EQ(opened->getElementSize(), 200);
    EXPECT_EQ(opened->getRows(), 6);
    EXPECT_EQ(opened->getElementCount(), 2);
    ASSERT_EQ(opened->getColumns(), 7);
    const ktbType types[] = {ktbTypeBoolean, ktbTypeInteger, ktbTypeDecimal, ktbTypeDate,
                             ktbTypeString,  ktbTypeString,  ktbTypeString};
    const int widths[] = {0, 0, 0, 0, 0, 5, -1};
    const int longest[] = {0, 0, 0, 0, 129, 6, 5};
    const unsigned char codes[] = {1, 3, 4, 2, 5, 5, 5};
    for (int i = 0; i < 7; ++i) {
        KtbString name;
        ktbType type = ktbTypeNone;
        int width = 1;
        int size = 1;
        ASSERT_TRUE(opened->getColumnInfo(i, &name, &type, &width, &size));
        EXPECT_EQ(name.asCstr(), columnNames[static_cast<std::size_t>(i)]);
        EXPECT_EQ(type, types[i]) << i;
        EXPECT_EQ(width, widths[i]) << i;
        EXPECT_EQ(size, longest[i]) << i;
        EXPECT_EQ(opened->getActualColumnDefs()[i].storageCode, codes[i]) << i;
    }
}

TEST_P(GoldenOrderTest, TheRowsReadForwardsAreThoseWritten) {
    place(GetParam());
    const auto opened = table();
    ASSERT_TRUE(openAll(*opened, "ktwt_golden")) << opened->getError().asCstr();
    Row row(7);
    bool end = false;
    for (const Texts& expected : shownRows()) {
        ASSERT_TRUE(opened->readRow(row.values(), &end)) << opened->getError().asCstr();
        EXPECT_EQ(row.texts(), expected);
    }
    EXPECT_FALSE(opened->readRow(row.values(), &end));
    EXPECT_TRUE(end);
}

TEST_P(GoldenOrderTest, TheRowsReadBackwardsAreThoseWritten) {
    place(GetParam());
    const auto opened = table();
    ASSERT_TRUE(openAll(*opened, "ktwt_golden", true)) << opened->getError().asCstr();
    Row row(7);
    bool end = false;
    std::vector<Texts> expected = shownRows();
    for (auto texts = expected.rbegin(); texts != expected.rend(); ++texts) {
        ASSERT_TRUE(opened->readRow(row.values(), &end)) << opened->getError().asCstr();
        EXPECT_EQ(row.texts(), *texts);
    }
    EXPECT_FALSE(opened->readRow(row.values(), &end));
    EXPECT_TRUE(end);
}

TEST_P(GoldenOrderTest, OneColumnIsReadThroughTheIndex) {
    place(GetParam());
    const std::vector<Texts> expected = shownRows();
    for (int column = 0; column < 7; ++column) {
        for (const bool reversed : {false, true}) {
            const auto opened = table();
            ASSERT_TRUE(opened->open(KtbString("ktwt_golden"), 1, &column, nullptr, reversed)) << opened->getError().asCstr();
            Row row(7);
            bool end = false;
            for (std::size_t i = 0; i < expected.size(); ++i) {
                ASSERT_TRUE(opened->readRow(row.values(), &end)) << opened->getError().asCstr();
                const Texts& texts = expected[reversed ? expected.size() - 1 - i : i];
                EXPECT_EQ(shown(row[0]), texts[static_cast<std::size_t>(column)]);
            }
            EXPECT_FALSE(opened->readRow(row.values(), &end));
            EXPECT_TRUE(end);
        }
    }
}

TEST_F(GoldenTest, ATableOfTheOtherByteOrderTakesNoRows) {
    place(Order::other);
    const std::string before = get("ktwt_golden");
    {
        const auto opened = table();
        EXPECT_FALSE(openForAppending(*opened, "ktwt_golden"));
        EXPECT_TRUE(says(opened->getError(), "wtfile", 1353, {directory_.file("ktwt_golden"), "byte order"}));
    }
    EXPECT_EQ(get("ktwt_golden"), before);
    EXPECT_EQ(directory_.names().size(), files().size());
}

// A header written by a later version 1.50, whose fixed parts are all longer.
TEST_F(GoldenTest, AHeaderOfALaterVersionIsRead) {
    for (const char* name : {"later-version.little", "later-version.big"}) {
        put("ktwt_later", golden::read(name));
        const auto opened = table();
        ASSERT_TRUE(openAll(*opened, "ktwt_later")) << opened->getError().asCstr();
        EXPECT_EQ(opened->getVersion(), 150);
        EXPECT_EQ(opened->getRows(), 3);
        EXPECT_EQ(opened->getElementSize(), 65536);
        EXPECT_EQ(opened->getElementCount(), 1);
        KtbString column;
        int width = 0;
        ASSERT_TRUE(opened->getColumnInfo(0, &column, nullptr, &width, nullptr));
        EXPECT_STREQ(column.asCstr(), "city");
        EXPECT_EQ(width, 30);
    }
}

TEST(GoldenTextTest, IsReadOnlyWhenEveryByteHasItsPlace) {
    std::string bytes;
    EXPECT_TRUE(golden::parse("# title\n\n0000-0001  20 00  length\n0002-0002  7f\n", &bytes));
    EXPECT_EQ(bytes, std::string("\x20\0\x7f", 3));
    EXPECT_FALSE(golden::parse("0000-0001  20  a byte is missing\n", &bytes));
    EXPECT_FALSE(golden::parse("0000-0000  20 00  one too many\n", &bytes));
    EXPECT_FALSE(golden::parse("0000-0000  20\n0002-0002  00  a gap\n", &bytes));
    EXPECT_FALSE(golden::parse("0001-0001  20  not from the start\n", &bytes));
    EXPECT_FALSE(golden::parse("0000-0000  zz  no digits\n", &bytes));
    EXPECT_FALSE(golden::parse("not a line at all\n", &bytes));
}

TEST(GoldenTextTest, ShowsLongFieldsInSeveralLines) {
    const std::string bytes(20, 'a');
    const std::string text = golden::format("title", bytes, {{2, true, "first"}, {18, false, "second"}});
    std::string back;
    EXPECT_TRUE(golden::parse(text, &back));
    EXPECT_EQ(back, bytes);
    EXPECT_NE(text.find("0000-0001  61 61  first\n"), std::string::npos) << text;
    EXPECT_NE(text.find("0012-0013  61 61  (continued)\n"), std::string::npos) << text;
    EXPECT_EQ(golden::otherByteOrder("ab" + std::string(18, 'c'), {{2, true, ""}, {18, false, ""}}),
              "ba" + std::string(18, 'c'));
}
