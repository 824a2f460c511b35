// evaluate.cpp - the driver's expression evaluator and row producer.
//
// Exports (driver-internal) evaluate, evaluation_error, the value helpers of
// evaluate.h, infer_types, describe_type, open_result and next_row.
//
// Evaluation walks a library parse tree per row. Literal leaves are Values
// already; string leaves are copied before use because the library's
// routines may work in an argument's own buffer. Arithmetic goes to the
// library's operators: numeric_operation when an exact decimal takes part,
// bigint_operation for integers, interval_operation when a datetime or
// interval takes part; doubles are computed here. Comparisons go to
// compare_values, numeric_operation or bigint_operation by operand types.
// Scalar functions go to execute_function with the statement's context,
// after their arguments have been brought to the classes the catalogue
// names. Errors (the library's and the driver's own) post on the statement
// and longjmp to the exit point armed in run_row; no frame between holds an
// object with a destructor.
#include <algorithm>
#include <array>
#include <charconv>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "driver/convert.h"
#include "driver/evaluate.h"
#include "driver/handles.h"

namespace kxdrv {

// ---- value helpers ----

Value *make_value(MemHandle *mem, int32_t type)
{
    Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
    if (v != nullptr)
        v->type = type;
    return v;
}

namespace {

// A text value with room for length octets and the terminator, every field
// set; the caller writes the octets. Null when memory runs out.
Value *text_of_length(MemHandle *mem, size_t length)
{
    if (length >= INT32_MAX)
        return nullptr;
    Value *v = NewValue(mem, static_cast<int32_t>(length) + 1);
    if (v == nullptr)
        return nullptr;
    char *buffer = v->payload.text;
    int32_t inline_buffer = v->inline_buffer;
    std::memset(reinterpret_cast<char *>(v) + offsetof(Value, type), 0,
                offsetof(Value, mem_handle) - offsetof(Value, type));
    std::memset(v->driver, 0, sizeof v->driver);
    std::memset(&v->payload, 0, sizeof v->payload);
    v->payload.text = buffer;
    v->inline_buffer = inline_buffer;
    v->type = VALUE_STRING;
    v->length = static_cast<int32_t>(length);
    buffer[length] = '\0';
    return v;
}

}  // namespace

Value *make_text(MemHandle *mem, const char *text, size_t length)
{
    Value *v = text_of_length(mem, length);
    if (v != nullptr && length > 0)
        std::memcpy(v->payload.text, text, length);
    return v;
}

Value *make_binary(MemHandle *mem, const unsigned char *bytes, size_t length)
{
    Value *v = make_value(mem, VALUE_BINARY);
    if (v == nullptr)
        return nullptr;
    unsigned char *copy = static_cast<unsigned char *>(kx_mem_alloc(mem, length + 1));
    if (copy == nullptr)
        return nullptr;
    if (length > 0)
        std::memcpy(copy, bytes, length);
    v->payload.bytes = copy;
    v->length = static_cast<int32_t>(length);
    v->data_length = static_cast<int32_t>(length);
    return v;
}

namespace {

// The digits of value, zero-padded to width, written at out; the end.
char *put_digits(char *out, uint32_t value, int width)
{
    char *end = out + width;
    for (char *p = end; p > out; value /= 10)
        *--p = static_cast<char>('0' + value % 10);
    return end;
}

// "00" to "99", two characters each: a datetime's fields are written a
// pair of digits at a time.
constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[static_cast<size_t>(2 * i)] = static_cast<char>('0' + i / 10);
        pairs[static_cast<size_t>(2 * i + 1)] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();
static_assert(kDigitPairs[0] == '0' && kDigitPairs[199] == '9' && kDigitPairs[85] == '2');

// value % 100 as two digits at out; the end.
char *put_pair(char *out, unsigned value)
{
    std::memcpy(out, &kDigitPairs[2 * (value % 100)], 2);
    return out + 2;
}

// yyyy-mm-dd at out (years outside 0..9999 as printf's %04d writes them).
char *put_date(char *out, int year, unsigned month, unsigned day)
{
    if (year >= 0 && year <= 9999) {
        out = put_pair(out, static_cast<unsigned>(year) / 100);
        out = put_pair(out, static_cast<unsigned>(year));
    } else {
        out += std::snprintf(out, 12, "%04d", year);
    }
    *out++ = '-';
    out = put_pair(out, month);
    *out++ = '-';
    return put_pair(out, day);
}

// hh:mm:ss at out.
char *put_time(char *out, unsigned hour, unsigned minute, unsigned second)
{
    out = put_pair(out, hour);
    *out++ = ':';
    out = put_pair(out, minute);
    *out++ = ':';
    return put_pair(out, second);
}

// A fraction of a second in nanoseconds as ".d..." without its trailing
// zeros, nothing for 0.
char *put_fraction(char *out, uint32_t fraction)
{
    if (fraction == 0)
        return out;
    int digits = 9;
    while (fraction % 10 == 0) {
        fraction /= 10;
        --digits;
    }
    *out++ = '.';
    return put_digits(out, fraction, digits);
}

// Copies the text [from, end) into buffer within capacity (terminated);
// the length copied.
size_t copy_out(const char *from, const char *end, char *buffer, size_t capacity)
{
    if (capacity == 0)
        return 0;
    size_t n = std::min(static_cast<size_t>(end - from), capacity - 1);
    std::memcpy(buffer, from, n);
    buffer[n] = '\0';
    return n;
}

// A numeric's text with every digit of its scale, as SQL writes a NUMERIC
// (12.50 at scale 2 stays 12.50): the magnitude's digits with the point put
// back in. A zero has no sign.
size_t numeric_text(const NumericStruct &number, char *buffer, size_t capacity)
{
    int32_t length = 0;
    if (number.scale <= 0) {
        numeric_to_string(&number, buffer, static_cast<int32_t>(capacity), &length);
        return std::min(static_cast<size_t>(length), capacity - 1);
    }
    NumericStruct magnitude = number;
    magnitude.scale = 0;
    magnitude.sign = 1;
    char digits[48];
    numeric_to_string(&magnitude, digits, sizeof digits, &length);
    size_t count = std::min(static_cast<size_t>(length), sizeof digits - 1);
    size_t scale = static_cast<size_t>(number.scale);
    bool negative = number.sign == 0 && !(count == 1 && digits[0] == '0');
    char text[96];
    size_t n = 0;
    if (negative)
        text[n++] = '-';
    if (count <= scale) {
        text[n++] = '0';
        text[n++] = '.';
        for (size_t k = count; k < scale; ++k)
            text[n++] = '0';
        std::memcpy(text + n, digits, count);
        n += count;
    } else {
        std::memcpy(text + n, digits, count - scale);
        n += count - scale;
        text[n++] = '.';
        std::memcpy(text + n, digits + count - scale, scale);
        n += scale;
    }
    n = std::min(n, capacity - 1);
    std::memcpy(buffer, text, n);
    buffer[n] = '\0';
    return n;
}

}  // namespace

namespace {

// The text of a value of a fixed-size type at out, which has room for more
// than plain_text_width(type) octets; the end. The hot types are written by
// hand: a driver turns every fetched number and datetime into text, and
// printf's parsing of its format would be most of the cost of a row.
char *put_plain(const Value *v, char *out, size_t room)
{
    switch (v->type) {
    case VALUE_INTEGER:
        return std::to_chars(out, out + room, v->payload.integer).ptr;
    case VALUE_BIT:
        *out++ = v->payload.integer != 0 ? '1' : '0';
        return out;
    case VALUE_BIGINT:
        return std::to_chars(out, out + room, get_bigint_from_value(v)).ptr;
    case VALUE_DOUBLE:
        return out + std::snprintf(out, room, "%.15g", v->payload.dbl);
    case VALUE_NUMERIC:
        return out + numeric_text(v->payload.numeric, out, room);
    case VALUE_DATE:
        return put_date(out, v->payload.date.year, v->payload.date.month, v->payload.date.day);
    case VALUE_TIME:
        return put_time(out, v->payload.time.hour, v->payload.time.minute, v->payload.time.second);
    case VALUE_TIMESTAMP: {
        const TimestampStruct &t = v->payload.timestamp;
        out = put_date(out, t.year, t.month, t.day);
        *out++ = ' ';
        out = put_time(out, t.hour, t.minute, t.second);
        return put_fraction(out, t.fraction);
    }
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        interval_as_text(v, out, 0);
        return out + std::strlen(out);
    default:
        return out;
    }
}

}  // namespace

size_t plain_text_width(int32_t type)
{
    switch (type) {
    case VALUE_BIT: return 1;
    case VALUE_INTEGER: return 11;    // -2147483648
    case VALUE_BIGINT: return 20;     // -9223372036854775808
    case VALUE_DATE: return 12;       // a year of a 16-bit field: -32768-12-31
    case VALUE_TIME: return 8;
    case VALUE_TIMESTAMP: return 31;  // the date, the time and .nnnnnnnnn
    default: return 159;              // numbers and intervals: within 160
    }
}

size_t plain_text(const Value *v, char *buffer, size_t capacity)
{
    if (capacity > plain_text_width(v->type)) {
        // room for the longest text: written in place
        char *end = put_plain(v, buffer, capacity);
        *end = '\0';
        return static_cast<size_t>(end - buffer);
    }
    char text[160];
    return copy_out(text, put_plain(v, text, sizeof text), buffer, capacity);
}

namespace {

bool read_number(const char *&p, int max_digits, int &out)
{
    int digits = 0;
    out = 0;
    while (std::isdigit(static_cast<unsigned char>(*p)) && digits < max_digits) {
        out = out * 10 + (*p - '0');
        ++p, ++digits;
    }
    return digits > 0;
}

void skip_spaces(const char *&p)
{
    while (*p == ' ')
        ++p;
}

bool date_valid(int y, int m, int d)
{
    static const int days[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (y < 1 || y > 9999 || m < 1 || m > 12 || d < 1 || d > days[m - 1])
        return false;
    bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return !(m == 2 && d == 29 && !leap);
}

bool read_date(const char *&p, DateStruct &out)
{
    int y, m, d;
    if (!read_number(p, 4, y) || *p++ != '-' || !read_number(p, 2, m) || *p++ != '-' ||
        !read_number(p, 2, d) || !date_valid(y, m, d))
        return false;
    out = DateStruct{static_cast<int16_t>(y), static_cast<uint16_t>(m), static_cast<uint16_t>(d)};
    return true;
}

bool read_time(const char *&p, TimeStruct &out, uint32_t *fraction)
{
    int h, mi, s;
    if (!read_number(p, 2, h) || *p++ != ':' || !read_number(p, 2, mi) || *p++ != ':' ||
        !read_number(p, 2, s) || h > 23 || mi > 59 || s > 61)
        return false;
    out = TimeStruct{static_cast<uint16_t>(h), static_cast<uint16_t>(mi), static_cast<uint16_t>(s)};
    if (fraction != nullptr) {
        *fraction = 0;
        if (*p == '.') {
            ++p;
            int digits = 0;
            while (std::isdigit(static_cast<unsigned char>(*p))) {
                if (digits < 9)
                    *fraction = *fraction * 10 + static_cast<uint32_t>(*p - '0'), ++digits;
                ++p;
            }
            for (; digits < 9; ++digits)
                *fraction *= 10;
        }
    }
    return true;
}

}  // namespace

bool parse_date(const char *text, DateStruct &out)
{
    const char *p = text;
    skip_spaces(p);
    if (!read_date(p, out))
        return false;
    skip_spaces(p);
    return *p == '\0';
}

bool parse_time(const char *text, TimeStruct &out)
{
    const char *p = text;
    skip_spaces(p);
    uint32_t fraction = 0;
    if (!read_time(p, out, &fraction))
        return false;
    skip_spaces(p);
    return *p == '\0';
}

bool parse_timestamp(const char *text, TimestampStruct &out)
{
    const char *p = text;
    skip_spaces(p);
    DateStruct d;
    if (!read_date(p, d))
        return false;
    TimeStruct t{0, 0, 0};
    uint32_t fraction = 0;
    if (*p == ' ' || *p == 'T') {
        ++p;
        skip_spaces(p);
        if (*p != '\0' && !read_time(p, t, &fraction))
            return false;
    }
    skip_spaces(p);
    if (*p != '\0')
        return false;
    out = TimestampStruct{d.year, d.month, d.day, t.hour, t.minute, t.second, fraction};
    return true;
}

[[noreturn]] void evaluation_error(Evaluation *e, const char *sqlstate, const char *message)
{
    post_error(e->stmt->errors, sqlstate, message);
    e->context.result = -1;
    longjmp(e->context.exit, -1);
}

namespace {

// ---- the evaluator proper: no objects with destructors below this line
// ---- until the row producer

Value *checked(Evaluation *e, Value *v)
{
    if (v == nullptr)
        evaluation_error(e, "HY001", "Memory allocation error");
    return v;
}

Value *new_value(Evaluation *e, int32_t type) { return checked(e, make_value(e->context.mem, type)); }

// Posts HY001 for a value larger than the data source lets a statement make.
[[noreturn]] void value_too_large(Evaluation *e, uint64_t octets)
{
    char message[160];
    std::snprintf(message, sizeof message,
                  "Memory allocation error: a value of %llu octets is larger than MaxValueSize (%llu)",
                  static_cast<unsigned long long>(octets),
                  static_cast<unsigned long long>(e->max_value_size));
    evaluation_error(e, "HY001", message);
}

void check_value_size(Evaluation *e, uint64_t octets)
{
    if (octets > e->max_value_size)
        value_too_large(e, octets);
}

// Leaves with the SQLSTATE and message of a standard routine's status
// (nothing for KXSTD_OK).
void raise_status(Evaluation *e, int32_t status)
{
    if (status != KXSTD_OK)
        evaluation_error(e, kxstd_status_state(status), kxstd_status_message(status));
}

// Links of work between two time-out checks within one row.
constexpr unsigned kStepsPerCheck = 4096;

// One step of a long evaluation: every kStepsPerCheck steps the statement's
// time-out and cancellation are checked (check_timeout posts them).
void step(Evaluation *e)
{
    if (++e->steps % kStepsPerCheck != 0)
        return;
    if (check_timeout(e->stmt) != 0) {
        e->context.result = -1;
        longjmp(e->context.exit, -1);
    }
}

Value *null_of(Evaluation *e, int32_t type)
{
    Value *v = new_value(e, type);
    v->null_flag = -1;
    return v;
}

bool is_null(const Value *v) { return v == nullptr || v->null_flag != 0 || v->type == VALUE_NULL; }

bool is_text(int32_t type) { return type == VALUE_STRING || type == VALUE_LONG_STRING; }
bool is_integral(int32_t type) { return type == VALUE_INTEGER || type == VALUE_BIGINT || type == VALUE_BIT; }
bool is_number(int32_t type)
{
    return is_integral(type) || type == VALUE_DOUBLE || type == VALUE_NUMERIC;
}
bool is_datetime(int32_t type)
{
    return type == VALUE_DATE || type == VALUE_TIME || type == VALUE_TIMESTAMP;
}
bool is_interval(int32_t type) { return type == VALUE_INTERVAL_YM || type == VALUE_INTERVAL_DS; }

// The text of a long value, read whole through the connection's long-data
// operations, into the evaluation's memory.
Value *long_to_text(Evaluation *e, Value *v)
{
    LongBuffer *buffer = v->long_buffer;
    int32_t total = buffer != nullptr ? long_buffer_length(buffer) : 0;
    char *copy = static_cast<char *>(kx_mem_alloc(e->context.mem, static_cast<size_t>(total) + 1));
    if (copy == nullptr)
        evaluation_error(e, "HY001", "Memory allocation error");
    int32_t length = 0;
    if (buffer != nullptr) {
        rewind_long_buffer(buffer);
        if (total > 0)
            kxstd_extract_from_long_buffer(buffer, copy, total + 1, &length, 1);
    }
    Value *text = checked(e, make_text(e->context.mem, copy, static_cast<size_t>(total)));
    kx_mem_free(e->context.mem, copy);
    if (v->type == VALUE_LONG_BINARY)
        text->type = VALUE_BINARY, text->data_length = text->length;
    return text;
}

// A value as a VALUE_STRING of its plain text.
Value *as_text(Evaluation *e, Value *v)
{
    if (is_null(v))
        return null_of(e, VALUE_STRING);
    if (v->type == VALUE_STRING)
        return v;
    if (v->type == VALUE_LONG_STRING)
        return long_to_text(e, v);
    if (v->type == VALUE_BINARY || v->type == VALUE_LONG_BINARY) {
        Value *bytes = v->type == VALUE_BINARY ? v : long_to_text(e, v);
        return checked(e, make_text(e->context.mem, reinterpret_cast<const char *>(bytes->payload.bytes),
                                    static_cast<size_t>(bytes->length)));
    }
    char buffer[160];
    size_t n = plain_text(v, buffer, sizeof buffer);
    return checked(e, make_text(e->context.mem, buffer, n));
}

// Reads a text as a number: an integer when it has no point or exponent,
// else a double (a 7-digit-plus decimal as an exact numeric); 22018 when it
// is not a number.
Value *text_to_number(Evaluation *e, Value *v)
{
    Value *t = as_text(e, v);
    const char *s = t->payload.text;
    while (*s == ' ')
        ++s;
    char *end = nullptr;
    errno = 0;
    long long i = std::strtoll(s, &end, 10);
    const char *rest = end;
    while (*rest == ' ')
        ++rest;
    if (end != s && *rest == '\0' && errno == 0) {
        Value *n = new_value(e, VALUE_BIGINT);
        n->payload.bigint.high = static_cast<int32_t>(i >> 32);
        n->payload.bigint.low = static_cast<uint32_t>(i);
        if (i >= INT32_MIN && i <= INT32_MAX) {
            n->type = VALUE_INTEGER;
            n->payload.integer = static_cast<int32_t>(i);
        }
        return n;
    }
    double d = std::strtod(s, &end);
    rest = end;
    while (*rest == ' ')
        ++rest;
    if (end == s || *rest != '\0')
        evaluation_error(e, "22018", "Invalid character value for cast");
    Value *n = new_value(e, VALUE_DOUBLE);
    n->payload.dbl = d;
    return n;
}

Value *as_number(Evaluation *e, Value *v)
{
    if (is_number(v->type))
        return v;
    if (is_text(v->type))
        return text_to_number(e, v);
    evaluation_error(e, "22018", "Invalid character value for cast");
}

Value *as_integer(Evaluation *e, Value *v)
{
    Value *n = as_number(e, v);
    if (n->type == VALUE_INTEGER)
        return n;
    double d = get_double_from_value(n);
    if (n->type == VALUE_BIGINT)
        d = static_cast<double>(get_bigint_from_value(n));
    if (!(d >= INT32_MIN && d <= INT32_MAX))
        evaluation_error(e, "22003", "Numeric value out of range");
    Value *i = new_value(e, VALUE_INTEGER);
    i->payload.integer = static_cast<int32_t>(d);
    return i;
}

Value *as_double(Evaluation *e, Value *v)
{
    Value *n = as_number(e, v);
    if (n->type == VALUE_DOUBLE)
        return n;
    Value *d = new_value(e, VALUE_DOUBLE);
    d->payload.dbl = n->type == VALUE_BIGINT ? static_cast<double>(get_bigint_from_value(n))
                                             : get_double_from_value(n);
    return d;
}

Value *date_like_from_text(Evaluation *e, Value *v)
{
    Value *t = as_text(e, v);
    Value *out = new_value(e, VALUE_TIMESTAMP);
    DateStruct d;
    TimeStruct tm;
    if (parse_date(t->payload.text, d)) {
        out->type = VALUE_DATE;
        out->payload.date = d;
    } else if (parse_timestamp(t->payload.text, out->payload.timestamp)) {
    } else if (parse_time(t->payload.text, tm)) {
        out->type = VALUE_TIME;
        out->payload.time = tm;
    } else {
        evaluation_error(e, "22007", "Invalid datetime format");
    }
    return out;
}

// A copy of a string or binary leaf: the library's routines may work in an
// argument's own buffer.
Value *private_copy(Evaluation *e, Value *v)
{
    if (v->type == VALUE_STRING && v->null_flag == 0)
        return checked(e, make_text(e->context.mem, v->payload.text, static_cast<size_t>(v->length)));
    return v;
}

Value *evaluate_compound(Evaluation *e, ParseNode *node);

// The value of a node. The leaves most rows meet (a column's value or a
// literal of a type no routine writes into) are answered here, in a small
// frame; every other node goes to evaluate_compound.
inline Value *evaluate_node(Evaluation *e, ParseNode *node)
{
    Value *v;
    if (node->kind == KX_NODE_COLUMN_REFERENCE)
        v = e->source_row[node->field[kColumnIndex]];
    else if (node->kind == NODE_VALUE)
        v = reinterpret_cast<Value *>(node);
    else
        return evaluate_compound(e, node);
    bool shared = v->type != VALUE_STRING && v->type != VALUE_NULL &&
                  !(v->type >= VALUE_CURRENT_DATE && v->type <= VALUE_CURRENT_TIMESTAMP);
    return shared ? v : evaluate_compound(e, node);
}

ParseNode *field_node(ParseNode *node, int i) { return reinterpret_cast<ParseNode *>(node->field[i]); }
List *list_of(ParseNode *list_node)
{
    return list_node == nullptr ? nullptr : reinterpret_cast<List *>(list_node->field[0]);
}

// ---- arithmetic ----

// An operation's own BIGINT result turned into an INTEGER in place; 22003
// when it does not fit 32 bits.
Value *narrow_integer(Evaluation *e, Value *big)
{
    int64_t v = get_bigint_from_value(big);
    if (v < INT32_MIN || v > INT32_MAX)
        evaluation_error(e, "22003", "Numeric value out of range");
    if (big->null_flag != 0)
        return big;
    big->type = VALUE_INTEGER;
    big->payload.integer = static_cast<int32_t>(v);
    return big;
}

// + - * / of two non-NULL operands, by the library's standard operators:
// datetimes and intervals through kxstd_interval_operation (which refuses
// the pairs SQL does not add), two integers in 64 bits (an INTEGER result
// when neither was a BIGINT), every other number exactly, or approximately
// when a double takes part. A text operand is read as the number it holds.
Value *arithmetic(Evaluation *e, Value *a, Value *b, int32_t op)
{
    Value *result = new_value(e, VALUE_NULL);
    if (is_datetime(a->type) || is_datetime(b->type) || is_interval(a->type) ||
        is_interval(b->type)) {
        kxstd_interval_operation(a, b, result, &e->context, op);
        return result;
    }
    a = as_number(e, a);
    b = as_number(e, b);
    if (is_integral(a->type) && is_integral(b->type)) {
        kxstd_bigint_operation(a, b, result, &e->context, op);
        if (a->type != VALUE_BIGINT && b->type != VALUE_BIGINT)
            return narrow_integer(e, result);
        return result;
    }
    kxstd_numeric_operation(a, b, result, &e->context, op);
    return result;
}

Value *negate(Evaluation *e, Value *v)
{
    if (is_null(v))
        return v;
    if (is_text(v->type))
        v = as_number(e, v);
    Value *result = checked(e, duplicate_value(e->context.mem, v));
    switch (v->type) {
    case VALUE_INTEGER:
        if (v->payload.integer == INT32_MIN)
            evaluation_error(e, "22003", "Numeric value out of range");
        result->payload.integer = -v->payload.integer;
        break;
    case VALUE_BIGINT: {
        int64_t n = get_bigint_from_value(v);
        if (n == INT64_MIN)
            evaluation_error(e, "22003", "Numeric value out of range");
        n = -n;
        result->payload.bigint.high = static_cast<int32_t>(n >> 32);
        result->payload.bigint.low = static_cast<uint32_t>(n);
        break;
    }
    case VALUE_DOUBLE:
        result->payload.dbl = -v->payload.dbl;
        break;
    case VALUE_NUMERIC:
        result->payload.numeric.sign = v->payload.numeric.sign ? 0 : 1;
        break;
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS:
        result->payload.interval.interval_sign = v->payload.interval.interval_sign ? 0 : 1;
        break;
    default:
        evaluation_error(e, "42000", "Operand types do not fit the operator");
    }
    return result;
}

Value *concatenate(Evaluation *e, Value *a, Value *b)
{
    if (is_null(a) || is_null(b))
        return null_of(e, VALUE_STRING);
    Value *x = as_text(e, a), *y = as_text(e, b);
    size_t n = static_cast<size_t>(x->length) + static_cast<size_t>(y->length);
    check_value_size(e, n);
    Value *result = checked(e, text_of_length(e->context.mem, n));
    std::memcpy(result->payload.text, x->payload.text, static_cast<size_t>(x->length));
    std::memcpy(result->payload.text + x->length, y->payload.text, static_cast<size_t>(y->length));
    return result;
}

// a || b || c ...: the texts of count operands joined in one copy; NULL
// when any of them is NULL.
Value *concatenate_all(Evaluation *e, Value **operands, size_t count)
{
    bool null = false;
    uint64_t total = 0;
    for (size_t i = 0; i < count; ++i) {
        if (is_null(operands[i])) {
            null = true;
            continue;
        }
        operands[i] = as_text(e, operands[i]);
        total += static_cast<uint64_t>(operands[i]->length);
    }
    if (null)
        return null_of(e, VALUE_STRING);
    check_value_size(e, total);
    Value *result = checked(e, text_of_length(e->context.mem, static_cast<size_t>(total)));
    char *out = result->payload.text;
    for (size_t i = 0; i < count; ++i) {
        std::memcpy(out, operands[i]->payload.text, static_cast<size_t>(operands[i]->length));
        out += operands[i]->length;
    }
    return result;
}

// ---- comparison ----

// -1, 0 or 1 for two non-NULL values, compared by their SQL values
// (kxstd_compare_values); a long value is read in full first.
int compare(Evaluation *e, Value *a, Value *b)
{
    if (a->type == VALUE_LONG_STRING || a->type == VALUE_LONG_BINARY)
        a = as_text(e, a);
    if (b->type == VALUE_LONG_STRING || b->type == VALUE_LONG_BINARY)
        b = as_text(e, b);
    return kxstd_compare_values(a, b, &e->context);
}

Value *truth_value(Evaluation *e, int t)
{
    Value *v = new_value(e, VALUE_INTEGER);
    set_trivalue_in_value(v, t);
    return v;
}

Value *comparison(Evaluation *e, Value *a, Value *b, int32_t op)
{
    if (is_null(a) || is_null(b))
        return truth_value(e, 2);
    int r = compare(e, a, b);
    bool t = false;
    switch (op) {
    case KX_OP_LESS: t = r < 0; break;
    case KX_OP_GREATER: t = r > 0; break;
    case KX_OP_GREATER_EQUAL: t = r >= 0; break;
    case KX_OP_LESS_EQUAL: t = r <= 0; break;
    case KX_OP_EQUAL: t = r == 0; break;
    default: t = r != 0; break;
    }
    return truth_value(e, t ? 1 : 0);
}

int truth_of(Evaluation *e, Value *v)
{
    if (is_null(v))
        return 2;
    if (is_text(v->type) || v->type == VALUE_DOUBLE || v->type == VALUE_NUMERIC ||
        v->type == VALUE_BIGINT) {
        Value *n = as_number(e, v);
        return get_double_from_value(n) != 0.0 || get_bigint_from_value(n) != 0 ? 1 : 0;
    }
    return get_trivalue_from_value(v);
}

// The result of a binary operator on two evaluated operands.
Value *binary(Evaluation *e, Value *a, Value *b, int32_t op)
{
    switch (op) {
    case KX_OP_CONCAT:
        return concatenate(e, a, b);
    case KX_OP_ADD:
    case KX_OP_SUBTRACT:
    case KX_OP_MULTIPLY:
    case KX_OP_DIVIDE:
        if (is_null(a) || is_null(b)) {
            int32_t type = is_null(a) ? b->type : a->type;
            return null_of(e, type == VALUE_NULL ? VALUE_INTEGER : type);
        }
        return arithmetic(e, a, b, op);
    default:
        return comparison(e, a, b, op);
    }
}

// One link of a chain applied to the value of its left operand. AND and OR
// decide without their right operand when they can.
Value *apply_link(Evaluation *e, ParseNode *link, Value *left)
{
    const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(link->field[0]);
    ParseNode *right = field_node(link, 3);
    if (pair->op_class == KX_OP_CLASS_AND) {
        int a = truth_of(e, left);
        if (a == 0)
            return truth_value(e, 0);
        int b = truth_of(e, evaluate_node(e, right));
        return truth_value(e, b == 0 ? 0 : (a == 2 || b == 2) ? 2 : 1);
    }
    if (pair->op_class == KX_OP_CLASS_OR) {
        int a = truth_of(e, left);
        if (a == 1)
            return truth_value(e, 1);
        int b = truth_of(e, evaluate_node(e, right));
        return truth_value(e, b == 1 ? 1 : (a == 2 || b == 2) ? 2 : 0);
    }
    return binary(e, left, evaluate_node(e, right), pair->op_code);
}

bool is_concat_link(const ParseNode *link)
{
    const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(link->field[0]);
    return pair->op_class == KX_OP_CLASS_COMPARISON && pair->op_code == KX_OP_CONCAT;
}

// A chain of left-associative operators (chains_left), in a loop: down the
// left operands to the innermost one, then up through the links, so that a
// chain of any length takes one frame. A run of || links is joined in one
// copy rather than one copy per link.
Value *chain(Evaluation *e, ParseNode *top)
{
    ParseNode **base = e->chain_top;
    ParseNode *n = top;
    do {
        *e->chain_top++ = n;
        n = field_node(n, 2);
    } while (chains_left(n));
    Value *value = evaluate_node(e, n);
    while (e->chain_top > base) {
        step(e);
        ParseNode *link = *--e->chain_top;
        size_t run = 1;
        if (is_concat_link(link))
            while (e->chain_top - run >= base && is_concat_link(e->chain_top[-static_cast<ptrdiff_t>(run)]))
                ++run;
        if (run == 1) {
            value = apply_link(e, link, value);
            continue;
        }
        // the run's links are link, then the ones above it on the stack
        Value **operands = static_cast<Value **>(
            kx_mem_alloc(e->context.mem, (run + 1) * sizeof(Value *)));
        if (operands == nullptr)
            evaluation_error(e, "HY001", "Memory allocation error");
        operands[0] = value;
        for (size_t i = 0; i < run; ++i) {
            ParseNode *l = i == 0 ? link : e->chain_top[-static_cast<ptrdiff_t>(i)];
            operands[i + 1] = evaluate_node(e, field_node(l, 3));
            step(e);
        }
        e->chain_top -= run - 1;
        value = concatenate_all(e, operands, run + 1);
        kx_mem_free(e->context.mem, operands);
    }
    return value;
}

Value *expression_node(Evaluation *e, ParseNode *node)
{
    const OperatorPair *pair = reinterpret_cast<const OperatorPair *>(node->field[0]);
    if (pair->op_class == KX_OP_CLASS_NOT) {
        int t = truth_of(e, evaluate_node(e, field_node(node, 3)));
        return truth_value(e, t == 2 ? 2 : 1 - t);
    }
    if (chains_left(node)) {
        // one link (a * 2) needs no chain: its left operand is evaluated
        // as it stands
        if (!chains_left(field_node(node, 2)))
            return apply_link(e, node, evaluate_node(e, field_node(node, 2)));
        return chain(e, node);
    }
    if (pair->op_code == KX_OP_NEGATE)
        return negate(e, evaluate_node(e, field_node(node, 3)));
    Value *a = evaluate_node(e, field_node(node, 2));
    Value *b = evaluate_node(e, field_node(node, 3));
    return binary(e, a, b, pair->op_code);
}

// ---- casts ----

// A number as a 64-bit integer, its fraction cut toward zero; 22003 for
// one beyond 64 bits. Exact numbers convert exactly (a double's 53 bits
// would turn 9223372036854775806 into 2^63).
int64_t integer_part(Evaluation *e, Value *n)
{
    if (n->type == VALUE_BIGINT)
        return get_bigint_from_value(n);
    if (n->type == VALUE_INTEGER || n->type == VALUE_BIT)
        return n->payload.integer;
    if (n->type == VALUE_NUMERIC) {
        int64_t i = 0;
        if (kxstd_numeric_to_bigint(&n->payload.numeric, &i) != KXSTD_OK)
            evaluation_error(e, "22003", "Numeric value out of range");
        return i;
    }
    double d = std::trunc(get_double_from_value(n));
    if (!(d >= -9.2233720368547758e18 && d < 9.2233720368547758e18))
        evaluation_error(e, "22003", "Numeric value out of range");
    return static_cast<int64_t>(d);
}

Value *cast_to_integer(Evaluation *e, Value *v, int32_t sql_type)
{
    Value *n = is_text(v->type) ? text_to_number(e, v) : v;
    if (v->type == VALUE_BIT)
        n = v;
    if (!is_number(n->type))
        evaluation_error(e, "22018", "Invalid character value for cast");
    int64_t i = integer_part(e, n);
    if (sql_type == SQL_BIGINT) {
        Value *r = new_value(e, VALUE_BIGINT);
        r->payload.bigint.high = static_cast<int32_t>(i >> 32);
        r->payload.bigint.low = static_cast<uint32_t>(i);
        return r;
    }
    int64_t low = sql_type == SQL_SMALLINT ? -32768 : sql_type == SQL_TINYINT ? -128 : INT32_MIN;
    int64_t high = sql_type == SQL_SMALLINT ? 32767 : sql_type == SQL_TINYINT ? 127 : INT32_MAX;
    if (i < low || i > high)
        evaluation_error(e, "22003", "Numeric value out of range");
    Value *r = new_value(e, VALUE_INTEGER);
    r->payload.integer = static_cast<int32_t>(i);
    return r;
}

Value *cast_to_numeric(Evaluation *e, Value *v, int32_t precision, int32_t scale)
{
    Value *n = is_text(v->type) ? text_to_number(e, v) : v;
    if (is_text(v->type)) {
        // a decimal text keeps all its digits
        Value *t = as_text(e, v);
        const char *s = t->payload.text;
        bool ok = *s != '\0';
        for (const char *p = s; *p; ++p)
            if (!std::isdigit(static_cast<unsigned char>(*p)) && *p != '.' && *p != '-' && *p != '+' && *p != ' ')
                ok = false;
        if (!ok)
            evaluation_error(e, "22018", "Invalid character value for cast");
        Value *r = new_value(e, VALUE_NUMERIC);
        while (*s == ' ')
            ++s;
        if (create_numeric(s, &r->payload.numeric, static_cast<uint8_t>(precision), scale) != 0)
            evaluation_error(e, "22003", "Numeric value out of range");
        r->attr[0] = precision, r->attr[1] = scale;
        r->payload.numeric.precision = static_cast<uint8_t>(precision);
        return r;
    }
    if (!is_number(n->type))
        evaluation_error(e, "22018", "Invalid character value for cast");
    char text[160];
    if (n->type == VALUE_DOUBLE) {
        // an approximate number is cut, as a text is, not rounded, at the scale
        if (!(std::fabs(n->payload.dbl) < 1e38))
            evaluation_error(e, "22003", "Numeric value out of range");
        std::snprintf(text, sizeof text, "%.15f", n->payload.dbl);
    } else
        plain_text(n, text, sizeof text);
    Value *r = new_value(e, VALUE_NUMERIC);
    if (create_numeric(text, &r->payload.numeric, static_cast<uint8_t>(precision), scale) != 0)
        evaluation_error(e, "22003", "Numeric value out of range");
    r->payload.numeric.precision = static_cast<uint8_t>(precision);
    r->attr[0] = precision, r->attr[1] = scale;
    // the integer digits must fit the precision
    char check[64];
    int32_t length = 0;
    numeric_to_string(&r->payload.numeric, check, sizeof check, &length);
    int digits = 0;
    for (const char *p = check; *p && *p != '.'; ++p)
        digits += std::isdigit(static_cast<unsigned char>(*p)) && !(digits == 0 && *p == '0');
    if (digits > precision - scale)
        evaluation_error(e, "22003", "Numeric value out of range");
    return r;
}

// The units of an interval kind's last field in the library's base value
// (months for year-month kinds, seconds for day-time ones).
int64_t base_units(int32_t kind)
{
    switch (kind) {
    case KX_IS_YEAR: return 12;
    case KX_IS_DAY: return 86400;
    case KX_IS_HOUR:
    case KX_IS_DAY_TO_HOUR: return 3600;
    case KX_IS_MINUTE:
    case KX_IS_DAY_TO_MINUTE:
    case KX_IS_HOUR_TO_MINUTE: return 60;
    default: return 1;
    }
}

Value *cast_to_interval(Evaluation *e, Value *v, int32_t kind, int32_t leading, int32_t seconds)
{
    bool year_month = kind == KX_IS_YEAR || kind == KX_IS_MONTH || kind == KX_IS_YEAR_TO_MONTH;
    Value *r = new_value(e, year_month ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS);
    r->attr[2] = leading, r->attr[3] = seconds;
    r->payload.interval.interval_type = kind;
    int64_t units = 0;
    int32_t nanoseconds = 0;
    if (is_interval(v->type)) {
        // a year-month interval does not become a day-time one, nor back
        if ((v->type == VALUE_INTERVAL_YM) != year_month)
            evaluation_error(e, "42000", "Operand types do not fit the operation");
        kxstd_interval_length(&v->payload.interval, &units, &nanoseconds);
    } else if (is_integral(v->type) || v->type == VALUE_NUMERIC || is_text(v->type)) {
        // a number counts units of the interval's last field
        Value *n = as_integer(e, v);
        if (__builtin_mul_overflow(static_cast<int64_t>(n->payload.integer), base_units(kind), &units))
            evaluation_error(e, "22015", "Interval field overflow");
    } else {
        evaluation_error(e, "22018", "Invalid character value for cast");
    }
    raise_status(e, kxstd_normalise_interval(units, nanoseconds, leading, r));
    return r;
}

Value *cast_value(Evaluation *e, Value *v, ParseNode *type)
{
    int32_t sql_type = static_cast<int32_t>(type->field[0]);
    int32_t length = static_cast<int32_t>(type->field[1]);
    if (is_null(v)) {
        int32_t value_type = sql_to_value_type(sql_type);
        return null_of(e, value_type == VALUE_NO_TYPE ? VALUE_STRING : value_type);
    }
    switch (sql_type) {
    case SQL_CHAR:
    case SQL_VARCHAR:
    case SQL_LONGVARCHAR: {
        Value *t = as_text(e, v);
        if (sql_type == SQL_LONGVARCHAR || t->length <= length) {
            if (sql_type == SQL_CHAR && t->length < length) {
                // padded with blanks to its declared length
                check_value_size(e, static_cast<uint64_t>(length));
                Value *padded = checked(e, text_of_length(e->context.mem, static_cast<size_t>(length)));
                std::memcpy(padded->payload.text, t->payload.text, static_cast<size_t>(t->length));
                std::memset(padded->payload.text + t->length, ' ',
                            static_cast<size_t>(length - t->length));
                return padded;
            }
            return t == v ? private_copy(e, t) : t;
        }
        for (int32_t i = length; i < t->length; ++i)
            if (t->payload.text[i] != ' ')
                evaluation_error(e, "22001", "String data, right truncated");
        return checked(e, make_text(e->context.mem, t->payload.text, static_cast<size_t>(length)));
    }
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
    case SQL_BIGINT:
        return cast_to_integer(e, v, sql_type);
    case SQL_DOUBLE:
    case SQL_FLOAT:
    case SQL_REAL:
        return as_double(e, v);
    case SQL_NUMERIC:
    case SQL_DECIMAL: {
        ParseNode *precision = field_node(type, 4);
        return cast_to_numeric(e, v, static_cast<int32_t>(precision->field[0]),
                               static_cast<int32_t>(precision->field[1]));
    }
    case SQL_BIT: {
        Value *n = as_number(e, v);
        Value *r = new_value(e, VALUE_BIT);
        r->payload.integer = get_double_from_value(n) != 0.0 || get_bigint_from_value(n) != 0;
        return r;
    }
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME:
    case SQL_TYPE_TIMESTAMP: {
        Value *d = is_text(v->type) ? date_like_from_text(e, v) : v;
        if (!is_datetime(d->type))
            evaluation_error(e, "22018", "Invalid character value for cast");
        // the source's fields as a timestamp (a date at its midnight), the
        // fraction kept as it is
        Value *r = new_value(e, VALUE_TIMESTAMP);
        if (d->type == VALUE_DATE)
            r->payload.timestamp = TimestampStruct{d->payload.date.year, d->payload.date.month,
                                                   d->payload.date.day, 0, 0, 0, 0};
        else if (d->type == VALUE_TIMESTAMP)
            r->payload.timestamp = d->payload.timestamp;
        if (sql_type == SQL_TYPE_TIMESTAMP) {
            if (d->type == VALUE_TIME)
                evaluation_error(e, "22018", "Invalid character value for cast");
            return r;
        }
        if (sql_type == SQL_TYPE_DATE) {
            if (d->type == VALUE_TIME)
                evaluation_error(e, "22018", "Invalid character value for cast");
            Value *date = new_value(e, VALUE_DATE);
            date->payload.date = DateStruct{r->payload.timestamp.year, r->payload.timestamp.month,
                                            r->payload.timestamp.day};
            return date;
        }
        if (d->type == VALUE_DATE)
            evaluation_error(e, "22018", "Invalid character value for cast");
        Value *time = new_value(e, VALUE_TIME);
        time->payload.time = d->type == VALUE_TIME
                                 ? d->payload.time
                                 : TimeStruct{d->payload.timestamp.hour, d->payload.timestamp.minute,
                                              d->payload.timestamp.second};
        return time;
    }
    case SQL_BINARY:
    case SQL_VARBINARY: {
        Value *t = as_text(e, v);
        size_t n = std::min(static_cast<size_t>(t->length), static_cast<size_t>(length));
        return checked(e, make_binary(e->context.mem, reinterpret_cast<unsigned char *>(t->payload.text), n));
    }
    default:
        if (sql_type > 100 && sql_type <= 113)
            return cast_to_interval(e, v, sql_type - 100, length, static_cast<int32_t>(type->field[2]));
        evaluation_error(e, "HYC00", "Optional feature not implemented");
    }
}

// ---- scalar functions ----

// Brings an argument to the class the catalogue names for it.
Value *fit_argument(Evaluation *e, Value *v, uint32_t cls)
{
    cls &= ~static_cast<uint32_t>(KX_CLASS_OPTIONAL);
    if (is_null(v) || cls == 0 || (cls & KX_CLASS_ANY) != 0)
        return v;
    if ((cls & (KX_CLASS_CHAR | KX_CLASS_SPECIAL)) != 0 && !is_text(v->type))
        return as_text(e, v);
    // a number goes to the function as it is (POWER(2, 0.5) keeps its
    // half, ROUND of an exact number stays exact); a text is read as one
    if ((cls & (KX_CLASS_INTEGER | KX_CLASS_DOUBLE)) != 0 && is_text(v->type))
        return as_number(e, v);
    if ((cls & (KX_CLASS_DATE | KX_CLASS_TIME | KX_CLASS_TIMESTAMP)) != 0 && is_text(v->type))
        return date_like_from_text(e, v);
    return v;
}

Value *ifnull_callback(void *expression, EvalContext *context, intptr_t, intptr_t)
{
    return evaluate_node(reinterpret_cast<Evaluation *>(context), static_cast<ParseNode *>(expression));
}

// The octets of a text argument (0 for NULL or a value that is no text).
uint64_t text_octets(const Value *v)
{
    if (is_null(v))
        return 0;
    if (v->type == VALUE_STRING)
        return static_cast<uint64_t>(v->length);
    if (v->type == VALUE_LONG_STRING && v->long_buffer != nullptr)
        return static_cast<uint64_t>(long_buffer_length(v->long_buffer));
    return 0;
}

// An integer argument as the library's functions read it.
int64_t integer_argument(const Value *v)
{
    return is_null(v) ? 0 : get_int_from_value(v);
}

// The times pattern occurs in text, counted as REPLACE does: from the left,
// each match past the one before; trailing blanks of both are not looked at.
uint64_t replacements(const Value *text, const Value *pattern)
{
    if (text->type != VALUE_STRING || pattern->type != VALUE_STRING)
        return 0;
    auto trimmed = [](const Value *v) {
        size_t n = static_cast<size_t>(v->length);
        while (n > 0 && v->payload.text[n - 1] == ' ')
            --n;
        return std::string_view(v->payload.text, n);
    };
    std::string_view haystack = trimmed(text), needle = trimmed(pattern);
    if (needle.empty())
        return 0;
    uint64_t count = 0;
    for (size_t at = haystack.find(needle); at != std::string_view::npos;
         at = haystack.find(needle, at + needle.size()))
        ++count;
    return count;
}

// Refuses, before the library allocates it, a function result larger than
// MaxValueSize: the functions whose result can outgrow their arguments.
void check_function_result(Evaluation *e, const FunctionEntry *entry, int32_t argc, Value **argv)
{
    uint64_t octets = 0;
    switch (entry->id) {
    case 10:  // CONCAT
        octets = text_octets(argv[0]) + text_octets(argv[1]);
        break;
    case 29:  // INSERT
        octets = argc == 4 ? text_octets(argv[0]) + text_octets(argv[3]) : 0;
        break;
    case 49: {  // REPEAT: at least one copy
        int64_t times = argc == 2 ? integer_argument(argv[1]) : 0;
        octets = text_octets(argv[0]) * static_cast<uint64_t>(times < 1 ? 1 : times);
        break;
    }
    case 50: {  // REPLACE: an upper bound first, the exact size when it is too large
        if (argc != 3 || is_null(argv[0]) || is_null(argv[1]) || is_null(argv[2]))
            return;
        uint64_t text = text_octets(argv[0]), from = text_octets(argv[1]), to = text_octets(argv[2]);
        if (to <= from)
            return;
        octets = text + (text / (from == 0 ? 1 : from)) * (to - from);
        if (octets > e->max_value_size)
            octets = text + replacements(argv[0], argv[1]) * (to - from);
        break;
    }
    case 58: {  // SPACE
        int64_t count = argc == 1 ? integer_argument(argv[0]) : 0;
        octets = count < 0 ? 0 : static_cast<uint64_t>(count);
        break;
    }
    default:
        return;
    }
    check_value_size(e, octets);
}

// CURRENT_DATE, CURRENT_TIME, CURRENT_TIMESTAMP, CURDATE, CURTIME and NOW
// read the clock the statement captured as it started, so that every one
// of them in a statement agrees (SQL evaluates them all at one instant).
// Null where the catalogue's function must answer instead: a NULL or
// refused precision (the arguments are fitted to the function already), or
// a clock that could not be read.
Value *statement_clock(Evaluation *e, int32_t id, int32_t argc, Value **argv)
{
    constexpr int32_t kCurrentDate = 14, kCurrentTime = 15, kCurrentTimestamp = 16, kNow = 41;
    if ((id != kCurrentDate && id != kCurrentTime && id != kCurrentTimestamp && id != kNow) ||
        e->stmt == nullptr || !e->stmt->clock_read || argc > 1)
        return nullptr;
    int32_t precision = id == kCurrentTime ? 0 : 6;
    if (argc == 1) {
        Value *p = argv[0];
        if (is_null(p) || p->type != VALUE_INTEGER ||
            p->payload.integer < 0 || p->payload.integer > 9)
            return nullptr;
        precision = p->payload.integer;
    }
    const TimestampStruct &clock = e->stmt->clock;
    if (id == kCurrentDate) {
        Value *v = new_value(e, VALUE_DATE);
        v->payload.date = DateStruct{clock.year, clock.month, clock.day};
        return v;
    }
    if (id == kCurrentTime) {
        Value *v = new_value(e, VALUE_TIME);
        v->payload.time = TimeStruct{clock.hour, clock.minute, clock.second};
        return v;
    }
    uint32_t unit = 1;
    for (int32_t i = precision; i < 9; ++i)
        unit *= 10;
    Value *v = new_value(e, VALUE_TIMESTAMP);
    v->payload.timestamp = clock;
    v->payload.timestamp.fraction = clock.fraction / unit * unit;
    return v;
}

Value *call_function(Evaluation *e, const FunctionEntry *entry, int32_t argc, Value **argv)
{
    for (int32_t i = 0; i < argc && i < 11; ++i)
        argv[i] = fit_argument(e, argv[i], entry->arg_class[i]);
    check_function_result(e, entry, argc, argv);
    if (Value *reading = statement_clock(e, entry->id, argc, argv))
        return reading;
    e->context.result = 0;
    Value *result = execute_function(entry, &e->context, argc, argv, 0, 0);
    return checked(e, result);
}

// Out of line: its argument array would otherwise widen the frame of every
// evaluate_node call, leaves included.
[[gnu::noinline]] Value *scalar_function(Evaluation *e, ParseNode *node)
{
    const FunctionEntry *entry = reinterpret_cast<const FunctionEntry *>(node->field[kFunctionEntry]);
    int32_t id = static_cast<int32_t>(node->field[0]);
    Value *argv[11];  // the first argc are set; zeroing all costs more than a call
    int32_t argc = 0;
    if (id < 0 && id >= -6) {
        // the SQL-92 forms keep their operands in fields 3 to 5
        for (int i = 2; i <= 4; ++i)
            if (node->field[i] != 0)
                argv[argc++] = evaluate_node(e, field_node(node, i));
        if (id == -4 && argc == 2) {
            // SUBSTRING without FOR: the rest of the text
            Value *text = as_text(e, argv[0]);
            Value *from = is_null(argv[1]) ? argv[1] : as_integer(e, argv[1]);
            Value *length = new_value(e, VALUE_INTEGER);
            int32_t start = is_null(from) ? 1 : from->payload.integer;
            int64_t rest = static_cast<int64_t>(text->length) - (start < 1 ? 1 : start) + 1;
            length->payload.integer = static_cast<int32_t>(rest < 0 ? 0 : rest);
            argv[0] = text, argv[1] = from, argv[argc++] = length;
        }
        return call_function(e, entry, argc, argv);
    }
    if (id == 28) {
        // IFNULL evaluates its own arguments through the context's evaluator
        List *args = list_of(field_node(node, 1));
        void *expressions[2] = {ListData(ListFirst(args)), ListData(ListLast(args))};
        e->context.evaluate = ifnull_callback;
        Value *result = execute_function(entry, &e->context, 2, reinterpret_cast<Value **>(expressions), 0, 0);
        return checked(e, result);
    }
    auto *const *args = reinterpret_cast<ParseNode *const *>(node->field[kFunctionArgs]);
    int32_t count = static_cast<int32_t>(node->field[kFunctionArgCount]);
    for (; argc < count && argc < 11; ++argc)
        argv[argc] = evaluate_node(e, args[argc]);
    return call_function(e, entry, argc, argv);
}

// CURRENT_DATE, CURRENT_TIME, CURRENT_TIMESTAMP and USER leaves are the
// catalogue's functions of the same meaning.
Value *keyword_leaf(Evaluation *e, Value *leaf)
{
    int32_t id = leaf->type == VALUE_CURRENT_DATE   ? 14
                 : leaf->type == VALUE_CURRENT_TIME ? 15
                 : leaf->type == VALUE_USER         ? 66
                                                    : 16;
    Value *argv[1] = {};
    return call_function(e, kxstd_get_function_info(id), 0, argv);
}

Value *case_node(Evaluation *e, ParseNode *node)
{
    ParseNode *operand_node = field_node(node, 0);
    Value *operand = operand_node != nullptr ? evaluate_node(e, operand_node) : nullptr;
    for (ListElement *el = ListFirst(list_of(field_node(node, 1))); el != nullptr; el = ListNext(el)) {
        step(e);
        ParseNode *when = static_cast<ParseNode *>(ListData(el));
        Value *test = evaluate_node(e, field_node(when, 0));
        bool hit = operand_node != nullptr
                       ? (!is_null(operand) && !is_null(test) && compare(e, operand, test) == 0)
                       : truth_of(e, test) == 1;
        if (hit)
            return evaluate_node(e, field_node(when, 1));
    }
    if (node->field[2] != 0)
        return evaluate_node(e, field_node(node, 2));
    return null_of(e, VALUE_STRING);
}

Value *in_predicate(Evaluation *e, ParseNode *node)
{
    Value *operand = evaluate_node(e, field_node(node, 0));
    bool negated = node->field[1] != 0;
    if (is_null(operand))
        return truth_value(e, 2);
    bool unknown = false;
    for (ListElement *el = ListFirst(list_of(field_node(node, 5))); el != nullptr; el = ListNext(el)) {
        step(e);
        Value *candidate = evaluate_node(e, static_cast<ParseNode *>(ListData(el)));
        if (is_null(candidate)) {
            unknown = true;
            continue;
        }
        if (compare(e, operand, candidate) == 0)
            return truth_value(e, negated ? 0 : 1);
    }
    return truth_value(e, unknown ? 2 : negated ? 1 : 0);
}

[[gnu::noinline]] Value *evaluate_compound(Evaluation *e, ParseNode *node)
{
    switch (node->kind) {
    case NODE_VALUE: {
        Value *leaf = reinterpret_cast<Value *>(node);
        if (leaf->type >= VALUE_CURRENT_DATE && leaf->type <= VALUE_CURRENT_TIMESTAMP)
            return keyword_leaf(e, leaf);
        if (leaf->type == VALUE_NULL)
            return null_of(e, VALUE_NULL);  // the untyped NULL, flagged as NULL
        return private_copy(e, leaf);
    }
    case NODE_DYNAMIC_PARAM:
        return private_copy(e, e->parameters[node->field[0] - 1]);
    case KX_NODE_COLUMN_REFERENCE:
        return private_copy(e, e->source_row[node->field[kColumnIndex]]);
    case KX_NODE_EXPRESSION:
        return expression_node(e, node);
    case KX_NODE_SCALAR_FUNCTION:
        return scalar_function(e, node);
    case KX_NODE_CAST:
        return cast_value(e, evaluate_node(e, field_node(node, 0)), field_node(node, 1));
    case KX_NODE_CASE:
        return case_node(e, node);
    case KX_NODE_NULL_TEST: {
        bool null = is_null(evaluate_node(e, field_node(node, 0)));
        return truth_value(e, (node->field[1] != 0) != null ? 1 : 0);
    }
    case KX_NODE_IN_PREDICATE:
        return in_predicate(e, node);
    case KX_NODE_NULLIF: {
        Value *a = evaluate_node(e, field_node(node, 0));
        Value *b = evaluate_node(e, field_node(node, 1));
        if (!is_null(a) && !is_null(b) && compare(e, a, b) == 0)
            return null_of(e, a->type);
        return a;
    }
    case KX_NODE_COALESCE: {
        Value *last = nullptr;
        for (ListElement *el = ListFirst(list_of(field_node(node, 0))); el != nullptr; el = ListNext(el)) {
            step(e);
            last = evaluate_node(e, static_cast<ParseNode *>(ListData(el)));
            if (!is_null(last))
                return last;
        }
        return last;
    }
    case KX_NODE_IDENTIFIER:
        // a keyword argument (SQL_TSI_DAY) goes only to the functions that
        // read it by name, so the leaf itself is handed over, uncopied
        return reinterpret_cast<Value *>(node->field[kKeywordValue]);
    default:
        evaluation_error(e, "HYC00", "Optional feature not implemented");
    }
}

}  // namespace

Value *evaluate(Evaluation *e, ParseNode *node) { return evaluate_node(e, node); }

}  // namespace kxdrv
