// KtbString and characters: counting, cutting, finding and replacing in texts of any bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/naive_characters.h"
#include "ktb/string.h"
#include "value/text_search.h"
#include "value/utf8.h"

namespace {

// Both ends of every range that UTF-8 distinguishes, and one byte more at each side.
const std::vector<int> bordersOfRanges = {0x01, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF,
                                          0xE0, 0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFF};

KtbString text(const std::string& bytes) { return KtbString(bytes.c_str()); }

std::string bytesOf(const KtbString& value) { return value.asCstr(); }

std::string hex(const std::string& bytes) {
    std::string digits;
    for (const char c : bytes)
        digits += ktbStringFormat("%02x ", static_cast<unsigned>(static_cast<unsigned char>(c))).asCstr();
    return digits;
}

// Calls `check` with every text of `size` of the bytes.
template <class Check>
void forEachText(const std::vector<int>& bytes, std::size_t size, const std::string& start, Check check) {
    if (size == 0) return check(start);
    for (const int byte : bytes) forEachText(bytes, size - 1, start + static_cast<char>(byte), check);
}

std::vector<int> everyByte() {
    std::vector<int> all;
    for (int byte = 1; byte < 256; ++byte) all.push_back(byte);
    return all;
}

bool forwardsAgree(const std::string& bytes, const std::vector<std::string>& expected) {
    const char* at = bytes.data();
    const char* end = at + bytes.size();
    for (const auto& character : expected) {
        if (utf8::characterSize(at, end) != character.size()) return false;
        at += character.size();
    }
    return at == end && utf8::count(bytes.data(), end) == expected.size();
}

bool backwardsAgree(const std::string& bytes, const std::vector<std::string>& expected) {
    const char* end = bytes.data() + bytes.size();
    for (auto character = expected.rbegin(); character != expected.rend(); ++character) {
        if (utf8::lastCharacterSize(bytes.data(), end) != character->size()) return false;
        end -= character->size();
    }
    return end == bytes.data();
}

bool boundariesAgree(const std::string& bytes) {
    const char* begin = bytes.data();
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const char* boundary = utf8::boundaryAtOrBefore(begin, begin + size, begin + bytes.size());
        if (static_cast<std::size_t>(boundary - begin) != naive::sizeWithin(bytes, size)) return false;
    }
    return true;
}

// Appending in two pieces, with the count known before the second, gives the same count as the whole.
bool joinsAgree(const std::string& bytes, std::size_t characters) {
    for (std::size_t first = 0; first <= bytes.size(); ++first) {
        KtbString joined = text(bytes.substr(0, first));
        if (joined.length() != static_cast<int>(naive::characters(bytes.substr(0, first)).size())) return false;
        joined.append(bytes.c_str() + first, nullptr);
        if (joined.length() != static_cast<int>(characters)) return false;
    }
    return true;
}

void checkSegmentation(const std::string& bytes) {
    const auto expected = naive::characters(bytes);
    ASSERT_TRUE(forwardsAgree(bytes, expected)) << hex(bytes);
    ASSERT_TRUE(backwardsAgree(bytes, expected)) << hex(bytes);
    ASSERT_TRUE(boundariesAgree(bytes)) << hex(bytes);
    ASSERT_TRUE(joinsAgree(bytes, expected.size())) << hex(bytes);
}

TEST(StringCharactersTest, CountsWellFormedSequencesAsOneCharacter) {
    EXPECT_EQ(text("").length(), 0);
    EXPECT_EQ(text("plain").length(), 5);
    EXPECT_EQ(text("gr\xc3\xbc\xc3\x9f").length(), 4);
    EXPECT_EQ(text("\xe2\x82\xac\xf0\x9f\x98\x80").length(), 2);
    EXPECT_EQ(text("\xef\xbf\xbf\xf4\x8f\xbf\xbf").length(), 2);
    EXPECT_EQ(text(std::string(1000, 'x') + "\xc3\xa9" + std::string(7, 'y')).length(), 1008);
}

TEST(StringCharactersTest, CountsEachByteOfAMalformedSequence) {
    EXPECT_EQ(text("\xc0\x80").length(), 2);          // overlong NUL
    EXPECT_EQ(text("\xe0\x9f\xbf").length(), 3);      // overlong
    EXPECT_EQ(text("\xed\xa0\x80").length(), 3);      // surrogate
    EXPECT_EQ(text("\xf4\x90\x80\x80").length(), 4);  // above U+10FFFF
    EXPECT_EQ(text("\xe2\x82").length(), 2);          // cut short
    EXPECT_EQ(text("\xe2\x82x").length(), 3);
    EXPECT_EQ(text("\xe2\xe2\x82\xac").length(), 2);
    EXPECT_EQ(text("\x80\xbf\xff").length(), 3);
}

TEST(StringCharactersTest, SegmentsEveryTextOfOneOrTwoBytes) {
    forEachText(everyByte(), 1, "", checkSegmentation);
    forEachText(everyByte(), 2, "", checkSegmentation);
}

TEST(StringCharactersTest, SegmentsEveryTextOfThreeBordersOfRanges) { forEachText(bordersOfRanges, 3, "", checkSegmentation); }

TEST(StringCharactersTest, SegmentsTextsOfFourAndFiveBordersOfRanges) {
    const std::vector<int> fewer = {0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0xFF};
    forEachText(fewer, 4, "", checkSegmentation);
    forEachText({0x41, 0x80, 0x90, 0xBF, 0xC2, 0xE1, 0xF1, 0xF4}, 5, "", checkSegmentation);
}

TEST(StringCharactersTest, TruncateKeepsTheFirstCharacters) {
    const std::string bytes = "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xe2\x82z\xff\x80";
    const auto characters = naive::characters(bytes);
    for (std::size_t n = 0; n <= characters.size() + 2; ++n) {
        KtbString counted = text(bytes), uncounted = text(bytes);
        EXPECT_EQ(counted.length(), static_cast<int>(characters.size()));
        counted.truncate(static_cast<unsigned>(n));
        uncounted.truncate(static_cast<unsigned>(n));
        EXPECT_EQ(bytesOf(counted), naive::joined(characters, 0, n));
        EXPECT_EQ(bytesOf(uncounted), naive::joined(characters, 0, n));
        EXPECT_EQ(counted.length(), static_cast<int>(std::min(n, characters.size())));
        EXPECT_EQ(uncounted.length(), static_cast<int>(std::min(n, characters.size())));
    }
}

TEST(StringCharactersTest, TruncateOfNullStaysNullAndToNothingIsEmpty) {
    KtbString null(nullptr), value("x");
    null.truncate(0);
    null.truncate(5);
    value.truncate(0);
    EXPECT_TRUE(null.isNull());
    EXPECT_FALSE(value.isNull());
    EXPECT_EQ(value.length(), 0);
}

// Quadratic time would be some minutes here.
TEST(StringCharactersTest, CuttingOffOneCharacterAfterTheOtherIsLinear) {
    KtbString value = text(std::string(400000, 'a') + "\xc3\xa9");
    for (int length = value.length(); length > 0; --length) value.truncate(static_cast<unsigned>(length - 1));
    EXPECT_EQ(value.cStrSize(), 1);
}

TEST(StringCharactersTest, AppendingAndCuttingInTurnIsLinear) {
    KtbString value;
    for (int i = 0; i < 200000; ++i) {
        value.append("row, ", nullptr);
        value.truncate(static_cast<unsigned>(value.length() - 1));
    }
    EXPECT_EQ(value.length(), 800000);
    EXPECT_EQ(value.cStrSize(), 800001);
}

TEST(StringCharactersTest, MidTakesWholeCharacters) {
    const std::string bytes = "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xe2\x82z\xff\x80 and some more to leave the object";
    const auto characters = naive::characters(bytes);
    KtbString counted = text(bytes);
    EXPECT_EQ(counted.length(), static_cast<int>(characters.size()));
    for (std::size_t start = 0; start <= characters.size() + 2; ++start) {
        for (std::size_t count = 0; count <= characters.size() + 2; ++count) {
            const std::string expected = naive::joined(characters, start, count);
            EXPECT_EQ(bytesOf(counted.mid(static_cast<unsigned>(start), static_cast<int>(count))), expected);
            EXPECT_EQ(bytesOf(text(bytes).mid(static_cast<unsigned>(start), static_cast<int>(count))), expected);
        }
        EXPECT_EQ(bytesOf(counted.mid(static_cast<unsigned>(start), -1)), naive::joined(characters, start, bytes.size()));
    }
}

TEST(StringCharactersTest, MidOfAnAsciiTextCountsBytes) {
    const KtbString value = text("0123456789");
    EXPECT_EQ(value.length(), 10);
    EXPECT_EQ(bytesOf(value.mid(3, 4)), "3456");
    EXPECT_EQ(bytesOf(value.mid(9, 100)), "9");
    EXPECT_EQ(bytesOf(value.mid(~0U, 1)), "");
}

TEST(StringCharactersTest, MidOfNullIsNullAndBeyondTheEndEmpty) {
    EXPECT_TRUE(KtbString(nullptr).mid(0, 1).isNull());
    EXPECT_FALSE(text("abc").mid(7, 1).isNull());
    EXPECT_EQ(text("abc").mid(7, 1).length(), 0);
}

TEST(StringCharactersTest, FindsAtAndAfterTheStart) {
    const KtbString value = text("\xc3\xa9-abc-abc");
    EXPECT_EQ(value.find("abc", 0), 2);
    EXPECT_EQ(value.find("abc", 2), 2);
    EXPECT_EQ(value.find("abc", 3), 6);
    EXPECT_EQ(value.find("abc", 7), -1);
    EXPECT_EQ(value.find("abc", 1000), -1);
    EXPECT_EQ(value.find("abc", -5), 2);
    EXPECT_EQ(value.find("\xc3\xa9", 0), 0);
    EXPECT_EQ(value.find("abd", 0), -1);
    EXPECT_EQ(value.find(value, 0), 0);
}

TEST(StringCharactersTest, FindsAnEmptyTextUpToTheEndAndNothingInNull) {
    EXPECT_EQ(text("abc").find("", 0), 0);
    EXPECT_EQ(text("abc").find("", 3), 3);
    EXPECT_EQ(text("abc").find("", 4), -1);
    EXPECT_EQ(text("").find("", -1), 0);
    EXPECT_EQ(text("").find("x", 0), -1);
    EXPECT_EQ(KtbString(nullptr).find("", 0), -1);
    EXPECT_EQ(KtbString(nullptr).find("x", 0), -1);
    EXPECT_EQ(text("abc").find(KtbString(nullptr), 0), -1);
}

TEST(StringCharactersTest, PartsOfACharacterAreNotFound) {
    const KtbString euro = text("\xe2\x82\xac");
    EXPECT_EQ(euro.find("\xe2", 0), -1);
    EXPECT_EQ(euro.find("\x82", 0), -1);
    EXPECT_EQ(euro.find("\xac", 0), -1);
    EXPECT_EQ(euro.find("\xe2\x82", 0), -1);
    EXPECT_EQ(text("\xe2\x82\xac\xe2\x82").find("\xe2\x82", 0), 1);
    EXPECT_EQ(text("\x82\xe2\x82\xac").find("\x82", 0), 0);
}

std::string replaced(const std::string& bytes, const std::string& from, const std::string& to, unsigned start, int count) {
    KtbString value = text(bytes);
    value.replace(text(from), text(to), start, count);
    return bytesOf(value);
}

TEST(StringCharactersTest, ReplacesFromLeftToRightWithoutOverlap) {
    EXPECT_EQ(replaced("aaaaa", "aa", "b", 0, -1), "bba");
    EXPECT_EQ(replaced("aaaaa", "aa", "bcd", 1, -1), "abcdbcd");
    EXPECT_EQ(replaced("aaaaa", "a", "", 0, -1), "");
    EXPECT_EQ(replaced("a&b&c", "&", "&amp;", 0, -1), "a&amp;b&amp;c");
    EXPECT_EQ(replaced("a&b&c", "&", "&amp;", 0, 1), "a&amp;b&c");
    EXPECT_EQ(replaced("a&b&c", "&", "&amp;", 2, 5), "a&b&amp;c");
    EXPECT_EQ(replaced("a&b&c", "&", "&amp;", 0, 0), "a&b&c");
    EXPECT_EQ(replaced("a&b&c", "&", "&amp;", 9, -1), "a&b&c");
    EXPECT_EQ(replaced("abc", "", "x", 0, -1), "abc");
    EXPECT_EQ(replaced("abc", "abcd", "x", 0, -1), "abc");
    EXPECT_EQ(replaced("\xe2\x82\xac", "\x82", "x", 0, -1), "\xe2\x82\xac");
}

TEST(StringCharactersTest, ReplacingCountsTheNewCharacters) {
    KtbString value = text("a-b-c");
    EXPECT_EQ(value.length(), 5);
    value.replace("-", "\xc3\xa9\xc3\xa9", 0, -1);
    EXPECT_EQ(value.length(), 7);
}

TEST(StringCharactersTest, ReplaceTakesNullsAsEmptyAndLeavesNullAlone) {
    KtbString value("abc"), null(nullptr);
    value.replace(null, "x", 0, -1);
    EXPECT_EQ(bytesOf(value), "abc");
    value.replace("b", null, 0, -1);
    EXPECT_EQ(bytesOf(value), "ac");
    null.replace("a", "b", 0, -1);
    EXPECT_TRUE(null.isNull());
}

TEST(StringCharactersTest, ATextCanBeReplacedByAndInItself) {
    for (const std::string bytes : {"ab", "a long text that does not fit inside of the object any more"}) {
        KtbString from = text(bytes), to = text(bytes), both = text(bytes);
        from.replace(from, "x", 0, -1);
        to.replace("a", to, 0, 1);
        both.replace(both, both, 0, -1);
        EXPECT_EQ(bytesOf(from), "x");
        EXPECT_EQ(bytesOf(to), bytes + bytes.substr(1));
        EXPECT_EQ(bytesOf(both), bytes);
    }
}

TEST(StringCharactersTest, SizeWithinNeverCutsACharacter) {
    for (const std::string bytes : {"", "plain", "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xe2\x82z\xff\x80\xf0\x9f\x98"}) {
        for (int most = 0; most <= static_cast<int>(bytes.size()) + 2; ++most) {
            EXPECT_EQ(text(bytes).sizeWithin(most), static_cast<int>(naive::sizeWithin(bytes, static_cast<std::size_t>(most))));
        }
        EXPECT_EQ(text(bytes).sizeWithin(-1), 0);
    }
    EXPECT_EQ(KtbString(nullptr).sizeWithin(5), 0);
}

// Every place where `what` is found, overlapping ones included.
std::vector<std::size_t> places(const std::string& in, const std::string& what) {
    TextSearch search({in.data(), in.data() + in.size()}, in.data(), {what.data(), what.data() + what.size()});
    std::vector<std::size_t> found;
    while (const char* at = search.next(in.data())) found.push_back(static_cast<std::size_t>(at - in.data()));
    return found;
}

std::vector<std::size_t> naivePlaces(const std::string& in, const std::string& what) {
    std::vector<std::size_t> found;
    for (std::size_t at = in.find(what); at != std::string::npos; at = in.find(what, at + 1)) found.push_back(at);
    return found;
}

TEST(StringCharactersTest, SearchFindsEveryPlaceOfEverySmallText) {
    for (std::size_t inSize = 0; inSize <= 10; ++inSize) {
        forEachText({'a', 'b'}, inSize, "", [](const std::string& in) {
            for (std::size_t whatSize = 1; whatSize <= 6; ++whatSize) {
                forEachText({'a', 'b'}, whatSize, "", [&](const std::string& what) {
                    ASSERT_EQ(places(in, what), naivePlaces(in, what)) << in << ' ' << what;
                });
            }
        });
    }
}

TEST(StringCharactersTest, SearchFindsEveryPlaceOfThreeLetterTexts) {
    for (std::size_t whatSize = 1; whatSize <= 4; ++whatSize) {
        forEachText({'a', 'b', 'c'}, whatSize, "", [](const std::string& what) {
            forEachText({'a', 'b', 'c'}, 7, "", [&](const std::string& in) {
                ASSERT_EQ(places(in, what), naivePlaces(in, what)) << in << ' ' << what;
            });
        });
    }
}

// Texts that make a simple search compare every byte with every byte: minutes instead of milliseconds.
TEST(StringCharactersTest, SearchIsLinearInTheWorstCase) {
    const std::size_t half = 200000;
    const std::string as(half, 'a'), all = as + as, ab = as + "b" + as;
    EXPECT_EQ(text(all).find(text(as + "b"), 0), -1);
    EXPECT_EQ(text(all).find(text("b" + as), 0), -1);
    EXPECT_EQ(text(all).find(text(as), 0), 0);
    EXPECT_EQ(text(ab).find(text("b" + as), 0), static_cast<int>(half));
    EXPECT_EQ(replaced(all, as, "x", 0, -1), "xx");
    std::string euros, inside;
    for (std::size_t i = 0; i < half; ++i) euros += "\xe2\x82\xac";
    for (std::size_t i = 0; i < half / 2; ++i) inside += "\x82\xac\xe2";
    EXPECT_EQ(text(euros).find(text(inside), 0), -1);
}

}  // namespace
