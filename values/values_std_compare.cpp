// values_std_compare: the comparison of the standard family.
//
// Exports kxstd_compare_values: the order of two Values by their SQL
// values, whatever their types as long as SQL can compare them, where the
// family's compare_values reads the right operand as the left's type (a
// bigint by its low word, a date against a timestamp as if both were
// dates, text against a number as the number's literal text).
//
// Numbers are compared exactly (kx::stdnum::compare_numbers) unless a
// double takes part; texts are
// blank-padded to the longer one and compared octet by octet; datetimes by
// their fields, a date being its midnight; intervals through
// kxstd_interval_compare. Text against a number or a datetime is read as
// one. Errors leave through the context (kx::std_raise).
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "diagnostics/standard_exit.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "values/values_std_numbers.h"

namespace {

bool is_null(const Value *v)
{
    return v == nullptr || v->null_flag != 0 || v->type == VALUE_NULL;
}

bool is_exact(int32_t type)
{
    return type == VALUE_INTEGER || type == VALUE_BIT || type == VALUE_BIGINT || type == VALUE_NUMERIC;
}

bool is_datetime(int32_t type)
{
    return type == VALUE_DATE || type == VALUE_TIME || type == VALUE_TIMESTAMP;
}

bool is_interval(int32_t type)
{
    return type == VALUE_INTERVAL_YM || type == VALUE_INTERVAL_DS;
}

int32_t sign_of(int64_t difference)
{
    return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

// Texts blank-padded to the longer one, octet by octet.
int32_t compare_texts(const char *a, size_t an, const char *b, size_t bn)
{
    size_t common = an < bn ? an : bn;
    int r = common > 0 ? std::memcmp(a, b, common) : 0;
    if (r != 0)
        return r < 0 ? -1 : 1;
    const unsigned char *rest = reinterpret_cast<const unsigned char *>(an > bn ? a : b);
    for (size_t i = common; i < (an > bn ? an : bn); ++i)
        if (rest[i] != ' ')
            return (rest[i] < ' ') == (an > bn) ? -1 : 1;
    return 0;
}

size_t text_length(const Value *v)
{
    if (v->payload.text == nullptr)
        return 0;
    return v->length >= 0 ? static_cast<size_t>(v->length) : std::strlen(v->payload.text);
}

// Binaries zero-padded to the longer one.
int32_t compare_binaries(const Value *a, const Value *b)
{
    size_t an = a->data_length > 0 ? static_cast<size_t>(a->data_length) : 0;
    size_t bn = b->data_length > 0 ? static_cast<size_t>(b->data_length) : 0;
    const unsigned char *x = a->payload.bytes, *y = b->payload.bytes;
    size_t common = an < bn ? an : bn;
    int r = common > 0 ? std::memcmp(x, y, common) : 0;
    if (r != 0)
        return r < 0 ? -1 : 1;
    const unsigned char *rest = an > bn ? x : y;
    for (size_t i = common; i < (an > bn ? an : bn); ++i)
        if (rest[i] != 0)
            return an > bn ? 1 : -1;
    return 0;
}

// A date, time or timestamp as the seven fields of a timestamp (a date at
// midnight, a time with year 0).
TimestampStruct fields_of(const Value *v)
{
    TimestampStruct t{};
    if (v->type == VALUE_DATE) {
        t.year = v->payload.date.year, t.month = v->payload.date.month, t.day = v->payload.date.day;
    } else if (v->type == VALUE_TIME) {
        t.hour = v->payload.time.hour, t.minute = v->payload.time.minute,
        t.second = v->payload.time.second;
    } else {
        t = v->payload.timestamp;
    }
    return t;
}

// A date's fields as one number in the same order: the year above the
// month above the day (each of those two below 2^16).
inline int64_t date_key(const DateStruct &d)
{
    return static_cast<int64_t>(d.year) * (int64_t{1} << 32) + (int64_t{d.month} << 16) + d.day;
}

int32_t compare_datetimes(const Value *a, const Value *b)
{
    TimestampStruct x = fields_of(a), y = fields_of(b);
    const int64_t fx[] = {x.year, x.month, x.day, x.hour, x.minute, x.second, x.fraction};
    const int64_t fy[] = {y.year, y.month, y.day, y.hour, y.minute, y.second, y.fraction};
    for (size_t i = 0; i < 7; ++i)
        if (fx[i] != fy[i])
            return sign_of(fx[i] - fy[i]);
    return 0;
}

// Reads n digits (exactly, or 1 to n when flexible) into out.
bool digits(const char *&p, int n, bool flexible, int32_t &out)
{
    out = 0;
    int count = 0;
    while (count < n && *p >= '0' && *p <= '9') {
        out = out * 10 + (*p++ - '0');
        ++count;
    }
    return flexible ? count > 0 : count == n;
}

bool separator(const char *&p, char c)
{
    if (*p != c)
        return false;
    ++p;
    return true;
}

// A text in the form of a datetime literal of the given type (blanks around
// it allowed, a timestamp's fraction of up to nine digits, a date given for
// a timestamp taken at midnight), each field in its range.
int32_t text_as_datetime(const Value *text, int32_t type, Value *out)
{
    std::memset(out, 0, sizeof *out);
    out->kind = NODE_VALUE;
    out->type = type;
    const char *p = text->payload.text != nullptr ? text->payload.text : "";
    while (*p == ' ')
        ++p;
    int32_t y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    uint32_t fraction = 0;
    bool has_date = type != VALUE_TIME;
    bool has_time = type != VALUE_DATE;
    if (has_date && !(digits(p, 4, false, y) && separator(p, '-') && digits(p, 2, true, mo) &&
                      separator(p, '-') && digits(p, 2, true, d)))
        return KXSTD_INVALID_DATETIME;
    if (type == VALUE_TIMESTAMP && (*p == '\0' || *p == ' ') && [&] {
            const char *q = p;
            while (*q == ' ')
                ++q;
            return *q == '\0';
        }())
        has_time = false;  // a date alone stands for its midnight
    if (has_time) {
        if (type == VALUE_TIMESTAMP && !separator(p, ' '))
            return KXSTD_INVALID_DATETIME;
        if (!(digits(p, 2, true, h) && separator(p, ':') && digits(p, 2, true, mi) &&
              separator(p, ':') && digits(p, 2, true, s)))
            return KXSTD_INVALID_DATETIME;
        if (type != VALUE_DATE && *p == '.') {
            ++p;
            int count = 0;
            while (*p >= '0' && *p <= '9' && count < 9) {
                fraction = fraction * 10 + static_cast<uint32_t>(*p++ - '0');
                ++count;
            }
            if (count == 0 || (*p >= '0' && *p <= '9'))
                return KXSTD_INVALID_DATETIME;
            for (; count < 9; ++count)
                fraction *= 10;
        }
    }
    while (*p == ' ')
        ++p;
    if (*p != '\0')
        return KXSTD_INVALID_DATETIME;
    if ((has_date && !kxstd_valid_date(y, mo, d)) || h > 23 || mi > 59 || s > 59)
        return KXSTD_INVALID_DATETIME;
    if (type == VALUE_DATE) {
        out->payload.date = DateStruct{static_cast<int16_t>(y), static_cast<uint16_t>(mo),
                                       static_cast<uint16_t>(d)};
    } else if (type == VALUE_TIME) {
        out->payload.time = TimeStruct{static_cast<uint16_t>(h), static_cast<uint16_t>(mi),
                                       static_cast<uint16_t>(s)};
    } else {
        out->payload.timestamp = TimestampStruct{static_cast<int16_t>(y), static_cast<uint16_t>(mo),
                                                 static_cast<uint16_t>(d), static_cast<uint16_t>(h),
                                                 static_cast<uint16_t>(mi), static_cast<uint16_t>(s),
                                                 fraction};
    }
    return KXSTD_OK;
}

int32_t compare_present(const Value *a, const Value *b, int32_t *status);

// A text against a datetime: the text read as a literal of the datetime's
// type, then the two compared. Out of line, with the record it reads into,
// so that the other comparisons do not clear one.
__attribute__((noinline)) int32_t compare_text_as_datetime(const Value *a, const Value *b,
                                                           int32_t *status)
{
    Value read{};
    if (a->type == VALUE_STRING) {
        *status = text_as_datetime(a, b->type, &read);
        return *status == KXSTD_OK ? compare_present(&read, b, status) : 0;
    }
    *status = text_as_datetime(b, a->type, &read);
    return *status == KXSTD_OK ? compare_present(a, &read, status) : 0;
}

// The order of two non-NULL values, or a status in *status.
int32_t compare_present(const Value *a, const Value *b, int32_t *status)
{
    int32_t ta = a->type, tb = b->type;
    bool number_a = is_exact(ta) || ta == VALUE_DOUBLE;
    bool number_b = is_exact(tb) || tb == VALUE_DOUBLE;
    // numbers, and a text against a number as the number it holds
    if ((number_a && (number_b || tb == VALUE_STRING)) || (number_b && ta == VALUE_STRING)) {
        int32_t order = 0;
        *status = kx::stdnum::compare_numbers(a, b, &order);
        return order;
    }
    if ((ta == VALUE_STRING && is_datetime(tb)) || (tb == VALUE_STRING && is_datetime(ta)))
        return compare_text_as_datetime(a, b, status);
    if (ta == VALUE_STRING && tb == VALUE_STRING)
        return compare_texts(a->payload.text, text_length(a), b->payload.text, text_length(b));
    if (ta == VALUE_BINARY && tb == VALUE_BINARY)
        return compare_binaries(a, b);
    if (is_datetime(ta) && is_datetime(tb)) {
        // a time is comparable only with a time
        if ((ta == VALUE_TIME) != (tb == VALUE_TIME)) {
            *status = KXSTD_TYPE_MISMATCH;
            return 0;
        }
        return compare_datetimes(a, b);
    }
    if (is_interval(ta) && is_interval(tb)) {
        int32_t order = 0;
        *status = kxstd_interval_compare(&a->payload.interval, &b->payload.interval, &order);
        return order;
    }
    *status = KXSTD_TYPE_MISMATCH;
    return 0;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_compare_values(const Value *left, const Value *right, EvalContext *context)
{
    // Two dates, a common pair, by their fields at once: year, then month,
    // then day, as compare_datetimes orders them.
    if (left != nullptr && right != nullptr && left->type == VALUE_DATE &&
        right->type == VALUE_DATE && left->null_flag == 0 && right->null_flag == 0) {
        int64_t x = date_key(left->payload.date);
        int64_t y = date_key(right->payload.date);
        return x < y ? -1 : x > y ? 1 : 0;
    }
    bool left_null = is_null(left), right_null = is_null(right);
    if (left_null || right_null)
        return left_null == right_null ? 0 : left_null ? -1 : 1;
    int32_t status = KXSTD_OK;
    int32_t order = compare_present(left, right, &status);
    if (status != KXSTD_OK) {
        kx::std_raise(context, status);
        return 0;
    }
    return order;
}

}  // extern "C"
