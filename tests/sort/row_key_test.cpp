// Encoded keys and stored values: the bytes themselves, and that their order is that of the values.
#include "sort/row_key.h"

#include <gtest/gtest.h>

#include <bit>
#include <string_view>

#include "sort/chunk_sum.h"
#include "sort/row_record.h"
#include "sort/row_value.h"
#include "sort_model.h"
#include "sort_random.h"
#include "support/golden.h"

namespace {

using namespace sorting;

// What a key makes of values.
class Encoder {
public:
    explicit Encoder(ktbType type, bool descending = false, int collation = ktSortCollateBytes, const char* locale = nullptr) {
        key_.column = 0;
        key_.type = type;
        key_.descending = descending;
        KTSortCollateParms parms = {collation, locale};
        KtbString why;
        EXPECT_TRUE(key_.collation.set(&parms, &why)) << why.asCstr();
    }

    std::string bytes(const KtbDatavar& value, std::size_t room = 4096, bool* cut = nullptr) const {
        std::string buffer(room, '\0');
        auto* begin = reinterpret_cast<unsigned char*>(buffer.data());
        KeyWriter writer(begin, room);
        ByteBuffer scratch;
        EXPECT_TRUE(writer.put(key_, value, &scratch));
        if (cut != nullptr) *cut = writer.isCut();
        buffer.resize(static_cast<std::size_t>(writer.end() - begin));
        return buffer;
    }

    const SortKey& key() const { return key_; }

private:
    SortKey key_;
};

std::string hex(std::string_view bytes) {
    std::string text;
    char digits[4];
    for (const char byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    if (!text.empty()) text.pop_back();
    return text;
}

std::string encoded(ktbType type, const KtbDatavar& value) { return hex(Encoder(type).bytes(value)); }

TEST(RowKeyTest, ANullIsOneByteInEveryType) {
    for (ktbType type = ktbTypeBoolean; type <= ktbTypeDouble; ++type) {
        EXPECT_EQ(encoded(type, nullOf(type)), "00");
        EXPECT_EQ(hex(Encoder(type, true).bytes(nullOf(type))), "ff");
    }
}

TEST(RowKeyTest, ABooleanIsOneByte) {
    EXPECT_EQ(encoded(ktbTypeBoolean, valueOf(false)), "01");
    EXPECT_EQ(encoded(ktbTypeBoolean, valueOf(true)), "02");
    EXPECT_EQ(hex(Encoder(ktbTypeBoolean, true).bytes(valueOf(true))), "fd");
}

TEST(RowKeyTest, AnIntegerIsItsSizeAndItsBytes) {
    const std::pair<long, const char*> examples[] = {{0, "80"},
                                                     {1, "81 01"},
                                                     {255, "81 ff"},
                                                     {256, "82 01 00"},
                                                     {300, "82 01 2c"},
                                                     {-1, "7f"},
                                                     {-2, "7e fe"},
                                                     {-256, "7e 00"},
                                                     {-257, "7d fe ff"},
                                                     {65536, "83 01 00 00"},
                                                     {LONG_MAX, "88 7f ff ff ff ff ff ff ff"},
                                                     {LONG_MIN, "77 80 00 00 00 00 00 00 00"}};
    for (const auto& [number, bytes] : examples) EXPECT_EQ(encoded(ktbTypeInteger, valueOf(number)), bytes) << number;
}

TEST(RowKeyTest, ADecimalIsItsSignItsPowerOfTenAnd38Digits) {
    EXPECT_EQ(encoded(ktbTypeDecimal, decimalOf("0.00")), "02");
    // 12.5 is 0.125 * 10^2, and 12500...0 with 38 digits is 0x09676995...
    const std::string digits = "09 67 69 95 0b 50 d8 8f 41 31 44 48 00 00 00 00";
    EXPECT_EQ(encoded(ktbTypeDecimal, decimalOf("12.5")), "03 82 " + digits);
    EXPECT_EQ(encoded(ktbTypeDecimal, decimalOf("12.500")), "03 82 " + digits);
    EXPECT_EQ(encoded(ktbTypeDecimal, decimalOf("0.00125")), "03 7e " + digits);
    EXPECT_EQ(encoded(ktbTypeDecimal, decimalOf("-12.5")), "01 7d f6 98 96 6a f4 af 27 70 be ce bb b7 ff ff ff ff");
}

TEST(RowKeyTest, ADoubleOrDateIsItsBitsInOrder) {
    EXPECT_EQ(encoded(ktbTypeDouble, valueOf(0.0)), "01 80 00 00 00 00 00 00 00");
    EXPECT_EQ(encoded(ktbTypeDouble, valueOf(-0.0)), "01 80 00 00 00 00 00 00 00");
    EXPECT_EQ(encoded(ktbTypeDouble, valueOf(1.0)), "01 bf f0 00 00 00 00 00 00");
    EXPECT_EQ(encoded(ktbTypeDouble, valueOf(-1.0)), "01 40 0f ff ff ff ff ff ff");
    EXPECT_EQ(encoded(ktbTypeDate, dateOf(1.0)), "01 bf f0 00 00 00 00 00 00");
    EXPECT_EQ(encoded(ktbTypeDouble, valueOf(-std::numeric_limits<double>::quiet_NaN())), "01 ff ff ff ff ff ff ff ff");
}

TEST(RowKeyTest, ATextIsItsCollatedBytesAndANul) {
    EXPECT_EQ(encoded(ktbTypeString, valueOf("")), "01 00");
    EXPECT_EQ(encoded(ktbTypeString, valueOf("aB\xff")), "01 61 42 ff 00");
    EXPECT_EQ(hex(Encoder(ktbTypeString, false, ktSortCollateFold).bytes(valueOf("aB[\xc4"))), "01 61 62 5b c4 00");
    EXPECT_EQ(hex(Encoder(ktbTypeString, true).bytes(valueOf("ab"))), "fe 9e 9d ff");
}

TEST(RowKeyTest, KeysFollowEachOtherWithoutAMark) {
    const Encoder text(ktbTypeString);
    const Encoder number(ktbTypeInteger, true);
    unsigned char buffer[16];
    KeyWriter writer(buffer, sizeof buffer);
    ByteBuffer scratch;
    ASSERT_TRUE(writer.put(text.key(), valueOf("ab"), &scratch) && writer.put(number.key(), valueOf(300L), &scratch));
    EXPECT_FALSE(writer.isCut());
    const auto size = static_cast<std::size_t>(writer.end() - buffer);
    EXPECT_EQ(hex({reinterpret_cast<char*>(buffer), size}), "01 61 62 00 7d fe d3");
}

TEST(RowKeyTest, NothingComesBehindAKeyThatWasCut) {
    const Encoder text(ktbTypeString);
    unsigned char buffer[4];
    KeyWriter writer(buffer, sizeof buffer);
    ByteBuffer scratch;
    ASSERT_TRUE(writer.put(text.key(), valueOf("abcd"), &scratch) && writer.put(text.key(), valueOf(""), &scratch));
    EXPECT_TRUE(writer.isCut());
    EXPECT_EQ(hex({reinterpret_cast<char*>(buffer), 4}), "01 61 62 63");
    EXPECT_EQ(writer.end(), buffer + 4);
}

// The keys of one row, as docs/sort.md shows them.
TEST(RowKeyTest, AWholeRowIsAsItWasReviewed) {
    struct Part {
        Encoder encoder;
        KtbDatavar value;
        const char* note;
    };
    const Part parts[] = {
        {Encoder(ktbTypeBoolean), valueOf(true), "boolean true"},
        {Encoder(ktbTypeInteger), valueOf(300L), "integer 300"},
        {Encoder(ktbTypeInteger), valueOf(-2L), "integer -2"},
        {Encoder(ktbTypeInteger, true), valueOf(300L), "integer 300, descending"},
        {Encoder(ktbTypeDecimal), decimalOf("12.50"), "decimal 12.50: 0.125 * 10^2"},
        {Encoder(ktbTypeDecimal), decimalOf("-12.5"), "decimal -12.5"},
        {Encoder(ktbTypeDate), dateOf(86400), "date 1970-01-02"},
        {Encoder(ktbTypeDouble), valueOf(-1.5), "double -1.5"},
        {Encoder(ktbTypeString), valueOf("Oslo"), "text Oslo"},
        {Encoder(ktbTypeString, false, ktSortCollateFold), valueOf("Oslo"), "text Oslo, folded"},
        {Encoder(ktbTypeString, true), nullOf(ktbTypeString), "a null, descending"},
    };
    std::string bytes;
    std::vector<golden::Field> fields;
    for (const Part& part : parts) {
        const std::string key = part.encoder.bytes(part.value);
        bytes += key;
        fields.push_back({key.size(), false, part.note});
    }
    const std::string title = "Encoded sort keys, which do not depend on the machine's byte order.";
    if (golden::rewriting()) golden::write("sort-keys", title, bytes, fields);
    EXPECT_EQ(golden::format(title, bytes, fields), golden::format(title, golden::read("sort-keys"), fields));
}

// Each text's key is as long as the room for it, or one byte longer.
TEST(RowKeyTest, AKeyThatJustFitsIsNotCut) {
    for (const int collation : {ktSortCollateBytes, ktSortCollateFold}) {
        const Encoder encoder(ktbTypeString, false, collation);
        bool cut = true;
        EXPECT_EQ(encoder.bytes(valueOf(std::string(62, 'x')), 64, &cut).size(), 64u);
        EXPECT_FALSE(cut);
        EXPECT_EQ(encoder.bytes(valueOf(std::string(63, 'x')), 64, &cut).size(), 64u);
        EXPECT_TRUE(cut);
    }
}

Row nastyValues(ktbType type) {
    Row values = {nullOf(type)};
    switch (type) {
        case ktbTypeBoolean: values.insert(values.end(), {valueOf(false), valueOf(true)}); break;
        case ktbTypeInteger:
            for (const long number : nastyIntegers()) values.push_back(valueOf(number));
            break;
        case ktbTypeDecimal:
            for (const KtbDatavar& number : nastyDecimals()) values.push_back(number);
            break;
        case ktbTypeDate:
            for (const double seconds : nastyDates()) values.push_back(dateOf(seconds));
            break;
        case ktbTypeDouble:
            for (const double number : nastyDoubles()) values.push_back(valueOf(number));
            break;
        default:
            for (const std::string& text : nastyTexts()) values.push_back(valueOf(text));
    }
    Random random(static_cast<unsigned long>(type));
    for (int i = 0; i < 60; ++i) values.push_back(randomOfType(random, type));
    return values;
}

int orderOf(const std::string& left, const std::string& right, std::size_t length) {
    return signOf(left.substr(0, length).compare(right.substr(0, length)));
}

// The first byte in which they differ must tell them apart as the values do, and where one ends they both must.
void expectInOrder(const std::string& left, const std::string& right, int expected) {
    const std::size_t common = std::min(left.size(), right.size());
    EXPECT_EQ(orderOf(left, right, common), expected);
    if (expected == 0) {
        EXPECT_EQ(left.size(), right.size());
    }
    for (std::size_t length = 0; length < common; ++length) {
        const int order = orderOf(left, right, length);
        EXPECT_TRUE(order == 0 || order == expected) << "cut after " << length;
    }
}

void expectKeysInOrder(ktbType type, int collation) {
    const Row values = nastyValues(type);
    for (const bool descending : {false, true}) {
        const Encoder encoder(type, descending, collation, "C.UTF-8");
        const Key key = {0, descending, collation, "C.UTF-8"};
        std::vector<std::string> keys;
        for (const KtbDatavar& value : values) keys.push_back(encoder.bytes(value));
        for (std::size_t i = 0; i < values.size(); ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                const int ascending = signOf(compareValues(key, type, values[i], values[j]));
                expectInOrder(keys[i], keys[j], descending ? -ascending : ascending);
                ASSERT_FALSE(testing::Test::HasFailure())
                    << shown({values[i], values[j]}) << (descending ? ", descending" : "");
            }
        }
    }
}

TEST(RowKeyTest, BooleansStandInTheirOrder) { expectKeysInOrder(ktbTypeBoolean, ktSortCollateBytes); }
TEST(RowKeyTest, IntegersStandInTheirOrder) { expectKeysInOrder(ktbTypeInteger, ktSortCollateBytes); }
TEST(RowKeyTest, DecimalsStandInTheirOrder) { expectKeysInOrder(ktbTypeDecimal, ktSortCollateBytes); }
TEST(RowKeyTest, DatesStandInTheirOrder) { expectKeysInOrder(ktbTypeDate, ktSortCollateBytes); }
TEST(RowKeyTest, DoublesStandInTheirOrder) { expectKeysInOrder(ktbTypeDouble, ktSortCollateBytes); }
TEST(RowKeyTest, TextsStandInTheOrderOfTheirBytes) { expectKeysInOrder(ktbTypeString, ktSortCollateBytes); }
TEST(RowKeyTest, TextsStandInTheOrderOfTheirFoldedBytes) { expectKeysInOrder(ktbTypeString, ktSortCollateFold); }
TEST(RowKeyTest, TextsStandInTheOrderOfTheirLocale) { expectKeysInOrder(ktbTypeString, ktSortCollateLocale); }

// All pairs of small numbers: the sizes change here.
TEST(RowKeyTest, SmallIntegersStandInTheirOrder) {
    const Encoder encoder(ktbTypeInteger);
    std::string last = encoder.bytes(valueOf(-70001L));
    for (long number = -70000; number <= 70000; ++number) {
        const std::string key = encoder.bytes(valueOf(number));
        ASSERT_LT(last, key) << number;
        last = key;
    }
}

// The beginning of a key as a number orders as the key does, also when the key is shorter than that.
TEST(RowRecordTest, ThePrefixOrdersAsTheKey) {
    const Encoder encoder(ktbTypeString);
    std::vector<std::string> records;
    for (const std::string& text : nastyTexts()) {
        const std::string key = encoder.bytes(valueOf(text), RowRecord::keyBytesMax);
        std::string record(RowRecord::headBytes, '\0');
        RowRecord::setHead(reinterpret_cast<unsigned char*>(record.data()), record.size() + key.size(), key.size(), false);
        records.push_back(record + key);
    }
    const auto prefixOf = [](const std::string& record) {
        return RowRecord::prefix(reinterpret_cast<const unsigned char*>(record.data()));
    };
    for (const std::string& left : records) {
        for (const std::string& right : records) {
            const int order = orderOf(left.substr(8), right.substr(8), 8);
            EXPECT_EQ(prefixOf(left) < prefixOf(right), order < 0) << hex(left) << " and " << hex(right);
        }
    }
}

TEST(RowValueTest, EveryValueComesBackAsItWas) {
    ByteBuffer buffer;
    Row values;
    for (ktbType type = ktbTypeNone; type <= ktbTypeDouble; ++type) values.push_back(nullOf(type));
    for (ktbType type = ktbTypeBoolean; type <= ktbTypeDouble; ++type) {
        for (const KtbDatavar& value : nastyValues(type)) values.push_back(value);
    }
    values.push_back(valueOf(std::string(100000, 'x')));
    for (const KtbDatavar& value : values) ASSERT_TRUE(RowValue::put(&buffer, value, 0));
    const unsigned char* at = buffer.data();
    for (const KtbDatavar& value : values) {
        const RowValue stored(at);
        KtbDatavar back = valueOf("something else that was there before, of some length");
        ASSERT_TRUE(stored.get(&back));
        EXPECT_TRUE(isSame(back, value)) << shown({back, value});
        EXPECT_EQ(stored.isNull(), value.isNull());
        EXPECT_FALSE(stored.isBeforeOther());
        at = stored.end();
    }
    EXPECT_EQ(at, buffer.data() + buffer.size());
}

TEST(RowValueTest, TellsThatTheValueItOrdersByFollows) {
    for (const KtbDatavar& value : {valueOf("12"), nullOf(ktbTypeNone), valueOf(12L)}) {
        ByteBuffer buffer;
        ASSERT_TRUE(RowValue::put(&buffer, value, RowValue::otherFollows) && RowValue::put(&buffer, decimalOf("12.0"), 0));
        const RowValue first(buffer.data());
        EXPECT_TRUE(first.isBeforeOther());
        EXPECT_EQ(first.type(), value.type());
        const RowValue second(first.end());
        EXPECT_FALSE(second.isBeforeOther());
        EXPECT_STREQ(second.asDecimal().asString().asCstr(), "12.0");
        EXPECT_EQ(second.end(), buffer.data() + buffer.size());
    }
}

TEST(ChunkSumTest, ShowsEverySingleBitThatChanged) {
    Random random(1);
    for (std::size_t size = 1; size <= 130; ++size) {
        std::vector<unsigned char> chunk(size);
        for (unsigned char& byte : chunk) byte = static_cast<unsigned char>(random.bits());
        const std::uint64_t sum = chunkSum(chunk.data(), size);
        for (std::size_t bit = 0; bit < 8 * size; ++bit) {
            const auto mask = static_cast<unsigned char>(1u << bit % 8);
            chunk[bit / 8] ^= mask;
            EXPECT_NE(chunkSum(chunk.data(), size), sum) << "bit " << bit << " of " << size << " bytes";
            chunk[bit / 8] ^= mask;
        }
        EXPECT_EQ(chunkSum(chunk.data(), size), sum);
    }
}

TEST(ChunkSumTest, ShowsLostZerosAndSwappedWords) {
    const unsigned char zeros[100] = {};
    for (std::size_t size = 1; size <= sizeof zeros; ++size)
        EXPECT_NE(chunkSum(zeros, size - 1), chunkSum(zeros, size)) << size;
    unsigned char words[64];
    for (std::size_t i = 0; i < sizeof words; ++i) words[i] = static_cast<unsigned char>(i);
    const std::uint64_t sum = chunkSum(words, sizeof words);
    for (std::size_t i = 0; i < 8; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            std::swap_ranges(words + 8 * i, words + 8 * i + 8, words + 8 * j);
            EXPECT_NE(chunkSum(words, sizeof words), sum) << i << " and " << j;
            std::swap_ranges(words + 8 * i, words + 8 * i + 8, words + 8 * j);
        }
    }
}

}  // namespace
