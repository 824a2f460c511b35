// Interval and datetime arithmetic of evalint checked against an independent
// computation with the C++20 <chrono> calendar (sys_days, year_month_day,
// hh_mm_ss and durations).
//
// The cases are drawn at random (with a fixed seed) and stay clear of the
// library's deliberate rules that differ from calendar arithmetic:
//  - no month sum of 0 or below, and none that is a multiple of 12 above 12
//    (those give month 0 or the same month of the wrong year);
//  - days of 1 to 28 only, so that no day runs past the end of its month;
//  - no negative fractions, and fraction sums of at most 999999 billionths
//    (the library carries fractions into seconds by 999999);
//  - no hour that lands on -23 - 24k while a negative shift carries days
//    (which the library counts as one day too many);
//  - no difference of intervals that is negative while it has a fraction;
//  - dates after the change of 1752, where the automatic calendar is the
//    Gregorian calendar of <chrono>.
#include <chrono>
#include <cstdint>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

using namespace std::chrono;
using nanos = std::chrono::nanoseconds;

using kxtest::blank;

// A timestamp as <chrono> sees it.  Whole seconds and the fraction are kept
// apart: nanoseconds since 1970 in 64 bits do not reach the year 2400, and
// the cases never carry a fraction into the seconds.
struct Stamp {
    year_month_day ymd;
    seconds time;     // since midnight, below a day
    nanos fraction;   // below one second
};

Value stamp_value(const Stamp &s)
{
    Value v = blank();
    v.type = VALUE_TIMESTAMP;
    hh_mm_ss<seconds> hms{s.time};
    TimestampStruct &t = v.payload.timestamp;
    t.year = static_cast<int16_t>(int{s.ymd.year()});
    t.month = static_cast<uint16_t>(unsigned{s.ymd.month()});
    t.day = static_cast<uint16_t>(unsigned{s.ymd.day()});
    t.hour = static_cast<uint16_t>(hms.hours().count());
    t.minute = static_cast<uint16_t>(hms.minutes().count());
    t.second = static_cast<uint16_t>(hms.seconds().count());
    t.fraction = static_cast<uint32_t>(s.fraction.count());
    return v;
}

Stamp stamp_of(sys_seconds when, nanos fraction)
{
    sys_days day = floor<days>(when);
    return Stamp{year_month_day{day}, when - day, fraction};
}

::testing::AssertionResult stamp_is(const Value &v, const Stamp &e)
{
    Value expected = stamp_value(e);
    const TimestampStruct &a = v.payload.timestamp;
    const TimestampStruct &b = expected.payload.timestamp;
    if (std::memcmp(&a, &b, sizeof a) == 0 && v.type == VALUE_TIMESTAMP)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "got " << a.year << "-" << a.month << "-" << a.day << " " << a.hour << ":"
           << a.minute << ":" << a.second << "." << a.fraction << ", <chrono> says "
           << b.year << "-" << b.month << "-" << b.day << " " << b.hour << ":" << b.minute
           << ":" << b.second << "." << b.fraction;
}

// A day-second interval value of the given kind holding a non-negative
// duration, its fields spread as the kind names them.
Value day_second_interval(int32_t kind, nanos d)
{
    Value v = blank();
    v.type = VALUE_INTERVAL_DS;
    v.payload.interval.interval_type = kind;
    DaySecondStruct &f = v.payload.interval.intval.day_second;
    auto whole = floor<seconds>(d);
    f.fraction = static_cast<uint32_t>((d - whole).count());
    int64_t s = whole.count();
    switch (kind) {
    case KX_IS_DAY_TO_SECOND:
        f.day = static_cast<uint32_t>(s / 86400);
        f.hour = static_cast<uint32_t>(s % 86400 / 3600);
        f.minute = static_cast<uint32_t>(s % 3600 / 60);
        f.second = static_cast<uint32_t>(s % 60);
        break;
    case KX_IS_HOUR_TO_SECOND:
        f.hour = static_cast<uint32_t>(s / 3600);
        f.minute = static_cast<uint32_t>(s % 3600 / 60);
        f.second = static_cast<uint32_t>(s % 60);
        break;
    case KX_IS_MINUTE_TO_SECOND:
        f.minute = static_cast<uint32_t>(s / 60);
        f.second = static_cast<uint32_t>(s % 60);
        break;
    default:  // SECOND
        f.second = static_cast<uint32_t>(s);
        break;
    }
    return v;
}

// The duration an interval value of kind 6, 10, 12 or 13 holds, from
// <chrono> durations of its fields.
nanos duration_of(const Value &v)
{
    const DaySecondStruct &f = v.payload.interval.intval.day_second;
    nanos d = days{f.day} + hours{f.hour} + minutes{f.minute} + seconds{f.second} +
              nanos{f.fraction};
    switch (v.payload.interval.interval_type) {
    case KX_IS_HOUR_TO_SECOND: d -= days{f.day}; break;
    case KX_IS_MINUTE_TO_SECOND: d -= days{f.day} + hours{f.hour}; break;
    case KX_IS_SECOND: d = seconds{f.second} + nanos{f.fraction}; break;
    default: break;
    }
    return v.payload.interval.interval_sign == 1 ? -d : d;
}

class ChronoCheck : public ::testing::Test {
protected:
    std::mt19937 rng{20040616};

    int64_t uniform(int64_t lo, int64_t hi)
    {
        return std::uniform_int_distribution<int64_t>{lo, hi}(rng);
    }

    Stamp random_stamp(bool with_fraction)
    {
        year_month_day ymd{year{static_cast<int>(uniform(1800, 2400))},
                           month{static_cast<unsigned>(uniform(1, 12))},
                           day{static_cast<unsigned>(uniform(1, 28))}};
        seconds t{uniform(0, 86399)};
        nanos f{with_fraction ? uniform(0, 499999) : 0};
        return Stamp{ymd, t, f};
    }
};

// The hour that the shift computes before it carries days; the library
// miscounts the day carry when it is negative and -23 modulo 24.
bool lands_on_hour_quirk(const Stamp &s, int64_t shift_seconds)
{
    int64_t total = s.time.count() + shift_seconds;
    int64_t h = total >= 0 ? total / 3600 : -((-total + 3599) / 3600);  // floor
    return h < 0 && (-h) % 24 == 23;
}

TEST_F(ChronoCheck, TimestampPlusAndMinusDaySecondIntervals)
{
    const int32_t kinds[] = {KX_IS_DAY_TO_SECOND, KX_IS_HOUR_TO_SECOND,
                             KX_IS_MINUTE_TO_SECOND, KX_IS_SECOND};
    int checked = 0;
    while (checked < 300) {
        const bool subtract = checked % 2 == 1;
        Stamp s = random_stamp(true);
        // a subtraction passes a negated fraction: keep it 0
        nanos frac{subtract ? 0 : uniform(0, 999999 - s.fraction.count())};
        seconds whole{uniform(0, 4000LL * 86400)};
        if (checked % 5 == 0)
            whole = seconds{uniform(0, 3 * 86400)};
        int64_t signed_shift = subtract ? -whole.count() : whole.count();
        if (lands_on_hour_quirk(s, signed_shift))
            continue;
        Value t = stamp_value(s);
        Value i = day_second_interval(kinds[checked % 4], whole + frac);
        Value r = blank();
        interval_operation(&t, &i, &r, 0, subtract ? 2 : 1);

        sys_seconds start = sys_days{s.ymd} + s.time;
        Stamp expected = stamp_of(subtract ? start - whole : start + whole, s.fraction + frac);
        ASSERT_TRUE(stamp_is(r, expected)) << "case " << checked;
        checked++;
    }
}

TEST_F(ChronoCheck, TimestampPlusAndMinusYearMonthIntervals)
{
    int checked = 0;
    while (checked < 200) {
        const bool subtract = checked % 2 == 1;
        Stamp s = random_stamp(true);
        const int64_t m = unsigned{s.ymd.month()};
        int64_t k = subtract ? uniform(0, m - 1) : uniform(0, 1200);
        const int64_t sum = subtract ? m - k : m + k;
        if (sum > 12 && sum % 12 == 0)
            continue;  // month 0
        Value t = stamp_value(s);
        Value i = blank();
        i.type = VALUE_INTERVAL_YM;
        i.payload.interval.interval_type = checked % 3 == 0 ? KX_IS_MONTH : KX_IS_YEAR_TO_MONTH;
        i.payload.interval.intval.year_month.year = static_cast<uint32_t>(k / 12);
        i.payload.interval.intval.year_month.month = static_cast<uint32_t>(k % 12);
        if (i.payload.interval.interval_type == KX_IS_MONTH) {
            i.payload.interval.intval.year_month.year = 0;
            i.payload.interval.intval.year_month.month = static_cast<uint32_t>(k);
        }
        Value r = blank();
        interval_operation(&t, &i, &r, 0, subtract ? 2 : 1);

        year_month_day ymd = subtract ? s.ymd - months{k} : s.ymd + months{k};
        ASSERT_TRUE(ymd.ok());
        ASSERT_TRUE(stamp_is(r, Stamp{ymd, s.time, s.fraction})) << "case " << checked << " k " << k;
        checked++;
    }
}

TEST_F(ChronoCheck, DatePlusAndMinusIntervals)
{
    int checked = 0;
    while (checked < 150) {
        const bool subtract = checked % 2 == 1;
        Stamp s = random_stamp(false);
        s.time = seconds{0};
        int64_t d = uniform(0, 20000);
        int64_t extra = uniform(0, 86399);  // below a day: lost on a date
        int64_t shift = d * 86400 + extra;
        if (lands_on_hour_quirk(s, subtract ? -shift : shift))
            continue;
        Value v = blank();
        v.type = VALUE_DATE;
        v.payload.date = DateStruct{static_cast<int16_t>(int{s.ymd.year()}),
                                    static_cast<uint16_t>(unsigned{s.ymd.month()}),
                                    static_cast<uint16_t>(unsigned{s.ymd.day()})};
        Value i = day_second_interval(KX_IS_DAY_TO_SECOND, seconds{shift});
        Value r = blank();
        interval_operation(&v, &i, &r, 0, subtract ? 2 : 1);

        sys_seconds start = sys_days{s.ymd};
        year_month_day e{floor<days>(subtract ? start - seconds{shift} : start + seconds{shift})};
        ASSERT_EQ(r.type, VALUE_DATE);
        ASSERT_EQ(r.payload.date.year, int{e.year()}) << "case " << checked;
        ASSERT_EQ(r.payload.date.month, unsigned{e.month()}) << "case " << checked;
        ASSERT_EQ(r.payload.date.day, unsigned{e.day()}) << "case " << checked;
        checked++;
    }
}

TEST_F(ChronoCheck, TimeOfDayWrapsLikeAClock)
{
    for (int checked = 0; checked < 100; checked++) {
        const bool subtract = checked % 2 == 1;
        seconds start{uniform(0, 86399)};
        seconds shift{uniform(0, 10LL * 86400)};
        Value v = blank();
        v.type = VALUE_TIME;
        hh_mm_ss<seconds> hs{start};
        v.payload.time = TimeStruct{static_cast<uint16_t>(hs.hours().count()),
                                    static_cast<uint16_t>(hs.minutes().count()),
                                    static_cast<uint16_t>(hs.seconds().count())};
        Value i = day_second_interval(KX_IS_HOUR_TO_SECOND, shift);
        Value r = blank();
        interval_operation(&v, &i, &r, 0, subtract ? 2 : 1);

        seconds end = subtract ? start - shift : start + shift;
        end -= floor<days>(end);  // the clock's time of day
        hh_mm_ss<seconds> e{end};
        ASSERT_EQ(r.type, VALUE_TIME);
        ASSERT_EQ(r.payload.time.hour, e.hours().count()) << checked;
        ASSERT_EQ(r.payload.time.minute, e.minutes().count()) << checked;
        ASSERT_EQ(r.payload.time.second, e.seconds().count()) << checked;
    }
}

TEST_F(ChronoCheck, DaySecondIntervalsAddAndSubtract)
{
    const int32_t kinds[] = {KX_IS_DAY_TO_SECOND, KX_IS_HOUR_TO_SECOND,
                             KX_IS_MINUTE_TO_SECOND, KX_IS_SECOND};
    int checked = 0;
    while (checked < 200) {
        const bool subtract = checked % 2 == 1;
        const int32_t kind = kinds[checked % 4];  // both operands of one kind
        nanos a = seconds{uniform(0, 10000LL * 86400)} + nanos{uniform(0, 999999999)};
        nanos b = seconds{uniform(0, 10000LL * 86400)} + nanos{uniform(0, 999999999)};
        nanos expected = subtract ? a - b : a + b;
        if (expected < nanos{0} && (expected % seconds{1}) != nanos{0})
            continue;  // a negative difference with a fraction
        Value va = day_second_interval(kind, a);
        Value vb = day_second_interval(kind, b);
        Value r = blank();
        interval_operation(&va, &vb, &r, 0, subtract ? 2 : 1);
        ASSERT_EQ(r.type, VALUE_INTERVAL_DS);
        ASSERT_EQ(r.payload.interval.interval_type, kind);
        ASSERT_EQ(duration_of(r), expected) << "case " << checked;
        // the fields are those of the kind, in range below the leading one
        Value e = day_second_interval(kind, expected < nanos{0} ? -expected : expected);
        ASSERT_EQ(std::memcmp(&r.payload.interval.intval, &e.payload.interval.intval,
                              sizeof e.payload.interval.intval), 0) << "case " << checked;
        checked++;
    }
}

TEST_F(ChronoCheck, YearMonthIntervalsAddAndSubtract)
{
    for (int checked = 0; checked < 100; checked++) {
        const bool subtract = checked % 2 == 1;
        year_month a{year{static_cast<int>(uniform(0, 500))}, month{static_cast<unsigned>(uniform(1, 12))}};
        year_month b{year{static_cast<int>(uniform(0, 500))}, month{static_cast<unsigned>(uniform(1, 12))}};
        // as durations of months from year 0, month 1
        months ma = years{int{a.year()}} + months{unsigned{a.month()} - 1};
        months mb = years{int{b.year()}} + months{unsigned{b.month()} - 1};
        Value va = blank(), vb = blank();
        for (Value *v : {&va, &vb}) {
            v->type = VALUE_INTERVAL_YM;
            v->payload.interval.interval_type = KX_IS_YEAR_TO_MONTH;
        }
        va.payload.interval.intval.year_month = YearMonthStruct{
            static_cast<uint32_t>(ma.count() / 12), static_cast<uint32_t>(ma.count() % 12)};
        vb.payload.interval.intval.year_month = YearMonthStruct{
            static_cast<uint32_t>(mb.count() / 12), static_cast<uint32_t>(mb.count() % 12)};
        Value r = blank();
        interval_operation(&va, &vb, &r, 0, subtract ? 2 : 1);

        months e = subtract ? ma - mb : ma + mb;
        year_month as_date = year_month{year{0}, January} + (e < months{0} ? -e : e);
        ASSERT_EQ(r.payload.interval.interval_sign, e < months{0} ? 1 : 0) << checked;
        ASSERT_EQ(r.payload.interval.intval.year_month.year,
                  static_cast<uint32_t>(int{as_date.year()})) << checked;
        ASSERT_EQ(r.payload.interval.intval.year_month.month,
                  unsigned{as_date.month()} - 1) << checked;
    }
}

TEST_F(ChronoCheck, TimestampAddBySecondsAndMonths)
{
    int checked = 0;
    while (checked < 200) {
        Stamp s = random_stamp(true);
        int64_t secs = uniform(-100000000, 100000000);
        if (lands_on_hour_quirk(s, secs))
            continue;
        const int64_t m = unsigned{s.ymd.month()};
        int64_t k = uniform(1 - m, 300);
        if (m + k > 12 && (m + k) % 12 == 0)
            continue;
        // the library moves the days first and then the months: so does the check
        sys_seconds start = sys_days{s.ymd} + s.time;
        Stamp moved = stamp_of(start + seconds{secs}, s.fraction);
        if (unsigned{moved.ymd.day()} > 28)
            continue;  // the month step must not run past a month's end
        const int64_t m2 = unsigned{moved.ymd.month()};
        if (m2 + k < 1 || (m2 + k > 12 && (m2 + k) % 12 == 0))
            continue;
        moved.ymd = moved.ymd + months{k};
        ASSERT_TRUE(moved.ymd.ok());

        Value v = stamp_value(s);
        Value r = blank();
        timestamp_add(&r, &v, static_cast<int32_t>(k), static_cast<int32_t>(secs), 0);
        ASSERT_TRUE(stamp_is(r, moved)) << "case " << checked << " secs " << secs << " k " << k;
        checked++;
    }
}

}  // namespace
