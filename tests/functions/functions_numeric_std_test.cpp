// Tests of the numeric scalar functions of the standard catalogue
// (functions/functions_numeric_std.cpp), each run through its catalogue
// entry with execute_function beside the family's entry on the same
// arguments: pi in double precision, ROUND and TRUNCATE at the decimal
// place of the exact value, POWER with a fractional exponent, RAND in
// [0, 1) from a generator of each thread's own, MOD in 64 bits, results in
// their argument's type without saturation, and domain errors in class 22.
//
// Expected values come from Python: math for the doubles (math.pi,
// math.degrees, ...), decimal for the exact ones (quantize with
// ROUND_HALF_UP, half away from zero, or ROUND_DOWN), int for the
// integers; the expression is given beside each.
#include <gtest/gtest.h>

#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "kxsupp/diagnostics.h"
#include "kxsupp/functions.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_failing_alloc.h"
#include "support/kx_test_support.h"

namespace {

using namespace kxtest;

const FunctionEntry *family_entry(const char *name)
{
    return sql92_get_function_info(sql92_get_function_id(name, 0));
}

const FunctionEntry *standard_entry(const char *name)
{
    return kxstd_get_function_info(kxstd_get_function_id(name, 0));
}

// Runs an entry as a driver does, the exit point armed; *jumped tells
// whether the call left through it. No object with a destructor lives here.
Value *run(const FunctionEntry *entry, EvalContext *context, int32_t argc, Value **argv,
           int *jumped)
{
    if (setjmp(context->exit) != 0) {
        *jumped = 1;
        return nullptr;
    }
    *jumped = 0;
    return execute_function(entry, context, argc, argv, 0, 0);
}

// What a call gave: its result, or the one record it posted.
struct Outcome {
    Value *result = nullptr;
    bool jumped = false;
    std::string sqlstate;
    std::string message;
};

// A statement with its error header and context per call, so that every
// call's diagnostics are its own; the results live until the test ends.
class Calls {
public:
    Outcome call(const FunctionEntry *entry, std::initializer_list<Value> args)
    {
        contexts_.emplace_back(new StatementContext());
        StatementContext &sc = *contexts_.back();
        std::vector<Value> *values = new std::vector<Value>(args);
        arguments_.emplace_back(values);
        std::vector<Value *> argv;
        for (Value &v : *values)
            argv.push_back(&v);
        Outcome o;
        int jumped = 0;
        o.result = run(entry, &sc.context, static_cast<int32_t>(argv.size()),
                       argv.empty() ? nullptr : argv.data(), &jumped);
        o.jumped = jumped != 0;
        if (o.jumped) {
            char state[6] = {};
            int32_t native = 0;
            char message[256] = {};
            int16_t length = 0;
            if (GetDiagRec(sc.errors(), 1, state, &native, message, sizeof message, &length) == 0) {
                o.sqlstate = state;
                o.message = message;
            }
            EXPECT_EQ(sc.context.result, -1);
            EXPECT_EQ(GetDiagRec(sc.errors(), 2, state, &native, message, sizeof message, &length),
                      100);
        }
        return o;
    }
    Outcome family(const char *name, std::initializer_list<Value> args)
    {
        return call(family_entry(name), args);
    }
    Outcome standard(const char *name, std::initializer_list<Value> args)
    {
        return call(standard_entry(name), args);
    }
    ~Calls()
    {
        for (StatementContext *c : contexts_)
            delete c;
        for (std::vector<Value> *v : arguments_)
            delete v;
    }

private:
    std::vector<StatementContext *> contexts_;
    std::vector<std::vector<Value> *> arguments_;
};

Value num(const char *digits, int8_t scale, bool negative = false)
{
    Value v = numeric_value(digits, scale, 38, negative);
    v.attr[0] = 38;
    v.attr[1] = scale;
    return v;
}

Value null_of(int32_t type)
{
    Value v = blank(type);
    v.null_flag = -1;
    return v;
}

// The exact text of a numeric result, trailing zeros kept.
std::string show(const Value *v)
{
    const NumericStruct &n = v->payload.numeric;
    std::string digits = decimal(magnitude_of(n));
    if (n.scale > 0) {
        size_t scale = static_cast<size_t>(n.scale);
        if (digits.size() <= scale)
            digits.insert(0, scale + 1 - digits.size(), '0');
        digits.insert(digits.size() - scale, ".");
    }
    return (n.sign == 0 ? "-" : "") + digits;
}

double dbl_of(const Outcome &o)
{
    EXPECT_FALSE(o.jumped) << o.sqlstate << " " << o.message;
    EXPECT_NE(o.result, nullptr);
    if (o.result == nullptr)
        return std::nan("");
    EXPECT_EQ(o.result->type, VALUE_DOUBLE);
    EXPECT_EQ(o.result->null_flag, 0);
    return o.result->payload.dbl;
}

std::string numeric_of(const Outcome &o)
{
    EXPECT_FALSE(o.jumped) << o.sqlstate << " " << o.message;
    if (o.result == nullptr)
        return "(none)";
    EXPECT_EQ(o.result->type, VALUE_NUMERIC);
    EXPECT_EQ(o.result->null_flag, 0);
    EXPECT_EQ(o.result->attr[0], 38);
    EXPECT_EQ(o.result->attr[1], o.result->payload.numeric.scale);
    return show(o.result);
}

bool ends_with(const std::string &s, const std::string &tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

#define EXPECT_POSTED(outcome, state, text)                                    \
    do {                                                                       \
        const Outcome &o_ = (outcome);                                         \
        EXPECT_TRUE(o_.jumped);                                                \
        EXPECT_EQ(o_.sqlstate, state);                                         \
        EXPECT_TRUE(ends_with(o_.message, text)) << o_.message;               \
    } while (0)

// ---- the catalogue ----

TEST(StdNumericCatalogue, NumericRowsRunTheStandardRoutines)
{
    const char *numeric[] = {"ABS",  "ACOS",    "ASIN",  "ATAN",  "ATAN2", "CEILING",
                             "COS",  "COT",     "DEGREES", "EXP", "FLOOR", "LOG",
                             "LOG10", "MOD",    "PI",    "POWER", "RADIANS", "RAND",
                             "ROUND", "SIGN",   "SIN",   "SQRT",  "TAN",   "TRUNCATE"};
    for (const char *name : numeric) {
        const FunctionEntry *f = family_entry(name);
        const FunctionEntry *s = standard_entry(name);
        ASSERT_NE(f, nullptr) << name;
        ASSERT_NE(s, nullptr) << name;
        EXPECT_NE(s->impl, f->impl) << name;
        EXPECT_EQ(s->id, f->id) << name;
        EXPECT_EQ(s->arg_count, f->arg_count) << name;
        EXPECT_EQ(s->result_class, f->result_class) << name;
    }
}

// ---- pi, DEGREES, RADIANS ----

TEST(StdNumericFunctions, PiInDoublePrecision)
{
    Calls c;
    EXPECT_EQ(dbl_of(c.family("PI", {})), 3.14159);
    EXPECT_EQ(dbl_of(c.standard("PI", {})), 3.141592653589793);   // math.pi
    // DEGREES(1): the family's 180 / 3.14159 (1 * 180 / 3.14159 == 57.295827908797776);
    // math.degrees(1) == 57.29577951308232
    EXPECT_EQ(dbl_of(c.family("DEGREES", {integer(1)})), 57.295827908797776);
    EXPECT_EQ(dbl_of(c.standard("DEGREES", {integer(1)})), 57.29577951308232);
    // math.degrees(math.pi) == 180.0; math.radians(180) == 3.141592653589793
    EXPECT_EQ(dbl_of(c.standard("DEGREES", {dbl(3.141592653589793)})), 180.0);
    EXPECT_EQ(dbl_of(c.family("RADIANS", {integer(180)})), 3.14159);
    EXPECT_EQ(dbl_of(c.standard("RADIANS", {integer(180)})), 3.141592653589793);
}

// ---- ROUND and TRUNCATE ----

TEST(StdNumericFunctions, RoundHalfAwayFromZeroOnTheExactValue)
{
    Calls c;
    // ROUND(-2.6, 0): the family adds 0.5 and truncates toward zero: -2
    EXPECT_EQ(dbl_of(c.family("ROUND", {dbl(-2.6), integer(0)})), -2.0);
    // Decimal('-2.6').quantize(Decimal(1), ROUND_HALF_UP) == -3
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("26", 1, true), integer(0)})), "-3");
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(-2.6), integer(0)})), -3.0);

    // ROUND(-2.5, 0): family -2; Decimal('-2.5').quantize(Decimal(1), ROUND_HALF_UP) == -3
    EXPECT_EQ(dbl_of(c.family("ROUND", {dbl(-2.5), integer(0)})), -2.0);
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("25", 1, true), integer(0)})), "-3");
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(-2.5), integer(0)})), -3.0);
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("25", 1), integer(0)})), "3");
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(2.5), integer(0)})), 3.0);

    // ROUND(1.005, 2): the family works on the binary 1.00499999999999989...: 1.0;
    // Decimal('1.005').quantize(Decimal('0.01'), ROUND_HALF_UP) == 1.01, and
    // the double rounds as repr(1.005) == '1.005' reads
    EXPECT_EQ(dbl_of(c.family("ROUND", {dbl(1.005), integer(2)})), 1.0);
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("1005", 3), integer(2)})), "1.01");
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(1.005), integer(2)})), 1.01);

    // 0.125 and -0.125 at 2: Decimal('0.125').quantize(Decimal('0.01'), ROUND_HALF_UP) == 0.13
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("125", 3), integer(2)})), "0.13");
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("125", 3, true), integer(2)})), "-0.13");
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(0.125), integer(2)})), 0.13);
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(-0.125), integer(2)})), -0.13);
    // Decimal('2.675') (repr(2.675)) quantized half up: 2.68
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(2.675), integer(2)})), 2.68);
}

TEST(StdNumericFunctions, RoundKeepsTheArgumentsType)
{
    Calls c;
    // to tens and hundreds: Decimal('1234.5') quantized at 1E+2 half up is 1.2E+3
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("12345", 1), integer(-2)})), "1200");
    Outcome i = c.standard("ROUND", {integer(1250), integer(-2)});
    ASSERT_NE(i.result, nullptr);
    EXPECT_EQ(i.result->type, VALUE_INTEGER);
    EXPECT_EQ(i.result->payload.integer, 1300);
    Outcome b = c.standard("ROUND", {bigint(-15), integer(-1)});
    ASSERT_NE(b.result, nullptr);
    EXPECT_EQ(b.result->type, VALUE_BIGINT);
    EXPECT_EQ(bigint_of(*b.result), -20);
    // 2147483647 to tens is 2147483650, past an integer; 2**63 - 1 to tens past a bigint
    EXPECT_POSTED(c.standard("ROUND", {integer(INT32_MAX), integer(-1)}), "22003",
                  "Numeric value out of range");
    EXPECT_POSTED(c.standard("ROUND", {bigint(INT64_MAX), integer(-1)}), "22003",
                  "Numeric value out of range");
    // more places than the number has: ROUND(1.5, 3) is 1.500
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("15", 1), integer(3)})), "1.500");
    // as many as 38 digits leave room for: 38 nines stay at scale 0
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("99999999999999999999999999999999999999", 0),
                                              integer(2)})),
              "99999999999999999999999999999999999999");
    // 0.(38 nines) to 0 places: 1
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("99999999999999999999999999999999999999", 38),
                                              integer(0)})),
              "1");
    // 38 nines to tens is 10**38: out of range
    EXPECT_POSTED(c.standard("ROUND", {num("99999999999999999999999999999999999999", 0),
                                       integer(-1)}),
                  "22003", "Numeric value out of range");
    // text reads as an exact number: ROUND('2.345', 2) == 2.35
    EXPECT_EQ(numeric_of(c.standard("ROUND", {text("2.345"), integer(2)})), "2.35");
    // -0.4 to 0 places: one zero
    EXPECT_EQ(numeric_of(c.standard("ROUND", {num("4", 1, true), integer(0)})), "0");
    EXPECT_EQ(dbl_of(c.standard("ROUND", {dbl(-0.4), integer(0)})), 0.0);
    EXPECT_FALSE(std::signbit(c.standard("ROUND", {dbl(-0.4), integer(0)}).result->payload.dbl));
    // the largest double to 10**308 becomes 2e308, past the doubles
    EXPECT_POSTED(c.standard("ROUND", {dbl(1.7976931348623157e308), integer(-308)}), "22003",
                  "Numeric value out of range");
    // NULL places: a NULL of the argument's type
    Outcome n = c.standard("ROUND", {num("15", 1), null_of(VALUE_INTEGER)});
    ASSERT_NE(n.result, nullptr);
    EXPECT_EQ(n.result->type, VALUE_NUMERIC);
    EXPECT_EQ(n.result->null_flag, -1);
    Outcome nd = c.standard("ROUND", {null_of(VALUE_DOUBLE), integer(1)});
    ASSERT_NE(nd.result, nullptr);
    EXPECT_EQ(nd.result->type, VALUE_DOUBLE);
    EXPECT_EQ(nd.result->null_flag, -1);
}

TEST(StdNumericFunctions, TruncateAtTheDecimalPlace)
{
    Calls c;
    // TRUNCATE(1.15, 2): the family truncates 1.15 * 100 == 114.99999999999999 and
    // multiplies by 10**-2: math.trunc(1.15 * 100) * 10**-2 == 1.1400000000000001
    EXPECT_EQ(dbl_of(c.family("TRUNCATE", {dbl(1.15), integer(2)})), 1.1400000000000001);
    // Decimal('1.15').quantize(Decimal('0.01'), ROUND_DOWN) == 1.15
    EXPECT_EQ(numeric_of(c.standard("TRUNCATE", {num("115", 2), integer(2)})), "1.15");
    EXPECT_EQ(dbl_of(c.standard("TRUNCATE", {dbl(1.15), integer(2)})), 1.15);
    // Decimal('-1.99').quantize(Decimal(1), ROUND_DOWN) == -1; 1999 to hundreds 1900
    EXPECT_EQ(numeric_of(c.standard("TRUNCATE", {num("199", 2, true), integer(0)})), "-1");
    EXPECT_EQ(dbl_of(c.standard("TRUNCATE", {dbl(-1.99), integer(0)})), -1.0);
    Outcome i = c.standard("TRUNCATE", {integer(1999), integer(-2)});
    ASSERT_NE(i.result, nullptr);
    EXPECT_EQ(i.result->payload.integer, 1900);
    // 0.125 at 2: 0.12
    EXPECT_EQ(numeric_of(c.standard("TRUNCATE", {num("125", 3), integer(2)})), "0.12");
    EXPECT_EQ(dbl_of(c.standard("TRUNCATE", {dbl(0.125), integer(2)})), 0.12);
    // 2**127 at scale 38 to 10 places: 1.7014118346 (Decimal ROUND_DOWN)
    Value big = kxtest::blank(VALUE_NUMERIC);
    big.payload.numeric = kxtest::numeric(static_cast<u128>(1) << 127, 38, 1, 38);
    big.attr[0] = 38;
    big.attr[1] = 38;
    EXPECT_EQ(numeric_of(c.standard("TRUNCATE", {big, integer(10)})), "1.7014118346");
}

// ---- POWER ----

TEST(StdNumericFunctions, PowerTakesTheWholeExponent)
{
    Calls c;
    // POWER(2, 0.5): the family reads the exponent as an integer, 0
    EXPECT_EQ(dbl_of(c.family("POWER", {integer(2), dbl(0.5)})), 1.0);
    EXPECT_EQ(dbl_of(c.standard("POWER", {integer(2), dbl(0.5)})), 1.4142135623730951);  // 2 ** 0.5
    EXPECT_EQ(dbl_of(c.standard("POWER", {integer(2), num("5", 1)})), 1.4142135623730951);
    EXPECT_EQ(dbl_of(c.standard("POWER", {integer(-2), integer(3)})), -8.0);
    EXPECT_EQ(dbl_of(c.standard("POWER", {integer(0), integer(0)})), 1.0);
    // 0 to a negative power: the family gives an infinity
    EXPECT_TRUE(std::isinf(dbl_of(c.family("POWER", {integer(0), integer(-1)}))));
    EXPECT_POSTED(c.standard("POWER", {integer(0), integer(-1)}), "2201F",
                  "invalid argument for power function");
    EXPECT_POSTED(c.standard("POWER", {integer(-8), dbl(1.0 / 3.0)}), "2201F",
                  "invalid argument for power function");
    EXPECT_POSTED(c.standard("POWER", {integer(10), integer(400)}), "22003",
                  "Numeric value out of range");
}

// ---- RAND ----

TEST(StdNumericFunctions, RandIsAFractionFromTheThreadsOwnGenerator)
{
    Calls c;
    // the family returns rand() itself, an integer from 0 to RAND_MAX
    double family = dbl_of(c.family("RAND", {integer(1)}));
    EXPECT_GE(family, 1.0);
    EXPECT_EQ(family, std::floor(family));

    double first = dbl_of(c.standard("RAND", {integer(1)}));
    double second = dbl_of(c.standard("RAND", {}));
    double third = dbl_of(c.standard("RAND", {}));
    for (double r : {first, second, third}) {
        EXPECT_GE(r, 0.0);
        EXPECT_LT(r, 1.0);
    }
    EXPECT_NE(first, second);
    // reseeding repeats the sequence
    EXPECT_EQ(dbl_of(c.standard("RAND", {integer(1)})), first);
    EXPECT_EQ(dbl_of(c.standard("RAND", {})), second);
    EXPECT_NE(dbl_of(c.standard("RAND", {integer(2)})), first);

    // another thread's seeding and drawing do not move this thread's sequence
    EXPECT_EQ(dbl_of(c.standard("RAND", {integer(1)})), first);
    std::thread([] {
        Calls other;
        for (int i = 0; i < 5; ++i)
            dbl_of(other.standard("RAND", {integer(1000 + i)}));
    }).join();
    EXPECT_EQ(dbl_of(c.standard("RAND", {})), second);
    EXPECT_EQ(dbl_of(c.standard("RAND", {})), third);

    // many draws fill [0, 1): both halves, none outside
    double low = 1.0;
    double high = 0.0;
    for (int i = 0; i < 1000; ++i) {
        double r = dbl_of(c.standard("RAND", {}));
        low = std::min(low, r);
        high = std::max(high, r);
    }
    EXPECT_GE(low, 0.0);
    EXPECT_LT(low, 0.05);
    EXPECT_GT(high, 0.95);
    EXPECT_LT(high, 1.0);

    Outcome n = c.standard("RAND", {null_of(VALUE_INTEGER)});
    ASSERT_NE(n.result, nullptr);
    EXPECT_EQ(n.result->type, VALUE_DOUBLE);
    EXPECT_EQ(n.result->null_flag, -1);
}

// ---- MOD ----

TEST(StdNumericFunctions, ModIn64Bits)
{
    Calls c;
    // MOD(10000000000, 7): the family reads the low word,
    // (10**10 % 2**32) % 7 == 3; 10**10 % 7 == 4
    Outcome f = c.family("MOD", {bigint(10000000000LL), integer(7)});
    ASSERT_NE(f.result, nullptr);
    EXPECT_EQ(f.result->payload.integer, 3);
    Outcome s = c.standard("MOD", {bigint(10000000000LL), integer(7)});
    ASSERT_NE(s.result, nullptr);
    EXPECT_EQ(s.result->type, VALUE_BIGINT);
    EXPECT_EQ(bigint_of(*s.result), 4);
    // the dividend's sign, as C and SQL have it: MOD(-7, 3) == -1, MOD(7, -3) == 1
    Outcome m = c.standard("MOD", {integer(-7), integer(3)});
    ASSERT_NE(m.result, nullptr);
    EXPECT_EQ(m.result->type, VALUE_INTEGER);
    EXPECT_EQ(m.result->payload.integer, -1);
    EXPECT_EQ(c.standard("MOD", {integer(7), integer(-3)}).result->payload.integer, 1);
    EXPECT_EQ(bigint_of(*c.standard("MOD", {bigint(INT64_MIN), bigint(-1)}).result), 0);
    // -2**63 % 10 in C (truncated division): -8
    EXPECT_EQ(bigint_of(*c.standard("MOD", {bigint(INT64_MIN), integer(10)}).result), -8);

    // a NULL divisor: the family reads the NULL's datum, 0 (a division by
    // zero) or here 3
    EXPECT_POSTED(c.family("MOD", {integer(7), null_of(VALUE_INTEGER)}), "22012",
                  "Division by zero");
    Outcome sz = c.standard("MOD", {integer(7), null_of(VALUE_INTEGER)});
    ASSERT_NE(sz.result, nullptr);
    EXPECT_EQ(sz.result->null_flag, -1);
    Value null_three = integer(3);
    null_three.null_flag = -1;
    EXPECT_EQ(c.family("MOD", {integer(7), null_three}).result->payload.integer, 1);
    Outcome sn = c.standard("MOD", {integer(7), null_three});
    ASSERT_NE(sn.result, nullptr);
    EXPECT_EQ(sn.result->type, VALUE_INTEGER);
    EXPECT_EQ(sn.result->null_flag, -1);
    Outcome sbn = c.standard("MOD", {null_of(VALUE_BIGINT), integer(3)});
    ASSERT_NE(sbn.result, nullptr);
    EXPECT_EQ(sbn.result->type, VALUE_BIGINT);
    EXPECT_EQ(sbn.result->null_flag, -1);

    EXPECT_POSTED(c.standard("MOD", {integer(7), integer(0)}), "22012", "Division by zero");
    EXPECT_POSTED(c.standard("MOD", {text("7x"), integer(2)}), "22018",
                  kxstd_status_message(KXSTD_INVALID_NUMBER));
    EXPECT_POSTED(c.standard("MOD", {dbl(1e30), integer(2)}), "22003",
                  "Numeric value out of range");
}

// ---- CEILING, FLOOR, ABS, EXP, SIGN ----

TEST(StdNumericFunctions, CeilingAndFloorInTheArgumentsType)
{
    Calls c;
    // CEILING(3e10): the family saturates at 2**31 - 1
    Outcome f = c.family("CEILING", {dbl(3e10)});
    ASSERT_NE(f.result, nullptr);
    EXPECT_EQ(f.result->type, VALUE_INTEGER);
    EXPECT_EQ(f.result->payload.integer, INT32_MAX);
    EXPECT_EQ(dbl_of(c.standard("CEILING", {dbl(3e10)})), 3e10);
    Outcome b = c.standard("CEILING", {bigint(30000000000LL)});
    ASSERT_NE(b.result, nullptr);
    EXPECT_EQ(b.result->type, VALUE_BIGINT);
    EXPECT_EQ(bigint_of(*b.result), 30000000000LL);
    EXPECT_EQ(numeric_of(c.standard("CEILING", {num("30000000000", 0)})), "30000000000");
    Outcome ff = c.family("FLOOR", {dbl(-3e10)});
    EXPECT_EQ(ff.result->payload.integer, INT32_MIN);
    EXPECT_EQ(dbl_of(c.standard("FLOOR", {dbl(-3e10)})), -3e10);

    // Decimal('2.1') and Decimal('-2.1') to integers toward +inf and -inf
    EXPECT_EQ(numeric_of(c.standard("CEILING", {num("21", 1)})), "3");
    EXPECT_EQ(numeric_of(c.standard("CEILING", {num("21", 1, true)})), "-2");
    EXPECT_EQ(numeric_of(c.standard("FLOOR", {num("21", 1)})), "2");
    EXPECT_EQ(numeric_of(c.standard("FLOOR", {num("21", 1, true)})), "-3");
    EXPECT_EQ(numeric_of(c.standard("FLOOR", {num("20", 1, true)})), "-2");
    EXPECT_EQ(numeric_of(c.standard("CEILING", {num("5", 1, true)})), "0");
    EXPECT_EQ(numeric_of(c.standard("CEILING", {num("00000000000000000000000000000000000001", 38)})),
              "1");
    Outcome z = c.standard("CEILING", {dbl(-0.5)});
    EXPECT_EQ(dbl_of(z), 0.0);
    EXPECT_FALSE(std::signbit(z.result->payload.dbl));
    Outcome i = c.standard("FLOOR", {integer(-7)});
    ASSERT_NE(i.result, nullptr);
    EXPECT_EQ(i.result->type, VALUE_INTEGER);
    EXPECT_EQ(i.result->payload.integer, -7);
    EXPECT_EQ(numeric_of(c.standard("FLOOR", {text("-2.5")})), "-3");
}

TEST(StdNumericFunctions, AbsNeverStaysNegative)
{
    Calls c;
    Outcome f = c.family("ABS", {integer(INT32_MIN)});
    ASSERT_NE(f.result, nullptr);
    EXPECT_EQ(f.result->payload.integer, INT32_MIN);
    EXPECT_POSTED(c.standard("ABS", {integer(INT32_MIN)}), "22003", "Numeric value out of range");
    Outcome fb = c.family("ABS", {bigint(INT64_MIN)});
    EXPECT_EQ(bigint_of(*fb.result), INT64_MIN);
    EXPECT_POSTED(c.standard("ABS", {bigint(INT64_MIN)}), "22003", "Numeric value out of range");

    EXPECT_EQ(c.standard("ABS", {integer(-5)}).result->payload.integer, 5);
    EXPECT_EQ(bigint_of(*c.standard("ABS", {bigint(INT64_MIN + 1)}).result), INT64_MAX);
    EXPECT_EQ(numeric_of(c.standard("ABS", {num("250", 2, true)})), "2.50");
    EXPECT_EQ(numeric_of(c.standard("ABS", {num("0", 1, true)})), "0.0");
    EXPECT_EQ(numeric_of(c.standard("ABS", {text("-2.50")})), "2.50");
    EXPECT_EQ(dbl_of(c.standard("ABS", {dbl(-0.0)})), 0.0);
    EXPECT_EQ(dbl_of(c.standard("ABS", {dbl(-1.5)})), 1.5);
    Outcome n = c.standard("ABS", {null_of(VALUE_BIGINT)});
    ASSERT_NE(n.result, nullptr);
    EXPECT_EQ(n.result->type, VALUE_BIGINT);
    EXPECT_EQ(n.result->null_flag, -1);
    EXPECT_POSTED(c.standard("ABS", {date(2004, 6, 16)}), "42000",
                  "Operand types do not fit the operation");
}

TEST(StdNumericFunctions, InfinitiesAreOutOfRange)
{
    Calls c;
    EXPECT_TRUE(std::isinf(dbl_of(c.family("EXP", {integer(1000)}))));
    EXPECT_POSTED(c.standard("EXP", {integer(1000)}), "22003", "Numeric value out of range");
    EXPECT_EQ(dbl_of(c.standard("EXP", {integer(1)})), 2.718281828459045);   // math.exp(1)
    EXPECT_EQ(dbl_of(c.standard("EXP", {integer(-10000)})), 0.0);
    EXPECT_POSTED(c.standard("DEGREES", {dbl(1.7976931348623157e308)}), "22003",
                  "Numeric value out of range");
    EXPECT_POSTED(c.standard("SIN", {dbl(INFINITY)}), "22003", "Numeric value out of range");
}

TEST(StdNumericFunctions, SignOfEveryNumber)
{
    Calls c;
    struct Case {
        Value x;
        int32_t sign;
    } cases[] = {
        {integer(-3), -1},   {bigint(INT64_MIN), -1}, {bigint(0), 0},
        {num("0", 2, true), 0}, {num("1", 38), 1},    {dbl(-0.0), 0},
        {dbl(1e-300), 1},    {text(" -0.001 "), -1},
    };
    for (const Case &k : cases) {
        Outcome o = c.standard("SIGN", {k.x});
        ASSERT_NE(o.result, nullptr);
        EXPECT_EQ(o.result->type, VALUE_INTEGER);
        EXPECT_EQ(o.result->payload.integer, k.sign);
    }
    // text that is no number: the family reads it as atof does
    Outcome f = c.family("SIGN", {text("-abc")});
    EXPECT_EQ(f.result->payload.integer, 0);
    EXPECT_POSTED(c.standard("SIGN", {text("-abc")}), "22018",
                  kxstd_status_message(KXSTD_INVALID_NUMBER));
}

// ---- domain errors ----

TEST(StdNumericFunctions, DomainErrorsInClass22)
{
    Calls c;
    EXPECT_POSTED(c.family("LOG", {integer(0)}), "HY000", "DOMAIN error");
    EXPECT_POSTED(c.standard("LOG", {integer(0)}), "2201E", "invalid argument for logarithm");
    EXPECT_POSTED(c.standard("LOG", {dbl(-1.0)}), "2201E", "invalid argument for logarithm");
    EXPECT_POSTED(c.standard("LOG10", {num("0", 3)}), "2201E", "invalid argument for logarithm");
    EXPECT_POSTED(c.family("SQRT", {integer(-1)}), "HY000", "DOMAIN error");
    EXPECT_POSTED(c.standard("SQRT", {integer(-1)}), "2201F", "invalid argument for power function");
    EXPECT_POSTED(c.family("ACOS", {integer(2)}), "HY000", "DOMAIN error");
    EXPECT_POSTED(c.standard("ACOS", {integer(2)}), "22003", "Numeric value out of range");
    EXPECT_POSTED(c.standard("ASIN", {dbl(-1.5)}), "22003", "Numeric value out of range");
    EXPECT_POSTED(c.family("COT", {integer(0)}), "HY000", "DOMAIN error");
    EXPECT_POSTED(c.standard("COT", {integer(0)}), "22012", "Division by zero");

    // inside the domains: math.log(1) == 0.0, math.log10(1000) == 3.0,
    // math.sqrt(2) == 1.4142135623730951, 1 / math.tan(1) == 0.6420926159343306,
    // math.acos(1) == 0.0, math.asin(-1) == -1.5707963267948966, math.log(2) == 0.6931471805599453
    EXPECT_EQ(dbl_of(c.standard("LOG", {integer(1)})), 0.0);
    EXPECT_EQ(dbl_of(c.standard("LOG", {integer(2)})), 0.6931471805599453);
    EXPECT_EQ(dbl_of(c.standard("LOG10", {integer(1000)})), 3.0);
    EXPECT_EQ(dbl_of(c.standard("SQRT", {integer(2)})), 1.4142135623730951);
    EXPECT_EQ(dbl_of(c.standard("SQRT", {dbl(-0.0)})), 0.0);
    EXPECT_EQ(dbl_of(c.standard("COT", {integer(1)})), 0.6420926159343306);
    EXPECT_EQ(dbl_of(c.standard("ACOS", {integer(1)})), 0.0);
    EXPECT_EQ(dbl_of(c.standard("ASIN", {integer(-1)})), -1.5707963267948966);
    // math.atan2(1, 1) == math.atan(1) == 0.7853981633974483; ATAN2(y, x) with y first
    EXPECT_EQ(dbl_of(c.standard("ATAN2", {integer(1), integer(1)})), 0.7853981633974483);
    EXPECT_EQ(dbl_of(c.standard("ATAN2", {integer(1), integer(0)})), 1.5707963267948966);
    EXPECT_EQ(dbl_of(c.standard("ATAN", {integer(1)})), 0.7853981633974483);
    EXPECT_EQ(dbl_of(c.standard("COS", {integer(0)})), 1.0);
    EXPECT_EQ(dbl_of(c.standard("SIN", {integer(0)})), 0.0);
    EXPECT_EQ(dbl_of(c.standard("TAN", {integer(0)})), 0.0);
}

// ---- reading the arguments ----

TEST(StdNumericFunctions, ArgumentsAreReadExactly)
{
    Calls c;
    // SQRT of 2**127 as a numeric: the family's conversion reads a tenth of it
    // (math.sqrt(1.7014118346046924e37) == 4.124817371235595e+18);
    // math.sqrt(float(2**127)) == 1.3043817825332783e+19
    Value big = kxtest::blank(VALUE_NUMERIC);
    big.payload.numeric = kxtest::numeric(static_cast<u128>(1) << 127, 0, 1, 38);
    EXPECT_EQ(dbl_of(c.family("SQRT", {big})), 4.124817371235595e+18);
    EXPECT_EQ(dbl_of(c.standard("SQRT", {big})), 1.3043817825332783e+19);
    // text: '4' is 4, '4x' is no number (the family's atof reads 4)
    EXPECT_EQ(dbl_of(c.family("SQRT", {text("4x")})), 2.0);
    EXPECT_EQ(dbl_of(c.standard("SQRT", {text(" 4 ")})), 2.0);
    EXPECT_POSTED(c.standard("SQRT", {text("4x")}), "22018",
                  kxstd_status_message(KXSTD_INVALID_NUMBER));
    EXPECT_POSTED(c.standard("SQRT", {date(2004, 6, 16)}), "42000",
                  "Operand types do not fit the operation");
    Outcome n = c.standard("SQRT", {null_of(VALUE_NUMERIC)});
    ASSERT_NE(n.result, nullptr);
    EXPECT_EQ(n.result->type, VALUE_DOUBLE);
    EXPECT_EQ(n.result->null_flag, -1);
    Outcome u = c.standard("ATAN2", {blank(VALUE_NULL), integer(1)});
    ASSERT_NE(u.result, nullptr);
    EXPECT_EQ(u.result->null_flag, -1);
}

TEST(StdNumericFunctions, WithoutAContextThereIsNoResult)
{
    Value two = integer(2);
    Value *argv[] = {&two};
    EXPECT_EQ(execute_function(standard_entry("PI"), nullptr, 0, nullptr, 0, 0), nullptr);
    EXPECT_EQ(execute_function(standard_entry("SQRT"), nullptr, 1, argv, 0, 0), nullptr);
    EXPECT_EQ(execute_function(standard_entry("LOG"), nullptr, 1, argv, 0, 0), nullptr);
}

TEST(StdNumericFunctions, MemoryRunningOutPostsHY001)
{
    // in a thread of its own, so that only its requests fail
    std::thread([] {
        int refused = 0;
        for (long n = 0;; n++) {
            StatementContext sc;
            ASSERT_NE(sc.errors(), nullptr);
            Value x = num("25", 1, true);
            Value places = integer(0);
            Value *argv[] = {&x, &places};
            int jumped = 0;
            kxtest::fail_request_after(n);
            Value *r = run(standard_entry("ROUND"), &sc.context, 2, argv, &jumped);
            bool failed = kxtest::stop_failing();
            if (jumped) {
                EXPECT_TRUE(failed);
                char state[6] = {};
                int32_t native = 0;
                char message[256] = {};
                int16_t length = 0;
                // the record may itself not be made when memory is short
                if (GetDiagRec(sc.errors(), 1, state, &native, message, sizeof message,
                               &length) == 0) {
                    EXPECT_STREQ(state, "HY001");
                }
                refused++;
                continue;
            }
            ASSERT_NE(r, nullptr);
            EXPECT_EQ(show(r), "-3");
            if (!failed)
                break;
        }
        EXPECT_GE(refused, 1);
    }).join();
}

}  // namespace
