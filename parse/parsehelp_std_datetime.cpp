// parsehelp_std_datetime: the standard family's datetime and interval
// literal leaves, and interval kind promotion.
//
// Exports kxstd_make_literal, kxstd_make_interval and kxstd_promote_type.
//
// A leaf is a Value made zero-filled by newNode (kind NODE_VALUE) in the
// caller's memory handle, as MakeLiteral makes its leaves. Where MakeLiteral
// reads a date, time or timestamp with atoi and keeps whatever numbers it
// finds ({d '2004-02-30'} is a leaf) and drops a timestamp's fraction, these
// builders read the text in the literal's own form, refuse a field outside
// its range (22007) and keep a fraction of up to nine digits. An interval
// literal is read by its kind's layout of fields ("D H:N:S" for DAY TO
// SECOND); its leading field is bounded by the leading precision (22015) and
// its other fields by their ranges. Nothing is posted: the status says what
// went wrong, and the text is never changed.
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "arith/calendar_std_internal.h"
#include "arith/interval_std_internal.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

using kx::stdcal::valid_date;
using kx::stdcal::valid_time;
using namespace kx::stdiv;

// A field's value stops growing here; any such value is out of every range.
constexpr int64_t kFieldCap = 10000000000;  // 10^10

// The text still to read.
struct Cursor {
    const char *p;
    const char *end;

    bool at_end() const { return p == end; }
    bool take(char c)
    {
        if (p == end || *p != c)
            return false;
        ++p;
        return true;
    }
    bool at_digit() const { return p != end && *p >= '0' && *p <= '9'; }
};

// Reads min_digits..max_digits decimal digits (max_digits 0: any number)
// into *value, capped at kFieldCap.
bool read_number(Cursor &c, int32_t min_digits, int32_t max_digits, int64_t *value)
{
    int32_t digits = 0;
    int64_t v = 0;
    while (c.at_digit()) {
        if (max_digits != 0 && digits == max_digits)
            return false;
        v = v * 10 + (*c.p - '0');
        if (v > kFieldCap)
            v = kFieldCap;
        ++digits;
        ++c.p;
    }
    *value = v;
    return digits >= min_digits;
}

// The fraction after a decimal point: up to max_digits digits (more is an
// error) as nanoseconds.
bool read_fraction(Cursor &c, int32_t max_digits, uint32_t *nanoseconds)
{
    uint32_t f = 0;
    int32_t digits = 0;
    while (c.at_digit()) {
        if (digits == max_digits)
            return false;
        f = f * 10 + static_cast<uint32_t>(*c.p - '0');
        ++digits;
        ++c.p;
    }
    for (; digits < 9; ++digits)
        f *= 10;
    *nanoseconds = f;
    return true;
}

// The body of a datetime token: whatever stands before the first quote
// ("{d ", "DATE ") is the prefix; after the closing quote only blanks and
// the escape's closing brace may follow.
bool datetime_body(const char *text, Cursor *body)
{
    const char *open = strchr(text, '\'');
    if (open == nullptr)
        return false;
    const char *close = strchr(open + 1, '\'');
    if (close == nullptr)
        return false;
    const char *rest = close + 1;
    while (*rest == ' ')
        ++rest;
    if (*rest == '}')
        ++rest;
    while (*rest == ' ')
        ++rest;
    if (*rest != '\0')
        return false;
    *body = Cursor{open + 1, close};
    return true;
}

bool read_date(Cursor &c, DateStruct *out)
{
    int64_t y, m, d;
    if (!read_number(c, 1, 4, &y) || !c.take('-') || !read_number(c, 1, 2, &m) || !c.take('-') ||
        !read_number(c, 1, 2, &d) || !valid_date(y, m, d))
        return false;
    *out = DateStruct{static_cast<int16_t>(y), static_cast<uint16_t>(m), static_cast<uint16_t>(d)};
    return true;
}

bool read_time(Cursor &c, TimeStruct *out)
{
    int64_t h, m, s;
    if (!read_number(c, 1, 2, &h) || !c.take(':') || !read_number(c, 1, 2, &m) || !c.take(':') ||
        !read_number(c, 1, 2, &s) || !valid_time(h, m, s))
        return false;
    *out = TimeStruct{static_cast<uint16_t>(h), static_cast<uint16_t>(m), static_cast<uint16_t>(s)};
    return true;
}

// The date, one or more blanks, the time, and an optional fraction.
bool read_timestamp(Cursor &c, TimestampStruct *out)
{
    DateStruct d;
    TimeStruct t;
    if (!read_date(c, &d) || !c.take(' '))
        return false;
    while (c.take(' '))
        ;
    if (!read_time(c, &t))
        return false;
    uint32_t fraction = 0;
    if (c.take('.') && !read_fraction(c, 9, &fraction))
        return false;
    *out = TimestampStruct{d.year, d.month, d.day, t.hour, t.minute, t.second, fraction};
    return true;
}

// Reads a datetime literal's body into leaf; false when it is not one.
bool read_datetime(int32_t kind, Cursor body, Value *leaf)
{
    bool ok = false;
    switch (kind) {
    case KX_LITERAL_DATE:
        leaf->type = VALUE_DATE;
        ok = read_date(body, &leaf->payload.date);
        break;
    case KX_LITERAL_TIME:
        leaf->type = VALUE_TIME;
        ok = read_time(body, &leaf->payload.time);
        break;
    default:
        leaf->type = VALUE_TIMESTAMP;
        ok = read_timestamp(body, &leaf->payload.timestamp);
        break;
    }
    return ok && body.at_end();
}

void set_status(int32_t *status, int32_t value)
{
    if (status != nullptr)
        *status = value;
}

Value *new_leaf(MemHandle *handle)
{
    return static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
}

// MakeLiteral for the kinds read as the family reads them, on a copy of the
// text: MakeLiteral writes into a hexadecimal token, and the caller's text
// stays as it was.
Value *family_literal(int32_t kind, const char *text, MemHandle *handle, int32_t *status)
{
    char *copy = nullptr;
    if (text != nullptr) {
        size_t n = strlen(text) + 1;
        copy = static_cast<char *>(kx_mem_alloc(handle, n));
        if (copy == nullptr) {
            set_status(status, KXSTD_NO_MEMORY);
            return nullptr;
        }
        memcpy(copy, text, n);
    }
    Value *leaf = MakeLiteral(kind, copy, handle);
    if (copy != nullptr)
        kx_mem_free(handle, copy);
    set_status(status, leaf != nullptr ? KXSTD_OK : KXSTD_INVALID_ARGUMENT);
    return leaf;
}

// ---- interval literals ----

// The separators of each kind's fields, in order; letters stand for the
// fields (Y M D H N S), the others are the separators between them.
constexpr const char *kLayouts[14] = {"",    "Y",     "M",       "D",   "H",     "N",  "S",
                                      "Y-M", "D H",   "D H:N",   "D H:N:S", "H:N", "H:N:S", "N:S"};

int32_t field_of_letter(char letter)
{
    switch (letter) {
    case 'Y': return 0;
    case 'M': return 1;
    case 'D': return 2;
    case 'H': return 3;
    case 'N': return 4;
    case 'S': return 5;
    default: return -1;
    }
}

// Reads an interval's body for its kind into iv: KXSTD_OK,
// KXSTD_INVALID_DATETIME or KXSTD_INTERVAL_OVERFLOW.
int32_t read_interval(Cursor c, int32_t kind, int32_t leading_precision,
                      int32_t seconds_precision, IntervalStruct *iv)
{
    IntervalStruct out;
    memset(&out, 0, sizeof out);
    out.interval_type = kind;
    if (c.take('-'))
        out.interval_sign = 1;
    else
        c.take('+');

    int64_t leading_limit = 1;
    for (int32_t i = 0; i < leading_precision; ++i)
        leading_limit *= 10;
    bool overflow = false;
    bool leading = true;
    for (const char *p = kLayouts[kind]; *p != '\0'; ++p) {
        int32_t field = field_of_letter(*p);
        if (field < 0) {
            if (!c.take(*p))
                return KXSTD_INVALID_DATETIME;
            continue;
        }
        int64_t v = 0;
        if (!read_number(c, 1, 0, &v))
            return KXSTD_INVALID_DATETIME;
        if (leading)
            overflow = v >= leading_limit;
        else if (v >= kFieldRange[field])
            return KXSTD_INVALID_DATETIME;
        leading = false;
        uint32_t stored = static_cast<uint32_t>(v < kFieldCap ? v : 0);
        switch (field) {
        case 0: out.intval.year_month.year = stored; break;
        case 1: out.intval.year_month.month = stored; break;
        case 2: out.intval.day_second.day = stored; break;
        case 3: out.intval.day_second.hour = stored; break;
        case 4: out.intval.day_second.minute = stored; break;
        default:
            out.intval.day_second.second = stored;
            if (c.take('.') &&
                !read_fraction(c, seconds_precision, &out.intval.day_second.fraction))
                return KXSTD_INVALID_DATETIME;
            break;
        }
    }
    if (!c.at_end())
        return KXSTD_INVALID_DATETIME;
    if (overflow)
        return KXSTD_INTERVAL_OVERFLOW;
    *iv = out;
    return KXSTD_OK;
}

}  // namespace

extern "C" {

KX_API Value *kxstd_make_literal(int32_t kind, const char *text, MemHandle *handle,
                                 int32_t *status)
{
    if (kind != KX_LITERAL_DATE && kind != KX_LITERAL_TIME && kind != KX_LITERAL_TIMESTAMP)
        return family_literal(kind, text, handle, status);
    Cursor body;
    if (text == nullptr || !datetime_body(text, &body)) {
        set_status(status, KXSTD_INVALID_DATETIME);
        return nullptr;
    }
    Value *leaf = new_leaf(handle);
    if (leaf == nullptr) {
        set_status(status, KXSTD_NO_MEMORY);
        return nullptr;
    }
    if (!read_datetime(kind, body, leaf)) {
        release_value(handle, leaf);
        set_status(status, KXSTD_INVALID_DATETIME);
        return nullptr;
    }
    set_status(status, KXSTD_OK);
    return leaf;
}

KX_API Value *kxstd_make_interval(const char *text, int32_t kind, int32_t leading_precision,
                                  int32_t seconds_precision, MemHandle *handle,
                                  int32_t *status)
{
    if (text == nullptr || !valid_kind(kind) || leading_precision < 1 || leading_precision > 9 ||
        seconds_precision < 0 || seconds_precision > 9) {
        set_status(status, KXSTD_INVALID_ARGUMENT);
        return nullptr;
    }
    size_t n = strlen(text);
    if (n < 2 || text[0] != '\'' || text[n - 1] != '\'') {
        set_status(status, KXSTD_INVALID_DATETIME);
        return nullptr;
    }
    IntervalStruct iv;
    int32_t read = read_interval(Cursor{text + 1, text + n - 1}, kind, leading_precision,
                                 seconds_precision, &iv);
    if (read != KXSTD_OK) {
        set_status(status, read);
        return nullptr;
    }
    Value *leaf = new_leaf(handle);
    if (leaf == nullptr) {
        set_status(status, KXSTD_NO_MEMORY);
        return nullptr;
    }
    leaf->type = year_month_kind(kind) ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS;
    leaf->attr[2] = leading_precision;
    leaf->attr[3] = seconds_precision;
    leaf->payload.interval = iv;
    set_status(status, KXSTD_OK);
    return leaf;
}

KX_API int32_t kxstd_promote_type(int32_t a, int32_t b, int32_t *kind)
{
    if (!valid_kind(a) || !valid_kind(b))
        return KXSTD_INVALID_ARGUMENT;
    int32_t covering = covering_kind(a, b);
    if (covering == 0)
        return KXSTD_TYPE_MISMATCH;
    if (kind != nullptr)
        *kind = covering;
    return KXSTD_OK;
}

}  // extern "C"
