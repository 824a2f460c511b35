// Tests of the value model: construction (NewValue, newNode), duplication
// and sharing, release, the getters and setters with their saturation
// rules, interval magnitudes, bound-buffer sizes and the SQL type mapping.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "memory/memsys_internal.h"
#include "support/kx_test_support.h"

namespace {

class ValuesTest : public kxtest::ValueFixture {
protected:
    // Blocks currently linked in the handle.
    int block_count()
    {
        int n = 0;
        for (MemBlock *b = handle->first_block; b != nullptr; b = b->next)
            n++;
        return n;
    }
};

// ---- sql_to_value_type ----

TEST(SqlToValueType, EveryRowOfTheMapping)
{
    struct Case {
        int32_t sql_type;
        int32_t expected;
    } const cases[] = {
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
        // without a mapping
        {0, -9999}, {-8, -9999}, {-9, -9999}, {-10, -9999}, {-11, -9999},
        {108, -9999}, {100, -9999}, {114, -9999}, {13, -9999}, {94, -9999},
        {-12, -9999}, {99, -9999},
    };
    for (const Case &c : cases)
        EXPECT_EQ(sql_to_value_type(c.sql_type), c.expected) << "SQL type " << c.sql_type;
}

TEST(SqlToValueType, DayToHourIsTheGapBetweenItsNeighbours)
{
    EXPECT_EQ(sql_to_value_type(107), VALUE_INTERVAL_YM);
    EXPECT_EQ(sql_to_value_type(108), VALUE_NO_TYPE);
    EXPECT_EQ(sql_to_value_type(109), VALUE_INTERVAL_DS);
}

// ---- NewValue and newNode ----

TEST_F(ValuesTest, NewValueWithoutTextIsABareCachedRecord)
{
    Value *v = NewValue(handle, 0);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->kind, 154u);
    EXPECT_EQ(v->mem_handle, handle);
    EXPECT_EQ(v->ref_count, 0);
    MemBlock *block = kx::mem_block_of(v);
    EXPECT_EQ(block->kind, NODE_VALUE);
    EXPECT_EQ(block->size, sizeof(Value));
}

TEST_F(ValuesTest, NewValueThreePathsByTextLength)
{
    struct Case {
        int32_t text_length;
        int32_t block_kind;  // -1: an uncached block
        size_t block_size;
    } const cases[] = {
        {1, 166, sizeof(Value) + 128},
        {64, 166, sizeof(Value) + 128},
        {127, 166, sizeof(Value) + 128},
        {128, -1, sizeof(Value) + 128},
        {129, -1, sizeof(Value) + 129},
        {5000, -1, sizeof(Value) + 5000},
    };
    for (const Case &c : cases) {
        Value *v = NewValue(handle, c.text_length);
        ASSERT_NE(v, nullptr) << c.text_length;
        EXPECT_EQ(v->kind, 154u) << c.text_length;
        EXPECT_EQ(v->mem_handle, handle);
        EXPECT_EQ(v->ref_count, 0);
        EXPECT_EQ(v->inline_buffer, 1);
        EXPECT_EQ(v->payload.text, reinterpret_cast<char *>(v + 1)) << c.text_length;
        MemBlock *block = kx::mem_block_of(v);
        EXPECT_EQ(block->kind, c.block_kind) << c.text_length;
        EXPECT_EQ(block->size, c.block_size) << c.text_length;
        // the whole inline area is writable
        std::memset(v->payload.text, 'x', static_cast<size_t>(c.text_length));
        // the caller fills the rest of the record
        v->type = VALUE_STRING;
        v->length = c.text_length - 1;
        v->long_buffer = nullptr;
        release_value(handle, v);
    }
}

TEST_F(ValuesTest, NewValueRecyclesShortTextRecordsThroughKind166)
{
    Value *first = NewValue(handle, 127);
    ASSERT_NE(first, nullptr);
    int before = kx::mem_cached_count(NODE_VALUE_INLINE);
    kx_mem_free(handle, first);
    if (before < kx::kMemCacheDepth) {
        EXPECT_EQ(kx::mem_cached_count(NODE_VALUE_INLINE), before + 1);
        Value *again = NewValue(handle, 3);
        EXPECT_EQ(again, first);  // the cached block comes back
        EXPECT_EQ(again->payload.text, reinterpret_cast<char *>(again + 1));
    }
}

TEST_F(ValuesTest, NewValueOf128IsNeverCached)
{
    int before = kx::mem_cached_count(NODE_VALUE_INLINE);
    Value *v = NewValue(handle, 128);
    ASSERT_NE(v, nullptr);
    kx_mem_free(handle, v);
    EXPECT_EQ(kx::mem_cached_count(NODE_VALUE_INLINE), before);
}

TEST_F(ValuesTest, NewValueFailsWithoutAHandle)
{
    EXPECT_EQ(NewValue(nullptr, 0), nullptr);
    EXPECT_EQ(NewValue(nullptr, 10), nullptr);
    EXPECT_EQ(NewValue(handle, -1), nullptr);
}

TEST_F(ValuesTest, NewNodeIsZeroFilledWithItsKind)
{
    Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->kind, 154u);
    EXPECT_EQ(v->mem_handle, handle);
    EXPECT_EQ(v->type, 0);
    EXPECT_EQ(v->null_flag, 0);
    EXPECT_EQ(v->payload.text, nullptr);
    EXPECT_EQ(v->inline_buffer, 0);

    unsigned char *node = static_cast<unsigned char *>(newNode(40, 120, handle));
    ASSERT_NE(node, nullptr);
    uint32_t kind;
    std::memcpy(&kind, node, sizeof kind);
    EXPECT_EQ(kind, 120u);
    for (int i = 4; i < 40; i++)
        EXPECT_EQ(node[i], 0) << i;
}

TEST_F(ValuesTest, NewNodeSmallerThanItsKindWordStaysInside)
{
    // a block shorter than the kind word: zero-filled, nothing written past it
    // (kinds no other test uses, so no larger cached block comes back)
    for (size_t size : {size_t{0}, size_t{1}, size_t{3}}) {
        unsigned char *node = static_cast<unsigned char *>(
            newNode(size, static_cast<uint32_t>(990 + size), handle));
        ASSERT_NE(node, nullptr) << size;
        for (size_t i = 0; i < size; i++)
            EXPECT_EQ(node[i], 0) << size;
    }
    // a kind-154 block too small for a record gets no handle field written
    unsigned char *small =
        static_cast<unsigned char *>(newNode(16, NODE_VALUE, handle));
    ASSERT_NE(small, nullptr);
    uint32_t kind;
    std::memcpy(&kind, small, sizeof kind);
    EXPECT_EQ(kind, 154u);
}

TEST_F(ValuesTest, NewValueTextRoomIsExactlyWhatWasAsked)
{
    // above 127 the record carries exactly text_length octets; the
    // whole area is usable and the terminator fits at its end
    Value *v = NewValue(handle, 200);
    ASSERT_NE(v, nullptr);
    std::memset(v->payload.text, 'y', 199);
    v->payload.text[199] = '\0';
    v->type = VALUE_STRING;
    v->length = 199;
    v->null_flag = 0;
    v->share_block = 0;
    v->long_buffer = nullptr;
    EXPECT_EQ(std::strlen(get_string_from_value(v)), 199u);
    Value *copy = duplicate_value(handle, v);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(kx::mem_block_of(copy)->size, sizeof(Value) + 200);
    EXPECT_STREQ(copy->payload.text, v->payload.text);
    release_value(handle, copy);
    release_value(handle, v);
}

// ---- extract_select ----

TEST_F(ValuesTest, ExtractSelectFollowsKind138ToItsSelectNode)
{
    // word 1 is the kind, word N is field[N - 2]
    ParseNode *select = static_cast<ParseNode *>(newNode(64, 120, handle));
    ParseNode *query = static_cast<ParseNode *>(newNode(80, 130, handle));
    ParseNode *outer = static_cast<ParseNode *>(newNode(80, 138, handle));
    query->field[3] = reinterpret_cast<intptr_t>(select);   // fifth word
    outer->field[7] = reinterpret_cast<intptr_t>(query);    // ninth word
    outer->field[3] = 12345;  // its own fifth word is not used
    EXPECT_EQ(extract_select(outer), select);
    EXPECT_EQ(extract_select(query), select);
    EXPECT_EQ(extract_select(nullptr), nullptr);
    outer->field[7] = 0;
    EXPECT_EQ(extract_select(outer), nullptr);
}

// ---- duplication and sharing ----

TEST_F(ValuesTest, DuplicateOfNullIsANullRecord)
{
    Value *d = duplicate_value(handle, nullptr);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->kind, 154u);
    EXPECT_EQ(d->null_flag, -1);
    EXPECT_EQ(d->payload.text, nullptr);
    EXPECT_EQ(d->long_buffer, nullptr);
    EXPECT_EQ(d->ref_count, 0);
    EXPECT_EQ(get_int_from_value(d), 0);
    release_value(handle, d);
}

TEST_F(ValuesTest, DuplicateOfAStringIsIndependent)
{
    Value *src = make_string("O'Brien");
    src->share_block = 7;
    src->attr[0] = 11;
    src->driver[2] = 99;
    Value *d = duplicate_value(handle, src);
    ASSERT_NE(d, nullptr);
    EXPECT_NE(d, src);
    EXPECT_NE(d->payload.text, src->payload.text);
    EXPECT_EQ(d->payload.text, reinterpret_cast<char *>(d + 1));
    EXPECT_STREQ(d->payload.text, "O'Brien");
    EXPECT_EQ(d->type, VALUE_STRING);
    EXPECT_EQ(d->length, 7);
    EXPECT_EQ(d->inline_buffer, 1);
    EXPECT_EQ(d->share_block, 0);
    EXPECT_EQ(d->long_buffer, nullptr);
    EXPECT_EQ(d->ref_count, 0);
    EXPECT_EQ(d->attr[0], 11);      // copied with the record
    EXPECT_EQ(d->driver[2], 99);
    src->payload.text[0] = 'X';
    EXPECT_STREQ(d->payload.text, "O'Brien");
    release_value(handle, d);
}

TEST_F(ValuesTest, DuplicateOfALongStringUsesAnUncachedRecord)
{
    char text[301];
    std::memset(text, 'a', 300);
    text[300] = '\0';
    Value *src = make_string(text);
    Value *d = duplicate_value(handle, src);
    ASSERT_NE(d, nullptr);
    EXPECT_STREQ(d->payload.text, text);
    EXPECT_EQ(kx::mem_block_of(d)->kind, -1);
    EXPECT_EQ(kx::mem_block_of(d)->size, sizeof(Value) + 301);
    release_value(handle, d);
}

TEST_F(ValuesTest, DuplicateOfABinaryCopiesItsOctets)
{
    unsigned char octets[4] = {0x00, 0xFF, 0x12, 0x03};
    Value *src = make(VALUE_BINARY);
    src->length = 4;
    src->data_length = 3;
    src->payload.bytes = octets;
    Value *d = duplicate_value(handle, src);
    ASSERT_NE(d, nullptr);
    EXPECT_NE(d->payload.bytes, octets);
    EXPECT_EQ(std::memcmp(d->payload.bytes, octets, 4), 0);
    EXPECT_EQ(d->length, 4);
    EXPECT_EQ(d->data_length, 3);
    EXPECT_EQ(d->inline_buffer, 1);
    release_value(handle, d);
}

TEST_F(ValuesTest, DuplicateOfAStringWithoutBufferKeepsNoBuffer)
{
    Value *src = make(VALUE_STRING);
    src->share_block = 1;
    src->length = 5;
    Value *d = duplicate_value(handle, src);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->payload.text, nullptr);
    EXPECT_EQ(d->share_block, 0);
    EXPECT_EQ(d->long_buffer, nullptr);
    release_value(handle, d);
}

TEST_F(ValuesTest, DuplicateOfOtherTypesCopiesTheRecord)
{
    Value *src = make(VALUE_TIMESTAMP);
    src->payload.timestamp = {2004, 6, 16, 10, 20, 30, 500};
    src->share_block = 3;
    src->ref_count = 4;
    Value *d = duplicate_value(handle, src);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->type, VALUE_TIMESTAMP);
    EXPECT_EQ(d->payload.timestamp.year, 2004);
    EXPECT_EQ(d->payload.timestamp.fraction, 500u);
    EXPECT_EQ(d->share_block, 3);  // only text and binary copies clear it
    EXPECT_EQ(d->ref_count, 0);
    release_value(handle, d);
}

TEST_F(ValuesTest, ACopyFromAnotherHandleReportsTheSourceHandleAndIsShared)
{
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    Value *src = make_int(42);
    Value *d = duplicate_value(other, src);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->mem_handle, handle);  // the source's, not `other`
    // with the first handle the copy now shares
    Value *shared = duplicate_value_ex(handle, d);
    EXPECT_EQ(shared, d);
    EXPECT_EQ(d->ref_count, 1);
    // with the handle it was allocated from, it is copied
    Value *copied = duplicate_value_ex(other, d);
    EXPECT_NE(copied, d);
    EXPECT_EQ(get_int_from_value(copied), 42);
    kx_mem_release_handle(other);
}

TEST_F(ValuesTest, DuplicateExSharesOnlyWithoutShareBlock)
{
    Value *v = make_int(5);
    EXPECT_EQ(duplicate_value_ex(handle, v), v);
    EXPECT_EQ(duplicate_value_ex(handle, v), v);
    EXPECT_EQ(v->ref_count, 2);
    v->share_block = 1;
    Value *copy = duplicate_value_ex(handle, v);
    EXPECT_NE(copy, v);
    EXPECT_EQ(copy->ref_count, 0);
    EXPECT_EQ(v->ref_count, 2);
    Value *null_copy = duplicate_value_ex(handle, nullptr);
    ASSERT_NE(null_copy, nullptr);
    EXPECT_EQ(null_copy->null_flag, -1);
}

TEST_F(ValuesTest, ReleaseDropsOneHolderAtATime)
{
    // keep the kind-154 cache empty so the final free is visible in it
    Value *drain[kx::kMemCacheDepth];
    for (Value *&d : drain)
        d = NewValue(handle, 0);
    ASSERT_EQ(kx::mem_cached_count(NODE_VALUE), 0);

    Value *v = NewValue(handle, 0);
    v->type = VALUE_INTEGER;
    v->null_flag = 0;
    v->long_buffer = nullptr;
    v->ref_count = 2;
    int blocks = block_count();
    release_value(handle, v);
    EXPECT_EQ(v->ref_count, 1);
    release_value(handle, v);
    EXPECT_EQ(v->ref_count, 0);
    EXPECT_EQ(block_count(), blocks);
    release_value(handle, v);  // the third call frees it
    EXPECT_EQ(block_count(), blocks - 1);
    EXPECT_EQ(kx::mem_cached_count(NODE_VALUE), 1);
    for (Value *d : drain)
        kx_mem_free(handle, d);
}

TEST_F(ValuesTest, ReleaseIgnoresNullAndAllOnes)
{
    release_value(handle, nullptr);
    release_value(handle, reinterpret_cast<Value *>(intptr_t{-1}));
    SUCCEED();
}

TEST_F(ValuesTest, ReleaseFreesASeparateBufferButNotAnInlineOne)
{
    // a separately allocated text buffer (inline flag 0) dies with the value
    Value *v = make(VALUE_STRING);
    char *text = static_cast<char *>(kx_mem_alloc(handle, 6));
    std::memcpy(text, "hello", 6);
    v->payload.text = text;
    v->length = 5;
    int blocks = block_count();
    release_value(handle, v);
    EXPECT_EQ(block_count(), blocks - 2);

    // a binary's separate buffer too
    Value *b = make(VALUE_BINARY);
    b->payload.bytes = static_cast<unsigned char *>(kx_mem_alloc(handle, 3));
    blocks = block_count();
    release_value(handle, b);
    EXPECT_EQ(block_count(), blocks - 2);

    // an inline text is part of the record
    Value *s = make_string("inline");
    blocks = block_count();
    release_value(handle, s);
    EXPECT_EQ(block_count(), blocks - 1);

    // a separate buffer of a non-text type is not the value's to free
    Value *i = make(VALUE_INTEGER);
    i->payload.integer = 3;
    blocks = block_count();
    release_value(handle, i);
    EXPECT_EQ(block_count(), blocks - 1);
}

TEST_F(ValuesTest, ACopyOfANonLongValueNeverHoldsAnotherRecordsLongBuffer)
{
    // a stale long-buffer word in a value that is not long is not copied:
    // releasing the copy and the source frees the block once
    void *block = kx_mem_alloc(handle, 32);
    Value *src = make_double(2.5);
    src->long_buffer = static_cast<LongBuffer *>(block);
    Value *copy = duplicate_value(handle, src);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->long_buffer, nullptr);
    EXPECT_EQ(copy->payload.dbl, 2.5);
    int blocks = block_count();
    release_value(handle, copy);
    EXPECT_EQ(block_count(), blocks - 1);
    release_value(handle, src);  // the source's own reference goes with it
    EXPECT_EQ(block_count(), blocks - 3);
}

TEST_F(ValuesTest, ACopyOfABinaryStopsAtItsDeclaredLength)
{
    // the source buffer holds exactly the declared octets: the copy reads
    // no further and puts a zero after them
    unsigned char *octets = static_cast<unsigned char *>(std::malloc(3));
    octets[0] = 0xAB;
    octets[1] = 0x00;
    octets[2] = 0x7F;
    Value *src = make(VALUE_BINARY);
    src->length = 3;
    src->data_length = 3;
    src->share_block = 1;
    src->payload.bytes = octets;
    Value *d = duplicate_value(handle, src);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(std::memcmp(d->payload.bytes, octets, 3), 0);
    EXPECT_EQ(d->payload.bytes[3], 0);
    EXPECT_EQ(d->share_block, 0);
    std::free(octets);
    release_value(handle, d);
}

TEST_F(ValuesTest, DuplicateExOfASharedCopyCountsEveryHolder)
{
    Value *v = make_string("shared");
    Value *a = duplicate_value_ex(handle, v);
    Value *b = duplicate_value_ex(handle, v);
    EXPECT_EQ(a, v);
    EXPECT_EQ(b, v);
    EXPECT_EQ(v->ref_count, 2);
    int blocks = block_count();
    release_value(handle, b);
    release_value(handle, a);
    EXPECT_EQ(block_count(), blocks);
    EXPECT_STREQ(v->payload.text, "shared");
    release_value(handle, v);
    EXPECT_EQ(block_count(), blocks - 1);
}

// ---- getters ----

TEST_F(ValuesTest, GetIntFromValue)
{
    struct Case {
        const char *label;
        Value *value;
        int32_t expected;
    } const cases[] = {
        {"integer", make_int(-17), -17},
        {"double 1e10 saturates", make_double(1e10), 2147483647},
        {"double -1e10 saturates", make_double(-1e10), INT32_MIN},
        {"double -2.9 truncates", make_double(-2.9), -2},
        {"double 2.9 truncates", make_double(2.9), 2},
        {"double 2147483647.9", make_double(2147483647.9), 2147483647},
        {"double -2147483648.9", make_double(-2147483648.9), INT32_MIN},
        {"double NaN", make_double(std::nan("")), INT32_MIN},
        {"double +inf", make_double(INFINITY), 2147483647},
        {"double -inf", make_double(-INFINITY), INT32_MIN},
        {"text", make_string("  -42abc"), -42},
        {"text +7", make_string("+7"), 7},
        {"text without digits", make_string("abc"), 0},
        {"numeric 1.5", make_numeric(15, 1, 1), 1},
        {"numeric -12.99", make_numeric(1299, 2, 0), -12},
        {"numeric 1200 (scale -2)", make_numeric(12, -2, 1), 1200},
        {"bigint 4294967297", make_bigint(4294967297LL), 1},
        {"bigint -1", make_bigint(-1), -1},
        {"bigint 2^31", make_bigint(2147483648LL), INT32_MIN},
        {"date", make(VALUE_DATE), 0},
        {"interval", make(VALUE_INTERVAL_DS), 0},
        {"keyword", make(VALUE_USER), 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_int_from_value(c.value), c.expected) << c.label;

    Value *bit = make(VALUE_BIT);
    bit->payload.integer = 1;
    EXPECT_EQ(get_int_from_value(bit), 1);
    Value *date = make(VALUE_DATE);
    date->payload.date = {2004, 6, 16};
    EXPECT_EQ(get_int_from_value(date), 0);
}

TEST_F(ValuesTest, GettersTestTheNullFlagForExactlyMinusOne)
{
    Value *v = make_int(7);
    v->null_flag = -1;
    EXPECT_EQ(get_int_from_value(v), 0);
    EXPECT_EQ(get_double_from_value(v), 0.0);
    EXPECT_EQ(get_bigint_from_value(v), 0);
    v->null_flag = 1;  // not a value the writers store: read as a value
    EXPECT_EQ(get_int_from_value(v), 7);
    EXPECT_EQ(get_double_from_value(v), 7.0);
    EXPECT_EQ(get_bigint_from_value(v), 7);
    EXPECT_EQ(get_trivalue_from_value(v), 2);  // any nonzero flag is unknown

    Value *s = make_string("text");
    s->null_flag = -1;
    EXPECT_STREQ(get_string_from_value(s), "");
}

TEST_F(ValuesTest, GetDoubleFromValue)
{
    struct Case {
        const char *label;
        Value *value;
        double expected;
    } const cases[] = {
        {"integer", make_int(-3), -3.0},
        {"double", make_double(2.5), 2.5},
        {"text", make_string(" 1.25e2xyz"), 125.0},
        {"text without digits", make_string("x"), 0.0},
        {"numeric 1.5", make_numeric(15, 1, 1), 1.5},
        {"numeric -0.25", make_numeric(25, 2, 0), -0.25},
        {"bigint 2^53 + 1 to nearest", make_bigint((1LL << 53) + 1), 9007199254740992.0},
        {"bigint min", make_bigint(INT64_MIN), -9223372036854775808.0},
        {"time", make(VALUE_TIME), 0.0},
        {"interval", make(VALUE_INTERVAL_YM), 0.0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_double_from_value(c.value), c.expected) << c.label;
}

TEST_F(ValuesTest, GetBigintFromValue)
{
    Value *interval = make(VALUE_INTERVAL_DS);
    interval->payload.interval.interval_type = KX_IS_DAY;
    interval->payload.interval.intval.day_second.day = 5;
    struct Case {
        const char *label;
        Value *value;
        int64_t expected;
    } const cases[] = {
        {"integer sign-extended", make_int(-5), -5},
        {"double truncates", make_double(-12345678901.7), -12345678901LL},
        {"double 1e19 saturates", make_double(1e19), INT64_MAX},
        {"double -1e19 saturates", make_double(-1e19), INT64_MIN},
        {"double NaN", make_double(std::nan("")), INT64_MIN},
        {"text", make_string(" -9223372036854775807"), -9223372036854775807LL},
        {"text stops at non-digit", make_string("123x4"), 123},
        {"numeric", make_numeric(123456789012345ULL, 3, 0), -123456789012LL},
        {"bigint", make_bigint(-4294967297LL), -4294967297LL},
        {"interval", interval, 0},
        {"year-month interval", make(VALUE_INTERVAL_YM), 0},
        {"timestamp", make(VALUE_TIMESTAMP), 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(get_bigint_from_value(c.value), c.expected) << c.label;
}

TEST_F(ValuesTest, GetStringFromValueConvertsNothing)
{
    Value *s = make_string("abc");
    EXPECT_EQ(get_string_from_value(s), s->payload.text);
    EXPECT_STREQ(get_string_from_value(make_int(5)), "");
    EXPECT_STREQ(get_string_from_value(make(VALUE_STRING)), "");  // no buffer
    EXPECT_STREQ(get_string_from_value(nullptr), "");
}

// ---- setters ----

TEST_F(ValuesTest, SetValueToDoubleStoresInTheCurrentType)
{
    Value *i = make_int(0);
    set_value_to_double(i, -2.9);
    EXPECT_EQ(i->payload.integer, -2);
    set_value_to_double(i, 1e10);
    EXPECT_EQ(i->payload.integer, 2147483647);
    set_value_to_double(i, -1e10);
    EXPECT_EQ(i->payload.integer, INT32_MIN);
    EXPECT_EQ(i->type, VALUE_INTEGER);

    Value *bit = make(VALUE_BIT);
    set_value_to_double(bit, 1.0);
    EXPECT_EQ(bit->payload.integer, 1);

    Value *d = make_double(0);
    d->null_flag = -1;
    set_value_to_double(d, 3.25);
    EXPECT_EQ(d->payload.dbl, 3.25);
    EXPECT_EQ(d->null_flag, -1);  // left alone

    Value *b = make_bigint(0);
    set_value_to_double(b, -12345678901.9);
    EXPECT_EQ(kxtest::bigint_of(*b), -12345678901LL);
    EXPECT_EQ(b->payload.bigint.high, -3);
    set_value_to_double(b, 4294967296.0);
    EXPECT_EQ(b->payload.bigint.high, 1);
    EXPECT_EQ(b->payload.bigint.low, 0u);

    // numeric at the value's own precision and scale; "%.0f" rounds
    Value *n = make_numeric(0, 2, 1);
    n->payload.numeric.precision = 9;
    set_value_to_double(n, 1.239);
    EXPECT_EQ(n->payload.numeric.val[0], 124);
    EXPECT_EQ(n->payload.numeric.scale, 2);
    EXPECT_EQ(n->payload.numeric.precision, 9);
    EXPECT_EQ(n->payload.numeric.sign, 1);
    set_value_to_double(n, -0.5);
    EXPECT_EQ(n->payload.numeric.val[0], 50);
    EXPECT_EQ(n->payload.numeric.sign, 0);

    Value *date = make(VALUE_DATE);
    date->payload.date = {2004, 6, 16};
    set_value_to_double(date, 5.0);
    EXPECT_EQ(date->payload.date.year, 2004);
    EXPECT_EQ(date->payload.date.day, 16);
}

TEST_F(ValuesTest, SetValueToIntervalCopiesTheWholeRecord)
{
    Value *src = make(VALUE_INTERVAL_DS);
    src->payload.interval.interval_type = KX_IS_DAY_TO_SECOND;
    src->payload.interval.intval.day_second.day = 2;
    src->attr[2] = 5;
    src->driver[0] = 77;
    src->share_block = 1;
    Value *dst = make_int(3);
    MemHandle *marker = reinterpret_cast<MemHandle *>(intptr_t{0x1234});
    src->mem_handle = marker;
    EXPECT_EQ(set_value_to_interval(dst, src), dst);
    EXPECT_EQ(std::memcmp(dst, src, sizeof(Value)), 0);
    EXPECT_EQ(dst->mem_handle, marker);  // header fields too
    src->mem_handle = handle;
    dst->mem_handle = handle;
}

TEST_F(ValuesTest, Trivalues)
{
    EXPECT_EQ(get_trivalue_from_value(make_int(-5)), 1);
    EXPECT_EQ(get_trivalue_from_value(make_int(0)), 0);
    EXPECT_EQ(get_trivalue_from_value(make_int(1)), 1);
    Value *unknown = make_int(1);
    unknown->null_flag = -1;
    EXPECT_EQ(get_trivalue_from_value(unknown), 2);

    Value *v = make_double(0);
    v->payload.integer = 77;
    EXPECT_EQ(set_trivalue_in_value(v, 2), v);
    EXPECT_EQ(v->type, VALUE_INTEGER);
    EXPECT_EQ(v->null_flag, -1);
    EXPECT_EQ(v->payload.integer, 77);  // payload untouched

    EXPECT_EQ(set_trivalue_in_value(v, 1), v);
    EXPECT_EQ(v->null_flag, 0);
    EXPECT_EQ(v->payload.integer, 1);
    set_trivalue_in_value(v, 0);
    EXPECT_EQ(v->payload.integer, 0);
    v->payload.integer = 9;
    set_trivalue_in_value(v, 5);
    EXPECT_EQ(v->payload.integer, 0);
    EXPECT_EQ(v->null_flag, 0);
}

// ---- null pointers, missing texts and buffers ----

TEST_F(ValuesTest, GettersOfANullPointerReadAsZero)
{
    EXPECT_EQ(get_int_from_value(nullptr), 0);
    EXPECT_EQ(get_double_from_value(nullptr), 0.0);
    EXPECT_EQ(get_bigint_from_value(nullptr), 0);
    EXPECT_STREQ(get_string_from_value(nullptr), "");
    EXPECT_EQ(get_trivalue_from_value(nullptr), 2);   // unknown
}

TEST_F(ValuesTest, SettersOfANullPointerDoNothing)
{
    set_value_to_double(nullptr, 1.5);
    EXPECT_EQ(set_trivalue_in_value(nullptr, 1), nullptr);
    Value *v = make_int(4);
    EXPECT_EQ(set_value_to_interval(nullptr, v), nullptr);
    EXPECT_EQ(set_value_to_interval(v, nullptr), v);
    EXPECT_EQ(set_value_to_interval(v, v), v);
    EXPECT_EQ(v->type, VALUE_INTEGER);
    EXPECT_EQ(v->payload.integer, 4);
}

// A string value whose text pointer is null reads as no digits at all.
TEST_F(ValuesTest, StringWithoutTextReadsAsZero)
{
    Value *v = make(VALUE_STRING);
    v->length = 3;
    ASSERT_EQ(v->payload.text, nullptr);
    EXPECT_EQ(get_int_from_value(v), 0);
    EXPECT_EQ(get_double_from_value(v), 0.0);
    EXPECT_EQ(get_bigint_from_value(v), 0);
    EXPECT_STREQ(get_string_from_value(v), "");
}

// A text whose length cannot be trusted (negative, or with no room for the
// terminator in 32 bits) is not copied: the copy keeps the record and has
// no text.
TEST_F(ValuesTest, DuplicateOfATextWithAnUnusableLengthCopiesNoText)
{
    static char abc[] = "abc";
    for (int32_t length : {-1, -5, INT32_MAX}) {
        for (int32_t type : {VALUE_STRING, VALUE_BINARY}) {
            Value *src = make(type);
            src->payload.text = abc;
            src->length = length;
            src->share_block = 1;
            Value *d = duplicate_value(handle, src);
            ASSERT_NE(d, nullptr);
            EXPECT_EQ(d->type, type);
            EXPECT_EQ(d->length, length);
            EXPECT_EQ(d->payload.text, nullptr) << length;
            EXPECT_EQ(d->share_block, 0);
            EXPECT_EQ(d->long_buffer, nullptr);
            release_value(handle, d);
            EXPECT_STREQ(abc, "abc");   // the source's text is not freed
            src->payload.text = nullptr;
        }
    }
}

// Long values without a long buffer copy and share as any other record.
TEST_F(ValuesTest, LongValuesWithoutABufferCopyNoBuffer)
{
    for (int32_t type : {VALUE_LONG_STRING, VALUE_LONG_BINARY}) {
        Value *src = make(type);
        Value *d = duplicate_value(handle, src);
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(d->type, type);
        EXPECT_EQ(d->long_buffer, nullptr);
        release_value(handle, d);

        EXPECT_EQ(duplicate_value_ex(handle, src), src);
        EXPECT_EQ(src->ref_count, 1);
        EXPECT_EQ(src->long_buffer, nullptr);
        release_value(handle, src);
        EXPECT_EQ(src->ref_count, 0);
    }
}

// ---- get_long_from_interval ----

TEST_F(ValuesTest, GetLongFromInterval)
{
    // words: first (year/day), second (month/hour), minute, second, fraction
    struct Case {
        int32_t kind;
        uint32_t words[5];
        uint32_t expected;
        uint32_t fraction;
    } const cases[] = {
        {1, {7, 3, 0, 0, 9}, 7, 0},
        {2, {7, 3, 0, 0, 9}, 3, 0},
        {3, {7, 3, 0, 0, 9}, 7, 0},
        {4, {7, 3, 0, 0, 9}, 3, 0},
        {5, {7, 3, 4, 5, 9}, 4, 0},
        {6, {7, 3, 4, 5, 9}, 5, 9},
        {7, {2, 6, 0, 0, 9}, 30, 0},
        {8, {2, 3, 0, 0, 9}, 51, 0},
        {9, {1, 2, 3, 0, 9}, 1563, 0},
        {10, {1, 2, 3, 4, 9}, 93784, 9},
        {11, {0, 2, 3, 0, 9}, 123, 0},
        {12, {0, 2, 3, 4, 9}, 7384, 9},
        {13, {0, 0, 3, 4, 9}, 184, 9},
        {0, {1, 2, 3, 4, 9}, 0, 0},
        {14, {1, 2, 3, 4, 9}, 0, 0},
        {-1, {1, 2, 3, 4, 9}, 0, 0},
        // 32-bit unsigned arithmetic wraps
        {10, {50000, 0, 0, 0, 0}, 50000u * 86400u, 0},
        {7, {0xFFFFFFFFu, 1, 0, 0, 0}, 0xFFFFFFF5u, 0},
    };
    for (const Case &c : cases) {
        Value *v = make(VALUE_INTERVAL_DS);
        v->payload.interval.interval_type = c.kind;
        v->payload.interval.interval_sign = 1;  // ignored
        DaySecondStruct &f = v->payload.interval.intval.day_second;
        f = {c.words[0], c.words[1], c.words[2], c.words[3], c.words[4]};
        uint32_t fraction = 12345;
        EXPECT_EQ(get_long_from_interval(v, &fraction), c.expected) << "kind " << c.kind;
        EXPECT_EQ(fraction, c.fraction) << "kind " << c.kind;
        EXPECT_EQ(get_long_from_interval(v, nullptr), c.expected);
    }
}

TEST_F(ValuesTest, GetLongFromIntervalOfNoValue)
{
    uint32_t fraction = 77;
    EXPECT_EQ(get_long_from_interval(nullptr, &fraction), 0u);
    EXPECT_EQ(fraction, 0u);
}

// ---- get_buffer_length ----

TEST(GetBufferLength, EveryRowOfTheTable)
{
    struct Case {
        int32_t type;
        int32_t expected;  // -100 stands for the declared length
    } const cases[] = {
        {-28, 1}, {-26, 1}, {-7, 1}, {-6, 1},
        {-17, 2}, {-15, 2}, {5, 2},
        {-18, 4}, {-16, 4}, {4, 4}, {7, 4},
        {-27, 8}, {-25, 8}, {-5, 8}, {6, 8}, {8, 8},
        {2, 19}, {3, 19},
        {9, 6}, {10, 6}, {91, 6}, {92, 6},
        {11, 16}, {93, 16},
        {101, 28}, {102, 28}, {103, 28}, {104, 28}, {105, 28}, {106, 28},
        {107, 28}, {108, 28}, {109, 28}, {110, 28}, {111, 28}, {112, 28},
        {113, 28},
        {-3, -100}, {-2, -100}, {1, -100}, {12, -100}, {99, -100},
        {-4, 0}, {-1, 0},
        {0, 0}, {100, 0}, {114, 0}, {-8, 0}, {-9, 0}, {-10, 0}, {-11, 0},
        {13, 0}, {94, 0},
    };
    for (const Case &c : cases) {
        int32_t expected = c.expected == -100 ? 77 : c.expected;
        EXPECT_EQ(get_buffer_length(77, c.type), expected) << "type " << c.type;
    }
}

}  // namespace
