// Tests of the value text forms: value_as_text, value_as_text_ex,
// interval_as_text and the bounded value_as_text_n / value_as_text_ex_n.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

class ValueTextTest : public kxtest::ValueFixture {
protected:
    Value *make(int32_t type) override
    {
        Value *v = ValueFixture::make(type);
        v->attr[2] = 2;  // the interval precisions' defaults
        v->attr[3] = 6;
        return v;
    }
    Value *make_string(const char *text)
    {
        Value *v = make(VALUE_STRING);
        v->payload.text = const_cast<char *>(text);
        v->length = static_cast<int32_t>(std::strlen(text));
        return v;
    }
    Value *make_binary(const unsigned char *octets, int32_t length,
                       int32_t data_length)
    {
        Value *v = make(VALUE_BINARY);
        v->payload.bytes = const_cast<unsigned char *>(octets);
        v->length = length;
        v->data_length = data_length;
        return v;
    }
    Value *make_numeric(uint64_t magnitude, int8_t scale, uint8_t sign)
    {
        return ValueFixture::make_numeric(magnitude, scale, sign, 20);
    }

    std::string text(const Value *v)
    {
        char buf[1024];
        std::memset(buf, '#', sizeof buf);
        const char *result = value_as_text(v, buf);
        return result;
    }

    std::string interval(const Value *v, int sql_form)
    {
        char buf[256];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(interval_as_text(v, buf, sql_form), buf);
        return buf;
    }
};

// ---- value_as_text ----

TEST_F(ValueTextTest, EveryTypeInItsLiteralForm)
{
    static const unsigned char zero_ff[] = {0x00, 0xFF};
    static const unsigned char a[] = {0x01, 0x23};
    static const unsigned char b[] = {0x12, 0x03};
    static const unsigned char padded[] = {0xAB, 0x05, 0x77, 0x00};
    struct Case {
        const char *label;
        Value *value;
        const char *expected;
    } const cases[] = {
        {"integer", make_int(42), "42"},
        {"negative integer", make_int(-2147483647 - 1), "-2147483648"},
        {"double 1.5", make_double(1.5), "1.5"},
        {"double 2.0", make_double(2.0), "2"},
        {"double 0.0", make_double(0.0), "0"},
        {"double 100.0", make_double(100.0), "100"},
        {"double 0.125", make_double(0.125), "0.125"},
        {"double -0.5", make_double(-0.5), "-0.5"},
        {"double 10.25", make_double(10.25), "10.25"},
        {"double 1e20", make_double(1e20), "100000000000000000000"},
        {"double below %f precision", make_double(1e-7), "0"},
        {"double rounded by %f", make_double(0.1234567), "0.123457"},
        {"double -0.0", make_double(-0.0), "-0"},
        {"numeric 1.5", make_numeric(150, 2, 1), "1.5"},
        {"numeric -0.005", make_numeric(5, 3, 0), "-0.005"},
        {"numeric 1200", make_numeric(12, -2, 1), "1200"},
        {"numeric negative zero", make_numeric(0, 0, 0), "-0"},
        {"string", make_string("abc"), "'abc'"},
        {"string O'Brien", make_string("O'Brien"), "'O''Brien'"},
        {"string of quotes", make_string("''"), "''''''"},
        {"string ending in a quote", make_string("a'"), "'a'''"},
        {"empty string", make_string(""), "''"},
        {"binary 00 FF", make_binary(zero_ff, 2, 2), "B'0FF'"},
        {"binary 01 23", make_binary(a, 2, 2), "B'123'"},
        {"binary 12 03", make_binary(b, 2, 2), "B'123'"},
        {"binary by data length", make_binary(padded, 4, 3), "B'AB577'"},
        {"empty binary", make_binary(padded, 4, 0), "B''"},
        {"date", make_date(2004, 6, 16), "{d'2004-06-16'}"},
        {"date with a short year", make_date(5, 1, 2), "{d'0005-01-02'}"},
        {"time", make_time(1, 2, 3), "{t'01:02:03'}"},
        {"timestamp", make_timestamp(2004, 6, 16, 10, 20, 30, 123456789),
         "{ts'2004-06-16 10:20:30'}"},
        {"interval", make_interval(1, 0, 3, 0, 0, 0, 0), "{INTERVAL '3' YEAR}"},
        {"negative interval", make_interval(7, 1, 1, 6, 0, 0, 0),
         "{INTERVAL -'1-06' YEAR TO MONTH}"},
        {"NULL literal", make(VALUE_NULL), " NULL "},
        {"bigint", make_bigint(-9223372036854775807LL - 1), "-9223372036854775808"},
        {"bigint 2^32", make_bigint(4294967296LL), "4294967296"},
        {"bit", [this] { Value *v = make(VALUE_BIT); v->payload.integer = 1; return v; }(), "1"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(c.value), c.expected) << c.label;
}

TEST_F(ValueTextTest, TypesWithoutATextWriteTheEmptyString)
{
    const int32_t types[] = {VALUE_LONG_STRING, VALUE_LONG_BINARY,
                             VALUE_CURRENT_DATE, VALUE_USER,
                             VALUE_CURRENT_TIME, VALUE_CURRENT_TIMESTAMP,
                             6, 19, 28, 0, 99, -9999};
    for (int32_t type : types) {
        Value *v = make(type);
        char buf[16];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(value_as_text(v, buf), buf) << type;
        EXPECT_STREQ(buf, "") << type;
    }
}

TEST_F(ValueTextTest, NullReturnsTheStaticTextAndLeavesTheBuffer)
{
    const int32_t flags[] = {-1, 1};
    for (int32_t flag : flags) {
        Value *v = make_string("abc");
        v->null_flag = flag;
        char buf[8] = "xyz";
        const char *result = value_as_text(v, buf);
        EXPECT_NE(result, buf);
        EXPECT_STREQ(result, "NULL");
        EXPECT_STREQ(buf, "xyz");
    }
}

// ---- value_as_text_ex ----

TEST_F(ValueTextTest, ExWritesNullIntoTheBuffer)
{
    Value *v = make_date(2004, 6, 16);
    v->null_flag = -1;
    char buf[16] = "xyz";
    EXPECT_EQ(value_as_text_ex(v, buf, "D", "D", "T", "T", "S", "S", "B", "B", 0), buf);
    EXPECT_STREQ(buf, "NULL");
}

TEST_F(ValueTextTest, ExUsesTheCallersDelimiters)
{
    static const unsigned char zero_ff[] = {0x00, 0xFF};
    static const unsigned char five[] = {0x05};
    struct Case {
        const char *label;
        Value *value;
        int32_t collapse;
        const char *expected;
    } const cases[] = {
        {"date", make_date(2004, 6, 16), 0, "DATE '2004-06-16'"},
        {"time", make_time(10, 20, 30), 0, "TIME '10:20:30'"},
        {"binary", make_binary(zero_ff, 2, 2), 0, "X'0FF'"},
        {"binary unpadded", make_binary(five, 1, 1), 0, "X'5'"},
        {"empty binary", make_binary(zero_ff, 2, 0), 0, "''"},
        {"negative data length", make_binary(zero_ff, 2, -1), 0, "''"},
        {"timestamp", make_timestamp(2004, 6, 16, 0, 0, 0), 0,
         "TIMESTAMP '2004-06-16 00:00:00'"},
        {"timestamp fraction never shown", make_timestamp(2004, 6, 16, 1, 2, 3, 5), 0,
         "TIMESTAMP '2004-06-16 01:02:03'"},
        {"collapsed midnight", make_timestamp(2004, 6, 16, 0, 0, 0), 1,
         "TIMESTAMP '2004-06-16'"},
        {"collapsed with seconds", make_timestamp(2004, 6, 16, 0, 0, 59), 1,
         "TIMESTAMP '2004-06-16 00:00:59'"},
        {"collapsed zero date", make_timestamp(0, 0, 0, 10, 20, 30), 1,
         "TIMESTAMP '10-20-30'"},
        {"collapsed all zero", make_timestamp(0, 0, 0, 0, 0, 0, 999), 1, "NULL"},
        {"collapse any nonzero", make_timestamp(2004, 6, 16, 0, 0, 0), -3,
         "TIMESTAMP '2004-06-16'"},
        {"collapsed partial date", make_timestamp(0, 6, 0, 10, 0, 0), 1,
         "TIMESTAMP '0000-06-00 10:00:00'"},
        {"string", make_string("O'Brien"), 0, "'O''Brien'"},
        {"integer", make_int(7), 1, "7"},
        {"interval", make_interval(3, 0, 4, 0, 0, 0, 0), 0, "{INTERVAL '4' DAY}"},
        {"long string", make(VALUE_LONG_STRING), 0, ""},
    };
    for (const Case &c : cases) {
        char buf[256];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(value_as_text_ex(c.value, buf, "DATE '", "'", "TIME '", "'",
                                   "TIMESTAMP '", "'", "X'", "'", c.collapse),
                  buf);
        EXPECT_STREQ(buf, c.expected) << c.label;
    }
}

TEST_F(ValueTextTest, ExCollapsedTimeUsesTheTimestampDelimitersOnly)
{
    Value *v = make_timestamp(0, 0, 0, 10, 20, 30);
    char buf[64];
    value_as_text_ex(v, buf, "<d>", "</d>", "<t>", "</t>", "<ts>", "</ts>",
                     "<b>", "</b>", 1);
    EXPECT_STREQ(buf, "<ts>10-20-30</ts>");
    Value *d = make_timestamp(2004, 6, 16, 0, 0, 0);
    value_as_text_ex(d, buf, "<d>", "</d>", "<t>", "</t>", "<ts>", "</ts>",
                     "<b>", "</b>", 1);
    EXPECT_STREQ(buf, "<ts>2004-06-16</ts>");
}

TEST_F(ValueTextTest, ExWithLongDelimiters)
{
    std::string prefix(300, 'p');
    Value *v = make_date(2004, 6, 16);
    char buf[700];
    value_as_text_ex(v, buf, prefix.c_str(), "s", "", "", "", "", "", "", 0);
    EXPECT_EQ(std::string(buf), prefix + "2004-06-16s");
}

// ---- interval_as_text ----

TEST_F(ValueTextTest, IntervalForms)
{
    struct Case {
        int32_t kind;
        int16_t sign;
        uint32_t w1, w2, w3, w4, fraction;
        intptr_t lp, sp;
        const char *sql;
        const char *bare;
    } const cases[] = {
        // the examples
        {1, 0, 3, 0, 0, 0, 0, 2, 6, "INTERVAL '3' YEAR", "3"},
        {7, 1, 1, 6, 0, 0, 0, 2, 6, "INTERVAL -'1-06' YEAR TO MONTH", "-1-06"},
        {10, 0, 2, 3, 4, 5, 250000000, 2, 6,
         "INTERVAL '2 03:04:05.25' DAY TO SECOND", "2 03:04:05.25"},
        {13, 0, 0, 0, 12, 30, 500000000, 5, 3,
         "INTERVAL '12:30.5' MINUTE(5) TO SECOND(3)", "12:30.5"},
        // seconds alone
        {6, 0, 0, 0, 0, 5, 0, 2, 6, "INTERVAL '5' SECOND", "5"},
        {6, 0, 0, 0, 0, 5, 0, 0, 6, "INTERVAL '5' SECOND(0,6)", "5"},
        {6, 0, 0, 0, 0, 5, 0, 2, 3, "INTERVAL '5' SECOND(2,3)", "5"},
        {6, 1, 0, 0, 0, 5, 500000000, 2, 6, "INTERVAL -'5.5' SECOND", "-5.5"},
        {6, 0, 0, 0, 0, 0, 1000, 2, 6, "INTERVAL '0.000001' SECOND", "0.000001"},
        {6, 0, 0, 0, 0, 7, 123456789, 4, 9, "INTERVAL '7.123456789' SECOND(4,9)",
         "7.123456789"},
        // single fields read their own slots
        {2, 0, 99, 11, 0, 0, 0, 2, 6, "INTERVAL '11' MONTH", "11"},
        {3, 0, 45, 11, 0, 0, 0, 2, 6, "INTERVAL '45' DAY", "45"},
        {4, 0, 45, 11, 0, 0, 0, 2, 6, "INTERVAL '11' HOUR", "11"},
        {5, 0, 45, 11, 59, 0, 0, 2, 6, "INTERVAL '59' MINUTE", "59"},
        {1, 0, 3, 0, 0, 0, 0, 0, 6, "INTERVAL '3' YEAR", "3"},
        {1, 0, 3, 0, 0, 0, 0, 5, 6, "INTERVAL '3' YEAR(5)", "3"},
        {5, 1, 0, 0, 1234, 0, 0, 4, 0, "INTERVAL -'1234' MINUTE(4)", "-1234"},
        // fields that end before seconds ignore the fraction
        {3, 0, 45, 0, 0, 0, 7, 2, 6, "INTERVAL '45' DAY", "45"},
        {9, 0, 1, 2, 3, 0, 7, 2, 6, "INTERVAL '1 02:03' DAY TO MINUTE", "1 02:03"},
        // two-field kinds
        {7, 0, 10, 0, 0, 0, 0, 3, 6, "INTERVAL '10-00' YEAR(3) TO MONTH", "10-00"},
        {8, 0, 1, 2, 0, 0, 0, 2, 6, "INTERVAL '1 02' DAY TO HOUR", "1 02"},
        {9, 0, 1, 2, 3, 0, 0, 3, 6, "INTERVAL '1 02:03' DAY(3) TO MINUTE", "1 02:03"},
        {11, 0, 0, 2, 3, 0, 0, 2, 6, "INTERVAL '2:03' HOUR TO MINUTE", "2:03"},
        {11, 0, 0, 2, 3, 0, 0, 0, 1, "INTERVAL '2:03' HOUR TO MINUTE", "2:03"},
        {12, 0, 0, 2, 3, 4, 0, 2, 6, "INTERVAL '2:03:04' HOUR TO SECOND", "2:03:04"},
        {12, 0, 0, 2, 3, 4, 0, 4, 0, "INTERVAL '2:03:04' HOUR(4) TO SECOND", "2:03:04"},
        {12, 0, 0, 2, 3, 4, 10, 2, 9,
         "INTERVAL '2:03:04.00000001' HOUR TO SECOND(9)", "2:03:04.00000001"},
        {10, 0, 1, 2, 3, 4, 0, 2, 6, "INTERVAL '1 02:03:04' DAY TO SECOND", "1 02:03:04"},
        {10, 0, 1, 2, 3, 4, 0, 0, 3, "INTERVAL '1 02:03:04' DAY TO SECOND(3)",
         "1 02:03:04"},
        {10, 0, 1, 2, 3, 4, 0, 5, 0, "INTERVAL '1 02:03:04' DAY(5) TO SECOND",
         "1 02:03:04"},
        // minute to second tests the leading precision where the others
        // test the seconds precision
        {13, 0, 0, 0, 12, 30, 0, 0, 3, "INTERVAL '12:30' MINUTE TO SECOND", "12:30"},
        {13, 0, 0, 0, 12, 30, 0, 2, 0, "INTERVAL '12:30' MINUTE TO SECOND(0)", "12:30"},
        {13, 0, 0, 0, 12, 30, 0, 2, 6, "INTERVAL '12:30' MINUTE TO SECOND", "12:30"},
        {13, 0, 0, 0, 12, 30, 0, 5, 6, "INTERVAL '12:30' MINUTE(5) TO SECOND", "12:30"},
        {13, 0, 0, 0, 2, 5, 0, 2, 3, "INTERVAL '2:05' MINUTE TO SECOND(3)", "2:05"},
        // only a sign of 1 is negative
        {1, 2, 3, 0, 0, 0, 0, 2, 6, "INTERVAL '3' YEAR", "3"},
        {1, -1, 3, 0, 0, 0, 0, 2, 6, "INTERVAL '3' YEAR", "3"},
        // unknown kinds stop after the opening
        {0, 0, 1, 2, 3, 4, 5, 2, 6, "INTERVAL '", ""},
        {14, 1, 1, 2, 3, 4, 5, 2, 6, "INTERVAL -'", "-"},
        // large words print in full
        {3, 0, 4000000000u, 0, 0, 0, 0, 9, 6, "INTERVAL '4000000000' DAY(9)",
         "4000000000"},
    };
    for (const Case &c : cases) {
        Value *v = make_interval(c.kind, c.sign, c.w1, c.w2, c.w3, c.w4,
                                 c.fraction, c.lp, c.sp);
        EXPECT_EQ(interval(v, 1), c.sql) << "kind " << c.kind;
        EXPECT_EQ(interval(v, 0), c.bare) << "kind " << c.kind;
        // any nonzero sql_form is the literal form
        EXPECT_EQ(interval(v, -7), c.sql) << "kind " << c.kind;
    }
}

TEST_F(ValueTextTest, ValueAsTextWrapsTheIntervalLiteralInBraces)
{
    Value *v = make_interval(13, 1, 0, 0, 12, 30, 500000000, 5, 3);
    EXPECT_EQ(text(v), "{INTERVAL -'12:30.5' MINUTE(5) TO SECOND(3)}");
}

TEST_F(ValueTextTest, LongestIntervalFitsItsBound)
{
    Value *v = make_interval(10, 1, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu,
                             0xFFFFFFFFu, 0xFFFFFFFFu, INT32_MIN, INT32_MIN);
    std::string t = interval(v, 1);
    EXPECT_LT(t.size(), 128u);
    EXPECT_EQ(t, "INTERVAL -'4294967295 4294967295:4294967295:4294967295.4294967295'"
                 " DAY(-2147483648) TO SECOND(-2147483648)");
}

// ---- bounded forms ----

TEST_F(ValueTextTest, BoundedFormNeverWritesPastItsCapacity)
{
    std::string long_text(5000, 'x');
    long_text[10] = '\'';
    Value *v = make_string(long_text.c_str());
    std::string expected = "'" + long_text.substr(0, 10) + "''" +
                           long_text.substr(11) + "'";

    for (size_t capacity : {size_t{0}, size_t{1}, size_t{2}, size_t{12},
                            size_t{13}, size_t{64}, size_t{5003}, size_t{5004},
                            size_t{6000}}) {
        std::string buf(capacity + 16, '#');
        size_t length = 0;
        const char *result = value_as_text_n(v, buf.data(), capacity, &length);
        EXPECT_EQ(result, buf.data());
        EXPECT_EQ(length, expected.size()) << capacity;
        for (size_t i = capacity; i < buf.size(); i++)
            ASSERT_EQ(buf[i], '#') << "capacity " << capacity << " index " << i;
        if (capacity > 0) {
            size_t kept = std::min(capacity - 1, expected.size());
            EXPECT_EQ(std::string(buf.data()), expected.substr(0, kept)) << capacity;
        }
    }
}

TEST_F(ValueTextTest, BoundedFormOfABinary)
{
    unsigned char octets[600];
    for (int i = 0; i < 600; i++)
        octets[i] = static_cast<unsigned char>(i);
    Value *v = make_binary(octets, 600, 600);
    char buf[32];
    size_t length = 0;
    value_as_text_n(v, buf, sizeof buf, &length);
    // 16 one-digit octets, 240 two-digit octets, then the rest repeat
    size_t digits = 0;
    for (int i = 0; i < 600; i++)
        digits += octets[i] < 0x10 ? 1 : 2;
    EXPECT_EQ(length, digits + 3);
    EXPECT_STREQ(buf, "B'0123456789ABCDEF1011121314151");
}

TEST_F(ValueTextTest, BoundedFormsOfNull)
{
    Value *v = make_int(3);
    v->null_flag = -1;
    char buf[4] = "ab";
    size_t length = 0;
    EXPECT_STREQ(value_as_text_n(v, buf, sizeof buf, &length), "NULL");
    EXPECT_EQ(length, 4u);
    EXPECT_STREQ(buf, "ab");
    EXPECT_EQ(value_as_text_ex_n(v, buf, sizeof buf, &length, "", "", "", "",
                                 "", "", "", "", 0),
              buf);
    EXPECT_EQ(length, 4u);
    EXPECT_STREQ(buf, "NUL");
}

TEST_F(ValueTextTest, BoundedExFormMatchesTheUnboundedOne)
{
    Value *values[] = {make_date(2004, 6, 16), make_time(1, 2, 3),
                       make_timestamp(2004, 6, 16, 0, 0, 0),
                       make_timestamp(0, 0, 0, 1, 2, 3), make_string("it's"),
                       make_double(2.5), make_interval(8, 0, 1, 2, 0, 0, 0)};
    for (Value *v : values) {
        char full[256];
        value_as_text_ex(v, full, "<", ">", "[", "]", "{", "}", "(", ")", 1);
        char small[6];
        size_t length = 0;
        value_as_text_ex_n(v, small, sizeof small, &length, "<", ">", "[", "]",
                           "{", "}", "(", ")", 1);
        EXPECT_EQ(length, std::strlen(full));
        EXPECT_EQ(std::string(small), std::string(full).substr(0, 5));
    }
}

TEST_F(ValueTextTest, BoundedFormWithoutALengthPointer)
{
    Value *v = make_int(123456);
    char buf[4];
    value_as_text_n(v, buf, sizeof buf, nullptr);
    EXPECT_STREQ(buf, "123");
}

TEST_F(ValueTextTest, ExWithoutDelimitersWritesNone)
{
    static const unsigned char octets[] = {0x0A, 0xB0};
    struct Case {
        const char *label;
        Value *value;
        int32_t collapse;
        const char *expected;
    } const cases[] = {
        {"date", make_date(2004, 6, 16), 0, "2004-06-16"},
        {"time", make_time(23, 59, 58), 0, "23:59:58"},
        {"timestamp", make_timestamp(1999, 12, 31, 23, 59, 59, 1), 0,
         "1999-12-31 23:59:59"},
        {"collapsed date", make_timestamp(1999, 12, 31, 0, 0, 0), 1, "1999-12-31"},
        {"collapsed time", make_timestamp(0, 0, 0, 0, 0, 1), 1, "00-00-01"},
        {"binary", make_binary(octets, 2, 2), 0, "AB0"},
    };
    for (const Case &c : cases) {
        char buf[64];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(value_as_text_ex(c.value, buf, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr,
                                   c.collapse),
                  buf);
        EXPECT_STREQ(buf, c.expected) << c.label;
    }
}

TEST_F(ValueTextTest, TextsWithoutTheirBuffers)
{
    // a string or binary value whose buffer pointer is null
    Value *s = make(VALUE_STRING);
    EXPECT_EQ(text(s), "''");
    Value *b = make(VALUE_BINARY);
    b->data_length = 4;
    EXPECT_EQ(text(b), "B''");
    char buf[8];
    EXPECT_EQ(interval_as_text(nullptr, buf, 1), buf);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(interval_as_text(make_interval(1, 0, 3, 0, 0, 0, 0), nullptr, 1),
              nullptr);
}

// A null pointer is printed as a NULL value is.
TEST_F(ValueTextTest, NullPointerReadsAsNull)
{
    char buf[16] = "xyz";
    const char *result = value_as_text(nullptr, buf);
    EXPECT_NE(result, buf);
    EXPECT_STREQ(result, "NULL");
    EXPECT_STREQ(buf, "xyz");
    size_t length = 0;
    EXPECT_STREQ(value_as_text_n(nullptr, buf, sizeof buf, &length), "NULL");
    EXPECT_EQ(length, 4u);
    EXPECT_STREQ(buf, "xyz");
    EXPECT_STREQ(value_as_text_n(nullptr, buf, sizeof buf, nullptr), "NULL");
    EXPECT_EQ(value_as_text_ex(nullptr, buf, "<", ">", "<", ">", "<", ">", "<",
                               ">", 0),
              buf);
    EXPECT_STREQ(buf, "NULL");
}

// Without a buffer nothing is written and null comes back; the bounded
// forms still count the length of the whole text.
TEST_F(ValueTextTest, WithoutABufferOnlyTheLengthIsCounted)
{
    Value *v = make_date(2004, 6, 16);
    EXPECT_EQ(value_as_text(v, nullptr), nullptr);
    size_t length = 0;
    EXPECT_EQ(value_as_text_n(v, nullptr, 100, &length), nullptr);
    EXPECT_EQ(length, std::strlen("{d'2004-06-16'}"));
    EXPECT_EQ(value_as_text_ex(v, nullptr, "<", ">", "", "", "", "", "", "", 0),
              nullptr);
    length = 0;
    EXPECT_EQ(value_as_text_ex_n(v, nullptr, 100, &length, "<", ">", "", "",
                                 "", "", "", "", 0),
              nullptr);
    EXPECT_EQ(length, std::strlen("<2004-06-16>"));
}

TEST_F(ValueTextTest, BoundedExFormWithoutALengthPointer)
{
    Value *v = make_time(1, 2, 3);
    char buf[6];
    EXPECT_EQ(value_as_text_ex_n(v, buf, sizeof buf, nullptr, "", "", "[", "]",
                                 "", "", "", "", 0),
              buf);
    EXPECT_STREQ(buf, "[01:0");
}

// "%f" writes infinities and NaN as words, which end in no zero and no
// point, so nothing is cut from them; the largest double keeps every digit.
TEST_F(ValueTextTest, DoublesWithoutDecimals)
{
    double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(text(make_double(inf)), "inf");
    EXPECT_EQ(text(make_double(-inf)), "-inf");
    EXPECT_EQ(text(make_double(std::fabs(std::nan("")))), "nan");
    char expected[400];
    std::snprintf(expected, sizeof expected, "%.0f", std::numeric_limits<double>::max());
    EXPECT_EQ(text(make_double(std::numeric_limits<double>::max())), expected);
    EXPECT_EQ(std::strlen(expected), 309u);
}

TEST_F(ValueTextTest, DatetimeFieldsPrintAsTheyAre)
{
    struct Case {
        Value *value;
        const char *expected;
    } const cases[] = {
        {make_date(-5, 1, 1), "{d'-005-01-01'}"},
        {make_date(12345, 99, 100), "{d'12345-99-100'}"},
        {make_time(0, 0, 0), "{t'00:00:00'}"},
        {make_time(65535, 7, 60), "{t'65535:07:60'}"},
        {make_timestamp(0, 0, 0, 0, 0, 0), "{ts'0000-00-00 00:00:00'}"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(text(c.value), c.expected);
}

TEST_F(ValueTextTest, BoundedFormsAtEveryCapacity)
{
    static const unsigned char octets[] = {0x00, 0x0F, 0x10, 0xFF, 0x05};
    Value *values[] = {
        make_int(-123456), make_double(-1234.5), make_bigint(INT64_MIN),
        make_numeric(123456789, 4, 0), make_string("it's a 'quoted' text"),
        make_binary(octets, 5, 5), make_date(2004, 6, 16), make_time(1, 2, 3),
        make_timestamp(2004, 6, 16, 10, 20, 30),
        make_interval(10, 1, 1, 2, 3, 4, 5, 3, 4),
        make_interval(6, 0, 0, 0, 0, 4, 5, 0, 6), make(VALUE_NULL),
        make(VALUE_LONG_BINARY),
    };
    for (Value *v : values) {
        char full[1024];
        const std::string expected = value_as_text(v, full);
        char ex_full[1024];
        value_as_text_ex(v, ex_full, "<", ">", "[", "]", "{", "}", "(", ")", 1);
        const std::string ex_expected = ex_full;
        for (size_t capacity = 0; capacity <= expected.size() + 2; capacity++) {
            char buf[1100];
            std::memset(buf, '#', sizeof buf);
            size_t length = 12345;
            EXPECT_EQ(value_as_text_n(v, buf, capacity, &length), buf);
            EXPECT_EQ(length, expected.size());
            for (size_t i = capacity; i < sizeof buf; i++)
                ASSERT_EQ(buf[i], '#') << expected << " capacity " << capacity;
            if (capacity > 0) {
                EXPECT_EQ(std::string(buf),
                          expected.substr(0, std::min(capacity - 1, expected.size())));
            }
        }
        for (size_t capacity = 0; capacity <= ex_expected.size() + 2; capacity++) {
            char buf[1100];
            std::memset(buf, '#', sizeof buf);
            size_t length = 12345;
            EXPECT_EQ(value_as_text_ex_n(v, buf, capacity, &length, "<", ">", "[",
                                         "]", "{", "}", "(", ")", 1),
                      buf);
            EXPECT_EQ(length, ex_expected.size());
            for (size_t i = capacity; i < sizeof buf; i++)
                ASSERT_EQ(buf[i], '#') << ex_expected << " capacity " << capacity;
            if (capacity > 0) {
                EXPECT_EQ(std::string(buf),
                          ex_expected.substr(0, std::min(capacity - 1, ex_expected.size())));
            }
        }
    }
}

}  // namespace
