// KtbDatavar: its states, its memory, copying, and values from stored bytes.
#include "ktb/datavar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/failing_new.h"

namespace {

const std::string longText = "this text is too long to be kept inside of the object itself";

// Says what a variant holds, for comparing; also of one that moving left behind.
// NOLINTBEGIN(clang-analyzer-cplusplus.Move)
std::string described(const KtbDatavar& value) {
    return std::string(ktbTypeToString(value.type())) +
           (value.isNull() ? " null" : std::string(" ") + value.asString().asCstr());
}
// NOLINTEND(clang-analyzer-cplusplus.Move)

KtbReal decimal(const char* text) {
    KtbReal value;
    EXPECT_TRUE(value.assign(text));
    return value;
}

// As std::move, for values that are looked at afterwards: what is left behind is what these tests are about.
template <class Value>
Value&& takenFrom(Value& value) {
    return static_cast<Value&&>(value);
}

template <class Value>
KtbDatavar variant(const Value& value) {
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar nullOf(ktbType type) {
    KtbDatavar made;
    made.setType(type);
    return made;
}

// One value or null of every kind.
std::vector<KtbDatavar> everyKind() {
    std::vector<KtbDatavar> all = {variant(true),
                                   variant(-5L),
                                   variant(1.5),
                                   variant("short"),
                                   variant(longText.c_str()),
                                   variant(decimal("-12.50")),
                                   variant(KtbDate(86400.5))};
    for (ktbType type = ktbTypeNone; type <= ktbTypeDouble; ++type) all.push_back(nullOf(type));
    return all;
}

template <class Work>
long allocations(Work work) {
    failing_new::failAt(-1);
    work();
    return failing_new::made;
}

TEST(DatavarTest, IsANullWithoutTypeAtFirst) { EXPECT_EQ(described(KtbDatavar()), "none null"); }

TEST(DatavarTest, TakesTheTypeOfWhatIsAssigned) {
    EXPECT_EQ(described(variant(true)), "boolean true");
    EXPECT_EQ(described(variant(false)), "boolean false");
    EXPECT_EQ(described(variant(7)), "integer 7");
    EXPECT_EQ(described(variant(LONG_MIN)), "integer -9223372036854775808");
    EXPECT_EQ(described(variant(0.5)), "double 0.5");
    EXPECT_EQ(described(variant("text")), "string text");
    EXPECT_EQ(described(variant(KtbString("text"))), "string text");
    EXPECT_EQ(described(variant(decimal("1.50"))), "decimal 1.50");
    EXPECT_EQ(described(variant(KtbDate(0.0))), "date 1970-01-01");
    KtbDatavar counted;
    counted.assign("counted", 5);
    EXPECT_EQ(described(counted), "string count");
}

TEST(DatavarTest, NullsKeepTheTypeTheyWereAssignedAs) {
    EXPECT_EQ(described(variant(static_cast<const char*>(nullptr))), "string null");
    EXPECT_EQ(described(variant(KtbString(nullptr))), "string null");
    EXPECT_EQ(described(variant(KtbReal())), "decimal null");
    EXPECT_EQ(described(variant(KtbDate())), "date null");
    KtbDatavar counted = variant(true);
    counted.assign("x", -1);
    EXPECT_EQ(described(counted), "string null");
}

TEST(DatavarTest, SetNullForgetsTheType) {
    for (KtbDatavar value : everyKind()) {
        value.setNull();
        EXPECT_EQ(described(value), "none null");
    }
}

TEST(DatavarTest, EveryKindCanBeAssignedToEveryKind) {
    for (const KtbDatavar& from : everyKind()) {
        for (const KtbDatavar& onto : everyKind()) {
            KtbDatavar copied(onto), moved(onto), source(from);
            copied = from;
            moved = takenFrom(source);
            EXPECT_EQ(described(copied), described(from));
            EXPECT_EQ(described(moved), described(from));
            EXPECT_EQ(described(source), "none null");
            EXPECT_EQ(described(KtbDatavar(from)), described(from));
            EXPECT_EQ(described(KtbDatavar(takenFrom(copied))), described(from));
            EXPECT_EQ(described(copied), "none null");
        }
    }
}

TEST(DatavarTest, SelfAssignmentChangesNothing) {
    for (KtbDatavar value : everyKind()) {
        const std::string before = described(value);
        KtbDatavar& same = value;
        value = static_cast<const KtbDatavar&>(same);
        EXPECT_EQ(described(value), before);
        value = takenFrom(same);
        EXPECT_EQ(described(value), before);
        KtbString scratch;
        if (value.type() == ktbTypeString && !value.isNull()) value.assign(value.asString(&scratch));
        EXPECT_EQ(described(value), before);
    }
}

TEST(DatavarTest, CopiesKeepEveryBitOfAValue) {
    const KtbDatavar negativeZero(variant(-0.0)), notANumber(variant(std::nan("")));
    EXPECT_TRUE(std::signbit(KtbDatavar(negativeZero).asDouble(nullptr)));
    EXPECT_TRUE(std::isnan(KtbDatavar(notANumber).asDouble(nullptr)));
    EXPECT_EQ(KtbDatavar(variant(decimal("99999999999999999999999999999999999999")))
                  .asReal(nullptr)
                  .compare(decimal("99999999999999999999999999999999999999")),
              0);
    EXPECT_EQ(KtbDatavar(variant(decimal("1.50"))).asReal(nullptr).scale(), 2);
}

TEST(DatavarTest, TextMemorySurvivesNullsAndOtherTypes) {
    KtbDatavar value = variant(longText.c_str());
    const KtbDatavar other = variant(longText.c_str()),
                     kinds[] = {variant(true), variant(7), nullOf(ktbTypeString), KtbDatavar()};
    EXPECT_EQ(allocations([&] {
                  for (const KtbDatavar& kind : kinds) {
                      value.setNull();
                      value.assign(longText.c_str());
                      value.assign(7L);
                      value.assign(longText.c_str(), static_cast<int>(longText.size()));
                      value.setType(ktbTypeDate);
                      value = other;
                      value = kind;
                  }
                  value = other;
              }),
              0);
    EXPECT_EQ(described(value), "string " + longText);
}

TEST(DatavarTest, MovingALongTextNeedsNoMemory) {
    KtbDatavar source = variant(longText.c_str());
    EXPECT_EQ(allocations([&] {
                  KtbDatavar moved(takenFrom(source)), assigned;
                  assigned = takenFrom(moved);
                  source = takenFrom(assigned);
              }),
              0);
    EXPECT_EQ(described(source), "string " + longText);
}

// Runs `operation` with its only allocation failing, and expects a null string.
template <class Operation>
void expectNullStringWithoutMemory(KtbDatavar value, Operation operation) {
    failing_new::failAt(0);
    operation(value);
    EXPECT_TRUE(failing_new::failed);
    failing_new::failAt(-1);
    EXPECT_EQ(described(value), "string null");
    value.assign(longText.c_str());
    EXPECT_EQ(described(value), "string " + longText);
}

TEST(DatavarTest, TextsThatMemoryCannotHoldBecomeNullStrings) {
    const KtbDatavar other = variant(longText.c_str());
    const KtbString text(longText.c_str());
    const auto bytes = static_cast<unsigned>(longText.size());
    expectNullStringWithoutMemory(variant(5), [](KtbDatavar& value) { value.assign(longText.c_str()); });
    expectNullStringWithoutMemory(variant(5),
                                  [&](KtbDatavar& value) { value.assign(longText.c_str(), static_cast<int>(bytes)); });
    expectNullStringWithoutMemory(variant(5), [&](KtbDatavar& value) { value.assign(text); });
    expectNullStringWithoutMemory(variant(5), [&](KtbDatavar& value) { value = other; });
    expectNullStringWithoutMemory(variant(5), [&](KtbDatavar& value) { value = KtbDatavar(other); });
    expectNullStringWithoutMemory(variant(5),
                                  [&](KtbDatavar& value) { value.assign(ktbTypeString, longText.data(), bytes, false); });
    expectNullStringWithoutMemory(variant(decimal("99999999999999999999999999999999999999")),
                                  [](KtbDatavar& value) { value.setType(ktbTypeString); });
}

TEST(DatavarTest, AsStringWithoutMemoryIsNull) {
    const KtbDatavar value = variant(longText.c_str());
    failing_new::failAt(0);
    EXPECT_TRUE(value.asString().isNull());
    failing_new::failAt(-1);
    KtbString scratch;
    EXPECT_STREQ(value.asString(&scratch).asCstr(), longText.c_str());
}

TEST(DatavarTest, OwnTextIsGivenWithoutACopyAndOthersThroughTheScratch) {
    KtbString scratch("before");
    const KtbDatavar text = variant("text"), number = variant(12), null = nullOf(ktbTypeString);
    EXPECT_NE(&text.asString(&scratch), &scratch);
    EXPECT_EQ(text.asString(&scratch).asCstr(), text.asString(&scratch).asCstr());
    EXPECT_STREQ(text.asString(&scratch).asCstr(), "text");
    EXPECT_STREQ(scratch.asCstr(), "before");
    EXPECT_EQ(&number.asString(&scratch), &scratch);
    EXPECT_STREQ(scratch.asCstr(), "12");
    EXPECT_TRUE(null.asString(&scratch).isNull());
    EXPECT_TRUE(scratch.isNull());
}

// The value of stored bytes, given as they are and in reverse order with `swap`: both must be the same.
std::string stored(ktbType type, const void* bytes, unsigned length) {
    KtbDatavar value = variant("before"), swapped;
    value.assign(type, bytes, length, false);
    std::vector<char> reversed(length + 1);
    std::memcpy(reversed.data(), bytes, length);
    if (type != ktbTypeString) {
        for (std::size_t at = 0; at + 8 <= length; at += 8) {
            std::reverse(reversed.begin() + static_cast<long>(at), reversed.begin() + static_cast<long>(at) + 8);
        }
    }
    swapped.assign(type, reversed.data(), length, true);
    EXPECT_EQ(described(swapped), described(value));
    return described(value);
}

template <class Value>
std::string stored(ktbType type, const Value& value) {
    return stored(type, &value, sizeof value);
}

TEST(DatavarTest, StoredBytesOfEveryTypeAreReadInEitherByteOrder) {
    EXPECT_EQ(stored(ktbTypeBoolean, char{0}), "boolean false");
    EXPECT_EQ(stored(ktbTypeBoolean, char{1}), "boolean true");
    EXPECT_EQ(stored(ktbTypeBoolean, '\xff'), "boolean true");
    EXPECT_EQ(stored(ktbTypeInteger, 0x0123456789abcdefL), "integer 81985529216486895");
    EXPECT_EQ(stored(ktbTypeInteger, LONG_MIN), "integer -9223372036854775808");
    EXPECT_EQ(stored(ktbTypeDouble, -1.25), "double -1.25");
    EXPECT_EQ(stored(ktbTypeDouble, std::nan("")), "double nan");
    EXPECT_EQ(stored(ktbTypeDouble, -std::numeric_limits<double>::infinity()), "double -inf");
    EXPECT_EQ(stored(ktbTypeDate, 86400.0), "date 1970-01-02");
    EXPECT_EQ(stored(ktbTypeString, "text", 4), "string text");
    EXPECT_EQ(stored(ktbTypeString, "te\0t", 4), "string te");
    EXPECT_EQ(stored(ktbTypeString, "", 0), "string ");
    EXPECT_EQ(stored(99, "text", 4), "string text");
    EXPECT_EQ(stored(-1, "text", 4), "string text");
}

TEST(DatavarTest, StoredDecimalsAreReadInEitherByteOrder) {
    for (const char* text :
         {"0", "-12.50", "99999999999999999999999999999999999999", "-0.00000000000000000000000000000000000001"}) {
        unsigned long words[3];
        decimal(text).asFD(&words);
        EXPECT_EQ(stored(ktbTypeDecimal, words), std::string("decimal ") + text);
    }
}

TEST(DatavarTest, BytesThatAreNoValueGiveANullOfTheirType) {
    EXPECT_EQ(stored(ktbTypeDate, KtbDate::secondsEnd), "date null");
    EXPECT_EQ(stored(ktbTypeDate, std::nextafter(KtbDate::secondsMin, -1e300)), "date null");
    EXPECT_EQ(stored(ktbTypeDate, std::nan("")), "date null");
    EXPECT_EQ(stored(ktbTypeDate, std::numeric_limits<double>::infinity()), "date null");
    const unsigned long scaleTooLarge[3] = {39, 0, 1}, strayBit[3] = {0x100, 0, 1}, tooManyDigits[3] = {0, ~0UL, ~0UL};
    EXPECT_EQ(stored(ktbTypeDecimal, scaleTooLarge), "decimal null");
    EXPECT_EQ(stored(ktbTypeDecimal, strayBit), "decimal null");
    EXPECT_EQ(stored(ktbTypeDecimal, tooManyDigits), "decimal null");
}

TEST(DatavarTest, LengthsOtherThanTheTypesGiveANullOfIt) {
    const char bytes[64] = {};  // a value of every type, on machines of either byte order
    for (const ktbType type : {ktbTypeBoolean, ktbTypeInteger, ktbTypeDecimal, ktbTypeDate, ktbTypeDouble}) {
        const unsigned right = type == ktbTypeBoolean ? 1 : type == ktbTypeDecimal ? 24 : 8;
        for (unsigned length = 0; length <= 64; ++length) {
            KtbDatavar value = variant("before");
            value.assign(type, bytes, length, false);
            EXPECT_EQ(value.type(), type);
            EXPECT_EQ(value.isNull(), length != right) << type << ' ' << length;
        }
    }
    for (const unsigned length : {0U, 1U, 8U, 24U}) EXPECT_EQ(stored(ktbTypeNone, bytes, length), "none null");
}

TEST(DatavarTest, MissingBytesAndImpossibleTextLengthsGiveANull) {
    for (ktbType type = ktbTypeNone; type <= ktbTypeDouble; ++type) {
        KtbDatavar value = variant(true);
        value.assign(type, nullptr, 8, false);
        EXPECT_TRUE(value.isNull());
        EXPECT_EQ(value.type(), type);
    }
    KtbDatavar value = variant(true);
    value.assign(ktbTypeString, "x", ~0U, false);
    EXPECT_EQ(described(value), "string null");
}

}  // namespace
