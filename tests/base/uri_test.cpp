// The work table URI: hand-written texts, every short text, and random ones against a model that splits where the parser scans.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "ktb/worktable_uri.h"
#include "support/failing_new.h"

namespace {

struct Release {
    void operator()(KtWorkTableURI* uri) const { uri->release(); }
};
using Uri = std::unique_ptr<KtWorkTableURI, Release>;

struct Column {
    std::string name;
    ktbType type = ktbTypeNone;
    std::string source;
    bool operator==(const Column&) const = default;
};

struct Components {
    std::string scheme;
    std::string path;
    bool hasRange = false;
    long start = 0;
    long count = -1;
    std::vector<Column> columns;
    bool operator==(const Components&) const = default;
};

void PrintTo(const Components& c, std::ostream* out) {
    *out << "scheme '" << c.scheme << "' path '" << c.path << "'";
    if (c.hasRange) *out << " range " << c.start << "," << c.count;
    for (const Column& column : c.columns)
        *out << " column '" << column.name << "' " << column.type << " '" << column.source << "'";
}

std::string bytes(const KtbString& text) { return {text.asCstr(), static_cast<std::size_t>(text.cStrSize() - 1)}; }

KtbString ktb(const std::string& text) { return KtbString(text.c_str()); }

Uri parse(const std::string& text) { return Uri(getURIFromURIString(ktb(text))); }

Components takeApart(KtWorkTableURI& uri) {
    Components c;
    c.scheme = bytes(uri.getScheme());
    c.path = bytes(uri.getPath());
    c.hasRange = uri.hasRange();
    c.start = uri.getRangeStart();
    c.count = uri.getRangeCount();
    for (int i = 0; i < uri.getColumns(); ++i) {
        c.columns.push_back({bytes(uri.getColumnName(i)), uri.getColumnType(i), bytes(uri.getColumnSource(i))});
    }
    return c;
}

std::optional<Components> parsed(const std::string& text) {
    const Uri uri = parse(text);
    if (!uri) return std::nullopt;
    return takeApart(*uri);
}

Uri build(const Components& c) {
    Uri uri(c.hasRange ? getWorkTableURIFromComponents(ktb(c.path), c.start, c.count)
                       : getWorkTableURIFromComponents(ktb(c.path)));
    for (const Column& column : c.columns) {
        KtbString error;
        EXPECT_TRUE(uri->addColumn(ktb(column.name), column.type, ktb(column.source), &error));
        EXPECT_EQ(bytes(error), "");
    }
    return uri;
}

std::string written(const Components& c) { return bytes(build(c)->getURIString()); }

// The text that a parsed URI writes.
std::string rewritten(const std::string& text) {
    const Uri uri = parse(text);
    return uri ? bytes(uri->getURIString()) : "not a URI";
}

// ---- The model ----

constexpr std::string_view alphanumerics = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
const std::string unreservedChars = std::string(alphanumerics) + "-._~";
const std::string nameChars = unreservedChars + "!$'()*+,;@";
const std::string textChars = nameChars + ":=";
const std::string pathChars = textChars + "&/";

std::optional<std::string> modelDecode(const std::string& text, const std::string& raw) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            if (raw.find(text[i]) == std::string::npos) return std::nullopt;
            out += text[i];
            continue;
        }
        const std::string digits = text.substr(i + 1, 2);
        if (digits.size() != 2 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return std::nullopt;
        const int code = std::stoi(digits, nullptr, 16);
        if (code == 0) return std::nullopt;
        out += static_cast<char>(code);
        i += 2;
    }
    return out;
}

std::string modelEncode(const std::string& text) {
    std::string out;
    for (const char character : text) {
        if (unreservedChars.find(character) != std::string::npos) {
            out += character;
            continue;
        }
        std::array<char, 4> escape{};
        std::snprintf(escape.data(), escape.size(), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(character)));
        out += escape.data();
    }
    return out;
}

std::string modelWrite(const Components& c) {
    std::vector<std::string> parts;
    if (c.hasRange) parts.push_back("rows=" + std::to_string(c.start) + "," + std::to_string(c.count));
    for (const Column& column : c.columns) {
        std::string part = "col=" + modelEncode(column.name);
        if (column.type != ktbTypeNone) part += std::string(":") + ktbTypeToString(column.type) + "=";
        if (column.type == ktbTypeNone && !column.source.empty()) part += "=";
        parts.push_back(part + modelEncode(column.source));
    }
    std::string text = c.scheme + ":" + modelEncode(c.path);
    for (std::size_t i = 0; i < parts.size(); ++i) text += (i == 0 ? "?" : "&") + parts[i];
    return text;
}

bool modelNumber(const std::string& text, long* number) {
    const bool negative = text.starts_with('-');
    const std::string digits = text.substr(negative ? 1 : 0);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return false;
    const std::size_t significant = std::min(digits.find_first_not_of('0'), digits.size() - 1);
    if (digits.size() - significant > 19) return false;
    const unsigned long magnitude = std::stoul(digits.substr(significant));
    if (magnitude > static_cast<unsigned long>(LONG_MAX) + (negative ? 1 : 0)) return false;
    *number = static_cast<long>(negative ? 0 - magnitude : magnitude);
    return true;
}

bool modelRange(const std::string& body, Components* c) {
    const std::size_t comma = body.find(',');
    c->hasRange = true;
    return comma != std::string::npos && modelNumber(body.substr(0, comma), &c->start) &&
           modelNumber(body.substr(comma + 1), &c->count);
}

bool modelColumn(const std::string& body, Components* c) {
    Column column;
    const std::size_t mark = body.find_first_of(":=");
    const std::optional<std::string> name = modelDecode(body.substr(0, mark), nameChars);
    if (!name) return false;
    column.name = *name;
    if (mark != std::string::npos) {
        const std::size_t equals = body.find('=', mark);
        if (equals == std::string::npos) return false;
        if (body[mark] == ':') {
            const std::string type = body.substr(mark + 1, equals - mark - 1);
            if (!ktbTypeFromString(type.c_str(), &column.type) || column.type == ktbTypeNone) return false;
        }
        const std::optional<std::string> source = modelDecode(body.substr(equals + 1), textChars);
        if (!source) return false;
        column.source = *source;
    }
    if (column.type == ktbTypeNone && column.source == column.name) column.source.clear();
    c->columns.push_back(column);
    return true;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == separator) {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    return parts;
}

bool modelQuery(const std::string& query, Components* c) {
    const std::vector<std::string> parts = split(query, '&');
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool range = i == 0 && parts[i].starts_with("rows=");
        if (range ? !modelRange(parts[i].substr(5), c) : !parts[i].starts_with("col=") || !modelColumn(parts[i].substr(4), c)) {
            return false;
        }
    }
    return true;
}

std::optional<Components> modelParse(const std::string& text) {
    Components c;
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    c.scheme = text.substr(0, colon);
    if (alphanumerics.substr(0, 52).find(c.scheme[0]) == std::string::npos) return std::nullopt;
    if (c.scheme.find_first_not_of(std::string(alphanumerics) + "+-.") != std::string::npos) return std::nullopt;
    const std::size_t mark = text.find('?', colon);
    const std::optional<std::string> path = modelDecode(text.substr(colon + 1, mark - colon - 1), pathChars);
    if (!path) return std::nullopt;
    c.path = *path;
    if (mark != std::string::npos && !modelQuery(text.substr(mark + 1), &c)) return std::nullopt;
    return c;
}

// What must hold for any text at all.
void checkText(const std::string& text) {
    const std::optional<Components> found = parsed(text);
    ASSERT_EQ(found, modelParse(text)) << text;
    if (!found) return;
    const std::string again = rewritten(text);
    ASSERT_EQ(again, modelWrite(*found)) << text;
    ASSERT_EQ(parsed(again), found) << text;
}

// ---- Writing ----

TEST(UriTest, WritesATableWithoutRangeAndColumnsAsItsNameAlone) {
    const Uri uri(getWorkTableURIFromComponents("ktwt_Ab-1.x~"));
    EXPECT_EQ(bytes(uri->getURIString()), "ktwt:ktwt_Ab-1.x~");
    EXPECT_EQ(takeApart(*uri), (Components{"ktwt", "ktwt_Ab-1.x~", false, 0, -1, {}}));
}

TEST(UriTest, WritesARangeBeforeTheColumns) {
    EXPECT_EQ(written({"ktwt", "t", true, 5, -1, {}}), "ktwt:t?rows=5,-1");
    EXPECT_EQ(written({"ktwt", "t", true, 0, -1, {}}), "ktwt:t?rows=0,-1");
    EXPECT_EQ(written({"ktwt", "t", true, LONG_MIN, LONG_MAX, {{"a", 0, ""}}}),
              "ktwt:t?rows=-9223372036854775808,9223372036854775807&col=a");
}

TEST(UriTest, WritesColumnsInTheOrderInWhichTheyWereAdded) {
    EXPECT_EQ(written({"ktwt", "t", false, 0, -1, {{"b", 0, ""}, {"a", 0, "b"}, {"b", 0, ""}, {"c", ktbTypeInteger, "12"}}}),
              "ktwt:t?col=b&col=a=b&col=b&col=c:integer=12");
}

TEST(UriTest, WritesAConstantWithItsTypeEvenWhenItsTextIsEmptyOrItsOwnName) {
    EXPECT_EQ(written({"ktwt", "t", false, 0, -1, {{"a", ktbTypeString, ""}}}), "ktwt:t?col=a:string=");
    EXPECT_EQ(written({"ktwt", "t", false, 0, -1, {{"a", ktbTypeString, "a"}}}), "ktwt:t?col=a:string=a");
}

TEST(UriTest, WritesAStoredColumnWithItsOwnNameAsSourceAsItsNameAlone) {
    EXPECT_EQ(written({"ktwt", "t", false, 0, -1, {{"a", 0, "a"}, {"a", 0, "A"}}}), "ktwt:t?col=a&col=a=A");
}

TEST(UriTest, TakesANullSourceForAnEmptyOne) {
    const Uri uri(getWorkTableURIFromComponents("t"));
    KtbString error;
    EXPECT_TRUE(uri->addColumn("a", ktbTypeNone, KtbString(nullptr), &error));
    EXPECT_TRUE(uri->addColumn("b", ktbTypeDate, KtbString(nullptr), &error));
    EXPECT_EQ(bytes(uri->getURIString()), "ktwt:t?col=a&col=b:date=");
    EXPECT_FALSE(uri->getColumnSource(0).isNull());
    EXPECT_FALSE(uri->getColumnSource(1).isNull());
}

TEST(UriTest, WritesEveryTypeByItsName) {
    for (ktbType type = ktbTypeBoolean; type <= ktbTypeDouble; ++type) {
        EXPECT_EQ(written({"ktwt", "t", false, 0, -1, {{"a", type, "x"}}}),
                  std::string("ktwt:t?col=a:") + ktbTypeToString(type) + "=x");
    }
}

TEST(UriTest, TakesAnUnknownTypeForAString) {
    for (const ktbType type : {-1, 7, INT_MAX, INT_MIN}) {
        const Uri uri = build({"ktwt", "t", false, 0, -1, {{"a", type, "x"}}});
        EXPECT_EQ(uri->getColumnType(0), ktbTypeString);
        EXPECT_EQ(bytes(uri->getURIString()), "ktwt:t?col=a:string=x");
    }
}

TEST(UriTest, EncodesEverythingButUnreservedCharactersInUpperCase) {
    EXPECT_EQ(written({"ktwt", "a/b c%\xC3\xBC?", false, 0, -1, {{"x:=&", 0, "\x01\xFF"}}}),
              "ktwt:a%2Fb%20c%25%C3%BC%3F?col=x%3A%3D%26=%01%FF");
}

TEST(UriTest, EveryByteSurvivesWritingAndParsingInEveryPlace) {
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        const Components c{"ktwt", text, true, 1, 2, {{text, 0, text + text}, {text, ktbTypeString, text}}};
        EXPECT_EQ(written(c), modelWrite(c));
        EXPECT_EQ(parsed(written(c)), c) << byte;
    }
}

TEST(UriTest, ANullNameMakesNoUri) {
    EXPECT_EQ(getWorkTableURIFromComponents(KtbString(nullptr)), nullptr);
    EXPECT_EQ(getWorkTableURIFromComponents(KtbString(nullptr), 0, 1), nullptr);
}

TEST(UriTest, AColumnWithoutANameIsRefusedAndNothingIsAdded) {
    const Uri uri = build({"ktwt", "t", false, 0, -1, {{"a", 0, "b"}}});
    KtbString error;
    EXPECT_FALSE(uri->addColumn(KtbString(nullptr), ktbTypeNone, "x", &error));
    EXPECT_EQ(bytes(error), "A column of a work table URI must have a name.");
    EXPECT_EQ(uri->getColumns(), 1);
    EXPECT_EQ(bytes(uri->getURIString()), "ktwt:t?col=a=b");
}

TEST(UriTest, ColumnsOutOfRangeAreNullWithoutType) {
    const Uri uri = build({"ktwt", "t", false, 0, -1, {{"a", ktbTypeDouble, "b"}}});
    for (const int column : {-1, 1, INT_MAX, INT_MIN}) {
        EXPECT_TRUE(uri->getColumnName(column).isNull());
        EXPECT_TRUE(uri->getColumnSource(column).isNull());
        EXPECT_EQ(uri->getColumnType(column), ktbTypeNone);
    }
}

TEST(UriTest, TextsGivenOutOutliveTheUri) {
    Uri uri = build({"ktwt", "t", false, 0, -1, {{"a name too long to be kept inside a string", 0, "b"}}});
    const KtbString name = uri->getColumnName(0);
    uri.reset();
    EXPECT_EQ(bytes(name), "a name too long to be kept inside a string");
}

// ---- Parsing ----

TEST(UriTest, ParsesAllForms) {
    EXPECT_EQ(parsed("ktwt:t"), (Components{"ktwt", "t", false, 0, -1, {}}));
    EXPECT_EQ(parsed("ktwt:"), (Components{"ktwt", "", false, 0, -1, {}}));
    EXPECT_EQ(parsed("ktwt:t?rows=5,-1"), (Components{"ktwt", "t", true, 5, -1, {}}));
    EXPECT_EQ(parsed("ktwt:t?col=a&col=b=c&col=d:integer=12&col=e:4="),
              (Components{"ktwt", "t", false, 0, -1, {{"a", 0, ""}, {"b", 0, "c"}, {"d", 2, "12"}, {"e", 4, ""}}}));
    EXPECT_EQ(parsed("ktwt:t?rows=0,0&col="), (Components{"ktwt", "t", true, 0, 0, {{"", 0, ""}}}));
    EXPECT_EQ(parsed("ktwt:t?col==x"), (Components{"ktwt", "t", false, 0, -1, {{"", 0, "x"}}}));
}

TEST(UriTest, AnEmptySourceAndTheOwnNameAreAPlainStoredColumn) {
    EXPECT_EQ(parsed("ktwt:t?col=a="), parsed("ktwt:t?col=a"));
    EXPECT_EQ(parsed("ktwt:t?col=a=a"), parsed("ktwt:t?col=a"));
    EXPECT_EQ(parsed("ktwt:t?col=a=%61"), parsed("ktwt:t?col=a"));
}

TEST(UriTest, ParsesOtherSchemesAndKeepsThemAsWritten) {
    EXPECT_EQ(parsed("KTWT:t"), (Components{"KTWT", "t", false, 0, -1, {}}));
    EXPECT_EQ(parsed("file:///a/b"), (Components{"file", "///a/b", false, 0, -1, {}}));
    EXPECT_EQ(parsed("a+1-b.c:x"), (Components{"a+1-b.c", "x", false, 0, -1, {}}));
    EXPECT_EQ(rewritten("Other:t?col=a"), "Other:t?col=a");
}

TEST(UriTest, RefusesTextsWithoutASchemeOfLettersDigitsPlusMinusAndPoint) {
    for (const char* text : {"", "t", ":", ":t", "1a:t", "-a:t", "+a:t", ".a:t", "a b:t", "a_b:t", "a%41:t", "a/b:t", " a:t",
                             "?:t", "k\xC3\xBC:t", "ktwt", "ktwt?rows=1,2"}) {
        EXPECT_EQ(parsed(text), std::nullopt) << text;
    }
    EXPECT_EQ(getURIFromURIString(KtbString(nullptr)), nullptr);
}

TEST(UriTest, RefusesBrokenEscapesAndEncodedNuls) {
    for (const char* escape : {"%", "%4", "%g1", "%1g", "%%41", "%00", "% 1", "%-1", "%4\xC3"}) {
        EXPECT_EQ(parsed(std::string("ktwt:") + escape), std::nullopt) << escape;
        EXPECT_EQ(parsed(std::string("ktwt:t?col=") + escape), std::nullopt) << escape;
        EXPECT_EQ(parsed(std::string("ktwt:t?col=a=") + escape), std::nullopt) << escape;
        EXPECT_EQ(parsed(std::string("ktwt:t?col=a:string=") + escape + "&col=b"), std::nullopt) << escape;
    }
}

TEST(UriTest, ReadsEscapesOfEitherLetterCase) {
    EXPECT_EQ(rewritten("ktwt:%2f%2F%aB?col=%c3%BC=%41"), "ktwt:%2F%2F%AB?col=%C3%BC=A");
    for (int byte = 1; byte < 256; ++byte) {
        const std::string escape = modelEncode("\xFF" + std::string(1, static_cast<char>(byte)));
        EXPECT_EQ(parsed("ktwt:" + escape)->path, "\xFF" + std::string(1, static_cast<char>(byte)));
    }
}

TEST(UriTest, TakesOfEveryByteOnlyThoseThatMayStandUnencoded) {
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '%') continue;
        const std::string character(1, static_cast<char>(byte));
        const auto in = [&](const std::string& set) { return set.find(character) != std::string::npos; };
        EXPECT_EQ(parsed("ktwt:n" + character + "n").has_value(), in(pathChars)) << byte;
        EXPECT_EQ(parsed("ktwt:n?col=n" + character + "n=").has_value(), in(nameChars) || character == "=") << byte;
        EXPECT_EQ(parsed("ktwt:n?col=n=" + character + "n").has_value(), in(textChars)) << byte;
        EXPECT_EQ(parsed("ktwt:n?col=n:date=n" + character).has_value(), in(textChars)) << byte;
        EXPECT_EQ(parsed("ktwt:n?rows=1,2" + character).has_value(), byte >= '0' && byte <= '9') << byte;
    }
}

TEST(UriTest, RefusesQueriesThatDoNotFollowTheForm) {
    for (const char* query : {"",
                              "&",
                              "rows",
                              "col",
                              "x=1",
                              "ROWS=1,2",
                              "COL=a",
                              "row=1,2",
                              "rows=1,2&",
                              "rows=1,2&&col=a",
                              "rows=1,2col=a",
                              "&rows=1,2",
                              "&col=a",
                              "col=a&",
                              "col=a&&col=b",
                              "col=a&rows=1,2",
                              "rows=1,2&rows=1,2",
                              "col=a?",
                              "col=a?rows=1,2",
                              "rows%3D1,2",
                              "col%3Da",
                              "%63ol=a",
                              "col=a#",
                              "col=a;b&x",
                              "#"}) {
        EXPECT_EQ(parsed(std::string("ktwt:t?") + query), std::nullopt) << query;
    }
}

TEST(UriTest, RefusesFragments) {
    for (const char* text : {"ktwt:t#", "ktwt:t#f", "ktwt:#", "ktwt:t?rows=1,2#f", "ktwt:t?col=a#f", "ktwt:t?col=a=#f"}) {
        EXPECT_EQ(parsed(text), std::nullopt) << text;
    }
}

TEST(UriTest, ReadsNumbersOfARangeUpToTheirLimits) {
    EXPECT_EQ(parsed("ktwt:t?rows=-9223372036854775808,9223372036854775807"),
              (Components{"ktwt", "t", true, LONG_MIN, LONG_MAX, {}}));
    EXPECT_EQ(parsed("ktwt:t?rows=-7,-0"), (Components{"ktwt", "t", true, -7, 0, {}}));
    EXPECT_EQ(rewritten("ktwt:t?rows=007,0000000000000000000000001"), "ktwt:t?rows=7,1");
}

TEST(UriTest, RefusesRangesThatAreNotTwoNumbersOf64Bits) {
    for (const char* range : {"",
                              ",",
                              "1",
                              "1,",
                              ",1",
                              "1,2,3",
                              "1,2,",
                              " 1,2",
                              "1, 2",
                              "+1,2",
                              "1,+2",
                              "--1,2",
                              "-,2",
                              "1,-",
                              "1;2",
                              "0x1,2",
                              "1e3,2",
                              "1.5,2",
                              "9223372036854775808,0",
                              "0,9223372036854775808",
                              "-9223372036854775809,0",
                              "0,-9223372036854775809",
                              "99999999999999999999999999,0",
                              "%31,2",
                              "1%2C2"}) {
        EXPECT_EQ(parsed(std::string("ktwt:t?rows=") + range), std::nullopt) << range;
        EXPECT_EQ(parsed(std::string("ktwt:t?rows=") + range + "&col=a"), std::nullopt) << range;
    }
}

TEST(UriTest, ReadsTypesByNameInAnyLetterCaseAndByNumber) {
    for (ktbType type = ktbTypeBoolean; type <= ktbTypeDouble; ++type) {
        std::string name = ktbTypeToString(type);
        const Components expected{"ktwt", "t", false, 0, -1, {{"a", type, "x"}}};
        EXPECT_EQ(parsed("ktwt:t?col=a:" + name + "=x"), expected);
        EXPECT_EQ(parsed("ktwt:t?col=a:" + std::to_string(type) + "=x"), expected);
        name[0] = static_cast<char>(name[0] - 'a' + 'A');
        EXPECT_EQ(parsed("ktwt:t?col=a:" + name + "=x"), expected);
    }
}

TEST(UriTest, RefusesConstantsWithoutAKnownTypeOrWithoutTheirEqualsSign) {
    for (const char* column : {"a:", "a:=", "a:=x", "a:integer", "a:integer&col=b=c", "a:0=x", "a:none=x", "a:7=x", "a:-1=x",
                               "a:int=x", "a:integer =x", "a: integer=x", "a:%34=x", "a:integer:x=y", "a::integer=x", "a:2:3=x",
                               "a:integers=x", "a:a-type-name-that-is-too-long-to-be-kept-inside=x"}) {
        EXPECT_EQ(parsed(std::string("ktwt:t?col=") + column), std::nullopt) << column;
    }
}

TEST(UriTest, TheFirstMarkEndsTheNameAndLaterOnesBelongToTheText) {
    EXPECT_EQ(parsed("ktwt:t?col=a=b:c=d"), (Components{"ktwt", "t", false, 0, -1, {{"a", 0, "b:c=d"}}}));
    EXPECT_EQ(parsed("ktwt:t?col=a:5==:"), (Components{"ktwt", "t", false, 0, -1, {{"a", 5, "=:"}}}));
    EXPECT_EQ(parsed("ktwt:t?col=a%3A5=b"), (Components{"ktwt", "t", false, 0, -1, {{"a:5", 0, "b"}}}));
}

TEST(UriTest, ParsesWhatAPlusSignIsAsAPlusSign) {
    EXPECT_EQ(parsed("ktwt:a+b?col=c+d=e+f"), (Components{"ktwt", "a+b", false, 0, -1, {{"c+d", 0, "e+f"}}}));
}

TEST(UriTest, ColumnsCanBeAddedToAParsedUri) {
    const Uri uri = parse("ktwt:t?rows=1,2&col=a");
    KtbString error;
    EXPECT_TRUE(uri->addColumn("b", ktbTypeBoolean, "true", &error));
    EXPECT_EQ(bytes(uri->getURIString()), "ktwt:t?rows=1,2&col=a&col=b:boolean=true");
}

TEST(UriTest, HoldsLongTextsAndManyColumns) {
    Components c{"ktwt", std::string(1000000, ' '), false, 0, -1, {}};
    for (int i = 0; i < 20000; ++i)
        c.columns.push_back({std::to_string(i), i % 7, std::string(static_cast<std::size_t>(i % 40), '/')});
    EXPECT_EQ(parsed(written(c)), c);
}

// ---- Every short text ----

void checkAllSequences(const std::string& text, int pieces) {
    static const std::vector<std::string> alphabet = {
        "k", ":", "?", "&", "=", "rows=", "col=", "1", ",", "-", "%41", "%0", "/", "integer"};
    checkText(text);
    if (pieces == 0 || testing::Test::HasFatalFailure()) return;
    for (const std::string& piece : alphabet) checkAllSequences(text + piece, pieces - 1);
}

TEST(UriTest, EveryShortTextParsesAsTheModelSays) {
    for (const char* prefix : {"", "k:n?", "k:n?col=", "k:n?rows=", "k:n?rows=1,1"}) checkAllSequences(prefix, 4);
}

TEST(UriTest, EveryTextOfTwoBytesParsesAsTheModelSaysInEveryPlace) {
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second) {
            const std::string two = {static_cast<char>(first), static_cast<char>(second)};
            checkText("k:" + two);
            checkText("k:?col=" + two);
            if (HasFatalFailure()) return;
        }
    }
}

// ---- Random texts ----

class RandomUriTest : public testing::TestWithParam<unsigned> {
protected:
    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

    std::string anyBytes(int sizeMax) {
        std::string text;
        for (int left = below(sizeMax + 1); left > 0; --left) text += static_cast<char>(1 + below(255));
        return text;
    }

    // Bytes, letters or UTF-8; the latter cut at any byte.
    std::string anyText() {
        switch (below(3)) {
            case 0:
                return anyBytes(40);
            case 1:
                return std::string(static_cast<std::size_t>(below(40)), static_cast<char>('a' + below(26)));
            default:
                return std::string("\xC3\xA4-\xE2\x82\xAC-\xF0\x9F\x98\x80 &=:%?")
                    .substr(0, static_cast<std::size_t>(below(20)));
        }
    }

    long anyNumber() {
        const std::uint64_t bits = (std::uint64_t{random_()} << 32 | random_()) >> below(64);
        return static_cast<long>(below(2) == 0 ? bits : ~bits);
    }

    Components anyComponents() {
        Components c{"ktwt", anyText(), below(2) == 0, 0, -1, {}};
        if (c.hasRange) c.start = anyNumber();
        if (c.hasRange) c.count = anyNumber();
        for (int left = below(12); left > 0; --left) {
            Column column{anyText(), below(7), anyText()};
            if (column.type == ktbTypeNone && column.source == column.name) column.source.clear();
            c.columns.push_back(column);
        }
        return c;
    }

    std::string mutated(std::string text) {
        static const std::string likely = ":?&=,-%0041rowscol/+# ";
        for (int left = 1 + below(3); left > 0; --left) {
            const std::size_t at = static_cast<std::size_t>(below(static_cast<int>(text.size()) + 1));
            const char character = below(4) != 0 ? likely[static_cast<std::size_t>(below(static_cast<int>(likely.size())))]
                                                 : static_cast<char>(1 + below(255));
            switch (below(4)) {
                case 0:
                    text.insert(at, 1, character);
                    break;
                case 1:
                    text.erase(at, 1);
                    break;
                case 2:
                    if (at < text.size()) text[at] = character;
                    break;
                default:
                    text.insert(at, text.substr(static_cast<std::size_t>(below(static_cast<int>(text.size()) + 1)), 8));
            }
        }
        return text;
    }

    std::mt19937 random_{GetParam()};
};

TEST_P(RandomUriTest, WhatIsWrittenParsesToTheSameComponentsAndTheSameText) {
    for (int round = 0; round < 1000; ++round) {
        const Components c = anyComponents();
        const std::string text = written(c);
        ASSERT_EQ(text, modelWrite(c)) << "seed " << GetParam();
        ASSERT_EQ(parsed(text), c) << "seed " << GetParam() << ": " << text;
        ASSERT_EQ(rewritten(text), text) << "seed " << GetParam();
    }
}

TEST_P(RandomUriTest, ADamagedTextParsesAsTheModelSays) {
    int accepted = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string text = mutated(modelWrite(anyComponents()));
        checkText(text);
        if (HasFatalFailure()) FAIL() << "seed " << GetParam();
        accepted += parsed(text).has_value() ? 1 : 0;
    }
    EXPECT_GT(accepted, 300);
    EXPECT_LT(accepted, 2700);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomUriTest, testing::Values(1U, 2U, 3U, 20260101U));

// ---- Memory ----

const std::string longName = "a name of more bytes than a string keeps inside";
const std::string longSource = "a source of more bytes than a string keeps inside";

Components manyColumns() {
    Components c{"ktwt", longName, true, 1, 2, {}};
    for (int i = 0; i < 20; ++i) c.columns.push_back({longName + std::to_string(i), i % 7, longSource});
    return c;
}

TEST(UriMemoryTest, AUriThatCannotBeMadeIsNull) {
    const KtbString name = ktb(longName);
    const auto check = [&](const std::function<KtWorkTableURI*()>& make) {
        const Uri uri(make());
        EXPECT_EQ(uri == nullptr, failing_new::stop());
    };
    EXPECT_GE(failing_new::forEachFailure([&] { check([&] { return getWorkTableURIFromComponents(name); }); }), 2);
    EXPECT_GE(failing_new::forEachFailure([&] { check([&] { return getWorkTableURIFromComponents(name, 3, 4); }); }), 2);
}

TEST(UriMemoryTest, ATextThatCannotBeParsedForLackOfMemoryIsNull) {
    const KtbString text = ktb("a-scheme-of-more-bytes-than-a-string-keeps-inside" + written(manyColumns()).substr(4));
    const long failures = failing_new::forEachFailure([&] {
        const Uri uri(getURIFromURIString(text));
        EXPECT_EQ(uri == nullptr, failing_new::stop());
    });
    EXPECT_GT(failures, 40);
}

TEST(UriMemoryTest, ATextThatCannotBeWrittenIsNull) {
    const Components c = manyColumns();
    const Uri uri = build(c);
    const long failures = failing_new::forEachFailure([&] {
        const KtbString text = uri->getURIString();
        EXPECT_EQ(text.isNull(), failing_new::stop());
    });
    EXPECT_GE(failures, 3);
    EXPECT_EQ(takeApart(*uri), c);
}

TEST(UriMemoryTest, AColumnThatCannotBeAddedLeavesTheUriAsItWas) {
    const KtbString name = ktb(longName);
    const KtbString source = ktb(longSource);
    long failures = 0;
    for (int columns = 0; columns < 20; ++columns) {
        Components c = manyColumns();
        c.columns.resize(static_cast<std::size_t>(columns));
        bool failed = true;
        for (long n = 0; failed; ++n) {
            const Uri uri = build(c);
            KtbString error;
            failing_new::failAt(n);
            const bool added = uri->addColumn(name, ktbTypeString, source, &error);
            failed = failing_new::stop();
            failures += failed ? 1 : 0;
            ASSERT_EQ(added, !failed);
            EXPECT_EQ(bytes(error), failed ? "There is no memory for a column of a work table URI." : "");
            Components expected = c;
            if (added) expected.columns.push_back({longName, ktbTypeString, longSource});
            EXPECT_EQ(takeApart(*uri), expected);
        }
    }
    EXPECT_GE(failures, 20 * 2);
}

TEST(UriMemoryTest, AddingColumnsAllocatesLessAndLessOften) {
    const Uri uri(getWorkTableURIFromComponents("t"));
    KtbString error;
    failing_new::failAt(-1);
    for (int i = 0; i < 100000; ++i) ASSERT_TRUE(uri->addColumn("short", ktbTypeNone, "also short", &error));
    EXPECT_LE(failing_new::made, 20);
}

// ---- The binary interface ----

template <class Result, class... Arguments>
Result callSlot(KtWorkTableURI* uri, int slot, Arguments... arguments) {
    using Operation = Result (*)(KtWorkTableURI*, Arguments...);
    void** const table = *reinterpret_cast<void***>(uri);
    return reinterpret_cast<Operation>(table[slot - 1])(uri, arguments...);
}

TEST(UriSlotTest, TheOperationsStandInTheirSlots) {
    KtWorkTableURI* const uri = parse("Other:name?rows=5,6&col=a:integer=12").release();
    EXPECT_EQ(bytes(callSlot<KtbString>(uri, 2)), "Other");
    EXPECT_EQ(bytes(callSlot<KtbString>(uri, 3)), "name");
    EXPECT_TRUE(callSlot<bool>(uri, 4));
    EXPECT_EQ(callSlot<long>(uri, 5), 5);
    EXPECT_EQ(callSlot<long>(uri, 6), 6);
    EXPECT_EQ(bytes(callSlot<KtbString>(uri, 7)), "Other:name?rows=5,6&col=a:integer=12");
    EXPECT_EQ(callSlot<int>(uri, 8), 1);
    EXPECT_EQ(bytes(callSlot<KtbString>(uri, 9, 0)), "a");
    EXPECT_EQ(bytes(callSlot<KtbString>(uri, 10, 0)), "12");
    EXPECT_EQ(callSlot<ktbType>(uri, 11, 0), ktbTypeInteger);
    const KtbString name("b");
    const KtbString source("c");
    KtbString error;
    EXPECT_TRUE((
        callSlot<bool, const KtbString*, ktbType, const KtbString*, KtbString*>(uri, 12, &name, ktbTypeNone, &source, &error)));
    EXPECT_EQ(bytes(uri->getURIString()), "Other:name?rows=5,6&col=a:integer=12&col=b=c");
    callSlot<void>(uri, 1);  // a leak checker tells when this did not end the object
}

}  // namespace
