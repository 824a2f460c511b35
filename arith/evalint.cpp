/*
 * evalint - interval and datetime arithmetic.
 *
 * Exports get_base_value, normalise_interval, interval_operation,
 * timestamp_add, timestamp_add_noconvert, date_add, time_add,
 * interval_compare and compare_interval.
 *
 * An interval (IntervalStruct, ODBC's SQL_INTERVAL_STRUCT) is worked on as
 * one signed 32-bit "base value": months for the year-month kinds (YEAR,
 * MONTH, YEAR TO MONTH), seconds plus a separate fraction in billionths for
 * the day-second kinds.  get_base_value reduces a record to that number and
 * normalise_interval spreads a number back over the fields of a kind; the
 * leading field is never reduced by a modulus.  Overflow of the base value
 * or of the 16-bit datetime fields wraps silently; the arithmetic goes
 * through unsigned 32-bit operations so that the wrap is well defined.
 *
 * Datetimes are shifted field by field with carries, through the automatic
 * calendar of jdn_l for the date part.  Several rules are kept exactly as
 * the library has always had them: the fraction carries into the seconds by
 * 999999 (not 10^9), a month sum of 24 gives month 0 of the year after next,
 * the day is never clamped to the length of its month, time_add does not
 * wrap at 24 hours, and a number combined with any interval gives a
 * day-second interval.
 *
 * Every routine that takes a result Value accepts the source (or an
 * operand) itself as the result: all inputs are read before it is written.
 */
#include "arith/calendar_internal.h"
#include "kxsupp/arith.h"
#include "kxsupp/parse.h"
#include "kxsupp/values.h"

namespace {

using kx::wrap_add;
using kx::wrap_sub;
using kx::wrap_mul;
using kx::wrap_neg;

inline int32_t abs32(int32_t a)
{
    return a < 0 ? wrap_neg(a) : a;
}

inline bool is_year_month_kind(int32_t kind)
{
    return kind == KX_IS_YEAR || kind == KX_IS_MONTH || kind == KX_IS_YEAR_TO_MONTH;
}

inline bool is_datetime(int32_t type)
{
    return type == VALUE_DATE || type == VALUE_TIME || type == VALUE_TIMESTAMP;
}

// Seconds in one unit of the leading (and only) field of a simple kind,
// months for YEAR and MONTH; 0 for every compound kind.
int32_t number_unit(int32_t kind)
{
    switch (kind) {
    case KX_IS_YEAR: return 12;
    case KX_IS_MONTH: return 1;
    case KX_IS_SECOND: return 1;
    case KX_IS_DAY: return 86400;
    case KX_IS_HOUR: return 3600;
    case KX_IS_MINUTE: return 60;
    default: return 0;
    }
}

// The seven fields of a datetime while it is being shifted.
struct Fields {
    int32_t year, month, day, hour, minute, second;
    uint32_t fraction;
};

// A date gives its date and a zero time, a time its time and a zero date,
// a timestamp all seven fields; anything else all zeros.
Fields fields_of(const Value *source)
{
    Fields f = {};
    const ValuePayload &p = source->payload;
    switch (source->type) {
    case VALUE_DATE:
        f.year = p.date.year;
        f.month = p.date.month;
        f.day = p.date.day;
        break;
    case VALUE_TIME:
        f.hour = p.time.hour;
        f.minute = p.time.minute;
        f.second = p.time.second;
        break;
    case VALUE_TIMESTAMP:
        f.year = p.timestamp.year;
        f.month = p.timestamp.month;
        f.day = p.timestamp.day;
        f.hour = p.timestamp.hour;
        f.minute = p.timestamp.minute;
        f.second = p.timestamp.second;
        f.fraction = p.timestamp.fraction;
        break;
    default:
        break;
    }
    return f;
}

// One sexagesimal step of timestamp_add: *field becomes t reduced into
// 0..59 and the carry into the next field is returned.
int32_t carry_sixty(int32_t t, int32_t *field)
{
    if (t > 59) {
        *field = abs32(t % 60);
        return t / 60;
    }
    if (t < 0) {
        int32_t r = abs32(t % 60);
        if (r == 0) {
            *field = 0;
            return t / 60;
        }
        *field = 60 - r;
        return t / 60 - 1;
    }
    *field = t;
    return 0;
}

// Moves the date by days (through the automatic calendar) and then by
// months, leaving the day as it is; only for a year above 0.
void shift_date(Fields *f, int32_t days, int32_t months)
{
    int32_t jdn = wrap_add(ymd_to_jdnl(f->year, f->month, f->day, -1), days);
    jdnl_to_ymd(jdn, &f->year, &f->month, &f->day, -1);
    int32_t sum = wrap_add(f->month, months);
    if (static_cast<uint32_t>(sum) > 12) {
        f->year = wrap_add(f->year, sum / 12);
        f->month = abs32(sum % 12);
    } else {
        f->month = sum;
    }
}

// The shift shared by timestamp_add and timestamp_add_noconvert.
Fields shift_datetime(const Value *source, int32_t months, int32_t seconds,
                      int32_t fraction)
{
    Fields f = fields_of(source);

    uint32_t frac = f.fraction + static_cast<uint32_t>(fraction);
    int32_t carry = 0;
    if (frac > 999999) {
        carry = static_cast<int32_t>(frac / 999999);
        frac %= 999999;
    }
    f.fraction = frac;

    carry = carry_sixty(wrap_add(wrap_add(f.second, seconds), carry), &f.second);
    carry = carry_sixty(wrap_add(f.minute, carry), &f.minute);

    int32_t h = wrap_add(f.hour, carry);
    int32_t days;
    if (h > 23) {
        days = h / 24;
        f.hour = abs32(h % 24);
    } else if (h < 0) {
        int32_t r = abs32(h % 24);
        if (r == 0) {
            f.hour = 0;
            days = wrap_sub(h, 1) / 24;
        } else {
            f.hour = 24 - r;
            days = wrap_sub(h, 1) / 24 - 1;
        }
    } else {
        f.hour = h;
        days = 0;
    }

    if (f.year > 0)
        shift_date(&f, days, months);
    return f;
}

void store_date(Value *result, const Fields &f)
{
    result->payload.date.year = static_cast<int16_t>(f.year);
    result->payload.date.month = static_cast<uint16_t>(f.month);
    result->payload.date.day = static_cast<uint16_t>(f.day);
}

void store_time(Value *result, const Fields &f)
{
    result->payload.time.hour = static_cast<uint16_t>(f.hour);
    result->payload.time.minute = static_cast<uint16_t>(f.minute);
    result->payload.time.second = static_cast<uint16_t>(f.second);
}

void store_timestamp(Value *result, const Fields &f)
{
    TimestampStruct &ts = result->payload.timestamp;
    ts.year = static_cast<int16_t>(f.year);
    ts.month = static_cast<uint16_t>(f.month);
    ts.day = static_cast<uint16_t>(f.day);
    ts.hour = static_cast<uint16_t>(f.hour);
    ts.minute = static_cast<uint16_t>(f.minute);
    ts.second = static_cast<uint16_t>(f.second);
    ts.fraction = f.fraction;
}

// Makes result a copy of the value part of source: type, lengths, flags,
// precision words, driver words and payload.  The fields that describe the
// result record's own storage (kind, memory handle, holders, long buffer,
// inline text) stay the result's, so the copy can be released as usual.
void copy_value_part(Value *result, const Value *source, bool with_payload)
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
    if (with_payload)
        result->payload = source->payload;
}

inline intptr_t larger(intptr_t a, intptr_t b)
{
    return a > b ? a : b;
}

}  // namespace

extern "C" {

KX_API int32_t get_base_value(const IntervalStruct *interval,
                              int32_t *fraction_out)
{
    if (interval == nullptr) {
        if (fraction_out)
            *fraction_out = 0;
        return 0;
    }
    const YearMonthStruct &ym = interval->intval.year_month;
    const DaySecondStruct &ds = interval->intval.day_second;
    int32_t day = static_cast<int32_t>(ds.day);
    int32_t hour = static_cast<int32_t>(ds.hour);
    int32_t minute = static_cast<int32_t>(ds.minute);
    int32_t second = static_cast<int32_t>(ds.second);
    int32_t base = 0;
    int32_t fraction = 0;

    switch (interval->interval_type) {
    case KX_IS_YEAR:
        base = wrap_mul(static_cast<int32_t>(ym.year), 12);
        break;
    case KX_IS_MONTH:
        base = static_cast<int32_t>(ym.month);
        break;
    case KX_IS_YEAR_TO_MONTH:
        base = wrap_add(wrap_mul(static_cast<int32_t>(ym.year), 12),
                        static_cast<int32_t>(ym.month));
        break;
    case KX_IS_DAY:
        base = wrap_mul(day, 86400);
        break;
    case KX_IS_HOUR:
        base = wrap_mul(hour, 3600);
        break;
    case KX_IS_MINUTE:
        base = wrap_mul(minute, 60);
        break;
    case KX_IS_SECOND:
        base = second;
        fraction = static_cast<int32_t>(ds.fraction);
        break;
    case KX_IS_DAY_TO_HOUR:
        base = wrap_add(wrap_mul(day, 86400), wrap_mul(hour, 3600));
        break;
    case KX_IS_DAY_TO_MINUTE:
        base = wrap_add(wrap_add(wrap_mul(day, 86400), wrap_mul(hour, 3600)),
                        wrap_mul(minute, 60));
        break;
    case KX_IS_DAY_TO_SECOND:
        base = wrap_add(wrap_add(wrap_add(wrap_mul(day, 86400), wrap_mul(hour, 3600)),
                                 wrap_mul(minute, 60)),
                        second);
        fraction = static_cast<int32_t>(ds.fraction);
        break;
    case KX_IS_HOUR_TO_MINUTE:
        base = wrap_add(wrap_mul(hour, 3600), wrap_mul(minute, 60));
        break;
    case KX_IS_HOUR_TO_SECOND:
        base = wrap_add(wrap_add(wrap_mul(hour, 3600), wrap_mul(minute, 60)), second);
        fraction = static_cast<int32_t>(ds.fraction);
        break;
    case KX_IS_MINUTE_TO_SECOND:
        base = wrap_add(wrap_mul(minute, 60), second);
        fraction = static_cast<int32_t>(ds.fraction);
        break;
    default:
        break;
    }

    if (interval->interval_sign == 1) {
        base = wrap_neg(base);
        fraction = wrap_neg(fraction);
    }
    if (fraction_out)
        *fraction_out = fraction;
    return base;
}

KX_API void normalise_interval(int32_t base, int32_t fraction, Value *result)
{
    if (result == nullptr)
        return;
    IntervalStruct &iv = result->payload.interval;
    int32_t b = base;
    int32_t f = fraction;

    if (b < 0) {
        b = wrap_neg(b);
        iv.interval_sign = 1;
    }
    while (f < 0) {
        b = wrap_sub(b, 1);
        f += 1000000000;
    }
    while (f > 999999999) {
        b = wrap_add(b, 1);
        f -= 1000000000;
    }

    YearMonthStruct &ym = iv.intval.year_month;
    DaySecondStruct &ds = iv.intval.day_second;
    auto u = [](int32_t v) { return static_cast<uint32_t>(v); };
    switch (iv.interval_type) {
    case KX_IS_YEAR:
        ym.year = u(b / 12);
        break;
    case KX_IS_MONTH:
        ym.month = u(b);
        break;
    case KX_IS_YEAR_TO_MONTH:
        ym.year = u(b / 12);
        ym.month = u(b % 12);
        break;
    case KX_IS_DAY:
        ds.day = u(b / 86400);
        break;
    case KX_IS_HOUR:
        ds.hour = u(b / 3600);
        break;
    case KX_IS_MINUTE:
        ds.minute = u(b / 60);
        break;
    case KX_IS_SECOND:
        ds.second = u(b);
        ds.fraction = u(f);
        break;
    case KX_IS_DAY_TO_HOUR:
        ds.day = u(b / 86400);
        ds.hour = u(b % 86400 / 3600);
        break;
    case KX_IS_DAY_TO_MINUTE:
        ds.day = u(b / 86400);
        ds.hour = u(b % 86400 / 3600);
        ds.minute = u(b % 86400 % 3600 / 60);
        break;
    case KX_IS_DAY_TO_SECOND:
        ds.day = u(b / 86400);
        ds.hour = u(b % 86400 / 3600);
        ds.minute = u(b % 86400 % 3600 / 60);
        ds.second = u(b % 86400 % 3600 % 60);
        ds.fraction = u(f);
        break;
    case KX_IS_HOUR_TO_MINUTE:
        ds.hour = u(b / 3600);
        ds.minute = u(b % 3600 / 60);
        break;
    case KX_IS_HOUR_TO_SECOND:
        ds.hour = u(b / 3600);
        ds.minute = u(b % 3600 / 60);
        ds.second = u(b % 3600 % 60);
        ds.fraction = u(f);
        break;
    case KX_IS_MINUTE_TO_SECOND:
        ds.minute = u(b / 60);
        ds.second = u(b % 60);
        ds.fraction = u(f);
        break;
    default:
        break;
    }
}

KX_API int32_t interval_operation(Value *a, Value *b, Value *result,
                                  intptr_t unused, int32_t op)
{
    (void)unused;
    if (a == nullptr || b == nullptr || result == nullptr)
        return 0;
    if (a->null_flag != 0 || b->null_flag != 0) {
        result->null_flag = -1;
        return 0;
    }
    if (op != 1 && op != 2)
        return 0;
    const bool add = op == 1;

    if (is_datetime(a->type)) {
        int32_t months = 0, seconds = 0, fraction = 0;
        if (b->type == VALUE_INTERVAL_YM)
            months = get_base_value(&b->payload.interval, nullptr);
        else
            seconds = get_base_value(&b->payload.interval, &fraction);
        if (add)
            timestamp_add(result, a, months, seconds, fraction);
        else
            timestamp_add(result, a, wrap_neg(months), wrap_neg(seconds),
                          wrap_neg(fraction));
        return 0;
    }

    if (a->type == VALUE_INTERVAL_DS || a->type == VALUE_INTERVAL_YM) {
        const bool day_second = a->type == VALUE_INTERVAL_DS;
        int32_t kind = promote_type(a->payload.interval.interval_type,
                                    b->payload.interval.interval_type);
        int32_t fa = 0, fb = 0;
        int32_t ba = get_base_value(&a->payload.interval, &fa);
        int32_t bb = get_base_value(&b->payload.interval, &fb);
        int32_t base = add ? wrap_add(ba, bb) : wrap_sub(ba, bb);
        int32_t fraction = 0;
        if (day_second)
            fraction = add ? wrap_add(fa, fb) : wrap_sub(fa, fb);
        intptr_t leading = larger(a->attr[2], b->attr[2]);
        intptr_t seconds_precision = larger(a->attr[3], b->attr[3]);

        result->type = day_second ? VALUE_INTERVAL_DS : VALUE_INTERVAL_YM;
        result->payload.interval.interval_type = kind;
        normalise_interval(base, fraction, result);
        result->attr[2] = leading;
        if (day_second)
            result->attr[3] = seconds_precision;
        return 0;
    }

    // A number and an interval: always a day-second result, in b's kind.
    int32_t kind = b->payload.interval.interval_type;
    int32_t n = get_int_from_value(a);
    int32_t scaled = wrap_mul(n, number_unit(kind));
    int32_t fraction = 0;
    int32_t bb = get_base_value(&b->payload.interval, &fraction);
    int32_t base = add ? wrap_add(scaled, bb) : wrap_sub(bb, scaled);
    intptr_t leading = b->attr[2];
    intptr_t seconds_precision = b->attr[3];

    result->type = VALUE_INTERVAL_DS;
    result->payload.interval.interval_type = kind;
    normalise_interval(base, fraction, result);
    result->attr[2] = leading;
    result->attr[3] = seconds_precision;
    return 0;
}

KX_API int32_t timestamp_add(Value *result, const Value *source,
                             int32_t months, int32_t seconds,
                             int32_t fraction)
{
    if (result == nullptr || source == nullptr)
        return 0;
    int32_t type = source->type;
    if (!is_datetime(type))
        return 0;
    Fields f = shift_datetime(source, months, seconds, fraction);
    copy_value_part(result, source, true);
    if (type == VALUE_DATE)
        store_date(result, f);
    else if (type == VALUE_TIME)
        store_time(result, f);
    else
        store_timestamp(result, f);
    return 0;
}

KX_API int32_t timestamp_add_noconvert(Value *result, const Value *source,
                                       int32_t months, int32_t seconds,
                                       int32_t fraction)
{
    if (result == nullptr || source == nullptr)
        return 0;
    Fields f = shift_datetime(source, months, seconds, fraction);
    copy_value_part(result, source, is_datetime(source->type));
    result->type = VALUE_TIMESTAMP;
    store_timestamp(result, f);
    return 0;
}

KX_API int32_t date_add(Value *result, const Value *source, int32_t months,
                        int32_t days)
{
    if (result == nullptr || source == nullptr)
        return 0;
    Fields f = {};
    const bool source_is_time = source->type == VALUE_TIME;
    if (source->type == VALUE_DATE || source->type == VALUE_TIMESTAMP) {
        Fields all = fields_of(source);
        f.year = all.year;
        f.month = all.month;
        f.day = all.day;
    }
    if (f.year > 0)
        shift_date(&f, days, months);

    if (result->type == VALUE_DATE) {
        store_date(result, f);
    } else if (!source_is_time) {
        store_timestamp(result, f);  // f holds a zero time
    } else {
        result->payload.timestamp.year = 0;
        result->payload.timestamp.month = 0;
        result->payload.timestamp.day = 0;
    }
    return 0;
}

KX_API void time_add(Value *result, const Value *source, int32_t seconds,
                     int32_t fraction)
{
    if (result == nullptr || source == nullptr)
        return;
    int32_t hour = 0, minute = 0, second = 0;
    if (source->type == VALUE_TIME || source->type == VALUE_TIMESTAMP) {
        Fields all = fields_of(source);
        hour = all.hour;
        minute = all.minute;
        second = all.second;
    }

    int32_t t = wrap_add(second, seconds);
    if (static_cast<uint32_t>(fraction) > 999999)
        t = wrap_add(t, fraction / 999999);

    // Carries of time_add: a negative multiple of 60 leaves 60 in the field.
    auto carry = [](int32_t v, int32_t *field) -> int32_t {
        if (v >= 60) {
            *field = abs32(v % 60);
            return v / 60;
        }
        if (v < 0) {
            *field = 60 - abs32(v % 60);
            return v / 60 - 1;
        }
        *field = v;
        return 0;
    };
    int32_t c = carry(t, &second);
    c = carry(wrap_add(minute, c), &minute);
    hour = wrap_add(hour, c);

    if (result->type == VALUE_TIME) {
        result->payload.time.hour = static_cast<uint16_t>(hour);
        result->payload.time.minute = static_cast<uint16_t>(minute);
        result->payload.time.second = static_cast<uint16_t>(second);
    } else {
        result->payload.timestamp.hour = static_cast<uint16_t>(hour);
        result->payload.timestamp.minute = static_cast<uint16_t>(minute);
        result->payload.timestamp.second = static_cast<uint16_t>(second);
        result->payload.timestamp.fraction = 0;
    }
}

KX_API int32_t interval_compare(const IntervalStruct *a,
                                const IntervalStruct *b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    int32_t fa = 0, fb = 0;
    int32_t ba = get_base_value(a, &fa);
    int32_t bb = get_base_value(b, &fb);
    if (ba != bb)
        return ba < bb ? -1 : 1;
    if (is_year_month_kind(a->interval_type) || fa == fb)
        return 0;
    return fa < fb ? -1 : 1;
}

KX_API int32_t compare_interval(const Value *a, const Value *b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    return interval_compare(&a->payload.interval, &b->payload.interval);
}

}  // extern "C"
