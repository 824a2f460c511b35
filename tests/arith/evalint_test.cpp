// Tests of evalint: reducing and spreading intervals, interval_operation,
// the datetime shifts and the interval comparisons, with the library's
// deliberate rules (fraction carry by 999999, month 0, unclamped days, a
// time_add that does not wrap, numbers with intervals giving day-second
// intervals).
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

using kxtest::blank;
using kxtest::date;
using kxtest::integer;
using kxtest::time_of_day;
using kxtest::timestamp;

Value ym(int32_t kind, uint32_t year, uint32_t month, int16_t sign = 0)
{
    Value v = blank();
    v.type = VALUE_INTERVAL_YM;
    v.payload.interval.interval_type = kind;
    v.payload.interval.interval_sign = sign;
    v.payload.interval.intval.year_month.year = year;
    v.payload.interval.intval.year_month.month = month;
    return v;
}

Value ds(int32_t kind, uint32_t day, uint32_t hour, uint32_t minute, uint32_t second,
         uint32_t fraction = 0, int16_t sign = 0)
{
    Value v = blank();
    v.type = VALUE_INTERVAL_DS;
    v.payload.interval.interval_type = kind;
    v.payload.interval.interval_sign = sign;
    DaySecondStruct &f = v.payload.interval.intval.day_second;
    f.day = day;
    f.hour = hour;
    f.minute = minute;
    f.second = second;
    f.fraction = fraction;
    return v;
}

struct Ts {
    int32_t year, month, day, hour, minute, second;
    uint32_t fraction;
};

Ts ts_of(const Value &v)
{
    const TimestampStruct &t = v.payload.timestamp;
    return Ts{t.year, t.month, t.day, t.hour, t.minute, t.second, t.fraction};
}

::testing::AssertionResult same_ts(const Value &v, Ts e)
{
    Ts a = ts_of(v);
    if (a.year == e.year && a.month == e.month && a.day == e.day && a.hour == e.hour &&
        a.minute == e.minute && a.second == e.second && a.fraction == e.fraction)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "got " << a.year << "-" << a.month << "-" << a.day << " " << a.hour << ":"
           << a.minute << ":" << a.second << "." << a.fraction << ", expected " << e.year
           << "-" << e.month << "-" << e.day << " " << e.hour << ":" << e.minute << ":"
           << e.second << "." << e.fraction;
}

// ---- reduce ----

struct BaseCase {
    int32_t kind;
    int16_t sign;
    uint32_t f1, f2, f3, f4, fraction;  // year/day, month/hour, minute, second
    int32_t base, frac;
};

TEST(Evalint, GetBaseValueEveryKind)
{
    const BaseCase cases[] = {
        {KX_IS_YEAR, 0, 3, 7, 9, 9, 9, 36, 0},              // month not read
        {KX_IS_MONTH, 0, 3, 7, 9, 9, 9, 7, 0},              // year not read
        {KX_IS_YEAR_TO_MONTH, 0, 3, 7, 9, 9, 9, 43, 0},
        {KX_IS_YEAR_TO_MONTH, 1, 3, 7, 9, 9, 9, -43, 0},
        {KX_IS_DAY, 0, 2, 5, 6, 7, 8, 172800, 0},
        {KX_IS_HOUR, 0, 2, 5, 6, 7, 8, 18000, 0},
        {KX_IS_MINUTE, 0, 2, 5, 6, 7, 8, 360, 0},
        {KX_IS_SECOND, 0, 2, 5, 6, 7, 8, 7, 8},
        {KX_IS_SECOND, 1, 2, 5, 6, 7, 8, -7, -8},
        {KX_IS_DAY_TO_HOUR, 0, 2, 5, 6, 7, 8, 190800, 0},
        {KX_IS_DAY_TO_MINUTE, 0, 2, 5, 6, 7, 8, 191160, 0},
        {KX_IS_DAY_TO_SECOND, 0, 2, 5, 6, 7, 8, 191167, 8},
        {KX_IS_DAY_TO_SECOND, 1, 2, 5, 6, 7, 8, -191167, -8},
        {KX_IS_HOUR_TO_MINUTE, 0, 2, 5, 6, 7, 8, 18360, 0},
        {KX_IS_HOUR_TO_SECOND, 0, 2, 5, 6, 7, 8, 18367, 8},
        {KX_IS_MINUTE_TO_SECOND, 0, 2, 5, 6, 7, 8, 367, 8},
        {KX_IS_MINUTE_TO_SECOND, 1, 2, 5, 6, 7, 8, -367, -8},
        {0, 0, 2, 5, 6, 7, 8, 0, 0},                        // unknown kinds
        {14, 1, 2, 5, 6, 7, 8, 0, 0},
        {KX_IS_DAY, 2, 1, 0, 0, 0, 0, 86400, 0},            // only sign 1 negates
        {KX_IS_HOUR, 0, 0, 100, 0, 0, 0, 360000, 0},        // no range check
    };
    for (const BaseCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << c.kind << " sign " << c.sign);
        IntervalStruct iv;
        std::memset(&iv, 0, sizeof iv);
        iv.interval_type = c.kind;
        iv.interval_sign = c.sign;
        if (c.kind == KX_IS_YEAR || c.kind == KX_IS_MONTH || c.kind == KX_IS_YEAR_TO_MONTH) {
            iv.intval.year_month.year = c.f1;
            iv.intval.year_month.month = c.f2;
            // the day-second fields beyond the year-month part are not read
            iv.intval.day_second.minute = c.f3;
            iv.intval.day_second.second = c.f4;
            iv.intval.day_second.fraction = c.fraction;
        } else {
            iv.intval.day_second = DaySecondStruct{c.f1, c.f2, c.f3, c.f4, c.fraction};
        }
        int32_t frac = 12345;
        EXPECT_EQ(get_base_value(&iv, &frac), c.base);
        EXPECT_EQ(frac, c.frac);
        EXPECT_EQ(get_base_value(&iv, nullptr), c.base);
    }
}

TEST(Evalint, GetBaseValueWrapsIn32Bits)
{
    Value v = ds(KX_IS_DAY, 30000, 0, 0, 0);
    // 30000 x 86400 = 2592000000, which does not fit 31 bits
    EXPECT_EQ(get_base_value(&v.payload.interval, nullptr),
              static_cast<int32_t>(2592000000u));
}

// ---- spread ----

struct SpreadCase {
    int32_t kind;
    int32_t base, fraction;
    int16_t sign_before;
    int16_t sign;
    uint32_t f1, f2, f3, f4, frac;  // year/day, month/hour, minute, second, fraction
};

constexpr uint32_t S = 0xDEADBEEF;  // a field the kind does not name stays as it was

TEST(Evalint, NormaliseIntervalTable)
{
    const SpreadCase cases[] = {
        // 90061 seconds and fraction 5 spread over DAY TO SECOND
        {KX_IS_DAY_TO_SECOND, 90061, 5, 0, 0, 1, 1, 1, 1, 5},
        // a negative base sets the sign
        {KX_IS_MINUTE_TO_SECOND, -90, 0, 0, 1, S, S, 1, 30, 0},
        // a negative fraction borrows a second
        {KX_IS_SECOND, 10, -1, 0, 0, S, S, S, 9, 999999999},
        {KX_IS_SECOND, 10, -1000000001, 0, 0, S, S, S, 8, 999999999},
        {KX_IS_SECOND, 10, 1500000000, 0, 0, S, S, S, 11, 500000000},
        // the borrow happens after the sign, on the absolute value
        {KX_IS_SECOND, -10, -1, 0, 1, S, S, S, 9, 999999999},
        {KX_IS_SECOND, 0, -1, 0, 0, S, S, S, 0xFFFFFFFFu, 999999999},
        // a non-negative base leaves the sign as the result holds it
        {KX_IS_SECOND, 5, 0, 1, 1, S, S, S, 5, 0},
        {KX_IS_YEAR, 23, 0, 0, 0, 1, S, S, S, S},
        {KX_IS_MONTH, 23, 0, 0, 0, S, 23, S, S, S},
        {KX_IS_YEAR_TO_MONTH, 23, 0, 0, 0, 1, 11, S, S, S},
        {KX_IS_YEAR_TO_MONTH, -25, 0, 0, 1, 2, 1, S, S, S},
        {KX_IS_DAY, 86399, 7, 0, 0, 0, S, S, S, S},          // below a day is dropped
        {KX_IS_DAY, 172800, 0, 0, 0, 2, S, S, S, S},
        {KX_IS_HOUR, 360000, 0, 0, 0, S, 100, S, S, S},      // the leading field is not reduced
        {KX_IS_MINUTE, 3659, 0, 0, 0, S, S, 60, S, S},
        {KX_IS_DAY_TO_HOUR, 190800 + 3599, 0, 0, 0, 2, 5, S, S, S},
        {KX_IS_DAY_TO_MINUTE, 191167, 0, 0, 0, 2, 5, 6, S, S},
        {KX_IS_DAY_TO_SECOND, 191167, 8, 0, 0, 2, 5, 6, 7, 8},
        {KX_IS_HOUR_TO_MINUTE, 90061, 0, 0, 0, S, 25, 1, S, S},
        {KX_IS_HOUR_TO_SECOND, 90061, 3, 0, 0, S, 25, 1, 1, 3},
        {KX_IS_MINUTE_TO_SECOND, 90061, 3, 0, 0, S, S, 1501, 1, 3},
        {0, 90061, 3, 0, 0, S, S, S, S, S},                   // unknown kind: nothing
    };
    for (const SpreadCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << c.kind << " base " << c.base
                                        << " fraction " << c.fraction);
        Value r = blank();
        r.payload.interval.interval_type = c.kind;
        r.payload.interval.interval_sign = c.sign_before;
        r.payload.interval.intval.day_second = DaySecondStruct{S, S, S, S, S};
        normalise_interval(c.base, c.fraction, &r);
        const DaySecondStruct &f = r.payload.interval.intval.day_second;
        EXPECT_EQ(r.payload.interval.interval_type, c.kind);
        EXPECT_EQ(r.payload.interval.interval_sign, c.sign);
        EXPECT_EQ(f.day, c.f1);
        EXPECT_EQ(f.hour, c.f2);
        EXPECT_EQ(f.minute, c.f3);
        EXPECT_EQ(f.second, c.f4);
        EXPECT_EQ(f.fraction, c.frac);
    }
}

// ---- interval_operation on two intervals ----

TEST(Evalint, YearToMonthPlusMonthCarriesIntoTheYear)
{
    Value a = ym(KX_IS_YEAR_TO_MONTH, 1, 11);
    Value b = ym(KX_IS_MONTH, 0, 1);
    Value r = blank();
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(r.type, VALUE_INTERVAL_YM);
    EXPECT_EQ(r.payload.interval.interval_type, KX_IS_YEAR_TO_MONTH);
    EXPECT_EQ(r.payload.interval.interval_sign, 0);
    EXPECT_EQ(r.payload.interval.intval.year_month.year, 2u);
    EXPECT_EQ(r.payload.interval.intval.year_month.month, 0u);
}

struct DsOpCase {
    Value a, b;
    int32_t op;
    int32_t kind;
    int16_t sign;
    uint32_t day, hour, minute, second, fraction;
};

TEST(Evalint, DaySecondOperationTable)
{
    const DsOpCase cases[] = {
        // DAY + HOUR promotes to DAY TO HOUR
        {ds(KX_IS_DAY, 1, 0, 0, 0), ds(KX_IS_HOUR, 0, 24, 0, 0), 1, KX_IS_DAY_TO_HOUR, 0, 2, 0, 0, 0, 0},
        {ds(KX_IS_HOUR, 0, 30, 0, 0), ds(KX_IS_DAY, 1, 0, 0, 0), 1, KX_IS_DAY_TO_HOUR, 0, 2, 6, 0, 0, 0},
        // a negative difference sets the sign
        {ds(KX_IS_HOUR, 0, 1, 0, 0), ds(KX_IS_MINUTE, 0, 0, 90, 0), 2, KX_IS_HOUR_TO_MINUTE, 1, 0, 0, 30, 0, 0},
        // fractions add and carry into the seconds
        {ds(KX_IS_SECOND, 0, 0, 0, 1, 600000000), ds(KX_IS_SECOND, 0, 0, 0, 1, 700000000), 1,
         KX_IS_SECOND, 0, 0, 0, 0, 3, 300000000},
        // and borrow from them
        {ds(KX_IS_SECOND, 0, 0, 0, 3, 100000000), ds(KX_IS_SECOND, 0, 0, 0, 1, 700000000), 2,
         KX_IS_SECOND, 0, 0, 0, 0, 1, 400000000},
        // signed operands
        {ds(KX_IS_DAY_TO_SECOND, 1, 2, 3, 4, 5), ds(KX_IS_DAY_TO_SECOND, 0, 2, 3, 4, 5, 1), 1,
         KX_IS_DAY_TO_SECOND, 0, 1, 0, 0, 0, 0},
        {ds(KX_IS_MINUTE_TO_SECOND, 0, 0, 1, 30), ds(KX_IS_HOUR_TO_SECOND, 0, 1, 0, 0), 1,
         KX_IS_HOUR_TO_SECOND, 0, 0, 1, 1, 30, 0},
        // DAY TO SECOND on the left takes any right kind
        {ds(KX_IS_DAY_TO_SECOND, 0, 0, 0, 10), ym(KX_IS_YEAR, 1, 0), 1, KX_IS_DAY_TO_SECOND, 0, 0, 0, 0, 22, 0},
    };
    for (const DsOpCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "kinds " << c.a.payload.interval.interval_type
                                        << " and " << c.b.payload.interval.interval_type
                                        << " op " << c.op);
        Value a = c.a, b = c.b, r = blank();
        interval_operation(&a, &b, &r, 0, c.op);
        const DaySecondStruct &f = r.payload.interval.intval.day_second;
        EXPECT_EQ(r.type, VALUE_INTERVAL_DS);
        EXPECT_EQ(r.null_flag, 0);
        EXPECT_EQ(r.payload.interval.interval_type, c.kind);
        EXPECT_EQ(r.payload.interval.interval_sign, c.sign);
        EXPECT_EQ(f.day, c.day);
        EXPECT_EQ(f.hour, c.hour);
        EXPECT_EQ(f.minute, c.minute);
        EXPECT_EQ(f.second, c.second);
        EXPECT_EQ(f.fraction, c.fraction);
    }
}

TEST(Evalint, YearMonthOperationTable)
{
    const struct {
        Value a, b;
        int32_t op, kind;
        int16_t sign;
        uint32_t year, month;
    } cases[] = {
        {ym(KX_IS_YEAR, 2, 0), ym(KX_IS_MONTH, 0, 5), 1, KX_IS_YEAR_TO_MONTH, 0, 2, 5},
        {ym(KX_IS_YEAR, 2, 0), ym(KX_IS_MONTH, 0, 5), 2, KX_IS_YEAR_TO_MONTH, 0, 1, 7},
        {ym(KX_IS_MONTH, 0, 5), ym(KX_IS_YEAR, 2, 0), 2, KX_IS_YEAR_TO_MONTH, 1, 1, 7},
        {ym(KX_IS_YEAR, 2, 0), ym(KX_IS_YEAR, 1, 0), 1, KX_IS_YEAR, 0, 3, 0},
        {ym(KX_IS_MONTH, 0, 5), ym(KX_IS_MONTH, 0, 9), 1, KX_IS_MONTH, 0, 0, 14},
        {ym(KX_IS_YEAR_TO_MONTH, 1, 6, 1), ym(KX_IS_MONTH, 0, 1), 2, KX_IS_YEAR_TO_MONTH, 1, 1, 7},
        // a year-month left operand with a day-second right one stays year-month;
        // the day-second operand reduces to seconds
        {ym(KX_IS_MONTH, 0, 5), ds(KX_IS_SECOND, 0, 0, 0, 3), 1, KX_IS_YEAR_TO_MONTH, 0, 0, 8},
    };
    for (const auto &c : cases) {
        Value a = c.a, b = c.b, r = blank();
        interval_operation(&a, &b, &r, 0, c.op);
        EXPECT_EQ(r.type, VALUE_INTERVAL_YM);
        EXPECT_EQ(r.payload.interval.interval_type, c.kind);
        EXPECT_EQ(r.payload.interval.interval_sign, c.sign);
        EXPECT_EQ(r.payload.interval.intval.year_month.year, c.year);
        EXPECT_EQ(r.payload.interval.intval.year_month.month, c.month);
    }
}

TEST(Evalint, PrecisionWordsTakeTheLarger)
{
    Value a = ds(KX_IS_DAY, 1, 0, 0, 0);
    Value b = ds(KX_IS_SECOND, 0, 0, 0, 1);
    a.attr[2] = 5;
    a.attr[3] = 2;
    b.attr[2] = 3;
    b.attr[3] = 6;
    Value r = blank();
    r.attr[0] = 77;
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(r.attr[2], 5);
    EXPECT_EQ(r.attr[3], 6);
    EXPECT_EQ(r.attr[0], 77);

    // year-month: only the leading precision
    Value c = ym(KX_IS_YEAR, 1, 0), d = ym(KX_IS_MONTH, 0, 1);
    c.attr[2] = 2;
    d.attr[2] = 4;
    c.attr[3] = 9;
    d.attr[3] = 9;
    Value s = blank();
    s.attr[3] = 1;
    interval_operation(&c, &d, &s, 0, 2);
    EXPECT_EQ(s.attr[2], 4);
    EXPECT_EQ(s.attr[3], 1);
}

TEST(Evalint, NullOperandGivesNull)
{
    Value a = ds(KX_IS_DAY, 1, 0, 0, 0), b = ds(KX_IS_DAY, 2, 0, 0, 0);
    b.null_flag = -1;
    Value r = blank();
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(r.null_flag, -1);

    Value t = timestamp(2004, 1, 1);
    t.null_flag = -1;
    Value r2 = blank();
    interval_operation(&t, &a, &r2, 0, 2);
    EXPECT_EQ(r2.null_flag, -1);
    EXPECT_EQ(r2.type, 0);
}

TEST(Evalint, NullLeftOperandGivesNullForEveryKindOfOperation)
{
    Value day = ds(KX_IS_DAY, 2, 0, 0, 0);
    const Value lefts[] = {ds(KX_IS_DAY, 1, 0, 0, 0), ym(KX_IS_YEAR, 1, 0), integer(3),
                           date(2004, 1, 1), time_of_day(1, 2, 3)};
    for (const Value &left : lefts) {
        for (int32_t op : {1, 2}) {
            Value a = left;
            a.null_flag = -1;
            Value r = blank();
            r.type = 42;
            r.payload.integer = 99;
            interval_operation(&a, &day, &r, 0, op);
            EXPECT_EQ(r.null_flag, -1) << left.type << " op " << op;
            EXPECT_EQ(r.type, 42);  // nothing else is written
            EXPECT_EQ(r.payload.integer, 99);
        }
    }
}

// A null pointer makes any routine of the family do nothing (0 where a
// result is returned), with nothing read or written through it.
TEST(Evalint, NullPointersDoNothing)
{
    Value a = ds(KX_IS_DAY, 1, 0, 0, 0);
    Value t = timestamp(2004, 1, 1, 1, 2, 3, 4);
    Value r = blank();
    r.type = 42;
    Value before = r;
    int32_t frac = 77;
    EXPECT_EQ(get_base_value(nullptr, &frac), 0);
    EXPECT_EQ(frac, 0);
    EXPECT_EQ(get_base_value(nullptr, nullptr), 0);
    normalise_interval(5, 0, nullptr);
    EXPECT_EQ(interval_operation(nullptr, &a, &r, 0, 1), 0);
    EXPECT_EQ(interval_operation(&a, nullptr, &r, 0, 1), 0);
    EXPECT_EQ(interval_operation(&a, &a, nullptr, 0, 1), 0);
    EXPECT_EQ(timestamp_add(&r, nullptr, 1, 1, 1), 0);
    EXPECT_EQ(timestamp_add(nullptr, &t, 1, 1, 1), 0);
    EXPECT_EQ(timestamp_add_noconvert(&r, nullptr, 1, 1, 1), 0);
    EXPECT_EQ(timestamp_add_noconvert(nullptr, &t, 1, 1, 1), 0);
    EXPECT_EQ(date_add(&r, nullptr, 1, 1), 0);
    EXPECT_EQ(date_add(nullptr, &t, 1, 1), 0);
    time_add(&r, nullptr, 1, 1);
    time_add(nullptr, &t, 1, 1);
    EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0);
    EXPECT_EQ(interval_compare(nullptr, &a.payload.interval), 0);
    EXPECT_EQ(interval_compare(&a.payload.interval, nullptr), 0);
    EXPECT_EQ(compare_interval(nullptr, &a), 0);
    EXPECT_EQ(compare_interval(&a, nullptr), 0);
}

TEST(Evalint, OtherOperatorsLeaveTheResultAlone)
{
    Value a = ds(KX_IS_DAY, 1, 0, 0, 0), b = ds(KX_IS_DAY, 2, 0, 0, 0);
    for (int32_t op : {0, 3, 4, 5, 6, 7, 11, -1}) {
        Value r = blank();
        r.type = 42;
        r.payload.integer = 99;
        Value before = r;
        interval_operation(&a, &b, &r, 0, op);
        EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0) << op;
    }
}

TEST(Evalint, ResultMayBeAnOperand)
{
    Value a = ds(KX_IS_DAY, 1, 0, 0, 0);
    Value b = ds(KX_IS_HOUR, 0, 5, 0, 0);
    interval_operation(&a, &b, &a, 0, 1);
    EXPECT_EQ(a.payload.interval.interval_type, KX_IS_DAY_TO_HOUR);
    EXPECT_EQ(a.payload.interval.intval.day_second.day, 1u);
    EXPECT_EQ(a.payload.interval.intval.day_second.hour, 5u);

    Value t = timestamp(2004, 2, 28, 23, 0, 0);
    Value h = ds(KX_IS_HOUR, 0, 2, 0, 0);
    interval_operation(&t, &h, &h, 0, 1);
    EXPECT_EQ(h.type, VALUE_TIMESTAMP);
    EXPECT_TRUE(same_ts(h, {2004, 2, 29, 1, 0, 0, 0}));
}

// ---- a number and an interval: always a day-second interval ----

TEST(Evalint, NumberAndIntervalTable)
{
    const struct {
        Value b;
        int32_t n, op;
        int16_t sign;
        uint32_t f1, f2, f3, f4, frac;
    } cases[] = {
        {ds(KX_IS_DAY, 2, 0, 0, 0), 3, 1, 0, 5, 0, 0, 0, 0},           // 3 + '2' DAY
        {ds(KX_IS_DAY, 5, 0, 0, 0), 3, 2, 0, 2, 0, 0, 0, 0},           // 3 - '5' DAY: interval minus number
        {ds(KX_IS_DAY, 2, 0, 0, 0), 3, 2, 1, 1, 0, 0, 0, 0},           // 2 - 3 days
        {ds(KX_IS_HOUR, 0, 1, 0, 0), 4, 1, 0, 0, 5, 0, 0, 0},
        {ds(KX_IS_MINUTE, 0, 0, 1, 0), 4, 1, 0, 0, 0, 5, 0, 0},
        {ds(KX_IS_SECOND, 0, 0, 0, 1, 500000000), 2, 1, 0, 0, 0, 0, 3, 500000000},
        // compound kinds have no unit: the number adds nothing
        {ds(KX_IS_DAY_TO_HOUR, 1, 2, 0, 0), 5, 1, 0, 1, 2, 0, 0, 0},
        {ds(KX_IS_MINUTE_TO_SECOND, 0, 0, 1, 2), 5, 2, 0, 0, 0, 1, 2, 0},
        // a year-month interval still gives a day-second result
        {ym(KX_IS_YEAR, 1, 0), 2, 1, 0, 3, 0, 0, 0, 0},
        {ym(KX_IS_MONTH, 0, 4), 2, 1, 0, 0, 6, 0, 0, 0},
        {ym(KX_IS_YEAR_TO_MONTH, 1, 4), 2, 1, 0, 1, 4, 0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << c.b.payload.interval.interval_type
                                        << " n " << c.n << " op " << c.op);
        Value a = integer(c.n), b = c.b, r = blank();
        b.attr[2] = 7;
        b.attr[3] = 3;
        interval_operation(&a, &b, &r, 0, c.op);
        const DaySecondStruct &f = r.payload.interval.intval.day_second;
        EXPECT_EQ(r.type, VALUE_INTERVAL_DS);
        EXPECT_EQ(r.payload.interval.interval_type, c.b.payload.interval.interval_type);
        EXPECT_EQ(r.payload.interval.interval_sign, c.sign);
        EXPECT_EQ(f.day, c.f1);
        EXPECT_EQ(f.hour, c.f2);
        EXPECT_EQ(f.minute, c.f3);
        EXPECT_EQ(f.second, c.f4);
        EXPECT_EQ(f.fraction, c.frac);
        EXPECT_EQ(r.attr[2], 7);
        EXPECT_EQ(r.attr[3], 3);
    }
}

TEST(Evalint, NumberMayBeAnyConvertibleValue)
{
    Value a = blank();
    a.type = VALUE_DOUBLE;
    a.payload.dbl = 3.9;  // truncates to 3
    Value b = ds(KX_IS_DAY, 2, 0, 0, 0), r = blank();
    interval_operation(&a, &b, &r, 0, 1);
    EXPECT_EQ(r.payload.interval.intval.day_second.day, 5u);
}

// ---- datetime and interval ----

TEST(Evalint, DatetimePlusAndMinusIntervals)
{
    Value t = timestamp(2004, 1, 31, 10, 0, 0);
    Value month = ym(KX_IS_MONTH, 0, 1);
    Value r = blank();
    interval_operation(&t, &month, &r, 0, 1);
    EXPECT_EQ(r.type, VALUE_TIMESTAMP);
    EXPECT_TRUE(same_ts(r, {2004, 2, 31, 10, 0, 0, 0}));  // the day is not clamped

    Value r2 = blank();
    interval_operation(&t, &month, &r2, 0, 2);
    EXPECT_TRUE(same_ts(r2, {2004, 0, 31, 10, 0, 0, 0}));  // month sum 0: month 0

    Value day_hour = ds(KX_IS_DAY_TO_HOUR, 1, 14, 0, 0);
    Value r3 = blank();
    interval_operation(&t, &day_hour, &r3, 0, 1);
    EXPECT_TRUE(same_ts(r3, {2004, 2, 2, 0, 0, 0, 0}));

    Value r4 = blank();
    interval_operation(&t, &day_hour, &r4, 0, 2);
    EXPECT_TRUE(same_ts(r4, {2004, 1, 29, 20, 0, 0, 0}));

    // a date gains whole days only; a time wraps at midnight
    Value d = date(2004, 2, 28), r5 = blank();
    interval_operation(&d, &day_hour, &r5, 0, 1);
    EXPECT_EQ(r5.type, VALUE_DATE);
    EXPECT_EQ(r5.payload.date.year, 2004);
    EXPECT_EQ(r5.payload.date.month, 2u);
    EXPECT_EQ(r5.payload.date.day, 29u);

    Value tm = time_of_day(20, 0, 0), r6 = blank();
    interval_operation(&tm, &day_hour, &r6, 0, 1);
    EXPECT_EQ(r6.type, VALUE_TIME);
    EXPECT_EQ(r6.payload.time.hour, 10u);
}

// Subtracting an interval with fraction 5 passes -5, which is added as the
// unsigned 4294967291 and carried by 999999: 4294 seconds and 971585 remain.
TEST(Evalint, SubtractedFractionIsAddedUnsigned)
{
    Value t = timestamp(2004, 6, 16, 10, 0, 0, 0);
    Value i = ds(KX_IS_DAY_TO_SECOND, 0, 0, 0, 0, 5);
    Value r = blank();
    interval_operation(&t, &i, &r, 0, 2);
    EXPECT_TRUE(same_ts(r, {2004, 6, 16, 11, 11, 34, 971585}));
}

// ---- timestamp_add ----

struct ShiftCase {
    const char *what;
    Ts source;
    int32_t months, seconds, fraction;
    Ts expected;
};

TEST(Evalint, TimestampAddTable)
{
    const ShiftCase cases[] = {
        {"one month, day not clamped", {2004, 1, 31, 10, 0, 0, 0}, 1, 0, 0, {2004, 2, 31, 10, 0, 0, 0}},
        {"twelve months from December: month 0 of two years on", {2004, 12, 15, 0, 0, 0, 0}, 12, 0, 0, {2006, 0, 15, 0, 0, 0, 0}},
        {"eleven months from December", {2004, 12, 15, 0, 0, 0, 0}, 11, 0, 0, {2005, 11, 15, 0, 0, 0, 0}},
        {"a sum of 12 stays in the year", {2004, 5, 15, 0, 0, 0, 0}, 7, 0, 0, {2004, 12, 15, 0, 0, 0, 0}},
        {"a sum of 13", {2004, 5, 15, 0, 0, 0, 0}, 8, 0, 0, {2005, 1, 15, 0, 0, 0, 0}},
        {"a sum of 0 gives month 0", {2004, 5, 15, 0, 0, 0, 0}, -5, 0, 0, {2004, 0, 15, 0, 0, 0, 0}},
        {"a sum of -1 gives month 1 of the same year", {2004, 1, 15, 0, 0, 0, 0}, -2, 0, 0, {2004, 1, 15, 0, 0, 0, 0}},
        {"a sum of -13", {2004, 1, 15, 0, 0, 0, 0}, -14, 0, 0, {2003, 1, 15, 0, 0, 0, 0}},
        {"minus one second over a leap day", {2004, 3, 1, 0, 0, 0, 0}, 0, -1, 0, {2004, 2, 29, 23, 59, 59, 0}},
        {"plus one second over a year", {2004, 12, 31, 23, 59, 59, 0}, 0, 1, 0, {2005, 1, 1, 0, 0, 0, 0}},
        {"minus a whole day", {2004, 3, 10, 0, 0, 0, 0}, 0, -86400, 0, {2004, 3, 9, 0, 0, 0, 0}},
        {"minus 60 seconds", {2004, 3, 10, 10, 5, 0, 0}, 0, -60, 0, {2004, 3, 10, 10, 4, 0, 0}},
        {"hour -23 carries two days", {2004, 3, 10, 0, 0, 0, 0}, 0, -82800, 0, {2004, 3, 8, 1, 0, 0, 0}},
        {"hour -1", {2004, 3, 10, 0, 0, 0, 0}, 0, -3600, 0, {2004, 3, 9, 23, 0, 0, 0}},
        {"hour -25", {2004, 3, 10, 0, 0, 0, 0}, 0, -90000, 0, {2004, 3, 8, 23, 0, 0, 0}},
        {"hour 48", {2004, 3, 10, 0, 0, 0, 0}, 0, 172800, 0, {2004, 3, 12, 0, 0, 0, 0}},
        {"fraction up to 999999 stays", {2004, 3, 10, 0, 0, 0, 999000}, 0, 0, 999, {2004, 3, 10, 0, 0, 0, 999999}},
        {"fraction carries by 999999", {2004, 3, 10, 0, 0, 0, 999999}, 0, 0, 1, {2004, 3, 10, 0, 0, 1, 1}},
        {"half a second of billionths", {2004, 3, 10, 0, 0, 0, 0}, 0, 0, 500000000, {2004, 3, 10, 0, 8, 20, 500}},
        {"negative fraction as unsigned", {2004, 6, 16, 10, 0, 0, 0}, 0, 0, -5, {2004, 6, 16, 11, 11, 34, 971585}},
        {"days then months", {2004, 1, 31, 12, 0, 0, 0}, 1, 86400, 0, {2004, 3, 1, 12, 0, 0, 0}},
        {"across the change of 1752", {1752, 9, 2, 12, 0, 0, 0}, 0, 86400, 0, {1752, 9, 14, 12, 0, 0, 0}},
        {"year 0: the date stays", {0, 5, 5, 23, 0, 0, 0}, 3, 7200, 0, {0, 5, 5, 1, 0, 0, 0}},
        {"negative year: the date stays", {-5, 5, 5, 23, 0, 0, 0}, 3, 7200, 0, {-5, 5, 5, 1, 0, 0, 0}},
    };
    for (const ShiftCase &c : cases) {
        SCOPED_TRACE(c.what);
        Value src = timestamp(static_cast<int16_t>(c.source.year), static_cast<uint16_t>(c.source.month),
                              static_cast<uint16_t>(c.source.day), static_cast<uint16_t>(c.source.hour),
                              static_cast<uint16_t>(c.source.minute), static_cast<uint16_t>(c.source.second),
                              c.source.fraction);
        Value r = blank();
        timestamp_add(&r, &src, c.months, c.seconds, c.fraction);
        EXPECT_EQ(r.type, VALUE_TIMESTAMP);
        EXPECT_TRUE(same_ts(r, c.expected));
        // in place, and the noconvert variant on a timestamp, agree
        Value same = src;
        timestamp_add(&same, &same, c.months, c.seconds, c.fraction);
        EXPECT_TRUE(same_ts(same, c.expected));
        Value n = blank();
        timestamp_add_noconvert(&n, &src, c.months, c.seconds, c.fraction);
        EXPECT_EQ(n.type, VALUE_TIMESTAMP);
        EXPECT_TRUE(same_ts(n, c.expected));
    }
}

TEST(Evalint, TimestampAddOnDatesAndTimes)
{
    // a time wraps at midnight through timestamp_add ...
    Value t = time_of_day(23, 30, 0), r = blank();
    timestamp_add(&r, &t, 0, 3600, 0);
    EXPECT_EQ(r.type, VALUE_TIME);
    EXPECT_EQ(r.payload.time.hour, 0u);
    EXPECT_EQ(r.payload.time.minute, 30u);
    EXPECT_EQ(r.payload.time.second, 0u);
    // ... and the noconvert variant gives a timestamp of year 0
    Value n = blank();
    timestamp_add_noconvert(&n, &t, 0, 3600, 0);
    EXPECT_EQ(n.type, VALUE_TIMESTAMP);
    EXPECT_TRUE(same_ts(n, {0, 0, 0, 0, 30, 0, 0}));
    // months do nothing to a time
    Value m = blank();
    timestamp_add(&m, &t, 5, 0, 0);
    EXPECT_EQ(m.payload.time.hour, 23u);
    EXPECT_EQ(m.payload.time.minute, 30u);

    // a date is shifted by whole days carried from the seconds
    Value d = date(2004, 2, 28), r2 = blank();
    timestamp_add(&r2, &d, 0, 86400 + 3600, 0);
    EXPECT_EQ(r2.type, VALUE_DATE);
    EXPECT_EQ(r2.payload.date.year, 2004);
    EXPECT_EQ(r2.payload.date.month, 2u);
    EXPECT_EQ(r2.payload.date.day, 29u);
    Value r3 = blank();
    timestamp_add(&r3, &d, 1, -1, 0);
    EXPECT_EQ(r3.payload.date.month, 3u);
    EXPECT_EQ(r3.payload.date.day, 27u);
    Value n2 = blank();
    timestamp_add_noconvert(&n2, &d, 0, 90, 0);
    EXPECT_EQ(n2.type, VALUE_TIMESTAMP);
    EXPECT_TRUE(same_ts(n2, {2004, 2, 28, 0, 1, 30, 0}));
}

TEST(Evalint, ShiftingAValueThatIsNoDatetime)
{
    // timestamp_add leaves the result alone; the noconvert variant makes a
    // timestamp from all-zero fields, keeping the source's own payload out.
    Value source = integer(5);
    source.length = 7;
    Value r = blank();
    r.type = 42;
    Value before = r;
    EXPECT_EQ(timestamp_add(&r, &source, 1, 60, 0), 0);
    EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0);

    Value n = blank();
    EXPECT_EQ(timestamp_add_noconvert(&n, &source, 0, 90, 0), 0);
    EXPECT_EQ(n.type, VALUE_TIMESTAMP);
    EXPECT_EQ(n.length, 7) << "the rest of the record is the source's";
    EXPECT_TRUE(same_ts(n, {0, 0, 0, 0, 1, 30, 0}));
}

TEST(Evalint, TimestampAddCopiesTheSourceRecord)
{
    Value src = timestamp(2004, 1, 1);
    src.attr[0] = 11;
    src.attr[3] = 6;
    src.length = 16;
    src.driver[1] = 1234;
    Value r = blank();
    r.type = VALUE_INTEGER;
    r.null_flag = -1;
    MemHandle *own = reinterpret_cast<MemHandle *>(0x1000);
    r.mem_handle = own;
    timestamp_add(&r, &src, 0, 1, 0);
    EXPECT_EQ(r.type, VALUE_TIMESTAMP);
    EXPECT_EQ(r.null_flag, 0);
    EXPECT_EQ(r.attr[0], 11);
    EXPECT_EQ(r.attr[3], 6);
    EXPECT_EQ(r.length, 16);
    EXPECT_EQ(r.driver[1], 1234);
    EXPECT_EQ(r.mem_handle, own);  // the record's own storage stays its own
    EXPECT_EQ(r.kind, static_cast<uint32_t>(NODE_VALUE));
    EXPECT_TRUE(same_ts(r, {2004, 1, 1, 0, 0, 1, 0}));
}

// ---- date_add ----

TEST(Evalint, DateAdd)
{
    Value d = date(2004, 1, 31);
    Value r = blank();
    r.type = VALUE_DATE;
    date_add(&r, &d, 1, 0);
    EXPECT_EQ(r.payload.date.year, 2004);
    EXPECT_EQ(r.payload.date.month, 2u);
    EXPECT_EQ(r.payload.date.day, 31u);

    date_add(&r, &d, 0, 30);
    EXPECT_EQ(r.payload.date.month, 3u);
    EXPECT_EQ(r.payload.date.day, 1u);

    date_add(&r, &d, 11, 0);  // sum 12
    EXPECT_EQ(r.payload.date.year, 2004);
    EXPECT_EQ(r.payload.date.month, 12u);
    date_add(&r, &d, 23, 0);  // sum 24: month 0
    EXPECT_EQ(r.payload.date.year, 2006);
    EXPECT_EQ(r.payload.date.month, 0u);

    // a timestamp result gets the date and a zero time
    Value t = timestamp(2004, 2, 28, 10, 11, 12, 500);
    Value r2 = timestamp(1, 1, 1, 5, 5, 5, 5);
    date_add(&r2, &t, 0, 1);
    EXPECT_TRUE(same_ts(r2, {2004, 2, 29, 0, 0, 0, 0}));

    // a time source: a timestamp result's date fields become 0, its time stays
    Value tm = time_of_day(10, 0, 0);
    Value r3 = timestamp(2004, 5, 6, 7, 8, 9, 10);
    date_add(&r3, &tm, 1, 1);
    EXPECT_TRUE(same_ts(r3, {0, 0, 0, 7, 8, 9, 10}));
    // and a date result becomes the zero date
    Value r4 = date(2004, 5, 6);
    date_add(&r4, &tm, 1, 1);
    EXPECT_EQ(r4.payload.date.year, 0);
    EXPECT_EQ(r4.payload.date.month, 0u);
    EXPECT_EQ(r4.payload.date.day, 0u);

    // in place
    Value self = date(2004, 12, 31);
    date_add(&self, &self, 0, 1);
    EXPECT_EQ(self.payload.date.year, 2005);
    EXPECT_EQ(self.payload.date.month, 1u);
    EXPECT_EQ(self.payload.date.day, 1u);

    // year 0 or less: nothing moves
    Value old = date(-44, 3, 15), r5 = blank();
    r5.type = VALUE_DATE;
    date_add(&r5, &old, 1, 1);
    EXPECT_EQ(r5.payload.date.year, -44);
    EXPECT_EQ(r5.payload.date.month, 3u);
    EXPECT_EQ(r5.payload.date.day, 15u);
}

// ---- time_add ----

TEST(Evalint, TimeAddTable)
{
    const struct {
        const char *what;
        uint16_t h, m, s;
        int32_t seconds, fraction;
        uint16_t eh, em, es;
    } cases[] = {
        {"no wrap at 24 hours", 23, 30, 0, 3600, 0, 24, 30, 0},
        {"one second back", 10, 0, 0, -1, 0, 9, 59, 59},
        {"a negative multiple of 60 leaves second 60", 10, 5, 0, -60, 0, 10, 3, 60},
        {"fraction in whole 999999s", 10, 0, 0, 0, 2000000, 10, 0, 2},
        {"fraction of 999999 adds nothing", 10, 0, 0, 0, 999999, 10, 0, 0},
        {"a negative fraction adds nothing", 10, 0, 0, 0, -5, 10, 0, 0},
        {"below midnight the hour wraps in 16 bits", 0, 0, 0, -1, 0, 65535, 59, 59},
        {"many hours", 1, 0, 0, 100 * 3600, 0, 101, 0, 0},
        {"minutes carry", 10, 59, 59, 1, 0, 11, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Value src = time_of_day(c.h, c.m, c.s);
        Value r = blank();
        r.type = VALUE_TIME;
        time_add(&r, &src, c.seconds, c.fraction);
        EXPECT_EQ(r.payload.time.hour, c.eh);
        EXPECT_EQ(r.payload.time.minute, c.em);
        EXPECT_EQ(r.payload.time.second, c.es);
    }
}

TEST(Evalint, TimeAddIntoOtherResults)
{
    Value src = timestamp(2004, 1, 1, 23, 30, 0, 777);
    Value r = timestamp(1999, 9, 9, 1, 1, 1, 1);
    time_add(&r, &src, 3600, 0);
    EXPECT_TRUE(same_ts(r, {1999, 9, 9, 24, 30, 0, 0}));  // date untouched, fraction 0

    Value d = date(2004, 1, 1);
    Value r2 = blank();
    r2.type = VALUE_TIME;
    time_add(&r2, &d, 61, 0);  // a date gives a zero time
    EXPECT_EQ(r2.payload.time.hour, 0u);
    EXPECT_EQ(r2.payload.time.minute, 1u);
    EXPECT_EQ(r2.payload.time.second, 1u);

    Value self = time_of_day(1, 2, 3);
    time_add(&self, &self, 60, 0);
    EXPECT_EQ(self.payload.time.minute, 3u);
}

// ---- compare ----

TEST(Evalint, IntervalCompareTable)
{
    const struct {
        Value a, b;
        int32_t expected;
    } cases[] = {
        {ds(KX_IS_DAY, 1, 0, 0, 0), ds(KX_IS_HOUR, 0, 24, 0, 0), 0},
        {ds(KX_IS_DAY, 1, 0, 0, 0), ds(KX_IS_HOUR, 0, 25, 0, 0), -1},
        {ds(KX_IS_HOUR, 0, 25, 0, 0), ds(KX_IS_DAY, 1, 0, 0, 0), 1},
        {ds(KX_IS_SECOND, 0, 0, 0, 1, 5), ds(KX_IS_SECOND, 0, 0, 0, 1, 6), -1},
        {ds(KX_IS_SECOND, 0, 0, 0, 1, 7), ds(KX_IS_MINUTE_TO_SECOND, 0, 0, 0, 1, 6), 1},
        {ds(KX_IS_SECOND, 0, 0, 0, 1, 5), ds(KX_IS_SECOND, 0, 0, 0, 1, 5), 0},
        {ds(KX_IS_DAY, 1, 0, 0, 0, 0, 1), ds(KX_IS_SECOND, 0, 0, 0, 1), -1},
        {ds(KX_IS_SECOND, 0, 0, 0, 1, 5, 1), ds(KX_IS_SECOND, 0, 0, 0, 1, 6, 1), 1},
        {ym(KX_IS_YEAR, 1, 0), ym(KX_IS_MONTH, 0, 12), 0},
        {ym(KX_IS_MONTH, 0, 13), ym(KX_IS_YEAR, 1, 0), 1},
        {ym(KX_IS_YEAR_TO_MONTH, 1, 1, 1), ym(KX_IS_MONTH, 0, 1), -1},
        {ym(KX_IS_YEAR_TO_MONTH, 1, 3), ym(KX_IS_MONTH, 0, 15), 0},
        {ym(KX_IS_YEAR_TO_MONTH, 1, 3), ym(KX_IS_YEAR_TO_MONTH, 1, 4), -1},
        // a year-month left side compares months only: fractions are not looked at
        {ym(KX_IS_MONTH, 0, 1), ds(KX_IS_SECOND, 0, 0, 0, 1, 9), 0},
        // each side reduces by its own kind
        {ds(KX_IS_SECOND, 0, 0, 0, 12), ym(KX_IS_YEAR, 1, 0), 0},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(interval_compare(&cases[i].a.payload.interval, &cases[i].b.payload.interval),
                  cases[i].expected);
        EXPECT_EQ(compare_interval(&cases[i].a, &cases[i].b), cases[i].expected);
    }
}

}  // namespace
