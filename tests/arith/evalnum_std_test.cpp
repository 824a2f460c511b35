// Tests of the standard operators kxstd_numeric_operation and
// kxstd_bigint_operation (arith/evalnum_std.cpp) beside the family's
// numeric_operation and bigint_operation on the same operands: exact
// arithmetic that never wraps, one zero, 64-bit operands read whole, text
// read without being touched, doubles as doubles, NULLs, fully set results,
// and the error exit through the evaluation context.
//
// Expected values are worked out with Python's decimal module (quantize
// with ROUND_HALF_UP, half away from zero) and int; the expression is given
// beside each.
#include <gtest/gtest.h>

#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/arith.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

using namespace kxtest;

Value num(const char *digits, int8_t scale, bool negative = false, uint8_t precision = 38)
{
    Value v = numeric_value(digits, scale, precision, negative);
    v.attr[0] = precision;
    v.attr[1] = scale;
    return v;
}

// The exact text of a numeric value: sign ("-" for sign 0, zero included),
// its digits and a point at its scale, trailing zeros kept.
std::string show(const Value &v)
{
    const NumericStruct &n = v.payload.numeric;
    std::string digits = decimal(magnitude_of(n));
    if (n.scale > 0) {
        size_t scale = static_cast<size_t>(n.scale);
        if (digits.size() <= scale)
            digits.insert(0, scale + 1 - digits.size(), '0');
        digits.insert(digits.size() - scale, ".");
    }
    return (n.sign == 0 ? "-" : "") + digits;
}

const char kNines38[] = "99999999999999999999999999999999999999";

// The standard operators on operands that do not fail, without a context.
Value std_op(Value a, Value b, int32_t op)
{
    Value result = blank(VALUE_STRING);
    kxstd_numeric_operation(&a, &b, &result, nullptr, op);
    return result;
}

Value family_op(Value a, Value b, int32_t op)
{
    Value result = blank(VALUE_STRING);
    numeric_operation(&a, &b, &result, nullptr, op);
    return result;
}

int32_t truth(const Value &v)
{
    return get_trivalue_from_value(&v);
}

// ---- side by side ----

TEST(StdNumericOperation, OverflowIsRefused)
{
    // int('9' * 38) + 1 == 10**38: the family gives it, 39 digits
    Value f = family_op(num(kNines38, 0), num("1", 0), KX_OP_ADD);
    EXPECT_EQ(show(f), "100000000000000000000000000000000000000");
    // the standard one reports 22003; without a context the result is NULL
    Value s = std_op(num(kNines38, 0), num("1", 0), KX_OP_ADD);
    EXPECT_EQ(s.type, VALUE_NUMERIC);
    EXPECT_EQ(s.null_flag, -1);

    // int('9' * 38) * 4 % 2**128 == 59717633079061536536625392568231788540
    Value fm = family_op(num(kNines38, 0), integer(4), KX_OP_MULTIPLY);
    EXPECT_EQ(show(fm), "59717633079061536536625392568231788540");
    Value sm = std_op(num(kNines38, 0), integer(4), KX_OP_MULTIPLY);
    EXPECT_EQ(sm.null_flag, -1);
}

TEST(StdNumericOperation, DivisionKeepsFourMorePlaces)
{
    // 10 / 3.0000000: (Decimal(10) / Decimal('3.0000000')).quantize(Decimal('1e-4'), ROUND_HALF_UP)
    Value f = family_op(integer(10), num("30000000", 7), KX_OP_DIVIDE);
    EXPECT_EQ(show(f), "3");
    Value s = std_op(integer(10), num("30000000", 7), KX_OP_DIVIDE);
    EXPECT_EQ(show(s), "3.3333");
    EXPECT_EQ(s.attr[0], 38);
    EXPECT_EQ(s.attr[1], 4);
    EXPECT_EQ(s.payload.numeric.precision, 38);
    // 2 / 3 at scale 0 + 4: Decimal(2) / 3 -> 0.6667; the family gives 1
    EXPECT_EQ(show(family_op(integer(2), num("30", 1), KX_OP_DIVIDE)), "1");
    EXPECT_EQ(show(std_op(integer(2), num("30", 1), KX_OP_DIVIDE)), "0.6667");
    // -1 / 32 == -0.03125: half away from zero, -0.0313
    EXPECT_EQ(show(std_op(num("1", 0, true), bigint(32), KX_OP_DIVIDE)), "-0.0313");
}

TEST(StdNumericOperation, CancellationGivesOneZero)
{
    // 1.5000000 + -1.5000000: the family adds into a copy of b and keeps
    // its sign, a negative zero unequal to zero
    Value a = num("15000000", 7);
    Value b = num("15000000", 7, true);
    Value f = family_op(a, b, KX_OP_ADD);
    EXPECT_EQ(show(f), "-0.0000000");
    EXPECT_EQ(truth(family_op(f, num("0", 0), KX_OP_EQUAL)), 0);
    Value s = std_op(a, b, KX_OP_ADD);
    EXPECT_EQ(show(s), "0.0000000");
    EXPECT_EQ(truth(std_op(s, num("0", 0), KX_OP_EQUAL)), 1);
    // a -0 operand is zero to the standard comparison
    EXPECT_EQ(truth(std_op(num("0", 2, true), num("0", 0), KX_OP_EQUAL)), 1);
    EXPECT_EQ(truth(std_op(num("0", 2, true), num("0", 0), KX_OP_LESS)), 0);
}

TEST(StdNumericOperation, BigintAgainstNumericIsReadWhole)
{
    // 10**10 = 2 * 2**32 + 1410065408: the family reads the record's first
    // word (2) and finds it below 5
    Value big = bigint(10000000000LL);
    EXPECT_EQ(truth(family_op(big, num("5", 0), KX_OP_LESS)), 1);
    EXPECT_EQ(truth(std_op(big, num("5", 0), KX_OP_LESS)), 0);
    EXPECT_EQ(truth(std_op(big, num("5", 0), KX_OP_GREATER)), 1);
    EXPECT_EQ(truth(std_op(num("100000000005", 1), big, KX_OP_GREATER)), 1);   // 10000000000.5
    // arithmetic with it: 10**10 + 0.5
    EXPECT_EQ(show(std_op(big, num("5", 1), KX_OP_ADD)), "10000000000.5");
    // -2**63 * 10: int(-2**63 * 10) == -92233720368547758080
    EXPECT_EQ(show(std_op(bigint(INT64_MIN), num("10", 0), KX_OP_MULTIPLY)),
              "-92233720368547758080");
}

TEST(StdNumericOperation, TextOperandIsReadWithoutBeingTouched)
{
    // the family parses the text in its own buffer, taking out the point;
    // text that is no number reads as 0
    char family_text[] = "1.5";
    Value ft = text(family_text);
    EXPECT_EQ(truth(family_op(num("15", 1), ft, KX_OP_EQUAL)), 1);
    EXPECT_STRNE(family_text, "1.5");
    char junk[] = "abc";
    Value fj = text(junk);
    EXPECT_EQ(truth(family_op(num("0", 0), fj, KX_OP_EQUAL)), 1);

    char standard_text[] = " 1.50 ";
    Value st = text(standard_text);
    EXPECT_EQ(truth(std_op(num("15", 1), st, KX_OP_EQUAL)), 1);
    EXPECT_STREQ(standard_text, " 1.50 ");
    // 'abc' = 0 is 22018; without a context a NULL truth value
    Value sj = std_op(num("0", 0), text("abc"), KX_OP_EQUAL);
    EXPECT_EQ(sj.null_flag, -1);
    EXPECT_EQ(truth(sj), 2);
    // text in arithmetic is exact: '2.5' + 1 == 3.5, '1e2' * 0.01 == 1.00
    EXPECT_EQ(show(std_op(text("2.5"), integer(1), KX_OP_ADD)), "3.5");
    EXPECT_EQ(show(std_op(text("1e2"), num("1", 2), KX_OP_MULTIPLY)), "1.00");
}

TEST(StdNumericOperation, DoubleOperandMakesItApproximate)
{
    // 1.5 + 0.25E0: the family brings 0.25 to the numeric's scale 1
    // ('%.0f' % 2.5 == '2', so 0.2) and gives the numeric 1.7
    Value f = family_op(num("15", 1), dbl(0.25), KX_OP_ADD);
    EXPECT_EQ(f.type, VALUE_NUMERIC);
    EXPECT_EQ(show(f), "1.7");
    Value s = std_op(num("15", 1), dbl(0.25), KX_OP_ADD);
    EXPECT_EQ(s.type, VALUE_DOUBLE);
    EXPECT_EQ(s.null_flag, 0);
    EXPECT_EQ(s.payload.dbl, 1.75);
    // 0.1 + 0.2 in doubles is 0.30000000000000004 (Python: 0.1 + 0.2)
    EXPECT_EQ(std_op(num("1", 1), dbl(0.2), KX_OP_ADD).payload.dbl, 0.30000000000000004);
    // text against a double is read as a double: '0.1' = 0.1E0
    EXPECT_EQ(truth(std_op(text("0.1"), dbl(0.1), KX_OP_EQUAL)), 1);
    // 1 / 4.0E0 == 0.25; -0.0 results are +0.0
    EXPECT_EQ(std_op(integer(1), dbl(4.0), KX_OP_DIVIDE).payload.dbl, 0.25);
    Value z = std_op(dbl(-1.0), integer(0), KX_OP_MULTIPLY);
    EXPECT_EQ(z.payload.dbl, 0.0);
    EXPECT_FALSE(std::signbit(z.payload.dbl));
    // a bigint beyond 2**53 against a double: both read as doubles
    EXPECT_EQ(truth(std_op(bigint(9007199254740993LL), dbl(9007199254740992.0), KX_OP_EQUAL)), 1);
}

TEST(StdNumericOperation, AnyExactPairGivesANumeric)
{
    Value r = std_op(integer(7), integer(2), KX_OP_DIVIDE);
    EXPECT_EQ(r.type, VALUE_NUMERIC);
    EXPECT_EQ(show(r), "3.5000");
    EXPECT_EQ(show(std_op(integer(INT32_MAX), integer(INT32_MAX), KX_OP_ADD)), "4294967294");
    EXPECT_EQ(show(std_op(integer(1, VALUE_BIT), bigint(-3), KX_OP_SUBTRACT)), "4");
    // the family leaves the result alone without a numeric operand
    Value untouched = integer(42);
    Value a = integer(1);
    Value b = integer(2);
    numeric_operation(&a, &b, &untouched, nullptr, KX_OP_ADD);
    EXPECT_EQ(untouched.type, VALUE_INTEGER);
    EXPECT_EQ(untouched.payload.integer, 42);
}

TEST(StdNumericOperation, NullsGiveNull)
{
    Value null_int = integer(5);
    null_int.null_flag = -1;
    Value r = std_op(null_int, num("1", 0), KX_OP_ADD);
    EXPECT_EQ(r.type, VALUE_NUMERIC);
    EXPECT_EQ(r.null_flag, -1);
    Value untyped = blank(VALUE_NULL);
    Value rd = std_op(dbl(1.0), untyped, KX_OP_MULTIPLY);
    EXPECT_EQ(rd.type, VALUE_DOUBLE);
    EXPECT_EQ(rd.null_flag, -1);
    Value c = std_op(num("1", 0), null_int, KX_OP_LESS);
    EXPECT_EQ(c.type, VALUE_INTEGER);
    EXPECT_EQ(truth(c), 2);
    // a NULL divisor is NULL, not a division by zero
    Value null_zero = integer(0);
    null_zero.null_flag = -1;
    EXPECT_EQ(std_op(num("1", 0), null_zero, KX_OP_DIVIDE).null_flag, -1);
}

TEST(StdNumericOperation, ResultIsFullySetAndMayBeAnOperand)
{
    Value a = num("15", 1);
    Value b = integer(2);
    Value result = text("stale");
    result.null_flag = -1;
    result.attr[2] = 7;
    result.attr[3] = 9;
    result.ref_count = 3;
    result.driver[0] = 1234;
    kxstd_numeric_operation(&a, &b, &result, nullptr, KX_OP_ADD);
    EXPECT_EQ(result.type, VALUE_NUMERIC);
    EXPECT_EQ(result.null_flag, 0);
    EXPECT_EQ(result.attr[0], 38);
    EXPECT_EQ(result.attr[1], 1);
    EXPECT_EQ(result.attr[2], 0);
    EXPECT_EQ(result.attr[3], 0);
    EXPECT_EQ(result.ref_count, 3);      // the holder count is the record's own
    EXPECT_EQ(result.driver[0], 1234);   // and the driver's words are its
    EXPECT_EQ(show(result), "3.5");

    Value x = num("225", 2);
    Value y = num("15", 1);
    kxstd_numeric_operation(&x, &y, &x, nullptr, KX_OP_MULTIPLY);
    EXPECT_EQ(show(x), "3.375");
    Value p = integer(7);
    Value q = num("2", 0);
    kxstd_numeric_operation(&p, &q, &q, nullptr, KX_OP_SUBTRACT);
    EXPECT_EQ(show(q), "5");

    // codes that are no arithmetic or comparison leave the result alone
    Value keep = integer(42);
    kxstd_numeric_operation(&p, &q, &keep, nullptr, KX_OP_CONCAT);
    kxstd_numeric_operation(&p, &q, &keep, nullptr, KX_OP_NEGATE);
    EXPECT_EQ(keep.payload.integer, 42);
}

TEST(StdNumericOperation, ComparisonsOfEveryKind)
{
    struct Case {
        int32_t op;
        int32_t expected;   // 2.50 op 2.5, 2.5 op 2.6, 2.6 op 2.5
    } cases[] = {
        {KX_OP_LESS, 0},          {KX_OP_GREATER, 0}, {KX_OP_GREATER_EQUAL, 1},
        {KX_OP_LESS_EQUAL, 1},    {KX_OP_EQUAL, 1},   {KX_OP_NOT_EQUAL, 0},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(truth(std_op(num("250", 2), num("25", 1), c.op)), c.expected) << c.op;
        bool less_true = c.op == KX_OP_LESS || c.op == KX_OP_LESS_EQUAL || c.op == KX_OP_NOT_EQUAL;
        bool greater_true =
            c.op == KX_OP_GREATER || c.op == KX_OP_GREATER_EQUAL || c.op == KX_OP_NOT_EQUAL;
        EXPECT_EQ(truth(std_op(num("25", 1), text("2.6"), c.op)), less_true ? 1 : 0) << c.op;
        EXPECT_EQ(truth(std_op(dbl(2.6), num("25", 1), c.op)), greater_true ? 1 : 0) << c.op;
    }
}

// ---- kxstd_bigint_operation ----

Value std_big(Value a, Value b, int32_t op)
{
    Value result = blank(VALUE_STRING);
    kxstd_bigint_operation(&a, &b, &result, nullptr, op);
    return result;
}

Value family_big(Value a, Value b, int32_t op)
{
    Value result = blank(VALUE_STRING);
    bigint_operation(&a, &b, &result, nullptr, op);
    return result;
}

TEST(StdBigintOperation, NothingWraps)
{
    struct Case {
        const char *label;
        int64_t a;
        int64_t b;
        int32_t op;
        int64_t family;   // the two's complement wrap
    } cases[] = {
        {"2**63 - 1 + 1", INT64_MAX, 1, KX_OP_ADD, INT64_MIN},
        {"-2**63 - 1", INT64_MIN, 1, KX_OP_SUBTRACT, INT64_MAX},
        {"2**32 * 2**32", 4294967296LL, 4294967296LL, KX_OP_MULTIPLY, 0},
        {"-2**63 * -1", INT64_MIN, -1, KX_OP_MULTIPLY, INT64_MIN},
        {"-2**63 / -1", INT64_MIN, -1, KX_OP_DIVIDE, INT64_MIN},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(bigint_of(family_big(bigint(c.a), bigint(c.b), c.op)), c.family) << c.label;
        Value s = std_big(bigint(c.a), bigint(c.b), c.op);
        EXPECT_EQ(s.type, VALUE_BIGINT) << c.label;
        EXPECT_EQ(s.null_flag, -1) << c.label;   // 22003, no context: NULL
    }
}

TEST(StdBigintOperation, ExactResults)
{
    struct Case {
        int64_t a;
        int64_t b;
        int32_t op;
        int64_t expected;   // Python int, the quotient truncated: int(a / b)
    } cases[] = {
        {INT64_MAX - 1, 1, KX_OP_ADD, INT64_MAX},
        {INT64_MIN + 1, 1, KX_OP_SUBTRACT, INT64_MIN},
        {-4294967296LL, 2147483648LL, KX_OP_MULTIPLY, INT64_MIN},
        {7, -2, KX_OP_DIVIDE, -3},
        {-7, 2, KX_OP_DIVIDE, -3},
        {INT64_MIN, 1, KX_OP_DIVIDE, INT64_MIN},
        {INT64_MIN, 2, KX_OP_DIVIDE, -4611686018427387904LL},
    };
    for (const Case &c : cases) {
        Value s = std_big(bigint(c.a), bigint(c.b), c.op);
        EXPECT_EQ(s.type, VALUE_BIGINT);
        EXPECT_EQ(s.null_flag, 0);
        EXPECT_EQ(bigint_of(s), c.expected) << c.a << " op " << c.op << " " << c.b;
    }
    // comparisons over all 64 bits, and operands of other number types
    EXPECT_EQ(truth(std_big(bigint(4294967296LL), bigint(1), KX_OP_GREATER)), 1);
    EXPECT_EQ(bigint_of(std_big(integer(-5), text(" 12 "), KX_OP_ADD)), 7);
    EXPECT_EQ(bigint_of(std_big(num("123456789012", 2), integer(2), KX_OP_MULTIPLY)),
              2469135780LL);   // 1234567890.12 truncated, times 2
    Value null_b = bigint(3);
    null_b.null_flag = -1;
    Value n = std_big(bigint(1), null_b, KX_OP_ADD);
    EXPECT_EQ(n.type, VALUE_BIGINT);
    EXPECT_EQ(n.null_flag, -1);
    EXPECT_EQ(truth(std_big(bigint(1), null_b, KX_OP_EQUAL)), 2);
    // a double beyond 64 bits cannot be an operand: 22003, NULL here
    EXPECT_EQ(std_big(dbl(1e19), bigint(1), KX_OP_ADD).null_flag, -1);
}

// Integers, bits and bigints are read in place, every other operand
// through kxstd_get_bigint_from_value: each pair of operand kinds gives the
// 128-bit answer of the values the getter reads, NULL (no context) where
// that answer passes 64 bits or a division is by zero.
TEST(StdBigintOperation, EveryOperandKindAgreesWithTheGetter)
{
    std::vector<Value> operands = {
        integer(0),          integer(-7),          integer(INT32_MAX),  integer(1, VALUE_BIT),
        bigint(INT64_MAX),   bigint(INT64_MIN),    bigint(-4294967296LL), bigint(3),
        num("-12345", 2),    num("922337203685477580799", 2), text(" -9223372036854775808 "),
        text("41"),          dbl(-2.75),           dbl(9.2e18),
    };
    const int32_t ops[] = {KX_OP_ADD, KX_OP_SUBTRACT, KX_OP_MULTIPLY, KX_OP_DIVIDE,
                           KX_OP_LESS, KX_OP_EQUAL};
    int exact = 0;
    for (const Value &a : operands)
        for (const Value &b : operands)
            for (int32_t op : ops) {
                int64_t x = 0;
                int64_t y = 0;
                ASSERT_EQ(kxstd_get_bigint_from_value(&a, &x), KXSTD_OK);
                ASSERT_EQ(kxstd_get_bigint_from_value(&b, &y), KXSTD_OK);
                Value r = std_big(a, b, op);
                if (op == KX_OP_LESS || op == KX_OP_EQUAL) {
                    EXPECT_EQ(truth(r), op == KX_OP_LESS ? (x < y) : (x == y)) << x << " " << y;
                    continue;
                }
                __int128 wide = op == KX_OP_ADD        ? static_cast<__int128>(x) + y
                                : op == KX_OP_SUBTRACT ? static_cast<__int128>(x) - y
                                : op == KX_OP_MULTIPLY ? static_cast<__int128>(x) * y
                                : y == 0               ? 0
                                                       : static_cast<__int128>(x) / y;
                EXPECT_EQ(r.type, VALUE_BIGINT);
                if (y == 0 && op == KX_OP_DIVIDE) {
                    EXPECT_EQ(r.null_flag, -1) << x << " / 0";
                } else if (wide > INT64_MAX || wide < INT64_MIN) {
                    EXPECT_EQ(r.null_flag, -1) << x << " op " << op << " " << y;
                } else {
                    ASSERT_EQ(r.null_flag, 0) << x << " op " << op << " " << y;
                    EXPECT_EQ(bigint_of(r), static_cast<int64_t>(wide))
                        << x << " op " << op << " " << y;
                    EXPECT_EQ(r.length, 0);
                    EXPECT_EQ(r.attr[0], 0);
                    ++exact;
                }
            }
    EXPECT_GT(exact, 400);
}

// ---- the error exit ----

// The jumping calls live in plain functions that arm the exit point as a
// driver does; no object with a destructor lives in their frames.
int run_numeric(EvalContext *context, Value *a, Value *b, Value *result, int32_t op)
{
    if (setjmp(context->exit) != 0)
        return -1;
    kxstd_numeric_operation(a, b, result, context, op);
    return 0;
}

int run_bigint(EvalContext *context, Value *a, Value *b, Value *result, int32_t op)
{
    if (setjmp(context->exit) != 0)
        return -1;
    kxstd_bigint_operation(a, b, result, context, op);
    return 0;
}

class StdOperatorError : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(on_statement.errors(), nullptr); }

    // The one record posted: its SQLSTATE, and a message ending in text
    // (the header decides what stands before it; a status's text is the
    // one kxstd_status_message gives it).
    void expect_posted(const char *sqlstate, const char *text)
    {
        EXPECT_EQ(on_statement.context.result, -1);
        char state[6] = {};
        int32_t native = 99;
        char message[256] = {};
        int16_t length = 0;
        ASSERT_EQ(GetDiagRec(on_statement.errors(), 1, state, &native, message, sizeof message,
                             &length),
                  0);
        EXPECT_STREQ(state, sqlstate);
        std::string m = message;
        std::string tail = text;
        EXPECT_TRUE(m.size() >= tail.size() &&
                    m.compare(m.size() - tail.size(), tail.size(), tail) == 0)
            << m;
        EXPECT_EQ(GetDiagRec(on_statement.errors(), 2, state, &native, message, sizeof message,
                             &length),
                  100);
    }

    StatementContext on_statement;
    EvalContext *context = &on_statement.context;
};

TEST_F(StdOperatorError, OutOfRange)
{
    Value a = num(kNines38, 0);
    Value b = integer(1);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_numeric(context, &a, &b, &result, KX_OP_ADD), -1);
    expect_posted("22003", "Numeric value out of range");
}

TEST_F(StdOperatorError, DivisionByZero)
{
    Value a = num("75", 1);
    Value b = num("0", 3, true);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_numeric(context, &a, &b, &result, KX_OP_DIVIDE), -1);
    expect_posted("22012", "Division by zero");
}

TEST_F(StdOperatorError, DoubleDivisionByZeroAndOverflow)
{
    Value a = dbl(1.0);
    Value b = integer(0);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_numeric(context, &a, &b, &result, KX_OP_DIVIDE), -1);
    expect_posted("22012", "Division by zero");
}

TEST_F(StdOperatorError, DoubleOverflow)
{
    Value a = dbl(1e308);
    Value b = num("10", 0);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_numeric(context, &a, &b, &result, KX_OP_MULTIPLY), -1);
    expect_posted("22003", "Numeric value out of range");
}

TEST_F(StdOperatorError, TextThatIsNoNumber)
{
    char raw[] = "12,5";
    Value a = text(raw);
    Value b = num("125", 1);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_numeric(context, &a, &b, &result, KX_OP_LESS), -1);
    expect_posted("22018", kxstd_status_message(KXSTD_INVALID_NUMBER));
    EXPECT_STREQ(raw, "12,5");
}

TEST_F(StdOperatorError, OperandThatIsNoNumber)
{
    Value a = date(2004, 6, 16);
    Value b = num("1", 0);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_numeric(context, &a, &b, &result, KX_OP_ADD), -1);
    expect_posted("42000", "Operand types do not fit the operation");
}

TEST_F(StdOperatorError, BigintOverflowAndDivisionByZero)
{
    Value a = bigint(INT64_MIN);
    Value b = bigint(-1);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_bigint(context, &a, &b, &result, KX_OP_DIVIDE), -1);
    expect_posted("22003", "Numeric value out of range");
}

TEST_F(StdOperatorError, BigintDivisionByZero)
{
    Value a = bigint(7);
    Value b = bigint(0);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_bigint(context, &a, &b, &result, KX_OP_DIVIDE), -1);
    expect_posted("22012", "Division by zero");
}

TEST_F(StdOperatorError, NoErrorPostsNothing)
{
    Value a = bigint(7);
    Value b = bigint(2);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(run_bigint(context, &a, &b, &result, KX_OP_DIVIDE), 0);
    EXPECT_EQ(bigint_of(result), 3);
    char state[6] = {};
    int32_t native = 0;
    char message[64] = {};
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(on_statement.errors(), 1, state, &native, message, sizeof message, &length),
              100);
}

}  // namespace
