// KtbDate: the calendar behind the seconds.
//
// Text and arithmetic meet in a count of microseconds since 1970, an exact 64-bit integer over the whole range; a double is
// rounded to it once, on the way to a text, and made from it once, on the way from one.
#include "ktb/date.h"

#include <cmath>
#include <cstdlib>

#include "ktb/real.h"
#include "value/text_scan.h"

namespace {

constexpr long microsPerSecond = 1'000'000;
constexpr long secondsPerDay = 86'400;
constexpr long microsPerDay = secondsPerDay * microsPerSecond;

struct Civil {
    long year;
    int month;  // 1 to 12
    int day;    // 1 to 31
};

struct TimeOfDay {
    int hour = 0;
    int minute = 0;
    int second = 0;
    int micros = 0;
};

// The two conversions are those of Howard Hinnant's "chrono-Compatible Low-Level Date Algorithms": years that begin in March
// put the leap day last, so that a day's place in its year follows from its month by one linear formula; 400 years always have
// the same number of days. Years before 1 do not occur, so the eras need no rounding towards negative infinity.
constexpr long daysPerEra = 146'097;
constexpr long daysFromMarchOfYear0To1970 = 719'468;

constexpr long daysFromCivil(const Civil& date) {
    const long year = date.year - (date.month <= 2 ? 1 : 0);
    const long era = year / 400;
    const long yearOfEra = year % 400;
    const long monthFromMarch = (date.month + 9) % 12;
    const long dayOfYear = (153 * monthFromMarch + 2) / 5 + date.day - 1;
    const long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * daysPerEra + dayOfEra - daysFromMarchOfYear0To1970;
}

constexpr Civil civilFromDays(long days) {
    const long shifted = days + daysFromMarchOfYear0To1970;
    const long era = shifted / daysPerEra;
    const long dayOfEra = shifted % daysPerEra;
    const long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long monthFromMarch = (5 * dayOfYear + 2) / 153;
    const long day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    const long month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    return {year, static_cast<int>(month), static_cast<int>(day)};
}

static_assert(daysFromCivil({1970, 1, 1}) == 0);
static_assert(static_cast<double>(daysFromCivil({1, 1, 1}) * secondsPerDay) == KtbDate::secondsMin);
static_assert(static_cast<double>(daysFromCivil({10'000, 1, 1}) * secondsPerDay) == KtbDate::secondsEnd);

bool isLeapYear(long year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int daysInMonth(long year, int month) {
    if (month == 2) return isLeapYear(year) ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool isReal(const Civil& date) {
    return date.year >= 1 && date.month >= 1 && date.month <= 12 && date.day >= 1 &&
           date.day <= daysInMonth(date.year, date.month);
}

bool isReal(const TimeOfDay& time) { return time.hour < 24 && time.minute < 60 && time.second < 60; }

// Seconds and fraction are taken apart before scaling, because their product with a million has more digits than a double.
long microsFromSeconds(double seconds) {
    const double whole = std::trunc(seconds);
    return static_cast<long>(whole) * microsPerSecond + std::lround((seconds - whole) * static_cast<double>(microsPerSecond));
}

// Up to here a count of microseconds is exact as a double, so that dividing it rounds once; farther from 1970 it would round
// twice.
constexpr long exactMicrosMax = 1L << 53;

double nearestSeconds(long micros) {
    if (std::abs(micros) <= exactMicrosMax) return static_cast<double>(micros) / static_cast<double>(microsPerSecond);
    const auto magnitude = static_cast<unsigned long>(std::abs(micros));
    const unsigned long words[3] = {(micros < 0 ? 1UL << 63 : 0) | 6, 0, magnitude};
    KtbReal exact;
    (void)exact.assignFD(words);  // always a decimal: at most 18 digits
    return exact.asDouble(nullptr);
}

// The last moments of 9999 are nearest to the end of the range, which is no date: they become the last one that is.
double secondsFromMicros(long micros) {
    const double seconds = nearestSeconds(micros);
    return seconds < KtbDate::secondsEnd ? seconds : std::nextafter(KtbDate::secondsEnd, 0);
}

// Days are counted downwards too, and the time of day upwards within its day.
struct Moment {
    long days;
    long microsOfDay;  // 0 to microsPerDay - 1
};

Moment momentFromSeconds(double seconds) {
    const long micros = microsFromSeconds(seconds);
    const long microsOfDay = (micros % microsPerDay + microsPerDay) % microsPerDay;
    return {(micros - microsOfDay) / microsPerDay, microsOfDay};
}

// Reads exactly `digits` digits; null when there are fewer, and for the null that an earlier step left.
const char* readNumber(const char* text, int digits, int* number) {
    *number = 0;
    if (text == nullptr) return nullptr;
    for (; digits > 0; --digits, ++text) {
        if (!isDigit(*text)) return nullptr;
        *number = *number * 10 + digitValue(*text);
    }
    return text;
}

const char* readMark(const char* text, char mark) { return text != nullptr && *text == mark ? text + 1 : nullptr; }

const char* readCivil(const char* text, Civil* date) {
    int year = 0;
    text = readMark(readNumber(text, 4, &year), '-');
    text = readMark(readNumber(text, 2, &date->month), '-');
    text = readNumber(text, 2, &date->day);
    date->year = year;
    return text;
}

// One to six decimals after a point; more could not be kept, and dropping them would be silent.
const char* readDecimals(const char* text, int* micros) {
    if (!isDigit(*text)) return nullptr;
    for (long unit = microsPerSecond / 10; isDigit(*text); unit /= 10, ++text) {
        if (unit == 0) return nullptr;
        *micros += digitValue(*text) * static_cast<int>(unit);
    }
    return text;
}

const char* readTime(const char* text, TimeOfDay* time) {
    text = readMark(readNumber(text, 2, &time->hour), ':');
    text = readMark(readNumber(text, 2, &time->minute), ':');
    text = readNumber(text, 2, &time->second);
    return text != nullptr && *text == '.' ? readDecimals(text + 1, &time->micros) : text;
}

bool readMoment(const char* text, Civil* date, TimeOfDay* time) {
    text = readCivil(skipBlanks(text), date);
    if (text == nullptr) return false;
    // A blank begins the time only when a digit follows; otherwise it is one of those that may end the text.
    if (*text == 'T' || (isBlank(*text) && isDigit(text[1]))) text = readTime(text + 1, time);
    return text != nullptr && *skipBlanks(text) == 0;
}

// "YYYY-MM-DDThh:mm:ss.ffffff"
struct DateText {
    char bytes[26];
    int size = 0;

    void addMark(char mark) { bytes[size++] = mark; }
    // A number of two digits.
    void addPair(long number) {
        const auto pair = static_cast<unsigned>(number);
        bytes[size++] = static_cast<char>('0' + pair / 10);
        bytes[size++] = static_cast<char>('0' + pair % 10);
    }
};

void writeCivil(const Civil& date, DateText* text) {
    text->addPair(date.year / 100);
    text->addPair(date.year % 100);
    text->addMark('-');
    text->addPair(date.month);
    text->addMark('-');
    text->addPair(date.day);
}

void writeTime(long microsOfDay, DateText* text) {
    const long second = microsOfDay / microsPerSecond;
    text->addMark('T');
    text->addPair(second / 3600);
    text->addMark(':');
    text->addPair(second / 60 % 60);
    text->addMark(':');
    text->addPair(second % 60);
    const long micros = microsOfDay % microsPerSecond;
    if (micros == 0) return;
    text->addMark('.');
    text->addPair(micros / 10000);
    text->addPair(micros / 100 % 100);
    text->addPair(micros % 100);
    while (text->bytes[text->size - 1] == '0') --text->size;
}

}  // namespace

bool KtbDate::assign(const char* text) noexcept {
    Civil date{};
    TimeOfDay time;
    if (text == nullptr || !readMoment(text, &date, &time) || !isReal(date) || !isReal(time)) {
        setNull();
        return false;
    }
    const long seconds = daysFromCivil(date) * secondsPerDay + time.hour * 3600 + time.minute * 60 + time.second;
    return assign(secondsFromMicros(seconds * microsPerSecond + time.micros));
}

KtbString KtbDate::asString(bool withTime) const noexcept {
    if (null_) return KtbString(nullptr);
    const Moment moment = momentFromSeconds(seconds_);
    DateText text;
    writeCivil(civilFromDays(moment.days), &text);
    if (withTime) writeTime(moment.microsOfDay, &text);
    KtbString result;
    result.assign(text.bytes, text.size);
    return result;
}

bool KtbDate::isMidnight() const noexcept { return !null_ && momentFromSeconds(seconds_).microsOfDay == 0; }
