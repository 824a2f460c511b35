// values_std_dm: SQL types and driver buffers in the standard family.
//
// Exports kxstd_sql_to_value_type, kxstd_get_buffer_length,
// kxstd_get_dm_length and kxstd_compare_dm.
//
// The type routines add the ODBC types the family leaves without a value
// type (the wide character types, GUID, INTERVAL DAY TO HOUR) and give the
// family's answer for every other type. kxstd_compare_dm reads each dm
// buffer (12-octet header, payload at offset 12, native byte order, not
// necessarily aligned) as the Value it was made from and orders the two
// by kxstd_compare_values, so that rows sorted from dm buffers sort as
// their values compare: texts blank-padded in full, bigints by 64 bits,
// buffers of different types as typed values.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "diagnostics/standard_exit.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

// ODBC type numbers the family has no row for.
constexpr int32_t kSqlWChar = -8;
constexpr int32_t kSqlWVarChar = -9;
constexpr int32_t kSqlWLongVarChar = -10;
constexpr int32_t kSqlGuid = -11;
constexpr int32_t kSqlIntervalDayToHour = 108;

// Octets of a GUID's text, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", and of
// the SQLGUID record an application binds.
constexpr int32_t kGuidText = 36;
constexpr int32_t kGuidRecord = 16;

// The most octets of UTF-8 one character takes.
constexpr int32_t kUtf8PerCharacter = 4;

int32_t read_word(const DmBuffer *dm, size_t offset)
{
    int32_t word;
    std::memcpy(&word, reinterpret_cast<const unsigned char *>(dm) + offset, 4);
    return word;
}

const unsigned char *payload_of(const DmBuffer *dm)
{
    return reinterpret_cast<const unsigned char *>(dm) + 12;
}

// A terminated copy of a text, in mem when there is one (so that an error
// exit through the context loses nothing), else from the heap.
char *copy_text(MemHandle *mem, const char *text, size_t n)
{
    char *copy = static_cast<char *>(mem != nullptr ? kx_mem_alloc(mem, n + 1) : std::malloc(n + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text, n);
        copy[n] = '\0';
    }
    return copy;
}

void release_copy(MemHandle *mem, char *copy)
{
    if (copy == nullptr)
        return;
    if (mem != nullptr)
        kx_mem_free(mem, copy);
    else
        std::free(copy);
}

// A dm buffer read as a Value (texts and binaries point into the buffer). A
// text's length stops at a zero octet within it. With terminate, a text is
// copied (copy_text) to be terminated and *copy set; the caller releases
// it. A status on a malformed buffer or no memory.
int32_t view_of(const DmBuffer *dm, bool terminate, MemHandle *mem, Value *out, char **copy)
{
    std::memset(out, 0, sizeof *out);
    out->kind = NODE_VALUE;
    *copy = nullptr;
    if (dm == nullptr || read_word(dm, 0) < 0) {
        out->null_flag = -1;
        out->type = VALUE_NULL;
        return KXSTD_OK;
    }
    int32_t length = read_word(dm, 0);
    out->type = read_word(dm, 8);
    int32_t size = kx::dm_payload_size(out->type);
    if (size > 0) {
        if (length < size)
            return KXSTD_INVALID_LENGTH;
        std::memcpy(out->payload.raw, payload_of(dm), static_cast<size_t>(size));
        out->length = length;
        return KXSTD_OK;
    }
    const char *text = reinterpret_cast<const char *>(payload_of(dm));
    if (out->type == VALUE_STRING) {
        size_t n = strnlen(text, static_cast<size_t>(length));
        out->length = static_cast<int32_t>(n);
        if (!terminate) {
            out->payload.text = const_cast<char *>(text);
            return KXSTD_OK;
        }
        *copy = copy_text(mem, text, n);
        if (*copy == nullptr)
            return KXSTD_NO_MEMORY;
        out->payload.text = *copy;
        return KXSTD_OK;
    }
    if (out->type == VALUE_BINARY) {
        int32_t held = read_word(dm, 4);
        out->length = length;
        out->data_length = held < 0 ? 0 : held > length ? length : held;
        out->payload.bytes = const_cast<unsigned char *>(payload_of(dm));
    }
    return KXSTD_OK;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_sql_to_value_type(int32_t sql_type)
{
    switch (sql_type) {
    case kSqlWChar:
    case kSqlWVarChar:
    case kSqlGuid:
        return VALUE_STRING;
    case kSqlWLongVarChar:
        return VALUE_LONG_STRING;
    case kSqlIntervalDayToHour:
        return VALUE_INTERVAL_DS;
    default:
        return sql_to_value_type(sql_type);
    }
}

KX_API int32_t kxstd_get_buffer_length(int32_t length, int32_t type)
{
    switch (type) {
    case kSqlWChar:
    case kSqlWVarChar:
        return length;
    case kSqlWLongVarChar:
        return 0;
    case kSqlGuid:
        return kGuidRecord;
    default:
        return get_buffer_length(length, type);
    }
}

KX_API int32_t kxstd_get_dm_length(int32_t sql_type, int32_t length)
{
    switch (sql_type) {
    case kSqlWChar:
    case kSqlWVarChar:
        if (length < 0 || length > INT32_MAX / kUtf8PerCharacter)
            return -1;
        return length * kUtf8PerCharacter;
    case kSqlWLongVarChar:
        return 0;
    case kSqlGuid:
        return kGuidText;
    case -3:  // SQL_VARBINARY
    case -2:  // SQL_BINARY
    case 1:   // SQL_CHAR
    case 12:  // SQL_VARCHAR
        return length < 0 ? -1 : length;
    default:
        return get_dm_length(sql_type, length);
    }
}

KX_API int32_t kxstd_compare_dm(const DmBuffer *left, const DmBuffer *right,
                                EvalContext *context)
{
    bool left_null = left == nullptr || read_word(left, 0) < 0;
    bool right_null = right == nullptr || read_word(right, 0) < 0;
    if (left_null || right_null)
        return left_null == right_null ? 0 : left_null ? -1 : 1;
    // A text compared with another type is read as that type's literal and
    // needs its terminator; two texts compare by their lengths.
    bool mixed = read_word(left, 8) != read_word(right, 8);
    Value a;
    Value b;
    char *copy_a = nullptr;
    char *copy_b = nullptr;
    MemHandle *mem = context != nullptr ? context->mem : nullptr;
    int32_t status = view_of(left, mixed, mem, &a, &copy_a);
    if (status == KXSTD_OK)
        status = view_of(right, mixed, mem, &b, &copy_b);
    int32_t order = 0;
    if (status == KXSTD_OK)
        order = kxstd_compare_values(&a, &b, context);
    // (when the comparison leaves through the context, the copies stay in
    // its memory handle and go with it)
    release_copy(mem, copy_a);
    release_copy(mem, copy_b);
    if (status != KXSTD_OK)
        kx::std_raise(context, status);
    return order;
}

}  // extern "C"
