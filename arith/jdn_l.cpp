/*
 * jdn_l - calendar dates and Julian Day Numbers.
 *
 * Exports ymd_to_jdnl, jdnl_to_ymd and jdnl_to_dow.  A day number is a
 * 32-bit signed count of days in which day 0 is 1 January 4713 BC of the
 * Julian calendar; day of week 0 is Sunday.  Years at the interface have no
 * year 0 (-1 is 1 BC); inside the routines they count astronomically.
 *
 * The calendar selector picks proleptic Gregorian (0), Julian (> 0) or the
 * automatic calendar (< 0): Julian until Wednesday 2 September 1752,
 * Gregorian from Thursday 14 September 1752.  Going in, the automatic
 * calendar treats every date from 3 September 1752 on as Gregorian; coming
 * out, it treats day numbers from 2361222 on as Gregorian.  So the eleven
 * dates of the gap go in by the Gregorian rule and come back by the Julian
 * one: the round trip is not the identity there, as the library always had.
 *
 * The arithmetic is 32-bit signed with divisions truncating toward zero, as
 * the formulas were designed for.  Products and sums are done through
 * unsigned 32-bit arithmetic so that absurd inputs wrap instead of being
 * undefined behaviour.
 */
#include "arith/calendar_internal.h"
#include "kxsupp/arith.h"

namespace {

using kx::wrap_add;
using kx::wrap_sub;
using kx::wrap_mul;

constexpr int32_t kGregorianChangeYmd = 17520903;  // 3 September 1752
constexpr int32_t kGregorianChangeJdn = 2361222;   // 14 September 1752

// Whether a conversion goes by the Gregorian rule: always for calendar 0,
// never for a positive selector, and for the automatic calendar (< 0) when
// the date is on the Gregorian side of the change.
inline bool goes_by_gregorian(int32_t calendar, bool after_change)
{
    return calendar == 0 || (calendar < 0 && after_change);
}

// The conversion of a day number back to a date, with the calendar's
// offset and its 400-year cycle in days as constants (so that the
// divisions by them compile to multiplications).  The year is astronomical.
template <int32_t kOffset, int32_t kCycle>
inline void day_number_to_date(int32_t jdn, int32_t *year, int32_t *month,
                               int32_t *day)
{
    int32_t x = wrap_add(jdn, kOffset);
    int32_t n = wrap_mul(4, x) / kCycle;
    x = wrap_sub(x, wrap_add(wrap_mul(kCycle, n), 3) / 4);
    int32_t i = wrap_mul(4000, wrap_add(x, 1)) / 1461001;
    x = wrap_add(wrap_sub(x, wrap_mul(1461, i) / 4), 31);
    int32_t j = wrap_mul(80, x) / 2447;
    *day = wrap_sub(x, wrap_mul(2447, j) / 80);
    int32_t k = j / 11;
    *month = wrap_sub(wrap_add(j, 2), wrap_mul(12, k));
    *year = wrap_add(wrap_add(wrap_mul(100, wrap_sub(n, 49)), i), k);
}

}  // namespace

extern "C" {

KX_API int32_t ymd_to_jdnl(int32_t year, int32_t month, int32_t day,
                           int32_t calendar)
{
    bool gregorian = goes_by_gregorian(
        calendar,
        wrap_add(wrap_add(wrap_mul(year, 10000), wrap_mul(month, 100)), day) >=
            kGregorianChangeYmd);

    if (year < 0)
        year++;  // 1 BC is year 0 from here on

    if (gregorian) {
        int32_t a = wrap_sub(month, 14) / 12;
        int32_t jdn = day;
        jdn = wrap_add(jdn, wrap_mul(1461, wrap_add(wrap_add(year, 4800), a)) / 4);
        jdn = wrap_add(jdn, wrap_mul(367, wrap_sub(wrap_sub(month, 2), wrap_mul(12, a))) / 12);
        jdn = wrap_sub(jdn, wrap_mul(3, wrap_add(wrap_add(year, 4900), a) / 100) / 4);
        return wrap_sub(jdn, 32075);
    }
    int32_t jdn = wrap_mul(367, year);
    jdn = wrap_sub(jdn, wrap_mul(7, wrap_add(wrap_add(year, 5001), wrap_sub(month, 9) / 7)) / 4);
    jdn = wrap_add(jdn, wrap_mul(275, month) / 9);
    jdn = wrap_add(jdn, day);
    return wrap_add(jdn, 1729777);
}

KX_API int32_t jdnl_to_ymd(int32_t jdn, int32_t *year, int32_t *month,
                           int32_t *day, int32_t calendar)
{
    bool gregorian = goes_by_gregorian(calendar, jdn >= kGregorianChangeJdn);

    int32_t y, m, d;
    if (gregorian)
        day_number_to_date<68569, 146097>(jdn, &y, &m, &d);
    else
        day_number_to_date<68607, 146100>(jdn, &y, &m, &d);

    if (y <= 0)
        y--;  // no year 0 at the interface
    if (year)
        *year = y;
    if (month)
        *month = m;
    if (day)
        *day = d;
    return d;
}

KX_API int32_t jdnl_to_dow(int32_t jdn)
{
    return wrap_add(jdn, 1) % 7;
}

}  // extern "C"
