// KtbString: its states, its memory, assigning, appending, comparing, formatting.
#include "ktb/string.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/failing_new.h"
#include "value/text_memory.h"

namespace {

constexpr std::size_t inlineBytes = 26;

const std::string shortText = "twenty-six bytes fit inside";
const std::string longText = "this text is too long to be kept inside of the object itself";

// Also asked about what moving left behind.
// NOLINTBEGIN(clang-analyzer-cplusplus.Move)
bool isText(const KtbString& text, const std::string& expected) {
    return !text.isNull() && text.asCstr() == expected && text.cStrSize() == static_cast<int>(expected.size()) + 1;
}
// NOLINTEND(clang-analyzer-cplusplus.Move)

bool isNullText(const KtbString& text) {
    return text.isNull() && text.length() == 0 && text.cStrSize() == 1 && *text.asCstr() == 0;
}

// As std::move, for values that are looked at afterwards: what is left behind is what these tests are about.
template <class Value>
Value&& takenFrom(Value& value) {
    return static_cast<Value&&>(value);
}

KtbString text(const std::string& bytes) { return KtbString(bytes.c_str()); }

// Allocations made by `work`.
template <class Work>
long allocations(Work work) {
    failing_new::failAt(-1);
    work();
    return failing_new::made;
}

TEST(StringTest, IsEmptyAndNotNullAtFirst) {
    const KtbString empty;
    EXPECT_TRUE(isText(empty, ""));
    EXPECT_EQ(empty.length(), 0);
    EXPECT_EQ(empty.cStrSize(), 1);
}

TEST(StringTest, NullAndEmptyAreDistinct) {
    KtbString value("x");
    value.setNull();
    EXPECT_TRUE(isNullText(value));
    value.assign("");
    EXPECT_TRUE(isText(value, ""));
    EXPECT_TRUE(isNullText(KtbString(nullptr)));
    EXPECT_TRUE(isNullText(KtbString(nullptr, true)));
}

TEST(StringTest, KeepsTextsOfEverySizeAroundTheInlineCapacity) {
    for (std::size_t size = 0; size <= 70; ++size) {
        const std::string bytes(size, 'q');
        EXPECT_TRUE(isText(text(bytes), bytes)) << size;
        EXPECT_EQ(text(bytes).length(), static_cast<int>(size));
    }
}

TEST(StringTest, TextsUpToTwentySixBytesNeedNoMemory) {
    const std::string most(inlineBytes, 'm'), more(inlineBytes + 1, 'm');
    KtbString value;
    EXPECT_EQ(allocations([&] { value.assign(most.c_str()); }), 0);
    EXPECT_EQ(allocations([&] { KtbString copy(value), moved(takenFrom(copy)); }), 0);
    EXPECT_EQ(allocations([&] { value.assign(more.c_str()); }), 1);
    EXPECT_TRUE(isText(value, more));
}

TEST(StringTest, CountedAssignTakesEveryByteOfEverySize) {
    for (std::size_t size = 0; size <= 70; ++size) {
        std::string bytes;
        for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>('!' + i);
        const std::string source = bytes + "beyond";
        KtbString value("before");
        value.assign(source.data(), static_cast<int>(size));
        EXPECT_TRUE(isText(value, bytes)) << size;
    }
}

TEST(StringTest, CountedAssignReadsNoByteTooMany) {
    for (std::size_t size = 0; size <= 70; ++size) {
        const std::string bytes(size, 'b');
        char* exact = static_cast<char*>(std::malloc(size + (size == 0)));
        std::memcpy(exact, bytes.data(), size);
        KtbString value;
        value.assign(exact, static_cast<int>(size));
        EXPECT_TRUE(isText(value, bytes));
        std::free(exact);
    }
}

TEST(StringTest, CountedAssignIsCutAtTheFirstNulWhereverItIs) {
    for (std::size_t size = 1; size <= 70; ++size) {
        for (std::size_t nul = 0; nul < size; ++nul) {
            std::string bytes(size, 'n');
            bytes[nul] = 0;
            bytes.back() = nul + 1 < size ? 0 : bytes.back();
            KtbString value("something else that was there before it");
            value.assign(bytes.data(), static_cast<int>(size));
            EXPECT_TRUE(isText(value, std::string(nul, 'n'))) << size << ' ' << nul;
        }
    }
}

TEST(StringTest, BytesWithTheHighBitAreNotTakenForNul) {
    for (int byte = 1; byte < 256; ++byte) {
        for (std::size_t size = 1; size <= 70; ++size) {
            const std::string bytes(size, static_cast<char>(byte));
            KtbString value;
            value.assign(bytes.data(), static_cast<int>(size));
            ASSERT_TRUE(isText(value, bytes)) << byte << ' ' << size;
        }
    }
}

TEST(StringTest, CountedAssignOfNothingIsEmptyAndOfANegativeCountNull) {
    KtbString value("x");
    value.assign("abc", 0);
    EXPECT_TRUE(isText(value, ""));
    value.assign("abc", -1);
    EXPECT_TRUE(isNullText(value));
    value.assign("abc", 2);
    value.assign(nullptr, 2);
    EXPECT_TRUE(isNullText(value));
}

TEST(StringTest, WritesTheDigitsOfNumbers) {
    KtbString value;
    value.assign(0);
    EXPECT_TRUE(isText(value, "0"));
    value.assign(-7);
    EXPECT_TRUE(isText(value, "-7"));
    value.assign(INT_MIN);
    EXPECT_TRUE(isText(value, std::to_string(INT_MIN)));
    value.assign(INT_MAX);
    EXPECT_TRUE(isText(value, std::to_string(INT_MAX)));
    value.assign(LONG_MIN);
    EXPECT_TRUE(isText(value, "-9223372036854775808"));
    value.assign(LONG_MAX);
    EXPECT_TRUE(isText(value, "9223372036854775807"));
}

TEST(StringTest, CopiesAreIndependent) {
    for (const auto& bytes : {std::string(), shortText, longText}) {
        KtbString original = text(bytes);
        KtbString copy(original), assigned("other");
        assigned = original;
        original.append("!", nullptr);
        EXPECT_TRUE(isText(copy, bytes));
        EXPECT_TRUE(isText(assigned, bytes));
        EXPECT_TRUE(isText(original, bytes + "!"));
    }
}

KtbString shortInABlock() {
    KtbString value = text(longText);
    value.assign("short in a block");
    return value;
}

KtbString nullWithABlock() {
    KtbString value = text(longText);
    value.setNull();
    return value;
}

using MakeState = KtbString (*)();
constexpr MakeState states[] = {[] { return KtbString(); },
                                [] { return KtbString(nullptr); },
                                [] { return KtbString("short"); },
                                [] { return KtbString("twenty-six bytes fit insid"); },
                                [] { return text(longText); },
                                [] { return text(longText + longText); },
                                [] { return KtbString("short literal", true); },
                                [] { return KtbString("a literal that does not fit inside of the object", true); },
                                shortInABlock,
                                nullWithABlock};

bool isSame(const KtbString& left, const KtbString& right) {
    return left.isNull() == right.isNull() && left.compare(right, true) == 0 && left.cStrSize() == right.cStrSize() &&
           left.length() == right.length();
}

TEST(StringTest, EveryStateCanBeAssignedToEveryState) {
    for (const MakeState from : states) {
        for (const MakeState onto : states) {
            const KtbString expected = from();
            KtbString copied = onto(), moved = onto(), source = from();
            copied = expected;
            moved = takenFrom(source);
            EXPECT_TRUE(isSame(copied, expected));
            EXPECT_TRUE(isSame(moved, expected));
            EXPECT_TRUE(isText(source, ""));
        }
    }
}

TEST(StringTest, CountsItsCharactersOnlyOnce) {
    char mutableText[] = "abc";
    const KtbString value(mutableText, true);
    EXPECT_EQ(value.length(), 3);
    KtbString assigned;
    assigned = value;
    mutableText[1] = '\xc3';
    mutableText[2] = '\xa9';
    EXPECT_EQ(value.length(), 3);
    EXPECT_EQ(assigned.length(), 3);
    EXPECT_EQ(KtbString(mutableText).length(), 2);
}

TEST(StringTest, SelfAssignmentChangesNothing) {
    for (const auto& bytes : {std::string("short"), longText}) {
        KtbString value = text(bytes);
        const KtbString& same = value;
        value = same;
        EXPECT_TRUE(isText(value, bytes));
        KtbString& alias = value;
        value = takenFrom(alias);
        EXPECT_TRUE(isText(value, bytes));
        value.assign(value);
        value.assign(value.asCstr());
        EXPECT_TRUE(isText(value, bytes));
    }
    KtbString null(nullptr);
    const KtbString& same = null;
    null = same;
    EXPECT_TRUE(null.isNull());
}

TEST(StringTest, PartsOfTheOwnTextCanBeAssigned) {
    for (const auto& bytes : {shortText.substr(0, 26), longText}) {
        for (const bool literal : {false, true}) {
            for (std::size_t first = 0; first <= bytes.size(); ++first) {
                for (std::size_t size = 0; size <= bytes.size() - first; ++size) {
                    KtbString value(bytes.c_str(), literal);
                    value.assign(value.asCstr() + first, static_cast<int>(size));
                    ASSERT_TRUE(isText(value, bytes.substr(first, size))) << first << ' ' << size;
                }
                KtbString value(bytes.c_str(), literal);
                value.assign(value.asCstr() + first);
                ASSERT_TRUE(isText(value, bytes.substr(first)));
            }
        }
    }
}

TEST(StringTest, MovedFromStringsAreEmptyAndUsable) {
    for (const auto& bytes : {std::string("short"), longText}) {
        KtbString source = text(bytes);
        const KtbString moved(takenFrom(source));
        EXPECT_TRUE(isText(moved, bytes));
        EXPECT_TRUE(isText(source, ""));
        source.append("again", nullptr);
        EXPECT_TRUE(isText(source, "again"));
    }
    KtbString null(nullptr);
    const KtbString moved(takenFrom(null));
    EXPECT_TRUE(moved.isNull());
    EXPECT_TRUE(isText(null, ""));
}

TEST(StringTest, MovingALongTextNeedsNoMemory) {
    KtbString source = text(longText), target;
    EXPECT_EQ(allocations([&] { target = takenFrom(source); }), 0);
    EXPECT_TRUE(isText(target, longText));
    EXPECT_EQ(allocations([&] { source.assign("short"); }), 0);
}

TEST(StringTest, LiteralsAreReferredToAndSoAreTheirCopies) {
    static const char literal[] = "a literal that is too long to be kept inside of the object";
    const KtbString value(literal, true);
    EXPECT_EQ(value.asCstr(), literal);
    KtbString assigned("x"), block = text(longText);
    EXPECT_EQ(allocations([&] { assigned = value, block = value; }), 0);
    EXPECT_EQ(assigned.asCstr(), literal);
    EXPECT_EQ(block.asCstr(), literal);
    KtbString copy(value);
    EXPECT_EQ(KtbString(takenFrom(copy)).asCstr(), literal);
    EXPECT_TRUE(isText(copy, ""));
}

TEST(StringTest, WritingToALiteralCopiesItFirst) {
    for (const char* bytes : {"", "short literal", "a literal that is too long to be kept inside of the object"}) {
        const std::string before = bytes;
        KtbString appended(bytes, true), cut(bytes, true), replaced(bytes, true), null(bytes, true);
        appended.append("!", nullptr);
        cut.truncate(3);
        replaced.replace("l", "L", 0, -1);
        null.setNull();
        EXPECT_TRUE(isText(appended, before + "!"));
        EXPECT_TRUE(isText(cut, before.substr(0, 3)));
        EXPECT_EQ(before.find('l') == std::string::npos, std::string(replaced.asCstr()).find('L') == std::string::npos);
        EXPECT_TRUE(isNullText(null));
        EXPECT_EQ(bytes, before);
    }
}

TEST(StringTest, AssignedLiteralsAreOverwrittenInPlaceOfTheString) {
    const char literal[] = "unchanged";
    KtbString value(literal, true);
    value.assign("short");
    EXPECT_TRUE(isText(value, "short"));
    value = KtbString(literal, true);
    value = KtbString("inline");
    EXPECT_TRUE(isText(value, "inline"));
    EXPECT_STREQ(literal, "unchanged");
}

TEST(StringTest, EmptyLiteralsCanBeWrittenTo) {
    const char literal[] = "";
    KtbString value(literal, true);
    value.append("", nullptr);
    value.truncate(0);
    value.assign("");
    value.append("x", nullptr);
    EXPECT_TRUE(isText(value, "x"));
    EXPECT_EQ(literal[0], 0);
}

TEST(StringTest, BlockIsKeptWhenTheTextGetsShorterOrNull) {
    KtbString value = text(longText);
    const KtbString other = text(longText), shorter("short");
    EXPECT_EQ(allocations([&] {
                  for (int i = 0; i < 10; ++i) {
                      value.setNull();
                      value.assign(longText.c_str());
                      value.truncate(0);
                      value = other;
                      value = shorter;
                      value.append(longText.substr(5).c_str(), nullptr);
                      value.assign("x");
                      value = KtbString("y");
                      value.assign(longText.c_str(), static_cast<int>(longText.size()));
                  }
              }),
              0);
    EXPECT_TRUE(isText(value, longText));
}

TEST(StringTest, CopyingANullOrShortTextKeepsTheBlock) {
    KtbString value = text(longText), null(nullptr);
    EXPECT_EQ(allocations([&] {
                  value = null;
                  value = KtbString();
                  value.assign(longText.c_str());
              }),
              0);
}

TEST(StringTest, AppendsEveryKindOfText) {
    bool failed = false;
    KtbString value;
    value.append("ab", &failed);
    value.append(KtbString("cd"), &failed);
    value.append("efgh", 2, &failed);
    value.append("g\0h", 3, &failed);
    value.append("", &failed);
    value.append("zz", 0, &failed);
    value.append("zz", -1, &failed);
    value.append(static_cast<const char*>(nullptr), &failed);
    value.append(nullptr, 5, &failed);
    value.append(KtbString(nullptr), &failed);
    EXPECT_TRUE(isText(value, "abcdefg"));
    EXPECT_FALSE(failed);
}

TEST(StringTest, AppendingToNullMakesItATextUnlessNothingIsAppended) {
    KtbString value(nullptr);
    value.append(KtbString(nullptr), nullptr);
    value.append(static_cast<const char*>(nullptr), nullptr);
    EXPECT_TRUE(isNullText(value));
    KtbString empty(value);
    empty.append("", nullptr);
    EXPECT_TRUE(isText(empty, ""));
    value.append("text", nullptr);
    EXPECT_TRUE(isText(value, "text"));
    EXPECT_EQ(value.length(), 4);
}

TEST(StringTest, AppendNeverClearsItsFlag) {
    bool failed = true;
    KtbString value;
    value.append("x", &failed);
    EXPECT_TRUE(failed);
}

TEST(StringTest, CanBeAppendedToItself) {
    for (const char* start : {"", "ab", "abcdefghijklm", "abcdefghijklmnopqrstuvwxyz0123456789"}) {
        for (const bool literal : {false, true}) {
            KtbString value(start, literal);
            std::string model = start;
            for (int i = 0; i < 4; ++i) {
                value.append(value, nullptr);
                model += model;
                value.append(value.asCstr() + model.size() / 2, nullptr);
                model += model.substr(model.size() / 2);
                ASSERT_TRUE(isText(value, model));
            }
        }
    }
}

TEST(StringTest, GrowingIsAmortised) {
    KtbString value;
    const long made = allocations([&] {
        for (int i = 0; i < 100000; ++i) value.append("xyz", nullptr);
    });
    EXPECT_EQ(value.cStrSize(), 300001);
    EXPECT_LE(made, 16);
}

TEST(StringTest, ExhaustedMemoryLeavesAnAppendedTextUnchanged) {
    for (const bool literal : {false, true}) {
        KtbString value(longText.c_str(), literal);
        failing_new::failAt(0);
        bool failed = false;
        value.append(longText.c_str(), &failed);
        EXPECT_TRUE(failed);
        failing_new::failAt(0);
        value.append(value, nullptr);
        failing_new::failAt(-1);
        EXPECT_TRUE(isText(value, longText));
        EXPECT_EQ(value.length(), static_cast<int>(longText.size()));
    }
    KtbString null(nullptr);
    failing_new::failAt(0);
    bool failed = false;
    null.append(longText.c_str(), static_cast<int>(longText.size()), &failed);
    failing_new::failAt(-1);
    EXPECT_TRUE(failed);
    EXPECT_TRUE(isNullText(null));
}

// Runs `operation` on a fresh text with its only allocation failing, and expects a null.
template <class Operation>
void expectNullWithoutMemory(const char* start, bool literal, Operation operation) {
    KtbString value(start, literal);
    failing_new::failAt(0);
    operation(value);
    EXPECT_TRUE(failing_new::failed);
    failing_new::failAt(-1);
    EXPECT_TRUE(isNullText(value));
    value.assign("usable");
    EXPECT_TRUE(isText(value, "usable"));
}

TEST(StringTest, ExhaustedMemoryLeavesEveryOtherOperationNull) {
    const KtbString other = text(longText);
    EXPECT_EQ(other.length(), static_cast<int>(longText.size()));
    expectNullWithoutMemory("before", false, [](KtbString& value) { value.assign(longText.c_str()); });
    expectNullWithoutMemory("before", false, [](KtbString& value) { value.assign(longText.c_str(), 50); });
    expectNullWithoutMemory("before", false, [&](KtbString& value) { value = other; });
    expectNullWithoutMemory("before", false, [&](KtbString& value) { value.assign(other); });
    expectNullWithoutMemory(longText.c_str(), false, [&](KtbString& value) { value.replace("s", other, 0, -1); });
    expectNullWithoutMemory(longText.c_str(), true, [](KtbString& value) { value.truncate(40); });
    expectNullWithoutMemory("x", false, [](KtbString& value) { value = KtbString(longText.c_str()); });
    expectNullWithoutMemory("x", false, [&](KtbString& value) { value = other.mid(1, 50); });
    expectNullWithoutMemory("x", false, [&](KtbString& value) { value = KtbString(other); });
    expectNullWithoutMemory("x", false, [](KtbString& value) { value = ktbStringFormat("%100d", 1); });
    expectNullWithoutMemory("x", false, [](KtbString& value) { value = ktbStringFormat("%1000d", 1); });
}

TEST(StringTest, FailedAssignmentKeepsTheBlockForLater) {
    KtbString value = text(longText);
    failing_new::failAt(0);
    value.assign((longText + longText + longText).c_str());
    EXPECT_TRUE(value.isNull());
    value.assign(longText.c_str());
    EXPECT_TRUE(isText(value, longText));
    failing_new::failAt(-1);
}

TEST(StringTest, TextsAboveTheLimitCountAsExhaustedMemory) {
    KtbString value = text(std::string(70000, 'a'));
    const KtbString by = text(std::string(70000, 'b'));
    EXPECT_EQ(allocations([&] { value.replace("a", by, 0, -1); }), 0);
    EXPECT_TRUE(isNullText(value));
}

TEST(StringTest, CapacitiesNearTheLimitDoNotOverflow) {
    static_assert(textBytesMax == 0x7ffffffe);
    EXPECT_EQ(grownCapacity(26, 27), 52U);
    EXPECT_EQ(grownCapacity(26, 100), 100U);
    EXPECT_EQ(grownCapacity(0, 1), 1U);
    EXPECT_EQ(grownCapacity(textBytesMax / 2, textBytesMax / 2 + 1), textBytesMax);
    EXPECT_EQ(grownCapacity(textBytesMax / 2 + 1, textBytesMax / 2 + 2), textBytesMax);
    EXPECT_EQ(grownCapacity(textBytesMax - 1, textBytesMax), textBytesMax);
}

int sign(int order) { return (order > 0) - (order < 0); }

TEST(StringTest, OrdersByBytesAsUnsignedNumbers) {
    const char* inOrder[] = {nullptr, "", "\x01", "A", "B", "Ba", "a", "a\x7f", "a\x80", "a\xff", "b", "\xc3\xa9", "\xff"};
    const int count = sizeof inOrder / sizeof *inOrder;
    for (int i = 0; i < count; ++i) {
        for (int j = 0; j < count; ++j) {
            const KtbString left(inOrder[i]), right(inOrder[j]);
            EXPECT_EQ(sign(left.compare(right, true)), sign(i - j)) << i << ' ' << j;
            EXPECT_EQ(sign(left.compare(inOrder[j], true)), sign(i - j)) << i << ' ' << j;
        }
    }
}

TEST(StringTest, InexactComparisonIgnoresTheCaseOfAsciiLettersOnly) {
    EXPECT_EQ(KtbString("Hello, World").compare("hELLO, wORLD", false), 0);
    EXPECT_NE(KtbString("Hello, World").compare("hELLO, wORLD", true), 0);
    EXPECT_LT(KtbString("abc").compare("ABD", false), 0);
    EXPECT_GT(KtbString("ABCd").compare("abc", false), 0);
    EXPECT_NE(KtbString("\xc3\xa9").compare("\xc3\x89", false), 0);
    EXPECT_NE(KtbString(nullptr).compare("", false), 0);
    EXPECT_EQ(KtbString(nullptr).compare(KtbString(nullptr), false), 0);
    for (int left = 1; left < 256; ++left) {
        for (int right = 1; right < 256; ++right) {
            const char leftText[] = {static_cast<char>(left), 0}, rightText[] = {static_cast<char>(right), 0};
            const auto lower = [](int c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
            EXPECT_EQ(sign(KtbString(leftText).compare(rightText, false)), sign(lower(left) - lower(right)));
        }
    }
}

TEST(StringTest, FormatsLikePrintf) {
    EXPECT_TRUE(isText(ktbStringFormat("%s-%03d-%lx", "row", 7, 255L), "row-007-ff"));
    EXPECT_TRUE(isText(ktbStringFormat("%%"), "%"));
    EXPECT_TRUE(isText(ktbStringFormat("%s", ""), ""));
}

TEST(StringTest, FormatsTextsOfEverySizeAroundItsBuffer) {
    for (int size = 500; size <= 530; ++size) {
        EXPECT_TRUE(isText(ktbStringFormat("%*d", size, 1), std::string(static_cast<std::size_t>(size - 1), ' ') + "1"));
    }
    EXPECT_TRUE(
        isText(ktbStringFormat("%s%s", longText.c_str(), std::string(5000, 'f').c_str()), longText + std::string(5000, 'f')));
}

TEST(StringTest, FormattedTextEndsAtItsFirstNul) {
    EXPECT_TRUE(isText(ktbStringFormat("a%cb", 0), "a"));
    EXPECT_TRUE(isText(ktbStringFormat("a%c%600d", 0, 1), "a"));
}

TEST(StringTest, InvalidFormatsGiveNull) {
    const char* none = nullptr;
    EXPECT_TRUE(isNullText(ktbStringFormat(none, 1)));
    const wchar_t unwritable[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_TRUE(isNullText(ktbStringFormat("%ls", unwritable)));
}

}  // namespace
