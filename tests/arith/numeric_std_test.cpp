// Tests of the standard exact decimal (arith/numeric_std.cpp): each shows
// the family's routine and the kxstd_ one on the same operands side by
// side, then the edges of the standard one (38-digit operands, 2^127,
// 2^128 - 1, -2^63, scales 0 and 38, zeros of either sign, halves), and a
// randomized cross-check against a decimal reference written here.
//
// Expected values come from Python's decimal module (getcontext().prec =
// 300, quantize with ROUND_HALF_UP, which rounds half away from zero) and
// int arithmetic; the Python expression is given beside each.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kxsupp/arith.h"
#include "kxsupp/standard.h"
#include "support/kx_test_support.h"

namespace {

using kxtest::u128;

// A numeric record from decimal text such as "-123.4500": the digits as
// the magnitude, the fraction's length as the scale, precision 38.
NumericStruct dec(const char *text)
{
    bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    u128 m = 0;
    int scale = 0;
    bool fraction = false;
    for (; *text != '\0'; ++text) {
        if (*text == '.') {
            fraction = true;
            continue;
        }
        m = m * 10 + static_cast<unsigned>(*text - '0');
        if (fraction)
            ++scale;
    }
    return kxtest::numeric(m, scale, negative ? 0 : 1, 38);
}

// The exact text of a record: its sign ("-" for sign 0, zero included),
// every digit of its magnitude and a point at its scale, trailing zeros
// kept ("3.3333", "0.0000000", "-0").
std::string show(const NumericStruct &n)
{
    std::string digits = kxtest::decimal(kxtest::magnitude_of(n));
    int scale = n.scale;
    if (scale < 0) {
        digits.append(static_cast<size_t>(-scale), '0');
    } else if (scale > 0) {
        if (digits.size() <= static_cast<size_t>(scale))
            digits.insert(0, static_cast<size_t>(scale) + 1 - digits.size(), '0');
        digits.insert(digits.size() - static_cast<size_t>(scale), ".");
    }
    return (n.sign == 0 ? "-" : "") + digits;
}

NumericStruct of_u128(u128 m, int scale = 0, bool negative = false)
{
    return kxtest::numeric(m, scale, negative ? 0 : 1, 38);
}

const u128 kMax128 = ~static_cast<u128>(0);            // 2^128 - 1
const u128 kTwo127 = static_cast<u128>(1) << 127;       // 2^127
// 10^38 - 1, the largest magnitude of a standard numeric: 38 nines
const char kNines38[] = "99999999999999999999999999999999999999";

// ---- + and - ----

TEST(StdNumericAdd, FamilyWrapsAtTwoTo128AndTheStandardRefuses)
{
    // (2**128 - 1) + 1: the family keeps the low 128 bits (0) and says -2
    NumericStruct a = of_u128(kMax128);
    NumericStruct one = dec("1");
    EXPECT_EQ(add_numeric(&a, &one), -2);
    EXPECT_EQ(show(a), "0");

    NumericStruct b = of_u128(kMax128);
    EXPECT_EQ(kxstd_add_numeric(&b, &one), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(show(b), "340282366920938463463374607431768211455");   // untouched
}

TEST(StdNumericAdd, ThirtyNineDigitSumIsOutOfRange)
{
    // int('9' * 38) + 1 == 10**38: 39 digits
    NumericStruct a = dec(kNines38);
    NumericStruct one = dec("1");
    EXPECT_EQ(add_numeric(&a, &one), 0);
    EXPECT_EQ(show(a), "100000000000000000000000000000000000000");
    NumericStruct b = dec(kNines38);
    EXPECT_EQ(kxstd_add_numeric(&b, &one), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(show(b), kNines38);
}

TEST(StdNumericAdd, AlignmentLosesTheFamilysCarryButNotTheStandards)
{
    // 34028236692093846346337460743176821146 + 0.5: the family aligns the
    // integer to scale 1 in 128 bits, (a * 10) % 2**128 == 4, so 4 + 5 at
    // scale 1; the standard sum has 39 digits and rounds to 38:
    // Decimal('34028236692093846346337460743176821146.5').quantize(Decimal(1), ROUND_HALF_UP)
    NumericStruct a = dec("34028236692093846346337460743176821146");
    NumericStruct half = dec("0.5");
    add_numeric(&a, &half);
    EXPECT_EQ(show(a), "0.9");
    NumericStruct b = dec("34028236692093846346337460743176821146");
    ASSERT_EQ(kxstd_add_numeric(&b, &half), KXSTD_OK);
    EXPECT_EQ(show(b), "34028236692093846346337460743176821147");
    EXPECT_EQ(b.precision, 38);
}

TEST(StdNumericAdd, CancellationGivesOneZero)
{
    // 1.5000000 + -1.5000000 and -1.5000000 + 1.5000000: the family keeps
    // the first operand's sign, so one of them is a negative zero, which it
    // orders below the positive one
    NumericStruct p = dec("1.5000000");
    NumericStruct n = dec("-1.5000000");
    NumericStruct fp = p, fn = n;
    add_numeric(&fp, &n);
    add_numeric(&fn, &p);
    EXPECT_EQ(show(fp), "0.0000000");
    EXPECT_EQ(show(fn), "-0.0000000");
    EXPECT_EQ(numeric_compare(&fp, &fn), 1);

    NumericStruct sp = p, sn = n;
    ASSERT_EQ(kxstd_add_numeric(&sp, &n), KXSTD_OK);
    ASSERT_EQ(kxstd_add_numeric(&sn, &p), KXSTD_OK);
    EXPECT_EQ(show(sp), "0.0000000");
    EXPECT_EQ(show(sn), "0.0000000");
    EXPECT_EQ(kxstd_numeric_compare(&sp, &sn), 0);

    // x - x of a negative number
    NumericStruct d = n;
    ASSERT_EQ(kxstd_subtract_numeric(&d, &n), KXSTD_OK);
    EXPECT_EQ(show(d), "0.0000000");
}

TEST(StdNumericAdd, ScaleIsTheLargerOne)
{
    struct Case {
        const char *a;
        const char *b;
        bool subtract;
        const char *expected;   // Decimal(a) + Decimal(b), or -
    } cases[] = {
        {"1.5", "2.25", false, "3.75"},
        {"1.50", "1.50", false, "3.00"},
        {"0.1", "0.2", false, "0.3"},
        {"-2.5", "1", false, "-1.5"},
        {"1", "-2.5", false, "-1.5"},
        {"1", "2.5", true, "-1.5"},
        {"-1", "-2.5", true, "1.5"},
        {"0.00000000000000000000000000000000000001", "1", false,
         "1.00000000000000000000000000000000000001"},   // 39 digits:
        // Decimal('1.00000000000000000000000000000000000001').quantize(Decimal('1e-37'), ROUND_HALF_UP)
    };
    const char *rounded[] = {"3.75", "3.00", "0.3", "-1.5", "-1.5", "-1.5", "1.5",
                             "1.0000000000000000000000000000000000000"};
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        NumericStruct a = dec(cases[i].a);
        NumericStruct b = dec(cases[i].b);
        int32_t rc = cases[i].subtract ? kxstd_subtract_numeric(&a, &b) : kxstd_add_numeric(&a, &b);
        ASSERT_EQ(rc, KXSTD_OK) << cases[i].a;
        EXPECT_EQ(show(a), rounded[i]) << cases[i].a << (cases[i].subtract ? " - " : " + ")
                                       << cases[i].b;
    }
}

TEST(StdNumericAdd, ScaleThirtyEightOperandsAndANegativeScale)
{
    // 0.(38 nines) + 0.(37 zeros)1 == 1 exactly, kept at scale 38 would be
    // 39 digits, so 1.(37 zeros): Decimal('1').quantize(Decimal('1e-37'))
    NumericStruct a = dec("0.99999999999999999999999999999999999999");
    NumericStruct b = dec("0.00000000000000000000000000000000000001");
    ASSERT_EQ(kxstd_add_numeric(&a, &b), KXSTD_OK);
    EXPECT_EQ(show(a), "1.0000000000000000000000000000000000000");

    // 5 x 10^2 (scale -2) + 1: 501 at scale 0
    NumericStruct c = of_u128(5, -2);
    NumericStruct one = dec("1");
    ASSERT_EQ(kxstd_add_numeric(&c, &one), KXSTD_OK);
    EXPECT_EQ(show(c), "501");

    // 10^50 - 10^50 cancels exactly: operands beyond 38 digits are read
    // exactly too
    NumericStruct big = of_u128(1, -50);
    NumericStruct same = of_u128(1, -50);
    ASSERT_EQ(kxstd_subtract_numeric(&big, &same), KXSTD_OK);
    EXPECT_EQ(show(big), "0");
}

// ---- * ----

TEST(StdNumericMultiply, FamilyKeepsLow128BitsStandardRefuses)
{
    // int('9' * 38) * 4 % 2**128 == 59717633079061536536625392568231788540
    NumericStruct a = dec(kNines38);
    NumericStruct four = dec("4");
    EXPECT_EQ(mult_numeric(&a, &four), 0);
    EXPECT_EQ(show(a), "59717633079061536536625392568231788540");

    NumericStruct b = dec(kNines38);
    EXPECT_EQ(kxstd_mult_numeric(&b, &four), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(show(b), kNines38);
}

TEST(StdNumericMultiply, ExactProductsAndRounding)
{
    struct Case {
        const char *a;
        const char *b;
        const char *expected;
    } cases[] = {
        // Decimal(a) * Decimal(b), exact within 38 digits
        {"1.5", "2.25", "3.375"},
        {"-1.5", "2.25", "-3.375"},
        {"-1.5", "-2", "3.0"},
        {"0.1", "0.1", "0.01"},
        {"-0.0", "5", "0.0"},
        // 49 digits, rounded to 38:
        // p = Decimal('1234567890123456789.0123456789') * Decimal('9876543210.9876543210')
        // p.quantize(Decimal('1e-9'), ROUND_HALF_UP) == 12193263113702179522496570642.237463801
        {"1234567890123456789.0123456789", "9876543210.9876543210",
         "12193263113702179522496570642.237463801"},
        // scales 20 + 20 = 40: Decimal('1e-20') * Decimal('5e-19') rounds
        // to 0 at 38 places; Decimal('5e-20') * Decimal('1e-18') == 5e-38
        {"0.00000000000000000001", "0.0000000000000000005", "0.00000000000000000000000000000000000001"},
        {"0.00000000000000000005", "0.000000000000000001", "0.00000000000000000000000000000000000005"},
        {"0.00000000000000000001", "0.0000000000000000004", "0.00000000000000000000000000000000000000"},
        // int('9' * 19) ** 2 == 99999999999999999980000000000000000001: 38 digits
        {"9999999999999999999", "9999999999999999999", "99999999999999999980000000000000000001"},
    };
    for (const Case &c : cases) {
        NumericStruct a = dec(c.a);
        NumericStruct b = dec(c.b);
        ASSERT_EQ(kxstd_mult_numeric(&a, &b), KXSTD_OK) << c.a << " * " << c.b;
        EXPECT_EQ(show(a), c.expected) << c.a << " * " << c.b;
        EXPECT_EQ(a.precision, 38);
    }
}

TEST(StdNumericMultiply, TwoTo127TimesTwoIsRefused)
{
    // 2**127 * 2 == 2**128: past 128 bits and 38 digits; the family's low
    // 128 bits are 0
    NumericStruct a = of_u128(kTwo127);
    NumericStruct two = dec("2");
    mult_numeric(&a, &two);
    EXPECT_EQ(show(a), "0");
    NumericStruct b = of_u128(kTwo127);
    EXPECT_EQ(kxstd_mult_numeric(&b, &two), KXSTD_NUMERIC_OUT_OF_RANGE);
    // 2**127 at scale 38 times 0.5: Decimal(2**127).scaleb(-38) * Decimal('0.5')
    // == 0.850705917302346158658436518579420528640, 39 digits, rounded to 38 places
    // (quantize(Decimal('1e-38'), ROUND_HALF_UP) == 0.85070591730234615865843651857942052864)
    NumericStruct c = of_u128(kTwo127, 38);
    NumericStruct half = dec("0.5");
    ASSERT_EQ(kxstd_mult_numeric(&c, &half), KXSTD_OK);
    EXPECT_EQ(show(c), "0.85070591730234615865843651857942052864");
}

// ---- / ----

TEST(StdNumericDivide, FamilyDividesInDoubleAtTheDividendsScale)
{
    // 10 / 3.0000000: the family at scale 0 gives 3; the standard at scale
    // 0 + 4: (Decimal(10) / Decimal('3.0000000')).quantize(Decimal('1e-4'), ROUND_HALF_UP)
    NumericStruct a = dec("10");
    NumericStruct b = dec("3.0000000");
    div_numeric(&a, &b, nullptr);
    EXPECT_EQ(show(a), "3");
    NumericStruct s = dec("10");
    ASSERT_EQ(kxstd_div_numeric(&s, &b), KXSTD_OK);
    EXPECT_EQ(show(s), "3.3333");
}

TEST(StdNumericDivide, ThirtyEightDigitQuotients)
{
    // int('9' * 38) / 7: the family through a double, '%.0f' % (float('9' * 38) / 7.0)
    // == 14285714285714286404622792537214550016; the standard exact:
    // (Decimal('9' * 38) / 7).quantize(Decimal(1), ROUND_HALF_UP)
    // == 14285714285714285714285714285714285714 (no room left for a fraction)
    NumericStruct a = dec(kNines38);
    NumericStruct seven = dec("7");
    div_numeric(&a, &seven, nullptr);
    EXPECT_EQ(show(a), "14285714285714286404622792537214550016");
    NumericStruct s = dec(kNines38);
    ASSERT_EQ(kxstd_div_numeric(&s, &seven), KXSTD_OK);
    EXPECT_EQ(show(s), "14285714285714285714285714285714285714");
}

TEST(StdNumericDivide, QuotientsAgainstDecimal)
{
    struct Case {
        const char *a;
        const char *b;
        const char *expected;
    } cases[] = {
        // (Decimal(a) / Decimal(b)).quantize(Decimal(10) ** -(scale(a) + 4), ROUND_HALF_UP)
        {"1", "3", "0.3333"},
        {"2", "3", "0.6667"},
        {"-2", "3", "-0.6667"},
        {"2", "-3", "-0.6667"},
        {"-2", "-3", "0.6667"},
        {"1.00", "8", "0.125000"},
        {"1", "32", "0.0313"},      // 0.03125: a half, away from zero
        {"-1", "32", "-0.0313"},
        {"-7", "2", "-3.5000"},
        {"10", "2", "5.0000"},
        {"1", "99999999999999999999999999999999999999", "0.0000"},
        {"-1", "99999999999999999999999999999999999999", "0.0000"},   // one zero
        // (Decimal('12345678901234567890123456789012345678') / Decimal('0.5')):
        // 38 digits, nothing left for a fraction
        {"12345678901234567890123456789012345678", "0.5",
         "24691357802469135780246913578024691356"},
        // scale 34 + 4 = 38: (Decimal(1).scaleb(-34) / 3).quantize(Decimal('1e-38'))
        {"0.0001000000000000000000000000000000", "3", "0.00003333333333333333333333333333333333"},
        // the dividend's scale is already 38: Decimal('1e-38') / 3 rounds to 0
        {"0.00000000000000000000000000000000000001", "3",
         "0.00000000000000000000000000000000000000"},
        // Decimal('2e-38') / 3 == 0.666...e-38: rounds up
        {"0.00000000000000000000000000000000000002", "3",
         "0.00000000000000000000000000000000000001"},
        // a 38-digit divisor: (Decimal('1' * 38) / Decimal('3' * 38)).quantize(Decimal('1e-4'))
        {"11111111111111111111111111111111111111", "33333333333333333333333333333333333333",
         "0.3333"},
        // (Decimal('9' * 38) / Decimal('0.' + '9' * 38)) == 10**38: out of range below
    };
    for (const Case &c : cases) {
        NumericStruct a = dec(c.a);
        NumericStruct b = dec(c.b);
        ASSERT_EQ(kxstd_div_numeric(&a, &b), KXSTD_OK) << c.a << " / " << c.b;
        EXPECT_EQ(show(a), c.expected) << c.a << " / " << c.b;
    }
}

TEST(StdNumericDivide, EdgesOfTheRange)
{
    // (2**128 - 1) at scale 38 divided by 1: 39 digits, one place fewer:
    // (Decimal(2**128 - 1).scaleb(-38) / 1).quantize(Decimal('1e-37'), ROUND_HALF_UP)
    NumericStruct a = of_u128(kMax128, 38);
    NumericStruct one = dec("1");
    ASSERT_EQ(kxstd_div_numeric(&a, &one), KXSTD_OK);
    EXPECT_EQ(show(a), "3.4028236692093846346337460743176821146");

    // 2**127 / 2 == 2**126 == 85070591730234615865843651857942052864 (38 digits)
    NumericStruct b = of_u128(kTwo127);
    NumericStruct two = dec("2");
    ASSERT_EQ(kxstd_div_numeric(&b, &two), KXSTD_OK);
    EXPECT_EQ(show(b), "85070591730234615865843651857942052864");

    // 2**128 - 1 (39 digits) / 1 and 38 nines / 0.1: whole parts of 39 digits
    NumericStruct c = of_u128(kMax128);
    EXPECT_EQ(kxstd_div_numeric(&c, &one), KXSTD_NUMERIC_OUT_OF_RANGE);
    NumericStruct d = dec(kNines38);
    NumericStruct tenth = dec("0.1");
    EXPECT_EQ(kxstd_div_numeric(&d, &tenth), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(show(d), kNines38);

    // 38 nines / 0.99...9 (38 places) is 10**38 exactly
    NumericStruct e = dec(kNines38);
    NumericStruct almost_one = dec("0.99999999999999999999999999999999999999");
    EXPECT_EQ(kxstd_div_numeric(&e, &almost_one), KXSTD_NUMERIC_OUT_OF_RANGE);

    // 9.99...95 rounding into a 39th digit at the fraction's end:
    // Decimal('9999999999999999999999999999999999.9999') / 1 keeps 38 digits;
    // ... / Decimal('1.0000') == the same, no room past scale 4
    NumericStruct f = dec("9999999999999999999999999999999999.9999");
    NumericStruct one4 = dec("1.0000");
    ASSERT_EQ(kxstd_div_numeric(&f, &one4), KXSTD_OK);
    EXPECT_EQ(show(f), "9999999999999999999999999999999999.9999");
    // (Decimal('99999999999999999999999999999999999.995') / Decimal('1.000')):
    // 38 digits with 3 places, one place past 38 for the rounding digit;
    // the quotient needs 38 digits: quantize(Decimal('1e-3')) keeps it
    NumericStruct g = dec("99999999999999999999999999999999999.995");
    NumericStruct one3 = dec("1.000");
    ASSERT_EQ(kxstd_div_numeric(&g, &one3), KXSTD_OK);
    EXPECT_EQ(show(g), "99999999999999999999999999999999999.995");
    // (Decimal('99999999999999999999999999999999999.995') / 3).quantize(Decimal('1e-3'),
    // ROUND_HALF_UP) == 33333333333333333333333333333333333.332
    NumericStruct h = dec("99999999999999999999999999999999999.995");
    NumericStruct three = dec("3");
    ASSERT_EQ(kxstd_div_numeric(&h, &three), KXSTD_OK);
    EXPECT_EQ(show(h), "33333333333333333333333333333333333.332");
    // a quotient rounding into a 39th digit: 199999999999999999999999999999999999.999 / 2
    // == 99999999999999999999999999999999999.9995, 35 whole digits leave 3
    // places, (Decimal('199999999999999999999999999999999999.999') / 2).quantize(Decimal('1e-3'),
    // ROUND_HALF_UP) == 100000000000000000000000000000000000.000 has 39 digits,
    // so its last zero place goes
    NumericStruct k = dec("199999999999999999999999999999999999.999");
    ASSERT_EQ(kxstd_div_numeric(&k, &two), KXSTD_OK);
    EXPECT_EQ(show(k), "100000000000000000000000000000000000.00");
    // and one that does not: ...995 / 2 == ...9975, .quantize(Decimal('1e-3')) == ...998
    NumericStruct l = dec("199999999999999999999999999999999999.995");
    ASSERT_EQ(kxstd_div_numeric(&l, &two), KXSTD_OK);
    EXPECT_EQ(show(l), "99999999999999999999999999999999999.998");
}

TEST(StdNumericDivide, ByZero)
{
    NumericStruct a = dec("7.5");
    NumericStruct zero = dec("0.00");
    NumericStruct negative_zero = dec("-0");
    EXPECT_EQ(kxstd_div_numeric(&a, &zero), KXSTD_DIVISION_BY_ZERO);
    EXPECT_EQ(kxstd_div_numeric(&a, &negative_zero), KXSTD_DIVISION_BY_ZERO);
    EXPECT_EQ(show(a), "7.5");
    // the family without a context: a quotient of 0
    div_numeric(&a, &zero, nullptr);
    EXPECT_EQ(show(a), "0.0");
}

// ---- comparison ----

TEST(StdNumericCompare, ZerosAndScales)
{
    NumericStruct plus_zero = dec("0");
    NumericStruct minus_zero = dec("-0.000");
    EXPECT_EQ(numeric_compare(&plus_zero, &minus_zero), 1);
    EXPECT_EQ(kxstd_numeric_compare(&plus_zero, &minus_zero), 0);
    EXPECT_EQ(kxstd_numeric_compare(&minus_zero, &plus_zero), 0);

    NumericStruct a = dec("1.50");
    NumericStruct b = dec("1.5");
    EXPECT_EQ(kxstd_numeric_compare(&a, &b), 0);
    NumericStruct c = dec("-1.51");
    EXPECT_EQ(kxstd_numeric_compare(&c, &b), -1);
    EXPECT_EQ(kxstd_numeric_compare(&b, &c), 1);
    NumericStruct d = dec("-1.49");
    EXPECT_EQ(kxstd_numeric_compare(&c, &d), -1);

    // 2**128 - 1 at scales 0 and 38, and against 2**127
    NumericStruct m0 = of_u128(kMax128, 0);
    NumericStruct m38 = of_u128(kMax128, 38);
    NumericStruct t = of_u128(kTwo127, 0);
    EXPECT_EQ(kxstd_numeric_compare(&m0, &m38), 1);
    EXPECT_EQ(kxstd_numeric_compare(&m38, &m0), -1);
    EXPECT_EQ(kxstd_numeric_compare(&t, &m0), -1);
    // 3.4028... (2**128 - 1 at scale 38) against 3.5 and 3.4
    NumericStruct three_five = dec("3.5");
    NumericStruct three_four = dec("3.4");
    EXPECT_EQ(kxstd_numeric_compare(&m38, &three_five), -1);
    EXPECT_EQ(kxstd_numeric_compare(&m38, &three_four), 1);
    // 10^40 (scale -40) against 38 nines
    NumericStruct huge = of_u128(1, -40);
    NumericStruct nines = dec(kNines38);
    EXPECT_EQ(kxstd_numeric_compare(&huge, &nines), 1);
}

// ---- conversions ----

TEST(StdNumericConversion, ToIntRefusesWhatAtoiWraps)
{
    // 3000000000 - 2**32 == -1294967296
    NumericStruct n = dec("3000000000");
    int32_t family = 0;
    numeric_to_int(&n, &family);
    EXPECT_EQ(family, -1294967296);
    int32_t standard = 77;
    EXPECT_EQ(kxstd_numeric_to_int(&n, &standard), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(standard, 77);

    struct Case {
        const char *text;
        int32_t expected;
    } fits[] = {{"2147483647", INT32_MAX}, {"-2147483648", INT32_MIN}, {"2.9", 2},
                {"-2.9", -2},            {"-0.5", 0},                {"2147483647.999", INT32_MAX}};
    for (const Case &c : fits) {
        NumericStruct x = dec(c.text);
        int32_t v = 0;
        ASSERT_EQ(kxstd_numeric_to_int(&x, &v), KXSTD_OK) << c.text;
        EXPECT_EQ(v, c.expected) << c.text;
    }
    for (const char *text : {"2147483648", "-2147483649", "99999999999999999999999999999999999999"}) {
        NumericStruct x = dec(text);
        int32_t v = 0;
        EXPECT_EQ(kxstd_numeric_to_int(&x, &v), KXSTD_NUMERIC_OUT_OF_RANGE) << text;
    }
}

TEST(StdNumericConversion, ToBigintRefusesWhatStrtollSaturates)
{
    NumericStruct n = dec("100000000000000000000");   // 10**20
    int64_t family = 0;
    numeric_to_bigint(&n, &family);
    EXPECT_EQ(family, INT64_MAX);
    int64_t standard = 77;
    EXPECT_EQ(kxstd_numeric_to_bigint(&n, &standard), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(standard, 77);

    // -2**63 fits, -2**63 - 1 does not
    NumericStruct low = dec("-9223372036854775808");
    ASSERT_EQ(kxstd_numeric_to_bigint(&low, &standard), KXSTD_OK);
    EXPECT_EQ(standard, INT64_MIN);
    NumericStruct below = dec("-9223372036854775809");
    numeric_to_bigint(&below, &family);
    EXPECT_EQ(family, INT64_MIN);
    EXPECT_EQ(kxstd_numeric_to_bigint(&below, &standard), KXSTD_NUMERIC_OUT_OF_RANGE);
    NumericStruct high = dec("9223372036854775807.99");
    ASSERT_EQ(kxstd_numeric_to_bigint(&high, &standard), KXSTD_OK);
    EXPECT_EQ(standard, INT64_MAX);
    // 2**127 and a negative scale: 5 x 10^3
    NumericStruct t = of_u128(kTwo127);
    EXPECT_EQ(kxstd_numeric_to_bigint(&t, &standard), KXSTD_NUMERIC_OUT_OF_RANGE);
    NumericStruct thousands = of_u128(5, -3);
    ASSERT_EQ(kxstd_numeric_to_bigint(&thousands, &standard), KXSTD_OK);
    EXPECT_EQ(standard, 5000);
}

TEST(StdNumericConversion, ToDoubleIsTheNearestDouble)
{
    // float(2**127) == 1.7014118346046923e+38; the family's bit-127 factor is a tenth of it
    NumericStruct t = of_u128(kTwo127);
    double family = 0.0;
    double standard = 0.0;
    numeric_to_double(&t, &family);
    EXPECT_EQ(family, 1.7014118346046924e37);
    ASSERT_EQ(kxstd_numeric_to_double(&t, &standard), KXSTD_OK);
    EXPECT_EQ(standard, 1.7014118346046923e+38);

    // float(2**128 - 1) == 3.402823669209385e+38
    NumericStruct m = of_u128(kMax128);
    ASSERT_EQ(kxstd_numeric_to_double(&m, &standard), KXSTD_OK);
    EXPECT_EQ(standard, 3.402823669209385e+38);

    // 0.3: the family multiplies 3 by 0.1 (3 * 0.1 == 0.30000000000000004)
    NumericStruct tenths = dec("0.3");
    numeric_to_double(&tenths, &family);
    EXPECT_EQ(family, 0.30000000000000004);
    ASSERT_EQ(kxstd_numeric_to_double(&tenths, &standard), KXSTD_OK);
    EXPECT_EQ(standard, 0.3);

    // float(Decimal('-123456789012345678901234567890.12345678')) == -1.2345678901234568e+29
    NumericStruct big = dec("-123456789012345678901234567890.12345678");
    ASSERT_EQ(kxstd_numeric_to_double(&big, &standard), KXSTD_OK);
    EXPECT_EQ(standard, -1.2345678901234568e+29);
    // float(Decimal('1e-38')) == 1e-38, and one zero
    NumericStruct tiny = dec("0.00000000000000000000000000000000000001");
    ASSERT_EQ(kxstd_numeric_to_double(&tiny, &standard), KXSTD_OK);
    EXPECT_EQ(standard, 1e-38);
    NumericStruct minus_zero = dec("-0.0");
    ASSERT_EQ(kxstd_numeric_to_double(&minus_zero, &standard), KXSTD_OK);
    EXPECT_EQ(standard, 0.0);
    EXPECT_FALSE(std::signbit(standard));
}

TEST(StdNumericConversion, FromBigintAtAScale)
{
    // 10**18 at scale 2: the family multiplies in 64 bits,
    // 10**20 % 2**64 == 7766279631452241920
    NumericStruct family;
    bigint_to_numeric(1000000000000000000LL, &family, 38, 2);
    EXPECT_EQ(show(family), "77662796314522419.20");
    NumericStruct standard;
    ASSERT_EQ(kxstd_bigint_to_numeric(1000000000000000000LL, &standard, 2), KXSTD_OK);
    EXPECT_EQ(show(standard), "1000000000000000000.00");
    EXPECT_EQ(standard.precision, 38);

    // -2**63: the family's negation leaves a zero magnitude
    bigint_to_numeric(INT64_MIN, &family, 38, 0);
    EXPECT_EQ(show(family), "-0");
    ASSERT_EQ(kxstd_bigint_to_numeric(INT64_MIN, &standard, 0), KXSTD_OK);
    EXPECT_EQ(show(standard), "-9223372036854775808");

    // 1 at scale 37 has 38 digits; at scale 38 it has 39; zero fits any
    ASSERT_EQ(kxstd_bigint_to_numeric(1, &standard, 37), KXSTD_OK);
    EXPECT_EQ(show(standard), "1.0000000000000000000000000000000000000");
    NumericStruct untouched = dec("4.2");
    EXPECT_EQ(kxstd_bigint_to_numeric(1, &untouched, 38), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(show(untouched), "4.2");
    ASSERT_EQ(kxstd_bigint_to_numeric(0, &standard, 38), KXSTD_OK);
    EXPECT_EQ(show(standard), "0.00000000000000000000000000000000000000");
    // 9223372036854775807 * 10**19 has 38 digits; * 10**20 has 39
    ASSERT_EQ(kxstd_bigint_to_numeric(INT64_MAX, &standard, 19), KXSTD_OK);
    EXPECT_EQ(show(standard), "9223372036854775807.0000000000000000000");
    EXPECT_EQ(kxstd_bigint_to_numeric(INT64_MAX, &standard, 20), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(kxstd_bigint_to_numeric(5, &standard, -1), KXSTD_NUMERIC_OUT_OF_RANGE);
}

TEST(StdNumericConversion, FromText)
{
    // the family parses in place: the point is taken out of the caller's text
    char family_text[] = "12.50";
    NumericStruct family;
    string_to_numeric(family_text, &family, 38, 0);
    EXPECT_STRNE(family_text, "12.50");
    char text[] = "  -12.50  ";
    NumericStruct standard;
    ASSERT_EQ(kxstd_text_to_numeric(text, &standard), KXSTD_OK);
    EXPECT_STREQ(text, "  -12.50  ");
    EXPECT_EQ(show(standard), "-12.50");

    struct Case {
        const char *text;
        const char *expected;
    } cases[] = {
        {"0", "0"},
        {"-0", "0"},
        {"+.5", "0.5"},
        {"5.", "5"},
        {"1e3", "1000"},
        {"1.5E-3", "0.0015"},
        {"150e-1", "15.0"},
        {"-2.5e+1", "-25"},
        {kNines38, kNines38},
        {"0.00000000000000000000000000000000000001", "0.00000000000000000000000000000000000001"},
        // zeros past 38 places go: the value is the same
        {"1.000000000000000000000000000000000000000000", "1.0000000000000000000000000000000000000"},
        {"0.0000000000000000000000000000000000000000", "0.00000000000000000000000000000000000000"},
        {"\t 7 \n", "7"},
        {"00000000000000000000000000000000000000000042", "42"},
    };
    for (const Case &c : cases) {
        NumericStruct n;
        ASSERT_EQ(kxstd_text_to_numeric(c.text, &n), KXSTD_OK) << c.text;
        EXPECT_EQ(show(n), c.expected) << c.text;
        EXPECT_EQ(n.precision, 38);
    }
    for (const char *bad : {"", " ", ".", "-", "abc", "1.2.3", "1e", "1e+", "12a", "1 2", "--1",
                            "0x10", "1,5"}) {
        NumericStruct n = dec("4.2");
        EXPECT_EQ(kxstd_text_to_numeric(bad, &n), KXSTD_INVALID_NUMBER) << '"' << bad << '"';
        EXPECT_EQ(show(n), "4.2");
    }
    EXPECT_EQ(kxstd_text_to_numeric(nullptr, &standard), KXSTD_INVALID_NUMBER);
    for (const char *big : {"100000000000000000000000000000000000000", "1e38",
                            "0.000000000000000000000000000000000000001", "1e-39",
                            "340282366920938463463374607431768211455", "1e99999999999"}) {
        NumericStruct n;
        EXPECT_EQ(kxstd_text_to_numeric(big, &n), KXSTD_NUMERIC_OUT_OF_RANGE) << big;
    }
}

// ---- randomized cross-check ----
//
// A decimal reference written from the rules alone: a number is a digit
// string (most significant first) and a scale; + - * and the quotient with
// its remainder are schoolbook digit algorithms; the result is kept at the
// operation's scale, rounded half away from zero to fit 38 digits, and out
// of range when its whole part passes 38 digits.

struct Ref {
    bool negative = false;
    std::vector<int> digits;   // most significant first, no leading zeros (empty is 0)
    int scale = 0;
};

std::vector<int> trim(std::vector<int> d)
{
    size_t i = 0;
    while (i < d.size() && d[i] == 0)
        ++i;
    return std::vector<int>(d.begin() + static_cast<long>(i), d.end());
}

int cmp_digits(const std::vector<int> &a, const std::vector<int> &b)
{
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    return 0;
}

std::vector<int> add_digits(const std::vector<int> &a, const std::vector<int> &b)
{
    std::vector<int> r(std::max(a.size(), b.size()) + 1, 0);
    int carry = 0;
    for (size_t i = 0; i < r.size(); ++i) {
        int x = i < a.size() ? a[a.size() - 1 - i] : 0;
        int y = i < b.size() ? b[b.size() - 1 - i] : 0;
        int s = x + y + carry;
        r[r.size() - 1 - i] = s % 10;
        carry = s / 10;
    }
    return trim(r);
}

// a - b for a >= b
std::vector<int> sub_digits(const std::vector<int> &a, const std::vector<int> &b)
{
    std::vector<int> r(a.size(), 0);
    int borrow = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        int x = a[a.size() - 1 - i];
        int y = i < b.size() ? b[b.size() - 1 - i] : 0;
        int d = x - y - borrow;
        borrow = d < 0 ? 1 : 0;
        r[a.size() - 1 - i] = d < 0 ? d + 10 : d;
    }
    return trim(r);
}

std::vector<int> mul_digits(const std::vector<int> &a, const std::vector<int> &b)
{
    if (a.empty() || b.empty())
        return {};
    std::vector<int> r(a.size() + b.size(), 0);
    for (size_t i = 0; i < a.size(); ++i)
        for (size_t j = 0; j < b.size(); ++j)
            r[i + j + 1] += a[i] * b[j];
    for (size_t k = r.size() - 1; k > 0; --k) {
        r[k - 1] += r[k] / 10;
        r[k] %= 10;
    }
    return trim(r);
}

std::vector<int> shifted(std::vector<int> a, int zeros)
{
    if (!a.empty())
        a.insert(a.end(), static_cast<size_t>(zeros), 0);
    return a;
}

// floor(a / b) and the remainder, digit by digit
std::vector<int> div_digits(const std::vector<int> &a, const std::vector<int> &b,
                            std::vector<int> *remainder)
{
    std::vector<int> q;
    std::vector<int> r;
    for (int digit : a) {
        r.push_back(digit);
        r = trim(r);
        int count = 0;
        while (cmp_digits(r, b) >= 0) {
            r = sub_digits(r, b);
            ++count;
        }
        q.push_back(count);
    }
    *remainder = r;
    return trim(q);
}

std::vector<int> one_digit(int d)
{
    return d == 0 ? std::vector<int>{} : std::vector<int>{d};
}

// Rounds |value| half away from zero by dropping k digits.
std::vector<int> round_off(const std::vector<int> &d, int k)
{
    if (k <= 0)
        return d;
    if (static_cast<size_t>(k) > d.size())
        return {};
    std::vector<int> kept(d.begin(), d.end() - k);
    int first = d[d.size() - static_cast<size_t>(k)];
    kept = trim(kept);
    return first >= 5 ? add_digits(kept, one_digit(1)) : kept;
}

// The rules: whole part over 38 digits is out of range; over 38 digits in
// all, or a scale over 38, rounds the fraction.
bool settle_ref(Ref &r)
{
    int n = static_cast<int>(r.digits.size());
    int whole = n - r.scale > 0 ? n - r.scale : 0;
    if (whole > 38)
        return false;
    int keep = std::min({r.scale, 38, 38 - whole});
    if (keep < r.scale) {
        r.digits = round_off(r.digits, r.scale - keep);
        r.scale = keep;
        if (r.digits.size() > 38) {
            if (r.scale == 0)
                return false;
            r.digits.pop_back();
            r.scale -= 1;
        }
    }
    if (r.digits.empty())
        r.negative = false;
    return true;
}

std::string ref_show(const Ref &r)
{
    std::string s;
    for (int d : r.digits)
        s += static_cast<char>('0' + d);
    if (s.empty())
        s = "0";
    if (r.scale > 0) {
        if (s.size() <= static_cast<size_t>(r.scale))
            s.insert(0, static_cast<size_t>(r.scale) + 1 - s.size(), '0');
        s.insert(s.size() - static_cast<size_t>(r.scale), ".");
    }
    return (r.negative ? "-" : "") + s;
}

Ref ref_add(const Ref &a, const Ref &b, bool subtract)
{
    int s = std::max(a.scale, b.scale);
    std::vector<int> x = shifted(a.digits, s - a.scale);
    std::vector<int> y = shifted(b.digits, s - b.scale);
    bool nb = b.negative != subtract;
    Ref r;
    r.scale = s;
    if (a.negative == nb) {
        r.digits = add_digits(x, y);
        r.negative = a.negative;
    } else if (cmp_digits(x, y) >= 0) {
        r.digits = sub_digits(x, y);
        r.negative = a.negative;
    } else {
        r.digits = sub_digits(y, x);
        r.negative = nb;
    }
    return r;
}

Ref ref_mul(const Ref &a, const Ref &b)
{
    Ref r;
    r.digits = mul_digits(a.digits, b.digits);
    r.scale = a.scale + b.scale;
    r.negative = a.negative != b.negative;
    return r;
}

// a / b at min(a.scale + 4, 38) places, fewer when the whole part leaves
// no room; the quotient rounded from the exact remainder.
bool ref_div(const Ref &a, const Ref &b, Ref *out)
{
    std::vector<int> rem;
    // whole part: floor(a.digits * 10^b.scale / (b.digits * 10^a.scale))
    std::vector<int> num = shifted(a.digits, b.scale);
    std::vector<int> den = shifted(b.digits, a.scale);
    int whole = static_cast<int>(div_digits(num, den, &rem).size());
    if (whole > 38)
        return false;
    int places = std::min({a.scale + 4, 38, 38 - whole});
    std::vector<int> q = div_digits(shifted(num, places), den, &rem);
    // round up when 2 * remainder >= divisor
    if (cmp_digits(add_digits(rem, rem), den) >= 0)
        q = add_digits(q, one_digit(1));
    out->digits = q;
    out->scale = places;
    out->negative = a.negative != b.negative;
    if (q.size() > 38) {
        if (places == 0)
            return false;
        out->digits.pop_back();
        out->scale -= 1;
    }
    if (out->digits.empty())
        out->negative = false;
    return true;
}

int ref_compare(const Ref &a, const Ref &b)
{
    int sa = a.digits.empty() ? 0 : (a.negative ? -1 : 1);
    int sb = b.digits.empty() ? 0 : (b.negative ? -1 : 1);
    if (sa != sb)
        return sa < sb ? -1 : 1;
    int s = std::max(a.scale, b.scale);
    int c = cmp_digits(shifted(a.digits, s - a.scale), shifted(b.digits, s - b.scale));
    return sa < 0 ? -c : c;
}

// A random operand: up to 38 digits (sometimes runs of 9s or 0s, sometimes
// zero) at a scale from 0 to 38, either sign; as a Ref and as a record.
struct Operand {
    Ref ref;
    NumericStruct record;
};

Operand random_operand(std::mt19937_64 &rng)
{
    Operand o;
    int length = static_cast<int>(rng() % 39);
    int style = static_cast<int>(rng() % 8);
    std::vector<int> d;
    for (int i = 0; i < length; ++i) {
        int digit = static_cast<int>(rng() % 10);
        if (style == 0)
            digit = 9;
        else if (style == 1 && i > 0)
            digit = (rng() % 4 == 0) ? digit : 0;
        d.push_back(digit);
    }
    o.ref.digits = trim(d);
    o.ref.scale = static_cast<int>(rng() % 39);
    if (rng() % 3 == 0)
        o.ref.scale = static_cast<int>(rng() % 6);
    o.ref.negative = rng() % 2 == 0;
    u128 m = 0;
    for (int digit : o.ref.digits)
        m = m * 10 + static_cast<unsigned>(digit);
    // a zero keeps the sign it was given, as a record may
    o.record = of_u128(m, o.ref.scale, o.ref.negative);
    if (o.ref.digits.empty())
        o.ref.negative = false;
    return o;
}

std::string label(const Operand &a, const char *op, const Operand &b)
{
    return ref_show(a.ref) + " " + op + " " + ref_show(b.ref);
}

TEST(StdNumericRandom, AgreesWithADecimalReference)
{
    std::mt19937_64 rng(20240611);
    int checked = 0;
    for (int i = 0; i < 3000; ++i) {
        Operand a = random_operand(rng);
        Operand b = random_operand(rng);

        EXPECT_EQ(kxstd_numeric_compare(&a.record, &b.record), ref_compare(a.ref, b.ref))
            << label(a, "<=>", b);

        for (int op = 0; op < 4; ++op) {
            Ref expected;
            bool fits;
            NumericStruct r = a.record;
            int32_t rc;
            const char *name;
            switch (op) {
            case 0:
                expected = ref_add(a.ref, b.ref, false);
                fits = settle_ref(expected);
                rc = kxstd_add_numeric(&r, &b.record);
                name = "+";
                break;
            case 1:
                expected = ref_add(a.ref, b.ref, true);
                fits = settle_ref(expected);
                rc = kxstd_subtract_numeric(&r, &b.record);
                name = "-";
                break;
            case 2:
                expected = ref_mul(a.ref, b.ref);
                fits = settle_ref(expected);
                rc = kxstd_mult_numeric(&r, &b.record);
                name = "*";
                break;
            default:
                name = "/";
                rc = kxstd_div_numeric(&r, &b.record);
                if (b.ref.digits.empty()) {
                    EXPECT_EQ(rc, KXSTD_DIVISION_BY_ZERO) << label(a, name, b);
                    continue;
                }
                fits = ref_div(a.ref, b.ref, &expected);
                break;
            }
            if (!fits) {
                EXPECT_EQ(rc, KXSTD_NUMERIC_OUT_OF_RANGE) << label(a, name, b);
                continue;
            }
            ASSERT_EQ(rc, KXSTD_OK) << label(a, name, b);
            EXPECT_EQ(show(r), ref_show(expected)) << label(a, name, b);
            EXPECT_EQ(r.precision, 38);
            ++checked;
        }
    }
    // most cases fit: the check is not vacuous
    EXPECT_GT(checked, 9000);
}

}  // namespace

// ---- where the 128-bit path gives way to the wide one ----
//
// + - * and comparison answer operands whose scales are 0 to 38 and whose
// aligned magnitudes and result stay within 128 bits and below 10^38
// directly, and everything else through the wide arithmetic. Operands on
// either side of each of those edges are checked against the decimal
// reference above, through the record routines and through
// kxstd_numeric_operation.

namespace edges {

u128 pow10(int k)
{
    u128 p = 1;
    for (int i = 0; i < k; ++i)
        p *= 10;
    return p;
}

Operand operand(u128 m, int scale, bool negative = false)
{
    Operand o;
    std::string text = kxtest::decimal(m);
    for (char c : text)
        o.ref.digits.push_back(c - '0');
    o.ref.digits = trim(o.ref.digits);
    o.ref.scale = scale;
    o.ref.negative = negative && !o.ref.digits.empty();
    o.record = of_u128(m, scale, negative);
    return o;
}

// The magnitudes around each edge: 10^19 and 2^64 (the one-word product),
// 10^38 (the largest result), 2^127 and 2^128 - 1 (the 128-bit limit).
std::vector<u128> magnitudes()
{
    const u128 two64 = static_cast<u128>(1) << 64;
    std::vector<u128> m = {0, 1, 2, 5, 9, 10};
    for (u128 centre : {pow10(19), two64, pow10(37), pow10(38), kTwo127}) {
        m.push_back(centre - 1);
        m.push_back(centre);
        m.push_back(centre + 1);
    }
    m.push_back(pow10(19) / 2);
    m.push_back(pow10(38) / 2);
    m.push_back(kMax128 - 1);
    m.push_back(kMax128);
    return m;
}

// Checks a record routine's answer for a op b against the reference.
void check(const Operand &a, const Operand &b, int op)
{
    Ref expected;
    bool fits;
    NumericStruct r = a.record;
    int32_t rc;
    const char *name;
    switch (op) {
    case 0:
        expected = ref_add(a.ref, b.ref, false);
        fits = settle_ref(expected);
        rc = kxstd_add_numeric(&r, &b.record);
        name = "+";
        break;
    case 1:
        expected = ref_add(a.ref, b.ref, true);
        fits = settle_ref(expected);
        rc = kxstd_subtract_numeric(&r, &b.record);
        name = "-";
        break;
    default:
        expected = ref_mul(a.ref, b.ref);
        fits = settle_ref(expected);
        rc = kxstd_mult_numeric(&r, &b.record);
        name = "*";
        break;
    }
    if (!fits) {
        EXPECT_EQ(rc, KXSTD_NUMERIC_OUT_OF_RANGE) << label(a, name, b);
        EXPECT_EQ(show(r), show(a.record)) << "untouched on an error: " << label(a, name, b);
    } else {
        ASSERT_EQ(rc, KXSTD_OK) << label(a, name, b);
        EXPECT_EQ(show(r), ref_show(expected)) << label(a, name, b);
        EXPECT_EQ(r.precision, 38);
    }

    // the operator: a VALUE_NUMERIC of the same record, NULL on an error
    // (no context)
    static const int32_t kOps[] = {KX_OP_ADD, KX_OP_SUBTRACT, KX_OP_MULTIPLY};
    Value va = kxtest::blank(VALUE_NUMERIC);
    va.payload.numeric = a.record;
    Value vb = kxtest::blank(VALUE_NUMERIC);
    vb.payload.numeric = b.record;
    Value result = kxtest::blank(VALUE_STRING);
    kxstd_numeric_operation(&va, &vb, &result, nullptr, kOps[op]);
    if (!fits) {
        EXPECT_EQ(result.null_flag, -1) << label(a, name, b);
        return;
    }
    EXPECT_EQ(result.type, VALUE_NUMERIC) << label(a, name, b);
    EXPECT_EQ(result.null_flag, 0);
    EXPECT_EQ(show(result.payload.numeric), ref_show(expected)) << label(a, name, b);
    EXPECT_EQ(result.attr[0], 38);
    EXPECT_EQ(result.attr[1], result.payload.numeric.scale);
}

}  // namespace edges

TEST(StdNumericEdges, SumsAndDifferencesAroundTheLimits)
{
    std::vector<u128> m = edges::magnitudes();
    // equal scales, one apart, 38 apart (the widest alignment), and both
    // at 38
    const int scales[][2] = {{0, 0}, {0, 1}, {1, 0}, {2, 2}, {0, 38}, {38, 0}, {38, 38},
                             {37, 38}, {19, 0}, {0, 19}};
    int cases = 0;
    for (u128 x : m)
        for (u128 y : m)
            for (const auto &s : scales)
                for (int signs = 0; signs < 4; ++signs) {
                    Operand a = edges::operand(x, s[0], (signs & 1) != 0);
                    Operand b = edges::operand(y, s[1], (signs & 2) != 0);
                    edges::check(a, b, 0);
                    edges::check(a, b, 1);
                    ++cases;
                }
    EXPECT_GT(cases, 10000);
}

TEST(StdNumericEdges, ResultsAtTenToThe38)
{
    const u128 nines = edges::pow10(38) - 1;
    // 10^38 - 2 + 1 is the largest magnitude; + 1 more is out of range at
    // scale 0 and rounds a fraction away at scale 1
    NumericStruct r = of_u128(nines - 1);
    NumericStruct one = of_u128(1);
    ASSERT_EQ(kxstd_add_numeric(&r, &one), KXSTD_OK);
    EXPECT_EQ(show(r), kNines38);
    EXPECT_EQ(kxstd_add_numeric(&r, &one), KXSTD_NUMERIC_OUT_OF_RANGE);
    EXPECT_EQ(show(r), kNines38);
    NumericStruct tenth = of_u128(nines, 1);   // 9999...9.9
    NumericStruct point_one = of_u128(1, 1);
    ASSERT_EQ(kxstd_add_numeric(&tenth, &point_one), KXSTD_OK);
    EXPECT_EQ(show(tenth), "10000000000000000000000000000000000000");   // 10^37
    EXPECT_EQ(tenth.scale, 0);
    // -(10^38 - 1) - 1
    NumericStruct negative = of_u128(nines, 0, true);
    EXPECT_EQ(kxstd_subtract_numeric(&negative, &one), KXSTD_NUMERIC_OUT_OF_RANGE);

    // (10^19 - 1)(10^19 + 1) = 10^38 - 1, and 10^19 x 10^19 = 10^38
    NumericStruct p = of_u128(edges::pow10(19) - 1);
    NumericStruct q = of_u128(edges::pow10(19) + 1);
    ASSERT_EQ(kxstd_mult_numeric(&p, &q), KXSTD_OK);
    EXPECT_EQ(show(p), kNines38);
    NumericStruct t = of_u128(edges::pow10(19));
    NumericStruct u = of_u128(edges::pow10(19));
    EXPECT_EQ(kxstd_mult_numeric(&t, &u), KXSTD_NUMERIC_OUT_OF_RANGE);
    // at scale 2 the same product keeps one place: 10^36 = 1000...0.0
    NumericStruct t2 = of_u128(edges::pow10(19), 1);
    NumericStruct u2 = of_u128(edges::pow10(19), 1);
    ASSERT_EQ(kxstd_mult_numeric(&t2, &u2), KXSTD_OK);
    EXPECT_EQ(show(t2), "1000000000000000000000000000000000000.0");
}

TEST(StdNumericEdges, ProductsAroundTheLimits)
{
    std::vector<u128> m = edges::magnitudes();
    // scale sums 0, 38 (the last kept as it is) and 39, 76 (rounded)
    const int scales[][2] = {{0, 0}, {3, 2}, {19, 19}, {38, 0}, {0, 38}, {20, 19}, {38, 38}};
    int cases = 0;
    for (u128 x : m)
        for (u128 y : m)
            for (const auto &s : scales)
                for (int signs = 0; signs < 4; ++signs) {
                    edges::check(edges::operand(x, s[0], (signs & 1) != 0),
                                 edges::operand(y, s[1], (signs & 2) != 0), 2);
                    ++cases;
                }
    EXPECT_GT(cases, 5000);
}

TEST(StdNumericEdges, AlignmentBeyond128Bits)
{
    // 2^128 - 1 at scale 0 against 1 at scale 38: the aligned magnitude
    // needs 128 + 127 bits; the sum is out of range, the order still exact
    Operand big = edges::operand(kMax128, 0);
    Operand tiny = edges::operand(1, 38);
    edges::check(big, tiny, 0);
    edges::check(tiny, big, 1);
    EXPECT_EQ(kxstd_numeric_compare(&big.record, &tiny.record), 1);
    EXPECT_EQ(kxstd_numeric_compare(&tiny.record, &big.record), -1);
    // 10^37 + 0.1: the aligned 10^38 + 1 has 39 digits, the fraction goes
    Operand whole = edges::operand(edges::pow10(37), 0);
    Operand fraction = edges::operand(1, 1);
    edges::check(whole, fraction, 0);
    NumericStruct r = whole.record;
    ASSERT_EQ(kxstd_add_numeric(&r, &fraction.record), KXSTD_OK);
    EXPECT_EQ(show(r), "10000000000000000000000000000000000000");
    // equal values at scales 0 and 38 whose alignment does not fit
    Operand a = edges::operand(edges::pow10(2), 0);
    Operand b = edges::operand(edges::pow10(38) - 1, 38);
    EXPECT_EQ(kxstd_numeric_compare(&a.record, &b.record), 1);
    EXPECT_EQ(kxstd_numeric_compare(&b.record, &a.record), -1);
}

TEST(StdNumericEdges, ComparisonsAroundTheLimits)
{
    std::vector<u128> m = edges::magnitudes();
    const int scales[][2] = {{0, 0}, {0, 1}, {5, 0}, {0, 38}, {38, 0}, {38, 38}, {-1, 0}};
    for (u128 x : m)
        for (u128 y : m)
            for (const auto &s : scales)
                for (int signs = 0; signs < 4; ++signs) {
                    Operand a = edges::operand(x, s[0] < 0 ? 0 : s[0], (signs & 1) != 0);
                    Operand b = edges::operand(y, s[1], (signs & 2) != 0);
                    EXPECT_EQ(kxstd_numeric_compare(&a.record, &b.record),
                              ref_compare(a.ref, b.ref))
                        << label(a, "<=>", b);
                }
}

TEST(StdNumericEdges, ScalesOutsideZeroTo38TakeTheWidePath)
{
    // scale -2: 12 x 10^2 = 1200; scale 40: 5 x 10^-40
    NumericStruct hundreds = kxtest::numeric(12, -2, 1, 38);
    NumericStruct three = of_u128(3);
    NumericStruct r = hundreds;
    ASSERT_EQ(kxstd_add_numeric(&r, &three), KXSTD_OK);
    EXPECT_EQ(show(r), "1203");
    r = hundreds;
    ASSERT_EQ(kxstd_mult_numeric(&r, &three), KXSTD_OK);
    EXPECT_EQ(show(r), "3600");
    NumericStruct tiny = kxtest::numeric(5, 40, 1, 38);
    r = of_u128(1);
    ASSERT_EQ(kxstd_add_numeric(&r, &tiny), KXSTD_OK);
    // 1 + 5 x 10^-40 in 38 digits: 37 places, the 5 lies beyond and goes
    EXPECT_EQ(show(r), "1.0000000000000000000000000000000000000");
    EXPECT_EQ(r.scale, 37);
    EXPECT_EQ(kxstd_numeric_compare(&tiny, &three), -1);
    EXPECT_EQ(kxstd_numeric_compare(&hundreds, &three), 1);
    NumericStruct twelve_hundred = of_u128(1200);
    EXPECT_EQ(kxstd_numeric_compare(&hundreds, &twelve_hundred), 0);
}
