// Tests of the standard family's SQL types and driver buffers beside the
// family's: value types for the wide character types, GUID and INTERVAL
// DAY TO HOUR (and the buffer and dm lengths that follow them), and
// kxstd_compare_dm, which orders dm buffers as kxstd_compare_values orders
// the values they hold (texts blank-padded in full, buffers of different
// types as typed values), where compare_dm compares texts over the left
// length only.
#include <gtest/gtest.h>

#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

/* ---- value types ---- */

TEST(TypesStd, EveryOdbcTypeTheLibraryCanHoldHasAValueType)
{
    struct Case {
        int32_t sql_type;
        int32_t value_type;
    };
    const Case added[] = {
        {-8, VALUE_STRING},         // SQL_WCHAR
        {-9, VALUE_STRING},         // SQL_WVARCHAR
        {-10, VALUE_LONG_STRING},   // SQL_WLONGVARCHAR
        {-11, VALUE_STRING},        // SQL_GUID
        {108, VALUE_INTERVAL_DS},   // SQL_INTERVAL_DAY_TO_HOUR
    };
    for (const Case &c : added) {
        EXPECT_EQ(sql_to_value_type(c.sql_type), VALUE_NO_TYPE) << c.sql_type;
        EXPECT_EQ(kxstd_sql_to_value_type(c.sql_type), c.value_type) << c.sql_type;
    }
    // the narrow twins map alike
    EXPECT_EQ(kxstd_sql_to_value_type(-8), sql_to_value_type(1));
    EXPECT_EQ(kxstd_sql_to_value_type(-10), sql_to_value_type(-1));
    EXPECT_EQ(kxstd_sql_to_value_type(108), kxstd_sql_to_value_type(109));
    // every other type as the family's
    for (int32_t t = -200; t <= 200; ++t) {
        bool is_added = false;
        for (const Case &c : added)
            is_added = is_added || c.sql_type == t;
        if (!is_added) {
            EXPECT_EQ(kxstd_sql_to_value_type(t), sql_to_value_type(t)) << t;
        }
    }
    EXPECT_EQ(kxstd_sql_to_value_type(0), VALUE_NO_TYPE);
}

TEST(TypesStd, BufferAndDmLengthsOfTheAddedTypes)
{
    // a bound buffer: the declared length for the wide texts, a SQLGUID
    EXPECT_EQ(get_buffer_length(40, -8), 0);
    EXPECT_EQ(kxstd_get_buffer_length(40, -8), 40);
    EXPECT_EQ(kxstd_get_buffer_length(40, -9), 40);
    EXPECT_EQ(kxstd_get_buffer_length(40, -10), 0);
    EXPECT_EQ(kxstd_get_buffer_length(40, -11), 16);
    EXPECT_EQ(kxstd_get_buffer_length(40, 108), 28);
    for (int32_t t = -200; t <= 200; ++t)
        if (t > -8 || t < -11) {
            EXPECT_EQ(kxstd_get_buffer_length(40, t), get_buffer_length(40, t)) << t;
        }
    // a dm payload: UTF-8 of the wide text's characters, a GUID's text
    EXPECT_EQ(get_dm_length(-8, 10), 0);
    EXPECT_EQ(kxstd_get_dm_length(-8, 10), 40);
    EXPECT_EQ(kxstd_get_dm_length(-9, 10), 40);
    EXPECT_EQ(kxstd_get_dm_length(-10, 10), 0);
    EXPECT_EQ(kxstd_get_dm_length(-11, 0), 36);
    EXPECT_EQ(kxstd_get_dm_length(108, 0), 28);
    EXPECT_EQ(kxstd_get_dm_length(-8, INT32_MAX / 4 + 1), -1);
    EXPECT_EQ(kxstd_get_dm_length(-8, -1), -1);
    EXPECT_EQ(get_dm_length(1, -5), -5);
    EXPECT_EQ(kxstd_get_dm_length(1, -5), -1);
    for (int32_t t = -200; t <= 200; ++t)
        if (t > -8 || t < -11) {
            EXPECT_EQ(kxstd_get_dm_length(t, 12), get_dm_length(t, 12)) << t;
        }
}

// A wide column's value goes through a dm buffer of its standard length:
// "é😀" is 2 characters and 6 octets of UTF-8.
TEST(TypesStd, AWideTextFitsItsDmBuffer)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    Value *v = kxstd_new_value(h, 8);
    ASSERT_NE(v, nullptr);
    v->type = kxstd_sql_to_value_type(-9);
    std::strcpy(v->payload.text, "\xC3\xA9\xF0\x9F\x98\x80");
    v->length = 6;
    int32_t size = kxstd_get_dm_length(-9, 2);
    ASSERT_GE(size, v->length);
    std::vector<unsigned char> dm(12 + static_cast<size_t>(size), 0xEE);
    value_to_dm(reinterpret_cast<DmBuffer *>(dm.data()), v);
    Value *back = kxstd_new_value(h, 8);
    back->type = VALUE_STRING;
    dm_to_value(reinterpret_cast<DmBuffer *>(dm.data()), back);
    EXPECT_STREQ(back->payload.text, v->payload.text);
    kx_mem_release_handle(h);
}

/* ---- compare_dm ---- */

// A dm buffer made from a value, in an unaligned place of its own.
class Dm {
public:
    explicit Dm(const Value &v) : bytes_(1 + 12 + 64 + static_cast<size_t>(v.length > 0 ? v.length : 0), 0)
    {
        value_to_dm(get(), &v);
    }
    Dm(int32_t type, const std::string &payload, int32_t length, int32_t data_length = 0)
        : bytes_(1 + 12 + payload.size(), 0)
    {
        std::memcpy(&bytes_[1], &length, 4);
        std::memcpy(&bytes_[5], &data_length, 4);
        std::memcpy(&bytes_[9], &type, 4);
        std::memcpy(&bytes_[13], payload.data(), payload.size());
    }
    DmBuffer *get() { return reinterpret_cast<DmBuffer *>(&bytes_[1]); }

private:
    std::vector<unsigned char> bytes_;
};

Value text_value(const char *text)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_STRING;
    v.payload.text = const_cast<char *>(text);
    v.length = static_cast<int32_t>(std::strlen(text));
    return v;
}

Value integer_value(int32_t i)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_INTEGER;
    v.payload.integer = i;
    return v;
}

Value bigint_value(int64_t i)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_BIGINT;
    v.payload.bigint.high = static_cast<int32_t>(i >> 32);
    v.payload.bigint.low = static_cast<uint32_t>(i);
    return v;
}

Value date_value(int y, int m, int d)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_DATE;
    v.payload.date = DateStruct{static_cast<int16_t>(y), static_cast<uint16_t>(m),
                                static_cast<uint16_t>(d)};
    return v;
}

int sign(int32_t x)
{
    return x < 0 ? -1 : x > 0 ? 1 : 0;
}

TEST(CompareDmStd, TextsAreComparedInFullBlankPadded)
{
    struct Case {
        const char *a, *b;
        int family;    // the sign compare_dm gives
        int standard;
    };
    const Case cases[] = {
        {"ab", "abc", 0, -1},     // the family reads the left length only
        {"abc", "ab", 1, 1},
        {"ab", "ab  ", 0, 0},
        {"ab  ", "ab", 1, 0},     // trailing blanks are not significant
        {"ab", "ab\t", 0, 1},     // a tab sorts below the padding blank
        {"abc", "abd", -1, -1},
        {"", "a", 0, -1},
        {"", "", 0, 0},
        {"b", "abc", 1, 1},
        {"\xC3\xA9", "e", 1, 1},  // octets, unsigned
    };
    for (const Case &c : cases) {
        Dm a(text_value(c.a)), b(text_value(c.b));
        EXPECT_EQ(sign(compare_dm(a.get(), b.get())), c.family) << c.a << " / " << c.b;
        EXPECT_EQ(kxstd_compare_dm(a.get(), b.get(), nullptr), c.standard) << c.a << " / " << c.b;
        // the same order as the values themselves
        Value va = text_value(c.a), vb = text_value(c.b);
        EXPECT_EQ(kxstd_compare_dm(a.get(), b.get(), nullptr), kxstd_compare_values(&va, &vb, nullptr));
        EXPECT_EQ(kxstd_compare_dm(b.get(), a.get(), nullptr), -c.standard) << c.b << " / " << c.a;
    }
    // a text ends at a zero octet within its length, as the family reads it
    Dm padded(VALUE_STRING, std::string("ab\0\0", 4), 4), plain(VALUE_STRING, "ab", 2);
    EXPECT_EQ(kxstd_compare_dm(padded.get(), plain.get(), nullptr), 0);
}

TEST(CompareDmStd, NullsSortFirst)
{
    Value null_text = text_value("x");
    null_text.null_flag = -1;
    Dm null_dm(null_text), text_dm(text_value("x"));
    EXPECT_EQ(kxstd_compare_dm(null_dm.get(), null_dm.get(), nullptr), 0);
    EXPECT_EQ(kxstd_compare_dm(null_dm.get(), text_dm.get(), nullptr), -1);
    EXPECT_EQ(kxstd_compare_dm(text_dm.get(), null_dm.get(), nullptr), 1);
    EXPECT_EQ(kxstd_compare_dm(nullptr, text_dm.get(), nullptr), -1);
    EXPECT_EQ(kxstd_compare_dm(nullptr, nullptr, nullptr), 0);
}

TEST(CompareDmStd, NumbersDatetimesAndBinaries)
{
    struct Case {
        Value a, b;
        int order;
    };
    const Case cases[] = {
        {bigint_value(-1), bigint_value(0), -1},
        {bigint_value(4294967296LL), bigint_value(4294967295LL), 1},
        {bigint_value(4294967295LL), bigint_value(1), 1},
        {bigint_value(INT64_MIN), bigint_value(INT64_MAX), -1},
        {integer_value(-5), integer_value(3), -1},
        {integer_value(7), integer_value(7), 0},
        {date_value(2004, 2, 29), date_value(2004, 3, 1), -1},
    };
    for (const Case &c : cases) {
        Dm a(c.a), b(c.b);
        EXPECT_EQ(kxstd_compare_dm(a.get(), b.get(), nullptr), c.order);
        EXPECT_EQ(sign(compare_dm(a.get(), b.get())), c.order);  // the family agrees here
    }
    // binaries zero-padded over their data lengths
    Dm x(VALUE_BINARY, std::string("\x01\x02\x00\x00", 4), 4, 2);
    Dm y(VALUE_BINARY, std::string("\x01\x02\x00", 3), 3, 3);
    Dm z(VALUE_BINARY, std::string("\x01\x02\x03", 3), 3, 3);
    EXPECT_EQ(kxstd_compare_dm(x.get(), y.get(), nullptr), 0);
    EXPECT_EQ(kxstd_compare_dm(x.get(), z.get(), nullptr), -1);
    EXPECT_EQ(kxstd_compare_dm(z.get(), x.get(), nullptr), 1);
}

// Buffers of different types compare as typed values: a text read as a
// number or a date, where compare_dm reads both payloads as the left's type.
TEST(CompareDmStd, TextAgainstOtherTypesAsTypedValues)
{
    Dm nine(text_value("9")), ten(integer_value(10));
    EXPECT_EQ(kxstd_compare_dm(nine.get(), ten.get(), nullptr), -1);
    EXPECT_EQ(kxstd_compare_dm(ten.get(), nine.get(), nullptr), 1);
    Dm padded(text_value(" 10 ")), plain(integer_value(10));
    EXPECT_EQ(kxstd_compare_dm(padded.get(), plain.get(), nullptr), 0);
    Dm day(text_value("2004-01-01")), date(date_value(2004, 1, 1)), later(date_value(2004, 1, 2));
    EXPECT_EQ(kxstd_compare_dm(day.get(), date.get(), nullptr), 0);
    EXPECT_EQ(kxstd_compare_dm(day.get(), later.get(), nullptr), -1);
    EXPECT_EQ(kxstd_compare_dm(later.get(), day.get(), nullptr), 1);
    // an integer against a bigint by value
    Dm small(integer_value(-1)), large(bigint_value(int64_t{1} << 40));
    EXPECT_EQ(kxstd_compare_dm(small.get(), large.get(), nullptr), -1);
}

TEST(CompareDmStd, ErrorsLeaveThroughTheContext)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    DriverEnvironment env{0, 3};
    DriverStatement stmt{};
    stmt.kind = KX_KIND_STATEMENT;
    stmt.errors = CreateErrorHeader(h, &env);
    kxstd_set_error_header(stmt.errors, "drv", "");
    struct Case {
        Dm a, b;
        const char *state;
    };
    Case cases[] = {
        {Dm(text_value("abc")), Dm(integer_value(5)), "22018"},
        {Dm(text_value("2004-02-30")), Dm(date_value(2004, 1, 1)), "22007"},
        {Dm(date_value(2004, 1, 1)), Dm(integer_value(5)), "42000"},
        // an integer's payload is 4 octets: a length of 2 is no integer
        {Dm(VALUE_INTEGER, std::string(4, '\0'), 2), Dm(integer_value(5)), "HY090"},
    };
    for (Case &c : cases) {
        SetupErrorHeader(stmt.errors, 0);
        EvalContext context{};
        context.stmt = &stmt;
        context.mem = h;
        volatile bool returned = false;
        if (setjmp(context.exit) == 0) {
            kxstd_compare_dm(c.a.get(), c.b.get(), &context);
            returned = true;
        }
        EXPECT_FALSE(returned) << c.state;
        EXPECT_EQ(context.result, -1);
        char state[6] = "";
        GetDiagRec(stmt.errors, 1, state, nullptr, nullptr, 0, nullptr);
        EXPECT_STREQ(state, c.state);
        EXPECT_EQ(kxstd_compare_dm(c.a.get(), c.b.get(), nullptr), 0);
    }
    kx_mem_release_handle(h);
}

}  // namespace
