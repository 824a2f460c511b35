// values (text forms): a Value as SQL literal text.
//
// Exports value_as_text (the literal used when a value is printed into SQL:
// escape-clause braces for datetimes, quoted strings, INTERVAL literals),
// value_as_text_ex (the caller's delimiters around dates, times, timestamps
// and binaries), interval_as_text (literal or bare interval), and the
// bounded forms value_as_text_n and value_as_text_ex_n.
//
// Every form writes through a TextSink, which knows the caller's capacity
// (unbounded for the classic entry points, whose callers size their
// buffers) and counts the full length of the text.
//
// Fixed behaviours kept on purpose: binary octets are written "%0X", i.e.
// upper-case hexadecimal WITHOUT zero padding (0x05 gives 5); the collapsed
// time-only timestamp is written hh-mm-ss with hyphens; interval qualifiers
// treat minute-to-second differently from day/hour-to-second (see
// append_qualifier).
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

// The buffer the library's own callers use for a rendered value; a numeric
// text is far shorter (at most 39 digits, 128 zeros, a sign and a point).
constexpr int32_t kValueTextSize = 1024;
// Longest interval text is about 110 octets.
constexpr size_t kIntervalTextSize = 160;

constexpr char kUpperHex[] = "0123456789ABCDEF";

// Defaults of the interval precisions, never written out.
constexpr int32_t kDefaultLeading = 2;
constexpr int32_t kDefaultSeconds = 6;

void append_format(kx::TextSink &sink, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

void append_format(kx::TextSink &sink, const char *format, ...)
{
    char piece[128];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(piece, sizeof piece, format, args);
    va_end(args);
    if (n > 0)
        sink.append(piece, static_cast<size_t>(n) < sizeof piece
                               ? static_cast<size_t>(n)
                               : sizeof piece - 1);
}

const char *or_empty(const char *text)
{
    return text != nullptr ? text : "";
}

// "%0X" of each octet: upper-case hexadecimal without zero padding.
void append_octets(kx::TextSink &sink, const unsigned char *bytes,
                   int32_t count)
{
    if (bytes == nullptr)
        return;
    for (int32_t i = 0; i < count; i++) {
        unsigned char octet = bytes[i];
        if (octet >= 0x10)
            sink.append_char(kUpperHex[octet >> 4]);
        sink.append_char(kUpperHex[octet & 0x0F]);
    }
}

void append_double(kx::TextSink &sink, double d)
{
    // "%f" of a double is at most 317 characters
    char text[400];
    int n = std::snprintf(text, sizeof text, "%f", d);
    if (n < 0)
        return;
    size_t len = static_cast<size_t>(n) < sizeof text ? static_cast<size_t>(n)
                                                       : sizeof text - 1;
    // A finite number has a digit, a point and six decimals, so the zeros
    // run out at the point at the latest; "inf" and "nan" end in no zero.
    while (text[len - 1] == '0')
        len--;
    if (text[len - 1] == '.')
        len--;
    sink.append(text, len);
}

void append_quoted(kx::TextSink &sink, const char *text)
{
    sink.append_char('\'');
    if (text != nullptr) {
        for (const char *p = text; *p != '\0'; p++) {
            const char *quote = std::strchr(p, '\'');
            if (quote == nullptr) {
                sink.append(p);
                break;
            }
            sink.append(p, static_cast<size_t>(quote - p) + 1);
            sink.append_char('\'');
            p = quote;
        }
    }
    sink.append_char('\'');
}

// "%s%04d-%02d-%02d%s" of prefix, year, month, day, suffix.
void append_ymd(kx::TextSink &sink, const char *prefix, int year, int month,
                int day, const char *suffix)
{
    sink.append(prefix);
    append_format(sink, "%04d-%02d-%02d", year, month, day);
    sink.append(suffix);
}

// "%s%02d<sep>%02d<sep>%02d%s" of prefix, hour, minute, second, suffix.
void append_hms(kx::TextSink &sink, const char *prefix, int hour, int minute,
                int second, char separator, const char *suffix)
{
    sink.append(prefix);
    append_format(sink, "%02d%c%02d%c%02d", hour, separator, minute,
                  separator, second);
    sink.append(suffix);
}

void append_date(kx::TextSink &sink, const char *prefix, const DateStruct &d,
                 const char *suffix)
{
    append_ymd(sink, prefix, d.year, d.month, d.day, suffix);
}

void append_time(kx::TextSink &sink, const char *prefix, const TimeStruct &t,
                 const char *suffix)
{
    append_hms(sink, prefix, t.hour, t.minute, t.second, ':', suffix);
}

void append_timestamp(kx::TextSink &sink, const char *prefix,
                      const TimestampStruct &ts, const char *suffix)
{
    sink.append(prefix);
    append_format(sink, "%04d-%02d-%02d %02d:%02d:%02d", ts.year, ts.month,
                  ts.day, ts.hour, ts.minute, ts.second);
    sink.append(suffix);
}

// The interval qualifier tail of the SQL form. Kinds 10 and 12 drop the
// seconds precision when it is 6 or 0; kind 13 drops it when it is 6 or
// when the LEADING precision is 0. The asymmetry is the library's own.
void append_qualifier(kx::TextSink &sink, int32_t kind, int32_t leading,
                      int32_t seconds)
{
    bool show_leading = leading != kDefaultLeading && leading != 0;
    switch (kind) {
    case KX_IS_YEAR:
    case KX_IS_MONTH:
    case KX_IS_DAY:
    case KX_IS_HOUR:
    case KX_IS_MINUTE:
        if (show_leading)
            append_format(sink, "(%d)", leading);
        break;
    case KX_IS_SECOND:
        if (!(leading == kDefaultLeading && seconds == kDefaultSeconds))
            append_format(sink, "(%d,%d)", leading, seconds);
        break;
    case KX_IS_YEAR_TO_MONTH:
    case KX_IS_DAY_TO_HOUR:
    case KX_IS_DAY_TO_MINUTE:
    case KX_IS_HOUR_TO_MINUTE:
        if (show_leading)
            append_format(sink, "(%d)", leading);
        sink.append(kind == KX_IS_YEAR_TO_MONTH ? " TO MONTH"
                    : kind == KX_IS_DAY_TO_HOUR ? " TO HOUR"
                                                : " TO MINUTE");
        break;
    case KX_IS_DAY_TO_SECOND:
    case KX_IS_HOUR_TO_SECOND:
        if (show_leading)
            append_format(sink, "(%d)", leading);
        if (seconds == kDefaultSeconds || seconds == 0)
            sink.append(" TO SECOND");
        else
            append_format(sink, " TO SECOND(%d)", seconds);
        break;
    case KX_IS_MINUTE_TO_SECOND:
        if (show_leading)
            append_format(sink, "(%d)", leading);
        if (seconds == kDefaultSeconds || leading == 0)
            sink.append(" TO SECOND");
        else
            append_format(sink, " TO SECOND(%d)", seconds);
        break;
    default:
        break;
    }
}

}  // namespace

namespace kx {

void TextSink::append(const char *text, size_t n)
{
    if (capacity > 0 && length < capacity - 1) {
        size_t room = capacity - 1 - length;
        std::memcpy(buf + length, text, n < room ? n : room);
    }
    length += n;
}

void TextSink::append(const char *text)
{
    append(text, std::strlen(text));
}

void TextSink::append_char(char c)
{
    if (capacity > 0 && length < capacity - 1)
        buf[length] = c;
    length++;
}

void TextSink::finish()
{
    if (capacity == 0)
        return;
    buf[length < capacity - 1 ? length : capacity - 1] = '\0';
}

void render_interval(const Value *value, TextSink &sink, bool sql_form)
{
    const IntervalStruct &iv = value->payload.interval;
    const DaySecondStruct &f = iv.intval.day_second;
    // the five words: year-or-day, month-or-hour, minute, second, fraction
    long w1 = f.day, w2 = f.hour, w3 = f.minute, w4 = f.second;
    int32_t kind = iv.interval_type;

    if (sql_form)
        sink.append("INTERVAL ");
    if (iv.interval_sign == 1)
        sink.append_char('-');
    if (sql_form)
        sink.append_char('\'');

    bool ends_in_seconds = kind == KX_IS_SECOND || kind == KX_IS_DAY_TO_SECOND ||
                           kind == KX_IS_HOUR_TO_SECOND ||
                           kind == KX_IS_MINUTE_TO_SECOND;
    char fraction[16] = "";
    if (ends_in_seconds && f.fraction != 0) {
        std::snprintf(fraction, sizeof fraction, "%09ld", static_cast<long>(f.fraction));
        // The fraction is not zero, so a digit other than "0" ends the loop
        // (the length test keeps the compiler from seeing a write before
        // the buffer).
        size_t n = std::strlen(fraction);
        while (n > 1 && fraction[n - 1] == '0')
            fraction[--n] = '\0';
    }
    bool has_fraction = fraction[0] != '\0';

    const char *field;
    switch (kind) {
    case KX_IS_YEAR:
        append_format(sink, "%ld", w1);
        field = "YEAR";
        break;
    case KX_IS_MONTH:
        append_format(sink, "%ld", w2);
        field = "MONTH";
        break;
    case KX_IS_DAY:
        append_format(sink, "%ld", w1);
        field = "DAY";
        break;
    case KX_IS_HOUR:
        append_format(sink, "%ld", w2);
        field = "HOUR";
        break;
    case KX_IS_MINUTE:
        append_format(sink, "%ld", w3);
        field = "MINUTE";
        break;
    case KX_IS_SECOND:
        append_format(sink, "%ld", w4);
        field = "SECOND";
        break;
    case KX_IS_YEAR_TO_MONTH:
        append_format(sink, "%ld-%02ld", w1, w2);
        field = "YEAR";
        break;
    case KX_IS_DAY_TO_HOUR:
        append_format(sink, "%ld %02ld", w1, w2);
        field = "DAY";
        break;
    case KX_IS_DAY_TO_MINUTE:
        append_format(sink, "%ld %02ld:%02ld", w1, w2, w3);
        field = "DAY";
        break;
    case KX_IS_DAY_TO_SECOND:
        append_format(sink, "%ld %02ld:%02ld:%02ld", w1, w2, w3, w4);
        field = "DAY";
        break;
    case KX_IS_HOUR_TO_MINUTE:
        append_format(sink, "%ld:%02ld", w2, w3);
        field = "HOUR";
        break;
    case KX_IS_HOUR_TO_SECOND:
        append_format(sink, "%ld:%02ld:%02ld", w2, w3, w4);
        field = "HOUR";
        break;
    case KX_IS_MINUTE_TO_SECOND:
        append_format(sink, "%ld:%02ld", w3, w4);
        field = "MINUTE";
        break;
    default:
        return;  // an unknown kind: only the opening is written
    }
    if (has_fraction) {
        sink.append_char('.');
        sink.append(fraction);
    }
    if (!sql_form)
        return;
    sink.append("' ");
    sink.append(field);
    append_qualifier(sink, kind, static_cast<int32_t>(value->attr[2]),
                     static_cast<int32_t>(value->attr[3]));
}

void render_value(const Value *value, TextSink &sink)
{
    const ValuePayload &p = value->payload;
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        append_format(sink, "%d", p.integer);
        break;
    case VALUE_DOUBLE:
        append_double(sink, p.dbl);
        break;
    case VALUE_NUMERIC: {
        char text[kValueTextSize];
        int32_t length = 0;
        numeric_to_string(&p.numeric, text, kValueTextSize, &length);
        sink.append(text);
        break;
    }
    case VALUE_STRING:
        append_quoted(sink, p.text);
        break;
    case VALUE_BINARY:
        sink.append("B'");
        append_octets(sink, p.bytes, value->data_length);
        sink.append_char('\'');
        break;
    case VALUE_DATE:
        append_date(sink, "{d'", p.date, "'}");
        break;
    case VALUE_TIME:
        append_time(sink, "{t'", p.time, "'}");
        break;
    case VALUE_TIMESTAMP:
        append_timestamp(sink, "{ts'", p.timestamp, "'}");
        break;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        sink.append_char('{');
        render_interval(value, sink, true);
        sink.append_char('}');
        break;
    case VALUE_NULL:
        sink.append(" NULL ");
        break;
    case VALUE_BIGINT: {
        uint64_t bits =
            (static_cast<uint64_t>(static_cast<uint32_t>(p.bigint.high)) << 32) |
            p.bigint.low;
        append_format(sink, "%lld",
                      static_cast<long long>(static_cast<int64_t>(bits)));
        break;
    }
    default:
        break;  // long, keyword and unknown types: the empty string
    }
}

}  // namespace kx

namespace {

// The text value_as_text hands back for a NULL. Not const: the classic entry
// point returns a plain char pointer; nothing in the library writes to it.
char kNullText[] = "NULL";

char *render_ex(const Value *value, kx::TextSink &sink,
                const char *date_prefix, const char *date_suffix,
                const char *time_prefix, const char *time_suffix,
                const char *timestamp_prefix, const char *timestamp_suffix,
                const char *binary_prefix, const char *binary_suffix,
                int32_t collapse)
{
    if (value == nullptr || value->null_flag != 0) {
        sink.append(kNullText);
        sink.finish();
        return sink.buf;
    }
    const ValuePayload &p = value->payload;
    switch (value->type) {
    case VALUE_DATE:
        append_date(sink, or_empty(date_prefix), p.date, or_empty(date_suffix));
        break;
    case VALUE_TIME:
        append_time(sink, or_empty(time_prefix), p.time, or_empty(time_suffix));
        break;
    case VALUE_BINARY:
        if (value->data_length < 1) {
            sink.append("''");
        } else {
            sink.append(or_empty(binary_prefix));
            append_octets(sink, p.bytes, value->data_length);
            sink.append(or_empty(binary_suffix));
        }
        break;
    case VALUE_TIMESTAMP: {
        const TimestampStruct &ts = p.timestamp;
        const char *prefix = or_empty(timestamp_prefix);
        const char *suffix = or_empty(timestamp_suffix);
        bool no_date = ts.year == 0 && ts.month == 0 && ts.day == 0;
        bool no_time = ts.hour == 0 && ts.minute == 0 && ts.second == 0;
        if (collapse == 0) {
            append_timestamp(sink, prefix, ts, suffix);
        } else if (no_date && no_time) {
            sink.append(kNullText);
        } else if (no_time) {
            append_ymd(sink, prefix, ts.year, ts.month, ts.day, suffix);
        } else if (no_date) {
            // hyphens, not colons: the library has always written it so
            append_hms(sink, prefix, ts.hour, ts.minute, ts.second, '-',
                       suffix);
        } else {
            append_timestamp(sink, prefix, ts, suffix);
        }
        break;
    }
    default:
        kx::render_value(value, sink);
        break;
    }
    sink.finish();
    return sink.buf;
}

}  // namespace

extern "C" {

KX_API char *value_as_text(const Value *value, char *buf)
{
    if (value == nullptr || value->null_flag != 0)
        return kNullText;
    kx::TextSink sink{buf, buf != nullptr ? SIZE_MAX : 0, 0};
    kx::render_value(value, sink);
    sink.finish();
    return buf;
}

KX_API const char *value_as_text_n(const Value *value, char *buf,
                                   size_t capacity, size_t *length_out)
{
    if (value == nullptr || value->null_flag != 0) {
        if (length_out != nullptr)
            *length_out = sizeof kNullText - 1;
        return kNullText;
    }
    kx::TextSink sink{buf, buf != nullptr ? capacity : 0, 0};
    kx::render_value(value, sink);
    sink.finish();
    if (length_out != nullptr)
        *length_out = sink.length;
    return buf;
}

KX_API char *value_as_text_ex(const Value *value, char *buf,
                              const char *date_prefix, const char *date_suffix,
                              const char *time_prefix, const char *time_suffix,
                              const char *timestamp_prefix,
                              const char *timestamp_suffix,
                              const char *binary_prefix,
                              const char *binary_suffix, int32_t collapse)
{
    kx::TextSink sink{buf, buf != nullptr ? SIZE_MAX : 0, 0};
    return render_ex(value, sink, date_prefix, date_suffix, time_prefix,
                     time_suffix, timestamp_prefix, timestamp_suffix,
                     binary_prefix, binary_suffix, collapse);
}

KX_API char *value_as_text_ex_n(const Value *value, char *buf, size_t capacity,
                                size_t *length_out, const char *date_prefix,
                                const char *date_suffix,
                                const char *time_prefix,
                                const char *time_suffix,
                                const char *timestamp_prefix,
                                const char *timestamp_suffix,
                                const char *binary_prefix,
                                const char *binary_suffix, int32_t collapse)
{
    kx::TextSink sink{buf, buf != nullptr ? capacity : 0, 0};
    char *result = render_ex(value, sink, date_prefix, date_suffix,
                             time_prefix, time_suffix, timestamp_prefix,
                             timestamp_suffix, binary_prefix, binary_suffix,
                             collapse);
    if (length_out != nullptr)
        *length_out = sink.length;
    return result;
}

KX_API char *interval_as_text(const Value *value, char *buf, int32_t sql_form)
{
    if (buf == nullptr)
        return nullptr;
    kx::TextSink sink{buf, kIntervalTextSize, 0};
    if (value != nullptr)
        kx::render_interval(value, sink, sql_form != 0);
    sink.finish();
    return buf;
}

}  // extern "C"
