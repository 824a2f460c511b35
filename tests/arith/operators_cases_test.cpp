// Case tables for the binary operators over exact numbers: numeric_operation
// (at least one VALUE_NUMERIC operand) and bigint_operation (64-bit
// integers), with the division-by-zero exit through a driver's evaluation
// context. Only the public header is used; expected values are worked out by
// hand from the documented promotion and operand-order rules.
#include <gtest/gtest.h>

#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using kxtest::magnitude_of;
using kxtest::numeric;
using kxtest::u128;

// The text of a numeric record, with a null length pointer.
std::string text_of(const NumericStruct &n) { return kxtest::numeric_text(n, false); }

// A driver's statement, error header, memory handle and evaluation context.
struct Driver {
    MemHandle *mem;
    ErrorHeader *errors;
    DriverStatement stmt;
    EvalContext ctx;
};

class Operators : public ::testing::Test {
protected:
    void SetUp() override {
        std::memset(&d, 0, sizeof d);
        d.mem = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(d.mem, nullptr);
        d.errors = CreateErrorHeader(d.mem, nullptr);
        ASSERT_NE(d.errors, nullptr);
        d.stmt.kind = KX_KIND_STATEMENT;
        d.stmt.errors = d.errors;
        d.ctx.stmt = &d.stmt;
        d.ctx.mem = d.mem;
    }
    void TearDown() override { kx_mem_release_handle(d.mem); }

    // A record without inline text. NewValue sets only the kind, handle and
    // reference count; the rest (padding included) is cleared here, so that
    // whole records compare byte for byte.
    Value *bare(int32_t type) {
        Value *v = NewValue(d.mem, 0);
        EXPECT_NE(v, nullptr);
        std::memset(static_cast<void *>(v), 0, sizeof *v);
        v->kind = NODE_VALUE;
        v->mem_handle = d.mem;
        v->type = type;
        v->null_flag = 0;
        return v;
    }
    Value *numv(u128 magnitude, int scale, int sign, int precision) {
        Value *v = bare(VALUE_NUMERIC);
        v->payload.numeric = numeric(magnitude, scale, sign, precision);
        v->length = 19;
        v->attr[0] = precision;
        v->attr[1] = scale;
        return v;
    }
    Value *intv(int32_t i) {
        Value *v = bare(VALUE_INTEGER);
        v->payload.integer = i;
        v->length = 4;
        return v;
    }
    Value *bigv(int64_t x) {
        Value *v = bare(VALUE_BIGINT);
        v->payload.bigint.high = static_cast<int32_t>(x >> 32);
        v->payload.bigint.low = static_cast<uint32_t>(x);
        v->length = 8;
        return v;
    }
    Value *dblv(double x) {
        Value *v = bare(VALUE_DOUBLE);
        v->payload.dbl = x;
        v->length = 8;
        return v;
    }
    Value *strv(const char *s) {
        int32_t n = static_cast<int32_t>(std::strlen(s));
        Value *v = NewValue(d.mem, n + 1);
        EXPECT_NE(v, nullptr);
        v->type = VALUE_STRING;
        v->null_flag = 0;
        std::memcpy(v->payload.text, s, n + 1);
        v->length = n;
        v->data_length = n;
        return v;
    }
    Value *result() {
        Value *v = bare(VALUE_INTEGER);
        v->payload.integer = 12345;
        v->ref_count = 3;
        return v;
    }
    int32_t diag_count() {
        int32_t count = -1;
        EXPECT_EQ(GetDiagField(3, d.errors, 0, 2, &count, 0, nullptr), 0);
        return count;
    }

    Driver d;
};

int64_t big_of(const Value *v) {
    return static_cast<int64_t>(
        (static_cast<uint64_t>(static_cast<uint32_t>(v->payload.bigint.high)) << 32) |
        v->payload.bigint.low);
}

// Truth of each comparison code 7..12 for a three-way result r.
bool truth(int code, int r) {
    switch (code) {
    case KX_OP_LESS: return r < 0;
    case KX_OP_GREATER: return r > 0;
    case KX_OP_GREATER_EQUAL: return r >= 0;
    case KX_OP_LESS_EQUAL: return r <= 0;
    case KX_OP_EQUAL: return r == 0;
    case KX_OP_NOT_EQUAL: return r != 0;
    }
    return false;
}

// ---------------------------------------------------------------------------
// The exits: plain functions arming the exit point, as a driver does. No C++
// object with a destructor lives in these frames.

int numeric_armed(EvalContext *ctx, Value *a, Value *b, Value *r, int32_t op) {
    switch (setjmp(ctx->exit)) {
    case 0:
        break;
    case -1:
        return -1;
    default:
        return -2;
    }
    numeric_operation(a, b, r, ctx, op);
    return 0;
}

int bigint_armed(EvalContext *ctx, Value *a, Value *b, Value *r, int32_t op) {
    switch (setjmp(ctx->exit)) {
    case 0:
        break;
    case -1:
        return -1;
    default:
        return -2;
    }
    bigint_operation(a, b, r, ctx, op);
    return 0;
}

void expect_division_by_zero(ErrorHeader *h, const char *subclass_origin) {
    int32_t count = -1;
    EXPECT_EQ(GetDiagField(3, h, 0, 2, &count, 0, nullptr), 0);
    EXPECT_EQ(count, 1);
    int32_t rc = 0;
    EXPECT_EQ(GetDiagField(3, h, 0, 1, &rc, 0, nullptr), 0);
    EXPECT_EQ(rc, -1);
    char state[6] = "xxxxx";
    int32_t native = 99;
    char message[128];
    int16_t len = -1;
    EXPECT_EQ(GetDiagRec(h, 1, state, &native, message, sizeof message, &len), 0);
    EXPECT_STREQ(state, "22012");
    EXPECT_EQ(native, 0);
    EXPECT_STREQ(message, "[Varnel ODBC]Division by zero");
    char text[64];
    EXPECT_EQ(GetDiagField(3, h, 1, 8, text, sizeof text, &len), 0);
    EXPECT_STREQ(text, "ODBC 3.0");
    EXPECT_EQ(GetDiagField(3, h, 1, 9, text, sizeof text, &len), 0);
    EXPECT_STREQ(text, subclass_origin);
}

// ---------------------------------------------------------------------------
// numeric_operation: arithmetic

enum Kind { NUM, INT, BIG, DBL, STR };

struct Operand {
    Kind kind;
    u128 magnitude;  // NUM
    int scale;       // NUM
    int sign;        // NUM
    int precision;   // NUM
    int64_t integer; // INT, BIG
    double dbl;      // DBL
    const char *text; // STR
};

Operand N(u128 m, int scale, int sign, int precision) {
    return Operand{NUM, m, scale, sign, precision, 0, 0.0, nullptr};
}
Operand I(int32_t i) { return Operand{INT, 0, 0, 1, 0, i, 0.0, nullptr}; }
Operand B(int64_t x) { return Operand{BIG, 0, 0, 1, 0, x, 0.0, nullptr}; }
Operand D(double x) { return Operand{DBL, 0, 0, 1, 0, 0, x, nullptr}; }
Operand S(const char *s) { return Operand{STR, 0, 0, 1, 0, 0, 0.0, s}; }

struct ArithCase {
    const char *what;
    Operand a;
    Operand b;
    int32_t op;
    const char *text;
    u128 magnitude;
    int scale;
    int sign;
    int precision;
};

class NumericOperation : public Operators {
protected:
    Value *make(const Operand &o) {
        switch (o.kind) {
        case NUM: return numv(o.magnitude, o.scale, o.sign, o.precision);
        case INT: return intv(static_cast<int32_t>(o.integer));
        case BIG: return bigv(o.integer);
        case DBL: return dblv(o.dbl);
        case STR: return strv(o.text);
        }
        return nullptr;
    }
};

TEST_F(NumericOperation, ArithmeticTable) {
    const ArithCase cases[] = {
        // One numeric operand: the other is promoted.
        {"1.5 + integer 2", N(15, 1, 1, 5), I(2), KX_OP_ADD, "3.5", 35, 1, 1, 5},
        {"integer 2 + 1.5", I(2), N(15, 1, 1, 5), KX_OP_ADD, "3.5", 35, 1, 1, 5},
        {"integer 2 - 0.5", I(2), N(5, 1, 1, 5), KX_OP_SUBTRACT, "1.5", 15, 1, 1, 15},
        {"0.5 - integer 2", N(5, 1, 1, 5), I(2), KX_OP_SUBTRACT, "-1.5", 15, 1, 0, 5},
        {"integer 10 / 3.00", I(10), N(300, 2, 1, 5), KX_OP_DIVIDE, "3", 3, 0, 1, 15},
        {"10.00 / integer 4", N(1000, 2, 1, 5), I(4), KX_OP_DIVIDE, "2.5", 250, 2, 1, 5},
        {"1.5 * integer 3", N(15, 1, 1, 5), I(3), KX_OP_MULTIPLY, "4.5", 45, 1, 1, 0},
        {"integer 3 * 1.5", I(3), N(15, 1, 1, 5), KX_OP_MULTIPLY, "4.5", 45, 1, 1, 0},
        {"integer -3 * 1.5", I(-3), N(15, 1, 1, 5), KX_OP_MULTIPLY, "-4.5", 45, 1, 0, 0},
        {"integer 7 - 7.0", I(7), N(70, 1, 1, 5), KX_OP_SUBTRACT, "0", 0, 1, 1, 15},
        {"1.5 + bigint 2^40", N(15, 1, 1, 5), B(1099511627776LL), KX_OP_ADD,
         "1099511627777.5", 10995116277775ULL, 1, 1, 5},
        {"bigint 10 / 3.0", B(10), N(30, 1, 1, 5), KX_OP_DIVIDE, "3", 3, 0, 1, 20},
        {"bigint -10 - 0.25", B(-10), N(25, 2, 1, 5), KX_OP_SUBTRACT, "-10.25", 1025, 2, 0,
         20},
        {"1.5 + double 2.26", N(15, 1, 1, 5), D(2.26), KX_OP_ADD, "3.8", 38, 1, 1, 5},
        {"double 5.0 - 1.5", D(5.0), N(15, 1, 1, 5), KX_OP_SUBTRACT, "3.5", 35, 1, 1, 5},
        {"double 7.04 / 2.0", D(7.04), N(20, 1, 1, 5), KX_OP_DIVIDE, "3.5", 35, 1, 1, 5},
        {"1.5 + text 2", N(15, 1, 1, 5), S("2"), KX_OP_ADD, "3.5", 35, 1, 1, 5},
        // Both numeric: b + a, b * a, a - b, a / b.
        {"1.5 + 2 (b's precision)", N(15, 1, 1, 5), N(2, 0, 1, 3), KX_OP_ADD, "3.5", 35, 1, 1,
         3},
        {"-5 + 5 is b + a", N(5, 0, 0, 5), N(5, 0, 1, 3), KX_OP_ADD, "0", 0, 0, 1, 3},
        {"5 + -5 is b + a", N(5, 0, 1, 5), N(5, 0, 0, 3), KX_OP_ADD, "-0", 0, 0, 0, 3},
        {"3.5 - 2", N(35, 1, 1, 5), N(2, 0, 1, 3), KX_OP_SUBTRACT, "1.5", 15, 1, 1, 5},
        {"2 - 0.5", N(2, 0, 1, 5), N(5, 1, 1, 3), KX_OP_SUBTRACT, "1.5", 15, 1, 1, 5},
        {"5 - 5", N(5, 0, 1, 5), N(5, 0, 1, 3), KX_OP_SUBTRACT, "0", 0, 0, 1, 5},
        {"1.5 * 2.25", N(15, 1, 1, 5), N(225, 2, 1, 3), KX_OP_MULTIPLY, "3.375", 3375, 3, 1, 0},
        {"1.0000 / 3", N(10000, 4, 1, 7), N(3, 0, 1, 3), KX_OP_DIVIDE, "0.3333", 3333, 4, 1, 7},
        {"2 / 3", N(2, 0, 1, 7), N(3, 0, 1, 3), KX_OP_DIVIDE, "1", 1, 0, 1, 7},
        {"-7 / 2", N(7, 0, 0, 7), N(2, 0, 1, 3), KX_OP_DIVIDE, "-4", 4, 0, 0, 7},
    };
    for (const auto &c : cases) {
        Value *a = make(c.a);
        Value *b = make(c.b);
        Value *r = result();
        numeric_operation(a, b, r, &d.ctx, c.op);
        EXPECT_EQ(r->type, VALUE_NUMERIC) << c.what;
        EXPECT_EQ(r->ref_count, 3) << c.what << ": the result keeps its reference count";
        EXPECT_EQ(r->null_flag, 0) << c.what;
        EXPECT_EQ(text_of(r->payload.numeric), c.text) << c.what;
        EXPECT_EQ(magnitude_of(r->payload.numeric), c.magnitude) << c.what;
        EXPECT_EQ(r->payload.numeric.scale, c.scale) << c.what;
        EXPECT_EQ(r->payload.numeric.sign, c.sign) << c.what;
        EXPECT_EQ(r->payload.numeric.precision, c.precision) << c.what;
        EXPECT_EQ(diag_count(), 0) << c.what;
    }
}

TEST_F(NumericOperation, ArithmeticLeavesNumericOperandsAlone) {
    Value *a = numv(15, 1, 1, 5);
    Value *b = numv(225, 2, 0, 3);
    const NumericStruct a0 = a->payload.numeric;
    const NumericStruct b0 = b->payload.numeric;
    const int32_t ops[] = {KX_OP_ADD, KX_OP_SUBTRACT, KX_OP_MULTIPLY, KX_OP_DIVIDE};
    for (int32_t op : ops) {
        Value *r = result();
        numeric_operation(a, b, r, &d.ctx, op);
        EXPECT_EQ(std::memcmp(&a->payload.numeric, &a0, sizeof a0), 0) << op;
        EXPECT_EQ(std::memcmp(&b->payload.numeric, &b0, sizeof b0), 0) << op;
        EXPECT_EQ(r->type, VALUE_NUMERIC) << op;
    }
}

TEST_F(NumericOperation, AdditionOverflowKeepsLowBitsWithoutDiagnostic) {
    const u128 max = ~static_cast<u128>(0);
    Value *a = numv(max, 0, 1, 38);
    Value *b = numv(1, 0, 1, 38);
    Value *r = result();
    numeric_operation(a, b, r, &d.ctx, KX_OP_ADD);
    EXPECT_EQ(r->type, VALUE_NUMERIC);
    EXPECT_EQ(magnitude_of(r->payload.numeric), static_cast<u128>(0));
    EXPECT_EQ(diag_count(), 0);
    EXPECT_EQ(d.ctx.result, 0);
}

// ---------------------------------------------------------------------------
// numeric_operation: comparisons

struct CompareCase {
    const char *what;
    Operand a;
    Operand b;
    int r;  // sign of a compared with b
};

TEST_F(NumericOperation, ComparisonTable) {
    const CompareCase cases[] = {
        {"1.5 vs 2", N(15, 1, 1, 5), N(2, 0, 1, 5), -1},
        {"2 vs 1.5", N(2, 0, 1, 5), N(15, 1, 1, 5), 1},
        {"1.50 vs 1.5", N(150, 2, 1, 5), N(15, 1, 1, 5), 0},
        {"+0 vs -0", N(0, 0, 1, 5), N(0, 0, 0, 5), 1},
        {"-0 vs +0", N(0, 0, 0, 5), N(0, 0, 1, 5), -1},
        {"-2 vs -1.5", N(2, 0, 0, 5), N(15, 1, 0, 5), -1},
        {"1.5 vs text 1.50", N(15, 1, 1, 5), S("1.50"), 0},
        {"text 1.50 vs 1.5", S("1.50"), N(15, 1, 1, 5), 0},
        {"1.5 vs text 2", N(15, 1, 1, 5), S("2"), -1},
        {"text -3 vs -2", S("-3"), N(2, 0, 0, 5), -1},
        {"text 10 vs 9.99", S("10"), N(999, 2, 1, 5), 1},
        {"1.5 vs double 1.54 (rounded to scale 1)", N(15, 1, 1, 5), D(1.54), 0},
        {"1.5 vs double 1.56", N(15, 1, 1, 5), D(1.56), -1},
        {"double 1.56 vs 1.5", D(1.56), N(15, 1, 1, 5), 1},
        {"double 1.46 vs 1.5", D(1.46), N(15, 1, 1, 5), 0},
        {"5 vs integer 5", N(5, 0, 1, 5), I(5), 0},
        {"5.00 vs integer 5", N(500, 2, 1, 5), I(5), 0},
        {"5 vs integer 6", N(5, 0, 1, 5), I(6), -1},
        {"integer -1 vs 0", I(-1), N(0, 0, 1, 5), -1},
        {"integer 7 vs 6.5", I(7), N(65, 1, 1, 5), 1},
        // A bigint beside a numeric is read as its high word.
        {"5 vs bigint 5", N(5, 0, 1, 5), B(5), 1},
        {"1 vs bigint 2^32", N(1, 0, 1, 5), B(4294967296LL), 0},
        {"bigint 2^32 vs 1", B(4294967296LL), N(1, 0, 1, 5), 0},
        {"bigint 3 x 2^32 + 9 vs 2", B(3 * 4294967296LL + 9), N(2, 0, 1, 5), 1},
    };
    const int32_t codes[] = {KX_OP_LESS,       KX_OP_GREATER, KX_OP_GREATER_EQUAL,
                             KX_OP_LESS_EQUAL, KX_OP_EQUAL,   KX_OP_NOT_EQUAL};
    for (const auto &c : cases) {
        for (int32_t code : codes) {
            Value *a = make(c.a);
            Value *b = make(c.b);
            Value *r = result();
            r->null_flag = -1;
            numeric_operation(a, b, r, &d.ctx, code);
            EXPECT_EQ(r->type, VALUE_INTEGER) << c.what << " code " << code;
            EXPECT_EQ(r->null_flag, 0) << c.what << " code " << code;
            EXPECT_EQ(r->payload.integer, truth(code, c.r) ? 1 : 0)
                << c.what << " code " << code;
        }
    }
    EXPECT_EQ(diag_count(), 0);
}

TEST_F(NumericOperation, ComparisonWithTextWorksOnTheOperandsOwnText) {
    Value *a = numv(15, 1, 1, 5);
    Value *b = strv("1.50");
    Value *r = result();
    numeric_operation(a, b, r, &d.ctx, KX_OP_EQUAL);
    EXPECT_EQ(r->payload.integer, 1);
    EXPECT_EQ(std::strchr(b->payload.text, '.'), nullptr) << b->payload.text;

    Value *c = strv("12.5");
    Value *e = numv(125, 1, 1, 5);
    numeric_operation(c, e, r, &d.ctx, KX_OP_EQUAL);
    EXPECT_EQ(r->payload.integer, 1);
    EXPECT_EQ(std::strchr(c->payload.text, '.'), nullptr) << c->payload.text;
}

TEST_F(NumericOperation, UnhandledCodesChangeNothing) {
    const int32_t codes[] = {KX_OP_CONCAT, KX_OP_NEGATE, 0, 13, -1, 99};
    for (int32_t code : codes) {
        Value *a = numv(15, 1, 1, 5);
        Value *b = numv(2, 0, 1, 5);
        Value *r = result();
        Value before;
        std::memcpy(&before, r, sizeof before);
        const NumericStruct a0 = a->payload.numeric;
        const NumericStruct b0 = b->payload.numeric;
        numeric_operation(a, b, r, &d.ctx, code);
        EXPECT_EQ(std::memcmp(&before, r, sizeof before), 0) << code;
        EXPECT_EQ(std::memcmp(&a0, &a->payload.numeric, sizeof a0), 0) << code;
        EXPECT_EQ(std::memcmp(&b0, &b->payload.numeric, sizeof b0), 0) << code;

        Value *i = intv(4);
        numeric_operation(a, i, r, &d.ctx, code);
        EXPECT_EQ(std::memcmp(&before, r, sizeof before), 0) << code;
    }
    EXPECT_EQ(diag_count(), 0);
}

TEST_F(NumericOperation, DivisionByZeroLeavesThroughTheContext) {
    struct {
        const char *what;
        Operand a;
        Operand b;
    } const cases[] = {
        {"numeric / numeric 0", N(5, 0, 1, 5), N(0, 0, 1, 5)},
        {"numeric / numeric -0.00", N(5, 0, 1, 5), N(0, 2, 0, 5)},
        {"integer / numeric 0", I(5), N(0, 0, 1, 5)},
        {"numeric / integer 0", N(5, 0, 1, 5), I(0)},
        {"numeric / bigint 0", N(5, 0, 1, 5), B(0)},
        {"numeric / double 0.0", N(5, 0, 1, 5), D(0.0)},
    };
    for (const auto &c : cases) {
        TearDown();  // a fresh handle and header for each case
        SetUp();
        Value *a = make(c.a);
        Value *b = make(c.b);
        Value *r = result();
        EXPECT_EQ(numeric_armed(&d.ctx, a, b, r, KX_OP_DIVIDE), -1) << c.what;
        EXPECT_EQ(d.ctx.result, -1) << c.what;
        expect_division_by_zero(d.errors, "ISO 9075");
    }
}

// ---------------------------------------------------------------------------
// bigint_operation

struct BigCase {
    int64_t x;
    int64_t y;
    int32_t op;
    int64_t expected;
};

class BigintOperation : public Operators {};

TEST_F(BigintOperation, ArithmeticTable) {
    const BigCase cases[] = {
        {7, -2, KX_OP_DIVIDE, -3},
        {-7, 2, KX_OP_DIVIDE, -3},
        {7, 2, KX_OP_DIVIDE, 3},
        {-7, -2, KX_OP_DIVIDE, 3},
        {1, 2, KX_OP_DIVIDE, 0},
        {9000000000LL, 3, KX_OP_DIVIDE, 3000000000LL},
        {3, 4, KX_OP_ADD, 7},
        {3, 4, KX_OP_SUBTRACT, -1},
        {3, 4, KX_OP_MULTIPLY, 12},
        {-3, 4, KX_OP_MULTIPLY, -12},
        {INT64_MAX, 1, KX_OP_ADD, INT64_MIN},  // wraps
        {INT64_MIN, 1, KX_OP_SUBTRACT, INT64_MAX},
        {INT64_MAX, 2, KX_OP_MULTIPLY, -2},
        {4294967296LL, 4294967296LL, KX_OP_MULTIPLY, 0},
        {4294967295LL, 1, KX_OP_ADD, 4294967296LL},
        {4294967296LL, 1, KX_OP_SUBTRACT, 4294967295LL},
        {-1, -1, KX_OP_ADD, -2},
    };
    for (const auto &c : cases) {
        Value *a = bigv(c.x);
        Value *b = bigv(c.y);
        Value *r = result();
        bigint_operation(a, b, r, &d.ctx, c.op);
        EXPECT_EQ(r->type, VALUE_BIGINT) << c.x << " op " << c.op << " " << c.y;
        EXPECT_EQ(big_of(r), c.expected) << c.x << " op " << c.op << " " << c.y;
        EXPECT_EQ(r->payload.bigint.high, static_cast<int32_t>(c.expected >> 32));
        EXPECT_EQ(r->payload.bigint.low, static_cast<uint32_t>(c.expected));
        EXPECT_EQ(big_of(a), c.x);
        EXPECT_EQ(big_of(b), c.y);
    }
    EXPECT_EQ(diag_count(), 0);
}

TEST_F(BigintOperation, MostNegativeDividedByMinusOneDoesNotTrap) {
    Value *a = bigv(INT64_MIN);
    Value *b = bigv(-1);
    Value *r = result();
    bigint_operation(a, b, r, &d.ctx, KX_OP_DIVIDE);
    EXPECT_EQ(r->type, VALUE_BIGINT);
    EXPECT_EQ(big_of(r), INT64_MIN);  // the 64-bit two's-complement wrap of 2^63
    EXPECT_EQ(diag_count(), 0);
}

TEST_F(BigintOperation, OperandsOfOtherTypesAreReadAs64Bit) {
    struct {
        Value *a;
        Value *b;
        int32_t op;
        int64_t expected;
    } const cases[] = {
        {intv(7), bigv(-2), KX_OP_DIVIDE, -3},
        {intv(-1), intv(-1), KX_OP_MULTIPLY, 1},
        {strv("9000000000"), bigv(1), KX_OP_ADD, 9000000001LL},
        {dblv(-7.9), intv(2), KX_OP_DIVIDE, -3},
        {bigv(10), dblv(2.9), KX_OP_MULTIPLY, 20},
        {intv(2147483647), intv(1), KX_OP_ADD, 2147483648LL},
    };
    for (const auto &c : cases) {
        Value *r = result();
        bigint_operation(c.a, c.b, r, &d.ctx, c.op);
        EXPECT_EQ(r->type, VALUE_BIGINT);
        EXPECT_EQ(big_of(r), c.expected);
    }
}

TEST_F(BigintOperation, ComparisonTable) {
    struct {
        int64_t x;
        int64_t y;
        int r;
    } const cases[] = {
        {-1, 1, -1},
        {1, -1, 1},
        {5, 5, 0},
        {4294967296LL, 4294967295LL, 1},  // high words decide
        {4294967295LL, 4294967296LL, -1},
        {0x80000000LL, 1, 1},             // low words compare unsigned
        {1, 0x80000000LL, -1},
        {0xFFFFFFFFLL, 0x7FFFFFFFLL, 1},
        {INT64_MIN, INT64_MAX, -1},
        {INT64_MAX, INT64_MIN, 1},
        {-4294967296LL, -1, -1},
        {-1, -4294967296LL, 1},
        {-2, -1, -1},
        {INT64_MIN, INT64_MIN, 0},
    };
    const int32_t codes[] = {KX_OP_LESS,       KX_OP_GREATER, KX_OP_GREATER_EQUAL,
                             KX_OP_LESS_EQUAL, KX_OP_EQUAL,   KX_OP_NOT_EQUAL};
    for (const auto &c : cases) {
        for (int32_t code : codes) {
            Value *a = bigv(c.x);
            Value *b = bigv(c.y);
            Value *r = result();
            r->null_flag = -1;
            r->type = VALUE_STRING;
            bigint_operation(a, b, r, &d.ctx, code);
            EXPECT_EQ(r->type, VALUE_INTEGER) << c.x << " vs " << c.y << " code " << code;
            EXPECT_EQ(r->null_flag, 0);
            EXPECT_EQ(r->payload.integer, truth(code, c.r) ? 1 : 0)
                << c.x << " vs " << c.y << " code " << code;
        }
    }
}

TEST_F(BigintOperation, UnhandledCodesChangeNothing) {
    const int32_t codes[] = {KX_OP_CONCAT, KX_OP_NEGATE, 0, 13, -1, 99};
    for (int32_t code : codes) {
        Value *a = bigv(7);
        Value *b = bigv(0);
        Value *r = result();
        Value before;
        std::memcpy(&before, r, sizeof before);
        EXPECT_EQ(bigint_armed(&d.ctx, a, b, r, code), 0) << code;
        EXPECT_EQ(std::memcmp(&before, r, sizeof before), 0) << code;
        EXPECT_EQ(big_of(a), 7);
        EXPECT_EQ(big_of(b), 0);
    }
    EXPECT_EQ(diag_count(), 0);
    EXPECT_EQ(d.ctx.result, 0);
}

TEST_F(BigintOperation, DivisionByZeroLeavesThroughTheContext) {
    Value *a = bigv(7);
    Value *b = bigv(0);
    Value *r = result();
    EXPECT_EQ(bigint_armed(&d.ctx, a, b, r, KX_OP_DIVIDE), -1);
    EXPECT_EQ(d.ctx.result, -1);
    EXPECT_EQ(r->type, VALUE_BIGINT);  // set before the divisor is tested
    expect_division_by_zero(d.errors, "ODBC3.0");
}

TEST_F(BigintOperation, DivisorsThatReadAsZero) {
    // A double below one truncates to 0, a text "0" reads as 0.
    for (int i = 0; i < 4; ++i) {
        TearDown();  // a fresh handle and header for each case
        SetUp();
        Value *b = i == 0 ? dblv(0.4) : i == 1 ? strv("0") : i == 2 ? intv(0) : bigv(0);
        Value *a = bigv(-5);
        Value *r = result();
        EXPECT_EQ(bigint_armed(&d.ctx, a, b, r, KX_OP_DIVIDE), -1) << i;
        EXPECT_EQ(d.ctx.result, -1) << i;
        expect_division_by_zero(d.errors, "ODBC3.0");
    }
}

TEST_F(BigintOperation, NonZeroDivisorDoesNotJump) {
    Value *a = bigv(-9);
    Value *b = bigv(4);
    Value *r = result();
    EXPECT_EQ(bigint_armed(&d.ctx, a, b, r, KX_OP_DIVIDE), 0);
    EXPECT_EQ(big_of(r), -2);
    EXPECT_EQ(d.ctx.result, 0);
    EXPECT_EQ(diag_count(), 0);
}

}  // namespace
