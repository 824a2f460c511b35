/*
 * calendar_std - the standard family's calendar: day numbers by the
 * proleptic Gregorian calendar, date checks, and now.
 *
 * Exports kxstd_ymd_to_day, kxstd_day_to_ymd, kxstd_valid_date,
 * kxstd_current_date and kxstd_current_timestamp.
 *
 * A day number is a Julian Day Number (1 January 2000 is 2451545), counted
 * by the Gregorian rule for every date, before 1582 too, as Python's
 * datetime.date, PostgreSQL and MySQL count; the family's ymd_to_jdnl in
 * automatic mode agrees from 14 September 1752 on and goes by the Julian
 * calendar before. Years count astronomically (0 is 1 BC). The arithmetic
 * is 64-bit with floor divisions (calendar_std_internal.h), so no input is
 * undefined behaviour.
 *
 * Now is one reading of the realtime clock, at nanosecond resolution, in
 * the local time zone: the date and the time of day always belong to the
 * same instant (the family's current_year, current_month and current_day
 * read the clock once each, and can straddle midnight).
 */
#include <stdint.h>
#include <time.h>

#include "arith/calendar_std_internal.h"
#include "kxsupp/standard.h"

namespace {

using namespace kx::stdcal;

// One reading of the clock, broken down in local time. False when the
// clock or the time zone conversion fails.
bool local_now(struct tm *parts, long *nanoseconds)
{
    struct timespec now = {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return false;
    time_t seconds = now.tv_sec;
    if (localtime_r(&seconds, parts) == nullptr)
        return false;
    *nanoseconds = now.tv_nsec;
    return true;
}

bool year_in_range(const struct tm &parts)
{
    int64_t year = int64_t{parts.tm_year} + 1900;
    return year >= kMinYear && year <= kMaxYear;
}

// 10^(9 - precision): the unit a fraction of precision digits counts in.
int64_t fraction_unit(int32_t precision)
{
    int64_t unit = 1;
    for (int32_t i = precision; i < 9; ++i)
        unit *= 10;
    return unit;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_ymd_to_day(int32_t year, int32_t month, int32_t day)
{
    // a month outside 1..12 counts on into the years around
    int64_t months = int64_t{month} - 1;
    int64_t y = int64_t{year} + floor_div(months, 12);
    int32_t m = static_cast<int32_t>(floor_mod(months, 12)) + 1;
    int64_t jdn = days_from_civil(y, m, day) + kEpochJdn;
    if (jdn > INT32_MAX)
        return INT32_MAX;
    if (jdn < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(jdn);
}

KX_API void kxstd_day_to_ymd(int32_t day_number, int32_t *year, int32_t *month, int32_t *day)
{
    Civil c = civil_from_days(int64_t{day_number} - kEpochJdn);
    if (year != nullptr)
        *year = static_cast<int32_t>(c.year);
    if (month != nullptr)
        *month = c.month;
    if (day != nullptr)
        *day = c.day;
}

KX_API int32_t kxstd_valid_date(int32_t year, int32_t month, int32_t day)
{
    return valid_date(year, month, day) ? 1 : 0;
}

KX_API int32_t kxstd_current_date(DateStruct *out)
{
    if (out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    struct tm parts = {};
    long nanoseconds = 0;
    if (!local_now(&parts, &nanoseconds) || !year_in_range(parts))
        return KXSTD_DATETIME_OVERFLOW;
    *out = DateStruct{static_cast<int16_t>(parts.tm_year + 1900),
                      static_cast<uint16_t>(parts.tm_mon + 1),
                      static_cast<uint16_t>(parts.tm_mday)};
    return KXSTD_OK;
}

KX_API int32_t kxstd_current_timestamp(TimestampStruct *out, int32_t precision)
{
    if (out == nullptr || precision < 0 || precision > 9)
        return KXSTD_INVALID_ARGUMENT;
    struct tm parts = {};
    long nanoseconds = 0;
    if (!local_now(&parts, &nanoseconds) || !year_in_range(parts))
        return KXSTD_DATETIME_OVERFLOW;
    int64_t unit = fraction_unit(precision);
    // a leap second shows as :60 in some zones' tables; SQL has none
    int second = parts.tm_sec > 59 ? 59 : parts.tm_sec;
    *out = TimestampStruct{static_cast<int16_t>(parts.tm_year + 1900),
                           static_cast<uint16_t>(parts.tm_mon + 1),
                           static_cast<uint16_t>(parts.tm_mday),
                           static_cast<uint16_t>(parts.tm_hour),
                           static_cast<uint16_t>(parts.tm_min),
                           static_cast<uint16_t>(second),
                           static_cast<uint32_t>(nanoseconds / unit * unit)};
    return KXSTD_OK;
}

}  // extern "C"
