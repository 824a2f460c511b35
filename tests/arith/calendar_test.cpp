// Tests of the calendar: jdn_l (day numbers, day of week) and timefunc
// (today, date/time/timestamp comparisons).
#include <chrono>
#include <cstdint>
#include <ctime>

#include <gtest/gtest.h>

#include "kxsupp/arith.h"

namespace {

constexpr int32_t kGregorian = 0;
constexpr int32_t kJulian = 1;
constexpr int32_t kAutomatic = -1;

// ---- independent reference computations ----

// Days from 1970-01-01 of a proleptic Gregorian date, after Howard Hinnant's
// "days_from_civil" (chrono-Compatible Low-Level Date Algorithms): floor
// divisions on eras of 400 years, months counted from March.
int64_t days_from_civil(int64_t y, unsigned m, unsigned d)
{
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

// Julian Day Number (at noon) of a Julian-calendar date, from J. Meeus,
// Astronomical Algorithms (2nd ed., 1998), chapter 7, formula (7.1) with
// B = 0 for the Julian calendar:
//   JD = INT(365.25 (Y + 4716)) + INT(30.6001 (M + 1)) + D + B - 1524.5,
// January and February counted as months 13 and 14 of the year before.
// The day number at noon is JD + 0.5.  Y is astronomical (1 BC = 0); valid
// for Y >= -4716, where INT is the floor of a non-negative number.
int64_t meeus_julian_jdn(int64_t y, int64_t m, int64_t d)
{
    if (m <= 2) {
        y -= 1;
        m += 12;
    }
    const int64_t a = (1461 * (y + 4716)) / 4;        // INT(365.25 (Y + 4716))
    const int64_t b = (306001 * (m + 1)) / 10000;     // INT(30.6001 (M + 1))
    return a + b + d - 1524;
}

bool gregorian_leap(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int days_in_month(int64_t astronomical_year, int m, bool julian)
{
    static const int lengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (m != 2)
        return lengths[m - 1];
    bool leap;
    if (julian)
        leap = ((astronomical_year % 4) + 4) % 4 == 0;
    else
        leap = gregorian_leap(astronomical_year);
    return leap ? 29 : 28;
}

constexpr int64_t kUnixEpochJdn = 2440588;  // 1 January 1970 (Gregorian)

// ---- the edge cases, as a table ----

struct YmdCase {
    int32_t year, month, day, calendar;
    int32_t jdn;
    int32_t dow;  // -1 when not checked
};

const YmdCase kYmdCases[] = {
    {2000, 1, 1, kAutomatic, 2451545, 6},      // a Saturday
    {1970, 1, 1, kAutomatic, 2440588, 4},      // a Thursday
    {1752, 9, 14, kAutomatic, 2361222, 4},     // first Gregorian day, a Thursday
    {1752, 9, 2, kAutomatic, 2361221, 3},      // last Julian day, a Wednesday
    {1752, 9, 3, kAutomatic, 2361211, -1},     // inside the gap: Gregorian rule
    {1752, 9, 13, kAutomatic, 2361221, -1},    // inside the gap: Gregorian rule
    {1, 1, 1, kAutomatic, 1721424, 6},         // AD 1, Julian, a Saturday
    {-1, 12, 31, kAutomatic, 1721423, 5},      // 31 December 1 BC
    {-4713, 1, 1, kAutomatic, 0, 1},           // day 0, a Monday
    {-4713, 1, 1, kJulian, 0, 1},
    {2000, 1, 1, kGregorian, 2451545, 6},
    {2000, 1, 1, kJulian, 2451558, -1},        // Julian 1 Jan 2000 = Gregorian 14 Jan
    {1, 1, 1, kGregorian, 1721426, 1},         // proleptic Gregorian AD 1, a Monday
    {1582, 10, 15, kGregorian, 2299161, 5},    // the Catholic reform day, a Friday
    {1582, 10, 4, kJulian, 2299160, 4},        // ... and the Julian day before it
    {1582, 10, 15, kAutomatic, 2299171, -1},   // automatic is still Julian in 1582
};

TEST(Calendar, EdgeCaseTable)
{
    for (const YmdCase &c : kYmdCases) {
        SCOPED_TRACE(testing::Message() << c.year << "-" << c.month << "-" << c.day
                                        << " calendar " << c.calendar);
        EXPECT_EQ(ymd_to_jdnl(c.year, c.month, c.day, c.calendar), c.jdn);
        if (c.dow >= 0) {
            EXPECT_EQ(jdnl_to_dow(c.jdn), c.dow);
        }
    }
}

struct JdnCase {
    int32_t jdn, calendar;
    int32_t year, month, day;
};

const JdnCase kJdnCases[] = {
    {2451545, kAutomatic, 2000, 1, 1},
    {2440588, kAutomatic, 1970, 1, 1},
    {2361222, kAutomatic, 1752, 9, 14},
    {2361221, kAutomatic, 1752, 9, 2},
    {2361211, kAutomatic, 1752, 8, 23},   // what 3 September 1752 comes back as
    {1721424, kAutomatic, 1, 1, 1},
    {1721423, kAutomatic, -1, 12, 31},    // no year 0
    {0, kAutomatic, -4713, 1, 1},
    {0, kJulian, -4713, 1, 1},
    {0, kGregorian, -4714, 11, 24},       // day 0 in the proleptic Gregorian calendar
    {2361211, kGregorian, 1752, 9, 3},
    {2451558, kJulian, 2000, 1, 1},
    {1721426, kGregorian, 1, 1, 1},
    {1721425, kGregorian, -1, 12, 31},
};

TEST(Calendar, DayNumberToDateTable)
{
    for (const JdnCase &c : kJdnCases) {
        SCOPED_TRACE(testing::Message() << "day " << c.jdn << " calendar " << c.calendar);
        int32_t y = 99, m = 99, d = 99;
        EXPECT_EQ(jdnl_to_ymd(c.jdn, &y, &m, &d, c.calendar), c.day);
        EXPECT_EQ(y, c.year);
        EXPECT_EQ(m, c.month);
        EXPECT_EQ(d, c.day);
    }
}

TEST(Calendar, AnyPositiveOrNegativeSelectorWorks)
{
    EXPECT_EQ(ymd_to_jdnl(2000, 1, 1, 7), ymd_to_jdnl(2000, 1, 1, kJulian));
    EXPECT_EQ(ymd_to_jdnl(1700, 3, 1, -42), ymd_to_jdnl(1700, 3, 1, kJulian));
    EXPECT_EQ(ymd_to_jdnl(1800, 3, 1, -42), ymd_to_jdnl(1800, 3, 1, kGregorian));
    int32_t y, m, d;
    jdnl_to_ymd(2451558, &y, &m, &d, 12);
    EXPECT_EQ(y * 10000 + m * 100 + d, 20000101);
    jdnl_to_ymd(2361221, &y, &m, &d, -5);
    EXPECT_EQ(y * 10000 + m * 100 + d, 17520902);
}

// The automatic test going in looks at year x 10000 + month x 100 + day as
// given, so out-of-range fields that reach 17520903 count as Gregorian.
TEST(Calendar, AutomaticSelectorUsesTheCombinedNumber)
{
    const struct { int32_t year, month, day; bool gregorian; } cases[] = {
        {1752, 8, 102, false},   // 17520902
        {1752, 8, 103, true},    // 17520903
        {1752, 10, -97, true},   // 17520903
        {1752, 10, -98, false},  // 17520902
        {1751, 99, 99, false},   // 17519999
        {1752, 9, 2, false},
        {1752, 9, 3, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.year << "/" << c.month << "/" << c.day);
        EXPECT_EQ(ymd_to_jdnl(c.year, c.month, c.day, kAutomatic),
                  ymd_to_jdnl(c.year, c.month, c.day, c.gregorian ? kGregorian : kJulian));
    }
    // Gregorian and Julian differ there by 11 days, so the cases above
    // really tell the calendars apart.
    EXPECT_EQ(ymd_to_jdnl(1752, 8, 103, kJulian) - ymd_to_jdnl(1752, 8, 103, kGregorian), 11);
}

// The change of 1752 in automatic mode: consecutive day numbers across it,
// and the eleven dates of the gap that go in by the Gregorian rule and come
// back by the Julian one (3 September returns as 23 August).
TEST(Calendar, TheGapOf1752DoesNotRoundTrip)
{
    EXPECT_EQ(ymd_to_jdnl(1752, 9, 14, kAutomatic) - ymd_to_jdnl(1752, 9, 2, kAutomatic), 1);
    for (int32_t day = 3; day <= 13; day++) {
        SCOPED_TRACE(day);
        int32_t jdn = ymd_to_jdnl(1752, 9, day, kAutomatic);
        EXPECT_EQ(jdn, ymd_to_jdnl(1752, 9, day, kGregorian));
        int32_t y, m, d;
        jdnl_to_ymd(jdn, &y, &m, &d, kAutomatic);
        // Gregorian 3..13 September 1752 is Julian 23 August..2 September.
        int32_t jy, jm, jd;
        jdnl_to_ymd(jdn, &jy, &jm, &jd, kJulian);
        EXPECT_EQ(y, jy);
        EXPECT_EQ(m, jm);
        EXPECT_EQ(d, jd);
        EXPECT_FALSE(y == 1752 && m == 9 && d == day);
    }
    int32_t y, m, d;
    jdnl_to_ymd(ymd_to_jdnl(1752, 9, 13, kAutomatic), &y, &m, &d, kAutomatic);
    EXPECT_EQ(y * 10000 + m * 100 + d, 17520902);
}

// Outside the gap the automatic calendar round-trips both ways.
TEST(Calendar, AutomaticRoundTrips)
{
    for (int32_t jdn = 0; jdn < 5373484; jdn++) {  // to 31 December 9999
        int32_t y, m, d;
        jdnl_to_ymd(jdn, &y, &m, &d, kAutomatic);
        ASSERT_NE(y, 0) << jdn;
        ASSERT_EQ(ymd_to_jdnl(y, m, d, kAutomatic), jdn) << y << "-" << m << "-" << d;
    }
}

// Gregorian mode against days_from_civil for every day of the years 1 to
// 9999 (and, with astronomical years converted, back to 4713 BC), and the
// way back.
TEST(Calendar, GregorianMatchesDaysFromCivilEveryDay)
{
    int64_t checked = 0;
    for (int32_t year = -4713; year <= 9999; year++) {
        if (year == 0)
            continue;
        const int64_t astronomical = year < 0 ? year + 1 : year;
        for (int32_t month = 1; month <= 12; month++) {
            const int last = days_in_month(astronomical, month, false);
            for (int32_t day = 1; day <= last; day++) {
                const int64_t expected =
                    days_from_civil(astronomical, static_cast<unsigned>(month),
                                    static_cast<unsigned>(day)) + kUnixEpochJdn;
                const int32_t jdn = ymd_to_jdnl(year, month, day, kGregorian);
                ASSERT_EQ(jdn, expected) << year << "-" << month << "-" << day;
                int32_t y, m, d;
                ASSERT_EQ(jdnl_to_ymd(jdn, &y, &m, &d, kGregorian), day);
                ASSERT_EQ(y, year);
                ASSERT_EQ(m, month);
                ASSERT_EQ(d, day);
                checked++;
            }
        }
    }
    EXPECT_EQ(checked, days_from_civil(10000, 1, 1) - days_from_civil(-4712, 1, 1));
}

// Julian mode against Meeus's formula for every day from 1 January 4713 BC
// to 31 December 9999, and the way back.
TEST(Calendar, JulianMatchesMeeusEveryDay)
{
    int64_t previous = -1;
    for (int32_t year = -4713; year <= 9999; year++) {
        if (year == 0)
            continue;
        const int64_t astronomical = year < 0 ? year + 1 : year;
        for (int32_t month = 1; month <= 12; month++) {
            const int last = days_in_month(astronomical, month, true);
            for (int32_t day = 1; day <= last; day++) {
                const int64_t expected = meeus_julian_jdn(astronomical, month, day);
                const int32_t jdn = ymd_to_jdnl(year, month, day, kJulian);
                ASSERT_EQ(jdn, expected) << year << "-" << month << "-" << day;
                ASSERT_EQ(expected, previous + 1);  // the reference has no holes
                previous = expected;
                int32_t y, m, d;
                ASSERT_EQ(jdnl_to_ymd(jdn, &y, &m, &d, kJulian), day);
                ASSERT_EQ(y, year);
                ASSERT_EQ(m, month);
                ASSERT_EQ(d, day);
            }
        }
    }
}

// The automatic calendar's day of the week for the first day of every month
// from 1600 to 2100, checked against the C++20 <chrono> calendar of the
// standard library (std::chrono::weekday of a year_month_day), which this
// library did not write.  <chrono> is proleptic Gregorian; a Julian date
// before the change is placed on it by the published rule for the
// difference between the calendars: Y/100 - Y/400 - 2 days, Y being the year
// of the date (the year before for January and February), i.e. 10 days until
// February 1700 and 11 days after.
TEST(Calendar, AutomaticWeekdaysMatchChrono)
{
    using namespace std::chrono;
    for (int32_t y = 1600; y <= 2100; y++) {
        for (int32_t m = 1; m <= 12; m++) {
            const int32_t jdn = ymd_to_jdnl(y, m, 1, kAutomatic);
            sys_days when = sys_days{year{y} / month{static_cast<unsigned>(m)} / day{1}};
            if (y * 100 + m < 175210) {  // before the change: a Julian date
                const int32_t cy = m <= 2 ? y - 1 : y;
                when += days{cy / 100 - cy / 400 - 2};
            }
            const unsigned expected = weekday{when}.c_encoding();  // 0 = Sunday
            ASSERT_EQ(jdnl_to_dow(jdn), static_cast<int32_t>(expected)) << y << "-" << m;
            // The day numbers themselves agree with <chrono>'s day count.
            ASSERT_EQ(jdn, when.time_since_epoch().count() + kUnixEpochJdn) << y << "-" << m;
        }
    }
}

TEST(Calendar, DayOfWeekIsATruncatingRemainder)
{
    const struct { int32_t jdn, dow; } cases[] = {
        {0, 1}, {1, 2}, {5, 6}, {6, 0}, {7, 1}, {2451545, 6}, {2451546, 0},
        {-1, 0}, {-2, -1}, {-7, -6}, {-8, 0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(jdnl_to_dow(c.jdn), c.dow) << c.jdn;
}

TEST(Calendar, OutputPointersMayBeNull)
{
    EXPECT_EQ(jdnl_to_ymd(2451545, nullptr, nullptr, nullptr, kAutomatic), 1);
}

TEST(Calendar, NullRecordsCompareEqual)
{
    DateStruct d = {2004, 1, 1};
    TimeStruct t = {1, 2, 3};
    TimestampStruct ts = {2004, 1, 1, 1, 2, 3, 4};
    EXPECT_EQ(date_compare(nullptr, &d), 0);
    EXPECT_EQ(date_compare(&d, nullptr), 0);
    EXPECT_EQ(time_compare(nullptr, &t), 0);
    EXPECT_EQ(time_compare(&t, nullptr), 0);
    EXPECT_EQ(timestamp_compare(nullptr, &ts), 0);
    EXPECT_EQ(timestamp_compare(&ts, nullptr), 0);
}

// ---- today ----

TEST(Calendar, TodayIsTheLocalDate)
{
    for (int attempt = 0; attempt < 3; attempt++) {
        time_t now = time(nullptr);
        struct tm before = {};
        localtime_r(&now, &before);
        int32_t y = current_year(), m = current_month(), d = current_day();
        now = time(nullptr);
        struct tm after = {};
        localtime_r(&now, &after);
        if (before.tm_mday != after.tm_mday)
            continue;  // midnight passed while reading: try again
        EXPECT_EQ(y, after.tm_year + 1900);
        EXPECT_EQ(m, after.tm_mon + 1);
        EXPECT_EQ(d, after.tm_mday);
        return;
    }
    FAIL() << "the date kept changing";
}

// ---- comparisons: the raw difference of the first differing field ----

struct DateCompareCase {
    DateStruct a, b;
    int32_t expected;
};

TEST(Calendar, DateCompareTable)
{
    const DateCompareCase cases[] = {
        {{2004, 6, 16}, {2004, 6, 16}, 0},
        {{2004, 6, 16}, {2001, 12, 31}, 3},
        {{-5, 1, 1}, {3, 1, 1}, -8},            // the year is signed
        {{2004, 5, 1}, {2004, 2, 28}, 3},
        {{2004, 1, 1}, {2004, 65535, 1}, -65534},  // unsigned fields, widened
        {{2004, 6, 1}, {2004, 6, 30}, -29},
        {{32767, 1, 1}, {-32768, 1, 1}, 65535},
    };
    for (const auto &c : cases)
        EXPECT_EQ(date_compare(&c.a, &c.b), c.expected)
            << c.a.year << "-" << c.a.month << "-" << c.a.day;
}

TEST(Calendar, TimeCompareTable)
{
    const struct { TimeStruct a, b; int32_t expected; } cases[] = {
        {{10, 20, 30}, {10, 20, 30}, 0},
        {{23, 0, 0}, {1, 59, 59}, 22},
        {{10, 5, 0}, {10, 45, 0}, -40},
        {{10, 5, 59}, {10, 5, 0}, 59},
        {{0, 0, 0}, {65535, 0, 0}, -65535},
    };
    for (const auto &c : cases)
        EXPECT_EQ(time_compare(&c.a, &c.b), c.expected) << c.a.hour << ":" << c.a.minute;
}

TEST(Calendar, TimestampCompareTable)
{
    const struct { TimestampStruct a, b; int32_t expected; } cases[] = {
        {{2004, 6, 16, 10, 20, 30, 500}, {2004, 6, 16, 10, 20, 30, 500}, 0},
        {{2004, 6, 16, 10, 20, 30, 5}, {2004, 6, 16, 10, 20, 30, 3}, 2},
        {{2004, 6, 16, 10, 20, 30, 1000}, {2004, 6, 16, 10, 20, 30, 999999999}, -999998999},
        // a difference of fractions wraps in 32 bits
        {{2004, 6, 16, 10, 20, 30, 0}, {2004, 6, 16, 10, 20, 30, 4294967295u}, 1},
        {{2004, 6, 16, 10, 20, 31, 0}, {2004, 6, 16, 10, 20, 30, 999999999}, 1},
        {{2004, 6, 16, 9, 59, 59, 0}, {2004, 6, 16, 10, 0, 0, 0}, -1},
        {{2004, 6, 16, 10, 50, 0, 0}, {2004, 6, 16, 10, 20, 0, 0}, 30},
        {{2004, 6, 1, 23, 0, 0, 0}, {2004, 6, 16, 0, 0, 0, 0}, -15},
        {{2004, 7, 1, 0, 0, 0, 0}, {2004, 1, 31, 0, 0, 0, 0}, 6},
        {{1999, 12, 31, 0, 0, 0, 0}, {2004, 1, 1, 0, 0, 0, 0}, -5},
    };
    for (const auto &c : cases)
        EXPECT_EQ(timestamp_compare(&c.a, &c.b), c.expected) << c.a.second << "." << c.a.fraction;
}

}  // namespace
