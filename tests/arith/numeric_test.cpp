// Tests of the exact numeric module: the documented examples and edge cases
// as tables, the quirks the drivers rely on, division by zero through an
// evaluation context, and thousands of random magnitudes checked against an
// independent unsigned __int128 computation and against the historical
// per-bit decimal-string algorithm (bench/numeric_perbit_baseline.cpp).

#include <gtest/gtest.h>

#include <setjmp.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "arith/numeric_internal.h"
#include "kxsupp/arith.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "support/kx_test_support.h"

// The reference algorithm is compiled into this test.
#include "bench/numeric_perbit_baseline.cpp"

namespace {

using kxtest::decimal;
using kxtest::magnitude_of;
using kxtest::numeric_text;
using kxtest::u128;

// A numeric record at precision 38 unless told.
NumericStruct make(u128 magnitude, int scale, int sign = 1, int precision = 38) {
    return kxtest::numeric(magnitude, scale, sign, precision);
}

const u128 kMax = ~static_cast<u128>(0);

// ---- an independent reference written with __int128 arithmetic ----

std::string ref_text(u128 m, int scale, int sign) {
    std::string d = decimal(m);
    std::string body;
    if (scale > 0) {
        while (static_cast<int>(d.size()) <= scale) d.insert(d.begin(), '0');
        std::string whole = d.substr(0, d.size() - scale);
        std::string fraction = d.substr(d.size() - scale);
        while (!fraction.empty() && fraction.back() == '0') fraction.pop_back();
        body = fraction.empty() ? whole : whole + "." + fraction;
    } else {
        body = d + std::string(static_cast<size_t>(-scale), '0');
    }
    return (sign == 0 ? "-" : "") + body;
}

// Parses a canonical text: returns false on a magnitude above 2^128 - 1.
bool ref_parse(const std::string &text, u128 *m, int *scale, int *sign) {
    size_t i = 0;
    *sign = 1;
    if (text[0] == '-') {
        *sign = 0;
        i = 1;
    }
    u128 v = 0;
    int fraction = 0;
    bool after_point = false;
    for (; i < text.size(); i++) {
        if (text[i] == '.') {
            after_point = true;
            continue;
        }
        if (after_point) fraction++;
        if (__builtin_mul_overflow(v, static_cast<u128>(10), &v)) return false;
        if (__builtin_add_overflow(v, static_cast<u128>(text[i] - '0'), &v)) return false;
    }
    *m = v;
    *scale = fraction;
    return true;
}

u128 pow10_128(int e) {
    u128 p = 1;
    for (int i = 0; i < e; i++) p *= 10;
    return p;
}

// ---- numeric_to_string ----

struct TextCase {
    u128 magnitude;
    int scale;
    int sign;
    const char *text;
};

TEST(NumericToString, DocumentedCases) {
    const TextCase cases[] = {
        {0, 0, 1, "0"},
        {0, 0, 0, "-0"},
        {0, 3, 1, "0"},
        {0, 3, 0, "-0"},
        {5, 3, 1, "0.005"},
        {150, 2, 1, "1.5"},
        {200, 2, 1, "2"},
        {12, -2, 1, "1200"},
        {0, -2, 1, "000"},
        {123456, 3, 0, "-123.456"},
        {1000, 3, 1, "1"},
        {1, 38, 1, "0.00000000000000000000000000000000000001"},
        {kMax, 0, 1, "340282366920938463463374607431768211455"},
        {kMax, 39, 1, "0.340282366920938463463374607431768211455"},
        {kMax, 38, 0, "-3.40282366920938463463374607431768211455"},
        {static_cast<u128>(1) << 127, 0, 1, "170141183460469231731687303715884105728"},
        {7, -5, 0, "-700000"},
    };
    for (const TextCase &c : cases) {
        NumericStruct n = make(c.magnitude, c.scale, c.sign);
        EXPECT_EQ(numeric_text(n), c.text) << c.text;
    }
}

TEST(NumericToString, ExtremeScales) {
    NumericStruct n = make(1, -128);
    EXPECT_EQ(numeric_text(n), "1" + std::string(128, '0'));
    n = make(kMax, -128, 0);
    EXPECT_EQ(numeric_text(n), "-" + decimal(kMax) + std::string(128, '0'));
    n = make(3, 127);
    EXPECT_EQ(numeric_text(n), "0." + std::string(126, '0') + "3");
}

TEST(NumericToString, TruncationAndLength) {
    NumericStruct n = make(123456, 2, 0);  // "-1234.56", 8 characters
    char buffer[16];
    int32_t length = 0;
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(numeric_to_string(&n, buffer, 9, &length), 0);
    EXPECT_STREQ(buffer, "-1234.56");
    EXPECT_EQ(length, 8);
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(numeric_to_string(&n, buffer, 8, &length), 1);
    EXPECT_STREQ(buffer, "-1234.5");
    EXPECT_EQ(length, 8);
    EXPECT_EQ(buffer[8], 'x');
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(numeric_to_string(&n, buffer, 1, &length), 1);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'x');
    // A null buffer asks for the length alone; no length pointer is fine.
    EXPECT_EQ(numeric_to_string(&n, nullptr, 0, &length), 1);
    EXPECT_EQ(length, 8);
    EXPECT_EQ(numeric_to_string(&n, buffer, sizeof buffer, nullptr), 0);
}

// The buffer length goes to copy_str_bufferl, which takes it as unsigned:
// the whole text is copied when it is shorter than the length, a non-null
// buffer with a positive (signed) length gets length - 1 characters and a
// NUL otherwise, and the result is 1 exactly when the text length is not
// below the unsigned length. A negative length is therefore a huge one.
TEST(NumericToString, BufferLengthsAsCopyStrBufferl) {
    struct {
        int32_t buffer_length;
        bool null_buffer;
        int32_t result;
        const char *written;  // null: nothing written
    } cases[] = {
        {100, false, 0, "-1234.56"},
        {9, false, 0, "-1234.56"},
        {8, false, 1, "-1234.5"},
        {2, false, 1, "-"},
        {1, false, 1, ""},
        {0, false, 1, nullptr},
        {-1, false, 0, "-1234.56"},
        {-3, false, 0, "-1234.56"},  // SQL_NTS is no special case here
        {INT32_MIN, false, 0, "-1234.56"},
        {0, true, 1, nullptr},
        {5, true, 1, nullptr},
        {9, true, 0, nullptr},
        {-1, true, 0, nullptr},
    };
    NumericStruct n = make(123456, 2, 0);  // "-1234.56", 8 characters
    for (auto &c : cases) {
        char buffer[33];
        memset(buffer, 'x', sizeof buffer - 1);
        buffer[32] = '\0';
        int32_t length = -7;
        EXPECT_EQ(numeric_to_string(&n, c.null_buffer ? nullptr : buffer,
                                    c.buffer_length, &length),
                  c.result)
            << c.buffer_length;
        EXPECT_EQ(length, 8) << c.buffer_length;
        if (c.written == nullptr) {
            EXPECT_EQ(buffer[0], 'x') << c.buffer_length;
        } else {
            EXPECT_STREQ(buffer, c.written) << c.buffer_length;
            EXPECT_EQ(buffer[strlen(c.written) + 1], 'x') << c.buffer_length;
        }
    }
}

// Every length from 0 up to past the text, into a heap block of exactly
// that size (the sanitizer build catches a byte written outside it), for
// the longest texts there are.
TEST(NumericToString, ExactSizeBuffers) {
    const NumericStruct numbers[] = {
        make(kMax, -128, 0),  // 39 digits and 128 zeros after "-"
        make(1, 127, 0),      // "-0." and 126 zeros and "1"
        make(0, 0, 1),
    };
    for (const NumericStruct &n : numbers) {
        std::string full = numeric_text(n);
        for (int32_t bl = 0; bl <= static_cast<int32_t>(full.size()) + 2; bl++) {
            char *buffer = static_cast<char *>(malloc(bl > 0 ? bl : 1));
            int32_t length = 0;
            int32_t rc = numeric_to_string(&n, buffer, bl, &length);
            EXPECT_EQ(length, static_cast<int32_t>(full.size()));
            if (bl > static_cast<int32_t>(full.size())) {
                EXPECT_EQ(rc, 0);
                EXPECT_EQ(std::string(buffer), full);
            } else {
                EXPECT_EQ(rc, 1);
                if (bl > 0) {
                    EXPECT_EQ(std::string(buffer), full.substr(0, bl - 1));
                }
            }
            EXPECT_EQ(numeric_to_string(&n, buffer, bl, nullptr), rc);
            free(buffer);
        }
    }
}

// ---- string_to_numeric and create_numeric ----

struct ParseCase {
    const char *text;
    int scale_in;
    int32_t result;
    u128 magnitude;
    int scale;
    int sign;
};

TEST(StringToNumeric, DocumentedCases) {
    const ParseCase cases[] = {
        {"340282366920938463463374607431768211455", 0, 0, kMax, 0, 1},
        {"  -001.50", 0, 0, 150, 2, 0},
        {"+42", 3, 0, 42, 3, 1},
        {"-0", 0, 0, 0, 0, 0},
        {"0000", 0, 0, 0, 0, 1},
        {"", 0, 0, 0, 0, 1},
        {".5", 1, 0, 5, 2, 1},
        {"12.", 0, 0, 12, 0, 1},
        {"0000000000340282366920938463463374607431768211455", 0, 0, kMax, 0, 1},
        {"3402823669209384634633746074317682114.55", 0, 0, kMax, 2, 1},
        {"170141183460469231731687303715884105728", 0, 0, static_cast<u128>(1) << 127, 0, 1},
        {"18446744073709551616", -4, 0, static_cast<u128>(1) << 64, -4, 1},
    };
    for (const ParseCase &c : cases) {
        char text[128];
        snprintf(text, sizeof text, "%s", c.text);
        NumericStruct n = make(999, 9, 7, 99);
        EXPECT_EQ(string_to_numeric(text, &n, 12, c.scale_in), c.result) << c.text;
        EXPECT_TRUE(magnitude_of(n) == c.magnitude) << c.text;
        EXPECT_EQ(n.scale, c.scale) << c.text;
        EXPECT_EQ(n.sign, c.sign) << c.text;
        EXPECT_EQ(n.precision, 12) << c.text;
    }
}

TEST(StringToNumeric, NoTextReadsAsTheEmptyText) {
    NumericStruct n = make(999, 9, 7, 99);
    EXPECT_EQ(string_to_numeric(nullptr, &n, 12, 0), 0);
    EXPECT_TRUE(magnitude_of(n) == 0);
    EXPECT_EQ(n.scale, 0);
    EXPECT_EQ(n.sign, 1);
    NumericStruct m = make(999, 9, 7, 99);
    EXPECT_EQ(create_numeric(nullptr, &m, 12, 2), 0);
    EXPECT_TRUE(magnitude_of(m) == 0);
    EXPECT_EQ(m.scale, 2);
    EXPECT_EQ(m.sign, 1);
}

TEST(StringToNumeric, OverflowLeavesRecordButSign) {
    const char *over[] = {
        "340282366920938463463374607431768211456",   // 2^128
        "-340282366920938463463374607431768211456",
        "999999999999999999999999999999999999999",
        "1000000000000000000000000000000000000000",  // 40 digits
        "34028236692093846346337460743176821145.6",  // 2^128 at scale 1
    };
    for (const char *t : over) {
        char text[128];
        snprintf(text, sizeof text, "%s", t);
        NumericStruct n = make(77, 3, 5, 9);
        EXPECT_EQ(string_to_numeric(text, &n, 12, 0), -2) << t;
        EXPECT_TRUE(magnitude_of(n) == 77) << t;
        EXPECT_EQ(n.scale, 3) << t;
        EXPECT_EQ(n.precision, 9) << t;
        EXPECT_EQ(n.sign, t[0] == '-' ? 0 : 1) << t;
    }
}

TEST(StringToNumeric, ConsumesTheTextInPlace) {
    // The point is removed; the digits are used up by subtracting powers of
    // two until what is left equals one of them, the magnitude's lowest.
    struct {
        const char *text, *after;
    } cases[] = {
        {"12.345", "1"},           // 12345 is odd
        {"12.344", "8"},           // 12344 = 8 x 1543
        {"-0096", "-0032"},
        {" 128", " 128"},          // a power of two matches at once
        {"000", "000"},
        {"34028236692093846346337460743176821145.6",
         "340282366920938463463374607431768211456"},  // overflow: point only
        {"340282366920938463463374607431768211455", "1"},
        {"340282366920938463463374607431768211454", "2"},
    };
    for (auto &c : cases) {
        char text[64];
        snprintf(text, sizeof text, "%s", c.text);
        NumericStruct n;
        string_to_numeric(text, &n, 0, 1);
        EXPECT_STREQ(text, c.after) << c.text;
    }
    char text[] = "12.345";
    NumericStruct n;
    EXPECT_EQ(string_to_numeric(text, &n, 0, 1), 0);
    EXPECT_EQ(n.scale, 4);
}

TEST(CreateNumeric, DocumentedCases) {
    const ParseCase cases[] = {
        {"12.3456", 2, 0, 1234, 2, 1},
        {".5", 2, 0, 50, 2, 1},
        {"7", 3, 0, 7000, 3, 1},
        {"-12.999", 1, 0, 129, 1, 0},
        {"12.3", 0, 0, 12, 0, 1},
        {"0.000001", 3, 0, 0, 3, 1},
        {"1234.5", -2, 0, 1234, -2, 1},
        {"1", 38, 0, pow10_128(38), 38, 1},
        {"4", 38, -2, 0, 0, 1},  // 4 x 10^38 does not fit: record kept
        {"0", 120, 0, 0, 120, 1},
    };
    for (const ParseCase &c : cases) {
        NumericStruct n = make(0, 0, 1, 0);
        EXPECT_EQ(create_numeric(c.text, &n, 10, c.scale_in), c.result) << c.text;
        EXPECT_TRUE(magnitude_of(n) == c.magnitude) << c.text;
        EXPECT_EQ(n.scale, c.scale) << c.text;
        EXPECT_EQ(n.sign, c.sign) << c.text;
    }
}

TEST(CreateNumeric, LongTextAndHugeScale) {
    std::string zeros(5000, '0');
    NumericStruct n;
    EXPECT_EQ(create_numeric((zeros + "12.5").c_str(), &n, 0, 1), 0);
    EXPECT_TRUE(magnitude_of(n) == 125);
    EXPECT_EQ(create_numeric("1", &n, 0, 100000), -2);
    EXPECT_EQ(create_numeric("-0.0", &n, 0, 100000), 0);
    EXPECT_TRUE(magnitude_of(n) == 0);
    EXPECT_EQ(n.sign, 0);
    EXPECT_EQ(n.scale, static_cast<int8_t>(100000 & 0xFF));
}

// ---- integers and doubles ----

struct IntCase {
    int64_t value;
    int scale;
    u128 magnitude;
    int sign;
};

TEST(IntToNumeric, Cases) {
    const IntCase cases[] = {
        {-123, 2, 12300, 0},
        {-123, -1, 12, 0},
        {-129, -1, 12, 0},
        {5, -1, 0, 1},
        {-5, -1, 0, 1},  // the scaled value is 0: positive
        {0, 0, 0, 1},
        {2147483647, 0, 2147483647, 1},
        {-2147483647 - 1, 0, 2147483648u, 0},
        {-2147483647 - 1, 9, static_cast<u128>(2147483648u) * 1000000000u, 0},
    };
    for (const IntCase &c : cases) {
        NumericStruct n = make(999, 0, 5);
        EXPECT_EQ(int_to_numeric(static_cast<int32_t>(c.value), &n, 7, c.scale), 0);
        EXPECT_TRUE(magnitude_of(n) == c.magnitude) << c.value << " " << c.scale;
        EXPECT_EQ(n.sign, c.sign) << c.value;
        EXPECT_EQ(n.scale, c.scale);
        EXPECT_EQ(n.precision, 7);
    }
    NumericStruct n;
    EXPECT_EQ(int_to_numeric_noscale(-42, &n, 3), 0);
    EXPECT_TRUE(magnitude_of(n) == 42);
    EXPECT_EQ(n.sign, 0);
    EXPECT_EQ(n.scale, 0);
    EXPECT_EQ(n.precision, 3);
}

TEST(BigintToNumeric, Cases) {
    const IntCase cases[] = {
        {INT64_MAX, 0, static_cast<u128>(INT64_MAX), 1},
        {-INT64_MAX, 0, static_cast<u128>(INT64_MAX), 0},
        {INT64_MIN, 0, 0, 0},  // stays negative after negation
        {INT64_MIN, -1, static_cast<u128>(922337203685477580), 0},
        {1234567890123, 3, static_cast<u128>(1234567890123000), 1},
        {-99, -18, 0, 1},
        {INT64_MAX, -18, 9, 1},
        {INT64_MIN, -30, 0, 1},
        // Scaling up keeps the low 64 bits of the product.
        {INT64_MAX, 1, static_cast<u128>(10), 0},  // low 64 bits: -10
        {1, 64, 0, 1},
    };
    for (const IntCase &c : cases) {
        NumericStruct n = make(999, 0, 5);
        EXPECT_EQ(bigint_to_numeric(c.value, &n, 19, c.scale), 0);
        EXPECT_TRUE(magnitude_of(n) == c.magnitude) << c.value << " " << c.scale;
        EXPECT_EQ(n.sign, c.sign) << c.value << " " << c.scale;
        EXPECT_EQ(n.scale, static_cast<int8_t>(c.scale));
    }
    NumericStruct n;
    EXPECT_EQ(bigint_to_numeric_noscale(-1, &n, 1), 0);
    EXPECT_EQ(numeric_text(n), "-1");
}

struct DoubleCase {
    double value;
    int scale;
    int32_t result;
    const char *text;  // null when the record is left untouched
    int record_scale;
};

TEST(DoubleToNumeric, Cases) {
    const DoubleCase cases[] = {
        {1.25, 2, 0, "1.25", 2},
        {1.255, 1, 0, "1.3", 1},
        {2.5, 0, 0, "2", 0},     // "%.0f" rounds halves to even
        {3.5, 0, 0, "4", 0},
        {-0.4, 0, 0, "-0", 0},   // "%.0f" gives "-0"
        {-2.6, 0, 0, "-3", 0},
        {1200.0, -2, 0, "1200", -2},
        {1250.0, -2, 1, nullptr, 0},
        {1e39, 0, -2, nullptr, 0},
        // The text is the double's exact value.
        {3.4e38, 0, 0, "339999999999999996123846586046231871488", 0},
        {1.0, 38, 0, "0.99999999999999997748809823456034029568", 38},
    };
    for (const DoubleCase &c : cases) {
        NumericStruct n = make(4242, 0, 1);
        EXPECT_EQ(double_to_numeric(c.value, &n, 15, c.scale), c.result) << c.value;
        if (c.text != nullptr) {
            EXPECT_EQ(numeric_text(n), c.text) << c.value;
            EXPECT_EQ(n.scale, c.record_scale);
        } else {
            EXPECT_TRUE(magnitude_of(n) == 4242) << c.value;
        }
    }
    NumericStruct n = make(0, 0);
    EXPECT_EQ(double_to_numeric(1200.0, &n, 15, -2), 0);
    EXPECT_TRUE(magnitude_of(n) == 12);
}

TEST(NumericToDouble, FactorTable) {
    EXPECT_EQ(std::bit_cast<uint64_t>(kx::d_factors[127]), 0x47A999999999999AULL);
    EXPECT_EQ(kx::d_factors[127], 1.7014118346046924e37);
    for (int k = 0; k < 127; k++) EXPECT_EQ(kx::d_factors[k], std::ldexp(1.0, k)) << k;
    EXPECT_STREQ(kx::max_num, decimal(kMax).c_str());
}

TEST(NumericToDouble, Cases) {
    struct {
        NumericStruct n;
        double d;
    } cases[] = {
        {make(0, 0), 0.0},
        {make(150, 2), 1.5},
        {make(150, 2, 0), -1.5},
        {make(12, -2), 1200.0},
        {make(static_cast<u128>(1) << 126, 0), std::ldexp(1.0, 126)},
        // Bit 127 converts to one tenth of 2^127.
        {make(static_cast<u128>(1) << 127, 0), 1.7014118346046924e37},
        {make(kMax, 0), 1.7014118346046924e37 + (std::ldexp(1.0, 127) - 1.0)},
        // Bits summed from the lowest: 2^0 + 2^14 + 2^26 + 2^48 + 2^63 + 2^67
        // is 156797606101575024641, which rounds correctly to
        // 1.5679760610157504e20; the ascending sum gives 1.56797606101575e20.
        {make((static_cast<u128>(1) << 67) + (static_cast<u128>(1) << 63) +
                  (static_cast<u128>(1) << 48) + (1u << 26) + (1u << 14) + 1,
              0),
         1.56797606101575e20},
    };
    for (auto &c : cases) {
        double d = -99.0;
        EXPECT_EQ(numeric_to_double(&c.n, &d), 0);
        EXPECT_EQ(d, c.d) << numeric_text(c.n);
    }
    NumericStruct neg_zero = make(0, 0, 0);
    double d = 1.0;
    numeric_to_double(&neg_zero, &d);
    EXPECT_TRUE(std::signbit(d));
}

TEST(NumericToIntegers, Cases) {
    struct {
        NumericStruct n;
        int32_t i;
        int64_t b;
    } cases[] = {
        {make(150, 2), 1, 1},
        {make(270, 2, 0), -2, -2},
        {make(0, 0, 0), 0, 0},
        {make(12, -2), 1200, 1200},
        {make(5, 3), 0, 0},
        {make(2147483647, 0), 2147483647, 2147483647},
        // atoi keeps the low 32 bits of strtol's result.
        {make(4294967297u, 0), 1, 4294967297},
        {make(static_cast<u128>(INT64_MAX), 0, 0), 1, -INT64_MAX},
        // Beyond 64 bits both conversions saturate as strtol does.
        {make(kMax, 0), -1, INT64_MAX},
        {make(kMax, 0, 0), 0, INT64_MIN},
    };
    for (auto &c : cases) {
        int32_t i = 12345;
        int64_t b = 12345;
        EXPECT_EQ(numeric_to_int(&c.n, &i), 0);
        EXPECT_EQ(numeric_to_bigint(&c.n, &b), 0);
        EXPECT_EQ(i, c.i) << numeric_text(c.n);
        EXPECT_EQ(b, c.b) << numeric_text(c.n);
    }
}

// ---- compare ----

TEST(NumericCompare, Cases) {
    struct {
        NumericStruct a, b;
        int32_t result;
    } cases[] = {
        {make(150, 2), make(15, 1), 0},
        {make(0, 0, 1), make(0, 0, 0), 1},
        {make(0, 0, 0), make(0, 0, 1), -1},
        {make(0, 0, 0), make(0, 0, 0), 0},
        {make(5, 0), make(7, 0), -1},
        {make(5, 0, 0), make(7, 0, 0), 1},
        {make(256, 0), make(255, 0), 1},
        {make(kMax, 0), make(kMax - 1, 0), 1},
        {make(10, 0), make(999, 2), 1},
        {make(10, 0, 0), make(999, 2, 0), -1},
        {make(5, 1), make(3, 0), -1},
        {make(12, -2), make(12001, 1), -1},
        // Different scales compare the texts: zero at scale -2 is "000",
        // which aligns longer than "0.5".
        {make(0, -2), make(5, 1), 1},
        // Only sign bytes 0 and 1 order: 2 compares as a magnitude.
        {make(1, 0), make(1, 0, 2), 0},
    };
    for (auto &c : cases) {
        EXPECT_EQ(numeric_compare(&c.a, &c.b), c.result)
            << numeric_text(c.a) << " vs " << numeric_text(c.b);
    }
}

TEST(NumericCompare, StringCompare) {
    struct {
        const char *a, *b;
        int result;
    } cases[] = {
        {"1.5", "1.50", 0},   {"10", "9.99", 1},  {"0.05", "0.5", -1},
        {"000", "0.5", 1},    {"12", "12", 0},    {"012", "12", 1},
        {"", "", 0},          {"", "0", -1},      {"123", "124", -1},
    };
    for (auto &c : cases) {
        EXPECT_EQ(kx::numeric_string_compare(c.a, c.b), c.result) << c.a << " " << c.b;
        EXPECT_EQ(perbit::numeric_string_compare(c.a, c.b), c.result) << c.a << " " << c.b;
    }
}

TEST(NumericIsZero, Cases) {
    EXPECT_EQ(numeric_is_zero(&(const NumericStruct &)make(0, 0)), 1);
    NumericStruct z = make(0, 5, 0);
    EXPECT_EQ(numeric_is_zero(&z), 1);
    NumericStruct top = make(static_cast<u128>(1) << 127, 0);
    EXPECT_EQ(numeric_is_zero(&top), 0);
    NumericStruct one = make(1, 0, 0);
    EXPECT_EQ(numeric_is_zero(&one), 0);
}

// ---- add, subtract, multiply ----

struct ArithCase {
    NumericStruct a, b;
    int32_t result;
    u128 magnitude;
    int scale;
    int sign;
};

TEST(AddNumeric, Cases) {
    ArithCase cases[] = {
        {make(5, 0, 0), make(5, 0, 1), 0, 0, 0, 0},
        {make(5, 0, 1), make(5, 0, 0), 0, 0, 0, 1},
        {make(15, 1), make(2, 0), 0, 35, 1, 1},
        {make(2, 0), make(15, 1), 0, 35, 1, 1},
        {make(3, 0), make(5, 0, 0), 0, 2, 0, 0},
        {make(3, 0, 0), make(5, 0), 0, 2, 0, 1},
        {make(7, 0, 0), make(5, 0), 0, 2, 0, 0},
        {make(7, 0), make(5, 0, 0), 0, 2, 0, 1},
        {make(7, 0, 0), make(5, 0, 0), 0, 12, 0, 0},
        {make(255, 0), make(1, 0), 0, 256, 0, 1},
        {make(kMax, 0), make(1, 0), -2, 0, 0, 1},
        {make(kMax, 0, 0), make(5, 0, 0), -2, 4, 0, 0},
        // Overflow while aligning scales, or in the aligned sum, returns 0.
        {make(kMax, 1), make(1, 1), -2, 0, 1, 1},
        {make(kMax, 1), make(1, 0), 0, 9, 1, 1},
        {make(kMax, 0), make(1, 1), 0, kMax * 10 + 1, 1, 1},
        // A sign byte other than 1 counts as negative.
        {make(7, 0, 2), make(5, 0, 0), 0, 12, 0, 2},
        {make(7, 0, 2), make(5, 0, 1), 0, 2, 0, 0},
    };
    for (auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 11;
        EXPECT_EQ(add_numeric(&a, &c.b), c.result) << numeric_text(c.a) << " + " << numeric_text(c.b);
        EXPECT_TRUE(magnitude_of(a) == c.magnitude) << numeric_text(c.a) << " + " << numeric_text(c.b);
        EXPECT_EQ(a.scale, c.scale);
        EXPECT_EQ(a.sign, c.sign) << numeric_text(c.a) << " + " << numeric_text(c.b);
        EXPECT_EQ(a.precision, 11);
    }
}

TEST(SubtractNumeric, Cases) {
    ArithCase cases[] = {
        {make(5, 0), make(5, 0), 0, 0, 0, 1},
        {make(5, 0, 0), make(5, 0, 0), 0, 0, 0, 0},
        {make(3, 0), make(5, 0), 0, 2, 0, 0},
        {make(3, 0), make(5, 0, 0), 0, 8, 0, 1},
        {make(15, 1), make(2, 0), 0, 5, 1, 0},
        {make(0, 0), make(kMax, 0, 0), 0, kMax, 0, 1},
        {make(1, 0), make(kMax, 0, 0), -2, 0, 0, 1},
        {make(9, 0), make(4, 0, 3), 0, 13, 0, 1},  // sign 3 flips to 1
    };
    for (auto &c : cases) {
        NumericStruct a = c.a;
        NumericStruct b = c.b;
        EXPECT_EQ(subtract_numeric(&a, &b), c.result);
        EXPECT_TRUE(magnitude_of(a) == c.magnitude) << numeric_text(c.a) << " - " << numeric_text(c.b);
        EXPECT_EQ(a.scale, c.scale);
        EXPECT_EQ(a.sign, c.sign);
        EXPECT_EQ(memcmp(&b, &c.b, sizeof b), 0);
    }
}

TEST(MultNumeric, Cases) {
    ArithCase cases[] = {
        {make(15, 1), make(225, 2), 0, 3375, 3, 1},
        {make(15, 1, 0), make(225, 2), 0, 3375, 3, 0},
        {make(15, 1, 0), make(225, 2, 0), 0, 3375, 3, 1},
        {make(0, 0, 0), make(3, 0), 0, 0, 0, 0},
        {make(3, 100), make(3, 100), 0, 9, static_cast<int8_t>(200), 1},
        {make(static_cast<u128>(1) << 64, 0), make(static_cast<u128>(1) << 64, 0), 0, 0, 0, 1},
        {make(kMax, 0), make(kMax, 0), 0, 1, 0, 1},
        {make(static_cast<u128>(0xFFFFFFFFFFFFFFFFull) + 2, 0),
         make(static_cast<u128>(3) << 70, 0), 0,
         (static_cast<u128>(0xFFFFFFFFFFFFFFFFull) + 2) * (static_cast<u128>(3) << 70), 0, 1},
        {make(5, 0, 2), make(5, 0, 0), 0, 25, 0, 0},  // sign bytes compared as they are
    };
    for (auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 30;
        EXPECT_EQ(mult_numeric(&a, &c.b), 0);
        EXPECT_TRUE(magnitude_of(a) == c.magnitude) << numeric_text(c.a) << " * " << numeric_text(c.b);
        EXPECT_EQ(a.scale, c.scale);
        EXPECT_EQ(a.sign, c.sign);
        EXPECT_EQ(a.precision, 0);
    }
}

// ---- divide ----

TEST(DivNumeric, Cases) {
    ArithCase cases[] = {
        {make(1, 4), make(3, 0), 0, 0, 4, 1},        // 0.0001 / 3 is 0 at scale 4
        {make(2, 0), make(3, 0), 0, 1, 0, 1},
        {make(10000, 4), make(3, 0), 0, 3333, 4, 1},
        {make(1, 0, 0), make(4, 0), 0, 0, 0, 0},     // "%.0f" of -0.25 is "-0"
        {make(7, 0), make(2, 0, 0), 0, 4, 0, 0},     // -3.5 rounds to even
        {make(5, 0), make(2, 0), 0, 2, 0, 1},        // 2.5 rounds to even
        {make(100, 0), make(15, 1), 0, 67, 0, 1},
        {make(12, -2), make(4, 0), 0, 3, -2, 1},     // 300 at scale -2
        {make(12, -2), make(7, 0), 0, 12, -2, 1},    // 171.4... : a kept
        {make(12, -2), make(5, 0, 0), 0, 12, -2, 1}, // -240 is not whole hundreds
        {make(5, 0), make(0, 3), 0, 0, 0, 1},        // no context: quotient 0
        {make(5, 0, 0), make(0, 0, 0), 0, 0, 0, 1},
    };
    for (auto &c : cases) {
        NumericStruct a = c.a;
        a.precision = 9;
        EXPECT_EQ(div_numeric(&a, &c.b, nullptr), 0);
        EXPECT_TRUE(magnitude_of(a) == c.magnitude) << numeric_text(c.a) << " / " << numeric_text(c.b);
        EXPECT_EQ(a.scale, c.scale);
        EXPECT_EQ(a.sign, c.sign) << numeric_text(c.a) << " / " << numeric_text(c.b);
        EXPECT_EQ(a.precision, 9);
    }
}

TEST(DivNumeric, ByZeroWithContextPostsAndLeaves) {
    kxtest::StatementContext on_statement;
    ErrorHeader *header = on_statement.errors();
    ASSERT_NE(header, nullptr);
    EvalContext &context = on_statement.context;

    NumericStruct a = make(5, 0);
    NumericStruct zero = make(0, 2, 0);
    volatile int jumped = 0;
    volatile int returned = 0;
    int code = setjmp(context.exit);
    if (code == 0) {
        div_numeric(&a, &zero, &context);
        returned = 1;
    } else {
        jumped = code;
    }
    EXPECT_EQ(returned, 0);
    EXPECT_EQ(jumped, -1);
    EXPECT_EQ(context.result, -1);
    EXPECT_EQ(header->return_code, -1);
    EXPECT_TRUE(magnitude_of(a) == 5);

    char sqlstate[6] = "";
    int32_t native = 99;
    char message[256] = "";
    int16_t length = 0;
    EXPECT_EQ(GetDiagRec(header, 1, sqlstate, &native, message, sizeof message, &length), 0);
    EXPECT_STREQ(sqlstate, "22012");
    EXPECT_STREQ(message, "[Varnel ODBC]Division by zero");
    EXPECT_EQ(native, 0);
    EXPECT_EQ(length, static_cast<int16_t>(strlen("[Varnel ODBC]Division by zero")));
    EXPECT_EQ(GetDiagRec(header, 2, sqlstate, &native, message, sizeof message, &length), 100);
}

// Calls div_numeric with the exit point armed as a driver arms it; returns
// the value the jump brought back, or 99 when div_numeric returned.
int divide_expecting_exit(NumericStruct *a, const NumericStruct *b, EvalContext *context) {
    int code = setjmp(context->exit);
    if (code != 0) return code;
    div_numeric(a, b, context);
    return 99;
}

// The record posted for a division by zero: return code -1 on the header,
// class-origin code 1 ("ODBC 3.0"), subclass origin "ISO 9075", column,
// native code and row 0, SQLSTATE "22012", the default component name.
TEST(DivNumeric, ByZeroRecordFields) {
    struct {
        NumericStruct a, b;
    } cases[] = {
        {make(5, 0), make(0, 0)},
        {make(5, 0, 0), make(0, 0, 0)},   // -5 / -0
        {make(0, 3), make(0, -2)},        // 0 / 0
        {make(kMax, 7), make(0, 127, 0)},
    };
    for (auto &c : cases) {
        kxtest::StatementContext on_statement;
        ErrorHeader *header = on_statement.errors();
        ASSERT_NE(header, nullptr);
        EvalContext &context = on_statement.context;
        context.result = 77;

        NumericStruct a = c.a;
        EXPECT_EQ(divide_expecting_exit(&a, &c.b, &context), -1);
        EXPECT_EQ(context.result, -1);
        EXPECT_EQ(header->return_code, -1);
        EXPECT_EQ(memcmp(&a, &c.a, sizeof a), 0);
        EXPECT_EQ(header->record_count, 1);
        const DiagRecord *r = header->first;
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->next, nullptr);
        EXPECT_EQ(r->class_origin_code, 1);
        EXPECT_STREQ(r->subclass_origin, "ISO 9075");
        EXPECT_STREQ(r->sqlstate, "22012");
        EXPECT_STREQ(r->message, "[Varnel ODBC]Division by zero");
        EXPECT_EQ(r->column, 0);
        EXPECT_EQ(r->native, 0);
        EXPECT_EQ(r->row, 0);
        char text[64] = "";
        int16_t len = 0;
        EXPECT_EQ(GetDiagField(3, header, 1, 8 /* SQL_DIAG_CLASS_ORIGIN */, text,
                               sizeof text, &len), 0);
        EXPECT_STREQ(text, "ODBC 3.0");
        EXPECT_EQ(GetDiagField(3, header, 1, 9 /* SQL_DIAG_SUBCLASS_ORIGIN */, text,
                               sizeof text, &len), 0);
        EXPECT_STREQ(text, "ISO 9075");
    }
}

// A context without a statement still leaves through its exit point.
TEST(DivNumeric, ByZeroContextWithoutStatement) {
    EvalContext context;
    memset(&context, 0, sizeof context);
    NumericStruct a = make(5, 1);
    NumericStruct zero = make(0, 0);
    volatile int code = 0;
    int c = setjmp(context.exit);
    if (c == 0) {
        div_numeric(&a, &zero, &context);
        code = 99;
    } else {
        code = c;
    }
    EXPECT_EQ(code, -1);
    EXPECT_EQ(context.result, -1);
    EXPECT_TRUE(magnitude_of(a) == 5);
}

// A quotient too large for 128 bits: string_to_numeric returns -2 and sets
// only the sign, and div_numeric still returns 0. -(2^128 - 1) / 10^-38 is
// about -3.4e76; a keeps its magnitude, scale and precision, sign 0.
TEST(DivNumeric, OverflowingQuotientKeepsDividendButSign) {
    NumericStruct a = make(kMax, 0, 1, 9);
    NumericStruct b = make(1, 38, 0);
    EXPECT_EQ(div_numeric(&a, &b, nullptr), 0);
    EXPECT_TRUE(magnitude_of(a) == kMax);
    EXPECT_EQ(a.sign, 0);
    EXPECT_EQ(a.scale, 0);
    EXPECT_EQ(a.precision, 9);
    // 1e-40 / 3e-40 at scale 40 is 3.33e39, 40 digits: a keeps 1 at scale 40.
    NumericStruct one = make(1, 40, 1, 5);
    NumericStruct three = make(3, 40);  // 1e-40 / 3e-40 = 0.333..
    EXPECT_EQ(div_numeric(&one, &three, nullptr), 0);
    EXPECT_TRUE(magnitude_of(one) == 1);
    EXPECT_EQ(one.sign, 1);
    EXPECT_EQ(one.scale, 40);
}

// The power-of-two texts, and the text the magnitude is made from.
TEST(NumericTables, Factors) {
    EXPECT_STREQ(kx::factors[0], "1");
    EXPECT_STREQ(kx::factors[1], "2");
    EXPECT_STREQ(kx::factors[10], "1024");
    EXPECT_STREQ(kx::factors[64], "18446744073709551616");
    EXPECT_STREQ(kx::factors[127], "170141183460469231731687303715884105728");
    for (int k = 0; k < 128; k++)
        EXPECT_EQ(kx::factors[k], decimal(static_cast<u128>(1) << k)) << k;
    EXPECT_STREQ(kx::max_num, "340282366920938463463374607431768211455");
}

// Texts that are not numbers, or are very long: a result and no access
// outside the text (the sanitizer build checks this).
TEST(StringToNumeric, HostileTexts) {
    struct {
        std::string text;
        int32_t result;  // 0, -2, or 1 meaning "either"
        int sign;        // checked when result is 0 and magnitude known
        int scale;
        bool zero;
    } cases[] = {
        {"", 0, 1, 0, true},
        {" ", 0, 1, 0, true},
        {"-", 0, 0, 0, true},
        {"+", 0, 1, 0, true},
        {".", 0, 1, 0, true},
        {"-.", 0, 0, 0, true},
        {"   -", 0, 0, 0, true},
        {"0.000", 0, 1, 3, true},
        {std::string(5000, '0'), 0, 1, 0, true},
        {"-" + std::string(5000, '0') + ".0", 0, 0, 1, true},
        {std::string(5000, '9'), -2, 1, 0, false},
        {"1" + std::string(39, '0'), -2, 1, 0, false},
        {std::string(3000, 'x'), 1, 1, 0, false},
        {std::string(200, '.'), 1, 1, 0, false},
        {"12.34.56", 1, 1, 0, false},
        {std::string(1000, '1') + "." + std::string(1000, '2'), -2, 1, 0, false},
        {"1e5", 1, 1, 0, false},
        {"\t5", 1, 1, 0, false},
    };
    for (auto &c : cases) {
        std::vector<char> work(c.text.begin(), c.text.end());
        work.push_back('\0');
        NumericStruct n = make(99, 9, 9, 9);
        int32_t rc = string_to_numeric(work.data(), &n, 4, 0);
        if (c.result == 1) {
            EXPECT_TRUE(rc == 0 || rc == -2) << c.text.substr(0, 40);
            continue;
        }
        EXPECT_EQ(rc, c.result) << c.text.substr(0, 40);
        EXPECT_EQ(n.sign, c.sign) << c.text.substr(0, 40);
        if (rc == 0) {
            EXPECT_EQ(n.scale, c.scale) << c.text.substr(0, 40);
            EXPECT_EQ(n.precision, 4);
            if (c.zero) {
                EXPECT_TRUE(magnitude_of(n) == 0) << c.text.substr(0, 40);
            }
        } else {
            EXPECT_TRUE(magnitude_of(n) == 99);
            EXPECT_EQ(n.scale, 9);
        }
    }
}

// create_numeric over long texts and extreme scales: no read or write
// outside the text, whatever the lengths.
TEST(CreateNumeric, HostileTextsAndScales) {
    const int32_t scales[] = {INT32_MIN, -200, -1, 0, 1, 39, 40, 1023, 1024, 5000, INT32_MAX};
    const std::string texts[] = {
        "",
        ".",
        "-",
        std::string(1500, '0') + "." + std::string(1500, '0'),
        std::string(1030, '1'),
        "." + std::string(2000, '7'),
        std::string(2000, '.'),
        "-0." + std::string(1100, '0') + "1",
    };
    for (const std::string &t : texts) {
        for (int32_t s : scales) {
            NumericStruct n = make(1, 1);
            int32_t rc = create_numeric(t.c_str(), &n, 3, s);
            EXPECT_TRUE(rc == 0 || rc == -2) << t.substr(0, 20) << " " << s;
        }
    }
    // Worked cases: the fraction cut to the scale, zeros after it dropped.
    NumericStruct n;
    EXPECT_EQ(create_numeric(("-0." + std::string(1100, '0') + "1").c_str(), &n, 3, 5), 0);
    EXPECT_TRUE(magnitude_of(n) == 0);
    EXPECT_EQ(n.sign, 0);
    EXPECT_EQ(n.scale, 5);
    EXPECT_EQ(create_numeric(("." + std::string(2000, '7')).c_str(), &n, 3, 3), 0);
    EXPECT_TRUE(magnitude_of(n) == 777);
    EXPECT_EQ(n.scale, 3);
    EXPECT_EQ(create_numeric(std::string(1030, '1').c_str(), &n, 3, 0), -2);
}

// Scales far outside -18 .. 18: only the stored scale (its low 8 bits) is
// settled; the conversions must not fault.
TEST(IntegerAndDoubleConversions, ExtremeScales) {
    const int32_t scales[] = {INT32_MIN, -1000, -129, -128, -19, 19, 20, 63, 64, 127, 128, 258, 1000, INT32_MAX};
    for (int32_t s : scales) {
        NumericStruct n;
        EXPECT_EQ(int_to_numeric(-7, &n, 1, s), 0);
        EXPECT_EQ(n.scale, static_cast<int8_t>(s & 0xFF)) << s;
        EXPECT_EQ(n.precision, 1);
        EXPECT_EQ(bigint_to_numeric(INT64_MIN, &n, 2, s), 0);
        EXPECT_EQ(n.scale, static_cast<int8_t>(s & 0xFF)) << s;
        int32_t rc = double_to_numeric(-1.5, &n, 3, s);
        EXPECT_TRUE(rc == 0 || rc == 1 || rc == -2) << s;
        rc = double_to_numeric(INFINITY, &n, 3, s);
        EXPECT_TRUE(rc == 0 || rc == 1 || rc == -2) << s;
        rc = double_to_numeric(NAN, &n, 3, s);
        EXPECT_TRUE(rc == 0 || rc == 1 || rc == -2) << s;
        rc = double_to_numeric(-1.7976931348623157e308, &n, 3, s);
        EXPECT_TRUE(rc == 0 || rc == 1 || rc == -2) << s;
    }
    // Scale 2 stored from 258's low byte with the value kept by the
    // settled part: 10^258 is out of range, only the scale is checked.
    NumericStruct n;
    int_to_numeric(1, &n, 0, 258);
    EXPECT_EQ(n.scale, 2);
}

// ---- thousands of random magnitudes ----

std::vector<u128> sample_magnitudes() {
    std::mt19937_64 rng(20240611);
    std::vector<u128> out;
    for (int i = 0; i < 1500; i++)
        out.push_back((static_cast<u128>(rng()) << 64) | rng());
    for (int i = 0; i < 800; i++) out.push_back(rng() >> (32 + rng() % 32));
    for (int i = 0; i < 400; i++) {
        int bits = 1 + static_cast<int>(rng() % 128);
        u128 m = (static_cast<u128>(rng()) << 64) | rng();
        out.push_back(bits == 128 ? m : m & ((static_cast<u128>(1) << bits) - 1));
    }
    for (int k = 0; k < 128; k++) {
        u128 p = static_cast<u128>(1) << k;
        out.push_back(p);
        out.push_back(p - 1);
        out.push_back(p + 1);
    }
    u128 p = 1;
    for (int k = 0; k <= 38; k++, p *= 10) {
        out.push_back(p);
        out.push_back(p - 1);
        out.push_back(p + 1);
    }
    out.push_back(0);
    out.push_back(kMax);
    out.push_back(kMax - 1);
    return out;
}

TEST(NumericRandom, TextAndBackAgainstInt128) {
    std::vector<u128> mags = sample_magnitudes();
    std::mt19937 rng(7);
    size_t checked = 0;
    for (size_t i = 0; i < mags.size(); i++) {
        u128 m = mags[i];
        int scale = -5 + static_cast<int>(i % 44);  // -5 .. 38
        int sign = static_cast<int>(rng() % 2);
        NumericStruct n = make(m, scale, sign);
        std::string expect = ref_text(m, scale, sign);
        std::string text = numeric_text(n);
        ASSERT_EQ(text, expect) << decimal(m) << " scale " << scale;

        // string_to_numeric reads the canonical text back.
        u128 back_m;
        int back_scale, back_sign;
        bool fits = ref_parse(expect, &back_m, &back_scale, &back_sign);
        std::vector<char> work(text.begin(), text.end());
        work.push_back('\0');
        NumericStruct parsed = make(0, 0, 1);
        int32_t rc = string_to_numeric(work.data(), &parsed, 38, 0);
        if (!fits) {
            ASSERT_EQ(rc, -2) << expect;
        } else {
            ASSERT_EQ(rc, 0) << expect;
            ASSERT_TRUE(magnitude_of(parsed) == back_m) << expect;
            ASSERT_EQ(parsed.scale, back_scale) << expect;
            ASSERT_EQ(parsed.sign, sign) << expect;
            // The same value, so the two compare equal; but zero at a
            // negative scale prints "000..." and so compares as larger in
            // magnitude than the "0" of the parsed record.
            int32_t expect_cmp = 0;
            if (m == 0 && scale < 0) expect_cmp = sign == 1 ? -1 : 1;
            ASSERT_EQ(numeric_compare(&parsed, &n), expect_cmp) << expect;
        }

        // create_numeric at the record's scale gives the record back.
        if (scale >= 0) {
            NumericStruct created;
            ASSERT_EQ(create_numeric(text.c_str(), &created, 38, scale), 0) << expect;
            ASSERT_TRUE(magnitude_of(created) == m) << expect;
            ASSERT_EQ(created.scale, scale);
            ASSERT_EQ(created.sign, sign);
        }
        checked++;
    }
    EXPECT_GT(checked, 3000u);
}

TEST(NumericRandom, MatchesPerBitAlgorithm) {
    std::vector<u128> mags = sample_magnitudes();
    std::mt19937 rng(11);
    for (size_t i = 0; i < mags.size(); i++) {
        int scale = static_cast<int>(rng() % 256) - 128;
        NumericStruct n = make(mags[i], scale, static_cast<int>(rng() % 2));
        char fast[1024], slow[1024];
        int32_t lf = 0, ls = 0;
        int32_t bl = static_cast<int32_t>(rng() % 60);  // often truncating
        memset(fast, 'x', sizeof fast);
        memset(slow, 'x', sizeof slow);
        ASSERT_EQ(numeric_to_string(&n, fast, bl, &lf),
                  perbit::numeric_to_string(&n, slow, bl, &ls));
        ASSERT_EQ(lf, ls);
        ASSERT_EQ(memcmp(fast, slow, 200), 0);

        // Parse random texts: signs, blanks, leading zeros, a point.
        std::string digits = decimal(mags[i]);
        if (rng() % 3 == 0) digits = std::string(rng() % 4, '0') + digits;
        if (rng() % 2 == 0) digits.insert(rng() % (digits.size() + 1), ".");
        if (rng() % 5 == 0) digits += std::string(rng() % 3, '9');
        const char *prefix[] = {"", "-", "+", " ", "  -", " +"};
        std::string t = prefix[rng() % 6] + digits;
        std::vector<char> a(t.begin(), t.end()), b(t.begin(), t.end());
        a.push_back('\0');
        b.push_back('\0');
        NumericStruct x = make(3, 3, 3, 3), y = make(3, 3, 3, 3);
        int sc = static_cast<int>(rng() % 11) - 5;
        ASSERT_EQ(string_to_numeric(a.data(), &x, 20, sc),
                  perbit::string_to_numeric(b.data(), &y, 20, sc))
            << t;
        ASSERT_EQ(memcmp(&x, &y, sizeof x), 0) << t;
        ASSERT_STREQ(a.data(), b.data());
    }
}

}  // namespace
