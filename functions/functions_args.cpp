// functions_args: results and arguments of the scalar functions.
//
// Internal to the functions module (declared in functions_internal.h): the
// error exit, result values made in the context's memory handle, and the
// reading of string arguments. A VALUE_STRING argument is read in place,
// through its own NUL-terminated buffer. Long character or binary data
// (types 29 and 30) lives behind the statement's connection, which supplies
// two operations: rewind a long buffer, and read from it into a destination
// (0 all fitted, 1 more remains, 2 or more failure; the full length goes to
// an output word). A long argument is copied whole into a buffer from the
// memory handle and freed again when the function is done.
#include <cstring>

#include "diagnostics/error_exit.h"
#include "functions/functions_internal.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "values/values_internal.h"

namespace {

using kx::fn::TextArg;

// The first read of a long argument: two octets, the first part of the
// text and its terminator, and the full length.
constexpr int32_t kProbeSize = 2;
// ASCII only needs the first octet but reads a little more.
constexpr int32_t kFirstOctetProbeSize = kx::fn::kLongPrefixSize;

enum ReadCode : int32_t { kAllRead = 0, kMoreData = 1 };

DriverConnection *connection_of(const EvalContext *context)
{
    if (context == nullptr || context->stmt == nullptr)
        return nullptr;
    return context->stmt->connection;
}

// Rewinds a long argument and reads its first part into destination. Returns
// false when the connection cannot give it; otherwise *code is the read's
// code (0 or 1) and *length the full length.
bool try_start_long_read(EvalContext *context, Value *value, char *destination, int32_t size,
                         int32_t *length, int32_t *code)
{
    DriverConnection *connection = connection_of(context);
    if (connection == nullptr || connection->long_rewind == nullptr ||
        connection->long_read == nullptr || value->long_buffer == nullptr)
        return false;
    connection->long_rewind(value->long_buffer, value->type);
    *length = 0;
    *code = connection->long_read(value->long_buffer, destination, size, length, 0);
    return (*code == kAllRead || *code == kMoreData) && *length >= 0;
}

// The same, taking the error exit when the connection cannot give it.
int32_t start_long_read(EvalContext *context, Value *value, char *destination,
                        int32_t size, int32_t *length)
{
    int32_t code = 0;
    if (!try_start_long_read(context, value, destination, size, length, &code))
        kx::fn::fail(context, "HY000", kx::fn::kLongReadError);
    return code;
}

}  // namespace

namespace kx::fn {

// The whole of a long argument, copied into a buffer of length + 1 octets.
LongRead try_read_long_text(EvalContext *context, Value *value, TextArg *out)
{
    char probe[kProbeSize] = {0, 0};
    int32_t length = 0;
    int32_t code = 0;
    if (!try_start_long_read(context, value, probe, kProbeSize, &length, &code))
        return LongRead::kReadError;
    char *copy = static_cast<char *>(
        kx_mem_alloc(context->mem, static_cast<size_t>(length) + 1));
    if (copy == nullptr)
        return LongRead::kNoMemory;
    size_t first = length > 0 ? 1 : 0;
    std::memcpy(copy, probe, first);
    copy[first] = '\0';
    if (code == kMoreData && length > 1) {
        // The rest goes in after the first octet; the destination size is
        // the room the copy has left, never more.
        int32_t rest_length = 0;
        DriverConnection *connection = connection_of(context);
        int32_t rest = connection->long_read(value->long_buffer, copy + 1, length,
                                             &rest_length, 0);
        if (rest != kAllRead && rest != kMoreData)
            return LongRead::kReadError;   // the copy goes with the handle
    }
    copy[length] = '\0';
    *out = TextArg{copy, std::strlen(copy), true, value};
    return LongRead::kOk;
}

TextArg read_long_text(EvalContext *context, Value *value, const char *alloc_message)
{
    TextArg text{};
    switch (try_read_long_text(context, value, &text)) {
    case LongRead::kOk:
        break;
    case LongRead::kNoMemory:
        kx::fn::fail(context, "HY001", alloc_message);
    case LongRead::kReadError:
        kx::fn::fail(context, "HY000", kx::fn::kLongReadError);
    }
    return text;
}

}  // namespace kx::fn

namespace {

// Keeps the zero copy of a whole record as the compiler first lays it out,
// 16-octet stores from the record's start, instead of letting it merge the
// copy with the field stores that follow into stores at odd offsets: a field
// that the caller reads back soon (release_value reads long_buffer first of
// all) must lie within one store at an 8-octet place in it, or the read
// waits for the stores to reach the cache instead of taking the value from
// the store (some ten nanoseconds a result).
inline void whole_record_stores()
{
    asm volatile("" ::: "memory");
}

// Zeroes a record that NewValue made, keeping what NewValue set.
void clear_record(Value *value)
{
    char *text = value->payload.text;
    MemHandle *handle = value->mem_handle;
    // a copy of a zero record clears in a few vector stores, where memset
    // of the same size compiles to a slow string instruction
    static const Value zero{};
    std::memcpy(value, &zero, sizeof(Value));
    whole_record_stores();
    value->kind = NODE_VALUE;
    value->mem_handle = handle;
    value->payload.text = text;
    value->inline_buffer = 1;
}

// What NewValue makes for a text of length octets, length + 1 below
// kInlineTextRoom, already zeroed: its block straight from the cache and
// every field stored once, where NewValue's own stores would be zeroed and
// made again. Null when the block cannot be had.
Value *short_text_record(MemHandle *handle, int32_t length)
{
    Value *value = static_cast<Value *>(
        kx_mem_alloc_node(handle, sizeof(Value) + kx::kInlineTextRoom, NODE_VALUE_INLINE));
    if (value == nullptr)
        return nullptr;
    static const Value zero{};
    std::memcpy(value, &zero, sizeof(Value));
    whole_record_stores();
    value->kind = NODE_VALUE;
    value->mem_handle = handle;
    value->payload.text = reinterpret_cast<char *>(value + 1);
    value->inline_buffer = 1;
    value->length = length;
    return value;
}

}  // namespace

namespace kx::fn {

[[noreturn]] void fail(EvalContext *context, const char *sqlstate, const char *message)
{
    kx::error_exit(context, "ODBC3.0", sqlstate, message);
}

Value *new_result(EvalContext *context, int32_t type)
{
    // newNode's work, without its call and size test: one per row
    Value *value = static_cast<Value *>(kx_mem_alloc_node(context->mem, sizeof(Value), NODE_VALUE));
    if (value == nullptr)
        return nullptr;
    static const Value zero{};
    std::memcpy(value, &zero, sizeof(Value));
    whole_record_stores();
    value->kind = NODE_VALUE;
    value->type = type;
    value->mem_handle = context->mem;
    return value;
}

Value *integer_result(EvalContext *context, int32_t n)
{
    Value *result = new_result(context, VALUE_INTEGER);
    if (result != nullptr)
        result->payload.integer = n;
    return result;
}

Value *double_result(EvalContext *context, double d)
{
    Value *result = new_result(context, VALUE_DOUBLE);
    if (result != nullptr)
        result->payload.dbl = d;
    return result;
}

Value *null_result(EvalContext *context, int32_t type)
{
    Value *value = new_result(context, type);
    if (value != nullptr)
        value->null_flag = -1;
    return value;
}

Value *try_text_result(EvalContext *context, int32_t length)
{
    Value *value;
    if (length + 1 < kx::kInlineTextRoom) {
        value = short_text_record(context->mem, length);
    } else {
        value = NewValue(context->mem, length + 1);
        if (value != nullptr)
            clear_record(value);
    }
    if (value == nullptr)
        return nullptr;
    value->type = VALUE_STRING;
    value->length = length;
    value->payload.text[length] = '\0';
    return value;
}

Value *new_text_result(EvalContext *context, int64_t length, const char *message)
{
    // A text longer than a value's length field can say cannot be made.
    if (length < 0 || length >= INT32_MAX)
        fail(context, "HY001", message);
    Value *value = try_text_result(context, static_cast<int32_t>(length));
    if (value == nullptr)
        fail(context, "HY001", message);
    return value;
}

Value *null_text_result(EvalContext *context, const char *message)
{
    Value *value = new_text_result(context, 0, message);
    value->null_flag = -1;
    return value;
}

void free_text_copy(EvalContext *context, char *copy)
{
    kx_mem_free(context->mem, copy);
}

void trim_trailing_spaces(TextArg &text)
{
    size_t n = text.length;
    while (n > 0 && text.text[n - 1] == ' ')
        --n;
    text.text[n] = '\0';
    text.length = n;
    if (text.value != nullptr && !text.owned)
        text.value->length = static_cast<int32_t>(n);
}

int32_t long_length(EvalContext *context, Value *value)
{
    char probe[kProbeSize] = {0, 0};
    int32_t length = 0;
    start_long_read(context, value, probe, kProbeSize, &length);
    return length;
}

bool try_long_length(EvalContext *context, Value *value, int32_t *length)
{
    char probe[kProbeSize] = {0, 0};
    int32_t code = 0;
    return try_start_long_read(context, value, probe, kProbeSize, length, &code);
}

char long_first_octet(EvalContext *context, Value *value)
{
    char probe[kFirstOctetProbeSize] = {};
    int32_t length = 0;
    start_long_read(context, value, probe, kFirstOctetProbeSize, &length);
    return length > 0 ? probe[0] : '\0';
}

bool try_long_prefix(EvalContext *context, Value *value, char (&prefix)[kLongPrefixSize + 1],
                     int32_t *length)
{
    std::memset(prefix, 0, sizeof prefix);
    int32_t code = 0;
    return try_start_long_read(context, value, prefix, kLongPrefixSize, length, &code);
}

}  // namespace kx::fn
