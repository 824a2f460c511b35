// values (dm buffers): exchange of Values with the drivers' flat row buffers,
// and the ordering of two such buffers without rebuilding Values.
//
// Exports value_to_dm, dm_to_value, get_dm_length, get_length_from_dm and
// compare_dm.
//
// A dm buffer is a 12-octet header (length: -1 for SQL NULL, else the payload
// octets; data length: octets held, binaries only; the Value type code)
// followed by the payload at offset 12, in native byte order. The payload is
// the Value's own payload layout, so a conversion is a copy. Row buffers need
// not be aligned: every field is read and written with memcpy.
#include <cstddef>
#include <cstring>

#include "kxsupp/arith.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

static_assert(offsetof(DmBuffer, length) == 0);
static_assert(offsetof(DmBuffer, data_length) == 4);
static_assert(offsetof(DmBuffer, type) == 8);
static_assert(offsetof(DmBuffer, payload) == 12);
static_assert(sizeof(NumericStruct) == 19);
static_assert(sizeof(TimestampStruct) == 16);
static_assert(sizeof(IntervalStruct) == 28);

namespace {

unsigned char *payload_of(DmBuffer *dm)
{
    return reinterpret_cast<unsigned char *>(dm) + 12;
}

const unsigned char *payload_of(const DmBuffer *dm)
{
    return reinterpret_cast<const unsigned char *>(dm) + 12;
}

int32_t read_length(const DmBuffer *dm)
{
    int32_t length;
    std::memcpy(&length, reinterpret_cast<const unsigned char *>(dm), 4);
    return length;
}

int32_t read_data_length(const DmBuffer *dm)
{
    int32_t length;
    std::memcpy(&length, reinterpret_cast<const unsigned char *>(dm) + 4, 4);
    return length;
}

uint32_t read_type(const DmBuffer *dm)
{
    uint32_t type;
    std::memcpy(&type, reinterpret_cast<const unsigned char *>(dm) + 8, 4);
    return type;
}

void write_header(DmBuffer *dm, int32_t length, int32_t data_length)
{
    unsigned char *base = reinterpret_cast<unsigned char *>(dm);
    std::memcpy(base, &length, 4);
    std::memcpy(base + 4, &data_length, 4);
}

template <typename T>
int32_t three_way(T a, T b)
{
    return a > b ? 1 : (a < b ? -1 : 0);
}

template <typename Record>
Record record_at(const DmBuffer *dm)
{
    Record r;
    std::memcpy(&r, payload_of(dm), sizeof r);
    return r;
}

// strncmp of two text payloads over the left length; the right payload is
// taken to end after its own length.
int32_t compare_text_payloads(const unsigned char *a, int32_t la, const unsigned char *b,
                              int32_t lb)
{
    int32_t common = la < lb ? la : lb;
    for (int32_t i = 0; i < common; ++i) {
        if (a[i] != b[i])
            return static_cast<int32_t>(a[i]) - static_cast<int32_t>(b[i]);
        if (a[i] == 0)
            return 0;
    }
    return la > common ? a[common] : 0;
}

// memcmp of two binary payloads over the left length; the right payload is
// taken as zero-padded after its own length.
int32_t compare_binary_payloads(const unsigned char *a, int32_t la, const unsigned char *b,
                                int32_t lb)
{
    int32_t common = la < lb ? la : lb;
    if (common > 0) {
        int r = std::memcmp(a, b, static_cast<size_t>(common));
        if (r != 0)
            return r;
    }
    for (int32_t i = common; i < la; ++i)
        if (a[i] != 0)
            return a[i];
    return 0;
}

}  // namespace

extern "C" {

KX_API void value_to_dm(DmBuffer *dm, const Value *value)
{
    if (dm == nullptr || value == nullptr)
        return;
    uint32_t type = static_cast<uint32_t>(value->type);
    std::memcpy(reinterpret_cast<unsigned char *>(dm) + 8, &type, 4);
    if (value->null_flag != 0) {
        write_header(dm, -1, 0);
        return;
    }
    unsigned char *out = payload_of(dm);
    int32_t size = kx::dm_payload_size(value->type);
    if (size > 0) {
        std::memcpy(out, value->payload.raw, static_cast<size_t>(size));
        write_header(dm, size, 0);
        return;
    }
    if (size == 0) {
        write_header(dm, 0, 0);
        return;
    }
    int32_t length = value->length > 0 ? value->length : 0;
    if (value->type == VALUE_STRING) {
        // The text's octets without the terminator. A text shorter than its
        // length field is not read past its terminator: zeros fill the rest.
        size_t held = value->payload.text != nullptr
                          ? strnlen(value->payload.text, static_cast<size_t>(length))
                          : 0;
        if (held > 0)
            std::memcpy(out, value->payload.text, held);
        std::memset(out + held, 0, static_cast<size_t>(length) - held);
        write_header(dm, length, 0);
        return;
    }
    // Binary: the declared length from the value's buffer, which holds at
    // least that many octets.
    if (value->payload.bytes != nullptr)
        std::memcpy(out, value->payload.bytes, static_cast<size_t>(length));
    else
        std::memset(out, 0, static_cast<size_t>(length));
    write_header(dm, length, value->data_length);
}

KX_API void dm_to_value(const DmBuffer *dm, Value *value)
{
    if (dm == nullptr || value == nullptr)
        return;
    int32_t length = read_length(dm);
    if (length < 0) {
        value->null_flag = -1;
        return;
    }
    value->share_block = 0;
    value->null_flag = 0;
    const unsigned char *in = payload_of(dm);
    switch (value->type) {
    case VALUE_STRING:
        value->length = length;
        if (value->payload.text != nullptr) {
            std::memcpy(value->payload.text, in, static_cast<size_t>(length));
            value->payload.text[length] = '\0';
        }
        return;
    case VALUE_BINARY:
        value->length = length;
        value->data_length = read_data_length(dm);
        if (value->payload.bytes != nullptr)
            std::memcpy(value->payload.bytes, in, static_cast<size_t>(length));
        return;
    default: {
        int32_t size = kx::dm_payload_size(value->type);
        if (size > 0)
            std::memcpy(value->payload.raw, in, static_cast<size_t>(size));
        return;
    }
    }
}

KX_API int32_t get_dm_length(int32_t sql_type, int32_t length)
{
    switch (sql_type) {
    case -7:  // SQL_BIT
    case -6:  // SQL_TINYINT
    case 4:   // SQL_INTEGER
    case 5:   // SQL_SMALLINT
        return 4;
    case -5:  // SQL_BIGINT
    case 6:   // SQL_FLOAT
    case 7:   // SQL_REAL, held as a double like every floating type
    case 8:   // SQL_DOUBLE
        return 8;
    case -4:  // SQL_LONGVARBINARY: long data lives in long buffers
    case -1:  // SQL_LONGVARCHAR
        return 0;
    case -3:  // SQL_VARBINARY
    case -2:  // SQL_BINARY
    case 1:   // SQL_CHAR
    case 12:  // SQL_VARCHAR
        return length;
    case 2:   // SQL_NUMERIC
    case 3:   // SQL_DECIMAL
        return 19;
    case 9:   // SQL_DATE
    case 10:  // SQL_TIME
    case 91:  // SQL_TYPE_DATE
    case 92:  // SQL_TYPE_TIME
        return 6;
    case 11:  // SQL_TIMESTAMP
    case 93:  // SQL_TYPE_TIMESTAMP
        return 16;
    default:
        // Every interval type, day to hour (108) included.
        return sql_type >= 101 && sql_type <= 113 ? 28 : 0;
    }
}

KX_API int32_t get_length_from_dm(const DmBuffer *dm, const Value *value)
{
    if (dm == nullptr || value == nullptr)
        return 0;
    int32_t length = read_length(dm);
    if (length < 0)
        return 0;
    int32_t size = kx::dm_payload_size(value->type);
    return size < 0 ? length : size;
}

KX_API int32_t compare_dm(const DmBuffer *left, const DmBuffer *right)
{
    // A missing buffer (null pointer) sorts as SQL NULL.
    int32_t left_length = left != nullptr ? read_length(left) : -1;
    int32_t right_length = right != nullptr ? read_length(right) : -1;
    if (left_length < 0)
        return right_length < 0 ? 0 : -1;
    if (right_length < 0)
        return 1;

    switch (read_type(left)) {
    case VALUE_INTEGER:
    case VALUE_BIT:
        return three_way(record_at<int32_t>(left), record_at<int32_t>(right));
    case VALUE_DOUBLE:
        return three_way(record_at<double>(left), record_at<double>(right));
    case VALUE_BIGINT: {
        BigintWords a = record_at<BigintWords>(left);
        BigintWords b = record_at<BigintWords>(right);
        if (a.high != b.high)
            return three_way(a.high, b.high);
        return three_way(a.low, b.low);
    }
    case VALUE_STRING:
        return compare_text_payloads(payload_of(left), left_length, payload_of(right),
                                     right_length);
    case VALUE_BINARY:
        return compare_binary_payloads(payload_of(left), left_length, payload_of(right),
                                       right_length);
    case VALUE_DATE: {
        DateStruct a = record_at<DateStruct>(left);
        DateStruct b = record_at<DateStruct>(right);
        return date_compare(&a, &b);
    }
    case VALUE_TIME: {
        TimeStruct a = record_at<TimeStruct>(left);
        TimeStruct b = record_at<TimeStruct>(right);
        return time_compare(&a, &b);
    }
    case VALUE_TIMESTAMP: {
        TimestampStruct a = record_at<TimestampStruct>(left);
        TimestampStruct b = record_at<TimestampStruct>(right);
        return timestamp_compare(&a, &b);
    }
    case VALUE_NUMERIC:
        return numeric_compare(reinterpret_cast<const NumericStruct *>(payload_of(left)),
                               reinterpret_cast<const NumericStruct *>(payload_of(right)));
    case VALUE_INTERVAL_YM:
    case VALUE_INTERVAL_DS: {
        IntervalStruct a = record_at<IntervalStruct>(left);
        IntervalStruct b = record_at<IntervalStruct>(right);
        return interval_compare(&a, &b);
    }
    default:
        return 0;
    }
}

}  // extern "C"
