// Helpers shared by the test programs: value records made on the stack, a
// test fixture that owns a memory handle and makes values on it, and an
// evaluation context on a statement with its own error header, set up as a
// driver sets one up. Header-only, so that each test program stays one .cpp.
#ifndef KXSUPP_TESTS_SUPPORT_KX_TEST_SUPPORT_H
#define KXSUPP_TESTS_SUPPORT_KX_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "kxsupp/arith.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

namespace kxtest {

// ---- values on the stack ----

// A zeroed value record of kind NODE_VALUE, of a type (0 unless given).
inline Value blank(int32_t type = 0)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = type;
    return v;
}

inline Value integer(int32_t i, int32_t type = VALUE_INTEGER)
{
    Value v = blank(type);
    v.payload.integer = i;
    return v;
}

inline Value dbl(double d)
{
    Value v = blank(VALUE_DOUBLE);
    v.payload.dbl = d;
    return v;
}

inline Value bigint(int64_t x)
{
    Value v = blank(VALUE_BIGINT);
    v.payload.bigint.high = static_cast<int32_t>(static_cast<uint64_t>(x) >> 32);
    v.payload.bigint.low = static_cast<uint32_t>(x);
    return v;
}

// A string value over t (not copied); its length field is the text's length
// unless length is given, when it may differ from it.
inline Value text(const char *t, int32_t length = -1)
{
    Value v = blank(VALUE_STRING);
    v.payload.text = const_cast<char *>(t);
    v.length = length < 0 ? static_cast<int32_t>(std::strlen(t)) : length;
    return v;
}

inline Value date(int16_t y, uint16_t mo, uint16_t d)
{
    Value v = blank(VALUE_DATE);
    v.payload.date = DateStruct{y, mo, d};
    return v;
}

inline Value time_of_day(uint16_t h, uint16_t mi, uint16_t s)
{
    Value v = blank(VALUE_TIME);
    v.payload.time = TimeStruct{h, mi, s};
    return v;
}

inline Value timestamp(int16_t y, uint16_t mo, uint16_t d, uint16_t h = 0, uint16_t mi = 0,
                       uint16_t s = 0, uint32_t fraction = 0)
{
    Value v = blank(VALUE_TIMESTAMP);
    v.payload.timestamp = TimestampStruct{y, mo, d, h, mi, s, fraction};
    return v;
}

// A numeric value parsed by string_to_numeric from decimal digits with the
// given scale and precision; negative gives it sign 0.
inline Value numeric_value(const char *digits, int8_t scale, uint8_t precision,
                           bool negative)
{
    Value v = blank(VALUE_NUMERIC);
    std::string copy(digits);
    string_to_numeric(copy.data(), &v.payload.numeric, precision, scale);
    v.payload.numeric.sign = negative ? 0 : 1;
    return v;
}

// The 64-bit integer that a bigint value's high and low words hold.
inline int64_t bigint_of(const Value &v)
{
    return static_cast<int64_t>(
        (static_cast<uint64_t>(static_cast<uint32_t>(v.payload.bigint.high)) << 32) |
        v.payload.bigint.low);
}

// ---- values on a memory handle ----

// A test that owns a memory handle and makes zeroed values on it with
// newNode, as the literal builders make them.
class ValueFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
    }
    void TearDown() override { kx_mem_release_handle(handle); }

    virtual Value *make(int32_t type)
    {
        Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
        EXPECT_NE(v, nullptr);
        v->type = type;
        return v;
    }
    Value *make_int(int32_t i)
    {
        Value *v = make(VALUE_INTEGER);
        v->payload.integer = i;
        return v;
    }
    Value *make_double(double d)
    {
        Value *v = make(VALUE_DOUBLE);
        v->payload.dbl = d;
        return v;
    }
    Value *make_bigint(int64_t b)
    {
        Value *v = make(VALUE_BIGINT);
        uint64_t bits = static_cast<uint64_t>(b);
        v->payload.bigint.high = static_cast<int32_t>(bits >> 32);
        v->payload.bigint.low = static_cast<uint32_t>(bits);
        return v;
    }
    // A numeric value: magnitude (up to 64 bits), scale, sign, precision.
    Value *make_numeric(uint64_t magnitude, int8_t scale, uint8_t sign,
                        uint8_t precision = 38)
    {
        Value *v = make(VALUE_NUMERIC);
        v->payload.numeric.precision = precision;
        v->payload.numeric.scale = scale;
        v->payload.numeric.sign = sign;
        for (int i = 0; i < 8; i++)
            v->payload.numeric.val[i] = static_cast<uint8_t>(magnitude >> (8 * i));
        return v;
    }

    MemHandle *handle = nullptr;
};

// ---- an evaluation context on a statement ----

// A memory handle, a statement whose errors go to an error header made on
// it, and an evaluation context on both; otherwise zeroed. The caller arms
// context.exit with setjmp when it expects an error exit. errors() is null
// when the header could not be made.
struct StatementContext {
    StatementContext()
    {
        mem = kx_mem_alloc_handle(nullptr);
        std::memset(&statement, 0, sizeof statement);
        statement.kind = KX_KIND_STATEMENT;
        statement.errors = mem != nullptr ? CreateErrorHeader(mem, nullptr) : nullptr;
        std::memset(&context, 0, sizeof context);
        context.stmt = &statement;
        context.mem = mem;
    }
    ~StatementContext()
    {
        FreeErrorHeader(statement.errors);
        kx_mem_release_handle(mem);
    }
    StatementContext(const StatementContext &) = delete;
    StatementContext &operator=(const StatementContext &) = delete;

    ErrorHeader *errors() const { return statement.errors; }

    MemHandle *mem = nullptr;
    DriverStatement statement;
    EvalContext context;
};

}  // namespace kxtest

#endif
