// Tests of functions_datetime_std: the date and time scalar functions of
// the standard catalogue, each run as a driver runs it (looked up by name,
// evaluated with execute_function under an armed exit point) beside the
// family's function of the same name. Expected values come from Python's
// datetime (the line is given) or from the rule the comment states.
#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/kx_failing_alloc.h"
#include "support/kx_scripted_clock.h"
#include "support/kx_test_support.h"

namespace {

using kxtest::blank;
using kxtest::date;
using kxtest::integer;
using kxtest::StatementContext;
using kxtest::text;
using kxtest::time_of_day;
using kxtest::timestamp;

std::string ts_text(const TimestampStruct &t)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02u %02u:%02u:%02u.%09u", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.fraction);
    return buf;
}

int64_t bigint_of(const Value *v) { return kxtest::bigint_of(*v); }

Value interval_value(const IntervalStruct &i)
{
    return kxtest::interval(i);
}

class FunctionsDatetimeStd : public ::testing::Test {
protected:
    // Runs the named function of the family's or the standard catalogue;
    // on an error exit gives null and keeps the SQLSTATE and message.
    Value *run(bool standard, const char *name, std::vector<Value> args)
    {
        const FunctionEntry *entry =
            standard ? kxstd_get_function_info(kxstd_get_function_id(name, 0))
                     : sql92_get_function_info(sql92_get_function_id(name, 0));
        EXPECT_NE(entry, nullptr) << name;
        held.push_back(args);
        std::vector<Value> &kept = held.back();
        argv.clear();
        for (Value &v : kept)
            argv.push_back(&v);
        state.clear();
        message.clear();
        Value *result = nullptr;
        if (setjmp(call.context.exit) == 0) {
            result = execute_function(entry, &call.context, static_cast<int32_t>(argv.size()),
                                      argv.data(), 0, 0);
        } else {
            char s[6] = {};
            char m[512] = {};
            int32_t native = 0;
            int16_t length = 0;
            GetDiagRec(call.errors(), call.errors()->record_count, s, &native, m, sizeof m,
                       &length);
            state = s;
            message = m;
        }
        return result;
    }
    Value *family(const char *name, std::vector<Value> args) { return run(false, name, args); }
    Value *standard(const char *name, std::vector<Value> args) { return run(true, name, args); }
    int32_t family_int(const char *name, std::vector<Value> args)
    {
        Value *v = family(name, args);
        EXPECT_NE(v, nullptr) << name;
        return v != nullptr ? v->payload.integer : -999;
    }
    int32_t standard_int(const char *name, std::vector<Value> args)
    {
        Value *v = standard(name, args);
        EXPECT_NE(v, nullptr) << name << " " << state;
        if (v == nullptr)
            return -999;
        EXPECT_EQ(v->type, VALUE_INTEGER) << name;
        EXPECT_EQ(v->null_flag, 0) << name;
        return v->payload.integer;
    }
    // the standard function's SQLSTATE for an error exit, "" for none
    std::string standard_state(const char *name, std::vector<Value> args)
    {
        Value *v = standard(name, args);
        EXPECT_EQ(v == nullptr, !state.empty()) << name;
        return state;
    }

    StatementContext call;
    std::vector<std::vector<Value>> held;
    std::vector<Value *> argv;
    std::string state;
    std::string message;
};

// ---- S1, S2: WEEK and QUARTER ----

TEST_F(FunctionsDatetimeStd, WeekIsTheIsoWeekBesideTheFamilysSundayWeeks)
{
    Value d = date(2000, 12, 31);
    EXPECT_EQ(family_int("WEEK", {d}), 54);
    EXPECT_EQ(standard_int("WEEK", {d}), 52);  // date(2000,12,31).isocalendar()[1]
    const struct {
        int16_t y;
        uint16_t m, d;
        int32_t week;
    } cases[] = {
        // date(Y, M, D).isocalendar()[1] (Python)
        {2004, 12, 31, 53}, {2005, 1, 1, 53}, {2005, 1, 3, 1},  {2008, 12, 29, 1},
        {2009, 12, 31, 53}, {2010, 1, 3, 53}, {2004, 3, 15, 12}, {2000, 1, 1, 52},
        {2000, 1, 3, 1},    {1999, 12, 31, 52}, {2004, 1, 1, 1}, {1752, 9, 2, 35},
    };
    for (const auto &c : cases)
        EXPECT_EQ(standard_int("WEEK", {date(c.y, c.m, c.d)}), c.week) << c.y << "-" << c.m << "-" << c.d;
    EXPECT_EQ(standard_int("WEEK", {timestamp(2004, 12, 31, 23, 59, 59)}), 53);
}

TEST_F(FunctionsDatetimeStd, QuarterOfMonthsOneToTwelveBesideTheFamilysMonthDividedByThree)
{
    EXPECT_EQ(family_int("QUARTER", {date(2004, 3, 15)}), 2);
    EXPECT_EQ(standard_int("QUARTER", {date(2004, 3, 15)}), 1);
    EXPECT_EQ(family_int("QUARTER", {date(2004, 12, 15)}), 5);
    EXPECT_EQ(standard_int("QUARTER", {date(2004, 12, 15)}), 4);
    const int32_t quarters[12] = {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4};
    for (uint16_t m = 1; m <= 12; ++m)
        EXPECT_EQ(standard_int("QUARTER", {date(2004, m, 1)}), quarters[m - 1]) << m;
}

// ---- D6: the proleptic Gregorian calendar ----

TEST_F(FunctionsDatetimeStd, DayFunctionsByTheGregorianRuleBesideTheFamilysJulianDates)
{
    Value d = date(1752, 9, 2);
    Value *f = family("DAYNAME", {d});
    ASSERT_NE(f, nullptr);
    EXPECT_STREQ(f->payload.text, "Wednesday");
    Value *s = standard("DAYNAME", {d});
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->payload.text, "Saturday");  // date(1752,9,2).strftime('%A')
    EXPECT_EQ(s->length, 8);
    EXPECT_EQ(family_int("DAYOFWEEK", {d}), 4);
    EXPECT_EQ(standard_int("DAYOFWEEK", {d}), 7);  // date(1752,9,2).isoweekday() % 7 + 1
    // 1700 is a Julian leap year, not a Gregorian one
    Value march = date(1700, 3, 1);
    EXPECT_EQ(family_int("DAYOFYEAR", {march}), 61);
    EXPECT_EQ(standard_int("DAYOFYEAR", {march}), 60);  // date(1700,3,1).timetuple().tm_yday
    EXPECT_EQ(standard_int("DAYOFYEAR", {date(2004, 12, 31)}), 366);
    EXPECT_EQ(standard_int("DAYOFWEEK", {date(2004, 3, 15)}), 2);  // a Monday
    s = standard("MONTHNAME", {timestamp(2004, 2, 29, 10, 0, 0)});
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->payload.text, "February");
}

TEST_F(FunctionsDatetimeStd, FieldFunctions)
{
    Value ts = timestamp(2004, 2, 29, 13, 14, 15, 500000000);
    EXPECT_EQ(standard_int("YEAR", {ts}), 2004);
    EXPECT_EQ(standard_int("MONTH", {ts}), 2);
    EXPECT_EQ(standard_int("DAYOFMONTH", {ts}), 29);
    EXPECT_EQ(standard_int("HOUR", {ts}), 13);
    EXPECT_EQ(standard_int("MINUTE", {ts}), 14);
    EXPECT_EQ(standard_int("SECOND", {ts}), 15);  // ODBC's SECOND is a whole number
    EXPECT_EQ(standard_int("HOUR", {time_of_day(23, 1, 2)}), 23);
    EXPECT_EQ(standard_int("HOUR", {date(2004, 1, 1)}), 0);  // a date at midnight
}

TEST_F(FunctionsDatetimeStd, RecordsThatAreNoDatesAreRefusedBesideTheFamilysAnswers)
{
    Value bad = date(2004, 2, 31);
    Value *f = family("DAYNAME", {bad});
    ASSERT_NE(f, nullptr);
    EXPECT_GT(f->length, 0);  // the family names a day for 31 February
    EXPECT_EQ(standard_state("DAYNAME", {bad}), "22007");
    EXPECT_EQ(standard_state("WEEK", {bad}), "22007");
    EXPECT_EQ(standard_state("MONTHNAME", {date(2004, 13, 1)}), "22007");
    EXPECT_EQ(standard_state("HOUR", {time_of_day(24, 0, 0)}), "22007");
    // a time has no date; a number is no datetime
    EXPECT_EQ(family_int("YEAR", {time_of_day(10, 0, 0)}), 0);
    EXPECT_EQ(standard_state("YEAR", {time_of_day(10, 0, 0)}), "42000");
    EXPECT_EQ(standard_state("HOUR", {integer(3)}), "42000");
}

TEST_F(FunctionsDatetimeStd, NullArgumentsGiveNull)
{
    Value null_date = date(2004, 1, 1);
    null_date.null_flag = -1;
    const char *const names[] = {"YEAR", "MONTH", "DAYOFMONTH", "QUARTER", "WEEK", "DAYOFWEEK",
                                 "DAYOFYEAR", "HOUR", "MINUTE", "SECOND", "DAYNAME", "MONTHNAME"};
    for (const char *name : names) {
        Value *v = standard(name, {null_date});
        ASSERT_NE(v, nullptr) << name;
        EXPECT_EQ(v->null_flag, -1) << name;
    }
    Value *v = standard("TIMESTAMPADD", {text("SQL_TSI_DAY"), integer(1), null_date});
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->null_flag, -1);
    EXPECT_EQ(v->type, VALUE_TIMESTAMP);
    v = standard("TIMESTAMPDIFF", {text("SQL_TSI_DAY"), null_date, date(2004, 1, 1)});
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->null_flag, -1);
    EXPECT_EQ(v->type, VALUE_BIGINT);
    v = standard("EXTRACT", {integer(0), null_date});
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->null_flag, -1);
}

// ---- S3: EXTRACT ----

TEST_F(FunctionsDatetimeStd, ExtractGivesTheFieldBesideTheFamilysTotals)
{
    // EXTRACT(MONTH FROM INTERVAL '1-03' YEAR TO MONTH)
    Value ym = interval_value(kxtest::year_month(KX_IS_YEAR_TO_MONTH, 1, 3));
    EXPECT_EQ(family_int("EXTRACT", {integer(1), ym}), 15);
    EXPECT_EQ(standard_int("EXTRACT", {integer(1), ym}), 3);
    EXPECT_EQ(standard_int("EXTRACT", {integer(0), ym}), 1);
    // EXTRACT(HOUR FROM INTERVAL '1 02' DAY TO HOUR)
    Value dh = interval_value(kxtest::day_second(KX_IS_DAY_TO_HOUR, 1, 2, 0, 0));
    EXPECT_EQ(family_int("EXTRACT", {integer(3), dh}), 26);
    EXPECT_EQ(standard_int("EXTRACT", {integer(3), dh}), 2);
    EXPECT_EQ(standard_int("EXTRACT", {integer(2), dh}), 1);
    // a negative interval's fields are negative
    Value minus = interval_value(kxtest::day_second(KX_IS_DAY_TO_HOUR, 1, 2, 0, 0, 0, 1));
    EXPECT_EQ(standard_int("EXTRACT", {integer(3), minus}), -2);
    // a field the interval does not have
    EXPECT_EQ(standard_state("EXTRACT", {integer(4), dh}), "42000");
    EXPECT_EQ(standard_state("EXTRACT", {integer(2), ym}), "42000");
    EXPECT_EQ(standard_state("EXTRACT", {integer(0), time_of_day(1, 2, 3)}), "42000");
    EXPECT_EQ(standard_state("EXTRACT", {integer(6), dh}), "22023");
    EXPECT_EQ(standard_state("EXTRACT", {integer(0), integer(5)}), "42000");
    // PostgreSQL's EXTRACT(HOUR FROM DATE '2004-01-01') is 0, and so is ours
    EXPECT_EQ(family_int("EXTRACT", {integer(3), date(2004, 1, 1)}), 0);
    EXPECT_EQ(standard_int("EXTRACT", {integer(3), date(2004, 1, 1)}), 0);
}

TEST_F(FunctionsDatetimeStd, ExtractSecondKeepsTheFractionBesideTheFamilysWholeSeconds)
{
    Value ts = timestamp(2004, 1, 1, 13, 14, 5, 250000000);
    EXPECT_EQ(family_int("EXTRACT", {integer(5), ts}), 5);
    Value *s = standard("EXTRACT", {integer(5), ts});
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->type, VALUE_NUMERIC);
    // 5.25: the magnitude 525 at scale 2, positive
    EXPECT_EQ(kxtest::magnitude_of(s->payload.numeric), 525u);
    EXPECT_EQ(s->payload.numeric.scale, 2);
    EXPECT_EQ(s->payload.numeric.sign, 1);
    EXPECT_EQ(s->payload.numeric.precision, 38);
    EXPECT_EQ(s->attr[0], 38);
    EXPECT_EQ(s->attr[1], 2);
    // no fraction: an integer
    EXPECT_EQ(standard_int("EXTRACT", {integer(5), timestamp(2004, 1, 1, 13, 14, 5)}), 5);
    // INTERVAL -'1:05.000000001' MINUTE TO SECOND: -5.000000001
    Value iv = interval_value(kxtest::day_second(KX_IS_MINUTE_TO_SECOND, 0, 0, 1, 5, 1, 1));
    s = standard("EXTRACT", {integer(5), iv});
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->type, VALUE_NUMERIC);
    EXPECT_EQ(kxtest::magnitude_of(s->payload.numeric), 5000000001u);
    EXPECT_EQ(s->payload.numeric.scale, 9);
    EXPECT_EQ(s->payload.numeric.sign, 0);
    EXPECT_EQ(kxtest::numeric_text(s->payload.numeric), "-5.000000001");
}

// ---- TIMESTAMPADD ----

TEST_F(FunctionsDatetimeStd, TimestampaddBesideTheFamilys)
{
    Value ts = timestamp(2004, 1, 1, 13, 14, 15);
    // FRAC_SECOND counts billionths: the family carries 2000000 by 999999
    Value *f = family("TIMESTAMPADD", {text("SQL_TSI_FRAC_SECOND"), integer(2000000), ts});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ts_text(f->payload.timestamp), "2004-01-01 13:14:17.000000002");
    Value *s = standard("TIMESTAMPADD", {text("SQL_TSI_FRAC_SECOND"), integer(2000000), ts});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-01-01 13:14:15.002000000");

    // a month shift clamps the day
    Value jan31 = date(2004, 1, 31);
    f = family("TIMESTAMPADD", {text("SQL_TSI_MONTH"), integer(1), jan31});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->payload.timestamp.month * 100 + f->payload.timestamp.day, 231);
    s = standard("TIMESTAMPADD", {text("SQL_TSI_MONTH"), integer(1), jan31});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->type, VALUE_TIMESTAMP);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-02-29 00:00:00.000000000");

    // 30000 days: 30000 * 86400 s wraps in the family's 32 bits
    Value new_year = date(2004, 1, 1);
    f = family("TIMESTAMPADD", {text("SQL_TSI_DAY"), integer(30000), timestamp(2004, 1, 1)});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ts_text(f->payload.timestamp), "1950-01-13 17:31:44.000000000");
    s = standard("TIMESTAMPADD", {text("SQL_TSI_DAY"), integer(30000), new_year});
    ASSERT_NE(s, nullptr);
    // date(2004, 1, 1) + timedelta(days=30000)
    EXPECT_EQ(ts_text(s->payload.timestamp), "2086-02-19 00:00:00.000000000");

    // the other units, the count as a bigint, text, a double and a numeric
    s = standard("TIMESTAMPADD", {text("SQL_TSI_QUARTER"), kxtest::bigint(-1), jan31});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2003-10-31 00:00:00.000000000");
    s = standard("TIMESTAMPADD", {text("SQL_TSI_WEEK"), text(" -2 "), ts});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2003-12-18 13:14:15.000000000");
    s = standard("TIMESTAMPADD", {text("SQL_TSI_HOUR"), kxtest::dbl(-23.9), timestamp(2004, 3, 2)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-03-01 01:00:00.000000000");
    Value numeric = blank(VALUE_NUMERIC);
    numeric.payload.numeric = kxtest::numeric(12599, 2, 1, 38);  // 125.99
    s = standard("TIMESTAMPADD", {text("SQL_TSI_MINUTE"), numeric, ts});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-01-01 15:19:15.000000000");
    s = standard("TIMESTAMPADD", {text("SQL_TSI_YEAR"), integer(-4), date(2004, 2, 29)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2000-02-29 00:00:00.000000000");
    s = standard("TIMESTAMPADD", {text("SQL_TSI_SECOND"), integer(-1), date(2004, 3, 1)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-02-29 23:59:59.000000000");

    // past the year 9999, and counts that are no numbers
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("SQL_TSI_YEAR"), integer(8000), new_year}),
              "22008");
    EXPECT_EQ(standard_state("TIMESTAMPADD",
                             {text("SQL_TSI_YEAR"), kxtest::bigint(INT64_MAX), new_year}),
              "22008");
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("SQL_TSI_DAY"), text("1x"), new_year}), "22018");
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("SQL_TSI_DAY"), kxtest::dbl(1e300), new_year}),
              "22003");
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("SQL_TSI_DAY"), date(2004, 1, 1), new_year}),
              "42000");
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("SQL_TSI_DAY"), integer(1), integer(1)}),
              "42000");
}

TEST_F(FunctionsDatetimeStd, TimestampaddOfATimeIsOnTodaysDate)
{
    // calendar.timegm(datetime(2004, 6, 15, 10, 20, 30).timetuple()) == 1087294830
    static const struct timespec readings[] = {{1087294830, 0}};
    kxtest::ScriptedClock clock(readings);
    Value *s = standard("TIMESTAMPADD", {text("SQL_TSI_HOUR"), integer(2), time_of_day(23, 0, 0)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-06-16 01:00:00.000000000");
}

TEST_F(FunctionsDatetimeStd, UnitsInAnyCaseAndNoOtherBesideTheFamilysSilentNoOp)
{
    Value ts = timestamp(2004, 1, 1, 13, 14, 15);
    // family: a lower-case or unknown unit leaves the datetime as it was
    Value *f = family("TIMESTAMPADD", {text("sql_tsi_day"), integer(1), ts});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ts_text(f->payload.timestamp), "2004-01-01 13:14:15.000000000");
    f = family("TIMESTAMPADD", {text("SQL_TSI_FORTNIGHT"), integer(1), ts});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ts_text(f->payload.timestamp), "2004-01-01 13:14:15.000000000");
    EXPECT_EQ(family_int("TIMESTAMPDIFF", {text("sql_tsi_day"), date(2004, 1, 1), date(2004, 1, 3)}),
              0);
    // standard: any letter case is the unit; another unit is 22023
    Value *s = standard("TIMESTAMPADD", {text("sql_tsi_day"), integer(1), ts});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-01-02 13:14:15.000000000");
    s = standard("TIMESTAMPDIFF", {text("Sql_Tsi_Day"), date(2004, 1, 1), date(2004, 1, 3)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(bigint_of(s), 2);
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("SQL_TSI_FORTNIGHT"), integer(1), ts}), "22023");
    EXPECT_EQ(standard_state("TIMESTAMPADD", {text("DAY"), integer(1), ts}), "22023");
    EXPECT_EQ(standard_state("TIMESTAMPADD", {integer(4), integer(1), ts}), "22023");
    EXPECT_EQ(standard_state("TIMESTAMPDIFF", {text("SQL_TSI_FORTNIGHT"), ts, ts}), "22023");
    EXPECT_EQ(standard_state("TIMESTAMPDIFF", {text("SQL_TSI_DAYS"), ts, ts}), "22023");
}

// ---- D9: TIMESTAMPDIFF ----

TEST_F(FunctionsDatetimeStd, TimestampdiffCountsWholeUnitsBesideTheFamilysDoubles)
{
    Value a = timestamp(2004, 1, 1, 10, 0, 0);
    Value b = timestamp(2004, 1, 1, 10, 0, 10);
    // ten seconds: the family's day fractions come to 9.999...; the standard 10
    EXPECT_EQ(family_int("TIMESTAMPDIFF", {text("SQL_TSI_SECOND"), a, b}), 9);
    Value *s = standard("TIMESTAMPDIFF", {text("SQL_TSI_SECOND"), a, b});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->type, VALUE_BIGINT);
    EXPECT_EQ(bigint_of(s), 10);
    // FRAC_SECOND: the family counts 10^10 per second and saturates at 2^31 - 1
    EXPECT_EQ(family_int("TIMESTAMPDIFF", {text("SQL_TSI_FRAC_SECOND"), a, b}), INT32_MAX);
    s = standard("TIMESTAMPDIFF", {text("SQL_TSI_FRAC_SECOND"), a, b});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(bigint_of(s), 10000000000);
    // months from a 16-bit day count through the calendar from year 0
    Value jan = date(2004, 1, 1);
    Value mar = date(2004, 3, 1);
    EXPECT_EQ(family_int("TIMESTAMPDIFF", {text("SQL_TSI_MONTH"), jan, mar}), -11);
    s = standard("TIMESTAMPDIFF", {text("SQL_TSI_MONTH"), jan, mar});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(bigint_of(s), 2);
    s = standard("TIMESTAMPDIFF", {text("SQL_TSI_QUARTER"), date(2004, 1, 1), date(2005, 6, 30)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(bigint_of(s), 5);
    s = standard("TIMESTAMPDIFF", {text("SQL_TSI_YEAR"), date(2004, 2, 29), date(2005, 2, 28)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(bigint_of(s), 0);
    // 315537811200000000000 ns from 0001-01-01 to 9999-12-31 pass 2^63
    EXPECT_EQ(standard_state("TIMESTAMPDIFF",
                             {text("SQL_TSI_FRAC_SECOND"), date(1, 1, 1), date(9999, 12, 31)}),
              "22003");
    EXPECT_EQ(standard_state("TIMESTAMPDIFF", {text("SQL_TSI_DAY"), date(2004, 2, 30), jan}), "22007");
}

// ---- S4, D10: now ----

TEST_F(FunctionsDatetimeStd, CurrentTimestampKeepsItsPrecisionBesideTheFamilysWholeSeconds)
{
    // the statement started at 2004-06-15 10:20:30 UTC; the clock now
    // reads 2004-06-15 10:20:31.123456789
    call.statement.start_time = 1087294830;
    static const struct timespec readings[] = {{1087294831, 123456789}};
    kxtest::ScriptedClock clock(readings);
    Value *f = family("CURRENT_TIMESTAMP", {integer(3)});
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ts_text(f->payload.timestamp), "2004-06-15 10:20:30.000000000");
    Value *s = standard("CURRENT_TIMESTAMP", {integer(3)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(ts_text(s->payload.timestamp), "2004-06-15 10:20:31.123000000");
    s = standard("CURRENT_TIMESTAMP", {integer(9)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.timestamp.fraction, 123456789u);
    s = standard("CURRENT_TIMESTAMP", {});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.timestamp.fraction, 123456000u);  // 6 digits without p
    s = standard("NOW", {});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.timestamp.fraction, 123456000u);
    s = standard("CURRENT_TIME", {integer(2)});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->type, VALUE_TIME);
    EXPECT_EQ(s->payload.time.second, 31);
    s = standard("CURTIME", {});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->payload.time.hour, 10);
    s = standard("CURDATE", {});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->type, VALUE_DATE);
    EXPECT_EQ(s->payload.date.day, 15);
    EXPECT_EQ(clock.calls(), 7);  // one reading for each standard call
    EXPECT_EQ(standard_state("CURRENT_TIMESTAMP", {integer(10)}), "22023");
    EXPECT_EQ(standard_state("CURRENT_TIME", {integer(-1)}), "22023");
    Value null_precision = integer(3);
    null_precision.null_flag = -1;
    s = standard("CURRENT_TIMESTAMP", {null_precision});
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->null_flag, -1);
}

// ---- errors ----

TEST_F(FunctionsDatetimeStd, MemoryErrorsSayMemoryAllocationError)
{
    const FunctionEntry *entry = kxstd_get_function_info(kxstd_get_function_id("DAYNAME", 0));
    ASSERT_NE(entry, nullptr);
    Value d = date(2004, 1, 1);
    Value *args[] = {&d};
    // empty this thread's cache of retired text records, so that the
    // function's result has to come from the system allocator
    for (int i = 0; i < 64; ++i)
        ASSERT_NE(NewValue(call.mem, 10), nullptr);
    // fail each allocation in turn until one fails inside the function
    bool seen = false;
    for (long n = 0; n < 20 && !seen; ++n) {
        Value *v = nullptr;
        bool exited = false;
        kxtest::fail_request_after(n);
        if (setjmp(call.context.exit) == 0)
            v = execute_function(entry, &call.context, 1, args, 0, 0);
        else
            exited = true;
        bool failed = kxtest::stop_failing();
        if (!failed)
            break;
        ASSERT_EQ(exited, v == nullptr);
        if (exited) {
            seen = true;
            char s[6] = {};
            char m[512] = {};
            int32_t native = 0;
            int16_t length = 0;
            GetDiagRec(call.errors(), call.errors()->record_count, s, &native, m, sizeof m,
                       &length);
            EXPECT_STREQ(s, "HY001");
            std::string text = m;
            EXPECT_NE(text.find("Memory allocation error"), std::string::npos) << text;
            EXPECT_EQ(text.find("fred"), std::string::npos) << text;
        }
    }
    EXPECT_TRUE(seen);
}

TEST_F(FunctionsDatetimeStd, ANullContextGivesNull)
{
    const FunctionEntry *entry = kxstd_get_function_info(kxstd_get_function_id("WEEK", 0));
    Value d = date(2004, 2, 31);
    Value *argv1[] = {&d};
    EXPECT_EQ(execute_function(entry, nullptr, 1, argv1, 0, 0), nullptr);
}

// ---- the catalogue ----

TEST_F(FunctionsDatetimeStd, TheStandardCatalogueRunsTheseRoutinesForTheDatetimeRows)
{
    const char *const names[] = {"CURDATE", "CURRENT_DATE", "CURRENT_TIME", "CURRENT_TIMESTAMP",
                                 "CURTIME", "DAYNAME", "DAYOFMONTH", "DAYOFWEEK", "DAYOFYEAR",
                                 "EXTRACT", "HOUR", "MINUTE", "MONTH", "MONTHNAME", "NOW",
                                 "QUARTER", "SECOND", "TIMESTAMPADD", "TIMESTAMPDIFF", "WEEK",
                                 "YEAR"};
    int found = 0;
    for (int i = 0; i < KX_FUNCTION_COUNT; ++i) {
        const FunctionEntry &s = kxstd_functions[i];
        const FunctionEntry &f = functions[i];
        ASSERT_STREQ(s.name, f.name);
        bool ours = false;
        for (const char *name : names)
            ours = ours || std::strcmp(name, s.name) == 0;
        if (!ours)
            continue;
        ++found;
        EXPECT_NE(s.impl, f.impl) << s.name;
        // the rest of the row is the family's
        EXPECT_EQ(s.id, f.id) << s.name;
        EXPECT_EQ(s.arg_count, f.arg_count) << s.name;
        EXPECT_EQ(s.result_class, f.result_class) << s.name;
        EXPECT_EQ(std::memcmp(s.arg_class, f.arg_class, sizeof s.arg_class), 0) << s.name;
    }
    EXPECT_EQ(found, 21);
}

}  // namespace
