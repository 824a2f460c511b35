// functions_numeric_std: the numeric scalar functions of the standard
// catalogue.
//
// ABS, ACOS, ASIN, ATAN, ATAN2, CEILING, COS, COT, DEGREES, EXP, FLOOR, LOG,
// LOG10, MOD, PI, POWER, RADIANS, RAND, ROUND, SIGN, SIN, SQRT, TAN and
// TRUNCATE as kxstd_func_* routines (hidden; declared in
// functions/functions_std.h and reached through kxstd_functions).
//
// Arguments are read as they come, whatever class the driver brought them
// to: integers, bits, bigints and numerics exactly, doubles as they are,
// text as a decimal number (22018 when it is not one); a datetime, interval
// or binary argument is 42000. A NULL argument gives a NULL result of the
// type the call would give.
//
// Results:
//  - ABS, CEILING, FLOOR, ROUND and TRUNCATE give their argument's type: an
//    exact argument gives an exact result (a numeric of precision 38 for a
//    numeric or text argument, brought to its decimal place exactly: ROUND
//    half away from zero, TRUNCATE toward zero), a double a double (rounded
//    as its shortest decimal text reads, so ROUND(1.005, 2) is 1.01);
//  - SIGN gives an integer, MOD an integer for two integers and a bigint
//    otherwise (the remainder has the dividend's sign);
//  - the others give doubles; pi is M_PI's double, and RAND draws from a
//    generator of each thread's own (RAND(n) reseeds it with n first).
// Errors leave through kx::std_raise: 22003 for a result that does not fit
// its type or is not finite, or an ACOS/ASIN argument outside [-1, 1];
// 2201E for the logarithm of a number <= 0 and 2201F for the square root of
// a negative number, 0 to a negative power and a negative number to a
// fractional power (as PostgreSQL reports them); 22012 for MOD by zero and
// COT(0); HY001 when the result record cannot be made. Without a context
// there is no memory to make a result in: every routine gives null. The
// error exit is a longjmp: no frame here holds an object with a destructor.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "arith/numeric_std_internal.h"
#include "diagnostics/standard_exit.h"
#include "functions/functions_std.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "values/values_std_numbers.h"

namespace {

using kx::fn::arg;
using kx::stdnum::NumberKind;
using kx::stdnum::Rounding;

// pi and the degree factors of the double nearest pi, as C's M_PI and
// Python's math.degrees and math.radians have them.
constexpr double kPi = 3.141592653589793;
constexpr double kRadiansPerDegree = kPi / 180.0;
constexpr double kDegreesPerRadian = 180.0 / kPi;

constexpr const char kLogarithmState[] = "2201E";
constexpr const char kLogarithmMessage[] = "invalid argument for logarithm";
constexpr const char kPowerState[] = "2201F";
constexpr const char kPowerMessage[] = "invalid argument for power function";

// ---- results ----

// Reports status and gives null: the routines return what this returns.
Value *raise(EvalContext *context, int32_t status)
{
    kx::std_raise(context, status);
    return nullptr;
}

Value *raise(EvalContext *context, const char *sqlstate, const char *message)
{
    kx::std_raise(context, sqlstate, message);
    return nullptr;
}

Value *result_of_type(EvalContext *context, int32_t type)
{
    Value *result = kx::fn::new_result(context, type);
    if (result == nullptr)
        return raise(context, KXSTD_NO_MEMORY);
    return result;
}

Value *null_of_type(EvalContext *context, int32_t type)
{
    Value *result = result_of_type(context, type);
    if (result != nullptr)
        result->null_flag = -1;
    return result;
}

Value *double_value(EvalContext *context, double d)
{
    if (!std::isfinite(d))
        return raise(context, KXSTD_NUMERIC_OUT_OF_RANGE);
    Value *result = result_of_type(context, VALUE_DOUBLE);
    if (result != nullptr)
        result->payload.dbl = d == 0.0 ? 0.0 : d;   // one zero
    return result;
}

Value *integer_value(EvalContext *context, int32_t type, int32_t n)
{
    Value *result = result_of_type(context, type);
    if (result != nullptr)
        result->payload.integer = n;
    return result;
}

Value *bigint_value(EvalContext *context, int64_t n)
{
    Value *result = result_of_type(context, VALUE_BIGINT);
    if (result != nullptr) {
        uint64_t bits = static_cast<uint64_t>(n);
        result->payload.bigint.high = static_cast<int32_t>(static_cast<uint32_t>(bits >> 32));
        result->payload.bigint.low = static_cast<uint32_t>(bits);
    }
    return result;
}

// A numeric result with its precision and scale in attr[0] and attr[1].
Value *numeric_value(EvalContext *context, const NumericStruct &n)
{
    Value *result = result_of_type(context, VALUE_NUMERIC);
    if (result != nullptr) {
        result->payload.numeric = n;
        result->attr[0] = n.precision;
        result->attr[1] = n.scale;
    }
    return result;
}

// ---- arguments ----

int64_t bigint_payload(const Value *value)
{
    return static_cast<int64_t>(
        (static_cast<uint64_t>(static_cast<uint32_t>(value->payload.bigint.high)) << 32) |
        value->payload.bigint.low);
}

// The type that a function keeping its argument's type gives: text reads
// as an exact numeric, the untyped NULL gives the catalogue's double.
int32_t kept_type(const Value *x)
{
    if (x == nullptr || x->type == VALUE_NULL)
        return VALUE_DOUBLE;
    if (x->type == VALUE_STRING)
        return VALUE_NUMERIC;
    return x->type;
}

// Argument i as a double; false after reporting (only without a context).
bool read_double(EvalContext *context, const Value *value, double *out)
{
    int32_t status = kx::stdnum::value_to_double(value, out);
    if (status == KXSTD_OK && !std::isfinite(*out))
        status = KXSTD_NUMERIC_OUT_OF_RANGE;   // SQL has no infinities
    if (status != KXSTD_OK) {
        kx::std_raise(context, status);
        return false;
    }
    return true;
}

// An exact argument (integer, bit, bigint, numeric or text) as a numeric.
bool read_numeric(EvalContext *context, const Value *value, NumericStruct *out)
{
    int32_t status = kx::stdnum::value_to_numeric(value, out);
    if (status != KXSTD_OK) {
        kx::std_raise(context, status);
        return false;
    }
    return true;
}

bool read_bigint(EvalContext *context, const Value *value, int64_t *out)
{
    int32_t status = kxstd_get_bigint_from_value(value, out);
    if (status != KXSTD_OK) {
        kx::std_raise(context, status);
        return false;
    }
    return true;
}

bool read_int(EvalContext *context, const Value *value, int32_t *out)
{
    int32_t status = kxstd_get_int_from_value(value, out);
    if (status != KXSTD_OK) {
        kx::std_raise(context, status);
        return false;
    }
    return true;
}

// 42000 for an argument that is no number.
bool is_number(const Value *value)
{
    return kx::stdnum::number_kind(value) != NumberKind::kOther;
}

// ---- double functions ----

// A domain rule: null when x is inside the domain, else the SQLSTATE and
// message to report (a status's text when message is null).
struct DomainError {
    const char *sqlstate;
    const char *message;
    int32_t status;
};

constexpr DomainError kInside{nullptr, nullptr, KXSTD_OK};

DomainError anywhere(double)
{
    return kInside;
}

DomainError unit_range(double x)
{
    if (x >= -1.0 && x <= 1.0)
        return kInside;
    return DomainError{nullptr, nullptr, KXSTD_NUMERIC_OUT_OF_RANGE};
}

DomainError positive(double x)
{
    if (x > 0.0)
        return kInside;
    return DomainError{kLogarithmState, kLogarithmMessage, KXSTD_OK};
}

DomainError not_negative(double x)
{
    if (x >= 0.0)
        return kInside;
    return DomainError{kPowerState, kPowerMessage, KXSTD_OK};
}

DomainError nonzero(double x)
{
    if (x != 0.0)
        return kInside;
    return DomainError{nullptr, nullptr, KXSTD_DIVISION_BY_ZERO};
}

Value *report(EvalContext *context, const DomainError &e)
{
    if (e.sqlstate != nullptr)
        return raise(context, e.sqlstate, e.message);
    return raise(context, e.status);
}

bool is_outside(const DomainError &e)
{
    return e.sqlstate != nullptr || e.status != KXSTD_OK;
}

double acos_of(double x) { return std::acos(x); }
double asin_of(double x) { return std::asin(x); }
double atan_of(double x) { return std::atan(x); }
double cos_of(double x) { return std::cos(x); }
double sin_of(double x) { return std::sin(x); }
double tan_of(double x) { return std::tan(x); }
double cot_of(double x) { return 1.0 / std::tan(x); }
double exp_of(double x) { return std::exp(x); }
double log_of(double x) { return std::log(x); }
double log10_of(double x) { return std::log10(x); }
double sqrt_of(double x) { return std::sqrt(x); }
double degrees_of(double x) { return x * kDegreesPerRadian; }
double radians_of(double x) { return x * kRadiansPerDegree; }

template <double (*Compute)(double), DomainError (*Domain)(double)>
Value *unary_double(EvalContext *context, int32_t argc, Value **argv)
{
    if (context == nullptr)
        return nullptr;
    Value *x = arg(argc, argv, 0);
    if (x != nullptr && !is_number(x))
        return raise(context, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(x))
        return null_of_type(context, VALUE_DOUBLE);
    double d;
    if (!read_double(context, x, &d))
        return nullptr;
    DomainError e = Domain(d);
    if (is_outside(e))
        return report(context, e);
    return double_value(context, Compute(d));
}

// Reads two double arguments; a NULL one gives *null_result.
bool read_two_doubles(EvalContext *context, int32_t argc, Value **argv, double *x, double *y,
                      Value **null_result)
{
    Value *a = arg(argc, argv, 0);
    Value *b = arg(argc, argv, 1);
    *null_result = nullptr;
    if ((a != nullptr && !is_number(a)) || (b != nullptr && !is_number(b))) {
        raise(context, KXSTD_TYPE_MISMATCH);
        return false;
    }
    if (kx::stdnum::is_null_value(a) || kx::stdnum::is_null_value(b)) {
        *null_result = null_of_type(context, VALUE_DOUBLE);
        return false;
    }
    return read_double(context, a, x) && read_double(context, b, y);
}

// ---- exact and typed functions ----

// ABS in the argument's type.
Value *absolute(EvalContext *context, Value *x)
{
    switch (x->type) {
    case VALUE_INTEGER:
        if (x->payload.integer == INT32_MIN)
            return raise(context, KXSTD_NUMERIC_OUT_OF_RANGE);
        return integer_value(context, VALUE_INTEGER,
                             x->payload.integer < 0 ? -x->payload.integer : x->payload.integer);
    case VALUE_BIT:
        return integer_value(context, VALUE_BIT, x->payload.integer);
    case VALUE_BIGINT: {
        int64_t v = bigint_payload(x);
        if (v == INT64_MIN)
            return raise(context, KXSTD_NUMERIC_OUT_OF_RANGE);
        return bigint_value(context, v < 0 ? -v : v);
    }
    case VALUE_DOUBLE: {
        double d;
        if (!read_double(context, x, &d))
            return nullptr;
        return double_value(context, std::fabs(d));
    }
    case VALUE_NUMERIC: {
        // the argument's own precision and scale, the sign made positive
        Value *result = result_of_type(context, VALUE_NUMERIC);
        if (result != nullptr) {
            result->payload.numeric = x->payload.numeric;
            result->payload.numeric.sign = 1;
            result->attr[0] = x->attr[0];
            result->attr[1] = x->attr[1];
        }
        return result;
    }
    default: {
        NumericStruct n;
        if (!read_numeric(context, x, &n))
            return nullptr;
        n.sign = 1;
        return numeric_value(context, n);
    }
    }
}

// An exact number brought to a decimal place, in the argument's type:
// integers and bigints through a numeric and back (22003 when the result
// leaves the type), numerics and text as numerics.
Value *round_exact(EvalContext *context, Value *x, int32_t places, Rounding how)
{
    NumericStruct n;
    if (!read_numeric(context, x, &n))
        return nullptr;
    NumericStruct r;
    int32_t status = kx::stdnum::round_numeric(&n, places, how, &r);
    if (status != KXSTD_OK)
        return raise(context, status);
    switch (x->type) {
    case VALUE_INTEGER:
    case VALUE_BIT: {
        int32_t v = 0;
        status = kxstd_numeric_to_int(&r, &v);
        if (status == KXSTD_OK && x->type == VALUE_BIT && (v < 0 || v > 1))
            status = KXSTD_NUMERIC_OUT_OF_RANGE;
        if (status != KXSTD_OK)
            return raise(context, status);
        return integer_value(context, x->type, v);
    }
    case VALUE_BIGINT: {
        int64_t v = 0;
        status = kxstd_numeric_to_bigint(&r, &v);
        if (status != KXSTD_OK)
            return raise(context, status);
        return bigint_value(context, v);
    }
    default:
        return numeric_value(context, r);
    }
}

// A double brought to its integral ceiling or floor.
double ceiling_of(double d) { return std::ceil(d); }
double floor_of(double d) { return std::floor(d); }

template <Rounding How, double (*OnDouble)(double)>
Value *integral(EvalContext *context, int32_t argc, Value **argv)
{
    if (context == nullptr)
        return nullptr;
    Value *x = arg(argc, argv, 0);
    if (x != nullptr && !is_number(x))
        return raise(context, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(x))
        return null_of_type(context, kept_type(x));
    if (x->type == VALUE_DOUBLE) {
        double d;
        if (!read_double(context, x, &d))
            return nullptr;
        return double_value(context, OnDouble(d));
    }
    return round_exact(context, x, 0, How);
}

// ROUND and TRUNCATE: (x, places).
template <Rounding How>
Value *to_places(EvalContext *context, int32_t argc, Value **argv)
{
    if (context == nullptr)
        return nullptr;
    Value *x = arg(argc, argv, 0);
    Value *n = arg(argc, argv, 1);
    if ((x != nullptr && !is_number(x)) || (n != nullptr && !is_number(n)))
        return raise(context, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(x) || kx::stdnum::is_null_value(n))
        return null_of_type(context, kept_type(x));
    int32_t places;
    if (!read_int(context, n, &places))
        return nullptr;
    if (x->type == VALUE_DOUBLE) {
        double d;
        if (!read_double(context, x, &d))
            return nullptr;
        return double_value(context, kx::stdnum::round_double(d, places, How));
    }
    return round_exact(context, x, places, How);
}

// ---- RAND ----

// Each thread's generator: SplitMix64 over a 64-bit state, seeded on a
// thread's first unseeded call from the clock, the state's own address
// and a process-wide count.
struct RandomState {
    uint64_t state;
    bool seeded;
};

thread_local RandomState t_random{0, false};
uint64_t g_random_streams = 0;

uint64_t next_random(RandomState &r)
{
    r.state += 0x9E3779B97F4A7C15ULL;
    uint64_t z = r.state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

void seed_from_clock(RandomState &r)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    uint64_t stream = __atomic_fetch_add(&g_random_streams, 1, __ATOMIC_RELAXED);
    r.state = (static_cast<uint64_t>(now.tv_sec) * 1000000000ULL +
               static_cast<uint64_t>(now.tv_nsec)) ^
              (reinterpret_cast<uintptr_t>(&r) << 16) ^ (stream * 0xD1B54A32D192ED03ULL);
    r.seeded = true;
}

// 53 random bits as a double in [0, 1).
double unit_interval(uint64_t bits)
{
    return static_cast<double>(bits >> 11) * 0x1.0p-53;
}

}  // namespace

extern "C" {

#define KX_STD_UNARY_DOUBLE(name, compute, domain)                             \
    KX_SCALAR_FUNCTION(name)                                                   \
    {                                                                          \
        (void)pass1, (void)pass2, (void)descriptor;                            \
        return unary_double<compute, domain>(context, argc, argv);            \
    }

KX_STD_UNARY_DOUBLE(kxstd_func_acos, acos_of, unit_range)
KX_STD_UNARY_DOUBLE(kxstd_func_asin, asin_of, unit_range)
KX_STD_UNARY_DOUBLE(kxstd_func_atan, atan_of, anywhere)
KX_STD_UNARY_DOUBLE(kxstd_func_cos, cos_of, anywhere)
KX_STD_UNARY_DOUBLE(kxstd_func_cot, cot_of, nonzero)
KX_STD_UNARY_DOUBLE(kxstd_func_degrees, degrees_of, anywhere)
KX_STD_UNARY_DOUBLE(kxstd_func_exp, exp_of, anywhere)
KX_STD_UNARY_DOUBLE(kxstd_func_log, log_of, positive)
KX_STD_UNARY_DOUBLE(kxstd_func_log10, log10_of, positive)
KX_STD_UNARY_DOUBLE(kxstd_func_radians, radians_of, anywhere)
KX_STD_UNARY_DOUBLE(kxstd_func_sin, sin_of, anywhere)
KX_STD_UNARY_DOUBLE(kxstd_func_sqrt, sqrt_of, not_negative)
KX_STD_UNARY_DOUBLE(kxstd_func_tan, tan_of, anywhere)

#undef KX_STD_UNARY_DOUBLE

KX_SCALAR_FUNCTION(kxstd_func_atan2)
{
    (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    double y;
    double x;
    Value *null_result;
    if (!read_two_doubles(context, argc, argv, &y, &x, &null_result))
        return null_result;
    // ATAN2(y, x), the ordinate first, as PostgreSQL, MySQL and SQLite read it
    return double_value(context, std::atan2(y, x));
}

KX_SCALAR_FUNCTION(kxstd_func_power)
{
    (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    double x;
    double y;
    Value *null_result;
    if (!read_two_doubles(context, argc, argv, &x, &y, &null_result))
        return null_result;
    if ((x == 0.0 && y < 0.0) || (x < 0.0 && std::trunc(y) != y))
        return raise(context, kPowerState, kPowerMessage);
    return double_value(context, std::pow(x, y));
}

KX_SCALAR_FUNCTION(kxstd_func_pi)
{
    (void)argc, (void)argv, (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    return double_value(context, kPi);
}

KX_SCALAR_FUNCTION(kxstd_func_abs)
{
    (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    Value *x = arg(argc, argv, 0);
    if (x != nullptr && !is_number(x))
        return raise(context, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(x))
        return null_of_type(context, kept_type(x));
    return absolute(context, x);
}

KX_SCALAR_FUNCTION(kxstd_func_ceiling)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return integral<Rounding::kCeiling, ceiling_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_floor)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return integral<Rounding::kFloor, floor_of>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_round)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return to_places<Rounding::kHalfAwayFromZero>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_truncate)
{
    (void)pass1, (void)pass2, (void)descriptor;
    return to_places<Rounding::kTowardZero>(context, argc, argv);
}

KX_SCALAR_FUNCTION(kxstd_func_sign)
{
    (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    Value *x = arg(argc, argv, 0);
    if (x != nullptr && !is_number(x))
        return raise(context, KXSTD_TYPE_MISMATCH);
    if (kx::stdnum::is_null_value(x))
        return null_of_type(context, VALUE_INTEGER);
    int32_t sign;
    if (x->type == VALUE_DOUBLE) {
        double d;
        if (!read_double(context, x, &d))
            return nullptr;
        sign = d < 0.0 ? -1 : (d > 0.0 ? 1 : 0);
    } else {
        NumericStruct n;
        NumericStruct zero;
        if (!read_numeric(context, x, &n) || kxstd_bigint_to_numeric(0, &zero, 0) != KXSTD_OK)
            return nullptr;
        sign = kxstd_numeric_compare(&n, &zero);
    }
    return integer_value(context, VALUE_INTEGER, sign);
}

KX_SCALAR_FUNCTION(kxstd_func_mod)
{
    (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    Value *a = arg(argc, argv, 0);
    Value *b = arg(argc, argv, 1);
    if ((a != nullptr && !is_number(a)) || (b != nullptr && !is_number(b)))
        return raise(context, KXSTD_TYPE_MISMATCH);
    // two integers give an integer, anything wider a bigint
    auto narrow = [](const Value *v) {
        return v == nullptr || v->type == VALUE_INTEGER || v->type == VALUE_BIT ||
               v->type == VALUE_NULL;
    };
    int32_t type = narrow(a) && narrow(b) ? VALUE_INTEGER : VALUE_BIGINT;
    if (kx::stdnum::is_null_value(a) || kx::stdnum::is_null_value(b))
        return null_of_type(context, type);
    int64_t dividend;
    int64_t divisor;
    if (!read_bigint(context, a, &dividend) || !read_bigint(context, b, &divisor))
        return nullptr;
    if (divisor == 0)
        return raise(context, KXSTD_DIVISION_BY_ZERO);
    // C's remainder has the dividend's sign; -1 divides everything (and
    // -2^63 % -1 would trap)
    int64_t remainder = divisor == -1 ? 0 : dividend % divisor;
    if (type == VALUE_INTEGER)
        return integer_value(context, VALUE_INTEGER, static_cast<int32_t>(remainder));
    return bigint_value(context, remainder);
}

KX_SCALAR_FUNCTION(kxstd_func_rand)
{
    (void)pass1, (void)pass2, (void)descriptor;
    if (context == nullptr)
        return nullptr;
    Value *seed = arg(argc, argv, 0);
    if (seed != nullptr) {
        if (!is_number(seed))
            return raise(context, KXSTD_TYPE_MISMATCH);
        if (kx::stdnum::is_null_value(seed))
            return null_of_type(context, VALUE_DOUBLE);
        int64_t n;
        if (!read_bigint(context, seed, &n))
            return nullptr;
        t_random.state = static_cast<uint64_t>(n);
        t_random.seeded = true;
    } else if (!t_random.seeded) {
        seed_from_clock(t_random);
    }
    return double_value(context, unit_interval(next_random(t_random)));
}

}  // extern "C"
