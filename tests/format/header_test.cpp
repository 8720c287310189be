// The header file: what is written, what is read back, and how a header that is not what it should be is refused.
#include <climits>

#include "counted_new.h"
#include "file_size_limit.h"
#include "format_fixture.h"

using images::Order;

namespace {

class HeaderTest : public FormatFixture {
protected:
    // Opens a header with these bytes and closes it again.
    bool opens(const std::string& bytes) {
        put("ktwt_t", bytes);
        opened_ = table();
        return openAll(*opened_, "ktwt_t");
    }

    testing::AssertionResult refuses(const std::string& bytes, const char* source, int number, const Texts& arguments = {}) {
        if (opens(bytes)) return testing::AssertionFailure() << "the header was opened";
        return says(opened_->getError(), source, number, arguments);
    }

    // Opens the header for appending, closes it, and gives what the file then holds.
    std::string rewritten(const std::string& bytes) {
        put("ktwt_t", bytes);
        const auto appended = table();
        EXPECT_TRUE(openForAppending(*appended, "ktwt_t")) << appended->getError().asCstr();
        EXPECT_TRUE(appended->close()) << appended->getError().asCstr();
        return get("ktwt_t");
    }

    static images::Header oneColumn() {
        images::Header header;
        header.columns = {{.name = "a", .code = 3}};
        return header;
    }

    static images::Header oneElement() {
        images::Header header = oneColumn();
        header.rows = 1;
        header.elements = {{.name = "ktwte_d", .index = "ktwtei_i", .rows = 1}};
        return header;
    }

    std::unique_ptr<KTWTFileImpl> opened_;
};

}  // namespace

TEST_F(HeaderTest, OfATableWithoutColumnsHas33Bytes) {
    const auto made = table();
    ASSERT_TRUE(made->create(0, 0, 0));
    ASSERT_TRUE(made->close());
    const std::string bytes = get(made->getName().asCstr());
    EXPECT_EQ(bytes.size(), 33u);
    EXPECT_EQ(bytes, images::Header{}.bytes());
    EXPECT_EQ(directory_.names(), Texts{made->getName().asCstr()});
    EXPECT_TRUE(opens(bytes)) << opened_->getError().asCstr();
    EXPECT_EQ(opened_->getColumns(), 0);
    EXPECT_EQ(opened_->getRows(), 0);
    EXPECT_EQ(opened_->getElementSize(), 0);
}

TEST_F(HeaderTest, NameBeginsWithThePrefixOfHeaders) {
    const auto made = table();
    ASSERT_TRUE(made->create(0, 0, 0));
    EXPECT_EQ(directory_.names("ktwt_"), Texts{made->getName().asCstr()});
}

TEST_F(HeaderTest, KeepsTheStorageCodeOfATypeAndRestoresTheTypeFromIt) {
    struct Mapping {
        ktbType declared;
        std::uint16_t code;
        ktbType restored;
    };
    const std::vector<Mapping> mappings = {{1, 1, 1}, {2, 3, 2}, {3, 4, 3},  {4, 5, 4}, {5, 2, 5},
                                           {0, 5, 4}, {6, 5, 4}, {-1, 5, 4}, {7, 5, 4}, {INT_MAX, 5, 4}};
    const auto made = table();
    ASSERT_TRUE(made->create(static_cast<int>(mappings.size()), 0, 0));
    images::Header expected;
    for (std::size_t i = 0; i < mappings.size(); ++i) {
        const std::string name = "c" + std::to_string(i);
        const int width = static_cast<int>(i) - 3;
        ASSERT_TRUE(made->defineColumnInfo(static_cast<int>(i), KtbString(name.c_str()), mappings[i].declared, width));
        expected.columns.push_back({.name = name, .code = mappings[i].code, .width = width});
    }
    ASSERT_TRUE(made->close());
    const std::string bytes = get(made->getName().asCstr());
    EXPECT_EQ(bytes, expected.bytes());
    ASSERT_TRUE(opens(bytes));
    for (std::size_t i = 0; i < mappings.size(); ++i) {
        ktbType type = ktbTypeNone;
        ASSERT_TRUE(opened_->getColumnInfo(static_cast<int>(i), nullptr, &type, nullptr, nullptr));
        EXPECT_EQ(type, mappings[i].restored) << i;
    }
}

TEST_F(HeaderTest, KeepsAStorageCodeOfAnotherVersionAsItStands) {
    for (const int code : {0, 6, 9, 127, 128, 255}) {
        images::Header header = oneColumn();
        header.columns[0].code = static_cast<std::uint16_t>(code);
        const std::string bytes = header.bytes();
        ASSERT_TRUE(opens(bytes)) << code;
        ktbType type = ktbTypeNone;
        ASSERT_TRUE(opened_->getColumnInfo(0, nullptr, &type, nullptr, nullptr));
        EXPECT_EQ(type, ktbTypeString) << code;
        EXPECT_EQ(opened_->getActualColumnDefs()[0].storageCode, code);
        EXPECT_EQ(rewritten(bytes), bytes) << code;
    }
}

TEST_F(HeaderTest, OfColumnsThatWereNeverDefinedReadsBackAsNamelessStrings) {
    const auto made = table();
    ASSERT_TRUE(made->create(2, 0, 77));
    ASSERT_TRUE(made->close());
    const std::string bytes = get(made->getName().asCstr());
    images::Header expected;
    expected.elementSize = 77;
    expected.columns = {{.name = "", .code = 0}, {.name = "", .code = 0}};
    EXPECT_EQ(bytes, expected.bytes());
    ASSERT_TRUE(opens(bytes));
    KtbString name("x");
    ktbType type = ktbTypeNone;
    ASSERT_TRUE(opened_->getColumnInfo(1, &name, &type, nullptr, nullptr));
    EXPECT_STREQ(name.asCstr(), "");
    EXPECT_EQ(type, ktbTypeString);
}

TEST_F(HeaderTest, ReadsTheSameInEitherByteOrder) {
    images::Header header;
    header.label = "a label";
    header.elementSize = 0x0102030405060708;
    header.rows = 0x1112131415161718;
    header.columns = {{.name = "first", .code = 1, .width = 0x01020304, .longest = 0x11121314}, {.name = "second", .code = 2}};
    header.elements = {{.name = "ktwte_d", .index = "ktwtei_i", .rows = 0x2122232425262728}};
    for (const Order order : {Order::ours, Order::other}) {
        ASSERT_TRUE(opens(header.bytes(order))) << opened_->getError().asCstr();
        EXPECT_EQ(opened_->isByteSwap(), order == Order::other);
        EXPECT_STREQ(opened_->getName().asCstr(), "ktwt_t");
        EXPECT_EQ(opened_->getElementSize(), header.elementSize);
        EXPECT_EQ(opened_->getRows(), header.rows);
        EXPECT_EQ(opened_->getElementCount(), 1);
        ASSERT_EQ(opened_->getColumns(), 2);
        KtbString name;
        ktbType type = ktbTypeNone;
        int width = 0;
        int longest = 0;
        ASSERT_TRUE(opened_->getColumnInfo(0, &name, &type, &width, &longest));
        EXPECT_STREQ(name.asCstr(), "first");
        EXPECT_EQ(type, ktbTypeBoolean);
        EXPECT_EQ(width, 0x01020304);
        EXPECT_EQ(longest, 0x11121314);
        ASSERT_TRUE(opened_->getColumnInfo(1, &name, &type, nullptr, nullptr));
        EXPECT_STREQ(name.asCstr(), "second");
        EXPECT_EQ(type, ktbTypeDate);
    }
}

TEST_F(HeaderTest, WithAnyMarkButOneIsTakenForTheOtherByteOrder) {
    for (const int mark : {0x0000, 0x0100, 0x0002, 0xffff}) {
        const std::string bytes =
            images::number(static_cast<std::uint16_t>(mark), Order::ours) + oneColumn().bytes(Order::other).substr(2);
        ASSERT_TRUE(opens(bytes)) << mark << ": " << opened_->getError().asCstr();
        EXPECT_TRUE(opened_->isByteSwap());
        EXPECT_EQ(opened_->getColumns(), 1);
    }
}

TEST_F(HeaderTest, OfVersionsUpTo199IsRead) {
    for (const int version : {SHRT_MIN, -200, -1, 0, 1, 99, 100, 101, 150, 199}) {
        images::Header header = oneColumn();
        header.version = static_cast<std::int16_t>(version);
        for (const Order order : {Order::ours, Order::other}) {
            ASSERT_TRUE(opens(header.bytes(order))) << version << ": " << opened_->getError().asCstr();
            EXPECT_EQ(opened_->getVersion(), version);
        }
    }
}

TEST_F(HeaderTest, OfVersion200AndAboveIsRefused) {
    images::Header header = oneColumn();
    header.version = 200;
    EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1785, {"2.0", "1.0"}));
    EXPECT_TRUE(refuses(header.bytes(Order::other), "wtfile", 1785, {"2.0", "1.0"}));
    header.version = 257;
    EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1785, {"2.57", "1.0"}));
    header.version = SHRT_MAX;
    EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1785, {"327.67", "1.0"}));
    header.fixedLength = 0;  // what the later version has behind the version may mean anything
    EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1785, {"327.67", "1.0"}));
}

TEST_F(HeaderTest, IsAlwaysWrittenAsVersion100) {
    images::Header header = oneColumn();
    header.version = 150;
    const std::string bytes = rewritten(header.bytes());
    header.version = 100;
    EXPECT_EQ(bytes, header.bytes());
}

TEST_F(HeaderTest, SkipsWhatALongerFixedPartHasMore) {
    for (const int length : {33, 40, 5000}) {
        images::Header header = oneColumn();
        header.label = "label";
        header.fixedLength = static_cast<std::int16_t>(length);
        header.columns[0].recordLength = static_cast<std::int16_t>(length);
        header.columns[0].width = 7;
        header.columns.push_back({.name = "next", .code = 1});
        header.elements = {{.name = "ktwte_d", .index = "", .rows = 0, .recordLength = static_cast<std::uint32_t>(length)},
                           {.name = "ktwte_e", .index = "ktwtei_e", .rows = 0}};
        for (const Order order : {Order::ours, Order::other}) {
            ASSERT_TRUE(opens(header.bytes(order))) << length << ": " << opened_->getError().asCstr();
            ASSERT_EQ(opened_->getColumns(), 2);
            KtbString name;
            int width = 0;
            ASSERT_TRUE(opened_->getColumnInfo(0, &name, nullptr, &width, nullptr));
            EXPECT_STREQ(name.asCstr(), "a");
            EXPECT_EQ(width, 7);
            ASSERT_TRUE(opened_->getColumnInfo(1, &name, nullptr, nullptr, nullptr));
            EXPECT_STREQ(name.asCstr(), "next");
            EXPECT_EQ(opened_->getElementCount(), 2);
        }
    }
}

TEST_F(HeaderTest, ThatBecomesShorterLeavesNothingOfTheOldOneBehind) {
    images::Header header = oneColumn();
    header.label = "kept";
    const std::string expected = header.bytes();
    header.fixedLength = 48;
    header.columns[0].recordLength = 300;
    EXPECT_EQ(rewritten(header.bytes() + "a stale tail"), expected);
}

TEST_F(HeaderTest, CarriesItsLabelFromOneOpeningToTheNext) {
    for (const std::size_t length : {0u, 1u, 100u, 4095u}) {
        images::Header header = oneColumn();
        header.label = std::string(length, 'l');
        EXPECT_EQ(rewritten(header.bytes()), header.bytes()) << length;
    }
}

TEST_F(HeaderTest, EndsItsLabelAtTheFirstNul) {
    images::Header header = oneColumn();
    header.label = std::string("ab\0cd", 5);
    const std::string bytes = rewritten(header.bytes());
    header.label = "ab";
    EXPECT_EQ(bytes, header.bytes());
}

TEST_F(HeaderTest, TakesALabelWithoutNulAsFarAsItsLengthGoes) {
    images::Header header;
    header.label = "abc";
    header.labelLength = 3;  // the NUL that follows is then nobody's, and nothing else follows
    const std::string bytes = rewritten(header.bytes());
    header.labelLength = -1;
    EXPECT_EQ(bytes, header.bytes());
}

TEST_F(HeaderTest, RefusesALabelThatWouldBeTooLongWithItsNul) {
    images::Header header;
    header.label = std::string(4096, 'l');
    header.labelLength = 4096;
    EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1787));
    header.label.pop_back();
    header.labelLength = 4096;
    EXPECT_TRUE(opens(header.bytes()));
}

TEST_F(HeaderTest, IsNeverWrittenByATableThatIsRead) {
    const std::string bytes = oneColumn().bytes() + "a tail that a rewritten header would lose";
    ASSERT_TRUE(opens(bytes));
    EXPECT_TRUE(opened_->close());
    EXPECT_EQ(get("ktwt_t"), bytes);
    {
        const auto described = table();
        ASSERT_TRUE(described->open(KtbString("ktwt_t"), true, nullptr, false));
        EXPECT_FALSE(described->isReadOnly());
        EXPECT_TRUE(described->close());
    }
    EXPECT_EQ(get("ktwt_t"), bytes);
    opened_.reset();
    EXPECT_EQ(get("ktwt_t"), bytes);
}

// What the disk refuses.

TEST_F(HeaderTest, WhoseBytesAreRefusedAtTheEndFailsTheCloseAndTakesTheTableAway) {
    const auto made = table();
    ASSERT_TRUE(made->create(1, 0, 0));
    ASSERT_TRUE(made->defineColumnInfo(0, KtbString("a"), ktbTypeInteger, 0));
    bool closed = true;
    {
        const FileSizeLimit limit(10);
        closed = made->close();
    }
    EXPECT_FALSE(closed);
    EXPECT_TRUE(says(made->getError(), "wtfile", 1045, {np_fio_errdesc(np_err_too_large)}));
    EXPECT_TRUE(directory_.names().empty());
}

TEST_F(HeaderTest, WhoseBytesAreRefusedOnTheWayFailsTheCloseAndTakesTheTableAway) {
    const std::string longName(1000 * 1000, 'n');
    const auto made = table();
    ASSERT_TRUE(made->create(2, 0, 0));
    ASSERT_TRUE(made->defineColumnInfo(0, KtbString(longName.c_str()), ktbTypeInteger, 0));
    ASSERT_TRUE(made->defineColumnInfo(1, KtbString("b"), ktbTypeInteger, 0));
    bool closed = true;
    {
        const FileSizeLimit limit(10);
        closed = made->close();
    }
    EXPECT_FALSE(closed);
    EXPECT_TRUE(says(made->getError(), "wtfile", 1044));
    EXPECT_TRUE(directory_.names().empty());
}

// What is not the header that it should be.

TEST_F(HeaderTest, ShorterThanItsFixedPartIsRefused) {
    const std::string bytes = oneColumn().bytes();
    for (std::size_t length = 0; length < 32; ++length) {
        EXPECT_TRUE(refuses(bytes.substr(0, length), "wtfile", 1773)) << length;
    }
}

TEST_F(HeaderTest, WithAFixedPartShorterThanOursIsRefused) {
    for (const int length : {SHRT_MIN, -1, 0, 1, 31}) {
        images::Header header = oneColumn();
        header.fixedLength = static_cast<std::int16_t>(length);
        EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1786)) << length;
    }
    for (const int length : {SHRT_MIN, -1, 0, 1, 15}) {
        images::Header header = oneColumn();
        header.columns[0].recordLength = static_cast<std::int16_t>(length);
        EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1786)) << length;
    }
    for (const std::uint32_t length : {0u, 1u, 15u}) {
        images::Header header = oneElement();
        header.elements[0].recordLength = length;
        EXPECT_TRUE(refuses(header.bytes(), "wtelem", 1786)) << length;
    }
}

TEST_F(HeaderTest, WithAFixedPartBeyondItsEndIsRefused) {
    images::Header header;
    std::string bytes = header.bytes();
    bytes.replace(4, 2, images::number(std::int16_t{SHRT_MAX}, Order::ours));
    EXPECT_TRUE(refuses(bytes, "wtfile", 1787));

    header = oneColumn();
    bytes = header.bytes();
    bytes.replace(33, 2, images::number(std::int16_t{SHRT_MAX}, Order::ours));
    EXPECT_TRUE(refuses(bytes, "wtfile", 1301, {"column name"}));

    header = oneElement();
    bytes = header.bytes();
    for (const std::uint32_t length : {100u, 0x7fffffffu, 0xffffffffu}) {
        bytes.replace(33 + 18, 4, images::number(length, Order::ours));
        EXPECT_TRUE(refuses(bytes, "wtelem", 1301, {"element name"})) << length;
    }
}

TEST_F(HeaderTest, WhoseLabelCannotBeRightIsRefused) {
    for (const int length : {SHRT_MIN, -2, 0, 2, 3, 4096, 4097, SHRT_MAX}) {
        images::Header header;
        header.labelLength = length;
        EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1787)) << length;
    }
    images::Header header;
    header.label = std::string(4096, 'l');
    EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1787));
}

TEST_F(HeaderTest, WithACountOfColumnsThatItCannotHoldIsRefused) {
    for (const int count : {INT_MIN, -2, 2, 3, 1000, INT_MAX}) {
        images::Header header = oneColumn();
        header.columnCount = count;
        counted_new::restart();
        EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1301, {"column definition"})) << count;
        EXPECT_LT(counted_new::total(), 100u * 1024) << count;
    }
}

TEST_F(HeaderTest, WithAColumnNameThatItCannotHoldIsRefused) {
    for (const int length : {INT_MIN, -2, 0, 3, 19, 1000, INT_MAX}) {
        images::Header header = oneColumn();
        header.columns[0].nameLength = length;
        counted_new::restart();
        EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1301, {"column name"})) << length;
        EXPECT_LT(counted_new::total(), 100u * 1024) << length;
    }
}

TEST_F(HeaderTest, WithACountOfElementsThatItCannotHoldIsRefused) {
    for (const int count : {INT_MIN, -2, 4, 1000, INT_MAX}) {
        images::Header header = oneElement();
        header.elementCount = count;
        counted_new::restart();
        EXPECT_TRUE(refuses(header.bytes(), "wtfile", 1301, {"element definition"})) << count;
        EXPECT_LT(counted_new::total(), 100u * 1024) << count;
    }
}

TEST_F(HeaderTest, WithFewerElementRecordsThanItCountsIsRefused) {
    images::Header header = oneElement();
    header.elements[0].name = "ktwte_of_a_length_that_leaves_room_for_another_record";
    header.elementCount = 2;
    EXPECT_TRUE(refuses(header.bytes(), "wtelem", 1301, {"element definition"}));
}

TEST_F(HeaderTest, WithAnElementNameThatItCannotHoldIsRefused) {
    const std::size_t record = oneColumn().bytes().size();
    for (const int length : {SHRT_MIN, -1, 0, 18, SHRT_MAX}) {
        std::string bytes = oneElement().bytes();
        bytes.replace(record + 4, 2, images::number(static_cast<std::int16_t>(length), Order::ours));
        EXPECT_TRUE(refuses(bytes, "wtelem", 1301, {"element name"})) << length;
    }
    for (const int length : {SHRT_MIN, -1, 10, SHRT_MAX}) {
        std::string bytes = oneElement().bytes();
        bytes.replace(record + 6, 2, images::number(static_cast<std::int16_t>(length), Order::ours));
        EXPECT_TRUE(refuses(bytes, "wtelem", 1301, {"element index name"})) << length;
    }
}

// Nothing reads a row that is not there, so that a number of rows below none needs no message of its own.
TEST_F(HeaderTest, WithANegativeNumberOfRowsHasNone) {
    for (const std::int64_t rows : {std::int64_t{-1}, std::int64_t{LONG_MIN}}) {
        images::Header header = oneElement();
        header.rows = rows;
        header.elements[0].rows = rows;
        put("ktwte_d", images::integer(1));
        put("ktwtei_i", images::index({"x"}));
        put("ktwt_t", header.bytes());
        for (const bool reversed : {false, true}) {
            const auto read = table();
            ASSERT_TRUE(openAll(*read, "ktwt_t", reversed)) << read->getError().asCstr();
            Row row(1);
            bool end = false;
            EXPECT_FALSE(read->readRow(row.values(), &end));
            EXPECT_TRUE(end) << read->getError().asCstr();
        }
    }
}

TEST_F(HeaderTest, ThatIsRefusedIsLeftAsItIs) {
    images::Header header = oneElement();
    header.version = 200;
    const std::string bytes = header.bytes();
    for (const bool readOnly : {true, false}) {
        put("ktwt_t", bytes);
        auto refused = table();
        EXPECT_FALSE(refused->open(KtbString("ktwt_t"), readOnly, nullptr, false));
        const std::size_t handles = openHandles();
        EXPECT_TRUE(refused->close());
        EXPECT_EQ(openHandles(), handles) << "the failed open left the header open";
        refused.reset();
        EXPECT_EQ(get("ktwt_t"), bytes);
    }
}

TEST_F(HeaderTest, ThatDoesNotExistIsNamedWithThePathTriedLast) {
    EXPECT_FALSE(openAll(*(opened_ = table()), "ktwt_none"));
    EXPECT_TRUE(says(opened_->getError(), "wtfile", 1353, {directory_.file("ktwt_none"), np_fio_errdesc(np_err_no_such_file)}));
}

// A name that could lead out of the work directories is not even looked for.
TEST_F(HeaderTest, OfANameThatIsNoFileNameIsAnsweredLikeAMissingOne) {
    put("outside", oneColumn().bytes());
    manager_ = makeManager(directory_.directory("inside"));
    const std::string absolute = directory_.file("outside");
    for (const std::string& name : {absolute, std::string("../outside"), std::string("../inside/../outside"), std::string(""),
                                    std::string("."), std::string(".."), std::string("/")}) {
        opened_ = table();
        EXPECT_FALSE(openAll(*opened_, name)) << name;
        EXPECT_TRUE(says(opened_->getError(), "wtfile", 1353, {"\"" + name + "\"", np_fio_errdesc(np_err_no_such_file)}))
            << name;
        EXPECT_TRUE(opened_->close());
    }
}

TEST_F(HeaderTest, ThatCountsMoreRowsThanCanBeCountedOnHasNoRange) {
    images::Header header = oneColumn();
    for (const std::int64_t rows : {INT64_MAX / 2, INT64_MAX / 2 + 1}) {
        header.rows = rows;
        put("ktwt_t", header.bytes());
        opened_ = table();
        long range[2] = {rows - 1, -1};
        const KtbString* all = nullptr;
        const bool counts = rows == INT64_MAX / 2;
        EXPECT_EQ(opened_->open("ktwt_t", -1, all, range, false), counts);
        EXPECT_EQ(says(opened_->getError(), "wtfile", 1301, {"element definition"}), !counts);
    }
}

TEST_F(HeaderTest, CannotHaveFilesOutsideOfTheWorkDirectoriesReadOrDeleted) {
    put("victim", images::integer(42));
    put("victim-index", images::index({"x"}));
    manager_ = makeManager(directory_.directory("inside"));
    for (const std::string& directory : {directory_.path() + "/", std::string("../")}) {
        for (const bool indexed : {true, false}) {
            images::Header header = oneElement();
            header.elements[0].name = directory + "victim";
            header.elements[0].index = indexed ? directory + "victim-index" : "";
            put("inside/ktwt_t", header.bytes());
            opened_ = table();
            ASSERT_TRUE(openAll(*opened_, "ktwt_t")) << opened_->getError().asCstr();
            Row row(1);
            bool end = true;
            for (int attempt = 0; attempt < 2; ++attempt) {
                EXPECT_FALSE(opened_->readRow(row.values(), &end));
                EXPECT_FALSE(end);
                EXPECT_TRUE(says(opened_->getError(), "wtelem", 1353, {np_fio_errdesc(np_err_no_such_file)}));
            }
            EXPECT_FALSE(opened_->remove());
            EXPECT_EQ(get("victim"), images::integer(42));
            EXPECT_EQ(get("victim-index"), images::index({"x"}));
        }
    }
}
