#include "ktb/type.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

constexpr struct {
    ktbType type;
    const char* name;
} types[] = {{0, "none"}, {1, "boolean"}, {2, "integer"}, {3, "decimal"}, {4, "string"}, {5, "date"}, {6, "double"}};

bool isNoType(const char* name) {
    ktbType type = 77;
    return !ktbTypeFromString(name, &type) && type == 77;
}

TEST(TypeTest, CodesAndNamesAreFixed) {
    EXPECT_EQ(ktbTypeNone, 0);
    EXPECT_EQ(ktbTypeBoolean, 1);
    EXPECT_EQ(ktbTypeInteger, 2);
    EXPECT_EQ(ktbTypeDecimal, 3);
    EXPECT_EQ(ktbTypeString, 4);
    EXPECT_EQ(ktbTypeDate, 5);
    EXPECT_EQ(ktbTypeDouble, 6);
    for (const auto& expected : types) EXPECT_STREQ(ktbTypeToString(expected.type), expected.name);
}

TEST(TypeTest, UnknownCodesAreStrings) {
    for (const ktbType type : {-1, 7, 100, INT_MIN, INT_MAX}) EXPECT_STREQ(ktbTypeToString(type), "string");
}

TEST(TypeTest, NamesAreFoundInAnyLetterCase) {
    for (const auto& expected : types) {
        ktbType type = 77;
        EXPECT_TRUE(ktbTypeFromString(expected.name, &type));
        EXPECT_EQ(type, expected.type);
    }
    ktbType type = 77;
    EXPECT_TRUE(ktbTypeFromString("DeciMAL", &type));
    EXPECT_EQ(type, ktbTypeDecimal);
}

TEST(TypeTest, NumbersAreFound) {
    for (const auto& expected : types) {
        const char number[] = {static_cast<char>('0' + expected.type), 0};
        ktbType type = 77;
        EXPECT_TRUE(ktbTypeFromString(number, &type));
        EXPECT_EQ(type, expected.type);
    }
}

TEST(TypeTest, OtherTextsAreNoTypes) {
    for (const char* name :
         {"", "7", "9", "-1", "+1", "10", "01", "/", ":", " 1", "1 ", "bool", "strings", "strin", " date", "int"}) {
        EXPECT_TRUE(isNoType(name)) << name;
    }
    EXPECT_TRUE(isNoType(nullptr));
}

}  // namespace
