// Case tables for the text forms of values, written against the public
// header alone: value_as_text for every type, value_as_text_ex with the
// caller's delimiters and the collapsed timestamps, and interval_as_text in
// both forms for every interval kind, sign, fraction and precision.
#include <gtest/gtest.h>

#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace {

class TextCases : public kxtest::ValueFixture {
protected:
    Value *make_binary(const unsigned char *bytes, int32_t n, int32_t declared)
    {
        Value *v = make(VALUE_BINARY);
        unsigned char *copy = static_cast<unsigned char *>(kx_mem_alloc(handle, static_cast<size_t>(declared) + 1));
        std::memset(copy, 0xEE, static_cast<size_t>(declared) + 1);
        if (n > 0)
            std::memcpy(copy, bytes, static_cast<size_t>(n));
        v->payload.bytes = copy;
        v->length = declared;
        v->data_length = n;
        return v;
    }

    // value_as_text into a fresh buffer, as a string.
    std::string text(const Value *v)
    {
        std::memset(buf, '#', sizeof buf);
        char *r = value_as_text(v, buf);
        EXPECT_NE(r, nullptr);
        return r ? std::string(r) : std::string("<null>");
    }
    std::string interval(const Value *v, int32_t sql_form)
    {
        std::memset(buf, '#', sizeof buf);
        char *r = interval_as_text(v, buf, sql_form);
        EXPECT_EQ(r, buf);
        return std::string(buf);
    }
    std::string text_ex(const Value *v, int32_t collapse, const char *dp = "<d>",
                        const char *ds = "</d>", const char *tp = "<t>", const char *tsuf = "</t>",
                        const char *tsp = "<ts>", const char *tss = "</ts>",
                        const char *bp = "<b>", const char *bs = "</b>")
    {
        std::memset(buf, '#', sizeof buf);
        char *r = value_as_text_ex(v, buf, dp, ds, tp, tsuf, tsp, tss, bp, bs, collapse);
        EXPECT_EQ(r, buf);
        return std::string(buf);
    }

    char buf[4096];
};

// ---- value_as_text ----

TEST_F(TextCases, NullReturnsTheStaticTextAndLeavesTheBuffer)
{
    static const int32_t types[] = {VALUE_INTEGER, VALUE_DOUBLE, VALUE_STRING, VALUE_DATE,
                                    VALUE_TIMESTAMP, VALUE_INTERVAL_YM, VALUE_BIGINT,
                                    VALUE_BINARY, VALUE_NUMERIC, VALUE_NULL};
    static const int32_t flags[] = {-1, 1};
    for (int32_t type : types) {
        for (int32_t flag : flags) {
            Value *v = make(type);
            v->null_flag = flag;
            char local[16];
            std::strcpy(local, "untouched");
            char *r = value_as_text(v, local);
            ASSERT_NE(r, nullptr);
            EXPECT_STREQ(r, "NULL") << "type " << type;
            EXPECT_NE(r, local);
            EXPECT_STREQ(local, "untouched") << "type " << type;
        }
    }
}

TEST_F(TextCases, IntegersBitsAndBigints)
{
    Value *bit0 = make(VALUE_BIT);
    Value *bit1 = make(VALUE_BIT);
    bit1->payload.integer = 1;
    struct Case {
        Value *v;
        const char *expected;
    };
    const Case cases[] = {
        {make_int(0), "0"},
        {make_int(42), "42"},
        {make_int(-7), "-7"},
        {make_int(2147483647), "2147483647"},
        {make_int(-2147483647 - 1), "-2147483648"},
        {bit0, "0"},
        {bit1, "1"},
        {make_bigint(0), "0"},
        {make_bigint(-5000000000LL), "-5000000000"},
        {make_bigint(4294967297LL), "4294967297"},
        {make_bigint(INT64_MAX), "9223372036854775807"},
        {make_bigint(INT64_MIN), "-9223372036854775808"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(text(c.v), c.expected);
        char *r = value_as_text(c.v, buf);
        EXPECT_EQ(r, buf);
    }
}

TEST_F(TextCases, DoublesLoseTrailingZerosAndPoint)
{
    struct Case {
        double d;
        const char *expected;
    };
    static const Case cases[] = {
        {1.5, "1.5"},
        {2.0, "2"},
        {0.0, "0"},
        {100.0, "100"},
        {10.0, "10"},
        {0.125, "0.125"},
        {-0.5, "-0.5"},
        {-2.0, "-2"},
        {-100.0, "-100"},
        {0.1, "0.1"},
        {123456.789, "123456.789"},
        {1.0 / 3.0, "0.333333"},
        {2.0 / 3.0, "0.666667"},
        {1e-7, "0"},
        {-1e-7, "-0"},
        {1.0000004, "1"},
        {0.000001, "0.000001"},
        {1e20, "100000000000000000000"},
        {-0.0, "-0"},
        {1234567.5, "1234567.5"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(make_double(c.d)), c.expected) << c.d;
}

TEST_F(TextCases, NumericsAsTheirDecimalText)
{
    struct Case {
        uint64_t magnitude;
        int8_t scale;
        uint8_t sign;
        const char *expected;
    };
    static const Case cases[] = {
        {150, 2, 1, "1.5"},
        {200, 2, 1, "2"},
        {0, 2, 1, "0"},
        {1234, 2, 0, "-12.34"},
        {5, 3, 1, "0.005"},
        {5, -2, 1, "500"},
        {0, 0, 0, "-0"},
        {42, 0, 1, "42"},
        {18446744073709551615ULL, 0, 1, "18446744073709551615"},
        {18446744073709551615ULL, 10, 0, "-1844674407.3709551615"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(make_numeric(c.magnitude, c.scale, c.sign)), c.expected);
}

TEST_F(TextCases, StringsAreQuotedWithQuotesDoubled)
{
    struct Case {
        const char *in;
        const char *expected;
    };
    static const Case cases[] = {
        {"O'Brien", "'O''Brien'"},
        {"", "''"},
        {"'", "''''"},
        {"''", "''''''"},
        {"a'b'c", "'a''b''c'"},
        {"plain text", "'plain text'"},
        {"\"double\"", "'\"double\"'"},
        {"'edge'", "'''edge'''"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(make_string(c.in)), c.expected) << c.in;
}

TEST_F(TextCases, LongStringsAreWrittenWhole)
{
    std::string in(2000, 'a');
    in[10] = '\'';
    Value *v = make_string(in.c_str());
    std::string expected = "'" + in.substr(0, 10) + "''" + in.substr(11) + "'";
    EXPECT_EQ(text(v), expected);
}

TEST_F(TextCases, BinariesInUnpaddedUpperHex)
{
    struct Case {
        unsigned char bytes[4];
        int32_t n;
        int32_t declared;
        const char *expected;
    };
    static const Case cases[] = {
        {{0x00, 0xFF}, 2, 2, "B'0FF'"},
        {{0x01, 0x23}, 2, 2, "B'123'"},
        {{0x12, 0x03}, 2, 2, "B'123'"},
        {{0x05}, 1, 1, "B'5'"},
        {{0xAB}, 1, 1, "B'AB'"},
        {{0xde, 0xad, 0xbe, 0xef}, 4, 4, "B'DEADBEEF'"},
        {{0x10, 0x0A}, 2, 8, "B'10A'"},  // only the data length
        {{0}, 0, 4, "B''"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(make_binary(c.bytes, c.n, c.declared)), c.expected);
}

TEST_F(TextCases, DatesTimesAndTimestampsInEscapeBraces)
{
    struct Case {
        Value *v;
        const char *expected;
    };
    const Case cases[] = {
        {make_date(2004, 6, 16), "{d'2004-06-16'}"},
        {make_date(5, 1, 2), "{d'0005-01-02'}"},
        {make_date(0, 0, 0), "{d'0000-00-00'}"},
        {make_date(12345, 12, 31), "{d'12345-12-31'}"},
        {make_date(-1, 1, 1), "{d'-001-01-01'}"},
        {make_time(9, 5, 3), "{t'09:05:03'}"},
        {make_time(23, 59, 59), "{t'23:59:59'}"},
        {make_time(0, 0, 0), "{t'00:00:00'}"},
        {make_time(100, 0, 0), "{t'100:00:00'}"},
        {make_timestamp(2004, 6, 16, 10, 20, 30, 0), "{ts'2004-06-16 10:20:30'}"},
        {make_timestamp(2004, 6, 16, 10, 20, 30, 500000000), "{ts'2004-06-16 10:20:30'}"},
        {make_timestamp(1999, 1, 2, 3, 4, 5, 1), "{ts'1999-01-02 03:04:05'}"},
        {make_timestamp(0, 0, 0, 0, 0, 0, 0), "{ts'0000-00-00 00:00:00'}"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(c.v), c.expected);
}

TEST_F(TextCases, IntervalsInBraces)
{
    struct Case {
        Value *v;
        const char *expected;
    };
    const Case cases[] = {
        {make_interval(1, 0, 3, 0, 0, 0, 0), "{INTERVAL '3' YEAR}"},
        {make_interval(7, 1, 1, 6, 0, 0, 0), "{INTERVAL -'1-06' YEAR TO MONTH}"},
        {make_interval(10, 0, 2, 3, 4, 5, 250000000), "{INTERVAL '2 03:04:05.25' DAY TO SECOND}"},
        {make_interval(13, 0, 0, 0, 12, 30, 500000000, 5, 3),
         "{INTERVAL '12:30.5' MINUTE(5) TO SECOND(3)}"},
        {make_interval(6, 1, 0, 0, 0, 5, 0, 0, 6), "{INTERVAL -'5' SECOND(0,6)}"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(c.v), c.expected);
}

TEST_F(TextCases, NullLiteralHasBlanksAround)
{
    EXPECT_EQ(text(make(VALUE_NULL)), " NULL ");
}

// Types without a text form write an empty text into the buffer.
TEST_F(TextCases, OtherTypesWriteNothing)
{
    static const int32_t types[] = {VALUE_CURRENT_DATE, VALUE_USER, VALUE_CURRENT_TIME,
                                    VALUE_CURRENT_TIMESTAMP, VALUE_LONG_STRING,
                                    VALUE_LONG_BINARY, 0, 6, 19, 28, 99, -9999};
    for (int32_t type : types) {
        Value *v = make(type);
        std::strcpy(buf, "stale");
        char *r = value_as_text(v, buf);
        EXPECT_EQ(r, buf) << "type " << type;
        EXPECT_STREQ(buf, "") << "type " << type;
        std::strcpy(buf, "stale");
        EXPECT_EQ(value_as_text_ex(v, buf, "", "", "", "", "", "", "", "", 0), buf);
        EXPECT_STREQ(buf, "") << "type " << type;
    }
}

// ---- value_as_text_ex ----

TEST_F(TextCases, ExNullIsWrittenIntoTheBuffer)
{
    static const int32_t types[] = {VALUE_INTEGER, VALUE_DATE, VALUE_TIMESTAMP, VALUE_BINARY,
                                    VALUE_STRING, VALUE_NULL, VALUE_INTERVAL_DS};
    for (int32_t type : types) {
        Value *v = make(type);
        v->null_flag = -1;
        EXPECT_EQ(text_ex(v, 0), "NULL") << "type " << type;
        EXPECT_EQ(text_ex(v, 1), "NULL") << "type " << type;
        v->null_flag = 1;
        EXPECT_EQ(text_ex(v, 0), "NULL") << "type " << type;
    }
}

TEST_F(TextCases, ExDatesAndTimesWithTheCallersDelimiters)
{
    EXPECT_EQ(text_ex(make_date(2004, 6, 16), 0), "<d>2004-06-16</d>");
    EXPECT_EQ(text_ex(make_date(2004, 6, 16), 1), "<d>2004-06-16</d>");
    EXPECT_EQ(text_ex(make_date(7, 8, 9), 0, "#", "#"), "#0007-08-09#");
    EXPECT_EQ(text_ex(make_date(2004, 6, 16), 0, "DATE '", "'"), "DATE '2004-06-16'");
    EXPECT_EQ(text_ex(make_date(2004, 6, 16), 0, "", ""), "2004-06-16");
    EXPECT_EQ(text_ex(make_time(9, 5, 3), 0), "<t>09:05:03</t>");
    EXPECT_EQ(text_ex(make_time(0, 0, 0), 1), "<t>00:00:00</t>");
    EXPECT_EQ(text_ex(make_time(10, 20, 30), 0, "", "", "TIME '", "'"), "TIME '10:20:30'");
}

TEST_F(TextCases, ExBinaries)
{
    const unsigned char b1[] = {0x00, 0xFF};
    const unsigned char b2[] = {0x0A, 0xBC, 0x01};
    EXPECT_EQ(text_ex(make_binary(b1, 2, 2), 0), "<b>0FF</b>");
    EXPECT_EQ(text_ex(make_binary(b2, 3, 10), 0, "", "", "", "", "", "", "0x", ""), "0xABC1");
    EXPECT_EQ(text_ex(make_binary(b2, 3, 3), 0, "", "", "", "", "", "", "X'", "'"), "X'ABC1'");
    // Nothing held: two quotes whatever the delimiters.
    EXPECT_EQ(text_ex(make_binary(b1, 0, 2), 0), "''");
    Value *neg = make_binary(b1, 0, 2);
    neg->data_length = -1;
    EXPECT_EQ(text_ex(neg, 0), "''");
}

TEST_F(TextCases, ExTimestamps)
{
    struct Case {
        Value *v;
        int32_t collapse;
        const char *expected;
    };
    const Case cases[] = {
        {make_timestamp(2004, 6, 16, 10, 20, 30, 0), 0, "<ts>2004-06-16 10:20:30</ts>"},
        {make_timestamp(2004, 6, 16, 10, 20, 30, 123456789), 0, "<ts>2004-06-16 10:20:30</ts>"},
        {make_timestamp(2004, 6, 16, 0, 0, 0, 0), 0, "<ts>2004-06-16 00:00:00</ts>"},
        {make_timestamp(0, 0, 0, 0, 0, 0, 0), 0, "<ts>0000-00-00 00:00:00</ts>"},
        {make_timestamp(0, 0, 0, 10, 20, 30, 0), 0, "<ts>0000-00-00 10:20:30</ts>"},
        // Collapsed.
        {make_timestamp(0, 0, 0, 0, 0, 0, 0), 1, "NULL"},
        {make_timestamp(0, 0, 0, 0, 0, 0, 999), 1, "NULL"},
        {make_timestamp(2004, 6, 16, 0, 0, 0, 0), 1, "<ts>2004-06-16</ts>"},
        {make_timestamp(2004, 6, 16, 0, 0, 0, 500), 1, "<ts>2004-06-16</ts>"},
        {make_timestamp(2004, 6, 16, 0, 0, 59, 0), 1, "<ts>2004-06-16 00:00:59</ts>"},
        {make_timestamp(2004, 6, 16, 0, 1, 0, 0), 1, "<ts>2004-06-16 00:01:00</ts>"},
        {make_timestamp(2004, 6, 16, 1, 0, 0, 0), 1, "<ts>2004-06-16 01:00:00</ts>"},
        {make_timestamp(0, 0, 0, 10, 20, 30, 0), 1, "<ts>10-20-30</ts>"},
        {make_timestamp(0, 0, 0, 1, 2, 3, 7), 1, "<ts>01-02-03</ts>"},
        {make_timestamp(0, 0, 0, 0, 0, 5, 0), 1, "<ts>00-00-05</ts>"},
        {make_timestamp(0, 1, 0, 0, 0, 0, 0), 1, "<ts>0000-01-00</ts>"},
        {make_timestamp(0, 0, 1, 1, 0, 0, 0), 1, "<ts>0000-00-01 01:00:00</ts>"},
        {make_timestamp(1, 0, 0, 0, 0, 0, 0), 1, "<ts>0001-00-00</ts>"},
        {make_timestamp(2004, 6, 16, 10, 20, 30, 0), 1, "<ts>2004-06-16 10:20:30</ts>"},
        {make_timestamp(2004, 6, 16, 10, 20, 30, 0), -1, "<ts>2004-06-16 10:20:30</ts>"},
        {make_timestamp(0, 0, 0, 0, 0, 0, 0), 7, "NULL"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text_ex(c.v, c.collapse), c.expected);
    // The date and time delimiters play no part.
    EXPECT_EQ(text_ex(make_timestamp(2004, 6, 16, 0, 0, 0, 0), 1, "D", "D", "T", "T", "{ts '", "'}"),
              "{ts '2004-06-16'}");
    EXPECT_EQ(text_ex(make_timestamp(0, 0, 0, 10, 20, 30, 0), 1, "D", "D", "T", "T", "'", "'"),
              "'10-20-30'");
    EXPECT_EQ(text_ex(make_timestamp(2004, 6, 16, 10, 20, 30, 0), 0, "D", "D", "T", "T", "", ""),
              "2004-06-16 10:20:30");
}

TEST_F(TextCases, ExOtherTypesAsValueAsText)
{
    struct Case {
        Value *v;
        const char *expected;
    };
    const Case cases[] = {
        {make_int(-12), "-12"},
        {make_double(2.5), "2.5"},
        {make_double(100.0), "100"},
        {make_string("O'Brien"), "'O''Brien'"},
        {make_numeric(150, 2, 1), "1.5"},
        {make_bigint(-5000000000LL), "-5000000000"},
        {make(VALUE_NULL), " NULL "},
        {make_interval(1, 0, 3, 0, 0, 0, 0), "{INTERVAL '3' YEAR}"},
        {make_interval(3, 1, 4, 0, 0, 0, 0), "{INTERVAL -'4' DAY}"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(text_ex(c.v, 0), c.expected);
        EXPECT_EQ(text_ex(c.v, 1), c.expected);
    }
}

// ---- interval_as_text ----

struct IntervalCase {
    int32_t kind;
    int16_t sign;
    uint32_t w0, w1, w2, w3, fraction;
    intptr_t lp, sp;
    const char *bare;
    const char *sql;
};

// Default precisions (2 and 6), every kind, with and without sign and fraction.
const IntervalCase default_cases[] = {
    {1, 0, 3, 0, 0, 0, 0, 2, 6, "3", "INTERVAL '3' YEAR"},
    {1, 1, 3, 0, 0, 0, 0, 2, 6, "-3", "INTERVAL -'3' YEAR"},
    {1, 0, 123456, 0, 0, 0, 0, 2, 6, "123456", "INTERVAL '123456' YEAR"},
    {2, 0, 99, 6, 0, 0, 0, 2, 6, "6", "INTERVAL '6' MONTH"},
    {2, 1, 99, 14, 0, 0, 0, 2, 6, "-14", "INTERVAL -'14' MONTH"},
    {3, 0, 4, 99, 99, 99, 0, 2, 6, "4", "INTERVAL '4' DAY"},
    {3, 0, 0, 0, 0, 0, 0, 2, 6, "0", "INTERVAL '0' DAY"},
    {4, 0, 99, 5, 98, 97, 0, 2, 6, "5", "INTERVAL '5' HOUR"},
    {4, 1, 99, 25, 98, 97, 0, 2, 6, "-25", "INTERVAL -'25' HOUR"},
    {5, 0, 99, 98, 7, 97, 0, 2, 6, "7", "INTERVAL '7' MINUTE"},
    {6, 0, 99, 98, 97, 5, 0, 2, 6, "5", "INTERVAL '5' SECOND"},
    {6, 1, 99, 98, 97, 5, 0, 2, 6, "-5", "INTERVAL -'5' SECOND"},
    {6, 0, 0, 0, 0, 5, 500000000, 2, 6, "5.5", "INTERVAL '5.5' SECOND"},
    {6, 0, 0, 0, 0, 0, 250000000, 2, 6, "0.25", "INTERVAL '0.25' SECOND"},
    {6, 0, 0, 0, 0, 1, 1000, 2, 6, "1.000001", "INTERVAL '1.000001' SECOND"},
    {6, 0, 0, 0, 0, 1, 1, 2, 6, "1.000000001", "INTERVAL '1.000000001' SECOND"},
    {6, 0, 0, 0, 0, 1, 123456789, 2, 6, "1.123456789", "INTERVAL '1.123456789' SECOND"},
    {6, 0, 0, 0, 0, 1, 100, 2, 6, "1.0000001", "INTERVAL '1.0000001' SECOND"},
    {6, 1, 0, 0, 0, 75, 10000000, 2, 6, "-75.01", "INTERVAL -'75.01' SECOND"},
    {7, 0, 1, 6, 0, 0, 0, 2, 6, "1-06", "INTERVAL '1-06' YEAR TO MONTH"},
    {7, 1, 1, 6, 0, 0, 0, 2, 6, "-1-06", "INTERVAL -'1-06' YEAR TO MONTH"},
    {7, 0, 100, 11, 0, 0, 0, 2, 6, "100-11", "INTERVAL '100-11' YEAR TO MONTH"},
    {7, 0, 0, 0, 0, 0, 0, 2, 6, "0-00", "INTERVAL '0-00' YEAR TO MONTH"},
    {8, 0, 2, 3, 99, 99, 0, 2, 6, "2 03", "INTERVAL '2 03' DAY TO HOUR"},
    {8, 1, 12, 23, 99, 99, 0, 2, 6, "-12 23", "INTERVAL -'12 23' DAY TO HOUR"},
    {9, 0, 2, 3, 4, 99, 0, 2, 6, "2 03:04", "INTERVAL '2 03:04' DAY TO MINUTE"},
    {9, 0, 2, 3, 4, 99, 500000000, 2, 6, "2 03:04", "INTERVAL '2 03:04' DAY TO MINUTE"},
    {10, 0, 2, 3, 4, 5, 0, 2, 6, "2 03:04:05", "INTERVAL '2 03:04:05' DAY TO SECOND"},
    {10, 0, 2, 3, 4, 5, 250000000, 2, 6, "2 03:04:05.25",
     "INTERVAL '2 03:04:05.25' DAY TO SECOND"},
    {10, 1, 0, 0, 0, 0, 1000, 2, 6, "-0 00:00:00.000001",
     "INTERVAL -'0 00:00:00.000001' DAY TO SECOND"},
    {11, 0, 99, 3, 4, 98, 0, 2, 6, "3:04", "INTERVAL '3:04' HOUR TO MINUTE"},
    {11, 1, 99, 13, 59, 98, 500000000, 2, 6, "-13:59", "INTERVAL -'13:59' HOUR TO MINUTE"},
    {12, 0, 99, 3, 4, 5, 0, 2, 6, "3:04:05", "INTERVAL '3:04:05' HOUR TO SECOND"},
    {12, 0, 99, 3, 4, 5, 900000000, 2, 6, "3:04:05.9", "INTERVAL '3:04:05.9' HOUR TO SECOND"},
    {12, 1, 99, 100, 0, 9, 0, 2, 6, "-100:00:09", "INTERVAL -'100:00:09' HOUR TO SECOND"},
    {13, 0, 99, 98, 12, 30, 0, 2, 6, "12:30", "INTERVAL '12:30' MINUTE TO SECOND"},
    {13, 0, 99, 98, 12, 30, 500000000, 2, 6, "12:30.5", "INTERVAL '12:30.5' MINUTE TO SECOND"},
    {13, 1, 99, 98, 0, 7, 120000000, 2, 6, "-0:07.12", "INTERVAL -'0:07.12' MINUTE TO SECOND"},
};

TEST_F(TextCases, IntervalsWithDefaultPrecisions)
{
    for (const IntervalCase &c : default_cases) {
        Value *v = make_interval(c.kind, c.sign, c.w0, c.w1, c.w2, c.w3, c.fraction, c.lp, c.sp);
        EXPECT_EQ(interval(v, 0), c.bare) << "kind " << c.kind;
        EXPECT_EQ(interval(v, 1), c.sql) << "kind " << c.kind;
        EXPECT_EQ(interval(v, 5), c.sql) << "kind " << c.kind;
    }
}

// The qualifier tail of the SQL form; the bare form never carries it.
const IntervalCase precision_cases[] = {
    // Single-field kinds: leading precision unless 2 or 0.
    {1, 0, 3, 0, 0, 0, 0, 4, 6, "3", "INTERVAL '3' YEAR(4)"},
    {1, 0, 3, 0, 0, 0, 0, 0, 6, "3", "INTERVAL '3' YEAR"},
    {1, 0, 3, 0, 0, 0, 0, 0, 0, "3", "INTERVAL '3' YEAR"},
    {1, 0, 3, 0, 0, 0, 0, 1, 6, "3", "INTERVAL '3' YEAR(1)"},
    {1, 0, 3, 0, 0, 0, 0, 2, 3, "3", "INTERVAL '3' YEAR"},
    {2, 1, 0, 6, 0, 0, 0, 9, 6, "-6", "INTERVAL -'6' MONTH(9)"},
    {3, 0, 4, 0, 0, 0, 0, 5, 3, "4", "INTERVAL '4' DAY(5)"},
    {4, 0, 0, 5, 0, 0, 0, 3, 6, "5", "INTERVAL '5' HOUR(3)"},
    {5, 0, 0, 0, 7, 0, 0, 10, 6, "7", "INTERVAL '7' MINUTE(10)"},
    // Second: both precisions unless exactly 2 and 6.
    {6, 0, 0, 0, 0, 5, 0, 2, 6, "5", "INTERVAL '5' SECOND"},
    {6, 0, 0, 0, 0, 5, 0, 0, 6, "5", "INTERVAL '5' SECOND(0,6)"},
    {6, 0, 0, 0, 0, 5, 0, 0, 0, "5", "INTERVAL '5' SECOND(0,0)"},
    {6, 0, 0, 0, 0, 5, 0, 2, 3, "5", "INTERVAL '5' SECOND(2,3)"},
    {6, 0, 0, 0, 0, 5, 500000000, 4, 6, "5.5", "INTERVAL '5.5' SECOND(4,6)"},
    {6, 1, 0, 0, 0, 5, 500000000, 3, 2, "-5.5", "INTERVAL -'5.5' SECOND(3,2)"},
    // Year to month, day to hour, day to minute, hour to minute.
    {7, 0, 1, 6, 0, 0, 0, 5, 6, "1-06", "INTERVAL '1-06' YEAR(5) TO MONTH"},
    {7, 0, 1, 6, 0, 0, 0, 0, 0, "1-06", "INTERVAL '1-06' YEAR TO MONTH"},
    {7, 1, 1, 6, 0, 0, 0, 2, 3, "-1-06", "INTERVAL -'1-06' YEAR TO MONTH"},
    {8, 0, 2, 3, 0, 0, 0, 3, 6, "2 03", "INTERVAL '2 03' DAY(3) TO HOUR"},
    {8, 0, 2, 3, 0, 0, 0, 0, 9, "2 03", "INTERVAL '2 03' DAY TO HOUR"},
    {9, 0, 2, 3, 4, 0, 0, 4, 6, "2 03:04", "INTERVAL '2 03:04' DAY(4) TO MINUTE"},
    {11, 0, 0, 3, 4, 0, 0, 7, 1, "3:04", "INTERVAL '3:04' HOUR(7) TO MINUTE"},
    {11, 0, 0, 3, 4, 0, 0, 0, 1, "3:04", "INTERVAL '3:04' HOUR TO MINUTE"},
    // Day to second and hour to second: seconds precision unless 6 or 0.
    {10, 0, 2, 3, 4, 5, 0, 2, 3, "2 03:04:05", "INTERVAL '2 03:04:05' DAY TO SECOND(3)"},
    {10, 0, 2, 3, 4, 5, 0, 2, 0, "2 03:04:05", "INTERVAL '2 03:04:05' DAY TO SECOND"},
    {10, 0, 2, 3, 4, 5, 0, 0, 0, "2 03:04:05", "INTERVAL '2 03:04:05' DAY TO SECOND"},
    {10, 0, 2, 3, 4, 5, 0, 0, 3, "2 03:04:05", "INTERVAL '2 03:04:05' DAY TO SECOND(3)"},
    {10, 0, 2, 3, 4, 5, 250000000, 5, 6, "2 03:04:05.25",
     "INTERVAL '2 03:04:05.25' DAY(5) TO SECOND"},
    {10, 1, 2, 3, 4, 5, 250000000, 5, 2, "-2 03:04:05.25",
     "INTERVAL -'2 03:04:05.25' DAY(5) TO SECOND(2)"},
    {12, 0, 0, 3, 4, 5, 0, 2, 9, "3:04:05", "INTERVAL '3:04:05' HOUR TO SECOND(9)"},
    {12, 0, 0, 3, 4, 5, 0, 3, 0, "3:04:05", "INTERVAL '3:04:05' HOUR(3) TO SECOND"},
    {12, 0, 0, 3, 4, 5, 0, 0, 1, "3:04:05", "INTERVAL '3:04:05' HOUR TO SECOND(1)"},
    // Minute to second tests the leading precision instead.
    {13, 0, 0, 0, 12, 30, 500000000, 5, 3, "12:30.5", "INTERVAL '12:30.5' MINUTE(5) TO SECOND(3)"},
    {13, 0, 0, 0, 12, 30, 0, 0, 3, "12:30", "INTERVAL '12:30' MINUTE TO SECOND"},
    {13, 0, 0, 0, 12, 30, 0, 2, 0, "12:30", "INTERVAL '12:30' MINUTE TO SECOND(0)"},
    {13, 0, 0, 0, 12, 30, 0, 0, 0, "12:30", "INTERVAL '12:30' MINUTE TO SECOND"},
    {13, 0, 0, 0, 12, 30, 0, 4, 6, "12:30", "INTERVAL '12:30' MINUTE(4) TO SECOND"},
    {13, 0, 0, 0, 12, 30, 0, 0, 6, "12:30", "INTERVAL '12:30' MINUTE TO SECOND"},
    {13, 1, 0, 0, 12, 30, 0, 2, 3, "-12:30", "INTERVAL -'12:30' MINUTE TO SECOND(3)"},
};

TEST_F(TextCases, IntervalQualifierTails)
{
    for (const IntervalCase &c : precision_cases) {
        Value *v = make_interval(c.kind, c.sign, c.w0, c.w1, c.w2, c.w3, c.fraction, c.lp, c.sp);
        EXPECT_EQ(interval(v, 0), c.bare) << "kind " << c.kind << " lp " << c.lp << " sp " << c.sp;
        EXPECT_EQ(interval(v, 1), c.sql) << "kind " << c.kind << " lp " << c.lp << " sp " << c.sp;
    }
}

// Only a sign of exactly 1 is negative; an unknown kind stops after the
// opening of the literal.
TEST_F(TextCases, IntervalSignAndUnknownKinds)
{
    EXPECT_EQ(interval(make_interval(1, 2, 3, 0, 0, 0, 0), 1), "INTERVAL '3' YEAR");
    EXPECT_EQ(interval(make_interval(1, -1, 3, 0, 0, 0, 0), 0), "3");
    EXPECT_EQ(interval(make_interval(0, 0, 3, 0, 0, 0, 0), 1), "INTERVAL '");
    EXPECT_EQ(interval(make_interval(14, 1, 3, 0, 0, 0, 0), 1), "INTERVAL -'");
    EXPECT_EQ(interval(make_interval(14, 0, 3, 0, 0, 0, 0), 0), "");
    EXPECT_EQ(interval(make_interval(0, 1, 3, 0, 0, 0, 0), 0), "-");
}

// The longest interval text still fits the 128 octets the header promises.
TEST_F(TextCases, LongestIntervalFitsInAHundredAndTwentyEightOctets)
{
    Value *v = make_interval(10, 1, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu,
                             123456789, -2147483647 - 1, -2147483647 - 1);
    char *small = new char[128];
    EXPECT_EQ(interval_as_text(v, small, 1), small);
    size_t n = std::strlen(small);
    EXPECT_LT(n, 128u);
    EXPECT_EQ(std::string(small).rfind("INTERVAL -'", 0), 0u);
    EXPECT_NE(std::string(small).find(".123456789' DAY("), std::string::npos);
    delete[] small;
}

TEST_F(TextCases, BinaryWithNegativeDataLengthIsEmpty)
{
    const unsigned char b[] = {0x12};
    Value *v = make_binary(b, 1, 1);
    v->data_length = -5;
    EXPECT_EQ(text(v), "B''");
}

TEST_F(TextCases, HugeDoublesAreWrittenWhole)
{
    std::string t = text(make_double(1e300));
    ASSERT_EQ(t.size(), 301u);
    EXPECT_EQ(t[0], '1');
    EXPECT_EQ(t.find('.'), std::string::npos);
    t = text(make_double(-1e300));
    EXPECT_EQ(t.size(), 302u);
    EXPECT_EQ(t[0], '-');
}

// ---- bounded variants ----

TEST_F(TextCases, BoundedVariantsCutAndReportTheFullLength)
{
    Value *s = make_string("O'Brien");  // 'O''Brien' is 10 octets
    size_t length = 0;
    char small[6];
    const char *r = value_as_text_n(s, small, sizeof small, &length);
    EXPECT_EQ(r, small);
    EXPECT_EQ(length, 10u);
    EXPECT_STREQ(small, "'O''B");
    char big[64];
    r = value_as_text_n(s, big, sizeof big, &length);
    EXPECT_EQ(length, 10u);
    EXPECT_STREQ(big, "'O''Brien'");

    Value *ts = make_timestamp(2004, 6, 16, 0, 0, 0, 0);
    char *rx = value_as_text_ex_n(ts, big, sizeof big, &length, "", "", "", "", "'", "'", "", "", 1);
    EXPECT_EQ(rx, big);
    EXPECT_STREQ(big, "'2004-06-16'");
    EXPECT_EQ(length, 12u);
    rx = value_as_text_ex_n(ts, small, sizeof small, &length, "", "", "", "", "'", "'", "", "", 1);
    EXPECT_STREQ(small, "'2004");
    EXPECT_EQ(length, 12u);
}

}  // namespace
