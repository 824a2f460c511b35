// functions_datetime: the date, time and system scalar functions.
//
// CURDATE (CURRENT_DATE), CURTIME (CURRENT_TIME), CURRENT_TIMESTAMP, NOW,
// DAYNAME, MONTHNAME, DAYOFMONTH, DAYOFWEEK, DAYOFYEAR, HOUR, MINUTE,
// SECOND, MONTH, QUARTER, WEEK, YEAR, EXTRACT, TIMESTAMPADD, TIMESTAMPDIFF,
// DATABASE and USER, as func_* routines reached through the catalogue.
//
// Dates, times and timestamps are the ODBC records inside a Value. Day
// numbers come from the calendar (ymd_to_jdnl, jdnl_to_ymd, jdnl_to_dow, in
// automatic calendar mode); datetime shifts from timestamp_add, date_add and
// time_add. "Now" is the statement's captured start time through the local
// time zone, so every use within one statement sees the same instant.
//
// EXTRACT's errors leave through the error exit (a longjmp): no frame here
// holds an object with a destructor.
#include <cstring>
#include <ctime>

#include "functions/functions_internal.h"
#include "functions/functions_std.h"
#include "kxsupp/arith.h"
#include "kxsupp/config.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

using namespace kx::fn;

constexpr int32_t kCalendar = KX_CALENDAR_AUTOMATIC;
// The SQL types a driver may record as TIMESTAMPADD's result type.
constexpr uint32_t kSqlTypeDate = 91;
constexpr uint32_t kSqlTypeTime = 92;

constexpr const char *kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};
constexpr const char *kMonthNames[] = {"January", "February", "March",     "April",
                                       "May",     "June",     "July",      "August",
                                       "September", "October", "November", "December"};
static_assert(sizeof kDayNames / sizeof kDayNames[0] == 7);
static_assert(sizeof kMonthNames / sizeof kMonthNames[0] == 12);

// EXTRACT's field codes.
enum Field : int32_t { kYear = 0, kMonth, kDay, kHour, kMinute, kSecond };

// The units of TIMESTAMPADD and TIMESTAMPDIFF, in the order they are tried.
enum Unit : int32_t {
    kFracSecond,
    kSecondUnit,
    kMinuteUnit,
    kHourUnit,
    kDayUnit,
    kWeekUnit,
    kMonthUnit,
    kQuarterUnit,
    kYearUnit,
    kUnknownUnit,
};
constexpr const char *kUnitNames[] = {
    "SQL_TSI_FRAC_SECOND", "SQL_TSI_SECOND", "SQL_TSI_MINUTE",
    "SQL_TSI_HOUR",        "SQL_TSI_DAY",    "SQL_TSI_WEEK",
    "SQL_TSI_MONTH",       "SQL_TSI_QUARTER", "SQL_TSI_YEAR",
};
static_assert(sizeof kUnitNames / sizeof kUnitNames[0] == kUnknownUnit);

Unit unit_of(const Value *keyword)
{
    const char *text = keyword != nullptr && keyword->type == VALUE_STRING &&
                               keyword->payload.text != nullptr
                           ? keyword->payload.text
                           : "";
    for (int32_t u = 0; u < kUnknownUnit; ++u)
        if (std::strcmp(text, kUnitNames[u]) == 0)
            return static_cast<Unit>(u);
    return kUnknownUnit;
}

// The statement's captured clock as local time.
struct tm statement_time(const EvalContext *context)
{
    time_t t = context->stmt != nullptr ? static_cast<time_t>(context->stmt->start_time)
                                        : std::time(nullptr);
    struct tm local;
    std::memset(&local, 0, sizeof local);
    localtime_r(&t, &local);
    return local;
}

DateStruct current_date(const EvalContext *context)
{
    struct tm now = statement_time(context);
    return DateStruct{static_cast<int16_t>(now.tm_year + 1900),
                      static_cast<uint16_t>(now.tm_mon + 1), static_cast<uint16_t>(now.tm_mday)};
}

TimestampStruct current_timestamp(const EvalContext *context)
{
    struct tm now = statement_time(context);
    return TimestampStruct{static_cast<int16_t>(now.tm_year + 1900),
                           static_cast<uint16_t>(now.tm_mon + 1),
                           static_cast<uint16_t>(now.tm_mday),
                           static_cast<uint16_t>(now.tm_hour),
                           static_cast<uint16_t>(now.tm_min),
                           static_cast<uint16_t>(now.tm_sec),
                           0};
}

// The date of a date or timestamp value (zeros for other types).
DateStruct date_of(const Value *v)
{
    if (v->type == VALUE_DATE)
        return v->payload.date;
    if (v->type == VALUE_TIMESTAMP)
        return DateStruct{v->payload.timestamp.year, v->payload.timestamp.month,
                          v->payload.timestamp.day};
    return DateStruct{0, 0, 0};
}

// The time of a time or timestamp value (zeros for other types).
TimeStruct time_of(const Value *v)
{
    if (v->type == VALUE_TIME)
        return v->payload.time;
    if (v->type == VALUE_TIMESTAMP)
        return TimeStruct{v->payload.timestamp.hour, v->payload.timestamp.minute,
                          v->payload.timestamp.second};
    return TimeStruct{0, 0, 0};
}

int32_t day_number(const DateStruct &d)
{
    return ymd_to_jdnl(d.year, d.month, d.day, kCalendar);
}

// A datetime value as a full timestamp: a date at midnight, a time on the
// statement's current date.
TimestampStruct as_timestamp(const EvalContext *context, const Value *v)
{
    if (v->type == VALUE_TIMESTAMP)
        return v->payload.timestamp;
    if (v->type == VALUE_DATE)
        return TimestampStruct{v->payload.date.year, v->payload.date.month,
                               v->payload.date.day, 0, 0, 0, 0};
    DateStruct today = current_date(context);
    TimeStruct t = time_of(v);
    return TimestampStruct{today.year, today.month, today.day, t.hour, t.minute, t.second, 0};
}

// An integer field of a date or time argument; NULL gives NULL.
template <int32_t (*Field)(const Value *)>
Value *field_function(EvalContext *context, int32_t argc, Value **argv)
{
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return null_result(context, VALUE_INTEGER);
    return integer_result(context, Field(v));
}

int32_t year_field(const Value *v) { return date_of(v).year; }
int32_t month_field(const Value *v) { return date_of(v).month; }
int32_t day_field(const Value *v) { return date_of(v).day; }
int32_t hour_field(const Value *v) { return time_of(v).hour; }
int32_t minute_field(const Value *v) { return time_of(v).minute; }
int32_t second_field(const Value *v) { return time_of(v).second; }
// January and February are quarter 1 and December quarter 5: the month
// itself is divided, as drivers have always reported it.
int32_t quarter_field(const Value *v) { return date_of(v).month / 3 + 1; }
int32_t day_of_week_field(const Value *v) { return jdnl_to_dow(day_number(date_of(v))) + 1; }

int32_t day_of_year_field(const Value *v)
{
    DateStruct d = date_of(v);
    return day_number(d) - ymd_to_jdnl(d.year, 1, 1, kCalendar) + 1;
}

// Weeks start on Sunday and week 1 holds 1 January.
int32_t week_field(const Value *v)
{
    DateStruct d = date_of(v);
    int32_t first = ymd_to_jdnl(d.year, 1, 1, kCalendar);
    return (day_number(d) - first + jdnl_to_dow(first)) / 7 + 1;
}

// A copy of a constant name as a string result.
Value *name_result(EvalContext *context, const char *name)
{
    size_t n = std::strlen(name);
    Value *result = new_text_result(context, static_cast<int64_t>(n), kMemoryError);
    std::memcpy(result->payload.text, name, n);
    return result;
}

// A copy of text, or an empty NULL string when there is none.
Value *optional_text_result(EvalContext *context, const char *text, const char *message)
{
    if (text == nullptr)
        return null_text_result(context, message);
    size_t n = std::strlen(text);
    Value *result = new_text_result(context, static_cast<int64_t>(n), message);
    std::memcpy(result->payload.text, text, n);
    return result;
}

DriverConnection *connection_of(const EvalContext *context)
{
    return context->stmt != nullptr ? context->stmt->connection : nullptr;
}

// count times factor, wrapping in 32 bits as the shifts take it.
int32_t scaled(int32_t count, uint32_t factor)
{
    return static_cast<int32_t>(static_cast<uint32_t>(count) * factor);
}

// The first three 16-bit fields of a datetime payload: year, month and day
// of a date or timestamp, hour, minute and second of a time.
void first_three_fields(const Value *v, uint16_t fields[3])
{
    std::memcpy(fields, v->payload.raw, 3 * sizeof(uint16_t));
}

// TIMESTAMPADD's starting value, of the result type the driver chose.
void start_shifted(EvalContext *context, Value *result, const Value *source, uint32_t sql_type)
{
    uint16_t fields[3];
    first_three_fields(source, fields);
    if (sql_type == kSqlTypeDate) {
        result->type = VALUE_DATE;
        result->payload.date = DateStruct{static_cast<int16_t>(fields[0]), fields[1], fields[2]};
    } else if (sql_type == kSqlTypeTime) {
        result->type = VALUE_TIME;
        result->payload.time = TimeStruct{fields[0], fields[1], fields[2]};
    } else {
        result->type = VALUE_TIMESTAMP;
        result->payload.timestamp = as_timestamp(context, source);
    }
}

// Shifts result in place by count units.
void shift(Value *result, Unit unit, int32_t n)
{
    bool is_time = result->type == VALUE_TIME;
    bool is_date = result->type == VALUE_DATE;
    switch (unit) {
    case kFracSecond:
        if (is_time)
            time_add(result, result, 0, n);
        else
            timestamp_add(result, result, 0, 0, n);
        return;
    case kSecondUnit:
    case kMinuteUnit:
    case kHourUnit: {
        uint32_t factor = unit == kSecondUnit ? 1 : unit == kMinuteUnit ? 60 : 3600;
        if (is_time)
            time_add(result, result, scaled(n, factor), 0);
        else
            timestamp_add(result, result, 0, scaled(n, factor), 0);
        return;
    }
    case kDayUnit:
    case kWeekUnit: {
        uint32_t days = unit == kDayUnit ? 1 : 7;
        if (is_date)
            date_add(result, result, 0, scaled(n, days));
        else
            timestamp_add(result, result, 0, scaled(n, days * 86400u), 0);
        return;
    }
    case kMonthUnit:
        timestamp_add(result, result, n, 0, 0);
        return;
    case kQuarterUnit:
        timestamp_add(result, result, scaled(n, 3), 0, 0);
        return;
    case kYearUnit:
        timestamp_add(result, result, scaled(n, 12), 0, 0);
        return;
    case kUnknownUnit:
        return;
    }
}

// A datetime as a day count with the time of day as its fraction.
double day_count(const EvalContext *context, const Value *v)
{
    TimestampStruct ts = as_timestamp(context, v);
    return ymd_to_jdnl(ts.year, ts.month, ts.day, kCalendar) + ts.hour / 24.0 +
           ts.minute / 1440.0 + ts.second / 86400.0 + ts.fraction / 86400000000000.0;
}

// TIMESTAMPDIFF of a non-negative day difference in one unit. Month,
// quarter and year differences run the whole days, cut to 16 bits, through
// the calendar from year 0, month 0.
int32_t difference_in(Unit unit, double days)
{
    switch (unit) {
    case kFracSecond:
        // ten to the tenth per second, as drivers have always counted it
        return kx::double_to_int32(days * 10000000000.0 * 60 * 60 * 24);
    case kSecondUnit:
        return kx::double_to_int32(days * 60 * 60 * 24);
    case kMinuteUnit:
        return kx::double_to_int32(days * 60 * 24);
    case kHourUnit:
        return kx::double_to_int32(days * 24);
    case kDayUnit:
        return kx::double_to_int32(days);
    case kWeekUnit:
        return kx::double_to_int32(days) / 7;
    case kMonthUnit:
    case kQuarterUnit:
    case kYearUnit: {
        int32_t whole = kx::double_to_int32(days) & 0xFFFF;
        int32_t year = 0, month = 0;
        jdnl_to_ymd(ymd_to_jdnl(0, 0, whole, kCalendar), &year, &month, nullptr, kCalendar);
        if (unit == kMonthUnit)
            return year * 12 + month;
        if (unit == kQuarterUnit)
            return year * 4 + month / 3;
        return year;
    }
    case kUnknownUnit:
        break;
    }
    return 0;
}

// EXTRACT from an interval: whole totals in the unit asked for.
int32_t extract_from_interval(EvalContext *context, const Value *source, int32_t field)
{
    int32_t total = get_base_value(&source->payload.interval, nullptr);
    if (source->type == VALUE_INTERVAL_YM) {
        switch (field) {
        case kYear:
            return total / 12;
        case kMonth:
            return total;
        case kDay:
            fail(context, "HY000", "Cannot extract DAY from INTERVAL YEAR/MONTH");
        case kHour:
            fail(context, "HY000", "Cannot extract HOUR from INTERVAL YEAR/MONTH");
        case kMinute:
            fail(context, "HY000", "Cannot extract MINUTE from INTERVAL YEAR/MONTH");
        case kSecond:
            fail(context, "HY000", "Cannot extract SECOND from INTERVAL YEAR/MONTH");
        default:
            return 0;
        }
    }
    switch (field) {
    case kYear:
    case kMonth:
        fail(context, "HY000", "Cannot extract YEAR/MONTH from INTERVAL DAY");
    case kDay:
        return total / 86400;
    case kHour:
        return total / 3600;
    case kMinute:
        return total / 60;
    case kSecond:
        return total;
    default:
        return 0;
    }
}

// A date field of a date (year, month, day) or timestamp; 0 for other codes.
int32_t date_part(const DateStruct &d, int32_t field)
{
    switch (field) {
    case kYear:
        return d.year;
    case kMonth:
        return d.month;
    case kDay:
        return d.day;
    default:
        return 0;
    }
}

// A time field (hour, minute, second); 0 for other codes.
int32_t time_part(const TimeStruct &t, int32_t field)
{
    switch (field) {
    case kHour:
        return t.hour;
    case kMinute:
        return t.minute;
    case kSecond:
        return t.second;
    default:
        return 0;
    }
}

int32_t extract_field(EvalContext *context, const Value *source, int32_t field)
{
    switch (source->type) {
    case VALUE_DATE:
        return date_part(source->payload.date, field);
    case VALUE_TIME:
        return time_part(source->payload.time, field);
    case VALUE_TIMESTAMP:
        return field <= kDay ? date_part(date_of(source), field)
                             : time_part(time_of(source), field);
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        return extract_from_interval(context, source, field);
    default:
        return 0;
    }
}

}  // namespace

extern "C" {

KX_SCALAR_FUNCTION(func_curdate)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    Value *result = new_result(context, VALUE_DATE);
    if (result != nullptr)
        result->payload.date = current_date(context);
    return result;
}

KX_SCALAR_FUNCTION(func_curtime)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    Value *result = new_result(context, VALUE_TIME);
    if (result != nullptr) {
        TimestampStruct now = current_timestamp(context);
        result->payload.time = TimeStruct{now.hour, now.minute, now.second};
    }
    return result;
}

KX_SCALAR_FUNCTION(func_curtstamp)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    Value *result = new_result(context, VALUE_TIMESTAMP);
    if (result != nullptr)
        result->payload.timestamp = current_timestamp(context);
    return result;
}

KX_SCALAR_FUNCTION(func_now)
{
    return func_curtstamp(context, argc, argv, pass1, pass2, descriptor);
}

KX_SCALAR_FUNCTION(func_year)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<year_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_month)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<month_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_dayofmonth)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<day_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_hour)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<hour_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_minute)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<minute_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_second)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<second_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_dayofweek)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<day_of_week_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_dayofyear)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<day_of_year_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_week)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<week_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_quarter)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return field_function<quarter_field>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_dayname)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return null_text_result(context, kMemoryError);
    // the day of the week is a remainder of 7, negative before day 0: no name
    int32_t dow = jdnl_to_dow(day_number(date_of(v)));
    if (dow < 0)
        return null_text_result(context, kMemoryError);
    return name_result(context, kDayNames[dow]);
}

KX_SCALAR_FUNCTION(func_monthname)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *v = arg(argc, argv, 0);
    if (is_null(v))
        return null_text_result(context, kMemoryError);
    // a month outside 1 to 12 has no name: NULL rather than a read past the table
    int32_t month = date_of(v).month;
    if (month < 1 || month > 12)
        return null_text_result(context, kMemoryError);
    return name_result(context, kMonthNames[month - 1]);
}

KX_SCALAR_FUNCTION(func_extract)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *field = arg(argc, argv, 0);
    if (is_null(field))
        return null_result(context, VALUE_INTEGER);
    Value *result = integer_result(context, 0);
    if (result == nullptr)
        return nullptr;
    Value *source = arg(argc, argv, 1);
    if (source != nullptr)
        result->payload.integer = extract_field(context, source, int_arg(field));
    return result;
}

KX_SCALAR_FUNCTION(func_timestampadd)
{
    (void)pass1, (void)pass2;
    // the driver records the call's result SQL type in the last class word
    uint32_t sql_type = descriptor != nullptr ? descriptor->arg_class[10] : 0;
    int32_t result_type = sql_type == kSqlTypeDate   ? VALUE_DATE
                          : sql_type == kSqlTypeTime ? VALUE_TIME
                                                     : VALUE_TIMESTAMP;
    Value *count = arg(argc, argv, 1);
    Value *source = arg(argc, argv, 2);
    if (is_null(count) || is_null(source))
        return null_result(context, result_type);
    Value *result = new_result(context, result_type);
    if (result == nullptr)
        return nullptr;
    start_shifted(context, result, source, sql_type);
    shift(result, unit_of(arg(argc, argv, 0)), int_arg(count));
    return result;
}

KX_SCALAR_FUNCTION(func_timestampdiff)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *first = arg(argc, argv, 1);
    Value *second = arg(argc, argv, 2);
    if (is_null(first) || is_null(second))
        return null_result(context, VALUE_INTEGER);
    double days = day_count(context, second) - day_count(context, first);
    int32_t sign = 1;
    if (days < 0) {
        days = -days;
        sign = -1;
    }
    int32_t magnitude = difference_in(unit_of(arg(argc, argv, 0)), days);
    return integer_result(context,
                          static_cast<int32_t>(static_cast<uint32_t>(magnitude) *
                                               static_cast<uint32_t>(sign)));
}

KX_SCALAR_FUNCTION(func_database)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    DriverConnection *connection = connection_of(context);
    return optional_text_result(context, connection ? connection->database : nullptr,
                                kMemoryErrorFred);
}

// The standard catalogue's DATABASE: the family's, with the plain memory
// message.
KX_SCALAR_FUNCTION(kxstd_func_database)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    DriverConnection *connection = connection_of(context);
    return optional_text_result(context, connection ? connection->database : nullptr, kMemoryError);
}

KX_SCALAR_FUNCTION(func_user)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    DriverConnection *connection = connection_of(context);
    const char *uid =
        connection ? get_attribute_value(&connection->attributes, "UID") : nullptr;
    return optional_text_result(context, uid, kMemoryError);
}

}  // extern "C"
