// strfunc.cpp - ODBC output-buffer helpers and small string utilities.
//
// Exports copy_str_buffer, copy_str_bufferl, copy_nstr_bufferl and
// cat_str_buffer (the ODBC contract for returning a string into a buffer the
// application owns), string_duplicate, string_compare, safe_strtok and
// function_string (names of ODBC dynamic function codes).
//
// Contract of every copy: a null source is the empty string; the full source
// length is always reported, whatever was copied; the result is 1 when the
// string did not fit (the caller reports data truncation) and 0 otherwise.
// Nothing is ever written past buffer_length; no function keeps state.
#include <cctype>
#include <cstring>

#include "kxsupp/memory.h"

namespace {

// Shared by the two 8-bit copies: writes source into the buffer and returns
// 1 when it was cut.
inline int32_t copy_bytes(char *destination, uint32_t buffer_length,
                          const char *source, size_t n)
{
    if (n < buffer_length) {
        if (destination != nullptr)
            std::memcpy(destination, source, n + 1);
        return 0;
    }
    if (destination != nullptr && static_cast<int32_t>(buffer_length) > 0) {
        std::memcpy(destination, source, buffer_length - 1);
        destination[buffer_length - 1] = '\0';
    }
    return 1;
}

struct FunctionName {
    int32_t code;
    const char *name;
};

// ODBC's SQL_DIAG_DYNAMIC_FUNCTION_CODE values and their texts.
constexpr FunctionName function_names[] = {
    {-2, "DROP_INDEX"},
    {-1, "CREATE INDEX"},
    {4, "ALTER TABLE"},
    {19, "DELETE WHERE"},
    {32, "DROP TABLE"},
    {36, "DROP VIEW"},
    {38, "DYNAMIC DELETE CURSOR"},
    {48, "GRANT"},
    {50, "INSERT"},
    {59, "REVOKE"},
    {77, "CREATE TABLE"},
    {81, "DYNAMIC UPDATE CURSOR"},
    {82, "UPDATE WHERE"},
    {84, "CREATE VIEW"},
    {85, "SELECT CURSOR"},
};

}  // namespace

extern "C" {

KX_API int32_t copy_str_buffer(char *destination, uint32_t buffer_length,
                               int16_t *length_out, const char *source)
{
    if (source == nullptr)
        source = "";
    size_t n = std::strlen(source);
    if (length_out != nullptr)
        *length_out = static_cast<int16_t>(n);
    return copy_bytes(destination, buffer_length, source, n);
}

KX_API int32_t copy_str_bufferl(char *destination, uint32_t buffer_length,
                                int32_t *length_out, const char *source)
{
    if (source == nullptr)
        source = "";
    size_t n = std::strlen(source);
    if (length_out != nullptr)
        *length_out = static_cast<int32_t>(n);
    return copy_bytes(destination, buffer_length, source, n);
}

// Each byte becomes one 16-bit unit with sign extension (0xE9 gives 0xFFE9):
// sources are expected to be 7-bit, and this is the drivers' behaviour.
KX_API int32_t copy_nstr_bufferl(uint16_t *destination, int32_t buffer_length,
                                 int32_t *length_out, const char *source)
{
    if (source == nullptr)
        source = "";
    size_t n = std::strlen(source);
    if (length_out != nullptr)
        *length_out = static_cast<int32_t>(n);
    int64_t room = buffer_length;
    bool fits = static_cast<int64_t>(n) < room;
    if (destination != nullptr && buffer_length >= 1) {
        size_t count = fits ? n : static_cast<size_t>(room - 1);
        for (size_t i = 0; i < count; i++)
            destination[i] = static_cast<uint16_t>(static_cast<signed char>(source[i]));
        destination[count] = 0;
    }
    return fits ? 0 : 1;
}

// The current length comes in through length_in_out and the full resulting
// length goes out through it. When the result does not fit, what fits of the
// source is appended from the current end and the last byte of the buffer is
// the terminator.
KX_API int32_t cat_str_buffer(char *destination, uint32_t buffer_length,
                              int16_t *length_in_out, const char *source)
{
    if (source == nullptr)
        source = "";
    size_t n = std::strlen(source);
    int32_t current = length_in_out != nullptr ? *length_in_out : 0;
    uint32_t total = static_cast<uint32_t>(n) + static_cast<uint32_t>(current);
    int32_t truncated = total >= buffer_length ? 1 : 0;
    if (destination != nullptr &&
        (!truncated || static_cast<int32_t>(buffer_length) > 0)) {
        size_t limit = buffer_length;
        size_t start;
        if (!truncated) {
            // Appended where the text really ends, as strcat would.
            start = strnlen(destination, limit);
        } else {
            start = current < 0 ? 0 : static_cast<size_t>(current);
        }
        if (start > limit - 1)
            start = limit - 1;
        size_t count = limit - 1 - start;
        if (count > n)
            count = n;
        std::memcpy(destination + start, source, count);
        destination[start + count] = '\0';
    }
    if (length_in_out != nullptr)
        *length_in_out = static_cast<int16_t>(current + static_cast<int32_t>(n));
    return truncated;
}

KX_API char *string_duplicate(const char *source, MemHandle *handle)
{
    if (source == nullptr)
        source = "";
    size_t n = std::strlen(source);
    char *copy = static_cast<char *>(kx_mem_alloc(handle, n + 1));
    if (copy != nullptr)
        std::memcpy(copy, source, n + 1);
    return copy;
}

KX_API int32_t string_compare(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : 1;
    for (;; a++, b++) {
        if (std::toupper(static_cast<unsigned char>(*a)) !=
            std::toupper(static_cast<unsigned char>(*b)))
            return 1;
        if (*a == '\0')
            return 0;
    }
}

// The scan starts at string, or where the previous call stopped when string
// is null. Runs of delimiters are skipped; the delimiter ending a token is
// overwritten with a terminator.
KX_API char *safe_strtok(char *string, const char *delimiters, char **save)
{
    if (save == nullptr)
        return nullptr;
    if (delimiters == nullptr)
        delimiters = "";
    char *start = string != nullptr ? string : *save;
    if (start == nullptr)
        return nullptr;
    start += std::strspn(start, delimiters);
    if (*start == '\0')
        return nullptr;
    char *end = start + std::strcspn(start, delimiters);
    if (*end != '\0') {
        *end = '\0';
        *save = end + 1;
    } else {
        *save = end;
    }
    return start;
}

KX_API const char *function_string(int32_t code)
{
    for (const FunctionName &entry : function_names)
        if (entry.code == code)
            return entry.name;
    return "";
}

}  // extern "C"
