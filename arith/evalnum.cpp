// evalnum: the binary operators of a driver's expression evaluator when an
// exact numeric (VALUE_NUMERIC) takes part.
//
// Exports numeric_operation. Arithmetic (+ - * /) writes a VALUE_NUMERIC into
// the result, which starts as a copy of the whole fixed part of one operand
// (its own reference count kept); comparisons (< > >= <= = <>) write a truth
// value with set_trivalue_in_value. The other operand is first promoted to
// a temporary numeric:
//   integer        precision 15, scale 0
//   double         the numeric operand's precision and scale
//   anything else  read as a 64-bit integer, precision 20, scale 0
// except in comparisons, where a character operand is parsed from its own
// text, in place (precision 20), and any other non-double operand is read as the first
// 32-bit word of its payload (for a bigint, its high word).
// The operands are read before the result is written, so the result may be
// one of them. Division by zero leaves through the context's exit point
// (inside div_numeric, "22012"); no frame here holds an object with a
// destructor. NULL operands are the caller's concern; a call without a
// numeric operand leaves the result untouched.
#include <cstring>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"

namespace {

constexpr uint8_t kIntegerPrecision = 15;
constexpr uint8_t kBigintPrecision = 20;
constexpr uint8_t kTextPrecision = 20;

// Makes result a copy of model's fixed part, keeping result's reference count.
void copy_keeping_references(Value *result, const Value *model)
{
    if (result == model)
        return;
    int32_t references = result->ref_count;
    std::memcpy(result, model, sizeof(Value));
    result->ref_count = references;
}

// The non-numeric operand of an arithmetic operator as a numeric; precision
// and scale are the numeric operand's (used for a double).
NumericStruct promote_for_arithmetic(const Value *operand, uint8_t precision, int8_t scale)
{
    NumericStruct out{};
    if (operand->type == VALUE_DOUBLE)
        double_to_numeric(get_double_from_value(operand), &out, precision, scale);
    else if (operand->type == VALUE_INTEGER)
        int_to_numeric_noscale(get_int_from_value(operand), &out, kIntegerPrecision);
    else
        bigint_to_numeric_noscale(get_bigint_from_value(operand), &out, kBigintPrecision);
    return out;
}

// The non-numeric operand of a comparison as a numeric.
NumericStruct promote_for_comparison(const Value *operand, uint8_t precision, int8_t scale)
{
    NumericStruct out{};
    if (operand->type == VALUE_DOUBLE) {
        double_to_numeric(get_double_from_value(operand), &out, precision, scale);
    } else if (operand->type == VALUE_STRING) {
        // Parsed in place: the operand's own text loses its decimal point
        // (and string_to_numeric works its digits down in the same
        // buffer), as the text parse always does. A missing text reads as
        // zero.
        if (operand->payload.text != nullptr)
            string_to_numeric(operand->payload.text, &out, kTextPrecision, 0);
        else
            int_to_numeric_noscale(0, &out, kTextPrecision);
    } else {
        int32_t first_word;
        std::memcpy(&first_word, operand->payload.raw, sizeof first_word);
        int_to_numeric_noscale(first_word, &out, kIntegerPrecision);
    }
    return out;
}

void arithmetic(Value *a, Value *b, Value *result, EvalContext *context, int32_t op)
{
    if (a->type == VALUE_NUMERIC && b->type == VALUE_NUMERIC) {
        NumericStruct x = a->payload.numeric;
        NumericStruct y = b->payload.numeric;
        // b + a and b * a into a copy of b; a - b and a / b into a copy of a.
        bool into_b = op == KX_OP_ADD || op == KX_OP_MULTIPLY;
        copy_keeping_references(result, into_b ? b : a);
        NumericStruct *r = &result->payload.numeric;
        switch (op) {
        case KX_OP_ADD:
            add_numeric(r, &x);
            break;
        case KX_OP_MULTIPLY:
            mult_numeric(r, &x);
            break;
        case KX_OP_SUBTRACT:
            subtract_numeric(r, &y);
            break;
        default:
            div_numeric(r, &y, context);
            break;
        }
        return;
    }

    bool numeric_left = a->type == VALUE_NUMERIC;
    Value *n = numeric_left ? a : b;
    NumericStruct number = n->payload.numeric;
    NumericStruct other = promote_for_arithmetic(numeric_left ? b : a, number.precision,
                                                 number.scale);
    copy_keeping_references(result, n);
    NumericStruct *r = &result->payload.numeric;
    switch (op) {
    case KX_OP_ADD:
        add_numeric(r, &other);
        break;
    case KX_OP_MULTIPLY:
        mult_numeric(r, &other);
        break;
    case KX_OP_SUBTRACT:
        if (numeric_left) {
            subtract_numeric(r, &other);
        } else {
            subtract_numeric(&other, &number);
            *r = other;
        }
        break;
    default:
        if (numeric_left) {
            div_numeric(r, &other, context);
        } else {
            div_numeric(&other, &number, context);
            *r = other;
        }
        break;
    }
}

void comparison(Value *a, Value *b, Value *result, int32_t op)
{
    NumericStruct promoted;
    const NumericStruct *left;
    const NumericStruct *right;
    if (a->type == VALUE_NUMERIC) {
        left = &a->payload.numeric;
        if (b->type == VALUE_NUMERIC) {
            right = &b->payload.numeric;
        } else {
            promoted = promote_for_comparison(b, left->precision, left->scale);
            right = &promoted;
        }
    } else {
        right = &b->payload.numeric;
        promoted = promote_for_comparison(a, right->precision, right->scale);
        left = &promoted;
    }
    int32_t r = numeric_compare(left, right);
    bool truth;
    switch (op) {
    case KX_OP_LESS:
        truth = r < 0;
        break;
    case KX_OP_GREATER:
        truth = r > 0;
        break;
    case KX_OP_GREATER_EQUAL:
        truth = r >= 0;
        break;
    case KX_OP_LESS_EQUAL:
        truth = r <= 0;
        break;
    case KX_OP_EQUAL:
        truth = r == 0;
        break;
    default:
        truth = r != 0;
        break;
    }
    set_trivalue_in_value(result, truth ? 1 : 0);
}

}  // namespace

extern "C" {

KX_API void numeric_operation(Value *a, Value *b, Value *result, EvalContext *context,
                              int32_t op)
{
    // Without a numeric operand there is no numeric to read precision,
    // scale or payload from: the result is left as it is.
    if (a == nullptr || b == nullptr || result == nullptr ||
        (a->type != VALUE_NUMERIC && b->type != VALUE_NUMERIC))
        return;
    switch (op) {
    case KX_OP_ADD:
    case KX_OP_SUBTRACT:
    case KX_OP_MULTIPLY:
    case KX_OP_DIVIDE:
        arithmetic(a, b, result, context, op);
        return;
    case KX_OP_LESS:
    case KX_OP_GREATER:
    case KX_OP_GREATER_EQUAL:
    case KX_OP_LESS_EQUAL:
    case KX_OP_EQUAL:
    case KX_OP_NOT_EQUAL:
        comparison(a, b, result, op);
        return;
    default:
        return;
    }
}

}  // extern "C"
