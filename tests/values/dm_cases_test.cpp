// The drivers' flat row-buffer (dm) form of a value: writing it, reading it
// back, payload sizes by SQL type and direct ordering of two buffers. Only
// the public header is used.
#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// A dm buffer with room for any fixed payload, pre-filled with 0xAA so that
// octets that must not be written can be checked.
struct Dm {
    alignas(8) unsigned char raw[12 + 80];
    Dm() { memset(raw, 0xAA, sizeof raw); }
    DmBuffer *get() { return reinterpret_cast<DmBuffer *>(raw); }
    unsigned char *payload() { return raw + 12; }
};

static_assert(offsetof(DmBuffer, payload) == 12, "payload at offset 12");

Dm make_dm(int32_t length, int32_t data_length, uint32_t type,
           const void *payload, size_t n) {
    Dm d;
    d.get()->length = length;
    d.get()->data_length = data_length;
    d.get()->type = type;
    if (n > 0) memcpy(d.payload(), payload, n);
    return d;
}

Dm int_dm(int32_t i, uint32_t type = VALUE_INTEGER) {
    return make_dm(4, 0, type, &i, 4);
}
Dm dbl_dm(double x) { return make_dm(8, 0, VALUE_DOUBLE, &x, 8); }
Dm big_dm(int64_t b) {
    BigintWords w;
    w.high = (int32_t)(b >> 32);
    w.low = (uint32_t)(b & 0xFFFFFFFFu);
    return make_dm(8, 0, VALUE_BIGINT, &w, 8);
}
Dm text_dm(const char *s, int32_t length) {
    return make_dm(length, 0, VALUE_STRING, s, strlen(s));
}
Dm bin_dm(const unsigned char *b, int32_t length) {
    return make_dm(length, length, VALUE_BINARY, b, (size_t)length);
}
Dm null_dm(uint32_t type) {
    Dm d;
    d.get()->length = -1;
    d.get()->data_length = 0;
    d.get()->type = type;
    return d;
}
Dm date_dm(int y, int m, int day) {
    DateStruct s = {(int16_t)y, (uint16_t)m, (uint16_t)day};
    return make_dm(6, 0, VALUE_DATE, &s, 6);
}
Dm time_dm(int hh, int mm, int ss) {
    TimeStruct s = {(uint16_t)hh, (uint16_t)mm, (uint16_t)ss};
    return make_dm(6, 0, VALUE_TIME, &s, 6);
}
Dm ts_dm(int y, int m, int day, int hh, int mm, int ss, uint32_t f) {
    TimestampStruct s = {(int16_t)y, (uint16_t)m, (uint16_t)day,
                         (uint16_t)hh, (uint16_t)mm, (uint16_t)ss, f};
    return make_dm(16, 0, VALUE_TIMESTAMP, &s, 16);
}
NumericStruct num(uint64_t magnitude, int scale, int sign) {
    return kxtest::numeric(magnitude, scale, sign, 18);
}
Dm num_dm(uint64_t magnitude, int scale, int sign) {
    NumericStruct n = num(magnitude, scale, sign);
    return make_dm(19, 0, VALUE_NUMERIC, &n, 19);
}
IntervalStruct ds(int kind, uint32_t day, uint32_t hour, uint32_t minute,
                  uint32_t second, uint32_t fraction) {
    return kxtest::day_second(kind, day, hour, minute, second, fraction);
}
Dm ds_dm(const IntervalStruct &s) {
    return make_dm(28, 0, VALUE_INTERVAL_DS, &s, 28);
}
Dm ym_dm(uint32_t years, uint32_t months) {
    IntervalStruct s = kxtest::year_month(KX_IS_YEAR_TO_MONTH, years, months);
    return make_dm(28, 0, VALUE_INTERVAL_YM, &s, 28);
}

int sign_of(int32_t r) { return r < 0 ? -1 : (r > 0 ? 1 : 0); }

class DmCases : public ::testing::Test {
protected:
    void SetUp() override {
        h = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(h, nullptr);
    }
    void TearDown() override { kx_mem_release_handle(h); }

    // A value of a column type with every field set to something visible.
    // NewValue sets only the kind, handle, reference count and the inline
    // text; the record is cleared (padding included) before it is filled,
    // so that whole records compare byte for byte.
    Value *column(int32_t type, int32_t text_room = 0) {
        Value *v = NewValue(h, text_room);
        EXPECT_NE(v, nullptr);
        char *text = text_room > 0 ? v->payload.text : nullptr;
        memset(static_cast<void *>(v), 0, sizeof *v);
        v->kind = NODE_VALUE;
        v->mem_handle = h;
        v->inline_buffer = text != nullptr ? 1 : 0;
        memset(&v->payload, 0x77, sizeof v->payload);
        if (text != nullptr) {
            v->payload.text = text;
            memset(text, 'Q', (size_t)text_room);
        }
        v->type = type;
        v->length = 1234;
        v->data_length = 4321;
        v->share_block = 1;
        v->null_flag = 5;
        v->long_buffer = nullptr;
        v->attr[0] = 9;
        return v;
    }

    MemHandle *h = nullptr;
};

// ---- value_to_dm ----

TEST_F(DmCases, FixedTypesWriteTheirPayloads) {
    struct Case {
        int32_t type;
        int32_t length;
    };
    static const Case cases[] = {
        {VALUE_INTEGER, 4},      {VALUE_BIT, 4},         {VALUE_DOUBLE, 8},
        {VALUE_BIGINT, 8},       {VALUE_DATE, 6},        {VALUE_TIME, 6},
        {VALUE_TIMESTAMP, 16},   {VALUE_NUMERIC, 19},    {VALUE_INTERVAL_YM, 28},
        {VALUE_INTERVAL_DS, 28},
    };
    for (const Case &c : cases) {
        Value *v = column(c.type);
        v->null_flag = 0;
        for (int i = 0; i < 32; i++) v->payload.raw[i] = (unsigned char)(i * 7 + 1);
        Dm d;
        d.get()->data_length = 99;
        value_to_dm(d.get(), v);
        EXPECT_EQ(d.get()->length, c.length) << c.type;
        EXPECT_EQ(d.get()->data_length, 0) << c.type;
        EXPECT_EQ(d.get()->type, (uint32_t)c.type);
        EXPECT_EQ(memcmp(d.payload(), v->payload.raw, (size_t)c.length), 0)
            << c.type;
        EXPECT_EQ(d.payload()[c.length], 0xAA) << c.type;
    }
}

TEST_F(DmCases, ReadableFieldsLandWhereTheRecordsSay) {
    Value *v = column(VALUE_BIGINT);
    v->null_flag = 0;
    v->payload.bigint.high = -2;
    v->payload.bigint.low = 0x89ABCDEFu;
    Dm d;
    value_to_dm(d.get(), v);
    int32_t high;
    uint32_t low;
    memcpy(&high, d.payload(), 4);
    memcpy(&low, d.payload() + 4, 4);
    EXPECT_EQ(high, -2);
    EXPECT_EQ(low, 0x89ABCDEFu);

    Value *t = column(VALUE_TIMESTAMP);
    t->null_flag = 0;
    t->payload.timestamp = {2004, 6, 16, 10, 20, 30, 123456789};
    Dm e;
    value_to_dm(e.get(), t);
    TimestampStruct back;
    memcpy(&back, e.payload(), 16);
    EXPECT_EQ(back.year, 2004);
    EXPECT_EQ(back.second, 30);
    EXPECT_EQ(back.fraction, 123456789u);

    Value *i = column(VALUE_INTEGER);
    i->null_flag = 0;
    i->payload.integer = -123456;
    Dm f;
    value_to_dm(f.get(), i);
    int32_t got;
    memcpy(&got, f.payload(), 4);
    EXPECT_EQ(got, -123456);
}

TEST_F(DmCases, StringWritesItsLengthWithoutTerminator) {
    Value *v = column(VALUE_STRING, 16);
    v->null_flag = 0;
    strcpy(v->payload.text, "hello");
    v->length = 5;
    Dm d;
    d.get()->data_length = 99;
    value_to_dm(d.get(), v);
    EXPECT_EQ(d.get()->length, 5);
    EXPECT_EQ(d.get()->data_length, 0);
    EXPECT_EQ(d.get()->type, (uint32_t)VALUE_STRING);
    EXPECT_EQ(memcmp(d.payload(), "hello", 5), 0);
    EXPECT_EQ(d.payload()[5], 0xAA);

    // The length field, not strlen, decides.
    v->length = 3;
    Dm e;
    value_to_dm(e.get(), v);
    EXPECT_EQ(e.get()->length, 3);
    EXPECT_EQ(memcmp(e.payload(), "hel", 3), 0);
    EXPECT_EQ(e.payload()[3], 0xAA);

    v->length = 0;
    v->payload.text[0] = '\0';
    Dm z;
    value_to_dm(z.get(), v);
    EXPECT_EQ(z.get()->length, 0);
    EXPECT_EQ(z.payload()[0], 0xAA);
}

TEST_F(DmCases, BinaryWritesDeclaredLengthAndDataLength) {
    Value *v = column(VALUE_BINARY, 8);
    v->null_flag = 0;
    static const unsigned char octets[] = {0x00, 0xFF, 0x10, 0x20};
    memcpy(v->payload.bytes, octets, 4);
    v->length = 4;
    v->data_length = 2;
    Dm d;
    value_to_dm(d.get(), v);
    EXPECT_EQ(d.get()->length, 4);
    EXPECT_EQ(d.get()->data_length, 2);
    EXPECT_EQ(d.get()->type, (uint32_t)VALUE_BINARY);
    EXPECT_EQ(memcmp(d.payload(), octets, 4), 0);
    EXPECT_EQ(d.payload()[4], 0xAA);
}

TEST_F(DmCases, NullWritesOnlyTheHeader) {
    static const int32_t types[] = {VALUE_INTEGER, VALUE_DOUBLE, VALUE_STRING,
                                    VALUE_BINARY, VALUE_TIMESTAMP,
                                    VALUE_INTERVAL_DS, VALUE_LONG_STRING};
    for (int32_t t : types) {
        Value *v = column(t, t == VALUE_STRING || t == VALUE_BINARY ? 8 : 0);
        v->null_flag = -1;
        Dm d;
        d.get()->data_length = 99;
        value_to_dm(d.get(), v);
        EXPECT_EQ(d.get()->length, -1) << t;
        EXPECT_EQ(d.get()->data_length, 0) << t;
        EXPECT_EQ(d.get()->type, (uint32_t)t) << t;
        for (int i = 0; i < 40; i++) EXPECT_EQ(d.payload()[i], 0xAA) << t;
    }
    Value *odd = column(VALUE_INTEGER);
    odd->null_flag = 1;  // any nonzero flag is NULL
    Dm d;
    value_to_dm(d.get(), odd);
    EXPECT_EQ(d.get()->length, -1);
}

TEST_F(DmCases, TypesWithoutADmFormWriteLengthZero) {
    static const int32_t types[] = {6, VALUE_NULL, VALUE_CURRENT_DATE, VALUE_USER,
                                    VALUE_CURRENT_TIME, VALUE_CURRENT_TIMESTAMP,
                                    VALUE_LONG_STRING, VALUE_LONG_BINARY};
    for (int32_t t : types) {
        Value *v = column(t);
        v->null_flag = 0;
        Dm d;
        d.get()->length = 77;
        d.get()->data_length = 99;
        value_to_dm(d.get(), v);
        EXPECT_EQ(d.get()->length, 0) << t;
        EXPECT_EQ(d.get()->data_length, 0) << t;
        EXPECT_EQ(d.get()->type, (uint32_t)t) << t;
        for (int i = 0; i < 40; i++) EXPECT_EQ(d.payload()[i], 0xAA) << t;
    }
}

// ---- dm_to_value ----

TEST_F(DmCases, NullBufferSetsOnlyTheNullFlag) {
    static const int32_t types[] = {VALUE_INTEGER, VALUE_STRING, VALUE_BINARY,
                                    VALUE_DATE, VALUE_NUMERIC, VALUE_NULL};
    for (int32_t t : types) {
        Value *v = column(t, t == VALUE_STRING || t == VALUE_BINARY ? 8 : 0);
        v->null_flag = 0;
        Value before;
        memcpy(&before, v, sizeof before);
        char text_before[8] = {0};
        if (t == VALUE_STRING || t == VALUE_BINARY) memcpy(text_before, v->payload.text, 8);
        Dm d = null_dm((uint32_t)t);
        d.get()->length = -5;  // any negative length is NULL
        dm_to_value(d.get(), v);
        EXPECT_EQ(v->null_flag, -1) << t;
        before.null_flag = -1;
        EXPECT_EQ(memcmp(&before, v, sizeof before), 0) << t;
        if (t == VALUE_STRING || t == VALUE_BINARY) {
            EXPECT_EQ(memcmp(text_before, v->payload.text, 8), 0) << t;
        }
    }
}

TEST_F(DmCases, FixedTypesCopyExactlyTheirPayloads) {
    struct Case {
        int32_t type;
        size_t copied;
    };
    static const Case cases[] = {
        {VALUE_INTEGER, 4}, {VALUE_BIT, 4},        {VALUE_DOUBLE, 8},
        {VALUE_BIGINT, 8},  {VALUE_DATE, 6},       {VALUE_TIME, 6},
        {VALUE_TIMESTAMP, 16}, {VALUE_NUMERIC, 19}, {VALUE_INTERVAL_YM, 28},
        {VALUE_INTERVAL_DS, 28},
    };
    for (const Case &c : cases) {
        Value *v = column(c.type);
        Dm d;
        for (int i = 0; i < 40; i++) d.payload()[i] = (unsigned char)(i + 1);
        d.get()->length = (int32_t)c.copied;
        d.get()->data_length = 0;
        d.get()->type = 99;  // the dm type word is not read
        dm_to_value(d.get(), v);
        EXPECT_EQ(v->type, c.type);
        EXPECT_EQ(v->null_flag, 0) << c.type;
        EXPECT_EQ(v->share_block, 0) << c.type;
        EXPECT_EQ(memcmp(v->payload.raw, d.payload(), c.copied), 0) << c.type;
        for (size_t i = c.copied; i < sizeof v->payload.raw; i++)
            EXPECT_EQ(v->payload.raw[i], 0x77) << c.type << " octet " << i;
        EXPECT_EQ(v->attr[0], 9);
    }
}

TEST_F(DmCases, StringGoesIntoTheExistingBufferWithATerminator) {
    Value *v = column(VALUE_STRING, 16);
    char *buffer = v->payload.text;
    Dm d = text_dm("helloXYZ", 5);
    dm_to_value(d.get(), v);
    EXPECT_EQ(v->payload.text, buffer);
    EXPECT_EQ(v->length, 5);
    EXPECT_STREQ(v->payload.text, "hello");
    EXPECT_EQ(v->payload.text[6], 'Q');
    EXPECT_EQ(v->null_flag, 0);
    EXPECT_EQ(v->share_block, 0);

    Dm e = text_dm("", 0);
    dm_to_value(e.get(), v);
    EXPECT_EQ(v->length, 0);
    EXPECT_STREQ(v->payload.text, "");
}

TEST_F(DmCases, BinaryTakesLengthAndDataLength) {
    Value *v = column(VALUE_BINARY, 8);
    unsigned char *buffer = v->payload.bytes;
    static const unsigned char octets[] = {0x00, 0xFF, 0x10, 0x20, 0x30};
    Dm d = make_dm(4, 2, VALUE_BINARY, octets, 5);
    dm_to_value(d.get(), v);
    EXPECT_EQ(v->payload.bytes, buffer);
    EXPECT_EQ(v->length, 4);
    EXPECT_EQ(v->data_length, 2);
    EXPECT_EQ(memcmp(v->payload.bytes, octets, 4), 0);
    EXPECT_EQ(v->payload.bytes[4], 'Q');
    EXPECT_EQ(v->null_flag, 0);
    EXPECT_EQ(v->share_block, 0);
}

TEST_F(DmCases, OtherTypesCopyNothing) {
    static const int32_t types[] = {6, VALUE_NULL, VALUE_USER, VALUE_LONG_STRING,
                                    VALUE_LONG_BINARY};
    for (int32_t t : types) {
        Value *v = column(t);
        Dm d = int_dm(42);
        dm_to_value(d.get(), v);
        EXPECT_EQ(v->null_flag, 0) << t;
        EXPECT_EQ(v->share_block, 0) << t;
        EXPECT_EQ(v->length, 1234) << t;
        for (unsigned char c : v->payload.raw) EXPECT_EQ(c, 0x77) << t;
    }
}

TEST_F(DmCases, RoundTrips) {
    Value *v = column(VALUE_TIMESTAMP);
    v->null_flag = 0;
    v->payload.timestamp = {1999, 12, 31, 23, 59, 58, 999999999};
    Dm d;
    value_to_dm(d.get(), v);
    Value *w = column(VALUE_TIMESTAMP);
    dm_to_value(d.get(), w);
    EXPECT_EQ(memcmp(&w->payload.timestamp, &v->payload.timestamp, 16), 0);

    Value *s = column(VALUE_STRING, 16);
    s->null_flag = 0;
    strcpy(s->payload.text, "O'Brien");
    s->length = 7;
    Dm e;
    value_to_dm(e.get(), s);
    Value *s2 = column(VALUE_STRING, 16);
    dm_to_value(e.get(), s2);
    EXPECT_STREQ(s2->payload.text, "O'Brien");
    EXPECT_EQ(s2->length, 7);
}

// ---- get_dm_length ----

TEST(DmLength, BySqlType) {
    struct Case {
        int32_t sql_type;
        int32_t expected;  // -100 stands for the given length
    };
    static const Case cases[] = {
        {-7, 4},   {-6, 4},   {4, 4},    {5, 4},
        {-5, 8},   {6, 8},    {7, 8},    {8, 8},
        {-4, 0},   {-1, 0},
        {-3, -100}, {-2, -100}, {1, -100}, {12, -100},
        {2, 19},   {3, 19},
        {9, 6},    {10, 6},   {91, 6},   {92, 6},
        {11, 16},  {93, 16},
        {101, 28}, {102, 28}, {103, 28}, {104, 28}, {105, 28}, {106, 28},
        {107, 28}, {108, 28}, {109, 28}, {110, 28}, {111, 28}, {112, 28},
        {113, 28},
        // Outside the table.
        {0, 0},    {99, 0},   {100, 0},  {114, 0},  {-8, 0},   {-9, 0},
        {-10, 0},  {-11, 0},  {94, 0},
    };
    for (const Case &c : cases) {
        int32_t want = c.expected == -100 ? 37 : c.expected;
        EXPECT_EQ(get_dm_length(c.sql_type, 37), want) << c.sql_type;
        int32_t want0 = c.expected == -100 ? 0 : c.expected;
        EXPECT_EQ(get_dm_length(c.sql_type, 0), want0) << c.sql_type;
    }
    EXPECT_EQ(get_dm_length(108, 5), 28);
    EXPECT_EQ(sql_to_value_type(108), -9999);
}

// ---- get_length_from_dm ----

TEST_F(DmCases, LengthFromDmByValueType) {
    struct Case {
        int32_t type;
        int32_t expected;  // -100 stands for the dm length
    };
    static const Case cases[] = {
        {VALUE_INTEGER, 4},  {VALUE_BIT, 4},       {VALUE_DOUBLE, 8},
        {VALUE_BIGINT, 8},   {VALUE_STRING, -100}, {VALUE_BINARY, -100},
        {VALUE_DATE, 6},     {VALUE_TIME, 6},      {VALUE_TIMESTAMP, 16},
        {VALUE_NUMERIC, 19}, {VALUE_INTERVAL_YM, 28}, {VALUE_INTERVAL_DS, 28},
        {6, 0}, {VALUE_NULL, 0}, {VALUE_CURRENT_DATE, 0}, {VALUE_LONG_STRING, 0},
        {VALUE_LONG_BINARY, 0}, {99, 0},
    };
    for (const Case &c : cases) {
        Value *v = column(c.type);
        Dm d = make_dm(23, 0, 1, "", 0);  // the dm type word is not read
        int32_t want = c.expected == -100 ? 23 : c.expected;
        EXPECT_EQ(get_length_from_dm(d.get(), v), want) << c.type;
        Dm n = null_dm(1);
        EXPECT_EQ(get_length_from_dm(n.get(), v), 0) << c.type;
    }
}

// ---- compare_dm ----

TEST(CompareDm, NullsFirst) {
    Dm a = null_dm(VALUE_INTEGER), b = null_dm(VALUE_INTEGER);
    Dm five = int_dm(5);
    EXPECT_EQ(compare_dm(a.get(), b.get()), 0);
    EXPECT_EQ(compare_dm(a.get(), five.get()), -1);
    EXPECT_EQ(compare_dm(five.get(), a.get()), 1);
    Dm t = text_dm("a", 1), u = null_dm(VALUE_STRING);
    EXPECT_EQ(compare_dm(u.get(), t.get()), -1);
    EXPECT_EQ(compare_dm(t.get(), u.get()), 1);
    Dm odd = null_dm(99);
    EXPECT_EQ(compare_dm(odd.get(), five.get()), -1);
    EXPECT_EQ(compare_dm(five.get(), odd.get()), 1);
}

TEST(CompareDm, Integers) {
    struct Case {
        int32_t left, right, expected;
    };
    static const Case cases[] = {
        {5, 3, 1}, {3, 5, -1}, {7, 7, 0}, {-1, 1, -1},
        {INT32_MIN, INT32_MAX, -1}, {INT32_MAX, INT32_MIN, 1}, {0, -1, 1},
    };
    for (const Case &c : cases) {
        Dm a = int_dm(c.left), b = int_dm(c.right);
        EXPECT_EQ(compare_dm(a.get(), b.get()), c.expected) << c.left << " " << c.right;
        Dm x = int_dm(c.left, VALUE_BIT), y = int_dm(c.right, VALUE_BIT);
        EXPECT_EQ(compare_dm(x.get(), y.get()), c.expected);
    }
    // The left buffer's type word decides.
    Dm l = int_dm(9), r = int_dm(2, VALUE_STRING);
    EXPECT_EQ(compare_dm(l.get(), r.get()), 1);
}

TEST(CompareDm, Doubles) {
    struct Case {
        double left, right;
        int32_t expected;
    };
    static const Case cases[] = {
        {1.5, 1.25, 1}, {1.25, 1.5, -1}, {2.0, 2.0, 0}, {-0.0, 0.0, 0},
        {NAN, 1.0, 0},  {1.0, NAN, 0},   {NAN, NAN, 0}, {-1e300, 1e300, -1},
    };
    for (const Case &c : cases) {
        Dm a = dbl_dm(c.left), b = dbl_dm(c.right);
        EXPECT_EQ(compare_dm(a.get(), b.get()), c.expected) << c.left << " " << c.right;
    }
}

TEST(CompareDm, Bigints) {
    struct Case {
        int64_t left, right;
        int32_t expected;
    };
    static const Case cases[] = {
        {-1, 0, -1},
        {0, -1, 1},
        {4294967296LL, 4294967295LL, 1},
        {4294967295LL, 4294967296LL, -1},
        {4294967295LL, 1, 1},
        {1, 4294967295LL, -1},
        {INT64_MIN, INT64_MAX, -1},
        {123456789012345LL, 123456789012345LL, 0},
        {-4294967296LL, -1, -1},
    };
    for (const Case &c : cases) {
        Dm a = big_dm(c.left), b = big_dm(c.right);
        EXPECT_EQ(compare_dm(a.get(), b.get()), c.expected) << c.left << " " << c.right;
    }
}

TEST(CompareDm, TextsCompareOverTheLeftLength) {
    struct Case {
        const char *left;
        int32_t left_length;
        const char *right;
        int32_t right_length;
        int expected_sign;
    };
    static const Case cases[] = {
        {"ab", 2, "abc", 3, 0},
        {"abc", 3, "abd", 3, -1},
        {"abd", 3, "abc", 3, 1},
        {"ab", 2, "ab", 2, 0},
        {"ab", 2, "ab ", 3, 0},
        {"", 0, "zzz", 3, 0},
        {"ABC", 3, "abc", 3, -1},
        {"\xe9", 1, "e", 1, 1},
    };
    for (const Case &c : cases) {
        Dm a = text_dm(c.left, c.left_length), b = text_dm(c.right, c.right_length);
        EXPECT_EQ(sign_of(compare_dm(a.get(), b.get())), c.expected_sign)
            << c.left << " vs " << c.right;
    }
}

TEST(CompareDm, BinariesCompareOverTheLeftLength) {
    static const unsigned char a1[] = {0x00, 0x01}, a2[] = {0x00, 0x02};
    static const unsigned char b1[] = {0x01, 0x02}, b2[] = {0x01, 0x02, 0x03};
    static const unsigned char c1[] = {0xFF}, c2[] = {0x01};
    Dm x = bin_dm(a1, 2), y = bin_dm(a2, 2);
    EXPECT_LT(compare_dm(x.get(), y.get()), 0);  // octets after a zero count
    EXPECT_GT(compare_dm(y.get(), x.get()), 0);
    Dm p = bin_dm(b1, 2), q = bin_dm(b2, 3);
    EXPECT_EQ(compare_dm(p.get(), q.get()), 0);
    Dm r = bin_dm(c1, 1), s = bin_dm(c2, 1);
    EXPECT_GT(compare_dm(r.get(), s.get()), 0);
    Dm e = bin_dm(a1, 0);
    EXPECT_EQ(compare_dm(e.get(), q.get()), 0);
}

TEST(CompareDm, DatesTimesTimestamps) {
    Dm d1 = date_dm(2004, 6, 16), d2 = date_dm(2004, 6, 17), d3 = date_dm(2004, 6, 16);
    EXPECT_LT(compare_dm(d1.get(), d2.get()), 0);
    EXPECT_GT(compare_dm(d2.get(), d1.get()), 0);
    EXPECT_EQ(compare_dm(d1.get(), d3.get()), 0);
    Dm d4 = date_dm(2003, 12, 31);
    EXPECT_GT(compare_dm(d1.get(), d4.get()), 0);
    Dm t1 = time_dm(10, 20, 30), t2 = time_dm(10, 20, 31), t3 = time_dm(10, 20, 30);
    EXPECT_LT(compare_dm(t1.get(), t2.get()), 0);
    EXPECT_GT(compare_dm(t2.get(), t1.get()), 0);
    EXPECT_EQ(compare_dm(t1.get(), t3.get()), 0);
    Dm s1 = ts_dm(2004, 6, 16, 1, 2, 3, 4), s2 = ts_dm(2004, 6, 16, 1, 2, 3, 5);
    Dm s3 = ts_dm(2004, 6, 16, 1, 2, 3, 4), s4 = ts_dm(2004, 6, 15, 23, 59, 59, 0);
    EXPECT_LT(compare_dm(s1.get(), s2.get()), 0);
    EXPECT_EQ(compare_dm(s1.get(), s3.get()), 0);
    EXPECT_GT(compare_dm(s1.get(), s4.get()), 0);
}

TEST(CompareDm, NumericsUseNumericCompare) {
    Dm a = num_dm(150, 2, 1), b = num_dm(15, 1, 1);
    EXPECT_EQ(compare_dm(a.get(), b.get()), 0);
    Dm pz = num_dm(0, 0, 1), nz = num_dm(0, 0, 0);
    EXPECT_EQ(compare_dm(pz.get(), nz.get()), 1);
    Dm c = num_dm(125, 2, 1);
    EXPECT_EQ(compare_dm(c.get(), b.get()), -1);
    Dm n = num_dm(15, 1, 0);
    EXPECT_EQ(compare_dm(n.get(), b.get()), -1);
    EXPECT_EQ(compare_dm(b.get(), n.get()), 1);
}

TEST(CompareDm, IntervalsUseIntervalCompare) {
    Dm day = ds_dm(ds(KX_IS_DAY, 1, 0, 0, 0, 0));
    Dm hours24 = ds_dm(ds(KX_IS_HOUR, 0, 24, 0, 0, 0));
    Dm hours25 = ds_dm(ds(KX_IS_HOUR, 0, 25, 0, 0, 0));
    EXPECT_EQ(compare_dm(day.get(), hours24.get()), 0);
    EXPECT_EQ(compare_dm(day.get(), hours25.get()), -1);
    EXPECT_EQ(compare_dm(hours25.get(), day.get()), 1);
    Dm s1 = ds_dm(ds(KX_IS_SECOND, 0, 0, 0, 5, 100));
    Dm s2 = ds_dm(ds(KX_IS_SECOND, 0, 0, 0, 5, 200));
    EXPECT_EQ(compare_dm(s1.get(), s2.get()), -1);
    Dm y1 = ym_dm(1, 6), y2 = ym_dm(1, 7), y3 = ym_dm(1, 6);
    EXPECT_EQ(compare_dm(y1.get(), y2.get()), -1);
    EXPECT_EQ(compare_dm(y1.get(), y3.get()), 0);
}

TEST(CompareDm, OtherTypesCompareEqual) {
    static const uint32_t types[] = {6, VALUE_NULL, VALUE_USER, VALUE_LONG_STRING,
                                     VALUE_LONG_BINARY, 99};
    for (uint32_t t : types) {
        Dm a = int_dm(1, t), b = int_dm(2, t);
        EXPECT_EQ(compare_dm(a.get(), b.get()), 0) << t;
    }
}

}  // namespace
