// functions_datetime_std: the date and time scalar functions of the
// standard catalogue.
//
// CURDATE (CURRENT_DATE), CURTIME (CURRENT_TIME), CURRENT_TIMESTAMP, NOW,
// DAYNAME, DAYOFMONTH, DAYOFWEEK, DAYOFYEAR, EXTRACT, HOUR, MINUTE, MONTH,
// MONTHNAME, QUARTER, SECOND, TIMESTAMPADD, TIMESTAMPDIFF, WEEK and YEAR as
// kxstd_func_* routines (hidden, declared in functions_std.h), reached
// through kxstd_functions.
//
// Dates, times and timestamps are the ODBC records inside a Value, read by
// the proleptic Gregorian calendar (calendar_std_internal.h) and checked:
// a record that holds no real date or time is 22007, a date function given
// a time 42000. Where the family's routines differ, these follow ODBC 3.8
// and SQL-92:
//  - WEEK is the ISO 8601 week (1 to 53, weeks from Monday, week 1 holding
//    the year's first Thursday), QUARTER is (month - 1) / 3 + 1;
//  - EXTRACT of an interval gives the field's own value, negative for a
//    negative interval (EXTRACT(HOUR FROM INTERVAL '1 02' DAY TO HOUR) is
//    2), and a field the interval does not have is 42000; EXTRACT(SECOND)
//    keeps the fraction: an exact numeric with as many fraction digits as
//    the fraction needs (5.25 is precision 38, scale 2), an integer when
//    there is no fraction; EXTRACT(HOUR FROM a date) is 0, as in
//    PostgreSQL; a field code outside YEAR..SECOND is 22023;
//  - CURRENT_TIME(p), CURRENT_TIMESTAMP(p), NOW, CURDATE read the clock
//    once per call, at nanosecond resolution, in local time, truncated to p
//    fractional digits (6 when p is not given, as SQL-92 has it for
//    CURRENT_TIMESTAMP; a TIME record has no fraction, so CURRENT_TIME(p)
//    checks p and gives whole seconds); p outside 0..9 is 22023. Two calls
//    in one statement each read the clock: they are not made to agree;
//  - TIMESTAMPADD and TIMESTAMPDIFF take the ODBC SQL_TSI_ units in any
//    letter case, and any other unit is 22023 (KXSTD_INVALID_ARGUMENT);
//    TIMESTAMPADD always gives a timestamp (a date counts as its midnight,
//    a time as on today's date), clamps a month shift's day to the month's
//    last day, carries fractions per 10^9 and reports 22008 past the year
//    9999; TIMESTAMPDIFF counts whole units as a VALUE_BIGINT (22003 when
//    they pass 64 bits).
// Errors leave through kx::std_raise, a longjmp: no frame here holds an
// object with a destructor. A null context makes a routine give null.
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "arith/calendar_std_internal.h"
#include "arith/interval_std_internal.h"
#include "diagnostics/standard_exit.h"
#include "functions/functions_std.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

using namespace kx::stdcal;
using kx::fn::arg;
using kx::fn::is_null;

constexpr const char *kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};
constexpr const char *kMonthNames[] = {"January", "February", "March",     "April",
                                       "May",     "June",     "July",      "August",
                                       "September", "October", "November", "December"};

// EXTRACT's field codes, as the family numbers them.
enum Field : int32_t { kYear = 0, kMonth, kDay, kHour, kMinute, kSecond };

// The fractional digits of CURRENT_TIMESTAMP and NOW without a precision.
constexpr int32_t kDefaultTimestampPrecision = 6;
// The precision of an exact numeric result.
constexpr uint8_t kNumericPrecision = 38;

// ---- results ----

// Reports status; returns only without a context, when the result is null.
Value *raise(EvalContext *context, int32_t status)
{
    kx::std_raise(context, status);
    return nullptr;
}

Value *result_of(EvalContext *context, int32_t type)
{
    if (context == nullptr)
        return nullptr;
    Value *result = kx::fn::new_result(context, type);
    if (result == nullptr)
        return raise(context, KXSTD_NO_MEMORY);
    return result;
}

Value *null_of(EvalContext *context, int32_t type)
{
    Value *result = result_of(context, type);
    if (result != nullptr)
        result->null_flag = -1;
    return result;
}

Value *integer_of(EvalContext *context, int32_t n)
{
    Value *result = result_of(context, VALUE_INTEGER);
    if (result != nullptr)
        result->payload.integer = n;
    return result;
}

Value *bigint_of(EvalContext *context, int64_t n)
{
    Value *result = result_of(context, VALUE_BIGINT);
    if (result != nullptr) {
        uint64_t bits = static_cast<uint64_t>(n);
        result->payload.bigint.high = static_cast<int32_t>(bits >> 32);
        result->payload.bigint.low = static_cast<uint32_t>(bits);
    }
    return result;
}

// A string result holding text (NULL when text is null), its room inside
// the record as NewValue gives it.
Value *text_of(EvalContext *context, const char *text)
{
    if (context == nullptr)
        return nullptr;
    size_t n = text != nullptr ? strlen(text) : 0;
    Value *result = NewValue(context->mem, static_cast<int32_t>(n) + 1);
    if (result == nullptr)
        return raise(context, KXSTD_NO_MEMORY);
    char *room = result->payload.text;
    memset(result, 0, offsetof(Value, payload));
    result->kind = NODE_VALUE;
    result->mem_handle = context->mem;
    result->inline_buffer = 1;
    result->type = VALUE_STRING;
    result->payload.text = room;
    result->length = static_cast<int32_t>(n);
    memcpy(room, text != nullptr ? text : "", n + 1);
    if (text == nullptr)
        result->null_flag = -1;
    return result;
}

// seconds and nanoseconds (the same sign) as an exact result: an integer
// when there is no fraction, else a numeric of the fraction's digits.
Value *seconds_of(EvalContext *context, int64_t seconds, int64_t nanoseconds)
{
    if (nanoseconds == 0 && seconds >= INT32_MIN && seconds <= INT32_MAX)
        return integer_of(context, static_cast<int32_t>(seconds));
    bool negative = seconds < 0 || nanoseconds < 0;
    uint64_t magnitude = static_cast<uint64_t>(negative ? -seconds : seconds) * 1000000000u +
                         static_cast<uint64_t>(negative ? -nanoseconds : nanoseconds);
    int32_t scale = 9;
    while (scale > 0 && magnitude % 10 == 0) {
        magnitude /= 10;
        --scale;
    }
    Value *result = result_of(context, VALUE_NUMERIC);
    if (result == nullptr)
        return nullptr;
    NumericStruct &n = result->payload.numeric;
    n.precision = kNumericPrecision;
    n.scale = static_cast<int8_t>(scale);
    n.sign = negative ? 0 : 1;
    for (int i = 0; i < 8; ++i)
        n.val[i] = static_cast<uint8_t>(magnitude >> (8 * i));
    result->attr[0] = kNumericPrecision;
    result->attr[1] = scale;
    return result;
}

// ---- arguments ----

// The date of a date or timestamp argument: KXSTD_OK, KXSTD_INVALID_DATETIME
// (no real date) or KXSTD_TYPE_MISMATCH (a time, or no datetime).
int32_t date_arg(const Value *v, DateStruct *out)
{
    if (v->type == VALUE_DATE) {
        *out = v->payload.date;
        return valid(*out) ? KXSTD_OK : KXSTD_INVALID_DATETIME;
    }
    if (v->type == VALUE_TIMESTAMP) {
        const TimestampStruct &t = v->payload.timestamp;
        *out = DateStruct{t.year, t.month, t.day};
        return valid(t) ? KXSTD_OK : KXSTD_INVALID_DATETIME;
    }
    return KXSTD_TYPE_MISMATCH;
}

// The time of day of a time or timestamp argument, or a date's midnight,
// with the fraction of a timestamp.
int32_t time_arg(const Value *v, TimeStruct *out, uint32_t *fraction)
{
    *fraction = 0;
    switch (v->type) {
    case VALUE_TIME:
        *out = v->payload.time;
        return valid(*out) ? KXSTD_OK : KXSTD_INVALID_DATETIME;
    case VALUE_TIMESTAMP: {
        const TimestampStruct &t = v->payload.timestamp;
        *out = TimeStruct{t.hour, t.minute, t.second};
        *fraction = t.fraction;
        return valid(t) ? KXSTD_OK : KXSTD_INVALID_DATETIME;
    }
    case VALUE_DATE:
        *out = TimeStruct{0, 0, 0};
        return valid(v->payload.date) ? KXSTD_OK : KXSTD_INVALID_DATETIME;
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

int64_t day_count(const DateStruct &d)
{
    return days_from_civil(d.year, d.month, d.day);
}

// The ISO 8601 week of a date: weeks run Monday to Sunday and belong to the
// year that holds their Thursday.
int32_t iso_week(const DateStruct &d)
{
    int64_t days = day_count(d);
    int32_t monday_based = (weekday(days) + 6) % 7;  // 0 Monday .. 6 Sunday
    int64_t thursday = days - monday_based + 3;
    Civil c = civil_from_days(thursday);
    return static_cast<int32_t>((thursday - days_from_civil(c.year, 1, 1)) / 7 + 1);
}

// The fields of the date functions.
int32_t year_field(const DateStruct &d) { return d.year; }
int32_t month_field(const DateStruct &d) { return d.month; }
int32_t day_field(const DateStruct &d) { return d.day; }
int32_t quarter_field(const DateStruct &d) { return (d.month - 1) / 3 + 1; }
int32_t day_of_week_field(const DateStruct &d) { return weekday(day_count(d)) + 1; }
int32_t day_of_year_field(const DateStruct &d)
{
    return static_cast<int32_t>(day_count(d) - days_from_civil(d.year, 1, 1) + 1);
}
int32_t week_field(const DateStruct &d) { return iso_week(d); }

template <int32_t (*Field)(const DateStruct &)>
Value *date_function(EvalContext *context, int32_t argc, Value **argv)
{
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return null_of(context, VALUE_INTEGER);
    DateStruct d;
    int32_t status = date_arg(v, &d);
    if (status != KXSTD_OK)
        return raise(context, status);
    return integer_of(context, Field(d));
}

int32_t hour_field(const TimeStruct &t) { return t.hour; }
int32_t minute_field(const TimeStruct &t) { return t.minute; }
int32_t second_field(const TimeStruct &t) { return t.second; }

template <int32_t (*Field)(const TimeStruct &)>
Value *time_function(EvalContext *context, int32_t argc, Value **argv)
{
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return null_of(context, VALUE_INTEGER);
    TimeStruct t;
    uint32_t fraction;
    int32_t status = time_arg(v, &t, &fraction);
    if (status != KXSTD_OK)
        return raise(context, status);
    return integer_of(context, Field(t));
}

// ---- now ----

// The precision argument of CURRENT_TIME and CURRENT_TIMESTAMP (given when
// there is one): 0..9, else KXSTD_INVALID_ARGUMENT.
int32_t precision_arg(int32_t argc, Value **argv, int32_t default_precision, int32_t *precision)
{
    Value *p = arg(argc, argv, 0);
    *precision = default_precision;
    if (p == nullptr)
        return KXSTD_OK;
    int32_t n = kx::fn::int_arg(p);
    if (n < 0 || n > 9)
        return KXSTD_INVALID_ARGUMENT;
    *precision = n;
    return KXSTD_OK;
}

Value *now_result(EvalContext *context, int32_t argc, Value **argv, int32_t type)
{
    Value *p = arg(argc, argv, 0);
    if (p != nullptr && p->null_flag != 0)
        return null_of(context, type);
    int32_t precision = 0;
    int32_t status = precision_arg(argc, argv, type == VALUE_TIME ? 0 : kDefaultTimestampPrecision,
                                   &precision);
    TimestampStruct now = {};
    if (status == KXSTD_OK)
        status = kxstd_current_timestamp(&now, precision);
    if (status != KXSTD_OK)
        return raise(context, status);
    Value *result = result_of(context, type);
    if (result == nullptr)
        return nullptr;
    if (type == VALUE_TIME)
        result->payload.time = TimeStruct{now.hour, now.minute, now.second};
    else
        result->payload.timestamp = now;
    return result;
}

// ---- EXTRACT ----

// A field of an interval: its own value, negative for a negative interval.
Value *extract_interval(EvalContext *context, const Value *v, int32_t field)
{
    const IntervalStruct &iv = v->payload.interval;
    if (!kx::stdiv::has_field(iv.interval_type, field) ||
        kx::stdiv::year_month_kind(iv.interval_type) != (v->type == VALUE_INTERVAL_YM))
        return raise(context, KXSTD_TYPE_MISMATCH);
    int64_t sign = iv.interval_sign != 0 ? -1 : 1;
    const YearMonthStruct &ym = iv.intval.year_month;
    const DaySecondStruct &ds = iv.intval.day_second;
    int64_t value = 0;
    switch (field) {
    case kYear: value = ym.year; break;
    case kMonth: value = ym.month; break;
    case kDay: value = ds.day; break;
    case kHour: value = ds.hour; break;
    case kMinute: value = ds.minute; break;
    default:
        if (ds.fraction >= kNanosPerSecond)
            return raise(context, KXSTD_INVALID_DATETIME);
        return seconds_of(context, sign * ds.second, sign * ds.fraction);
    }
    return seconds_of(context, sign * value, 0);
}

Value *extract_datetime(EvalContext *context, const Value *v, int32_t field)
{
    if (field <= kDay) {
        DateStruct d;
        int32_t status = date_arg(v, &d);
        if (status != KXSTD_OK)
            return raise(context, status);
        return integer_of(context, field == kYear ? d.year : field == kMonth ? d.month : d.day);
    }
    TimeStruct t;
    uint32_t fraction;
    int32_t status = time_arg(v, &t, &fraction);
    if (status != KXSTD_OK)
        return raise(context, status);
    if (field == kSecond)
        return seconds_of(context, t.second, fraction);
    return integer_of(context, field == kHour ? t.hour : t.minute);
}

// ---- TIMESTAMPADD and TIMESTAMPDIFF ----

// The unit keyword's text, or null when the argument is no text.
const char *unit_text(const Value *v)
{
    if (v == nullptr || v->type != VALUE_STRING || v->payload.text == nullptr)
        return nullptr;
    return v->payload.text;
}

enum AddUnit { kFracUnit, kSecondUnit, kMinuteUnit, kHourUnit, kDayUnit, kWeekUnit,
               kMonthUnit, kQuarterUnit, kYearUnit, kNoUnit };

static_assert(kNoUnit == kx::stdiv::kTsiUnitCount);
// Seconds (or months, from kMonthUnit on) in one unit; FRAC_SECOND counts
// nanoseconds.
constexpr int64_t kUnitSize[] = {1, 1, 60, 3600, 86400, 604800, 1, 3, 12};

// The unit a keyword names (any letter case), kNoUnit for none.
AddUnit add_unit_of(const char *text)
{
    return static_cast<AddUnit>(kx::stdiv::tsi_unit_of(text));
}

// Decimal text as a 64-bit integer: blanks around it, an optional sign,
// digits. KXSTD_INVALID_NUMBER or KXSTD_NUMERIC_OUT_OF_RANGE.
int32_t integer_text(const char *text, int64_t *out)
{
    const char *p = text;
    while (*p == ' ')
        ++p;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    if (*p < '0' || *p > '9')
        return KXSTD_INVALID_NUMBER;
    unsigned __int128 v = 0;
    while (*p >= '0' && *p <= '9') {
        v = v * 10 + static_cast<unsigned>(*p - '0');
        if (v > static_cast<unsigned __int128>(INT64_MAX) + 1)
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        ++p;
    }
    while (*p == ' ')
        ++p;
    if (*p != '\0')
        return KXSTD_INVALID_NUMBER;
    if (!negative && v > static_cast<unsigned __int128>(INT64_MAX))
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    *out = negative ? static_cast<int64_t>(0 - static_cast<uint64_t>(v)) : static_cast<int64_t>(v);
    return KXSTD_OK;
}

// TIMESTAMPADD's count as a 64-bit integer: integers exactly, doubles and
// numerics truncated toward zero, text read as a decimal integer.
int32_t count_arg(const Value *v, int64_t *out)
{
    switch (v->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        *out = v->payload.integer;
        return KXSTD_OK;
    case VALUE_BIGINT:
        *out = static_cast<int64_t>(
            (static_cast<uint64_t>(static_cast<uint32_t>(v->payload.bigint.high)) << 32) |
            v->payload.bigint.low);
        return KXSTD_OK;
    case VALUE_DOUBLE: {
        double d = v->payload.dbl;
        // NaN fails both tests; 2^63 is the first double past the range
        if (!(d >= -9223372036854775808.0 && d < 9223372036854775808.0))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        *out = static_cast<int64_t>(d);
        return KXSTD_OK;
    }
    case VALUE_NUMERIC: {
        const NumericStruct &n = v->payload.numeric;
        unsigned __int128 m = 0;
        for (int i = 15; i >= 0; --i)
            m = (m << 8) | n.val[i];
        for (int s = n.scale; s > 0 && m != 0; --s)
            m /= 10;
        for (int s = n.scale; s < 0 && m != 0; ++s) {
            if (m > (static_cast<unsigned __int128>(1) << 100))
                return KXSTD_NUMERIC_OUT_OF_RANGE;
            m *= 10;
        }
        bool negative = n.sign == 0;
        if (m > static_cast<unsigned __int128>(INT64_MAX) + (negative ? 1 : 0))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        *out = negative ? static_cast<int64_t>(0 - static_cast<uint64_t>(m)) : static_cast<int64_t>(m);
        return KXSTD_OK;
    }
    case VALUE_STRING:
        return v->payload.text != nullptr ? integer_text(v->payload.text, out) : KXSTD_INVALID_NUMBER;
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

// TIMESTAMPADD's datetime as a timestamp's fields: a date at midnight, a
// time on today's date.
int32_t timestamp_fields(const Value *v, TimestampStruct *out)
{
    switch (v->type) {
    case VALUE_TIMESTAMP:
        *out = v->payload.timestamp;
        return KXSTD_OK;
    case VALUE_DATE: {
        DateStruct d = v->payload.date;
        *out = TimestampStruct{d.year, d.month, d.day, 0, 0, 0, 0};
        return KXSTD_OK;
    }
    case VALUE_TIME: {
        DateStruct today;
        int32_t status = kxstd_current_date(&today);
        if (status != KXSTD_OK)
            return status;
        TimeStruct t = v->payload.time;
        *out = TimestampStruct{today.year, today.month, today.day, t.hour, t.minute, t.second, 0};
        return KXSTD_OK;
    }
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

// The shift of count units: months, seconds or nanoseconds. False when the
// product cannot be a shift between two dates of 1..9999.
bool shift_of(AddUnit unit, int64_t count, int64_t *months, int64_t *seconds,
              int64_t *nanoseconds)
{
    *months = *seconds = *nanoseconds = 0;
    int64_t *target = unit == kFracUnit ? nanoseconds : unit >= kMonthUnit ? months : seconds;
    return !__builtin_mul_overflow(count, kUnitSize[unit], target);
}

}  // namespace

extern "C" {

KX_SCALAR_FUNCTION(kxstd_func_curdate)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    DateStruct today;
    int32_t status = kxstd_current_date(&today);
    if (status != KXSTD_OK)
        return raise(context, status);
    Value *result = result_of(context, VALUE_DATE);
    if (result != nullptr)
        result->payload.date = today;
    return result;
}

KX_SCALAR_FUNCTION(kxstd_func_curtime)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return now_result(context, argc, argv, VALUE_TIME);
}

KX_SCALAR_FUNCTION(kxstd_func_curtstamp)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return now_result(context, argc, argv, VALUE_TIMESTAMP);
}

KX_SCALAR_FUNCTION(kxstd_func_now)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    return now_result(context, 0, nullptr, VALUE_TIMESTAMP);
}

KX_SCALAR_FUNCTION(kxstd_func_year)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<year_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_month)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<month_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_dayofmonth)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<day_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_quarter)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<quarter_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_dayofweek)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<day_of_week_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_dayofyear)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<day_of_year_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_week)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return date_function<week_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_hour)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return time_function<hour_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_minute)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return time_function<minute_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_second)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return time_function<second_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_dayname)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return text_of(context, nullptr);
    DateStruct d;
    int32_t status = date_arg(v, &d);
    if (status != KXSTD_OK)
        return raise(context, status);
    return text_of(context, kDayNames[weekday(day_count(d))]);
}

KX_SCALAR_FUNCTION(kxstd_func_monthname)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return text_of(context, nullptr);
    DateStruct d;
    int32_t status = date_arg(v, &d);
    if (status != KXSTD_OK)
        return raise(context, status);
    return text_of(context, kMonthNames[d.month - 1]);
}

KX_SCALAR_FUNCTION(kxstd_func_extract)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *field = arg(argc, argv, 0);
    Value *source = arg(argc, argv, 1);
    if (is_null(field) || is_null(source))
        return null_of(context, VALUE_INTEGER);
    int32_t code = kx::fn::int_arg(field);
    if (code < kYear || code > kSecond)
        return raise(context, KXSTD_INVALID_ARGUMENT);
    switch (source->type) {
    case VALUE_DATE:
    case VALUE_TIME:
    case VALUE_TIMESTAMP:
        return extract_datetime(context, source, code);
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        return extract_interval(context, source, code);
    default:
        return raise(context, KXSTD_TYPE_MISMATCH);
    }
}

KX_SCALAR_FUNCTION(kxstd_func_timestampadd)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *unit = arg(argc, argv, 0);
    Value *count = arg(argc, argv, 1);
    Value *source = arg(argc, argv, 2);
    AddUnit u = add_unit_of(unit_text(unit));
    if (u == kNoUnit)
        return raise(context, KXSTD_INVALID_ARGUMENT);
    if (is_null(count) || is_null(source))
        return null_of(context, VALUE_TIMESTAMP);
    int64_t n = 0;
    int32_t status = count_arg(count, &n);
    if (status != KXSTD_OK)
        return raise(context, status);
    TimestampStruct t;
    status = timestamp_fields(source, &t);
    if (status != KXSTD_OK)
        return raise(context, status);
    int64_t months, seconds, nanoseconds;
    if (!shift_of(u, n, &months, &seconds, &nanoseconds))
        return raise(context, KXSTD_DATETIME_OVERFLOW);
    // a fresh record of the library's own: nothing of the argument's but
    // its moved fields
    Value *result = result_of(context, VALUE_TIMESTAMP);
    if (result == nullptr)
        return nullptr;
    status = valid(t) ? kx::stdiv::shift_fields(&t, VALUE_TIMESTAMP, months, seconds, nanoseconds)
                      : KXSTD_INVALID_DATETIME;
    if (status != KXSTD_OK)
        return raise(context, status);
    result->payload.timestamp = t;
    return result;
}

KX_SCALAR_FUNCTION(kxstd_func_timestampdiff)
{
    (void)pass1, (void)pass2, (void)descriptor;
    AddUnit unit = add_unit_of(unit_text(arg(argc, argv, 0)));
    if (unit == kNoUnit)
        return raise(context, KXSTD_INVALID_ARGUMENT);
    Value *from = arg(argc, argv, 1);
    Value *to = arg(argc, argv, 2);
    if (is_null(from) || is_null(to))
        return null_of(context, VALUE_BIGINT);
    DateStruct today = {};
    const DateStruct *on = nullptr;
    if (from->type == VALUE_TIME || to->type == VALUE_TIME) {
        // one reading of the clock for both operands
        int32_t status = kxstd_current_date(&today);
        if (status != KXSTD_OK)
            return raise(context, status);
        on = &today;
    }
    int64_t n = 0;
    int32_t status = kx::stdiv::timestamp_diff_in(unit, from, to, on, &n);
    if (status != KXSTD_OK)
        return raise(context, status);
    return bigint_of(context, n);
}

}  // extern "C"
