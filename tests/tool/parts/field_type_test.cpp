// What type a column of fields gets, and what value a field becomes.
//
// The model is the library itself: a type keeps a text if the value that the text converts to is written as that text.
#include "field_type.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr ktbType allTypes[] = {ktbTypeInteger, ktbTypeDecimal, ktbTypeDate, ktbTypeBoolean, ktbTypeString};

KtbDatavar converted(ktbType type, const std::string& text) {
    KtbDatavar value;
    value.assign(text.c_str());
    value.setType(type);
    return value;
}

bool isKept(ktbType type, const std::string& text) {
    const KtbDatavar value = converted(type, text);
    return !value.isNull() && value.asString().asCstr() == text;
}

ktbType modelOf(const std::vector<std::string>& column) {
    for (const ktbType type : allTypes) {
        bool all = true;
        for (const std::string& text : column) all = all && isKept(type, text);
        if (all) return type;
    }
    return ktbTypeNone;
}

ktbType typeOf(const std::vector<std::string>& column) {
    ktbType type = ktbTypeNone;
    for (const std::string& text : column) type = narrowestType(type, text.c_str(), text.size());
    return type;
}

// That the text is taken by the types that keep it and by no other, as the value that the library makes of it.
void expectLikeModel(const std::string& text) {
    ASSERT_EQ(typeOf({text}), modelOf({text})) << text;
    for (const ktbType type : allTypes) {
        KtbDatavar value;
        ASSERT_EQ(valueOf(type, text.c_str(), text.size(), &value), isKept(type, text)) << text << " as " << type;
        if (!isKept(type, text)) continue;
        ASSERT_EQ(value.type(), type) << text;
        ASSERT_STREQ(value.asString().asCstr(), text.c_str()) << text;
    }
}

TEST(FieldTypeTest, FindsTheTypeThatWritesTheTextAsItIs) {
    const struct {
        const char* text;
        ktbType type;
    } cases[] = {
        {"0", ktbTypeInteger},
        {"-1", ktbTypeInteger},
        {"9223372036854775807", ktbTypeInteger},
        {"-9223372036854775808", ktbTypeInteger},
        {"9223372036854775808", ktbTypeDecimal},
        {"-9223372036854775809", ktbTypeDecimal},
        {"99999999999999999999999999999999999999", ktbTypeDecimal},
        {"100000000000000000000000000000000000000", ktbTypeString},
        {"0.00000000000000000000000000000000000001", ktbTypeDecimal},
        {"0.000000000000000000000000000000000000001", ktbTypeString},
        {"12.50", ktbTypeDecimal},
        {"-0.10", ktbTypeDecimal},
        {"0.0", ktbTypeDecimal},
        {"007", ktbTypeString},
        {"00", ktbTypeString},
        {"01.5", ktbTypeString},
        {"-0", ktbTypeString},
        {"-0.00", ktbTypeString},
        {"+1", ktbTypeString},
        {"1.", ktbTypeString},
        {".5", ktbTypeString},
        {"-.5", ktbTypeString},
        {"-", ktbTypeString},
        {"1e3", ktbTypeString},
        {" 1", ktbTypeString},
        {"1 ", ktbTypeString},
        {"1,000", ktbTypeString},
        {"0x10", ktbTypeString},
        {"nan", ktbTypeString},
        {"true", ktbTypeBoolean},
        {"false", ktbTypeBoolean},
        {"True", ktbTypeString},
        {"yes", ktbTypeString},
        {"2024-02-29", ktbTypeDate},
        {"2023-02-29", ktbTypeString},
        {"2024-2-9", ktbTypeString},
        {"2024-01-01T10:20:30", ktbTypeDate},
        {"2024-01-01T10:20:30.5", ktbTypeDate},
        {"2024-01-01T10:20:30.50", ktbTypeString},
        {"2024-01-01T10:20:30.0", ktbTypeString},
        {"2024-01-01T10:20:30.123456", ktbTypeDate},
        {"2024-01-01T10:20:30.1234567", ktbTypeString},
        {"2024-01-01 10:20:30", ktbTypeString},
        {"2024-01-01T00:00:00", ktbTypeString},
        {"2024-01-01T10:20", ktbTypeString},
        {"2024-01-01T10:20:60", ktbTypeString},
        {" 2024-01-01", ktbTypeString},
        {"0001-01-01", ktbTypeDate},
        {"0000-01-01", ktbTypeString},
        {"9999-12-31T23:59:59", ktbTypeDate},
        {"\xff", ktbTypeString},
    };
    for (const auto& c : cases) EXPECT_EQ(typeOf({c.text}), c.type) << c.text;
}

TEST(FieldTypeTest, WidensAsLittleAsTheColumnAllows) {
    EXPECT_EQ(typeOf({}), ktbTypeNone);
    EXPECT_EQ(typeOf({"1", "2.5"}), ktbTypeDecimal);
    EXPECT_EQ(typeOf({"2.5", "1"}), ktbTypeDecimal);
    EXPECT_EQ(typeOf({"1", "9223372036854775808", "2"}), ktbTypeDecimal);
    EXPECT_EQ(typeOf({"1", "2", "03"}), ktbTypeString);
    EXPECT_EQ(typeOf({"1", "true"}), ktbTypeString);
    EXPECT_EQ(typeOf({"true", "1"}), ktbTypeString);
    EXPECT_EQ(typeOf({"2024-01-01", "2024-01-01T10:00:00"}), ktbTypeDate);
    EXPECT_EQ(typeOf({"2024-01-01", "2024"}), ktbTypeString);
    EXPECT_EQ(typeOf({"x", "1"}), ktbTypeString);
}

TEST(FieldTypeTest, ConvertsWhatIsWrittenOtherwiseWhenTheTypeIsGiven) {
    KtbDatavar value;
    ASSERT_TRUE(convertedValue(ktbTypeInteger, " 007", 4, &value));
    EXPECT_EQ(value.asInt64(nullptr), 7);
    ASSERT_TRUE(convertedValue(ktbTypeDecimal, "1e3", 3, &value));
    EXPECT_STREQ(value.asString().asCstr(), "1000");
    ASSERT_TRUE(convertedValue(ktbTypeBoolean, "Yes", 3, &value));
    EXPECT_TRUE(value.asBool(nullptr));
    ASSERT_TRUE(convertedValue(ktbTypeDate, "2024-01-01 00:00:00", 19, &value));
    EXPECT_STREQ(value.asString().asCstr(), "2024-01-01");
    EXPECT_FALSE(convertedValue(ktbTypeInteger, "7.5", 3, &value));
    EXPECT_FALSE(convertedValue(ktbTypeInteger, "", 0, &value));
    EXPECT_FALSE(convertedValue(ktbTypeDate, "2024-13-01", 10, &value));
}

TEST(FieldTypeTest, KeepsTheTextsOfDoubles) {
    for (const std::string text : {"1.50", "0.1234567890123456789", "1e5", "100000", " 7 ", "-inf"}) {
        KtbDatavar value;
        ASSERT_TRUE(convertedValue(ktbTypeDouble, text.c_str(), text.size(), &value)) << text;
        EXPECT_STREQ(value.asString().asCstr(), text.c_str());
    }
    KtbDatavar value;
    EXPECT_FALSE(convertedValue(ktbTypeDouble, "1.5x", 4, &value));
    EXPECT_FALSE(convertedValue(ktbTypeDouble, "1e999", 5, &value));
}

// Calls `visit` with every text of 1 to `size` of the characters.
template <class Visit>
void forEachText(const std::string& characters, std::size_t size, const std::string& begun, Visit visit) {
    if (!begun.empty()) visit(begun);
    if (begun.size() == size) return;
    for (const char next : characters) forEachText(characters, size, begun + next, visit);
}

TEST(FieldTypeTest, AgreesWithTheLibraryAboutEveryShortText) { forEachText("019-.+e ", 4, "", expectLikeModel); }

TEST(FieldTypeTest, AgreesWithTheLibraryAboutEveryChangeOfOneOrTwoBytes) {
    const std::string changes = "019-.: TZe\xc3";
    for (const std::string text : {"2024-02-29T10:20:30.25", "1999-12-31", "-12345.67890", "9223372036854775807", "false"}) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            for (const char change : changes) {
                std::string changed = text;
                changed[i] = change;
                expectLikeModel(changed);
                expectLikeModel(changed.substr(0, i + 1));
                changed.insert(i, 1, change);
                expectLikeModel(changed);
            }
        }
    }
}

class RandomFields {
public:
    explicit RandomFields(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t end) { return random_() % end; }

    std::string digits(std::size_t count) {
        std::string text;
        for (; count != 0; --count) text += static_cast<char>('0' + below(below(3) == 0 ? 2 : 10));
        return text;
    }

    std::string number() {
        std::string text = below(3) == 0 ? "-" : "";
        text += digits(1 + below(below(2) == 0 ? 40 : 4));
        if (below(2) == 0) text += "." + digits(below(40));
        return text;
    }

    std::string date() {
        char text[40];
        const auto number = [this](std::size_t end) { return static_cast<int>(below(end)); };
        std::snprintf(text, sizeof text, "%04d-%02d-%02d", number(10000), number(14), number(33));
        std::string result = text;
        if (below(4) == 0) return result;
        std::snprintf(text, sizeof text, "T%02d:%02d:%02d", number(25), number(61), number(61));
        result += text;
        return below(2) == 0 ? result : result + "." + digits(1 + below(7));
    }

    std::string field() {
        switch (below(8)) {
            case 0: return date();
            case 1: return below(2) == 0 ? "true" : "false";
            case 2: return std::to_string(below(100));
            default: return number();
        }
    }

private:
    std::mt19937 random_;
};

TEST(FieldTypeTest, AgreesWithTheLibraryAboutRandomFields) {
    constexpr unsigned seed = 61;
    SCOPED_TRACE(seed);
    RandomFields fields(seed);
    for (int i = 0; i < 30000 && !HasFatalFailure(); ++i) expectLikeModel(i % 2 == 0 ? fields.number() : fields.date());
}

TEST(FieldTypeTest, AgreesWithTheLibraryAboutRandomColumns) {
    constexpr unsigned seed = 62;
    RandomFields fields(seed);
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::string> column(1 + fields.below(4));
        for (std::string& text : column) text = fields.field();
        ASSERT_EQ(typeOf(column), modelOf(column)) << column[0] << ", ..., " << column.back() << ", seed " << seed;
    }
}

}  // namespace
