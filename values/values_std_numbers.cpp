// values_std_numbers: a Value as a number, the standard family's way.
//
// Exports kxstd_get_int_from_value, kxstd_get_bigint_from_value and
// kxstd_set_value_to_double (include/kxsupp/standard.h). Internal: the
// readers of values/values_std_numbers.h that the standard operators,
// scalar functions and comparison share.
//
// Where the family's getters wrap, saturate or read text with atoi, these
// read every number exactly: integers, bits and bigints as they are
// (a bigint as its 64 bits), numerics through the standard numeric routines,
// text as a whole decimal number, and answer KXSTD_NUMERIC_OUT_OF_RANGE for
// a value that does not fit, KXSTD_INVALID_NUMBER for text that is not a
// number, KXSTD_TYPE_MISMATCH for a datetime, interval, binary or long
// value. Nothing here allocates, posts or jumps.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "arith/numeric_std_internal.h"
#include "kxsupp/standard.h"
#include "values/values_std_numbers.h"

namespace {

int64_t bigint_payload(const Value *value)
{
    uint64_t bits =
        (static_cast<uint64_t>(static_cast<uint32_t>(value->payload.bigint.high)) << 32) |
        value->payload.bigint.low;
    return static_cast<int64_t>(bits);
}

void store_bigint_payload(Value *value, int64_t v)
{
    uint64_t bits = static_cast<uint64_t>(v);
    value->payload.bigint.high = static_cast<int32_t>(static_cast<uint32_t>(bits >> 32));
    value->payload.bigint.low = static_cast<uint32_t>(bits);
}

const char *text_of(const Value *value)
{
    return value->payload.text != nullptr ? value->payload.text : "";
}

// A double truncated toward zero, when the whole number lies in
// [low, high]; NaN never does.
bool truncated_in(double d, double low, double high, double *whole)
{
    double t = std::trunc(d);
    if (!(t >= low && t <= high))
        return false;
    *whole = t;
    return true;
}

// The precision a numeric value keeps: its record's, else its declared one
// (attr[0]), else 38.
int32_t precision_of(const Value *value)
{
    int32_t p = value->payload.numeric.precision;
    if (p >= 1 && p <= kx::stdnum::kMaxDigits)
        return p;
    if (value->attr[0] >= 1 && value->attr[0] <= kx::stdnum::kMaxDigits)
        return static_cast<int32_t>(value->attr[0]);
    return kx::stdnum::kMaxDigits;
}

}  // namespace

namespace kx::stdnum {

NumberKind number_kind(const Value *value)
{
    if (value == nullptr)
        return NumberKind::kNull;
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
    case VALUE_BIGINT:
    case VALUE_NUMERIC:
        return NumberKind::kExact;
    case VALUE_DOUBLE:
        return NumberKind::kDouble;
    case VALUE_STRING:
        return NumberKind::kText;
    case VALUE_NULL:
        return NumberKind::kNull;
    default:
        return NumberKind::kOther;
    }
}

bool is_null_value(const Value *value)
{
    return value == nullptr || value->type == VALUE_NULL || value->null_flag != 0;
}

int32_t value_to_numeric(const Value *value, NumericStruct *out)
{
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return kxstd_bigint_to_numeric(value->payload.integer, out, 0);
    case VALUE_BIGINT:
        return kxstd_bigint_to_numeric(bigint_payload(value), out, 0);
    case VALUE_NUMERIC:
        *out = value->payload.numeric;
        return KXSTD_OK;
    case VALUE_STRING:
        return kxstd_text_to_numeric(text_of(value), out);
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

int32_t value_to_double(const Value *value, double *out)
{
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        *out = value->payload.integer;
        return KXSTD_OK;
    case VALUE_BIGINT:
        *out = static_cast<double>(bigint_payload(value));   // the nearest double
        return KXSTD_OK;
    case VALUE_NUMERIC:
        return kxstd_numeric_to_double(&value->payload.numeric, out);
    case VALUE_DOUBLE:
        *out = value->payload.dbl;
        return KXSTD_OK;
    case VALUE_STRING: {
        DecimalText text;
        if (!scan_decimal(text_of(value), &text))
            return KXSTD_INVALID_NUMBER;
        double d = decimal_to_double(text);
        if (!std::isfinite(d))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        *out = d;
        return KXSTD_OK;
    }
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

int32_t compare_numbers(const Value *a, const Value *b, int32_t *order)
{
    NumberKind ka = number_kind(a);
    NumberKind kb = number_kind(b);
    if (ka == NumberKind::kOther || kb == NumberKind::kOther || ka == NumberKind::kNull ||
        kb == NumberKind::kNull)
        return KXSTD_TYPE_MISMATCH;
    int32_t status;
    if (ka == NumberKind::kDouble || kb == NumberKind::kDouble) {
        double x = 0.0;
        double y = 0.0;
        status = value_to_double(a, &x);
        if (status == KXSTD_OK)
            status = value_to_double(b, &y);
        if (status == KXSTD_OK)
            *order = x < y ? -1 : (x > y ? 1 : 0);
        return status;
    }
    NumericStruct x;
    NumericStruct y;
    status = value_to_numeric(a, &x);
    if (status == KXSTD_OK)
        status = value_to_numeric(b, &y);
    if (status == KXSTD_OK)
        *order = kxstd_numeric_compare(&x, &y);
    return status;
}

}  // namespace kx::stdnum

extern "C" {

KX_API int32_t kxstd_get_bigint_from_value(const Value *value, int64_t *out)
{
    if (out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    if (value == nullptr || value->null_flag != 0 || value->type == VALUE_NULL) {
        *out = 0;
        return KXSTD_OK;
    }
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        *out = value->payload.integer;
        return KXSTD_OK;
    case VALUE_BIGINT:
        *out = bigint_payload(value);
        return KXSTD_OK;
    case VALUE_DOUBLE: {
        // -2^63 is a double; the first double above the range is 2^63
        double whole;
        if (!truncated_in(value->payload.dbl, -9223372036854775808.0, 9223372036854774784.0,
                          &whole))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        *out = static_cast<int64_t>(whole);
        return KXSTD_OK;
    }
    case VALUE_NUMERIC:
        return kxstd_numeric_to_bigint(&value->payload.numeric, out);
    case VALUE_STRING: {
        kx::stdnum::DecimalText text;
        if (!kx::stdnum::scan_decimal(text_of(value), &text))
            return KXSTD_INVALID_NUMBER;
        return kx::stdnum::decimal_to_bigint(text, out);
    }
    default:
        return KXSTD_TYPE_MISMATCH;
    }
}

KX_API int32_t kxstd_get_int_from_value(const Value *value, int32_t *out)
{
    if (out == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    int64_t wide = 0;
    int32_t status = kxstd_get_bigint_from_value(value, &wide);
    if (status != KXSTD_OK)
        return status;
    if (wide < INT32_MIN || wide > INT32_MAX)
        return KXSTD_NUMERIC_OUT_OF_RANGE;
    *out = static_cast<int32_t>(wide);
    return KXSTD_OK;
}

KX_API int32_t kxstd_set_value_to_double(Value *value, double d)
{
    if (value == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    double whole;
    switch (value->type) {
    case VALUE_INTEGER:
        if (!truncated_in(d, -2147483648.0, 2147483647.0, &whole))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        value->payload.integer = static_cast<int32_t>(whole);
        break;
    case VALUE_BIT:
        // as ODBC converts to a bit: 0 to below 2, truncated
        if (!(d >= 0.0 && d < 2.0))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        value->payload.integer = d >= 1.0 ? 1 : 0;
        break;
    case VALUE_BIGINT:
        if (!truncated_in(d, -9223372036854775808.0, 9223372036854774784.0, &whole))
            return KXSTD_NUMERIC_OUT_OF_RANGE;
        store_bigint_payload(value, static_cast<int64_t>(whole));
        break;
    case VALUE_DOUBLE:
        value->payload.dbl = d;
        break;
    case VALUE_NUMERIC: {
        NumericStruct n;
        int32_t status = kx::stdnum::double_to_numeric_at(d, value->payload.numeric.scale,
                                                          precision_of(value), &n);
        if (status != KXSTD_OK)
            return status;
        n.precision = value->payload.numeric.precision;
        value->payload.numeric = n;
        break;
    }
    default:
        return KXSTD_TYPE_MISMATCH;
    }
    value->null_flag = 0;
    return KXSTD_OK;
}

}  // extern "C"
