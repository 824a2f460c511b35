// Tests of the arithmetic operators numeric_operation and bigint_operation:
// promotion, both operand orders, comparisons, and the division-by-zero exit
// through the evaluation context.
#include <gtest/gtest.h>

#include <csetjmp>
#include <cstring>
#include <string>

#include "kxsupp/arith.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

using namespace kxtest;

// A numeric of the given magnitude (decimal digits), scale and precision.
Value numeric(const char *digits, int8_t scale, uint8_t precision = 10, bool negative = false)
{
    Value v = numeric_value(digits, scale, precision, negative);
    v.attr[0] = precision;
    v.attr[1] = scale;
    return v;
}

std::string as_text(const Value &v)
{
    char buffer[128];
    numeric_to_string(&v.payload.numeric, buffer, sizeof buffer, nullptr);
    return buffer;
}

// ---- numeric_operation: arithmetic ----

struct ArithmeticCase {
    const char *label;
    Value a;
    Value b;
    int32_t op;
    const char *text;    // numeric_to_string of the result
    int scale;
    int precision;
};

TEST(NumericOperation, Arithmetic)
{
    const ArithmeticCase cases[] = {
        // One numeric operand: the result takes the numeric's precision.
        {"1.5 + 2", numeric("15", 1, 5), integer(2), KX_OP_ADD, "3.5", 1, 5},
        {"2 + 1.5", integer(2), numeric("15", 1, 5), KX_OP_ADD, "3.5", 1, 5},
        {"2 - 0.5", integer(2), numeric("5", 1, 5), KX_OP_SUBTRACT, "1.5", 1, 15},
        {"0.5 - 2", numeric("5", 1, 5), integer(2), KX_OP_SUBTRACT, "-1.5", 1, 5},
        {"10 / 3.00", integer(10), numeric("300", 2, 5), KX_OP_DIVIDE, "3", 0, 15},
        {"10.00 / 4", numeric("1000", 2, 6), integer(4), KX_OP_DIVIDE, "2.5", 2, 6},
        {"2 / 3.0 rounds at scale 0", integer(2), numeric("30", 1), KX_OP_DIVIDE, "1", 0, 15},
        {"1.5 * 3", numeric("15", 1, 5), integer(3), KX_OP_MULTIPLY, "4.5", 1, 0},
        {"3 * 1.5", integer(3), numeric("15", 1, 5), KX_OP_MULTIPLY, "4.5", 1, 0},
        // A double takes the numeric's precision and scale (2.26 at scale 1 is 2.3).
        {"1.5 + 2.26", numeric("15", 1, 5), dbl(2.26), KX_OP_ADD, "3.8", 1, 5},
        {"2.26 - 1.5", dbl(2.26), numeric("15", 1, 5), KX_OP_SUBTRACT, "0.8", 1, 5},
        // Any other type is read as a 64-bit integer (precision 20).
        {"1.5 + 10^10", numeric("15", 1, 5), bigint(10000000000LL), KX_OP_ADD,
         "10000000001.5", 1, 5},
        {"10^10 - 0.5", bigint(10000000000LL), numeric("5", 1, 5), KX_OP_SUBTRACT,
         "9999999999.5", 1, 20},
        // Both numeric: b + a, b * a into a copy of b; a - b, a / b into a copy of a.
        {"1.5 + 2.25", numeric("15", 1, 9), numeric("225", 2, 7), KX_OP_ADD, "3.75", 2, 7},
        {"1.5 - 2.25", numeric("15", 1, 9), numeric("225", 2, 7), KX_OP_SUBTRACT, "-0.75", 2,
         9},
        {"1.5 * 2.25", numeric("15", 1, 9), numeric("225", 2, 7), KX_OP_MULTIPLY, "3.375", 3,
         0},
        {"1.0000 / 3", numeric("10000", 4, 9), numeric("3", 0, 7), KX_OP_DIVIDE, "0.3333", 4,
         9},
        {"-5 + 5 is 5 + -5: a positive zero", numeric("5", 0, 9, true), numeric("5", 0, 9),
         KX_OP_ADD, "0", 0, 9},
        {"5 + -5 is -5 + 5: a negative zero", numeric("5", 0, 9), numeric("5", 0, 9, true),
         KX_OP_ADD, "-0", 0, 9},
    };
    for (const ArithmeticCase &c : cases) {
        Value a = c.a;
        Value b = c.b;
        Value result = blank(VALUE_STRING);
        numeric_operation(&a, &b, &result, nullptr, c.op);
        EXPECT_EQ(result.type, VALUE_NUMERIC) << c.label;
        EXPECT_EQ(as_text(result), c.text) << c.label;
        EXPECT_EQ(result.payload.numeric.scale, c.scale) << c.label;
        EXPECT_EQ(result.payload.numeric.precision, c.precision) << c.label;
    }
}

TEST(NumericOperation, ResultIsACopyOfAnOperandKeepingItsReferenceCount)
{
    Value a = numeric("15", 1, 9);
    a.attr[2] = 77;
    a.driver[0] = 1234;
    Value b = integer(2);
    Value result = blank(VALUE_STRING);
    result.ref_count = 3;
    result.null_flag = -1;
    numeric_operation(&a, &b, &result, nullptr, KX_OP_ADD);
    EXPECT_EQ(result.ref_count, 3);
    EXPECT_EQ(result.null_flag, 0);
    EXPECT_EQ(result.attr[0], 9);
    EXPECT_EQ(result.attr[2], 77);
    EXPECT_EQ(result.driver[0], 1234);
    EXPECT_EQ(as_text(result), "3.5");
}

TEST(NumericOperation, ResultMayBeAnOperand)
{
    Value a = numeric("15", 1, 9);
    Value b = numeric("225", 2, 7);
    numeric_operation(&a, &b, &a, nullptr, KX_OP_ADD);
    EXPECT_EQ(as_text(a), "3.75");
    Value c = numeric("15", 1, 9);
    Value d = integer(4);
    numeric_operation(&c, &d, &d, nullptr, KX_OP_SUBTRACT);
    EXPECT_EQ(as_text(d), "-2.5");
}

TEST(NumericOperation, ResultMayBeTheOperandItIsCopiedFrom)
{
    // Addition starts from b, subtraction from a: the copy is skipped and
    // the sum or difference made in place.
    Value a = numeric("15", 1, 9);
    Value b = numeric("225", 2, 7);
    numeric_operation(&a, &b, &b, nullptr, KX_OP_ADD);
    EXPECT_EQ(as_text(b), "3.75");
    EXPECT_EQ(as_text(a), "1.5");
    Value c = numeric("15", 1, 9);
    Value d = numeric("225", 2, 7);
    numeric_operation(&c, &d, &c, nullptr, KX_OP_SUBTRACT);
    EXPECT_EQ(as_text(c), "-0.75");
    EXPECT_EQ(as_text(d), "2.25");
}

TEST(NumericOperation, UnhandledCodesChangeNothing)
{
    for (int32_t op : {0, KX_OP_CONCAT, KX_OP_NEGATE, 13, -1}) {
        Value a = numeric("15", 1);
        Value b = integer(2);
        Value result = integer(42);
        result.null_flag = -1;
        Value before = result;
        numeric_operation(&a, &b, &result, nullptr, op);
        EXPECT_EQ(std::memcmp(&result, &before, sizeof result), 0) << op;
    }
}

// Without a numeric operand there is nothing to promote to: every code
// leaves the result as it was. Null pointers are ignored.
TEST(NumericOperation, CallsWithoutANumericOperandChangeNothing)
{
    static char digits[] = "12";
    const Value pairs[][2] = {
        {integer(2), integer(3)},
        {text(digits), integer(3)},
        {bigint(5), dbl(1.5)},
    };
    for (const auto &pair : pairs) {
        for (int32_t op = 1; op <= 12; ++op) {
            Value a = pair[0];
            Value b = pair[1];
            Value result = text(digits);
            Value before = result;
            numeric_operation(&a, &b, &result, nullptr, op);
            EXPECT_EQ(std::memcmp(&result, &before, sizeof result), 0) << op;
        }
    }
    EXPECT_STREQ(digits, "12");
    Value n = numeric("15", 1);
    Value result = integer(42);
    numeric_operation(nullptr, &n, &result, nullptr, KX_OP_ADD);
    numeric_operation(&n, nullptr, &result, nullptr, KX_OP_LESS);
    numeric_operation(&n, &n, nullptr, nullptr, KX_OP_ADD);
    EXPECT_EQ(result.type, VALUE_INTEGER);
    EXPECT_EQ(result.payload.integer, 42);
    EXPECT_EQ(as_text(n), "1.5");
}

// ---- numeric_operation: comparisons ----

struct Ordering {
    const char *label;
    Value a;
    Value b;
    int expected;  // sign of a - b
};

// The truth of each comparison code for a - b of the given sign.
bool truth(int32_t op, int s)
{
    switch (op) {
    case KX_OP_LESS: return s < 0;
    case KX_OP_GREATER: return s > 0;
    case KX_OP_GREATER_EQUAL: return s >= 0;
    case KX_OP_LESS_EQUAL: return s <= 0;
    case KX_OP_EQUAL: return s == 0;
    default: return s != 0;
    }
}

TEST(NumericOperation, Comparisons)
{
    static char one_fifty[] = "1.50";
    static char two[] = "2";
    static char minus[] = "-0.1";
    const Ordering cases[] = {
        {"1.5 = 1.50 (text)", numeric("15", 1), text(one_fifty), 0},
        {"1.50 (text) = 1.5", text(one_fifty), numeric("15", 1), 0},
        {"1.5 < 2 (text)", numeric("15", 1), text(two), -1},
        {"-0.1 (text) < 0.0", text(minus), numeric("0", 1), -1},
        {"1.5 = 1.50", numeric("15", 1), numeric("150", 2), 0},
        {"1.5 < 1.51", numeric("15", 1), numeric("151", 2), -1},
        {"2 > 1.5", integer(2), numeric("15", 1), 1},
        {"1.5 < 2", numeric("15", 1), integer(2), -1},
        {"1.5 = 1.5 (double)", numeric("15", 1), dbl(1.5), 0},
        {"1.54 (double at scale 1) = 1.5", dbl(1.54), numeric("15", 1), 0},
        {"-3 < 0", numeric("3", 0, 10, true), integer(0), -1},
        // A bigint is read as a 32-bit integer: its high word.
        {"bigint 3*2^32+5 = 3", bigint(3 * 4294967296LL + 5), numeric("3", 0), 0},
        {"bigint 5 reads as 0 < 5", bigint(5), numeric("5", 0), -1},
        {"5 > bigint 5 read as 0", numeric("5", 0), bigint(5), 1},
        // A string without its text reads as zero.
        {"0.5 > no text", numeric("5", 1), text(nullptr, 0), 1},
        {"no text = 0.0", text(nullptr, 0), numeric("0", 1), 0},
        {"no text > -0.1", text(nullptr, 0), numeric("1", 1, 10, true), 1},
    };
    const int32_t codes[] = {KX_OP_LESS, KX_OP_GREATER, KX_OP_GREATER_EQUAL,
                             KX_OP_LESS_EQUAL, KX_OP_EQUAL, KX_OP_NOT_EQUAL};
    for (const Ordering &c : cases) {
        for (int32_t op : codes) {
            Value a = c.a;
            Value b = c.b;
            // A text operand is parsed in its own buffer, which the call
            // rewrites: each call gets a fresh copy.
            char text_a[16], text_b[16];
            if (a.type == VALUE_STRING && a.payload.text != nullptr) {
                std::strcpy(text_a, a.payload.text);
                a.payload.text = text_a;
            }
            if (b.type == VALUE_STRING && b.payload.text != nullptr) {
                std::strcpy(text_b, b.payload.text);
                b.payload.text = text_b;
            }
            Value result = numeric("99", 0);
            result.null_flag = -1;
            numeric_operation(&a, &b, &result, nullptr, op);
            EXPECT_EQ(result.type, VALUE_INTEGER) << c.label << " op " << op;
            EXPECT_EQ(result.null_flag, 0) << c.label << " op " << op;
            EXPECT_EQ(result.payload.integer, truth(op, c.expected) ? 1 : 0)
                << c.label << " op " << op;
        }
    }
}

TEST(NumericOperation, TextOperandIsParsedInPlace)
{
    char digits[] = "1.50";
    Value a = numeric("15", 1);
    Value b = text(digits);
    Value result = numeric("99", 0);
    numeric_operation(&a, &b, &result, nullptr, KX_OP_EQUAL);
    EXPECT_EQ(result.payload.integer, 1);
    // The decimal point is gone from the operand's own text.
    EXPECT_EQ(std::strchr(digits, '.'), nullptr) << digits;
}

// ---- bigint_operation ----

struct BigintCase {
    const char *label;
    Value a;
    Value b;
    int32_t op;
    int64_t expected;
};

TEST(BigintOperation, Arithmetic)
{
    static char minus_two[] = "-2";
    const BigintCase cases[] = {
        {"7 + -2", bigint(7), bigint(-2), KX_OP_ADD, 5},
        {"7 - -2", bigint(7), bigint(-2), KX_OP_SUBTRACT, 9},
        {"7 * -2", bigint(7), bigint(-2), KX_OP_MULTIPLY, -14},
        {"7 / -2", bigint(7), bigint(-2), KX_OP_DIVIDE, -3},
        {"-7 / 2", bigint(-7), bigint(2), KX_OP_DIVIDE, -3},
        {"2^32 * 2^31", bigint(4294967296LL), bigint(2147483648LL), KX_OP_MULTIPLY,
         INT64_MIN},
        {"max + 1 wraps", bigint(INT64_MAX), bigint(1), KX_OP_ADD, INT64_MIN},
        {"min - 1 wraps", bigint(INT64_MIN), bigint(1), KX_OP_SUBTRACT, INT64_MAX},
        {"min / -1 wraps", bigint(INT64_MIN), bigint(-1), KX_OP_DIVIDE, INT64_MIN},
        {"min / 2", bigint(INT64_MIN), bigint(2), KX_OP_DIVIDE, INT64_MIN / 2},
        {"min / -2", bigint(INT64_MIN), bigint(-2), KX_OP_DIVIDE, INT64_C(4611686018427387904)},
        {"integer operands", integer(7), integer(-2), KX_OP_ADD, 5},
        {"text operand", integer(7), text(minus_two), KX_OP_MULTIPLY, -14},
        {"double truncated", dbl(7.9), integer(2), KX_OP_DIVIDE, 3},
        {"numeric operand", numeric("1050", 2), bigint(1), KX_OP_ADD, 11},
    };
    for (const BigintCase &c : cases) {
        Value a = c.a;
        Value b = c.b;
        Value result = blank(VALUE_STRING);
        result.null_flag = -1;
        bigint_operation(&a, &b, &result, nullptr, c.op);
        EXPECT_EQ(result.type, VALUE_BIGINT) << c.label;
        EXPECT_EQ(result.null_flag, 0) << c.label;
        EXPECT_EQ(bigint_of(result), c.expected) << c.label;
        EXPECT_EQ(get_bigint_from_value(&result), c.expected) << c.label;
    }
}

TEST(BigintOperation, Comparisons)
{
    const Ordering cases[] = {
        {"-1 < 0", bigint(-1), bigint(0), -1},
        {"2^32 > 2^32 - 1", bigint(4294967296LL), bigint(4294967295LL), 1},
        {"2^32 - 1 > 1", bigint(4294967295LL), bigint(1), 1},
        {"equal", bigint(-5), integer(-5), 0},
        {"min < max", bigint(INT64_MIN), bigint(INT64_MAX), -1},
    };
    const int32_t codes[] = {KX_OP_LESS, KX_OP_GREATER, KX_OP_GREATER_EQUAL,
                             KX_OP_LESS_EQUAL, KX_OP_EQUAL, KX_OP_NOT_EQUAL};
    for (const Ordering &c : cases) {
        for (int32_t op : codes) {
            Value a = c.a;
            Value b = c.b;
            Value result = bigint(99);
            bigint_operation(&a, &b, &result, nullptr, op);
            EXPECT_EQ(result.type, VALUE_INTEGER) << c.label << " op " << op;
            EXPECT_EQ(result.payload.integer, truth(op, c.expected) ? 1 : 0)
                << c.label << " op " << op;
        }
    }
}

TEST(BigintOperation, UnhandledCodesChangeNothing)
{
    for (int32_t op : {0, KX_OP_CONCAT, KX_OP_NEGATE, 13}) {
        Value a = bigint(7);
        Value b = bigint(2);
        Value result = integer(42);
        Value before = result;
        bigint_operation(&a, &b, &result, nullptr, op);
        EXPECT_EQ(std::memcmp(&result, &before, sizeof result), 0) << op;
    }
}

TEST(BigintOperation, NullPointersAreIgnored)
{
    Value a = bigint(7);
    Value result = integer(42);
    bigint_operation(nullptr, &a, &result, nullptr, KX_OP_ADD);
    bigint_operation(&a, nullptr, &result, nullptr, KX_OP_DIVIDE);
    bigint_operation(&a, &a, nullptr, nullptr, KX_OP_MULTIPLY);
    EXPECT_EQ(result.type, VALUE_INTEGER);
    EXPECT_EQ(result.payload.integer, 42);
}

// ---- division by zero through the context ----

// The jumping calls live in plain functions that arm the exit point as a
// driver does; no object with a destructor lives in their frames.
int divide_bigint(EvalContext *context, Value *a, Value *b, Value *result)
{
    if (setjmp(context->exit) != 0)
        return -1;
    bigint_operation(a, b, result, context, KX_OP_DIVIDE);
    return 0;
}

int divide_numeric(EvalContext *context, Value *a, Value *b, Value *result)
{
    if (setjmp(context->exit) != 0)
        return -1;
    numeric_operation(a, b, result, context, KX_OP_DIVIDE);
    return 0;
}

TEST(BigintOperation, DivisionByZeroWithoutAContextGivesZero)
{
    // No exit point to leave through: the quotient is 0 and nothing jumps.
    Value a = bigint(7);
    Value b = bigint(0);
    Value result = blank(VALUE_STRING);
    result.null_flag = -1;
    bigint_operation(&a, &b, &result, nullptr, KX_OP_DIVIDE);
    EXPECT_EQ(result.type, VALUE_BIGINT);
    EXPECT_EQ(result.null_flag, 0);
    EXPECT_EQ(bigint_of(result), 0);
}

class DivisionByZero : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(statement.errors, nullptr); }

    void expect_posted(const char *subclass_origin)
    {
        EXPECT_EQ(context.result, -1);
        EXPECT_EQ(statement.errors->return_code, -1);
        char sqlstate[6] = {};
        int32_t native = 99;
        char message[256] = {};
        int16_t length = 0;
        ASSERT_EQ(GetDiagRec(statement.errors, 1, sqlstate, &native, message,
                             sizeof message, &length),
                  0);
        EXPECT_STREQ(sqlstate, "22012");
        EXPECT_EQ(native, 0);
        EXPECT_STREQ(message, "[Varnel ODBC]Division by zero");
        ASSERT_NE(statement.errors->first, nullptr);
        EXPECT_EQ(statement.errors->first->class_origin_code, 1);
        EXPECT_STREQ(statement.errors->first->subclass_origin, subclass_origin);
        EXPECT_EQ(GetDiagRec(statement.errors, 2, sqlstate, &native, message,
                             sizeof message, &length),
                  100);
    }

    StatementContext on_statement;
    DriverStatement &statement = on_statement.statement;
    EvalContext &context = on_statement.context;
};

TEST_F(DivisionByZero, BigintLeavesThroughTheContext)
{
    Value a = bigint(7);
    Value b = bigint(0);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(divide_bigint(&context, &a, &b, &result), -1);
    EXPECT_EQ(result.type, VALUE_BIGINT);
    expect_posted("ODBC3.0");
}

TEST_F(DivisionByZero, BigintZeroFromAnotherType)
{
    Value a = bigint(7);
    Value b = dbl(0.5);  // truncates to 0
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(divide_bigint(&context, &a, &b, &result), -1);
    expect_posted("ODBC3.0");
}

TEST_F(DivisionByZero, NumericByIntegerZero)
{
    Value a = numeric("15", 1);
    Value b = integer(0);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(divide_numeric(&context, &a, &b, &result), -1);
    expect_posted("ISO 9075");
}

TEST_F(DivisionByZero, NumericByNumericZero)
{
    Value a = integer(3);
    Value b = numeric("000", 2);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(divide_numeric(&context, &a, &b, &result), -1);
    expect_posted("ISO 9075");
}

TEST_F(DivisionByZero, NonZeroDivisorDoesNotJump)
{
    Value a = bigint(7);
    Value b = bigint(2);
    Value result = blank(VALUE_STRING);
    EXPECT_EQ(divide_bigint(&context, &a, &b, &result), 0);
    EXPECT_EQ(bigint_of(result), 3);
    EXPECT_EQ(context.result, 0);
    EXPECT_EQ(statement.errors->record_count, 0);
}

}  // namespace
