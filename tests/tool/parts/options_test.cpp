// Sizes, as the command line gives them.
#include "options.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

void expectRefused(const std::string& text, const std::string& wrong) {
    long bytes = 0;
    const std::string said = parseSize(text, &bytes);
    EXPECT_EQ(said.rfind("\"" + text + "\" is " + wrong, 0), 0U) << text << ": " << said;
}

long sizeOf(const std::string& text) {
    long bytes = -1;
    EXPECT_EQ(parseSize(text, &bytes), "") << text;
    return bytes;
}

TEST(OptionsTest, UnderstandsSizesWithAndWithoutUnits) {
    EXPECT_EQ(sizeOf("0"), 0);
    EXPECT_EQ(sizeOf("1000000"), 1000000);
    EXPECT_EQ(sizeOf("100k"), 102400);
    EXPECT_EQ(sizeOf("7B"), 7);
    for (const char* const text : {"512M", "512m", "512MB", "512MiB", "512mib"}) EXPECT_EQ(sizeOf(text), 512L << 20);
    EXPECT_EQ(sizeOf("2G"), 2L << 30);
    EXPECT_EQ(sizeOf("3T"), 3L << 40);
    EXPECT_EQ(sizeOf("3P"), 3L << 50);
    EXPECT_EQ(sizeOf("7EiB"), 7L << 60);
    EXPECT_EQ(sizeOf("9223372036854775807"), LONG_MAX);
}

TEST(OptionsTest, RefusesWhatIsNoSize) {
    for (const char* const text :
         {"", "-1", "-1G", "+1", "1.5G", "1Q", "M", "1 G", " 1", "1GG", "1BB", "0x10", "-0", "1MiBs"}) {
        expectRefused(text, "no size");
    }
}

TEST(OptionsTest, RefusesSizesThatNoNumberHolds) {
    for (const char* const text :
         {"8EiB", "9223372036854775808", "99999999999999999999", "9007199254740992K", "99999999999E"}) {
        expectRefused(text, "more than any size can be");
    }
}

}  // namespace
