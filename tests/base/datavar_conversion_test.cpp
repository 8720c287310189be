// Every conversion between the types of a KtbDatavar: for each value what it is as every other type, or that it is an error.
// The same table is the expectation of asBool() and its kin and of setType().
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "ktb/datavar.h"

namespace {

constexpr const char* error = nullptr;

KtbDatavar boolean(bool value) {
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar integer(long value) {
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar floating(double value) {
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar text(const char* value) {
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar decimal(const char* digits) {
    KtbReal value;
    EXPECT_TRUE(value.assign(digits)) << digits;
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar date(const char* moment) {
    KtbDate value;
    EXPECT_TRUE(value.assign(moment)) << moment;
    KtbDatavar made;
    made.assign(value);
    return made;
}

KtbDatavar null(ktbType type) {
    KtbDatavar made;
    made.setType(type);
    return made;
}

std::string writtenDouble(double value) {
    if (std::isnan(value)) return "nan";
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.17g", value);
    return digits;
}

// One line of the table; `error` where the conversion is one. Doubles are written with 17 digits, dates with their time.
struct Line {
    KtbDatavar value;
    const char* asBool;
    const char* asInt64;
    const char* asDouble;
    const char* asReal;
    const char* asDate;
    const char* asString;
};

void PrintTo(const Line& line, std::ostream* out) {
    *out << ktbTypeToString(line.value.type()) << ' ' << line.value.asString().asCstr();
}

const char* expected(const Line& line, ktbType type) {
    const char* const columns[] = {error, line.asBool, line.asInt64, line.asReal, line.asString, line.asDate, line.asDouble};
    return columns[type];
}

// The value as `type`, written as in the table, through the conversion operation; *failed tells of an error.
std::string converted(const KtbDatavar& value, ktbType type, bool* failed) {
    switch (type) {
        case ktbTypeBoolean: return value.asBool(failed) ? "true" : "false";
        case ktbTypeInteger: return std::to_string(value.asInt64(failed));
        case ktbTypeDecimal: {
            const KtbReal real = value.asReal(failed);
            EXPECT_EQ(real.isNull(), *failed);
            return real.asString().asCstr();
        }
        case ktbTypeDate: {
            const KtbDate moment = value.asDate();
            *failed = moment.isNull();
            return moment.asString(true).asCstr();
        }
        case ktbTypeDouble: return writtenDouble(value.asDouble(failed));
        default: {
            const KtbString bytes = value.asString();
            *failed = bytes.isNull();
            return bytes.asCstr();
        }
    }
}

std::string nothing(ktbType type) {
    if (type == ktbTypeBoolean) return "false";
    return type == ktbTypeInteger || type == ktbTypeDouble ? "0" : "";
}

const std::vector<ktbType> valueTypes = {ktbTypeBoolean, ktbTypeInteger, ktbTypeDecimal,
                                         ktbTypeString,  ktbTypeDate,    ktbTypeDouble};

void checkConversion(const Line& line, ktbType type) {
    bool failed = false;
    const char* wanted = expected(line, type);
    const std::string actual = converted(line.value, type, &failed);
    EXPECT_EQ(failed, wanted == error) << "as " << ktbTypeToString(type) << ": " << actual;
    EXPECT_EQ(actual, wanted == error ? nothing(type) : wanted) << "as " << ktbTypeToString(type);
}

void checkSetType(const Line& line, ktbType type) {
    KtbDatavar value(line.value);
    value.setType(type);
    EXPECT_EQ(value.type(), type);
    EXPECT_EQ(value.isNull(), expected(line, type) == error) << "set to " << ktbTypeToString(type);
    if (value.isNull() || expected(line, type) == error) return;
    bool failed = false;
    EXPECT_EQ(converted(value, type, &failed), expected(line, type)) << "set to " << ktbTypeToString(type);
    EXPECT_FALSE(failed);
}

void checkLine(const Line& line) {
    SCOPED_TRACE(testing::PrintToString(line));
    for (const ktbType type : valueTypes) {
        checkConversion(line, type);
        checkSetType(line, type);
    }
}

TEST(DatavarConversionTest, BooleansBecomeNumbersAndTextsButNoDates) {
    checkLine({boolean(true), "true", "1", "1", "1", error, "true"});
    checkLine({boolean(false), "false", "0", "0", "0", error, "false"});
}

TEST(DatavarConversionTest, IntegersBecomeWhateverCanHoldThem) {
    const Line lines[] = {
        {integer(0), "false", "0", "0", "0", "1970-01-01T00:00:00", "0"},
        {integer(1), "true", "1", "1", "1", "1970-01-01T00:00:01", "1"},
        {integer(-1), error, "-1", "-1", "-1", "1969-12-31T23:59:59", "-1"},
        {integer(2), error, "2", "2", "2", "1970-01-01T00:00:02", "2"},
        {integer(253402300799), error, "253402300799", "253402300799", "253402300799", "9999-12-31T23:59:59", "253402300799"},
        {integer(253402300800), error, "253402300800", "253402300800", "253402300800", error, "253402300800"},
        {integer(-62135596800), error, "-62135596800", "-62135596800", "-62135596800", "0001-01-01T00:00:00", "-62135596800"},
        {integer(-62135596801), error, "-62135596801", "-62135596801", "-62135596801", error, "-62135596801"},
        {integer(9007199254740993), error, "9007199254740993", "9007199254740992", "9007199254740993", error,
         "9007199254740993"},
        {integer(LONG_MAX), error, "9223372036854775807", "9.2233720368547758e+18", "9223372036854775807", error,
         "9223372036854775807"},
        {integer(LONG_MIN), error, "-9223372036854775808", "-9.2233720368547758e+18", "-9223372036854775808", error,
         "-9223372036854775808"},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, DecimalsBecomeWhateverCanHoldThem) {
    const char* nines = "99999999999999999999999999999999999999";
    const char* least = "-0.00000000000000000000000000000000000001";
    const Line lines[] = {
        {decimal("0"), "false", "0", "0", "0", "1970-01-01T00:00:00", "0"},
        {decimal("-0.00"), "false", "0", "0", "0.00", "1970-01-01T00:00:00", "0.00"},
        {decimal("1"), "true", "1", "1", "1", "1970-01-01T00:00:01", "1"},
        {decimal("1.000"), "true", "1", "1", "1.000", "1970-01-01T00:00:01", "1.000"},
        {decimal("1.001"), error, error, "1.0009999999999999", "1.001", "1970-01-01T00:00:01.001", "1.001"},
        {decimal("0.5"), error, error, "0.5", "0.5", "1970-01-01T00:00:00.5", "0.5"},
        {decimal("-12.50"), error, error, "-12.5", "-12.50", "1969-12-31T23:59:47.5", "-12.50"},
        {decimal("86400.0"), error, "86400", "86400", "86400.0", "1970-01-02T00:00:00", "86400.0"},
        {decimal("9223372036854775807"), error, "9223372036854775807", "9.2233720368547758e+18", "9223372036854775807", error,
         "9223372036854775807"},
        {decimal("9223372036854775808"), error, error, "9.2233720368547758e+18", "9223372036854775808", error,
         "9223372036854775808"},
        {decimal("-9223372036854775808.0"), error, "-9223372036854775808", "-9.2233720368547758e+18", "-9223372036854775808.0",
         error, "-9223372036854775808.0"},
        {decimal("-9223372036854775809"), error, error, "-9.2233720368547758e+18", "-9223372036854775809", error,
         "-9223372036854775809"},
        {decimal(nines), error, error, "9.9999999999999998e+37", nines, error, nines},
        {decimal(least), error, error, "-9.9999999999999996e-39", least, "1970-01-01T00:00:00", least},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, DoublesBecomeWhateverHoldsThemExactly) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Line lines[] = {
        {floating(0.0), "false", "0", "0", "0", "1970-01-01T00:00:00", "0"},
        {floating(-0.0), "false", "0", "-0", "0", "1970-01-01T00:00:00", "-0"},
        {floating(1.0), "true", "1", "1", "1", "1970-01-01T00:00:01", "1"},
        {floating(2.0), error, "2", "2", "2", "1970-01-01T00:00:02", "2"},
        {floating(0.1), error, error, "0.10000000000000001", "0.1", "1970-01-01T00:00:00.1", "0.1"},
        {floating(-1.5), error, error, "-1.5", "-1.5", "1969-12-31T23:59:58.5", "-1.5"},
        {floating(0x1p53), error, "9007199254740992", "9007199254740992", "9007199254740992", error, "9007199254740992"},
        {floating(-0x1p63), error, "-9223372036854775808", "-9.2233720368547758e+18", "-9223372036854775808", error,
         "-9223372036854775808"},
        {floating(0x1p63), error, error, "9.2233720368547758e+18", "9223372036854775808", error, "9223372036854775808"},
        {floating(1e37), error, error, "9.9999999999999995e+36", "10000000000000000000000000000000000000", error, "1e+37"},
        {floating(1e38), error, error, "9.9999999999999998e+37", error, error, "1e+38"},
        {floating(1e300), error, error, "1.0000000000000001e+300", error, error, "1e+300"},
        {floating(5e-324), error, error, "4.9406564584124654e-324", error, "1970-01-01T00:00:00", "5e-324"},
        {floating(std::nan("")), error, error, "nan", error, error, "nan"},
        {floating(-std::nan("")), error, error, "nan", error, error, "nan"},
        {floating(infinity), error, error, "inf", error, error, "inf"},
        {floating(-infinity), error, error, "-inf", error, error, "-inf"},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, DatesBecomeTheirSecondsButNoBooleans) {
    const Line lines[] = {
        {date("1970-01-01"), error, "0", "0", "0", "1970-01-01T00:00:00", "1970-01-01"},
        {date("1970-01-01T00:00:01"), error, "1", "1", "1", "1970-01-01T00:00:01", "1970-01-01T00:00:01"},
        {date("1969-12-31 23:59:58.5"), error, error, "-1.5", "-1.5", "1969-12-31T23:59:58.5", "1969-12-31T23:59:58.5"},
        {date("2024-02-29"), error, "1709164800", "1709164800", "1709164800", "2024-02-29T00:00:00", "2024-02-29"},
        {date("0001-01-01"), error, "-62135596800", "-62135596800", "-62135596800", "0001-01-01T00:00:00", "0001-01-01"},
        {date("9999-12-31T23:59:59"), error, "253402300799", "253402300799", "253402300799", "9999-12-31T23:59:59",
         "9999-12-31T23:59:59"},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, TextsBecomeBooleansWithoutBlanksInAnyLetterCase) {
    for (const char* truth : {"true", "TRUE", "tRuE", "yes", "YES"})
        checkLine({text(truth), "true", error, error, error, error, truth});
    for (const char* lie : {"false", "FALSE", "False", "no", "NO"})
        checkLine({text(lie), "false", error, error, error, error, lie});
    for (const char* other :
         {"", " ", "\t", "t", "f", "y", "n", "on", "off", "truee", "tru", " true", "true ", "yes ", " no", "ja"}) {
        checkLine({text(other), error, error, error, error, error, other});
    }
}

TEST(DatavarConversionTest, TextsThatAreIntegersBecomeEveryNumber) {
    const Line lines[] = {
        {text("1"), "true", "1", "1", "1", error, "1"},
        {text("0"), "false", "0", "0", "0", error, "0"},
        {text(" 1"), error, "1", "1", "1", error, " 1"},
        {text("1\t"), error, "1", "1", "1", error, "1\t"},
        {text(" \t-12 \t "), error, "-12", "-12", "-12", error, " \t-12 \t "},
        {text("+7"), error, "7", "7", "7", error, "+7"},
        {text("-0"), error, "0", "-0", "0", error, "-0"},
        {text("007"), error, "7", "7", "7", error, "007"},
        {text("9223372036854775807"), error, "9223372036854775807", "9.2233720368547758e+18", "9223372036854775807", error,
         "9223372036854775807"},
        {text("+9223372036854775808"), error, error, "9.2233720368547758e+18", "9223372036854775808", error,
         "+9223372036854775808"},
        {text("-9223372036854775808"), error, "-9223372036854775808", "-9.2233720368547758e+18", "-9223372036854775808", error,
         "-9223372036854775808"},
        {text("-9223372036854775809"), error, error, "-9.2233720368547758e+18", "-9223372036854775809", error,
         "-9223372036854775809"},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, TextsWithAFractionOrAnExponentAreNoIntegers) {
    const Line lines[] = {
        {text("1.0"), error, error, "1", "1.0", error, "1.0"},
        {text("1e0"), error, error, "1", "1", error, "1e0"},
        {text(" -12.50 "), error, error, "-12.5", "-12.50", error, " -12.50 "},
        {text("+.5"), error, error, "0.5", "0.5", error, "+.5"},
        {text("5."), error, error, "5", "5", error, "5."},
        {text("1.5E+2"), error, error, "150", "150", error, "1.5E+2"},
        {text("15e-1"), error, error, "1.5", "1.5", error, "15e-1"},
        {text("0.1"), error, error, "0.10000000000000001", "0.1", error, "0.1"},
        {text("1e300"), error, error, "1.0000000000000001e+300", error, error, "1e300"},
        {text("1.7976931348623157e308"), error, error, "1.7976931348623157e+308", error, error, "1.7976931348623157e308"},
        {text("5e-324"), error, error, "4.9406564584124654e-324", error, error, "5e-324"},
        {text("3e-324"), error, error, "4.9406564584124654e-324", error, error, "3e-324"},
        {text("2.2250738585072011e-308"), error, error, "2.2250738585072009e-308", error, error, "2.2250738585072011e-308"},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, TextsOutOfTheRangeOfADoubleAreErrors) {
    const std::string thousand(1000, '9'), tiny = "0." + std::string(1000, '0') + "1";
    for (const std::string& number : {std::string("1e309"), std::string("-1e309"), std::string("1.7976931348623159e308"),
                                      std::string("1e-400"), std::string("-2e-324"), std::string("1e99999999999999999999"),
                                      std::string("1e-99999999999999999999"), thousand, tiny}) {
        bool failed = false;
        EXPECT_EQ(text(number.c_str()).asDouble(&failed), 0) << number;
        EXPECT_TRUE(failed) << number;
    }
}

TEST(DatavarConversionTest, ZeroAsATextIsZeroWhateverItsExponent) {
    for (const char* zero : {"0e400", "0.000e-400", "0e99999999999999999999", "0e-99999999999999999999", ".0", "0."}) {
        bool failed = false;
        EXPECT_EQ(text(zero).asDouble(&failed), 0);
        EXPECT_FALSE(failed) << zero;
    }
}

TEST(DatavarConversionTest, NamesOfNotNumbersAreDoublesInAnyLetterCase) {
    for (const char* name : {"nan", "NaN", " NAN\t"}) checkLine({text(name), error, error, "nan", error, error, name});
    for (const char* name : {"inf", "INF", " Inf "}) checkLine({text(name), error, error, "inf", error, error, name});
    for (const char* name : {"-inf", "-INF", "\t-Inf"}) checkLine({text(name), error, error, "-inf", error, error, name});
}

TEST(DatavarConversionTest, TextsThatOnlyLookLikeNumbersAreErrors) {
    for (const char* other : {"+",        "-",         ".",          "+.",    "e",     "e5",     ".e5",  "1e",  "1e+", "1e-",
                              "1.2.3",    "1,5",       "1 2",        "- 1",   "+ 1",   "--1",    "++1",  "+-1", "-+1", "0x10",
                              "0x1p3",    "1f",        "1l",         "12abc", "abc12", "1_000",  "\n1",  "1\n", "\r1", "1\v",
                              "infinity", "-infinity", "+inf",       "+nan",  "-nan",  "nan(1)", "nan1", "in",  "na",  "- inf",
                              "inf inf",  "\xd9\xa1",  "\xc2\xa0-1", "1e1.5", "1e 5",  "1 e5"}) {
        checkLine({text(other), error, error, error, error, error, other});
    }
}

TEST(DatavarConversionTest, TextsThatAreDatesBecomeDatesAndNothingElse) {
    const Line lines[] = {
        {text("2024-02-29"), error, error, error, error, "2024-02-29T00:00:00", "2024-02-29"},
        {text(" 2024-02-29T01:02:03.25 "), error, error, error, error, "2024-02-29T01:02:03.25", " 2024-02-29T01:02:03.25 "},
        {text("2024-02-29 01:02:03"), error, error, error, error, "2024-02-29T01:02:03", "2024-02-29 01:02:03"},
        {text("2023-02-29"), error, error, error, error, error, "2023-02-29"},
        {text("0000-01-01"), error, error, error, error, error, "0000-01-01"},
        {text("10000-01-01"), error, error, error, error, error, "10000-01-01"},
    };
    for (const Line& line : lines) checkLine(line);
}

TEST(DatavarConversionTest, NullsAreErrorsOfEveryTypeButTexts) {
    for (ktbType type = ktbTypeNone; type <= ktbTypeDouble; ++type)
        checkLine({null(type), error, error, error, error, error, error});
}

TEST(DatavarConversionTest, ErrorFlagIsNeverClearedAndMayBeMissing) {
    const KtbDatavar number = integer(5), word = text("word"), none;
    bool failed = true;
    number.asInt64(&failed);
    number.asDouble(&failed);
    number.asReal(&failed);
    boolean(true).asBool(&failed);
    text("5").asInt64(&failed);
    text("true").asBool(&failed);
    EXPECT_TRUE(failed);
    for (const KtbDatavar* value : {&word, &none}) {
        EXPECT_FALSE(value->asBool(nullptr));
        EXPECT_EQ(value->asInt64(nullptr), 0);
        EXPECT_EQ(value->asDouble(nullptr), 0);
        EXPECT_TRUE(value->asReal(nullptr).isNull());
    }
}

TEST(DatavarConversionTest, SetTypeGivesNullsTheType) {
    for (ktbType from = ktbTypeNone; from <= ktbTypeDouble; ++from) {
        for (ktbType to = ktbTypeNone; to <= ktbTypeDouble; ++to) {
            KtbDatavar value = null(from);
            value.setType(to);
            EXPECT_EQ(value.type(), to);
            EXPECT_TRUE(value.isNull());
        }
    }
}

TEST(DatavarConversionTest, SetTypeToNoneMakesEveryValueNull) {
    for (KtbDatavar value : {boolean(true), integer(1), decimal("1"), text("1"), date("1970-01-01"), floating(1)}) {
        value.setType(ktbTypeNone);
        EXPECT_EQ(value.type(), ktbTypeNone);
        EXPECT_TRUE(value.isNull());
    }
}

TEST(DatavarConversionTest, UnknownTypesCountAsString) {
    for (const ktbType unknown : {-1, 7, 100, INT_MIN, INT_MAX}) {
        KtbDatavar value = integer(12), string = text("kept"), none;
        for (KtbDatavar* each : {&value, &string, &none}) {
            each->setType(unknown);
            EXPECT_EQ(each->type(), ktbTypeString);
        }
        EXPECT_STREQ(value.asString().asCstr(), "12");
        EXPECT_STREQ(string.asString().asCstr(), "kept");
        EXPECT_TRUE(none.isNull());
    }
}

TEST(DatavarConversionTest, NumberOfADateColumnBecomesADate) {
    KtbDatavar value = floating(1709164800.25);
    value.setType(ktbTypeDate);
    EXPECT_EQ(value.type(), ktbTypeDate);
    EXPECT_STREQ(value.asString().asCstr(), "2024-02-29T00:00:00.25");
    EXPECT_EQ(value.asDouble(nullptr), 1709164800.25);
}

double doubleOf(unsigned long bits) {
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

unsigned long bitsOf(double value) {
    unsigned long bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

TEST(DatavarConversionTest, RandomDoublesSurviveTheirText) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 100000; ++i) {
        const unsigned long bits = random();
        if (std::isnan(doubleOf(bits))) continue;
        KtbDatavar value = floating(doubleOf(bits));
        value.setType(ktbTypeString);
        value.setType(ktbTypeDouble);
        ASSERT_FALSE(value.isNull());
        ASSERT_EQ(bitsOf(value.asDouble(nullptr)), bits);
    }
}

bool isExactAsDouble(long number) {
    const auto rounded = static_cast<double>(number);
    return rounded < 0x1p63 && static_cast<long>(rounded) == number;
}

TEST(DatavarConversionTest, RandomIntegersSurviveTextsAndDecimalsAndDoublesWhenExact) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 100000; ++i) {
        const long number = static_cast<long>(random()) >> (random() % 64);
        for (const ktbType type : {ktbTypeString, ktbTypeDecimal, ktbTypeDouble}) {
            KtbDatavar value = integer(number);
            value.setType(type);
            bool failed = false;
            const long read = value.asInt64(&failed);
            if (type == ktbTypeDouble && !isExactAsDouble(number)) {
                ASSERT_NE(read, number);
            } else {
                ASSERT_EQ(read, number);
                ASSERT_FALSE(failed);
            }
        }
    }
}

}  // namespace
