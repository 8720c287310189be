// KtbDate: a date with a time of day, or null.
//
// Value:     seconds since 1970-01-01T00:00:00 as a double, in the proleptic Gregorian calendar, without time zone or leap
//            seconds, from 0001-01-01T00:00:00 up to but not including 10000-01-01T00:00:00. Any other number (NaN, infinity,
//            beyond) is a null date.
// Memory:    no heap.
// Threads:   one thread at a time per object; const operations may run in parallel.
#ifndef KTB_DATE_H
#define KTB_DATE_H

#include "ktb/export.h"
#include "ktb/string.h"

class KTB_API KtbDate {
public:
    static constexpr double secondsMin = -62135596800.0;  // 0001-01-01T00:00:00
    static constexpr double secondsEnd = 253402300800.0;  // 10000-01-01T00:00:00, the first second that is no date

    KtbDate() noexcept : seconds_(0), null_(true) {}
    explicit KtbDate(double seconds) noexcept { assign(seconds); }

    // Returns false and becomes null when `seconds` is outside the range.
    bool assign(double seconds) noexcept {
        null_ = !(seconds >= secondsMin && seconds < secondsEnd);
        seconds_ = null_ ? 0 : seconds;
        return !null_;
    }

    // Reads YYYY-MM-DD, alone or followed by T or a blank and hh:mm:ss with up to six decimals of a second; blanks around the
    // whole are accepted. Returns false and becomes null when the text is not of this form or names no real moment (a
    // month 13, a second 60); `text` may be null.
    bool assign(const char* text) noexcept;

    // With `withTime` YYYY-MM-DDThh:mm:ss, and up to six decimals of a second when there are any, without trailing zeros;
    // otherwise YYYY-MM-DD. The time is rounded to the nearest microsecond first. A null gives a null text.
    KtbString asString(bool withTime) const noexcept;

    // Whether the time of day is 00:00:00 after rounding to the nearest microsecond; false for null.
    bool isMidnight() const noexcept;

    double asDouble() const noexcept { return seconds_; }  // 0 for null
    bool isNull() const noexcept { return null_; }
    void setNull() noexcept { *this = KtbDate(); }

private:
    double seconds_;
    bool null_;
};

#endif
