// Tests of the dm row-buffer exchange: value_to_dm, dm_to_value,
// get_dm_length, get_length_from_dm and compare_dm.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "support/kx_test_support.h"

namespace {

constexpr unsigned char kFill = 0xCC;

using namespace kxtest;

Value numeric(const char *digits, int8_t scale)
{
    return numeric_value(digits, scale, 10, false);
}

Value interval(int32_t kind, uint32_t first, uint32_t second)
{
    Value v = blank(kind == KX_IS_YEAR || kind == KX_IS_MONTH || kind == KX_IS_YEAR_TO_MONTH
                        ? VALUE_INTERVAL_YM
                        : VALUE_INTERVAL_DS);
    v.payload.interval.interval_type = kind;
    v.payload.interval.intval.day_second.day = first;
    v.payload.interval.intval.day_second.hour = second;
    return v;
}

// A dm buffer at a deliberately odd address, pre-filled with kFill.
struct Dm {
    std::vector<unsigned char> storage = std::vector<unsigned char>(256 + 12 + 1, kFill);
    unsigned char *bytes() { return storage.data() + 1; }
    DmBuffer *dm() { return reinterpret_cast<DmBuffer *>(bytes()); }
    int32_t word(int offset)
    {
        int32_t w;
        std::memcpy(&w, bytes() + offset, 4);
        return w;
    }
};

// ---- value_to_dm ----

struct ToDmCase {
    const char *label;
    Value value;
    int32_t length;
    std::vector<unsigned char> payload;
};

std::vector<unsigned char> bytes_of(const void *p, size_t n)
{
    const unsigned char *b = static_cast<const unsigned char *>(p);
    return std::vector<unsigned char>(b, b + n);
}

TEST(ValueToDm, FixedTypesCopyTheirPayload)
{
    Value date = blank(VALUE_DATE);
    date.payload.date = {2004, 6, 16};
    Value time = blank(VALUE_TIME);
    time.payload.time = {10, 20, 30};
    Value stamp = blank(VALUE_TIMESTAMP);
    stamp.payload.timestamp = {2004, 6, 16, 10, 20, 30, 123456789};
    Value num = numeric("12345", 2);
    Value ym = interval(KX_IS_YEAR_TO_MONTH, 1, 6);
    Value ds = interval(KX_IS_DAY_TO_SECOND, 2, 3);
    ds.payload.interval.intval.day_second.fraction = 5;
    ds.payload.interval.interval_sign = 1;
    const int32_t i = -7;
    const double d = 2.5;
    const int32_t big[2] = {1, 2};  // high word, then low word
    const ToDmCase cases[] = {
        {"integer", integer(-7), 4, bytes_of(&i, 4)},
        {"bit", integer(1, VALUE_BIT), 4, {1, 0, 0, 0}},
        {"double", dbl(2.5), 8, bytes_of(&d, 8)},
        {"bigint", bigint(4294967298LL), 8, bytes_of(big, 8)},
        {"date", date, 6, bytes_of(&date.payload.date, 6)},
        {"time", time, 6, bytes_of(&time.payload.time, 6)},
        {"timestamp", stamp, 16, bytes_of(&stamp.payload.timestamp, 16)},
        {"numeric", num, 19, bytes_of(&num.payload.numeric, 19)},
        {"interval ym", ym, 28, bytes_of(&ym.payload.interval, 28)},
        {"interval ds", ds, 28, bytes_of(&ds.payload.interval, 28)},
    };
    for (const ToDmCase &c : cases) {
        Dm dm;
        value_to_dm(dm.dm(), &c.value);
        EXPECT_EQ(dm.word(0), c.length) << c.label;
        EXPECT_EQ(dm.word(4), 0) << c.label;
        EXPECT_EQ(dm.word(8), c.value.type) << c.label;
        EXPECT_EQ(std::memcmp(dm.bytes() + 12, c.payload.data(), c.payload.size()), 0)
            << c.label;
        EXPECT_EQ(dm.bytes()[12 + c.length], kFill) << c.label << ": wrote past the payload";
    }
}

TEST(ValueToDm, StringWithoutTerminator)
{
    char text[] = "hello";
    Value v = blank(VALUE_STRING);
    v.payload.text = text;
    v.length = 5;
    Dm dm;
    value_to_dm(dm.dm(), &v);
    EXPECT_EQ(dm.word(0), 5);
    EXPECT_EQ(dm.word(4), 0);
    EXPECT_EQ(dm.word(8), VALUE_STRING);
    EXPECT_EQ(std::memcmp(dm.bytes() + 12, "hello", 5), 0);
    EXPECT_EQ(dm.bytes()[17], kFill);
}

// A text shorter than its length field is not read past its terminator
// (the text sits in a block of exactly its size): zeros fill the payload.
TEST(ValueToDm, StringShorterThanItsLengthField)
{
    std::vector<char> text = {'a', 'b', '\0'};
    Value v = blank(VALUE_STRING);
    v.payload.text = text.data();
    v.length = 6;
    Dm dm;
    value_to_dm(dm.dm(), &v);
    EXPECT_EQ(dm.word(0), 6);
    EXPECT_EQ(dm.word(4), 0);
    const unsigned char expected[6] = {'a', 'b', 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(dm.bytes() + 12, expected, 6), 0);
    EXPECT_EQ(dm.bytes()[18], kFill);
}

TEST(ValueToDm, EmptyStringAndNegativeLength)
{
    char empty[] = "";
    Value v = blank(VALUE_STRING);
    v.payload.text = empty;
    v.length = -4;
    Dm dm;
    value_to_dm(dm.dm(), &v);
    EXPECT_EQ(dm.word(0), 0);
    EXPECT_EQ(dm.word(8), VALUE_STRING);
    EXPECT_EQ(dm.bytes()[12], kFill);
}

// A string or binary value without its buffer gives a payload of zeros of
// its declared length.
TEST(ValueToDm, TextAndBinaryWithoutABufferGiveZeros)
{
    for (int32_t type : {VALUE_STRING, VALUE_BINARY}) {
        Value v = blank(type);
        v.length = 3;
        v.data_length = type == VALUE_BINARY ? 2 : 0;
        ASSERT_EQ(v.payload.text, nullptr);
        Dm dm;
        value_to_dm(dm.dm(), &v);
        EXPECT_EQ(dm.word(0), 3) << type;
        EXPECT_EQ(dm.word(4), v.data_length) << type;
        EXPECT_EQ(dm.word(8), type);
        const unsigned char zeros[3] = {0, 0, 0};
        EXPECT_EQ(std::memcmp(dm.bytes() + 12, zeros, 3), 0) << type;
        EXPECT_EQ(dm.bytes()[15], kFill) << type;
    }
}

TEST(ValueToDm, BinaryCarriesDeclaredAndDataLength)
{
    unsigned char octets[] = {0xDE, 0xAD, 0x00, 0x00, 0x99};
    Value v = blank(VALUE_BINARY);
    v.payload.bytes = octets;
    v.length = 4;
    v.data_length = 2;
    Dm dm;
    value_to_dm(dm.dm(), &v);
    EXPECT_EQ(dm.word(0), 4);
    EXPECT_EQ(dm.word(4), 2);
    EXPECT_EQ(dm.word(8), VALUE_BINARY);
    EXPECT_EQ(std::memcmp(dm.bytes() + 12, octets, 4), 0);
    EXPECT_EQ(dm.bytes()[16], kFill);
}

TEST(ValueToDm, NullWritesOnlyTheHeader)
{
    for (int32_t type : {VALUE_INTEGER, VALUE_STRING, VALUE_NUMERIC, VALUE_INTERVAL_DS}) {
        Value v = integer(42, type);
        v.null_flag = -1;
        Dm dm;
        value_to_dm(dm.dm(), &v);
        EXPECT_EQ(dm.word(0), -1) << type;
        EXPECT_EQ(dm.word(4), 0) << type;
        EXPECT_EQ(dm.word(8), type) << type;
        EXPECT_EQ(dm.bytes()[12], kFill) << type;
    }
}

TEST(ValueToDm, TypesWithoutADmFormWriteLengthZero)
{
    for (int32_t type : {6, VALUE_NULL, VALUE_CURRENT_DATE, VALUE_USER, VALUE_CURRENT_TIME,
                         VALUE_CURRENT_TIMESTAMP, VALUE_LONG_STRING, VALUE_LONG_BINARY, 99}) {
        Value v = integer(42, type);
        Dm dm;
        value_to_dm(dm.dm(), &v);
        EXPECT_EQ(dm.word(0), 0) << type;
        EXPECT_EQ(dm.word(4), 0) << type;
        EXPECT_EQ(dm.word(8), type) << type;
        EXPECT_EQ(dm.bytes()[12], kFill) << type;
    }
}

// ---- dm_to_value ----

TEST(DmToValue, RoundTripsEveryFixedType)
{
    Value date = blank(VALUE_DATE);
    date.payload.date = {-44, 3, 15};
    Value time = blank(VALUE_TIME);
    time.payload.time = {23, 59, 58};
    Value stamp = blank(VALUE_TIMESTAMP);
    stamp.payload.timestamp = {2004, 2, 29, 1, 2, 3, 999999999};
    Value ds = interval(KX_IS_DAY_TO_SECOND, 2, 3);
    ds.payload.interval.intval.day_second.fraction = 5;
    const Value sources[] = {integer(-7),  integer(1, VALUE_BIT), dbl(-0.125),
                             bigint(-2),   date,                   time,
                             stamp,        numeric("98765", 3),    interval(KX_IS_YEAR, 3, 0),
                             ds};
    for (const Value &source : sources) {
        Dm dm;
        value_to_dm(dm.dm(), &source);
        Value target = integer(0, source.type);
        std::memset(&target.payload, 0xEE, sizeof target.payload);
        target.share_block = 1;
        target.null_flag = -1;
        dm_to_value(dm.dm(), &target);
        EXPECT_EQ(target.null_flag, 0) << source.type;
        EXPECT_EQ(target.share_block, 0) << source.type;
        int32_t n = get_length_from_dm(dm.dm(), &target);
        EXPECT_EQ(std::memcmp(&target.payload, &source.payload, static_cast<size_t>(n)), 0)
            << source.type;
        EXPECT_EQ(compare_values(&target, &source), 0) << source.type;
    }
}

TEST(DmToValue, StringGoesIntoTheValuesBufferWithATerminator)
{
    MemHandle *handle = kx_mem_alloc_handle(nullptr);
    char text[] = "dm text";
    Value source = blank(VALUE_STRING);
    source.payload.text = text;
    source.length = 7;
    Dm dm;
    value_to_dm(dm.dm(), &source);

    Value *target = NewValue(handle, 8);
    ASSERT_NE(target, nullptr);
    char *buffer = target->payload.text;
    std::memset(buffer, 'z', 8);
    target->type = VALUE_STRING;
    target->null_flag = -1;
    target->share_block = 1;
    target->length = 0;
    dm_to_value(dm.dm(), target);
    EXPECT_EQ(target->payload.text, buffer);
    EXPECT_STREQ(target->payload.text, "dm text");
    EXPECT_EQ(target->length, 7);
    EXPECT_EQ(target->null_flag, 0);
    EXPECT_EQ(target->share_block, 0);
    kx_mem_release_handle(handle);
}

TEST(DmToValue, BinaryTakesBothLengths)
{
    unsigned char octets[] = {1, 2, 3, 0};
    Value source = blank(VALUE_BINARY);
    source.payload.bytes = octets;
    source.length = 4;
    source.data_length = 3;
    Dm dm;
    value_to_dm(dm.dm(), &source);
    unsigned char into[5] = {9, 9, 9, 9, 9};
    Value target = blank(VALUE_BINARY);
    target.payload.bytes = into;
    dm_to_value(dm.dm(), &target);
    EXPECT_EQ(target.length, 4);
    EXPECT_EQ(target.data_length, 3);
    EXPECT_EQ(std::memcmp(into, octets, 4), 0);
    EXPECT_EQ(into[4], 9);
}

// Without a buffer to copy into, only the lengths and flags are taken.
TEST(DmToValue, TextAndBinaryWithoutABufferTakeTheLengthsOnly)
{
    unsigned char octets[] = {1, 2, 3, 4};
    Value source = blank(VALUE_BINARY);
    source.payload.bytes = octets;
    source.length = 4;
    source.data_length = 3;
    Dm dm;
    value_to_dm(dm.dm(), &source);
    for (int32_t type : {VALUE_STRING, VALUE_BINARY}) {
        Value target = blank(type);
        target.null_flag = -1;
        target.share_block = 1;
        dm_to_value(dm.dm(), &target);
        EXPECT_EQ(target.payload.text, nullptr) << type;
        EXPECT_EQ(target.length, 4) << type;
        EXPECT_EQ(target.data_length, type == VALUE_BINARY ? 3 : 0) << type;
        EXPECT_EQ(target.null_flag, 0) << type;
        EXPECT_EQ(target.share_block, 0) << type;
    }
}

TEST(DmToValue, NullSetsOnlyTheNullFlag)
{
    Value source = integer(5);
    source.null_flag = -1;
    Dm dm;
    value_to_dm(dm.dm(), &source);
    Value target = integer(77);
    target.share_block = 1;
    target.length = 12;
    Value before = target;
    dm_to_value(dm.dm(), &target);
    EXPECT_EQ(target.null_flag, -1);
    target.null_flag = 0;
    EXPECT_EQ(std::memcmp(&target, &before, sizeof target), 0);
}

TEST(DmToValue, TheValuesTypeDecidesNotTheDmTypeWord)
{
    Value source = bigint(0x0000000100000002LL);
    Dm dm;
    value_to_dm(dm.dm(), &source);
    Value target = integer(0);  // reads only the first 32-bit word: the high word
    dm_to_value(dm.dm(), &target);
    EXPECT_EQ(target.payload.integer, 1);
    Value other = integer(55, VALUE_LONG_STRING);
    other.null_flag = -1;
    dm_to_value(dm.dm(), &other);
    EXPECT_EQ(other.null_flag, 0);
    EXPECT_EQ(other.payload.integer, 55);  // nothing copied
}

// ---- get_dm_length, get_length_from_dm ----

TEST(GetDmLength, EveryRowOfTheTable)
{
    const struct {
        int32_t sql_type;
        int32_t expected;
    } cases[] = {
        {-7, 4},  {-6, 4},  {4, 4},   {5, 4},    {-5, 8},   {6, 8},   {7, 8},   {8, 8},
        {-4, 0},  {-1, 0},  {-3, 33}, {-2, 33},  {1, 33},   {12, 33}, {2, 19},  {3, 19},
        {9, 6},   {10, 6},  {91, 6},  {92, 6},   {11, 16},  {93, 16}, {101, 28}, {102, 28},
        {103, 28}, {104, 28}, {105, 28}, {106, 28}, {107, 28}, {108, 28}, {109, 28},
        {110, 28}, {111, 28}, {112, 28}, {113, 28},
        // Outside the table.
        {0, 0},   {-8, 0},  {-9, 0},  {-10, 0},  {-11, 0},  {99, 0},  {100, 0}, {114, 0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(get_dm_length(c.sql_type, 33), c.expected) << c.sql_type;
    EXPECT_EQ(sql_to_value_type(108), VALUE_NO_TYPE);
}

TEST(GetLengthFromDm, ByTheValuesType)
{
    Dm dm;
    int32_t header[3] = {11, 0, VALUE_STRING};
    std::memcpy(dm.bytes(), header, sizeof header);
    const struct {
        int32_t type;
        int32_t expected;
    } cases[] = {
        {VALUE_INTEGER, 4}, {VALUE_BIT, 4}, {VALUE_DOUBLE, 8}, {VALUE_BIGINT, 8},
        {VALUE_STRING, 11}, {VALUE_BINARY, 11}, {VALUE_DATE, 6}, {VALUE_TIME, 6},
        {VALUE_TIMESTAMP, 16}, {VALUE_NUMERIC, 19}, {VALUE_INTERVAL_YM, 28},
        {VALUE_INTERVAL_DS, 28}, {6, 0}, {VALUE_NULL, 0}, {VALUE_LONG_STRING, 0},
        {VALUE_LONG_BINARY, 0}, {VALUE_USER, 0},
    };
    for (const auto &c : cases) {
        Value v = blank(c.type);
        EXPECT_EQ(get_length_from_dm(dm.dm(), &v), c.expected) << c.type;
    }
    int32_t null_length = -1;
    std::memcpy(dm.bytes(), &null_length, 4);
    Value v = blank(VALUE_INTEGER);
    EXPECT_EQ(get_length_from_dm(dm.dm(), &v), 0);
}

// ---- null pointers ----

TEST(DmBuffers, NullPointersAreHarmless)
{
    Value v = integer(5);
    Dm dm;
    value_to_dm(dm.dm(), &v);
    value_to_dm(nullptr, &v);
    value_to_dm(dm.dm(), nullptr);
    dm_to_value(nullptr, &v);
    dm_to_value(dm.dm(), nullptr);
    EXPECT_EQ(v.payload.integer, 5);
    EXPECT_EQ(dm.word(0), 4);
    EXPECT_EQ(get_length_from_dm(nullptr, &v), 0);
    EXPECT_EQ(get_length_from_dm(dm.dm(), nullptr), 0);
    EXPECT_EQ(compare_dm(nullptr, nullptr), 0);
    EXPECT_LT(compare_dm(nullptr, dm.dm()), 0);
    EXPECT_GT(compare_dm(dm.dm(), nullptr), 0);
}

// ---- compare_dm ----

struct DmPair {
    Dm left;
    Dm right;
};

int sign(int32_t r)
{
    return r > 0 ? 1 : (r < 0 ? -1 : 0);
}

int compare_as_dm(const Value &a, const Value &b)
{
    DmPair pair;
    value_to_dm(pair.left.dm(), &a);
    value_to_dm(pair.right.dm(), &b);
    return sign(compare_dm(pair.left.dm(), pair.right.dm()));
}

Value null_value(int32_t type)
{
    Value v = integer(1, type);
    v.null_flag = -1;
    return v;
}

Value string_value(const char *text, int32_t length)
{
    Value v = blank(VALUE_STRING);
    v.payload.text = const_cast<char *>(text);
    v.length = length;
    return v;
}

Value binary_value(const unsigned char *octets, int32_t length)
{
    Value v = blank(VALUE_BINARY);
    v.payload.bytes = const_cast<unsigned char *>(octets);
    v.length = length;
    v.data_length = length;
    return v;
}

TEST(CompareDm, Cases)
{
    Value d1 = date(2004, 1, 31);
    Value d2 = date(2004, 2, 1);
    Value t1 = time_of_day(10, 0, 1);
    Value t2 = time_of_day(9, 59, 59);
    Value s1 = timestamp(2004, 1, 31, 10, 0, 0, 1);
    Value s2 = s1;
    s2.payload.timestamp.fraction = 0;
    const unsigned char b1[] = {1, 2, 3};
    const unsigned char b2[] = {1, 2, 4};
    const unsigned char b3[] = {1, 2, 0};
    const struct {
        const char *label;
        Value a;
        Value b;
        int expected;
    } cases[] = {
        {"NULL = NULL", null_value(VALUE_INTEGER), null_value(VALUE_INTEGER), 0},
        {"NULL < 5", null_value(VALUE_INTEGER), integer(5), -1},
        {"5 > NULL", integer(5), null_value(VALUE_INTEGER), 1},
        {"NULL text < text", null_value(VALUE_STRING), string_value("a", 1), -1},
        {"int -1 < 0", integer(-1), integer(0), -1},
        {"int min < max (no wrapping)", integer(INT32_MIN), integer(INT32_MAX), -1},
        {"int =", integer(9), integer(9), 0},
        {"bit", integer(1, VALUE_BIT), integer(0, VALUE_BIT), 1},
        {"double", dbl(1.5), dbl(-2.0), 1},
        {"double NaN", dbl(std::nan("")), dbl(1.0), 0},
        {"bigint -1 < 0", bigint(-1), bigint(0), -1},
        {"bigint 2^32 > 2^32-1", bigint(4294967296LL), bigint(4294967295LL), 1},
        {"bigint 2^32-1 > 1", bigint(4294967295LL), bigint(1), 1},
        {"bigint =", bigint(-5), bigint(-5), 0},
        {"'ab'(2) = 'abc'(3)", string_value("ab", 2), string_value("abc", 3), 0},
        {"'abc' < 'abd'", string_value("abc", 3), string_value("abd", 3), -1},
        {"'abc'(3) > 'ab'(2)", string_value("abc", 3), string_value("ab", 2), 1},
        {"'ab ' > 'ab'(2): no padding", string_value("ab ", 3), string_value("ab", 2), 1},
        {"binary <", binary_value(b1, 3), binary_value(b2, 3), -1},
        {"binary over the left length", binary_value(b1, 2), binary_value(b2, 3), 0},
        {"binary {1,2,0}(3) = {1,2}(2)", binary_value(b3, 3), binary_value(b1, 2), 0},
        {"binary {1,2,3}(3) > {1,2}(2)", binary_value(b1, 3), binary_value(b2, 2), 1},
        {"date <", d1, d2, -1},
        {"date =", d2, d2, 0},
        {"time >", t1, t2, 1},
        {"timestamp fraction >", s1, s2, 1},
        {"numeric 1.50 = 1.5", numeric("150", 2), numeric("15", 1), 0},
        {"numeric 1.51 > 1.5", numeric("151", 2), numeric("15", 1), 1},
        {"1 DAY = 24 HOUR", interval(KX_IS_DAY, 1, 0), interval(KX_IS_HOUR, 0, 24), 0},
        {"1 YEAR < 1-01", interval(KX_IS_YEAR, 1, 0), interval(KX_IS_YEAR_TO_MONTH, 1, 1), -1},
        {"long type", integer(1, VALUE_LONG_STRING), integer(2, VALUE_LONG_STRING), 0},
        {"unknown type", integer(1, 6), integer(2, 6), 0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(compare_as_dm(c.a, c.b), c.expected) << c.label;
}

// Row buffers of exactly header plus payload: comparing over the left
// length never reads past a shorter right payload.
TEST(CompareDm, ExactlySizedBuffersOfDifferentLengths)
{
    auto make = [](int32_t type, const char *payload, int32_t length) {
        std::vector<unsigned char> buffer(12 + static_cast<size_t>(length));
        int32_t header[3] = {length, type == VALUE_BINARY ? length : 0, type};
        std::memcpy(buffer.data(), header, sizeof header);
        std::memcpy(buffer.data() + 12, payload, static_cast<size_t>(length));
        return buffer;
    };
    auto order = [](std::vector<unsigned char> &a, std::vector<unsigned char> &b) {
        return sign(compare_dm(reinterpret_cast<DmBuffer *>(a.data()),
                               reinterpret_cast<DmBuffer *>(b.data())));
    };
    std::vector<unsigned char> abc = make(VALUE_STRING, "abc", 3);
    std::vector<unsigned char> ab = make(VALUE_STRING, "ab", 2);
    std::vector<unsigned char> abd = make(VALUE_STRING, "abd", 3);
    std::vector<unsigned char> empty = make(VALUE_STRING, "", 0);
    EXPECT_EQ(order(abc, ab), 1);
    EXPECT_EQ(order(ab, abc), 0);
    EXPECT_EQ(order(abc, abd), -1);
    EXPECT_EQ(order(empty, abc), 0);
    EXPECT_EQ(order(abc, empty), 1);

    // strncmp: equal texts up to a zero octet compare equal, whatever
    // follows it.
    std::vector<unsigned char> abx = make(VALUE_STRING, std::string("ab\0x", 4).data(), 4);
    std::vector<unsigned char> aby = make(VALUE_STRING, std::string("ab\0y", 4).data(), 4);
    std::vector<unsigned char> ab0 = make(VALUE_STRING, std::string("ab\0", 3).data(), 3);
    EXPECT_EQ(order(abx, aby), 0);
    EXPECT_EQ(order(aby, abx), 0);
    EXPECT_EQ(order(abx, ab0), 0);
    EXPECT_EQ(order(ab0, abc), -1);

    std::vector<unsigned char> b12 = make(VALUE_BINARY, "\x01\x02", 2);
    std::vector<unsigned char> b120 = make(VALUE_BINARY, std::string("\x01\x02\x00", 3).c_str(), 3);
    std::vector<unsigned char> b123 = make(VALUE_BINARY, "\x01\x02\x03", 3);
    EXPECT_EQ(order(b123, b12), 1);
    EXPECT_EQ(order(b120, b12), 0);
    EXPECT_EQ(order(b12, b123), 0);
}

}  // namespace
