// functions_numeric: the numeric scalar functions.
//
// ABS, ACOS, ASIN, ATAN, ATAN2, CEILING, COS, COT, DEGREES, EXP, FLOOR, LOG,
// LOG10, MOD, PI, POWER, RADIANS, RAND, ROUND, SIGN, SIN, SQRT, TAN and
// TRUNCATE, as func_* routines reached through the catalogue. All but ABS
// compute in double precision and give VALUE_DOUBLE results, except CEILING,
// FLOOR, SIGN and MOD, which give VALUE_INTEGER; ABS keeps its argument's
// type. Operands are read with get_double_from_value and get_int_from_value.
//
// Pi is the short constant 3.14159 throughout, so DEGREES(PI()) is exactly
// 180; drivers' results have always depended on it. A domain error posts
// "HY000" "DOMAIN error" and leaves through the error exit (a longjmp): no
// frame here holds an object with a destructor.
#include <cmath>
#include <cstdlib>

#include "functions/functions_internal.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

using namespace kx::fn;

constexpr double kShortPi = 3.14159;

// The family's first steps: the result record of type (null when it cannot
// be made), already marked NULL when a tested argument is NULL.
Value *start_result(EvalContext *context, int32_t type, bool null_argument)
{
    Value *result = new_result(context, type);
    if (result != nullptr && null_argument)
        result->null_flag = -1;
    return result;
}

// The family's steps for a double function of one argument: make the
// result, NULL gives NULL, an argument outside the domain takes the error
// exit, otherwise the computed double.
template <double (*Compute)(double), bool (*OutsideDomain)(double)>
Value *unary_double(EvalContext *context, int32_t argc, Value **argv)
{
    Value *x = arg(argc, argv, 0);
    Value *result = start_result(context, VALUE_DOUBLE, is_null(x));
    if (result == nullptr || result->null_flag != 0)
        return result;
    double d = get_double_from_value(x);
    if (OutsideDomain(d))
        fail(context, "HY000", kDomainError);
    result->payload.dbl = Compute(d);
    return result;
}

// The same for an integer result computed from a double.
template <int32_t (*Compute)(double)>
Value *unary_integer(EvalContext *context, int32_t argc, Value **argv)
{
    Value *x = arg(argc, argv, 0);
    Value *result = start_result(context, VALUE_INTEGER, is_null(x));
    if (result == nullptr || result->null_flag != 0)
        return result;
    result->payload.integer = Compute(get_double_from_value(x));
    return result;
}

// Two-argument doubles (x, n): NULL when either is NULL.
template <double (*Compute)(double, Value *)>
Value *binary_double(EvalContext *context, int32_t argc, Value **argv)
{
    Value *x = arg(argc, argv, 0);
    Value *y = arg(argc, argv, 1);
    Value *result = start_result(context, VALUE_DOUBLE, is_null(x) || is_null(y));
    if (result == nullptr || result->null_flag != 0)
        return result;
    result->payload.dbl = Compute(get_double_from_value(x), y);
    return result;
}

bool never(double) { return false; }
bool outside_unit_range(double x) { return x < -1.0 || x > 1.0; }
bool not_positive(double x) { return x <= 0.0; }
bool negative(double x) { return x < 0.0; }
bool tangent_is_zero(double x) { return std::tan(x) == 0.0; }

double acos_of(double x) { return std::acos(x); }
double asin_of(double x) { return std::asin(x); }
double atan_of(double x) { return std::atan(x); }
double cos_of(double x) { return std::cos(x); }
double sin_of(double x) { return std::sin(x); }
double tan_of(double x) { return std::tan(x); }
double exp_of(double x) { return std::exp(x); }
double log_of(double x) { return std::log(x); }
double log10_of(double x) { return std::log10(x); }
double sqrt_of(double x) { return std::sqrt(x); }
double cot_of(double x) { return 1.0 / std::tan(x); }
double degrees_of(double x) { return x * 180.0 / kShortPi; }
double radians_of(double x) { return x * kShortPi / 180.0; }

int32_t ceiling_of(double x) { return kx::double_to_int32(std::ceil(x)); }
int32_t floor_of(double x) { return kx::double_to_int32(std::floor(x)); }
int32_t sign_of(double x) { return x < 0.0 ? -1 : (x > 0.0 ? 1 : 0); }

double atan2_of(double x, Value *y) { return std::atan2(x, get_double_from_value(y)); }

// The exponent is read as an integer: POWER(2, 0.5) is 1.0.
double power_of(double x, Value *n)
{
    return std::pow(x, static_cast<double>(int_arg(n)));
}

// Rounds by adding one half and truncating toward zero, in one fused
// multiply-add: ROUND(-2.5, 0) is -2.0, and 2.345 to two places is 2.35.
double round_of(double x, Value *n)
{
    double p = std::pow(10.0, static_cast<double>(int_arg(n)));
    double whole;
    std::modf(std::fma(x, p, 0.5), &whole);
    return whole / p;
}

// Truncates at n places, multiplying back by the reciprocal power.
double truncate_of(double x, Value *n)
{
    double places = static_cast<double>(int_arg(n));
    double whole;
    std::modf(x * std::pow(10.0, places), &whole);
    return whole * std::pow(10.0, -places);
}

}  // namespace

extern "C" {

#define KX_UNARY_DOUBLE(name, compute, domain)                                 \
    KX_SCALAR_FUNCTION(name)                                                   \
    {                                                                          \
        (void)pass1, (void)pass2, (void)descriptor;                            \
        return unary_double<compute, domain>(context, argc, argv);            \
    }

KX_UNARY_DOUBLE(func_acos, acos_of, outside_unit_range)
KX_UNARY_DOUBLE(func_asin, asin_of, outside_unit_range)
KX_UNARY_DOUBLE(func_atan, atan_of, never)
KX_UNARY_DOUBLE(func_cos, cos_of, never)
KX_UNARY_DOUBLE(func_cot, cot_of, tangent_is_zero)
KX_UNARY_DOUBLE(func_degrees, degrees_of, never)
KX_UNARY_DOUBLE(func_exp, exp_of, never)
KX_UNARY_DOUBLE(func_log, log_of, not_positive)
KX_UNARY_DOUBLE(func_log10, log10_of, not_positive)
KX_UNARY_DOUBLE(func_radians, radians_of, never)
KX_UNARY_DOUBLE(func_sin, sin_of, never)
KX_UNARY_DOUBLE(func_sqrt, sqrt_of, negative)
KX_UNARY_DOUBLE(func_tan, tan_of, never)

KX_SCALAR_FUNCTION(func_ceiling)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return unary_integer<ceiling_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_floor)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return unary_integer<floor_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_sign)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return unary_integer<sign_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_atan2)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return binary_double<atan2_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_power)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return binary_double<power_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_round)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return binary_double<round_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_truncate)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return binary_double<truncate_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(func_pi)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    return double_result(context, kShortPi);
}

KX_SCALAR_FUNCTION(func_abs)
{
    (void)pass1, (void)pass2, (void)descriptor;
    Value *x = arg(argc, argv, 0);
    if (x == nullptr)
        return nullptr;
    Value *result = new_result(context, x->type);
    if (result == nullptr)
        return nullptr;
    if (is_null(x)) {
        result->null_flag = -1;
        return result;
    }
    switch (x->type) {
    case VALUE_INTEGER: {
        // in 32 bits: the most negative integer stays as it is
        uint32_t bits = static_cast<uint32_t>(x->payload.integer);
        result->payload.integer =
            static_cast<int32_t>(x->payload.integer < 0 ? 0u - bits : bits);
        return result;
    }
    case VALUE_DOUBLE: {
        double d = x->payload.dbl;
        result->payload.dbl = d >= 0.0 ? d : -d;
        return result;
    }
    case VALUE_NUMERIC:
        result->payload.numeric = x->payload.numeric;
        result->payload.numeric.sign = 1;
        result->attr[0] = x->attr[0];
        result->attr[1] = x->attr[1];
        return result;
    case VALUE_BIGINT: {
        uint64_t bits = (static_cast<uint64_t>(static_cast<uint32_t>(x->payload.bigint.high)) << 32) |
                        x->payload.bigint.low;
        if (x->payload.bigint.high < 0)
            bits = 0 - bits;
        result->payload.bigint.high = static_cast<int32_t>(static_cast<uint32_t>(bits >> 32));
        result->payload.bigint.low = static_cast<uint32_t>(bits);
        return result;
    }
    default:
        // no absolute value for this type; the record stays with the handle
        return nullptr;
    }
}

KX_SCALAR_FUNCTION(func_mod)
{
    (void)pass1, (void)pass2, (void)descriptor;
    // Only the dividend is tested for NULL; a NULL divisor reads as its datum.
    Value *a = arg(argc, argv, 0);
    Value *result = start_result(context, VALUE_INTEGER, is_null(a));
    if (result == nullptr || result->null_flag != 0)
        return result;
    int32_t dividend = get_int_from_value(a);
    int32_t divisor = 0;
    if (Value *b = arg(argc, argv, 1)) {
        Value datum = *b;
        datum.null_flag = 0;
        divisor = get_int_from_value(&datum);
    }
    if (divisor == 0)
        fail(context, "22012", "Division by zero");
    // -1 divides everything: no division, so the most negative cannot trap
    result->payload.integer = divisor == -1 ? 0 : dividend % divisor;
    return result;
}

KX_SCALAR_FUNCTION(func_rand)
{
    (void)pass1, (void)pass2, (void)descriptor;
    // A NULL seed gives NULL, and the generator is not reseeded.
    Value *seed = arg(argc, argv, 0);
    Value *result = start_result(context, VALUE_DOUBLE, argc >= 1 && is_null(seed));
    if (result == nullptr || result->null_flag != 0)
        return result;
    if (argc >= 1)
        std::srand(static_cast<unsigned>(get_int_from_value(seed)));
    // unscaled: an integer-valued double from 0 to RAND_MAX
    result->payload.dbl = static_cast<double>(std::rand());
    return result;
}

}  // extern "C"
