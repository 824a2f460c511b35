// Interval and datetime arithmetic cases written from the documented rules:
// reduction to a base value, spreading over the fields of a kind, the + and -
// operators where an interval takes part, the datetime shifts and interval
// comparison. Uses only the public header.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include <kxsupp.h>
#include "support/kx_test_support.h"

namespace {

using kxtest::blank;
using kxtest::date;
using kxtest::day_second;
using kxtest::integer;
using kxtest::interval;
using kxtest::time_of_day;
using kxtest::timestamp;
using kxtest::year_month;

struct Ts {
    int32_t y, mo, d, h, mi, s;
    uint32_t f;
};

void expect_ts(const Ts &e, const Value &v, const char *what)
{
    EXPECT_EQ(VALUE_TIMESTAMP, v.type) << what;
    const TimestampStruct &t = v.payload.timestamp;
    EXPECT_EQ(e.y, t.year) << what;
    EXPECT_EQ(e.mo, t.month) << what;
    EXPECT_EQ(e.d, t.day) << what;
    EXPECT_EQ(e.h, t.hour) << what;
    EXPECT_EQ(e.mi, t.minute) << what;
    EXPECT_EQ(e.s, t.second) << what;
    EXPECT_EQ(e.f, t.fraction) << what;
}

// ---- get_base_value ----

TEST(EvalintCases, BaseValueOfEveryKind)
{
    struct {
        IntervalStruct i;
        int32_t base;
        int32_t fraction;
    } const cases[] = {
        {year_month(KX_IS_YEAR, 3, 5), 36, 0},          // month not read for YEAR
        {year_month(KX_IS_MONTH, 3, 5), 5, 0},          // year not read for MONTH
        {year_month(KX_IS_YEAR_TO_MONTH, 1, 11), 23, 0},
        {day_second(KX_IS_DAY, 2, 5, 6, 7, 8), 172800, 0},
        {day_second(KX_IS_HOUR, 2, 3, 6, 7, 8), 10800, 0},
        {day_second(KX_IS_MINUTE, 2, 3, 4, 7, 8), 240, 0},
        {day_second(KX_IS_SECOND, 2, 3, 4, 7, 5), 7, 5},
        {day_second(KX_IS_DAY_TO_HOUR, 1, 2, 6, 7, 8), 93600, 0},
        {day_second(KX_IS_DAY_TO_MINUTE, 1, 1, 1, 7, 8), 90060, 0},
        {day_second(KX_IS_DAY_TO_SECOND, 1, 1, 1, 1, 5), 90061, 5},
        {day_second(KX_IS_HOUR_TO_MINUTE, 9, 1, 1, 7, 8), 3660, 0},
        {day_second(KX_IS_HOUR_TO_SECOND, 9, 1, 1, 1, 8), 3661, 8},
        {day_second(KX_IS_MINUTE_TO_SECOND, 9, 9, 1, 30, 8), 90, 8},
        {day_second(0, 1, 1, 1, 1, 1), 0, 0},
        {day_second(14, 1, 1, 1, 1, 1), 0, 0},
        // Negative intervals: base and fraction negated.
        {year_month(KX_IS_YEAR_TO_MONTH, 1, 11, 1), -23, 0},
        {day_second(KX_IS_DAY_TO_SECOND, 1, 1, 1, 1, 5, 1), -90061, -5},
        {day_second(KX_IS_HOUR, 0, 2, 0, 0, 0, 1), -7200, 0},
    };
    int n = 0;
    for (const auto &c : cases) {
        int32_t f = 12345;
        EXPECT_EQ(c.base, get_base_value(&c.i, &f)) << "case " << n;
        EXPECT_EQ(c.fraction, f) << "case " << n;
        EXPECT_EQ(c.base, get_base_value(&c.i, nullptr)) << "case " << n;
        ++n;
    }
}

TEST(EvalintCases, BaseValueWrapsSilently)
{
    // 30000 days are 2592000000 seconds, beyond the signed 32-bit range.
    IntervalStruct i = day_second(KX_IS_DAY, 30000, 0, 0, 0);
    EXPECT_EQ(static_cast<int32_t>(2592000000u - 4294967296u), get_base_value(&i, nullptr));

    Value a = interval(i);
    Value b = interval(i);
    Value r = blank(0);
    interval_operation(&a, &b, &r, 0, 1);
    // -1702967296 twice wraps to 889032704: 10289 days.
    EXPECT_EQ(KX_IS_DAY, r.payload.interval.interval_type);
    EXPECT_EQ(0, r.payload.interval.interval_sign);
    EXPECT_EQ(10289u, r.payload.interval.intval.day_second.day);
}

TEST(EvalintCases, IncompatibleKindsDoNotCrash)
{
    // A day-time interval with a year-month one has no covering kind.
    Value a = interval(day_second(KX_IS_DAY, 1, 0, 0, 0));
    Value b = interval(year_month(KX_IS_YEAR, 1, 0));
    Value r = blank(0);
    interval_operation(&a, &b, &r, 0, 1);
    interval_operation(&a, &b, &r, 0, 2);
    SUCCEED();
}

// ---- normalise_interval ----

struct Spread {
    int32_t kind;
    int32_t base;
    int32_t fraction;
    int16_t sign;
    uint32_t f1, f2, f3, f4, f5;  // day/year, hour/month, minute, second, fraction
};

// The result starts with every field at 77 (so untouched fields show) and
// sign 0.
const Spread kSpreads[] = {
    {KX_IS_DAY_TO_SECOND, 90061, 5, 0, 1, 1, 1, 1, 5},
    {KX_IS_MINUTE_TO_SECOND, -90, 0, 1, 77, 77, 1, 30, 0},
    {KX_IS_SECOND, 10, -1, 0, 77, 77, 77, 9, 999999999},
    {KX_IS_SECOND, 1, 1500000000, 0, 77, 77, 77, 2, 500000000},
    {KX_IS_SECOND, 5, -2000000001, 0, 77, 77, 77, 2, 999999999},
    // The fraction is carried after the sign is taken from the base.
    {KX_IS_SECOND, -10, -1, 1, 77, 77, 77, 9, 999999999},
    {KX_IS_YEAR, 23, 0, 0, 1, 77, 77, 77, 77},
    {KX_IS_MONTH, 23, 0, 0, 77, 23, 77, 77, 77},
    {KX_IS_YEAR_TO_MONTH, 23, 0, 0, 1, 11, 77, 77, 77},
    {KX_IS_YEAR_TO_MONTH, -23, 0, 1, 1, 11, 77, 77, 77},
    {KX_IS_DAY, 90061, 0, 0, 1, 77, 77, 77, 77},
    {KX_IS_HOUR, 90061, 0, 0, 77, 25, 77, 77, 77},
    {KX_IS_MINUTE, 90061, 0, 0, 77, 77, 1501, 77, 77},
    {KX_IS_SECOND, 90061, 3, 0, 77, 77, 77, 90061, 3},
    {KX_IS_DAY_TO_HOUR, 90061, 0, 0, 1, 1, 77, 77, 77},
    {KX_IS_DAY_TO_MINUTE, 90061, 0, 0, 1, 1, 1, 77, 77},
    {KX_IS_HOUR_TO_MINUTE, 90061, 0, 0, 77, 25, 1, 77, 77},
    {KX_IS_HOUR_TO_SECOND, 90061, 4, 0, 77, 25, 1, 1, 4},
    {KX_IS_MINUTE_TO_SECOND, 90061, 4, 0, 77, 77, 1501, 1, 4},
    {KX_IS_DAY_TO_SECOND, 2 * 86400 + 23 * 3600 + 59 * 60 + 58, 0, 0, 2, 23, 59, 58, 0},
};

TEST(EvalintCases, SpreadOverEveryKind)
{
    int n = 0;
    for (const Spread &c : kSpreads) {
        Value r = blank(VALUE_INTERVAL_DS);
        r.payload.interval = day_second(c.kind, 77, 77, 77, 77, 77);
        normalise_interval(c.base, c.fraction, &r);
        const IntervalStruct &i = r.payload.interval;
        EXPECT_EQ(c.kind, i.interval_type) << "case " << n;
        EXPECT_EQ(c.sign, i.interval_sign) << "case " << n;
        EXPECT_EQ(c.f1, i.intval.day_second.day) << "case " << n;
        EXPECT_EQ(c.f2, i.intval.day_second.hour) << "case " << n;
        EXPECT_EQ(c.f3, i.intval.day_second.minute) << "case " << n;
        EXPECT_EQ(c.f4, i.intval.day_second.second) << "case " << n;
        EXPECT_EQ(c.f5, i.intval.day_second.fraction) << "case " << n;
        ++n;
    }
}

TEST(EvalintCases, SpreadKeepsANegativeSignForAPositiveBase)
{
    Value r = blank(VALUE_INTERVAL_DS);
    r.payload.interval = day_second(KX_IS_HOUR, 0, 0, 0, 0, 0, 1);
    normalise_interval(7200, 0, &r);
    EXPECT_EQ(1, r.payload.interval.interval_sign);
    EXPECT_EQ(2u, r.payload.interval.intval.day_second.hour);
}

// ---- interval_operation ----

TEST(EvalintCases, YearToMonthPlusMonth)
{
    Value a = interval(year_month(KX_IS_YEAR_TO_MONTH, 1, 11));
    Value b = interval(year_month(KX_IS_MONTH, 0, 1));
    a.attr[2] = 2;
    a.attr[3] = 1;
    b.attr[2] = 5;
    b.attr[3] = 9;
    Value r = blank(0);
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(VALUE_INTERVAL_YM, r.type);
    EXPECT_EQ(KX_IS_YEAR_TO_MONTH, r.payload.interval.interval_type);
    EXPECT_EQ(0, r.payload.interval.interval_sign);
    EXPECT_EQ(2u, r.payload.interval.intval.year_month.year);
    EXPECT_EQ(0u, r.payload.interval.intval.year_month.month);
    EXPECT_EQ(5, r.attr[2]);  // the larger leading precision
    EXPECT_EQ(0, r.attr[3]);  // the second word is not set for year-month
    EXPECT_EQ(0, r.null_flag);
}

TEST(EvalintCases, YearMinusMonthGoesNegative)
{
    Value a = interval(year_month(KX_IS_YEAR, 1, 0));
    Value b = interval(year_month(KX_IS_MONTH, 0, 13));
    Value r = blank(0);
    interval_operation(&a, &b, &r, 0, 2);
    EXPECT_EQ(VALUE_INTERVAL_YM, r.type);
    EXPECT_EQ(KX_IS_YEAR_TO_MONTH, r.payload.interval.interval_type);
    EXPECT_EQ(1, r.payload.interval.interval_sign);
    EXPECT_EQ(0u, r.payload.interval.intval.year_month.year);
    EXPECT_EQ(1u, r.payload.interval.intval.year_month.month);
}

TEST(EvalintCases, DaySecondPlusAndMinus)
{
    struct {
        IntervalStruct a, b;
        int32_t op;
        int32_t kind;
        int16_t sign;
        uint32_t day, hour, minute, second, fraction;
    } const cases[] = {
        // DAY 1 + HOUR 24 promotes to DAY TO HOUR: 2 days.
        {day_second(KX_IS_DAY, 1, 0, 0, 0), day_second(KX_IS_HOUR, 0, 24, 0, 0), 1, KX_IS_DAY_TO_HOUR, 0,
         2, 0, 0, 0, 0},
        // HOUR 4 + DAY 3 promotes to DAY TO HOUR.
        {day_second(KX_IS_HOUR, 0, 4, 0, 0), day_second(KX_IS_DAY, 3, 0, 0, 0), 1, KX_IS_DAY_TO_HOUR, 0,
         3, 4, 0, 0, 0},
        // 1 day - 1 second.
        {day_second(KX_IS_DAY_TO_SECOND, 1, 0, 0, 0), day_second(KX_IS_SECOND, 0, 0, 0, 1), 2,
         KX_IS_DAY_TO_SECOND, 0, 0, 23, 59, 59, 0},
        // 1 hour - 2 hours = -1 hour.
        {day_second(KX_IS_HOUR, 0, 1, 0, 0), day_second(KX_IS_HOUR, 0, 2, 0, 0), 2, KX_IS_HOUR, 1,
         0, 1, 0, 0, 0},
        // Fractions carry into seconds.
        {day_second(KX_IS_SECOND, 0, 0, 0, 1, 500000000), day_second(KX_IS_SECOND, 0, 0, 0, 0, 600000000),
         1, KX_IS_SECOND, 0, 0, 0, 0, 2, 100000000},
        // 2 s - 0.5 s borrows from the seconds.
        {day_second(KX_IS_SECOND, 0, 0, 0, 2, 0), day_second(KX_IS_SECOND, 0, 0, 0, 0, 500000000),
         2, KX_IS_SECOND, 0, 0, 0, 0, 1, 500000000},
        // MINUTE + SECOND promotes to MINUTE TO SECOND.
        {day_second(KX_IS_MINUTE, 0, 0, 2, 0), day_second(KX_IS_SECOND, 0, 0, 0, 75), 1,
         KX_IS_MINUTE_TO_SECOND, 0, 0, 0, 3, 15, 0},
        // A negative operand.
        {day_second(KX_IS_HOUR_TO_MINUTE, 0, 1, 30, 0, 0, 1), day_second(KX_IS_MINUTE, 0, 0, 20, 0), 1,
         KX_IS_HOUR_TO_MINUTE, 1, 0, 1, 10, 0, 0},
    };
    int n = 0;
    for (const auto &c : cases) {
        Value a = interval(c.a);
        Value b = interval(c.b);
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, c.op);
        const IntervalStruct &i = r.payload.interval;
        EXPECT_EQ(VALUE_INTERVAL_DS, r.type) << "case " << n;
        EXPECT_EQ(c.kind, i.interval_type) << "case " << n;
        EXPECT_EQ(c.sign, i.interval_sign) << "case " << n;
        EXPECT_EQ(c.day, i.intval.day_second.day) << "case " << n;
        EXPECT_EQ(c.hour, i.intval.day_second.hour) << "case " << n;
        EXPECT_EQ(c.minute, i.intval.day_second.minute) << "case " << n;
        EXPECT_EQ(c.second, i.intval.day_second.second) << "case " << n;
        EXPECT_EQ(c.fraction, i.intval.day_second.fraction) << "case " << n;
        ++n;
    }
}

TEST(EvalintCases, DaySecondPrecisionWordsTakeTheLarger)
{
    Value a = interval(day_second(KX_IS_DAY, 1, 0, 0, 0));
    Value b = interval(day_second(KX_IS_SECOND, 0, 0, 0, 1));
    a.attr[2] = 2;
    a.attr[3] = 6;
    b.attr[2] = 4;
    b.attr[3] = 3;
    Value r = blank(0);
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(4, r.attr[2]);
    EXPECT_EQ(6, r.attr[3]);
    EXPECT_EQ(KX_IS_DAY_TO_SECOND, r.payload.interval.interval_type);
}

TEST(EvalintCases, ResultMayBeTheLeftOperand)
{
    Value a = interval(day_second(KX_IS_HOUR, 0, 5, 0, 0));
    Value b = interval(day_second(KX_IS_HOUR, 0, 3, 0, 0));
    interval_operation(&a, &b, &a, 0, 1);
    EXPECT_EQ(VALUE_INTERVAL_DS, a.type);
    EXPECT_EQ(KX_IS_HOUR, a.payload.interval.interval_type);
    EXPECT_EQ(8u, a.payload.interval.intval.day_second.hour);
}

TEST(EvalintCases, NullOperandMakesANullResult)
{
    Value a = interval(day_second(KX_IS_DAY, 1, 0, 0, 0));
    Value b = interval(day_second(KX_IS_DAY, 2, 0, 0, 0));
    b.null_flag = -1;
    Value r = blank(0);
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(-1, r.null_flag);

    Value a2 = timestamp(2004, 1, 1, 0, 0, 0);
    a2.null_flag = -1;
    Value b2 = interval(day_second(KX_IS_DAY, 2, 0, 0, 0));
    Value r2 = blank(0);
    interval_operation(&a2, &b2, &r2, 0, 2);
    EXPECT_EQ(-1, r2.null_flag);
}

TEST(EvalintCases, OtherOperatorLeavesTheResultUntouched)
{
    const int32_t ops[] = {0, 3, 4, 5, 6, 11, -1};
    for (int32_t op : ops) {
        Value a = interval(day_second(KX_IS_DAY, 1, 0, 0, 0));
        Value b = interval(day_second(KX_IS_DAY, 2, 0, 0, 0));
        Value r;
        std::memset(&r, 0x5a, sizeof r);
        Value before = r;
        interval_operation(&a, &b, &r, 0, op);
        EXPECT_EQ(0, std::memcmp(&before, &r, sizeof r)) << "op " << op;

        Value t = timestamp(2004, 1, 1, 0, 0, 0);
        interval_operation(&t, &b, &r, 0, op);
        EXPECT_EQ(0, std::memcmp(&before, &r, sizeof r)) << "op " << op;
    }
}

TEST(EvalintCases, NumberAndInterval)
{
    struct {
        int32_t n;
        IntervalStruct b;
        int32_t op;
        int16_t sign;
        uint32_t f1, f2, f3, f4, f5;
    } const cases[] = {
        // 3 + INTERVAL '2' DAY = 5 days; 3 - INTERVAL '5' DAY = 2 days.
        {3, day_second(KX_IS_DAY, 2, 0, 0, 0), 1, 0, 5, 0, 0, 0, 0},
        {3, day_second(KX_IS_DAY, 5, 0, 0, 0), 2, 0, 2, 0, 0, 0, 0},
        // The interval minus the number, whatever the order.
        {7, day_second(KX_IS_DAY, 5, 0, 0, 0), 2, 1, 2, 0, 0, 0, 0},
        {2, day_second(KX_IS_HOUR, 0, 1, 0, 0), 1, 0, 0, 3, 0, 0, 0},
        {2, day_second(KX_IS_MINUTE, 0, 0, 1, 0), 1, 0, 0, 0, 3, 0, 0},
        {1, day_second(KX_IS_SECOND, 0, 0, 0, 2, 7), 1, 0, 0, 0, 0, 3, 7},
        // A compound kind has unit 0: the number adds nothing.
        {5, day_second(KX_IS_DAY_TO_HOUR, 1, 2, 0, 0), 1, 0, 1, 2, 0, 0, 0},
        {5, day_second(KX_IS_MINUTE_TO_SECOND, 0, 0, 1, 30), 2, 0, 0, 0, 1, 30, 0},
        // Year-month intervals: unit 12 for YEAR, 1 for MONTH.
        {2, year_month(KX_IS_YEAR, 1, 0), 1, 0, 3, 0, 0, 0, 0},
        {2, year_month(KX_IS_MONTH, 0, 5), 1, 0, 0, 7, 0, 0, 0},
    };
    int n = 0;
    for (const auto &c : cases) {
        Value a = integer(c.n);
        Value b = interval(c.b);
        b.attr[2] = 3;
        b.attr[3] = 4;
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, c.op);
        const IntervalStruct &i = r.payload.interval;
        // Always a day-second value, even for a year-month interval.
        EXPECT_EQ(VALUE_INTERVAL_DS, r.type) << "case " << n;
        EXPECT_EQ(c.b.interval_type, i.interval_type) << "case " << n;
        EXPECT_EQ(c.sign, i.interval_sign) << "case " << n;
        if (c.b.interval_type == KX_IS_YEAR || c.b.interval_type == KX_IS_MONTH) {
            EXPECT_EQ(c.f1, i.intval.year_month.year) << "case " << n;
            EXPECT_EQ(c.f2, i.intval.year_month.month) << "case " << n;
        } else {
            EXPECT_EQ(c.f1, i.intval.day_second.day) << "case " << n;
            EXPECT_EQ(c.f2, i.intval.day_second.hour) << "case " << n;
            EXPECT_EQ(c.f3, i.intval.day_second.minute) << "case " << n;
            EXPECT_EQ(c.f4, i.intval.day_second.second) << "case " << n;
            EXPECT_EQ(c.f5, i.intval.day_second.fraction) << "case " << n;
        }
        EXPECT_EQ(3, r.attr[2]) << "case " << n;
        EXPECT_EQ(4, r.attr[3]) << "case " << n;
        ++n;
    }
}

TEST(EvalintCases, DatetimePlusOrMinusInterval)
{
    {
        // One month after 31 January 2004 is "31 February".
        Value a = timestamp(2004, 1, 31, 10, 0, 0);
        Value b = interval(year_month(KX_IS_MONTH, 0, 1));
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, 1);
        expect_ts({2004, 2, 31, 10, 0, 0, 0}, r, "+1 month");
    }
    {
        Value a = timestamp(2004, 3, 31, 10, 0, 0);
        Value b = interval(year_month(KX_IS_MONTH, 0, 1));
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, 2);
        expect_ts({2004, 2, 31, 10, 0, 0, 0}, r, "-1 month");
    }
    {
        Value a = timestamp(2004, 3, 1, 0, 0, 0);
        Value b = interval(day_second(KX_IS_SECOND, 0, 0, 0, 1));
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, 2);
        expect_ts({2004, 2, 29, 23, 59, 59, 0}, r, "-1 second");
    }
    {
        // A date stays a date.
        Value a = date(2004, 2, 28);
        Value b = interval(day_second(KX_IS_DAY, 1, 0, 0, 0));
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, 1);
        EXPECT_EQ(VALUE_DATE, r.type);
        EXPECT_EQ(2004, r.payload.date.year);
        EXPECT_EQ(2, r.payload.date.month);
        EXPECT_EQ(29, r.payload.date.day);
    }
    {
        // Subtracting a fraction of 5 adds the unsigned 4294967291, which the
        // 999999 rule turns into 4294 seconds and a fraction of 971585.
        Value a = timestamp(2004, 1, 1, 0, 0, 0, 0);
        Value b = interval(day_second(KX_IS_SECOND, 0, 0, 0, 10, 5));
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, 2);
        expect_ts({2004, 1, 1, 1, 11, 24, 971585}, r, "-10.000000005 s");
    }
    {
        // A time wraps at midnight.
        Value a = time_of_day(23, 30, 0);
        Value b = interval(day_second(KX_IS_HOUR, 0, 1, 0, 0));
        Value r = blank(0);
        interval_operation(&a, &b, &r, 0, 1);
        EXPECT_EQ(VALUE_TIME, r.type);
        EXPECT_EQ(0, r.payload.time.hour);
        EXPECT_EQ(30, r.payload.time.minute);
        EXPECT_EQ(0, r.payload.time.second);
    }
}

// ---- timestamp_add ----

TEST(EvalintCases, TimestampShifts)
{
    struct {
        Ts source;
        int32_t months, seconds, fraction;
        Ts expected;
    } const cases[] = {
        {{2004, 1, 31, 10, 0, 0, 0}, 1, 0, 0, {2004, 2, 31, 10, 0, 0, 0}},
        // Sum 24: month 0 of year + 2.
        {{2004, 12, 15, 0, 0, 0, 0}, 12, 0, 0, {2006, 0, 15, 0, 0, 0, 0}},
        // Sum 12 is kept, 13 moves to January of the next year.
        {{2004, 1, 15, 0, 0, 0, 0}, 11, 0, 0, {2004, 12, 15, 0, 0, 0, 0}},
        {{2004, 1, 15, 0, 0, 0, 0}, 12, 0, 0, {2005, 1, 15, 0, 0, 0, 0}},
        {{2004, 5, 15, 0, 0, 0, 0}, 20, 0, 0, {2006, 1, 15, 0, 0, 0, 0}},
        // A negative sum: -1 gives month 1 of the same year.
        {{2004, 1, 15, 0, 0, 0, 0}, -2, 0, 0, {2004, 1, 15, 0, 0, 0, 0}},
        {{2004, 3, 31, 0, 0, 0, 0}, -1, 0, 0, {2004, 2, 31, 0, 0, 0, 0}},
        {{2004, 3, 1, 0, 0, 0, 0}, 0, -1, 0, {2004, 2, 29, 23, 59, 59, 0}},
        {{2004, 3, 1, 0, 0, 0, 0}, 0, -60, 0, {2004, 2, 29, 23, 59, 0, 0}},
        {{2004, 3, 1, 0, 0, 0, 0}, 0, -3600, 0, {2004, 2, 29, 23, 0, 0, 0}},
        {{2004, 3, 10, 0, 0, 0, 0}, 0, -86400, 0, {2004, 3, 9, 0, 0, 0, 0}},
        {{2004, 3, 10, 0, 0, 0, 0}, 0, -22 * 3600, 0, {2004, 3, 9, 2, 0, 0, 0}},
        // An hour of -23 carries two days back (kept as designed).
        {{2004, 3, 10, 0, 0, 0, 0}, 0, -23 * 3600, 0, {2004, 3, 8, 1, 0, 0, 0}},
        {{2004, 3, 10, 0, 0, 0, 0}, 0, -25 * 3600, 0, {2004, 3, 8, 23, 0, 0, 0}},
        {{2004, 2, 28, 23, 59, 59, 0}, 0, 1, 0, {2004, 2, 29, 0, 0, 0, 0}},
        {{2004, 12, 31, 23, 0, 0, 0}, 0, 7200, 0, {2005, 1, 1, 1, 0, 0, 0}},
        {{2004, 1, 1, 0, 0, 0, 0}, 0, 90061, 0, {2004, 1, 2, 1, 1, 1, 0}},
        // Fractions carry into seconds by 999999.
        {{2004, 1, 1, 0, 0, 0, 500}, 0, 0, 999999, {2004, 1, 1, 0, 0, 1, 500}},
        {{2004, 1, 1, 0, 0, 0, 0}, 0, 0, 999999, {2004, 1, 1, 0, 0, 0, 999999}},
        {{2004, 1, 1, 0, 0, 0, 0}, 0, 0, 1999998, {2004, 1, 1, 0, 0, 2, 0}},
        {{2004, 1, 1, 0, 0, 0, 0}, 0, 0, 500000000, {2004, 1, 1, 0, 8, 20, 500}},
        {{2004, 1, 1, 0, 0, 0, 0}, 0, -10, -5, {2004, 1, 1, 1, 11, 24, 971585}},
        // Months and seconds together.
        {{2004, 1, 31, 23, 0, 0, 0}, 1, 3600, 0, {2004, 3, 1, 0, 0, 0, 0}},
        // A year of 0 leaves the date alone.
        {{0, 5, 5, 23, 0, 0, 0}, 3, 7200, 0, {0, 5, 5, 1, 0, 0, 0}},
    };
    int n = 0;
    for (const auto &c : cases) {
        const Ts &s = c.source;
        Value src = timestamp(s.y, s.mo, s.d, s.h, s.mi, s.s, s.f);
        Value r = blank(0);
        timestamp_add(&r, &src, c.months, c.seconds, c.fraction);
        std::string label = "case " + std::to_string(n);
        expect_ts(c.expected, r, label.c_str());
        // The same through the non-converting form, and in place.
        Value r2 = blank(0);
        timestamp_add_noconvert(&r2, &src, c.months, c.seconds, c.fraction);
        expect_ts(c.expected, r2, (label + " noconvert").c_str());
        timestamp_add(&src, &src, c.months, c.seconds, c.fraction);
        expect_ts(c.expected, src, (label + " in place").c_str());
        ++n;
    }
}

TEST(EvalintCases, TimestampAddCopiesTheSourceFirst)
{
    Value src = timestamp(2004, 1, 31, 10, 0, 0);
    src.attr[0] = 11;
    src.attr[2] = 3;
    src.driver[1] = 42;
    Value r = blank(VALUE_INTEGER);
    r.null_flag = -1;
    timestamp_add(&r, &src, 0, 1, 0);
    EXPECT_EQ(VALUE_TIMESTAMP, r.type);
    EXPECT_EQ(0, r.null_flag);
    EXPECT_EQ(11, r.attr[0]);
    EXPECT_EQ(3, r.attr[2]);
    EXPECT_EQ(1, r.payload.timestamp.second);
}

TEST(EvalintCases, DateShiftsStoreADate)
{
    Value src = date(2004, 2, 28);
    Value r = blank(0);
    timestamp_add(&r, &src, 0, 86400, 0);
    EXPECT_EQ(VALUE_DATE, r.type);
    EXPECT_EQ(2004, r.payload.date.year);
    EXPECT_EQ(2, r.payload.date.month);
    EXPECT_EQ(29, r.payload.date.day);

    Value r2 = blank(0);
    timestamp_add_noconvert(&r2, &src, 1, 86400 + 3661, 0);
    expect_ts({2004, 3, 29, 1, 1, 1, 0}, r2, "date noconvert");
}

TEST(EvalintCases, TimeShifts)
{
    // 23:30:00 + 3600 s wraps to 00:30:00 through timestamp_add...
    Value src = time_of_day(23, 30, 0);
    Value r = blank(0);
    timestamp_add(&r, &src, 0, 3600, 0);
    EXPECT_EQ(VALUE_TIME, r.type);
    EXPECT_EQ(0, r.payload.time.hour);
    EXPECT_EQ(30, r.payload.time.minute);
    EXPECT_EQ(0, r.payload.time.second);

    // ... and gives 24:30:00 through time_add.
    Value r2 = blank(VALUE_TIME);
    time_add(&r2, &src, 3600, 0);
    EXPECT_EQ(VALUE_TIME, r2.type);
    EXPECT_EQ(24, r2.payload.time.hour);
    EXPECT_EQ(30, r2.payload.time.minute);
    EXPECT_EQ(0, r2.payload.time.second);

    // The non-converting form makes a timestamp with year 0 (no date step).
    Value r3 = blank(0);
    timestamp_add_noconvert(&r3, &src, 5, 3600, 0);
    EXPECT_EQ(VALUE_TIMESTAMP, r3.type);
    EXPECT_EQ(0, r3.payload.timestamp.year);
    EXPECT_EQ(0, r3.payload.timestamp.hour);
    EXPECT_EQ(30, r3.payload.timestamp.minute);
    EXPECT_EQ(0, r3.payload.timestamp.second);
    EXPECT_EQ(0u, r3.payload.timestamp.fraction);
}

// ---- date_add ----

TEST(EvalintCases, DateAdd)
{
    struct {
        int32_t y, mo, d;
        int32_t months, days;
        int32_t ey, emo, ed;
    } const cases[] = {
        {2004, 2, 28, 0, 1, 2004, 2, 29},
        {2004, 2, 29, 0, 1, 2004, 3, 1},
        {2004, 12, 31, 0, 1, 2005, 1, 1},
        {2004, 3, 1, 0, -1, 2004, 2, 29},
        {2004, 1, 31, 1, 0, 2004, 2, 31},
        {2004, 12, 15, 12, 0, 2006, 0, 15},
        {2004, 1, 31, 1, 1, 2004, 3, 1},
        {2004, 1, 1, 0, 366, 2005, 1, 1},
        {0, 5, 5, 3, 10, 0, 5, 5},
    };
    int n = 0;
    for (const auto &c : cases) {
        Value src = date(c.y, c.mo, c.d);
        Value r = blank(VALUE_DATE);
        date_add(&r, &src, c.months, c.days);
        EXPECT_EQ(VALUE_DATE, r.type) << "case " << n;
        EXPECT_EQ(c.ey, r.payload.date.year) << "case " << n;
        EXPECT_EQ(c.emo, r.payload.date.month) << "case " << n;
        EXPECT_EQ(c.ed, r.payload.date.day) << "case " << n;
        ++n;
    }
}

TEST(EvalintCases, DateAddOfATimestampClearsTheTime)
{
    Value src = timestamp(2004, 2, 28, 10, 20, 30, 500);
    Value r = timestamp(1999, 9, 9, 9, 9, 9, 9);
    date_add(&r, &src, 0, 1);
    expect_ts({2004, 2, 29, 0, 0, 0, 0}, r, "timestamp result");

    date_add(&src, &src, 1, 0);
    expect_ts({2004, 3, 28, 0, 0, 0, 0}, src, "in place");
}

TEST(EvalintCases, DateAddOfATimeZeroesTheFirstFields)
{
    Value src = time_of_day(10, 20, 30);
    Value r = time_of_day(1, 2, 3);
    date_add(&r, &src, 1, 1);
    EXPECT_EQ(0, r.payload.time.hour);
    EXPECT_EQ(0, r.payload.time.minute);
    EXPECT_EQ(0, r.payload.time.second);
}

// ---- time_add ----

TEST(EvalintCases, TimeAdd)
{
    struct {
        int32_t h, mi, s;
        int32_t seconds, fraction;
        int32_t eh, emi, es;
    } const cases[] = {
        {23, 30, 0, 3600, 0, 24, 30, 0},
        {10, 0, 0, -1, 0, 9, 59, 59},
        // A negative multiple of 60 leaves second 60.
        {10, 0, 0, -60, 0, 9, 58, 60},
        {10, 0, 0, 61, 0, 10, 1, 1},
        {10, 59, 59, 1, 0, 11, 0, 0},
        {0, 0, 0, 90061, 0, 25, 1, 1},
        // Fractions above 999999 add whole multiples; a negative one adds nothing.
        {10, 0, 0, 0, 2000000, 10, 0, 2},
        {10, 0, 0, 0, 999999, 10, 0, 0},
        {10, 0, 0, 0, -5, 10, 0, 0},
        // The hour is kept in 16 bits without reduction.
        {0, 0, 0, -3600, 0, 65534, 59, 60},
    };
    int n = 0;
    for (const auto &c : cases) {
        Value src = time_of_day(c.h, c.mi, c.s);
        Value r = blank(VALUE_TIME);
        time_add(&r, &src, c.seconds, c.fraction);
        EXPECT_EQ(c.eh, r.payload.time.hour) << "case " << n;
        EXPECT_EQ(c.emi, r.payload.time.minute) << "case " << n;
        EXPECT_EQ(c.es, r.payload.time.second) << "case " << n;
        ++n;
    }
}

TEST(EvalintCases, TimeAddIntoATimestampClearsTheFraction)
{
    Value src = timestamp(2004, 2, 28, 10, 20, 30, 500);
    Value r = timestamp(2004, 2, 28, 10, 20, 30, 500);
    time_add(&r, &src, 30, 0);
    EXPECT_EQ(2004, r.payload.timestamp.year);
    EXPECT_EQ(2, r.payload.timestamp.month);
    EXPECT_EQ(28, r.payload.timestamp.day);
    EXPECT_EQ(10, r.payload.timestamp.hour);
    EXPECT_EQ(21, r.payload.timestamp.minute);
    EXPECT_EQ(0, r.payload.timestamp.second);
    EXPECT_EQ(0u, r.payload.timestamp.fraction);

    // A date source gives a zero time.
    Value d = date(2004, 2, 28);
    Value r2 = blank(VALUE_TIME);
    time_add(&r2, &d, 3661, 0);
    EXPECT_EQ(1, r2.payload.time.hour);
    EXPECT_EQ(1, r2.payload.time.minute);
    EXPECT_EQ(1, r2.payload.time.second);
}

// ---- interval_compare, compare_interval ----

TEST(EvalintCases, Compare)
{
    struct {
        IntervalStruct a, b;
        int32_t expected;
    } const cases[] = {
        {day_second(KX_IS_DAY, 1, 0, 0, 0), day_second(KX_IS_HOUR, 0, 24, 0, 0), 0},
        {day_second(KX_IS_DAY, 1, 0, 0, 0), day_second(KX_IS_HOUR, 0, 25, 0, 0), -1},
        {day_second(KX_IS_HOUR, 0, 25, 0, 0), day_second(KX_IS_DAY, 1, 0, 0, 0), 1},
        {year_month(KX_IS_YEAR, 1, 0), year_month(KX_IS_MONTH, 0, 12), 0},
        {year_month(KX_IS_YEAR, 1, 0), year_month(KX_IS_MONTH, 0, 13), -1},
        {year_month(KX_IS_YEAR_TO_MONTH, 1, 2), year_month(KX_IS_MONTH, 0, 13), 1},
        {day_second(KX_IS_SECOND, 0, 0, 0, 1, 5), day_second(KX_IS_SECOND, 0, 0, 0, 1, 4), 1},
        {day_second(KX_IS_SECOND, 0, 0, 0, 1, 4), day_second(KX_IS_SECOND, 0, 0, 0, 1, 5), -1},
        {day_second(KX_IS_SECOND, 0, 0, 0, 1, 5), day_second(KX_IS_MINUTE_TO_SECOND, 0, 0, 0, 1, 5), 0},
        {day_second(KX_IS_DAY, 1, 0, 0, 0, 0, 1), day_second(KX_IS_DAY, 0, 0, 0, 0), -1},
        {day_second(KX_IS_DAY, 1, 0, 0, 0, 0, 1), day_second(KX_IS_DAY, 2, 0, 0, 0, 0, 1), 1},
        {day_second(KX_IS_SECOND, 0, 0, 0, 1, 5, 1), day_second(KX_IS_SECOND, 0, 0, 0, 1, 4, 1), -1},
        // b is reduced by its own kind: 12 months against 86400 seconds.
        {year_month(KX_IS_YEAR, 1, 0), day_second(KX_IS_DAY, 1, 0, 0, 0), -1},
        {day_second(KX_IS_DAY, 1, 0, 0, 0), year_month(KX_IS_YEAR, 1, 0), 1},
    };
    int n = 0;
    for (const auto &c : cases) {
        EXPECT_EQ(c.expected, interval_compare(&c.a, &c.b)) << "case " << n;
        Value va = interval(c.a);
        Value vb = interval(c.b);
        EXPECT_EQ(c.expected, compare_interval(&va, &vb)) << "case " << n;
        ++n;
    }
}

}  // namespace
