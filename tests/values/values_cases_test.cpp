// Case tables for the value model, written against the public header alone:
// the SQL type mapping, construction and its cache use, duplication and
// sharing, release, every getter and setter, interval magnitudes and the
// bound-buffer sizes.
#include <gtest/gtest.h>

#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

// A memory handle per test, released at the end.
class ValueCases : public kxtest::ValueFixture {};

// ---- the SQL type mapping ----

TEST_F(ValueCases, SqlTypeMappingIsComplete)
{
    struct Case {
        int32_t sql;
        int32_t code;
    };
    static const Case cases[] = {
        {-7, 1}, {-6, 1}, {4, 1}, {5, 1},
        {-5, 12},
        {-4, 30},
        {-3, 5}, {-2, 5},
        {-1, 29},
        {1, 3}, {12, 3},
        {2, 10}, {3, 10},
        {6, 2}, {7, 2}, {8, 2},
        {9, 7}, {91, 7},
        {10, 8}, {92, 8},
        {11, 9}, {93, 9},
        {101, 13}, {102, 13}, {107, 13},
        {103, 14}, {104, 14}, {105, 14}, {106, 14}, {109, 14}, {110, 14},
        {111, 14}, {112, 14}, {113, 14},
        // Without a mapping.
        {108, -9999}, {0, -9999}, {-8, -9999}, {-9, -9999}, {-10, -9999},
        {-11, -9999}, {13, -9999}, {99, -9999}, {100, -9999}, {114, -9999},
        {-12, -9999}, {-28, -9999}, {94, -9999}, {2147483647, -9999},
        {-2147483647 - 1, -9999},
    };
    for (const Case &c : cases)
        EXPECT_EQ(sql_to_value_type(c.sql), c.code) << "sql type " << c.sql;
    EXPECT_EQ(VALUE_NO_TYPE, -9999);
}

// ---- construction ----

TEST_F(ValueCases, NewValueWithoutTextIsAPlainRecord)
{
    Value *v = NewValue(handle, 0);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->kind, 154u);
    EXPECT_EQ(v->mem_handle, handle);
    EXPECT_EQ(v->ref_count, 0);
    // Nothing else is set: the caller fills the record before releasing it.
    v->type = VALUE_INTEGER;
    v->null_flag = 0;
    v->long_buffer = nullptr;
    release_value(handle, v);
}

TEST_F(ValueCases, NewValueWithShortTextHasAnInlineArea)
{
    static const int32_t lengths[] = {1, 2, 64, 127};
    for (int32_t n : lengths) {
        Value *v = NewValue(handle, n);
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(v->kind, 154u);
        EXPECT_EQ(v->mem_handle, handle);
        EXPECT_EQ(v->ref_count, 0);
        EXPECT_EQ(v->inline_buffer, 1);
        EXPECT_EQ(v->payload.text, reinterpret_cast<char *>(v + 1)) << n;
        // The whole 128-octet area is usable whatever the length asked.
        std::memset(v->payload.text, 'x', 128);
        v->type = VALUE_STRING;
        v->null_flag = 0;
        v->long_buffer = nullptr;
        release_value(handle, v);
    }
}

TEST_F(ValueCases, NewValueWithLongTextHasExactlyThatMuch)
{
    static const int32_t lengths[] = {128, 129, 4000};
    for (int32_t n : lengths) {
        Value *v = NewValue(handle, n);
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(v->kind, 154u);
        EXPECT_EQ(v->mem_handle, handle);
        EXPECT_EQ(v->ref_count, 0);
        EXPECT_EQ(v->inline_buffer, 1);
        EXPECT_EQ(v->payload.text, reinterpret_cast<char *>(v + 1));
        std::memset(v->payload.text, 'y', static_cast<size_t>(n));
        v->type = VALUE_STRING;
        v->null_flag = 0;
        v->long_buffer = nullptr;
        release_value(handle, v);
    }
}

// 1-127 octets come from kind 166 (recycled, most recent first); 128 does not.
TEST_F(ValueCases, ShortTextRecordsAreRecycledLongOnesAreNot)
{
    Value *a = NewValue(handle, 127);
    ASSERT_NE(a, nullptr);
    a->type = VALUE_INTEGER;
    a->null_flag = 0;
    a->long_buffer = nullptr;
    release_value(handle, a);  // a goes to the head of kind 166's cache
    Value *b = NewValue(handle, 5);
    EXPECT_EQ(b, a);
    // The same slot is reachable through the node allocator with that kind.
    b->type = VALUE_INTEGER;
    b->null_flag = 0;
    b->long_buffer = nullptr;
    release_value(handle, b);
    void *c = kx_mem_alloc_node(handle, sizeof(Value) + 128, 166);
    EXPECT_EQ(c, static_cast<void *>(a));
    kx_mem_free(handle, c);  // back at the head of the cache

    // A 128-octet record is not cached: the next short record is still c.
    Value *big = NewValue(handle, 128);
    ASSERT_NE(big, nullptr);
    big->type = VALUE_INTEGER;
    big->null_flag = 0;
    big->long_buffer = nullptr;
    release_value(handle, big);
    Value *d = NewValue(handle, 1);
    EXPECT_EQ(static_cast<void *>(d), c);
    EXPECT_NE(d, big);
}

TEST_F(ValueCases, PlainRecordsAreRecycledThroughKind154)
{
    Value *a = NewValue(handle, 0);
    ASSERT_NE(a, nullptr);
    a->type = VALUE_INTEGER;
    a->null_flag = 0;
    a->long_buffer = nullptr;
    release_value(handle, a);
    void *b = kx_mem_alloc_node(handle, sizeof(Value), 154);
    EXPECT_EQ(b, static_cast<void *>(a));
    kx_mem_free(handle, b);
}

TEST_F(ValueCases, NewNodeIsZeroFilledWithItsKind)
{
    struct Case {
        size_t size;
        uint32_t kind;
    };
    static const Case cases[] = {{64, 120}, {sizeof(Value), 154}, {16, 100}, {200, 162}};
    for (const Case &c : cases) {
        unsigned char *p = static_cast<unsigned char *>(newNode(c.size, c.kind, handle));
        ASSERT_NE(p, nullptr);
        uint32_t kind;
        std::memcpy(&kind, p, sizeof kind);
        EXPECT_EQ(kind, c.kind);
        size_t from = sizeof(uint32_t);
        if (c.kind == 154) {
            Value *v = reinterpret_cast<Value *>(p);
            EXPECT_EQ(v->mem_handle, handle);
            v->mem_handle = nullptr;  // so that the rest reads as zero below
        }
        bool zero = true;
        for (size_t i = from; i < c.size; ++i)
            zero = zero && p[i] == 0;
        EXPECT_TRUE(zero) << "kind " << c.kind;
        kx_mem_free(handle, p);
    }
}

TEST_F(ValueCases, NewNodeValueLeafIsACleanRecord)
{
    Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->kind, 154u);
    EXPECT_EQ(v->type, 0);
    EXPECT_EQ(v->null_flag, 0);
    EXPECT_EQ(v->ref_count, 0);
    EXPECT_EQ(v->long_buffer, nullptr);
    EXPECT_EQ(v->inline_buffer, 0);
    EXPECT_EQ(v->mem_handle, handle);
}

TEST_F(ValueCases, ExtractSelectWalksFromAQueryNode)
{
    // Nodes as the parser makes them: kind word then general fields.
    ParseNode *select = static_cast<ParseNode *>(newNode(sizeof(ParseNode) + 12 * sizeof(intptr_t), 140, handle));
    ParseNode *inner = static_cast<ParseNode *>(newNode(sizeof(ParseNode) + 12 * sizeof(intptr_t), 139, handle));
    ParseNode *query = static_cast<ParseNode *>(newNode(sizeof(ParseNode) + 12 * sizeof(intptr_t), 138, handle));
    ASSERT_TRUE(select && inner && query);
    inner->field[3] = reinterpret_cast<intptr_t>(select);   // fifth word
    inner->field[2] = 11;
    inner->field[4] = 13;
    query->field[7] = reinterpret_cast<intptr_t>(inner);    // ninth word
    query->field[3] = 77;                                   // not used for 138
    EXPECT_EQ(extract_select(query), select);

    // Any other kind: its own fifth word.
    ParseNode *other = static_cast<ParseNode *>(newNode(sizeof(ParseNode) + 12 * sizeof(intptr_t), 139, handle));
    other->field[3] = reinterpret_cast<intptr_t>(select);
    other->field[7] = reinterpret_cast<intptr_t>(inner);
    EXPECT_EQ(extract_select(other), select);
    other->field[3] = 0;
    EXPECT_EQ(extract_select(other), nullptr);
}

// ---- duplication and sharing ----

TEST_F(ValueCases, DuplicateOfNullPointerIsANullRecord)
{
    Value *v = duplicate_value(handle, nullptr);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->kind, 154u);
    EXPECT_EQ(v->null_flag, -1);
    EXPECT_EQ(v->payload.text, nullptr);
    EXPECT_EQ(v->long_buffer, nullptr);
    EXPECT_EQ(v->ref_count, 0);
    EXPECT_EQ(v->mem_handle, handle);
}

TEST_F(ValueCases, DuplicateOfStringCopiesTheText)
{
    Value *src = make_string("O'Brien");
    src->share_block = 1;
    src->attr[0] = 5;
    src->attr[3] = 9;
    src->driver[2] = 1234;
    src->ref_count = 3;
    Value *v = duplicate_value(handle, src);
    ASSERT_NE(v, nullptr);
    ASSERT_NE(v, src);
    EXPECT_EQ(v->type, VALUE_STRING);
    EXPECT_EQ(v->length, 7);
    EXPECT_NE(v->payload.text, src->payload.text);
    EXPECT_STREQ(v->payload.text, "O'Brien");
    EXPECT_EQ(v->inline_buffer, 1);
    EXPECT_EQ(v->share_block, 0);
    EXPECT_EQ(v->long_buffer, nullptr);
    EXPECT_EQ(v->ref_count, 0);
    EXPECT_EQ(v->attr[0], 5);
    EXPECT_EQ(v->attr[3], 9);
    EXPECT_EQ(v->driver[2], 1234);
    EXPECT_EQ(v->null_flag, 0);
    // The copy is independent.
    src->payload.text[0] = 'X';
    EXPECT_STREQ(v->payload.text, "O'Brien");
}

TEST_F(ValueCases, DuplicateOfLongStringUsesAnUncachedRecord)
{
    char text[301];
    std::memset(text, 'q', 300);
    text[300] = '\0';
    Value *src = make_string(text);
    Value *v = duplicate_value(handle, src);
    ASSERT_NE(v, nullptr);
    EXPECT_STREQ(v->payload.text, text);
    EXPECT_EQ(v->length, 300);
    EXPECT_EQ(v->inline_buffer, 1);
    release_value(handle, v);
}

TEST_F(ValueCases, DuplicateOfBinaryCopiesTheDeclaredOctets)
{
    // Binary of declared length 4 holding 3 octets.
    Value *src = make(VALUE_BINARY);
    unsigned char *bytes = static_cast<unsigned char *>(kx_mem_alloc(handle, 4));
    const unsigned char data[4] = {0x00, 0xFF, 0x10, 0x7F};
    std::memcpy(bytes, data, 4);
    src->payload.bytes = bytes;
    src->length = 4;
    src->data_length = 3;
    src->inline_buffer = 0;
    Value *v = duplicate_value(handle, src);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->type, VALUE_BINARY);
    EXPECT_NE(v->payload.bytes, bytes);
    // The declared octets (the octet beyond them is not the source's to
    // hand over: a binary buffer may hold exactly its declared length).
    EXPECT_EQ(0, std::memcmp(v->payload.bytes, data, 4));
    EXPECT_EQ(v->length, 4);
    EXPECT_EQ(v->data_length, 3);
    EXPECT_EQ(v->inline_buffer, 1);
    release_value(handle, v);
}

TEST_F(ValueCases, DuplicateOfStringWithoutBuffer)
{
    Value *src = make(VALUE_STRING);
    src->payload.text = nullptr;
    src->null_flag = -1;
    src->share_block = 1;
    Value *v = duplicate_value(handle, src);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->type, VALUE_STRING);
    EXPECT_EQ(v->payload.text, nullptr);
    EXPECT_EQ(v->null_flag, -1);
    EXPECT_EQ(v->share_block, 0);
    EXPECT_EQ(v->long_buffer, nullptr);
    EXPECT_EQ(v->ref_count, 0);
}

TEST_F(ValueCases, DuplicateOfFixedTypesCopiesTheWholeRecord)
{
    Value *src = make(VALUE_TIMESTAMP);
    src->payload.timestamp = TimestampStruct{2004, 6, 16, 10, 20, 30, 500};
    src->length = 16;
    src->attr[1] = 3;
    src->driver[0] = 42;
    src->ref_count = 2;
    Value *v = duplicate_value(handle, src);
    ASSERT_NE(v, nullptr);
    ASSERT_NE(v, src);
    EXPECT_EQ(v->kind, 154u);
    EXPECT_EQ(v->type, VALUE_TIMESTAMP);
    EXPECT_EQ(v->length, 16);
    EXPECT_EQ(v->attr[1], 3);
    EXPECT_EQ(v->driver[0], 42);
    EXPECT_EQ(v->ref_count, 0);
    EXPECT_EQ(0, std::memcmp(&v->payload, &src->payload, sizeof(TimestampStruct)));
}

TEST_F(ValueCases, DuplicateKeepsTheSourceHandleAndThenShares)
{
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(other, nullptr);
    Value *src = make_int(7);
    Value *copy = duplicate_value(other, src);
    ASSERT_NE(copy, nullptr);
    ASSERT_NE(copy, src);
    EXPECT_EQ(copy->mem_handle, handle);  // the source's handle
    EXPECT_EQ(copy->payload.integer, 7);
    // Sharing compares that field: with the first handle it shares.
    Value *shared = duplicate_value_ex(handle, copy);
    EXPECT_EQ(shared, copy);
    EXPECT_EQ(copy->ref_count, 1);
    kx_mem_release_handle(other);
}

TEST_F(ValueCases, DuplicateExSharesOnlyInTheSameHandleWithoutShareBlock)
{
    Value *v = make_int(3);
    EXPECT_EQ(duplicate_value_ex(handle, v), v);
    EXPECT_EQ(v->ref_count, 1);
    EXPECT_EQ(duplicate_value_ex(handle, v), v);
    EXPECT_EQ(v->ref_count, 2);

    // Share-block flag set: a copy, the source untouched.
    v->share_block = 1;
    Value *c = duplicate_value_ex(handle, v);
    ASSERT_NE(c, nullptr);
    EXPECT_NE(c, v);
    EXPECT_EQ(v->ref_count, 2);
    EXPECT_EQ(c->ref_count, 0);
    EXPECT_EQ(c->payload.integer, 3);

    // Another handle: a copy.
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    Value *s = make_string("abc");
    Value *d = duplicate_value_ex(other, s);
    ASSERT_NE(d, nullptr);
    EXPECT_NE(d, s);
    EXPECT_STREQ(d->payload.text, "abc");
    EXPECT_EQ(s->ref_count, 0);
    kx_mem_release_handle(other);

    // A null source: a NULL record.
    Value *n = duplicate_value_ex(handle, nullptr);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->null_flag, -1);
    EXPECT_EQ(n->payload.text, nullptr);
}

// ---- release ----

int destroyed = 0;
int count_destruction(void *)
{
    ++destroyed;
    return 0;
}

TEST_F(ValueCases, ReleaseIgnoresNullAndAllOnes)
{
    release_value(handle, nullptr);
    release_value(handle, reinterpret_cast<Value *>(static_cast<intptr_t>(-1)));
    SUCCEED();
}

TEST_F(ValueCases, ReleaseDropsOneHolderAtATime)
{
    Value *v = NewValue(handle, 0);
    ASSERT_NE(v, nullptr);
    v->type = VALUE_INTEGER;
    v->null_flag = 0;
    v->long_buffer = nullptr;
    v->ref_count = 2;
    release_value(handle, v);
    EXPECT_EQ(v->ref_count, 1);
    release_value(handle, v);
    EXPECT_EQ(v->ref_count, 0);
    release_value(handle, v);  // frees: the next plain record is this one
    Value *w = NewValue(handle, 0);
    EXPECT_EQ(w, v);
}

TEST_F(ValueCases, ReleaseFreesASeparateBufferButNotAnInlineOne)
{
    destroyed = 0;
    Value *v = make(VALUE_STRING);
    v->payload.text = static_cast<char *>(kx_mem_alloc_ex(handle, 8, count_destruction));
    std::strcpy(v->payload.text, "abc");
    v->inline_buffer = 0;
    release_value(handle, v);
    EXPECT_EQ(destroyed, 1);

    destroyed = 0;
    Value *b = make(VALUE_BINARY);
    b->payload.bytes = static_cast<unsigned char *>(kx_mem_alloc_ex(handle, 8, count_destruction));
    b->inline_buffer = 0;
    release_value(handle, b);
    EXPECT_EQ(destroyed, 1);

    // Flagged inline: the buffer is not the record's to free.
    destroyed = 0;
    char *kept = static_cast<char *>(kx_mem_alloc_ex(handle, 8, count_destruction));
    Value *i = make(VALUE_STRING);
    i->payload.text = kept;
    i->inline_buffer = 1;
    release_value(handle, i);
    EXPECT_EQ(destroyed, 0);
    kx_mem_free(handle, kept);
    EXPECT_EQ(destroyed, 1);

    // Another type's payload is not a buffer.
    destroyed = 0;
    char *also = static_cast<char *>(kx_mem_alloc_ex(handle, 8, count_destruction));
    Value *n = make(VALUE_INTEGER);
    n->payload.text = also;
    release_value(handle, n);
    EXPECT_EQ(destroyed, 0);
    kx_mem_free(handle, also);
}

TEST_F(ValueCases, ReleaseDropsTheLongBufferReference)
{
    destroyed = 0;
    Value *v = make(VALUE_LONG_STRING);
    v->long_buffer = static_cast<LongBuffer *>(kx_mem_alloc_ex(handle, sizeof(LongBuffer), count_destruction));
    release_value(handle, v);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(ValueCases, ReleaseWithHoldersKeepsBuffers)
{
    destroyed = 0;
    Value *v = make(VALUE_STRING);
    v->payload.text = static_cast<char *>(kx_mem_alloc_ex(handle, 8, count_destruction));
    v->inline_buffer = 0;
    v->ref_count = 1;
    release_value(handle, v);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(v->ref_count, 0);
    release_value(handle, v);
    EXPECT_EQ(destroyed, 1);
}

// ---- getters ----

TEST_F(ValueCases, IntFromValue)
{
    struct Case {
        const char *what;
        Value *v;
        int32_t expected;
    };
    Value *null_int = make_int(5);
    null_int->null_flag = -1;
    Value *nan = make_double(std::numeric_limits<double>::quiet_NaN());
    Value *bit = make(VALUE_BIT);
    bit->payload.integer = 1;
    Value *date = make(VALUE_DATE);
    date->payload.date = DateStruct{2004, 6, 16};
    Value *ym = make(VALUE_INTERVAL_YM);
    ym->payload.interval.interval_type = KX_IS_YEAR;
    ym->payload.interval.intval.year_month.year = 3;
    Value *keyword = make(VALUE_CURRENT_DATE);
    keyword->payload.integer = 9;
    Value *null_lit = make(VALUE_NULL);
    null_lit->payload.integer = 9;
    const Case cases[] = {
        {"NULL integer", null_int, 0},
        {"integer", make_int(42), 42},
        {"negative integer", make_int(-2147483647 - 1), -2147483647 - 1},
        {"bit", bit, 1},
        {"double -2.9", make_double(-2.9), -2},
        {"double 2.9", make_double(2.9), 2},
        {"double 1e10", make_double(1e10), 2147483647},
        {"double -1e10", make_double(-1e10), -2147483647 - 1},
        {"double 2147483647.9", make_double(2147483647.9), 2147483647},
        {"double -2147483648.9", make_double(-2147483648.9), -2147483647 - 1},
        {"double NaN", nan, -2147483647 - 1},
        {"double inf", make_double(INFINITY), 2147483647},
        {"double -inf", make_double(-INFINITY), -2147483647 - 1},
        {"text -123abc", make_string("  -123abc"), -123},
        {"text +7", make_string("+7"), 7},
        {"text abc", make_string("abc"), 0},
        {"text empty", make_string(""), 0},
        {"text 12.9", make_string("12.9"), 12},
        {"numeric 12.75", make_numeric(1275, 2, 1), 12},
        {"numeric -12.75", make_numeric(1275, 2, 0), -12},
        {"numeric 500 (5e2)", make_numeric(5, -2, 1), 500},
        {"bigint 4294967297", make_bigint(4294967297LL), 1},
        {"bigint -1", make_bigint(-1), -1},
        {"bigint 2^31", make_bigint(2147483648LL), -2147483647 - 1},
        {"bigint 2^32 + 2^31 - 1", make_bigint(6442450943LL), 2147483647},
        {"date", date, 0},
        {"interval", ym, 0},
        {"keyword", keyword, 0},
        {"NULL literal", null_lit, 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_int_from_value(c.v), c.expected) << c.what;
}

// Only a null flag of exactly -1 makes the getters read zero.
TEST_F(ValueCases, GettersTestForMinusOneExactly)
{
    Value *v = make_int(5);
    v->null_flag = 1;
    EXPECT_EQ(get_int_from_value(v), 5);
    EXPECT_EQ(get_double_from_value(v), 5.0);
    EXPECT_EQ(get_bigint_from_value(v), 5);
    v->null_flag = -1;
    EXPECT_EQ(get_int_from_value(v), 0);
    EXPECT_EQ(get_double_from_value(v), 0.0);
    EXPECT_EQ(get_bigint_from_value(v), 0);
}

TEST_F(ValueCases, DoubleFromValue)
{
    struct Case {
        const char *what;
        Value *v;
        double expected;
    };
    Value *null_d = make_double(3.5);
    null_d->null_flag = -1;
    Value *bit = make(VALUE_BIT);
    bit->payload.integer = 1;
    Value *ds = make(VALUE_INTERVAL_DS);
    ds->payload.interval.interval_type = KX_IS_DAY;
    ds->payload.interval.intval.day_second.day = 4;
    Value *time = make(VALUE_TIME);
    time->payload.time = TimeStruct{1, 2, 3};
    const Case cases[] = {
        {"NULL", null_d, 0.0},
        {"integer", make_int(-3), -3.0},
        {"bit", bit, 1.0},
        {"double", make_double(0.125), 0.125},
        {"text", make_string("1.5e2xyz"), 150.0},
        {"text blank", make_string("   -0.25"), -0.25},
        {"text none", make_string("x1"), 0.0},
        {"numeric 12.75", make_numeric(1275, 2, 1), 12.75},
        {"numeric -0.5", make_numeric(5, 1, 0), -0.5},
        {"numeric 3e3", make_numeric(3, -3, 1), 3000.0},
        {"bigint 2^53+1", make_bigint(9007199254740993LL), 9007199254740992.0},
        {"bigint -7", make_bigint(-7), -7.0},
        {"interval", ds, 0.0},
        {"time", time, 0.0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_double_from_value(c.v), c.expected) << c.what;
}

TEST_F(ValueCases, BigintFromValue)
{
    struct Case {
        const char *what;
        Value *v;
        int64_t expected;
    };
    Value *null_b = make_bigint(99);
    null_b->null_flag = -1;
    Value *bit = make(VALUE_BIT);
    bit->payload.integer = 1;
    Value *ym = make(VALUE_INTERVAL_YM);
    ym->payload.interval.interval_type = KX_IS_YEAR_TO_MONTH;
    ym->payload.interval.intval.year_month.year = 1;
    ym->payload.interval.intval.year_month.month = 6;
    Value *ds = make(VALUE_INTERVAL_DS);
    ds->payload.interval.interval_type = KX_IS_SECOND;
    ds->payload.interval.intval.day_second.second = 30;
    const Case cases[] = {
        {"NULL", null_b, 0},
        {"integer -5", make_int(-5), -5},
        {"integer min", make_int(-2147483647 - 1), -2147483648LL},
        {"bit", bit, 1},
        {"double -2.9", make_double(-2.9), -2},
        {"double 1e15", make_double(1e15), 1000000000000000LL},
        {"double 5e9", make_double(5e9 + 0.75), 5000000000LL},
        {"text min", make_string("  -9223372036854775808"), INT64_MIN},
        {"text 12abc", make_string("12abc"), 12},
        {"text none", make_string("abc"), 0},
        {"numeric", make_numeric(123456789019ULL, 1, 1), 12345678901LL},
        {"numeric negative", make_numeric(123456789019ULL, 1, 0), -12345678901LL},
        {"bigint", make_bigint(-5000000000LL), -5000000000LL},
        {"bigint max", make_bigint(INT64_MAX), INT64_MAX},
        {"interval ym", ym, 0},
        {"interval ds", ds, 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_bigint_from_value(c.v), c.expected) << c.what;
}

TEST_F(ValueCases, StringFromValueDoesNotConvert)
{
    Value *s = make_string("hello");
    EXPECT_EQ(get_string_from_value(s), s->payload.text);
    s->null_flag = -1;
    EXPECT_STREQ(get_string_from_value(s), "");
    EXPECT_STREQ(get_string_from_value(make_int(12)), "");
    EXPECT_STREQ(get_string_from_value(make_double(1.5)), "");
    Value *b = make(VALUE_BINARY);
    unsigned char bytes[3] = {'a', 'b', 0};
    b->payload.bytes = bytes;
    b->length = 2;
    b->data_length = 2;
    EXPECT_STREQ(get_string_from_value(b), "");
}

// ---- setters ----

TEST_F(ValueCases, SetValueToDoubleInEachType)
{
    struct IntCase {
        double d;
        int32_t expected;
    };
    static const IntCase int_cases[] = {
        {3.7, 3}, {-3.7, -3}, {1e10, 2147483647}, {-1e10, -2147483647 - 1}, {0.0, 0},
    };
    for (const IntCase &c : int_cases) {
        Value *v = make_int(99);
        set_value_to_double(v, c.d);
        EXPECT_EQ(v->type, VALUE_INTEGER);
        EXPECT_EQ(v->payload.integer, c.expected) << c.d;
        Value *b = make(VALUE_BIT);
        set_value_to_double(b, c.d);
        EXPECT_EQ(b->type, VALUE_BIT);
        EXPECT_EQ(b->payload.integer, c.expected) << c.d;
    }
    Value *nan = make_int(1);
    set_value_to_double(nan, std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(nan->payload.integer, -2147483647 - 1);

    Value *d = make_double(1.0);
    set_value_to_double(d, -0.375);
    EXPECT_EQ(d->payload.dbl, -0.375);
    EXPECT_EQ(d->type, VALUE_DOUBLE);

    struct BigCase {
        double d;
        int32_t high;
        uint32_t low;
    };
    static const BigCase big_cases[] = {
        {-5e9, -2, 0xD5FA0E00u},
        {5e9, 1, 0x2A05F200u},
        {-2.9, -1, 0xFFFFFFFEu},
        {4294967297.5, 1, 1u},
    };
    for (const BigCase &c : big_cases) {
        Value *b = make_bigint(0);
        set_value_to_double(b, c.d);
        EXPECT_EQ(b->payload.bigint.high, c.high) << c.d;
        EXPECT_EQ(b->payload.bigint.low, c.low) << c.d;
    }

    // Numeric: at the value's own precision and scale.
    Value *n = make(VALUE_NUMERIC);
    n->payload.numeric.precision = 10;
    n->payload.numeric.scale = 2;
    n->payload.numeric.sign = 1;
    set_value_to_double(n, -1.25);
    EXPECT_EQ(n->payload.numeric.scale, 2);
    EXPECT_EQ(n->payload.numeric.sign, 0);
    EXPECT_EQ(n->payload.numeric.val[0], 125);
    EXPECT_EQ(n->payload.numeric.val[1], 0);
    EXPECT_DOUBLE_EQ(get_double_from_value(n), -1.25);

    // Other types are left as they were.
    Value *date = make(VALUE_DATE);
    date->payload.date = DateStruct{2004, 6, 16};
    Value before = *date;
    set_value_to_double(date, 12.5);
    EXPECT_EQ(0, std::memcmp(&before, date, sizeof(Value)));
    Value *s = make_string("abc");
    set_value_to_double(s, 12.5);
    EXPECT_STREQ(s->payload.text, "abc");
    EXPECT_EQ(s->type, VALUE_STRING);

    // A NULL keeps its flag.
    Value *null_int = make_int(4);
    null_int->null_flag = -1;
    set_value_to_double(null_int, 8.0);
    EXPECT_EQ(null_int->null_flag, -1);
    EXPECT_EQ(null_int->type, VALUE_INTEGER);
    EXPECT_EQ(null_int->payload.integer, 8);
}

TEST_F(ValueCases, SetValueToIntervalCopiesTheWholeRecord)
{
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    Value *src = make(VALUE_INTERVAL_DS);
    src->payload.interval.interval_type = KX_IS_DAY_TO_SECOND;
    src->payload.interval.interval_sign = 1;
    src->payload.interval.intval.day_second = DaySecondStruct{2, 3, 4, 5, 250000000};
    src->attr[2] = 5;
    src->attr[3] = 3;
    src->ref_count = 4;
    src->share_block = 1;
    src->driver[3] = 77;
    Value *dst = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, other));
    Value *r = set_value_to_interval(dst, src);
    EXPECT_EQ(r, dst);
    EXPECT_EQ(0, std::memcmp(dst, src, sizeof(Value)));
    EXPECT_EQ(dst->mem_handle, handle);
    kx_mem_release_handle(other);
}

TEST_F(ValueCases, TriValues)
{
    Value *v = make_int(-5);
    EXPECT_EQ(get_trivalue_from_value(v), 1);
    v->payload.integer = 0;
    EXPECT_EQ(get_trivalue_from_value(v), 0);
    v->payload.integer = 1;
    EXPECT_EQ(get_trivalue_from_value(v), 1);
    v->null_flag = -1;
    EXPECT_EQ(get_trivalue_from_value(v), 2);
    v->null_flag = 1;  // any nonzero flag is unknown here
    EXPECT_EQ(get_trivalue_from_value(v), 2);
}

TEST_F(ValueCases, SetTriValue)
{
    struct Case {
        int32_t t;
        int32_t null_flag;
        int32_t integer;
    };
    static const Case cases[] = {
        {1, 0, 1}, {0, 0, 0}, {7, 0, 0}, {-1, 0, 0}, {3, 0, 0},
    };
    for (const Case &c : cases) {
        Value *v = make_double(2.5);
        v->null_flag = -1;
        EXPECT_EQ(set_trivalue_in_value(v, c.t), v);
        EXPECT_EQ(v->type, VALUE_INTEGER) << c.t;
        EXPECT_EQ(v->null_flag, c.null_flag) << c.t;
        EXPECT_EQ(v->payload.integer, c.integer) << c.t;
    }
    // 2: unknown, the payload untouched.
    Value *v = make_int(1234);
    v->type = VALUE_STRING;
    EXPECT_EQ(set_trivalue_in_value(v, 2), v);
    EXPECT_EQ(v->type, VALUE_INTEGER);
    EXPECT_EQ(v->null_flag, -1);
    EXPECT_EQ(v->payload.integer, 1234);
    EXPECT_EQ(get_trivalue_from_value(v), 2);
}

// ---- interval magnitudes ----

TEST_F(ValueCases, LongFromInterval)
{
    struct Case {
        int32_t kind;
        uint32_t w[5];  // year-or-day, month-or-hour, minute, second, fraction
        uint32_t expected;
        uint32_t fraction;
    };
    static const Case cases[] = {
        {1, {3, 11, 12, 13, 14}, 3, 0},
        {2, {3, 11, 12, 13, 14}, 11, 0},
        {3, {4, 11, 12, 13, 14}, 4, 0},
        {4, {4, 11, 12, 13, 14}, 11, 0},
        {5, {4, 11, 12, 13, 14}, 12, 0},
        {6, {4, 11, 12, 13, 14}, 13, 14},
        {7, {1, 6, 12, 13, 14}, 18, 0},
        {8, {2, 3, 12, 13, 14}, 51, 0},
        {9, {2, 3, 4, 13, 14}, 2 * 1440 + 3 * 60 + 4, 0},
        {10, {2, 3, 4, 5, 250000000}, 2 * 86400 + 3 * 3600 + 4 * 60 + 5, 250000000},
        {11, {3, 4, 12, 13, 14}, 4 * 60 + 12, 0},
        {12, {9, 3, 4, 5, 6}, 3 * 3600 + 4 * 60 + 5, 6},
        {13, {12, 30, 99, 5, 6}, 99 * 60 + 5, 6},
        // 32-bit wrap-around.
        {10, {50000, 0, 0, 0, 0}, 25032704u, 0},
        {7, {0xFFFFFFFFu, 2, 0, 0, 0}, 0xFFFFFFF6u, 0},
        // Kinds outside 1-13.
        {0, {1, 2, 3, 4, 5}, 0, 0},
        {14, {1, 2, 3, 4, 5}, 0, 0},
        {-1, {1, 2, 3, 4, 5}, 0, 0},
    };
    for (const Case &c : cases) {
        for (int sign = 0; sign <= 1; ++sign) {
            Value *v = make(c.kind <= 2 || c.kind == 7 ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS);
            v->payload.interval.interval_type = c.kind;
            v->payload.interval.interval_sign = static_cast<int16_t>(sign);
            v->payload.interval.intval.day_second =
                DaySecondStruct{c.w[0], c.w[1], c.w[2], c.w[3], c.w[4]};
            uint32_t fraction = 0xDEADu;
            EXPECT_EQ(get_long_from_interval(v, &fraction), c.expected) << "kind " << c.kind;
            EXPECT_EQ(fraction, c.fraction) << "kind " << c.kind;
            EXPECT_EQ(get_long_from_interval(v, nullptr), c.expected) << "kind " << c.kind;
        }
    }
}

// The kinds ending in seconds hand over the fraction word as it is.
TEST_F(ValueCases, LongFromIntervalFractionOnlyForSecondKinds)
{
    for (int32_t kind = 1; kind <= 13; ++kind) {
        Value *v = make(VALUE_INTERVAL_DS);
        v->payload.interval.interval_type = kind;
        v->payload.interval.intval.day_second = DaySecondStruct{1, 1, 1, 1, 777};
        uint32_t fraction = 1;
        get_long_from_interval(v, &fraction);
        bool seconds = kind == 6 || kind == 10 || kind == 12 || kind == 13;
        EXPECT_EQ(fraction, seconds ? 777u : 0u) << "kind " << kind;
    }
}

// ---- bound-buffer sizes ----

TEST_F(ValueCases, BufferLengths)
{
    struct Case {
        int32_t type;
        int32_t expected;  // -1 stands for the declared length
    };
    static const Case cases[] = {
        {-28, 1}, {-26, 1}, {-7, 1}, {-6, 1},
        {-17, 2}, {-15, 2}, {5, 2},
        {-18, 4}, {-16, 4}, {4, 4}, {7, 4},
        {-27, 8}, {-25, 8}, {-5, 8}, {6, 8}, {8, 8},
        {2, 19}, {3, 19},
        {9, 6}, {10, 6}, {91, 6}, {92, 6},
        {11, 16}, {93, 16},
        {101, 28}, {102, 28}, {103, 28}, {104, 28}, {105, 28}, {106, 28}, {107, 28},
        {108, 28}, {109, 28}, {110, 28}, {111, 28}, {112, 28}, {113, 28},
        {-3, -1}, {-2, -1}, {1, -1}, {12, -1}, {99, -1},
        {-4, 0}, {-1, 0},
        {0, 0}, {-8, 0}, {-9, 0}, {-10, 0}, {-11, 0}, {100, 0}, {114, 0}, {94, 0},
        {13, 0}, {-29, 0}, {-24, 0},
    };
    static const int32_t lengths[] = {0, 17, 4000};
    for (const Case &c : cases)
        for (int32_t length : lengths)
            EXPECT_EQ(get_buffer_length(length, c.type), c.expected < 0 ? length : c.expected)
                << "type " << c.type << " length " << length;
}

}  // namespace
