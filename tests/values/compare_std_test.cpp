// Tests of kxstd_compare_values beside the family's compare_values: the
// pairs where the family reads the right operand as the left's type (a
// bigint by its low word, an integer difference that wraps, a date against
// a timestamp, text against a number as a literal text), and the errors a
// pair that cannot be compared gives.
#include <gtest/gtest.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>

#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

Value integer(int32_t n)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_INTEGER;
    v.payload.integer = n;
    return v;
}

Value bigint(int64_t n)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_BIGINT;
    v.payload.bigint.high = static_cast<int32_t>(n >> 32);
    v.payload.bigint.low = static_cast<uint32_t>(n);
    return v;
}

Value text(const char *s)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_STRING;
    v.payload.text = const_cast<char *>(s);
    v.length = static_cast<int32_t>(std::strlen(s));
    return v;
}

Value numeric(const char *digits)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_NUMERIC;
    EXPECT_EQ(kxstd_text_to_numeric(digits, &v.payload.numeric), KXSTD_OK) << digits;
    return v;
}

Value date(int y, int m, int d)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_DATE;
    v.payload.date = DateStruct{static_cast<int16_t>(y), static_cast<uint16_t>(m), static_cast<uint16_t>(d)};
    return v;
}

Value timestamp(int y, int mo, int d, int h, int mi, int s, uint32_t ns)
{
    Value v{};
    v.kind = NODE_VALUE;
    v.type = VALUE_TIMESTAMP;
    v.payload.timestamp = TimestampStruct{static_cast<int16_t>(y), static_cast<uint16_t>(mo),
                                          static_cast<uint16_t>(d), static_cast<uint16_t>(h),
                                          static_cast<uint16_t>(mi), static_cast<uint16_t>(s), ns};
    return v;
}

TEST(CompareStd, IntegersByTheirValues)
{
    Value big = integer(2000000000), small = integer(-2000000000);
    EXPECT_LT(compare_values(&big, &small), 0);  // the family's difference wraps
    EXPECT_EQ(kxstd_compare_values(&big, &small, nullptr), 1);
    Value a = bigint(4294967296), zero = bigint(0);
    EXPECT_EQ(compare_values(&a, &zero), 0);  // low words only
    EXPECT_EQ(kxstd_compare_values(&a, &zero, nullptr), 1);
    Value b = bigint(5000000000);
    Value n = numeric("5000000000.0000000");
    EXPECT_EQ(kxstd_compare_values(&b, &n, nullptr), 0);
    Value two_million = bigint(2000000);
    Value m = numeric("1234567");
    EXPECT_EQ(kxstd_compare_values(&two_million, &m, nullptr), 1);
}

TEST(CompareStd, ADateAgainstATimestampIsItsMidnight)
{
    Value d = date(2004, 6, 17), t = timestamp(2004, 6, 16, 23, 59, 59, 500000000);
    EXPECT_EQ(kxstd_compare_values(&d, &t, nullptr), 1);
    EXPECT_EQ(kxstd_compare_values(&t, &d, nullptr), -1);
    Value midnight = timestamp(2004, 6, 17, 0, 0, 0, 0);
    EXPECT_EQ(kxstd_compare_values(&d, &midnight, nullptr), 0);
    Value later = timestamp(2004, 6, 17, 0, 0, 0, 1);
    EXPECT_EQ(kxstd_compare_values(&d, &later, nullptr), -1);
}

// Two dates are ordered by year, then month, then day; a record that holds
// no real date is still ordered by its fields, and a NULL date first. The
// same order must come out of a date against the other's midnight as a
// timestamp, and of the two as literal texts where both are real dates.
TEST(CompareStd, DatesByYearMonthAndDay)
{
    const int fields[][3] = {{1, 1, 1},     {-1, 12, 31},  {0, 6, 15},   {1999, 12, 31},
                             {2000, 1, 1},  {2000, 1, 31}, {2000, 2, 1}, {2000, 2, 29},
                             {2000, 12, 1}, {2001, 1, 1},  {9999, 12, 31}, {-32768, 1, 1},
                             {32767, 65535, 65535}, {2000, 13, 1}, {2000, 0, 0}, {2000, 1, 65535}};
    int real = 0;
    for (const auto &x : fields)
        for (const auto &y : fields) {
            Value a = date(x[0], x[1], x[2]);
            Value b = date(y[0], y[1], y[2]);
            int expected = 0;
            for (int i = 0; i < 3 && expected == 0; ++i)
                expected = x[i] < y[i] ? -1 : x[i] > y[i] ? 1 : 0;
            std::string pair = std::to_string(x[0]) + "-" + std::to_string(x[1]) + "-" +
                               std::to_string(x[2]) + " vs " + std::to_string(y[0]) + "-" +
                               std::to_string(y[1]) + "-" + std::to_string(y[2]);
            EXPECT_EQ(kxstd_compare_values(&a, &b, nullptr), expected) << pair;
            Value midnight = timestamp(y[0], y[1], y[2], 0, 0, 0, 0);
            EXPECT_EQ(kxstd_compare_values(&a, &midnight, nullptr), expected) << pair;
            if (kxstd_valid_date(x[0], x[1], x[2]) && kxstd_valid_date(y[0], y[1], y[2])) {
                char literal[32];
                std::snprintf(literal, sizeof literal, "%04d-%02d-%02d", y[0], y[1], y[2]);
                Value t = text(literal);
                EXPECT_EQ(kxstd_compare_values(&a, &t, nullptr), expected) << pair;
                ++real;
            }
            Value null_b = b;
            null_b.null_flag = -1;
            EXPECT_EQ(kxstd_compare_values(&a, &null_b, nullptr), 1) << pair;
            EXPECT_EQ(kxstd_compare_values(&null_b, &a, nullptr), -1) << pair;
        }
    EXPECT_GT(real, 50);
}

TEST(CompareStd, TextAgainstANumberIsTheNumber)
{
    Value nine = text("9"), ten = integer(10);
    EXPECT_GT(compare_values(&nine, &ten), 0);  // the family compares "9" with "10"
    EXPECT_EQ(kxstd_compare_values(&nine, &ten, nullptr), -1);
    Value spaced = text(" 10.00 ");
    EXPECT_EQ(kxstd_compare_values(&spaced, &ten, nullptr), 0);
    EXPECT_EQ(kxstd_compare_values(&ten, &spaced, nullptr), 0);
}

TEST(CompareStd, TextsAreBlankPaddedAndWhole)
{
    Value ab = text("ab"), abc = text("abc"), padded = text("ab   ");
    EXPECT_EQ(kxstd_compare_values(&ab, &padded, nullptr), 0);
    EXPECT_EQ(kxstd_compare_values(&ab, &abc, nullptr), -1);
    EXPECT_EQ(kxstd_compare_values(&abc, &ab, nullptr), 1);
    Value tab = text("ab\t");
    EXPECT_EQ(kxstd_compare_values(&ab, &tab, nullptr), 1);  // a tab sorts before the blank
    // longer than the family's 1024-octet buffers
    std::string long_a(5000, 'x'), long_b = long_a + "   ";
    long_a[4999] = 'y';
    Value la = text(long_a.c_str()), lb = text(long_b.c_str());
    EXPECT_EQ(kxstd_compare_values(&la, &lb, nullptr), 1);
}

TEST(CompareStd, TextAgainstADatetimeIsALiteral)
{
    Value d = date(2004, 1, 1), s = text("2004-01-01");
    EXPECT_NE(compare_values(&s, &d), 0);  // the family compares with "{d'2004-01-01'}"
    EXPECT_EQ(kxstd_compare_values(&s, &d, nullptr), 0);
    Value t = timestamp(2004, 1, 1, 10, 0, 0, 250000000), ts = text("2004-01-01 10:00:00.25");
    EXPECT_EQ(kxstd_compare_values(&t, &ts, nullptr), 0);
}

TEST(CompareStd, NullsSortFirst)
{
    Value null = integer(1), one = integer(1);
    null.null_flag = -1;
    EXPECT_EQ(kxstd_compare_values(&null, &one, nullptr), -1);
    EXPECT_EQ(kxstd_compare_values(&one, &null, nullptr), 1);
    EXPECT_EQ(kxstd_compare_values(&null, &null, nullptr), 0);
}

// A pair that cannot be compared is an error through the context, and 0
// without one.
TEST(CompareStd, PairsThatCannotBeCompared)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    DriverEnvironment env{0, 3};
    DriverStatement stmt{};
    stmt.kind = KX_KIND_STATEMENT;
    stmt.errors = CreateErrorHeader(h, &env);
    kxstd_set_error_header(stmt.errors, "drv", "");
    struct Case {
        Value a, b;
        const char *state;
    };
    Case cases[] = {
        {text("abc"), integer(5), "22018"},
        {date(2004, 1, 1), integer(5), "42000"},
        {text("2004-02-30"), date(2004, 1, 1), "22007"},
        {date(2004, 1, 1), text("12:00:00"), "22007"},
    };
    for (Case &c : cases) {
        SetupErrorHeader(stmt.errors, 0);
        EvalContext context{};
        context.stmt = &stmt;
        context.mem = h;
        volatile bool returned = false;
        if (setjmp(context.exit) == 0) {
            kxstd_compare_values(&c.a, &c.b, &context);
            returned = true;
        }
        EXPECT_FALSE(returned) << c.state;
        char state[6] = "";
        GetDiagRec(stmt.errors, 1, state, nullptr, nullptr, 0, nullptr);
        EXPECT_STREQ(state, c.state);
        EXPECT_EQ(kxstd_compare_values(&c.a, &c.b, nullptr), 0);
    }
    kx_mem_release_handle(h);
}

}  // namespace
