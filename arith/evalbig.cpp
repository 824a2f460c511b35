// evalbig: the binary operators of a driver's expression evaluator over
// 64-bit integers.
//
// Exports bigint_operation. Both operands are read with get_bigint_from_value.
// + - * wrap in two's complement and / truncates toward zero, each writing a
// non-NULL VALUE_BIGINT (high word, then low word) into the result; the
// comparisons write a truth value with set_trivalue_in_value. Division by
// zero posts "22012" "Division by zero" (subclass origin "ODBC3.0") and
// leaves through the context's exit point; no frame here holds an object
// with a destructor. NULL operands are the caller's concern.
#include <cstdint>

#include "diagnostics/error_exit.h"
#include "kxsupp/arith.h"
#include "kxsupp/values.h"

namespace {

void store_bigint(Value *result, uint64_t bits)
{
    result->type = VALUE_BIGINT;
    result->null_flag = 0;
    result->payload.bigint.high = static_cast<int32_t>(static_cast<uint32_t>(bits >> 32));
    result->payload.bigint.low = static_cast<uint32_t>(bits);
}

}  // namespace

extern "C" {

KX_API void bigint_operation(Value *a, Value *b, Value *result, EvalContext *context,
                             int32_t op)
{
    if (a == nullptr || b == nullptr || result == nullptr)
        return;
    int64_t x = get_bigint_from_value(a);
    int64_t y = get_bigint_from_value(b);
    uint64_t ux = static_cast<uint64_t>(x);
    uint64_t uy = static_cast<uint64_t>(y);
    switch (op) {
    case KX_OP_ADD:
        store_bigint(result, ux + uy);
        return;
    case KX_OP_SUBTRACT:
        store_bigint(result, ux - uy);
        return;
    case KX_OP_MULTIPLY:
        store_bigint(result, ux * uy);
        return;
    case KX_OP_DIVIDE:
        result->type = VALUE_BIGINT;
        if (y == 0) {
            if (context != nullptr)
                kx::error_exit(context, "ODBC3.0", "22012", "Division by zero");
            store_bigint(result, 0);  // no exit point to leave through
            return;
        }
        // The one quotient outside the range wraps to itself.
        store_bigint(result, (x == INT64_MIN && y == -1) ? ux : static_cast<uint64_t>(x / y));
        return;
    case KX_OP_LESS:
        set_trivalue_in_value(result, x < y);
        return;
    case KX_OP_GREATER:
        set_trivalue_in_value(result, x > y);
        return;
    case KX_OP_GREATER_EQUAL:
        set_trivalue_in_value(result, x >= y);
        return;
    case KX_OP_LESS_EQUAL:
        set_trivalue_in_value(result, x <= y);
        return;
    case KX_OP_EQUAL:
        set_trivalue_in_value(result, x == y);
        return;
    case KX_OP_NOT_EQUAL:
        set_trivalue_in_value(result, x != y);
        return;
    default:
        return;
    }
}

}  // extern "C"
