// values: the typed SQL value record, its type codes, duplication, sharing,
// release, and the scalar getters and setters every other module uses to
// read a Value without switching on its type.
//
// Exports sql_to_value_type, duplicate_value, duplicate_value_ex,
// release_value, the get_*_from_value getters, set_value_to_double,
// set_value_to_interval, get/set_trivalue, get_long_from_interval and
// get_buffer_length. The text forms live in values_text.cpp.
//
// The unit of copying is the whole fixed record (sizeof(Value)), header
// fields included: a copy keeps its source's mem_handle field, which
// duplicate_value_ex compares to decide whether a value may be shared. A
// record whose text or binary buffer was allocated separately
// (inline_buffer 0) owns that buffer; a long value holds one reference on
// its long buffer.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kxsupp/arith.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

static_assert(sizeof(NumericStruct) == 19, "SQL_NUMERIC_STRUCT layout");
static_assert(sizeof(DateStruct) == 6, "SQL_DATE_STRUCT layout");
static_assert(sizeof(TimeStruct) == 6, "SQL_TIME_STRUCT layout");
static_assert(sizeof(TimestampStruct) == 16, "SQL_TIMESTAMP_STRUCT layout");
static_assert(sizeof(IntervalStruct) == 28, "SQL_INTERVAL_STRUCT layout");
static_assert(sizeof(ValuePayload) == 32, "the payload is 32 bytes");
static_assert(sizeof(Value) % alignof(Value) == 0 && alignof(Value) >= 8,
              "inline text follows the record aligned");

namespace {

// ODBC SQL type number to value type code, row for row.
struct SqlTypeMapping {
    int32_t sql_type;
    int32_t value_type;
};

constexpr SqlTypeMapping kSqlTypeMap[] = {
    {-7, VALUE_INTEGER},        // SQL_BIT
    {-6, VALUE_INTEGER},        // SQL_TINYINT
    {4, VALUE_INTEGER},         // SQL_INTEGER
    {5, VALUE_INTEGER},         // SQL_SMALLINT
    {-5, VALUE_BIGINT},         // SQL_BIGINT
    {-4, VALUE_LONG_BINARY},    // SQL_LONGVARBINARY
    {-3, VALUE_BINARY},         // SQL_VARBINARY
    {-2, VALUE_BINARY},         // SQL_BINARY
    {-1, VALUE_LONG_STRING},    // SQL_LONGVARCHAR
    {1, VALUE_STRING},          // SQL_CHAR
    {12, VALUE_STRING},         // SQL_VARCHAR
    {2, VALUE_NUMERIC},         // SQL_NUMERIC
    {3, VALUE_NUMERIC},         // SQL_DECIMAL
    {6, VALUE_DOUBLE},          // SQL_FLOAT
    {7, VALUE_DOUBLE},          // SQL_REAL
    {8, VALUE_DOUBLE},          // SQL_DOUBLE
    {9, VALUE_DATE},            // SQL_DATE
    {91, VALUE_DATE},           // SQL_TYPE_DATE
    {10, VALUE_TIME},           // SQL_TIME
    {92, VALUE_TIME},           // SQL_TYPE_TIME
    {11, VALUE_TIMESTAMP},      // SQL_TIMESTAMP
    {93, VALUE_TIMESTAMP},      // SQL_TYPE_TIMESTAMP
    {101, VALUE_INTERVAL_YM},   // SQL_INTERVAL_YEAR
    {102, VALUE_INTERVAL_YM},   // SQL_INTERVAL_MONTH
    {107, VALUE_INTERVAL_YM},   // SQL_INTERVAL_YEAR_TO_MONTH
    {103, VALUE_INTERVAL_DS},   // SQL_INTERVAL_DAY
    {104, VALUE_INTERVAL_DS},   // SQL_INTERVAL_HOUR
    {105, VALUE_INTERVAL_DS},   // SQL_INTERVAL_MINUTE
    {106, VALUE_INTERVAL_DS},   // SQL_INTERVAL_SECOND
    // SQL_INTERVAL_DAY_TO_HOUR (108) has never had a mapping: it stays out.
    {109, VALUE_INTERVAL_DS},   // SQL_INTERVAL_DAY_TO_MINUTE
    {110, VALUE_INTERVAL_DS},   // SQL_INTERVAL_DAY_TO_SECOND
    {111, VALUE_INTERVAL_DS},   // SQL_INTERVAL_HOUR_TO_MINUTE
    {112, VALUE_INTERVAL_DS},   // SQL_INTERVAL_HOUR_TO_SECOND
    {113, VALUE_INTERVAL_DS},   // SQL_INTERVAL_MINUTE_TO_SECOND
};

// Octet size of a bound buffer by SQL_C_ or SQL type number; a size of
// kDeclaredLength means the caller's declared length.
constexpr int32_t kDeclaredLength = -1;

struct BufferSize {
    int32_t type;
    int32_t size;
};

constexpr BufferSize kBufferSizes[] = {
    {-28, 1}, {-26, 1}, {-7, 1}, {-6, 1},        // (u/s)tinyint, bit, tinyint
    {-17, 2}, {-15, 2}, {5, 2},                  // (u/s)short, smallint
    {-18, 4}, {-16, 4}, {4, 4}, {7, 4},          // (u/s)long, integer, real
    {-27, 8}, {-25, 8}, {-5, 8}, {6, 8}, {8, 8}, // (u/s)bigint, float, double
    {2, 19}, {3, 19},                            // numeric, decimal
    {9, 6}, {10, 6}, {91, 6}, {92, 6},           // date, time
    {11, 16}, {93, 16},                          // timestamp
    {101, 28}, {102, 28}, {103, 28}, {104, 28}, {105, 28}, {106, 28},
    {107, 28}, {108, 28}, {109, 28}, {110, 28}, {111, 28}, {112, 28},
    {113, 28},                                   // every interval type
    {-3, kDeclaredLength}, {-2, kDeclaredLength}, {1, kDeclaredLength},
    {12, kDeclaredLength}, {99, kDeclaredLength},  // binary, char, default
    {-4, 0}, {-1, 0},                            // long varbinary, long varchar
};

bool is_text_or_binary(const Value *value)
{
    return value->type == VALUE_STRING || value->type == VALUE_BINARY;
}

bool is_long(const Value *value)
{
    return value->type == VALUE_LONG_STRING ||
           value->type == VALUE_LONG_BINARY;
}

bool is_null(const Value *value)
{
    return value->null_flag == -1;
}

int64_t bigint_of(const Value *value)
{
    uint64_t bits =
        (static_cast<uint64_t>(static_cast<uint32_t>(value->payload.bigint.high))
         << 32) |
        value->payload.bigint.low;
    return static_cast<int64_t>(bits);
}

void store_bigint(Value *value, int64_t v)
{
    uint64_t bits = static_cast<uint64_t>(v);
    value->payload.bigint.high = static_cast<int32_t>(bits >> 32);
    value->payload.bigint.low = static_cast<uint32_t>(bits);
}

}  // namespace

namespace kx {

int32_t double_to_int32(double d)
{
    if (std::isnan(d))
        return INT32_MIN;
    if (d >= 2147483648.0)
        return INT32_MAX;
    if (d <= -2147483649.0)
        return INT32_MIN;
    return static_cast<int32_t>(d);
}

int64_t double_to_int64(double d)
{
    if (std::isnan(d))
        return INT64_MIN;
    if (d >= 9223372036854775808.0)
        return INT64_MAX;
    if (d < -9223372036854775808.0)
        return INT64_MIN;
    return static_cast<int64_t>(d);
}

}  // namespace kx

extern "C" {

KX_API int32_t sql_to_value_type(int32_t sql_type)
{
    for (const SqlTypeMapping &row : kSqlTypeMap)
        if (row.sql_type == sql_type)
            return row.value_type;
    return VALUE_NO_TYPE;
}

KX_API Value *duplicate_value(MemHandle *handle, const Value *src)
{
    Value *copy;
    if (src == nullptr) {
        copy = NewValue(handle, 0);
        if (copy == nullptr)
            return nullptr;
        copy->long_buffer = nullptr;
        copy->payload.text = nullptr;
        copy->null_flag = -1;
        copy->ref_count = 0;
        copy->type = VALUE_NULL;  // callers set the type they need
        return copy;
    }
    if (is_text_or_binary(src) && src->payload.text != nullptr &&
        src->length >= 0 && src->length < INT32_MAX) {
        int32_t room = src->length + 1;
        copy = NewValue(handle, room);
        if (copy == nullptr)
            return nullptr;
        char *own = copy->payload.text;
        std::memcpy(copy, src, sizeof(Value));
        copy->payload.text = own;
        copy->share_block = 0;
        copy->long_buffer = nullptr;
        copy->inline_buffer = 1;
        if (src->type == VALUE_STRING) {
            // the text and its terminator
            std::memcpy(own, src->payload.text, static_cast<size_t>(room));
        } else {
            // the declared octets; the octet beyond them is a zero rather
            // than a read past the source's buffer
            std::memcpy(own, src->payload.bytes,
                        static_cast<size_t>(src->length));
            own[src->length] = 0;
        }
    } else {
        copy = NewValue(handle, 0);
        if (copy == nullptr)
            return nullptr;
        std::memcpy(copy, src, sizeof(Value));
        if (is_text_or_binary(src)) {
            copy->long_buffer = nullptr;
            copy->share_block = 0;
            if (src->payload.text != nullptr) {
                // a negative length: nothing can be copied safely
                copy->payload.text = nullptr;
            }
        } else if (!is_long(src)) {
            // only long values hold a long buffer; never free another's
            copy->long_buffer = nullptr;
        }
    }
    copy->ref_count = 0;
    if (is_long(src) && src->long_buffer != nullptr)
        copy->long_buffer = clone_long_buffer(src->long_buffer, handle);
    return copy;
}

KX_API Value *duplicate_value_ex(MemHandle *handle, Value *src)
{
    if (src != nullptr && src->mem_handle == handle && src->share_block == 0) {
        src->ref_count++;
        if (is_long(src) && src->long_buffer != nullptr)
            clone_long_buffer(src->long_buffer, handle);  // takes a reference
        return src;
    }
    return duplicate_value(handle, src);
}

KX_API void release_value(MemHandle *handle, Value *value)
{
    if (value == nullptr || value == reinterpret_cast<Value *>(intptr_t{-1}))
        return;
    if (value->ref_count > 0) {
        value->ref_count--;
        return;
    }
    if (is_text_or_binary(value) && value->payload.text != nullptr &&
        value->inline_buffer == 0)
        kx_mem_free(handle, value->payload.text);
    if (value->long_buffer != nullptr) {
        kx_mem_free(handle, value->long_buffer);
        value->long_buffer = nullptr;
    }
    kx_mem_free(handle, value);
}

KX_API int32_t get_int_from_value(const Value *value)
{
    if (value == nullptr || is_null(value))
        return 0;
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return value->payload.integer;
    case VALUE_DOUBLE:
        return kx::double_to_int32(value->payload.dbl);
    case VALUE_STRING:
        return value->payload.text ? std::atoi(value->payload.text) : 0;
    case VALUE_NUMERIC: {
        int32_t result = 0;
        numeric_to_int(&value->payload.numeric, &result);
        return result;
    }
    case VALUE_BIGINT:
        return static_cast<int32_t>(value->payload.bigint.low);
    default:
        return 0;
    }
}

KX_API double get_double_from_value(const Value *value)
{
    if (value == nullptr || is_null(value))
        return 0.0;
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return value->payload.integer;
    case VALUE_DOUBLE:
        return value->payload.dbl;
    case VALUE_STRING:
        return value->payload.text ? std::atof(value->payload.text) : 0.0;
    case VALUE_NUMERIC: {
        double result = 0.0;
        numeric_to_double(&value->payload.numeric, &result);
        return result;
    }
    case VALUE_BIGINT:
        return static_cast<double>(bigint_of(value));
    default:
        return 0.0;
    }
}

KX_API int64_t get_bigint_from_value(const Value *value)
{
    if (value == nullptr || is_null(value))
        return 0;
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return value->payload.integer;
    case VALUE_DOUBLE:
        return kx::double_to_int64(value->payload.dbl);
    case VALUE_STRING:
        return value->payload.text
                   ? std::strtoll(value->payload.text, nullptr, 10)
                   : 0;
    case VALUE_NUMERIC: {
        int64_t result = 0;
        numeric_to_bigint(&value->payload.numeric, &result);
        return result;
    }
    case VALUE_BIGINT:
        return bigint_of(value);
    default:
        return 0;
    }
}

KX_API const char *get_string_from_value(const Value *value)
{
    if (value == nullptr || is_null(value) || value->type != VALUE_STRING ||
        value->payload.text == nullptr)
        return "";
    return value->payload.text;
}

KX_API void set_value_to_double(Value *value, double d)
{
    if (value == nullptr)
        return;
    switch (value->type) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        value->payload.integer = kx::double_to_int32(d);
        break;
    case VALUE_DOUBLE:
        value->payload.dbl = d;
        break;
    case VALUE_NUMERIC: {
        NumericStruct *number = &value->payload.numeric;
        double_to_numeric(d, number, number->precision, number->scale);
        break;
    }
    case VALUE_BIGINT:
        store_bigint(value, kx::double_to_int64(d));
        break;
    default:
        break;
    }
}

KX_API Value *set_value_to_interval(Value *dst, const Value *src)
{
    if (dst != nullptr && src != nullptr && dst != src)
        std::memcpy(dst, src, sizeof(Value));
    return dst;
}

KX_API int32_t get_trivalue_from_value(const Value *value)
{
    if (value == nullptr || value->null_flag != 0)
        return 2;
    return value->payload.integer != 0 ? 1 : 0;
}

KX_API Value *set_trivalue_in_value(Value *value, int32_t t)
{
    if (value == nullptr)
        return nullptr;
    value->null_flag = 0;
    value->type = VALUE_INTEGER;
    if (t == 2)
        value->null_flag = -1;
    else if (t == 1)
        value->payload.integer = 1;
    else
        value->payload.integer = 0;
    return value;
}

KX_API uint32_t get_long_from_interval(const Value *value,
                                       uint32_t *fraction_out)
{
    uint32_t result = 0;
    uint32_t fraction = 0;
    if (value != nullptr) {
        const IntervalStruct &iv = value->payload.interval;
        // year and day share the first slot, month and hour the second
        uint32_t first = iv.intval.day_second.day;
        uint32_t second = iv.intval.day_second.hour;
        uint32_t minute = iv.intval.day_second.minute;
        uint32_t sec = iv.intval.day_second.second;
        uint32_t frac = iv.intval.day_second.fraction;
        switch (iv.interval_type) {
        case KX_IS_YEAR:
        case KX_IS_DAY:
            result = first;
            break;
        case KX_IS_MONTH:
        case KX_IS_HOUR:
            result = second;
            break;
        case KX_IS_MINUTE:
            result = minute;
            break;
        case KX_IS_SECOND:
            result = sec;
            fraction = frac;
            break;
        case KX_IS_YEAR_TO_MONTH:
            result = first * 12u + second;
            break;
        case KX_IS_DAY_TO_HOUR:
            result = first * 24u + second;
            break;
        case KX_IS_DAY_TO_MINUTE:
            result = first * 1440u + second * 60u + minute;
            break;
        case KX_IS_DAY_TO_SECOND:
            result = first * 86400u + second * 3600u + minute * 60u + sec;
            fraction = frac;
            break;
        case KX_IS_HOUR_TO_MINUTE:
            result = second * 60u + minute;
            break;
        case KX_IS_HOUR_TO_SECOND:
            result = second * 3600u + minute * 60u + sec;
            fraction = frac;
            break;
        case KX_IS_MINUTE_TO_SECOND:
            result = minute * 60u + sec;
            fraction = frac;
            break;
        default:
            break;
        }
    }
    if (fraction_out != nullptr)
        *fraction_out = fraction;
    return result;
}

KX_API int32_t get_buffer_length(int32_t length, int32_t type)
{
    for (const BufferSize &row : kBufferSizes)
        if (row.type == type)
            return row.size == kDeclaredLength ? length : row.size;
    return 0;
}

}  // extern "C"
