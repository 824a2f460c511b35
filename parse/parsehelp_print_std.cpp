// parsehelp (printer): the literal texts of the standard printing. Every value
// a parse tree can hold as a leaf is written as an SQL-92 literal that a back
// end reads as the same value: doubles with all 17 significant digits and an
// exponent, numerics with their scale, timestamps with their fraction,
// intervals with their sign inside the quotes, the typed datetime literals
// (DATE '...') rather than the ODBC escapes, and the keywords CURRENT_DATE,
// CURRENT_TIME and CURRENT_TIMESTAMP. See parsehelp_print_std.h.
#include "parse/parsehelp_print_std.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace kx::sqlprint {

namespace {

using u128 = unsigned __int128;

// ---- digits ----

// The decimal digits of v at out; returns the end.
char *put_unsigned(char *out, uint64_t v)
{
    char digits[20];
    char *start = digits + sizeof digits;
    do {
        *--start = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    size_t n = static_cast<size_t>(digits + sizeof digits - start);
    std::memcpy(out, start, n);
    return out + n;
}

char *put_signed(char *out, int64_t v)
{
    if (v < 0) {
        *out++ = '-';
        return put_unsigned(out, 0u - static_cast<uint64_t>(v));
    }
    return put_unsigned(out, static_cast<uint64_t>(v));
}

// v with at least width digits, zeros in front.
char *put_padded(char *out, uint64_t v, int width)
{
    char digits[20];
    char *end = put_unsigned(digits, v);
    for (int n = static_cast<int>(end - digits); n < width; ++n)
        *out++ = '0';
    size_t n = static_cast<size_t>(end - digits);
    std::memcpy(out, digits, n);
    return out + n;
}

template <size_t N>
char *put(char *out, const char (&text)[N])
{
    std::memcpy(out, text, N - 1);
    return out + N - 1;
}

char *put_text(char *out, const char *text)
{
    size_t n = std::strlen(text);
    std::memcpy(out, text, n);
    return out + n;
}

int digit_count(uint64_t v)
{
    int n = 1;
    while (v >= 10) {
        v /= 10;
        ++n;
    }
    return n;
}

// The significant digits of a fraction of a second in nanoseconds (below
// 10^9): "%09u" without its trailing zeros, after a point; nothing for 0.
char *put_fraction(char *out, uint32_t nanoseconds, int *digits_out)
{
    *digits_out = 0;
    if (nanoseconds == 0)
        return out;
    char digits[9];
    put_padded(digits, nanoseconds, 9);
    int n = 9;
    while (digits[n - 1] == '0')
        --n;
    *out++ = '.';
    std::memcpy(out, digits, static_cast<size_t>(n));
    *digits_out = n;
    return out + n;
}

// ---- values ----

constexpr char kUnexpectedValue[] = "<unexpected value>";
constexpr char kUnexpectedType[] = "<unexpected value type>";

// "%.17g" read back gives the same double; the exponent makes the literal
// an approximate numeric one (a double, not an exact numeric), written with
// a capital E, no plus sign and no leading zeros: 2.5E0, 1.5E-7, 1E300.
char *put_double(char *out, double d)
{
    if (!std::isfinite(d))
        return put(out, kUnexpectedValue);
    char text[32];
    int length = std::snprintf(text, sizeof text, "%.17g", d);
    const char *e = static_cast<const char *>(std::memchr(text, 'e', static_cast<size_t>(length)));
    if (e == nullptr) {
        std::memcpy(out, text, static_cast<size_t>(length));
        out += length;
        return put(out, "E0");
    }
    size_t mantissa = static_cast<size_t>(e - text);
    std::memcpy(out, text, mantissa);
    out += mantissa;
    *out++ = 'E';
    const char *exponent = e + 1;
    if (*exponent == '-')
        *out++ = *exponent++;
    else if (*exponent == '+')
        ++exponent;
    while (exponent[0] == '0' && exponent[1] != '\0')
        ++exponent;
    return put_text(out, exponent);
}

// Every digit of the magnitude, the point at the record's scale.
char *put_numeric(char *out, const NumericStruct &n)
{
    u128 magnitude = 0;
    for (int i = 15; i >= 0; --i)
        magnitude = (magnitude << 8) | n.val[i];
    // At most 39 digits: two 19-digit groups below the highest.
    constexpr uint64_t kGroup = 10000000000000000000ull;
    char digits[40];
    char *end = digits + sizeof digits;
    char *start = end;
    while (magnitude > UINT64_MAX) {
        uint64_t group = static_cast<uint64_t>(magnitude % kGroup);
        magnitude /= kGroup;
        for (int i = 0; i < 19; ++i) {
            *--start = static_cast<char>('0' + group % 10);
            group /= 10;
        }
    }
    uint64_t rest = static_cast<uint64_t>(magnitude);
    do {
        *--start = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    int count = static_cast<int>(end - start);
    bool zero = count == 1 && start[0] == '0';
    if (n.sign == 0 && !zero)
        *out++ = '-';
    int scale = n.scale;
    if (scale <= 0) {
        std::memcpy(out, start, static_cast<size_t>(count));
        out += count;
        for (int i = 0; i < -scale && !zero; ++i)
            *out++ = '0';
        return out;
    }
    if (count <= scale) {
        out = put(out, "0.");
        for (int i = count; i < scale; ++i)
            *out++ = '0';
        std::memcpy(out, start, static_cast<size_t>(count));
        return out + count;
    }
    int whole = count - scale;
    std::memcpy(out, start, static_cast<size_t>(whole));
    out += whole;
    *out++ = '.';
    std::memcpy(out, start + whole, static_cast<size_t>(scale));
    return out + scale;
}

char *put_year(char *out, int32_t year)
{
    if (year < 0) {
        *out++ = '-';
        year = -year;
    }
    return put_padded(out, static_cast<uint64_t>(year), 4);
}

char *put_date_fields(char *out, const DateStruct &d)
{
    out = put_year(out, d.year);
    *out++ = '-';
    out = put_padded(out, d.month, 2);
    *out++ = '-';
    return put_padded(out, d.day, 2);
}

char *put_time_fields(char *out, uint32_t hour, uint32_t minute, uint32_t second)
{
    out = put_padded(out, hour, 2);
    *out++ = ':';
    out = put_padded(out, minute, 2);
    *out++ = ':';
    return put_padded(out, second, 2);
}

char *put_timestamp(char *out, const TimestampStruct &t)
{
    if (t.fraction >= 1000000000u)
        return put(out, kUnexpectedValue);
    out = put(out, "TIMESTAMP '");
    out = put_date_fields(out, DateStruct{t.year, t.month, t.day});
    *out++ = ' ';
    out = put_time_fields(out, t.hour, t.minute, t.second);
    int digits;
    out = put_fraction(out, t.fraction, &digits);
    *out++ = '\'';
    return out;
}

// ---- intervals ----

// Fields of an interval, leading to trailing.
enum Field { kYear, kMonth, kDay, kHour, kMinute, kSecond };

struct Span {
    Field first;
    Field last;
};

// By interval kind 1 to 13.
constexpr Span kSpans[14] = {
    {kYear, kYear},   {kYear, kYear},     {kMonth, kMonth},   {kDay, kDay},
    {kHour, kHour},   {kMinute, kMinute}, {kSecond, kSecond}, {kYear, kMonth},
    {kDay, kHour},    {kDay, kMinute},    {kDay, kSecond},    {kHour, kMinute},
    {kHour, kSecond}, {kMinute, kSecond},
};

constexpr const char *kFieldNames[] = {"YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "SECOND"};

constexpr uint64_t kNanosPerSecond = 1000000000u;
// Nanoseconds in one unit of the day-time fields DAY to SECOND.
constexpr uint64_t kUnitNanos[] = {0, 0, 86400 * kNanosPerSecond, 3600 * kNanosPerSecond,
                                   60 * kNanosPerSecond, kNanosPerSecond};
// How many of a trailing field make one of the field before.
constexpr uint64_t kFieldRange[] = {0, 12, 0, 24, 60, 60};

// The interval's default precisions and the ranges of the stored ones.
constexpr intptr_t kDefaultLeading = 2;
constexpr intptr_t kDefaultSeconds = 6;

// The length that the kind's own fields hold (the others are not read),
// spread again over those fields: trailing fields within their ranges,
// what lies beyond them carried into the field before, the leading field
// unbounded. values[] by Field; *nanoseconds the fraction of a second.
bool interval_fields(const IntervalStruct &iv, const Span &span, uint64_t values[6],
                     uint32_t *nanoseconds)
{
    *nanoseconds = 0;
    for (int f = kYear; f <= kSecond; ++f)
        values[f] = 0;
    if (span.last <= kMonth) {
        const YearMonthStruct &ym = iv.intval.year_month;
        uint64_t months = 0;
        if (span.first == kYear)
            months += static_cast<uint64_t>(ym.year) * 12;
        if (span.last == kMonth)
            months += ym.month;
        if (span.first == kYear && span.last == kMonth) {
            values[kYear] = months / 12;
            values[kMonth] = months % 12;
        } else {
            values[span.first] = span.first == kYear ? ym.year : months;
        }
        return months != 0;
    }
    const DaySecondStruct &ds = iv.intval.day_second;
    const uint32_t held[] = {0, 0, ds.day, ds.hour, ds.minute, ds.second};
    u128 total = 0;
    for (int f = span.first; f <= span.last; ++f)
        total += static_cast<u128>(held[f]) * kUnitNanos[f];
    if (span.last == kSecond)
        total += ds.fraction;
    values[span.first] = static_cast<uint64_t>(total / kUnitNanos[span.first]);
    for (int f = span.first + 1; f <= span.last; ++f)
        values[f] = static_cast<uint64_t>(total / kUnitNanos[f]) % kFieldRange[f];
    if (span.last == kSecond)
        *nanoseconds = static_cast<uint32_t>(total % kNanosPerSecond);
    return total != 0;
}

char *put_precision(char *out, int64_t precision)
{
    *out++ = '(';
    out = put_signed(out, precision);
    *out++ = ')';
    return out;
}

char *put_interval(char *out, const Value *value)
{
    const IntervalStruct &iv = value->payload.interval;
    if (iv.interval_type < 1 || iv.interval_type > 13)
        return put(out, kUnexpectedValue);
    const Span &span = kSpans[iv.interval_type];
    uint64_t values[6];
    uint32_t nanoseconds;
    bool nonzero = interval_fields(iv, span, values, &nanoseconds);

    out = put(out, "INTERVAL '");
    if (iv.interval_sign != 0 && nonzero)
        *out++ = '-';
    out = put_unsigned(out, values[span.first]);
    for (int f = span.first + 1; f <= span.last; ++f) {
        *out++ = f == kMonth ? '-' : f == kHour ? ' ' : ':';
        out = put_padded(out, values[f], 2);
    }
    int fraction_digits = 0;
    if (span.last == kSecond)
        out = put_fraction(out, nanoseconds, &fraction_digits);
    out = put(out, "' ");

    // The precisions the leaf keeps; a leaf that keeps none (a leading
    // precision outside 1 to 9, as in a zero-filled one) has the defaults.
    bool kept = value->attr[2] >= 1 && value->attr[2] <= 9;
    intptr_t leading = kept ? value->attr[2] : kDefaultLeading;
    intptr_t seconds = kept && value->attr[3] >= 0 && value->attr[3] <= 9 ? value->attr[3]
                                                                          : kDefaultSeconds;
    int lead_digits = digit_count(values[span.first]);
    if (lead_digits > leading)
        leading = lead_digits;
    if (fraction_digits > seconds)
        seconds = fraction_digits;

    out = put_text(out, kFieldNames[span.first]);
    if (span.first == kSecond) {
        if (seconds != kDefaultSeconds) {
            *out++ = '(';
            out = put_signed(out, leading);
            out = put(out, ", ");
            out = put_signed(out, seconds);
            *out++ = ')';
        } else if (leading != kDefaultLeading) {
            out = put_precision(out, leading);
        }
        return out;
    }
    if (leading != kDefaultLeading)
        out = put_precision(out, leading);
    if (span.first != span.last) {
        out = put(out, " TO ");
        out = put_text(out, kFieldNames[span.last]);
        if (span.last == kSecond && seconds != kDefaultSeconds)
            out = put_precision(out, seconds);
    }
    return out;
}

}  // namespace

bool literal_is_bounded(const Value *value)
{
    return value->null_flag != 0 ||
           (value->type != VALUE_STRING && value->type != VALUE_BINARY);
}

size_t standard_literal(const Value *value, char *out)
{
    char *start = out;
    const ValuePayload &v = value->payload;
    if (value->null_flag != 0)
        return static_cast<size_t>(put(out, " NULL ") - start);
    switch (value->type) {
    case VALUE_INTEGER:
        out = put_signed(out, v.integer);
        *out++ = ' ';
        break;
    case VALUE_BIGINT: {
        uint64_t bits = (static_cast<uint64_t>(static_cast<uint32_t>(v.bigint.high)) << 32) |
                        v.bigint.low;
        out = put_signed(out, static_cast<int64_t>(bits));
        *out++ = ' ';
        break;
    }
    case VALUE_DOUBLE:
        out = put_double(out, v.dbl);
        break;
    case VALUE_NUMERIC:
        out = put_numeric(out, v.numeric);
        break;
    case VALUE_BIT:
        out = v.integer != 0 ? put(out, "B'1' ") : put(out, "B'0' ");
        break;
    case VALUE_DATE:
        out = put(out, "DATE '");
        out = put_date_fields(out, v.date);
        *out++ = '\'';
        break;
    case VALUE_TIME:
        out = put(out, "TIME '");
        out = put_time_fields(out, v.time.hour, v.time.minute, v.time.second);
        *out++ = '\'';
        break;
    case VALUE_TIMESTAMP:
        out = put_timestamp(out, v.timestamp);
        break;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        out = put_interval(out, value);
        break;
    case VALUE_NULL:
        out = put(out, " NULL ");
        break;
    case VALUE_CURRENT_DATE:
        out = put(out, "CURRENT_DATE ");
        break;
    case VALUE_USER:
        out = put(out, "USER ");
        break;
    case VALUE_CURRENT_TIME:
        out = put(out, "CURRENT_TIME ");
        break;
    case VALUE_CURRENT_TIMESTAMP:
        out = put(out, "CURRENT_TIMESTAMP ");
        break;
    default:
        out = put(out, kUnexpectedType);
        break;
    }
    return static_cast<size_t>(out - start);
}

}  // namespace kx::sqlprint
