// Tests of the literal builders and interval kind promotion.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/parse.h"
#include "kxsupp/values.h"

namespace {

class ParsehelpTest : public ::testing::Test {
protected:
    void SetUp() override { handle = kx_mem_alloc_handle(nullptr); }
    void TearDown() override { kx_mem_release_handle(handle); }

    // MakeLiteral on a writable copy of the token (the hexadecimal builder may
    // write into it); the copy's final text goes to token_after.
    Value *literal(int32_t kind, const char *token)
    {
        token_after.assign(token);
        std::strncpy(token_buffer, token, sizeof token_buffer - 1);
        token_buffer[sizeof token_buffer - 1] = '\0';
        Value *v = MakeLiteral(kind, token_buffer, handle);
        token_after.assign(token_buffer);
        return v;
    }

    static std::string numeric_text(const Value *v)
    {
        char buffer[128];
        numeric_to_string(&v->payload.numeric, buffer, sizeof buffer, nullptr);
        return buffer;
    }

    MemHandle *handle = nullptr;
    char token_buffer[256];
    std::string token_after;
};

void expect_fresh_leaf(const Value *v, MemHandle *handle)
{
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->kind, static_cast<uint32_t>(NODE_VALUE));
    EXPECT_EQ(v->null_flag, 0);
    EXPECT_EQ(v->mem_handle, handle);
    EXPECT_EQ(v->ref_count, 0);
}

// ---- promote_type ----

// The promotion matrix, row a, column b; 0 = the pair aborts.
constexpr int kExpectedPromotion[13][13] = {
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

TEST(PromoteType, EveryValidCellOfTheMatrix)
{
    for (int a = 1; a <= 13; ++a)
        for (int b = 1; b <= 13; ++b)
            if (kExpectedPromotion[a - 1][b - 1] != 0) {
                EXPECT_EQ(promote_type(a, b), kExpectedPromotion[a - 1][b - 1])
                    << "a=" << a << " b=" << b;
            }
}

TEST(PromoteType, NamedCases)
{
    EXPECT_EQ(promote_type(KX_IS_HOUR, KX_IS_DAY), KX_IS_DAY_TO_HOUR);
    EXPECT_EQ(promote_type(KX_IS_DAY, KX_IS_HOUR), KX_IS_DAY_TO_HOUR);
    EXPECT_EQ(promote_type(KX_IS_YEAR, KX_IS_DAY), KX_IS_YEAR_TO_MONTH);
    // The one-sided pair inside the day-time kinds.
    EXPECT_EQ(promote_type(KX_IS_DAY_TO_HOUR, KX_IS_DAY_TO_MINUTE), KX_IS_DAY_TO_HOUR);
    EXPECT_EQ(promote_type(KX_IS_DAY_TO_MINUTE, KX_IS_DAY_TO_HOUR), KX_IS_DAY_TO_MINUTE);
    // Year-month and day-to-second rows do not look at the right kind.
    EXPECT_EQ(promote_type(KX_IS_YEAR_TO_MONTH, KX_IS_SECOND), KX_IS_YEAR_TO_MONTH);
    EXPECT_EQ(promote_type(KX_IS_DAY_TO_SECOND, KX_IS_YEAR), KX_IS_DAY_TO_SECOND);
    EXPECT_EQ(promote_type(KX_IS_MONTH, 0), KX_IS_YEAR_TO_MONTH);
    EXPECT_EQ(promote_type(KX_IS_YEAR, 99), KX_IS_YEAR_TO_MONTH);
    EXPECT_EQ(promote_type(KX_IS_DAY_TO_SECOND, -4), KX_IS_DAY_TO_SECOND);
}

// An invalid pair gives 0 (no interval kind) instead of ending the process.
TEST(PromoteType, EmptyCellsGiveZero)
{
    int empty_cells = 0;
    for (int a = 1; a <= 13; ++a)
        for (int b = 1; b <= 13; ++b)
            if (kExpectedPromotion[a - 1][b - 1] == 0) {
                ++empty_cells;
                EXPECT_EQ(promote_type(a, b), 0) << "a=" << a << " b=" << b;
            }
    // Nine day-time rows, each empty under YEAR, MONTH and YEAR TO MONTH.
    EXPECT_EQ(empty_cells, 27);
    EXPECT_EQ(promote_type(KX_IS_DAY, KX_IS_YEAR), 0);
    EXPECT_EQ(promote_type(KX_IS_MINUTE_TO_SECOND, KX_IS_YEAR_TO_MONTH), 0);
}

TEST(PromoteType, KindsOutsideTheRangeGiveZero)
{
    const struct {
        int32_t a;
        int32_t b;
    } cases[] = {
        {0, 1}, {14, 1}, {-1, 10}, {INT32_MIN, 3}, {INT32_MAX, 10},
        {KX_IS_DAY, 0}, {KX_IS_HOUR, 14}, {KX_IS_DAY_TO_HOUR, -1},
        {KX_IS_HOUR_TO_SECOND, INT32_MAX},
    };
    for (const auto &c : cases)
        EXPECT_EQ(promote_type(c.a, c.b), 0) << "a=" << c.a << " b=" << c.b;
}

// ---- MakeLiteral: character strings ----

struct StringCase {
    const char *token;
    const char *text;
};

TEST_F(ParsehelpTest, CharacterStrings)
{
    const StringCase cases[] = {
        {"'abc'", "abc"},
        {"'it''s'", "it''s"},  // doubled quotes are kept
        {"''", ""},
        {"' padded  '", " padded  "},
        {"'", ""},             // nothing after the opening quote
        {"", ""},              // empty token
        {"'abc", "ab"},        // the last character is taken for the closing quote
    };
    for (const StringCase &c : cases) {
        Value *v = literal(KX_LITERAL_STRING, c.token);
        ASSERT_NE(v, nullptr) << c.token;
        EXPECT_EQ(v->kind, static_cast<uint32_t>(NODE_VALUE));
        EXPECT_EQ(v->type, VALUE_STRING) << c.token;
        EXPECT_EQ(v->null_flag, 0);
        EXPECT_EQ(v->mem_handle, handle);
        EXPECT_STREQ(v->payload.text, c.text) << c.token;
        EXPECT_EQ(v->length, static_cast<int32_t>(std::strlen(c.text))) << c.token;
        EXPECT_STREQ(get_string_from_value(v), c.text);
    }
}

TEST_F(ParsehelpTest, LongCharacterString)
{
    std::string body(3000, 'q');
    std::string token = "'" + body + "'";
    std::string copy = token;
    Value *v = MakeLiteral(KX_LITERAL_STRING, copy.data(), handle);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->length, 3000);
    EXPECT_EQ(std::string(v->payload.text), body);
    EXPECT_EQ(copy, token);  // the token itself is not changed
}

// Every field of a character-string leaf: a cleared record holding only its
// type, text and length (no data length, no precision words).
TEST_F(ParsehelpTest, CharacterStringLeafFields)
{
    Value *v = literal(KX_LITERAL_STRING, "'abc'");
    expect_fresh_leaf(v, handle);
    EXPECT_EQ(v->type, VALUE_STRING);
    EXPECT_EQ(v->length, 3);
    EXPECT_EQ(v->data_length, 0);
    EXPECT_EQ(v->share_block, 0);
    for (intptr_t word : v->attr)
        EXPECT_EQ(word, 0);
    for (intptr_t word : v->driver)
        EXPECT_EQ(word, 0);
    EXPECT_EQ(v->long_buffer, nullptr);
    EXPECT_EQ(v->inline_buffer, 1);  // the text lives in the record's block
    EXPECT_STREQ(v->payload.text, "abc");
    release_value(handle, v);  // must not free the inline text separately
}

// Around the 128-octet inline area: n - 1 characters need n octets.
TEST_F(ParsehelpTest, CharacterStringsAroundTheInlineArea)
{
    for (size_t body : {125u, 126u, 127u, 128u, 129u, 255u}) {
        std::string text(body, 'k');
        std::string token = "'" + text + "'";
        std::vector<char> exact(token.begin(), token.end());
        exact.push_back('\0');
        Value *v = MakeLiteral(KX_LITERAL_STRING, exact.data(), handle);
        ASSERT_NE(v, nullptr) << body;
        EXPECT_EQ(v->length, static_cast<int32_t>(body));
        EXPECT_EQ(std::string(v->payload.text), text) << body;
        release_value(handle, v);
    }
}

// ---- MakeLiteral: bit strings ----

TEST_F(ParsehelpTest, BitStrings)
{
    struct {
        const char *token;
        int expected;  // -1: null result
    } cases[] = {
        {"B'0'", 0}, {"B'1'", 1}, {"b'1'", 1}, {"B'2'", -1}, {"B'x'", -1},
        {"B''", -1}, {"B'", -1},  {"B", -1},   {"", -1},
    };
    for (const auto &c : cases) {
        Value *v = literal(KX_LITERAL_BIT, c.token);
        if (c.expected < 0) {
            EXPECT_EQ(v, nullptr) << c.token;
            continue;
        }
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, VALUE_BIT) << c.token;
        EXPECT_EQ(v->payload.integer, c.expected) << c.token;
    }
}

// ---- MakeLiteral: hexadecimal strings ----

struct HexCase {
    const char *token;
    bool parses;
    std::vector<unsigned char> octets;
    int32_t data_length;
    const char *token_after;
};

TEST_F(ParsehelpTest, HexadecimalStrings)
{
    const HexCase cases[] = {
        {"X'ABC'", true, {0x0A, 0xBC}, 1, "X0ABC'"},  // odd: padding digit written
        {"X'0aFF'", true, {0x0A, 0xFF}, 2, "X'0aFF'"},
        {"x'1'", true, {0x01}, 0, "x01'"},
        {"X''", true, {}, 0, "X''"},
        {"X'AG'", true, {0x0A}, 1, "X'AG'"},          // a digit without a partner
        {"X'ABCD", true, {0x0A, 0xBC}, 1, "X0ABCD"},  // no closing quote: bounded
        {"X'12 34'", true, {0x01, 0x02}, 2, "X012 34'"},  // stops at the blank
        {"'ABCD'", true, {0xBC, 0xD0 >> 4}, 2, "'ABCD'"},
        {"X'", false, {}, 0, "X'"},
        {"X", false, {}, 0, "X"},
        {"", false, {}, 0, ""},
    };
    for (const HexCase &c : cases) {
        Value *v = literal(KX_LITERAL_HEX, c.token);
        EXPECT_EQ(token_after, c.token_after) << c.token;
        if (!c.parses) {
            EXPECT_EQ(v, nullptr) << c.token;
            continue;
        }
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, VALUE_BINARY) << c.token;
        ASSERT_EQ(v->length, static_cast<int32_t>(c.octets.size())) << c.token;
        EXPECT_EQ(v->data_length, c.data_length) << c.token;
        for (size_t i = 0; i < c.octets.size(); ++i)
            EXPECT_EQ(v->payload.bytes[i], c.octets[i]) << c.token << " octet " << i;
    }
}

TEST_F(ParsehelpTest, HexadecimalLeafFields)
{
    Value *v = literal(KX_LITERAL_HEX, "X'0102FF'");
    expect_fresh_leaf(v, handle);
    EXPECT_EQ(v->type, VALUE_BINARY);
    EXPECT_EQ(v->length, 3);
    EXPECT_EQ(v->data_length, 3);
    EXPECT_EQ(v->inline_buffer, 0);  // a buffer of its own, freed with the record
    for (intptr_t word : v->attr)
        EXPECT_EQ(word, 0);
    EXPECT_EQ(v->payload.bytes[2], 0xFF);
    release_value(handle, v);
}

// Hexadecimal tokens of every odd and even length up to a few hundred
// digits, each in a block of exactly its size.
TEST_F(ParsehelpTest, HexadecimalTokensOfManyLengths)
{
    for (size_t digits = 0; digits <= 300; ++digits) {
        std::string token = "X'";
        for (size_t i = 0; i < digits; ++i)
            token += "0123456789abcdef"[i % 16];
        token += "'";
        std::vector<char> exact(token.begin(), token.end());
        exact.push_back('\0');
        Value *v = MakeLiteral(KX_LITERAL_HEX, exact.data(), handle);
        ASSERT_NE(v, nullptr) << digits;
        EXPECT_EQ(v->length, static_cast<int32_t>((digits + 1) / 2)) << digits;
        EXPECT_EQ(v->data_length, static_cast<int32_t>(digits / 2)) << digits;
        if (digits % 2 == 1) {
            EXPECT_EQ(exact[1], '0') << digits;  // the padding digit
            EXPECT_EQ(v->payload.bytes[0], 0x00) << digits;  // "0" then "0"
        } else if (digits >= 2) {
            EXPECT_EQ(exact[1], '\'') << digits;
            EXPECT_EQ(v->payload.bytes[0], 0x01) << digits;
        }
    }
}

// Leaves freed heap blocks of every small size filled with 0xA5 behind, so
// that a buffer the next allocations take from them and never write shows.
void litter_the_heap()
{
    std::vector<void *> blocks;
    for (size_t size = 1; size <= 512; ++size) {
        void *block = std::malloc(size);
        std::memset(block, 0xA5, size);
        blocks.push_back(block);
    }
    for (void *block : blocks)
        std::free(block);
}

// Digits that are not hexadecimal end the reading; the octets not reached
// are zeros, so the leaf's text shows zeros and nothing left on the heap.
TEST_F(ParsehelpTest, HexadecimalNonDigitsLeaveZeroOctets)
{
    struct Case {
        const char *token;
        std::vector<unsigned char> octets;  // data_length of them
        const char *text;                   // value_as_text
    };
    const Case cases[] = {
        {"X'ZZZZ'", {0x00, 0x00}, "B'00'"},
        {"X'ZZZZZZZZ'", {0x00, 0x00, 0x00, 0x00}, "B'0000'"},
        {"X'ABZZZZ'", {0xAB, 0x00, 0x00}, "B'AB00'"},
        {"X'AZZZ'", {0x0A, 0x00}, "B'A0'"},  // a digit without a partner
        {"x'ZZZZZ'", {0x00, 0x00}, "B'00'"},  // odd: padding digit, then stop
    };
    for (const Case &c : cases) {
        litter_the_heap();
        Value *v = literal(KX_LITERAL_HEX, c.token);
        ASSERT_NE(v, nullptr) << c.token;
        EXPECT_EQ(v->type, VALUE_BINARY) << c.token;
        ASSERT_EQ(v->data_length, static_cast<int32_t>(c.octets.size())) << c.token;
        for (size_t i = 0; i < c.octets.size(); ++i)
            EXPECT_EQ(v->payload.bytes[i], c.octets[i]) << c.token << " octet " << i;
        char text[1024];
        EXPECT_STREQ(value_as_text(v, text), c.text) << c.token;
        release_value(handle, v);
    }
}

// ---- MakeLiteral: dates, times, timestamps ----

TEST_F(ParsehelpTest, Dates)
{
    struct {
        const char *token;
        bool parses;
        int year, month, day;
    } cases[] = {
        {"{d '2004-01-31'}", true, 2004, 1, 31},
        {"'1999-12-01'", true, 1999, 12, 1},
        {"DATE '2004-13-45'", true, 2004, 13, 45},  // not range-checked
        {"'2004-01'", false, 0, 0, 0},
        {"'2004'", false, 0, 0, 0},
        {"2004-01-31", false, 0, 0, 0},  // no quote
        {"", false, 0, 0, 0},
    };
    for (const auto &c : cases) {
        Value *v = literal(KX_LITERAL_DATE, c.token);
        if (!c.parses) {
            EXPECT_EQ(v, nullptr) << c.token;
            continue;
        }
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, VALUE_DATE);
        EXPECT_EQ(v->payload.date.year, c.year) << c.token;
        EXPECT_EQ(v->payload.date.month, c.month) << c.token;
        EXPECT_EQ(v->payload.date.day, c.day) << c.token;
    }
}

TEST_F(ParsehelpTest, Times)
{
    struct {
        const char *token;
        bool parses;
        int hour, minute, second;
    } cases[] = {
        {"{t '10:20:30'}", true, 10, 20, 30},
        {"'23:59:59'", true, 23, 59, 59},
        {"'10:20'", false, 0, 0, 0},
        {"'10'", false, 0, 0, 0},
        {"10:20:30", false, 0, 0, 0},
        {"", false, 0, 0, 0},
    };
    for (const auto &c : cases) {
        Value *v = literal(KX_LITERAL_TIME, c.token);
        if (!c.parses) {
            EXPECT_EQ(v, nullptr) << c.token;
            continue;
        }
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, VALUE_TIME);
        EXPECT_EQ(v->payload.time.hour, c.hour) << c.token;
        EXPECT_EQ(v->payload.time.minute, c.minute) << c.token;
        EXPECT_EQ(v->payload.time.second, c.second) << c.token;
    }
}

TEST_F(ParsehelpTest, Timestamps)
{
    struct {
        const char *token;
        bool parses;
        int year, month, day, hour, minute, second;
    } cases[] = {
        {"{ts '2004-01-31 10:20:30'}", true, 2004, 1, 31, 10, 20, 30},
        {"{ts '2004-01-31 10:20:30.750'}", true, 2004, 1, 31, 10, 20, 30},
        {"'2004-02-29    01:02:03'", true, 2004, 2, 29, 1, 2, 3},
        {"'2004-01-31'", false, 0, 0, 0, 0, 0, 0},          // no blank
        {"'2004-01-31 10'", false, 0, 0, 0, 0, 0, 0},       // no ':'
        {"'2004-01-31 10:20'", false, 0, 0, 0, 0, 0, 0},    // one ':'
        {"'2004-01 10:20:30'", false, 0, 0, 0, 0, 0, 0},    // one '-'
        {"", false, 0, 0, 0, 0, 0, 0},
    };
    for (const auto &c : cases) {
        Value *v = literal(KX_LITERAL_TIMESTAMP, c.token);
        if (!c.parses) {
            EXPECT_EQ(v, nullptr) << c.token;
            continue;
        }
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, VALUE_TIMESTAMP);
        const TimestampStruct &t = v->payload.timestamp;
        EXPECT_EQ(t.year, c.year) << c.token;
        EXPECT_EQ(t.month, c.month) << c.token;
        EXPECT_EQ(t.day, c.day) << c.token;
        EXPECT_EQ(t.hour, c.hour) << c.token;
        EXPECT_EQ(t.minute, c.minute) << c.token;
        EXPECT_EQ(t.second, c.second) << c.token;
        EXPECT_EQ(t.fraction, 0u) << c.token;
    }
}

// ---- MakeLiteral: keywords and unknown kinds ----

TEST_F(ParsehelpTest, KeywordLeaves)
{
    const struct {
        int32_t kind;
        int32_t type;
    } cases[] = {
        {KX_LITERAL_USER, VALUE_USER},
        {KX_LITERAL_CURRENT_TIMESTAMP, VALUE_CURRENT_TIMESTAMP},
        {KX_LITERAL_CURRENT_TIME, VALUE_CURRENT_TIME},
        {KX_LITERAL_CURRENT_DATE, VALUE_CURRENT_DATE},
    };
    for (const auto &c : cases) {
        Value *v = literal(c.kind, "");
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, c.type) << c.kind;
        EXPECT_EQ(v->payload.integer, 0);
    }
}

TEST_F(ParsehelpTest, UnknownKindsGiveNull)
{
    for (int32_t kind : {-1, 0, 1, 9, 13, 100})
        EXPECT_EQ(literal(kind, "'x'"), nullptr) << kind;
    for (int32_t kind : {KX_LITERAL_STRING, KX_LITERAL_BIT, KX_LITERAL_HEX, KX_LITERAL_DATE,
                         KX_LITERAL_TIME, KX_LITERAL_TIMESTAMP, 1, 13})
        EXPECT_EQ(MakeLiteral(kind, nullptr, handle), nullptr) << kind;
}

// The keyword leaves do not read the token, so a missing token is fine.
TEST_F(ParsehelpTest, KeywordLeavesWithoutAToken)
{
    const struct {
        int32_t kind;
        int32_t type;
    } cases[] = {
        {KX_LITERAL_USER, VALUE_USER},
        {KX_LITERAL_CURRENT_TIMESTAMP, VALUE_CURRENT_TIMESTAMP},
        {KX_LITERAL_CURRENT_TIME, VALUE_CURRENT_TIME},
        {KX_LITERAL_CURRENT_DATE, VALUE_CURRENT_DATE},
    };
    for (const auto &c : cases) {
        Value *v = MakeLiteral(c.kind, nullptr, handle);
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, c.type) << c.kind;
    }
}

// Malformed tokens in exactly sized heap blocks: a read past the terminator
// is caught by the address sanitizer.
TEST_F(ParsehelpTest, MalformedTokensAreNeverReadPastTheirEnd)
{
    const char *tokens[] = {"", "'", "X", "X'", "x'A", "B", "B'", "{d '", "'2004",
                            "'2004-", "'2004-01-", "'10:", "'10:20:", "'2004-01-31",
                            "'2004-01-31 ", "'2004-01-31 10:", "'2004-01-31 10:20:",
                            "X'ABCDE", "'abc"};
    for (int32_t kind = -1; kind <= 14; ++kind) {
        for (const char *token : tokens) {
            size_t size = std::strlen(token) + 1;
            char *exact = new char[size];
            std::memcpy(exact, token, size);
            Value *v = MakeLiteral(kind, exact, handle);
            if (v != nullptr && v->type == VALUE_STRING) {
                EXPECT_LE(static_cast<size_t>(v->length), size) << token;
            }
            if (kind >= KX_LITERAL_BIT && kind <= KX_LITERAL_TIMESTAMP &&
                kind != KX_LITERAL_HEX && std::strlen(token) < 3) {
                EXPECT_EQ(v, nullptr) << kind << " " << token;
            }
            delete[] exact;
        }
    }
}

// ---- MakeNull, MakeInteger, MakeFloat, MakeNumeric ----

TEST_F(ParsehelpTest, MakeNullGivesTheUntypedNull)
{
    Value *v = MakeNull(handle);
    expect_fresh_leaf(v, handle);
    EXPECT_EQ(v->type, VALUE_NULL);
}

TEST_F(ParsehelpTest, MakeIntegerThreshold)
{
    Value *small = MakeInteger("123456", handle);
    expect_fresh_leaf(small, handle);
    EXPECT_EQ(small->type, VALUE_INTEGER);
    EXPECT_EQ(small->payload.integer, 123456);

    Value *negative = MakeInteger("-12345", handle);
    EXPECT_EQ(negative->type, VALUE_INTEGER);
    EXPECT_EQ(negative->payload.integer, -12345);

    Value *big = MakeInteger("1234567", handle);
    expect_fresh_leaf(big, handle);
    EXPECT_EQ(big->type, VALUE_NUMERIC);
    EXPECT_EQ(big->attr[0], 7);
    EXPECT_EQ(big->attr[1], 0);
    EXPECT_EQ(big->payload.numeric.precision, 7);
    EXPECT_EQ(big->payload.numeric.scale, 0);
    EXPECT_EQ(big->payload.numeric.sign, 1);
    EXPECT_EQ(numeric_text(big), "1234567");

    Value *huge = MakeInteger("123456789012345678901234567890", handle);
    EXPECT_EQ(huge->type, VALUE_NUMERIC);
    EXPECT_EQ(huge->attr[0], 30);
    EXPECT_EQ(numeric_text(huge), "123456789012345678901234567890");
}

TEST_F(ParsehelpTest, MakeFloat)
{
    Value *v = MakeFloat("1.5e3", handle);
    expect_fresh_leaf(v, handle);
    EXPECT_EQ(v->type, VALUE_DOUBLE);
    EXPECT_DOUBLE_EQ(v->payload.dbl, 1500.0);
    EXPECT_DOUBLE_EQ(MakeFloat(".25", handle)->payload.dbl, 0.25);
}

struct NumericCase {
    const char *i;
    const char *f;
    int32_t type;
    double dbl;             // for VALUE_DOUBLE
    intptr_t precision;     // for VALUE_NUMERIC
    intptr_t scale;
    const char *text;
};

TEST_F(ParsehelpTest, MakeNumericCases)
{
    const NumericCase cases[] = {
        {"12", "5", VALUE_DOUBLE, 12.5, 0, 0, nullptr},
        {"123456", "123456", VALUE_DOUBLE, 123456.123456, 0, 0, nullptr},
        {nullptr, "25", VALUE_DOUBLE, 0.25, 0, 0, nullptr},
        {nullptr, "123456", VALUE_DOUBLE, 0.123456, 0, 0, nullptr},
        {"42", nullptr, VALUE_INTEGER, 0, 0, 0, nullptr},
        {"1234567", "5", VALUE_NUMERIC, 0, 10, 1, "1234567.5"},
        {"1", "1234567", VALUE_NUMERIC, 0, 10, 7, "1.1234567"},
        {"1234567", nullptr, VALUE_NUMERIC, 0, 7, 0, "1234567"},
        {nullptr, "1234567", VALUE_NUMERIC, 0, 10, 7, "0.1234567"},
        {"00000000001", "50", VALUE_NUMERIC, 0, 15, 2, "1.5"},
    };
    for (const NumericCase &c : cases) {
        Value *v = MakeNumeric(c.i, c.f, handle);
        expect_fresh_leaf(v, handle);
        std::string label = std::string(c.i ? c.i : "(null)") + "." + (c.f ? c.f : "(null)");
        ASSERT_EQ(v->type, c.type) << label;
        if (c.type == VALUE_DOUBLE) {
            EXPECT_DOUBLE_EQ(v->payload.dbl, c.dbl) << label;
        }
        if (c.type == VALUE_INTEGER) {
            EXPECT_EQ(v->payload.integer, 42);
        }
        if (c.type == VALUE_NUMERIC) {
            EXPECT_EQ(v->attr[0], c.precision) << label;
            EXPECT_EQ(v->attr[1], c.scale) << label;
            EXPECT_EQ(v->payload.numeric.precision, c.precision) << label;
            EXPECT_EQ(v->payload.numeric.scale, c.scale) << label;
            EXPECT_EQ(numeric_text(v), c.text) << label;
        }
    }
}

TEST_F(ParsehelpTest, MakeNumericLeavesItsTokensAlone)
{
    char i[] = "1234567";
    char f[] = "891";
    MakeNumeric(i, f, handle);
    EXPECT_STREQ(i, "1234567");
    EXPECT_STREQ(f, "891");
}

TEST_F(ParsehelpTest, MakeNumericOfNothingHasNoType)
{
    Value *v = MakeNumeric(nullptr, nullptr, handle);
    expect_fresh_leaf(v, handle);
    EXPECT_EQ(v->type, 0);
}

TEST_F(ParsehelpTest, MakeNumericBeyond128BitsKeepsAZeroMagnitude)
{
    Value *v = MakeNumeric("340282366920938463463374607431768211456", nullptr, handle);
    EXPECT_EQ(v->type, VALUE_NUMERIC);
    EXPECT_EQ(v->attr[0], 39);
    for (unsigned char octet : v->payload.numeric.val)
        EXPECT_EQ(octet, 0);
    Value *max = MakeNumeric("340282366920938463463374607431768211455", nullptr, handle);
    for (unsigned char octet : max->payload.numeric.val)
        EXPECT_EQ(octet, 0xFF);
}

// ---- MakeDynamic, MakeLiteralWithPrec, ConvertToInteger ----

TEST_F(ParsehelpTest, MakeDynamicHoldsTheOrdinal)
{
    ParseNode *node = MakeDynamic(3, handle);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->kind, static_cast<uint32_t>(NODE_DYNAMIC_PARAM));
    EXPECT_EQ(node->field[0], 3);
    EXPECT_EQ(node->field[1], 0);
}

TEST_F(ParsehelpTest, MakeLiteralWithPrec)
{
    int marker = 0;
    void *precision = &marker;
    const struct {
        int32_t code;
        int32_t type;
    } cases[] = {{10, VALUE_CURRENT_TIMESTAMP}, {11, VALUE_CURRENT_TIME}, {12, 0}, {0, 0}};
    for (const auto &c : cases) {
        Value *v = MakeLiteralWithPrec(c.code, reinterpret_cast<void *>(0x1234), precision,
                                       handle);
        expect_fresh_leaf(v, handle);
        EXPECT_EQ(v->type, c.type) << c.code;
        EXPECT_EQ(v->attr[0], reinterpret_cast<intptr_t>(precision)) << c.code;
        EXPECT_EQ(v->attr[1], 0);
    }
}

// No token text: nothing to read, so the leaves hold what the builders
// make of nothing.
TEST_F(ParsehelpTest, NumberBuildersWithoutAToken)
{
    Value *integer = MakeInteger(nullptr, handle);
    expect_fresh_leaf(integer, handle);
    EXPECT_EQ(integer->type, 0) << "as MakeNumeric of nothing";
    Value *real = MakeFloat(nullptr, handle);
    expect_fresh_leaf(real, handle);
    EXPECT_EQ(real->type, VALUE_DOUBLE);
    EXPECT_EQ(real->payload.dbl, 0.0);
}

TEST(ParsehelpNoHandle, BuildersWithoutAMemoryHandleMakeNothing)
{
    int marker = 0;
    EXPECT_EQ(MakeLiteralWithPrec(KX_LITERAL_CURRENT_TIMESTAMP, nullptr, &marker, nullptr),
              nullptr);
    EXPECT_EQ(MakeNumeric("12", "5", nullptr), nullptr);
    EXPECT_EQ(MakeInteger("12", nullptr), nullptr);
    EXPECT_EQ(MakeFloat("1.5", nullptr), nullptr);
    EXPECT_EQ(MakeNull(nullptr), nullptr);
    EXPECT_EQ(MakeDynamic(1, nullptr), nullptr);
}

TEST(ConvertToInteger, AsAtol)
{
    const struct {
        const char *text;
        int32_t value;
    } cases[] = {
        {"123", 123},         {"-42", -42},       {"  7", 7},
        {"+8x", 8},           {"12abc", 12},      {"x", 0},
        {"", 0},              {"2147483647", INT32_MAX},
        {"99999999999", INT32_MAX}, {"-99999999999", INT32_MIN},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ConvertToInteger(c.text), c.value) << c.text;
    EXPECT_EQ(ConvertToInteger(nullptr), 0);
}

}  // namespace
