// evalnum_std: the binary operators of a driver's expression evaluator over
// numbers, the standard family's way.
//
// Exports kxstd_numeric_operation and kxstd_bigint_operation
// (include/kxsupp/standard.h). The operator codes are numeric_operation's:
// + - * / write a number into the result, < > >= <= = <> a truth value
// (set_trivalue_in_value); any other code leaves the result as it is.
//
// kxstd_numeric_operation takes any two numbers. When both are exact
// (integers, bits, bigints, numerics, or text that reads as a number) the
// arithmetic is exact through the kxstd_ numeric routines and the result is
// a VALUE_NUMERIC of precision 38 (attr[0]) and its scale (attr[1]); when
// either is a double the arithmetic is in double precision and the result a
// VALUE_DOUBLE (a zero always +0.0). Comparisons order the true values.
// kxstd_bigint_operation reads its operands as 64-bit integers and never
// wraps.
//
// NULL operands give a NULL result (of the type the operands would give; a
// NULL truth value for a comparison). Errors leave through the context
// (kx::std_raise): 22003 for a result that does not fit, 22012 for a
// division by zero, 22018 for text that is not a number, 42000 for an
// operand that is no number; without a context the result is NULL. The
// operands are read before the result is written, so the result may be one
// of them. No frame here holds an object with a destructor.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "arith/numeric_std_internal.h"
#include "diagnostics/standard_exit.h"
#include "kxsupp/arith.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "values/values_std_numbers.h"

namespace {

using kx::stdnum::NumberKind;

bool is_arithmetic(int32_t op)
{
    return op == KX_OP_ADD || op == KX_OP_SUBTRACT || op == KX_OP_MULTIPLY ||
           op == KX_OP_DIVIDE;
}

bool is_comparison(int32_t op)
{
    return op >= KX_OP_LESS && op <= KX_OP_NOT_EQUAL;
}

bool truth_of(int32_t order, int32_t op)
{
    switch (op) {
    case KX_OP_LESS:
        return order < 0;
    case KX_OP_GREATER:
        return order > 0;
    case KX_OP_GREATER_EQUAL:
        return order >= 0;
    case KX_OP_LESS_EQUAL:
        return order <= 0;
    case KX_OP_EQUAL:
        return order == 0;
    default:
        return order != 0;
    }
}

// Gives the result its type and null flag, and clears what a number of
// that type does not use.
void start_result(Value *result, int32_t type, bool null)
{
    result->type = type;
    result->null_flag = null ? -1 : 0;
    result->length = 0;
    result->data_length = 0;
    for (intptr_t &a : result->attr)
        a = 0;
    std::memset(&result->payload, 0, sizeof result->payload);
}

void null_result(Value *result, int32_t op, int32_t type)
{
    if (is_comparison(op))
        set_trivalue_in_value(result, 2);
    else
        start_result(result, type, true);
}

void numeric_result(Value *result, const NumericStruct &n)
{
    start_result(result, VALUE_NUMERIC, false);
    result->attr[0] = n.precision;
    result->attr[1] = n.scale;
    result->payload.numeric = n;
}

void double_result(Value *result, double d)
{
    start_result(result, VALUE_DOUBLE, false);
    result->payload.dbl = d == 0.0 ? 0.0 : d;
}

// Reports status through the context, or, without one, makes the result
// NULL (the routine then returns).
void fail(Value *result, EvalContext *context, int32_t op, int32_t type, int32_t status)
{
    kx::std_raise(context, status);
    null_result(result, op, type);
}

void approximate(Value *a, Value *b, Value *result, EvalContext *context, int32_t op)
{
    double x = 0.0;
    double y = 0.0;
    int32_t status = kx::stdnum::value_to_double(a, &x);
    if (status == KXSTD_OK)
        status = kx::stdnum::value_to_double(b, &y);
    if (status != KXSTD_OK)
        return fail(result, context, op, VALUE_DOUBLE, status);
    if (is_comparison(op)) {
        set_trivalue_in_value(result, truth_of(x < y ? -1 : (x > y ? 1 : 0), op) ? 1 : 0);
        return;
    }
    double r;
    switch (op) {
    case KX_OP_ADD:
        r = x + y;
        break;
    case KX_OP_SUBTRACT:
        r = x - y;
        break;
    case KX_OP_MULTIPLY:
        r = x * y;
        break;
    default:
        if (y == 0.0)
            return fail(result, context, op, VALUE_DOUBLE, KXSTD_DIVISION_BY_ZERO);
        r = x / y;
        break;
    }
    if (!std::isfinite(r))
        return fail(result, context, op, VALUE_DOUBLE, KXSTD_NUMERIC_OUT_OF_RANGE);
    double_result(result, r);
}

void exact(Value *a, Value *b, Value *result, EvalContext *context, int32_t op)
{
    NumericStruct x;
    NumericStruct y;
    int32_t status = kx::stdnum::value_to_numeric(a, &x);
    if (status == KXSTD_OK)
        status = kx::stdnum::value_to_numeric(b, &y);
    if (status != KXSTD_OK)
        return fail(result, context, op, VALUE_NUMERIC, status);
    if (is_comparison(op)) {
        set_trivalue_in_value(result, truth_of(kxstd_numeric_compare(&x, &y), op) ? 1 : 0);
        return;
    }
    switch (op) {
    case KX_OP_ADD:
        status = kxstd_add_numeric(&x, &y);
        break;
    case KX_OP_SUBTRACT:
        status = kxstd_subtract_numeric(&x, &y);
        break;
    case KX_OP_MULTIPLY:
        status = kxstd_mult_numeric(&x, &y);
        break;
    default:
        status = kxstd_div_numeric(&x, &y);
        break;
    }
    if (status != KXSTD_OK)
        return fail(result, context, op, VALUE_NUMERIC, status);
    numeric_result(result, x);
}

// The common numeric case: two non-NULL numerics under + - or *, answered
// by the short path of numeric_std_internal.h (the same record the exact
// routines give). False when it is not that case, or the short path leaves
// it to the general one; the result is then untouched.
inline bool numerics_short(const Value *a, const Value *b, Value *result, int32_t op)
{
    if (a->type != VALUE_NUMERIC || b->type != VALUE_NUMERIC || a->null_flag != 0 ||
        b->null_flag != 0)
        return false;
    NumericStruct x = a->payload.numeric;
    const NumericStruct *y = &b->payload.numeric;
    bool done;
    switch (op) {
    case KX_OP_ADD:
        done = kx::stdnum::add_short(&x, y, kx::stdnum::is_negative(&x),
                                     kx::stdnum::is_negative(y));
        break;
    case KX_OP_SUBTRACT:
        done = kx::stdnum::add_short(&x, y, kx::stdnum::is_negative(&x),
                                     !kx::stdnum::is_negative(y));
        break;
    case KX_OP_MULTIPLY:
        done = kx::stdnum::multiply_short(&x, y);
        break;
    default:
        return false;
    }
    if (done)
        numeric_result(result, x);
    return done;
}

// A non-NULL integer, bit or bigint read as 64 bits, as
// kxstd_get_bigint_from_value reads it; false for anything else.
inline bool plain_integer(const Value *v, int64_t *out)
{
    if (v->null_flag != 0)
        return false;
    if (v->type == VALUE_BIGINT) {
        uint64_t bits = (static_cast<uint64_t>(static_cast<uint32_t>(v->payload.bigint.high)) << 32) |
                        v->payload.bigint.low;
        *out = static_cast<int64_t>(bits);
        return true;
    }
    if (v->type == VALUE_INTEGER || v->type == VALUE_BIT) {
        *out = v->payload.integer;
        return true;
    }
    return false;
}

void store_bigint(Value *result, int64_t v)
{
    start_result(result, VALUE_BIGINT, false);
    uint64_t bits = static_cast<uint64_t>(v);
    result->payload.bigint.high = static_cast<int32_t>(static_cast<uint32_t>(bits >> 32));
    result->payload.bigint.low = static_cast<uint32_t>(bits);
}

// The 64-bit operation on x and y into result; never wraps.
inline void bigint_result(int64_t x, int64_t y, Value *result, EvalContext *context, int32_t op)
{
    if (is_comparison(op)) {
        set_trivalue_in_value(result, truth_of(x < y ? -1 : (x > y ? 1 : 0), op) ? 1 : 0);
        return;
    }
    int64_t r = 0;
    bool overflow;
    switch (op) {
    case KX_OP_ADD:
        overflow = __builtin_add_overflow(x, y, &r);
        break;
    case KX_OP_SUBTRACT:
        overflow = __builtin_sub_overflow(x, y, &r);
        break;
    case KX_OP_MULTIPLY:
        overflow = __builtin_mul_overflow(x, y, &r);
        break;
    default:
        if (y == 0)
            return fail(result, context, op, VALUE_BIGINT, KXSTD_DIVISION_BY_ZERO);
        // the one quotient beyond the range: -2^63 / -1
        overflow = x == INT64_MIN && y == -1;
        if (!overflow)
            r = x / y;
        break;
    }
    if (overflow)
        return fail(result, context, op, VALUE_BIGINT, KXSTD_NUMERIC_OUT_OF_RANGE);
    store_bigint(result, r);
}

// kxstd_bigint_operation's operands of any other kind: NULLs, numerics,
// doubles and text read by kxstd_get_bigint_from_value, and what is no
// number refused. Out of line, so that the common path stays short.
__attribute__((noinline)) void bigint_operands(Value *a, Value *b, Value *result,
                                               EvalContext *context, int32_t op)
{
    if (kx::stdnum::number_kind(a) == NumberKind::kOther ||
        kx::stdnum::number_kind(b) == NumberKind::kOther)
        return fail(result, context, op, VALUE_BIGINT, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(a) || kx::stdnum::is_null_value(b))
        return null_result(result, op, VALUE_BIGINT);
    int64_t x = 0;
    int64_t y = 0;
    int32_t status = kxstd_get_bigint_from_value(a, &x);
    if (status == KXSTD_OK)
        status = kxstd_get_bigint_from_value(b, &y);
    if (status != KXSTD_OK)
        return fail(result, context, op, VALUE_BIGINT, status);
    bigint_result(x, y, result, context, op);
}

}  // namespace

extern "C" {

KX_API void kxstd_numeric_operation(Value *a, Value *b, Value *result, EvalContext *context,
                                    int32_t op)
{
    if (a == nullptr || b == nullptr || result == nullptr ||
        !(is_arithmetic(op) || is_comparison(op)))
        return;
    if (numerics_short(a, b, result, op))
        return;
    NumberKind ka = kx::stdnum::number_kind(a);
    NumberKind kb = kx::stdnum::number_kind(b);
    bool approximate_kind = ka == NumberKind::kDouble || kb == NumberKind::kDouble;
    int32_t type = approximate_kind ? VALUE_DOUBLE : VALUE_NUMERIC;
    if (ka == NumberKind::kOther || kb == NumberKind::kOther)
        return fail(result, context, op, type, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(a) || kx::stdnum::is_null_value(b))
        return null_result(result, op, type);
    if (approximate_kind)
        approximate(a, b, result, context, op);
    else
        exact(a, b, result, context, op);
}

KX_API void kxstd_bigint_operation(Value *a, Value *b, Value *result, EvalContext *context,
                                   int32_t op)
{
    if (a == nullptr || b == nullptr || result == nullptr ||
        !(is_arithmetic(op) || is_comparison(op)))
        return;
    int64_t x;
    int64_t y;
    // integers and bigints, the common operands, are read in place
    if (plain_integer(a, &x) && plain_integer(b, &y))
        bigint_result(x, y, result, context, op);
    else
        bigint_operands(a, b, result, context, op);
}

}  // extern "C"
