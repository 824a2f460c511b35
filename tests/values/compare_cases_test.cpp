// compare_values as a driver's sort and predicate code sees it: NULL
// ordering, the rules chosen by the left value's type, blank-padded texts and
// zero-padded binaries. Only the public header is used.
#include <kxsupp.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

class CompareCases : public ::testing::Test {
protected:
    void SetUp() override {
        h = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(h, nullptr);
    }
    void TearDown() override { kx_mem_release_handle(h); }

    Value *bare(int32_t type) {
        Value *v = NewValue(h, 0);
        EXPECT_NE(v, nullptr);
        v->type = type;
        v->null_flag = 0;
        v->share_block = 0;
        v->length = 0;
        v->data_length = 0;
        v->long_buffer = nullptr;
        return v;
    }
    Value *null_of(int32_t type) {
        Value *v = bare(type);
        v->null_flag = -1;
        return v;
    }
    Value *integer(int32_t i) {
        Value *v = bare(VALUE_INTEGER);
        v->length = 4;
        v->payload.integer = i;
        return v;
    }
    Value *bit(int32_t i) {
        Value *v = bare(VALUE_BIT);
        v->payload.integer = i;
        return v;
    }
    Value *dbl(double d) {
        Value *v = bare(VALUE_DOUBLE);
        v->length = 8;
        v->payload.dbl = d;
        return v;
    }
    Value *bigint(int64_t b) {
        Value *v = bare(VALUE_BIGINT);
        v->length = 8;
        v->payload.bigint.high = (int32_t)(b >> 32);
        v->payload.bigint.low = (uint32_t)(b & 0xFFFFFFFFu);
        return v;
    }
    // A text with its declared length field (which may exceed strlen).
    Value *str(const char *s, int32_t length) {
        size_t room = strlen(s) + 1;
        if ((size_t)length + 1 > room) room = (size_t)length + 1;
        Value *v = NewValue(h, (int32_t)room);
        EXPECT_NE(v, nullptr);
        v->type = VALUE_STRING;
        v->null_flag = 0;
        v->share_block = 0;
        v->long_buffer = nullptr;
        v->length = length;
        v->data_length = 0;
        memset(v->payload.text, 0, room);
        memcpy(v->payload.text, s, strlen(s) + 1);
        return v;
    }
    Value *str(const char *s) { return str(s, (int32_t)strlen(s)); }
    Value *bin(const unsigned char *data, int32_t data_length, int32_t length) {
        Value *v = NewValue(h, length + 1);
        EXPECT_NE(v, nullptr);
        v->type = VALUE_BINARY;
        v->null_flag = 0;
        v->share_block = 0;
        v->long_buffer = nullptr;
        v->length = length;
        v->data_length = data_length;
        // Garbage beyond the data must not take part.
        memset(v->payload.bytes, 0x5A, (size_t)length + 1);
        memcpy(v->payload.bytes, data, (size_t)data_length);
        return v;
    }
    Value *date(int y, int m, int d) {
        Value *v = bare(VALUE_DATE);
        v->payload.date.year = (int16_t)y;
        v->payload.date.month = (uint16_t)m;
        v->payload.date.day = (uint16_t)d;
        return v;
    }
    Value *time(int hh, int mm, int ss) {
        Value *v = bare(VALUE_TIME);
        v->payload.time.hour = (uint16_t)hh;
        v->payload.time.minute = (uint16_t)mm;
        v->payload.time.second = (uint16_t)ss;
        return v;
    }
    Value *timestamp(int y, int m, int d, int hh, int mm, int ss, uint32_t f) {
        Value *v = bare(VALUE_TIMESTAMP);
        v->payload.timestamp.year = (int16_t)y;
        v->payload.timestamp.month = (uint16_t)m;
        v->payload.timestamp.day = (uint16_t)d;
        v->payload.timestamp.hour = (uint16_t)hh;
        v->payload.timestamp.minute = (uint16_t)mm;
        v->payload.timestamp.second = (uint16_t)ss;
        v->payload.timestamp.fraction = f;
        return v;
    }
    // A numeric of the given unscaled magnitude (fits 64 bits), scale and sign.
    Value *numeric(uint64_t magnitude, int scale, int sign) {
        Value *v = bare(VALUE_NUMERIC);
        v->length = 19;
        memset(&v->payload.numeric, 0, sizeof v->payload.numeric);
        v->payload.numeric.precision = 18;
        v->payload.numeric.scale = (int8_t)scale;
        v->payload.numeric.sign = (uint8_t)sign;
        for (int i = 0; i < 8; i++)
            v->payload.numeric.val[i] = (uint8_t)(magnitude >> (8 * i));
        v->attr[0] = 18;
        v->attr[1] = scale;
        return v;
    }
    Value *interval_days(uint32_t days) {
        Value *v = bare(VALUE_INTERVAL_DS);
        memset(&v->payload.interval, 0, sizeof v->payload.interval);
        v->payload.interval.interval_type = KX_IS_DAY;
        v->payload.interval.intval.day_second.day = days;
        v->attr[2] = 2;
        v->attr[3] = 6;
        return v;
    }
    Value *interval_hours(uint32_t hours) {
        Value *v = bare(VALUE_INTERVAL_DS);
        memset(&v->payload.interval, 0, sizeof v->payload.interval);
        v->payload.interval.interval_type = KX_IS_HOUR;
        v->payload.interval.intval.day_second.hour = hours;
        v->attr[2] = 2;
        v->attr[3] = 6;
        return v;
    }
    Value *interval_months(uint32_t years, uint32_t months) {
        Value *v = bare(VALUE_INTERVAL_YM);
        memset(&v->payload.interval, 0, sizeof v->payload.interval);
        v->payload.interval.interval_type = KX_IS_YEAR_TO_MONTH;
        v->payload.interval.intval.year_month.year = years;
        v->payload.interval.intval.year_month.month = months;
        v->attr[2] = 2;
        v->attr[3] = 6;
        return v;
    }

    MemHandle *h = nullptr;
};

int sign_of(int32_t r) { return r < 0 ? -1 : (r > 0 ? 1 : 0); }

TEST_F(CompareCases, NullsSortFirstAndEqualEachOther) {
    EXPECT_EQ(compare_values(null_of(VALUE_INTEGER), null_of(VALUE_INTEGER)), 0);
    EXPECT_EQ(compare_values(null_of(VALUE_STRING), null_of(VALUE_DATE)), 0);
    EXPECT_EQ(compare_values(null_of(VALUE_INTEGER), integer(5)), -1);
    EXPECT_EQ(compare_values(integer(5), null_of(VALUE_INTEGER)), 1);
    // Any nonzero null flag counts, and the NULL rule comes before the type.
    Value *odd_null = integer(5);
    odd_null->null_flag = 1;
    EXPECT_EQ(compare_values(odd_null, integer(-100)), -1);
    EXPECT_EQ(compare_values(bare(VALUE_LONG_STRING), null_of(VALUE_STRING)), 1);
    EXPECT_EQ(compare_values(null_of(VALUE_LONG_STRING), str("x")), -1);
    EXPECT_EQ(compare_values(null_of(VALUE_STRING), str("")), -1);
}

struct IntCase {
    int32_t left;
    int32_t right;
    int32_t expected;
};

TEST_F(CompareCases, IntegerRuleIsAWrappingDifference) {
    static const IntCase cases[] = {
        {7, 3, 4},
        {3, 7, -4},
        {-5, -5, 0},
        {0, INT32_MIN, INT32_MIN},        // 0 - INT32_MIN wraps to INT32_MIN
        {INT32_MAX, -1, INT32_MIN},       // overflow gives the wrong sign
        {INT32_MIN, 1, INT32_MAX},        // and the other way round
    };
    for (const IntCase &c : cases) {
        EXPECT_EQ(compare_values(integer(c.left), integer(c.right)), c.expected)
            << c.left << " vs " << c.right;
        EXPECT_EQ(compare_values(bit(c.left), integer(c.right)), c.expected)
            << "bit " << c.left << " vs " << c.right;
    }
}

TEST_F(CompareCases, IntegerLeftConvertsTheRight) {
    EXPECT_EQ(compare_values(integer(12), str("12")), 0);
    EXPECT_EQ(compare_values(integer(15), str("12abc")), 3);
    EXPECT_EQ(compare_values(integer(0), str("x")), 0);
    EXPECT_EQ(compare_values(integer(2), dbl(2.9)), 0);     // truncated
    EXPECT_EQ(compare_values(integer(-2), dbl(-2.9)), 0);
    EXPECT_EQ(compare_values(integer(10), bigint(4)), 6);
    EXPECT_EQ(compare_values(integer(1), bit(1)), 0);
}

TEST_F(CompareCases, BigintRuleUsesLowWordsOnly) {
    EXPECT_EQ(compare_values(bigint(4294967296LL), bigint(0)), 0);
    EXPECT_EQ(compare_values(bigint(4294967296LL + 5), bigint(5)), 0);
    EXPECT_EQ(compare_values(bigint(9), bigint(4)), 5);
    EXPECT_EQ(compare_values(bigint(4), bigint(9)), -5);
    EXPECT_EQ(compare_values(bigint(-1), bigint(0)), -1);
    EXPECT_EQ(compare_values(bigint(0x7FFFFFFFLL), bigint(-1)), INT32_MIN);
    EXPECT_EQ(compare_values(bigint(100), integer(40)), 60);
    EXPECT_EQ(compare_values(bigint(100), str("4294967336")), 60);  // low word 40
}

struct DoubleCase {
    double left;
    double right;
    int32_t expected;
};

TEST_F(CompareCases, DoubleRuleGivesMinusOneZeroOne) {
    static const DoubleCase cases[] = {
        {1.5, 1.25, 1},
        {1.25, 1.5, -1},
        {2.0, 2.0, 0},
        {-0.0, 0.0, 0},
        {1e300, -1e300, 1},
        {NAN, 1.0, 0},
        {1.0, NAN, 0},
        {0.5, 0.25, 1},
    };
    for (const DoubleCase &c : cases) {
        EXPECT_EQ(compare_values(dbl(c.left), dbl(c.right)), c.expected)
            << c.left << " vs " << c.right;
    }
    EXPECT_EQ(compare_values(dbl(2.5), integer(2)), 1);
    EXPECT_EQ(compare_values(dbl(2.0), integer(2)), 0);
    EXPECT_EQ(compare_values(dbl(1.5), str("1.75")), -1);
    EXPECT_EQ(compare_values(dbl(1.5), numeric(15, 1, 1)), 0);
}

TEST_F(CompareCases, NumericAgainstNumericUsesNumericCompare) {
    // 1.50 and 1.5 are equal; +0 sorts after -0 only in the numeric rule.
    EXPECT_EQ(compare_values(numeric(150, 2, 1), numeric(15, 1, 1)), 0);
    EXPECT_EQ(compare_values(numeric(0, 0, 1), numeric(0, 0, 0)), 1);
    EXPECT_EQ(compare_values(numeric(125, 2, 1), numeric(15, 1, 1)), -1);
    EXPECT_EQ(compare_values(numeric(15, 1, 0), numeric(15, 1, 1)), -1);
    EXPECT_EQ(compare_values(numeric(2, 0, 1), numeric(15, 1, 1)), 1);
}

TEST_F(CompareCases, NumericAgainstOtherTypesUsesTheDoubleRule) {
    EXPECT_EQ(compare_values(numeric(0, 0, 1), dbl(-0.0)), 0);
    EXPECT_EQ(compare_values(numeric(15, 1, 1), dbl(1.5)), 0);
    EXPECT_EQ(compare_values(numeric(15, 1, 1), dbl(1.25)), 1);
    EXPECT_EQ(compare_values(numeric(15, 1, 0), dbl(1.25)), -1);
    EXPECT_EQ(compare_values(numeric(3, 0, 1), integer(3)), 0);
    EXPECT_EQ(compare_values(numeric(3, 0, 1), integer(7)), -1);
    EXPECT_EQ(compare_values(numeric(15, 1, 1), str("1.4")), 1);
}

struct TextCase {
    const char *left;
    int32_t left_length;
    const char *right;
    int32_t right_length;
    int expected_sign;
};

TEST_F(CompareCases, TextRuleBetweenStrings) {
    static const TextCase cases[] = {
        {"abc", 3, "abc  ", 5, 0},     // blank padding makes them equal
        {"abc", 3, "abd", 5, -1},
        {"abc  ", 5, "abc", 3, 0},
        {"ab", 2, "ab!", 3, -1},       // blank (0x20) before '!' (0x21)
        {"ab", 2, "ab\x1f", 3, 1},     // blank after 0x1F
        {"ab", 3, "ab ", 3, -1},       // equal length fields: plain strcmp
        {"ab ", 3, "ab", 3, 1},
        {"ABC", 3, "abc", 3, -1},      // case-sensitive
        {"abc", 3, "abc", 3, 0},
        {"", 0, "", 0, 0},
        {"", 0, "   ", 3, 0},
        {"b", 1, "abc", 3, 1},
        {"x", 10, "x", 1, 0},          // declared length beyond the text
        {"\xe9", 1, "e", 1, 1},        // octet-wise, unsigned
    };
    for (const TextCase &c : cases) {
        int32_t r = compare_values(str(c.left, c.left_length),
                                   str(c.right, c.right_length));
        EXPECT_EQ(sign_of(r), c.expected_sign)
            << "'" << c.left << "'(" << c.left_length << ") vs '" << c.right
            << "'(" << c.right_length << ")";
    }
}

TEST_F(CompareCases, TextRuleAgainstRenderedValues) {
    EXPECT_EQ(sign_of(compare_values(str("9"), integer(10))), 1);
    EXPECT_EQ(compare_values(str("10"), integer(10)), 0);
    EXPECT_EQ(compare_values(str("-7"), integer(-7)), 0);
    EXPECT_EQ(compare_values(str("1.5"), dbl(1.5)), 0);
    EXPECT_EQ(compare_values(str("2"), dbl(2.0)), 0);
    EXPECT_EQ(compare_values(str("{d'2004-06-16'}"), date(2004, 6, 16)), 0);
    EXPECT_EQ(compare_values(str("{t'09:05:00'}"), time(9, 5, 0)), 0);
    EXPECT_EQ(compare_values(str("{ts'2004-06-16 01:02:03'}"),
                             timestamp(2004, 6, 16, 1, 2, 3, 500)), 0);
    EXPECT_EQ(compare_values(str("4294967296"), bigint(4294967296LL)), 0);
    static const unsigned char octets[] = {0x00, 0xFF};
    EXPECT_EQ(compare_values(str("B'0FF'"), bin(octets, 2, 2)), 0);
    EXPECT_EQ(compare_values(str(" NULL "), bare(VALUE_NULL)), 0);
    EXPECT_EQ(compare_values(str("{INTERVAL '3' DAY}"), interval_days(3)), 0);
    // No padding against a rendering: trailing blanks count.
    EXPECT_EQ(sign_of(compare_values(str("10 ", 3), integer(10))), 1);
    EXPECT_EQ(sign_of(compare_values(str("1"), integer(10))), -1);
}

struct BinCase {
    unsigned char left[4];
    int32_t left_data;
    int32_t left_length;
    unsigned char right[4];
    int32_t right_data;
    int32_t right_length;
    int expected_sign;
};

TEST_F(CompareCases, BinaryRule) {
    static const BinCase cases[] = {
        {{1, 2}, 2, 2, {1, 2}, 2, 2, 0},
        {{1, 2}, 2, 4, {1, 3}, 2, 2, -1},
        {{1, 2}, 2, 2, {1, 2, 0}, 3, 3, 0},      // zero padding
        {{1, 2}, 2, 2, {1, 2, 1}, 3, 3, -1},
        {{1, 2, 1}, 3, 3, {1, 2}, 2, 2, 1},
        {{1, 2, 0, 0}, 4, 4, {1, 2}, 2, 2, 0},
        {{0xFF}, 1, 1, {0x01}, 1, 1, 1},          // unsigned octets
        {{}, 0, 0, {}, 0, 0, 0},
        {{}, 0, 0, {0, 0}, 2, 2, 0},
        {{}, 0, 0, {0, 1}, 2, 2, -1},
        // The declared length of the longer value decides how far to pad;
        // garbage beyond a data length never takes part.
        {{7}, 1, 3, {7, 0}, 2, 2, 0},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        const BinCase &c = cases[i];
        int32_t r = compare_values(bin(c.left, c.left_data, c.left_length),
                                   bin(c.right, c.right_data, c.right_length));
        EXPECT_EQ(sign_of(r), c.expected_sign) << "case " << i;
    }
}

TEST_F(CompareCases, DatesTimesAndTimestamps) {
    EXPECT_EQ(compare_values(date(2004, 6, 16), date(2004, 6, 16)), 0);
    EXPECT_LT(compare_values(date(2004, 6, 16), date(2004, 6, 17)), 0);
    EXPECT_GT(compare_values(date(2005, 1, 1), date(2004, 12, 31)), 0);
    EXPECT_LT(compare_values(date(-1, 1, 1), date(1, 1, 1)), 0);
    EXPECT_EQ(compare_values(time(10, 20, 30), time(10, 20, 30)), 0);
    EXPECT_LT(compare_values(time(10, 20, 30), time(10, 21, 0)), 0);
    EXPECT_GT(compare_values(time(23, 0, 0), time(1, 59, 59)), 0);
    EXPECT_EQ(compare_values(timestamp(2004, 6, 16, 1, 2, 3, 4),
                             timestamp(2004, 6, 16, 1, 2, 3, 4)), 0);
    EXPECT_LT(compare_values(timestamp(2004, 6, 16, 1, 2, 3, 4),
                             timestamp(2004, 6, 16, 1, 2, 3, 5)), 0);
    EXPECT_GT(compare_values(timestamp(2004, 6, 17, 0, 0, 0, 0),
                             timestamp(2004, 6, 16, 23, 59, 59, 999999999)), 0);
}

TEST_F(CompareCases, RightPayloadIsReadAsTheLeftType) {
    // A timestamp on the right of a date: its first six octets are a date.
    EXPECT_EQ(compare_values(date(2004, 6, 16),
                             timestamp(2004, 6, 16, 23, 0, 0, 0)), 0);
    Value *fake = bare(VALUE_INTEGER);
    fake->payload.date.year = 2004;
    fake->payload.date.month = 6;
    fake->payload.date.day = 16;
    EXPECT_EQ(compare_values(date(2004, 6, 16), fake), 0);
}

TEST_F(CompareCases, Intervals) {
    EXPECT_EQ(compare_values(interval_days(1), interval_hours(24)), 0);
    EXPECT_EQ(compare_values(interval_days(1), interval_hours(25)), -1);
    EXPECT_EQ(compare_values(interval_hours(49), interval_days(2)), 1);
    EXPECT_EQ(compare_values(interval_months(1, 6), interval_months(1, 6)), 0);
    EXPECT_EQ(compare_values(interval_months(1, 6), interval_months(2, 0)), -1);
    EXPECT_EQ(compare_values(interval_months(2, 1), interval_months(2, 0)), 1);
}

TEST_F(CompareCases, TypesWithoutARuleCompareEqual) {
    static const int32_t types[] = {VALUE_NULL, VALUE_CURRENT_DATE, VALUE_USER,
                                    VALUE_CURRENT_TIME, VALUE_CURRENT_TIMESTAMP,
                                    VALUE_LONG_STRING, VALUE_LONG_BINARY, 6,
                                    99};
    for (int32_t t : types) {
        EXPECT_EQ(compare_values(bare(t), integer(5)), 0) << t;
        EXPECT_EQ(compare_values(bare(t), str("zzz")), 0) << t;
        EXPECT_EQ(compare_values(bare(t), bare(VALUE_LONG_STRING)), 0) << t;
    }
    EXPECT_EQ(compare_values(bare(VALUE_LONG_STRING), dbl(-1e9)), 0);
}

TEST_F(CompareCases, LongPaddedTextsAreSafe) {
    // Padded lengths of 1024 octets and more are outside the supported range:
    // whatever the answer, memory stays intact (checked under the sanitizer).
    Value *a = str("abc", 3000);
    Value *b = str("abc", 3);
    (void)compare_values(a, b);
    (void)compare_values(b, a);
    Value *c = str(std::string(2000, 'q').c_str(), 2000);
    Value *d = str(std::string(1500, 'q').c_str(), 1500);
    (void)compare_values(c, d);
    static unsigned char zeros[2048];
    Value *e = NewValue(h, 2049);
    ASSERT_NE(e, nullptr);
    e->type = VALUE_BINARY;
    e->null_flag = 0;
    e->share_block = 0;
    e->long_buffer = nullptr;
    e->length = 2048;
    e->data_length = 2048;
    memcpy(e->payload.bytes, zeros, 2048);
    static const unsigned char one[] = {0};
    (void)compare_values(e, bin(one, 1, 1));
    (void)compare_values(bin(one, 1, 1), e);
    // A rendering of a long binary on the right of a text.
    (void)compare_values(str("B'"), e);
}

}  // namespace
