#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "ktwt/bytes.h"

TEST(ReverseBytesTest, DoesNothingForNoByteAndForOne) {
    reverseBytes(nullptr, 0);
    char bytes[] = "ab";
    reverseBytes(bytes, 0);
    EXPECT_STREQ(bytes, "ab");
    reverseBytes(bytes, 1);
    EXPECT_STREQ(bytes, "ab");
}

TEST(ReverseBytesTest, ReversesEveryLengthAndTouchesNothingBesides) {
    for (std::size_t n = 0; n <= 33; ++n) {
        std::vector<unsigned char> bytes(n + 2);
        std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
        const std::vector<unsigned char> before = bytes;
        reverseBytes(bytes.data() + 1, n);
        EXPECT_EQ(bytes.front(), before.front()) << n;
        EXPECT_EQ(bytes.back(), before.back()) << n;
        for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(bytes[1 + i], before[n - i]) << n << " " << i;
    }
}

TEST(ReverseBytesTest, TurnsANumberIntoThatOfTheOtherByteOrder) {
    std::uint64_t number = 0x0102030405060708;
    reverseBytes(&number, sizeof number);
    EXPECT_EQ(number, 0x0807060504030201u);
    reverseBytes(&number, sizeof number);
    EXPECT_EQ(number, 0x0102030405060708u);
}
