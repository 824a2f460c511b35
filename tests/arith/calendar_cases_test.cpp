// Calendar cases written from the documented behaviour of the day-number
// conversions, the day of the week, today's date and the date, time and
// timestamp comparisons. Uses only the public header.
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

#include <kxsupp.h>

namespace {

struct DateCase {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t calendar;
    int32_t jdn;
};

// Dates and their day numbers, worked by hand from the two formulas.
const DateCase kDates[] = {
    {2000, 1, 1, -1, 2451545},
    {1970, 1, 1, -1, 2440588},
    {1752, 9, 14, -1, 2361222},
    {1752, 9, 2, -1, 2361221},
    {1, 1, 1, -1, 1721424},
    {-1, 12, 31, -1, 1721423},
    {-4713, 1, 1, -1, 0},
    // Explicit calendars.
    {2000, 1, 1, 0, 2451545},
    {2000, 1, 1, 1, 2451558},
    {2000, 1, 1, 7, 2451558},     // any positive selector is Julian
    {2000, 1, 1, -5, 2451545},    // any negative selector is automatic
    {1582, 10, 15, 0, 2299161},
    {1582, 10, 4, 1, 2299160},
    {1582, 10, 4, -1, 2299160},
    {1, 1, 1, 0, 1721426},
    {-1, 12, 30, 0, 1721424},
    {-4713, 1, 1, 1, 0},
};

TEST(CalendarCases, DateToDayNumber)
{
    for (const DateCase &c : kDates) {
        EXPECT_EQ(c.jdn, ymd_to_jdnl(c.year, c.month, c.day, c.calendar))
            << c.year << "-" << c.month << "-" << c.day << " cal " << c.calendar;
    }
}

TEST(CalendarCases, DayNumberToDate)
{
    for (const DateCase &c : kDates) {
        int32_t y = 99, m = 99, d = 99;
        int32_t r = jdnl_to_ymd(c.jdn, &y, &m, &d, c.calendar);
        EXPECT_EQ(c.year, y) << c.jdn << " cal " << c.calendar;
        EXPECT_EQ(c.month, m) << c.jdn << " cal " << c.calendar;
        EXPECT_EQ(c.day, d) << c.jdn << " cal " << c.calendar;
        EXPECT_EQ(c.day, r) << "returns the day";
    }
}

TEST(CalendarCases, GregorianDayNumberBackInBothCalendars)
{
    // 2299160 is 4 October 1582 Julian and 14 October 1582 Gregorian.
    int32_t y = 0, m = 0, d = 0;
    EXPECT_EQ(14, jdnl_to_ymd(2299160, &y, &m, &d, 0));
    EXPECT_EQ(1582, y);
    EXPECT_EQ(10, m);
    EXPECT_EQ(14, d);
    EXPECT_EQ(4, jdnl_to_ymd(2299160, &y, &m, &d, 1));
    EXPECT_EQ(1582, y);
    EXPECT_EQ(10, m);
    EXPECT_EQ(4, d);
}

TEST(CalendarCases, ConsecutiveDaysAcrossThe1752Change)
{
    EXPECT_EQ(ymd_to_jdnl(1752, 9, 2, -1) + 1, ymd_to_jdnl(1752, 9, 14, -1));
    int32_t y = 0, m = 0, d = 0;
    jdnl_to_ymd(2361221, &y, &m, &d, -1);
    EXPECT_EQ(1752, y);
    EXPECT_EQ(9, m);
    EXPECT_EQ(2, d);
    jdnl_to_ymd(2361222, &y, &m, &d, -1);
    EXPECT_EQ(1752, y);
    EXPECT_EQ(9, m);
    EXPECT_EQ(14, d);
}

TEST(CalendarCases, GapDatesGoInGregorianAndComeBackJulian)
{
    // 3 September 1752 counts as Gregorian going in...
    EXPECT_EQ(2361211, ymd_to_jdnl(1752, 9, 3, -1));
    EXPECT_EQ(2361221, ymd_to_jdnl(1752, 9, 13, -1));
    // ... but the day number comes back by the Julian calendar.
    int32_t y = 0, m = 0, d = 0;
    EXPECT_EQ(23, jdnl_to_ymd(2361211, &y, &m, &d, -1));
    EXPECT_EQ(1752, y);
    EXPECT_EQ(8, m);
    EXPECT_EQ(23, d);
}

TEST(CalendarCases, RoundTripEveryCalendar)
{
    const int32_t calendars[] = {-1, 0, 1};
    for (int32_t cal : calendars) {
        for (int32_t jdn = 0; jdn < 2600000; jdn += 997) {
            int32_t y = 0, m = 0, d = 0;
            jdnl_to_ymd(jdn, &y, &m, &d, cal);
            ASSERT_NE(0, y) << "no year 0 at the interface";
            ASSERT_GE(m, 1);
            ASSERT_LE(m, 12);
            ASSERT_GE(d, 1);
            ASSERT_LE(d, 31);
            ASSERT_EQ(jdn, ymd_to_jdnl(y, m, d, cal)) << jdn << " cal " << cal;
        }
    }
}

TEST(CalendarCases, ConsecutiveDayNumbersAreConsecutiveDates)
{
    // Through the end of February of a leap year and the end of a year.
    int32_t base = ymd_to_jdnl(2004, 2, 28, -1);
    int32_t y = 0, m = 0, d = 0;
    jdnl_to_ymd(base + 1, &y, &m, &d, -1);
    EXPECT_EQ(2004, y);
    EXPECT_EQ(2, m);
    EXPECT_EQ(29, d);
    jdnl_to_ymd(base + 2, &y, &m, &d, -1);
    EXPECT_EQ(3, m);
    EXPECT_EQ(1, d);
    EXPECT_EQ(ymd_to_jdnl(2004, 12, 31, -1) + 1, ymd_to_jdnl(2005, 1, 1, -1));
    // 1900 is not a Gregorian leap year, 1700 is a Julian one (automatic).
    EXPECT_EQ(ymd_to_jdnl(1900, 2, 28, -1) + 1, ymd_to_jdnl(1900, 3, 1, -1));
    EXPECT_EQ(ymd_to_jdnl(1700, 2, 28, -1) + 2, ymd_to_jdnl(1700, 3, 1, -1));
}

TEST(CalendarCases, DayOfWeek)
{
    struct {
        int32_t jdn;
        int32_t dow;
    } const cases[] = {
        {2451545, 6},  // 1 January 2000, Saturday
        {2440588, 4},  // 1 January 1970, Thursday
        {1721424, 6},  // 1 January of year 1, Saturday
        {2451546, 0},  // Sunday
        {2451547, 1},
        {2451551, 5},
        {-1, 0},
        {-3, -2},      // truncating remainder
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.dow, jdnl_to_dow(c.jdn)) << c.jdn;
    EXPECT_EQ(6, jdnl_to_dow(ymd_to_jdnl(1, 1, 1, -1)));
}

TEST(CalendarCases, Today)
{
    // The clock may tick over midnight between reads: retry until two
    // reads of our own bracket the library's three calls on the same date.
    for (int attempt = 0; attempt < 5; ++attempt) {
        time_t before = time(nullptr);
        struct tm b = *localtime(&before);
        int32_t y = current_year();
        int32_t m = current_month();
        int32_t d = current_day();
        time_t after = time(nullptr);
        struct tm a = *localtime(&after);
        if (a.tm_mday != b.tm_mday || a.tm_mon != b.tm_mon || a.tm_year != b.tm_year)
            continue;
        EXPECT_EQ(b.tm_year + 1900, y);
        EXPECT_EQ(b.tm_mon + 1, m);
        EXPECT_EQ(b.tm_mday, d);
        return;
    }
    FAIL() << "the date kept changing";
}

TEST(CalendarCases, DateCompare)
{
    struct {
        DateStruct a, b;
        int32_t expected;
    } const cases[] = {
        {{2004, 1, 31}, {2004, 1, 31}, 0},
        {{2005, 1, 1}, {2004, 12, 31}, 1},
        {{2004, 3, 1}, {2004, 12, 1}, -9},
        {{2004, 12, 1}, {2004, 3, 1}, 9},
        {{2004, 2, 10}, {2004, 2, 29}, -19},
        {{-5, 1, 1}, {3, 1, 1}, -8},          // the year is signed
        {{2004, 65535, 1}, {2004, 1, 1}, 65534},  // unsigned fields widened
        {{2004, 1, 65535}, {2004, 1, 0}, 65535},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.expected, date_compare(&c.a, &c.b))
            << c.a.year << "-" << c.a.month << "-" << c.a.day;
}

TEST(CalendarCases, TimeCompare)
{
    struct {
        TimeStruct a, b;
        int32_t expected;
    } const cases[] = {
        {{10, 20, 30}, {10, 20, 30}, 0},
        {{10, 0, 0}, {23, 0, 0}, -13},
        {{10, 59, 0}, {10, 1, 59}, 58},
        {{10, 20, 0}, {10, 20, 45}, -45},
        {{65535, 0, 0}, {0, 0, 0}, 65535},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.expected, time_compare(&c.a, &c.b));
}

TEST(CalendarCases, TimestampCompare)
{
    struct {
        TimestampStruct a, b;
        int32_t expected;
    } const cases[] = {
        {{2004, 2, 29, 10, 20, 30, 500}, {2004, 2, 29, 10, 20, 30, 500}, 0},
        {{2004, 2, 29, 10, 20, 30, 500}, {2004, 2, 29, 10, 20, 30, 100}, 400},
        {{2004, 2, 29, 10, 20, 30, 0}, {2004, 2, 29, 10, 20, 30, 999999999},
         -999999999},
        {{2004, 2, 29, 10, 20, 31, 0}, {2004, 2, 29, 10, 20, 30, 999999999}, 1},
        {{2004, 2, 29, 9, 59, 59, 0}, {2004, 2, 29, 10, 0, 0, 0}, -1},
        {{2004, 2, 28, 23, 0, 0, 0}, {2004, 2, 29, 0, 0, 0, 0}, -1},
        {{2003, 12, 31, 0, 0, 0, 0}, {2004, 1, 1, 0, 0, 0, 0}, -1},
        {{2004, 5, 1, 0, 0, 0, 0}, {2004, 2, 1, 0, 0, 0, 0}, 3},
        {{2004, 2, 1, 0, 7, 0, 0}, {2004, 2, 1, 0, 2, 0, 0}, 5},
        {{-10, 2, 1, 0, 0, 0, 0}, {10, 2, 1, 0, 0, 0, 0}, -20},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.expected, timestamp_compare(&c.a, &c.b));
}

}  // namespace
