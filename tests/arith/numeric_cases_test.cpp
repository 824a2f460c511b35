// Case tables for the exact decimal record: conversions to and from text,
// integers and doubles, comparison, the four arithmetic routines and the
// division-by-zero exit through an evaluation context. Only the public
// header is used; every expected value is worked out by hand from the
// documented rules (magnitudes written as decimal or as powers of two).
#include <gtest/gtest.h>

#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstring>

namespace {

using kxtest::decimal;
using kxtest::magnitude_of;
using kxtest::numeric;
using kxtest::numeric_text;
using kxtest::u128;

const char kMaxText[] = "340282366920938463463374607431768211455";     // 2^128 - 1
const char kTwo128Text[] = "340282366920938463463374607431768211456";  // 2^128
const char kTwo127Text[] = "170141183460469231731687303715884105728";  // 2^127

const u128 kMax = ~static_cast<u128>(0);

u128 pow2(int k) { return static_cast<u128>(1) << k; }

void expect_num(const NumericStruct &n, u128 magnitude, int scale, int sign,
                const char *what) {
    EXPECT_EQ(decimal(magnitude_of(n)), decimal(magnitude)) << what;
    EXPECT_EQ(n.scale, scale) << what;
    EXPECT_EQ(n.sign, sign) << what;
}

// ---------------------------------------------------------------------------
// numeric_to_string

struct ToStringCase {
    u128 magnitude;
    int scale;
    int sign;
    const char *text;
};

TEST(NumericCases, ToStringTable) {
    const ToStringCase cases[] = {
        {0, 0, 1, "0"},
        {0, 0, 0, "-0"},
        {0, 3, 1, "0"},
        {0, 3, 0, "-0"},
        {0, 2, 1, "0"},
        {5, 3, 1, "0.005"},
        {150, 2, 1, "1.5"},
        {200, 2, 1, "2"},
        {12, -2, 1, "1200"},
        {12, -2, 0, "-1200"},
        {150, 2, 0, "-1.5"},
        {12345, 2, 1, "123.45"},
        {123, 3, 1, "0.123"},
        {1, 0, 0, "-1"},
        {10, 0, 1, "10"},        // no fraction: integer zeros stay
        {100, 1, 1, "10"},       // "10.0" loses its fraction zero and point only
        {1000, 2, 1, "10"},
        {1050, 2, 1, "10.5"},
        {1005, 2, 1, "10.05"},
        {1, 5, 1, "0.00001"},
        {100, 5, 0, "-0.001"},
        {1000000, 0, 1, "1000000"},
        {1048576, 0, 1, "1048576"},
        {999999, 0, 1, "999999"},
        {4294967296ULL, 0, 1, "4294967296"},
        {pow2(64), 0, 1, "18446744073709551616"},
        {pow2(127), 0, 1, kTwo127Text},
        {kMax, 0, 1, kMaxText},
        {kMax, 0, 0, "-340282366920938463463374607431768211455"},
        {kMax, 39, 1, "0.340282366920938463463374607431768211455"},
        {kMax, 3, 1, "340282366920938463463374607431768211.455"},
        {7, -3, 1, "7000"},
    };
    for (const auto &c : cases) {
        NumericStruct n = numeric(c.magnitude, c.scale, c.sign, 10);
        char buf[256];
        std::memset(buf, 'x', sizeof buf);
        int32_t len = -1;
        EXPECT_EQ(numeric_to_string(&n, buf, sizeof buf, &len), 0) << c.text;
        EXPECT_STREQ(buf, c.text);
        EXPECT_EQ(len, static_cast<int32_t>(std::strlen(c.text))) << c.text;
    }
}

TEST(NumericCases, ToStringEveryPowerOfTwo) {
    // 2^k by repeated decimal doubling, checked against the routine.
    std::string p = "1";
    for (int k = 0; k < 128; ++k) {
        NumericStruct n = numeric(pow2(k));
        EXPECT_EQ(numeric_text(n), p) << "2^" << k;
        int carry = 0;
        for (int i = static_cast<int>(p.size()) - 1; i >= 0; --i) {
            int d = (p[i] - '0') * 2 + carry;
            p[i] = static_cast<char>('0' + d % 10);
            carry = d / 10;
        }
        if (carry)
            p.insert(p.begin(), '1');
    }
    EXPECT_EQ(p, kTwo128Text);
}

TEST(NumericCases, ToStringTruncatesLikeCopyStrBufferl) {
    NumericStruct n = numeric(12345, 2);  // "123.45", 6 characters
    struct {
        int32_t buflen;
        int32_t result;
        const char *text;
    } const cases[] = {
        {7, 0, "123.45"},
        {100, 0, "123.45"},
        {6, 1, "123.4"},
        {4, 1, "123"},
        {1, 1, ""},
    };
    for (const auto &c : cases) {
        char buf[16];
        std::memset(buf, 'x', sizeof buf);
        int32_t len = -1;
        EXPECT_EQ(numeric_to_string(&n, buf, c.buflen, &len), c.result) << c.buflen;
        EXPECT_STREQ(buf, c.text) << c.buflen;
        EXPECT_EQ(len, 6) << c.buflen;
        if (c.buflen < static_cast<int32_t>(sizeof buf)) {
            EXPECT_EQ(buf[c.buflen], 'x') << "wrote past the buffer, length " << c.buflen;
        }
    }
    // Length 0: nothing written, truncation reported, full length given.
    char buf[4] = {'x', 'x', 'x', 'x'};
    int32_t len = -1;
    EXPECT_EQ(numeric_to_string(&n, buf, 0, &len), 1);
    EXPECT_EQ(buf[0], 'x');
    EXPECT_EQ(len, 6);
    // The length pointer is optional.
    char big[32];
    EXPECT_EQ(numeric_to_string(&n, big, sizeof big, nullptr), 0);
    EXPECT_STREQ(big, "123.45");
    EXPECT_EQ(numeric_to_string(&n, big, 3, nullptr), 1);
    EXPECT_STREQ(big, "12");
}

// ---------------------------------------------------------------------------
// string_to_numeric

struct FromStringCase {
    const char *text;
    int scale_in;
    int32_t result;
    u128 magnitude;
    int scale;
    int sign;
};

TEST(NumericCases, StringToNumericTable) {
    const FromStringCase cases[] = {
        {"  -001.50", 0, 0, 150, 2, 0},
        {"12.345", 0, 0, 12345, 3, 1},
        {"1.5", 2, 0, 15, 3, 1},
        {"+12", 0, 0, 12, 0, 1},
        {"-12", 0, 0, 12, 0, 0},
        {"12", 4, 0, 12, 4, 1},
        {"12", -2, 0, 12, -2, 1},
        {"0", 0, 0, 0, 0, 1},
        {"000", 0, 0, 0, 0, 1},
        {"-0", 0, 0, 0, 0, 0},
        {"", 0, 0, 0, 0, 1},
        {".5", 0, 0, 5, 1, 1},
        {"5.", 0, 0, 5, 0, 1},
        {" 7", 0, 0, 7, 0, 1},
        {"255", 0, 0, 255, 0, 1},
        {"256", 0, 0, 256, 0, 1},
        {"18446744073709551616", 0, 0, pow2(64), 0, 1},
        {"170141183460469231731687303715884105728", 0, 0, pow2(127), 0, 1},
        {"170141183460469231731687303715884105727", 0, 0, pow2(127) - 1, 0, 1},
        {kMaxText, 0, 0, kMax, 0, 1},
        {"0000340282366920938463463374607431768211455", 0, 0, kMax, 0, 1},
        {"34028236692093846346337460743176821145.5", 0, 0, kMax, 1, 1},
    };
    for (const auto &c : cases) {
        char text[128];
        std::strcpy(text, c.text);
        NumericStruct n = numeric(0xABCDEF, 9, 0, 3);
        EXPECT_EQ(string_to_numeric(text, &n, 17, c.scale_in), c.result) << c.text;
        expect_num(n, c.magnitude, c.scale, c.sign, c.text);
        EXPECT_EQ(n.precision, 17) << c.text;
    }
}

TEST(NumericCases, StringToNumericOverflowTouchesOnlySign) {
    struct {
        const char *text;
        int sign;
    } const cases[] = {
        {kTwo128Text, 1},
        {"-340282366920938463463374607431768211456", 0},
        {"+340282366920938463463374607431768211456", 1},
        {"1000000000000000000000000000000000000000", 1},
        {"3402823669209384634633746074317682114560", 1},
        {"34028236692093846346337460743176821145.6", 1},
    };
    for (const auto &c : cases) {
        char text[128];
        std::strcpy(text, c.text);
        NumericStruct n = numeric(0xABCDEF, 9, 2, 3);
        EXPECT_EQ(string_to_numeric(text, &n, 17, 0), -2) << c.text;
        EXPECT_EQ(magnitude_of(n), static_cast<u128>(0xABCDEF)) << c.text;
        EXPECT_EQ(n.scale, 9) << c.text;
        EXPECT_EQ(n.precision, 3) << c.text;
        EXPECT_EQ(n.sign, c.sign) << c.text;
    }
}

TEST(NumericCases, StringToNumericRoundTripsPowersAndNeighbours) {
    for (int k = 0; k < 128; ++k) {
        const u128 values[] = {pow2(k), pow2(k) - 1, pow2(k) + 1};
        for (u128 v : values) {
            std::string s = decimal(v);
            char text[64];
            std::strcpy(text, s.c_str());
            NumericStruct n = numeric(0);
            ASSERT_EQ(string_to_numeric(text, &n, 0, 0), 0) << s;
            EXPECT_EQ(decimal(magnitude_of(n)), s);
            EXPECT_EQ(numeric_text(n), s);
        }
    }
}

// ---------------------------------------------------------------------------
// create_numeric

struct CreateCase {
    const char *text;
    int scale;
    int32_t result;
    u128 magnitude;
    int sign;
};

TEST(NumericCases, CreateNumericTable) {
    const CreateCase cases[] = {
        {"12.3456", 2, 0, 1234, 1},  // truncated, not rounded
        {"12.3499", 2, 0, 1234, 1},
        {"12.3999", 2, 0, 1239, 1},
        {".5", 2, 0, 50, 1},
        {"7", 3, 0, 7000, 1},
        {"7.", 3, 0, 7000, 1},
        {"1.23", 2, 0, 123, 1},
        {"12.3", 0, 0, 12, 1},
        {"-1.5", 1, 0, 15, 0},
        {"-1.59", 1, 0, 15, 0},
        {"+2.5", 3, 0, 2500, 1},
        {"0", 4, 0, 0, 1},
        {"0.0001", 4, 0, 1, 1},
        {"0.00009", 4, 0, 0, 1},
        {kMaxText, 0, 0, kMax, 1},
        {kTwo128Text, 0, -2, 0, 1},
        {kMaxText, 1, -2, 0, 1},  // the padded digits exceed 2^128 - 1
    };
    for (const auto &c : cases) {
        char text[128];
        std::strcpy(text, c.text);
        NumericStruct n = numeric(0, 0, 1, 0);
        EXPECT_EQ(create_numeric(text, &n, 12, c.scale), c.result) << c.text;
        EXPECT_STREQ(text, c.text) << "the caller's text must not change";
        if (c.result == 0) {
            expect_num(n, c.magnitude, c.scale, c.sign, c.text);
            EXPECT_EQ(n.precision, 12) << c.text;
        }
    }
}

// ---------------------------------------------------------------------------
// int_to_numeric, bigint_to_numeric

struct IntCase {
    int64_t value;
    int scale;
    u128 magnitude;
    int sign;
};

TEST(NumericCases, IntToNumericTable) {
    const IntCase cases[] = {
        {-123, 2, 12300, 0},
        {-123, -1, 12, 0},
        {123, -2, 1, 1},
        {-5, -1, 0, 1},  // truncates to 0, which is not negative
        {0, 0, 0, 1},
        {0, 3, 0, 1},
        {5, 0, 5, 1},
        {-1, 0, 1, 0},
        {255, 0, 255, 1},
        {256, 0, 256, 1},
        {2147483647, 0, 2147483647, 1},
        {-2147483647 - 1, 0, 2147483648ULL, 0},  // widened before negation
        {2147483647, 9, 2147483647000000000ULL, 1},
        {-1999, -3, 1, 0},
    };
    for (const auto &c : cases) {
        NumericStruct n = numeric(kMax, 77, 2, 99);
        EXPECT_EQ(int_to_numeric(static_cast<int32_t>(c.value), &n, 11, c.scale), 0);
        expect_num(n, c.magnitude, c.scale, c.sign, "int_to_numeric");
        EXPECT_EQ(n.precision, 11);
    }
    NumericStruct n = numeric(kMax, 77, 2, 99);
    EXPECT_EQ(int_to_numeric_noscale(-42, &n, 15), 0);
    expect_num(n, 42, 0, 0, "int_to_numeric_noscale");
    EXPECT_EQ(n.precision, 15);
}

TEST(NumericCases, BigintToNumericTable) {
    const IntCase cases[] = {
        {INT64_MAX, 0, static_cast<u128>(INT64_MAX), 1},
        {INT64_MIN, 0, 0, 0},  // stays negative after negation: zero magnitude, sign 0
        {-1, 0, 1, 0},
        {123456789012LL, 3, 123456789012000ULL, 1},
        {1999, -3, 1, 1},
        {-1999, -3, 1, 0},
        {999, -3, 0, 1},
        {4294967296LL, 0, 4294967296ULL, 1},
        // (2^63 - 1) x 10 keeps its low 64 bits: -10 as a signed value.
        {INT64_MAX, 1, 10, 0},
        {1000000000000000000LL, 0, 1000000000000000000ULL, 1},
        {-1000000000000000000LL, 0, 1000000000000000000ULL, 0},
    };
    for (const auto &c : cases) {
        NumericStruct n = numeric(kMax, 77, 2, 99);
        EXPECT_EQ(bigint_to_numeric(c.value, &n, 19, c.scale), 0);
        expect_num(n, c.magnitude, c.scale, c.sign, "bigint_to_numeric");
        EXPECT_EQ(n.precision, 19);
    }
    NumericStruct n = numeric(kMax, 77, 2, 99);
    EXPECT_EQ(bigint_to_numeric_noscale(-9000000000LL, &n, 20), 0);
    expect_num(n, 9000000000ULL, 0, 0, "bigint_to_numeric_noscale");
    EXPECT_EQ(n.precision, 20);
}

// ---------------------------------------------------------------------------
// double_to_numeric

struct DoubleCase {
    double value;
    int scale;
    int32_t result;
    u128 magnitude;
    int sign;
};

TEST(NumericCases, DoubleToNumericTable) {
    const DoubleCase cases[] = {
        {1.5, 1, 0, 15, 1},
        {-1.5, 1, 0, 15, 0},
        {2.6, 0, 0, 3, 1},
        {2.4, 0, 0, 2, 1},
        {-2.6, 0, 0, 3, 0},
        {-0.4, 0, 0, 0, 0},  // "%.0f" gives "-0"
        {0.0, 0, 0, 0, 1},
        {3.14159, 2, 0, 314, 1},
        {3.146, 2, 0, 315, 1},
        {0.125, 3, 0, 125, 1},
        {1200.0, -2, 0, 12, 1},
        {-1200.0, -2, 0, 12, 0},
        {1e20, 0, 0, static_cast<u128>(100000000000ULL) * 1000000000ULL, 1},
        {4294967296.0, 0, 0, 4294967296ULL, 1},
    };
    for (const auto &c : cases) {
        NumericStruct n = numeric(kMax, 77, 2, 99);
        EXPECT_EQ(double_to_numeric(c.value, &n, 9, c.scale), c.result) << c.value;
        expect_num(n, c.magnitude, c.scale, c.sign, "double_to_numeric");
        EXPECT_EQ(n.precision, 9);
    }
}

TEST(NumericCases, DoubleToNumericNegativeScaleInexactLeavesRecord) {
    const double values[] = {1234.0, 1250.0, 0.5, -1.0, 99.0};
    for (double v : values) {
        NumericStruct n = numeric(0xABCDEF, 9, 2, 3);
        EXPECT_EQ(double_to_numeric(v, &n, 10, -2), 1) << v;
        EXPECT_EQ(magnitude_of(n), static_cast<u128>(0xABCDEF));
        EXPECT_EQ(n.scale, 9);
        EXPECT_EQ(n.sign, 2);
        EXPECT_EQ(n.precision, 3);
    }
}

TEST(NumericCases, DoubleToNumericOverflow) {
    NumericStruct n = numeric(0);
    EXPECT_EQ(double_to_numeric(1e39, &n, 10, 0), -2);
    EXPECT_EQ(double_to_numeric(-1e39, &n, 10, 0), -2);
    EXPECT_EQ(double_to_numeric(1e30, &n, 10, 9), -2);
    // 2^127 is exact in a double and fits.
    EXPECT_EQ(double_to_numeric(std::ldexp(1.0, 127), &n, 10, 0), 0);
    EXPECT_EQ(magnitude_of(n), pow2(127));
    EXPECT_EQ(n.sign, 1);
}

// ---------------------------------------------------------------------------
// numeric_to_double, numeric_to_int, numeric_to_bigint

TEST(NumericCases, ToDoubleTable) {
    struct {
        NumericStruct n;
        double expected;
    } const cases[] = {
        {numeric(15, 1), 1.5},
        {numeric(15, 1, 0), -1.5},
        {numeric(12, -2), 1200.0},
        {numeric(150, 2), 1.5},
        {numeric(1, 0), 1.0},
        {numeric(pow2(126)), std::ldexp(1.0, 126)},
        {numeric(pow2(64) + pow2(63)), std::ldexp(3.0, 63)},
        {numeric(255, 0, 0), -255.0},
    };
    for (const auto &c : cases) {
        double d = 12345.0;
        EXPECT_EQ(numeric_to_double(&c.n, &d), 0);
        EXPECT_DOUBLE_EQ(d, c.expected);
    }
}

TEST(NumericCases, ToDoubleBit127UsesTheTableEntry) {
    // Entry 127 of the power table is one tenth of 2^127 (bit pattern
    // 0x47A999999999999A), and is kept that way.
    NumericStruct n = numeric(pow2(127));
    double d = 0;
    EXPECT_EQ(numeric_to_double(&n, &d), 0);
    uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    EXPECT_EQ(bits, 0x47A999999999999AULL);
    EXPECT_EQ(d, 1.7014118346046924e37);

    NumericStruct neg = numeric(pow2(127), 0, 0);
    EXPECT_EQ(numeric_to_double(&neg, &d), 0);
    EXPECT_EQ(d, -1.7014118346046924e37);
}

TEST(NumericCases, ToDoubleNegativeZero) {
    NumericStruct n = numeric(0, 0, 0);
    double d = 5.0;
    EXPECT_EQ(numeric_to_double(&n, &d), 0);
    EXPECT_EQ(d, 0.0);
    EXPECT_TRUE(std::signbit(d));
    NumericStruct p = numeric(0, 0, 1);
    EXPECT_EQ(numeric_to_double(&p, &d), 0);
    EXPECT_EQ(d, 0.0);
    EXPECT_FALSE(std::signbit(d));
}

TEST(NumericCases, ToIntegersTruncateTheText) {
    struct {
        NumericStruct n;
        int32_t i;
        int64_t b;
    } const cases[] = {
        {numeric(12345, 2), 123, 123},
        {numeric(12345, 2, 0), -123, -123},
        {numeric(199, 2, 0), -1, -1},
        {numeric(5, 3), 0, 0},
        {numeric(0, 0, 0), 0, 0},
        {numeric(12, -2), 1200, 1200},
        {numeric(2147483647), 2147483647, 2147483647},
        {numeric(2147483648ULL, 0, 0), INT32_MIN, -2147483648LL},
        {numeric(pow2(62)), 0, 4611686018427387904LL},
        {numeric(static_cast<u128>(INT64_MAX), 0, 0), 0, -INT64_MAX},
        {numeric(123456789012345ULL, 5), 1234567890, 1234567890},
    };
    for (const auto &c : cases) {
        int64_t b = 7;
        EXPECT_EQ(numeric_to_bigint(&c.n, &b), 0);
        EXPECT_EQ(b, c.b);
        if (c.b >= INT32_MIN && c.b <= INT32_MAX) {
            int32_t i = 7;
            EXPECT_EQ(numeric_to_int(&c.n, &i), 0);
            EXPECT_EQ(i, c.i);
        }
    }
}

// ---------------------------------------------------------------------------
// numeric_compare, numeric_is_zero

struct CompareCase {
    NumericStruct a;
    NumericStruct b;
    int32_t expected;
};

TEST(NumericCases, CompareTable) {
    const CompareCase cases[] = {
        {numeric(150, 2), numeric(15, 1), 0},      // 1.50 = 1.5
        {numeric(15, 1), numeric(150, 2), 0},
        {numeric(0, 0, 1), numeric(0, 0, 0), 1},   // +0 > -0
        {numeric(0, 0, 0), numeric(0, 0, 1), -1},
        {numeric(0, 0, 0), numeric(0, 0, 0), 0},
        {numeric(0, 0, 1), numeric(0, 3, 1), 0},
        {numeric(1), numeric(2), -1},
        {numeric(2), numeric(1), 1},
        {numeric(1, 0, 0), numeric(2, 0, 0), 1},   // -1 > -2
        {numeric(2, 0, 0), numeric(1, 0, 0), -1},
        {numeric(1, 0, 0), numeric(2), -1},
        {numeric(2), numeric(1, 0, 0), 1},
        {numeric(2), numeric(15, 1), 1},          // 2 > 1.5, scales differ
        {numeric(2, 0, 0), numeric(15, 1, 0), -1},  // -2 < -1.5
        {numeric(15, 1, 0), numeric(2, 0, 0), 1},
        {numeric(10), numeric(95, 1), 1},          // 10 > 9.5
        {numeric(5, 1), numeric(25, 2), 1},        // 0.5 > 0.25
        {numeric(25, 2), numeric(5, 1), -1},
        {numeric(12, -2), numeric(1200), 0},       // 1200 = 1200
        {numeric(12, -2), numeric(1201), -1},
        {numeric(pow2(120)), numeric(pow2(120) - 1), 1},
        {numeric(pow2(120) - 1), numeric(pow2(120)), -1},
        {numeric(256), numeric(255), 1},
        {numeric(256, 0, 0), numeric(255, 0, 0), -1},
        {numeric(kMax), numeric(kMax), 0},
        {numeric(kMax, 1), numeric(kMax, 2), 1},
    };
    int i = 0;
    for (const auto &c : cases) {
        EXPECT_EQ(numeric_compare(&c.a, &c.b), c.expected) << "case " << i;
        ++i;
    }
}

TEST(NumericCases, IsZero) {
    const NumericStruct zero_pos = numeric(0, 0, 1);
    const NumericStruct zero_neg = numeric(0, 4, 0);
    const NumericStruct high = numeric(pow2(127));
    const NumericStruct low = numeric(1, 5, 0);
    EXPECT_EQ(numeric_is_zero(&zero_pos), 1);
    EXPECT_EQ(numeric_is_zero(&zero_neg), 1);
    EXPECT_EQ(numeric_is_zero(&high), 0);
    EXPECT_EQ(numeric_is_zero(&low), 0);
}

// ---------------------------------------------------------------------------
// add_numeric, subtract_numeric

struct AddCase {
    NumericStruct a;
    NumericStruct b;
    int32_t result;
    u128 magnitude;
    int scale;
    int sign;
};

TEST(NumericCases, AddTable) {
    const AddCase cases[] = {
        {numeric(5, 0, 0), numeric(5), 0, 0, 0, 0},         // -5 + 5: negative zero
        {numeric(5), numeric(5, 0, 0), 0, 0, 0, 1},         // 5 + -5: positive zero
        {numeric(15, 1), numeric(2), 0, 35, 1, 1},          // 1.5 + 2
        {numeric(2), numeric(15, 1), 0, 35, 1, 1},          // 2 + 1.5
        {numeric(1), numeric(1, 3), 0, 1001, 3, 1},         // 1 + 0.001
        {numeric(3, 0, 0), numeric(5), 0, 2, 0, 1},         // -3 + 5
        {numeric(5, 0, 0), numeric(3), 0, 2, 0, 0},         // -5 + 3
        {numeric(3), numeric(5, 0, 0), 0, 2, 0, 0},         // 3 + -5
        {numeric(5), numeric(3, 0, 0), 0, 2, 0, 1},         // 5 + -3
        {numeric(3, 0, 0), numeric(4, 0, 0), 0, 7, 0, 0},   // -3 + -4
        {numeric(255), numeric(1), 0, 256, 0, 1},
        {numeric(256), numeric(1, 0, 0), 0, 255, 0, 1},
        {numeric(pow2(64)), numeric(1, 0, 0), 0, pow2(64) - 1, 0, 1},
        {numeric(pow2(64) - 1), numeric(1), 0, pow2(64), 0, 1},
        {numeric(kMax), numeric(1), -2, 0, 0, 1},           // low 128 bits kept
        {numeric(kMax), numeric(kMax), -2, kMax - 1, 0, 1},
        {numeric(kMax, 0, 0), numeric(2, 0, 0), -2, 1, 0, 0},
        {numeric(kMax, 1), numeric(1), 0, 9, 1, 1},         // aligned sum overflows: status 0
        {numeric(5, 0, 2), numeric(3), 0, 2, 0, 0},         // a sign other than 1 is negative
        {numeric(15, 1, 0), numeric(2), 0, 5, 1, 1},        // -1.5 + 2 = 0.5
        {numeric(2), numeric(25, 1, 0), 0, 5, 1, 0},        // 2 + -2.5 = -0.5
    };
    int i = 0;
    for (const auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 7;
        NumericStruct b = c.b;
        b.precision = 3;
        const NumericStruct b_before = b;
        EXPECT_EQ(add_numeric(&a, &b), c.result) << "case " << i;
        expect_num(a, c.magnitude, c.scale, c.sign, "add_numeric");
        EXPECT_EQ(a.precision, 7) << "case " << i;
        EXPECT_EQ(std::memcmp(&b, &b_before, sizeof b), 0) << "b changed, case " << i;
        ++i;
    }
}

TEST(NumericCases, SubtractTable) {
    const AddCase cases[] = {
        {numeric(5), numeric(3), 0, 2, 0, 1},
        {numeric(3), numeric(5), 0, 2, 0, 0},
        {numeric(5, 0, 0), numeric(5, 0, 0), 0, 0, 0, 0},   // -5 - -5 = -5 + 5
        {numeric(5), numeric(5), 0, 0, 0, 1},               // 5 - 5 = 5 + -5
        {numeric(5), numeric(3, 0, 0), 0, 8, 0, 1},
        {numeric(5), numeric(3, 0, 2), 0, 8, 0, 1},         // b's sign 2 flips to 1
        {numeric(35, 1), numeric(2), 0, 15, 1, 1},          // 3.5 - 2
        {numeric(2), numeric(5, 1), 0, 15, 1, 1},           // 2 - 0.5
        {numeric(5, 1), numeric(2), 0, 15, 1, 0},           // 0.5 - 2
        {numeric(kMax), numeric(1, 0, 0), -2, 0, 0, 1},     // overflow
        {numeric(0), numeric(1), 0, 1, 0, 0},
    };
    int i = 0;
    for (const auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 7;
        NumericStruct b = c.b;
        const NumericStruct b_before = b;
        EXPECT_EQ(subtract_numeric(&a, &b), c.result) << "case " << i;
        expect_num(a, c.magnitude, c.scale, c.sign, "subtract_numeric");
        EXPECT_EQ(a.precision, 7) << "case " << i;
        EXPECT_EQ(std::memcmp(&b, &b_before, sizeof b), 0) << "b changed, case " << i;
        ++i;
    }
}

// ---------------------------------------------------------------------------
// mult_numeric

TEST(NumericCases, MultiplyTable) {
    const AddCase cases[] = {
        {numeric(15, 1), numeric(225, 2), 0, 3375, 3, 1},   // 1.5 x 2.25
        {numeric(15, 1, 0), numeric(2), 0, 30, 1, 0},
        {numeric(2, 0, 0), numeric(3, 0, 0), 0, 6, 0, 1},
        {numeric(2), numeric(3, 0, 0), 0, 6, 0, 0},
        {numeric(2, 0, 2), numeric(3, 0, 2), 0, 6, 0, 1},   // equal sign bytes
        {numeric(255), numeric(255), 0, 65025, 0, 1},
        {numeric(0), numeric(kMax), 0, 0, 0, 1},
        {numeric(pow2(64)), numeric(pow2(64)), 0, 0, 0, 1},  // lost beyond 128 bits
        {numeric(pow2(64)), numeric(pow2(63)), 0, pow2(127), 0, 1},
        {numeric(pow2(64) + 1), numeric(pow2(64) + 1), 0, pow2(65) + 1, 0, 1},
        {numeric(kMax), numeric(kMax), 0, 1, 0, 1},
        {numeric(kMax), numeric(2), 0, kMax - 1, 0, 1},
        {numeric(12, -2), numeric(3, 1), 0, 36, -1, 1},
        {numeric(7, 100), numeric(3, 100), 0, 21, -56, 1},  // scale wraps at 8 bits
    };
    int i = 0;
    for (const auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 9;
        NumericStruct b = c.b;
        b.precision = 9;
        EXPECT_EQ(mult_numeric(&a, &b), c.result) << "case " << i;
        expect_num(a, c.magnitude, c.scale, c.sign, "mult_numeric");
        EXPECT_EQ(a.precision, 0) << "case " << i;
        ++i;
    }
}

TEST(NumericCases, MultiplyMatchesModularProduct) {
    // The product keeps exactly the low 128 bits of the full product.
    const u128 values[] = {
        3,
        0xFFULL,
        0x1234567890ABCDEFULL,
        0xFEDCBA0987654321ULL,
        (static_cast<u128>(0xDEADBEEFCAFEF00DULL) << 64) | 0x0123456789ABCDEFULL,
        (static_cast<u128>(0x00000000FFFFFFFFULL) << 64) | 0xFFFFFFFF00000001ULL,
        kMax / 3,
    };
    for (u128 x : values) {
        for (u128 y : values) {
            NumericStruct a = numeric(x);
            NumericStruct b = numeric(y);
            EXPECT_EQ(mult_numeric(&a, &b), 0);
            EXPECT_EQ(decimal(magnitude_of(a)), decimal(x * y)) << decimal(x) << " x " << decimal(y);
        }
    }
}

// ---------------------------------------------------------------------------
// div_numeric without a context

struct DivCase {
    NumericStruct a;
    NumericStruct b;
    u128 magnitude;
    int scale;
    int sign;
};

TEST(NumericCases, DivideTable) {
    const DivCase cases[] = {
        {numeric(10000, 4), numeric(3), 3333, 4, 1},        // 1 / 3 at scale 4
        {numeric(2), numeric(3), 1, 0, 1},                  // 2 / 3 rounds to 1
        {numeric(1), numeric(3), 0, 0, 1},
        {numeric(1000, 2), numeric(4), 250, 2, 1},          // 10.00 / 4
        {numeric(7, 0, 0), numeric(2), 4, 0, 0},            // -3.5 -> -4
        {numeric(7), numeric(2, 0, 0), 4, 0, 0},
        {numeric(7, 0, 0), numeric(2, 0, 0), 4, 0, 1},
        {numeric(1), numeric(5, 1), 2, 0, 1},               // 1 / 0.5
        {numeric(12, -2), numeric(4), 3, -2, 1},            // 1200 / 4 = 300
        {numeric(12, -2), numeric(7), 12, -2, 1},           // 171.43: kept as it was
        {numeric(100, 1), numeric(8), 13, 1, 1},            // 10.0 / 8 = 1.25 -> 12.5 -> 13 or 12
        {numeric(6, 0, 0), numeric(3), 2, 0, 0},
    };
    int i = 0;
    for (const auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 11;
        NumericStruct b = c.b;
        EXPECT_EQ(div_numeric(&a, &b, nullptr), 0) << "case " << i;
        if (i == 10) {
            // An exact half: the platform's "%.0f" decides.
            EXPECT_TRUE(magnitude_of(a) == 12 || magnitude_of(a) == 13);
            EXPECT_EQ(a.scale, 1);
        } else {
            expect_num(a, c.magnitude, c.scale, c.sign, "div_numeric");
        }
        EXPECT_EQ(a.precision, 11) << "case " << i;
        ++i;
    }
}

TEST(NumericCases, DivideByZeroWithoutContextGivesZero) {
    const NumericStruct zeros[] = {numeric(0), numeric(0, 0, 0), numeric(0, 3)};
    for (const auto &z : zeros) {
        NumericStruct a = numeric(5, 0, 0, 6);
        EXPECT_EQ(div_numeric(&a, &z, nullptr), 0);
        EXPECT_EQ(magnitude_of(a), static_cast<u128>(0));
        EXPECT_EQ(a.sign, 1);
        EXPECT_EQ(a.scale, 0);
        EXPECT_EQ(a.precision, 6);
        NumericStruct c = numeric(1234, 2, 1, 6);
        EXPECT_EQ(div_numeric(&c, &z, nullptr), 0);
        EXPECT_EQ(magnitude_of(c), static_cast<u128>(0));
        EXPECT_EQ(c.scale, 2);
    }
}

// ---------------------------------------------------------------------------
// div_numeric through a driver's evaluation context

struct Driver {
    MemHandle *mem;
    ErrorHeader *errors;
    DriverStatement stmt;
    EvalContext ctx;
};

void open_driver(Driver *d, int32_t odbc_version) {
    std::memset(d, 0, sizeof *d);
    d->mem = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(d->mem, nullptr);
    DriverEnvironment env;
    env.kind = 1;
    env.odbc_version = odbc_version;
    d->errors = CreateErrorHeader(d->mem, &env);
    ASSERT_NE(d->errors, nullptr);
    d->stmt.kind = KX_KIND_STATEMENT;
    d->stmt.errors = d->errors;
    d->ctx.stmt = &d->stmt;
    d->ctx.mem = d->mem;
    d->ctx.result = 0;
}

void close_driver(Driver *d) { kx_mem_release_handle(d->mem); }

// Arms the exit point as a driver does; returns the value seen by setjmp,
// -1 for a jump with -1, -2 for any other jump, 0 when div_numeric
// returned normally. No C++ objects live here.
int divide_armed(EvalContext *ctx, NumericStruct *a, const NumericStruct *b) {
    switch (setjmp(ctx->exit)) {
    case 0:
        break;
    case -1:
        return -1;
    default:
        return -2;
    }
    div_numeric(a, b, ctx);
    return 0;
}

std::string field_text(ErrorHeader *h, int32_t field) {
    char buf[128];
    int16_t len = -1;
    EXPECT_EQ(GetDiagField(3, h, 1, field, buf, sizeof buf, &len), 0) << field;
    EXPECT_EQ(len, static_cast<int16_t>(std::strlen(buf)));
    return buf;
}

void expect_division_by_zero_record(ErrorHeader *h, const char *subclass_origin) {
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
    EXPECT_EQ(len, static_cast<int16_t>(std::strlen("[Varnel ODBC]Division by zero")));

    EXPECT_EQ(field_text(h, 4), "22012");
    EXPECT_EQ(field_text(h, 6), "[Varnel ODBC]Division by zero");
    EXPECT_EQ(field_text(h, 8), "ODBC 3.0");
    EXPECT_EQ(field_text(h, 9), subclass_origin);
    EXPECT_EQ(field_text(h, 10), "Varnel ODBC");
    int32_t row = 5, column = 5;
    EXPECT_EQ(GetDiagField(3, h, 1, -1248, &row, 0, nullptr), 0);
    EXPECT_EQ(GetDiagField(3, h, 1, -1247, &column, 0, nullptr), 0);
    EXPECT_EQ(row, 0);
    EXPECT_EQ(column, 0);
    EXPECT_EQ(GetDiagRec(h, 2, state, &native, message, sizeof message, &len), 100);
}

TEST(NumericCases, DivideByZeroLeavesThroughTheContext) {
    const NumericStruct zeros[] = {numeric(0), numeric(0, 0, 0), numeric(0, 5, 1)};
    for (const auto &z : zeros) {
        Driver d;
        open_driver(&d, 3);
        NumericStruct a = numeric(5);
        EXPECT_EQ(divide_armed(&d.ctx, &a, &z), -1);
        EXPECT_EQ(d.ctx.result, -1);
        expect_division_by_zero_record(d.errors, "ISO 9075");
        close_driver(&d);
    }
}

TEST(NumericCases, DivideByZeroForAnOdbc2Application) {
    // 22012 has no ODBC 2 counterpart in the map: it is kept.
    Driver d;
    open_driver(&d, 2);
    NumericStruct a = numeric(5);
    NumericStruct z = numeric(0);
    EXPECT_EQ(divide_armed(&d.ctx, &a, &z), -1);
    EXPECT_EQ(d.ctx.result, -1);
    expect_division_by_zero_record(d.errors, "ISO 9075");
    close_driver(&d);
}

TEST(NumericCases, DivideWithContextDoesNotJumpOrPostWhenDivisorNonZero) {
    Driver d;
    open_driver(&d, 3);
    NumericStruct a = numeric(10000, 4, 1, 8);
    NumericStruct b = numeric(3);
    EXPECT_EQ(divide_armed(&d.ctx, &a, &b), 0);
    EXPECT_EQ(magnitude_of(a), static_cast<u128>(3333));
    EXPECT_EQ(d.ctx.result, 0);
    int32_t count = -1;
    EXPECT_EQ(GetDiagField(3, d.errors, 0, 2, &count, 0, nullptr), 0);
    EXPECT_EQ(count, 0);
    close_driver(&d);
}

}  // namespace

namespace {

// The widest texts: the largest scales either way.
TEST(NumericCases, ToStringAtExtremeScales) {
    const u128 max = ~static_cast<u128>(0);
    NumericStruct wide = numeric(max, -128, 0);
    std::string expected = std::string("-") + kMaxText + std::string(128, '0');
    char buf[400];
    int32_t len = 0;
    EXPECT_EQ(numeric_to_string(&wide, buf, sizeof buf, &len), 0);
    EXPECT_EQ(std::string(buf), expected);
    EXPECT_EQ(len, static_cast<int32_t>(expected.size()));

    NumericStruct tiny = numeric(1, 127, 0);
    expected = std::string("-0.") + std::string(126, '0') + "1";
    EXPECT_EQ(numeric_to_string(&tiny, buf, sizeof buf, &len), 0);
    EXPECT_EQ(std::string(buf), expected);

    NumericStruct deep = numeric(max, 127, 1);
    expected = std::string("0.") + std::string(127 - 39, '0') + kMaxText;
    EXPECT_EQ(numeric_to_string(&deep, buf, sizeof buf, &len), 0);
    EXPECT_EQ(std::string(buf), expected);

    // Comparing and dividing at those scales stays within bounds.
    EXPECT_EQ(numeric_compare(&wide, &tiny), -1);
    EXPECT_EQ(numeric_compare(&deep, &tiny), 1);
    NumericStruct q = deep;
    EXPECT_EQ(div_numeric(&q, &wide, nullptr), 0);
}

}  // namespace
