/*
 * Interval and datetime arithmetic, as a driver evaluates the "+" and "-"
 * operators of SQL when an interval takes part: a timestamp plus an
 * interval of days and seconds, a date minus months, two intervals added,
 * a number added to an interval, and the library's own rules where they
 * differ from a wall calendar (no clamping of the day, month 0).
 */
#include <stdio.h>
#include <string.h>

#include "demo.h"

static int failures;

static void check(int condition, const char *what)
{
    if (!condition) {
        printf("  !! not as described: %s\n", what);
        failures++;
    }
}

static Value *new_value(MemHandle *handle, int32_t type)
{
    Value *v = NewValue(handle, 0);
    if (v) {
        v->type = type;
        v->null_flag = 0;
        memset(&v->payload, 0, sizeof v->payload);
    }
    return v;
}

static Value *new_timestamp(MemHandle *handle, int y, int mo, int d, int h,
                            int mi, int s)
{
    Value *v = new_value(handle, VALUE_TIMESTAMP);
    if (v) {
        TimestampStruct *t = &v->payload.timestamp;
        t->year = (int16_t)y;
        t->month = (uint16_t)mo;
        t->day = (uint16_t)d;
        t->hour = (uint16_t)h;
        t->minute = (uint16_t)mi;
        t->second = (uint16_t)s;
    }
    return v;
}

static Value *new_interval(MemHandle *handle, int32_t type, int32_t kind,
                           uint32_t first, uint32_t second, uint32_t minute,
                           uint32_t seconds)
{
    Value *v = new_value(handle, type);
    if (v) {
        v->payload.interval.interval_type = kind;
        v->payload.interval.intval.day_second.day = first;   /* or year */
        v->payload.interval.intval.day_second.hour = second; /* or month */
        v->payload.interval.intval.day_second.minute = minute;
        v->payload.interval.intval.day_second.second = seconds;
    }
    return v;
}

static void print_timestamp(const char *label, const Value *v)
{
    const TimestampStruct *t = &v->payload.timestamp;
    printf("  %-44s %04d-%02u-%02u %02u:%02u:%02u\n", label, (int)t->year,
           (unsigned)t->month, (unsigned)t->day, (unsigned)t->hour,
           (unsigned)t->minute, (unsigned)t->second);
}

static void print_literal(const Value *v)
{
    char text[1024];
    printf("  %-44s %s\n", "  as an SQL literal:", value_as_text(v, text));
}

int demo_intervals(void)
{
    MemHandle *handle = kx_mem_alloc_handle(NULL);
    char text[256];
    failures = 0;

    printf("\n== Interval and datetime arithmetic ==\n");
    if (!handle) {
        printf("  !! no memory handle\n");
        return 1;
    }

    /* TIMESTAMP '2004-02-28 22:30:00' + INTERVAL '1 02:45:10' DAY TO SECOND */
    Value *ts = new_timestamp(handle, 2004, 2, 28, 22, 30, 0);
    Value *ds = new_interval(handle, VALUE_INTERVAL_DS, KX_IS_DAY_TO_SECOND, 1,
                             2, 45, 10);
    Value *result = new_value(handle, 0);
    if (!ts || !ds || !result) {
        printf("  !! out of memory\n");
        kx_mem_release_handle(handle);
        return 1;
    }
    print_timestamp("a timestamp:", ts);
    printf("  %-44s %s\n", "plus an interval of a day and some seconds:",
           interval_as_text(ds, text, 1));
    interval_operation(ts, ds, result, 0, 1);
    print_timestamp("gives (over the leap day of 2004):", result);
    print_literal(result);
    check(result->type == VALUE_TIMESTAMP && result->payload.timestamp.month == 3 &&
              result->payload.timestamp.day == 1 &&
              result->payload.timestamp.hour == 1 &&
              result->payload.timestamp.minute == 15 &&
              result->payload.timestamp.second == 10,
          "2004-02-28 22:30:00 + 1 day 02:45:10 is 2004-03-01 01:15:10");

    /* DATE '2004-05-31' - INTERVAL '3' MONTH */
    Value *date = new_value(handle, VALUE_DATE);
    Value *three_months = new_interval(handle, VALUE_INTERVAL_YM, KX_IS_MONTH, 0, 3, 0, 0);
    if (date && three_months) {
        date->payload.date.year = 2004;
        date->payload.date.month = 5;
        date->payload.date.day = 31;
        interval_operation(date, three_months, result, 0, 2);
        printf("  %-44s %04d-%02u-%02u\n", "2004-05-31 minus three months:",
               (int)result->payload.date.year, (unsigned)result->payload.date.month,
               (unsigned)result->payload.date.day);
        printf("    (the day is kept as it is: February 31)\n");
        check(result->type == VALUE_DATE && result->payload.date.month == 2 &&
                  result->payload.date.day == 31,
              "the day of a month shift is not clamped");

        /* 2004-12-15 + 12 months: the library's month 0 of 2006 */
        date->payload.date.month = 12;
        date->payload.date.day = 15;
        three_months->payload.interval.intval.year_month.month = 12;
        interval_operation(date, three_months, result, 0, 1);
        printf("  %-44s %04d-%02u-%02u\n", "2004-12-15 plus twelve months:",
               (int)result->payload.date.year, (unsigned)result->payload.date.month,
               (unsigned)result->payload.date.day);
        printf("    (a month sum of 24 is month 0 two years on)\n");
        check(result->payload.date.year == 2006 && result->payload.date.month == 0,
              "a month sum of 24 gives month 0 of the year after next");
    } else {
        check(0, "values for the date example");
    }

    /* INTERVAL '1-11' YEAR TO MONTH + INTERVAL '1' MONTH */
    Value *ym = new_interval(handle, VALUE_INTERVAL_YM, KX_IS_YEAR_TO_MONTH, 1, 11, 0, 0);
    Value *month = new_interval(handle, VALUE_INTERVAL_YM, KX_IS_MONTH, 0, 1, 0, 0);
    Value *sum = new_value(handle, 0);
    if (ym && month && sum) {
        char left[256], right[256];
        interval_operation(ym, month, sum, 0, 1);
        printf("  %s + %s = %s\n", interval_as_text(ym, left, 1),
               interval_as_text(month, right, 1), interval_as_text(sum, text, 1));
        check(sum->type == VALUE_INTERVAL_YM &&
                  sum->payload.interval.intval.year_month.year == 2 &&
                  sum->payload.interval.intval.year_month.month == 0,
              "1 year 11 months + 1 month is 2 years 0 months");
    } else {
        check(0, "values for the interval sum");
    }

    /* INTERVAL '30' HOUR - INTERVAL '1 12:00:00' DAY TO SECOND */
    Value *hours = new_interval(handle, VALUE_INTERVAL_DS, KX_IS_HOUR, 0, 30, 0, 0);
    Value *day_and_half = new_interval(handle, VALUE_INTERVAL_DS, KX_IS_DAY_TO_SECOND,
                                       1, 12, 0, 0);
    Value *difference = new_value(handle, 0);
    if (hours && day_and_half && difference) {
        char left[256], right[256];
        interval_operation(hours, day_and_half, difference, 0, 2);
        printf("  %s - %s = %s\n", interval_as_text(hours, left, 1),
               interval_as_text(day_and_half, right, 1),
               interval_as_text(difference, text, 1));
        check(difference->payload.interval.interval_sign == 1 &&
                  difference->payload.interval.intval.day_second.hour == 6,
              "30 hours - 1 day 12 hours is minus 6 hours");
    } else {
        check(0, "values for the interval difference");
    }

    /* 3 + INTERVAL '2' DAY */
    Value *three = new_value(handle, VALUE_INTEGER);
    Value *two_days = new_interval(handle, VALUE_INTERVAL_DS, KX_IS_DAY, 2, 0, 0, 0);
    Value *five = new_value(handle, 0);
    if (three && two_days && five) {
        three->payload.integer = 3;
        interval_operation(three, two_days, five, 0, 1);
        printf("  %-44s %s\n", "3 + INTERVAL '2' DAY (days are the unit):",
               interval_as_text(five, text, 1));
        check(five->type == VALUE_INTERVAL_DS &&
                  five->payload.interval.intval.day_second.day == 5,
              "3 + 2 days is 5 days");
    } else {
        check(0, "values for the number example");
    }

    /* TIME '23:30:00' + 3600 seconds, wrapped and not */
    Value *clock = new_value(handle, VALUE_TIME);
    Value *later = new_value(handle, VALUE_TIME);
    if (clock && later) {
        clock->payload.time.hour = 23;
        clock->payload.time.minute = 30;
        timestamp_add(later, clock, 0, 3600, 0);
        printf("  %-44s %02u:%02u:%02u\n", "23:30:00 plus an hour, as a time of day:",
               (unsigned)later->payload.time.hour, (unsigned)later->payload.time.minute,
               (unsigned)later->payload.time.second);
        check(later->payload.time.hour == 0 && later->payload.time.minute == 30,
              "a time wraps at midnight through timestamp_add");
        time_add(later, clock, 3600, 0);
        printf("  %-44s %02u:%02u:%02u\n", "... and counted on by time_add:",
               (unsigned)later->payload.time.hour, (unsigned)later->payload.time.minute,
               (unsigned)later->payload.time.second);
        check(later->payload.time.hour == 24, "time_add does not wrap at 24 hours");
    } else {
        check(0, "values for the time example");
    }

    kx_mem_release_handle(handle);
    return failures;
}
