// Helpers shared by the test programs: value records made on the stack, a
// test fixture that owns a memory handle and makes values on it, exact
// numeric and interval records, ODBC diagnostic field numbers, and an
// evaluation context on a statement with its own error header, set up as a
// driver sets one up. Header-only, so that each test program stays one .cpp;
// it uses the public header alone, so the case tables written against that
// header depend on nothing internal.
#ifndef KXSUPP_TESTS_SUPPORT_KX_TEST_SUPPORT_H
#define KXSUPP_TESTS_SUPPORT_KX_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <kxsupp.h>

namespace kxtest {

// ---- values on the stack ----

// A zeroed value record of kind NODE_VALUE, of a type (0 unless given).
inline Value blank(int32_t type = 0)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = type;
    return v;
}

inline Value integer(int32_t i, int32_t type = VALUE_INTEGER)
{
    Value v = blank(type);
    v.payload.integer = i;
    return v;
}

inline Value dbl(double d)
{
    Value v = blank(VALUE_DOUBLE);
    v.payload.dbl = d;
    return v;
}

inline Value bigint(int64_t x)
{
    Value v = blank(VALUE_BIGINT);
    v.payload.bigint.high = static_cast<int32_t>(static_cast<uint64_t>(x) >> 32);
    v.payload.bigint.low = static_cast<uint32_t>(x);
    return v;
}

// A string value over t (not copied); its length field is the text's length
// unless length is given, when it may differ from it.
inline Value text(const char *t, int32_t length = -1)
{
    Value v = blank(VALUE_STRING);
    v.payload.text = const_cast<char *>(t);
    v.length = length < 0 ? static_cast<int32_t>(std::strlen(t)) : length;
    return v;
}

inline Value date(int16_t y, uint16_t mo, uint16_t d)
{
    Value v = blank(VALUE_DATE);
    v.payload.date = DateStruct{y, mo, d};
    return v;
}

inline Value time_of_day(uint16_t h, uint16_t mi, uint16_t s)
{
    Value v = blank(VALUE_TIME);
    v.payload.time = TimeStruct{h, mi, s};
    return v;
}

inline Value timestamp(int16_t y, uint16_t mo, uint16_t d, uint16_t h = 0, uint16_t mi = 0,
                       uint16_t s = 0, uint32_t fraction = 0)
{
    Value v = blank(VALUE_TIMESTAMP);
    v.payload.timestamp = TimestampStruct{y, mo, d, h, mi, s, fraction};
    return v;
}

// A numeric value parsed by string_to_numeric from decimal digits with the
// given scale and precision; negative gives it sign 0.
inline Value numeric_value(const char *digits, int8_t scale, uint8_t precision,
                           bool negative)
{
    Value v = blank(VALUE_NUMERIC);
    std::string copy(digits);
    string_to_numeric(copy.data(), &v.payload.numeric, precision, scale);
    v.payload.numeric.sign = negative ? 0 : 1;
    return v;
}

// The 64-bit integer that a bigint value's high and low words hold.
inline int64_t bigint_of(const Value &v)
{
    return static_cast<int64_t>(
        (static_cast<uint64_t>(static_cast<uint32_t>(v.payload.bigint.high)) << 32) |
        v.payload.bigint.low);
}

// ---- exact numeric records ----

typedef unsigned __int128 u128;

// A numeric record with a 128-bit magnitude, scale, sign (1 positive, 0
// negative) and precision; every other byte zeroed.
inline NumericStruct numeric(u128 magnitude, int scale = 0, int sign = 1, int precision = 0)
{
    NumericStruct n;
    std::memset(&n, 0, sizeof n);
    n.precision = static_cast<uint8_t>(precision);
    n.scale = static_cast<int8_t>(scale);
    n.sign = static_cast<uint8_t>(sign);
    for (int i = 0; i < 16; ++i)
        n.val[i] = static_cast<uint8_t>(magnitude >> (8 * i));
    return n;
}

// The 128-bit magnitude a numeric record holds.
inline u128 magnitude_of(const NumericStruct &n)
{
    u128 m = 0;
    for (int i = 15; i >= 0; --i)
        m = (m << 8) | n.val[i];
    return m;
}

// The text numeric_to_string makes of n, checking its return code and, when
// check_length, the length it reports; without it the length pointer is null.
inline std::string numeric_text(const NumericStruct &n, bool check_length = true)
{
    char buffer[1024];
    if (!check_length) {
        EXPECT_EQ(numeric_to_string(&n, buffer, sizeof buffer, nullptr), 0);
        return buffer;
    }
    int32_t length = -1;
    EXPECT_EQ(numeric_to_string(&n, buffer, sizeof buffer, &length), 0);
    EXPECT_EQ(length, static_cast<int32_t>(std::strlen(buffer)));
    return buffer;
}

// The decimal digits of a 128-bit magnitude.
inline std::string decimal(u128 m)
{
    std::string s;
    do {
        s.insert(s.begin(), static_cast<char>('0' + static_cast<int>(m % 10)));
        m /= 10;
    } while (m != 0);
    return s;
}

// ---- interval records ----

// A year-month interval record of a kind; other bytes zeroed.
inline IntervalStruct year_month(int32_t kind, uint32_t year, uint32_t month, int16_t sign = 0)
{
    IntervalStruct i;
    std::memset(&i, 0, sizeof i);
    i.interval_type = kind;
    i.interval_sign = sign;
    i.intval.year_month.year = year;
    i.intval.year_month.month = month;
    return i;
}

// A day-second interval record of a kind; other bytes zeroed.
inline IntervalStruct day_second(int32_t kind, uint32_t day, uint32_t hour, uint32_t minute,
                                 uint32_t second, uint32_t fraction = 0, int16_t sign = 0)
{
    IntervalStruct i;
    std::memset(&i, 0, sizeof i);
    i.interval_type = kind;
    i.interval_sign = sign;
    i.intval.day_second.day = day;
    i.intval.day_second.hour = hour;
    i.intval.day_second.minute = minute;
    i.intval.day_second.second = second;
    i.intval.day_second.fraction = fraction;
    return i;
}

// A value on the stack holding an interval record, of the year-month or
// day-second value type as its kind says.
inline Value interval(const IntervalStruct &i)
{
    bool ym = i.interval_type == KX_IS_YEAR || i.interval_type == KX_IS_MONTH ||
              i.interval_type == KX_IS_YEAR_TO_MONTH;
    Value v = blank(ym ? VALUE_INTERVAL_YM : VALUE_INTERVAL_DS);
    v.payload.interval = i;
    return v;
}

// ---- ODBC diagnostic numbers ----

// The ODBC 3 to ODBC 2 state map as documented, in its memory order: the
// left column pair of the published table, then the middle, then the right.
struct StatePair {
    const char *odbc3;
    const char *odbc2;
};
inline constexpr StatePair kStateMap[48] = {
    {"01001", "01S03"}, {"HY019", "22003"}, {"22007", "22008"},
    {"22018", "22005"}, {"07005", "24000"}, {"07008", "S1000"},
    {"07009", "S1002"}, {"42000", "37000"}, {"HY018", "70100"},
    {"42S01", "S0001"}, {"42S02", "S0002"}, {"42S11", "S0011"},
    {"42S12", "S0012"}, {"42S21", "S0021"}, {"42S22", "S0022"},
    {"42S23", "S0023"},
    {"HY000", "S1000"}, {"HY001", "S1001"}, {"HY003", "S1003"},
    {"HY004", "S1004"}, {"HY008", "S1008"}, {"HY009", "S1009"},
    {"HY024", "S1009"}, {"HY092", "S1009"}, {"HY007", "S1010"},
    {"HY010", "S1010"}, {"HY011", "S1011"}, {"HY012", "S1012"},
    {"HY090", "S1090"}, {"HY091", "S1091"}, {"HY092", "S1092"},
    {"HY096", "S1096"},
    {"HY097", "S1097"}, {"HY098", "S1098"}, {"HY099", "S1099"},
    {"HY100", "S1100"}, {"HY101", "S1101"}, {"HY103", "S1103"},
    {"HY104", "S1104"}, {"HY105", "S1105"}, {"HY106", "S1106"},
    {"HY107", "S1107"}, {"HY108", "S1108"}, {"HY109", "S1109"},
    {"HY110", "S1110"}, {"HY111", "S1111"}, {"HYC00", "S1C00"},
    {"NYT00", "S1T00"},
};

namespace diag {

// Handle types.
constexpr int32_t kEnv = 1;
constexpr int32_t kDbc = 2;
constexpr int32_t kStmt = 3;
constexpr int32_t kDesc = 4;

// SQL_DIAG_* field identifiers, as ODBC numbers them.
constexpr int32_t kReturnCode = 1;
constexpr int32_t kNumber = 2;
constexpr int32_t kRowCount = 3;
constexpr int32_t kSqlState = 4;
constexpr int32_t kNative = 5;
constexpr int32_t kMessageText = 6;
constexpr int32_t kDynamicFunction = 7;
constexpr int32_t kClassOrigin = 8;
constexpr int32_t kSubclassOrigin = 9;
constexpr int32_t kConnectionName = 10;
constexpr int32_t kServerName = 11;
constexpr int32_t kDynamicFunctionCode = 12;
constexpr int32_t kCursorRowCount = -1249;
constexpr int32_t kRowNumber = -1248;
constexpr int32_t kColumnNumber = -1247;

// An integer diagnostic field read with GetDiagField, checking that it
// succeeds and writes one 32-bit word only.
inline int32_t integer_field(int32_t handle_type, ErrorHeader *header, int32_t record,
                             int32_t field)
{
    int32_t words[2] = {-77, 0x5A5A5A5A};
    EXPECT_EQ(GetDiagField(handle_type, header, record, field, words, 0, nullptr), 0)
        << "field " << field;
    EXPECT_EQ(words[1], 0x5A5A5A5A) << "field " << field << ": an integer field is one 32-bit word";
    return words[0];
}

}  // namespace diag

// ---- a memory handle per test ----

// A test that owns a memory handle, made before and released after it.
class MemoryFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
    }
    void TearDown() override { kx_mem_release_handle(handle); }

    MemHandle *handle = nullptr;
};

// ---- values on a memory handle ----

// A test that owns a memory handle and makes zeroed values on it with
// newNode, as the literal builders make them.
class ValueFixture : public MemoryFixture {
protected:
    virtual Value *make(int32_t type)
    {
        Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
        EXPECT_NE(v, nullptr);
        v->type = type;
        return v;
    }
    Value *make_int(int32_t i)
    {
        Value *v = make(VALUE_INTEGER);
        v->payload.integer = i;
        return v;
    }
    Value *make_double(double d)
    {
        Value *v = make(VALUE_DOUBLE);
        v->payload.dbl = d;
        return v;
    }
    Value *make_bigint(int64_t b)
    {
        Value *v = make(VALUE_BIGINT);
        uint64_t bits = static_cast<uint64_t>(b);
        v->payload.bigint.high = static_cast<int32_t>(bits >> 32);
        v->payload.bigint.low = static_cast<uint32_t>(bits);
        return v;
    }
    // A numeric value: magnitude (up to 64 bits), scale, sign, precision.
    Value *make_numeric(uint64_t magnitude, int8_t scale, uint8_t sign,
                        uint8_t precision = 38)
    {
        Value *v = make(VALUE_NUMERIC);
        v->payload.numeric.precision = precision;
        v->payload.numeric.scale = scale;
        v->payload.numeric.sign = sign;
        for (int i = 0; i < 8; i++)
            v->payload.numeric.val[i] = static_cast<uint8_t>(magnitude >> (8 * i));
        return v;
    }
    // A string value with its text inline, made by NewValue as a driver
    // makes one.
    Value *make_string(const char *text)
    {
        int32_t n = static_cast<int32_t>(std::strlen(text));
        Value *v = NewValue(handle, n + 1);
        EXPECT_NE(v, nullptr);
        v->type = VALUE_STRING;
        v->length = n;
        v->data_length = n;
        v->share_block = 0;
        v->null_flag = 0;
        v->long_buffer = nullptr;
        std::memcpy(v->payload.text, text, static_cast<size_t>(n) + 1);
        return v;
    }
    Value *make_date(int16_t y, uint16_t m, uint16_t d)
    {
        Value *v = make(VALUE_DATE);
        v->payload.date = DateStruct{y, m, d};
        return v;
    }
    Value *make_time(uint16_t h, uint16_t mi, uint16_t s)
    {
        Value *v = make(VALUE_TIME);
        v->payload.time = TimeStruct{h, mi, s};
        return v;
    }
    Value *make_timestamp(int16_t y, uint16_t mo, uint16_t d, uint16_t h, uint16_t mi,
                          uint16_t s, uint32_t fraction = 0)
    {
        Value *v = make(VALUE_TIMESTAMP);
        v->payload.timestamp = TimestampStruct{y, mo, d, h, mi, s, fraction};
        return v;
    }
    // An interval value; the words are year-or-day, month-or-hour, minute,
    // second and fraction, lp and sp the leading and seconds precisions.
    Value *make_interval(int32_t kind, int16_t sign, uint32_t w0, uint32_t w1, uint32_t w2,
                         uint32_t w3, uint32_t fraction, intptr_t lp = 2, intptr_t sp = 6)
    {
        Value *v = make(kind == 1 || kind == 2 || kind == 7 ? VALUE_INTERVAL_YM
                                                            : VALUE_INTERVAL_DS);
        v->payload.interval.interval_type = kind;
        v->payload.interval.interval_sign = sign;
        v->payload.interval.intval.day_second = DaySecondStruct{w0, w1, w2, w3, fraction};
        v->attr[2] = lp;
        v->attr[3] = sp;
        return v;
    }
    static int64_t bigint_of(const Value *v) { return kxtest::bigint_of(*v); }
};

// ---- an evaluation context on a statement ----

// A memory handle, a statement whose errors go to an error header made on
// it, and an evaluation context on both; otherwise zeroed. The caller arms
// context.exit with setjmp when it expects an error exit. errors() is null
// when the header could not be made.
struct StatementContext {
    // odbc_version 0 makes the header without an environment.
    explicit StatementContext(int32_t odbc_version = 0)
    {
        mem = kx_mem_alloc_handle(nullptr);
        environment = DriverEnvironment{1, odbc_version};
        std::memset(&statement, 0, sizeof statement);
        statement.kind = KX_KIND_STATEMENT;
        statement.errors = mem != nullptr
                               ? CreateErrorHeader(mem, odbc_version != 0 ? &environment : nullptr)
                               : nullptr;
        std::memset(&context, 0, sizeof context);
        context.stmt = &statement;
        context.mem = mem;
    }
    ~StatementContext()
    {
        FreeErrorHeader(statement.errors);
        kx_mem_release_handle(mem);
    }
    StatementContext(const StatementContext &) = delete;
    StatementContext &operator=(const StatementContext &) = delete;

    ErrorHeader *errors() const { return statement.errors; }

    MemHandle *mem = nullptr;
    DriverEnvironment environment;
    DriverStatement statement;
    EvalContext context;
};

}  // namespace kxtest

#endif
