// Literal-builder and interval-promotion cases written from the documented
// behaviour of the parser helpers. Uses only the public header.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <kxsupp.h>

namespace {

class ParsehelpCases : public ::testing::Test {
protected:
    void SetUp() override
    {
        handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(nullptr, handle);
    }
    void TearDown() override { kx_mem_release_handle(handle); }

    // A writable copy of a token, as a scanner would hand it over.
    char *token(const char *text)
    {
        size_t n = std::strlen(text) + 1;
        char *p = static_cast<char *>(kx_mem_alloc(handle, n));
        std::memcpy(p, text, n);
        return p;
    }

    void expect_leaf(const Value *v, int32_t type)
    {
        ASSERT_NE(nullptr, v);
        EXPECT_EQ(static_cast<uint32_t>(NODE_VALUE), v->kind);
        EXPECT_EQ(handle, v->mem_handle);
        EXPECT_EQ(type, v->type);
        EXPECT_EQ(0, v->null_flag);
    }

    MemHandle *handle = nullptr;
};

// ---- character strings ----

TEST_F(ParsehelpCases, CharacterStrings)
{
    struct {
        const char *token;
        const char *text;
        int32_t length;
    } const cases[] = {
        {"'abc'", "abc", 3},
        {"'it''s'", "it''s", 5},  // doubled quotes are kept
        {"''", "", 0},
        {"'a b  c'", "a b  c", 6},
    };
    for (const auto &c : cases) {
        Value *v = MakeLiteral(3, token(c.token), handle);
        expect_leaf(v, VALUE_STRING);
        if (v == nullptr)
            continue;
        ASSERT_NE(nullptr, v->payload.text) << c.token;
        EXPECT_STREQ(c.text, v->payload.text) << c.token;
        EXPECT_EQ(c.length, v->length) << c.token;
    }
    // Nothing after the opening quote: an empty text.
    Value *v = MakeLiteral(3, token("'"), handle);
    ASSERT_NE(nullptr, v);
    ASSERT_NE(nullptr, v->payload.text);
    EXPECT_STREQ("", v->payload.text);
    EXPECT_EQ(0, v->length);
}

TEST_F(ParsehelpCases, LongCharacterStrings)
{
    const size_t sizes[] = {126, 127, 128, 129, 1000, 70000};
    for (size_t n : sizes) {
        std::string body;
        for (size_t i = 0; i < n; ++i)
            body += static_cast<char>('a' + i % 26);
        std::string quoted = "'" + body + "'";
        Value *v = MakeLiteral(3, token(quoted.c_str()), handle);
        expect_leaf(v, VALUE_STRING);
        if (v == nullptr)
            continue;
        EXPECT_EQ(static_cast<int32_t>(n), v->length) << n;
        EXPECT_EQ(body, std::string(v->payload.text)) << n;
    }
}

// ---- bit strings ----

TEST_F(ParsehelpCases, BitStrings)
{
    Value *zero = MakeLiteral(4, token("B'0'"), handle);
    expect_leaf(zero, VALUE_BIT);
    EXPECT_EQ(0, zero->payload.integer);
    Value *one = MakeLiteral(4, token("B'1'"), handle);
    expect_leaf(one, VALUE_BIT);
    EXPECT_EQ(1, one->payload.integer);
    EXPECT_EQ(nullptr, MakeLiteral(4, token("B'2'"), handle));
    EXPECT_EQ(nullptr, MakeLiteral(4, token("B'x'"), handle));
    EXPECT_EQ(nullptr, MakeLiteral(4, token("B''"), handle));
}

// ---- hexadecimal strings ----

TEST_F(ParsehelpCases, HexadecimalStrings)
{
    struct {
        const char *token;
        int32_t length;
        int32_t data_length;
        const char *octets;  // expected octets, as a C string of bytes
        int octet_count;
    } const cases[] = {
        {"X'ABC'", 2, 1, "\x0a\xbc", 2},
        {"X'0aFF'", 2, 2, "\x0a\xff", 2},
        {"x'1'", 1, 0, "\x01", 1},
        {"X'12345678'", 4, 4, "\x12\x34\x56\x78", 4},
        {"X'abcdef'", 3, 3, "\xab\xcd\xef", 3},
        {"X''", 0, 0, "", 0},
        // A digit followed by a non-digit is an octet of its own; reading
        // stops at the non-digit.
        {"X'AG'", 1, 1, "\x0a", 1},
    };
    for (const auto &c : cases) {
        Value *v = MakeLiteral(5, token(c.token), handle);
        expect_leaf(v, VALUE_BINARY);
        if (v == nullptr)
            continue;
        EXPECT_EQ(c.length, v->length) << c.token;
        EXPECT_EQ(c.data_length, v->data_length) << c.token;
        if (c.octet_count > 0) {
            ASSERT_NE(nullptr, v->payload.bytes) << c.token;
            EXPECT_EQ(0, std::memcmp(c.octets, v->payload.bytes, c.octet_count)) << c.token;
        }
    }
}

TEST_F(ParsehelpCases, LongHexadecimalStrings)
{
    const size_t digit_counts[] = {255, 256, 257, 4001};
    for (size_t n : digit_counts) {
        std::string digits;
        for (size_t i = 0; i < n; ++i)
            digits += "0123456789abcdef"[i % 16];
        std::string quoted = "X'" + digits + "'";
        Value *v = MakeLiteral(5, token(quoted.c_str()), handle);
        expect_leaf(v, VALUE_BINARY);
        if (v == nullptr)
            continue;
        std::string padded = (n % 2 ? "0" : "") + digits;
        int32_t octets = static_cast<int32_t>(padded.size() / 2);
        EXPECT_EQ(octets, v->length) << n;
        EXPECT_EQ(static_cast<int32_t>(n / 2), v->data_length) << n;
        for (int32_t k = 0; k < octets; ++k) {
            unsigned expected = static_cast<unsigned>(
                std::stoul(padded.substr(2 * static_cast<size_t>(k), 2), nullptr, 16));
            ASSERT_EQ(expected, v->payload.bytes[k]) << n << " octet " << k;
        }
    }
}

TEST_F(ParsehelpCases, OddHexadecimalTokenGetsALeadingZeroDigit)
{
    char *t = token("X'ABC'");
    Value *v = MakeLiteral(5, t, handle);
    ASSERT_NE(nullptr, v);
    EXPECT_STREQ("X0ABC'", t);
}

// ---- date, time, timestamp ----

TEST_F(ParsehelpCases, Dates)
{
    struct {
        const char *token;
        int y, m, d;
    } const cases[] = {
        {"'2004-02-29'", 2004, 2, 29},
        {"DATE '1999-12-31'", 1999, 12, 31},
        {"{d '0001-01-01'}", 1, 1, 1},
        {"'2004-13-45'", 2004, 13, 45},  // not range-checked
    };
    for (const auto &c : cases) {
        Value *v = MakeLiteral(6, token(c.token), handle);
        expect_leaf(v, VALUE_DATE);
        if (v == nullptr)
            continue;
        EXPECT_EQ(c.y, v->payload.date.year) << c.token;
        EXPECT_EQ(c.m, v->payload.date.month) << c.token;
        EXPECT_EQ(c.d, v->payload.date.day) << c.token;
    }
    EXPECT_EQ(nullptr, MakeLiteral(6, token("'2004'"), handle));
    EXPECT_EQ(nullptr, MakeLiteral(6, token("'2004-02'"), handle));
}

TEST_F(ParsehelpCases, Times)
{
    Value *v = MakeLiteral(7, token("'10:20:30'"), handle);
    expect_leaf(v, VALUE_TIME);
    EXPECT_EQ(10, v->payload.time.hour);
    EXPECT_EQ(20, v->payload.time.minute);
    EXPECT_EQ(30, v->payload.time.second);
    v = MakeLiteral(7, token("TIME '23:59:60'"), handle);
    expect_leaf(v, VALUE_TIME);
    EXPECT_EQ(23, v->payload.time.hour);
    EXPECT_EQ(59, v->payload.time.minute);
    EXPECT_EQ(60, v->payload.time.second);
    EXPECT_EQ(nullptr, MakeLiteral(7, token("'10:20'"), handle));
    EXPECT_EQ(nullptr, MakeLiteral(7, token("'10'"), handle));
}

TEST_F(ParsehelpCases, Timestamps)
{
    struct {
        const char *token;
        int y, mo, d, h, mi, s;
    } const cases[] = {
        {"'2004-02-29 10:20:30'", 2004, 2, 29, 10, 20, 30},
        {"'2004-02-29 10:20:30.123456'", 2004, 2, 29, 10, 20, 30},
        {"TIMESTAMP '1999-12-31   23:59:58'", 1999, 12, 31, 23, 59, 58},
    };
    for (const auto &c : cases) {
        Value *v = MakeLiteral(8, token(c.token), handle);
        expect_leaf(v, VALUE_TIMESTAMP);
        if (v == nullptr)
            continue;
        const TimestampStruct &t = v->payload.timestamp;
        EXPECT_EQ(c.y, t.year) << c.token;
        EXPECT_EQ(c.mo, t.month) << c.token;
        EXPECT_EQ(c.d, t.day) << c.token;
        EXPECT_EQ(c.h, t.hour) << c.token;
        EXPECT_EQ(c.mi, t.minute) << c.token;
        EXPECT_EQ(c.s, t.second) << c.token;
        EXPECT_EQ(0u, t.fraction) << c.token;  // the fraction is not read
    }
    EXPECT_EQ(nullptr, MakeLiteral(8, token("'2004-02-29 10'"), handle));
    EXPECT_EQ(nullptr, MakeLiteral(8, token("'2004-02-29 10:20'"), handle));
    EXPECT_EQ(nullptr, MakeLiteral(8, token("'2004-02 10:20:30'"), handle));
}

// ---- keyword leaves and unknown kinds ----

TEST_F(ParsehelpCases, KeywordLeaves)
{
    struct {
        int32_t kind;
        int32_t type;
    } const cases[] = {
        {2, VALUE_USER},
        {10, VALUE_CURRENT_TIMESTAMP},
        {11, VALUE_CURRENT_TIME},
        {12, VALUE_CURRENT_DATE},
    };
    for (const auto &c : cases) {
        Value *v = MakeLiteral(c.kind, token("x"), handle);
        expect_leaf(v, c.type);
    }
    EXPECT_EQ(16, VALUE_USER);
    EXPECT_EQ(18, VALUE_CURRENT_TIMESTAMP);
    EXPECT_EQ(17, VALUE_CURRENT_TIME);
    EXPECT_EQ(15, VALUE_CURRENT_DATE);
}

TEST_F(ParsehelpCases, UnknownKindsGiveNull)
{
    const int32_t kinds[] = {-1, 0, 1, 9, 13, 14, 100};
    for (int32_t k : kinds)
        EXPECT_EQ(nullptr, MakeLiteral(k, token("'1'"), handle)) << k;
}

TEST_F(ParsehelpCases, NullLiteral)
{
    Value *v = MakeNull(handle);
    expect_leaf(v, VALUE_NULL);
    EXPECT_EQ(11, VALUE_NULL);
}

// ---- numbers ----

// The magnitude of a numeric record as an unsigned 64-bit number (enough
// for the values below), and a check that its upper octets are zero.
uint64_t magnitude(const NumericStruct &n)
{
    uint64_t m = 0;
    for (int i = 7; i >= 0; --i)
        m = (m << 8) | n.val[i];
    for (int i = 8; i < 16; ++i)
        EXPECT_EQ(0, n.val[i]);
    return m;
}

TEST_F(ParsehelpCases, Integers)
{
    Value *v = MakeInteger("123456", handle);
    expect_leaf(v, VALUE_INTEGER);
    EXPECT_EQ(123456, v->payload.integer);

    v = MakeInteger("-12", handle);
    expect_leaf(v, VALUE_INTEGER);
    EXPECT_EQ(-12, v->payload.integer);

    v = MakeInteger("1234567", handle);
    expect_leaf(v, VALUE_NUMERIC);
    EXPECT_EQ(7, v->attr[0]);
    EXPECT_EQ(0, v->attr[1]);
    EXPECT_EQ(7, v->payload.numeric.precision);
    EXPECT_EQ(0, v->payload.numeric.scale);
    EXPECT_EQ(1, v->payload.numeric.sign);
    EXPECT_EQ(1234567u, magnitude(v->payload.numeric));

    v = MakeInteger("-123456", handle);
    expect_leaf(v, VALUE_NUMERIC);
    EXPECT_EQ(7, v->attr[0]);
    EXPECT_EQ(0, v->payload.numeric.sign);
    EXPECT_EQ(123456u, magnitude(v->payload.numeric));

    v = MakeInteger("12345678901234567890", handle);
    expect_leaf(v, VALUE_NUMERIC);
    EXPECT_EQ(20, v->attr[0]);
    EXPECT_EQ(0, v->attr[1]);
    EXPECT_EQ(12345678901234567890ull, magnitude(v->payload.numeric));
}

TEST_F(ParsehelpCases, Floats)
{
    Value *v = MakeFloat("1.5e3", handle);
    expect_leaf(v, VALUE_DOUBLE);
    EXPECT_DOUBLE_EQ(1500.0, v->payload.dbl);
    v = MakeFloat("-0.25", handle);
    expect_leaf(v, VALUE_DOUBLE);
    EXPECT_DOUBLE_EQ(-0.25, v->payload.dbl);
}

TEST_F(ParsehelpCases, NumericsBecomeMachineNumbersWhenShort)
{
    struct {
        const char *i;
        const char *f;
        int32_t type;
        double d;       // for doubles
        int32_t n;      // for integers
    } const cases[] = {
        {"123456", nullptr, VALUE_INTEGER, 0, 123456},
        {"12", "5", VALUE_DOUBLE, 12.5, 0},
        {"123456", "123456", VALUE_DOUBLE, 123456.123456, 0},
        {nullptr, "25", VALUE_DOUBLE, 0.25, 0},
        {nullptr, "123456", VALUE_DOUBLE, 0.123456, 0},
        {"0", "0", VALUE_DOUBLE, 0.0, 0},
    };
    for (const auto &c : cases) {
        Value *v = MakeNumeric(c.i, c.f, handle);
        expect_leaf(v, c.type);
        if (v == nullptr)
            continue;
        if (c.type == VALUE_DOUBLE)
            EXPECT_DOUBLE_EQ(c.d, v->payload.dbl);
        else
            EXPECT_EQ(c.n, v->payload.integer);
    }
}

TEST_F(ParsehelpCases, NumericsBecomeExactWhenLong)
{
    struct {
        const char *i;
        const char *f;
        intptr_t precision;  // declared
        intptr_t scale;
        uint64_t magnitude;
    } const cases[] = {
        {"1234567", nullptr, 7, 0, 1234567u},
        {"1234567", "5", 10, 1, 12345675u},
        {"12", "1234567", 11, 7, 121234567u},
        {"123456", "1234567", 15, 7, 1234561234567u},
        {nullptr, "1234567", 10, 7, 1234567u},
        {nullptr, "0000001", 10, 7, 1u},
    };
    for (const auto &c : cases) {
        Value *v = MakeNumeric(c.i, c.f, handle);
        expect_leaf(v, VALUE_NUMERIC);
        if (v == nullptr)
            continue;
        EXPECT_EQ(c.precision, v->attr[0]) << (c.i ? c.i : "-") << "." << c.f;
        EXPECT_EQ(c.scale, v->attr[1]);
        EXPECT_EQ(c.scale, v->payload.numeric.scale);
        EXPECT_EQ(1, v->payload.numeric.sign);
        EXPECT_EQ(c.magnitude, magnitude(v->payload.numeric));
    }
}

TEST_F(ParsehelpCases, NumericOfNothingHasNoType)
{
    Value *v = MakeNumeric(nullptr, nullptr, handle);
    expect_leaf(v, 0);
}

// ---- parameter markers, precision keywords, integers from text ----

TEST_F(ParsehelpCases, DynamicParameter)
{
    ParseNode *p = MakeDynamic(3, handle);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(155u, p->kind);
    EXPECT_EQ(3, p->field[0]);
    EXPECT_EQ(0, p->field[1]);
    ParseNode *q = MakeDynamic(0, handle);
    ASSERT_NE(nullptr, q);
    EXPECT_EQ(static_cast<uint32_t>(NODE_DYNAMIC_PARAM), q->kind);
    EXPECT_EQ(0, q->field[0]);
}

TEST_F(ParsehelpCases, LiteralWithPrecision)
{
    int marker = 0;
    void *precision = &marker;
    Value *v = MakeLiteralWithPrec(10, nullptr, precision, handle);
    expect_leaf(v, VALUE_CURRENT_TIMESTAMP);
    EXPECT_EQ(reinterpret_cast<intptr_t>(precision), v->attr[0]);
    v = MakeLiteralWithPrec(11, reinterpret_cast<void *>(99),
                            reinterpret_cast<void *>(6), handle);
    expect_leaf(v, VALUE_CURRENT_TIME);
    EXPECT_EQ(6, v->attr[0]);
    v = MakeLiteralWithPrec(12, nullptr, reinterpret_cast<void *>(3), handle);
    expect_leaf(v, 0);
    v = MakeLiteralWithPrec(2, nullptr, reinterpret_cast<void *>(3), handle);
    expect_leaf(v, 0);
}

TEST_F(ParsehelpCases, ConvertToInteger)
{
    EXPECT_EQ(42, ConvertToInteger("42"));
    EXPECT_EQ(-7, ConvertToInteger("-7"));
    EXPECT_EQ(12, ConvertToInteger("12abc"));
    EXPECT_EQ(0, ConvertToInteger("abc"));
    EXPECT_EQ(15, ConvertToInteger("  15"));
    EXPECT_EQ(2147483647, ConvertToInteger("2147483647"));
}

// ---- promote_type ----

// Rows a = 1..13, columns b = 1..13; 0 marks an invalid pair.
const int32_t kPromote[13][13] = {
    {1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {7, 2, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {0, 0, 3, 8, 9, 10, 0, 8, 9, 10, 9, 10, 10},
    {0, 0, 8, 4, 11, 12, 0, 8, 9, 10, 11, 12, 12},
    {0, 0, 9, 11, 5, 13, 0, 9, 9, 10, 11, 12, 13},
    {0, 0, 10, 12, 13, 6, 0, 10, 10, 10, 12, 12, 13},
    {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {0, 0, 8, 8, 9, 10, 0, 8, 8, 10, 9, 10, 10},
    {0, 0, 9, 9, 9, 10, 0, 9, 9, 10, 9, 10, 10},
    {10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10},
    {0, 0, 9, 11, 11, 12, 0, 9, 9, 10, 11, 12, 12},
    {0, 0, 10, 12, 12, 12, 0, 10, 10, 10, 12, 12, 12},
    {0, 0, 10, 12, 13, 13, 0, 10, 10, 10, 12, 12, 13},
};

TEST(ParsehelpPromote, WholeTable)
{
    for (int a = 1; a <= 13; ++a)
        for (int b = 1; b <= 13; ++b)
            EXPECT_EQ(kPromote[a - 1][b - 1], promote_type(a, b)) << a << ", " << b;
}

TEST(ParsehelpPromote, NamedCases)
{
    EXPECT_EQ(8, promote_type(4, 3));
    EXPECT_EQ(8, promote_type(3, 4));
    EXPECT_EQ(7, promote_type(1, 3));
    EXPECT_EQ(0, promote_type(3, 1));  // invalid: reported, never aborts
    EXPECT_EQ(8, promote_type(8, 9));
    EXPECT_EQ(9, promote_type(9, 8));
}

TEST(ParsehelpPromote, LeftKindsThatDoNotLookRight)
{
    const int32_t rights[] = {-5, 0, 14, 99};
    for (int32_t b : rights) {
        EXPECT_EQ(7, promote_type(1, b)) << b;
        EXPECT_EQ(7, promote_type(2, b)) << b;
        EXPECT_EQ(7, promote_type(7, b)) << b;
        EXPECT_EQ(10, promote_type(10, b)) << b;
    }
}

TEST(ParsehelpPromote, InvalidPairsGiveZero)
{
    const int32_t lefts[] = {-1, 0, 14, 1000};
    for (int32_t a : lefts)
        for (int32_t b = 1; b <= 13; ++b)
            EXPECT_EQ(0, promote_type(a, b)) << a << ", " << b;
    // A day-time kind on the left with a right kind outside 1..13.
    EXPECT_EQ(0, promote_type(3, 0));
    EXPECT_EQ(0, promote_type(13, 14));
}

}  // namespace
