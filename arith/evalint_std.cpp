/*
 * evalint_std - the standard family's interval and datetime arithmetic.
 *
 * Exports kxstd_timestamp_add, kxstd_interval_length,
 * kxstd_normalise_interval, kxstd_interval_compare,
 * kxstd_interval_operation and kxstd_timestamp_diff.
 *
 * An interval (IntervalStruct, ODBC's SQL_INTERVAL_STRUCT) is worked on as
 * its signed length: months for the year-month kinds (YEAR, MONTH, YEAR TO
 * MONTH), nanoseconds for the day-time kinds, in 64 bits (months, seconds)
 * or 128 bits (nanoseconds), so no sum of real intervals can wrap; a result
 * whose leading field passes its precision is 22015. Lengths, shifts and
 * differences that fit 64 bits (every real one within 273 years) are worked
 * out in 64 bits, dividing by constants, with the same results. A datetime is worked on
 * as an instant: days from 1970-01-01 by the proleptic Gregorian calendar
 * and nanoseconds into the day (calendar_std_internal.h).
 *
 * Where the family keeps its own rules (evalint.cpp), these routines follow
 * SQL-92 and ODBC, and where those leave a choice, PostgreSQL and MySQL:
 *  - a fraction carries into the seconds per 10^9 nanoseconds, whatever its
 *    sign;
 *  - a month shift keeps the day when the new month has it and otherwise
 *    takes the month's last day (2004-01-31 + 1 month = 2004-02-29), as
 *    PostgreSQL and MySQL do;
 *  - hours, minutes and seconds borrow by floor division, and a TIME wraps
 *    modulo 24 hours;
 *  - year-month and day-time intervals do not mix, and a number is never
 *    added to an interval (42000); an interval times or divided by a number
 *    keeps its kind;
 *  - a result outside the years 1 to 9999 is 22008, never wrapped.
 *
 * kxstd_interval_operation reports through the context and may longjmp:
 * its frames hold nothing with a destructor. Every routine reads all of its
 * inputs before it writes its result, so a result may be an operand.
 */
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "arith/calendar_std_internal.h"
#include "arith/interval_std_internal.h"
#include "diagnostics/standard_exit.h"
#include "kxsupp/arith.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

using namespace kx::stdcal;

// ---- interval kinds ----

using namespace kx::stdiv;

constexpr int32_t kDefaultLeadingPrecision = 2;
constexpr int32_t kDefaultSecondsPrecision = 6;
// Datetime differences come out with room for any two dates of 1..9999.
constexpr int32_t kDifferencePrecision = 9;

uint32_t *field_word(IntervalStruct *iv, int32_t field)
{
    switch (field) {
    case 0: return &iv->intval.year_month.year;
    case 1: return &iv->intval.year_month.month;
    case 2: return &iv->intval.day_second.day;
    case 3: return &iv->intval.day_second.hour;
    case 4: return &iv->intval.day_second.minute;
    default: return &iv->intval.day_second.second;
    }
}

uint32_t field_value(const IntervalStruct *iv, int32_t field)
{
    return *field_word(const_cast<IntervalStruct *>(iv), field);
}

// An interval's signed length: months, or nanoseconds. False for an
// unknown kind.
bool length_of(const IntervalStruct *iv, i128 *length)
{
    int32_t kind = iv->interval_type;
    if (!valid_kind(kind))
        return false;
    i128 total = 0;
    for (int32_t f = kFirstField[kind]; f <= kLastField[kind]; ++f)
        total += static_cast<i128>(field_value(iv, f)) * kFieldUnit[f];
    if (!year_month_kind(kind)) {
        total *= kNanosPerSecond;
        if (kLastField[kind] == kSecondField)
            total += iv->intval.day_second.fraction;
    }
    *length = iv->interval_sign != 0 ? -total : total;
    return true;
}

int64_t power_of_ten(int32_t n)
{
    int64_t p = 1;
    while (n-- > 0)
        p *= 10;
    return p;
}

// 10^0 to 10^9: the limits of the leading precisions.
constexpr uint64_t kLeadingLimit[10] = {1,      10,      100,      1000,      10000,
                                        100000, 1000000, 10000000, 100000000, 1000000000};

// spread64 divides by the fields' units and ranges as constants.
static_assert(kFieldUnit[0] == 12 && kFieldUnit[2] == 86400 && kFieldUnit[3] == 3600 &&
              kFieldUnit[4] == 60 && kFieldUnit[1] == 1 && kFieldUnit[5] == 1);
static_assert(kFieldRange[1] == 12 && kFieldRange[3] == 24 && kFieldRange[4] == 60 &&
              kFieldRange[5] == 60 && kFieldRange[0] == 0 && kFieldRange[2] == 0);

// Spreads a length (months, or nanoseconds) over the fields of kind into
// iv: KXSTD_OK or KXSTD_INTERVAL_OVERFLOW, iv untouched on an error (so
// that iv may be a result's own record). Fields below the kind's last are
// truncated toward zero. spread64 takes a length within 64 bits, and
// divides by constants only; a longer one goes to spread_wide.
int32_t spread_wide(i128 length, int32_t kind, int32_t leading_precision, IntervalStruct *iv);

int32_t spread64(int64_t length, int32_t kind, int32_t leading_precision, IntervalStruct *iv)
{
    if (length == INT64_MIN || leading_precision < 0 || leading_precision > 9)
        return spread_wide(length, kind, leading_precision, iv);
    bool negative = length < 0;
    uint64_t magnitude =
        negative ? 0 - static_cast<uint64_t>(length) : static_cast<uint64_t>(length);
    uint64_t w = magnitude;  // months, or seconds
    uint32_t fraction = 0;
    bool months = year_month_kind(kind);
    if (!months) {
        w = magnitude / kNanosPerSecond;
        fraction = static_cast<uint32_t>(magnitude % kNanosPerSecond);
    }
    int32_t first = kFirstField[kind];
    int32_t last = kLastField[kind];
    // the leading field keeps all its units, the others their units in
    // their range (kFieldUnit and kFieldRange as constants)
    uint64_t v[6] = {};
    if (months) {
        v[0] = w / 12;
        v[1] = first == 1 ? w : w % 12;
    } else {
        v[2] = w / 86400;
        v[3] = first == 3 ? w / 3600 : w / 3600 % 24;
        v[4] = first == 4 ? w / 60 : w / 60 % 60;
        v[5] = first == 5 ? w : w % 60;
    }
    if (v[first] >= kLeadingLimit[leading_precision])
        return KXSTD_INTERVAL_OVERFLOW;
    // from here on iv is written field by field (a record built aside and
    // copied whole would be read back before its stores land)
    memset(iv, 0, sizeof *iv);
    bool any = false;
    for (int32_t f = first; f <= last; ++f) {
        *field_word(iv, f) = static_cast<uint32_t>(v[f]);
        any = any || v[f] != 0;
    }
    iv->interval_type = kind;
    if (last == kSecondField) {
        iv->intval.day_second.fraction = fraction;
        any = any || fraction != 0;
    }
    // a length truncated to nothing is zero, and zero has no sign
    iv->interval_sign = negative && any ? 1 : 0;
    return KXSTD_OK;
}

int32_t spread(i128 length, int32_t kind, int32_t leading_precision, IntervalStruct *iv)
{
    if (length < INT64_MIN || length > INT64_MAX)
        return spread_wide(length, kind, leading_precision, iv);
    return spread64(static_cast<int64_t>(length), kind, leading_precision, iv);
}

__attribute__((noinline)) int32_t spread_wide(i128 length, int32_t kind,
                                              int32_t leading_precision, IntervalStruct *iv)
{
    bool negative = length < 0;
    i128 magnitude = negative ? -length : length;
    i128 whole = magnitude;  // months, or seconds
    uint32_t fraction = 0;
    if (!year_month_kind(kind)) {
        whole = magnitude / kNanosPerSecond;
        fraction = static_cast<uint32_t>(magnitude % kNanosPerSecond);
    }
    int32_t first = kFirstField[kind];
    int32_t last = kLastField[kind];
    i128 leading = whole / kFieldUnit[first];
    if (leading >= power_of_ten(leading_precision))
        return KXSTD_INTERVAL_OVERFLOW;

    IntervalStruct out;
    memset(&out, 0, sizeof out);
    out.interval_type = kind;
    bool any = false;
    for (int32_t f = first; f <= last; ++f) {
        i128 v = whole / kFieldUnit[f];
        if (f != first)
            v %= kFieldRange[f];
        *field_word(&out, f) = static_cast<uint32_t>(v);
        any = any || v != 0;
    }
    if (last == kSecondField) {
        out.intval.day_second.fraction = fraction;
        any = any || fraction != 0;
    }
    // a length truncated to nothing is zero, and zero has no sign
    out.interval_sign = negative && any ? 1 : 0;
    *iv = out;
    return KXSTD_OK;
}

// ---- datetimes ----

constexpr bool is_datetime(int32_t type)
{
    return type == VALUE_DATE || type == VALUE_TIME || type == VALUE_TIMESTAMP;
}

// The value part of source over result (as the family's timestamp_add
// copies it): type, lengths, flags, precision and driver words. The fields
// that describe result's own storage stay its own.
void copy_value_part(Value *result, const Value *source)
{
    if (result == source)
        return;
    result->type = source->type;
    result->length = source->length;
    result->data_length = source->data_length;
    result->share_block = source->share_block;
    for (int i = 0; i < 4; i++) {
        result->attr[i] = source->attr[i];
        result->driver[i] = source->driver[i];
    }
    result->null_flag = source->null_flag;
}

// A datetime value's instant: a date at midnight, a time on day 0.
// KXSTD_INVALID_DATETIME when its fields are no real date or time.
int32_t instant_of_other_value(const Value *v, Instant *out);

[[gnu::always_inline]] inline int32_t instant_of_value(const Value *v, Instant *out)
{
    if (v->type == VALUE_TIMESTAMP) {
        // the common operand, read in line
        if (!valid(v->payload.timestamp))
            return KXSTD_INVALID_DATETIME;
        *out = instant_of(v->payload.timestamp);
        return KXSTD_OK;
    }
    return instant_of_other_value(v, out);
}

__attribute__((noinline)) int32_t instant_of_other_value(const Value *v, Instant *out)
{
    const ValuePayload &p = v->payload;
    switch (v->type) {
    case VALUE_DATE:
        if (!valid(p.date))
            return KXSTD_INVALID_DATETIME;
        *out = instant_of(p.date);
        return KXSTD_OK;
    case VALUE_TIME:
        if (!valid(p.time))
            return KXSTD_INVALID_DATETIME;
        *out = Instant{0, time_nanos(p.time.hour, p.time.minute, p.time.second, 0)};
        return KXSTD_OK;
    case VALUE_TIMESTAMP:
        if (!valid(p.timestamp))
            return KXSTD_INVALID_DATETIME;
        *out = instant_of(p.timestamp);
        return KXSTD_OK;
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

// A datetime value's fields as a timestamp's: a date at midnight, a time on
// 1970-01-01 (its instant's day 0). KXSTD_INVALID_DATETIME when they are no
// real date or time.
int32_t fields_of_value(const Value *v, TimestampStruct *out)
{
    const ValuePayload &p = v->payload;
    switch (v->type) {
    case VALUE_DATE:
        if (!valid(p.date))
            return KXSTD_INVALID_DATETIME;
        *out = TimestampStruct{p.date.year, p.date.month, p.date.day, 0, 0, 0, 0};
        return KXSTD_OK;
    case VALUE_TIME:
        if (!valid(p.time))
            return KXSTD_INVALID_DATETIME;
        *out = TimestampStruct{1970, 1, 1, p.time.hour, p.time.minute, p.time.second, 0};
        return KXSTD_OK;
    case VALUE_TIMESTAMP:
        if (!valid(p.timestamp))
            return KXSTD_INVALID_DATETIME;
        *out = p.timestamp;
        return KXSTD_OK;
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

// A real date shifted by months: the same day of the month, or the new
// month's last day when it is shorter. False outside the years 1..9999.
bool shift_months(TimestampStruct *t, int64_t months)
{
    // the months from year 0: a sum that passes 64 bits lies far beyond
    // the year 9999
    int64_t index;
    if (__builtin_add_overflow(int64_t{t->year} * 12 + (t->month - 1), months, &index))
        return false;
    int64_t year = floor_div(index, 12);
    if (year < kMinYear || year > kMaxYear)
        return false;
    int32_t month = static_cast<int32_t>(index - year * 12) + 1;
    int32_t last = days_in_month(year, month);
    t->year = static_cast<int16_t>(year);
    t->month = static_cast<uint16_t>(month);
    if (t->day > last)
        t->day = static_cast<uint16_t>(last);
    return true;
}

// A shift of under a month that keeps a real date (and its time of day)
// within its month: the time of day and the day field move and nothing
// else does, which is what the instant's arithmetic would give without a
// trip through the day count (a day at a time, an hour, a few seconds).
// False, with t untouched, for any other shift.
inline bool moves_within_month(TimestampStruct *t, int64_t seconds, int64_t nanoseconds)
{
    constexpr int64_t kMonthSeconds = 31 * kSecondsPerDay;
    if (seconds < -kMonthSeconds || seconds > kMonthSeconds || nanoseconds < -kMonthSeconds * kNanosPerSecond ||
        nanoseconds > kMonthSeconds * kNanosPerSecond)
        return false;
    if (nanoseconds == 0 && seconds % kSecondsPerDay == 0) {
        // whole days: the day field alone (a day at a time, the commonest)
        int64_t day = t->day + seconds / kSecondsPerDay;
        if (day < 1 || day > days_in_month(t->year, t->month))
            return false;
        t->day = static_cast<uint16_t>(day);
        return true;
    }
    // within +-63 days of nanoseconds: no product passes 64 bits
    int64_t total = time_nanos(t->hour, t->minute, t->second, t->fraction) + seconds * kNanosPerSecond +
                    nanoseconds;
    int64_t days = floor_div(total, kNanosPerDay);
    int64_t day = t->day + days;
    if (day < 1 || day > days_in_month(t->year, t->month))
        return false;
    int64_t rest = total - days * kNanosPerDay;  // 0 .. one day less 1 ns
    int64_t second_of_day = rest / kNanosPerSecond;
    t->day = static_cast<uint16_t>(day);
    t->hour = static_cast<uint16_t>(second_of_day / 3600);
    t->minute = static_cast<uint16_t>(second_of_day / 60 % 60);
    t->second = static_cast<uint16_t>(second_of_day % 60);
    t->fraction = static_cast<uint32_t>(rest % kNanosPerSecond);
    return true;
}

// ---- numbers ----

// A number as an exact ratio numerator / denominator, or as a long double
// when it has no exact form that fits.
struct Factor {
    bool exact;
    i128 numerator;
    i128 denominator;
    long double approximate;
};

bool is_number(int32_t type)
{
    return type == VALUE_INTEGER || type == VALUE_BIT || type == VALUE_BIGINT ||
           type == VALUE_DOUBLE || type == VALUE_NUMERIC;
}

int64_t bigint_value(const Value *v)
{
    uint64_t bits = (static_cast<uint64_t>(static_cast<uint32_t>(v->payload.bigint.high)) << 32) |
                    v->payload.bigint.low;
    return static_cast<int64_t>(bits);
}

Factor numeric_factor(const NumericStruct &n)
{
    unsigned __int128 magnitude = 0;
    for (int i = 15; i >= 0; --i)
        magnitude = (magnitude << 8) | n.val[i];
    bool negative = n.sign == 0;
    long double approximate = static_cast<long double>(magnitude);
    for (int s = n.scale; s > 0; --s)
        approximate /= 10;
    for (int s = n.scale; s < 0; ++s)
        approximate *= 10;
    if (negative)
        approximate = -approximate;
    Factor f = {false, 0, 1, approximate};
    constexpr unsigned __int128 kMaxExact = static_cast<unsigned __int128>(1) << 126;
    if (magnitude >= kMaxExact || n.scale > 37)
        return f;
    i128 numerator = static_cast<i128>(magnitude);
    i128 denominator = 1;
    for (int s = n.scale; s > 0; --s)
        denominator *= 10;
    for (int s = n.scale; s < 0; ++s)
        if (__builtin_mul_overflow(numerator, 10, &numerator))
            return f;
    f.exact = true;
    f.numerator = negative ? -numerator : numerator;
    f.denominator = denominator;
    return f;
}

Factor factor_of(const Value *v)
{
    switch (v->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return Factor{true, v->payload.integer, 1, static_cast<long double>(v->payload.integer)};
    case VALUE_BIGINT: {
        int64_t b = bigint_value(v);
        return Factor{true, b, 1, static_cast<long double>(b)};
    }
    case VALUE_NUMERIC:
        return numeric_factor(v->payload.numeric);
    default:
        return Factor{false, 0, 1, static_cast<long double>(v->payload.dbl)};
    }
}

bool factor_is_zero(const Factor &f)
{
    return f.exact ? f.numerator == 0 : f.approximate == 0;
}

// length times (or divided by) the factor, truncated toward zero. False
// when the result cannot be an interval's length at all.
bool scale_length(i128 length, const Factor &f, bool divide, i128 *out)
{
    // no interval is longer than 10^9 days, about 2^96 nanoseconds
    constexpr long double kLimit = 1e30L;
    if (f.exact) {
        i128 multiplier = divide ? f.denominator : f.numerator;
        i128 divisor = divide ? f.numerator : f.denominator;
        i128 product;
        if (!__builtin_mul_overflow(length, multiplier, &product)) {
            *out = product / divisor;
            return *out < static_cast<i128>(kLimit) && *out > -static_cast<i128>(kLimit);
        }
    }
    long double r = divide ? static_cast<long double>(length) / f.approximate
                           : static_cast<long double>(length) * f.approximate;
    if (!isfinite(r) || r >= kLimit || r <= -kLimit)
        return false;
    *out = static_cast<i128>(truncl(r));
    return true;
}

// ---- the operation's plan ----

enum Category { kOther, kDatetime, kYearMonth, kDayTime, kNumber, kUntypedNull };

Category category_of(const Value *v)
{
    if (v->type == VALUE_NULL)
        return kUntypedNull;
    if (is_datetime(v->type))
        return kDatetime;
    if (is_number(v->type))
        return kNumber;
    if (v->type == VALUE_INTERVAL_YM || v->type == VALUE_INTERVAL_DS) {
        int32_t kind = v->payload.interval.interval_type;
        if (!valid_kind(kind) || year_month_kind(kind) != (v->type == VALUE_INTERVAL_YM))
            return kOther;
        return year_month_kind(kind) ? kYearMonth : kDayTime;
    }
    return kOther;
}

bool is_interval(Category c)
{
    return c == kYearMonth || c == kDayTime;
}

bool is_comparison(int32_t op)
{
    return op >= KX_OP_LESS && op <= KX_OP_NOT_EQUAL;
}

enum Action { kShift, kDifference, kSum, kScale, kCompareIntervals, kCompareDatetimes };

// What an operation does and what its result is, worked out from the
// operands' types and kinds alone.
struct Plan {
    int32_t status;
    Action action;
    const Value *datetime;  // kShift: the datetime; kScale: the interval
    const Value *other;     // kShift: the interval; kScale: the number
    int32_t type;           // the result's value type
    int32_t kind;           // an interval result's kind
    intptr_t leading;       // an interval result's precisions
    intptr_t seconds;
};

intptr_t leading_precision_of(const Value *v)
{
    intptr_t p = v->attr[2];
    return p >= 1 && p <= 9 ? p : kDefaultLeadingPrecision;
}

intptr_t seconds_precision_of(const Value *v)
{
    intptr_t p = v->attr[3];
    return p >= 0 && p <= 9 ? p : kDefaultSecondsPrecision;
}

intptr_t larger(intptr_t a, intptr_t b)
{
    return a > b ? a : b;
}

// A datetime shifted by an interval: a date stays a date for a year-month
// interval or one of whole days (kind DAY), and becomes a timestamp
// otherwise; a time takes no year-month interval.
Plan shift_plan(const Value *datetime, const Value *interval, Category interval_category)
{
    Plan plan = {};
    plan.action = kShift;
    plan.datetime = datetime;
    plan.other = interval;
    plan.type = datetime->type;
    if (datetime->type == VALUE_TIME && interval_category == kYearMonth)
        plan.status = KXSTD_TYPE_MISMATCH;
    if (datetime->type == VALUE_DATE && interval_category == kDayTime &&
        interval->payload.interval.interval_type != KX_IS_DAY)
        plan.type = VALUE_TIMESTAMP;
    return plan;
}

Plan interval_plan(Action action, const Value *interval, const Value *other, int32_t kind,
                   intptr_t leading, intptr_t seconds)
{
    Plan plan = {};
    plan.action = action;
    plan.datetime = interval;
    plan.other = other;
    plan.kind = kind;
    plan.type = year_month_kind(kind) ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS;
    plan.leading = leading;
    plan.seconds = seconds;
    return plan;
}

Plan mismatch()
{
    Plan plan = {};
    plan.status = KXSTD_TYPE_MISMATCH;
    return plan;
}

Plan additive_plan(const Value *a, const Value *b, Category ca, Category cb, int32_t op)
{
    if (ca == kDatetime && is_interval(cb))
        return shift_plan(a, b, cb);
    if (is_interval(ca) && cb == kDatetime && op == KX_OP_ADD)
        return shift_plan(b, a, ca);
    if (ca == kDatetime && cb == kDatetime && op == KX_OP_SUBTRACT) {
        if (a->type != b->type)
            return mismatch();
        int32_t kind = a->type == VALUE_DATE   ? KX_IS_DAY
                       : a->type == VALUE_TIME ? KX_IS_HOUR_TO_SECOND
                                               : KX_IS_DAY_TO_SECOND;
        return interval_plan(kDifference, a, b, kind, kDifferencePrecision, kDifferencePrecision);
    }
    if (is_interval(ca) && ca == cb) {
        int32_t kind = covering_kind(a->payload.interval.interval_type,
                                     b->payload.interval.interval_type);
        return interval_plan(kSum, a, b, kind, larger(leading_precision_of(a), leading_precision_of(b)),
                             larger(seconds_precision_of(a), seconds_precision_of(b)));
    }
    return mismatch();
}

Plan plan_of(const Value *a, const Value *b, int32_t op)
{
    Category ca = category_of(a);
    Category cb = category_of(b);
    if (op == KX_OP_ADD || op == KX_OP_SUBTRACT)
        return additive_plan(a, b, ca, cb, op);
    if (op == KX_OP_MULTIPLY || op == KX_OP_DIVIDE) {
        const Value *interval = is_interval(ca) ? a : (op == KX_OP_MULTIPLY && is_interval(cb)) ? b : nullptr;
        const Value *number = interval == a ? b : a;
        if (interval == nullptr || category_of(number) != kNumber)
            return mismatch();
        int32_t kind = interval->payload.interval.interval_type;
        return interval_plan(kScale, interval, number, kind, leading_precision_of(interval),
                             seconds_precision_of(interval));
    }
    if (is_comparison(op)) {
        Plan plan = {};
        plan.type = VALUE_INTEGER;
        if (is_interval(ca) && ca == cb)
            plan.action = kCompareIntervals;
        else if (ca == kDatetime && cb == kDatetime &&
                 (a->type == b->type || (a->type != VALUE_TIME && b->type != VALUE_TIME)))
            plan.action = kCompareDatetimes;
        else
            plan.status = KXSTD_TYPE_MISMATCH;
        return plan;
    }
    return mismatch();
}

// A NULL operand of no type takes the other operand's type: the result is
// a NULL of the type that operand would give.
void set_untyped_null_result(const Value *a, const Value *b, Value *result, int32_t op)
{
    const Value *typed = a->type == VALUE_NULL ? b : a;
    if (is_comparison(op)) {
        result->type = VALUE_INTEGER;
    } else if (typed->type != VALUE_NULL && (is_datetime(typed->type) ||
                                             typed->type == VALUE_INTERVAL_YM ||
                                             typed->type == VALUE_INTERVAL_DS)) {
        result->type = typed->type;
        result->payload.interval.interval_type = typed->payload.interval.interval_type;
        result->attr[2] = typed->attr[2];
        result->attr[3] = typed->attr[3];
    } else {
        result->type = VALUE_NULL;
    }
    result->null_flag = -1;
}

// Reports status through the context; without one, the result is NULL.
void fail(EvalContext *context, Value *result, int32_t status)
{
    kx::std_raise(context, status);
    result->null_flag = -1;
}

// The result record of an interval plan, with length spread over its kind
// (a length that fits 64 bits through spread64).
template <typename Length>
int32_t store_interval(const Plan &plan, Length length, Value *result)
{
    int32_t status;
    if constexpr (sizeof(Length) == sizeof(int64_t))
        status = spread64(length, plan.kind, static_cast<int32_t>(plan.leading),
                          &result->payload.interval);
    else
        status = spread(length, plan.kind, static_cast<int32_t>(plan.leading),
                        &result->payload.interval);
    if (status != KXSTD_OK)
        return status;
    result->type = plan.type;
    result->null_flag = 0;
    result->attr[2] = plan.leading;
    result->attr[3] = plan.seconds;
    return KXSTD_OK;
}

// A date shifted by a day-time interval with a time part: the date as its
// midnight, a timestamp. Out of line, with the copy it makes.
__attribute__((noinline)) int32_t shift_date_as_timestamp(const Value *date, Value *result,
                                                          int64_t months, int64_t seconds,
                                                          int64_t nanoseconds)
{
    Value source = *date;
    DateStruct d = source.payload.date;
    source.type = VALUE_TIMESTAMP;
    source.payload.timestamp = TimestampStruct{d.year, d.month, d.day, 0, 0, 0, 0};
    return kxstd_timestamp_add(result, &source, months, seconds, nanoseconds);
}

int32_t run_shift(const Plan &plan, int32_t op, Value *result)
{
    i128 length = 0;
    length_of(&plan.other->payload.interval, &length);
    if (op == KX_OP_SUBTRACT)
        length = -length;
    int64_t months = 0, seconds = 0, nanoseconds = 0;
    if (plan.other->type == VALUE_INTERVAL_YM) {
        months = static_cast<int64_t>(length);
    } else if (length >= INT64_MIN && length <= INT64_MAX) {
        // a 64-bit division where the length allows it
        seconds = static_cast<int64_t>(length) / kNanosPerSecond;
        nanoseconds = static_cast<int64_t>(length) % kNanosPerSecond;
    } else {
        seconds = static_cast<int64_t>(length / kNanosPerSecond);
        nanoseconds = static_cast<int64_t>(length % kNanosPerSecond);
    }
    if (plan.type == VALUE_TIMESTAMP && plan.datetime->type == VALUE_DATE)
        return shift_date_as_timestamp(plan.datetime, result, months, seconds, nanoseconds);
    return kxstd_timestamp_add(result, plan.datetime, months, seconds, nanoseconds);
}

int32_t run_difference(const Plan &plan, Value *result)
{
    Instant a, b;
    int32_t status = instant_of_value(plan.datetime, &a);
    if (status == KXSTD_OK)
        status = instant_of_value(plan.other, &b);
    if (status != KXSTD_OK)
        return status;
    int64_t days = a.days - b.days;
    if (days > -100000 && days < 100000)   // within 273 years: 64 bits
        return store_interval(plan, days * kNanosPerDay + (a.nanos - b.nanos), result);
    return store_interval(plan, total_nanos(a) - total_nanos(b), result);
}

int32_t run_sum(const Plan &plan, int32_t op, Value *result)
{
    i128 a = 0, b = 0;
    length_of(&plan.datetime->payload.interval, &a);
    length_of(&plan.other->payload.interval, &b);
    return store_interval(plan, op == KX_OP_ADD ? a + b : a - b, result);
}

int32_t run_scale(const Plan &plan, int32_t op, Value *result)
{
    i128 length = 0;
    length_of(&plan.datetime->payload.interval, &length);
    Factor f = factor_of(plan.other);
    bool divide = op == KX_OP_DIVIDE;
    if (divide && factor_is_zero(f))
        return KXSTD_DIVISION_BY_ZERO;
    i128 scaled = 0;
    if (!scale_length(length, f, divide, &scaled))
        return KXSTD_INTERVAL_OVERFLOW;
    return store_interval(plan, scaled, result);
}

bool truth_of(int32_t order, int32_t op)
{
    switch (op) {
    case KX_OP_LESS: return order < 0;
    case KX_OP_GREATER: return order > 0;
    case KX_OP_GREATER_EQUAL: return order >= 0;
    case KX_OP_LESS_EQUAL: return order <= 0;
    case KX_OP_EQUAL: return order == 0;
    default: return order != 0;
    }
}

int32_t run_compare(const Plan &plan, const Value *a, const Value *b, int32_t op, Value *result)
{
    int32_t order = 0;
    if (plan.action == kCompareIntervals) {
        int32_t status = kxstd_interval_compare(&a->payload.interval, &b->payload.interval, &order);
        if (status != KXSTD_OK)
            return status;
    } else {
        Instant x, y;
        int32_t status = instant_of_value(a, &x);
        if (status == KXSTD_OK)
            status = instant_of_value(b, &y);
        if (status != KXSTD_OK)
            return status;
        i128 d = total_nanos(x) - total_nanos(y);
        order = d < 0 ? -1 : d > 0 ? 1 : 0;
    }
    set_trivalue_in_value(result, truth_of(order, op) ? 1 : 0);
    return KXSTD_OK;
}

// ---- timestamp_diff ----

enum DiffUnit { kFrac, kSecond, kMinute, kHour, kDay, kWeek, kMonth, kQuarter, kYear, kNoUnit };

static_assert(kNoUnit == kTsiUnitCount);

// Nanoseconds in one unit up to a week.
constexpr int64_t kUnitNanos[] = {1,
                                  kNanosPerSecond,
                                  60 * kNanosPerSecond,
                                  3600 * kNanosPerSecond,
                                  kNanosPerDay,
                                  7 * kNanosPerDay};

// nanoseconds / kUnitNanos[u], truncated toward zero, for the units up to
// a week.
constexpr int64_t whole_units_of(int64_t nanoseconds, DiffUnit u)
{
    switch (u) {
    case kFrac: return nanoseconds;
    case kSecond: return nanoseconds / kUnitNanos[kSecond];
    case kMinute: return nanoseconds / kUnitNanos[kMinute];
    case kHour: return nanoseconds / kUnitNanos[kHour];
    case kDay: return nanoseconds / kUnitNanos[kDay];
    default: return nanoseconds / kUnitNanos[kWeek];
    }
}

// The unit a keyword names (any letter case), kNoUnit for none.
DiffUnit diff_unit_of(const char *name)
{
    return static_cast<DiffUnit>(tsi_unit_of(name));
}

// The instant of a datetime operand of timestamp_diff: a time on today (or
// on the current date when today is null).
inline int32_t diff_instant(const Value *v, const DateStruct *today, Instant *out)
{
    if (v != nullptr && v->type == VALUE_TIMESTAMP && v->null_flag == 0)
        return instant_of_value(v, out);   // the common operand
    if (v == nullptr || v->null_flag != 0 || !is_datetime(v->type))
        return KXSTD_TYPE_MISMATCH;
    int32_t status = instant_of_value(v, out);
    if (status != KXSTD_OK || v->type != VALUE_TIME)
        return status;
    DateStruct date;
    if (today != nullptr)
        date = *today;
    else if (kxstd_current_date(&date) != KXSTD_OK)
        return KXSTD_DATETIME_OVERFLOW;
    if (!valid(date))
        return KXSTD_INVALID_DATETIME;
    out->days = instant_of(date).days;
    return KXSTD_OK;
}

// Whole months from a to b, truncated toward zero: the difference of the
// months, less one when the later one's day and time of day have not
// reached the earlier one's (MySQL's rule).
int64_t whole_months(const Instant &a, const Instant &b)
{
    Civil ca = civil_from_days(a.days);
    Civil cb = civil_from_days(b.days);
    int64_t months = (cb.year * 12 + cb.month) - (ca.year * 12 + ca.month);
    bool b_before_in_month = cb.day < ca.day || (cb.day == ca.day && b.nanos < a.nanos);
    bool b_after_in_month = cb.day > ca.day || (cb.day == ca.day && b.nanos > a.nanos);
    if (months > 0 && b_before_in_month)
        --months;
    else if (months < 0 && b_after_in_month)
        ++months;
    return months;
}

// The months move the date by its fields; the seconds and nanoseconds,
// when there are any, move the instant, and the fields are read back.
// Inlined into kxstd_timestamp_add, whose hot path it is.
[[gnu::always_inline]] inline int32_t shift_in_place(TimestampStruct *t, int32_t type, int64_t months,
                                                     int64_t seconds, int64_t nanoseconds)
{
    if (months != 0 && !shift_months(t, months))
        return KXSTD_DATETIME_OVERFLOW;
    if (seconds == 0 && nanoseconds == 0)
        return KXSTD_OK;
    if (type != VALUE_TIME && moves_within_month(t, seconds, nanoseconds))
        return KXSTD_OK;  // the fields moved within the month
    Instant start = instant_of(*t);   // a time's is on day 0
    Instant end = shifted(start, seconds, nanoseconds);
    if (type == VALUE_TIME)
        end.days = 0;
    else if (!day_in_range(end.days))
        return KXSTD_DATETIME_OVERFLOW;
    *t = timestamp_of(end);
    return KXSTD_OK;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_timestamp_add(Value *result, const Value *source, int64_t months,
                                   int64_t seconds, int64_t nanoseconds)
{
    if (result == nullptr || source == nullptr || !is_datetime(source->type))
        return KXSTD_TYPE_MISMATCH;
    if (source->null_flag != 0) {
        copy_value_part(result, source);
        result->null_flag = -1;
        return KXSTD_OK;
    }
    const int32_t type = source->type;
    if (type == VALUE_TIME && months != 0)
        return KXSTD_TYPE_MISMATCH;
    TimestampStruct t;
    int32_t status = fields_of_value(source, &t);
    if (status == KXSTD_OK)
        status = shift_in_place(&t, type, months, seconds, nanoseconds);
    if (status != KXSTD_OK)
        return status;

    copy_value_part(result, source);
    result->null_flag = 0;
    if (type == VALUE_DATE)
        result->payload.date = DateStruct{t.year, t.month, t.day};
    else if (type == VALUE_TIME)
        result->payload.time = TimeStruct{t.hour, t.minute, t.second};
    else
        result->payload.timestamp = t;
    return KXSTD_OK;
}

KX_API int32_t kxstd_interval_length(const IntervalStruct *interval, int64_t *units,
                                     int32_t *nanoseconds)
{
    i128 length = 0;
    if (interval == nullptr || !length_of(interval, &length))
        return KXSTD_TYPE_MISMATCH;
    bool months = year_month_kind(interval->interval_type);
    if (units != nullptr)
        *units = static_cast<int64_t>(months ? length : length / kNanosPerSecond);
    if (nanoseconds != nullptr)
        *nanoseconds = static_cast<int32_t>(months ? 0 : length % kNanosPerSecond);
    return KXSTD_OK;
}

KX_API int32_t kxstd_normalise_interval(int64_t units, int32_t nanoseconds,
                                        int32_t leading_precision, Value *result)
{
    if (result == nullptr || leading_precision < 1 || leading_precision > 9)
        return KXSTD_INVALID_ARGUMENT;
    int32_t kind = result->payload.interval.interval_type;
    if (!valid_kind(kind))
        return KXSTD_TYPE_MISMATCH;
    bool months = year_month_kind(kind);
    if (months && nanoseconds != 0)
        return KXSTD_INVALID_ARGUMENT;
    i128 length = months ? static_cast<i128>(units)
                         : static_cast<i128>(units) * kNanosPerSecond + nanoseconds;
    IntervalStruct iv;
    int32_t status = spread(length, kind, leading_precision, &iv);
    if (status != KXSTD_OK)
        return status;
    result->type = months ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS;
    result->null_flag = 0;
    result->payload.interval = iv;
    return KXSTD_OK;
}

KX_API int32_t kxstd_interval_compare(const IntervalStruct *a, const IntervalStruct *b,
                                      int32_t *order)
{
    i128 x = 0, y = 0;
    if (a == nullptr || b == nullptr || !length_of(a, &x) || !length_of(b, &y) ||
        year_month_kind(a->interval_type) != year_month_kind(b->interval_type))
        return KXSTD_TYPE_MISMATCH;
    if (order != nullptr)
        *order = x < y ? -1 : x > y ? 1 : 0;
    return KXSTD_OK;
}

KX_API void kxstd_interval_operation(Value *a, Value *b, Value *result, EvalContext *context,
                                     int32_t op)
{
    if (result == nullptr)
        return;
    if (a == nullptr || b == nullptr) {
        fail(context, result, KXSTD_TYPE_MISMATCH);
        return;
    }
    if (a->type == VALUE_NULL || b->type == VALUE_NULL) {
        set_untyped_null_result(a, b, result, op);
        return;
    }
    Plan plan = plan_of(a, b, op);
    if (plan.status != KXSTD_OK) {
        fail(context, result, plan.status);
        return;
    }
    if (a->null_flag != 0 || b->null_flag != 0) {
        result->type = plan.type;
        if (plan.type == VALUE_INTERVAL_YM || plan.type == VALUE_INTERVAL_DS) {
            result->payload.interval.interval_type = plan.kind;
            result->payload.interval.interval_sign = 0;
            result->attr[2] = plan.leading;
            result->attr[3] = plan.seconds;
        }
        result->null_flag = -1;
        return;
    }
    int32_t status = KXSTD_OK;
    switch (plan.action) {
    case kShift:
        status = run_shift(plan, op, result);
        break;
    case kDifference:
        status = run_difference(plan, result);
        break;
    case kSum:
        status = run_sum(plan, op, result);
        break;
    case kScale:
        status = run_scale(plan, op, result);
        break;
    case kCompareIntervals:
    case kCompareDatetimes:
        status = run_compare(plan, a, b, op, result);
        break;
    }
    if (status != KXSTD_OK)
        fail(context, result, status);
}

KX_API int32_t kxstd_timestamp_diff(const char *unit, const Value *from, const Value *to,
                                    const DateStruct *today, int64_t *out)
{
    return kx::stdiv::timestamp_diff_in(diff_unit_of(unit), from, to, today, out);
}

}  // extern "C"

int32_t kx::stdiv::shift_fields(TimestampStruct *t, int32_t type, int64_t months, int64_t seconds,
                                int64_t nanoseconds)
{
    return shift_in_place(t, type, months, seconds, nanoseconds);
}

int32_t kx::stdiv::timestamp_diff_in(int32_t unit, const Value *from, const Value *to,
                                     const DateStruct *today, int64_t *out)
{
    if (unit < 0 || unit >= kNoUnit)
        return KXSTD_INVALID_ARGUMENT;
    DiffUnit u = static_cast<DiffUnit>(unit);
    Instant a, b;
    int32_t status = diff_instant(from, today, &a);
    if (status == KXSTD_OK)
        status = diff_instant(to, today, &b);
    if (status != KXSTD_OK)
        return status;
    int64_t n = 0;
    if (u == kMonth || u == kQuarter || u == kYear) {
        int64_t months = whole_months(a, b);
        n = u == kMonth ? months : u == kQuarter ? months / 3 : months / 12;
    } else {
        int64_t days = b.days - a.days;
        i128 difference;
        if (days > -100000 && days < 100000) {
            // within 273 years: 64 bits, divided by a constant
            n = whole_units_of(days * kNanosPerDay + (b.nanos - a.nanos), u);
        } else if (difference = total_nanos(b) - total_nanos(a);
                   difference >= INT64_MIN && difference <= INT64_MAX) {
            n = whole_units_of(static_cast<int64_t>(difference), u);
        } else {
            difference /= kUnitNanos[u];
            if (difference > INT64_MAX || difference < INT64_MIN)
                return KXSTD_NUMERIC_OUT_OF_RANGE;
            n = static_cast<int64_t>(difference);
        }
    }
    if (out != nullptr)
        *out = n;
    return KXSTD_OK;
}
