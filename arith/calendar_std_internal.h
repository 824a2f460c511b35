// calendar_std_internal.h - the proleptic Gregorian calendar and the
// datetime instants that the standard datetime routines share (calendar_std,
// evalint_std, parsehelp_std_datetime, functions_datetime_std). Internal:
// not part of the public headers.
//
// Days are counted from 1 January 1970 in 64 bits (Julian Day Number
// 2440588), years astronomically (0 is 1 BC), with floor divisions, so that
// every input has a defined answer. An instant is a day count and the
// nanoseconds of that day, or one signed 128-bit count of nanoseconds.
// Everything here is constexpr and allocation-free, and holds nothing with a
// destructor, so it may run in frames an error exit (longjmp) crosses.
#ifndef KXSUPP_ARITH_CALENDAR_STD_INTERNAL_H
#define KXSUPP_ARITH_CALENDAR_STD_INTERNAL_H

#include <stdint.h>

#include "kxsupp/common.h"

namespace kx::stdcal {

typedef __int128 i128;

inline constexpr int64_t kNanosPerSecond = 1000000000;
inline constexpr int64_t kSecondsPerDay = 86400;
inline constexpr int64_t kNanosPerDay = kSecondsPerDay * kNanosPerSecond;
// Julian Day Number of 1 January 1970.
inline constexpr int64_t kEpochJdn = 2440588;
// The years a datetime value may hold.
inline constexpr int64_t kMinYear = 1;
inline constexpr int64_t kMaxYear = 9999;

// Quotient and remainder rounded toward minus infinity (b > 0).
constexpr int64_t floor_div(int64_t a, int64_t b)
{
    return a / b - ((a % b != 0) && (a < 0));
}
constexpr int64_t floor_mod(int64_t a, int64_t b)
{
    return a - floor_div(a, b) * b;
}
constexpr i128 floor_div128(i128 a, i128 b)
{
    return a / b - ((a % b != 0) && (a < 0));
}
constexpr i128 floor_mod128(i128 a, i128 b)
{
    return a - floor_div128(a, b) * b;
}

constexpr bool is_leap(int64_t year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// The months' lengths in a common year (one table, not one per call).
inline constexpr int8_t kMonthLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Length of a month 1..12 of a year.
constexpr int32_t days_in_month(int64_t year, int32_t month)
{
    return month == 2 && is_leap(year) ? 29 : kMonthLengths[month - 1];
}

// The days from 1 March to the first of each month 1..12, in the year that
// starts on 1 March: (153 x (month - 3 mod 12) + 2) / 5.
inline constexpr int16_t kDaysFromMarch[12] = {306, 337, 0,   31,  61,  92,
                                               122, 153, 184, 214, 245, 275};

// Days from 1970-01-01 to a date, months counted from March so that the
// leap day ends the year (400-year eras of 146097 days). The month must be
// 1..12; the day may run past the month's end and counts on.
constexpr int64_t days_from_civil(int64_t year, int32_t month, int64_t day)
{
    int64_t y = year - (month <= 2);
    if (y >= 0 && y < (int64_t{1} << 40) && day >= 1 && day <= 31) {
        // the years from 0 on, every real date's: the same count in
        // unsigned arithmetic, whose divisions need no sign corrections,
        // over whole years from 0000-03-01 (the eras' 146097 days are
        // 400 x 365 + 100 - 4 + 1) and the months' days from a table
        uint64_t uy = static_cast<uint64_t>(y);
        uint64_t before = uy * 365 + uy / 4 - uy / 100 + uy / 400;
        return static_cast<int64_t>(before + kDaysFromMarch[month - 1]) + day - 1 - 719468;
    }
    int64_t era = floor_div(y, 400);
    int64_t year_of_era = y - era * 400;                                  // 0..399
    int64_t day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    return era * 146097 + day_of_era - 719468;
}

struct Civil {
    int64_t year;
    int32_t month;
    int32_t day;
};

// The date of a day count from 1970-01-01 (the inverse of days_from_civil).
constexpr Civil civil_from_days(int64_t days)
{
    if (days >= -719468 && days < (int64_t{1} << 40)) {
        // from 0000-03-01 on, every real date's: unsigned arithmetic
        uint64_t z = static_cast<uint64_t>(days + 719468);
        uint64_t era = z / 146097;
        uint64_t day_of_era = z - era * 146097;
        uint64_t year_of_era =
            (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
        uint64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
        uint64_t mp = (5 * day_of_year + 2) / 153;
        int32_t day = static_cast<int32_t>(day_of_year - (153 * mp + 2) / 5 + 1);
        int32_t month = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
        return Civil{static_cast<int64_t>(year_of_era + era * 400) + (month <= 2), month, day};
    }
    int64_t z = days + 719468;
    int64_t era = floor_div(z, 146097);
    int64_t day_of_era = z - era * 146097;                                              // 0..146096
    int64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    int64_t mp = (5 * day_of_year + 2) / 153;                                           // 0 is March
    int32_t day = static_cast<int32_t>(day_of_year - (153 * mp + 2) / 5 + 1);
    int32_t month = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
    return Civil{year_of_era + era * 400 + (month <= 2), month, day};
}

// 0 Sunday .. 6 Saturday of a day count (1970-01-01 was a Thursday).
constexpr int32_t weekday(int64_t days)
{
    return static_cast<int32_t>(floor_mod(days + 4, 7));
}

constexpr bool valid_date(int64_t year, int64_t month, int64_t day)
{
    return year >= kMinYear && year <= kMaxYear && month >= 1 && month <= 12 && day >= 1 &&
           day <= days_in_month(year, static_cast<int32_t>(month));
}

constexpr bool valid_time(int64_t hour, int64_t minute, int64_t second)
{
    return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 59;
}

// A datetime as days from 1970-01-01 and nanoseconds into the day.
struct Instant {
    int64_t days;
    int64_t nanos;  // 0 .. kNanosPerDay - 1
};

constexpr i128 total_nanos(const Instant &t)
{
    return static_cast<i128>(t.days) * kNanosPerDay + t.nanos;
}

constexpr Instant instant_of(i128 nanos)
{
    return Instant{static_cast<int64_t>(floor_div128(nanos, kNanosPerDay)),
                   static_cast<int64_t>(floor_mod128(nanos, kNanosPerDay))};
}

// An instant moved by seconds and nanoseconds of any sign: the instant
// instant_of(total_nanos(t) + seconds x 10^9 + nanoseconds), worked out in
// 64 bits without a 128-bit division. Each shift is split into whole days
// and a part of a day; the parts of a day add up to less than three days.
// t must be a real instant (nanos 0 .. kNanosPerDay - 1) whose days lie
// within +-2^40, as every datetime's do.
constexpr Instant shifted(const Instant &t, int64_t seconds, int64_t nanoseconds)
{
    // remainders taken first, so that no product passes 64 bits
    int64_t second_days = seconds / kSecondsPerDay;
    int64_t second_rest = seconds % kSecondsPerDay;
    if (second_rest < 0) {
        second_rest += kSecondsPerDay;   // 0 .. 86399
        second_days -= 1;
    }
    int64_t nano_days = nanoseconds / kNanosPerDay;
    int64_t nano_rest = nanoseconds % kNanosPerDay;
    if (nano_rest < 0) {
        nano_rest += kNanosPerDay;   // 0 .. one day less 1 ns
        nano_days -= 1;
    }
    int64_t nanos = t.nanos + second_rest * kNanosPerSecond + nano_rest;  // below 3 days
    int64_t carry = nanos / kNanosPerDay;
    return Instant{t.days + second_days + nano_days + carry, nanos - carry * kNanosPerDay};
}

constexpr int64_t time_nanos(int64_t hour, int64_t minute, int64_t second, int64_t fraction)
{
    return ((hour * 60 + minute) * 60 + second) * kNanosPerSecond + fraction;
}

constexpr Instant instant_of(const DateStruct &d)
{
    return Instant{days_from_civil(d.year, d.month, d.day), 0};
}

constexpr Instant instant_of(const TimestampStruct &t)
{
    return Instant{days_from_civil(t.year, t.month, t.day),
                   time_nanos(t.hour, t.minute, t.second, t.fraction)};
}

// The timestamp record of an instant whose year is already known to lie in
// 1..9999.
constexpr TimestampStruct timestamp_of(const Instant &t)
{
    Civil c = civil_from_days(t.days);
    int64_t seconds = t.nanos / kNanosPerSecond;
    return TimestampStruct{static_cast<int16_t>(c.year),
                           static_cast<uint16_t>(c.month),
                           static_cast<uint16_t>(c.day),
                           static_cast<uint16_t>(seconds / 3600),
                           static_cast<uint16_t>(seconds / 60 % 60),
                           static_cast<uint16_t>(seconds % 60),
                           static_cast<uint32_t>(t.nanos % kNanosPerSecond)};
}

// Whether a day count lies in the years 1..9999.
constexpr bool day_in_range(int64_t days)
{
    return days >= days_from_civil(kMinYear, 1, 1) && days <= days_from_civil(kMaxYear, 12, 31);
}

// Whether the record holds a real date, time or timestamp.
constexpr bool valid(const DateStruct &d)
{
    return valid_date(d.year, d.month, d.day);
}
constexpr bool valid(const TimeStruct &t)
{
    return valid_time(t.hour, t.minute, t.second);
}
constexpr bool valid(const TimestampStruct &t)
{
    return valid_date(t.year, t.month, t.day) && valid_time(t.hour, t.minute, t.second) &&
           t.fraction < kNanosPerSecond;
}

static_assert(shifted(Instant{5, 0}, -1, 0).days == 4);
static_assert(shifted(Instant{5, 0}, -1, 0).nanos == kNanosPerDay - kNanosPerSecond);
static_assert(shifted(Instant{0, kNanosPerDay - 1}, 86399, kNanosPerDay + 1).days == 2);
static_assert(shifted(Instant{0, kNanosPerDay - 1}, 86399, kNanosPerDay + 1).nanos ==
              86399 * kNanosPerSecond);
static_assert(shifted(Instant{7, 1}, INT64_MIN, INT64_MIN).nanos ==
              instant_of(total_nanos(Instant{7, 1}) +
                         static_cast<i128>(INT64_MIN) * kNanosPerSecond + INT64_MIN)
                  .nanos);
static_assert(shifted(Instant{7, 1}, INT64_MIN, INT64_MIN).days ==
              instant_of(total_nanos(Instant{7, 1}) +
                         static_cast<i128>(INT64_MIN) * kNanosPerSecond + INT64_MIN)
                  .days);
static_assert(shifted(Instant{-7, 5}, INT64_MAX, INT64_MAX).days ==
              instant_of(total_nanos(Instant{-7, 5}) +
                         static_cast<i128>(INT64_MAX) * kNanosPerSecond + INT64_MAX)
                  .days);
constexpr bool months_from_march_agree()
{
    for (int32_t month = 1; month <= 12; ++month)
        if (kDaysFromMarch[month - 1] != (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5)
            return false;
    return true;
}
static_assert(months_from_march_agree());

// The unsigned branches agree with the signed formulas around their edges.
constexpr bool both_ways_agree(int64_t from, int64_t to)
{
    for (int64_t d = from; d <= to; ++d) {
        Civil c = civil_from_days(d);
        if (days_from_civil(c.year, c.month, c.day) != d)
            return false;
    }
    return true;
}
static_assert(both_ways_agree(-719468 - 800, -719468 + 800));   // around 0000-03-01
static_assert(both_ways_agree(-800, 800));
static_assert(civil_from_days(-719469).year == 0 && civil_from_days(-719469).month == 2 &&
              civil_from_days(-719469).day == 29);
static_assert(days_from_civil(1970, 1, 1) == 0);
static_assert(days_from_civil(2000, 1, 1) + kEpochJdn == 2451545);
static_assert(civil_from_days(days_from_civil(2004, 2, 29)).day == 29);
static_assert(weekday(0) == 4);

}  // namespace kx::stdcal

#endif
