// Dates: the calendar against one that counts day by day, rounding, and the texts read and written.
#include "ktb/date.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr double day = 86'400;
const double lastSeconds = std::nextafter(KtbDate::secondsEnd, 0);

std::string textOf(const KtbDate& date, bool withTime = true) {
    const KtbString text = date.asString(withTime);
    EXPECT_EQ(text.isNull(), date.isNull());
    return text.isNull() ? "null" : text.asCstr();
}

std::string padded(int number, std::size_t width) {
    const std::string digits = std::to_string(number);
    return std::string(width - std::min(width, digits.size()), '0') + digits;
}

std::string momentOf(double seconds) { return textOf(KtbDate(seconds)); }

KtbDate dateOf(const std::string& text) {
    KtbDate date(1.0);
    const bool read = date.assign(text.c_str());
    EXPECT_EQ(read, !date.isNull()) << text;
    return date;
}

double secondsOf(const std::string& text) {
    const KtbDate date = dateOf(text);
    EXPECT_FALSE(date.isNull()) << text;
    return date.asDouble();
}

std::string reread(const std::string& text) { return textOf(dateOf(text)); }

// Counts through the calendar one day at a time.
struct Calendar {
    int year;
    int month;
    int dayOfMonth;

    bool leap() const { return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0); }
    int monthDays() const {
        static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        return month == 2 && leap() ? 29 : days[month - 1];
    }
    void next() {
        if (++dayOfMonth <= monthDays()) return;
        dayOfMonth = 1;
        if (++month <= 12) return;
        month = 1;
        ++year;
    }
    std::string text() const { return padded(year, 4) + "-" + padded(month, 2) + "-" + padded(dayOfMonth, 2); }
};

TEST(DateTest, StartsAsNull) {
    const KtbDate date;
    EXPECT_TRUE(date.isNull());
    EXPECT_EQ(date.asDouble(), 0.0);
    EXPECT_TRUE(date.asString(true).isNull());
    EXPECT_TRUE(date.asString(false).isNull());
    EXPECT_FALSE(date.isMidnight());
}

TEST(DateTest, CountsFrom1970) {
    EXPECT_EQ(momentOf(0), "1970-01-01T00:00:00");
    EXPECT_EQ(momentOf(1), "1970-01-01T00:00:01");
    EXPECT_EQ(momentOf(-1), "1969-12-31T23:59:59");
    EXPECT_EQ(momentOf(951'782'400), "2000-02-29T00:00:00");
    EXPECT_EQ(momentOf(1'234'567'890), "2009-02-13T23:31:30");
    EXPECT_EQ(momentOf(4'107'542'400), "2100-03-01T00:00:00");
}

TEST(DateTest, BothEndsOfTheRangeAreExact) {
    EXPECT_EQ(momentOf(KtbDate::secondsMin), "0001-01-01T00:00:00");
    EXPECT_EQ(momentOf(KtbDate::secondsEnd - 1), "9999-12-31T23:59:59");
    EXPECT_EQ(momentOf(lastSeconds), "9999-12-31T23:59:59.999969");
    EXPECT_EQ(momentOf(KtbDate::secondsEnd), "null");
    EXPECT_EQ(momentOf(std::nextafter(KtbDate::secondsMin, -1e18)), "null");
    EXPECT_EQ(secondsOf("0001-01-01"), KtbDate::secondsMin);
    EXPECT_EQ(secondsOf("9999-12-31T23:59:59"), KtbDate::secondsEnd - 1);
}

TEST(DateTest, NumbersThatAreNoDateBecomeNull) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds : {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity, 1e300, -1e300}) {
        KtbDate date(5.0);
        EXPECT_FALSE(date.assign(seconds)) << seconds;
        EXPECT_TRUE(date.isNull()) << seconds;
        EXPECT_EQ(date.asDouble(), 0.0) << seconds;
    }
}

TEST(DateTest, EveryDayMatchesTheNaiveCalendar) {
    Calendar calendar{1, 1, 1};
    long days = 0;
    for (double seconds = KtbDate::secondsMin; seconds < KtbDate::secondsEnd; seconds += day, calendar.next(), ++days) {
        // Four spans of 400 years and the last years, every day of them; elsewhere a day now and then.
        const bool dense = calendar.year <= 401 || (calendar.year >= 1600 && calendar.year <= 2401) || calendar.year >= 9600;
        if (!dense && days % 97 != 0) continue;
        const std::string text = calendar.text();
        ASSERT_EQ(textOf(KtbDate(seconds), false), text);
        ASSERT_EQ(secondsOf(text), seconds) << text;
    }
    EXPECT_EQ(days, 3'652'059);
    EXPECT_EQ(calendar.text(), "10000-01-01");
}

TEST(DateTest, KnowsTheLeapYears) {
    for (const char* text : {"2000-02-29", "1600-02-29", "2024-02-29", "0004-02-29", "9996-02-29"})
        EXPECT_EQ(reread(text), std::string(text) + "T00:00:00");
    for (const char* text : {"1900-02-29", "2100-02-29", "2023-02-29", "0001-02-29", "9999-02-29"})
        EXPECT_EQ(reread(text), "null");
}

TEST(DateTest, WritesDecimalsWithoutTrailingZeros) {
    EXPECT_EQ(momentOf(0.5), "1970-01-01T00:00:00.5");
    EXPECT_EQ(momentOf(0.25), "1970-01-01T00:00:00.25");
    EXPECT_EQ(momentOf(0.000001), "1970-01-01T00:00:00.000001");
    EXPECT_EQ(momentOf(1.1), "1970-01-01T00:00:01.1");
    EXPECT_EQ(momentOf(-0.25), "1969-12-31T23:59:59.75");
    EXPECT_EQ(textOf(KtbDate(0.5), false), "1970-01-01");
}

TEST(DateTest, RoundsToTheMicrosecondWithCarry) {
    EXPECT_EQ(momentOf(0.0000004), "1970-01-01T00:00:00");
    EXPECT_EQ(momentOf(0.0000006), "1970-01-01T00:00:00.000001");
    EXPECT_EQ(momentOf(0.9999996), "1970-01-01T00:00:01");
    EXPECT_EQ(momentOf(day - 0.0000001), "1970-01-02T00:00:00");
    EXPECT_EQ(momentOf(-0.0000004), "1970-01-01T00:00:00");
    EXPECT_EQ(momentOf(-0.0000006), "1969-12-31T23:59:59.999999");
    EXPECT_EQ(momentOf(-1e-300), "1970-01-01T00:00:00");
    EXPECT_EQ(momentOf(-0.9999996), "1969-12-31T23:59:59");
    EXPECT_EQ(textOf(KtbDate(-0.0000004), false), "1970-01-01");
    EXPECT_EQ(textOf(KtbDate(-0.0000006), false), "1969-12-31");
    EXPECT_EQ(textOf(KtbDate(day - 0.0000001), false), "1970-01-02");
}

TEST(DateTest, MidnightIsJudgedAfterRounding) {
    EXPECT_TRUE(KtbDate(0.0).isMidnight());
    EXPECT_TRUE(KtbDate(-day).isMidnight());
    EXPECT_TRUE(KtbDate(KtbDate::secondsMin).isMidnight());
    EXPECT_TRUE(KtbDate(-0.0000004).isMidnight());
    EXPECT_TRUE(KtbDate(day - 0.0000001).isMidnight());
    EXPECT_FALSE(KtbDate(0.000001).isMidnight());
    EXPECT_FALSE(KtbDate(-0.000001).isMidnight());
    EXPECT_FALSE(KtbDate(43'200.0).isMidnight());
    EXPECT_FALSE(KtbDate(lastSeconds).isMidnight());
}

TEST(DateTest, ReadsDateAndTime) {
    EXPECT_EQ(secondsOf("1970-01-01"), 0.0);
    EXPECT_EQ(secondsOf("1970-01-01T00:00:01"), 1.0);
    EXPECT_EQ(secondsOf("1970-01-01 01:02:03"), 3723.0);
    EXPECT_EQ(secondsOf("1970-01-01\t01:02:03"), 3723.0);
    EXPECT_EQ(secondsOf("1970-01-01T00:00:00.1"), 0.1);
    EXPECT_EQ(secondsOf("1970-01-01T00:00:00.000001"), 0.000001);
    EXPECT_EQ(secondsOf("1970-01-01T00:00:00.100000"), 0.1);
    EXPECT_EQ(secondsOf("1969-12-31T23:59:59.9"), -0.1);
    EXPECT_EQ(secondsOf("  1970-01-02 \t"), day);
    EXPECT_EQ(secondsOf("\t1970-01-01T23:59:59 "), day - 1);
    EXPECT_EQ(secondsOf("1970-01-01 00:00:02.5 "), 2.5);
}

TEST(DateTest, TheVeryEndBecomesTheLastMomentThatIsADate) {
    EXPECT_EQ(secondsOf("9999-12-31T23:59:59.999999"), lastSeconds);
    EXPECT_EQ(secondsOf("9999-12-31T23:59:59.99997"), lastSeconds);
}

TEST(DateTest, RefusesWhatIsNoDate) {
    for (const char* text : {"",
                             " ",
                             "1970",
                             "1970-01",
                             "1970-1-1",
                             "70-01-01",
                             "01970-01-01",
                             "19700101",
                             "1970/01/01",
                             "1970-01-01T",
                             "1970-01-01x",
                             "1970-01-01T1:02:03",
                             "1970-01-01T01:02",
                             "1970-01-01T01:02:",
                             "1970-01-01T01:02:3",
                             "1970-01-01T01:02:03.",
                             "1970-01-01T01:02:03. ",
                             "1970-01-01T01:02:03.1234567",
                             "1970-01-01T01:02:03.1000000",
                             "1970-01-01T01:02:03.1.2",
                             "1970-01-01T01:02:03Z",
                             "1970-01-01T01:02:03+00:00",
                             "1970-01-01t01:02:03",
                             "1970-01-01  01:02:03",
                             "1970-01-01T 01:02:03",
                             "1970-01-01 T01:02:03",
                             "-1970-01-01",
                             "+1970-01-01",
                             "1970-01-01T01-02-03",
                             "1970-01-01\n",
                             "1970-01-01T01:02:03,5",
                             "197a-01-01",
                             "null",
                             "1970-01-01 1",
                             "1970 -01-01"}) {
        EXPECT_EQ(reread(text), "null") << '"' << text << '"';
    }
    KtbDate date(1.0);
    EXPECT_FALSE(date.assign(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(date.isNull());
}

TEST(DateTest, RefusesWhatNamesNoRealMoment) {
    for (const char* text : {"0000-01-01", "0000-12-31", "1970-00-01", "1970-13-01", "1970-01-00", "1970-01-32", "1970-04-31",
                             "1970-06-31", "1970-09-31", "1970-11-31", "1970-02-29", "1970-01-01T24:00:00",
                             "1970-01-01T23:60:00", "1970-01-01T23:59:60", "1970-01-01T99:99:99"}) {
        EXPECT_EQ(reread(text), "null") << text;
    }
}

TEST(DateTest, EveryFieldValueIsAcceptedExactlyWhenItIsReal) {
    for (int value = 0; value < 100; ++value) {
        const std::string field = padded(value, 2);
        EXPECT_EQ(dateOf("2001-" + field + "-01").isNull(), value < 1 || value > 12);
        EXPECT_EQ(dateOf("2001-01-" + field).isNull(), value < 1 || value > 31);
        EXPECT_EQ(dateOf("2001-01-01T" + field + ":00:00").isNull(), value > 23);
        EXPECT_EQ(dateOf("2001-01-01T00:" + field + ":00").isNull(), value > 59);
        EXPECT_EQ(dateOf("2001-01-01T00:00:" + field).isNull(), value > 59);
    }
}

TEST(DateTest, EverySecondOfADayComesBack) {
    for (int second = 0; second < 86'400; ++second) {
        const std::string text =
            "1969-12-31T" + padded(second / 3600, 2) + ":" + padded(second / 60 % 60, 2) + ":" + padded(second % 60, 2);
        ASSERT_EQ(secondsOf(text), second - day);
        ASSERT_EQ(momentOf(second - day), text);
    }
}

TEST(DateTest, EveryChangedByteOfAMomentIsRefusedOrReadExactly) {
    const std::string moment = "2004-02-29T12:34:56.123456";
    for (std::size_t at = 0; at < moment.size(); ++at) {
        for (int byte = 1; byte < 256; ++byte) {
            std::string text = moment;
            text[at] = static_cast<char>(byte);
            const std::string back = reread(text);
            if (back == "null") continue;
            std::string expected = text;
            // A blank or a tab for the T is written as a T, and zeros that end the decimals are not written.
            if (at == 10) expected[at] = 'T';
            if (at == 25 && (byte == '0' || byte == ' ' || byte == '\t')) expected.pop_back();
            // In centuries far from 1970 doubles are more than a microsecond apart.
            const std::size_t exact = at < 2 ? 19 : std::string::npos;
            EXPECT_EQ(back.substr(0, exact), expected.substr(0, exact));
        }
    }
}

TEST(DateTest, MicrosecondsComeBackFromTheirTextsWhereDoublesHaveThem) {
    constexpr unsigned seed = 19701;
    SCOPED_TRACE(seed);
    std::mt19937_64 engine(seed);
    // Up to 2^32 seconds from 1970 neighbouring doubles are less than a microsecond apart, so every such text has its own.
    std::uniform_int_distribution<long> moments(-4'294'967'296'000'000, 4'294'967'296'000'000);
    for (int round = 0; round < 50'000; ++round) {
        const long micros = moments(engine);
        const std::string text = momentOf(static_cast<double>(micros) / 1e6);
        ASSERT_EQ(secondsOf(text), static_cast<double>(micros) / 1e6) << text;
        ASSERT_EQ(reread(text), text);
    }
}

TEST(DateTest, RandomMomentsBecomeTheNearestDouble) {
    constexpr unsigned seed = 19703;
    SCOPED_TRACE(seed);
    std::mt19937_64 engine(seed);
    std::uniform_int_distribution<long> moments(-62'135'596'800, 253'402'300'799);
    std::uniform_int_distribution<int> decimals(0, 999'999);
    for (int round = 0; round < 50'000; ++round) {
        const long whole = moments(engine);
        const std::string fraction = padded(decimals(engine), 6);
        const std::string date = momentOf(static_cast<double>(whole)) + "." + fraction;
        // Before 1970 the fraction counts towards it.
        const std::string exact = whole >= 0 ? std::to_string(whole) + "." + fraction
                                             : std::to_string(whole + 1) + "." + padded(1'000'000 - std::stoi(fraction), 6);
        if (whole < 0 && (whole == -1 || fraction == "000000")) continue;
        ASSERT_EQ(secondsOf(date), std::min(std::strtod(exact.c_str(), nullptr), lastSeconds)) << date;
    }
}

TEST(DateTest, EveryDoubleFarFrom1970ComesBackFromItsText) {
    constexpr unsigned seed = 19702;
    SCOPED_TRACE(seed);
    std::mt19937_64 engine(seed);
    // Beyond 2^33 seconds from 1970 doubles are more than a microsecond apart, so each has its own text.
    std::uniform_real_distribution<double> late(8'589'934'592.0, KtbDate::secondsEnd);
    std::uniform_real_distribution<double> early(KtbDate::secondsMin, -8'589'934'592.0);
    for (int round = 0; round < 50'000; ++round) {
        const double seconds = round % 2 == 0 ? late(engine) : early(engine);
        ASSERT_EQ(secondsOf(momentOf(seconds)), seconds);
    }
}

}  // namespace
