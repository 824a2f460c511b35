// Tests of a Value read as a number the standard family's way
// (values/values_std_numbers.cpp): kxstd_get_int_from_value,
// kxstd_get_bigint_from_value and kxstd_set_value_to_double beside the
// family's getters and setter on the same values, and the internal
// comparison of two number values that kxstd_compare_values builds on,
// beside compare_values.
//
// Expected values are worked out with Python's int and decimal modules;
// the expression is given beside each.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"
#include "values/values_std_numbers.h"

namespace {

using namespace kxtest;

Value numeric_of(const char *digits, int8_t scale, bool negative = false, uint8_t precision = 38)
{
    Value v = numeric_value(digits, scale, precision, negative);
    v.attr[0] = precision;
    v.attr[1] = scale;
    return v;
}

std::string numeric_digits(const Value &v)
{
    return decimal(magnitude_of(v.payload.numeric));
}

Value null_of(int32_t type)
{
    Value v = blank(type);
    v.null_flag = -1;
    return v;
}

// ---- kxstd_get_int_from_value ----

TEST(StdGetInt, BigintIsNotCutToItsLowWord)
{
    // 2**32 + 5: the family keeps the low word, 5
    Value v = bigint(4294967301LL);
    EXPECT_EQ(get_int_from_value(&v), 5);
    int32_t out = 77;
    EXPECT_EQ(kxstd_get_int_from_value(&v, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(out, 77);

    Value small = bigint(-2147483648LL);
    ASSERT_EQ(kxstd_get_int_from_value(&small, &out), KXSTD_OK);
    EXPECT_EQ(out, INT32_MIN);
    Value below = bigint(-2147483649LL);
    EXPECT_EQ(kxstd_get_int_from_value(&below, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
}

TEST(StdGetInt, DoubleIsNotSaturated)
{
    Value v = dbl(3e10);
    EXPECT_EQ(get_int_from_value(&v), INT32_MAX);
    int32_t out = 77;
    EXPECT_EQ(kxstd_get_int_from_value(&v, &out), KXSTD_NUMERIC_OUT_OF_RANGE);

    Value nan = dbl(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(get_int_from_value(&nan), INT32_MIN);
    EXPECT_EQ(kxstd_get_int_from_value(&nan, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(out, 77);

    // truncation toward zero, both
    Value negative = dbl(-2.9);
    EXPECT_EQ(get_int_from_value(&negative), -2);
    ASSERT_EQ(kxstd_get_int_from_value(&negative, &out), KXSTD_OK);
    EXPECT_EQ(out, -2);
    // 2147483647.9 truncates into the range; -2147483648.9 too
    Value top = dbl(2147483647.9);
    ASSERT_EQ(kxstd_get_int_from_value(&top, &out), KXSTD_OK);
    EXPECT_EQ(out, INT32_MAX);
    Value bottom = dbl(-2147483648.9);
    ASSERT_EQ(kxstd_get_int_from_value(&bottom, &out), KXSTD_OK);
    EXPECT_EQ(out, INT32_MIN);
}

TEST(StdGetInt, TextIsReadWhole)
{
    struct Case {
        const char *text;
        int32_t family;     // atoi
        int32_t status;
        int32_t standard;
    } cases[] = {
        {" 42 ", 42, KXSTD_OK, 42},
        {"12abc", 12, KXSTD_INVALID_NUMBER, 0},
        {"3.99", 3, KXSTD_OK, 3},
        {"-3.99", -3, KXSTD_OK, -3},
        {"1e3", 1, KXSTD_OK, 1000},
        {"2.5E+2", 2, KXSTD_OK, 250},
        {"abc", 0, KXSTD_INVALID_NUMBER, 0},
        {"", 0, KXSTD_INVALID_NUMBER, 0},
        // 9999999999 % 2**32 == 1410065407: glibc's atoi is strtol cut to 32 bits
        {"9999999999", 1410065407, KXSTD_NUMERIC_OUT_OF_RANGE, 0},
        {"-2147483648", INT32_MIN, KXSTD_OK, INT32_MIN},
        {"0.000000000000000000000000000000000000000000000001", 0, KXSTD_OK, 0},
    };
    for (const Case &c : cases) {
        Value v = text(c.text);
        EXPECT_EQ(get_int_from_value(&v), c.family) << c.text;
        int32_t out = 0;
        EXPECT_EQ(kxstd_get_int_from_value(&v, &out), c.status) << c.text;
        if (c.status == KXSTD_OK) {
            EXPECT_EQ(out, c.standard) << c.text;
        }
    }
}

TEST(StdGetInt, NumericsNullsAndOtherTypes)
{
    // 3000000000 - 2**32 == -1294967296
    Value n = numeric_of("3000000000", 0);
    EXPECT_EQ(get_int_from_value(&n), -1294967296);
    int32_t out = 77;
    EXPECT_EQ(kxstd_get_int_from_value(&n, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
    Value f = numeric_of("12345", 2, true);   // -123.45
    ASSERT_EQ(kxstd_get_int_from_value(&f, &out), KXSTD_OK);
    EXPECT_EQ(out, -123);

    Value null_int = null_of(VALUE_INTEGER);
    out = 77;
    ASSERT_EQ(kxstd_get_int_from_value(&null_int, &out), KXSTD_OK);
    EXPECT_EQ(out, 0);
    Value null_date = null_of(VALUE_DATE);
    ASSERT_EQ(kxstd_get_int_from_value(&null_date, &out), KXSTD_OK);
    ASSERT_EQ(kxstd_get_int_from_value(nullptr, &out), KXSTD_OK);
    EXPECT_EQ(out, 0);

    // the family reads a date as 0; the standard one refuses it
    Value d = date(2004, 6, 16);
    EXPECT_EQ(get_int_from_value(&d), 0);
    out = 77;
    EXPECT_EQ(kxstd_get_int_from_value(&d, &out), KXSTD_TYPE_MISMATCH);
    Value i = interval(year_month(KX_IS_YEAR, 3, 0));
    EXPECT_EQ(kxstd_get_int_from_value(&i, &out), KXSTD_TYPE_MISMATCH);
    Value b = blank(VALUE_BINARY);
    EXPECT_EQ(kxstd_get_int_from_value(&b, &out), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(out, 77);

    Value bit = integer(1, VALUE_BIT);
    ASSERT_EQ(kxstd_get_int_from_value(&bit, &out), KXSTD_OK);
    EXPECT_EQ(out, 1);
}

// ---- kxstd_get_bigint_from_value ----

TEST(StdGetBigint, NothingSaturates)
{
    int64_t out = 77;
    // 1e19 > 2**63 - 1: the family saturates
    Value d = dbl(1e19);
    EXPECT_EQ(get_bigint_from_value(&d), INT64_MAX);
    EXPECT_EQ(kxstd_get_bigint_from_value(&d, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(out, 77);
    // -2**63 is a double and fits
    Value low = dbl(-9223372036854775808.0);
    ASSERT_EQ(kxstd_get_bigint_from_value(&low, &out), KXSTD_OK);
    EXPECT_EQ(out, INT64_MIN);
    // 2**63 as a double does not; 2**63 - 1024, the double below it, does
    Value high = dbl(9223372036854775808.0);
    EXPECT_EQ(kxstd_get_bigint_from_value(&high, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
    Value below_high = dbl(9223372036854774784.0);
    ASSERT_EQ(kxstd_get_bigint_from_value(&below_high, &out), KXSTD_OK);
    EXPECT_EQ(out, 9223372036854774784LL);

    // 2**63 as text: strtoll saturates
    Value t = text("9223372036854775808");
    EXPECT_EQ(get_bigint_from_value(&t), INT64_MAX);
    EXPECT_EQ(kxstd_get_bigint_from_value(&t, &out), KXSTD_NUMERIC_OUT_OF_RANGE);
    Value tmin = text("-9223372036854775808");
    ASSERT_EQ(kxstd_get_bigint_from_value(&tmin, &out), KXSTD_OK);
    EXPECT_EQ(out, INT64_MIN);
    Value tfrac = text("  -9223372036854775808.75 ");
    ASSERT_EQ(kxstd_get_bigint_from_value(&tfrac, &out), KXSTD_OK);
    EXPECT_EQ(out, INT64_MIN);
    Value texp = text("9.2e18");
    ASSERT_EQ(kxstd_get_bigint_from_value(&texp, &out), KXSTD_OK);
    EXPECT_EQ(out, 9200000000000000000LL);
    Value tbad = text("9.2e18x");
    EXPECT_EQ(kxstd_get_bigint_from_value(&tbad, &out), KXSTD_INVALID_NUMBER);

    // 10**20 as a numeric
    Value n = numeric_of("100000000000000000000", 0);
    EXPECT_EQ(get_bigint_from_value(&n), INT64_MAX);
    EXPECT_EQ(kxstd_get_bigint_from_value(&n, &out), KXSTD_NUMERIC_OUT_OF_RANGE);

    Value b = bigint(INT64_MIN);
    ASSERT_EQ(kxstd_get_bigint_from_value(&b, &out), KXSTD_OK);
    EXPECT_EQ(out, INT64_MIN);

    Value ts = timestamp(2004, 6, 16, 12, 0, 0);
    EXPECT_EQ(kxstd_get_bigint_from_value(&ts, &out), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(kxstd_get_bigint_from_value(&b, nullptr), KXSTD_INVALID_ARGUMENT);
}

// ---- kxstd_set_value_to_double ----

TEST(StdSetValueToDouble, IntegersRefuseWhatTheFamilySaturates)
{
    Value family = integer(5);
    set_value_to_double(&family, 3e10);
    EXPECT_EQ(family.payload.integer, INT32_MAX);
    Value standard = integer(5);
    EXPECT_EQ(kxstd_set_value_to_double(&standard, 3e10), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(standard.payload.integer, 5);
    EXPECT_EQ(kxstd_set_value_to_double(&standard, std::nan("")), KXSTD_NUMERIC_OUT_OF_RANGE);

    // a NULL integer: the family stores the number and leaves it NULL
    Value fnull = null_of(VALUE_INTEGER);
    set_value_to_double(&fnull, -5.7);
    EXPECT_EQ(fnull.null_flag, -1);
    Value snull = null_of(VALUE_INTEGER);
    ASSERT_EQ(kxstd_set_value_to_double(&snull, -5.7), KXSTD_OK);
    EXPECT_EQ(snull.null_flag, 0);
    EXPECT_EQ(snull.payload.integer, -5);

    Value big = bigint(1);
    set_value_to_double(&big, 1e19);
    EXPECT_EQ(bigint_of(big), INT64_MAX);
    Value sbig = bigint(1);
    EXPECT_EQ(kxstd_set_value_to_double(&sbig, 1e19), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(bigint_of(sbig), 1);
    ASSERT_EQ(kxstd_set_value_to_double(&sbig, -9223372036854775808.0), KXSTD_OK);
    EXPECT_EQ(bigint_of(sbig), INT64_MIN);

    // a bit takes 0 to below 2, truncated, as ODBC converts to a bit
    Value bit = integer(0, VALUE_BIT);
    ASSERT_EQ(kxstd_set_value_to_double(&bit, 1.5), KXSTD_OK);
    EXPECT_EQ(bit.payload.integer, 1);
    EXPECT_EQ(kxstd_set_value_to_double(&bit, 2.0), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(kxstd_set_value_to_double(&bit, -0.5), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(bit.payload.integer, 1);

    Value d = dbl(0.0);
    ASSERT_EQ(kxstd_set_value_to_double(&d, 2.5), KXSTD_OK);
    EXPECT_EQ(d.payload.dbl, 2.5);
    Value t = text("x");
    EXPECT_EQ(kxstd_set_value_to_double(&t, 2.5), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(kxstd_set_value_to_double(nullptr, 2.5), KXSTD_INVALID_ARGUMENT);
}

TEST(StdSetValueToDouble, NumericsRoundTheShortestTextAndKeepThePrecision)
{
    // 1.005 at scale 2: the family rounds 1.005 * 100 (100.49999999999999) to 100;
    // the standard reads 1.005 (repr(1.005)) and rounds half away from zero:
    // Decimal('1.005').quantize(Decimal('0.01'), ROUND_HALF_UP) == Decimal('1.01')
    Value family = numeric_of("0", 2, false, 5);
    set_value_to_double(&family, 1.005);
    EXPECT_EQ(numeric_digits(family), "100");
    Value standard = numeric_of("0", 2, false, 5);
    ASSERT_EQ(kxstd_set_value_to_double(&standard, 1.005), KXSTD_OK);
    EXPECT_EQ(numeric_digits(standard), "101");
    EXPECT_EQ(standard.payload.numeric.scale, 2);
    EXPECT_EQ(standard.payload.numeric.precision, 5);
    EXPECT_EQ(standard.payload.numeric.sign, 1);

    // -2.675 (repr '-2.675'): Decimal('-2.675').quantize(Decimal('0.01'), ROUND_HALF_UP) == -2.68
    ASSERT_EQ(kxstd_set_value_to_double(&standard, -2.675), KXSTD_OK);
    EXPECT_EQ(numeric_digits(standard), "268");
    EXPECT_EQ(standard.payload.numeric.sign, 0);

    // 12345.6 needs 7 digits at scale 2: more than precision 5; the
    // family stores it all the same
    set_value_to_double(&family, 12345.6);
    EXPECT_EQ(numeric_digits(family), "1234560");
    EXPECT_EQ(kxstd_set_value_to_double(&standard, 12345.6), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(numeric_digits(standard), "268");
    // 999.995 rounds up to 1000.00, six digits
    EXPECT_EQ(kxstd_set_value_to_double(&standard, 999.995), KXSTD_NUMERIC_OUT_OF_RANGE);
    ASSERT_EQ(kxstd_set_value_to_double(&standard, 999.994), KXSTD_OK);
    EXPECT_EQ(numeric_digits(standard), "99999");

    // a tiny negative number rounds to one zero (sign 1)
    ASSERT_EQ(kxstd_set_value_to_double(&standard, -0.001), KXSTD_OK);
    EXPECT_EQ(numeric_digits(standard), "0");
    EXPECT_EQ(standard.payload.numeric.sign, 1);
    EXPECT_EQ(kxstd_set_value_to_double(&standard, INFINITY), KXSTD_NUMERIC_OUT_OF_RANGE);

    // precision 38 at scale 0: 1e37 fits (38 digits), 1e38 does not; 2**127
    // as a double (170141183460469231731687303715884105728) has 39 digits
    Value wide = numeric_of("0", 0);
    ASSERT_EQ(kxstd_set_value_to_double(&wide, 1e37), KXSTD_OK);
    EXPECT_EQ(numeric_digits(wide), "10000000000000000000000000000000000000");
    EXPECT_EQ(kxstd_set_value_to_double(&wide, 1e38), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(kxstd_set_value_to_double(&wide, 1.7014118346046923e38),
              KXSTD_NUMERIC_OUT_OF_RANGE);
    // repr(0.1 + 0.2) == '0.30000000000000004' at scale 17: 30000000000000004
    Value fine = numeric_of("0", 17);
    ASSERT_EQ(kxstd_set_value_to_double(&fine, 0.1 + 0.2), KXSTD_OK);
    EXPECT_EQ(numeric_digits(fine), "30000000000000004");
}

// ---- the comparison kxstd_compare_values builds on ----

int32_t order_of(const Value &a, const Value &b)
{
    int32_t order = 99;
    EXPECT_EQ(kx::stdnum::compare_numbers(&a, &b, &order), KXSTD_OK);
    return order;
}

TEST(StdCompareNumbers, IntegersByValueNotByAWrappingDifference)
{
    // INT32_MIN - 1 wraps to INT32_MAX in 32 bits: the family says greater
    Value low = integer(INT32_MIN);
    Value one = integer(1);
    EXPECT_GT(compare_values(&low, &one), 0);
    EXPECT_EQ(order_of(low, one), -1);
    EXPECT_EQ(order_of(one, low), 1);
}

TEST(StdCompareNumbers, BigintsByAllSixtyFourBits)
{
    // 2**32 against 1: the family compares the low words (0 and 1)
    Value big = bigint(4294967296LL);
    Value one = bigint(1);
    EXPECT_LT(compare_values(&big, &one), 0);
    EXPECT_EQ(order_of(big, one), 1);
    Value min = bigint(INT64_MIN);
    Value max = bigint(INT64_MAX);
    EXPECT_EQ(order_of(min, max), -1);
}

TEST(StdCompareNumbers, EveryPairOfNumberTypes)
{
    Value i = integer(3);
    Value b = bigint(3);
    Value n = numeric_of("300", 2);            // 3.00
    Value d = dbl(3.0);
    Value t = text(" 3.0 ");
    Value bit = integer(1, VALUE_BIT);
    const Value *threes[] = {&i, &b, &n, &d, &t};
    for (const Value *x : threes)
        for (const Value *y : threes) {
            EXPECT_EQ(order_of(*x, *y), 0) << x->type << " " << y->type;
            EXPECT_EQ(order_of(*x, bit), 1) << x->type;
            EXPECT_EQ(order_of(bit, *x), -1) << x->type;
        }

    // a bigint beyond 32 bits against a numeric: 10**10 > 9999999999.5
    Value big = bigint(10000000000LL);
    Value almost = numeric_of("99999999995", 1);
    EXPECT_EQ(order_of(big, almost), 1);
    // -0 against +0
    Value minus_zero = numeric_of("0", 3, true);
    Value zero = integer(0);
    EXPECT_EQ(order_of(minus_zero, zero), 0);
    // a double against an exact number as doubles: 0.1 (the double) against
    // the numeric 0.1, read as the same double
    Value tenth = dbl(0.1);
    Value exact_tenth = numeric_of("1", 1);
    EXPECT_EQ(order_of(tenth, exact_tenth), 0);
    // 2**53 + 1 as bigints is exact; against a double both are 2**53
    Value odd = bigint(9007199254740993LL);
    Value even = bigint(9007199254740992LL);
    Value as_double = dbl(9007199254740992.0);
    EXPECT_EQ(order_of(odd, even), 1);
    EXPECT_EQ(order_of(odd, as_double), 0);
}

TEST(StdCompareNumbers, TextThatIsNoNumberAndOtherTypes)
{
    Value t = text("3x");
    Value i = integer(3);
    int32_t order = 99;
    EXPECT_EQ(kx::stdnum::compare_numbers(&t, &i, &order), KXSTD_INVALID_NUMBER);
    Value d = date(2004, 6, 16);
    EXPECT_EQ(kx::stdnum::compare_numbers(&i, &d, &order), KXSTD_TYPE_MISMATCH);
    EXPECT_EQ(order, 99);
}

}  // namespace
