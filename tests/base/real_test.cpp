// Decimals: texts, words, doubles, integers and order, against a model that works on strings of digits.
#include "ktb/real.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Words = std::array<unsigned long, 3>;

constexpr unsigned long signBit = 1UL << 63;

KtbReal realOf(const std::string& text) {
    KtbReal real;
    real.assign(text.c_str());
    return real;
}

std::string textOf(const KtbReal& real) {
    const KtbString text = real.asString();
    EXPECT_EQ(text.isNull(), real.isNull());
    return text.isNull() ? "null" : text.asCstr();
}

// What a text becomes when it is read and written again; "null" when it is not read.
std::string reread(const std::string& text) {
    KtbReal real;
    real.assign(7L);
    const bool read = real.assign(text.c_str());
    EXPECT_EQ(read, !real.isNull()) << text;
    return textOf(real);
}

Words wordsOf(const KtbReal& real) {
    unsigned long words[3];
    real.asFD(&words);
    return {words[0], words[1], words[2]};
}

KtbReal realOfWords(const Words& from) {
    const unsigned long words[3] = {from[0], from[1], from[2]};
    KtbReal real;
    real.assign(7L);
    const bool read = real.assignFD(words);
    EXPECT_EQ(read, !real.isNull());
    return real;
}

std::string doubled(double number) {
    KtbReal real;
    real.assign(7L);
    const bool exact = real.assign(number);
    EXPECT_EQ(exact, !real.isNull());
    return textOf(real);
}

const std::string zeros(std::size_t count) { return std::string(count, '0'); }
const std::string nines(std::size_t count) { return std::string(count, '9'); }

// The model: a decimal as its digits before and after the point.
struct Model {
    bool negative;
    std::string whole;     // without leading zeros
    std::string fraction;  // as many digits as the scale

    std::string digits() const { return whole + fraction; }
    bool isZero() const { return digits().find_first_not_of('0') == std::string::npos; }
    std::size_t significant() const {
        const std::size_t first = digits().find_first_not_of('0');
        return first == std::string::npos ? 0 : digits().size() - first;
    }
    std::string text() const {
        return (negative && !isZero() ? "-" : "") + (whole.empty() ? "0" : whole) + (fraction.empty() ? "" : "." + fraction);
    }
};

// Moves the point one place at a time, then drops zeros that do not fit. Returns "null" when the value has no decimal.
std::string modelText(Model model, int exponent) {
    for (; exponent > 0; --exponent) {
        model.whole += model.fraction.empty() ? "0" : model.fraction.substr(0, 1);
        if (!model.fraction.empty()) model.fraction.erase(0, 1);
    }
    for (; exponent < 0; ++exponent) {
        model.fraction.insert(0, model.whole.empty() ? "0" : model.whole.substr(model.whole.size() - 1));
        if (!model.whole.empty()) model.whole.pop_back();
    }
    model.whole.erase(0, model.whole.find_first_not_of('0'));
    while (!model.fraction.empty() && model.fraction.back() == '0' &&
           (model.significant() > 38 || model.fraction.size() > 38)) {
        model.fraction.pop_back();
    }
    return model.significant() > 38 || model.fraction.size() > 38 ? "null" : model.text();
}

int sign(int order) { return order < 0 ? -1 : order > 0 ? 1 : 0; }

int modelCompare(const Model& a, const Model& b) {
    const int signA = a.isZero() ? 0 : a.negative ? -1 : 1;
    const int signB = b.isZero() ? 0 : b.negative ? -1 : 1;
    if (signA != signB) return signA < signB ? -1 : 1;
    const auto padded = [](const Model& model) {
        return zeros(40 - model.whole.size()) + model.whole + model.fraction + zeros(40 - model.fraction.size());
    };
    return signA * sign(padded(a).compare(padded(b)));
}

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(engine_); }
    unsigned long word() { return engine_(); }
    std::string digits(std::size_t count) {
        std::string text;
        const bool sparse = below(3) == 0;  // many zeros make surplus and equal values likely
        for (; count > 0; --count) text += static_cast<char>('0' + (sparse && below(4) != 0 ? 0 : below(10)));
        return text;
    }
    Model decimal() {  // within 38 digits and 38 places
        const std::size_t size = below(39);
        const std::size_t scale = below(size + 1);
        Model model{below(2) == 0, digits(size - scale), digits(scale)};
        model.whole.erase(0, model.whole.find_first_not_of('0'));
        return model;
    }

private:
    std::mt19937_64 engine_;
};

TEST(RealTest, StartsAsNull) {
    const KtbReal real;
    EXPECT_TRUE(real.isNull());
    EXPECT_EQ(real.scale(), 0);
    EXPECT_FALSE(real.isNegative());
    EXPECT_TRUE(real.asString().isNull());
}

TEST(RealTest, ReadsTheFormsOfANumber) {
    EXPECT_EQ(reread("12.50"), "12.50");
    EXPECT_EQ(reread("-12.50"), "-12.50");
    EXPECT_EQ(reread("+12.50"), "12.50");
    EXPECT_EQ(reread("0"), "0");
    EXPECT_EQ(reread(".5"), "0.5");
    EXPECT_EQ(reread("-.5"), "-0.5");
    EXPECT_EQ(reread("5."), "5");
    EXPECT_EQ(reread("007"), "7");
    EXPECT_EQ(reread("00.007"), "0.007");
    EXPECT_EQ(reread(" \t 42 \t "), "42");
}

TEST(RealTest, KeepsTrailingZerosOfTheFraction) {
    EXPECT_EQ(realOf("12.50").scale(), 2);
    EXPECT_EQ(reread("1.000"), "1.000");
    EXPECT_EQ(reread("100"), "100");
    EXPECT_EQ(realOf("100").scale(), 0);
}

TEST(RealTest, MovesThePointByTheExponent) {
    EXPECT_EQ(reread("1e3"), "1000");
    EXPECT_EQ(realOf("1e3").scale(), 0);
    EXPECT_EQ(reread("1.5e-3"), "0.0015");
    EXPECT_EQ(realOf("1.5e-3").scale(), 4);
    EXPECT_EQ(reread("1.25E+1"), "12.5");
    EXPECT_EQ(reread("1.25e2"), "125");
    EXPECT_EQ(reread("1.25e3"), "1250");
    EXPECT_EQ(reread("1.250e1"), "12.50");
    EXPECT_EQ(reread("1000e-3"), "1.000");
    EXPECT_EQ(reread("-1e00000000000000000000000000000002"), "-100");
    EXPECT_EQ(reread("1e37"), "1" + zeros(37));
    EXPECT_EQ(reread("1e38"), "null");
    EXPECT_EQ(reread("1e-38"), "0." + zeros(37) + "1");
    EXPECT_EQ(reread("1e-39"), "null");
}

TEST(RealTest, ZeroHasNoSignButKeepsItsPlaces) {
    EXPECT_EQ(reread("-0"), "0");
    EXPECT_EQ(reread("-0.00"), "0.00");
    EXPECT_FALSE(realOf("-0.00").isNegative());
    EXPECT_EQ(reread("0e5"), "0");
    EXPECT_EQ(reread("0.000e2"), "0.0");
    EXPECT_EQ(reread("0e-5"), "0.00000");
    EXPECT_EQ(reread("0." + zeros(500)), "0." + zeros(38));
}

TEST(RealTest, HugeExponentsNeitherOverflowNorTakeLong) {
    EXPECT_EQ(reread("0e999999999999"), "0");
    EXPECT_EQ(reread("0e-999999999999"), "0." + zeros(38));
    EXPECT_EQ(reread("1e999999999999"), "null");
    EXPECT_EQ(reread("1e-999999999999"), "null");
    EXPECT_EQ(reread("1e" + nines(1000)), "null");
    EXPECT_EQ(reread("1e-" + nines(1000)), "null");
    EXPECT_EQ(reread("0e" + nines(1000)), "0");
    EXPECT_EQ(reread("0.0e-" + nines(1000)), "0." + zeros(38));
}

TEST(RealTest, ManyZerosAreMadeUpForByTheExponent) {
    const std::string million = zeros(1'000'000);
    EXPECT_EQ(reread("0." + million + "25e1000001"), "2.5");
    EXPECT_EQ(reread("25" + million + "e-1000001"), "2.5" + zeros(36));
    EXPECT_EQ(reread(million + "25"), "25");
    EXPECT_EQ(reread("25." + million), "25." + zeros(36));
    EXPECT_EQ(reread("25" + million), "null");
    EXPECT_EQ(reread(million + "." + million), "0." + zeros(38));
}

TEST(RealTest, DropsOnlyTheZerosThatDoNotFit) {
    EXPECT_EQ(reread(nines(36) + ".90"), nines(36) + ".90");
    EXPECT_EQ(reread(nines(37) + ".90"), nines(37) + ".9");
    EXPECT_EQ(reread(nines(38) + ".00"), nines(38));
    EXPECT_EQ(reread(nines(38) + ".01"), "null");
    EXPECT_EQ(reread(nines(38) + "0"), "null");
    EXPECT_EQ(reread("1." + zeros(38)), "1." + zeros(37));
    EXPECT_EQ(reread("0." + nines(38) + "00"), "0." + nines(38));
    EXPECT_EQ(reread("0." + nines(39)), "null");
    EXPECT_EQ(reread(nines(38) + "00e-2"), nines(38));
    EXPECT_EQ(reread(nines(38) + "00e-1"), "null");
}

TEST(RealTest, RefusesWhatIsNoNumber) {
    for (const char* text : {"",
                             " ",
                             ".",
                             "-",
                             "+",
                             "e5",
                             ".e5",
                             "1e",
                             "1e+",
                             "1e-",
                             "1e 5",
                             "1 e5",
                             "--1",
                             "+-1",
                             "- 1",
                             "1.2.3",
                             "..1",
                             "1,5",
                             "1 2",
                             "abc",
                             "1x",
                             "0x10",
                             "nan",
                             "inf",
                             "-inf",
                             "1e5e5",
                             "1e5.0",
                             "1_000",
                             "\n1",
                             "1\n",
                             "\v1",
                             "1\f",
                             "\xc2\xa0"
                             "1",
                             "\xd9\xa1"}) {
        EXPECT_EQ(reread(text), "null") << '"' << text << '"';
    }
    KtbReal real;
    real.assign(7L);
    EXPECT_FALSE(real.assign(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(real.isNull());
}

TEST(RealTest, HoldsEveryScaleAtFullWidth) {
    for (std::size_t scale = 0; scale <= 38; ++scale) {
        const std::string whole = nines(38 - scale);
        const std::string text = (whole.empty() ? "0" : whole) + (scale == 0 ? "" : "." + nines(scale));
        EXPECT_EQ(reread(text), text);
        EXPECT_EQ(reread("-" + text), "-" + text);
        EXPECT_EQ(realOf(text).scale(), static_cast<int>(scale));
        const Words words = wordsOf(realOf("-" + text));
        EXPECT_EQ(words[0], signBit | scale);
        EXPECT_EQ(words[1], 0x4b3b4ca85a86c47aUL);  // 10^38 - 1
        EXPECT_EQ(words[2], 0x098a223fffffffffUL);
        EXPECT_EQ(textOf(realOfWords(words)), "-" + text);
    }
}

TEST(RealTest, HoldsEveryPowerOfTenAtEveryScale) {
    for (std::size_t power = 0; power < 38; ++power) {
        for (std::size_t scale = 0; scale <= 38; ++scale) {
            const std::string digits = power + 1 > scale ? "1" + zeros(power) : zeros(scale - power) + "1" + zeros(power);
            const std::size_t point = digits.size() - scale;
            const std::string text = digits.substr(0, point) + (scale == 0 ? "" : "." + digits.substr(point));
            EXPECT_EQ(reread("1" + zeros(power) + "e-" + std::to_string(scale)), text);
        }
    }
}

TEST(RealTest, ReadsEveryShortTextLikeTheModel) {
    const std::string alphabet = "017.e-+ ";
    const auto accepts = [](const std::string& text) {  // a hand-driven automaton of the same language
        enum State { before, signedUp, whole, lonePoint, fraction, mark, markSigned, power, after, dead };
        State state = before;
        for (const char c : text) {
            const bool digit = c >= '0' && c <= '9';
            const bool plus = c == '+' || c == '-';
            switch (state) {
                case before:
                    state = c == ' ' ? before : plus ? signedUp : digit ? whole : c == '.' ? lonePoint : dead;
                    break;
                case signedUp:
                    state = digit ? whole : c == '.' ? lonePoint : dead;
                    break;
                case whole:
                    state = digit ? whole : c == '.' ? fraction : c == 'e' ? mark : c == ' ' ? after : dead;
                    break;
                case lonePoint:
                    state = digit ? fraction : dead;
                    break;
                case fraction:
                    state = digit ? fraction : c == 'e' ? mark : c == ' ' ? after : dead;
                    break;
                case mark:
                    state = plus ? markSigned : digit ? power : dead;
                    break;
                case markSigned:
                    state = digit ? power : dead;
                    break;
                case power:
                    state = digit ? power : c == ' ' ? after : dead;
                    break;
                case after:
                    state = c == ' ' ? after : dead;
                    break;
                case dead:
                    break;
            }
        }
        return state == whole || state == fraction || state == power || state == after;
    };
    const auto check = [&](const std::string& text) {
        const KtbReal real = realOf(text);
        // Three digits of exponent can move the point out of reach, so only the form is checked there.
        if (!accepts(text)) {
            EXPECT_TRUE(real.isNull()) << '"' << text << '"';
        } else if (!real.isNull()) {
            EXPECT_EQ(real.asDouble(nullptr), std::strtod(text.c_str(), nullptr)) << '"' << text << '"';
        } else {
            EXPECT_NE(text.find('e'), std::string::npos) << '"' << text << '"';
        }
    };
    for (std::size_t size = 1; size <= 6; ++size) {
        std::size_t count = 1;
        for (std::size_t i = 0; i < size; ++i) count *= alphabet.size();
        for (std::size_t index = 0; index < count; ++index) {
            std::string text;
            for (std::size_t rest = index; text.size() < size; rest /= alphabet.size())
                text += alphabet[rest % alphabet.size()];
            check(text);
        }
    }
}

TEST(RealTest, ReadsRandomTextsLikeTheModel) {
    constexpr unsigned seed = 20261;
    SCOPED_TRACE(seed);
    Random random(seed);
    for (int round = 0; round < 40'000; ++round) {
        const Model model{random.below(2) == 0, random.digits(random.below(45)), random.digits(random.below(45))};
        const int exponent = random.below(2) == 0 ? 0 : static_cast<int>(random.below(121)) - 60;
        if (model.digits().empty()) continue;
        std::string text = (model.negative ? "-" : "") + model.whole + "." + model.fraction;
        if (exponent != 0 || random.below(4) == 0) text += "e" + std::to_string(exponent);
        ASSERT_EQ(reread(text), modelText(model, exponent)) << text;
    }
}

TEST(RealTest, WordsHaveTheirDocumentedPlaces) {
    EXPECT_EQ(wordsOf(realOf("12.50")), (Words{2, 0, 1250}));
    EXPECT_EQ(wordsOf(realOf("-12.50")), (Words{signBit | 2, 0, 1250}));
    EXPECT_EQ(wordsOf(realOf("0")), (Words{0, 0, 0}));
    EXPECT_EQ(wordsOf(realOf("18446744073709551616")), (Words{0, 1, 0}));
    EXPECT_EQ(wordsOf(realOf("18446744073709551615")), (Words{0, 0, ~0UL}));
    EXPECT_EQ(wordsOf(realOf("0." + zeros(37) + "1")), (Words{38, 0, 1}));
}

TEST(RealTest, WordsOfNoDecimalReadAsNull) {
    EXPECT_TRUE(realOfWords({39, 0, 1}).isNull());
    EXPECT_TRUE(realOfWords({255, 0, 1}).isNull());
    EXPECT_TRUE(realOfWords({0, 0x4b3b4ca85a86c47aUL, 0x098a224000000000UL}).isNull());  // 10^38
    EXPECT_TRUE(realOfWords({0, ~0UL, ~0UL}).isNull());
    for (int bit = 8; bit < 63; ++bit) EXPECT_TRUE(realOfWords({1UL << bit, 0, 1}).isNull()) << bit;
    EXPECT_FALSE(realOfWords({38, 0x4b3b4ca85a86c47aUL, 0x098a223fffffffffUL}).isNull());
}

TEST(RealTest, WordsOfNegativeZeroReadAsZero) {
    const KtbReal zero = realOfWords({signBit | 2, 0, 0});
    EXPECT_FALSE(zero.isNegative());
    EXPECT_EQ(textOf(zero), "0.00");
    EXPECT_EQ(wordsOf(zero), (Words{2, 0, 0}));
}

TEST(RealTest, NullWordsReadAsNullInBothByteOrders) {
    Words words = wordsOf(KtbReal());
    EXPECT_TRUE(realOfWords(words).isNull());
    for (unsigned long& word : words) word = __builtin_bswap64(word);
    EXPECT_TRUE(realOfWords(words).isNull());
}

TEST(RealTest, RandomWordsAreRefusedOrComeBackUnchanged) {
    constexpr unsigned seed = 20262;
    SCOPED_TRACE(seed);
    Random random(seed);
    int read = 0;
    for (int round = 0; round < 50'000; ++round) {
        const Words words{(random.word() & signBit) | random.below(48), random.word() >> random.below(64), random.word()};
        const KtbReal real = realOfWords(words);
        if (real.isNull()) continue;
        ++read;
        ASSERT_EQ(wordsOf(real), words);
        ASSERT_EQ(wordsOf(realOf(textOf(real))), words);
    }
    EXPECT_GT(read, 10'000);
}

TEST(RealTest, IntegersGoInAndOut) {
    for (const long number : {0L, 1L, -1L, 42L, -1000L, std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        KtbReal real;
        real.assign(number);
        EXPECT_EQ(textOf(real), std::to_string(number));
        EXPECT_EQ(real.scale(), 0);
        bool err = false;
        EXPECT_EQ(real.asInt64(&err), number);
        EXPECT_FALSE(err);
    }
}

TEST(RealTest, AnIntegerIsExactOrAnError) {
    const auto integer = [](const std::string& text) {
        bool err = false;
        const long number = realOf(text).asInt64(&err);
        if (err) {
            EXPECT_EQ(number, 0) << text;
            return std::string("error");
        }
        return std::to_string(number);
    };
    EXPECT_EQ(integer("12.00"), "12");
    EXPECT_EQ(integer("-12.00"), "-12");
    EXPECT_EQ(integer("12.01"), "error");
    EXPECT_EQ(integer("0." + zeros(37) + "1"), "error");
    EXPECT_EQ(integer("9223372036854775807"), "9223372036854775807");
    EXPECT_EQ(integer("9223372036854775808"), "error");
    EXPECT_EQ(integer("-9223372036854775808"), "-9223372036854775808");
    EXPECT_EQ(integer("-9223372036854775809"), "error");
    EXPECT_EQ(integer("9223372036854775807.0000000000000000000"), "9223372036854775807");
    EXPECT_EQ(integer("18446744073709551616"), "error");
    EXPECT_EQ(integer(nines(38)), "error");
    EXPECT_EQ(integer("no number"), "error");
    EXPECT_EQ(KtbReal().asInt64(nullptr), 0);
}

TEST(RealTest, ErrorFlagsAreNeverCleared) {
    bool err = true;
    EXPECT_EQ(realOf("5").asInt64(&err), 5);
    EXPECT_TRUE(err);
    EXPECT_EQ(realOf("5").asDouble(&err), 5.0);
    EXPECT_TRUE(err);
}

TEST(RealTest, DoublesBecomeTheirShortestText) {
    EXPECT_EQ(doubled(0.1), "0.1");
    EXPECT_EQ(doubled(0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(doubled(-2.5), "-2.5");
    EXPECT_EQ(doubled(100.0), "100");
    EXPECT_EQ(doubled(-0.0), "0");
    EXPECT_EQ(doubled(1e22), "1" + zeros(22));
    EXPECT_EQ(doubled(1e23), "1" + zeros(23));
    EXPECT_EQ(doubled(1e37), "1" + zeros(37));
    EXPECT_EQ(doubled(1e-38), "0." + zeros(37) + "1");
    EXPECT_EQ(doubled(0.5e-37), "0." + zeros(37) + "5");
}

TEST(RealTest, DoublesBeyondDecimalsBecomeNull) {
    EXPECT_EQ(doubled(1e38), "null");
    EXPECT_EQ(doubled(-1e300), "null");
    EXPECT_EQ(doubled(1.5e-38), "null");
    EXPECT_EQ(doubled(std::numeric_limits<double>::denorm_min()), "null");
    EXPECT_EQ(doubled(std::numeric_limits<double>::max()), "null");
    EXPECT_EQ(doubled(std::numeric_limits<double>::quiet_NaN()), "null");
    EXPECT_EQ(doubled(std::numeric_limits<double>::infinity()), "null");
    EXPECT_EQ(doubled(-std::numeric_limits<double>::infinity()), "null");
}

TEST(RealTest, RandomDoublesComeBackUnchanged) {
    constexpr unsigned seed = 20263;
    SCOPED_TRACE(seed);
    Random random(seed);
    for (int round = 0; round < 50'000; ++round) {
        const double mantissa = static_cast<double>(random.word() >> 11) * (random.below(2) == 0 ? 1 : -1);
        const double number = std::ldexp(mantissa, static_cast<int>(random.below(90)) - 70);
        KtbReal real;
        if (!real.assign(number)) {
            ASSERT_LT(std::abs(number), 1e-4);  // 17 digits always fit above this
            continue;
        }
        bool err = false;
        ASSERT_EQ(real.asDouble(&err), number);
        ASSERT_FALSE(err);
    }
}

TEST(RealTest, DoublesAreRoundedToNearestEven) {
    EXPECT_EQ(realOf("9007199254740993").asDouble(nullptr), 9007199254740992.0);  // a tie
    EXPECT_EQ(realOf("9007199254740995").asDouble(nullptr), 9007199254740996.0);  // a tie
    EXPECT_EQ(realOf("9007199254740993.0000000000000000000001").asDouble(nullptr), 9007199254740994.0);
    EXPECT_EQ(realOf("0.00").asDouble(nullptr), 0.0);
    EXPECT_FALSE(std::signbit(realOf("-0.00").asDouble(nullptr)));
    bool err = false;
    EXPECT_EQ(KtbReal().asDouble(&err), 0.0);
    EXPECT_TRUE(err);
}

TEST(RealTest, RandomDecimalsBecomeTheNearestDouble) {
    constexpr unsigned seed = 20264;
    SCOPED_TRACE(seed);
    Random random(seed);
    for (int round = 0; round < 20'000; ++round) {
        const std::string text = random.decimal().text();
        ASSERT_EQ(realOf(text).asDouble(nullptr), std::strtod(text.c_str(), nullptr)) << text;
    }
}

TEST(RealTest, ComparesByValue) {
    EXPECT_EQ(realOf("12.50").compare(realOf("12.5")), 0);
    EXPECT_EQ(realOf("0").compare(realOf("-0.000")), 0);
    EXPECT_LT(realOf("-1").compare(realOf("1")), 0);
    EXPECT_LT(realOf("-2").compare(realOf("-1.5")), 0);
    EXPECT_GT(realOf("1.50").compare(realOf("1.4999")), 0);
    EXPECT_GT(realOf(nines(38)).compare(realOf("0." + nines(38))), 0);
    EXPECT_LT(realOf("0." + nines(38)).compare(realOf(nines(38))), 0);
    EXPECT_LT(realOf("-" + nines(38)).compare(realOf("-0." + nines(38))), 0);
    EXPECT_EQ(realOf("1").compare(realOf("1." + zeros(37))), 0);
    EXPECT_LT(realOf("0." + zeros(37) + "1").compare(realOf("1")), 0);
    EXPECT_GT(realOf("0." + zeros(37) + "1").compare(realOf("0")), 0);
}

TEST(RealTest, NullSortsFirstAndEqualsOnlyNull) {
    EXPECT_EQ(KtbReal().compare(KtbReal()), 0);
    EXPECT_LT(KtbReal().compare(realOf("-" + nines(38))), 0);
    EXPECT_GT(realOf("-" + nines(38)).compare(KtbReal()), 0);
    EXPECT_LT(KtbReal().compare(realOf("0")), 0);
}

TEST(RealTest, ComparesEveryPairOfSmallDecimals) {
    std::vector<KtbReal> reals;
    std::vector<double> numbers;  // multiples of 1/1000 below 2, which doubles order rightly
    for (int scale = 0; scale <= 3; ++scale) {
        for (int coefficient = -20; coefficient <= 20; ++coefficient) {
            reals.push_back(realOf(std::to_string(coefficient) + "e-" + std::to_string(scale)));
            numbers.push_back(coefficient / std::pow(10, scale));
        }
    }
    for (std::size_t i = 0; i < reals.size(); ++i) {
        for (std::size_t j = 0; j < reals.size(); ++j) {
            const int expected = numbers[i] < numbers[j] ? -1 : numbers[i] > numbers[j] ? 1 : 0;
            ASSERT_EQ(sign(reals[i].compare(reals[j])), expected) << textOf(reals[i]) << ' ' << textOf(reals[j]);
        }
    }
}

TEST(RealTest, ComparesRandomDecimalsLikeTheModel) {
    constexpr unsigned seed = 20265;
    SCOPED_TRACE(seed);
    Random random(seed);
    for (int round = 0; round < 30'000; ++round) {
        const Model a = random.decimal();
        Model b = random.decimal();
        if (random.below(3) == 0) {  // the same value at another scale, or a neighbour
            b = a;
            if (b.significant() < 38 && b.fraction.size() < 38) b.fraction += random.below(2) == 0 ? "0" : "1";
        }
        ASSERT_EQ(sign(realOf(a.text()).compare(realOf(b.text()))), modelCompare(a, b)) << a.text() << ' ' << b.text();
        ASSERT_EQ(sign(realOf(b.text()).compare(realOf(a.text()))), modelCompare(b, a)) << a.text() << ' ' << b.text();
    }
}

TEST(RealTest, CopiesAndBecomesNull) {
    KtbReal real = realOf("-12.50");
    const KtbReal copy = real;
    real.setNull();
    EXPECT_TRUE(real.isNull());
    EXPECT_FALSE(real.isNegative());
    EXPECT_EQ(real.scale(), 0);
    EXPECT_EQ(textOf(copy), "-12.50");
    EXPECT_TRUE(copy.isNegative());
}

}  // namespace
