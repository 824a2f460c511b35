// Tests of calendar_std: the standard family's day numbers (proleptic
// Gregorian, checked against a day-by-day walk over every date of the years
// 1 to 9999 and against Python's datetime), date checks, and now from one
// reading of the clock, each beside what the family's calendar does.
#include <cstdint>
#include <ctime>

#include <gtest/gtest.h>

#include "kxsupp/arith.h"
#include "kxsupp/standard.h"
#include "support/kx_scripted_clock.h"

namespace {

constexpr int32_t kAutomatic = KX_CALENDAR_AUTOMATIC;

// ---- an independent calendar: a walk from 1 January of the year 1 ----

bool leap(int32_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int32_t month_length(int32_t y, int32_t m)
{
    static const int32_t lengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && leap(y) ? 29 : lengths[m - 1];
}

// JDN of 0001-01-01: date(1, 1, 1).toordinal() + 1721425 == 1721426 (Python).
constexpr int32_t kJdnOfYearOne = 1721426;

TEST(CalendarStd, EveryDayOfTheYearsOneTo9999RoundTrips)
{
    int32_t jdn = kJdnOfYearOne;
    int32_t y = 1, m = 1, d = 1;
    int64_t checked = 0;
    for (;;) {
        ASSERT_EQ(kxstd_ymd_to_day(y, m, d), jdn) << y << "-" << m << "-" << d;
        int32_t yy = 0, mm = 0, dd = 0;
        kxstd_day_to_ymd(jdn, &yy, &mm, &dd);
        ASSERT_EQ(yy, y) << jdn;
        ASSERT_EQ(mm, m) << jdn;
        ASSERT_EQ(dd, d) << jdn;
        ASSERT_EQ(kxstd_valid_date(y, m, d), 1);
        ++checked;
        if (y == 9999 && m == 12 && d == 31)
            break;
        ++jdn;
        if (++d > month_length(y, m)) {
            d = 1;
            if (++m > 12) {
                m = 1;
                ++y;
            }
        }
    }
    // date(9999, 12, 31).toordinal() == 3652059 (Python): that many days
    EXPECT_EQ(checked, 3652059);
    EXPECT_EQ(jdn, 5373484);  // date(9999, 12, 31).toordinal() + 1721425
}

TEST(CalendarStd, PythonDayNumbers)
{
    // date(Y, M, D).toordinal() + 1721425 (Python)
    EXPECT_EQ(kxstd_ymd_to_day(2000, 1, 1), 2451545);
    EXPECT_EQ(kxstd_ymd_to_day(1970, 1, 1), 2440588);
    EXPECT_EQ(kxstd_ymd_to_day(1752, 9, 2), 2361210);
    EXPECT_EQ(kxstd_ymd_to_day(1700, 3, 1), 2342032);
    EXPECT_EQ(kxstd_ymd_to_day(1700, 2, 28), 2342031);
}

TEST(CalendarStd, FieldsOutsideTheirRangesCountOn)
{
    EXPECT_EQ(kxstd_ymd_to_day(2004, 13, 1), kxstd_ymd_to_day(2005, 1, 1));
    EXPECT_EQ(kxstd_ymd_to_day(2004, 0, 1), kxstd_ymd_to_day(2003, 12, 1));
    EXPECT_EQ(kxstd_ymd_to_day(2004, -11, 1), kxstd_ymd_to_day(2003, 1, 1));
    EXPECT_EQ(kxstd_ymd_to_day(2004, 2, 30), kxstd_ymd_to_day(2004, 3, 1));
    EXPECT_EQ(kxstd_ymd_to_day(2004, 3, 0), kxstd_ymd_to_day(2004, 2, 29));
    // year 0 (1 BC) is a leap year, its 31 December the day before 1 January 1
    EXPECT_EQ(kxstd_ymd_to_day(0, 12, 31) + 1, kJdnOfYearOne);
    EXPECT_EQ(kxstd_ymd_to_day(0, 3, 1) - kxstd_ymd_to_day(0, 2, 1), 29);
    // beyond 32 bits the day number is held at the ends
    EXPECT_EQ(kxstd_ymd_to_day(INT32_MAX, 12, 31), INT32_MAX);
    EXPECT_EQ(kxstd_ymd_to_day(INT32_MIN, 1, 1), INT32_MIN);
    int32_t y = 0;
    kxstd_day_to_ymd(INT32_MIN, &y, nullptr, nullptr);
    EXPECT_LT(y, -5000000);
    kxstd_day_to_ymd(2451545, nullptr, nullptr, nullptr);  // all outputs may be null
}

TEST(CalendarStd, ValidDates)
{
    // calendar.monthrange(Y, 2)[1] (Python): 29, 28, 29, 28
    EXPECT_EQ(kxstd_valid_date(2004, 2, 29), 1);
    EXPECT_EQ(kxstd_valid_date(1900, 2, 29), 0);
    EXPECT_EQ(kxstd_valid_date(2000, 2, 29), 1);
    EXPECT_EQ(kxstd_valid_date(2100, 2, 29), 0);
    EXPECT_EQ(kxstd_valid_date(2004, 4, 31), 0);
    EXPECT_EQ(kxstd_valid_date(2004, 0, 1), 0);
    EXPECT_EQ(kxstd_valid_date(2004, 13, 1), 0);
    EXPECT_EQ(kxstd_valid_date(2004, 1, 0), 0);
    EXPECT_EQ(kxstd_valid_date(0, 1, 1), 0);
    EXPECT_EQ(kxstd_valid_date(10000, 1, 1), 0);
    EXPECT_EQ(kxstd_valid_date(1, 1, 1), 1);
    EXPECT_EQ(kxstd_valid_date(9999, 12, 31), 1);
}

// The family counts by the Julian calendar before 14 September 1752; the
// standard family by the Gregorian rule throughout.
TEST(CalendarStd, JulianBefore1752BesideProlepticGregorian)
{
    // family: 2 September 1752 is the Julian day before 14 September
    EXPECT_EQ(ymd_to_jdnl(1752, 9, 2, kAutomatic), 2361221);
    EXPECT_EQ(jdnl_to_dow(ymd_to_jdnl(1752, 9, 2, kAutomatic)), 3);  // Wednesday
    // standard: date(1752, 9, 2).toordinal() + 1721425 == 2361210, and
    // date(1752, 9, 2).strftime('%A') == 'Saturday' (Python)
    int32_t day = kxstd_ymd_to_day(1752, 9, 2);
    EXPECT_EQ(day, 2361210);
    EXPECT_EQ((day + 1) % 7, 6);  // JDN + 1 mod 7: 0 Sunday .. 6 Saturday

    // family: 29 February 1700 exists (a Julian leap year) and round-trips
    int32_t y = 0, m = 0, d = 0;
    jdnl_to_ymd(ymd_to_jdnl(1700, 2, 29, kAutomatic), &y, &m, &d, kAutomatic);
    EXPECT_EQ(y * 10000 + m * 100 + d, 17000229);
    // standard: it does not (calendar.monthrange(1700, 2)[1] == 28)
    EXPECT_EQ(kxstd_valid_date(1700, 2, 29), 0);
    EXPECT_EQ(kxstd_ymd_to_day(1700, 2, 29), kxstd_ymd_to_day(1700, 3, 1));

    // from 14 September 1752 on the two agree
    EXPECT_EQ(kxstd_ymd_to_day(1752, 9, 14), ymd_to_jdnl(1752, 9, 14, kAutomatic));
    EXPECT_EQ(kxstd_ymd_to_day(2004, 2, 29), ymd_to_jdnl(2004, 2, 29, kAutomatic));
}

// ---- now ----

// calendar.timegm(datetime(2004, 12, 31, 23, 59, 59).timetuple()) == 1104537599
constexpr time_t kLastSecondOf2004 = 1104537599;

TEST(CalendarStd, TodayFromOneReadingBesideThreeReadings)
{
    // the clock passes midnight of New Year's Eve between two readings
    static const struct timespec readings[] = {{kLastSecondOf2004, 999999999},
                                               {kLastSecondOf2004 + 1, 0}};
    {
        kxtest::ScriptedClock clock(readings);
        // family: year, month and day each read the clock: 2004-01-01, a
        // date a year before either reading
        int32_t year = current_year();
        int32_t month = current_month();
        int32_t day = current_day();
        EXPECT_EQ(year * 10000 + month * 100 + day, 20040101);
        EXPECT_EQ(clock.calls(), 3);
    }
    {
        kxtest::ScriptedClock clock(readings);
        DateStruct today = {};
        ASSERT_EQ(kxstd_current_date(&today), KXSTD_OK);
        EXPECT_EQ(today.year, 2004);
        EXPECT_EQ(today.month, 12);
        EXPECT_EQ(today.day, 31);
        EXPECT_EQ(clock.calls(), 1);
    }
}

TEST(CalendarStd, CurrentTimestampTruncatesToItsPrecision)
{
    // calendar.timegm(datetime(2004, 6, 15, 10, 20, 30).timetuple()) == 1087294830
    static const struct timespec readings[] = {{1087294830, 123456789}};
    kxtest::ScriptedClock clock(readings);
    const struct {
        int32_t precision;
        uint32_t fraction;
    } cases[] = {{0, 0}, {1, 100000000}, {3, 123000000}, {6, 123456000}, {8, 123456780},
                 {9, 123456789}};
    for (const auto &c : cases) {
        TimestampStruct now = {};
        ASSERT_EQ(kxstd_current_timestamp(&now, c.precision), KXSTD_OK);
        EXPECT_EQ(now.year, 2004);
        EXPECT_EQ(now.month, 6);
        EXPECT_EQ(now.day, 15);
        EXPECT_EQ(now.hour, 10);
        EXPECT_EQ(now.minute, 20);
        EXPECT_EQ(now.second, 30);
        EXPECT_EQ(now.fraction, c.fraction) << c.precision;
    }
    EXPECT_EQ(clock.calls(), 6);  // one reading per call
    TimestampStruct untouched = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(kxstd_current_timestamp(&untouched, 10), KXSTD_INVALID_ARGUMENT);
    EXPECT_EQ(kxstd_current_timestamp(&untouched, -1), KXSTD_INVALID_ARGUMENT);
    EXPECT_EQ(untouched.year, 1);
    EXPECT_EQ(untouched.fraction, 7u);
    EXPECT_EQ(kxstd_current_timestamp(nullptr, 3), KXSTD_INVALID_ARGUMENT);
    EXPECT_EQ(kxstd_current_date(nullptr), KXSTD_INVALID_ARGUMENT);
}

TEST(CalendarStd, CurrentTimestampInTheLocalZone)
{
    // 2004-06-15 10:20:30 UTC is 12:20:30 in Paris (summer time, UTC+2)
    if (access("/usr/share/zoneinfo/Europe/Paris", R_OK) != 0)
        GTEST_SKIP() << "no time zone data";
    static const struct timespec readings[] = {{1087294830, 5}};
    kxtest::ScriptedClock clock(readings, "Europe/Paris");
    TimestampStruct now = {};
    ASSERT_EQ(kxstd_current_timestamp(&now, 9), KXSTD_OK);
    EXPECT_EQ(now.hour, 12);
    EXPECT_EQ(now.minute, 20);
    EXPECT_EQ(now.fraction, 5u);
}

TEST(CalendarStd, TodayIsTheRealLocalDate)
{
    // unscripted: the date of a reading of the clock before and after
    time_t before = time(nullptr);
    DateStruct today = {};
    ASSERT_EQ(kxstd_current_date(&today), KXSTD_OK);
    time_t after = time(nullptr);
    struct tm b = {}, a = {};
    localtime_r(&before, &b);
    localtime_r(&after, &a);
    if (b.tm_mday != a.tm_mday)
        GTEST_SKIP() << "midnight passed during the test";
    EXPECT_EQ(today.year, b.tm_year + 1900);
    EXPECT_EQ(today.month, b.tm_mon + 1);
    EXPECT_EQ(today.day, b.tm_mday);
}

}  // namespace
